#include "zuvisa/bridgelets/tcpip/tcpip.h"

#include <cstdlib>

#include "zuvisa/bridgelets/tcpip/srqserver.h"
#include "zuvisa/rsrcname.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::tcpip {

namespace {

bool parseBool(const std::string& v, bool* out) {
    std::string u = upperAscii(v);
    if (u == "TRUE" || u == "1" || u == "YES" || u == "ON")
        *out = true;
    else if (u == "FALSE" || u == "0" || u == "NO" || u == "OFF")
        *out = false;
    else
        return false;
    return true;
}

bool parseNumber(const std::string& v, long lo, long hi, long* out) {
    char* end = nullptr;
    long n = strtol(v.c_str(), &end, 10);
    if (v.empty() || *end || n < lo || n > hi) return false;
    *out = n;
    return true;
}

// Resources by name, each on its LAN interface.
void listAll(const std::vector<std::string>& names, std::vector<ResourceInfo>& out) {
    for (const std::string& name : names) {
        ResourceInfo info;
        info.name = name;
        ResourceName n;
        if (parseResourceName(name, &n) == VI_SUCCESS) {
            info.texts.emplace_back(VI_ATTR_INTF_INST_NAME,
                                    "TCPIP" + std::to_string(n.board) + " (LAN)");
        }
        out.push_back(std::move(info));
    }
}

}  // namespace

Config readSettings(const std::vector<std::pair<std::string, std::string>>& items) {
    Config c;
    for (const auto& [key, value] : items) {
        std::string k = upperAscii(key);
        long n = 0;
        bool b = false;
        if (k.rfind(upperAscii(kItemInstrumentPrefix), 0) == 0) {
            ResourceName r;
            if (parseResourceName(value, &r) == VI_SUCCESS && r.intfType == VI_INTF_TCPIP) {
                c.discovery.configured.push_back(r.canonical);
            } else {
                c.problems.push_back(key + ": not a TCPIP resource name: " + value);
            }
        } else if (k == "DISCOVER") {
            if (parseBool(value, &b))
                c.discovery.broadcast = c.discovery.mdns = b;
            else
                c.problems.push_back("Discover is neither True nor False");
        } else if (k == "DISCOVERYTIME") {
            if (parseNumber(value, 0, 10000, &n))
                c.discovery.windowMs = static_cast<int>(n);
            else
                c.problems.push_back("DiscoveryTime is not a number of ms from 0 to 10000");
        } else if (k == "CONNECTTIMEOUT") {
            if (parseNumber(value, 1, 600000, &n))
                c.link.connectTimeout = static_cast<ViUInt32>(n);
            else
                c.problems.push_back("ConnectTimeout is not a number of ms");
        } else if (k == "PORTMAPPERPORT") {
            if (parseNumber(value, 1, 65535, &n))
                c.link.portmapperPort = c.discovery.portmapperPort = static_cast<uint16_t>(n);
            else
                c.problems.push_back("PortmapperPort is not a port number");
        } else {
            c.problems.push_back("unknown item " + key);
        }
    }
    return c;
}

TcpipBridgelet::TcpipBridgelet(Config c, std::function<void(int, const std::string&)> log)
    : config_(std::move(c)),
      log_(std::move(log)),
      srq_(std::make_shared<SrqServer>()),
      discoverer_(std::make_unique<Discoverer>(config_.discovery)) {}

TcpipBridgelet::~TcpipBridgelet() = default;

void TcpipBridgelet::enumerate(std::vector<ResourceInfo>& out) {
    listAll(discoverer_->resources(), out);
}

void TcpipBridgelet::enumerateKnown(std::vector<ResourceInfo>& out) {
    listAll(discoverer_->known(), out);
}

ViStatus TcpipBridgelet::open(const std::string& canonicalName, ViUInt32 openTimeout,
                              EventSink* events, std::unique_ptr<Link>* link) {
    ResourceName n;
    if (parseResourceName(canonicalName, &n) != VI_SUCCESS || n.intfType != VI_INTF_TCPIP)
        return VI_ERROR_RSRC_NFOUND;
    std::string why;
    ViStatus st;
    std::string sub;
    uint16_t port = 0;
    if (n.rsrcClass == "SOCKET")
        st = openSocket(n, config_.link, openTimeout, events, link, &why);
    else if (hislipDevice(n.lanDevice, &sub, &port))
        st = openHislip(n, config_.link, openTimeout, events, link, &why);
    else
        st = openVxi11(n, config_.link, openTimeout, events, srq_, link, &why);
    if (st < 0 && log_) log_(ZUVISA_LOG_WARNING, canonicalName + ": " + why);
    return st;
}

ViStatus registerTcpip(Registrar* registrar) {
    if (registrar->abi() != kBridgeletAbi) return VI_ERROR_LIBRARY_NFOUND;
    Config c = readSettings(registrar->settings());
    ViStatus status = VI_SUCCESS;
    for (const std::string& p : c.problems) {
        registrar->log(ZUVISA_LOG_WARNING, p);
        status = VI_WARN_CONFIG_NLOADED;
    }
    registrar->add(std::make_unique<TcpipBridgelet>(std::move(c), registrar->logger()));
    return status;
}

}  // namespace zuvisa::tcpip

#include "zuvisa/bridgelets/tcpip/discovery.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "zuvisa/bridgelets/tcpip/avahi.h"
#include "zuvisa/bridgelets/tcpip/hislip.h"
#include "zuvisa/bridgelets/tcpip/net.h"
#include "zuvisa/bridgelets/tcpip/rpc.h"
#include "zuvisa/bridgelets/tcpip/vxi11.h"
#include "zuvisa/rsrcname.h"

namespace zuvisa::tcpip {

namespace {

using Clock = std::chrono::steady_clock;

// A refresh within this age of the last round returns that round's answers.
constexpr auto kRefreshAge = std::chrono::seconds(3);

const char* const kServiceTypes[] = {"_lxi._tcp", "_vxi-11._tcp", "_hislip._tcp", "_scpi-raw._tcp"};

void addUnique(std::vector<std::string>& out, const std::string& name) {
    if (name.empty()) return;
    ResourceName n;
    if (parseResourceName(name, &n) != VI_SUCCESS) return;
    if (std::find(out.begin(), out.end(), n.canonical) == out.end()) out.push_back(n.canonical);
}

// Sends a portmapper GETPORT for the VXI-11 core on every IPv4 interface that can broadcast
// and collects who answers until the deadline.
MethodReport broadcast(const DiscoverySettings& s, Clock::time_point deadline,
                       std::vector<std::string>& out,
                       const std::atomic<bool>* cancel) {
    MethodReport rep{"VXI-11 broadcast", "", 0};
    ifaddrs* ifs = nullptr;
    if (getifaddrs(&ifs) != 0) {
        rep.outcome = "cannot list the network interfaces";
        return rep;
    }
    std::vector<sockaddr_in> targets;
    std::vector<std::string> names;
    for (ifaddrs* i = ifs; i; i = i->ifa_next) {
        if (!i->ifa_addr || i->ifa_addr->sa_family != AF_INET) continue;
        if (!(i->ifa_flags & IFF_UP)) continue;
        // Loopback cannot broadcast: its own address stands in, so that a server on this
        // machine (zusimd) is found too.
        sockaddr_in to;
        if (i->ifa_flags & IFF_LOOPBACK)
            to = *reinterpret_cast<sockaddr_in*>(i->ifa_addr);
        else if ((i->ifa_flags & IFF_BROADCAST) && i->ifa_broadaddr)
            to = *reinterpret_cast<sockaddr_in*>(i->ifa_broadaddr);
        else
            continue;
        to.sin_port = htons(s.portmapperPort);
        targets.push_back(to);
        names.emplace_back(i->ifa_name);
    }
    freeifaddrs(ifs);
    if (targets.empty()) {
        rep.outcome = "no network interface is up";
        return rep;
    }
    Fd fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    int one = 1;
    if (!fd || setsockopt(fd.get(), SOL_SOCKET, SO_BROADCAST, &one, sizeof one) != 0) {
        rep.outcome = "cannot open a broadcast socket";
        return rep;
    }
    XdrWriter args;
    args.u32(vxi11::kCoreProgram);
    args.u32(vxi11::kVersion);
    args.u32(rpc::kIpProtoTcp);
    args.u32(0);
    uint32_t xid = rpc::nextXid();
    std::vector<uint8_t> call = rpc::encodeCall(
        {xid, rpc::kPortmapProgram, rpc::kPortmapVersion, rpc::kPortmapGetPort}, args.bytes());
    int sent = 0;
    for (const sockaddr_in& t : targets) {
        if (::sendto(fd.get(), call.data(), call.size(), 0, reinterpret_cast<const sockaddr*>(&t),
                     sizeof t) >= 0)
            ++sent;
    }
    std::string interfaces;
    for (const std::string& n : names) interfaces += (interfaces.empty() ? "" : ", ") + n;
    if (sent == 0) {
        rep.outcome = "sending failed on " + interfaces;
        return rep;
    }
    uint8_t buf[512];
    for (;;) {
        auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) break;
        pollfd p{fd.get(), POLLIN, 0};
        if (cancel && *cancel) break;
        if (::poll(&p, 1, static_cast<int>(std::min<long long>(left, 20))) <= 0) continue;
        sockaddr_in from{};
        socklen_t len = sizeof from;
        ssize_t n =
            ::recvfrom(fd.get(), buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
        if (n <= 0) continue;
        XdrReader r(buf, static_cast<size_t>(n));
        if (rpc::decodeReply(r, xid, nullptr) != VI_SUCCESS) continue;
        uint32_t port = r.u32();
        if (!r.ok() || port == 0 || port > 0xFFFF) continue;
        char host[INET_ADDRSTRLEN];
        inet_ntop(AF_INET, &from.sin_addr, host, sizeof host);
        size_t before = out.size();
        addUnique(out, resourceForService("_vxi-11._tcp", host, false, 0));
        rep.found += static_cast<int>(out.size() - before);
    }
    rep.outcome = rep.found ? std::to_string(rep.found) + " instrument(s) answered on " + interfaces
                            : "no reply on " + interfaces;
    return rep;
}

MethodReport mdns(Clock::time_point deadline, std::vector<std::string>& out,
                  const std::atomic<bool>* cancel) {
    MethodReport rep{"mDNS", "", 0};
    std::vector<std::string> types(std::begin(kServiceTypes), std::end(kServiceTypes));
    std::vector<ServiceFound> found;
    std::string why;
    if (!browseServices(types, deadline, &found, &why, cancel)) {
        rep.outcome = why;
        return rep;
    }
    for (const ServiceFound& f : found) {
        size_t before = out.size();
        addUnique(out, resourceForService(f.type, f.address, f.ipv6, f.port));
        rep.found += static_cast<int>(out.size() - before);
    }
    std::string list;
    for (const std::string& t : types) list += (list.empty() ? "" : ", ") + t;
    rep.outcome = rep.found ? std::to_string(rep.found) + " service(s) announced"
                            : "no service announced (" + list + ")";
    return rep;
}

}  // namespace

std::string resourceForService(const std::string& type, const std::string& address, bool ipv6,
                               uint16_t port) {
    if (address.empty()) return {};
    std::string host = ipv6 ? "[" + address + "]" : address;
    if (type == "_hislip._tcp") {
        std::string dev = "hislip0";
        if (port && port != hislip::kDefaultPort) dev += "," + std::to_string(port);
        return "TCPIP0::" + host + "::" + dev + "::INSTR";
    }
    if (type == "_scpi-raw._tcp")
        return port ? "TCPIP0::" + host + "::" + std::to_string(port) + "::SOCKET" : std::string();
    if (type == "_vxi-11._tcp" || type == "_lxi._tcp") return "TCPIP0::" + host + "::inst0::INSTR";
    return {};
}

DiscoveryResult discoverOnce(const DiscoverySettings& s, const std::atomic<bool>* cancel) {
    DiscoveryResult res;
    Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(s.windowMs);
    MethodReport conf{"configuration", "", 0};
    for (const std::string& name : s.configured) addUnique(res.resources, name);
    conf.found = static_cast<int>(res.resources.size());
    conf.outcome = conf.found ? std::to_string(conf.found) + " instrument(s) named"
                              : "no instrument named (portconf add-lan RESOURCE names one)";
    res.reports.push_back(conf);
    // The two listening methods share the window.
    std::vector<std::string> fromBroadcast, fromMdns;
    MethodReport b{"VXI-11 broadcast", "switched off in the configuration", 0};
    MethodReport m{"mDNS", "switched off in the configuration", 0};
    std::thread mdnsThread;
    if (s.mdns) mdnsThread = std::thread([&] { m = mdns(deadline, fromMdns, cancel); });
    if (s.broadcast) b = broadcast(s, deadline, fromBroadcast, cancel);
    if (mdnsThread.joinable()) mdnsThread.join();
    for (const std::string& n : fromBroadcast) addUnique(res.resources, n);
    for (const std::string& n : fromMdns) addUnique(res.resources, n);
    res.reports.push_back(b);
    res.reports.push_back(m);
    return res;
}

Discoverer::Discoverer(DiscoverySettings s) : settings_(std::move(s)) {
    last_ =
        discoverOnce({settings_.configured, false, false, 0, settings_.portmapperPort}).resources;
    kick();
}

Discoverer::~Discoverer() {
    stop_ = true;
    std::unique_lock<std::mutex> lock(m_);
    cv_.wait(lock, [&] { return !running_; });
    lock.unlock();
    if (thread_.joinable()) thread_.join();
}

void Discoverer::kick() {
    std::lock_guard<std::mutex> lock(m_);
    if (!running_ && (!everRan_ || Clock::now() - started_ > kRefreshAge)) startLocked();
}

void Discoverer::startLocked() {
    if (!settings_.broadcast && !settings_.mdns) return;
    if (thread_.joinable()) thread_.join();  // finished: running_ is false
    running_ = true;
    everRan_ = true;
    started_ = Clock::now();
    thread_ = std::thread([this] {
        DiscoveryResult r = discoverOnce(settings_, &stop_);
        std::lock_guard<std::mutex> lock(m_);
        last_ = std::move(r.resources);
        running_ = false;
        cv_.notify_all();
    });
}

std::vector<std::string> Discoverer::resources() {
    kick();
    std::unique_lock<std::mutex> lock(m_);
    // A round never runs much past its window; the margin covers a slow resolver.
    cv_.wait_until(lock, started_ + std::chrono::milliseconds(settings_.windowMs + 200),
                   [&] { return !running_; });
    return last_;
}

std::vector<std::string> Discoverer::known() {
    std::lock_guard<std::mutex> lock(m_);
    return last_;
}

bool Discoverer::searching() {
    std::lock_guard<std::mutex> lock(m_);
    return running_;
}

}  // namespace zuvisa::tcpip

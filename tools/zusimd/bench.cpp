#include "tools/zusimd/bench.h"

#include "zuvisa/attributes.h"
#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/sim.h"
#include "zuvisa/rsrcname.h"

namespace zusimd {

using namespace std::chrono;

template <typename Pred>
bool Locks::waitFor(std::unique_lock<std::mutex>& lock, milliseconds wait,
                    const std::atomic<bool>& stop, Pred ready) {
    auto deadline = steady_clock::now() + wait;
    while (!ready()) {
        if (stop || (wait.count() >= 0 && steady_clock::now() >= deadline)) return false;
        // Slices, so that a stopping server does not wait for a lock.
        auto slice = steady_clock::now() + milliseconds(20);
        cv_.wait_until(lock, wait.count() >= 0 ? std::min(slice, deadline) : slice);
    }
    return true;
}

bool Locks::lockExclusive(const void* owner, milliseconds wait, const std::atomic<bool>& stop) {
    std::unique_lock<std::mutex> lock(m_);
    if (!waitFor(lock, wait, stop, [&] {
            return (!exclusive_ || exclusive_ == owner) &&
                   (shared_.empty() || (shared_.size() == 1 && shared_.count(owner)));
        })) {
        return false;
    }
    exclusive_ = owner;
    return true;
}

bool Locks::lockShared(const void* owner, const std::string& key, milliseconds wait,
                       const std::atomic<bool>& stop) {
    std::unique_lock<std::mutex> lock(m_);
    if (!waitFor(lock, wait, stop, [&] {
            return (!exclusive_ || exclusive_ == owner) && (shared_.empty() || sharedKey_ == key);
        })) {
        return false;
    }
    if (shared_.empty()) sharedKey_ = key;
    shared_.insert(owner);
    return true;
}

int Locks::release(const void* owner) {
    std::lock_guard<std::mutex> lock(m_);
    int what = 0;
    if (exclusive_ == owner) {
        exclusive_ = nullptr;
        what = 1;
    } else if (shared_.erase(owner)) {
        what = 2;
    }
    cv_.notify_all();
    return what;
}

bool Locks::mayUse(const void* owner, milliseconds wait, const std::atomic<bool>& stop) {
    std::unique_lock<std::mutex> lock(m_);
    return waitFor(lock, wait, stop, [&] { return !exclusive_ || exclusive_ == owner; });
}

bool Locks::exclusiveHeld() {
    std::lock_guard<std::mutex> lock(m_);
    return exclusive_ != nullptr;
}

int Locks::holders() {
    std::lock_guard<std::mutex> lock(m_);
    return static_cast<int>(shared_.size()) + (exclusive_ ? 1 : 0);
}

std::string deviceNameOf(const std::string& canonical) {
    zuvisa::ResourceName n;
    if (zuvisa::parseResourceName(canonical, &n) != VI_SUCCESS) return {};
    if (n.intfType == VI_INTF_TCPIP) return n.lanDevice;
    if (n.intfType == VI_INTF_GPIB) {
        std::string d = "gpib" + std::to_string(n.board) + "," + std::to_string(n.primary);
        if (n.secondary >= 0) d += "," + std::to_string(n.secondary);
        return d;
    }
    std::string d;
    std::string text = canonical.substr(0, canonical.rfind("::"));
    for (size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, 2, "::") == 0) {
            d += ',';
            ++i;
        } else {
            d += static_cast<char>(text[i] >= 'A' && text[i] <= 'Z' ? text[i] + 32 : text[i]);
        }
    }
    return d;
}

Bench::Bench() : sim_(std::make_unique<zuvisa::sim::SimBridgelet>()) {}
Bench::~Bench() = default;

bool Bench::load(const std::vector<std::string>& files, std::vector<std::string>* problems) {
    for (const std::string& path : files) {
        zuvisa::sim::DeviceFile file;
        std::string problem;
        if (zuvisa::sim::loadDeviceFile(path, &file, &problem) != VI_SUCCESS) {
            problems->push_back(path + ": " + problem);
            continue;
        }
        for (const std::string& why : sim_->addFile(file)) problems->push_back(path + ": " + why);
    }
    for (const std::string& why : sim_->build()) problems->push_back(why);
    std::vector<zuvisa::ResourceInfo> infos;
    sim_->enumerate(infos);
    for (const zuvisa::ResourceInfo& info : infos) {
        zuvisa::ResourceName n;
        if (zuvisa::parseResourceName(info.name, &n) != VI_SUCCESS) continue;
        uint32_t kind = zuvisa::kindOf(n.intfType, n.rsrcClass);
        constexpr uint32_t kServable = zuvisa::kKindGpibInstr | zuvisa::kKindTcpipInstr |
                                       zuvisa::kKindTcpipSocket | zuvisa::kKindUsbInstr |
                                       zuvisa::kKindAsrlInstr;
        if (!(kind & kServable) || !sim_->messageDevice(n.canonical)) continue;
        Served s;
        s.resource = n.canonical;
        s.isSocket = kind == zuvisa::kKindTcpipSocket;
        s.socketPort = n.port;
        s.messageDevice = sim_->messageDevice(n.canonical);
        if (!s.isSocket) {
            std::string named = deviceNameOf(n.canonical);
            bool hislip = zuvisa::upperAscii(named).rfind("HISLIP", 0) == 0;
            (hislip ? s.hislipDevice : s.vxiDevice) = named;
            if ((hislip && byHislipDevice(named)) || (!hislip && byVxiDevice(named))) {
                problems->push_back(n.canonical + ": device name " + named + " is served already");
                continue;
            }
        }
        served_.push_back(std::move(s));
    }
    // Names for the protocol a resource's own name does not cover.
    for (Served& s : served_) {
        if (s.isSocket) continue;
        for (int k = 0; s.vxiDevice.empty(); ++k) {
            if (!byVxiDevice("inst" + std::to_string(k))) s.vxiDevice = "inst" + std::to_string(k);
        }
        for (int k = 0; s.hislipDevice.empty(); ++k) {
            if (!byHislipDevice("hislip" + std::to_string(k)))
                s.hislipDevice = "hislip" + std::to_string(k);
        }
    }
    return !served_.empty();
}

const Served* Bench::byVxiDevice(const std::string& name) const {
    std::string want = zuvisa::upperAscii(name);
    for (const Served& s : served_) {
        if (!s.isSocket && zuvisa::upperAscii(s.vxiDevice) == want) return &s;
    }
    return nullptr;
}

const Served* Bench::byHislipDevice(const std::string& name) const {
    std::string want = zuvisa::upperAscii(name);
    for (const Served& s : served_) {
        if (!s.isSocket && zuvisa::upperAscii(s.hislipDevice) == want) return &s;
    }
    return nullptr;
}

ViStatus Bench::open(const Served& s, zuvisa::EventSink* sink,
                     std::unique_ptr<zuvisa::Link>* link) {
    return sim_->open(s.resource, 0, sink, link);
}

size_t Bench::pendingOutput(const Served& s) {
    return s.messageDevice ? s.messageDevice->pendingOutput() : 0;
}

}  // namespace zusimd

// What zusimd serves: the message-based instruments of simulation device files, each under
// the device name that VXI-11 and HiSLIP clients ask for, with the locks that every client of
// an instrument shares, whatever protocol it speaks.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "zuvisa/bridgelet.h"

namespace zuvisa::sim {
class SimBridgelet;
class Device;
}  // namespace zuvisa::sim

namespace zusimd {

// Locks of one instrument. Owners are the client links (any address that identifies one).
class Locks {
  public:
    // Each waits at most wait (negative: for ever) while stop is not raised.
    bool lockExclusive(const void* owner, std::chrono::milliseconds wait,
                       const std::atomic<bool>& stop);
    bool lockShared(const void* owner, const std::string& key, std::chrono::milliseconds wait,
                    const std::atomic<bool>& stop);
    // What the owner held: 0 nothing, 1 an exclusive lock, 2 a shared lock.
    int release(const void* owner);
    // Waits until the owner may do I/O (nobody else holds the exclusive lock).
    bool mayUse(const void* owner, std::chrono::milliseconds wait, const std::atomic<bool>& stop);
    bool exclusiveHeld();
    int holders();

  private:
    template <typename Pred>
    bool waitFor(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds wait,
                 const std::atomic<bool>& stop, Pred ready);

    std::mutex m_;
    std::condition_variable cv_;
    const void* exclusive_ = nullptr;
    std::string sharedKey_;
    std::set<const void*> shared_;
};

struct Served {
    std::string resource;      // the name in the device file
    std::string vxiDevice;     // the VXI-11 device name ("inst0", "gpib0,22")
    std::string hislipDevice;  // the HiSLIP sub-address ("hislip0")
    int socketPort = -1;       // SOCKET resources: the port the file names
    bool isSocket = false;
    std::shared_ptr<Locks> locks = std::make_shared<Locks>();
    // Held from a SOCKET client's message until its answer is taken, so that the answer goes
    // to the connection that asked for it.
    std::shared_ptr<std::mutex> dialogue = std::make_shared<std::mutex>();
    std::shared_ptr<zuvisa::sim::Device> messageDevice;
};

class Bench {
  public:
    Bench();
    ~Bench();

    // Loads the files; what did not load is described in *problems. False when nothing can be
    // served.
    bool load(const std::vector<std::string>& files, std::vector<std::string>* problems);
    const std::vector<Served>& served() const { return served_; }
    // The instrument with this VXI-11 device name or HiSLIP sub-address (case-insensitive).
    const Served* byVxiDevice(const std::string& name) const;
    const Served* byHislipDevice(const std::string& name) const;

    // A fresh link to the instrument; events (service requests) go to sink.
    ViStatus open(const Served& s, zuvisa::EventSink* sink, std::unique_ptr<zuvisa::Link>* link);
    // Bytes of an answer that wait to be read.
    size_t pendingOutput(const Served& s);

  private:
    std::unique_ptr<zuvisa::sim::SimBridgelet> sim_;
    std::vector<Served> served_;
};

// The VXI-11 device name a resource is served under: the LAN device name of a TCPIP INSTR
// ("inst0"), "gpib0,22" for GPIB, the name in lower case otherwise. A HiSLIP name of the file
// keeps its own; every other instrument gets a free "instN" or "hislipN" for the protocol its
// name does not cover.
std::string deviceNameOf(const std::string& canonicalResource);

}  // namespace zusimd

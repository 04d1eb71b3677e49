// Finding LAN instruments: those named in the configuration, VXI-11 servers that answer a
// portmapper broadcast on the machine's interfaces, and services that mDNS/DNS-SD announces.
// Each method reports what it did, so that an empty result can be explained.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zuvisa::tcpip {

struct DiscoverySettings {
    std::vector<std::string> configured;  // resource names from the configuration
    bool broadcast = true;
    bool mdns = true;
    int windowMs = 400;  // how long one round listens for answers
    uint16_t portmapperPort = 111;
};

struct MethodReport {
    std::string method;   // "configuration", "VXI-11 broadcast", "mDNS"
    std::string outcome;  // what it found or why it found nothing
    int found = 0;
};

struct DiscoveryResult {
    std::vector<std::string> resources;  // canonical resource names, no duplicates
    std::vector<MethodReport> reports;
};

// One round of every method, blocking for at most the window (less when cancel is raised).
DiscoveryResult discoverOnce(const DiscoverySettings& s, const std::atomic<bool>* cancel = nullptr);

// The resource name a VXI-11 broadcast answer or an mDNS service stands for.
std::string resourceForService(const std::string& type, const std::string& address, bool ipv6,
                               uint16_t port);

// Background rounds for a bridgelet: a round starts when the bridgelet does and again when
// results are asked for and the last round is older than the refresh age; results wait for a
// running round, never longer than its window.
class Discoverer {
  public:
    explicit Discoverer(DiscoverySettings s);
    ~Discoverer();
    Discoverer(const Discoverer&) = delete;
    Discoverer& operator=(const Discoverer&) = delete;

    void kick();
    std::vector<std::string> resources();
    // The configured resources and those of the last finished round, without waiting.
    std::vector<std::string> known();
    bool searching();  // a round is running

  private:
    void startLocked();

    DiscoverySettings settings_;
    std::mutex m_;
    std::condition_variable cv_;
    std::atomic<bool> stop_{false};  // ends a running round early when the bridgelet goes
    bool running_ = false;
    bool everRan_ = false;
    std::chrono::steady_clock::time_point started_{};
    std::vector<std::string> last_;
    std::thread thread_;
};

}  // namespace zuvisa::tcpip

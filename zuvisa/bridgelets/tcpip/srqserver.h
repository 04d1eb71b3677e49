// The interrupt channel of VXI-11: an RPC server of ours to which instruments connect back to
// send device_intr_srq. One per bridgelet, shared by its links; each link registers the
// handle it gave its instrument and hears its service requests.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/tcpip/net.h"

namespace zuvisa::tcpip {

class SrqServer {
  public:
    SrqServer() = default;
    ~SrqServer();
    SrqServer(const SrqServer&) = delete;
    SrqServer& operator=(const SrqServer&) = delete;

    // Starts listening (once); the port instruments call, 0 when it cannot listen.
    uint16_t start();
    // A handle for a link's sink; the sink hears SRQs until forget.
    uint32_t add(EventSink* sink);
    void forget(uint32_t handle);

    // Decodes one device_intr_srq call and returns the reply to send (empty for none).
    std::vector<uint8_t> handleRecord(const std::vector<uint8_t>& record);

  private:
    void run();
    void raise(uint32_t handle);

    std::mutex m_;
    std::map<uint32_t, EventSink*> sinks_;
    uint32_t next_ = 1;
    Fd listener_;
    uint16_t port_ = 0;
    int wake_[2] = {-1, -1};
    std::thread thread_;
    std::atomic<bool> stop_{false};
};

}  // namespace zuvisa::tcpip

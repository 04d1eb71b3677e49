// A scripted peer for link fuzzing: a loopback listener whose connections get the fuzzer's
// bytes, one piece per connection in order of arrival, then close.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>

#include "zuvisa/bridgelets/tcpip/net.h"

namespace fuzzpeer {

class Peer {
  public:
    // serve runs for each accepted connection with its index.
    using Serve = std::function<void(int fd, int index)>;
    Peer() {
        std::string why;
        zuvisa::tcpip::listenTcp("127.0.0.1", 0, &listener_, &port_, &why);
    }
    uint16_t port() const { return port_; }
    void run(Serve serve) {
        stop_ = false;
        thread_ = std::thread([this, serve] {
            for (int index = 0; !stop_;) {
                pollfd p{listener_.get(), POLLIN, 0};
                if (::poll(&p, 1, 5) <= 0) continue;
                int fd = ::accept(listener_.get(), nullptr, nullptr);
                if (fd < 0) continue;
                serve(fd, index++);
                ::shutdown(fd, SHUT_RDWR);
                ::close(fd);
            }
        });
    }
    void finish() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
    }

  private:
    zuvisa::tcpip::Fd listener_;
    uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

// Reads what a client sent so far (up to a moment of quiet).
inline void drain(int fd, int ms = 2) {
    char buf[4096];
    pollfd p{fd, POLLIN, 0};
    while (::poll(&p, 1, ms) > 0 && ::recv(fd, buf, sizeof buf, MSG_DONTWAIT) > 0) {
    }
}

}  // namespace fuzzpeer

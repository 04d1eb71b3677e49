// The pieces every front end of zusimd is made of: a TCP listener whose connections each run
// on a thread of their own, the one log line per connection, and the front-end interface that
// main starts and stops. A new front end (another transport) implements Frontend.
#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zuvisa/bridgelets/tcpip/net.h"

namespace zusimd {

using zuvisa::tcpip::Fd;

// One line to standard error; safe from any thread.
void logLine(const std::string& text);

class Frontend {
  public:
    virtual ~Frontend() = default;
    virtual const char* name() const = 0;
    // Starts serving on threads of its own. Adds lines that tell a client where to connect
    // (resource names, ports); false with *why when it cannot serve at all.
    virtual bool start(std::vector<std::string>* lines, std::string* why) = 0;
    // Stops accepting, ends every connection and joins its threads.
    virtual void stop() = 0;
};

// A listening socket and its connections; the server owns each connection's socket. Handlers
// return when the connection ends or
// stopping() is raised (pass it as the cancel flag of their waits).
class TcpServer {
  public:
    using Handler = std::function<void(int connection, const std::string& peer)>;

    ~TcpServer() { stop(); }
    bool listen(const std::string& address, uint16_t port, std::string* why);
    uint16_t port() const { return port_; }
    void start(Handler handler);
    void stop();
    const std::atomic<bool>& stopping() const { return stop_; }

  private:
    void acceptLoop();

    Fd listener_;
    uint16_t port_ = 0;
    Handler handler_;
    std::thread acceptor_;
    std::atomic<bool> stop_{false};
    std::mutex m_;
    struct Connection {
        std::thread thread;
        int fd = -1;
        std::atomic<bool> done{false};
    };
    std::list<Connection> connections_;
};

std::string peerText(int fd);

}  // namespace zusimd

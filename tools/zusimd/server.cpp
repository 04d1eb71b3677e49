#include "tools/zusimd/server.h"

#include <poll.h>
#include <sys/socket.h>

#include <cstdio>

namespace zusimd {

void logLine(const std::string& text) {
    static std::mutex m;
    std::lock_guard<std::mutex> lock(m);
    fprintf(stderr, "zusimd: %s\n", text.c_str());
    fflush(stderr);
}

std::string peerText(int fd) {
    zuvisa::tcpip::Endpoint e;
    e.size = sizeof e.addr;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&e.addr), &e.size) != 0) return "?";
    return e.text();
}

bool TcpServer::listen(const std::string& address, uint16_t port, std::string* why) {
    return zuvisa::tcpip::listenTcp(address, port, &listener_, &port_, why) == VI_SUCCESS;
}

void TcpServer::start(Handler handler) {
    handler_ = std::move(handler);
    acceptor_ = std::thread([this] { acceptLoop(); });
}

void TcpServer::acceptLoop() {
    while (!stop_) {
        pollfd p{listener_.get(), POLLIN, 0};
        if (::poll(&p, 1, 20) <= 0) continue;
        int c = ::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (c < 0) continue;
        // A request then costs one receive, not a poll and a receive.
        zuvisa::tcpip::waitInReceive(c);
        std::lock_guard<std::mutex> lock(m_);
        // Finished connections are joined as new ones come.
        for (auto it = connections_.begin(); it != connections_.end();) {
            if (it->done) {
                it->thread.join();
                it = connections_.erase(it);
            } else {
                ++it;
            }
        }
        Connection& conn = connections_.emplace_back();
        conn.fd = c;
        conn.thread = std::thread([this, &conn, c] {
            Fd own(c);
            handler_(c, peerText(c));
            std::lock_guard<std::mutex> l(m_);
            conn.fd = -1;  // before the socket closes, so that stop never touches a reused number
            conn.done = true;
        });
    }
}

void TcpServer::stop() {
    stop_ = true;
    if (acceptor_.joinable()) acceptor_.join();
    {
        std::lock_guard<std::mutex> lock(m_);
        for (Connection& c : connections_) {
            if (c.fd >= 0) ::shutdown(c.fd, SHUT_RDWR);
        }
    }
    for (Connection& c : connections_) {
        if (c.thread.joinable()) c.thread.join();
    }
    connections_.clear();
    listener_.reset();
}

}  // namespace zusimd

// SOCKET: each SOCKET instrument of the files listens on a port of its own. What a client
// sends goes to the instrument as it comes (a line feed ends a message); whatever the
// instrument answers goes back at once.
#include <poll.h>

#include "tools/zusimd/frontends.h"

namespace zusimd {

namespace {

using namespace zuvisa;

class SocketFrontend : public Frontend {
  public:
    SocketFrontend(Bench& bench, const Options& o) : bench_(bench), options_(o) {}
    ~SocketFrontend() override { stop(); }
    const char* name() const override { return "SOCKET"; }

    bool start(std::vector<std::string>* lines, std::string* why) override {
        for (const Served& s : bench_.served()) {
            if (!s.isSocket) continue;
            auto server = std::make_unique<TcpServer>();
            uint16_t port = options_.socketPortsFromFile ? static_cast<uint16_t>(s.socketPort) : 0;
            if (!server->listen(options_.address, port, why)) return false;
            const Served* served = &s;
            TcpServer* srv = server.get();
            server->start([this, served, srv](int fd, const std::string& peer) {
                serve(*served, fd, peer, srv->stopping());
            });
            lines->push_back("TCPIP0::" + hostForName(options_.address) + "::" +
                             std::to_string(server->port()) + "::SOCKET serves " + s.resource);
            servers_.push_back(std::move(server));
        }
        return true;
    }

    void stop() override {
        for (auto& s : servers_) s->stop();
        servers_.clear();
    }

  private:
    void serve(const Served& s, int fd, const std::string& peer, const std::atomic<bool>& stop) {
        std::unique_ptr<Link> link;
        if (bench_.open(s, nullptr, &link) < 0) {
            logLine("SOCKET " + peer + " -> " + s.resource + ": cannot open the instrument");
            return;
        }
        tcpip::setNoDelay(fd, true);
        std::vector<ViByte> buf(64 * 1024);
        size_t in = 0, out = 0;
        std::string end = "closed by the client";
        IoControl forever = IoControl::fromTimeout(VI_TMO_INFINITE, &stop);
        for (;;) {
            // Answers first: they may be waiting from the last message.
            while (bench_.pendingOutput(s) > 0) {
                size_t n = 0;
                ReadOptions opt;
                link->read(buf.data(), buf.size(), opt, IoControl::fromTimeout(0, nullptr), &n);
                if (n == 0) break;
                if (tcpip::sendAll(fd, buf.data(), n, forever) < 0) {
                    end = "client gone";
                    n = 0;
                }
                out += n;
            }
            pollfd p{fd, POLLIN, 0};
            int rc = ::poll(&p, 1, 10);
            if (stop) {
                end = "server stopped";
                break;
            }
            if (rc <= 0) continue;
            size_t n = 0;
            if (tcpip::recvSome(fd, buf.data(), buf.size(), forever, &n) < 0) break;
            size_t done = 0;
            link->write(buf.data(), n, buf[n - 1] == '\n', forever, &done);
            in += n;
        }
        logLine("SOCKET " + peer + " -> " + s.resource + ": " + std::to_string(in) + " bytes in, " +
                std::to_string(out) + " bytes out, " + end);
    }

    Bench& bench_;
    Options options_;
    std::vector<std::unique_ptr<TcpServer>> servers_;
};

}  // namespace

std::string hostForName(const std::string& address) {
    if (address == "0.0.0.0") return "127.0.0.1";
    if (address == "::") return "[::1]";
    return address.find(':') != std::string::npos ? "[" + address + "]" : address;
}

std::unique_ptr<Frontend> makeSocketFrontend(Bench& bench, const Options& o) {
    return std::make_unique<SocketFrontend>(bench, o);
}

}  // namespace zusimd

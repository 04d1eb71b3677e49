// SOCKET: each SOCKET instrument of the files listens on a port of its own. What a client
// sends goes to the instrument a message at a time (a line feed ends a message); whatever the
// instrument answers goes back at once.
#include <poll.h>

#include <algorithm>

#include "tools/zusimd/frontends.h"
#include "zuvisa/bridgelets/sim/simdevice.h"

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
    // Each connection gathers its own message; the whole message goes to the instrument and
    // its answer comes back under the instrument's dialogue lock, so clients that talk at the
    // same time neither mix their bytes nor take each other's answers.
    void serve(const Served& s, int fd, const std::string& peer, const std::atomic<bool>& stop) {
        std::unique_ptr<Link> link;
        if (bench_.open(s, nullptr, &link) < 0) {
            logLine("SOCKET " + peer + " -> " + s.resource + ": cannot open the instrument");
            return;
        }
        tcpip::setNoDelay(fd, true);
        std::vector<ViByte> buf(64 * 1024);
        std::vector<ViByte> message;
        size_t in = 0, out = 0;
        bool gone = false;
        std::string end = "closed by the client";
        IoControl forever = IoControl::fromTimeout(VI_TMO_INFINITE, &stop);
        // Sends what the instrument has to say; with the dialogue lock held.
        auto passAnswers = [&] {
            while (!gone && bench_.pendingOutput(s) > 0) {
                size_t n = 0;
                ReadOptions opt;
                link->read(buf.data(), buf.size(), opt, IoControl::fromTimeout(0, nullptr), &n);
                if (n == 0) break;
                if (tcpip::sendAll(fd, buf.data(), n, forever) < 0) {
                    end = "client gone";
                    gone = true;
                    break;
                }
                out += n;
            }
        };
        while (!gone) {
            // Output nobody asked for (an action's message) goes to whoever looks first.
            if (bench_.pendingOutput(s) > 0) {
                std::lock_guard<std::mutex> lock(*s.dialogue);
                passAnswers();
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
            in += n;
            message.insert(message.end(), buf.begin(), buf.begin() + static_cast<long>(n));
            size_t ready = wholeMessages(message, s.messageDevice->endOfMessage().q);
            // A block too long to hold goes on in pieces, as one client's bytes.
            if (ready == 0 && message.size() >= kLongestHeldMessage) ready = message.size();
            if (ready == 0) continue;
            std::lock_guard<std::mutex> lock(*s.dialogue);
            size_t done = 0;
            link->write(message.data(), ready, message[ready - 1] == '\n', forever, &done);
            message.erase(message.begin(), message.begin() + static_cast<long>(ready));
            passAnswers();
        }
        if (!message.empty()) end += " (" + std::to_string(message.size()) + " bytes of an unfinished message dropped)";
        logLine("SOCKET " + peer + " -> " + s.resource + ": " + std::to_string(in) + " bytes in, " +
                std::to_string(out) + " bytes out, " + end);
    }

    static constexpr size_t kLongestHeldMessage = 1u << 20;

    // How many bytes at the front of what a client sent make whole messages: up to the last
    // end of message of the instrument's own, or the last line feed.
    static size_t wholeMessages(const std::vector<ViByte>& bytes, const std::string& eom) {
        size_t upTo = 0;
        for (size_t i = bytes.size(); i-- > 0 && upTo == 0;) {
            if (bytes[i] == '\n') upTo = i + 1;
            if (!eom.empty() && i + eom.size() <= bytes.size() &&
                std::equal(eom.begin(), eom.end(), bytes.begin() + static_cast<long>(i)))
                upTo = std::max(upTo, i + eom.size());
        }
        return upTo;
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

// SERIAL: each serial (ASRL) instrument of the files sits at the far end of a pseudo-terminal.
// A client opens the terminal's slave side as it would a serial port (/dev/pts/N, or the link
// made for it in --pty-dir); what it sends reaches the instrument, whose answers come back.
// zusimd holds the slave side open too, so that the terminal lives between clients; it goes
// away (a hangup for the client) when zusimd stops.
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>

#include "tools/zusimd/frontends.h"
#include "zuvisa/rsrcname.h"

namespace zusimd {

namespace {

using namespace zuvisa;

struct Terminal {
    const Served* served = nullptr;
    int master = -1, slave = -1;
    std::string path, link;
    std::thread thread;
};

class SerialFrontend : public Frontend {
public:
    SerialFrontend(Bench& bench, const Options& o) : bench_(bench), options_(o) {}
    ~SerialFrontend() override { stop(); }
    const char* name() const override { return "SERIAL"; }

    bool start(std::vector<std::string>* lines, std::string* why) override {
        for (const Served& s : bench_.served()) {
            ResourceName n;
            if (parseResourceName(s.resource, &n) != VI_SUCCESS || n.intfType != VI_INTF_ASRL) continue;
            auto t = std::make_unique<Terminal>();
            t->served = &s;
            if (!openTerminal(t.get(), why)) return false;
            if (!options_.ptyDirectory.empty()) {
                t->link = options_.ptyDirectory + "/" + deviceNameOf(s.resource);
                unlink(t->link.c_str());
                if (symlink(t->path.c_str(), t->link.c_str()) != 0) {
                    *why = "cannot make " + t->link + ": " + strerror(errno);
                    return false;
                }
            }
            lines->push_back("ASRL" + t->path + "::INSTR serves " + s.resource +
                             (t->link.empty() ? std::string() : " (also " + t->link + ")"));
            Terminal* raw = t.get();
            t->thread = std::thread([this, raw] { serve(*raw); });
            terminals_.push_back(std::move(t));
        }
        return true;
    }

    void stop() override {
        stop_ = true;
        for (auto& t : terminals_) {
            if (t->thread.joinable()) t->thread.join();
            if (!t->link.empty()) unlink(t->link.c_str());
            if (t->slave >= 0) close(t->slave);
            if (t->master >= 0) close(t->master);
        }
        terminals_.clear();
    }

private:
    static bool openTerminal(Terminal* t, std::string* why) {
        t->master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        char name[128];
        if (t->master < 0 || grantpt(t->master) != 0 || unlockpt(t->master) != 0 ||
            ptsname_r(t->master, name, sizeof name) != 0) {
            *why = std::string("no pseudo-terminal: ") + strerror(errno);
            return false;
        }
        t->path = name;
        t->slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (t->slave < 0) {
            *why = "cannot open " + t->path + ": " + strerror(errno);
            return false;
        }
        // A client that does not set the line up still gets bytes as they are.
        termios tio;
        if (tcgetattr(t->slave, &tio) == 0) {
            cfmakeraw(&tio);
            tcsetattr(t->slave, TCSANOW, &tio);
        }
        return true;
    }

    void serve(Terminal& t) {
        const Served& s = *t.served;
        std::unique_ptr<Link> link;
        if (bench_.open(s, nullptr, &link) < 0) {
            logLine("SERIAL " + t.path + " -> " + s.resource + ": cannot open the instrument");
            return;
        }
        logLine("SERIAL " + t.path + " -> " + s.resource);
        std::vector<ViByte> buf(4096);
        size_t in = 0, out = 0;
        IoControl now = IoControl::fromTimeout(0, nullptr);
        while (!stop_) {
            while (bench_.pendingOutput(s) > 0) {
                size_t n = 0;
                link->read(buf.data(), buf.size(), ReadOptions{}, now, &n);
                if (n == 0) break;
                writeAll(t.master, buf.data(), n);
                out += n;
            }
            pollfd p{t.master, POLLIN, 0};
            if (::poll(&p, 1, 10) <= 0 || !(p.revents & POLLIN)) continue;
            ssize_t n = ::read(t.master, buf.data(), buf.size());
            if (n <= 0) continue;
            // A serial line has no END: the instrument finds its messages' ends itself.
            size_t done = 0;
            link->write(buf.data(), static_cast<size_t>(n), false, IoControl::fromTimeout(VI_TMO_INFINITE, &stop_), &done);
            in += static_cast<size_t>(n);
        }
        logLine("SERIAL " + t.path + " -> " + s.resource + ": " + std::to_string(in) + " bytes in, " +
                std::to_string(out) + " bytes out, server stopped");
    }

    // The master is non-blocking: a client that does not read is waited for, briefly.
    void writeAll(int fd, const ViByte* data, size_t count) {
        size_t off = 0;
        while (off < count && !stop_) {
            ssize_t n = ::write(fd, data + off, count - off);
            if (n > 0) {
                off += static_cast<size_t>(n);
                continue;
            }
            if (n < 0 && errno != EAGAIN && errno != EINTR) return;
            pollfd p{fd, POLLOUT, 0};
            ::poll(&p, 1, 10);
        }
    }

    Bench& bench_;
    Options options_;
    std::atomic<bool> stop_{false};
    std::vector<std::unique_ptr<Terminal>> terminals_;
};

}  // namespace

std::unique_ptr<Frontend> makeSerialFrontend(Bench& bench, const Options& o) {
    return std::make_unique<SerialFrontend>(bench, o);
}

}  // namespace zusimd

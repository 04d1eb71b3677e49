// Network test benches: zusimd's front ends serving the LAN test file in-process on free
// ports, a ZU-VISA configuration that reaches them, and scripted fake servers for faults.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "../../testbench.h"
#include "tools/zusimd/bench.h"
#include "tools/zusimd/frontends.h"
#include "zuvisa/bridgelets/tcpip/net.h"

namespace zuvisa::testing {

// The demo LAN instrument's identity.
inline const std::string kIdn = "ZU Instruments,LAN-1 (simulated),SIM0001,1.0\n";

// A text out, and what came back with its status, for the link tests.
inline ViStatus send(ViSession vi, const std::string& text) {
    return writeText(vi, text);
}
inline std::pair<ViStatus, std::string> receive(ViSession vi, ViUInt32 count) {
    ViStatus st = VI_SUCCESS;
    std::string text = readText(vi, &st, count);
    return {st, text};
}

// Asks the LAN test instrument for a service request (operation complete after INIT) and
// waits for the event; the status of the wait.
inline ViStatus serviceRequestComes(ViSession vi) {
    ViStatus st = viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL);
    if (st == VI_SUCCESS) st = send(vi, "*ESE 1;*SRE 32\n");
    if (st == VI_SUCCESS) st = send(vi, "INIT\n");
    if (st != VI_SUCCESS) return st;
    ViEventType type = 0;
    ViEvent ev = 0;
    st = viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 3000, &type, &ev);
    if (st == VI_SUCCESS) viClose(ev);
    return st;
}

// zusimd's three front ends on the LAN test file.
class Zusimd {
  public:
    explicit Zusimd(zusimd::Options o = {}, const std::string& file = testData("data/lan.yaml")) {
        o.portmapper111 = false;
        std::vector<std::string> problems;
        EXPECT_TRUE(bench_.load({file}, &problems));
        frontends_.push_back(zusimd::makeSocketFrontend(bench_, o));
        frontends_.push_back(zusimd::makeVxi11Frontend(bench_, o));
        frontends_.push_back(zusimd::makeHislipFrontend(bench_, o));
        for (auto& f : frontends_) {
            std::string why;
            EXPECT_TRUE(f->start(&lines_, &why)) << why;
        }
    }
    ~Zusimd() {
        for (auto& f : frontends_) f->stop();
    }
    // The first resource name a start line gives for what matches.
    std::string name(const std::string& pattern) const {
        std::regex re(pattern);
        for (const std::string& l : lines_) {
            std::smatch m;
            if (std::regex_search(l, m, re)) return l.substr(0, l.find(' '));
        }
        ADD_FAILURE() << "no line matches " << pattern;
        return {};
    }
    std::string socketName() const { return name("SOCKET serves"); }
    std::string vxi11Name() const { return name("inst0::INSTR serves .* over VXI-11"); }
    std::string hislipName() const { return name("hislip0,[0-9]+::INSTR serves"); }
    int portmapperPort() const {
        std::smatch m;
        for (const std::string& l : lines_) {
            if (std::regex_search(l, m, std::regex("portmapper on \\S+:([0-9]+)")))
                return std::stoi(m[1]);
        }
        return 0;
    }
    const std::vector<std::string>& lines() const { return lines_; }

  private:
    zusimd::Bench bench_;
    std::vector<std::unique_ptr<zusimd::Frontend>> frontends_;
    std::vector<std::string> lines_;
};

inline std::string lanConfig(int portmapperPort, const std::string& extra = std::string()) {
    return "[Bridgelets]\nsim = False\ntcpip = True\n\n[tcpip]\nPortmapperPort = " +
           std::to_string(portmapperPort) + "\nDiscover = False\nConnectTimeout = 1500\n" + extra;
}

// A listening socket on a free loopback port whose connections run a scripted peer.
class FakeServer {
  public:
    using Script = std::function<void(int fd)>;
    explicit FakeServer(Script script, bool acceptAtOnce = true) : script_(std::move(script)) {
        std::string why;
        EXPECT_EQ(tcpip::listenTcp("127.0.0.1", 0, &listener_, &port_, &why), VI_SUCCESS) << why;
        if (acceptAtOnce) start();
    }
    ~FakeServer() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
    }
    void start() {
        thread_ = std::thread([this] {
            std::vector<std::thread> peers;
            while (!stop_) {
                pollfd p{listener_.get(), POLLIN, 0};
                if (::poll(&p, 1, 20) <= 0) continue;
                int fd = ::accept(listener_.get(), nullptr, nullptr);
                if (fd < 0) continue;
                peers.emplace_back([this, fd] {
                    script_(fd);
                    ::close(fd);
                });
            }
            for (auto& t : peers) t.join();
        });
    }
    uint16_t port() const { return port_; }
    const std::atomic<bool>& stopping() const { return stop_; }

  private:
    Script script_;
    tcpip::Fd listener_;
    uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

// Waits until the peer closes or the server stops: a peer that says nothing.
inline void staySilent(int fd, const std::atomic<bool>& stop) {
    char buf[4096];
    while (!stop) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 20) > 0 && ::recv(fd, buf, sizeof buf, 0) <= 0) return;
    }
}

// A resource manager on a ZU-VISA configuration that reaches an in-process zusimd.
class LanLinkTest : public ::testing::Test {
  protected:
    explicit LanLinkTest(zusimd::Options o = {}) : sim(o), config(lanConfig(sim.portmapperPort())) {}
    void SetUp() override { ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS); }
    void TearDown() override { viClose(rm); }
    ViSession open(const std::string& name) {
        ViSession vi = 0;
        EXPECT_EQ(viOpen(rm, name.c_str(), VI_NULL, 0, &vi), VI_SUCCESS) << name;
        return vi;
    }

    Zusimd sim;
    TempConfig config;
    ViSession rm = 0;
};

// A service request asked for and come (serviceRequestComes), and the status byte's RQS bit.
inline void expectServiceRequestWithRqs(ViSession vi) {
    ASSERT_EQ(serviceRequestComes(vi), VI_SUCCESS);
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_EQ(stb & 0x40, 0x40);
}

// An asynchronous read that nothing answers, terminated 100 ms after it started: the status its
// completion event carries, and how long after viTerminate the event came.
struct TerminatedRead {
    ViStatus status = VI_SUCCESS;
    std::chrono::steady_clock::duration took{};
};
inline TerminatedRead terminateAWaitingRead(ViSession vi, ViUInt32 eventWaitMs) {
    using namespace std::chrono;
    TerminatedRead r;
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_TMO_VALUE, 10000), VI_SUCCESS);
    EXPECT_EQ(viEnableEvent(vi, VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_NULL), VI_SUCCESS);
    static char buf[16];
    ViJobId job = 0;
    EXPECT_GE(viReadAsync(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &job), VI_SUCCESS);
    std::this_thread::sleep_for(milliseconds(100));
    auto t0 = steady_clock::now();
    EXPECT_EQ(viTerminate(vi, VI_NULL, job), VI_SUCCESS);
    ViEvent ev = 0;
    ViEventType type = 0;
    r.status = viWaitOnEvent(vi, VI_EVENT_IO_COMPLETION, eventWaitMs, &type, &ev);
    if (r.status == VI_SUCCESS) {
        viGetAttribute(ev, VI_ATTR_STATUS, &r.status);
        viClose(ev);
    }
    r.took = steady_clock::now() - t0;
    return r;
}

}  // namespace zuvisa::testing

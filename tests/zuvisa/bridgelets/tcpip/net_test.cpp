// Receives under a deadline and a cancel flag, for each way a receive can wait; IPv6 hosts for
// every protocol.
#include "zuvisa/bridgelets/tcpip/net.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "netbench.h"

using namespace std::chrono;
using namespace zuvisa;
using namespace zuvisa::tcpip;
using zuvisa::testing::FakeServer;
using zuvisa::testing::staySilent;

namespace {

Fd connectLocal(uint16_t port) {
    std::vector<Endpoint> eps;
    std::string why;
    EXPECT_EQ(resolve("127.0.0.1", port, &eps, &why), VI_SUCCESS) << why;
    Fd fd;
    EXPECT_EQ(connectTo(eps, IoControl::fromTimeout(2000, nullptr), &fd, &why), VI_SUCCESS) << why;
    return fd;
}

TEST(Net, OnlyConnectedSocketsWaitInTheirReceives) {
    FakeServer silent([&](int fd) { staySilent(fd, silent.stopping()); });
    Fd fd = connectLocal(silent.port());
    EXPECT_TRUE(waitsInReceive(fd.get()));
    Fd listener;
    uint16_t port = 0;
    ASSERT_EQ(listenTcp("127.0.0.1", 0, &listener, &port, nullptr), VI_SUCCESS);
    EXPECT_FALSE(waitsInReceive(listener.get()));  // non-blocking
    int pipes[2];
    ASSERT_EQ(::pipe(pipes), 0);
    EXPECT_FALSE(waitsInReceive(pipes[0]));  // blocking without a limit: never waits in a receive
    ::close(pipes[0]);
    ::close(pipes[1]);
}

TEST(Net, ASilentPeerEndsEveryWaitAtItsDeadlineOrCancel) {
    FakeServer silent([&](int fd) { staySilent(fd, silent.stopping()); });
    Fd fd = connectLocal(silent.port());
    constexpr int kNever = -1;
    struct Case {
        RecvWait wait;
        ViUInt32 timeoutMs;
        int cancelAfterMs;
        ViStatus status;
    };
    // 7 ms is less than a slice, 65 ms is slices and a rest; the infinite wait ends on cancel.
    const Case cases[] = {
        {RecvWait::InReceive, VI_TMO_IMMEDIATE, kNever, VI_ERROR_TMO},
        {RecvWait::InReceive, 7, kNever, VI_ERROR_TMO},
        {RecvWait::InReceive, 65, kNever, VI_ERROR_TMO},
        {RecvWait::InReceive, 2000, 50, VI_ERROR_ABORT},
        {RecvWait::InReceive, VI_TMO_INFINITE, 50, VI_ERROR_ABORT},
        {RecvWait::AfterTry, 65, kNever, VI_ERROR_TMO},
        {RecvWait::BeforeTry, 65, kNever, VI_ERROR_TMO},
        {RecvWait::BeforeTry, VI_TMO_INFINITE, 50, VI_ERROR_ABORT},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "wait " << static_cast<int>(c.wait) << ", timeout "
                                          << c.timeoutMs << ", cancel " << c.cancelAfterMs);
        std::atomic<bool> cancel{false};
        std::thread canceller;
        if (c.cancelAfterMs != kNever) {
            canceller = std::thread([&] {
                std::this_thread::sleep_for(milliseconds(c.cancelAfterMs));
                cancel = true;
            });
        }
        char buf[16];
        size_t got = 99;
        auto t0 = steady_clock::now();
        ViStatus st = recvSome(fd.get(), buf, sizeof buf, IoControl::fromTimeout(c.timeoutMs, &cancel),
                               &got, c.wait);
        auto took = duration_cast<milliseconds>(steady_clock::now() - t0).count();
        if (canceller.joinable()) canceller.join();
        EXPECT_EQ(st, c.status);
        EXPECT_EQ(got, 0u);
        int earliest = c.cancelAfterMs != kNever ? c.cancelAfterMs
                       : c.timeoutMs == VI_TMO_IMMEDIATE ? 0
                                                         : static_cast<int>(c.timeoutMs);
        EXPECT_GE(took, earliest);
        EXPECT_LT(took, earliest + 150);
    }
}

TEST(Net, AReceiveThatWaitsGetsWhatArrivesLaterAndTheEndOfTheStream) {
    FakeServer late([](int fd) {
        std::this_thread::sleep_for(milliseconds(60));
        ::send(fd, "late", 4, 0);
    });
    Fd fd = connectLocal(late.port());
    char buf[16];
    size_t got = 0;
    IoControl io = IoControl::fromTimeout(2000, nullptr);
    ASSERT_EQ(recvSome(fd.get(), buf, sizeof buf, io, &got, RecvWait::InReceive), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, got), "late");
    EXPECT_EQ(recvSome(fd.get(), buf, sizeof buf, io, &got, RecvWait::InReceive), VI_ERROR_CONN_LOST);
}

}  // namespace

namespace zuvisa::testing {
namespace {

bool loopbackV6() {
    Fd probe;
    uint16_t port = 0;
    std::string why;
    return listenTcp("::1", 0, &probe, &port, &why) == VI_SUCCESS;
}

TEST(Ipv6, EveryProtocolReachesAnIpv6HostAndServiceRequestsCome) {
    if (!loopbackV6()) GTEST_SKIP() << "this machine has no IPv6 loopback (::1)";
    zusimd::Options o;
    o.address = "::1";
    Zusimd sim(o);
    TempConfig config(lanConfig(sim.portmapperPort()));
    ViSession rm = 0;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    for (const std::string& name : {sim.socketName(), sim.vxi11Name(), sim.hislipName()}) {
        ASSERT_EQ(name.rfind("TCPIP0::[::1]::", 0), 0u) << name;
        ViSession vi = 0;
        ASSERT_EQ(viOpen(rm, name.c_str(), VI_NULL, 0, &vi), VI_SUCCESS) << name;
        viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, VI_TRUE);
        ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS) << name;
        EXPECT_EQ(receive(vi, 200).second, kIdn) << name;
        viClose(vi);
    }
    // HiSLIP's service requests come on its own asynchronous channel, whatever the address
    // family (VXI-11's interrupt channel can name only an IPv4 host).
    ViSession vi = 0;
    ASSERT_EQ(viOpen(rm, sim.hislipName().c_str(), VI_NULL, 0, &vi), VI_SUCCESS);
    EXPECT_EQ(serviceRequestComes(vi), VI_SUCCESS);
    viClose(rm);
}

}  // namespace
}  // namespace zuvisa::testing

// TCPIP SOCKET through the C API: against zusimd's socket front end and against scripted
// peers for what a real instrument may do wrong.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

#include "netbench.h"
#include "zuvisa/visa.h"

namespace zuvisa::testing {
namespace {

using namespace std::chrono;

class SocketLink : public LanLinkTest {
  protected:
    static std::string local(uint16_t port) {
        return "TCPIP0::127.0.0.1::" + std::to_string(port) + "::SOCKET";
    }
};

TEST_F(SocketLink, ReadsEndOnTermCharCountOrWhatArrived) {
    ViSession vi = open(sim.socketName());
    const std::string idn = "ZU Instruments,LAN-1 (simulated),SIM0001,1.0\n";
    // Without a termination character the read ends with what the peer sent.
    ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS);
    auto [st, text] = receive(vi, 200);
    EXPECT_EQ(st, VI_SUCCESS);
    EXPECT_EQ(text, idn);
    // A short count, then the rest up to the termination character.
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, VI_TRUE), VI_SUCCESS);
    ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS);
    auto first = receive(vi, 10);
    EXPECT_EQ(first.first, VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(first.second, idn.substr(0, 10));
    auto rest = receive(vi, 200);
    EXPECT_EQ(rest.first, VI_SUCCESS_TERM_CHAR);
    EXPECT_EQ(rest.second, idn.substr(10));
    // Two answers in one arrival come out one at a time.
    ASSERT_EQ(send(vi, "*IDN?\n*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(receive(vi, 200).second, idn);
    EXPECT_EQ(receive(vi, 200).second, idn);
    viClose(vi);
}

TEST_F(SocketLink, Ieee4882StringsGiveStatusByteAndTrigger) {
    ViSession vi = open(sim.socketName());
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_DEFAULT), VI_ERROR_NSUP_OPER);
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_IO_PROT, VI_PROT_4882_STRS), VI_SUCCESS);
    ASSERT_EQ(send(vi, "*SRE 16\n"), VI_SUCCESS);
    stb = 0xFFFF;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_EQ(stb, 0);
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_IO_PROT, VI_PROT_HS488), VI_ERROR_NSUP_ATTR_STATE);
    ViUInt16 prot = 0;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_IO_PROT, &prot), VI_SUCCESS);
    EXPECT_EQ(prot, VI_PROT_4882_STRS);
    viClose(vi);
}

TEST_F(SocketLink, SocketOptionsAreTheSocketsOwn) {
    ViSession vi = open(sim.socketName());
    for (ViAttr a : {VI_ATTR_TCPIP_NODELAY, VI_ATTR_TCPIP_KEEPALIVE}) {
        for (ViBoolean v : {VI_TRUE, VI_FALSE}) {
            ASSERT_EQ(viSetAttribute(vi, a, v), VI_SUCCESS);
            ViBoolean got = 2;
            EXPECT_EQ(viGetAttribute(vi, a, &got), VI_SUCCESS);
            EXPECT_EQ(got, v) << std::hex << a;
        }
    }
    viClose(vi);
}

// What a scripted peer received, for checking how writes leave.
struct Recorder {
    std::mutex m;
    std::vector<std::string> arrivals;
};

TEST_F(SocketLink, WithoutEndWritesWaitForTheRestOfTheMessage) {
    Recorder rec;
    FakeServer peer([&](int fd) {
        char buf[256];
        ssize_t n;
        while ((n = ::recv(fd, buf, sizeof buf, 0)) > 0) {
            std::lock_guard<std::mutex> lock(rec.m);
            rec.arrivals.emplace_back(buf, static_cast<size_t>(n));
        }
    });
    ViSession vi = open(local(peer.port()));
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_SEND_END_EN, VI_FALSE), VI_SUCCESS);
    ASSERT_EQ(send(vi, "VOLT "), VI_SUCCESS);
    ASSERT_EQ(send(vi, "2.5"), VI_SUCCESS);
    std::this_thread::sleep_for(milliseconds(100));
    {
        std::lock_guard<std::mutex> lock(rec.m);
        EXPECT_TRUE(rec.arrivals.empty());
    }
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_SEND_END_EN, VI_TRUE), VI_SUCCESS);
    ASSERT_EQ(send(vi, "\n"), VI_SUCCESS);
    std::this_thread::sleep_for(milliseconds(100));
    {
        std::lock_guard<std::mutex> lock(rec.m);
        ASSERT_EQ(rec.arrivals.size(), 1u);
        EXPECT_EQ(rec.arrivals[0], "VOLT 2.5\n");
    }
    viClose(vi);
}

TEST_F(SocketLink, SuppressedEndWaitsForTheCount) {
    FakeServer peer([&](int fd) {
        char c;
        if (::recv(fd, &c, 1, 0) != 1) return;  // any byte asks
        ::send(fd, "12345", 5, 0);
        std::this_thread::sleep_for(milliseconds(100));
        ::send(fd, "678", 3, 0);
        staySilent(fd, peer.stopping());
    });
    struct Case {
        ViBoolean suppress;
        ViStatus status;
        const char* data;
    };
    const Case cases[] = {{VI_FALSE, VI_SUCCESS, "12345"},
                          {VI_TRUE, VI_SUCCESS_MAX_CNT, "12345678"}};
    for (const Case& c : cases) {
        ViSession vi = open(local(peer.port()));
        ASSERT_EQ(viSetAttribute(vi, VI_ATTR_SUPPRESS_END_EN, c.suppress), VI_SUCCESS);
        ASSERT_EQ(send(vi, "?"), VI_SUCCESS);
        auto [st, text] = receive(vi, 8);
        EXPECT_EQ(st, c.status);
        EXPECT_EQ(text, c.data);
        viClose(vi);
    }
}

TEST_F(SocketLink, FaultsEndInAStatusWithinTheTimeout) {
    FakeServer closesMidMessage([](int fd) {
        char c;
        if (::recv(fd, &c, 1, 0) == 1) ::send(fd, "PART", 4, 0);
    });
    FakeServer silent([&](int fd) { staySilent(fd, silent.stopping()); });
    FakeServer slowAccept(
        [](int fd) {
            char buf[64];
            if (::recv(fd, buf, sizeof buf, 0) > 0) ::send(fd, "late\n", 5, 0);
        },
        false);
    std::thread later([&] {
        std::this_thread::sleep_for(milliseconds(300));
        slowAccept.start();
    });
    struct Case {
        const char* what;
        uint16_t port;
        ViStatus status;
        const char* data;
    };
    const Case cases[] = {
        {"peer closes in the middle of a message", closesMidMessage.port(), VI_ERROR_CONN_LOST,
         "PART"},
        {"peer says nothing", silent.port(), VI_ERROR_TMO, ""},
        {"peer accepts late but answers", slowAccept.port(), VI_SUCCESS_TERM_CHAR, "late\n"},
    };
    for (const Case& c : cases) {
        ViSession vi = open(local(c.port));
        ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TMO_VALUE, 400), VI_SUCCESS);
        ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, VI_TRUE), VI_SUCCESS);
        auto t0 = steady_clock::now();
        ASSERT_EQ(send(vi, "?\n"), VI_SUCCESS) << c.what;
        auto [st, text] = receive(vi, 64);
        EXPECT_EQ(st, c.status) << c.what;
        EXPECT_EQ(text, c.data) << c.what;
        EXPECT_LT(steady_clock::now() - t0, milliseconds(1000)) << c.what;
        viClose(vi);
    }
    later.join();
}

TEST_F(SocketLink, OpenFailuresSayWhy) {
    uint16_t closedPort;
    {
        FakeServer gone([](int) {});
        closedPort = gone.port();
    }
    struct Case {
        std::string name;
        ViStatus status;
    };
    const Case cases[] = {
        {local(closedPort), VI_ERROR_MACHINE_NAVAIL},
        {"TCPIP0::no-such-host.invalid::5025::SOCKET", VI_ERROR_RSRC_NFOUND},
        {"TCPIP0::[::1]::" + std::to_string(closedPort) + "::SOCKET", VI_ERROR_MACHINE_NAVAIL},
    };
    for (const Case& c : cases) {
        ViSession vi = 0;
        auto t0 = steady_clock::now();
        EXPECT_EQ(viOpen(rm, c.name.c_str(), VI_NULL, 0, &vi), c.status) << c.name;
        EXPECT_EQ(vi, VI_NULL);
        EXPECT_LT(steady_clock::now() - t0, milliseconds(2000)) << c.name;
    }
}

TEST_F(SocketLink, TerminateAbandonsAWaitingRead) {
    FakeServer silent([&](int fd) { staySilent(fd, silent.stopping()); });
    ViSession vi = open(local(silent.port()));
    TerminatedRead r = terminateAWaitingRead(vi, 2000);
    EXPECT_EQ(r.status, VI_ERROR_ABORT);
    EXPECT_LT(r.took, milliseconds(1000));
    viClose(vi);
}

// The demo bench never answers for a real host; a user's own simulation file does.
TEST(NetworkNames, SimulatedOnlyWhenTheUsersFileNamesThem) {
    FakeServer echo([](int fd) {
        char buf[256];
        ssize_t n;
        while ((n = ::recv(fd, buf, sizeof buf, 0)) > 0) ::send(fd, buf, static_cast<size_t>(n), 0);
    });
    std::string name = "TCPIP0::127.0.0.1::" + std::to_string(echo.port()) + "::SOCKET";
    char dir[] = "/tmp/zuvisa-rule-XXXXXX";
    ASSERT_TRUE(mkdtemp(dir));
    std::string file = std::string(dir) + "/mine.yaml";
    std::ofstream(file)
        << "spec: \"1.1\"\ndevices:\n  d:\n    eom:\n      TCPIP SOCKET: {q: \"\\n\", r: \"\\n\"}\n"
           "    dialogues:\n      - {q: \"hello\", r: \"simulated\"}\nresources:\n  "
        << name << ":\n    device: d\n";
    struct Case {
        const char* what;
        std::string config;
        std::string answer;
    };
    const Case cases[] = {
        {"demo bench only", "[Bridgelets]\nsim = True\ntcpip = True\n[tcpip]\nDiscover = False\n",
         "hello\n"},
        {"the user's file",
         "[Bridgelets]\nsim = True\ntcpip = True\n[tcpip]\nDiscover = False\n[Simulation]\nFile1 = "
         "\"" +
             file + "\"\n",
         "simulated\n"},
    };
    for (const Case& c : cases) {
        TempConfig config(c.config);
        ViSession rm = 0, vi = 0;
        ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
        ASSERT_EQ(viOpen(rm, name.c_str(), VI_NULL, 0, &vi), VI_SUCCESS) << c.what;
        viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, VI_TRUE);
        EXPECT_EQ(send(vi, "hello\n"), VI_SUCCESS);
        EXPECT_EQ(receive(vi, 64).second, c.answer) << c.what;
        viClose(rm);
    }
    unlink(file.c_str());
    rmdir(dir);
}

TEST(NetworkNames, TheDemoBenchNamesNoRealHost) {
    TempConfig config("[Bridgelets]\nsim = True\n");
    ViSession rm = 0, list = 0;
    ViUInt32 count = 0;
    char name[VI_FIND_BUFLEN];
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    ASSERT_EQ(viFindRsrc(rm, "TCPIP?*", &list, &count, name), VI_SUCCESS);
    EXPECT_GE(count, 3u);
    for (ViUInt32 i = 0; i < count; ++i) {
        if (i) {
            ASSERT_EQ(viFindNext(list, name), VI_SUCCESS);
        }
        // ".invalid" is reserved: no resolver ever answers for it.
        EXPECT_NE(std::string(name).find(".invalid::"), std::string::npos) << name;
    }
    viClose(rm);
}

}  // namespace
}  // namespace zuvisa::testing

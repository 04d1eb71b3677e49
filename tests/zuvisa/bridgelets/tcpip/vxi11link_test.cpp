// TCPIP INSTR over VXI-11 through the C API: against zusimd, and against scripted servers
// that break the protocol.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>

#include "netbench.h"
#include "zuvisa/bridgelets/tcpip/rpc.h"
#include "zuvisa/bridgelets/tcpip/vxi11.h"
#include "zuvisa/visa.h"

namespace zuvisa::testing {
namespace {

using namespace std::chrono;
using namespace zuvisa::tcpip;

class Vxi11Link : public LanLinkTest {
  protected:
    explicit Vxi11Link(zusimd::Options o = {}) : LanLinkTest(o) {}
};

TEST_F(Vxi11Link, MessagesStatusTriggerClearAndRemote) {
    ViSession vi = open(sim.vxi11Name());
    ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS);
    auto first = receive(vi, 8);
    EXPECT_EQ(first.first, VI_SUCCESS_MAX_CNT);
    auto rest = receive(vi, 200);
    EXPECT_EQ(rest.first, VI_SUCCESS);
    EXPECT_EQ(first.second + rest.second, kIdn);
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, VI_TRUE), VI_SUCCESS);
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TERMCHAR, ','), VI_SUCCESS);
    ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS);
    auto upToComma = receive(vi, 200);
    EXPECT_EQ(upToComma.first, VI_SUCCESS_TERM_CHAR);
    EXPECT_EQ(upToComma.second, "ZU Instruments,");
    EXPECT_EQ(viClear(vi), VI_SUCCESS);
    ViUInt16 stb = 0xFFFF;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_EQ(stb & 0x10, 0);  // the clear dropped the rest of the answer
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);
    EXPECT_EQ(viGpibControlREN(vi, VI_GPIB_REN_ASSERT_ADDRESS), VI_SUCCESS);
    EXPECT_EQ(viGpibControlREN(vi, VI_GPIB_REN_ADDRESS_GTL), VI_SUCCESS);
    EXPECT_EQ(viGpibControlREN(vi, 99), VI_ERROR_INV_MODE);
    viClose(vi);
}

TEST_F(Vxi11Link, ServiceRequestsComeBackOverTheInterruptChannel) {
    ViSession vi = open(sim.vxi11Name());
    expectServiceRequestWithRqs(vi);
    viClose(vi);
}

TEST_F(Vxi11Link, LocksHoldAcrossClientsOfTheInstrument) {
    // Two spellings of the host are two resources here, one instrument there.
    ViSession a = open(sim.vxi11Name());
    std::string other = sim.vxi11Name();
    other.replace(other.find("127.0.0.1"), 9, "localhost");
    ViSession b = open(other);
    ASSERT_EQ(viLock(a, VI_EXCLUSIVE_LOCK, 0, VI_NULL, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(send(b, "*IDN?\n"), VI_ERROR_RSRC_LOCKED);
    auto t0 = steady_clock::now();
    EXPECT_EQ(viLock(b, VI_EXCLUSIVE_LOCK, 300, VI_NULL, VI_NULL), VI_ERROR_TMO);
    EXPECT_GE(steady_clock::now() - t0, milliseconds(250));
    EXPECT_LT(steady_clock::now() - t0, milliseconds(2000));
    ASSERT_EQ(viUnlock(a), VI_SUCCESS);
    EXPECT_EQ(viLock(b, VI_EXCLUSIVE_LOCK, 0, VI_NULL, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(send(b, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(viUnlock(b), VI_SUCCESS);
    viClose(a);
    viClose(b);
}

TEST_F(Vxi11Link, TerminateAbortsAReadOverTheAbortChannel) {
    ViSession vi = open(sim.vxi11Name());
    TerminatedRead r = terminateAWaitingRead(vi, 3000);
    EXPECT_EQ(r.status, VI_ERROR_ABORT);
    EXPECT_LT(r.took, milliseconds(1500));
    // The link goes on: the interrupted reply is not taken for the next one.
    ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(receive(vi, 200).second, kIdn);
    viClose(vi);
}

class Vxi11SmallWrites : public Vxi11Link {
  protected:
    static zusimd::Options small() {
        zusimd::Options o;
        o.vxi11MaxRecv = 16;
        return o;
    }
    Vxi11SmallWrites() : Vxi11Link(small()) {}
};

TEST_F(Vxi11SmallWrites, LongWritesGoInPiecesWithEndOnTheLast) {
    ViSession vi = open(sim.vxi11Name());
    // Spaces around a command are ignored: END on an early piece would end it empty.
    std::string command = std::string(100, ' ') + "*IDN?\n";
    ViUInt32 n = 0;
    ASSERT_EQ(viWrite(vi, reinterpret_cast<ViConstBuf>(command.data()),
                      static_cast<ViUInt32>(command.size()), &n),
              VI_SUCCESS);
    EXPECT_EQ(n, command.size());
    EXPECT_EQ(receive(vi, 200).second, kIdn);
    viClose(vi);
}

// ---- scripted servers ---------------------------------------------------------------------

// Reads one RPC call from fd.
bool readCall(int fd, rpc::Call* call, std::vector<uint8_t>* args) {
    std::vector<uint8_t> record;
    if (rpc::readRecord(fd, rpc::kMaxRecord, IoControl::fromTimeout(3000, nullptr), &record) < 0)
        return false;
    XdrReader r(record.data(), record.size());
    if (!rpc::decodeCall(r, call)) return false;
    args->assign(record.end() - static_cast<std::ptrdiff_t>(r.remaining()), record.end());
    return true;
}

void reply(int fd, uint32_t xid, const XdrWriter& results) {
    rpc::writeRecord(fd, rpc::encodeReply(xid, rpc::kSuccess, results.bytes()),
                     IoControl::fromTimeout(1000, nullptr));
}

// A portmapper that sends every client to port.
struct FakePortmapper {
    explicit FakePortmapper(uint16_t corePort)
        : server([corePort](int fd) {
              rpc::Call c;
              std::vector<uint8_t> args;
              if (!readCall(fd, &c, &args)) return;
              XdrWriter w;
              w.u32(corePort);
              reply(fd, c.xid, w);
          }) {}
    FakeServer server;
};

// A core channel that creates links and then does what script does with the next call.
struct FakeCore {
    using Script = std::function<void(int fd, const rpc::Call&)>;
    explicit FakeCore(Script script)
        : server([this, script](int fd) {
              rpc::Call c;
              std::vector<uint8_t> args;
              while (readCall(fd, &c, &args)) {
                  if (c.procedure == vxi11::kCreateLink) {
                      XdrWriter w;
                      vxi11::encode(w, vxi11::CreateLinkResp{0, 1, 0, 1024});
                      reply(fd, c.xid, w);
                  } else if (c.procedure == vxi11::kCreateIntrChan ||
                             c.procedure == vxi11::kDestroyLink) {
                      XdrWriter w;
                      w.i32(vxi11::kNotSupported);
                      reply(fd, c.xid, w);
                  } else {
                      script(fd, c);
                      staySilent(fd, server.stopping());
                      return;
                  }
              }
          }) {}
    FakeServer server;
};

void sendRaw(int fd, std::vector<uint8_t> bytes) {
    ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

TEST(Vxi11Faults, BrokenServersEndInAStatusWithinTheTimeout) {
    struct Case {
        const char* what;
        FakeCore::Script script;
        ViStatus status;
    };
    const Case cases[] = {
        {"garbage reply",
         [](int fd, const rpc::Call&) {
             sendRaw(fd, {0x80, 0, 0, 8, 1, 2, 3, 4, 5, 6, 7, 8});
         },
         VI_ERROR_RAW_RD_PROT_VIOL},
        {"record of 2 GiB announced",
         [](int fd, const rpc::Call&) {
             sendRaw(fd, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0});
         },
         VI_ERROR_RAW_RD_PROT_VIOL},
        {"reply with more data than asked",
         [](int fd, const rpc::Call& c) {
             XdrWriter w;
             std::string big(4096, 'x');
             vxi11::encode(w, vxi11::ReadResp{0, vxi11::kReasonEnd, big});
             reply(fd, c.xid, w);
         },
         VI_ERROR_RAW_RD_PROT_VIOL},
        {"closes in the middle of a record",
         [](int fd, const rpc::Call&) {
             sendRaw(fd, {0x80, 0, 0, 100, 0, 0});
             ::shutdown(fd, SHUT_RDWR);
         },
         VI_ERROR_CONN_LOST},
        {"says nothing", [](int, const rpc::Call&) {}, VI_ERROR_TMO},
        {"device error",
         [](int fd, const rpc::Call& c) {
             XdrWriter w;
             vxi11::encode(w, vxi11::ReadResp{vxi11::kIoError, 0, {}});
             reply(fd, c.xid, w);
         },
         VI_ERROR_IO},
    };
    for (const Case& c : cases) {
        FakeCore core(c.script);
        FakePortmapper pm(core.server.port());
        TempConfig config(lanConfig(pm.server.port()));
        ViSession rm = 0, vi = 0;
        ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
        ASSERT_EQ(viOpen(rm, "TCPIP0::127.0.0.1::inst0::INSTR", VI_NULL, 0, &vi), VI_SUCCESS)
            << c.what;
        ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TMO_VALUE, 300), VI_SUCCESS);
        char buf[64];
        ViUInt32 n = 0;
        auto t0 = steady_clock::now();
        EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), 64, &n), c.status) << c.what;
        // The server's own time, then a second of grace for its answer.
        EXPECT_LT(steady_clock::now() - t0, milliseconds(1800)) << c.what;
        viClose(rm);
    }
}

TEST(Vxi11Faults, PortmapperProblemsFailTheOpen) {
    uint16_t closedPort;
    {
        FakeServer gone([](int) {});
        closedPort = gone.port();
    }
    FakeServer silent([&](int fd) { staySilent(fd, silent.stopping()); });
    FakePortmapper nobody(0);
    struct Case {
        const char* what;
        uint16_t port;
        ViStatus status;
    };
    const Case cases[] = {
        {"no portmapper", closedPort, VI_ERROR_MACHINE_NAVAIL},
        {"portmapper answers nothing", silent.port(), VI_ERROR_TMO},
        {"no VXI-11 server registered", nobody.server.port(), VI_ERROR_RSRC_NFOUND}};
    for (const Case& c : cases) {
        TempConfig config(lanConfig(c.port));
        ViSession rm = 0, vi = 0;
        ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
        auto t0 = steady_clock::now();
        EXPECT_EQ(viOpen(rm, "TCPIP0::127.0.0.1::inst0::INSTR", VI_NULL, 0, &vi), c.status)
            << c.what;
        EXPECT_LT(steady_clock::now() - t0, milliseconds(2500))
            << c.what;  // ConnectTimeout is 1.5 s
        viClose(rm);
    }
}

}  // namespace
}  // namespace zuvisa::testing

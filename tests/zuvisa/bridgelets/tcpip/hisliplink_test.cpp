// TCPIP INSTR over HiSLIP through the C API: against zusimd, and against scripted servers that
// break the protocol.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>

#include "netbench.h"
#include "zuvisa/bridgelets/tcpip/hislip.h"
#include "zuvisa/visa.h"

namespace zuvisa::testing {
namespace {

using namespace std::chrono;
using namespace zuvisa::tcpip;

class HislipLink : public LanLinkTest {};

TEST_F(HislipLink, MessagesStatusClearTriggerAndRemote) {
    ViSession vi = open(sim.hislipName());
    ViBoolean isHislip = VI_FALSE;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_TCPIP_IS_HISLIP, &isHislip), VI_SUCCESS);
    EXPECT_EQ(isHislip, VI_TRUE);
    ViUInt32 version = 0;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_TCPIP_HISLIP_VERSION, &version), VI_SUCCESS);
    EXPECT_EQ(version, 0x0200u);
    ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS);
    auto first = receive(vi, 8);
    EXPECT_EQ(first.first, VI_SUCCESS_MAX_CNT);
    auto rest = receive(vi, 200);
    EXPECT_EQ(rest.first, VI_SUCCESS);
    EXPECT_EQ(first.second + rest.second, kIdn);
    // A long answer in pieces of the caller's size, ended by the message's end.
    ASSERT_EQ(send(vi, "LONG?\n"), VI_SUCCESS);
    std::string all;
    ViStatus st;
    do {
        auto part = receive(vi, 1000);
        st = part.first;
        all += part.second;
    } while (st == VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(st, VI_SUCCESS);
    EXPECT_EQ(std::count(all.begin(), all.end(), ','), 2999);
    EXPECT_EQ(viClear(vi), VI_SUCCESS);
    ViUInt16 stb = 0xFFFF;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_EQ(stb & 0x10, 0);
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);
    EXPECT_EQ(viGpibControlREN(vi, VI_GPIB_REN_ASSERT_ADDRESS_LLO), VI_SUCCESS);
    EXPECT_EQ(viGpibControlREN(vi, 7), VI_ERROR_INV_MODE);
    ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(receive(vi, 200).second, kIdn);
    viClose(vi);
}

TEST_F(HislipLink, ModeAndMessageSizeAreNegotiated) {
    ViSession vi = open(sim.hislipName());
    ViBoolean overlap = 2;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_TCPIP_HISLIP_OVERLAP_EN, &overlap), VI_SUCCESS);
    EXPECT_EQ(overlap, VI_FALSE);
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TCPIP_HISLIP_OVERLAP_EN, VI_TRUE), VI_SUCCESS);
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_TCPIP_HISLIP_OVERLAP_EN, &overlap), VI_SUCCESS);
    EXPECT_EQ(overlap, VI_TRUE);
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TCPIP_HISLIP_MAX_MESSAGE_KB, 4), VI_SUCCESS);
    ViUInt32 kb = 0;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_TCPIP_HISLIP_MAX_MESSAGE_KB, &kb), VI_SUCCESS);
    EXPECT_EQ(kb, 4u);
    // The server keeps to 4 KiB messages: a long answer still arrives whole.
    ASSERT_EQ(send(vi, "LONG?\n"), VI_SUCCESS);
    auto answer = receive(vi, 100000);
    EXPECT_EQ(answer.first, VI_SUCCESS);
    EXPECT_GT(answer.second.size(), 4096u);
    ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(receive(vi, 200).second, kIdn);
    viClose(vi);
}

TEST_F(HislipLink, AnswersQueueInOverlappedModeAndStaleOnesGoInSynchronizedMode) {
    ViSession vi = open(sim.hislipName());
    // Synchronized: the second query's answer is the one read; the first one's is dropped.
    ASSERT_EQ(send(vi, "VOLT?\n"), VI_SUCCESS);
    ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(receive(vi, 200).second, kIdn);
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TCPIP_HISLIP_OVERLAP_EN, VI_TRUE), VI_SUCCESS);
    ASSERT_EQ(send(vi, "VOLT?\n"), VI_SUCCESS);
    ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(receive(vi, 200).second, "1.000\n");
    EXPECT_EQ(receive(vi, 200).second, kIdn);
    viClose(vi);
}

TEST_F(HislipLink, ServiceRequestsArriveOnTheAsyncChannel) {
    ViSession vi = open(sim.hislipName());
    expectServiceRequestWithRqs(vi);
    viClose(vi);
}

TEST_F(HislipLink, ExclusiveAndSharedLocksAcrossClients) {
    std::string a = sim.hislipName(), b = a;
    b.replace(b.find("127.0.0.1"), 9, "localhost");
    ViSession first = open(a), second = open(b);
    char key[VI_FIND_BUFLEN] = "";
    ASSERT_EQ(viLock(first, VI_SHARED_LOCK, 0, "bench-key", key), VI_SUCCESS);
    EXPECT_STREQ(key, "bench-key");
    EXPECT_EQ(viLock(second, VI_SHARED_LOCK, 0, "bench-key", key), VI_SUCCESS);
    EXPECT_EQ(viUnlock(second), VI_SUCCESS);
    EXPECT_EQ(viLock(second, VI_SHARED_LOCK, 200, "other-key", key), VI_ERROR_TMO);
    EXPECT_EQ(viUnlock(first), VI_SUCCESS);
    ASSERT_EQ(viLock(first, VI_EXCLUSIVE_LOCK, 0, VI_NULL, VI_NULL), VI_SUCCESS);
    auto t0 = steady_clock::now();
    EXPECT_EQ(viLock(second, VI_EXCLUSIVE_LOCK, 300, VI_NULL, VI_NULL), VI_ERROR_TMO);
    EXPECT_LT(steady_clock::now() - t0, milliseconds(2000));
    EXPECT_EQ(viUnlock(first), VI_SUCCESS);
    EXPECT_EQ(viLock(second, VI_EXCLUSIVE_LOCK, 0, VI_NULL, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(viUnlock(second), VI_SUCCESS);
    viClose(first);
    viClose(second);
}

// ---- scripted servers ---------------------------------------------------------------------

using Bytes = std::vector<uint8_t>;

Bytes message(uint8_t type, uint8_t control, uint32_t param, const std::string& payload,
              uint64_t length = UINT64_MAX) {
    hislip::Header h{type, control, param, length == UINT64_MAX ? payload.size() : length};
    Bytes b(hislip::kHeaderSize);
    hislip::encodeHeader(h, b.data());
    b.insert(b.end(), payload.begin(), payload.end());
    return b;
}

bool readMessage(int fd, hislip::Header* h) {
    uint8_t head[hislip::kHeaderSize];
    if (recvExact(fd, head, sizeof head, IoControl::fromTimeout(3000, nullptr)) < 0) return false;
    if (!hislip::decodeHeader(head, h)) return false;
    std::string payload(h->length, '\0');
    return recvExact(fd, payload.data(), payload.size(), IoControl::fromTimeout(3000, nullptr)) ==
           VI_SUCCESS;
}

void sendBytes(int fd, const Bytes& b) {
    ::send(fd, b.data(), b.size(), MSG_NOSIGNAL);
}

// A HiSLIP server that initializes both channels properly, answers the size negotiation, and
// then runs sync on the next synchronous message and async on the next asynchronous one.
struct FakeHislip {
    using Script = std::function<void(int fd)>;
    FakeHislip(Script init, Script sync, Script async)
        : server([this, init, sync, async](int fd) {
              hislip::Header h;
              if (!readMessage(fd, &h)) return;
              if (h.type == hislip::kInitialize) {
                  if (init) return init(fd);
                  sendBytes(fd, message(hislip::kInitializeResponse, 0, (0x0200u << 16) | 1, ""));
                  if (readMessage(fd, &h) && sync) sync(fd);
              } else if (h.type == hislip::kAsyncInitialize) {
                  sendBytes(fd, message(hislip::kAsyncInitializeResponse, 0, 0x5A55, ""));
                  if (!readMessage(fd, &h)) return;
                  sendBytes(fd, message(hislip::kAsyncMaximumMessageSizeResponse, 0, 0,
                                        std::string("\0\0\0\0\0\x10\0\0", 8)));
                  if (readMessage(fd, &h) && async) async(fd);
              }
              staySilent(fd, server.stopping());
          }) {}
    FakeServer server;
};

TEST(HislipFaults, BrokenServersEndInAStatusWithinTheTimeout) {
    struct Case {
        const char* what;
        FakeHislip::Script init, sync, async;
        bool readStb;  // else a read
        ViStatus openStatus, status;
    };
    auto none = FakeHislip::Script();
    const Case cases[] = {
        {"unknown sub-address",
         [](int fd) {
             sendBytes(fd, message(hislip::kFatalError, hislip::kFatalInvalidInit, 0, "no such"));
         },
         none, none, false, VI_ERROR_RSRC_NFOUND, VI_SUCCESS},
        {"reply without prologue", [](int fd) { sendBytes(fd, Bytes(16, 'X')); }, none, none, false,
         VI_ERROR_RAW_RD_PROT_VIOL, VI_SUCCESS},
        {"initialize answer of a terabyte",
         [](int fd) { sendBytes(fd, message(hislip::kInitializeResponse, 0, 0, "", 1ull << 40)); },
         none, none, false, VI_ERROR_RAW_RD_PROT_VIOL, VI_SUCCESS},
        {"data larger than we accept", none,
         [](int fd) { sendBytes(fd, message(hislip::kDataEnd, 0, 0, "", 1ull << 33)); }, none,
         false, VI_SUCCESS, VI_ERROR_RAW_RD_PROT_VIOL},
        {"closes in the middle of a message", none,
         [](int fd) {
             Bytes b = message(hislip::kDataEnd, 0, 0, "", 100);
             b.resize(b.size() + 10, 'x');
             sendBytes(fd, b);
             ::shutdown(fd, SHUT_RDWR);
         },
         none, false, VI_SUCCESS, VI_ERROR_CONN_LOST},
        {"fatal error instead of data", none,
         [](int fd) { sendBytes(fd, message(hislip::kFatalError, 0, 0, "broken")); }, none, false,
         VI_SUCCESS, VI_ERROR_CONN_LOST},
        {"empty answer", none,
         [](int fd) { sendBytes(fd, message(hislip::kDataEnd, 0, 0xFFFFFF00, "")); }, none, false,
         VI_SUCCESS, VI_SUCCESS},
        {"says nothing", none, [](int) {}, none, false, VI_SUCCESS, VI_ERROR_TMO},
        {"status query unanswered", none, none, [](int) {}, true, VI_SUCCESS, VI_ERROR_TMO},
        {"async channel closes", none, none, [](int fd) { ::shutdown(fd, SHUT_RDWR); }, true,
         VI_SUCCESS, VI_ERROR_CONN_LOST},
    };
    TempConfig config(lanConfig(111));
    for (const Case& c : cases) {
        FakeHislip fake(c.init, c.sync, c.async);
        ViSession rm = 0, vi = 0;
        ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
        std::string name =
            "TCPIP0::127.0.0.1::hislip0," + std::to_string(fake.server.port()) + "::INSTR";
        auto t0 = steady_clock::now();
        ViStatus st = viOpen(rm, name.c_str(), VI_NULL, 0, &vi);
        EXPECT_EQ(st, c.openStatus) << c.what;
        EXPECT_LT(steady_clock::now() - t0, milliseconds(2500)) << c.what;
        if (st == VI_SUCCESS) {
            ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TMO_VALUE, 300), VI_SUCCESS);
            t0 = steady_clock::now();
            if (c.readStb) {
                ViUInt16 stb = 0;
                EXPECT_EQ(viReadSTB(vi, &stb), c.status) << c.what;
            } else {
                ASSERT_EQ(send(vi, "*IDN?\n"), VI_SUCCESS) << c.what;
                EXPECT_EQ(receive(vi, 64).first, c.status) << c.what;
            }
            EXPECT_LT(steady_clock::now() - t0, milliseconds(1000)) << c.what;
        }
        viClose(rm);
    }
}

}  // namespace
}  // namespace zuvisa::testing

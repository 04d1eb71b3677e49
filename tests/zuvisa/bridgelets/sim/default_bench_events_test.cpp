// Every event kind that a session window offers, raised on the demo bench the way a user raises
// it by hand, and seen through the queue and through a handler, with its attributes.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "simbench.h"

namespace zuvisa::testing {
namespace {

using Attrs = std::vector<std::pair<ViAttr, ViUInt64>>;

// The configuration of a fresh machine: the sim bridgelet and its built-in demo bench.
class DemoBenchEvents : public ::testing::Test {
  public:
    // The steps of the cases below.
    ViSession open(const char* name) {
        ViSession vi = 0;
        EXPECT_EQ(viOpen(rm, name, VI_NULL, 0, &vi), VI_SUCCESS) << name;
        return vi;
    }
    ViStatus write(ViSession vi, const std::string& text) {
        ViUInt32 n = 0;
        return viWrite(vi, reinterpret_cast<ViConstBuf>(text.data()),
                       static_cast<ViUInt32>(text.size()), &n);
    }
    ViStatus command(ViSession vi, std::initializer_list<ViByte> bytes) {
        std::vector<ViByte> b(bytes);
        ViUInt32 n = 0;
        return viGpibCommand(vi, b.data(), static_cast<ViUInt32>(b.size()), &n);
    }
    // A session that the raising step needs besides the one that hears the event.
    ViSession other(const char* name) {
        ViSession vi = open(name);
        others_.push_back(vi);
        return vi;
    }
    void closeOthers() {
        for (ViSession vi : others_) viClose(vi);
        others_.clear();
    }

  protected:
    void SetUp() override { ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS); }
    void TearDown() override { viClose(rm); }

    TempConfig config{"[Bridgelets]\nsim = True\n"};
    ViSession rm = 0;

  private:
    std::vector<ViSession> others_;
};

struct Case {
    const char* resource;  // the session that hears the event
    ViEventType type;
    const char* how;
    std::function<void(DemoBenchEvents&, ViSession)> raise;
    Attrs attrs;  // raw values, as wide as each attribute
};

Attrs read(ViEvent ctx, const Attrs& wanted) {
    Attrs got;
    for (const auto& [a, expected] : wanted) {
        ViUInt64 v = 0;
        viGetAttribute(ctx, a, &v);
        got.emplace_back(a, v);
    }
    return got;
}

// What a handler saw: the first event of the wanted type, with the wanted attributes.
struct Catch {
    ViEventType type = 0;
    Attrs wanted;
    std::mutex m;
    std::condition_variable cv;
    bool seen = false;
    Attrs got;
};

ViStatus _VI_FUNCH onEvent(ViSession, ViEventType type, ViEvent ctx, ViAddr user) {
    auto* c = static_cast<Catch*>(user);
    if (type != c->type) return VI_SUCCESS;
    Attrs got = read(ctx, c->wanted);
    std::lock_guard<std::mutex> lock(c->m);
    if (!c->seen) {
        c->got = got;
        c->seen = true;
        c->cv.notify_all();
    }
    return VI_SUCCESS;
}

constexpr ViUInt64 kSoftwareTrigger = 0xFFFF;  // VI_TRIG_SW as a 16-bit attribute

std::vector<Case> cases() {
    using B = DemoBenchEvents;
    return {
        {"GPIB0::22::INSTR",
         VI_EVENT_SERVICE_REQ,
         "TEST:SRQ",
         [](B& b, ViSession vi) { b.write(vi, "TEST:SRQ\n"); },
         {}},
        {"GPIB0::INTFC",
         VI_EVENT_SERVICE_REQ,
         "a device requests service",
         [](B& b, ViSession) { b.write(b.other("GPIB0::22::INSTR"), "TEST:SRQ\n"); },
         {}},
        {"VXI0::24::INSTR",
         VI_EVENT_SERVICE_REQ,
         "TEST:SRQ",
         [](B& b, ViSession vi) { b.write(vi, "TEST:SRQ\n"); },
         {}},
        {"VXI0::24::INSTR",
         VI_EVENT_VXI_SIGP,
         "TEST:SIGNAL",
         [](B& b, ViSession vi) { b.write(vi, "TEST:SIGNAL\n"); },
         {{VI_ATTR_SIGP_STATUS_ID, 24}}},
        {"VXI0::24::INSTR",
         VI_EVENT_VXI_VME_INTR,
         "TEST:INTR",
         [](B& b, ViSession vi) { b.write(vi, "TEST:INTR\n"); },
         {{VI_ATTR_INTR_STATUS_ID, 24}, {VI_ATTR_RECV_INTR_LEVEL, 3}}},
        {"VXI0::16::INSTR",
         VI_EVENT_VXI_SIGP,
         "writing the control register",
         [](B&, ViSession vi) { viOut16(vi, VI_A16_SPACE, 0x20, 1); },
         {{VI_ATTR_SIGP_STATUS_ID, 16}}},
        {"VXI0::16::INSTR",
         VI_EVENT_VXI_VME_INTR,
         "the backplane interrupts",
         [](B& b, ViSession) {
             viAssertIntrSignal(b.other("VXI0::0::BACKPLANE"), VI_ASSERT_IRQ2, 0x0A10);
         },
         {{VI_ATTR_INTR_STATUS_ID, 0x0A10}, {VI_ATTR_RECV_INTR_LEVEL, 2}}},
        {"VXI0::16::INSTR",
         VI_EVENT_TRIG,
         "TTL2 mapped to TTL1, asserted on the backplane",
         [](B& b, ViSession vi) {
             viSetAttribute(vi, VI_ATTR_TRIG_ID, VI_TRIG_TTL1);
             ViSession bp = b.other("VXI0::0::BACKPLANE");
             viMapTrigger(bp, VI_TRIG_TTL2, VI_TRIG_TTL1, VI_NULL);
             viSetAttribute(bp, VI_ATTR_TRIG_ID, VI_TRIG_TTL2);
             viAssertTrigger(bp, VI_TRIG_PROT_SYNC);
         },
         {{VI_ATTR_RECV_TRIG_ID, VI_TRIG_TTL1}}},
        {"VXI1::260::INSTR",
         VI_EVENT_VXI_VME_INTR,
         "a write to the mailbox",
         [](B&, ViSession vi) { viOut32(vi, VI_A32_SPACE, 0xFFFFC, 1); },
         {{VI_ATTR_INTR_STATUS_ID, 260 & 0xFF}, {VI_ATTR_RECV_INTR_LEVEL, 4}}},
        {"GPIB0::INTFC",
         VI_EVENT_TRIG,
         "GPIB Command UNL MLA GET",
         [](B& b, ViSession vi) {
             b.command(vi, {0x3F, 0x20, 0x08});
         },
         {{VI_ATTR_RECV_TRIG_ID, kSoftwareTrigger}}},
        {"GPIB0::INTFC",
         VI_EVENT_CLEAR,
         "GPIB Command DCL",
         [](B& b, ViSession vi) { b.command(vi, {0x14}); },
         {}},
        {"GPIB0::INTFC",
         VI_EVENT_GPIB_TALK,
         "GPIB Command UNT MTA",
         [](B& b, ViSession vi) {
             b.command(vi, {0x5F, 0x40});
         },
         {}},
        {"GPIB0::INTFC",
         VI_EVENT_GPIB_LISTEN,
         "GPIB Command UNL MLA",
         [](B& b, ViSession vi) {
             b.command(vi, {0x3F, 0x20});
         },
         {}},
        {"GPIB0::INTFC",
         VI_EVENT_GPIB_CIC,
         "Pass Control, then Send IFC",
         [](B&, ViSession vi) {
             viGpibPassControl(vi, 22, VI_NO_SEC_ADDR);
             viGpibSendIFC(vi);
         },
         {{VI_ATTR_GPIB_RECV_CIC_STATE, VI_FALSE}}},
        {"GPIB0::SERVANT",
         VI_EVENT_GPIB_TALK,
         "any write",
         [](B& b, ViSession vi) { b.write(vi, "TEST:LISTEN\n"); },
         {}},
        {"GPIB0::SERVANT",
         VI_EVENT_GPIB_LISTEN,
         "TEST:LISTEN",
         [](B& b, ViSession vi) { b.write(vi, "TEST:LISTEN\n"); },
         {}},
        {"GPIB0::SERVANT",
         VI_EVENT_TRIG,
         "READY",
         [](B& b, ViSession vi) { b.write(vi, "READY\n"); },
         {{VI_ATTR_RECV_TRIG_ID, kSoftwareTrigger}}},
        {"GPIB0::SERVANT",
         VI_EVENT_CLEAR,
         "DONE",
         [](B& b, ViSession vi) { b.write(vi, "DONE\n"); },
         {}},
        {"VXI0::SERVANT",
         VI_EVENT_VXI_DEV_CMD,
         "REGISTER",
         [](B& b, ViSession vi) { b.write(vi, "REGISTER\n"); },
         {{VI_ATTR_VXI_DEV_CMD_TYPE, VI_VXI_CMD16}, {VI_ATTR_VXI_DEV_CMD_VALUE, 0xCFFF}}},
        {"VXI0::SERVANT",
         VI_EVENT_VXI_DEV_CMD,
         "a commander's query on VXI0::0::INSTR",
         [](B& b, ViSession) {
             viVxiCommandQuery(b.other("VXI0::0::INSTR"), VI_VXI_CMD32, 0xCF010002, nullptr);
         },
         {{VI_ATTR_VXI_DEV_CMD_TYPE, VI_VXI_CMD32}, {VI_ATTR_VXI_DEV_CMD_VALUE, 0xCF010002}}},
        {"VXI0::SERVANT",
         VI_EVENT_TRIG,
         "READY",
         [](B& b, ViSession vi) { b.write(vi, "READY\n"); },
         {{VI_ATTR_RECV_TRIG_ID, kSoftwareTrigger}}},
        {"VXI0::SERVANT",
         VI_EVENT_CLEAR,
         "DONE",
         [](B& b, ViSession vi) { b.write(vi, "DONE\n"); },
         {}},
        {"VXI0::SERVANT",
         VI_EVENT_VXI_VME_SYSRESET,
         "Assert Utility Signal",
         [](B&, ViSession vi) { viAssertUtilSignal(vi, VI_UTIL_ASSERT_SYSRESET); },
         {}},
        {"VXI0::0::BACKPLANE",
         VI_EVENT_VXI_VME_SYSRESET,
         "Assert Utility Signal",
         [](B&, ViSession vi) { viAssertUtilSignal(vi, VI_UTIL_ASSERT_SYSRESET); },
         {}},
        {"VXI0::0::BACKPLANE",
         VI_EVENT_VXI_VME_SYSFAIL,
         "TEST:SYSFAIL on a module",
         [](B& b, ViSession vi) {
             viAssertUtilSignal(vi, VI_UTIL_DEASSERT_SYSFAIL);
             b.write(b.other("VXI0::24::INSTR"), "TEST:SYSFAIL\n");
         },
         {}},
        {"GPIB-VXI0::0::BACKPLANE",
         VI_EVENT_VXI_VME_SYSFAIL,
         "Assert Utility Signal",
         [](B&, ViSession vi) {
             viAssertUtilSignal(vi, VI_UTIL_DEASSERT_SYSFAIL);
             viAssertUtilSignal(vi, VI_UTIL_ASSERT_SYSFAIL);
         },
         {}},
        {"VXI0::0::BACKPLANE",
         VI_EVENT_TRIG,
         "Assert Trigger",
         [](B&, ViSession vi) { viAssertTrigger(vi, VI_TRIG_PROT_SYNC); },
         {{VI_ATTR_RECV_TRIG_ID, VI_TRIG_TTL0}}},
        {"PXI0::12::INSTR",
         VI_EVENT_PXI_INTR,
         "the doorbell register",
         [](B&, ViSession vi) { viOut32(vi, VI_PXI_BAR0_SPACE, 0x40, 0x1234); },
         {{VI_ATTR_PXI_RECV_INTR_DATA, 0x1234}}},
        {"ASRL1::INSTR",
         VI_EVENT_ASRL_RI,
         "TEST:TRIP",
         [](B& b, ViSession vi) { b.write(vi, "TEST:TRIP\r\n"); },
         {}},
        {"ASRL1::INSTR",
         VI_EVENT_ASRL_BREAK,
         "TEST:TRIP",
         [](B& b, ViSession vi) { b.write(vi, "TEST:TRIP\r\n"); },
         {}},
        {"ASRL1::INSTR",
         VI_EVENT_ASRL_DCD,
         "TEST:CARRIER",
         [](B& b, ViSession vi) { b.write(vi, "TEST:CARRIER\r\n"); },
         {}},
        {"ASRL1::INSTR",
         VI_EVENT_ASRL_CTS,
         "RTS changed",
         [](B&, ViSession vi) {
             ViInt16 rts = 0;
             viGetAttribute(vi, VI_ATTR_ASRL_RTS_STATE, &rts);
             viSetAttribute(vi, VI_ATTR_ASRL_RTS_STATE,
                            rts == VI_STATE_ASSERTED ? VI_STATE_UNASSERTED : VI_STATE_ASSERTED);
         },
         {}},
        {"ASRL1::INSTR",
         VI_EVENT_ASRL_DSR,
         "DTR changed",
         [](B&, ViSession vi) {
             ViInt16 dtr = 0;
             viGetAttribute(vi, VI_ATTR_ASRL_DTR_STATE, &dtr);
             viSetAttribute(vi, VI_ATTR_ASRL_DTR_STATE,
                            dtr == VI_STATE_ASSERTED ? VI_STATE_UNASSERTED : VI_STATE_ASSERTED);
         },
         {}},
        {"ASRL1::INSTR",
         VI_EVENT_ASRL_CHAR,
         "an answer arrives",
         [](B& b, ViSession vi) { b.write(vi, "*IDN?\r\n"); },
         {}},
        {"ASRL1::INSTR",
         VI_EVENT_ASRL_TERMCHAR,
         "an answer arrives",
         [](B& b, ViSession vi) { b.write(vi, "*IDN?\r\n"); },
         {}},
        {"GPIB0::22::INSTR",
         VI_EVENT_IO_COMPLETION,
         "an asynchronous write",
         [](B&, ViSession vi) {
             static const char q[] = "*IDN?\n";
             ViJobId job = 0;
             viWriteAsync(vi, reinterpret_cast<ViConstBuf>(q), 6, &job);
         },
         {{VI_ATTR_STATUS, VI_SUCCESS}, {VI_ATTR_RET_COUNT_32, 6}}},
    };
}

TEST_F(DemoBenchEvents, EachKindArrivesInTheQueue) {
    for (const Case& c : cases()) {
        ViSession vi = open(c.resource);
        ASSERT_EQ(viEnableEvent(vi, c.type, VI_QUEUE, VI_NULL), VI_SUCCESS)
            << c.resource << " " << c.how;
        c.raise(*this, vi);
        ViEvent ctx = 0;
        ViEventType type = 0;
        EXPECT_GE(viWaitOnEvent(vi, c.type, 3000, &type, &ctx), VI_SUCCESS)
            << c.resource << " " << c.how;
        EXPECT_EQ(type, c.type);
        if (ctx) {
            EXPECT_EQ(read(ctx, c.attrs), c.attrs) << c.resource << " " << c.how;
            viClose(ctx);
        }
        viClose(vi);
        closeOthers();
    }
}

TEST_F(DemoBenchEvents, EachKindReachesAHandler) {
    for (const Case& c : cases()) {
        ViSession vi = open(c.resource);
        Catch caught;
        caught.type = c.type;
        caught.wanted = c.attrs;
        ASSERT_EQ(viInstallHandler(vi, c.type, onEvent, &caught), VI_SUCCESS);
        ASSERT_EQ(viEnableEvent(vi, c.type, VI_HNDLR, VI_NULL), VI_SUCCESS)
            << c.resource << " " << c.how;
        c.raise(*this, vi);
        {
            std::unique_lock<std::mutex> lock(caught.m);
            EXPECT_TRUE(
                caught.cv.wait_for(lock, std::chrono::seconds(3), [&] { return caught.seen; }))
                << c.resource << " " << c.how;
            EXPECT_EQ(caught.got, c.attrs) << c.resource << " " << c.how;
        }
        viClose(vi);  // also ends the handler thread, so caught outlives every call
        closeOthers();
    }
}

std::atomic<int> gStorm{0};

ViStatus _VI_FUNCH countEvent(ViSession vi, ViEventType, ViEvent ctx, ViAddr) {
    ViUInt16 id = 0;
    viGetAttribute(ctx, VI_ATTR_SIGP_STATUS_ID, &id);
    ViInt16 la = 0;
    viGetAttribute(vi, VI_ATTR_VXI_LA,
                   &la);  // back into the library, on a session that may be closing
    ++gStorm;
    return VI_SUCCESS;
}

// Signals and interrupts keep arriving while sessions that hear them open and close.
TEST_F(DemoBenchEvents, SessionsCloseWhileEventsArrive) {
    std::atomic<bool> stop{false};
    std::thread storm([&] {
        ViSession bp = open("VXI0::0::BACKPLANE");
        while (!stop) {
            viAssertIntrSignal(bp, VI_ASSERT_SIGNAL, 0xFD10);
            viAssertIntrSignal(bp, VI_ASSERT_IRQ2, 0x0010);
            std::this_thread::yield();
        }
        viClose(bp);
    });
    gStorm = 0;
    for (int i = 0; i < 40; ++i) {
        ViSession vi = open("VXI0::16::INSTR");
        ASSERT_EQ(viInstallHandler(vi, VI_EVENT_VXI_SIGP, countEvent, nullptr), VI_SUCCESS);
        ASSERT_EQ(viEnableEvent(vi, VI_EVENT_VXI_SIGP, VI_HNDLR, VI_NULL), VI_SUCCESS);
        ASSERT_EQ(viEnableEvent(vi, VI_EVENT_VXI_VME_INTR, VI_QUEUE, VI_NULL), VI_SUCCESS);
        std::this_thread::sleep_for(std::chrono::milliseconds(i % 4));
        if (i % 3 == 0) viWaitOnEvent(vi, VI_EVENT_VXI_VME_INTR, 5, nullptr, nullptr);
        viClose(vi);
    }
    stop = true;
    storm.join();
    EXPECT_GT(gStorm.load(), 0) << "handlers ran in between";
}

Catch gException;

TEST_F(DemoBenchEvents, AFailingOperationRaisesTheExceptionForAHandlerOnly) {
    ViSession vi = open("VXI0::16::INSTR");
    EXPECT_EQ(viEnableEvent(vi, VI_EVENT_EXCEPTION, VI_QUEUE, VI_NULL), VI_ERROR_NSUP_MECH);
    Catch& caught = gException;
    caught.type = VI_EVENT_EXCEPTION;
    caught.wanted = {{VI_ATTR_STATUS, static_cast<ViUInt32>(VI_ERROR_INV_OFFSET)}};
    ASSERT_EQ(viInstallHandler(vi, VI_EVENT_EXCEPTION, onEvent, &caught), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_EXCEPTION, VI_HNDLR, VI_NULL), VI_SUCCESS);
    ViUInt16 v = 0;
    EXPECT_EQ(viIn16(vi, VI_A16_SPACE, 0x40, &v), VI_ERROR_INV_OFFSET);
    std::lock_guard<std::mutex> lock(caught.m);
    EXPECT_TRUE(caught.seen) << "on the calling thread, before the call returns";
    EXPECT_EQ(caught.got, caught.wanted);
}

}  // namespace
}  // namespace zuvisa::testing

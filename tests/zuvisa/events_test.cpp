// Event queues, handlers, waits and contexts through the C API; service requests come from
// the simulated meter's status reporting.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "testbench.h"

namespace zuvisa {
namespace {

class Events : public testing::Bench {
protected:
    // *OPC sets the event status bit that *ESE 1 and *SRE 32 turn into a service request.
    void requestService(ViSession vi) {
        ASSERT_EQ(write(vi, "*CLS;*ESE 1;*SRE 32\n"), VI_SUCCESS);
        ASSERT_EQ(write(vi, "*OPC\n"), VI_SUCCESS);
    }
    void rearm(ViSession vi) { ASSERT_EQ(write(vi, "*CLS\n"), VI_SUCCESS); }
};

TEST_F(Events, EnableRules) {
    ViSession vi = open("GPIB0::5::INSTR");
    struct Case {
        ViEventType type;
        ViUInt16 mech;
        ViStatus status;
    } cases[] = {
        {VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_SUCCESS},
        {VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_SUCCESS_EVENT_EN},
        {VI_EVENT_SERVICE_REQ, VI_HNDLR, VI_ERROR_HNDLR_NINSTALLED},
        {VI_EVENT_SERVICE_REQ, VI_SUSPEND_HNDLR, VI_ERROR_HNDLR_NINSTALLED},
        {VI_EVENT_SERVICE_REQ, VI_HNDLR | VI_SUSPEND_HNDLR, VI_ERROR_INV_MECH},
        {VI_EVENT_SERVICE_REQ, 0, VI_ERROR_INV_MECH},
        {VI_ALL_ENABLED_EVENTS, VI_QUEUE, VI_ERROR_INV_EVENT},
        {VI_EVENT_VXI_SIGP, VI_QUEUE, VI_ERROR_INV_EVENT},
        {VI_EVENT_ASRL_BREAK, VI_QUEUE, VI_ERROR_INV_EVENT},
        {0x12345678, VI_QUEUE, VI_ERROR_INV_EVENT},
        {VI_EVENT_EXCEPTION, VI_QUEUE, VI_ERROR_NSUP_MECH},
        {VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_SUCCESS},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(viEnableEvent(vi, c.type, c.mech, VI_NULL), c.status) << std::hex << c.type << " " << c.mech;
    }
    EXPECT_EQ(viDisableEvent(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE), VI_SUCCESS);
    EXPECT_EQ(viDisableEvent(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE), VI_SUCCESS_EVENT_DIS);
    EXPECT_EQ(viDisableEvent(vi, VI_EVENT_SERVICE_REQ, 0), VI_ERROR_INV_MECH);
    EXPECT_EQ(viDisableEvent(vi, VI_ALL_ENABLED_EVENTS, VI_ALL_MECH), VI_SUCCESS);
    // Clearing all events succeeds on any session, the resource manager's included.
    EXPECT_GE(viDisableEvent(vi, VI_ALL_ENABLED_EVENTS, VI_ALL_MECH), VI_SUCCESS);
    EXPECT_GE(viDiscardEvents(vi, VI_ALL_ENABLED_EVENTS, VI_ALL_MECH), VI_SUCCESS);
    EXPECT_GE(viDisableEvent(rm, VI_ALL_ENABLED_EVENTS, VI_ALL_MECH), VI_SUCCESS);
    EXPECT_GE(viDiscardEvents(rm, VI_ALL_ENABLED_EVENTS, VI_ALL_MECH), VI_SUCCESS);
}

TEST_F(Events, ServiceRequestThroughTheQueue) {
    ViSession vi = open("GPIB0::5::INSTR");
    ViEventType type = 0;
    ViEvent ctx = 0;
    EXPECT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 0, &type, &ctx), VI_ERROR_NENABLED);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, VI_TMO_IMMEDIATE, &type, &ctx), VI_ERROR_TMO);
    requestService(vi);
    ASSERT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 1000, &type, &ctx), VI_SUCCESS);
    EXPECT_EQ(type, static_cast<ViEventType>(VI_EVENT_SERVICE_REQ));
    ViEventType fromCtx = 0;
    EXPECT_EQ(viGetAttribute(ctx, VI_ATTR_EVENT_TYPE, &fromCtx), VI_SUCCESS);
    EXPECT_EQ(fromCtx, type);
    EXPECT_EQ(viSetAttribute(ctx, VI_ATTR_EVENT_TYPE, 1), VI_ERROR_ATTR_READONLY);
    EXPECT_EQ(viClose(ctx), VI_SUCCESS);
    EXPECT_EQ(viGetAttribute(ctx, VI_ATTR_EVENT_TYPE, &fromCtx), VI_ERROR_INV_OBJECT);
    // The serial poll shows the request once.
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_TRUE(stb & 0x40);
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_FALSE(stb & 0x40);
}

TEST_F(Events, WaitOutputsAreOptionalAndMoreEventsAreReported) {
    ViSession vi = open("GPIB0::5::INSTR");
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_SUCCESS);
    requestService(vi);
    rearm(vi);
    requestService(vi);
    EXPECT_EQ(viWaitOnEvent(vi, VI_ALL_ENABLED_EVENTS, 1000, nullptr, nullptr), VI_SUCCESS_QUEUE_NEMPTY);
    EXPECT_EQ(viWaitOnEvent(vi, VI_ALL_ENABLED_EVENTS, 1000, nullptr, nullptr), VI_SUCCESS);
    requestService(vi);
    rearm(vi);
    EXPECT_EQ(viDiscardEvents(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE), VI_SUCCESS);
    EXPECT_EQ(viDiscardEvents(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE), VI_SUCCESS_QUEUE_EMPTY);
    EXPECT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 0, nullptr, nullptr), VI_ERROR_TMO);
}

TEST_F(Events, QueueOverflowLosesEventsAndSaysSo) {
    ViSession vi = open("GPIB0::5::INSTR");
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_MAX_QUEUE_LENGTH, 2), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_SUCCESS);
    for (int i = 0; i < 4; ++i) {
        requestService(vi);
        rearm(vi);
    }
    EXPECT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 0, nullptr, nullptr), VI_WARN_QUEUE_OVERFLOW);
    EXPECT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 0, nullptr, nullptr), VI_SUCCESS);
    EXPECT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 0, nullptr, nullptr), VI_ERROR_TMO);
}

struct Received {
    std::mutex m;
    std::vector<std::pair<int, ViEventType>> calls;  // handler number, event type
    std::atomic<int> count{0};
    std::thread::id thread;
};

template <int N>
ViStatus handler(ViSession vi, ViEventType type, ViEvent ctx, ViAddr user) {
    auto* r = static_cast<Received*>(user);
    ViEventType fromCtx = 0;
    viGetAttribute(ctx, VI_ATTR_EVENT_TYPE, &fromCtx);
    ViUInt16 stb;
    viReadSTB(vi, &stb);  // calling back into the library from a handler is allowed
    std::lock_guard<std::mutex> lock(r->m);
    r->calls.emplace_back(N, fromCtx == type ? type : 0);
    r->thread = std::this_thread::get_id();
    ++r->count;
    return VI_SUCCESS;
}

bool waitFor(const std::atomic<int>& n, int target) {
    for (int i = 0; i < 400 && n.load() < target; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return n.load() >= target;
}

TEST_F(Events, HandlersRunOnALibraryThreadNewestFirst) {
    ViSession vi = open("GPIB0::5::INSTR");
    Received r;
    ASSERT_EQ(viInstallHandler(vi, VI_EVENT_SERVICE_REQ, handler<1>, &r), VI_SUCCESS);
    ASSERT_EQ(viInstallHandler(vi, VI_EVENT_SERVICE_REQ, handler<2>, &r), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_HNDLR, VI_NULL), VI_SUCCESS);
    requestService(vi);
    ASSERT_TRUE(waitFor(r.count, 2));
    {
        std::lock_guard<std::mutex> lock(r.m);
        ASSERT_EQ(r.calls.size(), 2u);
        EXPECT_EQ(r.calls[0].first, 2);
        EXPECT_EQ(r.calls[1].first, 1);
        EXPECT_EQ(r.calls[0].second, static_cast<ViEventType>(VI_EVENT_SERVICE_REQ));
        EXPECT_NE(r.thread, std::this_thread::get_id());
    }
    EXPECT_EQ(viUninstallHandler(vi, VI_EVENT_SERVICE_REQ, handler<3>, &r), VI_ERROR_INV_HNDLR_REF);
    EXPECT_EQ(viUninstallHandler(vi, VI_EVENT_SERVICE_REQ, handler<2>, &r), VI_SUCCESS);
    rearm(vi);
    requestService(vi);
    ASSERT_TRUE(waitFor(r.count, 3));
    EXPECT_EQ(viUninstallHandler(vi, VI_EVENT_SERVICE_REQ, VI_NULL, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(viInstallHandler(vi, VI_EVENT_SERVICE_REQ, nullptr, &r), VI_ERROR_INV_HNDLR_REF);
}

TEST_F(Events, SuspendedHandlerGetsHeldEventsWhenEnabledAgain) {
    ViSession vi = open("GPIB0::5::INSTR");
    Received r;
    ASSERT_EQ(viInstallHandler(vi, VI_EVENT_SERVICE_REQ, handler<1>, &r), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_SUSPEND_HNDLR, VI_NULL), VI_SUCCESS);
    requestService(vi);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(r.count.load(), 0);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_HNDLR, VI_NULL), VI_SUCCESS);
    EXPECT_TRUE(waitFor(r.count, 1));
    // Discarding held events drops them.
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_SUSPEND_HNDLR, VI_NULL), VI_SUCCESS);
    rearm(vi);
    requestService(vi);
    EXPECT_EQ(viDiscardEvents(vi, VI_EVENT_SERVICE_REQ, VI_SUSPEND_HNDLR), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_HNDLR, VI_NULL), VI_SUCCESS);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(r.count.load(), 1);
}

TEST_F(Events, QueueAndHandlerTogether) {
    ViSession vi = open("GPIB0::5::INSTR");
    Received r;
    ASSERT_EQ(viInstallHandler(vi, VI_EVENT_SERVICE_REQ, handler<1>, &r), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE | VI_HNDLR, VI_NULL), VI_SUCCESS);
    requestService(vi);
    EXPECT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 1000, nullptr, nullptr), VI_SUCCESS);
    EXPECT_TRUE(waitFor(r.count, 1));
}

TEST_F(Events, WaitIsWokenByAnEventFromAnotherSession) {
    ViSession waiter = open("GPIB0::5::INSTR");
    ViSession other = open("GPIB0::5::INSTR");
    ASSERT_EQ(viEnableEvent(waiter, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_SUCCESS);
    std::thread t([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        requestService(other);
    });
    EXPECT_EQ(viWaitOnEvent(waiter, VI_EVENT_SERVICE_REQ, VI_TMO_INFINITE, nullptr, nullptr), VI_SUCCESS);
    t.join();
}

TEST_F(Events, ClosingASessionClosesItsEventContexts) {
    ViSession vi = open("GPIB0::5::INSTR");
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_SUCCESS);
    requestService(vi);
    ViEvent ctx = 0;
    ASSERT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 1000, nullptr, &ctx), VI_SUCCESS);
    ASSERT_EQ(viClose(vi), VI_SUCCESS);
    ViEventType type;
    EXPECT_EQ(viGetAttribute(ctx, VI_ATTR_EVENT_TYPE, &type), VI_ERROR_INV_OBJECT);
}

TEST_F(Events, FailingOperationsCallTheExceptionHandlerInPlace) {
    ViSession vi = open("GPIB0::5::INSTR");
    testing::ExceptionSeen f;
    ASSERT_EQ(viInstallHandler(vi, VI_EVENT_EXCEPTION, testing::noteException, &f), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_EXCEPTION, VI_HNDLR, VI_NULL), VI_SUCCESS);
    ViUInt16 v;
    EXPECT_EQ(viIn16(vi, VI_A16_SPACE, 0, &v), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(f.status, VI_ERROR_NSUP_OPER);
    EXPECT_STREQ(f.operation, "viIn16");
    EXPECT_EQ(f.thread, std::this_thread::get_id());
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 0);
    char buf[4];
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, nullptr), VI_ERROR_TMO);
    EXPECT_STREQ(f.operation, "viRead");
    f.status = 0;
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);  // successes do not call it
    EXPECT_EQ(f.status, 0);
}

}  // namespace
}  // namespace zuvisa

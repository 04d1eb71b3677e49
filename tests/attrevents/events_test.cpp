#include "attrevents/events.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "attrevents/eventlist.h"
#include "session/sessionrecord.h"
#include "tests/support/sessionbench.h"
#include "zuvisa/visa.h"

namespace {

TEST(EventMechanism, TheTogglesAddUp) {
    EXPECT_EQ(eventMechanism(false, false, false), 0);
    EXPECT_EQ(eventMechanism(true, false, false), VI_QUEUE);
    EXPECT_EQ(eventMechanism(false, true, false), VI_HNDLR);
    EXPECT_EQ(eventMechanism(false, false, true), VI_SUSPEND_HNDLR);
    EXPECT_EQ(eventMechanism(true, true, false), VI_QUEUE | VI_HNDLR);
}

// Session windows on the demo bench, whose instruments raise every kind of event on request.
class Events : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        writeFile(dir.file("zuvisa.ini"), "[Bridgelets]\nsim = True\n");
        start("useVisaId = 1\n");
    }
    struct Window {
        int panel = 0, enable = 0, disable = 0, discard = 0, wait = 0, sheet = 0;
        SessionRecord* record = nullptr;
    };
    Window openWindow(const char* rsrc) {
        Window w;
        w.panel = open(rsrc);
        EXPECT_GT(w.panel, 0) << rsrc;
        if (w.panel <= 0) return w;
        GetPanelAttribute(w.panel, ATTR_CALLBACK_DATA, reinterpret_cast<void**>(&w.record));
        w.enable = childPanel(w.panel, "viEnableEvent");
        w.disable = childPanel(w.panel, "viDisableEvent");
        w.discard = childPanel(w.panel, "viDiscardEvents");
        w.wait = childPanel(w.panel, "viWaitOnEvent");
        w.sheet = childPanel(w.panel, "viEventHandler");
        return w;
    }
    // Chooses an event on a panel's ring as a user does; "<Other>..." then a typed number when
    // the ring does not offer it.
    static void chooseEvent(int panel, int ring, int idField, ViUInt32 id) {
        int index = -1;
        GetIndexFromValue(panel, ring, &index, id);
        UiTest_SetValue(panel, ring, index >= 0 ? id : 0u);
        UiTest_Commit(panel, ring);
        if (index < 0) UiTest_SetValue(panel, idField, id);
    }
    std::string enable(const Window& w, ViUInt32 id, int toggle) {
        chooseEvent(w.enable, ENABLEEVENT_EVENT, ENABLEEVENT_EVENTID, id);
        UiTest_Commit(w.enable, toggle);
        UiTest_Commit(w.enable, ENABLEEVENT_EXECUTE);
        return UiTest_DisplayedText(w.enable, ENABLEEVENT_STATUSNAME);
    }
    std::string wait(const Window& w, ViUInt32 id, unsigned timeout) {
        chooseEvent(w.wait, WAITONEVENT_EVENT, WAITONEVENT_EVENTID, id);
        UiTest_SetValue(w.wait, WAITONEVENT_TIMEOUT, timeout);
        UiTest_Commit(w.wait, WAITONEVENT_EXECUTE);
        return UiTest_DisplayedText(w.wait, WAITONEVENT_STATUSNAME);
    }
    static std::vector<std::string> items(int panel, int list) {
        int n = 0;
        GetNumListItems(panel, list, &n);
        std::vector<std::string> all;
        for (int k = 0; k < n; ++k) {
            char text[256] = "";
            GetLabelFromIndex(panel, list, k, text);
            all.push_back(text);
        }
        return all;
    }
    static int intValue(int panel, int control) {
        int v = -1;
        GetCtrlVal(panel, control, &v);
        return v;
    }
    static int count(const std::vector<std::string>& lines, const std::string& line) {
        int n = 0;
        for (const std::string& l : lines) n += l == line;
        return n;
    }
    // Runs the GUI thread's deferred work until the sheet holds the line, for up to 5 s.
    bool sheetShows(const Window& w, const std::string& line) {
        for (int k = 0; k < 500; ++k) {
            UiTest_RunDeferredCalls();
            if (count(items(w.sheet, EVENTHANDLER_EVENTS), line)) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
};

TEST_F(Events, RingsOfferTheirEventsAndOtherKeepsTheTypedNumber) {
    Window w = openWindow("GPIB0::22::INSTR");
    char first[64] = "", last[64] = "";
    GetLabelFromIndex(w.enable, ENABLEEVENT_EVENT, 0, first);
    EXPECT_STREQ(first, "VI_EVENT_IO_COMPLETION");  // enabling takes no VI_ALL_ENABLED_EVENTS
    for (int panel : {w.disable, w.discard, w.wait}) {
        GetLabelFromIndex(panel, DISABLEEVENT_EVENT, 0, first);
        EXPECT_STREQ(first, "VI_ALL_ENABLED_EVENTS");
    }
    int n = 0;
    GetNumListItems(w.enable, ENABLEEVENT_EVENT, &n);
    GetLabelFromIndex(w.enable, ENABLEEVENT_EVENT, n - 1, last);
    EXPECT_STREQ(last, "<Other>...");

    chooseEvent(w.enable, ENABLEEVENT_EVENT, ENABLEEVENT_EVENTID, 0x3FFF2036);
    EXPECT_EQ(intAttribute(w.enable, ENABLEEVENT_EVENTID, ATTR_DIMMED), 0);
    UiTest_SetValue(w.enable, ENABLEEVENT_EVENT, ViUInt32{VI_EVENT_SERVICE_REQ});
    UiTest_Commit(w.enable, ENABLEEVENT_EVENT);
    UiTest_SetValue(w.enable, ENABLEEVENT_EVENT, 0u);
    UiTest_Commit(w.enable, ENABLEEVENT_EVENT);
    ViUInt32 id = 0;
    GetCtrlVal(w.enable, ENABLEEVENT_EVENTID, &id);
    EXPECT_EQ(id, ViUInt32{VI_EVENT_SERVICE_REQ});  // "<Other>..." keeps the last number
    EXPECT_EQ(intAttribute(w.enable, ENABLEEVENT_EVENTID, ATTR_DIMMED), 0);
    UiTest_SetValue(w.enable, ENABLEEVENT_EVENT, ViUInt32{VI_EVENT_IO_COMPLETION});
    UiTest_Commit(w.enable, ENABLEEVENT_EVENT);
    EXPECT_EQ(intAttribute(w.enable, ENABLEEVENT_EVENTID, ATTR_DIMMED), 1);
}

TEST_F(Events, MechanismTogglesActAsOneGroup) {
    Window w = openWindow("GPIB0::22::INSTR");
    struct Case {
        int panel, toggle;
        std::vector<int> on, off;
    } cases[] = {
        {w.enable, ENABLEEVENT_HANDLER, {ENABLEEVENT_HANDLER}, {ENABLEEVENT_QUEUE, ENABLEEVENT_SUSPEND}},
        {w.enable, ENABLEEVENT_SUSPEND, {ENABLEEVENT_SUSPEND}, {ENABLEEVENT_QUEUE, ENABLEEVENT_HANDLER}},
        {w.enable, ENABLEEVENT_QUEUE, {ENABLEEVENT_QUEUE}, {ENABLEEVENT_HANDLER, ENABLEEVENT_SUSPEND}},
        {w.disable, DISABLEEVENT_HANDLER, {DISABLEEVENT_HANDLER}, {DISABLEEVENT_QUEUE}},
        {w.discard, DISCARDEVENTS_SUSPEND, {DISCARDEVENTS_SUSPEND}, {DISCARDEVENTS_HANDLER}},
    };
    for (const Case& c : cases) {
        UiTest_Commit(c.panel, c.toggle);
        for (int control : c.on) EXPECT_EQ(intValue(c.panel, control), 1) << c.toggle;
        for (int control : c.off) EXPECT_EQ(intValue(c.panel, control), 0) << c.toggle;
    }
}

TEST_F(Events, NoMechanismAndNoEventAreStatusesNotHangs) {
    Window w = openWindow("GPIB0::22::INSTR");
    // The toggles turn each other off; only the program can clear them all.
    SetCtrlVal(w.enable, ENABLEEVENT_QUEUE, 0);
    UiTest_Commit(w.enable, ENABLEEVENT_EXECUTE);
    EXPECT_EQ(UiTest_DisplayedText(w.enable, ENABLEEVENT_STATUSNAME), "VI_ERROR_INV_MECH");
    // Disabling with no mechanism passes 0 to the library, which answers.
    SetCtrlVal(w.disable, DISABLEEVENT_QUEUE, 0);
    UiTest_Commit(w.disable, DISABLEEVENT_EXECUTE);
    EXPECT_EQ(UiTest_DisplayedText(w.disable, DISABLEEVENT_STATUSNAME), "VI_ERROR_INV_MECH");
    // A number that is no event type at all.
    EXPECT_EQ(enable(w, 0x12345678, ENABLEEVENT_QUEUE), "VI_ERROR_INV_EVENT");
    EXPECT_EQ(enable(w, VI_EVENT_SERVICE_REQ, ENABLEEVENT_QUEUE), "VI_SUCCESS");
    // A wait that times out leaves the information empty and dimmed.
    EXPECT_EQ(wait(w, VI_EVENT_SERVICE_REQ, 0), "VI_ERROR_TMO");
    EXPECT_TRUE(items(w.wait, WAITONEVENT_INFO).empty());
    EXPECT_EQ(intAttribute(w.wait, WAITONEVENT_INFO, ATTR_DIMMED), 1);
    EXPECT_EQ(intAttribute(w.wait, WAITONEVENT_STATUS, ATTR_TEXT_COLOR), 0xFF0000);
}

// Each event kind, raised by a demo bench instrument, through the queue and through the handler.
struct Raise {
    const char* rsrc;
    ViEventType event;
    std::function<void(ViSession)> raise;
};

void writeText(ViSession vi, const char* text) {
    ViUInt32 count = 0;
    viWrite(vi, reinterpret_cast<ViConstBuf>(text), static_cast<ViUInt32>(std::strlen(text)),
            &count);
}

const Raise kRaises[] = {
    {"GPIB0::22::INSTR", VI_EVENT_SERVICE_REQ, [](ViSession vi) { writeText(vi, "TEST:SRQ\n"); }},
    {"VXI0::24::INSTR", VI_EVENT_VXI_SIGP, [](ViSession vi) { writeText(vi, "TEST:SIGNAL\n"); }},
    {"VXI0::24::INSTR", VI_EVENT_VXI_VME_INTR, [](ViSession vi) { writeText(vi, "TEST:INTR\n"); }},
    {"GPIB0::INTFC", VI_EVENT_GPIB_CIC,
     [](ViSession vi) { viGpibPassControl(vi, 22, VI_NO_SEC_ADDR); }},
    {"GPIB0::SERVANT", VI_EVENT_GPIB_TALK, [](ViSession vi) { writeText(vi, "HELLO\n"); }},
    {"GPIB0::SERVANT", VI_EVENT_GPIB_LISTEN, [](ViSession vi) { writeText(vi, "TEST:LISTEN\n"); }},
    {"GPIB0::SERVANT", VI_EVENT_CLEAR, [](ViSession vi) { writeText(vi, "DONE\n"); }},
    {"GPIB0::SERVANT", VI_EVENT_TRIG, [](ViSession vi) { writeText(vi, "READY\n"); }},
    {"VXI0::SERVANT", VI_EVENT_VXI_DEV_CMD, [](ViSession vi) { writeText(vi, "REGISTER\n"); }},
    {"VXI0::0::BACKPLANE", VI_EVENT_VXI_VME_SYSRESET,
     [](ViSession vi) { viAssertUtilSignal(vi, VI_UTIL_ASSERT_SYSRESET); }},
    {"VXI0::0::BACKPLANE", VI_EVENT_VXI_VME_SYSFAIL,
     [](ViSession vi) { viAssertUtilSignal(vi, VI_UTIL_ASSERT_SYSFAIL); }},
    // The power supply's commands end in CR LF.
    {"ASRL1::INSTR", VI_EVENT_ASRL_RI, [](ViSession vi) { writeText(vi, "TEST:TRIP\r\n"); }},
    {"ASRL1::INSTR", VI_EVENT_ASRL_BREAK, [](ViSession vi) { writeText(vi, "TEST:TRIP\r\n"); }},
    {"ASRL1::INSTR", VI_EVENT_ASRL_DCD, [](ViSession vi) { writeText(vi, "TEST:CARRIER\r\n"); }},
    {"ASRL1::INSTR", VI_EVENT_ASRL_CHAR, [](ViSession vi) { writeText(vi, "*IDN?\r\n"); }},
    {"ASRL1::INSTR", VI_EVENT_ASRL_TERMCHAR, [](ViSession vi) { writeText(vi, "*IDN?\r\n"); }},
    {"PXI0::12::INSTR", VI_EVENT_PXI_INTR, [](ViSession vi) { viOut32(vi, VI_PXI_BAR0_SPACE, 0x40, 1); }},
};

TEST_F(Events, EveryKindArrivesInTheQueueWithItsAttributes) {
    for (const Raise& r : kRaises) {
        SCOPED_TRACE(std::string(r.rsrc) + " " + eventName(r.event));
        Window w = openWindow(r.rsrc);
        ASSERT_GT(w.panel, 0);
        EXPECT_EQ(enable(w, r.event, ENABLEEVENT_QUEUE), "VI_SUCCESS");
        r.raise(w.record->session);
        EXPECT_EQ(wait(w, r.event, 5000), "VI_SUCCESS");
        std::vector<std::string> info = items(w.wait, WAITONEVENT_INFO);
        ASSERT_GE(info.size(), 2u);
        EXPECT_EQ(info[0], "VI_ATTR_EVENT_TYPE:");
        EXPECT_EQ(info[1], std::string("  ") + eventName(r.event));
        EXPECT_EQ(intAttribute(w.wait, WAITONEVENT_INFO, ATTR_DIMMED), 0);
        DiscardPanel(w.panel);
    }
}

TEST_F(Events, EveryKindReachesTheHandlerSheetOnce) {
    for (const Raise& r : kRaises) {
        SCOPED_TRACE(std::string(r.rsrc) + " " + eventName(r.event));
        Window w = openWindow(r.rsrc);
        ASSERT_GT(w.panel, 0);
        ASSERT_GT(w.sheet, 0);
        EXPECT_EQ(enable(w, r.event, ENABLEEVENT_HANDLER), "VI_SUCCESS");
        // Enabled again: the handler is not installed a second time.
        EXPECT_EQ(enable(w, r.event, ENABLEEVENT_HANDLER), "VI_SUCCESS_EVENT_EN");
        r.raise(w.record->session);
        const std::string typeLine = std::string("VI_ATTR_EVENT_TYPE:  ") + eventName(r.event);
        EXPECT_TRUE(sheetShows(w, typeLine));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        UiTest_RunDeferredCalls();
        EXPECT_EQ(count(items(w.sheet, EVENTHANDLER_EVENTS), typeLine), 1);
        UiTest_Commit(w.sheet, EVENTHANDLER_CLEAR);
        EXPECT_TRUE(items(w.sheet, EVENTHANDLER_EVENTS).empty());
        DiscardPanel(w.panel);
    }
}

TEST_F(Events, ASuspendedHandlerHoldsEventsUntilTheHandlerIsEnabled) {
    Window w = openWindow("GPIB0::22::INSTR");
    EXPECT_EQ(enable(w, VI_EVENT_SERVICE_REQ, ENABLEEVENT_SUSPEND), "VI_SUCCESS");
    writeText(w.record->session, "TEST:SRQ\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    UiTest_RunDeferredCalls();
    EXPECT_TRUE(items(w.sheet, EVENTHANDLER_EVENTS).empty());
    EXPECT_EQ(enable(w, VI_EVENT_SERVICE_REQ, ENABLEEVENT_HANDLER), "VI_SUCCESS");
    EXPECT_TRUE(sheetShows(w, "VI_ATTR_EVENT_TYPE:  VI_EVENT_SERVICE_REQ"));
}

TEST_F(Events, AnExceptionNamesTheFailedOperation) {
    Window w = openWindow("VXI0::16::INSTR");
    EXPECT_EQ(enable(w, VI_EVENT_EXCEPTION, ENABLEEVENT_QUEUE), "VI_ERROR_NSUP_MECH");
    EXPECT_EQ(enable(w, VI_EVENT_EXCEPTION, ENABLEEVENT_HANDLER), "VI_SUCCESS");
    ViUInt16 value = 0;
    EXPECT_LT(viIn16(w.record->session, VI_A16_SPACE, 0x40, &value), VI_SUCCESS);
    EXPECT_TRUE(sheetShows(w, "VI_ATTR_EVENT_TYPE:  VI_EVENT_EXCEPTION"));
    EXPECT_EQ(count(items(w.sheet, EVENTHANDLER_EVENTS), "  VI_ATTR_OPER_NAME: viIn16"), 1);
}

// Handlers run on the library's thread while windows close under them.
TEST_F(Events, WindowsCloseWhileTheirHandlersFillTheSheet) {
    for (int round = 0; round < 10; ++round) {
        Window w = openWindow("PXI0::12::INSTR");
        ASSERT_GT(w.panel, 0);
        EXPECT_EQ(enable(w, VI_EVENT_PXI_INTR, ENABLEEVENT_HANDLER), "VI_SUCCESS");
        for (int k = 0; k < 20; ++k) viOut32(w.record->session, VI_PXI_BAR0_SPACE, 0x40, k);
        if (round % 2) UiTest_RunDeferredCalls();
        DiscardPanel(w.panel);
        UiTest_RunDeferredCalls();
    }
    EXPECT_EQ(numWindows, 0);
}

}  // namespace

namespace {

// Work that a test does from inside a waiting panel's event loop, as a user would meanwhile.
std::function<void()> duringTheWait;
void runDuringTheWait(void*) {
    duringTheWait();
}

class LongWaits : public Events {
  protected:
    void whileWaiting(std::function<void()> step) {
        duringTheWait = std::move(step);
        ASSERT_EQ(PostDeferredCallToThread(runDuringTheWait, nullptr, initThreadID), 0);
    }
};

TEST_F(LongWaits, AnInfiniteWaitLeavesTheOtherWindowsUsable) {
    Window a = openWindow("GPIB0::22::INSTR");
    Window b = openWindow("GPIB0::7::INSTR");
    const int getB = childPanel(b.panel, "viGetAttribute");
    EXPECT_EQ(enable(a, VI_EVENT_SERVICE_REQ, ENABLEEVENT_QUEUE), "VI_SUCCESS");
    int dimmedMeanwhile = -1;
    whileWaiting([&] {
        dimmedMeanwhile = 0;
        GetPanelAttribute(a.wait, ATTR_DIMMED, &dimmedMeanwhile);
        UiTest_Commit(getB, GETATTRIB_EXECUTE);
        writeText(a.record->session, "TEST:SRQ\n");
    });
    EXPECT_EQ(wait(a, VI_EVENT_SERVICE_REQ, VI_TMO_INFINITE), "VI_SUCCESS");
    EXPECT_EQ(dimmedMeanwhile, 1);
    EXPECT_EQ(UiTest_DisplayedText(getB, GETATTRIB_STATUSNAME), "VI_SUCCESS");
    std::vector<std::string> info = items(a.wait, WAITONEVENT_INFO);
    ASSERT_GE(info.size(), 2u);
    EXPECT_EQ(info[1], "  VI_EVENT_SERVICE_REQ");
    int dimmed = -1;
    GetPanelAttribute(a.wait, ATTR_DIMMED, &dimmed);
    EXPECT_EQ(dimmed, 0);
}

TEST_F(LongWaits, ClosingTheWindowEndsItsWaitAndItsLock) {
    Window a = openWindow("GPIB0::22::INSTR");
    EXPECT_EQ(enable(a, VI_EVENT_SERVICE_REQ, ENABLEEVENT_QUEUE), "VI_SUCCESS");
    whileWaiting([&] { DiscardPanel(a.panel); });
    UiTest_SetValue(a.wait, WAITONEVENT_TIMEOUT, ViUInt32{VI_TMO_INFINITE});
    UiTest_Commit(a.wait, WAITONEVENT_EXECUTE);
    EXPECT_EQ(numWindows, 0);

    // A lock that waits for another window's lock, closed the same way.
    Window holder = openWindow("GPIB0::22::INSTR");
    Window waiter = openWindow("GPIB0::22::INSTR");
    const int lockHolder = childPanel(holder.panel, "viLock");
    const int lockWaiter = childPanel(waiter.panel, "viLock");
    UiTest_Commit(lockHolder, LOCK_EXECUTE);
    EXPECT_EQ(UiTest_DisplayedText(lockHolder, LOCK_STATUSNAME), "VI_SUCCESS");
    whileWaiting([&] { DiscardPanel(waiter.panel); });
    UiTest_SetValue(lockWaiter, LOCK_TIMEOUT, ViUInt32{VI_TMO_INFINITE});
    UiTest_Commit(lockWaiter, LOCK_EXECUTE);
    EXPECT_EQ(numWindows, 1);
}

}  // namespace

namespace {

// An asynchronous write completes its panel through either mechanism.
TEST_F(Events, AnAsynchronousWriteCompletesThroughTheHandlerOrTheQueue) {
    Window w = openWindow("GPIB0::22::INSTR");
    const int write = w.record->writePanel;
    auto startWrite = [&] {
        UiTest_SetValue(write, WRITE_ASYNC, 1);
        UiTest_SetValue(write, WRITE_TEXT, "*IDN?\\n");
        UiTest_Commit(write, WRITE_EXECUTE);
        EXPECT_NE(w.record->jobId, 0u);
    };
    EXPECT_EQ(enable(w, VI_EVENT_IO_COMPLETION, ENABLEEVENT_HANDLER), "VI_SUCCESS");
    startWrite();
    EXPECT_TRUE(sheetShows(w, "VI_ATTR_EVENT_TYPE:  VI_EVENT_IO_COMPLETION"));
    EXPECT_TRUE(sheetShows(w, "  VI_ATTR_RET_COUNT: 6"));
    EXPECT_EQ(w.record->jobId, 0u);
    EXPECT_EQ(UiTest_DisplayedText(write, WRITE_RETCOUNT), "6");

    UiTest_Commit(w.disable, DISABLEEVENT_HANDLER);
    chooseEvent(w.disable, DISABLEEVENT_EVENT, DISABLEEVENT_EVENTID, VI_EVENT_IO_COMPLETION);
    UiTest_Commit(w.disable, DISABLEEVENT_EXECUTE);
    EXPECT_EQ(UiTest_DisplayedText(w.disable, DISABLEEVENT_STATUSNAME), "VI_SUCCESS");
    EXPECT_EQ(enable(w, VI_EVENT_IO_COMPLETION, ENABLEEVENT_QUEUE), "VI_SUCCESS");
    UiTest_SetValue(write, WRITE_RETCOUNT, 0u);
    startWrite();
    EXPECT_EQ(wait(w, VI_EVENT_IO_COMPLETION, 5000), "VI_SUCCESS");
    std::vector<std::string> info = items(w.wait, WAITONEVENT_INFO);
    ASSERT_EQ(info.size(), 8u);
    EXPECT_EQ(info[4], "VI_ATTR_RET_COUNT:");
    EXPECT_EQ(info[5], "  6");
    EXPECT_EQ(UiTest_RunDeferredCalls(), 1);  // the completion the wait posted
    EXPECT_EQ(w.record->jobId, 0u);
    EXPECT_EQ(UiTest_DisplayedText(write, WRITE_RETCOUNT), "6");
}

}  // namespace

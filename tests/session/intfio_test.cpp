#include <gtest/gtest.h>

#include <string>

#include "session/sessionrecord.h"
#include "tests/support/sessionbench.h"
#include "zuvisa/visa.h"
#include "zuvisa/zuvisa.h"

namespace {

class InterfaceIo : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        start(preferences());
        ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    }
    void TearDown() override {
        viClose(rm);
        SessionBench::TearDown();
    }
    virtual std::string preferences() { return ""; }

    // Opens a window; its record.
    SessionRecord* openWindow(const char* rsrcName, int* window) {
        *window = open(rsrcName);
        EXPECT_GT(*window, 0) << rsrcName;
        SessionRecord* r = nullptr;
        GetPanelAttribute(*window, ATTR_CALLBACK_DATA, reinterpret_cast<void**>(&r));
        return r;
    }
    // A session of the test's own, beside the windows, to see what they did.
    ViSession observer(const char* rsrcName) {
        ViSession vi = VI_NULL;
        EXPECT_EQ(viOpen(rm, rsrcName, VI_NULL, 0, &vi), VI_SUCCESS) << rsrcName;
        return vi;
    }
    static ViInt16 state(ViSession vi, ViAttr attribute) {
        ViInt16 value = -1;
        viGetAttribute(vi, attribute, &value);
        return value;
    }
    static std::string commandLog(ViSession board) {
        char text[512] = "";
        viGetAttribute(board, VI_ATTR_ZU_GPIB_CMD_LOG, text);
        return text;
    }
    static void run(int panel, std::initializer_list<std::pair<int, UiValue>> inputs) {
        for (const auto& [control, value] : inputs)
            ASSERT_EQ(UiTest_SetValue(panel, control, value), 0) << control;
        ASSERT_EQ(UiTest_Commit(panel, 4), 0);  // every panel's Execute
    }
    static std::string statusName(int panel) { return shown(panel, 5, 6).name; }

    ViSession rm = VI_NULL;
};

// The bytes typed, decoded by the escape rules, as the simulated bus saw them with ATN.
TEST_F(InterfaceIo, GpibCommandBytesAsTheBusSeesThem) {
    int window = 0;
    SessionRecord* r = openWindow("GPIB0::INTFC", &window);
    const int panel = childPanel(window, "viGpibCommand");
    ASSERT_GT(panel, 0);
    const ViSession bus = observer("GPIB0::SERVANT");
    const struct {
        const char* typed;
        const char* bytes;
        ViUInt32 count;
    } cases[] = {
        {"?_!\\x3f", "3F 5F 21 3F", 4}, {"", "", 0},       {"\\x14", "14", 1},
        {"\\x00\\xff", "00 FF", 2},     {"\\\\", "5C", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed);
        const std::string before = commandLog(bus);
        run(panel, {{GPIBCMD_COMMAND, c.typed}});
        EXPECT_EQ(statusName(panel), "VI_SUCCESS");
        EXPECT_EQ(number(panel, GPIBCMD_RETCOUNT), c.count);
        const std::string after = commandLog(bus);
        EXPECT_EQ(after, before.empty() || !*c.bytes ? before + c.bytes : before + " " + c.bytes);
    }
    // The buffer it shares with Write keeps the size asked for.
    run(panel, {{GPIBCMD_COMMAND, std::string(1500, '?').c_str()}});
    EXPECT_EQ(r->writeSize, 1500u);
    EXPECT_EQ(number(panel, GPIBCMD_RETCOUNT), 1500u);
}

TEST_F(InterfaceIo, GpibLinesAndControllership) {
    int window = 0;
    openWindow("GPIB0::INTFC", &window);
    const ViSession board = observer("GPIB0::INTFC");
    const int ren = childPanel(window, "viGpibControlREN"),
              atn = childPanel(window, "viGpibControlATN");
    const struct {
        int panel, control;
        ViUInt16 mode;
        ViAttr line;
        ViInt16 expected;
    } cases[] = {
        {ren, GPIBREN_MODE, VI_GPIB_REN_ASSERT, VI_ATTR_GPIB_REN_STATE, VI_STATE_ASSERTED},
        {ren, GPIBREN_MODE, VI_GPIB_REN_DEASSERT, VI_ATTR_GPIB_REN_STATE, VI_STATE_UNASSERTED},
        {ren, GPIBREN_MODE, VI_GPIB_REN_ASSERT_LLO, VI_ATTR_GPIB_REN_STATE, VI_STATE_ASSERTED},
        {atn, GPIBATN_MODE, VI_GPIB_ATN_ASSERT, VI_ATTR_GPIB_ATN_STATE, VI_STATE_ASSERTED},
        {atn, GPIBATN_MODE, VI_GPIB_ATN_DEASSERT, VI_ATTR_GPIB_ATN_STATE, VI_STATE_UNASSERTED},
        {atn, GPIBATN_MODE, VI_GPIB_ATN_ASSERT_IMMEDIATE, VI_ATTR_GPIB_ATN_STATE,
         VI_STATE_ASSERTED},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mode);
        run(c.panel, {{c.control, c.mode}});
        EXPECT_EQ(statusName(c.panel), "VI_SUCCESS");
        EXPECT_EQ(state(board, c.line), c.expected);
    }
    // Control goes to the talker and the board is no longer in charge; IFC takes it back.
    const int pass = childPanel(window, "viGpibPassControl");
    run(pass, {{PASSCTRL_PRIMARY, ViUInt16{5}}, {PASSCTRL_SECONDARY, ViUInt16{VI_NO_SEC_ADDR}}});
    EXPECT_EQ(statusName(pass), "VI_SUCCESS");
    EXPECT_EQ(state(board, VI_ATTR_GPIB_CIC_STATE), VI_FALSE);
    const int ifc = childPanel(window, "viGpibSendIFC");
    run(ifc, {});
    EXPECT_EQ(statusName(ifc), "VI_SUCCESS");
    EXPECT_EQ(state(board, VI_ATTR_GPIB_CIC_STATE), VI_TRUE);
    // Any secondary address the field takes: a status, not a crash.
    run(pass, {{PASSCTRL_PRIMARY, ViUInt16{5}}, {PASSCTRL_SECONDARY, ViUInt16{0xFFFE}}});
    EXPECT_TRUE(shown(pass, PASSCTRL_STATUS, PASSCTRL_STATUSNAME).red);
}

// A servant's response reaches its commander as the word-serial response of its query.
TEST_F(InterfaceIo, ServantResponseReachesTheCommandersQuery) {
    int servantWindow = 0, commanderWindow = 0;
    openWindow("VXI0::SERVANT", &servantWindow);
    SessionRecord* commander = openWindow("VXI0::0::INSTR", &commanderWindow);
    ASSERT_NE(commander, nullptr);
    viSetAttribute(commander->session, VI_ATTR_TMO_VALUE, 200);
    const int respond = childPanel(servantWindow, "viVxiServantResponse");
    const int query = childPanel(commanderWindow, "viVxiCommandQuery");
    ASSERT_GT(respond, 0);
    ASSERT_GT(query, 0);

    run(respond, {{SERVRESP_MODE, ViInt16{VI_VXI_RESP16}}, {SERVRESP_RESPONSE, ViUInt32{0x1234}}});
    EXPECT_EQ(statusName(respond), "VI_SUCCESS");
    run(query, {{CMDQUERY_MODE, ViUInt16{VI_VXI_RESP16}}});
    EXPECT_EQ(statusName(query), "VI_SUCCESS");
    EXPECT_EQ(number(query, CMDQUERY_RESPONSE), 0x1234u);

    // Nothing to take: the query fails and shows response 0.
    run(query, {{CMDQUERY_MODE, ViUInt16{VI_VXI_RESP16}}});
    EXPECT_TRUE(shown(query, CMDQUERY_STATUS, CMDQUERY_STATUSNAME).red);
    EXPECT_EQ(number(query, CMDQUERY_RESPONSE), 0u);

    run(respond, {{SERVRESP_MODE, ViInt16{VI_VXI_RESP_PROT_ERROR}}});
    run(query, {{CMDQUERY_MODE, ViUInt16{VI_VXI_RESP32}}});
    EXPECT_EQ(statusName(query), "VI_ERROR_INP_PROT_VIOL");
}

TEST_F(InterfaceIo, TriggerMappingShowsOnTheBackplane) {
    int window = 0;
    SessionRecord* r = openWindow("VXI0::0::BACKPLANE", &window);
    const int map = childPanel(window, "viMapTrigger"),
              unmap = childPanel(window, "viUnmapTrigger");
    const ViSession backplane = r->session;
    auto assertedLines = [&] {
        ViUInt32 lines = 0;
        viGetAttribute(backplane, VI_ATTR_VXI_TRIG_STATUS, &lines);
        return lines;
    };
    auto pulse = [&] {
        viAssertTrigger(backplane, VI_TRIG_PROT_ON);
        ViUInt32 lines = assertedLines();
        viAssertTrigger(backplane, VI_TRIG_PROT_OFF);
        return lines;
    };
    ASSERT_EQ(viSetAttribute(backplane, VI_ATTR_TRIG_ID, VI_TRIG_TTL0), VI_SUCCESS);
    run(map, {{MAPTRIGGER_SOURCE, ViInt16{VI_TRIG_TTL0}},
              {MAPTRIGGER_DESTINATION, ViInt16{VI_TRIG_TTL3}}});
    EXPECT_EQ(statusName(map), "VI_SUCCESS");
    EXPECT_EQ(pulse(), 0x9u) << "TTL0 and the line mapped from it";
    run(unmap, {{UNMAPTRIG_SOURCE, ViInt16{VI_TRIG_TTL0}},
                {UNMAPTRIG_DESTINATION, ViInt16{VI_TRIG_TTL3}}});
    EXPECT_EQ(statusName(unmap), "VI_SUCCESS");
    EXPECT_EQ(pulse(), 0x1u);
    run(unmap, {});
    EXPECT_TRUE(shown(unmap, UNMAPTRIG_STATUS, UNMAPTRIG_STATUSNAME).red) << "nothing mapped";
}

TEST_F(InterfaceIo, SignalsReachTheDevicesOfTheBackplane) {
    int window = 0;
    SessionRecord* r = openWindow("VXI0::0::BACKPLANE", &window);
    const ViSession device = observer("VXI0::16::INSTR");
    ASSERT_EQ(viEnableEvent(device, VI_EVENT_VXI_VME_INTR, VI_QUEUE, VI_NULL), VI_SUCCESS);
    const int intr = childPanel(window, "viAssertIntrSignal");
    run(intr,
        {{INTRSIGNAL_MODE, ViInt16{VI_ASSERT_IRQ2}}, {INTRSIGNAL_STATUSID, ViUInt32{0x0010}}});
    EXPECT_EQ(statusName(intr), "VI_SUCCESS");
    ViEventType type = 0;
    ViEvent event = VI_NULL;
    EXPECT_EQ(viWaitOnEvent(device, VI_EVENT_VXI_VME_INTR, 2000, &type, &event), VI_SUCCESS);
    if (event != VI_NULL) viClose(event);

    const int util = childPanel(window, "viAssertUtilSignal");
    run(util, {{UTILSIGNAL_LINE, ViUInt16{VI_UTIL_ASSERT_SYSFAIL}}});
    EXPECT_EQ(statusName(util), "VI_SUCCESS");
    EXPECT_EQ(state(r->session, VI_ATTR_VXI_VME_SYSFAIL_STATE), VI_STATE_ASSERTED);
    run(util, {{UTILSIGNAL_LINE, ViUInt16{VI_UTIL_DEASSERT_SYSFAIL}}});
    EXPECT_EQ(state(r->session, VI_ATTR_VXI_VME_SYSFAIL_STATE), VI_STATE_UNASSERTED);
}

// GPIB Command may not move or overwrite the buffer a pending asynchronous Write sends.
class AsyncInterfaceIo : public InterfaceIo {
  protected:
    std::string preferences() override { return "useVisaId = 0\n"; }
};

TEST_F(AsyncInterfaceIo, GpibCommandLeavesAPendingWritesBuffer) {
    int window = 0;
    SessionRecord* r = openWindow("GPIB0::INTFC", &window);
    const int write = childPanel(window, "viWrite"), command = childPanel(window, "viGpibCommand");
    ASSERT_EQ(UiTest_SetValue(write, WRITE_TEXT, "DATA"), 0);
    ASSERT_EQ(UiTest_Commit(write, WRITE_EXECUTE), 0);
    ASSERT_NE(r->jobId, 0u);  // pending until its completion runs here
    const char* buffer = r->writeBuffer;
    const ViUInt32 size = r->writeSize;

    run(command, {{GPIBCMD_COMMAND, std::string(3000, '?').c_str()}});
    EXPECT_EQ(statusName(command), "VI_SUCCESS");
    EXPECT_EQ(number(command, GPIBCMD_RETCOUNT), 3000u);
    EXPECT_EQ(r->writeBuffer, buffer);
    EXPECT_EQ(r->writeSize, size);
    EXPECT_EQ(std::string(r->writeBuffer, 4), "DATA");

    ASSERT_TRUE(awaitCompletion());
    // Once the Write is done, the command grows the shared buffer again.
    run(command, {{GPIBCMD_COMMAND, std::string(3000, '?').c_str()}});
    EXPECT_EQ(r->writeSize, 3000u);
}

}  // namespace

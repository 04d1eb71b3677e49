// VXI backplanes and servants through the C API: trigger mapping, interrupts and signals,
// SYSFAIL and SYSRESET, and a servant's exchange with its commander.
#include "simbench.h"

namespace zuvisa::testing {
namespace {

using Backplane = SimBench;

TEST_F(Backplane, MapsTriggerLines) {
    ViSession bp = open("VXI0::0::BACKPLANE");
    EXPECT_EQ(viMapTrigger(bp, VI_TRIG_PANEL_IN, VI_TRIG_TTL4, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(viMapTrigger(bp, VI_TRIG_PANEL_IN, VI_TRIG_TTL4, VI_NULL), VI_SUCCESS_TRIG_MAPPED);
    EXPECT_EQ(viMapTrigger(bp, VI_TRIG_TTL0, VI_TRIG_TTL4, VI_NULL), VI_ERROR_LINE_IN_USE);
    EXPECT_EQ(viMapTrigger(bp, VI_TRIG_TTL0, VI_TRIG_TTL5, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(viMapTrigger(bp, VI_TRIG_TTL0, 99, VI_NULL), VI_ERROR_INV_LINE);
    EXPECT_EQ(viMapTrigger(bp, VI_TRIG_TTL0, VI_TRIG_TTL6, 7), VI_ERROR_INV_MODE);

    // Asserting TTL0 drives TTL5 too.
    listen(bp, VI_EVENT_TRIG);
    EXPECT_EQ(attr<ViInt16>(bp, VI_ATTR_TRIG_ID), VI_TRIG_TTL0);
    EXPECT_EQ(viAssertTrigger(bp, VI_TRIG_PROT_ON), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(bp, VI_ATTR_VXI_TRIG_STATUS), (1u << 0) | (1u << 5));
    ViEvent ctx = 0;
    std::vector<ViInt16> lines;
    while (wait(bp, VI_EVENT_TRIG, &ctx, 100) >= VI_SUCCESS) {
        lines.push_back(attr<ViInt16>(ctx, VI_ATTR_RECV_TRIG_ID));
        viClose(ctx);
    }
    EXPECT_EQ(lines, (std::vector<ViInt16>{VI_TRIG_TTL0, VI_TRIG_TTL5}));
    EXPECT_EQ(viAssertTrigger(bp, VI_TRIG_PROT_OFF), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(bp, VI_ATTR_VXI_TRIG_STATUS), 0u);

    EXPECT_EQ(viUnmapTrigger(bp, VI_TRIG_TTL0, VI_TRIG_TTL5), VI_SUCCESS);
    EXPECT_EQ(viUnmapTrigger(bp, VI_TRIG_TTL0, VI_TRIG_TTL5), VI_ERROR_TRIG_NMAPPED);
    EXPECT_EQ(viUnmapTrigger(bp, VI_TRIG_PANEL_IN, VI_TRIG_ALL), VI_SUCCESS);
    EXPECT_EQ(viUnmapTrigger(bp, 99, VI_TRIG_ALL), VI_ERROR_INV_LINE);
    EXPECT_EQ(viSetAttribute(bp, VI_ATTR_TRIG_ID, VI_TRIG_ECL1), VI_SUCCESS);
    EXPECT_EQ(viAssertTrigger(bp, VI_TRIG_PROT_SYNC), VI_SUCCESS);
    ASSERT_EQ(wait(bp, VI_EVENT_TRIG, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(ctx, VI_ATTR_RECV_TRIG_ID), VI_TRIG_ECL1);
    EXPECT_EQ(attr<ViUInt32>(bp, VI_ATTR_VXI_TRIG_STATUS), 0u) << "a pulse leaves the line free";
}

TEST_F(Backplane, InterruptsReachTheDeviceNamedInTheStatusId) {
    ViSession bp = open("VXI0::0::BACKPLANE");
    ViSession dig = open("VXI0::8::INSTR");
    listen(dig, VI_EVENT_VXI_VME_INTR);
    listen(dig, VI_EVENT_VXI_SIGP);
    EXPECT_EQ(viAssertIntrSignal(bp, VI_ASSERT_IRQ5, 0x1208), VI_SUCCESS);
    ViEvent ctx = 0;
    ASSERT_EQ(wait(dig, VI_EVENT_VXI_VME_INTR, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(ctx, VI_ATTR_INTR_STATUS_ID), 0x1208u);
    EXPECT_EQ(attr<ViInt16>(ctx, VI_ATTR_RECV_INTR_LEVEL), 5);
    viClose(ctx);
    EXPECT_EQ(viAssertIntrSignal(bp, VI_ASSERT_SIGNAL, 0xFD08), VI_SUCCESS);
    ASSERT_EQ(wait(dig, VI_EVENT_VXI_SIGP, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt16>(ctx, VI_ATTR_SIGP_STATUS_ID), 0xFD08);
    viClose(ctx);
    EXPECT_EQ(attr<ViUInt16>(bp, VI_ATTR_VXI_VME_INTR_STATUS), 0);
    // Nobody handles logical address 99: the line stays asserted.
    EXPECT_EQ(viAssertIntrSignal(bp, VI_ASSERT_IRQ2, 99), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt16>(bp, VI_ATTR_VXI_VME_INTR_STATUS), 1 << 2);
    EXPECT_EQ(viAssertIntrSignal(bp, 8, 99), VI_ERROR_INV_MODE);
    EXPECT_EQ(viAssertUtilSignal(bp, VI_UTIL_ASSERT_SYSRESET), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt16>(bp, VI_ATTR_VXI_VME_INTR_STATUS), 0) << "SYSRESET clears it";
}

TEST_F(Backplane, SysfailAndSysreset) {
    ViSession bp = open("VXI0::0::BACKPLANE");
    ViSession servant = open("VXI0::SERVANT");
    // The module at logical address 48 failed its self-test and holds SYSFAIL.
    EXPECT_EQ(attr<ViInt16>(bp, VI_ATTR_VXI_VME_SYSFAIL_STATE), VI_STATE_ASSERTED);
    listen(bp, VI_EVENT_VXI_VME_SYSFAIL);
    listen(bp, VI_EVENT_VXI_VME_SYSRESET);
    listen(servant, VI_EVENT_VXI_VME_SYSRESET);
    EXPECT_EQ(viAssertUtilSignal(bp, VI_UTIL_DEASSERT_SYSFAIL), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(servant, VI_ATTR_VXI_VME_SYSFAIL_STATE), VI_STATE_UNASSERTED);
    EXPECT_EQ(viAssertUtilSignal(bp, VI_UTIL_ASSERT_SYSFAIL), VI_SUCCESS);
    ViEvent ctx = 0;
    EXPECT_EQ(wait(bp, VI_EVENT_VXI_VME_SYSFAIL, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(viAssertUtilSignal(bp, VI_UTIL_DEASSERT_SYSFAIL), VI_SUCCESS);
    EXPECT_EQ(viAssertUtilSignal(bp, VI_UTIL_ASSERT_SYSRESET), VI_SUCCESS);
    EXPECT_EQ(wait(bp, VI_EVENT_VXI_VME_SYSRESET, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(wait(servant, VI_EVENT_VXI_VME_SYSRESET, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(attr<ViInt16>(bp, VI_ATTR_VXI_VME_SYSFAIL_STATE), VI_STATE_ASSERTED) << "still failing after reset";
    EXPECT_EQ(viAssertUtilSignal(bp, 9), VI_ERROR_INV_LINE);
}

TEST_F(Backplane, GpibVxiBackplaneIsReachedThroughItsBoard) {
    ViSession bp = open("GPIB-VXI0::0::BACKPLANE");
    EXPECT_EQ(attr<ViUInt16>(bp, VI_ATTR_INTF_PARENT_NUM), 1);
    EXPECT_EQ(attr<ViUInt16>(bp, VI_ATTR_GPIB_PRIMARY_ADDR), 9);
    EXPECT_EQ(attr<ViInt16>(bp, VI_ATTR_MAINFRAME_LA), 0);
    EXPECT_EQ(attr<ViInt16>(bp, VI_ATTR_VXI_VME_SYSFAIL_STATE), VI_STATE_UNASSERTED);
    EXPECT_EQ(viMapTrigger(bp, VI_TRIG_TTL2, VI_TRIG_TTL3, VI_NULL), VI_SUCCESS);
}

using Servant = SimBench;

TEST_F(Servant, ExchangesMessagesAndCommandsWithItsCommander) {
    ViSession vi = open("VXI0::SERVANT");
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_VXI_LA), 0);
    EXPECT_EQ(query(vi, "STATUS\n"), "ACK\n");
    listen(vi, VI_EVENT_VXI_DEV_CMD);
    listen(vi, VI_EVENT_CLEAR);
    listen(vi, VI_EVENT_TRIG);
    EXPECT_EQ(write(vi, "HELLO\n"), VI_SUCCESS);
    EXPECT_EQ(read(vi), "WELCOME\n") << "the commander answers in its own time";
    EXPECT_EQ(write(vi, "POKE\n"), VI_SUCCESS);
    ViEvent ctx = 0;
    ASSERT_EQ(wait(vi, VI_EVENT_VXI_DEV_CMD, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(ctx, VI_ATTR_VXI_DEV_CMD_TYPE), VI_VXI_CMD16);
    EXPECT_EQ(attr<ViUInt32>(ctx, VI_ATTR_VXI_DEV_CMD_VALUE), 0xCFFFu);
    viClose(ctx);
    EXPECT_EQ(write(vi, "TRG\n"), VI_SUCCESS);
    EXPECT_EQ(wait(vi, VI_EVENT_TRIG, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(write(vi, "CLR\n"), VI_SUCCESS);
    EXPECT_EQ(wait(vi, VI_EVENT_CLEAR, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(viAssertUtilSignal(vi, VI_UTIL_ASSERT_SYSFAIL), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_VXI_VME_SYSFAIL_STATE), VI_STATE_ASSERTED);
}

// A commander in this process reaches the servant through the controller's own logical address.
class Commander : public SimBench {
protected:
    void SetUp() override {
        SimBench::SetUp();
        servant = open("VXI0::SERVANT");
        commander = open("VXI0::0::INSTR");
        ASSERT_EQ(viSetAttribute(commander, VI_ATTR_TMO_VALUE, 100), VI_SUCCESS);
    }
    ViStatus ask(ViUInt16 mode, ViUInt32 cmd, ViUInt32* response = nullptr) {
        ViUInt32 r = 0;
        ViStatus st = viVxiCommandQuery(commander, mode, cmd, &r);
        if (response) *response = r;
        return st;
    }
    ViSession servant = 0, commander = 0;
};

TEST_F(Commander, CommandsArriveAsEventsOfTheirKind) {
    listen(servant, VI_EVENT_VXI_DEV_CMD);
    listen(servant, VI_EVENT_CLEAR);
    listen(servant, VI_EVENT_TRIG);
    const struct {
        ViUInt16 mode;
        ViUInt32 cmd;
        ViEventType event;
    } cases[] = {
        {VI_VXI_CMD16, 0xCFFF, VI_EVENT_VXI_DEV_CMD},       // Read Status
        {VI_VXI_CMD32, 0xC9FF0001, VI_EVENT_VXI_DEV_CMD},   // longword serial
        {VI_VXI_CMD16, 0xBC41, VI_EVENT_VXI_DEV_CMD},       // Byte Available is the servant's too
        {VI_VXI_CMD16, 0xFEFF, VI_EVENT_CLEAR},
        {VI_VXI_CMD32, 0xEDFF0000, VI_EVENT_TRIG},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ask(c.mode, c.cmd), VI_SUCCESS) << std::hex << c.cmd;
        ViEvent ctx = 0;
        ASSERT_EQ(wait(servant, c.event, &ctx, 500), VI_SUCCESS) << std::hex << c.cmd;
        if (c.event == VI_EVENT_VXI_DEV_CMD) {
            EXPECT_EQ(attr<ViInt16>(ctx, VI_ATTR_VXI_DEV_CMD_TYPE), static_cast<ViInt16>(c.mode));
            EXPECT_EQ(attr<ViUInt32>(ctx, VI_ATTR_VXI_DEV_CMD_VALUE), c.cmd);
        }
        if (c.event == VI_EVENT_TRIG) {
            EXPECT_EQ(attr<ViInt16>(ctx, VI_ATTR_RECV_TRIG_ID), VI_TRIG_SW);
        }
        viClose(ctx);
    }
    EXPECT_EQ(ask(VI_VXI_CMD16, 0x1CFFF), VI_ERROR_INV_PARAMETER) << "more than 16 bits";
}

TEST_F(Commander, TheServantsResponseIsTheQuerysResponseWord) {
    ViUInt32 r = 0;
    EXPECT_EQ(ask(VI_VXI_RESP16, 0, &r), VI_ERROR_TMO) << "nothing to take yet";
    EXPECT_EQ(ask(VI_VXI_CMD16, 0xCFFF), VI_SUCCESS);
    EXPECT_EQ(viVxiServantResponse(servant, VI_VXI_RESP16, 0xFF42), VI_SUCCESS);
    EXPECT_EQ(viVxiServantResponse(servant, VI_VXI_RESP16, 0xFF43), VI_ERROR_RESP_PENDING) << "not taken yet";
    EXPECT_EQ(ask(VI_VXI_RESP16, 0, &r), VI_SUCCESS);
    EXPECT_EQ(r, 0xFF42u);
    EXPECT_EQ(ask(VI_VXI_RESP16, 0, &r), VI_ERROR_TMO) << "taken once";
    EXPECT_EQ(viVxiServantResponse(servant, VI_VXI_RESP32, 0x12345678), VI_SUCCESS);
    EXPECT_EQ(ask(VI_VXI_RESP32, 0, &r), VI_SUCCESS);
    EXPECT_EQ(r, 0x12345678u);
    EXPECT_EQ(viVxiServantResponse(servant, VI_VXI_RESP_NONE, 0), VI_SUCCESS);
    EXPECT_EQ(ask(VI_VXI_RESP16, 0, &r), VI_ERROR_TMO) << "no response is no response";
    EXPECT_EQ(viVxiServantResponse(servant, VI_VXI_RESP_PROT_ERROR, 0), VI_SUCCESS);
    EXPECT_EQ(ask(VI_VXI_RESP16, 0, &r), VI_ERROR_INP_PROT_VIOL);
    EXPECT_EQ(viVxiServantResponse(servant, VI_VXI_RESP16, 0x1FF42), VI_ERROR_INV_PARAMETER);
    EXPECT_EQ(viVxiServantResponse(servant, 7, 0), VI_ERROR_INV_MODE);
    // A clear from the commander drops a response it has not taken.
    EXPECT_EQ(viVxiServantResponse(servant, VI_VXI_RESP16, 0xFF44), VI_SUCCESS);
    EXPECT_EQ(ask(VI_VXI_CMD16, 0xFEFF), VI_SUCCESS);
    EXPECT_EQ(ask(VI_VXI_RESP16, 0, &r), VI_ERROR_TMO);
    // Without a servant session the controller's own firmware answers.
    viClose(servant);
    EXPECT_EQ(ask(VI_VXI_CMD16_RESP16, 0xDFFF, &r), VI_SUCCESS);
    EXPECT_EQ(r, 0x7FF7u) << "Read Protocol";
}

ViStatus _VI_FUNCH answerStatus(ViSession vi, ViEventType, ViEvent ctx, ViAddr) {
    ViUInt32 cmd = 0;
    viGetAttribute(ctx, VI_ATTR_VXI_DEV_CMD_VALUE, &cmd);
    viVxiServantResponse(vi, VI_VXI_RESP16, 0xFF00 | (cmd & 0xFF));
    return VI_SUCCESS;
}

TEST_F(Commander, AQueryWaitsForAServantThatAnswersFromItsHandler) {
    ASSERT_EQ(viInstallHandler(servant, VI_EVENT_VXI_DEV_CMD, answerStatus, nullptr), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(servant, VI_EVENT_VXI_DEV_CMD, VI_HNDLR, VI_NULL), VI_SUCCESS);
    ASSERT_EQ(viSetAttribute(commander, VI_ATTR_TMO_VALUE, 2000), VI_SUCCESS);
    ViUInt32 r = 0;
    EXPECT_EQ(ask(VI_VXI_CMD16_RESP16, 0xCF2A, &r), VI_SUCCESS);
    EXPECT_EQ(r, 0xFF2Au);
    EXPECT_EQ(ask(VI_VXI_CMD32_RESP16, 0xCF170000, &r), VI_SUCCESS);
    EXPECT_EQ(r, 0xFF00u) << "the handler saw the whole longword";
}

TEST_F(Commander, TheServantsSignalsAndInterruptsReachTheCommander) {
    listen(commander, VI_EVENT_VXI_SIGP);
    listen(commander, VI_EVENT_VXI_VME_INTR);
    EXPECT_EQ(viAssertIntrSignal(servant, VI_ASSERT_SIGNAL, 0xFD00), VI_SUCCESS);
    ViEvent ctx = 0;
    ASSERT_EQ(wait(commander, VI_EVENT_VXI_SIGP, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt16>(ctx, VI_ATTR_SIGP_STATUS_ID), 0xFD00);
    viClose(ctx);
    EXPECT_EQ(viAssertIntrSignal(servant, VI_ASSERT_IRQ3, 0x4400), VI_SUCCESS);
    ASSERT_EQ(wait(commander, VI_EVENT_VXI_VME_INTR, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(ctx, VI_ATTR_INTR_STATUS_ID), 0x4400u);
    EXPECT_EQ(attr<ViInt16>(ctx, VI_ATTR_RECV_INTR_LEVEL), 3);
    viClose(ctx);
    EXPECT_EQ(viAssertIntrSignal(servant, -2, 0), VI_ERROR_INV_MODE);
    EXPECT_EQ(viAssertIntrSignal(servant, 8, 0), VI_ERROR_INV_MODE);
}

}  // namespace
}  // namespace zuvisa::testing

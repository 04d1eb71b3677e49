// A serial instrument through the C API: modem lines and their events, flow control, end modes,
// break, and the character events of arriving bytes.
#include "simbench.h"

namespace zuvisa::testing {
namespace {

using Serial = SimBench;

TEST_F(Serial, ModemLinesFollowTheHandshakeWiring) {
    ViSession vi = open("ASRL1::INSTR");
    listen(vi, VI_EVENT_ASRL_CTS);
    listen(vi, VI_EVENT_ASRL_DSR);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_CTS_STATE), VI_STATE_ASSERTED);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_DCD_STATE), VI_STATE_ASSERTED);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_RI_STATE), VI_STATE_UNASSERTED);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_RTS_STATE, VI_STATE_UNASSERTED), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_CTS_STATE), VI_STATE_UNASSERTED);
    ViEvent ctx = 0;
    EXPECT_EQ(wait(vi, VI_EVENT_ASRL_CTS, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_DTR_STATE, VI_STATE_UNASSERTED), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_DSR_STATE), VI_STATE_UNASSERTED);
    EXPECT_EQ(wait(vi, VI_EVENT_ASRL_DSR, &ctx), VI_SUCCESS);
    viClose(ctx);
    // Under hardware handshake the driver owns RTS and holds it asserted.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_FLOW_CNTRL, VI_ASRL_FLOW_RTS_CTS), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_RTS_STATE), VI_STATE_ASSERTED);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_RTS_STATE, VI_STATE_UNASSERTED), VI_ERROR_NSUP_ATTR_STATE);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_FLOW_CNTRL, VI_ASRL_FLOW_DTR_DSR), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_DTR_STATE, VI_STATE_ASSERTED), VI_ERROR_NSUP_ATTR_STATE);
    // The instrument rings.
    listen(vi, VI_EVENT_ASRL_RI);
    EXPECT_EQ(write(vi, "RING\n"), VI_SUCCESS);
    EXPECT_EQ(wait(vi, VI_EVENT_ASRL_RI, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_RI_STATE), VI_STATE_ASSERTED);
    // It drops the carrier, and the line follows the event.
    listen(vi, VI_EVENT_ASRL_DCD);
    EXPECT_EQ(write(vi, "HANGUP\n"), VI_SUCCESS);
    EXPECT_EQ(wait(vi, VI_EVENT_ASRL_DCD, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_DCD_STATE), VI_STATE_UNASSERTED);
}

TEST_F(Serial, EndModesDecideWhereMessagesEnd) {
    ViSession vi = open("ASRL1::INSTR");
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 100);
    ViStatus st;
    // Reads end at the termination character by default.
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(vi, VI_ATTR_ASRL_AVAIL_NUM), 14u);
    EXPECT_EQ(read(vi, &st), "ZU,PS-3,1,1.0\n");
    EXPECT_EQ(st, VI_SUCCESS_TERM_CHAR);
    // With no end mode a read runs to its count or its time: the line has no END.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_NONE), VI_SUCCESS);
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(read(vi, &st, 4), "ZU,P");
    EXPECT_EQ(st, VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(read(vi, &st), "S-3,1,1.0\n");
    EXPECT_EQ(st, VI_ERROR_TMO);
    // The last-bit mode marks the final byte.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_LAST_BIT), VI_SUCCESS);
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    std::string answer = read(vi, &st);
    EXPECT_EQ(st, VI_SUCCESS);
    ASSERT_EQ(answer.size(), 14u);
    EXPECT_EQ(static_cast<unsigned char>(answer.back()), 0x8A);
    // Writes: the termination character goes after the message, or nothing does.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_TERMCHAR), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_END_OUT, VI_ASRL_END_TERMCHAR), VI_SUCCESS);
    EXPECT_EQ(query(vi, "*IDN?"), "ZU,PS-3,1,1.0\n");
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_END_OUT, VI_ASRL_END_NONE), VI_SUCCESS);
    EXPECT_EQ(write(vi, "*IDN?"), VI_SUCCESS);
    read(vi, &st);
    EXPECT_EQ(st, VI_ERROR_TMO) << "the supply still waits for the end of the line";
    // A break drops the half-received command.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_BREAK_STATE, VI_STATE_ASSERTED), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_ASRL_BREAK_STATE), VI_STATE_ASSERTED);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_BREAK_STATE, VI_STATE_UNASSERTED), VI_SUCCESS);
    EXPECT_EQ(query(vi, "*IDN?\n"), "ZU,PS-3,1,1.0\n");
}

TEST_F(Serial, TransmissionNullsAndCharacterEvents) {
    ViSession vi = open("ASRL1::INSTR");
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 50);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_ALLOW_TRANSMIT, VI_FALSE), VI_SUCCESS);
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_ERROR_TMO) << "held as if by XOFF";
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_ALLOW_TRANSMIT, VI_TRUE), VI_SUCCESS);

    listen(vi, VI_EVENT_ASRL_CHAR);
    listen(vi, VI_EVENT_ASRL_TERMCHAR);
    EXPECT_EQ(query(vi, "NUL?\n"), std::string("A\0B\n", 4));
    ViEvent ctx = 0;
    EXPECT_EQ(wait(vi, VI_EVENT_ASRL_CHAR, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(wait(vi, VI_EVENT_ASRL_TERMCHAR, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_ASRL_DISCARD_NULL, VI_TRUE), VI_SUCCESS);
    EXPECT_EQ(query(vi, "NUL?\n"), "AB\n");
    // A termination character that never comes raises no termination event.
    EXPECT_EQ(viDiscardEvents(vi, VI_ALL_ENABLED_EVENTS, VI_QUEUE), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_TERMCHAR, '#'), VI_SUCCESS);
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(wait(vi, VI_EVENT_ASRL_CHAR, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(wait(vi, VI_EVENT_ASRL_TERMCHAR, &ctx, 20), VI_ERROR_TMO);
    listen(vi, VI_EVENT_ASRL_BREAK);
    EXPECT_EQ(write(vi, "BRK\n"), VI_SUCCESS);
    EXPECT_EQ(wait(vi, VI_EVENT_ASRL_BREAK, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(viFlush(vi, VI_ASRL_IN_BUF_DISCARD), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(vi, VI_ATTR_ASRL_AVAIL_NUM), 0u);
}

}  // namespace
}  // namespace zuvisa::testing

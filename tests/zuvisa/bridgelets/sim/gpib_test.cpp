// GPIB boards through the C API: addressing and bus commands that the devices obey, REN and
// ATN, interface clear, passing control, service requests, and the board as a servant.
#include <chrono>
#include <functional>
#include <thread>

#include "simbench.h"

namespace zuvisa::testing {
namespace {

using Gpib = SimBench;

ViStatus command(ViSession vi, std::initializer_list<ViByte> bytes) {
    std::vector<ViByte> b(bytes);
    ViUInt32 n = 0;
    return viGpibCommand(vi, b.data(), static_cast<ViUInt32>(b.size()), &n);
}

constexpr ViByte kUnl = 0x3F, kUnt = 0x5F, kDcl = 0x14, kSdc = 0x04, kGet = 0x08, kSpe = 0x18, kSpd = 0x19;
constexpr ViByte listenAt(int pa) { return static_cast<ViByte>(0x20 + pa); }
constexpr ViByte talkAt(int pa) { return static_cast<ViByte>(0x40 + pa); }

TEST_F(Gpib, TheBoardAddressesTalkersAndListeners) {
    ViSession board = open("GPIB0::INTFC");
    EXPECT_EQ(attr<ViBoolean>(board, VI_ATTR_GPIB_CIC_STATE), VI_TRUE);
    EXPECT_EQ(attr<ViBoolean>(board, VI_ATTR_GPIB_SYS_CNTRL_STATE), VI_TRUE);
    EXPECT_EQ(attr<ViUInt16>(board, VI_ATTR_GPIB_PRIMARY_ADDR), 0);
    EXPECT_EQ(write(board, "*IDN?\n"), VI_ERROR_NLISTENERS);
    ASSERT_EQ(command(board, {kUnl, kUnt, talkAt(0), listenAt(5)}), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_ADDR_STATE), VI_GPIB_TALKER);
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_NDAC_STATE), VI_STATE_ASSERTED);
    EXPECT_EQ(write(board, "*IDN?\n"), VI_SUCCESS);
    ASSERT_EQ(command(board, {kUnl, kUnt, talkAt(5), listenAt(0)}), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_ADDR_STATE), VI_GPIB_LISTENER);
    EXPECT_EQ(read(board), "ZU,METER,1,1.0\n");
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_ATN_STATE), VI_STATE_UNASSERTED);

    // Serial poll through the board: the talker sends its status byte.
    ViSession meter = open("GPIB0::5::INSTR");
    EXPECT_EQ(write(meter, "*IDN?\n"), VI_SUCCESS);
    ASSERT_EQ(command(board, {kSpe, kUnl, talkAt(5), listenAt(0)}), VI_SUCCESS);
    EXPECT_EQ(read(board), std::string(1, '\x10')) << "message available";
    ASSERT_EQ(command(board, {kSpd, kUnt}), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(board, VI_ATTR_TMO_VALUE, 20), VI_SUCCESS);
    ViStatus st;
    read(board, &st);
    EXPECT_EQ(st, VI_ERROR_TMO) << "nobody talks";
}

TEST_F(Gpib, DevicesObeyClearAndTrigger) {
    ViSession board = open("GPIB0::INTFC");
    ViSession a = open("GPIB0::5::INSTR");
    ViSession b = open("GPIB0::6::INSTR");
    viSetAttribute(a, VI_ATTR_TMO_VALUE, 50);
    viSetAttribute(b, VI_ATTR_TMO_VALUE, 50);
    ViStatus st;
    // Device clear of every device drops their answers.
    EXPECT_EQ(write(a, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(write(b, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(command(board, {kDcl}), VI_SUCCESS);
    read(a, &st);
    EXPECT_EQ(st, VI_ERROR_TMO);
    read(b, &st);
    EXPECT_EQ(st, VI_ERROR_TMO);
    // Selected clear and trigger reach the addressed listener only.
    EXPECT_EQ(write(a, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(write(b, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(command(board, {kUnl, listenAt(5), kSdc, kGet}), VI_SUCCESS);
    EXPECT_EQ(read(a), "TRIGGERED\n");
    EXPECT_EQ(read(b), "ZU,METER,1,1.0\n");
    EXPECT_EQ(viAssertTrigger(board, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);  // GET again
    EXPECT_EQ(read(a), "TRIGGERED\n");
    EXPECT_EQ(viAssertTrigger(board, VI_TRIG_PROT_ON), VI_ERROR_INV_PROT);
}

TEST_F(Gpib, RenAndAtnFollowTheModes) {
    ViSession board = open("GPIB0::INTFC");
    ViSession meter = open("GPIB0::5::INSTR");
    struct Case {
        ViSession vi;
        ViUInt16 mode;
        ViStatus status;
        ViInt16 ren;
    } cases[] = {
        {board, VI_GPIB_REN_ASSERT, VI_SUCCESS, VI_STATE_ASSERTED},
        {board, VI_GPIB_REN_DEASSERT, VI_SUCCESS, VI_STATE_UNASSERTED},
        {meter, VI_GPIB_REN_ASSERT_ADDRESS, VI_SUCCESS, VI_STATE_ASSERTED},
        {meter, VI_GPIB_REN_ADDRESS_GTL, VI_SUCCESS, VI_STATE_ASSERTED},
        {board, VI_GPIB_REN_ASSERT_LLO, VI_SUCCESS, VI_STATE_ASSERTED},
        {meter, VI_GPIB_REN_DEASSERT_GTL, VI_SUCCESS, VI_STATE_UNASSERTED},
        {meter, VI_GPIB_REN_ASSERT_ADDRESS_LLO, VI_SUCCESS, VI_STATE_ASSERTED},
        {board, VI_GPIB_REN_ASSERT_ADDRESS, VI_ERROR_INV_MODE, VI_STATE_ASSERTED},  // no device to address
        {board, 9, VI_ERROR_INV_MODE, VI_STATE_ASSERTED},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(viGpibControlREN(c.vi, c.mode), c.status) << c.mode;
        EXPECT_EQ(attr<ViInt16>(meter, VI_ATTR_GPIB_REN_STATE), c.ren) << c.mode;
        EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_REN_STATE), c.ren) << c.mode;
    }
    EXPECT_EQ(viGpibControlATN(board, VI_GPIB_ATN_ASSERT), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_ATN_STATE), VI_STATE_ASSERTED);
    EXPECT_EQ(viGpibControlATN(board, VI_GPIB_ATN_DEASSERT_HANDSHAKE), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_ATN_STATE), VI_STATE_UNASSERTED);
    EXPECT_EQ(viGpibControlATN(board, 4), VI_ERROR_INV_MODE);
    // Only the system controller drives REN and IFC.
    EXPECT_EQ(viSetAttribute(board, VI_ATTR_GPIB_SYS_CNTRL_STATE, VI_FALSE), VI_SUCCESS);
    EXPECT_EQ(viGpibControlREN(board, VI_GPIB_REN_ASSERT), VI_ERROR_NSYS_CNTLR);
    EXPECT_EQ(viGpibSendIFC(board), VI_ERROR_NSYS_CNTLR);
    EXPECT_EQ(viSetAttribute(board, VI_ATTR_GPIB_SYS_CNTRL_STATE, VI_TRUE), VI_SUCCESS);
    EXPECT_EQ(viGpibSendIFC(board), VI_SUCCESS);
}

// What the board puts on the bus with ATN, as VI_ATTR_ZU_GPIB_CMD_LOG shows it.
TEST_F(Gpib, CommandBytesAsTheBusSeesThem) {
    ViSession board = open("GPIB0::INTFC");
    ViSession meter = open("GPIB0::5::INSTR");
    std::string before = text(board, VI_ATTR_ZU_GPIB_CMD_LOG);
    EXPECT_EQ(before, "");
    const struct {
        const char* what;
        std::function<ViStatus()> act;
        const char* bytes;
    } cases[] = {
        {"addressing", [&] { return command(board, {kUnl, kUnt, talkAt(0), listenAt(5)}); }, "3F 5F 40 25"},
        {"parity bit kept", [&] { return command(board, {0x80 | kGet}); }, "88"},
        {"REN with addressing", [&] { return viGpibControlREN(meter, VI_GPIB_REN_ASSERT_ADDRESS); }, "3F 40 25"},
        {"go to local", [&] { return viGpibControlREN(meter, VI_GPIB_REN_ADDRESS_GTL); }, "3F 40 25 01"},
        {"lockout", [&] { return viGpibControlREN(board, VI_GPIB_REN_ASSERT_LLO); }, "11"},
        {"REN alone sends nothing", [&] { return viGpibControlREN(board, VI_GPIB_REN_ASSERT); }, ""},
        {"trigger", [&] { return viAssertTrigger(board, VI_TRIG_PROT_DEFAULT); }, "08"},
        {"passing control", [&] { return viGpibPassControl(board, 6, VI_NO_SEC_ADDR); }, "46 09"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.act(), VI_SUCCESS) << c.what;
        std::string after = text(board, VI_ATTR_ZU_GPIB_CMD_LOG);
        std::string expected = before.empty() || !*c.bytes ? before + c.bytes : before + " " + c.bytes;
        EXPECT_EQ(after, expected) << c.what;
        EXPECT_EQ(text(open("GPIB0::SERVANT"), VI_ATTR_ZU_GPIB_CMD_LOG), after) << "the servant sees the same bus";
        before = after;
    }
    char buf[256];
    EXPECT_EQ(viGetAttribute(meter, VI_ATTR_ZU_GPIB_CMD_LOG, buf), VI_ERROR_NSUP_ATTR);
}

TEST_F(Gpib, CommandsLeaveAtnAssertedUntilDataMovesAndTheLogKeepsTheLastBytes) {
    ViSession board = open("GPIB0::INTFC");
    ASSERT_EQ(command(board, {kUnl, talkAt(0), listenAt(5)}), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_ATN_STATE), VI_STATE_ASSERTED);
    EXPECT_EQ(write(board, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_ATN_STATE), VI_STATE_UNASSERTED);
    std::vector<ViByte> many(100, kUnt);
    many.back() = kUnl;
    ViUInt32 n = 0;
    ASSERT_EQ(viGpibCommand(board, many.data(), static_cast<ViUInt32>(many.size()), &n), VI_SUCCESS);
    std::string log = text(board, VI_ATTR_ZU_GPIB_CMD_LOG);
    EXPECT_EQ(log.size(), 64u * 3 - 1);
    EXPECT_EQ(log.substr(log.size() - 5), "5F 3F");
    // Take Control ends the command: the bytes after it are not the board's to send.
    const ViByte pass[] = {talkAt(6), 0x09, kUnl};
    ASSERT_EQ(viGpibCommand(board, pass, sizeof pass, &n), VI_SUCCESS);
    EXPECT_EQ(n, 2u);
    log = text(board, VI_ATTR_ZU_GPIB_CMD_LOG);
    EXPECT_EQ(log.substr(log.size() - 5), "46 09");
}

TEST_F(Gpib, PassingControlAndTakingItBack) {
    ViSession board = open("GPIB0::INTFC");
    ViSession meter = open("GPIB0::5::INSTR");
    listen(board, VI_EVENT_GPIB_CIC);
    EXPECT_EQ(viGpibPassControl(board, 0, VI_NO_SEC_ADDR), VI_ERROR_NLISTENERS) << "its own address";
    EXPECT_EQ(viGpibPassControl(board, 31, VI_NO_SEC_ADDR), VI_ERROR_INV_PARAMETER);
    ASSERT_EQ(viGpibPassControl(board, 6, VI_NO_SEC_ADDR), VI_SUCCESS);
    ViEvent ctx = 0;
    ASSERT_EQ(wait(board, VI_EVENT_GPIB_CIC, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViBoolean>(ctx, VI_ATTR_GPIB_RECV_CIC_STATE), VI_FALSE);
    viClose(ctx);
    EXPECT_EQ(attr<ViBoolean>(board, VI_ATTR_GPIB_CIC_STATE), VI_FALSE);
    // Without control the board may not command, and its devices are out of reach.
    EXPECT_EQ(command(board, {kUnl}), VI_ERROR_NCIC);
    EXPECT_EQ(viGpibControlATN(board, VI_GPIB_ATN_ASSERT), VI_ERROR_NCIC);
    EXPECT_EQ(viGpibPassControl(board, 6, VI_NO_SEC_ADDR), VI_ERROR_NCIC);
    EXPECT_EQ(write(meter, "*IDN?\n"), VI_ERROR_NCIC);
    // The new controller hands control back after a while.
    ASSERT_EQ(wait(board, VI_EVENT_GPIB_CIC, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViBoolean>(ctx, VI_ATTR_GPIB_RECV_CIC_STATE), VI_TRUE);
    viClose(ctx);
    EXPECT_EQ(query(meter, "*IDN?\n"), "ZU,METER,1,1.0\n");
    // Interface clear takes it back at once.
    ASSERT_EQ(command(board, {kUnt, talkAt(6), 0x09}), VI_SUCCESS);  // take control
    ASSERT_EQ(wait(board, VI_EVENT_GPIB_CIC, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(viGpibSendIFC(board), VI_SUCCESS);
    ASSERT_EQ(wait(board, VI_EVENT_GPIB_CIC, &ctx, 50), VI_SUCCESS);
    EXPECT_EQ(attr<ViBoolean>(ctx, VI_ATTR_GPIB_RECV_CIC_STATE), VI_TRUE);
    viClose(ctx);
}

TEST_F(Gpib, ServiceRequestsReachTheDeviceAndTheBoard) {
    ViSession board = open("GPIB0::INTFC");
    ViSession meter = open("GPIB0::5::INSTR");
    listen(board, VI_EVENT_SERVICE_REQ);
    listen(meter, VI_EVENT_SERVICE_REQ);
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_SRQ_STATE), VI_STATE_UNASSERTED);
    EXPECT_EQ(write(meter, "MEAS:START\n"), VI_SUCCESS);
    ViEvent ctx = 0;
    EXPECT_EQ(wait(meter, VI_EVENT_SERVICE_REQ, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(wait(board, VI_EVENT_SERVICE_REQ, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_SRQ_STATE), VI_STATE_ASSERTED);
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(meter, &stb), VI_SUCCESS);
    EXPECT_TRUE(stb & 0x40);
    EXPECT_EQ(attr<ViInt16>(board, VI_ATTR_GPIB_SRQ_STATE), VI_STATE_UNASSERTED) << "polled";
}

TEST_F(Gpib, ListedDevicesThatAreNotThere) {
    ViSession vi = open("GPIB0::7::INSTR", VI_SUCCESS_DEV_NPRESENT);
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_ERROR_NLISTENERS);
    ViUInt16 stb;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_ERROR_NLISTENERS);
    // The GPIB-VXI controller answers as a GPIB instrument at its own address.
    ViSession gv = open("GPIB1::9::INSTR");
    EXPECT_EQ(query(gv, "*IDN?\n"), "ZU,GV-1406,9,1.0\n");
}

using GpibServant = SimBench;

TEST_F(GpibServant, TheControllerAddressesClearsAndTriggersIt) {
    ViSession vi = open("GPIB0::SERVANT");
    ViSession board = open("GPIB0::INTFC");
    listen(vi, VI_EVENT_GPIB_TALK);
    listen(vi, VI_EVENT_GPIB_LISTEN);
    listen(vi, VI_EVENT_CLEAR);
    listen(vi, VI_EVENT_TRIG);
    listen(board, VI_EVENT_GPIB_TALK);
    EXPECT_EQ(query(vi, "STATUS\n"), "ACK\n");
    ViEvent ctx = 0;
    EXPECT_EQ(wait(vi, VI_EVENT_GPIB_TALK, &ctx), VI_SUCCESS) << "addressed to talk for the write";
    viClose(ctx);
    EXPECT_EQ(wait(board, VI_EVENT_GPIB_TALK, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_GPIB_ADDR_STATE), VI_GPIB_TALKER);
    EXPECT_EQ(write(vi, "HELLO\n"), VI_SUCCESS);
    EXPECT_EQ(wait(vi, VI_EVENT_GPIB_LISTEN, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(read(vi), "WELCOME\n");
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_GPIB_ADDR_STATE), VI_GPIB_LISTENER);
    EXPECT_EQ(write(vi, "TRG\n"), VI_SUCCESS);
    EXPECT_EQ(wait(vi, VI_EVENT_TRIG, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(write(vi, "CLR\n"), VI_SUCCESS);
    EXPECT_EQ(wait(vi, VI_EVENT_CLEAR, &ctx), VI_SUCCESS);
    viClose(ctx);

    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_DEV_STATUS_BYTE, 0x41), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt8>(vi, VI_ATTR_DEV_STATUS_BYTE), 0x41);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_GPIB_PRIMARY_ADDR, 5), VI_ERROR_NSUP_ATTR_STATE) << "a device is there";
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_GPIB_PRIMARY_ADDR, 12), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt16>(board, VI_ATTR_GPIB_PRIMARY_ADDR), 12);
}

}  // namespace
}  // namespace zuvisa::testing

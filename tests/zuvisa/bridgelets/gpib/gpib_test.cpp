// GPIB boards and devices through the C API, the gpib module calling a stand-in for linux-gpib.
#include "zuvisa/bridgelets/gpib/gpib.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <unistd.h>

#include "../../../support/tempdir.h"
#include "../../testbench.h"
#include "fakegpib.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::testing {
namespace {

std::string fakeLibrary() {
    const char* path = getenv("ZUVISA_FAKEGPIB");
    return path ? path : "";
}

class GpibBench : public ::testing::Test {
protected:
    explicit GpibBench(const std::string& library = fakeLibrary(), const std::string& enable = "True") {
        fakeGpibReset();
        writeFile(dir.file("gpib0"), "");
        config = std::make_unique<TempConfig>("[Bridgelets]\ngpib = " + enable + "\n\n[gpib]\nLibrary = \"" + library +
                                              "\"\nDevRoot = \"" + dir.path() + "\"\n");
    }
    void TearDown() override {
        if (rm) viClose(rm);
    }
    void openRm(ViStatus expected = VI_SUCCESS) { ASSERT_EQ(viOpenDefaultRM(&rm), expected); }

    ViSession open(const char* name, ViStatus expected = VI_SUCCESS) {
        ViSession vi = 0;
        EXPECT_EQ(viOpen(rm, name, VI_NULL, 0, &vi), expected) << name;
        return vi;
    }
    ViStatus write(ViSession vi, const std::string& text) { return writeText(vi, text); }
    std::string read(ViSession vi, ViStatus* st, ViUInt32 count = 256) { return readText(vi, st, count); }
    ViStatus command(ViSession vi, std::initializer_list<uint8_t> bytes) {
        std::vector<uint8_t> b(bytes);
        ViUInt32 n = 0;
        return viGpibCommand(vi, b.data(), static_cast<ViUInt32>(b.size()), &n);
    }
    template <typename T>
    T attr(ViObject vi, ViAttr a) {
        return attribute<T>(vi, a);
    }
    ViStatus waitFor(ViSession vi, ViEventType type, ViEvent* ctx = nullptr, ViUInt32 ms = 2000) {
        ViEventType got = 0;
        ViEvent c = 0;
        ViStatus st = viWaitOnEvent(vi, type, ms, &got, &c);
        if (ctx) *ctx = c;
        else if (c) viClose(c);
        return st;
    }
    FakeGpibState bus() {
        FakeGpibState s;
        fakeGpibState(&s);
        return s;
    }
    FakeGpibDevice device(int pad, int sad = -1) {
        FakeGpibDevice d{};
        fakeGpibDevice(pad, sad, &d);
        return d;
    }

    TempDir dir;
    std::unique_ptr<TempConfig> config;
    ViSession rm = 0;
};

using Gpib = GpibBench;

TEST_F(Gpib, FindsTheBoardAndTheDevicesThatListen) {
    openRm();
    ViFindList list = 0;
    ViUInt32 count = 0;
    char name[VI_FIND_BUFLEN];
    ASSERT_EQ(viFindRsrc(rm, "GPIB?*", &list, &count, name), VI_SUCCESS);
    std::set<std::string> names = {name};
    while (viFindNext(list, name) == VI_SUCCESS) names.insert(name);
    viClose(list);
    // The device at 9 answers only at its secondary address 3.
    EXPECT_EQ(names, (std::set<std::string>{"GPIB0::INTFC", "GPIB0::5::INSTR", "GPIB0::7::INSTR"}));
    ViSession vi = open("GPIB0::INTFC");
    char text[256];
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_INTF_INST_NAME, text), VI_SUCCESS);
    EXPECT_STREQ(text, "GPIB0 (linux-gpib board 0)");
    viClose(vi);
}

TEST_F(Gpib, MessagesEndWithEoiOrTheTerminationCharacter) {
    openRm();
    ViSession vi = open("GPIB0::5::INSTR");
    ViStatus st;
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(read(vi, &st), "ZU,GPIB-FAKE,5,1.0\n");
    EXPECT_EQ(st, VI_SUCCESS);
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(read(vi, &st, 5), "ZU,GP");
    EXPECT_EQ(st, VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(read(vi, &st), "IB-FAKE,5,1.0\n");
    viSetAttribute(vi, VI_ATTR_TERMCHAR, ',');
    viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, VI_TRUE);
    EXPECT_EQ(write(vi, "ECHO? a,b\n"), VI_SUCCESS);
    EXPECT_EQ(read(vi, &st), "a,");
    EXPECT_EQ(st, VI_SUCCESS_TERM_CHAR);
    EXPECT_EQ(read(vi, &st), "b\n");
    EXPECT_EQ(st, VI_SUCCESS);
    viClose(vi);
    // Secondary addressing.
    vi = open("GPIB0::9::3::INSTR");
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(read(vi, &st), "ZU,GPIB-FAKE,9,1.0\n");
    viClose(vi);
}

TEST_F(Gpib, AnAddressWhereNobodyListensOpensButSaysSo) {
    openRm();
    ViSession vi = open("GPIB0::12::INSTR", VI_SUCCESS_DEV_NPRESENT);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 100);
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_ERROR_NLISTENERS);
    ViStatus st;
    EXPECT_EQ(read(vi, &st), "");
    EXPECT_EQ(st, VI_ERROR_TMO);
    viClose(vi);
    open("GPIB1::5::INSTR", VI_ERROR_RSRC_NFOUND);  // no such board
    open("GPIB1::INTFC", VI_ERROR_RSRC_NFOUND);
}

TEST_F(Gpib, ServiceRequestsReachTheSessionOfTheDeviceThatAsked) {
    openRm();
    ViSession asks = open("GPIB0::7::INSTR");
    ViSession quiet = open("GPIB0::5::INSTR");
    ASSERT_EQ(viEnableEvent(asks, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(quiet, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(write(asks, "SRQ\n"), VI_SUCCESS);
    EXPECT_EQ(waitFor(asks, VI_EVENT_SERVICE_REQ), VI_SUCCESS);
    EXPECT_EQ(waitFor(quiet, VI_EVENT_SERVICE_REQ, nullptr, 200), VI_ERROR_TMO);
    // The poll that found the request already took the byte; the session gets that one.
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(asks, &stb), VI_SUCCESS);
    EXPECT_EQ(stb, 0x41);
    EXPECT_EQ(viReadSTB(asks, &stb), VI_SUCCESS);
    EXPECT_EQ(stb, 0x01);
    fakeGpibRequestService(5, -1, 0x50);
    EXPECT_EQ(waitFor(quiet, VI_EVENT_SERVICE_REQ), VI_SUCCESS);
    EXPECT_EQ(viReadSTB(quiet, &stb), VI_SUCCESS);
    EXPECT_EQ(stb, 0x50);
    viClose(asks);
    viClose(quiet);
}

TEST_F(Gpib, ClearTriggerAndRemoteEnableOnADevice) {
    openRm();
    ViSession vi = open("GPIB0::5::INSTR");
    EXPECT_EQ(viClear(vi), VI_SUCCESS);
    EXPECT_EQ(device(5).clears, 1);
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_ON), VI_ERROR_INV_PROT);
    EXPECT_EQ(device(5).triggers, 1);
    struct Case {
        ViUInt16 mode;
        bool ren;
        int remote, lockedOut;
        const char* commandsAfter;
    };
    const Case cases[] = {
        {VI_GPIB_REN_ASSERT, true, 0, 0, ""},
        {VI_GPIB_REN_ASSERT_ADDRESS, true, 1, 0, "3F25"},
        {VI_GPIB_REN_ADDRESS_GTL, true, 0, 0, "3F25"},
        {VI_GPIB_REN_ASSERT_ADDRESS_LLO, true, 1, 1, "3F253F2511"},
        {VI_GPIB_REN_DEASSERT_GTL, false, 0, 0, "3F253F2511"},
        {VI_GPIB_REN_ASSERT_LLO, false, 0, 1, "3F253F251111"},
        {VI_GPIB_REN_DEASSERT, false, 0, 0, "3F253F251111"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(viGpibControlREN(vi, c.mode), VI_SUCCESS) << c.mode;
        EXPECT_EQ(bus().ren, c.ren) << c.mode;
        EXPECT_EQ(device(5).remote, c.remote) << c.mode;
        EXPECT_EQ(device(5).lockedOut, c.lockedOut) << c.mode;
        EXPECT_STREQ(bus().commands, c.commandsAfter) << c.mode;
    }
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_GPIB_REN_STATE), VI_STATE_UNASSERTED);
    EXPECT_EQ(viGpibControlREN(vi, 7), VI_ERROR_INV_MODE);
    viClose(vi);
}

TEST_F(Gpib, TheBoardAddressesCommandsAndHandsOverControl) {
    openRm();
    ViSession intfc = open("GPIB0::INTFC");
    ViSession dev = open("GPIB0::5::INSTR");
    ViStatus st;
    // Address device 5 to listen and talk to it as the board.
    EXPECT_EQ(command(intfc, {0x3F, 0x25, 0x40}), VI_SUCCESS);
    EXPECT_EQ(write(intfc, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(command(intfc, {0x3F, 0x5F, 0x45, 0x20}), VI_SUCCESS);
    EXPECT_EQ(read(intfc, &st), "ZU,GPIB-FAKE,5,1.0\n");
    EXPECT_EQ(st, VI_SUCCESS);
    EXPECT_EQ(command(intfc, {0x3F, 0x27}), VI_SUCCESS);
    EXPECT_EQ(viAssertTrigger(intfc, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);  // GET to the listener
    EXPECT_EQ(device(7).triggers, 1);

    EXPECT_EQ(viGpibControlATN(intfc, VI_GPIB_ATN_ASSERT), VI_SUCCESS);
    EXPECT_TRUE(bus().atn);
    EXPECT_EQ(attr<ViInt16>(intfc, VI_ATTR_GPIB_ATN_STATE), VI_STATE_ASSERTED);
    EXPECT_EQ(viGpibControlATN(intfc, VI_GPIB_ATN_DEASSERT), VI_SUCCESS);
    EXPECT_FALSE(bus().atn);
    EXPECT_EQ(viGpibControlATN(intfc, 9), VI_ERROR_INV_MODE);
    EXPECT_EQ(viGpibControlREN(intfc, VI_GPIB_REN_ASSERT), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(intfc, VI_ATTR_GPIB_REN_STATE), VI_STATE_ASSERTED);
    EXPECT_EQ(viGpibControlREN(intfc, VI_GPIB_REN_ASSERT_ADDRESS), VI_ERROR_INV_MODE);
    EXPECT_EQ(viGpibSendIFC(intfc), VI_SUCCESS);
    EXPECT_EQ(bus().ifcs, 1);

    // The board's own address and state.
    EXPECT_EQ(viSetAttribute(intfc, VI_ATTR_GPIB_PRIMARY_ADDR, 3), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt16>(intfc, VI_ATTR_GPIB_PRIMARY_ADDR), 3);
    EXPECT_EQ(viSetAttribute(intfc, VI_ATTR_GPIB_SECONDARY_ADDR, 4), VI_SUCCESS);
    EXPECT_EQ(bus().boardSad, 0x64);
    EXPECT_EQ(attr<ViUInt16>(intfc, VI_ATTR_GPIB_SECONDARY_ADDR), 4);
    EXPECT_EQ(viSetAttribute(intfc, VI_ATTR_GPIB_SECONDARY_ADDR, VI_NO_SEC_ADDR), VI_SUCCESS);
    EXPECT_EQ(bus().boardSad, 0);
    EXPECT_EQ(attr<ViInt16>(intfc, VI_ATTR_GPIB_HS488_CBL_LEN), VI_GPIB_HS488_NIMPL);
    EXPECT_EQ(viSetAttribute(intfc, VI_ATTR_GPIB_HS488_CBL_LEN, 5), VI_ERROR_NSUP_ATTR_STATE);
    EXPECT_EQ(viSetAttribute(intfc, VI_ATTR_DEV_STATUS_BYTE, 0x42), VI_SUCCESS);
    EXPECT_EQ(bus().statusByte, 0x42);
    EXPECT_EQ(attr<ViBoolean>(intfc, VI_ATTR_GPIB_CIC_STATE), VI_TRUE);

    // Handing control to device 5: the board can no longer talk on the bus.
    EXPECT_EQ(viGpibPassControl(intfc, 5, VI_NO_SEC_ADDR), VI_SUCCESS);
    EXPECT_EQ(bus().passedTo, 5);
    EXPECT_EQ(attr<ViBoolean>(intfc, VI_ATTR_GPIB_CIC_STATE), VI_FALSE);
    EXPECT_EQ(write(dev, "*IDN?\n"), VI_ERROR_NCIC);
    EXPECT_EQ(viGpibPassControl(intfc, 31, VI_NO_SEC_ADDR), VI_ERROR_INV_PARAMETER);
    // Without system control there is no IFC to send.
    EXPECT_EQ(viSetAttribute(intfc, VI_ATTR_GPIB_SYS_CNTRL_STATE, VI_FALSE), VI_SUCCESS);
    EXPECT_EQ(attr<ViBoolean>(intfc, VI_ATTR_GPIB_SYS_CNTRL_STATE), VI_FALSE);
    EXPECT_EQ(viGpibSendIFC(intfc), VI_ERROR_NSYS_CNTLR);
    viClose(dev);
    viClose(intfc);
}

TEST_F(Gpib, TheBoardsEventsReachItsSessions) {
    openRm();
    ViSession intfc = open("GPIB0::INTFC");
    for (ViEventType t : {VI_EVENT_GPIB_CIC, VI_EVENT_GPIB_TALK, VI_EVENT_GPIB_LISTEN, VI_EVENT_CLEAR, VI_EVENT_TRIG,
                          VI_EVENT_SERVICE_REQ}) {
        ASSERT_EQ(viEnableEvent(intfc, t, VI_QUEUE, VI_NULL), VI_SUCCESS) << std::hex << t;
    }
    // Let the watcher see the board as it is before anything changes.
    int seen = fakeGpibWaits();
    for (int i = 0; i < 200 && fakeGpibWaits() < seen + 2; ++i) usleep(5000);
    fakeGpibSetCic(false);
    ViEvent ctx = 0;
    ASSERT_EQ(waitFor(intfc, VI_EVENT_GPIB_CIC, &ctx), VI_SUCCESS);
    ViBoolean cic = VI_TRUE;
    EXPECT_EQ(viGetAttribute(ctx, VI_ATTR_GPIB_RECV_CIC_STATE, &cic), VI_SUCCESS);
    EXPECT_EQ(cic, VI_FALSE);
    viClose(ctx);
    fakeGpibSetCic(true);
    EXPECT_EQ(waitFor(intfc, VI_EVENT_GPIB_CIC), VI_SUCCESS);
    struct Case {
        int bits;
        ViEventType event;
    };
    for (Case c : {Case{0x8, VI_EVENT_GPIB_TALK}, Case{0x4, VI_EVENT_GPIB_LISTEN}, Case{0x1, VI_EVENT_CLEAR},
                   Case{0x2, VI_EVENT_TRIG}}) {
        fakeGpibSetBoardStatus(c.bits);
        EXPECT_EQ(waitFor(intfc, c.event), VI_SUCCESS) << std::hex << c.event;
        fakeGpibSetBoardStatus(0);
    }
    // A clear is told once, not for as long as the bit stays.
    fakeGpibSetBoardStatus(0x1);
    EXPECT_EQ(waitFor(intfc, VI_EVENT_CLEAR), VI_SUCCESS);
    EXPECT_EQ(waitFor(intfc, VI_EVENT_CLEAR, nullptr, 200), VI_ERROR_TMO);
    fakeGpibRequestService(9, 3, 0x10);
    EXPECT_EQ(waitFor(intfc, VI_EVENT_SERVICE_REQ), VI_SUCCESS);
    EXPECT_EQ(attr<ViInt16>(intfc, VI_ATTR_GPIB_SRQ_STATE), VI_STATE_ASSERTED);
    viClose(intfc);
}

TEST_F(Gpib, ABoardThatGoesAwayEndsEveryCallWithAStatus) {
    openRm();
    ViSession vi = open("GPIB0::5::INSTR");
    ViSession intfc = open("GPIB0::INTFC");
    fakeGpibRemoveBoard();
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_ERROR_CONN_LOST);
    ViStatus st;
    EXPECT_EQ(read(vi, &st), "");
    EXPECT_EQ(st, VI_ERROR_CONN_LOST);
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_ERROR_CONN_LOST);
    EXPECT_EQ(command(intfc, {0x3F}), VI_ERROR_CONN_LOST);
    EXPECT_EQ(viClose(vi), VI_SUCCESS);
    EXPECT_EQ(viClose(intfc), VI_SUCCESS);
    open("GPIB0::5::INSTR", VI_ERROR_RSRC_NFOUND);
}

class GpibMissing : public GpibBench {
protected:
    GpibMissing() : GpibBench("/nonexistent/libgpib.so.0") {}
};

TEST_F(GpibMissing, ALibraryAskedForButMissingIsReported) { openRm(VI_WARN_CONFIG_NLOADED); }

class GpibAuto : public GpibBench {
protected:
    GpibAuto() : GpibBench("/nonexistent/libgpib.so.0", "Auto") {}
};

TEST_F(GpibAuto, AMissingLibraryNobodyAskedForIsNoProblem) {
    openRm(VI_SUCCESS);
    ViUInt32 count = 0;
    EXPECT_EQ(viFindRsrc(rm, "GPIB?*", nullptr, &count, nullptr), VI_ERROR_RSRC_NFOUND);
}

class GpibWrongLibrary : public GpibBench {
protected:
    // A library, but not linux-gpib: its functions are missing.
    GpibWrongLibrary() : GpibBench("libz.so.1") {}
};

TEST_F(GpibWrongLibrary, ALibraryWithoutTheFunctionsIsReported) { openRm(VI_WARN_CONFIG_NLOADED); }

TEST(GpibTimeouts, VisaTimeoutsBecomeTheNextLongerCode) {
    struct Case {
        unsigned ms;
        bool infinite;
        int code;
    };
    const Case cases[] = {{0, true, 0},   {0, false, 1},    {1, false, 5},      {2, false, 6},
                          {100, false, 9}, {101, false, 10}, {2000, false, 12},  {10000, false, 13},
                          {20000, false, 14}, {4000000, false, 17}};
    for (const Case& c : cases) EXPECT_EQ(gpib::timeoutCode(c.ms, c.infinite), c.code) << c.ms;
}

}  // namespace
}  // namespace zuvisa::testing

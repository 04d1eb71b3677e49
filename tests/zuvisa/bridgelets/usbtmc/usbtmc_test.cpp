// USB instruments through the C API, the usbtmc module talking to the driver's stand-in.
#include "zuvisa/bridgelets/usbtmc/usbtmc.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <thread>

#include "../../testbench.h"
#include "faketmc.h"
#include "usbtree.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::testing {
namespace {

const char kScope[] = "USB0::0x0957::0x1755::MY123::INSTR";
const char kMeter[] = "USB0::0x1AB1::0x04CE::1-2::1::INSTR";  // no serial number: its port

// Two instruments: a USB488 scope that ends transfers at a termination character, and a plain
// USBTMC meter on interface 1 without a serial number, which sends at most 7 bytes a transfer.
class UsbTmc : public ::testing::Test {
protected:
    UsbTmc() : tree(root.path()) {
        tree.add({"1-1", 0x0957, 0x1755, "ACME Instruments", "Scope 1000", "MY123", 0, 0xFE, 3, 1, 1, 7, "usbtmc0"});
        tree.add({"1-2", 0x1AB1, 0x04CE, "Other", "Meter", "", 1, 0xFE, 3, 0, 0, 0, "usbtmc1"});
        tree.add({"1-3", 0x046D, 0xC52B, "Logi", "Receiver", "X1", 0, 3, 1, 2, 0, 0, ""});
        fakeTmcReset();
        FakeTmcSpec scope;
        fakeTmcAddDevice(tree.node("usbtmc0").c_str(), &scope);
        FakeTmcSpec meter;
        meter.usb488 = false;
        meter.termChar = false;
        meter.maxTransfer = 7;
        fakeTmcAddDevice(tree.node("usbtmc1").c_str(), &meter);
        const char* layer = getenv("ZUVISA_FAKETMC");
        config = std::make_unique<TempConfig>("[Bridgelets]\nusbtmc = True\n\n[usbtmc]\nSysRoot = \"" + tree.sys() +
                                              "\"\nDevRoot = \"" + tree.dev() + "\"\nDeviceLayer = \"" +
                                              (layer ? layer : "") + "\"\n");
    }
    void SetUp() override { ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS); }
    void TearDown() override {
        if (rm) viClose(rm);
    }

    ViSession open(const char* name, ViStatus expected = VI_SUCCESS) {
        ViSession vi = 0;
        EXPECT_EQ(viOpen(rm, name, VI_NULL, 0, &vi), expected) << name;
        return vi;
    }
    ViStatus write(ViSession vi, const std::string& text) { return writeText(vi, text); }
    std::string read(ViSession vi, ViStatus* st, ViUInt32 count = 256) { return readText(vi, st, count); }
    template <typename T>
    T attr(ViObject vi, ViAttr a) {
        return attribute<T>(vi, a);
    }
    std::string text(ViObject vi, ViAttr a) {
        char buf[256] = "";
        EXPECT_EQ(viGetAttribute(vi, a, buf), VI_SUCCESS) << std::hex << a;
        return buf;
    }
    FakeTmcState state(const char* node = "usbtmc0") {
        FakeTmcState s;
        fakeTmcState(tree.node(node).c_str(), &s);
        return s;
    }

    TempDir root;
    UsbTree tree;
    std::unique_ptr<TempConfig> config;
    ViSession rm = 0;
};

TEST_F(UsbTmc, FindsTheInstrumentsWithTheirIdentity) {
    ViFindList list = 0;
    ViUInt32 count = 0;
    char name[VI_FIND_BUFLEN];
    ASSERT_EQ(viFindRsrc(rm, "USB?*", &list, &count, name), VI_SUCCESS);
    std::set<std::string> names = {name};
    while (viFindNext(list, name) == VI_SUCCESS) names.insert(name);
    viClose(list);
    EXPECT_EQ(names, (std::set<std::string>{kScope, kMeter}));

    ViSession vi = open(kScope);
    EXPECT_EQ(attr<ViUInt16>(vi, VI_ATTR_MANF_ID), 0x0957);
    EXPECT_EQ(attr<ViUInt16>(vi, VI_ATTR_MODEL_CODE), 0x1755);
    EXPECT_EQ(text(vi, VI_ATTR_MANF_NAME), "ACME Instruments");
    EXPECT_EQ(text(vi, VI_ATTR_MODEL_NAME), "Scope 1000");
    EXPECT_EQ(text(vi, VI_ATTR_USB_SERIAL_NUM), "MY123");
    EXPECT_EQ(text(vi, VI_ATTR_INTF_INST_NAME), "USB0 (usbtmc0: ACME Instruments Scope 1000)");
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_USB_PROTOCOL), 1);
    EXPECT_EQ(attr<ViBoolean>(vi, VI_ATTR_4882_COMPLIANT), VI_TRUE);
    viClose(vi);
    vi = open(kMeter);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_USB_INTFC_NUM), 1);
    EXPECT_EQ(attr<ViInt16>(vi, VI_ATTR_USB_PROTOCOL), 0);
    EXPECT_EQ(attr<ViBoolean>(vi, VI_ATTR_4882_COMPLIANT), VI_FALSE);
    viClose(vi);
    // The interface number may be spelled out, the serial number in any case.
    viClose(open("USB0::0x0957::0x1755::my123::0::INSTR"));
}

TEST_F(UsbTmc, MessagesEndWithEom) {
    ViSession vi = open(kScope);
    ViStatus st;
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(state().lastEom, 1);
    EXPECT_EQ(read(vi, &st), "ZU,TMC-FAKE," + tree.node("usbtmc0") + ",1.0\n");
    EXPECT_EQ(st, VI_SUCCESS);
    // Without END the device waits for the rest of the message.
    viSetAttribute(vi, VI_ATTR_SEND_END_EN, VI_FALSE);
    EXPECT_EQ(write(vi, "ECHO? hel"), VI_SUCCESS);
    EXPECT_EQ(state().lastEom, 0);
    viSetAttribute(vi, VI_ATTR_SEND_END_EN, VI_TRUE);
    EXPECT_EQ(write(vi, "lo"), VI_SUCCESS);
    EXPECT_EQ(read(vi, &st, 3), "hel");
    EXPECT_EQ(st, VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(read(vi, &st), "lo\n");
    EXPECT_EQ(st, VI_SUCCESS);
    viClose(vi);
    // A device that sends a message in small transfers: one read gathers them.
    vi = open(kMeter);
    EXPECT_EQ(write(vi, "BLOCK? 50\n"), VI_SUCCESS);
    std::string block = read(vi, &st);
    EXPECT_EQ(st, VI_SUCCESS);
    ASSERT_EQ(block.size(), 51u);
    EXPECT_EQ(block.substr(40), "0123456789\n");
    viClose(vi);
}

TEST_F(UsbTmc, TerminationCharactersEndReadsWhetherTheDeviceCanOrNot) {
    for (const char* name : {kScope, kMeter}) {
        ViSession vi = open(name);
        viSetAttribute(vi, VI_ATTR_TERMCHAR, ',');
        viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, VI_TRUE);
        EXPECT_EQ(write(vi, "ECHO? ab,cd,ef\n"), VI_SUCCESS);
        ViStatus st;
        EXPECT_EQ(read(vi, &st), "ab,") << name;
        EXPECT_EQ(st, VI_SUCCESS_TERM_CHAR) << name;
        EXPECT_EQ(read(vi, &st), "cd,") << name;
        EXPECT_EQ(st, VI_SUCCESS_TERM_CHAR) << name;
        EXPECT_EQ(read(vi, &st), "ef\n") << name;
        EXPECT_EQ(st, VI_SUCCESS) << name;
        viClose(vi);
    }
}

TEST_F(UsbTmc, TheDriverGetsWhatIsLeftOfTheTimeoutAndNeverLessThanItTakes) {
    fakeTmcReset();
    FakeTmcSpec mute;
    mute.mute = true;
    fakeTmcAddDevice(tree.node("usbtmc0").c_str(), &mute);
    ViSession vi = open(kScope);
    struct Case {
        ViUInt32 visa;
        unsigned lowest, highest;
    };
    for (Case c : {Case{400, 300, 400}, Case{20, 100, 100}}) {
        viSetAttribute(vi, VI_ATTR_TMO_VALUE, c.visa);
        EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
        ViStatus st;
        EXPECT_EQ(read(vi, &st), "");
        EXPECT_EQ(st, VI_ERROR_TMO);
        EXPECT_GE(state().lastTimeoutMs, c.lowest) << c.visa;
        EXPECT_LE(state().lastTimeoutMs, c.highest) << c.visa;
    }
    viClose(vi);
}

TEST_F(UsbTmc, ServiceRequestsArriveAsEventsAndSetRqsOnce) {
    ViSession vi = open(kScope);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_SUCCESS);
    fakeTmcSetStatusByte(tree.node("usbtmc0").c_str(), 0x10);
    fakeTmcServiceRequest(tree.node("usbtmc0").c_str(), 0x11);
    ViEventType type = 0;
    ViEvent ctx = 0;
    ASSERT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 2000, &type, &ctx), VI_SUCCESS);
    viClose(ctx);
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_EQ(stb, 0x51);
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_EQ(stb, 0x11);
    // The instrument asks for service itself.
    EXPECT_EQ(write(vi, "SRQ\n"), VI_SUCCESS);
    ASSERT_EQ(viWaitOnEvent(vi, VI_EVENT_SERVICE_REQ, 2000, &type, &ctx), VI_SUCCESS);
    viClose(ctx);
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_EQ(stb, 0x50 | 0x40);
    viClose(vi);
}

TEST_F(UsbTmc, ClearTriggerAndRemoteControl) {
    ViSession vi = open(kScope);
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(viClear(vi), VI_SUCCESS);
    EXPECT_EQ(state().clears, 1);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 200);
    ViStatus st;
    EXPECT_EQ(read(vi, &st), "");  // the answer went with the clear
    EXPECT_EQ(st, VI_ERROR_TMO);
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_ON), VI_ERROR_INV_PROT);
    EXPECT_EQ(state().triggers, 1);
    struct Case {
        ViUInt16 mode;
        int ren, lockouts, gotoLocals;  // afterwards
    };
    const Case cases[] = {
        {VI_GPIB_REN_ASSERT, 1, 0, 0},
        {VI_GPIB_REN_ASSERT_LLO, 1, 1, 0},
        {VI_GPIB_REN_ADDRESS_GTL, 1, 1, 1},
        {VI_GPIB_REN_DEASSERT_GTL, 0, 1, 2},
        {VI_GPIB_REN_ASSERT_ADDRESS_LLO, 1, 2, 2},
        {VI_GPIB_REN_DEASSERT, 0, 2, 2},
        {VI_GPIB_REN_ASSERT_ADDRESS, 1, 2, 2},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(viGpibControlREN(vi, c.mode), VI_SUCCESS) << c.mode;
        FakeTmcState s = state();
        EXPECT_EQ(s.ren, c.ren) << c.mode;
        EXPECT_EQ(s.lockouts, c.lockouts) << c.mode;
        EXPECT_EQ(s.gotoLocals, c.gotoLocals) << c.mode;
    }
    EXPECT_EQ(viGpibControlREN(vi, 7), VI_ERROR_INV_MODE);
    viClose(vi);
    // A plain USBTMC device has none of this.
    vi = open(kMeter);
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_DEFAULT), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viGpibControlREN(vi, VI_GPIB_REN_ASSERT), VI_ERROR_NSUP_OPER);
    viClose(vi);
}

TEST_F(UsbTmc, ControlTransfersReachTheDefaultPipe) {
    ViSession vi = open(kScope);
    ViByte buf[64] = {};
    ViUInt16 n = 0;
    EXPECT_EQ(viUsbControlIn(vi, 0xA1, 7, 0, 0, 0x18, buf, &n), VI_SUCCESS);
    EXPECT_EQ(n, 0x18);
    EXPECT_EQ(buf[0], 0xA0);
    EXPECT_EQ(buf[0x17], 0xA0 + 0x17);
    EXPECT_EQ(viUsbControlOut(vi, 0x21, 0x40, 0x1234, 2, 0, nullptr), VI_SUCCESS);
    FakeTmcState s = state();
    EXPECT_EQ(s.lastRequestType, 0x21);
    EXPECT_EQ(s.lastRequest, 0x40);
    EXPECT_EQ(s.lastValue, 0x1234);
    EXPECT_EQ(s.lastIndex, 2);
    // The direction bit must say what the call does.
    EXPECT_EQ(viUsbControlIn(vi, 0x21, 7, 0, 0, 1, buf, &n), VI_ERROR_INV_PARAMETER);
    EXPECT_EQ(viUsbControlOut(vi, 0xA1, 7, 0, 0, 0, nullptr), VI_ERROR_INV_PARAMETER);
    std::vector<ViByte> big(5000);
    EXPECT_EQ(viUsbControlIn(vi, 0xA1, 7, 0, 0, 5000, big.data(), &n), VI_ERROR_INV_LENGTH);
    viClose(vi);
}

TEST_F(UsbTmc, RawSessionsMoveBytesWithoutHeaders) {
    ViSession vi = open("USB0::0x0957::0x1755::MY123::RAW");
    EXPECT_EQ(write(vi, "0123456789"), VI_SUCCESS);
    EXPECT_EQ(state().rawWritten, 10u);
    fakeTmcQueueRaw(tree.node("usbtmc0").c_str(), "short", 5);
    ViStatus st;
    EXPECT_EQ(read(vi, &st, 64), "short");
    EXPECT_EQ(st, VI_SUCCESS);
    std::string full(64, 'x');
    fakeTmcQueueRaw(tree.node("usbtmc0").c_str(), full.data(), full.size());
    EXPECT_EQ(read(vi, &st, 64), full);
    EXPECT_EQ(st, VI_SUCCESS_MAX_CNT);
    viClose(vi);
    // A USB device of another class is there, but raw access to it is not supported.
    open("USB0::0x046D::0xC52B::X1::RAW", VI_ERROR_NSUP_OPER);
    open("USB0::0x1234::0x5678::NONE::RAW", VI_ERROR_RSRC_NFOUND);
}

TEST_F(UsbTmc, ADeviceThisUserMayNotOpenIsListedAndSaysSo) {
    fakeTmcReset();
    FakeTmcSpec locked;
    locked.openError = EACCES;
    fakeTmcAddDevice(tree.node("usbtmc0").c_str(), &locked);
    ViUInt32 count = 0;
    char name[VI_FIND_BUFLEN];
    ViFindList list = 0;
    ASSERT_EQ(viFindRsrc(rm, "USB?*", &list, &count, name), VI_SUCCESS);
    viClose(list);
    EXPECT_EQ(count, 2u);
    open(kScope, VI_ERROR_NPERMISSION);
}

TEST_F(UsbTmc, AnUnpluggedDeviceEndsEveryCallWithAStatus) {
    ViSession vi = open(kScope);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 10000);
    std::thread pull([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        fakeTmcUnplug(tree.node("usbtmc0").c_str());
    });
    ViStatus st;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(read(vi, &st), "");  // nothing was asked: the read waits until the device goes
    pull.join();
    EXPECT_EQ(st, VI_ERROR_CONN_LOST);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_ERROR_CONN_LOST);
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(vi, &stb), VI_ERROR_CONN_LOST);
    EXPECT_EQ(viClear(vi), VI_ERROR_CONN_LOST);
    EXPECT_EQ(viClose(vi), VI_SUCCESS);
    open(kScope, VI_ERROR_RSRC_NFOUND);  // the node is still in the tree, the device is not
}

TEST_F(UsbTmc, ClosingASessionClosesItsFile) {
    for (int i = 0; i < 3; ++i) {
        ViSession vi = open(kScope);
        ASSERT_EQ(viEnableEvent(vi, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_SUCCESS);
        EXPECT_EQ(fakeTmcOpenFiles(tree.node("usbtmc0").c_str()), 1);
        viClose(vi);
    }
    EXPECT_EQ(fakeTmcOpenFiles(tree.node("usbtmc0").c_str()), 0);
}

}  // namespace
}  // namespace zuvisa::testing

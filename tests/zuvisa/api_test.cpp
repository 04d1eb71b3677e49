// Find, parse, open, close and attributes through the C API on the test bench.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "testbench.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa {
namespace {

using Api = testing::Bench;

std::vector<std::string> find(ViSession rm, const char* expr, ViStatus* status = nullptr) {
    ViFindList list = 0;
    ViUInt32 count = 0;
    char desc[VI_FIND_BUFLEN];
    ViStatus st = viFindRsrc(rm, expr, &list, &count, desc);
    if (status) *status = st;
    std::vector<std::string> out;
    if (st < 0) return out;
    out.push_back(desc);
    for (ViUInt32 i = 1; i < count; ++i) {
        EXPECT_EQ(viFindNext(list, desc), VI_SUCCESS);
        out.push_back(desc);
    }
    EXPECT_EQ(viFindNext(list, desc), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(viClose(list), VI_SUCCESS);
    return out;
}

TEST_F(Api, FindRegularExpressionsAndAttributeClauses) {
    struct Case {
        const char* expr;
        std::vector<std::string> names;
    } cases[] = {
        {"GPIB?*INSTR", {"GPIB0::5::INSTR", "GPIB0::6::INSTR", "GPIB1::7::INSTR"}},
        {"?*SOCKET", {"TCPIP0::10.0.0.5::5025::SOCKET"}},
        {"(USB|TCPIP)?*INSTR", {"TCPIP0::10.0.0.5::inst0::INSTR", "USB0::0x1234::0x5678::SN01::0::INSTR"}},
        {"GPIB?*{VI_ATTR_INTF_NUM == 1}", {"GPIB1::7::INSTR"}},
        {"?*{VI_ATTR_GPIB_PRIMARY_ADDR > 5 && VI_ATTR_GPIB_PRIMARY_ADDR < 8}", {"GPIB0::6::INSTR", "GPIB1::7::INSTR"}},
        {"?*{VI_ATTR_MANF_NAME == \"acme?*\"}", {"USB0::0x1234::0x5678::SN01::0::INSTR"}},
        {"?*{VI_ATTR_INTF_INST_NAME == \"Bench GPIB?*\"}", {"GPIB0::6::INSTR"}},
        {"?*{VI_ATTR_TCPIP_PORT == 5025 || VI_ATTR_USB_SERIAL_NUM == \"SN01\"}",
         {"TCPIP0::10.0.0.5::5025::SOCKET", "USB0::0x1234::0x5678::SN01::0::INSTR"}},
    };
    for (const Case& c : cases) EXPECT_EQ(find(rm, c.expr), c.names) << c.expr;
}

TEST_F(Api, FindFailures) {
    ViStatus st;
    find(rm, "VXI?*", &st);
    EXPECT_EQ(st, VI_ERROR_RSRC_NFOUND);
    find(rm, "GPIB[", &st);
    EXPECT_EQ(st, VI_ERROR_INV_EXPR);
    find(rm, "?*{VI_ATTR_NOPE == 1}", &st);
    EXPECT_EQ(st, VI_ERROR_INV_EXPR);
    ViUInt32 count = 7;
    EXPECT_EQ(viFindRsrc(rm, nullptr, nullptr, &count, nullptr), VI_ERROR_INV_EXPR);
    EXPECT_EQ(count, 0u);
    // Only the count: no find list is made.
    EXPECT_EQ(viFindRsrc(rm, "?*", nullptr, &count, nullptr), VI_SUCCESS);
    EXPECT_EQ(count, 6u);
    ViSession vi = open("GPIB0::5::INSTR");
    EXPECT_EQ(viFindRsrc(vi, "?*", nullptr, &count, nullptr), VI_ERROR_INV_OBJECT);
    ViInt32 vxiRm = 1;
    ViFindList list;
    char desc[VI_FIND_BUFLEN];
    ASSERT_EQ(viFindRsrc(rm, "?*", &list, &count, desc), VI_SUCCESS);
    EXPECT_EQ(viGetAttribute(list, VI_ATTR_ZU_VXI_RM_STATUS, &vxiRm), VI_SUCCESS);
    EXPECT_EQ(vxiRm, 0);
    EXPECT_EQ(viSetAttribute(list, VI_ATTR_ZU_VXI_RM_STATUS, 1), VI_ERROR_ATTR_READONLY);
}

TEST_F(Api, ParseGivesCanonicalNamesAndAliases) {
    ViUInt16 type = 0, num = 9;
    char cls[VI_FIND_BUFLEN], expanded[VI_FIND_BUFLEN], alias[VI_FIND_BUFLEN];
    ASSERT_EQ(viParseRsrcEx(rm, "gpib::5", &type, &num, cls, expanded, alias), VI_SUCCESS);
    EXPECT_EQ(type, VI_INTF_GPIB);
    EXPECT_EQ(num, 0);
    EXPECT_STREQ(cls, "INSTR");
    EXPECT_STREQ(expanded, "GPIB0::5::INSTR");
    EXPECT_STREQ(alias, "meter");
    ASSERT_EQ(viParseRsrcEx(rm, "METER", &type, &num, cls, expanded, alias), VI_SUCCESS);
    EXPECT_STREQ(expanded, "GPIB0::5::INSTR");
    EXPECT_STREQ(alias, "meter");
    ASSERT_EQ(viParseRsrcEx(rm, "TCPIP1::h::99::SOCKET", &type, &num, cls, expanded, alias), VI_SUCCESS);
    EXPECT_EQ(type, VI_INTF_TCPIP);
    EXPECT_EQ(num, 1);
    EXPECT_STREQ(cls, "SOCKET");
    EXPECT_STREQ(alias, "");
    EXPECT_EQ(viParseRsrc(rm, "ASRL1::INSTR", &type, &num), VI_SUCCESS);
    EXPECT_EQ(type, VI_INTF_ASRL);
    EXPECT_EQ(viParseRsrc(rm, "nonsense", &type, &num), VI_ERROR_INV_RSRC_NAME);
    EXPECT_EQ(viParseRsrc(rm, nullptr, &type, &num), VI_ERROR_INV_RSRC_NAME);
    EXPECT_EQ(viParseRsrc(0, "GPIB0::5", &type, &num), VI_ERROR_INV_OBJECT);
}

TEST_F(Api, OpenByAliasAndAccessModes) {
    ViSession vi = 0;
    EXPECT_EQ(viOpen(rm, "meter", VI_NULL, 0, &vi), VI_SUCCESS);
    char name[VI_FIND_BUFLEN];
    ASSERT_EQ(viGetAttribute(vi, VI_ATTR_RSRC_NAME, name), VI_SUCCESS);
    EXPECT_STREQ(name, "GPIB0::5::INSTR");
    struct Case {
        ViAccessMode mode;
        ViStatus status;
    } cases[] = {{VI_LOAD_CONFIG, VI_SUCCESS}, {8, VI_ERROR_INV_ACC_MODE},
                 {VI_EXCLUSIVE_LOCK | VI_SHARED_LOCK, VI_ERROR_INV_ACC_MODE}};
    for (const Case& c : cases) {
        ViSession s = 0;
        EXPECT_EQ(viOpen(rm, "GPIB0::6::INSTR", c.mode, 0, &s), c.status) << c.mode;
        if (s) viClose(s);
    }
    EXPECT_EQ(viOpen(rm, "GPIB0::9::INSTR", VI_NULL, 0, &vi), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(vi, 0u);
    EXPECT_EQ(viOpen(rm, "GPIB0::", VI_NULL, 0, &vi), VI_ERROR_INV_RSRC_NAME);
    EXPECT_EQ(viOpen(rm, "GPIB0::5::INSTR", VI_NULL, 0, nullptr), VI_ERROR_INV_PARAMETER);
}

TEST_F(Api, OpenWithExclusiveLockKeepsOthersOutUntilClosed) {
    ViSession a = open("GPIB0::5::INSTR", VI_EXCLUSIVE_LOCK);
    ViSession b = 0;
    EXPECT_EQ(viOpen(rm, "GPIB0::5::INSTR", VI_EXCLUSIVE_LOCK, 50, &b), VI_ERROR_RSRC_LOCKED);
    ASSERT_EQ(viOpen(rm, "GPIB0::5::INSTR", VI_NULL, 0, &b), VI_SUCCESS);
    EXPECT_EQ(write(b, "*IDN?\n"), VI_ERROR_RSRC_LOCKED);
    ViAccessMode state = 0;
    EXPECT_EQ(viGetAttribute(b, VI_ATTR_RSRC_LOCK_STATE, &state), VI_SUCCESS);
    EXPECT_EQ(state, static_cast<ViAccessMode>(VI_EXCLUSIVE_LOCK));
    viClose(a);
    EXPECT_EQ(write(b, "*IDN?\n"), VI_SUCCESS);
}

TEST_F(Api, ClosedAndForeignHandlesAreInvalidObjects) {
    ViSession vi = open("GPIB0::5::INSTR");
    ASSERT_EQ(viClose(vi), VI_SUCCESS);
    ViSession again = open("GPIB0::5::INSTR");  // may reuse the slot, never the handle
    EXPECT_NE(again, vi);
    EXPECT_EQ(viClose(vi), VI_ERROR_INV_OBJECT);
    ViUInt32 tmo;
    ViObject bad[] = {vi, 0x7FFFFFFF, 0xFFFFFFFF, 1};
    for (ViObject h : bad) {
        EXPECT_EQ(viGetAttribute(h, VI_ATTR_TMO_VALUE, &tmo), VI_ERROR_INV_OBJECT);
        EXPECT_EQ(viWrite(h, reinterpret_cast<ViConstBuf>("x"), 1, nullptr), VI_ERROR_INV_OBJECT);
        EXPECT_EQ(viLock(h, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_ERROR_INV_OBJECT);
        EXPECT_EQ(viEnableEvent(h, VI_EVENT_SERVICE_REQ, VI_QUEUE, VI_NULL), VI_ERROR_INV_OBJECT);
    }
    EXPECT_EQ(viClose(VI_NULL), VI_WARN_NULL_OBJECT);
}

TEST_F(Api, ClosingTheResourceManagerClosesWhatItOpened) {
    ViSession rm2 = 0;
    ASSERT_EQ(viOpenDefaultRM(&rm2), VI_SUCCESS);
    EXPECT_NE(rm2, rm);
    ViSession vi = 0;
    ASSERT_EQ(viOpen(rm2, "GPIB0::5::INSTR", VI_NULL, 0, &vi), VI_SUCCESS);
    ViFindList list = 0;
    ASSERT_EQ(viFindRsrc(rm2, "?*", &list, nullptr, nullptr), VI_SUCCESS);
    ViSession mine = open("GPIB0::6::INSTR");
    ASSERT_EQ(viClose(rm2), VI_SUCCESS);
    ViUInt32 tmo;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_TMO_VALUE, &tmo), VI_ERROR_INV_OBJECT);
    EXPECT_EQ(viFindNext(list, nullptr), VI_ERROR_INV_OBJECT);
    EXPECT_EQ(viGetAttribute(mine, VI_ATTR_TMO_VALUE, &tmo), VI_SUCCESS);  // other managers' are kept
}

TEST_F(Api, ResourceManagerAttributes) {
    ViUInt16 manf = 0;
    char name[VI_FIND_BUFLEN];
    ViVersion spec = 0, impl = 0;
    EXPECT_EQ(viGetAttribute(rm, VI_ATTR_RSRC_MANF_ID, &manf), VI_SUCCESS);
    EXPECT_EQ(manf, HOUSE_MANF_ID);
    EXPECT_EQ(viGetAttribute(rm, VI_ATTR_RSRC_MANF_NAME, name), VI_SUCCESS);
    EXPECT_STREQ(name, HOUSE_MANF_NAME);
    EXPECT_EQ(viGetAttribute(rm, VI_ATTR_RSRC_SPEC_VERSION, &spec), VI_SUCCESS);
    EXPECT_EQ(spec, VI_SPEC_VERSION);
    EXPECT_EQ(viGetAttribute(rm, VI_ATTR_RSRC_IMPL_VERSION, &impl), VI_SUCCESS);
    EXPECT_EQ(impl, ZUVISA_IMPL_VERSION);
    EXPECT_EQ(viSetAttribute(rm, VI_ATTR_RSRC_MANF_ID, 1), VI_ERROR_ATTR_READONLY);
    EXPECT_EQ(viGetAttribute(rm, VI_ATTR_TERMCHAR, name), VI_ERROR_NSUP_ATTR);
    EXPECT_EQ(viRead(rm, nullptr, 0, nullptr), VI_ERROR_NSUP_OPER);
}

TEST_F(Api, SessionAttributesKeepTheirWidthAndRules) {
    ViSession vi = open("GPIB0::5::INSTR");
    // A get writes exactly the attribute's width; a set of a value wider than it is refused.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_TMO_VALUE, 0xABCD000000001234ull), VI_ERROR_NSUP_ATTR_STATE);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_TMO_VALUE, 0x1234), VI_SUCCESS);
    ViUInt64 wide = 0xEEEEEEEEEEEEEEEEull;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_TMO_VALUE, &wide), VI_SUCCESS);
    EXPECT_EQ(wide, 0xEEEEEEEE00001234ull);  // only four bytes written
    wide = 0xEEEEEEEEEEEEEEEEull;
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_TERMCHAR, 0x10D), VI_ERROR_NSUP_ATTR_STATE);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_TERMCHAR, 0x0D), VI_SUCCESS);
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_TERMCHAR, &wide), VI_SUCCESS);
    EXPECT_EQ(wide, 0xEEEEEEEEEEEEEE0Dull);

    struct Case {
        ViAttr attr;
        ViAttrState value;
        ViStatus status;
    } cases[] = {
        {VI_ATTR_TERMCHAR_EN, VI_TRUE, VI_SUCCESS},
        {VI_ATTR_TERMCHAR_EN, 2, VI_ERROR_NSUP_ATTR_STATE},
        {VI_ATTR_SEND_END_EN, 0x10000 | VI_TRUE, VI_ERROR_NSUP_ATTR_STATE},  // never masked
        {VI_ATTR_MAX_QUEUE_LENGTH, 0, VI_ERROR_NSUP_ATTR_STATE},
        {VI_ATTR_IO_PROT, 9, VI_ERROR_NSUP_ATTR_STATE},
        {VI_ATTR_RD_BUF_OPER_MODE, VI_FLUSH_WHEN_FULL, VI_ERROR_NSUP_ATTR_STATE},
        {VI_ATTR_GPIB_PRIMARY_ADDR, 3, VI_ERROR_ATTR_READONLY},
        {VI_ATTR_RSRC_NAME, 0, VI_ERROR_ATTR_READONLY},
        {VI_ATTR_ASRL_BAUD, 9600, VI_ERROR_NSUP_ATTR},
        {VI_ATTR_TRIG_ID, 0, VI_ERROR_ATTR_READONLY},
        {0x3FFF0FFF, 0, VI_ERROR_NSUP_ATTR},
    };
    for (const Case& c : cases) EXPECT_EQ(viSetAttribute(vi, c.attr, c.value), c.status) << std::hex << c.attr;

    ViUInt16 addr = 0, sec = 0, type = 0;
    ViInt16 trig = 0;
    ViUInt64 user = 0;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_GPIB_PRIMARY_ADDR, &addr), VI_SUCCESS);
    EXPECT_EQ(addr, 5);
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_GPIB_SECONDARY_ADDR, &sec), VI_SUCCESS);
    EXPECT_EQ(sec, VI_NO_SEC_ADDR);
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_INTF_TYPE, &type), VI_SUCCESS);
    EXPECT_EQ(type, VI_INTF_GPIB);
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_TRIG_ID, &trig), VI_SUCCESS);
    EXPECT_EQ(trig, VI_TRIG_SW);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_USER_DATA_64, 0x1122334455667788ull), VI_SUCCESS);
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_USER_DATA_64, &user), VI_SUCCESS);
    EXPECT_EQ(user, 0x1122334455667788ull);
    ViUInt32 user32 = 0;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_USER_DATA_32, &user32), VI_SUCCESS);
    EXPECT_EQ(user32, 0x55667788u);
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_TMO_VALUE, nullptr), VI_ERROR_INV_PARAMETER);

    char text[VI_FIND_BUFLEN];
    ViSession sock = open("TCPIP::10.0.0.5::5025::SOCKET");
    ViUInt16 port = 0;
    EXPECT_EQ(viGetAttribute(sock, VI_ATTR_TCPIP_PORT, &port), VI_SUCCESS);
    EXPECT_EQ(port, 5025);
    EXPECT_EQ(viGetAttribute(sock, VI_ATTR_TCPIP_ADDR, text), VI_SUCCESS);
    EXPECT_STREQ(text, "10.0.0.5");
    EXPECT_EQ(viGetAttribute(sock, VI_ATTR_INTF_INST_NAME, text), VI_SUCCESS);
    EXPECT_STREQ(text, "TCPIP0 (simulated)");
    EXPECT_EQ(viGetAttribute(sock, VI_ATTR_GPIB_PRIMARY_ADDR, &port), VI_ERROR_NSUP_ATTR);
}

TEST_F(Api, OperationsAResourceLacksAreNotSupported) {
    ViSession vi = open("GPIB0::5::INSTR");
    ViUInt16 v16;
    ViBusAddress off;
    ViAddr addr;
    ViUInt32 resp;
    EXPECT_EQ(viIn16(vi, VI_A16_SPACE, 0, &v16), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viOut32Ex(vi, VI_A24_SPACE, 0, 1), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viMoveIn8(vi, VI_A16_SPACE, 0, 1, reinterpret_cast<ViAUInt8>(&v16)), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viMove(vi, 1, 0, VI_WIDTH_8, 1, 0, VI_WIDTH_8, 1), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viMove(vi, 1, 0, 3, 1, 0, VI_WIDTH_8, 1), VI_ERROR_INV_WIDTH);
    EXPECT_EQ(viMapAddress(vi, VI_A16_SPACE, 0, 16, VI_FALSE, nullptr, &addr), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viMemAlloc(vi, 16, &off), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viGpibControlATN(vi, VI_GPIB_ATN_ASSERT), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viGpibSendIFC(vi), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viVxiCommandQuery(vi, VI_VXI_CMD16, 0, &resp), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viMapTrigger(vi, VI_TRIG_TTL0, VI_TRIG_TTL1, 0), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viAssertUtilSignal(vi, VI_UTIL_ASSERT_SYSRESET), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viUsbControlIn(vi, 0, 0, 0, 0, 0, nullptr, nullptr), VI_ERROR_NSUP_OPER);
    ViJobId job;
    EXPECT_EQ(viMoveAsync(vi, 1, 0, VI_WIDTH_8, 1, 0, VI_WIDTH_8, 1, &job), VI_ERROR_NSUP_OPER);
    viPeek16(vi, nullptr, &v16);  // no status to give; must not crash
    EXPECT_EQ(v16, 0);
}


// The demo bench, searched with the expressions a find-expression builder makes: a machine, a
// choice of interfaces, and attribute conditions joined with && or ||.
class DemoBench : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS); }
    void TearDown() override { viClose(rm); }
    testing::TempConfig config{"[Bridgelets]\nsim = True\n"};
    ViSession rm = 0;
};

// Pads an attribute clause with blanks before its closing brace to exactly length characters.
std::string padded(std::string open, size_t length) {
    while (open.size() + 26 < length) open += " || VI_ATTR_INTF_NUM == 0";
    return open + std::string(length - open.size() - 1, ' ') + "}";
}

TEST_F(DemoBench, BuilderExpressionsEvaluate) {
    const struct {
        const char* expr;
        std::vector<std::string> names;
    } cases[] = {
        {"?*(GPIB-VXI)?*",
         {"GPIB-VXI0::24::INSTR", "GPIB-VXI0::32::INSTR", "GPIB-VXI0::MEMACC", "GPIB-VXI0::0::BACKPLANE"}},
        {"?*(PXI|ASRL)?*", {"ASRL1::INSTR", "PXI0::12::INSTR", "PXI0::MEMACC"}},
        {"?*(GPIB|VXI)?*{VI_ATTR_VXI_LA == 24}", {"GPIB-VXI0::24::INSTR", "VXI0::24::INSTR"}},
        // A GPIB-VXI resource has the address of its GPIB-VXI controller.
        {"?*(GPIB)?*{VI_ATTR_GPIB_PRIMARY_ADDR >= 7 && VI_ATTR_GPIB_PRIMARY_ADDR <= 9}",
         {"GPIB0::7::INSTR", "GPIB1::9::INSTR", "GPIB-VXI0::24::INSTR", "GPIB-VXI0::32::INSTR", "GPIB-VXI0::MEMACC",
          "GPIB-VXI0::0::BACKPLANE"}},
        {"?*(GPIB)?*{VI_ATTR_GPIB_PRIMARY_ADDR >= 7 && VI_ATTR_GPIB_PRIMARY_ADDR <= 9 && VI_ATTR_INTF_TYPE == 1}",
         {"GPIB0::7::INSTR", "GPIB1::9::INSTR"}},
        // A resource without the attribute matches no condition on it, not even !=.
        {"?*(ASRL|TCPIP)?*{VI_ATTR_MANF_ID != 3674}", {}},
        {"?*{VI_ATTR_MANF_ID == 3674 && VI_ATTR_MODEL_CODE != 257 && VI_ATTR_SLOT > 2}",
         {"GPIB-VXI0::32::INSTR", "PXI0::12::INSTR"}},
        {"?*(TCPIP|ASRL)?*{VI_ATTR_INTF_TYPE == 4 || VI_ATTR_TCPIP_PORT == 5025}",
         {"ASRL1::INSTR", "TCPIP0::sim.invalid::5025::SOCKET"}},
        // Interface resources have their controller's logical address.
        {"VXI?*{VI_ATTR_VXI_LA < 1 || VI_ATTR_VXI_LA > 255}",
         {"VXI0::0::INSTR", "VXI0::MEMACC", "VXI0::SERVANT", "VXI1::0::INSTR", "VXI1::260::INSTR", "VXI1::MEMACC"}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> got = find(rm, c.expr);
        std::sort(got.begin(), got.end());
        std::vector<std::string> want = c.names;
        std::sort(want.begin(), want.end());
        EXPECT_EQ(got, want) << c.expr;
    }
}

TEST_F(DemoBench, ThisMachineIsSearchedHereOthersAreNotAvailable) {
    char own[256] = "";
    ASSERT_EQ(gethostname(own, sizeof own - 1), 0);
    const std::vector<std::string> all = find(rm, "?*(GPIB|VXI)?*{VI_ATTR_INTF_NUM == 0}");
    ASSERT_FALSE(all.empty());
    for (const std::string& machine : std::vector<std::string>{"localhost", "127.0.0.1", "[::1]:3537", own}) {
        EXPECT_EQ(find(rm, ("visa://" + machine + "/?*(GPIB|VXI)?*{VI_ATTR_INTF_NUM == 0}").c_str()), all)
            << machine;
    }
    // The prefix without a machine, as the find-expression builder writes it for an empty name.
    EXPECT_EQ(find(rm, "visa:/?*(GPIB|VXI)?*{VI_ATTR_INTF_NUM == 0}"), all);
    const struct {
        const char* expr;
        ViStatus status;
    } failures[] = {
        {"visa://lab7.invalid/?*(GPIB|VXI)?*{VI_ATTR_INTF_NUM == 0}", VI_ERROR_MACHINE_NAVAIL},
        {"visa://192.0.2.1:3537/?*", VI_ERROR_MACHINE_NAVAIL},
        {"visa:/", VI_ERROR_INV_EXPR},
        {"visa:///?*(GPIB)?*", VI_ERROR_INV_EXPR},
    };
    for (const auto& f : failures) {
        ViFindList list = 7;
        ViUInt32 count = 7;
        char desc[VI_FIND_BUFLEN] = "x";
        EXPECT_EQ(viFindRsrc(rm, f.expr, &list, &count, desc), f.status) << f.expr;
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(list, static_cast<ViFindList>(VI_NULL));
        EXPECT_STREQ(desc, "");
    }
}

TEST_F(DemoBench, LongExpressions) {
    const std::vector<std::string> want = find(rm, "?*(GPIB|VXI)?*{VI_ATTR_INTF_NUM == 0}");
    for (size_t length : {255u, 256u, 300u, 1024u}) {
        std::string expr = padded("visa://localhost/?*(GPIB|VXI)?*{VI_ATTR_INTF_NUM == 0", length);
        ASSERT_EQ(expr.size(), length);
        EXPECT_EQ(find(rm, expr.c_str()), want) << length;
    }
    ViStatus st = VI_SUCCESS;
    std::string unbalanced = padded("?*(GPIB|VXI?*{VI_ATTR_INTF_NUM == 0", 300);
    find(rm, unbalanced.c_str(), &st);
    EXPECT_EQ(st, VI_ERROR_INV_EXPR);
    find(rm, padded("?*{VI_ATTR_INTF_NUM == 0", 1025).c_str(), &st);
    EXPECT_EQ(st, VI_ERROR_INV_EXPR);
}

}  // namespace
}  // namespace zuvisa

#include "resources/search.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/talmik.h"
#include "resources/rsrcrecord.h"
#include "tests/support/tempdir.h"
#include "uiruntime/testing/uitest.h"
#include "visalib/visalib.h"
#include "zuvisa/zuvisa.h"

namespace {

const char kNotAccessible[] =
    "At least one VXI device listed could not be accessed.\nYou may need to run the VXI Resource Manager.";
const char kManagerNotRun[] =
    "The VXI Resource Manager has not been run successfully.\nYou may want to exit TALMIK and run the Resource Manager.";

std::string benchFile(const char* name) { return std::string(TALMIK_TEST_DATA_DIR) + "/data/" + name; }

// The house VISA with a bench of simulated resources, and the application's resource manager.
class Search : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(UiTest_Start(), 0); }
    void TearDown() override {
        releaseRsrcs();
        if (defaultRM) viClose(defaultRM);
        defaultRM = VI_NULL;
        VisaLib_Unload();
        UiTest_Reset();
        unsetenv("ZUVISA_CONFIG");
        unsetenv("TALMIK_VISA_LIBRARY");
    }
    void useBench(const char* bench) {
        setenv("TALMIK_VISA_LIBRARY", (std::string(std::getenv("TALMIK_BIN_DIR")) + "/libzuvisa.so").c_str(), 1);
        writeFile(dir.file("zuvisa.ini"),
                  "[Bridgelets]\nsim = True\n[Simulation]\nFile1 = \"" + benchFile(bench) + "\"\n");
        setenv("ZUVISA_CONFIG", dir.file("zuvisa.ini").c_str(), 1);
        ASSERT_GE(viOpenDefaultRM(&defaultRM), VI_SUCCESS);
        ASSERT_GE(viGetAttribute(defaultRM, VI_ATTR_RSRC_MANF_ID, &mfrID), VI_SUCCESS);
        GetTalmikPathNames(&pszAppName, &pszHelpName);
        std::strcpy(appFindExpr, "?*");
        firstCheck = 1;
    }
    const RsrcRecord* find(const char* name) {
        for (int i = 0; i < nRsrcs; ++i)
            if (std::strcmp(lpRsrcs[i].rsrcName, name) == 0) return &lpRsrcs[i];
        return nullptr;
    }
    std::vector<std::string> messages() {
        std::vector<std::string> out;
        for (const UiTestPopup& p : UiTest_Popups()) {
            EXPECT_EQ(p.title, "TALMIK");
            out.push_back(p.text);
        }
        return out;
    }
    std::vector<int> order(const int* entries) { return entries ? std::vector<int>(entries, entries + nRsrcs) : std::vector<int>(); }

    TempDir dir;
};

TEST_F(Search, EveryFieldOfTheRecord) {
    useBench("orders.yaml");
    refreshIoRsrcs();
    ASSERT_EQ(nRsrcs, 20);  // 17 resources and the three GPIB-VXI controllers as GPIB instruments
    const struct {
        const char* name;
        const char* instName;
        short type;
        unsigned short number, parent, primary, secondary;
        short mainframe, la;
    } cases[] = {
        {"GPIB0::3::INSTR", "Board zero (simulated)", 1, 0, 32767, 3, VI_NO_SEC_ADDR, -1, -1},
        {"GPIB1::INTFC", "Board one (simulated)", -1, 1, 32767, 0, VI_NO_SEC_ADDR, -1, -1},
        {"GPIB-VXI0::24::INSTR", "Link zero (simulated)", 3, 0, 1, 9, 3, 0, 24},
        {"GPIB-VXI0::MEMACC", "Link zero (simulated)", -3, 0, 1, 9, VI_NO_SEC_ADDR, -1, 0},
        {"GPIB-VXI12::8::INSTR", "Link twelve (simulated)", 3, 12, 0, 11, 1, 0, 8},
        {"VXI0::8::INSTR", "Embedded VXI (simulated)", 2, 0, 32767, 0, 0, 0, 8},
        {"VXI1::MEMACC", "VXI over MXI-2 (simulated)", -2, 1, 32767, 0, 0, -1, 0},
        // At the logical address of the MXI extender's own resource: outside the mainframes.
        {"VXI1::0::INSTR", "VXI over MXI-2 (simulated)", 2, 1, 32767, 0, 0, -1, 0},
        {"VXI1::40::INSTR", "VXI over MXI-2 (simulated)", 2, 1, 32767, 0, 0, 128, 40},
        {"ASRL1::INSTR", "ASRL1 (simulated)", 4, 1, 32767, 0, 0, -1, -1},
        {"PXI0::2::INSTR", "PXI0 (simulated)", 5, 0, 32767, 0, 0, -1, -1},
        {"TCPIP0::127.0.0.1::5025::SOCKET", "TCPIP0 (simulated)", -6, 0, 32767, 0, 0, -1, -1},
    };
    for (const auto& c : cases) {
        const RsrcRecord* r = find(c.name);
        ASSERT_NE(r, nullptr) << c.name;
        EXPECT_STREQ(r->intfInstName, c.instName) << c.name;
        EXPECT_EQ(r->intfType, c.type) << c.name;
        EXPECT_EQ(r->intfNum, c.number) << c.name;
        EXPECT_EQ(r->parentNum, c.parent) << c.name;
        EXPECT_EQ(r->gpibPrimary, c.primary) << c.name;
        EXPECT_EQ(r->gpibSecondary, c.secondary) << c.name;
        EXPECT_EQ(r->mainframeLA, c.mainframe) << c.name;
        EXPECT_EQ(r->vxiLA, c.la) << c.name;
    }
    EXPECT_TRUE(messages().empty());
    EXPECT_EQ(firstCheck, 0);
}

TEST_F(Search, OrdersOfABenchListedOutOfOrder) {
    useBench("orders.yaml");
    refreshIoRsrcs();
    ASSERT_EQ(nRsrcs, 20);
    // The library lists the resources as the bench file has them, the GPIB-VXI controllers last
    // (17 GPIB1::9, 18 GPIB1::10 and 19 GPIB0::11, all three duplicates).
    EXPECT_EQ(order(lpSortType), (std::vector<int>{5, 7, ~17, ~18, ~19, 6, 8, 13, 14, 15, 12, 1, 3, 9, 2, 4, 10, 11, 0, 16}));
    // Each board's GPIB-VXI interfaces follow its last record; GPIB-VXI12 waits for its own pass.
    EXPECT_EQ(order(lpSortConn), (std::vector<int>{5, 6, 7, 8, ~17, ~18, 4, 3, 2, 1, ~19, 12, 13, 14, 15, 9, 10, 11, 0, 16}));
}

TEST_F(Search, TroubleKeepsEveryRecordInItsPlace) {
    useBench("faults.yaml");
    refreshIoRsrcs();
    ASSERT_EQ(nRsrcs, 6) << "the announced count stays after the list broke off";
    EXPECT_EQ(lpRsrcs[1].intfType, -4) << "a serial resource that is no instrument";
    EXPECT_STREQ(lpRsrcs[1].intfInstName, "Serial bridge (simulated)");
    EXPECT_EQ(lpRsrcs[2].intfType, 32767) << "did not open";
    EXPECT_EQ(lpRsrcs[2].intfNum, 32767);
    EXPECT_STREQ(lpRsrcs[2].intfInstName, "");
    EXPECT_STREQ(lpRsrcs[3].rsrcName, "VXI0::8::INSTR");
    for (int i = 4; i < 6; ++i) {
        EXPECT_STREQ(lpRsrcs[i].rsrcName, "") << i;
        EXPECT_EQ(lpRsrcs[i].intfType, 0) << i;
    }
    EXPECT_EQ(order(lpSortType), (std::vector<int>{3, 0, 1, 2, 4, 5}));
    EXPECT_EQ(order(lpSortConn), (std::vector<int>{3, 0, 1, 2, 4, 5}));
    // The device that is not there outweighs the resource manager's failure; once per run.
    EXPECT_EQ(messages(), std::vector<std::string>{kNotAccessible});
    refreshIoRsrcs();
    EXPECT_EQ(messages().size(), 1u);
    EXPECT_EQ(GetWaitCursorState(), 0);
}

TEST_F(Search, ResourceManagerStatusOfTheHouseVisa) {
    useBench("vxirm.yaml");
    // Another manufacturer's library has no such attribute: it is not even asked.
    mfrID = 0x0FF6;
    refreshIoRsrcs();
    EXPECT_EQ(nRsrcs, 1);
    EXPECT_TRUE(messages().empty());
    EXPECT_EQ(firstCheck, 0);

    firstCheck = 1;
    mfrID = HOUSE_MANF_ID;
    refreshIoRsrcs();
    EXPECT_EQ(messages(), std::vector<std::string>{kManagerNotRun});
}

TEST_F(Search, NothingFoundOrARejectedExpression) {
    useBench("vxirm.yaml");
    for (const char* expression : {"GPIB?*", "?*{VI_ATTR_INTF_NUM ==", "(", ""}) {
        std::strcpy(appFindExpr, expression);
        refreshIoRsrcs();
        EXPECT_EQ(nRsrcs, 0) << expression;
        EXPECT_EQ(lpRsrcs, nullptr);
        EXPECT_EQ(lpSortType, nullptr);
        EXPECT_EQ(lpSortConn, nullptr);
    }
    // Nothing found leaves the VXI check for a later search that finds something.
    EXPECT_EQ(firstCheck, 1);
    EXPECT_TRUE(messages().empty());
    std::strcpy(appFindExpr, "?*");
    refreshIoRsrcs();
    EXPECT_EQ(messages(), std::vector<std::string>{kManagerNotRun});
}

}  // namespace

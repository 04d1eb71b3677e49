#include "resources/browser.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "app/prefs.h"
#include "app/registry.h"
#include "app/talmik.h"
#include "controls/treeview.h"
#include "resources/rsrcrecord.h"
#include "resources/search.h"
#include "talmik_uir.h"
#include "tests/support/talmikrun.h"
#include "tests/support/tempdir.h"
#include "uiruntime/testing/uitest.h"
#include "visalib/visalib.h"

namespace {

std::string benchFile(const char* name) { return std::string(TALMIK_TEST_DATA_DIR) + "/data/" + name; }

std::string hostName() {
    char name[80] = "";
    gethostname(name, sizeof name);
    name[sizeof name - 1] = '\0';
    return name[0] ? name : "My Computer";
}

// talmik in a program directory of its own, on ZU-VISA with a bench of the tests.
class Browser : public TalmikRun {
protected:
    void SetUp() override {
        TalmikRun::SetUp();
        useBench("orders.yaml");
        compName[0] = '\0';
    }
    void useBench(const char* bench) {
        writeFile(dir.file("zuvisa.ini"), "[Bridgelets]\nsim = True\n[Simulation]\nFile1 = \"" + benchFile(bench) + "\"\n");
        setenv("ZUVISA_CONFIG", dir.file("zuvisa.ini").c_str(), 1);
    }
    // Runs talmik; the check runs in its main loop, which then closes.
    void run(std::function<void()> check, const std::string& settings = "", short find = 1) {
        TalmikRun::run(std::move(check), settings, find);
        EXPECT_EQ(target, nullptr) << "the tree closes at exit";
        EXPECT_EQ(lpRsrcs, nullptr);
        EXPECT_EQ(nRsrcs, 0);
    }

    static std::vector<TVItemInfo> items() {
        int count = 0;
        TV_GetItemCount(target, &count);
        std::vector<TVItemInfo> all(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i) TV_GetItemInfo(target, i, &all[static_cast<size_t>(i)]);
        return all;
    }
    // The tree as "level text" lines, "*" marking the items that stand for a record.
    static std::vector<std::string> tree() {
        std::vector<std::string> lines;
        for (const TVItemInfo& info : items())
            lines.push_back(std::to_string(info.level) + (info.data >= 0 ? "*" : " ") + info.text);
        return lines;
    }
    static int indexOf(const char* text) {
        std::vector<TVItemInfo> all = items();
        for (size_t i = 0; i < all.size(); ++i)
            if (text == std::string(all[i].text)) return static_cast<int>(i);
        return -1;
    }
    static int rowOf(const char* text) { return TV_CalcRow(target, indexOf(text), 0); }
    // A point on an item's text, in the canvas.
    static int textY(int row) { return TV_TOP_MARGIN + row * TV_ROW_HEIGHT + 8; }
    static int textX(const char* text) { return TV_ROW_HEIGHT * items()[static_cast<size_t>(indexOf(text))].level + 30; }
    static std::string nameBox() { return UiTest_DisplayedText(rsrcio, IOSHEET_RSRCNAME); }
    static int dimmed(int menuItem) {
        int value = -1;
        GetMenuBarAttribute(GetPanelMenuBar(rsrcpanel), menuItem, ATTR_DIMMED, &value);
        return value;
    }
};

TEST_F(Browser, ByConnection) {
    run([] {
        const std::string host = hostName();
        EXPECT_EQ(tree(), (std::vector<std::string>{
                              "0 " + host,
                              "1 Board one (simulated)", "2*GPIB1::5::INSTR",
                              "1 Board zero (simulated)", "2*GPIB0::INTFC", "2*GPIB0::3::INSTR",
                              "1 Board one (simulated)", "2*GPIB1::INTFC",
                              "2 Link zero (simulated)", "3*GPIB-VXI0::MEMACC", "3 Mainframe 0", "4*GPIB-VXI0::24::INSTR",
                              "2 Link one (simulated)", "3*GPIB-VXI1::MEMACC", "3 Mainframe 0", "4*GPIB-VXI1::24::INSTR",
                              "1 VXI over MXI-2 (simulated)", "2*VXI1::MEMACC", "2*VXI1::0::INSTR",
                              "2 Mainframe 128", "3*VXI1::40::INSTR",
                              "1 Embedded VXI (simulated)", "2 Mainframe 0", "3*VXI0::8::INSTR",
                              // GPIB-VXI12 is not behind its board: the entry drawn before it
                              // names the node repeated as its parent.
                              "1 Embedded VXI (simulated)", "2 Link twelve (simulated)", "3 Mainframe 0",
                              "4*GPIB-VXI12::8::INSTR",
                              "1 ASRL1 (simulated)", "2*ASRL1::INSTR",
                              "1 PXI0 (simulated)", "2*PXI0::2::INSTR",
                              "1 TCPIP0 (simulated)", "2*TCPIP0::127.0.0.1::inst0::INSTR",
                              "2*TCPIP0::127.0.0.1::5025::SOCKET",
                          }));
        EXPECT_EQ(UiTest_IsShown(rsrcio, IOSHEET_RSRCSCROLL), 1) << "more rows than fit";
    });
}

TEST_F(Browser, ByTypeWithTheDuplicatesShown) {
    run(
        [] {
            EXPECT_EQ(tree(), (std::vector<std::string>{
                                  "0 " + hostName(),
                                  "1 GPIB Instrument Resources", "2*GPIB1::5::INSTR", "2*GPIB0::3::INSTR",
                                  "2*GPIB1::9::INSTR", "2*GPIB1::10::INSTR", "2*GPIB0::11::INSTR",
                                  "1 GPIB Miscellaneous Resources", "2*GPIB0::INTFC", "2*GPIB1::INTFC",
                                  "1 VXI Instrument Resources", "2*VXI1::0::INSTR", "2*VXI1::40::INSTR",
                                  "2*VXI0::8::INSTR",
                                  "1 VXI Miscellaneous Resources", "2*VXI1::MEMACC",
                                  "1 GPIB-VXI Instrument Resources", "2*GPIB-VXI1::24::INSTR",
                                  "2*GPIB-VXI0::24::INSTR", "2*GPIB-VXI12::8::INSTR",
                                  "1 GPIB-VXI Miscellaneous Resources", "2*GPIB-VXI1::MEMACC",
                                  "2*GPIB-VXI0::MEMACC",
                                  "1 Serial Instrument Resources", "2*ASRL1::INSTR",
                                  "1 PXI Instrument Resources", "2*PXI0::2::INSTR",
                                  "1 TCP/IP Instrument Resources", "2*TCPIP0::127.0.0.1::inst0::INSTR",
                                  "1 TCP/IP Miscellaneous Resources", "2*TCPIP0::127.0.0.1::5025::SOCKET",
                              }));
            // The preference hides them again at the next drawing.
            showDuplicateApp = 0;
            AddIoRsrcs(rsrcio);
            int count = 0;
            TV_GetItemCount(target, &count);
            EXPECT_EQ(count, 28);
            EXPECT_EQ(rowOf("GPIB1::9::INSTR"), -1);
        },
        "[Preferences]\nviewRsrcByConn = 0\nshowDuplicateRsrc = 1\n");
}

TEST_F(Browser, TroubleShowsUnderUnknown) {
    useBench("faults.yaml");
    run(
        [] {
            EXPECT_EQ(tree(), (std::vector<std::string>{
                                  "0 " + hostName(),
                                  "1 VXI Instrument Resources", "2*VXI0::8::INSTR",
                                  "1 Serial Instrument Resources", "2*ASRL1::INSTR",
                                  "1 Unknown", "2*TCPIP0::127.0.0.1::7000::SOCKET",
                                  "1 Unknown", "2*GPIB0::4::INSTR",
                                  "1 Unknown", "2*", "2*",  // what the broken list left empty
                              }));
        },
        "[Preferences]\nviewRsrcByConn = 0\n");
    EXPECT_EQ(messages().size(), 1u) << "the VXI warning, once";
}

TEST_F(Browser, SelectingAndToggling) {
    run([] {
        // A resource fills the name box; a node without a record empties it.
        ASSERT_EQ(UiTest_Click(rsrcio, IOSHEET_RSRCTREE, textX("GPIB0::INTFC"), textY(rowOf("GPIB0::INTFC"))), 0);
        EXPECT_EQ(nameBox(), "GPIB0::INTFC");
        UiTest_Click(rsrcio, IOSHEET_RSRCTREE, textX("Board zero (simulated)"), textY(rowOf("Board zero (simulated)")));
        EXPECT_EQ(nameBox(), "");
        UiTest_KeyPress(rsrcio, IOSHEET_RSRCTREE, VAL_DOWN_ARROW_VKEY);
        EXPECT_EQ(nameBox(), "GPIB0::INTFC");
        // Pressing the view already shown changes nothing: the tree keeps its selection.
        UiTest_Commit(rsrcio, IOSHEET_VIEWCONN);
        int viewConn = 0, viewType = 1, selected = -1;
        GetCtrlVal(rsrcio, IOSHEET_VIEWCONN, &viewConn);
        EXPECT_EQ(viewConn, 1);
        TV_GetSelectedItem(target, &selected);
        EXPECT_GT(selected, 0);
        // The other view redraws the tree and is remembered as the browser's view.
        UiTest_Commit(rsrcio, IOSHEET_VIEWTYPE);
        GetCtrlVal(rsrcio, IOSHEET_VIEWCONN, &viewConn);
        GetCtrlVal(rsrcio, IOSHEET_VIEWTYPE, &viewType);
        EXPECT_EQ(viewConn, 0);
        EXPECT_EQ(viewType, 1);
        EXPECT_EQ(viewRsrcConnApp, 0);
        EXPECT_EQ(tree()[1], "1 GPIB Instrument Resources");
        UiTest_Commit(rsrcio, IOSHEET_VIEWCONN);
        EXPECT_EQ(viewRsrcConnApp, 1);
        EXPECT_EQ(tree()[1], "1 Board one (simulated)");
    });
}

TEST_F(Browser, OpeningByDoubleClickEnterAndMenu) {
    run([] {
        EXPECT_EQ(dimmed(MENUBAR_FILE_CLOSEALL), 1);
        // A double click on a node without a record opens nothing (it closes the node).
        UiTest_DoubleClick(rsrcio, IOSHEET_RSRCTREE, textX("Board zero (simulated)"), textY(rowOf("Board zero (simulated)")));
        EXPECT_EQ(numWindows, 0);
        UiTest_DoubleClick(rsrcio, IOSHEET_RSRCTREE, textX("Board zero (simulated)"), textY(rowOf("Board zero (simulated)")));
        // A double click on a resource opens it.
        const char* meter = "GPIB0::3::INSTR";
        UiTest_DoubleClick(rsrcio, IOSHEET_RSRCTREE, textX(meter), textY(rowOf(meter)));
        ASSERT_EQ(numWindows, 1);
        EXPECT_EQ(dimmed(MENUBAR_FILE_CLOSEALL), 0);
        // Enter in the name box opens what it names, typed or not.
        UiTest_SetValue(rsrcio, IOSHEET_RSRCNAME, "ASRL1::INSTR");
        EXPECT_EQ(numWindows, 2);
        // The Open command commits the sheet's active control: here the name box.
        UiTest_Focus(rsrcio, IOSHEET_RSRCNAME);
        UiTest_ChooseMenuItem(GetPanelMenuBar(rsrcpanel), MENUBAR_FILE_OPEN);
        EXPECT_EQ(numWindows, 3);
        // ...and here the tree, where Enter does the same.
        UiTest_Click(rsrcio, IOSHEET_RSRCTREE, textX("GPIB1::5::INSTR"), textY(rowOf("GPIB1::5::INSTR")));
        UiTest_Focus(rsrcio, IOSHEET_RSRCTREE);
        UiTest_ChooseMenuItem(GetPanelMenuBar(rsrcpanel), MENUBAR_FILE_OPEN);
        EXPECT_EQ(numWindows, 4);
        UiTest_KeyPress(rsrcio, IOSHEET_RSRCTREE, VAL_ENTER_VKEY);
        EXPECT_EQ(numWindows, 5);
        // Nothing to open: an empty name box.
        UiTest_SetValue(rsrcio, IOSHEET_RSRCNAME, "");
        EXPECT_EQ(numWindows, 5);
        EXPECT_EQ(dimmed(MENUBAR_FILE_OPEN), 0);
    });
}

TEST_F(Browser, AResourceThatWillNotOpen) {
    useBench("faults.yaml");
    run([] {
        UiTest_ClearPopups();
        UiTest_SetValue(rsrcio, IOSHEET_RSRCNAME, "GPIB0::4::INSTR");
        EXPECT_EQ(numWindows, 0);
        int nameDimmed = 1;
        GetCtrlAttribute(rsrcio, IOSHEET_RSRCNAME, ATTR_DIMMED, &nameDimmed);
        EXPECT_EQ(nameDimmed, 0);
        EXPECT_EQ(dimmed(MENUBAR_FILE_OPEN), 0);
        EXPECT_EQ(dimmed(MENUBAR_FILE_CLOSEALL), 1);
    });
    std::vector<std::string> shown = messages();
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].rfind("Unable to open session to \"GPIB0::4::INSTR\"\n\nReturn value: 0xBFFF0072\n"
                             "Status name: VI_ERROR_RSRC_BUSY\n\n", 0),
              0u)
        << shown[0];
}

TEST_F(Browser, WithoutASearchAtStartThenRefresh) {
    setenv("VXIPNPPATH", dir.file("no-framework").c_str(), 1);
    run(
        [] {
            EXPECT_EQ(tree(), std::vector<std::string>{"0 " + hostName()});
            EXPECT_EQ(UiTest_IsShown(rsrcio, IOSHEET_RSRCSCROLL), 0);
            EXPECT_EQ(firstCheck, 1);
            // The soft front panel list says that it holds none, before and after the search.
            int items = -1;
            GetNumListItems(rsrcsfp, SFPSHEET_SFPLIST, &items);
            EXPECT_EQ(items, 1);
            EXPECT_EQ(UiTest_DisplayedText(rsrcsfp, SFPSHEET_SFPLIST), "<Soft Front Panels not found>");
            ASSERT_EQ(UiTest_ChooseMenuItem(GetPanelMenuBar(rsrcpanel), MENUBAR_RESOURCES_REFRESH), 0);
            EXPECT_EQ(nRsrcs, 20);
            EXPECT_EQ(tree().size(), 35u);
            EXPECT_EQ(GetWaitCursorState(), 0);
            GetNumListItems(rsrcsfp, SFPSHEET_SFPLIST, &items);
            EXPECT_EQ(items, 1) << "no placeholder left behind";
            EXPECT_EQ(UiTest_DisplayedText(rsrcsfp, SFPSHEET_SFPLIST), "<Soft Front Panels not found>");
        },
        "", 0);
    unsetenv("VXIPNPPATH");
}

TEST_F(Browser, NothingFound) {
    std::strcpy(appFindExpr, "USB?*");
    run([] {
        EXPECT_EQ(tree(), std::vector<std::string>{"0 " + hostName()});
        UiTest_KeyPress(rsrcio, IOSHEET_RSRCTREE, VAL_ENTER_VKEY);
        UiTest_DoubleClick(rsrcio, IOSHEET_RSRCTREE, 10, textY(0));
        EXPECT_EQ(numWindows, 0);
    });
    EXPECT_TRUE(messages().empty());
}

}  // namespace

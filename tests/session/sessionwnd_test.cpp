#include "session/sessionwnd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "session/sessionrecord.h"
#include "tests/support/sessionbench.h"

namespace {

using Names = std::vector<std::string>;

std::string trimmed(const std::string& s) {
    size_t b = s.find_first_not_of(' '), e = s.find_last_not_of(' ');
    return b == std::string::npos ? "" : s.substr(b, e - b + 1);
}

Names trimmedAll(const Names& names) {
    Names out;
    for (const std::string& n : names) out.push_back(trimmed(n));
    return out;
}

const Names kTemplate = {"viGetAttribute", "viSetAttribute",  "viLock",
                         "viUnlock",       "viEventHandler",  "viEnableEvent",
                         "viDisableEvent", "viDiscardEvents", "viWaitOnEvent"};
const Names kAllBasic = {"viWrite", "viRead",          "viAssertTrigger", "viReadSTB",
                         "viClear", "viWriteFromFile", "viReadToFile"};
const Names kRegisterBase = {"viIn",   "viOut",  "viMapAddress", "viUnmapAddress",
                             "viPeek", "viPoke", "viMoveIn",     "viMoveOut"};
const Names kAllInterface = {"viVxiCommandQuery",   "viSetBuf",           "viFlush",
                             "viGpibControlREN",    "viGpibControlATN",   "viGpibSendIFC",
                             "viGpibCommand",       "viGpibPassControl",  "viMapTrigger",
                             "viUnmapTrigger",      "viAssertIntrSignal", "viAssertUtilSignal",
                             "viVxiServantResponse"};

Names plus(Names a, const Names& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

class SessionWindow : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        start();
    }
    SessionRecord* recordOf(int panel) {
        void* data = nullptr;
        GetPanelAttribute(panel, ATTR_CALLBACK_DATA, &data);
        return static_cast<SessionRecord*>(data);
    }
    Names operationsOn(int window, const char* tab) {
        int panel = childPanel(window, tab);
        return panel > 0 ? trimmedAll(tabTitles(panel)) : Names{};
    }
    Names ringLabels(int panel, int ring) {
        Names labels;
        int count = 0;
        GetNumListItems(panel, ring, &count);
        for (int i = 0; i < count; ++i) {
            char label[64] = "";
            GetLabelFromIndex(panel, ring, i, label);
            labels.push_back(label);
        }
        return labels;
    }
};

// What each kind of resource gets, in VISA names; the operations in tab order.
TEST_F(SessionWindow, EveryKindGetsItsTabsAndOperations) {
    const Names defaultOnly = {"VI_TRIG_PROT_DEFAULT"};
    const Names allProtocols = {"VI_TRIG_PROT_DEFAULT", "VI_TRIG_PROT_ON", "VI_TRIG_PROT_OFF",
                                "VI_TRIG_PROT_SYNC"};
    const Names vxiSpaces = {"VI_A16_SPACE", "VI_A24_SPACE", "VI_A32_SPACE"};
    const Names pxiSpaces = {"VI_PXI_CFG_SPACE",  "VI_PXI_BAR0_SPACE", "VI_PXI_BAR1_SPACE",
                             "VI_PXI_BAR2_SPACE", "VI_PXI_BAR3_SPACE", "VI_PXI_BAR4_SPACE",
                             "VI_PXI_BAR5_SPACE"};
    const Names memory = {"viMemAlloc", "viMemFree"};
    const struct {
        const char* resource;
        ViUInt32 kind;
        Names tabs;
        Names basic, registers, interface;
        Names protocols;  // of Assert Trigger, when offered
        Names spaces;     // of Move In, when offered
    } cases[] = {
        {"GPIB0::5::INSTR",
         0x1,
         {"Template", "Basic I/O", "Interface I/O"},
         kAllBasic,
         {},
         {"viGpibControlREN"},
         defaultOnly,
         {}},
        {"VXI0::8::INSTR",
         0x2,
         {"Template", "Basic I/O", "Register I/O", "Interface I/O"},
         kAllBasic,
         kRegisterBase,
         {"viVxiCommandQuery"},
         allProtocols,
         vxiSpaces},
        {"VXI0::16::INSTR",
         0x4,
         {"Template", "Basic I/O", "Register I/O"},
         {"viAssertTrigger"},
         plus(kRegisterBase, memory),
         {},
         allProtocols,
         vxiSpaces},
        {"GPIB-VXI0::24::INSTR",
         0x8,
         {"Template", "Basic I/O", "Register I/O", "Interface I/O"},
         kAllBasic,
         kRegisterBase,
         {"viVxiCommandQuery"},
         allProtocols,
         vxiSpaces},
        {"GPIB-VXI0::32::INSTR",
         0x10,
         {"Template", "Basic I/O", "Register I/O"},
         {"viAssertTrigger"},
         plus(kRegisterBase, memory),
         {},
         allProtocols,
         vxiSpaces},
        {"VXI0::300::INSTR",
         0x20,
         {"Template", "Register I/O"},
         {},
         kRegisterBase,
         {},
         {},
         vxiSpaces},
        {"ASRL1::INSTR",
         0x40,
         {"Template", "Basic I/O", "Interface I/O"},
         kAllBasic,
         {},
         {"viSetBuf", "viFlush"},
         defaultOnly,
         {}},
        {"VXI0::MEMACC",
         0x80,
         {"Template", "Register I/O"},
         {},
         plus(kRegisterBase, {"viMove"}),
         {},
         {},
         vxiSpaces},
        {"GPIB-VXI0::MEMACC",
         0x100,
         {"Template", "Register I/O"},
         {},
         plus(kRegisterBase, {"viMove"}),
         {},
         {},
         vxiSpaces},
        {"PXI0::12::INSTR",
         0x200,
         {"Template", "Register I/O"},
         {},
         plus(kRegisterBase, memory),
         {},
         {},
         pxiSpaces},
        {"GPIB0::INTFC",
         0x400,
         {"Template", "Basic I/O", "Interface I/O"},
         {"viWrite", "viRead", "viAssertTrigger", "viWriteFromFile", "viReadToFile"},
         {},
         {"viGpibControlREN", "viGpibControlATN", "viGpibSendIFC", "viGpibCommand",
          "viGpibPassControl"},
         defaultOnly,
         {}},
        {"VXI0::0::BACKPLANE",
         0x800,
         {"Template", "Basic I/O", "Interface I/O"},
         {"viAssertTrigger"},
         {},
         {"viMapTrigger", "viUnmapTrigger", "viAssertIntrSignal", "viAssertUtilSignal"},
         allProtocols,
         {}},
        {"GPIB-VXI0::0::BACKPLANE",
         0x1000,
         {"Template", "Basic I/O", "Interface I/O"},
         {"viAssertTrigger"},
         {},
         {"viMapTrigger", "viUnmapTrigger", "viAssertIntrSignal", "viAssertUtilSignal"},
         allProtocols,
         {}},
        {"GPIB0::SERVANT",
         0x2000,
         {"Template", "Basic I/O"},
         {"viWrite", "viRead", "viWriteFromFile", "viReadToFile"},
         {},
         {},
         {},
         {}},
        {"VXI0::SERVANT",
         0x4000,
         {"Template", "Basic I/O", "Interface I/O"},
         {"viWrite", "viRead", "viWriteFromFile", "viReadToFile"},
         {},
         {"viAssertIntrSignal", "viAssertUtilSignal", "viVxiServantResponse"},
         {},
         {}},
        {"TCPIP0::10.0.0.5::inst0::INSTR",
         0x8000,
         {"Template", "Basic I/O", "Interface I/O"},
         kAllBasic,
         {},
         {"viSetBuf", "viFlush"},
         defaultOnly,
         {}},
        {"TCPIP0::10.0.0.5::5025::SOCKET",
         0x8000,
         {"Template", "Basic I/O", "Interface I/O"},
         kAllBasic,
         {},
         {"viSetBuf", "viFlush"},
         defaultOnly,
         {}},
        {"PXI0::MEMACC",
         0x10000,
         {"Template", "Register I/O"},
         {},
         plus(kRegisterBase, memory),
         {},
         {},
         {"VI_PXI_ALLOC_SPACE"}},
        // USB is an interface the window does not know: everything it has, and the VXI spaces.
        {"USB0::0x0E5A::0x0004::SIM0004::INSTR",
         0x1FFFF,
         {"Template", "Basic I/O", "Register I/O", "Interface I/O"},
         kAllBasic,
         plus(kRegisterBase, {"viMove"}),
         kAllInterface,
         allProtocols,
         vxiSpaces},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.resource);
        int window = open(c.resource);
        ASSERT_GT(window, 0);
        SessionRecord* r = recordOf(window);
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(r->kindMask, c.kind);
        EXPECT_EQ(trimmedAll(tabTitles(window)), c.tabs);
        EXPECT_EQ(operationsOn(window, "TEMPLATETAB"), kTemplate);
        EXPECT_EQ(operationsOn(window, "BASICTAB"), c.basic);
        EXPECT_EQ(operationsOn(window, "REGISTERTAB"), c.registers);
        EXPECT_EQ(operationsOn(window, "INTERFACETAB"), c.interface);
        // Panels of operations the kind does not get are gone, not merely hidden.
        EXPECT_EQ(childNames(childPanel(window, "BASICTAB")).size(), c.basic.size());
        EXPECT_EQ(childNames(childPanel(window, "REGISTERTAB")).size(), c.registers.size());
        EXPECT_EQ(childNames(childPanel(window, "INTERFACETAB")).size(), c.interface.size());
        if (int trigger = childPanel(window, "viAssertTrigger")) {
            EXPECT_EQ(ringLabels(trigger, ASSERTTRIGGER_PROTOCOL), c.protocols);
        }
        if (int moveIn = childPanel(window, "viMoveIn")) {
            EXPECT_EQ(ringLabels(moveIn, MOVEIN_SPACE), c.spaces);
            // Only In and Out offer a space by number.
            EXPECT_EQ(ringLabels(childPanel(window, "viIn"), REGIN_SPACE),
                      plus(c.spaces, {"<Other>..."}));
            EXPECT_EQ(ringLabels(childPanel(window, "viOut"), REGOUT_SPACE),
                      plus(c.spaces, {"<Other>..."}));
            EXPECT_EQ(ringLabels(childPanel(window, "viMapAddress"), MAPADDRESS_SPACE), c.spaces);
            EXPECT_EQ(intAttribute(childPanel(window, "viIn"), REGIN_SPACENUM, ATTR_DIMMED), 1);
        }
        if (int move = childPanel(window, "viMove")) {
            EXPECT_EQ(ringLabels(move, MOVE_DESTSPACE), c.spaces);
        }
        // The record knows the panels that asynchronous jobs complete into.
        EXPECT_EQ(r->readPanel, childPanel(window, "viRead"));
        EXPECT_EQ(r->writePanel, childPanel(window, "viWrite"));
        EXPECT_EQ(r->movePanel, childPanel(window, "viMove"));
        EXPECT_EQ(r->eventHandlerPanel, childPanel(window, "viEventHandler"));
        EXPECT_EQ(UiTest_IsShown(window, 0), 1);
        DiscardPanel(window);
    }
    EXPECT_EQ(numWindows, 0);
}

TEST_F(SessionWindow, NameStylesTitlesAndColours) {
    const struct {
        const char* preferences;
        bool visaNames;
        Names templateTabs, basicTabs, interfaceTabs;
        const char* defaultProtocol;
        int groupColor, operColor, textColor;
    } cases[] = {
        {"",
         true,
         {" viGetAttribute", " viSetAttribute", "   viLock  ", "  viUnlock ", " viEventHandler",
          " viEnableEvent", " viDisableEvent", " viDiscardEvents", " viWaitOnEvent"},
         {"  viWrite ", "  viRead ", " viAssertTrigger", " viReadSTB", "  viClear ",
          " viWriteFromFile ", " viReadToFile "},
         {" viGpibControlREN "},
         "VI_TRIG_PROT_DEFAULT",
         0x99FFFF,
         0xCCCCCC,
         0},
        {"useVisaId = 0\nshowSession = 0\ngroupColor = 1193046\noperColor = 6636321\ntextColor = "
         "16711935\n",
         false,
         {" Property Node (Read)", " Property Node (Write)", "    Lock   ", "   Unlock  ",
          " Enable Event", " Disable Event", " Discard Events", " Wait on Event"},
         {"   Write  ", "   Read  ", " Assert Trigger", " Read STB", "  Clear ", " Write From File",
          " Read To File "},
         {"GPIB Control REN"},
         "Default",
         0x123456,
         0x654321,
         0xFF00FF},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.preferences);
        writeFile(dir.file("talmik.ini"), std::string("[Preferences]\n") + c.preferences);
        UpdatePanelPrefs();
        int window = open("GPIB0::5::INSTR");
        ASSERT_GT(window, 0);
        SessionRecord* r = recordOf(window);
        char title[128];
        std::snprintf(title, sizeof title, "GPIB0::5::INSTR (Session 0x%08lX)",
                      static_cast<unsigned long>(r->session));
        EXPECT_EQ(SessionBench::title(window), c.visaNames ? title : "GPIB0::5::INSTR");
        EXPECT_EQ(r->nameStyle, c.visaNames ? NAME_STYLE_VISA : NAME_STYLE_LABELS);
        EXPECT_EQ(tabTitles(window), (Names{" Template", " Basic I/O", " Interface I/O"}));
        int templateTab = childPanel(window, "TEMPLATETAB"),
            basicTab = childPanel(window, "BASICTAB");
        EXPECT_EQ(tabTitles(templateTab), c.templateTabs);
        EXPECT_EQ(tabTitles(basicTab), c.basicTabs);
        EXPECT_EQ(tabTitles(childPanel(window, "INTERFACETAB")), c.interfaceTabs);
        EXPECT_EQ(ringLabels(childPanel(window, "viAssertTrigger"), ASSERTTRIGGER_PROTOCOL),
                  Names{c.defaultProtocol});

        // Descriptive names come without the handler sheet: the handler mechanism is not offered,
        // and reads and writes start asynchronous.
        int enable = childPanel(window, "viEnableEvent"),
            disable = childPanel(window, "viDisableEvent");
        EXPECT_EQ(intAttribute(enable, ENABLEEVENT_HANDLER, ATTR_DIMMED), !c.visaNames);
        EXPECT_EQ(intAttribute(disable, DISABLEEVENT_HANDLER, ATTR_DIMMED), !c.visaNames);
        int async = -1;
        GetCtrlVal(r->readPanel, READ_ASYNC, &async);
        EXPECT_EQ(async, !c.visaNames);

        // The preference colours stay on the tabs made while they were in force; the panels end
        // up grey.
        for (int label : tabLabels(window))
            EXPECT_EQ(intAttribute(window, label, ATTR_TEXT_BGCOLOR), c.groupColor);
        for (int label : tabLabels(templateTab))
            EXPECT_EQ(intAttribute(templateTab, label, ATTR_TEXT_BGCOLOR), c.operColor);
        EXPECT_EQ(intAttribute(window, tabLabels(window)[0], ATTR_TEXT_COLOR), c.textColor);
        EXPECT_EQ(intAttribute(templateTab, tabLabels(templateTab)[0], ATTR_TEXT_COLOR),
                  c.textColor);
        for (int panel : {window, templateTab, basicTab}) {
            int color = 0;
            GetPanelAttribute(panel, ATTR_BACKCOLOR, &color);
            EXPECT_EQ(color, 0xC0C0C0);
        }
        DiscardPanel(window);
    }
}

TEST_F(SessionWindow, TemplatesAreBuiltOnlyOnTheirOwnFoundations) {
    // A step needs the session panel and its tab; done or unknown steps do nothing.
    discardTemplatePanels();
    windowBits = 0;
    EXPECT_EQ(makeSessionWindow(9), 0);  // no session panel yet
    EXPECT_EQ(makeSessionWindow(0), 1);
    EXPECT_EQ(makeSessionWindow(0), 0);
    EXPECT_EQ(makeSessionWindow(9), 0);  // its tab is not there
    EXPECT_EQ(makeSessionWindow(2), 1);
    EXPECT_EQ(makeSessionWindow(9), 1);
    EXPECT_EQ(makeSessionWindow(21), 0);
    EXPECT_EQ(makeSessionWindow(-1), 0);
    EXPECT_EQ(windowBits, 0x205u);
    // Opening finishes the rest; the window's record knows its Read and Write panels.
    int window = open("TCPIP0::10.0.0.5::5025::SOCKET");
    ASSERT_GT(window, 0);
    EXPECT_EQ(recordOf(window)->readPanel, childPanel(window, "viRead"));
    EXPECT_EQ(operationsOn(window, "INTERFACETAB"), (Names{"viSetBuf", "viFlush"}));
}

}  // namespace

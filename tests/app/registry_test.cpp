#include "app/registry.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "session/sessionrecord.h"
#include "session/sessionwnd.h"
#include "tests/support/sessionbench.h"
#include "zuvisa/visa.h"

namespace {

std::vector<int> hookCodes;
int recordingHook(int code) {
    hookCodes.push_back(code);
    return code;
}

class Registry : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        hookCodes.clear();
        start();
        InstallWindowHook(recordingHook);
    }
    int timerEnabled() { return intAttribute(tmrpanel, TMRPANEL_TIMER, ATTR_ENABLED); }
    std::vector<int> registry() {
        return std::vector<int>(sessionWindows, sessionWindows + numWindows);
    }
    ViSession sessionOf(int window) {
        void* data = nullptr;
        GetPanelAttribute(window, ATTR_CALLBACK_DATA, &data);
        return static_cast<SessionRecord*>(data)->session;
    }
    std::vector<std::string> messages() {
        std::vector<std::string> out;
        for (const UiTestPopup& p : UiTest_Popups())
            if (p.kind == UITEST_MESSAGE) {
                EXPECT_EQ(p.title, "TALMIK");
                out.push_back(p.text);
            }
        return out;
    }
};

TEST_F(Registry, StartBuildsElevenTemplatesThenOnePerTick) {
    EXPECT_EQ(windowBits, 0x7FFu);
    EXPECT_EQ(timerEnabled(), 1);
    EXPECT_GT(componentRM, static_cast<ViSession>(VI_NULL));
    for (int step = 11; step < kTemplateSteps; ++step) {
        UiTest_FireTimer(tmrpanel, TMRPANEL_TIMER);
        EXPECT_EQ(windowBits, (2u << step) - 1) << step;
        EXPECT_EQ(timerEnabled(), step + 1 < kTemplateSteps) << step;
    }
    EXPECT_EQ(UiTest_FireTimer(tmrpanel, TMRPANEL_TIMER), UIEControlDimmed);  // it stopped itself
    EXPECT_EQ(windowBits, 0x1FFFFFu);
}

// A session that finds the template far from complete says why it waits; one that finds it
// nearly complete does not. Either way the window comes complete and the next template begins.
TEST_F(Registry, WaitPanelOnlyWhileTheTemplateIsFarFromComplete) {
    for (int ticks : {0, 4, 5, 10}) {
        SCOPED_TRACE(ticks);
        discardWaitPanel();
        UpdatePanelPrefs();
        for (int step = 0; step < kTemplateSteps; ++step)
            makeSessionWindow(step < 11 + ticks ? step : 99);
        ASSERT_EQ(windowBits, (2u << (10 + ticks)) - 1);
        int window = open("GPIB0::5::INSTR");
        ASSERT_GT(window, 0);
        EXPECT_EQ(UiTest_FindPanel("LOADWAIT") > 0, ticks < 5);  // bit 15 is step 15
        EXPECT_GT(childPanel(window, "viReadToFile"), 0);
        EXPECT_EQ(windowBits, 0u);
        EXPECT_EQ(timerEnabled(), 1);
        EXPECT_EQ(buildTemplates(), 21);
        EXPECT_EQ(windowBits, 0x1FFFFFu);
    }
}

TEST_F(Registry, ClosingMovesTheLastWindowIntoTheGapAndTellsTheHostOnce) {
    int a = open("GPIB0::5::INSTR");
    int b = open("ASRL1::INSTR");
    int c = open("TCPIP0::10.0.0.5::5025::SOCKET");
    ASSERT_EQ(registry(), (std::vector<int>{a, b, c}));
    EXPECT_EQ(GetNumVisaWindows(), 3);
    ViSession sessionB = sessionOf(b);

    ASSERT_EQ(UiTest_ClosePanel(b), 0);  // the title bar
    EXPECT_EQ(registry(), (std::vector<int>{a, c}));
    ViUInt16 intf = 0;
    EXPECT_EQ(viGetAttribute(sessionB, VI_ATTR_INTF_TYPE, &intf),
              VI_ERROR_INV_OBJECT);  // closed with it

    ASSERT_EQ(UiTest_Commit(c, SESSION_CLOSE), 0);  // the Close button
    EXPECT_EQ(registry(), std::vector<int>{a});
    EXPECT_TRUE(hookCodes.empty());
    ASSERT_EQ(UiTest_ClosePanel(a), 0);
    EXPECT_EQ(numWindows, 0);
    EXPECT_EQ(hookCodes, std::vector<int>{HOOK_LAST_WINDOW_CLOSED});

    // Close All, twice: the hook hears of the last window once each time windows were open.
    open("GPIB0::5::INSTR");
    open("GPIB0::INTFC");
    CloseAllWindows();
    CloseAllWindows();
    EXPECT_EQ(numWindows, 0);
    EXPECT_EQ(sessionWindows, nullptr);
    EXPECT_EQ(hookCodes, (std::vector<int>{HOOK_LAST_WINDOW_CLOSED, HOOK_LAST_WINDOW_CLOSED}));
    EXPECT_EQ(UiTest_FindPanel("SESSION"), UIEInvalidPanel);  // no window left, and no template yet
}

TEST_F(Registry, AFailedOpenSaysWhyAndOpensNothing) {
    const struct {
        const char* name;
        ViStatus status;
        const char* statusName;
    } cases[] = {
        {"GPIB0::29::INSTR", VI_ERROR_RSRC_NFOUND, "VI_ERROR_RSRC_NFOUND"},
        {"no such thing", VI_ERROR_INV_RSRC_NAME, "VI_ERROR_INV_RSRC_NAME"},
        {"", VI_ERROR_INV_RSRC_NAME, "VI_ERROR_INV_RSRC_NAME"},
    };
    for (const auto& c : cases) {
        UiTest_ClearPopups();
        EXPECT_EQ(OpenVisaSession(c.name), 0) << c.name;
        char description[256] = "";
        viStatusDesc(componentRM, c.status, description);
        char expected[1024];
        std::snprintf(
            expected, sizeof expected,
            "Unable to open session to \"%s\"\n\nReturn value: 0x%08lX\nStatus name: %s\n\n%s",
            c.name, static_cast<unsigned long>(static_cast<ViUInt32>(c.status)), c.statusName,
            description);
        EXPECT_EQ(messages(), std::vector<std::string>{expected});
        EXPECT_EQ(didOpen, 0);
        EXPECT_EQ(numWindows, 0);
    }
    EXPECT_EQ(OpenVisaSession("GPIB0::5::INSTR"), 1);
    EXPECT_EQ(didOpen, 1);
}

TEST_F(Registry, OpenWithAnAccessModeOfItsOwn) {
    ASSERT_EQ(OpenVisaSessionEx("GPIB0::5::INSTR", VI_EXCLUSIVE_LOCK), 1);
    ViAccessMode lock = VI_NO_LOCK;
    viGetAttribute(sessionOf(sessionWindows[0]), VI_ATTR_RSRC_LOCK_STATE, &lock);
    EXPECT_EQ(lock, static_cast<ViAccessMode>(VI_EXCLUSIVE_LOCK));
    // A second window on the locked resource: its own session still opens.
    EXPECT_EQ(OpenVisaSession("GPIB0::5::INSTR"), 1);
    EXPECT_EQ(OpenVisaSessionEx("GPIB0::5::INSTR", 0x7F), 0);
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_NE(messages()[0].find("VI_ERROR_INV_ACC_MODE"), std::string::npos);
}

// The library keeps a timeout for the resource that only sessions opened with VI_LOAD_CONFIG
// start with.
TEST_F(Registry, TheLoadConfigPreferenceAppliesToPlainOpensOnly) {
    writeFile(dir.file("zuvisa.ini"), readFile(dir.file("zuvisa.ini")) + "[GPIB0::5::INSTR]\nVI_ATTR_TMO_VALUE = 777\n");
    VisaLib_Unload();
    CloseAllExtResources();
    start("loadConfig = 1\n");
    const struct {
        bool ex;
        ViUInt32 timeout;
    } cases[] = {{false, 777}, {true, 2000}};
    for (const auto& c : cases) {
        ASSERT_EQ(c.ex ? OpenVisaSessionEx("GPIB0::5::INSTR", VI_NULL) : OpenVisaSession("GPIB0::5::INSTR"), 1);
        ViUInt32 timeout = 0;
        viGetAttribute(sessionOf(sessionWindows[numWindows - 1]), VI_ATTR_TMO_VALUE, &timeout);
        EXPECT_EQ(timeout, c.timeout) << c.ex;
    }
}

TEST_F(Registry, PreferencesChangeRebuildsTheTemplatesOnly) {
    int window = open("GPIB0::5::INSTR");
    buildTemplates();
    writeFile(dir.file("talmik.ini"),
              "[Preferences]\nuseVisaId = 0\nshowSession = 0\nloadConfig = 1\n");
    UpdatePanelPrefs();
    EXPECT_EQ(useVISAnames, 0);
    EXPECT_EQ(showSession, 0);
    EXPECT_EQ(loadConfig, 1);
    EXPECT_EQ(windowBits, 0u);
    EXPECT_EQ(timerEnabled(), 1);
    EXPECT_GT(childPanel(window, "viEventHandler"), 0);  // the open window keeps its panels

    // A key that is missing or not a number takes its default; 0 stays 0.
    writeFile(dir.file("talmik.ini"), "[Preferences]\ngroupColor = blue\nuseVisaId = 0\n");
    UpdatePanelPrefs();
    EXPECT_EQ(groupColor, 0x99FFFF);
    EXPECT_EQ(useVISAnames, 0);
    EXPECT_EQ(showSession, 1);
}

TEST_F(Registry, ShutdownLeavesNothingBehind) {
    int window = open("GPIB0::5::INSTR");
    ViSession vi = sessionOf(window);
    ViSession rm = componentRM;
    CloseAllExtResources();
    EXPECT_EQ(numWindows, 0);
    EXPECT_EQ(tmrpanel, 0);
    EXPECT_EQ(componentRM, static_cast<ViSession>(VI_NULL));
    EXPECT_EQ(initThreadID, 0);
    EXPECT_EQ(windowBits, 0u);
    EXPECT_TRUE(UiTest_Panels().empty());
    ViUInt16 intf = 0;
    EXPECT_EQ(viGetAttribute(vi, VI_ATTR_INTF_TYPE, &intf), VI_ERROR_INV_OBJECT);
    EXPECT_EQ(viGetAttribute(rm, VI_ATTR_INTF_TYPE, &intf), VI_ERROR_INV_OBJECT);
}

}  // namespace

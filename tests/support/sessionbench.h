// Session windows on a small simulated bench: a program directory with the session-window
// panels and a settings file, ZU-VISA with the bench of sessionbench.yaml, and the session-window
// component started in it. Needs TALMIK_BIN_DIR and TALMIK_SESSION_BENCH in the environment.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "app/prefs.h"
#include "app/registry.h"
#include "tests/support/tempdir.h"
#include "uiruntime/testing/uitest.h"
#include "visaio_uir.h"
#include "visalib/visalib.h"

inline std::string binFile(const char* name) {
    return std::string(std::getenv("TALMIK_BIN_DIR")) + "/" + name;
}

class SessionBench : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        std::filesystem::copy_file(binFile("visaio.uir"), dir.file("visaio.uir"));
        UiTest_SetProjectDir(dir.path().c_str());
        _ResetDirCache_();
        setenv("TALMIK_VISA_LIBRARY", binFile("libzuvisa.so").c_str(), 1);
        writeFile(dir.file("zuvisa.ini"),
                  std::string("[Bridgelets]\nsim = True\n[Simulation]\nBench = \"") +
                      std::getenv("TALMIK_SESSION_BENCH") + "\"\n");
        setenv("ZUVISA_CONFIG", dir.file("zuvisa.ini").c_str(), 1);
    }
    void TearDown() override {
        CloseAllExtResources();
        UiTest_RunDeferredCalls();
        for (const std::string& f : UiTest_Failures()) ADD_FAILURE() << f;
        UiTest_Reset();
        VisaLib_Unload();
        pMainWndCB = nullptr;
        windowBits = 0;
        unsetenv("ZUVISA_CONFIG");
        unsetenv("TALMIK_VISA_LIBRARY");
    }

    // Starts the component with these lines in the "Preferences" section of the settings file.
    void start(const std::string& preferences = "") {
        writeFile(dir.file("talmik.ini"), "[Preferences]\n" + preferences);
        ASSERT_EQ(LoadInitialPanels(0), 1);
    }
    // Ticks the template timer until it stops itself; returns the number of ticks.
    int buildTemplates() {
        int ticks = 0;
        for (int enabled = 1; enabled && ticks < 100; ++ticks) {
            UiTest_FireTimer(tmrpanel, TMRPANEL_TIMER);
            GetCtrlAttribute(tmrpanel, TMRPANEL_TIMER, ATTR_ENABLED, &enabled);
        }
        return ticks;
    }
    // Opens a session window; its panel, or 0.
    int open(const char* rsrcName) {
        int before = numWindows;
        if (!OpenVisaSession(rsrcName) || numWindows != before + 1) return 0;
        return sessionWindows[numWindows - 1];
    }

    // A child panel of a session window by constant name ("BASICTAB", "viRead", ...), searched
    // through the tab panels; 0 when there is none.
    static int childPanel(int panel, const char* name) {
        int child = 0;
        for (GetPanelAttribute(panel, ATTR_PANEL_FIRST_CHILD, &child); child > 0;
             GetPanelAttribute(child, ATTR_NEXT_PANEL, &child)) {
            char constant[64] = "";
            GetPanelAttribute(child, ATTR_CONSTANT_NAME, constant, sizeof constant);
            if (name == std::string(constant)) return child;
            if (int found = childPanel(child, name)) return found;
        }
        return 0;
    }
    // The label controls of the tabs on a panel, and their titles, in order.
    static std::vector<int> tabLabels(int panel);
    static std::vector<std::string> tabTitles(int panel);
    // The constant names of a panel's child panels.
    static std::vector<std::string> childNames(int panel) {
        std::vector<std::string> names;
        int child = 0;
        for (GetPanelAttribute(panel, ATTR_PANEL_FIRST_CHILD, &child); child > 0;
             GetPanelAttribute(child, ATTR_NEXT_PANEL, &child)) {
            char constant[64] = "";
            GetPanelAttribute(child, ATTR_CONSTANT_NAME, constant, sizeof constant);
            names.push_back(constant);
        }
        return names;
    }
    static std::string title(int panel) {
        char text[320] = "";
        GetPanelAttribute(panel, ATTR_TITLE, text, sizeof text);
        return text;
    }
    static int intAttribute(int panel, int control, int attribute) {
        int value = 0;
        GetCtrlAttribute(panel, control, attribute, &value);
        return value;
    }

    static ViUInt32 number(int panel, int control) {
        ViUInt32 value = 0;
        GetCtrlVal(panel, control, &value);
        return value;
    }
    // The status a panel shows: its value, its name, and whether both are red.
    struct Shown {
        ViUInt32 status;
        std::string name;
        bool red;
    };
    static Shown shown(int panel, int statusCtrl, int nameCtrl) {
        int color = intAttribute(panel, statusCtrl, ATTR_TEXT_COLOR);
        EXPECT_EQ(intAttribute(panel, nameCtrl, ATTR_TEXT_COLOR), color);
        return {number(panel, statusCtrl), UiTest_DisplayedText(panel, nameCtrl),
                color == 0xFF0000};
    }
    // Runs deferred calls until one arrives (the library's handler thread posts them).
    bool awaitCompletion() {
        for (int k = 0; k < 500; ++k) {
            if (UiTest_RunDeferredCalls() > 0) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
    // Abort in place of Execute (the panel itself may lie on a tab not shown).
    bool busy(int panel, int execute, int abort) {
        return intAttribute(panel, abort, ATTR_VISIBLE) == 1 &&
               intAttribute(panel, execute, ATTR_VISIBLE) == 0;
    }

    TempDir dir;
};

#include "controls/sheets.h"

inline std::vector<int> SessionBench::tabLabels(int panel) {
    // Each tab is a text message with the sheet group's tab callback, made in sheet order.
    std::vector<int> labels;
    int control = 0;
    for (GetPanelAttribute(panel, ATTR_PANEL_FIRST_CTRL, &control); control > 0;
         GetCtrlAttribute(panel, control, ATTR_NEXT_CTRL, &control)) {
        CtrlCallbackPtr callback = nullptr;
        GetCtrlAttribute(panel, control, ATTR_CALLBACK_FUNCTION_POINTER, &callback);
        if (callback == SheetTabCallback &&
            intAttribute(panel, control, ATTR_CTRL_STYLE) == CTRL_TEXT_MSG)
            labels.push_back(control);
    }
    return labels;
}

inline std::vector<std::string> SessionBench::tabTitles(int panel) {
    std::vector<std::string> titles;
    for (int label : tabLabels(panel)) {
        char text[128] = "";
        GetCtrlVal(panel, label, text, sizeof text);
        titles.push_back(text);
    }
    return titles;
}

// The help menus, the tooltip panel and the viewer calls, driven as a user drives them.
#include "controls/help.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/tempdir.h"
#include "uiruntime/testing/uitest.h"
#include "uiruntime/uiruntime.h"

namespace {

int ignoreControl(int, int, int, void*, int, int) {
    return 0;
}
int ignorePanel(int, int, void*, int, int) {
    return 0;
}

// What the tooltip looked like while it waited.
struct Tooltip {
    int shown = 0;
    int top = -1, left = -1, height = 0, width = 0;
    int color = 0, look = 0;
    std::string text;
};
Tooltip seen;
int tooltipParent = 0;

// Reads the tooltip (the parent's child panel) and ends it with a counted click.
void captureTooltipThenClick(void*) {
    int tip = 0;
    GetPanelAttribute(tooltipParent, ATTR_PANEL_FIRST_CHILD, &tip);
    if (tip > 0) {
        ++seen.shown;
        GetPanelAttribute(tip, ATTR_TOP, &seen.top);
        GetPanelAttribute(tip, ATTR_LEFT, &seen.left);
        GetPanelAttribute(tip, ATTR_HEIGHT, &seen.height);
        GetPanelAttribute(tip, ATTR_WIDTH, &seen.width);
        GetPanelAttribute(tip, ATTR_BACKCOLOR, &seen.color);
        GetPanelAttribute(tip, ATTR_PANEL_LOOK, &seen.look);
        int message = 0;
        GetPanelAttribute(tip, ATTR_PANEL_FIRST_CTRL, &message);
        char text[1024] = "";
        GetCtrlVal(tip, message, text, sizeof text);
        seen.text = text;
    }
    Help_GotClick();
}

// Ends a tooltip that is still open well after the scripted mouse readings ran out.
size_t scriptedReadings = 0;
bool stepsRanOut = false;

void clickWhenTheScriptRanOut(void*) {
    if (static_cast<size_t>(UiTest_MouseReadings()) > scriptedReadings + 3) {
        stepsRanOut = true;
        Help_GotClick();
    } else {
        PostDeferredCall(clickWhenTheScriptRanOut, nullptr);
    }
}

// What the host heard.
int viewerOpenedCount = 0;
std::vector<std::string> viewerFailures;
std::vector<int> hookCodes;
void* interpretedData = nullptr;

const char* fakeAttributeName(unsigned int id) {
    return id == 0x3FFF001A ? "VI_ATTR_TMO_VALUE" : nullptr;
}
const char* fakeEventName(unsigned int id) {
    return id == 0x3FFF200B ? "VI_EVENT_SERVICE_REQ" : nullptr;
}
void fakeInterpret(void* data, int status, char* text, size_t size) {
    interpretedData = data;
    std::snprintf(text, size, "Status 0x%08X\nexplained", static_cast<unsigned int>(status));
}

class Help : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        RegisterCallback({"ExamplePanel", ignorePanel});
        RegisterCallback({"ExampleControl", ignoreControl});
        panel = LoadPanelByName(0, std::getenv("EXAMPLE_UIR"), "CHILD");
        ASSERT_GT(panel, 0) << LoadPanelErrorDetail();
        DisplayPanel(panel);
        tooltipParent = panel;
        seen = Tooltip{};
        writeFile(dir.file("texts.hlp"), helpImage());
        ASSERT_EQ(Help_Initialize(dir.file("texts.hlp").c_str()), 0);

        // The stand-in viewer writes its arguments, then every command line it reads, to a log.
        writeFile(dir.file("viewer"),
                  "#!/bin/sh\necho \"ARGS $*\" > \"$VIEWER_LOG\"\nexec cat >> \"$VIEWER_LOG\"\n");
        ::chmod(dir.file("viewer").c_str(), 0755);
        writeFile(dir.file("ZU-visa.hlp"), "collection");
        ::setenv("TALMIK_HELP_VIEWER", dir.file("viewer").c_str(), 1);
        ::setenv("VIEWER_LOG", dir.file("log").c_str(), 1);
        helpFile = dir.file("ZU-visa.hlp");
        HelpHost host;
        host.appName = "TALMIK";
        host.systemHelpFile = helpFile.c_str();
        host.attributeName = fakeAttributeName;
        host.eventName = fakeEventName;
        host.interpretStatus = fakeInterpret;
        host.viewerOpened = [] { ++viewerOpenedCount; };
        host.viewerFailed = [](const char* keyword) { viewerFailures.push_back(keyword); };
        Help_SetHost(&host);
        Help_SetWindowHook([](int code) {
            hookCodes.push_back(code);
            return code;
        });
        viewerOpenedCount = 0;
        viewerFailures.clear();
        hookCodes.clear();
    }
    void TearDown() override {
        SystemHelp(nullptr, HELP_QUIT, 0, "");
        ::unsetenv("TALMIK_HELP_VIEWER");
        Help_SetHost(nullptr);
        Help_SetWindowHook(nullptr);
        while (Help_IsOpen()) Help_Close();
        EXPECT_TRUE(UiTest_Failures().empty()) << UiTest_Failures().front();
        UiTest_Reset();
    }

    static std::string helpImage() {
        auto le32 = [](uint32_t v) {
            std::string s;
            for (int i = 0; i < 4; ++i) s.push_back(static_cast<char>(v >> (8 * i)));
            return s;
        };
        const std::pair<std::string, std::string> texts[] = {
            {"CHILD", "The child panel."}, {"CHILD_LEVEL", "The level."}, {"SHARED", "Lent text."}};
        std::string tags;
        for (const auto& t : texts) tags += static_cast<char>(t.first.size()) + t.first;
        tags += '\0';
        std::string out = "SI95" + le32(3) + le32(static_cast<uint32_t>(tags.size())) + le32(5) +
                          std::string(48, '\0') + tags;
        uint32_t offset = static_cast<uint32_t>(out.size() + 24);
        for (const auto& t : texts)
            out += le32(offset), offset += static_cast<uint32_t>(t.second.size());
        for (const auto& t : texts) out += le32(static_cast<uint32_t>(t.second.size()));
        for (const auto& t : texts) out += t.second;
        return out;
    }
    // The items of the last popup menu, or nothing when none was shown.
    std::vector<std::string> lastMenu() {
        for (auto p = UiTest_Popups().rbegin(); p != UiTest_Popups().rend(); ++p)
            if (p->kind == UITEST_POPUP_MENU) return p->items;
        return {};
    }
    int menusShown() {
        int n = 0;
        for (const UiTestPopup& p : UiTest_Popups()) n += p.kind == UITEST_POPUP_MENU;
        return n;
    }
    // The log once text appears in it at or after offset from.
    std::string waitForLog(const std::string& text, size_t from = 0) {
        for (int k = 0; k < 300; ++k) {
            std::string log = readFile(dir.file("log"));
            if (log.find(text, from) != std::string::npos) return log;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return readFile(dir.file("log"));
    }
    int newRing(unsigned int value) {
        int ring = NewCtrl(panel, CTRL_RING, "Ring", 80, 10);
        SetCtrlAttribute(panel, ring, ATTR_DATA_TYPE, VAL_UNSIGNED_INTEGER);
        InsertListItem(panel, ring, -1, "item", value);
        return ring;
    }

    TempDir dir;
    std::string helpFile;
    int panel = 0;
};

TEST_F(Help, TagsComeFromTheConstantNames) {
    EXPECT_STREQ(Help_MessageFromUI(panel, 0), "The child panel.");
    EXPECT_STREQ(Help_MessageFromUI(panel, UiTest_FindControl(panel, "LEVEL")), "The level.");
    int reset = UiTest_FindControl(panel, "RESET");
    EXPECT_EQ(Help_MessageFromUI(panel, reset), nullptr);
    EXPECT_EQ(Help_RegisterTagForUI(panel, reset, "SHARED"), 0);
    EXPECT_STREQ(Help_MessageFromUI(panel, reset), "Lent text.");
    EXPECT_EQ(Help_RegisterTagForUI(panel, reset, "NO_SUCH_TAG"), -1);
    EXPECT_EQ(Help_RegisterTagForUI(panel, 999, "SHARED"), -1);
    Help_Close();
    EXPECT_EQ(Help_MessageFromUI(panel, 0), nullptr);  // no file, no text
}

TEST_F(Help, TooltipStaysInsideItsPanel) {
    int panelHeight = 0, panelWidth = 0, textHeight = 0, textWidth = 0;
    GetPanelAttribute(panel, ATTR_HEIGHT, &panelHeight);
    GetPanelAttribute(panel, ATTR_WIDTH, &panelWidth);
    const char* text = "A short help text\non two lines.";
    ASSERT_EQ(GetTextDisplaySize(text, VAL_DIALOG_META_FONT, &textHeight, &textWidth), 0);
    const int h = textHeight + 10, w = textWidth + 20;
    ASSERT_LT(w + 10, panelWidth);
    const struct {
        const char* name;
        int x, y;
        int left, top;
    } cases[] = {
        {"in the open", 3, 4, 3, 4},
        {"one pixel short of the right edge", panelWidth - w - 1, 4, panelWidth - w - 1, 4},
        {"reaching the right edge", panelWidth - w, 4, panelWidth - w - 5, 4},
        {"past the right edge", panelWidth - 2, 4, panelWidth - w - 5, 4},
        {"reaching the bottom edge", 3, panelHeight - h, 3, panelHeight - h - 5},
        {"in the bottom right corner", panelWidth - 1, panelHeight - 1, panelWidth - w - 5,
         panelHeight - h - 5},
    };
    for (const auto& c : cases) {
        seen = Tooltip{};
        PostDeferredCall(captureTooltipThenClick, nullptr);
        ASSERT_EQ(Help_DisplayMessage(panel, text, c.x, c.y), 0) << c.name;
        EXPECT_EQ(seen.shown, 1) << c.name;
        EXPECT_EQ(seen.left, c.left) << c.name;
        EXPECT_EQ(seen.top, c.top) << c.name;
        EXPECT_EQ(seen.height, h) << c.name;
        EXPECT_EQ(seen.width, w) << c.name;
        EXPECT_EQ(seen.color, 0xFFFFDC) << c.name;
        EXPECT_EQ(seen.look, VAL_PANEL_LOOK_TOOLTIP) << c.name;
        EXPECT_EQ(seen.text, text) << c.name;
        int child = -1;
        GetPanelAttribute(panel, ATTR_PANEL_FIRST_CHILD, &child);
        EXPECT_EQ(child, 0) << c.name << ": the tooltip is discarded";
    }
    // Wider than its panel: it starts at the panel's left edge.
    seen = Tooltip{};
    PostDeferredCall(captureTooltipThenClick, nullptr);
    Help_DisplayMessage(panel, std::string(300, 'W').c_str(), 50, 4);
    EXPECT_EQ(seen.left, 0);
}

TEST_F(Help, TooltipClosesAtTheNextClickButNotAtTheOpeningRelease) {
    const std::pair<int, int> none{0, 0}, left{1, 0}, right{0, 1};
    const struct {
        const char* name;
        std::vector<std::pair<int, int>> steps;  // (left, right) at each poll
        size_t closesAt;                         // the step that closes it; 0: none does
    } cases[] = {
        {"opening button held, then a left click",
         {right, right, right, none, none, left, none},
         6},
        {"opening button held, then a right click", {right, none, right, none}, 3},
        {"opened from the keyboard, a left click", {none, left, none}, 2},
        {"only the opening release", {right, right, none, none, none, none}, 0},
        {"a left button held down", {left, left, left}, 0},
    };
    for (const auto& c : cases) {
        scriptedReadings = c.steps.size();
        stepsRanOut = false;
        UiTest_SetMouseButtons(c.steps);
        PostDeferredCall(clickWhenTheScriptRanOut, nullptr);
        ASSERT_EQ(Help_DisplayMessage(panel, "text", 10, 10), 0) << c.name;
        if (c.closesAt) {
            EXPECT_FALSE(stepsRanOut) << c.name;
            EXPECT_EQ(UiTest_MouseReadings(), static_cast<int>(c.closesAt) + 1) << c.name;
        } else {
            EXPECT_TRUE(stepsRanOut) << c.name << " closed at reading " << UiTest_MouseReadings();
        }
        UiTest_RunDeferredCalls();
    }
    UiTest_SetMouse(0, 0, 0, 0, 0, 0);
}

TEST_F(Help, ApplicationMenuItems) {
    const struct {
        int whatsThis;
        const char* operation;
        std::vector<std::string> items;
    } cases[] = {
        {1, "viRead", {"__What's This?", "__Operation Help"}},
        {1, "", {"__What's This?"}},
        {0, "viRead", {"__Operation Help"}},
        {0, nullptr, {}},  // shown even with no item
    };
    for (const auto& c : cases) {
        UiTest_ClearPopups();
        UiTest_AnswerPopupMenu("");
        EXPECT_EQ(ContextSensitiveHelp(panel, 0, c.whatsThis, 0, 0, 0, c.operation, nullptr, 5, 5),
                  1);
        ASSERT_EQ(menusShown(), 1);
        EXPECT_EQ(lastMenu(), c.items);
        EXPECT_EQ(UiTest_Popups().back().title, "TALMIK");
    }
    // A reserved flag swallows the click without a menu.
    for (int flag = 0; flag < 3; ++flag) {
        UiTest_ClearPopups();
        EXPECT_EQ(ContextSensitiveHelp(panel, 0, 1, flag == 0, flag == 1, flag == 2, "viRead",
                                       nullptr, 5, 5),
                  1);
        EXPECT_EQ(menusShown(), 0);
    }
}

TEST_F(Help, SessionWindowMenuItemsPerCaller) {
    const struct {
        const char* caller;
        int attribute, event, interpret, operation;
        std::vector<std::string> items;
    } cases[] = {
        {"status display", 0, 0, 1, 1, {"__What's This?", "__Interpret Code", "__Operation Help"}},
        {"attribute ring", 1, 0, 0, 1, {"__What's This?", "__Attribute Help", "__Operation Help"}},
        {"event ring", 0, 1, 0, 1, {"__What's This?", "__Event Help", "__Operation Help"}},
        {"every choice",
         1,
         1,
         1,
         1,
         {"__What's This?", "__Attribute Help", "__Event Help", "__Interpret Code",
          "__Operation Help"}},
    };
    for (const auto& c : cases)
        for (int whatsThis : {1, 0}) {
            UiTest_ClearPopups();
            UiTest_AnswerPopupMenu("");
            EXPECT_EQ(ContextSensitiveHelpExt(panel, 0, whatsThis, c.attribute, c.event,
                                              c.interpret, c.operation, nullptr, 5, 5),
                      1);
            std::vector<std::string> expected = c.items;
            if (!whatsThis) expected.erase(expected.begin());
            EXPECT_EQ(lastMenu(), expected) << c.caller;
        }
}

TEST_F(Help, WhatsThisShowsTheTextOfTheControlUnderTheMouse) {
    int level = UiTest_FindControl(panel, "LEVEL");
    UiTest_AnswerPopupMenu("__What's This?");
    PostDeferredCall(captureTooltipThenClick, nullptr);
    ContextSensitiveHelp(panel, level, 1, 0, 0, 0, "", nullptr, 20, 30);
    EXPECT_EQ(seen.text, "The level.");
    EXPECT_EQ(seen.left, 20);
    EXPECT_EQ(seen.top, 30);

    seen = Tooltip{};
    UiTest_AnswerPopupMenu("__What's This?");
    PostDeferredCall(captureTooltipThenClick, nullptr);
    EXPECT_EQ(Help_DisplayPopup(panel, "Any text.", 7, 8), 1);
    EXPECT_EQ(seen.text, "Any text.");
    EXPECT_EQ(lastMenu(), std::vector<std::string>{"__What's This?"});
    UiTest_AnswerPopupMenu("");
    EXPECT_EQ(Help_DisplayPopup(panel, "Any text.", 7, 8), 0);
    UiTest_RunDeferredCalls();
}

TEST_F(Help, KeywordsReachTheViewer) {
    SetPanelAttribute(panel, ATTR_TITLE, "viRead");
    int attributeRing = newRing(0x3FFF001A);
    int eventRing = newRing(0x3FFF200B);
    const struct {
        const char* name;
        std::function<void()> act;
        const char* line;  // what the viewer is told
        int opened, hook;
    } cases[] = {
        {"application menu, operation help",
         [&] {
             UiTest_AnswerPopupMenu("__Operation Help");
             ContextSensitiveHelp(panel, 0, 0, 0, 0, 0, "viRead", nullptr, 5, 5);
         },
         "show index;activateKeyword viRead;activateIdentifier viRead\n", 1, 0},
        {"session window, attribute help",
         [&] {
             UiTest_AnswerPopupMenu("__Attribute Help");
             ContextSensitiveHelpExt(panel, attributeRing, 0, 1, 0, 0, 1, nullptr, 5, 5);
         },
         "activateIdentifier VI_ATTR_TMO_VALUE\n", 0, 1},
        {"session window, event help",
         [&] {
             UiTest_AnswerPopupMenu("__Event Help");
             ContextSensitiveHelpExt(panel, eventRing, 0, 0, 1, 0, 1, nullptr, 5, 5);
         },
         "activateIdentifier VI_EVENT_SERVICE_REQ\n", 0, 1},
        {"session window, operation help",
         [&] {
             UiTest_AnswerPopupMenu("__Operation Help");
             ContextSensitiveHelpExt(panel, eventRing, 0, 0, 1, 0, 1, nullptr, 5, 5);
         },
         "activateIdentifier viRead\n", 0, 1},
        {"topics", [] { DoTopics(0, 0, nullptr, 0); }, "show index\n", 1, 0},
    };
    for (const auto& c : cases) {
        viewerOpenedCount = 0;
        hookCodes.clear();
        size_t before = readFile(dir.file("log")).size();
        c.act();
        std::string log = waitForLog(c.line, before);
        EXPECT_NE(log.find(c.line, before), std::string::npos) << c.name << "\n" << log;
        EXPECT_EQ(viewerOpenedCount, c.opened) << c.name;
        EXPECT_EQ(hookCodes, c.hook ? std::vector<int>{1002} : std::vector<int>{}) << c.name;
    }
    EXPECT_NE(readFile(dir.file("log")).find("ARGS -collectionFile " + helpFile),
              std::string::npos);
    EXPECT_TRUE(viewerFailures.empty());

    // A title in descriptive words gives way to the panel's constant name.
    SetPanelAttribute(panel, ATTR_TITLE, "  Read  ");
    UiTest_AnswerPopupMenu("__Operation Help");
    ContextSensitiveHelpExt(panel, 0, 0, 0, 0, 1, 1, nullptr, 5, 5);
    EXPECT_NE(waitForLog("activateIdentifier CHILD\n").find("activateIdentifier CHILD\n"),
              std::string::npos);
}

TEST_F(Help, NoCatalogueEntryNoViewerAndAFailedViewerIsReported) {
    int unknownRing = newRing(0x12345678);
    UiTest_AnswerPopupMenu("__Attribute Help");
    ContextSensitiveHelpExt(panel, unknownRing, 0, 1, 0, 0, 1, nullptr, 5, 5);
    UiTest_AnswerPopupMenu("__Event Help");
    ContextSensitiveHelpExt(panel, unknownRing, 0, 0, 1, 0, 1, nullptr, 5, 5);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(std::ifstream(dir.file("log")).good()) << "no viewer for an unknown id";
    EXPECT_TRUE(hookCodes.empty());

    ::setenv("TALMIK_HELP_VIEWER", dir.file("no-such-viewer").c_str(), 1);
    UiTest_AnswerPopupMenu("__Operation Help");
    ContextSensitiveHelp(panel, 0, 0, 0, 0, 0, "viWrite", nullptr, 5, 5);
    UiTest_AnswerPopupMenu("__Operation Help");
    SetPanelAttribute(panel, ATTR_TITLE, "viWrite");
    ContextSensitiveHelpExt(panel, 0, 0, 0, 0, 0, 1, nullptr, 5, 5);
    DoTopics(0, 0, nullptr, 0);
    EXPECT_EQ(viewerFailures, (std::vector<std::string>{"viWrite", "viWrite", ""}));
    EXPECT_EQ(viewerOpenedCount, 0);
    EXPECT_TRUE(hookCodes.empty());
}

TEST_F(Help, InterpretCodeShowsTheHostsTextForTheControlsStatus) {
    int status = NewCtrl(panel, CTRL_NUMERIC, "Status", 80, 10);
    SetCtrlAttribute(panel, status, ATTR_DATA_TYPE, VAL_INTEGER);
    SetCtrlVal(panel, status, static_cast<int>(0xBFFF0015));
    int record = 42;
    UiTest_AnswerPopupMenu("__Interpret Code");
    PostDeferredCall(captureTooltipThenClick, nullptr);
    ContextSensitiveHelpExt(panel, status, 1, 0, 0, 1, 1, &record, 15, 16);
    EXPECT_EQ(seen.text, "Status 0xBFFF0015\nexplained");
    EXPECT_EQ(interpretedData, &record);
    EXPECT_EQ(seen.left, 15);
}

}  // namespace

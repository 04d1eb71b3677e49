// The event loop, drawing without input, the wait cursor, the sleep policy and the mouse.
#include <gtest/gtest.h>

#include "support.h"

namespace {

class EventLoop : public RuntimeTest {};

int QuitOnCommit(int, int, int event, void* data, int, int) {
    if (event == EVENT_COMMIT) QuitUserInterface(*static_cast<int*>(data));
    return 0;
}

TEST_F(EventLoop, RunsUntilACallbackQuitsAndReturnsItsCode) {
    int p = load(EXAMPLE);
    int code = 7;
    InstallCtrlCallback(p, EXAMPLE_QUIT, QuitOnCommit, &code);
    UiTest_OnLoop([p] { UiTest_Commit(p, EXAMPLE_APPLY); });
    UiTest_OnLoop([p] { UiTest_Commit(p, EXAMPLE_QUIT); });
    EXPECT_EQ(RunUserInterface(), 7);
    EXPECT_EQ(eventsOf(p, EXAMPLE_APPLY), std::vector<int>{EVENT_COMMIT});
}

TEST_F(EventLoop, LoopsNestAndAQuitEndsTheInnermost) {
    int inner = -1;
    UiTest_OnLoop([&inner] { inner = RunUserInterface(); });
    UiTest_OnLoop([] { QuitUserInterface(2); });  // taken by the inner loop
    UiTest_OnLoop([] { QuitUserInterface(1); });
    EXPECT_EQ(RunUserInterface(), 1);
    EXPECT_EQ(inner, 2);
}

TEST_F(EventLoop, ALoopNobodyEndsFailsInsteadOfHanging) {
    UiTest_SetLoopTimeout(50);
    EXPECT_EQ(RunUserInterface(), -1);
    ASSERT_EQ(UiTest_Failures().size(), 1u);
    UiTest_Reset();
}

int g_ran = 0;
void CountCall(void*) { ++g_ran; }

// Drawing does not run deferred calls or timers; handling system events does.
TEST_F(EventLoop, DrawingTakesNoInputTimersOrDeferredCalls) {
    g_ran = 0;
    ASSERT_EQ(PostDeferredCall(CountCall, nullptr), 0);
    ProcessDrawEvents();
    EXPECT_EQ(g_ran, 0);
    ProcessSystemEvents();
    EXPECT_EQ(g_ran, 1);
}

TEST_F(EventLoop, WaitCursorSleepPolicyAndTitleAreKept) {
    EXPECT_EQ(GetWaitCursorState(), 0);
    SetWaitCursor(1);
    SetWaitCursor(1);
    EXPECT_EQ(GetWaitCursorState(), 1);
    SetWaitCursor(0);
    EXPECT_EQ(GetWaitCursorState(), 0);
    EXPECT_EQ(SetSleepPolicy(VAL_SLEEP_MORE), 0);
    EXPECT_EQ(GetSleepPolicy(), VAL_SLEEP_MORE);
    EXPECT_EQ(SetSleepPolicy(0), UIEInvalidAttributeValue);
    EXPECT_EQ(SetSystemAttribute(ATTR_TASKBAR_BUTTON_TEXT, "Talmik Utility"), 0);
    char title[32];
    GetSystemAttribute(ATTR_TASKBAR_BUTTON_TEXT, title);
    EXPECT_STREQ(title, "Talmik Utility");
    EXPECT_EQ(SetStdioPort(HOST_SYSTEM_STDIO), 0);
    EXPECT_EQ(SetStdioPort(0), UIEInvalidAttributeValue);
}

TEST_F(EventLoop, TheMouseStateIsWhatTheScriptSays) {
    int p = load(EXAMPLE);
    UiTest_SetMouse(p, 120, 40, 0, 1, VAL_SHIFT_MODIFIER);
    int panel = 0, x = 0, y = 0, left = -1, right = -1, keys = 0;
    ASSERT_EQ(GetGlobalMouseState(&panel, &x, &y, &left, &right, &keys), 0);
    EXPECT_EQ(panel, p);
    EXPECT_EQ(x, 120);
    EXPECT_EQ(y, 40);
    EXPECT_EQ(left, 0);
    EXPECT_EQ(right, 1);
    EXPECT_EQ(keys, VAL_SHIFT_MODIFIER);
    int top = 0, leftPos = 0;
    GetCtrlAttribute(p, EXAMPLE_CANVAS, ATTR_TOP, &top);
    GetCtrlAttribute(p, EXAMPLE_CANVAS, ATTR_LEFT, &leftPos);
    UiTest_SetMouse(p, leftPos + 3, top + 4, 1, 0, 0);
    GetRelativeMouseState(p, EXAMPLE_CANVAS, &x, &y, &left, &right, &keys);
    EXPECT_EQ(x, 3);
    EXPECT_EQ(y, 4);
    EXPECT_EQ(left, 1);
}

TEST_F(EventLoop, ButtonSequencesAreReadOneStateAtATime) {
    int p = load(EXAMPLE);
    UiTest_SetMouse(p, 7, 8, 0, 0, 0);
    UiTest_SetMouseButtons({{0, 1}, {1, 0}});
    const int expected[][2] = {{0, 1}, {1, 0}, {1, 0}};  // the last state stays
    for (const auto& e : expected) {
        int panel = 0, x = 0, left = -1, right = -1;
        GetGlobalMouseState(&panel, &x, nullptr, &left, &right, nullptr);
        EXPECT_EQ(left, e[0]);
        EXPECT_EQ(right, e[1]);
        EXPECT_EQ(panel, p);
        EXPECT_EQ(x, 7);
    }
    EXPECT_EQ(UiTest_MouseReadings(), 3);
    UiTest_Reset();
    EXPECT_EQ(UiTest_MouseReadings(), 0);
}

}  // namespace

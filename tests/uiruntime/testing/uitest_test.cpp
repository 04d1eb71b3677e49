// The test driver itself: what it refuses, what it reads back, timers and grabs.
#include "uiruntime/testing/uitest.h"

#include <gtest/gtest.h>

#include "../support.h"

namespace {

class Driver : public RuntimeTest {};

TEST_F(Driver, FindsPanelsAndControlsByConstantName) {
    int p = load(EXAMPLE);
    EXPECT_EQ(UiTest_FindPanel("EXAMPLE"), p);
    EXPECT_EQ(UiTest_FindPanel("NOPE"), UIEInvalidPanel);
    EXPECT_EQ(UiTest_FindControl(p, "CANVAS"), EXAMPLE_CANVAS);
    EXPECT_EQ(UiTest_FindControl(p, "COUNT_LABEL"), UIEInvalidControl);
    EXPECT_EQ(UiTest_Panels(), std::vector<int>{p});
}

TEST_F(Driver, ShowsTextAsTheUserSeesIt) {
    int p = load(EXAMPLE);
    SetCtrlVal(p, EXAMPLE_COUNT, 255);
    EXPECT_EQ(UiTest_DisplayedText(p, EXAMPLE_COUNT), "0xFF");
    EXPECT_EQ(UiTest_DisplayedText(p, EXAMPLE_VOLTAGE), "1.500");
    SetCtrlIndex(p, EXAMPLE_MODE, 1);
    EXPECT_EQ(UiTest_DisplayedText(p, EXAMPLE_MODE), "Single");
    EXPECT_EQ(UiTest_DisplayedText(p, EXAMPLE_QUIT), "&Quit");
    SetCtrlVal(p, EXAMPLE_LOG, "pending");
    EXPECT_EQ(UiTest_DisplayedText(p, EXAMPLE_LOG), "pending");
    EXPECT_EQ(UiTest_DisplayedText(p, 999), "");
}

TEST_F(Driver, RefusesActionsAUserCouldNotTake) {
    int p = load(EXAMPLE);
    EXPECT_EQ(UiTest_Commit(p, EXAMPLE_LOG), UIEInvalidControlType);
    EXPECT_EQ(UiTest_Commit(p, EXAMPLE_TIMER), UIEControlHidden);
    EXPECT_EQ(UiTest_SelectIndex(p, EXAMPLE_NAME, 0), UIEInvalidControlType);
    EXPECT_EQ(UiTest_ToggleCheck(p, EXAMPLE_ITEMS, 9), UIEIndexOutOfRange);
    EXPECT_EQ(UiTest_SetValue(p, EXAMPLE_MODE, 99), UIEValueNotInList);
    EXPECT_EQ(UiTest_Commit(p + 5, EXAMPLE_QUIT), UIEInvalidPanel);
    EXPECT_EQ(UiTest_KeyPress(p, EXAMPLE_NAME, 0x7F00), UIEInvalidAttributeValue);
    EXPECT_TRUE(g_seen.empty());
}

// Timers tick only when told, and only while enabled.
TEST_F(Driver, TimersTickOnDemand) {
    int p = load(EXAMPLE);
    ProcessSystemEvents();
    EXPECT_TRUE(eventsOf(p, EXAMPLE_TIMER).empty());
    EXPECT_EQ(UiTest_TickTimers(), 1);
    EXPECT_EQ(UiTest_FireTimer(p, EXAMPLE_TIMER), 0);
    EXPECT_EQ(eventsOf(p, EXAMPLE_TIMER), (std::vector<int>{EVENT_TIMER_TICK, EVENT_TIMER_TICK}));
    SetCtrlAttribute(p, EXAMPLE_TIMER, ATTR_ENABLED, 0);
    EXPECT_EQ(UiTest_FireTimer(p, EXAMPLE_TIMER), UIEControlDimmed);
    EXPECT_EQ(UiTest_TickTimers(), 0);
    EXPECT_EQ(UiTest_FireTimer(p, EXAMPLE_NAME), UIEInvalidControlType);
}

TEST_F(Driver, ResizesPanelsAsTheUserDragsTheirFrame) {
    int p = load(EXAMPLE);
    g_seen.clear();
    ASSERT_EQ(UiTest_ResizePanel(p, 300, 500), 0);
    int width = 0;
    GetPanelAttribute(p, ATTR_WIDTH, &width);
    EXPECT_EQ(width, 500);
    EXPECT_EQ(eventsOf(p, -1), std::vector<int>{EVENT_PANEL_SIZE});
    SetPanelAttribute(p, ATTR_SIZABLE, 0);
    EXPECT_EQ(UiTest_ResizePanel(p, 320, 520), UIEControlDimmed);
    EXPECT_EQ(UiTest_ResizePanel(p, 0, 520), UIEInvalidAttributeValue);
}

int g_ticks = 0;
int CountTicks(int, int, int event, void*, int, int) {
    if (event == EVENT_TIMER_TICK && ++g_ticks == 3) QuitUserInterface(0);
    return 0;
}

TEST_F(Driver, RealTimersRunOnTheirClockWhenAsked) {
    int p = NewPanel(0, "T", 0, 0, 50, 50);
    int t = NewCtrl(p, CTRL_TIMER, "", 0, 0);
    SetCtrlAttribute(p, t, ATTR_INTERVAL, 0.01);
    InstallCtrlCallback(p, t, CountTicks, nullptr);
    g_ticks = 0;
    UiTest_SetRealTimers(1);
    EXPECT_EQ(RunUserInterface(), 0);
    UiTest_SetRealTimers(0);
    EXPECT_EQ(g_ticks, 3);
}

TEST_F(Driver, GrabsPanelsAsImages) {
    int p = load(EXAMPLE);
    TempDir dir;
    ASSERT_EQ(UiTest_Grab(p, dir.file("example.png").c_str()), 0);
    std::string png = readFile(dir.file("example.png"));
    ASSERT_GT(png.size(), 1000u);
    EXPECT_EQ(png.substr(1, 3), "PNG");
    SetPanelAttribute(p, ATTR_BACKCOLOR, 0x336699);
    int rgb = 0;
    ASSERT_EQ(UiTest_PixelAt(p, 320, 200, &rgb), 0);
    EXPECT_EQ(rgb, 0x336699);
    EXPECT_EQ(UiTest_PixelAt(p, -1, 0, &rgb), UIEInvalidAttributeValue);
}

}  // namespace

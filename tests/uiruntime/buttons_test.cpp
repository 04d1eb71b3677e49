// Command buttons, toggles, check boxes, radio buttons and LEDs.
#include <gtest/gtest.h>

#include "support.h"

namespace {

class Buttons : public RuntimeTest {};

TEST_F(Buttons, PressingGivesTheEventsOfTheKind) {
    int p = load(EXAMPLE);
    struct {
        int control;
        std::vector<int> events;
        int value;  // after one press, -1 for a command button
    } cases[] = {
        {EXAMPLE_APPLY, {EVENT_COMMIT}, -1},
        {EXAMPLE_POWER, {EVENT_VAL_CHANGED, EVENT_COMMIT}, 1},
        {EXAMPLE_VERBOSE, {EVENT_VAL_CHANGED, EVENT_COMMIT}, 0},  // the form checks it
        {EXAMPLE_RADIO_B, {EVENT_VAL_CHANGED, EVENT_COMMIT}, 1},
    };
    for (auto& c : cases) {
        ASSERT_EQ(UiTest_Commit(p, c.control), 0);
        EXPECT_EQ(eventsOf(p, c.control), c.events) << c.control;
        int v = -1;
        if (c.value >= 0) {
            GetCtrlVal(p, c.control, &v);
            EXPECT_EQ(v, c.value) << c.control;
        }
    }
    // Radio buttons group only as the program says: A stays on.
    int a = 0;
    GetCtrlVal(p, EXAMPLE_RADIO_A, &a);
    EXPECT_EQ(a, 1);
}

TEST_F(Buttons, SetValueOnlyPressesWhenTheStateDiffers) {
    int p = load(EXAMPLE);
    UiTest_SetValue(p, EXAMPLE_VERBOSE, 1);
    EXPECT_TRUE(eventsOf(p, EXAMPLE_VERBOSE).empty());
    UiTest_SetValue(p, EXAMPLE_VERBOSE, 0);
    EXPECT_EQ(eventsOf(p, EXAMPLE_VERBOSE), (std::vector<int>{EVENT_VAL_CHANGED, EVENT_COMMIT}));
    SetCtrlVal(p, EXAMPLE_POWER, 1);
    int v = 0;
    GetCtrlVal(p, EXAMPLE_POWER, &v);
    EXPECT_EQ(v, 1);
    EXPECT_TRUE(eventsOf(p, EXAMPLE_POWER).empty());
    DefaultCtrl(p, EXAMPLE_POWER);
    GetCtrlVal(p, EXAMPLE_POWER, &v);
    EXPECT_EQ(v, 0);
}

TEST_F(Buttons, AClickOnTheButtonPressesIt) {
    int p = load(EXAMPLE);
    ASSERT_EQ(UiTest_Click(p, EXAMPLE_QUIT, 10, 10), 0);
    std::vector<int> ev = eventsOf(p, EXAMPLE_QUIT);
    ASSERT_EQ(ev.size(), 2u);
    EXPECT_EQ(ev[0], EVENT_LEFT_CLICK);
    EXPECT_EQ(ev[1], EVENT_COMMIT);
}

TEST_F(Buttons, LabelsKeepTheirMnemonics) {
    int p = NewPanel(0, "B", 0, 0, 100, 200);
    int b = NewCtrl(p, CTRL_COMMAND_BUTTON, "__OK", 10, 10);
    char text[32];
    GetCtrlAttribute(p, b, ATTR_LABEL_TEXT, text);
    EXPECT_STREQ(text, "__OK");
    EXPECT_EQ(UiTest_DisplayedText(p, b), "&OK");
    SetCtrlAttribute(p, b, ATTR_LABEL_TEXT, "Save & __Quit");
    GetCtrlAttribute(p, b, ATTR_LABEL_TEXT, text);
    EXPECT_STREQ(text, "Save & __Quit");
    int color = 0;
    SetCtrlAttribute(p, b, ATTR_CMD_BUTTON_COLOR, 0x99FFFF);
    GetCtrlAttribute(p, b, ATTR_CMD_BUTTON_COLOR, &color);
    EXPECT_EQ(color, 0x99FFFF);
}

TEST_F(Buttons, LedsShowTheirValueInTheirColours) {
    int p = load(EXAMPLE);
    int on = 0, off = 0;
    GetCtrlAttribute(p, EXAMPLE_LED, ATTR_ON_COLOR, &on);
    GetCtrlAttribute(p, EXAMPLE_LED, ATTR_OFF_COLOR, &off);
    EXPECT_EQ(on, 0x20C040);
    EXPECT_EQ(off, 0x1C4020);
    int top = 0, left = 0, rgb = 0;
    GetCtrlAttribute(p, EXAMPLE_LED, ATTR_TOP, &top);
    GetCtrlAttribute(p, EXAMPLE_LED, ATTR_LEFT, &left);
    SetCtrlAttribute(p, EXAMPLE_LED, ATTR_ON_COLOR, 0xFF0000);
    SetCtrlAttribute(p, EXAMPLE_LED, ATTR_OFF_COLOR, 0x0000FF);
    SetCtrlVal(p, EXAMPLE_LED, 1);
    UiTest_PixelAt(p, left + 9, top + 10, &rgb);
    EXPECT_GT((rgb >> 16) & 0xFF, rgb & 0xFF);
    SetCtrlVal(p, EXAMPLE_LED, 0);
    UiTest_PixelAt(p, left + 9, top + 10, &rgb);
    EXPECT_GT(rgb & 0xFF, (rgb >> 16) & 0xFF);
    EXPECT_EQ(UiTest_Commit(p, EXAMPLE_LED), UIEInvalidControlType);
}

}  // namespace

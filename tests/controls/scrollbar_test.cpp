#include "controls/scrollbar.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "uiruntime/testing/uitest.h"
#include "uiruntime/uiruntime.h"

namespace {

struct OwnerCall {
    int value;
    int action;
};
std::vector<OwnerCall> calls;
int owner(int, int, int event, void*, int value, int action) {
    EXPECT_EQ(event, SB_EVENT_VALUE_CHANGED);
    calls.push_back({value, action});
    return 0;
}

// A vertical bar of 16 by 200 pixels: arrows of 16, the track from 16 to 184.
class Bar : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        panel = NewPanel(0, "Bar", 50, 50, 260, 300);
        DisplayPanel(panel);
        bar = ScrollBar_Create(panel, 10, 10, 0, owner, nullptr);
        ASSERT_GT(bar, 0);
        ASSERT_EQ(ScrollBar_SetAttribute(panel, bar, SB_ATTR_HEIGHT, 200), 0);
        calls.clear();
    }
    void TearDown() override {
        EXPECT_TRUE(UiTest_Failures().empty());
        UiTest_Reset();
    }
    int get(int attribute) {
        int v = -99;
        EXPECT_EQ(ScrollBar_GetAttribute(panel, bar, attribute, &v), 0);
        return v;
    }
    int value() { return get(SB_ATTR_VALUE); }
    int panel = 0, bar = 0;
};

TEST_F(Bar, AttributesCheckTheirRanges) {
    const struct {
        int attribute, value, status, after;
    } cases[] = {
        {SB_ATTR_MIN, 100, SB_ERR_OUT_OF_RANGE, 0},  // not below the maximum
        {SB_ATTR_MIN, 10, 0, 10},
        {SB_ATTR_MAX, 10, SB_ERR_OUT_OF_RANGE, 100},
        {SB_ATTR_MAX, 11, 0, 11},
        {SB_ATTR_VALUE, 50, SB_ERR_OUT_OF_RANGE, 50},  // kept all the same
        {SB_ATTR_VALUE, 10, 0, 10},
        {SB_ATTR_COLOR, 0x1000000, SB_ERR_OUT_OF_RANGE, 0xC0C0C0},
        {SB_ATTR_COLOR, -1, SB_ERR_OUT_OF_RANGE, 0xC0C0C0},
        {SB_ATTR_COLOR, 0x336699, 0, 0x336699},
        {SB_ATTR_HEIGHT, 63, SB_ERR_OUT_OF_RANGE, 200},  // a vertical bar is at least 64 high
        {SB_ATTR_HEIGHT, 32768, SB_ERR_OUT_OF_RANGE, 200},
        {SB_ATTR_WIDTH, 15, SB_ERR_OUT_OF_RANGE, 16},
        {SB_ATTR_WIDTH, 20, 0, 20},
        {SB_ATTR_PAGE_INCREMENT, 3, 0, 3},
        {SB_ATTR_PROPORTIONAL_THUMB, 0, 0, 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ScrollBar_SetAttribute(panel, bar, c.attribute, c.value), c.status)
            << "attribute " << c.attribute << " = " << c.value;
        EXPECT_EQ(get(c.attribute), c.after) << "attribute " << c.attribute;
    }
    int v = 0;
    EXPECT_EQ(ScrollBar_SetAttribute(panel, bar, 10, 1), SB_ERR_UNKNOWN_ATTRIBUTE);
    EXPECT_EQ(ScrollBar_GetAttribute(panel, bar, 0, &v), SB_ERR_UNKNOWN_ATTRIBUTE);
    EXPECT_TRUE(calls.empty()) << "the owner hears of the user's changes only";
}

TEST(ScrollBarConversion, SizesAndOrientationComeFromTheCanvas) {
    ASSERT_EQ(UiTest_Start(), 0);
    int panel = NewPanel(0, "Bars", 50, 50, 300, 300);
    const struct {
        int width, height;
        int horizontal, barWidth, barHeight;
    } cases[] = {{10, 200, 0, 16, 200}, {200, 10, 1, 200, 16}, {30, 40, 0, 30, 64}, {50, 50, 1, 64, 50}};
    for (const auto& c : cases) {
        int canvas = NewCtrl(panel, CTRL_CANVAS, "", 0, 0);
        SetCtrlAttribute(panel, canvas, ATTR_WIDTH, c.width);
        SetCtrlAttribute(panel, canvas, ATTR_HEIGHT, c.height);
        ASSERT_EQ(ScrollBar_ConvertFromCanvas(panel, canvas, owner, nullptr), canvas);
        int h = -1, w = 0, hh = 0;
        ScrollBar_GetAttribute(panel, canvas, SB_ATTR_HORIZONTAL, &h);
        GetCtrlAttribute(panel, canvas, ATTR_WIDTH, &w);
        GetCtrlAttribute(panel, canvas, ATTR_HEIGHT, &hh);
        EXPECT_EQ(h, c.horizontal) << c.width << "x" << c.height;
        EXPECT_EQ(w, c.barWidth) << c.width << "x" << c.height;
        EXPECT_EQ(hh, c.barHeight) << c.width << "x" << c.height;
    }
    int button = NewCtrl(panel, CTRL_COMMAND_BUTTON, "OK", 0, 0);
    EXPECT_EQ(ScrollBar_ConvertFromCanvas(panel, button, owner, nullptr), SB_ERR_WRONG_CONTROL);
    EXPECT_EQ(ScrollBar_ConvertFromCanvas(panel, 999, owner, nullptr), SB_ERR_FAILED);
    DiscardPanel(panel);  // frees every bar's record (the sanitizers watch)
    UiTest_Reset();
}

TEST_F(Bar, MouseOnArrowsTrackAndThumb) {
    ScrollBar_SetAttribute(panel, bar, SB_ATTR_PAGE_INCREMENT, 20);
    const struct {
        int y;
        int value, action;
    } clicks[] = {
        {195, 1, SB_ACTION_LINE_DOWN},
        {195, 2, SB_ACTION_LINE_DOWN},
        {5, 1, SB_ACTION_LINE_UP},
        {170, 21, SB_ACTION_PAGE_DOWN},  // below the thumb
        {20, 1, SB_ACTION_PAGE_UP},      // above it
    };
    for (const auto& c : clicks) {
        calls.clear();
        ASSERT_EQ(UiTest_Click(panel, bar, 8, c.y), 0);
        EXPECT_EQ(value(), c.value) << c.y;
        ASSERT_EQ(calls.size(), 2u) << c.y;
        EXPECT_EQ(calls[0].value, c.value);
        EXPECT_EQ(calls[0].action, c.action);
        EXPECT_EQ(calls[1].action, SB_ACTION_RELEASE);
    }
    // The thumb (page 20 of 100 on a track of 168: 33 pixels) dragged to the far end and back.
    ScrollBar_SetAttribute(panel, bar, SB_ATTR_VALUE, 0);
    calls.clear();
    ASSERT_EQ(UiTest_Drag(panel, bar, 8, 30, 8, 260), 0);
    EXPECT_EQ(value(), 100);
    EXPECT_EQ(calls.back().action, SB_ACTION_RELEASE);
    UiTest_Drag(panel, bar, 8, 170, 8, 100);
    EXPECT_NEAR(value(), 50, 2);
    // At the minimum the up arrow changes nothing and tells nobody.
    ScrollBar_SetAttribute(panel, bar, SB_ATTR_VALUE, 0);
    calls.clear();
    UiTest_MouseDown(panel, bar, 8, 5);
    EXPECT_TRUE(calls.empty());
    UiTest_MouseUp(panel, bar, 8, 5);
}

TEST_F(Bar, HeldArrowAndTrackRepeatAfterAPause) {
    // The ticks stand for the repeat timer; only time decides whether one repeats.
    ASSERT_EQ(UiTest_MouseDown(panel, bar, 8, 195), 0);
    EXPECT_EQ(value(), 1);
    EXPECT_EQ(UiTest_TickTimers(), 1);
    EXPECT_EQ(value(), 1) << "no repeat before the pause";
    std::this_thread::sleep_for(std::chrono::milliseconds(SB_REPEAT_DELAY_MS + 20));
    UiTest_TickTimers();
    UiTest_TickTimers();
    EXPECT_EQ(value(), 3);
    UiTest_MouseUp(panel, bar, 8, 195);
    EXPECT_EQ(UiTest_TickTimers(), 0) << "the repeat stops with the button";
    // The track pages until the thumb reaches the mouse.
    ScrollBar_SetAttribute(panel, bar, SB_ATTR_PAGE_INCREMENT, 20);
    ScrollBar_SetAttribute(panel, bar, SB_ATTR_VALUE, 0);
    UiTest_MouseDown(panel, bar, 8, 110);
    std::this_thread::sleep_for(std::chrono::milliseconds(SB_REPEAT_DELAY_MS + 20));
    for (int i = 0; i < 10; ++i) UiTest_TickTimers();
    UiTest_MouseUp(panel, bar, 8, 110);
    EXPECT_EQ(value(), 60) << "paging stopped under the mouse";
}

TEST_F(Bar, Keys) {
    ScrollBar_SetAttribute(panel, bar, SB_ATTR_PAGE_INCREMENT, 25);
    const struct {
        int key;
        int value;
        bool told;
    } keys[] = {
        {VAL_UP_ARROW_VKEY, 0, false},  // already at the minimum
        {VAL_DOWN_ARROW_VKEY, 1, true},
        {VAL_PAGE_DOWN_VKEY, 26, true},
        {VAL_END_VKEY, 100, true},
        {VAL_PAGE_DOWN_VKEY, 100, false},
        {VAL_PAGE_UP_VKEY, 75, true},
        {VAL_HOME_VKEY, 0, true},
    };
    for (const auto& k : keys) {
        calls.clear();
        ASSERT_EQ(UiTest_KeyPress(panel, bar, k.key), 0);
        EXPECT_EQ(value(), k.value) << k.key;
        EXPECT_EQ(calls.size(), k.told ? 1u : 0u) << k.key;
    }
}

}  // namespace

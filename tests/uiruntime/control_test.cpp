// What every control shares: creation, common attributes, callbacks, events and discarding.
#include <gtest/gtest.h>

#include "support.h"

namespace {

class Controls : public RuntimeTest {};

const int kAllStyles[] = {CTRL_NUMERIC,      CTRL_STRING,         CTRL_TEXT_BOX,       CTRL_RING,
                          CTRL_LIST,         CTRL_COMMAND_BUTTON, CTRL_TOGGLE_BUTTON,  CTRL_CHECK_BOX,
                          CTRL_ROUND_RADIO_BUTTON, CTRL_ROUND_LED, CTRL_SQUARE_LED,    CTRL_TEXT_MSG,
                          CTRL_RAISED_BOX,   CTRL_RECESSED_BOX,   CTRL_FLAT_BOX,       CTRL_RAISED_FRAME,
                          CTRL_RECESSED_FRAME, CTRL_FLAT_FRAME,   CTRL_PICTURE,        CTRL_CANVAS,
                          CTRL_TIMER};

TEST_F(Controls, EveryStyleCanBeMadeAndKeepsItsCommonAttributes) {
    int p = NewPanel(0, "P", 0, 0, 400, 400);
    DisplayPanel(p);
    for (int style : kAllStyles) {
        int c = NewCtrl(p, style, "Label", 40, 30);
        ASSERT_GT(c, 0) << style;
        int v = -1;
        GetCtrlAttribute(p, c, ATTR_CTRL_STYLE, &v);
        EXPECT_EQ(v, style);
        GetCtrlAttribute(p, c, ATTR_TOP, &v);
        EXPECT_EQ(v, 40) << style;
        GetCtrlAttribute(p, c, ATTR_LEFT, &v);
        EXPECT_EQ(v, 30) << style;
        struct {
            int attribute, value;
        } sets[] = {{ATTR_LEFT, 12}, {ATTR_TOP, 70}, {ATTR_WIDTH, 90}, {ATTR_HEIGHT, 33}, {ATTR_DIMMED, 1},
                    {ATTR_DIMMED, 0}, {ATTR_TEXT_COLOR, 0x123456}, {ATTR_TEXT_POINT_SIZE, 14}, {ATTR_TEXT_BOLD, 1}};
        for (auto& s : sets) {
            ASSERT_EQ(SetCtrlAttribute(p, c, s.attribute, s.value), 0) << style << " " << s.attribute;
            GetCtrlAttribute(p, c, s.attribute, &v);
            EXPECT_EQ(v, s.value) << style << " " << s.attribute;
        }
        SetCtrlAttribute(p, c, ATTR_VISIBLE, 0);
        GetCtrlAttribute(p, c, ATTR_VISIBLE, &v);
        EXPECT_EQ(v, 0) << style;
        SetCtrlAttribute(p, c, ATTR_VISIBLE, 1);
        GetCtrlAttribute(p, c, ATTR_VISIBLE, &v);
        EXPECT_EQ(v, style == CTRL_TIMER ? 0 : 1) << style;  // a timer is never seen
    }
    EXPECT_EQ(NewCtrl(p, 999, "", 0, 0), UIEInvalidControlType);
}

TEST_F(Controls, LabelsMoveWithTheirControl) {
    int p = NewPanel(0, "P", 0, 0, 300, 300);
    int c = NewCtrl(p, CTRL_NUMERIC, "Count", 50, 20);
    char text[16];
    GetCtrlAttribute(p, c, ATTR_LABEL_TEXT, text);
    EXPECT_STREQ(text, "Count");
    int lt = 0, ll = 0;
    GetCtrlAttribute(p, c, ATTR_LABEL_TOP, &lt);
    GetCtrlAttribute(p, c, ATTR_LABEL_LEFT, &ll);
    EXPECT_LT(lt, 50);
    EXPECT_EQ(ll, 20);
    SetCtrlAttribute(p, c, ATTR_TOP, 100);
    SetCtrlAttribute(p, c, ATTR_LEFT, 60);
    int lt2 = 0, ll2 = 0;
    GetCtrlAttribute(p, c, ATTR_LABEL_TOP, &lt2);
    GetCtrlAttribute(p, c, ATTR_LABEL_LEFT, &ll2);
    EXPECT_EQ(lt2 - lt, 50);
    EXPECT_EQ(ll2 - ll, 40);
    int top, left, height, width;
    ASSERT_EQ(GetCtrlBoundingRect(p, c, &top, &left, &height, &width), 0);
    EXPECT_EQ(top, lt2);
    EXPECT_GE(height, 20);
}

TEST_F(Controls, RefusesBadHandlesValuesAndTypes) {
    int p = NewPanel(0, "P", 0, 0, 300, 300);
    int c = NewCtrl(p, CTRL_STRING, "", 0, 0);
    int v = 0;
    EXPECT_EQ(SetCtrlVal(p, c + 50, "x"), UIEInvalidControl);
    EXPECT_EQ(SetCtrlVal(p + 50, c, "x"), UIEInvalidPanel);
    EXPECT_EQ(SetCtrlVal(p, c, 5), UIEInvalidDataType);
    EXPECT_EQ(GetCtrlVal(p, c, &v), UIEInvalidDataType);
    EXPECT_EQ(SetCtrlAttribute(p, c, ATTR_ON_COLOR, 0), UIEInvalidAttribute);
    EXPECT_EQ(SetCtrlAttribute(p, c, ATTR_TEXT_COLOR, -5), UIEInvalidAttributeValue);
    EXPECT_EQ(SetCtrlAttribute(p, c, ATTR_ZPLANE_POSITION, 3), UIEInvalidAttributeValue);
    EXPECT_EQ(SetCtrlAttribute(p, c, ATTR_CALLBACK_FUNCTION_POINTER, ExamplePanel), UIEInvalidDataType);
    int b = NewCtrl(p, CTRL_COMMAND_BUTTON, "B", 40, 0);
    EXPECT_EQ(GetCtrlVal(p, b, &v), UIEInvalidControlType);
}

TEST_F(Controls, CallbacksAndTheirDataAreReplaceable) {
    int p = NewPanel(0, "P", 0, 0, 300, 300);
    int b = NewCtrl(p, CTRL_COMMAND_BUTTON, "B", 0, 0);
    DisplayPanel(p);
    int tag = 0;
    ASSERT_EQ(InstallCtrlCallback(p, b, ExampleControl, &tag), 0);
    CtrlCallbackPtr cb = nullptr;
    void* data = nullptr;
    GetCtrlAttribute(p, b, ATTR_CALLBACK_FUNCTION_POINTER, &cb);
    GetCtrlAttribute(p, b, ATTR_CALLBACK_DATA, &data);
    EXPECT_EQ(cb, &ExampleControl);
    EXPECT_EQ(data, &tag);
    UiTest_Commit(p, b);
    EXPECT_EQ(eventsOf(p, b), std::vector<int>{EVENT_COMMIT});
    SetCtrlAttribute(p, b, ATTR_CALLBACK_FUNCTION_POINTER, nullptr);
    UiTest_Commit(p, b);
    EXPECT_EQ(eventsOf(p, b).size(), 1u);
}

std::vector<Seen> g_main;
int g_mainAnswer = 0;
int MainRecorder(int panel, int control, int event, void*, int d1, int d2) {
    g_main.push_back({panel, control, event, d1, d2});
    return event == g_mainAnswer ? 1 : 0;
}

// The main callback sees every event first; returning non-zero keeps it from the control.
TEST_F(Controls, TheMainCallbackSeesEveryEventFirstAndMaySwallowIt) {
    int p = load(EXAMPLE);
    g_main.clear();
    ASSERT_EQ(InstallMainCallback(MainRecorder, nullptr, 0), 0);
    UiTest_Commit(p, EXAMPLE_APPLY);
    UiTest_RightClick(p, 0, 320, 200);
    ASSERT_EQ(g_main.size(), 2u);
    EXPECT_EQ(g_main[0], (Seen{p, EXAMPLE_APPLY, EVENT_COMMIT, 0, 0}));
    EXPECT_EQ(g_main[1], (Seen{p, 0, EVENT_RIGHT_CLICK, 200, 320}));
    EXPECT_EQ(eventsOf(p, EXAMPLE_APPLY), std::vector<int>{EVENT_COMMIT});
    EXPECT_EQ(eventsOf(p, -1), std::vector<int>{EVENT_RIGHT_CLICK});
    g_mainAnswer = EVENT_COMMIT;
    UiTest_Commit(p, EXAMPLE_APPLY);
    EXPECT_EQ(eventsOf(p, EXAMPLE_APPLY).size(), 1u);
    g_mainAnswer = 0;
}

// A key goes to the control, then to the panel; a swallowed key is not typed.
TEST_F(Controls, ASwallowedKeyIsNotTyped) {
    int p = load(EXAMPLE);
    SetCtrlVal(p, EXAMPLE_NAME, "");
    UiTest_KeyPress(p, EXAMPLE_NAME, 'a');
    char text[16];
    GetCtrlVal(p, EXAMPLE_NAME, text);
    EXPECT_STREQ(text, "a");
    std::vector<Seen> keys;
    for (const Seen& s : g_seen)
        if (s.event == EVENT_KEYPRESS) keys.push_back(s);
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[0], (Seen{p, EXAMPLE_NAME, EVENT_KEYPRESS, 'a', 0}));
    EXPECT_EQ(keys[1], (Seen{p, -1, EVENT_KEYPRESS, 'a', 0}));
    g_controlAnswer[EVENT_KEYPRESS] = 1;
    g_seen.clear();
    UiTest_KeyPress(p, EXAMPLE_NAME, 'b');
    GetCtrlVal(p, EXAMPLE_NAME, text);
    EXPECT_STREQ(text, "a");
    EXPECT_EQ(eventsOf(p, -1), std::vector<int>{});  // the panel never saw it
}

TEST_F(Controls, FocusMovesWithEvents) {
    int p = load(EXAMPLE);
    UiTest_Focus(p, EXAMPLE_NAME);
    UiTest_Focus(p, EXAMPLE_COUNT);
    EXPECT_EQ(eventsOf(p, EXAMPLE_NAME), (std::vector<int>{EVENT_GOT_FOCUS, EVENT_LOST_FOCUS}));
    EXPECT_EQ(eventsOf(p, EXAMPLE_COUNT), std::vector<int>{EVENT_GOT_FOCUS});
    EXPECT_EQ(GetActiveCtrl(p), EXAMPLE_COUNT);
}

TEST_F(Controls, DimmedAndHiddenControlsDoNotReactToTheUser) {
    int p = load(EXAMPLE);
    SetCtrlAttribute(p, EXAMPLE_APPLY, ATTR_DIMMED, 1);
    EXPECT_EQ(UiTest_Commit(p, EXAMPLE_APPLY), UIEControlDimmed);
    SetCtrlAttribute(p, EXAMPLE_APPLY, ATTR_DIMMED, 0);
    SetCtrlAttribute(p, EXAMPLE_APPLY, ATTR_VISIBLE, 0);
    EXPECT_EQ(UiTest_Commit(p, EXAMPLE_APPLY), UIEControlHidden);
    EXPECT_TRUE(eventsOf(p, EXAMPLE_APPLY).empty());
}

TEST_F(Controls, DiscardCtrlGivesADiscardEventThenForgetsTheControl) {
    int p = load(EXAMPLE);
    ASSERT_EQ(DiscardCtrl(p, EXAMPLE_NAME), 0);
    EXPECT_EQ(eventsOf(p, EXAMPLE_NAME), std::vector<int>{EVENT_DISCARD});
    EXPECT_EQ(SetCtrlVal(p, EXAMPLE_NAME, "x"), UIEInvalidControl);
    EXPECT_EQ(DiscardCtrl(p, EXAMPLE_NAME), UIEInvalidControl);
    int n = 0;
    GetPanelAttribute(p, ATTR_NUM_CTRLS, &n);
    EXPECT_EQ(n, EXAMPLE_TIMER - 2);
}

TEST_F(Controls, ZPlanePositionsRestackTheControls) {
    int p = NewPanel(0, "P", 0, 0, 100, 100);
    int a = NewCtrl(p, CTRL_RAISED_BOX, "", 0, 0);
    int b = NewCtrl(p, CTRL_RAISED_BOX, "", 0, 0);
    SetCtrlAttribute(p, a, ATTR_FRAME_COLOR, 0x0000FF);
    SetCtrlAttribute(p, b, ATTR_FRAME_COLOR, 0xFF0000);
    DisplayPanel(p);
    int rgb = 0, za = -1, zb = -1;
    GetCtrlAttribute(p, a, ATTR_ZPLANE_POSITION, &za);
    GetCtrlAttribute(p, b, ATTR_ZPLANE_POSITION, &zb);
    EXPECT_EQ(zb, 0);
    EXPECT_EQ(za, 1);
    UiTest_PixelAt(p, 50, 30, &rgb);
    EXPECT_EQ(rgb, 0xFF0000);
    SetCtrlAttribute(p, a, ATTR_ZPLANE_POSITION, 0);
    UiTest_PixelAt(p, 50, 30, &rgb);
    EXPECT_EQ(rgb, 0x0000FF);
}

}  // namespace

namespace {

int brightness(int rgb) { return ((rgb >> 16) & 0xFF) + ((rgb >> 8) & 0xFF) + (rgb & 0xFF); }

// Decorations stand out from the panel on both sides: light and shadow where the light falls,
// and the fill colour inside a box that has one.
TEST_F(Controls, DecorationsHaveATwoPixelBevel) {
    int p = NewPanel(0, "P", 0, 0, 200, 300);
    DisplayPanel(p);
    const struct {
        int style;
        bool raised;
    } cases[] = {{CTRL_RAISED_BOX, true}, {CTRL_RAISED_FRAME, true}, {CTRL_RECESSED_BOX, false},
                 {CTRL_RECESSED_FRAME, false}};
    int left = 10;
    for (const auto& c : cases) {
        int box = NewCtrl(p, c.style, "", 20, left);
        SetCtrlAttribute(p, box, ATTR_WIDTH, 50);
        SetCtrlAttribute(p, box, ATTR_HEIGHT, 40);
        int background = 0, topLeftInner = 0, bottomRightOuter = 0, bottomRightInner = 0;
        UiTest_PixelAt(p, left + 25, 10, &background);
        UiTest_PixelAt(p, left + 25, 21, &topLeftInner);
        UiTest_PixelAt(p, left + 25, 59, &bottomRightOuter);
        UiTest_PixelAt(p, left + 25, 58, &bottomRightInner);
        if (c.raised) {
            EXPECT_GT(brightness(topLeftInner), brightness(background)) << c.style << ": the highlight";
            EXPECT_LT(brightness(bottomRightOuter), brightness(bottomRightInner)) << c.style;
            EXPECT_LT(brightness(bottomRightInner), brightness(background)) << c.style << ": the shadow";
        } else {
            EXPECT_LT(brightness(topLeftInner), brightness(background)) << c.style << ": the shadow";
            EXPECT_GT(brightness(bottomRightOuter), brightness(background)) << c.style << ": the light";
        }
        left += 60;
    }
    int filled = NewCtrl(p, CTRL_RAISED_BOX, "", 100, 10);
    SetCtrlAttribute(p, filled, ATTR_WIDTH, 50);
    SetCtrlAttribute(p, filled, ATTR_FRAME_COLOR, 0x3366CC);
    int inside = 0;
    UiTest_PixelAt(p, 30, 120, &inside);
    EXPECT_EQ(inside, 0x3366CC);
}

}  // namespace

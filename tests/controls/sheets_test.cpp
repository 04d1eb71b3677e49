#include "controls/sheets.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "uiruntime/testing/uitest.h"
#include "uiruntime/uiruntime.h"

namespace {

class Sheets : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        panel = NewPanel(0, "Sheets", 50, 50, 300, 400);
        ASSERT_GT(panel, 0);
        DisplayPanel(panel);
    }
    void TearDown() override {
        EXPECT_TRUE(UiTest_Failures().empty());
        UiTest_Reset();
    }

    // The tab label showing a title (a text message with that text).
    int labelOf(const std::string& title) {
        int control = 0;
        GetPanelAttribute(panel, ATTR_PANEL_FIRST_CTRL, &control);
        for (; control; GetCtrlAttribute(panel, control, ATTR_NEXT_CTRL, &control)) {
            int style = 0;
            GetCtrlAttribute(panel, control, ATTR_CTRL_STYLE, &style);
            char text[256] = "";
            if (style == CTRL_TEXT_MSG && GetCtrlVal(panel, control, text, sizeof text) >= 0 && title == text)
                return control;
        }
        return 0;
    }
    int top(int control) {
        int value = 0;
        GetCtrlAttribute(panel, control, ATTR_TOP, &value);
        return value;
    }
    int left(int control) {
        int value = 0;
        GetCtrlAttribute(panel, control, ATTR_LEFT, &value);
        return value;
    }
    std::string active(int group) {
        char title[256];
        EXPECT_EQ(SheetGroupGetActiveSheet(panel, group, title, sizeof title), 0);
        return title;
    }
    int childPanel() {
        int child = NewPanel(panel, "", 0, 0, 50, 50);
        EXPECT_GT(child, 0);
        return child;
    }
    int panel = 0;
};

TEST_F(Sheets, ChildPanelSheetsSwitchOnTabClicks) {
    int group = SheetGroupCreate(panel, 120, 10);
    ASSERT_GT(group, 0);
    int a = childPanel(), b = childPanel();
    ASSERT_EQ(SheetGroupAddSheet(panel, group, " First", SHEET_MODE_PANEL, a), 0);
    ASSERT_EQ(SheetGroupAddSheet(panel, group, " Second", SHEET_MODE_PANEL, b), 0);
    ASSERT_EQ(SheetGroupSetSize(panel, group, 150, 380), 0);
    EXPECT_EQ(active(group), " First");
    EXPECT_EQ(UiTest_IsShown(a, 0), 1);
    EXPECT_EQ(UiTest_IsShown(b, 0), 0);

    int second = labelOf(" Second");
    ASSERT_GT(second, 0);
    EXPECT_GT(left(second), left(labelOf(" First")));
    EXPECT_EQ(top(second), top(labelOf(" First")) + 2);  // lowered while inactive
    ASSERT_EQ(UiTest_Click(panel, second, 3, 3), 0);
    EXPECT_EQ(active(group), " Second");
    EXPECT_EQ(UiTest_IsShown(a, 0), 0);
    EXPECT_EQ(UiTest_IsShown(b, 0), 1);
    EXPECT_EQ(top(second), top(labelOf(" First")) - 2);  // raised, and the first one lowered

    // The active child panel fills the body, inset by 2.
    int bodyTop = 0, height = 0, width = 0, panelTop = 0, panelLeft = 0, panelHeight = 0;
    SheetGroupGetSize(panel, group, nullptr, &bodyTop, nullptr, &height, &width);
    GetPanelAttribute(b, ATTR_TOP, &panelTop);
    GetPanelAttribute(b, ATTR_LEFT, &panelLeft);
    GetPanelAttribute(b, ATTR_HEIGHT, &panelHeight);
    EXPECT_EQ(panelTop, bodyTop + 2);
    EXPECT_EQ(panelLeft, 12);
    EXPECT_EQ(panelHeight, 146);

    int sheetPanel = 0;
    EXPECT_EQ(SheetGroupGetSheetPanelFromIndex(panel, group, 2, &sheetPanel), 0);
    EXPECT_EQ(sheetPanel, b);
    EXPECT_EQ(SheetGroupGetSheetPanelFromIndex(panel, group, 3, &sheetPanel), -12);
}

TEST_F(Sheets, TallTabsKeepTheirTitlesInTheMiddleAndMeetTheBody) {
    int group = SheetGroupCreate(panel, 8, 0);
    ASSERT_EQ(SheetGroupSetTabSize(panel, group, 24, 8), 0);
    EXPECT_EQ(SheetGroupSetTabSize(panel, group, -1, 0), UIEInvalidAttributeValue);
    int a = childPanel(), b = childPanel();
    SheetGroupAddSheet(panel, group, "One", SHEET_MODE_PANEL, a);
    SheetGroupAddSheet(panel, group, "Two", SHEET_MODE_PANEL, b);
    int bodyTop = 0;
    SheetGroupGetSize(panel, group, nullptr, &bodyTop, nullptr, nullptr, nullptr);
    EXPECT_EQ(bodyTop, 8 + 24 + 5);
    int textHeight = 0;
    GetTextDisplaySize("One", VAL_DIALOG_META_FONT, &textHeight, nullptr);
    for (const char* title : {"One", "Two"}) {
        int label = labelOf(title), height = 0, width = 0;
        GetCtrlAttribute(panel, label, ATTR_HEIGHT, &height);
        GetCtrlAttribute(panel, label, ATTR_WIDTH, &width);
        // Whether raised or lowered, a title's label reaches 2 into the body, under which an
        // active tab opens into it.
        EXPECT_EQ(top(label) + height, bodyTop + 2) << title;
        int titleWidth = 0;
        GetTextDisplaySize(title, VAL_DIALOG_META_FONT, nullptr, &titleWidth);
        EXPECT_GE(width, titleWidth + 16) << title << ": padded on both sides";
        int justify = -1;
        GetCtrlAttribute(panel, label, ATTR_TEXT_JUSTIFY, &justify);
        EXPECT_EQ(justify, VAL_CENTER_JUSTIFIED);
    }
    EXPECT_EQ(top(labelOf("One")), 8 + 2 + (24 - textHeight) / 2) << "the title in the middle of its tab";
    // Tabs keep the colour they were made with, whether in front or behind: a window whose tabs
    // were made in preference colours shows them on every tab.
    int before = 0, after = 0;
    GetCtrlAttribute(panel, labelOf("Two"), ATTR_TEXT_BGCOLOR, &before);
    UiTest_Click(panel, labelOf("Two"), 3, 3);
    GetCtrlAttribute(panel, labelOf("Two"), ATTR_TEXT_BGCOLOR, &after);
    EXPECT_EQ(before, after);
    GetCtrlAttribute(panel, labelOf("One"), ATTR_TEXT_BGCOLOR, &after);
    EXPECT_EQ(before, after);
}

TEST_F(Sheets, UnknownTitleLeavesNoSheetActive) {
    int group = SheetGroupCreate(panel, 40, 10);
    int a = childPanel();
    SheetGroupAddSheet(panel, group, "One", SHEET_MODE_PANEL, a);
    EXPECT_EQ(SheetGroupSetActiveSheet(panel, group, "one"), 0);  // titles match exactly
    EXPECT_EQ(active(group), "");
    EXPECT_EQ(UiTest_IsShown(a, 0), 0);
    EXPECT_EQ(SheetGroupSetActiveSheet(panel, group, "One"), 0);
    EXPECT_EQ(active(group), "One");
}

TEST_F(Sheets, RowsWrapUpwardAndNextLineForcesOne) {
    SetPanelSize(panel, 300, 240);  // room for one long title a row
    int group = SheetGroupCreate(panel, 150, 10);
    const char* titles[] = {" A rather long first title ", " Another long second title ", " Third "};
    for (const char* t : titles) ASSERT_EQ(SheetGroupAddSheet(panel, group, t, SHEET_MODE_PANEL, childPanel()), 0);
    int first = labelOf(titles[0]), secondLabel = labelOf(titles[1]), third = labelOf(titles[2]);
    int firstTop = top(first);
    int tabHeight = 0;
    GetCtrlAttribute(panel, first, ATTR_HEIGHT, &tabHeight);
    EXPECT_LT(top(secondLabel), firstTop - 2);  // did not fit: a row above, at the left again
    EXPECT_EQ(left(secondLabel), left(first));
    EXPECT_EQ(top(third), top(secondLabel));  // fits beside it

    ASSERT_EQ(SheetGroupNextLine(panel, group), 0);
    ASSERT_EQ(SheetGroupAddSheet(panel, group, " Four", SHEET_MODE_PANEL, childPanel()), 0);
    EXPECT_LT(top(labelOf(" Four")), top(third));
    EXPECT_EQ(left(labelOf(" Four")), left(first));
    EXPECT_EQ(SheetGroupNumSheets(panel, group), 4);
}

int vetoLeaving(int, int, int code) { return code == 1; }
int vetoEntering(int, int, int code) { return code == 2; }
std::vector<int> codesSeen;
int recordCodes(int, int, int code) {
    codesSeen.push_back(code);
    return 0;
}

TEST_F(Sheets, SheetCallbacksCanVeto) {
    int group = SheetGroupCreate(panel, 40, 10);
    SheetGroupAddSheet(panel, group, "One", SHEET_MODE_PANEL, childPanel());
    SheetGroupAddSheet(panel, group, "Two", SHEET_MODE_PANEL, childPanel());
    SheetGroupAddSheet(panel, group, "Three", SHEET_MODE_PANEL, childPanel());
    ASSERT_EQ(SheetGroupInstallSheetCallback(panel, group, "One", vetoLeaving), 0);
    UiTest_Click(panel, labelOf("Two"), 2, 2);
    EXPECT_EQ(active(group), "One");

    SheetGroupInstallSheetCallback(panel, group, "One", recordCodes);
    SheetGroupInstallSheetCallback(panel, group, "Two", vetoEntering);
    UiTest_Click(panel, labelOf("Two"), 2, 2);
    EXPECT_EQ(active(group), "One");
    codesSeen.clear();
    SheetGroupInstallSheetCallback(panel, group, "Three", recordCodes);
    UiTest_Click(panel, labelOf("Three"), 2, 2);
    EXPECT_EQ(active(group), "Three");
    EXPECT_EQ(codesSeen, (std::vector<int>{1, 2}));  // leaving One, then entering Three
    EXPECT_EQ(SheetGroupInstallSheetCallback(panel, group, "Nine", recordCodes), UIEIndexOutOfRange);
}

TEST_F(Sheets, ControlListSheetsShowTheirControlsAndSizeToFit) {
    int group = SheetGroupCreate(panel, 20, 10);
    int x = NewCtrl(panel, CTRL_NUMERIC, "", 60, 30);
    int y = NewCtrl(panel, CTRL_STRING, "", 100, 200);
    int z = NewCtrl(panel, CTRL_COMMAND_BUTTON, "Go", 70, 40);
    ListType list = ListCreate(sizeof(int));
    ListInsertItem(list, &z, END_OF_LIST);
    ASSERT_EQ(SheetGroupAddSheet(panel, group, "Pair", x, y, 0), 0);
    ASSERT_EQ(SheetGroupAddSheet(panel, group, "Listed", SHEET_MODE_CONTROL_LIST, list), 0);
    ListDispose(list);  // copied
    EXPECT_EQ(UiTest_IsShown(panel, x), 1);
    EXPECT_EQ(UiTest_IsShown(panel, z), 0);
    ASSERT_EQ(SheetGroupSetActiveSheet(panel, group, "Listed"), 0);
    EXPECT_EQ(UiTest_IsShown(panel, x), 0);
    EXPECT_EQ(UiTest_IsShown(panel, z), 1);
    EXPECT_EQ(GetActiveCtrl(panel), z);  // the first control that takes the focus

    ASSERT_EQ(SheetGroupSizeToFit(panel, group), 0);
    int t, l, h, w, bt, bl, bh, bw, yt, yl, yh, yw, bodyTop;
    GetCtrlBoundingRect(panel, x, &t, &l, &h, &w);
    GetCtrlBoundingRect(panel, y, &yt, &yl, &yh, &yw);
    SheetGroupGetSize(panel, group, nullptr, &bodyTop, nullptr, &bh, &bw);
    GetCtrlBoundingRect(panel, z, &bt, &bl, &h, &w);
    // As far beyond the rightmost and lowest control as the first lies inside the body's edge.
    EXPECT_EQ(bw, yl + yw + (t > 0 ? l - 10 : 0) - 10);
    EXPECT_EQ(bh, yt + yh + (t - bodyTop) - bodyTop);
}

TEST_F(Sheets, ConversionAndWrongControls) {
    int box = NewCtrl(panel, CTRL_RECESSED_BOX, "", 30, 10);
    SetCtrlAttribute(panel, box, ATTR_HEIGHT, 200);
    int button = NewCtrl(panel, CTRL_COMMAND_BUTTON, "x", 5, 5);
    EXPECT_EQ(SheetGroupConvertFromDecoration(panel, button), SHEET_ERR_NOT_A_GROUP);
    SheetGroup* g = nullptr;
    EXPECT_EQ(GetSheetGroup(panel, button, &g), SHEET_ERR_NOT_A_GROUP);
    EXPECT_EQ(SheetGroupAddSheet(panel, button, "x", SHEET_MODE_PANEL, childPanel()), SHEET_ERR_NOT_A_GROUP);

    ASSERT_EQ(SheetGroupConvertFromDecoration(panel, box), box);
    ASSERT_EQ(SheetGroupAddSheet(panel, box, "Only", SHEET_MODE_PANEL, childPanel()), 0);
    int tabHeight = 0, height = 0, boxTop = 0;
    GetCtrlAttribute(panel, labelOf("Only"), ATTR_HEIGHT, &tabHeight);
    GetCtrlAttribute(panel, box, ATTR_HEIGHT, &height);
    GetCtrlAttribute(panel, box, ATTR_TOP, &boxTop);
    EXPECT_EQ(boxTop, 30 + tabHeight);  // the body moved below its tab row...
    EXPECT_EQ(height, 200 - tabHeight);  // ...and kept its bottom edge
    // Discarding the panel disposes of the group with it (the sanitizers check the rest).
    EXPECT_EQ(DiscardPanel(panel), 0);
}

}  // namespace

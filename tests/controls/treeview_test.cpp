#include "controls/treeview.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "controls/scrollbar.h"
#include "tests/support/tempdir.h"
#include "uiruntime/testing/uitest.h"
#include "uiruntime/uiruntime.h"

namespace {

struct HandlerCall {
    int code;
    int selected;
};
std::vector<HandlerCall> calls;

int recordHandler(int, int, int event, void* callbackData, int, int) {
    int selected = -1;
    TV_GetSelectedItem(static_cast<TreeView*>(callbackData), &selected);
    calls.push_back({event, selected});
    return 0;
}

// Five whole rows in view (and a strip of a sixth), a scroll bar beside them.
class Tree : public ::testing::Test {
protected:
    static constexpr int kRows = 5;
    static constexpr int kTop = 10, kLeft = 10;
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        panel = NewPanel(0, "Tree", 50, 50, 200, 300);
        canvas = NewCtrl(panel, CTRL_CANVAS, "", kTop, kLeft);
        bar = NewCtrl(panel, CTRL_CANVAS, "", kTop, kLeft + 200);
        SetCtrlAttribute(panel, canvas, ATTR_WIDTH, 200);
        SetCtrlAttribute(panel, canvas, ATTR_HEIGHT, kRows * TV_ROW_HEIGHT + 8);
        SetCtrlAttribute(panel, bar, ATTR_WIDTH, 16);
        SetCtrlAttribute(panel, bar, ATTR_HEIGHT, kRows * TV_ROW_HEIGHT + 8);
        DisplayPanel(panel);
        ASSERT_EQ(TV_CreateExistCanvas(panel, canvas, bar, &tree), 0);
        TV_InstallHandler(tree, recordHandler);
        calls.clear();
    }
    void TearDown() override {
        EXPECT_EQ(TV_Close(tree), 0);
        EXPECT_TRUE(UiTest_Failures().empty());
        UiTest_Reset();
    }

    // root, A (A1 (A1a, A1b), A2), B (B1), C
    void addSample() {
        const struct {
            const char* text;
            int level;
        } items[] = {{"root", 0}, {"A", 1},  {"A1", 2}, {"A1a", 3}, {"A1b", 3},
                     {"A2", 2},   {"B", 1},  {"B1", 2}, {"C", 1}};
        int data = 0;
        for (const auto& item : items) ASSERT_EQ(TV_AddItem(tree, item.text, item.level, -1, 0, data++, nullptr), 0);
        TV_UpdateScreen(tree);
    }
    // n items: a root and n - 1 leaves under it.
    void addFlat(int n) {
        TV_InitNumItems(tree, n);
        TV_AddItem(tree, "root", 0, -1, 0, 0, nullptr);
        for (int i = 1; i < n; ++i) TV_AddItem(tree, ("item " + std::to_string(i)).c_str(), 1, -1, 0, i, nullptr);
        TV_UpdateScreen(tree);
    }
    int selected() {
        int index = -2;
        TV_GetSelectedItem(tree, &index);
        return index;
    }
    int topRow() {
        int row = -1;
        TV_GetTopRow(tree, &row);
        return row;
    }
    TVItemInfo info(int index) {
        TVItemInfo i{};
        EXPECT_EQ(TV_GetItemInfo(tree, index, &i), 0);
        return i;
    }
    int barValue() {
        int value = -1;
        ScrollBar_GetAttribute(panel, bar, SB_ATTR_VALUE, &value);
        return value;
    }
    int barShown() {
        int visible = -1;
        GetCtrlAttribute(panel, bar, ATTR_VISIBLE, &visible);
        return visible;
    }
    // Canvas coordinates of the middle of a row's text, and of its expand box.
    int rowY(int row) { return TV_TOP_MARGIN + row * TV_ROW_HEIGHT + 8; }
    int textX(int level) { return TV_ROW_HEIGHT * level + 30; }
    int boxX(int level) { return TV_ROW_HEIGHT * level - 9; }

    int panel = 0, canvas = 0, bar = 0;
    TreeView* tree = nullptr;
};

TEST_F(Tree, AddingKeepsTheLevelRulesAndCountsDescendants) {
    EXPECT_EQ(TV_AddItem(tree, "first", 1, -1, 0, 0, nullptr), TV_ERR_ARGUMENT);
    EXPECT_EQ(TV_AddItem(tree, "root", 0, 0, 0, 0, nullptr), TV_ERR_POSITION);
    addSample();
    const struct {
        int level, position;
        int status;
    } refused[] = {{-1, -1, TV_ERR_ARGUMENT}, {3, -1, TV_ERR_ARGUMENT}, {1, 2, TV_ERR_POSITION}};
    for (const auto& r : refused)
        EXPECT_EQ(TV_AddItem(tree, "x", r.level, r.position, 0, 0, nullptr), r.status) << r.level;
    int count = 0;
    TV_GetItemCount(tree, &count);
    EXPECT_EQ(count, 9);
    EXPECT_EQ(TV_InitNumItems(tree, 20), TV_ERR_ARGUMENT);  // items exist already

    const int descendants[] = {0, 4, 2, 0, 0, 0, 1, 0, 0};  // the root never counts its own
    for (int i = 0; i < 9; ++i) EXPECT_EQ(info(i).descendants, descendants[i]) << info(i).text;

    std::string longText(200, 'x');
    ASSERT_EQ(TV_AddItem(tree, longText.c_str(), 1, -1, 0, 0, nullptr), 0);
    EXPECT_EQ(std::string(info(9).text), longText.substr(0, TV_TEXT_SIZE - 1));
}

TEST_F(Tree, RowsSkipCollapsedSubtrees) {
    addSample();
    const struct {
        std::vector<int> collapsed;
        std::vector<int> rows;  // absolute row of each item, -1 while hidden
    } cases[] = {
        {{}, {0, 1, 2, 3, 4, 5, 6, 7, 8}},
        {{2}, {0, 1, 2, -1, -1, 3, 4, 5, 6}},
        {{1}, {0, 1, -1, -1, -1, -1, 2, 3, 4}},
        {{2, 1}, {0, 1, -1, -1, -1, -1, 2, 3, 4}},  // a collapsed item inside a collapsed one
        {{1, 6}, {0, 1, -1, -1, -1, -1, 2, -1, 3}},
    };
    for (const auto& c : cases) {
        for (int i : c.collapsed) TV_ExpandCollapse(tree, i);
        std::vector<int> rows;
        for (int i = 0; i < 9; ++i) rows.push_back(TV_CalcRow(tree, i, 1));
        EXPECT_EQ(rows, c.rows);
        // And back: each visible row shows the item whose row it is.
        for (int i = 0; i < 9; ++i)
            if (c.rows[i] >= 0) {
                EXPECT_EQ(TV_CalcIndex(tree, c.rows[i]), i);
            }
        int lastRow = *std::max_element(c.rows.begin(), c.rows.end());
        EXPECT_EQ(TV_CalcIndex(tree, lastRow + 1), -1);
        for (auto it = c.collapsed.rbegin(); it != c.collapsed.rend(); ++it) TV_ExpandCollapse(tree, *it);
    }
}

TEST_F(Tree, RowsRelativeToTheTopRow) {
    addFlat(12);
    // Scrolled so that item 4 is at the top: rows 0..4 are in view.
    ScrollBar_SetAttribute(panel, bar, SB_ATTR_VALUE, TV_ConvertToScroll(tree, 4));
    TV_SB_Callback(panel, bar, SB_EVENT_VALUE_CHANGED, tree, TV_ConvertToScroll(tree, 4), SB_ACTION_JUMP);
    ASSERT_EQ(topRow(), 4);
    const struct {
        int index, row;
    } rows[] = {{3, -1}, {4, 0}, {8, 4}, {9, -1}, {11, -1}, {12, -1}};
    for (const auto& r : rows) EXPECT_EQ(TV_CalcRow(tree, r.index, 0), r.row) << r.index;
    const struct {
        int row, index;
    } indices[] = {{0, 4}, {-4, 0}, {-9, 0}, {7, 11}, {8, -1}};
    for (const auto& r : indices) EXPECT_EQ(TV_CalcIndex(tree, r.row), r.index) << r.row;
}

TEST_F(Tree, HitTest) {
    addSample();
    TV_ExpandCollapse(tree, 6);  // B collapsed: C moves up to row 7
    const struct {
        int x, row;
        int hit;
    } cases[] = {
        {0, 0, 2},     // the root's image
        {5, 1, 1},     // A's expand box (level 1: 0..16)
        {17, 1, 2},    // A's image
        {16, 2, 0},    // left of A1's box
        {17, 2, 1},    // A1's box
        {34, 2, 2},    // A1's image
        {20, 5, 0},    // A2 has no children: no box
        {5, 6, 1},     // B, collapsed, still has its box
        {5, 7, 0},     // C: no children
        {100, 7, 2},   // C's text
        {100, 8, 0},   // past the last item
    };
    for (const auto& c : cases) {
        int row = -1;
        EXPECT_EQ(TV_ValidHit(tree, c.x, rowY(c.row), &row), c.hit) << "x " << c.x << " row " << c.row;
        EXPECT_EQ(row, c.row);
    }
    EXPECT_EQ(TV_ValidHit(tree, 5, 0, nullptr), 2) << "the top margin belongs to the first row";
}

TEST_F(Tree, ScrollConversionRoundsHalvesUp) {
    addFlat(20);  // the bar's maximum is 20, 5 rows fit
    const struct {
        int value, top;
    } from[] = {{0, 0}, {1, 1}, {2, 2}, {3, 2}, {10, 8}, {20, 15}};
    for (const auto& c : from) EXPECT_EQ(TV_ConvertFromScroll(tree, c.value), c.top) << c.value;
    const struct {
        int top, value;
    } to[] = {{0, 0}, {1, 1}, {3, 4}, {15, 20}};
    for (const auto& c : to) EXPECT_EQ(TV_ConvertToScroll(tree, c.top), c.value) << c.top;
    for (int top = 0; top <= 15; ++top) EXPECT_EQ(TV_ConvertFromScroll(tree, TV_ConvertToScroll(tree, top)), top);
}

TEST_F(Tree, ScrollBarShowsOnlyWhenRowsDoNotFit) {
    addSample();  // 9 rows, 5 fit
    EXPECT_EQ(barShown(), 1);
    int max = 0;
    ScrollBar_GetAttribute(panel, bar, SB_ATTR_MAX, &max);
    EXPECT_EQ(max, 9);
    // Scrolled to the bottom, then collapsing A leaves 5 rows: they fit, the view starts at 0.
    UiTest_KeyPress(panel, bar, VAL_END_VKEY);
    EXPECT_EQ(topRow(), 4);
    TV_ExpandCollapse(tree, 1);
    EXPECT_EQ(barShown(), 0);
    EXPECT_EQ(topRow(), 0);
    EXPECT_EQ(barValue(), 0);
    // Open again: 9 rows, the bar is back with the rows as its maximum.
    TV_ExpandCollapse(tree, 1);
    EXPECT_EQ(barShown(), 1);
    TV_DeleteItem(tree, -1);
    EXPECT_EQ(barShown(), 0);
    EXPECT_EQ(TV_DeleteItem(tree, 0), TV_ERR_POSITION);
}

TEST_F(Tree, CollapsingWhileScrolledKeepsTheViewFull) {
    addFlat(8);
    for (int i = 0; i < 6; ++i) TV_AddItem(tree, "child", 2, -1, 0, 0, nullptr);  // under item 7
    UiTest_KeyPress(panel, bar, VAL_END_VKEY);
    ASSERT_EQ(topRow(), 9);
    TV_ExpandCollapse(tree, 7);  // 8 rows remain: the last must stay at the bottom
    EXPECT_EQ(topRow(), 3);
    EXPECT_EQ(TV_CalcIndex(tree, kRows - 1), 7);
}

TEST_F(Tree, MouseSelectsTogglesAndActivates) {
    addSample();
    // A click on a text selects it once; a second click on it does nothing more.
    ASSERT_EQ(UiTest_Click(panel, canvas, textX(2), rowY(5)), 0);
    UiTest_Click(panel, canvas, textX(2), rowY(5));
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].code, TV_SELECTION_CHANGED);
    EXPECT_EQ(calls[0].selected, 5);
    // A double click on a leaf activates it; on a parent it toggles.
    calls.clear();
    UiTest_DoubleClick(panel, canvas, textX(2), rowY(5));
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].code, TV_ITEM_ACTIVATED);
    UiTest_DoubleClick(panel, canvas, textX(1), rowY(6));  // B: selected by the first press, then closed
    EXPECT_EQ(info(6).expanded, 0);
    EXPECT_EQ(selected(), 6);
    // The expand box toggles without selecting.
    calls.clear();
    UiTest_Click(panel, canvas, boxX(1), rowY(1));
    EXPECT_EQ(info(1).expanded, 0);
    EXPECT_TRUE(calls.empty());
    // The root never closes: not by a click on it, a double click or "-".
    UiTest_Click(panel, canvas, 4, rowY(0));
    UiTest_DoubleClick(panel, canvas, 4, rowY(0));
    UiTest_KeyPress(panel, canvas, '-');
    EXPECT_EQ(info(0).expanded, 1);
    EXPECT_EQ(TV_CalcRow(tree, 8, 1), 3);
    // Below the last row nothing happens.
    calls.clear();
    UiTest_Click(panel, canvas, textX(1), rowY(4));
    EXPECT_TRUE(calls.empty());
}

TEST_F(Tree, CollapsingTheParentOfTheSelectionSelectsIt) {
    addSample();
    UiTest_Click(panel, canvas, textX(3), rowY(4));  // A1b
    calls.clear();
    UiTest_Click(panel, canvas, boxX(1), rowY(1));  // close A
    EXPECT_EQ(selected(), 1);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].code, TV_SELECTION_CHANGED);
    EXPECT_EQ(calls[0].selected, 1);
    // Closing an item beside the selection leaves it alone.
    calls.clear();
    UiTest_Click(panel, canvas, boxX(1), rowY(2));  // B
    EXPECT_EQ(selected(), 1);
    EXPECT_TRUE(calls.empty());
}

TEST_F(Tree, KeyboardMovesTheSelectionAndTheView) {
    addFlat(9);
    int data = -1;
    const struct {
        int key;
        int selected, top;
    } steps[] = {
        {VAL_UP_ARROW_VKEY, 0, 0},     // not above the first
        {VAL_DOWN_ARROW_VKEY, 1, 0},
        {VAL_DOWN_ARROW_VKEY, 2, 0},
        {VAL_DOWN_ARROW_VKEY, 3, 0},
        {VAL_DOWN_ARROW_VKEY, 4, 0},   // the last whole row
        {VAL_DOWN_ARROW_VKEY, 5, 1},   // the view follows, one row
        {VAL_DOWN_ARROW_VKEY, 6, 2},
        {VAL_DOWN_ARROW_VKEY, 7, 3},
        {VAL_DOWN_ARROW_VKEY, 8, 4},
        {VAL_DOWN_ARROW_VKEY, 8, 4},   // not past the last
        {VAL_UP_ARROW_VKEY, 7, 4},
        {VAL_UP_ARROW_VKEY, 6, 4},
        {VAL_UP_ARROW_VKEY, 5, 4},
        {VAL_UP_ARROW_VKEY, 4, 4},
        {VAL_UP_ARROW_VKEY, 3, 3},     // becomes the first row
    };
    for (const auto& s : steps) {
        calls.clear();
        int before = selected();
        ASSERT_EQ(UiTest_KeyPress(panel, canvas, s.key), 0);
        EXPECT_EQ(selected(), s.selected);
        EXPECT_EQ(topRow(), s.top) << "at " << s.selected;
        EXPECT_EQ(barValue(), TV_ConvertToScroll(tree, s.top));
        EXPECT_EQ(calls.size(), before == s.selected ? 0u : 1u) << "at " << s.selected;
    }
    TV_GetItemData(tree, -1, &data);
    EXPECT_EQ(data, 3);
    calls.clear();
    UiTest_KeyPress(panel, canvas, VAL_ENTER_VKEY);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].code, TV_ITEM_ACTIVATED);
    EXPECT_EQ(UiTest_KeyPress(panel, canvas, 'x'), 0);  // passed on
}

TEST_F(Tree, PlusAndMinusOpenAndCloseTheSelection) {
    addSample();
    UiTest_Click(panel, canvas, textX(2), rowY(2));  // A1
    const struct {
        int key;
        int expanded;
    } steps[] = {{'+', 1}, {'-', 0}, {'-', 0}, {'+' | VAL_SHIFT_MODIFIER, 1}};
    for (const auto& s : steps) {
        UiTest_KeyPress(panel, canvas, s.key);
        EXPECT_EQ(info(2).expanded, s.expanded);
    }
    UiTest_Click(panel, canvas, textX(3), rowY(3));  // A1a has no children
    UiTest_KeyPress(panel, canvas, '-');
    EXPECT_EQ(info(3).expanded, 1);
}

TEST_F(Tree, ScrollBarArrowsMoveOneRowAndTheTrackAPage) {
    addFlat(30);
    const struct {
        int y;  // on the bar
        int top;
    } clicks[] = {{kRows * TV_ROW_HEIGHT + 2, 1}, {kRows * TV_ROW_HEIGHT + 2, 2}, {4, 1}, {70, 5}, {4, 4}};
    for (const auto& c : clicks) {
        ASSERT_EQ(UiTest_Click(panel, bar, 8, c.y), 0);
        EXPECT_EQ(topRow(), c.top) << c.y;
        EXPECT_EQ(TV_CalcIndex(tree, 0), c.top);
    }
    UiTest_Wheel(panel, canvas, 50, 20, -2);
    EXPECT_EQ(topRow(), 10);
    UiTest_Wheel(panel, canvas, 50, 20, 5);
    EXPECT_EQ(topRow(), 0);
}

// What scrolling leaves on the canvas is what drawing every row afresh would give.
TEST_F(Tree, ScrolledCanvasMatchesAFreshDrawing) {
    TempDir dir;
    int vertical = 0, horizontal = 0;
    std::vector<int> dots(18);
    for (size_t i = 0; i < dots.size(); ++i) dots[i] = i % 2 ? 0xFFFFFF : 0x808080;
    NewBitmap(1, 18, dots.data(), &vertical);
    NewBitmap(18, 1, dots.data(), &horizontal);
    TV_UseLines(tree, vertical, horizontal);
    addFlat(3);
    for (int i = 0; i < 4; ++i) TV_AddItem(tree, "deeper", 2, -1, 0, 0, nullptr);
    for (int i = 0; i < 10; ++i) TV_AddItem(tree, "tail", 1, -1, 0, 0, nullptr);
    TV_UpdateScreen(tree);
    auto grab = [&](const char* name) {
        std::string path = dir.file(name);
        EXPECT_EQ(UiTest_Grab(panel, path.c_str()), 0);
        return readFile(path);
    };
    const struct {
        const char* how;
        std::function<void()> act;
    } moves[] = {
        {"a row down", [&] { UiTest_Click(panel, bar, 8, kRows * TV_ROW_HEIGHT + 2); }},
        {"two rows down", [&] { UiTest_Wheel(panel, canvas, 50, 20, -1); }},
        {"a page up", [&] { UiTest_KeyPress(panel, bar, VAL_PAGE_UP_VKEY); }},
        {"selection past the bottom", [&] {
             UiTest_Click(panel, canvas, textX(1), rowY(4));
             UiTest_KeyPress(panel, canvas, VAL_DOWN_ARROW_VKEY);
         }},
        {"collapsed", [&] { TV_ExpandCollapse(tree, 2); }},
    };
    for (const auto& m : moves) {
        m.act();
        std::string scrolled = grab("scrolled.png");
        TV_UpdateScreen(tree);
        EXPECT_TRUE(scrolled == grab("fresh.png")) << m.how;
    }
    int selectedPixel = 0;
    int row = TV_CalcRow(tree, selected(), 0);
    ASSERT_GE(row, 0);
    // Just left of the text, inside the highlight.
    CanvasGetPixel(panel, canvas, MakePoint(TV_ROW_HEIGHT * info(selected()).level + 18, rowY(row)), &selectedPixel);
    EXPECT_NE(selectedPixel, 0xFFFFFF) << "the selection is highlighted";
}

}  // namespace

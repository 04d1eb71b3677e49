// Tables: cells asked for only in view, following the end, selections and events, the clipboard.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support.h"

namespace {

struct Source {
    int calls = 0;
    int lastRow = -1;
};

void cellOf(int, int, int row, int column, TableCell* cell, void* data) {
    auto* s = static_cast<Source*>(data);
    ++s->calls;
    s->lastRow = row;
    std::snprintf(cell->text, cell->textSize, "r%dc%d", row, column);
    if (row % 2) cell->textColor = 0xFF0000;
}

class Tables : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        p = NewPanel(0, "T", 0, 0, 400, 500);
        table = NewCtrl(p, CTRL_TABLE, "Calls", 30, 10);
        SetCtrlAttribute(p, table, ATTR_HEIGHT, 300);
        SetCtrlAttribute(p, table, ATTR_WIDTH, 480);
        const char* columns[] = {"Call", "Operation", "Status"};
        ASSERT_EQ(SetTableColumns(p, table, 3, columns), 0);
        ASSERT_EQ(SetTableCellSource(p, table, cellOf, &source), 0);
        InstallCtrlCallback(p, table, ExampleControl, nullptr);
        DisplayPanel(p);
    }
    int firstVisible() {
        int first = -1;
        GetCtrlAttribute(p, table, ATTR_FIRST_VISIBLE_LINE, &first);
        return first;
    }
    int rows() {
        int n = -1;
        GetNumTableRows(p, table, &n);
        return n;
    }
    // Paints the panel as the screen would.
    void paint() { UiTest_Grab(p, "/dev/null"); }

    Source source;
    int p = 0, table = 0;
};

TEST_F(Tables, OnlyTheRowsInViewAreAskedFor) {
    ASSERT_EQ(SetNumTableRows(p, table, 100000), 0);
    EXPECT_EQ(rows(), 100000);
    source.calls = 0;
    paint();
    // A screenful of rows in three columns, whatever the number of rows.
    EXPECT_GT(source.calls, 0);
    EXPECT_LT(source.calls, 3 * 60);
    EXPECT_GE(source.lastRow, 90000);  // the view followed the rows to the end
    EXPECT_EQ(UiTest_TableCellText(p, table, 12345, 1), "r12345c1");
    EXPECT_EQ(UiTest_TableCellText(p, table, 100000, 1), "");
    int columns = 0;
    GetNumTableColumns(p, table, &columns);
    EXPECT_EQ(columns, 3);
}

TEST_F(Tables, NewRowsAreFollowedUnlessTheUserScrolledUp) {
    SetNumTableRows(p, table, 1000);
    int atEnd = firstVisible();
    EXPECT_GT(atEnd, 900);
    SetNumTableRows(p, table, 1010);
    EXPECT_EQ(firstVisible(), atEnd + 10);

    ASSERT_EQ(UiTest_ScrollTable(p, table, 100), 0);
    SetNumTableRows(p, table, 1100);
    EXPECT_EQ(firstVisible(), 100);  // the user keeps his place
    // Rows falling off the top keep the same rows in view.
    ASSERT_EQ(DeleteTableRows(p, table, 0, 30), 0);
    EXPECT_EQ(firstVisible(), 70);
    EXPECT_EQ(rows(), 1070);
    ASSERT_EQ(DeleteTableRows(p, table, 0, 500), 0);
    EXPECT_EQ(firstVisible(), 0);

    // Back at the end, the view follows again.
    int n = rows();
    ASSERT_EQ(UiTest_ScrollTable(p, table, n - 1), 0);
    int bottom = firstVisible();
    SetNumTableRows(p, table, n + 5);
    EXPECT_EQ(firstVisible(), bottom + 5);
    EXPECT_EQ(SetNumTableRows(p, table, -1), UIEInvalidAttributeValue);
    EXPECT_EQ(DeleteTableRows(p, table, n + 5, 1), UIEIndexOutOfRange);
}

TEST_F(Tables, TheUsersChoicesAreEventsAndTheProgramsAreNot) {
    SetNumTableRows(p, table, 20);
    g_seen.clear();
    ASSERT_EQ(UiTest_SelectIndex(p, table, 3), 0);
    EXPECT_EQ(eventsOf(p, table), std::vector<int>{EVENT_VAL_CHANGED});
    int row = -1;
    GetCtrlVal(p, table, &row);
    EXPECT_EQ(row, 3);
    EXPECT_EQ(UiTest_DisplayedText(p, table), "r3c0\tr3c1\tr3c2");
    ASSERT_EQ(UiTest_SelectMoreRows(p, table, 7), 0);
    int selected[4] = {}, count = 0;
    ASSERT_EQ(GetSelectedTableRows(p, table, selected, 4, &count), 0);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(selected[0], 3);
    EXPECT_EQ(selected[1], 7);

    g_seen.clear();
    ASSERT_EQ(UiTest_Commit(p, table), 0);
    EXPECT_EQ(eventsOf(p, table), std::vector<int>{EVENT_COMMIT});

    g_seen.clear();
    ASSERT_EQ(SetCtrlVal(p, table, 12), 0);
    GetSelectedTableRows(p, table, selected, 4, &count);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(selected[0], 12);
    SetNumTableRows(p, table, 10);  // the current row goes
    EXPECT_TRUE(eventsOf(p, table).empty());
    EXPECT_EQ(SetCtrlVal(p, table, 10), UIEIndexOutOfRange);
    ASSERT_EQ(SetCtrlVal(p, table, -1), 0);
    GetSelectedTableRows(p, table, selected, 4, &count);
    EXPECT_EQ(count, 0);
}

TEST_F(Tables, TableFunctionsNeedATable) {
    int button = NewCtrl(p, CTRL_COMMAND_BUTTON, "B", 350, 10);
    int n = 0;
    const struct {
        const char* what;
        int rc;
    } cases[] = {
        {"SetNumTableRows", SetNumTableRows(p, button, 1)},
        {"GetNumTableRows", GetNumTableRows(p, button, &n)},
        {"RefreshTable", RefreshTable(p, button)},
        {"SetTableColumnWidth", SetTableColumnWidth(p, button, 0, 10)},
        {"GetSelectedTableRows", GetSelectedTableRows(p, button, nullptr, 0, &n)},
    };
    for (const auto& c : cases) EXPECT_EQ(c.rc, UIEInvalidControlType) << c.what;
    EXPECT_EQ(SetTableColumnWidth(p, table, 3, 10), UIEIndexOutOfRange);
    EXPECT_EQ(SetTableColumnWidth(p, table, 2, 10), 0);
    EXPECT_EQ(UiTest_SelectMoreRows(p, button, 0), UIEInvalidControlType);
}

TEST_F(Tables, TheClipboardHoldsText) {
    ASSERT_EQ(ClipboardPutText("a,b\nc"), 0);
    char small[3];
    size_t length = 0;
    ASSERT_EQ(ClipboardGetText(small, sizeof small, &length), 0);
    EXPECT_EQ(length, 5u);
    EXPECT_STREQ(small, "a,");
    EXPECT_EQ(ClipboardPutText(nullptr), UIENullPointer);
}

}  // namespace

// Rings and list boxes: items, values, escapes, check marks, user choices, other threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "support.h"

namespace {

class Lists : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        p = NewPanel(0, "L", 0, 0, 300, 400);
        ring = NewCtrl(p, CTRL_RING, "Ring", 30, 10);
        list = NewCtrl(p, CTRL_LIST, "List", 80, 10);
        InstallCtrlCallback(p, ring, ExampleControl, nullptr);
        InstallCtrlCallback(p, list, ExampleControl, nullptr);
        DisplayPanel(p);
    }
    std::string label(int c, int index) {
        char buf[256] = "";
        EXPECT_EQ(GetLabelFromIndex(p, c, index, buf), 0);
        return buf;
    }
    int count(int c) {
        int n = -1;
        GetNumListItems(p, c, &n);
        return n;
    }
    int p = 0, ring = 0, list = 0;
};

TEST_F(Lists, InsertReplaceAndDeleteKeepLabelsAndValuesTogether) {
    for (int c : {ring, list}) {
        ASSERT_EQ(InsertListItem(p, c, -1, "b", 2), 0);
        ASSERT_EQ(InsertListItem(p, c, 0, "a", 1), 0);
        ASSERT_EQ(InsertListItem(p, c, -1, "d", 4), 0);
        ASSERT_EQ(InsertListItem(p, c, 2, "c", 3), 0);
        EXPECT_EQ(count(c), 4);
        for (int k = 0; k < 4; ++k) {
            int v = 0;
            GetValueFromIndex(p, c, k, &v);
            EXPECT_EQ(v, k + 1);
            EXPECT_EQ(label(c, k), std::string(1, static_cast<char>('a' + k)));
        }
        ASSERT_EQ(ReplaceListItem(p, c, 1, "B", 20), 0);
        int index = -1;
        GetIndexFromValue(p, c, &index, 20);
        EXPECT_EQ(index, 1);
        GetIndexFromValue(p, c, &index, 99);
        EXPECT_EQ(index, -1);
        ASSERT_EQ(DeleteListItem(p, c, 1, 2), 0);
        EXPECT_EQ(count(c), 2);
        EXPECT_EQ(label(c, 1), "d");
        ASSERT_EQ(DeleteListItem(p, c, 0, -1), 0);
        EXPECT_EQ(count(c), 0);
        EXPECT_EQ(InsertListItem(p, c, 5, "x", 1), UIEIndexOutOfRange);
        EXPECT_EQ(DeleteListItem(p, c, 0, 1), UIEIndexOutOfRange);
        EXPECT_EQ(ReplaceListItem(p, c, 0, "x", 1), UIEIndexOutOfRange);
    }
}

TEST_F(Lists, TheCurrentItemGivesTheValueAndFollowsSetCtrlVal) {
    InsertListItem(p, ring, -1, "one", 10);
    InsertListItem(p, ring, -1, "two", 20);
    int index = -1, v = 0;
    GetCtrlIndex(p, ring, &index);
    EXPECT_EQ(index, 0);  // the first item becomes current
    ASSERT_EQ(SetCtrlVal(p, ring, 20), 0);
    GetCtrlIndex(p, ring, &index);
    GetCtrlVal(p, ring, &v);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(v, 20);
    EXPECT_EQ(SetCtrlVal(p, ring, 30), UIEValueNotInList);
    EXPECT_EQ(SetCtrlIndex(p, ring, 2), UIEIndexOutOfRange);
    ClearListCtrl(p, ring);
    GetCtrlIndex(p, ring, &index);
    EXPECT_EQ(index, -1);
    EXPECT_EQ(GetCtrlVal(p, ring, &v), UIEIndexOutOfRange);
    EXPECT_TRUE(eventsOf(p, ring).empty());
}

TEST_F(Lists, TextValuedListsHoldTextAndRefuseNumbers) {
    SetCtrlAttribute(p, ring, ATTR_DATA_TYPE, VAL_STRING);
    ASSERT_EQ(InsertListItem(p, ring, -1, "?*INSTR", ""), 0);
    ASSERT_EQ(InsertListItem(p, ring, -1, "GPIB?*", "gpib"), 0);
    EXPECT_EQ(InsertListItem(p, ring, -1, "bad", 5), UIEInvalidDataType);
    char value[8];
    int length = 0;
    GetValueFromIndex(p, ring, 1, value);
    GetValueLengthFromIndex(p, ring, 1, &length);
    EXPECT_STREQ(value, "gpib");
    EXPECT_EQ(length, 4);
    char tiny[3];
    EXPECT_EQ(GetValueFromIndex(p, ring, 1, tiny), UIEBufferTooSmall);
    EXPECT_STREQ(tiny, "gp");
    SetCtrlVal(p, ring, "gpib");
    int index = -1;
    GetCtrlIndex(p, ring, &index);
    EXPECT_EQ(index, 1);
}

// Labels keep their escapes; the separator counts as an item.
TEST_F(Lists, LabelsKeepTheirEscapes) {
    const char* rows[] = {"?*", "?*INSTR", "<Builder>", "\033m-", "VI_ATTR_TMO_VALUE\033p200l== 5"};
    SetCtrlAttribute(p, ring, ATTR_DATA_TYPE, VAL_STRING);
    for (const char* r : rows) {
        ASSERT_EQ(InsertListItem(p, ring, -1, r, ""), 0);
        ASSERT_EQ(InsertListItem(p, list, -1, r, 0), 0);
    }
    EXPECT_EQ(count(ring), 5);
    EXPECT_EQ(count(list), 5);
    for (int k = 0; k < 5; ++k) {
        EXPECT_EQ(label(ring, k), rows[k]);
        EXPECT_EQ(label(list, k), rows[k]);
    }
    int length = 0;
    GetLabelLengthFromIndex(p, list, 4, &length);
    EXPECT_EQ(length, static_cast<int>(std::string(rows[4]).size()));
    SetCtrlIndex(p, list, 4);
    EXPECT_EQ(UiTest_DisplayedText(p, list), "VI_ATTR_TMO_VALUE == 5");
}

TEST_F(Lists, CheckMarksAreSetByProgramAndUser) {
    SetCtrlAttribute(p, list, ATTR_CHECK_MODE, 1);
    for (int k = 0; k < 3; ++k) InsertListItem(p, list, -1, "item", k);
    CheckListItem(p, list, 1, 1);
    int checked = 0, n = 0;
    IsListItemChecked(p, list, 1, &checked);
    GetNumCheckedItems(p, list, &n);
    EXPECT_EQ(checked, 1);
    EXPECT_EQ(n, 1);
    EXPECT_TRUE(eventsOf(p, list).empty());
    ASSERT_EQ(UiTest_ToggleCheck(p, list, 2), 0);
    IsListItemChecked(p, list, 2, &checked);
    EXPECT_EQ(checked, 1);
    EXPECT_EQ(eventsOf(p, list), std::vector<int>{EVENT_COMMIT});
    EXPECT_EQ(CheckListItem(p, ring, 0, 1), UIEInvalidControlType);
    EXPECT_EQ(IsListItemChecked(p, list, 3, &checked), UIEIndexOutOfRange);
}

TEST_F(Lists, UserChoicesGiveTheirEvents) {
    for (int k = 0; k < 3; ++k) {
        InsertListItem(p, ring, -1, "r", k);
        InsertListItem(p, list, -1, "l", k);
    }
    // A ring: a new item changes and commits; choosing the same item again commits only.
    UiTest_SelectIndex(p, ring, 2);
    UiTest_SelectIndex(p, ring, 2);
    EXPECT_EQ(eventsOf(p, ring), (std::vector<int>{EVENT_VAL_CHANGED, EVENT_COMMIT, EVENT_COMMIT}));
    // A list box: moving the selection changes; activating an item commits.
    UiTest_SelectIndex(p, list, 1);
    UiTest_Commit(p, list);
    EXPECT_EQ(eventsOf(p, list), (std::vector<int>{EVENT_VAL_CHANGED, EVENT_COMMIT}));
    int v = -1;
    GetCtrlVal(p, list, &v);
    EXPECT_EQ(v, 1);
    g_seen.clear();
    UiTest_KeyPress(p, list, VAL_DOWN_ARROW_VKEY);
    GetCtrlVal(p, list, &v);
    EXPECT_EQ(v, 2);
    EXPECT_EQ(eventsOf(p, list), (std::vector<int>{EVENT_KEYPRESS, EVENT_VAL_CHANGED}));
    EXPECT_EQ(UiTest_SelectIndex(p, list, 3), UIEIndexOutOfRange);
}

TEST_F(Lists, ADoubleClickOnAnItemCommitsIt) {
    for (int k = 0; k < 3; ++k) InsertListItem(p, list, -1, "line", k);
    ASSERT_EQ(UiTest_DoubleClick(p, list, 20, 5), 0);
    std::vector<int> ev = eventsOf(p, list);
    EXPECT_NE(std::find(ev.begin(), ev.end(), EVENT_LEFT_DOUBLE_CLICK), ev.end());
    EXPECT_EQ(ev.back(), EVENT_COMMIT);
}

// A handler thread appends to a list: the items arrive on the runtime's thread, in order.
TEST_F(Lists, InsertionsFromOtherThreadsArriveInOrder) {
    std::thread worker([this] {
        for (int k = 0; k < 200; ++k) {
            std::string text = "VI_EVENT_SERVICE_REQ " + std::to_string(k);
            InsertListItem(p, list, -1, text.c_str(), k);
        }
        EXPECT_EQ(SetCtrlVal(p, list, 3), UIENotOnGuiThread);
    });
    worker.join();
    EXPECT_EQ(count(list), 0);  // nothing touched the widgets from the other thread
    EXPECT_EQ(UiTest_RunDeferredCalls(), 200);
    ASSERT_EQ(count(list), 200);
    for (int k : {0, 57, 199}) {
        int v = -1;
        GetValueFromIndex(p, list, k, &v);
        EXPECT_EQ(v, k);
        EXPECT_EQ(label(list, k), "VI_EVENT_SERVICE_REQ " + std::to_string(k));
    }
}

}  // namespace

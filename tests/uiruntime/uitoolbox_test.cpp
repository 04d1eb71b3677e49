// The toolbox functions over controls.
#include "uiruntime/uitoolbox.h"

#include <gtest/gtest.h>

#include "support.h"

namespace {

class UiToolbox : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        p = NewPanel(0, "T", 0, 0, 200, 200);
        for (int k = 0; k < 5; ++k) ids.push_back(NewCtrl(p, CTRL_TEXT_MSG, "x", 10 * k, 0));
    }
    int z(int c) {
        int v = -1;
        GetCtrlAttribute(p, c, ATTR_ZPLANE_POSITION, &v);
        return v;
    }
    int dimmed(int c) {
        int v = -1;
        GetCtrlAttribute(p, c, ATTR_DIMMED, &v);
        return v;
    }
    int p = 0;
    std::vector<int> ids;
};

TEST_F(UiToolbox, SetBOLEReturnsThePreviousSetting) {
    DisableBreakOnLibraryErrors();
    EXPECT_EQ(SetBOLE(1), 0);
    EXPECT_EQ(SetBOLE(0), 1);
    EXPECT_EQ(GetBreakOnLibraryErrors(), 0);
}

TEST_F(UiToolbox, AttributesForListsAndArgumentLists) {
    ListType list = ListCreate(sizeof(int));
    ListInsertItem(list, &ids[1], END_OF_LIST);
    ListInsertItem(list, &ids[3], END_OF_LIST);
    ASSERT_EQ(SetAttributeForList(p, list, ATTR_DIMMED, 1), 0);
    EXPECT_EQ(dimmed(ids[1]) + dimmed(ids[3]), 2);
    EXPECT_EQ(dimmed(ids[0]) + dimmed(ids[2]), 0);
    int bad = 999;
    ListInsertItem(list, &bad, END_OF_LIST);
    EXPECT_EQ(SetAttributeForList(p, list, ATTR_DIMMED, 0), UIEInvalidControl);
    ListDispose(list);
    // A value below 2 ends the argument list; maxCount limits it.
    ASSERT_EQ(SetAttributeForCtrls(p, ATTR_DIMMED, 1, 0, ids[0], ids[2], 0, ids[4]), 0);
    EXPECT_EQ(dimmed(ids[0]) + dimmed(ids[2]), 2);
    EXPECT_EQ(dimmed(ids[4]), 0);
    ASSERT_EQ(SetAttributeForCtrls(p, ATTR_DIMMED, 0, 1, ids[0], ids[2], 0), 0);
    EXPECT_EQ(dimmed(ids[0]), 0);
    EXPECT_EQ(dimmed(ids[2]), 1);
}

TEST_F(UiToolbox, ExtremesOfAnAttribute) {
    SetCtrlAttribute(p, ids[0], ATTR_WIDTH, 30);
    SetCtrlAttribute(p, ids[1], ATTR_WIDTH, 80);
    SetCtrlAttribute(p, ids[2], ATTR_WIDTH, 50);
    ASSERT_EQ(SetCtrlsToAttributeExtreme(p, ATTR_WIDTH, 1, 0, ids[0], ids[1], ids[2], 0), 0);
    for (int k = 0; k < 3; ++k) {
        int w = 0;
        GetCtrlAttribute(p, ids[k], ATTR_WIDTH, &w);
        EXPECT_EQ(w, 80);
    }
}

// Positions are front first: the newest control, ids[4], is at 0.
TEST_F(UiToolbox, MoveBehindAndInFrontPlaceDirectlyNextToTheReference) {
    struct {
        bool behind;
        int reference, control;
    } moves[] = {{true, 4, 0}, {true, 0, 4}, {false, 1, 3}, {false, 3, 2}, {true, 2, 3}, {false, 2, 3}};
    for (auto& m : moves) {
        int ref = ids[m.reference], c = ids[m.control];
        ASSERT_EQ(m.behind ? MoveBehind(p, ref, c) : MoveInFront(p, ref, c), 0);
        EXPECT_EQ(z(c), z(ref) + (m.behind ? 1 : -1)) << m.behind << " " << m.reference << " " << m.control;
    }
    EXPECT_EQ(MoveBehind(p, 999, ids[0]), UIEInvalidControl);
}

TEST_F(UiToolbox, DiscardCtrlNoBOLECanSkipTheDiscardEvent) {
    InstallCtrlCallback(p, ids[0], ExampleControl, nullptr);
    InstallCtrlCallback(p, ids[1], ExampleControl, nullptr);
    EnableBreakOnLibraryErrors();
    ASSERT_EQ(DiscardCtrlNoBOLE(p, ids[0], 0), 0);
    ASSERT_EQ(DiscardCtrlNoBOLE(p, ids[1], 1), 0);
    EXPECT_EQ(eventsOf(p, ids[0]), std::vector<int>{EVENT_DISCARD});
    EXPECT_TRUE(eventsOf(p, ids[1]).empty());
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(DiscardCtrlNoBOLE(p, ids[1], 0), UIEInvalidControl);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(GetBreakOnLibraryErrors(), 1);
    EXPECT_EQ(DiscardCtrlNoBOLE(p, 0, 1), 0);
    DisableBreakOnLibraryErrors();
}

}  // namespace

// Panels: attributes, display, popups, and the order in which discarding calls back.
#include <gtest/gtest.h>

#include "support.h"

namespace {

class Panels : public RuntimeTest {};

TEST_F(Panels, AttributesReadBackAsSet) {
    int p = NewPanel(0, "First", 40, 50, 200, 300);
    ASSERT_GT(p, 0);
    struct {
        int attribute;
        int value;
    } ints[] = {{ATTR_TOP, 60},      {ATTR_LEFT, 70},       {ATTR_HEIGHT, 250},
                {ATTR_WIDTH, 320},   {ATTR_BACKCOLOR, 0xC0C0C0}, {ATTR_PANEL_LOOK, VAL_PANEL_LOOK_TOOLTIP},
                {ATTR_SIZABLE, 0},   {ATTR_MOVABLE, 0}};
    for (auto& a : ints) {
        ASSERT_EQ(SetPanelAttribute(p, a.attribute, a.value), 0) << a.attribute;
        int v = -1;
        ASSERT_EQ(GetPanelAttribute(p, a.attribute, &v), 0) << a.attribute;
        EXPECT_EQ(v, a.value) << a.attribute;
    }
    char title[32];
    ASSERT_EQ(SetPanelAttribute(p, ATTR_TITLE, "Renamed"), 0);
    GetPanelAttribute(p, ATTR_TITLE, title);
    EXPECT_STREQ(title, "Renamed");
    int data = 7;
    void* back = nullptr;
    SetPanelAttribute(p, ATTR_CALLBACK_DATA, static_cast<void*>(&data));
    GetPanelAttribute(p, ATTR_CALLBACK_DATA, &back);
    EXPECT_EQ(back, &data);
    PanelCallbackPtr cb = nullptr;
    SetPanelAttribute(p, ATTR_CALLBACK_FUNCTION_POINTER, ExamplePanel);
    GetPanelAttribute(p, ATTR_CALLBACK_FUNCTION_POINTER, &cb);
    EXPECT_EQ(cb, &ExamplePanel);
}

TEST_F(Panels, RefusesBadHandlesAttributesAndValues) {
    int p = NewPanel(0, "P", 0, 0, 100, 100);
    int v = 0;
    EXPECT_EQ(SetPanelAttribute(p + 100, ATTR_TOP, 1), UIEInvalidPanel);
    EXPECT_EQ(GetPanelAttribute(p, ATTR_DATA_TYPE, &v), UIEInvalidAttribute);
    EXPECT_EQ(SetPanelAttribute(p, ATTR_HEIGHT, 0), UIEInvalidAttributeValue);
    EXPECT_EQ(SetPanelAttribute(p, ATTR_BACKCOLOR, 0x1000000), UIEInvalidAttributeValue);
    EXPECT_EQ(SetPanelAttribute(p, ATTR_PANEL_LOOK, 3), UIEInvalidAttributeValue);
    EXPECT_EQ(SetPanelAttribute(p, ATTR_TITLE, 5), UIEInvalidDataType);
    EXPECT_EQ(SetPanelAttribute(p, ATTR_MENU_HEIGHT, 5), UIEInvalidAttribute);
    EXPECT_EQ(NewPanel(p + 100, "orphan", 0, 0, 10, 10), UIEInvalidPanel);
}

TEST_F(Panels, DisplayAndHideDecideWhatIsShown) {
    int p = NewPanel(0, "P", 0, 0, 100, 100);
    int child = NewPanel(p, "C", 5, 5, 40, 40);
    int visible = -1;
    GetPanelAttribute(p, ATTR_VISIBLE, &visible);
    EXPECT_EQ(visible, 0);
    DisplayPanel(child);
    EXPECT_EQ(UiTest_IsShown(child, 0), 0);  // its parent is still hidden
    DisplayPanel(p);
    EXPECT_EQ(UiTest_IsShown(child, 0), 1);
    HidePanel(child);
    EXPECT_EQ(UiTest_IsShown(child, 0), 0);
    GetPanelAttribute(p, ATTR_VISIBLE, &visible);
    EXPECT_EQ(visible, 1);
    EXPECT_EQ(GetActivePanel(), p);
}

TEST_F(Panels, ListsControlsAndChildrenInCreationOrder) {
    int p = NewPanel(0, "P", 0, 0, 100, 100);
    int a = NewCtrl(p, CTRL_STRING, "", 0, 0);
    int b = NewCtrl(p, CTRL_NUMERIC, "", 30, 0);
    int c1 = NewPanel(p, "1", 0, 0, 10, 10), c2 = NewPanel(p, "2", 0, 0, 10, 10);
    int v = 0;
    GetPanelAttribute(p, ATTR_NUM_CTRLS, &v);
    EXPECT_EQ(v, 2);
    GetPanelAttribute(p, ATTR_PANEL_FIRST_CTRL, &v);
    EXPECT_EQ(v, a);
    GetCtrlAttribute(p, a, ATTR_NEXT_CTRL, &v);
    EXPECT_EQ(v, b);
    GetCtrlAttribute(p, b, ATTR_NEXT_CTRL, &v);
    EXPECT_EQ(v, 0);
    GetPanelAttribute(p, ATTR_PANEL_FIRST_CHILD, &v);
    EXPECT_EQ(v, c1);
    GetPanelAttribute(c1, ATTR_NEXT_PANEL, &v);
    EXPECT_EQ(v, c2);
    GetPanelAttribute(c2, ATTR_NEXT_PANEL, &v);
    EXPECT_EQ(v, 0);
}

// Discarding: child panels first, then each control in creation order, then the panel itself;
// everything can still be read during the callbacks.
TEST_F(Panels, DiscardCallsBackChildrenControlsThenThePanel) {
    int main = load(EXAMPLE);
    int child = LoadPanel(main, "example.uir", CHILD);
    ASSERT_GT(child, 0);
    g_seen.clear();
    ASSERT_EQ(DiscardPanel(main), 0);
    std::vector<Seen> discards;
    for (const Seen& s : g_seen)
        if (s.event == EVENT_DISCARD) discards.push_back(s);
    ASSERT_FALSE(discards.empty());
    // The child's controls and the child come before anything of the main panel.
    EXPECT_EQ(discards.front().panel, child);
    size_t childEnd = 0;
    while (childEnd < discards.size() && discards[childEnd].panel == child) ++childEnd;
    EXPECT_EQ(discards[childEnd - 1], (Seen{child, -1, EVENT_DISCARD, 0, 0}));
    EXPECT_EQ(discards.back(), (Seen{main, -1, EVENT_DISCARD, 0, 0}));
    int last = 0;
    for (size_t k = childEnd; k + 1 < discards.size(); ++k) {
        EXPECT_EQ(discards[k].panel, main);
        EXPECT_GT(discards[k].control, last);
        last = discards[k].control;
    }
    EXPECT_EQ(GetPanelAttribute(main, ATTR_TOP, &last), UIEInvalidPanel);
    EXPECT_EQ(GetPanelAttribute(child, ATTR_TOP, &last), UIEInvalidPanel);
    EXPECT_TRUE(UiTest_Panels().empty());
}

int readDuringDiscard = 0;
int DiscardReader(int panel, int event, void*, int, int) {
    if (event == EVENT_DISCARD) {
        char title[32] = "";
        readDuringDiscard = GetPanelAttribute(panel, ATTR_TITLE, title) == 0 && std::string(title) == "T";
    }
    return 0;
}

int SelfDiscard(int panel, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) DiscardPanel(panel);
    return 0;
}

TEST_F(Panels, APanelCanBeDiscardedFromItsOwnCallbacks) {
    int p = NewPanel(0, "T", 0, 0, 100, 100);
    InstallPanelCallback(p, DiscardReader, nullptr);
    int b = NewCtrl(p, CTRL_COMMAND_BUTTON, "Close", 10, 10);
    InstallCtrlCallback(p, b, SelfDiscard, nullptr);
    DisplayPanel(p);
    ASSERT_EQ(UiTest_Commit(p, b), 0);
    EXPECT_EQ(readDuringDiscard, 1);
    EXPECT_EQ(UiTest_Commit(p, b), UIEInvalidPanel);
    ProcessSystemEvents();
}

TEST_F(Panels, TheCloseBoxOnlyReportsTheEvent) {
    int p = load(EXAMPLE);
    ASSERT_EQ(UiTest_ClosePanel(p), 0);
    EXPECT_EQ(eventsOf(p, -1), std::vector<int>{EVENT_CLOSE});
    EXPECT_EQ(UiTest_IsShown(p, 0), 1);
}

TEST_F(Panels, AnInstalledPopupTakesAllInput) {
    int main = load(EXAMPLE);
    int dialog = LoadPanel(0, "example.uir", DIALOG);
    ASSERT_EQ(InstallPopup(dialog), 0);
    EXPECT_EQ(UiTest_Commit(main, EXAMPLE_QUIT), UIEPanelBlockedByPopup);
    EXPECT_EQ(UiTest_Commit(dialog, DIALOG_OK), 0);
    ASSERT_EQ(RemovePopup(0), 0);
    EXPECT_EQ(UiTest_IsShown(dialog, 0), 0);
    EXPECT_EQ(UiTest_Commit(main, EXAMPLE_QUIT), 0);
    EXPECT_EQ(RemovePopup(0), UIENoPopupInstalled);
}

// A dialog loaded as a child of a panel can be the popup too; it stays that panel's child.
TEST_F(Panels, AChildPanelCanBeAPopup) {
    int main = load(EXAMPLE);
    int dialog = LoadPanel(main, "example.uir", DIALOG);
    ASSERT_EQ(InstallPopup(dialog), 0);
    EXPECT_EQ(UiTest_IsShown(dialog, 0), 1);
    EXPECT_EQ(UiTest_Commit(main, EXAMPLE_APPLY), UIEPanelBlockedByPopup);
    EXPECT_EQ(UiTest_SetValue(dialog, DIALOG_ENTRY, "ASRL1::INSTR"), 0);
    ASSERT_EQ(RemovePopup(0), 0);
    int parent = 0;
    GetPanelAttribute(dialog, ATTR_PANEL_PARENT, &parent);
    EXPECT_EQ(parent, main);
    EXPECT_EQ(UiTest_IsShown(dialog, 0), 0);
    EXPECT_EQ(UiTest_Commit(main, EXAMPLE_APPLY), 0);
    // Discarding the parent takes the dialog along.
    DiscardPanel(main);
    EXPECT_EQ(GetPanelAttribute(dialog, ATTR_PANEL_PARENT, &parent), UIEInvalidPanel);
}

TEST_F(Panels, ChildPanelsStayInFrontOfControls) {
    int p = NewPanel(0, "P", 0, 0, 200, 200);
    int child = NewPanel(p, "C", 0, 0, 100, 100);
    SetPanelAttribute(child, ATTR_BACKCOLOR, 0x00FF00);
    SetPanelAttribute(child, ATTR_PANEL_LOOK, VAL_PANEL_LOOK_EMBEDDED);
    int box = NewCtrl(p, CTRL_RAISED_BOX, "", 0, 0);
    SetCtrlAttribute(p, box, ATTR_FRAME_COLOR, 0xFF0000);
    SetCtrlAttribute(p, box, ATTR_WIDTH, 150);
    SetCtrlAttribute(p, box, ATTR_HEIGHT, 150);
    DisplayPanel(p);
    DisplayPanel(child);
    int rgb = 0;
    ASSERT_EQ(UiTest_PixelAt(p, 50, 50, &rgb), 0);
    EXPECT_EQ(rgb, 0x00FF00);
    ASSERT_EQ(UiTest_PixelAt(p, 120, 120, &rgb), 0);
    EXPECT_EQ(rgb, 0xFF0000);
}

}  // namespace

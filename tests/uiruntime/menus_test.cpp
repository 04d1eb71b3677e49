// Menu bars built at run time and popup menus.
#include <gtest/gtest.h>

#include "support.h"

namespace {

class Menus : public RuntimeTest {};

int g_data = 0;

TEST_F(Menus, ItemsCallTheirCallbackWithBarItemDataAndPanel) {
    int p = NewPanel(0, "M", 0, 0, 200, 300);
    int bar = NewMenuBar(p);
    ASSERT_GT(bar, 0);
    EXPECT_EQ(GetPanelMenuBar(p), bar);
    int file = NewMenu(bar, "__File", -1);
    int open = NewMenuItem(bar, file, "__Open", -1, VAL_MENUKEY_MODIFIER | 'o', ExampleMenu, &g_data);
    int quit = NewMenuItem(bar, file, "__Quit", -1, 0, ExampleMenu, nullptr);
    int refresh = NewMenuItem(bar, file, "__Refresh", quit, 0, ExampleMenu, nullptr);  // before Quit
    ASSERT_GT(open, file);
    DisplayPanel(p);
    int height = 0;
    GetPanelAttribute(p, ATTR_MENU_HEIGHT, &height);
    EXPECT_GT(height, 0);
    ASSERT_EQ(UiTest_ChooseMenuItem(bar, open), 0);
    ASSERT_EQ(UiTest_ChooseMenuItem(bar, refresh), 0);
    ASSERT_EQ(g_seen.size(), 2u);
    EXPECT_EQ(g_seen[0], (Seen{p, open, -2, bar, 0}));
    EXPECT_EQ(g_seen[1].control, refresh);
    void* data = nullptr;
    GetMenuBarAttribute(bar, open, ATTR_CALLBACK_DATA, &data);
    EXPECT_EQ(data, &g_data);
    EXPECT_EQ(UiTest_ChooseMenuItem(bar, file), UIEInvalidMenuItem);
}

TEST_F(Menus, DimmedItemsMenusAndBarsCannotBeChosen) {
    int p = NewPanel(0, "M", 0, 0, 200, 300);
    int bar = NewMenuBar(p);
    int m = NewMenu(bar, "Session", -1);
    int item = NewMenuItem(bar, m, "Close all", -1, 0, ExampleMenu, nullptr);
    SetMenuBarAttribute(bar, item, ATTR_DIMMED, 1);
    EXPECT_EQ(UiTest_ChooseMenuItem(bar, item), UIEControlDimmed);
    SetMenuBarAttribute(bar, item, ATTR_DIMMED, 0);
    SetMenuBarAttribute(bar, m, ATTR_DIMMED, 1);
    EXPECT_EQ(UiTest_ChooseMenuItem(bar, item), UIEControlDimmed);
    SetMenuBarAttribute(bar, m, ATTR_DIMMED, 0);
    SetMenuBarAttribute(bar, 0, ATTR_DIMMED, 1);
    EXPECT_EQ(UiTest_ChooseMenuItem(bar, item), UIEControlDimmed);
    SetMenuBarAttribute(bar, 0, ATTR_DIMMED, 0);
    EXPECT_EQ(UiTest_ChooseMenuItem(bar, item), 0);
    int dimmed = -1;
    GetMenuBarAttribute(bar, item, ATTR_DIMMED, &dimmed);
    EXPECT_EQ(dimmed, 0);
    EXPECT_TRUE(g_seen.size() == 1u);
}

TEST_F(Menus, ItemAttributesReadBackAsSet) {
    int bar = NewMenuBar(0);
    int m = NewMenu(bar, "View", -1);
    int item = NewMenuItem(bar, m, "By __type", -1, 0, nullptr, nullptr);
    SetMenuBarAttribute(bar, item, ATTR_CHECKED, 1);
    SetMenuBarAttribute(bar, item, ATTR_ITEM_NAME, "By __connection");
    SetMenuBarAttribute(bar, item, ATTR_CALLBACK_FUNCTION_POINTER, ExampleMenu);
    int checked = 0;
    char name[32];
    MenuCallbackPtr cb = nullptr;
    GetMenuBarAttribute(bar, item, ATTR_CHECKED, &checked);
    GetMenuBarAttribute(bar, item, ATTR_ITEM_NAME, name);
    GetMenuBarAttribute(bar, item, ATTR_CALLBACK_FUNCTION_POINTER, &cb);
    EXPECT_EQ(checked, 1);
    EXPECT_STREQ(name, "By __connection");
    EXPECT_EQ(cb, &ExampleMenu);
    EXPECT_EQ(SetMenuBarAttribute(bar, item, ATTR_TOP, 1), UIEInvalidAttribute);
    EXPECT_EQ(SetMenuBarAttribute(bar, 99, ATTR_DIMMED, 1), UIEInvalidMenuItem);
    EXPECT_EQ(SetMenuBarAttribute(bar + 50, item, ATTR_DIMMED, 1), UIEInvalidMenuBar);
    ASSERT_EQ(DiscardMenuItem(bar, item), 0);
    EXPECT_EQ(GetMenuBarAttribute(bar, item, ATTR_CHECKED, &checked), UIEInvalidMenuItem);
    ASSERT_EQ(DiscardMenuBar(bar), 0);
    EXPECT_EQ(NewMenu(bar, "x", -1), UIEInvalidMenuBar);
}

// A popup menu as the context help builds one: answered by item name, run at the mouse.
TEST_F(Menus, PopupMenusReturnTheChosenItemAndCallIt) {
    int p = load(EXAMPLE);
    int bar = NewMenuBar(0);
    int menu = NewMenu(bar, "TALMIK", -1);
    int what = NewMenuItem(bar, menu, "__What's This?", -1, 0, nullptr, nullptr);
    int help = NewMenuItem(bar, menu, "__Operation Help", -1, 0, ExampleMenu, nullptr);
    UiTest_AnswerPopupMenu("__Operation Help");
    EXPECT_EQ(RunPopupMenu(bar, menu, p, 100, 120), help);
    EXPECT_EQ(g_seen.back(), (Seen{0, help, -2, bar, 0}));
    UiTest_AnswerPopupMenu("");
    EXPECT_EQ(RunPopupMenu(bar, menu, p, 100, 120), 0);
    ASSERT_EQ(UiTest_Popups().size(), 2u);
    EXPECT_EQ(UiTest_Popups()[0].title, "TALMIK");
    EXPECT_EQ(UiTest_Popups()[0].items, (std::vector<std::string>{"__What's This?", "__Operation Help"}));
    // A dimmed item is not offered.
    SetMenuBarAttribute(bar, what, ATTR_DIMMED, 1);
    UiTest_AnswerPopupMenu("__What's This?");
    EXPECT_EQ(RunPopupMenu(bar, menu, p, 0, 0), 0);
    ASSERT_EQ(UiTest_Failures().size(), 1u);
    UiTest_Reset();
}

TEST_F(Menus, AnUnansweredPopupMenuIsATestFailure) {
    int p = NewPanel(0, "M", 0, 0, 100, 100);
    int bar = NewMenuBar(0);
    int menu = NewMenu(bar, "Context", -1);
    NewMenuItem(bar, menu, "Item", -1, 0, nullptr, nullptr);
    EXPECT_EQ(RunPopupMenu(bar, menu, p, 0, 0), 0);
    ASSERT_EQ(UiTest_Failures().size(), 1u);
    EXPECT_NE(UiTest_Failures()[0].find("Context"), std::string::npos);
    UiTest_Reset();
}

TEST_F(Menus, AMenuBarGoesWithItsPanel) {
    int p = NewPanel(0, "M", 0, 0, 100, 100);
    int bar = NewMenuBar(p);
    int other = NewMenuBar(0);
    NewMenu(other, "Other", -1);
    ASSERT_EQ(SetPanelMenuBar(p, other), 0);
    EXPECT_EQ(GetPanelMenuBar(p), other);
    DiscardPanel(p);
    EXPECT_EQ(NewMenu(other, "x", -1), UIEInvalidMenuBar);
    EXPECT_GT(NewMenu(bar, "still here", -1), 0);  // detached before, so it lives on
}

}  // namespace

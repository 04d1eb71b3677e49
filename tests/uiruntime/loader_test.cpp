// Loading panels from the example bundle, and loads that must fail cleanly.
#include <gtest/gtest.h>

#include <fstream>

#include "support.h"

namespace {

class Loader : public RuntimeTest {};

// The generated header and the runtime number panels and controls the same way.
TEST_F(Loader, GeneratedConstantsNameTheControlsTheRuntimeBuilt) {
    struct {
        int resource;
        const char* panel;
        std::vector<std::pair<int, const char*>> controls;
    } panels[] = {
        {CHILD, "CHILD", {{CHILD_HEADING, "HEADING"}, {CHILD_LEVEL, "LEVEL"}, {CHILD_RESET, "RESET"}}},
        {DIALOG, "DIALOG", {{DIALOG_ENTRY, "ENTRY"}, {DIALOG_OK, "OK"}, {DIALOG_CANCEL, "CANCEL"}}},
        {EXAMPLE, "EXAMPLE",
         {{EXAMPLE_GROUP, "GROUP"}, {EXAMPLE_COUNT, "COUNT"}, {EXAMPLE_MODE, "MODE"},
          {EXAMPLE_ITEMS, "ITEMS"}, {EXAMPLE_CANVAS, "CANVAS"}, {EXAMPLE_LOG, "LOG"},
          {EXAMPLE_TIMER, "TIMER"}, {EXAMPLE_STATUS, "STATUS"}}},
    };
    for (auto& p : panels) {
        int h = LoadPanel(0, "example.uir", p.resource);
        ASSERT_GT(h, 0) << LoadPanelErrorDetail();
        char name[64];
        ASSERT_EQ(GetPanelAttribute(h, ATTR_CONSTANT_NAME, name), 0);
        EXPECT_STREQ(name, p.panel);
        for (auto& [id, cname] : p.controls) {
            ASSERT_EQ(GetCtrlAttribute(h, id, ATTR_CONSTANT_NAME, name), 0) << cname;
            EXPECT_STREQ(name, cname);
        }
        DiscardPanel(h);
    }
}

TEST_F(Loader, LoadsByConstantNameAndAsAChild) {
    int main = LoadPanelByName(0, "example.uir", "EXAMPLE");
    ASSERT_GT(main, 0) << LoadPanelErrorDetail();
    int child = LoadPanel(main, "example.uir", CHILD);
    ASSERT_GT(child, 0);
    int parent = -1;
    EXPECT_EQ(GetPanelAttribute(child, ATTR_PANEL_PARENT, &parent), 0);
    EXPECT_EQ(parent, main);
    int look = -1;
    GetPanelAttribute(child, ATTR_PANEL_LOOK, &look);
    EXPECT_EQ(look, VAL_PANEL_LOOK_EMBEDDED);
    EXPECT_EQ(LoadPanelByName(0, "example.uir", "NOPE"), UIEResourceNotFound);
    EXPECT_NE(std::string(LoadPanelErrorDetail()).find("NOPE"), std::string::npos);
}

TEST_F(Loader, TakesValuesLabelsAndSettingsFromTheForm) {
    int p = load(EXAMPLE);
    char text[128];
    ASSERT_EQ(GetCtrlAttribute(p, EXAMPLE_COUNT, ATTR_LABEL_TEXT, text), 0);
    EXPECT_STREQ(text, "Count");
    int type = -1, format = -1;
    GetCtrlAttribute(p, EXAMPLE_COUNT, ATTR_DATA_TYPE, &type);
    GetCtrlAttribute(p, EXAMPLE_COUNT, ATTR_FORMAT, &format);
    EXPECT_EQ(type, VAL_UNSIGNED_INTEGER);
    EXPECT_EQ(format, VAL_HEX_FORMAT);
    unsigned max = 0;
    GetCtrlAttribute(p, EXAMPLE_COUNT, ATTR_MAX_VALUE, &max);
    EXPECT_EQ(max, 0xFFFFFFFFu);
    double volts = 0, vmax = 0;
    GetCtrlVal(p, EXAMPLE_VOLTAGE, &volts);
    GetCtrlAttribute(p, EXAMPLE_VOLTAGE, ATTR_MAX_VALUE, &vmax);
    EXPECT_DOUBLE_EQ(volts, 1.5);
    EXPECT_DOUBLE_EQ(vmax, 10.0);
    // Ring items with the form's values; list items with check marks available.
    int n = 0, v = 0;
    GetNumListItems(p, EXAMPLE_MODE, &n);
    EXPECT_EQ(n, 3);
    GetValueFromIndex(p, EXAMPLE_MODE, 2, &v);
    EXPECT_EQ(v, 30);
    int check = -1;
    GetCtrlAttribute(p, EXAMPLE_ITEMS, ATTR_CHECK_MODE, &check);
    EXPECT_EQ(check, 1);
    double interval = 0;
    GetCtrlAttribute(p, EXAMPLE_TIMER, ATTR_INTERVAL, &interval);
    EXPECT_DOUBLE_EQ(interval, 0.5);
    int checked = 0;
    GetCtrlVal(p, EXAMPLE_VERBOSE, &checked);
    EXPECT_EQ(checked, 1);
    char cb[64];
    GetCtrlAttribute(p, EXAMPLE_QUIT, ATTR_CALLBACK_NAME, cb);
    EXPECT_STREQ(cb, "ExampleControl");
    GetCtrlAttribute(p, EXAMPLE_QUIT, ATTR_LABEL_TEXT, text);
    EXPECT_STREQ(text, "__Quit");
}

TEST_F(Loader, FlattensGroupsIntoPanelCoordinates) {
    int p = load(EXAMPLE);
    int gTop = 0, gLeft = 0, cTop = 0, cLeft = 0;
    GetCtrlAttribute(p, EXAMPLE_GROUP, ATTR_TOP, &gTop);
    GetCtrlAttribute(p, EXAMPLE_GROUP, ATTR_LEFT, &gLeft);
    GetCtrlAttribute(p, EXAMPLE_COUNT, ATTR_TOP, &cTop);
    GetCtrlAttribute(p, EXAMPLE_COUNT, ATTR_LEFT, &cLeft);
    // The form places COUNT at (110, 26) inside the group box at (10, 8).
    EXPECT_EQ(cLeft, gLeft + 110);
    EXPECT_EQ(cTop, gTop + 26);
    int z0 = -1, zGroup = -1;
    GetCtrlAttribute(p, EXAMPLE_TIMER, ATTR_ZPLANE_POSITION, &z0);
    GetCtrlAttribute(p, EXAMPLE_GROUP, ATTR_ZPLANE_POSITION, &zGroup);
    EXPECT_EQ(z0, 0);  // the last in the form is in front
    EXPECT_GT(zGroup, z0);
    int hidden = LoadPanel(p, "example.uir", CHILD);
    int visible = 1;
    GetCtrlAttribute(hidden, CHILD_HIDDEN_BUTTON, ATTR_VISIBLE, &visible);
    EXPECT_EQ(visible, 0);
}

TEST_F(Loader, BringsTheMenuBarWithItsIdsAndCallbacks) {
    int p = load(EXAMPLE);
    int bar = GetPanelMenuBar(p);
    ASSERT_GT(bar, 0);
    int height = 0;
    GetPanelAttribute(p, ATTR_MENU_HEIGHT, &height);
    EXPECT_GT(height, 10);
    char name[64];
    ASSERT_EQ(GetMenuBarAttribute(bar, MENUBAR_FILE_EXIT, ATTR_ITEM_NAME, name), 0);
    EXPECT_STREQ(name, "E__xit");
    ASSERT_EQ(UiTest_ChooseMenuItem(bar, MENUBAR_VIEW_ZOOM_ZOOM_OUT), 0);
    ASSERT_EQ(g_seen.size(), 1u);
    EXPECT_EQ(g_seen[0], (Seen{p, MENUBAR_VIEW_ZOOM_ZOOM_OUT, -2, bar, 0}));
    int checked = 0;
    GetMenuBarAttribute(bar, MENUBAR_VIEW_SHOW_LOG, ATTR_CHECKED, &checked);
    EXPECT_EQ(checked, 1);
}

TEST_F(Loader, AnUnregisteredCallbackFailsTheLoadWithItsName) {
    ClearCallbackRegistry();
    ASSERT_EQ(RegisterCallback({"ExamplePanel", ExamplePanel}), 0);
    int before = static_cast<int>(UiTest_Panels().size());
    EXPECT_EQ(LoadPanel(0, "example.uir", EXAMPLE), UIEUnknownCallback);
    EXPECT_NE(std::string(LoadPanelErrorDetail()).find("ExampleControl"), std::string::npos)
        << LoadPanelErrorDetail();
    EXPECT_EQ(static_cast<int>(UiTest_Panels().size()), before);
    // A callback registered as the wrong kind is refused too.
    ASSERT_EQ(RegisterCallback({"ExampleControl", ExamplePanel}), 0);
    EXPECT_EQ(LoadPanel(0, "example.uir", EXAMPLE), UIEUnknownCallback);
}

TEST_F(Loader, MissingOrDamagedFilesGiveNegativeResults) {
    TempDir dir;
    dir.write("garbage.uir", std::string(4096, 'x'));
    dir.write("empty.uir", "");
    std::string example = readFile([] {
        char d[1024];
        GetProjectDir(d);
        return std::string(d) + "/example.uir";
    }());
    dir.write("cut.uir", example.substr(0, example.size() / 3));
    EXPECT_EQ(LoadPanel(0, dir.file("nothing.uir").c_str(), 1), UIEFileNotFound);
    EXPECT_EQ(LoadPanel(0, dir.file("garbage.uir").c_str(), 1), UIEBadResourceFile);
    EXPECT_EQ(LoadPanel(0, dir.file("empty.uir").c_str(), 1), UIEBadResourceFile);
    EXPECT_EQ(LoadPanel(0, dir.file("cut.uir").c_str(), 1), UIEBadResourceFile);
    EXPECT_EQ(LoadPanel(0, dir.path().c_str(), 1), UIEBadResourceFile);
    EXPECT_EQ(LoadPanel(0, "example.uir", 0), UIEResourceNotFound);
    EXPECT_EQ(LoadPanel(0, "example.uir", 4), UIEResourceNotFound);
    EXPECT_EQ(LoadPanel(999, "example.uir", EXAMPLE), UIEInvalidPanel);
    EXPECT_EQ(LoadPanel(0, nullptr, 1), UIENullPointer);
    EXPECT_TRUE(UiTest_Panels().empty());
}

TEST_F(Loader, RelativeNamesAreFoundInTheProgramDirectory) {
    TempDir dir;
    char exe[1024];
    GetProjectDir(exe);
    dir.write("copy.uir", readFile(std::string(exe) + "/example.uir"));
    UiTest_SetProjectDir(dir.path().c_str());
    EXPECT_GT(LoadPanel(0, "copy.uir", DIALOG), 0) << LoadPanelErrorDetail();
    // Not in the program directory, but next to the executable.
    EXPECT_GT(LoadPanel(0, "example.uir", DIALOG), 0) << LoadPanelErrorDetail();
}

}  // namespace

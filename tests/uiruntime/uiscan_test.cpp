#include "uiruntime/uiscan.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>

#include "support.h"

namespace {

std::string exampleForm(const char* name) {
    const char* dir = std::getenv("UIR_EXAMPLE_DIR");
    return readFile(std::string(dir ? dir : ".") + "/" + name);
}

int scan(const std::string& xml, uir::ScannedPanel* out, std::string* error) {
    return uir::scanUi(xml.data(), xml.size(), out, error);
}

std::string form(const std::string& body, const std::string& top = "QWidget") {
    return "<?xml version=\"1.0\"?><ui version=\"4.0\"><class>P</class><widget class=\"" + top +
           "\" name=\"P\">" + body + "</widget></ui>";
}

TEST(ScanUi, NumbersControlsInFormOrderAndSkipsLabelsOfOthers) {
    uir::ScannedPanel p;
    std::string error;
    ASSERT_EQ(scan(exampleForm("example.ui"), &p, &error), 0) << error;
    EXPECT_EQ(p.name, "EXAMPLE");
    EXPECT_EQ(p.contentRoot, "centralwidget");
    EXPECT_EQ(p.callback, "ExamplePanel");
    ASSERT_GE(p.controls.size(), 5u);
    // The group box comes first, then what it holds; its buddy labels are no controls.
    EXPECT_EQ(p.controls[0].name, "GROUP");
    EXPECT_EQ(p.controls[0].style, CTRL_RECESSED_FRAME);
    EXPECT_EQ(p.controls[1].name, "COUNT");
    EXPECT_EQ(p.controls[1].caption, "COUNT_LABEL");
    EXPECT_EQ(p.controls[1].headerName, "EXAMPLE_COUNT");
    for (size_t k = 0; k < p.controls.size(); ++k) {
        EXPECT_EQ(p.controls[k].id, static_cast<int>(k) + 2);
        EXPECT_EQ(p.controls[k].name.find("_LABEL"), std::string::npos) << p.controls[k].name;
    }
    EXPECT_EQ(p.styleByName.at("CANVAS"), CTRL_CANVAS);
    EXPECT_EQ(p.styleByName.at("TIMER"), CTRL_TIMER);
    EXPECT_EQ(p.styleByName.at("LED"), CTRL_ROUND_LED);
    EXPECT_EQ(p.styleByName.at("POWER"), CTRL_TOGGLE_BUTTON);
    EXPECT_EQ(p.styleByName.at("LOGO"), CTRL_PICTURE);
    EXPECT_EQ(p.styleByName.count("statusbar"), 0u);
}

TEST(ScanUi, ReadsMenusWithNestedSubmenus) {
    uir::ScannedPanel p;
    std::string error;
    ASSERT_EQ(scan(exampleForm("example.ui"), &p, &error), 0) << error;
    EXPECT_EQ(p.menuBarName, "MENUBAR");
    ASSERT_EQ(p.menus.size(), 3u);
    const uir::ScannedMenuEntry& file = p.menus[0];
    EXPECT_EQ(file.headerName, "MENUBAR_FILE");
    ASSERT_EQ(file.children.size(), 3u);
    EXPECT_EQ(file.children[0].headerName, "MENUBAR_FILE_OPEN");
    EXPECT_EQ(file.children[0].shortcut, "Ctrl+O");
    EXPECT_EQ(file.children[1].type, uir::ScannedMenuEntry::Type::Separator);
    EXPECT_EQ(file.children[2].text, "E&xit");
    const uir::ScannedMenuEntry& zoom = p.menus[1].children[1];
    EXPECT_EQ(zoom.type, uir::ScannedMenuEntry::Type::Menu);
    EXPECT_EQ(zoom.children[0].headerName, "MENUBAR_VIEW_ZOOM_ZOOM_IN");
    EXPECT_TRUE(p.menus[1].children[0].checkable);
    // Ids are unique in the bar and follow the order of the menus.
    std::set<int> ids;
    uir::forEachMenuEntry(p.menus, [&](const uir::ScannedMenuEntry& e) {
        if (e.type != uir::ScannedMenuEntry::Type::Separator) {
            EXPECT_TRUE(ids.insert(e.id).second);
        }
    });
    EXPECT_EQ(*ids.begin(), 2);
}

TEST(ScanUi, KindPropertyAndHeaderNameOverrideTheDefaults) {
    uir::ScannedPanel p;
    std::string error;
    std::string body =
        "<property name=\"headerName\" stdset=\"0\"><string>VIREAD</string></property>"
        "<widget class=\"QWidget\" name=\"TREE\"><property name=\"kind\" stdset=\"0\"><string>canvas</string></property></widget>"
        "<widget class=\"QFrame\" name=\"BOX\"><property name=\"frameShadow\"><enum>QFrame::Sunken</enum></property></widget>"
        "<widget class=\"QTableView\" name=\"CALLS\"/>"
        "<widget class=\"QWidget\" name=\"ROWS\"><property name=\"kind\" stdset=\"0\"><string>table</string></property></widget>";
    std::string xml = "<ui version=\"4.0\"><widget class=\"QWidget\" name=\"viRead\">" + body + "</widget></ui>";
    ASSERT_EQ(scan(xml, &p, &error), 0) << error;
    EXPECT_EQ(p.name, "viRead");
    EXPECT_EQ(p.headerName, "VIREAD");
    EXPECT_EQ(p.controls[0].headerName, "VIREAD_TREE");
    EXPECT_EQ(p.controls[0].style, CTRL_CANVAS);
    EXPECT_EQ(p.controls[1].style, CTRL_RECESSED_BOX);
    EXPECT_EQ(p.controls[2].style, CTRL_TABLE);
    EXPECT_EQ(p.controls[3].style, CTRL_TABLE);
}

struct Bad {
    const char* what;
    std::string xml;
    int rc;
    const char* mentions;
};

void PrintTo(const Bad& b, std::ostream* os) { *os << b.what; }

class ScanUiRefuses : public ::testing::TestWithParam<Bad> {};

TEST_P(ScanUiRefuses, WithAReasonAndALine) {
    const Bad& b = GetParam();
    uir::ScannedPanel p;
    std::string error;
    EXPECT_EQ(scan(b.xml, &p, &error), b.rc) << b.what;
    EXPECT_NE(error.find(b.mentions), std::string::npos) << b.what << ": " << error;
}

INSTANTIATE_TEST_SUITE_P(
    Table, ScanUiRefuses,
    ::testing::Values(
        Bad{"not xml", "this is not a form", UIEBadResourceFile, "line"},
        Bad{"no widget", "<ui version=\"4.0\"></ui>", UIEBadResourceFile, "no panel"},
        Bad{"cut short", form("<widget class=\"QPushButton\" name=\"B\">"), UIEBadResourceFile, "line"},
        Bad{"layout", form("<layout class=\"QVBoxLayout\" name=\"l\"/>"), UIEUnsupportedWidget, "layouts"},
        Bad{"foreign widget", form("<widget class=\"QSlider\" name=\"S\"/>"), UIEUnsupportedWidget, "QSlider"},
        Bad{"unknown kind", form("<widget class=\"QWidget\" name=\"S\"><property name=\"kind\"><string>dial</string></property></widget>"),
            UIEUnsupportedWidget, "dial"},
        Bad{"name twice", form("<widget class=\"QPushButton\" name=\"B\"/><widget class=\"QLineEdit\" name=\"B\"/>"),
            UIEBadResourceFile, "twice"},
        Bad{"bad identifier", form("<widget class=\"QPushButton\" name=\"1B\"/>"), UIEBadResourceFile, "identifier"},
        Bad{"bad callback", form("<widget class=\"QPushButton\" name=\"B\"><property name=\"callback\"><string>a b</string></property></widget>"),
            UIEBadResourceFile, "callback"},
        Bad{"buddy of nothing", form("<widget class=\"QLabel\" name=\"L\"><property name=\"buddy\"><cstring>NONE</cstring></property></widget>"),
            UIEBadResourceFile, "buddy"},
        Bad{"menu item undefined",
            form("<widget class=\"QMenuBar\" name=\"M\"><widget class=\"QMenu\" name=\"F\"><addaction name=\"GONE\"/></widget><addaction name=\"F\"/></widget>"),
            UIEBadResourceFile, "GONE"}),
    [](const auto& info) { return "case" + std::to_string(info.index); });

TEST(ScanUi, RefusesOversizedAndDeeplyNestedInput) {
    uir::ScannedPanel p;
    std::string error;
    std::string big(uir::kMaxUiFileSize + 1, ' ');
    EXPECT_EQ(scan(big, &p, &error), UIEBadResourceFile);
    std::string deep;
    for (int k = 0; k < uir::kMaxUiDepth + 5; ++k) deep += "<widget class=\"QWidget\" name=\"W" + std::to_string(k) + "\">";
    for (int k = 0; k < uir::kMaxUiDepth + 5; ++k) deep += "</widget>";
    EXPECT_EQ(scan(form(deep), &p, &error), UIEBadResourceFile);
    EXPECT_NE(error.find("deeply"), std::string::npos) << error;
}

}  // namespace

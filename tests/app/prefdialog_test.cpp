#include "app/prefdialog.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "app/registry.h"
#include "talmik_uir.h"
#include "tests/support/talmikrun.h"

namespace {

// The keys' values as the file holds them after the run ("" for an absent key).
std::string keyIn(const std::string& file, const std::string& key) {
    size_t at = file.find("\n" + key + " = ");
    if (at == std::string::npos) return "";
    at += key.size() + 4;
    return file.substr(at, file.find('\n', at) - at);
}

int menuDimmed() {
    int d = -1;
    GetMenuBarAttribute(GetPanelMenuBar(rsrcpanel), MENUBAR_FILE_PREFERENCES, ATTR_DIMMED, &d);
    return d;
}

int openDialog() {
    EXPECT_EQ(UiTest_ChooseMenuItem(GetPanelMenuBar(rsrcpanel), MENUBAR_FILE_PREFERENCES), 0);
    EXPECT_GT(preference, 0);
    EXPECT_EQ(menuDimmed(), 1);
    return preference;
}

using Preferences = TalmikRun;

// What confirming the dialog writes and whether the session-window templates are rebuilt.
TEST_F(Preferences, WriteRules) {
    const struct {
        const char* what;
        const char* settings;
        std::function<void(int panel)> act;
        bool written, rebuilt;
        std::vector<std::pair<const char*, const char*>> keys;  // expected in the file afterwards
    } cases[] = {
        {"no change", "", [](int) {}, false, false, {}},
        {"a colour", "",
         [](int p) { UiTest_SetValue(p, PREFS_OPERCOLOR, 0x123456); }, true, true,
         {{"operColor", "1193046"}, {"groupColor", "10092543"}, {"viewRsrcByConn", "1"}, {"loadConfig", "0"}}},
        {"VISA names", "", [](int p) { UiTest_SetValue(p, PREFS_USEVISAID, 0); }, true, true, {{"useVisaId", "0"}}},
        {"load config", "", [](int p) { UiTest_SetValue(p, PREFS_LOADCONFIG, 1); }, true, true, {{"loadConfig", "1"}}},
        {"session handle only", "", [](int p) { UiTest_SetValue(p, PREFS_SHOWSESSION, 0); }, true, false,
         {{"showSession", "0"}}},
        {"duplicates", "", [](int p) { UiTest_SetValue(p, PREFS_SHOWDUPLICATE, 1); }, true, false,
         {{"showDuplicateRsrc", "1"}}},
        // The dialog's start view only decides the write; the browser's view is what is stored.
        {"start view by type", "", [](int p) { UiTest_Commit(p, PREFS_VIEWTYPE); }, true, false,
         {{"viewRsrcByConn", "1"}}},
        {"browser by type, then any change", "",
         [](int p) {
             UiTest_Commit(rsrcio, IOSHEET_VIEWTYPE);
             UiTest_SetValue(p, PREFS_LOADCONFIG, 1);
         },
         true, true, {{"viewRsrcByConn", "0"}}},
        {"browser by type alone writes nothing", "", [](int) { UiTest_Commit(rsrcio, IOSHEET_VIEWTYPE); }, false,
         false, {}},
        {"revert to the defaults", "[Preferences]\ngroupColor = 0\nshowSession = 0\nviewRsrcByConn = 0\n",
         [](int p) {
             UiTest_Commit(rsrcio, IOSHEET_VIEWCONN);
             UiTest_Commit(p, PREFS_REVERT);
         },
         true, true, {{"groupColor", "10092543"}, {"showSession", "1"}, {"viewRsrcByConn", "1"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string before;
        bool rebuilt = false;
        run(
            [&] {
                int panel = openDialog();
                before = settings();
                c.act(panel);
                UiTest_Commit(panel, PREFS_OK);
                rebuilt = windowBits == 0;
                EXPECT_EQ(preference, 0);
                EXPECT_EQ(menuDimmed(), 0);
                EXPECT_EQ(settings() != before, c.written);
            },
            c.settings);
        EXPECT_EQ(rebuilt, c.rebuilt);
        for (const auto& [key, value] : c.keys) EXPECT_EQ(keyIn(settings(), key), value) << key;
    }
}

TEST_F(Preferences, TheDialogShowsTheCopiesAndTheStoredStartView) {
    run(
        [] {
            // The browser's view changes; the dialog still shows the stored start view.
            UiTest_Commit(rsrcio, IOSHEET_VIEWCONN);
            int panel = openDialog();
            EXPECT_EQ(UiTest_DisplayedText(panel, PREFS_GROUPCOLOR), "0x000000") << "a key stored as 0 stays 0";
            EXPECT_EQ(UiTest_DisplayedText(panel, PREFS_OPERCOLOR), "0xCCCCCC");
            int on = -1;
            GetCtrlVal(panel, PREFS_VIEWTYPE, &on);
            EXPECT_EQ(on, 1);
            GetCtrlVal(panel, PREFS_VIEWCONN, &on);
            EXPECT_EQ(on, 0);
            GetCtrlVal(panel, PREFS_SHOWSESSION, &on);
            EXPECT_EQ(on, 0);
            // A session handle change reaches the component only at its next reading.
            UiTest_SetValue(panel, PREFS_SHOWSESSION, 1);
            UiTest_Commit(panel, PREFS_OK);
            EXPECT_EQ(showSessionApp, 1);
            EXPECT_EQ(showSession, 0);
        },
        "[Preferences]\ngroupColor = 0\nshowSession = 0\nviewRsrcByConn = 0\n");
}

TEST_F(Preferences, CancelAndCloseStoreNothing) {
    for (bool close : {false, true}) {
        run([close] {
            std::string before = readFile("talmik.ini");
            int panel = openDialog();
            UiTest_SetValue(panel, PREFS_GROUPCOLOR, 0xFF0000);
            close ? UiTest_ClosePanel(panel) : UiTest_Commit(panel, PREFS_CANCEL);
            EXPECT_EQ(preference, 0);
            EXPECT_EQ(menuDimmed(), 0);
            EXPECT_EQ(groupColorApp, 0x99FFFF);
            EXPECT_EQ(readFile("talmik.ini"), before);
        });
    }
}

TEST_F(Preferences, ThePaletteChoosesAColour) {
    run([] {
        int panel = openDialog();
        // Fourth row, third column of the palette.
        UiTest_OnPopupPanel([](int palette) { UiTest_Click(palette, COLORPICK_PALETTE, 2 * 28 + 10, 3 * 28 + 10); });
        UiTest_Commit(panel, PREFS_TEXTCOLOR_PICK);
        EXPECT_EQ(UiTest_DisplayedText(panel, PREFS_TEXTCOLOR), "0x99FFFF");
        int color = -1;
        GetCtrlAttribute(panel, PREFS_TEXTCOLOR_PICK, ATTR_CMD_BUTTON_COLOR, &color);
        EXPECT_EQ(color, 0x99FFFF);
        // Cancelling the palette keeps the colour.
        UiTest_OnPopupPanel([](int palette) { UiTest_Commit(palette, COLORPICK_CANCEL); });
        UiTest_Commit(panel, PREFS_TEXTCOLOR_PICK);
        EXPECT_EQ(UiTest_DisplayedText(panel, PREFS_TEXTCOLOR), "0x99FFFF");
        UiTest_Commit(panel, PREFS_OK);
        EXPECT_EQ(textColorApp, 0x99FFFF);
    });
    EXPECT_EQ(keyIn(settings(), "textColor"), "10092543");
}

}  // namespace

#include "app/talmik.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/support/tempdir.h"
#include "app/prefs.h"
#include "app/registry.h"
#include "controls/help.h"
#include "controls/sheets.h"
#include "talmik_uir.h"
#include "uiruntime/testing/uitest.h"
#include "visalib/visalib.h"

namespace {

const char kExitUir[] = "Unable to locate the talmik.uir resource file.\nThe Talmik utility will exit.";
const char kExitVisa[] = "Unable to initialize the VISA library.\nThe Talmik utility will exit.";
const char kNoHelp[] = "Unable to open TALMIK help file.";

std::string binFile(const char* name) { return std::string(std::getenv("TALMIK_BIN_DIR")) + "/" + name; }

// A program directory holding the panels and help texts, ZU-VISA with its demo bench, and a
// script for the program's loops.
class Talmik : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        UiTest_SetLoopTimeout(2000);
        std::filesystem::copy_file(binFile("talmik.uir"), dir.file("talmik.uir"));
        std::filesystem::copy_file(binFile("visaio.uir"), dir.file("visaio.uir"));
        std::filesystem::copy_file(binFile("ZUtalmik.hlp"), dir.file("ZUtalmik.hlp"));
        UiTest_SetProjectDir(dir.path().c_str());
        _ResetDirCache_();
        useVisa("libzuvisa.so");
        useConfig("[Bridgelets]\nsim = True\n");
    }
    void TearDown() override {
        for (const std::string& f : UiTest_Failures()) ADD_FAILURE() << f;
        VisaLib_Unload();
        UiTest_Reset();
        numWindows = 0;
        unsetenv("ZUVISA_CONFIG");
        unsetenv("TALMIK_VISA_LIBRARY");
    }
    void useVisa(const char* library) { setenv("TALMIK_VISA_LIBRARY", binFile(library).c_str(), 1); }
    void useConfig(const std::string& text) {
        writeFile(dir.file("zuvisa.ini"), text);
        setenv("ZUVISA_CONFIG", dir.file("zuvisa.ini").c_str(), 1);
    }
    // Closes the main window at the next pass of the main loop.
    void closeMainWindowThen(std::function<void()> check = {}) {
        UiTest_OnLoop([check] {
            if (check) check();
            UiTest_ClosePanel(rsrcpanel);
        });
    }
    std::vector<std::string> messages() {
        std::vector<std::string> out;
        for (const UiTestPopup& p : UiTest_Popups())
            if (p.kind == UITEST_MESSAGE) {
                EXPECT_EQ(p.title, "TALMIK");
                out.push_back(p.text);
            }
        return out;
    }
    int numSheets() { return SheetGroupNumSheets(rsrcpanel, rsrcSheets); }

    TempDir dir;
};

TEST(CommandLine, OnlyTheExactSwitchTurnsTheSearchOff) {
    const struct {
        std::vector<const char*> args;
        short find;
    } cases[] = {
        {{"talmik"}, 1},
        {{"talmik", "/nofind"}, 0},
        {{"talmik", "/NOFIND"}, 1},
        {{"talmik", "-nofind"}, 1},
        {{"talmik", "/nofind", "x"}, 1},
        {{"talmik", "x", "/nofind"}, 1},
        {{"talmik", "/nofind "}, 1},
        {{"talmik", "/nofin"}, 1},
    };
    for (const auto& c : cases) {
        std::vector<char*> argv;
        for (const char* a : c.args) argv.push_back(const_cast<char*>(a));
        argv.push_back(nullptr);
        EXPECT_EQ(findOnStartFromCommandLine(static_cast<int>(c.args.size()), argv.data()), c.find)
            << (c.args.size() > 1 ? c.args[1] : "(none)");
    }
}

TEST_F(Talmik, HouseVisaGoesStraightToTheMainWindow) {
    bool checked = false;
    closeMainWindowThen([&] {
        checked = true;
        EXPECT_EQ(mfrID, 0x0E5A);
        EXPECT_EQ(numSheets(), 3);  // with the " ZU I/O" sheet
        EXPECT_GT(rsrczu, 0);
        EXPECT_EQ(UiTest_FindPanel("SPLASH"), UIEInvalidPanel);  // gone without waiting
        EXPECT_EQ(UiTest_IsShown(rsrcio, IOSHEET_RSRCTREE), 1);
        char title[64];
        SheetGroupGetActiveSheet(rsrcpanel, rsrcSheets, title, sizeof title);
        EXPECT_STREQ(title, " VISA I/O");
        EXPECT_EQ(helpLoaded, 1);
    });
    EXPECT_EQ(talmik_main(1), 0);
    EXPECT_TRUE(checked);
    EXPECT_TRUE(messages().empty());
    EXPECT_TRUE(std::filesystem::exists(dir.file("talmik.ini")));
    EXPECT_EQ(defaultRM, static_cast<ViSession>(VI_NULL));
    EXPECT_FALSE(Help_IsOpen());
}

TEST_F(Talmik, BridgeletWarningOnlyWithTheHouseVisa) {
    useConfig("[Bridgelets]\nsim = True\nmissing = True\n");
    bool zuSheetBuilt = false;
    closeMainWindowThen([&] { zuSheetBuilt = rsrczu > 0; });
    EXPECT_EQ(talmik_main(1), 0);
    EXPECT_TRUE(zuSheetBuilt);
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_EQ(messages()[0],
              "ZU-VISA loads modules (Bridgelets) to access GPIB, Serial, VXI, etc.\n"
              "At least one Bridgelet on your system could not be loaded.\n"
              "You should run the ZU-VISA configuration utility 'portconf'.");

    // The same status through another manufacturer's library shows nothing.
    VisaLib_Unload();
    UiTest_ClearPopups();
    useVisa("libtalmik_foreignvisa.so");
    UiTest_OnLoop([] { UiTest_Commit(UiTest_FindPanel("SPLASH"), SPLASH_CONTINUE); });
    closeMainWindowThen([&] { EXPECT_EQ(numSheets(), 2); });
    EXPECT_EQ(talmik_main(1), 0);
    EXPECT_TRUE(messages().empty());
}

TEST_F(Talmik, ForeignVisaSplashWaitsForTheUser) {
    useVisa("libtalmik_foreignvisa.so");
    UiTest_OnLoop([&] {
        int splash = UiTest_FindPanel("SPLASH");
        ASSERT_GT(splash, 0);
        int dimmed = 1;
        GetCtrlAttribute(splash, SPLASH_CONTINUE, ATTR_DIMMED, &dimmed);
        EXPECT_EQ(dimmed, 0);
        EXPECT_EQ(UiTest_IsShown(splash, SPLASH_EXIT), 1);
        EXPECT_EQ(UiTest_DisplayedText(splash, SPLASH_VERSION), "Nov  8 2001 (Linux x86)");
        EXPECT_EQ(numSheets(), 2);  // no " ZU I/O" sheet
        UiTest_Commit(splash, SPLASH_CONTINUE);
    });
    bool mainShown = false;
    closeMainWindowThen([&] { mainShown = UiTest_IsShown(rsrcpanel, 0) == 1; });
    EXPECT_EQ(talmik_main(1), 0);
    EXPECT_TRUE(mainShown);
    EXPECT_NE(mfrID, 0x0E5A);
}

TEST_F(Talmik, ExitOnTheSplashStillWritesTheSettings) {
    useVisa("libtalmik_foreignvisa.so");
    writeFile(dir.file("talmik.ini"), "[Preferences]\nviewRsrcByConn = 0\n");
    UiTest_OnLoop([] { UiTest_Commit(UiTest_FindPanel("SPLASH"), SPLASH_EXIT); });
    EXPECT_EQ(talmik_main(0), 0);
    EXPECT_EQ(abortApp, 1);
    EXPECT_EQ(UiTest_PendingAnswers(), 0);
    // No main loop ran (the script has no step left for one), and the file was written back.
    std::string text = readFile(dir.file("talmik.ini"));
    EXPECT_NE(text.find("viewRsrcByConn = 0"), std::string::npos) << text;
    EXPECT_EQ(UiTest_Panels().size(), 0u);
}

TEST_F(Talmik, FatalStartFailures) {
    // No help file: a message, and the program goes on without help.
    std::filesystem::remove(dir.file("ZUtalmik.hlp"));
    closeMainWindowThen();
    EXPECT_EQ(talmik_main(1), 0);
    EXPECT_EQ(helpLoaded, 0);
    EXPECT_EQ(messages(), std::vector<std::string>{kNoHelp});

    // A VISA library that cannot be loaded.
    UiTest_ClearPopups();
    VisaLib_Unload();
    setenv("TALMIK_VISA_LIBRARY", dir.file("nonexistent.so").c_str(), 1);
    EXPECT_EQ(talmik_main(1), -1);
    EXPECT_EQ(messages(), (std::vector<std::string>{kNoHelp, kExitVisa}));
    EXPECT_FALSE(Help_IsOpen());

    // No panel file.
    UiTest_ClearPopups();
    VisaLib_Unload();
    useVisa("libzuvisa.so");
    std::filesystem::copy_file(binFile("ZUtalmik.hlp"), dir.file("ZUtalmik.hlp"));
    std::filesystem::remove(dir.file("talmik.uir"));
    EXPECT_EQ(talmik_main(1), -1);
    EXPECT_EQ(messages(), std::vector<std::string>{kExitUir});
    EXPECT_FALSE(Help_IsOpen());
    EXPECT_EQ(defaultRM, static_cast<ViSession>(VI_NULL));
    EXPECT_EQ(UiTest_Panels().size(), 0u);
}

TEST_F(Talmik, RecentFindExpressionsAtStartAndExit) {
    // Four ring items (fixed entries and separator, no expression found) leave the section alone.
    const std::string untouched = "[RecentFindExpressions]\nnumExpressions = 1\nstale = \"keep\"\n\n";
    writeFile(dir.file("talmik.ini"), untouched);
    closeMainWindowThen([] {
        int count = 0;
        GetNumListItems(rsrcio, IOSHEET_FINDRING, &count);
        EXPECT_EQ(count, 4);
    });
    EXPECT_EQ(talmik_main(0), 0);
    EXPECT_EQ(readFile(dir.file("talmik.ini")).find(untouched), 0u);

    // Six items: two expressions found of five announced are written back as two.
    writeFile(dir.file("talmik.ini"),
              "[RecentFindExpressions]\nnumExpressions = 5\nexpr0 = \"GPIB?*INSTR\"\n"
              "expr1 = \"ASRL?*\"\nexpr4 = \"old\"\n");
    closeMainWindowThen([] {
        char label[64];
        GetLabelFromIndex(rsrcio, IOSHEET_FINDRING, 4, label, sizeof label);
        EXPECT_STREQ(label, "GPIB?*INSTR");
        GetLabelFromIndex(rsrcio, IOSHEET_FINDRING, 3, label, sizeof label);
        EXPECT_STREQ(label, UI_LABEL_SEPARATOR);
    });
    EXPECT_EQ(talmik_main(0), 0);
    IniText back = Ini_New(0);
    ASSERT_EQ(Ini_ReadFromFile(back, dir.file("talmik.ini").c_str()), 0);
    int n = 0;
    char expr[64];
    EXPECT_EQ(Ini_GetInt(back, "RecentFindExpressions", "numExpressions", &n), 1);
    EXPECT_EQ(n, 2);
    Ini_GetStringIntoBuffer(back, "RecentFindExpressions", "expr1", expr, sizeof expr);
    EXPECT_STREQ(expr, "ASRL?*");
    EXPECT_EQ(Ini_ItemExists(back, "RecentFindExpressions", "expr4"), 1);  // beyond the count: kept
    Ini_Dispose(back);
}

TEST_F(Talmik, QuittingWithASessionOpenAsksFirst) {
    UiTest_OnLoop([] {
        ASSERT_EQ(OpenVisaSession("GPIB0::22::INSTR"), 1);
        UiTest_AnswerConfirm(0);
        UiTest_ClosePanel(rsrcpanel);
    });
    bool stillRunning = false;
    UiTest_OnLoop([&] {
        stillRunning = UiTest_IsShown(rsrcpanel, 0) == 1;
        UiTest_AnswerConfirm(1);
        UiTest_ClosePanel(rsrcpanel);
    });
    EXPECT_EQ(talmik_main(1), 0);
    EXPECT_TRUE(stillRunning);
    int confirms = 0;
    for (const UiTestPopup& p : UiTest_Popups())
        if (p.kind == UITEST_CONFIRM) {
            ++confirms;
            EXPECT_EQ(p.title, "TALMIK");
            EXPECT_EQ(p.text,
                      "You have at least one VISA session open.\nDo you want to close your session(s) and quit now?");
        }
    EXPECT_EQ(confirms, 2);
}

TEST_F(Talmik, PreferencesReadAtStart) {
    writeFile(dir.file("talmik.ini"),
              "[Preferences]\nviewRsrcByConn = 0\nsleepMoreApp = 1\ntextColor = 0x10\ngroupColor = 255\n");
    chmod(dir.file("talmik.ini").c_str(), 0640);
    closeMainWindowThen([] {
        EXPECT_EQ(viewRsrcConnApp, 0);  // stored as 0: kept
        int byType = 0, byConn = 1;
        GetCtrlVal(rsrcio, IOSHEET_VIEWTYPE, &byType);
        GetCtrlVal(rsrcio, IOSHEET_VIEWCONN, &byConn);
        EXPECT_EQ(byType, 1);
        EXPECT_EQ(byConn, 0);
        EXPECT_EQ(GetSleepPolicy(), VAL_SLEEP_MORE);
        EXPECT_EQ(textColorApp, 0);  // not an integer: the default
        EXPECT_EQ(groupColorApp, 255);
        EXPECT_EQ(operColorApp, 0xCCCCCC);  // missing: the default
        EXPECT_EQ(useVISAnamesApp, 1);
    });
    EXPECT_EQ(talmik_main(1), 0);
    struct stat st;
    ASSERT_EQ(stat(dir.file("talmik.ini").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);  // rewritten, permissions kept
}

TEST_F(Talmik, AboutShowsTheVisaLibrary) {
    closeMainWindowThen([] {
        int menuBar = GetPanelMenuBar(rsrcpanel);
        ASSERT_EQ(UiTest_ChooseMenuItem(menuBar, MENUBAR_HELP_ABOUT), 0);
        ASSERT_GT(about, 0);
        EXPECT_EQ(UiTest_DisplayedText(about, ABOUT_MANFNAME), "ZU Instruments");
        EXPECT_EQ(UiTest_DisplayedText(about, ABOUT_SPECVERSION), "5.8");
        EXPECT_EQ(UiTest_DisplayedText(about, ABOUT_IMPLVERSION), "1.0");
        char label[64];
        GetCtrlAttribute(about, ABOUT_FRAME, ATTR_LABEL_TEXT, label, sizeof label);
        EXPECT_STREQ(label, " VISA Driver Information for Linux x86 ");
        int dimmed = 0;
        GetMenuBarAttribute(menuBar, MENUBAR_HELP_ABOUT, ATTR_DIMMED, &dimmed);
        EXPECT_EQ(dimmed, 1);
        UiTest_Commit(about, ABOUT_OK);
        EXPECT_EQ(about, 0);
        GetMenuBarAttribute(menuBar, MENUBAR_HELP_ABOUT, ATTR_DIMMED, &dimmed);
        EXPECT_EQ(dimmed, 0);
    });
    EXPECT_EQ(talmik_main(0), 0);
}

TEST_F(Talmik, SessionWindowsStartWithTheProgramAndCloseFromItsMenu) {
    closeMainWindowThen([] {
        EXPECT_EQ(windowBits, 0x7FFu);  // the first templates, built at start-up
        int menuBar = GetPanelMenuBar(rsrcpanel);
        int dimmed = 0;
        GetMenuBarAttribute(menuBar, MENUBAR_FILE_CLOSEALL, ATTR_DIMMED, &dimmed);
        EXPECT_EQ(dimmed, 1);  // nothing to close yet
        ASSERT_EQ(OpenVisaSession("GPIB0::22::INSTR"), 1);
        ASSERT_EQ(OpenVisaSession("ASRL1::INSTR"), 1);
        SetMenuBarAttribute(menuBar, MENUBAR_FILE_CLOSEALL, ATTR_DIMMED, 0);  // as an open from the browser does
        ASSERT_EQ(UiTest_ChooseMenuItem(menuBar, MENUBAR_FILE_CLOSEALL), 0);
        EXPECT_EQ(numWindows, 0);
        GetMenuBarAttribute(menuBar, MENUBAR_FILE_CLOSEALL, ATTR_DIMMED, &dimmed);
        EXPECT_EQ(dimmed, 1);
        ASSERT_EQ(OpenVisaSession("GPIB0::22::INSTR"), 1);  // left open: shutdown closes it
        UiTest_AnswerConfirm(1);
    });
    EXPECT_EQ(talmik_main(0), 0);
    EXPECT_EQ(numWindows, 0);
    EXPECT_EQ(componentRM, static_cast<ViSession>(VI_NULL));
    EXPECT_EQ(tmrpanel, 0);
    // The hook asks for the help viewer to be told to quit at exit.
    helpUsed = 0;
    EXPECT_EQ(talmikExtCB(HOOK_HELP_VIEWER_STARTED), HOOK_HELP_VIEWER_STARTED);
    EXPECT_EQ(helpUsed, 1);
    EXPECT_EQ(talmikExtCB(77), 77);
}

TEST(VisaVersion, Formatting) {
    const struct {
        ViUInt32 version;
        const char* text;
    } cases[] = {{0x00200000, "2.0"}, {0x00300101, "3.1.1"}, {0x00700000, "7.0"}, {0x00500100, "5.1"}};
    for (const auto& c : cases) {
        char text[32];
        formatVisaVersion(text, sizeof text, c.version);
        EXPECT_STREQ(text, c.text);
    }
}

// The tags of a compiled help file, read from its tag block.
std::set<std::string> tagsOf(const std::string& helpFile) {
    std::string image = readFile(helpFile);
    std::set<std::string> tags;
    for (size_t pos = 64; pos < image.size() && image[pos] != 0; pos += 1 + static_cast<unsigned char>(image[pos]))
        tags.insert(image.substr(pos + 1, static_cast<unsigned char>(image[pos])));
    return tags;
}

// Every panel of talmik.uir and every control a user can click on it has a "What's This?" text,
// and every text of those panels belongs to a panel or control that exists.
TEST_F(Talmik, EveryPanelAndControlHasHelpAndEveryTextAPlace) {
    RegisterUirCallbacks_talmik();
    ASSERT_EQ(Help_Initialize(dir.file("ZUtalmik.hlp").c_str()), 0);
    std::set<std::string> places, panelNames;
    int loaded = 0;
    for (int resource = 1;; ++resource) {
        int panel = LoadPanel(0, dir.file("talmik.uir").c_str(), resource);
        if (panel <= 0) break;
        ++loaded;
        char name[64] = "";
        GetPanelAttribute(panel, ATTR_CONSTANT_NAME, name, sizeof name);
        panelNames.insert(name);
        places.insert(name);
        EXPECT_NE(Help_MessageFromUI(panel, 0), nullptr) << name;
        int control = 0;
        GetPanelAttribute(panel, ATTR_PANEL_FIRST_CTRL, &control);
        for (; control > 0; GetCtrlAttribute(panel, control, ATTR_NEXT_CTRL, &control)) {
            int style = 0;
            char controlName[64] = "";
            GetCtrlAttribute(panel, control, ATTR_CTRL_STYLE, &style);
            GetCtrlAttribute(panel, control, ATTR_CONSTANT_NAME, controlName, sizeof controlName);
            std::string place = std::string(name) + "_" + controlName;
            places.insert(place);
            // Decorations and pictures only frame the others.
            if (IsDecorationStyle(style) || style == CTRL_PICTURE) continue;
            EXPECT_NE(Help_MessageFromUI(panel, control), nullptr) << place;
        }
        DiscardPanel(panel);
    }
    EXPECT_GE(loaded, 6);
    for (const std::string& tag : tagsOf(dir.file("ZUtalmik.hlp"))) {
        std::string panel = tag.substr(0, tag.find('_'));
        if (panelNames.count(panel)) {
            EXPECT_EQ(places.count(tag), 1u) << tag << " has no panel or control";
        }
    }
}

// ---- Context help through the main callback --------------------------------------------------

std::string shownHelp;
int helpParent = 0;

// The tooltip among a panel's child panels, or 0.
int tooltipOf(int panel) {
    int child = 0;
    GetPanelAttribute(panel, ATTR_PANEL_FIRST_CHILD, &child);
    for (; child > 0; GetPanelAttribute(child, ATTR_NEXT_PANEL, &child)) {
        int look = 0;
        GetPanelAttribute(child, ATTR_PANEL_LOOK, &look);
        if (look == VAL_PANEL_LOOK_TOOLTIP) return child;
    }
    return 0;
}

// Reads the open tooltip of helpParent, then clicks it: the main callback ends it.
void readHelpThenClickIt(void*) {
    int tip = tooltipOf(helpParent), message = 0;
    GetPanelAttribute(tip, ATTR_PANEL_FIRST_CTRL, &message);
    char text[1024] = "";
    GetCtrlVal(tip, message, text, sizeof text);
    shownHelp = text;
    UiTest_Click(tip, 0, 2, 2);
}

std::vector<std::string> lastMenu() {
    for (auto p = UiTest_Popups().rbegin(); p != UiTest_Popups().rend(); ++p)
        if (p->kind == UITEST_POPUP_MENU) return p->items;
    return {"(no menu)"};
}

int statusRightClicks = 0;
int countStatusRightClicks(int, int, int event, void*, int, int) {
    if (event == EVENT_RIGHT_CLICK) ++statusRightClicks;
    return 0;
}

TEST_F(Talmik, RightClickShowsWhatsThisUntilTheNextClick) {
    closeMainWindowThen([] {
        const struct {
            int panel, control;
            const char* tag;
        } cases[] = {
            {rsrcio, IOSHEET_FINDEXPR, "IOSHEET_FINDEXPR"},
            {rsrcio, IOSHEET_RSRCTREE, "IOSHEET_RSRCTREE"},
            {rsrcpanel, 0, "MAINPANEL"},
        };
        for (const auto& c : cases) {
            std::string expected = Help_MessageFromTag(c.tag);
            shownHelp.clear();
            helpParent = c.panel;
            int clicksBefore = Help_ClickCount();
            UiTest_AnswerPopupMenu("__What's This?");
            PostDeferredCall(readHelpThenClickIt, nullptr);
            EXPECT_EQ(UiTest_RightClick(c.panel, c.control, 4, 4), 0) << c.tag;
            EXPECT_EQ(lastMenu(), std::vector<std::string>{"__What's This?"}) << c.tag;
            EXPECT_EQ(shownHelp, expected) << c.tag;
            EXPECT_GT(Help_ClickCount(), clicksBefore) << c.tag;
            EXPECT_EQ(tooltipOf(c.panel), 0) << c.tag << ": the tooltip is gone";
        }
        // Without help texts the menu still comes, empty: the click goes no further.
        helpLoaded = 0;
        UiTest_AnswerPopupMenu("");
        UiTest_RightClick(rsrcio, IOSHEET_FINDEXPR, 4, 4);
        EXPECT_EQ(lastMenu(), std::vector<std::string>{});
        helpLoaded = 1;
    });
    EXPECT_EQ(talmik_main(0), 0);
    EXPECT_EQ(helpUsed, 0);
}

TEST_F(Talmik, OperationPanelsOfferTheReferenceAndTheViewerQuitsAtExit) {
    // The stand-in viewer logs its arguments and commands, and when it is told to end.
    writeFile(dir.file("viewer"),
              "#!/bin/sh\necho \"ARGS $*\" > \"$VIEWER_LOG\"\ntrap 'echo END >> \"$VIEWER_LOG\"; exit 0' TERM\n"
              "while read line; do echo \"$line\" >> \"$VIEWER_LOG\"; done\necho END >> \"$VIEWER_LOG\"\n");
    chmod(dir.file("viewer").c_str(), 0755);
    writeFile(dir.file("ZU-visa.hlp"), "collection");
    setenv("TALMIK_HELP_VIEWER", dir.file("viewer").c_str(), 1);
    setenv("VIEWER_LOG", dir.file("log").c_str(), 1);
    auto waitForLog = [&](const std::string& text) {
        for (int k = 0; k < 300 && readFile(dir.file("log")).find(text) == std::string::npos; ++k)
            usleep(10000);
        return readFile(dir.file("log"));
    };
    closeMainWindowThen([&] {
        RegisterCallback({"StatusCallback", countStatusRightClicks});
        int op = LoadPanelByName(0, binFile("apphelptest.uir").c_str(), "viRead");
        ASSERT_GT(op, 0) << LoadPanelErrorDetail();
        int status = UiTest_FindControl(op, "STATUS"), count = UiTest_FindControl(op, "COUNT");
        // Whatever StatusCallback the program has, this one counts.
        InstallCtrlCallback(op, status, countStatusRightClicks, nullptr);
        DisplayPanel(op);

        UiTest_AnswerPopupMenu("__Operation Help");
        UiTest_RightClick(op, count, 4, 4);
        EXPECT_EQ(lastMenu(), std::vector<std::string>{"__Operation Help"});  // no text for it
        EXPECT_NE(waitForLog("activateIdentifier viRead").find("show index;activateKeyword viRead;activateIdentifier viRead\n"),
                  std::string::npos);
        EXPECT_EQ(helpUsed, 1);

        // The status display opens its own, richer menu: the main callback lets the click pass.
        size_t popups = UiTest_Popups().size();
        UiTest_RightClick(op, status, 4, 4);
        EXPECT_EQ(statusRightClicks, 1);
        EXPECT_EQ(UiTest_Popups().size(), popups);

        ASSERT_EQ(UiTest_ChooseMenuItem(GetPanelMenuBar(rsrcpanel), MENUBAR_HELP_TOPICS), 0);
        EXPECT_NE(waitForLog("show index\n").find("\nshow index\n"), std::string::npos);
        DiscardPanel(op);
    });
    EXPECT_EQ(talmik_main(0), 0);
    std::string log = waitForLog("END");
    EXPECT_NE(log.find("END"), std::string::npos) << "the viewer was told to quit at exit\n" << log;
    EXPECT_EQ(log.find("ARGS", 1), std::string::npos) << "one viewer for every request\n" << log;
    unsetenv("TALMIK_HELP_VIEWER");
}

}  // namespace

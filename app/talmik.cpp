#include "app/talmik.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "app/contexthelp.h"
#include "app/iotrace.h"
#include "app/prefs.h"
#include "app/registry.h"
#include "app/tracenames.h"
#include "app/zutools.h"
#include "controls/help.h"
#include "controls/sheets.h"
#include "resources/browser.h"
#include "resources/rsrcrecord.h"
#include "resources/search.h"
#include "resources/sfp.h"
#include "talmik_uir.h"
#include "uiruntime/uiruntime.h"
#include "visalib/visalib.h"
#include "zuvisa/visa.h"
#include "zuvisa/zuvisa.h"

ViSession defaultRM = VI_NULL;
ViUInt16 mfrID = 0;
short abortApp = 0;
short helpLoaded = 1;
int helpUsed = 0;
const char* pszAppName = nullptr;
const char* pszHelpName = nullptr;
int rsrcpanel = 0, rsrcio = 0, rsrcsfp = 0, rsrczu = 0, preference = 0, about = 0;
int rsrcSheets = 0;
IniText ini = nullptr;

namespace {

const char kAppName[] = "TALMIK";
const char kSystemHelpFile[] = "ZU-visa.hlp";
const char kApplicationTitle[] = "Talmik Utility";
const char kUirFile[] = "talmik.uir";
const char kHelpTextFile[] = "/ZUtalmik.hlp";
const char kBuildStamp[] = "Nov  8 2001";
const char kPlatform[] = "Linux x86";
const char kExitNote[] = "%s\nThe Talmik utility will exit.";
const char kBridgeletWarning[] =
    "ZU-VISA loads modules (Bridgelets) to access GPIB, Serial, VXI, etc.\n"
    "At least one Bridgelet on your system could not be loaded.\n"
    "You should run the ZU-VISA configuration utility 'portconf'.";
// Enough for any ring the program keeps; a damaged count in the file must not loop for long.
const int kMaxRecentExpressions = 256;

int splash = 0;
// The main window's tabs: labels of this height (a tab is 5 higher) with room beside the titles.
const int kTabLabelHeight = 24;
const int kTabPadding = 8;


void fatalMessage(const char* reason) {
    char text[256];
    std::snprintf(text, sizeof text, kExitNote, reason);
    MessagePopup(pszAppName, text);
}

void splashStatus(const char* text) {
    SetCtrlVal(splash, SPLASH_STATUS, text);
    ProcessDrawEvents();
}

void loadRecentFindExpressions() {
    int count = 0;
    if (Ini_GetInt(ini, kRecentFindSection, "numExpressions", &count) <= 0) return;
    InsertListItem(rsrcio, IOSHEET_FINDRING, 3, UI_LABEL_SEPARATOR, "");
    for (int i = 0; i < count && i < kMaxRecentExpressions; ++i) {
        char key[32], expression[256];
        std::snprintf(key, sizeof key, "expr%d", i);
        if (Ini_GetStringIntoBuffer(ini, kRecentFindSection, key, expression, sizeof expression) > 0)
            InsertListItem(rsrcio, IOSHEET_FINDRING, i + 4, expression, "");
    }
}

// The ring keeps three fixed entries and a separator before the recent expressions.
void saveRecentFindExpressions() {
    int count = 0;
    if (GetNumListItems(rsrcio, IOSHEET_FINDRING, &count) < 0 || count <= 4) return;
    Ini_RemoveItem(ini, kRecentFindSection, "numExpressions");
    Ini_PutInt(ini, kRecentFindSection, "numExpressions", count - 4);
    for (int i = 4; i < count; ++i) {
        char key[32], label[256] = "";
        std::snprintf(key, sizeof key, "expr%d", i - 4);
        GetLabelFromIndex(rsrcio, IOSHEET_FINDRING, i, label, sizeof label);
        Ini_RemoveItem(ini, kRecentFindSection, key);
        Ini_PutString(ini, kRecentFindSection, key, label);
    }
}

// Loads a sheet panel and adds it to the main window's sheet group.
int addSheet(int panelResource, const char* title) {
    int sheet = LoadPanel(rsrcpanel, uirPath().c_str(), panelResource);
    if (sheet > 0) SheetGroupAddSheet(rsrcpanel, rsrcSheets, title, SHEET_MODE_PANEL, sheet);
    return sheet;
}

// The main window and its sheets; false when the panel file lacks one of them.
bool buildMainWindow() {
    rsrcpanel = LoadPanel(0, uirPath().c_str(), MAINPANEL);
    if (rsrcpanel <= 0) return false;
    // The tab row and the margin above it fill the 37 pixels that the body's height leaves.
    rsrcSheets = SheetGroupCreate(rsrcpanel, 37 - kTabLabelHeight - 5, 0);
    SheetGroupSetTabSize(rsrcpanel, rsrcSheets, kTabLabelHeight, kTabPadding);
    SheetGroupCurTabColor(rsrcpanel, rsrcSheets, textColorApp);
    int height = 0, width = 0, menuHeight = 0;
    GetPanelAttribute(rsrcpanel, ATTR_HEIGHT, &height);
    GetPanelAttribute(rsrcpanel, ATTR_WIDTH, &width);
    GetPanelAttribute(rsrcpanel, ATTR_MENU_HEIGHT, &menuHeight);
    SheetGroupSetSize(rsrcpanel, rsrcSheets, height - menuHeight - 37, width);
    rsrcio = addSheet(IOSHEET, " VISA I/O");
    rsrcsfp = addSheet(SFPSHEET, " Soft Front Panels");
    if (rsrcio <= 0 || rsrcsfp <= 0) return false;
    SetCtrlVal(rsrcio, IOSHEET_VIEWCONN, viewRsrcConnApp);
    SetCtrlVal(rsrcio, IOSHEET_VIEWTYPE, !viewRsrcConnApp);
    loadRecentFindExpressions();
    return true;
}

void shutdown() {
    releaseRsrcs();
    releaseSfps();
    closeRsrcTree();
    if (helpUsed) {
        _SetDir_(nullptr);
        SystemHelp(pszHelpName, HELP_QUIT, 0, "");
    }
    if (rsrcio > 0) saveRecentFindExpressions();
    _SetDir_(nullptr);
    _WriteIniFile_(ini, kSettingsFile);
    Ini_Dispose(ini);
    ini = nullptr;
    if (rsrcpanel > 0) DiscardPanel(rsrcpanel);
    rsrcpanel = rsrcio = rsrcsfp = rsrczu = rsrcSheets = 0;
    CloseAllExtResources();
    viClose(defaultRM);
    defaultRM = VI_NULL;
    Help_Close();
}

}  // namespace

std::string uirPath() { return std::string(programDirectory()) + "/" + kUirFile; }

short findOnStartFromCommandLine(int argc, char** argv) {
    return argc == 2 && std::strcmp(argv[1], "/nofind") == 0 ? 0 : 1;
}

void GetTalmikPathNames(const char** appName, const char** helpName) {
    *appName = kAppName;
    *helpName = kSystemHelpFile;
}

int talmik_main(short findOnStart) {
    RegisterUirCallbacks_talmik();
    abortApp = 0;
    helpLoaded = 1;
    helpUsed = 0;
    SetSystemAttribute(ATTR_TASKBAR_BUTTON_TEXT, kApplicationTitle);
    SetStdioPort(HOST_SYSTEM_STDIO);
    GetTalmikPathNames(&pszAppName, &pszHelpName);

    std::string helpPath = std::string(programDirectory()) + kHelpTextFile;
    if (Help_Initialize(helpPath.c_str()) < 0) {
        MessagePopup(pszAppName, "Unable to open TALMIK help file.");
        helpLoaded = 0;
    }
    InstallMainCallback(MainCallback, nullptr, 0);
    installHelpHost();
    installIoTraceNames();

    ViStatus rmStatus = viOpenDefaultRM(&defaultRM);
    if (rmStatus < VI_SUCCESS) {
        if (*VisaLib_Error()) std::fprintf(stderr, "talmik: %s\n", VisaLib_Error());
        Help_Close();
        fatalMessage("Unable to initialize the VISA library.");
        return -1;
    }
    mfrID = 0;
    viGetAttribute(defaultRM, VI_ATTR_RSRC_MANF_ID, &mfrID);
    const bool houseVisa = mfrID == HOUSE_MANF_ID;

    splash = LoadPanelEx(0, uirPath().c_str(), SPLASH, nullptr);
    if (splash <= 0) {
        Help_Close();
        viClose(defaultRM);
        defaultRM = VI_NULL;
        fatalMessage("Unable to locate the talmik.uir resource file.");
        return -1;
    }
    char version[64];
    std::snprintf(version, sizeof version, "%s (%s)", kBuildStamp, kPlatform);
    SetCtrlVal(splash, SPLASH_VERSION, version);
    if (houseVisa) {
        // The buttons lie below this height: with the house VISA the splash never waits.
        SetPanelAttribute(splash, ATTR_HEIGHT, 250);
    } else {
        SetCtrlAttribute(splash, SPLASH_CONTINUE, ATTR_DIMMED, 1);
        SetCtrlAttribute(splash, SPLASH_EXIT, ATTR_DIMMED, 1);
    }
    DisplayPanel(splash);
    SetWaitCursor(1);

    _SetDir_(nullptr);
    ini = Ini_New(0);
    Ini_ReadFromFile(ini, kSettingsFile);
    readAppPreferences(ini);
    applyIoTracePreferences(ini);
    SetSleepPolicy(sleepMoreApp ? VAL_SLEEP_MORE : VAL_SLEEP_SOME);

    splashStatus("Loading application panels...");
    if (!buildMainWindow()) {
        DiscardPanel(splash);
        SetWaitCursor(0);
        shutdown();
        fatalMessage("Unable to locate the talmik.uir resource file.");
        return -1;
    }

    if (houseVisa) {
        rsrczu = addSheet(ZUSHEET, " ZU I/O");
        if (rsrczu > 0) findZUfiles(rsrczu);
        if (rmStatus == VI_WARN_CONFIG_NLOADED) MessagePopup(pszAppName, kBridgeletWarning);
    }
    splashStatus("Loading VISA template function panels...");
    InstallWindowHook(talmikExtCB);
    LoadInitialPanels(0);
    if (findOnStart) {
        splashStatus("Searching for VISA resources...");
        DoRefresh(GetPanelMenuBar(rsrcpanel), MENUBAR_RESOURCES_REFRESH, nullptr, rsrcpanel);
    } else {
        // Empty categories: the user searches with Refresh.
        AddIoRsrcs(rsrcio);
        AddSfpRsrcs(rsrcsfp);
    }

    if (!houseVisa) {
        SetCtrlVal(splash, SPLASH_STATUS, "");
        SetCtrlAttribute(splash, SPLASH_CONTINUE, ATTR_DIMMED, 0);
        SetCtrlAttribute(splash, SPLASH_EXIT, ATTR_DIMMED, 0);
        abortApp = static_cast<short>(RunUserInterface());
    }
    DiscardPanel(splash);
    splash = 0;
    SetWaitCursor(0);

    if (!abortApp) {
        DisplayPanel(rsrcpanel);
        RunUserInterface();
    }
    shutdown();
    return 0;
}

// The session-window component's hook: the last window closed, or context help started the
// help viewer.
int talmikExtCB(int code) {
    if (code == HOOK_LAST_WINDOW_CLOSED && rsrcpanel > 0)
        SetMenuBarAttribute(GetPanelMenuBar(rsrcpanel), MENUBAR_FILE_CLOSEALL, ATTR_DIMMED, 1);
    else if (code == HOOK_HELP_VIEWER_STARTED)
        helpUsed = 1;
    return code;
}

int QueryReallyQuit() {
    if (numWindows == 0) return 1;
    return ConfirmPopup(pszAppName,
                        "You have at least one VISA session open.\n"
                        "Do you want to close your session(s) and quit now?");
}

void DoExit() {
    if (QueryReallyQuit()) QuitUserInterface(0);
}

void DoExit(int, int, void*, int) { DoExit(); }

int MainPanel(int, int event, void*, int, int) {
    if (event == EVENT_CLOSE) DoExit();
    return 0;
}

int SplashContinue(int, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) QuitUserInterface(0);
    return 0;
}

int SplashExit(int, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) QuitUserInterface(1);
    return 0;
}

int MainCallback(int panel, int control, int event, void*, int eventData1, int eventData2) {
    if (event == EVENT_LEFT_CLICK) Help_GotClick();
    if (event != EVENT_RIGHT_CLICK) return 0;
    if (control != 0 && opensItsOwnHelpMenu(panel, control)) return 0;
    // Only operation panels, whose constant names are the VISA operations, offer Operation Help.
    char name[256] = "";
    GetPanelAttribute(panel, ATTR_CONSTANT_NAME, name, sizeof name);
    if (std::strncmp(name, "vi", 2) != 0) name[0] = '\0';
    int hasHelp = Help_MessageFromUI(panel, control) != nullptr && helpLoaded;
    return ContextSensitiveHelp(panel, control, hasHelp, 0, 0, 0, name, nullptr, eventData2,
                                eventData1);
}

// ---- About ----------------------------------------------------------------------------------

void formatVisaVersion(char* buffer, unsigned long size, ViUInt32 version) {
    long major = static_cast<long>(version >> 20);
    long minor = static_cast<long>((version & 0xFFF00) >> 8);
    long sub = static_cast<long>(version & 0xFF);
    if (sub)
        std::snprintf(buffer, size, "%ld.%ld.%ld", major, minor, sub);
    else
        std::snprintf(buffer, size, "%ld.%ld", major, minor);
}

namespace {

void closeAbout() {
    if (about > 0) DiscardPanel(about);
    about = 0;
    SetMenuBarAttribute(GetPanelMenuBar(rsrcpanel), MENUBAR_HELP_ABOUT, ATTR_DIMMED, 0);
}

}  // namespace

void DoAbout(int menuBar, int, void*, int) {
    about = LoadPanel(0, uirPath().c_str(), ABOUT);
    if (about <= 0) {
        about = 0;
        return;
    }
    SetMenuBarAttribute(menuBar, MENUBAR_HELP_ABOUT, ATTR_DIMMED, 1);
    char text[256];
    std::snprintf(text, sizeof text, " VISA Driver Information for %s ", kPlatform);
    SetCtrlAttribute(about, ABOUT_FRAME, ATTR_LABEL_TEXT, text);
    char name[256] = "";
    viGetAttribute(defaultRM, VI_ATTR_RSRC_MANF_NAME, name);
    SetCtrlVal(about, ABOUT_MANFNAME, name);
    ViVersion spec = 0, impl = 0;
    viGetAttribute(defaultRM, VI_ATTR_RSRC_SPEC_VERSION, &spec);
    viGetAttribute(defaultRM, VI_ATTR_RSRC_IMPL_VERSION, &impl);
    formatVisaVersion(text, sizeof text, spec);
    SetCtrlVal(about, ABOUT_SPECVERSION, text);
    formatVisaVersion(text, sizeof text, impl);
    SetCtrlVal(about, ABOUT_IMPLVERSION, text);
    DisplayPanel(about);
}

int AboutDismissOK(int, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) closeAbout();
    return 0;
}

int AboutCallback(int, int event, void*, int, int) {
    if (event == EVENT_CLOSE) closeAbout();
    return 0;
}

#include "app/registry.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "app/contexthelp.h"
#include "app/prefs.h"
#include "attrevents/completion.h"
#include "controls/help.h"
#include "session/sessionrecord.h"
#include "session/sessionwnd.h"
#include "session/statusnames.h"
#include "talmik_uir.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"
#include "zuvisa/visa.h"

ViSession componentRM = VI_NULL;
int numWindows = 0;
int* sessionWindows = nullptr;
unsigned int windowBits = 0;
int tmrpanel = 0;
int initThreadID = 0;
WindowHookPtr pMainWndCB = nullptr;
short needUI = 1;
short didInitKestrel = 0, didInits = 0, didOpen = 0;
int groupColor = 0x99FFFF, operColor = 0xCCCCCC, textColor = 0, useVISAnames = DEFAULTuseVisaId,
    showSession = 1, loadConfig = 0, sleepMoreExt = 0;

namespace {

const char kAppName[] = "TALMIK";
const char kNoVisa[] = "Unable to initialize the VISA library.";
// Start-up builds this many templates at once; the idle timer builds the rest.
const int kStepsAtStart = 11;

short componentHelp = 1;  // whether the component's own help file loaded (hosted use)

struct PreferenceKey {
    const char* key;
    int defaultValue;
    int* value;
};

// The component's keys: a table of its own, apart from the application's.
const PreferenceKey componentPreferenceKeys[] = {
    {"groupColor", 0x99FFFF, &groupColor}, {"operColor", 0xCCCCCC, &operColor},
    {"textColor", 0, &textColor},          {"useVisaId", DEFAULTuseVisaId, &useVISAnames},
    {"showSession", 1, &showSession},      {"loadConfig", 0, &loadConfig},
    {"sleepMoreExt", 0, &sleepMoreExt},
};

void setTimerEnabled(int enabled) {
    if (tmrpanel > 0) SetCtrlAttribute(tmrpanel, TMRPANEL_TIMER, ATTR_ENABLED, enabled);
}

// The lowest step not built yet: the first clear bit above the unbroken run of set bits from
// bit 0 (kTemplateSteps when every step is built).
int nextTemplateStep() {
    int step = 0;
    while (step < kTemplateSteps && (windowBits & (1u << step))) ++step;
    return step;
}

}  // namespace

namespace {

ViSession sessionOfWindow(void* callbackData) {
    return callbackData ? static_cast<SessionRecord*>(callbackData)->session : VI_NULL;
}

}  // namespace

int LoadInitialPanels(int initRuntime) {
    return _LoadInitialPanels(initRuntime, 0);
}

int _LoadInitialPanels(int initRuntime, int hosted) {
    RegisterUirCallbacks_visaio();
    setHelpSessionLookup(sessionOfWindow);  // "Interpret Code" asks the window's own session
    const char* directory = programDirectory();
    if (initRuntime) {
        std::string help = std::string(directory) + "/ZUtalmik.hlp";
        componentHelp = Help_Initialize(help.c_str()) >= 0;
    }
    bool started = false;
    if (viOpenDefaultRM(&componentRM) < VI_SUCCESS) {
        componentRM = VI_NULL;
        MessagePopup(kAppName,
                     hosted
                         ? kNoVisa
                         : "Unable to initialize the VISA library.\nThe Talmik utility will exit.");
    } else {
        tmrpanel = LoadPanel(0, kVisaioUir, TMRPANEL);
        started = tmrpanel > 0;
        if (!started) tmrpanel = 0;
    }
    if (!started) {
        if (initRuntime) CloseKestrelRTE();
        didInits = 0;
        return 0;
    }
    initThreadID = CurrThreadId();
    UpdatePanelPrefs();
    if (hosted) SetSleepPolicy(sleepMoreExt ? VAL_SLEEP_MORE : VAL_SLEEP_SOME);
    didInitKestrel = static_cast<short>(initRuntime);
    for (int step = 0; step < kStepsAtStart; ++step) makeSessionWindow(step);
    setTimerEnabled(1);
    didInits = 1;
    return 1;
}

int MainTimerCallback(int, int, int event, void*, int, int) {
    if (event != EVENT_TIMER_TICK) return 0;
    int step = nextTemplateStep();
    // One step per tick; the timer stops itself after the last one, or when a step fails (the
    // step is then built when a session opens).
    if (!(step < kTemplateSteps && makeSessionWindow(step) && step + 1 < kTemplateSteps))
        setTimerEnabled(0);
    return 0;
}

void startTemplateTimer() {
    setTimerEnabled(1);
}

int OpenVisaSession(const char* rsrcName) {
    return _OpenVisaSession(rsrcName, 0, VI_NULL);
}

int OpenVisaSessionEx(const char* rsrcName, ViAccessMode accessMode) {
    return _OpenVisaSession(rsrcName, 1, accessMode);
}

int _OpenVisaSession(const char* rsrcName, int useMode, ViAccessMode accessMode) {
    const char* name = rsrcName ? rsrcName : "";
    ViAccessMode mode = useMode ? accessMode : loadConfig ? VI_LOAD_CONFIG : VI_NULL;
    int cursor = GetWaitCursorState();
    SetWaitCursor(1);
    ViSession vi = VI_NULL;
    ViStatus status = viOpen(componentRM, name, mode, 0, &vi);
    SetWaitCursor(cursor);
    if (status < VI_SUCCESS) {
        char text[1024];
        int length = std::snprintf(
            text, sizeof text,
            "Unable to open session to \"%s\"\n\nReturn value: 0x%08lX\nStatus name: %s\n\n", name,
            static_cast<unsigned long>(static_cast<ViUInt32>(status)), statusName(status));
        // The library's own description follows directly.
        char description[256] = "";
        viStatusDesc(componentRM, status, description);
        description[sizeof description - 1] = '\0';
        if (length > 0 && static_cast<size_t>(length) < sizeof text)
            std::snprintf(text + length, sizeof text - static_cast<size_t>(length), "%s",
                          description);
        MessagePopup(kAppName, text);
        didOpen = 0;
        return 0;
    }
    if (!makeInteractiveWindow(vi)) {
        char text[320];
        std::snprintf(text, sizeof text, "Unable to create window for \"%s\"", name);
        MessagePopup(kAppName, text);
        viClose(vi);
        didOpen = 0;
        return 0;
    }
    didOpen = 1;
    return 1;
}

int registerSessionWindow(int panel) {
    size_t count = static_cast<size_t>(numWindows) + 1;
    int* grown = sessionWindows
                     ? static_cast<int*>(std::realloc(sessionWindows, count * sizeof(int)))
                     : static_cast<int*>(std::calloc(count, sizeof(int)));
    if (!grown) return 0;
    sessionWindows = grown;
    sessionWindows[numWindows++] = panel;
    return 1;
}

void unregisterSessionWindow(int panel) {
    for (int slot = 0; slot < numWindows; ++slot) {
        if (sessionWindows[slot] != panel) continue;
        sessionWindows[slot] = sessionWindows[numWindows - 1];
        if (--numWindows == 0) notifyHost(HOOK_LAST_WINDOW_CLOSED);
        return;
    }
}

int notifyHost(int code) {
    return pMainWndCB ? pMainWndCB(code) : code;
}

void CloseAllWindows() {
    _CloseAllWindows();
}

void _CloseAllWindows() {
    // Each discard runs CloseSession, which takes the window out of the registry.
    while (numWindows > 0 && sessionWindows) {
        int before = numWindows;
        DiscardPanel(sessionWindows[0]);
        if (numWindows == before)
            unregisterSessionWindow(sessionWindows[0]);  // not a panel any more
    }
    numWindows = 0;
    std::free(sessionWindows);
    sessionWindows = nullptr;
}

int GetNumVisaWindows() {
    return numWindows;
}

void InstallWindowHook(WindowHookPtr hook) {
    pMainWndCB = hook;
    needUI = 0;
    Help_SetWindowHook(hook);  // the windows' help menus tell the host of the viewer too
}

void UpdatePanelPrefs() {
    _SetDir_(nullptr);
    IniText settings = Ini_New(0);
    if (settings) Ini_ReadFromFile(settings, kSettingsFile);
    for (const PreferenceKey& p : componentPreferenceKeys) {
        int value = 0;
        *p.value = settings && Ini_GetInt(settings, kPreferencesSection, p.key, &value) > 0
                       ? value
                       : p.defaultValue;
    }
    Ini_Dispose(settings);
    discardPanelsNull();
    setTimerEnabled(1);
}

void discardPanelsNull() {
    discardTemplatePanels();
    windowBits = 0;
}

void CloseAllExtResources() {
    if (numWindows) CloseAllWindows();
    std::free(sessionWindows);  // the registry may outlive its last window
    sessionWindows = nullptr;
    discardPanelsNull();
    discardWaitPanel();
    if (tmrpanel > 0) DiscardPanel(tmrpanel);
    tmrpanel = 0;
    if (componentRM != VI_NULL) viClose(componentRM);
    componentRM = VI_NULL;
    if (didInitKestrel) {
        Help_Close();
        CloseKestrelRTE();
        didInitKestrel = 0;
        // The runtime dropped the completions still on their way; their records go with them.
        releaseOrphanedRecords();
    }
    initThreadID = 0;
    didInits = 0;
}

void DoCloseAll(int, int, void*, int) {
    CloseAllWindows();
}

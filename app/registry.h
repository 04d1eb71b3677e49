// The session-window component: its own default resource manager, its copy of the display
// preferences, the registry of open session windows, the idle timer that builds the window
// templates, the entry points that open and close session windows, and the hook through which
// it tells its host about changes. It can run inside talmik or inside another host program.
#pragma once

#include "zuvisa/visa.h"

// Hook codes sent to the host's window hook.
enum {
    HOOK_LAST_WINDOW_CLOSED = 1001,   // numWindows dropped to 0
    HOOK_HELP_VIEWER_STARTED = 1002,  // context help started the system help viewer
};
using WindowHookPtr = int (*)(int code);

extern ViSession componentRM;
extern int numWindows;
extern int* sessionWindows;      // panel handles of the open session windows, numWindows of them
extern unsigned int windowBits;  // bit n: template build step n is done
extern int tmrpanel;
extern int initThreadID;
extern WindowHookPtr pMainWndCB;
extern short needUI;
extern short didInitKestrel, didInits, didOpen;
// The component's preferences (read from "talmik.ini" by UpdatePanelPrefs).
extern int groupColor, operColor, textColor, useVISAnames, showSession, loadConfig, sleepMoreExt;

int LoadInitialPanels(int initRuntime);
int _LoadInitialPanels(int initRuntime, int hosted);
int OpenVisaSession(const char* rsrcName);
int OpenVisaSessionEx(const char* rsrcName, ViAccessMode accessMode);
int _OpenVisaSession(const char* rsrcName, int useMode, ViAccessMode accessMode);
void CloseAllWindows();
void _CloseAllWindows();
int GetNumVisaWindows();
void InstallWindowHook(WindowHookPtr hook);
void UpdatePanelPrefs();
void discardPanelsNull();
// Stops the component: closes every window, discards the templates and the timer panel and
// closes the component's resource manager.
void CloseAllExtResources();

// Sends a code to the host's hook, if one is installed; returns what the hook returns (the code
// itself without a hook).
int notifyHost(int code);

// Registry entries, made when a template is handed out and removed when its window closes
// (moving the last entry into the gap). Adding returns 0 when memory runs out.
int registerSessionWindow(int panel);
void unregisterSessionWindow(int panel);
// Lets the idle timer build the next template.
void startTemplateTimer();

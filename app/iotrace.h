// The I/O trace window: every VISA call the program made, live, with filters by session,
// operation and errors, the full record of the selected call, copy and export as CSV or JSON.
#pragma once

#include "toolslib/toolbox/ini.h"
#include "zuvisa/visatype.h"

inline constexpr char kIoTraceSizeKey[] = "ioTraceSize";

// Opens the window, or brings it to the front, showing the calls of one session (VI_NULL: of
// every session). A session window calls this to show its own calls.
void OpenIoTrace(ViSession session);

// How many calls the trace keeps, from the settings ("Preferences", ioTraceSize).
void applyIoTracePreferences(IniText ini);

// The menu command: opens the window as it was left.
void DoIoTrace(int menuBar, int menuItem, void* callbackData, int panel);

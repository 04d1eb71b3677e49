// The program's entry, start-up, main loop and shutdown, and the state they own.
#pragma once

#include <string>

#include "toolslib/toolbox/ini.h"
#include "zuvisa/visatype.h"

extern ViSession defaultRM;
extern ViUInt16 mfrID;
extern short abortApp;
extern short helpLoaded;
extern int helpUsed;
extern const char* pszAppName;
extern const char* pszHelpName;
extern int rsrcpanel, rsrcio, rsrcsfp, rsrczu, preference, about;
extern int rsrcSheets;  // the sheet group on the main window
extern IniText ini;

// The panel file "talmik.uir" in the program's directory.
std::string uirPath();
// 0 when the only argument is "/nofind", else 1.
short findOnStartFromCommandLine(int argc, char** argv);

// The whole application after the runtime started: 0 after a normal run, -1 after a fatal
// start-up failure.
int talmik_main(short findOnStart);

void GetTalmikPathNames(const char** appName, const char** helpName);
int QueryReallyQuit();
// The window hook given to the session-window component.
int talmikExtCB(int code);
void DoExit();
// "Major.minor" of a VISA version number, with ".sub" when the sub-minor is not 0.
void formatVisaVersion(char* buffer, unsigned long size, ViUInt32 version);

int MainCallback(int panel, int control, int event, void* callbackData, int eventData1, int eventData2);

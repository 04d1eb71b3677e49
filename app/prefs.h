// The settings file "talmik.ini" in the program's directory: the directory helper, the writer
// that keeps the file's permissions, and the application's copies of the preferences.
#pragma once

#include "toolslib/toolbox/ini.h"

inline constexpr char kSettingsFile[] = "talmik.ini";
inline constexpr char kPreferencesSection[] = "Preferences";
inline constexpr char kRecentFindSection[] = "RecentFindExpressions";
inline constexpr int DEFAULTuseVisaId = 1;

extern int groupColorApp;
extern int operColorApp;
extern int textColorApp;
extern int useVISAnamesApp;
extern int showSessionApp;
extern int showDuplicateApp;
extern int viewRsrcConnApp;
extern int loadConfigApp;
extern int sleepMoreApp;

// Makes dir, or the program's directory when dir is null, the current directory. Asking again
// for the directory set last does nothing and returns that call's result.
int _SetDir_(const char* dir);
// Forgets the program directory and the last directory set (for a program directory that
// changed, as in tests).
void _ResetDirCache_();
// The program's directory, fetched once.
const char* programDirectory();

// Writes the settings object to fileName and gives the file back the permission bits it had.
int _WriteIniFile_(IniText ini, const char* fileName);

// Reads the application's nine preference keys; a key that is missing or not an integer takes
// its default.
void readAppPreferences(IniText ini);

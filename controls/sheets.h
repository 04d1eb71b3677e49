// Tab sheet group: rows of tabs above a raised body, one sheet visible at a time, composed from
// plain runtime controls on a parent panel. A sheet is a child panel placed inside the body or a
// list of controls on the parent panel. Operations name the group by (parent panel, body id).
#pragma once

#include <cstddef>

#include "toolslib/toolbox/list.h"

// A control that is not a sheet group, or not a decoration on conversion.
inline constexpr int SHEET_ERR_NOT_A_GROUP = -45;

// Sheet modes of SheetGroupAddSheet; any other mode value is the first control id of a list
// given in the arguments (ended by a value below 2).
enum {
    SHEET_MODE_CONTROL_LIST = -1,  // a: ListType of int control ids (copied)
    SHEET_MODE_PANEL = -2,         // a: an existing child panel
    SHEET_MODE_LOAD_PANEL = -3,    // a: resource file name, b: panel resource id
};

// Called when the active sheet changes: first for the sheet being left (code 1), then for the
// sheet being entered (code 2); a non-zero result keeps the old sheet.
using SheetCallbackPtr = int (*)(int sheetPanel, int parentPanel, int code);

struct SheetGroup;

int SheetGroupCreate(int panel, int top, int left);
int SheetGroupConvertFromDecoration(int panel, int decoration);
int GetSheetGroup(int panel, int control, SheetGroup** group);
int SheetGroupAddSheet(int panel, int group, const char* title, int mode, ...);
int SheetGroupNextLine(int panel, int group);
int SheetGroupSetActiveSheet(int panel, int group, const char* title);
// Copies the active sheet's title ("" when none).
int SheetGroupGetActiveSheet(int panel, int group, char* title, size_t size);
int SheetGroupInstallSheetCallback(int panel, int group, const char* title, SheetCallbackPtr callback);
int SheetGroupGetSheetPanelFromIndex(int panel, int group, int index, int* sheetPanel);
int SheetGroupSizeToFit(int panel, int group);
// Each output may be null.
int SheetGroupGetSize(int panel, int group, int* top, int* bodyTop, int* left, int* height, int* width);
// A zero leaves that dimension as it is.
int SheetGroupSetSize(int panel, int group, int height, int width);
int SheetGroupCurTabColor(int panel, int group, int color);
// Tabs added from now on: labels at least minLabelHeight high (a tab is its label's height and 5
// more) and padding pixels wider on each side of the title, centred.
int SheetGroupSetTabSize(int panel, int group, int minLabelHeight, int padding);
int SheetGroupNumSheets(int panel, int group);

int SheetTabCallback(int panel, int control, int event, void* callbackData, int eventData1,
                     int eventData2);

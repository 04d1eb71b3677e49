// The test driver: acts on panels and controls as a user would, without a display, answers
// popups and popup menus from a script, drives timers, loops and deferred calls, and reads back
// what a test needs beyond the runtime's own getters.
//
// Actions go through the same paths as real input (mouse and key events, the widgets' own
// signals), so callbacks see exactly the events a user would cause. An action on a dimmed or
// hidden control, or on a panel behind an installed popup, fails as it would for a user.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "uiruntime/uiruntime.h"

// ---------------------------------------------------------------------------------------------
// Start and reset
// ---------------------------------------------------------------------------------------------

// Starts the runtime for tests (the offscreen platform unless QT_QPA_PLATFORM says otherwise):
// popups are scripted, timers tick only when told. Safe to call again; returns 0 or a UIE code.
int UiTest_Start();
// Discards every panel and menu bar, forgets scripts, recorded popups and failures, and
// restores the defaults (manual timers, no program directory, the main callback removed).
void UiTest_Reset();

// Problems the driver noticed: an unscripted confirmation, file selection or popup menu, a
// popup panel nobody answers, a loop nobody ends. Each is also passed to the handler, if any.
const std::vector<std::string>& UiTest_Failures();
void UiTest_SetFailureHandler(std::function<void(const std::string&)> handler);

// ---------------------------------------------------------------------------------------------
// Acting as the user. Coordinates are relative to the control (or to the panel's control area
// for control 0). Each returns 0 or a UIE code.
// ---------------------------------------------------------------------------------------------

// Commits a control the way its kind is committed: presses a button, presses Enter in a numeric
// or string control, chooses the current item of a ring again, activates the current item of a
// list box.
int UiTest_Commit(int panel, int control);
// Gives a control a new value as a user would: types it (numeric, string: followed by Enter;
// text box: the text replaces the content), sets a toggle by pressing it when it differs, or
// chooses the item with that value (ring, list box).
int UiTest_SetValue(int panel, int control, UiValue value);
// Chooses an item of a ring, or moves the selection of a list box.
int UiTest_SelectIndex(int panel, int control, int index);
// Tables: SelectIndex makes a row the only selected and current row, as a click does; this one
// adds a row to the selection, as a click with Control held does.
int UiTest_SelectMoreRows(int panel, int control, int row);
// The user drags a table's scroll bar until row is the first in view.
int UiTest_ScrollTable(int panel, int control, int firstRow);
// Toggles the check mark of a list box item.
int UiTest_ToggleCheck(int panel, int control, int index);
int UiTest_Click(int panel, int control, int x, int y);
int UiTest_DoubleClick(int panel, int control, int x, int y);
int UiTest_RightClick(int panel, int control, int x, int y);
// Presses the left button at (x0, y0), moves to (x1, y1) and releases there.
int UiTest_Drag(int panel, int control, int x0, int y0, int x1, int y1);
// The left button alone: pressed at a point and held, then released (at any point: the control
// that took the press gets the release, as with a real mouse).
int UiTest_MouseDown(int panel, int control, int x, int y);
int UiTest_MouseUp(int panel, int control, int x, int y);
// Turns the mouse wheel over a point by whole notches (positive: away from the user).
int UiTest_Wheel(int panel, int control, int x, int y, int notches);
// A key code as the runtime gives them (character codes, VAL_*_VKEY, modifiers).
int UiTest_KeyPress(int panel, int control, int keyCode);
// The same key pressed with the control's window active, so that a shortcut of that window
// (a button's, a menu item's) takes it first, as it would for the user.
int UiTest_KeyPressInWindow(int panel, int control, int keyCode);
// Moves the focus to a control.
int UiTest_Focus(int panel, int control);
// The close box of a panel's title bar.
int UiTest_ClosePanel(int panel);
// Drags a panel's frame to a new size (EVENT_PANEL_SIZE follows, as it would for the user).
int UiTest_ResizePanel(int panel, int height, int width);
int UiTest_ChooseMenuItem(int menuBar, int item);

// Timers tick only here while the driver runs: one control, or every enabled timer once
// (returns how many ticked).
int UiTest_FireTimer(int panel, int control);
int UiTest_TickTimers();
// Runs the deferred calls posted so far (from any thread); returns how many ran.
int UiTest_RunDeferredCalls();

// ---------------------------------------------------------------------------------------------
// Scripts. Answers are used in the order given, each by the next popup of its kind. Message
// popups need no answer (they are recorded and acknowledged).
// ---------------------------------------------------------------------------------------------
void UiTest_AnswerConfirm(int yes);
// result is VAL_NO_FILE_SELECTED, VAL_EXISTING_FILE_SELECTED or VAL_NEW_FILE_SELECTED.
void UiTest_AnswerFileSelect(int result, const char* path);
// Chooses the item of the next popup menu whose name is itemName (as given to NewMenuItem, "__"
// included); an empty name dismisses the menu.
void UiTest_AnswerPopupMenu(const char* itemName);
// Runs when the program waits on the next panel installed with InstallPopup; the script acts on
// that panel (for example commits its OK button).
void UiTest_OnPopupPanel(std::function<void(int panel)> script);
// One step of the next RunUserInterface; steps run in order, one per pass of the loop. The loop
// fails (and returns -1) when it stays idle longer than the loop timeout with no step left.
void UiTest_OnLoop(std::function<void()> step);
void UiTest_SetLoopTimeout(int milliseconds);
// What GetGlobalMouseState reports: a position in a panel's control area and the buttons.
void UiTest_SetMouse(int panel, int x, int y, int leftButton, int rightButton, int keys);
// Button states (left, right) that the next readings of the mouse report, one per reading; after
// the last one the buttons stay as it left them. Counts readings afresh.
void UiTest_SetMouseButtons(const std::vector<std::pair<int, int>>& buttons);
// Readings of the mouse since the last UiTest_SetMouseButtons or reset.
int UiTest_MouseReadings();
// The program's directory that GetProjectDir reports (null or "": the executable's).
void UiTest_SetProjectDir(const char* directory);
// Lets timers run on their own clock (off by default).
void UiTest_SetRealTimers(int on);
// Answers given but not yet used.
int UiTest_PendingAnswers();

// ---------------------------------------------------------------------------------------------
// Record of the popups shown.
// ---------------------------------------------------------------------------------------------
enum { UITEST_MESSAGE = 1, UITEST_CONFIRM, UITEST_FILE_SELECT, UITEST_POPUP_MENU };
struct UiTestPopup {
    int kind = 0;
    std::string title;
    std::string text;                // message text; the directory and pattern of a file selection
    std::vector<std::string> items;  // popup menu item names
    int answer = 0;                  // confirmation 1/0, file selection result, chosen menu item id
    std::string path;
};
const std::vector<UiTestPopup>& UiTest_Popups();
void UiTest_ClearPopups();

// ---------------------------------------------------------------------------------------------
// Reading back
// ---------------------------------------------------------------------------------------------
std::vector<int> UiTest_Panels();
// The first panel, or the control of a panel, with that constant name; UIEInvalidPanel or
// UIEInvalidControl when there is none.
int UiTest_FindPanel(const char* constantName);
int UiTest_FindControl(int panel, const char* constantName);
// The text as the user sees it: a number in its format, the chosen item of a ring, the current
// item of a list box, a button's caption, a text box's content, the cells of a table's current
// row separated by tabs.
std::string UiTest_DisplayedText(int panel, int control);
// A table cell as the table shows it; "" outside the table.
std::string UiTest_TableCellText(int panel, int control, int row, int column);
// 1 when the control would be seen: it and its panel (and the panel's parents) are shown.
int UiTest_IsShown(int panel, int control);
// Draws a panel as it looks now into a PNG file.
int UiTest_Grab(int panel, const char* pngPath);
// The colour at a point of a panel's control area as drawn now.
int UiTest_PixelAt(int panel, int x, int y, int* rgb);

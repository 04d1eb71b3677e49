// Panels, controls, menus, popups and the event loop of the panel-and-control runtime.
//
// Panels are integer handles; a control is addressed by (panel, control id). Functions return 0
// (or a handle, a count, an index) on success and a negative UIE* code on failure; getters
// named Is... return 1 or 0. Every function must be called on the thread that initialised the
// runtime, except those marked "any thread".
#pragma once

#include <cstddef>

#include "uiruntime/uidefs.h"

// ---------------------------------------------------------------------------------------------
// Start and end
// ---------------------------------------------------------------------------------------------

// Starts the runtime. argv is the program's argument vector (null-terminated); the other
// arguments are reserved and must be 0. Returns 1, or 0 when no display is available.
int InitKestrelRTEEx(int reserved1, char** argv, int reserved2);
// Discards every panel and menu bar and ends the runtime.
void CloseKestrelRTE();

// ---------------------------------------------------------------------------------------------
// Callback registry. A panel resource names its callbacks; loading binds them by name from this
// registry, which the program fills once at start-up (the generated header of each resource
// file offers RegisterUirCallbacks_<name>() for that).
// ---------------------------------------------------------------------------------------------
struct UiCallbackEntry {
    enum class Kind { Control, Panel, Menu };
    UiCallbackEntry(const char* n, CtrlCallbackPtr f) : name(n), kind(Kind::Control), ctrl(f) {}
    UiCallbackEntry(const char* n, PanelCallbackPtr f) : name(n), kind(Kind::Panel), panel(f) {}
    UiCallbackEntry(const char* n, MenuCallbackPtr f) : name(n), kind(Kind::Menu), menu(f) {}
    const char* name;
    Kind kind;
    union {
        CtrlCallbackPtr ctrl;
        PanelCallbackPtr panel;
        MenuCallbackPtr menu;
    };
};
// Registers count entries. A name registered again with a different function or kind gives
// UIEDuplicateCallbackName; registering the same pair twice is harmless.
int RegisterCallbacks(const UiCallbackEntry* entries, int count);
int RegisterCallback(const UiCallbackEntry& entry);
// Forgets every registered callback.
void ClearCallbackRegistry();

// ---------------------------------------------------------------------------------------------
// Panels
// ---------------------------------------------------------------------------------------------

// Loads a panel from a panel resource file by its constant (from the file's generated header)
// or by its constant name. parent is 0 for a top-level panel. A relative file name is looked
// for in the program's directory (GetProjectDir), then next to the executable, then in the
// current directory. Returns the panel handle (> 0) or a negative code; LoadPanelErrorDetail
// then explains it.
int LoadPanel(int parent, const char* fileName, int panelResourceId);
int LoadPanelEx(int parent, const char* fileName, int panelResourceId, void* reserved);
int LoadPanelByName(int parent, const char* fileName, const char* constantName);
// The explanation of the last failed load on this thread (empty after a success).
const char* LoadPanelErrorDetail();

int NewPanel(int parent, const char* title, int top, int left, int height, int width);
int DisplayPanel(int panel);
int HidePanel(int panel);
// Discards a panel: its child panels first, then EVENT_DISCARD to each of its controls in
// creation order and finally to the panel's own callback. Handles stay valid during those
// callbacks and are invalid afterwards. Safe to call from a callback of the panel itself.
int DiscardPanel(int panel);
int SetPanelAttribute(int panel, int attribute, UiValue value);
int GetPanelAttribute(int panel, int attribute, UiOut value);
int GetPanelAttribute(int panel, int attribute, char* buffer, size_t bufferSize);
int SetPanelPos(int panel, int top, int left);
int SetPanelSize(int panel, int height, int width);
int InstallPanelCallback(int panel, PanelCallbackPtr callback, void* callbackData);
int SetActivePanel(int panel);
int GetActivePanel();  // 0 when none
// Makes the panel a modal popup: until RemovePopup only it takes user input.
int InstallPopup(int panel);
// Removes the topmost popup (all of them when removeAll is non-zero); the panels stay loaded.
int RemovePopup(int removeAll);

// ---------------------------------------------------------------------------------------------
// Controls
// ---------------------------------------------------------------------------------------------
int NewCtrl(int panel, int style, const char* label, int top, int left);
// Sends EVENT_DISCARD to the control's callback, then removes it.
int DiscardCtrl(int panel, int control);
int InstallCtrlCallback(int panel, int control, CtrlCallbackPtr callback, void* callbackData);

// Values. A text box appends the text given to SetCtrlVal (ResetTextBox replaces it); a ring or
// list box selects the first item with that value; a text message shows the text.
int SetCtrlVal(int panel, int control, UiValue value);
int GetCtrlVal(int panel, int control, UiOut value);
int GetCtrlVal(int panel, int control, char* buffer, size_t bufferSize);
int DefaultCtrl(int panel, int control);

int SetCtrlAttribute(int panel, int control, int attribute, UiValue value);
int GetCtrlAttribute(int panel, int control, int attribute, UiOut value);
int GetCtrlAttribute(int panel, int control, int attribute, char* buffer, size_t bufferSize);
// The rectangle covering the control and its label.
int GetCtrlBoundingRect(int panel, int control, int* top, int* left, int* height, int* width);
int SetActiveCtrl(int panel, int control);
int GetActiveCtrl(int panel);  // the control id, 0 when none

// ---------------------------------------------------------------------------------------------
// Rings and list boxes. index -1 means the end for insertion. Labels may hold the escapes of
// uidefs.h. Item values follow the control's data type.
// ---------------------------------------------------------------------------------------------
int InsertListItem(int panel, int control, int index, const char* label, UiValue value);  // any thread
int ReplaceListItem(int panel, int control, int index, const char* label, UiValue value);
// Deletes count items from index on (count -1: to the end).
int DeleteListItem(int panel, int control, int index, int count);
int ClearListCtrl(int panel, int control);
int GetNumListItems(int panel, int control, int* count);
int SetCtrlIndex(int panel, int control, int index);
int GetCtrlIndex(int panel, int control, int* index);  // -1 when the list is empty
int GetLabelFromIndex(int panel, int control, int index, char* buffer, size_t bufferSize);
template <size_t N>
int GetLabelFromIndex(int panel, int control, int index, char (&buffer)[N]) {
    return GetLabelFromIndex(panel, control, index, buffer, N);
}
int GetLabelLengthFromIndex(int panel, int control, int index, int* length);
int GetValueFromIndex(int panel, int control, int index, UiOut value);
int GetValueFromIndex(int panel, int control, int index, char* buffer, size_t bufferSize);
int GetValueLengthFromIndex(int panel, int control, int index, int* length);
// index is -1 when no item has the value.
int GetIndexFromValue(int panel, int control, int* index, UiValue value);
int CheckListItem(int panel, int control, int index, int checked);
int IsListItemChecked(int panel, int control, int index, int* checked);
int GetNumCheckedItems(int panel, int control, int* count);

// ---------------------------------------------------------------------------------------------
// Tables. A table shows rows that the program keeps itself: the program says how many rows there
// are and a cell function gives the text of each cell when it comes into view, so a table of a
// hundred thousand rows costs no more than the rows on screen. The columns come from the form
// (a QTableView's "columns" and "columnWidths" properties) or from SetTableColumns. The control's
// value is the current row (-1 for none); the user may select several rows. Rows added while the
// last row is in view scroll into view; a user who scrolled up keeps his place, also when rows
// above are deleted. Changing the current row reports EVENT_VAL_CHANGED; a double click or Enter
// on a row reports EVENT_COMMIT.
// ---------------------------------------------------------------------------------------------
int SetTableCellSource(int panel, int control, TableCellCallbackPtr source, void* callbackData);
int SetTableColumns(int panel, int control, int count, const char* const* labels);
int SetTableColumnWidth(int panel, int control, int column, int width);
int GetNumTableColumns(int panel, int control, int* count);
// Rows are added or removed at the end.
int SetNumTableRows(int panel, int control, int rows);
int GetNumTableRows(int panel, int control, int* rows);
// Removes count rows from index on; the rows after them move up.
int DeleteTableRows(int panel, int control, int index, int count);
// The cells changed: those in view are asked for again.
int RefreshTable(int panel, int control);
// The selected rows in ascending order: up to maxRows of them into rows, their number into count.
int GetSelectedTableRows(int panel, int control, int* rows, int maxRows, int* count);

// ---------------------------------------------------------------------------------------------
// Clipboard
// ---------------------------------------------------------------------------------------------
int ClipboardPutText(const char* text);
// The clipboard's text, cut to bufferSize - 1 bytes; *length (may be null) gets its full length.
int ClipboardGetText(char* buffer, size_t bufferSize, size_t* length);

// ---------------------------------------------------------------------------------------------
// Text boxes. Lines are separated by '\n'; a final line break ends the last line.
// ---------------------------------------------------------------------------------------------
int ResetTextBox(int panel, int control, const char* text);
int InsertTextBoxLine(int panel, int control, int index, const char* text);  // index -1: the end
int ReplaceTextBoxLine(int panel, int control, int index, const char* text);
int DeleteTextBoxLine(int panel, int control, int index);
int GetNumTextBoxLines(int panel, int control, int* count);
int GetTextBoxLine(int panel, int control, int index, char* buffer, size_t bufferSize);
template <size_t N>
int GetTextBoxLine(int panel, int control, int index, char (&buffer)[N]) {
    return GetTextBoxLine(panel, control, index, buffer, N);
}
int GetTextBoxLineLength(int panel, int control, int index, int* length);

// ---------------------------------------------------------------------------------------------
// Canvas. Drawing goes to the canvas's own image and shows at the next redraw; a batch
// (CanvasStartBatchDraw ... CanvasEndBatchDraw, nestable) shows only at its end. The pen and
// fill colours, the pen width and style and the background are canvas attributes.
// ---------------------------------------------------------------------------------------------
int CanvasStartBatchDraw(int panel, int control);  // returns the new depth
int CanvasEndBatchDraw(int panel, int control);    // returns the remaining depth
int CanvasClear(int panel, int control, Rect area);
int CanvasDrawRect(int panel, int control, Rect rect, int drawMode);
int CanvasDrawLine(int panel, int control, Point start, Point end);
int CanvasDrawPoint(int panel, int control, Point point);
int CanvasDrawText(int panel, int control, const char* text, const char* font, Rect bounds,
                   int alignment);
int CanvasDrawTextAtPoint(int panel, int control, const char* text, const char* font, Point point,
                          int alignment);
// Draws a part of a bitmap (VAL_ENTIRE_OBJECT: all of it) into a rectangle; a destination with
// VAL_KEEP_SAME_SIZE keeps the source size.
int CanvasDrawBitmap(int panel, int control, int bitmap, Rect source, Rect destination);
// Shifts the pixels inside area by (dx, dy); the uncovered part takes the background colour.
int CanvasScroll(int panel, int control, Rect area, int dx, int dy);
int CanvasGetPixel(int panel, int control, Point point, int* color);
int CanvasUpdate(int panel, int control, Rect area);

// ---------------------------------------------------------------------------------------------
// Bitmaps and pictures
// ---------------------------------------------------------------------------------------------
// pixels: height rows of width 0xRRGGBB values; a null pointer gives a white bitmap.
int NewBitmap(int width, int height, const int* pixels, int* bitmap);
int GetBitmapFromFile(const char* fileName, int* bitmap);
int GetBitmapInfo(int bitmap, int* width, int* height);
int DiscardBitmap(int bitmap);
// The image of a picture control (imageIndex 0) as a new bitmap.
int GetCtrlBitmap(int panel, int control, int imageIndex, int* bitmap);
int SetCtrlBitmap(int panel, int control, int imageIndex, int bitmap);
int DisplayImageFile(int panel, int control, const char* fileName);

// ---------------------------------------------------------------------------------------------
// Fonts and text
// ---------------------------------------------------------------------------------------------
int CreateMetaFont(const char* name, const char* baseFont, int pointSize, int bold, int italic,
                   int underline, int strikeout);
int GetTextDisplaySize(const char* text, const char* font, int* height, int* width);

// ---------------------------------------------------------------------------------------------
// Menus. A panel loaded from a resource file brings its menu bar along (GetPanelMenuBar).
// Menu and item ids are unique within their menu bar. Item names mark a mnemonic with "__".
// ---------------------------------------------------------------------------------------------
int NewMenuBar(int panel);  // panel 0: a menu bar for popup menus only
int DiscardMenuBar(int menuBar);
int GetPanelMenuBar(int panel);  // 0 when the panel has none
int SetPanelMenuBar(int panel, int menuBar);
int NewMenu(int menuBar, const char* name, int beforeMenu);  // beforeMenu -1: at the end
int NewSubMenu(int menuBar, int menuItem);
int NewMenuItem(int menuBar, int menu, const char* name, int beforeItem, int shortcutKey,
                MenuCallbackPtr callback, void* callbackData);
int InsertSeparator(int menuBar, int menu, int beforeItem);
int DiscardMenuItem(int menuBar, int menuItem);
int InstallMenuCallback(int menuBar, int menuItem, MenuCallbackPtr callback, void* callbackData);
int SetMenuBarAttribute(int menuBar, int menuOrItem, int attribute, UiValue value);
int GetMenuBarAttribute(int menuBar, int menuOrItem, int attribute, UiOut value);
// Shows a menu at (top, left) within the panel's control area and waits for a choice.
// Returns the chosen item id, 0 when dismissed, or a negative code; the chosen item's callback,
// if any, runs before the return.
int RunPopupMenu(int menuBar, int menu, int panel, int top, int left);

// ---------------------------------------------------------------------------------------------
// Popups. Titles and texts are shown as given.
// ---------------------------------------------------------------------------------------------
int MessagePopup(const char* title, const char* message);
int ConfirmPopup(const char* title, const char* message);  // 1 yes, 0 no
// Asks for a file. defaultFileSpec is a pattern such as "*.*" (any file); fileTypeList holds
// more patterns separated by ';' (may be empty); buttonLabel is VAL_*_BUTTON. Returns
// VAL_NO_FILE_SELECTED, VAL_EXISTING_FILE_SELECTED or VAL_NEW_FILE_SELECTED, or a negative code.
int FileSelectPopup(const char* defaultDirectory, const char* defaultFileSpec,
                    const char* fileTypeList, const char* title, int buttonLabel,
                    int restrictDirectory, int restrictExtension, int allowCancel,
                    int allowMakeDirectory, char* pathName, size_t pathNameSize);
template <size_t N>
int FileSelectPopup(const char* defaultDirectory, const char* defaultFileSpec,
                    const char* fileTypeList, const char* title, int buttonLabel,
                    int restrictDirectory, int restrictExtension, int allowCancel,
                    int allowMakeDirectory, char (&pathName)[N]) {
    return FileSelectPopup(defaultDirectory, defaultFileSpec, fileTypeList, title, buttonLabel,
                           restrictDirectory, restrictExtension, allowCancel, allowMakeDirectory,
                           pathName, N);
}

// ---------------------------------------------------------------------------------------------
// Event loop
// ---------------------------------------------------------------------------------------------
int InstallMainCallback(MainCallbackPtr callback, void* callbackData, int reserved);
// Runs the event loop until QuitUserInterface; returns the code given to it. Loops nest: a
// quit ends the innermost.
int RunUserInterface();
int QuitUserInterface(int returnCode);
// Redraws what is pending, without taking user input.
int ProcessDrawEvents();
// Handles all pending events and deferred calls, then returns.
int ProcessSystemEvents();
int SetWaitCursor(int on);
int GetWaitCursorState();
int SetSleepPolicy(int policy);  // VAL_SLEEP_*
int GetSleepPolicy();
// The mouse: panel under it (0 for none), position relative to that panel's control area (or
// the screen), button states and modifier keys.
int GetGlobalMouseState(int* panel, int* x, int* y, int* leftButton, int* rightButton, int* keys);
int GetRelativeMouseState(int panel, int control, int* x, int* y, int* leftButton,
                          int* rightButton, int* keys);

// ---------------------------------------------------------------------------------------------
// System attributes
// ---------------------------------------------------------------------------------------------
int SetSystemAttribute(int attribute, UiValue value);
int GetSystemAttribute(int attribute, UiOut value);

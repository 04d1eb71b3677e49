#include "app/prefdialog.h"

#include <string>

#include "app/prefs.h"
#include "app/registry.h"
#include "app/talmik.h"
#include "resources/browser.h"
#include "talmik_uir.h"
#include "uiruntime/uiruntime.h"

namespace {


// A colour of the dialog: its hexadecimal value, and the button that shows it and opens the
// palette.
struct ColorRow {
    int value;
    int button;
    int* app;
    int defaultValue;
    const char* title;
};
const ColorRow kColors[] = {
    {PREFS_GROUPCOLOR, PREFS_GROUPCOLOR_PICK, &groupColorApp, 0x99FFFF, "Colour of the Operation Group Tabs"},
    {PREFS_OPERCOLOR, PREFS_OPERCOLOR_PICK, &operColorApp, 0xCCCCCC, "Colour of the Operation Panels"},
    {PREFS_TEXTCOLOR, PREFS_TEXTCOLOR_PICK, &textColorApp, 0, "Colour of the Tab Texts"},
};

// The keys in the order they are written, with the copy each one takes its value from.
struct WrittenKey {
    const char* key;
    int* value;
};
const WrittenKey kWrittenKeys[] = {
    {"groupColor", &groupColorApp},   {"operColor", &operColorApp},     {"textColor", &textColorApp},
    {"useVisaId", &useVISAnamesApp},  {"showSession", &showSessionApp}, {"showDuplicateRsrc", &showDuplicateApp},
    {"viewRsrcByConn", &viewRsrcConnApp}, {"loadConfig", &loadConfigApp},
};

// The start view as stored, which the dialog shows instead of the browser's current view.
int storedStartView() {
    int value = 0;
    return Ini_GetInt(ini, kPreferencesSection, "viewRsrcByConn", &value) > 0 ? value : 1;
}

int intValue(int panel, int control) {
    int value = 0;
    GetCtrlVal(panel, control, &value);
    return value;
}

void showColor(int panel, const ColorRow& row, int color) {
    SetCtrlVal(panel, row.value, color);
    SetCtrlAttribute(panel, row.button, ATTR_CMD_BUTTON_COLOR, color);
    // Readable on any colour: dark text on light colours, white on dark ones.
    const int luma = ((color >> 16 & 0xFF) * 299 + (color >> 8 & 0xFF) * 587 + (color & 0xFF) * 114) / 1000;
    SetCtrlAttribute(panel, row.button, ATTR_TEXT_COLOR, luma < 128 ? VAL_WHITE : VAL_BLACK);
}

void setStartView(int panel, int byConnection) {
    SetCtrlVal(panel, PREFS_VIEWCONN, byConnection ? 1 : 0);
    SetCtrlVal(panel, PREFS_VIEWTYPE, byConnection ? 0 : 1);
}

void fill(int panel, int group, int oper, int text, int useVisaId, int showSessionValue, int showDuplicate,
          int startView, int loadConfigValue) {
    showColor(panel, kColors[0], group);
    showColor(panel, kColors[1], oper);
    showColor(panel, kColors[2], text);
    SetCtrlVal(panel, PREFS_USEVISAID, useVisaId ? 1 : 0);
    SetCtrlVal(panel, PREFS_SHOWSESSION, showSessionValue ? 1 : 0);
    SetCtrlVal(panel, PREFS_SHOWDUPLICATE, showDuplicate ? 1 : 0);
    SetCtrlVal(panel, PREFS_LOADCONFIG, loadConfigValue ? 1 : 0);
    setStartView(panel, startView);
}

void closeDialog() {
    if (preference > 0) DiscardPanel(preference);
    preference = 0;
    if (rsrcpanel > 0) SetMenuBarAttribute(GetPanelMenuBar(rsrcpanel), MENUBAR_FILE_PREFERENCES, ATTR_DIMMED, 0);
}

// Takes a control's value into a copy; true when it differed.
bool take(int panel, int control, int* copy) {
    const int value = intValue(panel, control);
    if (value == *copy) return false;
    *copy = value;
    return true;
}

// ---- The palette ---------------------------------------------------------------------------
const int kPaletteColumns = 8, kPaletteRows = 6, kCell = 28;
const int kPalette[kPaletteRows][kPaletteColumns] = {
    {0x000000, 0x404040, 0x808080, 0xA0A0A0, 0xC0C0C0, 0xCCCCCC, 0xE0E0E0, 0xFFFFFF},
    {0x800000, 0xFF0000, 0xFF8080, 0xFFC0C0, 0x804000, 0xFF8000, 0xFFC080, 0xFFE0C0},
    {0x808000, 0xFFFF00, 0xFFFF80, 0xFFFFC0, 0x008000, 0x00FF00, 0x80FF80, 0xC0FFC0},
    {0x008080, 0x00FFFF, 0x99FFFF, 0xC0FFFF, 0x000080, 0x0000FF, 0x8080FF, 0xC0C0FF},
    {0x800080, 0xFF00FF, 0xFF80FF, 0xFFC0FF, 0x400080, 0x8000FF, 0xC080FF, 0xE0C0FF},
    {0x004040, 0x006666, 0x336699, 0x6699CC, 0x99CCFF, 0xCCE6FF, 0xFFF2CC, 0xF2F2E6},
};
int paletteDone = 0, paletteChoice = -1;

void drawPalette(int panel) {
    CanvasStartBatchDraw(panel, COLORPICK_PALETTE);
    for (int r = 0; r < kPaletteRows; ++r)
        for (int c = 0; c < kPaletteColumns; ++c) {
            SetCtrlAttribute(panel, COLORPICK_PALETTE, ATTR_PEN_COLOR, VAL_DK_GRAY);
            SetCtrlAttribute(panel, COLORPICK_PALETTE, ATTR_PEN_FILL_COLOR, kPalette[r][c]);
            CanvasDrawRect(panel, COLORPICK_PALETTE, MakeRect(r * kCell + 2, c * kCell + 2, kCell - 4, kCell - 4),
                           VAL_DRAW_FRAME_AND_INTERIOR);
        }
    CanvasEndBatchDraw(panel, COLORPICK_PALETTE);
}

}  // namespace

int chooseColor(const char* title, int* color) {
    int panel = LoadPanel(0, uirPath().c_str(), COLORPICK);
    if (panel <= 0) return 0;
    SetPanelAttribute(panel, ATTR_TITLE, title);
    drawPalette(panel);
    paletteDone = 0;
    paletteChoice = -1;
    InstallPopup(panel);
    while (!paletteDone) ProcessSystemEvents();
    RemovePopup(0);
    DiscardPanel(panel);
    if (paletteChoice < 0) return 0;
    *color = kPalette[paletteChoice / kPaletteColumns][paletteChoice % kPaletteColumns];
    return 1;
}

int ColorPaletteClick(int panel, int control, int event, void*, int eventData1, int eventData2) {
    if (event != EVENT_LEFT_CLICK) return 0;
    // The click comes in the panel's coordinates.
    int top = 0, left = 0;
    GetCtrlAttribute(panel, control, ATTR_TOP, &top);
    GetCtrlAttribute(panel, control, ATTR_LEFT, &left);
    const int y = eventData1 - top, x = eventData2 - left;
    if (y < 0 || x < 0) return 0;
    const int row = y / kCell, column = x / kCell;
    if (row < 0 || row >= kPaletteRows || column < 0 || column >= kPaletteColumns) return 0;
    paletteChoice = row * kPaletteColumns + column;
    paletteDone = 1;
    return 0;
}

int ColorPaletteCancel(int, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) paletteDone = 1;
    return 0;
}

int ColorPaletteCallback(int, int event, void*, int, int) {
    if (event == EVENT_CLOSE) paletteDone = 1;
    return 0;
}

// ---- The dialog ----------------------------------------------------------------------------

void DoPreferences(int menuBar, int menuItem, void*, int) {
    preference = LoadPanel(0, uirPath().c_str(), PREFS);
    if (preference <= 0) {
        preference = 0;
        return;
    }
    fill(preference, groupColorApp, operColorApp, textColorApp, useVISAnamesApp, showSessionApp, showDuplicateApp,
         storedStartView(), loadConfigApp);
    SetMenuBarAttribute(menuBar, menuItem, ATTR_DIMMED, 1);
    SetActiveCtrl(preference, PREFS_OK);
    DisplayPanel(preference);
}

int PrefOK(int panel, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    bool write = false, component = false;
    for (const ColorRow& row : kColors)
        if (take(panel, row.value, row.app)) write = component = true;
    if (take(panel, PREFS_USEVISAID, &useVISAnamesApp)) write = component = true;
    if (take(panel, PREFS_LOADCONFIG, &loadConfigApp)) write = component = true;
    // The component takes the session handle's display at its next start.
    if (take(panel, PREFS_SHOWSESSION, &showSessionApp)) write = true;
    if (take(panel, PREFS_SHOWDUPLICATE, &showDuplicateApp)) {
        write = true;
        AddIoRsrcs(rsrcio);
    }
    if (intValue(panel, PREFS_VIEWCONN) != storedStartView()) write = true;
    if (write) {
        // The view the user is looking at becomes the next start view.
        for (const WrittenKey& k : kWrittenKeys) {
            Ini_RemoveItem(ini, kPreferencesSection, k.key);
            Ini_PutInt(ini, kPreferencesSection, k.key, *k.value);
        }
        _SetDir_(nullptr);
        _WriteIniFile_(ini, kSettingsFile);
    }
    if (component) UpdatePanelPrefs();
    closeDialog();
    return 0;
}

int PrefCancel(int, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) closeDialog();
    return 0;
}

int PrefCallback(int, int event, void*, int, int) {
    if (event == EVENT_CLOSE) closeDialog();
    return 0;
}

int PrefRevert(int panel, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) fill(panel, 0x99FFFF, 0xCCCCCC, 0, DEFAULTuseVisaId, 1, 0, 1, 0);
    return 0;
}

int PrefStartView(int panel, int control, int event, void*, int, int) {
    if (event == EVENT_COMMIT) setStartView(panel, control == PREFS_VIEWCONN);
    return 0;
}

int PrefColorValue(int panel, int control, int event, void*, int, int) {
    if (event != EVENT_COMMIT && event != EVENT_VAL_CHANGED) return 0;
    for (const ColorRow& row : kColors)
        if (row.value == control) showColor(panel, row, intValue(panel, control));
    return 0;
}

int PrefColorPick(int panel, int control, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    for (const ColorRow& row : kColors) {
        int color = intValue(panel, row.value);
        if (row.button == control && chooseColor(row.title, &color)) showColor(panel, row, color);
    }
    return 0;
}

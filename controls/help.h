// Context help: the "What's This?" texts of panels and controls (helpfile.h holds the file), the
// yellow tooltip panel that shows them, the right-click help menus, and the VISA reference in the
// help viewer.
//
// Layers. This module lies below the application and knows none of its catalogues, nor the VISA
// library, nor the application's flags. The application hands over what the menus need, once at
// start-up, with Help_SetHost: the menus' title and the reference's file name, the VI name of an
// attribute id and of an event type (the attribute and event catalogues), the whole "Interpret
// Code" text of a status for a session window's callback data (status names and the library's
// description of the code), and what to do when the help viewer opened or failed to open. The
// session-window component hands over its window hook with Help_SetWindowHook; a session
// window's menu sends it code 1002 when the viewer opened. A lookup that was not handed over
// finds nothing, so its menu choice does nothing.
#pragma once

#include <cstddef>

#include "controls/helpfile.h"

// Code sent to the window hook when a session window's help menu opened the help viewer.
inline constexpr int kHelpHookViewerStarted = 1002;

struct HelpHost {
    const char* appName = "";         // title of the menus
    const char* systemHelpFile = "";  // the reference handed to SystemHelp
    // The VI name of an attribute id or an event type, or null when the catalogue lacks it.
    const char* (*attributeName)(unsigned int attributeId) = nullptr;
    const char* (*eventName)(unsigned int eventType) = nullptr;
    // The text "Interpret Code" shows for a status: the return value, its name and the library's
    // description, broken into lines. callbackData is the session window's, given to the menu.
    void (*interpretStatus)(void* callbackData, int status, char* text, size_t size) = nullptr;
    // The application's menu or its Topics command opened the viewer (the viewer is then told
    // to quit at exit).
    void (*viewerOpened)() = nullptr;
    // SystemHelp could not open the reference at keyword ("" for the index).
    void (*viewerFailed)(const char* keyword) = nullptr;
};

// The host's lookups and notices; the structure is copied. Null restores the empty host.
void Help_SetHost(const HelpHost* host);
// The session-window component's window hook, or null when none is installed.
void Help_SetWindowHook(int (*hook)(int code));

// The text for a panel (control 0) or one of its controls, or null. The tag is built each time
// from the constant names: the panel's, followed for a control by "_" and the control's. A tag
// bound to the place with Help_RegisterTagForUI stands in when the place has no text of its own.
char* Help_MessageFromUI(int panel, int control);
// Lends the text of tag to a panel (control 0) or control; 0, or -1 when the tag or the panel or
// control is unknown.
int Help_RegisterTagForUI(int panel, int control, const char* tag);

// Counts the left clicks that the main callback sees, so that an open help text can close on
// the next click.
void Help_GotClick();
int Help_ClickCount();

// Shows text in a yellow tooltip panel at (x, y) of panel, moved inside the panel near its right
// and bottom edges, and waits until the user clicks; the panel is gone on return. 0, or a
// negative runtime code when the panel cannot be built.
int Help_DisplayMessage(int panel, const char* text, int x, int y);
// A popup menu with the one choice "What's This?", which shows text with Help_DisplayMessage.
// Returns 1 when the text was shown, 0 when the menu was dismissed, or a negative runtime code.
int Help_DisplayPopup(int panel, const char* text, int x, int y);

// The application's right-click menu at (x, y) of panel: "What's This?" when whatsThis is set,
// "Operation Help" when operation names an operation (the panel's constant name; null or ""
// for none). Any of the reserved flags a, b, c set skips the menu. Returns 1: the right click
// goes no further.
int ContextSensitiveHelp(int panel, int control, int whatsThis, int a, int b, int c,
                         const char* operation, void* data, int x, int y);
// The session window's right-click menu: "What's This?", "Attribute Help" (the control's value
// is an attribute id), "Event Help" (an event type), "Interpret Code" (a status) and "Operation
// Help", each offered when its flag is set. data is the window's callback data, handed to the
// host's interpretStatus. Returns 1.
int ContextSensitiveHelpExt(int panel, int control, int whatsThis, int attribute, int event,
                            int interpret, int operation, void* data, int x, int y);

// Menu command: the help viewer's keyword index of the VISA reference.
void DoTopics(int menuBar, int menuItem, void* callbackData, int panel);

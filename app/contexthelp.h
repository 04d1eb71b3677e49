// What the application gives the context-help module: the menus' title, the reference's name,
// the catalogue lookups, the "Interpret Code" text, and the messages when the help viewer
// cannot open the reference.
#pragma once

#include <cstddef>

#include "zuvisa/visatype.h"

// Hands the application's lookups to the help module; called once at start-up.
void installHelpHost();

// The session of a session window, from the callback data its panels carry; the session
// window installs it. Without it, "Interpret Code" asks the application's default resource
// manager, a session of the same library, for the description.
void setHelpSessionLookup(ViSession (*lookup)(void* callbackData));

// "Return value: 0x%08lX\nStatus name: %s\n\n" followed by the library's description of the
// status, broken into lines as the help tooltip shows it.
void interpretCodeText(ViSession session, ViStatus status, char* text, size_t size);
// The same, for a description already at hand.
void interpretCodeTextWith(ViStatus status, const char* description, char* text, size_t size);

// 1 when the control's own callback answers a right click with a help menu of its own, so the
// main callback lets the click through to it.
int opensItsOwnHelpMenu(int panel, int control);

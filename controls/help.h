// Context help for panels and controls: texts looked up by the constant names of the panel and
// control under the mouse (see helpfile.h for the file itself).
#pragma once

#include "controls/helpfile.h"

// The text for a panel (control 0) or one of its controls, or null. The tag is the panel's
// constant name, followed for a control by "_" and the control's constant name.
char* Help_MessageFromUI(int panel, int control);

// Counts the left clicks that the main callback sees, so that an open help text can close on
// the next click.
void Help_GotClick();
int Help_ClickCount();

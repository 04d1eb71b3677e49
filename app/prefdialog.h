// The Preferences dialog: shows the application's copies of the preferences, writes
// "talmik.ini" when the user confirms a change, and has the session-window component re-read
// the file when a change concerns it.
#pragma once

// The colour chooser behind the dialog's colour buttons: a modal palette; returns 1 and the
// chosen 0xRRGGBB in color, or 0 when cancelled.
int chooseColor(const char* title, int* color);

// The registry of open session windows.
#pragma once

// How many session windows are open.
extern int numWindows;

// The main program of a terminal tool: options, the VISA library, and the loop of lines.
#pragma once

#include "tools/termcore/terminal.h"

// Returns the exit status: 0, 1 when VISA cannot be used, 2 for a wrong command line.
int Term_Main(int argc, char** argv, const TermTool& tool);

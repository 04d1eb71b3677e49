// Escaped text in the session window: what the user types is decoded into bytes before it is
// sent, and bytes read are shown with escapes for what is not printable. The codec itself is the
// toolbox's (toolslib/toolbox/escaped.h).
#pragma once

#include "zuvisa/visatype.h"

// Decodes typed text in place into the bytes it stands for, with a zero byte behind them;
// returns the number of bytes (zero bytes from escapes count).
ViUInt32 beautifyWrite(char* text);

// Shows count bytes in a text box of a panel, replacing what it held, in pieces of at most 79
// characters, and scrolls it to its first line.
void beautifyRead(const ViByte* bytes, ViUInt32 count, int panel, int textBox);

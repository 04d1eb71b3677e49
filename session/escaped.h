// Escaped text: bytes entered and shown as printable text with backslash escapes. The two
// directions are deliberately not inverse: typed "\NNN" is decimal, and shown line ends break
// the line on screen.
#pragma once

#include <cstddef>

#include "zuvisa/visatype.h"

// Decodes typed text in place into the bytes it stands for and puts a zero byte behind them.
// Returns the number of bytes (zero bytes from escapes count). The result is never longer than
// the text.
ViUInt32 beautifyWrite(char* text);

// Receives one piece of shown text (at most kEscapedPieceMax characters, not terminated).
using EscapedPieceSink = void (*)(void* context, const char* piece, size_t length);
inline constexpr size_t kEscapedPieceFlush = 74;  // a piece longer than this is handed on
inline constexpr size_t kEscapedPieceMax = kEscapedPieceFlush + 5;

// The text that shows count bytes, handed on piece by piece in order.
void escapeBytes(const ViByte* bytes, ViUInt32 count, EscapedPieceSink sink, void* context);

// Shows count bytes in a text box of a panel, replacing what it held, and scrolls it to its
// first line.
void beautifyRead(const ViByte* bytes, ViUInt32 count, int panel, int textBox);

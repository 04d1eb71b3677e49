// Escaped text: bytes typed and shown as printable text with backslash escapes, for programs
// that exchange arbitrary bytes with instruments. The two directions are deliberately not
// inverse: a typed "\NNN" is decimal, and a shown line end also breaks the line on screen.
#pragma once

#include <cstddef>

// Typed text to bytes, in place: \n \r \t \a \b \f \v \\, \ and up to three decimal digits,
// \o and up to three octal digits, \x and up to two hexadecimal digits (either with no digit:
// a zero byte), \ before any other character gives that character, a lone \ at the end
// nothing. Puts a zero byte behind the result and returns the number of bytes, zero bytes from
// escapes included; the result is never longer than the text.
size_t EscText_Decode(char* text);

// Receives one piece of shown text: at most kEscTextPieceMax characters, not terminated.
using EscTextSink = void (*)(void* context, const char* piece, size_t length);
inline constexpr size_t kEscTextPieceFlush = 74;  // a piece longer than this is handed on
inline constexpr size_t kEscTextPieceMax = kEscTextPieceFlush + 5;

// Bytes to shown text, handed on piece by piece in order: printable bytes as they are, a
// backslash doubled, control characters by their letter escapes, anything else as \x and two
// lower-case hexadecimal digits. LF, CR and the pairs CR LF and LF CR show their escapes and
// are followed by one real line break.
void EscText_Encode(const unsigned char* bytes, size_t count, EscTextSink sink, void* context);

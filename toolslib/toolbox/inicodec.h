// The text forms of ini values: backslash escaping of strings and the six-bit encoding of data.
#pragma once

#include <cstddef>

// Allocated results; null when memory runs out.
char* EscapeText(const char* text);
// Writes at most strlen(text)+1 bytes into out.
void UnescapeText(const char* text, char* out);

size_t SixBitTextLength(size_t numBytes);
size_t SixBitDataLength(size_t numChars);
// Returns an allocated terminated text, null when memory runs out.
char* ConvertDataToText(const unsigned char* data, size_t numBytes);
// Decodes into out, which holds SixBitDataLength(strlen(text)) bytes; returns the byte count.
size_t ConvertTextToData(const char* text, unsigned char* out);

// Internal: splitting a command line into words as a POSIX shell does, without expanding
// anything.
#pragma once

#include <string>
#include <vector>

namespace uir {

inline constexpr size_t kMaxCommandLine = 65536;
inline constexpr size_t kMaxCommandWords = 4096;

// Blanks (space, tab, line feed) separate words; single quotes keep everything up to the next
// single quote; double quotes keep everything up to the next unescaped double quote, where a
// backslash escapes only $ ` " \ and a line break; a backslash elsewhere escapes the next
// character; backslash and line break together vanish. Returns 0, or UIEInvalidCommandLine for
// an unterminated quote, a trailing backslash or a line beyond the limits.
int splitCommandLine(const std::string& line, std::vector<std::string>* words);

}  // namespace uir

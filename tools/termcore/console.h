// The terminal programs' input and output: on a terminal, lines are edited with the line editor
// (the terminal is set up for it from Console_Open to Console_Close) and kept in a history file;
// from a pipe or file, lines are read as they come, without a prompt.
#pragma once

#include <termios.h>

#include <string>

#include "tools/termcore/lineedit.h"

struct Console {
    int in = 0, out = 1;
    bool terminal = false;
    termios saved{};
    LineHistory history;
    LineEditor editor{&history};
    std::string historyPath;  // "" keeps no history file
    std::string pending;      // bytes read from a pipe beyond the last line
    bool atEnd = false;
};

// Sets a console up on two descriptors; a history file is read only for a terminal.
void Console_Open(Console* console, int in, int out, const std::string& historyPath);
// Saves the history of a terminal session.
void Console_Close(Console* console);

enum class ReadResult { Line, EndOfInput, TooLong, Error };
// Reads one line without its line end. From a pipe, a line longer than kMaxEditLine is skipped
// whole and reported as TooLong; a carriage return before the line feed is dropped.
ReadResult Console_ReadLine(Console* console, const std::string& prompt, std::string* line);
// Writes everything, retrying after interruptions; false when the output is gone.
bool Console_Write(Console* console, const std::string& text);

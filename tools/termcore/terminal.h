// The commands of the terminal programs over VISA: a session to one resource at a time, typed
// lines written in escaped text and replies shown in it, and the commands that start with "/".
// Output is appended to a string so that a program prints it and a test reads it.
#pragma once

#include <string>
#include <vector>

#include "zuvisa/visa.h"

struct TermState;

struct TermCommand {
    const char* name;  // without the "/"
    const char* args;  // as shown in the help
    const char* help;
    void (*run)(TermState* state, const std::string& args, std::string* out);
};

// One terminal program: its name, what it is for, and the commands of its own.
struct TermTool {
    const char* name;
    const char* purpose;
    const char* defaultFind;      // what /find lists without an expression
    const TermCommand* commands;  // ended by a row with a null name; may be null
    const char* exampleResource;  // for the help text
};

extern const TermTool kGpibTerminal;
extern const TermTool kVxiTerminal;

enum class AutoRead { Off, Queries, Always };

struct TermState {
    const TermTool* tool = nullptr;
    ViSession rm = VI_NULL;
    ViSession vi = VI_NULL;
    std::string rsrcName;
    std::string eol = "\n";  // bytes put behind a typed line that does not end with them
    AutoRead autoRead = AutoRead::Queries;
    ViUInt32 readSize = 4096;
    bool quit = false;
    bool failed = false;  // the last line failed
};

// Opens the default resource manager; false (with the reason in out) when there is none.
bool Term_Start(TermState* state, const TermTool& tool, std::string* out);
// Closes the session and the resource manager.
void Term_Stop(TermState* state);
// Runs one typed line: a command, or text to write (and, by the auto-read rule, a reply to read).
void Term_RunLine(TermState* state, const std::string& line, std::string* out);
// "GPIB0::22::INSTR> ", or the program's name when no session is open.
std::string Term_Prompt(const TermState& state);
// The text of --help and /help.
std::string Term_Help(const TermTool& tool);

// For the commands: false (and a note in out) when no session is open.
bool Term_NeedSession(TermState* state, std::string* out);
// Shows a status other than VI_SUCCESS as "operation: 0x%08X description"; an error marks the
// line failed. Returns status >= 0.
bool Term_Report(TermState* state, const char* operation, ViStatus status, std::string* out);
// A whole decimal or 0x-hexadecimal number up to max; false for anything else.
bool Term_ParseNumber(const std::string& text, unsigned long long max, unsigned long long* value);
// Blank-separated words.
std::vector<std::string> Term_Words(const std::string& text);
// A line that tells the user what went wrong with the input; marks the line failed.
void Term_Fail(TermState* state, const std::string& message, std::string* out);

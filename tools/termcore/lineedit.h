// A small line editor for the terminal programs: keys arrive one byte at a time, the editor
// keeps the line and the cursor, and says what to write to the screen. Also the history of
// entered lines, kept in a file between runs.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

inline constexpr size_t kMaxEditLine = 4095;
inline constexpr size_t kMaxHistory = 500;

struct LineHistory {
    std::vector<std::string> lines;  // oldest first
};

// Adds a line unless it is empty or repeats the newest; the oldest falls off past kMaxHistory.
void History_Add(LineHistory* history, const std::string& line);
// Reads a history file (missing: empty history); lines longer than kMaxEditLine are skipped.
// 0, or -1 when the file exists but cannot be read.
int History_Load(LineHistory* history, const std::string& path);
// Replaces the file through a temporary file beside it. 0 or a negative code.
int History_Save(const LineHistory& history, const std::string& path);

enum class EditResult { Pending, Line, EndOfInput, Interrupt };

// Keys: printable ASCII inserts; Enter ends the line; Backspace, Delete, Ctrl-D (deletes, or on
// an empty line ends the input); Left, Right, Home, End, Ctrl-A/E/B/F; Up and Down (Ctrl-P/N)
// walk the history; Ctrl-U, Ctrl-K and Ctrl-W cut; Ctrl-C drops the line; Ctrl-L redraws.
// Anything else rings the bell.
class LineEditor {
  public:
    explicit LineEditor(LineHistory* history) : history_(history) {}

    // Starts a new line; appends the prompt to screen.
    void start(const std::string& prompt, std::string* screen);
    // One byte of input; appends what the screen needs to show to screen.
    EditResult feed(unsigned char byte, std::string* screen);
    // The line, once feed returned Line (it is also in the history then).
    const std::string& line() const { return line_; }
    size_t cursor() const { return cursor_; }

  private:
    EditResult key(int code, std::string* screen);
    void redraw(std::string* screen) const;
    void recall(size_t index, std::string* screen);

    LineHistory* history_;
    std::string prompt_, line_, draft_;
    size_t cursor_ = 0;
    size_t recalled_ = 0;  // index into the history; its size while editing a new line
    int escape_ = 0;       // 0 none, 1 after ESC, 2 in a CSI or SS3 sequence
    std::string escapeParams_;
};

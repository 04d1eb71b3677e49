#include "tools/termcore/lineedit.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/tempdir.h"

namespace {

struct Typed {
    EditResult result;
    std::string line, screen;
};

// Feeds keys to a fresh line until the editor says something other than Pending.
Typed type(LineHistory* history, const std::string& keys) {
    LineEditor editor(history);
    Typed t{EditResult::Pending, "", ""};
    editor.start("> ", &t.screen);
    for (char k : keys) {
        t.result = editor.feed(static_cast<unsigned char>(k), &t.screen);
        if (t.result != EditResult::Pending) break;
    }
    t.line = editor.line();
    return t;
}

TEST(LineEditor, Editing) {
    const struct {
        const char* keys;
        const char* line;
    } cases[] = {
        {"*IDN?\r", "*IDN?"},
        {"*IDN?\n", "*IDN?"},
        {"abc\x7f\x7f"
         "d\r",
         "ad"},
        {"abc\x08\r", "ab"},
        {"abc\x1b[D\x1b[DX\r", "aXbc"},
        {"abc\x02\x02\x06Y\r", "abYc"},
        {"abc\x01X\r", "Xabc"},
        {"abc\x1b[H\x1b[3~\r", "bc"},
        {"abc\x1b[1~Z\x05Y\r", "ZabcY"},
        {"abc\x1bOH"
         "Z\x1bOF"
         "Y\r",
         "ZabcY"},
        {"abc\x1b[7~\x1b[4~!\r", "abc!"},
        {"read the meter\x17\r", "read the "},
        {"read the meter  \x17\r", "read the "},
        {"abc\x1b[D\x0b\r", "ab"},
        {"abc\x1b[D\x15\r", "c"},
        {"ab\x1b[D\x04\r", "a"},
        {"\x1b[D\x1b[C\x7f"
         "ok\r",
         "ok"},                  // at the ends nothing moves
        {"a\x1b[99Xb\r", "ab"},  // an unknown sequence is dropped whole
        {"a\xc3\xa9"
         "b\tc\r",
         "abc"},  // only printable ASCII is taken
        {"\x0c"
         "x\r",
         "x"},
    };
    for (const auto& c : cases) {
        LineHistory history;
        Typed t = type(&history, c.keys);
        EXPECT_EQ(t.result, EditResult::Line) << c.keys;
        EXPECT_EQ(t.line, c.line) << c.keys;
    }
}

TEST(LineEditor, EndOfInputInterruptAndLimit) {
    LineHistory history;
    EXPECT_EQ(type(&history, "\x04").result, EditResult::EndOfInput);
    EXPECT_EQ(type(&history, "ab\x04").result, EditResult::Pending);  // Ctrl-D with text deletes
    Typed interrupted = type(&history, "ab\x03");
    EXPECT_EQ(interrupted.result, EditResult::Interrupt);
    EXPECT_EQ(interrupted.line, "");
    Typed longLine = type(&history, std::string(kMaxEditLine + 10, 'x') + "\r");
    EXPECT_EQ(longLine.line.size(), kMaxEditLine);
    EXPECT_TRUE(history.lines.size() == 1 && history.lines[0] == longLine.line);
}

TEST(LineEditor, ScreenFollowsTheLine) {
    LineHistory history;
    Typed t = type(&history, "ab\x1b[DX\r");
    // Typing at the end echoes; inserting redraws the line and puts the cursor back.
    EXPECT_EQ(t.screen, "> ab\x1b[D\r> aXb\x1b[K\x1b[1D\r\n");
}

TEST(LineEditor, HistoryRecall) {
    const struct {
        const char* keys;
        const char* line;
    } cases[] = {
        {"\x1b[A\r", "two"},
        {"\x1bOA\r", "two"},
        {"\x1b[A\x1b[A\r", "one"},
        {"\x10\x10\x10\x10\r", "one"},  // stops at the oldest
        {"\x1b[A\x1b[A\x1b[B\r", "two"},
        {"draft\x1b[A\x1b[B\r", "draft"},  // coming back down finds what was being typed
        {"\x1b[A!\r", "two!"},
        {"\x1b[B\r", ""},
    };
    for (const auto& c : cases) {
        LineHistory history;
        History_Add(&history, "one");
        History_Add(&history, "two");
        Typed t = type(&history, c.keys);
        EXPECT_EQ(t.line, c.line) << c.keys;
        EXPECT_EQ(history.lines.back(), *c.line ? c.line : "two") << c.keys;
    }
}

TEST(LineHistory, KeepsDistinctLinesUpToItsLimit) {
    LineHistory h;
    for (const char* l : {"a", "", "a", "b", "a"}) History_Add(&h, l);
    EXPECT_EQ(h.lines, (std::vector<std::string>{"a", "b", "a"}));
    for (int i = 0; i < 600; ++i) History_Add(&h, std::to_string(i));
    ASSERT_EQ(h.lines.size(), kMaxHistory);
    EXPECT_EQ(h.lines.front(), "100");
    EXPECT_EQ(h.lines.back(), "599");
}

TEST(LineHistory, SurvivesItsFile) {
    TempDir dir;
    std::string path = dir.file("history");
    LineHistory empty;
    EXPECT_EQ(History_Load(&empty, path), 0);  // no file yet
    EXPECT_TRUE(empty.lines.empty());
    writeFile(path, "one\n" + std::string(kMaxEditLine + 1, 'x') + "\ntwo\n\nthree");
    LineHistory h;
    ASSERT_EQ(History_Load(&h, path), 0);
    EXPECT_EQ(h.lines,
              (std::vector<std::string>{"one", "two", "three"}));  // the overlong line is skipped
    History_Add(&h, "four");
    ASSERT_EQ(History_Save(h, path), 0);
    EXPECT_EQ(readFile(path), "one\ntwo\nthree\nfour\n");
    EXPECT_LT(History_Save(h, dir.file("no/such/dir/history")), 0);
    EXPECT_EQ(History_Load(&h, dir.path()), -1);  // a directory is no history file
}

}  // namespace

// String controls, text boxes and text messages.
#include <gtest/gtest.h>

#include "support.h"

namespace {

class Text : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        p = NewPanel(0, "T", 0, 0, 300, 400);
        box = NewCtrl(p, CTRL_TEXT_BOX, "Data", 30, 10);
        str = NewCtrl(p, CTRL_STRING, "Name", 200, 10);
        msg = NewCtrl(p, CTRL_TEXT_MSG, "hello", 250, 10);
        InstallCtrlCallback(p, box, ExampleControl, nullptr);
        InstallCtrlCallback(p, str, ExampleControl, nullptr);
        DisplayPanel(p);
    }
    std::string content(int c) {
        int length = 0;
        GetCtrlAttribute(p, c, ATTR_STRING_TEXT_LENGTH, &length);
        std::vector<char> buf(static_cast<size_t>(length) + 1);
        EXPECT_EQ(GetCtrlVal(p, c, buf.data(), buf.size()), 0);
        return buf.data();
    }
    int lines() {
        int n = -1;
        GetNumTextBoxLines(p, box, &n);
        return n;
    }
    int p = 0, box = 0, str = 0, msg = 0;
};

// SetCtrlVal appends; ResetTextBox replaces.
TEST_F(Text, TextBoxesAppendAndReset) {
    SetCtrlVal(p, box, "1.0\\r\\n\n");
    SetCtrlVal(p, box, "next");
    SetCtrlVal(p, box, " piece");
    EXPECT_EQ(content(box), "1.0\\r\\n\nnext piece");
    ResetTextBox(p, box, "fresh");
    EXPECT_EQ(content(box), "fresh");
    ResetTextBox(p, box, "");
    EXPECT_EQ(content(box), "");
    EXPECT_TRUE(eventsOf(p, box).empty());
}

struct LineCase {
    const char* text;
    int lines;
};

void PrintTo(const LineCase& c, std::ostream* os) { *os << c.lines << " lines"; }

class TextBoxLines : public Text, public ::testing::WithParamInterface<LineCase> {};

TEST_P(TextBoxLines, AFinalLineBreakEndsTheLastLine) {
    ResetTextBox(p, box, GetParam().text);
    EXPECT_EQ(lines(), GetParam().lines) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Table, TextBoxLines,
                         ::testing::Values(LineCase{"", 0}, LineCase{"a", 1}, LineCase{"a\n", 1},
                                           LineCase{"a\nb", 2}, LineCase{"\n", 1}, LineCase{"\n\n", 2},
                                           LineCase{"a\n\nb\n", 3}),
    [](const auto& info) { return "case" + std::to_string(info.index); });

TEST_F(Text, LinesCanBeInsertedReplacedAndDeleted) {
    ASSERT_EQ(InsertTextBoxLine(p, box, -1, "first"), 0);
    ASSERT_EQ(InsertTextBoxLine(p, box, -1, "third"), 0);
    ASSERT_EQ(InsertTextBoxLine(p, box, 1, "second"), 0);
    EXPECT_EQ(content(box), "first\nsecond\nthird");
    ASSERT_EQ(ReplaceTextBoxLine(p, box, 2, "THIRD"), 0);
    char line[16];
    int length = 0;
    GetTextBoxLine(p, box, 2, line);
    GetTextBoxLineLength(p, box, 0, &length);
    EXPECT_STREQ(line, "THIRD");
    EXPECT_EQ(length, 5);
    ASSERT_EQ(DeleteTextBoxLine(p, box, 2), 0);
    ASSERT_EQ(DeleteTextBoxLine(p, box, 0), 0);
    EXPECT_EQ(content(box), "second");
    EXPECT_EQ(GetTextBoxLine(p, box, 1, line), UIEIndexOutOfRange);
    EXPECT_EQ(DeleteTextBoxLine(p, box, 5), UIEIndexOutOfRange);
    EXPECT_EQ(InsertTextBoxLine(p, box, 3, "x"), UIEIndexOutOfRange);
}

// A long read is appended in pieces and then scrolled back to its first line.
TEST_F(Text, ALongAppendScrollsBackToTheFirstLine) {
    std::string piece(74, 'x');
    piece += "\\n\n";
    for (int k = 0; k < 400; ++k) SetCtrlVal(p, box, piece.c_str());
    EXPECT_EQ(lines(), 400);
    int first = -1;
    SetCtrlAttribute(p, box, ATTR_FIRST_VISIBLE_LINE, 300);
    GetCtrlAttribute(p, box, ATTR_FIRST_VISIBLE_LINE, &first);
    EXPECT_GT(first, 0);
    ASSERT_EQ(SetCtrlAttribute(p, box, ATTR_FIRST_VISIBLE_LINE, 0), 0);
    GetCtrlAttribute(p, box, ATTR_FIRST_VISIBLE_LINE, &first);
    EXPECT_EQ(first, 0);
    ProcessDrawEvents();
    EXPECT_EQ(content(box).size(), piece.size() * 400);
}

// Lines far longer than the widget shows at once stay lines, whatever is done to them.
TEST_F(Text, LongLinesStayWhole) {
    std::string longLine;
    for (int k = 0; k < 5000; ++k) longLine += static_cast<char>('a' + k % 26);
    for (int k = 0; k < 40; ++k) SetCtrlVal(p, box, longLine.substr(k * 125, 125).c_str());
    SetCtrlVal(p, box, "\nshort\n");
    EXPECT_EQ(lines(), 2);
    EXPECT_EQ(content(box), longLine + "\nshort\n");
    std::vector<char> line(6000);
    ASSERT_EQ(GetTextBoxLine(p, box, 0, line.data(), line.size()), 0);
    EXPECT_EQ(std::string(line.data()), longLine);
    int length = 0;
    GetTextBoxLineLength(p, box, 0, &length);
    EXPECT_EQ(length, 5000);

    ASSERT_EQ(InsertTextBoxLine(p, box, 1, (longLine + longLine).c_str()), 0);
    ASSERT_EQ(InsertTextBoxLine(p, box, 0, "top"), 0);
    EXPECT_EQ(content(box), "top\n" + longLine + "\n" + longLine + longLine + "\nshort\n");
    ASSERT_EQ(ReplaceTextBoxLine(p, box, 1, "was long"), 0);
    ASSERT_EQ(ReplaceTextBoxLine(p, box, 3, longLine.c_str()), 0);
    EXPECT_EQ(content(box), "top\nwas long\n" + longLine + longLine + "\n" + longLine + "\n");
    ASSERT_EQ(DeleteTextBoxLine(p, box, 2), 0);
    ASSERT_EQ(DeleteTextBoxLine(p, box, 2), 0);
    EXPECT_EQ(content(box), "top\nwas long\n");
    ASSERT_EQ(InsertTextBoxLine(p, box, -1, longLine.c_str()), 0);
    ASSERT_EQ(DeleteTextBoxLine(p, box, 2), 0);  // the last line, without a line break after it
    EXPECT_EQ(content(box), "top\nwas long");
    ResetTextBox(p, box, (longLine + "\n" + longLine).c_str());
    EXPECT_EQ(lines(), 2);
    SetCtrlAttribute(p, box, ATTR_FIRST_VISIBLE_LINE, 1);
    int first = -1;
    GetCtrlAttribute(p, box, ATTR_FIRST_VISIBLE_LINE, &first);
    EXPECT_LE(first, 1);
}

TEST_F(Text, StringsReportEditsAndCommitOnEnter) {
    ASSERT_EQ(UiTest_SetValue(p, str, "GPIB0::5::INSTR"), 0);
    char text[64];
    GetCtrlVal(p, str, text);
    EXPECT_STREQ(text, "GPIB0::5::INSTR");
    EXPECT_EQ(eventsOf(p, str), (std::vector<int>{EVENT_VAL_CHANGED, EVENT_KEYPRESS, EVENT_COMMIT}));
    g_seen.clear();
    UiTest_KeyPress(p, str, 'x');
    EXPECT_EQ(eventsOf(p, str), (std::vector<int>{EVENT_KEYPRESS, EVENT_VAL_CHANGED}));
    int length = 0;
    GetCtrlAttribute(p, str, ATTR_STRING_TEXT_LENGTH, &length);
    EXPECT_EQ(length, 16);
}

TEST_F(Text, AStringHoldsNoMoreThanItsMaximumLength) {
    SetCtrlAttribute(p, str, ATTR_MAX_ENTRY_LENGTH, 4);
    SetCtrlVal(p, str, "abcdef");
    char text[16];
    GetCtrlVal(p, str, text);
    EXPECT_STREQ(text, "abcd");
    char tiny[3];
    EXPECT_EQ(GetCtrlVal(p, str, tiny), UIEBufferTooSmall);
    EXPECT_STREQ(tiny, "ab");
}

TEST_F(Text, TextMessagesFollowTheSizeOfTheirText) {
    int w1 = 0, h1 = 0, w2 = 0, h2 = 0;
    GetCtrlAttribute(p, msg, ATTR_WIDTH, &w1);
    GetCtrlAttribute(p, msg, ATTR_HEIGHT, &h1);
    SetCtrlVal(p, msg, "a much longer text than before\nover two lines");
    GetCtrlAttribute(p, msg, ATTR_WIDTH, &w2);
    GetCtrlAttribute(p, msg, ATTR_HEIGHT, &h2);
    EXPECT_GT(w2, w1);
    EXPECT_GT(h2, h1);
    int th = 0, tw = 0;
    GetTextDisplaySize("a much longer text than before\nover two lines", VAL_DIALOG_META_FONT, &th, &tw);
    EXPECT_NEAR(w2, tw, 4);
    char text[64];
    GetCtrlAttribute(p, msg, ATTR_LABEL_TEXT, text);
    EXPECT_STREQ(text, "a much longer text than before\nover two lines");
    SetCtrlAttribute(p, msg, ATTR_HEIGHT, 5);
    SetCtrlVal(p, msg, "x");
    GetCtrlAttribute(p, msg, ATTR_HEIGHT, &h2);
    EXPECT_EQ(h2, 5);  // a size set by the program stays
}

}  // namespace

#include "session/escaped.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "uiruntime/testing/uitest.h"

namespace {

std::string bytesOf(const char* text) {
    std::string buffer = text;
    ViUInt32 n = beautifyWrite(buffer.data());
    EXPECT_EQ(buffer.c_str()[n], '\0') << "the decoded bytes are terminated";
    return buffer.substr(0, n);
}

std::vector<std::string> piecesOf(const std::string& bytes) {
    std::vector<std::string> pieces;
    escapeBytes(
        reinterpret_cast<const ViByte*>(bytes.data()), static_cast<ViUInt32>(bytes.size()),
        [](void* context, const char* piece, size_t length) {
            static_cast<std::vector<std::string>*>(context)->emplace_back(piece, length);
        },
        &pieces);
    return pieces;
}

std::string textOf(const std::string& bytes) {
    std::string text;
    for (const std::string& piece : piecesOf(bytes)) text += piece;
    return text;
}

TEST(EscapedText, TypedTextToBytes) {
    const struct {
        const char* typed;
        std::string bytes;
    } cases[] = {
        {"", ""},
        {"*IDN?\\n", "*IDN?\n"},
        {"\\65\\66C", "ABC"},
        {"\\012", "\x0C"},  // decimal, not octal
        {"\\o012", "\n"},
        {"\\x41\\x4a\\xZ", std::string("AJ\0Z", 4)},
        {"\\999", "\xE7"},  // kept to 8 bits
        {"\\o777", "\xFF"},
        {"\\1234",
         "\x7B"
         "4"},  // three digits at most; the fourth is text
        {"\\xfF1",
         "\xFF"
         "1"},
        {"\\o8", std::string("\0"
                             "8",
                             2)},  // no octal digit: a zero byte, the 8 stays
        {"\\255\\256", std::string("\xFF\0", 2)},
        {"abc\\", "abc"},  // a lone backslash at the end stands for nothing
        {"\\x", std::string(1, '\0')},
        {"\\o", std::string(1, '\0')},
        {"\\0", std::string(1, '\0')},
        {"\\r\\t\\a\\b\\f\\v\\\\", "\r\t\a\b\f\v\\"},
        {"\\q\\\"", "q\""},  // any other character stands for itself
        {"?_!\\x3f", "?_!?"},
    };
    for (const auto& c : cases) EXPECT_EQ(bytesOf(c.typed), c.bytes) << c.typed;
}

TEST(EscapedText, BytesToShownText) {
    const struct {
        std::string bytes;
        const char* shown;
    } cases[] = {
        {"", ""},
        {"1.0\r\n", "1.0\\r\\n\n"},  // a line-end pair breaks the line once
        {"\n\r", "\\n\\r\n"},
        {"\n\n", "\\n\n\\n\n"},
        {"\r\r\n", "\\r\n\\r\\n\n"},
        {"\r", "\\r\n"},  // at the very end: nothing is read past it
        {std::string("A\0\\\xFF", 4), "A\\x00\\\\\\xff"},
        {"\t\b\a\f\v", "\\t\\b\\a\\f\\v"},
        {"\x7F\x80\x1B ~", "\\x7f\\x80\\x1b ~"},
    };
    for (const auto& c : cases) EXPECT_EQ(textOf(c.bytes), c.shown) << c.shown;
}

TEST(EscapedText, ShownTextTypedBackGivesTheBytes) {
    // Without line ends (which the shown text breaks for the eye) the two directions agree,
    // for every byte value at every position of a piece.
    std::string bytes;
    for (int round = 0; round < 3; ++round)
        for (int b = 0; b < 256; ++b)
            if (b != '\n' && b != '\r') bytes += static_cast<char>(b);
    EXPECT_EQ(bytesOf(textOf(bytes).c_str()), bytes);
}

TEST(EscapedText, TextComesInPiecesOfAtMost79) {
    std::string bytes;
    for (int k = 0; k < 4000; ++k) bytes += static_cast<char>((k * 37) & 0xFF);
    std::vector<std::string> pieces = piecesOf(bytes);
    ASSERT_GT(pieces.size(), 1u);
    for (size_t i = 0; i < pieces.size(); ++i) {
        EXPECT_LE(pieces[i].size(), kEscapedPieceMax);
        if (i + 1 < pieces.size()) {
            EXPECT_GT(pieces[i].size(), kEscapedPieceFlush);
        }
    }
    // Hex escapes only: a piece ends as soon as it passes 74, with the escape that passed it.
    EXPECT_EQ(piecesOf(std::string(30, '\x01'))[0].size(), 76u);
}

class EscapedTextBox : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        panel = NewPanel(0, "Read", 0, 0, 300, 500);
        box = NewCtrl(panel, CTRL_TEXT_BOX, "Data", 20, 10);
    }
    void TearDown() override { UiTest_Reset(); }
    void show(const std::string& bytes) {
        beautifyRead(reinterpret_cast<const ViByte*>(bytes.data()),
                     static_cast<ViUInt32>(bytes.size()), panel, box);
    }
    int panel = 0, box = 0;
};

TEST_F(EscapedTextBox, ReplacesWhatTheBoxHeldAndScrollsToTheTop) {
    std::string many;
    for (int line = 0; line < 200; ++line) many += "line\n";
    show(many);
    int lines = 0, first = -1;
    GetNumTextBoxLines(panel, box, &lines);
    GetCtrlAttribute(panel, box, ATTR_FIRST_VISIBLE_LINE, &first);
    EXPECT_EQ(lines, 200);
    EXPECT_EQ(first, 0);
    show("OK\r\n");
    EXPECT_EQ(UiTest_DisplayedText(panel, box), "OK\\r\\n\n");
    show("");
    EXPECT_EQ(UiTest_DisplayedText(panel, box), "");
}

}  // namespace

#include "session/escaped.h"

#include <gtest/gtest.h>

#include <string>

#include "uiruntime/testing/uitest.h"

namespace {

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
    int lines() {
        int n = -1;
        GetNumTextBoxLines(panel, box, &n);
        return n;
    }
    int panel = 0, box = 0;
};

// What a read shows: escapes for what is not printable, a line on screen per line end, and
// nothing of what the box held before.
TEST_F(EscapedTextBox, ShowsBytesAsLinesOfEscapedText) {
    std::string manyEscapes;  // far more than one piece of text
    for (int k = 0; k < 100; ++k) manyEscapes += "\\x01";
    const struct {
        std::string bytes;
        std::string shown;
        int lines;
    } cases[] = {
        {"", "", 0},
        {"1.0\r\n", "1.0\\r\\n\n", 1},
        {"\n\n", "\\n\n\\n\n", 2},
        {std::string("A\0\\\xFF", 4), "A\\x00\\\\\\xff", 1},
        {std::string(100, '\x01') + "\r", manyEscapes + "\\r\n", 1},
    };
    for (const auto& c : cases) {
        show("old text\n");
        show(c.bytes);
        EXPECT_EQ(UiTest_DisplayedText(panel, box), c.shown);
        EXPECT_EQ(lines(), c.lines) << c.shown;
    }
}

TEST_F(EscapedTextBox, ScrollsBackToTheFirstLine) {
    std::string many;
    for (int line = 0; line < 200; ++line) many += "line\n";
    show(many);
    int first = -1;
    GetCtrlAttribute(panel, box, ATTR_FIRST_VISIBLE_LINE, &first);
    EXPECT_EQ(lines(), 200);
    EXPECT_EQ(first, 0);
}

TEST(BeautifyWrite, DecodesTypedTextInPlace) {
    char text[] = "*IDN?\\n\\x00\\012";
    ViUInt32 n = beautifyWrite(text);
    EXPECT_EQ(std::string(text, n), std::string("*IDN?\n\0\x0C", 8));
    EXPECT_EQ(text[n], '\0');
}

}  // namespace

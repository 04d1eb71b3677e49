#include "uiruntime/labels.h"

#include <gtest/gtest.h>

namespace {

TEST(Labels, SeparatorIsTheWholeMeaning) {
    EXPECT_TRUE(uir::parseLabel("\033m-").separator);
    EXPECT_TRUE(uir::parseLabel("\033m-anything").separator);
    EXPECT_FALSE(uir::parseLabel("m-").separator);
    EXPECT_EQ(uir::plainLabel("\033m-"), "");
}

TEST(Labels, TabPositionStartsAPositionedSegment) {
    uir::ParsedLabel p = uir::parseLabel("VI_ATTR_TMO_VALUE\033p200l== 5");
    ASSERT_EQ(p.segments.size(), 2u);
    EXPECT_EQ(p.segments[0].text, "VI_ATTR_TMO_VALUE");
    EXPECT_EQ(p.segments[0].x, -1);
    EXPECT_EQ(p.segments[1].text, "== 5");
    EXPECT_EQ(p.segments[1].x, 200);
    EXPECT_EQ(p.segments[1].align, 'l');
    EXPECT_EQ(uir::plainLabel("VI_ATTR_TMO_VALUE\033p200l== 5"), "VI_ATTR_TMO_VALUE == 5");
}

struct Case {
    const char* raw;
    const char* plain;
    size_t segments;
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.plain; }

class LabelPlain : public ::testing::TestWithParam<Case> {};

TEST_P(LabelPlain, ParsesWithoutLosingText) {
    const Case& c = GetParam();
    EXPECT_EQ(uir::plainLabel(c.raw), c.plain) << c.raw;
    EXPECT_EQ(uir::parseLabel(c.raw).segments.size(), c.segments) << c.raw;
}

INSTANTIATE_TEST_SUITE_P(
    Table, LabelPlain,
    ::testing::Values(Case{"plain", "plain", 1}, Case{"", "", 1},
                      Case{"a\033p10rb\033p99cc", "a b c", 3},
                      Case{"\033fgFF0000red\033bg00FF00green", "redgreen", 2},
                      // Malformed escapes drop the escape character only.
                      Case{"x\033p12zy", "xp12zy", 1}, Case{"x\033fgZZZZZZy", "xfgZZZZZZy", 1},
                      Case{"x\033", "x", 1}, Case{"\033p123456l5 digits at most", "p123456l5 digits at most", 1}),
    [](const auto& info) { return "case" + std::to_string(info.index); });

TEST(Labels, ColoursApplyToTheTextThatFollows) {
    uir::ParsedLabel p = uir::parseLabel("\033fg00FF00ok\033p50lstill green");
    ASSERT_EQ(p.segments.size(), 2u);
    EXPECT_EQ(p.segments[0].fg, 0x00FF00);
    EXPECT_EQ(p.segments[1].fg, 0x00FF00);
    EXPECT_EQ(p.segments[1].x, 50);
}

TEST(Mnemonics, ConvertBothWays) {
    struct {
        const char* ours;
        const char* qt;
    } cases[] = {{"__What's This?", "&What's This?"},
                 {"Assign to VX__term icon", "Assign to VX&term icon"},
                 {"A & B", "A && B"},
                 {"no mnemonic", "no mnemonic"}};
    for (auto& c : cases) {
        EXPECT_EQ(uir::mnemonicToQt(c.ours), c.qt);
        EXPECT_EQ(uir::mnemonicFromQt(c.qt), c.ours);
    }
}

}  // namespace

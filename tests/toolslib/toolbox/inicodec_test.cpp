#include "toolslib/toolbox/inicodec.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::string escape(const std::string& s) {
    char* e = EscapeText(s.c_str());
    std::string out = e;
    std::free(e);
    return out;
}

std::string unescape(const std::string& s) {
    std::vector<char> out(s.size() + 1);
    UnescapeText(s.c_str(), out.data());
    return out.data();
}

TEST(Escape, Table) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"plain", "plain"},
        {"a\tb\nc\rd", "a\\tb\\nc\\rd"},
        {"say \"hi\"", "say \\\"hi\\\""},
        {"back\\slash", "back\\\\slash"},
        {"\x01\x1f\x7f", "\\x01\\x1f\\x7f"},
        {"\xc3\xa9\xff", "\xc3\xa9\xff"},  // high bytes pass unchanged
        {"", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(escape(c.in), c.out);
        EXPECT_EQ(unescape(c.out), c.in);
    }
}

TEST(Unescape, Oddities) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"\\q\\\\", "q\\"},   {"end\\", "end"},  // a trailing backslash is dropped
        {"\\x4A\\x4a", "JJ"},                    // either case
        {"\\xzz", "\xef"},                       // -1 * 16 + -1, as the digits were never checked
        {"\\x4", ""},                            // incomplete at the end: stop there
        {"\\x", ""},          {"a\\n\\r\\t", "a\n\r\t"},
    };
    for (const auto& c : cases) EXPECT_EQ(unescape(c.in), c.out) << c.in;
}

TEST(SixBit, LengthsAndRoundTrip) {
    EXPECT_EQ(SixBitTextLength(0), 0u);
    EXPECT_EQ(SixBitTextLength(1), 2u);
    EXPECT_EQ(SixBitTextLength(2), 3u);
    EXPECT_EQ(SixBitTextLength(3), 4u);
    EXPECT_EQ(SixBitTextLength(7), 10u);
    EXPECT_EQ(SixBitDataLength(10), 7u);
    EXPECT_EQ(SixBitDataLength(5), 3u);  // a lone trailing character carries nothing

    for (size_t n = 0; n < 40; ++n) {
        std::vector<unsigned char> data(n);
        for (size_t i = 0; i < n; ++i) data[i] = static_cast<unsigned char>(i * 67 + 255);
        char* text = ConvertDataToText(data.data(), n);
        ASSERT_EQ(std::string(text).size(), SixBitTextLength(n));
        for (const char* p = text; *p; ++p) {
            EXPECT_GE(*p, '0');
            EXPECT_LE(*p, 'o');
        }
        std::vector<unsigned char> back(SixBitDataLength(n ? SixBitTextLength(n) : 0));
        EXPECT_EQ(ConvertTextToData(text, back.data()), n);
        EXPECT_EQ(back, data);
        std::free(text);
    }
}

TEST(SixBit, KnownEncoding) {
    const unsigned char bytes[] = {0xFF, 0x00, 0x41, 0xC0};
    char* text = ConvertDataToText(bytes, 4);
    // 0xFF,0x00,0x41: tops 11,00,01 -> 110001 = 49 ('a'); lows 63 ('o'), 0 ('0'), 1 ('1').
    // 0xC0 alone: top 11 shifted right 2 -> 48 ('`'), low 0 ('0').
    EXPECT_STREQ(text, "ao01`0");
    std::free(text);
}

}  // namespace

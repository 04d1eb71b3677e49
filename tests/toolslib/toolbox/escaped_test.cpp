#include "toolslib/toolbox/escaped.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string decode(std::string text) {
    text.push_back('\0');
    size_t n = EscText_Decode(text.data());
    EXPECT_EQ(text[n], '\0');
    return text.substr(0, n);
}

std::vector<std::string> pieces(const std::string& bytes) {
    std::vector<std::string> out;
    EscText_Encode(
        reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
        [](void* context, const char* piece, size_t length) {
            static_cast<std::vector<std::string>*>(context)->emplace_back(piece, length);
        },
        &out);
    return out;
}

std::string encode(const std::string& bytes) {
    std::string all;
    for (const std::string& p : pieces(bytes)) all += p;
    return all;
}

TEST(EscapedText, Decode) {
    const struct {
        const char* typed;
        std::string bytes;
    } cases[] = {
        {"", ""},
        {"*IDN?\\n", "*IDN?\n"},
        {"\\65\\66C", "ABC"},
        {"\\012", "\x0c"},  // decimal, not octal
        {"\\o012", "\n"},
        {"\\x41\\x4a\\xZ", std::string("AJ\0Z", 4)},
        {"\\999", "\xe7"},
        {"\\o777", "\xff"},
        {"\\1234", "{4"},
        {"abc\\", "abc"},
        {"\\x", std::string(1, '\0')},
        {"\\o", std::string(1, '\0')},
        {"\\0", std::string(1, '\0')},
        {"\\q\\\"\\\\", "q\"\\"},
        {"\\r\\t\\a\\b\\f\\v", "\r\t\a\b\f\v"},
        {"\\o18", std::string("\x01"
                              "8")},
    };
    for (const auto& c : cases) EXPECT_EQ(decode(c.typed), c.bytes) << c.typed;
}

TEST(EscapedText, Encode) {
    const struct {
        std::string bytes;
        const char* shown;
    } cases[] = {
        {"", ""},
        {"1.0\r\n", "1.0\\r\\n\n"},
        {"\n\n", "\\n\n\\n\n"},
        {"\n\r\r", "\\n\\r\n\\r\n"},
        {std::string("A\0\\\xff", 4), "A\\x00\\\\\\xff"},
        {"\t\b\a\f\v\x1b\x7f\x80", "\\t\\b\\a\\f\\v\\x1b\\x7f\\x80"},
        {"x\r", "x\\r\n"},  // a CR at the very end does not look past the data
    };
    for (const auto& c : cases) EXPECT_EQ(encode(c.bytes), c.shown);
}

TEST(EscapedText, LongDataArrivesInBoundedPieces) {
    std::string bytes;
    for (int i = 0; i < 1000; ++i) bytes.push_back(static_cast<char>(i * 7));
    std::vector<std::string> parts = pieces(bytes);
    ASSERT_GT(parts.size(), 10u);
    for (size_t i = 0; i < parts.size(); ++i) {
        EXPECT_LE(parts[i].size(), kEscTextPieceMax);
        if (i + 1 < parts.size()) {
            EXPECT_GT(parts[i].size(), kEscTextPieceFlush);
        }
    }
}

}  // namespace

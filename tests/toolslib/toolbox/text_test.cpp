#include "toolslib/toolbox/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>

#include "toolslib/toolbox/diagnostics.h"

namespace {

struct IntCase {
    const char* text;
    bool ok;
    int value;
};

TEST(StrToInt, AcceptsAndRefuses) {
    const IntCase cases[] = {
        {"  -2147483648 ", true, INT_MIN},
        {"2147483647", true, INT_MAX},
        {"+12\t", true, 12},
        {"-0", true, 0},
        {"007", true, 7},
        {"2147483648", false, 0},
        {"-2147483649", false, 0},
        {"4294967296", false, 0},
        {"42949672950", false, 0},
        {"- 5", false, 0},
        {"5-", false, 0},
        {"+-5", false, 0},
        {"0x10", false, 0},
        {"1.0", false, 0},
        {"1e3", false, 0},
        {"", false, 0},
        {"   ", false, 0},
        {"+", false, 0},
        {"5 5", false, 0},
    };
    for (const IntCase& c : cases) {
        int value = 99;
        EXPECT_EQ(StrToInt(c.text, &value), c.ok ? 1 : 0) << '"' << c.text << '"';
        EXPECT_EQ(value, c.ok ? c.value : 99) << '"' << c.text << '"';
    }
    int untouched = 3;
    EXPECT_EQ(StrToInt(nullptr, &untouched), 0);
    EXPECT_EQ(untouched, 3);
}

TEST(StrToUInt, AcceptsAndRefuses) {
    const struct {
        const char* text;
        bool ok;
        unsigned value;
    } cases[] = {
        {"4294967295", true, 4294967295u},
        {"+7", true, 7},
        {" 0 ", true, 0},
        {"4294967296", false, 0},
        {"4294967300", false, 0},
        {"-0", false, 0},
        {"-1", false, 0},
        {"abc", false, 0},
    };
    for (const auto& c : cases) {
        unsigned value = 99;
        EXPECT_EQ(StrToUInt(c.text, &value), c.ok ? 1 : 0) << c.text;
        EXPECT_EQ(value, c.ok ? c.value : 99u) << c.text;
    }
}

TEST(StringCopyMax, CutsAndTerminates) {
    char buf[8] = "zzzzzzz";
    StringCopyMax(buf, "abcdef", 4);
    EXPECT_STREQ(buf, "abc");
    StringCopyMax(buf, "ab", 4);
    EXPECT_STREQ(buf, "ab");
    StringCopyMax(buf, "xyz", 0);  // max below 1 leaves the destination alone
    EXPECT_STREQ(buf, "ab");
    StringCopyMax(buf, nullptr, 4);
    EXPECT_STREQ(buf, "ab");
    StringCopyMax(buf, "abcdef", 1);
    EXPECT_STREQ(buf, "");
}

TEST(StringCopyMaxDeathTest, NullDestinationAsserts) {
    EXPECT_DEATH(StringCopyMax(nullptr, "a", 4),
                 "Null string passed to first parameter of StringCopyMax");
}

TEST(StrICmp, OrdersWithoutCaseAndNullsFirst) {
    EXPECT_EQ(StrICmp("abc", "ABC"), 0);
    EXPECT_EQ(StrICmp("abc", "abd"), -1);
    EXPECT_EQ(StrICmp("abd", "ABC"), 1);
    EXPECT_EQ(StrICmp("ab", "abc"), -1);
    EXPECT_EQ(StrICmp(nullptr, ""), -1);
    EXPECT_EQ(StrICmp("", nullptr), 1);
    EXPECT_EQ(StrICmp(nullptr, nullptr), 0);
    // '_' lies between the upper- and lower-case letters: folding to upper case sorts it after.
    EXPECT_EQ(StrICmp("a_", "aZ"), 1);
    EXPECT_EQ(StrICmpWithoutSurrWhiteSpace("  Name\t", "NAME"), 0);
    EXPECT_EQ(StrICmpWithoutSurrWhiteSpace(" a b ", "a  b"), 1);  // inner space counts
}

TEST(WhiteSpace, TrimSkipAndDuplicate) {
    char s[] = " \t\r\n\v\f x y \n";
    RemoveSurroundingWhiteSpace(s);
    EXPECT_STREQ(s, "x y");
    EXPECT_STREQ(SkipWhiteSpace("  ab"), "ab");
    EXPECT_STREQ(SkipNonWhiteSpace("ab cd"), " cd");
    EXPECT_EQ(HasNonWhiteSpace(" \t "), 0);
    EXPECT_EQ(HasNonWhiteSpace(" . "), 1);

    char* d = StrDupWithoutSurrWhiteSpace("  keep me  ");
    EXPECT_STREQ(d, "keep me");
    std::free(d);

    int quoted = -1;
    d = StrDupWithoutQuotes("\"q\"", &quoted);
    EXPECT_STREQ(d, "q");
    EXPECT_EQ(quoted, 1);
    std::free(d);
    d = StrDupWithoutQuotes("\"", &quoted);  // one quote alone is no pair
    EXPECT_STREQ(d, "\"");
    EXPECT_EQ(quoted, 0);
    std::free(d);
}

TEST(Diagnostics, ErrorTexts) {
    EXPECT_STREQ(GetGeneralErrorString(-5023), "Invalid Floating Point Number");
    EXPECT_STREQ(GetGeneralErrorString(-1234), "No description available. ");
    EXPECT_STREQ(GetToolboxErrorString(-5060), "Panel is not a child panel of the correct panel");
    EXPECT_STREQ(GetToolboxErrorString(-5061), "No description available. ");
    EXPECT_STREQ(GetToolboxErrorString(-5007), "No description available. ");
    EXPECT_STREQ(GetGeneralErrorString(-5001), "Could Not Open File For Reading");

    SetGeneralErrorStringFunction([](int code) { return code == -12 ? "runtime text" : nullptr; });
    EXPECT_STREQ(GetGeneralErrorString(-12), "runtime text");
    EXPECT_STREQ(GetGeneralErrorString(-13), "No description available. ");
    SetGeneralErrorStringFunction(nullptr);
    EXPECT_STRNE(GetGeneralErrorString(-12), "runtime text");
}

TEST(DiagnosticsDeathTest, AssertReportsAndAborts) {
    EXPECT_DEATH(DoAssert(0, "here.c", 42, nullptr),
                 "Assert!\n\nProgramming error detected.\n\nThe error was detected on line 42 of "
                 "file 'here.c'.\n\nProgram aborting.");
    DoAssert(1, "here.c", 1, "never shown");  // a true condition returns
}

TEST(Diagnostics, BreakOnLibraryErrorsScope) {
    ToolboxSetBreakOnLibraryErrors(1);
    {
        BreakOnLibraryErrorsOff off;
        EXPECT_EQ(ToolboxGetBreakOnLibraryErrors(), 0);
    }
    EXPECT_EQ(ToolboxGetBreakOnLibraryErrors(), 1);
    ToolboxSetBreakOnLibraryErrors(0);
}

}  // namespace

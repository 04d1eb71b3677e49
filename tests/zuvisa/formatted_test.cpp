// Formatted I/O through the C API: format strings against the bytes they make (viSPrintf),
// bytes against the values they give (viSScanf), and viPrintf, viScanf and viQueryf on a
// simulated instrument with the buffer rules.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "testbench.h"

namespace zuvisa {
namespace {

using Formatted = testing::Bench;

std::string bytes(const ViByte* b) { return reinterpret_cast<const char*>(b); }

TEST_F(Formatted, IntegersAndCharacters) {
    ViSession vi = open("GPIB0::5::INSTR");
    struct Case {
        const char* fmt;
        int value;
        const char* want;
    } cases[] = {
        {"%d", 42, "42"},        {"%5d|", 42, "   42|"},  {"%-5d|", 42, "42   |"},
        {"%+d", 5, "+5"},        {"%05d", -42, "-0042"},  {"%x", 255, "ff"},
        {"%#X", 255, "0XFF"},    {"%o", 8, "10"},         {"%u", -1, "4294967295"},
        {"%hd", 70000, "4464"},  {"%ld", -7, "-7"},       {"%@1d", 12, "12"},
        {"%@Hd", 255, "#HFF"},   {"%@Qd", 8, "#Q10"},     {"%@Bd", 5, "#B101"},
        {"%@2d", 3, "3.0"},      {"%c", 'A', "A"},        {"%3c|", 'A', "  A|"},
        {"V=%d%%", 9, "V=9%"},
    };
    for (const Case& c : cases) {
        ViByte buf[64];
        ASSERT_EQ(viSPrintf(vi, buf, c.fmt, c.value), VI_SUCCESS) << c.fmt;
        EXPECT_EQ(bytes(buf), c.want) << c.fmt;
    }
    ViByte buf[64];
    ASSERT_EQ(viSPrintf(vi, buf, "%lld %llx", 1LL << 40, -1LL), VI_SUCCESS);
    EXPECT_EQ(bytes(buf), "1099511627776 ffffffffffffffff");
    // Widths, array sizes and precisions from arguments, in the order they are written.
    ASSERT_EQ(viSPrintf(vi, buf, "%*d|%-*d|%.*f|%*d", 4, 7, 3, 8, 2, 3.14159, -3, 1), VI_SUCCESS);
    EXPECT_EQ(bytes(buf), "   7|8  |3.14|1  ");
}

TEST_F(Formatted, RealsStringsAndEscapes) {
    ViSession vi = open("GPIB0::5::INSTR");
    struct RealCase {
        const char* fmt;
        double value;
        const char* want;
    } reals[] = {
        {"%f", 1.5, "1.500000"},      {"%.2f", 3.14159, "3.14"},      {"%8.3f|", 3.14159, "   3.142|"},
        {"%e", 1234.5, "1.234500e+03"}, {"%G", 0.0001, "0.0001"},    {"%@1f", 2.6, "3"},
        {"%@2f", 2.5, "2.500000"},    {"%@3f", 1234.5, "1.234500E+03"}, {"%@Hf", 255.0, "#HFF"},
        {"%lf", -0.25, "-0.250000"},
    };
    for (const RealCase& c : reals) {
        ViByte buf[64];
        ASSERT_EQ(viSPrintf(vi, buf, c.fmt, c.value), VI_SUCCESS) << c.fmt;
        EXPECT_EQ(bytes(buf), c.want) << c.fmt;
    }
    ViByte buf[64];
    ASSERT_EQ(viSPrintf(vi, buf, "%Lf", 2.5L), VI_SUCCESS);
    EXPECT_EQ(bytes(buf), "2.500000");
    struct TextCase {
        const char* fmt;
        const char* value;
        const char* want;
    } texts[] = {
        {"%s", "abc", "abc"}, {"[%5s]", "ab", "[   ab]"}, {"[%-4s]", "ab", "[ab  ]"}, {"%.2s", "abcdef", "ab"},
        // Escapes written out as text mean what C would make of them.
        {"%s\\n", "x", "x\n"}, {"\\x41\\101\\t\\\\%s", "", "AA\t\\"}, {"\\q%s", "", "\\q"},
    };
    for (const TextCase& c : texts) {
        ASSERT_EQ(viSPrintf(vi, buf, c.fmt, c.value), VI_SUCCESS) << c.fmt;
        EXPECT_EQ(bytes(buf), c.want) << c.fmt;
    }
}

TEST_F(Formatted, ArraysAndBinaryBlocks) {
    ViSession vi = open("GPIB0::5::INSTR");
    ViByte buf[128];
    const ViInt32 ints[] = {1, -2, 3};
    const ViInt16 shorts[] = {0x0102, 0x0304};
    const ViInt64 longs[] = {1LL << 33, -1};
    const ViReal64 doubles[] = {1.5, 2.75};
    const ViReal32 floats[] = {0.5f, 1.25f};
    const ViByte raw[] = {1, 2, 3, 4};
    const ViByte twelve[12] = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B'};
    struct Case {
        const char* fmt;
        const void* data;
        std::string want;
    } cases[] = {
        {"%,3d", ints, "1,-2,3"},
        {"%,2hd", shorts, "258,772"},
        {"%,2lld", longs, "8589934592,-1"},
        {"%,2.1lf", doubles, "1.5,2.8"},
        {"%,2.2f", floats, "0.50,1.25"},
        {"%4b", raw, std::string("#14\x01\x02\x03\x04", 7)},
        {"%2hb", shorts, std::string("#14\x01\x02\x03\x04", 7)},
        {"%!ol2hb", shorts, std::string("#14\x02\x01\x04\x03", 7)},
        {"%1zb", floats, std::string("#14\x3f\x00\x00\x00", 7)},
        {"%1Zb", doubles, std::string("#18\x3f\xf8\x00\x00\x00\x00\x00\x00", 11)},
        {"%1lb", ints, std::string("#14\x00\x00\x00\x01", 7)},
        {"%12b", twelve, "#2120123456789AB"},
        {"%2B", raw, std::string("#0\x01\x02\n", 5)},
        {"%3y", raw, std::string("\x01\x02\x03", 3)},
        {"%!ol1hy", shorts, std::string("\x02\x01", 2)},
    };
    for (const Case& c : cases) {
        std::memset(buf, 0xEE, sizeof buf);
        ASSERT_EQ(viSPrintf(vi, buf, c.fmt, c.data), VI_SUCCESS) << c.fmt;
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), c.want.size()), c.want) << c.fmt;
        EXPECT_EQ(buf[c.want.size()], 0) << c.fmt;
    }
    ASSERT_EQ(viSPrintf(vi, buf, "%*b", 0, raw), VI_SUCCESS);
    EXPECT_EQ(bytes(buf), "#10");
    ASSERT_EQ(viSPrintf(vi, buf, "%,*d;%*b", 2, ints, 2, raw), VI_SUCCESS);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), 10), std::string("1,-2;#12\x01\x02", 10));
}

TEST_F(Formatted, MalformedFormatsAndBadArgumentsAreRefused) {
    ViSession vi = open("GPIB0::5::INSTR");
    ViByte buf[64];
    struct Case {
        const char* fmt;
        ViStatus status;
    } out[] = {
        {"%q", VI_ERROR_INV_FMT},  {"%", VI_ERROR_INV_FMT},   {"%b", VI_ERROR_INV_FMT},
        {"%,d", VI_ERROR_INV_FMT}, {"%Ld", VI_ERROR_INV_FMT}, {"%hf", VI_ERROR_INV_FMT},
        {"%@Xd", VI_ERROR_INV_FMT}, {"%!ox4b", VI_ERROR_INV_FMT}, {"%!old", VI_ERROR_INV_FMT},
        {"%t", VI_ERROR_NSUP_FMT}, {"%[a]", VI_ERROR_NSUP_FMT}, {"%99999999d", VI_ERROR_INV_FMT},
    };
    for (const Case& c : out) EXPECT_EQ(viSPrintf(vi, buf, c.fmt, 0), c.status) << c.fmt;
    Case in[] = {{"%B", VI_ERROR_NSUP_FMT}, {"%b", VI_ERROR_INV_FMT}, {"%[abc", VI_ERROR_INV_FMT},
                 {"%,d", VI_ERROR_INV_FMT}, {"%*", VI_ERROR_INV_FMT}};
    for (const Case& c : in) EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>("1"), c.fmt, buf), c.status) << c.fmt;
    EXPECT_EQ(viSPrintf(vi, nullptr, "%d", 1), VI_ERROR_USER_BUF);
    EXPECT_EQ(viSPrintf(vi, buf, nullptr), VI_ERROR_USER_BUF);
    EXPECT_EQ(viSPrintf(vi, buf, "%s", static_cast<const char*>(nullptr)), VI_ERROR_USER_BUF);
    EXPECT_EQ(viSPrintf(vi, buf, "%*b", -1, buf), VI_ERROR_INV_FMT);
    EXPECT_EQ(viSPrintf(rm, buf, "%d", 1), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viSPrintf(0x7777, buf, "%d", 1), VI_ERROR_INV_OBJECT);
    EXPECT_EQ(viSScanf(vi, nullptr, "%d", buf), VI_ERROR_USER_BUF);
}

TEST_F(Formatted, ScanNumbers) {
    ViSession vi = open("GPIB0::5::INSTR");
    struct IntCase {
        const char* input;
        const char* fmt;
        ViInt32 want;
    } ints[] = {
        {"42", "%d", 42},        {"  -17 rest", "%d", -17}, {"ff", "%x", 255},     {"17", "%o", 15},
        {"0x1F", "%i", 31},      {"017", "%i", 15},         {"0", "%i", 0},        {"#H1F", "%d", 31},
        {"#b101", "%d", 5},      {"#Q17", "%ld", 15},       {"12345", "%3d", 123}, {"V=7", "V=%d", 7},
        {"V = 7", "V = %d", 7},  {"1 2", "%*d %d", 2},      {"+8", "%u", 8},
        // A mismatch stops the scan and leaves the variable alone.
        {"X=7", "V=%d", -999},   {"abc", "%d", -999},       {"", "%d", -999},
    };
    for (const IntCase& c : ints) {
        ViInt32 v = -999;
        EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>(c.input), c.fmt, &v), VI_SUCCESS) << c.fmt;
        EXPECT_EQ(v, c.want) << c.input << " with " << c.fmt;
    }
    ViInt16 h = 0;
    ViInt64 ll = 0;
    EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>("-2 -8589934592"), "%hd %lld", &h, &ll), VI_SUCCESS);
    EXPECT_EQ(h, -2);
    EXPECT_EQ(ll, -8589934592LL);

    struct RealCase {
        const char* input;
        const char* fmt;
        double want;
    } reals[] = {{"-2.5e3", "%lf", -2500}, {"+.5", "%lf", 0.5},  {"7", "%lf", 7},
                 {"#H10", "%lf", 16},      {"1.25V", "%lfV", 1.25}, {"3.14159", "%4lf", 3.14}};
    for (const RealCase& c : reals) {
        ViReal64 d = 0;
        EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>(c.input), c.fmt, &d), VI_SUCCESS) << c.fmt;
        EXPECT_DOUBLE_EQ(d, c.want) << c.input;
    }
    ViReal32 f = 0;
    EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>("1.5"), "%f", &f), VI_SUCCESS);
    EXPECT_FLOAT_EQ(f, 1.5f);

    ViInt32 arr[5] = {};
    EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>("1, 2,3,4"), "%,3d", arr), VI_SUCCESS);
    EXPECT_EQ(arr[0] + arr[1] * 10 + arr[2] * 100 + arr[3], 321);
    ViInt32 count = 5;
    ViReal64 darr[5] = {};
    EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>("1.5,2.5;"), "%,#lf", &count, darr), VI_SUCCESS);
    EXPECT_EQ(count, 2);
    EXPECT_DOUBLE_EQ(darr[1], 2.5);
}

TEST_F(Formatted, ScanTextAndBlocks) {
    ViSession vi = open("GPIB0::5::INSTR");
    struct TextCase {
        const char* input;
        const char* fmt;
        const char* want;
    } texts[] = {
        {" hello world", "%s", "hello"}, {"abcdef", "%3s", "abc"}, {"abcd", "%[a-c]", "abc"},
        {"x y,z", "%[^,]", "x y"},       {"a]b", "%[]a]", "a]"},   {"a b\nc", "%t", "a b\nc"},
        {"ab\ncd", "%T", "ab\n"},        {"", "%t", ""},
    };
    for (const TextCase& c : texts) {
        char s[32];
        std::memset(s, 'Z', sizeof s);
        s[sizeof s - 1] = '\0';
        EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>(c.input), c.fmt, s, s + 1), VI_SUCCESS) << c.fmt;
        EXPECT_EQ(std::string(s), c.want) << c.input << " with " << c.fmt;
    }
    char three[4] = "";
    EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>("xyz!"), "%3c", three), VI_SUCCESS);
    EXPECT_EQ(std::string(three, 3), "xyz");
    char sized[8];
    ViInt32 room = 4;
    EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>("abcdef"), "%#s", &room, sized), VI_SUCCESS);
    EXPECT_EQ(room, 3);
    EXPECT_STREQ(sized, "abc");

    struct BlockCase {
        std::string input;
        const char* fmt;
        ViInt32 room;
        std::string want;
    } blocks[] = {
        {"#14ABCD", "%#b", 8, "ABCD"},
        {"  #213Hello, world!", "%#b", 20, "Hello, world!"},
        {"#16ABCDEF", "%#b", 3, "ABC"},           // what does not fit is dropped
        {"#0XYZ\n", "%#b", 8, "XYZ"},             // indefinite: up to the end, without its newline
        {std::string("#14\x01\x02\x03\x04", 7), "%#hb", 2, std::string("\x02\x01\x04\x03", 4)},
        {std::string("#14\x01\x02\x03\x04", 7), "%!ol#hb", 2, std::string("\x01\x02\x03\x04", 4)},
        {"RAWDATA", "%#y", 3, "RAW"},
        {"#X", "%#b", 8, ""},
    };
    for (const BlockCase& c : blocks) {
        char data[32] = {};
        ViInt32 n = c.room;
        EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>(c.input.c_str()), c.fmt, &n, data), VI_SUCCESS) << c.fmt;
        size_t elem = strchr(c.fmt, 'h') ? 2 : 1;
        if (c.want.empty()) {
            EXPECT_EQ(n, c.room) << c.input;
            continue;
        }
        EXPECT_EQ(static_cast<size_t>(n) * elem, c.want.size()) << c.input;
        EXPECT_EQ(std::string(data, c.want.size()), c.want) << c.input;
    }
    ViInt16 words[2] = {};
    EXPECT_EQ(viSScanf(vi, reinterpret_cast<ViConstBuf>("#14\x01\x02\x03\x04"), "%2hb", words), VI_SUCCESS);
    EXPECT_EQ(words[0], 0x0102);
    EXPECT_EQ(words[1], 0x0304);
}

TEST_F(Formatted, PrintfScanfAndQueryfTalkToTheDevice) {
    ViSession vi = open("GPIB0::5::INSTR");
    char text[64] = "";
    EXPECT_EQ(viPrintf(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(viScanf(vi, "%t", text), VI_SUCCESS);
    EXPECT_STREQ(text, "ZU,METER,1,1.0\n");
    ViReal64 volts = 0;
    EXPECT_EQ(viPrintf(vi, "VOLT %.2f\n", 2.5), VI_SUCCESS);
    EXPECT_EQ(viScanf(vi, "%s", text), VI_SUCCESS);
    EXPECT_STREQ(text, "OK");
    EXPECT_EQ(viQueryf(vi, "%s\n", "%lf", "VOLT?", &volts), VI_SUCCESS);
    EXPECT_DOUBLE_EQ(volts, 2.5);
    char block[8] = "";
    ViInt32 n = sizeof block;
    EXPECT_EQ(viQueryf(vi, "CURVE?\n", "%#b", &n, block), VI_SUCCESS);
    EXPECT_EQ(std::string(block, static_cast<size_t>(n)), "HELLO");
    // What one viScanf leaves in the read buffer is there for the next.
    char two[3] = "";
    EXPECT_EQ(viQueryf(vi, "TWO?\n", "%2c", two), VI_SUCCESS);
    EXPECT_EQ(std::string(two, 2), "AB");
    EXPECT_EQ(viScanf(vi, "%s", text), VI_SUCCESS);
    EXPECT_STREQ(text, "CD");
    // No answer: the read times out and says so.
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 50);
    ViInt32 x = 0;
    EXPECT_EQ(viQueryf(vi, "RESET\n", "%d", &x), VI_ERROR_TMO);
    EXPECT_EQ(viPrintf(rm, "x"), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(viPrintf(vi, "%q"), VI_ERROR_INV_FMT);
}

TEST_F(Formatted, BufferModesDecideWhenDataMoves) {
    ViSession vi = open("GPIB0::5::INSTR");
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 50);
    char buf[64];
    ViUInt32 n = 0;
    // Flushed when full: a format without "\n" stays in the buffer until viFlush.
    EXPECT_EQ(viPrintf(vi, "*IDN?"), VI_SUCCESS);
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_ERROR_TMO);
    EXPECT_EQ(viFlush(vi, VI_WRITE_BUF), VI_SUCCESS);
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, n), "ZU,METER,1,1.0\n");
    // A small buffer sends as it fills, without END; "\n" ends the message.
    EXPECT_EQ(viSetBuf(vi, VI_WRITE_BUF, 2), VI_SUCCESS);
    EXPECT_EQ(viPrintf(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, n), "ZU,METER,1,1.0\n");
    // Flushed on access: every viPrintf sends at once.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_WR_BUF_OPER_MODE, VI_FLUSH_ON_ACCESS), VI_SUCCESS);
    EXPECT_EQ(viPrintf(vi, "*IDN?"), VI_SUCCESS);
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS);
    // Read buffer flushed on access: what a viScanf leaves of the message is dropped.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_RD_BUF_OPER_MODE, VI_FLUSH_ON_ACCESS), VI_SUCCESS);
    char two[3] = "";
    EXPECT_EQ(viQueryf(vi, "TWO?\n", "%2c", two), VI_SUCCESS);
    EXPECT_EQ(viScanf(vi, "%s", buf), VI_ERROR_TMO);
    // A small read buffer still gives whole values across its refills.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_RD_BUF_OPER_MODE, VI_FLUSH_DISABLE), VI_SUCCESS);
    EXPECT_EQ(viSetBuf(vi, VI_READ_BUF, 3), VI_SUCCESS);
    EXPECT_EQ(viQueryf(vi, "LONG?\n", "%s", buf), VI_SUCCESS);
    EXPECT_STREQ(buf, "0123456789ABCDEFGHIJ");
}

}  // namespace
}  // namespace zuvisa

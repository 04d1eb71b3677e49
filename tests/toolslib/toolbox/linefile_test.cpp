#include "toolslib/toolbox/linefile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "toolslib/toolbox/diagnostics.h"

namespace {

// A source that hands out a string in chunks of a chosen size.
struct ChunkSource {
    std::string data;
    size_t chunk;
    size_t pos = 0;
    int failAfter = -1;  // reads before a failure, or -1
};

int readChunks(void* source, int wanted, int* got, char* buffer) {
    auto* s = static_cast<ChunkSource*>(source);
    if (s->failAfter == 0) return ToolErr_ErrorReadingFile;
    if (s->failAfter > 0) --s->failAfter;
    size_t n = std::min({static_cast<size_t>(wanted), s->chunk, s->data.size() - s->pos});
    s->data.copy(buffer, n, s->pos);
    s->pos += n;
    *got = static_cast<int>(n);
    return 0;
}

struct Line {
    std::string text;
    int64_t offset;
    int extra;
    bool operator==(const Line&) const = default;
};

std::vector<Line> readAll(const std::string& data, bool nonEmpty, size_t chunk = 2048,
                          int maxChars = 255) {
    ChunkSource src{data, chunk};
    LineFile lf = LineFile_New(readChunks, &src);
    std::vector<Line> lines;
    std::vector<char> buf(maxChars + 1);
    for (;;) {
        int len = -1, eof = 0;
        int status = nonEmpty ? LineFile_ReadNonEmpty(lf, buf.data(), maxChars, &len, &eof)
                              : LineFile_Read(lf, buf.data(), maxChars, &len, &eof);
        EXPECT_EQ(status, 0);
        if (eof) break;
        EXPECT_EQ(static_cast<size_t>(len), std::string(buf.data()).size());
        lines.push_back(
            {buf.data(), LineFile_OffsetOfLastLine(lf), LineFile_NumExtraLineTermChars(lf)});
    }
    LineFile_Dispose(lf);
    return lines;
}

std::vector<std::string> texts(const std::vector<Line>& lines) {
    std::vector<std::string> out;
    for (const Line& l : lines) out.push_back(l.text);
    return out;
}

TEST(LineFile, TerminatorsReadAlike) {
    const struct {
        const char* name;
        std::string data;
        std::vector<std::string> lines;
    } cases[] = {
        {"CR LF", "a\r\nb\r\n", {"a", "b"}},
        {"LF", "a\nb\n", {"a", "b"}},
        {"CR", "a\rb\r", {"a", "b"}},
        {"LF CR", "a\n\rb\n\r", {"a", "b"}},
        {"no final terminator", "a\nb", {"a", "b"}},
        {"LF LF gives an empty line", "a\n\nb", {"a", "", "b"}},
        {"CR CR gives an empty line", "a\r\rb", {"a", "", "b"}},
        {"CR LF CR LF", "a\r\n\r\nb", {"a", "", "b"}},
        {"zero byte ends a line", std::string("a\0b", 3), {"a", "b"}},
        {"leading terminator is extra", "\nx\n", {"x"}},
        {"empty", "", {}},
    };
    for (const auto& c : cases) {
        for (size_t chunk : {1u, 2u, 2048u})
            EXPECT_EQ(texts(readAll(c.data, false, chunk)), c.lines)
                << c.name << " chunk " << chunk;
    }
}

TEST(LineFile, OffsetsAndExtraTerminators) {
    std::vector<Line> crlf = readAll("a\r\nb\r\n", false);
    ASSERT_EQ(crlf.size(), 2u);
    EXPECT_EQ(crlf[0], (Line{"a", 0, 0}));
    EXPECT_EQ(crlf[1], (Line{"b", 3, 1}));
    std::vector<Line> lead = readAll("\nx", false);
    ASSERT_EQ(lead.size(), 1u);
    EXPECT_EQ(lead[0], (Line{"x", 1, 1}));
}

TEST(LineFile, NonEmptyCountsSkippedCharacters) {
    ChunkSource src{"a\n\nb\n \t \r\n\r\nc", 2048};
    LineFile lf = LineFile_New(readChunks, &src);
    char buf[256];
    int eof = 0;
    const struct {
        const char* text;
        int skipped;
        int linesRead;
    } expect[] = {{"a", 0, 1}, {"b", 1, 3}, {"c", (3 + 1) + (0 + 1 + 1), 6}};
    for (const auto& e : expect) {
        ASSERT_EQ(LineFile_ReadNonEmpty(lf, buf, 255, nullptr, &eof), 0);
        EXPECT_STREQ(buf, e.text);
        EXPECT_EQ(LineFile_NumCharsInEmptyLines(lf), e.skipped) << e.text;
        EXPECT_EQ(LineFile_NumLinesRead(lf), e.linesRead) << e.text;
    }
    ASSERT_EQ(LineFile_ReadNonEmpty(lf, buf, 255, nullptr, &eof), 0);
    EXPECT_EQ(eof, 1);
    EXPECT_EQ(LineFile_NumLinesRead(lf), 6);
    LineFile_Dispose(lf);
}

TEST(LineFile, LongLinesAreCutAndTheirRestConsumed) {
    std::string data = std::string(300, 'x') + "\nnext\n";
    std::vector<Line> lines = readAll(data, false, 7);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, std::string(255, 'x'));
    EXPECT_EQ(lines[1].text, "next");
    EXPECT_EQ(lines[1].offset, 301);
    EXPECT_EQ(texts(readAll("abcdef\n", false, 2048, 0)), (std::vector<std::string>{""}));
}

TEST(LineFile, ReadErrorsAreReturned) {
    ChunkSource src{"abc\ndef", 2, 0, 1};
    LineFile lf = LineFile_New(readChunks, &src);
    char buf[16];
    int eof = 0;
    EXPECT_EQ(LineFile_Read(lf, buf, 15, nullptr, &eof), ToolErr_ErrorReadingFile);
    LineFile_Dispose(lf);

    // The file form reports the stream's error indicator.
    FILE* f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    std::fputs("x\ny\n", f);
    std::rewind(f);
    lf = LineFile_New(nullptr, f);
    ASSERT_EQ(LineFile_Read(lf, buf, 15, nullptr, &eof), 0);
    EXPECT_STREQ(buf, "x");
    LineFile_Dispose(lf);
    std::fclose(f);

    FILE* writeOnly = std::fopen("/dev/null", "w");
    lf = LineFile_New(nullptr, writeOnly);
    EXPECT_EQ(LineFile_Read(lf, buf, 15, nullptr, &eof), ToolErr_ErrorReadingFile);
    LineFile_Dispose(lf);
    std::fclose(writeOnly);
    LineFile_Dispose(nullptr);
}

}  // namespace

#include "toolslib/toolbox/ini.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/tempdir.h"
#include "toolslib/toolbox/diagnostics.h"

namespace {

struct IniDeleter {
    void operator()(IniTextRecord* ini) const { Ini_Dispose(ini); }
};
using IniPtr = std::unique_ptr<IniTextRecord, IniDeleter>;

IniPtr newIni(int sorted = 0) {
    return IniPtr(Ini_New(sorted));
}

std::string dataPath(const std::string& name) {
    const char* root = std::getenv("TALMIK_TEST_DATA");
    return std::string(root ? root : ".") + "/data/ini/" + name;
}

int appendLine(void* out, const char* line) {
    *static_cast<std::string*>(out) += std::string(line) + "\n";
    return 0;
}

std::string written(IniText ini) {
    std::string out;
    EXPECT_EQ(Ini_WriteGeneric(ini, appendLine, &out), 0);
    return out;
}

// Everything the reader kept: names, values, lines and quoting.
std::string dump(IniText ini) {
    std::string out;
    for (int s = 1; s <= Ini_NumberOfSections(ini); ++s) {
        char* section;
        Ini_NthSectionName(ini, s, &section);
        out += "section <" + std::string(section) + ">\n";
        // Lookups find the first section of a name, so walk a copy's items through it.
        for (int i = 1; i <= Ini_NumberOfItems(ini, section); ++i) {
            char* item;
            char* value;
            Ini_NthItemName(ini, section, i, &item);
            out += "  <" + std::string(item) + ">";
            if (Ini_GetPointerToRawString(ini, section, item, &value) > 0)
                out += " = <" + std::string(value) + "> line " +
                       std::to_string(Ini_LineOfLastAccess(ini));
            out += "\n";
        }
    }
    return out;
}

// Reads IniText from text given in memory.
struct TextSource {
    std::vector<std::string> lines;
    size_t next = 0;
};

int textInput(void* data, char* buffer, int size, int* end, int* lineNumber) {
    auto* src = static_cast<TextSource*>(data);
    if (src->next >= src->lines.size()) {
        *end = 1;
        return 0;
    }
    *end = 0;
    std::snprintf(buffer, static_cast<size_t>(size), "%s", src->lines[src->next].c_str());
    *lineNumber = static_cast<int>(++src->next);
    return 0;
}

IniPtr readLines(std::vector<std::string> lines) {
    IniPtr ini = newIni();
    TextSource src{std::move(lines)};
    EXPECT_EQ(Ini_ReadGeneric(ini.get(), textInput, &src), 0);
    return ini;
}

void compareWithBaseline(const std::string& actual, const std::string& baselineName) {
    std::string path = dataPath(baselineName);
    if (std::getenv("TALMIK_UPDATE_BASELINES")) writeFile(path, actual);
    EXPECT_EQ(actual, readFile(path)) << "baseline " << path;
}

TEST(IniGolden, ReaderOnMalformedInput) {
    IniPtr ini = newIni();
    ASSERT_EQ(Ini_ReadFromFile(ini.get(), dataPath("malformed.ini").c_str()), 0);
    compareWithBaseline(dump(ini.get()) + "---\n" + written(ini.get()), "malformed.expected");
}

TEST(IniGolden, WriterOfEveryKind) {
    IniPtr ini = newIni();
    IniText t = ini.get();
    Ini_PutInt(t, "Numbers", "Int", INT_MIN);
    Ini_PutUInt(t, "Numbers", "UInt", UINT_MAX);
    Ini_PutDouble(t, "Numbers", "Double", 0.1);
    Ini_PutDouble(t, "Numbers", "Tiny", -2.5e-300);
    Ini_PutDouble(t, "Numbers", "Infinite", -HUGE_VAL);
    Ini_PutBoolean(t, "Numbers", "On", 7);
    Ini_PutBoolean(t, "Numbers", "Off", 0);
    Ini_PutString(t, "Text", "Escaped", "tab\there \"quoted\" \\ \x01 end\n");
    Ini_PutRawString(t, "Text", "Raw", "as \"is\" \\n");
    Ini_PutString(t, "Text", "Empty", nullptr);
    Ini_PutString(t, "Text", "Eighty", std::string(80, 'e').c_str());
    Ini_PutString(t, "Text", "EightyOne", (std::string(80, 'f') + "g").c_str());
    std::vector<unsigned char> block(100);
    for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<unsigned char>(i * 13);
    Ini_PutData(t, "Data", "Block", block.data(), block.size());
    Ini_PutData(t, "Data", "Nothing", nullptr, 0);
    compareWithBaseline(written(t), "writer.expected");
}

TEST(Ini, LongValuesSplitAndJoin) {
    IniPtr ini = newIni();
    std::string value(81, 'v');
    value[80] = 'w';
    Ini_PutRawString(ini.get(), "S", "Name", value.c_str());
    std::string text = written(ini.get());
    EXPECT_NE(text.find("Name Line0001 = \"" + std::string(80, 'v') + "\"\n"), std::string::npos);
    EXPECT_NE(text.find("Name Line0002 = \"w\"\n"), std::string::npos);

    TempDir dir;
    ASSERT_EQ(Ini_WriteToFile(ini.get(), dir.file("t.ini").c_str()), 0);
    IniPtr back = newIni();
    ASSERT_EQ(Ini_ReadFromFile(back.get(), dir.file("t.ini").c_str()), 0);
    char* raw;
    ASSERT_EQ(Ini_GetPointerToRawString(back.get(), "S", "Name", &raw), 1);
    EXPECT_EQ(std::string(raw), value);
    EXPECT_EQ(Ini_NumberOfItems(back.get(), "S"), 1);
    EXPECT_EQ(Ini_ItemOrMultiLineItemExists(ini.get(), "S", "Name"), 1);
}

TEST(Ini, MultiLineRunsIgnoreBaseNames) {
    IniPtr ini =
        readLines({"[S]", "A Line0001 = x", "B Line0007 = y", "C = z", "D Line0002 = lone"});
    char* raw;
    ASSERT_EQ(Ini_GetPointerToRawString(ini.get(), "S", "A", &raw), 1);
    EXPECT_STREQ(raw, "xy");
    EXPECT_EQ(Ini_ItemExists(ini.get(), "S", "B Line0007"), 0);
    EXPECT_EQ(Ini_ItemExists(ini.get(), "S", "D Line0002"), 1);  // no run to join
    EXPECT_EQ(Ini_ItemOrMultiLineItemExists(ini.get(), "S", "D"), 0);
    EXPECT_EQ(Ini_NumberOfItems(ini.get(), "S"), 3);
}

TEST(Ini, DuplicateSectionsAreNotMerged) {
    IniPtr ini = newIni();
    ASSERT_EQ(Ini_ReadFromFile(ini.get(), dataPath("duplicate_sections.ini").c_str()), 0);
    EXPECT_EQ(Ini_NumberOfSections(ini.get()), 2);
    int y = -1;
    EXPECT_EQ(Ini_GetInt(ini.get(), "A", "y", &y), 0);
    EXPECT_EQ(y, -1);
    int x = 0;
    EXPECT_EQ(Ini_GetInt(ini.get(), "a", " X ", &x), 1);
    EXPECT_EQ(x, 1);
    EXPECT_EQ(Ini_LineOfLastAccess(ini.get()), 2);
}

TEST(Ini, TypedGetters) {
    IniPtr ini = readLines({"[T]", "b1 = true", "b2 = FALSE", "b3 = 1", "d1 = inf", "d2 = -INF",
                            "d3 = 1.5x", "d4 = \"   \"", "d5 = 2.5e3", "d6 = 1e999", "i1 = 12",
                            "i2 = 12.0", "u1 = -0", "u2 = +4294967295"});
    IniText t = ini.get();
    int b = -1;
    EXPECT_EQ(Ini_GetBoolean(t, "T", "b1", &b), 1);
    EXPECT_EQ(b, 1);
    EXPECT_EQ(Ini_GetBoolean(t, "T", "b2", &b), 1);
    EXPECT_EQ(b, 0);
    EXPECT_EQ(Ini_GetBoolean(t, "T", "b3", &b), ToolErr_InvalidBooleanValue);
    double d = 42;
    EXPECT_EQ(Ini_GetDouble(t, "T", "d1", &d), 1);
    EXPECT_EQ(d, HUGE_VAL);
    EXPECT_EQ(Ini_GetDouble(t, "T", "d2", &d), 1);
    EXPECT_EQ(d, -HUGE_VAL);
    EXPECT_EQ(Ini_GetDouble(t, "T", "d3", &d), ToolErr_InvalidDoubleNumber);
    d = 42;
    EXPECT_EQ(Ini_GetDouble(t, "T", "d4", &d), 0);  // blanks: not found, output untouched
    EXPECT_EQ(d, 42);
    EXPECT_EQ(Ini_GetDouble(t, "T", "d5", &d), 1);
    EXPECT_EQ(d, 2500);
    EXPECT_EQ(Ini_GetDouble(t, "T", "d6", &d), ToolErr_InvalidDoubleNumber);  // out of range
    EXPECT_EQ(Ini_GetDouble(t, "T", "missing", &d), 0);
    int i = 0;
    EXPECT_EQ(Ini_GetInt(t, "T", "i1", &i), 1);
    EXPECT_EQ(i, 12);
    EXPECT_EQ(Ini_GetInt(t, "T", "i2", &i), ToolErr_InvalidIntNumber);
    unsigned u = 0;
    EXPECT_EQ(Ini_GetUInt(t, "T", "u1", &u), ToolErr_InvalidUIntNumber);
    EXPECT_EQ(Ini_GetUInt(t, "T", "u2", &u), 1);
    EXPECT_EQ(u, 4294967295u);
    EXPECT_EQ(Ini_GetUInt(t, "Nope", "u2", &u), 0);
}

TEST(Ini, EveryTypedValueRoundTripsThroughAFile) {
    TempDir dir;
    std::vector<unsigned char> bytes(300);
    for (size_t k = 0; k < bytes.size(); ++k) bytes[k] = static_cast<unsigned char>(255 - k);
    std::string text = "\t\"q\" \\ \x01\x7f\xc3\xa9 " + std::string(200, 'z') + "\r\n";
    const double doubles[] = {0,        -0.0,     1.5, -2.25e-300, 1e308, 123456789012345.6,
                              HUGE_VAL, -HUGE_VAL};
    {
        IniPtr ini = newIni();
        Ini_PutInt(ini.get(), "V", "imin", INT_MIN);
        Ini_PutInt(ini.get(), "V", "imax", INT_MAX);
        Ini_PutUInt(ini.get(), "V", "umax", UINT_MAX);
        Ini_PutBoolean(ini.get(), "V", "yes", 1);
        Ini_PutString(ini.get(), "V", "text", text.c_str());
        Ini_PutData(ini.get(), "V", "data", bytes.data(), bytes.size());
        for (size_t k = 0; k < std::size(doubles); ++k)
            Ini_PutDouble(ini.get(), "D", ("d" + std::to_string(k)).c_str(), doubles[k]);
        ASSERT_EQ(Ini_WriteToFile(ini.get(), dir.file("v.ini").c_str()), 0);
    }
    IniPtr ini = newIni();
    ASSERT_EQ(Ini_ReadFromFile(ini.get(), dir.file("v.ini").c_str()), 0);
    int i = 0;
    unsigned u = 0;
    EXPECT_EQ(Ini_GetInt(ini.get(), "V", "imin", &i), 1);
    EXPECT_EQ(i, INT_MIN);
    EXPECT_EQ(Ini_GetInt(ini.get(), "V", "imax", &i), 1);
    EXPECT_EQ(i, INT_MAX);
    EXPECT_EQ(Ini_GetUInt(ini.get(), "V", "umax", &u), 1);
    EXPECT_EQ(u, UINT_MAX);
    EXPECT_EQ(Ini_GetBoolean(ini.get(), "V", "yes", &i), 1);
    EXPECT_EQ(i, 1);
    char* back = nullptr;
    ASSERT_EQ(Ini_GetStringCopy(ini.get(), "V", "text", &back), 1);
    EXPECT_EQ(std::string(back), text);
    std::free(back);
    unsigned char* data = nullptr;
    size_t count = 0;
    ASSERT_EQ(Ini_GetData(ini.get(), "V", "data", &data, &count), 1);
    EXPECT_EQ(std::vector<unsigned char>(data, data + count), bytes);
    std::free(data);
    for (size_t k = 0; k < std::size(doubles); ++k) {
        double d = 7;
        EXPECT_EQ(Ini_GetDouble(ini.get(), "D", ("d" + std::to_string(k)).c_str(), &d), 1);
        EXPECT_EQ(d, doubles[k]) << k;
    }
    EXPECT_EQ(Ini_GetData(ini.get(), "V", "missing", &data, &count), 0);
    EXPECT_EQ(count, 0u);
}

TEST(Ini, StringGettersEscapeAndCut) {
    IniPtr ini = newIni();
    Ini_PutString(ini.get(), "S", "s", "a\tb\"c\x01");
    char* raw;
    Ini_GetPointerToRawString(ini.get(), "S", "s", &raw);
    EXPECT_STREQ(raw, "a\\tb\\\"c\\x01");
    char buf[64];
    EXPECT_EQ(Ini_GetStringIntoBuffer(ini.get(), "S", "s", buf, sizeof buf), 1);
    EXPECT_STREQ(buf, "a\tb\"c\x01");

    Ini_PutString(ini.get(), "S", "long", "abcdef");
    char four[4];
    EXPECT_EQ(Ini_GetStringIntoBuffer(ini.get(), "S", "long", four, sizeof four), 1);
    EXPECT_STREQ(four, "abc");
    EXPECT_EQ(Ini_GetRawStringIntoBuffer(ini.get(), "S", "long", four, sizeof four), 1);
    EXPECT_STREQ(four, "abc");
    EXPECT_EQ(Ini_GetStringIntoBuffer(ini.get(), "S", "missing", four, sizeof four), 0);
    EXPECT_STREQ(four, "");  // emptied also when missing

    // The cache grows for long values and the pointer stays valid until the next call.
    std::string big(5000, 'x');
    Ini_PutString(ini.get(), "S", "big", big.c_str());
    char* text;
    ASSERT_EQ(Ini_GetPointerToString(ini.get(), "S", "big", &text), 1);
    EXPECT_EQ(std::string(text), big);
}

TEST(Ini, DuplicateChecking) {
    IniPtr ini = newIni();
    IniText t = ini.get();
    Ini_PutInt(t, "S", "a", 1);
    Ini_PutInt(t, "S", "b", 2);
    Ini_PutInt(t, "S", " A ", 3);  // replaces a in its place
    char* name;
    ASSERT_EQ(Ini_NumberOfItems(t, "S"), 2);
    Ini_NthItemName(t, "S", 1, &name);
    EXPECT_STREQ(name, "A");
    int v = 0;
    Ini_GetInt(t, "S", "a", &v);
    EXPECT_EQ(v, 3);

    EXPECT_EQ(Ini_SetDuplicateChecking(t, 0), 1);
    Ini_PutInt(t, "S", "b", 4);
    EXPECT_EQ(Ini_NumberOfItems(t, "S"), 3);
    Ini_GetInt(t, "S", "b", &v);
    EXPECT_EQ(v, 2);  // the first one is found
    EXPECT_EQ(Ini_RemoveItem(t, "S", "B"), 1);
    EXPECT_EQ(Ini_ItemExists(t, "S", "b"), 0);
    EXPECT_EQ(Ini_RemoveItem(t, "S", "b"), 0);
    EXPECT_EQ(Ini_RemoveSection(t, "s"), 1);
    EXPECT_EQ(Ini_SectionExists(t, "S"), 0);
    EXPECT_EQ(Ini_RemoveSection(t, "S"), 0);
}

TEST(Ini, SortedObjectsKeepNameOrder) {
    IniPtr ini = newIni(1);
    IniText t = ini.get();
    for (const char* s : {"delta", "Alpha", "charlie", "bravo"})
        for (const char* i : {"z", "M", "a"}) Ini_PutInt(t, s, i, 1);
    EXPECT_EQ(written(t).substr(0, 41), "[Alpha]\na = 1\nM = 1\nz = 1\n\n[bravo]\na = 1\n");
    Ini_DisableSorting(t);
    Ini_PutInt(t, "aaa", "x", 1);
    char* name;
    Ini_NthSectionName(t, Ini_NumberOfSections(t), &name);
    EXPECT_STREQ(name, "aaa");

    // Reading into a sorted object sorts what was read.
    IniPtr read = newIni(1);
    TextSource src{{"[b]", "y = 1", "x = 2", "[a]", "k = 3"}};
    ASSERT_EQ(Ini_ReadGeneric(read.get(), textInput, &src), 0);
    EXPECT_EQ(written(read.get()), "[a]\nk = 3\n\n[b]\nx = 2\ny = 1\n\n");
}

TEST(Ini, InternalSortingKeepsWrittenOrderAndFindsEverything) {
    IniPtr ini = newIni();
    IniText t = ini.get();
    Ini_PutInt(t, "z", "late", 1);
    ASSERT_EQ(Ini_SortInternally(t), 0);
    std::vector<std::string> names;
    for (int k = 0; k < 200; ++k) names.push_back("S" + std::to_string((k * 7919) % 200));
    for (const std::string& s : names) {
        Ini_PutInt(t, s.c_str(), "b", 1);
        Ini_PutInt(t, s.c_str(), "a", 2);
    }
    char* first;
    Ini_NthSectionName(t, 2, &first);
    EXPECT_STREQ(first, names[0].c_str());  // written order is insertion order
    for (const std::string& s : names) {
        int v = 0;
        ASSERT_EQ(Ini_GetInt(t, s.c_str(), "A", &v), 1) << s;
        EXPECT_EQ(v, 2);
    }
    EXPECT_EQ(Ini_RemoveSection(t, "S5"), 1);
    EXPECT_EQ(Ini_SectionExists(t, "S5"), 0);
    EXPECT_EQ(Ini_SectionExists(t, "S6"), 1);

    // Reading keeps internal sorting on and rebuilt.
    TextSource src{{"[new]", "q = 9"}};
    ASSERT_EQ(Ini_ReadGeneric(t, textInput, &src), 0);
    int q = 0;
    EXPECT_EQ(Ini_GetInt(t, "NEW", "q", &q), 1);
    EXPECT_EQ(q, 9);
    Ini_DisableInternalSorting(t);
    EXPECT_EQ(Ini_GetInt(t, "new", "q", &q), 1);
}

TEST(Ini, TokensAndFilter) {
    IniPtr ini = newIni();
    Ini_SetTokens(ini.get(), '<', '>', ":=longertoken", "#");
    TextSource src{{"<keep>", "a :=longe 1", "# comment :=longe x", "<drop>", "b :=longe 2",
                    "<keep2>", "c :=longe 3"}};
    Ini_SetSectionFilter(
        ini.get(),
        [](IniText, void* data, const char* title) {
            return std::strcmp(title, static_cast<const char*>(data));
        },
        const_cast<char*>("drop"));
    ASSERT_EQ(Ini_ReadGeneric(ini.get(), textInput, &src), 0);
    EXPECT_EQ(written(ini.get()), "<keep>\na :=longe 1\n\n<keep2>\nc :=longe 3\n\n");
    Ini_SetTokens(ini.get(), 0, 0, nullptr, "");  // nothing changes
    EXPECT_EQ(written(ini.get()), "<keep>\na :=longe 1\n\n<keep2>\nc :=longe 3\n\n");
    Ini_SetDefaultTokens(ini.get());
    EXPECT_EQ(written(ini.get()), "[keep]\na = 1\n\n[keep2]\nc = 3\n\n");
}

TEST(Ini, CopySection) {
    IniPtr from = readLines({"[A]", "x = 1", "y = \"two\"", "[B]", "z = 3", "[Empty]"});
    IniPtr to = newIni();
    Ini_PutInt(to.get(), "A", "old", 0);
    ASSERT_EQ(Ini_CopySection(from.get(), "A", to.get(), 0), 0);
    EXPECT_EQ(written(to.get()), "[A]\nold = 0\nx = \"1\"\ny = \"two\"\n\n");
    ASSERT_EQ(Ini_CopySection(from.get(), nullptr, to.get(), 1), 0);
    EXPECT_EQ(written(to.get()), "[A]\nx = \"1\"\ny = \"two\"\n\n[B]\nz = \"3\"\n\n[Empty]\n\n");
    EXPECT_EQ(Ini_CopySection(from.get(), nullptr, from.get(), 1), 0);
    EXPECT_EQ(Ini_NumberOfSections(from.get()), 3);  // copying onto itself does nothing
}

TEST(Ini, WriteFailuresLeaveTheTargetIntact) {
    TempDir dir;
    std::string target = dir.file("talmik.ini");
    writeFile(target, "[Old]\nkeep = 1\n");
    IniPtr ini = newIni();
    for (int k = 0; k < 2000; ++k)
        Ini_PutString(ini.get(), "Big", ("item" + std::to_string(k)).c_str(),
                      std::string(100, 'b').c_str());

    // Every temporary name taken.
    for (int i = 0; i <= 999; ++i) writeFile(dir.file("ini$$" + std::to_string(i) + ".TMP"), "");
    EXPECT_EQ(Ini_WriteToFile(ini.get(), target.c_str()), ToolErr_CouldNotFindUnusedTempFileName);
    EXPECT_EQ(readFile(target), "[Old]\nkeep = 1\n");
    for (int i = 0; i <= 999; ++i)
        std::filesystem::remove(dir.file("ini$$" + std::to_string(i) + ".TMP"));

    // A write cut off part-way by the file size limit (which binds root as well).
    struct rlimit saved;
    getrlimit(RLIMIT_FSIZE, &saved);
    auto previous = signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = {64 * 1024, saved.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    int status = Ini_WriteToFile(ini.get(), target.c_str());
    setrlimit(RLIMIT_FSIZE, &saved);
    signal(SIGXFSZ, previous);
    EXPECT_EQ(status, UIEIOError);
    EXPECT_EQ(readFile(target), "[Old]\nkeep = 1\n");
    EXPECT_FALSE(std::filesystem::exists(dir.file("ini$$0.TMP")));

    // A target in a missing directory is not writable.
    EXPECT_EQ(Ini_WriteToFile(ini.get(), dir.file("nodir/x.ini").c_str()), UIEAccessDenied);
    EXPECT_EQ(Ini_ReadFromFile(ini.get(), dir.file("nodir/x.ini").c_str()),
              ToolErr_CouldNotOpenFileForReading);

    // And then it works, through the temporary file.
    ASSERT_EQ(Ini_WriteToFile(ini.get(), target.c_str()), 0);
    IniPtr back = newIni();
    ASSERT_EQ(Ini_ReadFromFile(back.get(), target.c_str()), 0);
    EXPECT_EQ(Ini_NumberOfItems(back.get(), "Big"), 2000);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(Ini, NullPathWritesToStandardOutput) {
    IniPtr ini = newIni();
    Ini_PutInt(ini.get(), "S", "n", 5);
    testing::internal::CaptureStdout();
    EXPECT_EQ(Ini_WriteToFile(ini.get(), nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[S]\nn = 5\n\n");
}

TEST(Ini, ReadErrorsKeepWhatWasRead) {
    IniPtr ini = newIni();
    struct State {
        int calls = 0;
    } state;
    auto failing = [](void* data, char* buffer, int size, int* end, int* line) {
        auto* s = static_cast<State*>(data);
        *end = 0;
        *line = ++s->calls;
        if (s->calls == 3) return static_cast<int>(ToolErr_ErrorReadingFile);
        std::snprintf(buffer, static_cast<size_t>(size), "%s", s->calls == 1 ? "[S]" : "a = 1");
        return 0;
    };
    EXPECT_EQ(Ini_ReadGeneric(ini.get(), failing, &state), ToolErr_ErrorReadingFile);
    EXPECT_EQ(Ini_ItemExists(ini.get(), "S", "a"), 1);
}

TEST(Ini, NullAndRangeSafety) {
    Ini_Dispose(nullptr);
    IniPtr ini = newIni();
    char* name = nullptr;
    EXPECT_EQ(Ini_NthSectionName(ini.get(), 1, &name), 0);
    EXPECT_EQ(Ini_NthSectionName(ini.get(), 0, &name), 0);
    EXPECT_EQ(Ini_NumberOfItems(ini.get(), "none"), 0);
    EXPECT_EQ(Ini_LineOfLastAccess(ini.get()), -1);
    Ini_PutInt(ini.get(), "S", "x", 1);
    int v;
    Ini_GetInt(ini.get(), "S", "x", &v);
    EXPECT_EQ(Ini_LineOfLastAccess(ini.get()), 0);  // put, never read
}

}  // namespace

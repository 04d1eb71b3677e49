#include "controls/helpfile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "tests/support/tempdir.h"

namespace {

std::string le32(uint32_t v) {
    std::string s;
    for (int i = 0; i < 4; ++i) s.push_back(static_cast<char>(v >> (8 * i)));
    return s;
}

// A help file image built by hand: tags with their texts, and the raw fields to spoil.
std::string image(const std::vector<std::pair<std::string, std::string>>& entries,
                  uint32_t buckets = 7, const char* magic = "SI95") {
    std::string tags;
    for (const auto& e : entries) tags += static_cast<char>(e.first.size()) + e.first;
    tags += '\0';
    std::string out = std::string(magic, 4) + le32(static_cast<uint32_t>(entries.size())) +
                      le32(static_cast<uint32_t>(tags.size())) + le32(buckets) +
                      std::string(48, '\0') + tags;
    uint32_t offset = static_cast<uint32_t>(out.size() + 8 * entries.size());
    for (const auto& e : entries) {
        out += le32(offset);
        offset += static_cast<uint32_t>(e.second.size());
    }
    for (const auto& e : entries) out += le32(static_cast<uint32_t>(e.second.size()));
    for (const auto& e : entries) out += e.second;
    return out;
}

class HelpFile : public ::testing::Test {
  protected:
    void TearDown() override {
        while (Help_IsOpen()) Help_Close();
    }
    std::string write(const std::string& name, const std::string& content) {
        writeFile(dir.file(name), content);
        return dir.file(name);
    }
    TempDir dir;
};

TEST_F(HelpFile, HashFunctions) {
    EXPECT_EQ(HashString(""), 0u);
    EXPECT_EQ(HashString("ab"), (97u * 4) ^ 98u);
    EXPECT_EQ(HashString("\xff"), 0xFFFFFFFFu);  // characters widen as signed
    EXPECT_EQ(Hash2Ints(1, 2), 34u);
    EXPECT_EQ(Hash2Ints(-1, 0), 0xFFFFFFE0u);
}

TEST_F(HelpFile, LooksUpTagsAndReadsTextsFromDisk) {
    std::string path = write(
        "h.hlp", image({{"MAIN", "Main window"}, {"MAIN_REFRESH", "Searches again.\nAll of it."}}));
    ASSERT_EQ(Help_Initialize(path.c_str()), 0);
    EXPECT_STREQ(Help_MessageFromTag("MAIN_REFRESH"), "Searches again.\nAll of it.");
    EXPECT_STREQ(Help_MessageFromTag("MAIN"), "Main window");
    EXPECT_EQ(Help_MessageFromTag("main"), nullptr);  // case matters
    EXPECT_EQ(Help_MessageFromTag("MAIN_"), nullptr);
}

TEST_F(HelpFile, EmptyTagBlockIsValid) {
    std::string path = write("empty.hlp", image({}, 0));
    ASSERT_EQ(Help_Initialize(path.c_str()), 0);
    EXPECT_EQ(Help_MessageFromTag("X"), nullptr);
    EXPECT_EQ(Help_MessageForUI(1, 0, "X"), nullptr);
}

TEST_F(HelpFile, ReferenceCountingAndASecondPath) {
    std::string a = write("a.hlp", image({{"A", "a"}}));
    std::string b = write("b.hlp", image({{"B", "b"}}));
    ASSERT_EQ(Help_Initialize(a.c_str()), 0);
    ASSERT_EQ(Help_Initialize(a.c_str()), 0);
    Help_Close();
    EXPECT_STREQ(Help_MessageFromTag("A"), "a");
    EXPECT_EQ(Help_Initialize(b.c_str()), -1);  // closes the first one as well
    EXPECT_FALSE(Help_IsOpen());
    EXPECT_EQ(Help_MessageFromTag("A"), nullptr);
    ASSERT_EQ(Help_Initialize(b.c_str()), 0);
    EXPECT_STREQ(Help_MessageFromTag("B"), "b");
}

TEST_F(HelpFile, PlacesFindTheirOwnTextEveryTime) {
    std::string path = write("u.hlp", image({{"PANEL", "the panel"},
                                             {"PANEL_OK", "the button"},
                                             {"OTHER_LIST", "the list"},
                                             {"SHARED", "shared"}}));
    ASSERT_EQ(Help_Initialize(path.c_str()), 0);
    EXPECT_STREQ(Help_MessageForUI(3, 0, "PANEL"), "the panel");
    EXPECT_STREQ(Help_MessageForUI(3, 7, "PANEL_OK"), "the button");
    // Handle 3 and control 7 used again by another panel: its own text, not the old binding.
    EXPECT_STREQ(Help_MessageForUI(3, 7, "OTHER_LIST"), "the list");
    EXPECT_EQ(Help_MessageForUI(3, 7, "OTHER_NOTEXT"), nullptr);
    EXPECT_STREQ(Help_MessageForUI(3, 7, "PANEL_OK"), "the button");

    // A lent tag serves several places, and only the places it was lent to.
    EXPECT_EQ(Help_BindTag(5, 1, "SHARED", "A_STATUS"), 0);
    EXPECT_EQ(Help_BindTag(6, 1, "SHARED", "B_STATUS"), 0);
    EXPECT_STREQ(Help_MessageForUI(5, 1, "A_STATUS"), "shared");
    EXPECT_STREQ(Help_MessageForUI(6, 1, "B_STATUS"), "shared");
    EXPECT_EQ(Help_MessageForUI(6, 1, "C_STATUS"), nullptr);  // id 1 of a new panel at handle 6
    // A place's own text wins over a lent one; lending again replaces the earlier loan.
    EXPECT_EQ(Help_BindTag(3, 7, "SHARED", "PANEL_OK"), 0);
    EXPECT_STREQ(Help_MessageForUI(3, 7, "PANEL_OK"), "the button");
    EXPECT_EQ(Help_BindTag(5, 1, "PANEL", "A_STATUS"), 0);
    EXPECT_STREQ(Help_MessageForUI(5, 1, "A_STATUS"), "the panel");
    EXPECT_EQ(Help_BindTag(7, 1, "MISSING", "X"), -1);
    EXPECT_EQ(Help_BindTag(7, 1, "SHARED", nullptr), -1);
}

TEST_F(HelpFile, DamagedFilesFailAndReleaseEverything) {
    std::string good = image({{"A", "alpha"}, {"BB", "beta"}});
    std::string longTag = image({{std::string(10, 'T'), "x"}});
    longTag[64] = 50;  // the tag runs past the block
    const struct {
        const char* name;
        std::string content;
    } cases[] = {
        {"wrong magic", image({{"A", "a"}}, 7, "SI96")},
        {"short header", good.substr(0, 40)},
        {"short tag block", good.substr(0, 66)},
        {"short tables", good.substr(0, good.size() - 15)},
        {"more tags than entries", image({{"A", "a"}}).replace(4, 4, le32(0))},
        {"no buckets for tags", image({{"A", "a"}}, 0)},
        {"tag past the block", longTag},
        {"absurd counts", std::string("SI95") + le32(0xFFFFFFFF) + le32(0xFFFFFFFF) + le32(1) +
                              std::string(48, '\0')},
        {"more buckets than bytes", image({{"A", "a"}}, 200)},
    };
    for (const auto& c : cases) {
        std::string path = write("bad.hlp", c.content);
        EXPECT_EQ(Help_Initialize(path.c_str()), -1) << c.name;
        EXPECT_FALSE(Help_IsOpen()) << c.name;
    }
    EXPECT_EQ(Help_Initialize(dir.file("missing.hlp").c_str()), -1);

    // Texts that lie outside the file are not found, but the file stays usable.
    std::string far = image({{"A", "alpha"}, {"FAR", "x"}});
    far.replace(64 + 7 + 4, 4, le32(0x7FFFFFF0));  // the offset of FAR
    ASSERT_EQ(Help_Initialize(write("far.hlp", far).c_str()), 0);
    EXPECT_EQ(Help_MessageFromTag("FAR"), nullptr);
    EXPECT_STREQ(Help_MessageFromTag("A"), "alpha");
    Help_Close();
    std::string path = write("cut.hlp", good.substr(0, good.size() - 2));
    ASSERT_EQ(Help_Initialize(path.c_str()), 0);
    EXPECT_STREQ(Help_MessageFromTag("A"), "alpha");
    EXPECT_EQ(Help_MessageFromTag("BB"), nullptr);
}

// The largest single allocation while a test watches.
size_t largestAllocation = 0;
bool watchingAllocations = false;

TEST_F(HelpFile, SizesAreCheckedAgainstTheFileBeforeAllocating) {
    const struct {
        const char* name;
        uint32_t tags, tagBlock, buckets;
        size_t fileSize;
    } cases[] = {
        {"a tag block of 16 MiB", 0, helpfile::kMaxTagBlock, 7, 64},
        {"a million tags", helpfile::kMaxTags, 1, 7, 64},
        {"a million buckets", 0, 1, helpfile::kMaxBuckets, 65},
        {"tables one byte past the end", 2, 1, 1, 64 + 1 + 15},
    };
    for (const auto& c : cases) {
        std::string content = std::string("SI95") + le32(c.tags) + le32(c.tagBlock) + le32(c.buckets);
        content.resize(c.fileSize, '\0');
        std::string path = write("declared.hlp", content);
        largestAllocation = 0;
        watchingAllocations = true;
        int rc = Help_Initialize(path.c_str());
        watchingAllocations = false;
        EXPECT_EQ(rc, -1) << c.name;
        EXPECT_LT(largestAllocation, 4096u) << c.name;
    }
    // A text length far beyond the file does not size the shared buffer.
    std::string huge = image({{"A", "alpha"}, {"HUGE", "x"}});
    huge.replace(64 + 8 + 8 + 4, 4, le32(helpfile::kMaxTextLength));  // the length of HUGE
    std::string hugePath = write("huge.hlp", huge);
    largestAllocation = 0;
    watchingAllocations = true;
    int rc = Help_Initialize(hugePath.c_str());
    watchingAllocations = false;
    ASSERT_EQ(rc, 0);
    EXPECT_LT(largestAllocation, 4096u);
    EXPECT_EQ(Help_MessageFromTag("HUGE"), nullptr);
    EXPECT_STREQ(Help_MessageFromTag("A"), "alpha");
}

TEST_F(HelpFile, CompiledFromSourcesByMkhlp) {
    const char* mkhlp = std::getenv("MKHLP");
    ASSERT_NE(mkhlp, nullptr);
    write("a.txt",
          "@# panel texts\n\n@MAIN\n\nThe main window.\n\n  Indented second paragraph.\n\n\n"
          "@MAIN_REFRESH\n@@ marks are kept\n@viRead_STATUS\n@viWrite_STATUS  \nShared text.\n");
    write("b.txt", "@ABOUT   \nAbout box.\r\n");
    std::string out = dir.file("ZUtalmik.hlp");
    std::string cmd =
        std::string(mkhlp) + " -o " + out + " " + dir.file("a.txt") + " " + dir.file("b.txt");
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    ASSERT_EQ(Help_Initialize(out.c_str()), 0);
    EXPECT_STREQ(Help_MessageFromTag("MAIN"), "The main window.\n\n  Indented second paragraph.");
    EXPECT_STREQ(Help_MessageFromTag("MAIN_REFRESH"), "@ marks are kept");
    EXPECT_STREQ(Help_MessageFromTag("ABOUT"), "About box.");
    EXPECT_STREQ(Help_MessageFromTag("viRead_STATUS"), "Shared text.");
    EXPECT_STREQ(Help_MessageFromTag("viWrite_STATUS"), "Shared text.");
    Help_Close();
    // Tags that share a text store it once.
    EXPECT_EQ(readFile(out).find("Shared text."), readFile(out).rfind("Shared text."));

    const struct {
        const char* name;
        std::string source;
    } bad[] = {
        {"duplicate tag", "@A\nx\n@A\ny\n"},
        {"text before a tag", "stray\n@A\nx\n"},
        {"blank in a tag", "@A B\nx\n"},
        {"empty tag", "@\nx\n"},
    };
    for (const auto& b : bad) {
        write("bad.txt", b.source);
        std::string badCmd = std::string(mkhlp) + " -o " + dir.file("bad.hlp") + " " +
                             dir.file("bad.txt") + " 2>/dev/null";
        EXPECT_NE(std::system(badCmd.c_str()), 0) << b.name;
    }
    EXPECT_NE(std::system((std::string(mkhlp) + " 2>/dev/null").c_str()), 0);
}

}  // namespace

// Watches the sizes the help module asks for. The whole test program allocates through here,
// so every form that pairs with these deletes allocates with malloc as they free with free.
void* operator new(size_t size) {
    if (watchingAllocations && size > largestAllocation) largestAllocation = size;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    if (watchingAllocations && size > largestAllocation) largestAllocation = size;
    return std::malloc(size ? size : 1);
}
// GCC's optimiser takes free() inside a replaced delete for a mismatch; the pairing is ours.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
#pragma GCC diagnostic pop

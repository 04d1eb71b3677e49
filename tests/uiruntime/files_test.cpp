// The program's directory, the current directory, file sizes and listings.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "support.h"

namespace {

class Files : public RuntimeTest {};

TEST_F(Files, TheProgramDirectoryIsTheExecutablesUnlessATestSetsIt) {
    char dir[MAX_PATHNAME_LEN];
    ASSERT_EQ(GetProjectDir(dir), 0);
    EXPECT_EQ(std::filesystem::path(dir), std::filesystem::canonical("/proc/self/exe").parent_path());
    UiTest_SetProjectDir("/tmp/program");
    GetProjectDir(dir);
    EXPECT_STREQ(dir, "/tmp/program");
    char small[4];
    EXPECT_EQ(GetProjectDir(small), UIEBufferTooSmall);
}

TEST_F(Files, SetDirChangesTheCurrentDirectory) {
    TempDir t;
    char before[1024], now[1024];
    GetDir(before);
    ASSERT_EQ(SetDir(t.path().c_str()), 0);
    GetDir(now);
    EXPECT_EQ(std::filesystem::path(now), std::filesystem::canonical(t.path()));
    EXPECT_EQ(SetDir(t.file("missing").c_str()), -1);
    t.write("file", "x");
    EXPECT_EQ(SetDir(t.file("file").c_str()), -1);
    SetDir(before);
}

TEST_F(Files, FileSizesOfFilesOnly) {
    TempDir t;
    t.write("seven", "1234567");
    long size = -1;
    EXPECT_EQ(GetFileSize(t.file("seven").c_str(), &size), 0);
    EXPECT_EQ(size, 7);
    EXPECT_EQ(GetFileSize(t.file("none").c_str(), &size), -1);
    EXPECT_EQ(GetFileSize(t.path().c_str(), &size), -1);
    EXPECT_EQ(GetFileSize(nullptr, &size), UIENullPointer);
}

std::vector<std::string> listing(const std::string& spec, int normal, int hidden, int directory, int readOnly = 0) {
    std::vector<std::string> names;
    char name[MAX_FILENAME_LEN];
    int rc = GetFirstFile(spec.c_str(), normal, readOnly, 0, hidden, 0, directory, name);
    while (rc == 0) {
        names.push_back(name);
        rc = GetNextFile(name);
    }
    EXPECT_EQ(rc, -1);
    return names;
}

using Names = std::vector<std::string>;

// The soft-front-panel search lists "*" for directories and "*.exe" then "*.EXE" for programs.
TEST_F(Files, ListingsFilterByPatternKindAndVisibility) {
    TempDir t;
    t.write("dmm01.exe", "");
    t.write("DMM02.EXE", "");
    t.write("readme", "");
    t.write(".hidden", "");
    t.write("locked.exe", "");
    ::chmod(t.file("locked.exe").c_str(), 0444);
    ::mkdir(t.file("dmm01").c_str(), 0755);
    ::mkdir(t.file("bin").c_str(), 0755);
    EXPECT_EQ(listing(t.path() + "/*.exe", 1, 0, 0), (Names{"dmm01.exe", "locked.exe"}));
    EXPECT_EQ(listing(t.path() + "/*.EXE", 1, 0, 0), (Names{"DMM02.EXE"}));
    EXPECT_EQ(listing(t.path() + "/*", 0, 0, 1), (Names{"bin", "dmm01"}));
    EXPECT_EQ(listing(t.path() + "/*", 1, 1, 0), (Names{".hidden", "DMM02.EXE", "dmm01.exe", "locked.exe", "readme"}));
    EXPECT_EQ(listing(t.path() + "/dmm01", 1, 0, 1), (Names{"dmm01"}));
    if (::geteuid() != 0) {
        EXPECT_EQ(listing(t.path() + "/*.exe", 1, 0, 0, 1), (Names{"locked.exe"}));
    }
    EXPECT_EQ(listing(t.path() + "/*.kb", 1, 0, 0), Names{});
    char name[MAX_FILENAME_LEN];
    EXPECT_EQ(GetFirstFile((t.path() + "/nowhere/*").c_str(), 1, 0, 0, 0, 0, 1, name), -1);
    char tiny[4];
    EXPECT_EQ(GetFirstFile((t.path() + "/readme").c_str(), 1, 0, 0, 0, 0, 0, tiny), UIEBufferTooSmall);
    // A bare pattern lists the current directory.
    char before[1024];
    GetDir(before);
    SetDir(t.path().c_str());
    EXPECT_EQ(listing("read*", 1, 0, 0), (Names{"readme"}));
    SetDir(before);
}

}  // namespace

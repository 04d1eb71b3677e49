#include "toolslib/toolbox/files.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "tests/support/tempdir.h"
#include "toolslib/toolbox/diagnostics.h"

namespace {

TEST(Files, GetFileInfo) {
    TempDir dir;
    writeFile(dir.file("f"), "12345");
    long size = 0;
    EXPECT_EQ(GetFileInfo(dir.file("f").c_str(), &size), 1);
    EXPECT_EQ(size, 5);
    EXPECT_EQ(GetFileInfo(dir.file("missing").c_str(), &size), 0);
    EXPECT_EQ(size, -1);
    EXPECT_EQ(GetFileInfo(dir.file("f/below").c_str(), nullptr), 0);  // through a file
    EXPECT_EQ(GetFileInfo(nullptr, nullptr), -3);
    EXPECT_EQ(GetFileInfo(std::string(5000, 'x').c_str(), nullptr), -3);  // name too long

    size = 0;
    EXPECT_EQ(FileExists(dir.file("f").c_str(), &size), 1);
    EXPECT_EQ(size, 5);
    EXPECT_EQ(FileExists(dir.file("missing").c_str(), &size), 0);
    EXPECT_EQ(size, -1);
    EXPECT_EQ(FileExists(std::string(5000, 'x').c_str(), nullptr), UIEIOError);
}

TEST(Files, SplitPath) {
    const struct {
        const char *path, *dir, *name;
    } cases[] = {
        {"/a/b/c.ini", "/a/b/", "c.ini"},
        {"c.ini", "", "c.ini"},
        {"/", "/", ""},
        {"dir/", "dir/", ""},
    };
    for (const auto& c : cases) {
        char drive[MAX_DRIVENAME_LEN] = "?", dir[MAX_DIRNAME_LEN], name[MAX_FILENAME_LEN];
        SplitPath(c.path, drive, dir, name);
        EXPECT_STREQ(drive, "");
        EXPECT_STREQ(dir, c.dir) << c.path;
        EXPECT_STREQ(name, c.name) << c.path;
    }
}

TEST(Files, RenameFileResults) {
    TempDir dir;
    writeFile(dir.file("a"), "A");
    EXPECT_EQ(RenameFile(dir.file("a").c_str(), dir.file("b").c_str()), 0);
    EXPECT_EQ(readFile(dir.file("b")), "A");
    EXPECT_EQ(RenameFile(dir.file("a").c_str(), dir.file("c").c_str()), -1);
    EXPECT_EQ(RenameFile(dir.file("b").c_str(), dir.file("nodir/c").c_str()), -1);
    EXPECT_EQ(RenameFile("", dir.file("c").c_str()), -5);
    std::filesystem::create_directory(dir.file("d"));
    writeFile(dir.file("d/inside"), "x");
    EXPECT_EQ(RenameFile(dir.file("b").c_str(), dir.file("d").c_str()),
              -3);  // onto a full directory
    EXPECT_EQ(DeleteAndRename(dir.file("zz").c_str(), dir.file("b").c_str()), UIEFileWasNotFound);
}

TEST(Files, WritabilityProbesWithoutLeavingFiles) {
    TempDir dir;
    int writable = -1;
    EXPECT_EQ(GetFileWritability(dir.file("new.ini").c_str(), &writable), 0);
    EXPECT_EQ(writable, 1);
    EXPECT_FALSE(std::filesystem::exists(dir.file("new.ini")));

    writeFile(dir.file("old.ini"), "keep");
    EXPECT_EQ(GetFileWritability(dir.file("old.ini").c_str(), &writable), 0);
    EXPECT_EQ(writable, 1);
    EXPECT_EQ(readFile(dir.file("old.ini")), "keep");

    EXPECT_EQ(GetFileWritability(dir.file("nodir/x.ini").c_str(), &writable), 0);
    EXPECT_EQ(writable, 0);
    EXPECT_EQ(GetFileWritability(dir.path().c_str(), &writable), 0);  // a directory
    EXPECT_EQ(writable, 0);
}

TEST(Files, TemporaryNamesCountUp) {
    TempDir dir;
    std::string target = dir.file("talmik.ini");
    char name[MAX_PATHNAME_LEN];
    FILE* stream = nullptr;
    writeFile(dir.file("ini$$0.TMP"), "taken");
    ASSERT_EQ(CreateAndOpenTemporaryFile(target.c_str(), "ini$$", "TMP", "wb", name, &stream), 0);
    EXPECT_EQ(std::string(name), dir.file("ini$$1.TMP"));
    std::fclose(stream);

    // The prefix is cut to five characters.
    ASSERT_EQ(CreateAndOpenTemporaryFile(target.c_str(), "abcdefgh", "x", "wb", name, &stream), 0);
    EXPECT_EQ(std::string(name), dir.file("abcde0.x"));
    std::fclose(stream);

    EXPECT_EQ(CreateAndOpenTemporaryFile(dir.file("nodir/t.ini").c_str(), "ini$$", "TMP", "wb",
                                         name, &stream),
              ToolErr_CouldNotCreateTempFile);
    EXPECT_EQ(stream, nullptr);

    for (int i = 0; i <= 999; ++i) writeFile(dir.file("full" + std::to_string(i) + ".TMP"), "");
    EXPECT_EQ(CreateAndOpenTemporaryFile(target.c_str(), "full", "TMP", "wb", name, &stream),
              ToolErr_CouldNotFindUnusedTempFileName);
}

TEST(Files, RemoveFileIfExists) {
    TempDir dir;
    writeFile(dir.file("f"), "x");
    EXPECT_EQ(RemoveFileIfExists(dir.file("f").c_str()), 0);
    EXPECT_FALSE(std::filesystem::exists(dir.file("f")));
    EXPECT_EQ(RemoveFileIfExists(dir.file("f").c_str()), 0);
}

TEST(Files, WriteErrnoMapping) {
    const struct {
        int error, code;
    } cases[] = {{0, -93},      {EPERM, -95}, {EACCES, -95}, {ENOMEM, -12},
                 {ENOSPC, -97}, {EIO, -93},   {EFBIG, -93}};
    for (const auto& c : cases) EXPECT_EQ(ConvertErrnoToWriteError(c.error), c.code) << c.error;
}

}  // namespace

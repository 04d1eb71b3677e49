#include "uiruntime/launch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "support.h"

namespace {

struct Split {
    const char* line;
    std::vector<std::string> words;
};

void PrintTo(const Split& c, std::ostream* os) { *os << c.line; }

class SplitCommandLine : public ::testing::TestWithParam<Split> {};

TEST_P(SplitCommandLine, AsAShellSplitsWordsWithoutExpanding) {
    std::vector<std::string> words;
    EXPECT_EQ(uir::splitCommandLine(GetParam().line, &words), 0) << GetParam().line;
    EXPECT_EQ(words, GetParam().words) << GetParam().line;
}

INSTANTIATE_TEST_SUITE_P(
    Table, SplitCommandLine,
    ::testing::Values(
        Split{"prog a  b\tc", {"prog", "a", "b", "c"}},
        Split{"  ", {}},
        Split{"", {}},
        Split{"prog \"two words\" 'and more'", {"prog", "two words", "and more"}},
        Split{"prog a\\ b", {"prog", "a b"}},
        Split{"prog ; rm -rf /", {"prog", ";", "rm", "-rf", "/"}},
        Split{"prog a;rm|cat&&x", {"prog", "a;rm|cat&&x"}},
        Split{"prog $HOME `id` *", {"prog", "$HOME", "`id`", "*"}},
        Split{"prog \"a\\\"b\" \"c\\$d\" \"e\\nf\"", {"prog", "a\"b", "c$d", "e\\nf"}},
        Split{"prog 'it'\"'\"'s'", {"prog", "it's"}},
        Split{"prog '' \"\"", {"prog", "", ""}},
        Split{"prog 'back\\slash'", {"prog", "back\\slash"}},
        Split{"prog a\\\nb", {"prog", "ab"}},
        Split{"xterm -e /usr/bin/gpterm", {"xterm", "-e", "/usr/bin/gpterm"}}),
    [](const auto& info) { return "case" + std::to_string(info.index); });

TEST(SplitCommandLineRefuses, UnterminatedQuotesAndTrailingBackslash) {
    std::vector<std::string> words;
    for (const char* bad : {"prog 'open", "prog \"open", "prog \"a\\\"", "prog a\\"})
        EXPECT_EQ(uir::splitCommandLine(bad, &words), UIEInvalidCommandLine) << bad;
    EXPECT_EQ(uir::splitCommandLine(std::string(uir::kMaxCommandLine + 1, 'a'), &words), UIEInvalidCommandLine);
}

std::string argdump() {
    const char* p = std::getenv("ARGDUMP");
    return p ? p : "";
}

std::string waitForFile(const std::string& path) {
    for (int k = 0; k < 500; ++k) {
        std::string s = readFile(path);
        if (s.find("END\n") != std::string::npos) return s;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return readFile(path);
}

// The program gets its arguments exactly as split; no shell ever sees the line.
TEST(LaunchExecutable, StartsTheProgramWithTheSplitArguments) {
    ASSERT_FALSE(argdump().empty());
    TempDir dir;
    std::string out = dir.file("args.txt");
    std::string marker = dir.file("marker");
    std::string line = argdump() + " " + out + " \"two words\" ';' touch " + marker + " '$HOME'";
    ASSERT_EQ(LaunchExecutable(line.c_str()), 0);
    EXPECT_EQ(waitForFile(out), "two words\n;\ntouch\n" + marker + "\n$HOME\nEND\n");
    struct stat st;
    EXPECT_NE(::stat(marker.c_str(), &st), 0) << "a shell ran the command after ';'";
}

TEST(LaunchExecutable, FindsProgramsOnThePath) {
    TempDir dir;
    std::string out = dir.file("args.txt");
    std::string copy = dir.file("argdump-copy");
    ASSERT_EQ(::symlink(argdump().c_str(), copy.c_str()), 0);
    std::string oldPath = std::getenv("PATH") ? std::getenv("PATH") : "";
    ::setenv("PATH", (dir.path() + ":" + oldPath).c_str(), 1);
    int rc = LaunchExecutable(("argdump-copy " + out + " x").c_str());
    ::setenv("PATH", oldPath.c_str(), 1);
    ASSERT_EQ(rc, 0);
    EXPECT_EQ(waitForFile(out), "x\nEND\n");
}

TEST(LaunchExecutable, FailsWithANegativeResultWhenNothingCanStart) {
    TempDir dir;
    dir.write("plain.txt", "not a program");
    EXPECT_EQ(LaunchExecutable("no-such-program-anywhere --flag"), UIECouldNotLaunch);
    EXPECT_EQ(LaunchExecutable(dir.file("plain.txt").c_str()), UIECouldNotLaunch);
    EXPECT_EQ(LaunchExecutable(dir.path().c_str()), UIECouldNotLaunch);
    EXPECT_EQ(LaunchExecutable(""), UIEInvalidCommandLine);
    EXPECT_EQ(LaunchExecutable("prog 'unterminated"), UIEInvalidCommandLine);
    EXPECT_EQ(LaunchExecutable(nullptr), UIENullPointer);
}

}  // namespace

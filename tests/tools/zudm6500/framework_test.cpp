// The framework trees as the build lays them out: what talmik's discovery of soft front panels
// and of the house tools will find there, and that the programs start through their links.
#include <fcntl.h>
#include <fnmatch.h>
#include <signal.h>
#include <spawn.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/tempdir.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

std::string env(const char* name) {
    return std::getenv(name);
}

std::vector<std::string> namesIn(const std::string& dir, const char* pattern) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(dir, ec))
        if (fnmatch(pattern, e.path().filename().c_str(), 0) == 0)
            names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

bool executableFile(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), X_OK) == 0;
}

// The description a knowledge-base file gives: the quoted text on its "[Product Description]"
// line, read in lines of at most 80 characters.
std::string productDescription(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        EXPECT_LE(line.size(), 80u) << path;
        if (line.rfind("[Product Description]", 0) != 0) continue;
        size_t open = line.find('"');
        if (open == std::string::npos) return "";
        return line.substr(open + 1, line.find('"', open + 1) - open - 1);
    }
    return "";
}

TEST(FrameworkTree, SoftFrontPanelsAreFoundAsDiscoveryLooksForThem) {
    const std::string root = env("TALMIK_VXIPNP_DIR");
    std::vector<std::string> drivers;
    for (const std::string& name : namesIn(root + "/linux", "*")) {
        if (name[0] == '.' || strcasecmp(name.c_str(), "bin") == 0 ||
            strcasecmp(name.c_str(), "ZUvisa") == 0)
            continue;
        drivers.push_back(name);
        EXPECT_LE(name.size(), 15u) << name;
        std::vector<std::string> exes = namesIn(root + "/linux/" + name, "*.exe");
        auto panel = std::find_if(exes.begin(), exes.end(), [&](const std::string& e) {
            return strncasecmp(e.c_str(), name.c_str(), 2) == 0;
        });
        ASSERT_NE(panel, exes.end()) << name;
        EXPECT_TRUE(executableFile(root + "/linux/" + name + "/" + *panel)) << *panel;
        std::vector<std::string> kb = namesIn(root + "/kbase", (name + "*.kb").c_str());
        ASSERT_EQ(kb.size(), 1u) << name;
        EXPECT_FALSE(productDescription(root + "/kbase/" + kb[0]).empty()) << kb[0];
    }
    EXPECT_EQ(drivers, std::vector<std::string>{"zudm6500"});
    EXPECT_EQ(productDescription(root + "/kbase/zudm6500.kb"),
              "ZU Instruments DM-6500 Digital Multimeter");
}

TEST(FrameworkTree, HouseToolsAreInTheBinOfTheHouseTree) {
    for (const char* tool : {"vxterm", "gpterm"}) {
        std::string path = env("TALMIK_ZUVXI_DIR") + "/bin/" + tool;
        EXPECT_TRUE(executableFile(path)) << path;
    }
}

// Runs a program with extra environment; its exit status, or -1 while it still runs after
// the given time (it is then ended).
int runFor(const std::string& program, std::vector<std::string> args,
           const std::vector<std::string>& extraEnv, std::chrono::milliseconds time,
           const std::string& output) {
    std::vector<std::string> environment = extraEnv;
    for (char** e = environ; *e; ++e) environment.push_back(*e);
    std::vector<char*> envp, argv{const_cast<char*>(program.c_str())};
    for (std::string& e : environment) envp.push_back(e.data());
    envp.push_back(nullptr);
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t pid = 0;
    int rc = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) return -2;
    auto until = std::chrono::steady_clock::now() + time;
    int status = 0;
    while (std::chrono::steady_clock::now() < until) {
        if (waitpid(pid, &status, WNOHANG) == pid)
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    kill(pid, SIGTERM);
    waitpid(pid, &status, 0);
    return -1;
}

TEST(FrameworkTree, TheSoftFrontPanelStartsThroughItsLink) {
    TempDir dir;
    writeFile(dir.file("zuvisa.ini"), "[Bridgelets]\nsim = True\n");
    const std::string exe = env("TALMIK_VXIPNP_DIR") + "/linux/zudm6500/zudm6500.exe";
    EXPECT_EQ(runFor(exe, {"--help"}, {}, std::chrono::seconds(10), dir.file("help.txt")), 0);
    EXPECT_NE(readFile(dir.file("help.txt")).find("Usage: zudm6500 [RESOURCE]"), std::string::npos);
    // Started as talmik starts it, without arguments: it finds its panels and ZU-VISA beside the
    // real program and keeps running, saying nothing, until it is closed.
    std::vector<std::string> environment = {"QT_QPA_PLATFORM=offscreen",
                                            "XDG_RUNTIME_DIR=" + dir.path(),
                                            "ZUVISA_CONFIG=" + dir.file("zuvisa.ini")};
    EXPECT_EQ(runFor(exe, {}, environment, std::chrono::milliseconds(2500), dir.file("out.txt")),
              -1);
    EXPECT_EQ(readFile(dir.file("out.txt")), "");
}

}  // namespace

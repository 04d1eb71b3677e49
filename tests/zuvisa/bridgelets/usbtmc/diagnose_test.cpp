// What `portconf list --why` says about USB instruments, seen by a user who is not the
// superuser (the superuser may open any node, so the question never comes up for it).
#include "zuvisa/bridgelets/usbtmc/diagnose.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "usbtree.h"
#include "zuvisa/bridgelets/usbtmc/discovery.h"

namespace zuvisa::usbtmc {
namespace {

using zuvisa::testing::UsbTree;

// The explanation as an unprivileged user gets it: a child process that leaves the superuser
// behind where it has to.
std::string explainedToAUser(const sysfs::Roots& roots) {
    int out[2];
    if (pipe(out) != 0) return "no pipe";
    pid_t pid = fork();
    if (pid == 0) {
        close(out[0]);
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(2);
        std::string text;
        for (const std::string& line : explainDevices(roots)) text += line + "\n";
        ssize_t n = write(out[1], text.data(), text.size());
        _exit(n == static_cast<ssize_t>(text.size()) ? 0 : 3);
    }
    close(out[1]);
    std::string text;
    char buf[512];
    for (ssize_t n; (n = read(out[0], buf, sizeof buf)) > 0;)
        text.append(buf, static_cast<size_t>(n));
    close(out[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return "child failed";
    return text;
}

TEST(Diagnose, ADeviceTheUserMayNotOpenComesWithTheUdevRuleThatLetsThem) {
    TempDir root;
    chmod(root.path().c_str(), 0755);
    UsbTree tree(root.path());
    tree.add({"1-1", 0x0957, 0x1755, "ACME", "Scope", "MY1", 0, 0xFE, 3, 1, 1, 7, "usbtmc0"});
    sysfs::Roots roots{tree.sys(), tree.dev()};
    const std::string rule = udevRule(findDevices(roots).at(0));
    struct Case {
        mode_t mode;
        bool refused;
    };
    for (const Case& c : {Case{0666, false}, Case{0000, true}}) {
        chmod(tree.node("usbtmc0").c_str(), c.mode);
        std::string text = explainedToAUser(roots);
        EXPECT_NE(
            text.find("USB0::0x0957::0x1755::MY1::INSTR: " + tree.node("usbtmc0") + ", ACME Scope"),
            std::string::npos)
            << text;
        EXPECT_EQ(text.find("may not open " + tree.node("usbtmc0")) != std::string::npos, c.refused)
            << text;
        EXPECT_EQ(text.find("    " + rule + "\n") != std::string::npos, c.refused) << text;
    }
}

}  // namespace
}  // namespace zuvisa::usbtmc

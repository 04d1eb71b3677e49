// The terminal programs as a user runs them: through a pseudo-terminal with the line editor and
// its history, from a pipe, and with a wrong command line or no VISA library.
#include "tools/termcore/termmain.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/tempdir.h"

namespace {

std::string toolPath(const char* tool) {
    return std::string(std::getenv("TALMIK_ZUVXI_DIR")) + "/bin/" + tool;
}

// A program on a pseudo-terminal (or with a pipe as its input when terminal is false).
class Session {
  public:
    Session(const std::string& program, const std::vector<std::string>& args,
            const std::vector<std::string>& env, bool terminal) {
        std::vector<std::string> all{program};
        all.insert(all.end(), args.begin(), args.end());
        int toChild[2] = {-1, -1}, fromChild[2] = {-1, -1};
        if (terminal) {
            pid_ = forkpty(&fd_, nullptr, nullptr, nullptr);
        } else {
            if (pipe(toChild) != 0 || pipe(fromChild) != 0) return;
            pid_ = fork();
        }
        if (pid_ == 0) {
            if (!terminal) {
                dup2(toChild[0], 0);
                dup2(fromChild[1], 1);
                dup2(fromChild[1], 2);
            }
            for (const std::string& e : env) putenv(const_cast<char*>(e.c_str()));
            std::vector<char*> argv;
            for (std::string& a : all) argv.push_back(a.data());
            argv.push_back(nullptr);
            execv(program.c_str(), argv.data());
            _exit(127);
        }
        if (!terminal) {
            close(toChild[0]);
            close(fromChild[1]);
            fd_ = fromChild[0];
            input_ = toChild[1];
        } else {
            input_ = fd_;
        }
    }
    ~Session() {
        if (pid_ > 0 && !exited_) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        if (input_ >= 0 && input_ != fd_) close(input_);
        if (fd_ >= 0) close(fd_);
    }
    void send(const std::string& keys) {
        ASSERT_EQ(write(input_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void closeInput() {
        close(input_);
        input_ = -1;
    }
    // Reads until text appears after the point reached so far; false after 10 s without it.
    bool expect(const std::string& text) {
        auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (;;) {
            size_t at = output_.find(text, seen_);
            if (at != std::string::npos) {
                seen_ = at + text.size();
                return true;
            }
            if (std::chrono::steady_clock::now() > until || !readSome()) return false;
        }
    }
    // Reads to the end and waits for the exit status.
    int finish() {
        while (readSome()) {
        }
        int status = 0;
        waitpid(pid_, &status, 0);
        exited_ = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    const std::string& output() const { return output_; }
    void stop(int signal) { kill(pid_, signal); }
    // The local modes of the program's terminal.
    tcflag_t terminalMode() const {
        termios t{};
        tcgetattr(fd_, &t);
        return t.c_lflag;
    }

  private:
    bool readSome() {
        pollfd p{fd_, POLLIN, 0};
        if (poll(&p, 1, 10000) <= 0) return false;
        char buffer[4096];
        ssize_t n = read(fd_, buffer, sizeof buffer);
        if (n <= 0) return false;  // a pseudo-terminal says EIO when the program has gone
        output_.append(buffer, static_cast<size_t>(n));
        return true;
    }
    pid_t pid_ = -1;
    int fd_ = -1, input_ = -1;
    bool exited_ = false;
    std::string output_;
    size_t seen_ = 0;
};

class TerminalProgram : public ::testing::Test {
  protected:
    void SetUp() override { writeFile(dir.file("zuvisa.ini"), "[Bridgelets]\nsim = True\n"); }
    // Started through the link in the house tree, so ZU-VISA is found beside the real program.
    std::vector<std::string> env() const {
        return {"ZUVISA_CONFIG=" + dir.file("zuvisa.ini"), "HOME=" + dir.path(),
                "TALMIK_VISA_LIBRARY="};
    }
    TempDir dir;
};

TEST_F(TerminalProgram, OnATerminalWithHistory) {
    writeFile(dir.file(".gpterm_history"), "/find GPIB?*\n");
    Session s(toolPath("gpterm"), {"GPIB0::22::INSTR"}, env(), true);
    ASSERT_TRUE(s.expect("/help lists the commands")) << s.output();
    ASSERT_TRUE(s.expect("Opened GPIB0::22::INSTR (timeout 2000 ms).")) << s.output();
    ASSERT_TRUE(s.expect("GPIB0::22::INSTR> ")) << s.output();
    s.send("*IDX\x7fN?\r");
    ASSERT_TRUE(s.expect("DM-6500 (simulated),SIM0022,1.0\\n")) << s.output();
    ASSERT_TRUE(s.expect("GPIB0::22::INSTR> ")) << s.output();
    s.send("\x1b[A\r");  // the line again, from the history
    ASSERT_TRUE(s.expect("DM-6500 (simulated),SIM0022,1.0\\n")) << s.output();
    s.send("\x1b[A\x1b[A\r");  // the line kept from the last run
    ASSERT_TRUE(s.expect("GPIB0::7::INSTR")) << s.output();
    s.send("FUNC?\r/stb\r");  // typed ahead while the first line runs: nothing is lost
    ASSERT_TRUE(s.expect("VOLT:DC\\n")) << s.output();
    ASSERT_TRUE(s.expect("Status byte: 0x00 (0)")) << s.output();
    s.send("\x04");
    EXPECT_EQ(s.finish(), 0);
    EXPECT_EQ(readFile(dir.file(".gpterm_history")),
              "/find GPIB?*\n*IDN?\n/find GPIB?*\nFUNC?\n/stb\n");
}

TEST_F(TerminalProgram, AnInterruptedProgramGivesTheTerminalBack) {
    Session s(toolPath("vxterm"), {}, env(), true);
    ASSERT_TRUE(s.expect("vxterm> ")) << s.output();
    EXPECT_FALSE(s.terminalMode() & ICANON);  // the editor has the keys
    s.stop(SIGTERM);
    EXPECT_EQ(s.finish(), -1);
    EXPECT_TRUE(s.terminalMode() & ICANON);
    EXPECT_TRUE(s.terminalMode() & ECHO);
}

TEST_F(TerminalProgram, FromAPipe) {
    Session s(toolPath("vxterm"), {}, env(), false);
    s.send("/open VXI0::24::INSTR\n*IDN?\n/in16 A16 0\n/quit\n/stb\n");
    EXPECT_EQ(s.finish(), 0);
    // No banner and no prompt; nothing after /quit.
    EXPECT_EQ(s.output(),
              "Opened VXI0::24::INSTR (timeout 2000 ms).\n"
              "ZU Instruments,VX-4101 DMM (simulated),SIM4101,1.0\\n\n"
              "0xBE5A (48730)\n");
    EXPECT_EQ(readFile(dir.file(".vxterm_history")), "");  // no history without a terminal
}

TEST_F(TerminalProgram, CommandLineAndLibraryFailures) {
    const struct {
        std::vector<std::string> args;
        std::vector<std::string> extraEnv;
        int status;
        std::string output;
    } cases[] = {
        {{"--help"}, {}, 0, "Usage: gpterm [RESOURCE]\n"},
        {{"-x"}, {}, 2, "gpterm: unexpected argument \"-x\"\n"},
        {{"GPIB0::22::INSTR", "GPIB0::7::INSTR"},
         {},
         2,
         "gpterm: unexpected argument \"GPIB0::7::INSTR\"\n"},
        {{},
         {"TALMIK_VISA_LIBRARY=/nonexistent/libvisa.so"},
         1,
         "gpterm: The VISA library \"/nonexistent/libvisa.so\" cannot be loaded"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> environment = env();
        environment.insert(environment.end(), c.extraEnv.begin(), c.extraEnv.end());
        Session s(toolPath("gpterm"), c.args, environment, false);
        s.closeInput();
        EXPECT_EQ(s.finish(), c.status);
        EXPECT_EQ(s.output().rfind(c.output, 0), 0u) << s.output();
    }
}

}  // namespace

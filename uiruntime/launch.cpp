// Starting programs: a command line split like a shell's words, started detached, never through
// a shell.
#include "uiruntime/launch.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "uiruntime/core.h"
#include "uiruntime/utility.h"

namespace uir {

int splitCommandLine(const std::string& line, std::vector<std::string>* words) {
    words->clear();
    if (line.size() > kMaxCommandLine) return UIEInvalidCommandLine;
    std::string word;
    bool inWord = false;
    size_t i = 0;
    const size_t n = line.size();
    auto finish = [&]() {
        if (inWord) words->push_back(word);
        word.clear();
        inWord = false;
    };
    while (i < n) {
        char c = line[i];
        if (c == ' ' || c == '\t' || c == '\n') {
            finish();
            ++i;
        } else if (c == '\'') {
            size_t close = line.find('\'', i + 1);
            if (close == std::string::npos) return UIEInvalidCommandLine;
            word.append(line, i + 1, close - i - 1);
            inWord = true;
            i = close + 1;
        } else if (c == '"') {
            inWord = true;
            ++i;
            bool closed = false;
            while (i < n) {
                char d = line[i];
                if (d == '"') {
                    closed = true;
                    ++i;
                    break;
                }
                if (d == '\\' && i + 1 < n) {
                    char e = line[i + 1];
                    if (e == '\n') {
                        i += 2;
                        continue;
                    }
                    if (e == '$' || e == '`' || e == '"' || e == '\\') {
                        word.push_back(e);
                        i += 2;
                        continue;
                    }
                }
                word.push_back(d);
                ++i;
            }
            if (!closed) return UIEInvalidCommandLine;
        } else if (c == '\\') {
            if (i + 1 >= n) return UIEInvalidCommandLine;
            if (line[i + 1] != '\n') {
                word.push_back(line[i + 1]);
                inWord = true;
            }
            i += 2;
        } else {
            word.push_back(c);
            inWord = true;
            ++i;
        }
        if (words->size() > kMaxCommandWords) return UIEInvalidCommandLine;
    }
    finish();
    return 0;
}

namespace {

bool executable(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

// The program's path: as given when it holds a '/', else the first match on PATH.
std::string locate(const std::string& program) {
    if (program.find('/') != std::string::npos) return executable(program) ? program : std::string();
    const char* env = std::getenv("PATH");
    std::string path = env ? env : "/usr/local/bin:/usr/bin:/bin";
    size_t from = 0;
    while (from <= path.size()) {
        size_t to = path.find(':', from);
        if (to == std::string::npos) to = path.size();
        std::string dir = path.substr(from, to - from);
        if (dir.empty()) dir.assign(1, '.');
        std::string candidate = dir + "/" + program;
        if (executable(candidate)) return candidate;
        from = to + 1;
    }
    return std::string();
}

}  // namespace

}  // namespace uir

using namespace uir;

int LaunchExecutable(const char* commandLine) {
    if (!commandLine) return report("LaunchExecutable", UIENullPointer);
    std::vector<std::string> words;
    if (splitCommandLine(commandLine, &words) != 0 || words.empty())
        return report("LaunchExecutable", UIEInvalidCommandLine);
    std::string program = locate(words[0]);
    if (program.empty()) return report("LaunchExecutable", UIECouldNotLaunch);
    // Everything the children need is prepared before fork: after it only async-signal-safe
    // calls are made.
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);
    int pipefd[2];
    if (::pipe2(pipefd, O_CLOEXEC) != 0) return report("LaunchExecutable", UIECouldNotLaunch);
    pid_t child = ::fork();
    if (child < 0) {
        ::close(pipefd[0]);
        ::close(pipefd[1]);
        return report("LaunchExecutable", UIECouldNotLaunch);
    }
    if (child == 0) {
        // The middle process: detaches the program from us and ends at once.
        ::close(pipefd[0]);
        ::setsid();
        pid_t grandchild = ::fork();
        if (grandchild == 0) {
            ::signal(SIGPIPE, SIG_DFL);
            ::execv(program.c_str(), argv.data());
            int err = errno;
            ssize_t ignored = ::write(pipefd[1], &err, sizeof err);
            (void)ignored;
            ::_exit(127);
        }
        if (grandchild < 0) {
            int err = errno;
            ssize_t ignored = ::write(pipefd[1], &err, sizeof err);
            (void)ignored;
        }
        ::_exit(0);
    }
    ::close(pipefd[1]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    // The pipe closes on a successful exec; an error number arrives when it failed.
    int err = 0;
    ssize_t got;
    do {
        got = ::read(pipefd[0], &err, sizeof err);
    } while (got < 0 && errno == EINTR);
    ::close(pipefd[0]);
    if (got > 0) return report("LaunchExecutable", UIECouldNotLaunch);
    return 0;
}

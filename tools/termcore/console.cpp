#include "tools/termcore/console.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace {

ssize_t readSome(int fd, char* buffer, size_t size) {
    ssize_t n;
    do {
        n = ::read(fd, buffer, size);
    } while (n < 0 && errno == EINTR);
    return n;
}

bool writeAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// What the terminal is restored to when the program is interrupted while a command runs.
int g_interruptFd = -1;
termios g_interruptRestore{};

void restoreAndDie(int number) {
    tcsetattr(g_interruptFd, TCSANOW, &g_interruptRestore);
    ::signal(number, SIG_DFL);
    ::raise(number);
}

// The terminal stays without line editing and echo for the whole session, so that keys typed
// while a command runs wait, unchanged, for the editor. While a line is edited Ctrl-C is a key;
// while a command runs it interrupts the program (and the terminal is put back first).
termios sessionMode(const termios& saved, bool editing) {
    termios t = saved;
    t.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON | INLCR | IGNCR | ISTRIP);
    t.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | IEXTEN);
    if (editing) t.c_lflag &= ~static_cast<tcflag_t>(ISIG);
    t.c_cc[VMIN] = 1;
    t.c_cc[VTIME] = 0;
    return t;
}

bool enterRaw(Console* c) {
    termios t = sessionMode(c->saved, true);
    return tcsetattr(c->in, TCSANOW, &t) == 0;
}

void leaveRaw(Console* c) {
    termios t = sessionMode(c->saved, false);
    tcsetattr(c->in, TCSANOW, &t);
}

ReadResult readEdited(Console* c, const std::string& prompt, std::string* line) {
    std::string screen;
    c->editor.start(prompt, &screen);
    if (!enterRaw(c)) return ReadResult::Error;
    ReadResult result = ReadResult::Error;
    for (;;) {
        Console_Write(c, screen);
        screen.clear();
        unsigned char byte;
        ssize_t n = readSome(c->in, reinterpret_cast<char*>(&byte), 1);
        if (n <= 0) {
            result = n == 0 ? ReadResult::EndOfInput : ReadResult::Error;
            break;
        }
        EditResult r = c->editor.feed(byte, &screen);
        if (r == EditResult::Pending) continue;
        if (r == EditResult::Interrupt) {
            Console_Write(c, screen);
            screen.clear();
            c->editor.start(prompt, &screen);
            continue;
        }
        Console_Write(c, screen);
        if (r == EditResult::Line) *line = c->editor.line();
        result = r == EditResult::Line ? ReadResult::Line : ReadResult::EndOfInput;
        break;
    }
    leaveRaw(c);
    return result;
}

ReadResult readPiped(Console* c, std::string* line) {
    bool discarding = false;  // the line is already too long: read on to its end
    for (;;) {
        size_t nl = c->pending.find('\n');
        if (nl != std::string::npos || (c->atEnd && (!c->pending.empty() || discarding))) {
            size_t end = nl == std::string::npos ? c->pending.size() : nl;
            *line = c->pending.substr(0, end);
            c->pending.erase(0, nl == std::string::npos ? end : end + 1);
            if (!line->empty() && line->back() == '\r') line->pop_back();
            if (discarding || line->size() > kMaxEditLine) {
                line->clear();
                return ReadResult::TooLong;
            }
            return ReadResult::Line;
        }
        if (c->atEnd) return ReadResult::EndOfInput;
        if (c->pending.size() > kMaxEditLine + 1) {
            discarding = true;
            c->pending.clear();
        }
        char buffer[4096];
        ssize_t n = readSome(c->in, buffer, sizeof buffer);
        if (n < 0) return ReadResult::Error;
        if (n == 0) c->atEnd = true;
        c->pending.append(buffer, static_cast<size_t>(n));
    }
}

}  // namespace

void Console_Open(Console* console, int in, int out, const std::string& historyPath) {
    console->in = in;
    console->out = out;
    console->terminal = isatty(in) && isatty(out) && tcgetattr(in, &console->saved) == 0;
    console->historyPath = console->terminal ? historyPath : std::string();
    if (!console->historyPath.empty()) History_Load(&console->history, console->historyPath);
    if (console->terminal) {
        g_interruptFd = in;
        g_interruptRestore = console->saved;
        for (int s : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) std::signal(s, restoreAndDie);
        leaveRaw(console);
    }
}

void Console_Close(Console* console) {
    if (!console->historyPath.empty()) History_Save(console->history, console->historyPath);
    if (console->terminal) {
        tcsetattr(console->in, TCSANOW, &console->saved);
        for (int s : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) std::signal(s, SIG_DFL);
    }
}

ReadResult Console_ReadLine(Console* console, const std::string& prompt, std::string* line) {
    line->clear();
    return console->terminal ? readEdited(console, prompt, line) : readPiped(console, line);
}

bool Console_Write(Console* console, const std::string& text) {
    return writeAll(console->out, text);
}

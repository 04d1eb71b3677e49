#include "tools/termcore/lineedit.h"

#include <cstdio>

#include "toolslib/toolbox/files.h"

namespace {

// Keys that arrive as escape sequences, numbered past the byte range.
enum Key { kUp = 256, kDown, kRight, kLeft, kHome, kEnd, kDelete, kUnknown };

constexpr unsigned char ctrl(char c) {
    return static_cast<unsigned char>(c & 0x1F);
}

const char kBell[] = "\a";

int sequenceKey(char final, const std::string& params) {
    switch (final) {
        case 'A':
            return kUp;
        case 'B':
            return kDown;
        case 'C':
            return kRight;
        case 'D':
            return kLeft;
        case 'H':
            return kHome;
        case 'F':
            return kEnd;
        case '~':
            if (params == "1" || params == "7") return kHome;
            if (params == "4" || params == "8") return kEnd;
            if (params == "3") return kDelete;
            return kUnknown;
        default:
            return kUnknown;
    }
}

}  // namespace

void History_Add(LineHistory* history, const std::string& line) {
    if (line.empty() || line.size() > kMaxEditLine) return;
    if (!history->lines.empty() && history->lines.back() == line) return;
    history->lines.push_back(line);
    if (history->lines.size() > kMaxHistory)
        history->lines.erase(history->lines.begin(), history->lines.end() - kMaxHistory);
}

int History_Load(LineHistory* history, const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return FileExists(path.c_str(), nullptr) == 0 ? 0 : -1;
    std::string line;
    bool tooLong = false;
    int c;
    while ((c = std::fgetc(f)) != EOF) {
        if (c != '\n') {
            if (line.size() < kMaxEditLine)
                line.push_back(static_cast<char>(c));
            else
                tooLong = true;
            continue;
        }
        if (!tooLong) History_Add(history, line);
        line.clear();
        tooLong = false;
    }
    if (!tooLong) History_Add(history, line);
    int failed = std::ferror(f);
    std::fclose(f);
    return failed ? -1 : 0;
}

int History_Save(const LineHistory& history, const std::string& path) {
    std::string temporary;
    FILE* f = nullptr;
    int status = CreateAndOpenTemporaryFileNamed(path.c_str(), "hist", "tmp", "wb", &temporary, &f);
    if (status < 0) return status;
    for (const std::string& line : history.lines) {
        // A line holding a line break (none can be typed) would come back as two.
        if (line.find('\n') != std::string::npos) continue;
        std::fputs(line.c_str(), f);
        std::fputc('\n', f);
    }
    bool failed = std::fflush(f) != 0 || std::ferror(f);
    failed = std::fclose(f) != 0 || failed;
    if (failed) {
        std::remove(temporary.c_str());
        return -3;
    }
    return DeleteAndRename(temporary.c_str(), path.c_str());
}

void LineEditor::start(const std::string& prompt, std::string* screen) {
    prompt_ = prompt;
    line_.clear();
    draft_.clear();
    cursor_ = 0;
    recalled_ = history_->lines.size();
    escape_ = 0;
    screen->append(prompt_);
}

void LineEditor::redraw(std::string* screen) const {
    screen->append("\r");
    screen->append(prompt_);
    screen->append(line_);
    screen->append("\x1b[K");
    if (cursor_ < line_.size())
        screen->append("\x1b[" + std::to_string(line_.size() - cursor_) + "D");
}

void LineEditor::recall(size_t index, std::string* screen) {
    if (recalled_ == history_->lines.size()) draft_ = line_;  // keep what was being typed
    recalled_ = index;
    line_ = index == history_->lines.size() ? draft_ : history_->lines[index];
    cursor_ = line_.size();
    redraw(screen);
}

EditResult LineEditor::feed(unsigned char byte, std::string* screen) {
    if (escape_ == 1) {
        if (byte == '[' || byte == 'O') {
            escape_ = 2;
            escapeParams_.clear();
            return EditResult::Pending;
        }
        escape_ = 0;
        screen->append(kBell);
        return EditResult::Pending;
    }
    if (escape_ == 2) {
        if ((byte >= '0' && byte <= '9') || byte == ';') {
            if (escapeParams_.size() < 16) escapeParams_.push_back(static_cast<char>(byte));
            return EditResult::Pending;
        }
        escape_ = 0;
        return key(sequenceKey(static_cast<char>(byte), escapeParams_), screen);
    }
    if (byte == 0x1B) {
        escape_ = 1;
        return EditResult::Pending;
    }
    return key(byte, screen);
}

EditResult LineEditor::key(int code, std::string* screen) {
    switch (code) {
        case '\r':
        case '\n':
            screen->append("\r\n");
            History_Add(history_, line_);
            return EditResult::Line;
        case ctrl('C'):
            screen->append("^C\r\n");
            line_.clear();
            return EditResult::Interrupt;
        case ctrl('D'):
            if (line_.empty()) {
                screen->append("\r\n");
                return EditResult::EndOfInput;
            }
            [[fallthrough]];
        case kDelete:
            if (cursor_ == line_.size()) break;
            line_.erase(cursor_, 1);
            redraw(screen);
            return EditResult::Pending;
        case 0x7F:
        case ctrl('H'):
            if (cursor_ == 0) break;
            line_.erase(--cursor_, 1);
            redraw(screen);
            return EditResult::Pending;
        case kLeft:
        case ctrl('B'):
            if (cursor_ == 0) break;
            --cursor_;
            screen->append("\x1b[D");
            return EditResult::Pending;
        case kRight:
        case ctrl('F'):
            if (cursor_ == line_.size()) break;
            ++cursor_;
            screen->append("\x1b[C");
            return EditResult::Pending;
        case kHome:
        case ctrl('A'):
            cursor_ = 0;
            redraw(screen);
            return EditResult::Pending;
        case kEnd:
        case ctrl('E'):
            cursor_ = line_.size();
            redraw(screen);
            return EditResult::Pending;
        case kUp:
        case ctrl('P'):
            if (recalled_ == 0) break;
            recall(recalled_ - 1, screen);
            return EditResult::Pending;
        case kDown:
        case ctrl('N'):
            if (recalled_ >= history_->lines.size()) break;
            recall(recalled_ + 1, screen);
            return EditResult::Pending;
        case ctrl('U'):
            line_.erase(0, cursor_);
            cursor_ = 0;
            redraw(screen);
            return EditResult::Pending;
        case ctrl('K'):
            line_.erase(cursor_);
            redraw(screen);
            return EditResult::Pending;
        case ctrl('W'): {
            size_t from = cursor_;
            while (from > 0 && line_[from - 1] == ' ') --from;
            while (from > 0 && line_[from - 1] != ' ') --from;
            line_.erase(from, cursor_ - from);
            cursor_ = from;
            redraw(screen);
            return EditResult::Pending;
        }
        case ctrl('L'):
            screen->append("\x1b[H\x1b[2J");
            redraw(screen);
            return EditResult::Pending;
        default:
            if (code >= 0x20 && code < 0x7F && line_.size() < kMaxEditLine) {
                line_.insert(cursor_++, 1, static_cast<char>(code));
                if (cursor_ == line_.size())
                    screen->push_back(static_cast<char>(code));
                else
                    redraw(screen);
                return EditResult::Pending;
            }
            break;
    }
    screen->append(kBell);
    return EditResult::Pending;
}

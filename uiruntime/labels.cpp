#include "uiruntime/labels.h"

namespace uir {

namespace {

constexpr char kEsc = '\033';

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Reads six hexadecimal digits at pos; -1 when they are not there.
int readColor(std::string_view s, size_t pos) {
    if (pos + 6 > s.size()) return -1;
    int v = 0;
    for (size_t k = 0; k < 6; ++k) {
        int d = hexDigit(s[pos + k]);
        if (d < 0) return -1;
        v = v * 16 + d;
    }
    return v;
}

}  // namespace

bool hasEscapes(std::string_view raw) { return raw.find(kEsc) != std::string_view::npos; }

ParsedLabel parseLabel(std::string_view s) {
    ParsedLabel out;
    if (s.substr(0, 3) == "\033m-") {
        out.separator = true;
        return out;
    }
    LabelSegment cur;
    size_t i = 0;
    auto startSegment = [&](LabelSegment next) {
        if (!cur.text.empty() || cur.x >= 0) out.segments.push_back(cur);
        cur = next;
    };
    while (i < s.size()) {
        char c = s[i];
        if (c != kEsc) {
            cur.text.push_back(c);
            ++i;
            continue;
        }
        // An escape: p<digits><l|c|r>, fg<6 hex>, bg<6 hex>.
        if (i + 1 < s.size() && s[i + 1] == 'p') {
            size_t j = i + 2;
            long n = 0;
            size_t digits = 0;
            while (j < s.size() && s[j] >= '0' && s[j] <= '9' && digits < 5) {
                n = n * 10 + (s[j] - '0');
                ++j;
                ++digits;
            }
            if (digits > 0 && j < s.size() && (s[j] == 'l' || s[j] == 'c' || s[j] == 'r')) {
                LabelSegment next;
                next.x = static_cast<int>(n);
                next.align = s[j];
                next.fg = cur.fg;
                next.bg = cur.bg;
                startSegment(next);
                i = j + 1;
                continue;
            }
        } else if (i + 2 < s.size() && (s.substr(i + 1, 2) == "fg" || s.substr(i + 1, 2) == "bg")) {
            int color = readColor(s, i + 3);
            if (color >= 0) {
                LabelSegment next = cur;
                next.text.clear();
                next.x = -1;
                if (s[i + 1] == 'f')
                    next.fg = color;
                else
                    next.bg = color;
                startSegment(next);
                i += 9;
                continue;
            }
        }
        ++i;  // malformed: drop the escape character only
    }
    if (!cur.text.empty() || out.segments.empty()) out.segments.push_back(cur);
    return out;
}

std::string plainLabel(std::string_view raw) {
    if (!hasEscapes(raw)) return std::string(raw);
    ParsedLabel p = parseLabel(raw);
    if (p.separator) return std::string();
    std::string out;
    for (const LabelSegment& seg : p.segments) {
        if (seg.x >= 0 && !out.empty()) out.push_back(' ');
        out += seg.text;
    }
    return out;
}

std::string mnemonicToQt(std::string_view name) {
    std::string out;
    out.reserve(name.size() + 4);
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '&') {
            out += "&&";
        } else if (name[i] == '_' && i + 1 < name.size() && name[i + 1] == '_') {
            out.push_back('&');
            ++i;
        } else {
            out.push_back(name[i]);
        }
    }
    return out;
}

std::string mnemonicFromQt(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 4);
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '&' && i + 1 < text.size() && text[i + 1] == '&') {
            out.push_back('&');
            ++i;
        } else if (text[i] == '&') {
            out += "__";
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

}  // namespace uir

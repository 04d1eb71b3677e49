#include "toolslib/toolbox/escaped.h"

#include "toolslib/toolbox/text.h"

namespace {

const char HexChar[] = "0123456789abcdef";

// Reads up to maxDigits digits of a base from *in; the first character that is not one stays.
unsigned char readNumber(const char** in, int base, int maxDigits, unsigned value) {
    for (int n = 0; n < maxDigits; ++n) {
        int d = GetHexCharValue(static_cast<unsigned char>(**in));
        if (d < 0 || d >= base) break;
        value = value * static_cast<unsigned>(base) + static_cast<unsigned>(d);
        ++*in;
    }
    return static_cast<unsigned char>(value & 0xFF);
}

char controlEscape(char selector) {
    switch (selector) {
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        case 'a':
            return '\a';
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'v':
            return '\v';
        default:
            return 0;
    }
}

const char* shownControl(unsigned char b) {
    switch (b) {
        case '\t':
            return "\\t";
        case '\b':
            return "\\b";
        case '\a':
            return "\\a";
        case '\f':
            return "\\f";
        case '\v':
            return "\\v";
        default:
            return nullptr;
    }
}

struct Piece {
    char text[kEscTextPieceMax + 1];
    size_t length = 0;
    void add(const char* s) {
        while (*s) text[length++] = *s++;
    }
    void add(char c) { text[length++] = c; }
};

}  // namespace

size_t EscText_Decode(char* text) {
    const char* in = text;
    char* out = text;
    while (*in) {
        char c = *in++;
        if (c != '\\') {
            *out++ = c;
            continue;
        }
        char selector = *in;
        if (selector == '\0') break;  // a lone backslash at the end stands for nothing
        ++in;
        if (char control = controlEscape(selector)) {
            *out++ = control;
        } else if (selector >= '0' && selector <= '9') {
            // Decimal, not octal: "\012" is twelve.
            *out++ =
                static_cast<char>(readNumber(&in, 10, 2, static_cast<unsigned>(selector - '0')));
        } else if (selector == 'o') {
            *out++ = static_cast<char>(readNumber(&in, 8, 3, 0));
        } else if (selector == 'x') {
            *out++ = static_cast<char>(readNumber(&in, 16, 2, 0));
        } else {
            *out++ = selector;
        }
    }
    *out = '\0';
    return static_cast<size_t>(out - text);
}

void EscText_Encode(const unsigned char* bytes, size_t count, EscTextSink sink, void* context) {
    Piece p;
    for (size_t i = 0; i < count; ++i) {
        unsigned char b = bytes[i];
        if (b == '\\') {
            p.add("\\\\");
        } else if (b >= 0x20 && b <= 0x7E) {
            p.add(static_cast<char>(b));
        } else if (b == '\n' || b == '\r') {
            p.add(b == '\n' ? "\\n" : "\\r");
            unsigned char partner = b == '\n' ? '\r' : '\n';
            if (i + 1 < count && bytes[i + 1] == partner) {
                p.add(partner == '\n' ? "\\n" : "\\r");
                ++i;
            }
            p.add('\n');
        } else if (const char* shown = shownControl(b)) {
            p.add(shown);
        } else {
            p.add("\\x");
            p.add(HexChar[b >> 4]);
            p.add(HexChar[b & 0xF]);
        }
        if (p.length > kEscTextPieceFlush) {
            sink(context, p.text, p.length);
            p.length = 0;
        }
    }
    if (p.length) sink(context, p.text, p.length);
}

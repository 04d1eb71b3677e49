#include "session/escaped.h"

#include <cstring>

#include "uiruntime/uiruntime.h"

namespace {

const char HexChar[] = "0123456789abcdef";

int digitValue(char c, unsigned base) {
    unsigned v;
    if (c >= '0' && c <= '9')
        v = static_cast<unsigned>(c - '0');
    else if (c >= 'a' && c <= 'f')
        v = static_cast<unsigned>(c - 'a') + 10;
    else if (c >= 'A' && c <= 'F')
        v = static_cast<unsigned>(c - 'A') + 10;
    else
        return -1;
    return v < base ? static_cast<int>(v) : -1;
}

// Reads up to maxDigits digits of a base from *in; the first character that is not one stays.
unsigned char readNumber(const char** in, unsigned base, int maxDigits, unsigned value = 0) {
    for (int n = 0; n < maxDigits; ++n) {
        int d = digitValue(**in, base);
        if (d < 0) break;
        value = value * base + static_cast<unsigned>(d);
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

struct Piece {
    char text[kEscapedPieceMax + 1];
    size_t length = 0;
    void add(const char* s) {
        while (*s) text[length++] = *s++;
    }
    void add(char c) { text[length++] = c; }
};

void appendPieceToBox(void* context, const char* piece, size_t length) {
    const int* where = static_cast<const int*>(context);
    char text[kEscapedPieceMax + 1];
    std::memcpy(text, piece, length);
    text[length] = '\0';
    SetCtrlVal(where[0], where[1], text);
}

}  // namespace

ViUInt32 beautifyWrite(char* text) {
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
            *out++ = static_cast<char>(readNumber(&in, 8, 3));
        } else if (selector == 'x') {
            *out++ = static_cast<char>(readNumber(&in, 16, 2));
        } else {
            *out++ = selector;  // "\\", "\"" and any other character stand for themselves
        }
    }
    *out = '\0';
    return static_cast<ViUInt32>(out - text);
}

void escapeBytes(const ViByte* bytes, ViUInt32 count, EscapedPieceSink sink, void* context) {
    Piece p;
    for (ViUInt32 i = 0; i < count; ++i) {
        ViByte b = bytes[i];
        if (b == '\\') {
            p.add("\\\\");
        } else if (b >= 0x20 && b <= 0x7E) {
            p.add(static_cast<char>(b));
        } else if (b == '\n' || b == '\r') {
            // A CR LF or LF CR pair stays visible and breaks the line once.
            p.add(b == '\n' ? "\\n" : "\\r");
            ViByte partner = b == '\n' ? '\r' : '\n';
            if (i + 1 < count && bytes[i + 1] == partner) {
                p.add(partner == '\n' ? "\\n" : "\\r");
                ++i;
            }
            p.add('\n');
        } else if (b == '\t') {
            p.add("\\t");
        } else if (b == '\b') {
            p.add("\\b");
        } else if (b == '\a') {
            p.add("\\a");
        } else if (b == '\f') {
            p.add("\\f");
        } else if (b == '\v') {
            p.add("\\v");
        } else {
            p.add("\\x");
            p.add(HexChar[b >> 4]);
            p.add(HexChar[b & 0xF]);
        }
        if (p.length > kEscapedPieceFlush) {
            sink(context, p.text, p.length);
            p.length = 0;
        }
    }
    if (p.length) sink(context, p.text, p.length);
}

void beautifyRead(const ViByte* bytes, ViUInt32 count, int panel, int textBox) {
    ResetTextBox(panel, textBox, "");
    int where[2] = {panel, textBox};
    escapeBytes(bytes, count, appendPieceToBox, where);
    SetCtrlAttribute(panel, textBox, ATTR_FIRST_VISIBLE_LINE, 0);
}

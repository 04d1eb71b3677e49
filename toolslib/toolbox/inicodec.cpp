#include "toolslib/toolbox/inicodec.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "toolslib/toolbox/text.h"

char* EscapeText(const char* text) {
    if (!text) text = "";
    size_t n = std::strlen(text);
    char* out = static_cast<char*>(std::malloc(4 * n + 1));
    if (!out) return nullptr;
    char* o = out;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p; ++p) {
        switch (*p) {
            case '\t':
                *o++ = '\\';
                *o++ = 't';
                break;
            case '\n':
                *o++ = '\\';
                *o++ = 'n';
                break;
            case '\r':
                *o++ = '\\';
                *o++ = 'r';
                break;
            case '"':
                *o++ = '\\';
                *o++ = '"';
                break;
            case '\\':
                *o++ = '\\';
                *o++ = '\\';
                break;
            default:
                if (*p < 128 && std::iscntrl(*p)) {
                    std::snprintf(o, 5, "\\x%02x", *p);
                    o += 4;
                } else {
                    *o++ = static_cast<char>(*p);
                }
        }
    }
    *o = '\0';
    return out;
}

void UnescapeText(const char* text, char* out) {
    const char* p = text;
    while (*p) {
        if (*p != '\\') {
            *out++ = *p++;
            continue;
        }
        ++p;
        switch (*p) {
            case '\0':
                break;  // a trailing backslash is dropped
            case 'n':
                *out++ = '\n';
                ++p;
                break;
            case 'r':
                *out++ = '\r';
                ++p;
                break;
            case 't':
                *out++ = '\t';
                ++p;
                break;
            case 'x':
                // Digits are not validated; an incomplete sequence at the end is dropped.
                if (p[1] && p[2]) {
                    *out++ = static_cast<char>(GetHexCharValue(p[1]) * 16 + GetHexCharValue(p[2]));
                    p += 3;
                } else {
                    p += std::strlen(p);
                }
                break;
            default:
                *out++ = *p++;
        }
    }
    *out = '\0';
}

size_t SixBitTextLength(size_t numBytes) {
    size_t rest = numBytes % 3;
    return numBytes / 3 * 4 + (rest ? rest + 1 : 0);
}

size_t SixBitDataLength(size_t numChars) {
    size_t rest = numChars % 4;
    return numChars / 4 * 3 + (rest >= 2 ? rest - 1 : 0);
}

namespace {
char sixBitChar(unsigned value) {
    return static_cast<char>('0' + (value & 0x3F));
}
unsigned sixBitValue(char c) {
    return static_cast<unsigned>(static_cast<unsigned char>(c) - '0') & 0x3F;
}
}  // namespace

char* ConvertDataToText(const unsigned char* data, size_t numBytes) {
    size_t length = SixBitTextLength(numBytes);
    char* text = static_cast<char*>(std::malloc(length + 1));
    if (!text) return nullptr;
    char* o = text;
    size_t i = 0;
    for (; i + 3 <= numBytes; i += 3) {
        unsigned b0 = data[i], b1 = data[i + 1], b2 = data[i + 2];
        *o++ = sixBitChar(((b0 & 0xC0) >> 2) | ((b1 & 0xC0) >> 4) | (b2 >> 6));
        *o++ = sixBitChar(b0);
        *o++ = sixBitChar(b1);
        *o++ = sixBitChar(b2);
    }
    if (numBytes - i == 1) {
        *o++ = sixBitChar((data[i] & 0xC0) >> 2);
        *o++ = sixBitChar(data[i]);
    } else if (numBytes - i == 2) {
        *o++ = sixBitChar(((data[i] & 0xC0) >> 2) | ((data[i + 1] & 0xC0) >> 4));
        *o++ = sixBitChar(data[i]);
        *o++ = sixBitChar(data[i + 1]);
    }
    *o = '\0';
    return text;
}

size_t ConvertTextToData(const char* text, unsigned char* out) {
    size_t n = std::strlen(text);
    size_t written = 0;
    for (size_t i = 0; i + 2 <= n; i += 4) {
        size_t group = n - i < 4 ? n - i : 4;  // 2, 3 or 4 characters
        unsigned top = sixBitValue(text[i]);
        for (size_t k = 1; k < group; ++k) {
            unsigned high = (top << (2 * k)) & 0xC0;
            out[written++] = static_cast<unsigned char>(high | sixBitValue(text[i + k]));
        }
    }
    return written;
}

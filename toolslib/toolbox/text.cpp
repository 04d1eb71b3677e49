#include "toolslib/toolbox/text.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "toolslib/toolbox/diagnostics.h"

namespace {

bool isSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}
int upper(char c) {
    return std::toupper(static_cast<unsigned char>(c));
}

// Bounds of s without leading and trailing white space: [*begin, *end).
void trimmedBounds(const char* s, const char** begin, const char** end) {
    const char* b = s;
    while (*b && isSpace(*b)) ++b;
    const char* e = b + std::strlen(b);
    while (e > b && isSpace(e[-1])) --e;
    *begin = b;
    *end = e;
}

char* dupRange(const char* begin, const char* end) {
    size_t n = static_cast<size_t>(end - begin);
    char* copy = static_cast<char*>(std::malloc(n + 1));
    if (!copy) return nullptr;
    std::memcpy(copy, begin, n);
    copy[n] = '\0';
    return copy;
}

// Compares two ranges through the upper-case table; -1, 0 or 1.
int compareRangesIgnoringCase(const char* a, const char* aEnd, const char* b, const char* bEnd) {
    for (; a < aEnd && b < bEnd; ++a, ++b) {
        int ca = upper(*a), cb = upper(*b);
        if (ca != cb) return ca < cb ? -1 : 1;
    }
    if (a < aEnd) return 1;
    if (b < bEnd) return -1;
    return 0;
}

}  // namespace

char* StrDup(const char* s) {
    if (!s) return nullptr;
    return dupRange(s, s + std::strlen(s));
}

char* StrDupWithoutSurrWhiteSpace(const char* s) {
    if (!s) return nullptr;
    const char *b, *e;
    trimmedBounds(s, &b, &e);
    return dupRange(b, e);
}

char* StrDupWithoutQuotes(const char* s, int* hadQuotes) {
    if (hadQuotes) *hadQuotes = 0;
    if (!s) return nullptr;
    size_t n = std::strlen(s);
    if (n >= 2 && s[0] == '"' && s[n - 1] == '"') {
        if (hadQuotes) *hadQuotes = 1;
        return dupRange(s + 1, s + n - 1);
    }
    return dupRange(s, s + n);
}

void StringCopyMax(char* dst, const char* src, int max) {
    DoAssert(dst != nullptr, kToolboxModule, __LINE__,
             "Null string passed to first parameter of StringCopyMax");
    if (!src || max < 1) return;
    size_t limit = static_cast<size_t>(max) - 1;
    size_t n = strnlen(src, limit);
    std::memmove(dst, src, n);
    dst[n] = '\0';
}

char* SkipWhiteSpace(const char* s) {
    if (!s) return nullptr;
    while (*s && isSpace(*s)) ++s;
    return const_cast<char*>(s);
}

char* SkipNonWhiteSpace(const char* s) {
    if (!s) return nullptr;
    while (*s && !isSpace(*s)) ++s;
    return const_cast<char*>(s);
}

int HasNonWhiteSpace(const char* s) {
    if (!s) return 0;
    for (; *s; ++s)
        if (!isSpace(*s)) return 1;
    return 0;
}

void RemoveSurroundingWhiteSpace(char* s) {
    if (!s) return;
    const char *b, *e;
    trimmedBounds(s, &b, &e);
    size_t n = static_cast<size_t>(e - b);
    std::memmove(s, b, n);
    s[n] = '\0';
}

int StrICmp(const char* a, const char* b) {
    if (!a || !b) return a ? 1 : (b ? -1 : 0);
    return compareRangesIgnoringCase(a, a + std::strlen(a), b, b + std::strlen(b));
}

int StrICmpWithoutSurrWhiteSpace(const char* a, const char* b) {
    if (!a || !b) return a ? 1 : (b ? -1 : 0);
    const char *ab, *ae, *bb, *be;
    trimmedBounds(a, &ab, &ae);
    trimmedBounds(b, &bb, &be);
    return compareRangesIgnoringCase(ab, ae, bb, be);
}

int ConvertNumStrToUint(const char* s, unsigned int* magnitude, int* negative) {
    if (!s) return 0;
    const char* p = SkipWhiteSpace(s);
    int minus = 0;
    if (*p == '+' || *p == '-') {
        minus = *p == '-';
        ++p;
    }
    if (!std::isdigit(static_cast<unsigned char>(*p))) return 0;
    unsigned int value = 0;
    for (; std::isdigit(static_cast<unsigned char>(*p)); ++p) {
        unsigned int digit = static_cast<unsigned int>(*p - '0');
        if (value > 429496729u || (value == 429496729u && digit > 5)) return 0;
        value = value * 10 + digit;
    }
    if (HasNonWhiteSpace(p)) return 0;
    *magnitude = value;
    *negative = minus;
    return 1;
}

int StrToInt(const char* s, int* value) {
    unsigned int magnitude;
    int negative;
    if (!ConvertNumStrToUint(s, &magnitude, &negative)) return 0;
    if (negative) {
        if (magnitude > 2147483648u) return 0;
        *value = static_cast<int>(0u - magnitude);
    } else {
        if (magnitude > 2147483647u) return 0;
        *value = static_cast<int>(magnitude);
    }
    return 1;
}

int StrToUInt(const char* s, unsigned int* value) {
    unsigned int magnitude;
    int negative;
    if (!ConvertNumStrToUint(s, &magnitude, &negative) || negative) return 0;
    *value = magnitude;
    return 1;
}

int GetHexCharValue(int c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

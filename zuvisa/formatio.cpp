#include "zuvisa/formatio.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace zuvisa::fmtio {

namespace {

bool isSpace(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }
bool isDigit(int c) { return c >= '0' && c <= '9'; }

int hexValue(int c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isInteger(char c) { return strchr("diouxX", c) != nullptr; }
bool isReal(char c) { return strchr("eEfgG", c) != nullptr; }
bool isBinary(char c) { return c == 'b' || c == 'B' || c == 'y'; }

// Reads a decimal number of the format string; false when it is too large.
bool number(std::string_view f, size_t& i, long* out) {
    long v = 0;
    while (i < f.size() && isDigit(f[i])) {
        v = v * 10 + (f[i++] - '0');
        if (v > kMaxCount) return false;
    }
    *out = v;
    return true;
}

// Backslash escapes, which the format grammar resolves itself so that formats typed as text
// (not compiled by C) mean the same: \n \r \t \\ \" \' \ooo \xhh.
size_t escape(std::string_view f, size_t i, std::string* text) {
    char c = f[i + 1];
    switch (c) {
    case 'n': *text += '\n'; return i + 2;
    case 'r': *text += '\r'; return i + 2;
    case 't': *text += '\t'; return i + 2;
    case '\\':
    case '"':
    case '\'': *text += c; return i + 2;
    case 'x': {
        size_t j = i + 2;
        int v = 0, digits = 0;
        while (j < f.size() && digits < 2 && hexValue(f[j]) >= 0) {
            v = v * 16 + hexValue(f[j++]);
            ++digits;
        }
        if (!digits) break;
        *text += static_cast<char>(v);
        return j;
    }
    default:
        if (c >= '0' && c <= '7') {
            size_t j = i + 1;
            int v = 0, digits = 0;
            while (j < f.size() && digits < 3 && f[j] >= '0' && f[j] <= '7') {
                v = v * 8 + (f[j++] - '0');
                ++digits;
            }
            *text += static_cast<char>(v & 0xFF);
            return j;
        }
        break;
    }
    *text += '\\';  // not an escape: the backslash stands for itself
    return i + 1;
}

ViStatus parseSpec(std::string_view f, size_t& i, bool forInput, Spec* s) {
    // Flags, in any order.
    for (;;) {
        if (i >= f.size()) return VI_ERROR_INV_FMT;
        char c = f[i];
        if (forInput && c == '*' && !s->suppress) {
            s->suppress = true;
            ++i;
        } else if (!forInput && strchr("-+ 0", c)) {
            s->flags += c;
            ++i;
        } else if (!forInput && c == '#') {
            s->flags += c;
            ++i;
        } else if (c == '@') {
            if (i + 1 >= f.size() || !strchr("123HQB", f[i + 1])) return VI_ERROR_INV_FMT;
            s->nr = f[i + 1];
            i += 2;
        } else if (c == '!') {
            if (i + 2 >= f.size() || f[i + 1] != 'o' || (f[i + 2] != 'l' && f[i + 2] != 'b')) return VI_ERROR_INV_FMT;
            s->littleEndian = f[i + 2] == 'l';
            i += 3;
        } else {
            break;
        }
    }
    // Field width (or count of binary elements).
    char argMark = forInput ? '#' : '*';
    if (f[i] == argMark) {
        s->widthArg = true;
        ++i;
    } else if (isDigit(f[i]) && (!number(f, i, &s->width) || s->width > kMaxWidth)) {
        return VI_ERROR_INV_FMT;
    }
    // Array size.
    if (i < f.size() && f[i] == ',') {
        ++i;
        s->array = true;
        if (i < f.size() && f[i] == argMark) {
            s->countArg = true;
            ++i;
        } else if (i < f.size() && isDigit(f[i])) {
            if (!number(f, i, &s->count)) return VI_ERROR_INV_FMT;
        } else {
            return VI_ERROR_INV_FMT;
        }
    }
    // Precision.
    if (i < f.size() && f[i] == '.') {
        ++i;
        if (!forInput && i < f.size() && f[i] == '*') {
            s->precisionArg = true;
            ++i;
        } else {
            s->precision = 0;
            if (i < f.size() && isDigit(f[i]) && (!number(f, i, &s->precision) || s->precision > kMaxWidth)) {
                return VI_ERROR_INV_FMT;
            }
        }
    }
    // Size.
    if (i < f.size()) {
        switch (f[i]) {
        case 'h': s->size = Size::Short; ++i; break;
        case 'l':
            ++i;
            if (i < f.size() && f[i] == 'l') {
                s->size = Size::LongLong;
                ++i;
            } else {
                s->size = Size::Long;
            }
            break;
        case 'L': s->size = Size::LongDouble; ++i; break;
        case 'z': s->size = Size::Float32; ++i; break;
        case 'Z': s->size = Size::Float64; ++i; break;
        default: break;
        }
    }
    if (i >= f.size()) return VI_ERROR_INV_FMT;
    s->conv = f[i++];
    char c = s->conv;
    if (c == '[') {
        if (!forInput) return VI_ERROR_NSUP_FMT;
        if (i < f.size() && f[i] == '^') {
            s->negated = true;
            ++i;
        }
        if (i < f.size() && f[i] == ']') s->set += f[i++];
        while (i < f.size() && f[i] != ']') s->set += f[i++];
        if (i >= f.size()) return VI_ERROR_INV_FMT;
        ++i;
    }
    bool known = isInteger(c) || isReal(c) || isBinary(c) || strchr("cs[tT", c);
    if (!known) return VI_ERROR_INV_FMT;
    if (!forInput && (c == 't' || c == 'T')) return VI_ERROR_NSUP_FMT;
    if (forInput && c == 'B') return VI_ERROR_NSUP_FMT;  // "%b" reads both kinds of block
    // Which sizes go with which conversions.
    switch (s->size) {
    case Size::None: break;
    case Size::Short:
    case Size::LongLong:
        if (!isInteger(c) && !isBinary(c)) return VI_ERROR_INV_FMT;
        break;
    case Size::Long:
        if (!isInteger(c) && !isReal(c) && !isBinary(c)) return VI_ERROR_INV_FMT;
        break;
    case Size::LongDouble:
        if (!isReal(c)) return VI_ERROR_INV_FMT;
        break;
    case Size::Float32:
    case Size::Float64:
        if (!isBinary(c) && !isReal(c)) return VI_ERROR_INV_FMT;
        break;
    }
    if (s->array && !isInteger(c) && !isReal(c)) return VI_ERROR_INV_FMT;
    if (s->nr && !isInteger(c) && !isReal(c)) return VI_ERROR_INV_FMT;
    if (s->littleEndian && !isBinary(c)) return VI_ERROR_INV_FMT;
    // A block or raw data needs to know how many elements there are (viScanf: how many fit).
    if (isBinary(c) && c != 'B' && s->width < 0 && !s->widthArg) return VI_ERROR_INV_FMT;
    if (c == 'B' && s->width < 0 && !s->widthArg) return VI_ERROR_INV_FMT;
    return VI_SUCCESS;
}

// ---- output ----------------------------------------------------------------------------------

size_t intBytes(Size s) {
    switch (s) {
    case Size::Short: return 2;
    case Size::LongLong: return 8;
    default: return 4;
    }
}

size_t realBytes(Size s) {
    switch (s) {
    case Size::Long:
    case Size::Float64: return sizeof(double);
    case Size::LongDouble: return sizeof(long double);
    default: return sizeof(float);
    }
}

size_t binaryBytes(Size s) {
    switch (s) {
    case Size::Short: return 2;
    case Size::Long:
    case Size::Float32: return 4;
    case Size::LongLong:
    case Size::Float64: return 8;
    default: return 1;
    }
}

int64_t signedOf(Size s, int64_t v) {
    switch (s) {
    case Size::Short: return static_cast<int16_t>(v);
    case Size::LongLong: return v;
    default: return static_cast<int32_t>(v);
    }
}

uint64_t unsignedOf(Size s, int64_t v) {
    switch (s) {
    case Size::Short: return static_cast<uint16_t>(v);
    case Size::LongLong: return static_cast<uint64_t>(v);
    default: return static_cast<uint32_t>(v);
    }
}

int64_t loadInt(const unsigned char* p, Size s) {
    switch (s) {
    case Size::Short: {
        int16_t v;
        std::memcpy(&v, p, 2);
        return v;
    }
    case Size::LongLong: {
        int64_t v;
        std::memcpy(&v, p, 8);
        return v;
    }
    default: {
        int32_t v;
        std::memcpy(&v, p, 4);
        return v;
    }
    }
}

long double loadReal(const unsigned char* p, Size s) {
    switch (s) {
    case Size::Long:
    case Size::Float64: {
        double v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    case Size::LongDouble: {
        long double v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    default: {
        float v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    }
}

std::string cSpec(const Spec& s, long width, long precision, const char* length, char conv) {
    std::string f = "%" + s.flags;
    if (width >= 0) f += std::to_string(width);
    if (precision >= 0) f += "." + std::to_string(precision);
    f += length;
    f += conv;
    return f;
}

template <typename T>
std::string cFormat(const std::string& spec, T value) {
    char small[128];
    int n = snprintf(small, sizeof small, spec.c_str(), value);
    if (n < 0) return std::string();
    if (static_cast<size_t>(n) < sizeof small) return std::string(small, static_cast<size_t>(n));
    std::string big(static_cast<size_t>(n) + 1, '\0');
    snprintf(big.data(), big.size(), spec.c_str(), value);
    big.resize(static_cast<size_t>(n));
    return big;
}

std::string digitsIn(uint64_t v, int base) {
    if (v == 0) return "0";
    std::string s;
    while (v) {
        s.insert(s.begin(), "0123456789ABCDEF"[v % base]);
        v /= base;
    }
    return s;
}

// Pads a formatted number to the field width.
std::string pad(std::string s, const Spec& spec, long width) {
    if (width <= 0 || static_cast<long>(s.size()) >= width) return s;
    std::string fill(static_cast<size_t>(width) - s.size(), ' ');
    return spec.flags.find('-') != std::string::npos ? s + fill : fill + s;
}

std::string formatInteger(const Spec& s, int64_t raw, long width, long precision) {
    char c = s.conv;
    switch (s.nr) {
    case 'H': return pad("#H" + digitsIn(unsignedOf(s.size, raw), 16), s, width);
    case 'Q': return pad("#Q" + digitsIn(unsignedOf(s.size, raw), 8), s, width);
    case 'B': return pad("#B" + digitsIn(unsignedOf(s.size, raw), 2), s, width);
    case '2': return cFormat(cSpec(s, width, precision < 0 ? 1 : precision, "", 'f'), static_cast<double>(signedOf(s.size, raw)));
    case '3': return cFormat(cSpec(s, width, precision, "", 'E'), static_cast<double>(signedOf(s.size, raw)));
    default: break;
    }
    if (c == 'd' || c == 'i') return cFormat(cSpec(s, width, precision, "ll", 'd'), static_cast<long long>(signedOf(s.size, raw)));
    return cFormat(cSpec(s, width, precision, "ll", c), static_cast<unsigned long long>(unsignedOf(s.size, raw)));
}

std::string formatReal(const Spec& s, long double v, long width, long precision) {
    char c = s.conv;
    switch (s.nr) {
    case '1': c = 'f'; precision = 0; break;
    case '2': c = 'f'; break;
    case '3': c = 'E'; break;
    case 'H':
    case 'Q':
    case 'B': {
        int base = s.nr == 'H' ? 16 : s.nr == 'Q' ? 8 : 2;
        long double r = std::isfinite(v) ? std::nearbyint(v) : 0;
        uint64_t u = r < 0 ? static_cast<uint64_t>(static_cast<int64_t>(std::fmax(r, -9.2e18L))) : static_cast<uint64_t>(std::fmin(r, 1.8e19L));
        return pad(std::string("#") + s.nr + digitsIn(u, base), s, width);
    }
    default: break;
    }
    return cFormat(cSpec(s, width, precision, "L", c), v);
}

// Elements as bytes on the wire, each in the byte order asked for.
std::string binaryData(const unsigned char* p, size_t count, size_t elem, bool little) {
    std::string out;
    out.reserve(count * elem);
    for (size_t i = 0; i < count; ++i) {
        const unsigned char* e = p + i * elem;
        for (size_t b = 0; b < elem; ++b) out += static_cast<char>(little ? e[b] : e[elem - 1 - b]);
    }
    return out;
}

ViStatus intArg(ArgSource& args, long* out) {
    int64_t v = args.integer(Size::None);
    if (v < -kMaxWidth || v > kMaxCount) return VI_ERROR_INV_FMT;
    *out = static_cast<long>(v);
    return VI_SUCCESS;
}

ViStatus formatOne(const Spec& s, ArgSource& args, Output* out) {
    long width = s.width, precision = s.precision, count = s.count;
    Spec spec = s;
    if (s.widthArg) {
        ViStatus st = intArg(args, &width);
        if (st < 0) return st;
        if (width < 0) {
            // A negative width from an argument means left alignment, as in C.
            if (isBinary(s.conv)) return VI_ERROR_INV_FMT;
            spec.flags += '-';
            width = -width;
        }
        if (!isBinary(s.conv) && width > kMaxWidth) return VI_ERROR_INV_FMT;
    }
    if (s.countArg) {
        ViStatus st = intArg(args, &count);
        if (st < 0) return st;
        if (count < 0) return VI_ERROR_INV_FMT;
    }
    if (s.precisionArg) {
        ViStatus st = intArg(args, &precision);
        if (st < 0) return st;
        if (precision < 0) precision = -1;
        if (precision > kMaxWidth) return VI_ERROR_INV_FMT;
    }
    std::string& o = out->bytes;
    char c = s.conv;
    if (c == 'c') {
        o += pad(std::string(1, static_cast<char>(args.integer(Size::None))), spec, width);
        return VI_SUCCESS;
    }
    if (c == 's') {
        const char* t = args.text();
        if (!t) return VI_ERROR_USER_BUF;
        size_t n = precision >= 0 ? strnlen(t, static_cast<size_t>(precision)) : strlen(t);
        o += pad(std::string(t, n), spec, width);
        return VI_SUCCESS;
    }
    if (isBinary(c)) {
        if (width < 0 || width > kMaxCount) return VI_ERROR_INV_FMT;
        size_t elem = binaryBytes(s.size), n = static_cast<size_t>(width);
        const void* p = n ? args.input(n * elem) : args.input(0);
        if (!p && n) return VI_ERROR_USER_BUF;
        std::string data = n ? binaryData(static_cast<const unsigned char*>(p), n, elem, s.littleEndian) : std::string();
        if (c == 'b') {
            std::string len = std::to_string(data.size());
            o += "#" + std::to_string(len.size()) + len;
            o += data;
        } else if (c == 'B') {
            o += "#0";
            o += data;
            o += '\n';
            out->ends.push_back(o.size());
        } else {
            o += data;
        }
        return VI_SUCCESS;
    }
    bool real = isReal(c);
    if (!s.array) {
        if (real) {
            long double v = s.size == Size::LongDouble ? args.longReal() : args.real();
            o += formatReal(spec, v, width, precision);
        } else {
            o += formatInteger(spec, args.integer(s.size), width, precision);
        }
        return VI_SUCCESS;
    }
    if (count < 0 || count > kMaxCount) return VI_ERROR_INV_FMT;
    size_t elem = real ? realBytes(s.size) : intBytes(s.size);
    const void* p = args.input(static_cast<size_t>(count) * elem);
    if (!p && count) return VI_ERROR_USER_BUF;
    const unsigned char* b = static_cast<const unsigned char*>(p);
    for (long k = 0; k < count; ++k) {
        if (k) o += ',';
        const unsigned char* e = b + static_cast<size_t>(k) * elem;
        o += real ? formatReal(spec, loadReal(e, s.size), width, precision)
                  : formatInteger(spec, loadInt(e, s.size), width, precision);
    }
    return VI_SUCCESS;
}

// ---- input -----------------------------------------------------------------------------------

void skipSpace(ByteSource& in) {
    while (isSpace(in.peek())) in.next();
}

// Reads the characters of an integer within width (optionally in the #H, #Q or #B form of
// IEEE 488.2); false when there are none.
bool readInteger(ByteSource& in, char conv, long width, uint64_t* magnitude, bool* negative) {
    long left = width > 0 ? width : kMaxWidth;
    auto take = [&]() {
        in.next();
        --left;
    };
    *negative = false;
    if (left > 0 && (in.peek() == '+' || in.peek() == '-')) {
        *negative = in.peek() == '-';
        take();
    }
    int base = conv == 'o' ? 8 : (conv == 'x' || conv == 'X') ? 16 : 10;
    bool any = false;
    if (left > 0 && in.peek() == '#') {
        take();
        int k = left > 0 ? in.peek() : -1;
        if (k == 'H' || k == 'h') base = 16;
        else if (k == 'Q' || k == 'q') base = 8;
        else if (k == 'B' || k == 'b') base = 2;
        else return false;
        take();
    } else if (conv == 'i' && left > 0 && in.peek() == '0') {
        take();
        any = true;  // a lone 0 is a number
        base = 8;
        if (left > 0 && (in.peek() == 'x' || in.peek() == 'X')) {
            take();
            base = 16;
            any = false;
        }
    }
    uint64_t v = 0;
    while (left > 0) {
        int d = hexValue(in.peek());
        if (d < 0 || d >= base) break;
        v = v * static_cast<uint64_t>(base) + static_cast<uint64_t>(d);
        any = true;
        take();
    }
    *magnitude = v;
    return any;
}

// Reads a number in NRf form (an integer also, or #H, #Q, #B) within width; false when none.
bool readReal(ByteSource& in, long width, long double* out) {
    long left = width > 0 ? width : kMaxWidth;
    std::string text;
    auto take = [&]() {
        text += static_cast<char>(in.peek());
        in.next();
        --left;
    };
    if (left > 0 && (in.peek() == '+' || in.peek() == '-')) take();
    if (left > 0 && in.peek() == '#') {
        uint64_t m = 0;
        bool negative = false;
        if (!readInteger(in, 'd', left, &m, &negative)) return false;
        *out = static_cast<long double>(m) * (text == "-" ? -1 : 1);
        return true;
    }
    bool digits = false;
    while (left > 0 && isDigit(in.peek())) {
        take();
        digits = true;
    }
    if (left > 0 && in.peek() == '.') {
        take();
        while (left > 0 && isDigit(in.peek())) {
            take();
            digits = true;
        }
    }
    if (!digits) return false;
    if (left > 0 && (in.peek() == 'e' || in.peek() == 'E')) {
        take();
        if (left > 0 && (in.peek() == '+' || in.peek() == '-')) take();
        while (left > 0 && isDigit(in.peek())) take();
    }
    *out = strtold(text.c_str(), nullptr);
    return true;
}

void storeInt(void* p, Size s, uint64_t v) {
    switch (s) {
    case Size::Short: {
        uint16_t x = static_cast<uint16_t>(v);
        std::memcpy(p, &x, 2);
        break;
    }
    case Size::LongLong: std::memcpy(p, &v, 8); break;
    default: {
        uint32_t x = static_cast<uint32_t>(v);
        std::memcpy(p, &x, 4);
        break;
    }
    }
}

void storeReal(void* p, Size s, long double v) {
    switch (s) {
    case Size::Long:
    case Size::Float64: {
        double x = static_cast<double>(v);
        std::memcpy(p, &x, sizeof x);
        break;
    }
    case Size::LongDouble: std::memcpy(p, &v, sizeof v); break;
    default: {
        float x = static_cast<float>(v);
        std::memcpy(p, &x, sizeof x);
        break;
    }
    }
}

// A count passed by pointer: what the caller has room for going in, what was read coming out.
struct CountArg {
    ViInt32* where = nullptr;
    long room = 0;
};

ViStatus countArg(ArgSource& args, CountArg* c) {
    void* p = args.output(sizeof(ViInt32));
    if (!p) return VI_ERROR_USER_BUF;
    c->where = static_cast<ViInt32*>(p);
    ViInt32 v;
    std::memcpy(&v, p, sizeof v);
    if (v < 0 || v > kMaxCount) return VI_ERROR_INV_FMT;
    c->room = v;
    return VI_SUCCESS;
}

void putCount(const CountArg& c, long n) {
    ViInt32 v = static_cast<ViInt32>(n);
    std::memcpy(c.where, &v, sizeof v);
}

ViStatus storeText(ArgSource& args, const Spec& s, const std::string& text, const CountArg& count, bool terminate) {
    void* p = args.output(text.size() + (terminate ? 1 : 0));
    if (!p) return VI_ERROR_USER_BUF;
    std::memcpy(p, text.data(), text.size());
    if (terminate) static_cast<char*>(p)[text.size()] = '\0';
    if (s.widthArg) putCount(count, static_cast<long>(text.size()));
    return VI_SUCCESS;
}

bool inSet(const Spec& s, int c) {
    bool listed = false;
    const std::string& set = s.set;
    for (size_t i = 0; i < set.size(); ++i) {
        // a-z ranges, except at either end of the set
        if (i + 2 < set.size() && set[i + 1] == '-') {
            if (c >= static_cast<unsigned char>(set[i]) && c <= static_cast<unsigned char>(set[i + 2])) listed = true;
            i += 2;
        } else if (c == static_cast<unsigned char>(set[i])) {
            listed = true;
        }
    }
    return listed != s.negated;
}

// Result of one conversion: stored, not matched (scanning stops) or failed with a status.
enum class Scan { Stored, Skipped, Stop };

Scan scanBlock(const Spec& s, ArgSource& args, ByteSource& in, ViStatus* st) {
    CountArg count;
    long room = s.width;
    if (s.widthArg) {
        if ((*st = countArg(args, &count)) < 0) return Scan::Stop;
        room = count.room;
    }
    std::string data;
    size_t elem = binaryBytes(s.size);
    if (s.conv == 'y') {
        size_t want = static_cast<size_t>(room) * elem;
        while (data.size() < want && in.peek() >= 0) {
            data += static_cast<char>(in.peek());
            in.next();
        }
    } else {
        skipSpace(in);
        if (in.peek() != '#') return Scan::Stop;
        in.next();
        int d = in.peek();
        if (!isDigit(d)) return Scan::Stop;
        in.next();
        if (d == '0') {
            // Indefinite length: everything up to the end of the message, whose final newline
            // only closes the block.
            while (in.peek() >= 0 && data.size() < static_cast<size_t>(kMaxCount) * 8) {
                data += static_cast<char>(in.peek());
                in.next();
            }
            if (!data.empty() && data.back() == '\n') data.pop_back();
        } else {
            uint64_t len = 0;
            for (int k = 0; k < d - '0'; ++k) {
                if (!isDigit(in.peek())) return Scan::Stop;
                len = len * 10 + static_cast<uint64_t>(in.peek() - '0');
                in.next();
            }
            // Bytes beyond what the caller has room for are read and dropped.
            size_t keep = static_cast<size_t>(room) * elem;
            for (uint64_t k = 0; k < len && in.peek() >= 0; ++k) {
                if (data.size() < keep) data += static_cast<char>(in.peek());
                in.next();
            }
        }
    }
    size_t n = std::min(data.size() / elem, static_cast<size_t>(room));
    if (s.suppress) return Scan::Skipped;
    void* p = args.output(n * elem);
    if (!p && n) {
        *st = VI_ERROR_USER_BUF;
        return Scan::Stop;
    }
    unsigned char* out = static_cast<unsigned char*>(p);
    for (size_t i = 0; i < n; ++i) {
        const unsigned char* e = reinterpret_cast<const unsigned char*>(data.data()) + i * elem;
        for (size_t b = 0; b < elem; ++b) out[i * elem + b] = s.littleEndian ? e[b] : e[elem - 1 - b];
    }
    if (s.widthArg) putCount(count, static_cast<long>(n));
    return Scan::Stored;
}

Scan scanText(const Spec& s, ArgSource& args, ByteSource& in, ViStatus* st) {
    CountArg count;
    long limit = s.width > 0 ? s.width : kMaxCount;
    if (s.widthArg) {
        if ((*st = countArg(args, &count)) < 0) return Scan::Stop;
        // The room given counts the terminating NUL (none for %c).
        limit = s.conv == 'c' ? count.room : count.room - 1;
        if (limit < 0) limit = 0;
    }
    std::string text;
    char c = s.conv;
    if (c == 'c') {
        long n = s.width > 0 || s.widthArg ? limit : 1;
        while (static_cast<long>(text.size()) < n && in.peek() >= 0) {
            text += static_cast<char>(in.peek());
            in.next();
        }
        if (text.empty()) return Scan::Stop;
        if (s.suppress) return Scan::Skipped;
        *st = storeText(args, s, text, count, false);
        return *st < 0 ? Scan::Stop : Scan::Stored;
    }
    if (c == 's') skipSpace(in);
    while (static_cast<long>(text.size()) < limit) {
        int b = in.peek();
        if (b < 0) break;
        if (c == 's' && isSpace(b)) break;
        if (c == '[' && !inSet(s, b)) break;
        text += static_cast<char>(b);
        in.next();
        if (c == 'T' && b == '\n') break;
    }
    if (text.empty() && c != 't' && c != 'T') return Scan::Stop;
    if (s.suppress) return Scan::Skipped;
    *st = storeText(args, s, text, count, true);
    return *st < 0 ? Scan::Stop : Scan::Stored;
}

Scan scanNumbers(const Spec& s, ArgSource& args, ByteSource& in, ViStatus* st) {
    bool real = isReal(s.conv);
    CountArg count;
    long room = 1;
    if (s.array) {
        room = s.count;
        if (s.countArg) {
            if ((*st = countArg(args, &count)) < 0) return Scan::Stop;
            room = count.room;
        }
    }
    size_t elem = real ? realBytes(s.size) : intBytes(s.size);
    std::vector<unsigned char> values;
    long n = 0;
    while (n < room) {
        skipSpace(in);
        unsigned char tmp[16] = {};
        if (real) {
            long double v;
            if (!readReal(in, s.width, &v)) break;
            storeReal(tmp, s.size, v);
        } else {
            uint64_t m;
            bool neg;
            if (!readInteger(in, s.conv, s.width, &m, &neg)) break;
            storeInt(tmp, s.size, neg ? 0 - m : m);
        }
        values.insert(values.end(), tmp, tmp + elem);
        ++n;
        if (!s.array || n == room) break;
        skipSpace(in);
        if (in.peek() != ',') break;
        in.next();
    }
    if (n == 0) return Scan::Stop;
    if (s.suppress) return Scan::Skipped;
    void* p = args.output(values.size());
    if (!p) {
        *st = VI_ERROR_USER_BUF;
        return Scan::Stop;
    }
    std::memcpy(p, values.data(), values.size());
    if (s.countArg) putCount(count, n);
    return Scan::Stored;
}

}  // namespace

ViStatus parseFormat(std::string_view f, bool forInput, std::vector<Piece>* out) {
    if (f.size() > kMaxFormatLength) return VI_ERROR_INV_FMT;
    out->clear();
    std::string text;
    auto flush = [&]() {
        if (text.empty()) return;
        Piece p;
        p.text = std::move(text);
        out->push_back(std::move(p));
        text.clear();
    };
    for (size_t i = 0; i < f.size();) {
        char c = f[i];
        if (c == '\\' && i + 1 < f.size()) {
            i = escape(f, i, &text);
        } else if (c == '%') {
            if (i + 1 < f.size() && f[i + 1] == '%') {
                text += '%';
                i += 2;
                continue;
            }
            flush();
            Piece p;
            p.kind = Piece::Conversion;
            ++i;
            ViStatus st = parseSpec(f, i, forInput, &p.spec);
            if (st != VI_SUCCESS) return st;
            out->push_back(std::move(p));
        } else {
            text += c;
            ++i;
        }
        if (forInput && !text.empty() && isSpace(static_cast<unsigned char>(text.back()))) {
            // White space in an input format matches any amount of white space.
            text.pop_back();
            flush();
            if (out->empty() || out->back().kind != Piece::Space) {
                Piece p;
                p.kind = Piece::Space;
                out->push_back(std::move(p));
            }
        }
    }
    flush();
    return VI_SUCCESS;
}

ViStatus formatOutput(const std::vector<Piece>& pieces, ArgSource& args, Output* out) {
    for (const Piece& p : pieces) {
        if (p.kind == Piece::Conversion) {
            ViStatus st = formatOne(p.spec, args, out);
            if (st != VI_SUCCESS) return st;
            continue;
        }
        // A newline of the format sends END with it.
        for (char c : p.text) {
            out->bytes += c;
            if (c == '\n') out->ends.push_back(out->bytes.size());
        }
    }
    return VI_SUCCESS;
}

ViStatus scanInput(const std::vector<Piece>& pieces, ArgSource& args, ByteSource& in, int* assigned) {
    *assigned = 0;
    for (const Piece& p : pieces) {
        if (p.kind == Piece::Space) {
            skipSpace(in);
            continue;
        }
        if (p.kind == Piece::Literal) {
            for (char c : p.text) {
                if (in.peek() != static_cast<unsigned char>(c)) return in.error();
                in.next();
            }
            continue;
        }
        const Spec& s = p.spec;
        ViStatus st = VI_SUCCESS;
        Scan r;
        if (isBinary(s.conv)) r = scanBlock(s, args, in, &st);
        else if (strchr("cs[tT", s.conv)) r = scanText(s, args, in, &st);
        else r = scanNumbers(s, args, in, &st);
        if (st < 0) return st;
        if (r == Scan::Stop) return in.error();
        if (r == Scan::Stored) ++*assigned;
    }
    return in.error();
}

}  // namespace zuvisa::fmtio

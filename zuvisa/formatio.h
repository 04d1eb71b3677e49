// The formatted I/O grammar of viPrintf and viScanf: a format string parsed into pieces, output
// formatted into bytes (with the places where END goes) and input scanned into the caller's
// variables. Arguments come through ArgSource, so one engine serves va_list callers, tests
// and the fuzzer alike; bytes come from a ByteSource, a session's read buffer or a string.
//
// Sizes follow the standard's fixed-width types on every platform: no modifier and "l" are 32
// bits (ViInt32), "ll" 64 bits, "h" 16 bits; floating scalars are read as double ("L": long
// double) and stored as float, "l" double, "L" long double; binary blocks ("%b", "%B", "%y")
// hold bytes, "h" 16-bit, "l" 32-bit, "ll" 64-bit words, "z" floats and "Z" doubles, sent
// big-endian unless "!ol" asks for little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zuvisa/visa.h"

namespace zuvisa::fmtio {

inline constexpr size_t kMaxFormatLength = 64u << 10;
inline constexpr long kMaxWidth = 1 << 20;       // field widths and precisions
inline constexpr long kMaxCount = 1 << 26;       // elements of one array or block

enum class Size : uint8_t { None, Short, Long, LongLong, LongDouble, Float32, Float64 };

struct Spec {
    char conv = 0;             // d i o u x X e E f g G c s b B y t T [
    std::string flags;         // C flags among "-+ #0"
    long width = -1;           // -1: none
    bool widthArg = false;     // printf "*": from an int argument; scanf "#": through a pointer
    long precision = -1;
    bool precisionArg = false;  // printf ".*"
    bool array = false;        // ",count"
    long count = -1;
    bool countArg = false;     // printf ",*": an int argument; scanf ",#": through a pointer
    Size size = Size::None;
    char nr = 0;               // "@1" "@2" "@3" "@H" "@Q" "@B": IEEE 488.2 number forms
    bool littleEndian = false;  // "!ol" (binary data)
    bool suppress = false;     // scanf "*": read, but assign nothing
    std::string set;           // "%[...]": the characters listed
    bool negated = false;      // "%[^...]"
};

struct Piece {
    enum Kind { Literal, Space, Conversion } kind = Literal;
    std::string text;  // literal bytes, escapes resolved
    Spec spec;
};

// Parses a format string; forInput selects the viScanf grammar. VI_SUCCESS, VI_ERROR_INV_FMT
// for a malformed specifier, VI_ERROR_NSUP_FMT for one this direction does not have.
ViStatus parseFormat(std::string_view format, bool forInput, std::vector<Piece>* out);

class ArgSource {
public:
    virtual ~ArgSource() = default;
    // An integer argument: 64 bits for "ll", otherwise an int.
    virtual int64_t integer(Size size) = 0;
    virtual double real() = 0;
    virtual long double longReal() = 0;
    // A pointer argument and how many bytes the engine will read from it or write to it;
    // null when the caller gave none.
    virtual const void* input(size_t bytes) = 0;
    virtual void* output(size_t bytes) = 0;
    // A string argument ("%s" out); null when the caller gave none.
    virtual const char* text() = 0;
};

struct Output {
    std::string bytes;
    std::vector<size_t> ends;  // byte counts after which END is sent (a "\n" of the format)
};

ViStatus formatOutput(const std::vector<Piece>& pieces, ArgSource& args, Output* out);

class ByteSource {
public:
    virtual ~ByteSource() = default;
    // The next byte, or -1 at the end of the message (or text).
    virtual int peek() = 0;
    virtual void next() = 0;
    // An error that ended the input early (a timeout), else VI_SUCCESS.
    virtual ViStatus error() const = 0;
};

// Scans until the format is done, the input ends or does not match; *assigned counts the
// conversions stored. Returns the source's error, if one ended the input, else VI_SUCCESS.
ViStatus scanInput(const std::vector<Piece>& pieces, ArgSource& args, ByteSource& in, int* assigned);

}  // namespace zuvisa::fmtio

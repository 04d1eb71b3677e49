// Internal to visalib: what the parameters of each recorded function are, read once from the
// parameter lists of visalib/visafunctions.h, so that the list stays the one place that names
// them.
#pragma once

#include <cstdint>
#include <string>

#include "visalib/trace.h"

namespace visatrace {

enum class ArgKind : uint8_t {
    Handle,       // a session, event, find list or object
    OutHandle,    // where the call writes one
    Unsigned,
    Signed,
    OutUnsigned,  // where the call writes a number of `width` bytes
    Pointer,      // an address or a handler
    OutPointer,
    Attr,
    AttrState,
    AttrValue,    // viGetAttribute's value: its size depends on the attribute
    EventType,
    OutEventType,
    InText,
    OutText,      // a buffer of at least 256 characters that the call fills
    InBuffer,     // bytes given to the call
    OutBuffer,    // bytes the call fills
    Status,
};

struct ArgSpec {
    ArgKind kind = ArgKind::Unsigned;
    uint8_t width = 0;
    bool setOnFailure = false;  // a transfer's count: the call sets it when it fails too
    std::string name;
    std::string type;
};

struct FunctionSpec {
    std::string name;
    bool hasStatus = true;
    uint8_t argCount = 0;
    ArgSpec args[kVisaTraceMaxArgs];
    // The data buffer, if any: its argument, the argument that counts it (an output when
    // lengthIsOutput) and the bytes per counted element.
    int8_t buffer = -1;
    int8_t length = -1;
    int8_t capacity = -1;  // what bounds a count the call returns
    bool lengthIsOutput = false;
    uint8_t elementWidth = 1;
};

// The specification of a VisaTraceFunction; built on first use, safe from any thread.
const FunctionSpec& functionSpec(int function);

// Longest texts kept: a text the call is given, and one it writes into a VISA text buffer.
inline constexpr size_t kInTextLimit = 1024;
inline constexpr size_t kOutTextLimit = 256;

}  // namespace visatrace

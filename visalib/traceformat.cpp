#include "visalib/traceformat.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "toolslib/toolbox/escaped.h"
#include "visalib/traceparams.h"

using visatrace::ArgKind;
using visatrace::ArgSpec;
using visatrace::FunctionSpec;
using visatrace::functionSpec;

namespace {

// ---- Names of the standard's constants ------------------------------------------------------
struct Named {
    int64_t value;
    const char* name;
};

#define NAMED(x) {static_cast<int64_t>(x), #x}

const Named kSpaces[] = {
    NAMED(VI_LOCAL_SPACE),     NAMED(VI_A16_SPACE),      NAMED(VI_A24_SPACE),
    NAMED(VI_A32_SPACE),       NAMED(VI_A64_SPACE),      NAMED(VI_PXI_ALLOC_SPACE),
    NAMED(VI_PXI_CFG_SPACE),   NAMED(VI_PXI_BAR0_SPACE), NAMED(VI_PXI_BAR1_SPACE),
    NAMED(VI_PXI_BAR2_SPACE),  NAMED(VI_PXI_BAR3_SPACE), NAMED(VI_PXI_BAR4_SPACE),
    NAMED(VI_PXI_BAR5_SPACE),  NAMED(VI_OPAQUE_SPACE),
};
const Named kLockTypes[] = {NAMED(VI_NO_LOCK), NAMED(VI_EXCLUSIVE_LOCK), NAMED(VI_SHARED_LOCK)};
const Named kOpenModes[] = {NAMED(VI_EXCLUSIVE_LOCK), NAMED(VI_SHARED_LOCK), NAMED(VI_LOAD_CONFIG)};
const Named kMechanisms[] = {NAMED(VI_QUEUE), NAMED(VI_HNDLR), NAMED(VI_SUSPEND_HNDLR)};
const Named kBufferMasks[] = {
    NAMED(VI_READ_BUF),   NAMED(VI_WRITE_BUF),   NAMED(VI_READ_BUF_DISCARD),   NAMED(VI_WRITE_BUF_DISCARD),
    NAMED(VI_IO_IN_BUF),  NAMED(VI_IO_OUT_BUF),  NAMED(VI_IO_IN_BUF_DISCARD),  NAMED(VI_IO_OUT_BUF_DISCARD),
};
const Named kTriggerProtocols[] = {
    NAMED(VI_TRIG_PROT_DEFAULT), NAMED(VI_TRIG_PROT_ON),      NAMED(VI_TRIG_PROT_OFF),
    NAMED(VI_TRIG_PROT_SYNC),    NAMED(VI_TRIG_PROT_RESERVE), NAMED(VI_TRIG_PROT_UNRESERVE),
};
const Named kTriggerLines[] = {
    NAMED(VI_TRIG_ALL),         NAMED(VI_TRIG_SW),          NAMED(VI_TRIG_TTL0),
    NAMED(VI_TRIG_TTL1),        NAMED(VI_TRIG_TTL2),        NAMED(VI_TRIG_TTL3),
    NAMED(VI_TRIG_TTL4),        NAMED(VI_TRIG_TTL5),        NAMED(VI_TRIG_TTL6),
    NAMED(VI_TRIG_TTL7),        NAMED(VI_TRIG_TTL8),        NAMED(VI_TRIG_TTL9),
    NAMED(VI_TRIG_TTL10),       NAMED(VI_TRIG_TTL11),       NAMED(VI_TRIG_ECL0),
    NAMED(VI_TRIG_ECL1),        NAMED(VI_TRIG_ECL2),        NAMED(VI_TRIG_ECL3),
    NAMED(VI_TRIG_ECL4),        NAMED(VI_TRIG_ECL5),        NAMED(VI_TRIG_STAR_SLOT1),
    NAMED(VI_TRIG_STAR_SLOT2),  NAMED(VI_TRIG_STAR_SLOT3),  NAMED(VI_TRIG_STAR_SLOT4),
    NAMED(VI_TRIG_STAR_SLOT5),  NAMED(VI_TRIG_STAR_SLOT6),  NAMED(VI_TRIG_STAR_SLOT7),
    NAMED(VI_TRIG_STAR_SLOT8),  NAMED(VI_TRIG_STAR_SLOT9),  NAMED(VI_TRIG_STAR_SLOT10),
    NAMED(VI_TRIG_STAR_SLOT11), NAMED(VI_TRIG_STAR_SLOT12), NAMED(VI_TRIG_STAR_INSTR),
    NAMED(VI_TRIG_PANEL_IN),    NAMED(VI_TRIG_PANEL_OUT),   NAMED(VI_TRIG_STAR_VXI0),
    NAMED(VI_TRIG_STAR_VXI1),   NAMED(VI_TRIG_STAR_VXI2),
};
const Named kWidths[] = {NAMED(VI_WIDTH_8), NAMED(VI_WIDTH_16), NAMED(VI_WIDTH_32), NAMED(VI_WIDTH_64)};
const Named kRenModes[] = {
    NAMED(VI_GPIB_REN_DEASSERT),       NAMED(VI_GPIB_REN_ASSERT),     NAMED(VI_GPIB_REN_DEASSERT_GTL),
    NAMED(VI_GPIB_REN_ASSERT_ADDRESS), NAMED(VI_GPIB_REN_ASSERT_LLO), NAMED(VI_GPIB_REN_ASSERT_ADDRESS_LLO),
    NAMED(VI_GPIB_REN_ADDRESS_GTL),
};
const Named kAtnModes[] = {
    NAMED(VI_GPIB_ATN_DEASSERT), NAMED(VI_GPIB_ATN_ASSERT), NAMED(VI_GPIB_ATN_DEASSERT_HANDSHAKE),
    NAMED(VI_GPIB_ATN_ASSERT_IMMEDIATE),
};
const Named kInterruptModes[] = {
    NAMED(VI_ASSERT_SIGNAL), NAMED(VI_ASSERT_USE_ASSIGNED), NAMED(VI_ASSERT_IRQ1), NAMED(VI_ASSERT_IRQ2),
    NAMED(VI_ASSERT_IRQ3),   NAMED(VI_ASSERT_IRQ4),         NAMED(VI_ASSERT_IRQ5), NAMED(VI_ASSERT_IRQ6),
    NAMED(VI_ASSERT_IRQ7),
};
const Named kUtilitySignals[] = {
    NAMED(VI_UTIL_ASSERT_SYSRESET), NAMED(VI_UTIL_ASSERT_SYSFAIL), NAMED(VI_UTIL_DEASSERT_SYSFAIL),
};
const Named kVxiModes[] = {
    NAMED(VI_VXI_CMD16),  NAMED(VI_VXI_CMD16_RESP16), NAMED(VI_VXI_RESP16), NAMED(VI_VXI_CMD32),
    NAMED(VI_VXI_CMD32_RESP16), NAMED(VI_VXI_CMD32_RESP32), NAMED(VI_VXI_RESP32),
};
const Named kServantModes[] = {NAMED(VI_VXI_RESP16), NAMED(VI_VXI_RESP32), NAMED(VI_VXI_RESP_NONE)};
const Named kInterfaces[] = {
    NAMED(VI_INTF_GPIB), NAMED(VI_INTF_VXI),   NAMED(VI_INTF_GPIB_VXI), NAMED(VI_INTF_ASRL),
    NAMED(VI_INTF_PXI),  NAMED(VI_INTF_TCPIP), NAMED(VI_INTF_USB),      NAMED(VI_INTF_RIO),
    NAMED(VI_INTF_FIREWIRE),
};
const Named kBooleans[] = {NAMED(VI_FALSE), NAMED(VI_TRUE)};
const Named kNullOnly[] = {NAMED(VI_NULL)};
const Named kTimeouts[] = {NAMED(VI_TMO_IMMEDIATE), NAMED(VI_TMO_INFINITE)};

#undef NAMED

template <size_t N>
const char* nameIn(const Named (&table)[N], int64_t value) {
    for (const Named& n : table)
        if (n.value == value) return n.name;
    return nullptr;
}

// Flags joined with '|', what remains in hexadecimal; 0 is VI_NULL.
template <size_t N>
std::string flagsText(const Named (&table)[N], uint64_t value) {
    if (value == 0) return "VI_NULL";
    std::string out;
    for (const Named& n : table)
        if ((value & static_cast<uint64_t>(n.value)) == static_cast<uint64_t>(n.value)) {
            if (!out.empty()) out += '|';
            out += n.name;
            value &= ~static_cast<uint64_t>(n.value);
        }
    if (value) {
        char hex[24];
        std::snprintf(hex, sizeof hex, "0x%" PRIX64, value);
        if (!out.empty()) out += '|';
        out += hex;
    }
    return out;
}

std::string hex32(uint64_t v) {
    char s[24];
    std::snprintf(s, sizeof s, "0x%08" PRIX32, static_cast<uint32_t>(v));
    return s;
}

std::string hexAny(uint64_t v) {
    char s[24];
    std::snprintf(s, sizeof s, "0x%" PRIX64, v);
    return s;
}

std::string decimal(int64_t v) { return std::to_string(v); }

// A number and, when it has one, its name in the table.
template <size_t N>
std::string namedOr(const Named (&table)[N], int64_t value, bool hexadecimal = false) {
    if (const char* n = nameIn(table, value)) return n;
    return hexadecimal ? hexAny(static_cast<uint64_t>(value)) : decimal(value);
}

const VisaTraceNames* names() { return VisaTrace_Names(); }

std::string statusNameOf(ViStatus status) {
    const VisaTraceNames* n = names();
    const char* name = n && n->statusName ? n->statusName(status) : nullptr;
    return name ? name : "";
}

std::string statusWithName(ViStatus status) {
    std::string name = statusNameOf(status);
    return name.empty() ? hex32(static_cast<uint32_t>(status)) : name;
}

std::string attributeText(uint64_t attribute) {
    const VisaTraceNames* n = names();
    const char* name = n && n->attributeName ? n->attributeName(static_cast<ViAttr>(attribute)) : nullptr;
    return name ? name : hex32(attribute);
}

std::string eventText(uint64_t eventType) {
    if (eventType == VI_ALL_ENABLED_EVENTS) return "VI_ALL_ENABLED_EVENTS";
    const VisaTraceNames* n = names();
    const char* name = n && n->eventName ? n->eventName(static_cast<ViEventType>(eventType)) : nullptr;
    return name ? name : hex32(eventType);
}

// A text as C would write it: quoted, with escapes for the quote, backslash and unprintables.
std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c >= 0x20 && c < 0x7F) {
            out += static_cast<char>(c);
        } else {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\x%02x", c);
            out += esc;
        }
    }
    return out + "\"";
}

std::string_view textOf(const VisaTraceRecord& r, uint64_t raw) {
    size_t offset = static_cast<size_t>(raw >> 32), length = static_cast<size_t>(raw & 0xFFFFFFFF);
    if (offset > r.text.size() || length > r.text.size() - offset) return {};
    return std::string_view(r.text).substr(offset, length);
}

// Counts read as decimal, everything that addresses or encodes as hexadecimal.
bool isCount(const std::string& name) {
    static const char* const counts[] = {"cnt", "retCnt", "length", "size", "srcLength", "mapSize",
                                         "wLength", "intfNum", "primAddr", "secAddr", "maxCount"};
    for (const char* c : counts)
        if (name == c) return true;
    return false;
}

// A number argument by what its name and function say it is.
std::string numberText(const FunctionSpec& f, const ArgSpec& a, int64_t value) {
    const std::string& n = a.name;
    uint64_t u = static_cast<uint64_t>(value);
    if (n == "space" || n == "srcSpace" || n == "destSpace" || n == "mapSpace")
        return namedOr(kSpaces, static_cast<int64_t>(u & 0xFFFF));
    if (n == "lockType") return namedOr(kLockTypes, value);
    if (n == "mechanism") return u == VI_ALL_MECH ? "VI_ALL_MECH" : flagsText(kMechanisms, u);
    if (n == "mask") return flagsText(kBufferMasks, u);
    if (n == "protocol") return namedOr(kTriggerProtocols, value);
    if (n == "trigSrc" || n == "trigDest") return namedOr(kTriggerLines, static_cast<int16_t>(value));
    if (n == "srcWidth" || n == "destWidth") return namedOr(kWidths, value);
    if (n == "line") return namedOr(kUtilitySignals, value);
    if (n == "timeout") {
        if (const char* t = nameIn(kTimeouts, value)) return t;
        return decimal(value) + " ms";
    }
    if (n == "intfType") return namedOr(kInterfaces, value);
    if (n == "access") return namedOr(kBooleans, value);
    if (n == "degree" || n == "context") return namedOr(kNullOnly, value);
    if (n == "mode") {
        if (f.name == "viOpen") return flagsText(kOpenModes, u);
        if (f.name == "viGpibControlREN") return namedOr(kRenModes, value);
        if (f.name == "viGpibControlATN") return namedOr(kAtnModes, value);
        if (f.name == "viAssertIntrSignal") return namedOr(kInterruptModes, static_cast<int16_t>(value));
        if (f.name == "viVxiCommandQuery") return namedOr(kVxiModes, value, true);
        if (f.name == "viVxiServantResponse") return namedOr(kServantModes, static_cast<int16_t>(value), true);
        if (f.name == "viMapTrigger") return namedOr(kNullOnly, value);
    }
    if (n == "secAddr" && u == VI_NO_SEC_ADDR) return "VI_NO_SEC_ADDR";
    if (isCount(n) || a.kind == ArgKind::Signed) return decimal(value);
    return hexAny(u);
}

std::string bytesText(uint64_t n) { return n == 1 ? "1 byte" : std::to_string(n) + " bytes"; }

std::string argumentText(const VisaTraceRecord& r, const FunctionSpec& f, int i) {
    const ArgSpec& a = f.args[i];
    uint64_t v = r.args[i];
    bool set = r.outputsSet & (1u << i);
    switch (a.kind) {
        case ArgKind::Handle: return hex32(v);
        case ArgKind::OutHandle: return set ? hex32(v) : "-";
        case ArgKind::Unsigned:
        case ArgKind::Signed: return numberText(f, a, static_cast<int64_t>(v));
        case ArgKind::OutUnsigned: return set ? numberText(f, a, static_cast<int64_t>(v)) : "-";
        case ArgKind::Pointer: return v ? hexAny(v) : "VI_NULL";
        case ArgKind::OutPointer: return set ? (v ? hexAny(v) : "VI_NULL") : "-";
        case ArgKind::Attr: return attributeText(v);
        case ArgKind::AttrState: return decimal(static_cast<int64_t>(v)) + " (" + hexAny(v) + ")";
        case ArgKind::AttrValue: {
            if (!set) return r.status >= VI_SUCCESS ? "(not recorded)" : "-";
            const VisaTraceNames* n = names();
            int size = n && n->attributeSize ? n->attributeSize(static_cast<ViAttr>(r.args[1])) : -1;
            if (size == 0) return quoted(textOf(r, v));
            return decimal(static_cast<int64_t>(v)) + " (" + hexAny(v) + ")";
        }
        case ArgKind::EventType: return eventText(v);
        case ArgKind::OutEventType: return set ? eventText(v) : "-";
        case ArgKind::InText: return set ? quoted(textOf(r, v)) : "VI_NULL";
        case ArgKind::OutText: return set ? quoted(textOf(r, v)) : "-";
        case ArgKind::InBuffer:
        case ArgKind::OutBuffer:
            if (f.buffer == i && r.hasData) return bytesText(r.dataLength);
            return v ? hexAny(v) : "VI_NULL";
        case ArgKind::Status: return statusWithName(static_cast<ViStatus>(v));
    }
    return hexAny(v);
}

std::string localTime(int64_t wallNs, const char* dateFormat, bool offset) {
    time_t seconds = static_cast<time_t>(wallNs / 1000000000);
    long micros = static_cast<long>((wallNs % 1000000000) / 1000);
    // The time zone is looked up once per second shown, not once per record.
    thread_local time_t cachedSeconds = -1;
    thread_local struct tm cached;
    if (seconds != cachedSeconds) {
        localtime_r(&seconds, &cached);
        cachedSeconds = seconds;
    }
    const struct tm& tm = cached;
    char date[64], out[96];
    strftime(date, sizeof date, dateFormat, &tm);
    std::snprintf(out, sizeof out, "%s.%06ld", date, micros);
    std::string s = out;
    if (offset) {
        long off = tm.tm_gmtoff;
        char zone[48];
        std::snprintf(zone, sizeof zone, "%c%02ld:%02ld", off < 0 ? '-' : '+', (off < 0 ? -off : off) / 3600,
                      ((off < 0 ? -off : off) % 3600) / 60);
        s += zone;
    }
    return s;
}

void appendPiece(void* text, const char* piece, size_t length) { static_cast<std::string*>(text)->append(piece, length); }

std::string jsonString(std::string_view s) {
    std::string out = "\"";
    for (unsigned char c : s) {
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (c < 0x20 || c == 0x7F || c >= 0x80) {
                    // Texts here are ASCII by construction; anything else is kept as a code point
                    // of its byte, so the file stays valid JSON.
                    char esc[8];
                    std::snprintf(esc, sizeof esc, "\\u%04x", c);
                    out += esc;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    return out + "\"";
}

std::string csvField(const std::string& s) {
    if (s.find_first_of(",\"\r\n") == std::string::npos) return s;
    std::string out = "\"";
    for (char c : s) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + "\"";
}

bool running(const VisaTraceRecord& r) { return r.flags & kVisaTraceRunning; }

}  // namespace

const char* VisaTrace_FunctionName(int function) { return functionSpec(function).name.c_str(); }

int VisaTrace_FunctionByName(const char* name) {
    for (int f = 0; f < VisaTrace_functionCount; ++f)
        if (name && functionSpec(f).name == name) return f;
    return -1;
}

std::string VisaTrace_TimeText(const VisaTraceRecord& r, bool withDate) {
    return localTime(r.wallNs, withDate ? "%Y-%m-%d %H:%M:%S" : "%H:%M:%S", false);
}

std::string VisaTrace_IsoTime(const VisaTraceRecord& r) { return localTime(r.wallNs, "%Y-%m-%dT%H:%M:%S", true); }

std::string VisaTrace_DurationText(const VisaTraceRecord& r) {
    if (running(r)) return "running";
    // A tenth of a microsecond while it matters; whole microseconds from a millisecond on.
    double us = static_cast<double>(r.durationNs) / 1000.0;
    char s[32];
    std::snprintf(s, sizeof s, us < 1000 ? "%.1f" : "%.0f", us);
    return s;
}

std::string VisaTrace_ThreadText(const VisaTraceRecord& r) {
    return r.thread == static_cast<int32_t>(getpid()) ? "main" : std::to_string(r.thread);
}

std::string VisaTrace_HandleText(ViSession handle) { return hex32(handle); }

std::vector<std::pair<std::string, std::string>> VisaTrace_ArgumentList(const VisaTraceRecord& r) {
    const FunctionSpec& f = functionSpec(r.function);
    std::vector<std::pair<std::string, std::string>> out;
    for (int i = 0; i < r.argCount && i < f.argCount; ++i) out.emplace_back(f.args[i].name, argumentText(r, f, i));
    if (r.flags & kVisaTraceCompletion) {
        out.emplace_back("jobId", hex32(r.jobId));
        out.emplace_back("jobStatus", statusWithName(r.completionStatus));
        out.emplace_back("retCount", std::to_string(r.completionCount));
    }
    return out;
}

std::string VisaTrace_ArgumentsText(const VisaTraceRecord& r) {
    std::string out;
    for (const auto& [name, value] : VisaTrace_ArgumentList(r)) {
        if (!out.empty()) out += ", ";
        out += name + "=" + value;
    }
    return out;
}

std::string VisaTrace_StatusText(const VisaTraceRecord& r) {
    if (!(r.flags & kVisaTraceHasStatus) || running(r)) return "";
    return hex32(static_cast<uint32_t>(r.status));
}

std::string VisaTrace_StatusName(const VisaTraceRecord& r) {
    if (!(r.flags & kVisaTraceHasStatus) || running(r)) return "";
    return statusNameOf(r.status);
}

bool VisaTrace_IsError(const VisaTraceRecord& r) {
    if ((r.flags & kVisaTraceHasStatus) && !running(r) && r.status < VI_SUCCESS) return true;
    return (r.flags & kVisaTraceCompletion) && r.completionStatus < VI_SUCCESS;
}

std::string VisaTrace_DataText(const VisaTraceRecord& r) {
    std::string text;
    if (r.hasData) EscText_Encode(r.data.data(), r.data.size(), appendPiece, &text);
    return text;
}

std::string VisaTrace_DataHex(const VisaTraceRecord& r) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(r.data.size() * 3);
    for (size_t i = 0; i < r.data.size(); ++i) {
        if (i) out += ' ';
        out += digits[r.data[i] >> 4];
        out += digits[r.data[i] & 0xF];
    }
    return out;
}

std::string VisaTrace_Details(const VisaTraceRecord& r) {
    // What it returned and what it acted on first, then when and where, then all it was given.
    std::string out = std::string(VisaTrace_FunctionName(r.function)) + "    (call " + std::to_string(r.sequence) + ")\n";
    if (r.flags & kVisaTraceHasStatus) {
        std::string status = VisaTrace_StatusText(r);
        out += "Status:    " + (status.empty() ? std::string("-") : status + "  " + VisaTrace_StatusName(r)) + "\n";
    }
    if (r.session) {
        std::string name = VisaTrace_HandleName(r.session, r.sequence);
        out += "Session:   " + VisaTrace_HandleText(r.session) + (name.empty() ? "" : "  " + name) + "\n";
    }
    out += "Time:      " + VisaTrace_TimeText(r, true) + "\n";
    out += "Duration:  " + (running(r) ? std::string("still running") : VisaTrace_DurationText(r) + " us") + "\n";
    out += "Thread:    " + VisaTrace_ThreadText(r);
    if (r.handlerSequence) out += ", in the handler of call " + std::to_string(r.handlerSequence);
    out += "\n";
    out += "Arguments:\n";
    size_t width = 0;
    auto args = VisaTrace_ArgumentList(r);
    for (const auto& a : args) width = std::max(width, a.first.size());
    for (const auto& [argName, value] : args)
        out += "  " + argName + std::string(width - argName.size() + 2, ' ') + value + "\n";
    if (r.hasData) {
        out += "Data:      " + bytesText(r.dataLength);
        if (r.dataLength > r.data.size()) out += ", the first " + std::to_string(r.data.size()) + " kept";
        out += "\n" + VisaTrace_DataText(r);
        if (!out.empty() && out.back() != '\n') out += '\n';
        if (!r.data.empty()) out += "Hexadecimal:\n";  // nothing to dump after a read of nothing
        static const char digits[] = "0123456789abcdef";
        for (size_t at = 0; at < r.data.size(); at += 16) {
            char offset[32];
            std::snprintf(offset, sizeof offset, "%04zx  ", at);
            std::string hex = offset, ascii;
            for (size_t i = at; i < at + 16; ++i) {
                if (i < r.data.size()) {
                    unsigned char c = r.data[i];
                    hex += digits[c >> 4];
                    hex += digits[c & 0xF];
                    hex += ' ';
                    ascii += c >= 0x20 && c < 0x7F ? static_cast<char>(c) : '.';
                } else {
                    hex += "   ";
                }
            }
            out += hex + " " + ascii + "\n";
        }
    }
    return out;
}

std::string VisaTrace_Json(const VisaTraceRecord& r) {
    std::string o = "{\"sequence\":" + std::to_string(r.sequence);
    o += ",\"time\":" + jsonString(VisaTrace_IsoTime(r));
    char duration[32];
    std::snprintf(duration, sizeof duration, "%.3f", static_cast<double>(r.durationNs) / 1000.0);
    o += running(r) ? std::string(",\"durationUs\":null,\"running\":true") : std::string(",\"durationUs\":") + duration;
    o += ",\"thread\":" + std::to_string(r.thread);
    if (r.handlerSequence) o += ",\"inHandler\":" + std::to_string(r.handlerSequence);
    o += ",\"function\":" + jsonString(VisaTrace_FunctionName(r.function));
    o += ",\"session\":" + (r.session ? jsonString(VisaTrace_HandleText(r.session)) : std::string("null"));
    std::string name = VisaTrace_HandleName(r.session, r.sequence);
    if (!name.empty()) o += ",\"sessionName\":" + jsonString(name);
    o += ",\"arguments\":{";
    bool first = true;
    for (const auto& [argName, value] : VisaTrace_ArgumentList(r)) {
        o += (first ? "" : ",") + jsonString(argName) + ":" + jsonString(value);
        first = false;
    }
    o += "}";
    std::string status = VisaTrace_StatusText(r);
    if (!status.empty()) {
        o += ",\"status\":" + jsonString(status);
        std::string statusName = VisaTrace_StatusName(r);
        if (!statusName.empty()) o += ",\"statusName\":" + jsonString(statusName);
    }
    if (r.hasData) {
        o += ",\"dataLength\":" + std::to_string(r.dataLength);
        o += ",\"dataText\":" + jsonString(VisaTrace_DataText(r));
        o += ",\"dataHex\":" + jsonString(VisaTrace_DataHex(r));
    }
    return o + "}";
}

std::string VisaTrace_CsvHeader() {
    return "Call,Time,Duration (us),Thread,In handler of,Operation,Session,Session name,Arguments,"
           "Status,Status name,Data length,Data,Data (hex)";
}

std::string VisaTrace_CsvRow(const VisaTraceRecord& r) {
    std::string fields[] = {
        std::to_string(r.sequence),
        VisaTrace_IsoTime(r),
        VisaTrace_DurationText(r),
        std::to_string(r.thread),
        r.handlerSequence ? std::to_string(r.handlerSequence) : std::string(),
        VisaTrace_FunctionName(r.function),
        r.session ? VisaTrace_HandleText(r.session) : std::string(),
        VisaTrace_HandleName(r.session, r.sequence),
        VisaTrace_ArgumentsText(r),
        VisaTrace_StatusText(r),
        VisaTrace_StatusName(r),
        r.hasData ? std::to_string(r.dataLength) : std::string(),
        VisaTrace_DataText(r),
        VisaTrace_DataHex(r),
    };
    std::string out;
    for (const std::string& f : fields) {
        if (&f != fields) out += ',';
        out += csvField(f);
    }
    return out;
}

// YAML loading of device files. Every field is checked for its type and size; anything else
// fails with VI_ERROR_INV_SETUP and a reason naming the place.
#include "zuvisa/bridgelets/sim/devicefile.h"

#include <yaml-cpp/yaml.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "zuvisa/bridgelets/sim/simdevice.h"
#include "zuvisa/status.h"

namespace zuvisa::sim {

namespace {

constexpr int kMaxIncludeDepth = 4;
constexpr int kMaxNesting = 48;
constexpr size_t kMaxEntries = 10000;

struct Invalid {
    std::string what;
};

[[noreturn]] void fail(const std::string& what) { throw Invalid{what}; }

std::string scalar(const YAML::Node& n, const std::string& where) {
    if (!n.IsScalar()) fail(where + ": expected a text or number");
    const std::string& s = n.Scalar();
    if (s.size() > kMaxTextLength) fail(where + ": text too long");
    return s;
}

std::string optionalScalar(const YAML::Node& map, const char* key, const std::string& where,
                           bool* present = nullptr) {
    YAML::Node n = map[key];
    if (present) *present = n.IsDefined() && !n.IsNull();
    if (!n.IsDefined() || n.IsNull()) return std::string();
    return scalar(n, where + "." + key);
}

bool boolean(const YAML::Node& n, const std::string& where) {
    std::string s = scalar(n, where);
    if (s == "true" || s == "True" || s == "TRUE" || s == "yes" || s == "on") return true;
    if (s == "false" || s == "False" || s == "FALSE" || s == "no" || s == "off") return false;
    fail(where + ": expected true or false");
}

double number(const YAML::Node& n, const std::string& where) {
    std::string s = scalar(n, where);
    char* end = nullptr;
    double v = strtod(s.c_str(), &end);
    if (s.empty() || *end) fail(where + ": expected a number");
    return v;
}

long integer(const YAML::Node& n, const std::string& where) {
    std::string s = scalar(n, where);
    char* end = nullptr;
    errno = 0;
    long v = strtol(s.c_str(), &end, 0);
    if (s.empty() || *end || errno) fail(where + ": expected an integer");
    return v;
}

void requireMap(const YAML::Node& n, const std::string& where) {
    if (!n.IsMap()) fail(where + ": expected a mapping");
    if (n.size() > kMaxEntries) fail(where + ": too many entries");
}

void requireSeq(const YAML::Node& n, const std::string& where) {
    if (!n.IsSequence()) fail(where + ": expected a list");
    if (n.size() > kMaxEntries) fail(where + ": too many entries");
}

uint64_t unsignedNumber(const YAML::Node& n, const std::string& where, uint64_t max) {
    std::string s = scalar(n, where);
    char* end = nullptr;
    errno = 0;
    unsigned long long v = strtoull(s.c_str(), &end, 0);
    if (s.empty() || s[0] == '-' || *end || errno || v > max) {
        fail(where + ": expected a number from 0 to " + std::to_string(max));
    }
    return v;
}

struct Named {
    const char* name;
    long long value;
};

#define NAMED(x) {#x, static_cast<long long>(x)}

const Named kEvents[] = {
    NAMED(VI_EVENT_SERVICE_REQ),     NAMED(VI_EVENT_TRIG),           NAMED(VI_EVENT_CLEAR),
    NAMED(VI_EVENT_GPIB_CIC),        NAMED(VI_EVENT_GPIB_TALK),      NAMED(VI_EVENT_GPIB_LISTEN),
    NAMED(VI_EVENT_VXI_SIGP),        NAMED(VI_EVENT_VXI_VME_INTR),   NAMED(VI_EVENT_VXI_VME_SYSFAIL),
    NAMED(VI_EVENT_VXI_VME_SYSRESET), NAMED(VI_EVENT_VXI_DEV_CMD),   NAMED(VI_EVENT_PXI_INTR),
    NAMED(VI_EVENT_TCPIP_CONNECT),   NAMED(VI_EVENT_USB_INTR),       NAMED(VI_EVENT_ASRL_BREAK),
    NAMED(VI_EVENT_ASRL_CTS),        NAMED(VI_EVENT_ASRL_DSR),       NAMED(VI_EVENT_ASRL_DCD),
    NAMED(VI_EVENT_ASRL_RI),         NAMED(VI_EVENT_ASRL_CHAR),      NAMED(VI_EVENT_ASRL_TERMCHAR),
};

// Attributes that events carry; texts are marked by a negative value.
const Named kEventAttrs[] = {
    NAMED(VI_ATTR_RECV_TRIG_ID),       NAMED(VI_ATTR_SIGP_STATUS_ID),    NAMED(VI_ATTR_INTR_STATUS_ID),
    NAMED(VI_ATTR_RECV_INTR_LEVEL),    NAMED(VI_ATTR_GPIB_RECV_CIC_STATE), NAMED(VI_ATTR_VXI_DEV_CMD_TYPE),
    NAMED(VI_ATTR_VXI_DEV_CMD_VALUE),  NAMED(VI_ATTR_PXI_RECV_INTR_SEQ), NAMED(VI_ATTR_PXI_RECV_INTR_DATA),
    NAMED(VI_ATTR_USB_RECV_INTR_SIZE), {"VI_ATTR_RECV_TCPIP_ADDR", -1},
};

const Named kVxiClasses[] = {{"memory", VI_VXI_CLASS_MEMORY},
                             {"extended", VI_VXI_CLASS_EXTENDED},
                             {"message", VI_VXI_CLASS_MESSAGE},
                             {"register", VI_VXI_CLASS_REGISTER}};

const Named kLines[] = {
    {"TTL0", VI_TRIG_TTL0},   {"TTL1", VI_TRIG_TTL1},   {"TTL2", VI_TRIG_TTL2},
    {"TTL3", VI_TRIG_TTL3},   {"TTL4", VI_TRIG_TTL4},   {"TTL5", VI_TRIG_TTL5},
    {"TTL6", VI_TRIG_TTL6},   {"TTL7", VI_TRIG_TTL7},   {"ECL0", VI_TRIG_ECL0},
    {"ECL1", VI_TRIG_ECL1},   {"ECL2", VI_TRIG_ECL2},   {"ECL3", VI_TRIG_ECL3},
    {"ECL4", VI_TRIG_ECL4},   {"ECL5", VI_TRIG_ECL5},   {"STAR_SLOT1", VI_TRIG_STAR_SLOT1},
    {"STAR_SLOT2", VI_TRIG_STAR_SLOT2}, {"STAR_SLOT3", VI_TRIG_STAR_SLOT3}, {"STAR_SLOT4", VI_TRIG_STAR_SLOT4},
    {"STAR_SLOT5", VI_TRIG_STAR_SLOT5}, {"STAR_SLOT6", VI_TRIG_STAR_SLOT6}, {"STAR_SLOT7", VI_TRIG_STAR_SLOT7},
    {"STAR_SLOT8", VI_TRIG_STAR_SLOT8}, {"STAR_SLOT9", VI_TRIG_STAR_SLOT9}, {"STAR_SLOT10", VI_TRIG_STAR_SLOT10},
    {"STAR_SLOT11", VI_TRIG_STAR_SLOT11}, {"STAR_SLOT12", VI_TRIG_STAR_SLOT12}, {"STAR_INSTR", VI_TRIG_STAR_INSTR},
    {"PANEL_IN", VI_TRIG_PANEL_IN}, {"PANEL_OUT", VI_TRIG_PANEL_OUT}, {"STAR_VXI0", VI_TRIG_STAR_VXI0},
    {"STAR_VXI1", VI_TRIG_STAR_VXI1}, {"STAR_VXI2", VI_TRIG_STAR_VXI2},
};

const Named kSpaces[] = {{"A16", VI_A16_SPACE},        {"A24", VI_A24_SPACE},        {"A32", VI_A32_SPACE},
                         {"A64", VI_A64_SPACE},        {"CFG", VI_PXI_CFG_SPACE},    {"ALLOC", VI_PXI_ALLOC_SPACE},
                         {"BAR0", VI_PXI_BAR0_SPACE},  {"BAR1", VI_PXI_BAR1_SPACE},  {"BAR2", VI_PXI_BAR2_SPACE},
                         {"BAR3", VI_PXI_BAR3_SPACE},  {"BAR4", VI_PXI_BAR4_SPACE},  {"BAR5", VI_PXI_BAR5_SPACE}};

#undef NAMED

template <size_t N>
const Named* lookup(const Named (&table)[N], const std::string& name) {
    for (const Named& n : table) {
        if (name == n.name) return &n;
    }
    return nullptr;
}

template <size_t N>
long long named(const Named (&table)[N], const YAML::Node& n, const std::string& where, const char* what) {
    std::string s = scalar(n, where);
    const Named* found = lookup(table, s);
    if (!found) fail(where + ": not a known " + what + ": " + s);
    return found->value;
}

// A response's RANDOM and BYTES forms are checked when the file loads, not when the device
// first answers with them.
void response(const std::string& text, const std::string& where) {
    std::string why;
    if (!checkResponse(text, &why)) fail(where + ": " + why);
}

QueryResponse pair(const YAML::Node& n, const std::string& where) {
    requireMap(n, where);
    QueryResponse qr;
    bool hasQ = false;
    qr.q = optionalScalar(n, "q", where, &hasQ);
    if (!hasQ || qr.q.empty()) fail(where + ": needs a non-empty q");
    if (qr.q.find("BYTES(") != std::string::npos) {
        // Raw bytes in a query are matched as they arrive.
        std::mt19937 rng(0);
        std::string why, raw;
        if (qr.q.find("RANDOM(") != std::string::npos || !checkResponse(qr.q, &why) || !expandResponse(qr.q, rng, &raw)) {
            fail(where + ".q: " + (why.empty() ? std::string("RANDOM has no place in a query") : why));
        }
        qr.q = raw;
    }
    qr.r = optionalScalar(n, "r", where, &qr.hasResponse);
    if (qr.r == kNullResponse) {
        qr.hasResponse = false;
        qr.r.clear();
    }
    response(qr.r, where + ".r");
    return qr;
}

std::vector<QueryResponse> dialogues(const YAML::Node& n, const std::string& where) {
    std::vector<QueryResponse> out;
    if (!n.IsDefined() || n.IsNull()) return out;
    requireSeq(n, where);
    for (size_t i = 0; i < n.size(); ++i) out.push_back(pair(n[i], where + "[" + std::to_string(i) + "]"));
    return out;
}

Specs specs(const YAML::Node& n, const std::string& where) {
    Specs s;
    if (!n.IsDefined() || n.IsNull()) return s;
    requireMap(n, where);
    if (n["min"].IsDefined()) {
        s.hasMin = true;
        s.min = number(n["min"], where + ".min");
    }
    if (n["max"].IsDefined()) {
        s.hasMax = true;
        s.max = number(n["max"], where + ".max");
    }
    if (YAML::Node v = n["valid"]; v.IsDefined()) {
        requireSeq(v, where + ".valid");
        for (size_t i = 0; i < v.size(); ++i) s.valid.push_back(scalar(v[i], where + ".valid"));
    }
    std::string type = optionalScalar(n, "type", where);
    if (type == "int") s.type = Specs::Int;
    else if (type == "float") s.type = Specs::Float;
    else if (type.empty() || type == "str") s.type = (s.hasMin || s.hasMax) && type.empty() ? Specs::Float : Specs::Text;
    else fail(where + ".type: expected int, float or str");
    return s;
}

std::vector<PropertyDef> properties(const YAML::Node& n, const std::string& where) {
    std::vector<PropertyDef> out;
    if (!n.IsDefined() || n.IsNull()) return out;
    requireMap(n, where);
    for (const auto& kv : n) {
        PropertyDef p;
        p.name = scalar(kv.first, where);
        std::string at = where + "." + p.name;
        const YAML::Node& body = kv.second;
        requireMap(body, at);
        p.defaultValue = optionalScalar(body, "default", at);
        if (YAML::Node g = body["getter"]; g.IsDefined()) {
            p.getter = pair(g, at + ".getter");
            p.hasGetter = true;
        }
        if (YAML::Node st = body["setter"]; st.IsDefined()) {
            p.setter = pair(st, at + ".setter");
            p.setterError = optionalScalar(st, "e", at + ".setter", &p.hasSetterError);
            response(p.setterError, at + ".setter.e");
            p.hasSetter = true;
        }
        p.specs = specs(body["specs"], at + ".specs");
        out.push_back(std::move(p));
    }
    return out;
}

void errors(const YAML::Node& n, DeviceDef& d, const std::string& where) {
    if (!n.IsDefined() || n.IsNull()) return;
    if (n.IsScalar()) {
        d.commandError = scalar(n, where);
        d.hasCommandError = d.commandError != kNullResponse;
        response(d.commandError, where);
        return;
    }
    requireMap(n, where);
    if (YAML::Node r = n["response"]; r.IsDefined()) {
        requireMap(r, where + ".response");
        d.commandError = optionalScalar(r, "command_error", where + ".response", &d.hasCommandError);
        d.queryError = optionalScalar(r, "query_error", where + ".response", &d.hasQueryError);
        // null_response: the error is recorded, but nothing is answered.
        if (d.commandError == kNullResponse) d.hasCommandError = false;
        if (d.queryError == kNullResponse) d.hasQueryError = false;
        response(d.commandError, where + ".response.command_error");
        response(d.queryError, where + ".response.query_error");
    }
    if (YAML::Node regs = n["status_register"]; regs.IsDefined()) {
        requireSeq(regs, where + ".status_register");
        for (size_t i = 0; i < regs.size(); ++i) {
            std::string at = where + ".status_register[" + std::to_string(i) + "]";
            requireMap(regs[i], at);
            StatusRegisterDef reg;
            for (const auto& kv : regs[i]) {
                std::string key = scalar(kv.first, at);
                if (key == "q") reg.q = scalar(kv.second, at + ".q");
                else reg.bits.emplace_back(key, integer(kv.second, at + "." + key));
            }
            if (reg.q.empty()) fail(at + ": needs q");
            d.statusRegisters.push_back(std::move(reg));
        }
    }
    if (YAML::Node queues = n["error_queue"]; queues.IsDefined()) {
        requireSeq(queues, where + ".error_queue");
        for (size_t i = 0; i < queues.size(); ++i) {
            std::string at = where + ".error_queue[" + std::to_string(i) + "]";
            requireMap(queues[i], at);
            ErrorQueueDef q;
            for (const auto& kv : queues[i]) {
                std::string key = scalar(kv.first, at);
                if (key == "q") q.q = scalar(kv.second, at + ".q");
                else if (key == "default") q.defaultText = scalar(kv.second, at + ".default");
                else q.messages.emplace_back(key, scalar(kv.second, at + "." + key));
            }
            if (q.q.empty()) fail(at + ": needs q");
            d.errorQueues.push_back(std::move(q));
        }
    }
}

std::vector<ActionDef> actions(const YAML::Node& n, const std::string& where) {
    std::vector<ActionDef> out;
    if (!n.IsDefined() || n.IsNull()) return out;
    requireSeq(n, where);
    for (size_t i = 0; i < n.size(); ++i) {
        std::string at = where + "[" + std::to_string(i) + "]";
        const YAML::Node& body = n[i];
        requireMap(body, at);
        ActionDef a;
        int starts = 0;
        if (YAML::Node c = body["command"]; c.IsDefined()) {
            a.when = ActionDef::When::Command;
            a.command = scalar(c, at + ".command");
            if (a.command.empty()) fail(at + ".command: must not be empty");
            ++starts;
        }
        if (YAML::Node w = body["write"]; w.IsDefined()) {
            requireMap(w, at + ".write");
            a.when = ActionDef::When::Write;
            a.space = static_cast<ViUInt16>(named(kSpaces, w["space"], at + ".write.space", "space"));
            a.offset = unsignedNumber(w["offset"], at + ".write.offset", UINT64_MAX);
            ++starts;
        }
        if (YAML::Node t = body["trigger"]; t.IsDefined()) {
            if (!boolean(t, at + ".trigger")) fail(at + ".trigger: only true is meaningful");
            a.when = ActionDef::When::Trigger;
            ++starts;
        }
        if (YAML::Node e = body["every"]; e.IsDefined()) {
            a.when = ActionDef::When::Every;
            a.periodMs = static_cast<uint32_t>(unsignedNumber(e, at + ".every", 86400000));
            if (a.periodMs < 10) fail(at + ".every: at least 10 ms");
            ++starts;
        }
        if (starts != 1) fail(at + ": needs exactly one of command, write, trigger, every");
        if (YAML::Node d = body["after"]; d.IsDefined()) {
            a.delayMs = static_cast<uint32_t>(unsignedNumber(d, at + ".after", 86400000));
        }
        if (YAML::Node r = body["raise"]; r.IsDefined()) {
            a.raise = static_cast<ViEventType>(named(kEvents, r, at + ".raise", "event"));
        }
        if (YAML::Node attrs = body["attributes"]; attrs.IsDefined()) {
            requireMap(attrs, at + ".attributes");
            if (!a.raise) fail(at + ".attributes: only with raise");
            for (const auto& kv : attrs) {
                std::string name = scalar(kv.first, at + ".attributes");
                const Named* attr = lookup(kEventAttrs, name);
                if (!attr) fail(at + ".attributes: not an event attribute: " + name);
                if (attr->value < 0) {
                    a.texts.emplace_back(VI_ATTR_RECV_TCPIP_ADDR, scalar(kv.second, at + "." + name));
                } else {
                    std::string v = scalar(kv.second, at + "." + name);
                    char* end = nullptr;
                    errno = 0;
                    long long number = strtoll(v.c_str(), &end, 0);
                    if (v.empty() || *end || errno) fail(at + "." + name + ": expected a number");
                    a.numbers.emplace_back(static_cast<ViAttr>(attr->value), static_cast<ViAttrState>(number));
                }
            }
        }
        if (YAML::Node e = body["esr"]; e.IsDefined()) a.esr = static_cast<int>(unsignedNumber(e, at + ".esr", 255));
        a.send = optionalScalar(body, "send", at, &a.hasSend);
        response(a.send, at + ".send");
        if (!a.raise && a.esr < 0 && !a.hasSend) fail(at + ": does nothing (raise, esr or send)");
        out.push_back(std::move(a));
    }
    return out;
}

VxiDef vxi(const YAML::Node& n, const std::string& where) {
    VxiDef v;
    if (!n.IsDefined() || n.IsNull()) return v;
    requireMap(n, where);
    v.present = true;
    if (YAML::Node c = n["class"]; c.IsDefined()) {
        v.deviceClass = static_cast<uint16_t>(named(kVxiClasses, c, where + ".class", "device class"));
    }
    if (YAML::Node m = n["manufacturer"]; m.IsDefined()) {
        v.manufacturer = static_cast<uint16_t>(unsignedNumber(m, where + ".manufacturer", 0xFFF));
    }
    if (YAML::Node m = n["model"]; m.IsDefined()) v.model = static_cast<uint16_t>(unsignedNumber(m, where + ".model", 0xFFF));
    if (YAML::Node mem = n["memory"]; mem.IsDefined()) {
        requireMap(mem, where + ".memory");
        v.memorySpace = static_cast<ViUInt16>(named(kSpaces, mem["space"], where + ".memory.space", "space"));
        if (v.memorySpace != VI_A24_SPACE && v.memorySpace != VI_A32_SPACE) fail(where + ".memory.space: A24 or A32");
        uint64_t limit = v.memorySpace == VI_A24_SPACE ? (8u << 20) : (64u << 20);
        v.memorySize = unsignedNumber(mem["size"], where + ".memory.size", limit);
        // Memory is decoded in power-of-two blocks of at least 256 bytes, as the offset
        // register of a VXI device allows.
        if (v.memorySize < 256 || (v.memorySize & (v.memorySize - 1))) {
            fail(where + ".memory.size: a power of two, at least 256");
        }
        if (YAML::Node sh = mem["shared"]; sh.IsDefined()) v.sharedMemory = boolean(sh, where + ".memory.shared");
    }
    if (YAML::Node t = n["triggers"]; t.IsDefined()) {
        requireSeq(t, where + ".triggers");
        for (size_t i = 0; i < t.size(); ++i) {
            long long line = named(kLines, t[i], where + ".triggers", "trigger line");
            v.triggerLines |= 1u << line;
        }
    }
    if (YAML::Node p = n["passed"]; p.IsDefined()) v.passed = boolean(p, where + ".passed");
    if (YAML::Node l = n["interrupt_level"]; l.IsDefined()) {
        v.interruptLevel = static_cast<int>(unsignedNumber(l, where + ".interrupt_level", 7));
        if (v.interruptLevel < 1) fail(where + ".interrupt_level: 1 to 7");
    }
    return v;
}

PxiDef pxi(const YAML::Node& n, const std::string& where) {
    PxiDef p;
    if (!n.IsDefined() || n.IsNull()) return p;
    requireMap(n, where);
    p.present = true;
    auto id16 = [&](const char* key) -> uint16_t {
        YAML::Node v = n[key];
        return v.IsDefined() ? static_cast<uint16_t>(unsignedNumber(v, where + "." + key, 0xFFFF)) : 0;
    };
    p.vendor = id16("vendor");
    p.device = id16("device");
    p.subsystemVendor = id16("subsystem_vendor");
    p.subsystem = id16("subsystem");
    if (YAML::Node c = n["class_code"]; c.IsDefined()) {
        p.classCode = static_cast<uint32_t>(unsignedNumber(c, where + ".class_code", 0xFFFFFF));
    }
    if (YAML::Node r = n["revision"]; r.IsDefined()) p.revision = static_cast<uint8_t>(unsignedNumber(r, where + ".revision", 255));
    if (YAML::Node bars = n["bars"]; bars.IsDefined()) {
        requireSeq(bars, where + ".bars");
        if (bars.size() > 6) fail(where + ".bars: at most six");
        for (size_t i = 0; i < bars.size(); ++i) {
            std::string at = where + ".bars[" + std::to_string(i) + "]";
            requireMap(bars[i], at);
            std::string type = optionalScalar(bars[i], "type", at);
            if (type == "mem") p.bars[i].type = VI_PXI_ADDR_MEM;
            else if (type == "io") p.bars[i].type = VI_PXI_ADDR_IO;
            else if (type == "none") continue;
            else fail(at + ".type: mem, io or none");
            p.bars[i].size = unsignedNumber(bars[i]["size"], at + ".size", 16u << 20);
            if (p.bars[i].size < 16 || (p.bars[i].size & (p.bars[i].size - 1))) fail(at + ".size: a power of two, at least 16");
        }
    }
    return p;
}

SerialDef serial(const YAML::Node& n, const std::string& where) {
    SerialDef s;
    if (!n.IsDefined() || n.IsNull()) return s;
    requireMap(n, where);
    s.present = true;
    if (YAML::Node v = n["dcd"]; v.IsDefined()) s.dcd = boolean(v, where + ".dcd");
    if (YAML::Node v = n["ri"]; v.IsDefined()) s.ri = boolean(v, where + ".ri");
    if (YAML::Node v = n["handshake"]; v.IsDefined()) s.followsRts = boolean(v, where + ".handshake");
    return s;
}

constexpr uint32_t kMaxFillElements = 1u << 20;

std::vector<MemoryFillDef> memoryFills(const YAML::Node& n, const std::string& where) {
    std::vector<MemoryFillDef> out;
    if (!n.IsDefined() || n.IsNull()) return out;
    requireSeq(n, where);
    for (size_t i = 0; i < n.size(); ++i) {
        std::string at = where + "[" + std::to_string(i) + "]";
        requireMap(n[i], at);
        MemoryFillDef f;
        f.space = static_cast<ViUInt16>(named(kSpaces, n[i]["space"], at + ".space", "space"));
        if (YAML::Node o = n[i]["offset"]; o.IsDefined()) f.offset = unsignedNumber(o, at + ".offset", UINT64_MAX);
        if (YAML::Node w = n[i]["width"]; w.IsDefined()) {
            f.width = static_cast<int>(unsignedNumber(w, at + ".width", 64));
            if (f.width != 8 && f.width != 16 && f.width != 32 && f.width != 64) fail(at + ".width: 8, 16, 32 or 64");
        }
        uint64_t maxValue = f.width == 64 ? UINT64_MAX : ((uint64_t{1} << f.width) - 1);
        if (YAML::Node v = n[i]["values"]; v.IsDefined()) {
            requireSeq(v, at + ".values");
            for (size_t k = 0; k < v.size(); ++k) f.values.push_back(unsignedNumber(v[k], at + ".values", maxValue));
        }
        std::string pattern = optionalScalar(n[i], "pattern", at);
        if (pattern == "ramp") f.pattern = MemoryFillDef::Pattern::Ramp;
        else if (pattern == "sine") f.pattern = MemoryFillDef::Pattern::Sine;
        else if (!pattern.empty()) fail(at + ".pattern: ramp or sine");
        if (f.pattern != MemoryFillDef::Pattern::None) {
            if (!f.values.empty()) fail(at + ": values or a pattern, not both");
            f.count = static_cast<uint32_t>(unsignedNumber(n[i]["count"], at + ".count", kMaxFillElements));
            if (YAML::Node p = n[i]["period"]; p.IsDefined()) f.period = static_cast<uint32_t>(unsignedNumber(p, at + ".period", kMaxFillElements));
            if (f.pattern == MemoryFillDef::Pattern::Sine && f.period == 0) fail(at + ".period: needed for a sine");
        } else if (f.values.empty()) {
            fail(at + ": needs values or a pattern");
        }
        out.push_back(std::move(f));
    }
    return out;
}

FaultDef fault(const YAML::Node& n, const std::string& where) {
    requireMap(n, where);
    FaultDef f;
    f.operation = optionalScalar(n, "operation", where);
    if (f.operation.size() < 3 || f.operation.compare(0, 2, "vi") != 0) fail(where + ".operation: a VISA operation name");
    bool hasStatus = false;
    std::string status = optionalScalar(n, "status", where, &hasStatus);
    if (hasStatus && !statusByText(status, &f.status)) fail(where + ".status: not a status: " + status);
    if (YAML::Node d = n["delay"]; d.IsDefined()) f.delayMs = static_cast<uint32_t>(unsignedNumber(d, where + ".delay", 600000));
    if (YAML::Node a = n["after"]; a.IsDefined()) f.after = static_cast<uint32_t>(unsignedNumber(a, where + ".after", UINT32_MAX));
    if (YAML::Node t = n["times"]; t.IsDefined()) f.times = static_cast<int64_t>(unsignedNumber(t, where + ".times", UINT32_MAX));
    if (f.status == VI_SUCCESS && f.delayMs == 0) fail(where + ": needs a status or a delay");
    return f;
}

ViStatus statusValue(const YAML::Node& n, const std::string& where) {
    std::string text = scalar(n, where);
    ViStatus st = VI_SUCCESS;
    if (!statusByText(text, &st)) fail(where + ": not a status: " + text);
    return st;
}

InterfaceDef interfaceDef(const std::string& name, const YAML::Node& n, const std::string& where) {
    InterfaceDef d;
    d.name = name;
    if (n.IsNull()) return d;
    requireMap(n, where);
    d.description = optionalScalar(n, "description", where);
    if (d.description.size() > 200) fail(where + ".description: at most 200 characters");
    if (YAML::Node v = n["address"]; v.IsDefined()) d.address = static_cast<int>(unsignedNumber(v, where + ".address", 30));
    if (YAML::Node v = n["parent"]; v.IsDefined()) d.parent = static_cast<int>(unsignedNumber(v, where + ".parent", 65535));
    d.controller = optionalScalar(n, "controller", where);
    if (YAML::Node v = n["system_controller"]; v.IsDefined()) d.systemController = boolean(v, where + ".system_controller");
    if (YAML::Node v = n["cic"]; v.IsDefined()) d.cic = boolean(v, where + ".cic");
    if (YAML::Node v = n["control_returns_after"]; v.IsDefined()) {
        d.controlReturnsMs = static_cast<uint32_t>(unsignedNumber(v, where + ".control_returns_after", 600000));
    }
    if (YAML::Node v = n["controller_la"]; v.IsDefined()) d.controllerLa = static_cast<int>(unsignedNumber(v, where + ".controller_la", 255));
    if (YAML::Node m = n["mainframes"]; m.IsDefined()) {
        requireSeq(m, where + ".mainframes");
        for (size_t i = 0; i < m.size(); ++i) d.mainframes.push_back(static_cast<int>(unsignedNumber(m[i], where + ".mainframes", 255)));
    }
    if (YAML::Node v = n["mxi"]; v.IsDefined()) d.mxi = boolean(v, where + ".mxi");
    return d;
}

DeviceDef device(const std::string& name, const YAML::Node& n, const std::string& where) {
    requireMap(n, where);
    DeviceDef d;
    d.name = name;
    bool hasDelimiter = false;
    std::string delimiter = optionalScalar(n, "delimiter", where, &hasDelimiter);
    if (hasDelimiter) d.delimiter = delimiter;
    if (YAML::Node eom = n["eom"]; eom.IsDefined() && !eom.IsNull()) {
        requireMap(eom, where + ".eom");
        for (const auto& kv : eom) {
            std::string type = scalar(kv.first, where + ".eom");
            std::string at = where + ".eom." + type;
            requireMap(kv.second, at);
            Eom e;
            e.q = optionalScalar(kv.second, "q", at);
            e.r = optionalScalar(kv.second, "r", at);
            d.eom[type] = e;
        }
    }
    errors(n["error"], d, where + ".error");
    d.dialogues = dialogues(n["dialogues"], where + ".dialogues");
    d.properties = properties(n["properties"], where + ".properties");
    if (YAML::Node ch = n["channels"]; ch.IsDefined() && !ch.IsNull()) {
        requireMap(ch, where + ".channels");
        for (const auto& kv : ch) {
            ChannelsDef c;
            c.name = scalar(kv.first, where + ".channels");
            std::string at = where + ".channels." + c.name;
            requireMap(kv.second, at);
            YAML::Node ids = kv.second["ids"];
            requireSeq(ids, at + ".ids");
            for (size_t i = 0; i < ids.size(); ++i) c.ids.push_back(scalar(ids[i], at + ".ids"));
            if (c.ids.empty()) fail(at + ".ids: needs at least one id");
            if (YAML::Node cs = kv.second["can_select"]; cs.IsDefined()) c.canSelect = boolean(cs, at + ".can_select");
            c.dialogues = dialogues(kv.second["dialogues"], at + ".dialogues");
            c.properties = properties(kv.second["properties"], at + ".properties");
            d.channels.push_back(std::move(c));
        }
    }
    if (YAML::Node x = n["ieee4882"]; x.IsDefined()) d.ieee4882 = boolean(x, where + ".ieee4882");
    if (YAML::Node t = n["trigger"]; t.IsDefined()) {
        requireMap(t, where + ".trigger");
        d.triggerResponse = optionalScalar(t, "r", where + ".trigger", &d.hasTriggerResponse);
        response(d.triggerResponse, where + ".trigger.r");
    }
    if (YAML::Node sb = n["status_byte"]; sb.IsDefined()) {
        long v = integer(sb, where + ".status_byte");
        if (v < 0 || v > 255) fail(where + ".status_byte: must be 0 to 255");
        d.statusByte = static_cast<ViUInt8>(v);
    }
    d.vxi = vxi(n["vxi"], where + ".vxi");
    d.pxi = pxi(n["pxi"], where + ".pxi");
    d.serial = serial(n["serial"], where + ".serial");
    if (d.vxi.present && d.pxi.present) fail(where + ": a device is VXI or PXI, not both");
    d.memory = memoryFills(n["memory"], where + ".memory");
    d.actions = actions(n["actions"], where + ".actions");
    return d;
}

// Flow collections and indentation are bounded before yaml-cpp sees the text, whose parser
// recurses once per level.
bool nestingTooDeep(std::string_view text) {
    int depth = 0;
    size_t indent = 0;
    bool lineStart = true;
    for (char c : text) {
        if (c == '\n') {
            lineStart = true;
            indent = 0;
            continue;
        }
        if (lineStart && (c == ' ' || c == '-')) {
            if (++indent > 2u * kMaxNesting) return true;
            continue;
        }
        lineStart = false;
        if (c == '[' || c == '{') {
            if (++depth > kMaxNesting) return true;
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return false;
}

bool readFile(const std::string& path, std::string* text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    in.seekg(0, std::ios::end);
    std::streamoff size = in.tellg();
    if (size < 0 || static_cast<size_t>(size) > kMaxDeviceFileSize) return false;
    in.seekg(0);
    text->assign(static_cast<size_t>(size), '\0');
    in.read(text->data(), size);
    return static_cast<bool>(in);
}

ViStatus parse(std::string_view text, const std::string& baseDir, int depth, DeviceFile* out,
               std::string* problem);

void parseInto(std::string_view text, const std::string& baseDir, int depth, DeviceFile& file) {
    if (text.size() > kMaxDeviceFileSize) fail("file too large");
    if (nestingTooDeep(text)) fail("nesting too deep");
    YAML::Node root = YAML::Load(std::string(text));
    requireMap(root, "file");
    if (YAML::Node spec = root["spec"]; spec.IsDefined()) {
        std::string v = scalar(spec, "spec");
        if (v != "1" && v.rfind("1.", 0) != 0) fail("spec: version " + v + " is not supported");
    }
    if (YAML::Node devs = root["devices"]; devs.IsDefined() && !devs.IsNull()) {
        requireMap(devs, "devices");
        for (const auto& kv : devs) {
            std::string name = scalar(kv.first, "devices");
            if (file.device(name)) fail("devices." + name + ": defined twice");
            file.devices.push_back(device(name, kv.second, "devices." + name));
        }
    }
    if (YAML::Node ifs = root["interfaces"]; ifs.IsDefined() && !ifs.IsNull()) {
        requireMap(ifs, "interfaces");
        for (const auto& kv : ifs) {
            std::string name = scalar(kv.first, "interfaces");
            for (const InterfaceDef& known : file.interfaces) {
                if (known.name == name) fail("interfaces." + name + ": defined twice");
            }
            file.interfaces.push_back(interfaceDef(name, kv.second, "interfaces." + name));
        }
    }
    if (YAML::Node b = root["bench"]; b.IsDefined() && !b.IsNull()) {
        requireMap(b, "bench");
        file.hasBench = true;
        if (YAML::Node v = b["vxi_resource_manager"]; v.IsDefined()) {
            file.bench.vxiResourceManager = statusValue(v, "bench.vxi_resource_manager");
        }
        if (YAML::Node v = b["find_next_fails_after"]; v.IsDefined()) {
            file.bench.findNextFailsAfter = static_cast<long>(unsignedNumber(v, "bench.find_next_fails_after", 1000000));
        }
        if (YAML::Node v = b["find_next_status"]; v.IsDefined()) {
            file.bench.findNextStatus = statusValue(v, "bench.find_next_status");
            if (file.bench.findNextStatus >= 0) fail("bench.find_next_status: an error status");
        }
    }
    if (YAML::Node res = root["resources"]; res.IsDefined() && !res.IsNull()) {
        requireMap(res, "resources");
        for (const auto& kv : res) {
            ResourceDef r;
            r.name = scalar(kv.first, "resources");
            std::string at = "resources." + r.name;
            requireMap(kv.second, at);
            r.device = optionalScalar(kv.second, "device", at);
            // Interface resources (boards, backplanes, memory access) need no device; a servant
            // may name the peer that talks to it.
            std::string upper = r.name;
            for (char& c : upper) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
            bool needsDevice = upper.find("::INSTR") != std::string::npos ||
                               upper.find("::SOCKET") != std::string::npos;
            if (r.device.empty() && needsDevice) fail(at + ": needs a device");
            if (YAML::Node p = kv.second["present"]; p.IsDefined()) r.present = boolean(p, at + ".present");
            if (YAML::Node o = kv.second["open"]; o.IsDefined()) {
                r.openStatus = statusValue(o, at + ".open");
                if (r.openStatus >= 0) fail(at + ".open: an error status");
            }
            if (YAML::Node m = kv.second["mainframe"]; m.IsDefined()) r.mainframe = static_cast<int>(unsignedNumber(m, at + ".mainframe", 255));
            if (YAML::Node sl = kv.second["slot"]; sl.IsDefined()) r.slot = static_cast<int>(unsignedNumber(sl, at + ".slot", 255));
            if (YAML::Node f = kv.second["faults"]; f.IsDefined()) {
                requireSeq(f, at + ".faults");
                for (size_t i = 0; i < f.size(); ++i) r.faults.push_back(fault(f[i], at + ".faults[" + std::to_string(i) + "]"));
            }
            std::string other = optionalScalar(kv.second, "filename", at);
            if (YAML::Node attrs = kv.second["attributes"]; attrs.IsDefined()) {
                requireMap(attrs, at + ".attributes");
                for (const auto& a : attrs) {
                    r.attributes.emplace_back(scalar(a.first, at + ".attributes"),
                                              scalar(a.second, at + ".attributes"));
                }
            }
            if (!other.empty()) {
                // The device comes from another file; it joins this one under a private name.
                if (baseDir.empty()) fail(at + ": references to other files are not allowed here");
                if (depth >= kMaxIncludeDepth) fail(at + ": files refer to each other too deeply");
                std::string path = other[0] == '/' ? other : baseDir + "/" + other;
                std::string content;
                if (!readFile(path, &content)) fail(at + ": cannot read " + path);
                DeviceFile sub;
                std::string why;
                size_t slash = path.rfind('/');
                if (parse(content, path.substr(0, slash), depth + 1, &sub, &why) != VI_SUCCESS) {
                    fail(path + ": " + why);
                }
                const DeviceDef* d = sub.device(r.device);
                if (!d) fail(at + ": " + path + " has no device " + r.device);
                DeviceDef copy = *d;
                copy.name = path + "#" + r.device;
                r.device = copy.name;
                if (!file.device(copy.name)) file.devices.push_back(std::move(copy));
            } else if (!r.device.empty() && !file.device(r.device)) {
                fail(at + ": no device named " + r.device);
            }
            file.resources.push_back(std::move(r));
        }
    }
}

ViStatus parse(std::string_view text, const std::string& baseDir, int depth, DeviceFile* out,
               std::string* problem) {
    DeviceFile file;
    try {
        parseInto(text, baseDir, depth, file);
    } catch (const Invalid& e) {
        if (problem) *problem = e.what;
        return VI_ERROR_INV_SETUP;
    } catch (const YAML::Exception& e) {
        if (problem) *problem = std::string("YAML: ") + e.what();
        return VI_ERROR_INV_SETUP;
    } catch (const std::exception& e) {
        if (problem) *problem = e.what();
        return VI_ERROR_INV_SETUP;
    }
    *out = std::move(file);
    return VI_SUCCESS;
}

}  // namespace

ViUInt16 spaceByName(const std::string& name) {
    const Named* n = lookup(kSpaces, name);
    return n ? static_cast<ViUInt16>(n->value) : 0;
}

bool statusByText(const std::string& text, ViStatus* out) {
    if (const StatusInfo* info = findStatusByName(text.c_str())) {
        *out = info->status;
        return true;
    }
    char* end = nullptr;
    errno = 0;
    long long v = strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end || errno) return false;
    // Codes are written as signed numbers or as their 32-bit pattern (0xBFFF0015).
    if (v < INT32_MIN || v > static_cast<long long>(UINT32_MAX)) return false;
    *out = static_cast<ViStatus>(static_cast<uint32_t>(v));
    return true;
}

bool triggerLineByName(const std::string& name, ViInt16* out) {
    const Named* n = lookup(kLines, name);
    if (!n) return false;
    *out = static_cast<ViInt16>(n->value);
    return true;
}

const DeviceDef* DeviceFile::device(const std::string& name) const {
    for (const DeviceDef& d : devices) {
        if (d.name == name) return &d;
    }
    return nullptr;
}

ViStatus parseDeviceText(std::string_view text, const std::string& baseDir, DeviceFile* out,
                         std::string* problem) {
    return parse(text, baseDir, 0, out, problem);
}

ViStatus loadDeviceFile(const std::string& path, DeviceFile* out, std::string* problem) {
    std::string text;
    if (!readFile(path, &text)) {
        if (problem) *problem = "cannot read " + path;
        return VI_ERROR_FILE_ACCESS;
    }
    size_t slash = path.rfind('/');
    std::string base = slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
    return parse(text, base, 0, out, problem);
}

}  // namespace zuvisa::sim

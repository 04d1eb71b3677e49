// The VXI commands of vxterm: word-serial commands and queries, register reads and writes, and
// a device's configuration registers.
#include <cstdio>
#include <string>
#include <vector>

#include "tools/termcore/terminal.h"

namespace {

struct NamedValue {
    const char* name;
    unsigned value;
};

const NamedValue kSpaces[] = {
    {"A16", VI_A16_SPACE},       {"A24", VI_A24_SPACE},       {"A32", VI_A32_SPACE},
    {"A64", VI_A64_SPACE},       {"CFG", VI_PXI_CFG_SPACE},   {"BAR0", VI_PXI_BAR0_SPACE},
    {"BAR1", VI_PXI_BAR1_SPACE}, {"BAR2", VI_PXI_BAR2_SPACE}, {"BAR3", VI_PXI_BAR3_SPACE},
    {"BAR4", VI_PXI_BAR4_SPACE}, {"BAR5", VI_PXI_BAR5_SPACE}, {nullptr, 0},
};

// Word-serial modes: command width / response width.
const NamedValue kModes[] = {
    {"16", VI_VXI_CMD16},           {"16/16", VI_VXI_CMD16_RESP16},
    {"32", VI_VXI_CMD32},           {"32/16", VI_VXI_CMD32_RESP16},
    {"32/32", VI_VXI_CMD32_RESP32}, {"/16", VI_VXI_RESP16},
    {"/32", VI_VXI_RESP32},         {nullptr, 0},
};

bool lookup(const NamedValue* table, const std::string& word, unsigned* value) {
    for (const NamedValue* n = table; n->name; ++n) {
        std::string upper = word;
        for (char& c : upper) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
        if (upper == n->name) {
            *value = n->value;
            return true;
        }
    }
    return false;
}

std::string hex(unsigned long long value, int digits) {
    char text[40];
    std::snprintf(text, sizeof text, "0x%0*llX (%llu)", digits, value, value);
    return text;
}

void cmdWordSerial(TermState* s, const std::string& args, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    std::vector<std::string> w = Term_Words(args);
    unsigned mode = VI_VXI_CMD16_RESP16;
    unsigned long long command = 0;
    bool responseOnly = w.size() == 1 && lookup(kModes, w[0], &mode) &&
                        (mode == VI_VXI_RESP16 || mode == VI_VXI_RESP32);
    if (!responseOnly) {
        mode = VI_VXI_CMD16_RESP16;
        if (w.empty() || w.size() > 2 || (w.size() == 2 && !lookup(kModes, w[1], &mode)) ||
            mode == VI_VXI_RESP16 || mode == VI_VXI_RESP32 ||
            !Term_ParseNumber(w[0], (mode & VI_VXI_CMD32) ? 0xFFFFFFFFull : 0xFFFFull, &command))
            return Term_Fail(s,
                             "usage: /cmd COMMAND [16|16/16|16/32|32|32/16|32/32], or /cmd /16 or "
                             "/32 for a response",
                             out);
    }
    ViUInt32 response = 0;
    ViStatus st = viVxiCommandQuery(s->vi, static_cast<ViUInt16>(mode),
                                    static_cast<ViUInt32>(command), &response);
    if (!Term_Report(s, "viVxiCommandQuery", st, out)) return;
    bool hasResponse = (mode & (VI_VXI_RESP16 | VI_VXI_RESP32)) != 0;
    if (hasResponse)
        out->append("Response: " + hex(response, (mode & VI_VXI_RESP32) ? 8 : 4) + "\n");
    else
        out->append("Sent " + hex(command, (mode & VI_VXI_CMD32) ? 8 : 4) + ".\n");
}

// /in8 .. /in64 and /out8 .. /out64: the width comes from the command's name.
bool parseRegisterArgs(TermState* s, const std::string& args, bool withValue, int bits,
                       unsigned* space, unsigned long long* offset, unsigned long long* value,
                       std::string* out) {
    std::vector<std::string> w = Term_Words(args);
    unsigned long long maxValue = bits == 64 ? ~0ull : (1ull << bits) - 1;
    if (w.size() != (withValue ? 3u : 2u) || !lookup(kSpaces, w[0], space) ||
        !Term_ParseNumber(w[1], ~0ull, offset) ||
        (withValue && !Term_ParseNumber(w[2], maxValue, value))) {
        Term_Fail(s,
                  std::string("usage: /") + (withValue ? "out" : "in") + std::to_string(bits) +
                      " SPACE OFFSET" + (withValue ? " VALUE" : "") +
                      ", SPACE one of A16 A24 A32 A64 CFG BAR0..BAR5",
                  out);
        return false;
    }
    return true;
}

ViStatus inRegister(ViSession vi, int bits, ViUInt16 space, ViBusAddress64 offset,
                    unsigned long long* value) {
    ViStatus st = VI_ERROR_INV_PARAMETER;
    switch (bits) {
        case 8: {
            ViUInt8 v = 0;
            st = viIn8Ex(vi, space, offset, &v);
            *value = v;
            break;
        }
        case 16: {
            ViUInt16 v = 0;
            st = viIn16Ex(vi, space, offset, &v);
            *value = v;
            break;
        }
        case 32: {
            ViUInt32 v = 0;
            st = viIn32Ex(vi, space, offset, &v);
            *value = v;
            break;
        }
        default: {
            ViUInt64 v = 0;
            st = viIn64Ex(vi, space, offset, &v);
            *value = v;
        }
    }
    return st;
}

ViStatus outRegister(ViSession vi, int bits, ViUInt16 space, ViBusAddress64 offset,
                     unsigned long long value) {
    switch (bits) {
        case 8:
            return viOut8Ex(vi, space, offset, static_cast<ViUInt8>(value));
        case 16:
            return viOut16Ex(vi, space, offset, static_cast<ViUInt16>(value));
        case 32:
            return viOut32Ex(vi, space, offset, static_cast<ViUInt32>(value));
        default:
            return viOut64Ex(vi, space, offset, value);
    }
}

void registerAccess(TermState* s, const std::string& args, int bits, bool write, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    unsigned space = 0;
    unsigned long long offset = 0, value = 0;
    if (!parseRegisterArgs(s, args, write, bits, &space, &offset, &value, out)) return;
    std::string op = std::string(write ? "viOut" : "viIn") + std::to_string(bits) + "Ex";
    ViUInt16 sp = static_cast<ViUInt16>(space);
    ViStatus st = write ? outRegister(s->vi, bits, sp, offset, value)
                        : inRegister(s->vi, bits, sp, offset, &value);
    if (!Term_Report(s, op.c_str(), st, out)) return;
    out->append((write ? "Wrote " : "") + hex(value, bits / 4) + (write ? ".\n" : "\n"));
}

#define REGISTER_COMMAND(bits, write) \
    [](TermState* s, const std::string& a, std::string* o) { registerAccess(s, a, bits, write, o); }

// The configuration registers at the start of the device's A16 block.
void cmdRegisters(TermState* s, const std::string& args, std::string* out) {
    if (!Term_NeedSession(s, out)) return;
    if (!args.empty()) return Term_Fail(s, "usage: /regs", out);
    static const char* const kClasses[] = {"memory", "extended", "message-based", "register-based"};
    static const char* const kSpaceNames[] = {"A16/A24", "A16/A32", "reserved", "A16 only"};
    ViUInt16 r[4] = {0, 0, 0, 0};
    for (int i = 0; i < 4; ++i) {
        if (!Term_Report(s, "viIn16Ex",
                         viIn16Ex(s->vi, VI_A16_SPACE, static_cast<ViBusAddress64>(2 * i), &r[i]),
                         out))
            return;
    }
    char text[160];
    std::snprintf(text, sizeof text, "ID          0x%04X  %s device, %s, manufacturer 0x%03X\n",
                  r[0], kClasses[r[0] >> 14], kSpaceNames[(r[0] >> 12) & 3], r[0] & 0xFFF);
    out->append(text);
    std::snprintf(text, sizeof text, "Device type 0x%04X  model 0x%03X\n", r[1], r[1] & 0xFFF);
    out->append(text);
    std::snprintf(text, sizeof text, "Status      0x%04X  %s%s\n", r[2],
                  (r[2] & 0x4) ? "passed" : "not passed", (r[2] & 0x8) ? ", ready" : "");
    out->append(text);
    std::snprintf(text, sizeof text, "Offset      0x%04X\n", r[3]);
    out->append(text);
}

const TermCommand kVxiCommands[] = {
    {"cmd", "COMMAND [MODE]", "word-serial command (viVxiCommandQuery); MODE 16/16 by default",
     cmdWordSerial},
    {"regs", "", "show the configuration registers (A16 0x00 to 0x06)", cmdRegisters},
    {"in8", "SPACE OFFSET", "read a register (viIn8Ex); also /in16 /in32 /in64",
     REGISTER_COMMAND(8, false)},
    {"in16", "SPACE OFFSET", "", REGISTER_COMMAND(16, false)},
    {"in32", "SPACE OFFSET", "", REGISTER_COMMAND(32, false)},
    {"in64", "SPACE OFFSET", "", REGISTER_COMMAND(64, false)},
    {"out8", "SPACE OFFSET VALUE", "write a register (viOut8Ex); also /out16 /out32 /out64",
     REGISTER_COMMAND(8, true)},
    {"out16", "SPACE OFFSET VALUE", "", REGISTER_COMMAND(16, true)},
    {"out32", "SPACE OFFSET VALUE", "", REGISTER_COMMAND(32, true)},
    {"out64", "SPACE OFFSET VALUE", "", REGISTER_COMMAND(64, true)},
    {nullptr, nullptr, nullptr, nullptr},
};

}  // namespace

const TermTool kVxiTerminal = {
    "vxterm",
    "a line-oriented terminal to VXI and other VISA instruments, with word-serial commands and "
    "register access",
    "?*(VXI|GPIB-VXI)?*",
    kVxiCommands,
    "VXI0::24::INSTR",
};

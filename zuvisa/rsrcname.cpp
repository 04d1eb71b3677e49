// Resource-name grammar. Prefixes and class words are case-insensitive; the canonical form
// spells them in upper case, fills in the defaults (board 0, LAN device inst0, INSTR) and
// keeps host names and serial numbers as written.
#include "zuvisa/rsrcname.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <vector>

namespace zuvisa {

namespace {

bool iequals(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 32);
        if (y >= 'a' && y <= 'z') y = static_cast<char>(y - 32);
        if (x != y) return false;
    }
    return true;
}

bool istartsWith(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && iequals(text.substr(0, prefix.size()), prefix);
}

// Decimal number of at most maxDigits digits and at most maxValue.
bool parseDecimal(std::string_view s, long maxValue, int* out) {
    if (s.empty() || s.size() > 6) return false;
    long v = 0;
    for (char c : s) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + (c - '0');
    }
    if (v > maxValue) return false;
    *out = static_cast<int>(v);
    return true;
}

// Decimal, or hexadecimal with 0x, up to 0xFFFF (USB identifiers).
bool parseId16(std::string_view s, int* out) {
    if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
        std::string_view h = s.substr(2);
        if (h.empty() || h.size() > 4) return false;
        int v = 0;
        for (char c : h) {
            int d;
            if (c >= '0' && c <= '9') d = c - '0';
            else if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
            else if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
            else return false;
            v = v * 16 + d;
        }
        *out = v;
        return true;
    }
    return parseDecimal(s, 0xFFFF, out);
}

bool validHost(std::string_view h) {
    if (h.empty()) return false;
    if (h.front() == '[') {
        // An IPv6 address in brackets, with an optional zone ("[fe80::1%eth0]").
        if (h.size() < 4 || h.back() != ']') return false;
        for (char c : h.substr(1, h.size() - 2)) {
            bool ok = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || c == ':' ||
                      c == '.' || c == '%' || (c >= 'g' && c <= 'z') || (c >= 'G' && c <= 'Z') || c == '_' || c == '-';
            if (!ok) return false;
        }
        return h.find(':') != std::string_view::npos;
    }
    for (char c : h) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '.' || c == '-' || c == '_';
        if (!ok) return false;
    }
    return true;
}

bool validWord(std::string_view w) {
    if (w.empty()) return false;
    for (char c : w) {
        if (static_cast<unsigned char>(c) <= ' ' || static_cast<unsigned char>(c) >= 0x7F || c == ':') {
            return false;
        }
    }
    return true;
}

const char* const kClasses[] = {"INSTR", "INTFC", "SERVANT", "MEMACC", "BACKPLANE", "SOCKET", "RAW"};

struct Prefix {
    const char* text;
    ViUInt16 type;
};
// GPIB-VXI before GPIB, so that the longer prefix wins.
const Prefix kPrefixes[] = {{"GPIB-VXI", VI_INTF_GPIB_VXI}, {"GPIB", VI_INTF_GPIB},
                            {"VXI", VI_INTF_VXI},           {"ASRL", VI_INTF_ASRL},
                            {"TCPIP", VI_INTF_TCPIP},       {"USB", VI_INTF_USB},
                            {"PXI", VI_INTF_PXI}};

std::string fmt(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string fmt(const char* format, ...) {
    char buf[512];
    va_list ap;
    va_start(ap, format);
    vsnprintf(buf, sizeof buf, format, ap);
    va_end(ap);
    return buf;
}

ViStatus parseGpib(const std::vector<std::string_view>& t, ResourceName& r) {
    const char* p = r.intfPrefix.c_str();
    if (r.rsrcClass == "INSTR") {
        if (t.empty() || t.size() > 2) return VI_ERROR_INV_RSRC_NAME;
        if (!parseDecimal(t[0], 30, &r.primary)) return VI_ERROR_INV_RSRC_NAME;
        if (t.size() == 2 && !parseDecimal(t[1], 30, &r.secondary)) return VI_ERROR_INV_RSRC_NAME;
        r.canonical = r.secondary >= 0
                          ? fmt("%s%u::%d::%d::INSTR", p, r.board, r.primary, r.secondary)
                          : fmt("%s%u::%d::INSTR", p, r.board, r.primary);
        return VI_SUCCESS;
    }
    if ((r.rsrcClass == "INTFC" || r.rsrcClass == "SERVANT") && t.empty()) {
        r.canonical = fmt("%s%u::%s", p, r.board, r.rsrcClass.c_str());
        return VI_SUCCESS;
    }
    return VI_ERROR_INV_RSRC_NAME;
}

ViStatus parseVxi(const std::vector<std::string_view>& t, ResourceName& r) {
    const char* p = r.intfPrefix.c_str();
    if (r.rsrcClass == "INSTR") {
        if (t.size() != 1 || !parseDecimal(t[0], 32767, &r.logicalAddress)) {
            return VI_ERROR_INV_RSRC_NAME;
        }
        r.canonical = fmt("%s%u::%d::INSTR", p, r.board, r.logicalAddress);
        return VI_SUCCESS;
    }
    if (r.rsrcClass == "BACKPLANE") {
        if (t.size() > 1) return VI_ERROR_INV_RSRC_NAME;
        r.logicalAddress = 0;
        if (t.size() == 1 && !parseDecimal(t[0], 32767, &r.logicalAddress)) {
            return VI_ERROR_INV_RSRC_NAME;
        }
        r.canonical = fmt("%s%u::%d::BACKPLANE", p, r.board, r.logicalAddress);
        return VI_SUCCESS;
    }
    bool servantOk = r.intfType == VI_INTF_VXI && r.rsrcClass == "SERVANT";
    if ((r.rsrcClass == "MEMACC" || servantOk) && t.empty()) {
        r.canonical = fmt("%s%u::%s", p, r.board, r.rsrcClass.c_str());
        return VI_SUCCESS;
    }
    return VI_ERROR_INV_RSRC_NAME;
}

// A host, or for an INSTR a host with a port ("localhost:1111"), as device files write it.
bool validHostPort(std::string_view h, bool portAllowed) {
    if (validHost(h)) return true;
    size_t colon = h.rfind(':');
    int port = 0;
    return portAllowed && colon != std::string_view::npos && validHost(h.substr(0, colon)) &&
           parseDecimal(h.substr(colon + 1), 65535, &port);
}

ViStatus parseTcpip(const std::vector<std::string_view>& t, ResourceName& r) {
    if (t.empty() || !validHostPort(t[0], r.rsrcClass == "INSTR")) return VI_ERROR_INV_RSRC_NAME;
    r.host = std::string(t[0]);
    if (r.rsrcClass == "INSTR") {
        if (t.size() > 2) return VI_ERROR_INV_RSRC_NAME;
        r.lanDevice = t.size() == 2 ? std::string(t[1]) : std::string("inst0");
        if (!validWord(r.lanDevice)) return VI_ERROR_INV_RSRC_NAME;
        r.canonical = fmt("TCPIP%u::%s::%s::INSTR", r.board, r.host.c_str(), r.lanDevice.c_str());
        return VI_SUCCESS;
    }
    if (r.rsrcClass == "SOCKET") {
        if (t.size() != 2 || !parseDecimal(t[1], 65535, &r.port)) return VI_ERROR_INV_RSRC_NAME;
        r.canonical = fmt("TCPIP%u::%s::%d::SOCKET", r.board, r.host.c_str(), r.port);
        return VI_SUCCESS;
    }
    return VI_ERROR_INV_RSRC_NAME;
}

ViStatus parseUsb(const std::vector<std::string_view>& t, ResourceName& r) {
    if (r.rsrcClass != "INSTR" && r.rsrcClass != "RAW") return VI_ERROR_INV_RSRC_NAME;
    if (t.size() < 3 || t.size() > 4) return VI_ERROR_INV_RSRC_NAME;
    if (!parseId16(t[0], &r.usbManf) || !parseId16(t[1], &r.usbModel) || !validWord(t[2])) {
        return VI_ERROR_INV_RSRC_NAME;
    }
    r.usbSerial = std::string(t[2]);
    if (t.size() == 4 && !parseDecimal(t[3], 255, &r.usbInterface)) return VI_ERROR_INV_RSRC_NAME;
    r.canonical = fmt("USB%u::0x%04X::0x%04X::%s", r.board, r.usbManf, r.usbModel,
                      r.usbSerial.c_str());
    if (r.usbInterface >= 0) r.canonical += fmt("::%d", r.usbInterface);
    r.canonical += "::" + r.rsrcClass;
    return VI_SUCCESS;
}

ViStatus parsePxi(const std::vector<std::string_view>& t, ResourceName& r) {
    if (r.rsrcClass == "MEMACC") {
        if (!t.empty()) return VI_ERROR_INV_RSRC_NAME;
        r.canonical = fmt("PXI%u::MEMACC", r.board);
        return VI_SUCCESS;
    }
    if (r.rsrcClass != "INSTR" || t.empty()) return VI_ERROR_INV_RSRC_NAME;
    if (istartsWith(t[0], "CHASSIS")) {
        if (t.size() < 2 || t.size() > 3 || !istartsWith(t[1], "SLOT")) return VI_ERROR_INV_RSRC_NAME;
        if (!parseDecimal(t[0].substr(7), 65535, &r.pxiChassis) ||
            !parseDecimal(t[1].substr(4), 255, &r.pxiSlot)) {
            return VI_ERROR_INV_RSRC_NAME;
        }
        r.canonical = fmt("PXI%u::CHASSIS%d::SLOT%d", r.board, r.pxiChassis, r.pxiSlot);
        if (t.size() == 3) {
            if (!istartsWith(t[2], "FUNC") || !parseDecimal(t[2].substr(4), 7, &r.pxiFunction)) {
                return VI_ERROR_INV_RSRC_NAME;
            }
            r.canonical += fmt("::FUNC%d", r.pxiFunction);
        }
        r.canonical += "::INSTR";
        return VI_SUCCESS;
    }
    size_t dash = t[0].find('-');
    if (dash != std::string_view::npos) {
        // PXI[interface]::bus-device[.function]::INSTR
        if (t.size() != 1) return VI_ERROR_INV_RSRC_NAME;
        std::string_view bus = t[0].substr(0, dash), rest = t[0].substr(dash + 1);
        size_t dot = rest.find('.');
        std::string_view dev = rest.substr(0, dot);
        if (!parseDecimal(bus, 255, &r.pxiBus) || !parseDecimal(dev, 31, &r.pxiDevice)) {
            return VI_ERROR_INV_RSRC_NAME;
        }
        r.canonical = fmt("PXI%u::%d-%d", r.board, r.pxiBus, r.pxiDevice);
        if (dot != std::string_view::npos) {
            if (!parseDecimal(rest.substr(dot + 1), 7, &r.pxiFunction)) return VI_ERROR_INV_RSRC_NAME;
            r.canonical += fmt(".%d", r.pxiFunction);
        }
        r.canonical += "::INSTR";
        return VI_SUCCESS;
    }
    // PXI[bus]::device[::function]::INSTR
    if (t.size() > 2 || !parseDecimal(t[0], 31, &r.pxiDevice)) return VI_ERROR_INV_RSRC_NAME;
    r.pxiBus = r.board;
    r.canonical = fmt("PXI%u::%d", r.board, r.pxiDevice);
    if (t.size() == 2) {
        if (!parseDecimal(t[1], 7, &r.pxiFunction)) return VI_ERROR_INV_RSRC_NAME;
        r.canonical += fmt("::%d", r.pxiFunction);
    }
    r.canonical += "::INSTR";
    return VI_SUCCESS;
}

}  // namespace

std::string upperAscii(std::string_view text) {
    std::string s(text);
    for (char& c : s) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    }
    return s;
}

bool sameResource(const ResourceName& a, const ResourceName& b) {
    if (a.canonical == b.canonical) return true;
    if (a.intfType != b.intfType || a.board != b.board || a.rsrcClass != b.rsrcClass) return false;
    switch (a.intfType) {
    case VI_INTF_GPIB:
        return a.primary == b.primary && std::max(a.secondary, 0) == std::max(b.secondary, 0);
    case VI_INTF_USB:
        return a.usbManf == b.usbManf && a.usbModel == b.usbModel && a.usbSerial == b.usbSerial &&
               std::max(a.usbInterface, 0) == std::max(b.usbInterface, 0);
    case VI_INTF_TCPIP:
        return iequals(a.host, b.host) && iequals(a.lanDevice, b.lanDevice) && a.port == b.port;
    default: return false;
    }
}

ViStatus parseResourceName(std::string_view text, ResourceName* out) {
    if (!out || text.empty() || text.size() > kMaxResourceName) return VI_ERROR_INV_RSRC_NAME;
    ResourceName r;
    const Prefix* prefix = nullptr;
    for (const Prefix& p : kPrefixes) {
        if (istartsWith(text, p.text)) {
            prefix = &p;
            break;
        }
    }
    if (!prefix) return VI_ERROR_INV_RSRC_NAME;
    r.intfType = prefix->type;
    r.intfPrefix = prefix->text;
    std::string_view rest = text.substr(std::char_traits<char>::length(prefix->text));

    size_t sep = rest.find("::");
    std::string_view boardText = rest.substr(0, sep);
    int board = 0;
    if (!boardText.empty() && !parseDecimal(boardText, 65535, &board)) return VI_ERROR_INV_RSRC_NAME;
    r.board = static_cast<ViUInt16>(board);

    std::vector<std::string_view> tokens;
    if (sep != std::string_view::npos) {
        std::string_view body = rest.substr(sep + 2);
        bool more = true;
        // A bracketed IPv6 host holds "::" of its own.
        if (r.intfType == VI_INTF_TCPIP && !body.empty() && body.front() == '[') {
            size_t close = body.find(']');
            if (close == std::string_view::npos) return VI_ERROR_INV_RSRC_NAME;
            tokens.push_back(body.substr(0, close + 1));
            body = body.substr(close + 1);
            more = !body.empty();
            if (more && body.substr(0, 2) != "::") return VI_ERROR_INV_RSRC_NAME;
            if (more) body = body.substr(2);
        }
        while (more) {
            size_t next = body.find("::");
            std::string_view tok = body.substr(0, next);
            if (tok.empty()) return VI_ERROR_INV_RSRC_NAME;
            tokens.push_back(tok);
            more = next != std::string_view::npos;
            if (more) body = body.substr(next + 2);
        }
    }
    r.rsrcClass = "INSTR";
    if (!tokens.empty()) {
        for (const char* c : kClasses) {
            if (iequals(tokens.back(), c)) {
                r.rsrcClass = c;
                tokens.pop_back();
                break;
            }
        }
    }

    ViStatus st = VI_ERROR_INV_RSRC_NAME;
    switch (r.intfType) {
    case VI_INTF_GPIB: st = parseGpib(tokens, r); break;
    case VI_INTF_VXI:
    case VI_INTF_GPIB_VXI: st = parseVxi(tokens, r); break;
    case VI_INTF_ASRL:
        if (r.rsrcClass == "INSTR" && tokens.empty() && !boardText.empty()) {
            r.canonical = fmt("ASRL%u::INSTR", r.board);
            st = VI_SUCCESS;
        }
        break;
    case VI_INTF_TCPIP: st = parseTcpip(tokens, r); break;
    case VI_INTF_USB: st = parseUsb(tokens, r); break;
    case VI_INTF_PXI: st = parsePxi(tokens, r); break;
    default: break;
    }
    if (st != VI_SUCCESS || r.canonical.size() > kMaxResourceName) return VI_ERROR_INV_RSRC_NAME;
    *out = std::move(r);
    return VI_SUCCESS;
}

}  // namespace zuvisa

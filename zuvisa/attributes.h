// The attribute model: which attributes each kind of object has, their widths, whether they
// may be written and which values they accept.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zuvisa/visa.h"

namespace zuvisa {

// One bit per kind of object that carries attributes.
enum Kind : uint32_t {
    kKindRm = 1u << 0,
    kKindGpibInstr = 1u << 1,
    kKindGpibIntfc = 1u << 2,
    kKindGpibServant = 1u << 3,
    kKindVxiInstr = 1u << 4,
    kKindVxiMemacc = 1u << 5,
    kKindVxiBackplane = 1u << 6,
    kKindVxiServant = 1u << 7,
    kKindGvxiInstr = 1u << 8,
    kKindGvxiMemacc = 1u << 9,
    kKindGvxiBackplane = 1u << 10,
    kKindAsrlInstr = 1u << 11,
    kKindTcpipInstr = 1u << 12,
    kKindTcpipSocket = 1u << 13,
    kKindUsbInstr = 1u << 14,
    kKindUsbRaw = 1u << 15,
    kKindPxiInstr = 1u << 16,
    kKindPxiMemacc = 1u << 17,
};

// The kind of a resource session, 0 when the pair is not a resource this library knows.
uint32_t kindOf(ViUInt16 intfType, std::string_view rsrcClass);

// Kinds whose sessions do message-based I/O.
inline constexpr uint32_t kMessageKinds = kKindGpibInstr | kKindGpibIntfc | kKindGpibServant |
                                          kKindVxiInstr | kKindVxiServant | kKindGvxiInstr |
                                          kKindAsrlInstr | kKindTcpipInstr | kKindTcpipSocket |
                                          kKindUsbInstr | kKindUsbRaw;

enum class AttrType : uint8_t { U8, U16, U32, U64, I16, I32, Bool, Text, Ptr };

struct AttrDef {
    ViAttr id;
    const char* name;
    AttrType type;
    bool writable;
    bool resourceOwned;  // value lives in the resource: the link is asked first
    uint32_t kinds;
    ViAttrState initial;
    // Accepted values after narrowing; null accepts every value of the width.
    bool (*accepts)(ViAttrState value);
};

// The definition of attr for objects of the given kind, or null.
const AttrDef* findAttr(ViAttr attr, uint32_t kind);
// Any definition of attr, or null; also finds attributes by name for find expressions.
const AttrDef* findAttrAnyKind(ViAttr attr);
const AttrDef* findAttrByName(std::string_view name);
// Calls f for every definition that applies to kind.
template <typename F>
void forEachAttr(uint32_t kind, F&& f);

const AttrDef* attrTable(int* count);

// Width in bytes of what viGetAttribute writes (0 for text).
size_t attrWidth(AttrType type);
// Whether a state set by a client fits the attribute's width: unsigned types up to their
// maximum, signed types as a sign-extended number or as their bit pattern.
bool fitsAttr(AttrType type, ViAttrState value);
// Cuts a state down to the attribute's width; signed types are sign-extended.
ViAttrState narrow(AttrType type, ViAttrState value);
// Writes the value at its exact width (text: at most 255 characters and a terminator).
void storeAttr(AttrType type, ViAttrState value, const std::string& text, void* out);
// Interprets a narrowed value as a signed number for comparisons.
ViInt64 attrSigned(AttrType type, ViAttrState value);

template <typename F>
void forEachAttr(uint32_t kind, F&& f) {
    int n = 0;
    const AttrDef* t = attrTable(&n);
    for (int i = 0; i < n; ++i) {
        if (t[i].kinds & kind) f(t[i]);
    }
}

}  // namespace zuvisa

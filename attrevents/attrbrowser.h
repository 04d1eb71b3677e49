// The Get Attribute and Set Attribute panels: an attribute chosen from the catalogue (or typed by
// number through "<Other>..."), read or written at exactly its row's width, and shown in the
// display its row's type word asks for.
#pragma once

#include "attrevents/attrlist.h"
#include "session/sessionrecord.h"

// The last item of both attribute rings, value 0: an attribute typed by number.
#define ATTR_RING_OTHER "<Other>..."

// A value of an attribute at its row's width: 8, 16 or 32 bits, signed or unsigned, or a
// ViBoolean. `number` carries it widened, so that one numeric control can show every width.
struct AttrNumber {
    union {
        ViInt8 i8;
        ViUInt8 u8;
        ViInt16 i16;
        ViUInt16 u16;
        ViInt32 i32;
        ViUInt32 u32;
    } raw;
};

// The widened value of raw as the type word reads it (signed types sign-extend).
long long attrNumberValue(ViUInt32 typeFlags, const AttrNumber& n);
// Stores a typed number at the type's width; bits beyond the width are dropped as C does.
AttrNumber attrNumberFrom(ViUInt32 typeFlags, long long value);
// The value viSetAttribute is given for a number of this type.
ViAttrState attrStateOf(ViUInt32 typeFlags, const AttrNumber& n);

// Fills both attribute rings of a new session window for its resource kind, each ending with
// ATTR_RING_OTHER, and makes the Set panel show its first attribute. The panels may be 0.
void setupAttributePanels(SessionRecord* record, int getPanel, int setPanel, ViUInt32 kindMask);

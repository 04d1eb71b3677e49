// The attribute catalogue: every attribute a session window offers, how its value is typed and
// shown, whether it may be set, and for which kinds of resource. Rows keep their order, which
// is the order of the attribute rings; new rows go before the terminator.
#pragma once

#include <cstddef>

#include "zuvisa/visatype.h"

struct AttrListEntry {
    const char* viName;  // the VISA name, also the help topic; null ends the table
    const char* label;   // the descriptive label, or null
    ViUInt32 attrId;     // the 32-bit attribute identifier, also the ring item's value
    ViUInt32 typeFlags;  // data type (bits 0 to 3) and display class (bits 8 to 10)
    ViUInt32 settable;   // nonzero: offered on the Set Attribute panel
    ViUInt32 classMask;  // the resource kinds (session window kind bits) that get the row
};

// The parts of a type word. The data type is the runtime's (VAL_CHAR, VAL_INTEGER, ...); the
// display class says how the value is shown: a text type with no class is read-only text.
enum : ViUInt32 {
    ATTRTYPE_DATA_BITS = 0x00F,
    ATTRTYPE_CLASS_BITS = 0x700,
    ATTRTYPE_TEXT = 0x000,
    ATTRTYPE_BOOLEAN = 0x100,  // a ViBoolean, shown in a boolean control
    ATTRTYPE_DECIMAL = 0x200,
    ATTRTYPE_HEX = 0x400,
};

// The 120 rows and the all-zero terminator.
extern const AttrListEntry attrList[];

// The first row with this attribute id, or null when the table has none.
const AttrListEntry* findAttrRow(ViUInt32 attrId);

// The data type of a type word: the runtime's data type code (bits 0 to 3).
int attrDataType(ViUInt32 typeFlags);
// The display class of a type word: ATTRTYPE_BOOLEAN, ATTRTYPE_DECIMAL, ATTRTYPE_HEX or 0.
ViUInt32 attrDisplayClass(ViUInt32 typeFlags);
// Whether a type word is one the attribute panels handle: text (0x005), boolean (0x106), or a
// decimal or hexadecimal integer of 8, 16 or 32 bits, signed or unsigned. Any other word makes
// a row invalid (the panels then report VI_ERROR_INV_PARAMETER).
bool attrTypeValid(ViUInt32 typeFlags);
// Bytes of the variable that holds a value of this type word: 1, 2 or 4; 0 for text and for
// data types that no attribute has.
size_t attrValueSize(ViUInt32 typeFlags);

// A row's ring text: the VISA name in name style 1, else the label (the VISA name for a row
// without one).
const char* attrRingText(const AttrListEntry& row, int nameStyle);
// Appends to a ring, in table order, every row whose class mask shares a bit with kindMask
// (only the settable ones for the Set Attribute ring): text by name style, value the attribute
// id. Returns the number of items added, or the runtime's negative error.
int fillAttrRing(int panel, int ring, ViUInt32 kindMask, int nameStyle, bool settableOnly);

#include "attrevents/attrlist.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "rings.h"

namespace {

int rowCount() {
    int n = 0;
    while (attrList[n].viName) ++n;
    return n;
}

TEST(AttrList, RowsInTheirOrderWithTheirFields) {
    ASSERT_EQ(rowCount(), 120);
    const AttrListEntry& end = attrList[120];
    EXPECT_TRUE(!end.label && !end.attrId && !end.typeFlags && !end.settable && !end.classMask);
    const struct {
        int row;
        const char* name;
        const char* label;
        ViUInt32 id, type, settable, mask;
    } rows[] = {
        {0, "VI_ATTR_USER_DATA", "User Data", 0x3FFF0007, 0x407, 1, 0x1FFFF},
        {1, "VI_ATTR_RSRC_NAME", "Resource Name", 0xBFFF0002, 0x005, 0, 0x1FFFF},
        {14, "VI_ATTR_FDC_GEN_SIGNAL_EN", "Fast Data Channel Signals", 0x3FFF0011, 0x106, 1, 0xA},
        {25, "VI_ATTR_VXI_LA", "VXI Logical Address", 0x3FFF00D5, 0x202, 0, 0x41BE},
        {46, "VI_ATTR_GPIB_PRIMARY_ADDR", "GPIB Primary Address", 0x3FFF0172, 0x206, 0, 0x1119},
        {47, "VI_ATTR_GPIB_PRIMARY_ADDR", "GPIB Primary Address", 0x3FFF0172, 0x206, 1, 0x2400},
        {53, "VI_ATTR_TRIG_ID", "Trigger Identifier", 0x3FFF0177, 0x202, 1, 0x181E},
        {70, "VI_ATTR_ASRL_REPLACE_CHAR", "Error Replacement Character", 0x3FFF00BE, 0x408, 1,
         0x40},
        {86, "VI_ATTR_PXI_MEM_BASE_BAR5", "BAR 5 Memory Base", 0x3FFF0226, 0x407, 0, 0x200},
        {104, "VI_ATTR_DEV_STATUS_BYTE", "Device Status Byte", 0x3FFF0189, 0x408, 1, 0x6400},
        {107, "VI_ATTR_VXI_VME_INTR_STATUS", "Asserted VXI Interrupt Lines", 0x3FFF008B, 0x406, 0,
         0x1800},
        {112, "VI_ATTR_TCPIP_DEVICE_NAME", "TCP/IP VXI-11 Device Name", 0xBFFF0199, 0x005, 0,
         0x8000},
        {115, "VI_ATTR_ASRL_DISCARD_NULL", nullptr, 0x3FFF00B0, 0x106, 1, 0x40},
        {119, "VI_ATTR_ASRL_WIRE_MODE", nullptr, 0x3FFF01BF, 0x202, 1, 0x40},
    };
    for (const auto& r : rows) {
        const AttrListEntry& e = attrList[r.row];
        EXPECT_STREQ(e.viName, r.name) << r.row;
        if (r.label) {
            EXPECT_STREQ(e.label, r.label) << r.row;
        } else {
            EXPECT_EQ(e.label, nullptr) << r.row;
        }
        EXPECT_EQ(e.attrId, r.id) << r.row;
        EXPECT_EQ(e.typeFlags, r.type) << r.row;
        EXPECT_EQ(e.settable != 0, r.settable != 0) << r.row;
        EXPECT_EQ(e.classMask, r.mask) << r.row;
    }
}

TEST(AttrList, EveryRowIsConsistent) {
    int unlabelled = 0;
    std::set<ViUInt32> types;
    for (const AttrListEntry* e = attrList; e->viName; ++e) {
        EXPECT_TRUE(attrTypeValid(e->typeFlags)) << e->viName;
        types.insert(e->typeFlags);
        bool text = e->typeFlags == 0x005;
        // Text attributes carry the standard's mark of a pointer-sized value, and none is settable.
        EXPECT_EQ(text, (e->attrId & 0x80000000u) != 0) << e->viName;
        EXPECT_FALSE(text && e->settable) << e->viName;
        EXPECT_EQ(e->classMask & ~0x1FFFFu, 0u) << e->viName;
        EXPECT_NE(e->classMask, 0u) << e->viName;
        EXPECT_EQ(std::string(e->viName).rfind("VI_ATTR_", 0), 0u);
        if (!e->label) ++unlabelled;
    }
    EXPECT_EQ(unlabelled, 5);
    EXPECT_EQ(types,
              (std::set<ViUInt32>{0x005, 0x106, 0x201, 0x202, 0x206, 0x207, 0x406, 0x407, 0x408}));
}

TEST(AttrList, LookupFindsTheFirstRowOfAnId) {
    const struct {
        ViUInt32 id;
        int row;  // -1: none
    } cases[] = {
        {0x3FFF0007, 0},
        {0x3FFF0172, 46},  // primary address: the read-only row of the pair
        {0x3FFF0173, 48},
        {0x3FFF0177, 52},  // secondary address, trigger id
        {0x3FFF01BF, 119},
        {0xBFFF0196, 110},
        {0, -1},  // the terminator is not a row
        {0x3FFF001D, -1},
        {0xFFFFFFFF, -1},
        {0x3FFF0098 | 0x80000000u, -1},  // the 64-bit form of the window base address
    };
    for (const auto& c : cases) {
        const AttrListEntry* row = findAttrRow(c.id);
        EXPECT_EQ(row ? row - attrList : -1, c.row) << std::hex << c.id;
    }
}

TEST(AttrList, TypeWords) {
    const struct {
        ViUInt32 word;
        bool valid;
        int dataType;
        ViUInt32 shown;
        size_t size;
    } cases[] = {
        {0x005, true, VAL_STRING, 0, 0},
        {0x106, true, VAL_UNSIGNED_SHORT_INTEGER, ATTRTYPE_BOOLEAN, 2},
        {0x200, true, VAL_CHAR, ATTRTYPE_DECIMAL, 1},
        {0x201, true, VAL_INTEGER, ATTRTYPE_DECIMAL, 4},
        {0x202, true, VAL_SHORT_INTEGER, ATTRTYPE_DECIMAL, 2},
        {0x206, true, VAL_UNSIGNED_SHORT_INTEGER, ATTRTYPE_DECIMAL, 2},
        {0x207, true, VAL_UNSIGNED_INTEGER, ATTRTYPE_DECIMAL, 4},
        {0x208, true, VAL_UNSIGNED_CHAR, ATTRTYPE_DECIMAL, 1},
        {0x400, true, VAL_CHAR, ATTRTYPE_HEX, 1},
        {0x401, true, VAL_INTEGER, ATTRTYPE_HEX, 4},
        {0x402, true, VAL_SHORT_INTEGER, ATTRTYPE_HEX, 2},
        {0x406, true, VAL_UNSIGNED_SHORT_INTEGER, ATTRTYPE_HEX, 2},
        {0x407, true, VAL_UNSIGNED_INTEGER, ATTRTYPE_HEX, 4},
        {0x408, true, VAL_UNSIGNED_CHAR, ATTRTYPE_HEX, 1},
        {0x000, false, VAL_CHAR, 0, 1},  // no display class and not text
        {0x007, false, VAL_UNSIGNED_INTEGER, 0, 4},
        {0x105, false, VAL_STRING, ATTRTYPE_BOOLEAN, 0},
        {0x107, false, VAL_UNSIGNED_INTEGER, ATTRTYPE_BOOLEAN, 4},  // a boolean is 16 bits
        {0x203, false, VAL_FLOAT, ATTRTYPE_DECIMAL, 0},
        {0x204, false, VAL_DOUBLE, ATTRTYPE_DECIMAL, 0},
        {0x205, false, VAL_STRING, ATTRTYPE_DECIMAL, 0},
        {0x209, false, 9, ATTRTYPE_DECIMAL, 0},
        {0x606, false, VAL_UNSIGNED_SHORT_INTEGER, 0x600, 2},  // two classes
        {0x806, false, VAL_UNSIGNED_SHORT_INTEGER, 0, 2},
        {0x1206, false, VAL_UNSIGNED_SHORT_INTEGER, ATTRTYPE_DECIMAL, 2},  // stray high bits
    };
    for (const auto& c : cases) {
        EXPECT_EQ(attrTypeValid(c.word), c.valid) << std::hex << c.word;
        EXPECT_EQ(attrDataType(c.word), c.dataType) << std::hex << c.word;
        EXPECT_EQ(attrDisplayClass(c.word), c.shown) << std::hex << c.word;
        EXPECT_EQ(attrValueSize(c.word), c.size) << std::hex << c.word;
    }
}

using AttrRings = RingTest;

// Rows offered per resource kind, for Get Attribute and for Set Attribute.
TEST_F(AttrRings, RowsOfEachKind) {
    const struct {
        ViUInt32 kind;
        int get, set;
    } kinds[] = {
        {0x1, 26, 12},    {0x2, 50, 23},    {0x4, 40, 13},      {0x8, 55, 25},    {0x10, 44, 14},
        {0x20, 36, 12},   {0x40, 41, 26},   {0x80, 26, 12},     {0x100, 28, 11},  {0x200, 45, 5},
        {0x400, 31, 14},  {0x800, 19, 4},   {0x1000, 22, 4},    {0x2000, 26, 13}, {0x4000, 21, 8},
        {0x8000, 24, 10}, {0x10000, 18, 5}, {0x1FFFF, 120, 49},  // not recognised: every row
    };
    for (const auto& k : kinds) {
        EXPECT_EQ(fillAttrRing(panel, ring, k.kind, 1, false), k.get) << std::hex << k.kind;
        auto get = take();
        EXPECT_EQ(static_cast<int>(get.size()), k.get) << std::hex << k.kind;
        EXPECT_EQ(fillAttrRing(panel, ring, k.kind, 2, true), k.set) << std::hex << k.kind;
        auto set = take();
        // Items keep the table's order; each names its row in the chosen style.
        const AttrListEntry* last = attrList - 1;
        for (const auto& [text, id] : set) {
            const AttrListEntry* row = last + 1;
            while (row->viName &&
                   !(row->attrId == id && row->settable && (row->classMask & k.kind)))
                ++row;
            ASSERT_NE(row->viName, nullptr) << text;
            EXPECT_EQ(text, row->label ? row->label : row->viName);
            last = row;
        }
    }
}

TEST_F(AttrRings, SerialTcpipAndFarVxiSessions) {
    fillAttrRing(panel, ring, 0x40, 2, false);
    int unlabelled = 0;
    for (const auto& [text, id] : take()) {
        EXPECT_TRUE(findAttrRow(id)->classMask & 0x40) << text;
        if (text.rfind("VI_ATTR_", 0) == 0) ++unlabelled;
    }
    EXPECT_EQ(unlabelled, 5) << "rows without a label show their VISA name";

    fillAttrRing(panel, ring, 0x8000, 1, false);
    int tcpip = 0;
    for (const auto& [text, id] : take()) {
        if (text.rfind("VI_ATTR_TCPIP_", 0) == 0) ++tcpip;
        EXPECT_NE(text.rfind("VI_ATTR_ASRL_", 0), 0u) << text;
        EXPECT_NE(text.rfind("VI_ATTR_GPIB_", 0), 0u) << text;
    }
    EXPECT_EQ(tcpip, 6);

    fillAttrRing(panel, ring, 0x20, 1, false);
    for (const auto& [text, id] : take()) {
        EXPECT_NE(text.rfind("VI_ATTR_FDC_", 0), 0u) << text;
        EXPECT_NE(text, "VI_ATTR_IMMEDIATE_SERV");  // 0x1E: not beyond logical address 255
    }

    // Both rows of a doubled attribute keep the same id: the GPIB interface's ring holds the
    // settable row of the primary address, found again by id as the read-only one.
    fillAttrRing(panel, ring, 0x400, 1, true);
    bool primary = false;
    for (const auto& [text, id] : take()) primary |= id == 0x3FFF0172;
    EXPECT_TRUE(primary);
}

}  // namespace

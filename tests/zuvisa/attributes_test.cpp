#include "zuvisa/attributes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

namespace zuvisa {
namespace {

TEST(Attributes, StoreWritesExactlyTheAttributeWidth) {
    struct Case {
        AttrType type;
        size_t width;
    } cases[] = {{AttrType::U8, 1}, {AttrType::U16, 2}, {AttrType::I16, 2}, {AttrType::Bool, 2},
                 {AttrType::U32, 4}, {AttrType::I32, 4}, {AttrType::U64, 8}, {AttrType::Ptr, 8}};
    for (const Case& c : cases) {
        unsigned char buf[16];
        std::memset(buf, 0xEE, sizeof buf);
        storeAttr(c.type, 0, std::string(), buf);
        for (size_t i = 0; i < sizeof buf; ++i) {
            EXPECT_EQ(buf[i], i < c.width ? 0 : 0xEE) << "type " << static_cast<int>(c.type) << " byte " << i;
        }
        EXPECT_EQ(attrWidth(c.type), c.width);
    }
}

TEST(Attributes, NarrowMasksToWidthAndSignedTypesExtend) {
    EXPECT_EQ(narrow(AttrType::U8, 0x1234567890ABCDEFull), 0xEFu);
    EXPECT_EQ(narrow(AttrType::U16, 0xFFFFFFFF0000FFFFull), 0xFFFFu);
    EXPECT_EQ(narrow(AttrType::U32, 0xDEADBEEF00000005ull), 5u);
    EXPECT_EQ(narrow(AttrType::U64, 0xDEADBEEF00000005ull), 0xDEADBEEF00000005ull);
    EXPECT_EQ(attrSigned(AttrType::I16, 0xFFFF), -1);
    EXPECT_EQ(attrSigned(AttrType::I32, 0x80000000u), INT32_MIN);
    EXPECT_EQ(attrSigned(AttrType::U16, 0xFFFF), 0xFFFF);
}

TEST(Attributes, ValuesFitTheWidthOrAreRefused) {
    struct Case {
        AttrType type;
        ViAttrState value;
        bool fits;
    } cases[] = {
        {AttrType::U8, 0xFF, true},          {AttrType::U8, 0x1FF, false},
        {AttrType::U16, 0xFFFF, true},       {AttrType::U16, 0x10000, false},
        {AttrType::Bool, 1, true},           {AttrType::Bool, 0x10001, false},
        {AttrType::I16, 0xFFFF, true},       {AttrType::I16, static_cast<ViAttrState>(-32768), true},
        {AttrType::I16, static_cast<ViAttrState>(-32769), false}, {AttrType::I16, 0x10000, false},
        {AttrType::U32, 0xFFFFFFFF, true},   {AttrType::U32, 0x100000000ull, false},
        {AttrType::U32, static_cast<ViAttrState>(-1), false},
        {AttrType::I32, static_cast<ViAttrState>(INT32_MIN), true},
        {AttrType::I32, static_cast<ViAttrState>(static_cast<int64_t>(INT32_MIN) - 1), false},
        {AttrType::U64, ~0ull, true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(fitsAttr(c.type, c.value), c.fits) << static_cast<int>(c.type) << " 0x" << std::hex << c.value;
    }
}

TEST(Attributes, TextIsCutAt255Characters) {
    char buf[300];
    storeAttr(AttrType::Text, 0, std::string(280, 'x'), buf);
    EXPECT_EQ(std::strlen(buf), 255u);
}

TEST(Attributes, EachKindHasTheAttributesOfItsInterface) {
    struct Case {
        ViUInt16 type;
        const char* cls;
        ViAttr has;
        ViAttr lacks;
    } cases[] = {
        {VI_INTF_GPIB, "INSTR", VI_ATTR_GPIB_PRIMARY_ADDR, VI_ATTR_TCPIP_ADDR},
        {VI_INTF_TCPIP, "SOCKET", VI_ATTR_TCPIP_PORT, VI_ATTR_TCPIP_DEVICE_NAME},
        {VI_INTF_TCPIP, "INSTR", VI_ATTR_TCPIP_DEVICE_NAME, VI_ATTR_TCPIP_PORT},
        {VI_INTF_ASRL, "INSTR", VI_ATTR_ASRL_BAUD, VI_ATTR_GPIB_PRIMARY_ADDR},
        {VI_INTF_USB, "INSTR", VI_ATTR_USB_SERIAL_NUM, VI_ATTR_ASRL_BAUD},
        {VI_INTF_VXI, "BACKPLANE", VI_ATTR_VXI_TRIG_STATUS, VI_ATTR_TERMCHAR},
        {VI_INTF_PXI, "MEMACC", VI_ATTR_WIN_ACCESS, VI_ATTR_PXI_DEV_NUM},
    };
    for (const Case& c : cases) {
        uint32_t kind = kindOf(c.type, c.cls);
        ASSERT_NE(kind, 0u);
        EXPECT_NE(findAttr(c.has, kind), nullptr) << c.type << c.cls;
        EXPECT_EQ(findAttr(c.lacks, kind), nullptr) << c.type << c.cls;
        EXPECT_NE(findAttr(VI_ATTR_TMO_VALUE, kind), nullptr);
    }
    EXPECT_EQ(kindOf(VI_INTF_ASRL, "SOCKET"), 0u);
    EXPECT_EQ(kindOf(99, "INSTR"), 0u);
}

TEST(Attributes, SettabilityDependsOnTheKind) {
    const AttrDef* gpibInstr = findAttr(VI_ATTR_GPIB_PRIMARY_ADDR, kKindGpibInstr);
    const AttrDef* gpibIntfc = findAttr(VI_ATTR_GPIB_PRIMARY_ADDR, kKindGpibIntfc);
    ASSERT_TRUE(gpibInstr && gpibIntfc);
    EXPECT_FALSE(gpibInstr->writable);
    EXPECT_TRUE(gpibIntfc->writable);
    EXPECT_FALSE(findAttr(VI_ATTR_TRIG_ID, kKindGpibInstr)->writable);
    EXPECT_TRUE(findAttr(VI_ATTR_TRIG_ID, kKindVxiInstr)->writable);
}

TEST(Attributes, NoKindHasAnAttributeTwice) {
    int n = 0;
    const AttrDef* t = attrTable(&n);
    for (uint32_t bit = 1; bit; bit <<= 1) {
        std::set<ViAttr> seen;
        for (int i = 0; i < n; ++i) {
            if (t[i].kinds & bit) {
                EXPECT_TRUE(seen.insert(t[i].id).second) << t[i].name << " kind " << bit;
            }
        }
    }
}

TEST(Attributes, FindsByNameIncludingTheUnsuffixedForms) {
    ASSERT_NE(findAttrByName("vi_attr_tmo_value"), nullptr);
    EXPECT_EQ(findAttrByName("VI_ATTR_USER_DATA")->id, static_cast<ViAttr>(VI_ATTR_USER_DATA_32));
    EXPECT_EQ(findAttrByName("VI_ATTR_BOGUS"), nullptr);
}

}  // namespace
}  // namespace zuvisa

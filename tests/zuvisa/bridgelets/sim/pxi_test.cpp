// A PXI function through the C API: its configuration header, BARs, attributes, interrupts,
// and the memory that PXI sessions allocate.
#include "simbench.h"

namespace zuvisa::testing {
namespace {

using Pxi = SimBench;

TEST_F(Pxi, ConfigurationSpaceDescribesTheFunction) {
    ViSession vi = open("PXI0::15::INSTR");
    ViUInt32 dword = 0;
    ViUInt16 word = 0;
    ViUInt8 byte = 0;
    EXPECT_EQ(viIn32(vi, VI_PXI_CFG_SPACE, 0, &dword), VI_SUCCESS);
    EXPECT_EQ(dword, 0x70010E5Au);
    EXPECT_EQ(viIn16(vi, VI_PXI_CFG_SPACE, 2, &word), VI_SUCCESS);
    EXPECT_EQ(word, 0x7001);
    EXPECT_EQ(viIn32(vi, VI_PXI_CFG_SPACE, 8, &dword), VI_SUCCESS);
    EXPECT_EQ(dword, 0x11800002u);
    EXPECT_EQ(viIn32(vi, VI_PXI_CFG_SPACE, 0x2C, &dword), VI_SUCCESS);
    EXPECT_EQ(dword, 0x00420E5Au);
    EXPECT_EQ(viIn8(vi, VI_PXI_CFG_SPACE, 0x3D, &byte), VI_SUCCESS);
    EXPECT_EQ(byte, 1) << "INTA";

    ViUInt32 bar0 = attr<ViUInt32>(vi, VI_ATTR_PXI_MEM_BASE_BAR0_32);
    EXPECT_EQ(viIn32(vi, VI_PXI_CFG_SPACE, 0x10, &dword), VI_SUCCESS);
    EXPECT_EQ(dword, bar0);
    EXPECT_EQ(viIn32(vi, VI_PXI_CFG_SPACE, 0x14, &dword), VI_SUCCESS);
    EXPECT_EQ(dword & 1, 1u) << "BAR1 decodes I/O space";
    // Writing all ones asks a BAR for its size.
    EXPECT_EQ(viOut32(vi, VI_PXI_CFG_SPACE, 0x10, 0xFFFFFFFF), VI_SUCCESS);
    EXPECT_EQ(viIn32(vi, VI_PXI_CFG_SPACE, 0x10, &dword), VI_SUCCESS);
    EXPECT_EQ(dword, 0xFFFFF000u);
    EXPECT_EQ(viOut32(vi, VI_PXI_CFG_SPACE, 0x10, bar0), VI_SUCCESS);
    EXPECT_EQ(viIn32(vi, VI_PXI_CFG_SPACE, 0x10, &dword), VI_SUCCESS);
    EXPECT_EQ(dword, bar0);
    ViUInt64 wide = 0;
    EXPECT_EQ(viIn64(vi, VI_PXI_CFG_SPACE, 0, &wide), VI_ERROR_NSUP_WIDTH);
    EXPECT_EQ(viIn32(vi, VI_PXI_CFG_SPACE, 0x100, &dword), VI_ERROR_INV_OFFSET);

    struct Expected {
        ViAttr attr;
        ViUInt32 value;
    } attrs[] = {{VI_ATTR_MANF_ID, 0x0E5A},          {VI_ATTR_MODEL_CODE, 0x7001},
                 {VI_ATTR_PXI_SUB_MANF_ID, 0x0E5A},  {VI_ATTR_PXI_SUB_MODEL_CODE, 0x0042},
                 {VI_ATTR_PXI_MEM_TYPE_BAR0, VI_PXI_ADDR_MEM}, {VI_ATTR_PXI_MEM_TYPE_BAR1, VI_PXI_ADDR_IO},
                 {VI_ATTR_PXI_MEM_TYPE_BAR2, VI_PXI_ADDR_NONE}, {VI_ATTR_PXI_DEV_NUM, 15},
                 {VI_ATTR_SLOT, 5}};
    for (const Expected& e : attrs) {
        ViUInt32 v = 0;  // 16-bit attributes fill the low half
        EXPECT_EQ(viGetAttribute(vi, e.attr, &v), VI_SUCCESS);
        EXPECT_EQ(v, e.value) << std::hex << e.attr;
    }
    EXPECT_EQ(attr<ViUInt32>(vi, VI_ATTR_PXI_MEM_SIZE_BAR0_32), 0x1000u);
    EXPECT_EQ(attr<ViUInt64>(vi, VI_ATTR_PXI_MEM_BASE_BAR0_64), bar0);
}

TEST_F(Pxi, BarsHoldTheDevicesRegistersLittleEndian) {
    ViSession vi = open("PXI0::15::INSTR");
    ViUInt32 v = 0;
    ViUInt8 b = 0;
    EXPECT_EQ(viIn32(vi, VI_PXI_BAR0_SPACE, 4, &v), VI_SUCCESS);
    EXPECT_EQ(v, 0x12345678u);
    EXPECT_EQ(viIn8(vi, VI_PXI_BAR0_SPACE, 0, &b), VI_SUCCESS);
    EXPECT_EQ(b, 0x0D);
    ViUInt64 wide = 0;
    EXPECT_EQ(viIn64(vi, VI_PXI_BAR0_SPACE, 0, &wide), VI_SUCCESS);
    EXPECT_EQ(viIn64(vi, VI_PXI_BAR1_SPACE, 0, &wide), VI_ERROR_NSUP_WIDTH) << "I/O space is at most 32 bits";
    EXPECT_EQ(viIn32(vi, VI_PXI_BAR2_SPACE, 0, &v), VI_ERROR_INV_SPACE);
    EXPECT_EQ(viIn32(vi, VI_A16_SPACE, 0, &v), VI_ERROR_INV_SPACE);
    EXPECT_EQ(viIn32(vi, VI_PXI_BAR0_SPACE, 0x1000, &v), VI_ERROR_INV_OFFSET);
    ViAddr window = nullptr;
    ASSERT_EQ(viMapAddress(vi, VI_PXI_BAR0_SPACE, 0, 0x100, VI_FALSE, VI_NULL, &window), VI_SUCCESS);
    viPeek32(vi, window, &v);
    EXPECT_EQ(v, 0xCAFEF00Du);
    EXPECT_EQ(attr<ViUInt32>(vi, VI_ATTR_WIN_BASE_ADDR_32), attr<ViUInt32>(vi, VI_ATTR_PXI_MEM_BASE_BAR0_32));
}

TEST_F(Pxi, InterruptsCarryASequenceAndData) {
    ViSession vi = open("PXI0::15::INSTR");
    listen(vi, VI_EVENT_PXI_INTR);
    EXPECT_EQ(viDisableEvent(vi, VI_EVENT_PXI_INTR, VI_QUEUE), VI_SUCCESS);
    EXPECT_EQ(viDiscardEvents(vi, VI_EVENT_PXI_INTR, VI_QUEUE), VI_SUCCESS_QUEUE_EMPTY);
    listen(vi, VI_EVENT_PXI_INTR);
    EXPECT_EQ(viOut32(vi, VI_PXI_BAR0_SPACE, 0x10, 0x55), VI_SUCCESS);
    // The doorbell's interrupt carries what was written; the periodic one its own data.
    bool doorbell = false, periodic = false;
    ViUInt32 lastSeq = 0;
    for (int i = 0; i < 20 && !(doorbell && periodic); ++i) {
        ViEvent ctx = 0;
        ASSERT_EQ(wait(vi, VI_EVENT_PXI_INTR, &ctx), VI_SUCCESS);
        ViUInt32 data = attr<ViUInt32>(ctx, VI_ATTR_PXI_RECV_INTR_DATA);
        ViUInt32 seq = attr<ViUInt32>(ctx, VI_ATTR_PXI_RECV_INTR_SEQ);
        if (i) {
            EXPECT_GT(seq, lastSeq);
        }
        lastSeq = seq;
        doorbell |= data == 0x55;
        periodic |= data == 7;
        viClose(ctx);
    }
    EXPECT_TRUE(doorbell);
    EXPECT_TRUE(periodic);
}

TEST_F(Pxi, AllocatedMemoryIsSharedByTheBusSessions) {
    ViSession instr = open("PXI0::15::INSTR");
    ViSession mem = open("PXI0::MEMACC");
    ViBusAddress block = 0;
    ASSERT_EQ(viMemAlloc(instr, 64, &block), VI_SUCCESS);
    EXPECT_NE(block, 0u);
    EXPECT_EQ(viOut32(instr, VI_PXI_ALLOC_SPACE, block + 4, 0x11223344), VI_SUCCESS);
    ViUInt32 v = 0;
    EXPECT_EQ(viIn32(mem, VI_PXI_ALLOC_SPACE, block + 4, &v), VI_SUCCESS);
    EXPECT_EQ(v, 0x11223344u);
    EXPECT_EQ(viIn32(mem, VI_PXI_ALLOC_SPACE, block + 64, &v), VI_ERROR_INV_OFFSET) << "past the block";
    EXPECT_EQ(viIn32(mem, VI_PXI_BAR0_SPACE, 0, &v), VI_ERROR_INV_SPACE);
    ViUInt32 local[2] = {};
    EXPECT_EQ(viMoveIn32(mem, VI_PXI_ALLOC_SPACE, block, 2, local), VI_SUCCESS);
    EXPECT_EQ(local[1], 0x11223344u);
    // Memory goes with the session that allocated it.
    viClose(instr);
    EXPECT_EQ(viIn32(mem, VI_PXI_ALLOC_SPACE, block + 4, &v), VI_ERROR_INV_OFFSET);
    ViBusAddress mine = 0;
    EXPECT_EQ(viMemAlloc(mem, 16, &mine), VI_SUCCESS);
    EXPECT_EQ(viMemFree(mem, mine), VI_SUCCESS);
}

}  // namespace
}  // namespace zuvisa::testing

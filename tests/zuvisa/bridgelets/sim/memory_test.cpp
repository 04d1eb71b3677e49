#include "zuvisa/bridgelets/sim/memory.h"

#include <gtest/gtest.h>

namespace zuvisa::sim {
namespace {

TEST(Memory, NumbersInTheBussOwnByteOrder) {
    Memory big(16, true), little(16, false);
    big.write(0, 4, 0x11223344);
    little.write(0, 4, 0x11223344);
    EXPECT_EQ(big.read(0, 1), 0x11u);
    EXPECT_EQ(little.read(0, 1), 0x44u);
    EXPECT_EQ(big.read(0, 2), 0x1122u);
    EXPECT_EQ(little.read(2, 2), 0x1122u);
    EXPECT_EQ(swapBytes(0x1122, 2), 0x2211u);
    EXPECT_EQ(swapBytes(0x0102030405060708ull, 8), 0x0807060504030201ull);
}

TEST(Memory, FillsSkipWhatLiesOutside) {
    Memory m(8, true);
    MemoryFillDef f;
    f.width = 16;
    f.offset = 0x104;
    f.values = {0xAAAA, 0xBBBB, 0xCCCC};  // the last one would run past the end
    m.fill(f, 0x100);
    EXPECT_EQ(m.read(4, 2), 0xAAAAu);
    EXPECT_EQ(m.read(6, 2), 0xBBBBu);
    f.offset = 0x0FE;  // starts before the memory
    m.fill(f, 0x100);
    EXPECT_EQ(m.read(0, 2), 0xBBBBu);
    MemoryFillDef ramp;
    ramp.width = 8;
    ramp.pattern = MemoryFillDef::Pattern::Ramp;
    ramp.count = 300;
    Memory r(300, true);
    r.fill(ramp, 0);
    EXPECT_EQ(r.read(255, 1), 255u);
    EXPECT_EQ(r.read(256, 1), 0u) << "wraps at the width";
}

TEST(Allocator, FirstFitWithOwners) {
    Allocator a(0x1000, 0x100);
    uint64_t x = 0, y = 0, z = 0;
    int owner1 = 0, owner2 = 0;
    ASSERT_EQ(a.allocate(0x40, &owner1, &x), VI_SUCCESS);
    ASSERT_EQ(a.allocate(0x41, &owner2, &y), VI_SUCCESS);
    EXPECT_EQ(x, 0x1000u);
    EXPECT_EQ(y, 0x1040u);
    EXPECT_TRUE(a.covers(y + 0x40, 1));
    EXPECT_FALSE(a.covers(y + 0x41, 1)) << "the padding is not the block's";
    EXPECT_EQ(a.allocate(0x100, &owner1, &z), VI_ERROR_ALLOC);
    EXPECT_EQ(a.allocate(0, &owner1, &z), VI_ERROR_INV_SIZE);
    a.releaseAll(&owner1);
    EXPECT_FALSE(a.covers(x, 1));
    ASSERT_EQ(a.allocate(0x38, &owner2, &z), VI_SUCCESS);
    EXPECT_EQ(z, 0x1000u) << "the freed hole is used first";
    EXPECT_EQ(a.release(0x1001), VI_ERROR_INV_OFFSET);
    EXPECT_EQ(a.release(y), VI_SUCCESS);
}

}  // namespace
}  // namespace zuvisa::sim

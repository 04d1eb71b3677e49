// Block moves, byte order, increments, mapped windows and shared memory on register-based
// resources, through the C API.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "simbench.h"

namespace zuvisa::testing {
namespace {

using Registers = SimBench;

TEST_F(Registers, MovesFollowByteOrderAndIncrement) {
    ViSession dig = open("VXI0::8::INSTR");
    ViUInt16 words[4] = {};
    EXPECT_EQ(viMoveIn16(dig, VI_A24_SPACE, 0, 4, words), VI_SUCCESS);
    EXPECT_EQ(std::vector<ViUInt16>(words, words + 4), (std::vector<ViUInt16>{0x1111, 0x2222, 0x3333, 0x4444}));

    EXPECT_EQ(viSetAttribute(dig, VI_ATTR_SRC_BYTE_ORDER, VI_LITTLE_ENDIAN), VI_SUCCESS);
    ViUInt16 id = 0;
    EXPECT_EQ(viIn16(dig, VI_A16_SPACE, 0, &id), VI_SUCCESS);
    EXPECT_EQ(id, 0x5ACE) << "swapped for a little-endian reader";
    EXPECT_EQ(viSetAttribute(dig, VI_ATTR_SRC_BYTE_ORDER, VI_BIG_ENDIAN), VI_SUCCESS);

    // Without increment every element comes from the same register (a FIFO).
    EXPECT_EQ(viSetAttribute(dig, VI_ATTR_SRC_INCREMENT, 0), VI_SUCCESS);
    EXPECT_EQ(viMoveIn16Ex(dig, VI_A24_SPACE, 2, 3, words), VI_SUCCESS);
    EXPECT_EQ(std::vector<ViUInt16>(words, words + 3), (std::vector<ViUInt16>{0x2222, 0x2222, 0x2222}));
    EXPECT_EQ(viSetAttribute(dig, VI_ATTR_SRC_INCREMENT, 1), VI_SUCCESS);

    ViUInt32 out[2] = {0x01020304, 0x05060708};
    EXPECT_EQ(viSetAttribute(dig, VI_ATTR_DEST_BYTE_ORDER, VI_LITTLE_ENDIAN), VI_SUCCESS);
    EXPECT_EQ(viMoveOut32(dig, VI_A24_SPACE, 0x100, 2, out), VI_SUCCESS);
    ViUInt8 bytes[8] = {};
    EXPECT_EQ(viMoveIn8(dig, VI_A24_SPACE, 0x100, 8, bytes), VI_SUCCESS);
    EXPECT_EQ(std::vector<ViUInt8>(bytes, bytes + 8), (std::vector<ViUInt8>{4, 3, 2, 1, 8, 7, 6, 5}));
    EXPECT_EQ(viMoveIn32(dig, VI_A24_SPACE, 0xFFFC, 2, out), VI_ERROR_INV_OFFSET) << "runs past the memory";
    EXPECT_EQ(viMoveOut8(dig, VI_A16_SPACE, 0x30, 0, bytes), VI_SUCCESS);
}

TEST_F(Registers, MoveCopiesBetweenSpacesAndLocalMemory) {
    ViSession mem = open("VXI0::MEMACC");
    ViSession dig = open("VXI0::8::INSTR");
    ViUInt32 base = attr<ViUInt32>(dig, VI_ATTR_MEM_BASE_32);
    EXPECT_EQ(viMove(mem, VI_A24_SPACE, base, VI_WIDTH_16, VI_A24_SPACE, base + 0x200, VI_WIDTH_16, 4), VI_SUCCESS);
    ViUInt16 v = 0;
    EXPECT_EQ(viIn16(dig, VI_A24_SPACE, 0x206, &v), VI_SUCCESS);
    EXPECT_EQ(v, 0x4444);

    ViUInt16 local[4] = {};
    EXPECT_EQ(viMoveEx(mem, VI_A24_SPACE, base, VI_WIDTH_16, VI_LOCAL_SPACE, reinterpret_cast<uintptr_t>(local),
                       VI_WIDTH_16, 4),
              VI_SUCCESS);
    EXPECT_EQ(local[3], 0x4444);
    local[0] = 0xBEEF;
    EXPECT_EQ(viMove(mem, VI_LOCAL_SPACE, reinterpret_cast<uintptr_t>(local), VI_WIDTH_16, VI_A24_SPACE, base + 0x300,
                     VI_WIDTH_16, 1),
              VI_SUCCESS);
    EXPECT_EQ(viIn16(dig, VI_A24_SPACE, 0x300, &v), VI_SUCCESS);
    EXPECT_EQ(v, 0xBEEF);
    EXPECT_EQ(viMove(mem, VI_A24_SPACE, base, VI_WIDTH_16, VI_A24_SPACE, base, VI_WIDTH_32, 1), VI_ERROR_NSUP_VAR_WIDTH);
    EXPECT_EQ(viMove(mem, VI_A24_SPACE, 0xF000, VI_WIDTH_8, VI_LOCAL_SPACE, reinterpret_cast<uintptr_t>(local), VI_WIDTH_8, 1),
              VI_ERROR_BERR);

    // The asynchronous form completes through the I/O completion event with its count.
    listen(mem, VI_EVENT_IO_COMPLETION);
    ViJobId job = 0;
    ViUInt16 copy[4] = {};
    EXPECT_GE(viMoveAsync(mem, VI_A24_SPACE, base, VI_WIDTH_16, VI_LOCAL_SPACE, reinterpret_cast<uintptr_t>(copy),
                          VI_WIDTH_16, 4, &job),
              VI_SUCCESS);
    ViEvent ctx = 0;
    ASSERT_EQ(wait(mem, VI_EVENT_IO_COMPLETION, &ctx), VI_SUCCESS);
    EXPECT_EQ(attr<ViJobId>(ctx, VI_ATTR_JOB_ID), job);
    EXPECT_EQ(attr<ViStatus>(ctx, VI_ATTR_STATUS), VI_SUCCESS);
    EXPECT_EQ(attr<ViUInt32>(ctx, VI_ATTR_RET_COUNT_32), 4u);
    EXPECT_EQ(copy[1], 0x2222);
}

TEST_F(Registers, AMappedWindowIsReadThroughPeekAndPoke) {
    ViSession dig = open("VXI0::8::INSTR");
    ViAddr window = nullptr;
    EXPECT_EQ(attr<ViUInt16>(dig, VI_ATTR_WIN_ACCESS), VI_NMAPPED);
    ASSERT_EQ(viMapAddress(dig, VI_A24_SPACE, 0, 0x100, VI_FALSE, VI_NULL, &window), VI_SUCCESS);
    ASSERT_NE(window, nullptr);
    EXPECT_LE(reinterpret_cast<uintptr_t>(window), 0xFFFFFFFFu) << "fits a 32-bit address field";
    ViAddr again = nullptr;
    EXPECT_EQ(viMapAddress(dig, VI_A24_SPACE, 0, 0x100, VI_FALSE, VI_NULL, &again), VI_ERROR_WINDOW_MAPPED);
    EXPECT_EQ(attr<ViUInt16>(dig, VI_ATTR_WIN_ACCESS), VI_USE_OPERS);
    EXPECT_EQ(attr<ViUInt32>(dig, VI_ATTR_WIN_SIZE), 0x100u);
    EXPECT_EQ(attr<ViUInt32>(dig, VI_ATTR_WIN_BASE_ADDR_32), attr<ViUInt32>(dig, VI_ATTR_MEM_BASE_32));
    auto at = [&](size_t offset) { return static_cast<ViAddr>(static_cast<char*>(window) + offset); };
    ViUInt16 v = 0;
    viPeek16(dig, at(4), &v);
    EXPECT_EQ(v, 0x3333);
    viPoke32(dig, at(0x10), 0xA5A55A5A);
    ViUInt32 w = 0;
    EXPECT_EQ(viIn32(dig, VI_A24_SPACE, 0x10, &w), VI_SUCCESS);
    EXPECT_EQ(w, 0xA5A55A5Au);
    EXPECT_EQ(viSetAttribute(dig, VI_ATTR_WIN_BYTE_ORDER, VI_LITTLE_ENDIAN), VI_SUCCESS);
    viPeek16(dig, at(4), &v);
    EXPECT_EQ(v, 0x3333) << "a palindrome either way";
    ViUInt32 x = 0;
    viPeek32(dig, at(0x10), &x);
    EXPECT_EQ(x, 0x5A5AA5A5u);

    // Outside the window the access fails, which only the exception event could tell.
    x = 7;
    viPeek32(dig, at(0x100), &x);
    EXPECT_EQ(x, 0u);
    EXPECT_EQ(viUnmapAddress(dig), VI_SUCCESS);
    EXPECT_EQ(viUnmapAddress(dig), VI_ERROR_WINDOW_NMAPPED);
    EXPECT_EQ(viMapAddress(dig, VI_A24_SPACE, 0xFF00, 0x200, VI_FALSE, VI_NULL, &window), VI_ERROR_INV_OFFSET);
    EXPECT_EQ(viMapAddress(dig, VI_A24_SPACE, 0, 0, VI_FALSE, VI_NULL, &window), VI_ERROR_INV_SIZE);
    EXPECT_EQ(viSetAttribute(dig, VI_ATTR_WIN_BYTE_ORDER, VI_BIG_ENDIAN), VI_SUCCESS);
    EXPECT_EQ(viMapAddressEx(dig, VI_A16_SPACE, 0, 0x40, VI_FALSE, VI_NULL, &window), VI_SUCCESS);
    viPeek16(dig, window, &v);
    EXPECT_EQ(v, 0xCE5A);
}

// The permissions of the mapping that holds an address in this process ("" when none does).
std::string permissionsAt(const void* address) {
    std::ifstream maps("/proc/self/maps");
    auto a = reinterpret_cast<uintptr_t>(address);
    std::string line;
    while (std::getline(maps, line)) {
        unsigned long from = 0, to = 0;
        char perms[5] = "";
        if (sscanf(line.c_str(), "%lx-%lx %4s", &from, &to, perms) == 3 && a >= from && a < to) return perms;
    }
    return "";
}

// A stray address fails with a status (which the exception event reports) and touches nothing.
TEST_F(Registers, PeekAndPokeTouchOnlyTheMappedWindow) {
    ViSession dig = open("VXI0::8::INSTR");
    ExceptionSeen refusal;
    ASSERT_EQ(viInstallHandler(dig, VI_EVENT_EXCEPTION, noteException, &refusal), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(dig, VI_EVENT_EXCEPTION, VI_HNDLR, VI_NULL), VI_SUCCESS);
    constexpr ViBusAddress kAt = 0x40, kSize = 0x20;
    // Guard words on both sides of the window.
    ASSERT_EQ(viOut32(dig, VI_A24_SPACE, kAt - 4, 0x5A5A5A5A), VI_SUCCESS);
    ASSERT_EQ(viOut32(dig, VI_A24_SPACE, kAt + kSize, 0xA5A5A5A5), VI_SUCCESS);
    ViAddr window = nullptr;
    ASSERT_EQ(viMapAddress(dig, VI_A24_SPACE, kAt, kSize, VI_FALSE, VI_NULL, &window), VI_SUCCESS);
    EXPECT_EQ(permissionsAt(window), "---p") << "dereferencing the address faults; it reaches no memory";
    auto base = reinterpret_cast<intptr_t>(window);
    const struct {
        intptr_t offset;  // from the window's start
        int bytes;
        bool inside;
    } cases[] = {
        {0, 1, true},  {0, 2, true},   {0, 4, true},   {kSize - 1, 1, true}, {kSize - 2, 2, true}, {kSize - 4, 4, true},
        {-1, 1, false}, {-2, 2, false}, {-4, 4, false}, {kSize, 1, false},   {kSize - 1, 2, false}, {kSize - 2, 4, false},
        {kSize + 4, 4, false}, {intptr_t{1} << 40, 4, false}, {-base, 2, false},  // the null address
    };
    for (const auto& c : cases) {
        ViAddr a = reinterpret_cast<ViAddr>(base + c.offset);
        refusal = ExceptionSeen{};
        ViUInt32 v = 7;
        switch (c.bytes) {
        case 1: viPoke8(dig, a, 0xEE); break;
        case 2: viPoke16(dig, a, 0xEEEE); break;
        default: viPoke32(dig, a, 0xEEEEEEEE); break;
        }
        EXPECT_EQ(refusal.status, c.inside ? VI_SUCCESS : VI_ERROR_INV_OFFSET) << c.offset << "/" << c.bytes;
        if (!c.inside) {
            EXPECT_EQ(std::string(refusal.operation), "viPoke" + std::to_string(8 * c.bytes));
        }
        refusal = ExceptionSeen{};
        switch (c.bytes) {
        case 1: {
            ViUInt8 b = 7;
            viPeek8(dig, a, &b);
            v = b;
            break;
        }
        case 2: {
            ViUInt16 h = 7;
            viPeek16(dig, a, &h);
            v = h;
            break;
        }
        default: viPeek32(dig, a, &v); break;
        }
        EXPECT_EQ(refusal.status, c.inside ? VI_SUCCESS : VI_ERROR_INV_OFFSET) << c.offset << "/" << c.bytes;
        EXPECT_EQ(v, c.inside ? (0xEEEEEEEEu >> (32 - 8 * c.bytes)) : 0u) << c.offset << "/" << c.bytes;
    }
    ViUInt32 guard = 0;
    EXPECT_EQ(viIn32(dig, VI_A24_SPACE, kAt - 4, &guard), VI_SUCCESS);
    EXPECT_EQ(guard, 0x5A5A5A5Au);
    EXPECT_EQ(viIn32(dig, VI_A24_SPACE, kAt + kSize, &guard), VI_SUCCESS);
    EXPECT_EQ(guard, 0xA5A5A5A5u);
    EXPECT_EQ(viUnmapAddress(dig), VI_SUCCESS);
    refusal = ExceptionSeen{};
    viPoke16(dig, window, 0x1234);
    EXPECT_EQ(refusal.status, VI_ERROR_WINDOW_NMAPPED) << "the old address means nothing now";
    ViUInt16 h = 0;
    EXPECT_EQ(viIn16(dig, VI_A24_SPACE, kAt, &h), VI_SUCCESS);
    EXPECT_EQ(h, 0xEEEE);
}

TEST_F(Registers, SharedMemoryIsAllocatedFromTheDevice) {
    ViSession dig = open("VXI0::8::INSTR");
    ViBusAddress a = 1, b = 1;
    EXPECT_EQ(viMemAlloc(dig, 0x100, &a), VI_SUCCESS);
    EXPECT_EQ(viMemAlloc(dig, 0x100, &b), VI_SUCCESS);
    EXPECT_NE(a, b);
    EXPECT_EQ(viOut16(dig, VI_A24_SPACE, b, 0x7777), VI_SUCCESS) << "the block lies in its memory";
    EXPECT_EQ(viMemAlloc(dig, 0, &a), VI_ERROR_INV_SIZE);
    EXPECT_EQ(viMemAlloc(dig, 0x100000, &a), VI_ERROR_ALLOC);
    EXPECT_EQ(viMemFree(dig, b), VI_SUCCESS);
    EXPECT_EQ(viMemFree(dig, b), VI_ERROR_INV_OFFSET);
    ViBusAddress64 c = 0;
    EXPECT_EQ(viMemAllocEx(dig, 0x80, &c), VI_SUCCESS);
    EXPECT_EQ(c, b) << "the freed block is used again";
    EXPECT_EQ(viMemFreeEx(dig, c), VI_SUCCESS);

    ViSession counter = open("VXI0::16::INSTR");
    EXPECT_EQ(viMemAlloc(counter, 0x10, &a), VI_ERROR_NSUP_OPER) << "no memory to share";
    ViSession far = open("VXI0::300::INSTR");
    EXPECT_EQ(viMemAlloc(far, 0x10, &a), VI_ERROR_NSUP_OPER);
    ViUInt64 wide = 0;
    EXPECT_EQ(viOut64Ex(far, VI_A32_SPACE, 8, 0x0102030405060708ull), VI_SUCCESS);
    EXPECT_EQ(viIn64(far, VI_A32_SPACE, 8, &wide), VI_SUCCESS);
    EXPECT_EQ(wide, 0x0102030405060708ull);
}

}  // namespace
}  // namespace zuvisa::testing

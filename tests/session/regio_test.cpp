#include "session/regio.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "attrevents/handler.h"
#include "tests/support/sessionbench.h"
#include "zuvisa/visa.h"

namespace {

class RegisterIo : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        start();
    }
    void openWindow(const char* rsrcName) {
        window = open(rsrcName);
        ASSERT_GT(window, 0) << rsrcName;
        GetPanelAttribute(window, ATTR_CALLBACK_DATA, reinterpret_cast<void**>(&record));
        ASSERT_NE(record, nullptr);
        in = childPanel(window, "viIn");
        out = childPanel(window, "viOut");
        moveIn = childPanel(window, "viMoveIn");
        moveOut = childPanel(window, "viMoveOut");
        move = childPanel(window, "viMove");
        map = childPanel(window, "viMapAddress");
        unmap = childPanel(window, "viUnmapAddress");
        peek = childPanel(window, "viPeek");
        poke = childPanel(window, "viPoke");
    }
    static void set(int panel, int control, UiValue value) {
        ASSERT_EQ(UiTest_SetValue(panel, control, value), 0) << control;
    }
    static void commit(int panel, int control) { ASSERT_EQ(UiTest_Commit(panel, control), 0); }
    // Presses the button of a width in a group whose first button is given.
    static void chooseWidth(int panel, int first, int bits) {
        set(panel, first + (bits == 8 ? 0 : bits == 16 ? 1 : 2), 1);
    }
    static int dataTypeOf(int bits) {
        return bits == 8    ? VAL_UNSIGNED_CHAR
               : bits == 16 ? VAL_UNSIGNED_SHORT_INTEGER
                            : VAL_UNSIGNED_INTEGER;
    }
    void out1(ViUInt16 space, ViUInt32 offset, int bits, ViUInt32 value) {
        set(out, REGOUT_SPACE, space);
        set(out, REGOUT_OFFSET, offset);
        chooseWidth(out, REGOUT_WIDTH8, bits);
        set(out, REGOUT_VALUE, value);
        commit(out, REGOUT_EXECUTE);
    }
    ViUInt32 in1(ViUInt16 space, ViUInt32 offset, int bits) {
        UiTest_SetValue(in, REGIN_SPACE, space);
        UiTest_SetValue(in, REGIN_OFFSET, offset);
        chooseWidth(in, REGIN_WIDTH8, bits);
        UiTest_Commit(in, REGIN_EXECUTE);
        return number(in, REGIN_VALUE);
    }
    // Fills Move Out's elements through its editor.
    void editMoveOut(int bits, const std::vector<ViUInt32>& values) {
        chooseWidth(moveOut, MOVEOUT_WIDTH8, bits);
        set(moveOut, MOVEOUT_COUNT, static_cast<ViUInt32>(values.size()));
        for (size_t i = 0; i < values.size(); ++i) {
            set(moveOut, MOVEOUT_INDEX, static_cast<ViUInt32>(i));
            set(moveOut, MOVEOUT_VALUE, values[i]);
        }
    }
    void startMoveIn(ViUInt16 space, ViUInt32 offset, int bits, ViUInt32 count) {
        set(moveIn, MOVEIN_SPACE, space);
        set(moveIn, MOVEIN_OFFSET, offset);
        chooseWidth(moveIn, MOVEIN_WIDTH8, bits);
        set(moveIn, MOVEIN_COUNT, count);
        commit(moveIn, MOVEIN_EXECUTE);
    }
    std::vector<ViUInt32> movedIn(size_t count) {
        std::vector<ViUInt32> values;
        for (size_t i = 0; i < count; ++i) {
            SetCtrlVal(moveIn, MOVEIN_INDEX, static_cast<ViUInt32>(i));
            commit(moveIn, MOVEIN_INDEX);
            values.push_back(number(moveIn, MOVEIN_VALUE));
        }
        return values;
    }

    int window = 0, in = 0, out = 0, moveIn = 0, moveOut = 0, move = 0, map = 0, unmap = 0,
        peek = 0, poke = 0;
    SessionRecord* record = nullptr;
};

const ViUInt16 kA24 = VI_A24_SPACE, kA32 = VI_A32_SPACE, kBar0 = VI_PXI_BAR0_SPACE;

TEST_F(RegisterIo, OutThenInRoundTripAtEveryWidth) {
    const struct {
        const char* resource;
        ViUInt16 space;
        ViUInt32 offset;
        int bits;
        ViUInt32 value;
        ViUInt32 max;
    } cases[] = {
        {"VXI0::16::INSTR", kA24, 0x100, 8, 0xA5, 0xFF},
        {"VXI0::16::INSTR", kA24, 0x102, 16, 0xBEEF, 0xFFFF},
        {"VXI0::16::INSTR", kA24, 0x104, 32, 0xDEADBEEF, 0xFFFFFFFF},
        {"VXI0::300::INSTR", kA32, 0x20, 32, 0x01020304, 0xFFFFFFFF},
        {"PXI0::12::INSTR", kBar0, 0x10, 16, 0x7E57, 0xFFFF},
        {"PXI0::12::INSTR", kBar0, 0x13, 8, 0x5A, 0xFF},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.resource) + " width " + std::to_string(c.bits));
        openWindow(c.resource);
        chooseWidth(out, REGOUT_WIDTH8, c.bits);
        EXPECT_EQ(intAttribute(out, REGOUT_VALUE, ATTR_DATA_TYPE), dataTypeOf(c.bits));
        ViUInt32 max = 0;
        GetCtrlAttribute(out, REGOUT_VALUE, ATTR_MAX_VALUE, &max);
        EXPECT_EQ(max, c.max);
        out1(c.space, c.offset, c.bits, c.value);
        EXPECT_EQ(shown(out, REGOUT_STATUS, REGOUT_STATUSNAME).name, "VI_SUCCESS");
        EXPECT_EQ(in1(c.space, c.offset, c.bits), c.value);
        EXPECT_EQ(intAttribute(in, REGIN_VALUE, ATTR_DATA_TYPE), dataTypeOf(c.bits));
        EXPECT_EQ(shown(in, REGIN_STATUS, REGIN_STATUSNAME).name, "VI_SUCCESS");
        // Only one button of a group stays on.
        int on = 0;
        for (int b = REGIN_WIDTH8; b <= REGIN_WIDTH32; ++b) on += static_cast<int>(number(in, b));
        EXPECT_EQ(on, 1);
        DiscardPanel(window);
    }
}

TEST_F(RegisterIo, OtherSpaceLetsAnySpaceNumberThrough) {
    openWindow("VXI0::16::INSTR");
    out1(kA24, 0x100, 16, 0x1234);
    set(in, REGIN_SPACE, ViUInt16{0});  // "<Other>..."
    EXPECT_EQ(intAttribute(in, REGIN_SPACENUM, ATTR_DIMMED), 0);
    const struct {
        ViUInt16 space;
        bool ok;
    } cases[] = {{kA24, true}, {999, false}, {0xFFFF, false}, {0, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.space);
        set(in, REGIN_SPACENUM, c.space);
        set(in, REGIN_OFFSET, ViUInt32{0x100});
        commit(in, REGIN_EXECUTE);
        Shown s = shown(in, REGIN_STATUS, REGIN_STATUSNAME);
        EXPECT_EQ(s.red, !c.ok) << s.name;
        EXPECT_EQ(number(in, REGIN_VALUE), c.ok ? 0x1234u : 0u);
    }
    set(in, REGIN_SPACE, kA24);
    EXPECT_EQ(number(in, REGIN_SPACENUM), kA24);
    EXPECT_EQ(intAttribute(in, REGIN_SPACENUM, ATTR_DIMMED), 1);
    // A wild offset is the library's to refuse.
    EXPECT_EQ(in1(kA24, 0xFFFFFFFF, 32), 0u);
    EXPECT_TRUE(shown(in, REGIN_STATUS, REGIN_STATUSNAME).red);
}

TEST_F(RegisterIo, MoveOutThenMoveInRoundTripAtEveryWidth) {
    const struct {
        int bits;
        std::vector<ViUInt32> values;
    } cases[] = {
        {8, {0x11, 0x22, 0x33, 0xFF}},
        {16, {0x1111, 0xFFFF, 0x0001, 0xA5A5}},
        {32, {0x11111111, 0xFFFFFFFF, 0, 0x80000001, 0x12345678}},
    };
    openWindow("VXI0::16::INSTR");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bits);
        set(moveOut, MOVEOUT_SPACE, kA24);
        set(moveOut, MOVEOUT_OFFSET, ViUInt32{0x400});
        editMoveOut(c.bits, c.values);
        commit(moveOut, MOVEOUT_EXECUTE);
        EXPECT_EQ(shown(moveOut, MOVEOUT_STATUS, MOVEOUT_STATUSNAME).name, "VI_SUCCESS");
        startMoveIn(kA24, 0x400, c.bits, static_cast<ViUInt32>(c.values.size()));
        EXPECT_EQ(shown(moveIn, MOVEIN_STATUS, MOVEIN_STATUSNAME).name, "VI_SUCCESS");
        EXPECT_EQ(intAttribute(moveIn, MOVEIN_INDEX, ATTR_DIMMED), 0);
        EXPECT_EQ(intAttribute(moveIn, MOVEIN_VALUE, ATTR_DATA_TYPE), dataTypeOf(c.bits));
        ViUInt32 max = 0;
        GetCtrlAttribute(moveIn, MOVEIN_INDEX, ATTR_MAX_VALUE, &max);
        EXPECT_EQ(max, c.values.size() - 1);
        EXPECT_EQ(movedIn(c.values.size()), c.values);
    }
}

TEST_F(RegisterIo, MoveOutWidthReinterpretsTheBytesAndGrowsTheBuffer) {
    openWindow("VXI0::16::INSTR");
    editMoveOut(8, {0x01, 0x02, 0x03, 0x04});
    set(moveOut, MOVEOUT_COUNT, ViUInt32{300});
    EXPECT_EQ(record->moveOutSize, 1024u);
    set(moveOut, MOVEOUT_INDEX, ViUInt32{0});
    chooseWidth(moveOut, MOVEOUT_WIDTH8, 32);
    EXPECT_EQ(record->moveOutWidth, 32);
    EXPECT_EQ(record->moveOutSize, 1200u);
    for (ViUInt32 k = 1024; k < 1200; ++k) ASSERT_EQ(record->moveOutBuffer[k], 0) << k;
    EXPECT_EQ(number(moveOut, MOVEOUT_VALUE), 0x04030201u);
    EXPECT_EQ(intAttribute(moveOut, MOVEOUT_VALUE, ATTR_DATA_TYPE), VAL_UNSIGNED_INTEGER);
    // Back to 8 bits: the same bytes again, one at a time.
    chooseWidth(moveOut, MOVEOUT_WIDTH8, 8);
    set(moveOut, MOVEOUT_INDEX, ViUInt32{3});
    EXPECT_EQ(number(moveOut, MOVEOUT_VALUE), 0x04u);
}

TEST_F(RegisterIo, MoveInIndexFollowsTheCount) {
    openWindow("VXI0::16::INSTR");
    SetCtrlVal(moveIn, MOVEIN_INDEX, ViUInt32{5});
    startMoveIn(kA24, 0, 16, 3);
    EXPECT_EQ(number(moveIn, MOVEIN_INDEX), 0u);
    EXPECT_EQ(intAttribute(moveIn, MOVEIN_INDEX, ATTR_DIMMED), 0);
    startMoveIn(kA24, 0, 16, 1);
    EXPECT_EQ(intAttribute(moveIn, MOVEIN_INDEX, ATTR_DIMMED), 1);
    EXPECT_EQ(record->moveInSize, 6u) << "the size a count needed, not the allocation";
}

// Counts no buffer may take: a status or a clamped count, never a crash.
TEST_F(RegisterIo, HugeCountsEndInAStatus) {
    openWindow("VXI0::16::INSTR");
    startMoveIn(kA24, 0, 32, 0xFFFFFFFF);
    Shown s = shown(moveIn, MOVEIN_STATUS, MOVEIN_STATUSNAME);
    EXPECT_EQ(s.name, "VI_ERROR_ALLOC");
    EXPECT_TRUE(s.red);
    EXPECT_EQ(intAttribute(moveIn, MOVEIN_INDEX, ATTR_DIMMED), 1);

    chooseWidth(moveOut, MOVEOUT_WIDTH8, 16);
    set(moveOut, MOVEOUT_COUNT, ViUInt32{10});
    ASSERT_EQ(record->moveOutSize, 1024u);
    set(moveOut, MOVEOUT_COUNT, ViUInt32{0xFFFFFFFF});
    EXPECT_EQ(number(moveOut, MOVEOUT_COUNT), 512u) << "clamped to the buffer";
    EXPECT_EQ(record->moveOutSize, 1024u);
    set(moveOut, MOVEOUT_SPACE, kA24);
    commit(moveOut, MOVEOUT_EXECUTE);
    EXPECT_EQ(shown(moveOut, MOVEOUT_STATUS, MOVEOUT_STATUSNAME).name, "VI_SUCCESS");
    // Past the end of the device's memory: the library's status.
    set(moveOut, MOVEOUT_OFFSET, ViUInt32{0xFFFFFFF0});
    commit(moveOut, MOVEOUT_EXECUTE);
    EXPECT_TRUE(shown(moveOut, MOVEOUT_STATUS, MOVEOUT_STATUSNAME).red);
}

TEST_F(RegisterIo, PeekAndPokeReachOnlyTheMappedWindow) {
    openWindow("VXI0::16::INSTR");
    for (int panel : {peek, poke}) {
        EXPECT_EQ(intAttribute(panel, PEEK_EXECUTE, ATTR_DIMMED), 1);
        EXPECT_EQ(intAttribute(panel, PEEK_HINT, ATTR_VISIBLE), 1);
    }
    set(map, MAPADDRESS_SPACE, kA24);
    set(map, MAPADDRESS_OFFSET, ViUInt32{0x200});
    set(map, MAPADDRESS_SIZE, ViUInt32{0x100});
    commit(map, MAPADDRESS_EXECUTE);
    ASSERT_EQ(shown(map, MAPADDRESS_STATUS, MAPADDRESS_STATUSNAME).name, "VI_SUCCESS");
    const ViUInt32 base = number(map, MAPADDRESS_ADDRESS);
    EXPECT_EQ(record->mapBase, base) << "the simulated window lies where a 32-bit field shows it";
    for (int panel : {peek, poke}) {
        EXPECT_EQ(intAttribute(panel, PEEK_EXECUTE, ATTR_DIMMED), 0);
        EXPECT_EQ(intAttribute(panel, PEEK_HINT, ATTR_VISIBLE), 0);
        EXPECT_EQ(number(panel, PEEK_ADDRESS), base);
    }
    const struct {
        int bits;
        ViUInt32 at, value;
    } cases[] = {{8, 0x0, 0xC3}, {16, 0x10, 0xCAFE}, {32, 0xFC, 0xFEEDF00D}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bits);
        set(poke, POKE_ADDRESS, base + c.at);
        chooseWidth(poke, POKE_WIDTH8, c.bits);
        set(poke, POKE_VALUE, c.value);
        commit(poke, POKE_EXECUTE);
        set(peek, PEEK_ADDRESS, base + c.at);
        chooseWidth(peek, PEEK_WIDTH8, c.bits);
        commit(peek, PEEK_EXECUTE);
        EXPECT_EQ(number(peek, PEEK_VALUE), c.value);
        EXPECT_EQ(intAttribute(peek, PEEK_VALUE, ATTR_DATA_TYPE), dataTypeOf(c.bits));
        // The window is the device's memory.
        EXPECT_EQ(in1(kA24, 0x200 + c.at, c.bits), c.value);
    }
    // A stray address is refused before the library sees it, and the hint says why.
    const ViUInt32 stray[] = {base + 0x100, base + 0xFE, base - 1, 0, 0xFFFFFFFF};
    for (ViUInt32 address : stray) {
        SCOPED_TRACE(address);
        set(peek, PEEK_ADDRESS, address);
        chooseWidth(peek, PEEK_WIDTH8, 32);
        commit(peek, PEEK_EXECUTE);
        EXPECT_EQ(number(peek, PEEK_VALUE), 0u);
        EXPECT_EQ(intAttribute(peek, PEEK_HINT, ATTR_VISIBLE), 1);
        EXPECT_NE(UiTest_DisplayedText(peek, PEEK_HINT).find("outside the mapped window"),
                  std::string::npos);
        set(poke, POKE_ADDRESS, address);
        commit(poke, POKE_EXECUTE);
    }
    EXPECT_EQ(in1(kA24, 0x2FC, 32), 0xFEEDF00Du) << "nothing around the window changed";

    // A second map fails and leaves the address field as it was.
    SetCtrlVal(map, MAPADDRESS_ADDRESS, ViUInt32{0x1234});
    commit(map, MAPADDRESS_EXECUTE);
    EXPECT_EQ(shown(map, MAPADDRESS_STATUS, MAPADDRESS_STATUSNAME).name, "VI_ERROR_WINDOW_MAPPED");
    EXPECT_EQ(number(map, MAPADDRESS_ADDRESS), 0x1234u);

    // Unmap closes Peek and Poke, also when it fails.
    commit(unmap, UNMAPADDRESS_EXECUTE);
    EXPECT_EQ(shown(unmap, UNMAPADDRESS_STATUS, UNMAPADDRESS_STATUSNAME).name, "VI_SUCCESS");
    SetCtrlAttribute(peek, PEEK_EXECUTE, ATTR_DIMMED, 0);
    commit(unmap, UNMAPADDRESS_EXECUTE);
    EXPECT_TRUE(shown(unmap, UNMAPADDRESS_STATUS, UNMAPADDRESS_STATUSNAME).red);
    for (int panel : {peek, poke}) {
        EXPECT_EQ(intAttribute(panel, PEEK_EXECUTE, ATTR_DIMMED), 1);
        EXPECT_EQ(UiTest_DisplayedText(panel, PEEK_HINT),
                  "Nothing is mapped: use Map Address first.");
    }
}

TEST_F(RegisterIo, MemAllocAndFree) {
    openWindow("VXI0::16::INSTR");
    const int alloc = childPanel(window, "viMemAlloc"), free = childPanel(window, "viMemFree");
    ASSERT_GT(alloc, 0);
    ASSERT_GT(free, 0);
    set(alloc, MEMALLOC_SIZE, ViUInt32{0x100});
    commit(alloc, MEMALLOC_EXECUTE);
    EXPECT_EQ(shown(alloc, MEMALLOC_STATUS, MEMALLOC_STATUSNAME).name, "VI_SUCCESS");
    set(free, MEMFREE_OFFSET, number(alloc, MEMALLOC_OFFSET));
    commit(free, MEMFREE_EXECUTE);
    EXPECT_EQ(shown(free, MEMFREE_STATUS, MEMFREE_STATUSNAME).name, "VI_SUCCESS");
    commit(free, MEMFREE_EXECUTE);
    EXPECT_TRUE(shown(free, MEMFREE_STATUS, MEMFREE_STATUSNAME).red) << "freed twice";
    // More than the device has.
    set(alloc, MEMALLOC_SIZE, ViUInt32{0xFFFFFFFF});
    commit(alloc, MEMALLOC_EXECUTE);
    EXPECT_TRUE(shown(alloc, MEMALLOC_STATUS, MEMALLOC_STATUSNAME).red);
    EXPECT_EQ(number(alloc, MEMALLOC_OFFSET), 0u);
}

TEST_F(RegisterIo, MoveCopiesBetweenBusAddresses) {
    ViSession rm = VI_NULL, device = VI_NULL;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    ASSERT_EQ(viOpen(rm, "VXI0::16::INSTR", VI_NULL, 0, &device), VI_SUCCESS);
    ViBusAddress base = 0;
    ASSERT_EQ(viGetAttribute(device, VI_ATTR_MEM_BASE, &base), VI_SUCCESS);
    viClose(rm);

    openWindow("VXI0::MEMACC");
    ASSERT_GT(move, 0);
    const auto at = static_cast<ViUInt32>(base);
    out1(kA24, at + 0x600, 32, 0xA1B2C3D4);
    set(move, MOVE_SRCSPACE, kA24);
    set(move, MOVE_SRCOFFSET, at + 0x600);
    set(move, MOVE_DESTSPACE, kA24);
    set(move, MOVE_DESTOFFSET, at + 0x700);
    set(move, MOVE_COUNT, ViUInt32{2});
    chooseWidth(move, MOVE_WIDTH8, 16);
    commit(move, MOVE_EXECUTE);
    EXPECT_EQ(shown(move, MOVE_STATUS, MOVE_STATUSNAME).name, "VI_SUCCESS");
    EXPECT_EQ(in1(kA24, at + 0x700, 32), 0xA1B2C3D4u);
    set(move, MOVE_COUNT, ViUInt32{0xFFFFFFFF});
    commit(move, MOVE_EXECUTE);
    EXPECT_TRUE(shown(move, MOVE_STATUS, MOVE_STATUSNAME).red);
}

// Asynchronous moves with the program's own completion handler, as the descriptive style
// installs it.
class AsyncRegisterIo : public RegisterIo {
  protected:
    void openAsync(const char* rsrcName) {
        openWindow(rsrcName);
        ASSERT_EQ(viInstallHandler(record->session, VI_EVENT_IO_COMPLETION, talmikHandler, record),
                  VI_SUCCESS);
        ASSERT_EQ(viEnableEvent(record->session, VI_EVENT_IO_COMPLETION, VI_HNDLR, VI_NULL),
                  VI_SUCCESS);
    }
};

TEST_F(AsyncRegisterIo, MovesCompleteIntoTheirPanels) {
    openAsync("VXI0::16::INSTR");
    set(moveOut, MOVEOUT_SPACE, kA24);
    set(moveOut, MOVEOUT_OFFSET, ViUInt32{0x800});
    editMoveOut(16, {0x0102, 0x0304, 0x0506, 0x0708});
    set(moveOut, MOVEOUT_ASYNC, 1);
    commit(moveOut, MOVEOUT_EXECUTE);
    EXPECT_TRUE(busy(moveOut, MOVEOUT_EXECUTE, MOVEOUT_ABORT));
    EXPECT_EQ(intAttribute(moveOut, MOVEOUT_INDEX, ATTR_DIMMED), 1);
    EXPECT_EQ(record->asyncKind, ASYNC_MOVE_OUT);
    const ViJobId first = record->jobId;
    ASSERT_NE(first, 0u);

    // The slot is taken: Move In is refused and the Move Out goes on.
    set(moveIn, MOVEIN_ASYNC, 1);
    startMoveIn(kA24, 0x800, 16, 4);
    Shown refused = shown(moveIn, MOVEIN_STATUS, MOVEIN_STATUSNAME);
    EXPECT_EQ(refused.name, "VI_ERROR_QUEUE_ERROR");
    EXPECT_TRUE(refused.red);
    EXPECT_FALSE(busy(moveIn, MOVEIN_EXECUTE, MOVEIN_ABORT));
    EXPECT_EQ(record->jobId, first);

    ASSERT_TRUE(awaitCompletion());
    EXPECT_FALSE(busy(moveOut, MOVEOUT_EXECUTE, MOVEOUT_ABORT));
    EXPECT_EQ(intAttribute(moveOut, MOVEOUT_INDEX, ATTR_DIMMED), 0);
    EXPECT_EQ(intAttribute(moveOut, MOVEOUT_COUNT, ATTR_DIMMED), 0);
    EXPECT_EQ(shown(moveOut, MOVEOUT_STATUS, MOVEOUT_STATUSNAME).name, "VI_SUCCESS");
    EXPECT_EQ(record->jobId, 0u);

    startMoveIn(kA24, 0x800, 16, 4);
    EXPECT_TRUE(busy(moveIn, MOVEIN_EXECUTE, MOVEIN_ABORT));
    EXPECT_EQ(intAttribute(moveIn, MOVEIN_MESSAGE, ATTR_VISIBLE), 1);
    ASSERT_TRUE(awaitCompletion());
    EXPECT_FALSE(busy(moveIn, MOVEIN_EXECUTE, MOVEIN_ABORT));
    EXPECT_EQ(intAttribute(moveIn, MOVEIN_MESSAGE, ATTR_VISIBLE), 0);
    EXPECT_EQ(intAttribute(moveIn, MOVEIN_INDEX, ATTR_DIMMED), 0);
    EXPECT_EQ(shown(moveIn, MOVEIN_STATUS, MOVEIN_STATUSNAME).name, "VI_SUCCESS");
    EXPECT_EQ(movedIn(4), (std::vector<ViUInt32>{0x0102, 0x0304, 0x0506, 0x0708}));
    EXPECT_EQ(record->asyncKind, ASYNC_NONE);

    // A single element leaves the index dimmed.
    startMoveIn(kA24, 0x800, 16, 1);
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(intAttribute(moveIn, MOVEIN_INDEX, ATTR_DIMMED), 1);
    EXPECT_EQ(number(moveIn, MOVEIN_VALUE), 0x0102u);
}

}  // namespace

#include "resources/rsrcrecord.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr unsigned short kNone = 32767;

RsrcRecord rec(const char* name, short type, unsigned short number, unsigned short parent = kNone,
               unsigned short primary = 0) {
    RsrcRecord r{};
    std::strncpy(r.rsrcName, name, sizeof r.rsrcName - 1);
    r.intfType = type;
    r.intfNum = number;
    r.parentNum = parent;
    r.gpibPrimary = primary;
    r.mainframeLA = r.vxiLA = -1;
    return r;
}

struct Orders {
    std::vector<int> byType, byConn;
};

Orders sort(const std::vector<RsrcRecord>& records) {
    Orders o{std::vector<int>(records.size(), 99), std::vector<int>(records.size(), 99)};
    sortRsrcsByType(records.data(), static_cast<int>(records.size()), o.byType.data());
    sortRsrcsByConn(records.data(), static_cast<int>(records.size()), o.byConn.data());
    return o;
}

// Two GPIB boards with GPIB-VXI interfaces 0 and 1 on board 1, listed as a library sorts names.
const std::vector<RsrcRecord> kTwoBoards = {
    rec("ASRL1::INSTR", 4, 1),                    // 0
    rec("GPIB-VXI0::24::INSTR", 3, 0, 1, 9),      // 1
    rec("GPIB-VXI0::MEMACC", -3, 0, 1, 9),        // 2
    rec("GPIB-VXI1::8::INSTR", 3, 1, 1, 10),      // 3
    rec("GPIB-VXI1::MEMACC", -3, 1, 1, 10),       // 4
    rec("GPIB0::5::INSTR", 1, 0, kNone, 5),       // 5
    rec("GPIB0::INTFC", -1, 0),                   // 6
    rec("GPIB1::9::INSTR", 1, 1, kNone, 9),       // 7: GPIB-VXI0's controller
    rec("GPIB1::INTFC", -1, 1),                   // 8
    rec("PXI0::2::INSTR", 5, 0),                  // 9
    rec("TCPIP0::lab::inst0::INSTR", 6, 0),       // 10
    rec("VXI0::8::INSTR", 2, 0),                  // 11
};

TEST(RsrcOrders, TwoBoardsWithGpibVxiBehindTheSecond) {
    Orders o = sort(kTwoBoards);
    // GPIB instruments, the duplicate complemented; GPIB others; VXI; GPIB-VXI instruments, then
    // their other classes; serial; PXI; TCP/IP.
    EXPECT_EQ(o.byType, (std::vector<int>{5, ~7, 6, 8, 11, 1, 3, 2, 4, 0, 9, 10}));
    // Board 0, board 1, then behind board 1 each GPIB-VXI interface, other classes first.
    EXPECT_EQ(o.byConn, (std::vector<int>{5, 6, ~7, 8, 2, 1, 4, 3, 11, 0, 9, 10}));
}

TEST(RsrcOrders, BoundOfTenFailuresAndSerialOthers) {
    const std::vector<RsrcRecord> records = {
        rec("GPIB0::INTFC", -1, 0),                // 0
        rec("GPIB-VXI12::MEMACC", -3, 12, 0, 11),  // 1: numbered 12, stays in the GPIB-VXI pass
        rec("GPIB-VXI12::8::INSTR", 3, 12, 0, 11), // 2
        rec("GPIB-VXI9::8::INSTR", 3, 9, 0, 12),   // 3: numbered 9, pulled behind board 0
        rec("ASRL1::INSTR", 4, 1),                 // 4
        rec("COM7", -4, 7),                        // 5: a serial resource that is no INSTR
        rec("GPIB0::4::INSTR", kNone, kNone),      // 6: did not open
        RsrcRecord{},                              // 7: left empty by a failed search step
        rec("TCPIP0::lab::5025::SOCKET", -6, 0),   // 8
    };
    Orders o = sort(records);
    EXPECT_EQ(o.byType, (std::vector<int>{0, 2, 3, 1, 4, 5, 8, 6, 7}));
    EXPECT_EQ(o.byConn, (std::vector<int>{0, 3, 1, 2, 4, 5, 8, 6, 7}));
}

TEST(RsrcOrders, OnlyTheLastRecordOfABoardPullsItsGpibVxi) {
    // Board 1's records are spread out; its GPIB-VXI interface follows its last one.
    const std::vector<RsrcRecord> records = {
        rec("GPIB1::INTFC", -1, 1),               // 0
        rec("GPIB0::INTFC", -1, 0),               // 1
        rec("GPIB-VXI0::MEMACC", -3, 0, 1, 9),    // 2
        rec("GPIB1::3::INSTR", 1, 1, kNone, 3),   // 3
        rec("GPIB0::2::INSTR", 1, 0, kNone, 2),   // 4
    };
    EXPECT_EQ(sort(records).byConn, (std::vector<int>{0, 1, 3, 2, 4}));
}

TEST(RsrcOrders, DuplicatesAreGpibRecordsAtAGpibVxiControllersAddress) {
    const std::vector<RsrcRecord> records = {
        rec("GPIB-VXI0::MEMACC", -3, 0, 1, 9),   // 0: either sign of GPIB-VXI counts
        rec("GPIB1::9::INSTR", 1, 1, kNone, 9),  // 1: the controller: a duplicate
        rec("GPIB0::9::INSTR", 1, 0, kNone, 9),  // 2: another board
        rec("GPIB1::8::INSTR", 1, 1, kNone, 8),  // 3: another address
        rec("GPIB1::INTFC", -1, 1, kNone, 9),    // 4: an interface at that address
    };
    const bool expected[] = {false, true, false, false, true};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(isGpibVxiDuplicate(records.data(), 5, i), expected[i]) << i;
    // The type view tests GPIB instruments only; the connection view every GPIB record.
    Orders o = sort(records);
    EXPECT_EQ(o.byType, (std::vector<int>{~1, 2, 3, 4, 0}));
    EXPECT_EQ(o.byConn, (std::vector<int>{~1, 2, 3, ~4, 0}));
}

TEST(RsrcOrders, MembershipCountsComplementsAsTheirIndex) {
    const int list[] = {3, ~5, 0, 7};
    const struct {
        int value, n;
        bool found;
    } cases[] = {{3, 4, true}, {5, 4, true}, {~3, 4, true}, {~5, 4, true}, {4, 4, false},
                 {7, 3, false}, {0, 2, false}, {0, 3, true}, {~0, 3, true}};
    for (const auto& c : cases) EXPECT_EQ(bIsInList(list, c.value, c.n), c.found) << c.value << " in " << c.n;
}

}  // namespace

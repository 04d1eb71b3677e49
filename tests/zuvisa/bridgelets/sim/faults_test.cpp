// Faults injected by a device file, through the C API: failing and slow operations, counts,
// widths, resources that cannot be opened, searches that break off, the VXI resource manager.
#include <chrono>

#include "simbench.h"

namespace zuvisa::testing {
namespace {

class Faults : public SimBench {
protected:
    Faults() : SimBench("data/faults.yaml") {}
};

ViStatus gSeenStatus = VI_SUCCESS;
char gSeenOperation[256] = "";

ViStatus _VI_FUNCH onException(ViSession, ViEventType, ViEvent ctx, ViAddr) {
    viGetAttribute(ctx, VI_ATTR_STATUS, &gSeenStatus);
    viGetAttribute(ctx, VI_ATTR_OPER_NAME, gSeenOperation);
    return VI_SUCCESS;
}

TEST_F(Faults, AnOperationFailsForItsCountOfCalls) {
    ViSession vi = open("GPIB0::1::INSTR");
    ASSERT_EQ(viInstallHandler(vi, VI_EVENT_EXCEPTION, onException, nullptr), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_EXCEPTION, VI_HNDLR, VI_NULL), VI_SUCCESS);
    std::vector<ViStatus> seen;
    for (int i = 0; i < 4; ++i) {
        ViStatus st;
        EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
        read(vi, &st);
        seen.push_back(st);
        if (st < 0) viClear(vi);
    }
    EXPECT_EQ(seen, (std::vector<ViStatus>{VI_SUCCESS, VI_ERROR_IO, VI_ERROR_IO, VI_SUCCESS}));
    EXPECT_EQ(gSeenStatus, VI_ERROR_IO) << "the failure reaches the exception handler";
    EXPECT_STREQ(gSeenOperation, "viRead");
}

TEST_F(Faults, ASlowOperationTakesItsTimeOrTimesOut) {
    ViSession vi = open("GPIB0::2::INSTR");
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
    EXPECT_EQ(read(vi), "ZU,METER,1,1.0\n");
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_TMO_VALUE, 50), VI_SUCCESS);
    EXPECT_EQ(write(vi, "*IDN?\n"), VI_ERROR_TMO);
}

TEST_F(Faults, StatusesByNameOrNumberAndByWidth) {
    ViSession gpib = open("GPIB0::4::INSTR");
    EXPECT_EQ(viClear(gpib), VI_ERROR_TMO);
    ViUInt16 stb;
    EXPECT_EQ(viReadSTB(gpib, &stb), VI_ERROR_TMO) << "0xBFFF0015";
    EXPECT_EQ(query(gpib, "*IDN?\n"), "ZU,METER,1,1.0\n");

    ViSession vxi = open("VXI0::1::INSTR");
    ViUInt16 v16;
    ViUInt8 v8;
    EXPECT_EQ(viIn16(vxi, VI_A16_SPACE, 0, &v16), VI_ERROR_BERR);
    EXPECT_EQ(viIn8(vxi, VI_A16_SPACE, 0, &v8), VI_SUCCESS) << "only the 16-bit form fails";
    EXPECT_EQ(v8, 0xCE);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(viOut32(vxi, VI_A24_SPACE, 0, 1), VI_ERROR_NSUP_OFFSET);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
    EXPECT_EQ(viOut8(vxi, VI_A24_SPACE, 0, 1), VI_ERROR_NSUP_OFFSET);
}

TEST_F(Faults, ResourcesSearchesAndTheResourceManager) {
    ViSession vi = 0;
    EXPECT_EQ(viOpen(rm, "GPIB0::3::INSTR", VI_NULL, 0, &vi), VI_ERROR_RSRC_BUSY);
    EXPECT_EQ(vi, VI_NULL);
    ViFindList list = 0;
    ViUInt32 count = 0;
    char name[256];
    ASSERT_EQ(viFindRsrc(rm, "?*", &list, &count, name), VI_SUCCESS);
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(viFindNext(list, name), VI_SUCCESS);
    EXPECT_EQ(viFindNext(list, name), VI_SUCCESS);
    EXPECT_EQ(viFindNext(list, name), VI_ERROR_IO) << "after three names";
    ViInt32 rmStatus = 0;
    EXPECT_EQ(viGetAttribute(list, VI_ATTR_ZU_VXI_RM_STATUS, &rmStatus), VI_SUCCESS);
    EXPECT_EQ(rmStatus, -1);
    viClose(list);
}

}  // namespace
}  // namespace zuvisa::testing

#include "tools/zudm6500/dmm.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/demobench.h"

namespace {

// ZU-VISA with its demo bench, where the multimeter is GPIB0::22::INSTR.
class DemoBench : public ::testing::Test {
  protected:
    void TearDown() override { Dmm_Disconnect(&link); }
    DemoBenchVisa visa;
    DmmLink link;
};

TEST_F(DemoBench, ConnectsMeasuresAndChangesSettings) {
    std::string identity, reply, function;
    ASSERT_EQ(Dmm_Connect(&link, kDmmDefaultResource, &identity), VI_SUCCESS);
    EXPECT_EQ(identity, "ZU Instruments,DM-6500 (simulated),SIM0022,1.0");
    double value = 0, range = 0;
    ASSERT_EQ(Dmm_Measure(&link, &value, &reply), VI_SUCCESS);
    EXPECT_GE(value, 9.995);
    EXPECT_LE(value, 10.005);

    ASSERT_EQ(Dmm_SetFunction(&link, "RES"), VI_SUCCESS);
    ASSERT_EQ(Dmm_GetFunction(&link, &function), VI_SUCCESS);
    EXPECT_EQ(function, "RES");
    EXPECT_EQ(Dmm_SetFunction(&link, "FREQ"), VI_ERROR_INV_PARAMETER);  // not one of the meter's

    ASSERT_EQ(Dmm_SetRange(&link, 100), VI_SUCCESS);
    ASSERT_EQ(Dmm_GetRange(&link, &range), VI_SUCCESS);
    EXPECT_DOUBLE_EQ(range, 100);
    std::string error = "x";
    ASSERT_EQ(Dmm_NextError(&link, &error), VI_SUCCESS);
    EXPECT_EQ(error, "");
    ASSERT_EQ(Dmm_SetRange(&link, 5000), VI_SUCCESS);  // beyond the meter's range: it says so
    ASSERT_EQ(Dmm_NextError(&link, &error), VI_SUCCESS);
    EXPECT_NE(error, "");
    ASSERT_EQ(Dmm_GetRange(&link, &range), VI_SUCCESS);
    EXPECT_DOUBLE_EQ(range, 100);
}

TEST_F(DemoBench, ConnectionFailuresLeaveTheLinkClosed) {
    const struct {
        std::string resource;
        ViStatus status;
    } cases[] = {
        {"GPIB0::30::INSTR", VI_ERROR_RSRC_NFOUND},
        {"no such name", VI_ERROR_INV_RSRC_NAME},
        {"", VI_ERROR_INV_RSRC_NAME},
        {std::string(300, 'G'), VI_ERROR_INV_RSRC_NAME},
        {"GPIB0::INTFC", VI_ERROR_NLISTENERS},  // a board has nobody to answer *IDN?
    };
    for (const auto& c : cases) {
        std::string identity;
        EXPECT_EQ(Dmm_Connect(&link, c.resource, &identity), c.status) << c.resource;
        EXPECT_FALSE(Dmm_Connected(link)) << c.resource;
        EXPECT_NE(Dmm_StatusText(link, "Connecting", c.status).find("Connecting: 0xBFFF"),
                  std::string::npos);
    }
    double value = 0;
    std::string reply;
    EXPECT_EQ(Dmm_Measure(&link, &value, &reply), VI_ERROR_INV_OBJECT);
}

TEST_F(DemoBench, RepliesThatAreNoNumbersAreRefused) {
    std::string identity, reply;
    // The function generator answers what it does not know with "ERROR".
    ASSERT_EQ(Dmm_Connect(&link, "TCPIP0::sim.invalid::inst0::INSTR", &identity), VI_SUCCESS);
    double value = 0;
    EXPECT_EQ(Dmm_Measure(&link, &value, &reply), VI_ERROR_IO);
    EXPECT_EQ(reply, "ERROR");
    EXPECT_EQ(Dmm_GetRange(&link, &value), VI_ERROR_IO);
}

}  // namespace

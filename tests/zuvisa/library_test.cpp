// Handles, loading the configured bridgelets, and the log sink.
#include <gtest/gtest.h>

#include <fstream>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "testbench.h"
#include "zuvisa/core.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa {
namespace {

using testing::TempConfig;

struct Obj : Object {
    Obj() : Object(ObjType::FindList) {}
};

TEST(HandleTable, StaleHandlesNeverComeBack) {
    HandleTable t;
    std::set<ViObject> seen;
    for (int round = 0; round < 5000; ++round) {
        ViObject h = t.add(std::make_shared<Obj>());
        ASSERT_NE(h, 0u);
        EXPECT_TRUE(seen.insert(h).second) << "handle reused after " << round << " rounds";
        EXPECT_NE(t.get(h), nullptr);
        EXPECT_NE(t.take(h), nullptr);
        EXPECT_EQ(t.get(h), nullptr);
        EXPECT_EQ(t.take(h), nullptr);
    }
    EXPECT_EQ(t.size(), 0u);
    EXPECT_EQ(t.get(0), nullptr);
}

std::mutex gLogMutex;
std::vector<std::string> gLog;
void collect(void*, int, const char* text) {
    std::lock_guard<std::mutex> lock(gLogMutex);
    gLog.emplace_back(text);
}

TEST(Loading, AMissingBridgeletWarnsAndTheOthersStillWork) {
    TempConfig tc("");
    std::ofstream(tc.path()) << "[Bridgelets]\nsim = True\nnosuch = True\n\n[Simulation]\nFile1 = \""
                             << testing::testData("data/bench.yaml") << "\"\n";
    zuvisaSetLogSink(collect, nullptr, ZUVISA_LOG_WARNING);
    ViSession rm = 0;
    EXPECT_EQ(viOpenDefaultRM(&rm), VI_WARN_CONFIG_NLOADED);
    ViUInt32 count = 0;
    EXPECT_EQ(viFindRsrc(rm, "?*", nullptr, &count, nullptr), VI_SUCCESS);
    EXPECT_EQ(count, 6u);
    viClose(rm);
    zuvisaSetLogSink(nullptr, nullptr, 0);
    std::lock_guard<std::mutex> lock(gLogMutex);
    bool named = false;
    for (const std::string& line : gLog) named |= line.find("zuvisa-bridgelet-nosuch.so") != std::string::npos;
    EXPECT_TRUE(named);
}

TEST(Loading, AnOptionalBridgeletThatCannotLoadIsNoProblem) {
    TempConfig tc("");
    std::ofstream(tc.path()) << "[Bridgelets]\nsim = True\nnosuch = Auto\n\n[Simulation]\nFile1 = \""
                             << testing::testData("data/bench.yaml") << "\"\n";
    ViSession rm = 0;
    EXPECT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    ViUInt32 count = 0;
    EXPECT_EQ(viFindRsrc(rm, "?*", nullptr, &count, nullptr), VI_SUCCESS);
    EXPECT_EQ(count, 6u);
    viClose(rm);
}

TEST(Loading, AnUnreadableSimulationFileWarns) {
    TempConfig tc("");
    std::ofstream(tc.dir() + "/broken.yaml") << "devices: [unclosed\n";
    std::ofstream(tc.path()) << "[Bridgelets]\nsim = True\n[Simulation]\nA = \"broken.yaml\"\nB = \""
                             << testing::testData("data/bench.yaml") << "\"\n";
    ViSession rm = 0;
    EXPECT_EQ(viOpenDefaultRM(&rm), VI_WARN_CONFIG_NLOADED);
    ViUInt32 count = 0;
    EXPECT_EQ(viFindRsrc(rm, "?*", nullptr, &count, nullptr), VI_SUCCESS);
    EXPECT_EQ(count, 6u);
    viClose(rm);
}

TEST(Loading, DisabledBridgeletsFindNothing) {
    TempConfig tc("[Bridgelets]\nsim = False\n");
    ViSession rm = 0;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    ViUInt32 count = 9;
    EXPECT_EQ(viFindRsrc(rm, "?*", nullptr, &count, nullptr), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(count, 0u);
    viClose(rm);
}

TEST(Loading, TheConfigurationIsReadAgainOnceEveryManagerClosed) {
    ViUInt32 count = 0;
    {
        TempConfig tc("[Bridgelets]\nsim = False\n");
        ViSession rm = 0;
        ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
        viClose(rm);
    }
    TempConfig tc(TempConfig::withBench());
    ViSession rm = 0;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    EXPECT_EQ(viFindRsrc(rm, "?*", nullptr, &count, nullptr), VI_SUCCESS);
    EXPECT_EQ(count, 6u);
    viClose(rm);
}

}  // namespace
}  // namespace zuvisa

#include "tools/zusimd/bench.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace zusimd {
namespace {

using namespace std::chrono;

std::string data(const std::string& file) {
    const char* dir = getenv("TALMIK_TEST_DATA");
    return std::string(dir ? dir : ".") + "/" + file;
}

TEST(ZusimdBench, DeviceNamesFollowTheResourceNames) {
    struct Case {
        const char* resource;
        const char* device;
    };
    const Case cases[] = {{"TCPIP0::h.invalid::inst3::INSTR", "inst3"},
                          {"TCPIP0::h.invalid::hislip1::INSTR", "hislip1"},
                          {"GPIB0::22::INSTR", "gpib0,22"},
                          {"GPIB1::3::4::INSTR", "gpib1,3,4"},
                          {"ASRL1::INSTR", "asrl1"},
                          {"USB0::0x0E5A::0x0004::SIM0004::INSTR", "usb0,0x0e5a,0x0004,sim0004"}};
    for (const Case& c : cases) EXPECT_EQ(deviceNameOf(c.resource), c.device) << c.resource;
}

TEST(ZusimdBench, EveryInstrumentHasANameForEachProtocol) {
    Bench bench;
    std::vector<std::string> problems;
    ASSERT_TRUE(bench.load({data("../../zuvisa/data/lan.yaml")}, &problems));
    EXPECT_TRUE(problems.empty());
    ASSERT_EQ(bench.served().size(), 3u);
    const Served* inst0 = bench.byVxiDevice("INST0");
    const Served* hislip0 = bench.byHislipDevice("hislip0");
    ASSERT_TRUE(inst0 && hislip0);
    EXPECT_EQ(inst0->resource, "TCPIP0::lan.invalid::inst0::INSTR");
    EXPECT_EQ(inst0->hislipDevice, "hislip1");  // its own name is a VXI-11 one: a free HiSLIP one
    EXPECT_EQ(hislip0->resource, "TCPIP0::lan.invalid::hislip0::INSTR");
    EXPECT_EQ(hislip0->vxiDevice, "inst1");
    EXPECT_EQ(bench.byVxiDevice("hislip0"), nullptr);
    int sockets = 0;
    for (const Served& s : bench.served()) sockets += s.isSocket ? 1 : 0;
    EXPECT_EQ(sockets, 1);
}

TEST(ZusimdBench, NothingToServeIsSaid) {
    Bench bench;
    std::vector<std::string> problems;
    EXPECT_FALSE(bench.load({"/nonexistent/bench.yaml"}, &problems));
    ASSERT_FALSE(problems.empty());
    EXPECT_NE(problems[0].find("/nonexistent/bench.yaml"), std::string::npos);
}

TEST(ZusimdBench, LocksAreSharedByKeyAndExclusiveByOwner) {
    Locks locks;
    std::atomic<bool> stop{false};
    int a, b, c;
    EXPECT_TRUE(locks.lockShared(&a, "k", milliseconds(0), stop));
    EXPECT_TRUE(locks.lockShared(&b, "k", milliseconds(0), stop));
    EXPECT_FALSE(locks.lockShared(&c, "other", milliseconds(0), stop));
    EXPECT_FALSE(locks.lockExclusive(&c, milliseconds(0), stop));
    EXPECT_TRUE(locks.mayUse(&c, milliseconds(0), stop));  // shared locks do not stop I/O here
    EXPECT_EQ(locks.holders(), 2);
    EXPECT_EQ(locks.release(&a), 2);
    EXPECT_EQ(locks.release(&b), 2);
    EXPECT_EQ(locks.release(&b), 0);
    ASSERT_TRUE(locks.lockExclusive(&a, milliseconds(0), stop));
    EXPECT_TRUE(locks.exclusiveHeld());
    EXPECT_FALSE(locks.mayUse(&b, milliseconds(0), stop));
    // A waiter gets the lock once it is released.
    std::thread release([&] {
        std::this_thread::sleep_for(milliseconds(50));
        locks.release(&a);
    });
    auto t0 = steady_clock::now();
    EXPECT_TRUE(locks.lockExclusive(&b, milliseconds(2000), stop));
    EXPECT_LT(steady_clock::now() - t0, milliseconds(1000));
    release.join();
    // A stopping server does not wait for ever.
    std::thread stopper([&] {
        std::this_thread::sleep_for(milliseconds(50));
        stop = true;
    });
    EXPECT_FALSE(locks.lockExclusive(&c, milliseconds(-1), stop));
    stopper.join();
}

}  // namespace
}  // namespace zusimd

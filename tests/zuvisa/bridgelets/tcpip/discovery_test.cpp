#include "zuvisa/bridgelets/tcpip/discovery.h"

#include <gtest/gtest.h>

#include <chrono>

namespace zuvisa::tcpip {
namespace {

TEST(Discovery, ServicesBecomeResourceNames) {
    struct Case {
        const char* type;
        const char* address;
        bool ipv6;
        uint16_t port;
        const char* name;
    };
    const Case cases[] = {
        {"_vxi-11._tcp", "192.168.1.5", false, 111, "TCPIP0::192.168.1.5::inst0::INSTR"},
        {"_lxi._tcp", "192.168.1.5", false, 80, "TCPIP0::192.168.1.5::inst0::INSTR"},
        {"_hislip._tcp", "192.168.1.5", false, 4880, "TCPIP0::192.168.1.5::hislip0::INSTR"},
        {"_hislip._tcp", "fe80::1", true, 4881, "TCPIP0::[fe80::1]::hislip0,4881::INSTR"},
        {"_scpi-raw._tcp", "10.0.0.2", false, 5025, "TCPIP0::10.0.0.2::5025::SOCKET"},
        {"_scpi-raw._tcp", "10.0.0.2", false, 0, ""},
        {"_http._tcp", "10.0.0.2", false, 80, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(resourceForService(c.type, c.address, c.ipv6, c.port), c.name) << c.type;
}

TEST(Discovery, EveryMethodReportsAndTheRoundKeepsItsWindow) {
    DiscoverySettings s;
    s.configured = {"TCPIP::10.0.0.9::INSTR", "TCPIP0::10.0.0.9::inst0::INSTR", "not a name"};
    s.windowMs = 150;
    s.portmapperPort = 9;  // the discard port: nobody answers
    auto t0 = std::chrono::steady_clock::now();
    DiscoveryResult r = discoverOnce(s);
    auto took = std::chrono::steady_clock::now() - t0;
    EXPECT_LT(took, std::chrono::milliseconds(1500));
    EXPECT_EQ(r.resources, std::vector<std::string>{"TCPIP0::10.0.0.9::inst0::INSTR"});
    ASSERT_EQ(r.reports.size(), 3u);
    EXPECT_EQ(r.reports[0].method, "configuration");
    EXPECT_EQ(r.reports[0].found, 1);
    EXPECT_EQ(r.reports[1].method, "VXI-11 broadcast");
    EXPECT_NE(r.reports[1].outcome.find("no reply"), std::string::npos) << r.reports[1].outcome;
    EXPECT_EQ(r.reports[2].method, "mDNS");
    EXPECT_FALSE(r.reports[2].outcome.empty());
}

TEST(Discovery, SwitchedOffMethodsSaySo) {
    DiscoverySettings s;
    s.broadcast = s.mdns = false;
    DiscoveryResult r = discoverOnce(s);
    EXPECT_TRUE(r.resources.empty());
    EXPECT_EQ(r.reports[1].outcome, "switched off in the configuration");
    EXPECT_EQ(r.reports[2].outcome, "switched off in the configuration");
}

TEST(Discovery, WhatIsKnownComesWithoutWaitingForARound) {
    DiscoverySettings s;
    s.configured = {"TCPIP0::10.0.0.9::inst0::INSTR"};
    s.mdns = false;
    s.windowMs = 5000;
    s.portmapperPort = 9;
    Discoverer d(s);
    EXPECT_EQ(d.known(), s.configured);
    EXPECT_TRUE(d.searching()) << "the answer waited for the network search";
}  // the round ends early with its discoverer

}  // namespace
}  // namespace zuvisa::tcpip

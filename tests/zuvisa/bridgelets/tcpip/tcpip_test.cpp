#include "zuvisa/bridgelets/tcpip/tcpip.h"

#include <gtest/gtest.h>

namespace zuvisa::tcpip {
namespace {

TEST(TcpipSettings, ItemsAreReadAndBadOnesReported) {
    Config c = readSettings({{"Instrument1", "tcpip::lab-dmm::INSTR"},
                             {"instrument2", "GPIB0::1::INSTR"},
                             {"Discover", "False"},
                             {"DiscoveryTime", "250"},
                             {"ConnectTimeout", "0"},
                             {"PortmapperPort", "1111"},
                             {"Colour", "blue"}});
    EXPECT_EQ(c.discovery.configured, std::vector<std::string>{"TCPIP0::lab-dmm::inst0::INSTR"});
    EXPECT_FALSE(c.discovery.broadcast);
    EXPECT_FALSE(c.discovery.mdns);
    EXPECT_EQ(c.discovery.windowMs, 250);
    EXPECT_EQ(c.link.connectTimeout, 5000u);  // 0 refused, default kept
    EXPECT_EQ(c.link.portmapperPort, 1111);
    EXPECT_EQ(c.discovery.portmapperPort, 1111);
    ASSERT_EQ(c.problems.size(), 3u);
    EXPECT_NE(c.problems[0].find("instrument2"), std::string::npos);
    EXPECT_NE(c.problems[1].find("ConnectTimeout"), std::string::npos);
    EXPECT_NE(c.problems[2].find("Colour"), std::string::npos);
}

}  // namespace
}  // namespace zuvisa::tcpip

#include "zuvisa/config.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>

#include "testbench.h"

namespace zuvisa {
namespace {

using testing::TempConfig;

TEST(Config, ReadsBridgeletsAliasesAndFilesRelativeToItsFolder) {
    TempConfig tc(
        "[Bridgelets]\nsim = True\ntcpip = False\nModuleDirectory = \"mods\"\n\n"
        "[Aliases]\ndmm = \"GPIB0::22::INSTR\"\n\n"
        "[Simulation]\nFile1 = \"bench.yaml\"\nFile2 = \"/abs/other.yaml\"\n\n"
        "[sim]\nSpeed = \"fast\"\n");
    Config c;
    std::string why;
    ASSERT_EQ(readConfigFile(tc.path(), &c, &why), VI_SUCCESS) << why;
    ASSERT_EQ(c.bridgelets.size(), 2u);
    EXPECT_EQ(c.bridgelets[0].name, "sim");
    EXPECT_TRUE(c.bridgelets[0].enabled);
    EXPECT_FALSE(c.bridgelets[1].enabled);
    EXPECT_EQ(c.moduleDirectory, tc.dir() + "/mods");
    ASSERT_EQ(c.aliases.size(), 1u);
    EXPECT_EQ(c.aliases[0].second, "GPIB0::22::INSTR");
    ASSERT_EQ(c.simulationFiles.size(), 2u);
    EXPECT_EQ(c.simulationFiles[0], tc.dir() + "/bench.yaml");
    EXPECT_EQ(c.simulationFiles[1], "/abs/other.yaml");
    ASSERT_NE(c.section("sim"), nullptr);
    EXPECT_EQ(c.section("sim")->at(0).second, "fast");
}

TEST(Config, LookupOrderEnvironmentThenUserThenSystem) {
    unsetenv("ZUVISA_CONFIG");
    setenv("XDG_CONFIG_HOME", "/x/conf", 1);
    auto c = configCandidates();
    ASSERT_EQ(c.size(), 2u);
    EXPECT_EQ(c[0], "/x/conf/zuvisa/zuvisa.ini");
    EXPECT_EQ(c[1], "/etc/zuvisa/zuvisa.ini");
    unsetenv("XDG_CONFIG_HOME");
    setenv("HOME", "/home/u", 1);
    EXPECT_EQ(configCandidates()[0], "/home/u/.config/zuvisa/zuvisa.ini");
    setenv("ZUVISA_CONFIG", "/given.ini", 1);
    EXPECT_EQ(configCandidates()[0], "/given.ini");
    EXPECT_EQ(findConfigFile(), "/given.ini");
    unsetenv("ZUVISA_CONFIG");
}

TEST(Config, MissingFilesGiveTheDefaults) {
    setenv("ZUVISA_CONFIG", "/nonexistent/zuvisa.ini", 1);
    Config c;
    std::string why;
    EXPECT_EQ(loadConfig("/mods", &c, &why), VI_WARN_CONFIG_NLOADED);
    EXPECT_NE(why.find("/nonexistent/zuvisa.ini"), std::string::npos);
    // Real ports, USB instruments and GPIB boards before the simulation, which the demo bench
    // must not hide; sim before tcpip, so that a simulated name is never taken for a host;
    // gpib only where linux-gpib is.
    std::vector<std::string> names;
    for (const BridgeletEntry& b : c.bridgelets) {
        EXPECT_TRUE(b.enabled) << b.name;
        EXPECT_EQ(b.optional, b.name == "gpib") << b.name;
        names.push_back(b.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"asrl", "usbtmc", "gpib", "sim", "tcpip"}));
    EXPECT_EQ(c.moduleDirectory, "/mods");
    unsetenv("ZUVISA_CONFIG");
    setenv("HOME", "/nonexistent-home", 1);
    unsetenv("XDG_CONFIG_HOME");
    struct stat st;
    if (stat("/etc/zuvisa/zuvisa.ini", &st) != 0) {
        EXPECT_EQ(loadConfig("/mods", &c, &why), VI_SUCCESS);
        EXPECT_EQ(c.path, "");
    }
}

TEST(Config, AutoLoadsABridgeletWithoutComplaint) {
    TempConfig tc("[Bridgelets]\nsim = True\ngpib = Auto\nasrl = auto\nusbtmc = \"Auto\"\n");
    Config c;
    std::string why;
    ASSERT_EQ(readConfigFile(tc.path(), &c, &why), VI_SUCCESS);
    ASSERT_EQ(c.bridgelets.size(), 4u);
    EXPECT_FALSE(c.bridgelets[0].optional);
    for (size_t i = 1; i < 4; ++i) {
        EXPECT_TRUE(c.bridgelets[i].enabled) << c.bridgelets[i].name;
        EXPECT_TRUE(c.bridgelets[i].optional) << c.bridgelets[i].name;
    }
    EXPECT_TRUE(why.empty()) << why;
}

TEST(Config, ABadBooleanDisablesTheBridgelet) {
    TempConfig tc("[Bridgelets]\nsim = maybe\n");
    Config c;
    std::string why;
    ASSERT_EQ(readConfigFile(tc.path(), &c, &why), VI_SUCCESS);
    ASSERT_EQ(c.bridgelets.size(), 1u);
    EXPECT_FALSE(c.bridgelets[0].enabled);
    EXPECT_FALSE(why.empty());
}

}  // namespace
}  // namespace zuvisa

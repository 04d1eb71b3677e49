#include "tools/portconf/portconf.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "../../support/tempdir.h"
#include "../../zuvisa/testbench.h"
#include "zuvisa/config.h"

namespace portconf {
namespace {

using zuvisa::testing::TempConfig;

std::string fileText(const std::string& path) {
    std::stringstream s;
    s << std::ifstream(path).rdbuf();
    return s.str();
}

TEST(Portconf, EditsTheFileInForce) {
    TempConfig tc("[Bridgelets]\nsim = True\n");
    std::string out, err;
    ASSERT_EQ(run({"disable", "sim"}, &out, &err), 0) << err;
    ASSERT_EQ(run({"enable", "tcpip"}, &out, &err), 0) << err;
    ASSERT_EQ(run({"add-sim", "/benches/a.yaml"}, &out, &err), 0) << err;
    ASSERT_EQ(run({"add-sim", "/benches/b.yaml"}, &out, &err), 0) << err;
    ASSERT_EQ(run({"add-sim", "/benches/a.yaml"}, &out, &err), 0) << err;  // listed once
    ASSERT_EQ(run({"alias", "dmm", "GPIB0::22::INSTR"}, &out, &err), 0) << err;
    zuvisa::Config c;
    std::string why;
    ASSERT_EQ(zuvisa::readConfigFile(tc.path(), &c, &why), VI_SUCCESS) << fileText(tc.path());
    ASSERT_EQ(c.bridgelets.size(), 2u);
    EXPECT_FALSE(c.bridgelets[0].enabled);
    EXPECT_TRUE(c.bridgelets[1].enabled);
    ASSERT_EQ(c.simulationFiles.size(), 2u);
    EXPECT_EQ(c.simulationFiles[1], "/benches/b.yaml");
    ASSERT_EQ(c.aliases.size(), 1u);

    ASSERT_EQ(run({"remove-sim", "/benches/a.yaml"}, &out, &err), 0) << err;
    EXPECT_EQ(run({"remove-sim", "/benches/zzz.yaml"}, &out, &err), 1);
    ASSERT_EQ(run({"unalias", "dmm"}, &out, &err), 0) << err;
    EXPECT_EQ(run({"unalias", "dmm"}, &out, &err), 1);
    ASSERT_EQ(zuvisa::readConfigFile(tc.path(), &c, &why), VI_SUCCESS);
    EXPECT_EQ(c.simulationFiles.size(), 1u);
    EXPECT_TRUE(c.aliases.empty());
}

TEST(Portconf, ShowsAndLists) {
    TempConfig tc(TempConfig::withBench("", zuvisa::testing::testData("../../zuvisa/data/bench.yaml")));
    std::string out, err;
    ASSERT_EQ(run({"show"}, &out, &err), 0) << err;
    EXPECT_NE(out.find("configuration: " + tc.path()), std::string::npos) << out;
    EXPECT_NE(out.find("  sim (on)"), std::string::npos) << out;
    EXPECT_NE(out.find("meter = GPIB0::5::INSTR"), std::string::npos) << out;
    out.clear();
    ASSERT_EQ(run({"list", "GPIB?*"}, &out, &err), 0) << err;
    EXPECT_EQ(out,
              "GPIB0::5::INSTR  [GPIB0 (simulated)]\n"
              "GPIB0::6::INSTR  [Bench GPIB (simulated)]\n"
              "GPIB1::7::INSTR  [GPIB1 (simulated)]\n");
    out.clear();
    EXPECT_EQ(run({"list", "VXI?*"}, &out, &err), 0);
    EXPECT_EQ(out, "no resources\n");
    EXPECT_EQ(run({"list", "[bad"}, &out, &err), 1);
}

TEST(Portconf, SwitchesTheDemoBenchOffAndOn) {
    TempConfig tc("[Bridgelets]\nsim = True\n");
    std::string out, err;
    ASSERT_EQ(run({"show"}, &out, &err), 0) << err;
    EXPECT_NE(out.find("demo bench: on"), std::string::npos) << out;
    out.clear();
    ASSERT_EQ(run({"list", "VXI0::?*"}, &out, &err), 0) << err;
    EXPECT_NE(out.find("VXI0::16::INSTR  [VXI0 (ZU VX-Link embedded controller, simulated)]"), std::string::npos) << out;

    ASSERT_EQ(run({"bench", "off"}, &out, &err), 0) << err;
    out.clear();
    ASSERT_EQ(run({"show"}, &out, &err), 0) << err;
    EXPECT_NE(out.find("demo bench: off"), std::string::npos) << out;
    out.clear();
    ASSERT_EQ(run({"list"}, &out, &err), 0) << err;
    EXPECT_EQ(out, "no resources\n");

    ASSERT_EQ(run({"bench", "on"}, &out, &err), 0) << err;
    ASSERT_EQ(run({"add-sim", zuvisa::testing::testData("../../zuvisa/data/bench.yaml")}, &out, &err), 0) << err;
    out.clear();
    ASSERT_EQ(run({"list", "?*::5::INSTR"}, &out, &err), 0) << err;
    // The board is the demo bench's, and so is its name.
    EXPECT_EQ(out, "GPIB0::5::INSTR  [GPIB0 (ZU GP-488 USB adapter, simulated)]\n") << "the bench and a file of one's own";
    out.clear();
    ASSERT_EQ(run({"list", "PXI?*"}, &out, &err), 0) << err;
    EXPECT_NE(out.find("PXI0::12::INSTR"), std::string::npos) << out;
    EXPECT_EQ(run({"bench", "maybe"}, &out, &err), 2);
}

TEST(Portconf, CreatesTheUserFileWhenNoneExists) {
    char tmpl[] = "/tmp/portconf-home-XXXXXX";
    std::string home = mkdtemp(tmpl);
    unsetenv("ZUVISA_CONFIG");
    setenv("XDG_CONFIG_HOME", (home + "/conf").c_str(), 1);
    std::string out, err;
    if (zuvisa::findConfigFile().empty()) {  // a system-wide file would take the edit instead
        ASSERT_EQ(run({"enable", "sim"}, &out, &err), 0) << err;
        EXPECT_NE(fileText(home + "/conf/zuvisa/zuvisa.ini").find("sim = True"), std::string::npos);
    }
    unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(run({}, &out, &err), 2);
    EXPECT_EQ(run({"frobnicate"}, &out, &err), 2);
    std::string cmd = "rm -rf " + home;
    EXPECT_EQ(system(cmd.c_str()), 0);
}

TEST(Portconf, NamesLanInstrumentsAndExplainsTheSearch) {
    TempConfig tc("[Bridgelets]\nsim = False\n\n[tcpip]\nDiscover = False\n");
    std::string out, err;
    ASSERT_EQ(run({"add-lan", "tcpip::[::1]::5025::socket"}, &out, &err), 0) << err;
    ASSERT_EQ(run({"add-lan", "TCPIP0::lab-dmm::INSTR"}, &out, &err), 0) << err;
    out.clear();
    ASSERT_EQ(run({"add-lan", "TCPIP0::lab-dmm::inst0::INSTR"}, &out, &err), 0);  // the same, canonically
    EXPECT_NE(out.find("already listed"), std::string::npos) << out;
    EXPECT_EQ(run({"add-lan", "GPIB0::1::INSTR"}, &out, &err), 1);
    out.clear();
    ASSERT_EQ(run({"list"}, &out, &err), 0) << err;
    EXPECT_EQ(out, "TCPIP0::[::1]::5025::SOCKET  [TCPIP0 (LAN)]\nTCPIP0::lab-dmm::inst0::INSTR  [TCPIP0 (LAN)]\n");
    ASSERT_EQ(run({"remove-lan", "TCPIP0::[::1]::5025::SOCKET"}, &out, &err), 0) << err;
    EXPECT_EQ(run({"remove-lan", "TCPIP0::[::1]::5025::SOCKET"}, &out, &err), 1);
    ASSERT_EQ(run({"remove-lan", "TCPIP0::lab-dmm::inst0::INSTR"}, &out, &err), 0) << err;
    out.clear();
    ASSERT_EQ(run({"list", "--why"}, &out, &err), 0) << err;
    EXPECT_NE(out.find("no resources\n"), std::string::npos) << out;
    EXPECT_NE(out.find("bridgelet sim: off"), std::string::npos) << out;
    EXPECT_NE(out.find("configuration: no instrument named"), std::string::npos) << out;
    EXPECT_NE(out.find("VXI-11 broadcast: switched off"), std::string::npos) << out;
    EXPECT_NE(out.find("mDNS: switched off"), std::string::npos) << out;
}

TEST(Portconf, ANewFileStartsFromTheBuiltInDefaults) {
    TempDir dir;
    std::string path = dir.file("zuvisa.ini");
    setenv("ZUVISA_CONFIG", path.c_str(), 1);
    std::string out, err;
    ASSERT_EQ(run({"disable", "usbtmc"}, &out, &err), 0) << err;
    unsetenv("ZUVISA_CONFIG");
    zuvisa::Config c;
    std::string why;
    ASSERT_EQ(zuvisa::readConfigFile(path, &c, &why), VI_SUCCESS) << fileText(path);
    std::string state;
    for (const auto& b : c.bridgelets) state += b.name + (b.optional ? "=auto " : b.enabled ? "=on " : "=off ");
    EXPECT_EQ(state, "asrl=on usbtmc=off gpib=auto sim=on tcpip=on ");
    setenv("ZUVISA_CONFIG", path.c_str(), 1);
    out.clear();
    ASSERT_EQ(run({"show"}, &out, &err), 0) << err;
    unsetenv("ZUVISA_CONFIG");
    EXPECT_NE(out.find("  gpib (auto"), std::string::npos) << out;
}

// A machine with one FTDI adapter, known by its by-id name.
class SerialMachine : public ::testing::Test {
protected:
    void SetUp() override {
        namespace fs = std::filesystem;
        fs::create_directories(dir.path() + "/dev/serial/by-id");
        fs::create_directories(dir.path() + "/sys/class/tty");
        writeFile(dir.file("dev/ttyUSB0"), "");
        writeFile(dir.file("dev/ttyUSB1"), "");
        fs::create_symlink("../../ttyUSB0", dir.file("dev/serial/by-id/usb-FTDI_A5-if00-port0"));
        config = std::make_unique<TempConfig>("[Bridgelets]\nasrl = True\n\n[asrl]\nScan = False\nDevRoot = \"" +
                                              dir.file("dev") + "\"\nSysRoot = \"" + dir.file("sys") + "\"\n");
    }
    std::string section() {
        zuvisa::Config c;
        std::string why;
        zuvisa::readConfigFile(config->path(), &c, &why);
        std::string items;
        for (const auto& [k, v] : *c.section("asrl")) {
            if (k.rfind("ASRL", 0) == 0) items += k + "=" + v + " ";
        }
        for (const auto& [a, r] : c.aliases) items += a + "=" + r + " ";
        return items;
    }
    TempDir dir;
    std::unique_ptr<TempConfig> config;
};

TEST_F(SerialMachine, AddSerialWritesThePortDownByItsLastingName) {
    std::string out, err;
    ASSERT_EQ(run({"add-serial", dir.file("dev/ttyUSB0"), "dmm"}, &out, &err), 0) << err;
    std::string byId = dir.file("dev/serial/by-id/usb-FTDI_A5-if00-port0");
    EXPECT_EQ(section(), "ASRL1=" + byId + " dmm=ASRL1::INSTR ");
    EXPECT_NE(out.find("(now " + dir.file("dev/ttyUSB0") + ")"), std::string::npos) << out;
    // Another number moves it; a port without a by-id name goes by its path.
    ASSERT_EQ(run({"add-serial", byId, "ASRL5"}, &out, &err), 0) << err;
    ASSERT_EQ(run({"add-serial", dir.file("dev/ttyUSB1")}, &out, &err), 0) << err;
    EXPECT_EQ(section(), "ASRL5=" + byId + " ASRL1=" + dir.file("dev/ttyUSB1") + " dmm=ASRL1::INSTR ");
    // A number another port has is refused; so is a port that is not there.
    err.clear();
    EXPECT_EQ(run({"add-serial", byId, "1"}, &out, &err), 1);
    EXPECT_NE(err.find("ASRL1 is already"), std::string::npos) << err;
    EXPECT_EQ(run({"add-serial", dir.file("dev/ttyUSB9")}, &out, &err), 1);
    ASSERT_EQ(run({"remove-serial", "5"}, &out, &err), 0) << err;
    ASSERT_EQ(run({"remove-serial", dir.file("dev/ttyUSB1")}, &out, &err), 0) << err;
    EXPECT_EQ(run({"remove-serial", "ASRL7"}, &out, &err), 1);
    EXPECT_EQ(section(), "dmm=ASRL1::INSTR ");
}

TEST_F(SerialMachine, ListWhySaysWhatEachHardwareBridgeletFound) {
    std::string out, err;
    ASSERT_EQ(run({"add-serial", dir.file("dev/ttyUSB0"), "3"}, &out, &err), 0) << err;
    std::ofstream(config->path(), std::ios::app)
        << "ASRL4 = \"" << dir.file("dev/serial/by-id/gone") << "\"\n\n[usbtmc]\nSysRoot = \"" << dir.file("sys")
        << "\"\n\n[gpib]\nLibrary = \"/nonexistent/libgpib.so.0\"\n";
    std::ofstream(config->path(), std::ios::app) << "\n";
    // usbtmc and gpib are switched on in the file itself.
    std::string text = fileText(config->path());
    text.replace(text.find("asrl = True"), 11, "asrl = True\nusbtmc = True\ngpib = True");
    std::ofstream(config->path()) << text;
    out.clear();
    ASSERT_EQ(run({"list", "--why"}, &out, &err), 0) << err;
    for (const std::string& expected :
         {std::string("bridgelet asrl: on"), "ASRL3: " + dir.file("dev/ttyUSB0"),
          "ASRL4: " + dir.file("dev/serial/by-id/gone") + " is not there", std::string("bridgelet usbtmc: on"),
          std::string("the usbtmc driver is not loaded"), std::string("bridgelet gpib: on"),
          std::string("linux-gpib is not installed"), std::string("bridgelet sim: off")}) {
        EXPECT_NE(out.find(expected), std::string::npos) << expected << "\n" << out;
    }
}

TEST(Portconf, SavedAttributesAreWhatSessionsOpenWithLoadConfig) {
    TempConfig tc(TempConfig::withBench("", zuvisa::testing::testData("../../zuvisa/data/bench.yaml")));
    std::string out, err;
    ASSERT_EQ(run({"save-attrs", "GPIB::5::INSTR", "VI_ATTR_TMO_VALUE=5000", "VI_ATTR_TERMCHAR_EN=VI_TRUE",
                   "vi_attr_termchar=0x0D", "VI_ATTR_WR_BUF_OPER_MODE=VI_FLUSH_ON_ACCESS"},
                  &out, &err),
              0)
        << err;
    // Another spelling of the same resource goes to the same section.
    ASSERT_EQ(run({"save-attrs", "GPIB0::5::INSTR", "VI_ATTR_TMO_VALUE=7000"}, &out, &err), 0) << err;
    EXPECT_NE(fileText(tc.path()).find("[GPIB0::5::INSTR]"), std::string::npos) << fileText(tc.path());
    out.clear();
    ASSERT_EQ(run({"show"}, &out, &err), 0);
    EXPECT_NE(out.find("GPIB0::5::INSTR: VI_ATTR_TERMCHAR = 0x0D"), std::string::npos) << out;

    struct Bad {
        std::vector<std::string> args;
        const char* says;
    } bad[] = {
        {{"save-attrs", "GPIB0::5::INSTR", "VI_ATTR_TMO_VALUE=0x100000000"}, "not a value it takes"},
        {{"save-attrs", "GPIB0::5::INSTR", "VI_ATTR_TERMCHAR_EN=2"}, "not a value it takes"},
        {{"save-attrs", "GPIB0::5::INSTR", "VI_ATTR_ASRL_BAUD=9600"}, "not an attribute of"},
        {{"save-attrs", "GPIB0::5::INSTR", "VI_ATTR_INTF_NUM=1"}, "read-only"},
        {{"save-attrs", "GPIB0::5::INSTR", "VI_ATTR_TMO_VALUE"}, "expected ATTR=VALUE"},
        {{"save-attrs", "GPIB0::5::INSTR", "VI_ATTR_TMO_VALUE=soon"}, "not a value it takes"},
        {{"save-attrs", "NOT A NAME", "VI_ATTR_TMO_VALUE=1"}, "not a resource name"},
        {{"clear-attrs", "GPIB0::5::INSTR", "VI_ATTR_SEND_END_EN"}, "not stored"},
    };
    std::string before = fileText(tc.path());
    for (const Bad& b : bad) {
        err.clear();
        EXPECT_EQ(run(b.args, &out, &err), 1) << b.args.back();
        EXPECT_NE(err.find(b.says), std::string::npos) << err;
    }
    EXPECT_EQ(fileText(tc.path()), before);  // nothing written by a refused command

    ViSession rm = 0, vi = 0;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    ViUInt32 tmo = 0;
    ViUInt8 term = 0;
    ViUInt16 mode = 0;
    ASSERT_EQ(viOpen(rm, "GPIB0::5::INSTR", VI_LOAD_CONFIG, 0, &vi), VI_SUCCESS);
    viGetAttribute(vi, VI_ATTR_TMO_VALUE, &tmo);
    viGetAttribute(vi, VI_ATTR_TERMCHAR, &term);
    viGetAttribute(vi, VI_ATTR_WR_BUF_OPER_MODE, &mode);
    EXPECT_EQ(tmo, 7000u);
    EXPECT_EQ(term, 0x0D);
    EXPECT_EQ(mode, VI_FLUSH_ON_ACCESS);
    viClose(vi);
    // Without VI_LOAD_CONFIG the defaults hold; a resource with nothing stored opens as ever.
    ASSERT_EQ(viOpen(rm, "GPIB0::5::INSTR", VI_NULL, 0, &vi), VI_SUCCESS);
    viGetAttribute(vi, VI_ATTR_TMO_VALUE, &tmo);
    EXPECT_EQ(tmo, 2000u);
    viClose(vi);
    EXPECT_EQ(viOpen(rm, "GPIB0::6::INSTR", VI_LOAD_CONFIG, 0, &vi), VI_SUCCESS);
    viClose(rm);

    ASSERT_EQ(run({"clear-attrs", "GPIB0::5::INSTR", "VI_ATTR_TMO_VALUE"}, &out, &err), 0) << err;
    ASSERT_EQ(run({"clear-attrs", "GPIB0::5::INSTR"}, &out, &err), 0) << err;
    EXPECT_EQ(fileText(tc.path()).find("GPIB0::5::INSTR]"), std::string::npos);
}

TEST(Portconf, AStoredValueThatDoesNotFitWarnsAndTheRestApplies) {
    TempConfig tc(TempConfig::withBench("\n[GPIB0::5::INSTR]\nVI_ATTR_TMO_VALUE = 4294967296\n"
                                        "VI_ATTR_BOGUS = 1\nVI_ATTR_TERMCHAR = 13\n",
                                        zuvisa::testing::testData("../../zuvisa/data/bench.yaml")));
    ViSession rm = 0, vi = 0;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    EXPECT_EQ(viOpen(rm, "GPIB0::5::INSTR", VI_LOAD_CONFIG, 0, &vi), VI_WARN_CONFIG_NLOADED);
    ViUInt32 tmo = 0;
    ViUInt8 term = 0;
    viGetAttribute(vi, VI_ATTR_TMO_VALUE, &tmo);
    viGetAttribute(vi, VI_ATTR_TERMCHAR, &term);
    EXPECT_EQ(tmo, 2000u);
    EXPECT_EQ(term, 13);
    viClose(rm);
}

}  // namespace
}  // namespace portconf

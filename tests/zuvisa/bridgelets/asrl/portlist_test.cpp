// Finding and numbering serial ports on a machine described in a temporary folder.
#include "zuvisa/bridgelets/asrl/portlist.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <map>

#include "../../../support/tempdir.h"

namespace zuvisa::asrl {
namespace {

namespace fs = std::filesystem;

// A machine with the kernel console on ttyS0, an empty legacy port ttyS1, a real ttyS2, two
// FTDI adapters and a USB modem-class instrument.
class Machine : public ::testing::Test {
protected:
    void SetUp() override {
        sys = dir.path() + "/sys";
        dev = dir.path() + "/dev";
        put(sys + "/class/tty/console/active", "ttyS0 tty0\n");
        uart("ttyS0", "4");
        uart("ttyS1", "0");
        uart("ttyS2", "4");
        usb("ttyUSB0", "1-1", "1-1:1.0/ttyUSB0", "0403", "6001", "FTDI", "FT232R USB UART", "A50285BI");
        usb("ttyUSB1", "1-2", "1-2:1.0/ttyUSB1", "0403", "6015", "FTDI", "FT230X", "DN0412");
        usb("ttyACM0", "1-3", "1-3:1.0", "0e5a", "1234", "ACME", "Meter", "123");
        fs::create_directories(sys + "/class/tty/tty1");  // a virtual console: no device
        byId("usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0", "ttyUSB0");
        byId("usb-FTDI_FT230X_DN0412-if00-port0", "ttyUSB1");
        byId("usb-ACME_Meter_123-if00", "ttyACM0");
        config.roots.sys = sys;
        config.roots.dev = dev;
    }

    static void put(const std::string& path, const std::string& text) {
        fs::create_directories(fs::path(path).parent_path());
        writeFile(path, text);
    }
    void node(const std::string& name) { put(dev + "/" + name, ""); }
    void uart(const std::string& name, const std::string& type) {
        std::string hw = sys + "/devices/platform/serial8250/" + name;
        fs::create_directories(hw);
        put(sys + "/class/tty/" + name + "/type", type + "\n");
        fs::create_symlink(hw, sys + "/class/tty/" + name + "/device");
        node(name);
    }
    void usb(const std::string& name, const std::string& device, const std::string& below,
             const std::string& vid, const std::string& pid, const std::string& manufacturer,
             const std::string& product, const std::string& serial) {
        std::string d = sys + "/devices/pci0000:00/usb1/" + device;
        put(d + "/idVendor", vid + "\n");
        put(d + "/idProduct", pid + "\n");
        put(d + "/manufacturer", manufacturer + "\n");
        put(d + "/product", product + "\n");
        put(d + "/serial", serial + "\n");
        std::string intf = d + "/" + below.substr(0, below.find('/'));
        put(intf + "/bInterfaceNumber", "00\n");
        fs::create_directories(d + "/" + below);
        fs::create_directories(sys + "/class/tty/" + name);
        fs::create_symlink(d + "/" + below, sys + "/class/tty/" + name + "/device");
        node(name);
    }
    void byId(const std::string& link, const std::string& target) {
        fs::create_directories(dev + "/serial/by-id");
        std::error_code ignored;
        fs::remove(dev + "/serial/by-id/" + link, ignored);
        fs::create_symlink("../../" + target, dev + "/serial/by-id/" + link);
    }

    std::map<int, std::string> numbers(std::vector<std::string>* skipped = nullptr) {
        std::map<int, std::string> out;
        for (const PortEntry& p : listPorts(config, skipped)) {
            out[p.number] = p.present ? p.kernelName : "(absent)";
        }
        return out;
    }

    TempDir dir;
    std::string sys, dev;
    PortConfig config;
};

TEST_F(Machine, FoundPortsAreNumberedBuiltInFirstThenByTheirById) {
    std::vector<std::string> skipped;
    std::map<int, std::string> want = {{1, "ttyACM0"}, {2, "ttyUSB1"}, {3, "ttyS2"}, {4, "ttyUSB0"}};
    EXPECT_EQ(numbers(&skipped), want);
    // The console is named as left out; an empty legacy address is not worth a line.
    ASSERT_EQ(skipped.size(), 1u);
    EXPECT_NE(skipped[0].find("ttyS0: the kernel's console"), std::string::npos);
}

TEST_F(Machine, AConfiguredByIdNameKeepsItsNumberWhereverTheAdapterLands) {
    std::string link = dev + "/serial/by-id/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0";
    config.named = {{7, link}};
    EXPECT_EQ(numbers()[7], "ttyUSB0");
    // Plugged in the other order: the kernel names it ttyUSB1 now.
    byId("usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0", "ttyUSB1");
    byId("usb-FTDI_FT230X_DN0412-if00-port0", "ttyUSB0");
    std::map<int, std::string> want = {{1, "ttyACM0"}, {2, "ttyUSB0"}, {3, "ttyS2"}, {7, "ttyUSB1"}};
    EXPECT_EQ(numbers(), want);
}

TEST_F(Machine, NamedNumbersAreNeverGivenAwayEvenWhenThePortIsMissing) {
    config.named = {{1, dev + "/serial/by-id/unplugged"}, {3, dev + "/ttyUSB1"}};
    // ttyS2 cannot be ASRL3 and goes first among the rest.
    std::map<int, std::string> want = {
        {1, "(absent)"}, {2, "ttyS2"}, {3, "ttyUSB1"}, {4, "ttyACM0"}, {5, "ttyUSB0"}};
    EXPECT_EQ(numbers(), want);
    config.scan = false;
    want = {{1, "(absent)"}, {3, "ttyUSB1"}};
    EXPECT_EQ(numbers(), want);
}

TEST_F(Machine, InterfaceNamesSayWhereAndWhat) {
    std::map<std::string, std::string> names;
    for (const PortEntry& p : listPorts(config, nullptr)) names[p.kernelName] = instanceName(p);
    EXPECT_EQ(names["ttyUSB0"], "ASRL4 (" + dev + "/ttyUSB0, FTDI FT232R USB UART)");
    EXPECT_EQ(names["ttyS2"], "ASRL3 (" + dev + "/ttyS2, built-in serial port)");
    EXPECT_EQ(names["ttyACM0"], "ASRL1 (" + dev + "/ttyACM0, ACME Meter)");
}

TEST(PortConfig, ReadsEntriesAndNamesWhatItCannotUse) {
    std::vector<std::string> problems;
    PortConfig c = readPortConfig({{"ASRL2", "/dev/serial/by-id/x"},
                                   {"asrl10", "/dev/ttyS9"},
                                   {"ASRL2", "/dev/ttyS1"},
                                   {"ASRL0", "/dev/ttyS0"},
                                   {"ASRLx", "/dev/ttyS0"},
                                   {"ASRL70000", "/dev/ttyS0"},
                                   {"ASRL3", "ttyS3"},
                                   {"Scan", "False"},
                                   {"LockDirectory", "/tmp/locks"},
                                   {"Colour", "blue"}},
                                  &problems);
    ASSERT_EQ(c.named.size(), 2u);
    EXPECT_EQ(c.named[0], (std::pair<int, std::string>{2, "/dev/serial/by-id/x"}));
    EXPECT_EQ(c.named[1], (std::pair<int, std::string>{10, "/dev/ttyS9"}));
    EXPECT_FALSE(c.scan);
    EXPECT_EQ(c.lockDirectory, "/tmp/locks");
    EXPECT_EQ(problems.size(), 6u);
}

}  // namespace
}  // namespace zuvisa::asrl

// A machine's USB devices described in a temporary folder as sysfs shows them: the device with
// its identity, its interfaces, and the usbtmc nodes the driver made.
#pragma once

#include <filesystem>
#include <string>

#include "../../../support/tempdir.h"

namespace zuvisa::testing {

struct UsbDeviceSpec {
    std::string port;  // "1-1": the device's folder, and its place on the bus
    int vendor, product;
    std::string manufacturer, product_name, serial;
    int interface = 0;
    int interfaceClass = 0xFE, subclass = 0x03, protocol = 1;
    int deviceCapabilities = 1, usb488Capabilities = 7;
    std::string tmcNode;  // "usbtmc0" when the usbtmc driver has the interface
};

class UsbTree {
public:
    explicit UsbTree(const std::string& root) : sys_(root + "/sys"), dev_(root + "/dev") {
        std::filesystem::create_directories(dev_);
        std::filesystem::create_directories(sys_ + "/class/usbmisc");
        std::filesystem::create_directories(sys_ + "/bus/usb/devices");
    }
    const std::string& sys() const { return sys_; }
    const std::string& dev() const { return dev_; }

    void add(const UsbDeviceSpec& s) {
        namespace fs = std::filesystem;
        std::string d = sys_ + "/devices/pci0000:00/usb1/" + s.port;
        put(d + "/idVendor", hex(s.vendor));
        put(d + "/idProduct", hex(s.product));
        put(d + "/manufacturer", s.manufacturer);
        put(d + "/product", s.product_name);
        if (!s.serial.empty()) put(d + "/serial", s.serial);
        std::string intfName = s.port + ":1." + std::to_string(s.interface);
        std::string intf = d + "/" + intfName;
        put(intf + "/bInterfaceNumber", hex2(s.interface));
        put(intf + "/bInterfaceClass", hex2(s.interfaceClass));
        put(intf + "/bInterfaceSubClass", hex2(s.subclass));
        put(intf + "/bInterfaceProtocol", hex2(s.protocol));
        fs::create_symlink(d, sys_ + "/bus/usb/devices/" + s.port);
        fs::create_symlink(intf, sys_ + "/bus/usb/devices/" + intfName);
        if (s.tmcNode.empty()) return;
        put(intf + "/device_capabilities", std::to_string(s.deviceCapabilities));
        put(intf + "/usb488_interface_capabilities", std::to_string(s.usb488Capabilities));
        fs::create_directories(sys_ + "/class/usbmisc/" + s.tmcNode);
        fs::create_symlink(intf, sys_ + "/class/usbmisc/" + s.tmcNode + "/device");
        fs::create_directories(sys_ + "/bus/usb/drivers/usbtmc");
        fs::create_symlink(sys_ + "/bus/usb/drivers/usbtmc", intf + "/driver");
        writeFile(dev_ + "/" + s.tmcNode, "");
    }
    std::string node(const std::string& name) const { return dev_ + "/" + name; }

private:
    static void put(const std::string& path, const std::string& text) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        writeFile(path, text + "\n");
    }
    static std::string hex(int v) {
        char b[8];
        snprintf(b, sizeof b, "%04x", v);
        return b;
    }
    static std::string hex2(int v) {
        char b[8];
        snprintf(b, sizeof b, "%02x", v);
        return b;
    }
    std::string sys_, dev_;
};

}  // namespace zuvisa::testing

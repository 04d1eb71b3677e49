#include "zuvisa/bridgelets/usbtmc/discovery.h"

#include <unistd.h>

#include <cstdio>

namespace zuvisa::usbtmc {

namespace {

constexpr int kClassApplication = 0xFE;
constexpr int kSubclassTmc = 0x03;

int decimalAttribute(const std::string& path) {
    std::string text;
    unsigned long v = 0;
    if (!sysfs::readAttribute(path, &text, 16) || !sysfs::parseDecimal(text, 255, &v)) return 0;
    return static_cast<int>(v);
}

// A serial number for a device that has none: its place on the bus, which stays the same
// while it is plugged into the same port.
std::string portPath(const std::string& deviceFolder) {
    std::string out;
    for (char c : sysfs::lastComponent(deviceFolder)) {
        bool ok = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '.';
        out.push_back(ok ? c : '_');
    }
    return out.empty() ? std::string("0") : out;
}

}  // namespace

std::vector<TmcDevice> findDevices(const sysfs::Roots& roots) {
    std::vector<TmcDevice> out;
    std::string base = roots.sys + "/class/usbmisc";
    for (const std::string& name : sysfs::listFolder(base)) {
        unsigned long minor = 0;
        if (name.rfind("usbtmc", 0) != 0 || !sysfs::parseDecimal(name.substr(6), 255, &minor)) continue;
        std::string intf = sysfs::resolvePath(base + "/" + name + "/device");
        TmcDevice d;
        if (intf.empty() || !sysfs::usbIdentity(intf, &d.id)) continue;
        d.name = name;
        d.node = roots.dev + "/" + name;
        d.serial = d.id.serial.empty() ? portPath(d.id.devicePath) : d.id.serial;
        d.deviceCapabilities = decimalAttribute(intf + "/device_capabilities");
        d.usb488InterfaceCapabilities = decimalAttribute(intf + "/usb488_interface_capabilities");
        d.accessible = access(d.node.c_str(), R_OK | W_OK) == 0;
        out.push_back(std::move(d));
    }
    return out;
}

std::string resourceName(const TmcDevice& d, const char* rsrcClass) {
    char buf[256];
    if (d.id.interfaceNumber > 0) {
        snprintf(buf, sizeof buf, "USB0::0x%04X::0x%04X::%s::%d::%s", d.id.vendor, d.id.product,
                 d.serial.c_str(), d.id.interfaceNumber, rsrcClass);
    } else {
        snprintf(buf, sizeof buf, "USB0::0x%04X::0x%04X::%s::%s", d.id.vendor, d.id.product, d.serial.c_str(),
                 rsrcClass);
    }
    return buf;
}

std::string udevRule(const TmcDevice& d) {
    char buf[256];
    snprintf(buf, sizeof buf,
             "SUBSYSTEM==\"usbmisc\", KERNEL==\"usbtmc[0-9]*\", ATTRS{idVendor}==\"%04x\", "
             "ATTRS{idProduct}==\"%04x\", MODE=\"0660\", GROUP=\"plugdev\", TAG+=\"uaccess\"",
             d.id.vendor, d.id.product);
    return buf;
}

std::vector<std::string> unboundTmcInterfaces(const sysfs::Roots& roots) {
    std::vector<std::string> out;
    std::string base = roots.sys + "/bus/usb/devices";
    for (const std::string& name : sysfs::listFolder(base)) {
        if (name.find(':') == std::string::npos) continue;  // devices; interfaces have a colon
        std::string intf = base + "/" + name;
        sysfs::UsbIdentity id;
        if (!sysfs::usbIdentity(intf, &id)) continue;
        if (id.interfaceClass != kClassApplication || id.interfaceSubclass != kSubclassTmc) continue;
        std::string driver = sysfs::lastComponent(sysfs::linkTarget(intf + "/driver"));
        if (driver == "usbtmc") continue;
        char ids[16];
        snprintf(ids, sizeof ids, "%04x:%04x", id.vendor, id.product);
        out.push_back(name + " (" + ids + ", bound to " + (driver.empty() ? "no driver" : driver) + ")");
    }
    return out;
}

}  // namespace zuvisa::usbtmc

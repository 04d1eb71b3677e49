// USB instruments the usbtmc driver has taken, found in sysfs (/sys/class/usbmisc/usbtmcN),
// with their identity, the capabilities the driver read from them, and whether this user may
// open their device node.
#pragma once

#include <string>
#include <vector>

#include "zuvisa/bridgelets/sysfs/sysfs.h"

namespace zuvisa::usbtmc {

struct TmcDevice {
    std::string node;  // /dev/usbtmcN
    std::string name;  // usbtmcN
    sysfs::UsbIdentity id;
    std::string serial;         // the serial number, or the port path for a device without one
    int deviceCapabilities = 0;  // the interface's TMC device capabilities (bit 0: TermChar)
    int usb488InterfaceCapabilities = 0;
    bool accessible = true;  // readable and writable by this user
};

// Every usbtmc device under the roots.
std::vector<TmcDevice> findDevices(const sysfs::Roots& roots);

// The VISA resource name of a device ("USB0::0x0957::0x1755::MY123::INSTR"); the interface
// number is spelled out only when it is not 0.
std::string resourceName(const TmcDevice& d, const char* rsrcClass = "INSTR");

// A udev rule that lets the users of a desktop session open the device.
std::string udevRule(const TmcDevice& d);

// Test-and-measurement interfaces on the USB bus that no usbtmc node came from (the driver not
// loaded, or another driver holding them): "1-1.2:1.0 (0957:1755, bound to none)".
std::vector<std::string> unboundTmcInterfaces(const sysfs::Roots& roots);

}  // namespace zuvisa::usbtmc

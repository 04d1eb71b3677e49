// Which serial ports the machine has and the ASRL numbers they go by.
//
// Ports named in the configuration keep the number they are given there; the path may be a
// /dev/serial/by-id link, so that a USB adapter keeps its number whichever /dev/ttyUSBn it gets.
// Found ports that the configuration does not name are numbered after them: /dev/ttySn is
// ASRL(n+1) when that number is free; USB and modem ports take the lowest free numbers, in the
// order of their by-id names. The kernel's console and 8250 ports without a UART are left out.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "zuvisa/bridgelets/sysfs/sysfs.h"

namespace zuvisa::asrl {

struct PortConfig {
    std::vector<std::pair<int, std::string>> named;  // ASRL number, device path
    bool scan = true;                                // also list ports the file does not name
    std::string lockDirectory = "/var/lock";
    sysfs::Roots roots;
};

// Reads the bridgelet's configuration section: "ASRLn = path", "Scan = True|False", and for
// tests and unusual systems "SysRoot", "DevRoot" and "LockDirectory". Problems (a bad number,
// a number named twice) are described in *problems; the rest still counts.
PortConfig readPortConfig(const std::vector<std::pair<std::string, std::string>>& items,
                          std::vector<std::string>* problems);

struct PortEntry {
    int number = 0;
    std::string device;      // what is opened: the configured path, or /dev/<kernel name>
    std::string resolved;    // the device node it leads to; empty when it is not there
    std::string kernelName;  // ttyUSB0
    std::string byId;        // the /dev/serial/by-id link to it, if any
    std::string description; // who made it, from the USB identity
    bool configured = false;
    bool present = false;
};

// Every port with its number: configured ports (present or not) and, when scanning, the ports
// found. *skipped gets a line for each port found but left out, with the reason.
std::vector<PortEntry> listPorts(const PortConfig& config, std::vector<std::string>* skipped);

// The interface name sessions on a port see, such as "ASRL3 (/dev/ttyUSB0, FTDI FT232R)".
std::string instanceName(const PortEntry& port);

}  // namespace zuvisa::asrl

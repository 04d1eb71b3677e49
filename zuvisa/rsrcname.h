// Resource names: parsing every interface's grammar and spelling the canonical form that the
// library stores, reports and compares.
#pragma once

#include <string>
#include <string_view>

#include "zuvisa/visa.h"

namespace zuvisa {

inline constexpr size_t kMaxResourceName = 255;

struct ResourceName {
    ViUInt16 intfType = 0;      // VI_INTF_GPIB ...
    ViUInt16 board = 0;         // interface number
    std::string intfPrefix;     // "GPIB", "GPIB-VXI", "VXI", "ASRL", "TCPIP", "USB", "PXI"
    std::string rsrcClass;      // "INSTR", "INTFC", "SOCKET", ...
    std::string canonical;

    int primary = -1, secondary = -1;  // GPIB INSTR
    int logicalAddress = -1;           // VXI and GPIB-VXI INSTR; mainframe of a BACKPLANE
    std::string host, lanDevice;       // TCPIP
    int port = -1;                     // TCPIP SOCKET
    int usbManf = -1, usbModel = -1, usbInterface = -1;
    std::string usbSerial;
    int pxiBus = -1, pxiDevice = -1, pxiFunction = -1, pxiChassis = -1, pxiSlot = -1;
};

// VI_SUCCESS, or VI_ERROR_INV_RSRC_NAME for anything that is not a complete, valid name.
ViStatus parseResourceName(std::string_view text, ResourceName* out);

// Whether two parsed names mean the same resource although spelled differently: host names
// and LAN device names in any case, a USB name without its interface number as interface 0, a
// GPIB name without a secondary address as one with secondary address 0.
bool sameResource(const ResourceName& a, const ResourceName& b);

// Upper-case copy (ASCII), for comparing names and classes.
std::string upperAscii(std::string_view text);

}  // namespace zuvisa

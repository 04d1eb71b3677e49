// Device files of the sim bridgelet: YAML readable as pyvisa-sim 1.1 device files, plus our
// extensions: register-based devices, interfaces and their topology, actions that raise events,
// and faults. See format.md beside this file.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zuvisa/visa.h"

namespace zuvisa::sim {

inline constexpr size_t kMaxDeviceFileSize = 4u << 20;
inline constexpr size_t kMaxTextLength = 64u << 10;

struct QueryResponse {
    std::string q;
    std::string r;
    bool hasResponse = false;
};

struct Specs {
    enum Type { Text, Int, Float } type = Text;
    bool hasMin = false, hasMax = false;
    double min = 0, max = 0;
    std::vector<std::string> valid;
};

struct PropertyDef {
    std::string name;
    std::string defaultValue;
    bool hasGetter = false, hasSetter = false;
    QueryResponse getter;
    QueryResponse setter;
    std::string setterError;  // response when a set value is refused
    bool hasSetterError = false;
    Specs specs;
};

struct StatusRegisterDef {
    std::string q;
    std::vector<std::pair<std::string, long>> bits;  // error kind, value or'ed in
};

struct ErrorQueueDef {
    std::string q;
    std::string defaultText;
    std::vector<std::pair<std::string, std::string>> messages;  // error kind, text queued
};

struct ChannelsDef {
    std::string name;
    std::vector<std::string> ids;
    bool canSelect = false;
    std::vector<QueryResponse> dialogues;
    std::vector<PropertyDef> properties;
};

struct Eom {
    std::string q = "\n";
    std::string r = "\n";
};

// What a device does on its own: raise an event, set event status bits, send a message. It starts
// after a command, a register write, a trigger, or periodically, optionally after a delay.
struct ActionDef {
    enum class When { Command, Write, Trigger, Every } when = When::Command;
    std::string command;         // When::Command: the command as the dialogues spell it
    ViUInt16 space = 0;          // When::Write: the register written
    uint64_t offset = 0;
    uint32_t periodMs = 0;       // When::Every
    uint32_t delayMs = 0;        // "after"
    ViEventType raise = 0;       // 0: none
    std::vector<std::pair<ViAttr, ViAttrState>> numbers;  // event attributes given
    std::vector<std::pair<ViAttr, std::string>> texts;
    int esr = -1;                // bits or'ed into the event status register, -1: none
    std::string send;            // a message the device sends
    bool hasSend = false;
};

// Initial contents of an address space of a register-based device.
struct MemoryFillDef {
    ViUInt16 space = 0;
    uint64_t offset = 0;
    int width = 8;  // bits
    std::vector<uint64_t> values;
    enum class Pattern { None, Ramp, Sine } pattern = Pattern::None;
    uint32_t count = 0;   // elements of a pattern
    uint32_t period = 0;  // elements per sine period
};

// A VXI device's configuration registers and memory.
struct VxiDef {
    bool present = false;
    uint16_t deviceClass = VI_VXI_CLASS_MESSAGE;  // VI_VXI_CLASS_*
    uint16_t manufacturer = 0;                    // 12 bits
    uint16_t model = 0;                           // 12 bits
    ViUInt16 memorySpace = 0;                     // VI_A24_SPACE, VI_A32_SPACE or 0 (none)
    uint64_t memorySize = 0;
    bool sharedMemory = false;  // viMemAlloc hands out parts of the memory
    uint32_t triggerLines = 0;  // VI_ATTR_VXI_TRIG_SUPPORT
    bool passed = true;         // self-test result; a failed device asserts SYSFAIL
    int interruptLevel = 1;
};

struct PxiBarDef {
    ViUInt16 type = VI_PXI_ADDR_NONE;  // VI_PXI_ADDR_MEM or VI_PXI_ADDR_IO
    uint64_t size = 0;
};

// A PXI (PCI) function: its configuration header and base address registers.
struct PxiDef {
    bool present = false;
    uint16_t vendor = 0, device = 0, subsystemVendor = 0, subsystem = 0;
    uint32_t classCode = 0;  // 24 bits
    uint8_t revision = 0;
    PxiBarDef bars[6];
};

// The modem lines a serial instrument drives.
struct SerialDef {
    bool present = false;
    bool dcd = true;
    bool ri = false;
    bool followsRts = true;  // CTS follows RTS, DSR follows DTR, as on a hardware-handshake cable
};

struct DeviceDef {
    std::string name;
    std::string delimiter = ";";
    std::map<std::string, Eom> eom;  // "GPIB INSTR", "TCPIP SOCKET", ...
    std::string commandError, queryError;
    bool hasCommandError = false, hasQueryError = false;
    std::vector<StatusRegisterDef> statusRegisters;
    std::vector<ErrorQueueDef> errorQueues;
    std::vector<QueryResponse> dialogues;
    std::vector<PropertyDef> properties;
    std::vector<ChannelsDef> channels;
    // Extensions.
    bool ieee4882 = true;        // answer the common commands nothing else answers
    std::string triggerResponse;  // queued on each trigger
    bool hasTriggerResponse = false;
    ViUInt8 statusByte = 0;      // initial bits of the status byte
    VxiDef vxi;
    PxiDef pxi;
    SerialDef serial;
    std::vector<MemoryFillDef> memory;
    std::vector<ActionDef> actions;
};

// An injected fault: calls of one operation fail with a status or take longer.
struct FaultDef {
    std::string operation;  // "viRead", or "viIn" (every width) or "viIn16"
    ViStatus status = VI_SUCCESS;  // VI_SUCCESS: the call itself still runs
    uint32_t delayMs = 0;
    uint32_t after = 0;     // calls that pass before the fault starts
    int64_t times = -1;     // calls that fail then; -1 forever
};

struct ResourceDef {
    std::string name;
    std::string device;  // index into DeviceFile::devices by name
    std::vector<std::pair<std::string, std::string>> attributes;  // attribute name, value text
    // Extensions.
    bool present = true;              // false: listed, but nothing answers (VI_SUCCESS_DEV_NPRESENT)
    ViStatus openStatus = VI_SUCCESS;  // an error: viOpen fails with it
    int mainframe = -1;               // VXI: the logical address of the device's mainframe
    int slot = -1;
    std::vector<FaultDef> faults;
};

// A board, VXI system or PXI bus, by its interface name ("GPIB0", "GPIB-VXI1", "VXI0", "PXI0").
struct InterfaceDef {
    std::string name;
    std::string description;     // VI_ATTR_INTF_INST_NAME
    int address = 0;             // GPIB board: its primary address; GPIB-VXI: the controller's
    int parent = 0;              // GPIB-VXI: the GPIB board it hangs on
    std::string controller;      // GPIB-VXI: the device the controller answers as on GPIB
    bool systemController = true;
    bool cic = true;
    uint32_t controlReturnsMs = 500;  // GPIB: after passing control, the CIC returns it
    int controllerLa = 0;        // VXI: logical address of the local controller
    std::vector<int> mainframes;  // VXI: logical addresses of the mainframes (first: default)
    bool mxi = false;            // VXI: reached through an MXI bus extender
};

// Properties of the whole simulated bench.
struct BenchDef {
    ViStatus vxiResourceManager = VI_SUCCESS;  // what the VXI resource manager reported
    long findNextFailsAfter = -1;
    ViStatus findNextStatus = VI_ERROR_SYSTEM_ERROR;
};

struct DeviceFile {
    std::vector<DeviceDef> devices;
    std::vector<ResourceDef> resources;
    std::vector<InterfaceDef> interfaces;
    BenchDef bench;
    bool hasBench = false;
    const DeviceDef* device(const std::string& name) const;
};

// Address space by its device-file name ("A16" ... "A64", "BAR0" ... "BAR5", "CFG", "ALLOC");
// 0 when unknown.
ViUInt16 spaceByName(const std::string& name);
// A status by name ("VI_ERROR_TMO") or number; false when neither.
bool statusByText(const std::string& text, ViStatus* out);
// A trigger line by name ("TTL3", "ECL0", "PANEL_IN", "STAR_SLOT2"...); false when unknown.
bool triggerLineByName(const std::string& name, ViInt16* out);

// Reads a file (resolving "filename:" references beside it). VI_SUCCESS, or
// VI_ERROR_FILE_ACCESS / VI_ERROR_INV_SETUP with a reason.
ViStatus loadDeviceFile(const std::string& path, DeviceFile* out, std::string* problem);
// Parses text; references to other files are refused when baseDir is empty.
ViStatus parseDeviceText(std::string_view text, const std::string& baseDir, DeviceFile* out,
                         std::string* problem);

}  // namespace zuvisa::sim

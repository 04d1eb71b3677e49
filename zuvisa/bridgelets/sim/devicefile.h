// Device files of the sim bridgelet: YAML readable as pyvisa-sim 1.1 device files, plus our
// extensions for message-based devices. See format.md beside this file.
#pragma once

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
};

struct ResourceDef {
    std::string name;
    std::string device;  // index into DeviceFile::devices by name
    std::vector<std::pair<std::string, std::string>> attributes;  // attribute name, value text
};

struct DeviceFile {
    std::vector<DeviceDef> devices;
    std::vector<ResourceDef> resources;
    const DeviceDef* device(const std::string& name) const;
};

// Reads a file (resolving "filename:" references beside it). VI_SUCCESS, or
// VI_ERROR_FILE_ACCESS / VI_ERROR_INV_SETUP with a reason.
ViStatus loadDeviceFile(const std::string& path, DeviceFile* out, std::string* problem);
// Parses text; references to other files are refused when baseDir is empty.
ViStatus parseDeviceText(std::string_view text, const std::string& baseDir, DeviceFile* out,
                         std::string* problem);

}  // namespace zuvisa::sim

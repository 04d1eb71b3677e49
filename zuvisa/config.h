// The ZU-VISA configuration: one ini file naming the enabled bridgelets, aliases and simulation
// files. Looked up through ZUVISA_CONFIG, then the user's configuration directory
// ($XDG_CONFIG_HOME or ~/.config, "zuvisa/zuvisa.ini"), then /etc/zuvisa/zuvisa.ini; without a
// file the built-in defaults apply: the serial ports (asrl), USB instruments (usbtmc), gpib when
// linux-gpib is installed, the sim bridgelet with the bundled bench, and tcpip. Hardware comes
// first: where names clash the first bridgelet wins, and the demo bench must hide no real port.
//
//   [Bridgelets]
//   sim = True                ; one item per bridgelet, in load order: True, False or Auto
//   tcpip = False
//   gpib = Auto               ; Auto: loaded when what it needs is installed, silently left
//                             ; out when not (True: a missing library is reported)
//   ModuleDirectory = "/opt/zuvisa/lib"   ; optional; default: next to libzuvisa.so
//
//   [Aliases]
//   dmm = "GPIB0::22::INSTR"
//
//   [Simulation]
//   File1 = "bench.yaml"      ; any item name; relative paths are taken from the file's folder
//   DemoBench = False         ; the bundled demo bench: loaded (when sim is enabled) unless
//                             ; this is False; by default only while no file is named
//
//   [sim]                     ; a section per bridgelet is handed to that bridgelet as it is
//
//   [GPIB0::22::INSTR]        ; a section named by a resource: the attribute values that a
//   VI_ATTR_TMO_VALUE = 5000  ; session opened with VI_LOAD_CONFIG starts with (numbers or
//   VI_ATTR_TERMCHAR_EN = VI_TRUE  ; the standard's names of values)
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "zuvisa/rsrcname.h"
#include "zuvisa/visa.h"

namespace zuvisa {

inline constexpr char kSectionBridgelets[] = "Bridgelets";
inline constexpr char kSectionAliases[] = "Aliases";
inline constexpr char kSectionSimulation[] = "Simulation";
inline constexpr char kItemModuleDirectory[] = "ModuleDirectory";
inline constexpr char kItemDemoBench[] = "DemoBench";
inline constexpr char kDefaultBenchFile[] = "zuvisa-sim-default.yaml";

struct BridgeletEntry {
    std::string name;
    bool enabled = false;
    bool optional = false;  // Auto: not loading is no problem
};

struct Config {
    std::string path;  // the file read; empty for the built-in defaults
    std::vector<BridgeletEntry> bridgelets;
    std::string moduleDirectory;
    std::vector<std::pair<std::string, std::string>> aliases;  // alias, resource name
    std::vector<std::string> simulationFiles;  // with the demo bench, when it is in force
    int demoBench = -1;                          // the DemoBench item: -1 absent, 0 or 1
    std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>> sections;

    const std::vector<std::pair<std::string, std::string>>* section(const std::string& name) const;
};

// The attribute values stored for a resource (attribute name, value text), from the section
// whose name means the same resource; empty when there is none.
std::vector<std::pair<std::string, std::string>> storedAttributes(const Config& c, const ResourceName& name);
// A stored attribute value: a number (decimal, 0x hexadecimal, negative) or the name of one of
// the standard's values (VI_TRUE, VI_TMO_INFINITE, VI_FLUSH_ON_ACCESS, VI_ASRL_PAR_EVEN...).
bool parseAttrValue(const std::string& text, ViAttrState* out);

// Where the configuration file is looked for, in order (existing or not).
std::vector<std::string> configCandidates();
// The first candidate that exists, or empty.
std::string findConfigFile();
// Reads a configuration file. VI_SUCCESS, or VI_ERROR_FILE_ACCESS / VI_ERROR_INV_SETUP with a
// reason in *problem.
ViStatus readConfigFile(const std::string& path, Config* out, std::string* problem);
// The built-in defaults, with modules and the bundled bench in moduleDir.
Config defaultConfig(const std::string& moduleDir);
// Finds and reads the configuration, falling back to the defaults. A file that cannot be read
// gives the defaults too, with VI_WARN_CONFIG_NLOADED and a reason.
ViStatus loadConfig(const std::string& moduleDir, Config* out, std::string* problem);

}  // namespace zuvisa

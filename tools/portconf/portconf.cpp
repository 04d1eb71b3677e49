#include "tools/portconf/portconf.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "toolslib/toolbox/ini.h"
#include "zuvisa/bridgelets/asrl/diagnose.h"
#include "zuvisa/bridgelets/gpib/diagnose.h"
#include "zuvisa/bridgelets/tcpip/discovery.h"
#include "zuvisa/bridgelets/tcpip/tcpip.h"
#include "zuvisa/bridgelets/usbtmc/diagnose.h"
#include "zuvisa/bridgelets/usbtmc/usbtmc.h"
#include "zuvisa/config.h"
#include "zuvisa/core.h"
#include "zuvisa/visa.h"

namespace portconf {

namespace {

const char kUsage[] =
    "usage: portconf [--config FILE] COMMAND\n"
    "  show                     the configuration in force and where it comes from\n"
    "  enable NAME              load bridgelet NAME (sim, tcpip, asrl, usbtmc, gpib)\n"
    "  disable NAME             do not load bridgelet NAME\n"
    "  add-sim FILE             add a simulation (device) file\n"
    "  remove-sim FILE          remove a simulation file\n"
    "  bench on|off             load the bundled demo bench or not\n"
    "  alias NAME RESOURCE      name a resource\n"
    "  unalias NAME             remove an alias\n"
    "  add-lan RESOURCE         name a LAN instrument (TCPIP0::host::inst0::INSTR, ...)\n"
    "  remove-lan RESOURCE      forget a LAN instrument\n"
    "  add-serial DEVICE [NUMBER] [ALIAS]  give a serial port a fixed ASRL number (by its\n"
    "                           /dev/serial/by-id name where it has one) and an alias\n"
    "  remove-serial NUMBER|DEVICE  let a serial port be numbered as it is found\n"
    "  list [--why] [EXPRESSION]  resources the library finds (default ?*); --why tells\n"
    "                           what each way of finding them did\n"
    "  save-attrs RESOURCE ATTR=VALUE...\n"
    "                           store attribute values that sessions opened with\n"
    "                           VI_LOAD_CONFIG start with (VALUE: a number or a name\n"
    "                           such as VI_TRUE or VI_FLUSH_ON_ACCESS)\n"
    "  clear-attrs RESOURCE [ATTR...]  forget stored values (all, or those named)\n";

struct IniDeleter {
    void operator()(IniTextRecord* ini) const { Ini_Dispose(ini); }
};
using Ini = std::unique_ptr<IniTextRecord, IniDeleter>;

// The file edits go to: the one in force, else the user's own.
std::string editTarget(const std::string& given) {
    if (!given.empty()) return given;
    std::string found = zuvisa::findConfigFile();
    if (!found.empty()) return found;
    auto candidates = zuvisa::configCandidates();
    return candidates.empty() ? std::string() : candidates.front();
}

bool makeParents(const std::string& path) {
    for (size_t pos = 1; (pos = path.find('/', pos)) != std::string::npos; ++pos) {
        std::string dir = path.substr(0, pos);
        if (mkdir(dir.c_str(), 0755) != 0 && errno != EEXIST) return false;
    }
    return true;
}

int loadIni(const std::string& path, Ini* ini, std::string* err) {
    ini->reset(Ini_New(0));
    if (!*ini) return 1;
    struct stat st;
    if (stat(path.c_str(), &st) == 0) {
        int rc = Ini_ReadFromFile(ini->get(), path.c_str());
        if (rc < 0) {
            *err += "cannot read " + path + " (" + std::to_string(rc) + ")\n";
            return 1;
        }
    }
    return 0;
}

int saveIni(const std::string& path, IniText ini, std::string* out, std::string* err) {
    if (!makeParents(path)) {
        *err += "cannot create the folder of " + path + "\n";
        return 1;
    }
    int rc = Ini_WriteToFile(ini, path.c_str());
    if (rc < 0) {
        *err += "cannot write " + path + " (" + std::to_string(rc) + ")\n";
        return 1;
    }
    *out += "wrote " + path + "\n";
    return 0;
}

int show(const std::string& given, std::string* out, std::string* err) {
    zuvisa::Config c;
    std::string problem;
    std::string path = given.empty() ? zuvisa::findConfigFile() : given;
    if (path.empty()) {
        c = zuvisa::defaultConfig(zuvisa::Library::imageDirectory());
        *out += "configuration: built-in defaults (no file)\n";
    } else if (zuvisa::readConfigFile(path, &c, &problem) != VI_SUCCESS) {
        *err += problem + "\n";
        return 1;
    } else {
        *out += "configuration: " + path + "\n";
    }
    if (!problem.empty()) *err += problem + "\n";
    *out += "bridgelets:\n";
    for (const auto& b : c.bridgelets) {
        *out += "  " + b.name + (!b.enabled ? " (off)\n" : b.optional ? " (auto: where its library is)\n" : " (on)\n");
    }
    if (!c.moduleDirectory.empty()) *out += "module directory: " + c.moduleDirectory + "\n";
    *out += "simulation files:\n";
    for (const auto& f : c.simulationFiles) *out += "  " + f + "\n";
    // The demo bench comes with the sim bridgelet unless the file says otherwise.
    bool bench = c.demoBench == 1 || (c.demoBench == -1 && (path.empty() || c.simulationFiles.empty()));
    *out += std::string("demo bench: ") + (bench ? "on" : "off") + "\n";
    *out += "aliases:\n";
    for (const auto& [a, r] : c.aliases) *out += "  " + a + " = " + r + "\n";
    *out += "stored attributes (VI_LOAD_CONFIG):\n";
    for (const auto& [section, items] : c.sections) {
        zuvisa::ResourceName n;
        if (zuvisa::parseResourceName(section, &n) != VI_SUCCESS) continue;
        for (const auto& [attr, value] : items) *out += "  " + section + ": " + attr + " = " + value + "\n";
    }
    return 0;
}

// What each way of finding resources did, for a list that came out empty or short: one
// function per bridgelet, each adding its lines.
using Settings = std::vector<std::pair<std::string, std::string>>;

Settings sectionOf(const zuvisa::Config& c, const char* name) {
    const auto* section = c.section(name);
    return section ? *section : Settings{};
}

void addLines(const std::vector<std::string>& lines, std::string* out) {
    for (const std::string& l : lines) *out += "    " + l + "\n";
}

void explainSim(const zuvisa::Config& c, std::string* out) {
    *out += "    simulation files: " + std::to_string(c.simulationFiles.size()) + "\n";
}

void explainTcpip(const zuvisa::Config& c, std::string* out) {
    zuvisa::tcpip::Config t = zuvisa::tcpip::readSettings(sectionOf(c, "tcpip"));
    for (const std::string& p : t.problems) *out += "    problem: " + p + "\n";
    zuvisa::tcpip::DiscoverySettings d = t.discovery;
    if (d.windowMs < 1000) d.windowMs = 1000;  // a patient look, unlike a search's
    for (const auto& r : zuvisa::tcpip::discoverOnce(d).reports) {
        *out += "    " + r.method + ": " + r.outcome + "\n";
    }
}

void explainAsrl(const zuvisa::Config& c, std::string* out) {
    std::vector<std::string> problems;
    zuvisa::asrl::PortConfig ports = zuvisa::asrl::readPortConfig(sectionOf(c, "asrl"), &problems);
    for (const std::string& p : problems) *out += "    problem: " + p + "\n";
    addLines(zuvisa::asrl::explainPorts(ports), out);
}

void explainUsbtmc(const zuvisa::Config& c, std::string* out) {
    std::vector<std::string> problems;
    zuvisa::usbtmc::UsbtmcConfig u = zuvisa::usbtmc::readUsbtmcConfig(sectionOf(c, "usbtmc"), &problems);
    for (const std::string& p : problems) *out += "    problem: " + p + "\n";
    addLines(zuvisa::usbtmc::explainDevices(u.roots), out);
}

void explainGpib(const zuvisa::Config& c, std::string* out) {
    std::vector<std::string> problems;
    zuvisa::gpib::GpibConfig g = zuvisa::gpib::readGpibConfig(sectionOf(c, "gpib"), &problems);
    for (const std::string& p : problems) *out += "    problem: " + p + "\n";
    addLines(zuvisa::gpib::explainBoards(g), out);
}

struct Method {
    const char* bridgelet;
    void (*explain)(const zuvisa::Config&, std::string*);
};
const Method kMethods[] = {
    {"sim", explainSim}, {"tcpip", explainTcpip}, {"asrl", explainAsrl}, {"usbtmc", explainUsbtmc}, {"gpib", explainGpib},
};

void explain(std::string* out) {
    zuvisa::Config c;
    std::string problem;
    zuvisa::loadConfig(zuvisa::Library::imageDirectory(), &c, &problem);
    *out += "how resources were looked for:\n";
    *out += "  configuration: " + (c.path.empty() ? std::string("built-in defaults") : c.path) + "\n";
    if (!problem.empty()) *out += "    problem: " + problem + "\n";
    for (const Method& m : kMethods) {
        const zuvisa::BridgeletEntry* entry = nullptr;
        for (const auto& b : c.bridgelets) {
            if (b.name == m.bridgelet) entry = &b;
        }
        if (!entry || !entry->enabled) {
            *out += std::string("  bridgelet ") + m.bridgelet + ": off (portconf enable " + m.bridgelet + ")\n";
            continue;
        }
        *out += std::string("  bridgelet ") + m.bridgelet + (entry->optional ? ": auto\n" : ": on\n");
        m.explain(c, out);
    }
}

void seedDefaults(IniText p) {
    for (const zuvisa::BridgeletEntry& b : zuvisa::defaultConfig(std::string()).bridgelets) {
        if (b.optional) Ini_PutString(p, zuvisa::kSectionBridgelets, b.name.c_str(), "Auto");
        else Ini_PutBoolean(p, zuvisa::kSectionBridgelets, b.name.c_str(), b.enabled);
    }
}

Settings sectionItems(IniText p, const char* section) {
    Settings items;
    int n = Ini_NumberOfItems(p, section);
    for (int i = 1; i <= n; ++i) {
        char* item = nullptr;
        char* value = nullptr;
        if (Ini_NthItemName(p, section, i, &item) > 0 && item) {
            Ini_GetPointerToString(p, section, item, &value);
            items.emplace_back(item, value ? value : "");
        }
    }
    return items;
}

bool parsePortNumber(std::string text, int* number) {
    if (text.size() > 4 && (text.rfind("ASRL", 0) == 0 || text.rfind("asrl", 0) == 0)) text = text.substr(4);
    unsigned long n = 0;
    if (!zuvisa::sysfs::parseDecimal(text, 65535, &n) || n == 0) return false;
    *number = static_cast<int>(n);
    return true;
}

// add-serial DEVICE [NUMBER] [ALIAS]: the port keeps the number it is listed under now unless
// one is given, and is written down by the name that survives a reboot.
int addSerial(IniText p, const std::vector<std::string>& args, std::string* out, std::string* err) {
    const char* section = "asrl";
    zuvisa::asrl::PortConfig config = zuvisa::asrl::readPortConfig(sectionItems(p, section), nullptr);
    std::string resolved = zuvisa::sysfs::resolvePath(args[1]);
    if (resolved.empty()) {
        *err += args[1] + " is not there\n";
        return 1;
    }
    int number = 0;
    std::string alias;
    for (size_t i = 2; i < args.size(); ++i) {
        if (!number && parsePortNumber(args[i], &number)) continue;
        if (i == args.size() - 1 && alias.empty()) alias = args[i];
        else {
            *err += args[i] + " is not a port number\n";
            return 1;
        }
    }
    std::vector<zuvisa::asrl::PortEntry> ports = zuvisa::asrl::listPorts(config, nullptr);
    std::string previous;  // the item that named this port before
    for (const auto& port : ports) {
        if (port.resolved != resolved) continue;
        if (!number) number = port.number;
        if (port.configured) previous = "ASRL" + std::to_string(port.number);
    }
    for (const auto& [n, path] : config.named) {
        if (n == number && zuvisa::sysfs::resolvePath(path) != resolved && "ASRL" + std::to_string(n) != previous) {
            *err += "ASRL" + std::to_string(n) + " is already " + path + "\n";
            return 1;
        }
    }
    if (!number) {
        number = 1;
        auto taken = [&](int n) {
            for (const auto& port : ports) {
                if (port.number == n) return true;
            }
            return false;
        };
        while (taken(number)) ++number;
    }
    if (!previous.empty()) Ini_RemoveItem(p, section, previous.c_str());
    std::string item = "ASRL" + std::to_string(number);
    std::string name = zuvisa::asrl::stableName(config.roots, args[1]);
    Ini_PutString(p, section, item.c_str(), name.c_str());
    if (!Ini_ItemExists(p, zuvisa::kSectionBridgelets, "asrl")) Ini_PutBoolean(p, zuvisa::kSectionBridgelets, "asrl", 1);
    *out += item + " = " + name + (name != resolved ? " (now " + resolved + ")" : std::string()) + "\n";
    if (!alias.empty()) {
        std::string rsrc = item + "::INSTR";
        Ini_PutString(p, zuvisa::kSectionAliases, alias.c_str(), rsrc.c_str());
        *out += alias + " = " + rsrc + "\n";
    }
    return 0;
}

int removeSerial(IniText p, const std::string& which, std::string* err) {
    const char* section = "asrl";
    int number = 0;
    bool byNumber = parsePortNumber(which, &number);
    std::string resolved = zuvisa::sysfs::resolvePath(which);
    std::vector<std::string> items;
    for (const auto& [item, value] : sectionItems(p, section)) {
        int n = 0;
        if (!parsePortNumber(item, &n)) continue;
        if ((byNumber && n == number) || (!byNumber && (value == which || (!resolved.empty() && zuvisa::sysfs::resolvePath(value) == resolved)))) {
            items.push_back(item);
        }
    }
    if (items.empty()) {
        *err += which + " is not named\n";
        return 1;
    }
    for (const std::string& item : items) Ini_RemoveItem(p, section, item.c_str());
    return 0;
}

std::string foundInterfaceName(ViSession rm, const std::string& name) {
    auto rmObject = zuvisa::objectAs<zuvisa::RmObject>(rm, zuvisa::ObjType::Rm);
    if (!rmObject) return {};
    zuvisa::Backend& b = *rmObject->backend;
    std::lock_guard<std::mutex> lock(b.catalogMutex);
    for (const zuvisa::Found& f : b.catalog) {
        if (f.name.canonical != name) continue;
        std::string last;  // later values override earlier ones, as for a session
        for (const auto& [attr, text] : f.info.texts) {
            if (attr == VI_ATTR_INTF_INST_NAME) last = text;
        }
        return last;
    }
    return {};
}

int list(const std::string&, const std::string& expr, std::string* out, std::string* err) {
    ViSession rm = 0;
    ViStatus st = viOpenDefaultRM(&rm);
    if (st < 0) {
        *err += "cannot open the resource manager\n";
        return 1;
    }
    if (st == VI_WARN_CONFIG_NLOADED) *err += "warning: part of the configuration did not load\n";
    ViFindList fl = 0;
    ViUInt32 count = 0;
    char name[VI_FIND_BUFLEN];
    st = viFindRsrc(rm, expr.c_str(), &fl, &count, name);
    int rc = 0;
    if (st == VI_ERROR_RSRC_NFOUND) {
        *out += "no resources\n";
    } else if (st < 0) {
        *err += st == VI_ERROR_INV_EXPR ? "invalid expression\n" : "search failed\n";
        rc = 1;
    } else {
        for (ViUInt32 i = 0; i < count; ++i) {
            if (i && viFindNext(fl, name) < 0) break;
            ViSession vi = 0;
            std::string line = name;
            // The interface's name as the search found it: a LAN instrument is not connected
            // to just to list it.
            std::string found = foundInterfaceName(rm, name);
            if (!found.empty()) {
                line += "  [" + found + "]";
            } else if (viOpen(rm, name, VI_NULL, 0, &vi) >= 0) {
                char intf[VI_FIND_BUFLEN] = "";
                viGetAttribute(vi, VI_ATTR_INTF_INST_NAME, intf);
                line += "  [" + std::string(intf) + "]";
                viClose(vi);
            }
            *out += line + "\n";
        }
    }
    viClose(rm);
    return rc;
}

// The section that holds a resource's stored attributes: an existing one that names the same
// resource, else one named by its full name.
std::string resourceSection(IniText ini, const zuvisa::ResourceName& name) {
    int n = Ini_NumberOfSections(ini);
    for (int i = 1; i <= n; ++i) {
        char* section = nullptr;
        zuvisa::ResourceName other;
        if (Ini_NthSectionName(ini, i, &section) > 0 && section &&
            zuvisa::parseResourceName(section, &other) == VI_SUCCESS && zuvisa::sameResource(other, name)) {
            return section;
        }
    }
    return name.canonical;
}

// Checks every ATTR=VALUE against the attribute model before anything is written.
bool storeAttributes(IniText ini, const zuvisa::ResourceName& name, const std::vector<std::string>& items,
                     std::string* err) {
    uint32_t kind = zuvisa::kindOf(name.intfType, name.rsrcClass);
    std::vector<std::pair<std::string, std::string>> checked;
    for (const std::string& item : items) {
        size_t eq = item.find('=');
        std::string attr = item.substr(0, eq), value = eq == std::string::npos ? std::string() : item.substr(eq + 1);
        const zuvisa::AttrDef* any = zuvisa::findAttrByName(attr);
        const zuvisa::AttrDef* d = any ? zuvisa::findAttr(any->id, kind) : nullptr;
        ViAttrState v = 0;
        if (eq == std::string::npos || value.empty()) {
            *err += item + ": expected ATTR=VALUE\n";
        } else if (!d) {
            *err += attr + ": not an attribute of " + name.canonical + "\n";
        } else if (!d->writable || d->type == zuvisa::AttrType::Text) {
            *err += attr + ": read-only\n";
        } else if (!zuvisa::parseAttrValue(value, &v) || !zuvisa::fitsAttr(d->type, v) ||
                   (d->accepts && !d->accepts(zuvisa::narrow(d->type, v)))) {
            *err += attr + ": " + value + " is not a value it takes\n";
        } else {
            checked.emplace_back(d->name, value);
            continue;
        }
        return false;
    }
    std::string section = resourceSection(ini, name);
    for (const auto& [attr, value] : checked) Ini_PutString(ini, section.c_str(), attr.c_str(), value.c_str());
    return true;
}

}  // namespace

int run(const std::vector<std::string>& argsIn, std::string* out, std::string* err) {
    std::vector<std::string> args = argsIn;
    std::string given;
    if (args.size() >= 2 && args[0] == "--config") {
        given = args[1];
        args.erase(args.begin(), args.begin() + 2);
    }
    if (args.empty() || args[0] == "--help" || args[0] == "-h") {
        *(args.empty() ? err : out) += kUsage;
        return args.empty() ? 2 : 0;
    }
    const std::string& cmd = args[0];
    if (cmd == "show" && args.size() == 1) return show(given, out, err);
    if (cmd == "list") {
        bool why = args.size() >= 2 && args[1] == "--why";
        size_t rest = args.size() - (why ? 2 : 1);
        if (rest <= 1) {
            if (!given.empty()) setenv("ZUVISA_CONFIG", given.c_str(), 1);
            int rc = list(given, rest == 1 ? args.back() : "?*", out, err);
            if (why) explain(out);
            return rc;
        }
    }

    std::string path = editTarget(given);
    if (path.empty()) {
        *err += "no place for a configuration file\n";
        return 1;
    }
    Ini ini;
    if (loadIni(path, &ini, err)) return 1;
    IniText p = ini.get();
    struct stat existing;
    // A new file starts from the built-in defaults, so that enabling one bridgelet does not
    // switch off the others.
    if (stat(path.c_str(), &existing) != 0) seedDefaults(p);
    if ((cmd == "enable" || cmd == "disable") && args.size() == 2) {
        Ini_PutBoolean(p, zuvisa::kSectionBridgelets, args[1].c_str(), cmd == "enable");
    } else if (cmd == "add-sim" && args.size() == 2) {
        std::string file = args[1];
        if (file[0] != '/') {
            char cwd[4096];
            if (getcwd(cwd, sizeof cwd)) file = std::string(cwd) + "/" + file;
        }
        int n = Ini_NumberOfItems(p, zuvisa::kSectionSimulation);
        for (int i = 1; i <= n; ++i) {
            char* item = nullptr;
            char* value = nullptr;
            if (Ini_NthItemName(p, zuvisa::kSectionSimulation, i, &item) > 0 &&
                Ini_GetPointerToString(p, zuvisa::kSectionSimulation, item, &value) > 0 && value && file == value) {
                *out += file + " is already listed\n";
                return 0;
            }
        }
        std::string item;
        for (int k = n + 1;; ++k) {
            item = "File" + std::to_string(k);
            if (!Ini_ItemExists(p, zuvisa::kSectionSimulation, item.c_str())) break;
        }
        Ini_PutString(p, zuvisa::kSectionSimulation, item.c_str(), file.c_str());
    } else if (cmd == "remove-sim" && args.size() == 2) {
        int n = Ini_NumberOfItems(p, zuvisa::kSectionSimulation);
        bool removed = false;
        for (int i = n; i >= 1; --i) {
            char* item = nullptr;
            char* value = nullptr;
            if (Ini_NthItemName(p, zuvisa::kSectionSimulation, i, &item) > 0 &&
                Ini_GetPointerToString(p, zuvisa::kSectionSimulation, item, &value) > 0 && value &&
                args[1] == value) {
                std::string name = item;
                Ini_RemoveItem(p, zuvisa::kSectionSimulation, name.c_str());
                removed = true;
            }
        }
        if (!removed) {
            *err += args[1] + " is not listed\n";
            return 1;
        }
    } else if ((cmd == "add-lan" || cmd == "remove-lan") && args.size() == 2) {
        zuvisa::ResourceName n;
        if (zuvisa::parseResourceName(args[1], &n) != VI_SUCCESS || n.intfType != VI_INTF_TCPIP) {
            *err += args[1] + " is not a TCPIP resource name\n";
            return 1;
        }
        const char* section = "tcpip";
        int count = Ini_NumberOfItems(p, section);
        std::vector<std::string> same;
        for (int i = 1; i <= count; ++i) {
            char* item = nullptr;
            char* value = nullptr;
            zuvisa::ResourceName other;
            if (Ini_NthItemName(p, section, i, &item) > 0 && std::string(item).rfind(zuvisa::tcpip::kItemInstrumentPrefix, 0) == 0 &&
                Ini_GetPointerToString(p, section, item, &value) > 0 && value &&
                zuvisa::parseResourceName(value, &other) == VI_SUCCESS && other.canonical == n.canonical) {
                same.push_back(item);
            }
        }
        if (cmd == "remove-lan") {
            if (same.empty()) {
                *err += n.canonical + " is not listed\n";
                return 1;
            }
            for (const std::string& item : same) Ini_RemoveItem(p, section, item.c_str());
        } else {
            if (!same.empty()) {
                *out += n.canonical + " is already listed\n";
                return 0;
            }
            std::string item;
            for (int k = 1;; ++k) {
                item = std::string(zuvisa::tcpip::kItemInstrumentPrefix) + std::to_string(k);
                if (!Ini_ItemExists(p, section, item.c_str())) break;
            }
            Ini_PutString(p, section, item.c_str(), n.canonical.c_str());
            // Naming a LAN instrument means using the bridgelet that reaches it.
            Ini_PutBoolean(p, zuvisa::kSectionBridgelets, "tcpip", 1);
        }
    } else if (cmd == "add-serial" && args.size() >= 2 && args.size() <= 4) {
        if (int rc = addSerial(p, args, out, err); rc != 0) return rc;
    } else if (cmd == "remove-serial" && args.size() == 2) {
        if (int rc = removeSerial(p, args[1], err); rc != 0) return rc;
    } else if ((cmd == "save-attrs" && args.size() >= 3) || (cmd == "clear-attrs" && args.size() >= 2)) {
        zuvisa::ResourceName name;
        if (zuvisa::parseResourceName(args[1], &name) != VI_SUCCESS || !zuvisa::kindOf(name.intfType, name.rsrcClass)) {
            *err += args[1] + ": not a resource name\n";
            return 1;
        }
        std::vector<std::string> rest(args.begin() + 2, args.end());
        if (cmd == "save-attrs") {
            if (!storeAttributes(p, name, rest, err)) return 1;
        } else {
            std::string section = resourceSection(p, name);
            if (rest.empty()) {
                Ini_RemoveSection(p, section.c_str());
            }
            for (const std::string& attr : rest) {
                const zuvisa::AttrDef* d = zuvisa::findAttrByName(attr);
                if (!d || Ini_RemoveItem(p, section.c_str(), d->name) <= 0) {
                    *err += attr + ": not stored for " + name.canonical + "\n";
                    return 1;
                }
            }
        }
    } else if (cmd == "bench" && args.size() == 2 && (args[1] == "on" || args[1] == "off")) {
        Ini_PutBoolean(p, zuvisa::kSectionSimulation, zuvisa::kItemDemoBench, args[1] == "on");
    } else if (cmd == "alias" && args.size() == 3) {
        Ini_PutString(p, zuvisa::kSectionAliases, args[1].c_str(), args[2].c_str());
    } else if (cmd == "unalias" && args.size() == 2) {
        if (Ini_RemoveItem(p, zuvisa::kSectionAliases, args[1].c_str()) <= 0) {
            *err += "no alias " + args[1] + "\n";
            return 1;
        }
    } else {
        *err += kUsage;
        return 2;
    }
    return saveIni(path, p, out, err);
}

}  // namespace portconf

#include "zuvisa/config.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "toolslib/toolbox/ini.h"

namespace zuvisa {

namespace {

bool fileExists(const std::string& path) {
    struct stat st;
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string directoryOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string resolve(const std::string& base, const std::string& path) {
    if (path.empty() || path[0] == '/') return path;
    return base + "/" + path;
}

struct IniDeleter {
    void operator()(IniTextRecord* ini) const { Ini_Dispose(ini); }
};

std::string itemString(IniText ini, const char* section, const char* item) {
    char* text = nullptr;
    if (Ini_GetPointerToString(ini, section, item, &text) > 0 && text) return text;
    return std::string();
}

}  // namespace

namespace {

struct NamedValue {
    const char* name;
    long long value;
};

#define VALUE(x) {#x, static_cast<long long>(x)}
const NamedValue kValues[] = {
    VALUE(VI_TRUE),              VALUE(VI_FALSE),             VALUE(VI_TMO_IMMEDIATE),
    VALUE(VI_TMO_INFINITE),      VALUE(VI_FLUSH_ON_ACCESS),   VALUE(VI_FLUSH_WHEN_FULL),
    VALUE(VI_FLUSH_DISABLE),     VALUE(VI_PROT_NORMAL),       VALUE(VI_PROT_FDC),
    VALUE(VI_PROT_HS488),        VALUE(VI_PROT_4882_STRS),    VALUE(VI_PROT_USBTMC_VENDOR),
    VALUE(VI_ASRL_PAR_NONE),     VALUE(VI_ASRL_PAR_ODD),      VALUE(VI_ASRL_PAR_EVEN),
    VALUE(VI_ASRL_PAR_MARK),     VALUE(VI_ASRL_PAR_SPACE),    VALUE(VI_ASRL_STOP_ONE),
    VALUE(VI_ASRL_STOP_ONE5),    VALUE(VI_ASRL_STOP_TWO),     VALUE(VI_ASRL_FLOW_NONE),
    VALUE(VI_ASRL_FLOW_XON_XOFF), VALUE(VI_ASRL_FLOW_RTS_CTS), VALUE(VI_ASRL_FLOW_DTR_DSR),
    VALUE(VI_ASRL_END_NONE),     VALUE(VI_ASRL_END_LAST_BIT), VALUE(VI_ASRL_END_TERMCHAR),
    VALUE(VI_ASRL_END_BREAK),    VALUE(VI_STATE_ASSERTED),    VALUE(VI_STATE_UNASSERTED),
    VALUE(VI_BIG_ENDIAN),        VALUE(VI_LITTLE_ENDIAN),     VALUE(VI_DATA_PRIV),
    VALUE(VI_NO_SEC_ADDR),
};
#undef VALUE

}  // namespace

bool parseAttrValue(const std::string& text, ViAttrState* out) {
    for (const NamedValue& v : kValues) {
        if (text == v.name) {
            *out = static_cast<ViAttrState>(v.value);
            return true;
        }
    }
    if (text == "True" || text == "False") {
        *out = text == "True" ? VI_TRUE : VI_FALSE;
        return true;
    }
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    if (text[0] == '-') {
        long long v = strtoll(text.c_str(), &end, 0);
        if (*end || errno) return false;
        *out = static_cast<ViAttrState>(v);
        return true;
    }
    unsigned long long v = strtoull(text.c_str(), &end, 0);
    if (*end || errno) return false;
    *out = v;
    return true;
}

std::vector<std::pair<std::string, std::string>> storedAttributes(const Config& c, const ResourceName& name) {
    for (const auto& [section, items] : c.sections) {
        ResourceName n;
        if (parseResourceName(section, &n) == VI_SUCCESS && sameResource(n, name)) return items;
    }
    return {};
}

const std::vector<std::pair<std::string, std::string>>* Config::section(const std::string& name) const {
    for (const auto& s : sections) {
        if (s.first == name) return &s.second;
    }
    return nullptr;
}

std::vector<std::string> configCandidates() {
    std::vector<std::string> out;
    if (const char* env = getenv("ZUVISA_CONFIG"); env && *env) out.emplace_back(env);
    if (const char* xdg = getenv("XDG_CONFIG_HOME"); xdg && *xdg) {
        out.push_back(std::string(xdg) + "/zuvisa/zuvisa.ini");
    } else if (const char* home = getenv("HOME"); home && *home) {
        out.push_back(std::string(home) + "/.config/zuvisa/zuvisa.ini");
    }
    out.emplace_back("/etc/zuvisa/zuvisa.ini");
    return out;
}

std::string findConfigFile() {
    // An explicit ZUVISA_CONFIG is taken even when it does not exist, so that a wrong path is
    // reported instead of silently falling through to another file.
    if (const char* env = getenv("ZUVISA_CONFIG"); env && *env) return env;
    for (const std::string& c : configCandidates()) {
        if (fileExists(c)) return c;
    }
    return std::string();
}

ViStatus readConfigFile(const std::string& path, Config* out, std::string* problem) {
    std::unique_ptr<IniTextRecord, IniDeleter> ini(Ini_New(0));
    if (!ini) return VI_ERROR_ALLOC;
    if (!fileExists(path)) {
        if (problem) *problem = "configuration file not found: " + path;
        return VI_ERROR_FILE_ACCESS;
    }
    int rc = Ini_ReadFromFile(ini.get(), path.c_str());
    if (rc < 0) {
        if (problem) *problem = "configuration file unreadable (" + std::to_string(rc) + "): " + path;
        return VI_ERROR_INV_SETUP;
    }
    Config c;
    c.path = path;
    const std::string base = directoryOf(path);
    IniText p = ini.get();

    int n = Ini_NumberOfItems(p, kSectionBridgelets);
    for (int i = 1; i <= n; ++i) {
        char* name = nullptr;
        if (Ini_NthItemName(p, kSectionBridgelets, i, &name) <= 0 || !name) continue;
        std::string item = name;
        if (item == kItemModuleDirectory) {
            c.moduleDirectory = resolve(base, itemString(p, kSectionBridgelets, name));
            continue;
        }
        std::string value = itemString(p, kSectionBridgelets, name);
        if (value == "Auto" || value == "auto" || value == "AUTO") {
            c.bridgelets.push_back({item, true, true});
            continue;
        }
        int on = 0;
        int got = Ini_GetBoolean(p, kSectionBridgelets, name, &on);
        if (got < 0) {
            if (problem) *problem = "bridgelet " + item + " is neither True, False nor Auto";
            on = 0;
        }
        c.bridgelets.push_back({item, got > 0 && on != 0, false});
    }

    n = Ini_NumberOfItems(p, kSectionAliases);
    for (int i = 1; i <= n; ++i) {
        char* name = nullptr;
        if (Ini_NthItemName(p, kSectionAliases, i, &name) <= 0 || !name) continue;
        std::string value = itemString(p, kSectionAliases, name);
        if (!value.empty()) c.aliases.emplace_back(name, value);
    }

    n = Ini_NumberOfItems(p, kSectionSimulation);
    for (int i = 1; i <= n; ++i) {
        char* name = nullptr;
        if (Ini_NthItemName(p, kSectionSimulation, i, &name) <= 0 || !name) continue;
        if (std::string(name) == kItemDemoBench) {
            int on = 0;
            if (Ini_GetBoolean(p, kSectionSimulation, name, &on) > 0) c.demoBench = on ? 1 : 0;
            else if (problem) *problem = std::string(kItemDemoBench) + " is neither True nor False";
            continue;
        }
        std::string value = itemString(p, kSectionSimulation, name);
        if (!value.empty()) c.simulationFiles.push_back(resolve(base, value));
    }

    int sections = Ini_NumberOfSections(p);
    for (int s = 1; s <= sections; ++s) {
        char* sname = nullptr;
        if (Ini_NthSectionName(p, s, &sname) <= 0 || !sname) continue;
        std::string sectionName = sname;
        if (sectionName == kSectionBridgelets || sectionName == kSectionAliases ||
            sectionName == kSectionSimulation) {
            continue;
        }
        std::vector<std::pair<std::string, std::string>> items;
        int count = Ini_NumberOfItems(p, sname);
        for (int i = 1; i <= count; ++i) {
            char* name = nullptr;
            if (Ini_NthItemName(p, sname, i, &name) <= 0 || !name) continue;
            items.emplace_back(name, itemString(p, sname, name));
        }
        c.sections.emplace_back(sectionName, std::move(items));
    }
    *out = std::move(c);
    return VI_SUCCESS;
}

Config defaultConfig(const std::string& moduleDir) {
    Config c;
    // Hardware a fresh machine may have: looking costs little and needs no library. It comes
    // before the simulation, so that the demo bench's ASRL1 or GPIB0 never hides a real one.
    c.bridgelets.push_back({"asrl", true, false});
    c.bridgelets.push_back({"usbtmc", true, false});
    // linux-gpib is rarely installed; without it there is nothing to say.
    c.bridgelets.push_back({"gpib", true, true});
    c.bridgelets.push_back({"sim", true, false});
    // Any TCPIP name opens on a fresh machine; simulated names are the sim bridgelet's first.
    c.bridgelets.push_back({"tcpip", true, false});
    c.moduleDirectory = moduleDir;
    std::string bench = moduleDir + "/" + kDefaultBenchFile;
    if (fileExists(bench)) c.simulationFiles.push_back(bench);
    return c;
}

ViStatus loadConfig(const std::string& moduleDir, Config* out, std::string* problem) {
    std::string path = findConfigFile();
    if (path.empty()) {
        *out = defaultConfig(moduleDir);
        return VI_SUCCESS;
    }
    Config c;
    ViStatus st = readConfigFile(path, &c, problem);
    if (st < 0) {
        *out = defaultConfig(moduleDir);
        return VI_WARN_CONFIG_NLOADED;
    }
    if (c.moduleDirectory.empty()) c.moduleDirectory = moduleDir;
    // The demo bench stays in force in a file that names no simulation of its own, so that
    // editing the configuration (enabling another bridgelet) does not lose it.
    std::string bench = moduleDir + "/" + kDefaultBenchFile;
    bool wantBench = c.demoBench == 1 || (c.demoBench == -1 && c.simulationFiles.empty());
    if (wantBench && fileExists(bench)) c.simulationFiles.insert(c.simulationFiles.begin(), bench);
    *out = std::move(c);
    return VI_SUCCESS;
}

}  // namespace zuvisa

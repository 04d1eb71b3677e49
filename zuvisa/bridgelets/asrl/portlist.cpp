#include "zuvisa/bridgelets/asrl/portlist.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

#include "zuvisa/rsrcname.h"

namespace zuvisa::asrl {

namespace {

constexpr int kMaxNumber = 65535;

bool startsWith(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

bool parseBool(const std::string& v, bool* out) {
    std::string u = upperAscii(v);
    if (u == "TRUE" || u == "1" || u == "YES") *out = true;
    else if (u == "FALSE" || u == "0" || u == "NO") *out = false;
    else return false;
    return true;
}

// The kernel's active consoles, such as "ttyS0" on a headless machine.
std::set<std::string> consoles(const sysfs::Roots& roots) {
    std::set<std::string> names;
    std::string text;
    if (!sysfs::readAttribute(roots.sys + "/class/tty/console/active", &text, 512)) return names;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find(' ', pos);
        if (end == std::string::npos) end = text.size();
        if (end > pos) names.insert(text.substr(pos, end - pos));
        pos = end + 1;
    }
    return names;
}

// kernel name -> by-id link
std::map<std::string, std::string> byIdLinks(const sysfs::Roots& roots) {
    std::map<std::string, std::string> out;
    std::string folder = roots.dev + "/serial/by-id";
    for (const std::string& link : sysfs::listFolder(folder)) {
        std::string target = sysfs::lastComponent(sysfs::linkTarget(folder + "/" + link));
        if (!target.empty() && !out.count(target)) out[target] = folder + "/" + link;
    }
    return out;
}

std::string describe(const sysfs::Roots& roots, const std::string& kernelName) {
    sysfs::UsbIdentity id;
    if (sysfs::usbIdentity(roots.sys + "/class/tty/" + kernelName + "/device", &id)) {
        std::string d = id.manufacturer;
        if (!id.productName.empty()) d += (d.empty() ? "" : " ") + id.productName;
        if (d.empty()) {
            char ids[16];
            snprintf(ids, sizeof ids, "%04x:%04x", id.vendor, id.product);
            d = std::string("USB ") + ids;
        }
        return d;
    }
    if (startsWith(kernelName, "ttyS")) return "built-in serial port";
    return std::string();
}

// Why a tty the kernel lists is not an instrument port, or empty when it is one.
std::string leaveOut(const sysfs::Roots& roots, const std::string& name, const std::set<std::string>& consoleNames) {
    std::string base = roots.sys + "/class/tty/" + name;
    if (sysfs::resolvePath(base + "/device").empty()) return "no hardware behind it";
    if (startsWith(name, "ttyS")) {
        std::string type;
        // 8250 ports exist for every legacy address; type 0 means no UART answered there.
        if (sysfs::readAttribute(base + "/type", &type, 16) && type == "0") return "no UART at this address";
    }
    if (consoleNames.count(name)) return "the kernel's console";
    if (sysfs::resolvePath(roots.dev + "/" + name).empty()) return "no device node " + roots.dev + "/" + name;
    return std::string();
}

}  // namespace

PortConfig readPortConfig(const std::vector<std::pair<std::string, std::string>>& items,
                          std::vector<std::string>* problems) {
    PortConfig c;
    std::set<int> used;
    for (const auto& [key, value] : items) {
        std::string k = upperAscii(key);
        if (k == "SCAN") {
            if (!parseBool(value, &c.scan) && problems) problems->push_back("Scan is neither True nor False");
        } else if (k == "SYSROOT") {
            c.roots.sys = value;
        } else if (k == "DEVROOT") {
            c.roots.dev = value;
        } else if (k == "LOCKDIRECTORY") {
            c.lockDirectory = value;
        } else if (startsWith(k, "ASRL")) {
            unsigned long n = 0;
            if (!sysfs::parseDecimal(k.substr(4), kMaxNumber, &n) || n == 0 || value.empty() || value[0] != '/') {
                if (problems) problems->push_back("not a serial port entry: " + key + " = " + value);
                continue;
            }
            if (!used.insert(static_cast<int>(n)).second) {
                if (problems) problems->push_back(key + " is named twice; the first entry counts");
                continue;
            }
            c.named.emplace_back(static_cast<int>(n), value);
        } else if (problems) {
            problems->push_back("unknown item " + key);
        }
    }
    return c;
}

std::vector<PortEntry> listPorts(const PortConfig& config, std::vector<std::string>* skipped) {
    const sysfs::Roots& roots = config.roots;
    std::map<std::string, std::string> byId = byIdLinks(roots);
    std::vector<PortEntry> out;
    std::set<int> taken;
    std::set<std::string> claimed;  // resolved device paths of configured ports

    for (const auto& [number, path] : config.named) {
        PortEntry e;
        e.number = number;
        e.device = path;
        e.configured = true;
        std::string resolved = sysfs::resolvePath(path);
        e.present = !resolved.empty();
        if (e.present) {
            e.resolved = resolved;
            e.kernelName = sysfs::lastComponent(resolved);
            claimed.insert(resolved);
            auto link = byId.find(e.kernelName);
            if (link != byId.end()) e.byId = link->second;
            e.description = describe(roots, e.kernelName);
        }
        taken.insert(number);
        out.push_back(std::move(e));
    }
    if (!config.scan) return out;

    std::set<std::string> consoleNames = consoles(roots);
    std::vector<PortEntry> builtIn, others;
    for (const std::string& name : sysfs::listFolder(roots.sys + "/class/tty")) {
        if (!startsWith(name, "ttyS") && !startsWith(name, "ttyUSB") && !startsWith(name, "ttyACM")) continue;
        std::string why = leaveOut(roots, name, consoleNames);
        if (!why.empty()) {
            if (skipped && why != "no UART at this address") skipped->push_back(roots.dev + "/" + name + ": " + why);
            continue;
        }
        std::string device = roots.dev + "/" + name;
        if (claimed.count(sysfs::resolvePath(device))) continue;
        PortEntry e;
        e.device = device;
        e.resolved = sysfs::resolvePath(device);
        e.kernelName = name;
        e.present = true;
        auto link = byId.find(name);
        if (link != byId.end()) e.byId = link->second;
        e.description = describe(roots, name);
        (startsWith(name, "ttyS") ? builtIn : others).push_back(std::move(e));
    }
    auto lowestFree = [&taken]() {
        int n = 1;
        while (taken.count(n)) ++n;
        return n;
    };
    std::vector<PortEntry> unnumbered;
    for (PortEntry& e : builtIn) {
        unsigned long k = 0;
        if (sysfs::parseDecimal(e.kernelName.substr(4), kMaxNumber - 1, &k) && !taken.count(static_cast<int>(k) + 1)) {
            e.number = static_cast<int>(k) + 1;
            taken.insert(e.number);
            out.push_back(std::move(e));
        } else {
            unnumbered.push_back(std::move(e));
        }
    }
    // By their by-id names, which do not change when adapters are plugged in another order.
    std::sort(others.begin(), others.end(), [](const PortEntry& a, const PortEntry& b) {
        const std::string& ka = a.byId.empty() ? a.kernelName : a.byId;
        const std::string& kb = b.byId.empty() ? b.kernelName : b.byId;
        return ka < kb;
    });
    for (PortEntry& e : others) unnumbered.push_back(std::move(e));
    for (PortEntry& e : unnumbered) {
        e.number = lowestFree();
        if (e.number > kMaxNumber) break;
        taken.insert(e.number);
        out.push_back(std::move(e));
    }
    std::sort(out.begin(), out.end(), [](const PortEntry& a, const PortEntry& b) { return a.number < b.number; });
    return out;
}

std::string instanceName(const PortEntry& port) {
    std::string name = "ASRL" + std::to_string(port.number) + " (" + (port.resolved.empty() ? port.device : port.resolved);
    if (!port.description.empty()) name += ", " + port.description;
    return name + ")";
}

}  // namespace zuvisa::asrl

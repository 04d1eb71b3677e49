#include "zuvisa/bridgelets/asrl/diagnose.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zuvisa::asrl {

namespace {

std::string groupOf(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return std::string();
    if (const group* g = getgrgid(st.st_gid)) return g->gr_name;
    return std::to_string(st.st_gid);
}

std::string describePort(const PortEntry& p) {
    std::string line = "ASRL" + std::to_string(p.number) + ": ";
    if (!p.present) return line + p.device + " is not there (unplugged, or the name changed)";
    line += p.resolved;
    if (!p.description.empty()) line += ", " + p.description;
    if (p.configured && p.device != p.resolved) line += ", named " + p.device;
    else if (!p.byId.empty()) line += ", " + p.byId;
    return line;
}

}  // namespace

std::string stableName(const sysfs::Roots& roots, const std::string& device) {
    std::string target = sysfs::resolvePath(device);
    if (target.empty()) return device;
    std::string folder = roots.dev + "/serial/by-id";
    for (const std::string& link : sysfs::listFolder(folder)) {
        if (sysfs::resolvePath(folder + "/" + link) == target) return folder + "/" + link;
    }
    return device;
}

std::vector<std::string> holders(const std::string& device) {
    std::vector<std::string> out;
    std::string target = sysfs::resolvePath(device);
    if (target.empty()) return out;
    for (const std::string& pid : sysfs::listFolder("/proc")) {
        unsigned long n = 0;
        if (!sysfs::parseDecimal(pid, 0x7FFFFFFF, &n) || static_cast<pid_t>(n) == getpid()) continue;
        std::string fds = "/proc/" + pid + "/fd";
        for (const std::string& fd : sysfs::listFolder(fds)) {
            if (sysfs::linkTarget(fds + "/" + fd) != target) continue;
            std::string comm;
            sysfs::readAttribute("/proc/" + pid + "/comm", &comm, 64);
            out.push_back(pid + " (" + sysfs::printable(comm, 32) + ")");
            break;
        }
    }
    return out;
}

std::vector<std::string> explainPorts(const PortConfig& config) {
    std::vector<std::string> out;
    std::vector<std::string> skipped;
    std::vector<PortEntry> ports = listPorts(config, &skipped);
    if (!config.scan) out.push_back("looking for ports is off (Scan = False): only the ports the configuration names");
    if (ports.empty()) {
        out.push_back(config.scan ? "no serial ports: no ttyS, ttyUSB or ttyACM device with hardware behind it"
                                  : "no ports named ([asrl] ASRLn = \"/dev/...\", or portconf add-serial)");
    }
    for (const PortEntry& p : ports) {
        out.push_back(describePort(p));
        if (!p.present) continue;
        if (access(p.resolved.c_str(), R_OK | W_OK) != 0) {
            std::string group = groupOf(p.resolved);
            out.push_back("  this user may not open it; members of group " + (group.empty() ? "?" : group) +
                          " may: sudo usermod -aG " + (group.empty() ? "dialout" : group) +
                          " $USER, then log in again");
        }
        for (const std::string& h : holders(p.resolved)) out.push_back("  held by process " + h);
    }
    for (const std::string& s : skipped) out.push_back("left out: " + s);
    return out;
}

}  // namespace zuvisa::asrl

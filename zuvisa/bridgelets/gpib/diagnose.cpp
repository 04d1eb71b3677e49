#include "zuvisa/bridgelets/gpib/diagnose.h"

#include <sys/stat.h>
#include <unistd.h>

namespace zuvisa::gpib {

std::vector<std::string> explainBoards(const GpibConfig& config) {
    std::vector<std::string> out;
    std::string problem;
    const Api* api = loadApi(config.library, &problem);
    if (!api) {
        out.push_back(problem);
        out.push_back("(linux-gpib comes from linux-gpib.sourceforge.io; ZU-VISA loads it when it is there)");
        return out;
    }
    out.push_back("linux-gpib: " + config.library);
    int boards = 0;
    for (int index = 0; index < 16; ++index) {
        std::string node = config.devRoot + "/gpib" + std::to_string(index);
        struct stat st;
        if (stat(node.c_str(), &st) != 0) continue;
        std::string name = "GPIB" + std::to_string(index);
        if (access(node.c_str(), R_OK | W_OK) != 0) {
            out.push_back(name + ": this user may not open " + node + " (add the user to its group, or a udev rule)");
            continue;
        }
        int pad = 0, sc = 0;
        if (api->ibask(index, kOptPad, &pad) & kErr) {
            if (index == 0) out.push_back(name + ": " + node + " is there but no board is set up (gpib_config)");
            continue;
        }
        ++boards;
        api->ibask(index, kOptSc, &sc);
        int sta = api->ibwait(index, 0);
        bool cic = !(sta & kErr) && (sta & kCic);
        std::string line = name + ": primary address " + std::to_string(pad) +
                           (sc ? ", system controller" : ", not system controller") +
                           (cic ? ", in charge" : ", not in charge (devices are not listed)");
        if (cic) {
            int listeners = 0;
            for (int a = 0; a <= 30; ++a) {
                short found = 0;
                if (a != pad && !(api->ibln(index, a, kNoSad, &found) & kErr) && found) ++listeners;
            }
            line += ", " + std::to_string(listeners) + " device(s) answer";
            if (!config.scan) line += " (not listed: Scan = False)";
        }
        out.push_back(line);
    }
    if (boards == 0) {
        out.push_back("no board set up: the linux-gpib kernel module is not loaded, or gpib_config did not run");
    }
    return out;
}

}  // namespace zuvisa::gpib

#include "zuvisa/bridgelets/usbtmc/diagnose.h"

#include "zuvisa/bridgelets/usbtmc/discovery.h"

namespace zuvisa::usbtmc {

std::vector<std::string> explainDevices(const sysfs::Roots& roots) {
    std::vector<std::string> out;
    bool driver = !sysfs::resolvePath(roots.sys + "/bus/usb/drivers/usbtmc").empty();
    out.push_back(driver ? "the usbtmc driver is loaded" : "the usbtmc driver is not loaded (sudo modprobe usbtmc)");
    std::vector<TmcDevice> devices = findDevices(roots);
    std::vector<std::string> unbound = unboundTmcInterfaces(roots);
    if (devices.empty() && unbound.empty()) out.push_back("no USB test and measurement instruments");
    for (const TmcDevice& d : devices) {
        std::string what = d.id.manufacturer;
        if (!d.id.productName.empty()) what += (what.empty() ? "" : " ") + d.id.productName;
        out.push_back(resourceName(d) + ": " + d.node + (what.empty() ? "" : ", " + what));
        if (!d.accessible) {
            out.push_back("  this user may not open " + d.node + "; this udev rule lets the desktop's user do so:");
            out.push_back("    " + udevRule(d));
            out.push_back("  (in /etc/udev/rules.d/70-usbtmc.rules, then: sudo udevadm control --reload && "
                          "sudo udevadm trigger)");
        }
    }
    for (const std::string& u : unbound) {
        out.push_back("interface " + u + ": no usbtmc node came from it" +
                      (driver ? " (another driver holds it)" : " (sudo modprobe usbtmc)"));
    }
    return out;
}

}  // namespace zuvisa::usbtmc

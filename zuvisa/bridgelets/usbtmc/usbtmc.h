// The usbtmc bridgelet: USB instruments through the kernel's usbtmc driver.
//   USB0::vid::pid::serial[::interface]::INSTR  messages with END (EOM) and termination
//       characters, device clear, status byte, trigger, REN and local lockout (USB488), service
//       requests (the driver's SRQ seen through poll), control transfers.
//   USB0::vid::pid::serial[::interface]::RAW    raw bulk transfers and control transfers on the
//       same interface; USB devices of other classes are not supported.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/sysfs/sysfs.h"
#include "zuvisa/bridgelets/usbtmc/devicelayer.h"

namespace zuvisa::usbtmc {

struct UsbtmcConfig {
    sysfs::Roots roots;
    std::string deviceLayerModule;  // empty: the system's calls
};

// The bridgelet's configuration section: "SysRoot", "DevRoot", "DeviceLayer".
UsbtmcConfig readUsbtmcConfig(const std::vector<std::pair<std::string, std::string>>& items,
                              std::vector<std::string>* problems);

// The device layer a configuration names, loaded; null with a reason when it cannot be.
const ZuTmcDeviceLayer* loadDeviceLayer(const std::string& module, std::string* problem);

class UsbtmcBridgelet : public Bridgelet {
public:
    UsbtmcBridgelet(sysfs::Roots roots, const ZuTmcDeviceLayer* layer) : roots_(std::move(roots)), layer_(layer) {}
    const char* name() const override { return "usbtmc"; }
    void enumerate(std::vector<ResourceInfo>& out) override;
    // A device node this user may not open gives VI_ERROR_NPERMISSION.
    ViStatus open(const std::string& canonicalName, ViUInt32 openTimeout, EventSink* events,
                  std::unique_ptr<Link>* link) override;

private:
    sysfs::Roots roots_;
    const ZuTmcDeviceLayer* layer_;
};

ViStatus registerUsbtmc(Registrar* registrar);

}  // namespace zuvisa::usbtmc

// What the usbtmc bridgelet found and what keeps an instrument from a session, said for people
// (portconf list --why): the driver, each instrument with its resource name, the udev rule for a
// device node this user may not open, and instruments no usbtmc node came from.
#pragma once

#include <string>
#include <vector>

#include "zuvisa/bridgelets/sysfs/sysfs.h"

namespace zuvisa::usbtmc {

std::vector<std::string> explainDevices(const sysfs::Roots& roots);

}  // namespace zuvisa::usbtmc

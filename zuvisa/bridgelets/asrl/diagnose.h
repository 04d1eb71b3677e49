// What the asrl bridgelet found and what keeps a port from a session, said for people
// (portconf list --why): the ports with their numbers, the ones left out and why, ports this
// user may not open (and the group that may), ports another program holds.
#pragma once

#include <string>
#include <vector>

#include "zuvisa/bridgelets/asrl/portlist.h"

namespace zuvisa::asrl {

std::vector<std::string> explainPorts(const PortConfig& config);

// The name a port is best written down by: its /dev/serial/by-id link when it has one (that
// name does not change when adapters are plugged in another order), else the path given.
std::string stableName(const sysfs::Roots& roots, const std::string& device);

// Programs that have the device open, as "1234 (minicom)".
std::vector<std::string> holders(const std::string& device);

}  // namespace zuvisa::asrl

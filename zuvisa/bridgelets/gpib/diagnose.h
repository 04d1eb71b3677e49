// What the gpib bridgelet found, said for people (portconf list --why): whether linux-gpib is
// there, which boards it set up, their state, and who listens on their buses.
#pragma once

#include <string>
#include <vector>

#include "zuvisa/bridgelets/gpib/gpib.h"

namespace zuvisa::gpib {

std::vector<std::string> explainBoards(const GpibConfig& config);

}  // namespace zuvisa::gpib

// The library's log: lines go to the sink that the user set, or nowhere.
#pragma once

#include <string>

namespace zuvisa {

void logLine(int level, const std::string& text);
bool logEnabled(int level);

}  // namespace zuvisa

// The Lock and Unlock panels: exclusive and shared locks on the session's resource, with the
// requested and the returned access keys in escaped text.
#pragma once

#include <cstddef>
#include <string>

// The access key as the Lock panel shows it: escaped text on one line.
std::string shownAccessKey(const char* key);

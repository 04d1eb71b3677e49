// Internal: checks a panel resource file (a binary Qt resource bundle) before it is handed to
// Qt, so that a damaged or hostile file fails with a status instead of reading out of bounds.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace uir {

inline constexpr size_t kMaxBundleSize = 64 * 1024 * 1024;

// Validates every header field, tree node, name and data block the bundle refers to and lists
// the names of the files at its root. Returns 0 or UIEBadResourceFile with a reason.
int checkResourceBundle(const unsigned char* data, size_t size, std::vector<std::string>* rootFiles,
                        std::string* error);

}  // namespace uir

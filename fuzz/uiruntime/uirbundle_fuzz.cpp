// The check that stands between a panel resource file and Qt's resource reader.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "uiruntime/uirbundle.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> files;
    std::string error;
    uir::checkResourceBundle(data, size, &files, &error);
    return 0;
}

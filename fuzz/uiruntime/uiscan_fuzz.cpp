// Designer forms as the loader and the generator read them.
#include <cstddef>
#include <cstdint>
#include <string>

#include "uiruntime/uiscan.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    uir::ScannedPanel panel;
    std::string error;
    uir::scanUi(reinterpret_cast<const char*>(data), size, &panel, &error);
    return 0;
}

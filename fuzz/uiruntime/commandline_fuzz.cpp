// Command lines split into program and arguments before a launch.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "uiruntime/launch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> words;
    uir::splitCommandLine(std::string(reinterpret_cast<const char*>(data), size), &words);
    return 0;
}

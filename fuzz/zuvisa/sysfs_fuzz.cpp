// What the hardware bridgelets read from sysfs, /dev and lock files: identifiers, numbers,
// names and link targets. Results must stay within what each parser promises.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "zuvisa/bridgelets/sysfs/sysfs.h"

namespace sysfs = zuvisa::sysfs;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    int id = -1;
    if (sysfs::parseHexId(text, &id) && (id < 0 || id > 0xFFFF)) abort();
    unsigned long n = 0;
    if (sysfs::parseDecimal(text, 65535, &n) && n > 65535) abort();
    std::string shown = sysfs::printable(text, 64);
    if (shown.size() > 64) abort();
    for (char c : shown) {
        if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7F) abort();
    }
    std::string name = sysfs::lastComponent(text);
    if (name.find('/') != std::string::npos || name == "." || name == "..") abort();
    if (sysfs::lockFilePid(text) < 0) abort();
    return 0;
}

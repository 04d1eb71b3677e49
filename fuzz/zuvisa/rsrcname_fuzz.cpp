// Resource names from users and clients: parse, and the canonical form must parse to itself.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "zuvisa/rsrcname.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    zuvisa::ResourceName r;
    if (zuvisa::parseResourceName(text, &r) != VI_SUCCESS) return 0;
    zuvisa::ResourceName again;
    if (zuvisa::parseResourceName(r.canonical, &again) != VI_SUCCESS || again.canonical != r.canonical) {
        abort();
    }
    return 0;
}

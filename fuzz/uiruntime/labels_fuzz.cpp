// List and ring labels with their escapes, and menu names with mnemonics.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "uiruntime/labels.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    uir::parseLabel(text);
    uir::plainLabel(text);
    uir::mnemonicFromQt(uir::mnemonicToQt(text));
    return 0;
}

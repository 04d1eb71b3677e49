// Typed text through the escaped-text decoder, and the bytes it gives back through the encoder.
#include <cstdint>
#include <cstring>
#include <vector>

#include "toolslib/toolbox/escaped.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<char> text(data, data + size);
    text.push_back('\0');
    size_t typed = std::strlen(text.data());
    size_t n = EscText_Decode(text.data());
    if (n > typed || text[n] != '\0') __builtin_trap();
    size_t shown = 0;
    EscText_Encode(
        data, size,
        [](void* context, const char*, size_t length) {
            if (length > kEscTextPieceMax) __builtin_trap();
            *static_cast<size_t*>(context) += length;
        },
        &shown);
    if (shown > size * 5) __builtin_trap();
    return 0;
}

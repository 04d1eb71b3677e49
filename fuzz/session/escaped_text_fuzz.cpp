// Arbitrary typed text decoded into bytes, and arbitrary bytes shown as text: the decoding stays
// within the text, the shown pieces within their bound, and showing then typing gives the bytes
// back when they hold no line ends.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "session/escaped.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string typed(reinterpret_cast<const char*>(data), size);
    typed = typed.c_str();  // typed text ends at its first zero
    std::string buffer = typed;
    ViUInt32 n = beautifyWrite(buffer.data());
    if (n > typed.size() || buffer[n] != '\0') std::abort();

    std::string bytes;
    for (size_t i = 0; i < size; ++i)
        if (data[i] != '\n' && data[i] != '\r') bytes += static_cast<char>(data[i]);
    std::string shown;
    escapeBytes(
        reinterpret_cast<const ViByte*>(bytes.data()), static_cast<ViUInt32>(bytes.size()),
        [](void* context, const char* piece, size_t length) {
            if (length == 0 || length > kEscapedPieceMax) std::abort();
            static_cast<std::string*>(context)->append(piece, length);
        },
        &shown);
    ViUInt32 back = beautifyWrite(shown.data());
    if (std::string(shown.data(), back) != bytes) std::abort();
    return 0;
}

// Arbitrary bytes through the line reader, in chunks and line limits chosen by the input.
#include <cstdint>
#include <cstring>
#include <vector>

#include "toolslib/toolbox/linefile.h"

namespace {
struct Source {
    const uint8_t* data;
    size_t size;
    size_t pos;
    size_t chunk;
};

int readChunk(void* s, int wanted, int* got, char* buffer) {
    auto* src = static_cast<Source*>(s);
    size_t n = src->size - src->pos;
    if (n > src->chunk) n = src->chunk;
    if (n > static_cast<size_t>(wanted)) n = static_cast<size_t>(wanted);
    std::memcpy(buffer, src->data + src->pos, n);
    src->pos += n;
    *got = static_cast<int>(n);
    return 0;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    int maxChars = data[0];
    Source src{data + 2, size - 2, 0, static_cast<size_t>(data[1]) * 16 + 1};
    LineFile lf = LineFile_New(readChunk, &src);
    std::vector<char> buffer(static_cast<size_t>(maxChars) + 1);
    bool nonEmpty = data[1] & 1;
    int64_t previousOffset = -1;
    for (;;) {
        int length = -1, eof = 0;
        int status = nonEmpty ? LineFile_ReadNonEmpty(lf, buffer.data(), maxChars, &length, &eof)
                              : LineFile_Read(lf, buffer.data(), maxChars, &length, &eof);
        if (status < 0 || eof) break;
        if (length < 0 || length > maxChars ||
            std::strlen(buffer.data()) > static_cast<size_t>(length))
            __builtin_trap();
        int64_t offset = LineFile_OffsetOfLastLine(lf);
        if (offset <= previousOffset || offset > static_cast<int64_t>(src.size)) __builtin_trap();
        previousOffset = offset;
    }
    LineFile_Dispose(lf);
    return 0;
}

// Formatted I/O: the first line is a format, used both to format output and to scan the rest
// of the input. Arguments come from a source that hands out bounded buffers, so every access
// the engine makes is checked against what it said it would touch.
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "zuvisa/formatio.h"

namespace {

using namespace zuvisa::fmtio;

constexpr size_t kMaxFormat = 512;

class FuzzArgs : public ArgSource {
public:
    int64_t integer(Size) override { return static_cast<int64_t>(next_++ % 40) - 8; }
    double real() override { return 1.5 * static_cast<double>(next_++); }
    long double longReal() override { return -2.25L; }
    const void* input(size_t bytes) override { return buffer(bytes); }
    void* output(size_t bytes) override { return buffer(bytes); }
    const char* text() override { return "text"; }

private:
    // A fresh exact-size buffer per argument, so the sanitizer sees any access beyond it; a
    // count read through it says there is room for 16 elements.
    void* buffer(size_t bytes) {
        if (bytes > (1u << 20)) return nullptr;
        buffers_.emplace_back(bytes, 0);
        std::vector<unsigned char>& b = buffers_.back();
        if (bytes >= 4) {
            int32_t room = 16;
            std::memcpy(b.data(), &room, 4);
        }
        return b.data();
    }
    unsigned next_ = 0;
    std::vector<std::vector<unsigned char>> buffers_;
};

class Bytes : public ByteSource {
public:
    explicit Bytes(std::string_view t) : t_(t) {}
    int peek() override { return pos_ < t_.size() ? static_cast<unsigned char>(t_[pos_]) : -1; }
    void next() override {
        if (pos_ < t_.size()) ++pos_;
    }
    ViStatus error() const override { return VI_SUCCESS; }

private:
    std::string_view t_;
    size_t pos_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view all(reinterpret_cast<const char*>(data), size);
    size_t nl = all.find('\n');
    std::string_view format = all.substr(0, nl);
    std::string_view input = nl == std::string_view::npos ? std::string_view() : all.substr(nl + 1);
    if (format.size() > kMaxFormat) return 0;
    std::vector<Piece> pieces;
    if (parseFormat(format, false, &pieces) == VI_SUCCESS) {
        FuzzArgs args;
        Output out;
        formatOutput(pieces, args, &out);
    }
    if (parseFormat(format, true, &pieces) == VI_SUCCESS) {
        FuzzArgs args;
        Bytes in(input);
        int assigned = 0;
        scanInput(pieces, args, in, &assigned);
    }
    return 0;
}

#include "zuvisa/bridgelets/tcpip/xdr.h"

#include <cstring>

namespace zuvisa::tcpip {

namespace {
size_t padded(size_t n) {
    return (n + 3) & ~static_cast<size_t>(3);
}
}  // namespace

void XdrWriter::u32(uint32_t v) {
    uint8_t b[4] = {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16),
                    static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
    out_.insert(out_.end(), b, b + 4);
}

void XdrWriter::opaque(const void* data, size_t size) {
    u32(static_cast<uint32_t>(size));
    fixed(data, size);
}

void XdrWriter::fixed(const void* data, size_t size) {
    const uint8_t* p = static_cast<const uint8_t*>(data);
    if (size) out_.insert(out_.end(), p, p + size);
    out_.resize(out_.size() + (padded(size) - size), 0);
}

uint32_t XdrReader::u32() {
    if (!ok_ || remaining() < 4) {
        ok_ = false;
        return 0;
    }
    uint32_t v = (uint32_t{p_[0]} << 24) | (uint32_t{p_[1]} << 16) | (uint32_t{p_[2]} << 8) | p_[3];
    p_ += 4;
    return v;
}

std::string_view XdrReader::opaque(size_t maxSize) {
    uint32_t n = u32();
    if (!ok_ || n > maxSize || padded(n) > remaining()) {
        ok_ = false;
        return {};
    }
    std::string_view v(reinterpret_cast<const char*>(p_), n);
    p_ += padded(n);
    return v;
}

void XdrReader::skip(size_t size) {
    if (!ok_ || padded(size) > remaining()) {
        ok_ = false;
        return;
    }
    p_ += padded(size);
}

}  // namespace zuvisa::tcpip

// XDR encoding (big-endian 32-bit units, opaque data padded to four bytes) for the ONC RPC
// messages of VXI-11. The decoder reads untrusted replies: every read is bounded, and the
// first failure sticks so that callers check once at the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zuvisa::tcpip {

class XdrWriter {
  public:
    void u32(uint32_t v);
    void i32(int32_t v) { u32(static_cast<uint32_t>(v)); }
    void boolean(bool v) { u32(v ? 1 : 0); }
    // Variable-length opaque data and strings: a length, the bytes, zero padding.
    void opaque(const void* data, size_t size);
    void string(std::string_view s) { opaque(s.data(), s.size()); }
    // Fixed-length opaque data: the bytes and padding, no length.
    void fixed(const void* data, size_t size);

    std::vector<uint8_t>& bytes() { return out_; }
    const std::vector<uint8_t>& bytes() const { return out_; }

  private:
    std::vector<uint8_t> out_;
};

class XdrReader {
  public:
    XdrReader(const uint8_t* data, size_t size) : p_(data), end_(data + size) {}

    uint32_t u32();
    int32_t i32() { return static_cast<int32_t>(u32()); }
    bool boolean() { return u32() != 0; }
    // Variable-length opaque data of at most maxSize bytes; points into the input.
    std::string_view opaque(size_t maxSize);
    std::string string(size_t maxSize) { return std::string(opaque(maxSize)); }
    void skip(size_t size);

    bool ok() const { return ok_; }
    size_t remaining() const { return static_cast<size_t>(end_ - p_); }
    void fail() { ok_ = false; }

  private:
    const uint8_t* p_;
    const uint8_t* end_;
    bool ok_ = true;
};

}  // namespace zuvisa::tcpip

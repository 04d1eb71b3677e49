#include "zuvisa/bridgelets/sim/memory.h"

#include <cmath>

namespace zuvisa::sim {

uint64_t swapBytes(uint64_t v, int bytes) {
    uint64_t out = 0;
    for (int i = 0; i < bytes; ++i) out = (out << 8) | ((v >> (8 * i)) & 0xFF);
    return out;
}

uint64_t Memory::read(uint64_t offset, int bytes) const {
    uint64_t v = 0;
    for (int i = 0; i < bytes; ++i) {
        uint64_t b = bytes_[offset + static_cast<uint64_t>(i)];
        v |= bigEndian_ ? b << (8 * (bytes - 1 - i)) : b << (8 * i);
    }
    return v;
}

void Memory::write(uint64_t offset, int bytes, uint64_t value) {
    for (int i = 0; i < bytes; ++i) {
        int shift = bigEndian_ ? 8 * (bytes - 1 - i) : 8 * i;
        bytes_[offset + static_cast<uint64_t>(i)] = static_cast<uint8_t>(value >> shift);
    }
}

void Memory::fill(const MemoryFillDef& f, uint64_t base) {
    int bytes = f.width / 8;
    uint64_t mask = f.width == 64 ? UINT64_MAX : (uint64_t{1} << f.width) - 1;
    size_t n = f.pattern == MemoryFillDef::Pattern::None ? f.values.size() : f.count;
    for (size_t i = 0; i < n; ++i) {
        uint64_t value = 0;
        switch (f.pattern) {
        case MemoryFillDef::Pattern::None: value = f.values[i]; break;
        case MemoryFillDef::Pattern::Ramp: value = i & mask; break;
        case MemoryFillDef::Pattern::Sine: {
            // A full-scale sine around mid-scale, as an unsigned converter delivers it.
            double half = static_cast<double>(f.width == 64 ? (uint64_t{1} << 62) : (mask / 2));
            double x = std::sin(2.0 * M_PI * static_cast<double>(i % f.period) / f.period);
            value = static_cast<uint64_t>(std::llround(half + half * 0.9 * x)) & mask;
            break;
        }
        }
        uint64_t at = f.offset + i * static_cast<uint64_t>(bytes);
        if (at < base || at - base > size() || size() - (at - base) < static_cast<uint64_t>(bytes)) continue;
        write(at - base, bytes, value);
    }
}

ViStatus Allocator::allocate(uint64_t size, const void* owner, uint64_t* offset) {
    if (size == 0) return VI_ERROR_INV_SIZE;
    if (size > size_) return VI_ERROR_ALLOC;
    uint64_t rounded = (size + 7) & ~uint64_t{7};
    uint64_t candidate = start_;
    for (const auto& [at, block] : blocks_) {
        if (at - candidate >= rounded) break;
        candidate = at + ((block.size + 7) & ~uint64_t{7});
    }
    if (candidate - start_ > size_ || size_ - (candidate - start_) < rounded) return VI_ERROR_ALLOC;
    blocks_[candidate] = {size, owner};
    *offset = candidate;
    return VI_SUCCESS;
}

ViStatus Allocator::release(uint64_t offset) {
    return blocks_.erase(offset) ? VI_SUCCESS : VI_ERROR_INV_OFFSET;
}

void Allocator::releaseAll(const void* owner) {
    for (auto it = blocks_.begin(); it != blocks_.end();) {
        if (it->second.owner == owner) it = blocks_.erase(it);
        else ++it;
    }
}

bool Allocator::covers(uint64_t offset, uint64_t bytes) const {
    auto it = blocks_.upper_bound(offset);
    if (it == blocks_.begin()) return false;
    --it;
    return offset - it->first <= it->second.size && it->second.size - (offset - it->first) >= bytes;
}

}  // namespace zuvisa::sim

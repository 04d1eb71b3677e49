// Storage of simulated address spaces: byte arrays read and written as numbers in a bus's own
// byte order, their initial contents, and the allocator behind viMemAlloc.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "zuvisa/bridgelets/sim/devicefile.h"

namespace zuvisa::sim {

// Reverses the byte order of the low bytes of v.
uint64_t swapBytes(uint64_t v, int bytes);

class Memory {
public:
    Memory(uint64_t size, bool bigEndian) : bytes_(size, 0), bigEndian_(bigEndian) {}
    uint64_t size() const { return bytes_.size(); }
    // The caller has checked that [offset, offset + bytes) lies inside.
    uint64_t read(uint64_t offset, int bytes) const;
    void write(uint64_t offset, int bytes, uint64_t value);
    // Applies a fill whose offsets count from base (the start of this memory in its space);
    // elements outside are skipped.
    void fill(const MemoryFillDef& f, uint64_t base);

private:
    std::vector<uint8_t> bytes_;
    bool bigEndian_;
};

// First-fit allocation of blocks in [start, start + size), each block remembered with the
// session (owner) that asked for it.
class Allocator {
public:
    Allocator(uint64_t start, uint64_t size) : start_(start), size_(size) {}
    // VI_SUCCESS, VI_ERROR_INV_SIZE (0) or VI_ERROR_ALLOC (no room).
    ViStatus allocate(uint64_t size, const void* owner, uint64_t* offset);
    // VI_SUCCESS, or VI_ERROR_INV_OFFSET when no block starts there.
    ViStatus release(uint64_t offset);
    void releaseAll(const void* owner);
    // Whether [offset, offset + bytes) lies inside one allocated block.
    bool covers(uint64_t offset, uint64_t bytes) const;

private:
    struct Block {
        uint64_t size;
        const void* owner;
    };
    uint64_t start_, size_;
    std::map<uint64_t, Block> blocks_;
};

}  // namespace zuvisa::sim

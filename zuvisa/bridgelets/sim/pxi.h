// A simulated PXI bus: functions with a configuration header and base address registers, and
// the host memory that viMemAlloc hands out (VI_PXI_ALLOC_SPACE). PCI is little-endian.
// Guarded by the bus's mutex, which callers hold.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "zuvisa/bridgelets/sim/instrument.h"
#include "zuvisa/bridgelets/sim/memory.h"

namespace zuvisa::sim {

class PxiFunction {
public:
    // Bases of the BARs are assigned by the bus.
    PxiFunction(std::shared_ptr<Instrument> instrument, const uint64_t barBases[6]);

    const PxiDef& def() const { return def_; }
    uint64_t barBase(int bar) const { return barBase_[bar]; }
    const std::shared_ptr<Instrument>& instrument() const { return instrument_; }

    // Accesses the configuration space (VI_PXI_CFG_SPACE) or a BAR (VI_PXI_BAR0_SPACE + n) at an
    // offset inside it; width, alignment and range are checked here.
    ViStatus read(ViUInt16 space, uint64_t offset, int bytes, uint64_t* value);
    ViStatus write(ViUInt16 space, uint64_t offset, int bytes, uint64_t value);

private:
    ViStatus checkBar(ViUInt16 space, uint64_t offset, int bytes, Memory** memory);
    uint32_t configDword(uint64_t offset);

    PxiDef def_;
    std::shared_ptr<Instrument> instrument_;
    uint64_t barBase_[6] = {};
    std::unique_ptr<Memory> bars_[6];
    uint16_t command_ = 0x0006;  // memory space and bus master enabled by the firmware
    uint8_t interruptLine_ = 11;
    bool sizing_[6] = {};
};

class PxiBus {
public:
    PxiBus();
    std::mutex m;

    // Bases for a function's BARs.
    void assignBars(const PxiDef& def, uint64_t bases[6]);

    Allocator& allocator() { return alloc_; }
    // The allocated space: only bytes inside an allocated block are there.
    ViStatus read(uint64_t offset, int bytes, uint64_t* value);
    ViStatus write(uint64_t offset, int bytes, uint64_t value);

private:
    ViStatus check(uint64_t offset, int bytes) const;

    static constexpr uint64_t kAllocStart = 0x1000;  // offset 0 is never handed out
    static constexpr uint64_t kAllocSize = 1u << 20;
    Allocator alloc_{kAllocStart, kAllocSize};
    std::unique_ptr<Memory> host_;  // made at the first access
    uint64_t nextMemory_ = 0xF0000000, nextIo_ = 0xE000;
};

}  // namespace zuvisa::sim

#include "zuvisa/bridgelets/sim/pxi.h"

namespace zuvisa::sim {

namespace {
constexpr uint64_t kConfigSize = 256;
constexpr uint64_t kBarRegisters = 0x10;
}  // namespace

PxiFunction::PxiFunction(std::shared_ptr<Instrument> instrument, const uint64_t barBases[6])
    : def_(instrument->definition()->pxi), instrument_(std::move(instrument)) {
    for (int i = 0; i < 6; ++i) {
        barBase_[i] = barBases[i];
        if (def_.bars[i].type != VI_PXI_ADDR_NONE) bars_[i] = std::make_unique<Memory>(def_.bars[i].size, false);
    }
    for (const MemoryFillDef& f : instrument_->definition()->memory) {
        int bar = f.space - VI_PXI_BAR0_SPACE;
        if (bar >= 0 && bar < 6 && bars_[bar]) bars_[bar]->fill(f, 0);
    }
}

uint32_t PxiFunction::configDword(uint64_t offset) {
    switch (offset) {
    case 0x00: return static_cast<uint32_t>(def_.device) << 16 | def_.vendor;
    case 0x04: return 0x0010u << 16 | command_;  // status: capabilities list
    case 0x08: return def_.classCode << 8 | def_.revision;
    case 0x0C: return 0;  // header type 0, single function
    case 0x2C: return static_cast<uint32_t>(def_.subsystem) << 16 | def_.subsystemVendor;
    case 0x3C: return 0x01u << 8 | interruptLine_;  // interrupt pin INTA
    default: break;
    }
    if (offset >= kBarRegisters && offset < kBarRegisters + 24) {
        int bar = static_cast<int>((offset - kBarRegisters) / 4);
        const PxiBarDef& b = def_.bars[bar];
        if (b.type == VI_PXI_ADDR_NONE) return 0;
        uint32_t typeBits = b.type == VI_PXI_ADDR_IO ? 1 : 0;
        // After all ones were written the register tells the size it decodes.
        if (sizing_[bar]) return static_cast<uint32_t>(~(b.size - 1)) | typeBits;
        return static_cast<uint32_t>(barBase_[bar]) | typeBits;
    }
    return 0;
}

ViStatus PxiFunction::checkBar(ViUInt16 space, uint64_t offset, int bytes, Memory** memory) {
    int bar = space - VI_PXI_BAR0_SPACE;
    if (bar < 0 || bar > 5 || !bars_[bar]) return VI_ERROR_INV_SPACE;
    if (def_.bars[bar].type == VI_PXI_ADDR_IO && bytes > 4) return VI_ERROR_NSUP_WIDTH;
    if (offset % static_cast<uint64_t>(bytes)) return VI_ERROR_NSUP_ALIGN_OFFSET;
    if (offset >= bars_[bar]->size() || bars_[bar]->size() - offset < static_cast<uint64_t>(bytes)) {
        return VI_ERROR_INV_OFFSET;
    }
    *memory = bars_[bar].get();
    return VI_SUCCESS;
}

ViStatus PxiFunction::read(ViUInt16 space, uint64_t offset, int bytes, uint64_t* value) {
    if (space == VI_PXI_CFG_SPACE) {
        if (bytes > 4) return VI_ERROR_NSUP_WIDTH;
        if (offset % static_cast<uint64_t>(bytes)) return VI_ERROR_NSUP_ALIGN_OFFSET;
        if (offset >= kConfigSize) return VI_ERROR_INV_OFFSET;
        uint32_t dword = configDword(offset & ~uint64_t{3});
        uint64_t shift = (offset & 3) * 8;
        uint64_t mask = bytes == 4 ? 0xFFFFFFFFu : (uint64_t{1} << (8 * bytes)) - 1;
        *value = (dword >> shift) & mask;
        return VI_SUCCESS;
    }
    Memory* mem = nullptr;
    ViStatus st = checkBar(space, offset, bytes, &mem);
    if (st < 0) return st;
    *value = mem->read(offset, bytes);
    return VI_SUCCESS;
}

ViStatus PxiFunction::write(ViUInt16 space, uint64_t offset, int bytes, uint64_t value) {
    if (space == VI_PXI_CFG_SPACE) {
        if (bytes > 4) return VI_ERROR_NSUP_WIDTH;
        if (offset % static_cast<uint64_t>(bytes)) return VI_ERROR_NSUP_ALIGN_OFFSET;
        if (offset >= kConfigSize) return VI_ERROR_INV_OFFSET;
        // Only the command register, the interrupt line and BAR sizing can be written.
        if (offset == 0x04 && bytes >= 2) command_ = static_cast<uint16_t>(value & 0x0547);
        if (offset == 0x3C) interruptLine_ = static_cast<uint8_t>(value);
        if (offset >= kBarRegisters && offset < kBarRegisters + 24 && bytes == 4 && offset % 4 == 0) {
            sizing_[(offset - kBarRegisters) / 4] = (value & 0xFFFFFFFFu) == 0xFFFFFFFFu;
        }
        return VI_SUCCESS;
    }
    Memory* mem = nullptr;
    ViStatus st = checkBar(space, offset, bytes, &mem);
    if (st < 0) return st;
    mem->write(offset, bytes, value);
    instrument_->startWrites(space, offset, value);
    return VI_SUCCESS;
}

PxiBus::PxiBus() = default;

void PxiBus::assignBars(const PxiDef& def, uint64_t bases[6]) {
    for (int i = 0; i < 6; ++i) {
        const PxiBarDef& b = def.bars[i];
        bases[i] = 0;
        if (b.type == VI_PXI_ADDR_NONE) continue;
        uint64_t& next = b.type == VI_PXI_ADDR_IO ? nextIo_ : nextMemory_;
        bases[i] = (next + b.size - 1) / b.size * b.size;
        next = bases[i] + b.size;
    }
}

ViStatus PxiBus::check(uint64_t offset, int bytes) const {
    if (offset % static_cast<uint64_t>(bytes)) return VI_ERROR_NSUP_ALIGN_OFFSET;
    if (!alloc_.covers(offset, static_cast<uint64_t>(bytes))) return VI_ERROR_INV_OFFSET;
    return VI_SUCCESS;
}

ViStatus PxiBus::read(uint64_t offset, int bytes, uint64_t* value) {
    ViStatus st = check(offset, bytes);
    if (st < 0) return st;
    if (!host_) host_ = std::make_unique<Memory>(kAllocStart + kAllocSize, false);
    *value = host_->read(offset, bytes);
    return VI_SUCCESS;
}

ViStatus PxiBus::write(uint64_t offset, int bytes, uint64_t value) {
    ViStatus st = check(offset, bytes);
    if (st < 0) return st;
    if (!host_) host_ = std::make_unique<Memory>(kAllocStart + kAllocSize, false);
    host_->write(offset, bytes, value);
    return VI_SUCCESS;
}

}  // namespace zuvisa::sim

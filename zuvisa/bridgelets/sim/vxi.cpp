#include "zuvisa/bridgelets/sim/vxi.h"

#include <algorithm>

namespace zuvisa::sim {

namespace {

constexpr uint64_t kA16Registers = 0xC000;  // logical address n decodes 0xC000 + 64 n

uint64_t spaceSize(ViUInt16 space) {
    switch (space) {
    case VI_A16_SPACE: return uint64_t{1} << 16;
    case VI_A24_SPACE: return uint64_t{1} << 24;
    case VI_A32_SPACE: return uint64_t{1} << 32;
    default: return 0;
    }
}

// Widest access each space carries: configuration registers are D16, A24 memory D32.
int widestAccess(ViUInt16 space) {
    switch (space) {
    case VI_A16_SPACE: return 2;
    case VI_A24_SPACE: return 4;
    default: return 8;
    }
}

int log2of(uint64_t v) {
    int n = 0;
    while (v > 1) {
        v >>= 1;
        ++n;
    }
    return n;
}

}  // namespace

// ---- device ----------------------------------------------------------------------------------

VxiDevice::VxiDevice(int la, std::shared_ptr<Instrument> instrument, uint64_t memoryBase)
    : la_(la), def_(instrument->definition()->vxi), instrument_(std::move(instrument)), memoryBase_(memoryBase) {
    const DeviceDef& d = *instrument_->definition();
    if (def_.memorySpace) {
        memory_ = std::make_unique<Memory>(def_.memorySize, true);
        if (def_.sharedMemory) shared_ = std::make_unique<Allocator>(0, def_.memorySize);
    }
    for (const MemoryFillDef& f : d.memory) {
        if (f.space == VI_A16_SPACE) registers_.fill(f, 0);
        else if (memory_ && f.space == def_.memorySpace) memory_->fill(f, 0);
    }
}

uint16_t VxiDevice::read16(uint64_t offset) {
    bool message = messageBased();
    switch (offset) {
    case reg::kId: {
        uint16_t addressing = def_.memorySpace == VI_A24_SPACE ? 0 : def_.memorySpace == VI_A32_SPACE ? 1 : 3;
        return static_cast<uint16_t>((def_.deviceClass & 3) << 14 | addressing << 12 | (def_.manufacturer & 0xFFF));
    }
    case reg::kDeviceType: {
        // Required memory as the register encodes it: 256 bytes times a power of two.
        uint16_t m = memory_ ? static_cast<uint16_t>(std::min(15, log2of(memory_->size()) - 8)) : 0;
        return static_cast<uint16_t>(m << 12 | (def_.model & 0xFFF));
    }
    case reg::kStatusControl: {
        bool memoryActive = memory_ && (control_ & 0x8000);
        return static_cast<uint16_t>((memoryActive ? 0x8000 : 0) | 0x4000 | 0x3FF0 | 0x0008 |
                                     (def_.passed ? 0x0004 : 0) | (control_ & 0x0003));
    }
    case reg::kOffset: {
        if (!memory_) return 0;
        return static_cast<uint16_t>(def_.memorySpace == VI_A24_SPACE ? memoryBase_ >> 8 : memoryBase_ >> 16);
    }
    default: break;
    }
    if (message) {
        switch (offset) {
        case reg::kProtocol: return ws::kProtocol;
        case reg::kResponse: {
            bool dataOutReady = instrument_->message()->pendingOutput() > 0;
            return static_cast<uint16_t>(0xC000 | (dataOutReady ? 0x2000 : 0) | 0x1000 |
                                         (protocolError_ == ws::kNoError ? 0x0800 : 0) |
                                         (responsePending_ ? 0x0400 : 0) | (responsePending_ ? 0 : 0x0200) | 0x01FF);
        }
        case reg::kDataHigh: return 0xFFFF;
        case reg::kDataLow: {
            uint16_t r = 0xFFFF;
            takeResponse(&r);
            return r;
        }
        default: break;
        }
    }
    return static_cast<uint16_t>(registers_.read(offset, 2));
}

void VxiDevice::write16(uint64_t offset, uint16_t value) {
    if (offset == reg::kStatusControl) {
        if (value & 0x0001) reset();
        control_ = static_cast<uint16_t>(value & 0x8003);
        return;
    }
    if (offset < reg::kProtocol) return;  // identification and offset are read-only
    if (messageBased() && offset >= reg::kProtocol && offset < 0x10) {
        if (offset == reg::kDataHigh) dataHigh_ = value;
        if (offset == reg::kDataLow) {
            bool response = false;
            command(value, &response);
        }
        return;
    }
    registers_.write(offset, 2, value);
}

uint64_t VxiDevice::readRegister(uint64_t offset, int bytes) {
    if (offset >= 0x10) return registers_.read(offset, bytes);  // device-dependent registers
    uint16_t v = read16(offset & ~uint64_t{1});
    if (bytes == 2) return v;
    return (offset & 1) ? (v & 0xFF) : (v >> 8);  // big-endian halves
}

void VxiDevice::writeRegister(uint64_t offset, int bytes, uint64_t value) {
    if (offset >= 0x10) {
        registers_.write(offset, bytes, value);
    } else if (bytes == 2) {
        write16(offset, static_cast<uint16_t>(value));
    } else if (offset == reg::kStatusControl + 1) {
        write16(reg::kStatusControl, static_cast<uint16_t>((control_ & 0xFF00) | (value & 0xFF)));
    }
    instrument_->startWrites(VI_A16_SPACE, offset, value);
}

void VxiDevice::writeMemory(uint64_t offset, int bytes, uint64_t value) {
    memory_->write(offset, bytes, value);
    instrument_->startWrites(def_.memorySpace, offset, value);
}

ViStatus VxiDevice::command(uint16_t word, bool* hasResponse) {
    *hasResponse = false;
    if (!messageBased()) return VI_ERROR_NSUP_OPER;
    const std::shared_ptr<Device>& dev = instrument_->message();
    auto respond = [&](uint16_t r) -> ViStatus {
        if (responsePending_) {
            protocolError_ = ws::kMultipleQuery;
            return VI_ERROR_RESP_PENDING;
        }
        response_ = r;
        responsePending_ = true;
        *hasResponse = true;
        return VI_SUCCESS;
    };
    if ((word & 0xFE00) == ws::kByteAvailable) {
        ViByte b = static_cast<ViByte>(word & 0xFF);
        size_t done = 0;
        return dev->write(&b, 1, (word & 0x0100) != 0, &done);
    }
    switch (word) {
    case ws::kByteRequest: {
        uint8_t b = 0;
        bool end = false;
        ViStatus st = byteRequest(&b, &end);
        if (st < 0) return st;
        return respond(static_cast<uint16_t>(0xFE00 | (end ? 0x0100 : 0) | b));
    }
    case ws::kReadStatus: {
        ViUInt16 stb = 0;
        dev->readStb(&stb);
        return respond(static_cast<uint16_t>(0xFF00 | (stb & 0xFF)));
    }
    case ws::kReadProtocol: return respond(ws::kProtocol);
    case ws::kReadProtocolError: {
        uint16_t e = protocolError_;
        protocolError_ = ws::kNoError;
        return respond(e);
    }
    case ws::kClear:
        dev->clear();
        responsePending_ = false;
        protocolError_ = ws::kNoError;
        return VI_SUCCESS;
    case ws::kTrigger: return dev->trigger(VI_TRIG_PROT_DEFAULT);
    case ws::kBeginNormalOperation:
    case ws::kAbortNormalOperation: return respond(0xFFFF);
    default:
        // Devices complete commands they do not know and note it for Read Protocol Error.
        protocolError_ = ws::kUnsupportedCommand;
        return VI_SUCCESS;
    }
}

ViStatus VxiDevice::takeResponse(uint16_t* response) {
    if (!responsePending_) return VI_ERROR_TMO;
    responsePending_ = false;
    *response = response_;
    return VI_SUCCESS;
}

ViStatus VxiDevice::byteRequest(uint8_t* byte, bool* end) {
    ViByte b = 0;
    size_t n = 0;
    ViStatus st = instrument_->message()->read(&b, 1, ReadOptions{}, IoControl::fromTimeout(0, nullptr), &n);
    if (n == 0) return VI_ERROR_TMO;
    *byte = b;
    *end = st == VI_SUCCESS;
    return VI_SUCCESS;
}

void VxiDevice::reset() {
    if (const auto& dev = instrument_->message()) dev->clear();
    responsePending_ = false;
    protocolError_ = ws::kNoError;
    dataHigh_ = 0;
}

// ---- bus -------------------------------------------------------------------------------------

VxiBus::VxiBus(InterfaceDef def) : def_(std::move(def)) {}

void VxiBus::add(const std::shared_ptr<VxiDevice>& device) {
    devices_[device->la()] = device;
    if (!device->def().passed) sysfail_ = true;  // a device that failed its self-test drives SYSFAIL
}

std::shared_ptr<VxiDevice> VxiBus::device(int la) const {
    auto it = devices_.find(la);
    return it == devices_.end() ? nullptr : it->second;
}

uint64_t VxiBus::assignMemory(ViUInt16 space, uint64_t size) {
    uint64_t& next = space == VI_A24_SPACE ? nextA24_ : nextA32_;
    uint64_t base = (next + size - 1) / size * size;
    next = base + size;
    return base;
}

ViStatus VxiBus::check(ViUInt16 space, uint64_t address, int bytes) {
    uint64_t size = spaceSize(space);
    if (!size) return VI_ERROR_INV_SPACE;
    if (bytes > widestAccess(space)) return VI_ERROR_NSUP_WIDTH;
    if (address % static_cast<uint64_t>(bytes)) return VI_ERROR_NSUP_ALIGN_OFFSET;
    if (address >= size || size - address < static_cast<uint64_t>(bytes)) return VI_ERROR_INV_OFFSET;
    return VI_SUCCESS;
}

ViStatus VxiBus::read(ViUInt16 space, uint64_t address, int bytes, uint64_t* value) {
    ViStatus st = check(space, address, bytes);
    if (st < 0) return st;
    if (space == VI_A16_SPACE && address >= kA16Registers) {
        auto dev = device(static_cast<int>((address - kA16Registers) / reg::kBlockSize));
        if (dev) {
            *value = dev->readRegister((address - kA16Registers) % reg::kBlockSize, bytes);
            return VI_SUCCESS;
        }
    }
    for (const auto& [la, dev] : devices_) {
        if (dev->def().memorySpace == space && address >= dev->memoryBase() &&
            address - dev->memoryBase() < dev->memorySize()) {
            *value = dev->readMemory(address - dev->memoryBase(), bytes);
            return VI_SUCCESS;
        }
    }
    return VI_ERROR_BERR;
}

ViStatus VxiBus::write(ViUInt16 space, uint64_t address, int bytes, uint64_t value) {
    ViStatus st = check(space, address, bytes);
    if (st < 0) return st;
    if (space == VI_A16_SPACE && address >= kA16Registers) {
        auto dev = device(static_cast<int>((address - kA16Registers) / reg::kBlockSize));
        if (dev) {
            dev->writeRegister((address - kA16Registers) % reg::kBlockSize, bytes, value);
            return VI_SUCCESS;
        }
    }
    for (const auto& [la, dev] : devices_) {
        if (dev->def().memorySpace == space && address >= dev->memoryBase() &&
            address - dev->memoryBase() < dev->memorySize()) {
            dev->writeMemory(address - dev->memoryBase(), bytes, value);
            return VI_SUCCESS;
        }
    }
    return VI_ERROR_BERR;
}

void VxiBus::listen(TriggerListener* l) { listeners_.push_back(l); }

void VxiBus::unlisten(TriggerListener* l) {
    listeners_.erase(std::remove(listeners_.begin(), listeners_.end(), l), listeners_.end());
}

ViStatus VxiBus::driveWithProtocol(int line, ViUInt16 protocol) {
    switch (protocol) {
        case VI_TRIG_PROT_DEFAULT:
        case VI_TRIG_PROT_SYNC: return drive(line, 2);
        case VI_TRIG_PROT_ON: return drive(line, 1);
        case VI_TRIG_PROT_OFF: return drive(line, 0);
        case VI_TRIG_PROT_RESERVE:
        case VI_TRIG_PROT_UNRESERVE: return VI_SUCCESS;
        default: return VI_ERROR_INV_PROT;
    }
}

ViStatus VxiBus::drive(int line, int how) {
    if (line < 0 || line > VI_TRIG_STAR_VXI2) return VI_ERROR_INV_LINE;
    std::vector<int> lines{line};
    for (size_t i = 0; i < lines.size(); ++i) {
        for (const Mapping& m : maps_) {
            if (m.src == lines[i] && std::find(lines.begin(), lines.end(), m.dest) == lines.end()) lines.push_back(m.dest);
        }
    }
    for (int l : lines) {
        uint32_t bit = 1u << l;
        if (how == 1) asserted_ |= bit;
        if (how == 0) asserted_ &= ~bit;
        if (how == 0) continue;  // a line that goes inactive triggers nobody
        EventData e;
        e.type = VI_EVENT_TRIG;
        e.numbers = {{VI_ATTR_RECV_TRIG_ID, static_cast<ViUInt16>(l)}};
        for (TriggerListener* t : listeners_) {
            if (t->everyLine || t->line.load() == l) t->sink->raise(e);
        }
        // Devices armed on the line act on it.
        for (const auto& [la, dev] : devices_) {
            if (!(dev->def().triggerLines & bit)) continue;
            if (const auto& msg = dev->instrument()->message()) msg->trigger(VI_TRIG_PROT_DEFAULT);
            else dev->instrument()->startTriggers();
        }
    }
    return VI_SUCCESS;
}

ViStatus VxiBus::mapTrigger(int src, int dest, ViUInt16 mode) {
    if (src < 0 || src > VI_TRIG_STAR_VXI2 || dest < 0 || dest > VI_TRIG_STAR_VXI2 || src == dest) {
        return VI_ERROR_INV_LINE;
    }
    if (mode != VI_NULL) return VI_ERROR_INV_MODE;
    for (const Mapping& m : maps_) {
        if (m.src == src && m.dest == dest) return VI_SUCCESS_TRIG_MAPPED;
        if (m.dest == dest) return VI_ERROR_LINE_IN_USE;  // a line takes one source
    }
    maps_.push_back({src, dest});
    return VI_SUCCESS;
}

ViStatus VxiBus::unmapTrigger(int src, int dest) {
    if (src < 0 || src > VI_TRIG_STAR_VXI2 || (dest != VI_TRIG_ALL && (dest < 0 || dest > VI_TRIG_STAR_VXI2))) {
        return VI_ERROR_INV_LINE;
    }
    size_t before = maps_.size();
    maps_.erase(std::remove_if(maps_.begin(), maps_.end(),
                               [&](const Mapping& m) { return m.src == src && (dest == VI_TRIG_ALL || m.dest == dest); }),
                maps_.end());
    return maps_.size() == before ? VI_ERROR_TRIG_NMAPPED : VI_SUCCESS;
}

namespace {

bool validInterruptMode(ViInt16 mode) { return mode >= VI_ASSERT_SIGNAL && mode <= VI_ASSERT_IRQ7; }

int interruptLevel(ViInt16 mode) { return mode == VI_ASSERT_USE_ASSIGNED ? 1 : mode; }

// What the handler of a signal (written to the signal register) or an interrupt receives.
EventData interruptEvent(ViInt16 mode, ViUInt32 statusId) {
    EventData e;
    if (mode == VI_ASSERT_SIGNAL) {
        e.type = VI_EVENT_VXI_SIGP;
        e.numbers = {{VI_ATTR_SIGP_STATUS_ID, statusId & 0xFFFF}};
    } else {
        e.type = VI_EVENT_VXI_VME_INTR;
        e.numbers = {{VI_ATTR_INTR_STATUS_ID, statusId},
                     {VI_ATTR_RECV_INTR_LEVEL, static_cast<ViAttrState>(interruptLevel(mode))}};
    }
    return e;
}

}  // namespace

ViStatus VxiBus::interrupt(ViInt16 mode, ViUInt32 statusId) {
    if (!validInterruptMode(mode)) return VI_ERROR_INV_MODE;
    // The handler of the device named in the low byte of the status/ID takes the interrupt.
    auto dev = device(static_cast<int>(statusId & 0xFF));
    if (dev) {
        dev->instrument()->sinks()->raise(interruptEvent(mode, statusId));
    } else if (mode != VI_ASSERT_SIGNAL) {
        pendingIrq_ |= static_cast<uint16_t>(1u << interruptLevel(mode));  // nobody acknowledges it
    }
    return VI_SUCCESS;
}

ViStatus VxiBus::signalCommander(ViInt16 mode, ViUInt32 statusId) {
    if (!validInterruptMode(mode)) return VI_ERROR_INV_MODE;
    if (auto commander = device(def_.controllerLa)) commander->instrument()->sinks()->raise(interruptEvent(mode, statusId));
    return VI_SUCCESS;
}

void VxiBus::commandServant(ViUInt16 mode, ViUInt32 command) {
    bool wide = mode == VI_VXI_CMD32 || mode == VI_VXI_CMD32_RESP16 || mode == VI_VXI_CMD32_RESP32;
    // Longword serial carries the word-serial command in its upper half.
    uint16_t word = static_cast<uint16_t>(wide ? command >> 16 : command);
    EventData e;
    if (word == ws::kClear) {
        servantResponse_ = Response::None;
        e.type = VI_EVENT_CLEAR;
    } else if (word == ws::kTrigger) {
        e.type = VI_EVENT_TRIG;
        e.numbers = {{VI_ATTR_RECV_TRIG_ID, static_cast<ViUInt16>(VI_TRIG_SW)}};
    } else {
        e.type = VI_EVENT_VXI_DEV_CMD;
        e.numbers = {{VI_ATTR_VXI_DEV_CMD_TYPE, mode}, {VI_ATTR_VXI_DEV_CMD_VALUE, command}};
    }
    servantSinks_.raise(e);
}

ViStatus VxiBus::servantRespond(ViInt16 mode, ViUInt32 response) {
    if (mode == VI_VXI_RESP_NONE) return VI_SUCCESS;
    if (servantResponse_ != Response::None) return VI_ERROR_RESP_PENDING;
    if (mode == VI_VXI_RESP_PROT_ERROR) {
        servantResponse_ = Response::ProtocolError;
    } else {
        servantResponse_ = Response::Word;
        servantWord_ = response;
    }
    servantResponded_.notify_all();
    return VI_SUCCESS;
}

ViStatus VxiBus::takeServantResponse(std::unique_lock<std::mutex>& lock, const IoControl& io, ViUInt32* response) {
    while (servantResponse_ == Response::None) {
        if (io.cancelled()) return VI_ERROR_ABORT;
        if (io.expired()) return VI_ERROR_TMO;
        // Short waits, so that a cancel is seen also while waiting without a deadline.
        auto until = Clock::now() + std::chrono::milliseconds(20);
        if (!io.infinite && io.deadline < until) until = io.deadline;
        servantResponded_.wait_until(lock, until);
    }
    Response r = servantResponse_;
    servantResponse_ = Response::None;
    if (r == Response::ProtocolError) return VI_ERROR_INP_PROT_VIOL;
    *response = servantWord_;
    return VI_SUCCESS;
}

void VxiBus::setSysfail(bool asserted) {
    bool was = sysfail_;
    sysfail_ = asserted;
    if (asserted && !was) {
        EventData e;
        e.type = VI_EVENT_VXI_VME_SYSFAIL;
        backplaneSinks_.raise(e);
    }
}

void VxiBus::sysreset() {
    for (const auto& [la, dev] : devices_) dev->reset();
    asserted_ = 0;
    pendingIrq_ = 0;
    servantResponse_ = Response::None;
    bool failing = false;
    for (const auto& [la, dev] : devices_) failing |= !dev->def().passed;
    sysfail_ = failing;
    EventData e;
    e.type = VI_EVENT_VXI_VME_SYSRESET;
    backplaneSinks_.raise(e);
    servantSinks_.raise(e);
}

}  // namespace zuvisa::sim

// A simulated VXI system (a VXI interface or one behind a GPIB-VXI controller): the devices at
// their logical addresses with configuration registers, memory and word-serial protocol, the
// trigger lines and their mapping, interrupts, SYSFAIL and SYSRESET.
//
// Everything here is guarded by the bus's mutex, which callers hold. Lock order: bus, then a
// device's message side, then sinks (and the sessions' event state behind them).
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/instrument.h"
#include "zuvisa/bridgelets/sim/memory.h"

namespace zuvisa::sim {

// Word-serial commands the simulated message-based devices understand.
namespace ws {
inline constexpr uint16_t kByteAvailable = 0xBC00;  // | data byte; 0xBD00 with END
inline constexpr uint16_t kByteRequest = 0xDEFF;
inline constexpr uint16_t kClear = 0xFEFF;
inline constexpr uint16_t kTrigger = 0xEDFF;
inline constexpr uint16_t kReadStatus = 0xCFFF;
inline constexpr uint16_t kReadProtocol = 0xDFFF;
inline constexpr uint16_t kReadProtocolError = 0xCDFF;
inline constexpr uint16_t kBeginNormalOperation = 0xFCFF;
inline constexpr uint16_t kAbortNormalOperation = 0xC9FF;
inline constexpr uint16_t kProtocol = 0x7FF7;  // what Read Protocol and the protocol register say
inline constexpr uint16_t kNoError = 0xFFFF;
inline constexpr uint16_t kUnsupportedCommand = 0xFFFC;
inline constexpr uint16_t kMultipleQuery = 0xFFFD;
}  // namespace ws

// Register offsets in a device's 64-byte block of A16 space.
namespace reg {
inline constexpr uint64_t kId = 0x00, kDeviceType = 0x02, kStatusControl = 0x04, kOffset = 0x06;
inline constexpr uint64_t kProtocol = 0x08, kResponse = 0x0A, kDataHigh = 0x0C, kDataLow = 0x0E;
inline constexpr uint64_t kBlockSize = 0x40;
}  // namespace reg

class VxiDevice {
public:
    VxiDevice(int la, std::shared_ptr<Instrument> instrument, uint64_t memoryBase);

    int la() const { return la_; }
    const VxiDef& def() const { return def_; }
    bool messageBased() const { return def_.deviceClass == VI_VXI_CLASS_MESSAGE && instrument_->message(); }
    uint64_t memoryBase() const { return memoryBase_; }
    uint64_t memorySize() const { return memory_ ? memory_->size() : 0; }
    const std::shared_ptr<Instrument>& instrument() const { return instrument_; }
    Allocator* sharedMemory() { return shared_.get(); }

    // Offsets within the register block and within the device's memory; checked by the bus.
    uint64_t readRegister(uint64_t offset, int bytes);
    void writeRegister(uint64_t offset, int bytes, uint64_t value);
    uint64_t readMemory(uint64_t offset, int bytes) { return memory_->read(offset, bytes); }
    void writeMemory(uint64_t offset, int bytes, uint64_t value);

    // One word-serial command. *hasResponse tells whether it left a response; a query while a
    // response waits is a multiple-query error (VI_ERROR_RESP_PENDING).
    ViStatus command(uint16_t word, bool* hasResponse);
    // Takes the waiting response; VI_ERROR_TMO when there is none.
    ViStatus takeResponse(uint16_t* response);
    // One byte from the device's output (Byte Request); VI_ERROR_TMO when it has nothing.
    ViStatus byteRequest(uint8_t* byte, bool* end);

    void reset();

private:
    uint16_t read16(uint64_t offset);
    void write16(uint64_t offset, uint16_t value);

    int la_;
    VxiDef def_;
    std::shared_ptr<Instrument> instrument_;
    uint64_t memoryBase_;
    std::unique_ptr<Memory> memory_;
    std::unique_ptr<Allocator> shared_;
    Memory registers_{reg::kBlockSize, true};
    uint16_t control_ = 0x8000;  // A24/A32 enabled by the resource manager
    uint16_t dataHigh_ = 0;
    bool responsePending_ = false;
    uint16_t response_ = 0;
    uint16_t protocolError_ = ws::kNoError;
};

// Something that hears trigger lines: a VXI INSTR session (on the line of its VI_ATTR_TRIG_ID)
// or a backplane session (every line).
struct TriggerListener {
    EventSink* sink = nullptr;
    std::atomic<int> line{VI_TRIG_SW};
    bool everyLine = false;
};

class VxiBus {
public:
    explicit VxiBus(InterfaceDef def);

    std::mutex m;
    const InterfaceDef& def() const { return def_; }

    // Devices, by logical address; added while the bench is built.
    void add(const std::shared_ptr<VxiDevice>& device);
    std::shared_ptr<VxiDevice> device(int la) const;
    // A base for a device's memory of this size in A24 or A32 space.
    uint64_t assignMemory(ViUInt16 space, uint64_t size);

    // Width, alignment and range of an access to an absolute address; VI_SUCCESS when it may go
    // on the bus.
    static ViStatus check(ViUInt16 space, uint64_t address, int bytes);
    // Accesses an absolute address; VI_ERROR_BERR where no device decodes it.
    ViStatus read(ViUInt16 space, uint64_t address, int bytes, uint64_t* value);
    ViStatus write(ViUInt16 space, uint64_t address, int bytes, uint64_t value);

    // Trigger lines. drive asserts (1), deasserts (0) or pulses (2) a line and whatever it is
    // mapped to.
    void listen(TriggerListener* l);
    void unlisten(TriggerListener* l);
    ViStatus drive(int line, int how);
    // drive with the level a trigger protocol asks for (the bus lock held).
    ViStatus driveWithProtocol(int line, ViUInt16 protocol);
    ViStatus mapTrigger(int src, int dest, ViUInt16 mode);
    ViStatus unmapTrigger(int src, int dest);
    uint32_t assertedLines() const { return asserted_; }

    // Interrupts and signals, as the local controller or a servant asserts them.
    ViStatus interrupt(ViInt16 mode, ViUInt32 statusId);
    uint16_t pendingInterrupts() const { return pendingIrq_; }

    // SYSFAIL and SYSRESET; the backplane sessions hear them.
    Sinks& backplaneSinks() { return backplaneSinks_; }
    Sinks& servantSinks() { return servantSinks_; }
    void setSysfail(bool asserted);
    bool sysfail() const { return sysfail_; }
    void sysreset();

    // The local controller as the servant of a commander (the VXI SERVANT resource). A commander
    // reaches it at the controller's logical address: while a servant session is open, the
    // word-serial commands of the commander's viVxiCommandQuery arrive there as events, and the
    // servant's viVxiServantResponse is the response word that the commander's query takes.
    bool servantListening() const { return servantSinks_.count() > 0; }
    // A command, with the mode of the commander's query: Clear arrives as VI_EVENT_CLEAR,
    // Trigger as VI_EVENT_TRIG, every other command as VI_EVENT_VXI_DEV_CMD.
    void commandServant(ViUInt16 mode, ViUInt32 command);
    // The servant's response; VI_ERROR_RESP_PENDING while the commander has not taken the last.
    ViStatus servantRespond(ViInt16 mode, ViUInt32 response);
    // Waits for the servant's response as io says; lock holds the bus mutex and is released
    // while waiting.
    ViStatus takeServantResponse(std::unique_lock<std::mutex>& lock, const IoControl& io, ViUInt32* response);
    // A servant's interrupt or signal goes to its commander: the sessions on the controller's
    // logical address hear it.
    ViStatus signalCommander(ViInt16 mode, ViUInt32 statusId);

private:
    InterfaceDef def_;
    std::map<int, std::shared_ptr<VxiDevice>> devices_;
    uint64_t nextA24_ = 0x200000, nextA32_ = 0x20000000;
    std::vector<TriggerListener*> listeners_;
    struct Mapping {
        int src, dest;
    };
    std::vector<Mapping> maps_;
    uint32_t asserted_ = 0;
    uint16_t pendingIrq_ = 0;
    bool sysfail_ = false;
    Sinks backplaneSinks_, servantSinks_;
    enum class Response { None, Word, ProtocolError } servantResponse_ = Response::None;
    ViUInt32 servantWord_ = 0;
    std::condition_variable servantResponded_;
};

}  // namespace zuvisa::sim

// One open serial port, shared by every session of the process on it: its line settings and
// modem lines, a receive buffer that a reader thread fills, and the way out.
//
// The reader thread takes what arrives into the buffer up to its size (viSetBuf), then stops
// reading, so that the driver's own buffer fills and the handshake holds the other side. It also
// watches the modem lines of ports that report them and tells the sessions (listeners) of bytes,
// breaks and line changes. Lock order: reads, then writes, then the port's state; listeners are
// called with no lock but theirs held.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/asrl/markedinput.h"
#include "zuvisa/bridgelets/asrl/ttyio.h"

namespace zuvisa::asrl {

// What arrives for the sessions on a port.
class PortListener {
public:
    virtual void received(const uint8_t* bytes, size_t count) = 0;
    virtual void signal(ViEventType type) = 0;

protected:
    ~PortListener() = default;
};

// Settings of the port as VISA names them.
struct PortSettings {
    tty::LineSettings line;
    ViUInt16 flow = VI_ASRL_FLOW_NONE;
};

// Where one read ends, from the reading session's attributes.
struct ReadSpec {
    bool termCharEnabled = false;
    uint8_t termChar = '\n';
    bool lastBit = false;  // a byte with its highest data bit set ends the read
    bool discardNull = false;
    uint8_t replaceChar = 0;
};

class SerialPort {
public:
    // Opens the device for this process alone: VI_ERROR_RSRC_NFOUND (no such port, or not a
    // serial port), VI_ERROR_NPERMISSION, VI_ERROR_RSRC_BUSY (another program has it).
    // lockDirectory holds the lock files of programs that announce their ports there.
    static ViStatus open(const std::string& device, const std::string& lockDirectory,
                         std::shared_ptr<SerialPort>* out);
    ~SerialPort();
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    const std::string& device() const { return device_; }

    // Line settings. A rate the driver cannot make (it rounds by more than a few percent or
    // falls back) and DTR/DSR handshake on a port without modem lines give
    // VI_ERROR_NSUP_ATTR_STATE and leave the port as it was.
    PortSettings settings() const;
    // Edits the settings in place, so that sessions changing different settings at the same
    // time do not undo each other.
    ViStatus change(const std::function<void(PortSettings&)>& edit);

    ViStatus read(uint8_t* buf, size_t count, const ReadSpec& spec, const IoControl& io, size_t* done);
    ViStatus write(const uint8_t* buf, size_t count, const IoControl& io, size_t* done);
    // Holds the line in the break state for ms milliseconds, after what was written went out.
    ViStatus sendBreak(int ms, const IoControl& io);
    ViStatus setBreak(bool on);
    bool breakOn() const;

    // DTR or RTS (tty::kDtr, tty::kRts). Under a handshake that drives the line, refused.
    ViStatus setLine(int line, bool on);
    // VI_STATE_ASSERTED, VI_STATE_UNASSERTED, or VI_STATE_UNKNOWN for a port without modem lines.
    ViInt16 lineState(int line);

    ViStatus setAllowTransmit(bool allow);
    bool allowTransmit() const;
    ViStatus wireMode(ViInt16* mode);
    ViStatus setWireMode(ViInt16 mode);

    // Bytes received and not yet read, here and in the driver.
    size_t available();
    bool connected() const { return connected_.load(); }

    ViStatus discardInput();
    ViStatus discardOutput();
    // Waits until what was written has left the port.
    ViStatus drainOutput(const IoControl& io);
    void setInputCapacity(size_t bytes);

    void attach(PortListener* listener);
    void detach(PortListener* listener);

private:
    // Feeds the port marked input (breaks, bytes with line errors) that only a UART's driver
    // makes, never a pseudo-terminal.
    friend class SerialPortProbe;

    SerialPort(std::string device, int fd);
    void start();
    void readerLoop();
    void take(const uint8_t* bytes, size_t count);
    void watchLines();
    void hangUp();
    void notify(const std::vector<uint8_t>& bytes, const std::vector<ViEventType>& events);
    void wake();
    ViStatus applyLocked(const PortSettings& next);
    void handshakeInputLocked();

    const std::string device_;
    const int fd_;
    int wakeFd_ = -1;
    std::thread reader_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> connected_{true};

    std::mutex readMutex_;   // one read at a time
    std::mutex writeMutex_;  // one write at a time

    mutable std::mutex m_;
    std::condition_variable arrived_;
    // Received bytes; bit 8 marks a byte received with a parity error, bit 9 a framing error.
    std::deque<uint16_t> input_;
    size_t capacity_ = 4096;
    bool overrun_ = false;  // the driver lost bytes: the next read reports it
    PortSettings settings_;
    bool breakOn_ = false;
    bool allowTransmit_ = true;
    bool dtr_ = true;  // as the session set it, for when the DTR/DSR handshake gives it back
    bool linesKnown_ = false;     // the driver reports modem lines
    bool countersKnown_ = false;  // and counts their changes
    int lines_ = 0;
    tty::Counters counters_;
    bool dtrHeldByUs_ = false;  // DTR/DSR handshake: DTR dropped while the buffer is full
    MarkedInput decoder_;

    std::mutex listenersMutex_;
    std::vector<PortListener*> listeners_;
};

}  // namespace zuvisa::asrl

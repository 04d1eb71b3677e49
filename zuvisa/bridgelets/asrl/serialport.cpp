#include "zuvisa/bridgelets/asrl/serialport.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "zuvisa/bridgelets/sysfs/sysfs.h"

namespace zuvisa::asrl {

namespace {

constexpr uint16_t kParityError = 0x100;
constexpr uint16_t kFramingError = 0x200;
// How often the modem lines of a port that reports them are looked at, and how long a waiting
// call sleeps before it looks at its cancel flag again.
constexpr int kLinePollMs = 20;
constexpr auto kSlice = std::chrono::milliseconds(50);

ViStatus openError(int e) {
    switch (e) {
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case ENOTDIR: return VI_ERROR_RSRC_NFOUND;
    case EACCES:
    case EPERM:
    case EROFS: return VI_ERROR_NPERMISSION;
    case EBUSY: return VI_ERROR_RSRC_BUSY;
    default: return VI_ERROR_SYSTEM_ERROR;
    }
}

// Whether another running program announced the port in a lock file.
bool lockedByOtherProgram(const std::string& device, const std::string& lockDirectory) {
    if (lockDirectory.empty()) return false;
    std::string name = sysfs::lastComponent(sysfs::resolvePath(device));
    if (name.empty()) return false;
    std::string content;
    if (!sysfs::readAttribute(lockDirectory + "/LCK.." + name, &content, 64)) return false;
    long pid = sysfs::lockFilePid(content);
    if (pid <= 0 || pid == getpid()) return false;
    return kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}

// A rate within 3 % of the one asked for still talks to a device; beyond that the driver
// could not make it.
bool rateMatches(uint32_t asked, uint32_t got) {
    uint64_t a = asked, g = got;
    uint64_t diff = a > g ? a - g : g - a;
    return diff * 100 <= a * 3;
}

Clock::time_point sliceEnd(const IoControl& io) {
    Clock::time_point next = Clock::now() + kSlice;
    return io.infinite ? next : std::min(next, io.deadline);
}

int msUntil(const IoControl& io) {
    auto end = sliceEnd(io);
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return ms < 1 ? 1 : static_cast<int>(ms);
}

}  // namespace

ViStatus SerialPort::open(const std::string& device, const std::string& lockDirectory,
                          std::shared_ptr<SerialPort>* out) {
    if (lockedByOtherProgram(device, lockDirectory)) return VI_ERROR_RSRC_BUSY;
    int fd = ::open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return openError(errno);
    if (!isatty(fd)) {
        ::close(fd);
        return VI_ERROR_RSRC_NFOUND;
    }
    // Programs that take serial ports for themselves lock them with flock(); TIOCEXCL keeps
    // out those that do not (unless they run as the superuser).
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        int e = errno;
        ::close(fd);
        return e == EWOULDBLOCK ? VI_ERROR_RSRC_BUSY : VI_ERROR_SYSTEM_ERROR;
    }
    tty::makeExclusive(fd);
    if (tty::configureRaw(fd) != 0) {
        ::close(fd);
        return VI_ERROR_SYSTEM_ERROR;
    }
    std::shared_ptr<SerialPort> port(new SerialPort(device, fd));
    {
        std::lock_guard<std::mutex> lock(port->m_);
        // A session starts at 9600 baud, 8 data bits, no parity, one stop bit, no handshake;
        // a port that cannot be set so keeps what it has, and says so in its attributes.
        if (port->applyLocked(PortSettings{}) < 0) {
            tty::LineSettings now;
            if (tty::readSettings(fd, &now) == 0) {
                port->settings_.line = now;
                port->settings_.flow = now.rtsCts ? VI_ASRL_FLOW_RTS_CTS : now.xonXoff ? VI_ASRL_FLOW_XON_XOFF : VI_ASRL_FLOW_NONE;
            }
        }
        int lines = 0;
        port->linesKnown_ = tty::modemLines(fd, &lines) == 0;
        port->lines_ = lines;
        port->countersKnown_ = tty::counters(fd, &port->counters_) == 0;
        if (port->linesKnown_) {
            tty::setModemLine(fd, tty::kDtr, true);
            tty::setModemLine(fd, tty::kRts, true);
        }
    }
    // What came in before anyone listened belongs to no session.
    tty::discard(fd, true, false);
    port->start();
    if (port->wakeFd_ < 0) return VI_ERROR_SYSTEM_ERROR;
    *out = std::move(port);
    return VI_SUCCESS;
}

SerialPort::SerialPort(std::string device, int fd) : device_(std::move(device)), fd_(fd) {}

SerialPort::~SerialPort() {
    stop_ = true;
    wake();
    if (reader_.joinable()) reader_.join();
    if (wakeFd_ >= 0) ::close(wakeFd_);
    // The flag outlives this descriptor where the kernel keeps the tty (pseudo-terminals).
    tty::releaseExclusive(fd_);
    ::close(fd_);
}

void SerialPort::start() {
    wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeFd_ < 0) return;
    reader_ = std::thread([this] { readerLoop(); });
}

void SerialPort::wake() {
    if (wakeFd_ < 0) return;
    uint64_t one = 1;
    ssize_t n = ::write(wakeFd_, &one, sizeof one);
    (void)n;
}

// ---- the reader thread -----------------------------------------------------------------------

void SerialPort::readerLoop() {
    std::vector<uint8_t> chunk(4096);
    bool hangupSeen = false;
    while (!stop_) {
        size_t room;
        {
            std::lock_guard<std::mutex> lock(m_);
            room = input_.size() < capacity_ ? capacity_ - input_.size() : 0;
        }
        // With the buffer full the port is left alone (a hangup would wake us for nothing).
        bool watchPort = room > 0 || !hangupSeen;
        pollfd fds[2] = {{watchPort ? fd_ : -1, static_cast<short>(room ? POLLIN : 0), 0},
                         {wakeFd_, POLLIN, 0}};
        int rc = poll(fds, 2, linesKnown_ ? kLinePollMs : -1);
        if (stop_) return;
        if (rc < 0 && errno != EINTR) {
            hangUp();
            return;
        }
        if (fds[1].revents & POLLIN) {
            uint64_t v;
            ssize_t n = ::read(wakeFd_, &v, sizeof v);
            (void)n;
        }
        short ev = fds[0].revents;
        if (ev & POLLNVAL) {
            hangUp();
            return;
        }
        if (room == 0 && (ev & (POLLHUP | POLLERR))) hangupSeen = true;
        if (room > 0 && (ev & (POLLIN | POLLHUP | POLLERR))) {
            // Decoded data is never longer than what was read, so the buffer cannot overfill.
            ssize_t n = ::read(fd_, chunk.data(), std::min(room, chunk.size()));
            if (n > 0) {
                take(chunk.data(), static_cast<size_t>(n));
            } else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
                hangUp();
                return;
            }
        }
        if (linesKnown_) watchLines();
    }
}

void SerialPort::take(const uint8_t* bytes, size_t count) {
    std::vector<uint8_t> arrived;
    std::vector<ViEventType> events;
    arrived.reserve(count);
    {
        std::lock_guard<std::mutex> lock(m_);
        std::vector<MarkedInput::Item> items;
        decoder_.feed(bytes, count, &items);
        uint16_t errorKind = 0;
        for (const MarkedInput::Item& item : items) {
            switch (item.kind) {
            case MarkedInput::Kind::Data:
                input_.push_back(item.byte);
                arrived.push_back(item.byte);
                break;
            case MarkedInput::Kind::BadByte:
                if (!errorKind) {
                    // The driver's counters tell a parity error from a framing error.
                    tty::Counters c;
                    bool parity = settings_.line.parity != VI_ASRL_PAR_NONE;
                    if (countersKnown_ && tty::counters(fd_, &c) == 0) {
                        parity = c.parity != counters_.parity;
                        counters_.parity = c.parity;
                        counters_.frame = c.frame;
                    }
                    errorKind = parity ? kParityError : kFramingError;
                }
                input_.push_back(static_cast<uint16_t>(item.byte | errorKind));
                arrived.push_back(item.byte);
                break;
            case MarkedInput::Kind::Break: events.push_back(VI_EVENT_ASRL_BREAK); break;
            }
        }
        handshakeInputLocked();
    }
    arrived_.notify_all();
    notify(arrived, events);
}

void SerialPort::watchLines() {
    std::vector<ViEventType> events;
    {
        std::lock_guard<std::mutex> lock(m_);
        tty::Counters c;
        if (countersKnown_ && tty::counters(fd_, &c) == 0) {
            // Counts catch transitions quicker than a look every few milliseconds would.
            auto changes = [&](uint32_t now, uint32_t before, ViEventType type) {
                for (uint32_t n = std::min<uint32_t>(now - before, 4); n > 0; --n) events.push_back(type);
            };
            changes(c.cts, counters_.cts, VI_EVENT_ASRL_CTS);
            changes(c.dsr, counters_.dsr, VI_EVENT_ASRL_DSR);
            changes(c.dcd, counters_.dcd, VI_EVENT_ASRL_DCD);
            changes(c.ring, counters_.ring, VI_EVENT_ASRL_RI);
            if (c.overrun != counters_.overrun || c.bufferOverrun != counters_.bufferOverrun) overrun_ = true;
            c.parity = counters_.parity;  // taken when the marked bytes arrive
            c.frame = counters_.frame;
            counters_ = c;
        } else {
            int lines = 0;
            if (tty::modemLines(fd_, &lines) == 0) {
                int changed = lines ^ lines_;
                if (changed & tty::kCts) events.push_back(VI_EVENT_ASRL_CTS);
                if (changed & tty::kDsr) events.push_back(VI_EVENT_ASRL_DSR);
                if (changed & tty::kDcd) events.push_back(VI_EVENT_ASRL_DCD);
                // A ring ends on the trailing edge of RI.
                if ((changed & tty::kRi) && !(lines & tty::kRi)) events.push_back(VI_EVENT_ASRL_RI);
                lines_ = lines;
            }
        }
    }
    if (!events.empty()) notify({}, events);
}

void SerialPort::hangUp() {
    {
        std::lock_guard<std::mutex> lock(m_);
        connected_ = false;
    }
    arrived_.notify_all();
}

void SerialPort::notify(const std::vector<uint8_t>& bytes, const std::vector<ViEventType>& events) {
    if (bytes.empty() && events.empty()) return;
    std::lock_guard<std::mutex> lock(listenersMutex_);
    for (PortListener* l : listeners_) {
        if (!bytes.empty()) l->received(bytes.data(), bytes.size());
        for (ViEventType e : events) l->signal(e);
    }
}

void SerialPort::attach(PortListener* listener) {
    std::lock_guard<std::mutex> lock(listenersMutex_);
    listeners_.push_back(listener);
}

void SerialPort::detach(PortListener* listener) {
    std::lock_guard<std::mutex> lock(listenersMutex_);
    listeners_.erase(std::remove(listeners_.begin(), listeners_.end(), listener), listeners_.end());
}

// With m_ held: under the DTR/DSR handshake DTR tells the other side whether we take more.
void SerialPort::handshakeInputLocked() {
    if (settings_.flow != VI_ASRL_FLOW_DTR_DSR || !linesKnown_) return;
    if (!dtrHeldByUs_ && input_.size() >= capacity_ - capacity_ / 4) {
        tty::setModemLine(fd_, tty::kDtr, false);
        dtrHeldByUs_ = true;
    } else if (dtrHeldByUs_ && input_.size() <= capacity_ / 4) {
        tty::setModemLine(fd_, tty::kDtr, true);
        dtrHeldByUs_ = false;
    }
}

// ---- settings --------------------------------------------------------------------------------

PortSettings SerialPort::settings() const {
    std::lock_guard<std::mutex> lock(m_);
    return settings_;
}

ViStatus SerialPort::change(const std::function<void(PortSettings&)>& edit) {
    std::lock_guard<std::mutex> lock(m_);
    PortSettings next = settings_;
    edit(next);
    return applyLocked(next);
}

ViStatus SerialPort::applyLocked(const PortSettings& next) {
    const tty::LineSettings& l = next.line;
    if (next.flow == VI_ASRL_FLOW_DTR_DSR && !linesKnown_) return VI_ERROR_NSUP_ATTR_STATE;
    // One and a half stop bits exist only with five data bits, two only with more.
    if (l.stopBits == VI_ASRL_STOP_ONE5 && l.dataBits != 5) return VI_ERROR_NSUP_ATTR_STATE;
    if (l.stopBits == VI_ASRL_STOP_TWO && l.dataBits == 5) return VI_ERROR_NSUP_ATTR_STATE;
    tty::LineSettings wanted = l;
    wanted.rtsCts = next.flow == VI_ASRL_FLOW_RTS_CTS;
    wanted.xonXoff = next.flow == VI_ASRL_FLOW_XON_XOFF;
    uint32_t actual = 0;
    int e = tty::applySettings(fd_, wanted, &actual);
    if (e != 0 || !rateMatches(wanted.baud, actual)) {
        tty::LineSettings old = settings_.line;
        old.rtsCts = settings_.flow == VI_ASRL_FLOW_RTS_CTS;
        old.xonXoff = settings_.flow == VI_ASRL_FLOW_XON_XOFF;
        tty::applySettings(fd_, old, nullptr);
        if (e == EIO || e == ENODEV || e == ENXIO) return VI_ERROR_CONN_LOST;
        return VI_ERROR_NSUP_ATTR_STATE;
    }
    if (settings_.flow == VI_ASRL_FLOW_DTR_DSR && next.flow != VI_ASRL_FLOW_DTR_DSR && dtrHeldByUs_) {
        tty::setModemLine(fd_, tty::kDtr, dtr_);
        dtrHeldByUs_ = false;
    }
    settings_ = next;
    handshakeInputLocked();
    return VI_SUCCESS;
}

// ---- reading and writing ---------------------------------------------------------------------

ViStatus SerialPort::read(uint8_t* buf, size_t count, const ReadSpec& spec, const IoControl& io,
                          size_t* done) {
    *done = 0;
    std::lock_guard<std::mutex> reading(readMutex_);
    std::unique_lock<std::mutex> lock(m_);
    if (overrun_) {
        overrun_ = false;
        return VI_ERROR_ASRL_OVERRUN;
    }
    const uint8_t top = static_cast<uint8_t>(1u << (settings_.line.dataBits - 1));
    // The reader stops at a full buffer; whoever makes room wakes it.
    bool madeRoom = false;
    ViStatus result = VI_SUCCESS_MAX_CNT;
    bool finished = false;
    while (!finished) {
        while (!input_.empty() && *done < count) {
            madeRoom |= input_.size() >= capacity_;
            uint16_t v = input_.front();
            input_.pop_front();
            uint8_t b = static_cast<uint8_t>(v & 0xFF);
            ViStatus error = (v & kParityError) ? VI_ERROR_ASRL_PARITY
                             : (v & kFramingError) ? VI_ERROR_ASRL_FRAMING
                                                   : VI_SUCCESS;
            if (error) b = spec.replaceChar;
            else if (spec.discardNull && b == 0) continue;
            buf[(*done)++] = b;
            if (error) result = error;
            else if (spec.termCharEnabled && b == spec.termChar) result = VI_SUCCESS_TERM_CHAR;
            else if (spec.lastBit && (b & top)) result = VI_SUCCESS;
            else continue;
            finished = true;
            break;
        }
        if (finished || *done == count) break;
        if (!connected_) result = VI_ERROR_CONN_LOST;
        else if (io.cancelled()) result = VI_ERROR_ABORT;
        else if (io.expired()) result = VI_ERROR_TMO;
        else {
            if (madeRoom) wake();
            madeRoom = false;
            arrived_.wait_until(lock, sliceEnd(io));
            continue;
        }
        break;
    }
    handshakeInputLocked();
    if (madeRoom) wake();
    return result;
}

ViStatus SerialPort::write(const uint8_t* buf, size_t count, const IoControl& io, size_t* done) {
    *done = 0;
    std::lock_guard<std::mutex> writing(writeMutex_);
    bool dtrDsr;
    {
        std::lock_guard<std::mutex> lock(m_);
        dtrDsr = settings_.flow == VI_ASRL_FLOW_DTR_DSR;
    }
    size_t off = 0;
    while (off < count) {
        if (!connected_) return VI_ERROR_CONN_LOST;
        if (io.cancelled()) return VI_ERROR_ABORT;
        size_t piece = count - off;
        if (dtrDsr) {
            // The other side holds us with DSR; looked at between small pieces.
            int lines = 0;
            if (tty::modemLines(fd_, &lines) == 0 && !(lines & tty::kDsr)) {
                if (io.expired()) return VI_ERROR_TMO;
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
                continue;
            }
            piece = std::min<size_t>(piece, 64);
        }
        ssize_t n = ::write(fd_, buf + off, piece);
        if (n > 0) {
            off += static_cast<size_t>(n);
            *done = off;
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno != EAGAIN) {
            if (errno == EIO || errno == ENODEV || errno == ENXIO) {
                hangUp();
                return VI_ERROR_CONN_LOST;
            }
            return VI_ERROR_IO;
        }
        if (io.expired()) return VI_ERROR_TMO;
        pollfd p{fd_, POLLOUT, 0};
        if (poll(&p, 1, msUntil(io)) > 0 && (p.revents & (POLLHUP | POLLERR | POLLNVAL)) &&
            !(p.revents & POLLOUT)) {
            hangUp();
            return VI_ERROR_CONN_LOST;
        }
    }
    return VI_SUCCESS;
}

ViStatus SerialPort::drainOutput(const IoControl& io) {
    for (;;) {
        size_t queued = 0;
        if (tty::outputQueued(fd_, &queued) != 0 || queued == 0) return VI_SUCCESS;
        if (!connected_) return VI_ERROR_CONN_LOST;
        if (io.cancelled()) return VI_ERROR_ABORT;
        if (io.expired()) return VI_ERROR_TMO;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

ViStatus SerialPort::sendBreak(int ms, const IoControl& io) {
    std::lock_guard<std::mutex> writing(writeMutex_);
    if (ViStatus st = drainOutput(io); st < 0) return st;
    if (tty::setBreak(fd_, true) != 0) return connected_ ? VI_ERROR_IO : VI_ERROR_CONN_LOST;
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    std::lock_guard<std::mutex> lock(m_);
    // A break held by the attribute stays on.
    if (!breakOn_) tty::setBreak(fd_, false);
    return VI_SUCCESS;
}

ViStatus SerialPort::setBreak(bool on) {
    std::lock_guard<std::mutex> lock(m_);
    if (tty::setBreak(fd_, on) != 0) return VI_ERROR_NSUP_ATTR_STATE;
    breakOn_ = on;
    return VI_SUCCESS;
}

bool SerialPort::breakOn() const {
    std::lock_guard<std::mutex> lock(m_);
    return breakOn_;
}

// ---- lines -----------------------------------------------------------------------------------

ViStatus SerialPort::setLine(int line, bool on) {
    std::lock_guard<std::mutex> lock(m_);
    if (!linesKnown_) return VI_ERROR_NSUP_ATTR_STATE;
    // Under a hardware handshake the line belongs to the handshake.
    if (line == tty::kRts && settings_.flow == VI_ASRL_FLOW_RTS_CTS) return VI_ERROR_NSUP_ATTR_STATE;
    if (line == tty::kDtr && settings_.flow == VI_ASRL_FLOW_DTR_DSR) return VI_ERROR_NSUP_ATTR_STATE;
    if (tty::setModemLine(fd_, line, on) != 0) return connected_ ? VI_ERROR_NSUP_ATTR_STATE : VI_ERROR_CONN_LOST;
    if (line == tty::kDtr) dtr_ = on;
    return VI_SUCCESS;
}

ViInt16 SerialPort::lineState(int line) {
    std::lock_guard<std::mutex> lock(m_);
    int lines = 0;
    if (!linesKnown_ || tty::modemLines(fd_, &lines) != 0) return VI_STATE_UNKNOWN;
    return (lines & line) ? VI_STATE_ASSERTED : VI_STATE_UNASSERTED;
}

ViStatus SerialPort::setAllowTransmit(bool allow) {
    std::lock_guard<std::mutex> lock(m_);
    if (tty::suspendOutput(fd_, !allow) != 0) return connected_ ? VI_ERROR_NSUP_ATTR_STATE : VI_ERROR_CONN_LOST;
    allowTransmit_ = allow;
    return VI_SUCCESS;
}

bool SerialPort::allowTransmit() const {
    std::lock_guard<std::mutex> lock(m_);
    return allowTransmit_;
}

ViStatus SerialPort::wireMode(ViInt16* mode) {
    tty::Rs485 r;
    // A port without an RS-485 mode is a plain RS-232 port, and the computer is its DTE.
    if (tty::getRs485(fd_, &r) != 0 || !r.enabled) *mode = VI_ASRL_WIRE_232_DTE;
    else *mode = r.receiveDuringSend ? VI_ASRL_WIRE_485_4 : VI_ASRL_WIRE_485_2_AUTO;
    return VI_SUCCESS;
}

ViStatus SerialPort::setWireMode(ViInt16 mode) {
    tty::Rs485 r;
    bool has485 = tty::getRs485(fd_, &r) == 0;
    switch (mode) {
    case VI_ASRL_WIRE_232_DTE:
        if (!has485 || !r.enabled) return VI_SUCCESS;
        r.enabled = false;
        break;
    case VI_ASRL_WIRE_485_4:
    case VI_ASRL_WIRE_485_2_AUTO:
        if (!has485) return VI_ERROR_NSUP_ATTR_STATE;
        r.enabled = true;
        r.rtsOnSend = true;
        r.receiveDuringSend = mode == VI_ASRL_WIRE_485_4;
        break;
    default: return VI_ERROR_NSUP_ATTR_STATE;
    }
    return tty::setRs485(fd_, r) == 0 ? VI_SUCCESS : VI_ERROR_NSUP_ATTR_STATE;
}

// ---- buffers ---------------------------------------------------------------------------------

size_t SerialPort::available() {
    size_t queued = 0;
    tty::inputQueued(fd_, &queued);
    std::lock_guard<std::mutex> lock(m_);
    return input_.size() + queued;
}

ViStatus SerialPort::discardInput() {
    {
        std::lock_guard<std::mutex> lock(m_);
        tty::discard(fd_, true, false);
        input_.clear();
        decoder_.reset();
        overrun_ = false;
        handshakeInputLocked();
    }
    wake();
    return connected_ ? VI_SUCCESS : VI_ERROR_CONN_LOST;
}

ViStatus SerialPort::discardOutput() {
    if (tty::discard(fd_, false, true) != 0 && !connected_) return VI_ERROR_CONN_LOST;
    return VI_SUCCESS;
}

void SerialPort::setInputCapacity(size_t bytes) {
    {
        std::lock_guard<std::mutex> lock(m_);
        capacity_ = std::max<size_t>(bytes, 1);
        handshakeInputLocked();
    }
    wake();
}

}  // namespace zuvisa::asrl

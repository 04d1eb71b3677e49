// The kernel's tty ioctls. This file includes the kernel's termios (for termios2) and so must
// not include <termios.h>.
#include "zuvisa/bridgelets/asrl/ttyio.h"

#include <asm/ioctls.h>
#include <asm/termios.h>
#include <linux/serial.h>

#include <cerrno>

// The C library's ioctl, declared here: <sys/ioctl.h> brings the C library's termios types.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept;

namespace zuvisa::asrl::tty {

namespace {

int call(int rc) { return rc < 0 ? errno : 0; }

// VISA's parity values.
constexpr uint16_t kParNone = 0, kParOdd = 1, kParEven = 2, kParMark = 3, kParSpace = 4;
constexpr uint16_t kStopOne5 = 15, kStopTwo = 20;

tcflag_t sizeFlag(uint16_t bits) {
    switch (bits) {
    case 5: return CS5;
    case 6: return CS6;
    case 7: return CS7;
    default: return CS8;
    }
}

}  // namespace

int configureRaw(int fd) {
    struct termios2 t;
    if (ioctl(fd, TCGETS2, &t) < 0) return errno;
    // INPCK with parity off still reports framing errors, which a wrong baud rate causes.
    t.c_iflag = INPCK | PARMRK;
    t.c_oflag = 0;
    t.c_lflag = 0;
    t.c_cflag |= CREAD | CLOCAL;
    // One byte wakes a reader; the descriptor is non-blocking, so read() returns 0 only on hangup.
    t.c_cc[VMIN] = 1;
    t.c_cc[VTIME] = 0;
    return call(ioctl(fd, TCSETS2, &t));
}

int applySettings(int fd, const LineSettings& s, uint32_t* actualBaud) {
    struct termios2 t;
    if (ioctl(fd, TCGETS2, &t) < 0) return errno;
    t.c_cflag &= ~(CBAUD | (CBAUD << IBSHIFT) | CSIZE | CSTOPB | PARENB | PARODD | CMSPAR | CRTSCTS);
    t.c_cflag |= BOTHER | (BOTHER << IBSHIFT) | sizeFlag(s.dataBits);
    t.c_ispeed = s.baud;
    t.c_ospeed = s.baud;
    if (s.stopBits == kStopTwo || s.stopBits == kStopOne5) t.c_cflag |= CSTOPB;
    switch (s.parity) {
    case kParOdd: t.c_cflag |= PARENB | PARODD; break;
    case kParEven: t.c_cflag |= PARENB; break;
    case kParMark: t.c_cflag |= PARENB | PARODD | CMSPAR; break;
    case kParSpace: t.c_cflag |= PARENB | CMSPAR; break;
    case kParNone:
    default: break;
    }
    if (s.rtsCts) t.c_cflag |= CRTSCTS;
    // The raw mode again as well: a program that shares the line (socat making a pty, say) may
    // have reset it, and the reader relies on marked input.
    t.c_cflag |= CREAD | CLOCAL;
    t.c_iflag = INPCK | PARMRK;
    t.c_oflag = 0;
    t.c_lflag = 0;
    if (s.xonXoff) t.c_iflag |= IXON | IXOFF;
    t.c_cc[VSTART] = s.xon;
    t.c_cc[VSTOP] = s.xoff;
    if (ioctl(fd, TCSETS2, &t) < 0) return errno;
    struct termios2 back;
    if (ioctl(fd, TCGETS2, &back) < 0) return errno;
    if (actualBaud) *actualBaud = back.c_ospeed;
    return 0;
}

int readSettings(int fd, LineSettings* s) {
    struct termios2 t;
    if (ioctl(fd, TCGETS2, &t) < 0) return errno;
    s->baud = t.c_ospeed;
    switch (t.c_cflag & CSIZE) {
    case CS5: s->dataBits = 5; break;
    case CS6: s->dataBits = 6; break;
    case CS7: s->dataBits = 7; break;
    default: s->dataBits = 8; break;
    }
    if (!(t.c_cflag & PARENB)) s->parity = kParNone;
    else if (t.c_cflag & CMSPAR) s->parity = (t.c_cflag & PARODD) ? kParMark : kParSpace;
    else s->parity = (t.c_cflag & PARODD) ? kParOdd : kParEven;
    s->stopBits = (t.c_cflag & CSTOPB) ? (s->dataBits == 5 ? kStopOne5 : kStopTwo) : 10;
    s->rtsCts = (t.c_cflag & CRTSCTS) != 0;
    s->xonXoff = (t.c_iflag & IXON) && (t.c_iflag & IXOFF);
    s->xon = t.c_cc[VSTART];
    s->xoff = t.c_cc[VSTOP];
    return 0;
}

int modemLines(int fd, int* lines) {
    int bits = 0;
    if (ioctl(fd, TIOCMGET, &bits) < 0) return errno;
    int out = 0;
    if (bits & TIOCM_DTR) out |= kDtr;
    if (bits & TIOCM_RTS) out |= kRts;
    if (bits & TIOCM_CTS) out |= kCts;
    if (bits & TIOCM_DSR) out |= kDsr;
    if (bits & TIOCM_CAR) out |= kDcd;
    if (bits & TIOCM_RNG) out |= kRi;
    *lines = out;
    return 0;
}

int setModemLine(int fd, int line, bool on) {
    int bit = line == kDtr ? TIOCM_DTR : TIOCM_RTS;
    return call(ioctl(fd, on ? TIOCMBIS : TIOCMBIC, &bit));
}

int setBreak(int fd, bool on) { return call(ioctl(fd, on ? TIOCSBRK : TIOCCBRK)); }

int counters(int fd, Counters* c) {
    struct serial_icounter_struct k {};
    if (ioctl(fd, TIOCGICOUNT, &k) < 0) return errno;
    c->cts = static_cast<uint32_t>(k.cts);
    c->dsr = static_cast<uint32_t>(k.dsr);
    c->ring = static_cast<uint32_t>(k.rng);
    c->dcd = static_cast<uint32_t>(k.dcd);
    c->frame = static_cast<uint32_t>(k.frame);
    c->overrun = static_cast<uint32_t>(k.overrun);
    c->parity = static_cast<uint32_t>(k.parity);
    c->brk = static_cast<uint32_t>(k.brk);
    c->bufferOverrun = static_cast<uint32_t>(k.buf_overrun);
    return 0;
}

int inputQueued(int fd, size_t* n) {
    int v = 0;
    if (ioctl(fd, FIONREAD, &v) < 0) return errno;
    *n = v > 0 ? static_cast<size_t>(v) : 0;
    return 0;
}

int outputQueued(int fd, size_t* n) {
    int v = 0;
    if (ioctl(fd, TIOCOUTQ, &v) < 0) return errno;
    *n = v > 0 ? static_cast<size_t>(v) : 0;
    return 0;
}

int discard(int fd, bool input, bool output) {
    if (!input && !output) return 0;
    int which = input && output ? TCIOFLUSH : (input ? TCIFLUSH : TCOFLUSH);
    return call(ioctl(fd, TCFLSH, which));
}

int suspendOutput(int fd, bool suspend) { return call(ioctl(fd, TCXONC, suspend ? TCOOFF : TCOON)); }

int makeExclusive(int fd) { return call(ioctl(fd, TIOCEXCL)); }
int releaseExclusive(int fd) { return call(ioctl(fd, TIOCNXCL)); }

int getRs485(int fd, Rs485* r) {
    struct serial_rs485 k {};
    if (ioctl(fd, TIOCGRS485, &k) < 0) return errno;
    r->enabled = k.flags & SER_RS485_ENABLED;
    r->rtsOnSend = k.flags & SER_RS485_RTS_ON_SEND;
    r->receiveDuringSend = k.flags & SER_RS485_RX_DURING_TX;
    return 0;
}

int setRs485(int fd, const Rs485& r) {
    struct serial_rs485 k {};
    if (ioctl(fd, TIOCGRS485, &k) < 0) return errno;
    k.flags &= ~static_cast<__u32>(SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND | SER_RS485_RTS_AFTER_SEND |
                                   SER_RS485_RX_DURING_TX);
    if (r.enabled) k.flags |= SER_RS485_ENABLED;
    // Driving the transmitter with RTS while sending, and releasing it afterwards.
    k.flags |= r.rtsOnSend ? SER_RS485_RTS_ON_SEND : SER_RS485_RTS_AFTER_SEND;
    if (r.receiveDuringSend) k.flags |= SER_RS485_RX_DURING_TX;
    return call(ioctl(fd, TIOCSRS485, &k));
}

}  // namespace zuvisa::asrl::tty

// The kernel's serial port interface (termios and the tty ioctls), behind plain functions with
// types of our own: the kernel's termios2, needed for arbitrary baud rates, cannot share a
// translation unit with the C library's termios. Every function returns 0 or an errno value.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zuvisa::asrl::tty {

// Line settings as VISA names them (parity and stop bits use the VI_ASRL_* values).
struct LineSettings {
    uint32_t baud = 9600;
    uint16_t dataBits = 8;
    uint16_t parity = 0;     // VI_ASRL_PAR_NONE
    uint16_t stopBits = 10;  // VI_ASRL_STOP_ONE
    bool rtsCts = false;     // hardware handshake by the driver
    bool xonXoff = false;    // software handshake by the line discipline, both ways
    uint8_t xon = 0x11, xoff = 0x13;
};

// Raw mode: no echo or line editing, no output processing, reads that return what is there,
// receiver on, modem status ignored for opening and reading, and errors marked in the data
// (a break as FF 00 00, a byte with a parity or framing error as FF 00 byte, FF as FF FF).
int configureRaw(int fd);
// Applies the settings; *actualBaud is the rate the driver took (drivers round to what their
// clock can make, and fall back when a rate is out of their range).
int applySettings(int fd, const LineSettings& s, uint32_t* actualBaud);
int readSettings(int fd, LineSettings* s);

// Modem lines, as bits of our own.
enum Line : int { kDtr = 1, kRts = 2, kCts = 4, kDsr = 8, kDcd = 16, kRi = 32 };
int modemLines(int fd, int* lines);
int setModemLine(int fd, int line, bool on);
int setBreak(int fd, bool on);

// Transition and error counts of the port's driver (not every driver keeps them).
struct Counters {
    uint32_t cts = 0, dsr = 0, ring = 0, dcd = 0;
    uint32_t frame = 0, overrun = 0, parity = 0, brk = 0, bufferOverrun = 0;
};
int counters(int fd, Counters* c);

int inputQueued(int fd, size_t* n);
int outputQueued(int fd, size_t* n);
int discard(int fd, bool input, bool output);
// Suspends or resumes transmission as an XOFF or XON from the other side would.
int suspendOutput(int fd, bool suspend);
// Refuses further opens of the port by other programs (the superuser excepted).
int makeExclusive(int fd);
int releaseExclusive(int fd);

// RS-485 mode of drivers that have one: ENOTTY when the port has none.
struct Rs485 {
    bool enabled = false;
    bool rtsOnSend = false;
    bool receiveDuringSend = false;
};
int getRs485(int fd, Rs485* r);
int setRs485(int fd, const Rs485& r);

}  // namespace zuvisa::asrl::tty

// The Linux usbtmc driver's interface to programs (/dev/usbtmcN), declared here from the
// driver's documentation: ioctl numbers, their argument structures, and the capability bits it
// reports. The layouts are the kernel's (packed, as it declares them).
#pragma once

#include <sys/ioctl.h>

#include <cstdint>

namespace zuvisa::usbtmc::tmc {

// One control transfer on the default pipe (viUsbControlIn and viUsbControlOut).
struct Request {
    uint8_t bRequestType;
    uint8_t bRequest;
    uint16_t wValue;
    uint16_t wIndex;
    uint16_t wLength;
} __attribute__((packed));

struct CtrlRequest {
    Request req;
    void* data;
} __attribute__((packed));

struct TermChar {
    uint8_t termChar;
    uint8_t enabled;
} __attribute__((packed));

// Raw bulk transfers without the class's message headers.
struct Message {
    uint32_t transferSize;
    uint32_t transferred;
    uint32_t flags;
    void* message;
} __attribute__((packed));

inline constexpr uint32_t kFlagAsync = 0x1;
inline constexpr uint32_t kFlagAppend = 0x2;
inline constexpr uint32_t kFlagIgnoreTrailer = 0x4;

inline constexpr unsigned kIocType = 91;

inline constexpr unsigned long kIndicatorPulse = _IO(kIocType, 1);
inline constexpr unsigned long kClear = _IO(kIocType, 2);
inline constexpr unsigned long kAbortBulkOut = _IO(kIocType, 3);
inline constexpr unsigned long kAbortBulkIn = _IO(kIocType, 4);
inline constexpr unsigned long kClearOutHalt = _IO(kIocType, 6);
inline constexpr unsigned long kClearInHalt = _IO(kIocType, 7);
inline constexpr unsigned long kCtrlRequest = _IOWR(kIocType, 8, CtrlRequest);
inline constexpr unsigned long kGetTimeout = _IOR(kIocType, 9, uint32_t);
inline constexpr unsigned long kSetTimeout = _IOW(kIocType, 10, uint32_t);
inline constexpr unsigned long kEomEnable = _IOW(kIocType, 11, uint8_t);
inline constexpr unsigned long kConfigTermChar = _IOW(kIocType, 12, TermChar);
inline constexpr unsigned long kWrite = _IOWR(kIocType, 13, Message);
inline constexpr unsigned long kRead = _IOWR(kIocType, 14, Message);
inline constexpr unsigned long kWriteResult = _IOWR(kIocType, 15, uint32_t);
inline constexpr unsigned long kApiVersion = _IOR(kIocType, 16, uint32_t);
inline constexpr unsigned long kGetCaps488 = _IOR(kIocType, 17, unsigned char);
inline constexpr unsigned long kReadStb488 = _IOR(kIocType, 18, unsigned char);
inline constexpr unsigned long kRenControl488 = _IOW(kIocType, 19, unsigned char);
inline constexpr unsigned long kGotoLocal488 = _IO(kIocType, 20);
inline constexpr unsigned long kLocalLockout488 = _IO(kIocType, 21);
inline constexpr unsigned long kTrigger488 = _IO(kIocType, 22);
inline constexpr unsigned long kWaitSrq488 = _IOW(kIocType, 23, uint32_t);
inline constexpr unsigned long kMsgInAttr = _IOR(kIocType, 24, uint8_t);
inline constexpr unsigned long kAutoAbort = _IOW(kIocType, 25, uint8_t);
inline constexpr unsigned long kGetStb = _IOR(kIocType, 26, uint8_t);
inline constexpr unsigned long kGetSrqStb = _IOR(kIocType, 27, uint8_t);
inline constexpr unsigned long kCancelIo = _IO(kIocType, 35);
inline constexpr unsigned long kCleanupIo = _IO(kIocType, 36);

// bmTransferAttributes of the last message read (kMsgInAttr).
inline constexpr uint8_t kAttrEom = 0x01;
inline constexpr uint8_t kAttrTermChar = 0x02;

// The USB488 capabilities as the driver encodes them (kGetCaps488).
inline constexpr uint8_t kCapTrigger = 1;
inline constexpr uint8_t kCapSimple = 2;  // REN control, go to local, local lockout
inline constexpr uint8_t kCap4882 = 4;
inline constexpr uint8_t kCapSr1 = 64;     // service requests

// The driver refuses timeouts below this (milliseconds).
inline constexpr uint32_t kMinTimeoutMs = 100;
// The interface's device_capabilities bit for a device that ends reads at a termination byte.
inline constexpr int kDeviceCapTermChar = 1;

}  // namespace zuvisa::usbtmc::tmc

// A stand-in for the kernel's usbtmc driver and the instruments behind it, loaded by the usbtmc
// bridgelet as its device layer ([usbtmc] DeviceLayer). It keeps the driver's rules: per open
// file a timeout (at least 100 ms), EOM on writes, a termination character only for devices
// that can end at one, the attributes of the last message read, service requests marked on
// every open file and shown to poll as POLLPRI, -ENODEV from everything once unplugged.
//
// The instrument: a message ending with EOM is one command. "*IDN?" answers its identity,
// "ECHO? text" answers the text, "BLOCK? n" answers n bytes and a newline, "SRQ" requests
// service with status byte 0x50; other commands are kept (fakeTmcLastCommand).
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

struct FakeTmcSpec {
    bool usb488 = true;         // status byte, trigger, REN (with simple capabilities)
    bool termChar = true;       // can end a transfer at a termination character
    size_t maxTransfer = 0;     // the most the device sends in one transfer (0: all it has)
    bool mute = false;          // never answers
    int openError = 0;          // open() fails with -openError
};

struct FakeTmcState {
    int ren = 0, lockouts = 0, gotoLocals = 0, triggers = 0, clears = 0;
    int lastEom = -1;            // EOM of the last write
    unsigned lastTimeoutMs = 0;  // the timeout the last transfer ran with
    uint8_t lastRequestType = 0, lastRequest = 0;
    uint16_t lastValue = 0, lastIndex = 0, lastLength = 0;
    size_t rawWritten = 0;
};

void fakeTmcReset();
void fakeTmcAddDevice(const char* node, const FakeTmcSpec* spec);
void fakeTmcServiceRequest(const char* node, uint8_t stb);
void fakeTmcUnplug(const char* node);
void fakeTmcSetStatusByte(const char* node, uint8_t stb);
// Raw bytes the device sends on its bulk-in pipe (RAW sessions).
void fakeTmcQueueRaw(const char* node, const void* bytes, size_t count);
bool fakeTmcState(const char* node, FakeTmcState* out);
// The last command that was not a query, NUL-terminated in buf.
void fakeTmcLastCommand(const char* node, char* buf, size_t size);
// Open files of the device.
int fakeTmcOpenFiles(const char* node);
}

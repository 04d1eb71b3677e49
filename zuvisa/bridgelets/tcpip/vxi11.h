// VXI-11 messages: the programs and procedures of the core, abort and interrupt channels, and
// the argument and result structures, encoded and decoded in XDR for both sides.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zuvisa/bridgelets/tcpip/xdr.h"
#include "zuvisa/visa.h"

namespace zuvisa::tcpip::vxi11 {

inline constexpr uint32_t kCoreProgram = 0x0607AF;
inline constexpr uint32_t kAbortProgram = 0x0607B0;
inline constexpr uint32_t kInterruptProgram = 0x0607B1;
inline constexpr uint32_t kVersion = 1;

enum Procedure : uint32_t {
    kAbort = 1,
    kCreateLink = 10,
    kWrite = 11,
    kRead = 12,
    kReadStb = 13,
    kTrigger = 14,
    kClear = 15,
    kRemote = 16,
    kLocal = 17,
    kLock = 18,
    kUnlock = 19,
    kEnableSrq = 20,
    kDoCmd = 22,
    kDestroyLink = 23,
    kCreateIntrChan = 25,
    kDestroyIntrChan = 26,
    kIntrSrq = 30,
};

enum Flags : uint32_t { kWaitLock = 1, kEnd = 8, kTermCharSet = 0x80 };
enum Reason : uint32_t { kReqCnt = 1, kChr = 2, kReasonEnd = 4 };

enum Error : int32_t {
    kNoError = 0,
    kSyntaxError = 1,
    kNotAccessible = 3,
    kInvalidLink = 4,
    kParameterError = 5,
    kNoChannel = 6,
    kNotSupported = 8,
    kOutOfResources = 9,
    kLocked = 11,
    kNoLock = 12,
    kIoTimeout = 15,
    kIoError = 17,
    kInvalidAddress = 21,
    kAborted = 23,
    kChannelEstablished = 29,
};

// The VISA status for a device error code of a reply.
ViStatus statusOf(int32_t error);
// The device error code a server answers for a VISA status of its instrument.
int32_t errorOf(ViStatus status);

// Longest device name and SRQ handle the protocol allows.
inline constexpr size_t kMaxDeviceName = 256;
inline constexpr size_t kMaxHandle = 40;

struct CreateLinkParms {
    int32_t clientId = 0;
    bool lockDevice = false;
    uint32_t lockTimeout = 0;
    std::string device;
};
struct CreateLinkResp {
    int32_t error = 0;
    int32_t lid = 0;
    uint32_t abortPort = 0;
    uint32_t maxRecvSize = 0;
};
struct WriteParms {
    int32_t lid = 0;
    uint32_t ioTimeout = 0, lockTimeout = 0, flags = 0;
    std::string_view data;  // points into the caller's buffer or the decoded record
};
struct WriteResp {
    int32_t error = 0;
    uint32_t size = 0;
};
struct ReadParms {
    int32_t lid = 0;
    uint32_t requestSize = 0, ioTimeout = 0, lockTimeout = 0, flags = 0;
    uint8_t termChar = 0;
};
struct ReadResp {
    int32_t error = 0;
    uint32_t reason = 0;
    std::string_view data;
};
struct GenericParms {
    int32_t lid = 0;
    uint32_t flags = 0, lockTimeout = 0, ioTimeout = 0;
};
struct LockParms {
    int32_t lid = 0;
    uint32_t flags = 0, lockTimeout = 0;
};
struct EnableSrqParms {
    int32_t lid = 0;
    bool enable = false;
    std::string handle;
};
struct RemoteFunc {
    uint32_t hostAddr = 0, hostPort = 0, progNum = 0, progVers = 0, progFamily = 0;
};

void encode(XdrWriter& w, const CreateLinkParms& p);
void encode(XdrWriter& w, const CreateLinkResp& p);
void encode(XdrWriter& w, const WriteParms& p);
void encode(XdrWriter& w, const WriteResp& p);
void encode(XdrWriter& w, const ReadParms& p);
void encode(XdrWriter& w, const ReadResp& p);
void encode(XdrWriter& w, const GenericParms& p);
void encode(XdrWriter& w, const LockParms& p);
void encode(XdrWriter& w, const EnableSrqParms& p);
void encode(XdrWriter& w, const RemoteFunc& p);

// Each decoder returns r.ok() after reading; maxData bounds opaque data.
bool decode(XdrReader& r, CreateLinkParms* p);
bool decode(XdrReader& r, CreateLinkResp* p);
bool decode(XdrReader& r, WriteParms* p, size_t maxData);
bool decode(XdrReader& r, WriteResp* p);
bool decode(XdrReader& r, ReadParms* p);
bool decode(XdrReader& r, ReadResp* p, size_t maxData);
bool decode(XdrReader& r, GenericParms* p);
bool decode(XdrReader& r, LockParms* p);
bool decode(XdrReader& r, EnableSrqParms* p);
bool decode(XdrReader& r, RemoteFunc* p);

}  // namespace zuvisa::tcpip::vxi11

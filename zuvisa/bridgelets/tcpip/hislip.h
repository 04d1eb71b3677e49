// HiSLIP messages: the 16-byte header (prologue "HS", type, control code, parameter, payload
// length), the message types and the codes both sides use.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zuvisa::tcpip::hislip {

inline constexpr uint16_t kDefaultPort = 4880;
inline constexpr uint16_t kVersion = 0x0200;  // 2.0
inline constexpr uint16_t kVendor = ('Z' << 8) | 'U';
inline constexpr size_t kHeaderSize = 16;
inline constexpr uint32_t kFirstMessageId = 0xFFFFFF00u;

enum Type : uint8_t {
    kInitialize = 0,
    kInitializeResponse = 1,
    kFatalError = 2,
    kError = 3,
    kAsyncLock = 4,
    kAsyncLockResponse = 5,
    kData = 6,
    kDataEnd = 7,
    kDeviceClearComplete = 8,
    kDeviceClearAcknowledge = 9,
    kAsyncRemoteLocalControl = 10,
    kAsyncRemoteLocalResponse = 11,
    kTrigger = 12,
    kInterrupted = 13,
    kAsyncInterrupted = 14,
    kAsyncMaximumMessageSize = 15,
    kAsyncMaximumMessageSizeResponse = 16,
    kAsyncInitialize = 17,
    kAsyncInitializeResponse = 18,
    kAsyncDeviceClear = 19,
    kAsyncServiceRequest = 20,
    kAsyncStatusQuery = 21,
    kAsyncStatusResponse = 22,
    kAsyncDeviceClearAcknowledge = 23,
    kAsyncLockInfo = 24,
    kAsyncLockInfoResponse = 25,
    kLastKnownType = 35,  // up to the 2.0 security messages, which we refuse
};

enum FatalCode : uint8_t {
    kFatalUnidentified = 0,
    kFatalBadHeader = 1,
    kFatalNoChannelPair = 2,
    kFatalInvalidInit = 3,
    kFatalMaxClients = 4,
};
enum ErrorCode : uint8_t {
    kErrorUnidentified = 0,
    kErrorBadType = 1,
    kErrorBadControl = 2,
    kErrorBadVendor = 3,
    kErrorOversized = 4,
};
// AsyncLockResponse control codes.
enum LockResult : uint8_t {
    kLockFailure = 0,
    kLockSuccess = 1,
    kLockSharedReleased = 2,
    kLockError = 3
};

struct Header {
    uint8_t type = 0;
    uint8_t control = 0;
    uint32_t parameter = 0;
    uint64_t length = 0;
};

void encodeHeader(const Header& h, uint8_t out[kHeaderSize]);
// False when the bytes do not start with "HS" or name no known message type.
bool decodeHeader(const uint8_t in[kHeaderSize], Header* h);

}  // namespace zuvisa::tcpip::hislip

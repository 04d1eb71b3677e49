// ONC RPC version 2 messages (calls and replies with AUTH_NONE) and record marking on TCP, for
// both sides: the VXI-11 client of the bridgelet and the servers of zusimd.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/tcpip/net.h"
#include "zuvisa/bridgelets/tcpip/xdr.h"

namespace zuvisa::tcpip::rpc {

inline constexpr uint32_t kPortmapProgram = 100000;
inline constexpr uint32_t kPortmapVersion = 2;
inline constexpr uint32_t kPortmapGetPort = 3;
inline constexpr uint32_t kRpcbindGetAddr = 3;  // versions 3 and 4
inline constexpr uint32_t kIpProtoTcp = 6;
inline constexpr uint32_t kIpProtoUdp = 17;

// Largest record either side accepts: a VXI-11 read or write carries at most what the link
// negotiated (we ask for and offer 1 MiB), plus headers.
inline constexpr size_t kMaxRecord = (1u << 20) + 4096;
// Longest credential or verifier body RPC allows.
inline constexpr size_t kMaxAuth = 400;

enum AcceptStat : uint32_t {
    kSuccess = 0,
    kProgUnavail = 1,
    kProgMismatch = 2,
    kProcUnavail = 3,
    kGarbageArgs = 4,
    kSystemErr = 5
};

struct Call {
    uint32_t xid = 0, program = 0, version = 0, procedure = 0;
};

// A call message: header, AUTH_NONE credential and verifier, then the arguments.
std::vector<uint8_t> encodeCall(const Call& call, const std::vector<uint8_t>& args);
// Decodes a call's header; the reader is left at the arguments. False for anything that is
// not a version-2 call.
bool decodeCall(XdrReader& r, Call* call);

// An accepted reply with the given status; results follow for kSuccess, the supported version
// range for kProgMismatch.
std::vector<uint8_t> encodeReply(uint32_t xid, AcceptStat stat, const std::vector<uint8_t>& results,
                                 uint32_t low = 0, uint32_t high = 0);

// Checks a reply to call xid and leaves the reader at the results. VI_SUCCESS, VI_ERROR_IO for
// a reply the server refused (with the reason in *why), kMalformedReply for one that is not
// a reply to this call.
ViStatus decodeReply(XdrReader& r, uint32_t xid, std::string* why);

// Record marking on a stream socket. readRecord joins fragments up to maxSize bytes; a longer
// record, or a fragment marked empty without end, is kMalformedReply.
ViStatus writeRecord(int fd, const std::vector<uint8_t>& body, const IoControl& io);
ViStatus readRecord(int fd, size_t maxSize, const IoControl& io, std::vector<uint8_t>* out);
ViStatus readRecord(StreamReader& in, size_t maxSize, const IoControl& io, std::vector<uint8_t>* out);

// One call and its reply on a connected stream socket: the reply body in *reply, the reader
// to use positioned by decodeReply.
ViStatus callTcp(int fd, const Call& call, const std::vector<uint8_t>& args, const IoControl& io,
                 std::vector<uint8_t>* reply, std::string* why);
// The same, with replies read through the connection's own reader.
ViStatus callTcp(StreamReader& in, const Call& call, const std::vector<uint8_t>& args, const IoControl& io,
                 std::vector<uint8_t>* reply, std::string* why);

// A fresh transaction id.
uint32_t nextXid();

}  // namespace zuvisa::tcpip::rpc

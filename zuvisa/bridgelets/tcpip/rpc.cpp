#include "zuvisa/bridgelets/tcpip/rpc.h"

#include <atomic>
#include <chrono>

#include "zuvisa/bridgelets/tcpip/net.h"

namespace zuvisa::tcpip::rpc {

namespace {

constexpr uint32_t kCall = 0, kReply = 1;
constexpr uint32_t kAccepted = 0, kDenied = 1;
constexpr uint32_t kRpcVersion = 2;
constexpr uint32_t kLastFragment = 0x80000000u;

const char* acceptText(uint32_t stat) {
    switch (stat) {
        case kProgUnavail:
            return "program unavailable";
        case kProgMismatch:
            return "program version mismatch";
        case kProcUnavail:
            return "procedure unavailable";
        case kGarbageArgs:
            return "garbage arguments";
        case kSystemErr:
            return "system error";
        default:
            return "unknown accept status";
    }
}

}  // namespace

uint32_t nextXid() {
    static std::atomic<uint32_t> next{static_cast<uint32_t>(
        std::chrono::steady_clock::now().time_since_epoch().count() & 0x7FFFFFFF)};
    return next.fetch_add(1);
}

std::vector<uint8_t> encodeCall(const Call& c, const std::vector<uint8_t>& args) {
    XdrWriter w;
    w.bytes().reserve(40 + args.size());
    w.u32(c.xid);
    w.u32(kCall);
    w.u32(kRpcVersion);
    w.u32(c.program);
    w.u32(c.version);
    w.u32(c.procedure);
    w.u32(0);  // credential: AUTH_NONE, empty
    w.u32(0);
    w.u32(0);  // verifier: AUTH_NONE, empty
    w.u32(0);
    w.bytes().insert(w.bytes().end(), args.begin(), args.end());
    return std::move(w.bytes());
}

bool decodeCall(XdrReader& r, Call* c) {
    c->xid = r.u32();
    if (r.u32() != kCall || r.u32() != kRpcVersion) return false;
    c->program = r.u32();
    c->version = r.u32();
    c->procedure = r.u32();
    for (int i = 0; i < 2; ++i) {  // credential and verifier: any flavour, ignored
        r.u32();
        r.opaque(kMaxAuth);
    }
    return r.ok();
}

std::vector<uint8_t> encodeReply(uint32_t xid, AcceptStat stat, const std::vector<uint8_t>& results,
                                 uint32_t low, uint32_t high) {
    XdrWriter w;
    w.bytes().reserve(24 + results.size());
    w.u32(xid);
    w.u32(kReply);
    w.u32(kAccepted);
    w.u32(0);  // verifier: AUTH_NONE
    w.u32(0);
    w.u32(stat);
    if (stat == kSuccess) w.bytes().insert(w.bytes().end(), results.begin(), results.end());
    if (stat == kProgMismatch) {
        w.u32(low);
        w.u32(high);
    }
    return std::move(w.bytes());
}

ViStatus decodeReply(XdrReader& r, uint32_t xid, std::string* why) {
    uint32_t gotXid = r.u32();
    uint32_t type = r.u32();
    if (!r.ok() || type != kReply || gotXid != xid) {
        if (why) *why = "not a reply to the call";
        return kMalformedReply;
    }
    uint32_t stat = r.u32();
    if (stat == kDenied) {
        if (why) *why = "call denied by the server";
        return r.ok() ? VI_ERROR_IO : kMalformedReply;
    }
    if (stat != kAccepted) {
        if (why) *why = "malformed reply";
        return kMalformedReply;
    }
    r.u32();
    r.opaque(kMaxAuth);
    uint32_t accept = r.u32();
    if (!r.ok()) {
        if (why) *why = "truncated reply";
        return kMalformedReply;
    }
    if (accept != kSuccess) {
        if (why) *why = acceptText(accept);
        return VI_ERROR_IO;
    }
    return VI_SUCCESS;
}

ViStatus writeRecord(int fd, const std::vector<uint8_t>& body, const IoControl& io) {
    uint32_t mark = kLastFragment | static_cast<uint32_t>(body.size());
    uint8_t head[4] = {static_cast<uint8_t>(mark >> 24), static_cast<uint8_t>(mark >> 16),
                       static_cast<uint8_t>(mark >> 8), static_cast<uint8_t>(mark)};
    return sendTwo(fd, head, 4, body.data(), body.size(), io);
}

ViStatus readRecord(StreamReader& in, size_t maxSize, const IoControl& io, std::vector<uint8_t>* out) {
    out->clear();
    for (;;) {
        uint8_t head[4];
        ViStatus st = in.readExact(head, 4, io);
        if (st < 0) return st;
        uint32_t mark = (uint32_t{head[0]} << 24) | (uint32_t{head[1]} << 16) |
                        (uint32_t{head[2]} << 8) | head[3];
        size_t len = mark & ~kLastFragment;
        if (len > maxSize - out->size() || (len == 0 && !(mark & kLastFragment)))
            return kMalformedReply;
        size_t at = out->size();
        out->resize(at + len);
        st = in.readExact(out->data() + at, len, io);
        if (st < 0) return st;
        if (mark & kLastFragment) return VI_SUCCESS;
    }
}

ViStatus readRecord(int fd, size_t maxSize, const IoControl& io, std::vector<uint8_t>* out) {
    StreamReader direct(fd, 0);  // nothing read beyond the record
    return readRecord(direct, maxSize, io, out);
}

ViStatus callTcp(StreamReader& in, const Call& call, const std::vector<uint8_t>& args, const IoControl& io,
                 std::vector<uint8_t>* reply, std::string* why) {
    ViStatus st = writeRecord(in.fd(), encodeCall(call, args), io);
    if (st < 0) return st;
    // A late reply to an earlier, abandoned call is skipped.
    for (;;) {
        st = readRecord(in, kMaxRecord, io, reply);
        if (st < 0) return st;
        XdrReader peek(reply->data(), reply->size());
        uint32_t xid = peek.u32();
        if (xid == call.xid || peek.u32() != kReply || !peek.ok()) break;  // decodeReply judges it
    }
    XdrReader r(reply->data(), reply->size());
    st = decodeReply(r, call.xid, why);
    if (st < 0) return st;
    // Hand back only the results.
    size_t used = reply->size() - r.remaining();
    reply->erase(reply->begin(), reply->begin() + static_cast<std::ptrdiff_t>(used));
    return VI_SUCCESS;
}

ViStatus callTcp(int fd, const Call& call, const std::vector<uint8_t>& args, const IoControl& io,
                 std::vector<uint8_t>* reply, std::string* why) {
    StreamReader direct(fd, 0);
    return callTcp(direct, call, args, io, reply, why);
}

}  // namespace zuvisa::tcpip::rpc

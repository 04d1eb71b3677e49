// TCPIP INSTR over VXI-11: the portmapper tells the core channel's port; the link's calls go
// over the core channel, viTerminate goes over the abort channel, and service requests come
// back over the interrupt channel to the bridgelet's SrqServer.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <cstring>
#include <random>

#include "zuvisa/bridgelets/tcpip/links.h"
#include "zuvisa/bridgelets/tcpip/net.h"
#include "zuvisa/bridgelets/tcpip/rpc.h"
#include "zuvisa/bridgelets/tcpip/srqserver.h"
#include "zuvisa/bridgelets/tcpip/vxi11.h"

namespace zuvisa::tcpip {

namespace {

using namespace vxi11;

// A server answers an I/O call once its own io_timeout passed: allow it this much longer.
constexpr ViUInt32 kReplyGraceMs = 1000;
// Calls without an I/O time of their own (create, destroy, lock bookkeeping).
constexpr ViUInt32 kControlMs = 5000;
// The largest read asked for at once, so that a reply fits a record.
constexpr uint32_t kMaxReadChunk = 1u << 20;

uint32_t msLeft(const IoControl& io) {
    if (io.infinite) return 0x7FFFFFFF;
    auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(io.deadline - Clock::now()).count();
    return ms > 0 ? static_cast<uint32_t>(ms) : 0;
}

IoControl withGrace(const IoControl& io) {
    IoControl c = io;
    if (!c.infinite) c.deadline += std::chrono::milliseconds(kReplyGraceMs);
    return c;
}

// Asks the portmapper at host for the port of program/version over TCP.
ViStatus getPort(const std::vector<Endpoint>& host, uint16_t pmPort, uint32_t program,
                 uint32_t version, const IoControl& io, uint16_t* port, std::string* why) {
    std::vector<Endpoint> pm = host;
    for (Endpoint& e : pm) {
        if (e.family() == AF_INET)
            reinterpret_cast<sockaddr_in*>(&e.addr)->sin_port = htons(pmPort);
        else
            reinterpret_cast<sockaddr_in6*>(&e.addr)->sin6_port = htons(pmPort);
    }
    Fd fd;
    ViStatus st = connectTo(pm, io, &fd, why);
    if (st < 0) {
        if (why) *why = "portmapper: " + *why;
        return st;
    }
    XdrWriter args;
    args.u32(program);
    args.u32(version);
    args.u32(rpc::kIpProtoTcp);
    args.u32(0);
    std::vector<uint8_t> reply;
    st = rpc::callTcp(
        fd.get(),
        {rpc::nextXid(), rpc::kPortmapProgram, rpc::kPortmapVersion, rpc::kPortmapGetPort},
        args.bytes(), io, &reply, why);
    if (st < 0) {
        if (why && st == VI_ERROR_TMO) *why = "portmapper: no answer";
        return st;
    }
    XdrReader r(reply.data(), reply.size());
    uint32_t p = r.u32();
    if (!r.ok() || p > 0xFFFF) {
        if (why) *why = "portmapper: malformed reply";
        return kMalformedReply;
    }
    if (p == 0) {
        if (why) *why = "no VXI-11 server registered with the portmapper";
        return VI_ERROR_RSRC_NFOUND;
    }
    *port = static_cast<uint16_t>(p);
    return VI_SUCCESS;
}

Endpoint withPort(Endpoint e, uint16_t port) {
    if (e.family() == AF_INET)
        reinterpret_cast<sockaddr_in*>(&e.addr)->sin_port = htons(port);
    else
        reinterpret_cast<sockaddr_in6*>(&e.addr)->sin6_port = htons(port);
    return e;
}

Endpoint peerOf(int fd) {
    Endpoint e;
    e.size = sizeof e.addr;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&e.addr), &e.size) != 0) e.size = 0;
    return e;
}

class Vxi11Link : public Link {
  public:
    Vxi11Link(Fd core, Endpoint peer, std::shared_ptr<SrqServer> srq, EventSink* sink)
        : core_(std::move(core)), peer_(peer), srq_(std::move(srq)), sink_(sink) {
        setNoDelay(core_.get(), true);
    }

    ~Vxi11Link() override {
        if (srqHandle_) srq_->forget(srqHandle_);
        if (linked_) {
            XdrWriter a;
            a.i32(lid_);
            std::vector<uint8_t> reply;
            call(kDestroyLink, a, IoControl::fromTimeout(500, nullptr), &reply, nullptr);
        }
    }

    ViStatus create(const std::string& device, ViUInt32 timeout, std::string* why) {
        CreateLinkParms p;
        std::random_device rd;
        p.clientId = static_cast<int32_t>(rd() & 0x7FFFFFFF);
        p.device = device;
        XdrWriter a;
        encode(a, p);
        std::vector<uint8_t> reply;
        ViStatus st = call(kCreateLink, a, IoControl::fromTimeout(timeout, nullptr), &reply, why);
        if (st < 0) return st;
        XdrReader r(reply.data(), reply.size());
        CreateLinkResp resp;
        if (!decode(r, &resp)) {
            if (why) *why = "malformed create_link reply";
            return kMalformedReply;
        }
        if (resp.error != kNoError) {
            if (why) *why = "create_link: device error " + std::to_string(resp.error);
            return resp.error == kOutOfResources         ? VI_ERROR_RSRC_BUSY
                   : statusOf(resp.error) == VI_ERROR_IO ? VI_ERROR_RSRC_NFOUND
                                                         : statusOf(resp.error);
        }
        lid_ = resp.lid;
        linked_ = true;
        abortPort_ = static_cast<uint16_t>(resp.abortPort);
        // A device that gives no sensible size still takes small writes.
        maxRecv_ = resp.maxRecvSize < 16 ? 16 : std::min<uint32_t>(resp.maxRecvSize, kMaxReadChunk);
        return VI_SUCCESS;
    }

    // Service requests: an interrupt channel back to us and SRQ enabled with our handle.
    // Devices that offer neither still work, without the event.
    void enableSrq() {
        if (!srq_ || !sink_ || peer_.family() != AF_INET) return;
        uint16_t port = srq_->start();
        if (!port) return;
        sockaddr_in local{};
        socklen_t len = sizeof local;
        if (getsockname(core_.get(), reinterpret_cast<sockaddr*>(&local), &len) != 0) return;
        RemoteFunc f;
        f.hostAddr = ntohl(local.sin_addr.s_addr);
        f.hostPort = port;
        f.progNum = kInterruptProgram;
        f.progVers = kVersion;
        f.progFamily = 0;  // TCP
        XdrWriter a;
        encode(a, f);
        std::vector<uint8_t> reply;
        IoControl io = IoControl::fromTimeout(kControlMs, nullptr);
        if (call(kCreateIntrChan, a, io, &reply, nullptr) < 0 || deviceError(reply) < 0) return;
        uint32_t handle = srq_->add(sink_);
        EnableSrqParms e;
        e.lid = lid_;
        e.enable = true;
        e.handle = std::string{static_cast<char>(handle >> 24), static_cast<char>(handle >> 16),
                               static_cast<char>(handle >> 8), static_cast<char>(handle)};
        XdrWriter b;
        encode(b, e);
        if (call(kEnableSrq, b, io, &reply, nullptr) < 0 || deviceError(reply) < 0) {
            srq_->forget(handle);
            return;
        }
        srqHandle_ = handle;
    }

    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io,
                   size_t* done) override {
        *done = 0;
        size_t sent = 0;
        do {
            size_t n = std::min<size_t>(count - sent, maxRecv_);
            bool last = sent + n == count;
            WriteParms p;
            p.lid = lid_;
            p.ioTimeout = msLeft(io);
            p.flags = (last && end) ? uint32_t{kEnd} : 0u;
            p.data = std::string_view(reinterpret_cast<const char*>(buf + sent), n);
            XdrWriter a;
            encode(a, p);
            std::vector<uint8_t> reply;
            ViStatus st = call(kWrite, a, withGrace(io), &reply, nullptr);
            if (st < 0) {
                *done = sent;
                return st;
            }
            XdrReader r(reply.data(), reply.size());
            WriteResp resp;
            if (!decode(r, &resp) || resp.size > n) {
                *done = sent;
                return kMalformedReply;
            }
            sent += resp.size;
            if (resp.error != kNoError) {
                *done = sent;
                return statusOf(resp.error);
            }
            if (resp.size == 0 && n > 0) {
                *done = sent;
                return io.expired() ? VI_ERROR_TMO
                                    : kMalformedReply;  // takes nothing, says nothing
            }
        } while (sent < count);
        *done = sent;
        return VI_SUCCESS;
    }

    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io,
                  size_t* done) override {
        *done = 0;
        size_t got = 0;
        for (;;) {
            ReadParms p;
            p.lid = lid_;
            p.requestSize = static_cast<uint32_t>(std::min<size_t>(count - got, kMaxReadChunk));
            p.ioTimeout = msLeft(io);
            if (opt.termCharEnabled) {
                p.flags = kTermCharSet;
                p.termChar = opt.termChar;
            }
            XdrWriter a;
            encode(a, p);
            std::vector<uint8_t> reply;
            ViStatus st = call(kRead, a, withGrace(io), &reply, nullptr);
            if (st < 0) {
                *done = got;
                return st;
            }
            XdrReader r(reply.data(), reply.size());
            ReadResp resp;
            if (!decode(r, &resp, p.requestSize)) {
                *done = got;
                return kMalformedReply;
            }
            std::memcpy(buf + got, resp.data.data(), resp.data.size());
            got += resp.data.size();
            *done = got;
            if (resp.error != kNoError) return statusOf(resp.error);
            if ((resp.reason & kChr) && opt.termCharEnabled) return VI_SUCCESS_TERM_CHAR;
            if ((resp.reason & kReasonEnd) && !opt.suppressEnd) return VI_SUCCESS;
            if (got >= count) return VI_SUCCESS_MAX_CNT;
            if (resp.data.empty() && resp.reason == 0)
                return kMalformedReply;  // would loop for ever
        }
    }

    ViStatus readStb(ViUInt16* stb) override {
        std::vector<uint8_t> reply;
        ViStatus st = generic(kReadStb, &reply);
        if (st < 0) return st;
        XdrReader r(reply.data(), reply.size());
        int32_t error = r.i32();
        uint32_t value = r.u32();
        if (!r.ok()) return kMalformedReply;
        if (error != kNoError) return statusOf(error);
        if (stb) *stb = static_cast<ViUInt16>(value & 0xFF);
        return VI_SUCCESS;
    }

    ViStatus assertTrigger(ViUInt16 protocol) override {
        if (protocol != VI_TRIG_PROT_DEFAULT) return VI_ERROR_INV_PROT;
        return genericStatus(kTrigger);
    }
    ViStatus clear() override { return genericStatus(kClear); }

    ViStatus gpibControlRen(ViUInt16 mode) override {
        switch (mode) {
            case VI_GPIB_REN_DEASSERT:
            case VI_GPIB_REN_DEASSERT_GTL:
            case VI_GPIB_REN_ADDRESS_GTL:
                return genericStatus(kLocal);
            case VI_GPIB_REN_ASSERT:
            case VI_GPIB_REN_ASSERT_ADDRESS:
            case VI_GPIB_REN_ASSERT_LLO:
            case VI_GPIB_REN_ASSERT_ADDRESS_LLO:
                return genericStatus(kRemote);
            default:
                return VI_ERROR_INV_MODE;
        }
    }

    ViStatus lock(ViAccessMode type, ViUInt32 timeout, const std::string&) override {
        if (type != VI_EXCLUSIVE_LOCK) return VI_SUCCESS;  // VXI-11 knows only exclusive locks
        LockParms p;
        p.lid = lid_;
        p.flags = timeout ? uint32_t{kWaitLock} : 0u;
        p.lockTimeout = timeout == VI_TMO_INFINITE ? 0x7FFFFFFF : timeout;
        XdrWriter a;
        encode(a, p);
        std::vector<uint8_t> reply;
        IoControl io = timeout == VI_TMO_INFINITE
                           ? IoControl::fromTimeout(VI_TMO_INFINITE, nullptr)
                           : IoControl::fromTimeout(timeout + kReplyGraceMs, nullptr);
        ViStatus st = call(kLock, a, io, &reply, nullptr);
        if (st < 0) return st;
        st = deviceError(reply);
        return st == VI_ERROR_RSRC_LOCKED ? VI_ERROR_TMO : st;
    }

    ViStatus unlock(ViAccessMode type) override {
        if (type != VI_EXCLUSIVE_LOCK) return VI_SUCCESS;
        XdrWriter a;
        a.i32(lid_);
        std::vector<uint8_t> reply;
        ViStatus st =
            call(kUnlock, a, withGrace(IoControl::fromTimeout(tmo_, nullptr)), &reply, nullptr);
        return st < 0 ? st : deviceError(reply);
    }

    ViStatus getAttribute(ViAttr attr, ViAttrState* number, std::string*) override {
        int v = 0;
        socklen_t len = sizeof v;
        if (attr == VI_ATTR_TCPIP_NODELAY)
            getsockopt(core_.get(), IPPROTO_TCP, TCP_NODELAY, &v, &len);
        else if (attr == VI_ATTR_TCPIP_KEEPALIVE)
            getsockopt(core_.get(), SOL_SOCKET, SO_KEEPALIVE, &v, &len);
        else
            return VI_ERROR_NSUP_ATTR;
        *number = v ? VI_TRUE : VI_FALSE;
        return VI_SUCCESS;
    }

    ViStatus setAttribute(ViAttr attr, ViAttrState value) override {
        if (attr == VI_ATTR_TMO_VALUE)
            tmo_ = static_cast<ViUInt32>(value);
        else if (attr == VI_ATTR_TCPIP_NODELAY)
            setNoDelay(core_.get(), value != VI_FALSE);
        else if (attr == VI_ATTR_TCPIP_KEEPALIVE)
            setKeepAlive(core_.get(), value != VI_FALSE);
        else if (attr == VI_ATTR_TCPIP_HISLIP_OVERLAP_EN ||
                 attr == VI_ATTR_TCPIP_HISLIP_MAX_MESSAGE_KB) {
            return VI_ERROR_NSUP_ATTR;
        }
        return VI_SUCCESS;
    }

  private:
    // One core-channel call. A cancelled wait (viTerminate, viClose) sends device_abort on the
    // abort channel and gives the server a moment to answer the call it interrupts.
    ViStatus call(uint32_t proc, const XdrWriter& args, const IoControl& io,
                  std::vector<uint8_t>* reply, std::string* why) {
        if (broken_) return VI_ERROR_CONN_LOST;
        rpc::Call c{rpc::nextXid(), kCoreProgram, kVersion, proc};
        ViStatus st = rpc::callTcp(in_, c, args.bytes(), io, reply, why);
        if (st == VI_ERROR_ABORT) {
            sendAbort();
            // The interrupted call's reply is skipped by the next call (another transaction id).
        }
        // Past a lost connection or a broken record the stream cannot be trusted again.
        if (st == VI_ERROR_CONN_LOST || st == kMalformedReply) broken_ = true;
        return st;
    }

    void sendAbort() {
        if (!abortPort_) return;
        IoControl io = IoControl::fromTimeout(kReplyGraceMs, nullptr);
        if (!abort_) {
            std::string why;
            if (connectTo({withPort(peer_, abortPort_)}, io, &abort_, &why) < 0) return;
        }
        XdrWriter a;
        a.i32(lid_);
        std::vector<uint8_t> reply;
        rpc::callTcp(abort_.get(), {rpc::nextXid(), kAbortProgram, kVersion, kAbort}, a.bytes(), io,
                     &reply, nullptr);
    }

    ViStatus generic(uint32_t proc, std::vector<uint8_t>* reply) {
        GenericParms p;
        p.lid = lid_;
        IoControl io = IoControl::fromTimeout(tmo_, nullptr);
        p.ioTimeout = msLeft(io);
        XdrWriter a;
        encode(a, p);
        return call(proc, a, withGrace(io), reply, nullptr);
    }
    ViStatus genericStatus(uint32_t proc) {
        std::vector<uint8_t> reply;
        ViStatus st = generic(proc, &reply);
        return st < 0 ? st : deviceError(reply);
    }
    static ViStatus deviceError(const std::vector<uint8_t>& reply) {
        XdrReader r(reply.data(), reply.size());
        int32_t error = r.i32();
        if (!r.ok()) return kMalformedReply;
        return statusOf(error);
    }

    Fd core_;
    StreamReader in_{core_.get()};  // the core channel's replies
    Fd abort_;
    Endpoint peer_;
    std::shared_ptr<SrqServer> srq_;
    EventSink* sink_;
    int32_t lid_ = 0;
    bool linked_ = false;
    bool broken_ = false;
    uint16_t abortPort_ = 0;
    uint32_t maxRecv_ = 1024;
    uint32_t srqHandle_ = 0;
    ViUInt32 tmo_ = 2000;
};

}  // namespace

ViStatus openVxi11(const ResourceName& name, const Settings& s, ViUInt32 openTimeout,
                   EventSink* events, const std::shared_ptr<SrqServer>& srq,
                   std::unique_ptr<Link>* link, std::string* why) {
    std::vector<Endpoint> eps;
    ViStatus st = resolve(name.host, s.portmapperPort, &eps, why);
    if (st < 0) return st;
    IoControl io = IoControl::fromTimeout(std::max(openTimeout, s.connectTimeout), nullptr);
    uint16_t corePort = 0;
    st = getPort(eps, s.portmapperPort, kCoreProgram, kVersion, io, &corePort, why);
    if (st < 0) return st;
    std::vector<Endpoint> core;
    for (const Endpoint& e : eps) core.push_back(withPort(e, corePort));
    Fd fd;
    st = connectTo(core, io, &fd, why);
    if (st < 0) return st;
    Endpoint peer = peerOf(fd.get());
    auto l = std::make_unique<Vxi11Link>(std::move(fd), peer, srq, events);
    st = l->create(name.lanDevice, std::max(openTimeout, s.connectTimeout), why);
    if (st < 0) return st;
    l->enableSrq();
    *link = std::move(l);
    return VI_SUCCESS;
}

}  // namespace zuvisa::tcpip

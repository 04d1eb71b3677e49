// TCPIP SOCKET: a byte stream. END on a write means "send now"; without it the bytes wait for
// the rest of the message (or a read). A read ends on the termination character when it is
// enabled, at the requested count, or (END) when the peer has sent all it has for now.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>

#include <cstring>

#include "zuvisa/bridgelets/tcpip/links.h"
#include "zuvisa/bridgelets/tcpip/net.h"

namespace zuvisa::tcpip {

namespace {

constexpr size_t kInSize = 64 * 1024;
constexpr size_t kOutHold = 64 * 1024;  // held bytes leave once this many wait

class SocketLink : public Link {
  public:
    explicit SocketLink(Fd fd)
        : fd_(std::move(fd)), in_(kInSize), waitsInReceive_(waitsInReceive(fd_.get())) {
        setNoDelay(fd_.get(), true);
    }

    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io,
                   size_t* done) override {
        *done = 0;
        justWrote_ = true;
        if (!end && out_.size() + count < kOutHold) {
            out_.insert(out_.end(), buf, buf + count);
            *done = count;
            return VI_SUCCESS;
        }
        if (!out_.empty()) {
            ViStatus st = sendTwo(fd_.get(), out_.data(), out_.size(), buf, count, io);
            out_.clear();
            if (st < 0) return st;
            *done = count;
            return VI_SUCCESS;
        }
        return sendAll(fd_.get(), buf, count, io, done);
    }

    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io,
                  size_t* done) override {
        *done = 0;
        if (ViStatus st = flushOut(io); st < 0) return st;
        size_t got = 0;
        for (;;) {
            // What is buffered first.
            if (start_ < end_) {
                size_t n = std::min(end_ - start_, count - got);
                const ViByte* from = in_.data() + start_;
                if (opt.termCharEnabled) {
                    if (const void* t = memchr(from, opt.termChar, n)) {
                        n = static_cast<size_t>(static_cast<const ViByte*>(t) - from) + 1;
                        std::memcpy(buf + got, from, n);
                        start_ += n;
                        *done = got + n;
                        return VI_SUCCESS_TERM_CHAR;
                    }
                }
                std::memcpy(buf + got, from, n);
                start_ += n;
                got += n;
            }
            if (got == count) {
                *done = got;
                return VI_SUCCESS_MAX_CNT;
            }
            // END: data arrived and nothing more waits (only without a termination character).
            if (got > 0 && !opt.termCharEnabled && !opt.suppressEnd &&
                pendingBytes(fd_.get()) == 0) {
                *done = got;
                return VI_SUCCESS;
            }
            start_ = end_ = 0;
            size_t n = 0;
            ViStatus st;
            RecvWait wait = waitsInReceive_ ? RecvWait::InReceive
                            : justWrote_    ? RecvWait::BeforeTry
                                            : RecvWait::AfterTry;
            justWrote_ = false;
            if (!opt.termCharEnabled && count - got >= kInSize) {
                // Large reads go straight to the caller's buffer.
                st = recvSome(fd_.get(), buf + got, count - got, io, &n, wait);
                got += n;
            } else {
                st = recvSome(fd_.get(), in_.data(), in_.size(), io, &n, wait);
                end_ = n;
            }
            if (st < 0) {
                *done = got;
                // The peer closed after a whole message: that was its end.
                if (st == VI_ERROR_CONN_LOST && got > 0 && !opt.termCharEnabled) return VI_SUCCESS;
                return st;
            }
        }
    }

    ViStatus clear() override {
        out_.clear();
        start_ = end_ = 0;
        drainInput();
        if (protocol_ == VI_PROT_4882_STRS) return command("*CLS\n");
        return VI_SUCCESS;
    }

    ViStatus readStb(ViUInt16* stb) override {
        if (protocol_ != VI_PROT_4882_STRS) return VI_ERROR_NSUP_OPER;
        ViStatus st = command("*STB?\n");
        if (st < 0) return st;
        char answer[64];
        size_t n = 0;
        ReadOptions opt;
        opt.termCharEnabled = true;
        st = read(reinterpret_cast<ViByte*>(answer), sizeof answer - 1, opt,
                  IoControl::fromTimeout(kCommandMs, nullptr), &n);
        if (st < 0) return st;
        answer[n] = '\0';
        char* endp = nullptr;
        long v = strtol(answer, &endp, 10);
        if (endp == answer || v < 0 || v > 255) return kMalformedReply;
        if (stb) *stb = static_cast<ViUInt16>(v);
        return VI_SUCCESS;
    }

    ViStatus assertTrigger(ViUInt16 protocol) override {
        if (protocol_ != VI_PROT_4882_STRS) return VI_ERROR_NSUP_OPER;
        if (protocol != VI_TRIG_PROT_DEFAULT) return VI_ERROR_INV_PROT;
        return command("*TRG\n");
    }

    ViStatus setIoBuffer(ViUInt16, ViUInt32) override { return VI_SUCCESS; }

    ViStatus flushIoBuffer(ViUInt16 mask) override {
        if (mask & VI_IO_OUT_BUF) {
            if (ViStatus st = flushOut(IoControl::fromTimeout(kCommandMs, nullptr)); st < 0)
                return st;
        }
        if (mask & VI_IO_OUT_BUF_DISCARD) out_.clear();
        if (mask & (VI_IO_IN_BUF | VI_IO_IN_BUF_DISCARD)) {
            start_ = end_ = 0;
            drainInput();
        }
        return VI_SUCCESS;
    }

    ViStatus getAttribute(ViAttr attr, ViAttrState* number, std::string*) override {
        int v = 0;
        socklen_t len = sizeof v;
        if (attr == VI_ATTR_TCPIP_NODELAY) {
            if (getsockopt(fd_.get(), IPPROTO_TCP, TCP_NODELAY, &v, &len) != 0)
                return VI_ERROR_SYSTEM_ERROR;
        } else if (attr == VI_ATTR_TCPIP_KEEPALIVE) {
            if (getsockopt(fd_.get(), SOL_SOCKET, SO_KEEPALIVE, &v, &len) != 0)
                return VI_ERROR_SYSTEM_ERROR;
        } else if (attr == VI_ATTR_IO_PROT) {
            *number = protocol_;
            return VI_SUCCESS;
        } else {
            return VI_ERROR_NSUP_ATTR;
        }
        *number = v ? VI_TRUE : VI_FALSE;
        return VI_SUCCESS;
    }

    ViStatus setAttribute(ViAttr attr, ViAttrState value) override {
        if (attr == VI_ATTR_TCPIP_NODELAY)
            setNoDelay(fd_.get(), value != VI_FALSE);
        else if (attr == VI_ATTR_TCPIP_KEEPALIVE)
            setKeepAlive(fd_.get(), value != VI_FALSE);
        else if (attr == VI_ATTR_IO_PROT) {
            if (value != VI_PROT_NORMAL && value != VI_PROT_4882_STRS)
                return VI_ERROR_NSUP_ATTR_STATE;
            protocol_ = static_cast<ViUInt16>(value);
        }
        return VI_SUCCESS;
    }

  private:
    static constexpr ViUInt32 kCommandMs = 2000;

    ViStatus flushOut(const IoControl& io) {
        if (out_.empty()) return VI_SUCCESS;
        ViStatus st = sendAll(fd_.get(), out_.data(), out_.size(), io);
        out_.clear();
        return st;
    }

    ViStatus command(const char* text) {
        return sendAll(fd_.get(), text, strlen(text), IoControl::fromTimeout(kCommandMs, nullptr));
    }

    void drainInput() {
        ViByte scratch[4096];
        while (pendingBytes(fd_.get()) > 0) {
            if (::recv(fd_.get(), scratch, sizeof scratch, MSG_DONTWAIT) <= 0) break;
        }
    }

    Fd fd_;
    std::vector<ViByte> in_;
    size_t start_ = 0, end_ = 0;
    std::vector<ViByte> out_;
    ViUInt16 protocol_ = VI_PROT_NORMAL;
    bool waitsInReceive_;
    bool justWrote_ = false;  // the next read polls before it receives
};

}  // namespace

ViStatus openSocket(const ResourceName& name, const Settings& s, ViUInt32 openTimeout, EventSink*,
                    std::unique_ptr<Link>* link, std::string* why) {
    std::vector<Endpoint> eps;
    ViStatus st = resolve(name.host, static_cast<uint16_t>(name.port), &eps, why);
    if (st < 0) return st;
    Fd fd;
    st = connectTo(eps, IoControl::fromTimeout(std::max(openTimeout, s.connectTimeout), nullptr),
                   &fd, why);
    if (st < 0) return st;
    *link = std::make_unique<SocketLink>(std::move(fd));
    return VI_SUCCESS;
}

}  // namespace zuvisa::tcpip

// TCPIP INSTR over HiSLIP: a synchronous channel for data and triggers and an asynchronous one
// for clear, status, locks, remote/local and service requests. A reader thread owns the
// asynchronous channel: it hands replies to the caller waiting for them and raises service
// requests as they come.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>

#include "zuvisa/bridgelets/tcpip/hislip.h"
#include "zuvisa/bridgelets/tcpip/links.h"
#include "zuvisa/bridgelets/tcpip/net.h"

namespace zuvisa::tcpip {

bool hislipDevice(const std::string& lanDevice, std::string* subAddress, uint16_t* port) {
    std::string upper = upperAscii(lanDevice);
    if (upper.rfind("HISLIP", 0) != 0) return false;
    size_t comma = lanDevice.find(',');
    *subAddress = lanDevice.substr(0, comma);
    *port = hislip::kDefaultPort;
    if (comma != std::string::npos) {
        std::string p = lanDevice.substr(comma + 1);
        if (p.empty() || p.size() > 5 || p.find_first_not_of("0123456789") != std::string::npos)
            return false;
        unsigned long v = std::stoul(p);
        if (v == 0 || v > 65535) return false;
        *port = static_cast<uint16_t>(v);
    }
    return true;
}

namespace {

using namespace hislip;

// Error and FatalError texts are read up to this length; longer ones break the protocol.
constexpr uint64_t kMaxTextPayload = 4096;

struct Message {
    Header h;
    std::vector<uint8_t> payload;
};

ViStatus sendMessage(int fd, uint8_t type, uint8_t control, uint32_t parameter, const void* payload,
                     size_t size, const IoControl& io) {
    Header h{type, control, parameter, size};
    uint8_t head[kHeaderSize];
    encodeHeader(h, head);
    return sendTwo(fd, head, kHeaderSize, payload, size, io);
}

// Reads one whole message whose payload may be at most maxPayload bytes.
ViStatus readMessage(StreamReader& in, uint64_t maxPayload, const IoControl& io, Message* m) {
    uint8_t head[kHeaderSize];
    ViStatus st = in.readExact(head, kHeaderSize, io);
    if (st < 0) return st;
    if (!decodeHeader(head, &m->h) || m->h.length > maxPayload) return kMalformedReply;
    m->payload.resize(m->h.length);
    return in.readExact(m->payload.data(), m->payload.size(), io);
}

ViStatus fatalStatus(uint8_t code) {
    switch (code) {
        case kFatalInvalidInit:
            return VI_ERROR_RSRC_NFOUND;
        case kFatalMaxClients:
            return VI_ERROR_RSRC_BUSY;
        default:
            return VI_ERROR_CONN_LOST;
    }
}

class HislipLink : public Link {
  public:
    HislipLink(Fd sync, EventSink* sink) : sync_(std::move(sync)), sink_(sink) {
        setNoDelay(sync_.get(), true);
    }

    ~HislipLink() override {
        stop_ = true;
        if (async_) ::shutdown(async_.get(), SHUT_RDWR);
        if (reader_.joinable()) reader_.join();
    }

    ViStatus connect(const std::vector<Endpoint>& eps, const std::string& subAddress,
                     const IoControl& io, std::string* why) {
        ViStatus st = sendMessage(sync_.get(), kInitialize, 0, (uint32_t{kVersion} << 16) | kVendor,
                                  subAddress.data(), subAddress.size(), io);
        Message m;
        if (st >= 0) st = readMessage(in_, kMaxTextPayload, io, &m);
        if (st < 0) {
            if (why)
                *why = "HiSLIP initialize: " +
                       std::string(st == VI_ERROR_TMO ? "no answer" : "failed");
            return st;
        }
        if (m.h.type == kFatalError) {
            if (why)
                *why =
                    "HiSLIP initialize refused: " + std::string(m.payload.begin(), m.payload.end());
            return fatalStatus(m.h.control);
        }
        if (m.h.type != kInitializeResponse) {
            if (why) *why = "HiSLIP initialize: unexpected message " + std::to_string(m.h.type);
            return kMalformedReply;
        }
        serverVersion_ = m.h.parameter >> 16;
        sessionId_ = static_cast<uint16_t>(m.h.parameter & 0xFFFF);
        overlap_ = (m.h.control & 1) != 0;

        st = connectTo(eps, io, &async_, why);
        if (st < 0) return st;
        setNoDelay(async_.get(), true);
        st = sendMessage(async_.get(), kAsyncInitialize, 0, sessionId_, nullptr, 0, io);
        StreamReader direct(async_.get(), 0);  // the reader thread takes the channel over
        if (st >= 0) st = readMessage(direct, kMaxTextPayload, io, &m);
        if (st < 0) return st;
        if (m.h.type != kAsyncInitializeResponse) {
            if (why)
                *why = "HiSLIP async initialize: unexpected message " + std::to_string(m.h.type);
            return m.h.type == kFatalError ? fatalStatus(m.h.control) : kMalformedReply;
        }
        reader_ = std::thread([this] { readAsync(); });
        return negotiateSize(io);
    }

    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io,
                   size_t* done) override {
        *done = 0;
        if (broken_) return VI_ERROR_CONN_LOST;
        // In synchronized mode a new message replaces the answer not read yet; in overlapped
        // mode answers queue up in order.
        if (!overlap_) {
            pending_.clear();
            pendingAt_ = 0;
            pendingEnd_ = false;
        }
        size_t chunk =
            serverMax_ > kHeaderSize + 1
                ? static_cast<size_t>(std::min<uint64_t>(serverMax_ - kHeaderSize, 1u << 24))
                : 1;
        size_t sent = 0;
        do {
            size_t n = std::min(count - sent, chunk);
            bool last = sent + n == count;
            uint8_t type = (last && end) ? kDataEnd : kData;
            ViStatus st = sendMessage(sync_.get(), type, takeRmt(), messageId_, buf + sent, n, io);
            if (st < 0) {
                broken_ = st == VI_ERROR_CONN_LOST;
                return st;
            }
            lastSent_ = messageId_;
            if (type == kDataEnd) sentQuery(messageId_);
            messageId_ += 2;
            sent += n;
            *done = sent;
        } while (sent < count);
        return VI_SUCCESS;
    }

    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io,
                  size_t* done) override {
        *done = 0;
        if (count == 0) return VI_SUCCESS_MAX_CNT;
        size_t got = 0;
        for (;;) {
            if (pendingAt_ < pending_.size()) {
                size_t n = std::min(pending_.size() - pendingAt_, count - got);
                const uint8_t* from = pending_.data() + pendingAt_;
                bool term = false;
                if (opt.termCharEnabled) {
                    if (const void* t = memchr(from, opt.termChar, n)) {
                        n = static_cast<size_t>(static_cast<const uint8_t*>(t) - from) + 1;
                        term = true;
                    }
                }
                std::memcpy(buf + got, from, n);
                got += n;
                pendingAt_ += n;
                *done = got;
                if (term) {
                    if (pendingAt_ == pending_.size() && pendingEnd_) endDelivered();
                    return VI_SUCCESS_TERM_CHAR;
                }
            }
            // The end of a message (also of an empty one) ends the read.
            if (pendingAt_ >= pending_.size() && pendingEnd_) {
                endDelivered();
                if (!opt.suppressEnd) return VI_SUCCESS;
            }
            if (got == count) return VI_SUCCESS_MAX_CNT;
            if (broken_) return VI_ERROR_CONN_LOST;
            Message& m = incoming_;  // kept, so that its payload's room serves the next one
            ViStatus st = readMessage(in_, clientMax(), io, &m);
            if (st < 0) {
                if (st == VI_ERROR_CONN_LOST || st == kMalformedReply) broken_ = true;
                return st;
            }
            switch (m.h.type) {
                case kData:
                case kDataEnd:
                    // Synchronized mode: an answer to a message before the last query is stale.
                    if (!overlap_ && stale(m.h.parameter)) break;
                    pending_.swap(m.payload);
                    pendingAt_ = 0;
                    pendingEnd_ = m.h.type == kDataEnd;
                    break;
                case kInterrupted:
                    pending_.clear();
                    pendingAt_ = 0;
                    break;
                case kError:
                    return VI_ERROR_IO;
                case kFatalError:
                    broken_ = true;
                    return VI_ERROR_CONN_LOST;
                default:
                    break;  // nothing else belongs here; skipped
            }
        }
    }

    ViStatus clear() override {
        Message ack;
        IoControl io = IoControl::fromTimeout(tmo_, nullptr);
        ViStatus st =
            asyncCall(kAsyncDeviceClear, 0, 0, nullptr, 0, kAsyncDeviceClearAcknowledge, io, &ack);
        if (st < 0) return st;
        uint8_t request = wantOverlap_ ? 1 : 0;
        st = sendMessage(sync_.get(), kDeviceClearComplete, request, 0, nullptr, 0, io);
        if (st < 0) return st;
        for (;;) {
            Message m;
            st = readMessage(in_, clientMax(), io, &m);
            if (st < 0) {
                if (st == VI_ERROR_CONN_LOST || st == kMalformedReply) broken_ = true;
                return st;
            }
            if (m.h.type == kDeviceClearAcknowledge) {
                overlap_ = (m.h.control & 1) != 0;
                break;
            }
            if (m.h.type == kFatalError) {
                broken_ = true;
                return VI_ERROR_CONN_LOST;
            }
        }
        messageId_ = kFirstMessageId;
        lastSent_ = lastQuery_ = kFirstMessageId - 2;
        recentQueries_.clear();
        rmtDelivered_ = false;
        pending_.clear();
        pendingAt_ = 0;
        pendingEnd_ = false;
        return VI_SUCCESS;
    }

    ViStatus readStb(ViUInt16* stb) override {
        Message m;
        ViStatus st = asyncCall(kAsyncStatusQuery, takeRmt(), lastSent_, nullptr, 0,
                                kAsyncStatusResponse, IoControl::fromTimeout(tmo_, nullptr), &m);
        if (st < 0) return st;
        if (stb) *stb = m.h.control;
        return VI_SUCCESS;
    }

    ViStatus assertTrigger(ViUInt16 protocol) override {
        if (protocol != VI_TRIG_PROT_DEFAULT) return VI_ERROR_INV_PROT;
        ViStatus st = sendMessage(sync_.get(), kTrigger, takeRmt(), messageId_, nullptr, 0,
                                  IoControl::fromTimeout(tmo_, nullptr));
        if (st < 0) return st;
        lastSent_ = messageId_;
        sentQuery(messageId_);
        messageId_ += 2;
        return VI_SUCCESS;
    }

    ViStatus gpibControlRen(ViUInt16 mode) override {
        if (mode > VI_GPIB_REN_ADDRESS_GTL) return VI_ERROR_INV_MODE;
        Message m;
        return asyncCall(kAsyncRemoteLocalControl, static_cast<uint8_t>(mode), lastSent_, nullptr,
                         0, kAsyncRemoteLocalResponse, IoControl::fromTimeout(tmo_, nullptr), &m);
    }

    ViStatus lock(ViAccessMode type, ViUInt32 timeout, const std::string& key) override {
        std::string payload = type == VI_SHARED_LOCK ? key : std::string();
        IoControl io = timeout == VI_TMO_INFINITE ? IoControl::fromTimeout(VI_TMO_INFINITE, nullptr)
                                                  : IoControl::fromTimeout(timeout + 1000, nullptr);
        Message m;
        ViStatus st = asyncCall(kAsyncLock, 1, timeout == VI_TMO_INFINITE ? 0x7FFFFFFF : timeout,
                                payload.data(), payload.size(), kAsyncLockResponse, io, &m);
        if (st < 0) return st;
        switch (m.h.control) {
            case kLockSuccess:
                return VI_SUCCESS;
            case kLockFailure:
                return VI_ERROR_TMO;
            default:
                return VI_ERROR_INV_ACCESS_KEY;
        }
    }

    ViStatus unlock(ViAccessMode) override {
        Message m;
        ViStatus st = asyncCall(kAsyncLock, 0, lastSent_, nullptr, 0, kAsyncLockResponse,
                                IoControl::fromTimeout(tmo_, nullptr), &m);
        if (st < 0) return st;
        return m.h.control == kLockError ? VI_ERROR_SESN_NLOCKED : VI_SUCCESS;
    }

    ViStatus getAttribute(ViAttr attr, ViAttrState* number, std::string*) override {
        int v = 0;
        socklen_t len = sizeof v;
        switch (attr) {
            case VI_ATTR_TCPIP_HISLIP_VERSION:
                *number = serverVersion_;
                return VI_SUCCESS;
            case VI_ATTR_TCPIP_HISLIP_OVERLAP_EN:
                *number = overlap_ ? VI_TRUE : VI_FALSE;
                return VI_SUCCESS;
            case VI_ATTR_TCPIP_HISLIP_MAX_MESSAGE_KB:
                *number = clientMaxKb_;
                return VI_SUCCESS;
            case VI_ATTR_TCPIP_NODELAY:
                getsockopt(sync_.get(), IPPROTO_TCP, TCP_NODELAY, &v, &len);
                break;
            case VI_ATTR_TCPIP_KEEPALIVE:
                getsockopt(sync_.get(), SOL_SOCKET, SO_KEEPALIVE, &v, &len);
                break;
            default:
                return VI_ERROR_NSUP_ATTR;
        }
        *number = v ? VI_TRUE : VI_FALSE;
        return VI_SUCCESS;
    }

    ViStatus setAttribute(ViAttr attr, ViAttrState value) override {
        switch (attr) {
            case VI_ATTR_TMO_VALUE:
                tmo_ = static_cast<ViUInt32>(value);
                return VI_SUCCESS;
            case VI_ATTR_TCPIP_NODELAY:
                setNoDelay(sync_.get(), value != VI_FALSE);
                setNoDelay(async_.get(), value != VI_FALSE);
                return VI_SUCCESS;
            case VI_ATTR_TCPIP_KEEPALIVE:
                setKeepAlive(sync_.get(), value != VI_FALSE);
                setKeepAlive(async_.get(), value != VI_FALSE);
                return VI_SUCCESS;
            case VI_ATTR_TCPIP_HISLIP_OVERLAP_EN:
                // The mode changes through a device clear that asks for it.
                wantOverlap_ = value != VI_FALSE;
                if (wantOverlap_ == overlap_) return VI_SUCCESS;
                if (ViStatus st = clear(); st < 0) return st;
                return VI_SUCCESS;
            case VI_ATTR_TCPIP_HISLIP_MAX_MESSAGE_KB: {
                ViUInt32 old = clientMaxKb_;
                clientMaxKb_ = static_cast<ViUInt32>(std::min<ViAttrState>(value, 1u << 22));
                ViStatus st = negotiateSize(IoControl::fromTimeout(tmo_, nullptr));
                if (st < 0) clientMaxKb_ = old;
                return st;
            }
            default:
                return VI_SUCCESS;
        }
    }

  private:
    uint64_t clientMax() const { return uint64_t{clientMaxKb_} * 1024; }

    // Whether id answers one of our recent queries other than the last. Ids that a server
    // makes up on its own are not taken for stale.
    bool stale(uint32_t id) const {
        return id != lastQuery_ &&
               std::find(recentQueries_.begin(), recentQueries_.end(), id) != recentQueries_.end();
    }

    void sentQuery(uint32_t id) {
        lastQuery_ = id;
        recentQueries_.push_back(id);
        if (recentQueries_.size() > 8) recentQueries_.pop_front();
    }

    void endDelivered() {
        pending_.clear();
        pendingAt_ = 0;
        pendingEnd_ = false;
        rmtDelivered_ = true;
    }

    uint8_t takeRmt() {
        uint8_t v = rmtDelivered_ ? 1 : 0;
        rmtDelivered_ = false;
        return v;
    }

    ViStatus negotiateSize(const IoControl& io) {
        uint8_t size[8];
        uint64_t mine = clientMax();
        for (int i = 0; i < 8; ++i) size[i] = static_cast<uint8_t>(mine >> (56 - 8 * i));
        Message m;
        ViStatus st = asyncCall(kAsyncMaximumMessageSize, 0, 0, size, 8,
                                kAsyncMaximumMessageSizeResponse, io, &m);
        if (st < 0) return st;
        if (m.payload.size() != 8) return kMalformedReply;
        uint64_t theirs = 0;
        for (uint8_t b : m.payload) theirs = (theirs << 8) | b;
        serverMax_ = theirs;
        return VI_SUCCESS;
    }

    // One request on the asynchronous channel and the reply of the expected type.
    ViStatus asyncCall(uint8_t type, uint8_t control, uint32_t parameter, const void* payload,
                       size_t size, uint8_t expect, const IoControl& io, Message* reply) {
        std::lock_guard<std::mutex> one(callMutex_);
        {
            std::lock_guard<std::mutex> lock(m_);
            if (asyncBroken_) return VI_ERROR_CONN_LOST;
            replies_.clear();
        }
        ViStatus st = sendMessage(async_.get(), type, control, parameter, payload, size, io);
        if (st < 0) return st;
        std::unique_lock<std::mutex> lock(m_);
        for (;;) {
            while (!replies_.empty()) {
                Message m = std::move(replies_.front());
                replies_.pop_front();
                if (m.h.type == expect) {
                    *reply = std::move(m);
                    return VI_SUCCESS;
                }
                if (m.h.type == kError) return VI_ERROR_IO;
            }
            if (asyncBroken_) return VI_ERROR_CONN_LOST;
            if (io.infinite)
                cv_.wait(lock);
            else if (cv_.wait_until(lock, io.deadline) == std::cv_status::timeout &&
                     replies_.empty())
                return VI_ERROR_TMO;
        }
    }

    void readAsync() {
        IoControl forever = IoControl::fromTimeout(VI_TMO_INFINITE, &stop_);
        StreamReader asyncIn(async_.get(), 4096);
        while (!stop_) {
            Message m;
            ViStatus st = readMessage(asyncIn, kMaxTextPayload, forever, &m);
            if (st < 0) {
                std::lock_guard<std::mutex> lock(m_);
                asyncBroken_ = true;
                cv_.notify_all();
                return;
            }
            if (m.h.type == kAsyncServiceRequest) {
                if (sink_) {
                    EventData e;
                    e.type = VI_EVENT_SERVICE_REQ;
                    sink_->raise(e);
                }
                continue;
            }
            std::lock_guard<std::mutex> lock(m_);
            if (replies_.size() < 16) replies_.push_back(std::move(m));
            cv_.notify_all();
        }
    }

    Fd sync_, async_;
    StreamReader in_{sync_.get()};  // the synchronous channel's messages
    EventSink* sink_;
    std::thread reader_;
    std::atomic<bool> stop_{false};
    std::mutex callMutex_;
    std::mutex m_;
    std::condition_variable cv_;
    std::deque<Message> replies_;
    bool asyncBroken_ = false;

    uint32_t serverVersion_ = 0;
    uint16_t sessionId_ = 0;
    bool overlap_ = false, wantOverlap_ = false;
    uint64_t serverMax_ = 1u << 20;
    ViUInt32 clientMaxKb_ = 1024;
    uint32_t messageId_ = kFirstMessageId;
    uint32_t lastSent_ = kFirstMessageId - 2;
    uint32_t lastQuery_ = kFirstMessageId - 2;  // the last DataEnd or Trigger sent
    std::deque<uint32_t> recentQueries_;
    bool rmtDelivered_ = false;
    bool broken_ = false;
    ViUInt32 tmo_ = 2000;
    std::vector<uint8_t> pending_;
    Message incoming_;
    size_t pendingAt_ = 0;
    bool pendingEnd_ = false;
};

}  // namespace

ViStatus openHislip(const ResourceName& name, const Settings& s, ViUInt32 openTimeout,
                    EventSink* events, std::unique_ptr<Link>* link, std::string* why) {
    std::string sub;
    uint16_t port = 0;
    if (!hislipDevice(name.lanDevice, &sub, &port)) return VI_ERROR_INV_RSRC_NAME;
    std::vector<Endpoint> eps;
    ViStatus st = resolve(name.host, port, &eps, why);
    if (st < 0) return st;
    IoControl io = IoControl::fromTimeout(std::max(openTimeout, s.connectTimeout), nullptr);
    Fd fd;
    st = connectTo(eps, io, &fd, why);
    if (st < 0) return st;
    // The asynchronous channel goes to the very address that answered.
    Endpoint peer;
    peer.size = sizeof peer.addr;
    if (getpeername(fd.get(), reinterpret_cast<sockaddr*>(&peer.addr), &peer.size) == 0)
        eps = {peer};
    auto l = std::make_unique<HislipLink>(std::move(fd), events);
    st = l->connect(eps, sub, io, why);
    if (st < 0) return st;
    *link = std::move(l);
    return VI_SUCCESS;
}

}  // namespace zuvisa::tcpip

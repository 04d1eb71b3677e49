// HiSLIP: a synchronous and an asynchronous channel per client session, paired by the session
// id that Initialize hands out. Data ends a message with DataEnd; answers go back as soon as
// the instrument has them, with the id of the message they answer.
#include <poll.h>
#include <sys/socket.h>

#include <condition_variable>
#include <cstring>
#include <map>

#include "tools/zusimd/frontends.h"
#include "zuvisa/bridgelets/tcpip/hislip.h"

namespace zusimd {

namespace {

using namespace zuvisa;
using namespace zuvisa::tcpip;
using namespace zuvisa::tcpip::hislip;
using namespace std::chrono;

// The largest message we take, and announce.
constexpr uint64_t kMaxMessage = 1u << 20;

struct Session final : EventSink {
    uint16_t id = 0;
    const Served* served = nullptr;
    std::mutex use;  // the instrument's link, for both channels
    std::mutex asyncSend;
    std::atomic<int> asyncFd{-1};
    std::atomic<bool> overlap{false};
    std::atomic<uint64_t> clientMax{kMaxMessage};
    std::unique_ptr<Link> link;  // last: destroyed first

    void raise(const EventData& e) override {
        if (e.type != VI_EVENT_SERVICE_REQ) return;
        Header h{kAsyncServiceRequest, 0, 0, 0};
        uint8_t head[kHeaderSize];
        encodeHeader(h, head);
        std::lock_guard<std::mutex> lock(asyncSend);
        if (asyncFd >= 0)
            sendAll(asyncFd, head, kHeaderSize, IoControl::fromTimeout(2000, nullptr));
    }
    ViStatus send(int fd, uint8_t type, uint8_t control, uint32_t param, const void* payload,
                  size_t size) {
        Header h{type, control, param, size};
        uint8_t head[kHeaderSize];
        encodeHeader(h, head);
        std::lock_guard<std::mutex> lock(asyncSend);
        return sendTwo(fd, head, kHeaderSize, payload, size, IoControl::fromTimeout(2000, nullptr));
    }
};

ViStatus sendMessage(int fd, uint8_t type, uint8_t control, uint32_t param, const void* payload,
                     size_t size) {
    Header h{type, control, param, size};
    uint8_t head[kHeaderSize];
    encodeHeader(h, head);
    return sendTwo(fd, head, kHeaderSize, payload, size, IoControl::fromTimeout(5000, nullptr));
}

// Reads one message; its payload must fit max.
ViStatus readMessage(StreamReader& in, uint64_t max, const std::atomic<bool>& stop, Header* h,
                     std::vector<uint8_t>* payload) {
    uint8_t head[kHeaderSize];
    ViStatus st = in.readExact(head, kHeaderSize, IoControl::fromTimeout(VI_TMO_INFINITE, &stop));
    if (st < 0) return st;
    if (!decodeHeader(head, h)) return VI_ERROR_INV_FMT;
    if (h->length > max) return VI_ERROR_ALLOC;
    payload->resize(h->length);
    return in.readExact(payload->data(), payload->size(), IoControl::fromTimeout(5000, &stop));
}

void fatal(int fd, uint8_t code, const std::string& text) {
    sendMessage(fd, kFatalError, code, 0, text.data(), text.size());
}

class HislipFrontend : public Frontend {
  public:
    HislipFrontend(Bench& bench, const Options& o) : bench_(bench), options_(o) {}
    ~HislipFrontend() override { stop(); }
    const char* name() const override { return "HiSLIP"; }

    bool start(std::vector<std::string>* lines, std::string* why) override {
        if (!server_.listen(options_.address, options_.hislipPort, why)) return false;
        server_.start([this](int fd, const std::string& peer) { serve(fd, peer); });
        std::string port =
            server_.port() == kDefaultPort ? std::string() : "," + std::to_string(server_.port());
        for (const Served& s : bench_.served()) {
            if (s.isSocket) continue;
            lines->push_back("TCPIP0::" + hostForName(options_.address) + "::" + s.hislipDevice +
                             port + "::INSTR serves " + s.resource + " over HiSLIP");
        }
        return true;
    }

    void stop() override { server_.stop(); }

  private:
    void serve(int fd, const std::string& peer) {
        setNoDelay(fd, true);
        Header h;
        std::vector<uint8_t> payload;
        StreamReader in(fd);
        if (readMessage(in, 256, server_.stopping(), &h, &payload) < 0) {
            logLine("HiSLIP " + peer + ": no initialize");
            return;
        }
        if (h.type == kInitialize)
            serveSync(in, peer, h, std::string(payload.begin(), payload.end()));
        else if (h.type == kAsyncInitialize)
            serveAsync(in, peer, static_cast<uint16_t>(h.parameter));
        else {
            fatal(fd, kFatalNoChannelPair, "first message must initialize");
            logLine("HiSLIP " + peer + ": refused, first message of type " +
                    std::to_string(h.type));
        }
    }

    void serveSync(StreamReader& in, const std::string& peer, const Header& init, const std::string& sub) {
        int fd = in.fd();
        const Served* s = bench_.byHislipDevice(sub);
        if (!s) {
            fatal(fd, kFatalInvalidInit, "no instrument " + sub);
            logLine("HiSLIP " + peer + ": refused, no instrument " + sub);
            return;
        }
        auto session = std::make_shared<Session>();
        session->served = s;
        if (bench_.open(*s, session.get(), &session->link) < 0) {
            fatal(fd, kFatalUnidentified, "cannot open " + s->resource);
            return;
        }
        {
            std::lock_guard<std::mutex> lock(m_);
            session->id = nextId_++;
            if (nextId_ == 0) nextId_ = 1;
            sessions_[session->id] = session;
        }
        uint16_t clientVersion = static_cast<uint16_t>(init.parameter >> 16);
        uint16_t version = std::min(clientVersion, kVersion);
        sendMessage(fd, kInitializeResponse, 0, (uint32_t{version} << 16) | session->id, nullptr,
                    0);

        const std::atomic<bool>& stop = server_.stopping();
        std::vector<uint8_t> message;
        uint32_t answerId = kFirstMessageId;
        size_t messages = 0;
        std::string end = "closed by the client";
        std::vector<ViByte> buf(64 * 1024);
        std::vector<uint8_t> payload;  // its room serves every message
        for (;;) {
            // Answers the instrument has, with the id of the message that asked.
            while (bench_.pendingOutput(*s) > 0) {
                size_t n = 0;
                ViStatus st;
                {
                    std::lock_guard<std::mutex> use(session->use);
                    ReadOptions opt;
                    size_t room = static_cast<size_t>(
                        std::min<uint64_t>(buf.size(), session->clientMax.load()));
                    st = session->link->read(buf.data(), room, opt,
                                             IoControl::fromTimeout(0, nullptr), &n);
                }
                if (n == 0) break;
                sendMessage(fd, st == VI_SUCCESS ? kDataEnd : kData, 0, answerId, buf.data(), n);
            }
            // Waits for the client only when nothing of it is buffered; meanwhile answers
            // that come late (delayed actions) go out.
            int rc = 1;
            if (in.buffered() == 0) {
                pollfd p{fd, POLLIN, 0};
                rc = ::poll(&p, 1, 10);
            }
            if (stop) {
                end = "server stopped";
                break;
            }
            if (rc <= 0) continue;
            Header h;
            ViStatus st = readMessage(in, kMaxMessage, stop, &h, &payload);
            if (st == VI_ERROR_INV_FMT) {
                fatal(fd, kFatalBadHeader, "bad header");
                end = "bad header";
                break;
            }
            if (st == VI_ERROR_ALLOC) {
                fatal(fd, kFatalUnidentified, "message larger than the maximum size");
                end = "oversized message";
                break;
            }
            if (st < 0) break;
            ++messages;
            switch (h.type) {
                case kData:
                case kDataEnd: {
                    session->served->locks->mayUse(session.get(), milliseconds(-1), stop);
                    std::lock_guard<std::mutex> use(session->use);
                    size_t done = 0;
                    session->link->write(payload.data(), payload.size(), h.type == kDataEnd,
                                         IoControl::fromTimeout(5000, &stop), &done);
                    if (h.type == kDataEnd) answerId = h.parameter;
                    break;
                }
                case kTrigger: {
                    std::lock_guard<std::mutex> use(session->use);
                    session->link->assertTrigger(VI_TRIG_PROT_DEFAULT);
                    answerId = h.parameter;
                    break;
                }
                case kDeviceClearComplete:
                    session->overlap = (h.control & 1) != 0;
                    answerId = kFirstMessageId;
                    sendMessage(fd, kDeviceClearAcknowledge, h.control & 1, 0, nullptr, 0);
                    break;
                default:
                    sendMessage(fd, kError, kErrorBadType, 0, nullptr, 0);
                    break;
            }
        }
        {
            std::lock_guard<std::mutex> lock(session->asyncSend);
            if (session->asyncFd >= 0) ::shutdown(session->asyncFd, SHUT_RDWR);
        }
        {
            std::lock_guard<std::mutex> lock(m_);
            sessions_.erase(session->id);
        }
        s->locks->release(session.get());
        logLine("HiSLIP " + peer + " session " + std::to_string(session->id) + " (" +
                s->hislipDevice + "): " + std::to_string(messages) + " message(s), " + end);
    }

    void serveAsync(StreamReader& in, const std::string& peer, uint16_t id) {
        int fd = in.fd();
        std::shared_ptr<Session> session;
        {
            std::lock_guard<std::mutex> lock(m_);
            auto it = sessions_.find(id);
            if (it != sessions_.end()) session = it->second;
        }
        if (!session || session->asyncFd >= 0) {
            fatal(fd, kFatalNoChannelPair, "no synchronous channel with this session id");
            logLine("HiSLIP async " + peer + ": refused, no session " + std::to_string(id));
            return;
        }
        setNoDelay(fd, true);
        session->send(fd, kAsyncInitializeResponse, 0, kVendor, nullptr, 0);
        session->asyncFd = fd;
        const std::atomic<bool>& stop = server_.stopping();
        size_t messages = 0;
        Locks& locks = *session->served->locks;
        for (;;) {
            Header h;
            std::vector<uint8_t> payload;
            ViStatus st = readMessage(in, 4096, stop, &h, &payload);
            if (st < 0) break;
            ++messages;
            switch (h.type) {
                case kAsyncMaximumMessageSize: {
                    if (payload.size() != 8) {
                        session->send(fd, kError, kErrorUnidentified, 0, nullptr, 0);
                        break;
                    }
                    uint64_t theirs = 0;
                    for (uint8_t b : payload) theirs = (theirs << 8) | b;
                    session->clientMax = std::max<uint64_t>(theirs, 64);
                    uint8_t mine[8];
                    for (int i = 0; i < 8; ++i)
                        mine[i] = static_cast<uint8_t>(kMaxMessage >> (56 - 8 * i));
                    session->send(fd, kAsyncMaximumMessageSizeResponse, 0, 0, mine, 8);
                    break;
                }
                case kAsyncDeviceClear: {
                    {
                        std::lock_guard<std::mutex> use(session->use);
                        session->link->clear();
                    }
                    session->send(fd, kAsyncDeviceClearAcknowledge, session->overlap ? 1 : 0, 0,
                                  nullptr, 0);
                    break;
                }
                case kAsyncStatusQuery: {
                    ViUInt16 stb = 0;
                    {
                        std::lock_guard<std::mutex> use(session->use);
                        session->link->readStb(&stb);
                    }
                    session->send(fd, kAsyncStatusResponse, static_cast<uint8_t>(stb), 0, nullptr,
                                  0);
                    break;
                }
                case kAsyncRemoteLocalControl: {
                    {
                        std::lock_guard<std::mutex> use(session->use);
                        session->link->gpibControlRen(h.control);
                    }
                    session->send(fd, kAsyncRemoteLocalResponse, 0, 0, nullptr, 0);
                    break;
                }
                case kAsyncLock: {
                    uint8_t result;
                    if (h.control == 1) {
                        milliseconds wait(h.parameter);
                        bool ok = payload.empty() ? locks.lockExclusive(session.get(), wait, stop)
                                                  : locks.lockShared(
                                                        session.get(),
                                                        std::string(payload.begin(), payload.end()),
                                                        wait, stop);
                        result = ok ? kLockSuccess : kLockFailure;
                    } else {
                        int was = locks.release(session.get());
                        result = was == 1   ? kLockSuccess
                                 : was == 2 ? kLockSharedReleased
                                            : kLockError;
                    }
                    session->send(fd, kAsyncLockResponse, result, 0, nullptr, 0);
                    break;
                }
                case kAsyncLockInfo:
                    session->send(fd, kAsyncLockInfoResponse, locks.exclusiveHeld() ? 1 : 0,
                                  static_cast<uint32_t>(locks.holders()), nullptr, 0);
                    break;
                default:
                    session->send(fd, kError, kErrorBadType, 0, nullptr, 0);
                    break;
            }
        }
        {
            std::lock_guard<std::mutex> lock(session->asyncSend);
            session->asyncFd = -1;
        }
        logLine("HiSLIP async " + peer + " session " + std::to_string(id) + ": " +
                std::to_string(messages) + " message(s)");
    }

    Bench& bench_;
    Options options_;
    TcpServer server_;
    std::mutex m_;
    std::map<uint16_t, std::shared_ptr<Session>> sessions_;
    uint16_t nextId_ = 1;
};

}  // namespace

std::unique_ptr<Frontend> makeHislipFrontend(Bench& bench, const Options& o) {
    return std::make_unique<HislipFrontend>(bench, o);
}

}  // namespace zusimd

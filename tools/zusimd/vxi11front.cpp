// VXI-11: a portmapper of our own (TCP and UDP, on a chosen port and on 111 when it can be
// had, so that broadcasts and standard clients find us), the core channel, the abort channel,
// and interrupt channels back to clients that enable service requests.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstring>
#include <map>

#include "tools/zusimd/frontends.h"
#include "zuvisa/bridgelets/tcpip/rpc.h"
#include "zuvisa/bridgelets/tcpip/vxi11.h"

namespace zusimd {

namespace {

using namespace zuvisa;
using namespace zuvisa::tcpip;
using namespace std::chrono;

constexpr uint32_t kMaxRecv = 1u << 20;

// The interrupt channel of one core connection, shared by its links.
struct IntrChannel {
    std::mutex m;
    Fd fd;
};

struct CoreLink final : EventSink {
    const Served* served = nullptr;
    int32_t lid = 0;
    std::atomic<bool> abort{false};
    std::atomic<bool> srqEnabled{false};
    std::string handle;  // guarded by intr->m
    std::shared_ptr<IntrChannel> intr;
    std::mutex use;              // one call at a time on the instrument's link
    std::unique_ptr<Link> link;  // last: destroyed first, so no event arrives half-way

    void raise(const EventData& e) override {
        if (e.type != VI_EVENT_SERVICE_REQ || !srqEnabled || !intr) return;
        std::lock_guard<std::mutex> lock(intr->m);
        if (!intr->fd) return;
        XdrWriter a;
        a.opaque(handle.data(), handle.size());
        // device_intr_srq is one-way: nobody waits for its reply, which we drain unread.
        char drain[256];
        while (::recv(intr->fd.get(), drain, sizeof drain, MSG_DONTWAIT) > 0) {
        }
        rpc::writeRecord(intr->fd.get(),
                         rpc::encodeCall({rpc::nextXid(), vxi11::kInterruptProgram, vxi11::kVersion,
                                          vxi11::kIntrSrq},
                                         a.bytes()),
                         IoControl::fromTimeout(500, nullptr));
    }
};

milliseconds ms(uint32_t v) {
    return v >= 0x7FFFFFFF ? milliseconds(-1) : milliseconds(v);
}

class Vxi11Frontend : public Frontend {
  public:
    Vxi11Frontend(Bench& bench, const Options& o) : bench_(bench), options_(o) {}
    ~Vxi11Frontend() override { stop(); }
    const char* name() const override { return "VXI-11"; }

    bool start(std::vector<std::string>* lines, std::string* why) override {
        if (!core_.listen(options_.address, options_.vxi11Port, why) ||
            !abort_.listen(options_.address, 0, why))
            return false;
        if (!portmapper_.listen(options_.address, options_.portmapperPort, why)) return false;
        if (!udp(options_.address, portmapper_.port(), why)) return false;
        std::string extra;
        if (options_.portmapper111 && options_.portmapperPort != 111) {
            std::string ignored;
            // 111 is a bonus: taken by a system portmapper or not ours to bind, we go without.
            if (portmapper111_.listen(options_.address, 111, &ignored) &&
                udp(options_.address, 111, &ignored)) {
                portmapper111_.start([this](int fd, const std::string& peer) {
                    servePortmapper(fd, peer, portmapper111_.stopping());
                });
                has111_ = true;
            }
        }
        core_.start([this](int fd, const std::string& peer) { serveCore(fd, peer); });
        abort_.start([this](int fd, const std::string& peer) { serveAbort(fd, peer); });
        portmapper_.start([this](int fd, const std::string& peer) {
            servePortmapper(fd, peer, portmapper_.stopping());
        });
        udpThread_ = std::thread([this] { serveUdp(); });
        lines->push_back("VXI-11 portmapper on " + hostForName(options_.address) + ":" +
                         std::to_string(portmapper_.port()) +
                         (has111_ ? " and 111" : " (not on 111)") + ", core channel on " +
                         std::to_string(core_.port()));
        for (const Served& s : bench_.served()) {
            if (s.isSocket) continue;
            lines->push_back("TCPIP0::" + hostForName(options_.address) + "::" + s.vxiDevice +
                             "::INSTR serves " + s.resource + " over VXI-11");
        }
        return true;
    }

    void stop() override {
        stopUdp_ = true;
        if (udpThread_.joinable()) udpThread_.join();
        portmapper_.stop();
        portmapper111_.stop();
        core_.stop();
        abort_.stop();
    }

  private:
    bool udp(const std::string& address, uint16_t port, std::string* why) {
        std::vector<Endpoint> eps;
        if (resolve(address, port, &eps, why) < 0) return false;
        Fd fd(::socket(eps[0].family(), SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        int one = 1;
        setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        // Broadcasts reach it when the address is the wildcard (--address 0.0.0.0).
        const Endpoint& bindTo = eps[0];
        if (!fd ||
            ::bind(fd.get(), reinterpret_cast<const sockaddr*>(&bindTo.addr), bindTo.size) != 0) {
            if (why) *why = "portmapper UDP " + bindTo.text() + ": " + strerror(errno);
            return false;
        }
        udp_.push_back(std::move(fd));
        return true;
    }

    // The portmapper's answer to one call (versions 2, 3 and 4), or empty for no reply.
    std::vector<uint8_t> portmap(const std::vector<uint8_t>& record) {
        XdrReader r(record.data(), record.size());
        rpc::Call c;
        if (!rpc::decodeCall(r, &c)) return {};
        if (c.program != rpc::kPortmapProgram)
            return rpc::encodeReply(c.xid, rpc::kProgUnavail, {});
        if (c.version < 2 || c.version > 4)
            return rpc::encodeReply(c.xid, rpc::kProgMismatch, {}, 2, 4);
        XdrWriter out;
        if (c.procedure == 0) return rpc::encodeReply(c.xid, rpc::kSuccess, {});
        if (c.procedure != (c.version == 2 ? rpc::kPortmapGetPort : rpc::kRpcbindGetAddr))
            return rpc::encodeReply(c.xid, rpc::kProcUnavail, {});
        if (c.version == 2) {
            uint32_t prog = r.u32(), vers = r.u32(), prot = r.u32();
            r.u32();
            if (!r.ok()) return rpc::encodeReply(c.xid, rpc::kGarbageArgs, {});
            out.u32(prog == vxi11::kCoreProgram && vers == vxi11::kVersion &&
                            prot == rpc::kIpProtoTcp
                        ? core_.port()
                        : 0);
        } else {
            // rpcbind GETADDR: a universal address ("h1.h2.h3.h4.p1.p2") for a TCP netid.
            uint32_t prog = r.u32(), vers = r.u32();
            std::string netid = r.string(64);
            r.string(256);
            r.string(256);
            if (!r.ok()) return rpc::encodeReply(c.xid, rpc::kGarbageArgs, {});
            std::string uaddr;
            if (prog == vxi11::kCoreProgram && vers == vxi11::kVersion &&
                (netid == "tcp" || netid == "tcp6")) {
                std::string host =
                    options_.address == "0.0.0.0" ? std::string("127.0.0.1") : options_.address;
                for (char& ch : host) ch = ch == ':' && netid == "tcp" ? '.' : ch;
                uaddr = host + "." + std::to_string(core_.port() >> 8) + "." +
                        std::to_string(core_.port() & 0xFF);
            }
            out.string(uaddr);
        }
        return rpc::encodeReply(c.xid, rpc::kSuccess, out.bytes());
    }

    void servePortmapper(int fd, const std::string& peer, const std::atomic<bool>& stop) {
        int calls = 0;
        for (;;) {
            std::vector<uint8_t> record;
            if (rpc::readRecord(fd, 4096, IoControl::fromTimeout(VI_TMO_INFINITE, &stop), &record) <
                0)
                break;
            std::vector<uint8_t> reply = portmap(record);
            ++calls;
            if (reply.empty() ||
                rpc::writeRecord(fd, reply, IoControl::fromTimeout(1000, nullptr)) < 0)
                break;
        }
        logLine("VXI-11 portmapper " + peer + ": " + std::to_string(calls) + " call(s)");
    }

    void serveUdp() {
        while (!stopUdp_) {
            std::vector<pollfd> fds;
            for (const Fd& f : udp_) fds.push_back({f.get(), POLLIN, 0});
            if (::poll(fds.data(), fds.size(), 20) <= 0) continue;
            for (size_t i = 0; i < fds.size(); ++i) {
                if (!(fds[i].revents & POLLIN)) continue;
                uint8_t buf[1500];
                sockaddr_storage from{};
                socklen_t len = sizeof from;
                ssize_t n = ::recvfrom(udp_[i].get(), buf, sizeof buf, 0,
                                       reinterpret_cast<sockaddr*>(&from), &len);
                if (n <= 0) continue;
                std::vector<uint8_t> reply = portmap(std::vector<uint8_t>(buf, buf + n));
                if (!reply.empty())
                    ::sendto(udp_[i].get(), reply.data(), reply.size(), 0,
                             reinterpret_cast<sockaddr*>(&from), len);
                Endpoint e;
                e.addr = from;
                e.size = len;
                logLine("VXI-11 portmapper UDP " + e.text() + ": 1 call");
            }
        }
    }

    std::shared_ptr<CoreLink> findLink(int32_t lid) {
        std::lock_guard<std::mutex> lock(m_);
        auto it = links_.find(lid);
        return it == links_.end() ? nullptr : it->second;
    }

    void serveAbort(int fd, const std::string& peer) {
        int calls = 0;
        for (;;) {
            std::vector<uint8_t> record;
            if (rpc::readRecord(fd, 4096,
                                IoControl::fromTimeout(VI_TMO_INFINITE, &abort_.stopping()),
                                &record) < 0)
                break;
            XdrReader r(record.data(), record.size());
            rpc::Call c;
            if (!rpc::decodeCall(r, &c)) break;
            ++calls;
            std::vector<uint8_t> reply;
            if (c.program != vxi11::kAbortProgram)
                reply = rpc::encodeReply(c.xid, rpc::kProgUnavail, {});
            else if (c.procedure == 0)
                reply = rpc::encodeReply(c.xid, rpc::kSuccess, {});
            else if (c.procedure != vxi11::kAbort)
                reply = rpc::encodeReply(c.xid, rpc::kProcUnavail, {});
            else {
                int32_t lid = r.i32();
                auto l = r.ok() ? findLink(lid) : nullptr;
                if (l) l->abort = true;
                XdrWriter w;
                w.i32(l ? vxi11::kNoError : vxi11::kInvalidLink);
                reply = rpc::encodeReply(c.xid, rpc::kSuccess, w.bytes());
            }
            if (rpc::writeRecord(fd, reply, IoControl::fromTimeout(1000, nullptr)) < 0) break;
        }
        logLine("VXI-11 abort channel " + peer + ": " + std::to_string(calls) + " abort(s)");
    }

    struct Connection {
        std::vector<int32_t> lids;
        std::shared_ptr<IntrChannel> intr = std::make_shared<IntrChannel>();
        std::string devices;
        int calls = 0;
    };

    void serveCore(int fd, const std::string& peer) {
        Connection conn;
        setNoDelay(fd, true);
        StreamReader in(fd);
        const std::atomic<bool>& stop = core_.stopping();
        std::string end = "closed by the client";
        for (;;) {
            std::vector<uint8_t> record;
            ViStatus st = rpc::readRecord(in, rpc::kMaxRecord,
                                          IoControl::fromTimeout(VI_TMO_INFINITE, &stop), &record);
            if (st < 0) {
                if (stop)
                    end = "server stopped";
                else if (st != VI_ERROR_CONN_LOST)
                    end = "broken record";
                break;
            }
            XdrReader r(record.data(), record.size());
            rpc::Call c;
            if (!rpc::decodeCall(r, &c)) {
                end = "not an RPC call";
                break;
            }
            ++conn.calls;
            std::vector<uint8_t> reply = core(c, r, conn, peer);
            if (rpc::writeRecord(fd, reply, IoControl::fromTimeout(5000, &stop)) < 0) {
                end = "client gone";
                break;
            }
        }
        for (int32_t lid : conn.lids) dropLink(lid);
        logLine("VXI-11 core " + peer + (conn.devices.empty() ? "" : " (" + conn.devices + ")") +
                ": " + std::to_string(conn.calls) + " call(s), " + end);
    }

    void dropLink(int32_t lid) {
        std::shared_ptr<CoreLink> l;
        {
            std::lock_guard<std::mutex> lock(m_);
            auto it = links_.find(lid);
            if (it == links_.end()) return;
            l = it->second;
            links_.erase(it);
        }
        l->served->locks->release(l.get());
    }

    std::vector<uint8_t> core(const rpc::Call& c, XdrReader& r, Connection& conn,
                              const std::string& peer) {
        using namespace vxi11;
        if (c.program != kCoreProgram) return rpc::encodeReply(c.xid, rpc::kProgUnavail, {});
        if (c.version != kVersion) return rpc::encodeReply(c.xid, rpc::kProgMismatch, {}, 1, 1);
        XdrWriter out;
        auto garbage = [&] { return rpc::encodeReply(c.xid, rpc::kGarbageArgs, {}); };
        auto error = [&](int32_t e) {
            out.i32(e);
            return rpc::encodeReply(c.xid, rpc::kSuccess, out.bytes());
        };
        auto owned = [&](int32_t lid) -> std::shared_ptr<CoreLink> {
            for (int32_t l : conn.lids) {
                if (l == lid) return findLink(lid);
            }
            return nullptr;
        };
        switch (c.procedure) {
            case 0:
                return rpc::encodeReply(c.xid, rpc::kSuccess, {});
            case kCreateLink: {
                CreateLinkParms p;
                if (!decode(r, &p)) return garbage();
                const Served* s = bench_.byVxiDevice(p.device);
                CreateLinkResp resp;
                auto l = std::make_shared<CoreLink>();
                l->intr = conn.intr;  // before the link: its events may come at once
                if (!s) {
                    resp.error = kNotAccessible;
                } else if (bench_.open(*s, l.get(), &l->link) < 0) {
                    resp.error = kOutOfResources;
                } else if (p.lockDevice &&
                           !s->locks->lockExclusive(l.get(), ms(p.lockTimeout), core_.stopping())) {
                    resp.error = kLocked;
                } else {
                    l->served = s;
                    std::lock_guard<std::mutex> lock(m_);
                    l->lid = resp.lid = nextLid_++;
                    links_[l->lid] = l;
                    conn.lids.push_back(l->lid);
                    conn.devices += (conn.devices.empty() ? "" : ", ") + s->vxiDevice;
                }
                resp.abortPort = abort_.port();
                resp.maxRecvSize = std::min(options_.vxi11MaxRecv, kMaxRecv);
                encode(out, resp);
                return rpc::encodeReply(c.xid, rpc::kSuccess, out.bytes());
            }
            case kDestroyLink: {
                int32_t lid = r.i32();
                if (!r.ok()) return garbage();
                if (!owned(lid)) return error(kInvalidLink);
                dropLink(lid);
                std::erase(conn.lids, lid);
                return error(kNoError);
            }
            case kWrite: {
                WriteParms p;
                if (!decode(r, &p, kMaxRecv)) return garbage();
                auto l = owned(p.lid);
                WriteResp resp;
                if (!l)
                    resp.error = kInvalidLink;
                else if (!mayUse(*l, p.flags, p.lockTimeout))
                    resp.error = kLocked;
                else {
                    std::lock_guard<std::mutex> use(l->use);
                    l->abort = false;
                    size_t done = 0;
                    ViStatus st =
                        l->link->write(reinterpret_cast<const ViByte*>(p.data.data()),
                                       p.data.size(), (p.flags & kEnd) != 0,
                                       IoControl::fromTimeout(p.ioTimeout, &l->abort), &done);
                    resp.error = errorOf(st);
                    resp.size = static_cast<uint32_t>(done);
                }
                encode(out, resp);
                return rpc::encodeReply(c.xid, rpc::kSuccess, out.bytes());
            }
            case kRead: {
                ReadParms p;
                if (!decode(r, &p)) return garbage();
                auto l = owned(p.lid);
                ReadResp resp;
                std::vector<ViByte> buf;
                if (!l)
                    resp.error = kInvalidLink;
                else if (!mayUse(*l, p.flags, p.lockTimeout))
                    resp.error = kLocked;
                else {
                    std::lock_guard<std::mutex> use(l->use);
                    l->abort = false;
                    buf.resize(std::min(p.requestSize, kMaxRecv));
                    ReadOptions opt;
                    opt.termCharEnabled = (p.flags & kTermCharSet) != 0;
                    opt.termChar = p.termChar;
                    size_t done = 0;
                    ViStatus st =
                        l->link->read(buf.data(), buf.size(), opt,
                                      IoControl::fromTimeout(p.ioTimeout, &l->abort), &done);
                    resp.error = errorOf(st);
                    resp.reason = st == VI_SUCCESS_TERM_CHAR ? uint32_t{kChr}
                                  : st == VI_SUCCESS         ? uint32_t{kReasonEnd}
                                  : st == VI_SUCCESS_MAX_CNT ? uint32_t{kReqCnt}
                                                             : 0u;
                    resp.data = std::string_view(reinterpret_cast<const char*>(buf.data()), done);
                }
                encode(out, resp);
                return rpc::encodeReply(c.xid, rpc::kSuccess, out.bytes());
            }
            case kReadStb:
            case kTrigger:
            case kClear:
            case kRemote:
            case kLocal: {
                GenericParms p;
                if (!decode(r, &p)) return garbage();
                auto l = owned(p.lid);
                if (!l) return error(kInvalidLink);
                if (!mayUse(*l, p.flags, p.lockTimeout)) return error(kLocked);
                std::lock_guard<std::mutex> use(l->use);
                ViUInt16 stb = 0;
                ViStatus st = VI_SUCCESS;
                if (c.procedure == kReadStb)
                    st = l->link->readStb(&stb);
                else if (c.procedure == kTrigger)
                    st = l->link->assertTrigger(VI_TRIG_PROT_DEFAULT);
                else if (c.procedure == kClear)
                    st = l->link->clear();
                else {
                    // Instruments without remote state take it as done.
                    st = l->link->gpibControlRen(c.procedure == kRemote ? VI_GPIB_REN_ASSERT_ADDRESS
                                                                        : VI_GPIB_REN_ADDRESS_GTL);
                    if (st == VI_ERROR_NSUP_OPER) st = VI_SUCCESS;
                }
                out.i32(errorOf(st));
                if (c.procedure == kReadStb) out.u32(stb);
                return rpc::encodeReply(c.xid, rpc::kSuccess, out.bytes());
            }
            case kLock: {
                LockParms p;
                if (!decode(r, &p)) return garbage();
                auto l = owned(p.lid);
                if (!l) return error(kInvalidLink);
                milliseconds wait = (p.flags & kWaitLock) ? ms(p.lockTimeout) : milliseconds(0);
                return error(l->served->locks->lockExclusive(l.get(), wait, core_.stopping())
                                 ? kNoError
                                 : kLocked);
            }
            case kUnlock: {
                int32_t lid = r.i32();
                if (!r.ok()) return garbage();
                auto l = owned(lid);
                if (!l) return error(kInvalidLink);
                return error(l->served->locks->release(l.get()) == 1 ? kNoError : kNoLock);
            }
            case kEnableSrq: {
                EnableSrqParms p;
                if (!decode(r, &p)) return garbage();
                auto l = owned(p.lid);
                if (!l) return error(kInvalidLink);
                std::lock_guard<std::mutex> lock(l->intr->m);  // raise reads the handle under it
                l->handle = p.handle;
                l->srqEnabled = p.enable;
                return error(kNoError);
            }
            case kCreateIntrChan: {
                RemoteFunc f;
                if (!decode(r, &f)) return garbage();
                if (f.progFamily != 0 || f.hostPort == 0 || f.hostPort > 0xFFFF)
                    return error(kParameterError);
                std::lock_guard<std::mutex> lock(conn.intr->m);
                if (conn.intr->fd) return error(kChannelEstablished);
                Endpoint e;
                auto* a = reinterpret_cast<sockaddr_in*>(&e.addr);
                a->sin_family = AF_INET;
                a->sin_addr.s_addr = htonl(f.hostAddr);
                a->sin_port = htons(static_cast<uint16_t>(f.hostPort));
                e.size = sizeof(sockaddr_in);
                std::string why;
                if (connectTo({e}, IoControl::fromTimeout(2000, nullptr), &conn.intr->fd, &why) <
                    0) {
                    logLine("VXI-11 core " + peer + ": no interrupt channel (" + why + ")");
                    return error(kNoChannel);
                }
                return error(kNoError);
            }
            case kDestroyIntrChan: {
                std::lock_guard<std::mutex> lock(conn.intr->m);
                if (!conn.intr->fd) return error(kNoChannel);
                conn.intr->fd.reset();
                return error(kNoError);
            }
            case kDoCmd:
                return error(kNotSupported);
            default:
                return rpc::encodeReply(c.xid, rpc::kProcUnavail, {});
        }
    }

    bool mayUse(CoreLink& l, uint32_t flags, uint32_t lockTimeout) {
        milliseconds wait = (flags & vxi11::kWaitLock) ? ms(lockTimeout) : milliseconds(0);
        return l.served->locks->mayUse(&l, wait, core_.stopping());
    }

    Bench& bench_;
    Options options_;
    TcpServer core_, abort_, portmapper_, portmapper111_;
    bool has111_ = false;
    std::vector<Fd> udp_;
    std::thread udpThread_;
    std::atomic<bool> stopUdp_{false};
    std::mutex m_;
    std::map<int32_t, std::shared_ptr<CoreLink>> links_;
    int32_t nextLid_ = 1;
};

}  // namespace

std::unique_ptr<Frontend> makeVxi11Frontend(Bench& bench, const Options& o) {
    return std::make_unique<Vxi11Frontend>(bench, o);
}

}  // namespace zusimd

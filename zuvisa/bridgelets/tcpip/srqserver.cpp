#include "zuvisa/bridgelets/tcpip/srqserver.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "zuvisa/bridgelets/tcpip/rpc.h"
#include "zuvisa/bridgelets/tcpip/vxi11.h"

namespace zuvisa::tcpip {

namespace {
constexpr size_t kMaxSrqRecord = 512;
}

SrqServer::~SrqServer() {
    stop_ = true;
    if (wake_[1] >= 0) {
        char c = 0;
        if (::write(wake_[1], &c, 1) < 0) {
        }
    }
    if (thread_.joinable()) thread_.join();
    for (int fd : wake_) {
        if (fd >= 0) ::close(fd);
    }
}

uint16_t SrqServer::start() {
    std::lock_guard<std::mutex> lock(m_);
    if (port_) return port_;
    std::string why;
    // Instruments connect from the network: listen on every IPv4 address.
    if (listenTcp("0.0.0.0", 0, &listener_, &port_, &why) < 0) return 0;
    if (pipe2(wake_, O_CLOEXEC) != 0) {
        port_ = 0;
        return 0;
    }
    thread_ = std::thread([this] { run(); });
    return port_;
}

uint32_t SrqServer::add(EventSink* sink) {
    std::lock_guard<std::mutex> lock(m_);
    uint32_t h = next_++;
    sinks_[h] = sink;
    return h;
}

void SrqServer::forget(uint32_t handle) {
    std::lock_guard<std::mutex> lock(m_);
    sinks_.erase(handle);
}

void SrqServer::raise(uint32_t handle) {
    std::lock_guard<std::mutex> lock(m_);
    auto it = sinks_.find(handle);
    if (it == sinks_.end()) return;
    EventData e;
    e.type = VI_EVENT_SERVICE_REQ;
    it->second->raise(e);
}

std::vector<uint8_t> SrqServer::handleRecord(const std::vector<uint8_t>& record) {
    XdrReader r(record.data(), record.size());
    rpc::Call call;
    if (!rpc::decodeCall(r, &call)) return {};
    if (call.program != vxi11::kInterruptProgram)
        return rpc::encodeReply(call.xid, rpc::kProgUnavail, {});
    if (call.version != vxi11::kVersion)
        return rpc::encodeReply(call.xid, rpc::kProgMismatch, {}, 1, 1);
    if (call.procedure == 0) return rpc::encodeReply(call.xid, rpc::kSuccess, {});
    if (call.procedure != vxi11::kIntrSrq) return rpc::encodeReply(call.xid, rpc::kProcUnavail, {});
    std::string_view handle = r.opaque(vxi11::kMaxHandle);
    if (!r.ok()) return rpc::encodeReply(call.xid, rpc::kGarbageArgs, {});
    if (handle.size() == 4) {
        uint32_t h = 0;
        for (char c : handle) h = (h << 8) | static_cast<uint8_t>(c);
        raise(h);
    }
    return rpc::encodeReply(call.xid, rpc::kSuccess, {});
}

void SrqServer::run() {
    std::vector<Fd> clients;
    while (!stop_) {
        std::vector<pollfd> fds;
        fds.push_back({wake_[0], POLLIN, 0});
        fds.push_back({listener_.get(), POLLIN, 0});
        for (const Fd& c : clients) fds.push_back({c.get(), POLLIN, 0});
        if (::poll(fds.data(), fds.size(), -1) < 0) continue;
        if (fds[0].revents) break;
        const size_t polled = clients.size();  // a client accepted now has no poll entry yet
        if (fds[1].revents & POLLIN) {
            int c = ::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (c >= 0 && clients.size() < 64)
                clients.emplace_back(c);
            else if (c >= 0)
                ::close(c);
        }
        std::vector<Fd> keep;
        for (size_t i = 0; i < clients.size(); ++i) {
            bool alive = true;
            if (i < polled && fds[i + 2].revents) {
                std::vector<uint8_t> record;
                // A record arrives whole or the instrument is dropped: it may not stall us.
                if (rpc::readRecord(clients[i].get(), kMaxSrqRecord,
                                    IoControl::fromTimeout(1000, nullptr), &record) < 0) {
                    alive = false;
                } else {
                    std::vector<uint8_t> reply = handleRecord(record);
                    if (!reply.empty())
                        rpc::writeRecord(clients[i].get(), reply,
                                         IoControl::fromTimeout(1000, nullptr));
                }
            }
            if (alive) keep.push_back(std::move(clients[i]));
        }
        clients = std::move(keep);
    }
}

}  // namespace zuvisa::tcpip

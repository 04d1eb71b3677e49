#include "zuvisa/bridgelets/tcpip/net.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace zuvisa::tcpip {

namespace {

// A cancellable wait checks its flag this often.
constexpr int kSliceMs = 20;

int pollTimeout(const IoControl& io) {
    if (io.infinite) return io.cancel ? kSliceMs : -1;
    auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(io.deadline - Clock::now()).count();
    if (left < 0) left = 0;
    // Round up, so that a wait of less than a millisecond does not spin.
    if (left == 0 && io.deadline > Clock::now()) left = 1;
    return static_cast<int>(io.cancel ? std::min<long long>(left, kSliceMs)
                                      : std::min<long long>(left, 1 << 30));
}

ViStatus lost(int err) {
    return err == ECONNRESET || err == EPIPE || err == ENOTCONN || err == ETIMEDOUT ||
                   err == EHOSTUNREACH || err == ENETUNREACH
               ? VI_ERROR_CONN_LOST
               : VI_ERROR_IO;
}

bool setNonBlocking(int fd, bool on = true) {
    int flags = fcntl(fd, F_GETFL, 0);
    return flags >= 0 && fcntl(fd, F_SETFL, on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK) == 0;
}

constexpr timeval kSlice{0, kSliceMs * 1000};

// Whether a receive may block for a whole slice before the deadline.
bool sliceFits(const IoControl& io) {
    return io.infinite || io.deadline - Clock::now() >= std::chrono::milliseconds(kSliceMs);
}

}  // namespace

Fd& Fd::operator=(Fd&& o) noexcept {
    if (this != &o) reset(o.release());
    return *this;
}

void Fd::reset(int fd) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
}

std::string Endpoint::text() const {
    char host[INET6_ADDRSTRLEN] = "?";
    if (addr.ss_family == AF_INET) {
        auto* a = reinterpret_cast<const sockaddr_in*>(&addr);
        inet_ntop(AF_INET, &a->sin_addr, host, sizeof host);
        return std::string(host) + ":" + std::to_string(ntohs(a->sin_port));
    }
    if (addr.ss_family == AF_INET6) {
        auto* a = reinterpret_cast<const sockaddr_in6*>(&addr);
        inet_ntop(AF_INET6, &a->sin6_addr, host, sizeof host);
        return "[" + std::string(host) + "]:" + std::to_string(ntohs(a->sin6_port));
    }
    return host;
}

std::string bareHost(const std::string& host) {
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']')
        return host.substr(1, host.size() - 2);
    return host;
}

ViStatus resolve(const std::string& hostIn, uint16_t port, std::vector<Endpoint>* out,
                 std::string* why) {
    out->clear();
    std::string host = bareHost(hostIn);
    if (host.empty()) {
        if (why) *why = "no host";
        return VI_ERROR_RSRC_NFOUND;
    }
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* res = nullptr;
    std::string service = std::to_string(port);
    int rc = getaddrinfo(host.c_str(), service.c_str(), &hints, &res);
    if (rc != 0) {
        if (why) *why = "cannot resolve " + host + ": " + gai_strerror(rc);
        return VI_ERROR_RSRC_NFOUND;
    }
    for (addrinfo* a = res; a; a = a->ai_next) {
        if (a->ai_addrlen > sizeof(sockaddr_storage)) continue;
        Endpoint e;
        std::memcpy(&e.addr, a->ai_addr, a->ai_addrlen);
        e.size = a->ai_addrlen;
        out->push_back(e);
    }
    freeaddrinfo(res);
    if (out->empty()) {
        if (why) *why = "no address for " + host;
        return VI_ERROR_RSRC_NFOUND;
    }
    return VI_SUCCESS;
}

ViStatus connectTo(const std::vector<Endpoint>& to, const IoControl& io, Fd* out,
                   std::string* why) {
    ViStatus result = VI_ERROR_RSRC_NFOUND;
    for (const Endpoint& e : to) {
        Fd fd(::socket(e.family(), SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (!fd || !setNonBlocking(fd.get())) {
            if (why) *why = std::string("socket: ") + strerror(errno);
            result = VI_ERROR_SYSTEM_ERROR;
            continue;
        }
        int rc = ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&e.addr), e.size);
        int err = rc == 0 ? 0 : errno;
        if (err == EINPROGRESS) {
            ViStatus st = waitFor(fd.get(), POLLOUT, io);
            if (st < 0) {
                if (why) *why = e.text() + (st == VI_ERROR_TMO ? ": no answer" : ": abandoned");
                return st;  // the time is spent: other addresses would not do better
            }
            socklen_t len = sizeof err;
            if (getsockopt(fd.get(), SOL_SOCKET, SO_ERROR, &err, &len) != 0) err = errno;
        }
        if (err == 0) {
            waitInReceive(fd.get());
            *out = std::move(fd);
            return VI_SUCCESS;
        }
        if (why) *why = e.text() + ": " + strerror(err);
        result = err == ECONNREFUSED ? VI_ERROR_MACHINE_NAVAIL
                 : (err == ETIMEDOUT)
                     ? VI_ERROR_TMO
                     : (result == VI_ERROR_MACHINE_NAVAIL ? result : VI_ERROR_RSRC_NFOUND);
    }
    return result;
}

void waitInReceive(int fd) {
    if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kSlice, sizeof kSlice) == 0)
        setNonBlocking(fd, false);
}

bool waitsInReceive(int fd) {
    int flags = fcntl(fd, F_GETFL, 0);
    timeval limit{};
    socklen_t len = sizeof limit;
    if (flags < 0 || (flags & O_NONBLOCK) ||
        getsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, &len) != 0)
        return false;
    long long us = limit.tv_sec * 1000000LL + limit.tv_usec;
    return us > 0 && us <= kSliceMs * 1000LL;
}

ViStatus waitFor(int fd, short events, const IoControl& io) {
    for (;;) {
        if (io.cancelled()) return VI_ERROR_ABORT;
        pollfd p{fd, events, 0};
        int timeout = pollTimeout(io);
        int rc = ::poll(&p, 1, timeout);
        if (rc > 0) return VI_SUCCESS;  // errors and hang-ups show in the call that follows
        if (rc < 0 && errno != EINTR) return VI_ERROR_IO;
        if (io.cancelled()) return VI_ERROR_ABORT;
        if (io.expired()) return VI_ERROR_TMO;
    }
}

ViStatus sendAll(int fd, const void* data, size_t size, const IoControl& io, size_t* done) {
    const char* p = static_cast<const char*>(data);
    size_t sent = 0;
    while (sent < size) {
        ssize_t n = ::send(fd, p + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            sent += static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            ViStatus st = waitFor(fd, POLLOUT, io);
            if (st < 0) {
                if (done) *done = sent;
                return st;
            }
            continue;
        }
        if (done) *done = sent;
        return lost(errno);
    }
    if (done) *done = sent;
    return VI_SUCCESS;
}

ViStatus sendTwo(int fd, const void* a, size_t na, const void* b, size_t nb, const IoControl& io) {
    iovec v[2] = {{const_cast<void*>(a), na}, {const_cast<void*>(b), nb}};
    msghdr m{};
    m.msg_iov = v;
    m.msg_iovlen = nb ? 2 : 1;
    ssize_t n;
    do {
        n = ::sendmsg(fd, &m, MSG_NOSIGNAL | MSG_DONTWAIT);
    } while (n < 0 && errno == EINTR);
    if (n < 0) {
        if (errno != EAGAIN && errno != EWOULDBLOCK) return lost(errno);
        n = 0;
    }
    size_t sent = static_cast<size_t>(n);
    if (sent < na) {
        ViStatus st = sendAll(fd, static_cast<const char*>(a) + sent, na - sent, io);
        if (st < 0) return st;
        sent = na;
    }
    if (sent - na < nb)
        return sendAll(fd, static_cast<const char*>(b) + (sent - na), nb - (sent - na), io);
    return VI_SUCCESS;
}

ViStatus recvSome(int fd, void* data, size_t size, const IoControl& io, size_t* got,
                  RecvWait wait) {
    *got = 0;
    if (size == 0) return VI_SUCCESS;
    if (wait == RecvWait::BeforeTry) {
        ViStatus st = waitFor(fd, POLLIN, io);
        if (st < 0) return st;
    }
    for (;;) {
        // Near the deadline the wait is a poll, which keeps to it to the millisecond.
        bool inReceive = wait == RecvWait::InReceive && !io.cancelled() && sliceFits(io);
        ssize_t n = ::recv(fd, data, size, inReceive ? 0 : MSG_DONTWAIT);
        if (n > 0) {
            *got = static_cast<size_t>(n);
            return VI_SUCCESS;
        }
        if (n == 0) return VI_ERROR_CONN_LOST;
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) return lost(errno);
        if (inReceive) continue;  // a slice passed: the flag and the deadline are looked at again
        ViStatus st = waitFor(fd, POLLIN, io);
        if (st < 0) return st;
    }
}

ViStatus recvExact(int fd, void* data, size_t size, const IoControl& io, RecvWait wait) {
    char* p = static_cast<char*>(data);
    size_t have = 0;
    while (have < size) {
        size_t n = 0;
        ViStatus st = recvSome(fd, p + have, size - have, io, &n, wait);
        if (st < 0) return st;
        have += n;
    }
    return VI_SUCCESS;
}

ViStatus StreamReader::readExact(void* data, size_t size, const IoControl& io) {
    if (buf_.empty()) return recvExact(fd_, data, size, io);
    uint8_t* out = static_cast<uint8_t*>(data);
    while (size > 0) {
        if (start_ < end_) {
            size_t n = std::min(size, end_ - start_);
            std::memcpy(out, buf_.data() + start_, n);
            start_ += n;
            out += n;
            size -= n;
            continue;
        }
        start_ = end_ = 0;
        RecvWait wait = waitsInReceive_ ? RecvWait::InReceive : RecvWait::AfterTry;
        if (size >= buf_.size()) return recvExact(fd_, out, size, io, wait);  // large: no copy
        size_t got = 0;
        // An empty buffer mostly means the peer has not answered yet.
        if (!waitsInReceive_) wait = RecvWait::BeforeTry;
        ViStatus st = recvSome(fd_, buf_.data(), buf_.size(), io, &got, wait);
        if (st < 0) return st;
        end_ = got;
    }
    return VI_SUCCESS;
}

size_t pendingBytes(int fd) {
    int n = 0;
    if (ioctl(fd, FIONREAD, &n) != 0 || n < 0) return 0;
    return static_cast<size_t>(n);
}

void setNoDelay(int fd, bool on) {
    int v = on ? 1 : 0;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &v, sizeof v);
}

void setKeepAlive(int fd, bool on) {
    int v = on ? 1 : 0;
    setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &v, sizeof v);
}

ViStatus listenTcp(const std::string& address, uint16_t port, Fd* out, uint16_t* bound,
                   std::string* why) {
    std::vector<Endpoint> eps;
    std::string host = address.empty() ? std::string("127.0.0.1") : address;
    ViStatus st = resolve(host, port, &eps, why);
    if (st < 0) return st;
    const Endpoint& e = eps.front();
    Fd fd(::socket(e.family(), SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        if (why) *why = std::string("socket: ") + strerror(errno);
        return VI_ERROR_SYSTEM_ERROR;
    }
    int one = 1;
    setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&e.addr), e.size) != 0 ||
        ::listen(fd.get(), 64) != 0) {
        if (why) *why = e.text() + ": " + strerror(errno);
        return VI_ERROR_RSRC_BUSY;
    }
    setNonBlocking(fd.get());
    if (bound) *bound = localPort(fd.get());
    *out = std::move(fd);
    return VI_SUCCESS;
}

uint16_t localPort(int fd) {
    sockaddr_storage a{};
    socklen_t len = sizeof a;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) != 0) return 0;
    if (a.ss_family == AF_INET) return ntohs(reinterpret_cast<sockaddr_in*>(&a)->sin_port);
    if (a.ss_family == AF_INET6) return ntohs(reinterpret_cast<sockaddr_in6*>(&a)->sin6_port);
    return 0;
}

}  // namespace zuvisa::tcpip

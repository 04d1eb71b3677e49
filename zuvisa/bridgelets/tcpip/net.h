// Sockets for the tcpip bridgelet and for zusimd: name resolution (IPv4 and IPv6), connecting
// within a time limit, and sending and receiving under an IoControl (deadline and cancel flag).
// Every wait is cut in slices (a poll, or a receive with a slice-long limit), so that viTerminate
// and viClose reach a blocked call.
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "zuvisa/bridgelet.h"

namespace zuvisa::tcpip {

// What a reply that breaks its protocol (malformed, oversized, out of order) gives.
inline constexpr ViStatus kMalformedReply = VI_ERROR_RAW_RD_PROT_VIOL;

struct Endpoint {
    sockaddr_storage addr{};
    socklen_t size = 0;
    std::string text() const;  // "127.0.0.1:5025", "[::1]:4880"
    int family() const { return addr.ss_family; }
};

// An owned file descriptor, closed on destruction.
class Fd {
  public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    Fd(Fd&& o) noexcept : fd_(o.release()) {}
    Fd& operator=(Fd&& o) noexcept;
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() { reset(); }
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() {
        int f = fd_;
        fd_ = -1;
        return f;
    }
    void reset(int fd = -1);

  private:
    int fd_ = -1;
};

// The host of a resource name without IPv6 brackets ("[::1]" gives "::1").
std::string bareHost(const std::string& host);

// Resolves host (a name, an IPv4 address, or an IPv6 address with or without brackets).
// VI_ERROR_RSRC_NFOUND for a name nobody knows, with the resolver's reason in *why.
ViStatus resolve(const std::string& host, uint16_t port, std::vector<Endpoint>* out,
                 std::string* why);

// Connects to the first endpoint that accepts. VI_ERROR_MACHINE_NAVAIL when every endpoint
// refused, VI_ERROR_TMO when the limit passed first (a host that does not answer).
// The socket it gives waits in its receives (see waitsInReceive); its sends never block.
ViStatus connectTo(const std::vector<Endpoint>& to, const IoControl& io, Fd* out, std::string* why);

// Makes fd's receives wait in the kernel, a slice at a time (connecting needs a non-blocking
// socket; receiving after it does not). Where that cannot be set fd stays non-blocking and
// its receives poll.
void waitInReceive(int fd);

// Whether a receive on fd may block: a blocking socket whose receive limit is one wait slice,
// so that a blocked receive still sees the deadline and the cancel flag in time. Asked once
// per connection; other sockets must be non-blocking.
bool waitsInReceive(int fd);

// Waits until fd is readable (POLLIN) or writable; VI_ERROR_TMO or VI_ERROR_ABORT otherwise.
ViStatus waitFor(int fd, short events, const IoControl& io);

// Sends everything. VI_ERROR_CONN_LOST when the peer went away.
ViStatus sendAll(int fd, const void* data, size_t size, const IoControl& io,
                 size_t* done = nullptr);
// Sends two buffers in one call where the kernel takes them (a header and its payload).
ViStatus sendTwo(int fd, const void* a, size_t na, const void* b, size_t nb, const IoControl& io);
// How a receive waits for data that is not there yet.
enum class RecvWait {
    AfterTry,   // try first, then poll: the data is likely there already
    BeforeTry,  // poll first: an answer just asked for (saves the receive that finds nothing)
    InReceive,  // the receive itself waits, a slice at a time (a socket that waitsInReceive):
                // one call per answer instead of a poll and a receive
};
// Receives at least one byte and at most size. VI_ERROR_CONN_LOST at the end of the stream.
ViStatus recvSome(int fd, void* data, size_t size, const IoControl& io, size_t* got,
                  RecvWait wait = RecvWait::AfterTry);
// Receives exactly size bytes.
ViStatus recvExact(int fd, void* data, size_t size, const IoControl& io,
                   RecvWait wait = RecvWait::AfterTry);
// Exact reads from a stream socket through a buffer of its own, so that a header and what
// follows it usually come in one receive. Capacity 0 reads straight from the socket, for a
// connection that another reader takes over later.
class StreamReader {
public:
    explicit StreamReader(int fd, size_t capacity = 16 * 1024)
        : fd_(fd), buf_(capacity),
          waitsInReceive_(capacity && waitsInReceive(fd)) {}
    ViStatus readExact(void* data, size_t size, const IoControl& io);
    size_t buffered() const { return end_ - start_; }
    int fd() const { return fd_; }

private:
    int fd_;
    std::vector<uint8_t> buf_;
    bool waitsInReceive_;
    size_t start_ = 0, end_ = 0;
};

// Bytes waiting to be read now, without blocking.
size_t pendingBytes(int fd);

void setNoDelay(int fd, bool on);
void setKeepAlive(int fd, bool on);

// A listening TCP socket on address:port (port 0: any free port); its port in *bound.
ViStatus listenTcp(const std::string& address, uint16_t port, Fd* out, uint16_t* bound,
                   std::string* why);
uint16_t localPort(int fd);

}  // namespace zuvisa::tcpip

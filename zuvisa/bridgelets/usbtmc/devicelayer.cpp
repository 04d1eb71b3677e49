#include "zuvisa/bridgelets/usbtmc/devicelayer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace zuvisa::usbtmc {

namespace {

int sysOpen(const char* path, int flags) {
    int fd = ::open(path, flags | O_CLOEXEC);
    return fd < 0 ? -errno : fd;
}

int sysClose(int fd) { return ::close(fd) < 0 ? -errno : 0; }

ssize_t sysRead(int fd, void* buf, size_t count) {
    for (;;) {
        ssize_t n = ::read(fd, buf, count);
        if (n >= 0) return n;
        if (errno != EINTR) return -errno;
    }
}

ssize_t sysWrite(int fd, const void* buf, size_t count) {
    for (;;) {
        ssize_t n = ::write(fd, buf, count);
        if (n >= 0) return n;
        if (errno != EINTR) return -errno;
    }
}

int sysIoctl(int fd, unsigned long request, void* arg) {
    for (;;) {
        int rc = ::ioctl(fd, request, arg);
        if (rc >= 0) return rc;
        if (errno != EINTR) return -errno;
    }
}

int sysPoll(int fd, short events, int wakeFd, int timeoutMs, short* revents) {
    pollfd fds[2] = {{fd, events, 0}, {wakeFd, POLLIN, 0}};
    int rc = ::poll(fds, wakeFd >= 0 ? 2 : 1, timeoutMs);
    if (rc < 0) return errno == EINTR ? 0 : -errno;
    *revents = fds[0].revents;
    return rc > 0 ? 1 : 0;
}

const ZuTmcDeviceLayer kSystem = {sysOpen, sysClose, sysRead, sysWrite, sysIoctl, sysPoll};

}  // namespace

const ZuTmcDeviceLayer* systemDeviceLayer() { return &kSystem; }

}  // namespace zuvisa::usbtmc

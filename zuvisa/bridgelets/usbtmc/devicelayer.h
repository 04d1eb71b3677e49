// How the usbtmc bridgelet reaches the driver: through a table of the few calls it makes on
// /dev/usbtmcN. The system's table makes the calls themselves; a module named in the
// configuration ("DeviceLayer") can give another (a stand-in for tests that follows the
// driver's rules). Every call returns what the system call would, with -errno for a failure.
#pragma once

#include <stddef.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

struct ZuTmcDeviceLayer {
    int (*open)(const char* path, int flags);
    int (*close)(int fd);
    ssize_t (*read)(int fd, void* buf, size_t count);
    ssize_t (*write)(int fd, const void* buf, size_t count);
    int (*ioctl)(int fd, unsigned long request, void* arg);
    // Waits up to timeoutMs (-1: no limit) for events on fd, or until wakeFd (an eventfd)
    // becomes readable; *revents gets fd's events. Returns 0 on timeout, 1 when woken or ready.
    int (*poll)(int fd, short events, int wakeFd, int timeoutMs, short* revents);
};

// What a device-layer module exports.
typedef const struct ZuTmcDeviceLayer* (*ZuTmcDeviceLayerFn)(void);
#define ZU_TMC_DEVICE_LAYER_ENTRY "zuvisaUsbtmcDeviceLayer"

#ifdef __cplusplus
}

namespace zuvisa::usbtmc {
// The system's own calls.
const ZuTmcDeviceLayer* systemDeviceLayer();
}  // namespace zuvisa::usbtmc
#endif

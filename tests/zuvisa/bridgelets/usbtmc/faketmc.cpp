// The usbtmc driver's stand-in (see faketmc.h).
#include "faketmc.h"

#include <poll.h>

#include <cerrno>
#include <cstdio>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "zuvisa/bridgelets/usbtmc/devicelayer.h"
#include "zuvisa/bridgelets/usbtmc/tmc.h"

namespace {

namespace tmc = zuvisa::usbtmc::tmc;
using Clock = std::chrono::steady_clock;

struct Device {
    FakeTmcSpec spec;
    bool zombie = false;
    std::string input;
    std::deque<std::string> output;
    size_t pos = 0;
    uint8_t stb = 0;
    FakeTmcState state;
    std::string lastCommand;
    std::string raw;
};

struct File {
    std::string node;
    uint32_t timeout = 5000;
    uint8_t eom = 1;
    uint8_t termChar = '\n';
    bool termEnabled = false;
    uint8_t attributes = 0;
    bool srq = false;
    uint8_t srqByte = 0;
};

std::mutex gMutex;
std::condition_variable gChanged;
std::map<std::string, std::shared_ptr<Device>> gDevices;
std::map<int, File> gFiles;
int gNextFd = 7000;

// With gMutex held.
File* fileOf(int fd) {
    auto it = gFiles.find(fd);
    return it == gFiles.end() ? nullptr : &it->second;
}
Device* deviceOf(const File& f) {
    auto it = gDevices.find(f.node);
    return it == gDevices.end() ? nullptr : it->second.get();
}

void requestService(const std::string& node, Device& d, uint8_t stb) {
    d.stb = stb;
    for (auto& [fd, f] : gFiles) {
        if (f.node != node) continue;
        f.srq = true;
        f.srqByte = stb;
    }
    gChanged.notify_all();
}

void handle(const std::string& node, Device& d, std::string cmd) {
    while (!cmd.empty() && (cmd.back() == '\n' || cmd.back() == '\r')) cmd.pop_back();
    if (d.spec.mute) return;
    if (cmd == "*IDN?") {
        d.output.push_back("ZU,TMC-FAKE," + node + ",1.0\n");
    } else if (cmd.rfind("ECHO? ", 0) == 0) {
        d.output.push_back(cmd.substr(6) + "\n");
    } else if (cmd.rfind("BLOCK? ", 0) == 0) {
        size_t n = std::stoul(cmd.substr(7));
        std::string block;
        for (size_t i = 0; i < n; ++i) block.push_back(static_cast<char>('0' + i % 10));
        d.output.push_back(block + "\n");
    } else if (cmd == "SRQ") {
        requestService(node, d, 0x50);
    } else {
        d.lastCommand = cmd;
    }
    gChanged.notify_all();
}

int fakeOpen(const char* path, int) {
    std::lock_guard<std::mutex> lock(gMutex);
    auto it = gDevices.find(path);
    if (it == gDevices.end()) return -ENOENT;
    if (it->second->spec.openError) return -it->second->spec.openError;
    if (it->second->zombie) return -ENODEV;
    int fd = gNextFd++;
    gFiles[fd].node = path;
    return fd;
}

int fakeClose(int fd) {
    std::lock_guard<std::mutex> lock(gMutex);
    return gFiles.erase(fd) ? 0 : -EBADF;
}

ssize_t fakeRead(int fd, void* buf, size_t count) {
    std::unique_lock<std::mutex> lock(gMutex);
    File* f = fileOf(fd);
    if (!f) return -EBADF;
    Device* d = deviceOf(*f);
    if (!d || d->zombie) return -ENODEV;
    d->state.lastTimeoutMs = f->timeout;
    if (count == 0) return 0;
    auto deadline = Clock::now() + std::chrono::milliseconds(f->timeout);
    while (d->output.empty()) {
        if (gChanged.wait_until(lock, deadline) == std::cv_status::timeout && d->output.empty()) return -ETIMEDOUT;
        f = fileOf(fd);
        if (!f || d->zombie) return -ENODEV;
    }
    const std::string& msg = d->output.front();
    size_t n = std::min(count, msg.size() - d->pos);
    if (d->spec.maxTransfer) n = std::min(n, d->spec.maxTransfer);
    uint8_t attributes = 0;
    if (f->termEnabled) {
        size_t at = msg.find(static_cast<char>(f->termChar), d->pos);
        if (at != std::string::npos && at < d->pos + n) {
            n = at - d->pos + 1;
            attributes |= tmc::kAttrTermChar;
        }
    }
    memcpy(buf, msg.data() + d->pos, n);
    d->pos += n;
    if (d->pos == msg.size()) {
        attributes |= tmc::kAttrEom;
        d->output.pop_front();
        d->pos = 0;
    }
    f->attributes = attributes;
    return static_cast<ssize_t>(n);
}

ssize_t fakeWrite(int fd, const void* buf, size_t count) {
    std::lock_guard<std::mutex> lock(gMutex);
    File* f = fileOf(fd);
    if (!f) return -EBADF;
    Device* d = deviceOf(*f);
    if (!d || d->zombie) return -ENODEV;
    if (count == 0) return 0;
    d->state.lastTimeoutMs = f->timeout;
    d->state.lastEom = f->eom;
    d->input.append(static_cast<const char*>(buf), count);
    if (f->eom) {
        std::string cmd;
        cmd.swap(d->input);
        handle(f->node, *d, cmd);
    }
    return static_cast<ssize_t>(count);
}

template <typename T>
T arg(void* p) {
    T v;
    memcpy(&v, p, sizeof v);
    return v;
}
template <typename T>
void put(void* p, T v) {
    memcpy(p, &v, sizeof v);
}

int fakeIoctl(int fd, unsigned long request, void* a) {
    std::unique_lock<std::mutex> lock(gMutex);
    File* f = fileOf(fd);
    if (!f) return -EBADF;
    Device* d = deviceOf(*f);
    if (!d || d->zombie) return -ENODEV;
    bool simple = d->spec.usb488;
    switch (request) {
    case tmc::kSetTimeout: {
        uint32_t ms = arg<uint32_t>(a);
        if (ms < tmc::kMinTimeoutMs) return -EINVAL;
        f->timeout = ms;
        return 0;
    }
    case tmc::kGetTimeout: put(a, f->timeout); return 0;
    case tmc::kEomEnable: {
        uint8_t v = arg<uint8_t>(a);
        if (v > 1) return -EINVAL;
        f->eom = v;
        return 0;
    }
    case tmc::kConfigTermChar: {
        auto t = arg<tmc::TermChar>(a);
        if (t.enabled > 1 || (t.enabled && !d->spec.termChar)) return -EINVAL;
        f->termChar = t.termChar;
        f->termEnabled = t.enabled;
        return 0;
    }
    case tmc::kMsgInAttr: put(a, f->attributes); return 0;
    case tmc::kAutoAbort: return 0;
    case tmc::kApiVersion: put<uint32_t>(a, 3); return 0;
    case tmc::kGetCaps488: {
        uint8_t caps = d->spec.usb488 ? (tmc::kCapTrigger | tmc::kCapSimple | tmc::kCap4882 | tmc::kCapSr1) : 0;
        put(a, caps);
        return 0;
    }
    case tmc::kReadStb488: {
        if (!d->spec.usb488) return -EPIPE;  // the device stalls a request it does not know
        uint8_t stb = d->stb;
        if (f->srq) stb |= 0x40;
        f->srq = false;
        put(a, stb);
        return 0;
    }
    case tmc::kGetSrqStb:
        if (!f->srq) return -ENOMSG;
        f->srq = false;
        put(a, f->srqByte);
        return 0;
    case tmc::kRenControl488:
        if (!simple) return -EINVAL;
        d->state.ren = arg<uint8_t>(a) ? 1 : 0;
        return 0;
    case tmc::kGotoLocal488:
        if (!simple) return -EINVAL;
        ++d->state.gotoLocals;
        return 0;
    case tmc::kLocalLockout488:
        if (!simple) return -EINVAL;
        ++d->state.lockouts;
        return 0;
    case tmc::kTrigger488: ++d->state.triggers; return 0;
    case tmc::kClear:
        ++d->state.clears;
        d->output.clear();
        d->pos = 0;
        d->input.clear();
        return 0;
    case tmc::kAbortBulkIn:
    case tmc::kAbortBulkOut:
    case tmc::kClearInHalt:
    case tmc::kClearOutHalt: return 0;
    case tmc::kCtrlRequest: {
        auto r = arg<tmc::CtrlRequest>(a);
        if (r.req.wLength > 4096) return -EMSGSIZE;
        d->state.lastRequestType = r.req.bRequestType;
        d->state.lastRequest = r.req.bRequest;
        d->state.lastValue = r.req.wValue;
        d->state.lastIndex = r.req.wIndex;
        d->state.lastLength = r.req.wLength;
        if (r.req.wLength && (r.req.bRequestType & 0x80)) {
            auto* out = static_cast<uint8_t*>(r.data);
            for (uint16_t i = 0; i < r.req.wLength; ++i) out[i] = static_cast<uint8_t>(0xA0 + i);
        }
        return r.req.wLength;
    }
    case tmc::kWrite: {
        auto m = arg<tmc::Message>(a);
        d->state.rawWritten += m.transferSize;
        m.transferred = m.transferSize;
        put(a, m);
        return 0;
    }
    case tmc::kRead: {
        auto m = arg<tmc::Message>(a);
        auto deadline = Clock::now() + std::chrono::milliseconds(f->timeout);
        std::string node = f->node;
        while (m.transferSize > 0 && d->raw.empty()) {
            gChanged.wait_until(lock, deadline);
            d = gDevices.count(node) ? gDevices[node].get() : nullptr;
            if (!d || d->zombie || !fileOf(fd)) return -ENODEV;
            if (d->raw.empty() && Clock::now() >= deadline) return -ETIMEDOUT;
        }
        size_t n = std::min<size_t>(m.transferSize, d->raw.size());
        memcpy(m.message, d->raw.data(), n);
        d->raw.erase(0, n);
        m.transferred = static_cast<uint32_t>(n);
        put(a, m);
        return n < m.transferSize ? 1 : 0;  // a short packet ended it
    }
    default: return -EBADRQC;
    }
}

int fakePoll(int fd, short events, int wakeFd, int timeoutMs, short* revents) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs < 0 ? 1000000000 : timeoutMs);
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(gMutex);
            File* f = fileOf(fd);
            short mask = POLLOUT;
            if (!f) mask = POLLNVAL;
            else if (Device* d = deviceOf(*f); !d || d->zombie) mask = POLLHUP | POLLERR;
            else if (f->srq) mask |= POLLPRI;
            short ready = static_cast<short>(mask & (events | POLLHUP | POLLERR | POLLNVAL));
            if (ready) {
                *revents = ready;
                return 1;
            }
        }
        pollfd w{wakeFd, POLLIN, 0};
        if (wakeFd >= 0 && ::poll(&w, 1, 0) > 0) {
            *revents = 0;
            return 1;
        }
        if (Clock::now() >= deadline) return 0;
        std::unique_lock<std::mutex> lock(gMutex);
        gChanged.wait_for(lock, std::chrono::milliseconds(5));
    }
}

const ZuTmcDeviceLayer kLayer = {fakeOpen, fakeClose, fakeRead, fakeWrite, fakeIoctl, fakePoll};

Device* device(const char* node) {
    auto it = gDevices.find(node);
    return it == gDevices.end() ? nullptr : it->second.get();
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) const ZuTmcDeviceLayer* zuvisaUsbtmcDeviceLayer() { return &kLayer; }

void fakeTmcReset() {
    std::lock_guard<std::mutex> lock(gMutex);
    gDevices.clear();
    gFiles.clear();
}

void fakeTmcAddDevice(const char* node, const FakeTmcSpec* spec) {
    std::lock_guard<std::mutex> lock(gMutex);
    auto d = std::make_shared<Device>();
    d->spec = *spec;
    gDevices[node] = d;
}

void fakeTmcServiceRequest(const char* node, uint8_t stb) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (Device* d = device(node)) requestService(node, *d, stb);
}

void fakeTmcUnplug(const char* node) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (Device* d = device(node)) d->zombie = true;
    gChanged.notify_all();
}

void fakeTmcSetStatusByte(const char* node, uint8_t stb) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (Device* d = device(node)) d->stb = stb;
}

void fakeTmcQueueRaw(const char* node, const void* bytes, size_t count) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (Device* d = device(node)) d->raw.append(static_cast<const char*>(bytes), count);
    gChanged.notify_all();
}

bool fakeTmcState(const char* node, FakeTmcState* out) {
    std::lock_guard<std::mutex> lock(gMutex);
    Device* d = device(node);
    if (!d) return false;
    *out = d->state;
    return true;
}

void fakeTmcLastCommand(const char* node, char* buf, size_t size) {
    std::lock_guard<std::mutex> lock(gMutex);
    Device* d = device(node);
    snprintf(buf, size, "%s", d ? d->lastCommand.c_str() : "");
}

int fakeTmcOpenFiles(const char* node) {
    std::lock_guard<std::mutex> lock(gMutex);
    int n = 0;
    for (const auto& [fd, f] : gFiles) n += f.node == node;
    return n;
}
}

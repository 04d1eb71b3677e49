#include "zuvisa/bridgelets/usbtmc/usbtmc.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <thread>

#include "zuvisa/bridgelets/usbtmc/discovery.h"
#include "zuvisa/bridgelets/usbtmc/tmc.h"
#include "zuvisa/rsrcname.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::usbtmc {

namespace {

constexpr int kProtocolUsb488 = 1;
// Writes go out in pieces of this size, so that a cancelled call stops between them; only the
// last piece carries EOM.
constexpr size_t kWritePiece = 64 * 1024;
constexpr uint32_t kLongestTimeoutMs = 0x7FFFFFFF;

ViStatus fromErrno(long rc) {
    switch (-rc) {
    case ETIMEDOUT: return VI_ERROR_TMO;
    case ENODEV:
    case ESHUTDOWN:
    case ENXIO: return VI_ERROR_CONN_LOST;
    case EACCES:
    case EPERM: return VI_ERROR_NPERMISSION;
    case EBUSY: return VI_ERROR_RSRC_BUSY;
    case ENOTTY:
    case EBADRQC: return VI_ERROR_NSUP_OPER;  // a driver older than the call
    case ECANCELED:
    case EINTR: return VI_ERROR_ABORT;
    case EMSGSIZE: return VI_ERROR_INV_LENGTH;
    default: return VI_ERROR_IO;
    }
}

ViStatus openError(int rc) {
    switch (-rc) {
    case ENOENT:
    case ENODEV:
    case ENXIO: return VI_ERROR_RSRC_NFOUND;
    default: return fromErrno(rc);
    }
}

// What links on one device node share: the layer, the descriptor, control transfers and the
// time limit each call sets.
class TmcBase : public Link {
public:
    TmcBase(const ZuTmcDeviceLayer* layer, int fd, TmcDevice device)
        : layer_(layer), fd_(fd), device_(std::move(device)) {}
    ~TmcBase() override { layer_->close(fd_); }

    ViStatus usbControlOut(ViInt16 requestType, ViInt16 request, ViUInt16 value, ViUInt16 index,
                           ViUInt16 length, const ViByte* buf) override {
        if (requestType & 0x80) return VI_ERROR_INV_PARAMETER;  // that is an IN request
        std::vector<ViByte> data(buf, buf + length);
        tmc::CtrlRequest r{{static_cast<uint8_t>(requestType), static_cast<uint8_t>(request), value, index, length},
                           data.data()};
        long rc = layer_->ioctl(fd_, tmc::kCtrlRequest, &r);
        return rc < 0 ? fail(rc) : VI_SUCCESS;
    }

    ViStatus usbControlIn(ViInt16 requestType, ViInt16 request, ViUInt16 value, ViUInt16 index,
                          ViUInt16 length, ViByte* buf, ViUInt16* done) override {
        *done = 0;
        if (!(requestType & 0x80)) return VI_ERROR_INV_PARAMETER;
        tmc::CtrlRequest r{{static_cast<uint8_t>(requestType), static_cast<uint8_t>(request), value, index, length}, buf};
        long rc = layer_->ioctl(fd_, tmc::kCtrlRequest, &r);
        if (rc < 0) return fail(rc);
        *done = static_cast<ViUInt16>(std::min<long>(rc, length));
        return VI_SUCCESS;
    }

protected:
    // The driver's time limit for the next transfer: what is left of the call's.
    ViStatus limit(const IoControl& io) {
        if (io.cancelled()) return VI_ERROR_ABORT;
        uint32_t ms = kLongestTimeoutMs;
        if (!io.infinite) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(io.deadline - Clock::now()).count();
            if (left <= 0) return VI_ERROR_TMO;
            ms = std::max<uint32_t>(static_cast<uint32_t>(std::min<long long>(left, kLongestTimeoutMs)), tmc::kMinTimeoutMs);
        }
        long rc = layer_->ioctl(fd_, tmc::kSetTimeout, &ms);
        return rc < 0 ? fail(rc) : VI_SUCCESS;
    }
    ViStatus fail(long rc) {
        ViStatus st = fromErrno(rc);
        if (st == VI_ERROR_CONN_LOST) connected_ = false;
        return st;
    }
    ViStatus gone() const { return connected_ ? VI_SUCCESS : VI_ERROR_CONN_LOST; }

    const ZuTmcDeviceLayer* layer_;
    const int fd_;
    const TmcDevice device_;
    std::atomic<bool> connected_{true};
};

// USB0::...::INSTR
class TmcInstrLink : public TmcBase {
public:
    TmcInstrLink(const ZuTmcDeviceLayer* layer, int fd, TmcDevice device, EventSink* sink)
        : TmcBase(layer, fd, std::move(device)), sink_(sink) {
        is488_ = device_.id.interfaceProtocol == kProtocolUsb488;
        uint8_t caps = 0;
        if (layer_->ioctl(fd_, tmc::kGetCaps488, &caps) >= 0) caps_ = caps;
        // After a failed transfer the driver aborts it, so the device and driver stay in step.
        uint8_t on = 1;
        layer_->ioctl(fd_, tmc::kAutoAbort, &on);
        if (sink_) {
            wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
            if (wakeFd_ >= 0) watcher_ = std::thread([this] { watchServiceRequests(); });
        }
    }
    ~TmcInstrLink() override {
        stop_ = true;
        wake();
        if (watcher_.joinable()) watcher_.join();
        if (wakeFd_ >= 0) close(wakeFd_);
    }

    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io, size_t* done) override {
        *done = 0;
        if (ViStatus st = gone(); st < 0) return st;
        size_t off = 0;
        do {
            size_t piece = std::min(count - off, kWritePiece);
            bool last = off + piece == count;
            uint8_t eom = last && end ? 1 : 0;
            if (eom != eom_) {
                long rc = layer_->ioctl(fd_, tmc::kEomEnable, &eom);
                if (rc < 0) return fail(rc);
                eom_ = eom;
            }
            if (ViStatus st = limit(io); st < 0) return st;
            ssize_t n = layer_->write(fd_, buf + off, piece);
            if (n < 0) return fail(n);
            off += static_cast<size_t>(n);
            *done = off;
            if (n == 0) return VI_ERROR_IO;
        } while (off < count);
        return VI_SUCCESS;
    }

    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done) override {
        *done = 0;
        std::unique_lock<std::mutex> lock(m_);
        // First what a transfer cut short at a termination character left behind.
        while (!leftover_.empty() && *done < count) {
            ViByte c = static_cast<ViByte>(leftover_.front());
            leftover_.erase(0, 1);
            buf[(*done)++] = c;
            if (leftover_.empty() && leftoverEnds_ && !opt.suppressEnd) return VI_SUCCESS;
            if (opt.termCharEnabled && c == opt.termChar) return VI_SUCCESS_TERM_CHAR;
        }
        if (*done == count && count > 0) return VI_SUCCESS_MAX_CNT;
        lock.unlock();
        if (ViStatus st = gone(); st < 0) return st;
        if (ViStatus st = termination(opt); st < 0) return st;
        while (*done < count) {
            if (ViStatus st = limit(io); st < 0) return st;
            size_t want = count - *done;
            ssize_t n = layer_->read(fd_, buf + *done, want);
            if (n < 0) return fail(n);
            uint8_t attributes = 0;
            // Drivers before the call existed: a short answer is taken as the whole message.
            if (layer_->ioctl(fd_, tmc::kMsgInAttr, &attributes) < 0) {
                attributes = static_cast<size_t>(n) < want ? tmc::kAttrEom : 0;
            }
            bool end = (attributes & tmc::kAttrEom) && !opt.suppressEnd;
            size_t got = static_cast<size_t>(n);
            if (opt.termCharEnabled) {
                // Where the device cannot stop at the character itself, the rest waits here.
                ViByte* first = std::find(buf + *done, buf + *done + got, opt.termChar);
                size_t upto = static_cast<size_t>(first - (buf + *done)) + 1;
                if (first != buf + *done + got) {
                    if (upto < got) {
                        lock.lock();
                        leftover_.assign(reinterpret_cast<const char*>(buf + *done + upto), got - upto);
                        leftoverEnds_ = attributes & tmc::kAttrEom;
                        lock.unlock();
                        *done += upto;
                        return VI_SUCCESS_TERM_CHAR;
                    }
                    *done += got;
                    return end ? VI_SUCCESS : VI_SUCCESS_TERM_CHAR;
                }
            }
            *done += got;
            if (end) return VI_SUCCESS;
        }
        return VI_SUCCESS_MAX_CNT;
    }

    ViStatus clear() override {
        {
            std::lock_guard<std::mutex> lock(m_);
            leftover_.clear();
        }
        if (ViStatus st = gone(); st < 0) return st;
        long rc = layer_->ioctl(fd_, tmc::kClear, nullptr);
        return rc < 0 ? fail(rc) : VI_SUCCESS;
    }

    ViStatus readStb(ViUInt16* stb) override {
        if (!is488_) return VI_ERROR_NSUP_OPER;  // only USB488 devices have a status byte
        if (ViStatus st = gone(); st < 0) return st;
        uint8_t byte = 0;
        long rc = layer_->ioctl(fd_, tmc::kReadStb488, &byte);
        if (rc < 0) return fail(rc);
        bool unlatch = false;
        {
            // A service request the watcher took from the driver still belongs in this byte.
            std::lock_guard<std::mutex> lock(m_);
            if (srqPending_) byte |= 0x40;
            srqPending_ = false;
            unlatch = srqLatched_;
            srqLatched_ = false;
        }
        if (unlatch) wake();
        *stb = byte;
        return VI_SUCCESS;
    }

    ViStatus assertTrigger(ViUInt16 protocol) override {
        if (protocol != VI_TRIG_PROT_DEFAULT) return VI_ERROR_INV_PROT;
        if (!(caps_ & tmc::kCapTrigger)) return VI_ERROR_NSUP_OPER;
        if (ViStatus st = gone(); st < 0) return st;
        long rc = layer_->ioctl(fd_, tmc::kTrigger488, nullptr);
        return rc < 0 ? fail(rc) : VI_SUCCESS;
    }

    ViStatus gpibControlRen(ViUInt16 mode) override {
        if (mode > VI_GPIB_REN_ADDRESS_GTL) return VI_ERROR_INV_MODE;
        if (!(caps_ & tmc::kCapSimple)) return VI_ERROR_NSUP_OPER;
        if (ViStatus st = gone(); st < 0) return st;
        // A USB488 device is always addressed: the address steps fall away.
        struct Step {
            unsigned long request;
            int ren;
        };
        std::vector<Step> steps;
        switch (mode) {
        case VI_GPIB_REN_DEASSERT: steps = {{tmc::kRenControl488, 0}}; break;
        case VI_GPIB_REN_ASSERT:
        case VI_GPIB_REN_ASSERT_ADDRESS: steps = {{tmc::kRenControl488, 1}}; break;
        case VI_GPIB_REN_DEASSERT_GTL: steps = {{tmc::kGotoLocal488, -1}, {tmc::kRenControl488, 0}}; break;
        case VI_GPIB_REN_ASSERT_LLO: steps = {{tmc::kLocalLockout488, -1}}; break;
        case VI_GPIB_REN_ASSERT_ADDRESS_LLO: steps = {{tmc::kRenControl488, 1}, {tmc::kLocalLockout488, -1}}; break;
        case VI_GPIB_REN_ADDRESS_GTL: steps = {{tmc::kGotoLocal488, -1}}; break;
        default: return VI_ERROR_INV_MODE;
        }
        for (const Step& s : steps) {
            unsigned char value = static_cast<unsigned char>(s.ren);
            long rc = layer_->ioctl(fd_, s.request, s.ren >= 0 ? &value : nullptr);
            if (rc < 0) return fail(rc);
        }
        return VI_SUCCESS;
    }

    ViStatus flushIoBuffer(ViUInt16 mask) override {
        if (mask & VI_IO_IN_BUF_DISCARD) {
            std::lock_guard<std::mutex> lock(m_);
            leftover_.clear();
        }
        return VI_SUCCESS;
    }

    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override {
        if (attr == VI_ATTR_4882_COMPLIANT) {
            *v = is488_ && (caps_ & tmc::kCap4882) ? VI_TRUE : VI_FALSE;
            return VI_SUCCESS;
        }
        return Link::getAttribute(attr, v, text);
    }

private:
    // Tells the driver about the termination character when the device can end at it.
    ViStatus termination(const ReadOptions& opt) {
        bool byDevice = opt.termCharEnabled && (device_.deviceCapabilities & tmc::kDeviceCapTermChar);
        int state = byDevice ? opt.termChar : -1;
        if (state == termState_) return VI_SUCCESS;
        tmc::TermChar t{opt.termChar, static_cast<uint8_t>(byDevice ? 1 : 0)};
        long rc = layer_->ioctl(fd_, tmc::kConfigTermChar, &t);
        if (rc < 0 && rc != -ENOTTY && rc != -EBADRQC) return fail(rc);
        termState_ = state;
        return VI_SUCCESS;
    }

    void wake() {
        if (wakeFd_ < 0) return;
        uint64_t one = 1;
        ssize_t n = ::write(wakeFd_, &one, sizeof one);
        (void)n;
    }

    // The driver marks a service request on every open descriptor of the device and shows it
    // to poll as POLLPRI; taking the status byte that came with it clears the mark.
    void watchServiceRequests() {
        while (!stop_) {
            bool latched;
            {
                std::lock_guard<std::mutex> lock(m_);
                latched = srqLatched_;
            }
            short revents = 0;
            int rc = layer_->poll(fd_, latched ? 0 : POLLPRI, wakeFd_, -1, &revents);
            if (stop_) return;
            uint64_t drained;
            ssize_t n = ::read(wakeFd_, &drained, sizeof drained);
            (void)n;
            if (rc < 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                continue;
            }
            if (revents & (POLLHUP | POLLNVAL)) {
                connected_ = false;
                return;
            }
            if (!(revents & POLLPRI)) continue;
            uint8_t stb = 0;
            long got = layer_->ioctl(fd_, tmc::kGetSrqStb, &stb);
            if (got == -ENOMSG) continue;  // already taken by a status byte read
            {
                std::lock_guard<std::mutex> lock(m_);
                if (got >= 0) srqPending_ = true;
                else srqLatched_ = true;  // an older driver: the mark stays until the byte is read
            }
            EventData e;
            e.type = VI_EVENT_SERVICE_REQ;
            sink_->raise(e);
        }
    }

    EventSink* sink_;
    bool is488_ = false;
    uint8_t caps_ = 0;
    uint8_t eom_ = 1;  // the driver's default: EOM with every write
    int termState_ = -1;
    std::mutex m_;
    std::string leftover_;
    bool leftoverEnds_ = false;
    bool srqPending_ = false, srqLatched_ = false;
    int wakeFd_ = -1;
    std::atomic<bool> stop_{false};
    std::thread watcher_;
};

// USB0::...::RAW: bulk transfers without the class's headers.
class TmcRawLink : public TmcBase {
public:
    using TmcBase::TmcBase;

    ViStatus write(const ViByte* buf, size_t count, bool, const IoControl& io, size_t* done) override {
        *done = 0;
        if (ViStatus st = gone(); st < 0) return st;
        if (ViStatus st = limit(io); st < 0) return st;
        tmc::Message m{static_cast<uint32_t>(std::min<size_t>(count, 0x7FFFFFFF)), 0, 0, const_cast<ViByte*>(buf)};
        long rc = layer_->ioctl(fd_, tmc::kWrite, &m);
        *done = m.transferred;
        return rc < 0 ? fail(rc) : VI_SUCCESS;
    }

    ViStatus read(ViByte* buf, size_t count, const ReadOptions&, const IoControl& io, size_t* done) override {
        *done = 0;
        if (ViStatus st = gone(); st < 0) return st;
        if (ViStatus st = limit(io); st < 0) return st;
        tmc::Message m{static_cast<uint32_t>(std::min<size_t>(count, 0x7FFFFFFF)), 0, 0, buf};
        long rc = layer_->ioctl(fd_, tmc::kRead, &m);
        *done = std::min<size_t>(m.transferred, count);
        if (rc < 0) return fail(rc);
        // The driver answers 1 when a short packet ended the transfer: the device's END.
        return rc == 1 ? VI_SUCCESS : VI_SUCCESS_MAX_CNT;
    }
};

bool sameSerial(const std::string& a, const std::string& b) { return a == b || upperAscii(a) == upperAscii(b); }

bool onTheBus(const sysfs::Roots& roots, int vendor, int product) {
    std::string base = roots.sys + "/bus/usb/devices";
    for (const std::string& name : sysfs::listFolder(base)) {
        if (name.find(':') != std::string::npos) continue;
        sysfs::UsbIdentity id;
        if (sysfs::usbIdentity(base + "/" + name, &id) && id.vendor == vendor && id.product == product) return true;
    }
    return false;
}

}  // namespace

UsbtmcConfig readUsbtmcConfig(const std::vector<std::pair<std::string, std::string>>& items,
                              std::vector<std::string>* problems) {
    UsbtmcConfig c;
    for (const auto& [key, value] : items) {
        std::string k = upperAscii(key);
        if (k == "SYSROOT") c.roots.sys = value;
        else if (k == "DEVROOT") c.roots.dev = value;
        else if (k == "DEVICELAYER") c.deviceLayerModule = value;
        else if (problems) problems->push_back("unknown item " + key);
    }
    return c;
}

const ZuTmcDeviceLayer* loadDeviceLayer(const std::string& module, std::string* problem) {
    if (module.empty()) return systemDeviceLayer();
    // Stays loaded: links hold its functions for the life of the process.
    void* handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* err = dlerror();
        *problem = "cannot load the device layer " + module + ": " + (err ? err : "unknown error");
        return nullptr;
    }
    auto entry = reinterpret_cast<ZuTmcDeviceLayerFn>(dlsym(handle, ZU_TMC_DEVICE_LAYER_ENTRY));
    const ZuTmcDeviceLayer* layer = entry ? entry() : nullptr;
    if (!layer) *problem = module + " has no device layer";
    return layer;
}

void UsbtmcBridgelet::enumerate(std::vector<ResourceInfo>& out) {
    for (const TmcDevice& d : findDevices(roots_)) {
        ResourceInfo info;
        info.name = resourceName(d);
        info.numbers.emplace_back(VI_ATTR_USB_PROTOCOL, d.id.interfaceProtocol < 0 ? 0 : d.id.interfaceProtocol);
        info.texts.emplace_back(VI_ATTR_MANF_NAME, d.id.manufacturer);
        info.texts.emplace_back(VI_ATTR_MODEL_NAME, d.id.productName);
        std::string what = d.id.manufacturer;
        if (!d.id.productName.empty()) what += (what.empty() ? "" : " ") + d.id.productName;
        info.texts.emplace_back(VI_ATTR_INTF_INST_NAME, "USB0 (" + d.name + (what.empty() ? "" : ": " + what) + ")");
        out.push_back(std::move(info));
    }
}

ViStatus UsbtmcBridgelet::open(const std::string& canonicalName, ViUInt32, EventSink* events,
                               std::unique_ptr<Link>* link) {
    ResourceName rn;
    if (parseResourceName(canonicalName, &rn) != VI_SUCCESS || rn.intfType != VI_INTF_USB) return VI_ERROR_RSRC_NFOUND;
    if (rn.board != 0) return VI_ERROR_RSRC_NFOUND;
    int wantedInterface = rn.usbInterface < 0 ? 0 : rn.usbInterface;
    for (const TmcDevice& d : findDevices(roots_)) {
        if (d.id.vendor != rn.usbManf || d.id.product != rn.usbModel || !sameSerial(d.serial, rn.usbSerial)) continue;
        if (std::max(d.id.interfaceNumber, 0) != wantedInterface) continue;
        int fd = layer_->open(d.node.c_str(), O_RDWR);
        if (fd < 0) return openError(fd);
        if (rn.rsrcClass == "RAW") *link = std::make_unique<TmcRawLink>(layer_, fd, d);
        else *link = std::make_unique<TmcInstrLink>(layer_, fd, d, events);
        return VI_SUCCESS;
    }
    // Raw access to a USB device of another class would need another driver.
    if (rn.rsrcClass == "RAW" && onTheBus(roots_, rn.usbManf, rn.usbModel)) return VI_ERROR_NSUP_OPER;
    return VI_ERROR_RSRC_NFOUND;
}

ViStatus registerUsbtmc(Registrar* registrar) {
    std::vector<std::string> problems;
    UsbtmcConfig config = readUsbtmcConfig(registrar->settings(), &problems);
    std::string why;
    const ZuTmcDeviceLayer* layer = loadDeviceLayer(config.deviceLayerModule, &why);
    if (!layer) {
        registrar->log(ZUVISA_LOG_ERROR, why);
        return VI_ERROR_LIBRARY_NFOUND;
    }
    for (const std::string& p : problems) registrar->log(ZUVISA_LOG_WARNING, p);
    registrar->add(std::make_unique<UsbtmcBridgelet>(config.roots, layer));
    return problems.empty() ? VI_SUCCESS : VI_WARN_CONFIG_NLOADED;
}

}  // namespace zuvisa::usbtmc

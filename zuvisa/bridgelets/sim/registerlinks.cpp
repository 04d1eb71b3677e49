// Links of register-based resources: VXI and GPIB-VXI INSTR and MEMACC, PXI INSTR and MEMACC.
// The common part moves data between address spaces and local memory with each session's byte
// order and increments, and maps a window for viPeek and viPoke.
#include <sys/mman.h>

#include <cstring>
#include <mutex>
#include <thread>

#include "zuvisa/bridgelets/sim/attachment.h"
#include "zuvisa/bridgelets/sim/links.h"

namespace zuvisa::sim {

namespace {

constexpr uint64_t kMaxWindow = 16u << 20;

// The addresses that viMapAddress hands out: slots of an address range reserved without any
// access. The window's data moves only through viPeek and viPoke (VI_USE_OPERS), which check
// the address; a client that dereferences one faults at once, also after the window is gone,
// instead of writing into memory of this process.
class WindowAddresses {
public:
    static WindowAddresses& instance() {
        static WindowAddresses* addresses = new WindowAddresses;  // the range stays reserved
        return *addresses;
    }
    // The start of a free slot of kMaxWindow bytes, or 0 when none is left.
    uintptr_t take() {
        std::lock_guard<std::mutex> lock(m_);
        if (!start_) {
            void* p = reserve();
            if (p == MAP_FAILED) return 0;
            start_ = reinterpret_cast<uintptr_t>(p);
        }
        for (size_t i = 0; i < kSlots; ++i) {
            if (!used_[i]) {
                used_[i] = true;
                return start_ + i * kMaxWindow;
            }
        }
        return 0;
    }
    void give(uintptr_t slot) {
        std::lock_guard<std::mutex> lock(m_);
        if (slot >= start_ && slot < start_ + kRange) used_[(slot - start_) / kMaxWindow] = false;
    }

private:
    static constexpr size_t kSlots = 64;  // windows mapped at one time in the process
    static constexpr size_t kRange = kSlots * kMaxWindow;

    // The range lies below 4 GiB where the system leaves room there, so that an address fits
    // the 32-bit fields that clients commonly show it in; anywhere else otherwise.
    static void* reserve() {
        const int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
        for (uintptr_t hint : {uintptr_t{0x10000000}, uintptr_t{0x20000000}, uintptr_t{0x40000000}}) {
            void* p = mmap(reinterpret_cast<void*>(hint), kRange, PROT_NONE, flags, -1, 0);
            if (p == MAP_FAILED) continue;
            if (reinterpret_cast<uintptr_t>(p) + kRange <= (uintptr_t{1} << 32)) return p;
            munmap(p, kRange);
        }
        return mmap(nullptr, kRange, PROT_NONE, flags, -1, 0);
    }
    std::mutex m_;
    uintptr_t start_ = 0;
    bool used_[kSlots] = {};
};

class RegisterLink : public Link {
public:
    ~RegisterLink() override {
        if (window_.mapped) WindowAddresses::instance().give(window_.base);
    }

    ViStatus in(ViUInt16 space, ViBusAddress64 offset, int width, ViUInt64* value) override {
        uint64_t v = 0;
        ViStatus st = access(space, offset, width / 8, false, &v);
        if (st < 0) return st;
        *value = ordered(v, width / 8, srcOrder_);
        return VI_SUCCESS;
    }
    ViStatus out(ViUInt16 space, ViBusAddress64 offset, int width, ViUInt64 value) override {
        uint64_t v = ordered(value, width / 8, destOrder_);
        return access(space, offset, width / 8, true, &v);
    }
    ViStatus moveIn(ViUInt16 space, ViBusAddress64 offset, int width, ViBusSize length, void* buf) override {
        ViBusSize done = 0;
        return move(space, offset, width, VI_LOCAL_SPACE, reinterpret_cast<uintptr_t>(buf), width, length, IoControl::untimed(),
                    &done);
    }
    ViStatus moveOut(ViUInt16 space, ViBusAddress64 offset, int width, ViBusSize length, const void* buf) override {
        ViBusSize done = 0;
        return move(VI_LOCAL_SPACE, reinterpret_cast<uintptr_t>(buf), width, space, offset, width, length, IoControl::untimed(),
                    &done);
    }
    ViStatus move(ViUInt16 srcSpace, ViBusAddress64 srcOffset, int srcWidth, ViUInt16 destSpace,
                  ViBusAddress64 destOffset, int destWidth, ViBusSize length, const IoControl& io,
                  ViBusSize* done) override {
        *done = 0;
        if (srcWidth != destWidth) return VI_ERROR_NSUP_VAR_WIDTH;
        int bytes = srcWidth / 8;
        if (length == 0) return VI_SUCCESS;
        if ((srcSpace == VI_LOCAL_SPACE && !srcOffset) || (destSpace == VI_LOCAL_SPACE && !destOffset)) {
            return VI_ERROR_USER_BUF;
        }
        // Each element is read whole and written whole, as a bus transfer of that width does.
        for (ViBusSize i = 0; i < length; *done = ++i) {
            if (io.cancelled()) return VI_ERROR_ABORT;
            uint64_t from = srcOffset + (srcIncrement_ ? i * static_cast<uint64_t>(bytes) : 0);
            uint64_t to = destOffset + (destIncrement_ ? i * static_cast<uint64_t>(bytes) : 0);
            uint64_t v = 0;
            if (srcSpace == VI_LOCAL_SPACE) {
                v = loadLocal(from, bytes);
            } else {
                ViStatus st = access(srcSpace, from, bytes, false, &v);
                if (st < 0) return st;
                v = ordered(v, bytes, srcOrder_);
            }
            if (destSpace == VI_LOCAL_SPACE) {
                storeLocal(to, bytes, v);
            } else {
                uint64_t w = ordered(v, bytes, destOrder_);
                ViStatus st = access(destSpace, to, bytes, true, &w);
                if (st < 0) return st;
            }
        }
        return VI_SUCCESS;
    }

    ViStatus mapAddress(ViUInt16 space, ViBusAddress64 offset, ViBusSize size, bool, ViAddr, ViAddr* address) override {
        if (window_.mapped) return VI_ERROR_WINDOW_MAPPED;
        if (size == 0 || size > kMaxWindow) return VI_ERROR_INV_SIZE;
        uint64_t busAddress = 0;
        ViStatus st = windowAt(space, offset, size, &busAddress);
        if (st < 0) return st;
        uintptr_t base = WindowAddresses::instance().take();
        if (!base) return VI_ERROR_ALLOC;
        window_ = {true, space, offset, size, busAddress, base};
        *address = reinterpret_cast<ViAddr>(base);
        return VI_SUCCESS;
    }
    ViStatus unmapAddress() override {
        if (!window_.mapped) return VI_ERROR_WINDOW_NMAPPED;
        WindowAddresses::instance().give(window_.base);
        window_ = {};
        return VI_SUCCESS;
    }
    ViStatus peek(ViAddr address, int width, ViUInt64* value) override {
        uint64_t offset = 0;
        ViStatus st = windowOffset(address, width / 8, &offset);
        if (st < 0) return st;
        uint64_t v = 0;
        st = access(window_.space, offset, width / 8, false, &v);
        if (st < 0) return st;
        *value = ordered(v, width / 8, windowOrder_);
        return VI_SUCCESS;
    }
    ViStatus poke(ViAddr address, int width, ViUInt64 value) override {
        uint64_t offset = 0;
        ViStatus st = windowOffset(address, width / 8, &offset);
        if (st < 0) return st;
        uint64_t v = ordered(value, width / 8, windowOrder_);
        return access(window_.space, offset, width / 8, true, &v);
    }

    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override {
        switch (attr) {
        case VI_ATTR_WIN_ACCESS: *v = window_.mapped ? VI_USE_OPERS : VI_NMAPPED; return VI_SUCCESS;
        case VI_ATTR_WIN_BASE_ADDR_32:
        case VI_ATTR_WIN_BASE_ADDR_64: *v = window_.mapped ? window_.busAddress : 0; return VI_SUCCESS;
        case VI_ATTR_WIN_SIZE: *v = window_.mapped ? window_.size : 0; return VI_SUCCESS;
        default: return Link::getAttribute(attr, v, text);
        }
    }
    ViStatus setAttribute(ViAttr attr, ViAttrState v) override {
        switch (attr) {
        case VI_ATTR_SRC_BYTE_ORDER: srcOrder_ = static_cast<ViUInt16>(v); break;
        case VI_ATTR_DEST_BYTE_ORDER: destOrder_ = static_cast<ViUInt16>(v); break;
        case VI_ATTR_WIN_BYTE_ORDER: windowOrder_ = static_cast<ViUInt16>(v); break;
        case VI_ATTR_SRC_INCREMENT: srcIncrement_ = v != 0; break;
        case VI_ATTR_DEST_INCREMENT: destIncrement_ = v != 0; break;
        default: break;
        }
        return VI_SUCCESS;
    }

protected:
    explicit RegisterLink(bool bigEndian) : bigEndian_(bigEndian) {
        ViUInt16 native = bigEndian ? VI_BIG_ENDIAN : VI_LITTLE_ENDIAN;
        srcOrder_ = destOrder_ = windowOrder_ = native;
    }
    // Reads (write false) or writes one element of bytes at an offset in the resource's view
    // of space; *value is as the bus carries it.
    virtual ViStatus access(ViUInt16 space, uint64_t offset, int bytes, bool write, uint64_t* value) = 0;
    // Whether a window fits, and the bus address where it starts.
    virtual ViStatus windowAt(ViUInt16 space, uint64_t offset, uint64_t size, uint64_t* busAddress) = 0;

private:
    // A value as the session sees it, from a bus value (and back: the swap is its own inverse).
    uint64_t ordered(uint64_t v, int bytes, ViUInt16 order) const {
        bool big = order == VI_BIG_ENDIAN;
        return big == bigEndian_ ? v : swapBytes(v, bytes);
    }
    static uint64_t loadLocal(uint64_t address, int bytes) {
        const void* p = reinterpret_cast<const void*>(static_cast<uintptr_t>(address));
        switch (bytes) {
        case 1: return *static_cast<const uint8_t*>(p);
        case 2: {
            uint16_t v;
            std::memcpy(&v, p, 2);
            return v;
        }
        case 4: {
            uint32_t v;
            std::memcpy(&v, p, 4);
            return v;
        }
        default: {
            uint64_t v;
            std::memcpy(&v, p, 8);
            return v;
        }
        }
    }
    static void storeLocal(uint64_t address, int bytes, uint64_t v) {
        void* p = reinterpret_cast<void*>(static_cast<uintptr_t>(address));
        uint8_t b8 = static_cast<uint8_t>(v);
        uint16_t b16 = static_cast<uint16_t>(v);
        uint32_t b32 = static_cast<uint32_t>(v);
        switch (bytes) {
        case 1: std::memcpy(p, &b8, 1); break;
        case 2: std::memcpy(p, &b16, 2); break;
        case 4: std::memcpy(p, &b32, 4); break;
        default: std::memcpy(p, &v, 8); break;
        }
    }
    ViStatus windowOffset(ViAddr address, int bytes, uint64_t* offset) const {
        if (!window_.mapped) return VI_ERROR_WINDOW_NMAPPED;
        uintptr_t a = reinterpret_cast<uintptr_t>(address);
        if (a < window_.base || a - window_.base > window_.size || window_.size - (a - window_.base) < static_cast<uint64_t>(bytes)) {
            return VI_ERROR_INV_OFFSET;
        }
        *offset = window_.offset + (a - window_.base);
        return VI_SUCCESS;
    }

    struct Window {
        bool mapped = false;
        ViUInt16 space = 0;
        uint64_t offset = 0, size = 0, busAddress = 0;
        uintptr_t base = 0;  // the address handed out
    };
    bool bigEndian_;
    ViUInt16 srcOrder_, destOrder_, windowOrder_;
    bool srcIncrement_ = true, destIncrement_ = true;
    Window window_;
};

// ---- VXI -------------------------------------------------------------------------------------

constexpr uint64_t kA16Registers = 0xC000;

uint64_t vxiSpaceSize(ViUInt16 space) {
    return space == VI_A16_SPACE ? 1u << 16 : space == VI_A24_SPACE ? 1u << 24 : space == VI_A32_SPACE ? uint64_t{1} << 32 : 0;
}

class VxiInstrLink : public RegisterLink {
public:
    VxiInstrLink(std::shared_ptr<Instrument> instrument, EventSink* sink, std::shared_ptr<VxiBus> bus, int la)
        : RegisterLink(true), instrument_(std::move(instrument)), bus_(std::move(bus)), la_(la) {
        {
            std::lock_guard<std::mutex> lock(bus_->m);
            device_ = bus_->device(la_);
            listener_.sink = sink;
            if (sink) bus_->listen(&listener_);
        }
        attachment_.to(instrument_, sink);
    }
    ~VxiInstrLink() override {
        std::lock_guard<std::mutex> lock(bus_->m);
        bus_->unlisten(&listener_);
        if (device_ && device_->sharedMemory()) device_->sharedMemory()->releaseAll(this);
    }

    // Word-serial: each byte goes as Byte Available, each byte read comes from Byte Request.
    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl&, size_t* done) override {
        *done = 0;
        if (ViStatus st = messageDevice(); st < 0) return st;
        for (size_t i = 0; i < count; ++i) {
            bool last = end && i + 1 == count;
            bool response = false;
            std::lock_guard<std::mutex> lock(bus_->m);
            ViStatus st = device_->command(static_cast<uint16_t>(ws::kByteAvailable | (last ? 0x100 : 0) | buf[i]), &response);
            if (st < 0) return st;
            *done = i + 1;
        }
        return VI_SUCCESS;
    }
    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done) override {
        *done = 0;
        if (ViStatus st = messageDevice(); st < 0) return st;
        while (*done < count) {
            uint8_t b = 0;
            bool end = false;
            ViStatus st;
            {
                std::lock_guard<std::mutex> lock(bus_->m);
                st = device_->byteRequest(&b, &end);
            }
            if (st == VI_ERROR_TMO) {
                // Not ready to talk yet: ask again until the time is up, without holding the bus.
                if (io.cancelled()) return VI_ERROR_ABORT;
                if (io.expired()) return VI_ERROR_TMO;
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            buf[(*done)++] = b;
            if (end && !opt.suppressEnd) return VI_SUCCESS;
            if (opt.termCharEnabled && b == opt.termChar) return VI_SUCCESS_TERM_CHAR;
        }
        return VI_SUCCESS_MAX_CNT;
    }
    ViStatus clear() override {
        if (ViStatus st = messageDevice(); st < 0) return st;
        bool response = false;
        std::lock_guard<std::mutex> lock(bus_->m);
        return device_->command(ws::kClear, &response);
    }
    ViStatus readStb(ViUInt16* stb) override {
        if (ViStatus st = messageDevice(); st < 0) return st;
        std::lock_guard<std::mutex> lock(bus_->m);
        bool response = false;
        uint16_t r = 0;
        ViStatus st = device_->command(ws::kReadStatus, &response);
        if (st < 0) return st;
        st = device_->takeResponse(&r);
        if (st < 0) return st;
        *stb = r & 0xFF;
        return VI_SUCCESS;
    }
    ViStatus assertTrigger(ViUInt16 protocol) override {
        int line = listener_.line.load();
        if (line == VI_TRIG_SW) {
            if (protocol != VI_TRIG_PROT_DEFAULT) return VI_ERROR_INV_PROT;
            if (!device_) return VI_ERROR_BERR;
            if (device_->messageBased()) {
                bool response = false;
                std::lock_guard<std::mutex> lock(bus_->m);
                return device_->command(ws::kTrigger, &response);
            }
            device_->instrument()->startTriggers();
            return VI_SUCCESS;
        }
        std::lock_guard<std::mutex> lock(bus_->m);
        return bus_->driveWithProtocol(line, protocol);
    }

    ViStatus vxiCommandQuery(ViUInt16 mode, ViUInt32 cmd, ViUInt32* response, const IoControl& io) override {
        bool send = mode == VI_VXI_CMD16 || mode == VI_VXI_CMD16_RESP16 || mode == VI_VXI_CMD32 ||
                    mode == VI_VXI_CMD32_RESP16 || mode == VI_VXI_CMD32_RESP32;
        bool take = mode == VI_VXI_CMD16_RESP16 || mode == VI_VXI_RESP16 || mode == VI_VXI_CMD32_RESP16 ||
                    mode == VI_VXI_CMD32_RESP32 || mode == VI_VXI_RESP32;
        if (!send && !take) return VI_ERROR_INV_MODE;
        bool wide = mode == VI_VXI_CMD32 || mode == VI_VXI_CMD32_RESP16 || mode == VI_VXI_CMD32_RESP32;
        bool wideResponse = mode == VI_VXI_CMD32_RESP32 || mode == VI_VXI_RESP32;
        if (send && !wide && cmd > 0xFFFF) return VI_ERROR_INV_PARAMETER;
        std::unique_lock<std::mutex> lock(bus_->m);
        if (la_ == bus_->def().controllerLa && bus_->servantListening()) {
            // The controller's own logical address, taken by its servant sessions: they get the
            // command and give the response.
            if (send) bus_->commandServant(mode, cmd);
            if (!take) return VI_SUCCESS;
            ViUInt32 r = 0;
            ViStatus st = bus_->takeServantResponse(lock, io, &r);
            if (st < 0) return st;
            if (response) *response = r;
            return VI_SUCCESS;
        }
        if (ViStatus st = messageDevice(); st < 0) return st;
        if (send) {
            // Longword serial carries the word-serial command in its upper half.
            bool produced = false;
            ViStatus st = device_->command(static_cast<uint16_t>(wide ? cmd >> 16 : cmd), &produced);
            if (st < 0) return st;
        }
        if (!take) return VI_SUCCESS;
        uint16_t r = 0;
        ViStatus st = device_->takeResponse(&r);
        if (st < 0) return st;
        if (response) *response = wideResponse ? (0xFFFF0000u | r) : r;
        return VI_SUCCESS;
    }

    ViStatus memAlloc(ViBusSize size, ViBusAddress64* offset) override {
        if (!device_) return VI_ERROR_BERR;
        std::lock_guard<std::mutex> lock(bus_->m);
        if (!device_->sharedMemory()) return VI_ERROR_NSUP_OPER;
        uint64_t at = 0;
        ViStatus st = device_->sharedMemory()->allocate(size, this, &at);
        *offset = at;
        return st;
    }
    ViStatus memFree(ViBusAddress64 offset) override {
        if (!device_) return VI_ERROR_BERR;
        std::lock_guard<std::mutex> lock(bus_->m);
        if (!device_->sharedMemory()) return VI_ERROR_NSUP_OPER;
        return device_->sharedMemory()->release(offset);
    }

    ViStatus setAttribute(ViAttr attr, ViAttrState v) override {
        if (attr == VI_ATTR_TRIG_ID) {
            int line = static_cast<ViInt16>(v);
            // A device answers on the trigger lines it has; the software trigger is always there.
            if (line != VI_TRIG_SW && line >= 0 && line < 32 && device_ && !(device_->def().triggerLines & (1u << line))) {
                return VI_ERROR_NSUP_ATTR_STATE;
            }
            listener_.line = line;
            return VI_SUCCESS;
        }
        return RegisterLink::setAttribute(attr, v);
    }

protected:
    ViStatus access(ViUInt16 space, uint64_t offset, int bytes, bool write, uint64_t* value) override {
        uint64_t address = 0;
        ViStatus st = locate(space, offset, static_cast<uint64_t>(bytes), &address);
        if (st < 0) return st;
        std::lock_guard<std::mutex> lock(bus_->m);
        if (!device_) {
            st = VxiBus::check(space, address, bytes);
            return st < 0 ? st : VI_ERROR_BERR;  // nothing answers at this address
        }
        return write ? bus_->write(space, address, bytes, *value) : bus_->read(space, address, bytes, value);
    }
    ViStatus windowAt(ViUInt16 space, uint64_t offset, uint64_t size, uint64_t* busAddress) override {
        return locate(space, offset, size, busAddress);
    }

private:
    // The device's own part of a space: its registers in A16, its memory in A24 or A32.
    ViStatus locate(ViUInt16 space, uint64_t offset, uint64_t bytes, uint64_t* address) const {
        if (space == VI_A16_SPACE) {
            if (la_ > 255) return VI_ERROR_INV_SPACE;  // only 256 register blocks fit in A16
            if (offset >= reg::kBlockSize || reg::kBlockSize - offset < bytes) return VI_ERROR_INV_OFFSET;
            *address = kA16Registers + static_cast<uint64_t>(la_) * reg::kBlockSize + offset;
            return VI_SUCCESS;
        }
        if (space != VI_A24_SPACE && space != VI_A32_SPACE) return VI_ERROR_INV_SPACE;
        if (!device_) {
            *address = offset;
            return VI_SUCCESS;  // the bus error comes with the access
        }
        if (device_->def().memorySpace != space) return VI_ERROR_INV_SPACE;
        if (offset >= device_->memorySize() || device_->memorySize() - offset < bytes) return VI_ERROR_INV_OFFSET;
        *address = device_->memoryBase() + offset;
        return VI_SUCCESS;
    }
    ViStatus messageDevice() const {
        if (!device_) return VI_ERROR_BERR;
        return device_->messageBased() ? VI_SUCCESS : VI_ERROR_NSUP_OPER;
    }

    std::shared_ptr<Instrument> instrument_;
    std::shared_ptr<VxiBus> bus_;
    int la_;
    std::shared_ptr<VxiDevice> device_;
    TriggerListener listener_;
    Attachment attachment_;
};

class VxiMemaccLink : public RegisterLink {
public:
    explicit VxiMemaccLink(std::shared_ptr<VxiBus> bus) : RegisterLink(true), bus_(std::move(bus)) {}

protected:
    ViStatus access(ViUInt16 space, uint64_t offset, int bytes, bool write, uint64_t* value) override {
        std::lock_guard<std::mutex> lock(bus_->m);
        return write ? bus_->write(space, offset, bytes, *value) : bus_->read(space, offset, bytes, value);
    }
    ViStatus windowAt(ViUInt16 space, uint64_t offset, uint64_t size, uint64_t* busAddress) override {
        uint64_t limit = vxiSpaceSize(space);
        if (!limit) return VI_ERROR_INV_SPACE;
        if (offset >= limit || limit - offset < size) return VI_ERROR_INV_OFFSET;
        *busAddress = offset;
        return VI_SUCCESS;
    }

private:
    std::shared_ptr<VxiBus> bus_;
};

// ---- PXI -------------------------------------------------------------------------------------

class PxiLink : public RegisterLink {
public:
    PxiLink(std::shared_ptr<Instrument> instrument, EventSink* sink, std::shared_ptr<PxiBus> bus,
            std::shared_ptr<PxiFunction> function, bool instr)
        : RegisterLink(false), instrument_(std::move(instrument)), bus_(std::move(bus)), function_(std::move(function)),
          instr_(instr) {
        attachment_.to(instrument_, sink);
    }
    ~PxiLink() override {
        std::lock_guard<std::mutex> lock(bus_->m);
        bus_->allocator().releaseAll(this);  // memory a session allocated goes with it
    }

    ViStatus memAlloc(ViBusSize size, ViBusAddress64* offset) override {
        std::lock_guard<std::mutex> lock(bus_->m);
        uint64_t at = 0;
        ViStatus st = bus_->allocator().allocate(size, this, &at);
        *offset = at;
        return st;
    }
    ViStatus memFree(ViBusAddress64 offset) override {
        std::lock_guard<std::mutex> lock(bus_->m);
        return bus_->allocator().release(offset);
    }

protected:
    ViStatus access(ViUInt16 space, uint64_t offset, int bytes, bool write, uint64_t* value) override {
        std::lock_guard<std::mutex> lock(bus_->m);
        if (space == VI_PXI_ALLOC_SPACE) return write ? bus_->write(offset, bytes, *value) : bus_->read(offset, bytes, value);
        bool functionSpace = space == VI_PXI_CFG_SPACE || (space >= VI_PXI_BAR0_SPACE && space <= VI_PXI_BAR5_SPACE);
        if (!instr_ || !functionSpace) return VI_ERROR_INV_SPACE;
        if (!function_) return VI_ERROR_BERR;
        return write ? function_->write(space, offset, bytes, *value) : function_->read(space, offset, bytes, value);
    }
    ViStatus windowAt(ViUInt16 space, uint64_t offset, uint64_t size, uint64_t* busAddress) override {
        std::lock_guard<std::mutex> lock(bus_->m);
        if (space == VI_PXI_ALLOC_SPACE) {
            if (!bus_->allocator().covers(offset, size)) return VI_ERROR_INV_OFFSET;
            *busAddress = offset;
            return VI_SUCCESS;
        }
        if (!instr_) return VI_ERROR_INV_SPACE;
        if (!function_) return VI_ERROR_BERR;
        if (space == VI_PXI_CFG_SPACE) {
            if (offset >= 256 || 256 - offset < size) return VI_ERROR_INV_OFFSET;
            *busAddress = offset;
            return VI_SUCCESS;
        }
        int bar = space - VI_PXI_BAR0_SPACE;
        if (bar < 0 || bar > 5 || function_->def().bars[bar].type == VI_PXI_ADDR_NONE) return VI_ERROR_INV_SPACE;
        uint64_t limit = function_->def().bars[bar].size;
        if (offset >= limit || limit - offset < size) return VI_ERROR_INV_OFFSET;
        *busAddress = function_->barBase(bar) + offset;
        return VI_SUCCESS;
    }

private:
    std::shared_ptr<Instrument> instrument_;
    std::shared_ptr<PxiBus> bus_;
    std::shared_ptr<PxiFunction> function_;
    bool instr_;
    Attachment attachment_;
};

}  // namespace

std::unique_ptr<Link> makeVxiInstrLink(std::shared_ptr<Instrument> instrument, EventSink* sink,
                                       std::shared_ptr<VxiBus> bus, int la) {
    return std::make_unique<VxiInstrLink>(std::move(instrument), sink, std::move(bus), la);
}

std::unique_ptr<Link> makeVxiMemaccLink(EventSink*, std::shared_ptr<VxiBus> bus) {
    return std::make_unique<VxiMemaccLink>(std::move(bus));
}

std::unique_ptr<Link> makePxiInstrLink(std::shared_ptr<Instrument> instrument, EventSink* sink,
                                       std::shared_ptr<PxiBus> bus, std::shared_ptr<PxiFunction> function) {
    return std::make_unique<PxiLink>(std::move(instrument), sink, std::move(bus), std::move(function), true);
}

std::unique_ptr<Link> makePxiMemaccLink(EventSink* sink, std::shared_ptr<PxiBus> bus) {
    return std::make_unique<PxiLink>(nullptr, sink, std::move(bus), nullptr, false);
}

}  // namespace zuvisa::sim

#include "zuvisa/bridgelets/sim/gpib.h"

#include <thread>

namespace zuvisa::sim {

namespace {

// IEEE 488.1 command bytes.
constexpr uint8_t kGtl = 0x01, kSdc = 0x04, kGet = 0x08, kTct = 0x09, kLlo = 0x11, kDcl = 0x14,
                  kSpe = 0x18, kSpd = 0x19, kUnl = 0x3F, kUnt = 0x5F;
constexpr uint8_t kListenBase = 0x20, kTalkBase = 0x40, kSecondaryBase = 0x60;
uint8_t listenAt(int primary) { return static_cast<uint8_t>(kListenBase + primary); }
uint8_t talkAt(int primary) { return static_cast<uint8_t>(kTalkBase + primary); }
// Bytes of the command log: 64 fit VI_ATTR_ZU_GPIB_CMD_LOG's 255 characters.
constexpr size_t kCommandLogBytes = 64;

ViAttrState lineState(bool asserted) {
    return static_cast<ViUInt16>(asserted ? VI_STATE_ASSERTED : VI_STATE_UNASSERTED);
}

}  // namespace

GpibBoard::GpibBoard(InterfaceDef def, Scheduler* scheduler)
    : def_(std::move(def)), scheduler_(scheduler), cic_(def_.cic), systemController_(def_.systemController),
      address_(def_.address) {}

GpibBoard::~GpibBoard() {
    for (auto& [pa, dev] : devices_) dev->detach(&forwarder_);
}

void GpibBoard::add(int primary, const std::shared_ptr<Device>& device) {
    std::lock_guard<std::mutex> lock(m_);
    if (devices_.count(primary)) return;
    devices_[primary] = device;
    device->attach(&forwarder_);
}

std::shared_ptr<Device> GpibBoard::device(int primary) {
    std::lock_guard<std::mutex> lock(m_);
    auto it = devices_.find(primary);
    return it == devices_.end() ? nullptr : it->second;
}

void GpibBoard::raiseBoth(ViEventType type) {
    EventData e;
    e.type = type;
    intfcSinks_.raise(e);
    servantSinks_.raise(e);
}

void GpibBoard::setCic(bool cic) {
    if (cic_.exchange(cic) == cic) return;
    EventData e;
    e.type = VI_EVENT_GPIB_CIC;
    e.numbers = {{VI_ATTR_GPIB_RECV_CIC_STATE, cic ? VI_TRUE : VI_FALSE}};
    intfcSinks_.raise(e);
}

// A device goes remote when it is addressed to listen while REN is asserted, and stays so until
// go-to-local or REN drops; local lockout holds for every device while REN lasts.
void GpibBoard::updateRemote(int addressed) {
    for (auto& [pa, dev] : devices_) {
        bool remote = ren_ && (pa == addressed || dev->remote());
        dev->setRemote(remote, ren_ && lockout_);
    }
}

void GpibBoard::clearDevice(int primary) {
    auto it = devices_.find(primary);
    if (it != devices_.end()) it->second->clear();
}

void GpibBoard::scheduleControlReturn() {
    if (!scheduler_) return;
    std::weak_ptr<GpibBoard> weak = weak_from_this();
    scheduler_->after(def_.controlReturnsMs, [weak] {
        auto self = weak.lock();
        if (!self) return;
        std::lock_guard<std::mutex> lock(self->m_);
        self->listeners_.clear();
        self->talker_ = -1;
        self->setCic(true);
    });
}

void GpibBoard::send(std::initializer_list<uint8_t> bytes) {
    for (uint8_t b : bytes) {
        if (commandLog_.size() == kCommandLogBytes) commandLog_.pop_front();
        commandLog_.push_back(b);
        obey(b);
    }
}

std::string GpibBoard::commandLog() {
    std::lock_guard<std::mutex> lock(m_);
    std::string text;
    char hex[4];
    for (uint8_t b : commandLog_) {
        snprintf(hex, sizeof hex, "%02X", b);
        if (!text.empty()) text += ' ';
        text += hex;
    }
    return text;
}

// What the devices and the board itself do with one command byte.
void GpibBoard::obey(uint8_t byte) {
    uint8_t c = byte & 0x7F;  // the eighth bit is parity on the bus
    if (c == kUnl) {
        listeners_.clear();
        if (addrState_ == VI_GPIB_LISTENER) addrState_ = VI_GPIB_UNADDRESSED;
    } else if (c == kUnt) {
        talker_ = -1;
        if (addrState_ == VI_GPIB_TALKER) addrState_ = VI_GPIB_UNADDRESSED;
    } else if (c >= kListenBase && c < kUnl) {
        int pa = c - kListenBase;
        if (pa == address_) {
            addrState_ = VI_GPIB_LISTENER;
            raiseBoth(VI_EVENT_GPIB_LISTEN);
        } else {
            listeners_.insert(pa);
            updateRemote(pa);
        }
    } else if (c >= kTalkBase && c < kUnt) {
        int pa = c - kTalkBase;
        talker_ = pa == address_ ? -1 : pa;
        if (pa == address_) {
            addrState_ = VI_GPIB_TALKER;
            raiseBoth(VI_EVENT_GPIB_TALK);
        } else if (addrState_ == VI_GPIB_TALKER) {
            addrState_ = VI_GPIB_UNADDRESSED;
        }
    } else if (c == kGtl) {
        for (int pa : listeners_) {
            if (auto it = devices_.find(pa); it != devices_.end()) it->second->setRemote(false, lockout_ && ren_);
        }
    } else if (c == kSdc) {
        for (int pa : listeners_) clearDevice(pa);
        if (addrState_ == VI_GPIB_LISTENER) raiseBoth(VI_EVENT_CLEAR);
    } else if (c == kDcl) {
        for (auto& [pa, dev] : devices_) dev->clear();
        raiseBoth(VI_EVENT_CLEAR);
    } else if (c == kGet) {
        for (int pa : listeners_) {
            if (auto it = devices_.find(pa); it != devices_.end()) it->second->trigger(VI_TRIG_PROT_DEFAULT);
        }
        if (addrState_ == VI_GPIB_LISTENER) {
            EventData e;
            e.type = VI_EVENT_TRIG;
            e.numbers = {{VI_ATTR_RECV_TRIG_ID, static_cast<ViUInt16>(VI_TRIG_SW)}};
            intfcSinks_.raise(e);
            servantSinks_.raise(e);
        }
    } else if (c == kLlo) {
        lockout_ = true;
        updateRemote(-1);
    } else if (c == kSpe) {
        serialPoll_ = true;
    } else if (c == kSpd) {
        serialPoll_ = false;
    } else if (c == kTct) {
        if (talker_ >= 0 && devices_.count(talker_)) {
            setCic(false);
            scheduleControlReturn();
        }
    }
}

ViStatus GpibBoard::command(const ViByte* bytes, size_t count, size_t* done) {
    *done = 0;
    std::lock_guard<std::mutex> lock(m_);
    if (!cic_) return VI_ERROR_NCIC;
    // The controller stays active, with ATN asserted, until data moves.
    if (count) atn_ = true;
    for (size_t i = 0; i < count && cic_; ++i) {
        send({bytes[i]});
        *done = i + 1;
    }
    return VI_SUCCESS;
}

ViStatus GpibBoard::write(const ViByte* buf, size_t count, bool end, size_t* done) {
    *done = 0;
    std::lock_guard<std::mutex> lock(m_);
    std::vector<std::shared_ptr<Device>> to;
    for (int pa : listeners_) {
        if (auto it = devices_.find(pa); it != devices_.end()) to.push_back(it->second);
    }
    if (to.empty()) return VI_ERROR_NLISTENERS;
    atn_ = false;  // data goes with ATN unasserted
    for (auto& dev : to) {
        size_t n = 0;
        ViStatus st = dev->write(buf, count, end, &n);
        if (st < 0) return st;
    }
    *done = count;
    return VI_SUCCESS;
}

ViStatus GpibBoard::read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io,
                         size_t* done) {
    *done = 0;
    std::shared_ptr<Device> from;
    bool poll = false;
    {
        std::lock_guard<std::mutex> lock(m_);
        auto it = devices_.find(talker_);
        if (it != devices_.end()) from = it->second;
        poll = serialPoll_;
        atn_ = false;
    }
    if (!from) {
        // Nobody talks: the board waits for data that never comes.
        while (!io.expired() && !io.cancelled()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return io.cancelled() ? VI_ERROR_ABORT : VI_ERROR_TMO;
    }
    if (poll) {
        if (count == 0) return VI_SUCCESS_MAX_CNT;
        ViUInt16 stb = 0;
        from->readStb(&stb);
        buf[0] = static_cast<ViByte>(stb);
        *done = 1;
        return VI_SUCCESS;
    }
    return from->read(buf, count, opt, io, done);
}

ViStatus GpibBoard::controlRen(ViUInt16 mode, int device) {
    std::lock_guard<std::mutex> lock(m_);
    bool board = device < 0;
    auto needsDevice = [&] { return board ? VI_ERROR_INV_MODE : (cic_ ? VI_SUCCESS : VI_ERROR_NCIC); };
    switch (mode) {
    case VI_GPIB_REN_DEASSERT:
    case VI_GPIB_REN_ASSERT:
    case VI_GPIB_REN_DEASSERT_GTL:
    case VI_GPIB_REN_ASSERT_LLO:
        if (!systemController_) return VI_ERROR_NSYS_CNTLR;
        break;
    case VI_GPIB_REN_ASSERT_ADDRESS:
    case VI_GPIB_REN_ASSERT_ADDRESS_LLO:
        if (!systemController_) return VI_ERROR_NSYS_CNTLR;
        if (ViStatus st = needsDevice(); st < 0) return st;
        break;
    case VI_GPIB_REN_ADDRESS_GTL:
        if (ViStatus st = needsDevice(); st < 0) return st;
        break;
    default: return VI_ERROR_INV_MODE;
    }
    switch (mode) {
    case VI_GPIB_REN_DEASSERT:
        ren_ = false;
        lockout_ = false;
        for (auto& [pa, dev] : devices_) dev->setRemote(false, false);
        break;
    case VI_GPIB_REN_ASSERT: ren_ = true; break;
    case VI_GPIB_REN_DEASSERT_GTL:
        for (auto& [pa, dev] : devices_) {
            if (board || pa == device) dev->setRemote(false, false);
        }
        ren_ = false;
        lockout_ = false;
        break;
    case VI_GPIB_REN_ASSERT_ADDRESS:
        ren_ = true;
        send({kUnl, talkAt(address_), listenAt(device)});
        return VI_SUCCESS;
    case VI_GPIB_REN_ASSERT_LLO:
        ren_ = true;
        send({kLlo});
        return VI_SUCCESS;
    case VI_GPIB_REN_ASSERT_ADDRESS_LLO:
        ren_ = true;
        send({kUnl, talkAt(address_), listenAt(device), kLlo});
        return VI_SUCCESS;
    case VI_GPIB_REN_ADDRESS_GTL:
        send({kUnl, talkAt(address_), listenAt(device), kGtl});
        return VI_SUCCESS;
    default: break;
    }
    updateRemote(-1);
    return VI_SUCCESS;
}

ViStatus GpibBoard::controlAtn(ViUInt16 mode) {
    std::lock_guard<std::mutex> lock(m_);
    if (mode > VI_GPIB_ATN_ASSERT_IMMEDIATE) return VI_ERROR_INV_MODE;
    if (!cic_) return VI_ERROR_NCIC;
    atn_ = mode == VI_GPIB_ATN_ASSERT || mode == VI_GPIB_ATN_ASSERT_IMMEDIATE;
    return VI_SUCCESS;
}

ViStatus GpibBoard::sendIfc() {
    std::lock_guard<std::mutex> lock(m_);
    if (!systemController_) return VI_ERROR_NSYS_CNTLR;
    // Interface clear unaddresses everyone and makes the system controller the controller.
    listeners_.clear();
    talker_ = -1;
    serialPoll_ = false;
    atn_ = false;
    addrState_ = VI_GPIB_UNADDRESSED;
    setCic(true);
    return VI_SUCCESS;
}

ViStatus GpibBoard::passControl(ViUInt16 primary, ViUInt16 secondary) {
    std::lock_guard<std::mutex> lock(m_);
    if (primary > 30 || (secondary != VI_NO_SEC_ADDR && secondary > 30)) return VI_ERROR_INV_PARAMETER;
    if (!cic_) return VI_ERROR_NCIC;
    if (primary == address_ || !devices_.count(primary)) return VI_ERROR_NLISTENERS;
    // Take Control goes to the new controller, addressed to talk.
    send({talkAt(primary)});
    if (secondary != VI_NO_SEC_ADDR) send({static_cast<uint8_t>(kSecondaryBase + secondary)});
    send({kTct});
    atn_ = false;
    return VI_SUCCESS;
}

void GpibBoard::addressed(int device) {
    std::lock_guard<std::mutex> lock(m_);
    auto it = devices_.find(device);
    if (it != devices_.end() && ren_) it->second->setRemote(true, lockout_);
}

ViStatus GpibBoard::getAttribute(ViAttr attr, ViAttrState* value) {
    std::lock_guard<std::mutex> lock(m_);
    switch (attr) {
    case VI_ATTR_GPIB_REN_STATE: *value = lineState(ren_); return VI_SUCCESS;
    case VI_ATTR_GPIB_ATN_STATE: *value = lineState(atn_); return VI_SUCCESS;
    case VI_ATTR_GPIB_NDAC_STATE: *value = lineState(!listeners_.empty()); return VI_SUCCESS;
    case VI_ATTR_GPIB_SRQ_STATE: {
        bool srq = false;
        for (auto& [pa, dev] : devices_) srq |= dev->serviceRequested();
        *value = lineState(srq);
        return VI_SUCCESS;
    }
    case VI_ATTR_GPIB_CIC_STATE: *value = cic_ ? VI_TRUE : VI_FALSE; return VI_SUCCESS;
    case VI_ATTR_GPIB_SYS_CNTRL_STATE: *value = systemController_ ? VI_TRUE : VI_FALSE; return VI_SUCCESS;
    case VI_ATTR_GPIB_PRIMARY_ADDR: *value = static_cast<ViAttrState>(address_); return VI_SUCCESS;
    case VI_ATTR_GPIB_SECONDARY_ADDR: *value = static_cast<ViAttrState>(secondary_); return VI_SUCCESS;
    case VI_ATTR_GPIB_ADDR_STATE: *value = static_cast<ViAttrState>(addrState_); return VI_SUCCESS;
    case VI_ATTR_GPIB_HS488_CBL_LEN: *value = static_cast<ViUInt16>(cableLength_); return VI_SUCCESS;
    case VI_ATTR_DEV_STATUS_BYTE: *value = statusByte_; return VI_SUCCESS;
    default: return VI_ERROR_NSUP_ATTR;
    }
}

ViStatus GpibBoard::setAttribute(ViAttr attr, ViAttrState value) {
    std::lock_guard<std::mutex> lock(m_);
    switch (attr) {
    case VI_ATTR_GPIB_SYS_CNTRL_STATE: systemController_ = value != VI_FALSE; return VI_SUCCESS;
    case VI_ATTR_GPIB_PRIMARY_ADDR:
        // Two talkers at one address would garble the bus.
        if (devices_.count(static_cast<int>(value))) return VI_ERROR_NSUP_ATTR_STATE;
        address_ = static_cast<int>(value);
        return VI_SUCCESS;
    case VI_ATTR_GPIB_SECONDARY_ADDR: secondary_ = static_cast<int>(value); return VI_SUCCESS;
    case VI_ATTR_GPIB_HS488_CBL_LEN: cableLength_ = static_cast<ViInt16>(value); return VI_SUCCESS;
    case VI_ATTR_DEV_STATUS_BYTE: statusByte_ = static_cast<uint8_t>(value); return VI_SUCCESS;
    default: return VI_SUCCESS;
    }
}

void GpibBoard::peerAddresses(int state) {
    std::lock_guard<std::mutex> lock(m_);
    if (addrState_ == state) return;
    addrState_ = state;
    if (state == VI_GPIB_TALKER) raiseBoth(VI_EVENT_GPIB_TALK);
    if (state == VI_GPIB_LISTENER) raiseBoth(VI_EVENT_GPIB_LISTEN);
}

void GpibBoard::peerClears() {
    std::lock_guard<std::mutex> lock(m_);
    if (peer_) peer_->clear();
    raiseBoth(VI_EVENT_CLEAR);
}

ViStatus GpibBoard::servantWrite(const ViByte* buf, size_t count, bool end, size_t* done) {
    *done = 0;
    // The controller on the other side addresses the board to talk when it has data to give.
    peerAddresses(VI_GPIB_TALKER);
    if (!peer_) return VI_ERROR_TMO;
    return peer_->write(buf, count, end, done);
}

ViStatus GpibBoard::servantRead(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io,
                                size_t* done) {
    *done = 0;
    if (!peer_) {
        while (!io.expired() && !io.cancelled()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return io.cancelled() ? VI_ERROR_ABORT : VI_ERROR_TMO;
    }
    return peer_->read(buf, count, opt, io, done);
}

}  // namespace zuvisa::sim

#include "zuvisa/bridgelets/gpib/gpib.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <set>
#include <thread>

#include "zuvisa/rsrcname.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::gpib {

namespace {

constexpr int kBoards = 16;
constexpr int kMaxAddress = 30;
// How often the board's status is looked at for the events it raises.
constexpr auto kWatchPeriod = std::chrono::milliseconds(20);
// While SRQ stays asserted (by a device no session polls), devices are polled again this often.
constexpr auto kRepollPeriod = std::chrono::milliseconds(500);

// Command bytes (IEEE 488.1).
constexpr uint8_t kGtl = 0x01, kGet = 0x08, kLlo = 0x11, kUnl = 0x3F, kListen = 0x20, kSecondary = 0x60;

ViAttrState lineState(int lines, int valid, int bus) {
    if (!(lines & valid)) return static_cast<ViUInt16>(VI_STATE_UNKNOWN);
    return (lines & bus) ? VI_STATE_ASSERTED : VI_STATE_UNASSERTED;
}

}  // namespace

ViStatus statusOf(const Api* api, int sta) {
    if (!(sta & kErr)) return VI_SUCCESS;
    switch (api->ThreadIberr()) {
    case kEabo: return (sta & kTimo) ? VI_ERROR_TMO : VI_ERROR_ABORT;
    case kEcic: return VI_ERROR_NCIC;
    case kEnol: return VI_ERROR_NLISTENERS;
    case kEsac: return VI_ERROR_NSYS_CNTLR;
    case kEarg: return VI_ERROR_INV_PARAMETER;
    case kEoip: return VI_ERROR_IN_PROGRESS;
    case kEcap: return VI_ERROR_NSUP_OPER;
    case kEneb: return VI_ERROR_CONN_LOST;  // the board went away (or was never set up)
    case kEfso: return VI_ERROR_FILE_IO;
    case kEdvr:
        switch (api->ThreadIbcntl()) {
        case ENODEV:
        case ENXIO:
        case EIO:
        case ESHUTDOWN: return VI_ERROR_CONN_LOST;
        case EACCES:
        case EPERM: return VI_ERROR_NPERMISSION;
        case ETIMEDOUT: return VI_ERROR_TMO;
        default: return VI_ERROR_SYSTEM_ERROR;
        }
    default: return (sta & kTimo) ? VI_ERROR_TMO : VI_ERROR_IO;
    }
}

// One board, shared by the sessions of the process on it: every library call on the board and
// its devices goes through its lock (the driver does one at a time anyway), and a watcher turns
// the board's status into events.
class Board {
public:
    Board(const Api* api, int index) : api_(api), index_(index) {
        watcher_ = std::thread([this] { watch(); });
    }
    ~Board() {
        {
            std::lock_guard<std::mutex> lock(m_);
            stop_ = true;
        }
        stopped_.notify_all();
        watcher_.join();
    }

    const Api* api() const { return api_; }
    int index() const { return index_; }
    std::mutex& bus() { return bus_; }

    void attachBoard(EventSink* sink) {
        std::lock_guard<std::mutex> lock(m_);
        boardSinks_.insert(sink);
    }
    void detachBoard(EventSink* sink) {
        std::lock_guard<std::mutex> lock(m_);
        boardSinks_.erase(sink);
    }
    void attachDevice(int ud, EventSink* sink) {
        std::lock_guard<std::mutex> lock(m_);
        devices_[ud] = sink;
    }
    void detachDevice(int ud) {
        std::lock_guard<std::mutex> lock(m_);
        devices_.erase(ud);
        polled_.erase(ud);
    }
    // The status byte a serial poll for a service request already took from the device.
    bool takePolled(int ud, uint8_t* stb) {
        std::lock_guard<std::mutex> lock(m_);
        auto it = polled_.find(ud);
        if (it == polled_.end()) return false;
        *stb = it->second;
        polled_.erase(it);
        return true;
    }

private:
    struct Raised {
        EventSink* sink;
        EventData event;
    };

    void watch() {
        int last = -1;
        Clock::time_point lastPoll{};
        std::unique_lock<std::mutex> lock(m_);
        while (!stop_) {
            stopped_.wait_for(lock, kWatchPeriod);
            if (stop_) return;
            std::vector<int> uds;
            for (const auto& [ud, sink] : devices_) uds.push_back(ud);
            bool anyone = !boardSinks_.empty() || !uds.empty();
            lock.unlock();
            std::vector<Raised> raised;
            std::vector<std::pair<int, uint8_t>> polled;
            // A session busy on the bus holds the lock; look again next time.
            if (anyone && tryBus()) {
                int sta = api_->ibwait(index_, 0);
                if (!(sta & kErr)) {
                    // The event bits clear on the next call after a wait that names them.
                    if (sta & (kDcas | kDtas)) api_->ibwait(index_, sta & (kDcas | kDtas));
                    bool srqRose = (sta & kSrqi) && (last < 0 || !(last & kSrqi));
                    bool repoll = (sta & kSrqi) && Clock::now() - lastPoll >= kRepollPeriod;
                    for (int ud : uds) {
                        // With automatic polling the driver polled already and shows RQS.
                        int dsta = api_->ibwait(ud, 0);
                        if (!(dsta & kRqs) && !srqRose && !repoll) continue;
                        char spr = 0;
                        if (api_->ibrsp(ud, &spr) & kErr) continue;
                        if (static_cast<uint8_t>(spr) & 0x40) polled.emplace_back(ud, static_cast<uint8_t>(spr));
                    }
                    if (srqRose || repoll) lastPoll = Clock::now();
                    boardEvents(sta, last, &raised);
                    last = sta;
                }
                bus_.unlock();
            }
            lock.lock();
            for (const auto& [ud, stb] : polled) {
                auto it = devices_.find(ud);
                if (it == devices_.end()) continue;
                polled_[ud] = stb;
                EventData e;
                e.type = VI_EVENT_SERVICE_REQ;
                raised.push_back({it->second, e});
            }
            // Raised with the lock held, so that a detaching link waits for its events to go.
            for (const Raised& r : raised) {
                if (r.sink && (boardSinks_.count(r.sink) || std::any_of(devices_.begin(), devices_.end(), [&](const auto& d) { return d.second == r.sink; }))) {
                    r.sink->raise(r.event);
                }
            }
        }
    }

    // The bus for a look at the board, when it is free within a few milliseconds. (Polled
    // rather than a timed lock, which the thread sanitizer cannot follow.)
    bool tryBus() {
        for (int i = 0; i < 5; ++i) {
            if (bus_.try_lock()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

    // With m_ not held: the events of the board's own status, for its INTFC sessions.
    void boardEvents(int sta, int last, std::vector<Raised>* out) {
        if (last < 0) last = sta & ~(kDcas | kDtas);  // the first look sets the baseline
        std::vector<EventData> events;
        auto add = [&](ViEventType type) {
            EventData e;
            e.type = type;
            events.push_back(e);
        };
        if ((sta ^ last) & kCic) {
            EventData e;
            e.type = VI_EVENT_GPIB_CIC;
            e.numbers.emplace_back(VI_ATTR_GPIB_RECV_CIC_STATE, (sta & kCic) ? VI_TRUE : VI_FALSE);
            events.push_back(e);
        }
        if ((sta & kTacs) && !(last & kTacs)) add(VI_EVENT_GPIB_TALK);
        if ((sta & kLacs) && !(last & kLacs)) add(VI_EVENT_GPIB_LISTEN);
        if (sta & kDcas) add(VI_EVENT_CLEAR);
        if (sta & kDtas) add(VI_EVENT_TRIG);
        if ((sta & kSrqi) && !(last & kSrqi)) add(VI_EVENT_SERVICE_REQ);
        if (events.empty()) return;
        std::lock_guard<std::mutex> lock(m_);
        for (EventSink* s : boardSinks_) {
            for (const EventData& e : events) out->push_back({s, e});
        }
    }

    const Api* api_;
    const int index_;
    std::mutex bus_;
    std::mutex m_;
    std::condition_variable stopped_;
    bool stop_ = false;
    std::set<EventSink*> boardSinks_;
    std::map<int, EventSink*> devices_;  // device descriptor -> its session
    std::map<int, uint8_t> polled_;
    std::thread watcher_;
};

namespace {

// What INSTR and INTFC links share: a descriptor on the board, its timeout, EOS and EOI
// settings (set only when they change), and messages.
class GpibLink : public Link {
public:
    GpibLink(std::shared_ptr<Board> board, int ud) : board_(std::move(board)), api_(board_->api()), ud_(ud) {}

    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io, size_t* done) override {
        *done = 0;
        std::lock_guard<std::mutex> bus(board_->bus());
        if (ViStatus st = prepare(io); st < 0) return st;
        if (eot_ != static_cast<int>(end)) {
            int sta = api_->ibeot(ud_, end ? 1 : 0);
            if (sta & kErr) return statusOf(api_, sta);
            eot_ = end;
        }
        int sta = api_->ibwrt(ud_, buf, static_cast<long>(count));
        *done = static_cast<size_t>(std::max<long>(0, api_->ThreadIbcntl()));
        return statusOf(api_, sta);
    }

    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done) override {
        *done = 0;
        std::lock_guard<std::mutex> bus(board_->bus());
        int eos = opt.termCharEnabled ? (kReos | kBin | opt.termChar) : 0;
        if (eos != eos_) {
            int sta = api_->ibeos(ud_, eos);
            if (sta & kErr) return statusOf(api_, sta);
            eos_ = eos;
        }
        while (*done < count) {
            if (ViStatus st = prepare(io); st < 0) return st;
            int sta = api_->ibrd(ud_, buf + *done, static_cast<long>(count - *done));
            *done += static_cast<size_t>(std::max<long>(0, api_->ThreadIbcntl()));
            if (sta & kErr) return statusOf(api_, sta);
            // END comes with EOI and with the EOS character alike.
            if (opt.termCharEnabled && *done > 0 && buf[*done - 1] == opt.termChar) return VI_SUCCESS_TERM_CHAR;
            if ((sta & kEnd) && !opt.suppressEnd) return VI_SUCCESS;
        }
        return VI_SUCCESS_MAX_CNT;
    }

protected:
    // With the bus held: the descriptor's timeout from what is left of the call's.
    ViStatus prepare(const IoControl& io) {
        if (io.cancelled()) return VI_ERROR_ABORT;
        unsigned ms = 0;
        if (!io.infinite) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(io.deadline - Clock::now()).count();
            if (left < 0) return VI_ERROR_TMO;
            ms = static_cast<unsigned>(std::min<long long>(left, 0x7FFFFFFF));
        }
        int code = timeoutCode(ms, io.infinite);
        if (code != tmo_) {
            int sta = api_->ibtmo(ud_, code);
            if (sta & kErr) return statusOf(api_, sta);
            tmo_ = code;
        }
        return VI_SUCCESS;
    }
    ViStatus command(std::initializer_list<uint8_t> bytes) {
        std::vector<uint8_t> b(bytes);
        return statusOf(api_, api_->ibcmd(board_->index(), b.data(), static_cast<long>(b.size())));
    }
    int lines() {
        short l = 0;
        if (api_->iblines(board_->index(), &l) & kErr) return 0;
        return static_cast<unsigned short>(l);
    }

    std::shared_ptr<Board> board_;
    const Api* api_;
    const int ud_;
    int tmo_ = -1, eos_ = -1, eot_ = -1;
};

// GPIBn::primary[::secondary]::INSTR
class GpibInstrLink : public GpibLink {
public:
    GpibInstrLink(std::shared_ptr<Board> board, int ud, int primary, int secondary, EventSink* sink)
        : GpibLink(std::move(board), ud), primary_(primary), secondary_(secondary), sink_(sink) {
        if (sink_) board_->attachDevice(ud_, sink_);
    }
    ~GpibInstrLink() override {
        if (sink_) board_->detachDevice(ud_);
        std::lock_guard<std::mutex> bus(board_->bus());
        api_->ibonl(ud_, 0);
    }

    ViStatus clear() override {
        std::lock_guard<std::mutex> bus(board_->bus());
        return statusOf(api_, api_->ibclr(ud_));
    }

    ViStatus readStb(ViUInt16* stb) override {
        uint8_t polled = 0;
        if (board_->takePolled(ud_, &polled)) {
            *stb = polled;
            return VI_SUCCESS;
        }
        std::lock_guard<std::mutex> bus(board_->bus());
        char spr = 0;
        int sta = api_->ibrsp(ud_, &spr);
        *stb = static_cast<uint8_t>(spr);
        return statusOf(api_, sta);
    }

    ViStatus assertTrigger(ViUInt16 protocol) override {
        if (protocol != VI_TRIG_PROT_DEFAULT) return VI_ERROR_INV_PROT;
        std::lock_guard<std::mutex> bus(board_->bus());
        return statusOf(api_, api_->ibtrg(ud_));
    }

    ViStatus gpibControlRen(ViUInt16 mode) override {
        if (mode > VI_GPIB_REN_ADDRESS_GTL) return VI_ERROR_INV_MODE;
        std::lock_guard<std::mutex> bus(board_->bus());
        int b = board_->index();
        auto ren = [&](bool on) { return statusOf(api_, api_->ibsre(b, on ? 1 : 0)); };
        auto addressed = [&]() {
            // Unlisten everyone, then make this device a listener.
            uint8_t sad = static_cast<uint8_t>(kSecondary + (secondary_ < 0 ? 0 : secondary_));
            std::vector<uint8_t> bytes = {kUnl, static_cast<uint8_t>(kListen + primary_)};
            if (secondary_ >= 0) bytes.push_back(sad);
            return statusOf(api_, api_->ibcmd(b, bytes.data(), static_cast<long>(bytes.size())));
        };
        ViStatus st = VI_SUCCESS;
        switch (mode) {
        case VI_GPIB_REN_DEASSERT: return ren(false);
        case VI_GPIB_REN_ASSERT: return ren(true);
        case VI_GPIB_REN_DEASSERT_GTL:
            st = statusOf(api_, api_->ibloc(ud_));
            return st < 0 ? st : ren(false);
        case VI_GPIB_REN_ASSERT_ADDRESS:
            st = ren(true);
            return st < 0 ? st : addressed();
        case VI_GPIB_REN_ASSERT_LLO: return command({kLlo});
        case VI_GPIB_REN_ASSERT_ADDRESS_LLO:
            st = ren(true);
            if (st >= 0) st = addressed();
            return st < 0 ? st : command({kLlo});
        case VI_GPIB_REN_ADDRESS_GTL: return statusOf(api_, api_->ibloc(ud_));
        default: return VI_ERROR_INV_MODE;
        }
    }

    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override {
        if (attr == VI_ATTR_GPIB_REN_STATE) {
            std::lock_guard<std::mutex> bus(board_->bus());
            *v = lineState(lines(), kValidRen, kBusRen);
            return VI_SUCCESS;
        }
        return Link::getAttribute(attr, v, text);
    }

private:
    const int primary_, secondary_;
    EventSink* sink_;
};

// GPIBn::INTFC
class GpibIntfcLink : public GpibLink {
public:
    GpibIntfcLink(std::shared_ptr<Board> board, EventSink* sink) : GpibLink(board, board->index()), sink_(sink) {
        if (sink_) board_->attachBoard(sink_);
    }
    ~GpibIntfcLink() override {
        if (sink_) board_->detachBoard(sink_);
    }

    ViStatus gpibCommand(const ViByte* buf, size_t count, size_t* done) override {
        std::lock_guard<std::mutex> bus(board_->bus());
        int sta = api_->ibcmd(ud_, buf, static_cast<long>(count));
        *done = static_cast<size_t>(std::max<long>(0, api_->ThreadIbcntl()));
        return statusOf(api_, sta);
    }

    ViStatus assertTrigger(ViUInt16 protocol) override {
        if (protocol != VI_TRIG_PROT_DEFAULT) return VI_ERROR_INV_PROT;
        std::lock_guard<std::mutex> bus(board_->bus());
        return command({kGet});  // to the devices addressed to listen
    }

    ViStatus gpibControlRen(ViUInt16 mode) override {
        std::lock_guard<std::mutex> bus(board_->bus());
        ViStatus st;
        switch (mode) {
        case VI_GPIB_REN_DEASSERT: return statusOf(api_, api_->ibsre(ud_, 0));
        case VI_GPIB_REN_ASSERT: return statusOf(api_, api_->ibsre(ud_, 1));
        case VI_GPIB_REN_DEASSERT_GTL:
            st = command({kGtl});
            return st < 0 ? st : statusOf(api_, api_->ibsre(ud_, 0));
        case VI_GPIB_REN_ASSERT_LLO: return command({kLlo});
        default: return VI_ERROR_INV_MODE;  // the board addresses no single device
        }
    }

    ViStatus gpibControlAtn(ViUInt16 mode) override {
        std::lock_guard<std::mutex> bus(board_->bus());
        switch (mode) {
        case VI_GPIB_ATN_DEASSERT: return statusOf(api_, api_->ibgts(ud_, 0));
        case VI_GPIB_ATN_DEASSERT_HANDSHAKE: return statusOf(api_, api_->ibgts(ud_, 1));
        case VI_GPIB_ATN_ASSERT: return statusOf(api_, api_->ibcac(ud_, 1));
        case VI_GPIB_ATN_ASSERT_IMMEDIATE: return statusOf(api_, api_->ibcac(ud_, 0));
        default: return VI_ERROR_INV_MODE;
        }
    }

    ViStatus gpibSendIfc() override {
        std::lock_guard<std::mutex> bus(board_->bus());
        return statusOf(api_, api_->ibsic(ud_));
    }

    ViStatus gpibPassControl(ViUInt16 primary, ViUInt16 secondary) override {
        if (primary > kMaxAddress || (secondary != VI_NO_SEC_ADDR && secondary > kMaxAddress)) {
            return VI_ERROR_INV_PARAMETER;
        }
        std::lock_guard<std::mutex> bus(board_->bus());
        int sad = secondary == VI_NO_SEC_ADDR ? kNoSad : kSadBase + secondary;
        int ud = api_->ibdev(ud_, primary, sad, 11, 1, 0);
        if (ud < 0) return statusOf(api_, api_->ThreadIbsta() | kErr);
        ViStatus st = statusOf(api_, api_->ibpct(ud));
        api_->ibonl(ud, 0);
        return st;
    }

    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override {
        std::lock_guard<std::mutex> bus(board_->bus());
        int value = 0;
        switch (attr) {
        case VI_ATTR_GPIB_PRIMARY_ADDR:
            if (api_->ibask(ud_, kOptPad, &value) & kErr) return statusOf(api_, kErr);
            *v = static_cast<ViAttrState>(value);
            return VI_SUCCESS;
        case VI_ATTR_GPIB_SECONDARY_ADDR:
            if (api_->ibask(ud_, kOptSad, &value) & kErr) return statusOf(api_, kErr);
            *v = value == kNoSad ? VI_NO_SEC_ADDR : static_cast<ViAttrState>(value - kSadBase);
            return VI_SUCCESS;
        case VI_ATTR_GPIB_SYS_CNTRL_STATE:
            if (api_->ibask(ud_, kOptSc, &value) & kErr) return statusOf(api_, kErr);
            *v = value ? VI_TRUE : VI_FALSE;
            return VI_SUCCESS;
        case VI_ATTR_GPIB_HS488_CBL_LEN:
            // Boards without HS488 say so by refusing the option.
            if (api_->ibask(ud_, kOptHsCableLength, &value) & kErr) *v = static_cast<ViUInt16>(VI_GPIB_HS488_NIMPL);
            else *v = value ? static_cast<ViAttrState>(value) : static_cast<ViUInt16>(VI_GPIB_HS488_DISABLED);
            return VI_SUCCESS;
        case VI_ATTR_GPIB_REN_STATE: *v = lineState(lines(), kValidRen, kBusRen); return VI_SUCCESS;
        case VI_ATTR_GPIB_ATN_STATE: *v = lineState(lines(), kValidAtn, kBusAtn); return VI_SUCCESS;
        case VI_ATTR_GPIB_NDAC_STATE: *v = lineState(lines(), kValidNdac, kBusNdac); return VI_SUCCESS;
        case VI_ATTR_GPIB_SRQ_STATE: *v = lineState(lines(), kValidSrq, kBusSrq); return VI_SUCCESS;
        case VI_ATTR_GPIB_CIC_STATE:
        case VI_ATTR_GPIB_ADDR_STATE: {
            int sta = api_->ibwait(ud_, 0);
            if (sta & kErr) return statusOf(api_, sta);
            if (attr == VI_ATTR_GPIB_CIC_STATE) *v = (sta & kCic) ? VI_TRUE : VI_FALSE;
            else *v = (sta & kTacs) ? VI_GPIB_TALKER : (sta & kLacs) ? VI_GPIB_LISTENER : VI_GPIB_UNADDRESSED;
            return VI_SUCCESS;
        }
        default: return Link::getAttribute(attr, v, text);
        }
    }

    ViStatus setAttribute(ViAttr attr, ViAttrState v) override {
        std::lock_guard<std::mutex> bus(board_->bus());
        switch (attr) {
        case VI_ATTR_GPIB_PRIMARY_ADDR: return statusOf(api_, api_->ibpad(ud_, static_cast<int>(v)));
        case VI_ATTR_GPIB_SECONDARY_ADDR:
            return statusOf(api_, api_->ibsad(ud_, v == VI_NO_SEC_ADDR ? kNoSad : kSadBase + static_cast<int>(v)));
        case VI_ATTR_GPIB_SYS_CNTRL_STATE: return statusOf(api_, api_->ibrsc(ud_, v != VI_FALSE));
        case VI_ATTR_GPIB_HS488_CBL_LEN: {
            ViInt16 len = static_cast<ViInt16>(v);
            int sta = api_->ibconfig(ud_, kOptHsCableLength, len == VI_GPIB_HS488_DISABLED ? 0 : len);
            return (sta & kErr) ? VI_ERROR_NSUP_ATTR_STATE : VI_SUCCESS;
        }
        case VI_ATTR_DEV_STATUS_BYTE: return statusOf(api_, api_->ibrsv(ud_, static_cast<int>(v & 0xFF)));
        default: return VI_SUCCESS;
        }
    }

private:
    EventSink* sink_;
};

}  // namespace

GpibConfig readGpibConfig(const std::vector<std::pair<std::string, std::string>>& items,
                          std::vector<std::string>* problems) {
    GpibConfig c;
    for (const auto& [key, value] : items) {
        std::string k = upperAscii(key);
        if (k == "LIBRARY") {
            c.library = value;
        } else if (k == "DEVROOT") {
            c.devRoot = value;
        } else if (k == "SCAN") {
            std::string v = upperAscii(value);
            if (v == "TRUE" || v == "FALSE") c.scan = v == "TRUE";
            else if (problems) problems->push_back("Scan is neither True nor False");
        } else if (problems) {
            problems->push_back("unknown item " + key);
        }
    }
    return c;
}

bool GpibBridgelet::boardPresent(int index) {
    struct stat st;
    std::string node = config_.devRoot + "/gpib" + std::to_string(index);
    if (stat(node.c_str(), &st) != 0) return false;
    std::shared_ptr<Board> b = board(index);
    std::lock_guard<std::mutex> bus(b->bus());
    int pad = 0;
    // A board that gpib_config never set up answers no question.
    return !(api_->ibask(index, kOptPad, &pad) & kErr);
}

std::shared_ptr<Board> GpibBridgelet::board(int index) {
    std::lock_guard<std::mutex> lock(m_);
    std::shared_ptr<Board> b = boards_[index].lock();
    if (!b) {
        b = std::make_shared<Board>(api_, index);
        boards_[index] = b;
    }
    return b;
}

void GpibBridgelet::enumerate(std::vector<ResourceInfo>& out) {
    for (int index = 0; index < kBoards; ++index) {
        if (!boardPresent(index)) continue;
        std::string prefix = "GPIB" + std::to_string(index);
        ResourceInfo intfc;
        intfc.name = prefix + "::INTFC";
        intfc.texts.emplace_back(VI_ATTR_INTF_INST_NAME, prefix + " (linux-gpib board " + std::to_string(index) + ")");
        out.push_back(intfc);
        if (!config_.scan) continue;
        std::shared_ptr<Board> b = board(index);
        std::lock_guard<std::mutex> bus(b->bus());
        int own = -1;
        api_->ibask(index, kOptPad, &own);
        // Only the controller in charge can ask who listens.
        if (!(api_->ibwait(index, 0) & kCic)) continue;
        for (int pad = 0; pad <= kMaxAddress; ++pad) {
            if (pad == own) continue;
            short found = 0;
            if ((api_->ibln(index, pad, kNoSad, &found) & kErr) || !found) continue;
            ResourceInfo dev;
            dev.name = prefix + "::" + std::to_string(pad) + "::INSTR";
            dev.texts.emplace_back(VI_ATTR_INTF_INST_NAME, intfc.texts.front().second);
            out.push_back(std::move(dev));
        }
    }
}

ViStatus GpibBridgelet::open(const std::string& canonicalName, ViUInt32, EventSink* events,
                             std::unique_ptr<Link>* link) {
    ResourceName rn;
    if (parseResourceName(canonicalName, &rn) != VI_SUCCESS || rn.intfType != VI_INTF_GPIB) return VI_ERROR_RSRC_NFOUND;
    if (rn.board >= kBoards || (rn.rsrcClass != "INSTR" && rn.rsrcClass != "INTFC")) return VI_ERROR_RSRC_NFOUND;
    if (!boardPresent(rn.board)) return VI_ERROR_RSRC_NFOUND;
    std::shared_ptr<Board> b = board(rn.board);
    if (rn.rsrcClass == "INTFC") {
        *link = std::make_unique<GpibIntfcLink>(b, events);
        return VI_SUCCESS;
    }
    int sad = rn.secondary < 0 ? kNoSad : kSadBase + rn.secondary;
    ViStatus presence = VI_SUCCESS;
    int ud;
    {
        std::lock_guard<std::mutex> bus(b->bus());
        ud = api_->ibdev(rn.board, rn.primary, sad, 11, 1, 0);
        if (ud < 0) return statusOf(api_, api_->ThreadIbsta() | kErr) == VI_ERROR_NPERMISSION ? VI_ERROR_NPERMISSION
                                                                                               : VI_ERROR_RSRC_NFOUND;
        // A session opens on an address where no device answers, and says so.
        short found = 1;
        if (!(api_->ibln(rn.board, rn.primary, sad, &found) & kErr) && !found) presence = VI_SUCCESS_DEV_NPRESENT;
    }
    *link = std::make_unique<GpibInstrLink>(b, ud, rn.primary, rn.secondary, events);
    return presence;
}

ViStatus registerGpib(Registrar* registrar) {
    std::vector<std::string> problems;
    GpibConfig config = readGpibConfig(registrar->settings(), &problems);
    std::string why;
    const Api* api = loadApi(config.library, &why);
    if (!api) {
        registrar->log(ZUVISA_LOG_INFO, why);
        return VI_ERROR_LIBRARY_NFOUND;
    }
    for (const std::string& p : problems) registrar->log(ZUVISA_LOG_WARNING, p);
    registrar->add(std::make_unique<GpibBridgelet>(api, std::move(config)));
    return problems.empty() ? VI_SUCCESS : VI_WARN_CONFIG_NLOADED;
}

}  // namespace zuvisa::gpib

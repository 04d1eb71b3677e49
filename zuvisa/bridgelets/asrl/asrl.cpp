#include "zuvisa/bridgelets/asrl/asrl.h"

#include <cstdlib>
#include <cstring>

#include "zuvisa/rsrcname.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::asrl {

namespace {

// How long the 488.2 strings protocol waits for "*STB?" to be answered: these calls carry no
// timeout of their own.
constexpr ViUInt32 kStrsTimeoutMs = 2000;

ViAttrState lineValue(ViInt16 state) { return static_cast<ViAttrState>(static_cast<ViUInt16>(state)); }

class AsrlLink : public Link, private PortListener {
public:
    AsrlLink(std::shared_ptr<SerialPort> port, EventSink* sink) : port_(std::move(port)), sink_(sink) {
        if (sink_) port_->attach(this);
    }
    ~AsrlLink() override {
        if (sink_) port_->detach(this);
    }

    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io, size_t* done) override {
        *done = 0;
        Modes m = modes();
        std::vector<uint8_t> out(buf, buf + count);
        if (end && m.endOut == VI_ASRL_END_TERMCHAR) out.push_back(m.termChar);
        if (m.endOut == VI_ASRL_END_LAST_BIT && !out.empty()) {
            // The highest data bit marks the last byte of a message and no other.
            uint8_t top = static_cast<uint8_t>(1u << (port_->settings().line.dataBits - 1));
            for (uint8_t& b : out) b = static_cast<uint8_t>(b & ~top);
            if (end) out.back() = static_cast<uint8_t>(out.back() | top);
        }
        size_t sent = 0;
        ViStatus st = port_->write(out.data(), out.size(), io, &sent);
        *done = std::min(sent, count);
        if (st < 0) return st;
        if (end && m.endOut == VI_ASRL_END_BREAK) return port_->sendBreak(m.breakLen, io);
        return VI_SUCCESS;
    }

    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done) override {
        Modes m = modes();
        ReadSpec spec;
        spec.termCharEnabled = opt.termCharEnabled;
        spec.termChar = opt.termChar;
        spec.lastBit = m.endIn == VI_ASRL_END_LAST_BIT;
        spec.discardNull = m.discardNull;
        spec.replaceChar = m.replaceChar;
        return port_->read(buf, count, spec, io, done);
    }

    ViStatus clear() override {
        ViStatus st = port_->discardOutput();
        if (st >= 0) st = port_->discardInput();
        if (st < 0 || modes().ioProt != VI_PROT_4882_STRS) return st;
        // A device that speaks 488.2 over the line clears its status on "*CLS".
        return sendString("*CLS\n");
    }

    ViStatus readStb(ViUInt16* stb) override {
        if (modes().ioProt != VI_PROT_4882_STRS) return VI_ERROR_INV_SETUP;
        if (ViStatus st = sendString("*STB?\n"); st < 0) return st;
        char answer[32];
        size_t n = 0;
        ReadSpec spec;
        spec.termCharEnabled = true;
        spec.termChar = '\n';
        IoControl io = IoControl::fromTimeout(kStrsTimeoutMs, nullptr);
        ViStatus st = port_->read(reinterpret_cast<uint8_t*>(answer), sizeof answer - 1, spec, io, &n);
        if (st < 0) return st;
        answer[n] = '\0';
        char* end = nullptr;
        long v = strtol(answer, &end, 10);
        if (end == answer || v < 0 || v > 255) return VI_ERROR_INP_PROT_VIOL;
        *stb = static_cast<ViUInt16>(v);
        return VI_SUCCESS;
    }

    ViStatus assertTrigger(ViUInt16 protocol) override {
        if (protocol != VI_TRIG_PROT_DEFAULT) return VI_ERROR_INV_PROT;
        if (modes().ioProt != VI_PROT_4882_STRS) return VI_ERROR_INV_SETUP;
        return sendString("*TRG\n");
    }

    ViStatus setIoBuffer(ViUInt16 mask, ViUInt32 size) override {
        if (mask & VI_IO_IN_BUF) port_->setInputCapacity(size);
        // What is written goes straight to the driver's own transmit buffer.
        return (mask & VI_IO_OUT_BUF) ? VI_ERROR_NSUP_OPER : VI_SUCCESS;
    }

    ViStatus flushIoBuffer(ViUInt16 mask) override {
        ViStatus st = VI_SUCCESS;
        // Flushing the receive buffer of a serial port can only mean dropping it.
        if (mask & (VI_IO_IN_BUF | VI_IO_IN_BUF_DISCARD)) st = port_->discardInput();
        if (st >= 0 && (mask & VI_IO_OUT_BUF_DISCARD)) st = port_->discardOutput();
        if (st >= 0 && (mask & VI_IO_OUT_BUF)) {
            st = port_->drainOutput(IoControl::fromTimeout(kStrsTimeoutMs * 5, nullptr));
        }
        return st;
    }

    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override {
        switch (attr) {
        case VI_ATTR_ASRL_AVAIL_NUM: *v = port_->available(); return VI_SUCCESS;
        case VI_ATTR_ASRL_CONNECTED: *v = port_->connected() ? VI_TRUE : VI_FALSE; return VI_SUCCESS;
        case VI_ATTR_ASRL_CTS_STATE: *v = lineValue(port_->lineState(tty::kCts)); return VI_SUCCESS;
        case VI_ATTR_ASRL_DSR_STATE: *v = lineValue(port_->lineState(tty::kDsr)); return VI_SUCCESS;
        case VI_ATTR_ASRL_DCD_STATE: *v = lineValue(port_->lineState(tty::kDcd)); return VI_SUCCESS;
        case VI_ATTR_ASRL_RI_STATE: *v = lineValue(port_->lineState(tty::kRi)); return VI_SUCCESS;
        case VI_ATTR_ASRL_DTR_STATE: *v = lineValue(port_->lineState(tty::kDtr)); return VI_SUCCESS;
        case VI_ATTR_ASRL_RTS_STATE: *v = lineValue(port_->lineState(tty::kRts)); return VI_SUCCESS;
        case VI_ATTR_ASRL_BREAK_STATE:
            *v = lineValue(port_->breakOn() ? VI_STATE_ASSERTED : VI_STATE_UNASSERTED);
            return VI_SUCCESS;
        case VI_ATTR_ASRL_ALLOW_TRANSMIT: *v = port_->allowTransmit() ? VI_TRUE : VI_FALSE; return VI_SUCCESS;
        case VI_ATTR_ASRL_WIRE_MODE: {
            ViInt16 mode = VI_ASRL_WIRE_232_DTE;
            port_->wireMode(&mode);
            *v = lineValue(mode);
            return VI_SUCCESS;
        }
        default: break;
        }
        PortSettings s = port_->settings();
        Modes m = modes();
        switch (attr) {
        case VI_ATTR_ASRL_BAUD: *v = s.line.baud; return VI_SUCCESS;
        case VI_ATTR_ASRL_DATA_BITS: *v = s.line.dataBits; return VI_SUCCESS;
        case VI_ATTR_ASRL_PARITY: *v = s.line.parity; return VI_SUCCESS;
        case VI_ATTR_ASRL_STOP_BITS: *v = s.line.stopBits; return VI_SUCCESS;
        case VI_ATTR_ASRL_FLOW_CNTRL: *v = s.flow; return VI_SUCCESS;
        case VI_ATTR_ASRL_XON_CHAR: *v = s.line.xon; return VI_SUCCESS;
        case VI_ATTR_ASRL_XOFF_CHAR: *v = s.line.xoff; return VI_SUCCESS;
        case VI_ATTR_ASRL_END_IN: *v = m.endIn; return VI_SUCCESS;
        case VI_ATTR_ASRL_END_OUT: *v = m.endOut; return VI_SUCCESS;
        case VI_ATTR_ASRL_DISCARD_NULL: *v = m.discardNull ? VI_TRUE : VI_FALSE; return VI_SUCCESS;
        case VI_ATTR_ASRL_REPLACE_CHAR: *v = m.replaceChar; return VI_SUCCESS;
        case VI_ATTR_ASRL_BREAK_LEN: *v = static_cast<ViUInt16>(m.breakLen); return VI_SUCCESS;
        default: return Link::getAttribute(attr, v, text);
        }
    }

    ViStatus setAttribute(ViAttr attr, ViAttrState v) override {
        auto u16 = static_cast<ViUInt16>(v);
        auto asserted = [v] { return static_cast<ViInt16>(v) == VI_STATE_ASSERTED; };
        switch (attr) {
        case VI_ATTR_ASRL_BAUD:
            if (v > 0xFFFFFFFFull) return VI_ERROR_NSUP_ATTR_STATE;
            return port_->change([&](PortSettings& s) { s.line.baud = static_cast<uint32_t>(v); });
        case VI_ATTR_ASRL_DATA_BITS: return port_->change([&](PortSettings& s) { s.line.dataBits = u16; });
        case VI_ATTR_ASRL_PARITY: return port_->change([&](PortSettings& s) { s.line.parity = u16; });
        case VI_ATTR_ASRL_STOP_BITS: return port_->change([&](PortSettings& s) { s.line.stopBits = u16; });
        case VI_ATTR_ASRL_FLOW_CNTRL: return port_->change([&](PortSettings& s) { s.flow = u16; });
        case VI_ATTR_ASRL_XON_CHAR:
            return port_->change([&](PortSettings& s) { s.line.xon = static_cast<uint8_t>(v); });
        case VI_ATTR_ASRL_XOFF_CHAR:
            return port_->change([&](PortSettings& s) { s.line.xoff = static_cast<uint8_t>(v); });
        case VI_ATTR_ASRL_DTR_STATE: return port_->setLine(tty::kDtr, asserted());
        case VI_ATTR_ASRL_RTS_STATE: return port_->setLine(tty::kRts, asserted());
        case VI_ATTR_ASRL_BREAK_STATE: return port_->setBreak(asserted());
        case VI_ATTR_ASRL_ALLOW_TRANSMIT: return port_->setAllowTransmit(v != VI_FALSE);
        case VI_ATTR_ASRL_WIRE_MODE: return port_->setWireMode(static_cast<ViInt16>(v));
        default: break;
        }
        std::lock_guard<std::mutex> lock(m_);
        switch (attr) {
        case VI_ATTR_ASRL_END_IN: modes_.endIn = u16; break;
        case VI_ATTR_ASRL_END_OUT: modes_.endOut = u16; break;
        case VI_ATTR_ASRL_DISCARD_NULL: modes_.discardNull = v != VI_FALSE; break;
        case VI_ATTR_ASRL_REPLACE_CHAR: modes_.replaceChar = static_cast<uint8_t>(v); break;
        case VI_ATTR_ASRL_BREAK_LEN: modes_.breakLen = static_cast<ViInt16>(v); break;
        case VI_ATTR_TERMCHAR: modes_.termChar = static_cast<uint8_t>(v); break;
        case VI_ATTR_IO_PROT: modes_.ioProt = u16; break;
        default: break;
        }
        return VI_SUCCESS;
    }

private:
    // The session's own ways of ending messages (the line settings belong to the port).
    struct Modes {
        ViUInt16 endIn = VI_ASRL_END_TERMCHAR, endOut = VI_ASRL_END_NONE;
        bool discardNull = false;
        uint8_t replaceChar = 0;
        uint8_t termChar = '\n';
        int breakLen = 250;
        ViUInt16 ioProt = VI_PROT_NORMAL;
    };
    Modes modes() {
        std::lock_guard<std::mutex> lock(m_);
        return modes_;
    }

    ViStatus sendString(const char* s) {
        size_t n = 0;
        return port_->write(reinterpret_cast<const uint8_t*>(s), strlen(s),
                            IoControl::fromTimeout(kStrsTimeoutMs, nullptr), &n);
    }

    // PortListener: from the port's reader thread.
    void received(const uint8_t* bytes, size_t count) override {
        EventData e;
        e.type = VI_EVENT_ASRL_CHAR;
        sink_->raise(e);
        uint8_t term = modes().termChar;
        for (size_t i = 0; i < count; ++i) {
            if (bytes[i] != term) continue;
            EventData t;
            t.type = VI_EVENT_ASRL_TERMCHAR;
            sink_->raise(t);
        }
    }
    void signal(ViEventType type) override {
        EventData e;
        e.type = type;
        sink_->raise(e);
    }

    std::shared_ptr<SerialPort> port_;
    EventSink* sink_;
    std::mutex m_;
    Modes modes_;
};

}  // namespace

std::unique_ptr<Link> makeAsrlLink(std::shared_ptr<SerialPort> port, EventSink* sink) {
    return std::make_unique<AsrlLink>(std::move(port), sink);
}

void AsrlBridgelet::enumerate(std::vector<ResourceInfo>& out) {
    for (const PortEntry& p : listPorts(config_, nullptr)) {
        if (!p.present) continue;
        ResourceInfo info;
        info.name = "ASRL" + std::to_string(p.number) + "::INSTR";
        info.texts.emplace_back(VI_ATTR_INTF_INST_NAME, instanceName(p));
        out.push_back(std::move(info));
    }
}

ViStatus AsrlBridgelet::open(const std::string& canonicalName, ViUInt32, EventSink* events,
                             std::unique_ptr<Link>* link) {
    ResourceName rn;
    if (parseResourceName(canonicalName, &rn) != VI_SUCCESS || rn.intfType != VI_INTF_ASRL) {
        return VI_ERROR_RSRC_NFOUND;
    }
    PortEntry found;
    bool known = false;
    for (PortEntry& p : listPorts(config_, nullptr)) {
        if (p.number == rn.board) {
            found = std::move(p);
            known = true;
            break;
        }
    }
    if (!known || !found.present) return VI_ERROR_RSRC_NFOUND;
    std::shared_ptr<SerialPort> port;
    {
        std::lock_guard<std::mutex> lock(m_);
        for (auto it = ports_.begin(); it != ports_.end();) {
            if (it->second.expired()) it = ports_.erase(it);
            else ++it;
        }
        auto it = ports_.find(found.resolved);
        if (it != ports_.end()) port = it->second.lock();
        if (!port) {
            ViStatus st = SerialPort::open(found.device, config_.lockDirectory, &port);
            if (st < 0) return st;
            ports_[found.resolved] = port;
        }
    }
    *link = makeAsrlLink(std::move(port), events);
    return VI_SUCCESS;
}

ViStatus registerAsrl(Registrar* registrar) {
    std::vector<std::string> problems;
    PortConfig config = readPortConfig(registrar->settings(), &problems);
    for (const std::string& p : problems) registrar->log(ZUVISA_LOG_WARNING, p);
    registrar->add(std::make_unique<AsrlBridgelet>(std::move(config)));
    return problems.empty() ? VI_SUCCESS : VI_WARN_CONFIG_NLOADED;
}

}  // namespace zuvisa::asrl

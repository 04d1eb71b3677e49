// Links of message-based instruments: GPIB, TCP/IP, USB and serial.
#include <thread>

#include "zuvisa/bridgelets/sim/attachment.h"
#include "zuvisa/bridgelets/sim/links.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::sim {

namespace {

ViStatus waitOut(const IoControl& io) {
    while (!io.expired() && !io.cancelled()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return io.cancelled() ? VI_ERROR_ABORT : VI_ERROR_TMO;
}

class MessageLink : public Link {
public:
    MessageLink(std::shared_ptr<Instrument> instrument, EventSink* sink, std::shared_ptr<GpibBoard> board,
                int primary, ViStatus absent)
        : instrument_(std::move(instrument)), device_(instrument_->message()), board_(std::move(board)),
          primary_(primary), absent_(absent) {
        if (absent_ != VI_SUCCESS) device_.reset();
        attachment_.to(instrument_, sink);
    }

    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io, size_t* done) override {
        *done = 0;
        if (ViStatus st = reachable(&io); st < 0) return st;
        if (board_) board_->addressed(primary_);
        return device_->write(buf, count, end, done);
    }
    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done) override {
        *done = 0;
        if (ViStatus st = reachable(&io); st < 0) return st;
        return device_->read(buf, count, opt, io, done);
    }
    ViStatus clear() override {
        if (ViStatus st = reachable(nullptr); st < 0) return st;
        return device_->clear();
    }
    ViStatus readStb(ViUInt16* stb) override {
        if (ViStatus st = reachable(nullptr); st < 0) return st;
        return device_->readStb(stb);
    }
    ViStatus assertTrigger(ViUInt16 protocol) override {
        if (ViStatus st = reachable(nullptr); st < 0) return st;
        return device_->trigger(protocol);
    }
    ViStatus setIoBuffer(ViUInt16, ViUInt32) override { return VI_SUCCESS; }
    ViStatus flushIoBuffer(ViUInt16 mask) override {
        // Discarding what the port received drops the instrument's unread answers.
        if (device_ && (mask & VI_IO_IN_BUF_DISCARD)) device_->clear();
        return VI_SUCCESS;
    }
    ViStatus gpibControlRen(ViUInt16 mode) override {
        if (!board_) return VI_ERROR_NSUP_OPER;
        return board_->controlRen(mode, primary_);
    }
    ViStatus getAttribute(ViAttr attr, ViAttrState* number, std::string* text) override {
        if (board_ && attr == VI_ATTR_GPIB_REN_STATE) return board_->getAttribute(attr, number);
        return Link::getAttribute(attr, number, text);
    }

protected:
    // Whether the instrument can take part: a GPIB device needs its board to be in charge.
    ViStatus reachable(const IoControl* io) {
        if (board_ && !board_->cic()) return VI_ERROR_NCIC;
        if (device_) return VI_SUCCESS;
        if (absent_ == VI_ERROR_TMO && io) return waitOut(*io);
        return absent_;
    }

    std::shared_ptr<Instrument> instrument_;
    std::shared_ptr<Device> device_;
    std::shared_ptr<GpibBoard> board_;
    int primary_;
    ViStatus absent_;
    Attachment attachment_;
};

// A serial port with an instrument on the other end of the cable: line settings, the modem
// lines it drives back, end modes, break, and the character events of received bytes.
class SerialLink : public Link, private EventSink {
public:
    SerialLink(std::shared_ptr<Instrument> instrument, EventSink* sink)
        : instrument_(std::move(instrument)), device_(instrument_->message()), sink_(sink),
          serial_(instrument_->definition()->serial), dcd_(serial_.dcd), ri_(serial_.ri) {
        // The session hears the instrument through this link, which turns arriving bytes into
        // the character events the session asked for.
        attachment_.to(instrument_, sink ? this : nullptr);
    }

    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io, size_t* done) override {
        *done = 0;
        if (!allowTransmit_) return waitOut(io);  // held as if the other side had sent XOFF
        std::string out(reinterpret_cast<const char*>(buf), count);
        bool deviceEnd = false;
        switch (endOut_) {
        case VI_ASRL_END_TERMCHAR:
            if (end) out.push_back(static_cast<char>(termChar_));
            break;
        case VI_ASRL_END_LAST_BIT:
        case VI_ASRL_END_BREAK: deviceEnd = end; break;
        default: break;
        }
        size_t n = 0;
        ViStatus st = device_->write(reinterpret_cast<const ViByte*>(out.data()), out.size(), deviceEnd, &n);
        if (st < 0) return st;
        if (endOut_ == VI_ASRL_END_BREAK && end) device_->breakReceived();
        *done = count;
        return VI_SUCCESS;
    }

    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done) override {
        ReadOptions o = opt;
        // A serial line has no END signal: only the last-bit mode marks where a message ends.
        o.suppressEnd = endIn_ != VI_ASRL_END_LAST_BIT || opt.suppressEnd;
        ViStatus st = device_->read(buf, count, o, io, done);
        if (endIn_ == VI_ASRL_END_LAST_BIT && st == VI_SUCCESS && *done > 0) buf[*done - 1] |= 0x80;
        if (discardNull_) {
            size_t kept = 0;
            for (size_t i = 0; i < *done; ++i) {
                if (buf[i] != 0) buf[kept++] = buf[i];
            }
            *done = kept;
        }
        return st;
    }
    ViStatus clear() override { return device_->clear(); }
    ViStatus readStb(ViUInt16* stb) override { return device_->readStb(stb); }
    ViStatus assertTrigger(ViUInt16 protocol) override { return device_->trigger(protocol); }
    ViStatus setIoBuffer(ViUInt16, ViUInt32) override { return VI_SUCCESS; }
    ViStatus flushIoBuffer(ViUInt16 mask) override {
        if (mask & VI_IO_IN_BUF_DISCARD) device_->clear();
        return VI_SUCCESS;
    }

    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override {
        if (attr == VI_ATTR_ASRL_AVAIL_NUM) {  // the device's lock, never under this link's
            *v = device_->pendingOutput();
            return VI_SUCCESS;
        }
        std::lock_guard<std::mutex> lock(m_);
        auto line = [](bool on) { return static_cast<ViAttrState>(on ? VI_STATE_ASSERTED : VI_STATE_UNASSERTED); };
        switch (attr) {
        case VI_ATTR_ASRL_CTS_STATE: *v = line(cts()); return VI_SUCCESS;
        case VI_ATTR_ASRL_DSR_STATE: *v = line(dsr()); return VI_SUCCESS;
        case VI_ATTR_ASRL_DCD_STATE: *v = line(dcd_); return VI_SUCCESS;
        case VI_ATTR_ASRL_RI_STATE: *v = line(ri_); return VI_SUCCESS;
        case VI_ATTR_ASRL_RTS_STATE: *v = line(rts()); return VI_SUCCESS;
        case VI_ATTR_ASRL_DTR_STATE: *v = line(dtr()); return VI_SUCCESS;
        case VI_ATTR_ASRL_BREAK_STATE: *v = line(breakOn_); return VI_SUCCESS;
        default: return Link::getAttribute(attr, v, text);
        }
    }

    ViStatus setAttribute(ViAttr attr, ViAttrState v) override {
        std::vector<ViEventType> events;
        bool breakStarts = false;
        {
            std::lock_guard<std::mutex> lock(m_);
            bool wasCts = cts(), wasDsr = dsr();
            switch (attr) {
            case VI_ATTR_ASRL_RTS_STATE:
                // Under hardware handshake the driver owns the line.
                if (flow_ & VI_ASRL_FLOW_RTS_CTS) return VI_ERROR_NSUP_ATTR_STATE;
                rtsOn_ = static_cast<ViInt16>(v) == VI_STATE_ASSERTED;
                break;
            case VI_ATTR_ASRL_DTR_STATE:
                if (flow_ & VI_ASRL_FLOW_DTR_DSR) return VI_ERROR_NSUP_ATTR_STATE;
                dtrOn_ = static_cast<ViInt16>(v) == VI_STATE_ASSERTED;
                break;
            case VI_ATTR_ASRL_FLOW_CNTRL: flow_ = static_cast<ViUInt16>(v); break;
            case VI_ATTR_ASRL_END_IN: endIn_ = static_cast<ViUInt16>(v); break;
            case VI_ATTR_ASRL_END_OUT: endOut_ = static_cast<ViUInt16>(v); break;
            case VI_ATTR_TERMCHAR: termChar_ = static_cast<ViUInt8>(v); break;
            case VI_ATTR_ASRL_DISCARD_NULL: discardNull_ = v != VI_FALSE; break;
            case VI_ATTR_ASRL_ALLOW_TRANSMIT: allowTransmit_ = v != VI_FALSE; break;
            case VI_ATTR_ASRL_BREAK_STATE: {
                bool on = static_cast<ViInt16>(v) == VI_STATE_ASSERTED;
                breakStarts = on && !breakOn_;
                breakOn_ = on;
                break;
            }
            default: break;
            }
            if (cts() != wasCts) events.push_back(VI_EVENT_ASRL_CTS);
            if (dsr() != wasDsr) events.push_back(VI_EVENT_ASRL_DSR);
        }
        // The instrument drops the message it was receiving when the line breaks. Its lock is
        // never taken under this link's: its events come through this link.
        if (breakStarts) device_->breakReceived();
        for (ViEventType t : events) {
            EventData e;
            e.type = t;
            instrument_->sinks()->raise(e);
        }
        return VI_SUCCESS;
    }

private:
    // EventSink: what the instrument raises, on its way to this link's session.
    void raise(const EventData& e) override {
        if (e.type != kBytesArrived) {
            // The instrument's ring and carrier events are changes of those lines.
            if (e.type == VI_EVENT_ASRL_RI || e.type == VI_EVENT_ASRL_DCD) {
                std::lock_guard<std::mutex> lock(m_);
                bool& line = e.type == VI_EVENT_ASRL_RI ? ri_ : dcd_;
                line = !line;
            }
            sink_->raise(e);
            return;
        }
        std::string bytes = e.texts.empty() ? std::string() : e.texts.front().second;
        ViUInt8 term;
        {
            std::lock_guard<std::mutex> lock(m_);
            term = termChar_;
        }
        EventData ch;
        ch.type = VI_EVENT_ASRL_CHAR;
        sink_->raise(ch);
        if (bytes.find(static_cast<char>(term)) != std::string::npos) {
            EventData tc;
            tc.type = VI_EVENT_ASRL_TERMCHAR;
            sink_->raise(tc);
        }
    }

    // With the handshake wiring the instrument answers RTS with CTS and DTR with DSR.
    bool rts() const { return (flow_ & VI_ASRL_FLOW_RTS_CTS) ? true : rtsOn_; }
    bool dtr() const { return (flow_ & VI_ASRL_FLOW_DTR_DSR) ? true : dtrOn_; }
    bool cts() const { return serial_.followsRts ? rts() : true; }
    bool dsr() const { return serial_.followsRts ? dtr() : true; }

    std::shared_ptr<Instrument> instrument_;
    std::shared_ptr<Device> device_;
    EventSink* sink_;
    SerialDef serial_;
    std::mutex m_;
    bool dcd_;
    bool rtsOn_ = true, dtrOn_ = true, breakOn_ = false, ri_ = false;
    bool discardNull_ = false, allowTransmit_ = true;
    ViUInt16 flow_ = VI_ASRL_FLOW_NONE, endIn_ = VI_ASRL_END_TERMCHAR, endOut_ = VI_ASRL_END_NONE;
    ViUInt8 termChar_ = '\n';
    Attachment attachment_;
};

// ---- GPIB boards -----------------------------------------------------------------------------

ViStatus boardAttribute(GpibBoard& board, ViAttr attr, ViAttrState* v, std::string* text) {
    if (attr != VI_ATTR_ZU_GPIB_CMD_LOG) return board.getAttribute(attr, v);
    *text = board.commandLog();
    return VI_SUCCESS;
}

class GpibIntfcLink : public Link {
public:
    GpibIntfcLink(EventSink* sink, std::shared_ptr<GpibBoard> board) : board_(std::move(board)) {
        attachment_.to(board_->intfcSinks(), sink);
    }
    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl&, size_t* done) override {
        return board_->write(buf, count, end, done);
    }
    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done) override {
        return board_->read(buf, count, opt, io, done);
    }
    ViStatus assertTrigger(ViUInt16 protocol) override {
        if (protocol != VI_TRIG_PROT_DEFAULT) return VI_ERROR_INV_PROT;
        const ViByte get = 0x08;  // group execute trigger to the addressed listeners
        size_t done = 0;
        return board_->command(&get, 1, &done);
    }
    ViStatus gpibCommand(const ViByte* buf, size_t count, size_t* done) override { return board_->command(buf, count, done); }
    ViStatus gpibControlRen(ViUInt16 mode) override { return board_->controlRen(mode, -1); }
    ViStatus gpibControlAtn(ViUInt16 mode) override { return board_->controlAtn(mode); }
    ViStatus gpibSendIfc() override { return board_->sendIfc(); }
    ViStatus gpibPassControl(ViUInt16 primary, ViUInt16 secondary) override {
        return board_->passControl(primary, secondary);
    }
    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override { return boardAttribute(*board_, attr, v, text); }
    ViStatus setAttribute(ViAttr attr, ViAttrState v) override { return board_->setAttribute(attr, v); }

private:
    std::shared_ptr<GpibBoard> board_;
    Attachment attachment_;
};

class GpibServantLink : public Link {
public:
    GpibServantLink(std::shared_ptr<Instrument> peer, EventSink* sink, std::shared_ptr<GpibBoard> board)
        : peer_(std::move(peer)), board_(std::move(board)) {
        attachment_.to(board_->servantSinks(), sink);
        attachment_.to(peer_, sink);
    }
    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl&, size_t* done) override {
        return board_->servantWrite(buf, count, end, done);
    }
    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done) override {
        return board_->servantRead(buf, count, opt, io, done);
    }
    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override { return boardAttribute(*board_, attr, v, text); }
    ViStatus setAttribute(ViAttr attr, ViAttrState v) override { return board_->setAttribute(attr, v); }

private:
    std::shared_ptr<Instrument> peer_;
    std::shared_ptr<GpibBoard> board_;
    Attachment attachment_;
};

}  // namespace

std::unique_ptr<Link> makeMessageLink(std::shared_ptr<Instrument> instrument, EventSink* sink,
                                      std::shared_ptr<GpibBoard> board, int primary, ViStatus absent) {
    return std::make_unique<MessageLink>(std::move(instrument), sink, std::move(board), primary, absent);
}

std::unique_ptr<Link> makeSerialLink(std::shared_ptr<Instrument> instrument, EventSink* sink) {
    return std::make_unique<SerialLink>(std::move(instrument), sink);
}

std::unique_ptr<Link> makeGpibIntfcLink(EventSink* sink, std::shared_ptr<GpibBoard> board) {
    return std::make_unique<GpibIntfcLink>(sink, std::move(board));
}

std::unique_ptr<Link> makeGpibServantLink(std::shared_ptr<Instrument> peer, EventSink* sink,
                                          std::shared_ptr<GpibBoard> board) {
    return std::make_unique<GpibServantLink>(std::move(peer), sink, std::move(board));
}

}  // namespace zuvisa::sim

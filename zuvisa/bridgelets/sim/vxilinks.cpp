// Links of a VXI system's own resources: its backplane (trigger lines, interrupts, SYSFAIL and
// SYSRESET) and the controller as a servant of a remote commander.
#include <string>
#include <thread>

#include "zuvisa/bridgelets/sim/attachment.h"
#include "zuvisa/bridgelets/sim/links.h"

namespace zuvisa::sim {

namespace {

ViAttrState lineState(bool asserted) {
    return static_cast<ViUInt16>(asserted ? VI_STATE_ASSERTED : VI_STATE_UNASSERTED);
}

ViStatus utilSignal(VxiBus& bus, ViUInt16 line) {
    std::lock_guard<std::mutex> lock(bus.m);
    switch (line) {
    case VI_UTIL_ASSERT_SYSRESET: bus.sysreset(); return VI_SUCCESS;
    case VI_UTIL_ASSERT_SYSFAIL: bus.setSysfail(true); return VI_SUCCESS;
    case VI_UTIL_DEASSERT_SYSFAIL: bus.setSysfail(false); return VI_SUCCESS;
    default: return VI_ERROR_INV_LINE;
    }
}

class BackplaneLink : public Link {
public:
    BackplaneLink(EventSink* sink, std::shared_ptr<VxiBus> bus) : bus_(std::move(bus)) {
        listener_.sink = sink;
        listener_.everyLine = true;
        // Asserting a trigger needs a line; the session starts on TTL0 (VI_ATTR_TRIG_ID).
        listener_.line = VI_TRIG_TTL0;
        {
            std::lock_guard<std::mutex> lock(bus_->m);
            if (sink) bus_->listen(&listener_);
        }
        attachment_.to(bus_->backplaneSinks(), sink);
    }
    ~BackplaneLink() override {
        std::lock_guard<std::mutex> lock(bus_->m);
        bus_->unlisten(&listener_);
    }

    ViStatus assertTrigger(ViUInt16 protocol) override {
        int line = listener_.line.load();
        if (line == VI_TRIG_SW) return VI_ERROR_INV_SETUP;  // a backplane drives lines, not software triggers
        std::lock_guard<std::mutex> lock(bus_->m);
        return bus_->driveWithProtocol(line, protocol);
    }
    ViStatus mapTrigger(ViInt16 src, ViInt16 dest, ViUInt16 mode) override {
        std::lock_guard<std::mutex> lock(bus_->m);
        return bus_->mapTrigger(src, dest, mode);
    }
    ViStatus unmapTrigger(ViInt16 src, ViInt16 dest) override {
        std::lock_guard<std::mutex> lock(bus_->m);
        return bus_->unmapTrigger(src, dest);
    }
    ViStatus assertIntrSignal(ViInt16 mode, ViUInt32 statusId) override {
        std::lock_guard<std::mutex> lock(bus_->m);
        return bus_->interrupt(mode, statusId);
    }
    ViStatus assertUtilSignal(ViUInt16 line) override { return utilSignal(*bus_, line); }

    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override {
        std::lock_guard<std::mutex> lock(bus_->m);
        switch (attr) {
        case VI_ATTR_VXI_TRIG_STATUS: *v = bus_->assertedLines(); return VI_SUCCESS;
        case VI_ATTR_VXI_VME_INTR_STATUS: *v = bus_->pendingInterrupts(); return VI_SUCCESS;
        case VI_ATTR_VXI_VME_SYSFAIL_STATE: *v = lineState(bus_->sysfail()); return VI_SUCCESS;
        default: return Link::getAttribute(attr, v, text);
        }
    }
    ViStatus setAttribute(ViAttr attr, ViAttrState v) override {
        if (attr == VI_ATTR_TRIG_ID) listener_.line = static_cast<ViInt16>(v);
        return VI_SUCCESS;
    }

private:
    std::shared_ptr<VxiBus> bus_;
    TriggerListener listener_;
    Attachment attachment_;
};

// The controller as a device of a commander elsewhere. Messages go to and come from the peer (a
// simulated device that plays the commander), whose actions raise the servant's events. A
// commander may also be a session in this process on the controller's logical address: its
// word-serial commands arrive as events, and the servant's response and signals reach it.
class VxiServantLink : public Link {
public:
    VxiServantLink(std::shared_ptr<Instrument> peer, EventSink* sink, std::shared_ptr<VxiBus> bus)
        : peer_(std::move(peer)), bus_(std::move(bus)) {
        attachment_.to(bus_->servantSinks(), sink);
        attachment_.to(peer_, sink);
    }

    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io, size_t* done) override {
        *done = 0;
        if (!peer_ || !peer_->message()) return wait(io);
        return peer_->message()->write(buf, count, end, done);
    }
    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done) override {
        *done = 0;
        if (!peer_ || !peer_->message()) return wait(io);
        return peer_->message()->read(buf, count, opt, io, done);
    }
    ViStatus assertIntrSignal(ViInt16 mode, ViUInt32 statusId) override {
        std::lock_guard<std::mutex> lock(bus_->m);
        return bus_->signalCommander(mode, statusId);
    }
    ViStatus assertUtilSignal(ViUInt16 line) override { return utilSignal(*bus_, line); }
    ViStatus vxiServantResponse(ViInt16 mode, ViUInt32 response) override {
        switch (mode) {
        case VI_VXI_RESP16:
            if (response > 0xFFFF) return VI_ERROR_INV_PARAMETER;
            break;
        case VI_VXI_RESP32:
        case VI_VXI_RESP_NONE:
        case VI_VXI_RESP_PROT_ERROR: break;
        default: return VI_ERROR_INV_MODE;
        }
        std::lock_guard<std::mutex> lock(bus_->m);
        return bus_->servantRespond(mode, response);
    }
    ViStatus getAttribute(ViAttr attr, ViAttrState* v, std::string* text) override {
        if (attr == VI_ATTR_VXI_VME_SYSFAIL_STATE) {
            std::lock_guard<std::mutex> lock(bus_->m);
            *v = lineState(bus_->sysfail());
            return VI_SUCCESS;
        }
        return Link::getAttribute(attr, v, text);
    }

private:
    static ViStatus wait(const IoControl& io) {
        while (!io.expired() && !io.cancelled()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return io.cancelled() ? VI_ERROR_ABORT : VI_ERROR_TMO;
    }

    std::shared_ptr<Instrument> peer_;
    std::shared_ptr<VxiBus> bus_;
    Attachment attachment_;
};

}  // namespace

std::unique_ptr<Link> makeBackplaneLink(EventSink* sink, std::shared_ptr<VxiBus> bus) {
    return std::make_unique<BackplaneLink>(sink, std::move(bus));
}

std::unique_ptr<Link> makeVxiServantLink(std::shared_ptr<Instrument> peer, EventSink* sink,
                                         std::shared_ptr<VxiBus> bus) {
    return std::make_unique<VxiServantLink>(std::move(peer), sink, std::move(bus));
}

}  // namespace zuvisa::sim

#include "zuvisa/bridgelets/sim/instrument.h"

namespace zuvisa::sim {

Instrument::Instrument(std::shared_ptr<const DeviceDef> def, Scheduler* scheduler)
    : def_(std::move(def)), scheduler_(scheduler) {}

void Instrument::setMessageDevice(std::shared_ptr<Device> device) {
    message_ = std::move(device);
    if (!message_) return;
    std::weak_ptr<Instrument> weak = weak_from_this();
    message_->setActionStarter([weak](size_t i) {
        if (auto self = weak.lock()) self->start(i);
    });
}

void Instrument::setPerformer(std::function<void(const ActionDef&, const EventData&)> performer) {
    performer_ = std::move(performer);
}

void Instrument::attach(EventSink* sink) {
    sinks_->attach(sink);
    std::lock_guard<std::mutex> lock(m_);
    if (attached_++ == 0) armPeriodic(++generation_);
}

void Instrument::detach(EventSink* sink) {
    sinks_->detach(sink);
    std::lock_guard<std::mutex> lock(m_);
    if (attached_ > 0 && --attached_ == 0) ++generation_;  // periodic tasks of the old generation end
}

void Instrument::armPeriodic(uint64_t generation) {
    if (!def_ || !scheduler_) return;
    std::weak_ptr<Instrument> weak = weak_from_this();
    for (size_t i = 0; i < def_->actions.size(); ++i) {
        const ActionDef& a = def_->actions[i];
        if (a.when != ActionDef::When::Every) continue;
        // Each tick runs the action and books the next one while its generation lasts. Only the
        // booked task holds the tick, so it goes away with the last booking.
        auto tick = std::make_shared<std::function<void()>>();
        std::weak_ptr<std::function<void()>> weakTick = tick;
        Scheduler* scheduler = scheduler_;
        uint32_t period = a.periodMs;
        *tick = [weak, i, generation, scheduler, period, weakTick]() {
            auto self = weak.lock();
            if (!self) return;
            {
                std::lock_guard<std::mutex> lock(self->m_);
                if (self->generation_ != generation) return;
            }
            self->run(i, 0);
            if (auto t = weakTick.lock()) scheduler->after(period, [t] { (*t)(); });
        };
        scheduler_->after(a.delayMs + period, [tick] { (*tick)(); });
    }
}

void Instrument::start(size_t i, uint64_t value) {
    if (!def_ || i >= def_->actions.size() || !scheduler_) return;
    std::weak_ptr<Instrument> weak = weak_from_this();
    scheduler_->after(def_->actions[i].delayMs, [weak, i, value] {
        if (auto self = weak.lock()) self->run(i, value);
    });
}

void Instrument::startWrites(ViUInt16 space, uint64_t offset, uint64_t value) {
    if (!def_) return;
    for (size_t i = 0; i < def_->actions.size(); ++i) {
        const ActionDef& a = def_->actions[i];
        if (a.when == ActionDef::When::Write && a.space == space && a.offset == offset) start(i, value);
    }
}

void Instrument::startTriggers() {
    if (!def_) return;
    for (size_t i = 0; i < def_->actions.size(); ++i) {
        if (def_->actions[i].when == ActionDef::When::Trigger) start(i);
    }
}

EventData Instrument::eventFor(const ActionDef& a, uint64_t value) {
    EventData e;
    e.type = a.raise;
    e.numbers = a.numbers;
    e.texts = a.texts;
    auto give = [&](ViAttr attr, ViAttrState v) {
        for (const auto& [have, ignored] : e.numbers) {
            if (have == attr) return;
        }
        e.numbers.emplace_back(attr, v);
    };
    ViAttrState la = logicalAddress >= 0 ? static_cast<ViAttrState>(logicalAddress & 0xFF) : 0;
    switch (a.raise) {
    case VI_EVENT_TRIG: give(VI_ATTR_RECV_TRIG_ID, static_cast<ViUInt16>(VI_TRIG_SW)); break;
    // A VXI interrupter puts its logical address in the low byte of the status/ID.
    case VI_EVENT_VXI_SIGP: give(VI_ATTR_SIGP_STATUS_ID, la); break;
    case VI_EVENT_VXI_VME_INTR:
        give(VI_ATTR_INTR_STATUS_ID, la);
        give(VI_ATTR_RECV_INTR_LEVEL, def_ ? def_->vxi.interruptLevel : 1);
        break;
    case VI_EVENT_PXI_INTR:
        give(VI_ATTR_PXI_RECV_INTR_SEQ, interruptSequence_.fetch_add(1));
        give(VI_ATTR_PXI_RECV_INTR_DATA, value & 0xFFFFFFFFu);
        break;
    case VI_EVENT_GPIB_CIC: give(VI_ATTR_GPIB_RECV_CIC_STATE, VI_TRUE); break;
    case VI_EVENT_VXI_DEV_CMD:
        give(VI_ATTR_VXI_DEV_CMD_TYPE, VI_VXI_CMD16);
        give(VI_ATTR_VXI_DEV_CMD_VALUE, 0);
        break;
    default: break;
    }
    return e;
}

void Instrument::run(size_t i, uint64_t value) {
    const ActionDef& a = def_->actions[i];
    EventData e = eventFor(a, value);
    if (performer_) {
        performer_(a, e);
    } else if (message_) {
        message_->perform(a, e);
    } else if (a.raise) {
        sinks_->raise(e);
    }
}

}  // namespace zuvisa::sim

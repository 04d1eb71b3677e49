// One simulated resource's state that every session on it shares: the sinks of those sessions,
// the device behind it, and the actions its device file gives it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/scheduler.h"
#include "zuvisa/bridgelets/sim/simdevice.h"
#include "zuvisa/bridgelets/sim/sinks.h"

namespace zuvisa::sim {

class Instrument : public std::enable_shared_from_this<Instrument> {
public:
    // def may be null (an interface resource without a device of its own).
    Instrument(std::shared_ptr<const DeviceDef> def, Scheduler* scheduler);

    const std::shared_ptr<const DeviceDef>& definition() const { return def_; }
    const std::shared_ptr<Sinks>& sinks() const { return sinks_; }

    // The message-based side, when the device has one; it raises into the same sinks.
    void setMessageDevice(std::shared_ptr<Device> device);
    const std::shared_ptr<Device>& message() const { return message_; }

    // What else an action does beyond the message device's effects and raising its event (a
    // bus that must see the event too). Set before the first session attaches.
    void setPerformer(std::function<void(const ActionDef&, const EventData&)> performer);

    int logicalAddress = -1;  // VXI devices: filled into the events they raise

    // The first attached sink arms the periodic actions; they stop with the last one.
    void attach(EventSink* sink);
    void detach(EventSink* sink);

    // Starts action i after its delay; value is what a register write wrote.
    void start(size_t i, uint64_t value = 0);
    // Starts every action of the kind that matches (a register write at space and offset).
    void startWrites(ViUInt16 space, uint64_t offset, uint64_t value);
    void startTriggers();

    // The event an action raises, with the attributes the device file left out filled in.
    EventData eventFor(const ActionDef& a, uint64_t value);

private:
    void run(size_t i, uint64_t value);
    void armPeriodic(uint64_t generation);

    std::shared_ptr<const DeviceDef> def_;
    Scheduler* scheduler_;
    std::shared_ptr<Sinks> sinks_ = std::make_shared<Sinks>();
    std::shared_ptr<Device> message_;
    std::function<void(const ActionDef&, const EventData&)> performer_;
    std::mutex m_;  // guards generation_ and the attach count
    uint64_t generation_ = 0;
    size_t attached_ = 0;
    std::atomic<uint32_t> interruptSequence_{0};
};

}  // namespace zuvisa::sim

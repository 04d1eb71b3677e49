// A session's sink attached to the instruments and buses it hears, for as long as its link
// lives. Declare it as a link's last member: it is then destroyed first, so that no event
// reaches a link that is half gone.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "zuvisa/bridgelets/sim/instrument.h"
#include "zuvisa/bridgelets/sim/sinks.h"

namespace zuvisa::sim {

class Attachment {
public:
    Attachment() = default;
    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;
    ~Attachment() {
        for (auto it = sinks_.rbegin(); it != sinks_.rend(); ++it) it->first->detach(it->second);
        for (auto it = instruments_.rbegin(); it != instruments_.rend(); ++it) it->first->detach(it->second);
    }
    // sinks must outlive the attachment (the bus or board that owns them is held by the link).
    void to(Sinks& sinks, EventSink* sink) {
        if (!sink) return;
        sinks.attach(sink);
        sinks_.emplace_back(&sinks, sink);
    }
    void to(const std::shared_ptr<Instrument>& instrument, EventSink* sink) {
        if (!sink || !instrument) return;
        instrument->attach(sink);
        instruments_.emplace_back(instrument, sink);
    }

private:
    std::vector<std::pair<Sinks*, EventSink*>> sinks_;
    std::vector<std::pair<std::shared_ptr<Instrument>, EventSink*>> instruments_;
};

}  // namespace zuvisa::sim

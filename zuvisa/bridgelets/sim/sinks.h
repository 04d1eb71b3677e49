// The sessions open on one simulated resource, as the event sinks the core gave their links.
// Raising is safe from any thread; detach waits for a raise in progress, so a link that detached
// its sink is never called again.
#pragma once

#include <algorithm>
#include <mutex>
#include <vector>

#include "zuvisa/bridgelet.h"

namespace zuvisa::sim {

class Sinks {
public:
    void attach(EventSink* sink) {
        std::lock_guard<std::mutex> lock(m_);
        sinks_.push_back(sink);
    }
    void detach(EventSink* sink) {
        std::lock_guard<std::mutex> lock(m_);
        sinks_.erase(std::remove(sinks_.begin(), sinks_.end(), sink), sinks_.end());
    }
    size_t count() const {
        std::lock_guard<std::mutex> lock(m_);
        return sinks_.size();
    }
    void raise(const EventData& e) {
        std::lock_guard<std::mutex> lock(m_);
        for (EventSink* s : sinks_) s->raise(e);
    }

private:
    mutable std::mutex m_;
    std::vector<EventSink*> sinks_;
};

}  // namespace zuvisa::sim

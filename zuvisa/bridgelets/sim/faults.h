// Faults that device files inject: calls of a chosen operation fail with a chosen status or take
// a chosen time. The counts are per resource, so that every session on it sees the same fault.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/sim/devicefile.h"

namespace zuvisa::sim {

class FaultPlan {
public:
    explicit FaultPlan(std::vector<FaultDef> faults);
    bool empty() const { return faults_.empty(); }
    // For one call of the operation (family such as "viIn" and width, 0 when it has none): the
    // status to fail with (VI_SUCCESS: go on) and the time the call takes first.
    ViStatus apply(const char* family, int width, uint32_t* delayMs);

private:
    std::mutex m_;
    std::vector<FaultDef> faults_;
    std::vector<uint64_t> calls_;
};

// Wraps a link so that the plan's faults reach the operations behind it.
std::unique_ptr<Link> withFaults(std::unique_ptr<Link> link, std::shared_ptr<FaultPlan> plan);

}  // namespace zuvisa::sim

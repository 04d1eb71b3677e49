// The sim bridgelet: resources from device files, each backed by its own Device.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/simdevice.h"
#include "zuvisa/rsrcname.h"

namespace zuvisa::sim {

class SimBridgelet : public Bridgelet {
public:
    // Adds the resources of a loaded file; resources already known keep their first
    // definition. Returns the names that were skipped, with the reason.
    std::vector<std::string> addFile(const DeviceFile& file);

    const char* name() const override { return "sim"; }
    void enumerate(std::vector<ResourceInfo>& out) override;
    ViStatus open(const std::string& canonicalName, ViUInt32 openTimeout, EventSink* events,
                  std::unique_ptr<Link>* link) override;

private:
    struct SimResource {
        ResourceName name;
        std::shared_ptr<const DeviceDef> def;
        ResourceInfo info;
        std::shared_ptr<Device> device;  // made at the first open, kept while the bench lives
    };
    std::mutex m_;
    std::vector<SimResource> resources_;
};

// Loads every simulation file the registrar names and registers the bridgelet.
ViStatus registerSim(Registrar* registrar);

}  // namespace zuvisa::sim

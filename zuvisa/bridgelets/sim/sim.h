// The sim bridgelet: resources from device files, each backed by its own instrument, on the
// simulated boards and buses the files describe.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/faults.h"
#include "zuvisa/bridgelets/sim/gpib.h"
#include "zuvisa/bridgelets/sim/instrument.h"
#include "zuvisa/bridgelets/sim/pxi.h"
#include "zuvisa/bridgelets/sim/scheduler.h"
#include "zuvisa/bridgelets/sim/vxi.h"
#include "zuvisa/rsrcname.h"

namespace zuvisa::sim {

class SimBridgelet : public Bridgelet {
public:
    ~SimBridgelet() override;

    // Adds the resources and interfaces of a loaded file; what is already known keeps its first
    // definition. Returns what was skipped, with the reason.
    std::vector<std::string> addFile(const DeviceFile& file);
    // Puts the bench together: boards, buses, instruments. Called once all files are added;
    // the bridgelet answers nothing before.
    std::vector<std::string> build();

    const char* name() const override { return "sim"; }
    void enumerate(std::vector<ResourceInfo>& out) override;
    ViStatus open(const std::string& canonicalName, ViUInt32 openTimeout, EventSink* events,
                  std::unique_ptr<Link>* link) override;
    // The message device behind a resource, or null; for servers that relay an instrument and
    // must know when it has an answer waiting.
    std::shared_ptr<Device> messageDevice(const std::string& canonicalName);
    ViInt32 vxiResourceManagerStatus() const override { return bench_.vxiResourceManager; }
    long findNextFailsAfter(ViStatus* status) const override {
        *status = bench_.findNextStatus;
        return bench_.findNextFailsAfter;
    }

private:
    struct SimResource {
        ResourceName name;
        ResourceDef def;
        std::shared_ptr<const DeviceDef> device;  // null: an interface resource without one
        std::vector<std::pair<ViAttr, ViAttrState>> givenNumbers;  // from the file's attributes
        std::vector<std::pair<ViAttr, std::string>> givenTexts;
        ResourceInfo info;
        std::shared_ptr<Instrument> instrument;
        std::shared_ptr<FaultPlan> faults;
        std::shared_ptr<GpibBoard> board;
        std::shared_ptr<VxiBus> vxi;
        std::shared_ptr<PxiBus> pxi;
        std::shared_ptr<PxiFunction> function;
    };
    struct Interface {
        InterfaceDef def;
        std::shared_ptr<const DeviceDef> controller;  // GPIB-VXI: what it answers as on GPIB
    };

    const InterfaceDef& interfaceDef(const std::string& name);
    std::string description(const ResourceName& n);
    std::shared_ptr<GpibBoard> board(int number);
    std::shared_ptr<VxiBus> vxiBus(const ResourceName& n);
    std::shared_ptr<PxiBus> pxiBus(int number);
    bool place(SimResource& r, std::string* why);

    // Stopped first when the bridgelet goes, so no timed action runs on a bench being torn down.
    Scheduler scheduler_;
    std::mutex m_;
    std::vector<SimResource> resources_;
    std::vector<Interface> interfaces_;
    BenchDef bench_;
    bool hasBench_ = false;
    std::map<int, std::shared_ptr<GpibBoard>> boards_;
    std::map<std::string, std::shared_ptr<VxiBus>> vxiBuses_;
    std::map<int, std::shared_ptr<PxiBus>> pxiBuses_;
    std::map<std::string, InterfaceDef> defaults_;
    uint64_t memoryUsed_ = 0;
};

// Loads every simulation file the registrar names and registers the bridgelet.
ViStatus registerSim(Registrar* registrar);

}  // namespace zuvisa::sim

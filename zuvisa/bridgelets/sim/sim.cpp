#include "zuvisa/bridgelets/sim/sim.h"

#include <cstdlib>

#include "zuvisa/attributes.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::sim {

namespace {

class SimLink : public Link {
public:
    SimLink(std::shared_ptr<Device> device, EventSink* sink) : device_(std::move(device)), sink_(sink) {
        if (sink_) device_->attach(sink_);
    }
    ~SimLink() override {
        if (sink_) device_->detach(sink_);
    }
    ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl&, size_t* done) override {
        return device_->write(buf, count, end, done);
    }
    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io,
                  size_t* done) override {
        return device_->read(buf, count, opt, io, done);
    }
    ViStatus clear() override { return device_->clear(); }
    ViStatus readStb(ViUInt16* stb) override { return device_->readStb(stb); }
    ViStatus assertTrigger(ViUInt16 protocol) override { return device_->trigger(protocol); }
    ViStatus setIoBuffer(ViUInt16, ViUInt32) override { return VI_SUCCESS; }
    ViStatus flushIoBuffer(ViUInt16) override { return VI_SUCCESS; }

private:
    std::shared_ptr<Device> device_;
    EventSink* sink_;
};

// Attribute values given in a device file, by attribute name.
bool attributeValue(const std::string& name, const std::string& text, ResourceInfo& info) {
    const AttrDef* d = findAttrByName(name);
    if (!d) return false;
    if (d->type == AttrType::Text) {
        info.texts.emplace_back(d->id, text);
        return true;
    }
    char* end = nullptr;
    errno = 0;
    long long v = strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end || errno) return false;
    info.numbers.emplace_back(d->id, static_cast<ViAttrState>(v));
    return true;
}

}  // namespace

std::vector<std::string> SimBridgelet::addFile(const DeviceFile& file) {
    std::vector<std::string> skipped;
    std::lock_guard<std::mutex> lock(m_);
    for (const ResourceDef& r : file.resources) {
        SimResource res;
        if (parseResourceName(r.name, &res.name) != VI_SUCCESS) {
            skipped.push_back(r.name + ": not a valid resource name");
            continue;
        }
        bool duplicate = false;
        for (const SimResource& known : resources_) duplicate |= known.name.canonical == res.name.canonical;
        if (duplicate) {
            skipped.push_back(r.name + ": defined in an earlier file");
            continue;
        }
        const DeviceDef* d = file.device(r.device);
        if (!d) {
            skipped.push_back(r.name + ": no device " + r.device);
            continue;
        }
        res.def = std::make_shared<const DeviceDef>(*d);
        res.info.name = res.name.canonical;
        res.info.texts.emplace_back(VI_ATTR_INTF_INST_NAME,
                                    res.name.intfPrefix + std::to_string(res.name.board) + " (simulated)");
        bool ok = true;
        for (const auto& [attr, value] : r.attributes) {
            if (!attributeValue(attr, value, res.info)) {
                skipped.push_back(r.name + ": attribute " + attr + " has no value " + value);
                ok = false;
            }
        }
        if (!ok) continue;
        resources_.push_back(std::move(res));
    }
    return skipped;
}

void SimBridgelet::enumerate(std::vector<ResourceInfo>& out) {
    std::lock_guard<std::mutex> lock(m_);
    for (const SimResource& r : resources_) out.push_back(r.info);
}

ViStatus SimBridgelet::open(const std::string& canonicalName, ViUInt32, EventSink* events,
                            std::unique_ptr<Link>* link) {
    std::shared_ptr<Device> device;
    {
        std::lock_guard<std::mutex> lock(m_);
        for (SimResource& r : resources_) {
            if (r.name.canonical != canonicalName) continue;
            if (!r.device) r.device = std::make_shared<Device>(r.def, r.name.intfPrefix + " " + r.name.rsrcClass);
            device = r.device;
            break;
        }
    }
    if (!device) return VI_ERROR_RSRC_NFOUND;
    *link = std::make_unique<SimLink>(std::move(device), events);
    return VI_SUCCESS;
}

ViStatus registerSim(Registrar* registrar) {
    if (registrar->abi() != kBridgeletAbi) return VI_ERROR_LIBRARY_NFOUND;
    auto bridgelet = std::make_unique<SimBridgelet>();
    ViStatus status = VI_SUCCESS;
    for (const std::string& path : registrar->simulationFiles()) {
        DeviceFile file;
        std::string problem;
        if (loadDeviceFile(path, &file, &problem) != VI_SUCCESS) {
            registrar->log(ZUVISA_LOG_WARNING, path + ": " + problem);
            status = VI_WARN_CONFIG_NLOADED;
            continue;
        }
        for (const std::string& why : bridgelet->addFile(file)) {
            registrar->log(ZUVISA_LOG_WARNING, path + ": " + why);
            status = VI_WARN_CONFIG_NLOADED;
        }
    }
    registrar->add(std::move(bridgelet));
    return status;
}

}  // namespace zuvisa::sim

#include "zuvisa/bridgelets/sim/sim.h"

#include <cerrno>
#include <cstdlib>

#include "zuvisa/attributes.h"
#include "zuvisa/bridgelets/sim/links.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::sim {

namespace {

// Attribute values given in a device file, by attribute name.
bool attributeValue(const std::string& name, const std::string& text, std::vector<std::pair<ViAttr, ViAttrState>>& numbers,
                    std::vector<std::pair<ViAttr, std::string>>& texts) {
    const AttrDef* d = findAttrByName(name);
    if (!d) return false;
    if (d->type == AttrType::Text) {
        texts.emplace_back(d->id, text);
        return true;
    }
    char* end = nullptr;
    errno = 0;
    long long v = strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end || errno || !fitsAttr(d->type, static_cast<ViAttrState>(v))) return false;
    numbers.emplace_back(d->id, static_cast<ViAttrState>(v));
    return true;
}

// Nobody may take a simulated resource for hardware: its interface name says so.
std::string simulated(std::string text) {
    if (upperAscii(text).find("SIMULATED") == std::string::npos) text += " (simulated)";
    return text;
}

// The device behind a VXI INSTR whose file gives no configuration registers: a message-based
// device of the house.
const VxiDef& vxiOf(const DeviceDef& d) {
    static const VxiDef kDefault = [] {
        VxiDef v;
        v.present = true;
        v.deviceClass = VI_VXI_CLASS_MESSAGE;
        v.manufacturer = HOUSE_MANF_ID;
        return v;
    }();
    return d.vxi.present ? d.vxi : kDefault;
}

std::shared_ptr<const DeviceDef> withVxiDefaults(const std::shared_ptr<const DeviceDef>& d) {
    if (!d || d->vxi.present) return d;
    auto copy = std::make_shared<DeviceDef>(*d);
    copy->vxi = vxiOf(*d);
    return copy;
}

std::shared_ptr<const DeviceDef> withPxiDefaults(const std::shared_ptr<const DeviceDef>& d) {
    if (!d || d->pxi.present) return d;
    auto copy = std::make_shared<DeviceDef>(*d);
    copy->pxi.present = true;
    copy->pxi.vendor = HOUSE_MANF_ID;
    copy->pxi.bars[0] = {VI_PXI_ADDR_MEM, 4096};
    return copy;
}

void add(ResourceInfo& info, ViAttr attr, ViAttrState value) { info.numbers.emplace_back(attr, value); }

// Simulated memory is real memory: a bench may not ask for more than this in all.
constexpr uint64_t kMemoryBudget = 64u << 20;

uint64_t memoryOf(const DeviceDef& d) {
    uint64_t total = d.vxi.memorySize;
    for (const PxiBarDef& b : d.pxi.bars) total += b.size;
    return total;
}

constexpr ViAttr kBarType[] = {VI_ATTR_PXI_MEM_TYPE_BAR0, VI_ATTR_PXI_MEM_TYPE_BAR1, VI_ATTR_PXI_MEM_TYPE_BAR2,
                               VI_ATTR_PXI_MEM_TYPE_BAR3, VI_ATTR_PXI_MEM_TYPE_BAR4, VI_ATTR_PXI_MEM_TYPE_BAR5};
constexpr ViAttr kBarBase32[] = {VI_ATTR_PXI_MEM_BASE_BAR0_32, VI_ATTR_PXI_MEM_BASE_BAR1_32, VI_ATTR_PXI_MEM_BASE_BAR2_32,
                                 VI_ATTR_PXI_MEM_BASE_BAR3_32, VI_ATTR_PXI_MEM_BASE_BAR4_32, VI_ATTR_PXI_MEM_BASE_BAR5_32};
constexpr ViAttr kBarBase64[] = {VI_ATTR_PXI_MEM_BASE_BAR0_64, VI_ATTR_PXI_MEM_BASE_BAR1_64, VI_ATTR_PXI_MEM_BASE_BAR2_64,
                                 VI_ATTR_PXI_MEM_BASE_BAR3_64, VI_ATTR_PXI_MEM_BASE_BAR4_64, VI_ATTR_PXI_MEM_BASE_BAR5_64};
constexpr ViAttr kBarSize32[] = {VI_ATTR_PXI_MEM_SIZE_BAR0_32, VI_ATTR_PXI_MEM_SIZE_BAR1_32, VI_ATTR_PXI_MEM_SIZE_BAR2_32,
                                 VI_ATTR_PXI_MEM_SIZE_BAR3_32, VI_ATTR_PXI_MEM_SIZE_BAR4_32, VI_ATTR_PXI_MEM_SIZE_BAR5_32};
constexpr ViAttr kBarSize64[] = {VI_ATTR_PXI_MEM_SIZE_BAR0_64, VI_ATTR_PXI_MEM_SIZE_BAR1_64, VI_ATTR_PXI_MEM_SIZE_BAR2_64,
                                 VI_ATTR_PXI_MEM_SIZE_BAR3_64, VI_ATTR_PXI_MEM_SIZE_BAR4_64, VI_ATTR_PXI_MEM_SIZE_BAR5_64};

// The name a resource is listed under, whatever short form its file writes: a USB name carries
// its interface number, as clients expect to find it.
ResourceName listedName(const ResourceName& n) {
    if (n.intfType != VI_INTF_USB || n.usbInterface >= 0) return n;
    char full[kMaxResourceName + 32];
    snprintf(full, sizeof full, "USB%u::0x%04X::0x%04X::%s::0::%s", n.board, n.usbManf, n.usbModel,
             n.usbSerial.c_str(), n.rsrcClass.c_str());
    ResourceName out;
    return parseResourceName(full, &out) == VI_SUCCESS ? out : n;
}

}  // namespace

SimBridgelet::~SimBridgelet() { scheduler_.stop(); }

std::vector<std::string> SimBridgelet::addFile(const DeviceFile& file) {
    std::vector<std::string> skipped;
    std::lock_guard<std::mutex> lock(m_);
    auto known = [&](const ResourceName& name) {
        for (const SimResource& r : resources_) {
            if (sameResource(r.name, name)) return true;
        }
        return false;
    };
    for (const InterfaceDef& i : file.interfaces) {
        bool have = false;
        for (const Interface& k : interfaces_) have |= k.def.name == i.name;
        if (have) {
            skipped.push_back("interface " + i.name + ": defined in an earlier file");
            continue;
        }
        Interface in{i, nullptr};
        if (!i.controller.empty()) {
            const DeviceDef* d = file.device(i.controller);
            if (!d) {
                skipped.push_back("interface " + i.name + ": no device " + i.controller);
                continue;
            }
            in.controller = std::make_shared<const DeviceDef>(*d);
        }
        interfaces_.push_back(std::move(in));
    }
    if (file.hasBench && !hasBench_) {
        bench_ = file.bench;
        hasBench_ = true;
    }
    for (const ResourceDef& r : file.resources) {
        SimResource res;
        res.def = r;
        if (parseResourceName(r.name, &res.name) != VI_SUCCESS || !kindOf(res.name.intfType, res.name.rsrcClass)) {
            skipped.push_back(r.name + ": not a valid resource name");
            continue;
        }
        res.name = listedName(res.name);
        if (known(res.name)) {
            skipped.push_back(r.name + ": defined in an earlier file");
            continue;
        }
        if (!r.device.empty()) {
            const DeviceDef* d = file.device(r.device);
            if (!d) {
                skipped.push_back(r.name + ": no device " + r.device);
                continue;
            }
            res.device = std::make_shared<const DeviceDef>(*d);
        }
        bool ok = true;
        for (const auto& [attr, value] : r.attributes) {
            if (!attributeValue(attr, value, res.givenNumbers, res.givenTexts)) {
                skipped.push_back(r.name + ": attribute " + attr + " has no value " + value);
                ok = false;
            }
        }
        if (!ok) continue;
        res.faults = std::make_shared<FaultPlan>(r.faults);
        resources_.push_back(std::move(res));
    }
    // A GPIB-VXI controller also answers as a GPIB instrument at its own address.
    for (const InterfaceDef& i : file.interfaces) {
        if (i.controller.empty() || i.name.rfind("GPIB-VXI", 0) != 0) continue;
        const DeviceDef* d = file.device(i.controller);
        if (!d) continue;
        SimResource res;
        res.def.name = "GPIB" + std::to_string(i.parent) + "::" + std::to_string(i.address) + "::INSTR";
        res.def.device = i.controller;
        if (parseResourceName(res.def.name, &res.name) != VI_SUCCESS || known(res.name)) continue;
        res.device = std::make_shared<const DeviceDef>(*d);
        res.faults = std::make_shared<FaultPlan>(std::vector<FaultDef>{});
        resources_.push_back(std::move(res));
    }
    return skipped;
}

const InterfaceDef& SimBridgelet::interfaceDef(const std::string& name) {
    for (const Interface& i : interfaces_) {
        if (i.def.name == name) return i.def;
    }
    InterfaceDef& d = defaults_[name];
    d.name = name;
    return d;
}

std::string SimBridgelet::description(const ResourceName& n) {
    std::string name = n.intfPrefix + std::to_string(n.board);
    const InterfaceDef& d = interfaceDef(name);
    return simulated(d.description.empty() ? name : d.description);
}

std::shared_ptr<GpibBoard> SimBridgelet::board(int number) {
    auto& b = boards_[number];
    if (!b) b = std::make_shared<GpibBoard>(interfaceDef("GPIB" + std::to_string(number)), &scheduler_);
    return b;
}

std::shared_ptr<VxiBus> SimBridgelet::vxiBus(const ResourceName& n) {
    std::string name = n.intfPrefix + std::to_string(n.board);
    auto& b = vxiBuses_[name];
    if (!b) b = std::make_shared<VxiBus>(interfaceDef(name));
    return b;
}

std::shared_ptr<PxiBus> SimBridgelet::pxiBus(int number) {
    auto& b = pxiBuses_[number];
    if (!b) b = std::make_shared<PxiBus>();
    return b;
}

bool SimBridgelet::place(SimResource& r, std::string* why) {
    const ResourceName& n = r.name;
    ResourceInfo& info = r.info;
    info.name = n.canonical;
    info.texts.emplace_back(VI_ATTR_INTF_INST_NAME, description(n));
    std::string key = n.intfPrefix + " " + n.rsrcClass;
    auto messageDevice = [&](const std::shared_ptr<const DeviceDef>& def) {
        auto inst = std::make_shared<Instrument>(def, &scheduler_);
        if (def) inst->setMessageDevice(std::make_shared<Device>(def, key, inst->sinks()));
        return inst;
    };
    uint32_t kind = kindOf(n.intfType, n.rsrcClass);
    constexpr uint32_t kNeedsDevice = kKindGpibInstr | kKindVxiInstr | kKindGvxiInstr | kKindAsrlInstr |
                                      kKindTcpipInstr | kKindTcpipSocket | kKindUsbInstr | kKindUsbRaw |
                                      kKindPxiInstr;
    if (!r.device && (kind & kNeedsDevice)) {
        *why = "needs a device";
        return false;
    }
    if (r.device && r.def.present) {
        uint64_t wanted = memoryOf(*r.device);
        if (wanted > kMemoryBudget - memoryUsed_) {
            *why = "the bench would hold more than " + std::to_string(kMemoryBudget >> 20) + " MiB of simulated memory";
            return false;
        }
        memoryUsed_ += wanted;
    }
    bool gpibVxi = n.intfType == VI_INTF_GPIB_VXI;
    const InterfaceDef& intf = interfaceDef(n.intfPrefix + std::to_string(n.board));
    if (gpibVxi) {
        add(info, VI_ATTR_INTF_PARENT_NUM, static_cast<ViAttrState>(intf.parent));
        add(info, VI_ATTR_GPIB_PRIMARY_ADDR, static_cast<ViAttrState>(intf.address));
        add(info, VI_ATTR_GPIB_SECONDARY_ADDR, VI_NO_SEC_ADDR);
    }
    int mainframe = r.def.mainframe >= 0 ? r.def.mainframe : intf.mainframes.empty() ? intf.controllerLa : intf.mainframes.front();

    switch (kind) {
    case kKindGpibInstr:
        r.board = board(n.board);
        r.instrument = messageDevice(r.device);
        if (r.def.present) r.board->add(n.primary, r.instrument->message());
        break;
    case kKindGpibIntfc: r.board = board(n.board); break;
    case kKindGpibServant: {
        r.board = board(n.board);
        r.instrument = messageDevice(r.device);
        if (auto peer = r.instrument->message()) {
            r.board->setPeer(peer);
            // What the controller does to the board arrives through the board, so that its
            // addressed state follows.
            std::weak_ptr<GpibBoard> weak = r.board;
            r.instrument->setPerformer([weak, peer](const ActionDef& a, const EventData& e) {
                auto b = weak.lock();
                if (!b) return;
                ActionDef rest = a;
                if (a.hasSend) b->peerAddresses(VI_GPIB_LISTENER);
                switch (a.raise) {
                case VI_EVENT_GPIB_TALK: b->peerAddresses(VI_GPIB_TALKER); rest.raise = 0; break;
                case VI_EVENT_GPIB_LISTEN: b->peerAddresses(VI_GPIB_LISTENER); rest.raise = 0; break;
                case VI_EVENT_CLEAR: b->peerClears(); rest.raise = 0; break;
                default: break;
                }
                peer->perform(rest, e);
            });
        }
        break;
    }
    case kKindVxiInstr:
    case kKindGvxiInstr: {
        r.vxi = vxiBus(n);
        auto def = withVxiDefaults(r.device);
        r.instrument = def->vxi.deviceClass == VI_VXI_CLASS_MESSAGE ? messageDevice(def) : std::make_shared<Instrument>(def, &scheduler_);
        r.instrument->logicalAddress = n.logicalAddress;
        const VxiDef& v = def->vxi;
        uint64_t base = 0;
        if (r.def.present) {
            if (r.vxi->device(n.logicalAddress)) {
                *why = "logical address " + std::to_string(n.logicalAddress) + " is taken";
                return false;
            }
            if (v.memorySpace) base = r.vxi->assignMemory(v.memorySpace, v.memorySize);
            r.vxi->add(std::make_shared<VxiDevice>(n.logicalAddress, r.instrument, base));
            // A device that raises SYSFAIL drives the backplane's line.
            std::weak_ptr<VxiBus> weakBus = r.vxi;
            std::weak_ptr<Instrument> weakInst = r.instrument;
            r.instrument->setPerformer([weakBus, weakInst](const ActionDef& a, const EventData& e) {
                auto bus = weakBus.lock();
                auto inst = weakInst.lock();
                if (!bus || !inst) return;
                if (a.raise == VI_EVENT_VXI_VME_SYSFAIL) {
                    std::lock_guard<std::mutex> lock(bus->m);
                    bus->setSysfail(true);
                    return;
                }
                if (inst->message()) inst->message()->perform(a, e);
                else if (a.raise) inst->sinks()->raise(e);
            });
        }
        add(info, VI_ATTR_MAINFRAME_LA, static_cast<ViAttrState>(mainframe));
        add(info, VI_ATTR_CMDR_LA, static_cast<ViAttrState>(intf.controllerLa));
        add(info, VI_ATTR_MANF_ID, v.manufacturer);
        add(info, VI_ATTR_MODEL_CODE, v.model);
        add(info, VI_ATTR_VXI_DEV_CLASS, v.deviceClass);
        add(info, VI_ATTR_MEM_SPACE, v.memorySpace ? v.memorySpace : VI_A16_SPACE);
        add(info, VI_ATTR_MEM_BASE_32, base);
        add(info, VI_ATTR_MEM_BASE_64, base);
        add(info, VI_ATTR_MEM_SIZE_32, v.memorySize);
        add(info, VI_ATTR_MEM_SIZE_64, v.memorySize);
        add(info, VI_ATTR_VXI_TRIG_SUPPORT, v.triggerLines);
        if (r.def.slot >= 0) add(info, VI_ATTR_SLOT, static_cast<ViAttrState>(r.def.slot));
        if (gpibVxi) add(info, VI_ATTR_GPIB_SECONDARY_ADDR, static_cast<ViAttrState>(n.logicalAddress / 8));
        break;
    }
    case kKindVxiMemacc:
    case kKindGvxiMemacc:
        r.vxi = vxiBus(n);
        add(info, VI_ATTR_VXI_LA, static_cast<ViAttrState>(intf.controllerLa));
        break;
    case kKindVxiBackplane:
    case kKindGvxiBackplane:
        r.vxi = vxiBus(n);
        add(info, VI_ATTR_TRIG_ID, VI_TRIG_TTL0);
        add(info, VI_ATTR_VXI_TRIG_SUPPORT, 0x3FF);  // TTL0 to TTL7, ECL0 and ECL1
        break;
    case kKindVxiServant:
        r.vxi = vxiBus(n);
        r.instrument = messageDevice(r.device);
        if (auto peer = r.instrument->message()) {
            r.instrument->setPerformer([peer](const ActionDef& a, const EventData& e) {
                if (a.raise == VI_EVENT_CLEAR) peer->clear();  // the commander's word-serial Clear
                peer->perform(a, e);
            });
        }
        add(info, VI_ATTR_VXI_LA, static_cast<ViAttrState>(intf.controllerLa));
        break;
    case kKindAsrlInstr:
    case kKindTcpipInstr:
    case kKindTcpipSocket:
    case kKindUsbInstr:
    case kKindUsbRaw:
        r.instrument = messageDevice(r.device);
        break;
    case kKindPxiInstr: {
        r.pxi = pxiBus(n.board);
        auto def = withPxiDefaults(r.device);
        r.instrument = std::make_shared<Instrument>(def, &scheduler_);
        uint64_t bases[6] = {};
        {
            std::lock_guard<std::mutex> lock(r.pxi->m);
            r.pxi->assignBars(def->pxi, bases);
        }
        if (r.def.present) r.function = std::make_shared<PxiFunction>(r.instrument, bases);
        const PxiDef& p = def->pxi;
        add(info, VI_ATTR_MANF_ID, p.vendor);
        add(info, VI_ATTR_MODEL_CODE, p.device);
        add(info, VI_ATTR_PXI_SUB_MANF_ID, p.subsystemVendor);
        add(info, VI_ATTR_PXI_SUB_MODEL_CODE, p.subsystem);
        for (int i = 0; i < 6; ++i) {
            add(info, kBarType[i], p.bars[i].type);
            add(info, kBarBase32[i], bases[i]);
            add(info, kBarBase64[i], bases[i]);
            add(info, kBarSize32[i], p.bars[i].size);
            add(info, kBarSize64[i], p.bars[i].size);
        }
        if (r.def.slot >= 0) add(info, VI_ATTR_SLOT, static_cast<ViAttrState>(r.def.slot));
        break;
    }
    case kKindPxiMemacc: r.pxi = pxiBus(n.board); break;
    default: *why = "not a resource the simulation offers"; return false;
    }
    for (const auto& v : r.givenNumbers) info.numbers.push_back(v);
    for (const auto& [attr, text] : r.givenTexts) {
        info.texts.emplace_back(attr, attr == VI_ATTR_INTF_INST_NAME ? simulated(text) : text);
    }
    return true;
}

std::vector<std::string> SimBridgelet::build() {
    std::vector<std::string> skipped;
    std::lock_guard<std::mutex> lock(m_);
    std::vector<SimResource> placed;
    for (SimResource& r : resources_) {
        std::string why;
        if (!place(r, &why)) {
            skipped.push_back(r.def.name + ": " + why);
            continue;
        }
        placed.push_back(std::move(r));
    }
    resources_ = std::move(placed);
    return skipped;
}

void SimBridgelet::enumerate(std::vector<ResourceInfo>& out) {
    std::lock_guard<std::mutex> lock(m_);
    for (const SimResource& r : resources_) out.push_back(r.info);
}

ViStatus SimBridgelet::open(const std::string& canonicalName, ViUInt32, EventSink* events, std::unique_ptr<Link>* link) {
    std::lock_guard<std::mutex> lock(m_);
    const SimResource* found = nullptr;
    for (const SimResource& r : resources_) {
        if (r.name.canonical == canonicalName) found = &r;
    }
    if (!found) return VI_ERROR_RSRC_NFOUND;
    const SimResource& r = *found;
    if (r.def.openStatus < 0) return r.def.openStatus;
    std::unique_ptr<Link> made;
    switch (kindOf(r.name.intfType, r.name.rsrcClass)) {
    case kKindGpibInstr:
        made = makeMessageLink(r.instrument, events, r.board, r.name.primary, r.def.present ? VI_SUCCESS : VI_ERROR_NLISTENERS);
        break;
    case kKindGpibIntfc: made = makeGpibIntfcLink(events, r.board); break;
    case kKindGpibServant: made = makeGpibServantLink(r.instrument, events, r.board); break;
    case kKindVxiInstr:
    case kKindGvxiInstr: made = makeVxiInstrLink(r.instrument, events, r.vxi, r.name.logicalAddress); break;
    case kKindVxiMemacc:
    case kKindGvxiMemacc: made = makeVxiMemaccLink(events, r.vxi); break;
    case kKindVxiBackplane:
    case kKindGvxiBackplane: made = makeBackplaneLink(events, r.vxi); break;
    case kKindVxiServant: made = makeVxiServantLink(r.instrument, events, r.vxi); break;
    case kKindAsrlInstr:
        made = r.def.present ? makeSerialLink(r.instrument, events)
                             : makeMessageLink(r.instrument, events, nullptr, -1, VI_ERROR_TMO);
        break;
    case kKindPxiInstr: made = makePxiInstrLink(r.instrument, events, r.pxi, r.function); break;
    case kKindPxiMemacc: made = makePxiMemaccLink(events, r.pxi); break;
    default: made = makeMessageLink(r.instrument, events, nullptr, -1, r.def.present ? VI_SUCCESS : VI_ERROR_TMO); break;
    }
    *link = withFaults(std::move(made), r.faults);
    return r.def.present ? VI_SUCCESS : VI_SUCCESS_DEV_NPRESENT;
}

std::shared_ptr<Device> SimBridgelet::messageDevice(const std::string& canonicalName) {
    std::lock_guard<std::mutex> lock(m_);
    for (const SimResource& r : resources_) {
        if (r.name.canonical == canonicalName && r.instrument && r.def.present) return r.instrument->message();
    }
    return nullptr;
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
    for (const std::string& why : bridgelet->build()) {
        registrar->log(ZUVISA_LOG_WARNING, why);
        status = VI_WARN_CONFIG_NLOADED;
    }
    registrar->add(std::move(bridgelet));
    return status;
}

}  // namespace zuvisa::sim

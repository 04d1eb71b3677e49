// Handle table, attribute store, and loading the configured bridgelets.
#include <dlfcn.h>

#include <cstdio>

#include "zuvisa/core.h"
#include "zuvisa/log.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa {

namespace {

constexpr uint32_t kIndexBits = 20;
constexpr uint32_t kIndexMask = (1u << kIndexBits) - 1;
constexpr uint32_t kGenerationMask = (1u << (32 - kIndexBits)) - 1;
// Slots are reused only once this many are free: with 12-bit generations a handle then comes
// back after some four million closes at the earliest.
constexpr size_t kMinFreeBeforeReuse = 1024;

}  // namespace

// ---- handles ---------------------------------------------------------------------------------

ViObject HandleTable::add(std::shared_ptr<Object> obj) {
    std::lock_guard<std::mutex> lock(m_);
    uint32_t index;
    if (free_.size() >= kMinFreeBeforeReuse || (!free_.empty() && slots_.size() >= kIndexMask)) {
        index = free_.front();
        free_.pop_front();
    } else {
        if (slots_.size() >= kIndexMask) return 0;
        index = static_cast<uint32_t>(slots_.size());
        slots_.emplace_back();
    }
    Slot& s = slots_[index];
    s.obj = std::move(obj);
    ViObject h = (s.generation << kIndexBits) | (index + 1);
    s.obj->handle = h;
    return h;
}

std::shared_ptr<Object> HandleTable::get(ViObject h) const {
    uint32_t index = (h & kIndexMask);
    if (index == 0) return nullptr;
    --index;
    std::lock_guard<std::mutex> lock(m_);
    if (index >= slots_.size()) return nullptr;
    const Slot& s = slots_[index];
    if (!s.obj || s.generation != (h >> kIndexBits)) return nullptr;
    return s.obj;
}

std::shared_ptr<Object> HandleTable::take(ViObject h) {
    uint32_t index = (h & kIndexMask);
    if (index == 0) return nullptr;
    --index;
    std::lock_guard<std::mutex> lock(m_);
    if (index >= slots_.size()) return nullptr;
    Slot& s = slots_[index];
    if (!s.obj || s.generation != (h >> kIndexBits)) return nullptr;
    std::shared_ptr<Object> out = std::move(s.obj);
    s.obj.reset();
    s.generation = (s.generation % kGenerationMask) + 1;  // 1..4095, never 0
    free_.push_back(index);
    return out;
}

size_t HandleTable::size() const {
    std::lock_guard<std::mutex> lock(m_);
    return slots_.size() - free_.size();
}

// ---- attribute store -------------------------------------------------------------------------

void AttrStore::setNumber(ViAttr a, ViAttrState v) {
    std::lock_guard<std::mutex> lock(m_);
    numbers_[a] = v;
}
void AttrStore::setText(ViAttr a, std::string v) {
    std::lock_guard<std::mutex> lock(m_);
    texts_[a] = std::move(v);
}
bool AttrStore::number(ViAttr a, ViAttrState* v) const {
    std::lock_guard<std::mutex> lock(m_);
    auto it = numbers_.find(a);
    if (it == numbers_.end()) return false;
    *v = it->second;
    return true;
}
bool AttrStore::text(ViAttr a, std::string* v) const {
    std::lock_guard<std::mutex> lock(m_);
    auto it = texts_.find(a);
    if (it == texts_.end()) return false;
    *v = it->second;
    return true;
}
ViAttrState AttrStore::numberOr(ViAttr a, ViAttrState fallback) const {
    ViAttrState v;
    return number(a, &v) ? v : fallback;
}

// ---- initial attributes ----------------------------------------------------------------------

void initialAttributes(const ResourceName& n, uint32_t kind, const ResourceInfo& info,
                       AttrStore* s) {
    forEachAttr(kind, [&](const AttrDef& d) {
        if (d.type == AttrType::Text) {
            s->setText(d.id, std::string());
        } else {
            s->setNumber(d.id, d.initial);
        }
    });
    s->setText(VI_ATTR_RSRC_NAME, n.canonical);
    s->setText(VI_ATTR_RSRC_CLASS, n.rsrcClass);
    s->setNumber(VI_ATTR_RSRC_MANF_ID, HOUSE_MANF_ID);
    s->setText(VI_ATTR_RSRC_MANF_NAME, HOUSE_MANF_NAME);
    s->setNumber(VI_ATTR_RSRC_IMPL_VERSION, ZUVISA_IMPL_VERSION);
    s->setNumber(VI_ATTR_INTF_TYPE, n.intfType);
    s->setNumber(VI_ATTR_INTF_NUM, n.board);
    s->setText(VI_ATTR_INTF_INST_NAME, n.intfPrefix + std::to_string(n.board));
    switch (n.intfType) {
    case VI_INTF_GPIB:
        if (n.primary >= 0) s->setNumber(VI_ATTR_GPIB_PRIMARY_ADDR, n.primary);
        if (n.primary >= 0) {
            s->setNumber(VI_ATTR_GPIB_SECONDARY_ADDR,
                         n.secondary >= 0 ? static_cast<ViAttrState>(n.secondary) : VI_NO_SEC_ADDR);
        }
        break;
    case VI_INTF_VXI:
    case VI_INTF_GPIB_VXI:
        if (n.rsrcClass == "BACKPLANE") {
            s->setNumber(VI_ATTR_MAINFRAME_LA, static_cast<ViUInt16>(n.logicalAddress));
        } else if (n.logicalAddress >= 0) {
            s->setNumber(VI_ATTR_VXI_LA, static_cast<ViUInt16>(n.logicalAddress));
        }
        break;
    case VI_INTF_TCPIP:
        s->setText(VI_ATTR_TCPIP_ADDR, n.host);
        s->setText(VI_ATTR_TCPIP_HOSTNAME, n.host);
        if (n.port >= 0) s->setNumber(VI_ATTR_TCPIP_PORT, n.port);
        if (!n.lanDevice.empty()) {
            s->setText(VI_ATTR_TCPIP_DEVICE_NAME, n.lanDevice);
            s->setNumber(VI_ATTR_TCPIP_IS_HISLIP,
                         upperAscii(n.lanDevice).rfind("HISLIP", 0) == 0 ? VI_TRUE : VI_FALSE);
        }
        break;
    case VI_INTF_USB:
        s->setNumber(VI_ATTR_MANF_ID, static_cast<ViAttrState>(n.usbManf));
        s->setNumber(VI_ATTR_MODEL_CODE, static_cast<ViAttrState>(n.usbModel));
        s->setText(VI_ATTR_USB_SERIAL_NUM, n.usbSerial);
        s->setNumber(VI_ATTR_USB_INTFC_NUM, n.usbInterface >= 0 ? n.usbInterface : 0);
        break;
    case VI_INTF_PXI:
        if (n.pxiDevice >= 0) s->setNumber(VI_ATTR_PXI_DEV_NUM, n.pxiDevice);
        if (n.pxiBus >= 0) s->setNumber(VI_ATTR_PXI_BUS_NUM, n.pxiBus);
        if (n.pxiFunction >= 0) s->setNumber(VI_ATTR_PXI_FUNC_NUM, n.pxiFunction);
        if (n.pxiChassis >= 0) s->setNumber(VI_ATTR_PXI_CHASSIS, n.pxiChassis);
        if (n.pxiSlot >= 0) s->setNumber(VI_ATTR_SLOT, n.pxiSlot);
        break;
    default: break;
    }
    for (const auto& [attr, value] : info.numbers) {
        const AttrDef* d = findAttr(attr, kind);
        if (d && d->type != AttrType::Text) s->setNumber(attr, narrow(d->type, value));
    }
    for (const auto& [attr, value] : info.texts) {
        const AttrDef* d = findAttr(attr, kind);
        if (d && d->type == AttrType::Text) s->setText(attr, value.substr(0, 255));
    }
}

// ---- backend ---------------------------------------------------------------------------------

namespace {

// Every bridgelet's resources, each name once: the first bridgelet that lists a name has it.
std::vector<Found> collect(const std::vector<std::unique_ptr<Bridgelet>>& bridgelets, bool known) {
    std::vector<Found> out;
    std::set<std::string> seen;
    for (size_t b = 0; b < bridgelets.size(); ++b) {
        std::vector<ResourceInfo> infos;
        if (known)
            bridgelets[b]->enumerateKnown(infos);
        else
            bridgelets[b]->enumerate(infos);
        for (ResourceInfo& info : infos) {
            Found f;
            if (parseResourceName(info.name, &f.name) != VI_SUCCESS) {
                logLine(ZUVISA_LOG_WARNING, std::string("bridgelet ") + bridgelets[b]->name() +
                                                " reported an invalid resource name: " + info.name);
                continue;
            }
            if (!seen.insert(f.name.canonical).second) continue;
            f.info = std::move(info);
            f.info.name = f.name.canonical;
            f.bridgelet = b;
            out.push_back(std::move(f));
        }
    }
    return out;
}

// The entry for canonical, or for another spelling of it.
bool findIn(const std::vector<Found>& all, const std::string& canonical, Found* out) {
    for (const Found& f : all) {
        if (f.name.canonical == canonical) {
            *out = f;
            return true;
        }
    }
    ResourceName wanted;
    if (parseResourceName(canonical, &wanted) != VI_SUCCESS) return false;
    for (const Found& f : all) {
        if (sameResource(f.name, wanted)) {
            *out = f;
            return true;
        }
    }
    return false;
}

}  // namespace

std::vector<Found> Backend::enumerate() {
    std::vector<Found> out = collect(bridgelets, false);
    std::lock_guard<std::mutex> lock(catalogMutex);
    catalog = out;
    catalogValid = true;
    return out;
}

bool Backend::lookup(const std::string& canonical, Found* out) {
    {
        std::lock_guard<std::mutex> lock(catalogMutex);
        if (catalogValid && findIn(catalog, canonical, out)) return true;
    }
    return findIn(collect(bridgelets, true), canonical, out);
}

ViStatus Backend::resolve(const std::string& text, ResourceName* name, std::string* alias) const {
    if (text.empty() || text.size() > kMaxResourceName) return VI_ERROR_INV_RSRC_NAME;
    std::string upper = upperAscii(text);
    std::string target = text;
    if (alias) alias->clear();
    for (const auto& [a, rsrc] : config.aliases) {
        if (upperAscii(a) == upper) {
            target = rsrc;
            if (alias) *alias = a;
            break;
        }
    }
    ViStatus st = parseResourceName(target, name);
    if (st != VI_SUCCESS) return st;
    if (alias && alias->empty()) {
        for (const auto& [a, rsrc] : config.aliases) {
            ResourceName other;
            if (parseResourceName(rsrc, &other) == VI_SUCCESS && other.canonical == name->canonical) {
                *alias = a;
                break;
            }
        }
    }
    return VI_SUCCESS;
}

namespace {

class RegistrarImpl : public Registrar {
public:
    RegistrarImpl(std::string name, const Config& config, std::vector<std::unique_ptr<Bridgelet>>* out)
        : name_(std::move(name)), config_(config), out_(out) {
        if (const auto* s = config.section(name_)) settings_ = *s;
    }
    int abi() const override { return kBridgeletAbi; }
    const std::string& moduleName() const override { return name_; }
    const std::vector<std::pair<std::string, std::string>>& settings() const override {
        return settings_;
    }
    const std::vector<std::string>& simulationFiles() const override {
        return config_.simulationFiles;
    }
    void log(int level, const std::string& text) override { logLine(level, name_ + ": " + text); }
    std::function<void(int, const std::string&)> logger() const override {
        return [name = name_](int level, const std::string& text) { logLine(level, name + ": " + text); };
    }
    void add(std::unique_ptr<Bridgelet> b) override {
        if (b) out_->push_back(std::move(b));
    }

private:
    std::string name_;
    const Config& config_;
    std::vector<std::unique_ptr<Bridgelet>>* out_;
    std::vector<std::pair<std::string, std::string>> settings_;
};

bool validModuleName(const std::string& n) {
    if (n.empty() || n.size() > 64) return false;
    for (char c : n) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '-' || c == '_';
        if (!ok) return false;
    }
    return true;
}

// Modules stay loaded for the life of the process: unloading code that may still be on a
// handler thread's stack is not worth the memory it frees.
std::mutex gModulesMutex;
std::map<std::string, void*> gModules;

ZuvisaBridgeletRegisterFn moduleEntry(const std::string& path, std::string* problem) {
    std::lock_guard<std::mutex> lock(gModulesMutex);
    void* handle = nullptr;
    auto it = gModules.find(path);
    if (it != gModules.end()) {
        handle = it->second;
    } else {
        handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!handle) {
            const char* err = dlerror();
            *problem = std::string("cannot load ") + path + ": " + (err ? err : "unknown error");
            return nullptr;
        }
        gModules[path] = handle;
    }
    void* sym = dlsym(handle, "zuvisaBridgeletRegister");
    if (!sym) {
        *problem = path + " has no entry point zuvisaBridgeletRegister";
        return nullptr;
    }
    return reinterpret_cast<ZuvisaBridgeletRegisterFn>(sym);
}

}  // namespace

std::shared_ptr<Backend> loadBackend() {
    auto backend = std::make_shared<Backend>();
    std::string problem;
    std::string moduleDir = Library::imageDirectory();
    ViStatus st = loadConfig(moduleDir, &backend->config, &problem);
    if (st != VI_SUCCESS) {
        backend->loadStatus = VI_WARN_CONFIG_NLOADED;
        backend->problems.push_back(problem);
    }
    for (const BridgeletEntry& e : backend->config.bridgelets) {
        if (!e.enabled) continue;
        std::string why;
        if (!validModuleName(e.name)) {
            why = "invalid bridgelet name: " + e.name;
        } else {
            std::string path = backend->config.moduleDirectory + "/zuvisa-bridgelet-" + e.name + ".so";
            ZuvisaBridgeletRegisterFn entry = moduleEntry(path, &why);
            if (entry) {
                RegistrarImpl registrar(e.name, backend->config, &backend->bridgelets);
                ViStatus rs;
                try {
                    rs = entry(&registrar);
                } catch (...) {
                    rs = VI_ERROR_SYSTEM_ERROR;
                }
                if (rs != VI_SUCCESS) why = "bridgelet " + e.name + " registered with status " + std::to_string(rs);
            }
        }
        if (!why.empty() && e.optional) {
            logLine(ZUVISA_LOG_INFO, "left out: " + why);
            continue;
        }
        if (!why.empty()) {
            backend->loadStatus = VI_WARN_CONFIG_NLOADED;
            backend->problems.push_back(why);
            logLine(ZUVISA_LOG_WARNING, why);
        }
    }
    return backend;
}

// ---- library ---------------------------------------------------------------------------------

Library& Library::instance() {
    // Never destroyed: handler threads and late viClose calls at exit must still find it.
    static Library* lib = new Library();
    return *lib;
}

std::string Library::imageDirectory() {
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&Library::imageDirectory), &info) && info.dli_fname) {
        std::string path = info.dli_fname;
        size_t slash = path.rfind('/');
        if (slash != std::string::npos) return slash == 0 ? "/" : path.substr(0, slash);
    }
    return ".";
}

std::shared_ptr<Backend> Library::openBackend(ViStatus* status) {
    std::lock_guard<std::mutex> lock(m_);
    if (rmCount_ == 0 || !backend_) backend_ = loadBackend();
    ++rmCount_;
    *status = backend_->loadStatus;
    return backend_;
}

void Library::closeBackend() {
    std::shared_ptr<Backend> drop;
    {
        std::lock_guard<std::mutex> lock(m_);
        if (rmCount_ > 0 && --rmCount_ == 0) drop = std::move(backend_);
    }
    // drop is released here, outside the lock; sessions may still hold it.
}

std::shared_ptr<Resource> Library::resource(const std::string& canonical) {
    std::lock_guard<std::mutex> lock(m_);
    for (auto it = resources_.begin(); it != resources_.end();) {
        if (it->second.expired()) it = resources_.erase(it);
        else ++it;
    }
    auto& weak = resources_[canonical];
    std::shared_ptr<Resource> r = weak.lock();
    if (!r) {
        r = std::make_shared<Resource>();
        r->name = canonical;
        weak = r;
    }
    return r;
}

ViJobId Library::nextJobId() {
    ViJobId id = nextJob_.fetch_add(1);
    if (id == 0) id = nextJob_.fetch_add(1);
    return id;
}

}  // namespace zuvisa

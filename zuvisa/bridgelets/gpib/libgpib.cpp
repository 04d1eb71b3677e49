#include "zuvisa/bridgelets/gpib/libgpib.h"

#include <dlfcn.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

namespace zuvisa::gpib {

int timeoutCode(unsigned ms, bool infinite) {
    if (infinite) return 0;
    long long us = static_cast<long long>(ms) * 1000;
    for (int code = 1; code < kTimeoutCodes; ++code) {
        if (kTimeoutMicros[code] >= us) return code;
    }
    return kTimeoutCodes - 1;
}

namespace {

template <typename F>
bool bind(void* handle, const char* name, F* out, std::string* missing) {
    void* sym = dlsym(handle, name);
    if (!sym) {
        if (!missing->empty()) *missing += ", ";
        *missing += name;
        return false;
    }
    *out = reinterpret_cast<F>(sym);
    return true;
}

std::mutex gMutex;
std::map<std::string, std::unique_ptr<Api>> gLoaded;  // stay loaded: links hold the functions

}  // namespace

const Api* loadApi(const std::string& library, std::string* problem) {
    std::lock_guard<std::mutex> lock(gMutex);
    auto it = gLoaded.find(library);
    if (it != gLoaded.end()) return it->second.get();
    // The library prints its errors unless told not to; a library of ours never prints.
    setenv("IB_NO_ERROR", "1", 0);
    void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* err = dlerror();
        *problem = "linux-gpib is not installed (" + library + ": " + (err ? err : "cannot be loaded") + ")";
        return nullptr;
    }
    auto api = std::make_unique<Api>();
    std::string missing;
    bind(handle, "ibdev", &api->ibdev, &missing);
    bind(handle, "ibonl", &api->ibonl, &missing);
    bind(handle, "ibwrt", &api->ibwrt, &missing);
    bind(handle, "ibrd", &api->ibrd, &missing);
    bind(handle, "ibcmd", &api->ibcmd, &missing);
    bind(handle, "ibclr", &api->ibclr, &missing);
    bind(handle, "ibtrg", &api->ibtrg, &missing);
    bind(handle, "ibrsp", &api->ibrsp, &missing);
    bind(handle, "ibtmo", &api->ibtmo, &missing);
    bind(handle, "ibeos", &api->ibeos, &missing);
    bind(handle, "ibeot", &api->ibeot, &missing);
    bind(handle, "ibsre", &api->ibsre, &missing);
    bind(handle, "ibsic", &api->ibsic, &missing);
    bind(handle, "ibcac", &api->ibcac, &missing);
    bind(handle, "ibgts", &api->ibgts, &missing);
    bind(handle, "ibpct", &api->ibpct, &missing);
    bind(handle, "ibwait", &api->ibwait, &missing);
    bind(handle, "ibask", &api->ibask, &missing);
    bind(handle, "ibconfig", &api->ibconfig, &missing);
    bind(handle, "ibloc", &api->ibloc, &missing);
    bind(handle, "iblines", &api->iblines, &missing);
    bind(handle, "ibln", &api->ibln, &missing);
    bind(handle, "ibpad", &api->ibpad, &missing);
    bind(handle, "ibsad", &api->ibsad, &missing);
    bind(handle, "ibrsc", &api->ibrsc, &missing);
    bind(handle, "ibrsv", &api->ibrsv, &missing);
    bind(handle, "ThreadIbsta", &api->ThreadIbsta, &missing);
    bind(handle, "ThreadIberr", &api->ThreadIberr, &missing);
    bind(handle, "ThreadIbcntl", &api->ThreadIbcntl, &missing);
    if (!missing.empty()) {
        *problem = library + " lacks " + missing + " (linux-gpib 3.2 or later is needed)";
        dlclose(handle);
        return nullptr;
    }
    const Api* out = api.get();
    gLoaded[library] = std::move(api);
    return out;
}

}  // namespace zuvisa::gpib

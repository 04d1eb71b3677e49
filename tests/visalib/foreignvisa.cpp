// A VISA library of another manufacturer, for tests: it forwards every call to ZU-VISA (found
// beside this module) but reports its own manufacturer identification.
#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "zuvisa/visa.h"

namespace {

constexpr ViUInt16 kForeignManufacturer = 0x0FF6;

struct Table {
#define VISA_FUNCTION(name, params, args) ViStatus(*name) params;
#define VISA_VOID_FUNCTION(name, params, args) void(*name) params;
#include "visalib/visafunctions.h"
#undef VISA_FUNCTION
#undef VISA_VOID_FUNCTION
};

Table* zuvisa() {
    static Table table{};
    static std::once_flag once;
    std::call_once(once, [] {
        Dl_info info;
        dladdr(reinterpret_cast<void*>(&zuvisa), &info);
        std::string dir = info.dli_fname;
        dir = dir.substr(0, dir.rfind('/') + 1);
        void* handle = dlopen((dir + "libzuvisa.so").c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!handle) std::abort();
#define VISA_FUNCTION(name, params, args) *reinterpret_cast<void**>(&table.name) = dlsym(handle, #name);
#define VISA_VOID_FUNCTION(name, params, args) VISA_FUNCTION(name, params, args)
#include "visalib/visafunctions.h"
#undef VISA_FUNCTION
#undef VISA_VOID_FUNCTION
    });
    return &table;
}

// Every forwarded result passes here; only the manufacturer identification is changed.
template <auto function>
struct Adjust {
    template <typename... Args>
    static ViStatus apply(ViStatus status, Args...) {
        return status;
    }
};

template <>
struct Adjust<&Table::viGetAttribute> {
    static ViStatus apply(ViStatus status, ViObject, ViAttr attrName, void* attrValue) {
        if (status >= VI_SUCCESS && attrName == VI_ATTR_RSRC_MANF_ID)
            std::memcpy(attrValue, &kForeignManufacturer, sizeof kForeignManufacturer);
        return status;
    }
};

#define EXPAND(...) __VA_ARGS__

}  // namespace

extern "C" {
#define VISA_FUNCTION(name, params, args) \
    ViStatus _VI_FUNC name params { return Adjust<&Table::name>::apply(zuvisa()->name args, EXPAND args); }
#define VISA_VOID_FUNCTION(name, params, args) \
    void _VI_FUNC name params { zuvisa()->name args; }
#include "visalib/visafunctions.h"
#undef VISA_FUNCTION
#undef VISA_VOID_FUNCTION
}

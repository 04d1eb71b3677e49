#include "visalib/visalib.h"

#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "visalib/trace.h"

namespace {

struct VisaTable {
#define VISA_FUNCTION(name, params, args) ViStatus(*name) params;
#define VISA_VOID_FUNCTION(name, params, args) void(*name) params;
#include "visalib/visafunctions.h"
#undef VISA_FUNCTION
#undef VISA_VOID_FUNCTION
};

struct Binding {
    std::mutex mutex;
    bool attempted = false;
    void* handle = nullptr;
    VisaTable table{};
    std::string path;
    std::string error;
};

Binding binding;
// Set once a library is bound, so that calls after the first need no lock.
std::atomic<const VisaTable*> boundTable{nullptr};

std::string programDirectory() {
    std::vector<char> buffer(PATH_MAX + 1, '\0');
    ssize_t n = readlink("/proc/self/exe", buffer.data(), PATH_MAX);
    if (n <= 0) return ".";
    std::string exe(buffer.data(), static_cast<size_t>(n));
    size_t slash = exe.rfind('/');
    return slash == std::string::npos ? "." : exe.substr(0, slash);
}

// Resolves every function; on a gap, names the missing ones and fails.
bool resolveAll(void* handle, VisaTable* table, std::string* error) {
    std::vector<std::string> missing;
#define RESOLVE(name)                                                               \
    *reinterpret_cast<void**>(&table->name) = dlsym(handle, #name);                 \
    if (!table->name) missing.push_back(#name);
#define VISA_FUNCTION(name, params, args) RESOLVE(name)
#define VISA_VOID_FUNCTION(name, params, args) RESOLVE(name)
#include "visalib/visafunctions.h"
#undef VISA_FUNCTION
#undef VISA_VOID_FUNCTION
#undef RESOLVE
    if (missing.empty()) return true;
    *error = "lacks the VISA function " + missing.front();
    if (missing.size() > 1) *error += " and " + std::to_string(missing.size() - 1) + " more";
    return false;
}

// Tries one candidate; fills binding on success, returns the reason on failure.
bool bind(const std::string& path, std::string* reason) {
    // A VISA library keeps threads and state for the life of the process; it is never unmapped.
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!handle) {
        const char* text = dlerror();
        *reason = text ? text : "cannot be loaded";
        return false;
    }
    VisaTable table{};
    if (!resolveAll(handle, &table, reason)) {
        dlclose(handle);
        return false;
    }
    binding.handle = handle;
    binding.table = table;
    binding.path = path;
    boundTable.store(&binding.table, std::memory_order_release);
    return true;
}

int loadLocked() {
    if (binding.attempted) return binding.handle ? 0 : -1;
    binding.attempted = true;
    VisaTrace_StartFileFromEnvironment();
    binding.error.clear();
    std::string reason;
    if (const char* chosen = std::getenv("TALMIK_VISA_LIBRARY"); chosen && *chosen) {
        // An explicit choice is never replaced by another library behind the user's back.
        if (bind(chosen, &reason)) return 0;
        binding.error = std::string("The VISA library \"") + chosen + "\" " +
                        (reason.rfind("lacks", 0) == 0 ? reason : "cannot be loaded: " + reason) + ".";
        return -1;
    }
    std::string systemReason, bundledReason;
    if (bind("libvisa.so", &systemReason)) return 0;
    std::string bundled = programDirectory() + "/libzuvisa.so";
    if (bind(bundled, &bundledReason)) return 0;
    binding.error = "No VISA library could be loaded (system libvisa.so: " + systemReason + "; bundled " +
                    bundled + ": " + bundledReason + ").";
    return -1;
}

// The table when a library is bound, loading it on first use; null otherwise.
const VisaTable* table() {
    if (const VisaTable* bound = boundTable.load(std::memory_order_acquire)) return bound;
    std::lock_guard<std::mutex> lock(binding.mutex);
    return loadLocked() == 0 ? &binding.table : nullptr;
}

}  // namespace

int VisaLib_Load() {
    std::lock_guard<std::mutex> lock(binding.mutex);
    return loadLocked();
}

const char* VisaLib_Error() { return binding.error.c_str(); }

const char* VisaLib_Path() { return binding.path.c_str(); }

void VisaLib_Unload() {
    std::lock_guard<std::mutex> lock(binding.mutex);
    boundTable.store(nullptr, std::memory_order_release);
    if (binding.handle) dlclose(binding.handle);
    binding.handle = nullptr;
    binding.table = VisaTable{};
    binding.path.clear();
    binding.error.clear();
    binding.attempted = false;
}

namespace visatrace {

ViStatus untracedGetAttribute(ViObject vi, ViAttr attribute, void* value) {
    const VisaTable* t = table();
    return t ? t->viGetAttribute(vi, attribute, value) : VI_ERROR_LIBRARY_NFOUND;
}

}  // namespace visatrace

namespace {

// How a call reaches the library: unchanged, except that an event handler is installed through
// a recording stand-in, and uninstalled through the stand-in it was installed with.
template <VisaTraceFunction F>
struct Forward {
    template <typename Member, typename... Args>
    static ViStatus call(Member member, Args... args) {
        const VisaTable* t = table();
        return t ? (t->*member)(args...) : VI_ERROR_LIBRARY_NFOUND;
    }
};

template <>
struct Forward<VisaTrace_viInstallHandler> {
    template <typename Member>
    static ViStatus call(Member member, ViSession vi, ViEventType type, ViHndlr handler, ViAddr user) {
        const VisaTable* t = table();
        if (!t) return VI_ERROR_LIBRARY_NFOUND;
        visatrace::substituteHandler(vi, type, &handler, &user);
        return (t->*member)(vi, type, handler, user);
    }
};

template <>
struct Forward<VisaTrace_viUninstallHandler> {
    template <typename Member>
    static ViStatus call(Member member, ViSession vi, ViEventType type, ViHndlr handler, ViAddr user) {
        const VisaTable* t = table();
        if (!t) return VI_ERROR_LIBRARY_NFOUND;
        visatrace::findSubstitute(vi, type, &handler, &user);
        return (t->*member)(vi, type, handler, user);
    }
};

}  // namespace

#define EXPAND(...) __VA_ARGS__

// Every call is recorded in the I/O trace (visalib/trace.h) with the arguments the program gave.
extern "C" {
#define VISA_FUNCTION(name, params, args)                                                        \
    ViStatus _VI_FUNC name params {                                                              \
        visatrace::Call tracedCall(VisaTrace_##name);                                            \
        ViStatus tracedStatus = Forward<VisaTrace_##name>::call(&VisaTable::name, EXPAND args);  \
        tracedCall.finish(tracedStatus, EXPAND args);                                            \
        return tracedStatus;                                                                     \
    }
#define VISA_VOID_FUNCTION(name, params, args)              \
    void _VI_FUNC name params {                             \
        visatrace::Call tracedCall(VisaTrace_##name);       \
        if (const VisaTable* t = table()) t->name args;     \
        tracedCall.finishVoid(EXPAND args);                 \
    }
#include "visalib/visafunctions.h"
#undef VISA_FUNCTION
#undef VISA_VOID_FUNCTION
}

// The few Avahi client calls we use, declared here from the library's public interface and
// bound with dlopen.
#include "zuvisa/bridgelets/tcpip/avahi.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <mutex>

namespace zuvisa::tcpip {

namespace {

struct AvahiPoll;
struct AvahiSimplePoll;
struct AvahiClient;
struct AvahiServiceBrowser;
struct AvahiServiceResolver;
struct AvahiStringList;
struct AvahiAddress {
    int proto;
    uint8_t data[16];
};

enum { kIfUnspec = -1, kProtoUnspec = -1, kProtoInet6 = 1 };
enum { kBrowserNew = 0, kBrowserAllForNow = 3, kBrowserFailure = 4 };
enum { kResolverFound = 0 };
enum { kClientFailure = 100 };

using ClientCallback = void (*)(AvahiClient*, int state, void*);
using BrowserCallback = void (*)(AvahiServiceBrowser*, int iface, int proto, int event,
                                 const char* name, const char* type, const char* domain, int flags,
                                 void*);
using ResolverCallback = void (*)(AvahiServiceResolver*, int iface, int proto, int event,
                                  const char* name, const char* type, const char* domain,
                                  const char* host, const AvahiAddress* a, uint16_t port,
                                  AvahiStringList* txt, int flags, void*);

struct Api {
    AvahiSimplePoll* (*pollNew)();
    const AvahiPoll* (*pollGet)(AvahiSimplePoll*);
    int (*pollIterate)(AvahiSimplePoll*, int);
    void (*pollFree)(AvahiSimplePoll*);
    char* (*addressPrint)(char*, size_t, const AvahiAddress*);
    const char* (*strerror)(int);
    AvahiClient* (*clientNew)(const AvahiPoll*, int, ClientCallback, void*, int*);
    void (*clientFree)(AvahiClient*);
    AvahiServiceBrowser* (*browserNew)(AvahiClient*, int, int, const char*, const char*, int,
                                       BrowserCallback, void*);
    int (*browserFree)(AvahiServiceBrowser*);
    AvahiServiceResolver* (*resolverNew)(AvahiClient*, int, int, const char*, const char*,
                                         const char*, int, int, ResolverCallback, void*);
    int (*resolverFree)(AvahiServiceResolver*);
    bool ok = false;
    std::string why;
};

template <typename F>
bool bind(void* lib, const char* name, F* fn) {
    *fn = reinterpret_cast<F>(dlsym(lib, name));
    return *fn != nullptr;
}

const Api& api() {
    static Api a;
    static std::once_flag once;
    std::call_once(once, [] {
        // The libraries stay loaded: their threads and callbacks may outlive one browse.
        void* common = dlopen("libavahi-common.so.3", RTLD_NOW | RTLD_LOCAL);
        void* client = common ? dlopen("libavahi-client.so.3", RTLD_NOW | RTLD_LOCAL) : nullptr;
        if (!common || !client) {
            a.why = "Avahi client library not installed";
            return;
        }
        a.ok = bind(common, "avahi_simple_poll_new", &a.pollNew) &&
               bind(common, "avahi_simple_poll_get", &a.pollGet) &&
               bind(common, "avahi_simple_poll_iterate", &a.pollIterate) &&
               bind(common, "avahi_simple_poll_free", &a.pollFree) &&
               bind(common, "avahi_address_snprint", &a.addressPrint) &&
               bind(common, "avahi_strerror", &a.strerror) &&
               bind(client, "avahi_client_new", &a.clientNew) &&
               bind(client, "avahi_client_free", &a.clientFree) &&
               bind(client, "avahi_service_browser_new", &a.browserNew) &&
               bind(client, "avahi_service_browser_free", &a.browserFree) &&
               bind(client, "avahi_service_resolver_new", &a.resolverNew) &&
               bind(client, "avahi_service_resolver_free", &a.resolverFree);
        if (!a.ok) a.why = "Avahi client library lacks a function we need";
    });
    return a;
}

struct Browse {
    const Api* api;
    AvahiClient* client = nullptr;
    std::vector<ServiceFound>* out;
    std::vector<AvahiServiceResolver*> resolvers;
    int pendingBrowsers = 0;
    int pendingResolvers = 0;
};

void onResolved(AvahiServiceResolver*, int, int, int event, const char* name, const char* type,
                const char*, const char*, const AvahiAddress* a, uint16_t port, AvahiStringList*,
                int, void* user) {
    auto* b = static_cast<Browse*>(user);
    --b->pendingResolvers;
    if (event != kResolverFound || !a || !type) return;
    char text[64] = "";
    b->api->addressPrint(text, sizeof text, a);
    ServiceFound f;
    f.name = name ? name : "";
    f.type = type;
    f.address = text;
    f.ipv6 = a->proto == kProtoInet6;
    f.port = port;
    b->out->push_back(f);
}

void onBrowse(AvahiServiceBrowser*, int iface, int proto, int event, const char* name,
              const char* type, const char* domain, int, void* user) {
    auto* b = static_cast<Browse*>(user);
    if (event == kBrowserNew && b->resolvers.size() < 256) {
        AvahiServiceResolver* r = b->api->resolverNew(b->client, iface, proto, name, type, domain,
                                                      kProtoUnspec, 0, onResolved, b);
        if (r) {
            b->resolvers.push_back(r);
            ++b->pendingResolvers;
        }
    } else if (event == kBrowserAllForNow || event == kBrowserFailure) {
        --b->pendingBrowsers;
    }
}

void onClient(AvahiClient*, int, void*) {}

}  // namespace

bool browseServices(const std::vector<std::string>& types,
                    std::chrono::steady_clock::time_point deadline, std::vector<ServiceFound>* out,
                    std::string* why, const std::atomic<bool>* cancel) {
    const Api& a = api();
    if (!a.ok) {
        if (why) *why = a.why;
        return false;
    }
    AvahiSimplePoll* poll = a.pollNew();
    if (!poll) {
        if (why) *why = "Avahi poll could not be made";
        return false;
    }
    int error = 0;
    Browse b{&a, nullptr, out, {}, 0, 0};
    b.client = a.clientNew(a.pollGet(poll), 0, onClient, nullptr, &error);
    if (!b.client) {
        if (why) *why = std::string("Avahi daemon not running (") + a.strerror(error) + ")";
        a.pollFree(poll);
        return false;
    }
    std::vector<AvahiServiceBrowser*> browsers;
    for (const std::string& t : types) {
        if (AvahiServiceBrowser* br = a.browserNew(b.client, kIfUnspec, kProtoUnspec, t.c_str(),
                                                   nullptr, 0, onBrowse, &b)) {
            browsers.push_back(br);
            ++b.pendingBrowsers;
        }
    }
    // Until every browser has told what it knows and every service is resolved, or time is up.
    while (std::chrono::steady_clock::now() < deadline &&
           (b.pendingBrowsers > 0 || b.pendingResolvers > 0)) {
        if ((cancel && *cancel) || a.pollIterate(poll, 10) != 0) break;
    }
    for (AvahiServiceResolver* r : b.resolvers) a.resolverFree(r);
    std::vector<ServiceFound> once;
    for (const ServiceFound& f : *out) {
        auto same = std::find_if(once.begin(), once.end(), [&](const ServiceFound& o) {
            return o.name == f.name && o.type == f.type;
        });
        if (same == once.end())
            once.push_back(f);
        else if (same->ipv6 && !f.ipv6)
            *same = f;
    }
    out->swap(once);
    for (AvahiServiceBrowser* br : browsers) a.browserFree(br);
    a.clientFree(b.client);
    a.pollFree(poll);
    return true;
}

}  // namespace zuvisa::tcpip

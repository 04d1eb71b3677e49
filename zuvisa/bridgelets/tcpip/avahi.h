// mDNS/DNS-SD browsing through the Avahi client library, loaded at run time: ZU-VISA works the
// same where Avahi is missing, and then says so.
#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

namespace zuvisa::tcpip {

struct ServiceFound {
    std::string name;     // the instance name the service announces
    std::string type;     // "_hislip._tcp"
    std::string address;  // numeric
    bool ipv6 = false;
    uint16_t port = 0;
};

// Browses the given service types until the deadline. A service seen on several interfaces
// or protocols is given once, at an IPv4 address when it has one. Returns false when Avahi could
// not be used at all, with the reason in *why ("Avahi client library not installed", "Avahi daemon
// not running").
bool browseServices(const std::vector<std::string>& types,
                    std::chrono::steady_clock::time_point deadline, std::vector<ServiceFound>* out,
                    std::string* why, const std::atomic<bool>* cancel = nullptr);

}  // namespace zuvisa::tcpip

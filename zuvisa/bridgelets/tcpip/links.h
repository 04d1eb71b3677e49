// The links of the tcpip bridgelet: raw sockets, VXI-11 and HiSLIP instruments. Each open
// resolves the host once, connects within the connect timeout and reports why it failed.
#pragma once

#include <memory>
#include <string>

#include "zuvisa/bridgelet.h"
#include "zuvisa/rsrcname.h"

namespace zuvisa::tcpip {

struct Settings {
    ViUInt32 connectTimeout = 5000;  // ms; a longer viOpen timeout wins
    uint16_t portmapperPort = 111;   // where VXI-11 looks up its core channel
};

class SrqServer;

// *why gets a line for the log when the open fails.
ViStatus openSocket(const ResourceName& name, const Settings& s, ViUInt32 openTimeout,
                    EventSink* events, std::unique_ptr<Link>* link, std::string* why);
ViStatus openVxi11(const ResourceName& name, const Settings& s, ViUInt32 openTimeout,
                   EventSink* events, const std::shared_ptr<SrqServer>& srq,
                   std::unique_ptr<Link>* link, std::string* why);
ViStatus openHislip(const ResourceName& name, const Settings& s, ViUInt32 openTimeout,
                    EventSink* events, std::unique_ptr<Link>* link, std::string* why);

// The HiSLIP sub-address and port of a LAN device name ("hislip0", "hislip0,4881"); false when
// the name is not a HiSLIP one.
bool hislipDevice(const std::string& lanDevice, std::string* subAddress, uint16_t* port);

}  // namespace zuvisa::tcpip

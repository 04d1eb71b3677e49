// The tcpip bridgelet: TCPIP SOCKET and INSTR (VXI-11 and HiSLIP) resources on the network,
// found from the configuration and by discovery, opened by any name a client gives.
//
//   [tcpip]
//   Instrument1 = "TCPIP0::192.168.1.20::inst0::INSTR"   ; any item name starting Instrument
//   Discover = True          ; VXI-11 broadcast and mDNS while searching
//   DiscoveryTime = 400      ; ms a search listens for answers
//   ConnectTimeout = 5000    ; ms a connection may take
//   PortmapperPort = 111     ; where VXI-11 asks for the core channel
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/tcpip/discovery.h"
#include "zuvisa/bridgelets/tcpip/links.h"

namespace zuvisa::tcpip {

inline constexpr char kItemInstrumentPrefix[] = "Instrument";

struct Config {
    Settings link;
    DiscoverySettings discovery;
    std::vector<std::string> problems;
};

// Reads the bridgelet's own section.
Config readSettings(const std::vector<std::pair<std::string, std::string>>& items);

class TcpipBridgelet : public Bridgelet {
  public:
    TcpipBridgelet(Config c, std::function<void(int, const std::string&)> log);
    ~TcpipBridgelet() override;

    const char* name() const override { return "tcpip"; }
    void enumerate(std::vector<ResourceInfo>& out) override;
    void enumerateKnown(std::vector<ResourceInfo>& out) override;
    ViStatus open(const std::string& canonicalName, ViUInt32 openTimeout, EventSink* events,
                  std::unique_ptr<Link>* link) override;

  private:
    Config config_;
    std::function<void(int, const std::string&)> log_;
    std::shared_ptr<SrqServer> srq_;
    std::unique_ptr<Discoverer> discoverer_;
};

ViStatus registerTcpip(Registrar* registrar);

}  // namespace zuvisa::tcpip

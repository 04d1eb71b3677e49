// The asrl bridgelet: ASRLn::INSTR on the machine's serial ports through termios.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/asrl/portlist.h"
#include "zuvisa/bridgelets/asrl/serialport.h"

namespace zuvisa::asrl {

class AsrlBridgelet : public Bridgelet {
public:
    explicit AsrlBridgelet(PortConfig config) : config_(std::move(config)) {}

    const char* name() const override { return "asrl"; }
    void enumerate(std::vector<ResourceInfo>& out) override;
    // Sessions of the process on one port share it; another program holding the port gives
    // VI_ERROR_RSRC_BUSY.
    ViStatus open(const std::string& canonicalName, ViUInt32 openTimeout, EventSink* events,
                  std::unique_ptr<Link>* link) override;

private:
    PortConfig config_;
    std::mutex m_;
    std::map<std::string, std::weak_ptr<SerialPort>> ports_;  // by resolved device path
};

// A session's link to an open port.
std::unique_ptr<Link> makeAsrlLink(std::shared_ptr<SerialPort> port, EventSink* sink);

ViStatus registerAsrl(Registrar* registrar);

}  // namespace zuvisa::asrl

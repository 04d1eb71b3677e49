// The gpib bridgelet: GPIB boards through linux-gpib's library.
//   GPIBn::INTFC                   the board: data and command bytes, REN, ATN, IFC, passing
//                                  control, bus lines and addressing state, and its events
//                                  (CIC, SRQ, talk and listen addressing, device clear, trigger).
//   GPIBn::primary[::secondary]::INSTR   a device on the bus: messages with EOI and EOS, device
//                                  clear, trigger, serial poll, REN, and service requests (the
//                                  board is watched for SRQ and the devices with sessions polled).
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/gpib/libgpib.h"

namespace zuvisa::gpib {

struct GpibConfig {
    std::string library = "libgpib.so.0";
    std::string devRoot = "/dev";      // boards are looked for as <devRoot>/gpibN
    bool scan = true;                  // list the devices that answer on each board
};

// The bridgelet's configuration section: "Library", "DevRoot", "Scan".
GpibConfig readGpibConfig(const std::vector<std::pair<std::string, std::string>>& items,
                          std::vector<std::string>* problems);

class Board;

class GpibBridgelet : public Bridgelet {
public:
    GpibBridgelet(const Api* api, GpibConfig config) : api_(api), config_(std::move(config)) {}
    const char* name() const override { return "gpib"; }
    void enumerate(std::vector<ResourceInfo>& out) override;
    ViStatus open(const std::string& canonicalName, ViUInt32 openTimeout, EventSink* events,
                  std::unique_ptr<Link>* link) override;

private:
    std::shared_ptr<Board> board(int index);
    bool boardPresent(int index);

    const Api* api_;
    GpibConfig config_;
    std::mutex m_;
    std::map<int, std::weak_ptr<Board>> boards_;
};

// VISA's status for the outcome of a library call on the calling thread.
ViStatus statusOf(const Api* api, int ibsta);

ViStatus registerGpib(Registrar* registrar);

}  // namespace zuvisa::gpib

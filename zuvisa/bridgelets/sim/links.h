// The links of the sim bridgelet, one class per kind of resource: what a session on a simulated
// resource does with each operation.
#pragma once

#include <memory>
#include <string>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/sim/gpib.h"
#include "zuvisa/bridgelets/sim/instrument.h"
#include "zuvisa/bridgelets/sim/pxi.h"
#include "zuvisa/bridgelets/sim/vxi.h"

namespace zuvisa::sim {

// Message-based instruments: GPIB, TCP/IP, USB and serial INSTR, sockets. board is set for GPIB
// devices (primary is their address); device is null when the instrument is not present.
std::unique_ptr<Link> makeMessageLink(std::shared_ptr<Instrument> instrument, EventSink* sink,
                                      std::shared_ptr<GpibBoard> board, int primary, ViStatus absent);
std::unique_ptr<Link> makeSerialLink(std::shared_ptr<Instrument> instrument, EventSink* sink);

// VXI and GPIB-VXI: an INSTR at a logical address (its device may be missing from the bus),
// MEMACC, BACKPLANE and SERVANT.
std::unique_ptr<Link> makeVxiInstrLink(std::shared_ptr<Instrument> instrument, EventSink* sink,
                                       std::shared_ptr<VxiBus> bus, int la);
std::unique_ptr<Link> makeVxiMemaccLink(EventSink* sink, std::shared_ptr<VxiBus> bus);
std::unique_ptr<Link> makeBackplaneLink(EventSink* sink, std::shared_ptr<VxiBus> bus);
std::unique_ptr<Link> makeVxiServantLink(std::shared_ptr<Instrument> peer, EventSink* sink,
                                         std::shared_ptr<VxiBus> bus);

// PXI: a function (null when not present) and the bus's allocated memory.
std::unique_ptr<Link> makePxiInstrLink(std::shared_ptr<Instrument> instrument, EventSink* sink,
                                       std::shared_ptr<PxiBus> bus, std::shared_ptr<PxiFunction> function);
std::unique_ptr<Link> makePxiMemaccLink(EventSink* sink, std::shared_ptr<PxiBus> bus);

// GPIB boards: the controller side (INTFC) and the device side (SERVANT, with its peer).
std::unique_ptr<Link> makeGpibIntfcLink(EventSink* sink, std::shared_ptr<GpibBoard> board);
std::unique_ptr<Link> makeGpibServantLink(std::shared_ptr<Instrument> peer, EventSink* sink,
                                          std::shared_ptr<GpibBoard> board);

}  // namespace zuvisa::sim

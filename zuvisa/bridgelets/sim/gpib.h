// A simulated GPIB board and the devices on its bus: controller-in-charge and system controller
// state, REN and ATN, addressing by command bytes, device clear, trigger, local lockout, passing
// control, and the board's own side as a device (its servant resource). Every command byte the
// board sends, also those that REN modes and passing control send, goes through one path that
// logs it and carries it out.
//
// Guarded by the board's mutex. Lock order: board, then a device, then sinks.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/scheduler.h"
#include "zuvisa/bridgelets/sim/simdevice.h"
#include "zuvisa/bridgelets/sim/sinks.h"

namespace zuvisa::sim {

class GpibBoard : public std::enable_shared_from_this<GpibBoard> {
public:
    GpibBoard(InterfaceDef def, Scheduler* scheduler);
    ~GpibBoard();

    const InterfaceDef& def() const { return def_; }
    // Devices on the bus, by primary address; added while the bench is built.
    void add(int primary, const std::shared_ptr<Device>& device);
    std::shared_ptr<Device> device(int primary);

    // The controller's operations (INTFC, and REN on INSTR). device is the address an INSTR
    // session speaks for, -1 for the board.
    ViStatus command(const ViByte* bytes, size_t count, size_t* done);
    ViStatus write(const ViByte* buf, size_t count, bool end, size_t* done);
    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done);
    ViStatus controlRen(ViUInt16 mode, int device);
    ViStatus controlAtn(ViUInt16 mode);
    ViStatus sendIfc();
    ViStatus passControl(ViUInt16 primary, ViUInt16 secondary);
    // A device session's I/O addresses that device (remote when REN is asserted).
    void addressed(int device);

    bool cic() const { return cic_.load(); }

    // Board attributes: VI_SUCCESS with the value, or VI_ERROR_NSUP_ATTR for the core's copy.
    ViStatus getAttribute(ViAttr attr, ViAttrState* value);
    // The last command bytes the board sent with ATN asserted, oldest first, in hexadecimal
    // ("3F 5F 40 36"): what VI_ATTR_ZU_GPIB_CMD_LOG shows.
    std::string commandLog();
    ViStatus setAttribute(ViAttr attr, ViAttrState value);

    Sinks& intfcSinks() { return intfcSinks_; }
    Sinks& servantSinks() { return servantSinks_; }

    // The board as a device (its servant): the controller that talks to it is peer.
    void setPeer(std::shared_ptr<Device> peer) { peer_ = std::move(peer); }
    ViStatus servantWrite(const ViByte* buf, size_t count, bool end, size_t* done);
    ViStatus servantRead(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io, size_t* done);
    // The peer controller addresses the board (VI_GPIB_TALKER, VI_GPIB_LISTENER or unaddressed),
    // clears or triggers it; the servant and board sessions hear of it.
    void peerAddresses(int state);
    void peerClears();

private:
    void raiseBoth(ViEventType type);
    void setCic(bool cic);
    void clearDevice(int primary);
    void updateRemote(int addressed);
    void scheduleControlReturn();
    // Sends command bytes on the bus (logged) and carries out what they mean.
    void send(std::initializer_list<uint8_t> bytes);
    void obey(uint8_t byte);

    InterfaceDef def_;
    Scheduler* scheduler_;
    std::mutex m_;
    std::map<int, std::shared_ptr<Device>> devices_;
    std::set<int> listeners_;
    int talker_ = -1;
    bool serialPoll_ = false;
    std::atomic<bool> cic_;
    bool systemController_;
    bool ren_ = false, atn_ = false, lockout_ = false;
    int address_;
    int secondary_ = VI_NO_SEC_ADDR;
    int addrState_ = VI_GPIB_UNADDRESSED;
    ViInt16 cableLength_ = VI_GPIB_HS488_NIMPL;
    uint8_t statusByte_ = 0;
    std::deque<uint8_t> commandLog_;
    Sinks intfcSinks_, servantSinks_;
    std::shared_ptr<Device> peer_;
    // Hears the devices' service requests and passes them to the board's sessions.
    class SrqForwarder : public EventSink {
    public:
        explicit SrqForwarder(Sinks* to) : to_(to) {}
        void raise(const EventData& e) override {
            if (e.type == VI_EVENT_SERVICE_REQ) to_->raise(e);
        }

    private:
        Sinks* to_;
    } forwarder_{&intfcSinks_};
};

}  // namespace zuvisa::sim

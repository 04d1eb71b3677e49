// The interface between the ZU-VISA core and its bridgelets (one shared module per family of
// interfaces). A module exports one entry point, zuvisaBridgeletRegister, which the core calls
// after loading it; the module hands back its Bridgelet objects through the Registrar.
//
// Every operation has a default that answers "not supported", so a bridgelet overrides only what
// its resources can do. Core and modules are built together: this is a C++ interface, not a
// stable ABI, and kBridgeletAbi changes whenever it does. No exception may cross it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zuvisa/visa.h"

namespace zuvisa {

inline constexpr int kBridgeletAbi = 4;

using Clock = std::chrono::steady_clock;

// A resource as a bridgelet reports it. Attribute values given here are what a session opened
// on the resource starts with, and what find expressions in braces match against.
struct ResourceInfo {
    std::string name;  // any accepted spelling; the core stores the canonical form
    std::vector<std::pair<ViAttr, ViAttrState>> numbers;
    std::vector<std::pair<ViAttr, std::string>> texts;
};

// Limits of one blocking call: the deadline (none when infinite) and the flag that
// viTerminate and viClear raise to abandon it.
struct IoControl {
    bool infinite = false;
    Clock::time_point deadline{};
    const std::atomic<bool>* cancel = nullptr;

    bool cancelled() const { return cancel && cancel->load(std::memory_order_relaxed); }
    bool expired() const { return !infinite && Clock::now() >= deadline; }
    static IoControl fromTimeout(ViUInt32 ms, const std::atomic<bool>* cancel);
    // No deadline and no cancel: for operations that always run to their end.
    static IoControl untimed() { return fromTimeout(VI_TMO_INFINITE, nullptr); }
};

inline IoControl IoControl::fromTimeout(ViUInt32 ms, const std::atomic<bool>* cancel) {
    IoControl c;
    c.cancel = cancel;
    if (ms == VI_TMO_INFINITE) {
        c.infinite = true;
    } else {
        c.deadline = Clock::now() + std::chrono::milliseconds(ms);
    }
    return c;
}

// How a message-based read ends, from the session's attributes.
struct ReadOptions {
    bool termCharEnabled = false;
    ViUInt8 termChar = '\n';
    bool suppressEnd = false;
};

// Attributes that come with an event (numbers are stored at their full width; the core
// narrows them to each attribute's own width on viGetAttribute).
struct EventData {
    ViEventType type = 0;
    std::vector<std::pair<ViAttr, ViAttrState>> numbers;
    std::vector<std::pair<ViAttr, std::string>> texts;
};

// Given by the core to each open link: the way back for events that the resource raises
// (service requests, triggers, signals). Valid until the link is destroyed; callable from any
// thread.
class EventSink {
public:
    virtual void raise(const EventData& event) = 0;

protected:
    ~EventSink() = default;
};

// One open session's connection to a resource. The core serialises the I/O calls of one
// session; calls from different sessions to the same resource may run at the same time.
class Link {
public:
    virtual ~Link() = default;

    // Message-based I/O. write sends count bytes and, when end is set, END with the last one.
    // read returns VI_SUCCESS (END), VI_SUCCESS_TERM_CHAR, VI_SUCCESS_MAX_CNT, or an error
    // such as VI_ERROR_TMO or VI_ERROR_ABORT with *done telling what arrived.
    virtual ViStatus write(const ViByte* buf, size_t count, bool end, const IoControl& io,
                           size_t* done);
    virtual ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io,
                          size_t* done);
    virtual ViStatus clear();
    virtual ViStatus readStb(ViUInt16* stb);
    virtual ViStatus assertTrigger(ViUInt16 protocol);
    virtual ViStatus setIoBuffer(ViUInt16 mask, ViUInt32 size);
    virtual ViStatus flushIoBuffer(ViUInt16 mask);

    // Attributes whose value lives in the resource. getAttribute answers VI_ERROR_NSUP_ATTR
    // to let the core answer from the session's own copy. setAttribute is called after the
    // core's width and range checks; VI_SUCCESS lets the core store the value.
    virtual ViStatus getAttribute(ViAttr attr, ViAttrState* number, std::string* text);
    virtual ViStatus setAttribute(ViAttr attr, ViAttrState value);

    // Locks that the resource itself keeps (a network instrument that other hosts share).
    // Called once the core granted the lock within this process, with the time left of the
    // caller's timeout; an error takes the grant back. unlock follows the session's last
    // release of that lock type.
    virtual ViStatus lock(ViAccessMode type, ViUInt32 timeout, const std::string& key);
    virtual ViStatus unlock(ViAccessMode type);

    // Register-based access. width is 8, 16, 32 or 64 bits.
    virtual ViStatus in(ViUInt16 space, ViBusAddress64 offset, int width, ViUInt64* value);
    virtual ViStatus out(ViUInt16 space, ViBusAddress64 offset, int width, ViUInt64 value);
    virtual ViStatus moveIn(ViUInt16 space, ViBusAddress64 offset, int width, ViBusSize length,
                            void* buf);
    virtual ViStatus moveOut(ViUInt16 space, ViBusAddress64 offset, int width, ViBusSize length,
                             const void* buf);
    // A block move between two spaces (VI_LOCAL_SPACE: an address in this process). It ends
    // early with VI_ERROR_ABORT or VI_ERROR_TMO as io says; *done counts the elements moved.
    virtual ViStatus move(ViUInt16 srcSpace, ViBusAddress64 srcOffset, int srcWidth,
                          ViUInt16 destSpace, ViBusAddress64 destOffset, int destWidth,
                          ViBusSize length, const IoControl& io, ViBusSize* done);
    virtual ViStatus mapAddress(ViUInt16 space, ViBusAddress64 offset, ViBusSize size,
                                bool access, ViAddr suggested, ViAddr* address);
    virtual ViStatus unmapAddress();
    virtual ViStatus peek(ViAddr address, int width, ViUInt64* value);
    virtual ViStatus poke(ViAddr address, int width, ViUInt64 value);
    virtual ViStatus memAlloc(ViBusSize size, ViBusAddress64* offset);
    virtual ViStatus memFree(ViBusAddress64 offset);

    // Interface-level operations. A word-serial query waits for its response as io says.
    virtual ViStatus vxiCommandQuery(ViUInt16 mode, ViUInt32 cmd, ViUInt32* response,
                                     const IoControl& io);
    virtual ViStatus gpibControlRen(ViUInt16 mode);
    virtual ViStatus gpibControlAtn(ViUInt16 mode);
    virtual ViStatus gpibSendIfc();
    virtual ViStatus gpibCommand(const ViByte* buf, size_t count, size_t* done);
    virtual ViStatus gpibPassControl(ViUInt16 primary, ViUInt16 secondary);
    virtual ViStatus mapTrigger(ViInt16 src, ViInt16 dest, ViUInt16 mode);
    virtual ViStatus unmapTrigger(ViInt16 src, ViInt16 dest);
    virtual ViStatus assertIntrSignal(ViInt16 mode, ViUInt32 statusId);
    virtual ViStatus assertUtilSignal(ViUInt16 line);
    virtual ViStatus vxiServantResponse(ViInt16 mode, ViUInt32 response);
    virtual ViStatus usbControlOut(ViInt16 requestType, ViInt16 request, ViUInt16 value,
                                   ViUInt16 index, ViUInt16 length, const ViByte* buf);
    virtual ViStatus usbControlIn(ViInt16 requestType, ViInt16 request, ViUInt16 value,
                                  ViUInt16 index, ViUInt16 length, ViByte* buf,
                                  ViUInt16* done);
};

// A family of resources. enumerate and open may be called from several threads.
class Bridgelet {
public:
    virtual ~Bridgelet() = default;
    virtual const char* name() const = 0;
    // Appends every resource that the bridgelet can reach now.
    virtual void enumerate(std::vector<ResourceInfo>& out) = 0;
    // Appends the resources it knows without waiting for anything (a network search): what a
    // name to open is looked up in.
    virtual void enumerateKnown(std::vector<ResourceInfo>& out) { enumerate(out); }
    // Opens a session's link to the resource with this canonical name, or answers
    // VI_ERROR_RSRC_NFOUND when the resource is not this bridgelet's. A success code other
    // than VI_SUCCESS (such as VI_SUCCESS_DEV_NPRESENT) is passed on to the caller of viOpen.
    virtual ViStatus open(const std::string& canonicalName, ViUInt32 openTimeout,
                          EventSink* events, std::unique_ptr<Link>* link) = 0;
    // The state of the VXI resource manager on this bridgelet's buses (0: ran, negative: did
    // not complete), reported on find lists.
    virtual ViInt32 vxiResourceManagerStatus() const { return 0; }
    // A search fault: viFindNext answers *status once this many names of a find list were
    // handed out (-1: never).
    virtual long findNextFailsAfter(ViStatus* status) const {
        (void)status;
        return -1;
    }
};

// What the core offers a module while it registers.
class Registrar {
public:
    virtual int abi() const = 0;
    // The module's name as configured ("sim" for zuvisa-bridgelet-sim.so).
    virtual const std::string& moduleName() const = 0;
    // Items of the module's own ini section, in file order.
    virtual const std::vector<std::pair<std::string, std::string>>& settings() const = 0;
    // Simulation files from the configuration, as absolute paths.
    virtual const std::vector<std::string>& simulationFiles() const = 0;
    virtual void log(int level, const std::string& text) = 0;
    // A log function that stays valid after registration, for what a bridgelet meets later
    // (why a connection failed).
    virtual std::function<void(int, const std::string&)> logger() const = 0;
    virtual void add(std::unique_ptr<Bridgelet> bridgelet) = 0;

protected:
    ~Registrar() = default;
};

}  // namespace zuvisa

// The one entry point of a bridgelet module. Returns VI_SUCCESS, a warning when it registered
// with parts missing (a simulation file that did not load), or an error when it registered
// nothing.
extern "C" ViStatus zuvisaBridgeletRegister(zuvisa::Registrar* registrar);
using ZuvisaBridgeletRegisterFn = ViStatus (*)(zuvisa::Registrar*);

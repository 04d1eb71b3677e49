// One simulated message-based instrument: the dialogue engine over a device definition, its
// input and output queues, and its IEEE 488.2 status reporting (status byte, service
// requests, event status register).
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "zuvisa/bridgelet.h"
#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/sinks.h"

namespace zuvisa::sim {

// Python-style replacement field ("{}", "{:.2f}", "{:d}", "{:>8s}") applied to a value.
bool formatValue(const std::string& spec, const std::string& value, std::string* out);
// Formats a response template holding at most one replacement field.
std::string formatResponse(const std::string& pattern, const std::string& value);
// Matches a setter pattern such as "VOLT {:.3f}" against a message; *value gets the field text.
bool matchPattern(const std::string& pattern, const std::string& message, std::string* value);
// Expands BYTES(...), RANDOM(...) and {RANDOM(...):spec} fields in a response; false when
// their arguments are malformed.
bool expandResponse(const std::string& text, std::mt19937& rng, std::string* out);
// Whether a response's BYTES and RANDOM forms are well made; *why says what is wrong.
bool checkResponse(const std::string& text, std::string* why);
// Expands only {RANDOM(...)} fields (a getter's answer, before its value is put in).
std::string expandRandomFields(const std::string& text, std::mt19937& rng);

// The response text that stands for no response at all.
inline constexpr char kNullResponse[] = "null_response";

// Not a VISA event: tells the link of a serial port which bytes just arrived, so that it can
// raise the character events its session asks for.
inline constexpr ViEventType kBytesArrived = 0;

class Device {
public:
    // interfaceKey selects the end-of-message pair, e.g. "GPIB INSTR". Events go to sinks, which
    // a device may share with the register side of the same instrument.
    Device(std::shared_ptr<const DeviceDef> def, const std::string& interfaceKey,
           std::shared_ptr<Sinks> sinks = std::make_shared<Sinks>());

    void attach(EventSink* sink);
    void detach(EventSink* sink);
    const std::shared_ptr<Sinks>& sinks() const { return sinks_; }
    const DeviceDef& definition() const { return *def_; }
    const Eom& endOfMessage() const { return eom_; }

    // Called (with the device's lock held) with the index of each action that a command or a
    // trigger starts; the receiver schedules it and must not call back into the device.
    void setActionStarter(std::function<void(size_t)> starter);
    // Carries out the effects of an action that the device itself has (event status bits, a
    // message it sends, a service request); other events are raised to its sinks.
    void perform(const ActionDef& action, const EventData& event);

    ViStatus write(const ViByte* buf, size_t count, bool end, size_t* done);
    ViStatus read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io,
                  size_t* done);
    ViStatus clear();
    ViStatus readStb(ViUInt16* stb);
    ViStatus trigger(ViUInt16 protocol);

    // GPIB bus state the device sees.
    void setRemote(bool remote, bool lockout);
    bool remote() const;
    bool lockedOut() const;
    bool serviceRequested() const;  // RQS set and not yet polled
    size_t pendingOutput() const;   // bytes waiting to be read
    // A line break or a device clear that ends the current input message.
    void breakReceived();

    // The response to one message (without its termination), as the device would queue it;
    // nullopt when the message gets no answer. For tests and for the write path.
    std::optional<std::string> query(const std::string& message);

private:
    struct Outgoing {
        std::string bytes;
        size_t pos = 0;
    };
    struct Answer {
        bool handled = false;
        std::optional<std::string> response;
    };

    // All with m_ held.
    void handleMessage(const std::string& message);
    std::optional<std::string> processMessage(const std::string& message);
    Answer processOne(const std::string& command);
    Answer properties(const std::vector<PropertyDef>& defs, std::map<std::string, std::string>& values,
                      const std::string& command, const std::string& chId);
    Answer channels(const std::string& command);
    Answer common(const std::string& command);
    void recordError(const char* kind);
    void queueOutput(std::string bytes);
    uint8_t statusByte() const;
    void updateServiceRequest();
    void doTrigger();
    void reset();
    void startActions(ActionDef::When when, const std::string& command);

    std::shared_ptr<const DeviceDef> def_;
    Eom eom_;
    bool announceBytes_ = false;
    mutable std::mutex m_;
    std::condition_variable cv_;
    std::shared_ptr<Sinks> sinks_;
    std::function<void(size_t)> startAction_;
    bool remote_ = false, lockout_ = false;

    std::string input_;
    std::deque<Outgoing> output_;
    std::map<std::string, std::string> props_;
    std::vector<std::map<std::string, std::map<std::string, std::string>>> channelProps_;  // [set][id][name]
    std::vector<long> registers_;
    std::vector<std::deque<std::string>> queues_;
    uint8_t sre_ = 0, ese_ = 0, esr_ = 0;
    bool rqs_ = false, summary_ = false;
    std::mt19937 rng_;
};

}  // namespace zuvisa::sim

// The I/O trace: every VISA call that passes through visalib, and every event handler that VISA
// invokes, is kept in a bounded ring in memory (the oldest falls off). Recording stores raw
// values only; names and texts are made when a record is shown (visalib/traceformat.h), through
// the naming functions the application installs. With $TALMIK_TRACE naming a file, the records
// are also written to it as JSON lines while the program runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "zuvisa/visa.h"

// Functions that can be recorded: every function of visalib/visafunctions.h in its order, then
// the invocation of an event handler.
enum VisaTraceFunction : uint16_t {
#define VISA_FUNCTION(name, params, args) VisaTrace_##name,
#define VISA_VOID_FUNCTION(name, params, args) VisaTrace_##name,
#include "visalib/visafunctions.h"
#undef VISA_FUNCTION
#undef VISA_VOID_FUNCTION
    VisaTrace_handler,
    VisaTrace_functionCount
};

inline constexpr size_t kVisaTraceMaxArgs = 9;
// Each buffer is kept up to this many bytes; its full length is kept beside.
inline constexpr size_t kVisaTraceDataLimit = 4096;
inline constexpr size_t kVisaTraceDefaultCapacity = 10000;
inline constexpr size_t kVisaTraceMinCapacity = 100;
inline constexpr size_t kVisaTraceMaxCapacity = 1000000;

enum : uint16_t {
    kVisaTraceHasStatus = 0x1,   // the function returns a status (not a peek or poke)
    kVisaTraceInHandler = 0x2,   // made on a thread while it ran an event handler
    kVisaTraceRunning = 0x4,     // a handler that has not returned yet
    kVisaTraceCompletion = 0x8,  // carries the completion of an asynchronous job
};

struct VisaTraceRecord {
    uint64_t sequence = 0;         // 1, 2, ... in the order the records were made
    int64_t wallNs = 0;            // wall-clock time at the start of the call
    int64_t durationNs = 0;
    // The clock's raw stamps at the start and end, from which VisaTrace_Get makes the two above.
    uint64_t startStamp = 0;
    uint64_t endStamp = 0;
    int32_t thread = 0;            // the kernel's thread id
    uint16_t function = 0;         // VisaTraceFunction
    uint16_t flags = 0;
    ViStatus status = 0;
    ViSession session = 0;         // the session the call acts on (its first argument), or 0
    uint64_t handlerSequence = 0;  // the handler invocation this call was made in, or 0
    uint8_t argCount = 0;
    uint16_t outputsSet = 0;       // bit i: args[i] holds the value written by the call
    // Raw arguments in the function's order: numbers as passed, outputs as written, texts as an
    // (offset << 32 | length) into text, buffers as their address.
    uint64_t args[kVisaTraceMaxArgs] = {};
    std::string text;
    // The completion of an asynchronous job (with kVisaTraceCompletion).
    ViJobId jobId = 0;
    ViStatus completionStatus = 0;
    uint64_t completionCount = 0;
    // The bytes written or read: the first kVisaTraceDataLimit of dataLength.
    uint64_t dataLength = 0;
    std::vector<unsigned char> data;
    bool hasData = false;
};

// The application's names for what the trace shows as numbers until it knows better. Any
// function may be null; each answers null (or -1) for a value it does not know. They are called
// from any thread and must only read static data.
struct VisaTraceNames {
    const char* (*statusName)(ViStatus status);
    const char* (*attributeName)(ViAttr attribute);
    const char* (*eventName)(ViEventType eventType);
    // Bytes of the value viGetAttribute fills: 1, 2, 4 or 8; 0 for a text; -1 when unknown (the
    // value is then not recorded). Asked while recording, so it must be quick.
    int (*attributeSize)(ViAttr attribute);
};

// Installs the names (the structure must live as long as the program); null: numbers only.
void VisaTrace_SetNames(const VisaTraceNames* names);
const VisaTraceNames* VisaTrace_Names();

// ---- The ring -------------------------------------------------------------------------------
// The records held are the sequence numbers [*first, *next).
void VisaTrace_Range(uint64_t* first, uint64_t* next);
// Copies a record into out, reusing out's buffers; false when it is no longer held.
bool VisaTrace_Get(uint64_t sequence, VisaTraceRecord* out);
// Calls visit for the held records from sequence on, at most maxCount of them, while the ring is
// locked (visit must not call VISA); returns the sequence to continue from. The records are
// seen as stored: their times are only stamps (VisaTrace_Get makes wallNs and durationNs).
uint64_t VisaTrace_Scan(uint64_t from, size_t maxCount,
                        void (*visit)(const VisaTraceRecord& record, void* data), void* data);
// Forgets every record; numbering goes on.
void VisaTrace_Clear();
// How many records the ring keeps; the newest are kept on a change. -1 outside the limits.
int VisaTrace_SetCapacity(size_t records);
size_t VisaTrace_Capacity();

// ---- Handles --------------------------------------------------------------------------------
// What the trace learnt about a handle from the calls that made it, as of a record: the resource
// name of a session, "resource manager", "find list" or "event"; "" when it knows nothing.
std::string VisaTrace_HandleName(ViSession handle, uint64_t asOfSequence);
// The session an event or find list belongs to (the handle itself for a session).
ViSession VisaTrace_HandleOwner(ViSession handle, uint64_t asOfSequence);

// ---- The JSON-lines file --------------------------------------------------------------------
// Writes every record made from now on to the file, one JSON object a line, from a thread of
// its own that keeps up with the ring; 0, or -1 when the file cannot be created.
int VisaTrace_StartFile(const char* path);
// Writes what is left and closes the file.
void VisaTrace_StopFile();
// Starts the file that $TALMIK_TRACE names, once per process: 0 (also when the variable is not
// set), or -1 when the file cannot be created. Loading the VISA library calls it; a program
// that wants to report the failure calls it first.
int VisaTrace_StartFileFromEnvironment();

// ---- Recording (visalib's wrappers) ---------------------------------------------------------
namespace visatrace {

uint64_t stamp();

// One call in progress: made at its start, finished with the status and the arguments.
class Call {
public:
    explicit Call(VisaTraceFunction function) : function_(function), start_(stamp()) {}
    template <typename... Args>
    void finish(ViStatus status, Args... args) {
        const uint64_t raw[] = {toRaw(args)..., 0};
        record(status, true, raw, sizeof...(Args));
    }
    template <typename... Args>
    void finishVoid(Args... args) {
        const uint64_t raw[] = {toRaw(args)..., 0};
        record(0, false, raw, sizeof...(Args));
    }

private:
    template <typename T>
    static uint64_t toRaw(T value) {
        if constexpr (std::is_pointer_v<T>)
            return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(value));
        else if constexpr (std::is_signed_v<T>)
            return static_cast<uint64_t>(static_cast<int64_t>(value));
        else
            return static_cast<uint64_t>(value);
    }
    void record(ViStatus status, bool hasStatus, const uint64_t* raw, size_t count);

    VisaTraceFunction function_;
    uint64_t start_;
};

// The handler and user handle to give the library in place of the application's, so that the
// invocation is recorded; unchanged for a null handler.
void substituteHandler(ViSession vi, ViEventType eventType, ViHndlr* handler, ViAddr* userHandle);
// For an uninstall: the substitute installed for this handler, if any.
void findSubstitute(ViSession vi, ViEventType eventType, ViHndlr* handler, ViAddr* userHandle);

// viGetAttribute of the bound library, not recorded (visalib.cpp): the trace reads the
// completion of an asynchronous job with it.
ViStatus untracedGetAttribute(ViObject vi, ViAttr attribute, void* value);

}  // namespace visatrace

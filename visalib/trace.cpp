#include "visalib/trace.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <tuple>

#include "visalib/traceclock.h"
#include "visalib/traceformat.h"
#include "visalib/traceparams.h"

namespace visatrace {

namespace {

// ---- The ring -------------------------------------------------------------------------------
// Everything of a record but its buffers and the times made from its stamps.
void copyValues(const VisaTraceRecord& from, VisaTraceRecord* to) {
    to->sequence = from.sequence;
    to->startStamp = from.startStamp;
    to->endStamp = from.endStamp;
    to->thread = from.thread;
    to->function = from.function;
    to->flags = from.flags;
    to->status = from.status;
    to->session = from.session;
    to->handlerSequence = from.handlerSequence;
    to->argCount = from.argCount;
    to->outputsSet = from.outputsSet;
    std::memcpy(to->args, from.args, sizeof from.args);
    to->jobId = from.jobId;
    to->completionStatus = from.completionStatus;
    to->completionCount = from.completionCount;
    to->dataLength = from.dataLength;
    to->hasData = from.hasData;
}

// Records live in slots indexed by sequence modulo the capacity. A record is filled outside the
// lock in a buffer of the recording thread and swapped into its slot, so the lock is held for a
// few moves and the buffers of the record that falls off go back to that thread for reuse.
struct Ring {
    std::mutex mutex;
    std::vector<VisaTraceRecord> slots = std::vector<VisaTraceRecord>(kVisaTraceDefaultCapacity);
    uint64_t first = 1;
    uint64_t next = 1;

    VisaTraceRecord& slot(uint64_t sequence) { return slots[sequence % slots.size()]; }
    bool holds(uint64_t sequence) const { return sequence >= first && sequence < next; }

    uint64_t push(VisaTraceRecord* record) {
        std::lock_guard<std::mutex> lock(mutex);
        uint64_t sequence = next++;
        record->sequence = sequence;
        moveInto(&slot(sequence), record);
        if (next - first > slots.size()) first = next - slots.size();
        return sequence;
    }

    // The record's values into the slot, and the slot's buffers back to the record.
    static void moveInto(VisaTraceRecord* slot, VisaTraceRecord* record) {
        // Most calls carry neither text nor bytes: then the slot's buffers stay where they are.
        if (record->text.empty()) slot->text.clear();
        else slot->text.swap(record->text);
        if (record->data.empty()) slot->data.clear();
        else slot->data.swap(record->data);
        copyValues(*record, slot);
    }
};

// Never destroyed: VISA's threads may record while the program exits.
Ring& ring() {
    static Ring* r = new Ring;
    return *r;
}

std::atomic<const VisaTraceNames*> g_names{nullptr};

// ---- Threads --------------------------------------------------------------------------------
struct ThreadState {
    int32_t tid = 0;
    uint64_t handlerSequence = 0;  // the handler this thread is running, or 0
    VisaTraceRecord scratch;
};

ThreadState& threadState() {
    thread_local ThreadState state;
    if (!state.tid) state.tid = static_cast<int32_t>(syscall(SYS_gettid));
    return state;
}

// ---- Handles --------------------------------------------------------------------------------
// What the calls that made a handle said about it; a handle number that comes back later gets a
// newer note, and a record is described by the note that was current when it was made.
struct HandleNote {
    uint64_t sequence;
    ViSession owner;
    std::string name;
};

struct HandleNotes {
    std::mutex mutex;
    std::map<std::pair<ViSession, uint64_t>, HandleNote> notes;  // (handle, sequence)
};

HandleNotes& handleNotes() {
    static HandleNotes* n = new HandleNotes;
    return *n;
}

void noteHandle(ViSession handle, uint64_t sequence, ViSession owner, std::string name) {
    if (!handle) return;
    HandleNotes& h = handleNotes();
    // Events come and go by the thousand: now and then those no record held any more refers to
    // are forgotten. Sessions stay known, since their calls may outlive the call that opened them.
    static std::atomic<unsigned> events{0};
    uint64_t first = 0;
    if (owner != handle && ++events % 4096 == 0) {
        Ring& r = ring();
        std::lock_guard<std::mutex> lock(r.mutex);
        first = r.first;
    }
    std::lock_guard<std::mutex> lock(h.mutex);
    h.notes[{handle, sequence}] = HandleNote{sequence, owner, std::move(name)};
    if (first)
        std::erase_if(h.notes, [first](const auto& n) { return n.second.owner != n.first.first && n.second.sequence < first; });
}

const HandleNote* currentNote(HandleNotes& h, ViSession handle, uint64_t asOf) {
    auto it = h.notes.upper_bound({handle, asOf});
    if (it == h.notes.begin()) return nullptr;
    --it;
    return it->first.first == handle ? &it->second : nullptr;
}

// ---- Recording ------------------------------------------------------------------------------
std::string_view textAt(const VisaTraceRecord& r, uint64_t raw) {
    size_t offset = static_cast<size_t>(raw >> 32), length = static_cast<size_t>(raw & 0xFFFFFFFF);
    if (offset > r.text.size() || length > r.text.size() - offset) return {};
    return std::string_view(r.text).substr(offset, length);
}

uint64_t keepText(VisaTraceRecord* r, const char* text, size_t limit) {
    size_t length = strnlen(text, limit);
    uint64_t raw = (static_cast<uint64_t>(r->text.size()) << 32) | length;
    r->text.append(text, length);
    return raw;
}

uint64_t readUnsigned(const void* p, int width) {
    switch (width) {
        case 1: { uint8_t v; std::memcpy(&v, p, 1); return v; }
        case 2: { uint16_t v; std::memcpy(&v, p, 2); return v; }
        case 4: { uint32_t v; std::memcpy(&v, p, 4); return v; }
        default: { uint64_t v; std::memcpy(&v, p, 8); return v; }
    }
}

void keepData(VisaTraceRecord* r, const void* bytes, uint64_t length) {
    r->hasData = true;
    r->dataLength = length;
    size_t kept = static_cast<size_t>(std::min<uint64_t>(length, kVisaTraceDataLimit));
    const auto* b = static_cast<const unsigned char*>(bytes);
    r->data.assign(b, b + kept);
}

// The completion of an asynchronous job, read from its event as the application would.
void keepCompletion(VisaTraceRecord* r, ViEvent event) {
    uint64_t job = 0, status = 0, count = 0, buffer = 0;
    if (untracedGetAttribute(event, VI_ATTR_JOB_ID, &job) < VI_SUCCESS) return;
    untracedGetAttribute(event, VI_ATTR_STATUS, &status);
    untracedGetAttribute(event, VI_ATTR_RET_COUNT, &count);
    r->flags |= kVisaTraceCompletion;
    r->jobId = static_cast<ViJobId>(job);
    r->completionStatus = static_cast<ViStatus>(static_cast<uint32_t>(status));
    r->completionCount = count;
    if (untracedGetAttribute(event, VI_ATTR_BUFFER, &buffer) >= VI_SUCCESS && buffer)
        keepData(r, reinterpret_cast<const void*>(static_cast<uintptr_t>(buffer)), count);
}

bool outputReadable(const ArgSpec& a, ViStatus status, bool hasStatus) {
    return !hasStatus || status >= VI_SUCCESS || a.setOnFailure;
}

// Replaces pointers by what they point to, copies texts and the data buffer.
void resolveArguments(VisaTraceRecord* r, const FunctionSpec& f, const uint64_t* raw) {
    const VisaTraceNames* names = g_names.load(std::memory_order_acquire);
    for (int i = 0; i < r->argCount; ++i) {
        const ArgSpec& a = f.args[i];
        uint64_t v = raw[i];
        const void* p = reinterpret_cast<const void*>(static_cast<uintptr_t>(v));
        r->args[i] = v;
        switch (a.kind) {
            case ArgKind::OutHandle:
            case ArgKind::OutUnsigned:
            case ArgKind::OutPointer:
            case ArgKind::OutEventType:
                if (p && outputReadable(a, r->status, r->flags & kVisaTraceHasStatus)) {
                    r->args[i] = readUnsigned(p, a.width);
                    r->outputsSet |= static_cast<uint16_t>(1u << i);
                }
                break;
            case ArgKind::InText:
                r->args[i] = p ? keepText(r, static_cast<const char*>(p), kInTextLimit) : 0;
                if (p) r->outputsSet |= static_cast<uint16_t>(1u << i);  // marks "a text was given"
                break;
            case ArgKind::OutText:
                if (p && r->status >= VI_SUCCESS) {
                    r->args[i] = keepText(r, static_cast<const char*>(p), kOutTextLimit);
                    r->outputsSet |= static_cast<uint16_t>(1u << i);
                }
                break;
            case ArgKind::AttrValue: {
                int size = names && names->attributeSize ? names->attributeSize(static_cast<ViAttr>(raw[1])) : -1;
                if (!p || r->status < VI_SUCCESS || size < 0) break;
                r->args[i] = size == 0 ? keepText(r, static_cast<const char*>(p), kOutTextLimit)
                                       : readUnsigned(p, size);
                r->outputsSet |= static_cast<uint16_t>(1u << i);
                break;
            }
            default: break;
        }
    }
    if (f.buffer >= 0 && f.length >= 0) {
        const void* buffer = reinterpret_cast<const void*>(static_cast<uintptr_t>(raw[f.buffer]));
        bool given = f.args[f.buffer].kind == ArgKind::InBuffer;
        bool known = given || (f.lengthIsOutput ? (r->outputsSet & (1u << f.length)) != 0
                                                : r->status >= VI_SUCCESS);
        uint64_t count = r->args[f.length];
        // What the call returns never exceeds what it was given room for.
        if (f.capacity >= 0) count = std::min(count, raw[f.capacity]);
        if (buffer && known) keepData(r, buffer, count * f.elementWidth);
    }
}

// What some calls teach about the handles they make: taken from a record before it goes into
// the ring, noted under the sequence it got there.
struct Note {
    ViSession handle = 0;
    ViSession owner = 0;
    std::string name;
};

Note noteOf(const VisaTraceRecord& r) {
    Note n;
    if (r.function != VisaTrace_handler && r.status < VI_SUCCESS) return n;
    auto out = [&](int i) { return (r.outputsSet & (1u << i)) ? static_cast<ViSession>(r.args[i]) : 0; };
    switch (r.function) {
        case VisaTrace_viOpenDefaultRM: n = {out(0), out(0), "resource manager"}; break;
        case VisaTrace_viOpen: n = {out(4), out(4), std::string(textAt(r, r.args[1]))}; break;
        case VisaTrace_viFindRsrc: n = {out(2), r.session, "find list"}; break;
        case VisaTrace_viWaitOnEvent: n = {out(4), r.session, "event"}; break;
        case VisaTrace_handler: n = {static_cast<ViSession>(r.args[2]), r.session, "event"}; break;
        default: break;
    }
    return n;
}

void fillCommon(VisaTraceRecord* r, VisaTraceFunction function, uint64_t start, ThreadState& t) {
    r->function = function;
    r->startStamp = start;
    r->endStamp = start;
    r->thread = t.tid;
    r->handlerSequence = t.handlerSequence;
    r->flags = t.handlerSequence ? kVisaTraceInHandler : 0;
    r->outputsSet = 0;
    r->text.clear();
    r->hasData = false;
    r->dataLength = 0;
    r->data.clear();
    r->jobId = 0;
    r->completionStatus = 0;
    r->completionCount = 0;
}

// ---- Handlers -------------------------------------------------------------------------------
struct Substitute {
    ViHndlr handler;
    ViAddr userHandle;
};

struct Substitutes {
    std::mutex mutex;
    // Kept for the life of the program: VISA may still run a handler after its uninstall.
    std::map<std::tuple<ViSession, ViEventType, ViHndlr, ViAddr>, std::unique_ptr<Substitute>> byKey;
};

Substitutes& substitutes() {
    static Substitutes* s = new Substitutes;
    return *s;
}

ViStatus _VI_FUNCH recordingHandler(ViSession vi, ViEventType eventType, ViEvent context, ViAddr userHandle) {
    const Substitute* s = static_cast<const Substitute*>(userHandle);
    ThreadState& t = threadState();
    VisaTraceRecord& r = t.scratch;
    uint64_t start = stamp();
    fillCommon(&r, VisaTrace_handler, start, t);
    r.flags |= kVisaTraceHasStatus | kVisaTraceRunning;
    r.status = VI_SUCCESS;
    r.session = vi;
    r.argCount = 4;
    r.args[0] = vi;
    r.args[1] = eventType;
    r.args[2] = context;
    r.args[3] = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(s->userHandle));
    if (eventType == VI_EVENT_IO_COMPLETION) keepCompletion(&r, context);
    Note note = noteOf(r);
    uint64_t sequence = ring().push(&r);
    noteHandle(note.handle, sequence, note.owner, std::move(note.name));

    uint64_t outer = t.handlerSequence;
    t.handlerSequence = sequence;
    ViStatus status = s->handler(vi, eventType, context, s->userHandle);
    t.handlerSequence = outer;

    // The invocation is listed where it began; its end completes that record.
    Ring& g = ring();
    std::lock_guard<std::mutex> lock(g.mutex);
    if (g.holds(sequence)) {
        VisaTraceRecord& done = g.slot(sequence);
        done.endStamp = stamp();
        done.status = status;
        done.flags &= static_cast<uint16_t>(~kVisaTraceRunning);
    }
    return status;
}

// ---- The JSON-lines file --------------------------------------------------------------------
struct FileWriter {
    std::mutex mutex;  // guards everything below
    std::condition_variable wake;
    std::thread thread;
    FILE* file = nullptr;
    bool stop = false;
    uint64_t written = 0;  // the next sequence to write
    std::atomic<bool> active{false};

    ~FileWriter() { close(); }

    // Writes the records made since the last pass; those still running wait for their end
    // unless the ring is about to lose them.
    void writeAvailable(bool final) {
        uint64_t first = 0, next = 0;
        VisaTrace_Range(&first, &next);
        if (written < first) {
            std::fprintf(file, "{\"lost\":%llu}\n", static_cast<unsigned long long>(first - written));
            written = first;
        }
        VisaTraceRecord r;
        size_t capacity = VisaTrace_Capacity();
        while (written < next) {
            if (!VisaTrace_Get(written, &r)) {
                ++written;
                continue;
            }
            bool urgent = next - written > capacity / 2;
            if ((r.flags & kVisaTraceRunning) && !final && !urgent) break;
            std::string line = VisaTrace_Json(r);
            line += '\n';
            std::fwrite(line.data(), 1, line.size(), file);
            ++written;
        }
        std::fflush(file);
    }

    void run() {
        std::unique_lock<std::mutex> lock(mutex);
        while (!stop) {
            wake.wait_for(lock, std::chrono::milliseconds(100));
            writeAvailable(false);
        }
    }

    int open(const char* path) {
        close();
        std::lock_guard<std::mutex> lock(mutex);
        file = std::fopen(path, "w");
        if (!file) return -1;
        uint64_t first = 0;
        VisaTrace_Range(&first, &written);
        stop = false;
        active.store(true);
        thread = std::thread([this] { run(); });
        return 0;
    }

    void close() {
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (!file) return;
            stop = true;
        }
        wake.notify_one();
        if (thread.joinable()) thread.join();
        std::lock_guard<std::mutex> lock(mutex);
        writeAvailable(true);
        std::fclose(file);
        file = nullptr;
        active.store(false);
    }

    // From the recording path: a writer that falls behind is woken early.
    void nudge(uint64_t sequence) {
        if (!active.load(std::memory_order_relaxed)) return;
        if (sequence % 64 == 0) wake.notify_one();
    }
};

// Destroyed at exit, which writes what is left.
FileWriter g_writer;

}  // namespace

void Call::record(ViStatus status, bool hasStatus, const uint64_t* raw, size_t count) {
    uint64_t end = stamp();
    anchorIfDue(end);
    ThreadState& t = threadState();
    VisaTraceRecord& r = t.scratch;
    const FunctionSpec& f = functionSpec(function_);
    fillCommon(&r, function_, start_, t);
    r.endStamp = end;
    r.status = status;
    if (hasStatus) r.flags |= kVisaTraceHasStatus;
    r.argCount = static_cast<uint8_t>(std::min<size_t>(count, kVisaTraceMaxArgs));
    // The session a call acts on is its first argument; viOpenDefaultRM and viGetDefaultRM have none.
    r.session = count && f.args[0].kind == ArgKind::Handle ? static_cast<ViSession>(raw[0]) : 0;
    resolveArguments(&r, f, raw);
    if (function_ == VisaTrace_viWaitOnEvent && status >= VI_SUCCESS && (r.outputsSet & 0x18) == 0x18 &&
        r.args[3] == VI_EVENT_IO_COMPLETION)
        keepCompletion(&r, static_cast<ViEvent>(r.args[4]));
    bool notable = function_ == VisaTrace_viOpenDefaultRM || function_ == VisaTrace_viOpen ||
                   function_ == VisaTrace_viFindRsrc || function_ == VisaTrace_viWaitOnEvent;
    if (!notable) {
        g_writer.nudge(ring().push(&r));
        return;
    }
    Note note = noteOf(r);
    uint64_t sequence = ring().push(&r);
    noteHandle(note.handle, sequence, note.owner, std::move(note.name));
    g_writer.nudge(sequence);
}

void substituteHandler(ViSession vi, ViEventType eventType, ViHndlr* handler, ViAddr* userHandle) {
    if (!*handler) return;
    Substitutes& s = substitutes();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto& slot = s.byKey[{vi, eventType, *handler, *userHandle}];
    if (!slot) slot = std::make_unique<Substitute>(Substitute{*handler, *userHandle});
    *handler = recordingHandler;
    *userHandle = slot.get();
}

void findSubstitute(ViSession vi, ViEventType eventType, ViHndlr* handler, ViAddr* userHandle) {
    if (!*handler) return;
    Substitutes& s = substitutes();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto it = s.byKey.find({vi, eventType, *handler, *userHandle});
    if (it == s.byKey.end()) return;
    *handler = recordingHandler;
    *userHandle = it->second.get();
}

}  // namespace visatrace

int VisaTrace_StartFileFromEnvironment() {
    static std::once_flag once;
    static int result = 0;
    std::call_once(once, [] {
        const char* path = std::getenv("TALMIK_TRACE");
        if (path && *path) result = VisaTrace_StartFile(path);
    });
    return result;
}

using namespace visatrace;

void VisaTrace_SetNames(const VisaTraceNames* names) { g_names.store(names, std::memory_order_release); }

const VisaTraceNames* VisaTrace_Names() { return g_names.load(std::memory_order_acquire); }

void VisaTrace_Range(uint64_t* first, uint64_t* next) {
    Ring& r = ring();
    std::lock_guard<std::mutex> lock(r.mutex);
    *first = r.first;
    *next = r.next;
}

namespace {

bool copyRecord(uint64_t sequence, VisaTraceRecord* out) {
    Ring& r = ring();
    std::lock_guard<std::mutex> lock(r.mutex);
    if (!r.holds(sequence)) return false;
    const VisaTraceRecord& s = r.slot(sequence);
    // Assigned, not replaced, so that out keeps the capacity of its buffers.
    out->data.assign(s.data.begin(), s.data.end());
    out->text.assign(s.text);
    copyValues(s, out);
    return true;
}

}  // namespace

bool VisaTrace_Get(uint64_t sequence, VisaTraceRecord* out) {
    if (!copyRecord(sequence, out)) return false;
    out->wallNs = wallOfStamp(out->startStamp);
    out->durationNs = nanosecondsBetween(out->startStamp, out->endStamp);
    return true;
}

uint64_t VisaTrace_Scan(uint64_t from, size_t maxCount, void (*visit)(const VisaTraceRecord&, void*),
                        void* data) {
    Ring& r = ring();
    std::lock_guard<std::mutex> lock(r.mutex);
    uint64_t s = std::max(from, r.first);
    for (size_t n = 0; s < r.next && n < maxCount; ++s, ++n) visit(r.slot(s), data);
    return s;
}

void VisaTrace_Clear() {
    Ring& r = ring();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.first = r.next;
}

int VisaTrace_SetCapacity(size_t records) {
    if (records < kVisaTraceMinCapacity || records > kVisaTraceMaxCapacity) return -1;
    Ring& r = ring();
    std::lock_guard<std::mutex> lock(r.mutex);
    if (records == r.slots.size()) return 0;
    std::vector<VisaTraceRecord> slots(records);
    uint64_t first = std::max(r.first, r.next - std::min<uint64_t>(r.next - r.first, records));
    for (uint64_t s = first; s < r.next; ++s) std::swap(slots[s % records], r.slot(s));
    r.slots.swap(slots);
    r.first = first;
    return 0;
}

size_t VisaTrace_Capacity() {
    Ring& r = ring();
    std::lock_guard<std::mutex> lock(r.mutex);
    return r.slots.size();
}

std::string VisaTrace_HandleName(ViSession handle, uint64_t asOfSequence) {
    HandleNotes& h = handleNotes();
    std::lock_guard<std::mutex> lock(h.mutex);
    const HandleNote* n = currentNote(h, handle, asOfSequence);
    return n ? n->name : std::string();
}

ViSession VisaTrace_HandleOwner(ViSession handle, uint64_t asOfSequence) {
    HandleNotes& h = handleNotes();
    std::lock_guard<std::mutex> lock(h.mutex);
    const HandleNote* n = currentNote(h, handle, asOfSequence);
    return n ? n->owner : handle;
}

int VisaTrace_StartFile(const char* path) { return path ? g_writer.open(path) : -1; }

void VisaTrace_StopFile() { g_writer.close(); }

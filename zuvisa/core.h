// The objects behind VISA handles, the handle table, and the library-wide state: the loaded
// bridgelets (the backend) and the resources whose locks all sessions of the process share.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "zuvisa/attributes.h"
#include "zuvisa/bridgelet.h"
#include "zuvisa/config.h"
#include "zuvisa/rsrcname.h"
#include "zuvisa/visa.h"

namespace zuvisa {

enum class ObjType { Rm, Session, FindList, Event };

struct Object {
    explicit Object(ObjType t) : type(t) {}
    virtual ~Object() = default;
    const ObjType type;
    ViObject handle = 0;
};

// Handles carry a generation counter, so a handle that was closed (even if its slot is used
// again) is recognised as stale.
class HandleTable {
public:
    ViObject add(std::shared_ptr<Object> obj);  // 0 when the table is full
    std::shared_ptr<Object> get(ViObject h) const;
    std::shared_ptr<Object> take(ViObject h);   // removes the handle
    size_t size() const;

private:
    struct Slot {
        uint32_t generation = 1;
        std::shared_ptr<Object> obj;
    };
    mutable std::mutex m_;
    std::vector<Slot> slots_;
    std::deque<uint32_t> free_;  // oldest first, so a slot rests long before it is reused
};

// Attribute values of one object, each stored at its full 64-bit width.
class AttrStore {
public:
    void setNumber(ViAttr a, ViAttrState v);
    void setText(ViAttr a, std::string v);
    bool number(ViAttr a, ViAttrState* v) const;
    bool text(ViAttr a, std::string* v) const;
    ViAttrState numberOr(ViAttr a, ViAttrState fallback) const;

private:
    mutable std::mutex m_;
    std::unordered_map<ViAttr, ViAttrState> numbers_;
    std::unordered_map<ViAttr, std::string> texts_;
};

// A resource as found by a bridgelet.
struct Found {
    ResourceName name;
    ResourceInfo info;
    size_t bridgelet = 0;
};

// The configuration and the bridgelets loaded from it. Sessions keep it alive, so a bridgelet
// outlives every link it opened.
struct Backend {
    Config config;
    std::vector<std::unique_ptr<Bridgelet>> bridgelets;
    ViStatus loadStatus = VI_SUCCESS;
    std::vector<std::string> problems;

    std::mutex catalogMutex;
    std::vector<Found> catalog;  // last enumeration
    bool catalogValid = false;

    std::vector<Found> enumerate();  // fresh enumeration, also refreshes the catalog
    // Where viOpen looks a name up: the last find's catalog, else what the bridgelets know
    // without searching the network (a LAN search waits most of a second for answers).
    bool lookup(const std::string& canonical, Found* out);
    // Resolves an alias (case-insensitive) and parses; *alias gets the alias that names the
    // resource, if any.
    ViStatus resolve(const std::string& text, ResourceName* name, std::string* alias) const;
};

struct Session;

// Lock state of one resource, shared by every session of the process that opens it.
struct Resource {
    std::string name;
    std::mutex m;
    std::condition_variable cv;
    Session* exclusiveOwner = nullptr;
    std::string sharedKey;
    int sharedHolders = 0;
};

struct RmObject : Object {
    RmObject() : Object(ObjType::Rm) {}
    std::shared_ptr<Backend> backend;
    AttrStore attrs;
    std::mutex childMutex;
    std::set<ViObject> children;
};

struct FindListObject : Object {
    FindListObject() : Object(ObjType::FindList) {}
    ViSession rm = 0;
    std::vector<std::string> names;
    size_t next = 0;
    std::mutex m;
    ViInt32 vxiRmStatus = 0;
    long failAfter = -1;  // names handed out before viFindNext fails (-1: never)
    ViStatus failStatus = VI_SUCCESS;
};

struct EventObject : Object {
    EventObject() : Object(ObjType::Event) {}
    ViSession session = 0;
    EventData data;
};

struct HandlerEntry {
    ViHndlr fn;
    ViAddr user;
};

struct EventState {
    std::mutex m;
    std::condition_variable cv;
    std::map<ViEventType, uint16_t> mechanisms;  // VI_QUEUE | VI_HNDLR | VI_SUSPEND_HNDLR
    std::map<ViEventType, std::vector<HandlerEntry>> handlers;
    std::deque<EventData> queue;
    bool overflow = false;
    std::deque<EventData> suspended;
    std::deque<EventData> dispatch;
    std::thread worker;
    bool stop = false;
    int waiters = 0;
    std::set<ViEvent> contexts;  // contexts handed out by viWaitOnEvent
};

// A block move as viMoveAsync asks for it; widths in bits.
struct MoveRequest {
    ViUInt16 srcSpace = 0;
    ViBusAddress64 srcOffset = 0;
    int srcWidth = 0;
    ViUInt16 destSpace = 0;
    ViBusAddress64 destOffset = 0;
    int destWidth = 0;
    ViBusSize length = 0;
};

struct Job {
    enum class Kind { Read, Write, Move };
    ViJobId id = 0;
    Kind kind = Kind::Read;
    const char* operation = "";  // VI_ATTR_OPER_NAME of the completion
    ViByte* readBuf = nullptr;
    const ViByte* writeBuf = nullptr;
    ViUInt32 count = 0;
    MoveRequest move;
    std::atomic<bool> cancel{false};
};

struct AsyncState {
    std::mutex m;
    std::condition_variable cv;
    std::deque<std::shared_ptr<Job>> pending;
    std::shared_ptr<Job> running;
    std::thread worker;
    bool stop = false;
};

struct Session : Object, EventSink, std::enable_shared_from_this<Session> {
    Session() : Object(ObjType::Session) {}
    ~Session() override;

    std::shared_ptr<Backend> backend;
    ViSession rm = 0;
    ResourceName name;
    uint32_t kind = 0;
    std::shared_ptr<Resource> resource;
    std::unique_ptr<Link> link;
    AttrStore attrs;

    std::mutex ioMutex;  // one I/O operation of this session at a time
    std::atomic<bool> closing{false};
    ViUInt32 timeoutMs() const { return static_cast<ViUInt32>(attrs.numberOr(VI_ATTR_TMO_VALUE, 2000)); }

    // Formatted I/O buffers, guarded by ioMutex.
    std::vector<ViByte> readBuf;
    size_t readPos = 0, readEnd = 0;
    ViStatus readFillStatus = VI_SUCCESS;
    size_t readBufSize = 4096;
    std::vector<ViByte> writeBuf;
    size_t writeBufSize = 4096;

    // Lock counts of this session, guarded by resource->m.
    int exclusiveLocks = 0;
    int sharedLocks = 0;

    // Shared with the session's worker threads, which may outlive the session by a moment.
    std::shared_ptr<EventState> events = std::make_shared<EventState>();
    std::shared_ptr<AsyncState> async = std::make_shared<AsyncState>();

    void raise(const EventData& event) override;
};

// Process-wide state.
class Library {
public:
    static Library& instance();

    HandleTable handles;

    // Loads the configuration and bridgelets when the first resource manager opens; later
    // resource managers share them. *status gets the load status (a warning when part of the
    // configuration did not load).
    std::shared_ptr<Backend> openBackend(ViStatus* status);
    void closeBackend();

    std::shared_ptr<Resource> resource(const std::string& canonical);
    ViJobId nextJobId();
    // The folder of the image that holds the library (libzuvisa.so or a program linking it).
    static std::string imageDirectory();

private:
    std::mutex m_;
    std::shared_ptr<Backend> backend_;
    int rmCount_ = 0;
    std::map<std::string, std::weak_ptr<Resource>> resources_;
    std::atomic<ViJobId> nextJob_{1};
};

// Helpers used by the API layer.
template <typename T>
std::shared_ptr<T> objectAs(ViObject h, ObjType type) {
    std::shared_ptr<Object> o = Library::instance().handles.get(h);
    if (!o || o->type != type) return nullptr;
    return std::static_pointer_cast<T>(o);
}

std::shared_ptr<Backend> loadBackend();
// Attribute values a session on this resource starts with, also used to evaluate find clauses.
void initialAttributes(const ResourceName& name, uint32_t kind, const ResourceInfo& info,
                       AttrStore* store);

}  // namespace zuvisa

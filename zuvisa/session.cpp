// Sessions: open and close, attributes, locks, message-based and buffered I/O, files and
// asynchronous jobs.
#include "zuvisa/session.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "zuvisa/log.h"
#include "zuvisa/status.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa {

namespace {

ViUInt32 timeoutOf(const Session& s) { return s.timeoutMs(); }

ReadOptions readOptionsOf(const Session& s) {
    ReadOptions o;
    o.termCharEnabled = s.attrs.numberOr(VI_ATTR_TERMCHAR_EN, VI_FALSE) != VI_FALSE;
    o.termChar = static_cast<ViUInt8>(s.attrs.numberOr(VI_ATTR_TERMCHAR, '\n'));
    o.suppressEnd = s.attrs.numberOr(VI_ATTR_SUPPRESS_END_EN, VI_FALSE) != VI_FALSE;
    if (s.name.intfType == VI_INTF_ASRL &&
        s.attrs.numberOr(VI_ATTR_ASRL_END_IN, VI_ASRL_END_TERMCHAR) == VI_ASRL_END_TERMCHAR) {
        o.termCharEnabled = true;
    }
    return o;
}

std::string generateKey() {
    static std::atomic<unsigned> counter{1};
    char buf[64];
    snprintf(buf, sizeof buf, "zuvisa-key-%u-%u", static_cast<unsigned>(getpid()), counter.fetch_add(1));
    return buf;
}

// A lock that the resource keeps itself, asked for once this process granted it.
ViStatus remoteLock(Session& s, ViAccessMode type, const IoControl& limit, const std::string& key) {
    if (!s.link) return VI_SUCCESS;
    ViUInt32 left = VI_TMO_INFINITE;
    if (!limit.infinite) {
        auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(limit.deadline - Clock::now()).count();
        left = ms > 0 ? static_cast<ViUInt32>(ms) : 0;
    }
    std::lock_guard<std::mutex> io(s.ioMutex);
    return s.link->lock(type, left, key);
}

// Lock grants, with resource->m held.
bool canLockExclusive(const Resource& r, const Session& s) {
    if (r.exclusiveOwner && r.exclusiveOwner != &s) return false;
    int othersShared = r.sharedHolders - (s.sharedLocks > 0 ? 1 : 0);
    return othersShared == 0;
}

}  // namespace

Session::~Session() {
    // The link goes first: after it, no bridgelet thread can raise an event into this session.
    link.reset();
    stopJobs(*this);
    stopEvents(*this);
}

void Session::raise(const EventData& event) {
    if (closing.load()) return;
    EventState& ev = *events;
    std::lock_guard<std::mutex> lock(ev.m);
    if (ev.stop) return;
    auto it = ev.mechanisms.find(event.type);
    if (it == ev.mechanisms.end() || it->second == 0) return;
    size_t maxLen = static_cast<size_t>(attrs.numberOr(VI_ATTR_MAX_QUEUE_LENGTH, 50));
    if (it->second & VI_QUEUE) {
        if (ev.queue.size() < maxLen) ev.queue.push_back(event);
        else ev.overflow = true;
    }
    if (it->second & VI_HNDLR) {
        ev.dispatch.push_back(event);
        startEventWorker(*this);
    } else if (it->second & VI_SUSPEND_HNDLR) {
        if (ev.suspended.size() < maxLen) ev.suspended.push_back(event);
    }
    ev.cv.notify_all();
}

// ---- open and close --------------------------------------------------------------------------

namespace {

// VI_LOAD_CONFIG: the attribute values the configuration stores for the resource. One that
// cannot be applied is logged and makes the open answer VI_WARN_CONFIG_NLOADED.
ViStatus loadStoredAttributes(Session& s) {
    ViStatus result = VI_SUCCESS;
    for (const auto& [name, text] : storedAttributes(s.backend->config, s.name)) {
        const AttrDef* d = findAttrByName(name);
        ViAttrState v = 0;
        ViStatus st = !d                          ? VI_ERROR_NSUP_ATTR
                      : !parseAttrValue(text, &v) ? VI_ERROR_NSUP_ATTR_STATE
                                                  : setSessionAttribute(s, d->id, v);
        if (st < 0) {
            const StatusInfo* info = findStatus(st);
            logLine(ZUVISA_LOG_WARNING, s.name.canonical + ": the stored " + name + " = " + text + " was not applied (" +
                                            (info ? info->name : "error") + ")");
            result = VI_WARN_CONFIG_NLOADED;
        }
    }
    return result;
}

}  // namespace

ViStatus openSession(const std::shared_ptr<RmObject>& rm, const std::string& text,
                     ViAccessMode mode, ViUInt32 timeout, ViSession* out) {
    if (mode & ~static_cast<ViAccessMode>(VI_EXCLUSIVE_LOCK | VI_SHARED_LOCK | VI_LOAD_CONFIG)) {
        return VI_ERROR_INV_ACC_MODE;
    }
    if ((mode & VI_EXCLUSIVE_LOCK) && (mode & VI_SHARED_LOCK)) return VI_ERROR_INV_ACC_MODE;
    Backend& backend = *rm->backend;
    ResourceName rn;
    ViStatus st = backend.resolve(text, &rn, nullptr);
    if (st != VI_SUCCESS) return st;
    uint32_t kind = kindOf(rn.intfType, rn.rsrcClass);
    if (!kind) return VI_ERROR_INV_RSRC_NAME;

    auto s = std::make_shared<Session>();
    s->backend = rm->backend;
    s->rm = rm->handle;
    s->name = rn;
    s->kind = kind;

    Found found;
    bool known = backend.lookup(rn.canonical, &found);
    // A resource opened by another spelling of its name goes by the name it is listed under.
    int requestedSecondary = rn.secondary;
    if (known) {
        rn = found.name;
        s->name = rn;
    }
    ViStatus openStatus = VI_ERROR_RSRC_NFOUND;
    try {
        if (known) {
            openStatus = backend.bridgelets[found.bridgelet]->open(found.name.canonical, timeout, s.get(), &s->link);
        } else {
            for (auto& b : backend.bridgelets) {
                openStatus = b->open(rn.canonical, timeout, s.get(), &s->link);
                if (openStatus != VI_ERROR_RSRC_NFOUND) break;
            }
        }
    } catch (...) {
        openStatus = VI_ERROR_SYSTEM_ERROR;
    }
    if (openStatus < 0) return openStatus;
    if (!s->link) return VI_ERROR_SYSTEM_ERROR;

    initialAttributes(rn, kind, known ? found.info : ResourceInfo{}, &s->attrs);
    if (requestedSecondary >= 0) {
        s->attrs.setNumber(VI_ATTR_GPIB_SECONDARY_ADDR, static_cast<ViAttrState>(requestedSecondary));
    }
    s->attrs.setNumber(VI_ATTR_RM_SESSION, rm->handle);
    s->resource = Library::instance().resource(rn.canonical);
    ViStatus configStatus = (mode & VI_LOAD_CONFIG) ? loadStoredAttributes(*s) : VI_SUCCESS;

    ViSession h = Library::instance().handles.add(s);
    if (!h) return VI_ERROR_ALLOC;

    if (mode & (VI_EXCLUSIVE_LOCK | VI_SHARED_LOCK)) {
        char key[VI_FIND_BUFLEN];
        ViStatus ls = lockSession(*s, (mode & VI_EXCLUSIVE_LOCK) ? VI_EXCLUSIVE_LOCK : VI_SHARED_LOCK,
                                  timeout, nullptr, key);
        if (ls < 0) {
            Library::instance().handles.take(h);
            shutdownSession(s);
            return ls == VI_ERROR_TMO ? VI_ERROR_RSRC_LOCKED : ls;
        }
    }
    {
        std::lock_guard<std::mutex> lock(rm->childMutex);
        rm->children.insert(h);
    }
    *out = h;
    return openStatus != VI_SUCCESS ? openStatus : configStatus;
}

void shutdownSession(const std::shared_ptr<Session>& s) {
    s->closing = true;
    stopJobs(*s);
    stopEvents(*s);
    releaseLocks(*s);
}

// ---- attributes ------------------------------------------------------------------------------

ViStatus getSessionAttribute(Session& s, ViAttr attr, void* out) {
    const AttrDef* d = findAttr(attr, s.kind);
    if (!d) return VI_ERROR_NSUP_ATTR;
    ViAttrState v = 0;
    std::string text;
    if (attr == VI_ATTR_RSRC_LOCK_STATE) {
        std::lock_guard<std::mutex> lock(s.resource->m);
        v = s.resource->exclusiveOwner ? VI_EXCLUSIVE_LOCK
                                       : (s.resource->sharedHolders ? VI_SHARED_LOCK : VI_NO_LOCK);
    } else if (attr == VI_ATTR_USER_DATA_32) {
        v = s.attrs.numberOr(VI_ATTR_USER_DATA_64, 0);
    } else {
        bool answered = false;
        if (d->resourceOwned && s.link) {
            ViStatus st = s.link->getAttribute(attr, &v, &text);
            if (st == VI_SUCCESS) answered = true;
            else if (st != VI_ERROR_NSUP_ATTR) return st;
        }
        if (!answered) {
            if (d->type == AttrType::Text) s.attrs.text(attr, &text);
            else v = s.attrs.numberOr(attr, d->initial);
        }
    }
    storeAttr(d->type, narrow(d->type, v), text, out);
    return VI_SUCCESS;
}

ViStatus setSessionAttribute(Session& s, ViAttr attr, ViAttrState value) {
    const AttrDef* d = findAttr(attr, s.kind);
    if (!d) return VI_ERROR_NSUP_ATTR;
    if (!d->writable) return VI_ERROR_ATTR_READONLY;
    // A value that does not fit is refused, never cut down to something else.
    if (!fitsAttr(d->type, value)) return VI_ERROR_NSUP_ATTR_STATE;
    ViAttrState v = narrow(d->type, value);
    if (d->accepts && !d->accepts(v)) return VI_ERROR_NSUP_ATTR_STATE;
    if (d->resourceOwned && s.link) {
        ViStatus st = s.link->setAttribute(attr, v);
        if (st < 0) return st;
    }
    if (attr == VI_ATTR_USER_DATA_32) attr = VI_ATTR_USER_DATA_64;
    s.attrs.setNumber(attr, v);
    return VI_SUCCESS;
}

ViStatus getRmAttribute(RmObject& rm, ViAttr attr, void* out) {
    const AttrDef* d = findAttr(attr, kKindRm);
    if (!d) return VI_ERROR_NSUP_ATTR;
    ViAttrState v = 0;
    std::string text;
    if (attr == VI_ATTR_USER_DATA_32) attr = VI_ATTR_USER_DATA_64;
    if (d->type == AttrType::Text) rm.attrs.text(attr, &text);
    else v = rm.attrs.numberOr(attr, d->initial);
    storeAttr(d->type, narrow(d->type, v), text, out);
    return VI_SUCCESS;
}

ViStatus setRmAttribute(RmObject& rm, ViAttr attr, ViAttrState value) {
    const AttrDef* d = findAttr(attr, kKindRm);
    if (!d) return VI_ERROR_NSUP_ATTR;
    if (!d->writable) return VI_ERROR_ATTR_READONLY;
    // A value that does not fit is refused, never cut down to something else.
    if (!fitsAttr(d->type, value)) return VI_ERROR_NSUP_ATTR_STATE;
    ViAttrState v = narrow(d->type, value);
    if (d->accepts && !d->accepts(v)) return VI_ERROR_NSUP_ATTR_STATE;
    if (attr == VI_ATTR_USER_DATA_32) attr = VI_ATTR_USER_DATA_64;
    rm.attrs.setNumber(attr, v);
    return VI_SUCCESS;
}

// ---- locks -----------------------------------------------------------------------------------

ViStatus lockSession(Session& s, ViAccessMode type, ViUInt32 timeout, const char* requestedKey,
                     char* accessKey) {
    if (type != VI_EXCLUSIVE_LOCK && type != VI_SHARED_LOCK) return VI_ERROR_INV_LOCK_TYPE;
    std::string wanted = requestedKey ? std::string(requestedKey) : std::string();
    if (wanted.size() >= VI_FIND_BUFLEN) return VI_ERROR_INV_ACCESS_KEY;
    Resource& r = *s.resource;
    IoControl limit = IoControl::fromTimeout(timeout, nullptr);
    std::unique_lock<std::mutex> lock(r.m);

    if (type == VI_EXCLUSIVE_LOCK) {
        while (!canLockExclusive(r, s)) {
            if (s.closing || timeout == VI_TMO_IMMEDIATE || limit.expired()) return VI_ERROR_TMO;
            if (limit.infinite) r.cv.wait(lock);
            else r.cv.wait_until(lock, limit.deadline);
        }
        bool nested = s.exclusiveLocks > 0;
        ++s.exclusiveLocks;
        r.exclusiveOwner = &s;
        if (nested) return VI_SUCCESS_NESTED_EXCLUSIVE;
        lock.unlock();
        ViStatus st = remoteLock(s, VI_EXCLUSIVE_LOCK, limit, std::string());
        if (st < 0) {
            lock.lock();
            if (--s.exclusiveLocks == 0) r.exclusiveOwner = nullptr;
            r.cv.notify_all();
        }
        return st < 0 ? st : VI_SUCCESS;
    }

    if (s.sharedLocks > 0) {
        if (!wanted.empty() && wanted != r.sharedKey) return VI_ERROR_INV_ACCESS_KEY;
        ++s.sharedLocks;
        if (accessKey) snprintf(accessKey, VI_FIND_BUFLEN, "%s", r.sharedKey.c_str());
        return VI_SUCCESS_NESTED_SHARED;
    }
    for (;;) {
        bool exclusiveFree = !r.exclusiveOwner || r.exclusiveOwner == &s;
        if (exclusiveFree && r.sharedHolders == 0) break;
        if (exclusiveFree && r.sharedHolders > 0) {
            if (!wanted.empty() && wanted == r.sharedKey) break;
            if (!wanted.empty()) return VI_ERROR_INV_ACCESS_KEY;
        }
        if (s.closing || timeout == VI_TMO_IMMEDIATE || limit.expired()) return VI_ERROR_TMO;
        if (limit.infinite) r.cv.wait(lock);
        else r.cv.wait_until(lock, limit.deadline);
    }
    if (r.sharedHolders == 0) r.sharedKey = wanted.empty() ? generateKey() : wanted;
    ++r.sharedHolders;
    s.sharedLocks = 1;
    std::string key = r.sharedKey;
    lock.unlock();
    ViStatus st = remoteLock(s, VI_SHARED_LOCK, limit, key);
    if (st < 0) {
        lock.lock();
        s.sharedLocks = 0;
        if (--r.sharedHolders == 0) r.sharedKey.clear();
        r.cv.notify_all();
        return st;
    }
    if (accessKey) snprintf(accessKey, VI_FIND_BUFLEN, "%s", key.c_str());
    return VI_SUCCESS;
}

ViStatus unlockSession(Session& s) {
    Resource& r = *s.resource;
    std::unique_lock<std::mutex> lock(r.m);
    ViAccessMode released = VI_NO_LOCK;
    if (s.exclusiveLocks > 0) {
        if (--s.exclusiveLocks == 0) {
            r.exclusiveOwner = nullptr;
            released = VI_EXCLUSIVE_LOCK;
        }
    } else if (s.sharedLocks > 0) {
        if (--s.sharedLocks == 0) {
            released = VI_SHARED_LOCK;
            if (--r.sharedHolders == 0) r.sharedKey.clear();
        }
    } else {
        return VI_ERROR_SESN_NLOCKED;
    }
    r.cv.notify_all();
    if (released != VI_NO_LOCK && s.link) {
        lock.unlock();
        std::lock_guard<std::mutex> io(s.ioMutex);
        s.link->unlock(released);
        lock.lock();
    }
    if (s.exclusiveLocks > 0) return VI_SUCCESS_NESTED_EXCLUSIVE;
    if (s.sharedLocks > 0) return VI_SUCCESS_NESTED_SHARED;
    return VI_SUCCESS;
}

void releaseLocks(Session& s) {
    if (!s.resource) return;
    Resource& r = *s.resource;
    std::lock_guard<std::mutex> lock(r.m);
    if (s.exclusiveLocks > 0) {
        s.exclusiveLocks = 0;
        r.exclusiveOwner = nullptr;
    }
    if (s.sharedLocks > 0) {
        s.sharedLocks = 0;
        if (--r.sharedHolders == 0) r.sharedKey.clear();
    }
    r.cv.notify_all();
}

ViStatus checkAccess(Session& s) {
    Resource& r = *s.resource;
    std::lock_guard<std::mutex> lock(r.m);
    if (r.exclusiveOwner) return r.exclusiveOwner == &s ? VI_SUCCESS : VI_ERROR_RSRC_LOCKED;
    if (r.sharedHolders > 0 && s.sharedLocks == 0) return VI_ERROR_RSRC_LOCKED;
    return VI_SUCCESS;
}

// ---- message-based I/O -----------------------------------------------------------------------

ViStatus sessionWrite(Session& s, const ViByte* buf, size_t count, size_t* done,
                      const std::atomic<bool>* cancel, bool lockIo) {
    *done = 0;
    ViStatus st = checkAccess(s);
    if (st < 0) return st;
    std::unique_lock<std::mutex> io(s.ioMutex, std::defer_lock);
    if (lockIo) io.lock();
    bool end = s.attrs.numberOr(VI_ATTR_SEND_END_EN, VI_TRUE) != VI_FALSE;
    // Closing the session abandons a call that is still waiting.
    IoControl ctl = IoControl::fromTimeout(timeoutOf(s), cancel ? cancel : &s.closing);
    return s.link->write(buf, count, end, ctl, done);
}

ViStatus sessionRead(Session& s, ViByte* buf, size_t count, size_t* done,
                     const std::atomic<bool>* cancel, bool lockIo) {
    *done = 0;
    ViStatus st = checkAccess(s);
    if (st < 0) return st;
    std::unique_lock<std::mutex> io(s.ioMutex, std::defer_lock);
    if (lockIo) io.lock();
    IoControl ctl = IoControl::fromTimeout(timeoutOf(s), cancel ? cancel : &s.closing);
    return s.link->read(buf, count, readOptionsOf(s), ctl, done);
}

ViStatus sessionClear(Session& s) {
    ViStatus st = checkAccess(s);
    if (st < 0) return st;
    std::lock_guard<std::mutex> io(s.ioMutex);
    s.readPos = s.readEnd = 0;
    s.writeBuf.clear();
    return s.link->clear();
}

ViStatus sessionReadStb(Session& s, ViUInt16* stb) {
    ViStatus st = checkAccess(s);
    if (st < 0) return st;
    std::lock_guard<std::mutex> io(s.ioMutex);
    return s.link->readStb(stb);
}

ViStatus sessionAssertTrigger(Session& s, ViUInt16 protocol) {
    ViStatus st = checkAccess(s);
    if (st < 0) return st;
    std::lock_guard<std::mutex> io(s.ioMutex);
    return s.link->assertTrigger(protocol);
}

// ---- buffered I/O ----------------------------------------------------------------------------

namespace {

constexpr ViUInt16 kSetBufMask = VI_READ_BUF | VI_WRITE_BUF | VI_IO_IN_BUF | VI_IO_OUT_BUF;
constexpr ViUInt16 kFlushMask = VI_READ_BUF | VI_WRITE_BUF | VI_READ_BUF_DISCARD |
                                VI_WRITE_BUF_DISCARD | VI_IO_IN_BUF | VI_IO_OUT_BUF |
                                VI_IO_IN_BUF_DISCARD | VI_IO_OUT_BUF_DISCARD;
constexpr size_t kMaxBufferSize = 64u << 20;

bool endedMessage(ViStatus st) { return st == VI_SUCCESS || st == VI_SUCCESS_TERM_CHAR; }

}  // namespace

// Sends the formatted write buffer; END only when asked (viFlush, a "\n" of viPrintf), not
// when it merely filled up.
ViStatus flushWriteLocked(Session& s, bool withEnd) {
    if (s.writeBuf.empty()) return VI_SUCCESS;
    bool end = withEnd && s.attrs.numberOr(VI_ATTR_SEND_END_EN, VI_TRUE) != VI_FALSE;
    IoControl ctl = IoControl::fromTimeout(timeoutOf(s), nullptr);
    size_t done = 0;
    ViStatus st = s.link->write(s.writeBuf.data(), s.writeBuf.size(), end, ctl, &done);
    s.writeBuf.clear();
    return st < 0 ? st : VI_SUCCESS;
}

ViStatus bufferWriteLocked(Session& s, const ViByte* buf, size_t count, size_t* done) {
    size_t capacity = s.writeBufSize ? s.writeBufSize : 1;
    for (size_t i = 0; i < count;) {
        size_t room = capacity > s.writeBuf.size() ? capacity - s.writeBuf.size() : 0;
        if (room == 0) {
            ViStatus st = flushWriteLocked(s, false);
            if (st < 0) return st;
            continue;
        }
        size_t n = std::min(room, count - i);
        s.writeBuf.insert(s.writeBuf.end(), buf + i, buf + i + n);
        i += n;
        if (done) *done = i;
    }
    return VI_SUCCESS;
}

ViStatus flushReadLocked(Session& s, bool dropMessage) {
    bool unfinished = s.readPos < s.readEnd || (s.readEnd > 0 && !endedMessage(s.readFillStatus));
    s.readPos = s.readEnd = 0;
    // Flushing (not merely discarding) also drops the rest of a message being read.
    if (dropMessage && unfinished && !endedMessage(s.readFillStatus)) {
        ViByte scratch[512];
        IoControl ctl = IoControl::fromTimeout(timeoutOf(s), nullptr);
        for (;;) {
            size_t n = 0;
            ViStatus rs = s.link->read(scratch, sizeof scratch, readOptionsOf(s), ctl, &n);
            if (rs != VI_SUCCESS_MAX_CNT) {
                if (rs < 0) return rs;
                break;
            }
        }
    }
    s.readFillStatus = VI_SUCCESS;
    return VI_SUCCESS;
}

ViStatus fillReadLocked(Session& s) {
    size_t size = s.readBufSize ? s.readBufSize : 1;
    if (s.readBuf.size() != size) s.readBuf.assign(size, 0);
    size_t n = 0;
    IoControl ctl = IoControl::fromTimeout(timeoutOf(s), nullptr);
    ViStatus rs = s.link->read(s.readBuf.data(), s.readBuf.size(), readOptionsOf(s), ctl, &n);
    s.readPos = 0;
    s.readEnd = n;
    s.readFillStatus = rs;
    return rs;
}

bool readMessageEnded(const Session& s) { return endedMessage(s.readFillStatus); }

ViStatus sessionSetBuf(Session& s, ViUInt16 mask, ViUInt32 size) {
    if (mask == 0 || (mask & ~kSetBufMask)) return VI_ERROR_INV_MASK;
    if (size > kMaxBufferSize) return VI_ERROR_ALLOC;
    if (!(s.kind & kMessageKinds)) return VI_ERROR_NSUP_OPER;
    std::lock_guard<std::mutex> io(s.ioMutex);
    ViStatus result = VI_SUCCESS;
    if (mask & VI_READ_BUF) {
        s.readBufSize = size;
        s.readBuf.assign(size, 0);
        s.readPos = s.readEnd = 0;
        s.attrs.setNumber(VI_ATTR_RD_BUF_SIZE, size);
    }
    if (mask & VI_WRITE_BUF) {
        ViStatus st = flushWriteLocked(s, false);
        if (st < 0) return st;
        s.writeBufSize = size;
        s.attrs.setNumber(VI_ATTR_WR_BUF_SIZE, size);
    }
    ViUInt16 low = mask & (VI_IO_IN_BUF | VI_IO_OUT_BUF);
    if (low) {
        ViStatus st = s.link->setIoBuffer(low, size);
        if (st == VI_ERROR_NSUP_OPER) result = VI_WARN_NSUP_BUF;
        else if (st < 0) return st;
    }
    return result;
}

ViStatus sessionFlush(Session& s, ViUInt16 mask) {
    if (mask == 0 || (mask & ~kFlushMask)) return VI_ERROR_INV_MASK;
    if ((mask & VI_READ_BUF) && (mask & VI_READ_BUF_DISCARD)) return VI_ERROR_INV_MASK;
    if ((mask & VI_WRITE_BUF) && (mask & VI_WRITE_BUF_DISCARD)) return VI_ERROR_INV_MASK;
    if ((mask & VI_IO_IN_BUF) && (mask & VI_IO_IN_BUF_DISCARD)) return VI_ERROR_INV_MASK;
    if ((mask & VI_IO_OUT_BUF) && (mask & VI_IO_OUT_BUF_DISCARD)) return VI_ERROR_INV_MASK;
    if (!(s.kind & kMessageKinds)) return VI_ERROR_NSUP_OPER;
    ViStatus st = checkAccess(s);
    if (st < 0) return st;
    std::lock_guard<std::mutex> io(s.ioMutex);
    if (mask & VI_WRITE_BUF) {
        st = flushWriteLocked(s, true);
        if (st < 0) return st;
    }
    if (mask & VI_WRITE_BUF_DISCARD) s.writeBuf.clear();
    if (mask & (VI_READ_BUF | VI_READ_BUF_DISCARD)) {
        st = flushReadLocked(s, (mask & VI_READ_BUF) != 0);
        if (st < 0) return st;
    }
    ViUInt16 low = mask & (VI_IO_IN_BUF | VI_IO_OUT_BUF | VI_IO_IN_BUF_DISCARD | VI_IO_OUT_BUF_DISCARD);
    if (low) {
        st = s.link->flushIoBuffer(low);
        if (st < 0 && st != VI_ERROR_NSUP_OPER) return st;
    }
    return VI_SUCCESS;
}

ViStatus sessionBufWrite(Session& s, const ViByte* buf, size_t count, size_t* done) {
    *done = 0;
    if (!(s.kind & kMessageKinds)) return VI_ERROR_NSUP_OPER;
    ViStatus st = checkAccess(s);
    if (st < 0) return st;
    std::lock_guard<std::mutex> io(s.ioMutex);
    st = bufferWriteLocked(s, buf, count, done);
    if (st < 0) return st;
    if (s.attrs.numberOr(VI_ATTR_WR_BUF_OPER_MODE, VI_FLUSH_WHEN_FULL) == VI_FLUSH_ON_ACCESS) {
        st = flushWriteLocked(s, true);
        if (st < 0) return st;
    }
    return VI_SUCCESS;
}

ViStatus sessionBufRead(Session& s, ViByte* buf, size_t count, size_t* done) {
    *done = 0;
    if (!(s.kind & kMessageKinds)) return VI_ERROR_NSUP_OPER;
    ViStatus st = checkAccess(s);
    if (st < 0) return st;
    std::lock_guard<std::mutex> io(s.ioMutex);
    if (s.readBuf.size() != (s.readBufSize ? s.readBufSize : 1)) {
        s.readBuf.assign(s.readBufSize ? s.readBufSize : 1, 0);
        s.readPos = s.readEnd = 0;
    }
    ViStatus result = VI_SUCCESS_MAX_CNT;
    size_t got = 0;
    while (got < count) {
        if (s.readPos == s.readEnd) {
            ViStatus rs = fillReadLocked(s);
            if (s.readEnd == 0) {
                result = rs;
                break;
            }
        }
        size_t n = std::min(count - got, s.readEnd - s.readPos);
        std::memcpy(buf + got, s.readBuf.data() + s.readPos, n);
        s.readPos += n;
        got += n;
        bool drained = s.readPos == s.readEnd;
        // A fill that ended a message (or failed) ends this call too.
        if (drained && s.readFillStatus != VI_SUCCESS_MAX_CNT) {
            result = s.readFillStatus;
            break;
        }
        result = VI_SUCCESS_MAX_CNT;
    }
    *done = got;
    if (s.attrs.numberOr(VI_ATTR_RD_BUF_OPER_MODE, VI_FLUSH_DISABLE) == VI_FLUSH_ON_ACCESS) {
        s.readPos = s.readEnd = 0;
    }
    return result;
}

// ---- files -----------------------------------------------------------------------------------

ViStatus sessionReadToFile(Session& s, const char* file, ViUInt32 count, ViUInt32* done) {
    *done = 0;
    if (!file || !*file) return VI_ERROR_FILE_ACCESS;
    if (!(s.kind & kMessageKinds)) return VI_ERROR_NSUP_OPER;
    bool append = s.attrs.numberOr(VI_ATTR_FILE_APPEND_EN, VI_FALSE) != VI_FALSE;
    FILE* f = fopen(file, append ? "ab" : "wb");
    if (!f) return VI_ERROR_FILE_ACCESS;
    std::vector<ViByte> chunk(std::min<size_t>(count ? count : 1, 65536));
    ViStatus st = VI_SUCCESS_MAX_CNT;
    ViUInt32 total = 0;
    while (total < count) {
        size_t want = std::min<size_t>(chunk.size(), count - total);
        size_t n = 0;
        st = sessionRead(s, chunk.data(), want, &n);
        if (n && fwrite(chunk.data(), 1, n, f) != n) {
            st = VI_ERROR_FILE_IO;
            break;
        }
        total += static_cast<ViUInt32>(n);
        if (st != VI_SUCCESS_MAX_CNT) break;
    }
    if (fclose(f) != 0 && st >= 0) st = VI_ERROR_FILE_IO;
    *done = total;
    return st;
}

ViStatus sessionWriteFromFile(Session& s, const char* file, ViUInt32 count, ViUInt32* done) {
    *done = 0;
    if (!file || !*file) return VI_ERROR_FILE_ACCESS;
    if (!(s.kind & kMessageKinds)) return VI_ERROR_NSUP_OPER;
    FILE* f = fopen(file, "rb");
    if (!f) return VI_ERROR_FILE_ACCESS;
    ViStatus st = checkAccess(s);
    if (st < 0) {
        fclose(f);
        return st;
    }
    std::lock_guard<std::mutex> io(s.ioMutex);
    bool sendEnd = s.attrs.numberOr(VI_ATTR_SEND_END_EN, VI_TRUE) != VI_FALSE;
    std::vector<ViByte> chunk(65536);
    ViUInt32 total = 0;
    st = VI_SUCCESS;
    // Read one chunk ahead, so that END goes with the last byte sent.
    size_t have = fread(chunk.data(), 1, std::min<size_t>(chunk.size(), count), f);
    if (ferror(f)) st = VI_ERROR_FILE_IO;
    while (st >= 0 && have > 0) {
        std::vector<ViByte> next(chunk.size());
        size_t remaining = count - total - have;
        size_t nextHave = remaining ? fread(next.data(), 1, std::min(next.size(), remaining), f) : 0;
        if (ferror(f)) {
            st = VI_ERROR_FILE_IO;
            break;
        }
        IoControl ctl = IoControl::fromTimeout(timeoutOf(s), nullptr);
        size_t n = 0;
        st = s.link->write(chunk.data(), have, sendEnd && nextHave == 0, ctl, &n);
        total += static_cast<ViUInt32>(n);
        chunk.swap(next);
        have = nextHave;
    }
    fclose(f);
    *done = total;
    return st;
}

}  // namespace zuvisa

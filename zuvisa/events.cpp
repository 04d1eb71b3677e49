// Event queues, handlers and their library thread, waits and event contexts.
#include <chrono>

#include "zuvisa/session.h"

namespace zuvisa {

namespace {

constexpr uint32_t kAllKinds = 0x3FFFEu;
constexpr uint32_t kVxiAny = kKindVxiInstr | kKindGvxiInstr;
constexpr uint32_t kBackplanes = kKindVxiBackplane | kKindGvxiBackplane;

struct EventKinds {
    ViEventType type;
    uint32_t kinds;
};

const EventKinds kEvents[] = {
    {VI_EVENT_IO_COMPLETION, kAllKinds},
    {VI_EVENT_EXCEPTION, kAllKinds},
    {VI_EVENT_SERVICE_REQ, kKindGpibInstr | kKindGpibIntfc | kVxiAny | kKindTcpipInstr | kKindUsbInstr},
    {VI_EVENT_TRIG, kVxiAny | kBackplanes | kKindGpibIntfc | kKindGpibServant | kKindVxiServant | kKindPxiInstr},
    {VI_EVENT_CLEAR, kKindGpibIntfc | kKindGpibServant | kKindVxiServant},
    {VI_EVENT_GPIB_CIC, kKindGpibIntfc},
    {VI_EVENT_GPIB_TALK, kKindGpibIntfc | kKindGpibServant},
    {VI_EVENT_GPIB_LISTEN, kKindGpibIntfc | kKindGpibServant},
    {VI_EVENT_VXI_SIGP, kVxiAny},
    {VI_EVENT_VXI_VME_INTR, kVxiAny},
    {VI_EVENT_VXI_VME_SYSFAIL, kBackplanes},
    {VI_EVENT_VXI_VME_SYSRESET, kBackplanes | kKindVxiServant},
    {VI_EVENT_VXI_DEV_CMD, kKindVxiServant},
    {VI_EVENT_PXI_INTR, kKindPxiInstr},
    {VI_EVENT_TCPIP_CONNECT, kKindTcpipSocket},
    {VI_EVENT_USB_INTR, kKindUsbInstr | kKindUsbRaw},
    {VI_EVENT_ASRL_BREAK, kKindAsrlInstr},
    {VI_EVENT_ASRL_CTS, kKindAsrlInstr},
    {VI_EVENT_ASRL_DSR, kKindAsrlInstr},
    {VI_EVENT_ASRL_DCD, kKindAsrlInstr},
    {VI_EVENT_ASRL_RI, kKindAsrlInstr},
    {VI_EVENT_ASRL_CHAR, kKindAsrlInstr},
    {VI_EVENT_ASRL_TERMCHAR, kKindAsrlInstr},
};

bool validEnableMech(ViUInt16 m) {
    return m == VI_QUEUE || m == VI_HNDLR || m == VI_SUSPEND_HNDLR || m == (VI_QUEUE | VI_HNDLR) ||
           m == (VI_QUEUE | VI_SUSPEND_HNDLR);
}

bool validDisableMech(ViUInt16 m) {
    return m == VI_ALL_MECH || (m != 0 && !(m & ~(VI_QUEUE | VI_HNDLR | VI_SUSPEND_HNDLR)));
}

bool eventIn(ViEventType wanted, const EventData& e) {
    return wanted == VI_ALL_ENABLED_EVENTS || e.type == wanted;
}

void eventLoop(std::shared_ptr<EventState> ev, std::weak_ptr<Session> weak) {
    for (;;) {
        EventData e;
        std::vector<HandlerEntry> handlers;
        {
            std::unique_lock<std::mutex> lock(ev->m);
            ev->cv.wait(lock, [&] { return ev->stop || !ev->dispatch.empty(); });
            if (ev->stop) return;
            e = std::move(ev->dispatch.front());
            ev->dispatch.pop_front();
            auto it = ev->handlers.find(e.type);
            if (it != ev->handlers.end()) handlers = it->second;
        }
        std::shared_ptr<Session> self = weak.lock();
        if (!self) return;
        if (handlers.empty()) continue;
        auto ctx = std::make_shared<EventObject>();
        ctx->session = self->handle;
        ctx->data = e;
        ViEvent h = Library::instance().handles.add(ctx);
        // The most recently installed handler runs first.
        for (auto it = handlers.rbegin(); it != handlers.rend(); ++it) {
            ViStatus st = VI_SUCCESS;
            try {
                st = it->fn(self->handle, e.type, h, it->user);
            } catch (...) {
            }
            if (st == VI_SUCCESS_NCHAIN) break;
        }
        Library::instance().handles.take(h);
        self.reset();  // may destroy the session here; ev stays valid
    }
}

}  // namespace

// Called with ev.m held.
void startEventWorker(Session& s) {
    EventState& ev = *s.events;
    if (ev.worker.joinable() || ev.stop) return;
    ev.worker = std::thread(eventLoop, s.events, s.weak_from_this());
}

bool eventSupported(uint32_t kind, ViEventType type) {
    for (const EventKinds& k : kEvents) {
        if (k.type == type) return (k.kinds & kind) != 0;
    }
    return false;
}

ViStatus enableEvent(Session& s, ViEventType type, ViUInt16 mechanism, ViEventFilter) {
    if (type == VI_ALL_ENABLED_EVENTS || !eventSupported(s.kind, type)) return VI_ERROR_INV_EVENT;
    if (!validEnableMech(mechanism)) return VI_ERROR_INV_MECH;
    if (type == VI_EVENT_EXCEPTION && (mechanism & VI_QUEUE)) return VI_ERROR_NSUP_MECH;
    EventState& ev = *s.events;
    std::lock_guard<std::mutex> lock(ev.m);
    uint16_t cur = ev.mechanisms[type];
    bool wantsHandler = mechanism & (VI_HNDLR | VI_SUSPEND_HNDLR);
    if (wantsHandler && ev.handlers[type].empty()) return VI_ERROR_HNDLR_NINSTALLED;
    bool already = (cur & mechanism) == mechanism;
    uint16_t next = cur | mechanism;
    if (mechanism & VI_HNDLR) {
        next &= static_cast<uint16_t>(~VI_SUSPEND_HNDLR);
        // Events held while the handler was suspended are delivered now.
        for (auto it = ev.suspended.begin(); it != ev.suspended.end();) {
            if (it->type == type) {
                ev.dispatch.push_back(std::move(*it));
                it = ev.suspended.erase(it);
            } else {
                ++it;
            }
        }
        if (!ev.dispatch.empty()) startEventWorker(s);
        ev.cv.notify_all();
    }
    if (mechanism & VI_SUSPEND_HNDLR) next &= static_cast<uint16_t>(~VI_HNDLR);
    ev.mechanisms[type] = next;
    return already ? VI_SUCCESS_EVENT_EN : VI_SUCCESS;
}

ViStatus disableEvent(Session& s, ViEventType type, ViUInt16 mechanism) {
    if (type != VI_ALL_ENABLED_EVENTS && !eventSupported(s.kind, type)) return VI_ERROR_INV_EVENT;
    if (!validDisableMech(mechanism)) return VI_ERROR_INV_MECH;
    EventState& ev = *s.events;
    std::lock_guard<std::mutex> lock(ev.m);
    bool changed = false;
    for (auto& [t, m] : ev.mechanisms) {
        if (type != VI_ALL_ENABLED_EVENTS && t != type) continue;
        if (m & mechanism) changed = true;
        m = static_cast<uint16_t>(m & ~mechanism);
    }
    ev.cv.notify_all();
    return changed ? VI_SUCCESS : VI_SUCCESS_EVENT_DIS;
}

ViStatus discardEvents(Session& s, ViEventType type, ViUInt16 mechanism) {
    if (type != VI_ALL_ENABLED_EVENTS && !eventSupported(s.kind, type)) return VI_ERROR_INV_EVENT;
    if (!validDisableMech(mechanism)) return VI_ERROR_INV_MECH;
    EventState& ev = *s.events;
    std::lock_guard<std::mutex> lock(ev.m);
    size_t removed = 0;
    auto drop = [&](std::deque<EventData>& q) {
        for (auto it = q.begin(); it != q.end();) {
            if (eventIn(type, *it)) {
                it = q.erase(it);
                ++removed;
            } else {
                ++it;
            }
        }
    };
    if (mechanism & VI_QUEUE) {
        drop(ev.queue);
        ev.overflow = false;
    }
    if (mechanism & VI_SUSPEND_HNDLR) drop(ev.suspended);
    if (mechanism & VI_HNDLR) drop(ev.dispatch);
    return removed ? VI_SUCCESS : VI_SUCCESS_QUEUE_EMPTY;
}

ViStatus waitOnEvent(Session& s, ViEventType type, ViUInt32 timeout, ViEventType* outType,
                     ViEvent* outContext) {
    if (outType) *outType = 0;
    if (outContext) *outContext = VI_NULL;
    if (type != VI_ALL_ENABLED_EVENTS && !eventSupported(s.kind, type)) return VI_ERROR_INV_EVENT;
    EventState& ev = *s.events;
    IoControl limit = IoControl::fromTimeout(timeout, nullptr);
    std::unique_lock<std::mutex> lock(ev.m);
    auto enabled = [&] {
        for (const auto& [t, m] : ev.mechanisms) {
            if ((m & VI_QUEUE) && (type == VI_ALL_ENABLED_EVENTS || t == type)) return true;
        }
        return false;
    };
    if (!enabled()) return VI_ERROR_NENABLED;
    ++ev.waiters;
    EventData e;
    bool got = false;
    ViStatus result = VI_ERROR_TMO;
    for (;;) {
        for (auto it = ev.queue.begin(); it != ev.queue.end(); ++it) {
            if (eventIn(type, *it)) {
                e = std::move(*it);
                ev.queue.erase(it);
                got = true;
                break;
            }
        }
        if (got) break;
        if (ev.stop || s.closing) {
            result = VI_ERROR_INV_OBJECT;
            break;
        }
        if (!enabled()) {
            result = VI_ERROR_NENABLED;
            break;
        }
        if (timeout == VI_TMO_IMMEDIATE || limit.expired()) break;
        if (limit.infinite) ev.cv.wait(lock);
        else ev.cv.wait_until(lock, limit.deadline);
    }
    --ev.waiters;
    if (!got) return result;
    bool more = false;
    for (const EventData& q : ev.queue) {
        if (eventIn(type, q)) {
            more = true;
            break;
        }
    }
    ViStatus st = ev.overflow ? VI_WARN_QUEUE_OVERFLOW : (more ? VI_SUCCESS_QUEUE_NEMPTY : VI_SUCCESS);
    ev.overflow = false;
    if (outType) *outType = e.type;
    if (outContext) {
        auto ctx = std::make_shared<EventObject>();
        ctx->session = s.handle;
        ctx->data = std::move(e);
        ViEvent h = Library::instance().handles.add(ctx);
        if (!h) return VI_ERROR_ALLOC;
        ev.contexts.insert(h);
        *outContext = h;
    }
    return st;
}

ViStatus installHandler(Session& s, ViEventType type, ViHndlr handler, ViAddr user) {
    if (!eventSupported(s.kind, type)) return VI_ERROR_INV_EVENT;
    if (!handler) return VI_ERROR_INV_HNDLR_REF;
    EventState& ev = *s.events;
    std::lock_guard<std::mutex> lock(ev.m);
    ev.handlers[type].push_back({handler, user});
    return VI_SUCCESS;
}

ViStatus uninstallHandler(Session& s, ViEventType type, ViHndlr handler, ViAddr user) {
    if (type != VI_ALL_ENABLED_EVENTS && !eventSupported(s.kind, type)) return VI_ERROR_INV_EVENT;
    EventState& ev = *s.events;
    std::lock_guard<std::mutex> lock(ev.m);
    if (!handler) {
        for (auto& [t, list] : ev.handlers) {
            if (type == VI_ALL_ENABLED_EVENTS || t == type) list.clear();
        }
        return VI_SUCCESS;
    }
    if (type == VI_ALL_ENABLED_EVENTS) return VI_ERROR_INV_HNDLR_REF;
    auto& list = ev.handlers[type];
    for (auto it = list.rbegin(); it != list.rend(); ++it) {
        if (it->fn == handler && it->user == user) {
            list.erase(std::next(it).base());
            return VI_SUCCESS;
        }
    }
    return VI_ERROR_INV_HNDLR_REF;
}

void raiseException(Session& s, ViStatus status, const char* operation) {
    EventData e;
    e.type = VI_EVENT_EXCEPTION;
    e.numbers = {{VI_ATTR_STATUS, static_cast<ViUInt32>(status)}};
    e.texts = {{VI_ATTR_OPER_NAME, operation}};
    std::vector<HandlerEntry> handlers;
    {
        EventState& ev = *s.events;
        std::lock_guard<std::mutex> lock(ev.m);
        auto m = ev.mechanisms.find(VI_EVENT_EXCEPTION);
        if (ev.stop || m == ev.mechanisms.end()) return;
        if (m->second & VI_SUSPEND_HNDLR) {
            ev.suspended.push_back(std::move(e));
            return;
        }
        if (!(m->second & VI_HNDLR)) return;
        handlers = ev.handlers[VI_EVENT_EXCEPTION];
    }
    auto ctx = std::make_shared<EventObject>();
    ctx->session = s.handle;
    ctx->data = std::move(e);
    ViEvent h = Library::instance().handles.add(ctx);
    for (auto it = handlers.rbegin(); it != handlers.rend(); ++it) {
        ViStatus st = VI_SUCCESS;
        try {
            st = it->fn(s.handle, VI_EVENT_EXCEPTION, h, it->user);
        } catch (...) {
        }
        if (st == VI_SUCCESS_NCHAIN) break;
    }
    Library::instance().handles.take(h);
}

void stopEvents(Session& s) {
    std::shared_ptr<EventState> ev = s.events;
    std::thread worker;
    std::set<ViEvent> contexts;
    {
        std::lock_guard<std::mutex> lock(ev->m);
        ev->stop = true;
        ev->dispatch.clear();
        contexts.swap(ev->contexts);
        worker = std::move(ev->worker);
        ev->cv.notify_all();
    }
    for (ViEvent h : contexts) Library::instance().handles.take(h);
    if (worker.joinable()) {
        if (worker.get_id() == std::this_thread::get_id()) worker.detach();
        else worker.join();
    }
}

namespace {

struct EventAttr {
    ViAttr id;
    AttrType type;
};

const EventAttr kEventAttrs[] = {
    {VI_ATTR_EVENT_TYPE, AttrType::U32},      {VI_ATTR_JOB_ID, AttrType::U32},
    {VI_ATTR_STATUS, AttrType::I32},          {VI_ATTR_RET_COUNT_32, AttrType::U32},
    {VI_ATTR_RET_COUNT_64, AttrType::U64},    {VI_ATTR_BUFFER, AttrType::Ptr},
    {VI_ATTR_OPER_NAME, AttrType::Text},      {VI_ATTR_RECV_TRIG_ID, AttrType::I16},
    {VI_ATTR_SIGP_STATUS_ID, AttrType::U16},  {VI_ATTR_INTR_STATUS_ID, AttrType::U32},
    {VI_ATTR_RECV_INTR_LEVEL, AttrType::I16}, {VI_ATTR_GPIB_RECV_CIC_STATE, AttrType::Bool},
    {VI_ATTR_RECV_TCPIP_ADDR, AttrType::Text}, {VI_ATTR_USB_RECV_INTR_SIZE, AttrType::U16},
    {VI_ATTR_VXI_DEV_CMD_TYPE, AttrType::I16}, {VI_ATTR_VXI_DEV_CMD_VALUE, AttrType::U32},
    {VI_ATTR_PXI_RECV_INTR_SEQ, AttrType::U32}, {VI_ATTR_PXI_RECV_INTR_DATA, AttrType::U32},
};

}  // namespace

ViStatus getEventAttribute(EventObject& e, ViAttr attr, void* out) {
    const EventAttr* def = nullptr;
    for (const EventAttr& a : kEventAttrs) {
        if (a.id == attr) def = &a;
    }
    if (!def) return VI_ERROR_NSUP_ATTR;
    if (attr == VI_ATTR_EVENT_TYPE) {
        storeAttr(AttrType::U32, e.data.type, std::string(), out);
        return VI_SUCCESS;
    }
    // The 32-bit return count is the same count as the 64-bit one.
    ViAttr lookFor = attr == VI_ATTR_RET_COUNT_32 ? VI_ATTR_RET_COUNT_64 : attr;
    if (def->type == AttrType::Text) {
        for (const auto& [a, t] : e.data.texts) {
            if (a == lookFor) {
                storeAttr(AttrType::Text, 0, t, out);
                return VI_SUCCESS;
            }
        }
        return VI_ERROR_NSUP_ATTR;
    }
    for (const auto& [a, v] : e.data.numbers) {
        if (a == lookFor) {
            storeAttr(def->type, narrow(def->type, v), std::string(), out);
            return VI_SUCCESS;
        }
    }
    return VI_ERROR_NSUP_ATTR;
}

}  // namespace zuvisa

// The exported C API. Every entry point checks its handle, catches everything, and hands the
// work to the session, event and find-list code.
#include <cstring>
#include <new>

#include "zuvisa/entry.h"
#include "zuvisa/findexpr.h"
#include "zuvisa/session.h"
#include "zuvisa/status.h"
#include "zuvisa/zuvisa.h"

using namespace zuvisa;

namespace {

// Runs f on the session with its access checked and its I/O serialised.
template <typename F>
ViStatus onLockedSession(const char* operation, ViSession vi, F&& f) {
    return onSession(operation, vi, [&](Session& s) -> ViStatus {
        ViStatus st = checkAccess(s);
        if (st < 0) return st;
        std::lock_guard<std::mutex> io(s.ioMutex);
        return f(s);
    });
}

// Runs f on the session's link, so.
template <typename F>
ViStatus onLink(const char* operation, ViSession vi, F&& f) {
    return onLockedSession(operation, vi, [&](Session& s) { return f(*s.link); });
}

// The same for operations that wait: f also gets the session's timeout, and closing the
// session ends the wait.
template <typename F>
ViStatus onLinkTimed(const char* operation, ViSession vi, F&& f) {
    return onLockedSession(operation, vi, [&](Session& s) {
        return f(*s.link, IoControl::fromTimeout(s.timeoutMs(), &s.closing));
    });
}

// Kinds whose sessions move blocks between address spaces.
constexpr uint32_t kRegisterKinds = kKindVxiInstr | kKindGvxiInstr | kKindVxiMemacc | kKindGvxiMemacc |
                                    kKindPxiInstr | kKindPxiMemacc;

void copyName(ViChar* out, const std::string& text) {
    if (!out) return;
    size_t n = std::min<size_t>(text.size(), VI_FIND_BUFLEN - 1);
    std::memcpy(out, text.data(), n);
    out[n] = '\0';
}

std::shared_ptr<RmObject> rmOf(ViSession vi) { return objectAs<RmObject>(vi, ObjType::Rm); }

void closeObject(const std::shared_ptr<Object>& o);

void closeRm(const std::shared_ptr<RmObject>& rm) {
    std::set<ViObject> children;
    {
        std::lock_guard<std::mutex> lock(rm->childMutex);
        children.swap(rm->children);
    }
    for (ViObject h : children) {
        if (auto child = Library::instance().handles.take(h)) closeObject(child);
    }
    Library::instance().closeBackend();
}

void forgetChild(ViSession rmHandle, ViObject child) {
    if (auto rm = rmOf(rmHandle)) {
        std::lock_guard<std::mutex> lock(rm->childMutex);
        rm->children.erase(child);
    }
}

void closeObject(const std::shared_ptr<Object>& o) {
    switch (o->type) {
    case ObjType::Rm: closeRm(std::static_pointer_cast<RmObject>(o)); break;
    case ObjType::Session: {
        auto s = std::static_pointer_cast<Session>(o);
        forgetChild(s->rm, s->handle);
        shutdownSession(s);
        break;
    }
    case ObjType::FindList: {
        auto f = std::static_pointer_cast<FindListObject>(o);
        forgetChild(f->rm, f->handle);
        break;
    }
    case ObjType::Event: {
        auto e = std::static_pointer_cast<EventObject>(o);
        if (auto s = objectAs<Session>(e->session, ObjType::Session)) {
            std::lock_guard<std::mutex> lock(s->events->m);
            s->events->contexts.erase(e->handle);
        }
        break;
    }
    }
}

constexpr int widthBits(ViUInt16 w) {
    return w == VI_WIDTH_8 ? 8 : w == VI_WIDTH_16 ? 16 : w == VI_WIDTH_32 ? 32 : w == VI_WIDTH_64 ? 64 : 0;
}

}  // namespace

// ---- resource manager, find, parse, open ------------------------------------------------------

ZU_API ViStatus viOpenDefaultRM(ViPSession vi) {
    if (!vi) return VI_ERROR_INV_PARAMETER;
    *vi = VI_NULL;
    return guarded([&]() -> ViStatus {
        auto rm = std::make_shared<RmObject>();
        ViStatus status = VI_SUCCESS;
        rm->backend = Library::instance().openBackend(&status);
        forEachAttr(kKindRm, [&](const AttrDef& d) {
            if (d.type == AttrType::Text) rm->attrs.setText(d.id, std::string());
            else rm->attrs.setNumber(d.id, d.initial);
        });
        rm->attrs.setNumber(VI_ATTR_RSRC_MANF_ID, HOUSE_MANF_ID);
        rm->attrs.setText(VI_ATTR_RSRC_MANF_NAME, HOUSE_MANF_NAME);
        rm->attrs.setNumber(VI_ATTR_RSRC_IMPL_VERSION, ZUVISA_IMPL_VERSION);
        ViSession h = Library::instance().handles.add(rm);
        if (!h) {
            Library::instance().closeBackend();
            return VI_ERROR_ALLOC;
        }
        *vi = h;
        return status;
    });
}

ZU_API ViStatus viGetDefaultRM(ViPSession vi) { return viOpenDefaultRM(vi); }

ZU_API ViStatus viFindRsrc(ViSession sesn, ViConstString expr, ViPFindList vi, ViPUInt32 retCnt,
                           ViChar desc[]) {
    if (vi) *vi = VI_NULL;
    if (retCnt) *retCnt = 0;
    if (desc) desc[0] = '\0';
    return guarded([&]() -> ViStatus {
        auto rm = rmOf(sesn);
        if (!rm) return VI_ERROR_INV_OBJECT;
        if (!expr) return VI_ERROR_INV_EXPR;
        size_t len = strnlen(expr, kMaxFindExpression + 1);
        FindExpression fe;
        ViStatus st = FindExpression::parse(std::string_view(expr, len), &fe);
        if (st != VI_SUCCESS) return st;
        // No remote VISA is served: another machine is unreachable, and says so at once.
        if (!fe.machine().empty() && !isThisMachine(fe.machine())) return VI_ERROR_MACHINE_NAVAIL;
        Backend& backend = *rm->backend;
        std::vector<std::string> names;
        for (const Found& f : backend.enumerate()) {
            if (!fe.matchesName(f.name.canonical)) continue;
            if (fe.hasAttributeClause()) {
                uint32_t kind = kindOf(f.name.intfType, f.name.rsrcClass);
                AttrStore store;
                initialAttributes(f.name, kind, f.info, &store);
                bool ok = fe.matchesAttributes([&](ViAttr a, ViInt64* num, std::string* text) {
                    const AttrDef* d = findAttr(a, kind);
                    if (!d) return false;
                    if (d->type == AttrType::Text) return store.text(a == VI_ATTR_USER_DATA_32 ? VI_ATTR_USER_DATA_64 : a, text);
                    ViAttrState v;
                    if (!store.number(a == VI_ATTR_USER_DATA_32 ? VI_ATTR_USER_DATA_64 : a, &v)) return false;
                    *num = attrSigned(d->type, v);
                    return true;
                });
                if (!ok) continue;
            }
            names.push_back(f.name.canonical);
        }
        if (names.empty()) return VI_ERROR_RSRC_NFOUND;
        if (vi) {
            auto fl = std::make_shared<FindListObject>();
            fl->rm = sesn;
            fl->names = names;
            fl->next = 1;
            for (const auto& b : backend.bridgelets) {
                fl->vxiRmStatus = std::min(fl->vxiRmStatus, b->vxiResourceManagerStatus());
                ViStatus why = VI_SUCCESS;
                long after = b->findNextFailsAfter(&why);
                if (after >= 0 && (fl->failAfter < 0 || after < fl->failAfter)) {
                    fl->failAfter = after;
                    fl->failStatus = why;
                }
            }
            ViFindList h = Library::instance().handles.add(fl);
            if (!h) return VI_ERROR_ALLOC;
            {
                std::lock_guard<std::mutex> lock(rm->childMutex);
                rm->children.insert(h);
            }
            *vi = h;
        }
        if (retCnt) *retCnt = static_cast<ViUInt32>(names.size());
        copyName(desc, names.front());
        return VI_SUCCESS;
    });
}

ZU_API ViStatus viFindNext(ViFindList vi, ViChar desc[]) {
    if (desc) desc[0] = '\0';
    return guarded([&]() -> ViStatus {
        auto fl = objectAs<FindListObject>(vi, ObjType::FindList);
        if (!fl) return VI_ERROR_INV_OBJECT;
        std::lock_guard<std::mutex> lock(fl->m);
        if (fl->next >= fl->names.size()) return VI_ERROR_RSRC_NFOUND;
        if (fl->failAfter >= 0 && fl->next >= static_cast<size_t>(fl->failAfter)) return fl->failStatus;
        copyName(desc, fl->names[fl->next++]);
        return VI_SUCCESS;
    });
}

ZU_API ViStatus viParseRsrcEx(ViSession rmSesn, ViConstRsrc rsrcName, ViPUInt16 intfType,
                              ViPUInt16 intfNum, ViChar rsrcClass[], ViChar expandedUnaliasedName[],
                              ViChar aliasIfExists[]) {
    return guarded([&]() -> ViStatus {
        auto rm = rmOf(rmSesn);
        if (!rm) return VI_ERROR_INV_OBJECT;
        if (!rsrcName) return VI_ERROR_INV_RSRC_NAME;
        size_t len = strnlen(rsrcName, kMaxResourceName + 1);
        ResourceName n;
        std::string alias;
        ViStatus st = rm->backend->resolve(std::string(rsrcName, len), &n, &alias);
        if (st != VI_SUCCESS) return st;
        if (intfType) *intfType = n.intfType;
        if (intfNum) *intfNum = n.board;
        copyName(rsrcClass, n.rsrcClass);
        copyName(expandedUnaliasedName, n.canonical);
        copyName(aliasIfExists, alias);
        return VI_SUCCESS;
    });
}

ZU_API ViStatus viParseRsrc(ViSession rmSesn, ViConstRsrc rsrcName, ViPUInt16 intfType,
                            ViPUInt16 intfNum) {
    return viParseRsrcEx(rmSesn, rsrcName, intfType, intfNum, nullptr, nullptr, nullptr);
}

ZU_API ViStatus viOpen(ViSession sesn, ViConstRsrc name, ViAccessMode mode, ViUInt32 timeout,
                       ViPSession vi) {
    if (vi) *vi = VI_NULL;
    return guarded([&]() -> ViStatus {
        auto rm = rmOf(sesn);
        if (!rm) return VI_ERROR_INV_OBJECT;
        if (!name) return VI_ERROR_INV_RSRC_NAME;
        if (!vi) return VI_ERROR_INV_PARAMETER;
        size_t len = strnlen(name, kMaxResourceName + 1);
        if (len > kMaxResourceName) return VI_ERROR_INV_RSRC_NAME;
        return openSession(rm, std::string(name, len), mode, timeout, vi);
    });
}

// ---- every object ----------------------------------------------------------------------------

ZU_API ViStatus viClose(ViObject vi) {
    if (vi == VI_NULL) return VI_WARN_NULL_OBJECT;
    return guarded([&]() -> ViStatus {
        std::shared_ptr<Object> o = Library::instance().handles.take(vi);
        if (!o) return VI_ERROR_INV_OBJECT;
        closeObject(o);
        return VI_SUCCESS;
    });
}

ZU_API ViStatus viGetAttribute(ViObject vi, ViAttr attrName, void* attrValue) {
    return guarded([&]() -> ViStatus {
        std::shared_ptr<Object> o = Library::instance().handles.get(vi);
        if (!o) return VI_ERROR_INV_OBJECT;
        if (!attrValue) return VI_ERROR_INV_PARAMETER;
        switch (o->type) {
        case ObjType::Rm: return getRmAttribute(static_cast<RmObject&>(*o), attrName, attrValue);
        case ObjType::Session: return getSessionAttribute(static_cast<Session&>(*o), attrName, attrValue);
        case ObjType::Event: return getEventAttribute(static_cast<EventObject&>(*o), attrName, attrValue);
        case ObjType::FindList:
            if (attrName != VI_ATTR_ZU_VXI_RM_STATUS) return VI_ERROR_NSUP_ATTR;
            storeAttr(AttrType::I32, static_cast<ViUInt32>(static_cast<FindListObject&>(*o).vxiRmStatus),
                      std::string(), attrValue);
            return VI_SUCCESS;
        }
        return VI_ERROR_INV_OBJECT;
    });
}

ZU_API ViStatus viSetAttribute(ViObject vi, ViAttr attrName, ViAttrState attrValue) {
    return guarded([&]() -> ViStatus {
        std::shared_ptr<Object> o = Library::instance().handles.get(vi);
        if (!o) return VI_ERROR_INV_OBJECT;
        switch (o->type) {
        case ObjType::Rm: return setRmAttribute(static_cast<RmObject&>(*o), attrName, attrValue);
        case ObjType::Session: return setSessionAttribute(static_cast<Session&>(*o), attrName, attrValue);
        case ObjType::Event: {
            char scratch[VI_FIND_BUFLEN];
            ViStatus st = getEventAttribute(static_cast<EventObject&>(*o), attrName, scratch);
            return st == VI_SUCCESS ? VI_ERROR_ATTR_READONLY : st;
        }
        case ObjType::FindList:
            return attrName == VI_ATTR_ZU_VXI_RM_STATUS ? VI_ERROR_ATTR_READONLY : VI_ERROR_NSUP_ATTR;
        }
        return VI_ERROR_INV_OBJECT;
    });
}

ZU_API ViStatus viStatusDesc(ViObject vi, ViStatus status, ViChar desc[]) {
    if (!desc) return VI_ERROR_INV_PARAMETER;
    const StatusInfo* info = findStatus(status);
    if (info) {
        copyName(desc, info->description);
    } else {
        char buf[96];
        snprintf(buf, sizeof buf, "Status 0x%08X is not known to this library.", static_cast<unsigned>(status));
        copyName(desc, buf);
    }
    if (!Library::instance().handles.get(vi)) return VI_ERROR_INV_OBJECT;
    return info ? VI_SUCCESS : VI_WARN_UNKNOWN_STATUS;
}

ZU_API ViStatus viTerminate(ViObject vi, ViUInt16 degree, ViJobId jobId) {
    return onSession(__func__, vi, [&](Session& s) { return terminateJob(s, degree, jobId); });
}

ZU_API ViStatus viLock(ViSession vi, ViAccessMode lockType, ViUInt32 timeout,
                       ViConstKeyId requestedKey, ViChar accessKey[]) {
    return onSession(__func__, vi, [&](Session& s) -> ViStatus {
        std::string key;
        if (requestedKey) {
            size_t len = strnlen(requestedKey, VI_FIND_BUFLEN);
            if (len >= VI_FIND_BUFLEN) return VI_ERROR_INV_ACCESS_KEY;
            key.assign(requestedKey, len);
        }
        return lockSession(s, lockType, timeout, requestedKey ? key.c_str() : nullptr, accessKey);
    });
}

ZU_API ViStatus viUnlock(ViSession vi) {
    return onSession(__func__, vi, [&](Session& s) { return unlockSession(s); });
}

// ---- events ----------------------------------------------------------------------------------

namespace {

// A resource manager has no events; clearing all of them still succeeds on it.
template <typename F>
ViStatus onEventSession(ViSession vi, ViEventType type, ViStatus rmAnswer, F&& f) {
    return guarded([&]() -> ViStatus {
        std::shared_ptr<Object> o = Library::instance().handles.get(vi);
        if (!o) return VI_ERROR_INV_OBJECT;
        if (o->type == ObjType::Rm) {
            return type == VI_ALL_ENABLED_EVENTS && rmAnswer >= 0 ? rmAnswer : VI_ERROR_INV_EVENT;
        }
        if (o->type != ObjType::Session) return VI_ERROR_INV_OBJECT;
        return f(static_cast<Session&>(*o));
    });
}

}  // namespace

ZU_API ViStatus viEnableEvent(ViSession vi, ViEventType eventType, ViUInt16 mechanism,
                              ViEventFilter context) {
    return onEventSession(vi, eventType, VI_ERROR_INV_EVENT,
                          [&](Session& s) { return enableEvent(s, eventType, mechanism, context); });
}

ZU_API ViStatus viDisableEvent(ViSession vi, ViEventType eventType, ViUInt16 mechanism) {
    return onEventSession(vi, eventType, VI_SUCCESS_EVENT_DIS,
                          [&](Session& s) { return disableEvent(s, eventType, mechanism); });
}

ZU_API ViStatus viDiscardEvents(ViSession vi, ViEventType eventType, ViUInt16 mechanism) {
    return onEventSession(vi, eventType, VI_SUCCESS_QUEUE_EMPTY,
                          [&](Session& s) { return discardEvents(s, eventType, mechanism); });
}

ZU_API ViStatus viWaitOnEvent(ViSession vi, ViEventType inEventType, ViUInt32 timeout,
                              ViPEventType outEventType, ViPEvent outContext) {
    if (outEventType) *outEventType = 0;
    if (outContext) *outContext = VI_NULL;
    return onEventSession(vi, inEventType, VI_ERROR_NENABLED, [&](Session& s) {
        return waitOnEvent(s, inEventType, timeout, outEventType, outContext);
    });
}

ZU_API ViStatus viInstallHandler(ViSession vi, ViEventType eventType, ViHndlr handler,
                                 ViAddr userHandle) {
    return onEventSession(vi, eventType, VI_ERROR_INV_EVENT,
                          [&](Session& s) { return installHandler(s, eventType, handler, userHandle); });
}

ZU_API ViStatus viUninstallHandler(ViSession vi, ViEventType eventType, ViHndlr handler,
                                   ViAddr userHandle) {
    return onEventSession(vi, eventType, VI_ERROR_INV_EVENT,
                          [&](Session& s) { return uninstallHandler(s, eventType, handler, userHandle); });
}

// ---- message-based I/O -----------------------------------------------------------------------

ZU_API ViStatus viRead(ViSession vi, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    return onSession(__func__, vi, [&](Session& s) -> ViStatus {
        if (!buf && cnt) return VI_ERROR_USER_BUF;
        size_t done = 0;
        ViStatus st = sessionRead(s, buf, cnt, &done);
        if (retCnt) *retCnt = static_cast<ViUInt32>(done);
        return st;
    });
}

ZU_API ViStatus viReadAsync(ViSession vi, ViPBuf buf, ViUInt32 cnt, ViPJobId jobId) {
    if (jobId) *jobId = 0;
    return onSession(__func__, vi, [&](Session& s) -> ViStatus {
        if (!buf && cnt) return VI_ERROR_USER_BUF;
        if (!(s.kind & kMessageKinds)) return VI_ERROR_NSUP_OPER;
        return startJob(s, true, buf, nullptr, cnt, jobId);
    });
}

ZU_API ViStatus viWrite(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    return onSession(__func__, vi, [&](Session& s) -> ViStatus {
        if (!buf && cnt) return VI_ERROR_USER_BUF;
        size_t done = 0;
        ViStatus st = sessionWrite(s, buf, cnt, &done);
        if (retCnt) *retCnt = static_cast<ViUInt32>(done);
        return st;
    });
}

ZU_API ViStatus viWriteAsync(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPJobId jobId) {
    if (jobId) *jobId = 0;
    return onSession(__func__, vi, [&](Session& s) -> ViStatus {
        if (!buf && cnt) return VI_ERROR_USER_BUF;
        if (!(s.kind & kMessageKinds)) return VI_ERROR_NSUP_OPER;
        return startJob(s, false, nullptr, buf, cnt, jobId);
    });
}

ZU_API ViStatus viReadToFile(ViSession vi, ViConstString filename, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    return onSession(__func__, vi, [&](Session& s) -> ViStatus {
        ViUInt32 done = 0;
        ViStatus st = sessionReadToFile(s, filename, cnt, &done);
        if (retCnt) *retCnt = done;
        return st;
    });
}

ZU_API ViStatus viWriteFromFile(ViSession vi, ViConstString filename, ViUInt32 cnt,
                                ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    return onSession(__func__, vi, [&](Session& s) -> ViStatus {
        ViUInt32 done = 0;
        ViStatus st = sessionWriteFromFile(s, filename, cnt, &done);
        if (retCnt) *retCnt = done;
        return st;
    });
}

ZU_API ViStatus viAssertTrigger(ViSession vi, ViUInt16 protocol) {
    return onSession(__func__, vi, [&](Session& s) { return sessionAssertTrigger(s, protocol); });
}

ZU_API ViStatus viReadSTB(ViSession vi, ViPUInt16 status) {
    return onSession(__func__, vi, [&](Session& s) -> ViStatus {
        if (!status) return VI_ERROR_INV_PARAMETER;
        ViUInt16 stb = 0;
        ViStatus st = sessionReadStb(s, &stb);
        *status = stb;
        return st;
    });
}

ZU_API ViStatus viClear(ViSession vi) {
    return onSession(__func__, vi, [&](Session& s) { return sessionClear(s); });
}

ZU_API ViStatus viSetBuf(ViSession vi, ViUInt16 mask, ViUInt32 size) {
    return onSession(__func__, vi, [&](Session& s) { return sessionSetBuf(s, mask, size); });
}

ZU_API ViStatus viFlush(ViSession vi, ViUInt16 mask) {
    return onSession(__func__, vi, [&](Session& s) { return sessionFlush(s, mask); });
}

ZU_API ViStatus viBufWrite(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    return onSession(__func__, vi, [&](Session& s) -> ViStatus {
        if (!buf && cnt) return VI_ERROR_USER_BUF;
        size_t done = 0;
        ViStatus st = sessionBufWrite(s, buf, cnt, &done);
        if (retCnt) *retCnt = static_cast<ViUInt32>(done);
        return st;
    });
}

ZU_API ViStatus viBufRead(ViSession vi, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    return onSession(__func__, vi, [&](Session& s) -> ViStatus {
        if (!buf && cnt) return VI_ERROR_USER_BUF;
        size_t done = 0;
        ViStatus st = sessionBufRead(s, buf, cnt, &done);
        if (retCnt) *retCnt = static_cast<ViUInt32>(done);
        return st;
    });
}

// ---- interface-level operations --------------------------------------------------------------

ZU_API ViStatus viVxiCommandQuery(ViSession vi, ViUInt16 mode, ViUInt32 cmd, ViPUInt32 response) {
    return onLinkTimed(__func__, vi, [&](Link& l, const IoControl& io) { return l.vxiCommandQuery(mode, cmd, response, io); });
}
ZU_API ViStatus viGpibControlREN(ViSession vi, ViUInt16 mode) {
    return onLink(__func__, vi, [&](Link& l) { return l.gpibControlRen(mode); });
}
ZU_API ViStatus viGpibControlATN(ViSession vi, ViUInt16 mode) {
    return onLink(__func__, vi, [&](Link& l) { return l.gpibControlAtn(mode); });
}
ZU_API ViStatus viGpibSendIFC(ViSession vi) {
    return onLink(__func__, vi, [&](Link& l) { return l.gpibSendIfc(); });
}
ZU_API ViStatus viGpibCommand(ViSession vi, ViConstBuf cmd, ViUInt32 cnt, ViPUInt32 retCnt) {
    if (retCnt) *retCnt = 0;
    return onLink(__func__, vi, [&](Link& l) -> ViStatus {
        if (!cmd && cnt) return VI_ERROR_USER_BUF;
        size_t done = 0;
        ViStatus st = l.gpibCommand(cmd, cnt, &done);
        if (retCnt) *retCnt = static_cast<ViUInt32>(done);
        return st;
    });
}
ZU_API ViStatus viGpibPassControl(ViSession vi, ViUInt16 primAddr, ViUInt16 secAddr) {
    return onLink(__func__, vi, [&](Link& l) { return l.gpibPassControl(primAddr, secAddr); });
}
ZU_API ViStatus viMapTrigger(ViSession vi, ViInt16 trigSrc, ViInt16 trigDest, ViUInt16 mode) {
    return onLink(__func__, vi, [&](Link& l) { return l.mapTrigger(trigSrc, trigDest, mode); });
}
ZU_API ViStatus viUnmapTrigger(ViSession vi, ViInt16 trigSrc, ViInt16 trigDest) {
    return onLink(__func__, vi, [&](Link& l) { return l.unmapTrigger(trigSrc, trigDest); });
}
ZU_API ViStatus viAssertIntrSignal(ViSession vi, ViInt16 mode, ViUInt32 statusID) {
    return onLink(__func__, vi, [&](Link& l) { return l.assertIntrSignal(mode, statusID); });
}
ZU_API ViStatus viAssertUtilSignal(ViSession vi, ViUInt16 line) {
    return onLink(__func__, vi, [&](Link& l) { return l.assertUtilSignal(line); });
}
ZU_API ViStatus viVxiServantResponse(ViSession vi, ViInt16 mode, ViUInt32 resp) {
    return onLink(__func__, vi, [&](Link& l) { return l.vxiServantResponse(mode, resp); });
}
ZU_API ViStatus viUsbControlOut(ViSession vi, ViInt16 bmRequestType, ViInt16 bRequest,
                                ViUInt16 wValue, ViUInt16 wIndex, ViUInt16 wLength, ViConstBuf buf) {
    return onLink(__func__, vi, [&](Link& l) -> ViStatus {
        if (!buf && wLength) return VI_ERROR_USER_BUF;
        return l.usbControlOut(bmRequestType, bRequest, wValue, wIndex, wLength, buf);
    });
}
ZU_API ViStatus viUsbControlIn(ViSession vi, ViInt16 bmRequestType, ViInt16 bRequest,
                               ViUInt16 wValue, ViUInt16 wIndex, ViUInt16 wLength, ViPBuf buf,
                               ViPUInt16 retCnt) {
    if (retCnt) *retCnt = 0;
    return onLink(__func__, vi, [&](Link& l) -> ViStatus {
        if (!buf && wLength) return VI_ERROR_USER_BUF;
        ViUInt16 done = 0;
        ViStatus st = l.usbControlIn(bmRequestType, bRequest, wValue, wIndex, wLength, buf, &done);
        if (retCnt) *retCnt = done;
        return st;
    });
}

// ---- register-based operations ---------------------------------------------------------------

namespace {

template <typename T>
ViStatus inN(const char* op, ViSession vi, ViUInt16 space, ViBusAddress64 offset, T* val) {
    return onLink(op, vi, [&](Link& l) -> ViStatus {
        if (!val) return VI_ERROR_INV_PARAMETER;
        ViUInt64 v = 0;
        ViStatus st = l.in(space, offset, static_cast<int>(sizeof(T) * 8), &v);
        *val = static_cast<T>(v);
        return st;
    });
}

template <typename T>
ViStatus outN(const char* op, ViSession vi, ViUInt16 space, ViBusAddress64 offset, T val) {
    return onLink(op, vi, [&](Link& l) { return l.out(space, offset, static_cast<int>(sizeof(T) * 8), val); });
}

template <typename T>
ViStatus moveInN(const char* op, ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViBusSize length, T* buf) {
    return onLink(op, vi, [&](Link& l) -> ViStatus {
        if (!buf && length) return VI_ERROR_USER_BUF;
        return l.moveIn(space, offset, static_cast<int>(sizeof(T) * 8), length, buf);
    });
}

template <typename T>
ViStatus moveOutN(const char* op, ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViBusSize length, const T* buf) {
    return onLink(op, vi, [&](Link& l) -> ViStatus {
        if (!buf && length) return VI_ERROR_USER_BUF;
        return l.moveOut(space, offset, static_cast<int>(sizeof(T) * 8), length, buf);
    });
}

ViStatus moveAny(const char* op, ViSession vi, ViUInt16 srcSpace, ViBusAddress64 srcOffset, ViUInt16 srcWidth,
                 ViUInt16 destSpace, ViBusAddress64 destOffset, ViUInt16 destWidth, ViBusSize length) {
    int sw = widthBits(srcWidth), dw = widthBits(destWidth);
    if (!sw || !dw) return onSession(op, vi, [](Session&) { return VI_ERROR_INV_WIDTH; });
    return onLinkTimed(op, vi, [&](Link& l, const IoControl& io) {
        ViBusSize done = 0;
        return l.move(srcSpace, srcOffset, sw, destSpace, destOffset, dw, length, io, &done);
    });
}

// Queued on the session's worker; the completion event tells the outcome and the elements moved.
ViStatus moveAsyncAny(const char* op, ViSession vi, ViUInt16 srcSpace, ViBusAddress64 srcOffset, ViUInt16 srcWidth,
                      ViUInt16 destSpace, ViBusAddress64 destOffset, ViUInt16 destWidth,
                      ViBusSize length, ViPJobId jobId) {
    if (jobId) *jobId = 0;
    return onSession(op, vi, [&](Session& s) -> ViStatus {
        int sw = widthBits(srcWidth), dw = widthBits(destWidth);
        if (!sw || !dw) return VI_ERROR_INV_WIDTH;
        if (!(s.kind & kRegisterKinds)) return VI_ERROR_NSUP_OPER;
        ViStatus st = checkAccess(s);
        if (st < 0) return st;
        return startMoveJob(s, {srcSpace, srcOffset, sw, destSpace, destOffset, dw, length}, op, jobId);
    });
}

}  // namespace

ZU_API ViStatus viIn8(ViSession vi, ViUInt16 space, ViBusAddress offset, ViPUInt8 v) { return inN(__func__, vi, space, offset, v); }
ZU_API ViStatus viIn16(ViSession vi, ViUInt16 space, ViBusAddress offset, ViPUInt16 v) { return inN(__func__, vi, space, offset, v); }
ZU_API ViStatus viIn32(ViSession vi, ViUInt16 space, ViBusAddress offset, ViPUInt32 v) { return inN(__func__, vi, space, offset, v); }
ZU_API ViStatus viIn64(ViSession vi, ViUInt16 space, ViBusAddress offset, ViPUInt64 v) { return inN(__func__, vi, space, offset, v); }
ZU_API ViStatus viIn8Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViPUInt8 v) { return inN(__func__, vi, space, offset, v); }
ZU_API ViStatus viIn16Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViPUInt16 v) { return inN(__func__, vi, space, offset, v); }
ZU_API ViStatus viIn32Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViPUInt32 v) { return inN(__func__, vi, space, offset, v); }
ZU_API ViStatus viIn64Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViPUInt64 v) { return inN(__func__, vi, space, offset, v); }
ZU_API ViStatus viOut8(ViSession vi, ViUInt16 space, ViBusAddress offset, ViUInt8 v) { return outN(__func__, vi, space, offset, v); }
ZU_API ViStatus viOut16(ViSession vi, ViUInt16 space, ViBusAddress offset, ViUInt16 v) { return outN(__func__, vi, space, offset, v); }
ZU_API ViStatus viOut32(ViSession vi, ViUInt16 space, ViBusAddress offset, ViUInt32 v) { return outN(__func__, vi, space, offset, v); }
ZU_API ViStatus viOut64(ViSession vi, ViUInt16 space, ViBusAddress offset, ViUInt64 v) { return outN(__func__, vi, space, offset, v); }
ZU_API ViStatus viOut8Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViUInt8 v) { return outN(__func__, vi, space, offset, v); }
ZU_API ViStatus viOut16Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViUInt16 v) { return outN(__func__, vi, space, offset, v); }
ZU_API ViStatus viOut32Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViUInt32 v) { return outN(__func__, vi, space, offset, v); }
ZU_API ViStatus viOut64Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViUInt64 v) { return outN(__func__, vi, space, offset, v); }

ZU_API ViStatus viMoveIn8(ViSession vi, ViUInt16 sp, ViBusAddress o, ViBusSize n, ViAUInt8 b) { return moveInN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveIn16(ViSession vi, ViUInt16 sp, ViBusAddress o, ViBusSize n, ViAUInt16 b) { return moveInN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveIn32(ViSession vi, ViUInt16 sp, ViBusAddress o, ViBusSize n, ViAUInt32 b) { return moveInN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveIn64(ViSession vi, ViUInt16 sp, ViBusAddress o, ViBusSize n, ViAUInt64 b) { return moveInN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveIn8Ex(ViSession vi, ViUInt16 sp, ViBusAddress64 o, ViBusSize n, ViAUInt8 b) { return moveInN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveIn16Ex(ViSession vi, ViUInt16 sp, ViBusAddress64 o, ViBusSize n, ViAUInt16 b) { return moveInN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveIn32Ex(ViSession vi, ViUInt16 sp, ViBusAddress64 o, ViBusSize n, ViAUInt32 b) { return moveInN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveIn64Ex(ViSession vi, ViUInt16 sp, ViBusAddress64 o, ViBusSize n, ViAUInt64 b) { return moveInN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveOut8(ViSession vi, ViUInt16 sp, ViBusAddress o, ViBusSize n, ViAUInt8 b) { return moveOutN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveOut16(ViSession vi, ViUInt16 sp, ViBusAddress o, ViBusSize n, ViAUInt16 b) { return moveOutN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveOut32(ViSession vi, ViUInt16 sp, ViBusAddress o, ViBusSize n, ViAUInt32 b) { return moveOutN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveOut64(ViSession vi, ViUInt16 sp, ViBusAddress o, ViBusSize n, ViAUInt64 b) { return moveOutN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveOut8Ex(ViSession vi, ViUInt16 sp, ViBusAddress64 o, ViBusSize n, ViAUInt8 b) { return moveOutN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveOut16Ex(ViSession vi, ViUInt16 sp, ViBusAddress64 o, ViBusSize n, ViAUInt16 b) { return moveOutN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveOut32Ex(ViSession vi, ViUInt16 sp, ViBusAddress64 o, ViBusSize n, ViAUInt32 b) { return moveOutN(__func__, vi, sp, o, n, b); }
ZU_API ViStatus viMoveOut64Ex(ViSession vi, ViUInt16 sp, ViBusAddress64 o, ViBusSize n, ViAUInt64 b) { return moveOutN(__func__, vi, sp, o, n, b); }

ZU_API ViStatus viMove(ViSession vi, ViUInt16 srcSpace, ViBusAddress srcOffset, ViUInt16 srcWidth,
                       ViUInt16 destSpace, ViBusAddress destOffset, ViUInt16 destWidth, ViBusSize srcLength) {
    return moveAny(__func__, vi, srcSpace, srcOffset, srcWidth, destSpace, destOffset, destWidth, srcLength);
}
ZU_API ViStatus viMoveEx(ViSession vi, ViUInt16 srcSpace, ViBusAddress64 srcOffset, ViUInt16 srcWidth,
                         ViUInt16 destSpace, ViBusAddress64 destOffset, ViUInt16 destWidth, ViBusSize srcLength) {
    return moveAny(__func__, vi, srcSpace, srcOffset, srcWidth, destSpace, destOffset, destWidth, srcLength);
}
ZU_API ViStatus viMoveAsync(ViSession vi, ViUInt16 srcSpace, ViBusAddress srcOffset, ViUInt16 srcWidth,
                            ViUInt16 destSpace, ViBusAddress destOffset, ViUInt16 destWidth,
                            ViBusSize srcLength, ViPJobId jobId) {
    return moveAsyncAny(__func__, vi, srcSpace, srcOffset, srcWidth, destSpace, destOffset, destWidth, srcLength, jobId);
}
ZU_API ViStatus viMoveAsyncEx(ViSession vi, ViUInt16 srcSpace, ViBusAddress64 srcOffset, ViUInt16 srcWidth,
                              ViUInt16 destSpace, ViBusAddress64 destOffset, ViUInt16 destWidth,
                              ViBusSize srcLength, ViPJobId jobId) {
    return moveAsyncAny(__func__, vi, srcSpace, srcOffset, srcWidth, destSpace, destOffset, destWidth, srcLength, jobId);
}

ZU_API ViStatus viMapAddress(ViSession vi, ViUInt16 mapSpace, ViBusAddress mapOffset, ViBusSize mapSize,
                             ViBoolean access, ViAddr suggested, ViPAddr address) {
    if (address) *address = nullptr;
    return onLink(__func__, vi, [&](Link& l) -> ViStatus {
        if (!address) return VI_ERROR_INV_PARAMETER;
        return l.mapAddress(mapSpace, mapOffset, mapSize, access != VI_FALSE, suggested, address);
    });
}
ZU_API ViStatus viMapAddressEx(ViSession vi, ViUInt16 mapSpace, ViBusAddress64 mapOffset, ViBusSize mapSize,
                               ViBoolean access, ViAddr suggested, ViPAddr address) {
    return viMapAddress(vi, mapSpace, mapOffset, mapSize, access, suggested, address);
}
ZU_API ViStatus viUnmapAddress(ViSession vi) {
    return onLink(__func__, vi, [&](Link& l) { return l.unmapAddress(); });
}

namespace {
template <typename T>
void peekN(const char* op, ViSession vi, ViAddr address, T* val) {
    if (!val) return;
    *val = 0;
    onLink(op, vi, [&](Link& l) -> ViStatus {
        ViUInt64 v = 0;
        ViStatus st = l.peek(address, static_cast<int>(sizeof(T) * 8), &v);
        *val = static_cast<T>(v);
        return st;
    });
}
template <typename T>
void pokeN(const char* op, ViSession vi, ViAddr address, T val) {
    onLink(op, vi, [&](Link& l) { return l.poke(address, static_cast<int>(sizeof(T) * 8), val); });
}
}  // namespace

ZU_API void viPeek8(ViSession vi, ViAddr a, ViPUInt8 v) { peekN(__func__, vi, a, v); }
ZU_API void viPeek16(ViSession vi, ViAddr a, ViPUInt16 v) { peekN(__func__, vi, a, v); }
ZU_API void viPeek32(ViSession vi, ViAddr a, ViPUInt32 v) { peekN(__func__, vi, a, v); }
ZU_API void viPeek64(ViSession vi, ViAddr a, ViPUInt64 v) { peekN(__func__, vi, a, v); }
ZU_API void viPoke8(ViSession vi, ViAddr a, ViUInt8 v) { pokeN(__func__, vi, a, v); }
ZU_API void viPoke16(ViSession vi, ViAddr a, ViUInt16 v) { pokeN(__func__, vi, a, v); }
ZU_API void viPoke32(ViSession vi, ViAddr a, ViUInt32 v) { pokeN(__func__, vi, a, v); }
ZU_API void viPoke64(ViSession vi, ViAddr a, ViUInt64 v) { pokeN(__func__, vi, a, v); }

ZU_API ViStatus viMemAlloc(ViSession vi, ViBusSize size, ViPBusAddress offset) {
    if (offset) *offset = 0;
    return onLink(__func__, vi, [&](Link& l) -> ViStatus {
        if (!offset) return VI_ERROR_INV_PARAMETER;
        return l.memAlloc(size, offset);
    });
}
ZU_API ViStatus viMemAllocEx(ViSession vi, ViBusSize size, ViPBusAddress64 offset) {
    return viMemAlloc(vi, size, offset);
}
ZU_API ViStatus viMemFree(ViSession vi, ViBusAddress offset) {
    return onLink(__func__, vi, [&](Link& l) { return l.memFree(offset); });
}
ZU_API ViStatus viMemFreeEx(ViSession vi, ViBusAddress64 offset) { return viMemFree(vi, offset); }

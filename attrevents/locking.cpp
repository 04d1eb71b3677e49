#include "attrevents/locking.h"

#include <cstring>

#include "attrevents/longcall.h"
#include "session/escaped.h"
#include "session/opstatus.h"
#include "session/sessionrecord.h"
#include "toolslib/toolbox/escaped.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"
#include "zuvisa/visa.h"

namespace {

SessionRecord* recordOf(void* callbackData) {
    return static_cast<SessionRecord*>(callbackData);
}

void appendPiece(void* context, const char* piece, size_t length) {
    // The codec breaks lines after line ends; the key's one line keeps only their escapes.
    for (size_t k = 0; k < length; ++k)
        if (piece[k] != '\n') static_cast<std::string*>(context)->push_back(piece[k]);
}

void chooseLockType(int panel, bool shared) {
    SetCtrlVal(panel, LOCK_EXCLUSIVE, !shared);
    SetCtrlVal(panel, LOCK_SHARED, shared);
    SetCtrlAttribute(panel, LOCK_REQKEY, ATTR_DIMMED, !shared);
}

}  // namespace

std::string shownAccessKey(const char* key) {
    std::string shown;
    EscText_Encode(reinterpret_cast<const unsigned char*>(key), std::strlen(key), appendPiece,
                   &shown);
    return shown;
}

int LockExclusive(int panel, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) chooseLockType(panel, false);
    return 0;
}

int LockShared(int panel, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) chooseLockType(panel, true);
    return 0;
}

int ExecuteLock(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    char requested[256] = "";
    GetCtrlVal(panel, LOCK_REQKEY, requested, sizeof requested);
    beautifyWrite(requested);
    ViUInt32 timeout = 0;
    int shared = 0;
    GetCtrlVal(panel, LOCK_TIMEOUT, &timeout);
    GetCtrlVal(panel, LOCK_SHARED, &shared);
    const ViAccessMode type = shared ? VI_SHARED_LOCK : VI_EXCLUSIVE_LOCK;
    char returned[256] = "";
    const ViSession vi = r->session;
    auto lock = [&] { return viLock(vi, type, timeout, requested, returned); };
    bool closed = false;
    const ViStatus status =
        timeout != 0 ? callKeepingWindowsUsable(r, panel, lock, &closed) : lock();
    if (closed) return 0;
    returned[sizeof returned - 1] = '\0';
    // The key of the last shared lock stays until an unlock releases every lock.
    if (returned[0] != '\0') std::memcpy(r->accessKey, returned, sizeof r->accessKey);
    SetCtrlVal(panel, LOCK_ACCESSKEY, shownAccessKey(r->accessKey).c_str());
    showStatus(panel, LOCK_STATUS, LOCK_STATUSNAME, status);
    return 0;
}

int ExecuteUnlock(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    const ViStatus status = viUnlock(r->session);
    // A nested lock answers another success code: its key is still held.
    if (status == VI_SUCCESS) r->accessKey[0] = '\0';
    showStatus(panel, UNLOCK_STATUS, UNLOCK_STATUSNAME, status);
    return 0;
}

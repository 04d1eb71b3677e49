#include "attrevents/completion.h"

#include <algorithm>
#include <vector>

#include "app/registry.h"
#include "session/escaped.h"
#include "session/msgio.h"
#include "session/opstatus.h"
#include "session/regio.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"

namespace {

void finishRead(const SessionRecord* r, ViStatus status) {
    const int panel = r->readPanel;
    if (panel <= 0) return;
    // A count beyond the buffer would be the library's error; only the buffer is shown.
    ViUInt32 count = std::min(r->completionCount, r->readSize);
    SetCtrlAttribute(panel, READ_DATA, ATTR_DIMMED, 0);
    beautifyRead(r->readBuffer, r->readBuffer ? count : 0, panel, READ_DATA);
    SetCtrlVal(panel, READ_RETCOUNT, r->completionCount);
    showStatus(panel, READ_STATUS, READ_STATUSNAME, status);
    setReadBusy(panel, false);
}

void finishWrite(const SessionRecord* r, ViStatus status) {
    const int panel = r->writePanel;
    if (panel <= 0) return;
    SetCtrlVal(panel, WRITE_RETCOUNT, r->completionCount);
    showStatus(panel, WRITE_STATUS, WRITE_STATUSNAME, status);
    setWriteBusy(panel, false);
}

// Closed records that wait for completions already posted. GUI thread only.
std::vector<SessionRecord*>& waitingRecords() {
    static std::vector<SessionRecord*> records;
    return records;
}

void forgetWaiting(SessionRecord* r) {
    auto& records = waitingRecords();
    records.erase(std::remove(records.begin(), records.end(), r), records.end());
}

bool nothingHolds(const SessionRecord* r) {
    return r->completionsPosted.load() == 0 && r->callsWaiting == 0;
}

// The moves: the status, the panel usable again, and for Move In the element at the index.
void finishMoveIn(const SessionRecord* r, ViStatus status) {
    const int panel = r->moveInPanel;
    if (panel <= 0) return;
    showStatus(panel, MOVEIN_STATUS, MOVEIN_STATUSNAME, status);
    setMoveInBusy(panel, false);
    ViUInt32 count = 0;
    GetCtrlVal(panel, MOVEIN_COUNT, &count);
    setElementIndexRange(panel, MOVEIN_INDEX, count);
    showMoveInElement(r, panel);
}

void finishMoveOut(const SessionRecord* r, ViStatus status) {
    const int panel = r->moveOutPanel;
    if (panel <= 0) return;
    showStatus(panel, MOVEOUT_STATUS, MOVEOUT_STATUSNAME, status);
    setMoveOutBusy(panel, false);
    ViUInt32 count = 0;
    GetCtrlVal(panel, MOVEOUT_COUNT, &count);
    setElementIndexRange(panel, MOVEOUT_INDEX, count);
}

void finishMove(const SessionRecord* r, ViStatus status) {
    const int panel = r->movePanel;
    if (panel <= 0) return;
    showStatus(panel, MOVE_STATUS, MOVE_STATUSNAME, status);
    setMoveBusy(panel, false);
}

}  // namespace

void releaseClosedRecord(SessionRecord* r) {
    r->closed = true;
    if (nothingHolds(r)) {
        delete r;
        return;
    }
    try {
        waitingRecords().push_back(r);
    } catch (...) {
        // Not remembered: the record stays until its completion runs, or is lost at exit.
    }
}

void holdRecordForCall(SessionRecord* r) {
    ++r->callsWaiting;
}

void releaseRecordAfterCall(SessionRecord* r) {
    --r->callsWaiting;
    if (r->closed && nothingHolds(r)) {
        forgetWaiting(r);
        delete r;
    }
}

void releaseOrphanedRecords() {
    for (SessionRecord* r : waitingRecords()) delete r;
    waitingRecords().clear();
}

void postCompletion(SessionRecord* r) {
    r->completionsPosted.fetch_add(1);
    if (PostDeferredCallToThread(ioDeferredCall, r, initThreadID) < 0)
        r->completionsPosted.fetch_sub(1);
}

void ioDeferredCall(void* data) {
    auto* r = static_cast<SessionRecord*>(data);
    int stillPosted = r->completionsPosted.fetch_sub(1) - 1;
    if (r->closed) {
        // The window went while this was on its way; the last completion frees the record.
        if (stillPosted == 0 && r->callsWaiting == 0) {
            forgetWaiting(r);
            delete r;
        }
        return;
    }
    // The completion belongs to the window's one pending job, whichever panel started it.
    const ViStatus status = r->completionStatus;
    switch (r->asyncKind) {
        case ASYNC_READ:
            finishRead(r, status);
            break;
        case ASYNC_WRITE:
            finishWrite(r, status);
            break;
        case ASYNC_MOVE_IN:
            finishMoveIn(r, status);
            break;
        case ASYNC_MOVE_OUT:
            finishMoveOut(r, status);
            break;
        case ASYNC_MOVE:
            finishMove(r, status);
            break;
        default:
            break;  // nothing pending: nothing to show
    }
    r->jobId = 0;
    r->asyncKind = ASYNC_NONE;
}

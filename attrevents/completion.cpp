#include "attrevents/completion.h"

#include <algorithm>

#include "app/registry.h"
#include "session/escaped.h"
#include "session/msgio.h"
#include "session/opstatus.h"
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

}  // namespace

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
        if (stillPosted == 0) delete r;
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
        default:
            break;  // nothing pending: nothing to show
    }
    r->jobId = 0;
    r->asyncKind = ASYNC_NONE;
}

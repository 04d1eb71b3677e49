#include "attrevents/handler.h"

#include "attrevents/completion.h"
#include "session/sessionrecord.h"

ViStatus _VI_FUNCH talmikHandler(ViSession, ViEventType eventType, ViEvent context,
                                 ViAddr userHandle) {
    auto* r = static_cast<SessionRecord*>(userHandle);
    if (!r) return VI_SUCCESS;
    if (eventType == VI_EVENT_IO_COMPLETION) {
        ViJobId jobId = 0;
        ViStatus status = VI_SUCCESS;
        ViUInt32 count = 0;
        viGetAttribute(context, VI_ATTR_JOB_ID, &jobId);
        viGetAttribute(context, VI_ATTR_STATUS, &status);
        viGetAttribute(context, VI_ATTR_RET_COUNT_32, &count);
        r->completionStatus = status;
        r->completionCount = count;
        postCompletion(r);
    }
    return VI_SUCCESS;
}

#include "attrevents/handler.h"

#include <string>

#include "attrevents/completion.h"
#include "attrevents/eventtext.h"
#include "session/sessionrecord.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"

ViStatus _VI_FUNCH talmikHandler(ViSession, ViEventType eventType, ViEvent context,
                                 ViAddr userHandle) {
    auto* r = static_cast<SessionRecord*>(userHandle);
    if (!r) return VI_SUCCESS;
    EventValues values;
    readEventValues(context, eventType, &values);
    if (eventType == VI_EVENT_IO_COMPLETION) {
        // Stored before the post: the GUI thread reads them when the post arrives.
        r->completionStatus = values.status;
        r->completionCount = values.retCount;
        postCompletion(r);
    }
    // Without a handler sheet (descriptive names) other events have nowhere to go.
    const int sheet = r->eventHandlerPanel;
    if (sheet <= 0) return VI_SUCCESS;
    // The runtime takes list items from this thread and inserts them on the GUI thread; a sheet
    // discarded meanwhile turns them away.
    for (const std::string& line : handlerSheetLines(values))
        InsertListItem(sheet, EVENTHANDLER_EVENTS, -1, line.c_str(), nullptr);
    return VI_SUCCESS;
}

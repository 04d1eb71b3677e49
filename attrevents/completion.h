// Completion of a session window's asynchronous job on the GUI thread: the VISA handler stores
// the job's status and count in the window's record and posts ioDeferredCall, which shows the
// outcome in the panel that started the job and makes that panel usable again.
#pragma once

#include "session/sessionrecord.h"

// Posts ioDeferredCall for the record to the GUI thread. Any thread; the record's completion
// status and count must be stored first.
void postCompletion(SessionRecord* record);

// The deferred call (its data is the record).
void ioDeferredCall(void* record);

// A closed window's record: freed at once, or by the last completion still on its way to the
// GUI thread. GUI thread, after the session is closed (no handler runs any more).
void releaseClosedRecord(SessionRecord* record);
// A call that runs the event loop while it waits keeps the record of its window, which may
// close meanwhile: the release frees a closed record that nothing else holds. GUI thread.
void holdRecordForCall(SessionRecord* record);
void releaseRecordAfterCall(SessionRecord* record);
// Frees the records whose completions will never run because the runtime dropped its queue of
// deferred calls. Call once the runtime has ended.
void releaseOrphanedRecords();

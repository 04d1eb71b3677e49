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

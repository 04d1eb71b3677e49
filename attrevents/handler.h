// The program's VISA event handler. It runs on a thread of the VISA library: it only stores
// into the session record and posts work to the GUI thread.
#pragma once

#include "zuvisa/visa.h"

// userHandle is the session record of the window the handler was installed for.
ViStatus _VI_FUNCH talmikHandler(ViSession vi, ViEventType eventType, ViEvent context,
                                 ViAddr userHandle);

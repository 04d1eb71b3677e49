// A VISA call that may wait long (a lock or an event wait with a timeout) runs on a helper
// thread while the GUI thread keeps serving every window; only the calling panel is dimmed.
#pragma once

#include <functional>

#include "session/sessionrecord.h"

// Dims the panel, lets it draw, and runs call on a helper thread while the event loop runs.
// Returns the call's status. *windowClosed tells that the panel's window closed meanwhile (its
// session closed, which ends the call): the panel and the record are then gone and must not be
// touched. Otherwise the panel is undimmed again.
ViStatus callKeepingWindowsUsable(SessionRecord* record, int panel,
                                  const std::function<ViStatus()>& call, bool* windowClosed);

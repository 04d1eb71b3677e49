// The Enable Event, Disable Event, Discard Events and Wait on Event panels and the event handler
// sheet: the VISA event model driven by hand for the queue, the handler and the suspended
// handler.
#pragma once

#include "session/sessionrecord.h"

// The mechanism the toggles of an event panel name: VI_QUEUE, VI_HNDLR and VI_SUSPEND_HNDLR
// added up (0 when none is on).
ViUInt16 eventMechanism(bool queue, bool handler, bool suspended);

// Fills the event rings of a new session window for its resource kind and shows each ring's
// first event in its number field, dimmed. Panels may be 0.
void setupEventPanels(SessionRecord* record, int enablePanel, int disablePanel,
                      int discardPanel, int waitPanel, ViUInt32 kindMask);

// The event catalogue: every event type a session window offers, by resource kind, and the
// names under which events are shown.
#pragma once

#include "zuvisa/visa.h"

struct EventListEntry {
    const char* viName;  // the VISA name, also the help topic; null ends the table
    const char* label;   // the descriptive label, or null
    ViUInt32 eventId;    // the event type, also the ring item's value
    ViUInt32 classMask;  // the resource kinds (session window kind bits) that get the row
};

// The last item of every event ring, value 0: any event type, typed by number.
#define EVENT_RING_OTHER "<Other>..."

// The 22 rows (row 0: VI_ALL_ENABLED_EVENTS) and the all-zero terminator.
extern const EventListEntry eventList[];

// The first row with this event type, or null.
const EventListEntry* findEventRow(ViEventType eventType);

// The VISA name of an event type; an unknown type as "0x%08lX", written into one static buffer
// that every caller shares and the next unknown type overwrites.
const char* eventName(ViEventType eventType);

// Appends to an event ring, in table order, every row whose class mask shares a bit with
// kindMask (text by name style: the VISA name in style 1, else the label, or the VISA name for
// a row without one; value the event type), then EVENT_RING_OTHER with the value 0. The Enable
// Event ring leaves out VI_ALL_ENABLED_EVENTS (withAllEnabled false); Disable, Discard and Wait
// offer it. Returns the number of items added, or the runtime's negative error.
int fillEventRing(int panel, int ring, ViUInt32 kindMask, int nameStyle, bool withAllEnabled);

#include "attrevents/events.h"

#include <string>

#include "attrevents/completion.h"
#include "attrevents/eventlist.h"
#include "attrevents/eventtext.h"
#include "attrevents/handler.h"
#include "attrevents/longcall.h"
#include "app/talmik.h"
#include "controls/help.h"
#include "session/opstatus.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"
#include "zuvisa/visa.h"

namespace {

SessionRecord* recordOf(void* callbackData) {
    return static_cast<SessionRecord*>(callbackData);
}

// The controls an event panel has; the three mechanism panels share their numbering, and Wait
// on Event has no mechanism toggles.
struct EventControls {
    int ring, id, queue, handler, suspend, status, statusName;
};
const EventControls kEnable{ENABLEEVENT_EVENT,     ENABLEEVENT_EVENTID,   ENABLEEVENT_QUEUE,
                            ENABLEEVENT_HANDLER,   ENABLEEVENT_SUSPEND,   ENABLEEVENT_STATUS,
                            ENABLEEVENT_STATUSNAME};
const EventControls kDisable{DISABLEEVENT_EVENT,     DISABLEEVENT_EVENTID, DISABLEEVENT_QUEUE,
                             DISABLEEVENT_HANDLER,   DISABLEEVENT_SUSPEND, DISABLEEVENT_STATUS,
                             DISABLEEVENT_STATUSNAME};
const EventControls kDiscard{DISCARDEVENTS_EVENT,     DISCARDEVENTS_EVENTID, DISCARDEVENTS_QUEUE,
                             DISCARDEVENTS_HANDLER,   DISCARDEVENTS_SUSPEND, DISCARDEVENTS_STATUS,
                             DISCARDEVENTS_STATUSNAME};

ViEventType eventIdOf(int panel, const EventControls& c) {
    ViUInt32 id = 0;
    GetCtrlVal(panel, c.id, &id);
    return id;
}

struct Mechanisms {
    bool queue, handler, suspended;
};
Mechanisms mechanismsOf(int panel, const EventControls& c) {
    int queue = 0, handler = 0, suspended = 0;
    GetCtrlVal(panel, c.queue, &queue);
    GetCtrlVal(panel, c.handler, &handler);
    GetCtrlVal(panel, c.suspend, &suspended);
    return {queue != 0, handler != 0, suspended != 0};
}

// The toggles act as one radio group: the one committed is on, the others off.
void chooseMechanism(int panel, const EventControls& c, int chosen, int event) {
    if (event != EVENT_COMMIT) return;
    for (int toggle : {c.queue, c.handler, c.suspend}) SetCtrlVal(panel, toggle, toggle == chosen);
}

int eventRingCallback(int panel, int control, int idField, int event, void* data, int eventData1,
                      int eventData2) {
    if (event == EVENT_COMMIT) {
        followRingIntoField(panel, control, idField);
    } else if (event == EVENT_RIGHT_CLICK) {
        int whatsThis = helpLoaded && Help_MessageFromUI(panel, control) != nullptr;
        return ContextSensitiveHelpExt(panel, control, whatsThis, 0, 1, 0, 1, data, eventData2,
                                       eventData1);
    }
    return 0;
}

// Enables for a handler mechanism, installing the program's handler at the first need.
ViStatus enableForHandler(SessionRecord* r, ViEventType id, ViUInt16 mechanism) {
    ViStatus status = viEnableEvent(r->session, id, mechanism, VI_NULL);
    if (status == VI_ERROR_HNDLR_NINSTALLED) {
        viInstallHandler(r->session, id, talmikHandler, r);
        status = viEnableEvent(r->session, id, mechanism, VI_NULL);
    }
    return status;
}

template <typename Call>
int executeWithMechanism(int panel, int event, const EventControls& c, Call call) {
    if (event != EVENT_COMMIT) return 0;
    const Mechanisms m = mechanismsOf(panel, c);
    const ViStatus status =
        call(eventIdOf(panel, c), eventMechanism(m.queue, m.handler, m.suspended));
    showStatus(panel, c.status, c.statusName, status);
    return 0;
}

void fillRing(SessionRecord* r, int panel, int ring, int idField, ViUInt32 kindMask,
              bool withAllEnabled) {
    if (panel <= 0) return;
    fillEventRing(panel, ring, kindMask, r->nameStyle, withAllEnabled);
    followRingIntoField(panel, ring, idField);
}

void showWaitItems(int panel, const std::vector<std::string>& items) {
    for (const std::string& item : items)
        InsertListItem(panel, WAITONEVENT_INFO, -1, item.c_str(), nullptr);
}

}  // namespace

ViUInt16 eventMechanism(bool queue, bool handler, bool suspended) {
    return static_cast<ViUInt16>((queue ? VI_QUEUE : 0) | (handler ? VI_HNDLR : 0) |
                                 (suspended ? VI_SUSPEND_HNDLR : 0));
}

void setupEventPanels(SessionRecord* r, int enablePanel, int disablePanel, int discardPanel,
                      int waitPanel, ViUInt32 kindMask) {
    // Enabling takes no VI_ALL_ENABLED_EVENTS; the other three do.
    fillRing(r, enablePanel, kEnable.ring, kEnable.id, kindMask, false);
    fillRing(r, disablePanel, kDisable.ring, kDisable.id, kindMask, true);
    fillRing(r, discardPanel, kDiscard.ring, kDiscard.id, kindMask, true);
    fillRing(r, waitPanel, WAITONEVENT_EVENT, WAITONEVENT_EVENTID, kindMask, true);
}

int ExecuteEnableEvent(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    const ViEventType id = eventIdOf(panel, kEnable);
    const Mechanisms m = mechanismsOf(panel, kEnable);
    ViStatus result = VI_SUCCESS;
    if (m.queue) {
        result = viEnableEvent(r->session, id, VI_QUEUE, VI_NULL);
        if (result < VI_SUCCESS) {
            showStatus(panel, kEnable.status, kEnable.statusName, result);
            return 0;
        }
    }
    for (auto [on, mechanism] : {std::pair{m.handler, ViUInt16{VI_HNDLR}},
                                 std::pair{m.suspended, ViUInt16{VI_SUSPEND_HNDLR}}}) {
        if (!on) continue;
        const ViStatus status = enableForHandler(r, id, mechanism);
        if (status != VI_SUCCESS) result = status;
    }
    if (!m.queue && !m.handler && !m.suspended) result = VI_ERROR_INV_MECH;
    showStatus(panel, kEnable.status, kEnable.statusName, result);
    return 0;
}

int ExecuteDisableEvent(int panel, int, int event, void* callbackData, int, int) {
    const ViSession vi = recordOf(callbackData)->session;
    return executeWithMechanism(panel, event, kDisable, [vi](ViEventType id, ViUInt16 mechanism) {
        return viDisableEvent(vi, id, mechanism);
    });
}

int ExecuteDiscardEvents(int panel, int, int event, void* callbackData, int, int) {
    const ViSession vi = recordOf(callbackData)->session;
    return executeWithMechanism(panel, event, kDiscard, [vi](ViEventType id, ViUInt16 mechanism) {
        return viDiscardEvents(vi, id, mechanism);
    });
}

int ExecuteWaitOnEvent(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    ViUInt32 id = 0, timeout = 0;
    GetCtrlVal(panel, WAITONEVENT_EVENTID, &id);
    GetCtrlVal(panel, WAITONEVENT_TIMEOUT, &timeout);
    ClearListCtrl(panel, WAITONEVENT_INFO);
    ViEventType type = 0;
    ViEvent context = VI_NULL;
    const ViSession vi = r->session;
    auto wait = [&] { return viWaitOnEvent(vi, id, timeout, &type, &context); };
    bool closed = false;
    const ViStatus status =
        timeout != 0 ? callKeepingWindowsUsable(r, panel, wait, &closed) : wait();
    if (closed) {
        // The window went while waiting; its session took any event context with it.
        return 0;
    }
    SetCtrlAttribute(panel, WAITONEVENT_INFO, ATTR_DIMMED, status < VI_SUCCESS);
    if (status >= VI_SUCCESS) {
        EventValues values;
        readEventValues(context, type, &values);
        showWaitItems(panel, waitOnEventItems(values));
        viClose(context);
        if (type == VI_EVENT_IO_COMPLETION) {
            // A job finished through the queue completes its panel as the handler would.
            r->completionStatus = values.status;
            r->completionCount = values.retCount;
            postCompletion(r);
        }
    }
    showStatus(panel, WAITONEVENT_STATUS, WAITONEVENT_STATUSNAME, status);
    return 0;
}

#define MECHANISM_TOGGLE(name, controls, toggle)                         \
    int name(int panel, int, int event, void*, int, int) {              \
        chooseMechanism(panel, controls, controls.toggle, event);        \
        return 0;                                                        \
    }
MECHANISM_TOGGLE(EnaEventQueue, kEnable, queue)
MECHANISM_TOGGLE(EnaEventHandler, kEnable, handler)
MECHANISM_TOGGLE(EnaEventSuspend, kEnable, suspend)
MECHANISM_TOGGLE(DisaEventQueue, kDisable, queue)
MECHANISM_TOGGLE(DisaEventHandler, kDisable, handler)
MECHANISM_TOGGLE(DisaEventSuspend, kDisable, suspend)
MECHANISM_TOGGLE(DiscEventQueue, kDiscard, queue)
MECHANISM_TOGGLE(DiscEventHandler, kDiscard, handler)
MECHANISM_TOGGLE(DiscEventSuspend, kDiscard, suspend)

int EventCallbackEnable(int panel, int control, int event, void* data, int d1, int d2) {
    return eventRingCallback(panel, control, kEnable.id, event, data, d1, d2);
}
int EventCallbackDisable(int panel, int control, int event, void* data, int d1, int d2) {
    return eventRingCallback(panel, control, kDisable.id, event, data, d1, d2);
}
int EventCallbackDiscard(int panel, int control, int event, void* data, int d1, int d2) {
    return eventRingCallback(panel, control, kDiscard.id, event, data, d1, d2);
}
int EventCallbackWait(int panel, int control, int event, void* data, int d1, int d2) {
    return eventRingCallback(panel, control, WAITONEVENT_EVENTID, event, data, d1, d2);
}

int ExecuteClearList(int panel, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) ClearListCtrl(panel, EVENTHANDLER_EVENTS);
    return 0;
}

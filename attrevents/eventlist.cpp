#include "attrevents/eventlist.h"

#include <cstdio>

#include "uiruntime/uiruntime.h"

// clang-format off
const EventListEntry eventList[] = {
    // viName, label, event type, kinds
    {"VI_ALL_ENABLED_EVENTS", "All Enabled Events", 0x3FFF7FFF, 0x1FFFF},
    {"VI_EVENT_IO_COMPLETION", "I/O Completion", 0x3FFF2009, 0x1E7FF},
    {"VI_EVENT_EXCEPTION", "Error Exception", 0xBFFF200E, 0xEFFF},
    {"VI_EVENT_SERVICE_REQ", "Service Request", 0x3FFF200B, 0x840B},
    {"VI_EVENT_VXI_SIGP", "VXI Signal or Interrupt", 0x3FFF2020, 0x6},
    {"VI_EVENT_VXI_VME_INTR", "VXI or VME Interrupt", 0xBFFF2021, 0x26},
    {"VI_EVENT_TRIG", "Trigger", 0xBFFF200A, 0x7C06},
    {"VI_EVENT_CLEAR", "Device Clear Received", 0x3FFF200D, 0x6400},
    {"VI_EVENT_GPIB_CIC", "GPIB CIC Received", 0x3FFF2012, 0x400},
    {"VI_EVENT_GPIB_TALK", "GPIB Talk State", 0x3FFF2013, 0x2400},
    {"VI_EVENT_GPIB_LISTEN", "GPIB Listen State", 0x3FFF2014, 0x2400},
    {"VI_EVENT_VXI_VME_SYSFAIL", "VXI or VME Sysfail", 0x3FFF201D, 0x1800},
    {"VI_EVENT_VXI_VME_SYSRESET", "VXI or VME Sysreset", 0x3FFF201E, 0x5800},
    {"VI_EVENT_VXI_DEV_CMD", "VXI Miscellaneous Command", 0xBFFF200F, 0x4000},
    {"VI_EVENT_PXI_INTR", "PXI Interrupt", 0x3FFF2022, 0x200},
    {"VI_EVENT_ASRL_BREAK", nullptr, 0x3FFF2023, 0x40},
    {"VI_EVENT_ASRL_CTS", nullptr, 0x3FFF2029, 0x40},
    {"VI_EVENT_ASRL_DSR", nullptr, 0x3FFF202A, 0x40},
    {"VI_EVENT_ASRL_DCD", nullptr, 0x3FFF202C, 0x40},
    {"VI_EVENT_ASRL_RI", nullptr, 0x3FFF202E, 0x40},
    {"VI_EVENT_ASRL_CHAR", nullptr, 0x3FFF2035, 0x40},
    {"VI_EVENT_ASRL_TERMCHAR", nullptr, 0x3FFF2024, 0x40},
    {nullptr, nullptr, 0, 0},
};
// clang-format on

const EventListEntry* findEventRow(ViEventType eventType) {
    for (const EventListEntry* row = eventList; row->viName; ++row) {
        if (row->eventId == eventType) return row;
    }
    return nullptr;
}

const char* eventName(ViEventType eventType) {
    // Shared by every caller: the next unknown type overwrites it.
    static char unknown[16];
    if (const EventListEntry* row = findEventRow(eventType)) return row->viName;
    snprintf(unknown, sizeof unknown, "0x%08lX", static_cast<unsigned long>(eventType));
    return unknown;
}

int fillEventRing(int panel, int ring, ViUInt32 kindMask, int nameStyle, bool withAllEnabled) {
    int added = 0;
    // Row 0 is VI_ALL_ENABLED_EVENTS, which enabling does not accept.
    for (const EventListEntry* row = withAllEnabled ? eventList : eventList + 1; row->viName;
         ++row) {
        if (!(row->classMask & kindMask)) continue;
        const char* text = nameStyle == 1 || !row->label ? row->viName : row->label;
        int st = InsertListItem(panel, ring, -1, text, row->eventId);
        if (st < 0) return st;
        ++added;
    }
    int st = InsertListItem(panel, ring, -1, EVENT_RING_OTHER, ViUInt32{0});
    return st < 0 ? st : added + 1;
}

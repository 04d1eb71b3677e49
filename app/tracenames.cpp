#include "app/tracenames.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "attrevents/attrlist.h"
#include "attrevents/eventlist.h"
#include "session/statusnames.h"
#include "uiruntime/uidefs.h"
#include "visalib/trace.h"
#include "zuvisa/visa.h"

namespace {

// statusName answers "<Unknown>" for a code without a name; the trace then shows the number.
const char* knownStatusName(ViStatus status) {
    const char* name = statusName(status);
    return std::strcmp(name, "<Unknown>") == 0 ? nullptr : name;
}

// The attributes of event contexts, which handlers and waits read and which the attribute
// catalogue leaves out: their names and the bytes of their values (0: text).
struct EventAttribute {
    ViAttr id;
    const char* name;
    int size;
};

#define EVENT_ATTRIBUTE(id, size) {id, #id, size}

const EventAttribute kEventAttributes[] = {
    EVENT_ATTRIBUTE(VI_ATTR_EVENT_TYPE, 4),          EVENT_ATTRIBUTE(VI_ATTR_STATUS, 4),
    EVENT_ATTRIBUTE(VI_ATTR_JOB_ID, 4),              EVENT_ATTRIBUTE(VI_ATTR_RET_COUNT_32, 4),
    EVENT_ATTRIBUTE(VI_ATTR_RET_COUNT_64, 8),        EVENT_ATTRIBUTE(VI_ATTR_BUFFER, 8),
    EVENT_ATTRIBUTE(VI_ATTR_OPER_NAME, 0),           EVENT_ATTRIBUTE(VI_ATTR_SIGP_STATUS_ID, 2),
    EVENT_ATTRIBUTE(VI_ATTR_RECV_TRIG_ID, 2),        EVENT_ATTRIBUTE(VI_ATTR_INTR_STATUS_ID, 4),
    EVENT_ATTRIBUTE(VI_ATTR_RECV_INTR_LEVEL, 2),     EVENT_ATTRIBUTE(VI_ATTR_GPIB_RECV_CIC_STATE, 2),
    EVENT_ATTRIBUTE(VI_ATTR_RECV_TCPIP_ADDR, 0),     EVENT_ATTRIBUTE(VI_ATTR_VXI_DEV_CMD_TYPE, 2),
    EVENT_ATTRIBUTE(VI_ATTR_VXI_DEV_CMD_VALUE, 4),   EVENT_ATTRIBUTE(VI_ATTR_USB_RECV_INTR_SIZE, 2),
    EVENT_ATTRIBUTE(VI_ATTR_PXI_RECV_INTR_SEQ, 4),   EVENT_ATTRIBUTE(VI_ATTR_PXI_RECV_INTR_DATA, 4),
};

#undef EVENT_ATTRIBUTE

const EventAttribute* eventAttribute(ViAttr attribute) {
    for (const EventAttribute& a : kEventAttributes)
        if (a.id == attribute) return &a;
    return nullptr;
}

const char* attributeName(ViAttr attribute) {
    if (const AttrListEntry* row = findAttrRow(attribute)) return row->viName;
    const EventAttribute* a = eventAttribute(attribute);
    return a ? a->name : nullptr;
}

// The size of the variable the application gives viGetAttribute, as the catalogue types it.
int attributeSize(ViAttr attribute) {
    if (const AttrListEntry* row = findAttrRow(attribute)) {
        if (attrDataType(row->typeFlags) == VAL_STRING) return 0;
        size_t size = attrValueSize(row->typeFlags);
        return size ? static_cast<int>(size) : -1;
    }
    const EventAttribute* a = eventAttribute(attribute);
    return a ? a->size : -1;
}

// Not eventName(), whose text for an unknown type lives in a buffer that every thread shares.
const char* eventTypeName(ViEventType eventType) {
    const EventListEntry* row = findEventRow(eventType);
    return row ? row->viName : nullptr;
}

const VisaTraceNames kNames = {
    knownStatusName,
    attributeName,
    eventTypeName,
    attributeSize,
};

}  // namespace

void installIoTraceNames() {
    VisaTrace_SetNames(&kNames);
    if (VisaTrace_StartFileFromEnvironment() < 0)
        std::fprintf(stderr, "talmik: the I/O trace cannot be written to \"%s\"\n", std::getenv("TALMIK_TRACE"));
}

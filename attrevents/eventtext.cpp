#include "attrevents/eventtext.h"

#include <cstdarg>
#include <cstdio>

#include "attrevents/eventlist.h"
#include "zuvisa/visa.h"

namespace {

std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

std::string format(const char* fmt, ...) {
    char line[256];  // one list item
    va_list args;
    va_start(args, fmt);
    vsnprintf(line, sizeof line, fmt, args);
    va_end(args);
    return line;
}

unsigned long hex32(ViUInt32 v) {
    return v;
}
const char* truth(ViBoolean b) {
    return b ? "VI_TRUE" : "VI_FALSE";
}

// One attribute of an event as (name, value) text; the two texts differ only in layout.
struct Shown {
    const char* name;
    std::string value;
};

// The attributes shown for an event type, after its type. sheet: the handler sheet's variant,
// which spaces some values apart and adds the exception's attributes.
std::vector<Shown> shownValues(const EventValues& e, bool sheet) {
    switch (e.type) {
        case VI_EVENT_IO_COMPLETION:
            return {{"VI_ATTR_JOB_ID", format("0x%08lX", hex32(e.jobId))},
                    {"VI_ATTR_RET_COUNT", format("%ld", static_cast<long>(e.retCount))},
                    {"VI_ATTR_STATUS", format("0x%08lX", hex32(static_cast<ViUInt32>(e.status)))}};
        case VI_EVENT_GPIB_CIC:
            return {{"VI_ATTR_GPIB_RECV_CIC_STATE", truth(e.cicState)}};
        case VI_EVENT_VXI_SIGP:
            return {{"VI_ATTR_SIGP_STATUS_ID", format("0x%04hX", e.sigpStatusId)}};
        case VI_EVENT_TCPIP_CONNECT:
            return {{"VI_ATTR_RECV_TCPIP_ADDR", e.tcpipAddress}};
        case VI_EVENT_TRIG:
            return {{"VI_ATTR_RECV_TRIG_ID", format("%hd", e.trigId)}};
        case VI_EVENT_EXCEPTION:
            if (!sheet) return {};
            return {{"VI_ATTR_STATUS", format("0x%08lX", hex32(static_cast<ViUInt32>(e.status)))},
                    {"VI_ATTR_OPER_NAME", e.operationName}};
        case VI_EVENT_VXI_DEV_CMD:
            return {{"VI_ATTR_VXI_DEV_CMD_TYPE", format("%hd", e.devCmdType)},
                    {"VI_ATTR_VXI_DEV_CMD_VALUE", format("0x%08lX", hex32(e.devCmdValue))}};
        case VI_EVENT_VXI_VME_INTR:
            return {{"VI_ATTR_INTR_STATUS_ID", format("0x%08lX", hex32(e.intrStatusId))},
                    {"VI_ATTR_RECV_INTR_LEVEL", format("%hd", e.intrLevel)}};
        default:
            return {};
    }
}

// The handler sheet puts two blanks after these names' colons, one after the others.
bool spacedApart(const char* name) {
    static const char* const spaced[] = {"VI_ATTR_SIGP_STATUS_ID", "VI_ATTR_RECV_TRIG_ID",
                                         "VI_ATTR_INTR_STATUS_ID", "VI_ATTR_RECV_INTR_LEVEL"};
    for (const char* s : spaced) {
        if (std::string(s) == name) return true;
    }
    return false;
}

}  // namespace

void readEventValues(ViEvent context, ViEventType type, EventValues* v) {
    *v = EventValues{};
    v->type = type;
    switch (type) {
        case VI_EVENT_IO_COMPLETION:
            viGetAttribute(context, VI_ATTR_JOB_ID, &v->jobId);
            viGetAttribute(context, VI_ATTR_STATUS, &v->status);
            viGetAttribute(context, VI_ATTR_RET_COUNT_32, &v->retCount);
            break;
        case VI_EVENT_GPIB_CIC:
            viGetAttribute(context, VI_ATTR_GPIB_RECV_CIC_STATE, &v->cicState);
            break;
        case VI_EVENT_VXI_SIGP:
            viGetAttribute(context, VI_ATTR_SIGP_STATUS_ID, &v->sigpStatusId);
            break;
        case VI_EVENT_TCPIP_CONNECT:
            viGetAttribute(context, VI_ATTR_RECV_TCPIP_ADDR, v->tcpipAddress);
            break;
        case VI_EVENT_TRIG:
            viGetAttribute(context, VI_ATTR_RECV_TRIG_ID, &v->trigId);
            break;
        case VI_EVENT_EXCEPTION:
            viGetAttribute(context, VI_ATTR_STATUS, &v->status);
            viGetAttribute(context, VI_ATTR_OPER_NAME, v->operationName);
            break;
        case VI_EVENT_VXI_DEV_CMD:
            viGetAttribute(context, VI_ATTR_VXI_DEV_CMD_TYPE, &v->devCmdType);
            viGetAttribute(context, VI_ATTR_VXI_DEV_CMD_VALUE, &v->devCmdValue);
            break;
        case VI_EVENT_VXI_VME_INTR:
            viGetAttribute(context, VI_ATTR_INTR_STATUS_ID, &v->intrStatusId);
            viGetAttribute(context, VI_ATTR_RECV_INTR_LEVEL, &v->intrLevel);
            break;
        default:
            break;
    }
    // Whatever a library wrote, the texts end inside their buffers.
    v->tcpipAddress[sizeof v->tcpipAddress - 1] = '\0';
    v->operationName[sizeof v->operationName - 1] = '\0';
}

std::vector<std::string> handlerSheetLines(const EventValues& e) {
    std::vector<std::string> lines{format("VI_ATTR_EVENT_TYPE:  %s", eventName(e.type))};
    for (const Shown& s : shownValues(e, true)) {
        lines.push_back(
            format("  %s:%s%s", s.name, spacedApart(s.name) ? "  " : " ", s.value.c_str()));
    }
    return lines;
}

std::vector<std::string> waitOnEventItems(const EventValues& e) {
    std::vector<std::string> items{"VI_ATTR_EVENT_TYPE:", format("  %s", eventName(e.type))};
    for (const Shown& s : shownValues(e, false)) {
        items.push_back(format("%s:", s.name));
        items.push_back(format("  %s", s.value.c_str()));
    }
    return items;
}

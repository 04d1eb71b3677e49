// Interface-level operation panels: GPIB line control, commands and controllership, VXI word
// serial commands and servant responses, trigger mapping, interrupt and utility signals. Each
// reads its inputs at the types of the VISA parameters, calls once and shows the status.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "session/escaped.h"
#include "session/opstatus.h"
#include "session/sessionrecord.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"
#include "zuvisa/visa.h"

namespace {

const ViUInt32 kMinimumBuffer = 1024;

SessionRecord* recordOf(void* callbackData) {
    return static_cast<SessionRecord*>(callbackData);
}

template <typename T>
T valueOf(int panel, int control) {
    T value{};
    GetCtrlVal(panel, control, &value);
    return value;
}

// The command text in the Write panel's buffer, grown as GPIB Command keeps it: the size
// recorded is what was asked for, with one byte more allocated for the terminator. Returns the
// buffer, or null when it could not grow.
char* commandBuffer(SessionRecord* r, ViUInt32 length) {
    if (length > r->writeSize || r->writeSize == 0) {
        const ViUInt32 size = std::max(length, kMinimumBuffer);
        auto* grown = static_cast<char*>(std::realloc(r->writeBuffer, size_t{size} + 1));
        if (!grown) return nullptr;
        r->writeBuffer = grown;
        r->writeSize = size;
    }
    return r->writeBuffer;
}

}  // namespace

int ExecuteControlREN(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(
        panel, GPIBREN_STATUS, GPIBREN_STATUSNAME,
        viGpibControlREN(recordOf(callbackData)->session, valueOf<ViUInt16>(panel, GPIBREN_MODE)));
    return 0;
}

int ExecuteControlATN(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(
        panel, GPIBATN_STATUS, GPIBATN_STATUSNAME,
        viGpibControlATN(recordOf(callbackData)->session, valueOf<ViUInt16>(panel, GPIBATN_MODE)));
    return 0;
}

int ExecuteSendIFC(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(panel, SENDIFC_STATUS, SENDIFC_STATUSNAME,
               viGpibSendIFC(recordOf(callbackData)->session));
    return 0;
}

int ExecuteGpibCommand(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    int textLength = 0;
    GetCtrlAttribute(panel, GPIBCMD_COMMAND, ATTR_STRING_TEXT_LENGTH, &textLength);
    const ViUInt32 length = static_cast<ViUInt32>(std::max(textLength, 0));
    // A pending asynchronous Write is still sending the shared buffer: it may be neither moved
    // nor overwritten, so the command is decoded in a buffer of its own meanwhile.
    std::string own;
    char* buffer = nullptr;
    if (r->jobId != 0 && r->asyncKind == ASYNC_WRITE) {
        own.assign(size_t{length} + 1, '\0');
        buffer = own.data();
    } else {
        buffer = commandBuffer(r, length);
    }
    if (!buffer) {
        showStatus(panel, GPIBCMD_STATUS, GPIBCMD_STATUSNAME, VI_ERROR_ALLOC);
        return 0;
    }
    if (GetCtrlVal(panel, GPIBCMD_COMMAND, buffer, size_t{length} + 1) < 0) buffer[0] = '\0';
    const ViUInt32 count = beautifyWrite(buffer);
    ViUInt32 retCount = 0;
    ViStatus status =
        viGpibCommand(r->session, reinterpret_cast<ViConstBuf>(buffer), count, &retCount);
    SetCtrlVal(panel, GPIBCMD_RETCOUNT, retCount);
    showStatus(panel, GPIBCMD_STATUS, GPIBCMD_STATUSNAME, status);
    return 0;
}

int ExecutePassControl(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(panel, PASSCTRL_STATUS, PASSCTRL_STATUSNAME,
               viGpibPassControl(recordOf(callbackData)->session,
                                 valueOf<ViUInt16>(panel, PASSCTRL_PRIMARY),
                                 valueOf<ViUInt16>(panel, PASSCTRL_SECONDARY)));
    return 0;
}

int ExecuteCommandQuery(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    ViUInt32 response = 0;
    ViStatus status =
        viVxiCommandQuery(recordOf(callbackData)->session, valueOf<ViUInt16>(panel, CMDQUERY_MODE),
                          valueOf<ViUInt32>(panel, CMDQUERY_COMMAND), &response);
    SetCtrlVal(panel, CMDQUERY_RESPONSE, status < VI_SUCCESS ? ViUInt32{0} : response);
    showStatus(panel, CMDQUERY_STATUS, CMDQUERY_STATUSNAME, status);
    return 0;
}

int ExecuteServResp(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(panel, SERVRESP_STATUS, SERVRESP_STATUSNAME,
               viVxiServantResponse(recordOf(callbackData)->session,
                                    valueOf<ViInt16>(panel, SERVRESP_MODE),
                                    valueOf<ViUInt32>(panel, SERVRESP_RESPONSE)));
    return 0;
}

int ExecuteMapTrigger(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(
        panel, MAPTRIGGER_STATUS, MAPTRIGGER_STATUSNAME,
        viMapTrigger(recordOf(callbackData)->session, valueOf<ViInt16>(panel, MAPTRIGGER_SOURCE),
                     valueOf<ViInt16>(panel, MAPTRIGGER_DESTINATION),
                     valueOf<ViUInt16>(panel, MAPTRIGGER_MODE)));
    return 0;
}

int ExecuteUnmapTrigger(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(
        panel, UNMAPTRIG_STATUS, UNMAPTRIG_STATUSNAME,
        viUnmapTrigger(recordOf(callbackData)->session, valueOf<ViInt16>(panel, UNMAPTRIG_SOURCE),
                       valueOf<ViInt16>(panel, UNMAPTRIG_DESTINATION)));
    return 0;
}

int ExecuteIntrSignal(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(panel, INTRSIGNAL_STATUS, INTRSIGNAL_STATUSNAME,
               viAssertIntrSignal(recordOf(callbackData)->session,
                                  valueOf<ViInt16>(panel, INTRSIGNAL_MODE),
                                  valueOf<ViUInt32>(panel, INTRSIGNAL_STATUSID)));
    return 0;
}

int ExecuteUtilSignal(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(panel, UTILSIGNAL_STATUS, UTILSIGNAL_STATUSNAME,
               viAssertUtilSignal(recordOf(callbackData)->session,
                                  valueOf<ViUInt16>(panel, UTILSIGNAL_LINE)));
    return 0;
}

#include "session/msgio.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>

#include "session/escaped.h"
#include "session/opstatus.h"
#include "session/sessionrecord.h"
#include "toolslib/toolbox/files.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"
#include "zuvisa/visa.h"

namespace {

const ViUInt32 kMinimumBuffer = 1024;

SessionRecord* recordOf(void* callbackData) {
    return static_cast<SessionRecord*>(callbackData);
}

// The text of a string control, whatever its length.
std::string controlText(int panel, int control) {
    int length = 0;
    GetCtrlAttribute(panel, control, ATTR_STRING_TEXT_LENGTH, &length);
    std::string text(static_cast<size_t>(std::max(length, 0)) + 1, '\0');
    if (GetCtrlVal(panel, control, text.data(), text.size()) < 0) return std::string();
    text.resize(std::char_traits<char>::length(text.c_str()));
    return text;
}

// The asynchronous start shared by Read and Write. The window has one job slot; a second start
// is refused without disturbing the job that holds it.
template <typename Start>
void startAsync(SessionRecord* r, int panel, int kind, const char* starting, int statusCtrl,
                int nameCtrl, int retCountCtrl, int message, void (*setBusyLook)(int, bool),
                Start start) {
    ViStatus status = VI_ERROR_QUEUE_ERROR;
    bool refused = r->jobId != 0;
    if (!refused) {
        setBusyLook(panel, true);
        showMessage(panel, message, starting);
        ProcessDrawEvents();
        r->asyncKind = static_cast<ViUInt16>(kind);
        status = start(&r->jobId);
        if (status >= VI_SUCCESS) {
            showJobInProgress(panel, message, r->jobId);
            return;
        }
        r->jobId = 0;
        r->asyncKind = ASYNC_NONE;
    }
    setBusyLook(panel, false);
    SetCtrlVal(panel, retCountCtrl, static_cast<ViUInt32>(0));
    showStatus(panel, statusCtrl, nameCtrl, status);
}

void browseFile(int panel, int fileCtrl, int buttonLabel, int allowMakeDirectory) {
    char path[MAX_PATHNAME_LEN] = "";
    GetCtrlVal(panel, fileCtrl, path, sizeof path);
    char drive[MAX_DRIVENAME_LEN + 1] = "", directory[MAX_DIRNAME_LEN + 1] = "";
    SplitPath(path, drive, directory, nullptr);
    char start[MAX_PATHNAME_LEN];
    std::snprintf(start, sizeof start, "%s%s", drive, directory);
    if (FileSelectPopup(start, "*.*", "", "TALMIK File Browse", buttonLabel, 0, 0, 1,
                        allowMakeDirectory, path, sizeof path) > 0)
        SetCtrlVal(panel, fileCtrl, path);
}

// Write From File and Read To File: the file name and count as typed, the panel dimmed.
template <typename Call>
void fileTransfer(int panel, int fileCtrl, int countCtrl, int retCountCtrl, int statusCtrl,
                  int nameCtrl, Call call) {
    ViUInt32 count = 0, retCount = 0;
    GetCtrlVal(panel, countCtrl, &count);
    std::string fileName = controlText(panel, fileCtrl);
    ViStatus status =
        withPanelDimmed(panel, [&] { return call(fileName.c_str(), count, &retCount); });
    SetCtrlVal(panel, retCountCtrl, retCount);
    showStatus(panel, statusCtrl, nameCtrl, status);
}

}  // namespace

void setAsyncBusyLook(int panel, bool busy, std::initializer_list<int> inputs, int execute,
                      int abort, int message) {
    for (int control : inputs) SetCtrlAttribute(panel, control, ATTR_DIMMED, busy ? 1 : 0);
    SetCtrlAttribute(panel, execute, ATTR_VISIBLE, busy ? 0 : 1);
    SetCtrlAttribute(panel, abort, ATTR_VISIBLE, busy ? 1 : 0);
    if (message > 0) SetCtrlAttribute(panel, message, ATTR_VISIBLE, busy ? 1 : 0);
}

void showMessage(int panel, int message, const char* text) {
    SetCtrlVal(panel, message, text);
    SetCtrlAttribute(panel, message, ATTR_VISIBLE, 1);
}

void showJobInProgress(int panel, int message, ViJobId jobId) {
    char text[64];
    std::snprintf(text, sizeof text, "Asynchronous job 0x%08lX in progress...",
                  static_cast<unsigned long>(jobId));
    showMessage(panel, message, text);
}

void setReadBusy(int panel, bool busy) {
    setAsyncBusyLook(panel, busy, {READ_COUNT, READ_ASYNC, READ_DATA, READ_RETCOUNT, READ_STATUS},
                     READ_EXECUTE, READ_ABORT, READ_MESSAGE);
}

void setWriteBusy(int panel, bool busy) {
    setAsyncBusyLook(panel, busy, {WRITE_ASYNC, WRITE_TEXT, WRITE_RETCOUNT, WRITE_STATUS},
                     WRITE_EXECUTE, WRITE_ABORT, WRITE_MESSAGE);
}

int ExecuteWrite(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    int async = 0, length = 0;
    GetCtrlVal(panel, WRITE_ASYNC, &async);
    GetCtrlAttribute(panel, WRITE_TEXT, ATTR_STRING_TEXT_LENGTH, &length);
    ViUInt32 textLength = static_cast<ViUInt32>(std::max(length, 0));
    if (textLength > r->writeSize || r->writeSize == 0) {
        // One byte more than the text, for its terminator.
        size_t size = std::max<size_t>(size_t{textLength} + 1, kMinimumBuffer);
        char* grown = static_cast<char*>(std::realloc(r->writeBuffer, size));
        if (!grown) {
            showStatus(panel, WRITE_STATUS, WRITE_STATUSNAME, VI_ERROR_ALLOC);
            return 0;
        }
        r->writeBuffer = grown;
        r->writeSize = static_cast<ViUInt32>(size - 1);
    }
    if (GetCtrlVal(panel, WRITE_TEXT, r->writeBuffer, size_t{r->writeSize} + 1) < 0)
        r->writeBuffer[0] = '\0';
    ViUInt32 count = beautifyWrite(r->writeBuffer);
    if (async) {
        startAsync(r, panel, ASYNC_WRITE, "Starting asynchronous write...", WRITE_STATUS,
                   WRITE_STATUSNAME, WRITE_RETCOUNT, WRITE_MESSAGE, setWriteBusy,
                   [&](ViJobId* job) {
                       return viWriteAsync(r->session, reinterpret_cast<ViConstBuf>(r->writeBuffer),
                                           count, job);
                   });
        return 0;
    }
    ViUInt32 retCount = 0;
    ViStatus status = withPanelDimmed(panel, [&] {
        return viWrite(r->session, reinterpret_cast<ViConstBuf>(r->writeBuffer), count, &retCount);
    });
    SetCtrlVal(panel, WRITE_RETCOUNT, retCount);
    showStatus(panel, WRITE_STATUS, WRITE_STATUSNAME, status);
    return 0;
}

int ExecuteRead(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    int async = 0;
    ViUInt32 count = 0;
    GetCtrlVal(panel, READ_ASYNC, &async);
    GetCtrlVal(panel, READ_COUNT, &count);
    if (count > r->readSize || r->readSize == 0) {
        ViUInt32 size = std::max(count, kMinimumBuffer);
        auto* grown = static_cast<ViByte*>(std::realloc(r->readBuffer, size));
        if (!grown) {
            showStatus(panel, READ_STATUS, READ_STATUSNAME, VI_ERROR_ALLOC);
            return 0;
        }
        r->readBuffer = grown;
        r->readSize = size;
    }
    r->readBuffer[0] = '\0';
    ResetTextBox(panel, READ_DATA, "");
    SetCtrlAttribute(panel, READ_DATA, ATTR_FIRST_VISIBLE_LINE, 0);
    if (async) {
        startAsync(r, panel, ASYNC_READ, "Starting asynchronous read...", READ_STATUS,
                   READ_STATUSNAME, READ_RETCOUNT, READ_MESSAGE, setReadBusy, [&](ViJobId* job) {
                       return viReadAsync(r->session, r->readBuffer, count, job);
                   });
        return 0;
    }
    ViUInt32 retCount = 0;
    ViStatus status =
        withPanelDimmed(panel, [&] { return viRead(r->session, r->readBuffer, count, &retCount); });
    // A library never reports more than it was given room for; this one is not trusted blindly.
    beautifyRead(r->readBuffer, std::min(retCount, count), panel, READ_DATA);
    SetCtrlVal(panel, READ_RETCOUNT, retCount);
    showStatus(panel, READ_STATUS, READ_STATUSNAME, status);
    return 0;
}

int ExecuteAbort(int, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    // The outcome arrives with the job's completion.
    viTerminate(r->session, VI_NULL, r->jobId);
    return 0;
}

int ExecuteAssertTrigger(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    ViUInt16 protocol = VI_TRIG_PROT_DEFAULT;
    GetCtrlVal(panel, ASSERTTRIGGER_PROTOCOL, &protocol);
    ViStatus status = viAssertTrigger(recordOf(callbackData)->session, protocol);
    showStatus(panel, ASSERTTRIGGER_STATUS, ASSERTTRIGGER_STATUSNAME, status);
    return 0;
}

int ExecuteReadSTB(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    ViUInt16 stb = 0;
    ViStatus status = viReadSTB(recordOf(callbackData)->session, &stb);
    SetCtrlVal(panel, READSTB_STB, stb);
    showStatus(panel, READSTB_STATUS, READSTB_STATUSNAME, status);
    return 0;
}

int ExecuteClear(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(panel, CLEAR_STATUS, CLEAR_STATUSNAME, viClear(recordOf(callbackData)->session));
    return 0;
}

int ExecuteWriteFromFile(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    ViSession vi = recordOf(callbackData)->session;
    fileTransfer(panel, WRITEFILE_FILENAME, WRITEFILE_COUNT, WRITEFILE_RETCOUNT, WRITEFILE_STATUS,
                 WRITEFILE_STATUSNAME, [vi](const char* file, ViUInt32 count, ViUInt32* retCount) {
                     return viWriteFromFile(vi, file, count, retCount);
                 });
    return 0;
}

int ExecuteReadToFile(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    ViSession vi = recordOf(callbackData)->session;
    fileTransfer(panel, READFILE_FILENAME, READFILE_COUNT, READFILE_RETCOUNT, READFILE_STATUS,
                 READFILE_STATUSNAME, [vi](const char* file, ViUInt32 count, ViUInt32* retCount) {
                     return viReadToFile(vi, file, count, retCount);
                 });
    return 0;
}

int BrowseWriteFromFile(int panel, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) browseFile(panel, WRITEFILE_FILENAME, VAL_LOAD_BUTTON, 0);
    return 0;
}

int BrowseReadToFile(int panel, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) browseFile(panel, READFILE_FILENAME, VAL_SAVE_BUTTON, 1);
    return 0;
}

int ExecuteSetBuf(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    ViUInt16 mask = 0;
    ViUInt32 size = 0;
    GetCtrlVal(panel, SETBUF_MASK, &mask);
    GetCtrlVal(panel, SETBUF_SIZE, &size);
    showStatus(panel, SETBUF_STATUS, SETBUF_STATUSNAME,
               viSetBuf(recordOf(callbackData)->session, mask, size));
    return 0;
}

int ExecuteFlush(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    ViUInt16 mask = 0;
    GetCtrlVal(panel, FLUSH_MASK, &mask);
    showStatus(panel, FLUSH_STATUS, FLUSH_STATUSNAME,
               viFlush(recordOf(callbackData)->session, mask));
    return 0;
}

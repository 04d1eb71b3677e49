#include "session/regio.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <tuple>

#include "session/msgio.h"
#include "session/opstatus.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"
#include "zuvisa/visa.h"

namespace {

const ViUInt64 kMinimumBuffer = 1024;
// The hint of Peek and Poke as the panel resource has it.
const char kNothingMapped[] = "Nothing is mapped: use Map Address first.";

SessionRecord* recordOf(void* callbackData) {
    return static_cast<SessionRecord*>(callbackData);
}

// The width of a group of three buttons: 8 if its button is on, else 16 if its button is on,
// else 32.
int widthOf(int panel, int button8, int button16) {
    int on = 0;
    GetCtrlVal(panel, button8, &on);
    if (on) return 8;
    GetCtrlVal(panel, button16, &on);
    return on ? 16 : 32;
}

// Of the three buttons from first on, only the pressed one stays on.
void pressRadio(int panel, int first, int pressed) {
    for (int button = first; button < first + 3; ++button)
        SetCtrlVal(panel, button, button == pressed ? 1 : 0);
}

int buttonOfWidth(int first, int widthBits) {
    return first + (widthBits == 8 ? 0 : widthBits == 16 ? 1 : 2);
}

ViUInt32 readNumber(int panel, int control) {
    ViUInt32 value = 0;
    GetCtrlVal(panel, control, &value);
    return value;
}

// One element of a buffer at a width; 0 when the buffer does not hold it whole.
ViUInt32 elementAt(const ViByte* buffer, ViUInt64 size, ViUInt64 index, int widthBits) {
    const ViUInt64 bytes = static_cast<ViUInt64>(widthBits / 8);
    if (!buffer || index >= size / bytes) return 0;
    const ViByte* at = buffer + index * bytes;
    switch (widthBits) {
        case 8:
            return *at;
        case 16: {
            ViUInt16 v;
            std::memcpy(&v, at, sizeof v);
            return v;
        }
        default: {
            ViUInt32 v;
            std::memcpy(&v, at, sizeof v);
            return v;
        }
    }
}

void storeElement(ViByte* buffer, ViUInt64 index, int widthBits, ViUInt32 value) {
    ViByte* at = buffer + index * static_cast<ViUInt64>(widthBits / 8);
    const ViUInt8 v8 = static_cast<ViUInt8>(value);
    const ViUInt16 v16 = static_cast<ViUInt16>(value);
    switch (widthBits) {
        case 8:
            std::memcpy(at, &v8, 1);
            break;
        case 16:
            std::memcpy(at, &v16, 2);
            break;
        default:
            std::memcpy(at, &value, 4);
            break;
    }
}

void showValue(int panel, int control, int widthBits, ViUInt32 value) {
    setValueWidth(panel, control, widthBits);
    SetCtrlVal(panel, control, value);
}

// A pending job reads from or writes into the buffer its kind names; nothing may move that
// buffer until the job completes.
bool jobUses(const SessionRecord* r, int kind) {
    return r->jobId != 0 && r->asyncKind == kind;
}

// Grows a buffer to hold needed bytes (at least kMinimumBuffer), zeroing what is new. Returns
// the allocated size, or 0 when it cannot grow (the buffer then stays as it was).
ViUInt64 growBuffer(ViByte** buffer, ViUInt32 oldSize, ViUInt64 needed) {
    if (needed > kMaxMoveBytes) return 0;
    const ViUInt64 size = std::max(needed, kMinimumBuffer);
    auto* grown = static_cast<ViByte*>(std::realloc(*buffer, static_cast<size_t>(size)));
    if (!grown) return 0;
    std::memset(grown + oldSize, 0, static_cast<size_t>(size - oldSize));
    *buffer = grown;
    return size;
}

// The asynchronous start shared by the three moves: the window's one job slot, the busy look
// while the job runs, and its undoing when the start fails. The element index (Move In, Move
// Out) is dimmed with the rest and undimmed only if it was not dimmed before.
template <typename Start>
void startMoveAsync(SessionRecord* r, int panel, int kind, void (*setBusyLook)(int, bool),
                    int statusCtrl, int nameCtrl, int message, int indexCtrl, Start start) {
    if (r->jobId != 0) {
        showStatus(panel, statusCtrl, nameCtrl, VI_ERROR_QUEUE_ERROR);
        return;
    }
    int indexWasDimmed = 0;
    if (indexCtrl > 0) {
        GetCtrlAttribute(panel, indexCtrl, ATTR_DIMMED, &indexWasDimmed);
        SetCtrlAttribute(panel, indexCtrl, ATTR_DIMMED, 1);
    }
    setBusyLook(panel, true);
    if (message > 0) showMessage(panel, message, "Starting asynchronous move...");
    ProcessDrawEvents();
    r->asyncKind = static_cast<ViUInt16>(kind);
    ViStatus status = start(&r->jobId);
    if (status >= VI_SUCCESS) {
        if (message > 0) showJobInProgress(panel, message, r->jobId);
        return;
    }
    r->jobId = 0;
    r->asyncKind = ASYNC_NONE;
    setBusyLook(panel, false);
    if (indexCtrl > 0 && !indexWasDimmed) SetCtrlAttribute(panel, indexCtrl, ATTR_DIMMED, 0);
    showStatus(panel, statusCtrl, nameCtrl, status);
}

void spaceChanged(int panel, int ring, int field) {
    ViUInt16 space = 0;
    GetCtrlVal(panel, ring, &space);
    if (space != 0) SetCtrlVal(panel, field, space);
    SetCtrlAttribute(panel, field, ATTR_DIMMED, space != 0 ? 1 : 0);
}

void moveOutWidth(int panel, SessionRecord* r, int widthBits) {
    pressRadio(panel, MOVEOUT_WIDTH8, buttonOfWidth(MOVEOUT_WIDTH8, widthBits));
    setValueWidth(panel, MOVEOUT_VALUE, widthBits);
    const int oldWidth = r->moveOutWidth;
    r->moveOutWidth = static_cast<ViUInt16>(widthBits);
    if (changeMoveOutBuf(panel, r) != 0) {
        // The buttons go back; the recorded width keeps the new one.
        pressRadio(panel, MOVEOUT_WIDTH8, buttonOfWidth(MOVEOUT_WIDTH8, oldWidth));
        return;
    }
    // The bytes stay as they are, read at the new width.
    SetCtrlVal(
        panel, MOVEOUT_VALUE,
        elementAt(r->moveOutBuffer, r->moveOutSize, readNumber(panel, MOVEOUT_INDEX), widthBits));
}

void pokeWidth(int panel, int control) {
    pressRadio(panel, POKE_WIDTH8, control);
    setValueWidth(panel, POKE_VALUE,
                  control == POKE_WIDTH8    ? 8
                  : control == POKE_WIDTH16 ? 16
                                            : 32);
}

void outWidth(int panel, int control) {
    pressRadio(panel, REGOUT_WIDTH8, control);
    setValueWidth(panel, REGOUT_VALUE,
                  control == REGOUT_WIDTH8    ? 8
                  : control == REGOUT_WIDTH16 ? 16
                                              : 32);
}

// Peek and Poke are usable only while a window is mapped; the hint says why they are not.
void setPeekPokeMapped(const SessionRecord* r, bool mapped, ViUInt32 address) {
    for (auto [panel, execute, hint, field] :
         {std::tuple{r->peekPanel, PEEK_EXECUTE, PEEK_HINT, PEEK_ADDRESS},
          std::tuple{r->pokePanel, POKE_EXECUTE, POKE_HINT, POKE_ADDRESS}}) {
        if (panel <= 0) continue;
        SetCtrlAttribute(panel, execute, ATTR_DIMMED, mapped ? 0 : 1);
        SetCtrlVal(panel, hint, kNothingMapped);
        SetCtrlAttribute(panel, hint, ATTR_VISIBLE, mapped ? 0 : 1);
        if (mapped) SetCtrlVal(panel, field, address);
    }
}

// The address a Peek or Poke panel names, inside the mapped window; else null, with the hint
// telling the user where the window lies. A library that hands out real addresses would
// otherwise let a typing slip write anywhere in this process.
ViAddr windowAddress(const SessionRecord* r, int panel, int addressCtrl, int hint, int bytes) {
    // The field holds the low 32 bits; a window never crosses into other high bits.
    const ViUInt64 address = (r->mapBase & ~ViUInt64{0xFFFFFFFF}) | readNumber(panel, addressCtrl);
    if (r->mapSize != 0 && address >= r->mapBase &&
        address + static_cast<ViUInt64>(bytes) <= r->mapBase + r->mapSize) {
        SetCtrlAttribute(panel, hint, ATTR_VISIBLE, 0);
        return reinterpret_cast<ViAddr>(static_cast<uintptr_t>(address));
    }
    if (r->mapSize == 0) {
        SetCtrlVal(panel, hint, kNothingMapped);
        SetCtrlAttribute(panel, hint, ATTR_VISIBLE, 1);
        return nullptr;
    }
    char text[128];
    std::snprintf(text, sizeof text, "0x%08llX is outside the mapped window 0x%08llX to 0x%08llX.",
                  static_cast<unsigned long long>(address & 0xFFFFFFFF),
                  static_cast<unsigned long long>(r->mapBase & 0xFFFFFFFF),
                  static_cast<unsigned long long>((r->mapBase + r->mapSize - 1) & 0xFFFFFFFF));
    SetCtrlVal(panel, hint, text);
    SetCtrlAttribute(panel, hint, ATTR_VISIBLE, 1);
    return nullptr;
}

}  // namespace

void setMoveInBusy(int panel, bool busy) {
    setAsyncBusyLook(panel, busy,
                     {MOVEIN_ASYNC, MOVEIN_SPACE, MOVEIN_OFFSET, MOVEIN_VALUE, MOVEIN_COUNT,
                      MOVEIN_WIDTH8, MOVEIN_WIDTH16, MOVEIN_WIDTH32, MOVEIN_STATUS},
                     MOVEIN_EXECUTE, MOVEIN_ABORT, MOVEIN_MESSAGE);
}

void setMoveOutBusy(int panel, bool busy) {
    // Move Out shows no progress message.
    setAsyncBusyLook(panel, busy,
                     {MOVEOUT_ASYNC, MOVEOUT_SPACE, MOVEOUT_OFFSET, MOVEOUT_VALUE, MOVEOUT_COUNT,
                      MOVEOUT_WIDTH8, MOVEOUT_WIDTH16, MOVEOUT_WIDTH32, MOVEOUT_STATUS},
                     MOVEOUT_EXECUTE, MOVEOUT_ABORT, 0);
}

void setMoveBusy(int panel, bool busy) {
    setAsyncBusyLook(panel, busy,
                     {MOVE_ASYNC, MOVE_SRCSPACE, MOVE_SRCOFFSET, MOVE_DESTSPACE, MOVE_DESTOFFSET,
                      MOVE_COUNT, MOVE_WIDTH8, MOVE_WIDTH16, MOVE_WIDTH32, MOVE_STATUS},
                     MOVE_EXECUTE, MOVE_ABORT, MOVE_MESSAGE);
}

void setValueWidth(int panel, int control, int widthBits) {
    const int type = widthBits == 8    ? VAL_UNSIGNED_CHAR
                     : widthBits == 16 ? VAL_UNSIGNED_SHORT_INTEGER
                                       : VAL_UNSIGNED_INTEGER;
    const ViUInt32 maximum = widthBits == 8 ? 0xFF : widthBits == 16 ? 0xFFFF : 0xFFFFFFFF;
    SetCtrlAttribute(panel, control, ATTR_DATA_TYPE, type);
    SetCtrlAttribute(panel, control, ATTR_MAX_VALUE, maximum);
}

void showMoveInElement(const SessionRecord* r, int panel) {
    const int width = r->moveInWidth;
    if (width != 8 && width != 16 && width != 32) return;
    showValue(panel, MOVEIN_VALUE, width,
              elementAt(r->moveInBuffer, r->moveInSize, readNumber(panel, MOVEIN_INDEX), width));
}

void setElementIndexRange(int panel, int indexCtrl, ViUInt32 count) {
    if (count <= 1) {
        SetCtrlAttribute(panel, indexCtrl, ATTR_DIMMED, 1);
        return;
    }
    SetCtrlAttribute(panel, indexCtrl, ATTR_MAX_VALUE, count - 1);
    SetCtrlAttribute(panel, indexCtrl, ATTR_DIMMED, 0);
}

int changeMoveOutBuf(int panel, SessionRecord* r) {
    const ViUInt64 needed =
        ViUInt64{readNumber(panel, MOVEOUT_COUNT)} * static_cast<ViUInt64>(r->moveOutWidth / 8);
    if (needed <= r->moveOutSize) return 0;
    if (jobUses(r, ASYNC_MOVE_OUT)) return 1;  // the pending Move Out is sending this buffer
    const ViUInt64 size = growBuffer(&r->moveOutBuffer, r->moveOutSize, needed);
    if (size == 0) return 1;
    r->moveOutSize = static_cast<ViUInt32>(size);
    return 0;
}

int DataReadWidth(int panel, int control, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    const int first = static_cast<int>(reinterpret_cast<intptr_t>(callbackData));
    if (first > 0) pressRadio(panel, first, control);
    return 0;
}

int SpaceChangedIn(int panel, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) spaceChanged(panel, REGIN_SPACE, REGIN_SPACENUM);
    return 0;
}

int SpaceChangedOut(int panel, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) spaceChanged(panel, REGOUT_SPACE, REGOUT_SPACENUM);
    return 0;
}

int OutWidth8(int panel, int control, int event, void*, int, int) {
    if (event == EVENT_COMMIT) outWidth(panel, control);
    return 0;
}
int OutWidth16(int panel, int control, int event, void*, int, int) {
    if (event == EVENT_COMMIT) outWidth(panel, control);
    return 0;
}
int OutWidth32(int panel, int control, int event, void*, int, int) {
    if (event == EVENT_COMMIT) outWidth(panel, control);
    return 0;
}

int PokeWidth8(int panel, int control, int event, void*, int, int) {
    if (event == EVENT_COMMIT) pokeWidth(panel, control);
    return 0;
}
int PokeWidth16(int panel, int control, int event, void*, int, int) {
    if (event == EVENT_COMMIT) pokeWidth(panel, control);
    return 0;
}
int PokeWidth32(int panel, int control, int event, void*, int, int) {
    if (event == EVENT_COMMIT) pokeWidth(panel, control);
    return 0;
}

int ExecuteIn(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    const ViSession vi = recordOf(callbackData)->session;
    ViUInt16 space = 0;
    GetCtrlVal(panel, REGIN_SPACENUM, &space);
    const ViUInt32 offset = readNumber(panel, REGIN_OFFSET);
    const int width = widthOf(panel, REGIN_WIDTH8, REGIN_WIDTH16);
    ViUInt32 value = 0;
    ViStatus status;
    if (width == 8) {
        ViUInt8 v = 0;
        status = viIn8(vi, space, offset, &v);
        value = v;
    } else if (width == 16) {
        ViUInt16 v = 0;
        status = viIn16(vi, space, offset, &v);
        value = v;
    } else {
        status = viIn32(vi, space, offset, &value);
    }
    showValue(panel, REGIN_VALUE, width, status < VI_SUCCESS ? 0 : value);
    showStatus(panel, REGIN_STATUS, REGIN_STATUSNAME, status);
    return 0;
}

int ExecuteOut(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    const ViSession vi = recordOf(callbackData)->session;
    ViUInt16 space = 0;
    GetCtrlVal(panel, REGOUT_SPACENUM, &space);
    const ViUInt32 offset = readNumber(panel, REGOUT_OFFSET);
    const int width = widthOf(panel, REGOUT_WIDTH8, REGOUT_WIDTH16);
    const ViUInt32 value = readNumber(panel, REGOUT_VALUE);
    ViStatus status = width == 8    ? viOut8(vi, space, offset, static_cast<ViUInt8>(value))
                      : width == 16 ? viOut16(vi, space, offset, static_cast<ViUInt16>(value))
                                    : viOut32(vi, space, offset, value);
    showStatus(panel, REGOUT_STATUS, REGOUT_STATUSNAME, status);
    return 0;
}

int ExecuteMoveIn(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    int async = 0;
    GetCtrlVal(panel, MOVEIN_ASYNC, &async);
    ViUInt16 space = 0;
    GetCtrlVal(panel, MOVEIN_SPACE, &space);
    const ViUInt32 offset = readNumber(panel, MOVEIN_OFFSET);
    const ViUInt32 count = readNumber(panel, MOVEIN_COUNT);
    const int width = widthOf(panel, MOVEIN_WIDTH8, MOVEIN_WIDTH16);
    if (readNumber(panel, MOVEIN_INDEX) >= count) SetCtrlVal(panel, MOVEIN_INDEX, ViUInt32{0});
    if (jobUses(r, ASYNC_MOVE_IN)) {
        // The pending Move In still fills this buffer.
        showStatus(panel, MOVEIN_STATUS, MOVEIN_STATUSNAME, VI_ERROR_QUEUE_ERROR);
        return 0;
    }
    const ViUInt64 needed = ViUInt64{count} * static_cast<ViUInt64>(width / 8);
    if (needed > r->moveInSize) {
        const ViUInt32 oldSize = r->moveInSize;
        if (growBuffer(&r->moveInBuffer, oldSize, needed) == 0) {
            SetCtrlAttribute(panel, MOVEIN_INDEX, ATTR_DIMMED, 1);
            showStatus(panel, MOVEIN_STATUS, MOVEIN_STATUSNAME, VI_ERROR_ALLOC);
            return 0;
        }
        // The size recorded is what the count needs, not what was allocated.
        r->moveInSize = static_cast<ViUInt32>(needed);
    }
    r->moveInWidth = static_cast<ViUInt16>(width);
    if (async) {
        const ViBusAddress local = reinterpret_cast<uintptr_t>(r->moveInBuffer);
        startMoveAsync(r, panel, ASYNC_MOVE_IN, setMoveInBusy, MOVEIN_STATUS, MOVEIN_STATUSNAME,
                       MOVEIN_MESSAGE, MOVEIN_INDEX, [&](ViJobId* job) {
                           return viMoveAsync(r->session, space, offset, width / 8, VI_LOCAL_SPACE,
                                              local, width / 8, count, job);
                       });
        return 0;
    }
    ViStatus status;
    if (width == 8)
        status = viMoveIn8(r->session, space, offset, count, r->moveInBuffer);
    else if (width == 16)
        status = viMoveIn16(r->session, space, offset, count,
                            reinterpret_cast<ViUInt16*>(r->moveInBuffer));
    else
        status = viMoveIn32(r->session, space, offset, count,
                            reinterpret_cast<ViUInt32*>(r->moveInBuffer));
    showMoveInElement(r, panel);
    setElementIndexRange(panel, MOVEIN_INDEX, count);
    showStatus(panel, MOVEIN_STATUS, MOVEIN_STATUSNAME, status);
    return 0;
}

int MoveInIndex(int panel, int, int event, void* callbackData, int, int) {
    if (event == EVENT_COMMIT) showMoveInElement(recordOf(callbackData), panel);
    return 0;
}

int ExecuteMoveOut(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    // The count never reaches past the buffer: a count the buffer cannot grow to is refused.
    if (changeMoveOutBuf(panel, r) != 0) {
        showStatus(panel, MOVEOUT_STATUS, MOVEOUT_STATUSNAME,
                   jobUses(r, ASYNC_MOVE_OUT) ? VI_ERROR_QUEUE_ERROR : VI_ERROR_ALLOC);
        return 0;
    }
    int async = 0;
    GetCtrlVal(panel, MOVEOUT_ASYNC, &async);
    ViUInt16 space = 0;
    GetCtrlVal(panel, MOVEOUT_SPACE, &space);
    const ViUInt32 offset = readNumber(panel, MOVEOUT_OFFSET);
    const ViUInt32 count = readNumber(panel, MOVEOUT_COUNT);
    const int width = widthOf(panel, MOVEOUT_WIDTH8, MOVEOUT_WIDTH16);
    if (ViUInt64{count} * static_cast<ViUInt64>(width / 8) > r->moveOutSize) {
        // The buttons and the recorded width disagree after a failed growth; do not read past.
        showStatus(panel, MOVEOUT_STATUS, MOVEOUT_STATUSNAME, VI_ERROR_ALLOC);
        return 0;
    }
    if (async) {
        const ViBusAddress local = reinterpret_cast<uintptr_t>(r->moveOutBuffer);
        startMoveAsync(r, panel, ASYNC_MOVE_OUT, setMoveOutBusy, MOVEOUT_STATUS, MOVEOUT_STATUSNAME,
                       0, MOVEOUT_INDEX, [&](ViJobId* job) {
                           return viMoveAsync(r->session, VI_LOCAL_SPACE, local, width / 8, space,
                                              offset, width / 8, count, job);
                       });
        return 0;
    }
    ViStatus status;
    if (width == 8)
        status = viMoveOut8(r->session, space, offset, count, r->moveOutBuffer);
    else if (width == 16)
        status = viMoveOut16(r->session, space, offset, count,
                             reinterpret_cast<ViUInt16*>(r->moveOutBuffer));
    else
        status = viMoveOut32(r->session, space, offset, count,
                             reinterpret_cast<ViUInt32*>(r->moveOutBuffer));
    showStatus(panel, MOVEOUT_STATUS, MOVEOUT_STATUSNAME, status);
    return 0;
}

int MoveOutWidth8(int panel, int, int event, void* callbackData, int, int) {
    if (event == EVENT_COMMIT) moveOutWidth(panel, recordOf(callbackData), 8);
    return 0;
}
int MoveOutWidth16(int panel, int, int event, void* callbackData, int, int) {
    if (event == EVENT_COMMIT) moveOutWidth(panel, recordOf(callbackData), 16);
    return 0;
}
int MoveOutWidth32(int panel, int, int event, void* callbackData, int, int) {
    if (event == EVENT_COMMIT) moveOutWidth(panel, recordOf(callbackData), 32);
    return 0;
}

int MoveOutCount(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    const ViUInt32 bytes = std::max<ViUInt32>(r->moveOutWidth / 8, 1);
    ViUInt32 count = readNumber(panel, MOVEOUT_COUNT);
    ViUInt32 index = readNumber(panel, MOVEOUT_INDEX);
    if (ViUInt64{count} * bytes > r->moveOutSize && changeMoveOutBuf(panel, r) != 0) {
        count = std::max<ViUInt32>(r->moveOutSize / bytes, 1);
        SetCtrlVal(panel, MOVEOUT_COUNT, count);
    }
    if (index >= count) index = 0;
    setElementIndexRange(panel, MOVEOUT_INDEX, count);
    SetCtrlVal(panel, MOVEOUT_INDEX, index);
    SetCtrlVal(panel, MOVEOUT_VALUE,
               elementAt(r->moveOutBuffer, r->moveOutSize, index, r->moveOutWidth));
    return 0;
}

int MoveOutIndex(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    const SessionRecord* r = recordOf(callbackData);
    SetCtrlVal(panel, MOVEOUT_VALUE,
               elementAt(r->moveOutBuffer, r->moveOutSize, readNumber(panel, MOVEOUT_INDEX),
                         r->moveOutWidth));
    return 0;
}

int MoveOutValue(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    const ViUInt64 index = readNumber(panel, MOVEOUT_INDEX);
    const ViUInt64 bytes = static_cast<ViUInt64>(r->moveOutWidth / 8);
    if (bytes == 0) return 0;
    if (index * bytes >= r->moveOutSize && changeMoveOutBuf(panel, r) != 0) return 0;
    if ((index + 1) * bytes > r->moveOutSize || jobUses(r, ASYNC_MOVE_OUT)) return 0;
    storeElement(r->moveOutBuffer, index, r->moveOutWidth, readNumber(panel, MOVEOUT_VALUE));
    return 0;
}

int ExecuteMove(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    int async = 0;
    GetCtrlVal(panel, MOVE_ASYNC, &async);
    ViUInt16 srcSpace = 0, destSpace = 0;
    GetCtrlVal(panel, MOVE_SRCSPACE, &srcSpace);
    GetCtrlVal(panel, MOVE_DESTSPACE, &destSpace);
    const ViUInt32 srcOffset = readNumber(panel, MOVE_SRCOFFSET);
    const ViUInt32 destOffset = readNumber(panel, MOVE_DESTOFFSET);
    const ViUInt32 count = readNumber(panel, MOVE_COUNT);
    const ViUInt16 w = static_cast<ViUInt16>(widthOf(panel, MOVE_WIDTH8, MOVE_WIDTH16) / 8);
    if (async) {
        startMoveAsync(r, panel, ASYNC_MOVE, setMoveBusy, MOVE_STATUS, MOVE_STATUSNAME,
                       MOVE_MESSAGE, 0, [&](ViJobId* job) {
                           return viMoveAsync(r->session, srcSpace, srcOffset, w, destSpace,
                                              destOffset, w, count, job);
                       });
        return 0;
    }
    showStatus(panel, MOVE_STATUS, MOVE_STATUSNAME,
               viMove(r->session, srcSpace, srcOffset, w, destSpace, destOffset, w, count));
    return 0;
}

int ExecuteMap(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    ViUInt16 space = 0;
    GetCtrlVal(panel, MAPADDRESS_SPACE, &space);
    const ViUInt32 offset = readNumber(panel, MAPADDRESS_OFFSET);
    const ViUInt32 size = readNumber(panel, MAPADDRESS_SIZE);
    ViAddr address = VI_NULL;
    ViStatus status = viMapAddress(r->session, space, offset, size, VI_FALSE, VI_NULL, &address);
    const auto at = static_cast<ViUInt64>(reinterpret_cast<uintptr_t>(address));
    if (status != VI_ERROR_WINDOW_MAPPED)
        SetCtrlVal(panel, MAPADDRESS_ADDRESS, static_cast<ViUInt32>(at));
    showStatus(panel, MAPADDRESS_STATUS, MAPADDRESS_STATUSNAME, status);
    if (status < VI_SUCCESS) return 0;
    r->mapBase = at;
    r->mapSize = size;
    setPeekPokeMapped(r, true, static_cast<ViUInt32>(at));
    return 0;
}

int ExecuteUnmap(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SessionRecord* r = recordOf(callbackData);
    showStatus(panel, UNMAPADDRESS_STATUS, UNMAPADDRESS_STATUSNAME, viUnmapAddress(r->session));
    // Whatever the library said, the window is not to be used any more.
    r->mapBase = r->mapSize = 0;
    setPeekPokeMapped(r, false, 0);
    return 0;
}

int ExecutePeek(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    const SessionRecord* r = recordOf(callbackData);
    const int width = widthOf(panel, PEEK_WIDTH8, PEEK_WIDTH16);
    ViUInt32 value = 0;
    if (ViAddr address = windowAddress(r, panel, PEEK_ADDRESS, PEEK_HINT, width / 8)) {
        if (width == 8) {
            ViUInt8 v = 0;
            viPeek8(r->session, address, &v);
            value = v;
        } else if (width == 16) {
            ViUInt16 v = 0;
            viPeek16(r->session, address, &v);
            value = v;
        } else {
            viPeek32(r->session, address, &value);
        }
    }
    showValue(panel, PEEK_VALUE, width, value);
    return 0;
}

int ExecutePoke(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    const SessionRecord* r = recordOf(callbackData);
    const int width = widthOf(panel, POKE_WIDTH8, POKE_WIDTH16);
    const ViUInt32 value = readNumber(panel, POKE_VALUE);
    ViAddr address = windowAddress(r, panel, POKE_ADDRESS, POKE_HINT, width / 8);
    if (!address) return 0;
    if (width == 8)
        viPoke8(r->session, address, static_cast<ViUInt8>(value));
    else if (width == 16)
        viPoke16(r->session, address, static_cast<ViUInt16>(value));
    else
        viPoke32(r->session, address, value);
    return 0;
}

int ExecuteMemAlloc(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    ViBusAddress offset = 0;
    SetCtrlVal(panel, MEMALLOC_OFFSET, ViUInt32{0});
    ViStatus status =
        viMemAlloc(recordOf(callbackData)->session, readNumber(panel, MEMALLOC_SIZE), &offset);
    SetCtrlVal(panel, MEMALLOC_OFFSET, static_cast<ViUInt32>(offset));
    showStatus(panel, MEMALLOC_STATUS, MEMALLOC_STATUSNAME, status);
    return 0;
}

int ExecuteMemFree(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    showStatus(panel, MEMFREE_STATUS, MEMFREE_STATUSNAME,
               viMemFree(recordOf(callbackData)->session, readNumber(panel, MEMFREE_OFFSET)));
    return 0;
}

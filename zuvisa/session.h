// Operations on sessions: opening and closing, attributes, locks and message-based I/O.
#pragma once

#include <memory>
#include <string>

#include "zuvisa/core.h"

namespace zuvisa {

ViStatus openSession(const std::shared_ptr<RmObject>& rm, const std::string& name,
                     ViAccessMode mode, ViUInt32 timeout, ViSession* out);
// Shuts a session down after its handle was taken out of the table.
void shutdownSession(const std::shared_ptr<Session>& s);

ViStatus getSessionAttribute(Session& s, ViAttr attr, void* out);
ViStatus setSessionAttribute(Session& s, ViAttr attr, ViAttrState value);
ViStatus getRmAttribute(RmObject& rm, ViAttr attr, void* out);
ViStatus setRmAttribute(RmObject& rm, ViAttr attr, ViAttrState value);

ViStatus lockSession(Session& s, ViAccessMode type, ViUInt32 timeout, const char* requestedKey,
                     char* accessKey);
ViStatus unlockSession(Session& s);
// VI_SUCCESS when this session may use the resource, else VI_ERROR_RSRC_LOCKED.
ViStatus checkAccess(Session& s);
void releaseLocks(Session& s);

// Message-based I/O, each serialised per session. cancel, when given, abandons the call.
ViStatus sessionWrite(Session& s, const ViByte* buf, size_t count, size_t* done,
                      const std::atomic<bool>* cancel = nullptr, bool lockIo = true);
ViStatus sessionRead(Session& s, ViByte* buf, size_t count, size_t* done,
                     const std::atomic<bool>* cancel = nullptr, bool lockIo = true);
ViStatus sessionClear(Session& s);
ViStatus sessionReadStb(Session& s, ViUInt16* stb);
ViStatus sessionAssertTrigger(Session& s, ViUInt16 protocol);
ViStatus sessionSetBuf(Session& s, ViUInt16 mask, ViUInt32 size);
ViStatus sessionFlush(Session& s, ViUInt16 mask);
ViStatus sessionBufWrite(Session& s, const ViByte* buf, size_t count, size_t* done);
ViStatus sessionBufRead(Session& s, ViByte* buf, size_t count, size_t* done);
// The formatted I/O buffers, for viPrintf and viScanf; the caller holds s.ioMutex.
// Appends to the write buffer, sending (without END) whenever it fills.
ViStatus bufferWriteLocked(Session& s, const ViByte* buf, size_t count, size_t* done);
ViStatus flushWriteLocked(Session& s, bool withEnd);
// Empties the read buffer; dropMessage also reads and drops the rest of an unfinished message.
ViStatus flushReadLocked(Session& s, bool dropMessage);
// Reads the next part of a message into the empty read buffer; the read's status.
ViStatus fillReadLocked(Session& s);
// Whether the last fill of the read buffer ended a message.
bool readMessageEnded(const Session& s);
ViStatus sessionReadToFile(Session& s, const char* file, ViUInt32 count, ViUInt32* done);
ViStatus sessionWriteFromFile(Session& s, const char* file, ViUInt32 count, ViUInt32* done);

// Asynchronous jobs: queued on the session's worker, completed through VI_EVENT_IO_COMPLETION.
ViStatus startJob(Session& s, bool isRead, ViByte* readBuf, const ViByte* writeBuf,
                  ViUInt32 count, ViJobId* id);
// A block move on the session's link; the completion's count is in elements.
ViStatus startMoveJob(Session& s, const MoveRequest& move, const char* operation, ViJobId* id);
ViStatus terminateJob(Session& s, ViUInt16 degree, ViJobId id);
void stopJobs(Session& s);

// Events.
ViStatus enableEvent(Session& s, ViEventType type, ViUInt16 mechanism, ViEventFilter filter);
ViStatus disableEvent(Session& s, ViEventType type, ViUInt16 mechanism);
ViStatus discardEvents(Session& s, ViEventType type, ViUInt16 mechanism);
ViStatus waitOnEvent(Session& s, ViEventType type, ViUInt32 timeout, ViEventType* outType,
                     ViEvent* outContext);
ViStatus installHandler(Session& s, ViEventType type, ViHndlr handler, ViAddr user);
ViStatus uninstallHandler(Session& s, ViEventType type, ViHndlr handler, ViAddr user);
ViStatus getEventAttribute(EventObject& e, ViAttr attr, void* out);
void stopEvents(Session& s);
// Starts the handler thread if needed; called with the event state's mutex held.
void startEventWorker(Session& s);
// Whether sessions of this kind know the event type.
bool eventSupported(uint32_t kind, ViEventType type);
// Calls the session's exception handlers, on the calling thread, for an operation that failed.
void raiseException(Session& s, ViStatus status, const char* operation);

}  // namespace zuvisa

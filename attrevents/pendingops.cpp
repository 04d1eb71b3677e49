// Callbacks of the attribute, lock and event panels that are not offered yet.
// Each shows VI_ERROR_NSUP_OPER in its panel's status when committed, until the real
// callback of that name replaces it.
#include "session/opstatus.h"
#include "visaio_uir.h"

#define NOT_OFFERED_YET(name) \
    int name(int panel, int, int event, void*, int, int) { return operationNotOffered(panel, event); }

NOT_OFFERED_YET(ExecuteGetAttrribute)
NOT_OFFERED_YET(AttributeCallback)
NOT_OFFERED_YET(SetAttributeChange)
NOT_OFFERED_YET(ExecuteSetAttribute)
NOT_OFFERED_YET(ExecuteLock)
NOT_OFFERED_YET(ExecuteUnlock)
NOT_OFFERED_YET(LockShared)
NOT_OFFERED_YET(LockExclusive)
NOT_OFFERED_YET(ExecuteEnableEvent)
NOT_OFFERED_YET(ExecuteDisableEvent)
NOT_OFFERED_YET(ExecuteDiscardEvents)
NOT_OFFERED_YET(ExecuteWaitOnEvent)
NOT_OFFERED_YET(EnaEventQueue)
NOT_OFFERED_YET(EnaEventHandler)
NOT_OFFERED_YET(DisaEventQueue)
NOT_OFFERED_YET(DisaEventHandler)
NOT_OFFERED_YET(DiscEventQueue)
NOT_OFFERED_YET(DiscEventHandler)
NOT_OFFERED_YET(EventCallbackEnable)
NOT_OFFERED_YET(EventCallbackDisable)
NOT_OFFERED_YET(EventCallbackDiscard)
NOT_OFFERED_YET(EventCallbackWait)
NOT_OFFERED_YET(ExecuteClearList)

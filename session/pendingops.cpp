// Callbacks of the register-based and interface-level operation panels that are not offered yet.
// Each shows VI_ERROR_NSUP_OPER in its panel's status when committed, until the real
// callback of that name replaces it.
#include "session/opstatus.h"
#include "visaio_uir.h"

#define NOT_OFFERED_YET(name) \
    int name(int panel, int, int event, void*, int, int) { return operationNotOffered(panel, event); }

NOT_OFFERED_YET(ExecuteIn)
NOT_OFFERED_YET(ExecuteOut)
NOT_OFFERED_YET(SpaceChangedIn)
NOT_OFFERED_YET(SpaceChangedOut)
NOT_OFFERED_YET(DataReadWidth)
NOT_OFFERED_YET(OutWidth8)
NOT_OFFERED_YET(OutWidth16)
NOT_OFFERED_YET(OutWidth32)
NOT_OFFERED_YET(ExecuteMoveIn)
NOT_OFFERED_YET(MoveInIndex)
NOT_OFFERED_YET(ExecuteMoveOut)
NOT_OFFERED_YET(MoveOutCount)
NOT_OFFERED_YET(MoveOutWidth8)
NOT_OFFERED_YET(MoveOutWidth16)
NOT_OFFERED_YET(MoveOutWidth32)
NOT_OFFERED_YET(MoveOutIndex)
NOT_OFFERED_YET(MoveOutValue)
NOT_OFFERED_YET(ExecuteMove)
NOT_OFFERED_YET(ExecuteMap)
NOT_OFFERED_YET(ExecuteUnmap)
NOT_OFFERED_YET(ExecutePeek)
NOT_OFFERED_YET(ExecutePoke)
NOT_OFFERED_YET(PokeWidth8)
NOT_OFFERED_YET(PokeWidth16)
NOT_OFFERED_YET(PokeWidth32)
NOT_OFFERED_YET(ExecuteMemAlloc)
NOT_OFFERED_YET(ExecuteMemFree)
NOT_OFFERED_YET(ExecuteCommandQuery)
NOT_OFFERED_YET(ExecuteControlREN)
NOT_OFFERED_YET(ExecuteServResp)
NOT_OFFERED_YET(ExecuteSendIFC)
NOT_OFFERED_YET(ExecuteGpibCommand)
NOT_OFFERED_YET(ExecuteControlATN)
NOT_OFFERED_YET(ExecutePassControl)
NOT_OFFERED_YET(ExecuteMapTrigger)
NOT_OFFERED_YET(ExecuteUnmapTrigger)
NOT_OFFERED_YET(ExecuteIntrSignal)
NOT_OFFERED_YET(ExecuteUtilSignal)

// The session window. Loading its forty operation panels takes long, so one template window is
// kept under construction in 21 numbered steps (some at start-up, the rest one per idle timer
// tick) and handed out whole when a session opens; it is then customised for the session's
// resource kind, and the next template is begun.
#pragma once

#include "session/sessionrecord.h"

inline constexpr int kTemplateSteps = 21;
inline constexpr char kVisaioUir[] = "visaio.uir";

// The template under construction: its top panel and sheet group, the four tab panels with
// their sheet groups, and one handle per operation panel (0 when not loaded).
extern int sessionwnd, sessionGroup;
extern int tWnd, tGroup, bWnd, bGroup, rWnd, rGroup, iWnd, iGroup;
extern int panelGetAttrib, panelSetAttrib, panelLock, panelUnlock, panelEventHandler,
    panelEnableEvent, panelDisableEvent, panelDiscardEvents, panelWaitOnEvent, panelWrite,
    panelRead, panelAssertTrigger, panelReadSTB, panelClear, panelWriteFile, panelReadFile,
    panelSetBuf, panelFlush, panelCmdQuery, panelGpibRen, panelServResp, panelSendIFC, panelGpibCmd,
    panelGpibATN, panelPassCtrl, panelMapTrigger, panelUnmapTrig, panelIntrSignal, panelUtilSignal,
    panelIn, panelOut, panelMapAddress, panelUnmapAddress, panelPeek, panelPoke, panelMoveIn,
    panelMoveOut, panelMove, panelMemAlloc, panelMemFree;
// The small panel shown while a session waits for the template; loaded on first need.
extern int loadwait;

// Performs build step 0..20 of the template and sets its bit in windowBits. Returns 1; 0 when
// the step was done already, is out of range, or a panel fails to load (the step is retried).
int makeSessionWindow(int buildStep);

// Finishes the template for an open session, customises it for the session's kind, shows it
// and registers it; the window then owns the session. Returns 1, or 0 on failure (the session
// is left open for the caller to close).
int makeInteractiveWindow(ViSession session);

void addTemplateOpers(SessionRecord* record, int tabPanel, int group, ViUInt32 mask);
void addBasicOpers(SessionRecord* record, int tabPanel, int group, ViUInt32 mask);
void addRegisterOpers(SessionRecord* record, int tabPanel, int group, ViUInt32 mask);
void addInterfaceOpers(SessionRecord* record, int tabPanel, int group, ViUInt32 mask);

// Appends the address spaces of a resource kind to a ring; the In and Out panels' rings end
// with "<Other>..." (value 0).
void AddSpaceValues(int panel, int control, ViUInt32 mask);

// Runs when a session panel is discarded: takes it out of the registry, closes its session and
// frees its buffers and record.
void CloseSession(int panel, SessionRecord* record);

// Discards the template's panels (its record with them) and forgets every template handle.
void discardTemplatePanels();
// Discards the wait panel.
void discardWaitPanel();

#include "session/sessionwnd.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <new>
#include <tuple>
#include <utility>

#include "app/registry.h"
#include "attrevents/attrbrowser.h"
#include "attrevents/completion.h"
#include "attrevents/events.h"
#include "attrevents/handler.h"
#include "controls/sheets.h"
#include "session/rsrckind.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"
#include "zuvisa/visa.h"

int sessionwnd = 0, sessionGroup = 0;
int tWnd = 0, tGroup = 0, bWnd = 0, bGroup = 0, rWnd = 0, rGroup = 0, iWnd = 0, iGroup = 0;
int panelGetAttrib = 0, panelSetAttrib = 0, panelLock = 0, panelUnlock = 0, panelEventHandler = 0,
    panelEnableEvent = 0, panelDisableEvent = 0, panelDiscardEvents = 0, panelWaitOnEvent = 0,
    panelWrite = 0, panelRead = 0, panelAssertTrigger = 0, panelReadSTB = 0, panelClear = 0,
    panelWriteFile = 0, panelReadFile = 0, panelSetBuf = 0, panelFlush = 0, panelCmdQuery = 0,
    panelGpibRen = 0, panelServResp = 0, panelSendIFC = 0, panelGpibCmd = 0, panelGpibATN = 0,
    panelPassCtrl = 0, panelMapTrigger = 0, panelUnmapTrig = 0, panelIntrSignal = 0,
    panelUtilSignal = 0, panelIn = 0, panelOut = 0, panelMapAddress = 0, panelUnmapAddress = 0,
    panelPeek = 0, panelPoke = 0, panelMoveIn = 0, panelMoveOut = 0, panelMove = 0,
    panelMemAlloc = 0, panelMemFree = 0;
int loadwait = 0;

namespace {

const int kGrey = 0xC0C0C0;

// Where the sheet groups begin. A tab panel leaves room above its first row of tabs for a
// second one, which a sheet group stacks upwards.
const int kSessionGroupTop = 8, kSessionGroupLeft = 8;
const int kCloseRowHeight = 48;  // below the session group: the Close button
const int kTabGroupTop = 26, kTabGroupLeft = 6;

// Sizes of the first template's panels, kept for every later one.
bool sizesKnown = false;
int sessionHeight = 0, sessionWidth = 0, tabHeight = 0, tabWidth = 0;

// The record of the template under construction (the session panel's callback data).
SessionRecord* templateRecord = nullptr;

struct Labels {
    const char* visa;
    const char* descriptive;
};

// Tab labels in the two name styles; their blanks widen the tabs.
const Labels kGetAttribute{" viGetAttribute", " Property Node (Read)"};
const Labels kSetAttribute{" viSetAttribute", " Property Node (Write)"};
const Labels kLock{"   viLock  ", "    Lock   "};
const Labels kUnlock{"  viUnlock ", "   Unlock  "};
const Labels kEventHandler{" viEventHandler", nullptr};
const Labels kEnableEvent{" viEnableEvent", " Enable Event"};
const Labels kDisableEvent{" viDisableEvent", " Disable Event"};
const Labels kDiscardEvents{" viDiscardEvents", " Discard Events"};
const Labels kWaitOnEvent{" viWaitOnEvent", " Wait on Event"};
const Labels kWrite{"  viWrite ", "   Write  "};
const Labels kRead{"  viRead ", "   Read  "};
const Labels kAssertTrigger{" viAssertTrigger", " Assert Trigger"};
const Labels kReadSTB{" viReadSTB", " Read STB"};
const Labels kClear{"  viClear ", "  Clear "};
const Labels kWriteFromFile{" viWriteFromFile ", " Write From File"};
const Labels kReadToFile{" viReadToFile ", " Read To File "};
const Labels kIn{"    viIn   ", "     In    "};
const Labels kOut{"   viOut  ", "    Out   "};
const Labels kMapAddress{" viMapAddress", " Map Address"};
const Labels kUnmapAddress{" viUnmapAddress", " Unmap Address"};
const Labels kPeek{"  viPeek ", "   Peek  "};
const Labels kPoke{"  viPoke ", "   Poke  "};
const Labels kMoveIn{" viMoveIn ", "  Move In "};
const Labels kMoveOut{" viMoveOut ", "  Move Out "};
const Labels kMemAlloc{" viMemAlloc ", " Mem Alloc "};
const Labels kMemFree{" viMemFree ", " Mem Free "};
const Labels kMove{"  viMove  ", "   Move  "};
const Labels kCmdQuery{" viVxiCommandQuery ", "VXI Cmd or Query"};
const Labels kSetBuf{" viSetBuf ", " Set Buffer Size"};
const Labels kFlush{"  viFlush ", " Flush Buffer"};
const Labels kGpibRen{" viGpibControlREN ", "GPIB Control REN"};
const Labels kGpibATN{" viGpibControlATN ", "GPIB Control ATN"};
const Labels kSendIFC{" viGpibSendIFC ", "GPIB Send IFC"};
const Labels kGpibCmd{" viGpibCommand ", "Send GPIB Command"};
const Labels kPassCtrl{" viGpibPassControl ", "GPIB Pass Control"};
const Labels kMapTrigger{" viMapTrigger ", " Map Trigger"};
const Labels kUnmapTrig{" viUnmapTrigger ", " Unmap Trigger"};
const Labels kIntrSignal{" viAssertIntrSignal ", " Assert Interrupt Signal"};
const Labels kUtilSignal{" viAssertUtilSignal ", " Assert Utility Signal"};
const Labels kServResp{" viVxiServantResponse ", " Servant Response"};

// Masks of the resource kinds that get a tab or an operation.
const ViUInt32 kBasicTab = 0xFC5F, kRegisterTab = 0x103BE, kInterfaceTab = 0xDC4B;
const ViUInt32 kMessageIo = 0xE44B, kTrigger = 0x9C5F, kTriggerProtocols = 0x181E,
               kStbClear = 0x804B;
const ViUInt32 kMemory = 0x1023E, kMoveOnBus = 0x180;

bool stepDone(int step) {
    return windowBits & (1u << step);
}

const char* labelOf(const SessionRecord* r, const Labels& l) {
    return r->nameStyle == NAME_STYLE_VISA ? l.visa : l.descriptive;
}

// Makes the record the callback data of a panel and its controls. Width buttons that only keep
// their group get the group's first button instead.
void attachRecord(int panel, SessionRecord* r) {
    SetPanelAttribute(panel, ATTR_CALLBACK_DATA, static_cast<void*>(r));
    int firstWidthButton = 0, control = 0;
    GetPanelAttribute(panel, ATTR_PANEL_FIRST_CTRL, &control);
    while (control > 0) {
        char callback[64] = "", name[64] = "";
        GetCtrlAttribute(panel, control, ATTR_CALLBACK_NAME, callback, sizeof callback);
        GetCtrlAttribute(panel, control, ATTR_CONSTANT_NAME, name, sizeof name);
        if (std::strcmp(name, "WIDTH8") == 0) firstWidthButton = control;
        void* data = static_cast<void*>(r);
        if (std::strcmp(callback, "DataReadWidth") == 0)
            data = reinterpret_cast<void*>(static_cast<intptr_t>(firstWidthButton));
        SetCtrlAttribute(panel, control, ATTR_CALLBACK_DATA, data);
        if (GetCtrlAttribute(panel, control, ATTR_NEXT_CTRL, &control) < 0) break;
    }
}

struct Load {
    int resource;
    int* handle;
};

// Loads operation panels into a tab panel, all or none.
bool loadPanels(int tabPanel, std::initializer_list<Load> loads) {
    if (tabPanel <= 0 || !templateRecord) return false;
    for (const Load& l : loads) {
        int panel = LoadPanel(tabPanel, kVisaioUir, l.resource);
        if (panel <= 0) {
            for (const Load& undo : loads) {
                if (undo.handle == l.handle) break;
                DiscardPanel(*undo.handle);
                *undo.handle = 0;
            }
            return false;
        }
        *l.handle = panel;
        attachRecord(panel, templateRecord);
    }
    return true;
}

void addSheet(const SessionRecord* r, int tabPanel, int group, int panel, const Labels& labels) {
    SheetGroupAddSheet(tabPanel, group, labelOf(r, labels), SHEET_MODE_PANEL, panel);
}

void discardPanel(int* handle) {
    if (*handle > 0) DiscardPanel(*handle);
    *handle = 0;
}

// A tab panel with its sheet group, coloured as the preferences say.
bool loadTab(int resource, int* tab, int* group) {
    if (sessionwnd <= 0) return false;
    int panel = LoadPanel(sessionwnd, kVisaioUir, resource);
    if (panel <= 0) return false;
    int made = SheetGroupCreate(panel, kTabGroupTop, kTabGroupLeft);
    if (made < 0) {
        DiscardPanel(panel);
        return false;
    }
    *tab = panel;
    *group = made;
    SheetGroupCurTabColor(panel, made, textColor);
    if (tabHeight == 0) {
        GetPanelAttribute(panel, ATTR_HEIGHT, &tabHeight);
        GetPanelAttribute(panel, ATTR_WIDTH, &tabWidth);
    }
    SheetGroupSetSize(panel, made, tabHeight - 55, tabWidth - 10);
    SetPanelAttribute(panel, ATTR_BACKCOLOR, operColor);
    return true;
}

bool buildSessionPanel() {
    int panel = LoadPanel(0, kVisaioUir, SESSION);
    if (panel <= 0) return false;
    SessionRecord* r = new (std::nothrow) SessionRecord{};
    if (!r) {
        DiscardPanel(panel);
        return false;
    }
    r->moveInWidth = r->moveOutWidth = 16;
    r->nameStyle = useVISAnames ? NAME_STYLE_VISA : NAME_STYLE_LABELS;
    SetPanelAttribute(panel, ATTR_CALLBACK_DATA, static_cast<void*>(r));
    SetCtrlAttribute(panel, SESSION_CLOSE, ATTR_CALLBACK_DATA, static_cast<void*>(r));
    sessionwnd = panel;
    templateRecord = r;
    sessionGroup = SheetGroupCreate(panel, kSessionGroupTop, kSessionGroupLeft);
    SheetGroupCurTabColor(panel, sessionGroup, textColor);
    if (!sizesKnown) {
        GetPanelAttribute(panel, ATTR_HEIGHT, &sessionHeight);
        GetPanelAttribute(panel, ATTR_WIDTH, &sessionWidth);
        sizesKnown = true;
    }
    SheetGroupSetSize(panel, sessionGroup, sessionHeight - kSessionGroupTop - kCloseRowHeight,
                      sessionWidth - 2 * kSessionGroupLeft);
    SetPanelAttribute(panel, ATTR_BACKCOLOR, groupColor);
    return true;
}

bool buildStep(int step) {
    SessionRecord* r = templateRecord;
    switch (step) {
        case 0:
            return buildSessionPanel();
        case 1: {
            if (!loadTab(TEMPLATETAB, &tWnd, &tGroup)) return false;
            SheetGroupAddSheet(sessionwnd, sessionGroup, " Template", SHEET_MODE_PANEL, tWnd);
            // With the first tab the body knows where it begins: it ends above the Close button.
            int bodyTop = 0;
            SheetGroupGetSize(sessionwnd, sessionGroup, nullptr, &bodyTop, nullptr, nullptr,
                              nullptr);
            SheetGroupSetSize(sessionwnd, sessionGroup, sessionHeight - bodyTop - kCloseRowHeight,
                              0);
            return true;
        }
        case 2:
            return loadTab(BASICTAB, &bWnd, &bGroup);
        case 3:
            return loadTab(REGISTERTAB, &rWnd, &rGroup);
        case 4:
            return loadTab(INTERFACETAB, &iWnd, &iGroup);
        case 5:
            if (!loadPanels(tWnd, {{GETATTRIB, &panelGetAttrib}, {SETATTRIB, &panelSetAttrib}}))
                return false;
            addSheet(r, tWnd, tGroup, panelGetAttrib, kGetAttribute);
            addSheet(r, tWnd, tGroup, panelSetAttrib, kSetAttribute);
            // One value display of each kind shows at a time; the numeric ones first.
            SetCtrlAttribute(panelGetAttrib, GETATTRIB_TEXTVALUE, ATTR_VISIBLE, 0);
            SetCtrlAttribute(panelGetAttrib, GETATTRIB_BOOLVALUE, ATTR_VISIBLE, 0);
            SetCtrlAttribute(panelSetAttrib, SETATTRIB_NEWBOOL, ATTR_VISIBLE, 0);
            SetCtrlAttribute(panelSetAttrib, SETATTRIB_CURBOOL, ATTR_VISIBLE, 0);
            return true;
        case 6:
            if (!loadPanels(tWnd, {{LOCK, &panelLock}, {UNLOCK, &panelUnlock}})) return false;
            addSheet(r, tWnd, tGroup, panelLock, kLock);
            addSheet(r, tWnd, tGroup, panelUnlock, kUnlock);
            return true;
        case 7:
            if (r && r->nameStyle == NAME_STYLE_VISA) {
                if (!loadPanels(tWnd, {{EVENTHANDLER, &panelEventHandler},
                                       {ENABLEEVENT, &panelEnableEvent}}))
                    return false;
            } else if (!loadPanels(tWnd, {{ENABLEEVENT, &panelEnableEvent}})) {
                return false;
            }
            r->eventHandlerPanel = panelEventHandler;
            // Without a handler sheet the handler mechanism is not offered.
            if (r->nameStyle != NAME_STYLE_VISA) {
                SetCtrlAttribute(panelEnableEvent, ENABLEEVENT_HANDLER, ATTR_DIMMED, 1);
                SetCtrlAttribute(panelEnableEvent, ENABLEEVENT_SUSPEND, ATTR_DIMMED, 1);
            }
            return true;
        case 8:
            if (!loadPanels(tWnd, {{DISABLEEVENT, &panelDisableEvent},
                                   {DISCARDEVENTS, &panelDiscardEvents},
                                   {WAITONEVENT, &panelWaitOnEvent}}))
                return false;
            if (r->nameStyle != NAME_STYLE_VISA) {
                SetCtrlAttribute(panelDisableEvent, DISABLEEVENT_HANDLER, ATTR_DIMMED, 1);
                SetCtrlAttribute(panelDisableEvent, DISABLEEVENT_SUSPEND, ATTR_DIMMED, 1);
            }
            return true;
        case 9:
            if (!loadPanels(bWnd, {{WRITE, &panelWrite}, {READ, &panelRead}})) return false;
            r->writePanel = panelWrite;
            r->readPanel = panelRead;
            SetCtrlAttribute(panelWrite, WRITE_ABORT, ATTR_VISIBLE, 0);
            SetCtrlAttribute(panelRead, READ_ABORT, ATTR_VISIBLE, 0);
            return true;
        case 10:
            return loadPanels(bWnd, {{ASSERTTRIGGER, &panelAssertTrigger},
                                     {READSTB, &panelReadSTB},
                                     {CLEAR, &panelClear}});
        case 11:
            return loadPanels(bWnd, {{WRITEFILE, &panelWriteFile}, {READFILE, &panelReadFile}});
        case 12:
            return loadPanels(iWnd, {{SETBUF, &panelSetBuf}, {FLUSH, &panelFlush}});
        case 13:
            return loadPanels(
                iWnd,
                {{CMDQUERY, &panelCmdQuery}, {GPIBREN, &panelGpibRen}, {SERVRESP, &panelServResp}});
        case 14:
            return loadPanels(iWnd, {{SENDIFC, &panelSendIFC},
                                     {GPIBCMD, &panelGpibCmd},
                                     {GPIBATN, &panelGpibATN},
                                     {PASSCTRL, &panelPassCtrl}});
        case 15:
            return loadPanels(iWnd, {{MAPTRIGGER, &panelMapTrigger},
                                     {UNMAPTRIG, &panelUnmapTrig},
                                     {INTRSIGNAL, &panelIntrSignal},
                                     {UTILSIGNAL, &panelUtilSignal}});
        case 16:
            if (!loadPanels(rWnd, {{REGIN, &panelIn}, {REGOUT, &panelOut}})) return false;
            addSheet(r, rWnd, rGroup, panelIn, kIn);
            addSheet(r, rWnd, rGroup, panelOut, kOut);
            return true;
        case 17:
            if (!loadPanels(rWnd,
                            {{MAPADDRESS, &panelMapAddress}, {UNMAPADDRESS, &panelUnmapAddress}}))
                return false;
            addSheet(r, rWnd, rGroup, panelMapAddress, kMapAddress);
            addSheet(r, rWnd, rGroup, panelUnmapAddress, kUnmapAddress);
            return true;
        case 18:
            if (!loadPanels(rWnd, {{PEEK, &panelPeek}, {POKE, &panelPoke}})) return false;
            addSheet(r, rWnd, rGroup, panelPeek, kPeek);
            addSheet(r, rWnd, rGroup, panelPoke, kPoke);
            r->peekPanel = panelPeek;
            r->pokePanel = panelPoke;
            return true;
        case 19:
            if (!loadPanels(rWnd,
                            {{MOVEIN, &panelMoveIn}, {MOVEOUT, &panelMoveOut}, {MOVE, &panelMove}}))
                return false;
            SheetGroupNextLine(rWnd, rGroup);
            addSheet(r, rWnd, rGroup, panelMoveIn, kMoveIn);
            addSheet(r, rWnd, rGroup, panelMoveOut, kMoveOut);
            r->moveInWidth = r->moveOutWidth = 16;
            r->moveInPanel = panelMoveIn;
            r->moveOutPanel = panelMoveOut;
            r->movePanel = panelMove;
            SetCtrlAttribute(panelMove, MOVE_ABORT, ATTR_VISIBLE, 0);
            return true;
        case 20:
            return loadPanels(rWnd, {{MEMALLOC, &panelMemAlloc}, {MEMFREE, &panelMemFree}});
        default:
            return false;
    }
}

// Every operation panel handle of the template, and those of each tab.
int* const kTemplateOperations[] = {&panelGetAttrib,    &panelSetAttrib,     &panelLock,
                                    &panelUnlock,       &panelEventHandler,  &panelEnableEvent,
                                    &panelDisableEvent, &panelDiscardEvents, &panelWaitOnEvent};
int* const kBasicOperations[] = {&panelWrite, &panelRead,      &panelAssertTrigger, &panelReadSTB,
                                 &panelClear, &panelWriteFile, &panelReadFile};
int* const kRegisterOperations[] = {
    &panelIn,     &panelOut,     &panelMapAddress, &panelUnmapAddress, &panelPeek,   &panelPoke,
    &panelMoveIn, &panelMoveOut, &panelMove,       &panelMemAlloc,     &panelMemFree};
int* const kInterfaceOperations[] = {
    &panelSetBuf,    &panelFlush,      &panelCmdQuery,  &panelGpibRen,  &panelServResp,
    &panelSendIFC,   &panelGpibCmd,    &panelGpibATN,   &panelPassCtrl, &panelMapTrigger,
    &panelUnmapTrig, &panelIntrSignal, &panelUtilSignal};

template <size_t N>
void forgetHandles(int* const (&handles)[N]) {
    for (int* h : handles) *h = 0;
}

// Forgets every handle of the template; its panels now belong to a window or are gone.
void forgetTemplate() {
    sessionwnd = sessionGroup = 0;
    tWnd = tGroup = bWnd = bGroup = rWnd = rGroup = iWnd = iGroup = 0;
    forgetHandles(kTemplateOperations);
    forgetHandles(kBasicOperations);
    forgetHandles(kRegisterOperations);
    forgetHandles(kInterfaceOperations);
    templateRecord = nullptr;
}

// The record's handles of panels that are being discarded.
void forgetRecordPanels(SessionRecord* r, int panel) {
    for (int* h : {&r->peekPanel, &r->pokePanel, &r->readPanel, &r->writePanel, &r->moveInPanel,
                   &r->moveOutPanel, &r->movePanel, &r->eventHandlerPanel})
        if (*h == panel) *h = 0;
}

void discardOperation(SessionRecord* r, int* handle) {
    forgetRecordPanels(r, *handle);
    discardPanel(handle);
}

// Adds the sheet of each panel when the mask matches, else discards the panels.
void addOrDiscard(SessionRecord* r, int tabPanel, int group, bool wanted,
                  std::initializer_list<std::pair<int*, const Labels*>> operations) {
    for (const auto& [handle, labels] : operations) {
        if (wanted)
            addSheet(r, tabPanel, group, *handle, *labels);
        else
            discardOperation(r, handle);
    }
}

void showWaitPanel() {
    if (loadwait <= 0) loadwait = LoadPanel(0, kVisaioUir, LOADWAIT);
    if (loadwait <= 0) {
        loadwait = 0;
        return;
    }
    DisplayPanel(loadwait);
    ProcessDrawEvents();
}

void setWindowTitle(int panel, ViSession vi) {
    char name[256] = "";
    if (viGetAttribute(vi, VI_ATTR_RSRC_NAME, name) < VI_SUCCESS) name[0] = '\0';
    name[sizeof name - 1] = '\0';
    char title[320];
    if (showSession)
        std::snprintf(title, sizeof title, "%s (Session 0x%08lX)", name,
                      static_cast<unsigned long>(vi));
    else
        std::snprintf(title, sizeof title, "%s", name);
    SetPanelAttribute(panel, ATTR_TITLE, title);
}

}  // namespace

int makeSessionWindow(int step) {
    if (step < 0 || step >= kTemplateSteps || stepDone(step)) return 0;
    // Every step but the first builds on the session panel, and the operation steps on their tab.
    if (step > 0 && !stepDone(0)) return 0;
    if (step >= 5) {
        int tab = step <= 8 ? 1 : step <= 11 ? 2 : step <= 15 ? 4 : 3;
        if (!stepDone(tab)) return 0;
    }
    if (!buildStep(step)) return 0;
    windowBits |= 1u << step;
    return 1;
}

int makeInteractiveWindow(ViSession vi) {
    if (!stepDone(0) && !makeSessionWindow(0)) return 0;
    const int panel = sessionwnd;
    SessionRecord* r = templateRecord;
    if (!registerSessionWindow(panel)) return 0;
    r->session = vi;
    const ViUInt32 mask = classifySession(vi);
    r->kindMask = mask;

    bool waiting = !stepDone(15);  // far from complete: say why the window takes time
    if (waiting) showWaitPanel();
    bool built = true;
    for (int step = 0; step < kTemplateSteps && built; ++step)
        if (!stepDone(step)) built = makeSessionWindow(step) == 1;
    if (waiting && loadwait > 0) HidePanel(loadwait);
    if (!built) {
        // The template stays a template; the caller closes the session.
        unregisterSessionWindow(panel);
        r->session = VI_NULL;
        return 0;
    }

    addTemplateOpers(r, tWnd, tGroup, mask);
    SetPanelAttribute(tWnd, ATTR_BACKCOLOR, kGrey);
    struct Tab {
        ViUInt32 mask;
        const char* title;
        int panel, group;
        void (*add)(SessionRecord*, int, int, ViUInt32);
        int* const* operations;
        size_t count;
    } tabs[] = {
        {kBasicTab, " Basic I/O", bWnd, bGroup, addBasicOpers, kBasicOperations,
         std::size(kBasicOperations)},
        {kRegisterTab, " Register I/O", rWnd, rGroup, addRegisterOpers, kRegisterOperations,
         std::size(kRegisterOperations)},
        {kInterfaceTab, " Interface I/O", iWnd, iGroup, addInterfaceOpers, kInterfaceOperations,
         std::size(kInterfaceOperations)},
    };
    for (const Tab& t : tabs) {
        if (mask & t.mask) {
            SheetGroupAddSheet(panel, sessionGroup, t.title, SHEET_MODE_PANEL, t.panel);
            t.add(r, t.panel, t.group, mask);
            SetPanelAttribute(t.panel, ATTR_BACKCOLOR, kGrey);
        } else {
            for (size_t k = 0; k < t.count; ++k) discardOperation(r, t.operations[k]);
            DiscardPanel(t.panel);  // never shown: nothing of it stays
        }
    }
    SetPanelAttribute(panel, ATTR_BACKCOLOR, kGrey);
    setWindowTitle(panel, vi);
    DisplayPanel(panel);

    forgetTemplate();
    windowBits = 0;
    startTemplateTimer();
    return 1;
}

void addTemplateOpers(SessionRecord* r, int tabPanel, int group, ViUInt32 mask) {
    setupAttributePanels(r, panelGetAttrib, panelSetAttrib, mask);
    setupEventPanels(r, panelEnableEvent, panelDisableEvent, panelDiscardEvents, panelWaitOnEvent,
                     mask);
    if (r->nameStyle == NAME_STYLE_VISA)
        addSheet(r, tabPanel, group, panelEventHandler, kEventHandler);
    addSheet(r, tabPanel, group, panelEnableEvent, kEnableEvent);
    addSheet(r, tabPanel, group, panelDisableEvent, kDisableEvent);
    addSheet(r, tabPanel, group, panelDiscardEvents, kDiscardEvents);
    addSheet(r, tabPanel, group, panelWaitOnEvent, kWaitOnEvent);
}

void addBasicOpers(SessionRecord* r, int tabPanel, int group, ViUInt32 mask) {
    addOrDiscard(r, tabPanel, group, mask & kMessageIo,
                 {{&panelWrite, &kWrite}, {&panelRead, &kRead}});
    if ((mask & kMessageIo) && r->nameStyle == NAME_STYLE_LABELS) {
        // Without the event panels' handler sheet, asynchronous transfers complete through the
        // program's own handler.
        SetCtrlVal(panelWrite, WRITE_ASYNC, 1);
        SetCtrlVal(panelRead, READ_ASYNC, 1);
        viInstallHandler(r->session, VI_EVENT_IO_COMPLETION, talmikHandler, r);
        viEnableEvent(r->session, VI_EVENT_IO_COMPLETION, VI_HNDLR, VI_NULL);
    }
    if (mask & kTrigger) {
        addSheet(r, tabPanel, group, panelAssertTrigger, kAssertTrigger);
        const bool visa = r->nameStyle == NAME_STYLE_VISA;
        const int ring = ASSERTTRIGGER_PROTOCOL;
        InsertListItem(panelAssertTrigger, ring, -1, visa ? "VI_TRIG_PROT_DEFAULT" : "Default",
                       VI_TRIG_PROT_DEFAULT);
        if (mask & kTriggerProtocols) {
            InsertListItem(panelAssertTrigger, ring, -1, visa ? "VI_TRIG_PROT_ON" : "On",
                           VI_TRIG_PROT_ON);
            InsertListItem(panelAssertTrigger, ring, -1, visa ? "VI_TRIG_PROT_OFF" : "Off",
                           VI_TRIG_PROT_OFF);
            InsertListItem(panelAssertTrigger, ring, -1, visa ? "VI_TRIG_PROT_SYNC" : "Sync Pulse",
                           VI_TRIG_PROT_SYNC);
        }
    } else {
        discardOperation(r, &panelAssertTrigger);
    }
    addOrDiscard(r, tabPanel, group, mask & kStbClear,
                 {{&panelReadSTB, &kReadSTB}, {&panelClear, &kClear}});
    addOrDiscard(r, tabPanel, group, mask & kMessageIo,
                 {{&panelWriteFile, &kWriteFromFile}, {&panelReadFile, &kReadToFile}});
}

void addRegisterOpers(SessionRecord* r, int tabPanel, int group, ViUInt32 mask) {
    if (mask & kRegisterTab) {
        for (auto [panel, ring] :
             {std::pair{panelIn, REGIN_SPACE}, std::pair{panelOut, REGOUT_SPACE},
              std::pair{panelMoveIn, MOVEIN_SPACE}, std::pair{panelMoveOut, MOVEOUT_SPACE}})
            AddSpaceValues(panel, ring, mask);
        // The space field follows the ring; only "<Other>..." lets the user type into it.
        for (auto [panel, ring, field] : {std::tuple{panelIn, REGIN_SPACE, REGIN_SPACENUM},
                                          std::tuple{panelOut, REGOUT_SPACE, REGOUT_SPACENUM}}) {
            ViUInt16 space = 0;
            GetCtrlVal(panel, ring, &space);
            SetCtrlVal(panel, field, space);
            SetCtrlAttribute(panel, field, ATTR_DIMMED, 1);
        }
    }
    if (mask & kMoveOnBus) {
        AddSpaceValues(panelMove, MOVE_SRCSPACE, mask);
        AddSpaceValues(panelMove, MOVE_DESTSPACE, mask);
    }
    if (r->nameStyle == NAME_STYLE_LABELS) {
        // Moves run only synchronously in this style.
        SetCtrlAttribute(panelMoveIn, MOVEIN_ASYNC, ATTR_DIMMED, 1);
        SetCtrlAttribute(panelMoveOut, MOVEOUT_ASYNC, ATTR_DIMMED, 1);
        SetCtrlAttribute(panelMove, MOVE_ASYNC, ATTR_DIMMED, 1);
    }
    if (mask & kRegisterTab) AddSpaceValues(panelMapAddress, MAPADDRESS_SPACE, mask);

    bool memory = false;
    if (mask & kMemory) {
        // Shared memory is offered unless the library says the resource has none; a probe that
        // fails for another reason still offers it.
        ViBusAddress offset = 0;
        ViStatus probe = viMemAlloc(r->session, 1, &offset);
        if (probe >= VI_SUCCESS) viMemFree(r->session, offset);
        memory = probe != VI_ERROR_NSUP_OPER;
    }
    addOrDiscard(r, tabPanel, group, memory,
                 {{&panelMemAlloc, &kMemAlloc}, {&panelMemFree, &kMemFree}});
    addOrDiscard(r, tabPanel, group, mask & kMoveOnBus, {{&panelMove, &kMove}});
}

void addInterfaceOpers(SessionRecord* r, int tabPanel, int group, ViUInt32 mask) {
    addOrDiscard(r, tabPanel, group, mask & 0xA, {{&panelCmdQuery, &kCmdQuery}});
    addOrDiscard(r, tabPanel, group, mask & 0x8040,
                 {{&panelSetBuf, &kSetBuf}, {&panelFlush, &kFlush}});
    addOrDiscard(r, tabPanel, group, mask & 0x401, {{&panelGpibRen, &kGpibRen}});
    addOrDiscard(r, tabPanel, group, mask & 0x400,
                 {{&panelGpibATN, &kGpibATN},
                  {&panelSendIFC, &kSendIFC},
                  {&panelGpibCmd, &kGpibCmd},
                  {&panelPassCtrl, &kPassCtrl}});
    addOrDiscard(r, tabPanel, group, mask & 0x1800,
                 {{&panelMapTrigger, &kMapTrigger}, {&panelUnmapTrig, &kUnmapTrig}});
    addOrDiscard(r, tabPanel, group, mask & 0x5800,
                 {{&panelIntrSignal, &kIntrSignal}, {&panelUtilSignal, &kUtilSignal}});
    addOrDiscard(r, tabPanel, group, mask & 0x4000, {{&panelServResp, &kServResp}});
}

void AddSpaceValues(int panel, int control, ViUInt32 mask) {
    struct Space {
        const char* name;
        ViUInt16 value;
    };
    static const Space vxi[] = {{"VI_A16_SPACE", 1}, {"VI_A24_SPACE", 2}, {"VI_A32_SPACE", 3}};
    static const Space pxi[] = {{"VI_PXI_CFG_SPACE", 10},  {"VI_PXI_BAR0_SPACE", 11},
                                {"VI_PXI_BAR1_SPACE", 12}, {"VI_PXI_BAR2_SPACE", 13},
                                {"VI_PXI_BAR3_SPACE", 14}, {"VI_PXI_BAR4_SPACE", 15},
                                {"VI_PXI_BAR5_SPACE", 16}};
    static const Space pxiMemory[] = {{"VI_PXI_ALLOC_SPACE", 9}};
    auto add = [&](const auto& spaces) {
        for (const Space& s : spaces) InsertListItem(panel, control, -1, s.name, s.value);
    };
    if (mask & 0x1BE)
        add(vxi);
    else if (mask & 0x200)
        add(pxi);
    else if (mask & 0x10000)
        add(pxiMemory);
    if (panel == panelIn || panel == panelOut)
        InsertListItem(panel, control, -1, "<Other>...", static_cast<ViUInt16>(0));
}

void CloseSession(int panel, SessionRecord* r) {
    unregisterSessionWindow(panel);
    if (!r) return;
    if (r->session != VI_NULL) viClose(r->session);
    r->session = VI_NULL;
    std::free(r->moveInBuffer);
    std::free(r->moveOutBuffer);
    std::free(r->readBuffer);
    std::free(r->writeBuffer);
    r->moveInBuffer = r->moveOutBuffer = r->readBuffer = nullptr;
    r->writeBuffer = nullptr;
    r->moveInSize = r->moveOutSize = r->readSize = r->writeSize = 0;
    // With the session closed no handler runs any more; a completion already posted for this
    // window frees the record when it runs.
    if (r == templateRecord) forgetTemplate();
    releaseClosedRecord(r);
}

void discardTemplatePanels() {
    if (sessionwnd > 0) DiscardPanel(sessionwnd);  // its discard frees the template record
    forgetTemplate();
}

void discardWaitPanel() {
    if (loadwait > 0) DiscardPanel(loadwait);
    loadwait = 0;
}

int SessionCallback(int panel, int event, void* callbackData, int, int) {
    if (event == EVENT_CLOSE)
        DiscardPanel(panel);
    else if (event == EVENT_DISCARD)
        CloseSession(panel, static_cast<SessionRecord*>(callbackData));
    return 0;
}

int CloseCallback(int panel, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    DiscardPanel(panel);
    return 1;
}

#include "session/opstatus.h"

#include <cstring>

#include "app/talmik.h"
#include "controls/help.h"
#include "session/statusnames.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"
#include "zuvisa/visa.h"

void showStatus(int panel, int statusCtrl, int nameCtrl, ViStatus status) {
    int color = statusTextColor(status);
    SetCtrlVal(panel, statusCtrl, static_cast<ViUInt32>(status));
    SetCtrlAttribute(panel, statusCtrl, ATTR_TEXT_COLOR, color);
    if (nameCtrl > 0) {
        SetCtrlVal(panel, nameCtrl, statusName(status));
        SetCtrlAttribute(panel, nameCtrl, ATTR_TEXT_COLOR, color);
    }
}

int controlByName(int panel, const char* constantName) {
    int control = 0;
    GetPanelAttribute(panel, ATTR_PANEL_FIRST_CTRL, &control);
    while (control > 0) {
        char name[64] = "";
        GetCtrlAttribute(panel, control, ATTR_CONSTANT_NAME, name, sizeof name);
        if (std::strcmp(name, constantName) == 0) return control;
        if (GetCtrlAttribute(panel, control, ATTR_NEXT_CTRL, &control) < 0) break;
    }
    return 0;
}

void followRingIntoField(int panel, int ring, int field) {
    ViUInt32 value = 0;
    GetCtrlVal(panel, ring, &value);
    if (value != 0) SetCtrlVal(panel, field, value);
    SetCtrlAttribute(panel, field, ATTR_DIMMED, value != 0);
}

// A right click on a status display: "Interpret Code" spells the status out, "Operation Help"
// opens the reference at the panel's operation.
int StatusCallback(int panel, int control, int event, void* callbackData, int eventData1,
                   int eventData2) {
    if (event != EVENT_RIGHT_CLICK) return 0;
    char name[64] = "";
    GetPanelAttribute(panel, ATTR_CONSTANT_NAME, name, sizeof name);
    int operation = std::strncmp(name, "vi", 2) == 0;
    int whatsThis = helpLoaded && Help_MessageFromUI(panel, control) != nullptr;
    return ContextSensitiveHelpExt(panel, control, whatsThis, 0, 0, 1, operation, callbackData,
                                   eventData2, eventData1);
}

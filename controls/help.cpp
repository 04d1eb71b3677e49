#include "controls/help.h"

#include <string>

#include "uiruntime/uiruntime.h"

namespace {
int ClickCount = 0;
}

char* Help_MessageFromUI(int panel, int control) {
    if (!Help_IsOpen()) return nullptr;
    char name[256];
    if (GetPanelAttribute(panel, ATTR_CONSTANT_NAME, name, sizeof name) < 0) return nullptr;
    std::string tag = name;
    if (control != 0) {
        if (GetCtrlAttribute(panel, control, ATTR_CONSTANT_NAME, name, sizeof name) < 0) return nullptr;
        tag += "_";
        tag += name;
    }
    return Help_MessageForUI(panel, control, tag.c_str());
}

void Help_GotClick() { ++ClickCount; }

int Help_ClickCount() { return ClickCount; }

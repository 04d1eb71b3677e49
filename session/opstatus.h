// How an operation panel shows what a VISA call returned: the status in the panel's return-value
// control, its symbolic name beside it, both red for an error and black otherwise.
#pragma once

#include "uiruntime/uiruntime.h"
#include "zuvisa/visatype.h"

void showStatus(int panel, int statusCtrl, int nameCtrl, ViStatus status);


// A control of a panel by its constant name, or 0.
int controlByName(int panel, const char* constantName);


// A ring whose last item "<Other>..." (value 0) stands for a number typed into a field beside
// it: a named item shows its value in the field, dimmed; "<Other>..." opens the field and
// keeps the number it held.
void followRingIntoField(int panel, int ring, int field);

// Runs a call that may block with the panel dimmed and drawn so, as a busy panel should look.
template <typename Call>
ViStatus withPanelDimmed(int panel, Call call) {
    SetPanelAttribute(panel, ATTR_DIMMED, 1);
    ProcessDrawEvents();
    ViStatus status = call();
    SetPanelAttribute(panel, ATTR_DIMMED, 0);
    return status;
}

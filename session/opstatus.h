// How an operation panel shows what a VISA call returned: the status in the panel's return-value
// control, its symbolic name beside it, both red for an error and black otherwise.
#pragma once

#include "zuvisa/visatype.h"

void showStatus(int panel, int statusCtrl, int nameCtrl, ViStatus status);

// The same for a panel whose controls are named STATUS and STATUSNAME, found by name.
void showPanelStatus(int panel, ViStatus status);

// A control of a panel by its constant name, or 0.
int controlByName(int panel, const char* constantName);

// The callback of an operation that this build does not offer yet: a commit shows
// VI_ERROR_NSUP_OPER in the panel's status. Returns 0.
int operationNotOffered(int panel, int event);

// Toolbox functions that act on panels and controls, and so live above the runtime.
// (FileExists and the other file helpers are the toolbox's own: toolslib/toolbox/files.h.)
#pragma once

#include <cstdarg>

#include "toolslib/toolbox/list.h"
#include "uiruntime/uidefs.h"

// Returns the previous break-on-library-errors setting and switches it on or off.
int SetBOLE(int on);

// SetCtrlAttribute on every control id of a list of ints, in list order; the first error ends it.
int SetAttributeForList(int panel, ListType controls, int attribute, UiValue value);

// Builds a list of ints from a variable argument list of control ids: a value below 2 ends it,
// and when maxCount is not 0 at most maxCount are taken. 0 with the list, or -12 and a null list.
int GetIntListFromParmInfo(va_list arguments, int maxCount, ListType* list);

// SetCtrlAttribute on the controls given after maxCount (ended by a value below 2).
int SetAttributeForCtrls(int panel, int attribute, UiValue value, int maxCount, ...);

// Sets an integer attribute of the controls given after maxCount (ended by a value below 2) to
// the largest (useMax non-zero) or smallest value any of them has.
int SetCtrlsToAttributeExtreme(int panel, int attribute, int useMax, int maxCount, ...);

// Largest and smallest value of an integer attribute over a list of control ids.
int AttributeMaxAndMin(int panel, int attribute, ListType controls, int* maxValue, int* minValue);

// Puts control directly behind, or in front of, referenceControl.
int MoveBehind(int panel, int referenceControl, int control);
int MoveInFront(int panel, int referenceControl, int control);

// Discards a control (ids above 0 only) with break-on-library-errors off, optionally removing
// its callback first so that it gets no discard event.
int DiscardCtrlNoBOLE(int panel, int control, int clearCallbackFirst);

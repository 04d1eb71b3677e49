// Toolbox functions over panels and controls.
#include "uiruntime/uitoolbox.h"

#include "toolslib/toolbox/diagnostics.h"
#include "uiruntime/userint.h"
#include "uiruntime/utility.h"

int SetBOLE(int on) {
    int previous = GetBreakOnLibraryErrors();
    if (on) EnableBreakOnLibraryErrors();
    else DisableBreakOnLibraryErrors();
    return previous;
}

int SetAttributeForList(int panel, ListType controls, int attribute, UiValue value) {
    if (!controls) return UIENullPointer;
    int n = ListNumItems(controls);
    for (int k = 1; k <= n; ++k) {
        int control = 0;
        ListGetItem(controls, &control, k);
        int rc = SetCtrlAttribute(panel, control, attribute, value);
        if (rc < 0) return rc;
    }
    return 0;
}

int GetIntListFromParmInfo(va_list arguments, int maxCount, ListType* list) {
    if (!list) return UIENullPointer;
    *list = ListCreate(sizeof(int));
    if (!*list) return UIEOutOfMemory;
    va_list args;
    va_copy(args, arguments);
    int count = 0;
    while (maxCount == 0 || count < maxCount) {
        int id = va_arg(args, int);
        if (id < 2) break;
        if (!ListInsertItem(*list, &id, END_OF_LIST)) {
            va_end(args);
            ListDispose(*list);
            *list = nullptr;
            return UIEOutOfMemory;
        }
        ++count;
    }
    va_end(args);
    return 0;
}

int SetAttributeForCtrls(int panel, int attribute, UiValue value, int maxCount, ...) {
    va_list args;
    va_start(args, maxCount);
    ListType list = nullptr;
    int rc = GetIntListFromParmInfo(args, maxCount, &list);
    va_end(args);
    if (rc < 0) return rc;
    rc = SetAttributeForList(panel, list, attribute, value);
    ListDispose(list);
    return rc;
}

int AttributeMaxAndMin(int panel, int attribute, ListType controls, int* maxValue, int* minValue) {
    if (!controls) return UIENullPointer;
    int n = ListNumItems(controls);
    int hi = 0, lo = 0;
    for (int k = 1; k <= n; ++k) {
        int control = 0, v = 0;
        ListGetItem(controls, &control, k);
        int rc = GetCtrlAttribute(panel, control, attribute, &v);
        if (rc < 0) return rc;
        if (k == 1 || v > hi) hi = v;
        if (k == 1 || v < lo) lo = v;
    }
    if (maxValue) *maxValue = hi;
    if (minValue) *minValue = lo;
    return 0;
}

int SetCtrlsToAttributeExtreme(int panel, int attribute, int useMax, int maxCount, ...) {
    va_list args;
    va_start(args, maxCount);
    ListType list = nullptr;
    int rc = GetIntListFromParmInfo(args, maxCount, &list);
    va_end(args);
    if (rc < 0) return rc;
    int hi = 0, lo = 0;
    rc = AttributeMaxAndMin(panel, attribute, list, &hi, &lo);
    if (rc >= 0 && ListNumItems(list) > 0) rc = SetAttributeForList(panel, list, attribute, useMax ? hi : lo);
    ListDispose(list);
    return rc;
}

int MoveBehind(int panel, int referenceControl, int control) {
    int ref = 0, own = 0;
    int rc = GetCtrlAttribute(panel, referenceControl, ATTR_ZPLANE_POSITION, &ref);
    if (rc < 0) return rc;
    rc = GetCtrlAttribute(panel, control, ATTR_ZPLANE_POSITION, &own);
    if (rc < 0) return rc;
    rc = SetCtrlAttribute(panel, control, ATTR_ZPLANE_POSITION, ref > own ? ref : ref + 1);
    return rc < 0 ? rc : 0;
}

int MoveInFront(int panel, int referenceControl, int control) {
    int ref = 0, own = 0;
    int rc = GetCtrlAttribute(panel, referenceControl, ATTR_ZPLANE_POSITION, &ref);
    if (rc < 0) return rc;
    rc = GetCtrlAttribute(panel, control, ATTR_ZPLANE_POSITION, &own);
    if (rc < 0) return rc;
    // A control already directly in front stays where it is.
    rc = SetCtrlAttribute(panel, control, ATTR_ZPLANE_POSITION, ref - 1 >= own ? ref - 1 : ref);
    return rc < 0 ? rc : 0;
}

int DiscardCtrlNoBOLE(int panel, int control, int clearCallbackFirst) {
    if (control <= 0) return 0;
    BreakOnLibraryErrorsOff quiet;
    if (clearCallbackFirst) SetCtrlAttribute(panel, control, ATTR_CALLBACK_FUNCTION_POINTER, nullptr);
    int rc = DiscardCtrl(panel, control);
    return rc < 0 ? rc : 0;
}

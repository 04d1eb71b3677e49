#include "resources/findexpr.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "app/talmik.h"
#include "resources/search.h"
#include "talmik_uir.h"
#include "uiruntime/uiruntime.h"

int prevSelectIndex = 0;
short bFindExprPopupActive = 0, bFindExprPopupSuccess = 0;

namespace {

const int kBuilderIndex = 2;
const int kSeparatorIndex = 3;
const int kNewestIndex = 4;
const int kMaxRingItems = 10;
// Where a checked condition's relation and value start in its label.
const char kConditionTab[] = UI_LABEL_ESCAPE "p200l";
const char kTooLong[] =
    "The find expression would be longer than 255 characters.\n"
    "Shorten the machine name or remove a condition.";

int builder = 0;
std::string builtExpr;


struct InterfaceBox {
    int control;
    const char* name;
    bool FindExprChoices::*flag;
};
const InterfaceBox kInterfaces[] = {
    {FINDEXPRDLG_GPIB, "GPIB", &FindExprChoices::gpib},
    {FINDEXPRDLG_GPIBVXI, "GPIB-VXI", &FindExprChoices::gpibVxi},
    {FINDEXPRDLG_VXI, "VXI", &FindExprChoices::vxi},
    {FINDEXPRDLG_PXI, "PXI", &FindExprChoices::pxi},
    {FINDEXPRDLG_ASRL, "ASRL", &FindExprChoices::asrl},
    {FINDEXPRDLG_TCPIP, "TCPIP", &FindExprChoices::tcpip},
};

bool checked(int panel, int control) {
    int on = 0;
    GetCtrlVal(panel, control, &on);
    return on != 0;
}

void dimAll(int panel, const int* controls, int n, bool dimmed) {
    for (int i = 0; i < n; ++i) SetCtrlAttribute(panel, controls[i], ATTR_DIMMED, dimmed ? 1 : 0);
}

FindExprChoices readChoices(int panel) {
    FindExprChoices c;
    c.remote = checked(panel, FINDEXPRDLG_MACHINE_CHECK);
    char machine[256] = "";
    GetCtrlVal(panel, FINDEXPRDLG_MACHINE, machine, sizeof machine);
    c.machine = machine;
    c.restrictInterfaces = checked(panel, FINDEXPRDLG_INTF_CHECK);
    for (const InterfaceBox& b : kInterfaces) c.*b.flag = checked(panel, b.control);
    c.useAttributes = checked(panel, FINDEXPRDLG_ATTR_CHECK);
    c.all = checked(panel, FINDEXPRDLG_ALL);
    int count = 0;
    GetNumListItems(panel, FINDEXPRDLG_ATTRLIST, &count);
    for (int i = 0; i < count; ++i) {
        int on = 0;
        IsListItemChecked(panel, FINDEXPRDLG_ATTRLIST, i, &on);
        if (!on) continue;
        char value[256] = "";
        GetValueFromIndex(panel, FINDEXPRDLG_ATTRLIST, i, value, sizeof value);
        c.conditions.push_back(value);
    }
    return c;
}

// The attribute name of an item: its value up to the first blank.
std::string attributeName(int panel, int index) {
    char value[256] = "";
    GetValueFromIndex(panel, FINDEXPRDLG_ATTRLIST, index, value, sizeof value);
    std::string name = value;
    return name.substr(0, name.find(' '));
}

// Gives a checked item the dialog's relation and value, an unchecked one its bare name.
void describeCondition(int panel, int index, bool on) {
    std::string name = attributeName(panel, index);
    std::string label = name, value = name;
    if (on) {
        char relation[16] = "";
        int number = 0;
        GetCtrlVal(panel, FINDEXPRDLG_RELATION, relation, sizeof relation);
        GetCtrlVal(panel, FINDEXPRDLG_VALUE, &number);
        char condition[64];
        std::snprintf(condition, sizeof condition, "%s %d", relation, number);
        label += kConditionTab;
        label += condition;
        value += " ";
        value += condition;
    }
    ReplaceListItem(panel, FINDEXPRDLG_ATTRLIST, index, label.c_str(), value.c_str());
}

// Shows the expression the controls make now.
void updatePreview(int panel) {
    ResetTextBox(panel, FINDEXPRDLG_PREVIEW, buildFindExpression(readChoices(panel)).c_str());
}

void endBuilder(bool success) {
    bFindExprPopupSuccess = success ? 1 : 0;
    bFindExprPopupActive = 0;
}

}  // namespace

std::string buildFindExpression(const FindExprChoices& c) {
    std::string out;
    if (c.remote) out = c.machine.empty() ? "visa:/" : "visa://" + c.machine + "/";
    if (c.restrictInterfaces) {
        bool any = false;
        for (const InterfaceBox& b : kInterfaces) {
            if (!(c.*b.flag)) continue;
            out += any ? "|" : "?*(";
            out += b.name;
            any = true;
        }
        out += any ? ")?*" : "?*";
    } else {
        out += "?*";
    }
    if (c.useAttributes && !c.conditions.empty()) {
        for (size_t i = 0; i < c.conditions.size(); ++i) {
            out += i == 0 ? "{" : (c.all ? " && " : " || ");
            out += c.conditions[i];
        }
        out += "}";
    }
    return out;
}

// ---- The text box and the ring ---------------------------------------------------------------

void MakeFindExprRecent(int panel, int ring, const char* expr) {
    int count = 0;
    if (GetNumListItems(panel, ring, &count) < 0) return;
    for (int i = 0; i < count; ++i) {
        char label[256] = "";
        GetLabelFromIndex(panel, ring, i, label, sizeof label);
        if (std::strcmp(label, expr) != 0) continue;
        if (i > kNewestIndex) {
            DeleteListItem(panel, ring, i, 1);
            InsertListItem(panel, ring, kNewestIndex, expr, "");
            i = kNewestIndex;
        }
        SetCtrlIndex(panel, ring, i);
        return;
    }
    if (count > kMaxRingItems - 1) DeleteListItem(panel, ring, kMaxRingItems - 1, -1);
    if (count == kSeparatorIndex) InsertListItem(panel, ring, kSeparatorIndex, UI_LABEL_SEPARATOR, "");
    InsertListItem(panel, ring, kNewestIndex, expr, "");
    SetCtrlIndex(panel, ring, kNewestIndex);
}

int FindRsrcExprSelect(int panel, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT && event != EVENT_LOST_FOCUS) return 0;
    char expr[256] = "";
    if (GetCtrlVal(panel, IOSHEET_FINDEXPR, expr, sizeof expr) < 0) {
        // Longer than an expression may be: the current one comes back.
        MessagePopup(pszAppName, "A find expression has at most 255 characters.");
        expr[0] = '\0';
    }
    if (!expr[0]) {
        SetCtrlVal(panel, IOSHEET_FINDEXPR, appFindExpr);
        return 0;
    }
    if (std::strcmp(expr, appFindExpr) == 0) return 0;
    std::snprintf(appFindExpr, sizeof appFindExpr, "%s", expr);
    DoRefresh(GetPanelMenuBar(rsrcpanel), MENUBAR_RESOURCES_REFRESH, nullptr, rsrcpanel);
    MakeFindExprRecent(panel, IOSHEET_FINDRING, expr);
    return 0;
}

int FindRsrcDropDownSelect(int panel, int control, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    int index = 0;
    GetCtrlIndex(panel, control, &index);
    char expr[256] = "";
    if (index != kBuilderIndex) {
        prevSelectIndex = index;
        GetLabelFromIndex(panel, control, index, expr, sizeof expr);
    } else if (!DoCreateFindExpr(panel, expr, sizeof expr)) {
        SetCtrlIndex(panel, control, prevSelectIndex);
        return 0;
    }
    SetCtrlVal(panel, IOSHEET_FINDEXPR, "");
    SetCtrlVal(panel, IOSHEET_FINDEXPR, expr);
    FindRsrcExprSelect(panel, IOSHEET_FINDEXPR, EVENT_COMMIT, nullptr, 0, 0);
    return 0;
}

void DoCreateFindExprMenu(int, int, void*, int) {
    if (rsrcio <= 0) return;
    SetCtrlIndex(rsrcio, IOSHEET_FINDRING, kBuilderIndex);
    FindRsrcDropDownSelect(rsrcio, IOSHEET_FINDRING, EVENT_COMMIT, nullptr, 0, 0);
}

// ---- The builder dialog ---------------------------------------------------------------------

int DoCreateFindExpr(int parentPanel, char* out, size_t outSize) {
    (void)parentPanel;  // the dialog is modal over every window, the parent's included
    builder = LoadPanel(0, uirPath().c_str(), FINDEXPRDLG);
    if (builder <= 0) {
        builder = 0;
        return 0;
    }
    CheckMachineCallback(builder, FINDEXPRDLG_MACHINE_CHECK, EVENT_COMMIT, nullptr, 0, 0);
    CheckInterfacesCallback(builder, FINDEXPRDLG_INTF_CHECK, EVENT_COMMIT, nullptr, 0, 0);
    CheckAttributesCallback(builder, FINDEXPRDLG_ATTR_CHECK, EVENT_COMMIT, nullptr, 0, 0);
    bFindExprPopupActive = 1;
    bFindExprPopupSuccess = 0;
    InstallPopup(builder);
    builtExpr.clear();
    while (bFindExprPopupActive) ProcessSystemEvents();
    if (bFindExprPopupSuccess) {
        if (builtExpr.size() < outSize)
            std::snprintf(out, outSize, "%s", builtExpr.c_str());
        else
            bFindExprPopupSuccess = 0;
    }
    RemovePopup(0);
    DiscardPanel(builder);
    builder = 0;
    return bFindExprPopupSuccess;
}

int FindExprPreview(int panel, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT || event == EVENT_VAL_CHANGED) updatePreview(panel);
    return 0;
}

int FindExprOK(int panel, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    std::string expr = buildFindExpression(readChoices(panel));
    if (expr.size() >= sizeof appFindExpr) {
        // Nothing is lost: the dialog stays for the user to shorten the expression.
        MessagePopup(pszAppName, kTooLong);
        return 0;
    }
    builtExpr = expr;
    endBuilder(true);
    return 0;
}

int FindExprCancel(int, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) endBuilder(false);
    return 0;
}

int FindExprCallback(int, int event, void*, int, int) {
    if (event == EVENT_CLOSE) endBuilder(false);
    return 0;
}

int CheckMachineCallback(int panel, int control, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SetCtrlAttribute(panel, FINDEXPRDLG_MACHINE, ATTR_DIMMED, checked(panel, control) ? 0 : 1);
    updatePreview(panel);
    return 0;
}

int CheckInterfacesCallback(int panel, int control, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    const bool off = !checked(panel, control);
    for (const InterfaceBox& b : kInterfaces) SetCtrlAttribute(panel, b.control, ATTR_DIMMED, off ? 1 : 0);
    updatePreview(panel);
    return 0;
}

int CheckAttributesCallback(int panel, int control, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    const int controls[] = {FINDEXPRDLG_ALL, FINDEXPRDLG_ANY, FINDEXPRDLG_ATTRLIST, FINDEXPRDLG_RELATION,
                            FINDEXPRDLG_VALUE};
    dimAll(panel, controls, 5, !checked(panel, control));
    updatePreview(panel);
    return 0;
}

int AttributeAllCallback(int panel, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SetCtrlVal(panel, FINDEXPRDLG_ALL, 1);
    SetCtrlVal(panel, FINDEXPRDLG_ANY, 0);
    updatePreview(panel);
    return 0;
}

int AttributeAnyCallback(int panel, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SetCtrlVal(panel, FINDEXPRDLG_ANY, 1);
    SetCtrlVal(panel, FINDEXPRDLG_ALL, 0);
    updatePreview(panel);
    return 0;
}

int AttributeListboxCallback(int panel, int control, int event, void*, int, int) {
    if (event != EVENT_COMMIT && event != EVENT_VAL_CHANGED) return 0;
    int index = -1;
    GetCtrlIndex(panel, control, &index);
    if (index < 0) return 0;
    int on = 0;
    IsListItemChecked(panel, control, index, &on);
    if (event == EVENT_COMMIT) {
        describeCondition(panel, index, on != 0);
    } else if (event == EVENT_VAL_CHANGED && on) {
        char value[256] = "", relation[16] = "";
        int number = 0;
        GetValueFromIndex(panel, control, index, value, sizeof value);
        if (std::sscanf(value, "%*s %15s %d", relation, &number) == 2) {
            SetCtrlVal(panel, FINDEXPRDLG_RELATION, relation);
            SetCtrlVal(panel, FINDEXPRDLG_VALUE, number);
        }
    }
    updatePreview(panel);
    return 0;
}

int AttributeRelationValueCallback(int panel, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT && event != EVENT_VAL_CHANGED) return 0;
    int index = -1, on = 0;
    GetCtrlIndex(panel, FINDEXPRDLG_ATTRLIST, &index);
    if (index < 0) return 0;
    IsListItemChecked(panel, FINDEXPRDLG_ATTRLIST, index, &on);
    if (on) describeCondition(panel, index, true);
    updatePreview(panel);
    return 0;
}

#include "attrevents/attrbrowser.h"

#include <cstring>

#include "app/talmik.h"
#include "controls/help.h"
#include "session/opstatus.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"
#include "zuvisa/visa.h"

long long attrNumberValue(ViUInt32 typeFlags, const AttrNumber& n) {
    switch (attrDataType(typeFlags)) {
        case VAL_CHAR:
            return n.raw.i8;
        case VAL_UNSIGNED_CHAR:
            return n.raw.u8;
        case VAL_SHORT_INTEGER:
            return n.raw.i16;
        case VAL_UNSIGNED_SHORT_INTEGER:
            return n.raw.u16;
        case VAL_INTEGER:
            return n.raw.i32;
        case VAL_UNSIGNED_INTEGER:
            return n.raw.u32;
        default:
            return 0;
    }
}

AttrNumber attrNumberFrom(ViUInt32 typeFlags, long long value) {
    AttrNumber n{};
    switch (attrDataType(typeFlags)) {
        case VAL_CHAR:
            n.raw.i8 = static_cast<ViInt8>(value);
            break;
        case VAL_UNSIGNED_CHAR:
            n.raw.u8 = static_cast<ViUInt8>(value);
            break;
        case VAL_SHORT_INTEGER:
            n.raw.i16 = static_cast<ViInt16>(value);
            break;
        case VAL_UNSIGNED_SHORT_INTEGER:
            n.raw.u16 = static_cast<ViUInt16>(value);
            break;
        case VAL_INTEGER:
            n.raw.i32 = static_cast<ViInt32>(value);
            break;
        case VAL_UNSIGNED_INTEGER:
            n.raw.u32 = static_cast<ViUInt32>(value);
            break;
        default:
            break;
    }
    return n;
}

ViAttrState attrStateOf(ViUInt32 typeFlags, const AttrNumber& n) {
    // As a C caller passes a variable of the attribute's type: signed values sign-extend.
    return static_cast<ViAttrState>(attrNumberValue(typeFlags, n));
}

namespace {

SessionRecord* recordOf(void* callbackData) {
    return static_cast<SessionRecord*>(callbackData);
}

// The attribute the panel names: the ring's, or the typed number behind "<Other>...".
ViAttr chosenAttribute(int panel, int ring, int idField) {
    ViUInt32 id = 0;
    GetCtrlVal(panel, ring, &id);
    if (id == 0) GetCtrlVal(panel, idField, &id);
    return id;
}

void showNumericAs(int panel, int control, ViUInt32 typeFlags) {
    SetCtrlAttribute(panel, control, ATTR_DATA_TYPE, attrDataType(typeFlags));
    SetCtrlAttribute(panel, control, ATTR_FORMAT,
                     attrDisplayClass(typeFlags) == ATTRTYPE_DECIMAL ? VAL_DECIMAL_FORMAT
                                                                     : VAL_HEX_FORMAT);
}

// Which Get panel display shows: the numeric, the text or the boolean one.
enum class Display { Numeric, Text, Boolean };
void showGetDisplay(int panel, Display d) {
    SetCtrlAttribute(panel, GETATTRIB_VALUE, ATTR_VISIBLE, d == Display::Numeric);
    SetCtrlAttribute(panel, GETATTRIB_TEXTVALUE, ATTR_VISIBLE, d == Display::Text);
    SetCtrlAttribute(panel, GETATTRIB_BOOLVALUE, ATTR_VISIBLE, d == Display::Boolean);
}

bool isBoolean(ViUInt32 typeFlags) {
    return attrDisplayClass(typeFlags) == ATTRTYPE_BOOLEAN;
}

bool isText(ViUInt32 typeFlags) {
    return attrDisplayClass(typeFlags) == ATTRTYPE_TEXT;
}

// Shows the Set panel's value controls for a row.
void shapeSetPanel(int panel, const AttrListEntry& row) {
    const bool boolean = isBoolean(row.typeFlags);
    SetCtrlAttribute(panel, SETATTRIB_NEWBOOL, ATTR_VISIBLE, boolean);
    SetCtrlAttribute(panel, SETATTRIB_CURBOOL, ATTR_VISIBLE, boolean);
    SetCtrlAttribute(panel, SETATTRIB_NEWVALUE, ATTR_VISIBLE, !boolean);
    SetCtrlAttribute(panel, SETATTRIB_CURVALUE, ATTR_VISIBLE, !boolean);
    if (!boolean) {
        showNumericAs(panel, SETATTRIB_NEWVALUE, row.typeFlags);
        showNumericAs(panel, SETATTRIB_CURVALUE, row.typeFlags);
    }
}

// Reads the row's attribute into a zeroed variable, whatever the status, and shows it.
void showCurrentValue(int panel, ViSession vi, const AttrListEntry& row) {
    const bool boolean = isBoolean(row.typeFlags);
    if (!attrTypeValid(row.typeFlags) || isText(row.typeFlags)) return;
    AttrNumber current{};
    viGetAttribute(vi, row.attrId, &current.raw);
    if (boolean)
        SetCtrlVal(panel, SETATTRIB_CURBOOL, current.raw.u16 != VI_FALSE);
    else
        SetCtrlVal(panel, SETATTRIB_CURVALUE, attrNumberValue(row.typeFlags, current));
}

void adaptSetPanel(int panel, ViSession vi, const AttrListEntry& row) {
    shapeSetPanel(panel, row);
    showCurrentValue(panel, vi, row);
}

void attributeHelp(int panel, int control, void* data, int x, int y) {
    char name[64] = "";
    GetPanelAttribute(panel, ATTR_CONSTANT_NAME, name, sizeof name);
    int whatsThis = helpLoaded && Help_MessageFromUI(panel, control) != nullptr;
    ContextSensitiveHelpExt(panel, control, whatsThis, 1, 0, 0, 1, data, x, y);
}

}  // namespace

void setupAttributePanels(SessionRecord* r, int getPanel, int setPanel, ViUInt32 kindMask) {
    if (getPanel > 0) {
        fillAttrRing(getPanel, GETATTRIB_ATTRIBUTE, kindMask, r->nameStyle, false);
        InsertListItem(getPanel, GETATTRIB_ATTRIBUTE, -1, ATTR_RING_OTHER, ViUInt32{0});
        followRingIntoField(getPanel, GETATTRIB_ATTRIBUTE, GETATTRIB_ATTRID);
    }
    if (setPanel > 0) {
        fillAttrRing(setPanel, SETATTRIB_ATTRIBUTE, kindMask, r->nameStyle, true);
        InsertListItem(setPanel, SETATTRIB_ATTRIBUTE, -1, ATTR_RING_OTHER, ViUInt32{0});
        followRingIntoField(setPanel, SETATTRIB_ATTRIBUTE, SETATTRIB_ATTRID);
        if (const AttrListEntry* row = findAttrRow(
                chosenAttribute(setPanel, SETATTRIB_ATTRIBUTE, SETATTRIB_ATTRID)))
            adaptSetPanel(setPanel, r->session, *row);
    }
}

int ExecuteGetAttrribute(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    const ViSession vi = recordOf(callbackData)->session;
    const ViAttr id = chosenAttribute(panel, GETATTRIB_ATTRIBUTE, GETATTRIB_ATTRID);
    const AttrListEntry* row = findAttrRow(id);
    if (!row) {
        SetCtrlVal(panel, GETATTRIB_TEXTVALUE, "");
        showGetDisplay(panel, Display::Text);
        showStatus(panel, GETATTRIB_STATUS, GETATTRIB_STATUSNAME, VI_ERROR_INV_PARAMETER);
        return 0;
    }
    if (!attrTypeValid(row->typeFlags)) {
        showStatus(panel, GETATTRIB_STATUS, GETATTRIB_STATUSNAME, VI_ERROR_INV_PARAMETER);
        return 0;
    }
    ViStatus status;
    if (isText(row->typeFlags)) {
        // Room for the longest text an attribute has, and a terminator the library may omit.
        char text[512] = "";
        showGetDisplay(panel, Display::Text);
        status = viGetAttribute(vi, row->attrId, text);
        text[sizeof text - 1] = '\0';
        if (status < VI_SUCCESS) text[0] = '\0';
        SetCtrlVal(panel, GETATTRIB_TEXTVALUE, text);
    } else if (isBoolean(row->typeFlags)) {
        ViBoolean value = VI_FALSE;
        showGetDisplay(panel, Display::Boolean);
        status = viGetAttribute(vi, row->attrId, &value);
        SetCtrlVal(panel, GETATTRIB_BOOLVALUE, value != VI_FALSE);
    } else {
        AttrNumber value{};
        showGetDisplay(panel, Display::Numeric);
        showNumericAs(panel, GETATTRIB_VALUE, row->typeFlags);
        status = viGetAttribute(vi, row->attrId, &value.raw);
        SetCtrlVal(panel, GETATTRIB_VALUE, attrNumberValue(row->typeFlags, value));
    }
    showStatus(panel, GETATTRIB_STATUS, GETATTRIB_STATUSNAME, status);
    return 0;
}

// The Get panel's attribute ring: a choice opens or closes the number field; a right click
// offers the attribute's help.
int AttributeCallback(int panel, int control, int event, void* callbackData, int eventData1,
                      int eventData2) {
    if (event == EVENT_COMMIT) {
        followRingIntoField(panel, control, GETATTRIB_ATTRID);
    } else if (event == EVENT_RIGHT_CLICK) {
        attributeHelp(panel, control, callbackData, eventData2, eventData1);
        return 1;
    }
    return 0;
}

int SetAttributeChange(int panel, int control, int event, void* callbackData, int eventData1,
                       int eventData2) {
    if (event == EVENT_RIGHT_CLICK)
        return AttributeCallback(panel, control, event, callbackData, eventData1, eventData2);
    if (event != EVENT_COMMIT) return 0;
    followRingIntoField(panel, control, SETATTRIB_ATTRID);
    if (const AttrListEntry* row =
            findAttrRow(chosenAttribute(panel, SETATTRIB_ATTRIBUTE, SETATTRIB_ATTRID)))
        adaptSetPanel(panel, recordOf(callbackData)->session, *row);
    return 0;
}

int ExecuteSetAttribute(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    const ViSession vi = recordOf(callbackData)->session;
    const AttrListEntry* row =
        findAttrRow(chosenAttribute(panel, SETATTRIB_ATTRIBUTE, SETATTRIB_ATTRID));
    if (!row || !attrTypeValid(row->typeFlags) || isText(row->typeFlags)) {
        showStatus(panel, SETATTRIB_STATUS, SETATTRIB_STATUSNAME, VI_ERROR_INV_PARAMETER);
        return 0;
    }
    // A typed number may name a row other than the one the controls were made for.
    shapeSetPanel(panel, *row);
    AttrNumber value{};
    if (isBoolean(row->typeFlags)) {
        int on = 0;
        GetCtrlVal(panel, SETATTRIB_NEWBOOL, &on);
        value.raw.u16 = on ? VI_TRUE : VI_FALSE;
    } else {
        long long typed = 0;
        GetCtrlVal(panel, SETATTRIB_NEWVALUE, &typed);
        value = attrNumberFrom(row->typeFlags, typed);
    }
    const ViStatus status = viSetAttribute(vi, row->attrId, attrStateOf(row->typeFlags, value));
    // The value the library holds now, whether it took the new one or not.
    showCurrentValue(panel, vi, *row);
    showStatus(panel, SETATTRIB_STATUS, SETATTRIB_STATUSNAME, status);
    return 0;
}

// The Set panel's attribute number, typed behind "<Other>...": the controls follow its row.
int AttributeIdChange(int panel, int, int event, void* callbackData, int, int) {
    if (event != EVENT_COMMIT) return 0;
    if (const AttrListEntry* row =
            findAttrRow(chosenAttribute(panel, SETATTRIB_ATTRIBUTE, SETATTRIB_ATTRID)))
        adaptSetPanel(panel, recordOf(callbackData)->session, *row);
    return 0;
}

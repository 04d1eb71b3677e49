#include "controls/sheets.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <new>
#include <string>

#include "uiruntime/uiruntime.h"

namespace {

constexpr char kGroupTag[4] = {'P', 'R', 'G', 'S'};
constexpr int kSheetTag = 0x53484554;
constexpr int kTitleSize = 256;

struct Sheet;

}  // namespace

struct SheetGroup {
    char tag[4];
    int panel;
    int panelWidth;  // for wrapping tabs, read at the first sheet
    int body;
    int convertedBodyHeight;  // body height of a converted decoration, else 0
    int groupTop;
    int groupLeft;
    int bodyTop;
    int nextTabLeft;
    int activeIndex;  // from 1; 0 for none
    int tabRowTop;
    int tabRowHeight;
    int curTabColor;
    ListType sheets;  // Sheet*, in order of adding
    int tabLabelMinHeight;  // tab labels are at least this high (0: as their text)
    int tabPadding;         // extra width on each side of a tab's title
};

namespace {

struct Sheet {
    int tag;
    int panel;
    int label;
    int tab;
    int top;
    int left;
    int tabWidth;
    int tabHeight;
    int raised;
    int raisedTabTop, raisedTabWidth, raisedTabHeight;
    int raisedLabelTop, raisedLabelWidth, raisedLabelHeight;
    int sheetPanel;  // the child panel, or the parent panel for a control-list sheet
    SheetGroup* group;
    ListType controls;  // int ids; empty for a child-panel sheet
    SheetCallbackPtr callback;
};

int numSheets(SheetGroup* g) {
    return ListNumItems(g->sheets);
}

Sheet* sheetAt(SheetGroup* g, int index) {
    Sheet* s = nullptr;
    ListGetItem(g->sheets, &s, index);
    return s;
}

bool ownsChildPanel(const Sheet* s) {
    return s->sheetPanel != s->panel;
}

int controlAt(ListType controls, int index) {
    int id = 0;
    ListGetItem(controls, &id, index);
    return id;
}

// Frees a sheet and its tab controls; the child panel stays with its parent.
void SheetDispose(Sheet* s) {
    if (!s) return;
    DiscardCtrlNoBOLE(s->panel, s->label, 1);
    DiscardCtrlNoBOLE(s->panel, s->tab, 1);
    ListDispose(s->controls);
    delete s;
}

void SheetGroupDispose(SheetGroup* g) {
    if (!g) return;
    for (int i = 1; i <= numSheets(g); ++i) SheetDispose(sheetAt(g, i));
    ListDispose(g->sheets);
    delete g;
}

int SheetGroupCtrlCallback(int, int, int event, void* callbackData, int, int) {
    if (event == EVENT_DISCARD) SheetGroupDispose(static_cast<SheetGroup*>(callbackData));
    return 0;
}

int FitPanelInDecoration(int panel, int decoration, int childPanel) {
    int top, left, height, width;
    int status = GetCtrlBoundingRect(panel, decoration, &top, &left, &height, &width);
    if (status < 0) return status;
    status = SetPanelPos(childPanel, top + 2, left + 2);
    if (status >= 0) status = SetPanelSize(childPanel, height - 4, width - 4);
    return status;
}

// Creates a sheet's tab at the current row and x cursor.
int SheetCreate(SheetGroup* g, const char* title, Sheet** made) {
    Sheet* s = new (std::nothrow) Sheet{};
    if (!s) return UIEOutOfMemoryError;
    s->tag = kSheetTag;
    s->panel = g->panel;
    s->group = g;
    s->top = g->tabRowTop;
    s->left = g->nextTabLeft;
    s->sheetPanel = g->panel;
    s->controls = ListCreate(sizeof(int));
    if (!s->controls) {
        delete s;
        return UIEOutOfMemoryError;
    }
    int status = s->label = NewCtrl(g->panel, CTRL_TEXT_MSG, "", s->top + 2, s->left + 2);
    if (status >= 0) status = s->tab = NewCtrl(g->panel, CTRL_RAISED_BOX, "", s->top, s->left);
    int background = 0, height = 0, width = 0;
    if (status >= 0) status = SetCtrlVal(g->panel, s->label, title);
    if (status >= 0) status = GetPanelAttribute(g->panel, ATTR_BACKCOLOR, &background);
    if (status >= 0) status = SetCtrlAttribute(g->panel, s->label, ATTR_TEXT_BGCOLOR, background);
    if (status >= 0) status = SetCtrlAttribute(g->panel, s->tab, ATTR_FRAME_COLOR, background);
    if (status >= 0) status = GetCtrlAttribute(g->panel, s->label, ATTR_HEIGHT, &height);
    if (status >= 0) status = GetCtrlAttribute(g->panel, s->label, ATTR_WIDTH, &width);
    if (status < 0) {
        SheetDispose(s);
        return status;
    }
    // A tab taller than its title keeps the title in the middle: the label starts lower and still
    // ends where the tab meets the body (the tab's own fill shows above it).
    const int textTop = std::max(g->tabLabelMinHeight - height, 0) / 2;
    height = std::max(height, g->tabLabelMinHeight);
    width += 2 * g->tabPadding;
    s->tabHeight = height + 5;
    s->tabWidth = width + 6;
    SetCtrlAttribute(g->panel, s->label, ATTR_SIZE_TO_TEXT, 0);
    SetCtrlAttribute(g->panel, s->label, ATTR_TEXT_JUSTIFY, VAL_CENTER_JUSTIFIED);
    SetCtrlAttribute(g->panel, s->label, ATTR_TOP, s->top + 2 + textTop);
    SetCtrlAttribute(g->panel, s->label, ATTR_HEIGHT, s->tabHeight - textTop);
    SetCtrlAttribute(g->panel, s->label, ATTR_WIDTH, width + 2);
    SetCtrlAttribute(g->panel, s->tab, ATTR_HEIGHT, height + 7);
    SetCtrlAttribute(g->panel, s->tab, ATTR_WIDTH, s->tabWidth);
    InstallCtrlCallback(g->panel, s->label, SheetTabCallback, s);
    InstallCtrlCallback(g->panel, s->tab, SheetTabCallback, s);
    s->raisedTabTop = s->top;
    s->raisedTabWidth = s->tabWidth;
    s->raisedTabHeight = height + 7;
    s->raisedLabelTop = s->top + 2 + textTop;
    s->raisedLabelWidth = width + 2;
    s->raisedLabelHeight = s->tabHeight - textTop;
    s->raised = 1;
    *made = s;
    return 0;
}

void setVisible(int panel, ListType controls, int visible) {
    for (int i = 1; i <= ListNumItems(controls); ++i)
        SetCtrlAttribute(panel, controlAt(controls, i), ATTR_VISIBLE, visible);
}

void raiseTab(Sheet* s, int color) {
    SetCtrlAttribute(s->panel, s->tab, ATTR_TOP, s->raisedTabTop);
    SetCtrlAttribute(s->panel, s->tab, ATTR_WIDTH, s->raisedTabWidth);
    SetCtrlAttribute(s->panel, s->tab, ATTR_HEIGHT, s->raisedTabHeight);
    SetCtrlAttribute(s->panel, s->label, ATTR_TOP, s->raisedLabelTop);
    SetCtrlAttribute(s->panel, s->label, ATTR_WIDTH, s->raisedLabelWidth);
    SetCtrlAttribute(s->panel, s->label, ATTR_HEIGHT, s->raisedLabelHeight);
    SetCtrlAttribute(s->panel, s->label, ATTR_TEXT_COLOR, color);
    s->raised = 1;
}

void lowerTab(Sheet* s) {
    for (int control : {s->tab, s->label}) {
        int top = 0, height = 0, width = 0;
        GetCtrlAttribute(s->panel, control, ATTR_TOP, &top);
        GetCtrlAttribute(s->panel, control, ATTR_HEIGHT, &height);
        GetCtrlAttribute(s->panel, control, ATTR_WIDTH, &width);
        SetCtrlAttribute(s->panel, control, ATTR_TOP, top + 2);
        SetCtrlAttribute(s->panel, control, ATTR_HEIGHT, height - 2);
        SetCtrlAttribute(s->panel, control, ATTR_WIDTH, width - 2);
    }
    SetCtrlAttribute(s->panel, s->label, ATTR_TEXT_COLOR, 0);
    s->raised = 0;
}

void UpdateSheetGroupDisplay(SheetGroup* g) {
    int numCtrls = 0;
    GetPanelAttribute(g->panel, ATTR_NUM_CTRLS, &numCtrls);
    SetCtrlAttribute(g->panel, g->body, ATTR_ZPLANE_POSITION, numCtrls > 0 ? numCtrls - 1 : 0);
    Sheet* active = nullptr;
    for (int i = 1; i <= numSheets(g); ++i) {
        Sheet* s = sheetAt(g, i);
        bool isActive = i == g->activeIndex;
        setVisible(g->panel, s->controls, isActive);
        MoveBehind(g->panel, g->body, s->tab);
        if (isActive)
            MoveInFront(g->panel, g->body, s->label);
        else
            MoveBehind(g->panel, g->body, s->label);
        if (ownsChildPanel(s)) {
            if (isActive)
                FitPanelInDecoration(g->panel, g->body, s->sheetPanel);
            else
                HidePanel(s->sheetPanel);
        }
        if (isActive && !s->raised) raiseTab(s, g->curTabColor);
        if (!isActive && s->raised) lowerTab(s);
        if (isActive) active = s;
    }
    if (!active) return;
    MoveBehind(g->panel, g->body, active->tab);
    if (ownsChildPanel(active)) {
        // Shown last, after everything else is drawn, so that it lies on top of the body.
        ProcessDrawEvents();
        DisplayPanel(active->sheetPanel);
    }
}

int findTitle(SheetGroup* g, const char* title) {
    for (int i = 1; i <= numSheets(g); ++i) {
        char text[kTitleSize];
        Sheet* s = sheetAt(g, i);
        if (GetCtrlVal(s->panel, s->label, text, sizeof text) >= 0 && title &&
            std::strcmp(text, title) == 0)
            return i;
    }
    return 0;
}

bool canTakeFocus(int panel, int control) {
    int style = 0, dimmed = 1, visible = 0, mode = VAL_INDICATOR;
    if (GetCtrlAttribute(panel, control, ATTR_CTRL_STYLE, &style) < 0) return false;
    GetCtrlAttribute(panel, control, ATTR_DIMMED, &dimmed);
    GetCtrlAttribute(panel, control, ATTR_VISIBLE, &visible);
    GetCtrlAttribute(panel, control, ATTR_CTRL_MODE, &mode);
    bool focusable = style != CTRL_TEXT_MSG && style != CTRL_PICTURE && style != CTRL_TIMER &&
                     !IsDecorationStyle(style) && style != CTRL_ROUND_LED &&
                     style != CTRL_SQUARE_LED;
    return focusable && !dimmed && visible && mode != VAL_INDICATOR;
}

int activate(SheetGroup* g, int index) {
    if (index == g->activeIndex) return 0;
    g->activeIndex = index;
    UpdateSheetGroupDisplay(g);
    if (index == 0) return 0;
    Sheet* s = sheetAt(g, index);
    for (int i = 1; i <= ListNumItems(s->controls); ++i) {
        int control = controlAt(s->controls, i);
        if (canTakeFocus(s->panel, control)) return SetActiveCtrl(s->panel, control);
    }
    return 0;
}

// Gathers what a sheet shows; mode and arguments as SheetGroupAddSheet takes them.
int fillSheetContent(Sheet* s, int mode, va_list args) {
    if (mode == SHEET_MODE_CONTROL_LIST) {
        ListType given = va_arg(args, ListType);
        if (given && !ListAppend(s->controls, given)) return UIEOutOfMemoryError;
        return 0;
    }
    if (mode == SHEET_MODE_PANEL || mode == SHEET_MODE_LOAD_PANEL) {
        int child;
        if (mode == SHEET_MODE_PANEL) {
            child = va_arg(args, int);
        } else {
            const char* file = va_arg(args, const char*);
            int resource = va_arg(args, int);
            child = LoadPanel(s->panel, file, resource);
        }
        if (child < 0) return child;
        s->sheetPanel = child;
        HidePanel(child);
        return SetPanelAttribute(child, ATTR_PANEL_LOOK, VAL_PANEL_LOOK_EMBEDDED);
    }
    // The mode is the first control id of a list ended by a value below 2.
    for (int id = mode; id >= 2; id = va_arg(args, int))
        if (!ListInsertItem(s->controls, &id, END_OF_LIST)) return UIEOutOfMemoryError;
    return 0;
}

}  // namespace

int SheetGroupCreate(int panel, int top, int left) {
    SheetGroup* g = new (std::nothrow) SheetGroup{};
    if (!g) return UIEOutOfMemoryError;
    std::memcpy(g->tag, kGroupTag, sizeof kGroupTag);
    g->sheets = ListCreate(sizeof(Sheet*));
    if (!g->sheets) {
        delete g;
        return UIEOutOfMemoryError;
    }
    int body = NewCtrl(panel, CTRL_RAISED_BOX, "", top, left);
    if (body < 0) {
        SheetGroupDispose(g);
        return body;
    }
    g->panel = panel;
    g->body = body;
    g->groupTop = g->tabRowTop = g->bodyTop = top;
    g->groupLeft = g->nextTabLeft = left;
    InstallCtrlCallback(panel, body, SheetGroupCtrlCallback, g);
    return body;
}

int SheetGroupConvertFromDecoration(int panel, int decoration) {
    int style = 0, top = 0, left = 0, height = 0;
    int status = GetCtrlAttribute(panel, decoration, ATTR_CTRL_STYLE, &style);
    if (status < 0) return status;
    if (!IsDecorationStyle(style)) return SHEET_ERR_NOT_A_GROUP;
    GetCtrlAttribute(panel, decoration, ATTR_TOP, &top);
    GetCtrlAttribute(panel, decoration, ATTR_LEFT, &left);
    GetCtrlAttribute(panel, decoration, ATTR_HEIGHT, &height);
    int made = SheetGroupCreate(panel, top, left);
    if (made < 0) return made;
    SheetGroup* g = nullptr;
    GetSheetGroup(panel, made, &g);
    InstallCtrlCallback(panel, decoration, SheetGroupCtrlCallback, g);
    DiscardCtrlNoBOLE(panel, made, 1);
    g->body = decoration;
    g->convertedBodyHeight = height;
    return decoration;
}

int GetSheetGroup(int panel, int control, SheetGroup** group) {
    *group = nullptr;
    CtrlCallbackPtr callback = nullptr;
    void* data = nullptr;
    int status = GetCtrlAttribute(panel, control, ATTR_CALLBACK_FUNCTION_POINTER, &callback);
    if (status < 0) return status;
    GetCtrlAttribute(panel, control, ATTR_CALLBACK_DATA, &data);
    SheetGroup* g = static_cast<SheetGroup*>(data);
    if (callback != SheetGroupCtrlCallback || !g || std::memcmp(g->tag, kGroupTag, 4) != 0)
        return SHEET_ERR_NOT_A_GROUP;
    *group = g;
    return 0;
}

int SheetGroupAddSheet(int panel, int group, const char* title, int mode, ...) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    if (numSheets(g) == 0) GetPanelAttribute(panel, ATTR_WIDTH, &g->panelWidth);
    Sheet* s = nullptr;
    for (;;) {
        status = SheetCreate(g, title ? title : "", &s);
        if (status < 0) return status;
        bool atRowStart = g->nextTabLeft == g->groupLeft;
        // A tab wider than the whole row still goes in, alone on its row.
        if (g->nextTabLeft + s->tabWidth < g->panelWidth - 5 || atRowStart) break;
        int tabHeight = s->tabHeight;
        SheetDispose(s);
        g->nextTabLeft = g->groupLeft;
        g->tabRowTop -= tabHeight;
    }
    va_list args;
    va_start(args, mode);
    status = fillSheetContent(s, mode, args);
    va_end(args);
    if (status >= 0 && !ListInsertItem(g->sheets, &s, END_OF_LIST)) status = UIEOutOfMemoryError;
    if (status < 0) {
        SheetDispose(s);
        return status;
    }
    g->tabRowHeight = s->tabHeight;
    if (numSheets(g) == 1) {
        SetCtrlAttribute(panel, s->label, ATTR_TEXT_COLOR, g->curTabColor);
        g->bodyTop = g->groupTop + s->tabHeight;
        SetCtrlAttribute(panel, g->body, ATTR_TOP, g->bodyTop);
        g->activeIndex = 1;
        if (g->convertedBodyHeight)
            SetCtrlAttribute(panel, g->body, ATTR_HEIGHT, g->convertedBodyHeight - s->tabHeight);
    }
    g->nextTabLeft += s->tabWidth - 2;  // neighbouring tabs overlap by 2
    UpdateSheetGroupDisplay(g);
    return 0;
}

int SheetGroupNextLine(int panel, int group) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    g->nextTabLeft = g->groupLeft;
    g->tabRowTop -= g->tabRowHeight;
    return 0;
}

int SheetGroupSetActiveSheet(int panel, int group, const char* title) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    return activate(g, findTitle(g, title));
}

int SheetGroupGetActiveSheet(int panel, int group, char* title, size_t size) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    if (size) title[0] = '\0';
    if (g->activeIndex == 0) return 0;
    Sheet* s = sheetAt(g, g->activeIndex);
    return GetCtrlVal(panel, s->label, title, size);
}

int SheetGroupInstallSheetCallback(int panel, int group, const char* title,
                                   SheetCallbackPtr callback) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    int index = findTitle(g, title);
    if (index == 0) return UIEIndexOutOfRange;
    sheetAt(g, index)->callback = callback;
    return 0;
}

int SheetGroupGetSheetPanelFromIndex(int panel, int group, int index, int* sheetPanel) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    if (index < 1 || index > numSheets(g)) return UIEOutOfMemoryError;
    *sheetPanel = sheetAt(g, index)->sheetPanel;
    return 0;
}

int SheetGroupNumSheets(int panel, int group) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    return status < 0 ? status : numSheets(g);
}

int SheetGroupSizeToFit(int panel, int group) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    bool any = false;
    int minTop = 0, minLeft = 0, maxBottom = 0, maxRight = 0;
    for (int i = 1; i <= numSheets(g); ++i) {
        Sheet* s = sheetAt(g, i);
        for (int k = 1; k <= ListNumItems(s->controls); ++k) {
            int top, left, height, width;
            if (GetCtrlBoundingRect(panel, controlAt(s->controls, k), &top, &left, &height,
                                    &width) < 0)
                continue;
            if (!any || top < minTop) minTop = top;
            if (!any || left < minLeft) minLeft = left;
            if (!any || top + height > maxBottom) maxBottom = top + height;
            if (!any || left + width > maxRight) maxRight = left + width;
            any = true;
        }
    }
    if (!any) return 0;
    int right = std::max(maxRight, g->nextTabLeft + 2);
    int width = right + (minLeft - g->groupLeft) - g->groupLeft;
    int height = maxBottom + (minTop - g->bodyTop) - g->bodyTop;
    return SheetGroupSetSize(panel, group, height, width);
}

int SheetGroupGetSize(int panel, int group, int* top, int* bodyTop, int* left, int* height,
                      int* width) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    if (top) *top = g->groupTop;
    if (bodyTop) *bodyTop = g->bodyTop;
    if (left) *left = g->groupLeft;
    if (height) GetCtrlAttribute(panel, g->body, ATTR_HEIGHT, height);
    if (width) GetCtrlAttribute(panel, g->body, ATTR_WIDTH, width);
    return 0;
}

int SheetGroupSetSize(int panel, int group, int height, int width) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    if (height) status = SetCtrlAttribute(panel, g->body, ATTR_HEIGHT, height);
    if (status >= 0 && width) status = SetCtrlAttribute(panel, g->body, ATTR_WIDTH, width);
    if (status < 0) return status;
    UpdateSheetGroupDisplay(g);
    return 0;
}

int SheetGroupSetTabSize(int panel, int group, int minLabelHeight, int padding) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    if (minLabelHeight < 0 || padding < 0 || minLabelHeight > 200 || padding > 200) return UIEInvalidAttributeValue;
    g->tabLabelMinHeight = minLabelHeight;
    g->tabPadding = padding;
    return 0;
}

int SheetGroupCurTabColor(int panel, int group, int color) {
    SheetGroup* g;
    int status = GetSheetGroup(panel, group, &g);
    if (status < 0) return status;
    g->curTabColor = color;
    if (g->activeIndex)
        SetCtrlAttribute(panel, sheetAt(g, g->activeIndex)->label, ATTR_TEXT_COLOR, color);
    return 0;
}

int SheetTabCallback(int panel, int, int event, void* callbackData, int, int) {
    Sheet* clicked = static_cast<Sheet*>(callbackData);
    if (event != EVENT_LEFT_CLICK || !clicked || clicked->tag != kSheetTag) return 0;
    SheetGroup* g = clicked->group;
    if (g->activeIndex) {
        Sheet* current = sheetAt(g, g->activeIndex);
        if (current->callback && current->callback(clicked->sheetPanel, panel, 1)) return 0;
    }
    if (clicked->callback && clicked->callback(clicked->sheetPanel, panel, 2)) return 0;
    char title[kTitleSize];
    if (GetCtrlVal(panel, clicked->label, title, sizeof title) < 0) return 0;
    activate(g, findTitle(g, title));
    if (ownsChildPanel(clicked)) SetActivePanel(clicked->sheetPanel);
    return 0;
}

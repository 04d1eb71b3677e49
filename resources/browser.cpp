#include "resources/browser.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/prefs.h"
#include "app/registry.h"
#include "app/talmik.h"
#include "controls/treeview.h"
#include "resources/rsrcrecord.h"
#include "talmik_uir.h"
#include "uiruntime/uiruntime.h"

TreeView* target = nullptr;
char compName[80] = "";

namespace {

// The tree's images, in the order they are registered, and the picture each comes from.
enum { iVxi, i488, iGV, iAsrl, iTcp, iComp, iUnknown, iPxi, kImageCount };
const int kImagePictures[kImageCount] = {
    MAINPANEL_IMG_VXI,   MAINPANEL_IMG_GPIB,     MAINPANEL_IMG_GPIBVXI, MAINPANEL_IMG_SERIAL,
    MAINPANEL_IMG_TCPIP, MAINPANEL_IMG_COMPUTER, MAINPANEL_IMG_UNKNOWN, MAINPANEL_IMG_PXI,
};
int imageIndex[kImageCount];
// Bitmaps made for the tree (images and line pieces), freed with it.
int treeBitmaps[kImageCount + 2];
int numTreeBitmaps = 0;

const int kNoRecord = -1;

int magnitude(short type) { return type < 0 ? -type : type; }

void getComputerName(char* name, size_t size) {
    name[0] = '\0';
    if (gethostname(name, size) != 0) name[0] = '\0';
    name[size - 1] = '\0';
}

int bitmapFromPicture(int control) {
    int bitmap = -1;
    if (GetCtrlBitmap(rsrcpanel, control, 0, &bitmap) < 0) return -1;
    treeBitmaps[numTreeBitmaps++] = bitmap;
    return bitmap;
}

bool createTree(int ioPanel) {
    if (TV_CreateExistCanvas(ioPanel, IOSHEET_RSRCTREE, IOSHEET_RSRCSCROLL, &target) < 0) {
        target = nullptr;
        return false;
    }
    TV_InstallHandler(target, MainRsrcSelect);
    // The tree's frame is white inside, a margin around the rows.
    SetCtrlAttribute(ioPanel, IOSHEET_RSRCFRAME, ATTR_FRAME_COLOR, VAL_WHITE);
    int vertical = bitmapFromPicture(MAINPANEL_IMG_LINE_V);
    int horizontal = bitmapFromPicture(MAINPANEL_IMG_LINE_H);
    if (vertical >= 0 && horizontal >= 0) TV_UseLines(target, vertical, horizontal);
    for (int i = 0; i < kImageCount; ++i) {
        imageIndex[i] = -1;
        int bitmap = bitmapFromPicture(kImagePictures[i]);
        if (bitmap >= 0) TV_AddImage(target, bitmap, &imageIndex[i]);
    }
    return true;
}

// The image of a record's category or interface, from its signed type.
int categoryImage(short type) {
    switch (type) {
        case RSRC_GPIB:
        case -RSRC_GPIB: return imageIndex[i488];
        case RSRC_VXI:
        case -RSRC_VXI: return imageIndex[iVxi];
        case RSRC_GPIB_VXI:
        case -RSRC_GPIB_VXI: return imageIndex[iGV];
        case RSRC_ASRL: return imageIndex[iAsrl];
        case RSRC_PXI:
        case -RSRC_PXI: return imageIndex[iPxi];
        case RSRC_TCPIP:
        case -RSRC_TCPIP: return imageIndex[iTcp];
        default: return imageIndex[iUnknown];
    }
}

// Calls f(record index) for each entry of the order that is to be drawn: a duplicate only when
// the preferences ask for them.
template <typename F>
void forEachShown(const int* order, F f) {
    for (int k = 0; k < nRsrcs; ++k) {
        int entry = order[k];
        if (entry < 0 && !showDuplicateApp) continue;
        f(entry < 0 ? ~entry : entry);
    }
}

void addByType() {
    short previous = 0;
    forEachShown(lpSortType, [&](int r) {
        const RsrcRecord& rec = lpRsrcs[r];
        if (rec.intfType != previous) {
            TV_AddItem(target, rsrcCategory(rec.intfType), 1, -1, categoryImage(rec.intfType), kNoRecord, nullptr);
            previous = rec.intfType;
        }
        TV_AddItem(target, rec.rsrcName, 2, -1, categoryImage(rec.intfType), r, nullptr);
    });
}

void addByConnection() {
    short type = 0;
    unsigned short number = 0;
    unsigned short board = static_cast<unsigned short>(kRsrcUnknown);
    int mainframe = -1;
    int image = imageIndex[iUnknown];
    int drawn[2] = {-1, -1};  // the last two records drawn, the last first
    forEachShown(lpSortConn, [&](int r) {
        const RsrcRecord& rec = lpRsrcs[r];
        const int kind = magnitude(rec.intfType);
        if (kind != magnitude(type) || rec.intfNum != number) {
            if (kind == RSRC_GPIB_VXI && rec.parentNum != board) {
                // The GPIB board again, as the parent of the GPIB-VXI interfaces behind it.
                int named = drawn[0] >= 0 && isNonInstrRecord(lpRsrcs[drawn[0]]) && drawn[1] >= 0 ? drawn[1] : drawn[0];
                char label[256];
                if (named >= 0)
                    std::snprintf(label, sizeof label, "%s", lpRsrcs[named].intfInstName);
                else
                    std::snprintf(label, sizeof label, "GPIB%u", static_cast<unsigned>(rec.parentNum));
                TV_AddItem(target, label, 1, -1, imageIndex[i488], kNoRecord, nullptr);
            }
            // The interface itself; a GPIB-VXI interface under its board.
            image = categoryImage(rec.intfType);
            const char* label = hasCategory(rec.intfType) ? rec.intfInstName : "Unknown";
            const int level = kind == RSRC_GPIB_VXI ? 2 : 1;
            TV_AddItem(target, label, level, -1, image, kNoRecord, nullptr);
            type = rec.intfType;
            number = rec.intfNum;
            if (kind == RSRC_GPIB_VXI) board = rec.parentNum;
            else if (kind == RSRC_GPIB) board = rec.intfNum;
            mainframe = -1;
        }
        const int remembered = magnitude(type);
        int level = remembered == RSRC_GPIB_VXI ? 3 : 2;
        if ((remembered == RSRC_VXI || remembered == RSRC_GPIB_VXI) && !isNonInstrRecord(rec)) {
            if (rec.mainframeLA != mainframe) {
                char label[32];
                std::snprintf(label, sizeof label, "Mainframe %hd", rec.mainframeLA);
                TV_AddItem(target, label, level, -1, image, kNoRecord, nullptr);
                mainframe = rec.mainframeLA;
            }
            if (mainframe >= 0) ++level;
        }
        TV_AddItem(target, rec.rsrcName, level, -1, image, r, nullptr);
        drawn[1] = drawn[0];
        drawn[0] = r;
    });
}

// The active control of a sheet, committed as the user would.
void commitControl(int panel, int control) {
    if (panel <= 0 || control <= 0) return;
    CtrlCallbackPtr callback = nullptr;
    void* data = nullptr;
    GetCtrlAttribute(panel, control, ATTR_CALLBACK_FUNCTION_POINTER, &callback);
    GetCtrlAttribute(panel, control, ATTR_CALLBACK_DATA, &data);
    if (callback) callback(panel, control, EVENT_COMMIT, data, 0, 0);
}

bool shown(int panel) {
    int visible = 0;
    return panel > 0 && GetPanelAttribute(panel, ATTR_VISIBLE, &visible) >= 0 && visible;
}

void openResource(const char* name) {
    const int menuBar = GetPanelMenuBar(rsrcpanel);
    SetMenuBarAttribute(menuBar, MENUBAR_FILE_OPEN, ATTR_DIMMED, 1);
    SetCtrlAttribute(rsrcio, IOSHEET_RSRCNAME, ATTR_DIMMED, 1);
    if (OpenVisaSession(name)) SetMenuBarAttribute(menuBar, MENUBAR_FILE_CLOSEALL, ATTR_DIMMED, 0);
    SetMenuBarAttribute(menuBar, MENUBAR_FILE_OPEN, ATTR_DIMMED, 0);
    SetCtrlAttribute(rsrcio, IOSHEET_RSRCNAME, ATTR_DIMMED, 0);
}

}  // namespace

void AddIoRsrcs(int ioPanel) {
    if (!compName[0]) {
        getComputerName(compName, sizeof compName);
        if (!compName[0]) std::snprintf(compName, sizeof compName, "My Computer");
    }
    if (!target) {
        if (!createTree(ioPanel)) return;
    } else {
        TV_DeleteItem(target, -1);
    }
    SetMenuBarAttribute(GetPanelMenuBar(rsrcpanel), MENUBAR_FILE_OPEN, ATTR_CALLBACK_DATA, static_cast<void*>(target));
    SetCtrlAttribute(ioPanel, IOSHEET_RSRCNAME, ATTR_CALLBACK_DATA, static_cast<void*>(target));
    TV_InitNumItems(target, nRsrcs + 2);
    TV_AddItem(target, compName, 0, -1, imageIndex[iComp], kNoRecord, nullptr);
    // Without an order (it could not be allocated) only the root is shown.
    if (lpRsrcs && viewRsrcConnApp && lpSortConn) addByConnection();
    if (lpRsrcs && !viewRsrcConnApp && lpSortType) addByType();
    TV_UpdateScreen(target);
}

void showSearchPlaceholder(const char* text) {
    if (!target) return;
    TV_DeleteItem(target, -1);
    TV_AddItem(target, text, 0, -1, -1, kNoRecord, nullptr);
    TV_UpdateScreen(target);
}

void closeRsrcTree() {
    if (!target) return;
    TV_Close(target);
    target = nullptr;
    for (int i = 0; i < numTreeBitmaps; ++i) DiscardBitmap(treeBitmaps[i]);
    numTreeBitmaps = 0;
}

int MainRsrcSelect(int panel, int control, int event, void* callbackData, int, int) {
    auto* tree = static_cast<TreeView*>(callbackData);
    if (event == EVENT_VAL_CHANGED && control == IOSHEET_RSRCTREE) {
        int r = kNoRecord;
        TV_GetItemData(tree, -1, &r);
        const bool record = r >= 0 && r < nRsrcs && lpRsrcs;
        SetCtrlVal(panel, IOSHEET_RSRCNAME, record ? lpRsrcs[r].rsrcName : "");
        return 0;
    }
    // The ring of find expressions has a callback of its own, which hands over to the builder.
    if (event != EVENT_COMMIT || control == IOSHEET_FINDRING) return 0;
    char name[256] = "";
    GetCtrlVal(rsrcio, IOSHEET_RSRCNAME, name, sizeof name);
    if (name[0]) openResource(name);
    return 0;
}

int MainViewType(int panel, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SetCtrlVal(panel, IOSHEET_VIEWTYPE, 1);
    if (!viewRsrcConnApp) return 0;
    SetCtrlVal(panel, IOSHEET_VIEWCONN, 0);
    viewRsrcConnApp = 0;
    AddIoRsrcs(panel);
    return 0;
}

int MainViewConn(int panel, int, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    SetCtrlVal(panel, IOSHEET_VIEWCONN, 1);
    if (viewRsrcConnApp) return 0;
    SetCtrlVal(panel, IOSHEET_VIEWTYPE, 0);
    viewRsrcConnApp = 1;
    AddIoRsrcs(panel);
    return 0;
}

void DoOpen(int, int, void*, int) {
    if (shown(rsrcio))
        commitControl(rsrcio, GetActiveCtrl(rsrcio));
    else if (shown(rsrcsfp))
        commitControl(rsrcsfp, SFPSHEET_SFPLIST);
    else if (shown(rsrczu))
        commitControl(rsrczu, ZUSHEET_TOOLPATH);
}

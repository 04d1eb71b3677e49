#include "resources/search.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "app/talmik.h"
#include "resources/browser.h"
#include "resources/rsrcrecord.h"
#include "resources/sfp.h"
#include "talmik_uir.h"
#include "uiruntime/uiruntime.h"
#include "zuvisa/visa.h"
#include "zuvisa/zuvisa.h"

char appFindExpr[256] = "?*";
short firstCheck = 1;

namespace {

const char kPlaceholder[] = "<Searching for Resources>";
const char kVxiDeviceNotAccessible[] =
    "At least one VXI device listed could not be accessed.\n"
    "You may need to run the VXI Resource Manager.";
const char kVxiRmNotRun[] =
    "The VXI Resource Manager has not been run successfully.\n"
    "You may want to exit TALMIK and run the Resource Manager.";

bool nameHas(const RsrcRecord& r, const char* part) { return std::strstr(r.rsrcName, part) != nullptr; }

// An attribute of the open resource, or the fallback when the library cannot give it.
template <typename T>
T readAttribute(ViSession vi, ViAttr attribute, T fallback) {
    T value = fallback;
    if (viGetAttribute(vi, attribute, &value) < VI_SUCCESS) return fallback;
    return value;
}

// Opens the resource named in r and fills the rest of its record. Returns true when it is a VXI
// instrument that the library listed but could not reach.
bool classify(RsrcRecord& r, int index) {
    ViSession vi = VI_NULL;
    ViStatus status = viOpen(defaultRM, r.rsrcName, VI_NULL, VI_NULL, &vi);
    if (status < VI_SUCCESS) {
        r.intfType = kRsrcUnknown;
        r.intfNum = static_cast<unsigned short>(kRsrcUnknown);
        return false;
    }
    char instName[256] = "";
    if (viGetAttribute(vi, VI_ATTR_INTF_INST_NAME, instName) >= VI_SUCCESS) {
        instName[sizeof instName - 1] = '\0';
        std::memcpy(r.intfInstName, instName, sizeof instName);
    }
    r.intfType = static_cast<short>(readAttribute<ViUInt16>(vi, VI_ATTR_INTF_TYPE, 0));
    r.intfNum = readAttribute<ViUInt16>(vi, VI_ATTR_INTF_NUM, 0);
    const short type = r.intfType;
    r.parentNum = static_cast<unsigned short>(kRsrcUnknown);
    if (type == RSRC_GPIB_VXI)
        r.parentNum = readAttribute<ViUInt16>(vi, VI_ATTR_INTF_PARENT_NUM, r.parentNum);
    if (type == RSRC_GPIB || type == RSRC_GPIB_VXI) {
        r.gpibPrimary = readAttribute<ViUInt16>(vi, VI_ATTR_GPIB_PRIMARY_ADDR, r.gpibPrimary);
        r.gpibSecondary = readAttribute<ViUInt16>(vi, VI_ATTR_GPIB_SECONDARY_ADDR, r.gpibSecondary);
    }
    const bool instr = nameHas(r, "::INSTR");
    r.mainframeLA = r.vxiLA = kNoLogicalAddress;
    if (type == RSRC_VXI || type == RSRC_GPIB_VXI) {
        if (instr || nameHas(r, "::BACKPLANE"))
            r.mainframeLA = readAttribute<ViInt16>(vi, VI_ATTR_MAINFRAME_LA, kNoLogicalAddress);
        if (instr || nameHas(r, "::MEMACC") || nameHas(r, "::SERVANT"))
            r.vxiLA = readAttribute<ViInt16>(vi, VI_ATTR_VXI_LA, kNoLogicalAddress);
    }
    if (!instr) r.intfType = static_cast<short>(-r.intfType);

    bool notPresent = false;
    if (instr && type == RSRC_VXI) {
        notPresent = status == VI_SUCCESS_DEV_NPRESENT;
        // A device at the logical address of an MXI extender's own resources sits outside the
        // mainframes.
        for (int j = 0; j < index; ++j) {
            const RsrcRecord& x = lpRsrcs[j];
            if (x.intfType == -RSRC_VXI && x.intfNum == r.intfNum && x.vxiLA == r.vxiLA &&
                std::strstr(x.intfInstName, "MXI")) {
                r.mainframeLA = kNoLogicalAddress;
                break;
            }
        }
    }
    viClose(vi);
    return notPresent;
}

void vxiMessage(const char* text) {
    int cursor = GetWaitCursorState();
    SetWaitCursor(0);
    MessagePopup(pszAppName, text);
    SetWaitCursor(cursor);
}

}  // namespace

int findIoRsrcs(int* count) {
    ViFindList findList = VI_NULL;
    ViUInt32 found = 0;
    char name[256] = "";
    viFindRsrc(defaultRM, appFindExpr, &findList, &found, name);
    name[sizeof name - 1] = '\0';
    *count = static_cast<int>(found);
    if (found == 0) return 0;
    if (found > static_cast<ViUInt32>(INT32_MAX / sizeof(RsrcRecord)) ||
        !(lpRsrcs = static_cast<RsrcRecord*>(std::calloc(found, sizeof(RsrcRecord))))) {
        viClose(findList);
        *count = 0;
        return 0;
    }
    bool vxiNotPresent = false;
    for (int i = 0; i < *count; ++i) {
        RsrcRecord& r = lpRsrcs[i];
        std::memcpy(r.rsrcName, name, sizeof name);
        if (classify(r, i)) vxiNotPresent = true;
        // The records after a failed step stay empty: the array keeps the length announced.
        if (i + 1 < *count && viFindNext(findList, name) < VI_SUCCESS) break;
        name[sizeof name - 1] = '\0';
    }
    ViInt32 vxiRmStatus = 0;
    if (mfrID == HOUSE_MANF_ID && viGetAttribute(findList, VI_ATTR_ZU_VXI_RM_STATUS, &vxiRmStatus) < VI_SUCCESS)
        vxiRmStatus = 0;
    viClose(findList);
    if (firstCheck) {
        firstCheck = 0;
        if (vxiNotPresent)
            vxiMessage(kVxiDeviceNotAccessible);
        else if (vxiRmStatus < 0)
            vxiMessage(kVxiRmNotRun);
    }
    return 1;
}

void refreshIoRsrcs() {
    releaseRsrcs();
    if (!findIoRsrcs(&nRsrcs)) {
        releaseRsrcs();
        return;
    }
    const size_t size = static_cast<size_t>(nRsrcs) * sizeof(int);
    lpSortType = static_cast<int*>(std::malloc(size));
    if (!lpSortType) return;
    lpSortConn = static_cast<int*>(std::malloc(size));
    if (!lpSortConn) return;
    sortRsrcsByType(lpRsrcs, nRsrcs, lpSortType);
    sortRsrcsByConn(lpRsrcs, nRsrcs, lpSortConn);
}

void DoRefresh(int, int, void*, int) {
    int cursor = GetWaitCursorState();
    SetWaitCursor(1);
    showSearchPlaceholder(kPlaceholder);
    ClearListCtrl(rsrcsfp, SFPSHEET_SFPLIST);
    SetCtrlVal(rsrcsfp, SFPSHEET_SFPPATH, "");
    InsertListItem(rsrcsfp, SFPSHEET_SFPLIST, -1, kPlaceholder, 0);
    ProcessDrawEvents();
    refreshIoRsrcs();
    AddIoRsrcs(rsrcio);
    refreshSfpRsrcs();
    AddSfpRsrcs(rsrcsfp);
    SetWaitCursor(cursor);
}

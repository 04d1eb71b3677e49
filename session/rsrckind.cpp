#include "session/rsrckind.h"

#include <cstring>

#include "zuvisa/visa.h"

namespace {

bool has(const char* name, const char* suffix) {
    return std::strstr(name, suffix) != nullptr;
}

// The top two bits of the identification register name the device class; 2 is message based.
bool messageBased(const VxiProbe& p) {
    return p.idStatus < VI_SUCCESS || (p.id >> 14) == 2;
}

}  // namespace

ViUInt32 kindMaskOf(ViUInt16 intfType, const char* name, const VxiProbe& probe) {
    switch (intfType) {
        case VI_INTF_GPIB:
            if (has(name, "::INSTR")) return KIND_GPIB_INSTR;
            if (has(name, "::INTFC")) return KIND_GPIB_INTFC;
            if (has(name, "::SERVANT")) return KIND_GPIB_SERVANT;
            return KIND_ALL;
        case VI_INTF_VXI:
            if (has(name, "::INSTR")) {
                if (probe.logicalAddress > 255) return KIND_VXI_INSTR_HIGH_LA;
                return messageBased(probe) ? KIND_VXI_INSTR_MSG : KIND_VXI_INSTR_REG;
            }
            if (has(name, "::BACKPLANE")) return KIND_VXI_BACKPLANE;
            if (has(name, "::MEMACC")) return KIND_VXI_MEMACC;
            if (has(name, "::SERVANT")) return KIND_VXI_SERVANT;
            return KIND_ALL;
        case VI_INTF_GPIB_VXI:
            if (has(name, "::INSTR"))
                return messageBased(probe) ? KIND_GPIBVXI_INSTR_MSG : KIND_GPIBVXI_INSTR_REG;
            if (has(name, "::BACKPLANE")) return KIND_GPIBVXI_BACKPLANE;
            if (has(name, "::MEMACC")) return KIND_GPIBVXI_MEMACC;
            return KIND_ALL;
        case VI_INTF_ASRL:
            return KIND_ASRL;
        case VI_INTF_PXI:
            if (has(name, "::INSTR")) return KIND_PXI_INSTR;
            if (has(name, "::MEMACC")) return KIND_PXI_MEMACC;
            return KIND_ALL;
        case VI_INTF_TCPIP:
            return KIND_TCPIP;
        default:
            return KIND_ALL;
    }
}

ViUInt32 classifySession(ViSession vi) {
    ViUInt16 intfType = 0;
    char name[256] = "";
    viGetAttribute(vi, VI_ATTR_INTF_TYPE, &intfType);
    if (viGetAttribute(vi, VI_ATTR_RSRC_NAME, name) < VI_SUCCESS) name[0] = '\0';
    name[sizeof name - 1] = '\0';
    VxiProbe probe{0, VI_ERROR_NSUP_OPER, 0};
    if (std::strstr(name, "::INSTR")) {
        if (intfType == VI_INTF_VXI) viGetAttribute(vi, VI_ATTR_VXI_LA, &probe.logicalAddress);
        // Above logical address 255 the device's registers are not probed.
        bool probeId = intfType == VI_INTF_GPIB_VXI ||
                       (intfType == VI_INTF_VXI && probe.logicalAddress <= 255);
        if (probeId) probe.idStatus = viIn16(vi, VI_A16_SPACE, 0, &probe.id);
    }
    return kindMaskOf(intfType, name, probe);
}

#include "attrevents/attrlist.h"

#include "uiruntime/uiruntime.h"

// clang-format off
const AttrListEntry attrList[] = {
    // viName, label, attribute id, type word, settable, kinds
    {"VI_ATTR_USER_DATA", "User Data", 0x3FFF0007, 0x407, 1, 0x1FFFF},
    {"VI_ATTR_RSRC_NAME", "Resource Name", 0xBFFF0002, 0x005, 0, 0x1FFFF},
    {"VI_ATTR_RSRC_MANF_NAME", "Resource Manufacturer Name", 0xBFFF0174, 0x005, 0, 0x1FFFF},
    {"VI_ATTR_RSRC_MANF_ID", "Resource Manufacturer ID", 0x3FFF0175, 0x406, 0, 0x1FFFF},
    {"VI_ATTR_RSRC_IMPL_VERSION", "Version of Implementation", 0x3FFF0003, 0x407, 0, 0x1FFFF},
    {"VI_ATTR_RSRC_SPEC_VERSION", "Version of Specification", 0x3FFF0170, 0x407, 0, 0x1FFFF},
    {"VI_ATTR_RSRC_LOCK_STATE", "Resource Lock State", 0x3FFF0004, 0x207, 0, 0x1FFFF},
    {"VI_ATTR_RSRC_CLASS", "Resource Class", 0xBFFF0001, 0x005, 0, 0x1FFFF},
    {"VI_ATTR_MAX_QUEUE_LENGTH", "Maximum Queue Length", 0x3FFF0005, 0x207, 1, 0x1FFFF},
    {"VI_ATTR_INTF_TYPE", "Interface Type", 0x3FFF0171, 0x206, 0, 0x1FFFF},
    {"VI_ATTR_INTF_NUM", "Interface Number", 0x3FFF0176, 0x206, 0, 0x1FFFF},
    {"VI_ATTR_INTF_INST_NAME", "Interface Name", 0xBFFF00E9, 0x005, 0, 0x1FFFF},
    {"VI_ATTR_FDC_CHNL", "Fast Data Channel Number", 0x3FFF000D, 0x206, 1, 0xA},
    {"VI_ATTR_FDC_MODE", "Fast Data Channel Mode", 0x3FFF000F, 0x206, 1, 0xA},
    {"VI_ATTR_FDC_GEN_SIGNAL_EN", "Fast Data Channel Signals", 0x3FFF0011, 0x106, 1, 0xA},
    {"VI_ATTR_FDC_USE_PAIR", "Fast Data Channel Pairs", 0x3FFF0013, 0x106, 1, 0xA},
    {"VI_ATTR_SEND_END_EN", "Send End on Writes", 0x3FFF0016, 0x106, 1, 0xE44B},
    {"VI_ATTR_TMO_VALUE", "Timeout Value", 0x3FFF001A, 0x207, 1, 0x1FFFF},
    {"VI_ATTR_TERMCHAR", "Termination Character", 0x3FFF0018, 0x408, 1, 0xE44B},
    {"VI_ATTR_TERMCHAR_EN", "Termination Char Enable", 0x3FFF0038, 0x106, 1, 0xE44B},
    {"VI_ATTR_IO_PROT", "IO Protocol", 0x3FFF001C, 0x206, 1, 0xA44B},
    {"VI_ATTR_SUPPRESS_END_EN", "Suppress End on Reads", 0x3FFF0036, 0x106, 1, 0x4B},
    {"VI_ATTR_WIN_BASE_ADDR", "Window Base Address", 0x3FFF0098, 0x407, 0, 0x103BE},
    {"VI_ATTR_WIN_SIZE", "Window Size", 0x3FFF009A, 0x407, 0, 0x103BE},
    {"VI_ATTR_WIN_ACCESS", "Window Access", 0x3FFF00C3, 0x206, 0, 0x103BE},
    {"VI_ATTR_VXI_LA", "VXI Logical Address", 0x3FFF00D5, 0x202, 0, 0x41BE},
    {"VI_ATTR_CMDR_LA", "Commander Logical Address", 0x3FFF006B, 0x202, 0, 0x401E},
    {"VI_ATTR_MAINFRAME_LA", "Mainframe Logical Address", 0x3FFF0070, 0x202, 0, 0x183E},
    {"VI_ATTR_MEM_SPACE", "VXI Memory Address Space", 0x3FFF00DE, 0x206, 0, 0x3E},
    {"VI_ATTR_MEM_BASE", "VXI Memory Base Address", 0x3FFF00AD, 0x407, 0, 0x3E},
    {"VI_ATTR_MEM_SIZE", "VXI Memory Size", 0x3FFF00DD, 0x407, 0, 0x3E},
    {"VI_ATTR_MANF_ID", "Manufacturer Identification", 0x3FFF00D9, 0x406, 0, 0x23E},
    {"VI_ATTR_MANF_NAME", "Manufacturer Name", 0xBFFF0072, 0x005, 0, 0x23E},
    {"VI_ATTR_MODEL_CODE", "Model Code", 0x3FFF00DF, 0x406, 0, 0x23E},
    {"VI_ATTR_MODEL_NAME", "Model Name", 0xBFFF0077, 0x005, 0, 0x23E},
    {"VI_ATTR_SLOT", "Slot", 0x3FFF00E8, 0x202, 0, 0x23E},
    {"VI_ATTR_IMMEDIATE_SERV", "Immediate Servant", 0x3FFF0100, 0x106, 0, 0x1E},
    {"VI_ATTR_DEST_ACCESS_PRIV", "Address Modifier (Dest.)", 0x3FFF0039, 0x206, 1, 0x1BE},
    {"VI_ATTR_DEST_BYTE_ORDER", "Byte Order (Dest.)", 0x3FFF003A, 0x206, 1, 0x1BE},
    {"VI_ATTR_DEST_INCREMENT", "Increment Destination Count", 0x3FFF0041, 0x201, 1, 0x103BE},
    {"VI_ATTR_SRC_ACCESS_PRIV", "Address Modifier (Source)", 0x3FFF003C, 0x206, 1, 0x1BE},
    {"VI_ATTR_SRC_BYTE_ORDER", "Byte Order (Source)", 0x3FFF003D, 0x206, 1, 0x1BE},
    {"VI_ATTR_SRC_INCREMENT", "Increment Source Count", 0x3FFF0040, 0x201, 1, 0x103BE},
    {"VI_ATTR_WIN_ACCESS_PRIV", "Address Modifier (Window)", 0x3FFF0045, 0x206, 1, 0x1BE},
    {"VI_ATTR_WIN_BYTE_ORDER", "Byte Order (Window)", 0x3FFF0047, 0x206, 1, 0x1BE},
    {"VI_ATTR_INTF_PARENT_NUM", "Interface Number of Parent", 0x3FFF0101, 0x206, 0, 0x1118},
    {"VI_ATTR_GPIB_PRIMARY_ADDR", "GPIB Primary Address", 0x3FFF0172, 0x206, 0, 0x1119},
    {"VI_ATTR_GPIB_PRIMARY_ADDR", "GPIB Primary Address", 0x3FFF0172, 0x206, 1, 0x2400},
    {"VI_ATTR_GPIB_SECONDARY_ADDR", "GPIB Secondary Address", 0x3FFF0173, 0x206, 0, 0x1119},
    {"VI_ATTR_GPIB_SECONDARY_ADDR", "GPIB Secondary Address", 0x3FFF0173, 0x206, 1, 0x2400},
    {"VI_ATTR_GPIB_READDR_EN", "GPIB Readdressing", 0x3FFF001B, 0x106, 1, 0x19},
    {"VI_ATTR_GPIB_UNADDR_EN", "GPIB Unaddressing", 0x3FFF0184, 0x106, 1, 0x19},
    {"VI_ATTR_TRIG_ID", "Trigger Identifier", 0x3FFF0177, 0x202, 0, 0x2401},
    {"VI_ATTR_TRIG_ID", "Trigger Identifier", 0x3FFF0177, 0x202, 1, 0x181E},
    {"VI_ATTR_ASRL_AVAIL_NUM", "Bytes at Serial Port", 0x3FFF00AC, 0x207, 0, 0x40},
    {"VI_ATTR_ASRL_BAUD", "Serial Baud Rate", 0x3FFF0021, 0x207, 1, 0x40},
    {"VI_ATTR_ASRL_DATA_BITS", "Serial Data Bits", 0x3FFF0022, 0x206, 1, 0x40},
    {"VI_ATTR_ASRL_PARITY", "Serial Parity", 0x3FFF0023, 0x206, 1, 0x40},
    {"VI_ATTR_ASRL_STOP_BITS", "Serial Stop Bits", 0x3FFF0024, 0x206, 1, 0x40},
    {"VI_ATTR_ASRL_FLOW_CNTRL", "Serial Flow Control", 0x3FFF0025, 0x206, 1, 0x40},
    {"VI_ATTR_ASRL_END_IN", "Serial End Mode for Reads", 0x3FFF00B3, 0x206, 1, 0x40},
    {"VI_ATTR_ASRL_END_OUT", "Serial End Mode for Writes", 0x3FFF00B4, 0x206, 1, 0x40},
    {"VI_ATTR_ASRL_CTS_STATE", "Modem Clear-To-Send", 0x3FFF00AE, 0x202, 0, 0x40},
    {"VI_ATTR_ASRL_DCD_STATE", "Modem Data-Carrier-Detect", 0x3FFF00AF, 0x202, 0, 0x40},
    {"VI_ATTR_ASRL_DSR_STATE", "Modem Data-Set-Ready", 0x3FFF00B1, 0x202, 0, 0x40},
    {"VI_ATTR_ASRL_DTR_STATE", "Modem Data-Terminal-Ready", 0x3FFF00B2, 0x202, 1, 0x40},
    {"VI_ATTR_ASRL_RI_STATE", "Modem Ring-Indicator", 0x3FFF00BF, 0x202, 0, 0x40},
    {"VI_ATTR_ASRL_RTS_STATE", "Modem Request-To-Send", 0x3FFF00C0, 0x202, 1, 0x40},
    {"VI_ATTR_ASRL_XON_CHAR", "Handshaking XON Character", 0x3FFF00C1, 0x408, 1, 0x40},
    {"VI_ATTR_ASRL_XOFF_CHAR", "Handshaking XOFF Character", 0x3FFF00C2, 0x408, 1, 0x40},
    {"VI_ATTR_ASRL_REPLACE_CHAR", "Error Replacement Character", 0x3FFF00BE, 0x408, 1, 0x40},
    {"VI_ATTR_PXI_DEV_NUM", "PXI Device Number", 0x3FFF0201, 0x206, 0, 0x200},
    {"VI_ATTR_PXI_FUNC_NUM", "PXI Function Number", 0x3FFF0202, 0x206, 0, 0x200},
    {"VI_ATTR_PXI_SUB_MANF_ID", "PXI Subsystem Vendor ID", 0x3FFF0203, 0x206, 0, 0x200},
    {"VI_ATTR_PXI_SUB_MODEL_CODE", "PXI Subsystem Device ID", 0x3FFF0204, 0x206, 0, 0x200},
    {"VI_ATTR_PXI_MEM_TYPE_BAR0", "BAR 0 Memory Type", 0x3FFF0211, 0x206, 0, 0x200},
    {"VI_ATTR_PXI_MEM_TYPE_BAR1", "BAR 1 Memory Type", 0x3FFF0212, 0x206, 0, 0x200},
    {"VI_ATTR_PXI_MEM_TYPE_BAR2", "BAR 2 Memory Type", 0x3FFF0213, 0x206, 0, 0x200},
    {"VI_ATTR_PXI_MEM_TYPE_BAR3", "BAR 3 Memory Type", 0x3FFF0214, 0x206, 0, 0x200},
    {"VI_ATTR_PXI_MEM_TYPE_BAR4", "BAR 4 Memory Type", 0x3FFF0215, 0x206, 0, 0x200},
    {"VI_ATTR_PXI_MEM_TYPE_BAR5", "BAR 5 Memory Type", 0x3FFF0216, 0x206, 0, 0x200},
    {"VI_ATTR_PXI_MEM_BASE_BAR0", "BAR 0 Memory Base", 0x3FFF0221, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_BASE_BAR1", "BAR 1 Memory Base", 0x3FFF0222, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_BASE_BAR2", "BAR 2 Memory Base", 0x3FFF0223, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_BASE_BAR3", "BAR 3 Memory Base", 0x3FFF0224, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_BASE_BAR4", "BAR 4 Memory Base", 0x3FFF0225, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_BASE_BAR5", "BAR 5 Memory Base", 0x3FFF0226, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_SIZE_BAR0", "BAR 0 Memory Size", 0x3FFF0231, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_SIZE_BAR1", "BAR 1 Memory Size", 0x3FFF0232, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_SIZE_BAR2", "BAR 2 Memory Size", 0x3FFF0233, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_SIZE_BAR3", "BAR 3 Memory Size", 0x3FFF0234, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_SIZE_BAR4", "BAR 4 Memory Size", 0x3FFF0235, 0x407, 0, 0x200},
    {"VI_ATTR_PXI_MEM_SIZE_BAR5", "BAR 5 Memory Size", 0x3FFF0236, 0x407, 0, 0x200},
    {"VI_ATTR_GPIB_REN_STATE", "GPIB REN State", 0x3FFF0181, 0x202, 0, 0x2401},
    {"VI_ATTR_GPIB_ATN_STATE", "GPIB ATN State", 0x3FFF0057, 0x202, 0, 0x400},
    {"VI_ATTR_GPIB_NDAC_STATE", "GPIB NDAC State", 0x3FFF0062, 0x202, 0, 0x400},
    {"VI_ATTR_GPIB_SRQ_STATE", "GPIB SRQ State", 0x3FFF0067, 0x202, 0, 0x400},
    {"VI_ATTR_GPIB_CIC_STATE", "GPIB CIC State", 0x3FFF005E, 0x106, 0, 0x400},
    {"VI_ATTR_GPIB_SYS_CNTRL_STATE", "GPIB System Controller State", 0x3FFF0068, 0x106, 1, 0x400},
    {"VI_ATTR_GPIB_HS488_CBL_LEN", "HS488 Cable Length", 0x3FFF0069, 0x202, 1, 0x2400},
    {"VI_ATTR_GPIB_ADDR_STATE", "GPIB Addressed State", 0x3FFF005C, 0x206, 0, 0x2400},
    {"VI_ATTR_VXI_DEV_CLASS", "VXI Device Class", 0x3FFF006C, 0x206, 0, 0x3E},
    {"VI_ATTR_DMA_ALLOW_EN", "Allow DMA Transfers", 0x3FFF001E, 0x106, 1, 0x24AF},
    {"VI_ATTR_FILE_APPEND_EN", "Enable Append on viReadToFile", 0x3FFF0192, 0x106, 1, 0xE44B},
    {"VI_ATTR_DEV_STATUS_BYTE", "Device Status Byte", 0x3FFF0189, 0x408, 1, 0x6400},
    {"VI_ATTR_VXI_TRIG_SUPPORT", "Supported VXI Trigger Lines", 0x3FFF0194, 0x407, 0, 0x181E},
    {"VI_ATTR_VXI_TRIG_STATUS", "Asserted VXI Trigger Lines", 0x3FFF008D, 0x407, 0, 0x1800},
    {"VI_ATTR_VXI_VME_INTR_STATUS", "Asserted VXI Interrupt Lines", 0x3FFF008B, 0x406, 0, 0x1800},
    {"VI_ATTR_VXI_VME_SYSFAIL_STATE", "VXI/VME System Failure State", 0x3FFF0094, 0x202, 0, 0x5800},
    {"VI_ATTR_TCPIP_ADDR", "TCP/IP Dot-Notation Address", 0xBFFF0195, 0x005, 0, 0x8000},
    {"VI_ATTR_TCPIP_HOSTNAME", "TCP/IP Computer Hostname", 0xBFFF0196, 0x005, 0, 0x8000},
    {"VI_ATTR_TCPIP_PORT", "TCP/IP Port Number", 0x3FFF0197, 0x206, 0, 0x8000},
    {"VI_ATTR_TCPIP_DEVICE_NAME", "TCP/IP VXI-11 Device Name", 0xBFFF0199, 0x005, 0, 0x8000},
    {"VI_ATTR_TCPIP_NODELAY", "TCP/IP No Packet Delay", 0x3FFF019A, 0x106, 1, 0x8000},
    {"VI_ATTR_TCPIP_KEEPALIVE", "TCP/IP Keep-Alive Packets", 0x3FFF019B, 0x106, 1, 0x8000},
    {"VI_ATTR_ASRL_DISCARD_NULL", nullptr, 0x3FFF00B0, 0x106, 1, 0x40},
    {"VI_ATTR_ASRL_BREAK_STATE", nullptr, 0x3FFF01BC, 0x202, 1, 0x40},
    {"VI_ATTR_ASRL_BREAK_LEN", nullptr, 0x3FFF01BD, 0x202, 1, 0x40},
    {"VI_ATTR_ASRL_ALLOW_TRANSMIT", nullptr, 0x3FFF01BE, 0x106, 1, 0x40},
    {"VI_ATTR_ASRL_WIRE_MODE", nullptr, 0x3FFF01BF, 0x202, 1, 0x40},
    {nullptr, nullptr, 0, 0, 0, 0},
};
// clang-format on

const AttrListEntry* findAttrRow(ViUInt32 attrId) {
    for (const AttrListEntry* row = attrList; row->viName; ++row) {
        if (row->attrId == attrId) return row;
    }
    return nullptr;
}

int attrDataType(ViUInt32 typeFlags) {
    return static_cast<int>(typeFlags & ATTRTYPE_DATA_BITS);
}

ViUInt32 attrDisplayClass(ViUInt32 typeFlags) {
    return typeFlags & ATTRTYPE_CLASS_BITS;
}

bool attrTypeValid(ViUInt32 typeFlags) {
    // Text and boolean each have one data type; integers are 8, 16 or 32 bits, shown in decimal
    // or hexadecimal.
    if (typeFlags == (ATTRTYPE_TEXT | static_cast<ViUInt32>(VAL_STRING))) return true;
    if (typeFlags == (ATTRTYPE_BOOLEAN | static_cast<ViUInt32>(VAL_UNSIGNED_SHORT_INTEGER)))
        return true;
    ViUInt32 shown = attrDisplayClass(typeFlags);
    if ((shown != ATTRTYPE_DECIMAL && shown != ATTRTYPE_HEX) ||
        (typeFlags & ~(ATTRTYPE_CLASS_BITS | ATTRTYPE_DATA_BITS))) {
        return false;
    }
    return attrValueSize(typeFlags & ATTRTYPE_DATA_BITS) != 0;
}

size_t attrValueSize(ViUInt32 typeFlags) {
    switch (attrDataType(typeFlags)) {
        case VAL_CHAR:
        case VAL_UNSIGNED_CHAR:
            return 1;
        case VAL_SHORT_INTEGER:
        case VAL_UNSIGNED_SHORT_INTEGER:
            return 2;
        case VAL_INTEGER:
        case VAL_UNSIGNED_INTEGER:
            return 4;
        default:
            return 0;
    }
}

const char* attrRingText(const AttrListEntry& row, int nameStyle) {
    return nameStyle == 1 || !row.label ? row.viName : row.label;
}

int fillAttrRing(int panel, int ring, ViUInt32 kindMask, int nameStyle, bool settableOnly) {
    int added = 0;
    for (const AttrListEntry* row = attrList; row->viName; ++row) {
        if (!(row->classMask & kindMask) || (settableOnly && !row->settable)) continue;
        int st = InsertListItem(panel, ring, -1, attrRingText(*row, nameStyle), row->attrId);
        if (st < 0) return st;
        ++added;
    }
    return added;
}

// The attribute catalogue. Initial values are what a new session of that kind starts with;
// a bridgelet may replace them for its resources (addresses, identities, line states).
#include "zuvisa/attributes.h"

#include <cstring>
#include <iterator>

#include "zuvisa/rsrcname.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa {

namespace {

constexpr uint32_t kGpibAny = kKindGpibInstr | kKindGpibIntfc | kKindGpibServant;
constexpr uint32_t kVxiInstrs = kKindVxiInstr | kKindGvxiInstr;
constexpr uint32_t kMemKinds = kKindVxiInstr | kKindGvxiInstr | kKindVxiMemacc |
                               kKindGvxiMemacc | kKindPxiInstr | kKindPxiMemacc;
constexpr uint32_t kBackplanes = kKindVxiBackplane | kKindGvxiBackplane;
constexpr uint32_t kSessions = 0x3FFFEu;  // every resource kind, not the resource manager
constexpr uint32_t kAll = kSessions | kKindRm;
constexpr uint32_t kInstr488 = kKindGpibInstr | kVxiInstrs | kKindTcpipInstr | kKindUsbInstr;
constexpr uint32_t kTcpip = kKindTcpipInstr | kKindTcpipSocket;
constexpr uint32_t kUsb = kKindUsbInstr | kKindUsbRaw;
constexpr uint32_t kIdentified = kVxiInstrs | kKindPxiInstr | kUsb;

bool boolean(ViAttrState v) { return v == VI_TRUE || v == VI_FALSE; }
bool atLeastOne(ViAttrState v) { return v >= 1; }
bool ioProt(ViAttrState v) { return v >= VI_PROT_NORMAL && v <= VI_PROT_USBTMC_VENDOR; }
bool rdBufMode(ViAttrState v) { return v == VI_FLUSH_ON_ACCESS || v == VI_FLUSH_DISABLE; }
bool wrBufMode(ViAttrState v) { return v == VI_FLUSH_ON_ACCESS || v == VI_FLUSH_WHEN_FULL; }
bool dataBits(ViAttrState v) { return v >= 5 && v <= 8; }
bool parity(ViAttrState v) { return v <= VI_ASRL_PAR_SPACE; }
bool stopBits(ViAttrState v) {
    return v == VI_ASRL_STOP_ONE || v == VI_ASRL_STOP_ONE5 || v == VI_ASRL_STOP_TWO;
}
bool flow(ViAttrState v) { return v <= 7 && v != 3 && v != 5 && v != 6 && v != 7; }
bool endIn(ViAttrState v) { return v <= VI_ASRL_END_TERMCHAR; }
bool endOut(ViAttrState v) { return v <= VI_ASRL_END_BREAK; }
bool lineState(ViAttrState v) {
    ViInt64 s = static_cast<ViInt16>(v);
    return s == VI_STATE_ASSERTED || s == VI_STATE_UNASSERTED;
}
bool breakLen(ViAttrState v) {
    ViInt64 s = static_cast<ViInt16>(v);
    return s >= 1 && s <= 500;
}
bool gpibAddr(ViAttrState v) { return v <= 30; }
bool gpibSecAddr(ViAttrState v) { return v <= 30 || v == VI_NO_SEC_ADDR; }
bool byteOrder(ViAttrState v) { return v == VI_BIG_ENDIAN || v == VI_LITTLE_ENDIAN; }
bool accessPriv(ViAttrState v) { return v <= VI_D64_SST320; }
bool increment(ViAttrState v) { return v == 0 || v == 1; }
bool vxiTrigId(ViAttrState v) {
    ViInt64 s = static_cast<ViInt16>(v);
    return (s >= VI_TRIG_SW && s <= VI_TRIG_STAR_VXI2) || (s >= VI_TRIG_TTL8 && s <= VI_TRIG_TTL11);
}
bool fdcMode(ViAttrState v) { return v == VI_FDC_NORMAL || v == VI_FDC_STREAM; }
bool fdcChannel(ViAttrState v) { return v <= 7; }
bool wireMode(ViAttrState v) {
    ViInt64 s = static_cast<ViInt16>(v);
    return (s >= VI_ASRL_WIRE_485_4 && s <= VI_ASRL_WIRE_485_2_AUTO) ||
           (s >= VI_ASRL_WIRE_232_DTE && s <= VI_ASRL_WIRE_232_AUTO);
}
bool cableLength(ViAttrState v) {
    ViInt64 s = static_cast<ViInt16>(v);
    return s == VI_GPIB_HS488_DISABLED || s == VI_GPIB_HS488_NIMPL || (s >= 1 && s <= 15);
}

using T = AttrType;
constexpr ViAttrState kUnknownState = static_cast<ViAttrState>(static_cast<ViInt64>(-1));

// clang-format off
const AttrDef kAttrs[] = {
    // Every object
    {VI_ATTR_RSRC_NAME, "VI_ATTR_RSRC_NAME", T::Text, false, false, kAll, 0, nullptr},
    {VI_ATTR_RSRC_CLASS, "VI_ATTR_RSRC_CLASS", T::Text, false, false, kAll, 0, nullptr},
    {VI_ATTR_RSRC_IMPL_VERSION, "VI_ATTR_RSRC_IMPL_VERSION", T::U32, false, false, kAll, 0, nullptr},
    {VI_ATTR_RSRC_SPEC_VERSION, "VI_ATTR_RSRC_SPEC_VERSION", T::U32, false, false, kAll, VI_SPEC_VERSION, nullptr},
    {VI_ATTR_RSRC_MANF_ID, "VI_ATTR_RSRC_MANF_ID", T::U16, false, false, kAll, 0, nullptr},
    {VI_ATTR_RSRC_MANF_NAME, "VI_ATTR_RSRC_MANF_NAME", T::Text, false, false, kAll, 0, nullptr},
    {VI_ATTR_RSRC_LOCK_STATE, "VI_ATTR_RSRC_LOCK_STATE", T::U32, false, false, kAll, VI_NO_LOCK, nullptr},
    {VI_ATTR_MAX_QUEUE_LENGTH, "VI_ATTR_MAX_QUEUE_LENGTH", T::U32, true, false, kAll, 50, atLeastOne},
    {VI_ATTR_USER_DATA_32, "VI_ATTR_USER_DATA_32", T::U32, true, false, kAll, 0, nullptr},
    {VI_ATTR_USER_DATA_64, "VI_ATTR_USER_DATA_64", T::U64, true, false, kAll, 0, nullptr},
    // Network links time their control calls (status, clear, trigger) by it too.
    {VI_ATTR_TMO_VALUE, "VI_ATTR_TMO_VALUE", T::U32, true, true, kTcpip, 2000, nullptr},
    {VI_ATTR_TMO_VALUE, "VI_ATTR_TMO_VALUE", T::U32, true, false, kAll & ~kTcpip, 2000, nullptr},
    {VI_ATTR_INTF_TYPE, "VI_ATTR_INTF_TYPE", T::U16, false, false, kSessions, 0, nullptr},
    {VI_ATTR_INTF_NUM, "VI_ATTR_INTF_NUM", T::U16, false, false, kSessions, 0, nullptr},
    {VI_ATTR_INTF_INST_NAME, "VI_ATTR_INTF_INST_NAME", T::Text, false, false, kSessions, 0, nullptr},
    {VI_ATTR_RM_SESSION, "VI_ATTR_RM_SESSION", T::U32, false, false, kSessions, 0, nullptr},
    {VI_ATTR_DMA_ALLOW_EN, "VI_ATTR_DMA_ALLOW_EN", T::Bool, true, false, kSessions & ~kTcpip, VI_TRUE, boolean},

    // Message-based I/O
    {VI_ATTR_SEND_END_EN, "VI_ATTR_SEND_END_EN", T::Bool, true, false, kMessageKinds, VI_TRUE, boolean},
    {VI_ATTR_TERMCHAR, "VI_ATTR_TERMCHAR", T::U8, true, true, kMessageKinds, '\n', nullptr},
    {VI_ATTR_TERMCHAR_EN, "VI_ATTR_TERMCHAR_EN", T::Bool, true, false, kMessageKinds, VI_FALSE, boolean},
    // Sockets and serial ports speak 488.2 strings for viReadSTB and viAssertTrigger: the link
    // must know.
    {VI_ATTR_IO_PROT, "VI_ATTR_IO_PROT", T::U16, true, true, kMessageKinds, VI_PROT_NORMAL, ioProt},
    {VI_ATTR_SUPPRESS_END_EN, "VI_ATTR_SUPPRESS_END_EN", T::Bool, true, false, kMessageKinds, VI_FALSE, boolean},
    {VI_ATTR_FILE_APPEND_EN, "VI_ATTR_FILE_APPEND_EN", T::Bool, true, false, kMessageKinds, VI_FALSE, boolean},
    {VI_ATTR_RD_BUF_OPER_MODE, "VI_ATTR_RD_BUF_OPER_MODE", T::U16, true, false, kMessageKinds, VI_FLUSH_DISABLE, rdBufMode},
    {VI_ATTR_RD_BUF_SIZE, "VI_ATTR_RD_BUF_SIZE", T::U32, false, false, kMessageKinds, 4096, nullptr},
    {VI_ATTR_WR_BUF_OPER_MODE, "VI_ATTR_WR_BUF_OPER_MODE", T::U16, true, false, kMessageKinds, VI_FLUSH_WHEN_FULL, wrBufMode},
    {VI_ATTR_WR_BUF_SIZE, "VI_ATTR_WR_BUF_SIZE", T::U32, false, false, kMessageKinds, 4096, nullptr},
    {VI_ATTR_4882_COMPLIANT, "VI_ATTR_4882_COMPLIANT", T::Bool, false, true, kInstr488, VI_TRUE, nullptr},
    {VI_ATTR_TRIG_ID, "VI_ATTR_TRIG_ID", T::I16, false, false, kGpibAny | kTcpip | kUsb | kKindAsrlInstr, static_cast<ViUInt16>(VI_TRIG_SW), nullptr},
    {VI_ATTR_TRIG_ID, "VI_ATTR_TRIG_ID", T::I16, true, true, kVxiInstrs | kBackplanes | kKindVxiServant, static_cast<ViUInt16>(VI_TRIG_SW), vxiTrigId},

    // GPIB
    {VI_ATTR_GPIB_PRIMARY_ADDR, "VI_ATTR_GPIB_PRIMARY_ADDR", T::U16, false, false, kKindGpibInstr | kKindGvxiInstr | kKindGvxiMemacc | kKindGvxiBackplane, 0, nullptr},
    {VI_ATTR_GPIB_PRIMARY_ADDR, "VI_ATTR_GPIB_PRIMARY_ADDR", T::U16, true, true, kKindGpibIntfc | kKindGpibServant, 0, gpibAddr},
    {VI_ATTR_GPIB_SECONDARY_ADDR, "VI_ATTR_GPIB_SECONDARY_ADDR", T::U16, false, false, kKindGpibInstr | kKindGvxiInstr | kKindGvxiMemacc | kKindGvxiBackplane, VI_NO_SEC_ADDR, nullptr},
    {VI_ATTR_GPIB_SECONDARY_ADDR, "VI_ATTR_GPIB_SECONDARY_ADDR", T::U16, true, true, kKindGpibIntfc | kKindGpibServant, VI_NO_SEC_ADDR, gpibSecAddr},
    {VI_ATTR_GPIB_READDR_EN, "VI_ATTR_GPIB_READDR_EN", T::Bool, true, false, kKindGpibInstr | kKindGvxiInstr, VI_TRUE, boolean},
    {VI_ATTR_GPIB_UNADDR_EN, "VI_ATTR_GPIB_UNADDR_EN", T::Bool, true, false, kKindGpibInstr | kKindGvxiInstr, VI_FALSE, boolean},
    {VI_ATTR_GPIB_REN_STATE, "VI_ATTR_GPIB_REN_STATE", T::I16, false, true, kKindGpibInstr | kKindGpibIntfc | kKindGpibServant, VI_STATE_UNASSERTED, nullptr},
    {VI_ATTR_GPIB_ATN_STATE, "VI_ATTR_GPIB_ATN_STATE", T::I16, false, true, kKindGpibIntfc, VI_STATE_UNASSERTED, nullptr},
    {VI_ATTR_ZU_GPIB_CMD_LOG, "VI_ATTR_ZU_GPIB_CMD_LOG", T::Text, false, true, kKindGpibIntfc | kKindGpibServant, 0, nullptr},
    {VI_ATTR_GPIB_NDAC_STATE, "VI_ATTR_GPIB_NDAC_STATE", T::I16, false, true, kKindGpibIntfc, VI_STATE_UNASSERTED, nullptr},
    {VI_ATTR_GPIB_SRQ_STATE, "VI_ATTR_GPIB_SRQ_STATE", T::I16, false, true, kKindGpibIntfc, VI_STATE_UNASSERTED, nullptr},
    {VI_ATTR_GPIB_CIC_STATE, "VI_ATTR_GPIB_CIC_STATE", T::Bool, false, true, kKindGpibIntfc, VI_TRUE, nullptr},
    {VI_ATTR_GPIB_SYS_CNTRL_STATE, "VI_ATTR_GPIB_SYS_CNTRL_STATE", T::Bool, true, true, kKindGpibIntfc, VI_TRUE, boolean},
    {VI_ATTR_GPIB_HS488_CBL_LEN, "VI_ATTR_GPIB_HS488_CBL_LEN", T::I16, true, true, kKindGpibIntfc | kKindGpibServant, VI_GPIB_HS488_NIMPL & 0xFFFF, cableLength},
    {VI_ATTR_GPIB_ADDR_STATE, "VI_ATTR_GPIB_ADDR_STATE", T::I16, false, true, kKindGpibIntfc | kKindGpibServant, VI_GPIB_UNADDRESSED, nullptr},
    {VI_ATTR_DEV_STATUS_BYTE, "VI_ATTR_DEV_STATUS_BYTE", T::U8, true, true, kKindGpibIntfc | kKindGpibServant | kKindVxiServant, 0, nullptr},
    {VI_ATTR_INTF_PARENT_NUM, "VI_ATTR_INTF_PARENT_NUM", T::U16, false, false, kKindGvxiInstr | kKindGvxiMemacc | kKindGvxiBackplane, 0, nullptr},

    // VXI and register-based resources
    {VI_ATTR_VXI_LA, "VI_ATTR_VXI_LA", T::I16, false, false, kVxiInstrs | kKindVxiMemacc | kKindGvxiMemacc | kKindVxiServant, 0, nullptr},
    {VI_ATTR_CMDR_LA, "VI_ATTR_CMDR_LA", T::I16, false, false, kVxiInstrs | kKindVxiServant, 0, nullptr},
    {VI_ATTR_MAINFRAME_LA, "VI_ATTR_MAINFRAME_LA", T::I16, false, false, kVxiInstrs | kBackplanes, 0, nullptr},
    {VI_ATTR_MEM_SPACE, "VI_ATTR_MEM_SPACE", T::U16, false, false, kVxiInstrs, VI_A16_SPACE, nullptr},
    {VI_ATTR_MEM_BASE_32, "VI_ATTR_MEM_BASE_32", T::U32, false, false, kVxiInstrs, 0, nullptr},
    {VI_ATTR_MEM_BASE_64, "VI_ATTR_MEM_BASE_64", T::U64, false, false, kVxiInstrs, 0, nullptr},
    {VI_ATTR_MEM_SIZE_32, "VI_ATTR_MEM_SIZE_32", T::U32, false, false, kVxiInstrs, 0, nullptr},
    {VI_ATTR_MEM_SIZE_64, "VI_ATTR_MEM_SIZE_64", T::U64, false, false, kVxiInstrs, 0, nullptr},
    {VI_ATTR_MANF_ID, "VI_ATTR_MANF_ID", T::U16, false, false, kIdentified, 0, nullptr},
    {VI_ATTR_MANF_NAME, "VI_ATTR_MANF_NAME", T::Text, false, false, kIdentified, 0, nullptr},
    {VI_ATTR_MODEL_CODE, "VI_ATTR_MODEL_CODE", T::U16, false, false, kIdentified, 0, nullptr},
    {VI_ATTR_MODEL_NAME, "VI_ATTR_MODEL_NAME", T::Text, false, false, kIdentified, 0, nullptr},
    {VI_ATTR_SLOT, "VI_ATTR_SLOT", T::I16, false, false, kVxiInstrs | kKindPxiInstr, kUnknownState & 0xFFFF, nullptr},
    {VI_ATTR_IMMEDIATE_SERV, "VI_ATTR_IMMEDIATE_SERV", T::Bool, false, false, kVxiInstrs, VI_FALSE, nullptr},
    {VI_ATTR_VXI_DEV_CLASS, "VI_ATTR_VXI_DEV_CLASS", T::U16, false, false, kVxiInstrs, VI_VXI_CLASS_MESSAGE, nullptr},
    {VI_ATTR_FDC_CHNL, "VI_ATTR_FDC_CHNL", T::U16, true, false, kVxiInstrs, 0, fdcChannel},
    {VI_ATTR_FDC_MODE, "VI_ATTR_FDC_MODE", T::U16, true, false, kVxiInstrs, VI_FDC_NORMAL, fdcMode},
    {VI_ATTR_FDC_GEN_SIGNAL_EN, "VI_ATTR_FDC_GEN_SIGNAL_EN", T::Bool, true, false, kVxiInstrs, VI_FALSE, boolean},
    {VI_ATTR_FDC_USE_PAIR, "VI_ATTR_FDC_USE_PAIR", T::Bool, true, false, kVxiInstrs, VI_FALSE, boolean},
    {VI_ATTR_SRC_ACCESS_PRIV, "VI_ATTR_SRC_ACCESS_PRIV", T::U16, true, true, kMemKinds & ~(kKindPxiInstr | kKindPxiMemacc), VI_DATA_PRIV, accessPriv},
    {VI_ATTR_DEST_ACCESS_PRIV, "VI_ATTR_DEST_ACCESS_PRIV", T::U16, true, true, kMemKinds & ~(kKindPxiInstr | kKindPxiMemacc), VI_DATA_PRIV, accessPriv},
    {VI_ATTR_WIN_ACCESS_PRIV, "VI_ATTR_WIN_ACCESS_PRIV", T::U16, true, true, kMemKinds & ~(kKindPxiInstr | kKindPxiMemacc), VI_DATA_PRIV, accessPriv},
    {VI_ATTR_SRC_BYTE_ORDER, "VI_ATTR_SRC_BYTE_ORDER", T::U16, true, true, kMemKinds & ~(kKindPxiInstr | kKindPxiMemacc), VI_BIG_ENDIAN, byteOrder},
    {VI_ATTR_DEST_BYTE_ORDER, "VI_ATTR_DEST_BYTE_ORDER", T::U16, true, true, kMemKinds & ~(kKindPxiInstr | kKindPxiMemacc), VI_BIG_ENDIAN, byteOrder},
    {VI_ATTR_WIN_BYTE_ORDER, "VI_ATTR_WIN_BYTE_ORDER", T::U16, true, true, kMemKinds & ~(kKindPxiInstr | kKindPxiMemacc), VI_BIG_ENDIAN, byteOrder},
    {VI_ATTR_SRC_INCREMENT, "VI_ATTR_SRC_INCREMENT", T::I32, true, true, kMemKinds, 1, increment},
    {VI_ATTR_DEST_INCREMENT, "VI_ATTR_DEST_INCREMENT", T::I32, true, true, kMemKinds, 1, increment},
    {VI_ATTR_WIN_BASE_ADDR_32, "VI_ATTR_WIN_BASE_ADDR_32", T::U32, false, true, kMemKinds, 0, nullptr},
    {VI_ATTR_WIN_BASE_ADDR_64, "VI_ATTR_WIN_BASE_ADDR_64", T::U64, false, true, kMemKinds, 0, nullptr},
    {VI_ATTR_WIN_SIZE, "VI_ATTR_WIN_SIZE", T::U32, false, true, kMemKinds, 0, nullptr},
    {VI_ATTR_WIN_ACCESS, "VI_ATTR_WIN_ACCESS", T::U16, false, true, kMemKinds, VI_NMAPPED, nullptr},
    {VI_ATTR_VXI_TRIG_SUPPORT, "VI_ATTR_VXI_TRIG_SUPPORT", T::U32, false, false, kVxiInstrs | kBackplanes, 0, nullptr},
    {VI_ATTR_VXI_TRIG_STATUS, "VI_ATTR_VXI_TRIG_STATUS", T::U32, false, true, kBackplanes, 0, nullptr},
    {VI_ATTR_VXI_VME_INTR_STATUS, "VI_ATTR_VXI_VME_INTR_STATUS", T::U16, false, true, kBackplanes, 0, nullptr},
    {VI_ATTR_VXI_VME_SYSFAIL_STATE, "VI_ATTR_VXI_VME_SYSFAIL_STATE", T::I16, false, true, kBackplanes | kKindVxiServant, VI_STATE_UNASSERTED, nullptr},

    // Serial
    {VI_ATTR_ASRL_AVAIL_NUM, "VI_ATTR_ASRL_AVAIL_NUM", T::U32, false, true, kKindAsrlInstr, 0, nullptr},
    {VI_ATTR_ASRL_BAUD, "VI_ATTR_ASRL_BAUD", T::U32, true, true, kKindAsrlInstr, 9600, atLeastOne},
    {VI_ATTR_ASRL_DATA_BITS, "VI_ATTR_ASRL_DATA_BITS", T::U16, true, true, kKindAsrlInstr, 8, dataBits},
    {VI_ATTR_ASRL_PARITY, "VI_ATTR_ASRL_PARITY", T::U16, true, true, kKindAsrlInstr, VI_ASRL_PAR_NONE, parity},
    {VI_ATTR_ASRL_STOP_BITS, "VI_ATTR_ASRL_STOP_BITS", T::U16, true, true, kKindAsrlInstr, VI_ASRL_STOP_ONE, stopBits},
    {VI_ATTR_ASRL_FLOW_CNTRL, "VI_ATTR_ASRL_FLOW_CNTRL", T::U16, true, true, kKindAsrlInstr, VI_ASRL_FLOW_NONE, flow},
    {VI_ATTR_ASRL_END_IN, "VI_ATTR_ASRL_END_IN", T::U16, true, true, kKindAsrlInstr, VI_ASRL_END_TERMCHAR, endIn},
    {VI_ATTR_ASRL_END_OUT, "VI_ATTR_ASRL_END_OUT", T::U16, true, true, kKindAsrlInstr, VI_ASRL_END_NONE, endOut},
    {VI_ATTR_ASRL_CTS_STATE, "VI_ATTR_ASRL_CTS_STATE", T::I16, false, true, kKindAsrlInstr, VI_STATE_UNASSERTED, nullptr},
    {VI_ATTR_ASRL_DCD_STATE, "VI_ATTR_ASRL_DCD_STATE", T::I16, false, true, kKindAsrlInstr, VI_STATE_UNASSERTED, nullptr},
    {VI_ATTR_ASRL_DSR_STATE, "VI_ATTR_ASRL_DSR_STATE", T::I16, false, true, kKindAsrlInstr, VI_STATE_UNASSERTED, nullptr},
    {VI_ATTR_ASRL_DTR_STATE, "VI_ATTR_ASRL_DTR_STATE", T::I16, true, true, kKindAsrlInstr, VI_STATE_ASSERTED, lineState},
    {VI_ATTR_ASRL_RI_STATE, "VI_ATTR_ASRL_RI_STATE", T::I16, false, true, kKindAsrlInstr, VI_STATE_UNASSERTED, nullptr},
    {VI_ATTR_ASRL_RTS_STATE, "VI_ATTR_ASRL_RTS_STATE", T::I16, true, true, kKindAsrlInstr, VI_STATE_ASSERTED, lineState},
    {VI_ATTR_ASRL_XON_CHAR, "VI_ATTR_ASRL_XON_CHAR", T::U8, true, true, kKindAsrlInstr, 0x11, nullptr},
    {VI_ATTR_ASRL_XOFF_CHAR, "VI_ATTR_ASRL_XOFF_CHAR", T::U8, true, true, kKindAsrlInstr, 0x13, nullptr},
    {VI_ATTR_ASRL_REPLACE_CHAR, "VI_ATTR_ASRL_REPLACE_CHAR", T::U8, true, true, kKindAsrlInstr, 0, nullptr},
    {VI_ATTR_ASRL_DISCARD_NULL, "VI_ATTR_ASRL_DISCARD_NULL", T::Bool, true, true, kKindAsrlInstr, VI_FALSE, boolean},
    {VI_ATTR_ASRL_CONNECTED, "VI_ATTR_ASRL_CONNECTED", T::Bool, false, true, kKindAsrlInstr, VI_TRUE, nullptr},
    {VI_ATTR_ASRL_BREAK_STATE, "VI_ATTR_ASRL_BREAK_STATE", T::I16, true, true, kKindAsrlInstr, VI_STATE_UNASSERTED, lineState},
    {VI_ATTR_ASRL_BREAK_LEN, "VI_ATTR_ASRL_BREAK_LEN", T::I16, true, true, kKindAsrlInstr, 250, breakLen},
    {VI_ATTR_ASRL_ALLOW_TRANSMIT, "VI_ATTR_ASRL_ALLOW_TRANSMIT", T::Bool, true, true, kKindAsrlInstr, VI_TRUE, boolean},
    {VI_ATTR_ASRL_WIRE_MODE, "VI_ATTR_ASRL_WIRE_MODE", T::I16, true, true, kKindAsrlInstr, VI_ASRL_WIRE_232_DTE, wireMode},

    // TCP/IP
    {VI_ATTR_TCPIP_ADDR, "VI_ATTR_TCPIP_ADDR", T::Text, false, false, kTcpip, 0, nullptr},
    {VI_ATTR_TCPIP_HOSTNAME, "VI_ATTR_TCPIP_HOSTNAME", T::Text, false, false, kTcpip, 0, nullptr},
    {VI_ATTR_TCPIP_PORT, "VI_ATTR_TCPIP_PORT", T::U16, false, false, kKindTcpipSocket, 0, nullptr},
    {VI_ATTR_TCPIP_DEVICE_NAME, "VI_ATTR_TCPIP_DEVICE_NAME", T::Text, false, false, kKindTcpipInstr, 0, nullptr},
    {VI_ATTR_TCPIP_NODELAY, "VI_ATTR_TCPIP_NODELAY", T::Bool, true, true, kTcpip, VI_TRUE, boolean},
    {VI_ATTR_TCPIP_KEEPALIVE, "VI_ATTR_TCPIP_KEEPALIVE", T::Bool, true, true, kTcpip, VI_FALSE, boolean},
    {VI_ATTR_TCPIP_IS_HISLIP, "VI_ATTR_TCPIP_IS_HISLIP", T::Bool, false, false, kKindTcpipInstr, VI_FALSE, nullptr},
    {VI_ATTR_TCPIP_HISLIP_OVERLAP_EN, "VI_ATTR_TCPIP_HISLIP_OVERLAP_EN", T::Bool, true, true, kKindTcpipInstr, VI_FALSE, boolean},
    {VI_ATTR_TCPIP_HISLIP_VERSION, "VI_ATTR_TCPIP_HISLIP_VERSION", T::U32, false, true, kKindTcpipInstr, 0, nullptr},
    {VI_ATTR_TCPIP_HISLIP_MAX_MESSAGE_KB, "VI_ATTR_TCPIP_HISLIP_MAX_MESSAGE_KB", T::U32, true, true, kKindTcpipInstr, 1024, atLeastOne},

    // USB
    {VI_ATTR_USB_SERIAL_NUM, "VI_ATTR_USB_SERIAL_NUM", T::Text, false, false, kUsb, 0, nullptr},
    {VI_ATTR_USB_INTFC_NUM, "VI_ATTR_USB_INTFC_NUM", T::I16, false, false, kUsb, 0, nullptr},
    {VI_ATTR_USB_PROTOCOL, "VI_ATTR_USB_PROTOCOL", T::I16, false, false, kUsb, 1, nullptr},
    {VI_ATTR_USB_MAX_INTR_SIZE, "VI_ATTR_USB_MAX_INTR_SIZE", T::U16, true, true, kUsb, 0, nullptr},

    // PXI
    {VI_ATTR_PXI_DEV_NUM, "VI_ATTR_PXI_DEV_NUM", T::U16, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_FUNC_NUM, "VI_ATTR_PXI_FUNC_NUM", T::U16, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_BUS_NUM, "VI_ATTR_PXI_BUS_NUM", T::U16, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_CHASSIS, "VI_ATTR_PXI_CHASSIS", T::I16, false, false, kKindPxiInstr, kUnknownState & 0xFFFF, nullptr},
    {VI_ATTR_PXI_SLOTPATH, "VI_ATTR_PXI_SLOTPATH", T::Text, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_SUB_MANF_ID, "VI_ATTR_PXI_SUB_MANF_ID", T::U16, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_SUB_MODEL_CODE, "VI_ATTR_PXI_SUB_MODEL_CODE", T::U16, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_TYPE_BAR0, "VI_ATTR_PXI_MEM_TYPE_BAR0", T::U16, false, false, kKindPxiInstr, VI_PXI_ADDR_NONE, nullptr},
    {VI_ATTR_PXI_MEM_TYPE_BAR1, "VI_ATTR_PXI_MEM_TYPE_BAR1", T::U16, false, false, kKindPxiInstr, VI_PXI_ADDR_NONE, nullptr},
    {VI_ATTR_PXI_MEM_TYPE_BAR2, "VI_ATTR_PXI_MEM_TYPE_BAR2", T::U16, false, false, kKindPxiInstr, VI_PXI_ADDR_NONE, nullptr},
    {VI_ATTR_PXI_MEM_TYPE_BAR3, "VI_ATTR_PXI_MEM_TYPE_BAR3", T::U16, false, false, kKindPxiInstr, VI_PXI_ADDR_NONE, nullptr},
    {VI_ATTR_PXI_MEM_TYPE_BAR4, "VI_ATTR_PXI_MEM_TYPE_BAR4", T::U16, false, false, kKindPxiInstr, VI_PXI_ADDR_NONE, nullptr},
    {VI_ATTR_PXI_MEM_TYPE_BAR5, "VI_ATTR_PXI_MEM_TYPE_BAR5", T::U16, false, false, kKindPxiInstr, VI_PXI_ADDR_NONE, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR0_32, "VI_ATTR_PXI_MEM_BASE_BAR0_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR1_32, "VI_ATTR_PXI_MEM_BASE_BAR1_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR2_32, "VI_ATTR_PXI_MEM_BASE_BAR2_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR3_32, "VI_ATTR_PXI_MEM_BASE_BAR3_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR4_32, "VI_ATTR_PXI_MEM_BASE_BAR4_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR5_32, "VI_ATTR_PXI_MEM_BASE_BAR5_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR0_32, "VI_ATTR_PXI_MEM_SIZE_BAR0_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR1_32, "VI_ATTR_PXI_MEM_SIZE_BAR1_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR2_32, "VI_ATTR_PXI_MEM_SIZE_BAR2_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR3_32, "VI_ATTR_PXI_MEM_SIZE_BAR3_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR4_32, "VI_ATTR_PXI_MEM_SIZE_BAR4_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR5_32, "VI_ATTR_PXI_MEM_SIZE_BAR5_32", T::U32, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR0_64, "VI_ATTR_PXI_MEM_BASE_BAR0_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR1_64, "VI_ATTR_PXI_MEM_BASE_BAR1_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR2_64, "VI_ATTR_PXI_MEM_BASE_BAR2_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR3_64, "VI_ATTR_PXI_MEM_BASE_BAR3_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR4_64, "VI_ATTR_PXI_MEM_BASE_BAR4_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_BASE_BAR5_64, "VI_ATTR_PXI_MEM_BASE_BAR5_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR0_64, "VI_ATTR_PXI_MEM_SIZE_BAR0_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR1_64, "VI_ATTR_PXI_MEM_SIZE_BAR1_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR2_64, "VI_ATTR_PXI_MEM_SIZE_BAR2_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR3_64, "VI_ATTR_PXI_MEM_SIZE_BAR3_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR4_64, "VI_ATTR_PXI_MEM_SIZE_BAR4_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
    {VI_ATTR_PXI_MEM_SIZE_BAR5_64, "VI_ATTR_PXI_MEM_SIZE_BAR5_64", T::U64, false, false, kKindPxiInstr, 0, nullptr},
};
// clang-format on

}  // namespace

uint32_t kindOf(ViUInt16 intfType, std::string_view rsrcClass) {
    std::string c = upperAscii(rsrcClass);
    switch (intfType) {
    case VI_INTF_GPIB:
        if (c == "INSTR") return kKindGpibInstr;
        if (c == "INTFC") return kKindGpibIntfc;
        if (c == "SERVANT") return kKindGpibServant;
        break;
    case VI_INTF_VXI:
        if (c == "INSTR") return kKindVxiInstr;
        if (c == "MEMACC") return kKindVxiMemacc;
        if (c == "BACKPLANE") return kKindVxiBackplane;
        if (c == "SERVANT") return kKindVxiServant;
        break;
    case VI_INTF_GPIB_VXI:
        if (c == "INSTR") return kKindGvxiInstr;
        if (c == "MEMACC") return kKindGvxiMemacc;
        if (c == "BACKPLANE") return kKindGvxiBackplane;
        break;
    case VI_INTF_ASRL:
        if (c == "INSTR") return kKindAsrlInstr;
        break;
    case VI_INTF_TCPIP:
        if (c == "INSTR") return kKindTcpipInstr;
        if (c == "SOCKET") return kKindTcpipSocket;
        break;
    case VI_INTF_USB:
        if (c == "INSTR") return kKindUsbInstr;
        if (c == "RAW") return kKindUsbRaw;
        break;
    case VI_INTF_PXI:
        if (c == "INSTR") return kKindPxiInstr;
        if (c == "MEMACC") return kKindPxiMemacc;
        break;
    default: break;
    }
    return 0;
}

const AttrDef* attrTable(int* count) {
    if (count) *count = static_cast<int>(std::size(kAttrs));
    return kAttrs;
}

const AttrDef* findAttr(ViAttr attr, uint32_t kind) {
    for (const AttrDef& d : kAttrs) {
        if (d.id == attr && (d.kinds & kind)) return &d;
    }
    return nullptr;
}

const AttrDef* findAttrAnyKind(ViAttr attr) {
    for (const AttrDef& d : kAttrs) {
        if (d.id == attr) return &d;
    }
    return nullptr;
}

const AttrDef* findAttrByName(std::string_view name) {
    std::string upper = upperAscii(name);
    for (const AttrDef& d : kAttrs) {
        if (upper == d.name) return &d;
    }
    // The unsuffixed names of the attributes that have 32- and 64-bit forms.
    static const struct {
        const char* name;
        ViAttr id;
    } aliases[] = {{"VI_ATTR_USER_DATA", VI_ATTR_USER_DATA_32},
                   {"VI_ATTR_MEM_BASE", VI_ATTR_MEM_BASE_32},
                   {"VI_ATTR_MEM_SIZE", VI_ATTR_MEM_SIZE_32},
                   {"VI_ATTR_WIN_BASE_ADDR", VI_ATTR_WIN_BASE_ADDR_32}};
    for (const auto& a : aliases) {
        if (upper == a.name) return findAttrAnyKind(a.id);
    }
    return nullptr;
}

size_t attrWidth(AttrType type) {
    switch (type) {
    case AttrType::U8: return 1;
    case AttrType::U16:
    case AttrType::I16:
    case AttrType::Bool: return 2;
    case AttrType::U32:
    case AttrType::I32: return 4;
    case AttrType::U64:
    case AttrType::Ptr: return 8;
    case AttrType::Text: return 0;
    }
    return 0;
}

bool fitsAttr(AttrType type, ViAttrState value) {
    auto fits = [value](uint64_t bits, int64_t lowest) {
        return value <= bits || (static_cast<int64_t>(value) >= lowest && static_cast<int64_t>(value) < 0);
    };
    switch (type) {
    case AttrType::U8: return value <= 0xFFu;
    case AttrType::U16:
    case AttrType::Bool: return value <= 0xFFFFu;
    case AttrType::I16: return fits(0xFFFFu, INT16_MIN);
    case AttrType::U32: return value <= 0xFFFFFFFFu;
    case AttrType::I32: return fits(0xFFFFFFFFu, INT32_MIN);
    case AttrType::U64:
    case AttrType::Ptr:
    case AttrType::Text: return true;
    }
    return false;
}

ViAttrState narrow(AttrType type, ViAttrState value) {
    switch (type) {
    case AttrType::U8: return value & 0xFFu;
    case AttrType::U16:
    case AttrType::Bool: return value & 0xFFFFu;
    case AttrType::I16: return value & 0xFFFFu;
    case AttrType::U32:
    case AttrType::I32: return value & 0xFFFFFFFFu;
    default: return value;
    }
}

ViInt64 attrSigned(AttrType type, ViAttrState value) {
    switch (type) {
    case AttrType::I16: return static_cast<ViInt16>(value & 0xFFFF);
    case AttrType::I32: return static_cast<ViInt32>(value & 0xFFFFFFFF);
    default: return static_cast<ViInt64>(narrow(type, value));
    }
}

void storeAttr(AttrType type, ViAttrState value, const std::string& text, void* out) {
    switch (type) {
    case AttrType::U8: {
        ViUInt8 v = static_cast<ViUInt8>(value);
        std::memcpy(out, &v, 1);
        break;
    }
    case AttrType::U16:
    case AttrType::I16:
    case AttrType::Bool: {
        ViUInt16 v = static_cast<ViUInt16>(value);
        std::memcpy(out, &v, 2);
        break;
    }
    case AttrType::U32:
    case AttrType::I32: {
        ViUInt32 v = static_cast<ViUInt32>(value);
        std::memcpy(out, &v, 4);
        break;
    }
    case AttrType::U64:
    case AttrType::Ptr: std::memcpy(out, &value, 8); break;
    case AttrType::Text: {
        size_t n = text.size() < 255 ? text.size() : 255;
        std::memcpy(out, text.data(), n);
        static_cast<char*>(out)[n] = '\0';
        break;
    }
    }
}

}  // namespace zuvisa

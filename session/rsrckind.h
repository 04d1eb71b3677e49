// The resource kind of a session: one bit per kind of resource that the session window tells
// apart, or every bit when the kind is not recognised. Operations, attributes and events are
// offered to a session when their class mask holds its bit.
#pragma once

#include "zuvisa/visatype.h"

enum : ViUInt32 {
    KIND_GPIB_INSTR = 0x1,
    KIND_VXI_INSTR_MSG = 0x2,  // message-based, or its device class could not be read
    KIND_VXI_INSTR_REG = 0x4,
    KIND_GPIBVXI_INSTR_MSG = 0x8,
    KIND_GPIBVXI_INSTR_REG = 0x10,
    KIND_VXI_INSTR_HIGH_LA = 0x20,  // logical address above 255
    KIND_ASRL = 0x40,
    KIND_VXI_MEMACC = 0x80,
    KIND_GPIBVXI_MEMACC = 0x100,
    KIND_PXI_INSTR = 0x200,
    KIND_GPIB_INTFC = 0x400,
    KIND_VXI_BACKPLANE = 0x800,
    KIND_GPIBVXI_BACKPLANE = 0x1000,
    KIND_GPIB_SERVANT = 0x2000,
    KIND_VXI_SERVANT = 0x4000,
    KIND_TCPIP = 0x8000,
    KIND_PXI_MEMACC = 0x10000,
    KIND_ALL = 0x1FFFF,
};

// What the device class of a VXI or GPIB-VXI instrument was found to be.
struct VxiProbe {
    ViInt16 logicalAddress;  // VI_ATTR_VXI_LA; read for VXI instruments only
    ViStatus idStatus;       // of reading the identification register at A16 offset 0
    ViUInt16 id;
};

// The kind of a resource from its interface type and name (suffixes are found anywhere in
// it); instruments on VXI and GPIB-VXI need the probe.
ViUInt32 kindMaskOf(ViUInt16 intfType, const char* rsrcName, const VxiProbe& probe);

// Reads what the kind depends on from an open session and returns its kind.
ViUInt32 classifySession(ViSession vi);

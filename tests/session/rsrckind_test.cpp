#include "session/rsrckind.h"

#include <gtest/gtest.h>

#include "zuvisa/visa.h"

namespace {

const VxiProbe kMessageBased{16, VI_SUCCESS, 0x8E5A};  // device class 2 in the top bits
const VxiProbe kRegisterBased{16, VI_SUCCESS, 0xCE5A};
const VxiProbe kMemoryDevice{16, VI_SUCCESS, 0x0E5A};
const VxiProbe kUnreadable{16, VI_ERROR_BERR, 0xCE5A};
const VxiProbe kHighAddress{256, VI_ERROR_NSUP_OPER, 0};

// The kinds the window cannot tell from the resource name alone, and names that fit no kind.
TEST(ResourceKind, FromInterfaceNameAndProbe) {
    const struct {
        ViUInt16 intf;
        const char* name;
        VxiProbe probe;
        ViUInt32 kind;
    } cases[] = {
        {VI_INTF_VXI, "VXI0::16::INSTR", kMessageBased, KIND_VXI_INSTR_MSG},
        {VI_INTF_VXI, "VXI0::16::INSTR", kRegisterBased, KIND_VXI_INSTR_REG},
        {VI_INTF_VXI, "VXI0::16::INSTR", kMemoryDevice, KIND_VXI_INSTR_REG},
        {VI_INTF_VXI, "VXI0::16::INSTR", kUnreadable, KIND_VXI_INSTR_MSG},
        {VI_INTF_VXI, "VXI0::256::INSTR", kHighAddress, KIND_VXI_INSTR_HIGH_LA},
        {VI_INTF_VXI, "VXI0::255::INSTR", {255, VI_SUCCESS, 0xCE5A}, KIND_VXI_INSTR_REG},
        {VI_INTF_GPIB_VXI, "GPIB-VXI0::24::INSTR", kMessageBased, KIND_GPIBVXI_INSTR_MSG},
        {VI_INTF_GPIB_VXI, "GPIB-VXI0::24::INSTR", kUnreadable, KIND_GPIBVXI_INSTR_MSG},
        {VI_INTF_GPIB_VXI, "GPIB-VXI0::24::INSTR", kRegisterBased, KIND_GPIBVXI_INSTR_REG},
        // GPIB-VXI has no logical-address test.
        {VI_INTF_GPIB_VXI,
         "GPIB-VXI0::300::INSTR",
         {300, VI_SUCCESS, 0xCE5A},
         KIND_GPIBVXI_INSTR_REG},
        {VI_INTF_GPIB_VXI, "GPIB-VXI0::SERVANT", kHighAddress, KIND_ALL},
        {VI_INTF_GPIB, "GPIB0::5::INSTR", kHighAddress, KIND_GPIB_INSTR},
        {VI_INTF_GPIB, "GPIB0::BACKPLANE", kHighAddress, KIND_ALL},
        {VI_INTF_VXI, "VXI0::RAW", kHighAddress, KIND_ALL},
        {VI_INTF_PXI, "PXI0::SERVANT", kHighAddress, KIND_ALL},
        {VI_INTF_ASRL, "ASRL1::INSTR", kHighAddress, KIND_ASRL},
        {VI_INTF_TCPIP, "TCPIP0::host::5025::SOCKET", kHighAddress, KIND_TCPIP},
        {0, "GPIB0::5::INSTR", kHighAddress, KIND_ALL},
        {VI_INTF_USB, "USB0::1::2::3::INSTR", kHighAddress, KIND_ALL},
        // A suffix counts wherever it stands in the name.
        {VI_INTF_GPIB, "GPIB0::INTFC::INSTR", kHighAddress, KIND_GPIB_INSTR},
    };
    for (const auto& c : cases)
        EXPECT_EQ(kindMaskOf(c.intf, c.name, c.probe), c.kind) << c.name << " " << c.probe.id;
}

}  // namespace

#include "zuvisa/rsrcname.h"

#include <gtest/gtest.h>

namespace zuvisa {
namespace {

struct Valid {
    const char* text;
    const char* canonical;
    ViUInt16 type;
    ViUInt16 board;
    const char* rsrcClass;
};

const Valid kValid[] = {
    {"GPIB::22", "GPIB0::22::INSTR", VI_INTF_GPIB, 0, "INSTR"},
    {"gpib3::5::7::instr", "GPIB3::5::7::INSTR", VI_INTF_GPIB, 3, "INSTR"},
    {"GPIB0::INTFC", "GPIB0::INTFC", VI_INTF_GPIB, 0, "INTFC"},
    {"GPIB1::SERVANT", "GPIB1::SERVANT", VI_INTF_GPIB, 1, "SERVANT"},
    {"GPIB-VXI2::24", "GPIB-VXI2::24::INSTR", VI_INTF_GPIB_VXI, 2, "INSTR"},
    {"GPIB-VXI::MEMACC", "GPIB-VXI0::MEMACC", VI_INTF_GPIB_VXI, 0, "MEMACC"},
    {"VXI0::300::INSTR", "VXI0::300::INSTR", VI_INTF_VXI, 0, "INSTR"},
    {"VXI::BACKPLANE", "VXI0::0::BACKPLANE", VI_INTF_VXI, 0, "BACKPLANE"},
    {"VXI1::2::BACKPLANE", "VXI1::2::BACKPLANE", VI_INTF_VXI, 1, "BACKPLANE"},
    {"VXI0::SERVANT", "VXI0::SERVANT", VI_INTF_VXI, 0, "SERVANT"},
    {"ASRL1", "ASRL1::INSTR", VI_INTF_ASRL, 1, "INSTR"},
    {"TCPIP::dev.example.com", "TCPIP0::dev.example.com::inst0::INSTR", VI_INTF_TCPIP, 0, "INSTR"},
    {"TCPIP1::10.0.0.1::hislip0::INSTR", "TCPIP1::10.0.0.1::hislip0::INSTR", VI_INTF_TCPIP, 1, "INSTR"},
    {"tcpip::10.0.0.1::5025::socket", "TCPIP0::10.0.0.1::5025::SOCKET", VI_INTF_TCPIP, 0, "SOCKET"},
    {"TCPIP::[::1]::5025::SOCKET", "TCPIP0::[::1]::5025::SOCKET", VI_INTF_TCPIP, 0, "SOCKET"},
    {"TCPIP0::[fe80::1%eth0]", "TCPIP0::[fe80::1%eth0]::inst0::INSTR", VI_INTF_TCPIP, 0, "INSTR"},
    {"TCPIP0::[::1]::hislip0,4881::INSTR", "TCPIP0::[::1]::hislip0,4881::INSTR", VI_INTF_TCPIP, 0, "INSTR"},
    {"USB::0x1234::22136::SN9", "USB0::0x1234::0x5678::SN9::INSTR", VI_INTF_USB, 0, "INSTR"},
    {"USB1::0xabcd::0x1::X::2::RAW", "USB1::0xABCD::0x0001::X::2::RAW", VI_INTF_USB, 1, "RAW"},
    {"PXI0::14::INSTR", "PXI0::14::INSTR", VI_INTF_PXI, 0, "INSTR"},
    {"PXI0::2-14.1::INSTR", "PXI0::2-14.1::INSTR", VI_INTF_PXI, 0, "INSTR"},
    {"PXI0::chassis1::slot4::func2", "PXI0::CHASSIS1::SLOT4::FUNC2::INSTR", VI_INTF_PXI, 0, "INSTR"},
    {"PXI2::MEMACC", "PXI2::MEMACC", VI_INTF_PXI, 2, "MEMACC"},
};

TEST(ResourceName, ParsesEveryInterfaceToItsCanonicalForm) {
    for (const Valid& v : kValid) {
        ResourceName r;
        ASSERT_EQ(parseResourceName(v.text, &r), VI_SUCCESS) << v.text;
        EXPECT_EQ(r.canonical, v.canonical) << v.text;
        EXPECT_EQ(r.intfType, v.type) << v.text;
        EXPECT_EQ(r.board, v.board) << v.text;
        EXPECT_EQ(r.rsrcClass, v.rsrcClass) << v.text;
        // The canonical form parses to itself.
        ResourceName again;
        ASSERT_EQ(parseResourceName(r.canonical, &again), VI_SUCCESS);
        EXPECT_EQ(again.canonical, r.canonical);
    }
}

TEST(ResourceName, RejectsMalformedNames) {
    const char* bad[] = {
        "", "GPIB", "GPIB0::", "GPIB0::::INSTR", "GPIB0::31::INSTR", "GPIB0::5::31::INSTR",
        "GPIB0::5::6::7::INSTR", "GPIB0::x::INSTR", "GPIBX::5", "GPIB0::5::SOCKET", "GPIB0::MEMACC",
        "GPIB-VXI0::SERVANT", "VXI0::INSTR", "VXI0::40000::INSTR", "ASRL::INSTR", "ASRL1::2::INSTR",
        "TCPIP0::INSTR", "TCPIP0::host::SOCKET", "TCPIP0::host::70000::SOCKET", "TCPIP0::bad host",
        "USB0::0x12345::1::S::INSTR", "USB0::1::2::INSTR", "PXI0::2-99::INSTR", "PXI0::SLOT1::INSTR",
        "FOO0::INSTR", "GPIB99999999::1", "GPIB0::5::INSTR::", "TCPIP::h34::0x560:", "USB0::1::2::a:b::INSTR",
        "TCPIP0::[::1", "TCPIP0::[]::INSTR", "TCPIP0::[::1]x::INSTR", "TCPIP0::[::1]::", "TCPIP0::[1.2.3.4]::INSTR",
        "TCPIP0::[::1 ]::5025::SOCKET", "GPIB0::[::1]::INSTR",
    };
    for (const char* b : bad) {
        ResourceName r;
        EXPECT_EQ(parseResourceName(b, &r), VI_ERROR_INV_RSRC_NAME) << b;
    }
    std::string tooLong = "TCPIP0::" + std::string(300, 'a') + "::INSTR";
    ResourceName r;
    EXPECT_EQ(parseResourceName(tooLong, &r), VI_ERROR_INV_RSRC_NAME);
}

TEST(ResourceName, KeepsAddressFields) {
    ResourceName r;
    ASSERT_EQ(parseResourceName("GPIB2::9::3::INSTR", &r), VI_SUCCESS);
    EXPECT_EQ(r.primary, 9);
    EXPECT_EQ(r.secondary, 3);
    ASSERT_EQ(parseResourceName("TCPIP::h::4000::SOCKET", &r), VI_SUCCESS);
    EXPECT_EQ(r.host, "h");
    EXPECT_EQ(r.port, 4000);
    ASSERT_EQ(parseResourceName("USB0::0x0001::0x0002::ABC::3::INSTR", &r), VI_SUCCESS);
    EXPECT_EQ(r.usbInterface, 3);
    EXPECT_EQ(r.usbSerial, "ABC");
}

}  // namespace
}  // namespace zuvisa

// What sysfs says about USB instruments, and what the explanations offer to fix.
#include "zuvisa/bridgelets/usbtmc/discovery.h"

#include <gtest/gtest.h>

#include "usbtree.h"

namespace zuvisa::usbtmc {
namespace {

using zuvisa::testing::UsbTree;

TEST(Discovery, NamesAndIdentitiesComeFromTheDeviceTree) {
    TempDir root;
    UsbTree tree(root.path());
    tree.add({"1-1", 0x0957, 0x1755, "ACME", "Scope", "MY:12\x01 3", 0, 0xFE, 3, 1, 1, 7, "usbtmc0"});
    tree.add({"1-4.2", 0x1AB1, 0x04CE, "", "", "", 2, 0xFE, 3, 0, 0, 0, "usbtmc3"});
    sysfs::Roots roots{tree.sys(), tree.dev()};
    std::vector<TmcDevice> found = findDevices(roots);
    ASSERT_EQ(found.size(), 2u);
    // Characters a resource name cannot carry are left out of a serial number.
    EXPECT_EQ(resourceName(found[0]), "USB0::0x0957::0x1755::MY123::INSTR");
    EXPECT_EQ(found[0].deviceCapabilities, 1);
    EXPECT_EQ(found[0].usb488InterfaceCapabilities, 7);
    EXPECT_EQ(found[0].node, tree.node("usbtmc0"));
    // Without a serial number the place on the bus stands in; interface 2 is spelled out.
    EXPECT_EQ(resourceName(found[1], "RAW"), "USB0::0x1AB1::0x04CE::1-4.2::2::RAW");
}

TEST(Discovery, InterfacesNoUsbtmcNodeCameFromAreNamed) {
    TempDir root;
    UsbTree tree(root.path());
    tree.add({"1-1", 0x0957, 0x1755, "ACME", "Scope", "A", 0, 0xFE, 3, 1, 1, 7, "usbtmc0"});  // bound
    tree.add({"1-2", 0x0957, 0x0607, "ACME", "Meter", "B", 0, 0xFE, 3, 1, 1, 7, ""});         // not bound
    tree.add({"1-3", 0x046D, 0xC52B, "Logi", "Mouse", "C", 0, 3, 1, 2, 0, 0, ""});           // not TMC
    std::vector<std::string> unbound = unboundTmcInterfaces({tree.sys(), tree.dev()});
    ASSERT_EQ(unbound.size(), 1u);
    EXPECT_EQ(unbound[0], "1-2:1.0 (0957:0607, bound to no driver)");
}

TEST(Discovery, TheUdevRuleMatchesTheDevice) {
    TmcDevice d;
    d.id.vendor = 0x0957;
    d.id.product = 0x1755;
    EXPECT_EQ(udevRule(d),
              "SUBSYSTEM==\"usbmisc\", KERNEL==\"usbtmc[0-9]*\", ATTRS{idVendor}==\"0957\", "
              "ATTRS{idProduct}==\"1755\", MODE=\"0660\", GROUP=\"plugdev\", TAG+=\"uaccess\"");
}

}  // namespace
}  // namespace zuvisa::usbtmc

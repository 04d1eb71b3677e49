// What the devices on a simulated GPIB bus make of REN, addressing, go-to-local and local
// lockout: state the C API does not show.
#include <gtest/gtest.h>

#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/gpib.h"

namespace zuvisa::sim {
namespace {

std::shared_ptr<Device> device() {
    auto def = std::make_shared<DeviceDef>();
    def->name = "d";
    return std::make_shared<Device>(def, "GPIB INSTR");
}

TEST(GpibRemote, DevicesGoRemoteAndLocalAsTheControllerSays) {
    InterfaceDef def;
    def.name = "GPIB0";
    auto board = std::make_shared<GpibBoard>(def, nullptr);
    auto five = device(), six = device();
    board->add(5, five);
    board->add(6, six);
    size_t done = 0;
    auto command = [&](std::initializer_list<ViByte> bytes) {
        std::vector<ViByte> b(bytes);
        return board->command(b.data(), b.size(), &done);
    };
    ASSERT_EQ(command({0x25}), VI_SUCCESS);  // listen without REN: stays local
    EXPECT_FALSE(five->remote());
    ASSERT_EQ(board->controlRen(VI_GPIB_REN_ASSERT, -1), VI_SUCCESS);
    EXPECT_FALSE(five->remote()) << "remote comes with the next listen address";
    ASSERT_EQ(command({0x3F, 0x25}), VI_SUCCESS);
    EXPECT_TRUE(five->remote());
    EXPECT_FALSE(six->remote());
    ASSERT_EQ(command({0x11}), VI_SUCCESS);  // LLO
    EXPECT_TRUE(five->lockedOut());
    EXPECT_TRUE(six->lockedOut());
    ASSERT_EQ(command({0x01}), VI_SUCCESS);  // GTL to the listener
    EXPECT_FALSE(five->remote());
    EXPECT_TRUE(five->lockedOut()) << "lockout outlives go-to-local";
    ASSERT_EQ(board->controlRen(VI_GPIB_REN_ASSERT_ADDRESS, 6), VI_SUCCESS);
    EXPECT_TRUE(six->remote());
    ASSERT_EQ(command({0x25}), VI_SUCCESS);
    EXPECT_TRUE(five->remote()) << "addressed again";
    ASSERT_EQ(board->controlRen(VI_GPIB_REN_DEASSERT, -1), VI_SUCCESS);
    EXPECT_FALSE(five->remote());
    EXPECT_FALSE(six->lockedOut()) << "dropping REN ends everything";
}

}  // namespace
}  // namespace zuvisa::sim

// Serial instruments on pseudo-terminals: a client opens the terminal as a serial port.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "tests/support/tempdir.h"
#include "tests/tools/zusimd/lineio.h"
#include "tools/zusimd/frontends.h"

namespace zusimd {
namespace {

TEST(ZusimdSerial, ASerialInstrumentAnswersOnItsTerminalUntilTheServerStops) {
    TempDir dir;
    Bench bench;
    std::vector<std::string> problems;
    ASSERT_TRUE(bench.load({data("../../zuvisa/data/hardware.yaml")}, &problems));
    Options o;
    o.ptyDirectory = dir.path();
    auto serial = makeSerialFrontend(bench, o);
    std::vector<std::string> lines;
    std::string why;
    ASSERT_TRUE(serial->start(&lines, &why)) << why;
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("::INSTR serves ASRL1::INSTR (also " + dir.file("asrl1") + ")"), std::string::npos) << lines[0];
    EXPECT_EQ(lines[0].rfind("ASRL/dev/pts/", 0), 0u) << lines[0];

    int fd = open(dir.file("asrl1").c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    termios t;
    tcgetattr(fd, &t);
    cfmakeraw(&t);
    tcsetattr(fd, TCSANOW, &t);
    ASSERT_EQ(write(fd, "*IDN?\n", 6), 6);
    EXPECT_EQ(answer(fd), "ZU,PS-3,1,1.0\n");
    // A message in pieces is still one message.
    ASSERT_EQ(write(fd, "*ID", 3), 3);
    usleep(50000);
    ASSERT_EQ(write(fd, "N?\n", 3), 3);
    EXPECT_EQ(answer(fd), "ZU,PS-3,1,1.0\n");

    serial->stop();
    EXPECT_NE(access(dir.file("asrl1").c_str(), F_OK), 0) << "the link goes with the terminal";
    pollfd p{fd, POLLIN, 0};
    ASSERT_EQ(poll(&p, 1, 2000), 1);
    EXPECT_TRUE(p.revents & POLLHUP) << "the client sees the line hang up";
    close(fd);
}

}  // namespace
}  // namespace zusimd

// SOCKET instruments: every client of an instrument gets the answers to its own queries.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <thread>

#include "tests/tools/zusimd/lineio.h"
#include "tools/zusimd/frontends.h"

namespace zusimd {
namespace {

int connectTo(uint16_t port) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool send(int fd, const std::string& text) {
    return ::send(fd, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

class ZusimdSocket : public ::testing::Test {
  protected:
    void SetUp() override { serve("../../zuvisa/data/lan.yaml"); }
    void serve(const std::string& file) {
        std::vector<std::string> problems;
        ASSERT_TRUE(bench_.load({data(file)}, &problems));
        front_ = makeSocketFrontend(bench_, Options{});
        std::vector<std::string> lines;
        std::string why;
        ASSERT_TRUE(front_->start(&lines, &why)) << why;
        ASSERT_EQ(lines.size(), 1u);
        // "TCPIP0::127.0.0.1::<port>::SOCKET serves ..."
        port_ = static_cast<uint16_t>(std::stoi(lines[0].substr(lines[0].find("1::") + 3)));
    }
    void TearDown() override {
        if (front_) front_->stop();
    }

    Bench bench_;
    std::unique_ptr<Frontend> front_;
    uint16_t port_ = 0;
};

TEST_F(ZusimdSocket, TwoClientsOfOneInstrumentEachGetTheirOwnAnswers) {
    int a = connectTo(port_), b = connectTo(port_);
    ASSERT_GE(a, 0);
    ASSERT_GE(b, 0);
    const std::string idn = "ZU Instruments,LAN-1 (simulated),SIM0001,1.0\n";
    // Both queries arrive together, so that both connections look for answers at once.
    for (int round = 0; round < 200; ++round) {
        std::thread other([&] { send(b, "VOLT?\n"); });
        ASSERT_TRUE(send(a, "*IDN?\n"));
        other.join();
        ASSERT_EQ(answer(a), idn) << "round " << round;
        ASSERT_EQ(answer(b), "1.000\n") << "round " << round;
    }
    close(a);
    close(b);
}

class ZusimdCrSocket : public ZusimdSocket {
  protected:
    void SetUp() override { serve("crsocket.yaml"); }
};

TEST_F(ZusimdCrSocket, MessagesEndWhereTheInstrumentEndsThem) {
    int fd = connectTo(port_);
    ASSERT_GE(fd, 0);
    const std::string idn = "ZU Instruments,CNT-1 (simulated),SIM0002,1.0\n";
    ASSERT_TRUE(send(fd, "*IDN?\r"));
    EXPECT_EQ(answer(fd), idn);
    // A whole message with the start of the next is answered before the rest comes.
    ASSERT_TRUE(send(fd, "*IDN?\r*ID"));
    EXPECT_EQ(answer(fd), idn);
    ASSERT_TRUE(send(fd, "N?\r"));
    EXPECT_EQ(answer(fd), idn);
    close(fd);
}

TEST_F(ZusimdSocket, HalfMessagesOfTwoClientsDoNotMix) {
    int a = connectTo(port_), b = connectTo(port_);
    ASSERT_GE(a, 0);
    ASSERT_GE(b, 0);
    const std::string idn = "ZU Instruments,LAN-1 (simulated),SIM0001,1.0\n";
    ASSERT_TRUE(send(a, "*ID"));
    usleep(30000);
    ASSERT_TRUE(send(b, "VOLT?\n"));
    EXPECT_EQ(answer(b), "1.000\n");
    ASSERT_TRUE(send(a, "N?\n"));
    EXPECT_EQ(answer(a), idn);
    // A client that leaves mid-message takes its half message with it.
    ASSERT_TRUE(send(a, "VOLT 7"));
    usleep(30000);
    close(a);
    usleep(30000);
    ASSERT_TRUE(send(b, "VOLT?\n"));
    EXPECT_EQ(answer(b), "1.000\n");
    ASSERT_TRUE(send(b, "*IDN?\n"));
    EXPECT_EQ(answer(b), idn);
    close(b);
}

}  // namespace
}  // namespace zusimd

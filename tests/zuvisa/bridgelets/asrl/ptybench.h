// Serial ports made of pseudo-terminal pairs: the library opens the slave as ASRLn, the test
// plays the instrument on the master. The master sees the slave's line settings, and in packet
// mode it hears of flushes and of transmission being held.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "../../../support/tempdir.h"
#include "../../testbench.h"
#include "zuvisa/bridgelets/asrl/ttyio.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::testing {

class PtyPair {
public:
    PtyPair() {
        master_ = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) return;
        char name[128];
        if (ptsname_r(master_, name, sizeof name) == 0) slave_ = name;
    }
    ~PtyPair() { hangUp(); }
    PtyPair(const PtyPair&) = delete;
    PtyPair& operator=(const PtyPair&) = delete;

    const std::string& slave() const { return slave_; }
    int master() const { return master_; }
    // The instrument's end goes away, as when a USB adapter is pulled.
    void hangUp() {
        if (master_ >= 0) close(master_);
        master_ = -1;
    }

    void send(const std::string& bytes) {
        size_t off = 0;
        while (off < bytes.size()) {
            ssize_t n = ::write(master_, bytes.data() + off, bytes.size() - off);
            if (n > 0) {
                off += static_cast<size_t>(n);
            } else {
                pollfd p{master_, POLLOUT, 0};
                if (poll(&p, 1, 2000) <= 0) break;
            }
        }
    }
    // What the port sent: waits until at least `want` bytes came or ms passed.
    std::string receive(size_t want, int ms = 2000) {
        std::string got;
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        while (got.size() < want) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
            if (left.count() <= 0) break;
            pollfd p{master_, POLLIN, 0};
            if (poll(&p, 1, static_cast<int>(left.count())) <= 0) break;
            char buf[4096];
            ssize_t n = ::read(master_, buf, sizeof buf);
            if (n <= 0) break;
            got.append(buf, static_cast<size_t>(n));
        }
        return got;
    }
    // The slave's line settings, as the master reads them.
    asrl::tty::LineSettings settings() const {
        asrl::tty::LineSettings s;
        asrl::tty::readSettings(master_, &s);
        return s;
    }

private:
    int master_ = -1;
    std::string slave_;
};

// A resource manager on ports ASRL1..ASRLn made of pseudo-terminal pairs, nothing else.
class PtyBench : public ::testing::Test {
protected:
    explicit PtyBench(int ports = 1, const std::string& extra = std::string()) {
        std::string body = "[Bridgelets]\nasrl = True\n\n[asrl]\nScan = False\nLockDirectory = \"" +
                           locks.path() + "\"\n" + extra;
        for (int i = 0; i < ports; ++i) {
            ptys.push_back(std::make_unique<PtyPair>());
            body += "ASRL" + std::to_string(i + 1) + " = \"" + ptys.back()->slave() + "\"\n";
        }
        config = std::make_unique<TempConfig>(body);
    }
    void SetUp() override { ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS); }
    void TearDown() override {
        if (rm) viClose(rm);
    }

    PtyPair& pty(int i = 0) { return *ptys[static_cast<size_t>(i)]; }

    ViSession open(const char* name = "ASRL1::INSTR", ViStatus expected = VI_SUCCESS) {
        ViSession vi = 0;
        EXPECT_EQ(viOpen(rm, name, VI_NULL, 0, &vi), expected) << name;
        return vi;
    }
    ViStatus write(ViSession vi, const std::string& text) { return writeText(vi, text); }
    std::string read(ViSession vi, ViStatus* status, ViUInt32 count = 512) { return readText(vi, status, count); }
    template <typename T>
    T attr(ViObject vi, ViAttr a) {
        return attribute<T>(vi, a);
    }
    // Waits until the port has taken in n bytes.
    bool arrived(ViSession vi, ViUInt32 n) {
        for (int i = 0; i < 200; ++i) {
            if (attr<ViUInt32>(vi, VI_ATTR_ASRL_AVAIL_NUM) >= n) return true;
            usleep(10000);
        }
        return false;
    }

    TempDir locks;
    std::vector<std::unique_ptr<PtyPair>> ptys;
    std::unique_ptr<TempConfig> config;
    ViSession rm = 0;
};

}  // namespace zuvisa::testing

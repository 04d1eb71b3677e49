// A resource manager on a bench of simulated hardware (tests/zuvisa/data/hardware.yaml unless a
// test names another file), with helpers for register access and events.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "../../testbench.h"
#include "zuvisa/zuvisa.h"

namespace zuvisa::testing {

class SimBench : public ::testing::Test {
protected:
    explicit SimBench(const std::string& file = "data/hardware.yaml")
        : config_(TempConfig::withBench("", testData(file))) {}
    void SetUp() override { ASSERT_GE(viOpenDefaultRM(&rm), VI_SUCCESS); }
    void TearDown() override {
        if (rm) viClose(rm);
    }

    ViSession open(const char* name, ViStatus expected = VI_SUCCESS) {
        ViSession vi = 0;
        EXPECT_EQ(viOpen(rm, name, VI_NULL, 0, &vi), expected) << name;
        return vi;
    }
    ViStatus write(ViSession vi, const std::string& text) {
        ViUInt32 n = 0;
        return viWrite(vi, reinterpret_cast<ViConstBuf>(text.data()), static_cast<ViUInt32>(text.size()), &n);
    }
    std::string read(ViSession vi, ViStatus* status = nullptr, ViUInt32 count = 512) {
        char buf[512];
        ViUInt32 n = 0;
        ViStatus st = viRead(vi, reinterpret_cast<ViPBuf>(buf), count < sizeof buf ? count : sizeof buf, &n);
        if (status) *status = st;
        return std::string(buf, n);
    }
    std::string query(ViSession vi, const std::string& text) {
        EXPECT_EQ(write(vi, text), VI_SUCCESS) << text;
        ViStatus st;
        std::string answer = read(vi, &st);
        EXPECT_GE(st, VI_SUCCESS) << text;
        return answer;
    }
    template <typename T>
    T attr(ViObject vi, ViAttr a) {
        T v{};
        EXPECT_EQ(viGetAttribute(vi, a, &v), VI_SUCCESS) << std::hex << a;
        return v;
    }
    std::string text(ViObject vi, ViAttr a) {
        char buf[256] = "";
        EXPECT_EQ(viGetAttribute(vi, a, buf), VI_SUCCESS) << std::hex << a;
        return buf;
    }
    // Enables the queue for the event type.
    void listen(ViSession vi, ViEventType type) { ASSERT_GE(viEnableEvent(vi, type, VI_QUEUE, VI_NULL), VI_SUCCESS); }
    // Waits for one queued event; the context is closed by the caller (or the session).
    ViStatus wait(ViSession vi, ViEventType type, ViEvent* ctx, ViUInt32 ms = 2000) {
        ViEventType got = 0;
        return viWaitOnEvent(vi, type, ms, &got, ctx);
    }

    ViSession rm = 0;

private:
    TempConfig config_;
};

}  // namespace zuvisa::testing

// A temporary ZU-VISA configuration with the test bench, made current for the test's lifetime,
// and helpers to open the resource manager and sessions on it.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "zuvisa/visa.h"

namespace zuvisa::testing {

inline std::string testData(const std::string& file) {
    const char* dir = getenv("TALMIK_TEST_DATA");
    return std::string(dir ? dir : ".") + "/" + file;
}

// What tests do with any session: send a text, read an answer, read an attribute.
inline ViStatus writeText(ViSession vi, const std::string& text) {
    ViUInt32 n = 0;
    return viWrite(vi, reinterpret_cast<ViConstBuf>(text.data()), static_cast<ViUInt32>(text.size()), &n);
}
inline std::string readText(ViSession vi, ViStatus* status, ViUInt32 count = 512) {
    std::string buf(count ? count : 1, '\0');
    ViUInt32 n = 0;
    ViStatus st = viRead(vi, reinterpret_cast<ViPBuf>(buf.data()), count, &n);
    if (status) *status = st;
    buf.resize(n);
    return buf;
}
template <typename T>
T attribute(ViObject vi, ViAttr a) {
    T v{};
    EXPECT_EQ(viGetAttribute(vi, a, &v), VI_SUCCESS) << std::hex << a;
    return v;
}

// Writes a configuration file into a fresh directory and points ZUVISA_CONFIG at it.
class TempConfig {
public:
    explicit TempConfig(const std::string& body) {
        char tmpl[] = "/tmp/zuvisa-test-XXXXXX";
        dir_ = mkdtemp(tmpl);
        path_ = dir_ + "/zuvisa.ini";
        std::ofstream(path_) << body;
        setenv("ZUVISA_CONFIG", path_.c_str(), 1);
    }
    ~TempConfig() {
        unsetenv("ZUVISA_CONFIG");
        std::string cmd = "rm -rf '" + dir_ + "'";
        if (system(cmd.c_str()) != 0) {
        }
    }
    const std::string& dir() const { return dir_; }
    const std::string& path() const { return path_; }

    // bench: the device file, by default the one beside the ZU-VISA tests.
    static std::string withBench(const std::string& extra = std::string(),
                                 const std::string& bench = testData("data/bench.yaml")) {
        return "[Bridgelets]\nsim = True\n\n[Simulation]\nFile1 = \"" + bench +
               "\"\n\n[Aliases]\nmeter = \"GPIB0::5::INSTR\"\n" + extra;
    }

private:
    std::string dir_, path_;
};

// What an exception handler saw last. Install it with
// viInstallHandler(vi, VI_EVENT_EXCEPTION, noteException, &seen).
struct ExceptionSeen {
    ViStatus status = VI_SUCCESS;
    char operation[VI_FIND_BUFLEN] = "";
    std::thread::id thread;
};

inline ViStatus _VI_FUNCH noteException(ViSession, ViEventType, ViEvent ctx, ViAddr user) {
    auto* seen = static_cast<ExceptionSeen*>(user);
    viGetAttribute(ctx, VI_ATTR_STATUS, &seen->status);
    viGetAttribute(ctx, VI_ATTR_OPER_NAME, seen->operation);
    seen->thread = std::this_thread::get_id();
    return VI_SUCCESS;
}

// The test bench, a resource manager on it, and sessions that are closed with it.
class Bench : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    }
    void TearDown() override {
        if (rm) viClose(rm);
    }
    ViSession open(const char* name, ViAccessMode mode = VI_NULL) {
        ViSession vi = 0;
        EXPECT_EQ(viOpen(rm, name, mode, 0, &vi), VI_SUCCESS) << name;
        return vi;
    }
    std::string query(ViSession vi, const std::string& text) {
        ViUInt32 n = 0;
        EXPECT_EQ(viWrite(vi, reinterpret_cast<ViConstBuf>(text.data()), static_cast<ViUInt32>(text.size()), &n), VI_SUCCESS);
        char buf[512];
        ViStatus st = viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n);
        EXPECT_GE(st, VI_SUCCESS) << text;
        return std::string(buf, n);
    }
    ViStatus write(ViSession vi, const std::string& text) {
        ViUInt32 n = 0;
        return viWrite(vi, reinterpret_cast<ViConstBuf>(text.data()), static_cast<ViUInt32>(text.size()), &n);
    }

    TempConfig config{TempConfig::withBench()};
    ViSession rm = 0;
};

}  // namespace zuvisa::testing

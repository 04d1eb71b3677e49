// Asynchronous reads, writes and moves, their completion events and viTerminate.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "testbench.h"

namespace zuvisa {
namespace {

using Async = testing::Bench;

struct Completion {
    ViJobId job = 0;
    ViStatus status = 0;
    ViUInt32 count32 = 0;
    ViUInt64 count64 = 0;
    ViUInt64 buffer = 0;
    char oper[VI_FIND_BUFLEN] = "";
};

Completion waitCompletion(ViSession vi, ViUInt32 timeout = 2000) {
    Completion c;
    ViEvent ctx = 0;
    EXPECT_GE(viWaitOnEvent(vi, VI_EVENT_IO_COMPLETION, timeout, nullptr, &ctx), VI_SUCCESS);
    if (!ctx) return c;
    viGetAttribute(ctx, VI_ATTR_JOB_ID, &c.job);
    viGetAttribute(ctx, VI_ATTR_STATUS, &c.status);
    viGetAttribute(ctx, VI_ATTR_RET_COUNT_32, &c.count32);
    viGetAttribute(ctx, VI_ATTR_RET_COUNT_64, &c.count64);
    viGetAttribute(ctx, VI_ATTR_BUFFER, &c.buffer);
    viGetAttribute(ctx, VI_ATTR_OPER_NAME, c.oper);
    viClose(ctx);
    return c;
}

TEST_F(Async, WriteThenReadComplete) {
    ViSession vi = open("GPIB0::5::INSTR");
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_NULL), VI_SUCCESS);
    static const char cmd[] = "*IDN?\n";
    ViJobId wjob = 0, rjob = 0;
    ASSERT_EQ(viWriteAsync(vi, reinterpret_cast<ViConstBuf>(cmd), 6, &wjob), VI_SUCCESS);
    Completion w = waitCompletion(vi);
    EXPECT_EQ(w.job, wjob);
    EXPECT_EQ(w.status, VI_SUCCESS);
    EXPECT_EQ(w.count32, 6u);
    EXPECT_STREQ(w.oper, "viWriteAsync");

    char buf[64];
    ASSERT_EQ(viReadAsync(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &rjob), VI_SUCCESS);
    EXPECT_NE(rjob, wjob);
    Completion r = waitCompletion(vi);
    EXPECT_EQ(r.job, rjob);
    EXPECT_EQ(r.status, VI_SUCCESS);
    EXPECT_EQ(r.count64, 15u);
    EXPECT_EQ(r.buffer, reinterpret_cast<ViUInt64>(buf));
    EXPECT_STREQ(r.oper, "viReadAsync");
    EXPECT_EQ(std::string(buf, r.count32), "ZU,METER,1,1.0\n");
}

TEST_F(Async, TerminateEndsAPendingReadWithAbort) {
    ViSession vi = open("GPIB0::5::INSTR");
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, VI_TMO_INFINITE);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_NULL), VI_SUCCESS);
    char a[16], b[16];
    ViJobId first = 0, second = 0;
    ASSERT_EQ(viReadAsync(vi, reinterpret_cast<ViPBuf>(a), sizeof a, &first), VI_SUCCESS);
    ASSERT_EQ(viReadAsync(vi, reinterpret_cast<ViPBuf>(b), sizeof b, &second), VI_SUCCESS);
    // The second is still queued behind the first; ending it first completes it at once.
    EXPECT_EQ(viTerminate(vi, VI_NULL, second), VI_SUCCESS);
    Completion c = waitCompletion(vi);
    EXPECT_EQ(c.job, second);
    EXPECT_EQ(c.status, VI_ERROR_ABORT);
    EXPECT_EQ(viTerminate(vi, VI_NULL, first), VI_SUCCESS);
    c = waitCompletion(vi);
    EXPECT_EQ(c.job, first);
    EXPECT_EQ(c.status, VI_ERROR_ABORT);
    EXPECT_EQ(c.count32, 0u);
    EXPECT_EQ(viTerminate(vi, VI_NULL, first), VI_ERROR_INV_JOB_ID);
    EXPECT_EQ(viTerminate(vi, 1, first), VI_ERROR_INV_DEGREE);
}

TEST_F(Async, TimeoutCompletesWithTheStatus) {
    ViSession vi = open("GPIB0::5::INSTR");
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 10);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_NULL), VI_SUCCESS);
    char buf[8];
    ViJobId job;
    ASSERT_EQ(viReadAsync(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &job), VI_SUCCESS);
    EXPECT_EQ(waitCompletion(vi).status, VI_ERROR_TMO);
}

TEST_F(Async, ClosingWithAJobPendingIsSafe) {
    ViSession vi = open("GPIB0::5::INSTR");
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, VI_TMO_INFINITE);
    char buf[8];
    ViJobId job;
    ASSERT_EQ(viReadAsync(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &job), VI_SUCCESS);
    EXPECT_EQ(viClose(vi), VI_SUCCESS);
}

// Block moves on simulated register-based modules (data/moves.yaml).
class AsyncMove : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_GE(viOpenDefaultRM(&rm), VI_SUCCESS);
        ASSERT_EQ(viOpen(rm, "VXI0::3::INSTR", VI_NULL, 0, &fast), VI_SUCCESS);
        ASSERT_EQ(viOpen(rm, "VXI0::2::INSTR", VI_NULL, 0, &slow), VI_SUCCESS);
        ASSERT_EQ(viEnableEvent(fast, VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_NULL), VI_SUCCESS);
        ASSERT_EQ(viEnableEvent(slow, VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_NULL), VI_SUCCESS);
    }
    void TearDown() override { viClose(rm); }
    static uintptr_t local(const void* p) { return reinterpret_cast<uintptr_t>(p); }
    static ViStatus moveFrom(ViSession vi, ViBusAddress offset, void* to, ViUInt16 width, ViBusSize n, ViJobId* job) {
        return viMoveAsync(vi, VI_A24_SPACE, offset, width, VI_LOCAL_SPACE, local(to), width, n, job);
    }

    testing::TempConfig config{testing::TempConfig::withBench("", testing::testData("data/moves.yaml"))};
    ViSession rm = 0, fast = 0, slow = 0;
};

TEST_F(AsyncMove, MovesCompleteLaterWithTheirCountInEveryWidth) {
    const struct {
        ViUInt16 width;
        int bytes;
    } widths[] = {{VI_WIDTH_8, 1}, {VI_WIDTH_16, 2}, {VI_WIDTH_32, 4}};
    for (const auto& w : widths) {
        uint8_t out[64], in[64] = {};
        for (size_t i = 0; i < sizeof out; ++i) out[i] = static_cast<uint8_t>(i * 7 + w.bytes);
        ViBusSize n = sizeof out / static_cast<ViBusSize>(w.bytes);
        ViJobId put = 0, get = 0;
        ASSERT_EQ(viMoveAsync(fast, VI_LOCAL_SPACE, local(out), w.width, VI_A24_SPACE, 0x100, w.width, n, &put), VI_SUCCESS);
        ASSERT_EQ(moveFrom(fast, 0x100, in, w.width, n, &get), VI_SUCCESS);
        EXPECT_NE(put, get);
        Completion c = waitCompletion(fast);
        EXPECT_EQ(c.job, put) << w.bytes;
        EXPECT_EQ(c.status, VI_SUCCESS);
        EXPECT_EQ(c.count32, n) << "elements, not bytes";
        EXPECT_EQ(c.buffer, local(out));
        EXPECT_STREQ(c.oper, "viMoveAsync");
        c = waitCompletion(fast);
        EXPECT_EQ(c.job, get);
        EXPECT_EQ(c.count64, n);
        EXPECT_EQ(c.buffer, local(in));
        EXPECT_EQ(memcmp(in, out, sizeof in), 0) << w.bytes;
    }
    // A move that fails partway completes with its status and what it moved.
    ViUInt16 words[8];
    ViJobId job = 0;
    ASSERT_EQ(moveFrom(fast, 0xFF8, words, VI_WIDTH_16, 8, &job), VI_SUCCESS);
    Completion c = waitCompletion(fast);
    EXPECT_EQ(c.status, VI_ERROR_INV_OFFSET);
    EXPECT_EQ(c.count32, 4u) << "the module's memory ends after four";
}

TEST_F(AsyncMove, TerminateAbortsASlowMoveAndAQueuedOne) {
    ViUInt16 a[4], b[4];
    ViJobId first = 0, second = 0;
    auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(moveFrom(slow, 0, a, VI_WIDTH_16, 4, &first), VI_SUCCESS);
    ASSERT_EQ(moveFrom(slow, 0, b, VI_WIDTH_16, 4, &second), VI_SUCCESS);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200)) << "the call does not wait";
    EXPECT_EQ(viTerminate(slow, VI_NULL, second), VI_SUCCESS);
    Completion c = waitCompletion(slow);
    EXPECT_EQ(c.job, second);
    EXPECT_EQ(c.status, VI_ERROR_ABORT);
    EXPECT_EQ(viTerminate(slow, VI_NULL, first), VI_SUCCESS);
    c = waitCompletion(slow);
    EXPECT_EQ(c.job, first);
    EXPECT_EQ(c.status, VI_ERROR_ABORT);
    EXPECT_EQ(c.count32, 0u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(290)) << "ended before its delay";
    EXPECT_EQ(viTerminate(slow, VI_NULL, first), VI_ERROR_INV_JOB_ID);
    // Left alone, the slow move takes its time and succeeds; shorter than that, it times out.
    ASSERT_EQ(moveFrom(slow, 0, a, VI_WIDTH_16, 4, &first), VI_SUCCESS);
    c = waitCompletion(slow);
    EXPECT_EQ(c.status, VI_SUCCESS);
    EXPECT_EQ(c.count32, 4u);
    ASSERT_EQ(viSetAttribute(slow, VI_ATTR_TMO_VALUE, 50), VI_SUCCESS);
    ASSERT_EQ(moveFrom(slow, 0, a, VI_WIDTH_16, 4, &first), VI_SUCCESS);
    EXPECT_EQ(waitCompletion(slow).status, VI_ERROR_TMO);
}

std::atomic<int> gMoveCompletions{0};
ViStatus gMoveStatus = 0;
ViUInt32 gMoveCount = 0;

ViStatus _VI_FUNCH onMoveDone(ViSession, ViEventType, ViEvent ctx, ViAddr) {
    viGetAttribute(ctx, VI_ATTR_STATUS, &gMoveStatus);
    viGetAttribute(ctx, VI_ATTR_RET_COUNT_32, &gMoveCount);
    ++gMoveCompletions;
    return VI_SUCCESS;
}

TEST_F(AsyncMove, TheCompletionReachesAHandler) {
    ASSERT_EQ(viInstallHandler(slow, VI_EVENT_IO_COMPLETION, onMoveDone, nullptr), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(slow, VI_EVENT_IO_COMPLETION, VI_HNDLR, VI_NULL), VI_SUCCESS);
    gMoveCompletions = 0;
    ViUInt32 words[2];
    ViJobId job = 0;
    ASSERT_EQ(moveFrom(slow, 0, words, VI_WIDTH_32, 2, &job), VI_SUCCESS);
    EXPECT_EQ(viTerminate(slow, VI_NULL, job), VI_SUCCESS);
    for (int i = 0; i < 200 && gMoveCompletions.load() == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(gMoveCompletions.load(), 1);
    EXPECT_EQ(gMoveStatus, VI_ERROR_ABORT);
    EXPECT_EQ(gMoveCount, 0u);
}

TEST_F(AsyncMove, RefusalsComeAtOnceWithoutAJob) {
    ViSession gpib = 0, other = 0;
    ASSERT_EQ(viOpen(rm, "GPIB0::1::INSTR", VI_NULL, 0, &gpib), VI_SUCCESS);
    ASSERT_EQ(viOpen(rm, "VXI0::3::INSTR", VI_NULL, 0, &other), VI_SUCCESS);
    ViUInt16 w[2];
    ViJobId job = 99;
    EXPECT_EQ(moveFrom(gpib, 0, w, VI_WIDTH_16, 2, &job), VI_ERROR_NSUP_OPER);
    EXPECT_EQ(job, 0u);
    EXPECT_EQ(moveFrom(fast, 0, w, 3, 2, &job), VI_ERROR_INV_WIDTH);
    ASSERT_EQ(viLock(other, VI_EXCLUSIVE_LOCK, 0, VI_NULL, VI_NULL), VI_SUCCESS);
    EXPECT_EQ(moveFrom(fast, 0, w, VI_WIDTH_16, 2, &job), VI_ERROR_RSRC_LOCKED);
    EXPECT_EQ(job, 0u);
    EXPECT_EQ(viWaitOnEvent(fast, VI_EVENT_IO_COMPLETION, 50, nullptr, nullptr), VI_ERROR_TMO) << "nothing started";
}

TEST_F(AsyncMove, ClosingWithASlowMovePendingEndsItPromptly) {
    ViUInt16 w[2];
    ViJobId job = 0;
    ASSERT_EQ(moveFrom(slow, 0, w, VI_WIDTH_16, 2, &job), VI_SUCCESS);
    ASSERT_EQ(moveFrom(slow, 0, w, VI_WIDTH_16, 2, &job), VI_SUCCESS);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(viClose(slow), VI_SUCCESS);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(250));
}

}  // namespace
}  // namespace zuvisa

// Asynchronous reads and writes, their completion events and viTerminate.
#include <gtest/gtest.h>

#include <cstring>

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

}  // namespace
}  // namespace zuvisa

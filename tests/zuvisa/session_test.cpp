// Message-based, buffered and file I/O, and locks, through the C API.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

#include "testbench.h"

namespace zuvisa {
namespace {

using Io = testing::Bench;

struct ReadCase {
    const char* what;
    bool termCharEn;
    bool suppressEnd;
    ViUInt32 count;
    ViStatus status;
    const char* data;
};

TEST_F(Io, ReadCompletionCodes) {
    const ReadCase cases[] = {
        {"END ends the read", false, false, 100, VI_SUCCESS, "AB\nCD\n"},
        {"count reached first", false, false, 3, VI_SUCCESS_MAX_CNT, "AB\n"},
        {"term char first", true, false, 100, VI_SUCCESS_TERM_CHAR, "AB\n"},
        {"END suppressed, term char ends", true, true, 100, VI_SUCCESS_TERM_CHAR, "AB\n"},
    };
    for (const ReadCase& c : cases) {
        ViSession vi = open("GPIB0::5::INSTR");
        viSetAttribute(vi, VI_ATTR_TERMCHAR_EN, c.termCharEn ? VI_TRUE : VI_FALSE);
        viSetAttribute(vi, VI_ATTR_SUPPRESS_END_EN, c.suppressEnd ? VI_TRUE : VI_FALSE);
        ASSERT_EQ(write(vi, "TWO?\n"), VI_SUCCESS);
        char buf[128];
        ViUInt32 n = 0;
        EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), c.count, &n), c.status) << c.what;
        EXPECT_EQ(std::string(buf, n), c.data) << c.what;
        viClear(vi);
        viClose(vi);
    }
}

TEST_F(Io, SuppressedEndReadsOnUntilTimeoutWithThePartialCount) {
    ViSession vi = open("GPIB0::5::INSTR");
    viSetAttribute(vi, VI_ATTR_SUPPRESS_END_EN, VI_TRUE);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 50);
    ASSERT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    char buf[128];
    ViUInt32 n = 0;
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_ERROR_TMO);
    EXPECT_EQ(std::string(buf, n), "ZU,METER,1,1.0\n");
}

TEST_F(Io, Timeouts) {
    ViSession vi = open("GPIB0::5::INSTR");
    char buf[16];
    ViUInt32 n = 99;
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, VI_TMO_IMMEDIATE);
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_ERROR_TMO);
    EXPECT_EQ(n, 0u);
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(50));
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 120);
    t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_ERROR_TMO);
    EXPECT_GE(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(115));
    // An infinite timeout waits until another session's query produces output.
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, VI_TMO_INFINITE);
    ViSession other = open("GPIB0::5::INSTR");
    std::thread writer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        write(other, "*IDN?\n");
    });
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, n), "ZU,METER,1,1.0\n");
    writer.join();
}

TEST_F(Io, SendEndOffHoldsTheMessageUntilItsTermination) {
    ViSession vi = open("GPIB0::5::INSTR");
    viSetAttribute(vi, VI_ATTR_SEND_END_EN, VI_FALSE);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 20);
    ASSERT_EQ(write(vi, "*IDN"), VI_SUCCESS);
    char buf[64];
    ViUInt32 n;
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_ERROR_TMO);
    viSetAttribute(vi, VI_ATTR_SEND_END_EN, VI_TRUE);
    ASSERT_EQ(write(vi, "?"), VI_SUCCESS);  // END completes the message without a line feed
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, n), "ZU,METER,1,1.0\n");
}

TEST_F(Io, ClearDiscardsPendingOutputAndStbReportsMessageAvailable) {
    ViSession vi = open("GPIB0::5::INSTR");
    ViUInt16 stb = 0;
    ASSERT_EQ(write(vi, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_TRUE(stb & 0x10);
    EXPECT_EQ(viClear(vi), VI_SUCCESS);
    EXPECT_EQ(viReadSTB(vi, &stb), VI_SUCCESS);
    EXPECT_FALSE(stb & 0x10);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 0);
    char buf[8];
    ViUInt32 n;
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_ERROR_TMO);
    EXPECT_EQ(viReadSTB(vi, nullptr), VI_ERROR_INV_PARAMETER);
}

TEST_F(Io, TriggerQueuesTheDeviceResponse) {
    ViSession vi = open("GPIB0::5::INSTR");
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_DEFAULT), VI_SUCCESS);
    char buf[32];
    ViUInt32 n;
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, n), "TRIGGERED\n");
    EXPECT_EQ(viAssertTrigger(vi, VI_TRIG_PROT_SYNC), VI_ERROR_INV_PROT);
}

TEST_F(Io, BufferedWriteAndRead) {
    ViSession vi = open("GPIB0::5::INSTR");
    ViUInt32 n = 0;
    EXPECT_EQ(viBufWrite(vi, reinterpret_cast<ViConstBuf>("LONG"), 4, &n), VI_SUCCESS);
    EXPECT_EQ(n, 4u);
    EXPECT_EQ(viBufWrite(vi, reinterpret_cast<ViConstBuf>("?\n"), 2, &n), VI_SUCCESS);
    EXPECT_EQ(viFlush(vi, VI_WRITE_BUF), VI_SUCCESS);
    EXPECT_EQ(viSetBuf(vi, VI_READ_BUF, 8), VI_SUCCESS);
    ViUInt32 size = 0;
    viGetAttribute(vi, VI_ATTR_RD_BUF_SIZE, &size);
    EXPECT_EQ(size, 8u);
    char buf[64];
    EXPECT_EQ(viBufRead(vi, reinterpret_cast<ViPBuf>(buf), 5, &n), VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(std::string(buf, n), "01234");
    EXPECT_EQ(viBufRead(vi, reinterpret_cast<ViPBuf>(buf), 64, &n), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, n), "56789ABCDEFGHIJ\n");
    // A discarded read buffer loses what it held; a flushed one also the rest of the message.
    write(vi, "LONG?\n");
    EXPECT_EQ(viBufRead(vi, reinterpret_cast<ViPBuf>(buf), 2, &n), VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(viFlush(vi, VI_READ_BUF), VI_SUCCESS);
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 0);
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_ERROR_TMO);

    struct MaskCase {
        ViUInt16 mask;
        ViStatus status;
    } masks[] = {{VI_READ_BUF | VI_READ_BUF_DISCARD, VI_ERROR_INV_MASK},
                 {VI_WRITE_BUF | VI_WRITE_BUF_DISCARD, VI_ERROR_INV_MASK},
                 {0x100, VI_ERROR_INV_MASK},
                 {0, VI_ERROR_INV_MASK},
                 {VI_IO_IN_BUF_DISCARD | VI_IO_OUT_BUF, VI_SUCCESS}};
    for (const MaskCase& m : masks) EXPECT_EQ(viFlush(vi, m.mask), m.status) << m.mask;
    EXPECT_EQ(viSetBuf(vi, VI_READ_BUF_DISCARD, 10), VI_ERROR_INV_MASK);
    EXPECT_EQ(viSetBuf(vi, VI_IO_IN_BUF | VI_WRITE_BUF, 100), VI_SUCCESS);
}

TEST_F(Io, ValuesOutOfRangeAreRefusedAndChangeNothing) {
    ViSession vi = open("GPIB0::5::INSTR");
    struct Case {
        ViAttr attr;
        ViAttrState value;
    } cases[] = {
        {VI_ATTR_TMO_VALUE, 0x100000000ull},     // would become 0, an immediate timeout
        {VI_ATTR_TERMCHAR, 0x1FF},               // would become 0xFF
        {VI_ATTR_TERMCHAR_EN, 0x10001},          // would become VI_TRUE
        {VI_ATTR_SEND_END_EN, 2},
        {VI_ATTR_IO_PROT, 0x10001},
        {VI_ATTR_MAX_QUEUE_LENGTH, 0x100000001ull},
        {VI_ATTR_USER_DATA_32, 0x100000000ull},
        {VI_ATTR_RD_BUF_OPER_MODE, 0x10001},
    };
    for (const Case& c : cases) {
        ViAttrState before = 0, after = 0;
        ASSERT_EQ(viGetAttribute(vi, c.attr, &before), VI_SUCCESS);
        EXPECT_EQ(viSetAttribute(vi, c.attr, c.value), VI_ERROR_NSUP_ATTR_STATE) << std::hex << c.attr;
        ASSERT_EQ(viGetAttribute(vi, c.attr, &after), VI_SUCCESS);
        EXPECT_EQ(after, before) << std::hex << c.attr;
    }
    EXPECT_EQ(viSetAttribute(rm, VI_ATTR_TMO_VALUE, 0x1FFFFFFFFull), VI_ERROR_NSUP_ATTR_STATE);
    // The widest values that fit still do.
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_TMO_VALUE, VI_TMO_INFINITE), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_TERMCHAR, 0xFF), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(vi, VI_ATTR_USER_DATA_64, ~0ull), VI_SUCCESS);
}

TEST_F(Io, BufferedWriteFlushesOnAccessWhenAsked) {
    ViSession vi = open("GPIB0::5::INSTR");
    ASSERT_EQ(viSetAttribute(vi, VI_ATTR_WR_BUF_OPER_MODE, VI_FLUSH_ON_ACCESS), VI_SUCCESS);
    ViUInt32 n;
    EXPECT_EQ(viBufWrite(vi, reinterpret_cast<ViConstBuf>("*IDN?\n"), 6, &n), VI_SUCCESS);
    char buf[64];
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, n), "ZU,METER,1,1.0\n");
}

TEST_F(Io, ReadToFileAndWriteFromFile) {
    ViSession vi = open("GPIB0::5::INSTR");
    std::string file = config.dir() + "/data.bin";
    ViUInt32 n = 0;
    write(vi, "*IDN?\n");
    EXPECT_EQ(viReadToFile(vi, file.c_str(), 100, &n), VI_SUCCESS);
    EXPECT_EQ(n, 15u);
    viSetAttribute(vi, VI_ATTR_FILE_APPEND_EN, VI_TRUE);
    write(vi, "LONG?\n");
    EXPECT_EQ(viReadToFile(vi, file.c_str(), 4, &n), VI_SUCCESS_MAX_CNT);
    std::stringstream content;
    content << std::ifstream(file).rdbuf();
    EXPECT_EQ(content.str(), "ZU,METER,1,1.0\n0123");
    viSetAttribute(vi, VI_ATTR_FILE_APPEND_EN, VI_FALSE);
    viClear(vi);

    std::string cmd = config.dir() + "/cmd.txt";
    std::ofstream(cmd) << "VOLT 7.25\nVOLT?\n";
    EXPECT_EQ(viWriteFromFile(vi, cmd.c_str(), 1000, &n), VI_SUCCESS);
    EXPECT_EQ(n, 16u);
    char buf[64];
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, n), "OK\n");
    EXPECT_EQ(viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n), VI_SUCCESS);
    EXPECT_EQ(std::string(buf, n), "7.25\n");
    EXPECT_EQ(viWriteFromFile(vi, (config.dir() + "/missing").c_str(), 10, &n), VI_ERROR_FILE_ACCESS);
    EXPECT_EQ(viReadToFile(vi, "/nonexistent-dir/x", 10, &n), VI_ERROR_FILE_ACCESS);
}

TEST_F(Io, LocksExclusiveSharedNestedAndKeys) {
    ViSession a = open("GPIB0::5::INSTR");
    ViSession b = open("GPIB0::5::INSTR");
    char key[VI_FIND_BUFLEN] = "";
    EXPECT_EQ(viUnlock(a), VI_ERROR_SESN_NLOCKED);
    EXPECT_EQ(viLock(a, 3, 0, nullptr, key), VI_ERROR_INV_LOCK_TYPE);
    EXPECT_EQ(viLock(a, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_SUCCESS);
    EXPECT_EQ(viLock(a, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_SUCCESS_NESTED_EXCLUSIVE);
    EXPECT_EQ(viLock(b, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_ERROR_TMO);
    EXPECT_EQ(viLock(b, VI_SHARED_LOCK, 30, nullptr, key), VI_ERROR_TMO);
    EXPECT_EQ(viUnlock(a), VI_SUCCESS_NESTED_EXCLUSIVE);
    EXPECT_EQ(viUnlock(a), VI_SUCCESS);

    // Shared with a generated key, joined by a second session with that key.
    ASSERT_EQ(viLock(a, VI_SHARED_LOCK, 0, nullptr, key), VI_SUCCESS);
    EXPECT_GT(strlen(key), 0u);
    EXPECT_EQ(write(b, "*IDN?\n"), VI_ERROR_RSRC_LOCKED);
    char other[VI_FIND_BUFLEN] = "";
    EXPECT_EQ(viLock(b, VI_SHARED_LOCK, 0, "wrong", other), VI_ERROR_INV_ACCESS_KEY);
    EXPECT_EQ(viLock(b, VI_SHARED_LOCK, 0, key, other), VI_SUCCESS);
    EXPECT_STREQ(other, key);
    EXPECT_EQ(write(b, "*IDN?\n"), VI_SUCCESS);
    EXPECT_EQ(viLock(a, VI_SHARED_LOCK, 0, nullptr, other), VI_SUCCESS_NESTED_SHARED);
    EXPECT_EQ(viUnlock(a), VI_SUCCESS_NESTED_SHARED);
    EXPECT_EQ(viUnlock(a), VI_SUCCESS);
    EXPECT_EQ(viUnlock(b), VI_SUCCESS);

    // A requested key is used as given; an exclusive lock may sit on top of a shared one.
    ASSERT_EQ(viLock(a, VI_SHARED_LOCK, 0, "my\x01key", key), VI_SUCCESS);
    EXPECT_STREQ(key, "my\x01key");
    EXPECT_EQ(viLock(a, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_SUCCESS);
    EXPECT_EQ(viUnlock(a), VI_SUCCESS_NESTED_SHARED);
    EXPECT_EQ(viUnlock(a), VI_SUCCESS);
    EXPECT_EQ(viLock(a, VI_SHARED_LOCK, 0, std::string(300, 'k').c_str(), key), VI_ERROR_INV_ACCESS_KEY);
}

TEST_F(Io, LockWaitsUntilTheOtherSessionUnlocks) {
    ViSession a = open("GPIB0::5::INSTR");
    ViSession b = open("GPIB0::5::INSTR");
    ASSERT_EQ(viLock(a, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_SUCCESS);
    std::thread release([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        viUnlock(a);
    });
    EXPECT_EQ(viLock(b, VI_EXCLUSIVE_LOCK, 5000, nullptr, nullptr), VI_SUCCESS);
    release.join();
    // Closing the holder releases it too.
    EXPECT_EQ(viLock(a, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_ERROR_TMO);
    viClose(b);
    EXPECT_EQ(viLock(a, VI_EXCLUSIVE_LOCK, 0, nullptr, nullptr), VI_SUCCESS);
}

TEST_F(Io, ClosingASessionEndsAReadThatWaitsForever) {
    // A busy machine may start the reader only after the close, which then finds no session:
    // try again with a longer head start until the read was really waiting.
    ViStatus st = VI_SUCCESS;
    for (int headStart = 30; headStart <= 960; headStart *= 2) {
        ViSession vi = open("GPIB0::5::INSTR");
        viSetAttribute(vi, VI_ATTR_TMO_VALUE, VI_TMO_INFINITE);
        std::thread reader([&] {
            char buf[8];
            st = viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, nullptr);
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(headStart));
        EXPECT_EQ(viClose(vi), VI_SUCCESS);
        reader.join();
        if (st != VI_ERROR_INV_OBJECT) break;
    }
    EXPECT_EQ(st, VI_ERROR_ABORT);
}

TEST_F(Io, SessionsMayBeUsedFromSeveralThreads) {
    ViSession vi = open("GPIB0::5::INSTR");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                // Answers may go to another thread, but each read is one whole answer.
                write(vi, "*IDN?\n");
                char buf[64];
                ViUInt32 n = 0;
                viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n);
                if (std::string(buf, n) != "ZU,METER,1,1.0\n") ++wrong;
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
}  // namespace zuvisa

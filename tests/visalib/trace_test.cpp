// The I/O trace against ZU-VISA on a simulated bench: what each kind of call leaves in the ring,
// handlers on VISA's threads, the ring's bound, and the JSON-lines file.
#include "visalib/trace.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/tempdir.h"
#include "visalib/traceformat.h"
#include "visalib/visalib.h"

namespace {

std::vector<VisaTraceRecord> recordsFrom(uint64_t from) {
    uint64_t first = 0, next = 0;
    VisaTrace_Range(&first, &next);
    std::vector<VisaTraceRecord> out;
    for (uint64_t s = std::max(from, first); s < next; ++s) {
        VisaTraceRecord r;
        if (VisaTrace_Get(s, &r)) out.push_back(r);
    }
    return out;
}

uint64_t nextSequence() {
    uint64_t first = 0, next = 0;
    VisaTrace_Range(&first, &next);
    return next;
}

std::string dataOf(const VisaTraceRecord& r) { return std::string(r.data.begin(), r.data.end()); }

const VisaTraceRecord* find(const std::vector<VisaTraceRecord>& records, int function) {
    for (const VisaTraceRecord& r : records)
        if (r.function == function) return &r;
    return nullptr;
}

class Trace : public ::testing::Test {
protected:
    void SetUp() override {
        writeFile(dir.file("zuvisa.ini"), "[Bridgelets]\nsim = True\n[Simulation]\nFile1 = \"" +
                                              std::string(std::getenv("ZUVISA_BENCH")) + "\"\n");
        setenv("ZUVISA_CONFIG", dir.file("zuvisa.ini").c_str(), 1);
        setenv("TALMIK_VISA_LIBRARY", std::getenv("ZUVISA_LIBRARY"), 1);
        ASSERT_EQ(VisaTrace_SetCapacity(kVisaTraceDefaultCapacity), 0);
        VisaTrace_Clear();
        ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
        ASSERT_EQ(viOpen(rm, "GPIB0::5::INSTR", VI_NULL, 0, &vi), VI_SUCCESS);
        ASSERT_EQ(viSetAttribute(vi, VI_ATTR_TMO_VALUE, 300), VI_SUCCESS);
    }
    void TearDown() override {
        viClose(rm);
        VisaLib_Unload();
        unsetenv("ZUVISA_CONFIG");
        unsetenv("TALMIK_VISA_LIBRARY");
    }
    ViStatus write(const std::string& text) {
        ViUInt32 n = 0;
        return viWrite(vi, reinterpret_cast<ViConstBuf>(text.data()), static_cast<ViUInt32>(text.size()), &n);
    }

    TempDir dir;
    ViSession rm = 0, vi = 0;
};

TEST_F(Trace, SynchronousCallsKeepArgumentsOutputsAndBytes) {
    uint64_t from = nextSequence();
    auto before = std::chrono::system_clock::now();
    ASSERT_EQ(write("*IDN?\n"), VI_SUCCESS);
    unsigned char buf[64];
    ViUInt32 got = 0;
    ViStatus readStatus = viRead(vi, buf, sizeof buf, &got);
    ASSERT_GE(readStatus, VI_SUCCESS);
    auto records = recordsFrom(from);
    ASSERT_EQ(records.size(), 2u);

    const VisaTraceRecord& w = records[0];
    EXPECT_EQ(w.function, VisaTrace_viWrite);
    EXPECT_EQ(w.session, vi);
    EXPECT_EQ(w.status, VI_SUCCESS);
    EXPECT_EQ(w.thread, static_cast<int32_t>(syscall(SYS_gettid)));
    auto wall = std::chrono::system_clock::time_point(std::chrono::nanoseconds(w.wallNs));
    EXPECT_LT(std::chrono::abs(wall - before), std::chrono::milliseconds(50));
    EXPECT_GE(w.durationNs, 0);
    EXPECT_EQ(dataOf(w), "*IDN?\n");
    EXPECT_EQ(VisaTrace_ArgumentsText(w), "vi=" + VisaTrace_HandleText(vi) + ", buf=6 bytes, cnt=6, retCnt=6");

    const VisaTraceRecord& r = records[1];
    EXPECT_EQ(r.function, VisaTrace_viRead);
    EXPECT_EQ(r.status, readStatus);
    EXPECT_EQ(dataOf(r), "ZU,METER,1,1.0\n");
    EXPECT_EQ(r.dataLength, got);
    EXPECT_NE(VisaTrace_ArgumentsText(r).find("cnt=64, retCnt=15"), std::string::npos);
    EXPECT_GT(r.sequence, w.sequence);

    // The resource manager's opening acts on no session; the session it makes is an output.
    auto all = recordsFrom(0);
    const VisaTraceRecord* opening = find(all, VisaTrace_viOpenDefaultRM);
    ASSERT_TRUE(opening);
    EXPECT_EQ(opening->session, 0u);
    EXPECT_EQ(opening->args[0], rm);
    // The session the trace shows was named by the call that opened it.
    EXPECT_EQ(VisaTrace_HandleName(vi, r.sequence), "GPIB0::5::INSTR");
    EXPECT_EQ(VisaTrace_HandleName(rm, r.sequence), "resource manager");
}

TEST_F(Trace, FailingCallsKeepTheirStatusAndNoOutputs) {
    uint64_t from = nextSequence();
    ViSession other = 12345;
    EXPECT_LT(viOpen(rm, "GPIB0::29::INSTR", VI_NULL, 0, &other), VI_SUCCESS);
    unsigned char buf[16];
    ViUInt32 got = 99;
    EXPECT_EQ(viRead(vi, buf, sizeof buf, &got), VI_ERROR_TMO);  // nothing was asked
    EXPECT_EQ(viGetAttribute(vi, 0x3FFF7777, buf), VI_ERROR_NSUP_ATTR);
    auto records = recordsFrom(from);
    ASSERT_EQ(records.size(), 3u);
    for (const VisaTraceRecord& r : records) EXPECT_TRUE(VisaTrace_IsError(r)) << r.function;
    auto args = VisaTrace_ArgumentList(records[0]);
    ASSERT_EQ(args.size(), 5u);
    EXPECT_EQ(args[1].second, "\"GPIB0::29::INSTR\"");
    EXPECT_EQ(args[4].second, "-");  // the call left no session
    // A timed-out read still says how many bytes came: none.
    EXPECT_TRUE(records[1].hasData);
    EXPECT_EQ(records[1].dataLength, 0u);
    EXPECT_EQ(VisaTrace_StatusText(records[1]), "0xBFFF0015");
    EXPECT_EQ(VisaTrace_ArgumentList(records[2])[2].second, "-");
}

struct Seen {
    std::atomic<int> calls{0};
    std::atomic<int32_t> thread{0};
    ViStatus status = 0;
};

ViStatus _VI_FUNCH completionHandler(ViSession, ViEventType, ViEvent event, ViAddr user) {
    auto* seen = static_cast<Seen*>(user);
    ViStatus status = 0;
    viGetAttribute(event, VI_ATTR_STATUS, &status);  // recorded as made inside the handler
    seen->status = status;
    seen->thread = static_cast<int32_t>(syscall(SYS_gettid));
    ++seen->calls;
    return VI_SUCCESS;
}

bool waitFor(const std::atomic<int>& n, int count) {
    for (int i = 0; i < 400 && n.load() < count; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return n.load() >= count;
}

TEST_F(Trace, AsynchronousReadAndItsCompletionInAHandler) {
    Seen seen;
    ASSERT_EQ(viInstallHandler(vi, VI_EVENT_IO_COMPLETION, completionHandler, &seen), VI_SUCCESS);
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_IO_COMPLETION, VI_HNDLR, VI_NULL), VI_SUCCESS);
    ASSERT_EQ(write("*IDN?\n"), VI_SUCCESS);
    uint64_t from = nextSequence();
    unsigned char buf[64];
    ViJobId job = 0;
    ASSERT_GE(viReadAsync(vi, buf, sizeof buf, &job), VI_SUCCESS);
    ASSERT_TRUE(waitFor(seen.calls, 1));
    // The handler's record is completed once the handler has returned.
    std::vector<VisaTraceRecord> records;
    for (int i = 0; i < 200; ++i) {
        records = recordsFrom(from);
        const VisaTraceRecord* h = find(records, VisaTrace_handler);
        if (h && !(h->flags & kVisaTraceRunning)) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const VisaTraceRecord* start = find(records, VisaTrace_viReadAsync);
    const VisaTraceRecord* handler = find(records, VisaTrace_handler);
    const VisaTraceRecord* inside = find(records, VisaTrace_viGetAttribute);
    ASSERT_TRUE(start && handler && inside);
    EXPECT_EQ(start->args[3], job);
    EXPECT_FALSE(start->hasData);  // nothing is read yet when the call returns

    EXPECT_EQ(handler->session, vi);
    EXPECT_EQ(handler->args[1], VI_EVENT_IO_COMPLETION);
    EXPECT_EQ(handler->args[3], reinterpret_cast<uintptr_t>(&seen));  // the program's own handle
    ASSERT_TRUE(handler->flags & kVisaTraceCompletion);
    EXPECT_EQ(handler->jobId, job);
    EXPECT_EQ(handler->completionStatus, seen.status);
    EXPECT_EQ(dataOf(*handler), "ZU,METER,1,1.0\n");
    EXPECT_EQ(handler->thread, seen.thread.load());
    EXPECT_NE(handler->thread, static_cast<int32_t>(syscall(SYS_gettid)));
    EXPECT_FALSE(handler->flags & kVisaTraceRunning);
    EXPECT_EQ(handler->status, VI_SUCCESS);

    // The call made inside the handler comes after it and points back to it.
    EXPECT_GT(inside->sequence, handler->sequence);
    EXPECT_TRUE(inside->flags & kVisaTraceInHandler);
    EXPECT_EQ(inside->handlerSequence, handler->sequence);
    EXPECT_EQ(inside->thread, handler->thread);
    EXPECT_EQ(VisaTrace_HandleOwner(inside->session, inside->sequence), vi);

    // Uninstalling with the program's own handler and handle finds the stand-in.
    EXPECT_EQ(viDisableEvent(vi, VI_EVENT_IO_COMPLETION, VI_HNDLR), VI_SUCCESS);
    EXPECT_EQ(viUninstallHandler(vi, VI_EVENT_IO_COMPLETION, completionHandler, &seen), VI_SUCCESS);
    // Once it is gone the library answers as it does for a handler it never had.
    int other = 0;
    ViStatus never = viUninstallHandler(vi, VI_EVENT_IO_COMPLETION, completionHandler, &other);
    EXPECT_LT(never, VI_SUCCESS);
    EXPECT_EQ(viUninstallHandler(vi, VI_EVENT_IO_COMPLETION, completionHandler, &seen), never);
}

TEST_F(Trace, AsynchronousCompletionThroughTheQueue) {
    ASSERT_EQ(viEnableEvent(vi, VI_EVENT_IO_COMPLETION, VI_QUEUE, VI_NULL), VI_SUCCESS);
    ASSERT_EQ(write("LONG?\n"), VI_SUCCESS);
    unsigned char buf[64];
    ViJobId job = 0;
    ASSERT_GE(viReadAsync(vi, buf, sizeof buf, &job), VI_SUCCESS);
    uint64_t from = nextSequence();
    ViEventType type = 0;
    ViEvent event = 0;
    ASSERT_EQ(viWaitOnEvent(vi, VI_EVENT_IO_COMPLETION, 2000, &type, &event), VI_SUCCESS);
    viClose(event);
    auto records = recordsFrom(from);
    const VisaTraceRecord* wait = find(records, VisaTrace_viWaitOnEvent);
    ASSERT_TRUE(wait);
    ASSERT_TRUE(wait->flags & kVisaTraceCompletion);
    EXPECT_EQ(wait->jobId, job);
    EXPECT_EQ(dataOf(*wait), "0123456789ABCDEFGHIJ\n");
    EXPECT_EQ(VisaTrace_HandleName(event, wait->sequence), "event");
}

TEST_F(Trace, PeeksAndPokesHaveNoStatus) {
    // Without a library behind it the peek does nothing, but it is still a call of the program.
    VisaLib_Unload();
    setenv("TALMIK_VISA_LIBRARY", "/nonexistent/libvisa.so", 1);
    uint64_t from = nextSequence();
    ViUInt8 value = 0x5A;
    viPeek8(vi, nullptr, &value);
    auto records = recordsFrom(from);
    const VisaTraceRecord* peek = find(records, VisaTrace_viPeek8);
    ASSERT_TRUE(peek);
    EXPECT_FALSE(peek->flags & kVisaTraceHasStatus);
    EXPECT_EQ(VisaTrace_StatusText(*peek), "");
    EXPECT_FALSE(VisaTrace_IsError(*peek));
    EXPECT_EQ(VisaTrace_ArgumentList(*peek)[2].second, "0x5A");  // what the variable holds after the call
    rm = 0;  // it stays with the library
}

TEST_F(Trace, BuffersAreKeptUpToTheLimitWithTheirFullLength) {
    std::string big(10000, 'x');
    uint64_t from = nextSequence();
    ViUInt32 n = 0;
    viWrite(vi, reinterpret_cast<ViConstBuf>(big.data()), static_cast<ViUInt32>(big.size()), &n);
    auto records = recordsFrom(from);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].dataLength, 10000u);
    EXPECT_EQ(records[0].data.size(), kVisaTraceDataLimit);
}

TEST_F(Trace, TheRingKeepsTheNewestWithinItsBound) {
    ASSERT_EQ(VisaTrace_SetCapacity(100), 0);
    EXPECT_EQ(VisaTrace_SetCapacity(99), -1);
    EXPECT_EQ(VisaTrace_SetCapacity(kVisaTraceMaxCapacity + 1), -1);
    EXPECT_EQ(VisaTrace_Capacity(), 100u);
    uint64_t from = nextSequence();
    ViUInt32 timeout = 0;
    for (int i = 0; i < 250; ++i) viGetAttribute(vi, VI_ATTR_TMO_VALUE, &timeout);
    uint64_t first = 0, next = 0;
    VisaTrace_Range(&first, &next);
    EXPECT_EQ(next, from + 250);
    EXPECT_EQ(next - first, 100u);
    VisaTraceRecord r;
    EXPECT_FALSE(VisaTrace_Get(first - 1, &r));  // fell off
    EXPECT_TRUE(VisaTrace_Get(first, &r));
    EXPECT_EQ(r.sequence, first);

    // Shrinking keeps the newest; growing keeps them all.
    ASSERT_EQ(VisaTrace_SetCapacity(150), 0);
    ASSERT_EQ(VisaTrace_SetCapacity(120), 0);
    VisaTrace_Range(&first, &next);
    EXPECT_EQ(next - first, 100u);
    for (uint64_t s = first; s < next; ++s) {
        ASSERT_TRUE(VisaTrace_Get(s, &r));
        EXPECT_EQ(r.sequence, s);
        EXPECT_EQ(r.function, VisaTrace_viGetAttribute);
    }
    ASSERT_EQ(VisaTrace_SetCapacity(100), 0);
    VisaTrace_Range(&first, &next);
    EXPECT_EQ(next - first, 100u);
    VisaTrace_Clear();
    VisaTrace_Range(&first, &next);
    EXPECT_EQ(first, next);
}

// Threads record while a reader scans and the bound changes (for the thread sanitizer).
TEST_F(Trace, RecordingFromManyThreadsStaysConsistent) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&] {
            ViUInt32 timeout = 0;
            while (!stop) viGetAttribute(vi, VI_ATTR_TMO_VALUE, &timeout);
        });
    uint64_t seen = 0;
    for (int i = 0; i < 200; ++i) {
        uint64_t first = 0, next = 0;
        VisaTrace_Range(&first, &next);
        VisaTrace_Scan(first, 1000, [](const VisaTraceRecord& r, void* n) { *static_cast<uint64_t*>(n) += r.sequence > 0; }, &seen);
        if (i % 50 == 0) VisaTrace_SetCapacity(i % 100 ? 200 : 300);
    }
    stop = true;
    for (std::thread& t : threads) t.join();
    EXPECT_GT(seen, 0u);
    uint64_t first = 0, next = 0;
    VisaTrace_Range(&first, &next);
    VisaTraceRecord r;
    for (uint64_t s = first; s < next; ++s) {
        ASSERT_TRUE(VisaTrace_Get(s, &r));
        EXPECT_EQ(r.sequence, s);
    }
}

TEST_F(Trace, TheTraceFileHoldsTheSameRecordsAsJsonLines) {
    std::string path = dir.file("trace.jsonl");
    ASSERT_EQ(VisaTrace_StartFile(path.c_str()), 0);
    uint64_t from = nextSequence();
    ASSERT_EQ(write("*IDN?\n"), VI_SUCCESS);
    unsigned char buf[64];
    ViUInt32 got = 0;
    viRead(vi, buf, sizeof buf, &got);
    viGetAttribute(vi, 0x3FFF7777, buf);
    VisaTrace_StopFile();
    auto records = recordsFrom(from);
    std::string text = readFile(path);
    std::vector<QJsonObject> lines;
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find('\n', at);
        ASSERT_NE(end, std::string::npos) << "every line ends";
        QJsonParseError error{};
        QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(text.substr(at, end - at)), &error);
        ASSERT_EQ(error.error, QJsonParseError::NoError) << text.substr(at, end - at);
        lines.push_back(doc.object());
        at = end + 1;
    }
    ASSERT_EQ(lines.size(), records.size());
    for (size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(lines[i]["sequence"].toInteger(), static_cast<qint64>(records[i].sequence));
        EXPECT_EQ(lines[i]["function"].toString().toStdString(), VisaTrace_FunctionName(records[i].function));
        EXPECT_EQ(lines[i]["status"].toString().toStdString(), VisaTrace_StatusText(records[i]));
    }
    EXPECT_EQ(lines[0]["dataHex"].toString().toStdString(), "2a 49 44 4e 3f 0a");
    EXPECT_EQ(lines[0]["session"].toString().toStdString(), VisaTrace_HandleText(vi));
    EXPECT_EQ(lines[1]["dataLength"].toInteger(), 15);
    EXPECT_EQ(lines[2]["status"].toString().toStdString(), "0xBFFF001D");
    // Nothing more is written once the file is closed.
    viGetAttribute(vi, VI_ATTR_TMO_VALUE, buf);
    EXPECT_EQ(readFile(path), text);
}

// A program run with $TALMIK_TRACE leaves every call it made in the file when it exits.
TEST_F(Trace, TheEnvironmentNamesTheFileOfARun) {
    std::string path = dir.file("run.jsonl");
    std::string command = "TALMIK_TRACE='" + path + "' '" + std::getenv("TRACE_FROM_ENV") + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::vector<std::string> functions;
    std::string text = readFile(path);
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find('\n', at);
        ASSERT_NE(end, std::string::npos);
        QJsonObject o = QJsonDocument::fromJson(QByteArray::fromStdString(text.substr(at, end - at))).object();
        functions.push_back(o["function"].toString().toStdString());
        at = end + 1;
    }
    EXPECT_EQ(functions, (std::vector<std::string>{"viOpenDefaultRM", "viOpen", "viWrite", "viRead", "viClose"}));
    // A file that cannot be made costs the program nothing but the file.
    command = "TALMIK_TRACE=/nonexistent/run.jsonl '" + std::string(std::getenv("TRACE_FROM_ENV")) + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
}

}  // namespace

#include "session/msgio.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "session/sessionrecord.h"
#include "tests/support/sessionbench.h"
#include "zuvisa/visa.h"

namespace {

class MessageIo : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        start(preferences());
    }
    virtual std::string preferences() { return ""; }

    // Opens a window and remembers its panels.
    void openWindow(const char* rsrcName) {
        window = open(rsrcName);
        ASSERT_GT(window, 0) << rsrcName;
        write = childPanel(window, "viWrite");
        read = childPanel(window, "viRead");
        GetPanelAttribute(window, ATTR_CALLBACK_DATA, reinterpret_cast<void**>(&record));
        ASSERT_NE(record, nullptr);
    }
    void setTimeout(ViUInt32 ms) { viSetAttribute(record->session, VI_ATTR_TMO_VALUE, ms); }

    void writeText(const std::string& text, int panel = 0) {
        panel = panel ? panel : write;
        ASSERT_EQ(UiTest_SetValue(panel, WRITE_TEXT, text.c_str()), 0);
        ASSERT_EQ(UiTest_Commit(panel, WRITE_EXECUTE), 0);
    }
    void readCount(ViUInt32 count) {
        ASSERT_EQ(UiTest_SetValue(read, READ_COUNT, count), 0);
        ASSERT_EQ(UiTest_Commit(read, READ_EXECUTE), 0);
    }
    int window = 0, write = 0, read = 0;
    SessionRecord* record = nullptr;
};

// A query and its answer through every kind of message-based link of the bench.
TEST_F(MessageIo, WriteAndReadOnEveryMessageInterface) {
    const struct {
        const char* resource;
        const char* answer;
        const char* readStatus;
    } cases[] = {
        {"GPIB0::5::INSTR", "ZU,TALKER,1,1.0\\n\n", "VI_SUCCESS"},
        {"ASRL1::INSTR", "ZU,TALKER,1,1.0\\n\n", "VI_SUCCESS_TERM_CHAR"},
        {"TCPIP0::10.0.0.5::5025::SOCKET", "ZU,TALKER,1,1.0\\n\n", "VI_SUCCESS"},
        {"TCPIP0::10.0.0.5::inst0::INSTR", "ZU,TALKER,1,1.0\\n\n", "VI_SUCCESS"},
        {"VXI0::8::INSTR", "ZU,VXI MESSAGE MODULE,1,1.0\\n\n", "VI_SUCCESS"},
        {"GPIB-VXI0::24::INSTR", "ZU,VXI MESSAGE MODULE,1,1.0\\n\n", "VI_SUCCESS"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.resource);
        openWindow(c.resource);
        writeText("*IDN?\\n");
        EXPECT_EQ(number(write, WRITE_RETCOUNT), 6u);
        Shown w = shown(write, WRITE_STATUS, WRITE_STATUSNAME);
        EXPECT_EQ(w.status, 0u);
        EXPECT_EQ(w.name, "VI_SUCCESS");
        EXPECT_FALSE(w.red);
        readCount(1024);
        EXPECT_EQ(UiTest_DisplayedText(read, READ_DATA), c.answer);
        Shown r = shown(read, READ_STATUS, READ_STATUSNAME);
        EXPECT_EQ(r.name, c.readStatus);
        EXPECT_FALSE(r.red);
        EXPECT_EQ(number(read, READ_RETCOUNT), std::string(c.answer).size() - 2);
        DiscardPanel(window);
    }
}

TEST_F(MessageIo, ReadShowsBytesAsEscapesAndStopsAtTheCount) {
    openWindow("GPIB0::5::INSTR");
    writeText("BYTES?\\n");
    readCount(1024);
    EXPECT_EQ(UiTest_DisplayedText(read, READ_DATA), "A\\x00\\\\\\r\\n\n\\xff\\t\\n\n");
    EXPECT_EQ(number(read, READ_RETCOUNT), 8u);

    writeText("LONG?\\n");
    readCount(5);
    EXPECT_EQ(UiTest_DisplayedText(read, READ_DATA), "01234");
    Shown r = shown(read, READ_STATUS, READ_STATUSNAME);
    EXPECT_EQ(r.status, static_cast<ViUInt32>(VI_SUCCESS_MAX_CNT));
    EXPECT_EQ(r.name, "VI_SUCCESS_MAX_CNT");
    EXPECT_FALSE(r.red);  // a warning is not an error

    // Nothing more to read: a timeout, in red, and the old data gone.
    setTimeout(100);
    viClear(record->session);
    readCount(1024);
    r = shown(read, READ_STATUS, READ_STATUSNAME);
    EXPECT_EQ(r.status, static_cast<ViUInt32>(VI_ERROR_TMO));
    EXPECT_EQ(r.name, "VI_ERROR_TMO");
    EXPECT_TRUE(r.red);
    EXPECT_EQ(UiTest_DisplayedText(read, READ_DATA), "");
    EXPECT_EQ(number(read, READ_RETCOUNT), 0u);
}

// The buffers grow only, to the sizes the two operations define.
TEST_F(MessageIo, BuffersGrowOnlyWhenNeeded) {
    openWindow("GPIB0::5::INSTR");
    const struct {
        size_t textLength;
        ViUInt32 writeSize;  // what fits, one less than allocated
    } writes[] = {{0, 1023}, {1023, 1023}, {1024, 1024}, {10, 1024}, {5000, 5000}};
    for (const auto& w : writes) {
        writeText(std::string(w.textLength, 'x'));
        EXPECT_EQ(record->writeSize, w.writeSize) << w.textLength;
        EXPECT_EQ(number(write, WRITE_RETCOUNT), w.textLength);
    }
    setTimeout(50);
    const struct {
        ViUInt32 count;
        ViUInt32 readSize;
    } reads[] = {{0, 1024}, {1024, 1024}, {1025, 1025}, {7, 1025}, {70000, 70000}};
    for (const auto& r : reads) {
        viClear(record->session);
        readCount(r.count);
        EXPECT_EQ(record->readSize, r.readSize) << r.count;
    }
}

TEST_F(MessageIo, AnyInputGivesAStatus) {
    openWindow("GPIB0::5::INSTR");
    setTimeout(50);
    // Text of any kind and length, within what the field takes.
    for (const std::string& text :
         {std::string("\\"), std::string("\\x"), std::string("\\o7777777\\999999"),
          std::string(32767, '\\'), std::string("\xC3\xA9\xE2\x82\xAC"), std::string(32767, 'a')}) {
        writeText(text);
        EXPECT_LE(number(write, WRITE_RETCOUNT), text.size());
        EXPECT_NE(UiTest_DisplayedText(write, WRITE_STATUSNAME), "");
    }
    // Any count, the largest included.
    for (ViUInt32 count : {0u, 1u, 0xFFFFFFFFu}) {
        viClear(record->session);
        writeText("*IDN?\\n");
        readCount(count);
        EXPECT_NE(UiTest_DisplayedText(read, READ_STATUSNAME), "") << count;
        EXPECT_LE(number(read, READ_RETCOUNT), count);
    }
    // A session the library no longer knows: every operation answers with a status.
    viClose(record->session);
    int stb = childPanel(window, "viReadSTB");
    SetCtrlVal(stb, READSTB_STB, static_cast<ViUInt16>(0x55));
    UiTest_Commit(stb, READSTB_EXECUTE);
    EXPECT_EQ(number(stb, READSTB_STB), 0u);  // the failed call's byte, not the old one
    EXPECT_TRUE(shown(stb, READSTB_STATUS, READSTB_STATUSNAME).red);
    writeText("*IDN?\\n");
    EXPECT_EQ(shown(write, WRITE_STATUS, WRITE_STATUSNAME).name, "VI_ERROR_INV_SESSION");
    record->session = VI_NULL;  // closed already
}

TEST_F(MessageIo, TriggerStatusByteAndClear) {
    openWindow("GPIB0::5::INSTR");
    setTimeout(100);
    int trigger = childPanel(window, "viAssertTrigger");
    int stb = childPanel(window, "viReadSTB");
    int clear = childPanel(window, "viClear");
    UiTest_Commit(trigger, ASSERTTRIGGER_EXECUTE);
    EXPECT_EQ(shown(trigger, ASSERTTRIGGER_STATUS, ASSERTTRIGGER_STATUSNAME).name, "VI_SUCCESS");
    // The device queued its answer to the trigger: message available in the status byte.
    UiTest_Commit(stb, READSTB_EXECUTE);
    EXPECT_EQ(number(stb, READSTB_STB) & 0x10, 0x10u);
    EXPECT_EQ(shown(stb, READSTB_STATUS, READSTB_STATUSNAME).name, "VI_SUCCESS");
    UiTest_Commit(clear, CLEAR_EXECUTE);
    EXPECT_EQ(shown(clear, CLEAR_STATUS, CLEAR_STATUSNAME).name, "VI_SUCCESS");
    readCount(100);
    EXPECT_EQ(shown(read, READ_STATUS, READ_STATUSNAME).name, "VI_ERROR_TMO");  // cleared away
    UiTest_Commit(trigger, ASSERTTRIGGER_EXECUTE);
    readCount(100);
    EXPECT_EQ(UiTest_DisplayedText(read, READ_DATA), "TRIGGERED\\n\n");
}

TEST_F(MessageIo, SetBufferAndFlushOnSerialAndSocket) {
    for (const char* resource : {"ASRL1::INSTR", "TCPIP0::10.0.0.5::5025::SOCKET"}) {
        SCOPED_TRACE(resource);
        openWindow(resource);
        int setBuf = childPanel(window, "viSetBuf");
        int flush = childPanel(window, "viFlush");
        ASSERT_GT(setBuf, 0);
        UiTest_SetValue(setBuf, SETBUF_MASK, static_cast<ViUInt16>(VI_WRITE_BUF));
        UiTest_SetValue(setBuf, SETBUF_SIZE, 64u);
        UiTest_Commit(setBuf, SETBUF_EXECUTE);
        EXPECT_EQ(shown(setBuf, SETBUF_STATUS, SETBUF_STATUSNAME).name, "VI_SUCCESS");
        ViUInt32 size = 0;
        viGetAttribute(record->session, VI_ATTR_WR_BUF_SIZE, &size);
        EXPECT_EQ(size, 64u);
        // Formatted output waits in the write buffer until flushed.
        ViUInt32 sent = 0;
        viBufWrite(record->session, reinterpret_cast<ViConstBuf>("*IDN?\n"), 6, &sent);
        UiTest_SetValue(flush, FLUSH_MASK, static_cast<ViUInt16>(VI_WRITE_BUF));
        UiTest_Commit(flush, FLUSH_EXECUTE);
        EXPECT_EQ(shown(flush, FLUSH_STATUS, FLUSH_STATUSNAME).name, "VI_SUCCESS");
        viSetAttribute(record->session, VI_ATTR_TERMCHAR_EN, VI_TRUE);
        readCount(100);
        EXPECT_EQ(UiTest_DisplayedText(read, READ_DATA), "ZU,TALKER,1,1.0\\n\n");
        DiscardPanel(window);
    }
}

TEST_F(MessageIo, FilesToAndFromTheDevice) {
    openWindow("GPIB0::5::INSTR");
    setTimeout(100);
    int toDevice = childPanel(window, "viWriteFromFile");
    int fromDevice = childPanel(window, "viReadToFile");
    writeFile(dir.file("query.txt"), "*IDN?\n");
    UiTest_SetValue(toDevice, WRITEFILE_FILENAME, dir.file("query.txt").c_str());
    UiTest_SetValue(toDevice, WRITEFILE_COUNT, 6u);
    UiTest_Commit(toDevice, WRITEFILE_EXECUTE);
    EXPECT_EQ(number(toDevice, WRITEFILE_RETCOUNT), 6u);
    EXPECT_EQ(shown(toDevice, WRITEFILE_STATUS, WRITEFILE_STATUSNAME).name, "VI_SUCCESS");
    EXPECT_EQ(intAttribute(toDevice, WRITEFILE_EXECUTE, ATTR_DIMMED), 0);

    UiTest_SetValue(fromDevice, READFILE_FILENAME, dir.file("answer.txt").c_str());
    UiTest_Commit(fromDevice, READFILE_EXECUTE);
    EXPECT_EQ(readFile(dir.file("answer.txt")), "ZU,TALKER,1,1.0\n");
    EXPECT_EQ(number(fromDevice, READFILE_RETCOUNT), 16u);

    // Names that cannot be opened: a status in red, nothing sent.
    for (const std::string& name :
         {std::string(""), dir.file("missing/x.txt"), std::string(3000, 'n'), dir.path()}) {
        UiTest_SetValue(toDevice, WRITEFILE_FILENAME, name.c_str());
        UiTest_Commit(toDevice, WRITEFILE_EXECUTE);
        EXPECT_TRUE(shown(toDevice, WRITEFILE_STATUS, WRITEFILE_STATUSNAME).red) << name;
        EXPECT_EQ(number(toDevice, WRITEFILE_RETCOUNT), 0u) << name;
        UiTest_SetValue(fromDevice, READFILE_FILENAME, name.c_str());
        UiTest_Commit(fromDevice, READFILE_EXECUTE);
        EXPECT_TRUE(shown(fromDevice, READFILE_STATUS, READFILE_STATUSNAME).red) << name;
    }
}

TEST_F(MessageIo, BrowseStartsInTheDirectoryOfTheFileName) {
    openWindow("GPIB0::5::INSTR");
    int toDevice = childPanel(window, "viWriteFromFile");
    int fromDevice = childPanel(window, "viReadToFile");
    UiTest_SetValue(toDevice, WRITEFILE_FILENAME, dir.file("old.txt").c_str());
    UiTest_AnswerFileSelect(VAL_EXISTING_FILE_SELECTED, dir.file("chosen.txt").c_str());
    UiTest_Commit(toDevice, WRITEFILE_BROWSE);
    EXPECT_EQ(UiTest_DisplayedText(toDevice, WRITEFILE_FILENAME), dir.file("chosen.txt"));
    ASSERT_EQ(UiTest_Popups().size(), 1u);
    EXPECT_EQ(UiTest_Popups()[0].title, "TALMIK File Browse");
    EXPECT_NE(UiTest_Popups()[0].text.find(dir.path() + "/"), std::string::npos)
        << UiTest_Popups()[0].text;
    EXPECT_NE(UiTest_Popups()[0].text.find("*.*"), std::string::npos);

    // Cancelled: the name stays.
    UiTest_SetValue(fromDevice, READFILE_FILENAME, "keep.txt");
    UiTest_AnswerFileSelect(VAL_NO_FILE_SELECTED, "");
    UiTest_Commit(fromDevice, READFILE_BROWSE);
    EXPECT_EQ(UiTest_DisplayedText(fromDevice, READFILE_FILENAME), "keep.txt");
}

// In the descriptive name style Read and Write start asynchronous and complete through the
// program's own handler.
class AsyncMessageIo : public MessageIo {
  protected:
    std::string preferences() override { return "useVisaId = 0\n"; }
};

TEST_F(AsyncMessageIo, ReadAndWriteCompleteIntoTheirPanels) {
    openWindow("GPIB0::5::INSTR");
    EXPECT_EQ(number(write, WRITE_ASYNC), 1u);
    EXPECT_EQ(number(read, READ_ASYNC), 1u);
    writeText("*IDN?\\n");
    EXPECT_TRUE(busy(write, WRITE_EXECUTE, WRITE_ABORT));
    EXPECT_EQ(intAttribute(write, WRITE_TEXT, ATTR_DIMMED), 1);
    EXPECT_EQ(record->asyncKind, ASYNC_WRITE);
    char progress[64];
    std::snprintf(progress, sizeof progress, "Asynchronous job 0x%08lX in progress...",
                  static_cast<unsigned long>(record->jobId));
    EXPECT_EQ(UiTest_DisplayedText(write, WRITE_MESSAGE), progress);
    ASSERT_TRUE(awaitCompletion());
    EXPECT_FALSE(busy(write, WRITE_EXECUTE, WRITE_ABORT));
    EXPECT_EQ(intAttribute(write, WRITE_MESSAGE, ATTR_VISIBLE), 0);
    EXPECT_EQ(intAttribute(write, WRITE_TEXT, ATTR_DIMMED), 0);
    EXPECT_EQ(number(write, WRITE_RETCOUNT), 6u);
    EXPECT_EQ(shown(write, WRITE_STATUS, WRITE_STATUSNAME).name, "VI_SUCCESS");
    EXPECT_EQ(record->jobId, 0u);

    readCount(1024);
    EXPECT_TRUE(busy(read, READ_EXECUTE, READ_ABORT));
    EXPECT_EQ(intAttribute(read, READ_COUNT, ATTR_DIMMED), 1);
    ASSERT_TRUE(awaitCompletion());
    EXPECT_FALSE(busy(read, READ_EXECUTE, READ_ABORT));
    EXPECT_EQ(intAttribute(read, READ_DATA, ATTR_DIMMED), 0);
    EXPECT_EQ(UiTest_DisplayedText(read, READ_DATA), "ZU,TALKER,1,1.0\\n\n");
    EXPECT_EQ(number(read, READ_RETCOUNT), 16u);
    EXPECT_EQ(record->asyncKind, ASYNC_NONE);
}

TEST_F(AsyncMessageIo, ASecondJobIsRefusedAndTheFirstGoesOn) {
    openWindow("GPIB0::5::INSTR");
    writeText("*IDN?\\n");  // completes only when its deferred call runs
    ViJobId first = record->jobId;
    ASSERT_NE(first, 0u);
    readCount(1024);
    Shown refused = shown(read, READ_STATUS, READ_STATUSNAME);
    EXPECT_EQ(refused.status, static_cast<ViUInt32>(VI_ERROR_QUEUE_ERROR));
    EXPECT_EQ(refused.name, "VI_ERROR_QUEUE_ERROR");
    EXPECT_TRUE(refused.red);
    EXPECT_FALSE(busy(read, READ_EXECUTE, READ_ABORT));
    EXPECT_EQ(record->jobId, first);
    EXPECT_EQ(record->asyncKind, ASYNC_WRITE);
    EXPECT_TRUE(busy(write, WRITE_EXECUTE, WRITE_ABORT));
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(number(write, WRITE_RETCOUNT), 6u);
    EXPECT_EQ(shown(read, READ_STATUS, READ_STATUSNAME).name, "VI_ERROR_QUEUE_ERROR");  // untouched
}

TEST_F(AsyncMessageIo, AbortEndsAReadThatWaits) {
    openWindow("GPIB0::5::INSTR");
    setTimeout(20000);
    readCount(10);  // nothing to read: it waits
    ASSERT_TRUE(busy(read, READ_EXECUTE, READ_ABORT));
    ASSERT_EQ(UiTest_Commit(read, READ_ABORT), 0);
    ASSERT_TRUE(awaitCompletion());
    Shown r = shown(read, READ_STATUS, READ_STATUSNAME);
    EXPECT_EQ(r.name, "VI_ERROR_ABORT");
    EXPECT_TRUE(r.red);
    EXPECT_FALSE(busy(read, READ_EXECUTE, READ_ABORT));
    EXPECT_EQ(UiTest_DisplayedText(read, READ_DATA), "");
}

}  // namespace

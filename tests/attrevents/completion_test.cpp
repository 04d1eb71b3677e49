#include "attrevents/completion.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "session/sessionrecord.h"
#include "tests/support/sessionbench.h"
#include "zuvisa/visa.h"

namespace {

// Descriptive names: Read and Write start asynchronous and complete through the handler.
class Completion : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        start("useVisaId = 0\n");
        window = open("GPIB0::5::INSTR");
        ASSERT_GT(window, 0);
        GetPanelAttribute(window, ATTR_CALLBACK_DATA, reinterpret_cast<void**>(&record));
        read = record->readPanel;
        write = record->writePanel;
    }
    bool awaitCompletion() {
        for (int k = 0; k < 500; ++k) {
            if (UiTest_RunDeferredCalls() > 0) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
    std::string text(int panel, int control) { return UiTest_DisplayedText(panel, control); }

    int window = 0, read = 0, write = 0;
    SessionRecord* record = nullptr;
};

TEST_F(Completion, AReadOfNothingShowsAnEmptyBoxAndFreesThePanel) {
    UiTest_SetValue(read, READ_COUNT, 0u);
    UiTest_Commit(read, READ_EXECUTE);
    EXPECT_EQ(intAttribute(read, READ_DATA, ATTR_DIMMED), 1);
    ASSERT_TRUE(awaitCompletion());
    EXPECT_EQ(text(read, READ_DATA), "");
    EXPECT_EQ(text(read, READ_RETCOUNT), "0");
    EXPECT_EQ(text(read, READ_STATUSNAME), "VI_SUCCESS_MAX_CNT");
    for (int control : {READ_COUNT, READ_ASYNC, READ_DATA, READ_RETCOUNT, READ_STATUS})
        EXPECT_EQ(intAttribute(read, control, ATTR_DIMMED), 0) << control;
    EXPECT_EQ(intAttribute(read, READ_EXECUTE, ATTR_VISIBLE), 1);
    EXPECT_EQ(intAttribute(read, READ_ABORT, ATTR_VISIBLE), 0);
    EXPECT_EQ(intAttribute(read, READ_MESSAGE, ATTR_VISIBLE), 0);
    EXPECT_EQ(record->jobId, 0u);
}

TEST_F(Completion, ACompletionWithNoJobPendingChangesNothing) {
    UiTest_SetValue(write, WRITE_TEXT, "*IDN?\\n");
    UiTest_Commit(write, WRITE_EXECUTE);
    ASSERT_TRUE(awaitCompletion());
    const std::string before = text(write, WRITE_STATUSNAME) + text(write, WRITE_RETCOUNT);
    record->completionStatus = VI_ERROR_IO;
    record->completionCount = 99;
    postCompletion(record);
    EXPECT_EQ(UiTest_RunDeferredCalls(), 1);
    EXPECT_EQ(text(write, WRITE_STATUSNAME) + text(write, WRITE_RETCOUNT), before);
    EXPECT_EQ(text(read, READ_STATUSNAME), "");
    EXPECT_EQ(record->asyncKind, ASYNC_NONE);
    EXPECT_EQ(record->completionsPosted.load(), 0);
}

// The window may close while its completion is on the way to the GUI thread: the record stays
// until that completion has run, and nothing is shown in the panels that are gone.
TEST_F(Completion, AWindowClosedWhileItsCompletionIsOnTheWay) {
    for (int round = 0; round < 20; ++round) {
        if (round) {
            window = open("GPIB0::5::INSTR");
            ASSERT_GT(window, 0);
            GetPanelAttribute(window, ATTR_CALLBACK_DATA, reinterpret_cast<void**>(&record));
            write = record->writePanel;
        }
        UiTest_SetValue(write, WRITE_TEXT, "*IDN?\\n");
        UiTest_Commit(write, WRITE_EXECUTE);
        if (round % 2)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));  // completed by now
        DiscardPanel(window);
        UiTest_RunDeferredCalls();
        EXPECT_EQ(numWindows, 0);
    }
}

}  // namespace

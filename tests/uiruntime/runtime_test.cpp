// Threads and deferred calls, the callback registry, error texts and break-on-library-errors.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <set>
#include <thread>

#include "support.h"
#include "toolslib/toolbox/diagnostics.h"
#include "uiruntime/reporting.h"

namespace {

class Runtime : public RuntimeTest {};

struct Call {
    int thread;  // the thread that posted
    int seq;
};
std::mutex g_mutex;
std::vector<Call> g_calls;
std::vector<int> g_ranOn;

void Record(void* data) {
    Call* c = static_cast<Call*>(data);
    g_calls.push_back(*c);
    g_ranOn.push_back(CurrThreadId());
    delete c;
}

// Deferred calls posted by several threads run on the runtime's thread, each thread's in order.
TEST_F(Runtime, DeferredCallsFromOtherThreadsRunOnTheRuntimesThread) {
    g_calls.clear();
    g_ranOn.clear();
    const int gui = CurrThreadId();
    std::vector<std::thread> threads;
    std::set<int> ids;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t, gui, &ids] {
            int me = CurrThreadId();
            {
                std::lock_guard<std::mutex> lock(g_mutex);
                ids.insert(me);
            }
            for (int k = 0; k < 100; ++k) EXPECT_EQ(PostDeferredCallToThread(Record, new Call{t, k}, gui), 0);
            EXPECT_EQ(PostDeferredCallToThread(Record, nullptr, me), UIEInvalidThread);
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(ids.size(), 4u);
    EXPECT_EQ(ids.count(gui), 0u);
    EXPECT_TRUE(g_calls.empty());  // nothing ran before the runtime's thread looked
    EXPECT_EQ(UiTest_RunDeferredCalls(), 400);
    ASSERT_EQ(g_calls.size(), 400u);
    int next[4] = {0, 0, 0, 0};
    for (const Call& c : g_calls) EXPECT_EQ(c.seq, next[c.thread]++);
    for (int on : g_ranOn) EXPECT_EQ(on, gui);
    EXPECT_EQ(UiTest_RunDeferredCalls(), 0);
}

int g_depth = 0;
void Repost(void*) {
    if (++g_depth < 3) PostDeferredCall(Repost, nullptr);
}

TEST_F(Runtime, ACallPostedByADeferredCallWaitsForTheNextPass) {
    g_depth = 0;
    PostDeferredCall(Repost, nullptr);
    EXPECT_EQ(UiTest_RunDeferredCalls(), 1);
    EXPECT_EQ(UiTest_RunDeferredCalls(), 1);
    EXPECT_EQ(UiTest_RunDeferredCalls(), 1);
    EXPECT_EQ(UiTest_RunDeferredCalls(), 0);
    EXPECT_EQ(g_depth, 3);
    EXPECT_EQ(PostDeferredCall(nullptr, nullptr), UIENullPointer);
}

TEST_F(Runtime, OnlyTheRuntimesThreadMayTouchPanels) {
    int p = load(EXAMPLE);
    std::thread([p] {
        EXPECT_EQ(SetCtrlVal(p, EXAMPLE_NAME, "x"), UIENotOnGuiThread);
        EXPECT_EQ(NewPanel(0, "x", 0, 0, 10, 10), UIENotOnGuiThread);
        int v = 0;
        EXPECT_EQ(GetCtrlVal(p, EXAMPLE_COUNT, &v), UIENotOnGuiThread);
    }).join();
}

int OtherControl(int, int, int, void*, int, int) { return 0; }

TEST_F(Runtime, TheRegistryRefusesANameForTwoCallbacks) {
    EXPECT_EQ(RegisterCallback({"ExampleControl", ExampleControl}), 0);
    EXPECT_EQ(RegisterCallback({"ExampleControl", OtherControl}), UIEDuplicateCallbackName);
    EXPECT_EQ(RegisterCallback({"ExampleControl", ExamplePanel}), UIEDuplicateCallbackName);
    EXPECT_EQ(RegisterCallback({"not an identifier", OtherControl}), UIEUnknownCallback);
    EXPECT_EQ(RegisterCallback({nullptr, OtherControl}), UIENullPointer);
    EXPECT_EQ(RegisterCallback({"Nothing", static_cast<CtrlCallbackPtr>(nullptr)}), UIENullPointer);
}

TEST_F(Runtime, ErrorTextsReachTheToolbox) {
    EXPECT_STREQ(GetUILErrorString(UIEInvalidControl), "The control is not on the panel.");
    EXPECT_STREQ(GetUILErrorString(-777), "No description available. ");
    // The toolbox asks the runtime for the texts of its codes.
    EXPECT_STREQ(GetGeneralErrorString(UIEInvalidControlType), GetUILErrorString(UIEInvalidControlType));
    EXPECT_STREQ(GetGeneralErrorString(-5023), "Invalid Floating Point Number");
}

TEST_F(Runtime, BreakOnLibraryErrorsNamesTheFailingCall) {
    EnableBreakOnLibraryErrors();
    EXPECT_EQ(ToolboxGetBreakOnLibraryErrors(), 1);
    ::testing::internal::CaptureStderr();
    SetCtrlVal(999, 2, 1);
    std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("SetCtrlVal"), std::string::npos) << err;
    EXPECT_NE(err.find("panel handle is not valid"), std::string::npos) << err;
    {
        BreakOnLibraryErrorsOff off;  // the toolbox's own bracket switches the runtime's setting
        EXPECT_EQ(GetBreakOnLibraryErrors(), 0);
        ::testing::internal::CaptureStderr();
        SetCtrlVal(999, 2, 1);
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    }
    EXPECT_EQ(GetBreakOnLibraryErrors(), 1);
    DisableBreakOnLibraryErrors();
}

TEST_F(Runtime, ThreadIdsDifferAndStay) {
    int here = CurrThreadId();
    EXPECT_GT(here, 0);
    EXPECT_EQ(CurrThreadId(), here);
    int there = 0;
    std::thread([&there] { there = CurrThreadId(); }).join();
    EXPECT_GT(there, 0);
    EXPECT_NE(there, here);
}

}  // namespace

namespace {

// The toolbox's assertions are reported in a popup titled "Assert" while the runtime runs.
TEST_F(Runtime, AssertionsAreShownInAPopup) {
    ::testing::internal::CaptureStderr();
    uir::reportAssert("Assert!\n\nParameter 1 to SetHandleSize was NULL.\n\nProgram aborting.");
    std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("SetHandleSize"), std::string::npos);
    ASSERT_EQ(UiTest_Popups().size(), 1u);
    EXPECT_EQ(UiTest_Popups()[0].title, "Assert");
    EXPECT_NE(UiTest_Popups()[0].text.find("Parameter 1 to SetHandleSize was NULL."), std::string::npos);
}

TEST(RuntimeDeath, DoAssertReportsThenAborts) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            UiTest_Start();
            DoAssert(0, "toolslib/toolbox/toolbox", 42, "Null string passed to first parameter of StringCopyMax");
        },
        "Null string passed.*line 42 of file 'toolslib/toolbox/toolbox'");
}

}  // namespace

namespace {

// Without a display the runtime says so instead of letting the toolkit abort the program.
TEST(RuntimeStart, WithoutADisplayInitialisationFails) {
    char dir[1024];
    ASSERT_EQ(GetProjectDir(dir), 0);
    std::string cmd = "env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM " + std::string(dir) +
                      "/uidemo > /dev/null 2>&1";
    int status = std::system(cmd.c_str());
    ASSERT_TRUE(WIFEXITED(status)) << "the program was killed by a signal";
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

}  // namespace

// Linked into the test programs that drive the GUI runtime: ends the runtime when the program
// ends, so that leak checks see only what is ours.
#include <gtest/gtest.h>

#include "uiruntime/testing/uitest.h"
#include "uiruntime/uiruntime.h"

namespace {

class RuntimeEnvironment : public ::testing::Environment {
public:
    void TearDown() override {
        UiTest_Reset();
        CloseKestrelRTE();
    }
};

[[maybe_unused]] ::testing::Environment* const g_environment =
    ::testing::AddGlobalTestEnvironment(new RuntimeEnvironment);

}  // namespace

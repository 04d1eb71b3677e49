#include "session/opstatus.h"

#include <gtest/gtest.h>

#include <string>

#include "app/contexthelp.h"
#include "app/talmik.h"
#include "controls/help.h"
#include "session/sessionrecord.h"
#include "tests/support/sessionbench.h"
#include "zuvisa/visa.h"

namespace {

std::string tooltip;
int tooltipParent = 0;

// Reads the open help tooltip, then ends it with a click.
void readTooltipThenClick(void*) {
    int tip = 0, message = 0;
    GetPanelAttribute(tooltipParent, ATTR_PANEL_FIRST_CHILD, &tip);
    GetPanelAttribute(tip, ATTR_PANEL_FIRST_CTRL, &message);
    char text[1024] = "";
    GetCtrlVal(tip, message, text, sizeof text);
    tooltip = text;
    Help_GotClick();
}

class StatusDisplay : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        GetTalmikPathNames(&pszAppName, &pszHelpName);
        installHelpHost();
        start();
    }
    void TearDown() override {
        Help_SetHost(nullptr);
        setHelpSessionLookup(nullptr);
        SessionBench::TearDown();
    }
};

// A right click on the return value of an operation spells it out with the description of the
// window's own library session.
TEST_F(StatusDisplay, RightClickInterpretsTheReturnValue) {
    int window = open("GPIB0::5::INSTR");
    ASSERT_GT(window, 0);
    int write = childPanel(window, "viWrite");
    void* data = nullptr;
    GetPanelAttribute(window, ATTR_CALLBACK_DATA, &data);
    ViSession vi = static_cast<SessionRecord*>(data)->session;
    showStatus(write, WRITE_STATUS, WRITE_STATUSNAME, VI_ERROR_TMO);

    tooltipParent = write;
    UiTest_AnswerPopupMenu("__Interpret Code");
    PostDeferredCall(readTooltipThenClick, nullptr);
    ASSERT_EQ(UiTest_RightClick(write, WRITE_STATUS, 5, 5), 0);
    ASSERT_FALSE(UiTest_Popups().empty());
    EXPECT_EQ(UiTest_Popups().back().items,
              (std::vector<std::string>{"__Interpret Code", "__Operation Help"}));
    char text[1024];
    interpretCodeText(vi, VI_ERROR_TMO, text, sizeof text);
    EXPECT_EQ(tooltip, text);
    EXPECT_EQ(tooltip.rfind("Return value: 0xBFFF0015\nStatus name: VI_ERROR_TMO\n\n", 0), 0u)
        << tooltip;
}

}  // namespace

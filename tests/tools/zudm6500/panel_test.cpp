#include "tools/zudm6500/panel.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/demobench.h"
#include "uiruntime/testing/uitest.h"
#include "zudm6500_uir.h"

namespace {

// The panel on the demo bench, driven as a user would.
class Panel : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        RegisterUirCallbacks_zudm6500();
    }
    void TearDown() override {
        DmmPanel_Discard();
        EXPECT_TRUE(UiTest_Failures().empty());
        UiTest_Reset();
    }
    std::string text(int control) { return UiTest_DisplayedText(panel, control); }
    // The number at the start of the reading, which must be all there is besides the unit.
    double reading(const std::string& unit) {
        std::string shown = text(DMM_READING);
        size_t blank = shown.find(' ');
        EXPECT_EQ(shown.substr(blank + 1), unit) << shown;
        return std::atof(shown.substr(0, blank).c_str());
    }
    int dimmed(int control) {
        int d = -1;
        GetCtrlAttribute(panel, control, ATTR_DIMMED, &d);
        return d;
    }

    DemoBenchVisa visa;
    int panel = 0;
};

TEST_F(Panel, MeasuresOnTheDemoBench) {
    panel = DmmPanel_Show("GPIB0::22::INSTR");
    ASSERT_GT(panel, 0);
    EXPECT_EQ(text(DMM_IDENTITY), "ZU Instruments,DM-6500 (simulated),SIM0022,1.0");
    char title[128] = "";
    GetPanelAttribute(panel, ATTR_TITLE, title);
    EXPECT_STREQ(title, "DM-6500 Digital Multimeter on GPIB0::22::INSTR");
    double first = reading("V DC");  // a reading is taken on connecting
    EXPECT_NEAR(first, 10.0, 0.005);

    ASSERT_EQ(UiTest_SetValue(panel, DMM_FUNCTION, UiValue("VOLT:AC")), 0);
    EXPECT_EQ(text(DMM_STATUS), "Function set.");
    ASSERT_EQ(UiTest_Commit(panel, DMM_MEASURE), 0);
    EXPECT_NEAR(reading("V AC"), 10.0, 0.005);
    EXPECT_EQ(text(DMM_STATUS).rfind("Measured at ", 0), 0u);

    ASSERT_EQ(UiTest_SetValue(panel, DMM_RANGE, UiValue(100.0)), 0);
    EXPECT_EQ(text(DMM_STATUS), "Range set.");
    double range = 0;
    GetCtrlVal(panel, DMM_RANGE, &range);
    EXPECT_DOUBLE_EQ(range, 100.0);

    // Continuous: each tick of the timer measures, until the button is released.
    SetCtrlVal(panel, DMM_READING, "");
    ASSERT_EQ(UiTest_SetValue(panel, DMM_CONTINUOUS, UiValue(1)), 0);
    SetCtrlVal(panel, DMM_READING, "");
    ASSERT_EQ(UiTest_FireTimer(panel, DMM_TIMER), 0);
    EXPECT_NEAR(reading("V AC"), 10.0, 0.005);
    ASSERT_EQ(UiTest_SetValue(panel, DMM_CONTINUOUS, UiValue(0)), 0);
    int enabled = -1;
    GetCtrlAttribute(panel, DMM_TIMER, ATTR_ENABLED, &enabled);
    EXPECT_EQ(enabled, 0);
}

TEST_F(Panel, AConnectionThatFailsDimsTheMeasuringControls) {
    panel = DmmPanel_Show("GPIB0::30::INSTR");
    ASSERT_GT(panel, 0);
    EXPECT_EQ(text(DMM_IDENTITY), "Not connected");
    EXPECT_EQ(text(DMM_STATUS).rfind("Cannot connect to GPIB0::30::INSTR: 0xBFFF0011", 0), 0u)
        << text(DMM_STATUS);
    for (int control : {DMM_MEASURE, DMM_CONTINUOUS, DMM_FUNCTION, DMM_RANGE})
        EXPECT_EQ(dimmed(control), 1);
    // The user types the right name and connects.
    ASSERT_EQ(UiTest_SetValue(panel, DMM_RESOURCE, UiValue("GPIB0::22::INSTR")), 0);
    EXPECT_EQ(text(DMM_IDENTITY), "ZU Instruments,DM-6500 (simulated),SIM0022,1.0");
    for (int control : {DMM_MEASURE, DMM_CONTINUOUS, DMM_FUNCTION, DMM_RANGE})
        EXPECT_EQ(dimmed(control), 0);
}

TEST_F(Panel, RefusedSettingsAreShown) {
    panel = DmmPanel_Show("GPIB0::22::INSTR");
    ASSERT_GT(panel, 0);
    SetCtrlAttribute(panel, DMM_RANGE, ATTR_MAX_VALUE, 5000.0);  // past what the meter takes
    ASSERT_EQ(UiTest_SetValue(panel, DMM_RANGE, UiValue(2000.0)), 0);
    EXPECT_EQ(text(DMM_STATUS).rfind("The multimeter refused the range: ", 0), 0u)
        << text(DMM_STATUS);
    double range = 0;
    GetCtrlVal(panel, DMM_RANGE, &range);
    EXPECT_DOUBLE_EQ(range, 10.0);  // back to what the meter has
}

}  // namespace

// Numeric controls: every data type, ranges, formats and what the user can type.
#include <gtest/gtest.h>

#include <climits>

#include "support.h"

namespace {

class Numeric : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        p = NewPanel(0, "N", 0, 0, 200, 300);
        n = NewCtrl(p, CTRL_NUMERIC, "Value", 30, 10);
        InstallCtrlCallback(p, n, ExampleControl, nullptr);
        DisplayPanel(p);
    }
    int p = 0, n = 0;
};

struct Limits {
    int type;
    long long min, max;
    const char* maxHex;
};

void PrintTo(const Limits& l, std::ostream* os) { *os << "type " << l.type; }

class NumericTypes : public Numeric, public ::testing::WithParamInterface<Limits> {};

// Each integer type reaches both ends of its range, and no further.
TEST_P(NumericTypes, HoldTheirWholeRangeAndClampBeyondIt) {
    const Limits& l = GetParam();
    ASSERT_EQ(SetCtrlAttribute(p, n, ATTR_DATA_TYPE, l.type), 0);
    long long v = 0;
    ASSERT_EQ(SetCtrlVal(p, n, l.max), 0);
    GetCtrlVal(p, n, &v);
    EXPECT_EQ(v, l.max);
    SetCtrlVal(p, n, l.max + 1);
    GetCtrlVal(p, n, &v);
    EXPECT_EQ(v, l.max);
    SetCtrlVal(p, n, l.min - 1);
    GetCtrlVal(p, n, &v);
    EXPECT_EQ(v, l.min);
    long long lo = 0, hi = 0;
    GetCtrlAttribute(p, n, ATTR_MIN_VALUE, &lo);
    GetCtrlAttribute(p, n, ATTR_MAX_VALUE, &hi);
    EXPECT_EQ(lo, l.min);
    EXPECT_EQ(hi, l.max);
    SetCtrlAttribute(p, n, ATTR_FORMAT, VAL_HEX_FORMAT);
    SetCtrlVal(p, n, l.max);
    EXPECT_EQ(UiTest_DisplayedText(p, n), l.maxHex);
}

INSTANTIATE_TEST_SUITE_P(
    Table, NumericTypes,
    ::testing::Values(Limits{VAL_CHAR, -128, 127, "0x7F"}, Limits{VAL_UNSIGNED_CHAR, 0, 255, "0xFF"},
                      Limits{VAL_SHORT_INTEGER, -32768, 32767, "0x7FFF"},
                      Limits{VAL_UNSIGNED_SHORT_INTEGER, 0, 65535, "0xFFFF"},
                      Limits{VAL_INTEGER, INT_MIN, INT_MAX, "0x7FFFFFFF"},
                      Limits{VAL_UNSIGNED_INTEGER, 0, 0xFFFFFFFFLL, "0xFFFFFFFF"}),
    [](const auto& info) { return "case" + std::to_string(info.index); });

TEST_F(Numeric, UnsignedThirtyTwoBitsReachesItsTopThroughEveryCarrier) {
    SetCtrlAttribute(p, n, ATTR_DATA_TYPE, VAL_UNSIGNED_INTEGER);
    ASSERT_EQ(SetCtrlVal(p, n, 0xFFFFFFFFu), 0);
    unsigned u = 0;
    double d = 0;
    int i = 0;
    GetCtrlVal(p, n, &u);
    GetCtrlVal(p, n, &d);
    GetCtrlVal(p, n, &i);
    EXPECT_EQ(u, 0xFFFFFFFFu);
    EXPECT_DOUBLE_EQ(d, 4294967295.0);
    EXPECT_EQ(i, -1);
    EXPECT_EQ(UiTest_DisplayedText(p, n), "4294967295");
}

TEST_F(Numeric, NegativeValuesShowTheirBitsInHexadecimal) {
    SetCtrlAttribute(p, n, ATTR_DATA_TYPE, VAL_SHORT_INTEGER);
    SetCtrlAttribute(p, n, ATTR_FORMAT, VAL_HEX_FORMAT);
    SetCtrlVal(p, n, -1);
    EXPECT_EQ(UiTest_DisplayedText(p, n), "0xFFFF");
    SetCtrlAttribute(p, n, ATTR_SHOW_RADIX, 0);
    EXPECT_EQ(UiTest_DisplayedText(p, n), "FFFF");
    // Typing the bits back gives the negative value.
    ASSERT_EQ(UiTest_SetValue(p, n, -2), 0);
    short s = 0;
    GetCtrlVal(p, n, &s);
    EXPECT_EQ(s, -2);
}

TEST_F(Numeric, ChangingTheDataTypeClampsLimitsAndValue) {
    SetCtrlVal(p, n, 100000);
    SetCtrlAttribute(p, n, ATTR_DATA_TYPE, VAL_UNSIGNED_CHAR);
    int v = 0, max = 0;
    GetCtrlVal(p, n, &v);
    GetCtrlAttribute(p, n, ATTR_MAX_VALUE, &max);
    EXPECT_EQ(v, 255);
    EXPECT_EQ(max, 255);
    SetCtrlAttribute(p, n, ATTR_DATA_TYPE, VAL_DOUBLE);
    SetCtrlAttribute(p, n, ATTR_PRECISION, 3);
    SetCtrlVal(p, n, 1.23456);
    EXPECT_EQ(UiTest_DisplayedText(p, n), "1.235");
    EXPECT_EQ(SetCtrlAttribute(p, n, ATTR_FORMAT, VAL_HEX_FORMAT), UIEInvalidAttributeValue);
    EXPECT_EQ(SetCtrlAttribute(p, n, ATTR_DATA_TYPE, VAL_STRING), UIEInvalidAttributeValue);
}

TEST_F(Numeric, RangeLimitsApplyToTheProgramAndTheUser) {
    SetCtrlAttribute(p, n, ATTR_MIN_VALUE, -5);
    SetCtrlAttribute(p, n, ATTR_MAX_VALUE, 5);
    int v = 0;
    SetCtrlVal(p, n, 50);
    GetCtrlVal(p, n, &v);
    EXPECT_EQ(v, 5);
    UiTest_SetValue(p, n, -50);
    GetCtrlVal(p, n, &v);
    EXPECT_EQ(v, -5);
    EXPECT_EQ(SetCtrlAttribute(p, n, ATTR_MIN_VALUE, 10), UIEInvalidAttributeValue);
}

TEST_F(Numeric, TypingAndEnterReportAChangeThenACommit) {
    // The value is typed, then Enter is pressed.
    ASSERT_EQ(UiTest_SetValue(p, n, 42), 0);
    EXPECT_EQ(eventsOf(p, n), (std::vector<int>{EVENT_KEYPRESS, EVENT_VAL_CHANGED, EVENT_COMMIT}));
    g_seen.clear();
    // Enter on an unchanged value commits only.
    UiTest_Commit(p, n);
    EXPECT_EQ(eventsOf(p, n), (std::vector<int>{EVENT_KEYPRESS, EVENT_COMMIT}));
    g_seen.clear();
    UiTest_KeyPress(p, n, VAL_UP_ARROW_VKEY);
    int v = 0;
    GetCtrlVal(p, n, &v);
    EXPECT_EQ(v, 43);
    EXPECT_EQ(eventsOf(p, n), (std::vector<int>{EVENT_KEYPRESS, EVENT_VAL_CHANGED, EVENT_COMMIT}));
}

TEST_F(Numeric, TheProgramsChangesGiveNoEvents) {
    SetCtrlVal(p, n, 9);
    SetCtrlAttribute(p, n, ATTR_DATA_TYPE, VAL_DOUBLE);
    DefaultCtrl(p, n);
    EXPECT_TRUE(eventsOf(p, n).empty());
}

TEST_F(Numeric, AnIndicatorTakesNoInput) {
    SetCtrlVal(p, n, 3);
    SetCtrlAttribute(p, n, ATTR_CTRL_MODE, VAL_INDICATOR);
    UiTest_KeyPress(p, n, VAL_UP_ARROW_VKEY);
    EXPECT_EQ(UiTest_SetValue(p, n, 8), UIEControlDimmed);
    int v = 0;
    GetCtrlVal(p, n, &v);
    EXPECT_EQ(v, 3);
}

TEST_F(Numeric, DefaultCtrlRestoresTheFormsValue) {
    int e = load(EXAMPLE);
    SetCtrlVal(e, EXAMPLE_VOLTAGE, 9.0);
    DefaultCtrl(e, EXAMPLE_VOLTAGE);
    double v = 0;
    GetCtrlVal(e, EXAMPLE_VOLTAGE, &v);
    EXPECT_DOUBLE_EQ(v, 1.5);
}

}  // namespace

#include "uiruntime/values.h"

#include <gtest/gtest.h>

#include <climits>

using uir::Value;

namespace {

struct ToType {
    const char* what;
    UiValue in;
    int type;
    int rc;
    Value expected;
};

void PrintTo(const ToType& c, std::ostream* os) { *os << c.what; }

class ValueConversion : public ::testing::TestWithParam<ToType> {};

TEST_P(ValueConversion, ConvertsToTheDataTypeOrRefuses) {
    const ToType& c = GetParam();
    Value out;
    EXPECT_EQ(uir::toValueOfType(c.in, c.type, &out), c.rc) << c.what;
    if (c.rc == 0) {
        EXPECT_TRUE(out == c.expected) << c.what;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, ValueConversion,
    ::testing::Values(
        ToType{"unsigned 32-bit top", 0xFFFFFFFFu, VAL_UNSIGNED_INTEGER, 0, Value::integer(4294967295LL)},
        ToType{"negative into unsigned", -1, VAL_UNSIGNED_INTEGER, 0, Value::integer(0)},
        ToType{"too large for a byte", 300, VAL_UNSIGNED_CHAR, 0, Value::integer(255)},
        ToType{"too small for a char", -300, VAL_CHAR, 0, Value::integer(-128)},
        ToType{"beyond int", 5000000000LL, VAL_INTEGER, 0, Value::integer(INT_MAX)},
        ToType{"real rounds", 2.5, VAL_SHORT_INTEGER, 0, Value::integer(3)},
        ToType{"negative real rounds away", -2.5, VAL_INTEGER, 0, Value::integer(-3)},
        ToType{"integer into double", 7, VAL_DOUBLE, 0, Value::real(7.0)},
        ToType{"text into text", "abc", VAL_STRING, 0, Value::text("abc")},
        ToType{"text into a number", "12", VAL_INTEGER, UIEInvalidDataType, Value()},
        ToType{"number into text", 12, VAL_STRING, UIEInvalidDataType, Value()},
        ToType{"null text", static_cast<const char*>(nullptr), VAL_STRING, UIENullPointer, Value()},
        ToType{"unknown type", 1, 42, UIEInvalidDataType, Value()}),
    [](const auto& info) { return "case" + std::to_string(info.index); });

TEST(StoreValue, WritesThroughEveryCarrierWithCConversions) {
    Value top = Value::integer(4294967295LL);
    int i = 0;
    unsigned u = 0;
    unsigned short us = 0;
    double d = 0;
    EXPECT_EQ(uir::storeValue(top, &i), 0);
    EXPECT_EQ(i, -1);  // the bit pattern, as a C conversion gives it
    EXPECT_EQ(uir::storeValue(top, &u), 0);
    EXPECT_EQ(u, 0xFFFFFFFFu);
    EXPECT_EQ(uir::storeValue(Value::integer(70000), &us), 0);
    EXPECT_EQ(us, 70000 % 65536);
    EXPECT_EQ(uir::storeValue(Value::real(2.4), &i), 0);
    EXPECT_EQ(i, 2);
    EXPECT_EQ(uir::storeValue(Value::integer(3), &d), 0);
    EXPECT_DOUBLE_EQ(d, 3.0);
    EXPECT_EQ(uir::storeValue(Value::text("x"), &i), UIEInvalidDataType);
    char small[4];
    EXPECT_EQ(uir::storeValue(Value::integer(1), small), UIEInvalidDataType);
}

TEST(StoreValue, CutsTextToItsBufferAndSaysSo) {
    char buf[4] = "zzz";
    EXPECT_EQ(uir::storeValue(Value::text("abcdef"), buf), UIEBufferTooSmall);
    EXPECT_STREQ(buf, "abc");
    char fits[7];
    EXPECT_EQ(uir::storeValue(Value::text("abcdef"), fits), 0);
    EXPECT_STREQ(fits, "abcdef");
    EXPECT_EQ(uir::storeText("a", nullptr, 4), UIENullPointer);
    EXPECT_EQ(uir::storeText("a", buf, 0), UIEBufferTooSmall);
}

TEST(ConvertValue, ClampsIntoTheNewTypesRange) {
    EXPECT_TRUE(uir::convertValue(Value::integer(-5), VAL_UNSIGNED_SHORT_INTEGER) == Value::integer(0));
    EXPECT_TRUE(uir::convertValue(Value::real(1e12), VAL_INTEGER) == Value::integer(INT_MAX));
    EXPECT_TRUE(uir::convertValue(Value::integer(4294967295LL), VAL_DOUBLE) == Value::real(4294967295.0));
    EXPECT_TRUE(uir::clampValue(Value::integer(9), Value::integer(0), Value::integer(5)) == Value::integer(5));
}

}  // namespace

namespace {

TEST(DataTypeNames, FormsNameTheirDataType) {
    const struct {
        const char* name;
        int type;
    } cases[] = {
        {"string", VAL_STRING},
        {" Unsigned   Int ", VAL_UNSIGNED_INTEGER},
        {"unsigned short", VAL_UNSIGNED_SHORT_INTEGER},
        {"double", VAL_DOUBLE},
        {"4", VAL_DOUBLE},
        {"9", -1},
        {"long", -1},
        {"", -1},
    };
    for (const auto& c : cases) EXPECT_EQ(uir::dataTypeFromName(c.name, -1), c.type) << c.name;
}

}  // namespace

#include "session/statusnames.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "zuvisa/visa.h"

namespace {

TEST(StatusNames, TableShape) {
    int rows = 0;
    std::set<ViUInt32> codes;
    for (const ErrorListEntry* row = errorList; row->name; ++row, ++rows) {
        EXPECT_TRUE(codes.insert(row->status).second) << "duplicate code of " << row->name;
        std::string name = row->name;
        bool isError = static_cast<ViStatus>(row->status) < 0;
        // The prefix tells the class: errors are negative, warnings and completions are not.
        EXPECT_EQ(name.rfind("VI_ERROR_", 0) == 0, isError) << name;
    }
    EXPECT_EQ(rows, 96);
    EXPECT_EQ(errorList[rows].status, 0u);
}

TEST(StatusNames, Lookup) {
    const struct {
        ViUInt32 status;
        const char* name;
    } cases[] = {
        {0x00000000, "VI_SUCCESS"},
        {0x3FFF0002, "VI_SUCCESS_EVENT_EN"},
        {0x3FFF0006, "VI_SUCCESS_MAX_CNT"},
        {0x3FFF007D, "VI_SUCCESS_DEV_NPRESENT"},
        {0x3FFF0077, "VI_WARN_CONFIG_NLOADED"},
        {0x3FFF0082, "VI_WARN_NULL_OBJECT"},
        {0xBFFF0000, "VI_ERROR_SYSTEM_ERROR"},
        {0xBFFF0015, "VI_ERROR_TMO"},
        {0xBFFF003B, "VI_ERROR_QUEUE_ERROR"},
        {0xBFFF003C, "VI_ERROR_ALLOC"},
        {0xBFFF00A8, "VI_ERROR_NPERMISSION"},
        {0xBFFF00A9, "<Unknown>"},
        {0x3FFF0001, "<Unknown>"},
        {0xFFFFFFFF, "<Unknown>"},
    };
    for (const auto& c : cases) EXPECT_STREQ(statusName(static_cast<ViStatus>(c.status)), c.name) << std::hex << c.status;
}

TEST(StatusNames, ReturnValueTextAndColour) {
    char text[536];
    formatReturnValue(text, sizeof text, VI_ERROR_TMO);
    EXPECT_STREQ(text, "Return value: 0xBFFF0015\nStatus name: VI_ERROR_TMO\n\n");
    formatReturnValue(text, sizeof text, 0x3FFF0006);
    EXPECT_STREQ(text, "Return value: 0x3FFF0006\nStatus name: VI_SUCCESS_MAX_CNT\n\n");
    EXPECT_EQ(statusTextColor(VI_ERROR_TMO), 0xFF0000);
    EXPECT_EQ(statusTextColor(VI_SUCCESS_MAX_CNT), 0);
    EXPECT_EQ(statusTextColor(VI_SUCCESS), 0);
}

std::string wrapped(std::string text) {
    wrapStatusDescription(text.data());
    return text;
}

TEST(StatusNames, WrappingDescriptions) {
    std::string word50(50, 'a');
    // 55 characters stay whole; 56 break at the first blank from the 51st character on.
    EXPECT_EQ(wrapped(word50 + " bcde"), word50 + " bcde");
    EXPECT_EQ(wrapped(word50 + " bcdef"), word50 + "\nbcdef");
    EXPECT_EQ(wrapped(word50 + "xx yyy"), word50 + "xx\nyyy");
    EXPECT_EQ(wrapped(std::string(60, 'z')), std::string(60, 'z'));  // no blank: unbroken
    // 120 characters: a break after the first blank at or after 50, then again 50 further on.
    std::string text = std::string(52, 'a') + " " + std::string(55, 'b') + " " + std::string(11, 'c');
    ASSERT_EQ(text.size(), 120u);
    EXPECT_EQ(wrapped(text), std::string(52, 'a') + "\n" + std::string(55, 'b') + "\n" + std::string(11, 'c'));
    EXPECT_EQ(wrapped(""), "");
}

}  // namespace

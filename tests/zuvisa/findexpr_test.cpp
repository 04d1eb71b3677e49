#include "zuvisa/findexpr.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <map>
#include <string>

namespace zuvisa {
namespace {

struct RegexCase {
    const char* pattern;
    const char* text;
    bool matches;
};

const RegexCase kRegex[] = {
    {"?*", "GPIB0::1::INSTR", true},
    {"?*::INSTR", "GPIB0::1::INSTR", true},
    {"?*::INSTR", "GPIB0::INTFC", false},
    {"GPIB?*INSTR", "gpib0::1::instr", true},  // case-insensitive
    {"GPIB[0-9]::?*", "GPIB7::2::INSTR", true},
    {"GPIB[0-9]::?*", "GPIBA::2::INSTR", false},
    {"GPIB[^0]::?*", "GPIB0::2::INSTR", false},
    {"GPIB[^0]::?*", "GPIB1::2::INSTR", true},
    {"VXI|GPIB", "GPIB", true},
    {"VXI|GPIB", "VXIB", false},
    {"(VXI|GPIB)0::?*", "VXI0::1::INSTR", true},
    {"A+B", "AAAB", true},
    {"A+B", "B", false},
    {"AB*", "A", true},
    {"\\?", "?", true},
    {"\\?", "X", false},
    {"[a\\]b]", "]", true},
    {"(AB)+", "ABABAB", true},
    {"(AB)+", "ABA", false},
    {"ASRL?::INSTR", "ASRL10::INSTR", false},
};

TEST(VisaRegex, MatchesTheWholeTextCaseInsensitively) {
    for (const RegexCase& c : kRegex) {
        VisaRegex r;
        ASSERT_EQ(VisaRegex::compile(c.pattern, &r), VI_SUCCESS) << c.pattern;
        EXPECT_EQ(r.matches(c.text), c.matches) << c.pattern << " on " << c.text;
    }
}

TEST(VisaRegex, RejectsInvalidPatterns) {
    const char* bad[] = {"", "*", "+A", "(A", "A)", "[A", "[]", "[z-a]", "A|", "|A", "\\", "()", "A{"};
    for (const char* b : bad) {
        VisaRegex r;
        EXPECT_EQ(VisaRegex::compile(b, &r), VI_ERROR_INV_EXPR) << b;
    }
    VisaRegex r;
    EXPECT_EQ(VisaRegex::compile(std::string(200, '('), &r), VI_ERROR_INV_EXPR);
}

TEST(VisaRegex, NestedRepetitionStaysFast) {
    VisaRegex r;
    ASSERT_EQ(VisaRegex::compile("(A*)*(A*)*(A*)*B", &r), VI_SUCCESS);
    EXPECT_FALSE(r.matches(std::string(5000, 'A')));  // would never finish by backtracking
}

// Attributes of one imaginary resource.
bool lookup(ViAttr a, ViInt64* n, std::string* t) {
    switch (a) {
    case VI_ATTR_GPIB_PRIMARY_ADDR: *n = 22; return true;
    case VI_ATTR_INTF_NUM: *n = 0; return true;
    case VI_ATTR_VXI_LA: *n = -1; return true;
    case VI_ATTR_MANF_NAME: *t = "Acme Instruments"; return true;
    default: return false;
    }
}

struct ClauseCase {
    const char* expr;
    bool matches;
};

const ClauseCase kClauses[] = {
    {"?*{VI_ATTR_GPIB_PRIMARY_ADDR == 22}", true},
    {"?*{VI_ATTR_GPIB_PRIMARY_ADDR != 22}", false},
    {"?*{VI_ATTR_GPIB_PRIMARY_ADDR > 21 && VI_ATTR_GPIB_PRIMARY_ADDR < 23}", true},
    {"?*{VI_ATTR_GPIB_PRIMARY_ADDR >= 23 || VI_ATTR_INTF_NUM <= 0}", true},
    {"?*{!(VI_ATTR_INTF_NUM == 0)}", false},
    {"?*{ ! VI_ATTR_INTF_NUM == 1 }", true},
    {"?*{VI_ATTR_GPIB_PRIMARY_ADDR == 0x16}", true},
    {"?*{VI_ATTR_VXI_LA == -1}", true},
    {"?*{VI_ATTR_MANF_NAME == \"acme?*\"}", true},
    {"?*{VI_ATTR_MANF_NAME != \"Acme Instruments\"}", false},
    {"?*{VI_ATTR_TMO_VALUE == 2000}", false},  // the resource has no such attribute
    {"?*{(VI_ATTR_INTF_NUM == 1 || VI_ATTR_INTF_NUM == 0) && VI_ATTR_GPIB_PRIMARY_ADDR == 22}", true},
    {"?*{0x3FFF0172 == 22}", true},
};

TEST(FindExpression, EvaluatesAttributeClauses) {
    for (const ClauseCase& c : kClauses) {
        FindExpression e;
        ASSERT_EQ(FindExpression::parse(c.expr, &e), VI_SUCCESS) << c.expr;
        EXPECT_TRUE(e.hasAttributeClause());
        EXPECT_EQ(e.matchesAttributes(lookup), c.matches) << c.expr;
    }
}

TEST(FindExpression, RejectsInvalidClauses) {
    const char* bad[] = {
        "?*{}", "?*{VI_ATTR_NO_SUCH == 1}", "?*{VI_ATTR_INTF_NUM = 1}", "?*{VI_ATTR_INTF_NUM == }",
        "?*{VI_ATTR_INTF_NUM == 1", "?*{VI_ATTR_INTF_NUM == 1} ", "?*{VI_ATTR_MANF_NAME < \"a\"}",
        "?*{VI_ATTR_MANF_NAME == 3}", "?*{VI_ATTR_INTF_NUM == \"3\"}", "?*{(VI_ATTR_INTF_NUM == 1}",
        "?*{VI_ATTR_INTF_NUM == 1 &&}", "{VI_ATTR_INTF_NUM == 1}", "?*{VI_ATTR_INTF_NUM == 1x}",
    };
    for (const char* b : bad) {
        FindExpression e;
        EXPECT_EQ(FindExpression::parse(b, &e), VI_ERROR_INV_EXPR) << b;
    }
}

TEST(FindExpression, BraceInsideSetOrEscapedBelongsToThePattern) {
    FindExpression e;
    ASSERT_EQ(FindExpression::parse("A\\{B", &e), VI_SUCCESS);
    EXPECT_FALSE(e.hasAttributeClause());
    EXPECT_TRUE(e.matchesName("A{B"));
    ASSERT_EQ(FindExpression::parse("A[{]B", &e), VI_SUCCESS);
    EXPECT_TRUE(e.matchesName("A{B"));
}


TEST(FindExpression, MachinePrefix) {
    const struct {
        const char* expr;
        ViStatus status;
        const char* machine;
    } cases[] = {
        {"?*", VI_SUCCESS, ""},
        {"visa://lab7/?*(GPIB|VXI)?*", VI_SUCCESS, "lab7"},
        {"VISA://Lab7.example.org:3537/?*INSTR", VI_SUCCESS, "Lab7.example.org:3537"},
        {"visa://[fe80::1%eth0]/?*", VI_SUCCESS, "[fe80::1%eth0]"},
        {"visa://[::1]:3537/?*{VI_ATTR_INTF_NUM == 0}", VI_SUCCESS, "[::1]:3537"},
        {"visa:/?*", VI_SUCCESS, ""},  // the prefix without a machine: this one
        {"visa:/?*(GPIB|VXI)?*{VI_ATTR_INTF_NUM >= 0}", VI_SUCCESS, ""},
        {"visa:/", VI_ERROR_INV_EXPR, ""},
        {"visa:///?*", VI_ERROR_INV_EXPR, ""},
        {"visa://lab7", VI_ERROR_INV_EXPR, ""},
        {"visa://lab7/", VI_ERROR_INV_EXPR, ""},
        {"visa://lab 7/?*", VI_ERROR_INV_EXPR, ""},
        {"visa://lab7:/?*", VI_ERROR_INV_EXPR, ""},
        {"visa://lab7:65536/?*", VI_ERROR_INV_EXPR, ""},
        {"visa://[12]/?*", VI_ERROR_INV_EXPR, ""},
        {"visa://[::1/?*", VI_ERROR_INV_EXPR, ""},
        {"visa://lab7/?*(", VI_ERROR_INV_EXPR, ""},
    };
    for (const auto& c : cases) {
        FindExpression e;
        EXPECT_EQ(FindExpression::parse(c.expr, &e), c.status) << c.expr;
        if (c.status == VI_SUCCESS) {
            EXPECT_EQ(e.machine(), c.machine) << c.expr;
        }
    }
    FindExpression e;
    std::string longHost = "visa://" + std::string(256, 'h') + "/?*";
    EXPECT_EQ(FindExpression::parse(longHost, &e), VI_ERROR_INV_EXPR);
}

TEST(FindExpression, ThisMachine) {
    char own[256] = "";
    ASSERT_EQ(gethostname(own, sizeof own - 1), 0);
    std::string self = own, shortSelf = self.substr(0, self.find('.'));
    const struct {
        std::string machine;
        bool local;
    } cases[] = {
        {"localhost", true},      {"LOCALHOST:3537", true}, {"127.0.0.1", true},
        {"127.1.2.3", true},      {"[::1]", true},          {"[::1%lo]:99", true},
        {self, true},             {shortSelf, true},        {"lab7.invalid", false},
        {"[fe80::1]", false},     {"10.0.0.1", false},      {shortSelf + ".elsewhere.invalid", false},
    };
    for (const auto& c : cases) EXPECT_EQ(isThisMachine(c.machine), c.local) << c.machine;
}

}  // namespace
}  // namespace zuvisa

#include "resources/findexpr.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "talmik_uir.h"
#include "tests/support/demobench.h"
#include "tests/support/talmikrun.h"
#include "zuvisa/visa.h"

namespace {

const int kRing = IOSHEET_FINDRING;

struct Condition {
    int item;
    const char* relation;
    int value;
};

// What a user does in the builder.
struct BuilderInput {
    bool remote;
    const char* machine;
    bool restrict;
    std::vector<int> interfaces;  // controls
    bool attributes;
    bool any;
    std::vector<Condition> conditions;
};

void fillBuilder(int panel, const BuilderInput& in) {
    if (in.remote) UiTest_SetValue(panel, FINDEXPRDLG_MACHINE_CHECK, 1);
    if (in.machine[0]) UiTest_SetValue(panel, FINDEXPRDLG_MACHINE, in.machine);
    if (in.restrict) UiTest_SetValue(panel, FINDEXPRDLG_INTF_CHECK, 1);
    for (int control : in.interfaces) UiTest_SetValue(panel, control, 1);
    if (in.attributes) UiTest_SetValue(panel, FINDEXPRDLG_ATTR_CHECK, 1);
    if (in.any) UiTest_Commit(panel, FINDEXPRDLG_ANY);
    for (const Condition& c : in.conditions) {
        UiTest_SelectIndex(panel, FINDEXPRDLG_ATTRLIST, c.item);
        UiTest_SetValue(panel, FINDEXPRDLG_RELATION, c.relation);
        UiTest_SetValue(panel, FINDEXPRDLG_VALUE, c.value);
        UiTest_ToggleCheck(panel, FINDEXPRDLG_ATTRLIST, c.item);
    }
}

class Builder : public TalmikRun {
  protected:
    void SetUp() override {
        TalmikRun::SetUp();
        GetTalmikPathNames(&pszAppName, &pszHelpName);
        RegisterUirCallbacks_talmik();
    }
    // Runs the dialog with a script; returns what DoCreateFindExpr returned and wrote.
    static std::pair<int, std::string> runBuilder(std::function<void(int)> script) {
        UiTest_OnPopupPanel(script);
        char out[256] = "unchanged";
        int ok = DoCreateFindExpr(0, out, sizeof out);
        return {ok, out};
    }
};

TEST_F(Builder, ExpressionsFromTheControls) {
    const int GPIB = FINDEXPRDLG_GPIB, GV = FINDEXPRDLG_GPIBVXI, VXI = FINDEXPRDLG_VXI, TCPIP = FINDEXPRDLG_TCPIP;
    const struct {
        BuilderInput in;
        const char* want;
    } cases[] = {
        {{false, "", false, {}, false, false, {}}, "?*"},
        {{false, "", true, {}, false, false, {}}, "?*"},
        {{false, "", false, {GPIB, VXI}, false, false, {}}, "?*"},  // interfaces without the restriction
        {{true, "", false, {}, false, false, {}}, "visa:/?*"},
        {{true, "lab7", true, {GPIB, VXI}, true, false, {{1, "==", 0}, {2, ">=", 5}}},
         "visa://lab7/?*(GPIB|VXI)?*{VI_ATTR_INTF_NUM == 0 && VI_ATTR_GPIB_PRIMARY_ADDR >= 5}"},
        {{false, "lab7", true, {TCPIP, GV}, true, true, {{0, "!=", 6}, {1, "<", -1}}},
         "?*(GPIB-VXI|TCPIP)?*{VI_ATTR_INTF_TYPE != 6 || VI_ATTR_INTF_NUM < -1}"},
        {{false, "", true,
          {FINDEXPRDLG_ASRL, FINDEXPRDLG_PXI, TCPIP, VXI, GV, GPIB}, false, false, {{1, "==", 0}}},
         "?*(GPIB|GPIB-VXI|VXI|PXI|ASRL|TCPIP)?*"},  // conditions without the attribute box
        {{false, "", false, {}, true, false, {}}, "?*"},  // the attribute box without conditions
    };
    for (const auto& c : cases) {
        auto [ok, expr] = runBuilder([&](int panel) {
            fillBuilder(panel, c.in);
            UiTest_Commit(panel, FINDEXPRDLG_OK);
        });
        EXPECT_EQ(ok, 1);
        EXPECT_EQ(expr, c.want);
    }
}

TEST_F(Builder, ConditionLabelsFollowTheRelationAndValue) {
    auto [ok, expr] = runBuilder([](int panel) {
        fillBuilder(panel, {false, "", false, {}, true, false, {{1, ">", 2}}});
        char label[256] = "", value[256] = "";
        GetLabelFromIndex(panel, FINDEXPRDLG_ATTRLIST, 1, label);
        GetValueFromIndex(panel, FINDEXPRDLG_ATTRLIST, 1, value, sizeof value);
        EXPECT_EQ(std::string(label), "VI_ATTR_INTF_NUM" UI_LABEL_ESCAPE "p200l> 2");
        EXPECT_EQ(std::string(value), "VI_ATTR_INTF_NUM > 2");
        // A new relation rewrites the checked item.
        UiTest_SetValue(panel, FINDEXPRDLG_RELATION, "<=");
        GetValueFromIndex(panel, FINDEXPRDLG_ATTRLIST, 1, value, sizeof value);
        EXPECT_EQ(std::string(value), "VI_ATTR_INTF_NUM <= 2");
        // Moving to another item and back brings its relation and value back.
        UiTest_SetValue(panel, FINDEXPRDLG_VALUE, 9);
        UiTest_SelectIndex(panel, FINDEXPRDLG_ATTRLIST, 4);
        UiTest_SetValue(panel, FINDEXPRDLG_RELATION, "==");
        UiTest_SetValue(panel, FINDEXPRDLG_VALUE, 0);
        UiTest_SelectIndex(panel, FINDEXPRDLG_ATTRLIST, 1);
        EXPECT_EQ(UiTest_DisplayedText(panel, FINDEXPRDLG_RELATION), "<=");
        EXPECT_EQ(UiTest_DisplayedText(panel, FINDEXPRDLG_VALUE), "9");
        // Unchecking leaves the bare name.
        UiTest_ToggleCheck(panel, FINDEXPRDLG_ATTRLIST, 1);
        GetLabelFromIndex(panel, FINDEXPRDLG_ATTRLIST, 1, label);
        EXPECT_EQ(std::string(label), "VI_ATTR_INTF_NUM");
        UiTest_ToggleCheck(panel, FINDEXPRDLG_ATTRLIST, 1);
        EXPECT_EQ(UiTest_DisplayedText(panel, FINDEXPRDLG_PREVIEW), "?*{VI_ATTR_INTF_NUM <= 9}");
        UiTest_Commit(panel, FINDEXPRDLG_OK);
    });
    EXPECT_EQ(ok, 1);
    EXPECT_EQ(expr, "?*{VI_ATTR_INTF_NUM <= 9}");
}

TEST_F(Builder, AnExpressionTooLongStaysInTheDialog) {
    std::string machine(200, 'm');
    int oks = 0;
    auto [ok, expr] = runBuilder([&](int panel) {
        fillBuilder(panel, {true, machine.c_str(), true, {FINDEXPRDLG_GPIB}, true, false, {{0, "==", 1}, {1, "==", 1}}});
        UiTest_Commit(panel, FINDEXPRDLG_OK);
        ++oks;
        // Still open: the user drops a condition and confirms again.
        UiTest_SelectIndex(panel, FINDEXPRDLG_ATTRLIST, 0);
        UiTest_ToggleCheck(panel, FINDEXPRDLG_ATTRLIST, 0);
        UiTest_SelectIndex(panel, FINDEXPRDLG_ATTRLIST, 1);
        UiTest_ToggleCheck(panel, FINDEXPRDLG_ATTRLIST, 1);
        UiTest_SetValue(panel, FINDEXPRDLG_MACHINE, "lab7");
        UiTest_Commit(panel, FINDEXPRDLG_OK);
    });
    EXPECT_EQ(oks, 1);
    EXPECT_EQ(ok, 1);
    EXPECT_EQ(expr, "visa://lab7/?*(GPIB)?*");
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_NE(messages()[0].find("longer than 255"), std::string::npos);
}

// Every attribute and relation the builder offers, alone and combined, is an expression ZU-VISA
// evaluates: a result or none, never an invalid expression; a machine it cannot reach answers
// at once that it is not available.
TEST_F(Builder, ZuVisaEvaluatesEveryExpressionTheBuilderMakes) {
    std::vector<std::string> attributes, relations;
    runBuilder([&](int panel) {
        int n = 0;
        GetNumListItems(panel, FINDEXPRDLG_ATTRLIST, &n);
        for (int i = 0; i < n; ++i) {
            char value[256] = "";
            GetValueFromIndex(panel, FINDEXPRDLG_ATTRLIST, i, value, sizeof value);
            attributes.push_back(value);
        }
        GetNumListItems(panel, FINDEXPRDLG_RELATION, &n);
        for (int i = 0; i < n; ++i) {
            char value[16] = "";
            GetValueFromIndex(panel, FINDEXPRDLG_RELATION, i, value, sizeof value);
            relations.push_back(value);
        }
        UiTest_Commit(panel, FINDEXPRDLG_CANCEL);
    });
    ASSERT_GE(attributes.size(), 20u);
    ASSERT_EQ(relations, (std::vector<std::string>{"==", "!=", "<", ">", "<=", ">="}));

    DemoBenchVisa visa;
    ViSession rm = VI_NULL;
    ASSERT_GE(viOpenDefaultRM(&rm), VI_SUCCESS);
    auto status = [rm](const std::string& expr) {
        ViFindList list = VI_NULL;
        ViUInt32 count = 0;
        char first[VI_FIND_BUFLEN] = "";
        ViStatus s = viFindRsrc(rm, expr.c_str(), &list, &count, first);
        if (list != VI_NULL) viClose(list);
        return s;
    };
    for (const std::string& a : attributes)
        for (const std::string& r : relations)
            for (int value : {0, 5, -1}) {
                FindExprChoices c;
                c.useAttributes = true;
                c.conditions = {a + " " + r + " " + std::to_string(value), "VI_ATTR_INTF_NUM >= 0"};
                for (bool all : {true, false}) {
                    c.all = all;
                    std::string expr = buildFindExpression(c);
                    ViStatus s = status(expr);
                    EXPECT_TRUE(s == VI_SUCCESS || s == VI_ERROR_RSRC_NFOUND) << expr << " " << std::hex << s;
                }
            }
    FindExprChoices c;
    c.remote = true;
    c.restrictInterfaces = c.gpib = c.gpibVxi = c.vxi = c.pxi = c.asrl = c.tcpip = true;
    EXPECT_EQ(status(buildFindExpression(c)), VI_SUCCESS) << "visa:/ names this machine";
    c.machine = "localhost";
    EXPECT_EQ(status(buildFindExpression(c)), VI_SUCCESS);
    c.machine = "lab7.invalid";
    EXPECT_EQ(status(buildFindExpression(c)), VI_ERROR_MACHINE_NAVAIL);
    viClose(rm);
}

// ---- The text box and the ring in the running program ----------------------------------------

std::string ringLabel(int index) {
    char label[256] = "";
    GetLabelFromIndex(rsrcio, kRing, index, label);
    return label;
}
int ringCount() {
    int n = 0;
    GetNumListItems(rsrcio, kRing, &n);
    return n;
}
int ringIndex() {
    int i = -1;
    GetCtrlIndex(rsrcio, kRing, &i);
    return i;
}
std::string box() { return UiTest_DisplayedText(rsrcio, IOSHEET_FINDEXPR); }

const char kSixRecent[] =
    "[RecentFindExpressions]\nnumExpressions = 6\nexpr0 = \"GPIB?*\"\nexpr1 = \"VXI?*\"\nexpr2 = \"ASRL?*\"\n"
    "expr3 = \"TCPIP?*\"\nexpr4 = \"PXI?*\"\nexpr5 = \"GPIB-VXI?*\"\n";

using FindRing = Builder;

TEST_F(FindRing, TheFirstExpressionBringsTheSeparator) {
    run([] {
        ASSERT_EQ(ringCount(), 3);
        UiTest_SetValue(rsrcio, IOSHEET_FINDEXPR, "GPIB?*INSTR");
        EXPECT_STREQ(appFindExpr, "GPIB?*INSTR");
        ASSERT_EQ(ringCount(), 5);
        EXPECT_EQ(ringLabel(3), UI_LABEL_SEPARATOR);
        EXPECT_EQ(ringLabel(4), "GPIB?*INSTR");
        EXPECT_EQ(ringIndex(), 4);
        // A fixed entry is selected, not added.
        UiTest_SetValue(rsrcio, IOSHEET_FINDEXPR, "?*INSTR");
        EXPECT_EQ(ringCount(), 5);
        EXPECT_EQ(ringIndex(), 1);
    });
}

TEST_F(FindRing, SixRecentAtMost) {
    run(
        [] {
            ASSERT_EQ(ringCount(), 10);
            UiTest_SetValue(rsrcio, IOSHEET_FINDEXPR, "?*SOCKET");
            EXPECT_EQ(ringCount(), 10);
            EXPECT_EQ(ringLabel(4), "?*SOCKET");
            EXPECT_EQ(ringLabel(9), "PXI?*") << "the oldest fell off";
            // Choosing one lower down moves it to the top without changing the count.
            UiTest_SelectIndex(rsrcio, kRing, 8);
            EXPECT_EQ(box(), "TCPIP?*");
            EXPECT_STREQ(appFindExpr, "TCPIP?*");
            EXPECT_EQ(ringCount(), 10);
            EXPECT_EQ(ringLabel(4), "TCPIP?*");
            EXPECT_EQ(ringLabel(5), "?*SOCKET");
            EXPECT_EQ(ringIndex(), 4);
        },
        kSixRecent);
    EXPECT_NE(settings().find("expr0 = \"TCPIP?*\""), std::string::npos) << settings();
    EXPECT_NE(settings().find("expr5 = \"PXI?*\""), std::string::npos) << settings();
}

TEST_F(FindRing, NoSearchForTheSameExpressionAndAnEmptyBoxComesBack) {
    run([] {
        // A search redraws the soft front panel list: a mark there shows whether one ran.
        InsertListItem(rsrcsfp, SFPSHEET_SFPLIST, 0, "mark", "");
        UiTest_SetValue(rsrcio, IOSHEET_FINDEXPR, "?*");
        int n = 0;
        GetNumListItems(rsrcsfp, SFPSHEET_SFPLIST, &n);
        EXPECT_EQ(n, 2) << "no search";
        EXPECT_EQ(ringCount(), 3);
        UiTest_SetValue(rsrcio, IOSHEET_FINDEXPR, "");
        EXPECT_EQ(box(), "?*");
        UiTest_Focus(rsrcio, IOSHEET_FINDEXPR);
        SetCtrlVal(rsrcio, IOSHEET_FINDEXPR, "");
        UiTest_Focus(rsrcio, IOSHEET_RSRCNAME);
        EXPECT_EQ(box(), "?*") << "leaving the empty box";
    });
}

TEST_F(FindRing, TheBuilderFromTheRing) {
    run([] {
        UiTest_SelectIndex(rsrcio, kRing, 1);
        EXPECT_STREQ(appFindExpr, "?*INSTR");
        // Cancel, and the close box that acts as Cancel: back to the entry chosen before.
        for (bool closeBox : {false, true}) {
            UiTest_OnPopupPanel([closeBox](int panel) {
                UiTest_SetValue(panel, FINDEXPRDLG_INTF_CHECK, 1);
                closeBox ? UiTest_ClosePanel(panel) : UiTest_Commit(panel, FINDEXPRDLG_CANCEL);
            });
            UiTest_SelectIndex(rsrcio, kRing, 2);
            EXPECT_EQ(ringIndex(), 1);
            EXPECT_STREQ(appFindExpr, "?*INSTR");
            EXPECT_EQ(box(), "?*INSTR");
        }
        UiTest_OnPopupPanel([](int panel) {
            UiTest_SetValue(panel, FINDEXPRDLG_INTF_CHECK, 1);
            UiTest_SetValue(panel, FINDEXPRDLG_ASRL, 1);
            UiTest_Commit(panel, FINDEXPRDLG_OK);
        });
        UiTest_SelectIndex(rsrcio, kRing, 2);
        EXPECT_EQ(box(), "?*(ASRL)?*");
        EXPECT_STREQ(appFindExpr, "?*(ASRL)?*");
        EXPECT_EQ(ringLabel(4), "?*(ASRL)?*");
        EXPECT_EQ(ringIndex(), 4);
        EXPECT_EQ(UiTest_DisplayedText(rsrcio, IOSHEET_RSRCNAME), "");
    });
}

TEST_F(FindRing, LongExpressionsAreCutAtTheirLimit) {
    run([] {
        for (size_t length : {255u, 300u}) {
            std::string expr = "?*" + std::string(length - 2, 'x');
            UiTest_SetValue(rsrcio, IOSHEET_FINDEXPR, expr.c_str());
            EXPECT_EQ(std::strlen(appFindExpr), 255u) << length;
            EXPECT_EQ(box().size(), 255u);
        }
    });
    // The next start reads it back whole.
    run([] { EXPECT_EQ(ringLabel(4), "?*" + std::string(253, 'x')); }, settings());
}

}  // namespace

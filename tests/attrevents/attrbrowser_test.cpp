#include "attrevents/attrbrowser.h"

#include <gtest/gtest.h>

#include <string>

#include "session/sessionrecord.h"
#include "tests/support/sessionbench.h"
#include "zuvisa/visa.h"

namespace {

TEST(AttrNumber, EachWidthKeepsItsBitsAndSign) {
    struct Case {
        ViUInt32 type;
        long long typed, shown;
        ViAttrState state;
    } cases[] = {
        {0x208, 0x1FF, 0xFF, 0xFF},                  // unsigned 8: the upper bits go
        {0x408, 0x41, 0x41, 0x41},
        {0x200, -1, -1, ~ViAttrState{0}},            // signed 8 sign-extends
        {0x202, 0x8000, -32768, static_cast<ViAttrState>(-32768LL)},
        {0x206, -1, 0xFFFF, 0xFFFF},
        {0x406, 0x0E5A, 0x0E5A, 0x0E5A},
        {0x201, 0x80000000LL, -2147483648LL, static_cast<ViAttrState>(-2147483648LL)},
        {0x207, 0xFFFFFFFFLL, 0xFFFFFFFFLL, 0xFFFFFFFFu},
        {0x407, 0x1FFFFFFFFLL, 0xFFFFFFFFLL, 0xFFFFFFFFu},
    };
    for (const Case& c : cases) {
        AttrNumber n = attrNumberFrom(c.type, c.typed);
        EXPECT_EQ(attrNumberValue(c.type, n), c.shown) << std::hex << c.type;
        EXPECT_EQ(attrStateOf(c.type, n), c.state) << std::hex << c.type;
    }
}

class AttrBrowser : public SessionBench {
  protected:
    void SetUp() override {
        SessionBench::SetUp();
        start("useVisaId = 1\n");
        window = open("GPIB0::5::INSTR");
        ASSERT_GT(window, 0);
        get = childPanel(window, "viGetAttribute");
        set = childPanel(window, "viSetAttribute");
        ASSERT_GT(get, 0);
        ASSERT_GT(set, 0);
    }
    void getAttribute(ViUInt32 id) {
        UiTest_SetValue(get, GETATTRIB_ATTRIBUTE, id);
        UiTest_Commit(get, GETATTRIB_ATTRIBUTE);
        UiTest_Commit(get, GETATTRIB_EXECUTE);
    }
    void getByNumber(ViUInt32 id) {
        UiTest_SetValue(get, GETATTRIB_ATTRIBUTE, ViUInt32{0});
        UiTest_Commit(get, GETATTRIB_ATTRIBUTE);
        UiTest_SetValue(get, GETATTRIB_ATTRID, id);
        UiTest_Commit(get, GETATTRIB_EXECUTE);
    }
    void chooseSet(ViUInt32 id) {
        UiTest_SetValue(set, SETATTRIB_ATTRIBUTE, id);
        UiTest_Commit(set, SETATTRIB_ATTRIBUTE);
    }
    int visible(int panel, int control) { return intAttribute(panel, control, ATTR_VISIBLE); }
    std::string text(int panel, int control) { return UiTest_DisplayedText(panel, control); }

    int window = 0, get = 0, set = 0;
};

TEST_F(AttrBrowser, EachDisplayClassShowsInItsOwnControl) {
    struct Case {
        ViUInt32 id;
        int shown;  // the control that shows the value; the other two are hidden
        int dataType, format;
    } cases[] = {
        {VI_ATTR_RSRC_MANF_ID, GETATTRIB_VALUE, VAL_UNSIGNED_SHORT_INTEGER, VAL_HEX_FORMAT},
        {VI_ATTR_TMO_VALUE, GETATTRIB_VALUE, VAL_UNSIGNED_INTEGER, VAL_DECIMAL_FORMAT},
        {VI_ATTR_TERMCHAR, GETATTRIB_VALUE, VAL_UNSIGNED_CHAR, VAL_HEX_FORMAT},
        {VI_ATTR_TRIG_ID, GETATTRIB_VALUE, VAL_SHORT_INTEGER, VAL_DECIMAL_FORMAT},
        {VI_ATTR_SEND_END_EN, GETATTRIB_BOOLVALUE, -1, -1},
        {VI_ATTR_RSRC_NAME, GETATTRIB_TEXTVALUE, -1, -1},
    };
    for (const Case& c : cases) {
        getAttribute(c.id);
        EXPECT_EQ(text(get, GETATTRIB_STATUSNAME), "VI_SUCCESS") << std::hex << c.id;
        for (int control : {GETATTRIB_VALUE, GETATTRIB_BOOLVALUE, GETATTRIB_TEXTVALUE})
            EXPECT_EQ(visible(get, control), control == c.shown) << std::hex << c.id;
        if (c.dataType >= 0) {
            EXPECT_EQ(intAttribute(get, GETATTRIB_VALUE, ATTR_DATA_TYPE), c.dataType);
            EXPECT_EQ(intAttribute(get, GETATTRIB_VALUE, ATTR_FORMAT), c.format);
        }
    }
    getAttribute(VI_ATTR_TMO_VALUE);
    EXPECT_EQ(text(get, GETATTRIB_VALUE), "2000");
    getAttribute(VI_ATTR_TRIG_ID);
    EXPECT_EQ(text(get, GETATTRIB_VALUE), "-1");  // VI_TRIG_SW, signed
    getAttribute(VI_ATTR_RSRC_NAME);
    EXPECT_EQ(text(get, GETATTRIB_TEXTVALUE), "GPIB0::5::INSTR");
}

TEST_F(AttrBrowser, OtherReachesAnyCatalogueRowAndRefusesUnknownNumbers) {
    getAttribute(VI_ATTR_RSRC_NAME);
    // Not offered for GPIB, so the library refuses it; the earlier text does not stay.
    getByNumber(VI_ATTR_TCPIP_ADDR);
    EXPECT_EQ(text(get, GETATTRIB_STATUSNAME), "VI_ERROR_NSUP_ATTR");
    EXPECT_EQ(intAttribute(get, GETATTRIB_STATUS, ATTR_TEXT_COLOR), 0xFF0000);
    EXPECT_EQ(text(get, GETATTRIB_TEXTVALUE), "");
    EXPECT_EQ(intAttribute(get, GETATTRIB_ATTRID, ATTR_DIMMED), 0);
    getByNumber(0x3FFF9999);
    EXPECT_EQ(text(get, GETATTRIB_STATUSNAME), "VI_ERROR_INV_PARAMETER");
    EXPECT_EQ(visible(get, GETATTRIB_TEXTVALUE), 1);
    getByNumber(VI_ATTR_INTF_NUM);
    EXPECT_EQ(text(get, GETATTRIB_STATUSNAME), "VI_SUCCESS");
    EXPECT_EQ(text(get, GETATTRIB_VALUE), "0");
    // Choosing a named attribute again closes the number field.
    getAttribute(VI_ATTR_TMO_VALUE);
    EXPECT_EQ(intAttribute(get, GETATTRIB_ATTRID, ATTR_DIMMED), 1);
}

TEST_F(AttrBrowser, SetWritesReadsBackAndShowsRefusals) {
    chooseSet(VI_ATTR_SEND_END_EN);
    EXPECT_EQ(visible(set, SETATTRIB_NEWBOOL), 1);
    EXPECT_EQ(visible(set, SETATTRIB_CURBOOL), 1);
    EXPECT_EQ(visible(set, SETATTRIB_NEWVALUE), 0);
    chooseSet(VI_ATTR_TMO_VALUE);
    EXPECT_EQ(visible(set, SETATTRIB_NEWBOOL), 0);
    EXPECT_EQ(visible(set, SETATTRIB_CURVALUE), 1);
    EXPECT_EQ(text(set, SETATTRIB_CURVALUE), "2000");

    UiTest_SetValue(set, SETATTRIB_NEWVALUE, 5000u);
    UiTest_Commit(set, SETATTRIB_EXECUTE);
    EXPECT_EQ(text(set, SETATTRIB_STATUSNAME), "VI_SUCCESS");
    EXPECT_EQ(text(set, SETATTRIB_CURVALUE), "5000");

    // A protocol the library does not know: refused, and the one it holds stays shown.
    chooseSet(VI_ATTR_IO_PROT);
    const std::string held = text(set, SETATTRIB_CURVALUE);
    UiTest_SetValue(set, SETATTRIB_NEWVALUE, 999u);
    UiTest_Commit(set, SETATTRIB_EXECUTE);
    EXPECT_EQ(text(set, SETATTRIB_STATUSNAME), "VI_ERROR_NSUP_ATTR_STATE");
    EXPECT_EQ(intAttribute(set, SETATTRIB_STATUS, ATTR_TEXT_COLOR), 0xFF0000);
    EXPECT_EQ(text(set, SETATTRIB_CURVALUE), held);

    // By number: a read-only text attribute is refused before the library is asked.
    UiTest_SetValue(set, SETATTRIB_ATTRIBUTE, ViUInt32{0});
    UiTest_Commit(set, SETATTRIB_ATTRIBUTE);
    UiTest_SetValue(set, SETATTRIB_ATTRID, ViUInt32{VI_ATTR_RSRC_NAME});
    UiTest_Commit(set, SETATTRIB_EXECUTE);
    EXPECT_EQ(text(set, SETATTRIB_STATUSNAME), "VI_ERROR_INV_PARAMETER");
    // A typed boolean attribute shapes the controls before the value is given.
    UiTest_SetValue(set, SETATTRIB_ATTRID, ViUInt32{VI_ATTR_TERMCHAR_EN});
    UiTest_Commit(set, SETATTRIB_ATTRID);
    EXPECT_EQ(visible(set, SETATTRIB_NEWBOOL), 1);
    UiTest_SetValue(set, SETATTRIB_NEWBOOL, 1);
    UiTest_Commit(set, SETATTRIB_EXECUTE);
    EXPECT_EQ(text(set, SETATTRIB_STATUSNAME), "VI_SUCCESS");
    int on = 0;
    GetCtrlVal(set, SETATTRIB_CURBOOL, &on);
    EXPECT_EQ(on, 1);
}

}  // namespace

#include "app/contexthelp.h"
#include "app/talmik.h"

namespace {

// The help menu of the attribute and event rings opens the reference at the chosen row's VI
// name; with no viewer to be had, the message names it.
TEST_F(AttrBrowser, RightClicksOpenTheChosenAttributesAndEventsHelp) {
    GetTalmikPathNames(&pszAppName, &pszHelpName);
    installHelpHost();
    setenv("TALMIK_HELP_VIEWER", dir.file("no-such-viewer").c_str(), 1);
    writeFile(dir.file("ZU-visa.hlp"), "collection");
    const int wait = childPanel(window, "viWaitOnEvent");
    UiTest_SetValue(get, GETATTRIB_ATTRIBUTE, ViUInt32{VI_ATTR_RSRC_NAME});
    UiTest_SetValue(set, SETATTRIB_ATTRIBUTE, ViUInt32{VI_ATTR_TMO_VALUE});
    UiTest_SetValue(wait, WAITONEVENT_EVENT, ViUInt32{VI_EVENT_SERVICE_REQ});
    UiTest_AnswerPopupMenu("__Attribute Help");
    UiTest_RightClick(get, GETATTRIB_ATTRIBUTE, 5, 5);
    UiTest_AnswerPopupMenu("__Attribute Help");
    UiTest_RightClick(set, SETATTRIB_ATTRIBUTE, 5, 5);
    UiTest_AnswerPopupMenu("__Event Help");
    UiTest_RightClick(wait, WAITONEVENT_EVENT, 5, 5);
    std::vector<std::string> keywords;
    for (const UiTestPopup& p : UiTest_Popups()) {
        if (p.kind != UITEST_MESSAGE) continue;
        size_t open = p.text.find('"'), close = p.text.find('"', open + 1);
        if (open != std::string::npos && close != std::string::npos)
            keywords.push_back(p.text.substr(open + 1, close - open - 1));
    }
    EXPECT_EQ(keywords, (std::vector<std::string>{"VI_ATTR_RSRC_NAME", "VI_ATTR_TMO_VALUE",
                                                  "VI_EVENT_SERVICE_REQ"}));
    unsetenv("TALMIK_HELP_VIEWER");
}

}  // namespace

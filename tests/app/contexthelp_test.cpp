// "Interpret Code" on a status display, and the application's messages when the reference
// cannot be shown.
#include "app/contexthelp.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "app/prefs.h"
#include "app/talmik.h"
#include "controls/help.h"
#include "tests/support/tempdir.h"
#include "uiruntime/testing/uitest.h"
#include "visalib/visalib.h"
#include "zuvisa/visa.h"

namespace {

std::string binFile(const char* name) {
    return std::string(std::getenv("TALMIK_BIN_DIR")) + "/" + name;
}

std::string tooltipText;
int tooltipParent = 0;

// Reads the text of the open tooltip, then ends it with a counted click.
void readTooltipThenClick(void*) {
    int tip = 0, message = 0;
    GetPanelAttribute(tooltipParent, ATTR_PANEL_FIRST_CHILD, &tip);
    GetPanelAttribute(tip, ATTR_PANEL_FIRST_CTRL, &message);
    char text[1024] = "";
    GetCtrlVal(tip, message, text, sizeof text);
    tooltipText = text;
    Help_GotClick();
}

const char* description = "";
void interpretWithDescription(void*, int status, char* text, size_t size) {
    interpretCodeTextWith(status, description, text, size);
}

class ContextHelp : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        UiTest_SetProjectDir(dir.path().c_str());
        _ResetDirCache_();
        GetTalmikPathNames(&pszAppName, &pszHelpName);
        installHelpHost();
        panel = NewPanel(0, "viRead", 20, 20, 240, 620);
        status = NewCtrl(panel, CTRL_NUMERIC, "Status", 20, 20);
        SetCtrlAttribute(panel, status, ATTR_DATA_TYPE, VAL_INTEGER);
        DisplayPanel(panel);
        tooltipParent = panel;
    }
    void TearDown() override {
        EXPECT_TRUE(UiTest_Failures().empty()) << UiTest_Failures().front();
        Help_SetHost(nullptr);
        setHelpSessionLookup(nullptr);
        UiTest_Reset();
        helpUsed = 0;
        VisaLib_Unload();
        unsetenv("ZUVISA_CONFIG");
        unsetenv("TALMIK_VISA_LIBRARY");
        unsetenv("TALMIK_HELP_VIEWER");
    }
    // What "Interpret Code" shows for a status display holding status.
    std::string interpret(ViStatus value, void* callbackData = nullptr) {
        SetCtrlVal(panel, status, static_cast<int>(value));
        tooltipText.clear();
        UiTest_AnswerPopupMenu("__Interpret Code");
        PostDeferredCall(readTooltipThenClick, nullptr);
        ContextSensitiveHelpExt(panel, status, 0, 0, 0, 1, 1, callbackData, 10, 10);
        return tooltipText;
    }
    std::vector<std::string> messages() {
        std::vector<std::string> out;
        for (const UiTestPopup& p : UiTest_Popups())
            if (p.kind == UITEST_MESSAGE) out.push_back(p.text);
        return out;
    }

    TempDir dir;
    int panel = 0, status = 0;
};

TEST_F(ContextHelp, InterpretCodeBreaksLongDescriptionsAtBlanks) {
    HelpHost host;
    host.appName = "TALMIK";
    host.interpretStatus = interpretWithDescription;
    Help_SetHost(&host);
    const std::string head = "Return value: 0xBFFF0015\nStatus name: VI_ERROR_TMO\n\n";
    const std::string a50(50, 'a'), b55(55, 'b'), c11(11, 'c'), a52(52, 'a');
    const struct {
        const char* name;
        std::string description, shown;
    } cases[] = {
        {"55 characters stay on one line", a50 + " bcde", a50 + " bcde"},
        {"56 characters break at the first blank from the 51st on", a50 + " bcdef",
         a50 + "\nbcdef"},
        {"the break waits for a blank", a50 + "xx yyyy", a50 + "xx\nyyyy"},
        {"120 characters break twice", a52 + " " + b55 + " " + c11, a52 + "\n" + b55 + "\n" + c11},
        {"no blank after the 50th character", std::string(70, 'z'), std::string(70, 'z')},
        {"empty", "", ""},
    };
    for (const auto& c : cases) {
        description = c.description.c_str();
        EXPECT_EQ(interpret(VI_ERROR_TMO), head + c.shown) << c.name;
    }
    description = "";
    EXPECT_EQ(interpret(0x3FFF0006),
              "Return value: 0x3FFF0006\nStatus name: VI_SUCCESS_MAX_CNT\n\n");
    EXPECT_EQ(interpret(static_cast<ViStatus>(0xBFFF00A9)),
              "Return value: 0xBFFF00A9\nStatus name: <Unknown>\n\n");
}

ViSession sessionOfRecord(void* record) {
    return *static_cast<ViSession*>(record);
}

TEST_F(ContextHelp, InterpretCodeAsksTheLibraryOfTheWindowsSession) {
    writeFile(dir.file("zuvisa.ini"), "[Bridgelets]\nsim = True\n");
    setenv("ZUVISA_CONFIG", dir.file("zuvisa.ini").c_str(), 1);
    setenv("TALMIK_VISA_LIBRARY", binFile("libzuvisa.so").c_str(), 1);
    ViSession rm = VI_NULL;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    char expected[256] = "";
    ASSERT_EQ(viStatusDesc(rm, VI_WARN_CONFIG_NLOADED, expected), VI_SUCCESS);
    ASSERT_GT(std::string(expected).size(), 56u) << "a description long enough to break";

    setHelpSessionLookup(sessionOfRecord);
    std::string shown = interpret(VI_WARN_CONFIG_NLOADED, &rm);
    const std::string head = "Return value: 0x3FFF0077\nStatus name: VI_WARN_CONFIG_NLOADED\n\n";
    ASSERT_EQ(shown.compare(0, head.size(), head), 0) << shown;
    std::string body = shown.substr(head.size());
    EXPECT_NE(body.find('\n'), std::string::npos) << body;
    for (char& ch : body)
        if (ch == '\n') ch = ' ';
    EXPECT_EQ(body, expected);  // only blanks became line breaks

    // A closed session cannot describe anything; the status line still stands.
    viClose(rm);
    shown = interpret(VI_WARN_CONFIG_NLOADED, &rm);
    EXPECT_EQ(shown.compare(0, head.size(), head), 0) << shown;
}

TEST_F(ContextHelp, ClearMessagesWhenTheReferenceCannotBeShown) {
    setenv("TALMIK_HELP_VIEWER", dir.file("no-such-viewer").c_str(), 1);

    DoTopics(0, 0, nullptr, 0);  // no reference in the program's directory
    writeFile(dir.file("ZU-visa.hlp"), "collection");
    UiTest_AnswerPopupMenu("__Operation Help");
    ContextSensitiveHelp(panel, 0, 0, 0, 0, 0, "viRead", nullptr, 5, 5);
    DoTopics(0, 0, nullptr, 0);
    EXPECT_EQ(
        messages(),
        (std::vector<std::string>{
            "Unable to open the VISA reference: \"ZU-visa.hlp\" is missing from the program's "
            "directory\n(" +
                dir.path() + ").",
            "Unable to show \"viRead\" in the help viewer.\n\nThe VISA reference is shown by Qt "
            "Assistant: check that it is installed (Debian package assistant-qt6).",
            "Unable to show the index of the VISA reference in the help viewer.\n\nThe VISA "
            "reference is shown by Qt Assistant: check that it is installed (Debian package "
            "assistant-qt6).",
        }));
    for (const UiTestPopup& p : UiTest_Popups()) {
        if (p.kind == UITEST_MESSAGE) {
            EXPECT_EQ(p.title, "TALMIK");
        }
    }
    EXPECT_EQ(helpUsed, 0);
}

}  // namespace

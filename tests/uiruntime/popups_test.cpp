// Message, confirmation and file selection popups, and popup panels the program waits on.
#include <gtest/gtest.h>

#include <cstring>

#include "support.h"

namespace {

class Popups : public RuntimeTest {};

TEST_F(Popups, MessagesAreRecordedAndNeedNoAnswer) {
    EXPECT_EQ(MessagePopup("TALMIK", "Unable to open TALMIK help file."), 0);
    ASSERT_EQ(UiTest_Popups().size(), 1u);
    EXPECT_EQ(UiTest_Popups()[0].kind, UITEST_MESSAGE);
    EXPECT_EQ(UiTest_Popups()[0].title, "TALMIK");
    EXPECT_EQ(UiTest_Popups()[0].text, "Unable to open TALMIK help file.");
    EXPECT_EQ(MessagePopup(nullptr, "x"), UIENullPointer);
}

TEST_F(Popups, ConfirmationsTakeTheScriptedAnswersInOrder) {
    UiTest_AnswerConfirm(1);
    UiTest_AnswerConfirm(0);
    EXPECT_EQ(ConfirmPopup("TALMIK", "Quit now?"), 1);
    EXPECT_EQ(ConfirmPopup("TALMIK", "Really?"), 0);
    EXPECT_EQ(UiTest_PendingAnswers(), 0);
    EXPECT_EQ(UiTest_Popups()[1].answer, 0);
    // One more than scripted: the test is told, and the answer is no.
    EXPECT_EQ(ConfirmPopup("TALMIK", "Unexpected?"), 0);
    ASSERT_EQ(UiTest_Failures().size(), 1u);
    EXPECT_NE(UiTest_Failures()[0].find("Unexpected?"), std::string::npos);
    UiTest_Reset();
}

TEST_F(Popups, AnAnswerOfAnotherKindIsNotTaken) {
    UiTest_AnswerFileSelect(VAL_EXISTING_FILE_SELECTED, "/tmp/x");
    EXPECT_EQ(ConfirmPopup("TALMIK", "Quit?"), 0);
    EXPECT_EQ(UiTest_PendingAnswers(), 1);
    EXPECT_EQ(UiTest_Failures().size(), 1u);
    UiTest_Reset();
}

TEST_F(Popups, FileSelectionReturnsTheScriptedPath) {
    char path[MAX_PATHNAME_LEN] = "unchanged";
    UiTest_AnswerFileSelect(VAL_NEW_FILE_SELECTED, "/data/read.bin");
    EXPECT_EQ(FileSelectPopup("/data/", "*.*", "", "TALMIK File Browse", VAL_SAVE_BUTTON, 0, 0, 1, 1, path),
              VAL_NEW_FILE_SELECTED);
    EXPECT_STREQ(path, "/data/read.bin");
    EXPECT_EQ(UiTest_Popups()[0].title, "TALMIK File Browse");
    EXPECT_EQ(UiTest_Popups()[0].text, "/data/|*.*");
    UiTest_AnswerFileSelect(VAL_NO_FILE_SELECTED, "");
    std::strcpy(path, "kept");
    EXPECT_EQ(FileSelectPopup("/data/", "*.*", "", "T", VAL_LOAD_BUTTON, 0, 0, 1, 0, path), VAL_NO_FILE_SELECTED);
    EXPECT_STREQ(path, "kept");
    char small[6];
    UiTest_AnswerFileSelect(VAL_EXISTING_FILE_SELECTED, "/a/much/longer/path");
    EXPECT_EQ(FileSelectPopup("/", "*.*", "", "T", VAL_LOAD_BUTTON, 0, 0, 1, 0, small), UIEBufferTooSmall);
    EXPECT_EQ(FileSelectPopup("/", "*.*", "", "T", 9, 0, 0, 1, 0, path), UIEInvalidAttributeValue);
}

// The builder dialog's way: install a popup and process events until a button clears a flag.
bool g_active = false;
int g_okPresses = 0;
int CloseDialog(int, int, int event, void*, int, int) {
    if (event == EVENT_COMMIT) {
        ++g_okPresses;
        g_active = false;
    }
    return 0;
}

TEST_F(Popups, APopupPanelIsAnsweredByItsScript) {
    int main = load(EXAMPLE);
    int dialog = LoadPanel(main, "example.uir", DIALOG);
    ASSERT_GT(dialog, 0);
    InstallCtrlCallback(dialog, DIALOG_OK, CloseDialog, nullptr);
    UiTest_OnPopupPanel([](int panel) {
        EXPECT_EQ(UiTest_SetValue(panel, DIALOG_ENTRY, "TCPIP0::lab7::INSTR"), 0);
        EXPECT_EQ(UiTest_Commit(panel, DIALOG_OK), 0);
    });
    g_active = true;
    g_okPresses = 0;
    ASSERT_EQ(InstallPopup(dialog), 0);
    int passes = 0;
    while (g_active && passes < 100) {
        ProcessSystemEvents();
        ++passes;
    }
    EXPECT_FALSE(g_active);
    EXPECT_EQ(g_okPresses, 1);
    char entry[64];
    GetCtrlVal(dialog, DIALOG_ENTRY, entry);
    EXPECT_STREQ(entry, "TCPIP0::lab7::INSTR");
    RemovePopup(0);
}

}  // namespace

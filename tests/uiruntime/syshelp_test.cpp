// The help viewer, replaced in tests by a script that records what it is told.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "support.h"
#include "uiruntime/testing/uitest.h"

namespace {

class SystemHelpTest : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        // The fake viewer writes its arguments, then every command line it reads, to a log.
        dir.write("viewer", "#!/bin/sh\necho \"ARGS $*\" > \"$VIEWER_LOG\"\nexec cat >> \"$VIEWER_LOG\"\n");
        ::chmod(dir.file("viewer").c_str(), 0755);
        dir.write("ZU-visa.hlp", "collection");
        ::setenv("TALMIK_HELP_VIEWER", dir.file("viewer").c_str(), 1);
        ::setenv("VIEWER_LOG", dir.file("log").c_str(), 1);
    }
    void TearDown() override {
        SystemHelp(nullptr, HELP_QUIT, 0, "");
        ::unsetenv("TALMIK_HELP_VIEWER");
        RuntimeTest::TearDown();
    }
    std::string waitForLog(const std::string& text) {
        for (int k = 0; k < 300; ++k) {
            std::string log = readFile(dir.file("log"));
            if (log.find(text) != std::string::npos) return log;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return readFile(dir.file("log"));
    }
    TempDir dir;
};

TEST_F(SystemHelpTest, OpensTheCollectionAtAKeywordAndKeepsOneViewer) {
    std::string help = dir.file("ZU-visa.hlp");
    ASSERT_EQ(SystemHelp(help.c_str(), HELP_KEY, 0, "viRead"), 1);
    std::string log = waitForLog("viRead");
    EXPECT_NE(log.find("ARGS -collectionFile " + help + " -enableRemoteControl"), std::string::npos) << log;
    EXPECT_NE(log.find("show index;activateKeyword viRead;activateIdentifier viRead\n"), std::string::npos) << log;
    ASSERT_EQ(SystemHelp(help.c_str(), HELP_PARTIALKEY, 0, ""), 1);
    log = waitForLog("show index\n");
    EXPECT_NE(log.find("show index\n"), std::string::npos) << log;
    // A keyword cannot smuggle in a second command.
    ASSERT_EQ(SystemHelp(help.c_str(), HELP_KEY, 0, "VI_ATTR_TMO_VALUE;hide\nshow search"), 1);
    log = waitForLog("VI_ATTR_TMO_VALUE");
    EXPECT_NE(log.find("activateKeyword VI_ATTR_TMO_VALUE hide show search;"
                       "activateIdentifier VI_ATTR_TMO_VALUE hide show search\n"),
              std::string::npos)
        << log;
    EXPECT_EQ(log.find("ARGS", 1), std::string::npos) << "a second viewer was started";
    EXPECT_EQ(SystemHelp(help.c_str(), HELP_QUIT, 0, ""), 1);
}

TEST_F(SystemHelpTest, ARelativeNameIsLookedForInTheProgramsDirectory) {
    UiTest_SetProjectDir(dir.path().c_str());
    ASSERT_EQ(SystemHelp("ZU-visa.hlp", HELP_PARTIALKEY, 0, ""), 1);
    std::string log = waitForLog("show index");
    EXPECT_NE(log.find("ARGS -collectionFile " + dir.file("ZU-visa.hlp")), std::string::npos) << log;
    UiTest_SetProjectDir(nullptr);
}

TEST_F(SystemHelpTest, FailsWhenTheFileOrTheViewerIsMissing) {
    EXPECT_EQ(SystemHelp(dir.file("missing.hlp").c_str(), HELP_KEY, 0, "viRead"), 0);
    ::setenv("TALMIK_HELP_VIEWER", dir.file("no-such-viewer").c_str(), 1);
    EXPECT_EQ(SystemHelp(dir.file("ZU-visa.hlp").c_str(), HELP_CONTENTS, 0, ""), 0);
    EXPECT_EQ(SystemHelp(dir.file("ZU-visa.hlp").c_str(), 12345, 0, ""), 0);
}

}  // namespace

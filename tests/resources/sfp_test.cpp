#include "resources/sfp.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "talmik_uir.h"
#include "tests/support/talmikrun.h"

namespace {

void makeFile(const std::string& path, const std::string& text = "") {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeFile(path, text);
    chmod(path.c_str(), 0755);
}

std::vector<std::string> listLabels() {
    int n = 0;
    GetNumListItems(rsrcsfp, SFPSHEET_SFPLIST, &n);
    std::vector<std::string> labels;
    for (int i = 0; i < n; ++i) {
        char label[300] = "";
        GetLabelFromIndex(rsrcsfp, SFPSHEET_SFPLIST, i, label);
        labels.push_back(label);
    }
    return labels;
}

std::string pathBox() { return UiTest_DisplayedText(rsrcsfp, SFPSHEET_SFPPATH); }

class SoftFrontPanels : public TalmikRun {
  protected:
    void SetUp() override {
        TalmikRun::SetUp();
        // A blank in the root: paths are taken whole.
        root = dir.file("vxi pnp");
        setenv("VXIPNPPATH", root.c_str(), 1);
    }
    void driver(const char* framework, const char* name, const char* program, const char* kb = nullptr,
                const char* kbName = nullptr) {
        makeFile(root + "/" + framework + "/" + name + "/" + program, "#!/bin/sh\n");
        if (kb) makeFile(root + "/kbase/" + (kbName ? kbName : std::string(name) + ".kb"), kb);
    }
    std::string root;
};

TEST_F(SoftFrontPanels, WhatIsListedAndHowItIsLabelled) {
    const std::string longLine = "[Product Description] \"" + std::string(100, 'L') + "\"\n";
    driver("linux", "dmm01", "dmm01.exe", "[Vendor]\nName = \"x\"\n[Product Description] \"Bench Multimeter 01\"\n");
    driver("linux", "ps2", "PS2.EXE");
    driver("linux", "fg3", "fg3", "[Product Description]\n\"On the next line\"\n");
    driver("linux", "la4", "la4.exe", longLine.c_str(), "la4_extra.kb");
    driver("linux", "cnt7", "cnt7.exe", "[Product Description] no quotes\n");
    driver("glinux", "gg5", "gg5.exe", "[Product Description] \"Graphical \"quoted\" name\"\r\n");
    // Never listed: other initial letters, bin and ZUvisa in any case, hidden, too long a name.
    driver("linux", "scope", "xyz.exe");
    driver("linux", "Bin", "bin.exe");
    driver("glinux", "zuVISA", "zuvisa.exe");
    driver("linux", ".dm", ".dm.exe");
    driver("linux", "waytoolongprefix16", "waytoolongprefix16.exe");
    std::filesystem::create_directories(root + "/linux/empty");
    run([&] {
        std::vector<std::string> labels = listLabels();
        ASSERT_EQ(labels.size(), 6u);
        EXPECT_EQ(labels[0], "CNT7");
        EXPECT_EQ(labels[1], "DMM01 - Bench Multimeter 01");
        EXPECT_EQ(labels[2], "FG3") << "a description on the next line is not used";
        EXPECT_EQ(labels[3], "GG5 - Graphical ");
        // The header line is read 80 characters at a time: the description ends there.
        EXPECT_EQ(labels[4], "LA4 - " + std::string(80 - 23, 'L'));
        EXPECT_EQ(labels[5], "PS2");
        EXPECT_EQ(pathBox(), root + "/linux/cnt7/cnt7.exe");
        UiTest_SelectIndex(rsrcsfp, SFPSHEET_SFPLIST, 5);
        EXPECT_EQ(pathBox(), root + "/linux/ps2/PS2.EXE");
        UiTest_SelectIndex(rsrcsfp, SFPSHEET_SFPLIST, 3);
        EXPECT_EQ(pathBox(), root + "/glinux/gg5/gg5.exe");
    });
}

TEST_F(SoftFrontPanels, NothingFound) {
    for (bool frameworkExists : {false, true}) {
        if (frameworkExists) driver("linux", "scope", "xyz.exe");
        run([] {
            EXPECT_EQ(listLabels(), std::vector<std::string>{"<Soft Front Panels not found>"});
            EXPECT_EQ(nSfps, 0);
            EXPECT_EQ(lpSfps, nullptr);
            EXPECT_EQ(pathBox(), "");
            // Starting the placeholder does nothing.
            UiTest_Commit(rsrcsfp, SFPSHEET_SFPLIST);
        });
        EXPECT_TRUE(messages().empty());
    }
}

TEST_F(SoftFrontPanels, LongLabelsEndInDots) {
    driver("linux", "dmm01", "dmm01.exe",
           "[Product Description] \"A product with a description far too long for a narrow list\"\n");
    run([] {
        SetCtrlAttribute(rsrcsfp, SFPSHEET_SFPLIST, ATTR_WIDTH, 160);
        AddSfpRsrcs(rsrcsfp);
        std::string label = listLabels().at(0);
        ASSERT_GE(label.size(), 3u);
        EXPECT_EQ(label.substr(label.size() - 3), "...");
        EXPECT_EQ(label.rfind("DMM01 - A product", 0), 0u) << label;
        int width = 0, height = 0;
        GetTextDisplaySize(label.c_str(), VAL_DIALOG_META_FONT, &height, &width);
        EXPECT_LT(width, 160 - 16);
    });
}

TEST_F(SoftFrontPanels, StartingOne) {
    const std::string marker = dir.file("started");
    makeFile(root + "/linux/dmm01/dmm01.exe", "#!/bin/sh\necho \"$#\" > '" + marker + "'\n");
    driver("linux", "bad02", "bad02.exe");
    chmod((root + "/linux/bad02/bad02.exe").c_str(), 0644);  // not a program
    run([&] {
        // A double click on the first item (BAD02) tries to start it.
        UiTest_DoubleClick(rsrcsfp, SFPSHEET_SFPLIST, 20, 8);
        UiTest_SelectIndex(rsrcsfp, SFPSHEET_SFPLIST, 1);
        UiTest_Commit(rsrcsfp, SFPSHEET_SFPLIST);
        for (int i = 0; i < 200 && readFile(marker).empty(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(readFile(marker), "0\n") << "one word, no arguments";
        int dimmed = -1;
        GetCtrlAttribute(rsrcsfp, SFPSHEET_SFPPATH, ATTR_DIMMED, &dimmed);
        EXPECT_EQ(dimmed, 0);
    });
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_EQ(messages()[0], "Unable to launch \"" + root + "/linux/bad02/bad02.exe\"");
}

}  // namespace

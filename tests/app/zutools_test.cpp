#include "app/zutools.h"

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

int dimmed(int control) {
    int d = -1;
    GetCtrlAttribute(rsrczu, control, ATTR_DIMMED, &d);
    return d;
}

std::string box() { return UiTest_DisplayedText(rsrczu, ZUSHEET_TOOLPATH); }

class ZuTools : public TalmikRun {
  protected:
    void SetUp() override {
        TalmikRun::SetUp();
        setenv("PATH", pathDir().c_str(), 1);
    }
    std::string pathDir() const { return dir.file("path"); }
    std::string bin() const { return zuvxi() + "/bin"; }
};

TEST_F(ZuTools, DiscoveryAtStart) {
    const struct {
        const char* what;
        std::vector<std::string> binFiles, pathFiles;
        bool withBin;
        std::string vxpan, vxterm, gpterm;  // "$B" and "$P" stand for the two directories
    } cases[] = {
        {"all in place, with a terminal", {"vxpan", "vxterm"}, {"xterm", "gpterm"}, true,
         "$B/vxpan", "xterm -e $B/vxterm", "xterm -e $P/gpterm"},
        {"no terminal: the text tools run directly", {"vxpan"}, {"vxterm", "gpterm"}, true,
         "$B/vxpan", "$P/vxterm", "$P/gpterm"},
        {"ZUVXIPATH without bin: no VXI tool, even on the search path", {}, {"vxterm"}, false, "", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::filesystem::remove_all(zuvxi());
        std::filesystem::remove_all(pathDir());
        std::filesystem::create_directories(pathDir());
        std::filesystem::create_directories(c.withBin ? bin() : zuvxi());
        for (const std::string& f : c.binFiles) makeFile(bin() + "/" + f);
        for (const std::string& f : c.pathFiles) makeFile(pathDir() + "/" + f);
        auto expand = [&](std::string s) {
            for (auto [mark, with] : {std::pair{"$B", bin()}, std::pair{"$P", pathDir()}})
                if (size_t at = s.find(mark); at != std::string::npos) s.replace(at, 2, with);
            return s;
        };
        const std::string want[3] = {expand(c.vxpan), expand(c.vxterm), expand(c.gpterm)};
        run([&] {
            EXPECT_EQ(std::string(VxiPan), want[0]);
            EXPECT_EQ(std::string(VxiTerm), want[1]);
            EXPECT_EQ(std::string(GpibTerm), want[2]);
            const int icons[3] = {ZUSHEET_VXPAN, ZUSHEET_VXTERM, ZUSHEET_GPTERM};
            for (int i = 0; i < 3; ++i) EXPECT_EQ(dimmed(icons[i]), want[i].empty()) << i;
            EXPECT_EQ(box(), !want[0].empty() ? want[0] : !want[1].empty() ? want[1] : want[2]);
            // Stored at once, each known line under its key.
            const std::string file = settings();
            const char* keys[3] = {"VXPAN", "VXterm", "GPTERM"};
            for (int i = 0; i < 3; ++i)
                EXPECT_EQ(file.find(std::string(keys[i]) + " = \"" + want[i] + "\"") != std::string::npos,
                          !want[i].empty())
                    << keys[i] << "\n" << file;
        });
    }
}

TEST_F(ZuTools, StoredLinesAreTakenAsTheyAre) {
    makeFile(bin() + "/vxpan");
    const std::string stored = "[AppNames]\nVXPAN = \"/gone/vxpan\"\nVXterm = \"/gone/vxterm\"\nGPTERM = \"/gone/gpterm\"\n";
    run(
        [&] {
            EXPECT_EQ(std::string(VxiPan), "/gone/vxpan");
            EXPECT_EQ(box(), "/gone/vxpan");
            EXPECT_EQ(settings(), stored) << "no search, no write";
        },
        stored);
}

TEST_F(ZuTools, AssigningByRightClick) {
    run([] {
        UiTest_SetValue(rsrczu, ZUSHEET_TOOLPATH, "");
        SetCtrlVal(rsrczu, ZUSHEET_TOOLPATH, "C:\\tools\\my vxpan.exe -x");
        UiTest_AnswerPopupMenu("Assign to __VXPAN icon");
        UiTest_RightClick(rsrczu, ZUSHEET_TOOLPATH, 5, 5);
        EXPECT_EQ(std::string(VxiPan), "C:/tools/my vxpan.exe -x");
        EXPECT_EQ(box(), "C:/tools/my vxpan.exe -x");
        EXPECT_EQ(dimmed(ZUSHEET_VXPAN), 0);
        ASSERT_FALSE(UiTest_Popups().empty());
        EXPECT_EQ(UiTest_Popups().back().title, "TALMIK");
        EXPECT_EQ(UiTest_Popups().back().items,
                  (std::vector<std::string>{"__What's This?", "Assign to __VXPAN icon", "Assign to VX__term icon",
                                            "Assign to __GPTERM icon"}));
        // The icon shows its new line; an empty box makes the tool unknown.
        UiTest_Commit(rsrczu, ZUSHEET_VXPAN);
        EXPECT_EQ(box(), "C:/tools/my vxpan.exe -x");
        SetCtrlVal(rsrczu, ZUSHEET_TOOLPATH, "");
        UiTest_AnswerPopupMenu("Assign to __VXPAN icon");
        UiTest_RightClick(rsrczu, ZUSHEET_TOOLPATH, 5, 5);
        EXPECT_EQ(dimmed(ZUSHEET_VXPAN), 1);
    });
    EXPECT_EQ(settings().find("VXPAN"), std::string::npos) << settings();
}

TEST_F(ZuTools, LaunchingSplitsLikeAShellAndReportsFailures) {
    const std::string script = dir.file("tool dir/echo args.sh");
    const std::string out = dir.file("args.txt");
    makeFile(script, "#!/bin/sh\nfor a in \"$@\"; do echo \"[$a]\"; done > '" + out + "'\n");
    run([&] {
        const std::string line = "'" + script + "' \"two words\" 'a;b' plain";
        SetCtrlVal(rsrczu, ZUSHEET_TOOLPATH, "");
        SetCtrlVal(rsrczu, ZUSHEET_TOOLPATH, line.c_str());
        UiTest_Commit(rsrczu, ZUSHEET_TOOLPATH);
        for (int i = 0; i < 200 && readFile(out).find("[plain]") == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(readFile(out), "[two words]\n[a;b]\n[plain]\n");
        int d = -1;
        GetPanelAttribute(rsrczu, ATTR_DIMMED, &d);
        EXPECT_EQ(d, 0) << "the sheet comes back";

        SetCtrlVal(rsrczu, ZUSHEET_TOOLPATH, "");
        SetCtrlVal(rsrczu, ZUSHEET_TOOLPATH, "/no/such/tool --help");
        UiTest_Commit(rsrczu, ZUSHEET_TOOLPATH);
    });
    ASSERT_FALSE(messages().empty());
    EXPECT_EQ(messages().back(), "Unable to launch \"/no/such/tool --help\"");
}

}  // namespace

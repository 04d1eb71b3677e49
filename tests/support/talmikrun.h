// talmik run whole in a program directory of its own, on ZU-VISA with the simulation bridgelet,
// with empty framework trees (VXIPNPPATH, ZUVXIPATH) unless a test fills them. A check runs in
// the main loop, which then closes.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "app/prefs.h"
#include "app/talmik.h"
#include "resources/search.h"
#include "tests/support/tempdir.h"
#include "uiruntime/testing/uitest.h"
#include "visalib/visalib.h"

class TalmikRun : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(UiTest_Start(), 0);
        UiTest_SetLoopTimeout(3000);
        for (const char* file : {"talmik.uir", "visaio.uir", "ZUtalmik.hlp"})
            std::filesystem::copy_file(binFile(file), dir.file(file));
        UiTest_SetProjectDir(dir.path().c_str());
        _ResetDirCache_();
        setenv("TALMIK_VISA_LIBRARY", binFile("libzuvisa.so").c_str(), 1);
        writeFile(dir.file("zuvisa.ini"), "[Bridgelets]\nsim = True\n");
        setenv("ZUVISA_CONFIG", dir.file("zuvisa.ini").c_str(), 1);
        std::filesystem::create_directories(vxipnp());
        std::filesystem::create_directories(zuvxi());
        setenv("VXIPNPPATH", vxipnp().c_str(), 1);
        setenv("ZUVXIPATH", zuvxi().c_str(), 1);
        const char* path = std::getenv("PATH");
        savedPath = path ? path : "";
        std::strcpy(appFindExpr, "?*");
        firstCheck = 1;
    }
    void TearDown() override {
        for (const std::string& f : UiTest_Failures()) ADD_FAILURE() << f;
        VisaLib_Unload();
        UiTest_Reset();
        for (const char* name : {"ZUVISA_CONFIG", "TALMIK_VISA_LIBRARY", "VXIPNPPATH", "ZUVXIPATH"}) unsetenv(name);
        setenv("PATH", savedPath.c_str(), 1);
    }
    static std::string binFile(const char* name) { return std::string(std::getenv("TALMIK_BIN_DIR")) + "/" + name; }
    std::string vxipnp() const { return dir.file("vxipnp"); }
    std::string zuvxi() const { return dir.file("zuvxi"); }
    std::string settings() const { return readFile(dir.file("talmik.ini")); }

    // Runs talmik with this settings file; check runs in its main loop.
    void run(std::function<void()> check, const std::string& settingsText = "", short find = 1) {
        writeFile(dir.file("talmik.ini"), settingsText);
        bool ran = false;
        UiTest_OnLoop([&] {
            ran = true;
            check();
            UiTest_AnswerConfirm(1);
            UiTest_ClosePanel(rsrcpanel);
        });
        EXPECT_EQ(talmik_main(find), 0);
        EXPECT_TRUE(ran);
    }
    std::vector<std::string> messages() const {
        std::vector<std::string> out;
        for (const UiTestPopup& p : UiTest_Popups())
            if (p.kind == UITEST_MESSAGE) out.push_back(p.text);
        return out;
    }

    TempDir dir;
    std::string savedPath;
};

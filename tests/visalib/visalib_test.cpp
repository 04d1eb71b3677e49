#include "visalib/visalib.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "zuvisa/zuvisa.h"

namespace {

class VisaLib : public ::testing::Test {
protected:
    void TearDown() override {
        VisaLib_Unload();
        unsetenv("TALMIK_VISA_LIBRARY");
    }
    static void choose(const char* variable) {
        const char* path = std::getenv(variable);
        ASSERT_NE(path, nullptr) << variable;
        setenv("TALMIK_VISA_LIBRARY", path, 1);
    }
    static ViUInt16 manufacturerOf(ViSession rm) {
        ViUInt16 id = 0;
        EXPECT_EQ(viGetAttribute(rm, VI_ATTR_RSRC_MANF_ID, &id), VI_SUCCESS);
        return id;
    }
};

TEST_F(VisaLib, BindsTheChosenLibraryOnFirstCall) {
    choose("ZUVISA_LIBRARY");
    ViSession rm = VI_NULL;
    ASSERT_GE(viOpenDefaultRM(&rm), VI_SUCCESS);  // loads on first use
    EXPECT_EQ(manufacturerOf(rm), HOUSE_MANF_ID);
    EXPECT_EQ(std::string(VisaLib_Path()), std::getenv("ZUVISA_LIBRARY"));
    EXPECT_STREQ(VisaLib_Error(), "");
    char text[256] = "";
    EXPECT_EQ(viStatusDesc(rm, VI_ERROR_TMO, text), VI_SUCCESS);
    EXPECT_GT(std::string(text).size(), 0u);
    EXPECT_EQ(viClose(rm), VI_SUCCESS);
}

TEST_F(VisaLib, AnotherManufacturersLibrary) {
    choose("FOREIGN_VISA_LIBRARY");
    ViSession rm = VI_NULL;
    ASSERT_GE(viOpenDefaultRM(&rm), VI_SUCCESS);
    EXPECT_NE(manufacturerOf(rm), HOUSE_MANF_ID);
    // Everything else still works through it.
    ViFindList list;
    ViUInt32 count = 0;
    char name[VI_FIND_BUFLEN];
    EXPECT_GE(viFindRsrc(rm, "?*INSTR", &list, &count, name), VI_SUCCESS);
    EXPECT_GT(count, 0u);
    viClose(list);
    viClose(rm);
}

TEST_F(VisaLib, FailuresAreReportedNeverFatal) {
    const struct {
        const char* what;
        std::string path;
        std::string expect;
    } cases[] = {
        {"missing file", "/nonexistent/libvisa-x.so", "cannot be loaded"},
        {"not a library", std::string(std::getenv("TALMIK_TEST_DATA")) + "/CMakeLists.txt", "cannot be loaded"},
        {"lacking functions", std::getenv("PARTIAL_VISA_LIBRARY"), "lacks the VISA function"},
    };
    for (const auto& c : cases) {
        VisaLib_Unload();
        setenv("TALMIK_VISA_LIBRARY", c.path.c_str(), 1);
        EXPECT_EQ(VisaLib_Load(), -1) << c.what;
        EXPECT_NE(std::string(VisaLib_Error()).find(c.expect), std::string::npos) << VisaLib_Error();
        EXPECT_NE(std::string(VisaLib_Error()).find(c.path), std::string::npos) << c.what;
        ViSession rm = 77;
        EXPECT_EQ(viOpenDefaultRM(&rm), VI_ERROR_LIBRARY_NFOUND) << c.what;
        ViUInt8 byte = 5;
        viPeek8(1, nullptr, &byte);  // no library: nothing happens, nothing crashes
        EXPECT_EQ(byte, 5);
    }
}

}  // namespace

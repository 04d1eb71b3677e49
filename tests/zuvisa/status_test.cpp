#include "zuvisa/status.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "zuvisa/zuvisa.h"

namespace zuvisa {
namespace {

TEST(Status, EveryCodeOnceWithNameAndDescription) {
    int n = 0;
    const StatusInfo* t = statusTable(&n);
    std::set<ViStatus> codes;
    std::set<std::string> names;
    for (int i = 0; i < n; ++i) {
        EXPECT_TRUE(codes.insert(t[i].status).second) << t[i].name;
        EXPECT_TRUE(names.insert(t[i].name).second) << t[i].name;
        EXPECT_GT(std::strlen(t[i].description), 10u) << t[i].name;
        EXPECT_LT(std::strlen(t[i].description), 256u) << t[i].name;
        bool error = t[i].status < 0;
        EXPECT_EQ(error, std::string(t[i].name).rfind("VI_ERROR_", 0) == 0) << t[i].name;
    }
    EXPECT_GE(n, 96);
}

TEST(Status, KnowsTheCodesTheApplicationTableNames) {
    const char* names[] = {"VI_SUCCESS", "VI_SUCCESS_DEV_NPRESENT", "VI_WARN_CONFIG_NLOADED",
                           "VI_ERROR_TMO", "VI_ERROR_NSUP_ALIGN_OFFSET", "VI_ERROR_NPERMISSION",
                           "VI_ERROR_MACHINE_NAVAIL", "VI_ERROR_QUEUE_ERROR"};
    int n = 0;
    const StatusInfo* t = statusTable(&n);
    for (const char* name : names) {
        bool found = false;
        for (int i = 0; i < n; ++i) found |= std::string(t[i].name) == name;
        EXPECT_TRUE(found) << name;
    }
    EXPECT_STREQ(findStatus(static_cast<ViStatus>(0xBFFF0015))->name, "VI_ERROR_TMO");
    EXPECT_EQ(findStatus(static_cast<ViStatus>(0xBFFF00A9)), nullptr);
}

TEST(Status, StatusDescThroughTheApi) {
    ViSession rm = 0;
    ASSERT_GE(viOpenDefaultRM(&rm), VI_SUCCESS);
    char desc[256];
    EXPECT_EQ(viStatusDesc(rm, VI_ERROR_TMO, desc), VI_SUCCESS);
    EXPECT_STREQ(desc, findStatus(VI_ERROR_TMO)->description);
    EXPECT_EQ(viStatusDesc(rm, static_cast<ViStatus>(0xBFFF00A9), desc), VI_WARN_UNKNOWN_STATUS);
    EXPECT_NE(std::string(desc).find("0xBFFF00A9"), std::string::npos);
    EXPECT_EQ(viStatusDesc(12345, VI_SUCCESS, desc), VI_ERROR_INV_OBJECT);
    viClose(rm);
}

}  // namespace
}  // namespace zuvisa

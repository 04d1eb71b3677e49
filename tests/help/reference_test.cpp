// The VISA reference keeps step with what talmik offers: every operation, attribute, event and
// status of the catalogues has a page, found by its VISA name.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "session/statusnames.h"

namespace {

std::set<std::string> linesOf(const std::string& path) {
    std::ifstream in(path);
    std::set<std::string> out;
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#') out.insert(line);
    return out;
}

std::string dataFile(const char* name) {
    return std::string(TALMIK_TEST_DATA_DIR) + "/data/" + name;
}

class Reference : public ::testing::Test {
  protected:
    void SetUp() override {
        keywords = linesOf(std::getenv("REFERENCE_KEYWORDS"));
        ASSERT_GT(keywords.size(), 250u) << "the reference was not built";
    }
    // Names without a page, for the failure message.
    std::string missing(const std::set<std::string>& names) {
        std::string out;
        for (const std::string& n : names)
            if (!keywords.count(n)) out += n + " ";
        return out;
    }
    std::set<std::string> keywords;
};

TEST_F(Reference, EveryStatusOfTheStatusTableHasAPage) {
    std::set<std::string> names;
    for (const ErrorListEntry* row = errorList; row->name; ++row) names.insert(row->name);
    ASSERT_EQ(names.size(), 96u);
    EXPECT_EQ(missing(names), "");
}

// Until the catalogues of the session window, the attributes and the events are part of the
// program, their names come from data files kept with the catalogue tables.
TEST_F(Reference, EveryOperationAttributeAndEventHasAPage) {
    const struct {
        const char* file;
        size_t count;
    } catalogues[] = {{"operations.txt", 69}, {"attributes.txt", 117}, {"events.txt", 23}};
    for (const auto& c : catalogues) {
        std::set<std::string> names = linesOf(dataFile(c.file));
        EXPECT_EQ(names.size(), c.count) << c.file;
        EXPECT_EQ(missing(names), "") << c.file;
    }
}

TEST_F(Reference, TheHelpCollectionAndEveryPageAreBuilt) {
    std::filesystem::path bin = std::getenv("TALMIK_BIN_DIR");
    EXPECT_TRUE(std::filesystem::is_regular_file(bin / "ZU-visa.hlp"));
    EXPECT_TRUE(std::filesystem::is_regular_file(bin / "ZU-visa.qch"));
    std::filesystem::path html =
        std::filesystem::path(std::getenv("REFERENCE_KEYWORDS")).parent_path() / "html";
    // Every keyword leads to a page; aliases (viIn16 and the like) lead to their family's page.
    for (const char* page :
         {"viRead", "VI_ATTR_TMO_VALUE", "VI_EVENT_SERVICE_REQ", "VI_ERROR_TMO", "index"})
        EXPECT_TRUE(std::filesystem::is_regular_file(html / (std::string(page) + ".html"))) << page;
}

}  // namespace

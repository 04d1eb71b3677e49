// The VISA reference keeps step with what talmik offers: every operation, attribute, event and
// status of the catalogues has a page, found by its VISA name.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "attrevents/attrlist.h"
#include "attrevents/eventlist.h"
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

TEST_F(Reference, EveryAttributeAndEventOfTheCataloguesHasAPage) {
    std::set<std::string> attributes, events;
    for (const AttrListEntry* row = attrList; row->viName; ++row) attributes.insert(row->viName);
    for (const EventListEntry* row = eventList; row->viName; ++row) events.insert(row->viName);
    // Reached only by number through "<Other>...", and still worth a page.
    events.insert("VI_EVENT_TCPIP_CONNECT");
    EXPECT_GT(attributes.size(), 100u);
    EXPECT_GT(events.size(), 20u);
    EXPECT_EQ(missing(attributes), "");
    EXPECT_EQ(missing(events), "");
}

// The operation panels are the session window's forms named after their operation; the other
// calls are the forms each panel makes of its operation and what the program calls besides.
TEST_F(Reference, EveryOperationTalmikCallsHasAPage) {
    std::set<std::string> operations = linesOf(dataFile("operations.txt"));
    size_t panels = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TALMIK_VISAIO_UI_DIR)) {
        const std::string stem = entry.path().stem().string();
        if (entry.path().extension() == ".ui" && stem.rfind("vi", 0) == 0) {
            operations.insert(stem);
            ++panels;
        }
    }
    EXPECT_EQ(panels, 40u);
    EXPECT_EQ(missing(operations), "");
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

#include "uiruntime/uirbundle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support.h"

namespace {

std::vector<unsigned char> exampleBundle() {
    char dir[1024];
    EXPECT_EQ(GetProjectDir(dir), 0);
    std::string s = readFile(std::string(dir) + "/example.uir");
    return std::vector<unsigned char>(s.begin(), s.end());
}

uint32_t be32(const std::vector<unsigned char>& d, size_t at) {
    return (uint32_t(d[at]) << 24) | (uint32_t(d[at + 1]) << 16) | (uint32_t(d[at + 2]) << 8) | d[at + 3];
}

void put32(std::vector<unsigned char>& d, size_t at, uint32_t v) {
    d[at] = v >> 24, d[at + 1] = v >> 16, d[at + 2] = v >> 8, d[at + 3] = v;
}

int check(const std::vector<unsigned char>& d, std::string* error = nullptr) {
    std::vector<std::string> files;
    std::string e;
    int rc = uir::checkResourceBundle(d.data(), d.size(), &files, &e);
    if (error) *error = e;
    return rc;
}

TEST(ResourceBundle, ListsTheFormsAtItsRoot) {
    std::vector<unsigned char> d = exampleBundle();
    ASSERT_GT(d.size(), 24u);
    std::vector<std::string> files;
    std::string error;
    ASSERT_EQ(uir::checkResourceBundle(d.data(), d.size(), &files, &error), 0) << error;
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files, (std::vector<std::string>{"child.ui", "dialog.ui", "example.ui"}));
}

// Damage at each header field and in the tree must give a status, never a read out of bounds.
TEST(ResourceBundle, RefusesDamagedFiles) {
    const std::vector<unsigned char> good = exampleBundle();
    const uint32_t tree = be32(good, 8), data = be32(good, 12), names = be32(good, 16);
    struct Damage {
        const char* what;
        std::function<void(std::vector<unsigned char>&)> apply;
        const char* reason;
    } cases[] = {
        {"magic", [](auto& d) { d[0] = 'x'; }, "not a resource bundle"},
        {"version 0", [](auto& d) { put32(d, 4, 0); }, "version"},
        {"version 9", [](auto& d) { put32(d, 4, 9); }, "version"},
        {"tree beyond the end", [](auto& d) { put32(d, 8, static_cast<uint32_t>(d.size())); }, "outside"},
        {"names beyond the end", [](auto& d) { put32(d, 16, 0xFFFFFF00u); }, "outside"},
        {"data beyond the end", [](auto& d) { put32(d, 12, 0xFFFFFF00u); }, "outside"},
        {"root not a directory", [tree](auto& d) { d[tree + 5] = 0; }, "root"},
        {"unknown flags", [tree](auto& d) { d[tree + 5] |= 0x40; }, "flags"},
        {"children behind their parent", [tree](auto& d) { put32(d, tree + 10, 0); }, "backwards"},
        {"huge child count", [tree](auto& d) { put32(d, tree + 6, 0x7FFFFFFF); }, "too many"},
        {"first file's data size", [tree, data](auto& d) {
             // The root's first child is a file; make its data block claim more than there is.
             uint32_t first = be32(d, tree + 10);
             size_t node = tree + first * 22;
             put32(d, data + be32(d, node + 10), 0x7FFFFFF0u);
         }, "data block"},
        {"first name's length", [tree, names](auto& d) {
             uint32_t first = be32(d, tree + 10);
             size_t node = tree + first * 22;
             size_t at = names + be32(d, node);
             d[at] = 0xFF, d[at + 1] = 0xFF;
         }, "name"},
        {"zstd entry", [tree](auto& d) {
             uint32_t first = be32(d, tree + 10);
             d[tree + first * 22 + 5] = 0x04;
         }, "zstd"},
    };
    for (auto& c : cases) {
        std::vector<unsigned char> d = good;
        c.apply(d);
        std::string error;
        EXPECT_EQ(check(d, &error), UIEBadResourceFile) << c.what;
        EXPECT_NE(error.find(c.reason), std::string::npos) << c.what << ": " << error;
    }
    for (size_t cut : {size_t(0), size_t(3), size_t(19), size_t(23), good.size() / 2, good.size() - 1}) {
        std::vector<unsigned char> d(good.begin(), good.begin() + static_cast<long>(cut));
        EXPECT_EQ(check(d), UIEBadResourceFile) << "cut at " << cut;
    }
}

// Every single byte of the header and tree changed to every value of a few: the checker must
// survive each (the sanitizers watch the reads).
TEST(ResourceBundle, SurvivesEveryByteOfItsStructureChanged) {
    const std::vector<unsigned char> good = exampleBundle();
    const size_t tree = be32(good, 8);
    std::vector<size_t> positions;
    for (size_t k = 0; k < 24; ++k) positions.push_back(k);
    for (size_t k = tree; k < std::min(good.size(), tree + 22 * 12); ++k) positions.push_back(k);
    int refused = 0;
    for (size_t at : positions)
        for (unsigned char v : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
            std::vector<unsigned char> d = good;
            d[at] = v;
            if (check(d) != 0) ++refused;
        }
    EXPECT_GT(refused, 0);
}

TEST(ResourceBundle, RefusesNullAndOversizedInput) {
    EXPECT_EQ(uir::checkResourceBundle(nullptr, 10, nullptr, nullptr), UIENullPointer);
    unsigned char byte = 0;
    EXPECT_EQ(uir::checkResourceBundle(&byte, uir::kMaxBundleSize + 1, nullptr, nullptr), UIEBadResourceFile);
}

}  // namespace

#include "toolslib/toolbox/arraysort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

TEST(BinSearch, FoundIndexOrComplementOfInsertionIndex) {
    const int a[] = {1, 3, 5, 7};
    const struct {
        int key, expect;
    } cases[] = {{1, 0}, {7, 3}, {5, 2}, {0, ~0}, {2, ~1}, {4, ~2}, {6, ~3}, {8, ~4}};
    for (const auto& c : cases)
        EXPECT_EQ(BinSearch(a, 4, sizeof(int), &c.key, IntCompare), c.expect) << c.key;
    int key = 1;
    EXPECT_EQ(BinSearch(a, 0, sizeof(int), &key, IntCompare), ~0);
}

TEST(QSort, DeepInputsStayWithinTheRangeStack) {
    // Organ-pipe and sawtooth inputs push unbalanced partitions.
    std::vector<int> v;
    for (int i = 0; i < 20000; ++i) v.push_back(i < 10000 ? i : 20000 - i);
    for (int i = 0; i < 20000; ++i) v.push_back(i % 17);
    std::vector<int> expect = v;
    std::sort(expect.begin(), expect.end());
    QSort(v.data(), static_cast<int>(v.size()), sizeof(int), IntCompare);
    EXPECT_EQ(v, expect);
}

TEST(Sorts, ItemSizesChooseEveryExchange) {
    // Items of 2, 6 and 8 bytes keyed by their first byte.
    for (size_t size : {2u, 6u, 8u}) {
        std::vector<unsigned char> data(size * 50);
        for (int i = 0; i < 50; ++i)
            for (size_t k = 0; k < size; ++k)
                data[i * size + k] = static_cast<unsigned char>((i * 37) % 50);
        QSort(data.data(), 50, size, nullptr);
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(data[i * size], i) << size;
            EXPECT_EQ(data[i * size + size - 1], i) << size;  // the whole item moved
        }
    }
}

}  // namespace

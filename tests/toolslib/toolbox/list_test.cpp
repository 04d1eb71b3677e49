#include "toolslib/toolbox/list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Header field "number of items allocated" (the fourth 32-bit field).
int allocated(ListType list) {
    return static_cast<const int32_t*>(list->block)[3];
}

ListType listOf(std::initializer_list<int> values) {
    ListType list = ListCreate(sizeof(int));
    for (int v : values) ListInsertItem(list, &v, END_OF_LIST);
    return list;
}

std::vector<int> contents(ListType list) {
    std::vector<int> out(ListNumItems(list));
    if (!out.empty()) ListGetItems(list, out.data(), 1, static_cast<int>(out.size()));
    return out;
}

TEST(Handle, SizesAndZeroFill) {
    Handle h = NewHandle(0);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(h->block, nullptr);
    ASSERT_EQ(SetHandleSize(h, 8), 1);
    EXPECT_EQ(GetHandleSize(h), 8u);
    std::memset(h->block, 0xAB, 8);
    ASSERT_EQ(SetHandleSize(h, 16), 1);
    const unsigned char* bytes = static_cast<const unsigned char*>(h->block);
    EXPECT_EQ(bytes[7], 0xAB);  // kept
    EXPECT_EQ(bytes[8], 0);     // grown bytes are zero
    EXPECT_EQ(bytes[15], 0);
    DisposeHandle(h);
    DisposeHandle(nullptr);
}

TEST(HandleDeathTest, NullHandleAsserts) {
    EXPECT_DEATH(SetHandleSize(nullptr, 1), "Parameter 1 to SetHandleSize was NULL.");
    EXPECT_DEATH(GetHandleSize(nullptr), "Parameter 1 to GetHandleSize was NULL.");
}

TEST(List, GrowthRule) {
    ListType list = ListCreate(sizeof(int));
    std::vector<int> seen = {allocated(list)};
    for (int i = 0; i < 51; ++i) {
        ListInsertItem(list, &i, END_OF_LIST);
        if (allocated(list) != seen.back()) seen.push_back(allocated(list));
    }
    EXPECT_EQ(seen, (std::vector<int>{0, 5, 11, 24, 51}));

    // Several items into too few free places still grow, by the rule plus the items inserted.
    ListType two = listOf({1, 2, 3, 4});  // allocated 5, one place free
    int block[3] = {7, 8, 9};
    ASSERT_EQ(ListInsertItems(two, block, 2, 3), 1);
    EXPECT_EQ(allocated(two), 5 + 5 + 3);
    EXPECT_EQ(contents(two), (std::vector<int>{1, 7, 8, 9, 2, 3, 4}));

    ListCompact(two);
    EXPECT_EQ(allocated(two), 7);
    ASSERT_EQ(ListPreAllocate(two, 3), 1);
    EXPECT_EQ(allocated(two), 10);
    ListDispose(list);
    ListDispose(two);
}

TEST(List, SpecialPositions) {
    ListType list = ListCreate(sizeof(int));
    int x = 5, y = 0;
    ASSERT_EQ(ListInsertItem(list, &x, FRONT_OF_LIST), 1);
    x = 6;
    ASSERT_EQ(ListInsertItem(list, &x, FRONT_OF_LIST), 1);
    x = 7;
    ASSERT_EQ(ListInsertItem(list, &x, 3), 1);  // n+1 is the end
    EXPECT_EQ(ListInsertItem(list, &x, 5), 0);  // beyond n+1
    EXPECT_EQ(ListInsertItem(list, &x, -2), 0);
    EXPECT_EQ(ListInsertItems(list, &x, 1, 0), 0);
    EXPECT_EQ(contents(list), (std::vector<int>{6, 5, 7}));

    ListGetItem(list, &y, END_OF_LIST);
    EXPECT_EQ(y, 7);
    ListGetItem(list, &y, FRONT_OF_LIST);
    EXPECT_EQ(y, 6);
    y = -1;
    ListGetItem(list, &y, 4);
    EXPECT_EQ(y, -1);
    EXPECT_EQ(ListGetPtrToItem(list, 4), nullptr);
    EXPECT_EQ(*static_cast<int*>(ListGetPtrToItem(list, 2)), 5);

    int removed[2] = {0, 0};
    ListRemoveItems(list, removed, END_OF_LIST, 2);  // runs past the end: nothing
    EXPECT_EQ(ListNumItems(list), 3);
    ListRemoveItems(list, removed, 1, 2);
    EXPECT_EQ(removed[0], 6);
    EXPECT_EQ(removed[1], 5);
    EXPECT_EQ(contents(list), (std::vector<int>{7}));

    ListInsertItems(list, nullptr, FRONT_OF_LIST, 2);  // zero-filled
    EXPECT_EQ(contents(list), (std::vector<int>{0, 0, 7}));
    int r[2] = {3, 4};
    ListReplaceItems(list, r, 1, 2);
    ListReplaceItems(list, r, 3, 2);  // past the end: ignored
    EXPECT_EQ(contents(list), (std::vector<int>{3, 4, 7}));
    ListClear(list);
    EXPECT_EQ(ListNumItems(list), 0);
    ListGetItem(list, &y, END_OF_LIST);
    EXPECT_EQ(y, -1);
    ListDispose(list);
}

TEST(List, CopyAppendEqual) {
    ListType a = listOf({1, 2, 3});
    ListType b = ListCopy(a);
    EXPECT_EQ(ListEqual(a, b), 1);
    EXPECT_EQ(allocated(b), 3);
    ASSERT_EQ(ListAppend(b, a), 1);
    EXPECT_EQ(contents(b), (std::vector<int>{1, 2, 3, 1, 2, 3}));
    EXPECT_EQ(allocated(b), 6);
    EXPECT_EQ(ListEqual(a, b), 0);
    EXPECT_EQ(ListEqual(a, nullptr), 0);
    EXPECT_EQ(ListEqual(a, a), 1);
    ASSERT_EQ(ListAppend(a, a), 1);  // onto itself
    EXPECT_EQ(ListEqual(a, b), 1);
    EXPECT_EQ(ListAppend(a, nullptr), 1);
    ListType shorts = ListCreate(sizeof(short));
    short s = 1;
    ListInsertItem(shorts, &s, END_OF_LIST);
    EXPECT_EQ(ListAppend(a, shorts), 0);  // other item size
    EXPECT_EQ(ListCopy(nullptr), nullptr);
    ListDispose(a);
    ListDispose(b);
    ListDispose(shorts);
}

TEST(List, SearchAndOrder) {
    ListType list = listOf({1, 3, 5});
    int key = 3;
    EXPECT_EQ(ListBinSearch(list, &key, IntCompare), 2);
    key = 4;
    EXPECT_EQ(ListBinSearch(list, &key, IntCompare), 0);
    ASSERT_EQ(ListInsertInOrder(list, &key, IntCompare), 1);
    EXPECT_EQ(contents(list), (std::vector<int>{1, 3, 4, 5}));
    key = 9;
    ListInsertInOrder(list, &key, IntCompare);
    key = 0;
    ListInsertInOrder(list, &key, IntCompare);
    EXPECT_EQ(contents(list), (std::vector<int>{0, 1, 3, 4, 5, 9}));
    EXPECT_EQ(ListIsSorted(list, IntCompare), 1);
    key = 4;
    EXPECT_EQ(ListFindItem(list, &key, FRONT_OF_LIST, nullptr), 4);
    EXPECT_EQ(ListFindItem(list, &key, 5, IntCompare), 0);  // starts after it
    ListDispose(list);

    ListType dups = listOf({1, 2, 1, 3, 2});
    ListRemoveDuplicates(dups, IntCompare);
    EXPECT_EQ(contents(dups), (std::vector<int>{1, 2, 3}));
    ListDispose(dups);

    ListType empty = ListCreate(sizeof(int));
    key = 4;
    ASSERT_EQ(ListInsertInOrder(empty, &key, IntCompare), 1);
    EXPECT_EQ(contents(empty), (std::vector<int>{4}));
    ListDispose(empty);
}

struct SortCase {
    const char* name;
    void (*sort)(ListType, CompareFunction);
};

class ListSorts : public ::testing::TestWithParam<SortCase> {};

TEST_P(ListSorts, SortLikeTheStandardLibrary) {
    std::srand(7);
    for (int n : {0, 1, 2, 3, 4, 5, 17, 100, 1000}) {
        for (int range : {3, 1000000}) {  // many duplicates, then few
            ListType list = ListCreate(sizeof(int));
            std::vector<int> expect;
            for (int i = 0; i < n; ++i) {
                int v = std::rand() % range - range / 2;
                expect.push_back(v);
                ListInsertItem(list, &v, END_OF_LIST);
            }
            std::sort(expect.begin(), expect.end());
            GetParam().sort(list, IntCompare);
            EXPECT_EQ(contents(list), expect) << GetParam().name << " n=" << n;
            ListDispose(list);
        }
    }
    // Already sorted and reversed inputs, and odd item sizes through the byte compare.
    ListType rev = ListCreate(3);
    for (int i = 255; i >= 0; --i) {
        unsigned char item[3] = {static_cast<unsigned char>(i), 0,
                                 static_cast<unsigned char>(255 - i)};
        ListInsertItem(rev, item, END_OF_LIST);
    }
    GetParam().sort(rev, nullptr);
    EXPECT_EQ(ListIsSorted(rev, nullptr), 1) << GetParam().name;
    EXPECT_EQ(static_cast<unsigned char*>(ListGetPtrToItem(rev, 1))[2], 255);
    ListDispose(rev);
}

INSTANTIATE_TEST_SUITE_P(All, ListSorts,
                         ::testing::Values(SortCase{"quick", ListQuickSort},
                                           SortCase{"heap", ListHeapSort},
                                           SortCase{"insertion", ListInsertionSort}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(List, InsertionSortIsStable) {
    struct Pair {
        int key, order;
    };
    ListType list = ListCreate(sizeof(Pair));
    for (int i = 0; i < 20; ++i) {
        Pair p{i % 3, i};
        ListInsertItem(list, &p, END_OF_LIST);
    }
    ListInsertionSort(list, IntCompare);  // compares the leading key only
    for (int i = 1; i < 20; ++i) {
        auto* a = static_cast<Pair*>(ListGetPtrToItem(list, i));
        auto* b = static_cast<Pair*>(ListGetPtrToItem(list, i + 1));
        if (a->key == b->key) {
            EXPECT_LT(a->order, b->order);
        }
    }
    ListDispose(list);
}

TEST(List, ApplyToEachStopsAtNegative) {
    ListType list = listOf({1, 2, 3, 4});
    std::vector<int> visited;
    auto visit = [](int position, void* item, void* data) {
        static_cast<std::vector<int>*>(data)->push_back(position);
        return *static_cast<int*>(item) == 2 ? -7 : 10;
    };
    EXPECT_EQ(ListApplyToEach(list, 1, visit, &visited), -7);
    EXPECT_EQ(visited, (std::vector<int>{1, 2}));
    visited.clear();
    EXPECT_EQ(ListApplyToEach(list, 0, visit, &visited), -7);
    EXPECT_EQ(visited, (std::vector<int>{4, 3, 2}));
    ListDispose(list);
}

TEST(List, DisposePtrListFreesItems) {
    ListType list = ListCreate(sizeof(char*));
    for (const char* s : {"a", "bb"}) {
        char* copy = strdup(s);
        ListInsertItem(list, &copy, END_OF_LIST);
    }
    ListDisposePtrList(list);  // leak checkers would flag the strings otherwise
    SUCCEED();
}

std::string output(ListType list, const char* header, const char* trailer, const char* prefix,
                   const char* separator, OutputFunction f, int* result) {
    char* text = nullptr;
    size_t size = 0;
    FILE* stream = open_memstream(&text, &size);
    *result = OutputList(list, stream, header, trailer, prefix, separator, f);
    std::fclose(stream);
    std::string s(text, size);
    std::free(text);
    return s;
}

TEST(List, OutputList) {
    ListType list = listOf({10, 20, 30});
    int result = 0;
    EXPECT_EQ(output(list, "{", "}", "#%d:", ", ", OutputIntegerItem, &result),
              "{#1:10, #2:20, #3:30}");
    EXPECT_EQ(result, 21);
    // A numbered separator also numbers the trailer with the count.
    EXPECT_EQ(output(list, nullptr, " n=%d", nullptr, " |%d| ", OutputIntegerItem, &result),
              "10 |1| 20 |2| 30 n=3");
    EXPECT_EQ(output(list, nullptr, " n=%d", nullptr, ",", OutputIntegerItem, &result),
              "10,20,30 n=%d");
    EXPECT_EQ(output(list, "h", "t", nullptr, ",", nullptr, &result), "");
    EXPECT_EQ(result, 0);
    ListDispose(list);

    ListType strings = ListCreate(sizeof(const char*));
    const char* words[] = {"x", "y"};
    ListInsertItems(strings, words, END_OF_LIST, 2);
    EXPECT_EQ(output(strings, nullptr, nullptr, "100%% ", "/", OutputStringItem, &result),
              "100% x/100% y");
    ListDispose(strings);
}

}  // namespace

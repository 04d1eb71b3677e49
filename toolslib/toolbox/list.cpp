#include "toolslib/toolbox/list.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "toolslib/toolbox/arraysort.h"
#include "toolslib/toolbox/diagnostics.h"

namespace {

constexpr int32_t kListSignature = 0x4C495354;  // "LIST"
constexpr size_t kSpareBytes = 4;

struct ListHeader {
    int32_t signature;
    int32_t percentIncrease;
    int32_t minItemsPerIncrease;
    int32_t numAllocated;
    int32_t itemSize;
    int32_t numItems;
};

ListHeader* header(ListType list) {
    return static_cast<ListHeader*>(list->block);
}
char* items(ListType list) {
    return static_cast<char*>(list->block) + sizeof(ListHeader);
}
char* itemAt(ListType list, int position) {  // position from 1
    return items(list) + static_cast<size_t>(position - 1) * header(list)->itemSize;
}
int count(ListType list) {
    return list ? header(list)->numItems : 0;
}
size_t itemSize(ListType list) {
    return static_cast<size_t>(header(list)->itemSize);
}

// Resizes the item space to exactly numAllocated places; false when memory runs out or the
// size does not fit.
bool resizeSpace(ListType list, long long numAllocated) {
    if (numAllocated > INT_MAX) return false;
    size_t size = itemSize(list);
    if (numAllocated > 0 &&
        size > (SIZE_MAX - sizeof(ListHeader) - kSpareBytes) / static_cast<size_t>(numAllocated))
        return false;
    size_t bytes = sizeof(ListHeader) + static_cast<size_t>(numAllocated) * size + kSpareBytes;
    if (!SetHandleSize(list, bytes)) return false;
    header(list)->numAllocated = static_cast<int32_t>(numAllocated);
    return true;
}

// Grows by the list's rule when numNew more items do not fit in the free places.
bool makeRoomFor(ListType list, int numNew) {
    ListHeader* h = header(list);
    if (static_cast<long long>(h->numItems) + numNew <= h->numAllocated) return true;
    long long proportional =
        static_cast<long long>(h->numAllocated) * (100 + h->percentIncrease) / 100;
    long long added =
        (proportional > h->minItemsPerIncrease ? proportional : h->minItemsPerIncrease) + numNew;
    return resizeSpace(list, h->numAllocated + added);
}

// Position for insertion: 1..n+1, or 0 when refused.
int insertionPosition(ListType list, int position) {
    int n = count(list);
    if (position == FRONT_OF_LIST) return n > 0 ? 1 : n + 1;
    if (position == END_OF_LIST) return n + 1;
    if (position < 1 || position > n + 1) return 0;
    return position;
}

// First position of a range of numItems existing items, or 0 when it does not fit.
int rangePosition(ListType list, int position, int numItems) {
    int n = count(list);
    if (n == 0 || numItems < 1) return 0;
    if (position == FRONT_OF_LIST) position = 1;
    if (position == END_OF_LIST) position = n;
    if (position < 1 || position > n) return 0;
    if (static_cast<long long>(position) + numItems - 1 > n) return 0;
    return position;
}

// Writes text to the stream with "%d" replaced by number (when useNumber) and "%%" by "%".
int printWithNumber(FILE* stream, const char* text, bool useNumber, int number) {
    std::string out;
    for (const char* p = text; *p; ++p) {
        if (p[0] == '%' && p[1] == 'd' && useNumber) {
            out += std::to_string(number);
            ++p;
        } else if (p[0] == '%' && p[1] == '%') {
            out += '%';
            ++p;
        } else {
            out += *p;
        }
    }
    if (!out.empty() && std::fwrite(out.data(), 1, out.size(), stream) != out.size()) return -1;
    return static_cast<int>(out.size());
}

bool containsNumberDirective(const char* text) {
    return text && std::strstr(text, "%d");
}

template <typename T>
int compareValues(const void* a, const void* b) {
    T x, y;
    std::memcpy(&x, a, sizeof x);
    std::memcpy(&y, b, sizeof y);
    return x < y ? -1 : (y < x ? 1 : 0);
}

}  // namespace

Handle NewHandle(size_t size) {
    Handle h = static_cast<Handle>(std::malloc(sizeof(HandleRecord)));
    if (!h) return nullptr;
    h->block = nullptr;
    h->size = 0;
    if (size > 0) {
        h->block = std::calloc(1, size);
        if (!h->block) {
            std::free(h);
            return nullptr;
        }
        h->size = size;
    }
    return h;
}

int SetHandleSize(Handle h, size_t size) {
    DoAssert(h != nullptr, kToolboxModule, __LINE__, "Parameter 1 to SetHandleSize was NULL.");
    if (size == h->size) return 1;
    if (size == 0) {
        std::free(h->block);
        h->block = nullptr;
        h->size = 0;
        return 1;
    }
    void* block = std::realloc(h->block, size);
    if (!block) return 0;
    if (size > h->size) std::memset(static_cast<char*>(block) + h->size, 0, size - h->size);
    h->block = block;
    h->size = size;
    return 1;
}

size_t GetHandleSize(Handle h) {
    DoAssert(h != nullptr, kToolboxModule, __LINE__, "Parameter 1 to GetHandleSize was NULL.");
    return h->size;
}

void DisposeHandle(Handle h) {
    if (!h) return;
    std::free(h->block);
    std::free(h);
}

ListType ListCreate(size_t size) {
    if (size == 0 || size > INT32_MAX) return nullptr;
    ListType list = NewHandle(sizeof(ListHeader) + kSpareBytes);
    if (!list) return nullptr;
    *header(list) = {kListSignature, 10, 4, 0, static_cast<int32_t>(size), 0};
    return list;
}

void ListSetAllocationPolicy(ListType list, int minItemsPerAlloc, int percentIncrease) {
    if (!list) return;
    header(list)->minItemsPerIncrease = minItemsPerAlloc < 0 ? 0 : minItemsPerAlloc;
    header(list)->percentIncrease = percentIncrease < 0 ? 0 : percentIncrease;
}

void ListDispose(ListType list) {
    DisposeHandle(list);
}

void ListDisposePtrList(ListType list) {
    if (!list) return;
    for (int i = 1; i <= count(list); ++i) {
        void* p;
        std::memcpy(&p, itemAt(list, i), sizeof p);
        std::free(p);
    }
    ListDispose(list);
}

void ListClear(ListType list) {
    if (list) header(list)->numItems = 0;
}

void ListCompact(ListType list) {
    if (list) resizeSpace(list, count(list));
}

int ListPreAllocate(ListType list, int numItems) {
    if (!list) return 0;
    long long free = header(list)->numAllocated - header(list)->numItems;
    if (numItems <= free) return 1;
    return resizeSpace(list, header(list)->numAllocated + (numItems - free)) ? 1 : 0;
}

int ListNumItems(ListType list) {
    return count(list);
}
size_t ListGetItemSize(ListType list) {
    return list ? itemSize(list) : 0;
}
void* ListGetDataPtr(ListType list) {
    return list ? items(list) : nullptr;
}

int ListInsertItem(ListType list, const void* ptrToItem, int position) {
    return ListInsertItems(list, ptrToItem, position, 1);
}

int ListInsertItems(ListType list, const void* ptrToItems, int position, int numItems) {
    if (!list || numItems < 1) return 0;
    int at = insertionPosition(list, position);
    if (at == 0 || !makeRoomFor(list, numItems)) return 0;
    size_t size = itemSize(list);
    int n = count(list);
    char* dest = itemAt(list, at);
    std::memmove(dest + size * numItems, dest, size * static_cast<size_t>(n - at + 1));
    if (ptrToItems)
        std::memcpy(dest, ptrToItems, size * numItems);
    else
        std::memset(dest, 0, size * numItems);
    header(list)->numItems = n + numItems;
    return 1;
}

int ListAppend(ListType list, ListType listToAppend) {
    if (!list) return 0;
    int extra = count(listToAppend);
    if (extra == 0) return 1;
    if (itemSize(listToAppend) != itemSize(list)) return 0;
    int n = count(list);
    if (!resizeSpace(list, static_cast<long long>(n) + extra)) return 0;
    // listToAppend may be list itself: its items are still in place after the resize.
    std::memmove(items(list) + itemSize(list) * n, items(listToAppend), itemSize(list) * extra);
    header(list)->numItems = n + extra;
    return 1;
}

ListType ListCopy(ListType list) {
    if (!list) return nullptr;
    ListType copy = ListCreate(itemSize(list));
    if (!copy) return nullptr;
    ListSetAllocationPolicy(copy, header(list)->minItemsPerIncrease, header(list)->percentIncrease);
    if (!ListAppend(copy, list)) {
        ListDispose(copy);
        return nullptr;
    }
    return copy;
}

void ListGetItem(ListType list, void* ptrToItem, int position) {
    ListGetItems(list, ptrToItem, position, 1);
}

void ListGetItems(ListType list, void* ptrToItems, int position, int numItems) {
    if (!ptrToItems) return;
    int at = rangePosition(list, position, numItems);
    if (at) std::memcpy(ptrToItems, itemAt(list, at), itemSize(list) * numItems);
}

void* ListGetPtrToItem(ListType list, int position) {
    int at = rangePosition(list, position, 1);
    return at ? itemAt(list, at) : nullptr;
}

void ListReplaceItem(ListType list, const void* ptrToItem, int position) {
    ListReplaceItems(list, ptrToItem, position, 1);
}

void ListReplaceItems(ListType list, const void* ptrToItems, int position, int numItems) {
    if (!ptrToItems) return;
    int at = rangePosition(list, position, numItems);
    if (at) std::memmove(itemAt(list, at), ptrToItems, itemSize(list) * numItems);
}

void ListRemoveItem(ListType list, void* ptrToItem, int position) {
    ListRemoveItems(list, ptrToItem, position, 1);
}

void ListRemoveItems(ListType list, void* ptrToItems, int position, int numItems) {
    int at = rangePosition(list, position, numItems);
    if (!at) return;
    size_t size = itemSize(list);
    char* first = itemAt(list, at);
    if (ptrToItems) std::memcpy(ptrToItems, first, size * numItems);
    int n = count(list);
    std::memmove(first, first + size * numItems, size * static_cast<size_t>(n - at - numItems + 1));
    header(list)->numItems = n - numItems;
}

int ListEqual(ListType list1, ListType list2) {
    if (list1 == list2) return 1;
    if (!list1 || !list2) return 0;
    if (count(list1) != count(list2) || itemSize(list1) != itemSize(list2)) return 0;
    return std::memcmp(items(list1), items(list2), itemSize(list1) * count(list1)) == 0;
}

int ListFindItem(ListType list, const void* ptrToItem, int startPosition, CompareFunction compare) {
    int start = rangePosition(list, startPosition, 1);
    if (!start || !ptrToItem) return 0;
    size_t size = itemSize(list);
    for (int i = start; i <= count(list); ++i) {
        const char* item = itemAt(list, i);
        int result = compare ? compare(ptrToItem, item) : ListMemBlockCmp(ptrToItem, item, size);
        if (result == 0) return i;
    }
    return 0;
}

void ListRemoveDuplicates(ListType list, CompareFunction compare) {
    if (!list) return;
    size_t size = itemSize(list);
    for (int i = 1; i < count(list); ++i) {
        for (int j = i + 1; j <= count(list);) {
            const char* a = itemAt(list, i);
            const char* b = itemAt(list, j);
            if ((compare ? compare(a, b) : ListMemBlockCmp(a, b, size)) == 0)
                ListRemoveItem(list, nullptr, j);
            else
                ++j;
        }
    }
}

int ListBinSearch(ListType list, const void* ptrToItem, CompareFunction compare) {
    if (count(list) == 0 || !ptrToItem) return 0;
    int index = BinSearch(items(list), count(list), itemSize(list), ptrToItem, compare);
    return index >= 0 ? index + 1 : 0;
}

int ListIsSorted(ListType list, CompareFunction compare) {
    size_t size = list ? itemSize(list) : 0;
    for (int i = 1; i < count(list); ++i) {
        const char* a = itemAt(list, i);
        const char* b = a + size;
        if ((compare ? compare(a, b) : ListMemBlockCmp(a, b, size)) > 0) return 0;
    }
    return 1;
}

void ListQuickSort(ListType list, CompareFunction compare) {
    if (count(list) > 1) QSort(items(list), count(list), itemSize(list), compare);
}

void ListHeapSort(ListType list, CompareFunction compare) {
    if (count(list) > 1) HeapSort(items(list), count(list), itemSize(list), compare);
}

void ListInsertionSort(ListType list, CompareFunction compare) {
    if (count(list) > 1) InsertionSort(items(list), count(list), itemSize(list), compare);
}

int ListInsertInOrder(ListType list, const void* ptrToItem, CompareFunction compare) {
    if (!list) return 0;
    int n = count(list);
    if (n == 0) return ListInsertItem(list, ptrToItem, FRONT_OF_LIST);
    int index = BinSearch(items(list), n, itemSize(list), ptrToItem, compare);
    int insertionIndex = index >= 0 ? index : ~index;
    int position = insertionIndex + 1 > n ? END_OF_LIST : insertionIndex + 1;
    return ListInsertItem(list, ptrToItem, position);
}

int ListApplyToEach(ListType list, int ascending, ListApplicationFunc function,
                    void* callbackData) {
    if (!function) return 0;
    int n = count(list), result = 0;
    for (int k = 0; k < n; ++k) {
        int position = ascending ? k + 1 : n - k;
        result = function(position, itemAt(list, position), callbackData);
        if (result < 0) break;
    }
    return result;
}

int OutputList(ListType list, FILE* stream, const char* header, const char* trailer,
               const char* itemPrefix, const char* separator, OutputFunction outputFunction) {
    if (!outputFunction || !list) return 0;
    if (!stream) stream = stdout;
    int total = 0;
    auto add = [&total](int written) {
        if (written < 0) return false;
        total += written;
        return true;
    };
    bool separatorNumbered = containsNumberDirective(separator);
    if (header && !add(printWithNumber(stream, header, false, 0))) return -1;
    int n = count(list);
    for (int i = 1; i <= n; ++i) {
        if (itemPrefix &&
            !add(printWithNumber(stream, itemPrefix, containsNumberDirective(itemPrefix), i)))
            return -1;
        int written = outputFunction(stream, itemAt(list, i));
        if (!add(written)) return written;
        if (i < n && separator && !add(printWithNumber(stream, separator, separatorNumbered, i)))
            return -1;
    }
    if (trailer && !add(printWithNumber(stream, trailer, separatorNumbered, n))) return -1;
    return total;
}

int OutputIntegerItem(FILE* stream, const void* ptrToItem) {
    int v;
    std::memcpy(&v, ptrToItem, sizeof v);
    return std::fprintf(stream, "%d", v);
}

int OutputDoubleItem(FILE* stream, const void* ptrToItem) {
    double v;
    std::memcpy(&v, ptrToItem, sizeof v);
    return std::fprintf(stream, "%f", v);
}

int OutputShortItem(FILE* stream, const void* ptrToItem) {
    short v;
    std::memcpy(&v, ptrToItem, sizeof v);
    return std::fprintf(stream, "%hd", v);
}

int OutputStringItem(FILE* stream, const void* ptrToItem) {
    const char* s;
    std::memcpy(&s, ptrToItem, sizeof s);
    return std::fprintf(stream, "%s", s ? s : "");
}

int ShortCompare(const void* a, const void* b) {
    return compareValues<short>(a, b);
}
int IntCompare(const void* a, const void* b) {
    return compareValues<int>(a, b);
}
int FloatCompare(const void* a, const void* b) {
    return compareValues<float>(a, b);
}
int DoubleCompare(const void* a, const void* b) {
    return compareValues<double>(a, b);
}

int CStringCompare(const void* a, const void* b) {
    const char *x, *y;
    std::memcpy(&x, a, sizeof x);
    std::memcpy(&y, b, sizeof y);
    if (!x || !y) return x ? 1 : (y ? -1 : 0);
    return std::strcmp(x, y);
}

int ListMemBlockCmp(const void* a, const void* b, size_t size) {
    int r = std::memcmp(a, b, size);
    return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

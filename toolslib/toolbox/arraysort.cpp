#include "toolslib/toolbox/arraysort.h"

#include <cstdint>
#include <cstring>

namespace {

// A compare function, or the unsigned byte comparison when none was given.
struct Comparator {
    CompareFunction function;
    size_t size;
    int operator()(const void* a, const void* b) const {
        return function ? function(a, b) : ListMemBlockCmp(a, b, size);
    }
};

using Exchange = void (*)(char* a, char* b, size_t size);

void ExchgB(char* a, char* b, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        char t = a[i];
        a[i] = b[i];
        b[i] = t;
    }
}

template <typename Unit>
void exchangeUnits(char* a, char* b, size_t size) {
    for (size_t i = 0; i < size; i += sizeof(Unit)) {
        Unit x, y;
        std::memcpy(&x, a + i, sizeof x);
        std::memcpy(&y, b + i, sizeof y);
        std::memcpy(a + i, &y, sizeof y);
        std::memcpy(b + i, &x, sizeof x);
    }
}

void ExchgW(char* a, char* b, size_t size) {
    exchangeUnits<uint16_t>(a, b, size);
}
void ExchgL(char* a, char* b, size_t size) {
    exchangeUnits<uint32_t>(a, b, size);
}

Exchange chooseExchange(size_t size) {
    if (size % 2) return ExchgB;
    if (size % 4) return ExchgW;
    return ExchgL;
}

struct SortContext {
    Comparator compare;
    Exchange exchange;
    size_t size;
    void swap(char* a, char* b) const {
        if (a != b) exchange(a, b, size);
    }
    void orderPair(char* a, char* b) const {
        if (compare(a, b) > 0) swap(a, b);
    }
};

char* MedOf3(const SortContext& s, char* first, char* last) {
    char* middle = first + (static_cast<size_t>(last - first) / s.size / 2) * s.size;
    s.orderPair(first, middle);
    s.orderPair(first, last);
    s.orderPair(middle, last);
    return middle;
}

// Splits [first, last] (at least four items) around the median of three; returns the pivot's
// final place.
char* Partition(const SortContext& s, char* first, char* last) {
    char* pivot = last - s.size;
    s.swap(MedOf3(s, first, last), pivot);
    char* left = first;
    char* right = pivot;
    for (;;) {
        do left += s.size;
        while (left < pivot && s.compare(left, pivot) < 0);
        do right -= s.size;
        while (right > first && s.compare(right, pivot) > 0);
        if (left >= right) break;
        s.swap(left, right);
    }
    s.swap(left, pivot);
    return left;
}

void siftDown(const SortContext& s, char* base, int root, int count) {
    for (;;) {
        int child = 2 * root + 1;
        if (child >= count) return;
        char* c = base + static_cast<size_t>(child) * s.size;
        if (child + 1 < count && s.compare(c, c + s.size) < 0) {
            ++child;
            c += s.size;
        }
        char* r = base + static_cast<size_t>(root) * s.size;
        if (s.compare(r, c) >= 0) return;
        s.swap(r, c);
        root = child;
    }
}

}  // namespace

int BinSearch(const void* array, int numElements, size_t elementSize, const void* key,
              CompareFunction compare) {
    Comparator cmp{compare, elementSize};
    const char* base = static_cast<const char*>(array);
    int low = 0, high = numElements - 1, middle = 0, lastResult = -1;
    while (low <= high) {
        middle = low + (high - low) / 2;
        lastResult = cmp(key, base + static_cast<size_t>(middle) * elementSize);
        if (lastResult == 0) return middle;
        if (lastResult < 0)
            high = middle - 1;
        else
            low = middle + 1;
    }
    return ~(lastResult < 0 ? middle : middle + 1);
}

void QSort(void* array, int numElements, size_t elementSize, CompareFunction compare) {
    if (!array || numElements < 2 || elementSize == 0) return;
    SortContext s{{compare, elementSize}, chooseExchange(elementSize), elementSize};
    struct Range {
        char* first;
        char* last;
    };
    // Pushing the larger part keeps the depth below log2 of the count.
    Range pending[49];
    int depth = 0;
    char* first = static_cast<char*>(array);
    char* last = first + static_cast<size_t>(numElements - 1) * elementSize;
    for (;;) {
        size_t count = static_cast<size_t>(last - first) / elementSize + 1;
        if (count == 2) {
            s.orderPair(first, last);
        } else if (count == 3) {
            MedOf3(s, first, last);
        } else if (count > 3) {
            char* pivot = Partition(s, first, last);
            Range lower{first, pivot - elementSize};
            Range upper{pivot + elementSize, last};
            bool lowerLarger = pivot - first > last - pivot;
            Range larger = lowerLarger ? lower : upper;
            Range smaller = lowerLarger ? upper : lower;
            if (larger.first < larger.last && depth < 49) pending[depth++] = larger;
            if (smaller.first < smaller.last) {
                first = smaller.first;
                last = smaller.last;
                continue;
            }
        }
        if (depth == 0) return;
        --depth;
        first = pending[depth].first;
        last = pending[depth].last;
    }
}

void HeapSort(void* array, int numElements, size_t elementSize, CompareFunction compare) {
    if (!array || numElements < 2 || elementSize == 0) return;
    SortContext s{{compare, elementSize}, chooseExchange(elementSize), elementSize};
    char* base = static_cast<char*>(array);
    for (int i = numElements / 2 - 1; i >= 0; --i) siftDown(s, base, i, numElements);
    for (int end = numElements - 1; end > 0; --end) {
        s.swap(base, base + static_cast<size_t>(end) * elementSize);
        siftDown(s, base, 0, end);
    }
}

void InsertionSort(void* array, int numElements, size_t elementSize, CompareFunction compare) {
    if (!array || numElements < 2 || elementSize == 0) return;
    SortContext s{{compare, elementSize}, chooseExchange(elementSize), elementSize};
    char* base = static_cast<char*>(array);
    for (int i = 1; i < numElements; ++i) {
        for (char* p = base + static_cast<size_t>(i) * elementSize;
             p > base && s.compare(p - elementSize, p) > 0; p -= elementSize)
            s.swap(p - elementSize, p);
    }
}

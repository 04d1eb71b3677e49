// Relocatable memory blocks (Handle) and the growable list of fixed-size items built on them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

struct HandleRecord {
    void* block;
    size_t size;
};
using Handle = HandleRecord*;

Handle NewHandle(size_t size);
int SetHandleSize(Handle h, size_t size);
size_t GetHandleSize(Handle h);
void DisposeHandle(Handle h);

using ListType = Handle;

enum { END_OF_LIST = 0, FRONT_OF_LIST = -1 };

// Returns negative, zero or positive as item1 sorts before, with or after item2.
using CompareFunction = int (*)(const void* item1, const void* item2);
// Called with a 1-based position; a negative result stops ListApplyToEach.
using ListApplicationFunc = int (*)(int position, void* ptrToItem, void* callbackData);
// Prints one item; returns the number of characters written or a negative code.
using OutputFunction = int (*)(FILE* stream, const void* ptrToItem);

ListType ListCreate(size_t itemSize);
void ListSetAllocationPolicy(ListType list, int minItemsPerAlloc, int percentIncrease);
void ListDispose(ListType list);
void ListDisposePtrList(ListType list);
void ListClear(ListType list);
void ListCompact(ListType list);
int ListPreAllocate(ListType list, int numItems);

int ListNumItems(ListType list);
size_t ListGetItemSize(ListType list);
void* ListGetDataPtr(ListType list);

int ListInsertItem(ListType list, const void* ptrToItem, int position);
int ListInsertItems(ListType list, const void* ptrToItems, int position, int numItems);
int ListAppend(ListType list, ListType listToAppend);
ListType ListCopy(ListType list);

void ListGetItem(ListType list, void* ptrToItem, int position);
void ListGetItems(ListType list, void* ptrToItems, int position, int numItems);
void* ListGetPtrToItem(ListType list, int position);
void ListReplaceItem(ListType list, const void* ptrToItem, int position);
void ListReplaceItems(ListType list, const void* ptrToItems, int position, int numItems);
void ListRemoveItem(ListType list, void* ptrToItem, int position);
void ListRemoveItems(ListType list, void* ptrToItems, int position, int numItems);

int ListEqual(ListType list1, ListType list2);
int ListFindItem(ListType list, const void* ptrToItem, int startPosition, CompareFunction compare);
void ListRemoveDuplicates(ListType list, CompareFunction compare);
int ListBinSearch(ListType list, const void* ptrToItem, CompareFunction compare);
int ListIsSorted(ListType list, CompareFunction compare);
void ListQuickSort(ListType list, CompareFunction compare);
void ListHeapSort(ListType list, CompareFunction compare);
void ListInsertionSort(ListType list, CompareFunction compare);
int ListInsertInOrder(ListType list, const void* ptrToItem, CompareFunction compare);
int ListApplyToEach(ListType list, int ascending, ListApplicationFunc function, void* callbackData);

int OutputList(ListType list, FILE* stream, const char* header, const char* trailer,
               const char* itemPrefix, const char* separator, OutputFunction outputFunction);
int OutputIntegerItem(FILE* stream, const void* ptrToItem);
int OutputDoubleItem(FILE* stream, const void* ptrToItem);
int OutputShortItem(FILE* stream, const void* ptrToItem);
int OutputStringItem(FILE* stream, const void* ptrToItem);

// Ready-made comparisons; CStringCompare compares items that are string pointers.
int ShortCompare(const void* a, const void* b);
int IntCompare(const void* a, const void* b);
int FloatCompare(const void* a, const void* b);
int DoubleCompare(const void* a, const void* b);
int CStringCompare(const void* a, const void* b);
// Unsigned byte-by-byte comparison over size bytes: the rule for a null compare function.
int ListMemBlockCmp(const void* a, const void* b, size_t size);

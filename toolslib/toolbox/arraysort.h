// Sorting and searching of plain arrays of fixed-size items.
#pragma once

#include <cstddef>

#include "toolslib/toolbox/list.h"

// Index of an item equal to key, else the one's complement of the insertion index.
int BinSearch(const void* array, int numElements, size_t elementSize, const void* key,
              CompareFunction compare);
void QSort(void* array, int numElements, size_t elementSize, CompareFunction compare);
void HeapSort(void* array, int numElements, size_t elementSize, CompareFunction compare);
void InsertionSort(void* array, int numElements, size_t elementSize, CompareFunction compare);

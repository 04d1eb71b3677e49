#include "toolslib/toolbox/ini.h"

#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "toolslib/toolbox/diagnostics.h"
#include "toolslib/toolbox/files.h"
#include "toolslib/toolbox/inicodec.h"
#include "toolslib/toolbox/linefile.h"
#include "toolslib/toolbox/list.h"
#include "toolslib/toolbox/text.h"

namespace {

constexpr int kMaxTokenLength = 7;
constexpr size_t kMaxValueLineLength = 80;
constexpr int kMaxReadLineLength = 255;
constexpr char kLineSuffix[] = " Line";

struct IniItem {
    char* name;
    char* value;
    int line;
    bool quoted;
};

struct IniSection {
    char* name;
    ListType items;        // IniItem*, in file order (or name order when sorted)
    ListType sortedItems;  // the same pointers in name order, only while sorting internally
    bool sorted;
    int line;
};

}  // namespace

struct IniTextRecord {
    ListType sections;        // IniSection*
    ListType sortedSections;  // only while sorting internally
    IniSection* lastAccessedSection;
    bool sorted;
    int lineOfLastAccess;
    char assignToken[kMaxTokenLength + 1];
    int assignTokenLength;
    char paddedAssignToken[kMaxTokenLength + 3];
    int paddedAssignTokenLength;
    char sectionOpen;
    char sectionClose;
    char commentToken[kMaxTokenLength + 1];
    bool checkDuplicates;
    Ini_SectionFilterFunc sectionFilter;
    void* sectionFilterData;
    Handle stringCache;
};

namespace {

// ---- records -------------------------------------------------------------------------------

template <typename T>
T* pointerAt(ListType list, int position) {
    T* p = nullptr;
    ListGetItem(list, &p, position);
    return p;
}

void freeItem(IniItem* item) {
    if (!item) return;
    std::free(item->name);
    std::free(item->value);
    delete item;
}

IniItem* newItem(const char* name, const char* value, int line, bool quoted) {
    IniItem* item = new (std::nothrow) IniItem{nullptr, nullptr, line, quoted};
    if (!item) return nullptr;
    item->name = StrDupWithoutSurrWhiteSpace(name ? name : "");
    item->value = StrDup(value ? value : "");
    if (!item->name || !item->value) {
        freeItem(item);
        return nullptr;
    }
    return item;
}

void freeSection(IniSection* section) {
    if (!section) return;
    for (int i = 1; i <= ListNumItems(section->items); ++i)
        freeItem(pointerAt<IniItem>(section->items, i));
    ListDispose(section->items);
    ListDispose(section->sortedItems);
    std::free(section->name);
    delete section;
}

IniSection* newSection(const char* name, bool sorted, int line) {
    IniSection* section = new (std::nothrow) IniSection{nullptr, nullptr, nullptr, sorted, line};
    if (!section) return nullptr;
    section->name = StrDupWithoutSurrWhiteSpace(name ? name : "");
    section->items = ListCreate(sizeof(IniItem*));
    if (!section->name || !section->items) {
        freeSection(section);
        return nullptr;
    }
    return section;
}

// ---- ordering and lookup -------------------------------------------------------------------

template <typename T>
int compareNames(const void* a, const void* b) {
    T *x, *y;
    std::memcpy(&x, a, sizeof x);
    std::memcpy(&y, b, sizeof y);
    return StrICmp(x->name, y->name);
}

template <typename T>
T** pointers(ListType list) {
    return static_cast<T**>(ListGetDataPtr(list));
}

template <typename T>
void stableSortByName(ListType list) {
    T** first = pointers<T>(list);
    std::stable_sort(first, first + ListNumItems(list),
                     [](const T* a, const T* b) { return StrICmp(a->name, b->name) < 0; });
}

// First index (from 0) whose name is not below the requested one, comparing as lookups do.
template <typename T>
int lowerBound(ListType list, const char* name) {
    T** first = pointers<T>(list);
    int low = 0, high = ListNumItems(list);
    while (low < high) {
        int middle = low + (high - low) / 2;
        if (StrICmpWithoutSurrWhiteSpace(first[middle]->name, name) < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

// Position (from 1) after the last entry whose name sorts at or before the given one.
template <typename T>
int orderedInsertPosition(ListType list, const char* name) {
    T** first = pointers<T>(list);
    int low = 0, high = ListNumItems(list);
    while (low < high) {
        int middle = low + (high - low) / 2;
        if (StrICmp(first[middle]->name, name) <= 0)
            low = middle + 1;
        else
            high = middle;
    }
    return low + 1;
}

// The first entry of that name: binary search in a sorted list, else linear from the front.
template <typename T>
T* findIn(ListType list, bool listIsSorted, const char* name) {
    int n = ListNumItems(list);
    if (listIsSorted) {
        int index = lowerBound<T>(list, name);
        if (index < n && StrICmpWithoutSurrWhiteSpace(pointers<T>(list)[index]->name, name) == 0)
            return pointers<T>(list)[index];
        return nullptr;
    }
    for (int i = 0; i < n; ++i)
        if (StrICmpWithoutSurrWhiteSpace(pointers<T>(list)[i]->name, name) == 0)
            return pointers<T>(list)[i];
    return nullptr;
}

int positionOfPointer(ListType list, const void* p) {
    return list ? ListFindItem(list, &p, 1, nullptr) : 0;
}

// Adds p to an internally sorted copy; a copy that cannot grow is dropped, and lookups fall
// back to the main list.
template <typename T>
void insertIntoSortedCopy(ListType* copy, T* p) {
    if (!*copy) return;
    if (!ListInsertItem(*copy, &p, orderedInsertPosition<T>(*copy, p->name))) {
        ListDispose(*copy);
        *copy = nullptr;
    }
}

void removeFromSortedCopy(ListType copy, const void* p) {
    int position = positionOfPointer(copy, p);
    if (position) ListRemoveItem(copy, nullptr, position);
}

IniSection* findSection(IniText ini, const char* name) {
    if (!ini || !name) return nullptr;
    if (ini->lastAccessedSection &&
        StrICmpWithoutSurrWhiteSpace(ini->lastAccessedSection->name, name) == 0)
        return ini->lastAccessedSection;
    IniSection* found = ini->sortedSections ? findIn<IniSection>(ini->sortedSections, true, name)
                                            : findIn<IniSection>(ini->sections, ini->sorted, name);
    if (found) ini->lastAccessedSection = found;
    return found;
}

IniItem* findItem(IniSection* section, const char* name) {
    if (!section || !name) return nullptr;
    return section->sortedItems ? findIn<IniItem>(section->sortedItems, true, name)
                                : findIn<IniItem>(section->items, section->sorted, name);
}

IniItem* findItem(IniText ini, const char* section, const char* item) {
    return findItem(findSection(ini, section), item);
}

// ---- structure changes ---------------------------------------------------------------------

// Inserts a made section into the object; false (nothing changed) when memory runs out.
bool addSection(IniText ini, IniSection* section) {
    int position =
        ini->sorted ? orderedInsertPosition<IniSection>(ini->sections, section->name) : END_OF_LIST;
    if (!ListInsertItem(ini->sections, &section, position)) return false;
    insertIntoSortedCopy(&ini->sortedSections, section);
    return true;
}

void removeItemAt(IniSection* section, int position) {
    IniItem* item = pointerAt<IniItem>(section->items, position);
    ListRemoveItem(section->items, nullptr, position);
    removeFromSortedCopy(section->sortedItems, item);
    freeItem(item);
}

// Removes every item of that name; returns the position of the first removed, or 0.
int removeItemsNamed(IniSection* section, const char* name) {
    int firstRemoved = 0;
    for (int i = 1; i <= ListNumItems(section->items);) {
        if (StrICmpWithoutSurrWhiteSpace(pointerAt<IniItem>(section->items, i)->name, name) == 0) {
            if (!firstRemoved) firstRemoved = i;
            removeItemAt(section, i);
        } else {
            ++i;
        }
    }
    return firstRemoved;
}

// The one put that every typed put goes through. Leaves the object unchanged on failure.
int Ini_Put(IniText ini, const char* sectionName, const char* itemName, const char* value,
            bool quoted) {
    if (!ini || !sectionName || !itemName) return UIEOutOfMemory;
    IniItem* item = newItem(itemName, value, 0, quoted);
    if (!item) return UIEOutOfMemory;
    IniSection* section = findSection(ini, sectionName);
    if (section) {
        // Room first, so that removing the old value can never be followed by a failed insert.
        if (!ListPreAllocate(section->items, 1)) {
            freeItem(item);
            return UIEOutOfMemory;
        }
        int position = ini->checkDuplicates ? removeItemsNamed(section, item->name) : 0;
        if (section->sorted)
            position = orderedInsertPosition<IniItem>(section->items, item->name);
        else if (!position)
            position = END_OF_LIST;
        ListInsertItem(section->items, &item, position);
        insertIntoSortedCopy(&section->sortedItems, item);
        return 0;
    }
    section = newSection(sectionName, ini->sorted, 0);
    if (!section || !ListInsertItem(section->items, &item, END_OF_LIST)) {
        freeItem(item);
        freeSection(section);
        return UIEOutOfMemory;
    }
    if (ini->sortedSections && !(section->sortedItems = ListCopy(section->items))) {
        freeSection(section);
        return UIEOutOfMemory;
    }
    if (!addSection(ini, section)) {
        freeSection(section);
        return UIEOutOfMemory;
    }
    return 0;
}

// ---- reading -------------------------------------------------------------------------------

// Piece number of a multi-line item name ("Base Line0003" is 3), or -1 when it is no piece.
int pieceNumber(const char* name, size_t* baseLength) {
    const char* suffix = std::strstr(name, kLineSuffix);
    if (!suffix) return -1;
    const char* digits = suffix + sizeof kLineSuffix - 1;
    if (!*digits) return -1;
    long long number = 0;
    for (const char* p = digits; *p; ++p) {
        if (*p < '0' || *p > '9') return -1;
        number = number * 10 + (*p - '0');
        if (number > 2147483647) return -1;
    }
    *baseLength = static_cast<size_t>(suffix - name);
    return static_cast<int>(number);
}

int joinMultiLineItems(IniSection* section) {
    for (int i = 1; i <= ListNumItems(section->items); ++i) {
        IniItem* first = pointerAt<IniItem>(section->items, i);
        size_t baseLength = 0;
        if (pieceNumber(first->name, &baseLength) != 1) continue;
        int end = i + 1;
        std::string value = first->value;
        for (; end <= ListNumItems(section->items); ++end) {
            IniItem* piece = pointerAt<IniItem>(section->items, end);
            size_t ignored;
            int number = pieceNumber(piece->name, &ignored);
            if (number < 0 || number == 1) break;
            value += piece->value;
        }
        char* joined = StrDup(value.c_str());
        if (!joined) return UIEOutOfMemory;
        std::free(first->value);
        first->value = joined;
        first->name[baseLength] = '\0';
        while (end - 1 > i) removeItemAt(section, --end);
    }
    return 0;
}

// Classifies one line and adds what it holds; returns 0 or -12.
int readLine(IniText ini, char* line, int lineNumber, IniSection** current) {
    char* p = SkipWhiteSpace(line);
    size_t commentLength = std::strlen(ini->commentToken);
    if (commentLength && std::strncmp(p, ini->commentToken, commentLength) == 0) return 0;

    if (*p == ini->sectionOpen) {
        char* title = SkipWhiteSpace(p + 1);
        char* close = std::strrchr(title, ini->sectionClose);
        if (!close || HasNonWhiteSpace(close + 1)) return 0;
        *close = '\0';
        RemoveSurroundingWhiteSpace(title);
        if (!*title) return 0;
        if (ini->sectionFilter && !ini->sectionFilter(ini, ini->sectionFilterData, title)) {
            *current = nullptr;
            return 0;
        }
        IniSection* section = newSection(title, ini->sorted, lineNumber);
        if (!section || !ListInsertItem(ini->sections, &section, END_OF_LIST)) {
            freeSection(section);
            return UIEOutOfMemory;
        }
        *current = section;
        return 0;
    }

    char* token = std::strstr(p, ini->assignToken);
    if (!token || !*current) return 0;
    *token = '\0';
    RemoveSurroundingWhiteSpace(p);
    char* value = token + ini->assignTokenLength;
    RemoveSurroundingWhiteSpace(value);
    if (!*p || !*value) return 0;
    size_t length = std::strlen(value);
    bool quoted = length >= 2 && value[0] == '"' && value[length - 1] == '"';
    if (quoted) {
        value[length - 1] = '\0';
        ++value;
    }
    IniItem* item = newItem(p, value, lineNumber, quoted);
    if (!item || !ListInsertItem((*current)->items, &item, END_OF_LIST)) {
        freeItem(item);
        return UIEOutOfMemory;
    }
    return 0;
}

// ---- writing -------------------------------------------------------------------------------

int writeItem(IniText ini, const IniItem* item, Ini_OutputFunc output, void* outputData) {
    const char* quote = item->quoted ? "\"" : "";
    size_t length = std::strlen(item->value);
    if (length <= kMaxValueLineLength) {
        std::string line =
            std::string(item->name) + ini->paddedAssignToken + quote + item->value + quote;
        return output(outputData, line.c_str());
    }
    size_t pieces = (length + kMaxValueLineLength - 1) / kMaxValueLineLength;
    for (size_t k = 1; k <= pieces; ++k) {
        char number[24];
        std::snprintf(number, sizeof number, "%04zu", k);
        std::string line =
            std::string(item->name) + kLineSuffix + number + ini->paddedAssignToken + quote +
            std::string(item->value + (k - 1) * kMaxValueLineLength,
                        std::min(kMaxValueLineLength, length - (k - 1) * kMaxValueLineLength)) +
            quote;
        int status = output(outputData, line.c_str());
        if (status < 0) return status;
    }
    return 0;
}

int writeLineToStream(void* stream, const char* line) {
    FILE* f = static_cast<FILE*>(stream);
    errno = 0;
    if (std::fputs(line, f) == EOF || std::fputc('\n', f) == EOF)
        return ConvertErrnoToWriteError(errno);
    return 0;
}

int writeToTemporaryAndReplace(IniText ini, const char* path) {
    int writable = 0;
    int status = GetFileWritability(path, &writable);
    if (status < 0) return status;
    if (!writable) return UIEAccessDenied;

    std::string temporaryName;
    FILE* stream = nullptr;
    status = CreateAndOpenTemporaryFileNamed(path, "ini$$", "TMP", "wb", &temporaryName, &stream);
    if (status < 0) return status;

    std::vector<char> buffer;
    try {
        buffer.resize(16384);
    } catch (const std::bad_alloc&) {
        status = UIEOutOfMemory;
    }
    if (status == 0) {
        std::setvbuf(stream, buffer.data(), _IOFBF, buffer.size());
        status = Ini_WriteGeneric(ini, writeLineToStream, stream);
    }
    if (status == 0) {
        errno = 0;
        if (std::fflush(stream) != 0 || fsync(fileno(stream)) != 0)
            status = ConvertErrnoToWriteError(errno);
    }
    errno = 0;
    if (std::fclose(stream) != 0 && status == 0) status = ConvertErrnoToWriteError(errno);
    if (status == 0) status = DeleteAndRename(temporaryName.c_str(), path);
    if (status < 0) std::remove(temporaryName.c_str());
    return status;
}

void setToken(char* token, const char* text) {
    std::snprintf(token, kMaxTokenLength + 1, "%.*s", kMaxTokenLength, text);
}

}  // namespace

// ---- object and structure --------------------------------------------------------------------

IniText Ini_New(int sorted) {
    IniText ini = new (std::nothrow) IniTextRecord{};
    if (!ini) return nullptr;
    ini->sections = ListCreate(sizeof(IniSection*));
    ini->stringCache = NewHandle(0);
    if (!ini->sections || !ini->stringCache) {
        Ini_Dispose(ini);
        return nullptr;
    }
    ini->sorted = sorted != 0;
    ini->lineOfLastAccess = -1;
    ini->checkDuplicates = true;
    Ini_SetDefaultTokens(ini);
    return ini;
}

void Ini_Dispose(IniText ini) {
    if (!ini) return;
    for (int i = 1; i <= ListNumItems(ini->sections); ++i)
        freeSection(pointerAt<IniSection>(ini->sections, i));
    ListDispose(ini->sections);
    ListDispose(ini->sortedSections);
    DisposeHandle(ini->stringCache);
    delete ini;
}

int Ini_SectionExists(IniText ini, const char* section) {
    return findSection(ini, section) ? 1 : 0;
}

int Ini_NumberOfSections(IniText ini) {
    return ini ? ListNumItems(ini->sections) : 0;
}

int Ini_NthSectionName(IniText ini, int n, char** name) {
    if (!ini || n < 1 || n > ListNumItems(ini->sections)) return 0;
    *name = pointerAt<IniSection>(ini->sections, n)->name;
    return 1;
}

int Ini_NumberOfItems(IniText ini, const char* section) {
    IniSection* s = findSection(ini, section);
    return s ? ListNumItems(s->items) : 0;
}

int Ini_NthItemName(IniText ini, const char* section, int n, char** name) {
    IniSection* s = findSection(ini, section);
    if (!s || n < 1 || n > ListNumItems(s->items)) return 0;
    *name = pointerAt<IniItem>(s->items, n)->name;
    return 1;
}

int Ini_LineOfLastAccess(IniText ini) {
    return ini ? ini->lineOfLastAccess : -1;
}

int Ini_RemoveSection(IniText ini, const char* section) {
    IniSection* s = findSection(ini, section);
    if (!s) return 0;
    ListRemoveItem(ini->sections, nullptr, positionOfPointer(ini->sections, s));
    removeFromSortedCopy(ini->sortedSections, s);
    if (ini->lastAccessedSection == s) ini->lastAccessedSection = nullptr;
    freeSection(s);
    return 1;
}

int Ini_RemoveItem(IniText ini, const char* section, const char* item) {
    IniSection* s = findSection(ini, section);
    if (!s || !item) return 0;
    return removeItemsNamed(s, item) ? 1 : 0;
}

int Ini_CopySection(IniText from, const char* section, IniText to, int overwrite) {
    if (!from || !to || from == to) return 0;
    // Collected first: the source's lookup cache must not steer which sections are copied.
    std::vector<IniSection*> chosen;
    if (section) {
        if (IniSection* s = findSection(from, section)) chosen.push_back(s);
    } else {
        for (int i = 1; i <= ListNumItems(from->sections); ++i)
            chosen.push_back(pointerAt<IniSection>(from->sections, i));
    }
    for (IniSection* s : chosen) {
        if (overwrite) Ini_RemoveSection(to, s->name);
        if (!findSection(to, s->name)) {
            IniSection* empty = newSection(s->name, to->sorted, 0);
            if (!empty ||
                (to->sortedSections && !(empty->sortedItems = ListCreate(sizeof(IniItem*)))) ||
                !addSection(to, empty)) {
                freeSection(empty);
                return UIEOutOfMemory;
            }
        }
        for (int i = 1; i <= ListNumItems(s->items); ++i) {
            IniItem* item = pointerAt<IniItem>(s->items, i);
            int status = Ini_PutRawString(to, s->name, item->name, item->value);
            if (status < 0) return status;
        }
    }
    return 0;
}

void Ini_Sort(IniText ini) {
    if (!ini) return;
    for (int i = 1; i <= ListNumItems(ini->sections); ++i) {
        IniSection* s = pointerAt<IniSection>(ini->sections, i);
        stableSortByName<IniItem>(s->items);
        s->sorted = true;
    }
    stableSortByName<IniSection>(ini->sections);
    ini->sorted = true;
}

void Ini_DisableSorting(IniText ini) {
    if (!ini) return;
    ini->sorted = false;
    for (int i = 1; i <= ListNumItems(ini->sections); ++i)
        pointerAt<IniSection>(ini->sections, i)->sorted = false;
}

void Ini_DisableInternalSorting(IniText ini) {
    if (!ini) return;
    ListDispose(ini->sortedSections);
    ini->sortedSections = nullptr;
    for (int i = 1; i <= ListNumItems(ini->sections); ++i) {
        IniSection* s = pointerAt<IniSection>(ini->sections, i);
        ListDispose(s->sortedItems);
        s->sortedItems = nullptr;
    }
}

int Ini_SortInternally(IniText ini) {
    if (!ini) return 0;
    Ini_DisableInternalSorting(ini);
    ini->sortedSections = ListCopy(ini->sections);
    bool ok = ini->sortedSections != nullptr;
    for (int i = 1; ok && i <= ListNumItems(ini->sections); ++i) {
        IniSection* s = pointerAt<IniSection>(ini->sections, i);
        s->sortedItems = ListCopy(s->items);
        ok = s->sortedItems != nullptr;
        if (ok) stableSortByName<IniItem>(s->sortedItems);
    }
    if (!ok) {
        Ini_DisableInternalSorting(ini);
        return UIEOutOfMemory;
    }
    stableSortByName<IniSection>(ini->sortedSections);
    return 0;
}

void Ini_SetTokens(IniText ini, char sectionOpen, char sectionClose, const char* assignToken,
                   const char* commentToken) {
    if (!ini) return;
    if (sectionOpen) ini->sectionOpen = sectionOpen;
    if (sectionClose) ini->sectionClose = sectionClose;
    if (assignToken && *assignToken) {
        setToken(ini->assignToken, assignToken);
        ini->assignTokenLength = static_cast<int>(std::strlen(ini->assignToken));
        std::snprintf(ini->paddedAssignToken, sizeof ini->paddedAssignToken, " %s ",
                      ini->assignToken);
        ini->paddedAssignTokenLength = static_cast<int>(std::strlen(ini->paddedAssignToken));
    }
    if (commentToken && *commentToken) setToken(ini->commentToken, commentToken);
}

void Ini_SetDefaultTokens(IniText ini) {
    Ini_SetTokens(ini, '[', ']', "=", ";");
}

void Ini_SetSectionFilter(IniText ini, Ini_SectionFilterFunc filter, void* filterData) {
    if (!ini) return;
    ini->sectionFilter = filter;
    ini->sectionFilterData = filterData;
}

int Ini_SetDuplicateChecking(IniText ini, int on) {
    if (!ini) return 0;
    int previous = ini->checkDuplicates;
    ini->checkDuplicates = on != 0;
    return previous;
}

// ---- puts ------------------------------------------------------------------------------------

int Ini_PutInt(IniText ini, const char* section, const char* item, int value) {
    char text[32];
    std::snprintf(text, sizeof text, "%ld", static_cast<long>(value));
    return Ini_Put(ini, section, item, text, false);
}

int Ini_PutUInt(IniText ini, const char* section, const char* item, unsigned int value) {
    char text[32];
    std::snprintf(text, sizeof text, "%lu", static_cast<unsigned long>(value));
    return Ini_Put(ini, section, item, text, false);
}

int Ini_PutDouble(IniText ini, const char* section, const char* item, double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.16g", value);
    return Ini_Put(ini, section, item, text, false);
}

int Ini_PutBoolean(IniText ini, const char* section, const char* item, int value) {
    return Ini_Put(ini, section, item, value ? "True" : "False", false);
}

int Ini_PutString(IniText ini, const char* section, const char* item, const char* value) {
    char* escaped = EscapeText(value ? value : "");
    if (!escaped) return UIEOutOfMemory;
    int status = Ini_Put(ini, section, item, escaped, true);
    std::free(escaped);
    return status;
}

int Ini_PutRawString(IniText ini, const char* section, const char* item, const char* value) {
    return Ini_Put(ini, section, item, value ? value : "", true);
}

int Ini_PutData(IniText ini, const char* section, const char* item, const unsigned char* data,
                size_t numBytes) {
    char* text = ConvertDataToText(data, data ? numBytes : 0);
    if (!text) return UIEOutOfMemory;
    int status = Ini_Put(ini, section, item, text, true);
    std::free(text);
    return status;
}

// ---- gets ------------------------------------------------------------------------------------

int Ini_GetPointerToRawString(IniText ini, const char* section, const char* item, char** text) {
    IniItem* found = findItem(ini, section, item);
    if (!found) return 0;
    ini->lineOfLastAccess = found->line;
    *text = found->value;
    return 1;
}

namespace {

using TextGetter = int (*)(IniText, const char*, const char*, char**);

// An allocated copy of what a pointer getter gives; the caller frees it.
int copyOf(TextGetter get, IniText ini, const char* section, const char* item, char** copy) {
    *copy = nullptr;
    char* text;
    int found = get(ini, section, item, &text);
    if (found <= 0) return found;
    *copy = StrDup(text);
    return *copy ? 1 : UIEOutOfMemory;
}

// What a pointer getter gives, cut to the buffer; the buffer is emptied first in any case.
int copyInto(TextGetter get, IniText ini, const char* section, const char* item, char* buffer,
             size_t bufferSize) {
    if (buffer && bufferSize) buffer[0] = '\0';
    char* text;
    int found = get(ini, section, item, &text);
    if (found > 0 && buffer && bufferSize)
        StringCopyMax(buffer, text, static_cast<int>(std::min<size_t>(bufferSize, 0x7FFFFFFF)));
    return found;
}

}  // namespace

int Ini_GetRawStringCopy(IniText ini, const char* section, const char* item, char** copy) {
    return copyOf(Ini_GetPointerToRawString, ini, section, item, copy);
}

int Ini_GetRawStringIntoBuffer(IniText ini, const char* section, const char* item, char* buffer,
                               size_t bufferSize) {
    return copyInto(Ini_GetPointerToRawString, ini, section, item, buffer, bufferSize);
}

int Ini_GetPointerToString(IniText ini, const char* section, const char* item, char** text) {
    char* raw;
    int found = Ini_GetPointerToRawString(ini, section, item, &raw);
    if (found <= 0) return found;
    size_t size = (std::strlen(raw) + 1) / 1024 * 1024 + 1024;
    if (!SetHandleSize(ini->stringCache, size)) return UIEOutOfMemory;
    char* cache = static_cast<char*>(ini->stringCache->block);
    UnescapeText(raw, cache);
    *text = cache;
    return 1;
}

int Ini_GetStringCopy(IniText ini, const char* section, const char* item, char** copy) {
    return copyOf(Ini_GetPointerToString, ini, section, item, copy);
}

int Ini_GetStringIntoBuffer(IniText ini, const char* section, const char* item, char* buffer,
                            size_t bufferSize) {
    return copyInto(Ini_GetPointerToString, ini, section, item, buffer, bufferSize);
}

namespace {
// The raw text of an item that holds something other than white space, else null.
const char* nonBlankRaw(IniText ini, const char* section, const char* item) {
    char* raw;
    if (Ini_GetPointerToRawString(ini, section, item, &raw) <= 0 || !HasNonWhiteSpace(raw))
        return nullptr;
    return raw;
}
}  // namespace

int Ini_GetInt(IniText ini, const char* section, const char* item, int* value) {
    const char* raw = nonBlankRaw(ini, section, item);
    if (!raw) return 0;
    return StrToInt(raw, value) ? 1 : ToolErr_InvalidIntNumber;
}

int Ini_GetUInt(IniText ini, const char* section, const char* item, unsigned int* value) {
    const char* raw = nonBlankRaw(ini, section, item);
    if (!raw) return 0;
    return StrToUInt(raw, value) ? 1 : ToolErr_InvalidUIntNumber;
}

int Ini_GetDouble(IniText ini, const char* section, const char* item, double* value) {
    const char* raw = nonBlankRaw(ini, section, item);
    if (!raw) return 0;
    if (StrICmp(raw, "+Inf") == 0 || StrICmp(raw, "Inf") == 0) {
        *value = HUGE_VAL;
        return 1;
    }
    if (StrICmp(raw, "-Inf") == 0) {
        *value = -HUGE_VAL;
        return 1;
    }
    char* end;
    errno = 0;
    double converted = std::strtod(raw, &end);
    if (*end || errno) return ToolErr_InvalidDoubleNumber;
    *value = converted;
    return 1;
}

int Ini_GetBoolean(IniText ini, const char* section, const char* item, int* value) {
    const char* raw = nonBlankRaw(ini, section, item);
    if (!raw) return 0;
    if (StrICmp(raw, "True") == 0) {
        *value = 1;
        return 1;
    }
    if (StrICmp(raw, "False") == 0) {
        *value = 0;
        return 1;
    }
    return ToolErr_InvalidBooleanValue;
}

int Ini_GetData(IniText ini, const char* section, const char* item, unsigned char** data,
                size_t* numBytes) {
    *data = nullptr;
    if (numBytes) *numBytes = 0;
    char* raw;
    int found = Ini_GetPointerToRawString(ini, section, item, &raw);
    if (found <= 0) return found;
    size_t length = SixBitDataLength(std::strlen(raw));
    if (length > 0) {
        *data = static_cast<unsigned char*>(std::malloc(length));
        if (!*data) return UIEOutOfMemory;
        ConvertTextToData(raw, *data);
    }
    if (numBytes) *numBytes = length;
    return 1;
}

int Ini_ItemExists(IniText ini, const char* section, const char* item) {
    return findItem(ini, section, item) ? 1 : 0;
}

int Ini_ItemOrMultiLineItemExists(IniText ini, const char* section, const char* item) {
    if (Ini_ItemExists(ini, section, item)) return 1;
    if (!item) return 0;
    std::string firstPiece = std::string(item) + kLineSuffix + "0001";
    return Ini_ItemExists(ini, section, firstPiece.c_str());
}

// ---- reading and writing -----------------------------------------------------------------------

int Ini_ReadGeneric(IniText ini, Ini_InputFunc inputFunction, void* inputData) {
    if (!ini || !inputFunction) return 0;
    bool sortInternally = ini->sortedSections != nullptr;
    Ini_DisableInternalSorting(ini);  // rebuilt once at the end

    int status = 0;
    IniSection* current = nullptr;
    char line[kMaxReadLineLength + 1];
    for (;;) {
        int endOfSource = 0, lineNumber = 0;
        line[0] = '\0';
        status = inputFunction(inputData, line, sizeof line, &endOfSource, &lineNumber);
        if (status < 0 || endOfSource) break;
        line[kMaxReadLineLength] = '\0';
        status = readLine(ini, line, lineNumber, &current);
        if (status < 0) break;
    }
    if (status > 0) status = 0;

    for (int i = 1; i <= ListNumItems(ini->sections); ++i) {
        int joined = joinMultiLineItems(pointerAt<IniSection>(ini->sections, i));
        if (joined < 0 && status == 0) status = joined;
    }
    if (ini->sorted) Ini_Sort(ini);
    if (sortInternally) {
        int sorted = Ini_SortInternally(ini);
        if (sorted < 0 && status == 0) status = sorted;
    }
    return status;
}

int Ini_WriteGeneric(IniText ini, Ini_OutputFunc outputFunction, void* outputData) {
    if (!ini || !outputFunction) return 0;
    for (int i = 1; i <= ListNumItems(ini->sections); ++i) {
        IniSection* s = pointerAt<IniSection>(ini->sections, i);
        std::string title = std::string(1, ini->sectionOpen) + s->name + ini->sectionClose;
        int status = outputFunction(outputData, title.c_str());
        for (int k = 1; status >= 0 && k <= ListNumItems(s->items); ++k)
            status = writeItem(ini, pointerAt<IniItem>(s->items, k), outputFunction, outputData);
        if (status >= 0) status = outputFunction(outputData, "");
        if (status < 0) return status;
    }
    return 0;
}

int Ini_LineFileInputFunction(void* lineFile, char* lineBuffer, int bufferSize, int* endOfSource,
                              int* lineNumber) {
    LineFile lf = static_cast<LineFile>(lineFile);
    int maxChars = std::min(kMaxReadLineLength, bufferSize - 1);
    if (maxChars < 0) return UIEOutOfMemory;
    int status = LineFile_ReadNonEmpty(lf, lineBuffer, maxChars, nullptr, endOfSource);
    *lineNumber = LineFile_NumLinesRead(lf);
    return status;
}

int Ini_ReadFromFile(IniText ini, const char* path) {
    if (!path) return ToolErr_CouldNotOpenFileForReading;
    FILE* stream = std::fopen(path, "rb");
    if (!stream) return ToolErr_CouldNotOpenFileForReading;
    LineFile lf = LineFile_New(nullptr, stream);
    int status = lf ? Ini_ReadGeneric(ini, Ini_LineFileInputFunction, lf) : UIEOutOfMemory;
    LineFile_Dispose(lf);
    std::fclose(stream);
    return status;
}

int Ini_WriteToFile(IniText ini, const char* path) {
    if (!ini) return 0;
    if (!path) {
        int status = Ini_WriteGeneric(ini, writeLineToStream, stdout);
        std::fflush(stdout);
        return status;
    }
    BreakOnLibraryErrorsOff quiet;
    return writeToTemporaryAndReplace(ini, path);
}

// Arbitrary bytes read as an ini file, then every value fetched in every form and the result
// written and read back. Values need not survive (unquoted pieces of long values lose the blanks
// at their ends), but every section must.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "toolslib/toolbox/ini.h"
#include "toolslib/toolbox/linefile.h"

namespace {
struct Source {
    const uint8_t* data;
    size_t size;
    size_t pos;
};

int readAll(void* s, int wanted, int* got, char* buffer) {
    auto* src = static_cast<Source*>(s);
    size_t n = src->size - src->pos;
    if (n > static_cast<size_t>(wanted)) n = static_cast<size_t>(wanted);
    std::memcpy(buffer, src->data + src->pos, n);
    src->pos += n;
    *got = static_cast<int>(n);
    return 0;
}

int appendLine(void* out, const char* line) {
    *static_cast<std::string*>(out) += std::string(line) + "\n";
    return 0;
}

std::string readAndWrite(const uint8_t* data, size_t size, bool sorted, bool internal,
                         int* sections) {
    IniText ini = Ini_New(sorted);
    if (internal) Ini_SortInternally(ini);
    Source src{data, size, 0};
    LineFile lf = LineFile_New(readAll, &src);
    Ini_ReadGeneric(ini, Ini_LineFileInputFunction, lf);
    LineFile_Dispose(lf);

    for (int s = 1; s <= Ini_NumberOfSections(ini); ++s) {
        char* section;
        Ini_NthSectionName(ini, s, &section);
        for (int i = 1; i <= Ini_NumberOfItems(ini, section); ++i) {
            char* item;
            Ini_NthItemName(ini, section, i, &item);
            int iv;
            unsigned uv;
            double dv;
            char buffer[8];
            char* text;
            unsigned char* bytes = nullptr;
            size_t count;
            Ini_GetInt(ini, section, item, &iv);
            Ini_GetUInt(ini, section, item, &uv);
            Ini_GetDouble(ini, section, item, &dv);
            Ini_GetBoolean(ini, section, item, &iv);
            Ini_GetStringIntoBuffer(ini, section, item, buffer, sizeof buffer);
            Ini_GetPointerToString(ini, section, item, &text);
            if (Ini_GetStringCopy(ini, section, item, &text) > 0) std::free(text);
            if (Ini_GetData(ini, section, item, &bytes, &count) > 0) std::free(bytes);
        }
    }
    std::string out;
    Ini_WriteGeneric(ini, appendLine, &out);
    *sections = Ini_NumberOfSections(ini);
    Ini_Dispose(ini);
    return out;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    bool sorted = size && (data[0] & 1);
    bool internal = size && (data[0] & 2);
    int firstCount = 0, secondCount = 0;
    std::string first = readAndWrite(data, size, sorted, internal, &firstCount);
    readAndWrite(reinterpret_cast<const uint8_t*>(first.data()), first.size(), sorted, internal,
                 &secondCount);
    if (firstCount != secondCount) __builtin_trap();
    return 0;
}

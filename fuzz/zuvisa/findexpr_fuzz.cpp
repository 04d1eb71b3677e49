// Find expressions: the first line is the expression, the rest a name to match it against.
#include <cstdint>
#include <string>
#include <string_view>

#include "zuvisa/findexpr.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view all(reinterpret_cast<const char*>(data), size);
    size_t nl = all.find('\n');
    std::string_view expr = all.substr(0, nl);
    std::string_view name = nl == std::string_view::npos ? std::string_view() : all.substr(nl + 1);
    zuvisa::FindExpression e;
    if (zuvisa::FindExpression::parse(expr, &e) != VI_SUCCESS) return 0;
    e.matchesName(name);
    e.matchesAttributes([&](ViAttr attr, ViInt64* n, std::string* t) {
        *n = static_cast<ViInt64>(attr % 7) - 3;
        *t = std::string(name);
        return (attr & 1) == 0;
    });
    return 0;
}

// Received serial bytes with error marks: decoded whole and cut in two at a point the input
// chooses, both must give the same items, and no item may come from nowhere.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "zuvisa/bridgelets/asrl/markedinput.h"

using zuvisa::asrl::MarkedInput;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    size_t cut = data[0] % size;
    const uint8_t* bytes = data + 1;
    size_t count = size - 1;
    cut = count ? cut % (count + 1) : 0;
    MarkedInput whole, split;
    std::vector<MarkedInput::Item> a, b;
    whole.feed(bytes, count, &a);
    split.feed(bytes, cut, &b);
    split.feed(bytes + cut, count - cut, &b);
    if (a.size() != b.size() || a.size() > count) abort();
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i].kind != b[i].kind || a[i].byte != b[i].byte) abort();
    }
    return 0;
}

// Arbitrary bytes as a context-help file: loading must fail cleanly or give texts that stay
// within their recorded lengths.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "controls/helpfile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/talmik-help-fuzz-" + std::to_string(getpid()) + ".hlp";
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    if (Help_Initialize(path.c_str()) == 0) {
        // Walk the tag block as the file gives it and look every tag up.
        for (size_t pos = 64; pos < size && data[pos] != 0; pos += 1 + data[pos]) {
            if (pos + 1 + data[pos] > size) break;
            std::string tag(reinterpret_cast<const char*>(data + pos + 1), data[pos]);
            Help_MessageFromTag(tag.c_str());
            Help_MessageForUI(1, static_cast<int>(pos), tag.c_str());
            Help_BindTag(2, 0, tag.c_str(), "LENT");
            Help_MessageForUI(1, static_cast<int>(pos), "OTHER");
        }
        Help_MessageForUI(2, 0, "LENT");
        Help_MessageForUI(2, 0, nullptr);
        Help_Close();
    }
    return 0;
}

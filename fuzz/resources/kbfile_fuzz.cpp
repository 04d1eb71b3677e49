// Arbitrary bytes as a driver's knowledge-base file: the soft front panel search must give one
// record whose label is the upper-case prefix, optionally followed by a description, and always
// fits its field.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "resources/sfp.h"

namespace {

std::string makeTree() {
    std::string root = "/tmp/talmik-kb-fuzz-" + std::to_string(getpid());
    for (const char* dir : {"", "/kbase", "/linux", "/linux/dmm01"}) mkdir((root + dir).c_str(), 0755);
    FILE* f = std::fopen((root + "/linux/dmm01/dmm01.exe").c_str(), "wb");
    if (f) std::fclose(f);
    return root;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string root = makeTree();
    FILE* f = std::fopen((root + "/kbase/dmm01.kb").c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    if (searchSfp((root + "/kbase").c_str(), (root + "/linux").c_str()) != 0 || nSfps != 1) std::abort();
    const SfpRecord& r = lpSfps[0];
    if (!std::memchr(r.label, 0, sizeof r.label) || std::strncmp(r.label, "DMM01", 5) != 0) std::abort();
    if (r.label[5] != '\0' && std::strncmp(r.label + 5, " - ", 3) != 0) std::abort();
    releaseSfps();
    return 0;
}

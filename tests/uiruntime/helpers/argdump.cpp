// Test helper: writes its arguments after the first, one a line, into the file named by the
// first, then "END".
#include <cstdio>

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    std::FILE* f = std::fopen(argv[1], "w");
    if (!f) return 1;
    for (int k = 2; k < argc; ++k) std::fprintf(f, "%s\n", argv[k]);
    std::fputs("END\n", f);
    return std::fclose(f) == 0 ? 0 : 1;
}

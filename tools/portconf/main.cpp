#include <cstdio>
#include <string>
#include <vector>

#include "tools/portconf/portconf.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string out, err;
    int rc = portconf::run(args, &out, &err);
    fputs(out.c_str(), stdout);
    fputs(err.c_str(), stderr);
    return rc;
}

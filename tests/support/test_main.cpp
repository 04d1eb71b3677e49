// Entry point of every test executable: sets the environment each test program runs in, then
// runs GoogleTest. The values come from the build (talmik_add_gtest).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#ifndef TALMIK_TEST_DATA_DIR
#define TALMIK_TEST_DATA_DIR "."
#endif
#ifndef TALMIK_TEST_ENVIRONMENT
#define TALMIK_TEST_ENVIRONMENT ""
#endif

// fontconfig (under the GUI runtime) keeps its caches for the life of the process.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    setenv("TALMIK_TEST_DATA", TALMIK_TEST_DATA_DIR, 0);
    // NAME=value entries separated by '|'.
    std::string extra = TALMIK_TEST_ENVIRONMENT;
    for (size_t start = 0; start < extra.size();) {
        size_t end = extra.find('|', start);
        if (end == std::string::npos) end = extra.size();
        std::string entry = extra.substr(start, end - start);
        size_t eq = entry.find('=');
        if (eq != std::string::npos)
            setenv(entry.substr(0, eq).c_str(), entry.substr(eq + 1).c_str(), 0);
        start = end + 1;
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}

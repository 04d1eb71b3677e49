// What recording every VISA call costs: a query (viWrite "*IDN?\n" + viRead) on a simulated
// instrument in process, straight through ZU-VISA and through visalib with the trace on, in
// alternating rounds so that both see the same machine. The trace may add at most 1 us or 5 %
// of the query, whichever is larger.
// Usage: visalib_bench <device file> [seconds per round]
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "visalib/trace.h"
#include "visalib/visalib.h"

namespace {

using Clock = std::chrono::steady_clock;
using WriteFn = ViStatus (*)(ViSession, ViConstBuf, ViUInt32, ViPUInt32);
using ReadFn = ViStatus (*)(ViSession, ViPBuf, ViUInt32, ViPUInt32);
using GetFn = ViStatus (*)(ViObject, ViAttr, void*);

const char kQuery[] = "*IDN?\n";

// Nanoseconds per query over one round.
template <typename W, typename R>
double round(double seconds, ViSession vi, W write, R read, bool* wrong) {
    char buf[256];
    long n = 0;
    auto start = Clock::now();
    auto end = start + std::chrono::duration<double>(seconds);
    while (Clock::now() < end) {
        for (int i = 0; i < 50; ++i) {
            ViUInt32 count = 0;
            write(vi, reinterpret_cast<ViConstBuf>(kQuery), sizeof kQuery - 1, &count);
            if (read(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &count) < VI_SUCCESS || count == 0) *wrong = true;
        }
        n += 50;
    }
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / static_cast<double>(n);
}

// Nanoseconds per viGetAttribute of the timeout: a call that does almost nothing, so what the
// trace adds to any call stands out.
template <typename G>
double attributeRound(double seconds, ViSession vi, G get, bool* wrong) {
    long n = 0;
    auto start = Clock::now();
    auto end = start + std::chrono::duration<double>(seconds);
    while (Clock::now() < end) {
        for (int i = 0; i < 200; ++i) {
            ViUInt32 timeout = 0;
            if (get(vi, VI_ATTR_TMO_VALUE, &timeout) != VI_SUCCESS) *wrong = true;
        }
        n += 200;
    }
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / static_cast<double>(n);
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <device file> [seconds per round]\n", argv[0]);
        return 2;
    }
    char resolved[4096];
    std::string bench = realpath(argv[1], resolved) ? resolved : argv[1];
    double seconds = argc > 2 ? std::atof(argv[2]) : 0.25;
    char dir[] = "/tmp/visalib-bench-XXXXXX";
    if (!mkdtemp(dir)) return 1;
    std::string config = std::string(dir) + "/zuvisa.ini";
    std::ofstream(config) << "[Bridgelets]\nsim = True\n[Simulation]\nFile1 = \"" << bench << "\"\n";
    setenv("ZUVISA_CONFIG", config.c_str(), 1);

    // The library beside this program, bound by visalib and opened directly for the reference.
    char exe[4096];
    ssize_t len = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (len <= 0) return 1;
    exe[len] = '\0';
    std::string library = std::string(exe).substr(0, std::string(exe).rfind('/')) + "/libzuvisa.so";
    setenv("TALMIK_VISA_LIBRARY", library.c_str(), 1);
    ViSession rm = 0, vi = 0;
    if (viOpenDefaultRM(&rm) != VI_SUCCESS || viOpen(rm, "GPIB0::5::INSTR", VI_NULL, 0, &vi) != VI_SUCCESS) {
        std::fprintf(stderr, "cannot open GPIB0::5::INSTR from %s: %s\n", bench.c_str(), VisaLib_Error());
        return 1;
    }
    void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_NOLOAD);
    auto directWrite = handle ? reinterpret_cast<WriteFn>(dlsym(handle, "viWrite")) : nullptr;
    auto directRead = handle ? reinterpret_cast<ReadFn>(dlsym(handle, "viRead")) : nullptr;
    auto directGet = handle ? reinterpret_cast<GetFn>(dlsym(handle, "viGetAttribute")) : nullptr;
    if (!directWrite || !directRead || !directGet) {
        std::fprintf(stderr, "cannot reach %s directly\n", library.c_str());
        return 1;
    }

    bool wrong = false;
    std::vector<double> direct, traced, tracedToFile, getDirect, getTraced;
    round(seconds, vi, directWrite, directRead, &wrong);  // warm up both paths
    round(seconds, vi, viWrite, viRead, &wrong);
    for (int r = 0; r < 9; ++r) {
        direct.push_back(round(seconds, vi, directWrite, directRead, &wrong));
        traced.push_back(round(seconds, vi, viWrite, viRead, &wrong));
        getDirect.push_back(attributeRound(seconds / 2, vi, directGet, &wrong));
        getTraced.push_back(attributeRound(seconds / 2, vi, viGetAttribute, &wrong));
    }
    std::string file = std::string(dir) + "/trace.jsonl";
    VisaTrace_StartFile(file.c_str());
    for (int r = 0; r < 5; ++r) tracedToFile.push_back(round(seconds, vi, viWrite, viRead, &wrong));
    VisaTrace_StopFile();
    if (wrong) {
        std::fprintf(stderr, "a query failed\n");
        return 1;
    }
    double d = median(direct), t = median(traced), f = median(tracedToFile);
    double added = t - d, allowed = std::max(1000.0, 0.05 * d);
    std::printf("I/O trace on a simulated in-process query (viWrite \"*IDN?\\n\" + viRead), median of rounds:\n");
    std::printf("  straight to ZU-VISA         %8.2f us per query\n", d / 1000);
    std::printf("  through visalib, traced     %8.2f us per query\n", t / 1000);
    std::printf("  added by the trace          %8.0f ns per query (%.1f %%; %.0f ns per call)\n", added,
                100.0 * added / d, added / 2);
    std::printf("  allowed                     %8.0f ns per query (1 us or 5 %%, the larger)  -> %s\n", allowed,
                added <= allowed ? "met" : "NOT MET");
    double g = median(getDirect), gt = median(getTraced);
    std::printf("Any call (viGetAttribute of the timeout): %.0f ns straight, %.0f ns traced, %.0f ns added\n", g, gt,
                gt - g);
    std::printf("  traced and written to a file %7.2f us per query (%+.1f %% over straight; not part of the target)\n",
                f / 1000, 100.0 * (f - d) / d);
    viClose(rm);
    std::string cleanup = std::string("rm -rf '") + dir + "'";
    return std::system(cleanup.c_str()) == 0 && added <= allowed ? 0 : 3;
}

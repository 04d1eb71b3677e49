// In-process figures for ZU-VISA on a simulated instrument:
//   - query round trips per second through the C API (viWrite + viRead),
//   - the same dialogue straight on the simulated device, as the reference without the library,
//   - viOpen + viClose pairs per second.
// Usage: zuvisa_bench <device file> [seconds per figure]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

#include "zuvisa/bridgelets/sim/devicefile.h"
#include "zuvisa/bridgelets/sim/simdevice.h"
#include "zuvisa/zuvisa.h"

namespace {

using Clock = std::chrono::steady_clock;

template <typename F>
double perSecond(double seconds, F&& once) {
    long n = 0;
    auto start = Clock::now();
    auto end = start + std::chrono::duration<double>(seconds);
    while (Clock::now() < end) {
        for (int i = 0; i < 100; ++i) once();
        n += 100;
    }
    double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    return n / elapsed;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: %s <device file> [seconds]\n", argv[0]);
        return 2;
    }
    char resolved[4096];
    std::string bench = realpath(argv[1], resolved) ? resolved : argv[1];
    double seconds = argc > 2 ? atof(argv[2]) : 2.0;
    char dir[] = "/tmp/zuvisa-bench-XXXXXX";
    if (!mkdtemp(dir)) return 1;
    std::string config = std::string(dir) + "/zuvisa.ini";
    std::ofstream(config) << "[Bridgelets]\nsim = True\n[Simulation]\nBench = \"" << bench << "\"\n";
    setenv("ZUVISA_CONFIG", config.c_str(), 1);

    ViSession rm = 0, vi = 0;
    if (viOpenDefaultRM(&rm) != VI_SUCCESS || viOpen(rm, "GPIB0::5::INSTR", VI_NULL, 0, &vi) != VI_SUCCESS) {
        fprintf(stderr, "cannot open GPIB0::5::INSTR from %s\n", bench.c_str());
        return 1;
    }
    static const char cmd[] = "*IDN?\n";
    char buf[256];
    bool wrong = false;
    double api = perSecond(seconds, [&] {
        ViUInt32 n = 0;
        viWrite(vi, reinterpret_cast<ViConstBuf>(cmd), sizeof cmd - 1, &n);
        if (viRead(vi, reinterpret_cast<ViPBuf>(buf), sizeof buf, &n) != VI_SUCCESS || n == 0) wrong = true;
    });

    zuvisa::sim::DeviceFile file;
    std::string why;
    if (zuvisa::sim::loadDeviceFile(bench, &file, &why) != VI_SUCCESS) {
        fprintf(stderr, "%s\n", why.c_str());
        return 1;
    }
    zuvisa::sim::Device device(std::make_shared<const zuvisa::sim::DeviceDef>(*file.device("meter")), "GPIB INSTR");
    double direct = perSecond(seconds, [&] {
        size_t n = 0;
        device.write(reinterpret_cast<const ViByte*>(cmd), sizeof cmd - 1, true, &n);
        device.read(reinterpret_cast<ViByte*>(buf), sizeof buf, zuvisa::ReadOptions{},
                    zuvisa::IoControl::fromTimeout(2000, nullptr), &n);
    });

    double opens = perSecond(seconds, [&] {
        ViSession s = 0;
        if (viOpen(rm, "GPIB0::6::INSTR", VI_NULL, 0, &s) != VI_SUCCESS) wrong = true;
        viClose(s);
    });
    viClose(vi);
    viClose(rm);
    unlink(config.c_str());
    rmdir(dir);

    printf("query round trips per second (viWrite+viRead): %.0f\n", api);
    printf("query round trips per second (device alone):    %.0f\n", direct);
    printf("library share of a round trip:                  %.0f%%\n", 100.0 * (1.0 - api / direct));
    printf("viOpen+viClose per second:                      %.0f\n", opens);
    if (wrong) {
        printf("some calls failed\n");
        return 1;
    }
    return 0;
}

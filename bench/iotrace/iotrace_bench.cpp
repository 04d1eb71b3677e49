// The I/O trace window with its ring full: opening it, taking in new calls while the oldest fall
// off, changing a filter, scrolling and selecting. A window the user waits on for more than a
// tenth of a second does not feel live; the figures say how far each action is from that.
// Usage: iotrace_bench <device file> [calls kept]
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "app/iotrace.h"
#include "talmik_uir.h"
#include "uiruntime/testing/uitest.h"
#include "uiruntime/uiruntime.h"
#include "visalib/trace.h"
#include "visalib/visalib.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr double kLiveMs = 100.0;

double msSince(Clock::time_point start) { return std::chrono::duration<double, std::milli>(Clock::now() - start).count(); }

// A query, a timed-out read every so often, and an attribute: calls of every look.
void makeCalls(ViSession vi, long count) {
    static const char query[] = "*IDN?\n";
    unsigned char buf[256];
    for (long k = 0; k < count; k += 3) {
        ViUInt32 n = 0;
        viWrite(vi, reinterpret_cast<ViConstBuf>(query), sizeof query - 1, &n);
        viRead(vi, buf, sizeof buf, &n);
        ViUInt32 timeout = 0;
        viGetAttribute(vi, k % 300 == 0 ? 0x3FFF7777 : VI_ATTR_TMO_VALUE, &timeout);
    }
}

void report(const char* what, double ms) {
    std::printf("  %-62s %8.1f ms  %s\n", what, ms, ms <= kLiveMs ? "" : "(over a tenth of a second)");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <device file> [calls kept]\n", argv[0]);
        return 2;
    }
    if (!std::getenv("QT_QPA_PLATFORM")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
    long kept = argc > 2 ? std::atol(argv[2]) : 100000;
    char dir[] = "/tmp/iotrace-bench-XXXXXX";
    if (!mkdtemp(dir)) return 1;
    std::string config = std::string(dir) + "/zuvisa.ini";
    char device[4096];
    std::ofstream(config) << "[Bridgelets]\nsim = True\n[Simulation]\nFile1 = \""
                          << (realpath(argv[1], device) ? device : argv[1]) << "\"\n";
    setenv("ZUVISA_CONFIG", config.c_str(), 1);
    char exe[4096];
    ssize_t len = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (len <= 0) return 1;
    exe[len] = '\0';
    std::string bin = std::string(exe).substr(0, std::string(exe).rfind('/'));
    setenv("TALMIK_VISA_LIBRARY", (bin + "/libzuvisa.so").c_str(), 1);
    if (!InitKestrelRTEEx(0, argv, 0)) {
        std::fprintf(stderr, "iotrace_bench: the runtime cannot start\n");
        return 1;
    }
    RegisterUirCallbacks_talmik();
    ViSession rm = 0, vi = 0;
    if (VisaTrace_SetCapacity(static_cast<size_t>(kept)) != 0 || viOpenDefaultRM(&rm) != VI_SUCCESS ||
        viOpen(rm, "GPIB0::5::INSTR", VI_NULL, 0, &vi) != VI_SUCCESS) {
        std::fprintf(stderr, "iotrace_bench: cannot open GPIB0::5::INSTR from %s\n", argv[1]);
        return 1;
    }
    viSetAttribute(vi, VI_ATTR_TMO_VALUE, 0);
    makeCalls(vi, kept + 1000);
    uint64_t first = 0, next = 0;
    VisaTrace_Range(&first, &next);
    std::printf("I/O trace window with %llu calls kept (the ring full):\n", static_cast<unsigned long long>(next - first));

    // In the program the main window has paid for fonts and styles before the trace opens.
    int about = LoadPanel(0, "talmik.uir", ABOUT);
    DisplayPanel(about);
    ProcessDrawEvents();
    DiscardPanel(about);

    auto t0 = Clock::now();
    OpenIoTrace(VI_NULL);
    ProcessDrawEvents();
    report("opening the window, all calls listed and drawn", msSince(t0));
    int panel = GetActivePanel();  // the window comes to the front
    if (panel <= 0) {
        std::fprintf(stderr, "iotrace_bench: the window did not open: %s\n", LoadPanelErrorDetail());
        return 1;
    }
    int rows = 0;
    GetNumTableRows(panel, IOTRACE_CALLS, &rows);

    // Drawing is measured by rendering the window into an image, as the screen would get it.
    int rgb = 0;
    std::vector<double> ticks;
    for (int k = 0; k < 10; ++k) {
        makeCalls(vi, 999);  // a quarter of a second of busy I/O
        t0 = Clock::now();
        IoTraceTick(panel, IOTRACE_TICK, EVENT_TIMER_TICK, nullptr, 0, 0);
        UiTest_PixelAt(panel, 0, 0, &rgb);
        ticks.push_back(msSince(t0));
    }
    std::sort(ticks.begin(), ticks.end());
    report("a tick taking in 999 new calls (and as many falling off), drawn", ticks[ticks.size() / 2]);
    int after = 0;
    GetNumTableRows(panel, IOTRACE_CALLS, &after);
    if (after != rows) {
        std::fprintf(stderr, "iotrace_bench: %d rows listed after the ticks, %d before\n", after, rows);
        return 1;
    }

    t0 = Clock::now();
    SetCtrlVal(panel, IOTRACE_ERRORSONLY, 1);
    IoTraceFilter(panel, IOTRACE_ERRORSONLY, EVENT_COMMIT, nullptr, 0, 0);
    ProcessDrawEvents();
    report("\"Errors only\" on", msSince(t0));
    t0 = Clock::now();
    SetCtrlVal(panel, IOTRACE_ERRORSONLY, 0);
    IoTraceFilter(panel, IOTRACE_ERRORSONLY, EVENT_COMMIT, nullptr, 0, 0);
    ProcessDrawEvents();
    report("\"Errors only\" off again (every call listed)", msSince(t0));

    t0 = Clock::now();
    UiTest_PixelAt(panel, 0, 0, &rgb);
    report("drawing the whole window", msSince(t0));
    t0 = Clock::now();
    SetCtrlAttribute(panel, IOTRACE_CALLS, ATTR_FIRST_VISIBLE_LINE, rows / 2);
    UiTest_PixelAt(panel, 0, 0, &rgb);
    report("scrolling to the middle and drawing the window", msSince(t0));
    t0 = Clock::now();
    SetCtrlVal(panel, IOTRACE_CALLS, rows / 2 + 1);
    IoTraceCalls(panel, IOTRACE_CALLS, EVENT_VAL_CHANGED, nullptr, 0, 0);
    ProcessDrawEvents();
    report("selecting a call and showing it in full", msSince(t0));
    std::printf("  (rows listed: %d; a tenth of a second is the mark for every figure)\n", rows);

    viClose(rm);
    CloseKestrelRTE();
    std::string cleanup = std::string("rm -rf '") + dir + "'";
    return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}

// Times the session window on the offscreen platform and prints the figures: a session window
// handed out from a ready template, the 21 template steps, a 1 MiB read shown in the Read panel
// and a 256 KiB Move In. Each figure is the median wall time, with the processor time of the
// process beside it (on a busy machine the wall time says more about the machine than about
// the program).
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "app/registry.h"
#include "session/escaped.h"
#include "session/sessionrecord.h"
#include "session/sessionwnd.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"

namespace {

double now(clockid_t clock) {
    timespec t;
    clock_gettime(clock, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

struct Stopwatch {
    double wall = now(CLOCK_MONOTONIC), cpu = now(CLOCK_PROCESS_CPUTIME_ID);
};

struct Figures {
    std::vector<double> wall, cpu;
    void add(const Stopwatch& s) {
        wall.push_back(now(CLOCK_MONOTONIC) - s.wall);
        cpu.push_back(now(CLOCK_PROCESS_CPUTIME_ID) - s.cpu);
    }
    static double median(std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    }
    std::string text() const {
        char buffer[96];
        std::snprintf(buffer, sizeof buffer, "median %.1f ms (processor %.1f ms)", median(wall),
                      median(cpu));
        return buffer;
    }
};

// Builds every missing template step; the figures of the slowest step go to slowest.
void buildTemplate(Figures* slowest = nullptr) {
    Figures steps;
    for (int step = 0; step < kTemplateSteps; ++step) {
        Stopwatch s;
        makeSessionWindow(step);
        steps.add(s);
    }
    if (slowest) {
        slowest->wall.push_back(*std::max_element(steps.wall.begin(), steps.wall.end()));
        slowest->cpu.push_back(*std::max_element(steps.cpu.begin(), steps.cpu.end()));
    }
}

std::string showRead(int panel, const std::vector<ViByte>& bytes, int* length, int* lines) {
    Figures shows;
    for (int k = 0; k < 7; ++k) {
        Stopwatch s;
        beautifyRead(bytes.data(), static_cast<ViUInt32>(bytes.size()), panel, READ_DATA);
        ProcessDrawEvents();
        shows.add(s);
    }
    GetCtrlAttribute(panel, READ_DATA, ATTR_STRING_TEXT_LENGTH, length);
    GetNumTextBoxLines(panel, READ_DATA, lines);
    return shows.text();
}

}  // namespace

int main(int argc, char** argv) {
    if (!std::getenv("QT_QPA_PLATFORM")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
    if (!InitKestrelRTEEx(0, argv, 0)) {
        std::fprintf(stderr, "windowbench: the runtime cannot start\n");
        return 1;
    }
    if (!LoadInitialPanels(0)) {
        std::fprintf(stderr, "windowbench: the session-window component cannot start\n");
        return 1;
    }
    SetCtrlAttribute(tmrpanel, TMRPANEL_TIMER, ATTR_ENABLED, 0);  // the benchmark builds by itself
    buildTemplate();  // the first one pays for reading the panel file

    const int rounds = 15;
    Figures whole, slowestStep;
    for (int k = 0; k < rounds; ++k) {
        discardPanelsNull();
        ProcessSystemEvents();
        Stopwatch s;
        buildTemplate(&slowestStep);
        whole.add(s);
    }
    std::printf("Session window benchmark (offscreen platform, ZU-VISA demo bench)\n");
    std::printf("  build all %d template steps: %s\n", kTemplateSteps, whole.text().c_str());
    std::printf("  slowest single step (one timer tick): %s\n", slowestStep.text().c_str());

    std::vector<const char*> resources = {"GPIB0::22::INSTR", "VXI0::16::INSTR", "ASRL1::INSTR",
                                          "TCPIP0::sim.invalid::5025::SOCKET",
                                          "USB0::0x0E5A::0x0004::SIM0004::INSTR"};
    if (argc > 1) resources.assign(argv + 1, argv + argc);
    for (const char* resource : resources) {
        Figures opens;
        for (int k = 0; k < rounds; ++k) {
            discardPanelsNull();
            buildTemplate();
            ProcessSystemEvents();  // as the event loop runs between two opens
            Stopwatch s;
            if (!OpenVisaSession(resource)) {
                std::fprintf(stderr, "windowbench: %s does not open\n", resource);
                return 1;
            }
            ProcessDrawEvents();
            opens.add(s);
            CloseAllWindows();
        }
        std::printf(
            "  open a window on %s from a ready template, until drawn: %s (aim: 30 ms or less)\n",
            resource, opens.text().c_str());
    }

    // A read of 1 MiB shown in a Read panel on screen: every byte value, and one long line of
    // letters.
    buildTemplate();
    OpenVisaSession("GPIB0::22::INSTR");
    void* data = nullptr;
    GetPanelAttribute(sessionWindows[0], ATTR_CALLBACK_DATA, &data);
    const int panel = static_cast<SessionRecord*>(data)->readPanel;
    std::vector<ViByte> bytes(1024 * 1024), letters(bytes.size());
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<ViByte>(i * 7 + i / 256);
        letters[i] = static_cast<ViByte>('a' + i % 26);
    }
    int length = 0, lines = 0;
    std::string figures = showRead(panel, bytes, &length, &lines);
    std::printf(
        "  show a 1 MiB read of every byte value (%d characters, %d lines) in the Read panel: %s"
        " (aim: 200 ms or less)\n",
        length, lines, figures.c_str());
    figures = showRead(panel, letters, &length, &lines);
    std::printf(
        "  show a 1 MiB read of letters only (%d characters, %d line) in the Read panel: %s\n",
        length, lines, figures.c_str());

    // A Move In of the digitizer's whole memory (256 KiB as 65536 32-bit elements) from the
    // Execute button until the first element is shown: the first one grows the buffer.
    CloseAllWindows();
    buildTemplate();
    OpenVisaSession("VXI0::16::INSTR");
    GetPanelAttribute(sessionWindows[0], ATTR_CALLBACK_DATA, &data);
    const int moveIn = static_cast<SessionRecord*>(data)->moveInPanel;
    SetCtrlVal(moveIn, MOVEIN_SPACE, static_cast<ViUInt16>(VI_A24_SPACE));
    SetCtrlVal(moveIn, MOVEIN_COUNT, static_cast<ViUInt32>(65536));
    SetCtrlVal(moveIn, MOVEIN_WIDTH32, 1);
    SetCtrlVal(moveIn, MOVEIN_WIDTH16, 0);
    Figures moves;
    for (int k = 0; k < rounds; ++k) {
        Stopwatch s;
        ExecuteMoveIn(moveIn, MOVEIN_EXECUTE, EVENT_COMMIT, data, 0, 0);
        ProcessDrawEvents();
        moves.add(s);
    }
    ViUInt32 status = 0;
    GetCtrlVal(moveIn, MOVEIN_STATUS, &status);
    std::printf("  Move In of 65536 32-bit elements (256 KiB, status 0x%08X) shown: %s"
                " (aim: 50 ms or less)\n",
                status, moves.text().c_str());
    CloseAllExtResources();
    CloseKestrelRTE();
    return 0;
}

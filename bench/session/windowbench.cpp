// Times the session window on the offscreen platform and prints the figures: a session window
// handed out from a ready template, the 21 template steps, and a 1 MiB read with every byte value
// shown in the Read panel.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "app/registry.h"
#include "session/escaped.h"
#include "session/sessionrecord.h"
#include "session/sessionwnd.h"
#include "uiruntime/uiruntime.h"
#include "visaio_uir.h"

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// Builds every missing template step; the time of each step.
std::vector<double> buildTemplate() {
    std::vector<double> steps;
    for (int step = 0; step < kTemplateSteps; ++step) {
        auto t0 = Clock::now();
        makeSessionWindow(step);
        steps.push_back(msSince(t0));
    }
    return steps;
}

}  // namespace

int main(int, char** argv) {
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
    buildTemplate();  // the first one pays for loading the panel file

    const int rounds = 15;
    std::vector<double> whole, slowestStep;
    for (int k = 0; k < rounds; ++k) {
        discardPanelsNull();
        auto t0 = Clock::now();
        std::vector<double> steps = buildTemplate();
        whole.push_back(msSince(t0));
        slowestStep.push_back(*std::max_element(steps.begin(), steps.end()));
    }

    std::printf("Session window benchmark (offscreen platform, ZU-VISA demo bench)\n");
    std::printf(
        "  build all %d template steps: median %.1f ms; slowest single step (one timer tick) "
        "median %.1f ms\n",
        kTemplateSteps, median(whole), median(slowestStep));

    const char* resources[] = {"GPIB0::22::INSTR", "VXI0::16::INSTR", "ASRL1::INSTR",
                               "TCPIP0::127.0.0.1::5025::SOCKET",
                               "USB0::0x0E5A::0x0004::SIM0004::INSTR"};
    for (const char* resource : resources) {
        std::vector<double> opens;
        for (int k = 0; k < rounds; ++k) {
            discardPanelsNull();
            buildTemplate();
            auto t0 = Clock::now();
            if (!OpenVisaSession(resource)) {
                std::fprintf(stderr, "windowbench: %s does not open\n", resource);
                return 1;
            }
            ProcessDrawEvents();
            opens.push_back(msSince(t0));
            CloseAllWindows();
        }
        std::printf(
            "  open a window on %s from a ready template, until drawn: median %.1f ms (aim: 30 ms "
            "or less)\n",
            resource, median(opens));
    }

    // A read of 1 MiB holding every byte value, shown in a Read panel on screen.
    buildTemplate();
    OpenVisaSession("GPIB0::22::INSTR");
    int window = sessionWindows[0];
    void* data = nullptr;
    GetPanelAttribute(window, ATTR_CALLBACK_DATA, &data);
    auto* record = static_cast<SessionRecord*>(data);
    const int panel = record->readPanel;
    std::vector<ViByte> bytes(1024 * 1024);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<ViByte>(i * 7 + i / 256);
    std::vector<double> shows;
    int length = 0, lines = 0;
    for (int k = 0; k < 7; ++k) {
        auto t0 = Clock::now();
        beautifyRead(bytes.data(), static_cast<ViUInt32>(bytes.size()), panel, READ_DATA);
        ProcessDrawEvents();
        shows.push_back(msSince(t0));
    }
    GetCtrlAttribute(panel, READ_DATA, ATTR_STRING_TEXT_LENGTH, &length);
    GetNumTextBoxLines(panel, READ_DATA, &lines);
    std::printf(
        "  show a 1 MiB read of every byte value (%d characters, %d lines) in the Read panel until "
        "drawn:"
        " median %.1f ms (aim: 200 ms or less)\n",
        length, lines, median(shows));
    CloseAllExtResources();
    CloseKestrelRTE();
    return 0;
}

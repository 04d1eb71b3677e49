// Times the runtime's heavy paths on the offscreen platform and prints the figures.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_uir.h"
#include "bench/timing.h"
#include "uiruntime/uiruntime.h"

int BenchControl(int, int, int, void*, int, int) { return 0; }

namespace {

using bench::Clock;
using bench::median;
using bench::msSince;

}  // namespace

int main(int, char** argv) {
    if (!std::getenv("QT_QPA_PLATFORM")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
    if (!InitKestrelRTEEx(0, argv, 0)) {
        std::fprintf(stderr, "uibench: the runtime cannot start\n");
        return 1;
    }
    RegisterUirCallbacks_bench();

    // The first panel of a process pays for the font and style set-up.
    auto t0 = Clock::now();
    int warm = NewPanel(0, "Warm-up", 0, 0, 100, 100);
    NewCtrl(warm, CTRL_STRING, "Text", 30, 10);
    DisplayPanel(warm);
    ProcessDrawEvents();
    double setup = msSince(t0);
    DiscardPanel(warm);

    // Loading a panel of 40 controls: the first load reads and checks the file.
    t0 = Clock::now();
    int panel = LoadPanel(0, "bench.uir", BENCH40);
    double first = msSince(t0);
    if (panel < 0) {
        std::fprintf(stderr, "uibench: %s\n", LoadPanelErrorDetail());
        return 1;
    }
    int controls = 0;
    GetPanelAttribute(panel, ATTR_NUM_CTRLS, &controls);
    DiscardPanel(panel);
    std::vector<double> loads;
    for (int k = 0; k < 30; ++k) {
        t0 = Clock::now();
        panel = LoadPanel(0, "bench.uir", BENCH40);
        loads.push_back(msSince(t0));
        DiscardPanel(panel);
        ProcessSystemEvents();
    }

    // 10 000 list items, then drawn.
    panel = NewPanel(0, "List", 100, 100, 400, 400);
    int list = NewCtrl(panel, CTRL_LIST, "Items", 20, 10);
    SetCtrlAttribute(panel, list, ATTR_HEIGHT, 350);
    DisplayPanel(panel);
    ProcessDrawEvents();
    char label[64];
    t0 = Clock::now();
    for (int k = 0; k < 10000; ++k) {
        std::snprintf(label, sizeof label, "GPIB0::%d::INSTR", k);
        InsertListItem(panel, list, -1, label, k);
    }
    double insertOnly = msSince(t0);
    ProcessDrawEvents();
    double insertShown = msSince(t0);
    int count = 0;
    GetNumListItems(panel, list, &count);

    // 1 MB appended to a text box in pieces of 79 characters, until it is shown.
    int box = NewCtrl(panel, CTRL_TEXT_BOX, "Data", 20, 10);
    SetCtrlAttribute(panel, box, ATTR_HEIGHT, 350);
    SetCtrlAttribute(panel, box, ATTR_WIDTH, 380);
    SetCtrlAttribute(panel, list, ATTR_VISIBLE, 0);
    ProcessDrawEvents();
    std::string piece(78, 'x');
    for (size_t k = 0; k < piece.size(); ++k) piece[k] = static_cast<char>('!' + k % 90);
    piece += '\n';
    const size_t total = 1024 * 1024;
    t0 = Clock::now();
    ResetTextBox(panel, box, "");
    size_t appended = 0;
    while (appended < total) {
        SetCtrlVal(panel, box, piece.c_str());
        appended += piece.size();
    }
    SetCtrlAttribute(panel, box, ATTR_FIRST_VISIBLE_LINE, 0);
    ProcessDrawEvents();
    double append = msSince(t0);
    int lines = 0;
    GetNumTextBoxLines(panel, box, &lines);

    std::printf("Runtime benchmark (offscreen platform)\n");
    std::printf("  first panel of the process (fonts and style): %.1f ms\n", setup);
    std::printf("  load a panel of %d controls: first %.2f ms, then median %.2f ms (best %.2f ms) over %zu loads\n",
                controls, first, median(loads), *std::min_element(loads.begin(), loads.end()), loads.size());
    std::printf("  insert %d list items: %.1f ms, %.1f ms until drawn\n", count, insertOnly, insertShown);
    std::printf("  append %zu bytes in pieces of %zu characters (%d lines) until drawn: %.1f ms (aim: well under 200 ms)\n",
                appended, piece.size(), lines, append);
    DiscardPanel(panel);
    CloseKestrelRTE();
    return 0;
}

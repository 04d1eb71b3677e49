// Opens session windows for looking at them: showsession [--labels] RESOURCE[@TAB@OPERATION]...
// Each window shows the tab and operation whose titles (without their blanks) are given, such as
// GPIB0::22::INSTR@Basic I/O@viRead; an operation written with a final '!' is executed once, and
// several tab and operation pairs may follow each other. The program runs until its windows are
// closed.
#include <cstdio>
#include <cstring>
#include <string>

#include "app/registry.h"
#include "controls/sheets.h"
#include "uiruntime/uiruntime.h"

namespace {

std::string trimmed(const char* s) {
    std::string t = s;
    size_t b = t.find_first_not_of(' '), e = t.find_last_not_of(' ');
    return b == std::string::npos ? "" : t.substr(b, e - b + 1);
}

// Clicks the tab of that title on a panel; returns the panel of its sheet, or 0.
int clickTab(int panel, const std::string& title) {
    int control = 0;
    for (GetPanelAttribute(panel, ATTR_PANEL_FIRST_CTRL, &control); control > 0;
         GetCtrlAttribute(panel, control, ATTR_NEXT_CTRL, &control)) {
        CtrlCallbackPtr callback = nullptr;
        void* data = nullptr;
        char text[128] = "";
        GetCtrlAttribute(panel, control, ATTR_CALLBACK_FUNCTION_POINTER, &callback);
        if (callback != SheetTabCallback) continue;
        if (GetCtrlVal(panel, control, text, sizeof text) < 0 || trimmed(text) != title) continue;
        GetCtrlAttribute(panel, control, ATTR_CALLBACK_DATA, &data);
        SheetTabCallback(panel, control, EVENT_LEFT_CLICK, data, 0, 0);
        return GetActivePanel();
    }
    return 0;
}

// Commits the panel's Execute button as a click would.
void pressExecute(int panel) {
    int control = 0;
    for (GetPanelAttribute(panel, ATTR_PANEL_FIRST_CTRL, &control); control > 0;
         GetCtrlAttribute(panel, control, ATTR_NEXT_CTRL, &control)) {
        char name[64] = "";
        GetCtrlAttribute(panel, control, ATTR_CONSTANT_NAME, name, sizeof name);
        if (std::strcmp(name, "EXECUTE") != 0) continue;
        CtrlCallbackPtr callback = nullptr;
        void* data = nullptr;
        GetCtrlAttribute(panel, control, ATTR_CALLBACK_FUNCTION_POINTER, &callback);
        GetCtrlAttribute(panel, control, ATTR_CALLBACK_DATA, &data);
        if (callback) callback(panel, control, EVENT_COMMIT, data, 0, 0);
        return;
    }
}

int QuitWhenAllClosed(int, int, int event, void*, int, int) {
    if (event == EVENT_TIMER_TICK && GetNumVisaWindows() == 0) QuitUserInterface(0);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (!InitKestrelRTEEx(0, argv, 0)) return 1;
    if (!LoadInitialPanels(0)) return 1;
    int first = 1;
    if (argc > 1 && std::strcmp(argv[1], "--labels") == 0) {
        useVISAnames = 0;
        discardPanelsNull();
        first = 2;
    }
    for (int i = first; i < argc; ++i) {
        std::string spec = argv[i];
        size_t at = spec.find('@');
        std::string name = spec.substr(0, at);
        if (!OpenVisaSession(name.c_str())) continue;
        int window = sessionWindows[numWindows - 1];
        SetPanelPos(window, 20 + 30 * (i - first), 20 + 30 * (i - first));
        // Titles alternate: a tab of the window, then an operation on that tab.
        int tab = 0;
        while (at != std::string::npos) {
            size_t next = spec.find('@', at + 1);
            std::string title =
                spec.substr(at + 1, next == std::string::npos ? std::string::npos : next - at - 1);
            bool execute = !title.empty() && title.back() == '!';
            if (execute) title.pop_back();
            int sheet = clickTab(tab > 0 ? tab : window, title);
            if (execute && sheet > 0) pressExecute(sheet);
            tab = tab > 0 ? 0 : sheet;
            at = next;
        }
    }
    int watcher = NewPanel(0, "watcher", 0, 0, 10, 10);
    int timer = NewCtrl(watcher, CTRL_TIMER, "", 0, 0);
    InstallCtrlCallback(watcher, timer, QuitWhenAllClosed, nullptr);
    SetCtrlAttribute(watcher, timer, ATTR_INTERVAL, 0.5);
    RunUserInterface();
    CloseAllExtResources();
    CloseKestrelRTE();
    return 0;
}

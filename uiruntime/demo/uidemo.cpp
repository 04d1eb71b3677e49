// Shows the example panel resource file: every control kind, menus, a popup dialog, a canvas
// and a timer. Written against the runtime's API only, as the application is.
//
//   uidemo [--quit-after <seconds>]
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "example_uir.h"
#include "uiruntime/uiruntime.h"

namespace {

int mainPanel = 0;
int dialogPanel = 0;
bool dialogActive = false;
int phase = 0;
double quitAfter = 0;
double elapsed = 0;

void logLine(const char* text) {
    SetCtrlVal(mainPanel, EXAMPLE_LOG, text);
    SetCtrlVal(mainPanel, EXAMPLE_LOG, "\n");
}

void drawCanvas() {
    const int c = EXAMPLE_CANVAS;
    int height = 0, width = 0;
    GetCtrlAttribute(mainPanel, c, ATTR_HEIGHT, &height);
    GetCtrlAttribute(mainPanel, c, ATTR_WIDTH, &width);
    CanvasStartBatchDraw(mainPanel, c);
    SetCtrlAttribute(mainPanel, c, ATTR_PICT_BGCOLOR, 0x102030);
    CanvasClear(mainPanel, c, VAL_ENTIRE_OBJECT);
    SetCtrlAttribute(mainPanel, c, ATTR_PEN_COLOR, 0x2F4F6F);
    for (int x = 0; x < width; x += 20) CanvasDrawLine(mainPanel, c, MakePoint(x, 0), MakePoint(x, height));
    for (int y = 0; y < height; y += 20) CanvasDrawLine(mainPanel, c, MakePoint(0, y), MakePoint(width, y));
    SetCtrlAttribute(mainPanel, c, ATTR_PEN_COLOR, 0xFFD040);
    SetCtrlAttribute(mainPanel, c, ATTR_PEN_WIDTH, 2);
    auto trace = [&](int x) {
        double t = (x + phase) / 25.0;
        return MakePoint(x, height / 2 - static_cast<int>(std::lround(std::sin(t) * height * 0.35 *
                                                                         std::exp(-x / 400.0))));
    };
    Point last = trace(0);
    for (int x = 1; x < width; ++x) {
        Point p = trace(x);
        CanvasDrawLine(mainPanel, c, last, p);
        last = p;
    }
    SetCtrlAttribute(mainPanel, c, ATTR_PEN_WIDTH, 1);
    SetCtrlAttribute(mainPanel, c, ATTR_PEN_COLOR, 0xE0E0E0);
    CanvasDrawTextAtPoint(mainPanel, c, "CH1  1.500 V/div", VAL_DIALOG_META_FONT, MakePoint(8, 6),
                          VAL_UPPER_LEFT);
    CanvasEndBatchDraw(mainPanel, c);
}

}  // namespace

int ExamplePanel(int panel, int event, void*, int, int) {
    if (event == EVENT_CLOSE) {
        if (panel == dialogPanel) dialogActive = false;
        else QuitUserInterface(0);
    }
    return 0;
}

int ExampleControl(int panel, int control, int event, void*, int, int) {
    if (panel != mainPanel) return 0;
    char line[300];
    switch (control) {
        case EXAMPLE_QUIT:
            if (event == EVENT_COMMIT) QuitUserInterface(0);
            break;
        case EXAMPLE_APPLY:
            if (event == EVENT_COMMIT) {
                dialogPanel = LoadPanel(0, "example.uir", DIALOG);
                if (dialogPanel < 0) return 0;
                char name[256] = "";
                GetCtrlVal(mainPanel, EXAMPLE_NAME, name);
                SetCtrlVal(dialogPanel, DIALOG_ENTRY, name);
                dialogActive = true;
                InstallPopup(dialogPanel);
                while (dialogActive) ProcessSystemEvents();
                RemovePopup(0);
                DiscardPanel(dialogPanel);
                dialogPanel = 0;
            }
            break;
        case EXAMPLE_TIMER:
            if (event == EVENT_TIMER_TICK) {
                phase += 6;
                drawCanvas();
                int on = 0;
                GetCtrlVal(mainPanel, EXAMPLE_LED, &on);
                SetCtrlVal(mainPanel, EXAMPLE_LED, !on);
                elapsed += 0.5;
                if (quitAfter > 0 && elapsed >= quitAfter) QuitUserInterface(0);
            }
            break;
        case EXAMPLE_POWER:
            if (event == EVENT_COMMIT) {
                int on = 0;
                GetCtrlVal(mainPanel, EXAMPLE_POWER, &on);
                SetCtrlAttribute(mainPanel, EXAMPLE_TIMER, ATTR_ENABLED, on);
                logLine(on ? "Power on: the trace runs." : "Power off.");
            }
            break;
        default:
            if (event == EVENT_COMMIT) {
                char label[64] = "";
                GetCtrlAttribute(panel, control, ATTR_CONSTANT_NAME, label);
                std::snprintf(line, sizeof line, "Commit on %s", label);
                logLine(line);
            }
    }
    return 0;
}

int DialogButton(int panel, int control, int event, void*, int, int) {
    if (event != EVENT_COMMIT) return 0;
    if (control == DIALOG_OK) {
        char name[256] = "";
        GetCtrlVal(panel, DIALOG_ENTRY, name);
        SetCtrlVal(mainPanel, EXAMPLE_NAME, name);
    }
    dialogActive = false;
    return 0;
}

void ExampleMenu(int menuBar, int menuItem, void*, int) {
    char path[MAX_PATHNAME_LEN] = "";
    switch (menuItem) {
        case MENUBAR_FILE_OPEN:
            if (FileSelectPopup("", "*.*", "", "Open a File", VAL_LOAD_BUTTON, 0, 0, 1, 0, path) > 0) logLine(path);
            break;
        case MENUBAR_FILE_EXIT: QuitUserInterface(0); break;
        case MENUBAR_VIEW_SHOW_LOG: {
            int checked = 0;
            GetMenuBarAttribute(menuBar, menuItem, ATTR_CHECKED, &checked);
            SetMenuBarAttribute(menuBar, menuItem, ATTR_CHECKED, !checked);
            SetCtrlAttribute(mainPanel, EXAMPLE_LOG, ATTR_VISIBLE, !checked);
            break;
        }
        case MENUBAR_HELP_ABOUT:
            MessagePopup("About", "The panel-and-control runtime's example panels.");
            break;
        default: break;
    }
}

int main(int argc, char** argv) {
    for (int k = 1; k + 1 < argc; ++k)
        if (std::strcmp(argv[k], "--quit-after") == 0) quitAfter = std::atof(argv[k + 1]);
    if (!InitKestrelRTEEx(0, argv, 0)) {
        std::fprintf(stderr, "uidemo: no display\n");
        return 1;
    }
    RegisterUirCallbacks_example();
    mainPanel = LoadPanel(0, "example.uir", EXAMPLE);
    if (mainPanel < 0) {
        std::fprintf(stderr, "uidemo: %s (%s)\n", GetUILErrorString(mainPanel), LoadPanelErrorDetail());
        return 1;
    }
    SetCtrlVal(mainPanel, EXAMPLE_COUNT, 0xFFFFFFFFu);
    CheckListItem(mainPanel, EXAMPLE_ITEMS, 0, 1);
    CheckListItem(mainPanel, EXAMPLE_ITEMS, 2, 1);
    InsertListItem(mainPanel, EXAMPLE_ITEMS, -1, "Signal generator\033p150lGPIB0::5::INSTR", 4);
    SetCtrlVal(mainPanel, EXAMPLE_LED, 1);
    SetCtrlVal(mainPanel, EXAMPLE_POWER, 1);
    logLine("*IDN?\\n");
    logLine("ZU Instruments,DMM-7,0,1.02\\r\\n");
    logLine("Runtime started.");
    drawCanvas();
    DisplayPanel(mainPanel);
    int rc = RunUserInterface();
    DiscardPanel(mainPanel);
    CloseKestrelRTE();
    return rc;
}

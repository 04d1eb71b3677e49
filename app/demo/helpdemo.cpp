// helpdemo: shows the context help of talmik on its own, for looking at it by eye.
//
//   helpdemo tooltip           the "What's This?" text of the find expression field
//   helpdemo interpret [code]  what "Interpret Code" shows for a status (default VI_ERROR_TMO)
//   helpdemo menu              the session window's right-click menu on a status display
//   helpdemo reference [word]  the VISA reference in the help viewer at a keyword (default viRead)
//   --quit-after SECONDS       ends the program after that time (for screenshots)
// The text or menu is shown once; a click ends it as in talmik, and the panel stays.
//
// It runs beside the built talmik: the panels, the help texts, the reference and ZU-VISA are
// found in the program's directory.
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>

#include "app/contexthelp.h"
#include "app/prefs.h"
#include "app/talmik.h"
#include "controls/help.h"
#include "talmik_uir.h"
#include "uiruntime/uiruntime.h"
#include "zuvisa/visa.h"

namespace {

double quitAfter = 0;
auto started = std::chrono::steady_clock::now();

void quitWhenDue(void*) {
    std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - started;
    if (quitAfter > 0 && elapsed.count() >= quitAfter) {
        SystemHelp(pszHelpName, HELP_QUIT, 0, "");
        std::exit(0);
    }
    PostDeferredCall(quitWhenDue, nullptr);
}

int statusPanel(ViStatus status, int* control) {
    int panel = NewPanel(0, "viRead", 120, 160, 220, 560);
    SetPanelAttribute(panel, ATTR_BACKCOLOR, VAL_PANEL_GRAY);
    *control = NewCtrl(panel, CTRL_NUMERIC, "Status", 40, 30);
    SetCtrlAttribute(panel, *control, ATTR_DATA_TYPE, VAL_INTEGER);
    SetCtrlAttribute(panel, *control, ATTR_FORMAT, VAL_HEX_FORMAT);
    SetCtrlAttribute(panel, *control, ATTR_TEXT_COLOR, status < 0 ? VAL_RED : VAL_BLACK);
    SetCtrlVal(panel, *control, static_cast<int>(status));
    DisplayPanel(panel);
    return panel;
}

}  // namespace

int main(int argc, char** argv) {
    std::string mode = argc > 1 ? argv[1] : "tooltip";
    std::string argument = argc > 2 && argv[2][0] != '-' ? argv[2] : "";
    for (int k = 1; k + 1 < argc; ++k)
        if (std::strcmp(argv[k], "--quit-after") == 0) quitAfter = std::atof(argv[k + 1]);
    if (!InitKestrelRTEEx(0, argv, 0)) return 1;
    RegisterUirCallbacks_talmik();
    GetTalmikPathNames(&pszAppName, &pszHelpName);
    installHelpHost();
    // As in talmik: the main callback counts the clicks that end a help text.
    InstallMainCallback(MainCallback, nullptr, 0);
    std::string helpText = std::string(programDirectory()) + "/ZUtalmik.hlp";
    if (Help_Initialize(helpText.c_str()) < 0) return 1;
    viOpenDefaultRM(&defaultRM);
    PostDeferredCall(quitWhenDue, nullptr);

    if (mode == "tooltip") {
        int sheet = LoadPanel(0, "talmik.uir", IOSHEET);
        SetPanelPos(sheet, 100, 100);
        DisplayPanel(sheet);
        ProcessDrawEvents();
        const char* text = Help_MessageFromUI(sheet, IOSHEET_FINDEXPR);
        Help_DisplayMessage(sheet, text ? text : "(no help text)", 120, 30);
    } else if (mode == "interpret" || mode == "menu") {
        ViStatus status = argument.empty()
                              ? VI_ERROR_TMO
                              : static_cast<ViStatus>(std::strtoul(argument.c_str(), nullptr, 0));
        int control = 0;
        int panel = statusPanel(status, &control);
        ProcessDrawEvents();
        if (mode == "menu") {
            ContextSensitiveHelpExt(panel, control, 1, 0, 0, 1, 1, nullptr, 60, 70);
        } else {
            char text[1024];
            interpretCodeText(defaultRM, status, text, sizeof text);
            Help_DisplayMessage(panel, text, 30, 80);
        }
    } else if (mode == "reference") {
        const char* keyword = argument.empty() ? "viRead" : argument.c_str();
        if (SystemHelp(pszHelpName, HELP_KEY, 0, keyword) <= 0) return 1;
    }
    // The help was shown (a click ends it, as in talmik): the panels stay until the time is up.
    RunUserInterface();
    return 0;
}

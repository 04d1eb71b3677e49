#include "tools/zudm6500/panel.h"

#include <cstdio>
#include <ctime>

#include "tools/zudm6500/dmm.h"
#include "uiruntime/uiruntime.h"
#include "zudm6500_uir.h"

namespace {

constexpr int kErrorColor = 0xC00000;
constexpr int kNormalColor = 0x000000;
constexpr int kDisplayBack = 0x0B2E1A;
constexpr int kDisplayText = 0x7CFC9A;

const int kNeedConnection[] = {DMM_FUNCTION, DMM_RANGE, DMM_MEASURE, DMM_CONTINUOUS};

int panel = 0;
DmmLink link;
std::string unit = "V DC";

void showStatus(const std::string& text, bool error) {
    SetCtrlAttribute(panel, DMM_STATUS, ATTR_TEXT_COLOR, error ? kErrorColor : kNormalColor);
    SetCtrlVal(panel, DMM_STATUS, text.c_str());
}

void stopContinuous() {
    SetCtrlVal(panel, DMM_CONTINUOUS, 0);
    SetCtrlAttribute(panel, DMM_TIMER, ATTR_ENABLED, 0);
}

void showConnected(bool connected) {
    for (int control : kNeedConnection) SetCtrlAttribute(panel, control, ATTR_DIMMED, !connected);
    if (!connected) {
        stopContinuous();
        SetCtrlVal(panel, DMM_READING, "-----");
    }
    std::string title =
        connected ? "DM-6500 Digital Multimeter on " + link.resource : "DM-6500 Digital Multimeter";
    SetPanelAttribute(panel, ATTR_TITLE, title.c_str());
}

// After a setting: the meter's own error queue says whether it took it.
bool settingTaken(const char* what) {
    std::string error;
    ViStatus st = Dmm_NextError(&link, &error);
    if (st < 0) {
        showStatus(Dmm_StatusText(link, "viRead", st), true);
        return false;
    }
    if (!error.empty()) {
        showStatus(std::string("The multimeter refused the ") + what + ": " + error, true);
        return false;
    }
    return true;
}

// Shows the function and range the meter has now.
void readSettings() {
    std::string function;
    double range = 0;
    ViStatus st = Dmm_GetFunction(&link, &function);
    if (st >= 0) {
        if (const DmmFunction* f = Dmm_FindFunction(function)) {
            SetCtrlVal(panel, DMM_FUNCTION, f->command);
            unit = f->unit;
        }
        st = Dmm_GetRange(&link, &range);
    }
    if (st >= 0)
        SetCtrlVal(panel, DMM_RANGE, range);
    else
        showStatus(Dmm_StatusText(link, "Reading the settings", st), true);
}

void measure() {
    double value = 0;
    std::string reply;
    ViStatus st = Dmm_Measure(&link, &value, &reply);
    if (st < 0) {
        stopContinuous();
        SetCtrlVal(panel, DMM_READING, "-----");
        if (st == VI_ERROR_IO && !reply.empty())
            showStatus("The multimeter answered \"" + reply + "\", which is not a number.", true);
        else
            showStatus(Dmm_StatusText(link, "Measuring", st), true);
        return;
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.5f %s", value, unit.c_str());
    SetCtrlVal(panel, DMM_READING, text);
    char when[32];
    std::time_t now = std::time(nullptr);
    std::strftime(when, sizeof when, "%H:%M:%S", std::localtime(&now));
    showStatus(std::string("Measured at ") + when + ".", false);
}

void connect() {
    char resource[VI_FIND_BUFLEN] = "";
    GetCtrlVal(panel, DMM_RESOURCE, resource);
    SetWaitCursor(1);
    ProcessDrawEvents();
    std::string identity;
    ViStatus st = Dmm_Connect(&link, resource, &identity);
    SetWaitCursor(0);
    if (st < 0) {
        SetCtrlVal(panel, DMM_IDENTITY, "Not connected");
        showConnected(false);
        showStatus(Dmm_StatusText(link, (std::string("Cannot connect to ") + resource).c_str(), st),
                   true);
        return;
    }
    SetCtrlVal(panel, DMM_IDENTITY, identity.c_str());
    showConnected(true);
    showStatus(std::string("Connected to ") + resource + ".", false);
    readSettings();
    measure();
}

// After sending a setting: what the meter made of it, and the settings it has now.
void settingSent(ViStatus sent, const char* what, const char* done) {
    if (sent < 0)
        showStatus(Dmm_StatusText(link, (std::string("Setting the ") + what).c_str(), sent), true);
    else if (settingTaken(what))
        showStatus(done, false);
    readSettings();
}

void applyFunction() {
    char function[32] = "";
    GetCtrlVal(panel, DMM_FUNCTION, function);
    settingSent(Dmm_SetFunction(&link, function), "function", "Function set.");
}

void applyRange() {
    double range = 0;
    GetCtrlVal(panel, DMM_RANGE, &range);
    settingSent(Dmm_SetRange(&link, range), "range", "Range set.");
}

}  // namespace

int DmmPanel(int, int event, void*, int, int) {
    if (event == EVENT_CLOSE) QuitUserInterface(0);
    return 0;
}

int DmmControl(int, int control, int event, void*, int, int) {
    if (control == DMM_TIMER) {
        if (event == EVENT_TIMER_TICK && Dmm_Connected(link)) measure();
        return 0;
    }
    if (event != EVENT_COMMIT) return 0;
    switch (control) {
        case DMM_RESOURCE:
        case DMM_CONNECT:
            connect();
            break;
        case DMM_MEASURE:
            measure();
            break;
        case DMM_FUNCTION:
            applyFunction();
            break;
        case DMM_RANGE:
            applyRange();
            break;
        case DMM_CONTINUOUS: {
            int on = 0;
            GetCtrlVal(panel, DMM_CONTINUOUS, &on);
            SetCtrlAttribute(panel, DMM_TIMER, ATTR_ENABLED, on);
            if (on) measure();
            break;
        }
        case DMM_QUIT:
            QuitUserInterface(0);
            break;
        default:
            break;
    }
    return 0;
}

int DmmPanel_Show(const std::string& resource) {
    panel = LoadPanel(0, "zudm6500.uir", DMM);
    if (panel < 0) return panel;
    SetCtrlAttribute(panel, DMM_READING, ATTR_TEXT_BGCOLOR, kDisplayBack);
    SetCtrlAttribute(panel, DMM_READING, ATTR_TEXT_COLOR, kDisplayText);
    SetCtrlAttribute(panel, DMM_TIMER, ATTR_ENABLED, 0);
    SetCtrlVal(panel, DMM_RESOURCE, resource.c_str());
    DisplayPanel(panel);
    connect();
    return panel;
}

void DmmPanel_Discard() {
    Dmm_Disconnect(&link);
    if (panel > 0) DiscardPanel(panel);
    panel = 0;
}

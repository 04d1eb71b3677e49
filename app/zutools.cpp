#include "app/zutools.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "app/prefs.h"
#include "app/talmik.h"
#include "controls/help.h"
#include "talmik_uir.h"
#include "uiruntime/uiruntime.h"

char VxiPan[kToolLineSize] = "", VxiTerm[kToolLineSize] = "", GpibTerm[kToolLineSize] = "";

namespace {

const char kAppNames[] = "AppNames";
const char kTerminalPrefix[] = "xterm -e ";

struct Tool {
    char* line;
    const char* key;
    int button;
    const char* menuItem;
};
Tool tools[] = {
    {VxiPan, "VXPAN", ZUSHEET_VXPAN, "Assign to __VXPAN icon"},
    {VxiTerm, "VXterm", ZUSHEET_VXTERM, "Assign to VX__term icon"},
    {GpibTerm, "GPTERM", ZUSHEET_GPTERM, "Assign to __GPTERM icon"},
};

const char* envOr(const char* name, const char* fallback) {
    const char* value = std::getenv(name);
    return value && *value ? value : fallback;
}

bool fileExists(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    std::fclose(f);
    return true;
}

// "xterm -e " when a terminal can be found, so that text tools get a window of their own.
std::string terminalPrefix() {
    char xterm[kToolLineSize] = "xterm";
    return findInPath(xterm, 0) ? kTerminalPrefix : "";
}

void setLine(char* line, const std::string& text) { std::snprintf(line, kToolLineSize, "%s", text.c_str()); }

// Stores a tool's line under its key (the key goes when the line is empty) and dims its icon
// when it has none.
void storeTool(int panel, Tool& t) {
    Ini_RemoveItem(ini, kAppNames, t.key);
    if (t.line[0]) {
        beautifyPath(t.line);
        Ini_PutString(ini, kAppNames, t.key, t.line);
    }
    SetCtrlAttribute(panel, t.button, ATTR_DIMMED, t.line[0] ? 0 : 1);
}

void writeSettings() {
    _SetDir_(nullptr);
    _WriteIniFile_(ini, kSettingsFile);
}

void launch(int panel) {
    char line[kToolLineSize] = "";
    if (GetCtrlVal(panel, ZUSHEET_TOOLPATH, line, sizeof line) < 0 || !line[0]) return;
    std::string dir = line;
    size_t slash = dir.rfind('/');
    dir = slash == std::string::npos ? "" : dir.substr(0, slash);
    int cursor = GetWaitCursorState();
    SetWaitCursor(1);
    SetPanelAttribute(panel, ATTR_DIMMED, 1);
    ProcessDrawEvents();
    // With the terminal prefix this is no directory: the launch then runs where we are.
    if (!dir.empty()) _SetDir_(dir.c_str());
    int result = LaunchExecutable(line);
    _SetDir_(nullptr);
    SetWaitCursor(cursor);
    SetPanelAttribute(panel, ATTR_DIMMED, 0);
    if (result < 0) {
        char text[kToolLineSize + 32];
        std::snprintf(text, sizeof text, "Unable to launch \"%s\"", line);
        MessagePopup(pszAppName, text);
    }
}

}  // namespace

void beautifyPath(char* path) {
    for (char* p = path; *p; ++p)
        if (*p == '\\') *p = '/';
}

int findInPath(char* name, int copy) {
    const char* path = std::getenv("PATH");
    std::string dirs = path ? path : "";
    size_t start = 0;
    while (start <= dirs.size()) {
        size_t end = dirs.find(':', start);
        if (end == std::string::npos) end = dirs.size();
        std::string dir = dirs.substr(start, end - start);
        start = end + 1;
        if (dir.empty()) continue;
        std::string full = dir + "/" + name;
        if (full.size() >= kToolLineSize || !fileExists(full)) continue;
        if (copy) setLine(name, full);
        return 1;
    }
    if (copy) name[0] = '\0';
    return 0;
}

void findVXIfiles() {
    const std::string prefix = terminalPrefix();
    const std::string bin = std::string(envOr("ZUVXIPATH", "/usr/local/zuvxi")) + "/bin";
    // Without the tools' own directory nothing is searched, not even the search path.
    if (_SetDir_(bin.c_str()) < 0) return;
    if (!VxiPan[0] && fileExists(bin + "/vxpan")) setLine(VxiPan, bin + "/vxpan");
    if (VxiTerm[0]) return;
    if (fileExists(bin + "/vxterm")) {
        setLine(VxiTerm, prefix + bin + "/vxterm");
        return;
    }
    char found[kToolLineSize] = "vxterm";
    if (findInPath(found, 1)) setLine(VxiTerm, prefix + found);
}

void findGPIBfiles() {
    if (GpibTerm[0]) return;
    const std::string prefix = terminalPrefix();
    for (const char* dir : {"/bin", "/usr/bin", "/usr/gpib", "/usr/local/zuenet"}) {
        if (_SetDir_(dir) < 0 || !fileExists(std::string(dir) + "/gpterm")) continue;
        setLine(GpibTerm, prefix + dir + "/gpterm");
        return;
    }
    char found[kToolLineSize] = "gpterm";
    if (findInPath(found, 1)) setLine(GpibTerm, prefix + found);
}

void findVXIPNPpaths(char* kbase, char* linux, char* glinux) {
    const char* root = envOr("VXIPNPPATH", "/usr/local/vxipnp");
    std::snprintf(kbase, kToolLineSize, "%s/kbase", root);
    std::snprintf(linux, kToolLineSize, "%s/linux", root);
    std::snprintf(glinux, kToolLineSize, "%s/glinux", root);
}

void findZUfiles(int panel) {
    for (Tool& t : tools) {
        t.line[0] = '\0';
        if (Ini_GetStringIntoBuffer(ini, kAppNames, t.key, t.line, kToolLineSize) <= 0) t.line[0] = '\0';
    }
    if (VxiPan[0] && VxiTerm[0] && GpibTerm[0]) {
        SetCtrlVal(panel, ZUSHEET_TOOLPATH, VxiPan);
        return;
    }
    findVXIfiles();
    findGPIBfiles();
    for (Tool& t : tools) storeTool(panel, t);
    const char* first = VxiPan[0] ? VxiPan : VxiTerm[0] ? VxiTerm : GpibTerm;
    SetCtrlVal(panel, ZUSHEET_TOOLPATH, first);
    writeSettings();
}

int ExecZUapp(int panel, int control, int event, void*, int, int) {
    if (event == EVENT_COMMIT || event == EVENT_GOT_FOCUS) {
        for (const Tool& t : tools)
            if (t.button == control) SetCtrlVal(panel, ZUSHEET_TOOLPATH, t.line);
    } else if (event == EVENT_LEFT_DOUBLE_CLICK) {
        launch(panel);
    }
    return 0;
}

int MainZuSelect(int panel, int control, int event, void*, int eventData1, int eventData2) {
    if (event == EVENT_COMMIT) {
        launch(panel);
        return 0;
    }
    if (event != EVENT_RIGHT_CLICK) return 0;
    int menuBar = NewMenuBar(0);
    int menu = NewMenu(menuBar, "TALMIK", -1);
    int whatsThis = NewMenuItem(menuBar, menu, "__What's This?", -1, 0, nullptr, nullptr);
    int assign[3];
    for (int i = 0; i < 3; ++i) assign[i] = NewMenuItem(menuBar, menu, tools[i].menuItem, -1, 0, nullptr, nullptr);
    int chosen = RunPopupMenu(menuBar, menu, panel, eventData1, eventData2);
    DiscardMenuBar(menuBar);
    if (chosen > 0 && chosen == whatsThis) {
        if (const char* text = Help_MessageFromUI(panel, control))
            Help_DisplayMessage(panel, text, eventData2, eventData1);
        return 1;
    }
    for (int i = 0; i < 3; ++i) {
        if (chosen <= 0 || chosen != assign[i]) continue;
        Tool& t = tools[i];
        if (GetCtrlVal(panel, ZUSHEET_TOOLPATH, t.line, kToolLineSize) < 0) t.line[0] = '\0';
        beautifyPath(t.line);
        storeTool(panel, t);
        if (t.line[0]) SetCtrlVal(panel, ZUSHEET_TOOLPATH, t.line);
        writeSettings();
    }
    return 1;
}

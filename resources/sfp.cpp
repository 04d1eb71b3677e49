#include "resources/sfp.h"

#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/talmik.h"
#include "app/zutools.h"
#include "toolslib/toolbox/text.h"
#include "talmik_uir.h"
#include "uiruntime/uiruntime.h"
#include "zuvisa/visa.h"

SfpRecord* lpSfps = nullptr;
int nSfps = 0;
ListType ltSfps = nullptr;

namespace {

const char kNoneFound[] = "<Soft Front Panels not found>";
// The knowledge-base line that names the product, with the description in quotes.
const char kProductHeader[] = "[Product Description]";
const size_t kKbLineLength = 80;

std::vector<std::string> listFiles(const std::string& pattern, bool directories) {
    std::vector<std::string> names;
    char name[MAX_PATHNAME_LEN] = "";
    if (GetFirstFile(pattern.c_str(), 1, 0, 0, 0, 0, directories ? 1 : 0, name, sizeof name) != 0)
        return names;
    do names.push_back(name);
    while (GetNextFile(name, sizeof name) == 0);
    return names;
}

// The driver's program: the first "*.exe", "*.EXE" or file named like the directory whose name
// begins with the directory's first two letters.
std::string findProgram(const std::string& dir, const char* dirName) {
    for (const std::string& pattern : {std::string("*.exe"), std::string("*.EXE"), std::string(dirName)}) {
        std::vector<std::string> files = listFiles(dir + "/" + pattern, false);
        if (files.empty()) continue;
        for (const std::string& f : files)
            if (f.size() >= 2 && std::strlen(dirName) >= 2 &&
                std::tolower(static_cast<unsigned char>(f[0])) == std::tolower(static_cast<unsigned char>(dirName[0])) &&
                std::tolower(static_cast<unsigned char>(f[1])) == std::tolower(static_cast<unsigned char>(dirName[1])))
                return f;
        return "";
    }
    return "";
}

// The product description from the header line of the driver's knowledge-base file, or "".
std::string productDescription(const char* kbDir, const char* dirName) {
    std::vector<std::string> kb = listFiles(std::string(kbDir) + "/" + dirName + "*.kb", false);
    if (kb.empty()) return "";
    FILE* f = std::fopen((std::string(kbDir) + "/" + kb.front()).c_str(), "r");
    if (!f) return "";
    char line[kKbLineLength + 1];
    std::string description;
    bool lineStart = true;
    while (std::fgets(line, sizeof line, f)) {
        const bool whole = std::strchr(line, '\n') != nullptr;
        const bool header = lineStart && std::strncmp(line, kProductHeader, sizeof kProductHeader - 1) == 0;
        lineStart = whole;
        if (!header) continue;
        line[std::strcspn(line, "\r\n")] = '\0';
        if (const char* quote = std::strchr(line, '"')) {
            description = quote + 1;
            description = description.substr(0, description.find('"'));
        }
        break;
    }
    std::fclose(f);
    return description;
}

// A path that names a program as a whole is started as one word, blanks and all.
std::string commandLineOf(const char* path) {
    if (access(path, X_OK) != 0) return path;
    std::string quoted = "'";
    for (const char* p = path; *p; ++p) quoted += *p == '\'' ? std::string("'\\''") : std::string(1, *p);
    return quoted + "'";
}

void upperCase(char* text) {
    for (; *text; ++text) *text = static_cast<char>(std::toupper(static_cast<unsigned char>(*text)));
}

}  // namespace

ViStatus searchSfp(const char* kbDir, const char* frameworkDir) {
    const int before = nSfps;
    std::vector<std::string> entries = listFiles(std::string(frameworkDir) + "/*", true);
    if (entries.empty()) return VI_ERROR_RSRC_NFOUND;
    for (const std::string& name : entries) {
        if (name[0] == '.' || StrICmp(name.c_str(), "bin") == 0 || StrICmp(name.c_str(), "ZUvisa") == 0) continue;
        // A name that does not fit its field could not be found again: it is no driver prefix.
        if (name.size() >= sizeof SfpRecord::dirName) continue;
        std::string program = findProgram(std::string(frameworkDir) + "/" + name, name.c_str());
        if (program.empty()) continue;
        SfpRecord r;
        std::memset(&r, 0, sizeof r);
        std::snprintf(r.dirName, sizeof r.dirName, "%s", name.c_str());
        int n = std::snprintf(r.exePath, sizeof r.exePath, "%s/%s/%s", frameworkDir, name.c_str(), program.c_str());
        if (n < 0 || static_cast<size_t>(n) >= sizeof r.exePath) continue;
        beautifyPath(r.exePath);
        std::string description = productDescription(kbDir, r.dirName);
        char upper[sizeof r.dirName];
        std::memcpy(upper, r.dirName, sizeof upper);
        upperCase(upper);
        std::snprintf(r.label, sizeof r.label, "%s%s%s", upper, description.empty() ? "" : " - ",
                      description.c_str());
        auto* grown = static_cast<SfpRecord*>(std::realloc(lpSfps, (nSfps + 1) * sizeof(SfpRecord)));
        if (!grown) return VI_ERROR_ALLOC;
        lpSfps = grown;
        lpSfps[nSfps++] = r;
    }
    if (nSfps == 0) {
        std::free(lpSfps);
        lpSfps = nullptr;
    }
    return nSfps > before ? VI_SUCCESS : VI_ERROR_RSRC_NFOUND;
}

void releaseSfps() {
    std::free(lpSfps);
    lpSfps = nullptr;
    nSfps = 0;
    ListDispose(ltSfps);
    ltSfps = nullptr;
}

void refreshSfpRsrcs() {
    releaseSfps();
    char kbase[kToolLineSize], linux[kToolLineSize], glinux[kToolLineSize];
    findVXIPNPpaths(kbase, linux, glinux);
    searchSfp(kbase, linux);
    searchSfp(kbase, glinux);
    if (nSfps == 0) return;
    ltSfps = ListCreate(sizeof(SfpRecord));
    if (!ltSfps) return;
    for (int i = 0; i < nSfps; ++i) ListInsertItem(ltSfps, &lpSfps[i], END_OF_LIST);
    ListQuickSort(ltSfps, nullptr);
}

void AddSfpRsrcs(int panel) {
    ClearListCtrl(panel, SFPSHEET_SFPLIST);
    const int count = ltSfps ? ListNumItems(ltSfps) : 0;
    if (count == 0) InsertListItem(panel, SFPSHEET_SFPLIST, -1, kNoneFound, "");
    int width = 0;
    GetCtrlAttribute(panel, SFPSHEET_SFPLIST, ATTR_WIDTH, &width);
    char font[256] = VAL_DIALOG_META_FONT;
    GetCtrlAttribute(panel, SFPSHEET_SFPLIST, ATTR_TEXT_FONT, font, sizeof font);
    const int room = width - 16;
    for (int i = 1; i <= count; ++i) {
        const auto* r = static_cast<const SfpRecord*>(ListGetPtrToItem(ltSfps, i));
        std::string label = r->label;
        for (;;) {
            int height = 0, textWidth = 0;
            GetTextDisplaySize(label.c_str(), font, &height, &textWidth);
            if (textWidth < room || label.size() <= 5) break;
            label = label.substr(0, label.size() - 5) + "...";
        }
        InsertListItem(panel, SFPSHEET_SFPLIST, -1, label.c_str(), r->exePath);
    }
    char path[260] = "";
    int index = -1;
    GetCtrlIndex(panel, SFPSHEET_SFPLIST, &index);
    if (count > 0 && index >= 0) GetValueFromIndex(panel, SFPSHEET_SFPLIST, index, path, sizeof path);
    SetCtrlVal(panel, SFPSHEET_SFPPATH, path);
    SetActiveCtrl(panel, SFPSHEET_SFPLIST);
}

int MainSfpSelect(int panel, int control, int event, void*, int, int) {
    if (event == EVENT_VAL_CHANGED && control == SFPSHEET_SFPLIST) {
        char path[260] = "";
        int index = -1;
        GetCtrlIndex(panel, control, &index);
        if (index >= 0 && ltSfps) GetValueFromIndex(panel, control, index, path, sizeof path);
        SetCtrlVal(panel, SFPSHEET_SFPPATH, path);
        return 0;
    }
    if (event != EVENT_COMMIT) return 0;
    char path[260] = "";
    if (GetCtrlVal(panel, SFPSHEET_SFPPATH, path, sizeof path) < 0 || !path[0]) return 0;
    const int menuBar = GetPanelMenuBar(rsrcpanel);
    int cursor = GetWaitCursorState();
    SetWaitCursor(1);
    SetMenuBarAttribute(menuBar, MENUBAR_FILE_OPEN, ATTR_DIMMED, 1);
    SetCtrlAttribute(panel, SFPSHEET_SFPPATH, ATTR_DIMMED, 1);
    ProcessDrawEvents();
    int result = LaunchExecutable(commandLineOf(path).c_str());
    SetWaitCursor(cursor);
    if (result < 0) {
        char text[300];
        std::snprintf(text, sizeof text, "Unable to launch \"%s\"", path);
        MessagePopup(pszAppName, text);
    }
    SetMenuBarAttribute(menuBar, MENUBAR_FILE_OPEN, ATTR_DIMMED, 0);
    SetCtrlAttribute(panel, SFPSHEET_SFPPATH, ATTR_DIMMED, 0);
    return 0;
}

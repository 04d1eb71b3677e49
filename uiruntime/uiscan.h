// Internal: reads a Designer .ui file as a panel description: which of its widgets are controls
// of which kind, their ids, names and callbacks, and the panel's menu bar. The build-time
// generator and the runtime both use it, so the ids of the generated header are the ids the
// runtime gives when it loads the panel.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace uir {

struct ScannedControl {
    std::string name;        // object name: the control's constant name
    std::string headerName;  // PANEL_CONTROL unless the .ui gives headerName
    std::string cls;         // the widget class
    int style = 0;           // CTRL_*
    int id = 0;
    std::string callback;
    std::string caption;     // object name of the QLabel whose buddy this control is
    int line = 0;
};

struct ScannedMenuEntry {
    enum class Type { Menu, Item, Separator };
    Type type = Type::Item;
    std::string name;        // object name of the QMenu or QAction
    std::string headerName;  // MENUBAR_MENU[_SUB...]_ITEM
    std::string text;        // as Designer stores it: '&' marks the mnemonic
    std::string callback;
    std::string shortcut;
    bool checkable = false;
    bool checked = false;
    bool enabled = true;
    int id = 0;
    std::vector<ScannedMenuEntry> children;
};

struct ScannedPanel {
    std::string name;
    std::string headerName;
    std::string cls;
    std::string callback;
    std::string title;
    int width = 0;
    int height = 0;
    int x = 0;
    int y = 0;
    std::string contentRoot;  // object name of the widget whose children are at panel origin
    std::vector<ScannedControl> controls;
    std::string menuBarName;
    std::vector<ScannedMenuEntry> menus;
    std::map<std::string, int> styleByName;  // every control's style, for the loader
};

// Limits on outside input.
inline constexpr size_t kMaxUiFileSize = 4 * 1024 * 1024;
inline constexpr int kMaxUiDepth = 32;
inline constexpr int kMaxUiControls = 4000;
inline constexpr size_t kMaxIdentifierLength = 63;

// Returns 0, or a negative UIE code with a message naming the line.
int scanUi(const char* data, size_t size, ScannedPanel* out, std::string* error);

bool isIdentifier(const std::string& s);

// Calls f(entry) for every menu entry, depth first.
template <typename F>
void forEachMenuEntry(const std::vector<ScannedMenuEntry>& entries, F f) {
    for (const ScannedMenuEntry& e : entries) {
        f(e);
        forEachMenuEntry(e.children, f);
    }
}

}  // namespace uir

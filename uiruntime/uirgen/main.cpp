// uirgen: from the Designer forms of one panel resource file, writes the header of panel,
// control and menu constants (with the callbacks' declarations and their registration) and the
// resource list that rcc turns into the binary bundle.
//
//   uirgen <name> <header.h> <bundle.qrc> <source dir> <form.ui>... [--images <file>...]
//
// Panels are numbered in the order of their file names, controls in the order of the form; the
// runtime numbers them the same way when it loads the bundle.
#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "uiruntime/uiscan.h"
#include "uiruntime/userint.h"

namespace {

struct Form {
    std::string file;  // base name
    std::string path;  // absolute
    uir::ScannedPanel panel;
};

int fail(const std::string& message) {
    std::fprintf(stderr, "uirgen: %s\n", message.c_str());
    return 1;
}

std::string xmlEscape(const std::string& s) {
    std::string out;
    for (char c : s) {
        if (c == '&') out += "&amp;";
        else if (c == '<') out += "&lt;";
        else if (c == '>') out += "&gt;";
        else if (c == '"') out += "&quot;";
        else out.push_back(c);
    }
    return out;
}

// Writes the file only when its content changes, so that dependent code is not rebuilt.
int writeIfChanged(const std::string& path, const std::string& content) {
    QFile old(QString::fromStdString(path));
    if (old.open(QIODevice::ReadOnly) && old.readAll() == QByteArray::fromStdString(content)) return 0;
    old.close();
    QFile f(QString::fromStdString(path));
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) return fail("cannot write " + path);
    if (f.write(content.data(), static_cast<qint64>(content.size())) != static_cast<qint64>(content.size()))
        return fail("cannot write " + path);
    return 0;
}

const char* kindOf(int style) {
    switch (style) {
        case CTRL_NUMERIC: return "numeric";
        case CTRL_STRING: return "string";
        case CTRL_TEXT_BOX: return "text box";
        case CTRL_RING: return "ring";
        case CTRL_LIST: return "list box";
        case CTRL_COMMAND_BUTTON: return "command button";
        case CTRL_TOGGLE_BUTTON: return "toggle button";
        case CTRL_CHECK_BOX: return "check box";
        case CTRL_ROUND_RADIO_BUTTON: return "radio button";
        case CTRL_ROUND_LED:
        case CTRL_SQUARE_LED: return "LED";
        case CTRL_TEXT_MSG: return "text message";
        case CTRL_PICTURE: return "picture";
        case CTRL_CANVAS: return "canvas";
        case CTRL_TIMER: return "timer";
        case CTRL_TABLE: return "table";
        default: return "decoration";
    }
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 6) return fail("usage: uirgen <name> <header.h> <bundle.qrc> <source dir> <form.ui>... [--images <file>...]");
    std::string name = argv[1];
    std::string headerPath = argv[2];
    std::string qrcPath = argv[3];
    QDir sourceDir(QString::fromLocal8Bit(argv[4]));
    std::vector<std::string> uiFiles, images;
    bool inImages = false;
    for (int k = 5; k < argc; ++k) {
        std::string a = argv[k];
        if (a == "--images") inImages = true;
        else (inImages ? images : uiFiles).push_back(a);
    }
    if (!uir::isIdentifier(name)) return fail("bundle name \"" + name + "\" is not an identifier");

    std::vector<Form> forms;
    for (const std::string& path : uiFiles) {
        QFileInfo info(QString::fromStdString(path));
        QFile f(info.absoluteFilePath());
        if (!f.open(QIODevice::ReadOnly)) return fail("cannot read " + path);
        QByteArray xml = f.read(static_cast<qint64>(uir::kMaxUiFileSize) + 1);
        Form form;
        form.file = info.fileName().toStdString();
        form.path = info.absoluteFilePath().toStdString();
        std::string error;
        if (uir::scanUi(xml.constData(), static_cast<size_t>(xml.size()), &form.panel, &error) != 0)
            return fail(path + ": " + error);
        forms.push_back(std::move(form));
    }
    std::sort(forms.begin(), forms.end(), [](const Form& a, const Form& b) { return a.file < b.file; });

    // Every name the header defines must be unique, and a callback has one kind.
    std::map<std::string, std::string> defined;  // header name -> where
    std::map<std::string, UiCallbackEntry::Kind> callbacks;
    std::vector<std::string> callbackOrder;
    auto define = [&](const std::string& macro, const std::string& where) -> bool {
        auto [it, fresh] = defined.emplace(macro, where);
        if (!fresh) fail("\"" + macro + "\" of " + where + " is already defined by " + it->second);
        return fresh;
    };
    auto useCallback = [&](const std::string& cb, UiCallbackEntry::Kind kind, const std::string& where) -> bool {
        if (cb.empty()) return true;
        auto [it, fresh] = callbacks.emplace(cb, kind);
        if (fresh) callbackOrder.push_back(cb);
        else if (it->second != kind) {
            fail("callback \"" + cb + "\" of " + where + " is used elsewhere as another kind of callback");
            return false;
        }
        return true;
    };

    std::string h;
    h += "// Generated by uirgen from the panels of " + name + ".uir; do not edit.\n";
    h += "#pragma once\n\n#include \"uiruntime/userint.h\"\n";
    int panelId = 1;
    for (const Form& form : forms) {
        const uir::ScannedPanel& p = form.panel;
        std::string where = form.file;
        if (!define(p.headerName, where)) return 1;
        h += "\n// " + form.file + ": panel " + p.name + (p.title.empty() ? "" : " \"" + p.title + "\"") + "\n";
        h += "#define " + p.headerName + " " + std::to_string(panelId++) + "\n";
        if (!useCallback(p.callback, UiCallbackEntry::Kind::Panel, where)) return 1;
        for (const uir::ScannedControl& c : p.controls) {
            if (!define(c.headerName, where + " line " + std::to_string(c.line))) return 1;
            h += "#define " + c.headerName + " " + std::to_string(c.id) + "  // " + kindOf(c.style) + "\n";
            if (!useCallback(c.callback, UiCallbackEntry::Kind::Control, where + " control " + c.name)) return 1;
        }
        bool ok = true;
        uir::forEachMenuEntry(p.menus, [&](const uir::ScannedMenuEntry& e) {
            if (!ok || e.type == uir::ScannedMenuEntry::Type::Separator) return;
            ok = define(e.headerName, where);
            if (ok) h += "#define " + e.headerName + " " + std::to_string(e.id) + "\n";
            if (ok && e.type == uir::ScannedMenuEntry::Type::Item)
                ok = useCallback(e.callback, UiCallbackEntry::Kind::Menu, where + " menu item " + e.name);
        });
        if (!ok) return 1;
    }

    if (!callbackOrder.empty()) {
        h += "\n// Callbacks the panels name\n";
        for (const std::string& cb : callbackOrder) {
            switch (callbacks[cb]) {
                case UiCallbackEntry::Kind::Control:
                    h += "int " + cb + "(int panel, int control, int event, void* callbackData, int eventData1, int eventData2);\n";
                    break;
                case UiCallbackEntry::Kind::Panel:
                    h += "int " + cb + "(int panel, int event, void* callbackData, int eventData1, int eventData2);\n";
                    break;
                case UiCallbackEntry::Kind::Menu:
                    h += "void " + cb + "(int menuBar, int menuItem, void* callbackData, int panel);\n";
                    break;
            }
        }
    }
    h += "\n// Registers every callback the panels of " + name + ".uir name; call once at start-up.\n";
    h += "inline int RegisterUirCallbacks_" + name + "() {\n";
    if (callbackOrder.empty()) {
        h += "    return 0;\n";
    } else {
        h += "    static const UiCallbackEntry entries[] = {\n";
        for (const std::string& cb : callbackOrder) h += "        {\"" + cb + "\", " + cb + "},\n";
        h += "    };\n";
        h += "    return RegisterCallbacks(entries, static_cast<int>(sizeof entries / sizeof entries[0]));\n";
    }
    h += "}\n";

    std::string q = "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n<qresource prefix=\"/\">\n";
    std::set<std::string> aliases;
    for (const Form& form : forms) {
        if (!aliases.insert(form.file).second) return fail("two forms are named " + form.file);
        q += "  <file alias=\"" + xmlEscape(form.file) + "\">" + xmlEscape(form.path) + "</file>\n";
    }
    for (const std::string& img : images) {
        QFileInfo info(QString::fromStdString(img));
        std::string alias = sourceDir.relativeFilePath(info.absoluteFilePath()).toStdString();
        if (alias.rfind("..", 0) == 0) return fail(img + " lies outside the panel sources");
        if (!aliases.insert(alias).second) return fail("two resources are named " + alias);
        q += "  <file alias=\"" + xmlEscape(alias) + "\">" + xmlEscape(info.absoluteFilePath().toStdString()) + "</file>\n";
    }
    q += "</qresource>\n</RCC>\n";

    if (int rc = writeIfChanged(headerPath, h)) return rc;
    return writeIfChanged(qrcPath, q);
}

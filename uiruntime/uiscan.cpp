#include "uiruntime/uiscan.h"

#include <QtCore/QByteArray>
#include <QtCore/QXmlStreamReader>

#include <set>

#include "uiruntime/uidefs.h"

namespace uir {

namespace {

struct Prop {
    std::string type;  // the value element: string, bool, number, rect, stringlist, ...
    std::string text;
    int x = 0, y = 0, width = 0, height = 0;
};

struct Node {
    std::string cls;
    std::string name;
    int line = 0;
    std::map<std::string, Prop> props;
    std::vector<Node> children;
    std::vector<std::string> addActions;
};

struct ActionDef {
    std::string name;
    int line = 0;
    std::map<std::string, Prop> props;
};

class Scanner {
public:
    Scanner(const char* data, size_t size)
        : xml_(QByteArray::fromRawData(data, static_cast<qsizetype>(size))) {}

    int run(ScannedPanel* out, std::string* error);

private:
    int fail(int code, const std::string& message) {
        if (error_.empty())
            error_ = "line " + std::to_string(xml_.lineNumber()) + ": " + message;
        return code;
    }
    int failAt(int line, int code, const std::string& message) {
        if (error_.empty()) error_ = "line " + std::to_string(line) + ": " + message;
        return code;
    }
    std::string attr(const char* name) {
        return xml_.attributes().value(QLatin1String(name)).toString().toStdString();
    }
    int readWidget(Node* node, int depth);
    int readProperty(std::map<std::string, Prop>* props);
    int readAction();
    int skipElement();

    int classify(const Node& n, int* style);
    int walk(const Node& node, ScannedPanel* out, int depth);
    int readMenuBar(const Node& bar, ScannedPanel* out);
    int readMenu(const Node& menu, const std::string& prefix, ScannedMenuEntry* entry, int* nextId,
                 int depth);

    QXmlStreamReader xml_;
    std::string error_;
    std::vector<ActionDef> actions_;
    std::map<std::string, std::string> captionOf_;  // control name -> caption label name
    std::set<std::string> captions_;
    std::set<std::string> names_;
    int nextId_ = 2;
    std::string panelHeader_;
};

std::string propText(const std::map<std::string, Prop>& props, const char* name) {
    auto it = props.find(name);
    return it == props.end() ? std::string() : it->second.text;
}

bool propBool(const std::map<std::string, Prop>& props, const char* name, bool dflt) {
    auto it = props.find(name);
    if (it == props.end()) return dflt;
    return it->second.text == "true";
}

int Scanner::skipElement() {
    xml_.skipCurrentElement();
    if (xml_.hasError()) return fail(UIEBadResourceFile, xml_.errorString().toStdString());
    return 0;
}

int Scanner::readProperty(std::map<std::string, Prop>* props) {
    std::string name = attr("name");
    if (name.empty() || name.size() > 255) return fail(UIEBadResourceFile, "property without a name");
    Prop p;
    while (xml_.readNextStartElement()) {
        std::string t = xml_.name().toString().toStdString();
        if (p.type.empty()) p.type = t;
        if (t == "rect") {
            while (xml_.readNextStartElement()) {
                std::string part = xml_.name().toString().toStdString();
                int v = xml_.readElementText().toInt();
                if (part == "x") p.x = v;
                else if (part == "y") p.y = v;
                else if (part == "width") p.width = v;
                else if (part == "height") p.height = v;
            }
        } else if (t == "string" || t == "cstring" || t == "bool" || t == "number" ||
                   t == "double" || t == "enum" || t == "set" || t == "pixmap") {
            p.text = xml_.readElementText(QXmlStreamReader::IncludeChildElements).toStdString();
        } else if (t == "iconset") {
            p.type = "pixmap";
            if (int rc = skipElement()) return rc;
        } else {
            if (int rc = skipElement()) return rc;
        }
        if (xml_.hasError()) return fail(UIEBadResourceFile, xml_.errorString().toStdString());
    }
    (*props)[name] = std::move(p);
    return 0;
}

int Scanner::readAction() {
    ActionDef a;
    a.name = attr("name");
    a.line = static_cast<int>(xml_.lineNumber());
    while (xml_.readNextStartElement()) {
        if (xml_.name() == QLatin1String("property")) {
            if (int rc = readProperty(&a.props)) return rc;
        } else if (int rc = skipElement()) {
            return rc;
        }
    }
    actions_.push_back(std::move(a));
    return 0;
}

int Scanner::readWidget(Node* node, int depth) {
    if (depth > kMaxUiDepth) return fail(UIEBadResourceFile, "widgets nested too deeply");
    node->cls = attr("class");
    node->name = attr("name");
    node->line = static_cast<int>(xml_.lineNumber());
    while (xml_.readNextStartElement()) {
        auto n = xml_.name();
        if (n == QLatin1String("property")) {
            if (int rc = readProperty(&node->props)) return rc;
        } else if (n == QLatin1String("widget")) {
            node->children.emplace_back();
            if (int rc = readWidget(&node->children.back(), depth + 1)) return rc;
        } else if (n == QLatin1String("addaction")) {
            node->addActions.push_back(attr("name"));
            if (int rc = skipElement()) return rc;
        } else if (n == QLatin1String("action")) {
            if (int rc = readAction()) return rc;
        } else if (n == QLatin1String("layout")) {
            return fail(UIEUnsupportedWidget,
                        "layouts are not supported: place controls at fixed positions");
        } else if (int rc = skipElement()) {
            return rc;
        }
    }
    if (xml_.hasError()) return fail(UIEBadResourceFile, xml_.errorString().toStdString());
    return 0;
}

struct KindName {
    const char* name;
    int style;
};
const KindName kKinds[] = {
    {"numeric", CTRL_NUMERIC},          {"string", CTRL_STRING},
    {"textbox", CTRL_TEXT_BOX},         {"ring", CTRL_RING},
    {"list", CTRL_LIST},                {"button", CTRL_COMMAND_BUTTON},
    {"toggle", CTRL_TOGGLE_BUTTON},     {"checkbox", CTRL_CHECK_BOX},
    {"radio", CTRL_ROUND_RADIO_BUTTON}, {"led", CTRL_ROUND_LED},
    {"squareled", CTRL_SQUARE_LED},     {"textmsg", CTRL_TEXT_MSG},
    {"raisedbox", CTRL_RAISED_BOX},     {"recessedbox", CTRL_RECESSED_BOX},
    {"flatbox", CTRL_FLAT_BOX},         {"raisedframe", CTRL_RAISED_FRAME},
    {"recessedframe", CTRL_RECESSED_FRAME}, {"flatframe", CTRL_FLAT_FRAME},
    {"picture", CTRL_PICTURE},          {"canvas", CTRL_CANVAS},
    {"timer", CTRL_TIMER},              {"table", CTRL_TABLE},
};

// style 0: a container whose children are controls; -1: ignored with its children.
int Scanner::classify(const Node& n, int* style) {
    std::string kind = propText(n.props, "kind");
    if (!kind.empty()) {
        for (const KindName& k : kKinds)
            if (kind == k.name) {
                *style = k.style;
                return 0;
            }
        return failAt(n.line, UIEUnsupportedWidget, "unknown kind \"" + kind + "\"");
    }
    const std::string& c = n.cls;
    if (c == "QSpinBox" || c == "QDoubleSpinBox" || c == "UiNumeric") *style = CTRL_NUMERIC;
    else if (c == "QLineEdit") *style = CTRL_STRING;
    else if (c == "QPlainTextEdit" || c == "QTextEdit" || c == "QTextBrowser") *style = CTRL_TEXT_BOX;
    else if (c == "QComboBox") *style = CTRL_RING;
    else if (c == "QListWidget") *style = CTRL_LIST;
    else if (c == "QTableView") *style = CTRL_TABLE;
    else if (c == "QPushButton" || c == "QToolButton")
        *style = propBool(n.props, "checkable", false) ? CTRL_TOGGLE_BUTTON : CTRL_COMMAND_BUTTON;
    else if (c == "QCheckBox") *style = CTRL_CHECK_BOX;
    else if (c == "QRadioButton") *style = CTRL_ROUND_RADIO_BUTTON;
    else if (c == "UiLed") *style = CTRL_ROUND_LED;
    else if (c == "QLabel")
        *style = n.props.count("pixmap") ? CTRL_PICTURE : CTRL_TEXT_MSG;
    else if (c == "QFrame" || c == "Line") {
        std::string shadow = propText(n.props, "frameShadow");
        std::string shape = propText(n.props, "frameShape");
        if (shadow.find("Sunken") != std::string::npos) *style = CTRL_RECESSED_BOX;
        else if (shadow.find("Plain") != std::string::npos || shape.find("NoFrame") != std::string::npos)
            *style = CTRL_FLAT_BOX;
        else *style = CTRL_RAISED_BOX;
    } else if (c == "QGroupBox") *style = CTRL_RECESSED_FRAME;
    else if (c == "UiCanvas") *style = CTRL_CANVAS;
    else if (c == "UiTimer") *style = CTRL_TIMER;
    else if (c == "QWidget") *style = 0;
    else if (c == "QStatusBar" || c == "QToolBar") *style = -1;
    else
        return failAt(n.line, UIEUnsupportedWidget,
                      "widget class " + c + " (\"" + n.name + "\") is not a control kind");
    return 0;
}

int Scanner::walk(const Node& node, ScannedPanel* out, int depth) {
    for (const Node& child : node.children) {
        if (child.cls == "QMenuBar") {
            if (depth != 0) return failAt(child.line, UIEUnsupportedWidget, "a menu bar must belong to the panel");
            if (int rc = readMenuBar(child, out)) return rc;
            continue;
        }
        if (captions_.count(child.name)) continue;  // a label of another control
        int style = 0;
        if (int rc = classify(child, &style)) return rc;
        if (style < 0) continue;
        if (style > 0) {
            if (!isIdentifier(child.name))
                return failAt(child.line, UIEBadResourceFile,
                              "control name \"" + child.name + "\" is not an identifier");
            if (static_cast<int>(out->controls.size()) >= kMaxUiControls)
                return failAt(child.line, UIEBadResourceFile, "too many controls");
            ScannedControl c;
            c.name = child.name;
            c.cls = child.cls;
            c.style = style;
            c.id = nextId_++;
            c.line = child.line;
            c.callback = propText(child.props, "callback");
            c.headerName = propText(child.props, "headerName");
            if (c.headerName.empty()) c.headerName = panelHeader_ + "_" + c.name;
            auto cap = captionOf_.find(c.name);
            if (cap != captionOf_.end()) c.caption = cap->second;
            if (!c.callback.empty() && !isIdentifier(c.callback))
                return failAt(child.line, UIEBadResourceFile, "callback name \"" + c.callback + "\" is not an identifier");
            if (!isIdentifier(c.headerName))
                return failAt(child.line, UIEBadResourceFile, "header name \"" + c.headerName + "\" is not an identifier");
            out->styleByName[c.name] = style;
            out->controls.push_back(std::move(c));
        }
        if (int rc = walk(child, out, depth + 1)) return rc;
    }
    return 0;
}

int Scanner::readMenu(const Node& menu, const std::string& prefix, ScannedMenuEntry* entry,
                      int* nextId, int depth) {
    if (depth > 8) return failAt(menu.line, UIEBadResourceFile, "menus nested too deeply");
    if (!isIdentifier(menu.name))
        return failAt(menu.line, UIEBadResourceFile, "menu name \"" + menu.name + "\" is not an identifier");
    entry->type = ScannedMenuEntry::Type::Menu;
    entry->name = menu.name;
    entry->headerName = prefix + "_" + menu.name;
    entry->text = propText(menu.props, "title");
    entry->callback = propText(menu.props, "callback");
    entry->id = (*nextId)++;
    for (const std::string& a : menu.addActions) {
        ScannedMenuEntry item;
        if (a == "separator") {
            item.type = ScannedMenuEntry::Type::Separator;
            entry->children.push_back(std::move(item));
            continue;
        }
        const Node* sub = nullptr;
        for (const Node& c : menu.children)
            if (c.name == a && c.cls == "QMenu") sub = &c;
        if (sub) {
            if (int rc = readMenu(*sub, entry->headerName, &item, nextId, depth + 1)) return rc;
            entry->children.push_back(std::move(item));
            continue;
        }
        const ActionDef* def = nullptr;
        for (const ActionDef& d : actions_)
            if (d.name == a) def = &d;
        if (!def) return failAt(menu.line, UIEBadResourceFile, "menu item \"" + a + "\" is not defined");
        if (!isIdentifier(a))
            return failAt(def->line, UIEBadResourceFile, "menu item name \"" + a + "\" is not an identifier");
        item.type = ScannedMenuEntry::Type::Item;
        item.name = a;
        item.headerName = entry->headerName + "_" + a;
        item.text = propText(def->props, "text");
        item.callback = propText(def->props, "callback");
        if (item.callback.empty()) item.callback = entry->callback;
        item.shortcut = propText(def->props, "shortcut");
        item.checkable = propBool(def->props, "checkable", false);
        item.checked = propBool(def->props, "checked", false);
        item.enabled = propBool(def->props, "enabled", true);
        item.id = (*nextId)++;
        if (!item.callback.empty() && !isIdentifier(item.callback))
            return failAt(def->line, UIEBadResourceFile, "callback name \"" + item.callback + "\" is not an identifier");
        entry->children.push_back(std::move(item));
    }
    return 0;
}

int Scanner::readMenuBar(const Node& bar, ScannedPanel* out) {
    if (!out->menuBarName.empty()) return failAt(bar.line, UIEBadResourceFile, "a panel has one menu bar");
    if (!isIdentifier(bar.name))
        return failAt(bar.line, UIEBadResourceFile, "menu bar name \"" + bar.name + "\" is not an identifier");
    out->menuBarName = bar.name;
    int nextId = 2;
    std::string callback = propText(bar.props, "callback");
    for (const std::string& a : bar.addActions) {
        const Node* menu = nullptr;
        for (const Node& c : bar.children)
            if (c.name == a && c.cls == "QMenu") menu = &c;
        if (!menu) continue;  // Designer may list plain actions; only menus sit in a menu bar
        ScannedMenuEntry entry;
        if (int rc = readMenu(*menu, bar.name, &entry, &nextId, 0)) return rc;
        if (!callback.empty())
            for (ScannedMenuEntry& item : entry.children)
                if (item.callback.empty() && item.type == ScannedMenuEntry::Type::Item)
                    item.callback = callback;
        out->menus.push_back(std::move(entry));
    }
    return 0;
}

void collectCaptions(const Node& n, std::map<std::string, std::string>* captionOf,
                     std::set<std::string>* captions) {
    for (const Node& c : n.children) {
        if (c.cls == "QLabel") {
            std::string buddy = propText(c.props, "buddy");
            if (!buddy.empty()) {
                (*captionOf)[buddy] = c.name;
                captions->insert(c.name);
            }
        }
        collectCaptions(c, captionOf, captions);
    }
}

void collectNames(const Node& n, std::vector<std::pair<std::string, int>>* names) {
    names->push_back({n.name, n.line});
    for (const Node& c : n.children) collectNames(c, names);
}

int Scanner::run(ScannedPanel* out, std::string* error) {
    Node top;
    bool haveTop = false;
    if (!xml_.readNextStartElement() || xml_.name() != QLatin1String("ui")) {
        fail(UIEBadResourceFile, "not a Designer form");
        *error = error_;
        return UIEBadResourceFile;
    }
    while (xml_.readNextStartElement()) {
        if (xml_.name() == QLatin1String("widget") && !haveTop) {
            if (int rc = readWidget(&top, 0)) {
                *error = error_;
                return rc;
            }
            haveTop = true;
        } else if (int rc = skipElement()) {
            *error = error_;
            return rc;
        }
    }
    if (xml_.hasError() || !haveTop) {
        fail(UIEBadResourceFile, xml_.hasError() ? xml_.errorString().toStdString() : "no panel widget");
        *error = error_;
        return UIEBadResourceFile;
    }
    int rc = 0;
    out->name = top.name;
    out->cls = top.cls;
    out->headerName = propText(top.props, "headerName");
    if (out->headerName.empty()) out->headerName = top.name;
    panelHeader_ = out->headerName;
    out->callback = propText(top.props, "callback");
    out->title = propText(top.props, "windowTitle");
    auto geo = top.props.find("geometry");
    if (geo != top.props.end()) {
        out->x = geo->second.x;
        out->y = geo->second.y;
        out->width = geo->second.width;
        out->height = geo->second.height;
    }
    if (!isIdentifier(top.name)) rc = failAt(top.line, UIEBadResourceFile, "panel name \"" + top.name + "\" is not an identifier");
    else if (!isIdentifier(out->headerName)) rc = failAt(top.line, UIEBadResourceFile, "header name \"" + out->headerName + "\" is not an identifier");
    else if (!out->callback.empty() && !isIdentifier(out->callback)) rc = failAt(top.line, UIEBadResourceFile, "callback name \"" + out->callback + "\" is not an identifier");
    if (rc == 0) {
        std::vector<std::pair<std::string, int>> names;
        collectNames(top, &names);
        for (const ActionDef& a : actions_) names.push_back({a.name, a.line});
        std::set<std::string> seen;
        for (const auto& [name, line] : names)
            if (!seen.insert(name).second) {
                rc = failAt(line, UIEBadResourceFile, "object name \"" + name + "\" is used twice");
                break;
            }
    }
    if (rc == 0) {
        collectCaptions(top, &captionOf_, &captions_);
        out->contentRoot = top.name;
        const Node* root = &top;
        if (top.cls == "QMainWindow") {
            for (const Node& c : top.children)
                if (c.cls == "QWidget") {
                    out->contentRoot = c.name;
                    root = &c;
                    break;
                }
            for (const Node& c : top.children)
                if (c.cls == "QMenuBar" && (rc = readMenuBar(c, out)) != 0) break;
        }
        if (rc == 0) rc = walk(*root, out, 0);
        if (rc == 0)
            for (const auto& [target, label] : captionOf_)
                if (!out->styleByName.count(target)) {
                    rc = failAt(top.line, UIEBadResourceFile,
                                "label \"" + label + "\" is the buddy of \"" + target + "\", which is not a control");
                    break;
                }
    }
    if (rc != 0) *error = error_;
    return rc;
}

}  // namespace

bool isIdentifier(const std::string& s) {
    if (s.empty() || s.size() > kMaxIdentifierLength) return false;
    auto alpha = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    if (!alpha(s[0])) return false;
    for (char c : s)
        if (!alpha(c) && !(c >= '0' && c <= '9')) return false;
    return true;
}

int scanUi(const char* data, size_t size, ScannedPanel* out, std::string* error) {
    if (!data || !out || !error) return UIENullPointer;
    *out = ScannedPanel();
    error->clear();
    if (size > kMaxUiFileSize) {
        *error = "the form is larger than " + std::to_string(kMaxUiFileSize) + " bytes";
        return UIEBadResourceFile;
    }
    Scanner s(data, size);
    return s.run(out, error);
}

}  // namespace uir

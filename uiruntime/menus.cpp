// Menu bars, menus, menu items and popup menus.
#include <QtGui/QAction>
#include <QtGui/QKeySequence>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>

#include <algorithm>

#include "uiruntime/core.h"
#include "uiruntime/labels.h"
#include "uiruntime/menus.h"
#include "uiruntime/uiscan.h"
#include "uiruntime/userint.h"

namespace uir {

namespace {

QString qtName(const std::string& name) { return QString::fromStdString(mnemonicToQt(name)); }

MenuEntry* entryOf(MenuBar* mb, int id) {
    auto it = mb->entries.find(id);
    return it == mb->entries.end() ? nullptr : &it->second;
}

QKeySequence shortcutOf(int key) {
    if (key == 0) return QKeySequence();
    int k = 0;
    int vkey = key & VAL_VKEY_MASK;
    if (vkey >= VAL_F1_VKEY && vkey <= VAL_F1_VKEY + 11 * 0x100) k = Qt::Key_F1 + (vkey - VAL_F1_VKEY) / 0x100;
    else if (vkey) {
        static const std::pair<int, int> map[] = {
            {VAL_ESC_VKEY, Qt::Key_Escape},    {VAL_TAB_VKEY, Qt::Key_Tab},
            {VAL_ENTER_VKEY, Qt::Key_Return},  {VAL_BACKSPACE_VKEY, Qt::Key_Backspace},
            {VAL_INSERT_VKEY, Qt::Key_Insert}, {VAL_DELETE_VKEY, Qt::Key_Delete},
            {VAL_HOME_VKEY, Qt::Key_Home},     {VAL_END_VKEY, Qt::Key_End},
            {VAL_PAGE_UP_VKEY, Qt::Key_PageUp}, {VAL_PAGE_DOWN_VKEY, Qt::Key_PageDown},
            {VAL_UP_ARROW_VKEY, Qt::Key_Up},   {VAL_DOWN_ARROW_VKEY, Qt::Key_Down},
            {VAL_LEFT_ARROW_VKEY, Qt::Key_Left}, {VAL_RIGHT_ARROW_VKEY, Qt::Key_Right}};
        for (auto [v, q] : map)
            if (v == vkey) k = q;
    } else {
        k = QChar(key & VAL_ASCII_KEY_MASK).toUpper().unicode();
    }
    if (key & VAL_SHIFT_MODIFIER) k |= Qt::SHIFT;
    if (key & VAL_MENUKEY_MODIFIER) k |= Qt::CTRL;
    if (key & VAL_ALT_MODIFIER) k |= Qt::ALT;
    return QKeySequence(k);
}

// The action before which a new entry goes; null: at the end.
QAction* beforeAction(MenuBar* mb, int before) {
    if (before <= 0) return nullptr;
    MenuEntry* e = entryOf(mb, before);
    if (!e) return nullptr;
    if (e->isMenu) return e->menu ? e->menu->menuAction() : nullptr;
    return e->action;
}

void forgetEntry(MenuBar* mb, int id) {
    MenuEntry* e = entryOf(mb, id);
    if (!e) return;
    if (e->isMenu) {
        std::vector<int> kids;
        for (auto& [kid, k] : mb->entries)
            if (k.parentMenu == id) kids.push_back(kid);
        for (int kid : kids) forgetEntry(mb, kid);
        if (e->menu) {
            if (e->action) e->action->setMenu(nullptr);
            e->menu->deleteLater();
        }
    }
    if (e->action && !e->isMenu) e->action->deleteLater();
    if (e->isMenu && e->action) e->action->deleteLater();
    mb->entries.erase(id);
}

void connectItem(MenuBar* mb, MenuEntry* e) {
    const int bar = mb->handle, id = e->id;
    QObject::connect(e->action.data(), &QAction::triggered, e->action.data(), [bar, id]() {
        if (!quiet()) dispatchMenuItem(bar, id);
    });
}

int addMenu(MenuBar* mb, const std::string& name, int before, int* id) {
    auto* menu = new QMenu(qtName(name));
    MenuEntry e;
    e.id = mb->nextId++;
    e.isMenu = true;
    e.name = name;
    e.menu = menu;
    if (mb->bar) mb->bar->insertMenu(beforeAction(mb, before), menu);
    mb->entries[e.id] = e;
    *id = e.id;
    return 0;
}

int addItem(MenuBar* mb, int menu, const std::string& name, int before, int shortcut,
            MenuCallbackPtr cb, void* data, int* id) {
    MenuEntry* m = entryOf(mb, menu);
    if (!m || !m->isMenu || !m->menu) return UIEInvalidMenuItem;
    auto* action = new QAction(qtName(name), m->menu);
    if (shortcut) action->setShortcut(shortcutOf(shortcut));
    m->menu->insertAction(beforeAction(mb, before), action);
    MenuEntry e;
    e.id = mb->nextId++;
    e.parentMenu = menu;
    e.name = name;
    e.action = action;
    e.callback = cb;
    e.callbackData = data;
    mb->entries[e.id] = e;
    connectItem(mb, &mb->entries[e.id]);
    *id = e.id;
    return 0;
}

void attachBar(MenuBar* mb, Panel* p) {
    if (!mb->bar) {
        mb->bar = new QMenuBar;
        for (auto& [id, e] : mb->entries)
            if (e.isMenu && e.parentMenu == 0 && e.menu) mb->bar->addMenu(e.menu);
    }
    mb->panel = p->handle;
    p->menuBar = mb->handle;
    p->window->setMenuBarWidget(mb->bar);
}

void detachBar(MenuBar* mb) {
    Panel* p = findPanel(mb->panel);
    if (p && p->menuBar == mb->handle) {
        p->menuBar = 0;
        if (mb->bar) mb->bar->hide();
        p->window->setMenuBarWidget(nullptr);
    }
    mb->panel = 0;
}

int newMenuBar(int panel, MenuBar** out) {
    Runtime* rt = runtime();
    Panel* p = nullptr;
    if (panel != 0) {
        p = findPanel(panel);
        if (!p || p->discarding) return UIEInvalidPanel;
    }
    auto mb = std::make_unique<MenuBar>();
    mb->handle = rt->nextMenuBar++;
    MenuBar* raw = mb.get();
    rt->menuBars[raw->handle] = std::move(mb);
    if (p) {
        if (MenuBar* old = findMenuBar(p->menuBar)) detachBar(old);
        attachBar(raw, p);
    }
    *out = raw;
    return 0;
}

int discardMenuBar(int handle) {
    MenuBar* mb = findMenuBar(handle);
    if (!mb) return UIEInvalidMenuBar;
    detachBar(mb);
    std::vector<int> menus;
    for (auto& [id, e] : mb->entries)
        if (e.isMenu && e.parentMenu == 0) menus.push_back(id);
    for (int id : menus) forgetEntry(mb, id);
    if (mb->bar) mb->bar->deleteLater();
    runtime()->menuBars.erase(handle);
    return 0;
}

template <typename F>
int withBar(const char* fn, int menuBar, F&& f) {
    return guarded(fn, [&] {
        MenuBar* mb = findMenuBar(menuBar);
        if (!mb) return UIEInvalidMenuBar;
        return f(mb);
    });
}

int addFormEntries(MenuBar* mb, int parentMenu, const std::vector<ScannedMenuEntry>& entries,
                   std::string* error) {
    MenuEntry* parent = entryOf(mb, parentMenu);
    for (const ScannedMenuEntry& s : entries) {
        if (s.type == ScannedMenuEntry::Type::Separator) {
            parent->menu->addSeparator();
            continue;
        }
        MenuCallbackPtr cb = nullptr;
        if (!s.callback.empty()) {
            auto& reg = callbackRegistry();
            auto it = reg.find(s.callback);
            if (it == reg.end() || it->second.kind != UiCallbackEntry::Kind::Menu) {
                *error = "menu item " + s.headerName + " names callback \"" + s.callback +
                         "\", which is not registered as a menu callback";
                return UIEUnknownCallback;
            }
            cb = reinterpret_cast<MenuCallbackPtr>(it->second.function);
        }
        std::string name = mnemonicFromQt(s.text);
        MenuEntry e;
        e.id = s.id;
        e.parentMenu = parentMenu;
        e.name = name;
        e.constantName = s.name;
        e.callbackName = s.callback;
        if (s.type == ScannedMenuEntry::Type::Menu) {
            auto* menu = new QMenu(qtName(name));
            e.isMenu = true;
            e.menu = menu;
            e.action = parent->menu->addMenu(menu);
            mb->entries[e.id] = e;
            if (int rc = addFormEntries(mb, e.id, s.children, error)) return rc;
        } else {
            auto* action = new QAction(qtName(name), parent->menu);
            if (!s.shortcut.empty()) action->setShortcut(QKeySequence(QString::fromStdString(s.shortcut)));
            action->setCheckable(s.checkable);
            action->setChecked(s.checked);
            action->setEnabled(s.enabled);
            parent->menu->addAction(action);
            e.action = action;
            e.callback = cb;
            mb->entries[e.id] = e;
            connectItem(mb, &mb->entries[e.id]);
        }
        mb->nextId = std::max(mb->nextId, s.id + 1);
    }
    return 0;
}

}  // namespace

void discardMenuBarsOf(int panel) {
    Runtime* rt = runtime();
    std::vector<int> bars;
    for (auto& [h, mb] : rt->menuBars)
        if (mb->panel == panel) bars.push_back(h);
    for (int h : bars) discardMenuBar(h);
}

int createMenuBarFromForm(Panel* p, const std::vector<ScannedMenuEntry>& menus, std::string* error) {
    MenuBar* mb = nullptr;
    if (int rc = newMenuBar(p->handle, &mb)) return rc;
    for (const ScannedMenuEntry& m : menus) {
        MenuEntry e;
        e.id = m.id;
        e.isMenu = true;
        e.name = mnemonicFromQt(m.text);
        e.constantName = m.name;
        e.menu = new QMenu(qtName(e.name));
        e.action = mb->bar->addMenu(e.menu);
        mb->entries[e.id] = e;
        mb->nextId = std::max(mb->nextId, m.id + 1);
        if (int rc = addFormEntries(mb, m.id, m.children, error)) {
            discardMenuBar(mb->handle);
            return rc;
        }
    }
    p->window->layoutContent();
    return mb->handle;
}

}  // namespace uir

using namespace uir;

int NewMenuBar(int panel) {
    return guarded("NewMenuBar", [&] {
        MenuBar* mb = nullptr;
        int rc = newMenuBar(panel, &mb);
        return rc < 0 ? rc : mb->handle;
    });
}

int DiscardMenuBar(int menuBar) {
    return guarded("DiscardMenuBar", [&] { return discardMenuBar(menuBar); });
}

int GetPanelMenuBar(int panel) {
    return guarded("GetPanelMenuBar", [&] {
        Panel* p = findPanel(panel);
        if (!p) return UIEInvalidPanel;
        return findMenuBar(p->menuBar) ? p->menuBar : 0;
    });
}

int SetPanelMenuBar(int panel, int menuBar) {
    return guarded("SetPanelMenuBar", [&] {
        Panel* p = findPanel(panel);
        if (!p || p->discarding) return UIEInvalidPanel;
        MenuBar* mb = nullptr;
        if (menuBar != 0 && !(mb = findMenuBar(menuBar))) return UIEInvalidMenuBar;
        if (MenuBar* old = findMenuBar(p->menuBar)) detachBar(old);
        if (mb) {
            detachBar(mb);
            attachBar(mb, p);
        }
        return 0;
    });
}

int NewMenu(int menuBar, const char* name, int beforeMenu) {
    return withBar("NewMenu", menuBar, [&](MenuBar* mb) {
        if (!name) return UIENullPointer;
        int id = 0;
        int rc = addMenu(mb, name, beforeMenu, &id);
        return rc < 0 ? rc : id;
    });
}

int NewSubMenu(int menuBar, int menuItem) {
    return withBar("NewSubMenu", menuBar, [&](MenuBar* mb) {
        MenuEntry* item = entryOf(mb, menuItem);
        if (!item || item->isMenu || !item->action) return UIEInvalidMenuItem;
        auto* menu = new QMenu(item->action->text());
        item->action->setMenu(menu);
        MenuEntry e;
        e.id = mb->nextId++;
        e.isMenu = true;
        e.parentMenu = item->parentMenu;
        e.name = item->name;
        e.menu = menu;
        mb->entries[e.id] = e;
        return e.id;
    });
}

int NewMenuItem(int menuBar, int menu, const char* name, int beforeItem, int shortcutKey,
                MenuCallbackPtr callback, void* callbackData) {
    return withBar("NewMenuItem", menuBar, [&](MenuBar* mb) {
        if (!name) return UIENullPointer;
        int id = 0;
        int rc = addItem(mb, menu, name, beforeItem, shortcutKey, callback, callbackData, &id);
        return rc < 0 ? rc : id;
    });
}

int InsertSeparator(int menuBar, int menu, int beforeItem) {
    return withBar("InsertSeparator", menuBar, [&](MenuBar* mb) {
        MenuEntry* m = entryOf(mb, menu);
        if (!m || !m->isMenu || !m->menu) return UIEInvalidMenuItem;
        QAction* sep = m->menu->insertSeparator(beforeAction(mb, beforeItem));
        MenuEntry e;
        e.id = mb->nextId++;
        e.parentMenu = menu;
        e.action = sep;
        mb->entries[e.id] = e;
        return e.id;
    });
}

int DiscardMenuItem(int menuBar, int menuItem) {
    return withBar("DiscardMenuItem", menuBar, [&](MenuBar* mb) {
        if (!entryOf(mb, menuItem)) return UIEInvalidMenuItem;
        forgetEntry(mb, menuItem);
        return 0;
    });
}

int InstallMenuCallback(int menuBar, int menuItem, MenuCallbackPtr callback, void* callbackData) {
    return withBar("InstallMenuCallback", menuBar, [&](MenuBar* mb) {
        MenuEntry* e = entryOf(mb, menuItem);
        if (!e || e->isMenu) return UIEInvalidMenuItem;
        e->callback = callback;
        e->callbackData = callbackData;
        return 0;
    });
}

int SetMenuBarAttribute(int menuBar, int menuOrItem, int attribute, UiValue value) {
    return withBar("SetMenuBarAttribute", menuBar, [&](MenuBar* mb) {
        long long n = 0;
        if (menuOrItem == 0) {
            if (attribute != ATTR_DIMMED) return UIEInvalidAttribute;
            if (int rc = toInteger(value, &n)) return rc;
            mb->dimmed = n != 0;
            if (mb->bar) mb->bar->setEnabled(!mb->dimmed);
            return 0;
        }
        MenuEntry* e = entryOf(mb, menuOrItem);
        if (!e) return UIEInvalidMenuItem;
        QAction* a = e->isMenu ? (e->menu ? e->menu->menuAction() : nullptr) : e->action.data();
        if (!a) return UIEInvalidMenuItem;
        Quiet q;
        switch (attribute) {
            case ATTR_DIMMED:
                if (int rc = toInteger(value, &n)) return rc;
                a->setEnabled(n == 0);
                return 0;
            case ATTR_VISIBLE:
                if (int rc = toInteger(value, &n)) return rc;
                a->setVisible(n != 0);
                return 0;
            case ATTR_CHECKED:
                if (int rc = toInteger(value, &n)) return rc;
                if (e->isMenu) return UIEInvalidAttribute;
                a->setCheckable(true);
                a->setChecked(n != 0);
                return 0;
            case ATTR_ITEM_NAME:
            case ATTR_MENU_NAME: {
                std::string s;
                if (int rc = toText(value, &s)) return rc;
                e->name = s;
                a->setText(qtName(s));
                if (e->isMenu && e->menu) e->menu->setTitle(qtName(s));
                return 0;
            }
            case ATTR_CALLBACK_DATA:
                if (value.kind() == UiValue::Kind::Pointer) e->callbackData = value.pointer();
                else if (value.kind() == UiValue::Kind::Null) e->callbackData = nullptr;
                else return UIEInvalidDataType;
                return 0;
            case ATTR_CALLBACK_FUNCTION_POINTER:
                if (value.kind() == UiValue::Kind::MenuCallback) e->callback = value.menuCallback();
                else if (value.kind() == UiValue::Kind::Null) e->callback = nullptr;
                else return UIEInvalidDataType;
                return 0;
            default: return UIEInvalidAttribute;
        }
    });
}

int GetMenuBarAttribute(int menuBar, int menuOrItem, int attribute, UiOut value) {
    return withBar("GetMenuBarAttribute", menuBar, [&](MenuBar* mb) {
        if (menuOrItem == 0) {
            if (attribute != ATTR_DIMMED) return UIEInvalidAttribute;
            return storeValue(Value::integer(mb->dimmed), value);
        }
        MenuEntry* e = entryOf(mb, menuOrItem);
        if (!e) return UIEInvalidMenuItem;
        QAction* a = e->isMenu ? (e->menu ? e->menu->menuAction() : nullptr) : e->action.data();
        if (!a) return UIEInvalidMenuItem;
        if (attribute == ATTR_CALLBACK_FUNCTION_POINTER) {
            if (value.kind() != UiOut::Kind::MenuCallback || !value.target()) return UIEInvalidDataType;
            *static_cast<MenuCallbackPtr*>(value.target()) = e->callback;
            return 0;
        }
        Value v;
        switch (attribute) {
            case ATTR_DIMMED: v = Value::integer(!a->isEnabled()); break;
            case ATTR_VISIBLE: v = Value::integer(a->isVisible()); break;
            case ATTR_CHECKED: v = Value::integer(a->isChecked()); break;
            case ATTR_ITEM_NAME:
            case ATTR_MENU_NAME: v = Value::text(e->name); break;
            case ATTR_CONSTANT_NAME: v = Value::text(e->constantName); break;
            case ATTR_CALLBACK_NAME: v = Value::text(e->callbackName); break;
            case ATTR_CALLBACK_DATA: v = Value::pointer(e->callbackData); break;
            default: return UIEInvalidAttribute;
        }
        return storeValue(v, value);
    });
}

int RunPopupMenu(int menuBar, int menu, int panel, int top, int left) {
    return withBar("RunPopupMenu", menuBar, [&](MenuBar* mb) {
        MenuEntry* m = entryOf(mb, menu);
        if (!m || !m->isMenu || !m->menu) return UIEInvalidMenuItem;
        Panel* p = findPanel(panel);
        if (!p) return UIEInvalidPanel;
        Runtime* rt = runtime();
        int chosen = 0;
        if (rt->test.active) {
            PopupRequest req;
            req.kind = PopupRequest::Kind::Menu;
            req.title = m->name;
            for (QAction* a : m->menu->actions()) {
                for (auto& [id, e] : mb->entries)
                    if (e.parentMenu == menu && !e.isMenu && e.action == a && !a->isSeparator() && a->isEnabled())
                        req.items.push_back({id, e.name});
            }
            if (!rt->test.popup || !rt->test.popup(req)) {
                if (rt->test.failure) rt->test.failure("unexpected popup menu \"" + req.title + "\"");
                return 0;
            }
            chosen = req.result;
            bool offered = false;
            for (auto& [id, name] : req.items) offered = offered || id == chosen;
            if (!offered) chosen = 0;
        } else {
            QPoint at = p->content->mapToGlobal(QPoint(left, top));
            // The menu's name heads the popup.
            QList<QAction*> actions = m->menu->actions();
            QAction* first = actions.isEmpty() ? nullptr : actions.front();
            QAction title(qtName(m->name).remove(QLatin1Char('&')));
            QFont f = title.font();
            f.setBold(true);
            title.setFont(f);
            title.setEnabled(false);
            QAction separator;
            separator.setSeparator(true);
            if (!m->name.empty()) {
                m->menu->insertAction(first, &title);
                m->menu->insertAction(first, &separator);
            }
            QAction* picked;
            {
                Quiet q;
                picked = m->menu->exec(at);
            }
            m->menu->removeAction(&title);
            m->menu->removeAction(&separator);
            for (auto& [id, e] : mb->entries)
                if (picked && e.action == picked && !e.isMenu) chosen = id;
        }
        if (chosen) dispatchMenuItem(menuBar, chosen);
        return chosen;
    });
}

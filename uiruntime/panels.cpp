// Panels: their window, creation, display, attributes, popups and discarding.
#include <QtGui/QCloseEvent>
#include <QtGui/QGuiApplication>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMenuBar>

#include <algorithm>

#include "uiruntime/core.h"
#include "uiruntime/userint.h"

namespace uir {

namespace {

void applyLook(Panel* p) {
    PanelWindow* w = p->window;
    const bool top = p->parent == 0;
    const bool wasVisible = !w->isHidden();
    switch (p->look) {
        case VAL_PANEL_LOOK_EMBEDDED:
            w->setFrameStyle(QFrame::NoFrame);
            if (top) w->setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
            break;
        case VAL_PANEL_LOOK_TOOLTIP:
            w->setFrameStyle(QFrame::Box | QFrame::Plain);
            w->setLineWidth(1);
            if (top) w->setWindowFlags(Qt::ToolTip);
            break;
        default:
            if (top) {
                w->setFrameStyle(QFrame::NoFrame);
                w->setWindowFlags(Qt::Window);
            } else {
                w->setFrameStyle(QFrame::Panel | QFrame::Raised);
                w->setLineWidth(1);
            }
    }
    w->layoutContent();
    if (wasVisible && top) w->show();
}

void applyBackColor(Panel* p) {
    QPalette pal = QApplication::palette(p->content);
    if (p->backColor >= 0) pal.setColor(QPalette::Window, rgbColor(p->backColor));
    p->content->setPalette(pal);
    p->content->setAutoFillBackground(true);
    QPalette wpal = p->window->palette();
    wpal.setColor(QPalette::Window, pal.color(QPalette::Window));
    p->window->setPalette(wpal);
    p->window->setAutoFillBackground(true);
}

std::vector<int> siblingsOf(const Panel* p) {
    Runtime* rt = runtime();
    if (p->parent) {
        Panel* parent = findPanel(p->parent);
        return parent ? parent->children : std::vector<int>();
    }
    std::vector<int> tops;
    for (auto& [h, q] : rt->panels)
        if (q->parent == 0) tops.push_back(h);
    return tops;
}

void centerOnScreen(PanelWindow* w) {
    QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen) return;
    QRect avail = screen->availableGeometry();
    QRect g = w->geometry();
    g.moveCenter(avail.center());
    if (g.top() < avail.top()) g.moveTop(avail.top());
    if (g.left() < avail.left()) g.moveLeft(avail.left());
    w->setGeometry(g);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// PanelWindow
// ---------------------------------------------------------------------------------------------
PanelWindow::PanelWindow(int panel, QWidget* parent)
    : QFrame(parent, parent ? Qt::Widget : Qt::Window), panel_(panel), content_(new QWidget(this)) {
    setFocusPolicy(Qt::ClickFocus);
    content_->setObjectName(QStringLiteral("content"));
}

void PanelWindow::setMenuBarWidget(QMenuBar* bar) {
    menuBar_ = bar;
    if (bar) {
        bar->setParent(this);
        bar->show();
    }
    layoutContent();
}

int PanelWindow::menuHeight() const {
    return menuBar_ && !menuBar_->isHidden() ? menuBar_->sizeHint().height() : 0;
}

void PanelWindow::layoutContent() {
    QRect r = contentsRect();
    int mh = menuHeight();
    if (menuBar_) menuBar_->setGeometry(r.x(), r.y(), r.width(), mh);
    content_->setGeometry(r.x(), r.y() + mh, r.width(), std::max(0, r.height() - mh));
}

void PanelWindow::closeEvent(QCloseEvent* e) {
    // Closing is the program's decision: the panel callback gets EVENT_CLOSE.
    e->ignore();
    dispatchPanelEvent(panel_, EVENT_CLOSE, 0, 0);
}

void PanelWindow::mousePressEvent(QMouseEvent* e) {
    QPoint pt = e->position().toPoint() - content_->pos();
    if (e->button() == Qt::LeftButton) dispatchPanelEvent(panel_, EVENT_LEFT_CLICK, pt.y(), pt.x());
    else if (e->button() == Qt::RightButton) dispatchPanelEvent(panel_, EVENT_RIGHT_CLICK, pt.y(), pt.x());
    e->accept();
}

void PanelWindow::mouseDoubleClickEvent(QMouseEvent* e) {
    QPoint pt = e->position().toPoint() - content_->pos();
    if (e->button() == Qt::LeftButton) dispatchPanelEvent(panel_, EVENT_LEFT_DOUBLE_CLICK, pt.y(), pt.x());
    e->accept();
}

void PanelWindow::keyPressEvent(QKeyEvent* e) {
    // Keys of a focused control reached the panel callback through the control already.
    QWidget* f = QApplication::focusWidget();
    if (f && f != this && f != content_ && content_->isAncestorOf(f)) {
        e->ignore();
        return;
    }
    int code = keyCodeOf(e);
    if (code == 0 || !dispatchPanelEvent(panel_, EVENT_KEYPRESS, code, 0)) e->ignore();
}

void PanelWindow::resizeEvent(QResizeEvent* e) {
    QFrame::resizeEvent(e);
    layoutContent();
    if (e->spontaneous()) dispatchPanelEvent(panel_, EVENT_PANEL_SIZE, 0, 0);
}

void PanelWindow::moveEvent(QMoveEvent* e) {
    QFrame::moveEvent(e);
    if (e->spontaneous()) dispatchPanelEvent(panel_, EVENT_PANEL_MOVE, 0, 0);
}

void PanelWindow::changeEvent(QEvent* e) {
    QFrame::changeEvent(e);
    if (e->type() == QEvent::ActivationChange && isWindow() && runtime()) {
        if (isActiveWindow()) runtime()->activePanel = panel_;
        dispatchPanelEvent(panel_, isActiveWindow() ? EVENT_GOT_FOCUS : EVENT_LOST_FOCUS, 0, 0);
    }
}

// ---------------------------------------------------------------------------------------------
// Internal operations
// ---------------------------------------------------------------------------------------------
int createPanel(int parent, const std::string& title, int top, int left, int height, int width,
                Panel** out) {
    Runtime* rt = runtime();
    Panel* parentPanel = nullptr;
    if (parent != 0) {
        parentPanel = findPanel(parent);
        if (!parentPanel || parentPanel->discarding) return UIEInvalidPanel;
    }
    if (height < 0 || width < 0 || height > 32767 || width > 32767) return UIEInvalidAttributeValue;
    auto p = std::make_unique<Panel>();
    p->handle = rt->nextPanel++;
    p->parent = parent;
    p->window = new PanelWindow(p->handle, parentPanel ? parentPanel->content : nullptr);
    p->content = p->window->content();
    p->window->setWindowTitle(QString::fromStdString(title));
    p->window->setGeometry(left, top, std::max(width, 1), std::max(height, 1));
    applyLook(p.get());
    applyBackColor(p.get());
    p->window->hide();
    Panel* raw = p.get();
    rt->panels[p->handle] = std::move(p);
    if (parentPanel) {
        parentPanel->children.push_back(raw->handle);
        raw->window->raise();
    }
    *out = raw;
    return 0;
}

void setFloating(Panel* p, bool on) {
    if (p->parent == 0 || p->floating == on) return;
    Panel* parent = findPanel(p->parent);
    if (!parent) return;
    QRect g = p->window->geometry();
    if (on) {
        QPoint global = parent->content->mapToGlobal(g.topLeft());
        p->window->setParent(parent->window->window(), Qt::Dialog);
        p->window->setGeometry(QRect(global, g.size()));
    } else {
        QPoint local = parent->content->mapFromGlobal(g.topLeft());
        p->window->setParent(parent->content, Qt::Widget);
        p->window->setGeometry(QRect(local, g.size()));
    }
    p->floating = on;
}

bool isInside(int panel, int outer) {
    for (Panel* p = findPanel(panel); p; p = findPanel(p->parent))
        if (p->handle == outer) return true;
    return false;
}

int addControl(Panel* p, std::unique_ptr<Control> c) {
    if (c->id == 0) c->id = p->nextControlId++;
    else p->nextControlId = std::max(p->nextControlId, c->id + 1);
    Control* raw = c.get();
    p->controls[raw->id] = std::move(c);
    p->zorder.insert(p->zorder.begin(), raw->id);
    raw->attach();
    for (int child : p->children)
        if (Panel* cp = findPanel(child)) cp->window->raise();
    return raw->id;
}

void restack(Panel* p) {
    for (auto it = p->zorder.rbegin(); it != p->zorder.rend(); ++it) {
        Control* c = p->control(*it);
        if (!c) continue;
        if (c->widget) c->widget->raise();
        if (c->caption) c->caption->raise();
    }
    for (int child : p->children)
        if (Panel* cp = findPanel(child)) cp->window->raise();
}

int discardControl(Panel* p, int id) {
    Control* c = p->control(id);
    if (!c) return UIEInvalidControl;
    if (c->callback) {
        CtrlCallbackPtr cb = c->callback;
        cb(p->handle, id, EVENT_DISCARD, c->callbackData, 0, 0);
        p = findPanel(p->handle);
        if (!p) return 0;
        c = p->control(id);
        if (!c) return 0;  // the callback discarded it itself
    }
    forgetWidgets(c);
    p->zorder.erase(std::remove(p->zorder.begin(), p->zorder.end(), id), p->zorder.end());
    if (p->activeControl == id) p->activeControl = 0;
    p->controls.erase(id);
    return 0;
}

int discardPanel(int handle) {
    Runtime* rt = runtime();
    Panel* p = findPanel(handle);
    if (!p) return UIEInvalidPanel;
    if (p->discarding) return 0;
    p->discarding = true;
    std::vector<int> children = p->children;
    for (int ch : children) discardPanel(ch);
    std::vector<int> ids;
    for (auto& [id, c] : p->controls) ids.push_back(id);
    for (int id : ids) {
        p = findPanel(handle);
        Control* c = p->control(id);
        if (c && c->callback) {
            CtrlCallbackPtr cb = c->callback;
            cb(handle, id, EVENT_DISCARD, c->callbackData, 0, 0);
        }
    }
    p = findPanel(handle);
    if (p->callback) {
        PanelCallbackPtr cb = p->callback;
        cb(handle, EVENT_DISCARD, p->callbackData, 0, 0);
    }
    p = findPanel(handle);
    discardMenuBarsOf(handle);
    rt->popupStack.erase(std::remove(rt->popupStack.begin(), rt->popupStack.end(), handle),
                         rt->popupStack.end());
    if (p->parent)
        if (Panel* parent = findPanel(p->parent))
            parent->children.erase(std::remove(parent->children.begin(), parent->children.end(), handle),
                                   parent->children.end());
    for (auto& [id, c] : p->controls) forgetWidgets(c.get());
    p->controls.clear();
    p->window->hide();
    p->window->deleteLater();
    if (rt->activePanel == handle) rt->activePanel = 0;
    rt->panels.erase(handle);
    return 0;
}

}  // namespace uir

using namespace uir;

// ---------------------------------------------------------------------------------------------
// Public functions
// ---------------------------------------------------------------------------------------------
int NewPanel(int parent, const char* title, int top, int left, int height, int width) {
    return guarded("NewPanel", [&] {
        Panel* p = nullptr;
        int rc = createPanel(parent, title ? title : "", top, left, height, width, &p);
        return rc < 0 ? rc : p->handle;
    });
}

int DisplayPanel(int panel) {
    return guarded("DisplayPanel", [&] {
        Panel* p = findPanel(panel);
        if (!p || p->discarding) return UIEInvalidPanel;
        if (p->autoCenter && p->parent == 0) {
            centerOnScreen(p->window);
            p->autoCenter = false;
        }
        p->window->show();
        if (p->parent != 0 || QGuiApplication::platformName() != QLatin1String("offscreen"))
            p->window->raise();  // the offscreen platform has no stacking and warns about it
        if (p->parent == 0) {
            p->window->activateWindow();
            runtime()->activePanel = panel;
        }
        return 0;
    });
}

int HidePanel(int panel) {
    return guarded("HidePanel", [&] {
        Panel* p = findPanel(panel);
        if (!p || p->discarding) return UIEInvalidPanel;
        p->window->hide();
        return 0;
    });
}

int DiscardPanel(int panel) {
    return guarded("DiscardPanel", [&] { return discardPanel(panel); });
}

int SetPanelPos(int panel, int top, int left) {
    return guarded("SetPanelPos", [&] {
        Panel* p = findPanel(panel);
        if (!p) return UIEInvalidPanel;
        QRect g = p->window->geometry();
        p->window->setGeometry(left, top, g.width(), g.height());
        p->autoCenter = false;
        return 0;
    });
}

int SetPanelSize(int panel, int height, int width) {
    return guarded("SetPanelSize", [&] {
        Panel* p = findPanel(panel);
        if (!p) return UIEInvalidPanel;
        if (height < 1 || width < 1 || height > 32767 || width > 32767) return UIEInvalidAttributeValue;
        QRect g = p->window->geometry();
        p->window->setGeometry(g.x(), g.y(), width, height);
        return 0;
    });
}

int InstallPanelCallback(int panel, PanelCallbackPtr callback, void* callbackData) {
    return guarded("InstallPanelCallback", [&] {
        Panel* p = findPanel(panel);
        if (!p) return UIEInvalidPanel;
        p->callback = callback;
        p->callbackData = callbackData;
        return 0;
    });
}

int SetActivePanel(int panel) {
    return guarded("SetActivePanel", [&] {
        Panel* p = findPanel(panel);
        if (!p || p->discarding) return UIEInvalidPanel;
        p->window->raise();
        if (p->parent == 0) p->window->activateWindow();
        runtime()->activePanel = panel;
        return 0;
    });
}

int GetActivePanel() {
    return guarded("GetActivePanel", [&] {
        int h = runtime()->activePanel;
        return findPanel(h) ? h : 0;
    });
}

int InstallPopup(int panel) {
    return guarded("InstallPopup", [&] {
        Panel* p = findPanel(panel);
        if (!p || p->discarding) return UIEInvalidPanel;
        Runtime* rt = runtime();
        rt->popupStack.erase(std::remove(rt->popupStack.begin(), rt->popupStack.end(), panel),
                             rt->popupStack.end());
        rt->popupStack.push_back(panel);
        p->popupScripted = false;
        if (p->parent != 0) {
            // A child panel becomes a dialog over its parent for as long as it is a popup.
            p->window->hide();
            setFloating(p, true);
        }
        if (!rt->test.active) {
            bool visible = !p->window->isHidden();
            if (visible) p->window->hide();
            p->window->setWindowModality(Qt::ApplicationModal);
        }
        if (p->autoCenter) {
            centerOnScreen(p->window);
            p->autoCenter = false;
        }
        p->window->show();
        p->window->raise();
        p->window->activateWindow();
        rt->activePanel = panel;
        return 0;
    });
}

int RemovePopup(int removeAll) {
    return guarded("RemovePopup", [&] {
        Runtime* rt = runtime();
        if (rt->popupStack.empty()) return UIENoPopupInstalled;
        do {
            int h = rt->popupStack.back();
            rt->popupStack.pop_back();
            if (Panel* p = findPanel(h)) {
                p->window->hide();
                p->window->setWindowModality(Qt::NonModal);
                setFloating(p, false);
            }
        } while (removeAll && !rt->popupStack.empty());
        return 0;
    });
}

static int setPanelAttribute(Panel* p, int attribute, const UiValue& v) {
    long long n = 0;
    auto number = [&]() { return toInteger(v, &n); };
    QRect g = p->window->geometry();
    switch (attribute) {
        case ATTR_TITLE: {
            std::string s;
            if (int rc = toText(v, &s)) return rc;
            p->window->setWindowTitle(QString::fromStdString(s));
            return 0;
        }
        case ATTR_TOP:
        case ATTR_LEFT:
        case ATTR_HEIGHT:
        case ATTR_WIDTH: {
            if (int rc = number()) return rc;
            if (n < -32768 || n > 32767) return UIEInvalidAttributeValue;
            if ((attribute == ATTR_HEIGHT || attribute == ATTR_WIDTH) && n < 1) return UIEInvalidAttributeValue;
            if (attribute == ATTR_TOP) g.moveTop(static_cast<int>(n)), p->autoCenter = false;
            if (attribute == ATTR_LEFT) g.moveLeft(static_cast<int>(n)), p->autoCenter = false;
            if (attribute == ATTR_HEIGHT) g.setHeight(static_cast<int>(n));
            if (attribute == ATTR_WIDTH) g.setWidth(static_cast<int>(n));
            p->window->setGeometry(g);
            if (!p->sizable && p->parent == 0) p->window->setFixedSize(g.size());
            return 0;
        }
        case ATTR_BACKCOLOR:
            if (int rc = number()) return rc;
            if (n < 0 || n > 0xFFFFFF) return UIEInvalidAttributeValue;
            p->backColor = static_cast<int>(n);
            applyBackColor(p);
            return 0;
        case ATTR_VISIBLE:
            if (int rc = number()) return rc;
            if (n) p->window->show();
            else p->window->hide();
            return 0;
        case ATTR_DIMMED:
            if (int rc = number()) return rc;
            p->window->setEnabled(n == 0);
            return 0;
        case ATTR_CALLBACK_DATA:
            if (v.kind() == UiValue::Kind::Pointer) p->callbackData = v.pointer();
            else if (v.kind() == UiValue::Kind::Null) p->callbackData = nullptr;
            else return UIEInvalidDataType;
            return 0;
        case ATTR_CALLBACK_FUNCTION_POINTER:
            if (v.kind() == UiValue::Kind::PanelCallback) p->callback = v.panelCallback();
            else if (v.kind() == UiValue::Kind::Null) p->callback = nullptr;
            else return UIEInvalidDataType;
            return 0;
        case ATTR_PANEL_LOOK:
            if (int rc = number()) return rc;
            if (n < VAL_PANEL_LOOK_NORMAL || n > VAL_PANEL_LOOK_TOOLTIP) return UIEInvalidAttributeValue;
            p->look = static_cast<int>(n);
            applyLook(p);
            applyBackColor(p);
            return 0;
        case ATTR_SIZABLE:
            if (int rc = number()) return rc;
            p->sizable = n != 0;
            if (p->parent == 0) {
                if (p->sizable) p->window->setMinimumSize(1, 1), p->window->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
                else p->window->setFixedSize(g.size());
                p->window->setGeometry(g);
            }
            return 0;
        case ATTR_MOVABLE:
            if (int rc = number()) return rc;
            p->movable = n != 0;
            return 0;
        default: return UIEInvalidAttribute;
    }
}

static int getPanelAttribute(Panel* p, int attribute, Value* out) {
    QRect g = p->window->geometry();
    switch (attribute) {
        case ATTR_TITLE: *out = Value::text(p->window->windowTitle().toStdString()); return 0;
        case ATTR_TOP: *out = Value::integer(g.top()); return 0;
        case ATTR_LEFT: *out = Value::integer(g.left()); return 0;
        case ATTR_HEIGHT: *out = Value::integer(g.height()); return 0;
        case ATTR_WIDTH: *out = Value::integer(g.width()); return 0;
        case ATTR_BACKCOLOR:
            *out = Value::integer(p->backColor >= 0 ? p->backColor
                                                    : rgbOf(p->content->palette().color(QPalette::Window)));
            return 0;
        case ATTR_VISIBLE: *out = Value::integer(!p->window->isHidden()); return 0;
        case ATTR_DIMMED: *out = Value::integer(!p->window->isEnabled()); return 0;
        case ATTR_CONSTANT_NAME: *out = Value::text(p->constantName); return 0;
        case ATTR_CALLBACK_NAME: *out = Value::text(p->callbackName); return 0;
        case ATTR_CALLBACK_DATA: *out = Value::pointer(p->callbackData); return 0;
        case ATTR_PANEL_LOOK: *out = Value::integer(p->look); return 0;
        case ATTR_MENU_HEIGHT: *out = Value::integer(p->window->menuHeight()); return 0;
        case ATTR_PANEL_PARENT: *out = Value::integer(p->parent); return 0;
        case ATTR_SIZABLE: *out = Value::integer(p->sizable); return 0;
        case ATTR_MOVABLE: *out = Value::integer(p->movable); return 0;
        case ATTR_NUM_CTRLS: *out = Value::integer(static_cast<long long>(p->controls.size())); return 0;
        case ATTR_PANEL_FIRST_CTRL:
            *out = Value::integer(p->controls.empty() ? 0 : p->controls.begin()->first);
            return 0;
        case ATTR_PANEL_FIRST_CHILD:
            *out = Value::integer(p->children.empty() ? 0 : p->children.front());
            return 0;
        case ATTR_NEXT_PANEL: {
            std::vector<int> sib = siblingsOf(p);
            auto it = std::find(sib.begin(), sib.end(), p->handle);
            *out = Value::integer(it != sib.end() && it + 1 != sib.end() ? *(it + 1) : 0);
            return 0;
        }
        case ATTR_ACTIVE: *out = Value::integer(runtime()->activePanel == p->handle); return 0;
        default: return UIEInvalidAttribute;
    }
}

int SetPanelAttribute(int panel, int attribute, UiValue value) {
    return guarded("SetPanelAttribute", [&] {
        Panel* p = findPanel(panel);
        if (!p) return UIEInvalidPanel;
        return setPanelAttribute(p, attribute, value);
    });
}

int GetPanelAttribute(int panel, int attribute, UiOut value) {
    return guarded("GetPanelAttribute", [&] {
        Panel* p = findPanel(panel);
        if (!p) return UIEInvalidPanel;
        if (attribute == ATTR_CALLBACK_FUNCTION_POINTER) {
            if (value.kind() != UiOut::Kind::PanelCallback || !value.target()) return UIEInvalidDataType;
            *static_cast<PanelCallbackPtr*>(value.target()) = p->callback;
            return 0;
        }
        Value v;
        if (int rc = getPanelAttribute(p, attribute, &v)) return rc;
        return storeValue(v, value);
    });
}

int GetPanelAttribute(int panel, int attribute, char* buffer, size_t bufferSize) {
    return GetPanelAttribute(panel, attribute, UiOut::Text(buffer, bufferSize));
}

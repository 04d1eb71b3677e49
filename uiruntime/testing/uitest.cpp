#include "uiruntime/testing/uitest.h"

#include <QtCore/QCoreApplication>
#include <QtGui/QKeyEvent>
#include <QtGui/QKeySequence>
#include <QtGui/QMouseEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QMenu>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QTableView>

#include <cstdio>
#include <cstdlib>
#include <deque>
#include <algorithm>
#include <map>

#include "uiruntime/core.h"
#include "uiruntime/kinds.h"
#include "uiruntime/widgets.h"

using namespace uir;

// Qt's own entry for a key press that shortcuts may take (what its test library uses).
Q_GUI_EXPORT bool qt_sendShortcutOverrideEvent(QObject* o, ulong timestamp, int k, Qt::KeyboardModifiers mods,
                                               const QString& text = QString(), bool autorep = false,
                                               ushort count = 1);

namespace {

struct Answer {
    int kind;
    int result = 0;
    std::string text;  // file path or menu item name
};

struct Driver {
    std::deque<Answer> answers;
    std::deque<std::function<void(int)>> popupScripts;
    std::deque<std::function<void()>> loopSteps;
    std::vector<UiTestPopup> popups;
    std::vector<std::string> failures;
    std::function<void(const std::string&)> handler;
    std::map<int, int> unanswered;  // popup panel -> passes waited without a script
    int mouse[6] = {0, 0, 0, 0, 0, 0};
    std::deque<std::pair<int, int>> buttonSequence;  // (left, right) for the next readings
    int mouseReadings = 0;
};

Driver& driver() {
    static Driver d;
    return d;
}

void fail(const std::string& message) {
    Driver& d = driver();
    d.failures.push_back(message);
    if (d.handler) d.handler(message);
    else std::fprintf(stderr, "uitest: %s\n", message.c_str());
}

bool answerPopup(PopupRequest& req) {
    Driver& d = driver();
    UiTestPopup rec;
    rec.title = req.title;
    rec.text = req.text;
    int kind = 0;
    switch (req.kind) {
        case PopupRequest::Kind::Message: kind = UITEST_MESSAGE; break;
        case PopupRequest::Kind::Confirm: kind = UITEST_CONFIRM; break;
        case PopupRequest::Kind::FileSelect:
            kind = UITEST_FILE_SELECT;
            rec.text = req.directory + "|" + req.fileSpec;
            break;
        case PopupRequest::Kind::Menu:
            kind = UITEST_POPUP_MENU;
            for (auto& [id, name] : req.items) rec.items.push_back(name);
            break;
    }
    rec.kind = kind;
    if (kind == UITEST_MESSAGE) {
        d.popups.push_back(rec);
        return true;
    }
    if (d.answers.empty() || d.answers.front().kind != kind) {
        d.popups.push_back(rec);
        return false;
    }
    Answer a = d.answers.front();
    d.answers.pop_front();
    if (kind == UITEST_CONFIRM) {
        req.result = a.result;
    } else if (kind == UITEST_FILE_SELECT) {
        req.result = a.result;
        req.path = a.text;
        rec.path = a.text;
    } else {
        req.result = 0;
        if (!a.text.empty()) {
            for (auto& [id, name] : req.items)
                if (name == a.text) req.result = id;
            if (req.result == 0) fail("popup menu \"" + req.title + "\" has no enabled item \"" + a.text + "\"");
        }
    }
    rec.answer = req.result;
    d.popups.push_back(rec);
    return true;
}

void popupPanelWaits(int panel) {
    Driver& d = driver();
    Panel* p = findPanel(panel);
    if (!p) return;
    if (!p->popupScripted && !d.popupScripts.empty()) {
        p->popupScripted = true;
        auto script = std::move(d.popupScripts.front());
        d.popupScripts.pop_front();
        script(panel);
        return;
    }
    // Nobody is going to answer: report it, and stop a program that would wait forever.
    int waited = ++d.unanswered[panel];
    if (waited == 1000 && !p->popupScripted)
        fail("popup panel \"" + p->constantName + "\" was installed with nothing scripted to answer it");
    if (waited >= 200000) {
        fail("popup panel \"" + p->constantName + "\" is still installed after its script: the test cannot go on");
        std::fflush(stderr);
        std::abort();
    }
}

bool loopStep() {
    Driver& d = driver();
    if (d.loopSteps.empty()) return false;
    auto step = std::move(d.loopSteps.front());
    d.loopSteps.pop_front();
    step();
    return true;
}

bool mouseState(int* panel, int* x, int* y, int* l, int* r, int* k) {
    Driver& d = driver();
    ++d.mouseReadings;
    if (!d.buttonSequence.empty()) {
        d.mouse[3] = d.buttonSequence.front().first;
        d.mouse[4] = d.buttonSequence.front().second;
        d.buttonSequence.pop_front();
    }
    *panel = d.mouse[0];
    *x = d.mouse[1];
    *y = d.mouse[2];
    *l = d.mouse[3];
    *r = d.mouse[4];
    *k = d.mouse[5];
    return true;
}

void installHooks() {
    Runtime* rt = runtime();
    rt->test.active = true;
    rt->test.manualTimers = true;
    rt->test.popup = answerPopup;
    rt->test.popupPanel = popupPanelWaits;
    rt->test.loopStep = loopStep;
    rt->test.mouse = mouseState;
    rt->test.failure = fail;
}

// 0 when the user could reach the control now.
int reachable(int panel, int control, Control** out) {
    if (!runtime()) return UIENotInitialized;
    Panel* p = findPanel(panel);
    if (!p || p->discarding) return UIEInvalidPanel;
    Runtime* rt = runtime();
    if (!rt->popupStack.empty() && !isInside(panel, rt->popupStack.back())) return UIEPanelBlockedByPopup;
    if (control == 0) {
        if (out) *out = nullptr;
        return 0;
    }
    Control* c = nullptr;
    if (int rc = lookupControl(panel, control, &c)) return rc;
    if (c->widget->isHidden() || c->style == CTRL_TIMER) return UIEControlHidden;
    if (!c->widget->isEnabled()) return UIEControlDimmed;
    if (out) *out = c;
    return 0;
}

void settle() {
    // Let queued widget work (text flushes, layouts) happen as it would between two user actions.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
}

// The widget that receives a mouse event at a point of the control, and the point in it.
QWidget* targetAt(Control* c, Panel* p, int x, int y, QPoint* local) {
    QWidget* base = c ? c->widget : p->content;
    QPoint pt(x, y);
    QWidget* deepest = base->childAt(pt);
    QWidget* target = deepest ? deepest : base;
    *local = target->mapFrom(base, pt);
    return target;
}

void sendMouse(QWidget* w, QEvent::Type type, QPoint local, Qt::MouseButton button, Qt::MouseButtons buttons) {
    QPointF lp(local);
    QPointF gp(w->mapToGlobal(local));
    QMouseEvent ev(type, lp, lp, gp, button, buttons, Qt::NoModifier);
    QApplication::sendEvent(w, &ev);
}

int keyOf(int code, QString* text, Qt::KeyboardModifiers* mods) {
    *mods = Qt::NoModifier;
    if (code & VAL_SHIFT_MODIFIER) *mods |= Qt::ShiftModifier;
    if (code & VAL_MENUKEY_MODIFIER) *mods |= Qt::ControlModifier;
    if (code & VAL_ALT_MODIFIER) *mods |= Qt::AltModifier;
    int vkey = code & VAL_VKEY_MASK;
    text->clear();
    if (vkey == 0) {
        QChar ch(code & VAL_ASCII_KEY_MASK);
        if (!(*mods & (Qt::ControlModifier | Qt::AltModifier))) *text = QString(ch);
        return QChar(ch).toUpper().unicode();
    }
    if (vkey >= VAL_F1_VKEY) return vkey <= VAL_F1_VKEY + 11 * 0x100 ? Qt::Key_F1 + (vkey - VAL_F1_VKEY) / 0x100 : 0;
    switch (vkey) {
        case VAL_ESC_VKEY: return Qt::Key_Escape;
        case VAL_TAB_VKEY: return Qt::Key_Tab;
        case VAL_ENTER_VKEY: *text = QStringLiteral("\r"); return Qt::Key_Return;
        case VAL_BACKSPACE_VKEY: return Qt::Key_Backspace;
        case VAL_INSERT_VKEY: return Qt::Key_Insert;
        case VAL_DELETE_VKEY: return Qt::Key_Delete;
        case VAL_HOME_VKEY: return Qt::Key_Home;
        case VAL_END_VKEY: return Qt::Key_End;
        case VAL_PAGE_UP_VKEY: return Qt::Key_PageUp;
        case VAL_PAGE_DOWN_VKEY: return Qt::Key_PageDown;
        case VAL_UP_ARROW_VKEY: return Qt::Key_Up;
        case VAL_DOWN_ARROW_VKEY: return Qt::Key_Down;
        case VAL_LEFT_ARROW_VKEY: return Qt::Key_Left;
        case VAL_RIGHT_ARROW_VKEY: return Qt::Key_Right;
        default: return 0;
    }
}

// The widget a key goes to: the control's own widget, which holds the focus (a numeric field
// passes keys on to its editor itself).
QWidget* keyTarget(Control* c) { return c->widget; }

void pressEnter(Control* c) {
    QWidget* w = keyTarget(c);
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, QStringLiteral("\r"));
    QApplication::sendEvent(w, &press);
    QKeyEvent release(QEvent::KeyRelease, Qt::Key_Return, Qt::NoModifier, QStringLiteral("\r"));
    QApplication::sendEvent(w, &release);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
int UiTest_Start() {
    if (!runtime()) {
        if (!std::getenv("QT_QPA_PLATFORM")) ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
        static char name[] = "uitest";
        static char* argv[] = {name, nullptr};
        if (!InitKestrelRTEEx(0, argv, 0)) return UIEDisplayUnavailable;
    }
    if (!onGuiThread()) return UIENotOnGuiThread;
    installHooks();
    return 0;
}

void UiTest_Reset() {
    Runtime* rt = runtime();
    if (!rt) return;
    std::vector<int> tops;
    for (auto& [h, p] : rt->panels)
        if (p->parent == 0) tops.push_back(h);
    for (int h : tops) DiscardPanel(h);
    std::vector<int> bars;
    for (auto& [h, mb] : rt->menuBars) bars.push_back(h);
    for (int h : bars) DiscardMenuBar(h);
    UiTest_RunDeferredCalls();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    rt->popupStack.clear();
    rt->mainCallback = nullptr;
    rt->mainCallbackData = nullptr;
    rt->test.projectDir.clear();
    rt->test.loopTimeoutMs = 5000;
    rt->sleepPolicy = VAL_SLEEP_SOME;
    rt->appTitle.clear();
    if (rt->waitCursor) SetWaitCursor(0);
    Driver& d = driver();
    d.answers.clear();
    d.popupScripts.clear();
    d.loopSteps.clear();
    d.popups.clear();
    d.failures.clear();
    d.unanswered.clear();
    for (int& m : d.mouse) m = 0;
    d.buttonSequence.clear();
    d.mouseReadings = 0;
    installHooks();
}

const std::vector<std::string>& UiTest_Failures() { return driver().failures; }

void UiTest_SetFailureHandler(std::function<void(const std::string&)> handler) {
    driver().handler = std::move(handler);
}

// ---------------------------------------------------------------------------------------------
int UiTest_Commit(int panel, int control) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    if (!c) return UIEInvalidControl;
    switch (c->style) {
        case CTRL_COMMAND_BUTTON:
        case CTRL_TOGGLE_BUTTON:
        case CTRL_CHECK_BOX:
        case CTRL_ROUND_RADIO_BUTTON: static_cast<ButtonControl*>(c)->userPress(); break;
        case CTRL_NUMERIC:
        case CTRL_STRING: pressEnter(c); break;
        case CTRL_RING: {
            auto* r = static_cast<RingControl*>(c);
            if (r->count() == 0) return UIEIndexOutOfRange;
            r->userSelect(r->index());
            break;
        }
        case CTRL_LIST: {
            auto* l = static_cast<ListBoxControl*>(c);
            if (l->count() == 0) return UIEIndexOutOfRange;
            l->userCommit();
            break;
        }
        case CTRL_TABLE: {
            QTableView* v = c->asTable()->view();
            QModelIndex current = v->currentIndex();
            if (!current.isValid()) return UIEIndexOutOfRange;
            emit v->activated(current);
            break;
        }
        default: return UIEInvalidControlType;
    }
    settle();
    return 0;
}

int UiTest_SetValue(int panel, int control, UiValue value) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    if (!c) return UIEInvalidControl;
    if (c->mode == VAL_INDICATOR) return UIEControlDimmed;
    switch (c->style) {
        case CTRL_NUMERIC: {
            auto* e = static_cast<NumericControl*>(c)->edit();
            Value v;
            if (int rc = toValueOfType(value, e->dataType, &v)) return rc;
            QLineEdit* le = e->findChild<QLineEdit*>();
            {
                Quiet q;
                le->setText(e->text(v));
                le->setModified(true);
            }
            pressEnter(c);
            break;
        }
        case CTRL_STRING: {
            std::string s;
            if (int rc = toText(value, &s)) return rc;
            auto* le = static_cast<StringControl*>(c)->edit();
            {
                Quiet q;
                le->setText(QString::fromStdString(s));
            }
            dispatchControlEvent(panel, control, EVENT_VAL_CHANGED, 0, 0);
            if (lookupControl(panel, control, &c) == 0) pressEnter(c);
            break;
        }
        case CTRL_TEXT_BOX: {
            std::string s;
            if (int rc = toText(value, &s)) return rc;
            static_cast<TextBoxControl*>(c)->reset(s);
            dispatchControlEvent(panel, control, EVENT_VAL_CHANGED, 0, 0);
            break;
        }
        case CTRL_TOGGLE_BUTTON:
        case CTRL_CHECK_BOX:
        case CTRL_ROUND_RADIO_BUTTON: {
            long long n = 0;
            if (int rc = toInteger(value, &n)) return rc;
            auto* b = static_cast<ButtonControl*>(c);
            if (b->button()->isChecked() != (n != 0)) b->userPress();
            break;
        }
        case CTRL_RING:
        case CTRL_LIST: {
            ListControl* l = c->asList();
            Value v;
            if (int rc = toValueOfType(value, l->dataType, &v)) return rc;
            for (int k = 0; k < l->count(); ++k)
                if (l->items[k].value == v) return UiTest_SelectIndex(panel, control, k);
            return UIEValueNotInList;
        }
        default: return UIEInvalidControlType;
    }
    settle();
    return 0;
}

int UiTest_SelectIndex(int panel, int control, int index) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    if (!c) return UIEInvalidControl;
    if (TableControl* t = c->asTable()) {
        if (index < 0 || index >= t->rows) return UIEIndexOutOfRange;
        t->userSelect(index, false);
        settle();
        return 0;
    }
    ListControl* l = c->asList();
    if (!l) return UIEInvalidControlType;
    if (index < 0 || index >= l->count()) return UIEIndexOutOfRange;
    if (c->style == CTRL_RING) static_cast<RingControl*>(c)->userSelect(index);
    else static_cast<ListBoxControl*>(c)->userSelect(index);
    settle();
    return 0;
}

static int tableOf(int panel, int control, TableControl** out) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    if (!c) return UIEInvalidControl;
    if (!c->asTable()) return UIEInvalidControlType;
    *out = c->asTable();
    return 0;
}

int UiTest_SelectMoreRows(int panel, int control, int row) {
    TableControl* t = nullptr;
    if (int rc = tableOf(panel, control, &t)) return rc;
    if (row < 0 || row >= t->rows) return UIEIndexOutOfRange;
    t->userSelect(row, true);
    settle();
    return 0;
}

int UiTest_ScrollTable(int panel, int control, int firstRow) {
    TableControl* t = nullptr;
    if (int rc = tableOf(panel, control, &t)) return rc;
    if (firstRow < 0 || firstRow >= std::max(t->rows, 1)) return UIEIndexOutOfRange;
    settle();
    t->userScroll(firstRow);
    settle();
    return 0;
}

int UiTest_ToggleCheck(int panel, int control, int index) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    if (!c) return UIEInvalidControl;
    if (c->style != CTRL_LIST) return UIEInvalidControlType;
    auto* l = static_cast<ListBoxControl*>(c);
    if (index < 0 || index >= l->count()) return UIEIndexOutOfRange;
    if (!l->checkMode) return UIEInvalidAttribute;
    l->userToggleCheck(index);
    settle();
    return 0;
}

static int mouseAction(int panel, int control, int x, int y, bool twice, Qt::MouseButton button) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    Panel* p = findPanel(panel);
    QPoint local;
    QWidget* w = targetAt(c, p, x, y, &local);
    QPointer<QWidget> guard(w);
    sendMouse(w, QEvent::MouseButtonPress, local, button, button);
    if (guard) sendMouse(w, QEvent::MouseButtonRelease, local, button, Qt::NoButton);
    if (twice) {
        if (guard) sendMouse(w, QEvent::MouseButtonDblClick, local, button, button);
        if (guard) sendMouse(w, QEvent::MouseButtonRelease, local, button, Qt::NoButton);
    }
    settle();
    return 0;
}

int UiTest_Click(int panel, int control, int x, int y) {
    return mouseAction(panel, control, x, y, false, Qt::LeftButton);
}

int UiTest_DoubleClick(int panel, int control, int x, int y) {
    return mouseAction(panel, control, x, y, true, Qt::LeftButton);
}

int UiTest_RightClick(int panel, int control, int x, int y) {
    return mouseAction(panel, control, x, y, false, Qt::RightButton);
}

int UiTest_Drag(int panel, int control, int x0, int y0, int x1, int y1) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    Panel* p = findPanel(panel);
    QPoint local;
    QWidget* w = targetAt(c, p, x0, y0, &local);
    QPointer<QWidget> guard(w);
    QPoint end = local + QPoint(x1 - x0, y1 - y0);
    sendMouse(w, QEvent::MouseButtonPress, local, Qt::LeftButton, Qt::LeftButton);
    const int steps = 4;
    for (int k = 1; k <= steps && guard; ++k)
        sendMouse(w, QEvent::MouseMove, local + (end - local) * k / steps, Qt::NoButton, Qt::LeftButton);
    if (guard) sendMouse(w, QEvent::MouseButtonRelease, end, Qt::LeftButton, Qt::NoButton);
    settle();
    return 0;
}

static int buttonAction(int panel, int control, int x, int y, QEvent::Type type) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    QPoint local;
    QWidget* w = targetAt(c, findPanel(panel), x, y, &local);
    bool down = type == QEvent::MouseButtonPress;
    sendMouse(w, type, local, Qt::LeftButton, down ? Qt::LeftButton : Qt::NoButton);
    settle();
    return 0;
}

int UiTest_MouseDown(int panel, int control, int x, int y) {
    return buttonAction(panel, control, x, y, QEvent::MouseButtonPress);
}

int UiTest_MouseUp(int panel, int control, int x, int y) {
    return buttonAction(panel, control, x, y, QEvent::MouseButtonRelease);
}

int UiTest_Wheel(int panel, int control, int x, int y, int notches) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    QPoint local;
    QWidget* w = targetAt(c, findPanel(panel), x, y, &local);
    QWheelEvent ev(QPointF(local), QPointF(w->mapToGlobal(local)), QPoint(), QPoint(0, 120 * notches),
                   Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(w, &ev);
    settle();
    return 0;
}

int UiTest_KeyPress(int panel, int control, int keyCode) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    QString text;
    Qt::KeyboardModifiers mods;
    int key = keyOf(keyCode, &text, &mods);
    if (key == 0) return UIEInvalidAttributeValue;
    QWidget* w = c ? keyTarget(c) : static_cast<QWidget*>(findPanel(panel)->window);
    QPointer<QWidget> guard(w);
    QKeyEvent press(QEvent::KeyPress, key, mods, text);
    QApplication::sendEvent(w, &press);
    if (guard) {
        QKeyEvent release(QEvent::KeyRelease, key, mods, text);
        QApplication::sendEvent(w, &release);
    }
    settle();
    return 0;
}

int UiTest_KeyPressInWindow(int panel, int control, int keyCode) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    QString text;
    Qt::KeyboardModifiers mods;
    int key = keyOf(keyCode, &text, &mods);
    if (key == 0) return UIEInvalidAttributeValue;
    QWidget* w = c ? keyTarget(c) : static_cast<QWidget*>(findPanel(panel)->window);
    // Shortcuts answer only in the active window.
    QWidget* top = w->window();
    top->activateWindow();
    QCoreApplication::sendPostedEvents();
    // Without a window manager (offscreen) activation is only asked for; grant it.
    if (QApplication::activeWindow() != top) QApplication::setActiveWindow(top);
    if (QApplication::activeWindow() != top) return UIEDisplayUnavailable;
    // A button's shortcut: Qt would show the button pressed and click it a moment later, from
    // the event loop; clicking it now spares the test a wait and a repaint.
    const QKeySequence sequence(QKeyCombination(mods, static_cast<Qt::Key>(key)));
    QAbstractButton* taker = nullptr;
    int takers = 0;
    for (QAbstractButton* b : top->findChildren<QAbstractButton*>())
        if (b->isVisible() && b->isEnabled() && b->shortcut() == sequence) {
            taker = b;
            ++takers;
        }
    if (takers == 1) {
        taker->click();
        settle();
        return 0;
    }
    // Other shortcuts (menu items) act at once.
    if (takers == 0 && qt_sendShortcutOverrideEvent(w, 0, key, mods, text)) {
        settle();
        return 0;
    }
    return UiTest_KeyPress(panel, control, keyCode);
}

int UiTest_Focus(int panel, int control) {
    Control* c = nullptr;
    if (int rc = reachable(panel, control, &c)) return rc;
    if (!c) return UIEInvalidControl;
    // Focus events as the window system would give them: out of the old control, into the new.
    Panel* p = findPanel(panel);
    Control* old = p->control(p->activeControl);
    if (old == c && c->hasFocus) return 0;
    if (old && old->hasFocus) {
        QFocusEvent out(QEvent::FocusOut, Qt::TabFocusReason);
        QApplication::sendEvent(old->widget, &out);
    }
    if (lookupControl(panel, control, &c) != 0) return 0;
    QFocusEvent in(QEvent::FocusIn, Qt::TabFocusReason);
    QApplication::sendEvent(c->widget, &in);
    settle();
    return 0;
}

int UiTest_ClosePanel(int panel) {
    if (int rc = reachable(panel, 0, nullptr)) return rc;
    findPanel(panel)->window->close();
    settle();
    return 0;
}

int UiTest_ResizePanel(int panel, int height, int width) {
    if (int rc = reachable(panel, 0, nullptr)) return rc;
    if (height < 1 || width < 1 || height > 32767 || width > 32767) return UIEInvalidAttributeValue;
    Panel* p = findPanel(panel);
    if (!p->sizable) return UIEControlDimmed;
    p->window->resize(width, height);
    dispatchPanelEvent(panel, EVENT_PANEL_SIZE, 0, 0);
    settle();
    return 0;
}

int UiTest_ChooseMenuItem(int menuBar, int item) {
    MenuBar* mb = findMenuBar(menuBar);
    if (!mb) return UIEInvalidMenuBar;
    auto it = mb->entries.find(item);
    if (it == mb->entries.end() || it->second.isMenu || !it->second.action) return UIEInvalidMenuItem;
    if (mb->panel) {
        if (int rc = reachable(mb->panel, 0, nullptr)) return rc;
    }
    if (mb->dimmed || !it->second.action->isEnabled()) return UIEControlDimmed;
    // A dimmed menu above the item hides it from the user too.
    for (int m = it->second.parentMenu; m != 0;) {
        auto pm = mb->entries.find(m);
        if (pm == mb->entries.end()) break;
        if (pm->second.menu && !pm->second.menu->menuAction()->isEnabled()) return UIEControlDimmed;
        m = pm->second.parentMenu;
    }
    it->second.action->trigger();
    settle();
    return 0;
}

int UiTest_FireTimer(int panel, int control) {
    Control* c = nullptr;
    if (int rc = lookupControl(panel, control, &c)) return rc;
    if (!c->asTimer()) return UIEInvalidControlType;
    return c->asTimer()->tick();
}

int UiTest_TickTimers() {
    Runtime* rt = runtime();
    if (!rt) return UIENotInitialized;
    std::vector<std::pair<int, int>> timers;
    for (auto& [h, p] : rt->panels)
        for (auto& [id, c] : p->controls)
            if (c->asTimer() && c->asTimer()->enabled) timers.push_back({h, id});
    int n = 0;
    for (auto [h, id] : timers)
        if (UiTest_FireTimer(h, id) == 0) ++n;
    return n;
}

int UiTest_RunDeferredCalls() {
    if (!runtime()) return UIENotInitialized;
    int n = 0;
    runDeferredCalls(&n);
    return n;
}

// ---------------------------------------------------------------------------------------------
void UiTest_AnswerConfirm(int yes) { driver().answers.push_back({UITEST_CONFIRM, yes ? 1 : 0, {}}); }

void UiTest_AnswerFileSelect(int result, const char* path) {
    driver().answers.push_back({UITEST_FILE_SELECT, result, path ? path : ""});
}

void UiTest_AnswerPopupMenu(const char* itemName) {
    driver().answers.push_back({UITEST_POPUP_MENU, 0, itemName ? itemName : ""});
}

void UiTest_OnPopupPanel(std::function<void(int)> script) { driver().popupScripts.push_back(std::move(script)); }

void UiTest_OnLoop(std::function<void()> step) { driver().loopSteps.push_back(std::move(step)); }

void UiTest_SetLoopTimeout(int milliseconds) {
    if (runtime()) runtime()->test.loopTimeoutMs = milliseconds;
}

void UiTest_SetMouse(int panel, int x, int y, int leftButton, int rightButton, int keys) {
    int* m = driver().mouse;
    m[0] = panel, m[1] = x, m[2] = y, m[3] = leftButton, m[4] = rightButton, m[5] = keys;
}

void UiTest_SetMouseButtons(const std::vector<std::pair<int, int>>& buttons) {
    Driver& d = driver();
    d.buttonSequence.assign(buttons.begin(), buttons.end());
    d.mouseReadings = 0;
}

int UiTest_MouseReadings() { return driver().mouseReadings; }

void UiTest_SetProjectDir(const char* directory) {
    if (runtime()) runtime()->test.projectDir = directory ? directory : "";
}

void UiTest_SetRealTimers(int on) {
    Runtime* rt = runtime();
    if (!rt) return;
    rt->test.manualTimers = !on;
    for (auto& [h, p] : rt->panels)
        for (auto& [id, c] : p->controls)
            if (c->asTimer()) c->asTimer()->restart();
}

int UiTest_PendingAnswers() {
    Driver& d = driver();
    return static_cast<int>(d.answers.size() + d.popupScripts.size() + d.loopSteps.size());
}

const std::vector<UiTestPopup>& UiTest_Popups() { return driver().popups; }
void UiTest_ClearPopups() { driver().popups.clear(); }

// ---------------------------------------------------------------------------------------------
std::vector<int> UiTest_Panels() {
    std::vector<int> out;
    if (Runtime* rt = runtime())
        for (auto& [h, p] : rt->panels) out.push_back(h);
    return out;
}

int UiTest_FindPanel(const char* constantName) {
    Runtime* rt = runtime();
    if (!rt || !constantName) return UIEInvalidPanel;
    for (auto& [h, p] : rt->panels)
        if (p->constantName == constantName) return h;
    return UIEInvalidPanel;
}

int UiTest_FindControl(int panel, const char* constantName) {
    Panel* p = findPanel(panel);
    if (!p) return UIEInvalidPanel;
    if (!constantName) return UIEInvalidControl;
    for (auto& [id, c] : p->controls)
        if (c->constantName == constantName) return id;
    return UIEInvalidControl;
}

std::string UiTest_DisplayedText(int panel, int control) {
    Control* c = nullptr;
    if (lookupControl(panel, control, &c) != 0) return std::string();
    flushPendingText();
    QWidget* w = c->widget;
    if (auto* e = qobject_cast<NumericEdit*>(w)) return e->findChild<QLineEdit*>()->text().toStdString();
    if (auto* le = qobject_cast<QLineEdit*>(w)) return le->text().toStdString();
    if (auto* te = qobject_cast<QPlainTextEdit*>(w)) return te->toPlainText().toStdString();
    if (auto* cb = qobject_cast<QComboBox*>(w)) return cb->currentText().toStdString();
    if (auto* lw = qobject_cast<QListWidget*>(w)) return lw->currentItem() ? lw->currentItem()->text().toStdString() : std::string();
    if (TableControl* t = c->asTable()) {
        QModelIndex current = t->view()->currentIndex();
        std::string row;
        for (int k = 0; current.isValid() && k < static_cast<int>(t->columns.size()); ++k)
            row += (k ? "\t" : "") + UiTest_TableCellText(panel, control, current.row(), k);
        return row;
    }
    if (auto* b = qobject_cast<QAbstractButton*>(w)) return b->text().toStdString();
    if (auto* l = qobject_cast<QLabel*>(w)) return l->text().toStdString();
    return std::string();
}

std::string UiTest_TableCellText(int panel, int control, int row, int column) {
    Control* c = nullptr;
    if (lookupControl(panel, control, &c) != 0 || !c->asTable()) return std::string();
    QAbstractItemModel* m = c->asTable()->view()->model();
    return m->data(m->index(row, column), Qt::DisplayRole).toString().toStdString();
}

int UiTest_IsShown(int panel, int control) {
    Panel* p = findPanel(panel);
    if (!p) return UIEInvalidPanel;
    Control* c = nullptr;
    if (control != 0 && lookupControl(panel, control, &c) != 0) return UIEInvalidControl;
    for (Panel* q = p; q; q = findPanel(q->parent))
        if (q->window->isHidden()) return 0;
    if (c && (c->widget->isHidden() || c->style == CTRL_TIMER)) return 0;
    return 1;
}

int UiTest_Grab(int panel, const char* pngPath) {
    Panel* p = findPanel(panel);
    if (!p) return UIEInvalidPanel;
    if (!pngPath) return UIENullPointer;
    flushPendingText();
    return p->window->grab().save(QString::fromUtf8(pngPath), "PNG") ? 0 : UIEIOFailure;
}

int UiTest_PixelAt(int panel, int x, int y, int* rgb) {
    Panel* p = findPanel(panel);
    if (!p) return UIEInvalidPanel;
    if (!rgb) return UIENullPointer;
    flushPendingText();
    QImage img = p->content->grab().toImage();
    if (!img.rect().contains(x, y)) return UIEInvalidAttributeValue;
    *rgb = static_cast<int>(img.pixel(x, y) & 0xFFFFFF);
    return 0;
}

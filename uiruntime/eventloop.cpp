// The event loop, drawing, the wait cursor, the sleep policy, the mouse and system attributes.
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QThread>
#include <QtGui/QCursor>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QApplication>

#include "uiruntime/core.h"
#include "uiruntime/userint.h"

namespace uir {

int processSystemEventsOnce() {
    Runtime* rt = runtime();
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    runDeferredCalls(nullptr);
    rt = runtime();
    if (rt && rt->test.active && !rt->popupStack.empty()) {
        // A popup the program waits on: the test driver answers it like a user.
        int top = rt->popupStack.back();
        Panel* p = findPanel(top);
        if (p && rt->test.popupPanel) rt->test.popupPanel(top);
    }
    return 0;
}

namespace {

int modifiersOf(Qt::KeyboardModifiers m) {
    int keys = 0;
    if (m & Qt::ShiftModifier) keys |= VAL_SHIFT_MODIFIER;
    if (m & Qt::ControlModifier) keys |= VAL_MENUKEY_MODIFIER;
    if (m & Qt::AltModifier) keys |= VAL_ALT_MODIFIER;
    return keys;
}

PanelWindow* panelWindowAt(QPoint global) {
    QWidget* w = QApplication::widgetAt(global);
    while (w) {
        if (auto* pw = qobject_cast<PanelWindow*>(w)) return pw;
        w = w->parentWidget();
    }
    return nullptr;
}

}  // namespace

}  // namespace uir

using namespace uir;

int RunUserInterface() {
    return guarded("RunUserInterface", [&] {
        Runtime* rt = runtime();
        Runtime::Loop loop;
        rt->loops.push_back(&loop);
        if (rt->test.active) {
            QElapsedTimer idle;
            idle.start();
            while (!loop.quit) {
                if (rt->test.loopStep && rt->test.loopStep()) {
                    idle.restart();
                    continue;
                }
                processSystemEventsOnce();
                if (loop.quit) break;
                if (idle.elapsed() > rt->test.loopTimeoutMs) {
                    if (rt->test.failure)
                        rt->test.failure("RunUserInterface was never ended: nothing scripted called QuitUserInterface");
                    loop.code = -1;
                    break;
                }
                QThread::msleep(2);
            }
        } else {
            QEventLoop ql;
            loop.loop = &ql;
            if (!loop.quit) ql.exec();
        }
        rt->loops.pop_back();
        return loop.code;
    });
}

int QuitUserInterface(int returnCode) {
    return guarded("QuitUserInterface", [&] {
        Runtime* rt = runtime();
        if (rt->loops.empty()) return 0;
        Runtime::Loop* top = rt->loops.back();
        top->quit = true;
        top->code = returnCode;
        if (top->loop) top->loop->exit(returnCode);
        return 0;
    });
}

int ProcessDrawEvents() {
    return guarded("ProcessDrawEvents", [&] {
        // Only drawing: no user input, timers or deferred calls are handled here.
        flushPendingText();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
        return 0;
    });
}

int ProcessSystemEvents() {
    return guarded("ProcessSystemEvents", [&] { return processSystemEventsOnce(); });
}

int SetWaitCursor(int on) {
    return guarded("SetWaitCursor", [&] {
        Runtime* rt = runtime();
        if (on && !rt->waitCursor) QApplication::setOverrideCursor(Qt::WaitCursor);
        if (!on && rt->waitCursor) QApplication::restoreOverrideCursor();
        rt->waitCursor = on != 0;
        return 0;
    });
}

int GetWaitCursorState() {
    return guarded("GetWaitCursorState", [&] { return runtime()->waitCursor ? 1 : 0; });
}

int SetSleepPolicy(int policy) {
    return guarded("SetSleepPolicy", [&] {
        if (policy < VAL_SLEEP_NONE || policy > VAL_SLEEP_MORE) return UIEInvalidAttributeValue;
        runtime()->sleepPolicy = policy;
        return 0;
    });
}

int GetSleepPolicy() {
    return guarded("GetSleepPolicy", [&] { return runtime()->sleepPolicy; });
}

namespace {

// What the mouse reports: a position, the buttons and the modifier keys.
struct MouseReading {
    int panel = 0, x = 0, y = 0, left = 0, right = 0, keys = 0;

    void readButtonsAndKeys() {
        Qt::MouseButtons b = QGuiApplication::mouseButtons();
        left = (b & Qt::LeftButton) != 0;
        right = (b & Qt::RightButton) != 0;
        keys = modifiersOf(QGuiApplication::keyboardModifiers());
    }
    void readScripted(Runtime* rt) { rt->test.mouse(&panel, &x, &y, &left, &right, &keys); }
    void store(int* outX, int* outY, int* outLeft, int* outRight, int* outKeys) const {
        if (outX) *outX = x;
        if (outY) *outY = y;
        if (outLeft) *outLeft = left;
        if (outRight) *outRight = right;
        if (outKeys) *outKeys = keys;
    }
};

}  // namespace

int GetGlobalMouseState(int* panel, int* x, int* y, int* leftButton, int* rightButton, int* keys) {
    return guarded("GetGlobalMouseState", [&] {
        Runtime* rt = runtime();
        MouseReading m;
        if (rt->test.active && rt->test.mouse) {
            m.readScripted(rt);
        } else {
            QPoint g = QCursor::pos();
            m.x = g.x();
            m.y = g.y();
            if (PanelWindow* pw = panelWindowAt(g)) {
                m.panel = pw->handle();
                QPoint local = pw->content()->mapFromGlobal(g);
                m.x = local.x();
                m.y = local.y();
            }
            m.readButtonsAndKeys();
        }
        if (panel) *panel = m.panel;
        m.store(x, y, leftButton, rightButton, keys);
        return 0;
    });
}

int GetRelativeMouseState(int panel, int control, int* x, int* y, int* leftButton, int* rightButton,
                          int* keys) {
    return guarded("GetRelativeMouseState", [&] {
        Runtime* rt = runtime();
        Panel* p = findPanel(panel);
        if (!p) return UIEInvalidPanel;
        Control* c = nullptr;
        if (control != 0)
            if (int rc = lookupControl(panel, control, &c)) return rc;
        MouseReading m;
        if (rt->test.active && rt->test.mouse) {
            m.readScripted(rt);
            if (m.panel != panel) {
                // The scripted position is relative to another panel: take it through the screen.
                if (Panel* other = findPanel(m.panel)) {
                    QPoint g = other->content->mapToGlobal(QPoint(m.x, m.y));
                    QPoint local = p->content->mapFromGlobal(g);
                    m.x = local.x();
                    m.y = local.y();
                }
            }
            if (c) {
                m.x -= c->widget->x();
                m.y -= c->widget->y();
            }
        } else {
            QPoint local = (c ? c->widget : p->content)->mapFromGlobal(QCursor::pos());
            m.x = local.x();
            m.y = local.y();
            m.readButtonsAndKeys();
        }
        m.store(x, y, leftButton, rightButton, keys);
        return 0;
    });
}

int SetSystemAttribute(int attribute, UiValue value) {
    return guarded("SetSystemAttribute", [&] {
        if (attribute != ATTR_TASKBAR_BUTTON_TEXT) return UIEInvalidAttribute;
        std::string s;
        if (int rc = toText(value, &s)) return rc;
        runtime()->appTitle = s;
        return 0;
    });
}

int GetSystemAttribute(int attribute, UiOut value) {
    return guarded("GetSystemAttribute", [&] {
        if (attribute != ATTR_TASKBAR_BUTTON_TEXT) return UIEInvalidAttribute;
        return storeValue(Value::text(runtime()->appTitle), value);
    });
}

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

int GetGlobalMouseState(int* panel, int* x, int* y, int* leftButton, int* rightButton, int* keys) {
    return guarded("GetGlobalMouseState", [&] {
        Runtime* rt = runtime();
        int pnl = 0, px = 0, py = 0, l = 0, r = 0, k = 0;
        if (rt->test.active && rt->test.mouse) {
            rt->test.mouse(&pnl, &px, &py, &l, &r, &k);
        } else {
            QPoint g = QCursor::pos();
            px = g.x();
            py = g.y();
            if (PanelWindow* pw = panelWindowAt(g)) {
                pnl = pw->handle();
                QPoint local = pw->content()->mapFromGlobal(g);
                px = local.x();
                py = local.y();
            }
            Qt::MouseButtons b = QGuiApplication::mouseButtons();
            l = (b & Qt::LeftButton) != 0;
            r = (b & Qt::RightButton) != 0;
            k = modifiersOf(QGuiApplication::keyboardModifiers());
        }
        if (panel) *panel = pnl;
        if (x) *x = px;
        if (y) *y = py;
        if (leftButton) *leftButton = l;
        if (rightButton) *rightButton = r;
        if (keys) *keys = k;
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
        int px = 0, py = 0, l = 0, r = 0, k = 0;
        if (rt->test.active && rt->test.mouse) {
            int pnl = 0;
            rt->test.mouse(&pnl, &px, &py, &l, &r, &k);
            if (pnl != panel) {
                // The scripted position is relative to another panel: take it through the screen.
                if (Panel* other = findPanel(pnl)) {
                    QPoint g = other->content->mapToGlobal(QPoint(px, py));
                    QPoint local = p->content->mapFromGlobal(g);
                    px = local.x();
                    py = local.y();
                }
            }
            if (c) {
                px -= c->widget->x();
                py -= c->widget->y();
            }
        } else {
            QPoint g = QCursor::pos();
            QPoint local = (c ? c->widget : p->content)->mapFromGlobal(g);
            px = local.x();
            py = local.y();
            Qt::MouseButtons b = QGuiApplication::mouseButtons();
            l = (b & Qt::LeftButton) != 0;
            r = (b & Qt::RightButton) != 0;
            k = modifiersOf(QGuiApplication::keyboardModifiers());
        }
        if (x) *x = px;
        if (y) *y = py;
        if (leftButton) *leftButton = l;
        if (rightButton) *rightButton = r;
        if (keys) *keys = k;
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

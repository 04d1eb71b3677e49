// Start and end of the runtime, the callback registry, event routing and dispatch, thread ids
// and the deferred-call queue.
#include <QtCore/QCoreApplication>
#include <QtCore/QMetaObject>
#include <QtGui/QFontDatabase>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QStyleFactory>

#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>

#include "toolslib/toolbox/diagnostics.h"
#include "uiruntime/core.h"
#include "uiruntime/dispatcher.h"
#include "uiruntime/syshelp.h"
#include "uiruntime/uiscan.h"
#include "uiruntime/userint.h"
#include "uiruntime/utility.h"

namespace uir {

namespace {

Runtime* g_runtime = nullptr;
std::atomic<int> g_breakOnLibraryErrors{0};
std::atomic<int> g_threadCounter{0};
thread_local int t_threadId = 0;
thread_local std::string t_lastLoadError;

struct DeferredQueue {
    std::mutex mutex;
    std::deque<std::function<void()>> calls;
    bool wakePending = false;
    Dispatcher* target = nullptr;
};

DeferredQueue& deferredQueue() {
    static DeferredQueue* q = new DeferredQueue;  // outlives every thread that may post
    return *q;
}

int boleGet() { return g_breakOnLibraryErrors.load(); }
void boleSet(int on) { g_breakOnLibraryErrors.store(on != 0); }
const BreakOnLibraryErrorsHooks kBoleHooks = {boleGet, boleSet};


// True when the environment names a display that can plausibly be opened.
bool displayAvailable() {
    const char* qpa = std::getenv("QT_QPA_PLATFORM");
    if (qpa && *qpa && std::strncmp(qpa, "xcb", 3) != 0 && std::strncmp(qpa, "wayland", 7) != 0)
        return true;  // offscreen, minimal, vnc and the like need no display
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    if (wayland && *wayland && (!qpa || std::strncmp(qpa, "wayland", 7) == 0)) return true;
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) return false;
    if (display[0] == ':') {
        // A local display: its socket must exist, else Qt would abort the process.
        int number = std::atoi(display + 1);
        char socketPath[64];
        std::snprintf(socketPath, sizeof socketPath, "/tmp/.X11-unix/X%d", number);
        struct stat st;
        return ::stat(socketPath, &st) == 0;
    }
    return true;
}

void registerStandardFonts(Runtime* rt) {
    QFont dialog(QStringLiteral("DejaVu Sans"), 9);
    QFont editor(QStringLiteral("DejaVu Sans Mono"), 9);
    editor.setStyleHint(QFont::Monospace);
    rt->fonts[VAL_DIALOG_META_FONT] = dialog;
    rt->fonts[VAL_APP_META_FONT] = dialog;
    rt->fonts[VAL_EDITOR_META_FONT] = editor;
}

}  // namespace

Runtime* runtime() { return g_runtime; }

void reportAssert(const char* text) {
    std::fputs(text, stderr);
    std::fputc('\n', stderr);
    if (runtime() && onGuiThread()) MessagePopup("Assert", text);
}

bool onGuiThread() { return g_runtime && CurrThreadId() == g_runtime->guiThread; }

void setLastLoadError(const std::string& text) { t_lastLoadError = text; }

Panel* findPanel(int handle) {
    if (!g_runtime) return nullptr;
    auto it = g_runtime->panels.find(handle);
    return it == g_runtime->panels.end() ? nullptr : it->second.get();
}

int lookupControl(int panel, int control, Control** out) {
    Panel* p = findPanel(panel);
    if (!p) return UIEInvalidPanel;
    Control* c = p->control(control);
    if (!c) return UIEInvalidControl;
    *out = c;
    return 0;
}

MenuBar* findMenuBar(int handle) {
    if (!g_runtime) return nullptr;
    auto it = g_runtime->menuBars.find(handle);
    return it == g_runtime->menuBars.end() ? nullptr : it->second.get();
}

std::map<std::string, CallbackSlot>& callbackRegistry() {
    static std::map<std::string, CallbackSlot> registry;
    return registry;
}

int report(const char* function, int rc) {
    if (rc < 0 && g_breakOnLibraryErrors.load())
        std::fprintf(stderr, "uiruntime: %s failed with %d: %s\n", function, rc, GetUILErrorString(rc));
    return rc;
}

// ---------------------------------------------------------------------------------------------
// Dispatch
// ---------------------------------------------------------------------------------------------
int dispatchControlEvent(int panel, int control, int event, int data1, int data2) {
    Runtime* rt = g_runtime;
    if (!rt) return 1;
    Panel* p = findPanel(panel);
    if (!p || p->discarding) return 1;
    if (rt->mainCallback &&
        rt->mainCallback(panel, control, event, rt->mainCallbackData, data1, data2) != 0)
        return 1;
    Control* c = nullptr;
    if (lookupControl(panel, control, &c) < 0) return 1;  // the main callback discarded it
    if (c->callback) return c->callback(panel, control, event, c->callbackData, data1, data2) != 0;
    return 0;
}

int dispatchPanelEvent(int panel, int event, int data1, int data2) {
    Runtime* rt = g_runtime;
    if (!rt) return 1;
    Panel* p = findPanel(panel);
    if (!p || p->discarding) return 1;
    if (rt->mainCallback && rt->mainCallback(panel, 0, event, rt->mainCallbackData, data1, data2) != 0)
        return 1;
    p = findPanel(panel);
    if (!p || p->discarding) return 1;
    if (p->callback) return p->callback(panel, event, p->callbackData, data1, data2) != 0;
    return 0;
}

// A key goes to the main callback, the control's callback and then the panel's callback.
static int dispatchKey(int panel, int control, int code) {
    if (dispatchControlEvent(panel, control, EVENT_KEYPRESS, code, 0)) return 1;
    Panel* p = findPanel(panel);
    if (!p || p->discarding) return 1;
    if (p->callback) return p->callback(panel, EVENT_KEYPRESS, p->callbackData, code, 0) != 0;
    return 0;
}

void dispatchChangeAndCommit(int panel, int control) {
    if (dispatchControlEvent(panel, control, EVENT_VAL_CHANGED, 0, 0)) return;
    Control* c = nullptr;
    if (lookupControl(panel, control, &c) < 0) return;
    dispatchControlEvent(panel, control, EVENT_COMMIT, 0, 0);
}

void dispatchMenuItem(int menuBar, int item) {
    MenuBar* mb = findMenuBar(menuBar);
    if (!mb) return;
    auto it = mb->entries.find(item);
    if (it == mb->entries.end() || !it->second.callback) return;
    MenuCallbackPtr cb = it->second.callback;
    void* data = it->second.callbackData;
    cb(menuBar, item, data, mb->panel);
}

QPoint panelPoint(const Panel* p, QWidget* w, QPoint local) {
    if (!p || !p->content || !w) return local;
    if (w == p->content || p->content->isAncestorOf(w)) return w->mapTo(p->content, local);
    return local;
}

int keyCodeOf(const QKeyEvent* e) {
    int code = 0;
    switch (e->key()) {
        case Qt::Key_Escape: code = VAL_ESC_VKEY; break;
        case Qt::Key_Tab:
        case Qt::Key_Backtab: code = VAL_TAB_VKEY; break;
        case Qt::Key_Return:
        case Qt::Key_Enter: code = VAL_ENTER_VKEY; break;
        case Qt::Key_Backspace: code = VAL_BACKSPACE_VKEY; break;
        case Qt::Key_Insert: code = VAL_INSERT_VKEY; break;
        case Qt::Key_Delete: code = VAL_DELETE_VKEY; break;
        case Qt::Key_Home: code = VAL_HOME_VKEY; break;
        case Qt::Key_End: code = VAL_END_VKEY; break;
        case Qt::Key_PageUp: code = VAL_PAGE_UP_VKEY; break;
        case Qt::Key_PageDown: code = VAL_PAGE_DOWN_VKEY; break;
        case Qt::Key_Up: code = VAL_UP_ARROW_VKEY; break;
        case Qt::Key_Down: code = VAL_DOWN_ARROW_VKEY; break;
        case Qt::Key_Left: code = VAL_LEFT_ARROW_VKEY; break;
        case Qt::Key_Right: code = VAL_RIGHT_ARROW_VKEY; break;
        default:
            if (e->key() >= Qt::Key_F1 && e->key() <= Qt::Key_F12) {
                code = VAL_F1_VKEY + (e->key() - Qt::Key_F1) * 0x100;
            } else {
                QString t = e->text();
                if (t.size() == 1 && t[0].unicode() >= 0x20 && t[0].unicode() < 0x7F)
                    code = t[0].unicode();
                else if (e->key() >= 0x20 && e->key() < 0x7F)
                    code = (e->modifiers() & Qt::ShiftModifier) ? e->key() : QChar(e->key()).toLower().unicode();
            }
    }
    if (code == 0) return 0;
    if (e->modifiers() & Qt::ShiftModifier) code |= VAL_SHIFT_MODIFIER;
    if (e->modifiers() & Qt::ControlModifier) code |= VAL_MENUKEY_MODIFIER;
    if (e->modifiers() & Qt::AltModifier) code |= VAL_ALT_MODIFIER;
    return code;
}

void routeEvents(Control* c) {
    Runtime* rt = g_runtime;
    for (QWidget* w : c->eventWidgets()) {
        if (!w) continue;
        rt->widgetOwner.insert(w, {c->panel->handle, c->id});
        c->routed.push_back(w);
        w->installEventFilter(rt->dispatcher);
        w->setContextMenuPolicy(Qt::PreventContextMenu);
    }
}

void forgetWidgets(Control* c) {
    Runtime* rt = g_runtime;
    if (!rt) return;
    for (QObject* w : c->routed) rt->widgetOwner.remove(w);
    c->routed.clear();
}

QColor rgbColor(int rgb) { return QColor((rgb >> 16) & 0xFF, (rgb >> 8) & 0xFF, rgb & 0xFF); }
int rgbOf(const QColor& c) { return (c.red() << 16) | (c.green() << 8) | c.blue(); }

QFont fontByName(const std::string& name, bool* known) {
    Runtime* rt = g_runtime;
    auto it = rt->fonts.find(name);
    if (it != rt->fonts.end()) {
        if (known) *known = true;
        return it->second;
    }
    if (known) *known = false;
    QFont f = rt->fonts[VAL_DIALOG_META_FONT];
    f.setFamily(QString::fromStdString(name));
    return f;
}

// ---------------------------------------------------------------------------------------------
// Deferred calls
// ---------------------------------------------------------------------------------------------
int postDeferred(std::function<void()> call) {
    DeferredQueue& q = deferredQueue();
    std::lock_guard<std::mutex> lock(q.mutex);
    if (!q.target) return UIENotInitialized;
    q.calls.push_back(std::move(call));
    if (!q.wakePending) {
        q.wakePending = true;
        QMetaObject::invokeMethod(q.target, "wake", Qt::QueuedConnection);
    }
    return 0;
}

int deferredPending() {
    DeferredQueue& q = deferredQueue();
    std::lock_guard<std::mutex> lock(q.mutex);
    return static_cast<int>(q.calls.size());
}

void runDeferredCalls(int* count) {
    std::deque<std::function<void()>> calls;
    {
        DeferredQueue& q = deferredQueue();
        std::lock_guard<std::mutex> lock(q.mutex);
        calls.swap(q.calls);
        q.wakePending = false;
    }
    int n = 0;
    for (auto& call : calls) {
        try {
            call();
        } catch (...) {
            report("deferred call", UIEIOFailure);
        }
        ++n;
    }
    if (count) *count = n;
}

Dispatcher::Dispatcher() : QObject(nullptr) {}

void Dispatcher::wake() { runDeferredCalls(nullptr); }

bool Dispatcher::eventFilter(QObject* obj, QEvent* ev) {
    Runtime* rt = g_runtime;
    if (!rt) return false;
    auto it = rt->widgetOwner.constFind(obj);
    if (it == rt->widgetOwner.constEnd()) return false;
    const int ph = it->first;
    const int cid = it->second;
    Control* c = nullptr;
    if (lookupControl(ph, cid, &c) < 0) return false;
    Panel* p = c->panel;
    QWidget* w = static_cast<QWidget*>(obj);
    const bool canvas = c->style == CTRL_CANVAS;
    // Controls without a mouse action of their own keep their clicks from the panel below.
    const bool passive = canvas || c->style == CTRL_TEXT_MSG || c->style == CTRL_PICTURE ||
                         c->style == CTRL_ROUND_LED || c->style == CTRL_SQUARE_LED ||
                         IsDecorationStyle(c->style);
    switch (ev->type()) {
        case QEvent::MouseButtonPress: {
            auto* me = static_cast<QMouseEvent*>(ev);
            QPoint pt = panelPoint(p, w, me->position().toPoint());
            if (me->button() == Qt::LeftButton) {
                if (canvas) w->setFocus(Qt::MouseFocusReason);
                return dispatchControlEvent(ph, cid, EVENT_LEFT_CLICK, pt.y(), pt.x()) != 0 || passive;
            }
            if (me->button() == Qt::RightButton) {
                dispatchControlEvent(ph, cid, EVENT_RIGHT_CLICK, pt.y(), pt.x());
                return true;  // a right click never selects or edits
            }
            return false;
        }
        case QEvent::MouseButtonDblClick: {
            auto* me = static_cast<QMouseEvent*>(ev);
            QPoint pt = panelPoint(p, w, me->position().toPoint());
            if (me->button() == Qt::LeftButton)
                return dispatchControlEvent(ph, cid, EVENT_LEFT_DOUBLE_CLICK, pt.y(), pt.x()) != 0 ||
                       passive;
            if (me->button() == Qt::RightButton) {
                dispatchControlEvent(ph, cid, EVENT_RIGHT_DOUBLE_CLICK, pt.y(), pt.x());
                return true;
            }
            return false;
        }
        case QEvent::MouseButtonRelease: {
            auto* me = static_cast<QMouseEvent*>(ev);
            if (canvas && me->button() == Qt::LeftButton) {
                QPoint pt = panelPoint(p, w, me->position().toPoint());
                return dispatchControlEvent(ph, cid, EVENT_LEFT_CLICK_UP, pt.y(), pt.x()) != 0 || passive;
            }
            return passive;
        }
        case QEvent::MouseMove: {
            auto* me = static_cast<QMouseEvent*>(ev);
            if (canvas && me->buttons() != Qt::NoButton) {
                QPoint pt = panelPoint(p, w, me->position().toPoint());
                return dispatchControlEvent(ph, cid, EVENT_MOUSE_POINTER_MOVE, pt.y(), pt.x()) != 0;
            }
            return false;
        }
        case QEvent::Wheel: {
            if (!canvas) return false;
            // Notches of 120 units; a fine-grained wheel gathers its small steps until one is full.
            int delta = static_cast<QWheelEvent*>(ev)->angleDelta().y() + w->property("uirWheelRest").toInt();
            int notches = delta / 120;
            w->setProperty("uirWheelRest", delta - notches * 120);
            if (notches == 0) return true;
            return dispatchControlEvent(ph, cid, EVENT_MOUSE_WHEEL_SCROLL, notches, 0) != 0 || passive;
        }
        case QEvent::KeyPress: {
            int code = keyCodeOf(static_cast<QKeyEvent*>(ev));
            if (code == 0) return false;
            return dispatchKey(ph, cid, code) != 0;
        }
        case QEvent::FocusIn: {
            if (c->hasFocus) return false;
            c->hasFocus = true;
            p->activeControl = cid;
            dispatchControlEvent(ph, cid, EVENT_GOT_FOCUS, 0, 0);
            return false;
        }
        case QEvent::FocusOut: {
            auto* fe = static_cast<QFocusEvent*>(ev);
            if (!c->hasFocus) return false;
            if (fe->reason() == Qt::ActiveWindowFocusReason || fe->reason() == Qt::PopupFocusReason)
                return false;
            QWidget* now = QApplication::focusWidget();
            if (now && c->widget && (now == c->widget || c->widget->isAncestorOf(now))) return false;
            c->hasFocus = false;
            dispatchControlEvent(ph, cid, EVENT_LOST_FOCUS, 0, 0);
            return false;
        }
        case QEvent::ContextMenu: return true;
        default: return false;
    }
}

}  // namespace uir

using namespace uir;

// ---------------------------------------------------------------------------------------------
// Public functions
// ---------------------------------------------------------------------------------------------
int CurrThreadId() {
    if (t_threadId == 0) t_threadId = ++g_threadCounter;
    return t_threadId;
}

int InitKestrelRTEEx(int, char** argv, int) {
    if (g_runtime) return 1;
    if (!QCoreApplication::instance() && !displayAvailable()) return 0;
    auto* rt = new (std::nothrow) Runtime;
    if (!rt) return 0;
    try {
        if (argv)
            for (char** a = argv; *a; ++a) rt->argStorage.emplace_back(*a);
        if (rt->argStorage.empty()) rt->argStorage.emplace_back("talmik");
        for (std::string& s : rt->argStorage) rt->argv.push_back(s.data());
        rt->argv.push_back(nullptr);
        rt->argc = static_cast<int>(rt->argStorage.size());
        if (QCoreApplication::instance()) {
            rt->app = qobject_cast<QApplication*>(QCoreApplication::instance());
            if (!rt->app) {
                delete rt;
                return 0;
            }
        } else {
            rt->app = new QApplication(rt->argc, rt->argv.data());
            rt->ownsApp = true;
        }
        rt->guiThread = CurrThreadId();
        if (QStyle* fusion = QStyleFactory::create(QStringLiteral("Fusion"))) QApplication::setStyle(fusion);
        registerStandardFonts(rt);
        QApplication::setFont(rt->fonts[VAL_DIALOG_META_FONT]);
        rt->dispatcher = new Dispatcher;
    } catch (...) {
        delete rt;
        return 0;
    }
    g_runtime = rt;
    {
        DeferredQueue& q = deferredQueue();
        std::lock_guard<std::mutex> lock(q.mutex);
        q.target = rt->dispatcher;
    }
    SetGeneralErrorStringFunction(GetUILErrorString);
    SetBreakOnLibraryErrorsHooks(&kBoleHooks);
    SetAssertReporter(reportAssert);
    return 1;
}

void CloseKestrelRTE() {
    Runtime* rt = g_runtime;
    if (!rt || !onGuiThread()) return;
    {
        DeferredQueue& q = deferredQueue();
        std::lock_guard<std::mutex> lock(q.mutex);
        q.target = nullptr;
        q.calls.clear();
        q.wakePending = false;
    }
    stopHelpViewer();
    std::vector<int> tops;
    for (auto& [h, p] : rt->panels)
        if (p->parent == 0) tops.push_back(h);
    for (int h : tops) discardPanel(h);
    std::vector<int> bars;
    for (auto& [h, mb] : rt->menuBars) bars.push_back(h);
    for (int h : bars) DiscardMenuBar(h);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (rt->waitCursor) QApplication::restoreOverrideCursor();
    delete rt->dispatcher;
    SetGeneralErrorStringFunction(nullptr);
    SetBreakOnLibraryErrorsHooks(nullptr);
    SetAssertReporter(nullptr);
    closeBundles();
    // Fonts and images go before the application that owns their caches.
    rt->fonts.clear();
    rt->bitmaps.clear();
    g_runtime = nullptr;
    if (rt->ownsApp) delete rt->app;
    delete rt;
}

const char* LoadPanelErrorDetail() { return t_lastLoadError.c_str(); }

int RegisterCallback(const UiCallbackEntry& e) {
    if (!e.name) return report("RegisterCallback", UIENullPointer);
    if (!isIdentifier(e.name)) return report("RegisterCallback", UIEUnknownCallback);
    void (*f)() = e.kind == UiCallbackEntry::Kind::Control ? reinterpret_cast<void (*)()>(e.ctrl)
                  : e.kind == UiCallbackEntry::Kind::Panel ? reinterpret_cast<void (*)()>(e.panel)
                                                           : reinterpret_cast<void (*)()>(e.menu);
    if (!f) return report("RegisterCallback", UIENullPointer);
    auto& reg = callbackRegistry();
    auto it = reg.find(e.name);
    if (it != reg.end()) {
        if (it->second.kind == e.kind && it->second.function == f) return 0;
        return report("RegisterCallback", UIEDuplicateCallbackName);
    }
    reg[e.name] = CallbackSlot{e.kind, f};
    return 0;
}

int RegisterCallbacks(const UiCallbackEntry* entries, int count) {
    if (!entries && count > 0) return report("RegisterCallbacks", UIENullPointer);
    for (int k = 0; k < count; ++k)
        if (int rc = RegisterCallback(entries[k]); rc < 0) return rc;
    return 0;
}

void ClearCallbackRegistry() { callbackRegistry().clear(); }

int InstallMainCallback(MainCallbackPtr callback, void* callbackData, int) {
    return guarded("InstallMainCallback", [&] {
        runtime()->mainCallback = callback;
        runtime()->mainCallbackData = callbackData;
        return 0;
    });
}

int GetBreakOnLibraryErrors() { return g_breakOnLibraryErrors.load(); }
void EnableBreakOnLibraryErrors() { g_breakOnLibraryErrors.store(1); }
void DisableBreakOnLibraryErrors() { g_breakOnLibraryErrors.store(0); }

int PostDeferredCallToThread(DeferredCallbackPtr callback, void* callbackData, int threadId) {
    if (!callback) return report("PostDeferredCallToThread", UIENullPointer);
    Runtime* rt = g_runtime;
    // The runtime's thread id is fixed once it runs; reading it from another thread is benign.
    if (!rt) return report("PostDeferredCallToThread", UIENotInitialized);
    if (threadId != 0 && threadId != rt->guiThread) return report("PostDeferredCallToThread", UIEInvalidThread);
    return report("PostDeferredCallToThread", postDeferred([callback, callbackData] { callback(callbackData); }));
}

int PostDeferredCall(DeferredCallbackPtr callback, void* callbackData) {
    return PostDeferredCallToThread(callback, callbackData, 0);
}

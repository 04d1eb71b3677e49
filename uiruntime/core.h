// Internal: the runtime's state, its panel and control records, event dispatch and the hooks
// through which the test driver takes the place of the user. Only uiruntime/ and its testing
// target include this header.
#pragma once

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtGui/QColor>
#include <QtGui/QFont>
#include <QtGui/QImage>
#include <QtWidgets/QFrame>
#include <QtWidgets/QLabel>

#include <functional>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "uiruntime/reporting.h"
#include "uiruntime/uidefs.h"
#include "uiruntime/userint.h"
#include "uiruntime/values.h"

class QApplication;
class QEventLoop;
class QMenuBar;

namespace uir {

class Control;
struct Panel;
struct MenuBar;
class PanelWindow;
class ListControl;
class TextBoxControl;
class CanvasControl;
class TimerControl;
class TableControl;

// ---------------------------------------------------------------------------------------------
// Panels
// ---------------------------------------------------------------------------------------------
struct Panel {
    int handle = 0;
    int parent = 0;
    std::string constantName;
    std::string callbackName;
    PanelWindow* window = nullptr;  // owned through Qt; deleted later on discard
    QWidget* content = nullptr;     // controls live here
    int menuBar = 0;
    PanelCallbackPtr callback = nullptr;
    void* callbackData = nullptr;
    std::map<int, std::unique_ptr<Control>> controls;  // by id, which is creation order
    std::vector<int> zorder;                            // control ids, front first
    std::vector<int> children;                          // child panels in creation order
    int nextControlId = 2;
    int look = VAL_PANEL_LOOK_NORMAL;
    int backColor = -1;  // -1: the style's window colour
    bool autoCenter = false;
    bool discarding = false;
    bool sizable = true;
    bool movable = true;
    int activeControl = 0;
    bool popupScripted = false;  // the test driver has taken care of this popup
    bool floating = false;       // a child panel shown as a window while it is a popup

    Control* control(int id) const {
        auto it = controls.find(id);
        return it == controls.end() ? nullptr : it->second.get();
    }
};

class PanelWindow : public QFrame {
    Q_OBJECT
public:
    PanelWindow(int panel, QWidget* parent);
    QWidget* content() const { return content_; }
    void setMenuBarWidget(QMenuBar* bar);
    QMenuBar* menuBarWidget() const { return menuBar_; }
    int menuHeight() const;
    void layoutContent();
    int handle() const { return panel_; }

protected:
    void closeEvent(QCloseEvent* e) override;
    void mousePressEvent(QMouseEvent* e) override;
    void mouseDoubleClickEvent(QMouseEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;
    void resizeEvent(QResizeEvent* e) override;
    void moveEvent(QMoveEvent* e) override;
    void changeEvent(QEvent* e) override;

private:
    int panel_;
    QWidget* content_;
    QMenuBar* menuBar_ = nullptr;
};

// ---------------------------------------------------------------------------------------------
// Controls
// ---------------------------------------------------------------------------------------------

// Result of a kind's attribute handler that lets the common handler answer.
inline constexpr int kNotMine = 1;

class Control {
public:
    Control(Panel* panel, int id, int style);
    virtual ~Control();
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

    // Creates the widget when the control is made at run time; loaded controls adopt theirs.
    virtual void createWidget(QWidget* parent) = 0;
    // Takes over a widget made by the form loader; the default keeps it as it is.
    virtual void adoptWidget(QWidget* w) { widget = w; }
    // Called once the widget exists and sits on the panel: connects signals, installs filters.
    virtual void attach();
    // Widgets whose mouse and key events belong to this control.
    virtual std::vector<QWidget*> eventWidgets() const { return {widget}; }

    virtual int setValue(const UiValue& v);
    virtual int getValue(Value* v) const;
    virtual int defaultValue() { return 0; }
    virtual int setAttribute(int attribute, const UiValue& v);
    virtual int getAttribute(int attribute, Value* v) const;

    virtual ListControl* asList() { return nullptr; }
    virtual TextBoxControl* asTextBox() { return nullptr; }
    virtual CanvasControl* asCanvas() { return nullptr; }
    virtual TimerControl* asTimer() { return nullptr; }
    virtual TableControl* asTable() { return nullptr; }

    // Where the label sits by default for a control made at run time.
    virtual bool captionBeside() const { return false; }
    // The user may operate it (not dimmed, visible, not an indicator).
    bool operable() const;

    // Common attributes.
    int commonSet(int attribute, const UiValue& v);
    int commonGet(int attribute, Value* v) const;
    void setCaptionText(const std::string& text);
    void placeCaptionDefault();
    QColor textColor() const;
    void setTextColor(int rgb);
    void setFontAttribute(int attribute, const UiValue& v, int* rc);

    Panel* panel;
    int id;
    int style;
    std::string constantName;
    std::string callbackName;
    CtrlCallbackPtr callback = nullptr;
    void* callbackData = nullptr;
    QWidget* widget = nullptr;
    QLabel* caption = nullptr;
    int mode = VAL_NORMAL;
    std::string fontName;
    int textBgColor = -1;  // -1: the style's colour
    bool hasFocus = false;
    std::vector<QObject*> routed;  // widgets registered for event routing
};

// Creates the record of a control kind.
std::unique_ptr<Control> makeControl(Panel* panel, int id, int style);

// ---------------------------------------------------------------------------------------------
// Menu bars
// ---------------------------------------------------------------------------------------------
struct MenuEntry {
    int id = 0;
    bool isMenu = false;
    int parentMenu = 0;  // 0 for the menus of the bar itself
    std::string name;    // with "__" mnemonics
    std::string constantName;
    std::string callbackName;
    QPointer<QMenu> menu;      // for menus
    QPointer<QAction> action;  // for items (and the action that opens a submenu)
    MenuCallbackPtr callback = nullptr;
    void* callbackData = nullptr;
};

struct MenuBar {
    int handle = 0;
    int panel = 0;  // 0: popup menus only
    QPointer<QMenuBar> bar;
    std::map<int, MenuEntry> entries;
    int nextId = 2;
    bool dimmed = false;
};

// ---------------------------------------------------------------------------------------------
// Test hooks: when active, the test driver answers popups and drives loops and timers.
// ---------------------------------------------------------------------------------------------
struct PopupRequest {
    enum class Kind { Message, Confirm, FileSelect, Menu };
    Kind kind = Kind::Message;
    std::string title;
    std::string text;
    std::string directory;
    std::string fileSpec;
    int buttonLabel = 0;
    std::vector<std::pair<int, std::string>> items;  // popup menu: id and name
    int result = 0;
    std::string path;
};

struct TestHooks {
    bool active = false;
    bool manualTimers = false;
    std::function<bool(PopupRequest&)> popup;    // fills the answer; false: unscripted
    std::function<void(int panel)> popupPanel;   // an installed popup waits for the user
    std::function<bool()> loopStep;              // runs one scripted step; false: none left
    std::function<bool(int*, int*, int*, int*, int*, int*)> mouse;
    std::function<void(const std::string&)> failure;
    int loopTimeoutMs = 5000;
    std::string projectDir;
};

// ---------------------------------------------------------------------------------------------
// The runtime
// ---------------------------------------------------------------------------------------------
struct CallbackSlot {
    UiCallbackEntry::Kind kind;
    void (*function)();
};

class Dispatcher;

struct Runtime {
    QApplication* app = nullptr;
    bool ownsApp = false;
    std::vector<std::string> argStorage;
    std::vector<char*> argv;
    int argc = 0;
    int guiThread = 0;
    Dispatcher* dispatcher = nullptr;

    std::map<int, std::unique_ptr<Panel>> panels;
    int nextPanel = 1;
    std::map<int, std::unique_ptr<MenuBar>> menuBars;
    int nextMenuBar = 1;
    std::map<int, QImage> bitmaps;
    int nextBitmap = 1;
    std::map<std::string, QFont> fonts;

    MainCallbackPtr mainCallback = nullptr;
    void* mainCallbackData = nullptr;
    std::vector<int> popupStack;
    int activePanel = 0;

    struct Loop {
        QEventLoop* loop = nullptr;
        bool quit = false;
        int code = 0;
    };
    std::vector<Loop*> loops;

    QHash<QObject*, std::pair<int, int>> widgetOwner;  // widget -> (panel, control)
    bool waitCursor = false;
    int sleepPolicy = VAL_SLEEP_SOME;
    int stdioPort = HOST_SYSTEM_STDIO;
    std::string appTitle;
    TestHooks test;
    int suppressEvents = 0;  // > 0 while the runtime itself changes widgets
};

Runtime* runtime();  // null before InitKestrelRTEEx and after CloseKestrelRTE

bool onGuiThread();
void setLastLoadError(const std::string& text);

Panel* findPanel(int handle);
int lookupControl(int panel, int control, Control** out);
MenuBar* findMenuBar(int handle);
std::map<std::string, CallbackSlot>& callbackRegistry();

// Reports a failed public call when break-on-library-errors is on; returns rc.
int report(const char* function, int rc);

// Runs a public call on the runtime thread with exceptions contained.
template <typename F>
int guarded(const char* function, F&& f) {
    if (!runtime()) return report(function, UIENotInitialized);
    if (!onGuiThread()) return report(function, UIENotOnGuiThread);
    int rc;
    try {
        rc = f();
    } catch (const std::bad_alloc&) {
        rc = UIEOutOfMemoryError;
    } catch (...) {
        rc = UIEIOFailure;
    }
    return report(function, rc);
}

// While alive, widget signals caused by the runtime itself are not reported as user events.
class Quiet {
public:
    Quiet() { ++runtime()->suppressEvents; }
    ~Quiet() { --runtime()->suppressEvents; }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;
};
inline bool quiet() { return runtime()->suppressEvents > 0; }

// Event dispatch by handles, so that a callback may discard what it was called for. Each returns
// non-zero when a callback swallowed the event.
int dispatchControlEvent(int panel, int control, int event, int data1, int data2);
int dispatchPanelEvent(int panel, int event, int data1, int data2);
void dispatchMenuItem(int menuBar, int item);
// Both: VAL_CHANGED, then COMMIT (unless the first was swallowed).
void dispatchChangeAndCommit(int panel, int control);

// Registers the widgets of a control for event routing; forget removes them.
void routeEvents(Control* c);
void forgetWidgets(Control* c);

// Mouse coordinates of a widget point relative to its panel's control area.
QPoint panelPoint(const Panel* p, QWidget* w, QPoint local);
int keyCodeOf(const QKeyEvent* e);

// Panels and controls.
int createPanel(int parent, const std::string& title, int top, int left, int height, int width,
                Panel** out);
int discardPanel(int handle);
int addControl(Panel* p, std::unique_ptr<Control> c);  // takes the next id unless c->id is set
void restack(Panel* p);
int discardControl(Panel* p, int id);
int insertListItemOnGui(int panel, int control, int index, const std::string& label, const Value& v,
                        bool hasValue);

// A child panel installed as a popup becomes a dialog window over its parent, and back.
void setFloating(Panel* p, bool on);
// Whether a panel is the panel given or lies inside it.
bool isInside(int panel, int outer);
// Forgets every panel resource file read so far.
void closeBundles();
// Where a data file of the program is: a relative name is looked for in the program's directory,
// next to the executable, then in the current directory.
std::string resolveProgramFile(const std::string& name);

// Fonts and colours.
QFont fontByName(const std::string& name, bool* known);
QColor rgbColor(int rgb);
int rgbOf(const QColor& c);

// Event loop support.
void runDeferredCalls(int* count);
int processSystemEventsOnce();
void flushPendingText();  // text appended to text boxes but not yet shown

// The deferred-call queue, usable from any thread.
int postDeferred(std::function<void()> call);
int deferredPending();

// Menus: removes the menu bars of a panel.
void discardMenuBarsOf(int panel);

}  // namespace uir

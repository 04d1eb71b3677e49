// Loading panels from panel resource files: a binary resource bundle of Designer forms, one per
// panel, numbered in the order of their file names.
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QResource>
#include <QtUiTools/QUiLoader>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QTableView>
#include <QtWidgets/QToolButton>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>

#include "uiruntime/core.h"
#include "uiruntime/kinds.h"
#include "uiruntime/menus.h"
#include "uiruntime/uirbundle.h"
#include "uiruntime/uiscan.h"
#include "uiruntime/userint.h"
#include "uiruntime/utility.h"
#include "uiruntime/widgets.h"

namespace uir {

namespace {

struct Bundle {
    std::string path;
    std::vector<unsigned char> data;
    QString root;
    std::vector<std::string> forms;  // .ui names, sorted: panel n is forms[n - 1]
    std::vector<std::optional<ScannedPanel>> scans;
    long long mtime = 0;
    long long size = 0;
};

std::map<std::string, std::unique_ptr<Bundle>>& bundles() {
    static std::map<std::string, std::unique_ptr<Bundle>> b;
    return b;
}

int g_nextRoot = 1;

bool regularFile(const std::string& path, struct stat* st) {
    return ::stat(path.c_str(), st) == 0 && S_ISREG(st->st_mode);
}

int openBundle(const std::string& fileName, Bundle** out, std::string* error) {
    std::string path = resolveProgramFile(fileName);
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        *error = "cannot find the panel resource file \"" + fileName + "\"";
        return UIEFileNotFound;
    }
    if (!S_ISREG(st.st_mode)) {
        *error = "\"" + path + "\" is not a file";
        return UIEBadResourceFile;
    }
    auto& all = bundles();
    auto it = all.find(path);
    if (it != all.end() && it->second->mtime == static_cast<long long>(st.st_mtime) &&
        it->second->size == static_cast<long long>(st.st_size)) {
        *out = it->second.get();
        return 0;
    }
    if (static_cast<unsigned long long>(st.st_size) > kMaxBundleSize) {
        *error = "\"" + path + "\" is too large for a panel resource file";
        return UIEBadResourceFile;
    }
    auto b = std::make_unique<Bundle>();
    b->path = path;
    b->mtime = st.st_mtime;
    b->size = st.st_size;
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *error = "cannot open \"" + path + "\"";
        return errno == EACCES ? UIEAccessRefused : UIEIOFailure;
    }
    b->data.resize(static_cast<size_t>(st.st_size));
    size_t got = 0;
    while (got < b->data.size()) {
        ssize_t n = ::read(fd, b->data.data() + got, b->data.size() - got);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += static_cast<size_t>(n);
    }
    ::close(fd);
    if (got != b->data.size()) {
        *error = "cannot read \"" + path + "\"";
        return UIEIOFailure;
    }
    std::vector<std::string> files;
    std::string why;
    if (checkResourceBundle(b->data.data(), b->data.size(), &files, &why) != 0) {
        *error = "\"" + path + "\" is not a usable panel resource file: " + why;
        return UIEBadResourceFile;
    }
    for (const std::string& f : files)
        if (f.size() > 3 && f.compare(f.size() - 3, 3, ".ui") == 0) b->forms.push_back(f);
    std::sort(b->forms.begin(), b->forms.end());
    b->scans.resize(b->forms.size());
    b->root = QStringLiteral("/uir%1").arg(g_nextRoot++);
    if (!QResource::registerResource(b->data.data(), b->root)) {
        *error = "\"" + path + "\" was refused as a resource bundle";
        return UIEBadResourceFile;
    }
    // A replaced file keeps its old registration alive: panels loaded from it may still use it.
    if (it != all.end()) it->second.release();
    Bundle* raw = b.get();
    all[path] = std::move(b);
    *out = raw;
    return 0;
}

int scanForm(Bundle* b, size_t index, const ScannedPanel** out, std::string* error) {
    if (!b->scans[index]) {
        QFile f(QStringLiteral(":") + b->root + QStringLiteral("/") + QString::fromStdString(b->forms[index]));
        if (!f.open(QIODevice::ReadOnly)) {
            *error = "cannot read " + b->forms[index] + " in \"" + b->path + "\"";
            return UIEBadResourceFile;
        }
        QByteArray xml = f.read(static_cast<qint64>(kMaxUiFileSize) + 1);
        ScannedPanel sp;
        std::string why;
        if (int rc = scanUi(xml.constData(), static_cast<size_t>(xml.size()), &sp, &why)) {
            *error = b->forms[index] + " in \"" + b->path + "\": " + why;
            return rc;
        }
        b->scans[index] = std::move(sp);
    }
    *out = &*b->scans[index];
    return 0;
}

class FormLoader : public QUiLoader {
public:
    explicit FormLoader(const ScannedPanel* panel) : panel_(panel) { clearPluginPaths(); }

    QWidget* createWidget(const QString& cls, QWidget* parent, const QString& name) override {
        auto it = panel_->styleByName.find(name.toStdString());
        int style = it == panel_->styleByName.end() ? 0 : it->second;
        QWidget* w = nullptr;
        auto is = [&](const char* c) { return cls == QLatin1String(c); };
        switch (style) {
            case CTRL_NUMERIC:
                w = new NumericEdit(parent);
                w->setProperty("uirClass", cls);
                break;
            case CTRL_CANVAS: w = new CanvasWidget(parent); break;
            case CTRL_ROUND_LED:
            case CTRL_SQUARE_LED: w = new LedWidget(parent); break;
            case CTRL_TIMER: w = new QWidget(parent); break;
            case CTRL_STRING: if (!is("QLineEdit")) w = new QLineEdit(parent); break;
            case CTRL_TEXT_BOX:
                if (!is("QPlainTextEdit") && !is("QTextEdit") && !is("QTextBrowser")) w = new QPlainTextEdit(parent);
                break;
            case CTRL_RING: if (!is("QComboBox")) w = new QComboBox(parent); break;
            case CTRL_LIST: if (!is("QListWidget")) w = new QListWidget(parent); break;
            case CTRL_TABLE: if (!is("QTableView")) w = new QTableView(parent); break;
            case CTRL_COMMAND_BUTTON:
            case CTRL_TOGGLE_BUTTON: if (!is("QPushButton") && !is("QToolButton")) w = new QPushButton(parent); break;
            case CTRL_CHECK_BOX: if (!is("QCheckBox")) w = new QCheckBox(parent); break;
            case CTRL_ROUND_RADIO_BUTTON: if (!is("QRadioButton")) w = new QRadioButton(parent); break;
            case CTRL_TEXT_MSG:
            case CTRL_PICTURE: if (!is("QLabel")) w = new QLabel(parent); break;
            default:
                if (IsDecorationStyle(style) && !is("QGroupBox")) w = new BevelFrame(parent);
                break;
        }
        if (!w && (is("UiCanvas") || is("UiTimer") || is("UiLed") || is("UiNumeric"))) w = new QWidget(parent);
        if (!w) w = QUiLoader::createWidget(cls, parent, name);
        if (w) w->setObjectName(name);
        return w;
    }

private:
    const ScannedPanel* panel_;
};

template <typename P>
int findCallback(const std::string& name, UiCallbackEntry::Kind kind, const std::string& who, P* out,
                 std::string* error) {
    *out = nullptr;
    if (name.empty()) return 0;
    auto& reg = callbackRegistry();
    auto it = reg.find(name);
    if (it == reg.end() || it->second.kind != kind) {
        const char* what = kind == UiCallbackEntry::Kind::Panel ? "panel" : kind == UiCallbackEntry::Kind::Menu ? "menu" : "control";
        *error = who + " names callback \"" + name + "\", which is not registered as a " + what + " callback";
        return UIEUnknownCallback;
    }
    *out = reinterpret_cast<P>(it->second.function);
    return 0;
}

int checkCallbacks(const ScannedPanel& sp, std::string* error) {
    PanelCallbackPtr pc;
    if (int rc = findCallback(sp.callback, UiCallbackEntry::Kind::Panel, "panel " + sp.name, &pc, error)) return rc;
    for (const ScannedControl& c : sp.controls) {
        CtrlCallbackPtr cc;
        if (int rc = findCallback(c.callback, UiCallbackEntry::Kind::Control, "control " + c.headerName, &cc, error))
            return rc;
    }
    int rc = 0;
    forEachMenuEntry(sp.menus, [&](const ScannedMenuEntry& e) {
        MenuCallbackPtr mc;
        if (rc == 0 && e.type == ScannedMenuEntry::Type::Item)
            rc = findCallback(e.callback, UiCallbackEntry::Kind::Menu, "menu item " + e.headerName, &mc, error);
    });
    return rc;
}

int colorOf(const QVariant& v) {
    if (!v.isValid()) return -1;
    if (v.typeId() == QMetaType::QColor) return rgbOf(v.value<QColor>());
    QString s = v.toString().trimmed();
    bool ok = false;
    int n = s.startsWith(QLatin1Char('#')) ? s.mid(1).toInt(&ok, 16) : s.toInt(&ok, 0);
    return ok && n >= 0 && n <= 0xFFFFFF ? n : -1;
}

int buildPanel(int parent, Bundle* b, size_t index, std::string* error) {
    const ScannedPanel& sp = *b->scans[index];
    if (int rc = checkCallbacks(sp, error)) return rc;
    FormLoader loader(&sp);
    loader.setWorkingDirectory(QDir(QStringLiteral(":") + b->root));
    QFile f(QStringLiteral(":") + b->root + QStringLiteral("/") + QString::fromStdString(b->forms[index]));
    if (!f.open(QIODevice::ReadOnly)) {
        *error = "cannot read the form of panel " + sp.name;
        return UIEBadResourceFile;
    }
    std::unique_ptr<QWidget> top(loader.load(&f, nullptr));
    if (!top) {
        *error = "the form of panel " + sp.name + " cannot be built: " + loader.errorString().toStdString();
        return UIEBadResourceFile;
    }
    QWidget* root = top.get();
    if (sp.contentRoot != sp.name)
        if (QWidget* r = top->findChild<QWidget*>(QString::fromStdString(sp.contentRoot))) root = r;

    Panel* p = nullptr;
    int width = sp.width > 0 ? sp.width : top->width();
    int height = sp.height > 0 ? sp.height : top->height();
    if (int rc = createPanel(parent, sp.title, sp.y, sp.x, height, width, &p)) {
        *error = "panel " + sp.name + " cannot be created";
        return rc;
    }
    const int handle = p->handle;
    p->constantName = sp.name;
    p->callbackName = sp.callback;
    p->autoCenter = parent == 0 && sp.x == 0 && sp.y == 0;
    if (int c = colorOf(top->property("backColor")); c >= 0) SetPanelAttribute(handle, ATTR_BACKCOLOR, c);
    else if (top->testAttribute(Qt::WA_SetPalette))
        SetPanelAttribute(handle, ATTR_BACKCOLOR, rgbOf(top->palette().color(QPalette::Window)));
    QString look = top->property("look").toString().toLower();
    if (look == QLatin1String("embedded")) SetPanelAttribute(handle, ATTR_PANEL_LOOK, VAL_PANEL_LOOK_EMBEDDED);
    else if (look == QLatin1String("tooltip")) SetPanelAttribute(handle, ATTR_PANEL_LOOK, VAL_PANEL_LOOK_TOOLTIP);

    auto fail = [&](int rc) {
        if (Panel* q = findPanel(handle)) {
            for (auto& [id, c] : q->controls) c->callback = nullptr;
            q->callback = nullptr;
        }
        discardPanel(handle);
        return rc;
    };

    if (!sp.menus.empty()) {
        int rc = createMenuBarFromForm(p, sp.menus, error);
        if (rc < 0) return fail(rc);
    }

    // Where every control and label sits, before any of them moves.
    struct Placed {
        QWidget* widget;
        QPoint at;
        QLabel* caption;
        QPoint captionAt;
    };
    std::vector<Placed> placed;
    placed.reserve(sp.controls.size());
    for (const ScannedControl& sc : sp.controls) {
        QWidget* w = top->findChild<QWidget*>(QString::fromStdString(sc.name));
        if (!w) {
            *error = "control " + sc.headerName + " was not built from the form";
            return fail(UIEBadResourceFile);
        }
        Placed pl{w, w->mapTo(root, QPoint(0, 0)), nullptr, QPoint()};
        if (!sc.caption.empty())
            if (auto* l = top->findChild<QLabel*>(QString::fromStdString(sc.caption))) {
                pl.caption = l;
                pl.captionAt = l->mapTo(root, QPoint(0, 0));
            }
        placed.push_back(pl);
    }

    p = findPanel(handle);
    for (size_t k = 0; k < sp.controls.size(); ++k) {
        const ScannedControl& sc = sp.controls[k];
        const Placed& pl = placed[k];
        std::unique_ptr<Control> c = makeControl(p, sc.id, sc.style);
        c->constantName = sc.name;
        c->callbackName = sc.callback;
        findCallback(sc.callback, UiCallbackEntry::Kind::Control, sc.name, &c->callback, error);
        // A form hides a control by giving it visible = false.
        bool hidden = pl.widget->testAttribute(Qt::WA_WState_ExplicitShowHide) &&
                      pl.widget->testAttribute(Qt::WA_WState_Hidden);
        pl.widget->setParent(p->content);
        pl.widget->move(pl.at);
        // readOnly in the form (or the dynamic property indicator) makes an output only.
        bool indicator = pl.widget->property("readOnly").toBool() || pl.widget->property("indicator").toBool();
        c->adoptWidget(pl.widget);
        if (indicator && c->setAttribute(ATTR_CTRL_MODE, VAL_INDICATOR) == kNotMine)
            c->commonSet(ATTR_CTRL_MODE, VAL_INDICATOR);
        c->widget->setParent(p->content);
        c->widget->move(pl.at);
        c->widget->setVisible(!hidden && sc.style != CTRL_TIMER);
        if (pl.caption) {
            pl.caption->setParent(p->content);
            pl.caption->move(pl.captionAt);
            pl.caption->setAttribute(Qt::WA_TransparentForMouseEvents);
            pl.caption->setVisible(!hidden);
            pl.caption->setEnabled(c->widget->isEnabled());
            c->caption = pl.caption;
        }
        addControl(p, std::move(c));
    }
    restack(p);
    PanelCallbackPtr pc = nullptr;
    findCallback(sp.callback, UiCallbackEntry::Kind::Panel, sp.name, &pc, error);
    p->callback = pc;
    return handle;
}

int loadPanel(int parent, const char* fileName, int resourceId, const char* constantName) {
    std::string error;
    if (!fileName) return UIENullPointer;
    if (parent != 0) {
        Panel* pp = findPanel(parent);
        if (!pp || pp->discarding) {
            setLastLoadError("the parent panel does not exist");
            return UIEInvalidPanel;
        }
    }
    Bundle* b = nullptr;
    if (int rc = openBundle(fileName, &b, &error)) {
        setLastLoadError(error);
        return rc;
    }
    const ScannedPanel* sp = nullptr;
    size_t index = 0;
    if (constantName) {
        for (size_t k = 0; k < b->forms.size() && !sp; ++k) {
            const ScannedPanel* s = nullptr;
            if (int rc = scanForm(b, k, &s, &error)) {
                setLastLoadError(error);
                return rc;
            }
            if (s->name == constantName) sp = s, index = k;
        }
        if (!sp) {
            setLastLoadError(std::string("\"") + fileName + "\" holds no panel " + constantName);
            return UIEResourceNotFound;
        }
    } else {
        if (resourceId < 1 || static_cast<size_t>(resourceId) > b->forms.size()) {
            setLastLoadError(std::string("\"") + fileName + "\" holds no panel number " + std::to_string(resourceId));
            return UIEResourceNotFound;
        }
        index = static_cast<size_t>(resourceId - 1);
        if (int rc = scanForm(b, index, &sp, &error)) {
            setLastLoadError(error);
            return rc;
        }
    }
    int rc = buildPanel(parent, b, index, &error);
    setLastLoadError(rc < 0 ? error : std::string());
    return rc;
}

}  // namespace

// A relative name is looked for in the program's directory, next to the executable, then here.
std::string resolveProgramFile(const std::string& name) {
    struct stat st;
    if (!name.empty() && name[0] == '/') return name;
    char dir[1024];
    if (GetProjectDir(dir, sizeof dir) == 0) {
        std::string p = std::string(dir) + "/" + name;
        if (regularFile(p, &st)) return p;
    }
    std::string exe = QCoreApplication::applicationDirPath().toStdString() + "/" + name;
    if (regularFile(exe, &st)) return exe;
    return name;
}

void closeBundles() {
    for (auto& [path, b] : bundles())
        if (b) QResource::unregisterResource(b->data.data(), b->root);
    bundles().clear();
}

}  // namespace uir

using namespace uir;

int LoadPanel(int parent, const char* fileName, int panelResourceId) {
    return guarded("LoadPanel", [&] { return loadPanel(parent, fileName, panelResourceId, nullptr); });
}

int LoadPanelEx(int parent, const char* fileName, int panelResourceId, void*) {
    return guarded("LoadPanelEx", [&] { return loadPanel(parent, fileName, panelResourceId, nullptr); });
}

int LoadPanelByName(int parent, const char* fileName, const char* constantName) {
    return guarded("LoadPanelByName", [&] {
        if (!constantName) return UIENullPointer;
        return loadPanel(parent, fileName, 0, constantName);
    });
}

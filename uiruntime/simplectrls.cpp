// Decorations, pictures and timers.
#include <QtGui/QPainter>
#include <QtWidgets/QGroupBox>

#include <cmath>

#include "uiruntime/kinds.h"
#include "uiruntime/widgets.h"

namespace uir {

// ---------------------------------------------------------------------------------------------
// Decorations
// ---------------------------------------------------------------------------------------------
void BevelFrame::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const QColor base = fillColor >= 0 ? rgbColor(fillColor) : palette().color(QPalette::Window);
    const bool filled = style == CTRL_RAISED_BOX || style == CTRL_RECESSED_BOX || style == CTRL_FLAT_BOX;
    if (filled && fillColor >= 0) p.fillRect(rect(), base);
    const QRect r = rect();
    if (style == CTRL_FLAT_BOX || style == CTRL_FLAT_FRAME) {
        p.setPen(base.darker(200));
        p.drawRect(r.adjusted(0, 0, -1, -1));
        return;
    }
    // Light from the top left. On the light backgrounds of today a white edge alone would vanish,
    // so a raised box keeps a faint outline above and left of its highlight, and a recessed one a
    // faint line inside its light edges.
    const QColor light = base.lighter(135), faint = base.darker(118);
    const QColor dark = base.darker(230), softDark = base.darker(145);
    const bool raised = style == CTRL_RAISED_BOX || style == CTRL_RAISED_FRAME;
    auto edge = [&](int inset, const QColor& topLeft, const QColor& bottomRight) {
        QRect e = r.adjusted(inset, inset, -inset, -inset);
        if (e.width() < 1 || e.height() < 1) return;
        p.setPen(topLeft);
        p.drawLine(e.topLeft(), e.topRight());
        p.drawLine(e.topLeft(), e.bottomLeft());
        p.setPen(bottomRight);
        p.drawLine(e.bottomLeft(), e.bottomRight());
        p.drawLine(e.topRight(), e.bottomRight());
    };
    if (raised) {
        edge(0, faint, dark);
        edge(1, light, softDark);
    } else {
        edge(0, softDark, light);
        edge(1, dark, faint);
    }
}

void DecorationControl::createWidget(QWidget* parent) {
    auto* f = new BevelFrame(parent);
    f->resize(100, 60);
    widget = f;
    applyStyle();
}

void DecorationControl::adoptWidget(QWidget* w) {
    widget = w;
    if (qobject_cast<QGroupBox*>(w)) return;  // a labelled frame keeps the form's look
    if (w->autoFillBackground()) frameColor = rgbOf(w->palette().color(QPalette::Window));
    applyStyle();
}

void DecorationControl::applyStyle() {
    if (auto* b = qobject_cast<BevelFrame*>(widget)) {
        b->style = style;
        b->fillColor = frameColor;
        b->setFrameStyle(QFrame::NoFrame);
        b->setAutoFillBackground(false);
        b->update();
        return;
    }
    auto* f = qobject_cast<QFrame*>(widget);
    if (!f) return;
    const bool filled = style == CTRL_RAISED_BOX || style == CTRL_RECESSED_BOX || style == CTRL_FLAT_BOX;
    switch (style) {
        case CTRL_RAISED_BOX:
        case CTRL_RAISED_FRAME: f->setFrameStyle(QFrame::Panel | QFrame::Raised); break;
        case CTRL_RECESSED_BOX:
        case CTRL_RECESSED_FRAME: f->setFrameStyle(QFrame::Panel | QFrame::Sunken); break;
        default: f->setFrameStyle(QFrame::Box | QFrame::Plain); break;
    }
    f->setLineWidth(2);
    if (filled && frameColor >= 0) {
        QPalette pal = f->palette();
        pal.setColor(QPalette::Window, rgbColor(frameColor));
        f->setPalette(pal);
    }
    f->setAutoFillBackground(filled && frameColor >= 0);
}

int DecorationControl::setAttribute(int attribute, const UiValue& v) {
    long long n = 0;
    switch (attribute) {
        case ATTR_FRAME_COLOR:
            if (int rc = toInteger(v, &n)) return rc;
            if (n < 0 || n > 0xFFFFFF) return UIEInvalidAttributeValue;
            frameColor = static_cast<int>(n);
            if (auto* g = qobject_cast<QGroupBox*>(widget)) {
                QPalette pal = g->palette();
                pal.setColor(QPalette::Window, rgbColor(frameColor));
                g->setPalette(pal);
                g->setAutoFillBackground(true);
            } else {
                applyStyle();
            }
            return 0;
        case ATTR_LABEL_TEXT:
            if (auto* g = qobject_cast<QGroupBox*>(widget)) {
                std::string s;
                if (int rc = toText(v, &s)) return rc;
                g->setTitle(QString::fromStdString(s));
                return 0;
            }
            return kNotMine;
        default: return kNotMine;
    }
}

int DecorationControl::getAttribute(int attribute, Value* v) const {
    switch (attribute) {
        case ATTR_FRAME_COLOR:
            *v = Value::integer(frameColor >= 0 ? frameColor : rgbOf(widget->palette().color(QPalette::Window)));
            return 0;
        case ATTR_LABEL_TEXT:
            if (auto* g = qobject_cast<QGroupBox*>(widget)) {
                *v = Value::text(g->title().toStdString());
                return 0;
            }
            return kNotMine;
        default: return kNotMine;
    }
}

// ---------------------------------------------------------------------------------------------
// Pictures
// ---------------------------------------------------------------------------------------------
void PictureControl::createWidget(QWidget* parent) {
    auto* l = new QLabel(parent);
    l->setAlignment(Qt::AlignCenter);
    l->resize(32, 32);
    widget = l;
}

int PictureControl::setImage(const QImage& image) {
    auto* l = static_cast<QLabel*>(widget);
    l->setPixmap(QPixmap::fromImage(image));
    return 0;
}

QImage PictureControl::image() const {
    auto* l = static_cast<QLabel*>(widget);
    return l->pixmap().toImage();
}

// ---------------------------------------------------------------------------------------------
// Timers
// ---------------------------------------------------------------------------------------------
TimerControl::~TimerControl() {
    if (timer) timer->stop();
}

void TimerControl::createWidget(QWidget* parent) {
    widget = new QWidget(parent);
    widget->resize(0, 0);
    widget->hide();
}

void TimerControl::adoptWidget(QWidget* w) {
    widget = w;
    widget->hide();
    enabled = w->isEnabled();
    w->setEnabled(true);
    bool ok = false;
    double s = w->property("interval").toDouble(&ok);
    if (ok && s >= 0.001 && s <= 86400.0) interval = s;
}

void TimerControl::attach() {
    Control::attach();
    timer = new QTimer(widget);
    const int ph = panel->handle, cid = id;
    QObject::connect(timer, &QTimer::timeout, widget, [ph, cid]() {
        Control* c = nullptr;
        if (lookupControl(ph, cid, &c) == 0 && c->asTimer()) c->asTimer()->tick();
    });
    restart();
}

void TimerControl::restart() {
    if (!timer) return;
    Runtime* rt = runtime();
    if (enabled && !(rt && rt->test.manualTimers))
        timer->start(static_cast<int>(std::lround(interval * 1000.0)));
    else
        timer->stop();
}

int TimerControl::tick() {
    if (!enabled) return UIEControlDimmed;
    if (ticking_) return 0;  // a tick that arrives while the previous one still runs is dropped
    ticking_ = true;
    const int ph = panel->handle, cid = id;
    dispatchControlEvent(ph, cid, EVENT_TIMER_TICK, 0, 0);
    Control* c = nullptr;
    if (lookupControl(ph, cid, &c) == 0 && c == this) ticking_ = false;
    return 0;
}

int TimerControl::setAttribute(int attribute, const UiValue& v) {
    switch (attribute) {
        case ATTR_ENABLED: {
            long long n = 0;
            if (int rc = toInteger(v, &n)) return rc;
            enabled = n != 0;
            restart();
            return 0;
        }
        case ATTR_INTERVAL: {
            double s = 0;
            if (int rc = toReal(v, &s)) return rc;
            if (!(s >= 0.001 && s <= 86400.0)) return UIEInvalidAttributeValue;
            interval = s;
            restart();
            return 0;
        }
        case ATTR_VISIBLE: return 0;  // a timer is never seen
        default: return kNotMine;
    }
}

int TimerControl::getAttribute(int attribute, Value* v) const {
    switch (attribute) {
        case ATTR_ENABLED: *v = Value::integer(enabled); return 0;
        case ATTR_INTERVAL: *v = Value::real(interval); return 0;
        default: return kNotMine;
    }
}

}  // namespace uir

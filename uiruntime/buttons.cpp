// Command buttons, toggle buttons, check boxes, radio buttons and LEDs.
#include <QtGui/QPainter>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>

#include "uiruntime/kinds.h"
#include "uiruntime/labels.h"
#include "uiruntime/widgets.h"

namespace uir {

namespace {

int colorProperty(const QWidget* w, const char* name, int fallback) {
    QVariant v = w->property(name);
    if (!v.isValid()) return fallback;
    if (v.canConvert<QColor>() && v.typeId() == QMetaType::QColor) return rgbOf(v.value<QColor>());
    bool ok = false;
    QString s = v.toString().trimmed();
    if (s.startsWith(QLatin1Char('#'))) {
        int n = s.mid(1).toInt(&ok, 16);
        if (ok && n >= 0 && n <= 0xFFFFFF) return n;
    }
    int n = s.toInt(&ok, 0);
    return ok && n >= 0 && n <= 0xFFFFFF ? n : fallback;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// ButtonControl
// ---------------------------------------------------------------------------------------------
QAbstractButton* ButtonControl::button() const { return static_cast<QAbstractButton*>(widget); }

void ButtonControl::createWidget(QWidget* parent) {
    QAbstractButton* b = nullptr;
    switch (style) {
        case CTRL_CHECK_BOX: b = new QCheckBox(parent); break;
        case CTRL_ROUND_RADIO_BUTTON: b = new QRadioButton(parent); break;
        default: {
            auto* pb = new QPushButton(parent);
            pb->setCheckable(style == CTRL_TOGGLE_BUTTON);
            pb->setAutoDefault(false);
            b = pb;
        }
    }
    widget = b;
    b->adjustSize();
    if (style == CTRL_COMMAND_BUTTON || style == CTRL_TOGGLE_BUTTON) b->resize(std::max(b->width(), 80), b->height());
}

void ButtonControl::attach() {
    Control::attach();
    QAbstractButton* b = button();
    // Radio buttons group only as the program says.
    b->setAutoExclusive(false);
    if (style == CTRL_TOGGLE_BUTTON) b->setCheckable(true);
    if (auto* pb = qobject_cast<QPushButton*>(b)) pb->setAutoDefault(false);
    dflt = b->isChecked();
    const int ph = panel->handle, cid = id;
    QObject::connect(b, &QAbstractButton::clicked, b, [ph, cid](bool) {
        Control* c = nullptr;
        if (quiet() || lookupControl(ph, cid, &c) != 0) return;
        auto* bc = static_cast<ButtonControl*>(c);
        if (bc->mode == VAL_INDICATOR) {
            if (bc->isToggle()) {
                Quiet q;
                bc->button()->setChecked(!bc->button()->isChecked());
            }
            return;
        }
        if (bc->isToggle()) dispatchChangeAndCommit(ph, cid);
        else dispatchControlEvent(ph, cid, EVENT_COMMIT, 0, 0);
    });
}

void ButtonControl::userPress() { button()->click(); }

int ButtonControl::setValue(const UiValue& v) {
    if (!isToggle()) return UIEInvalidControlType;
    long long n = 0;
    if (int rc = toInteger(v, &n)) return rc;
    button()->setChecked(n != 0);
    return 0;
}

int ButtonControl::getValue(Value* v) const {
    if (!isToggle()) return UIEInvalidControlType;
    *v = Value::integer(button()->isChecked());
    return 0;
}

int ButtonControl::defaultValue() {
    if (isToggle()) button()->setChecked(dflt != 0);
    return 0;
}

int ButtonControl::setAttribute(int attribute, const UiValue& v) {
    long long n = 0;
    switch (attribute) {
        case ATTR_LABEL_TEXT: {
            std::string s;
            if (int rc = toText(v, &s)) return rc;
            button()->setText(QString::fromStdString(mnemonicToQt(s)));
            if (style == CTRL_CHECK_BOX || style == CTRL_ROUND_RADIO_BUTTON) button()->adjustSize();
            return 0;
        }
        case ATTR_CMD_BUTTON_COLOR: {
            if (int rc = toInteger(v, &n)) return rc;
            if (n < 0 || n > 0xFFFFFF) return UIEInvalidAttributeValue;
            QPalette pal = button()->palette();
            pal.setColor(QPalette::Button, rgbColor(static_cast<int>(n)));
            button()->setPalette(pal);
            return 0;
        }
        case ATTR_DATA_TYPE:
            if (int rc = toInteger(v, &n)) return rc;
            return isToggle() && isIntegerType(static_cast<int>(n)) ? 0 : UIEInvalidAttributeValue;
        default: return kNotMine;
    }
}

int ButtonControl::getAttribute(int attribute, Value* v) const {
    switch (attribute) {
        case ATTR_LABEL_TEXT: *v = Value::text(mnemonicFromQt(button()->text().toStdString())); return 0;
        case ATTR_CMD_BUTTON_COLOR: *v = Value::integer(rgbOf(button()->palette().color(QPalette::Button))); return 0;
        case ATTR_DATA_TYPE:
            if (!isToggle()) return UIEInvalidAttribute;
            *v = Value::integer(VAL_INTEGER);
            return 0;
        default: return kNotMine;
    }
}

// ---------------------------------------------------------------------------------------------
// LEDs
// ---------------------------------------------------------------------------------------------
LedWidget::LedWidget(QWidget* parent) : QWidget(parent) { resize(16, 16); }

void LedWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    int d = std::min(width(), height()) - 2;
    QRectF r((width() - d) / 2.0, (height() - d) / 2.0, d, d);
    QColor c = on ? onColor : offColor;
    if (!isEnabled()) c = c.lighter(150);
    QRadialGradient g(r.center() - QPointF(d / 5.0, d / 5.0), d * 0.7);
    g.setColorAt(0, c.lighter(170));
    g.setColorAt(1, c);
    p.setBrush(g);
    p.setPen(QPen(QColor(0x40, 0x40, 0x40), 1));
    if (square) p.drawRect(r);
    else p.drawEllipse(r);
}

LedWidget* LedControl::led() const { return static_cast<LedWidget*>(widget); }

void LedControl::createWidget(QWidget* parent) {
    auto* l = new LedWidget(parent);
    l->square = style == CTRL_SQUARE_LED;
    widget = l;
}

void LedControl::adoptWidget(QWidget* w) {
    widget = w;
    LedWidget* l = led();
    l->square = style == CTRL_SQUARE_LED;
    l->onColor = rgbColor(colorProperty(w, "onColor", 0xFF0000));
    l->offColor = rgbColor(colorProperty(w, "offColor", 0x601010));
    l->on = w->property("value").toBool();
    dflt = l->on;
}

int LedControl::setValue(const UiValue& v) {
    long long n = 0;
    if (int rc = toInteger(v, &n)) return rc;
    led()->on = n != 0;
    led()->update();
    return 0;
}

int LedControl::getValue(Value* v) const {
    *v = Value::integer(led()->on);
    return 0;
}

int LedControl::defaultValue() {
    led()->on = dflt != 0;
    led()->update();
    return 0;
}

int LedControl::setAttribute(int attribute, const UiValue& v) {
    long long n = 0;
    switch (attribute) {
        case ATTR_ON_COLOR:
        case ATTR_OFF_COLOR:
            if (int rc = toInteger(v, &n)) return rc;
            if (n < 0 || n > 0xFFFFFF) return UIEInvalidAttributeValue;
            (attribute == ATTR_ON_COLOR ? led()->onColor : led()->offColor) = rgbColor(static_cast<int>(n));
            led()->update();
            return 0;
        default: return kNotMine;
    }
}

int LedControl::getAttribute(int attribute, Value* v) const {
    switch (attribute) {
        case ATTR_ON_COLOR: *v = Value::integer(rgbOf(led()->onColor)); return 0;
        case ATTR_OFF_COLOR: *v = Value::integer(rgbOf(led()->offColor)); return 0;
        default: return kNotMine;
    }
}

}  // namespace uir

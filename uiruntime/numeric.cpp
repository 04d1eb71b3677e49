// Numeric controls: a value of any data type with range, increment and display format.
#include <QtGui/QKeyEvent>
#include <QtWidgets/QLineEdit>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "uiruntime/kinds.h"
#include "uiruntime/widgets.h"

namespace uir {

namespace {

unsigned long long widthMask(int dataType) {
    switch (dataType) {
        case VAL_CHAR:
        case VAL_UNSIGNED_CHAR: return 0xFFull;
        case VAL_SHORT_INTEGER:
        case VAL_UNSIGNED_SHORT_INTEGER: return 0xFFFFull;
        default: return 0xFFFFFFFFull;
    }
}

Value typeMin(int t) {
    if (isRealType(t)) return Value::real(t == VAL_FLOAT ? -3.4e38 : -1.7e308);
    long long lo, hi;
    integerRange(t, &lo, &hi);
    return Value::integer(lo);
}

Value typeMax(int t) {
    if (isRealType(t)) return Value::real(t == VAL_FLOAT ? 3.4e38 : 1.7e308);
    long long lo, hi;
    integerRange(t, &lo, &hi);
    return Value::integer(hi);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// NumericEdit
// ---------------------------------------------------------------------------------------------
NumericEdit::NumericEdit(QWidget* parent) : QAbstractSpinBox(parent) {
    setKeyboardTracking(false);
    setAccelerated(true);
    setCorrectionMode(QAbstractSpinBox::CorrectToPreviousValue);
    refresh();
}

QString NumericEdit::text(const Value& v) const {
    if (v.type == Value::Type::Real) {
        if (format == VAL_SCIENTIFIC_FORMAT) return QString::number(v.d, 'e', precision);
        return QString::number(v.d, 'f', precision);
    }
    if (format == VAL_HEX_FORMAT) {
        unsigned long long bits = static_cast<unsigned long long>(v.i) & widthMask(dataType);
        QString digits = QString::number(bits, 16).toUpper().rightJustified(hexDigits, QLatin1Char('0'));
        return showRadix ? QStringLiteral("0x") + digits : digits;
    }
    return QString::number(v.i);
}

bool NumericEdit::parse(const QString& input, Value* out) const {
    QByteArray t = input.trimmed().toLatin1();
    if (t.isEmpty() || t.size() > 64) return false;
    const char* s = t.constData();
    char* end = nullptr;
    errno = 0;
    if (isRealType(dataType)) {
        double d = std::strtod(s, &end);
        if (*end != '\0' || std::isnan(d)) return false;
        *out = convertValue(Value::real(d), dataType);
        return true;
    }
    bool hex = format == VAL_HEX_FORMAT;
    const char* digits = s;
    bool negative = false;
    if (*digits == '-' || *digits == '+') negative = *digits++ == '-';
    if (digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        hex = true;
        digits += 2;
    }
    if (*digits == '\0' || *digits == '-' || *digits == '+') return false;
    unsigned long long mag = std::strtoull(digits, &end, hex ? 16 : 10);
    if (*end != '\0' || errno == ERANGE) return false;
    long long v;
    if (hex && !negative && mag <= widthMask(dataType)) {
        // Hexadecimal digits are the bit pattern of the type's width.
        long long lo, hi;
        integerRange(dataType, &lo, &hi);
        v = static_cast<long long>(mag);
        if (lo < 0 && v > hi) v -= static_cast<long long>(widthMask(dataType)) + 1;
    } else {
        if (mag > 0x7FFFFFFFFFFFFFFFull) return false;
        v = negative ? -static_cast<long long>(mag) : static_cast<long long>(mag);
    }
    *out = convertValue(Value::integer(v), dataType);
    return true;
}

void NumericEdit::refresh() {
    lineEdit()->setText(text(value));
    update();
}

void NumericEdit::setReadOnlyLook(bool on) {
    setReadOnly(on);
    setButtonSymbols(on ? QAbstractSpinBox::NoButtons : QAbstractSpinBox::UpDownArrows);
}

QValidator::State NumericEdit::validate(QString& input, int&) const {
    QString t = input.trimmed();
    if (t.isEmpty() || t == QLatin1String("-") || t == QLatin1String("+") ||
        t.compare(QLatin1String("0x"), Qt::CaseInsensitive) == 0)
        return QValidator::Intermediate;
    Value v;
    if (parse(t, &v)) return QValidator::Acceptable;
    // Allow the partial forms of reals while typing (1e, 1.5e-).
    if (isRealType(dataType) && t.size() < 64) return QValidator::Intermediate;
    return QValidator::Invalid;
}

void NumericEdit::stepBy(int steps) { emit stepped(steps); }

QAbstractSpinBox::StepEnabled NumericEdit::stepEnabled() const {
    if (isReadOnly()) return StepNone;
    StepEnabled e = StepNone;
    if (value.type == Value::Type::Real) {
        if (value.d < maximum.d) e |= StepUpEnabled;
        if (value.d > minimum.d) e |= StepDownEnabled;
    } else {
        if (value.i < maximum.i) e |= StepUpEnabled;
        if (value.i > minimum.i) e |= StepDownEnabled;
    }
    return e;
}

void NumericEdit::keyPressEvent(QKeyEvent* e) {
    if ((e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter) && !isReadOnly()) {
        emit committed(true);
        e->accept();
        return;
    }
    QAbstractSpinBox::keyPressEvent(e);
}

void NumericEdit::focusOutEvent(QFocusEvent* e) {
    if (!isReadOnly() && lineEdit()->isModified()) emit committed(false);
    QAbstractSpinBox::focusOutEvent(e);
}

// ---------------------------------------------------------------------------------------------
// NumericControl
// ---------------------------------------------------------------------------------------------
NumericEdit* NumericControl::edit() const { return static_cast<NumericEdit*>(widget); }

void NumericControl::createWidget(QWidget* parent) {
    auto* e = new NumericEdit(parent);
    e->resize(100, e->sizeHint().height());
    widget = e;
    dflt = e->value;
}

void NumericControl::adoptWidget(QWidget* w) {
    widget = w;
    NumericEdit* e = edit();
    // The data type: the form's dataType property, else a double for a QDoubleSpinBox.
    QVariant dt = w->property("dataType");
    int type = w->property("uirClass").toString() == QLatin1String("QDoubleSpinBox") ? VAL_DOUBLE
                                                                                   : VAL_INTEGER;
    if (dt.isValid()) {
        int named = dataTypeFromName(dt.toString().toStdString(), type);
        if (named != VAL_STRING) type = named;
    }
    e->dataType = type;
    e->minimum = e->formMinimumSet ? convertValue(Value::real(e->formMinimum), type) : typeMin(type);
    e->maximum = e->formMaximumSet ? convertValue(Value::real(e->formMaximum), type) : typeMax(type);
    if (isRealType(type) && !(e->minimum.d <= e->maximum.d)) e->maximum = e->minimum;
    if (!isRealType(type) && e->minimum.i > e->maximum.i) e->maximum = e->minimum;
    e->increment = convertValue(Value::real(e->formStepSet ? e->formStep : 1.0), type);
    e->format = isRealType(type) ? VAL_FLOATING_PT_FORMAT : VAL_DECIMAL_FORMAT;
    if (e->formBase == 16 || w->property("format").toString().toLower() == QLatin1String("hex"))
        e->format = VAL_HEX_FORMAT;
    e->hexDigits = std::clamp(w->property("hexDigits").toInt(), 0, 16);
    if (w->property("showRadix").isValid()) e->showRadix = w->property("showRadix").toBool();
    if (e->formDecimals >= 0) e->precision = std::min(e->formDecimals, 15);
    e->value = clampValue(convertValue(Value::real(e->formValueSet ? e->formValue : 0.0), type),
                          e->minimum, e->maximum);
    dflt = e->value;
    e->refresh();
}

void NumericControl::attach() {
    Control::attach();
    NumericEdit* e = edit();
    const int ph = panel->handle, cid = id;
    auto find = [ph, cid]() -> NumericControl* {
        Control* c = nullptr;
        return lookupControl(ph, cid, &c) == 0 ? static_cast<NumericControl*>(c) : nullptr;
    };
    QObject::connect(e, &NumericEdit::stepped, e, [find](int steps) {
        if (NumericControl* c = find()) c->userStep(steps);
    });
    QObject::connect(e, &NumericEdit::committed, e, [find](bool byEnter) {
        NumericControl* c = find();
        if (!c) return;
        NumericEdit* ed = c->edit();
        Value v;
        if (!ed->parse(ed->editor()->text(), &v)) {
            ed->refresh();  // not a number: the old value stays
            return;
        }
        v = clampValue(v, ed->minimum, ed->maximum);
        bool changed = !(v == ed->value);
        ed->value = v;
        ed->refresh();
        ed->editor()->setModified(false);
        if (changed) dispatchChangeAndCommit(c->panel->handle, c->id);
        else if (byEnter) dispatchControlEvent(c->panel->handle, c->id, EVENT_COMMIT, 0, 0);
    });
}

std::vector<QWidget*> NumericControl::eventWidgets() const {
    std::vector<QWidget*> w{widget};
    if (QLineEdit* le = widget->findChild<QLineEdit*>()) w.push_back(le);
    return w;
}

void NumericControl::userCommit() {
    NumericEdit* e = edit();
    emit e->committed(true);
}

void NumericControl::userStep(int steps) {
    NumericEdit* e = edit();
    if (!operable()) return;
    Value v = e->value;
    if (v.type == Value::Type::Real) v.d += steps * e->increment.d;
    else v.i += steps * e->increment.i;
    v = clampValue(convertValue(v, e->dataType), e->minimum, e->maximum);
    if (v == e->value) return;
    e->value = v;
    e->refresh();
    dispatchChangeAndCommit(panel->handle, id);
}

int NumericControl::setValue(const UiValue& v) {
    NumericEdit* e = edit();
    Value x;
    if (int rc = toValueOfType(v, e->dataType, &x)) return rc;
    e->value = clampValue(x, e->minimum, e->maximum);
    e->refresh();
    return 0;
}

int NumericControl::getValue(Value* v) const {
    NumericEdit* e = edit();
    // A number typed but not yet committed still counts, as the user sees it.
    Value typed;
    if (e->editor()->isModified() && e->parse(e->editor()->text(), &typed))
        *v = clampValue(typed, e->minimum, e->maximum);
    else
        *v = e->value;
    return 0;
}

int NumericControl::defaultValue() {
    edit()->value = clampValue(dflt, edit()->minimum, edit()->maximum);
    edit()->refresh();
    return 0;
}

int NumericControl::setAttribute(int attribute, const UiValue& v) {
    NumericEdit* e = edit();
    long long n = 0;
    switch (attribute) {
        case ATTR_DATA_TYPE: {
            if (int rc = toInteger(v, &n)) return rc;
            if (!isValidDataType(static_cast<int>(n)) || n == VAL_STRING) return UIEInvalidAttributeValue;
            int t = static_cast<int>(n);
            if (t == e->dataType) return 0;
            bool wasReal = isRealType(e->dataType);
            // Limits at the ends of the old type's range move to the ends of the new one;
            // others are kept within the new range.
            bool fullMin = e->minimum == typeMin(e->dataType);
            bool fullMax = e->maximum == typeMax(e->dataType);
            e->dataType = t;
            e->minimum = fullMin ? typeMin(t) : convertValue(e->minimum, t);
            e->maximum = fullMax ? typeMax(t) : convertValue(e->maximum, t);
            e->increment = convertValue(e->increment, t);
            if (!isRealType(t) && e->increment.i == 0) e->increment.i = 1;
            e->value = clampValue(convertValue(e->value, t), e->minimum, e->maximum);
            dflt = convertValue(dflt, t);
            if (wasReal != isRealType(t))
                e->format = isRealType(t) ? VAL_FLOATING_PT_FORMAT : VAL_DECIMAL_FORMAT;
            e->refresh();
            return 0;
        }
        case ATTR_FORMAT:
            if (int rc = toInteger(v, &n)) return rc;
            if (n < VAL_DECIMAL_FORMAT || n > VAL_SCIENTIFIC_FORMAT) return UIEInvalidAttributeValue;
            if (isRealType(e->dataType) != (n >= VAL_FLOATING_PT_FORMAT)) return UIEInvalidAttributeValue;
            e->format = static_cast<int>(n);
            e->refresh();
            return 0;
        case ATTR_PRECISION:
            if (int rc = toInteger(v, &n)) return rc;
            if (n < 0 || n > 15) return UIEInvalidAttributeValue;
            e->precision = static_cast<int>(n);
            e->refresh();
            return 0;
        case ATTR_SHOW_RADIX:
            if (int rc = toInteger(v, &n)) return rc;
            e->showRadix = n != 0;
            e->refresh();
            return 0;
        case ATTR_MIN_VALUE:
        case ATTR_MAX_VALUE:
        case ATTR_INCR_VALUE: {
            Value x;
            if (int rc = toValueOfType(v, e->dataType, &x)) return rc;
            if (attribute == ATTR_INCR_VALUE) {
                e->increment = x;
                return 0;
            }
            Value lo = attribute == ATTR_MIN_VALUE ? x : e->minimum;
            Value hi = attribute == ATTR_MAX_VALUE ? x : e->maximum;
            bool ordered = x.type == Value::Type::Real ? lo.d <= hi.d : lo.i <= hi.i;
            if (!ordered) return UIEInvalidAttributeValue;
            e->minimum = lo;
            e->maximum = hi;
            e->value = clampValue(e->value, lo, hi);
            e->refresh();
            return 0;
        }
        case ATTR_CTRL_MODE: {
            int rc = commonSet(attribute, v);
            if (rc == 0) e->setReadOnlyLook(mode == VAL_INDICATOR);
            return rc;
        }
        case ATTR_TEXT_JUSTIFY:
            if (int rc = toInteger(v, &n)) return rc;
            e->setAlignment(n == VAL_LEFT_JUSTIFIED  ? Qt::AlignLeft
                            : n == VAL_CENTER_JUSTIFIED ? Qt::AlignHCenter
                                                        : Qt::AlignRight);
            return 0;
        default: return kNotMine;
    }
}

int NumericControl::getAttribute(int attribute, Value* v) const {
    NumericEdit* e = edit();
    switch (attribute) {
        case ATTR_DATA_TYPE: *v = Value::integer(e->dataType); return 0;
        case ATTR_FORMAT: *v = Value::integer(e->format); return 0;
        case ATTR_PRECISION: *v = Value::integer(e->precision); return 0;
        case ATTR_SHOW_RADIX: *v = Value::integer(e->showRadix); return 0;
        case ATTR_MIN_VALUE: *v = e->minimum; return 0;
        case ATTR_MAX_VALUE: *v = e->maximum; return 0;
        case ATTR_INCR_VALUE: *v = e->increment; return 0;
        case ATTR_TEXT_JUSTIFY:
            *v = Value::integer(e->alignment() & Qt::AlignLeft      ? VAL_LEFT_JUSTIFIED
                                : e->alignment() & Qt::AlignHCenter ? VAL_CENTER_JUSTIFIED
                                                                    : VAL_RIGHT_JUSTIFIED);
            return 0;
        default: return kNotMine;
    }
}

}  // namespace uir

// String controls, text boxes and text messages.
#include <QtCore/QTimer>
#include <QtGui/QTextBlock>
#include <QtGui/QTextCursor>
#include <QtGui/QTextDocument>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QScrollBar>

#include <algorithm>

#include "uiruntime/kinds.h"

namespace uir {

namespace {

// Text boxes holding text that has been appended but not yet moved into the widget.
std::vector<std::pair<int, int>>& pendingBoxes() {
    static std::vector<std::pair<int, int>> boxes;
    return boxes;
}

Qt::Alignment alignmentOf(long long justify) {
    if (justify == VAL_RIGHT_JUSTIFIED) return Qt::AlignRight | Qt::AlignVCenter;
    if (justify == VAL_CENTER_JUSTIFIED) return Qt::AlignHCenter | Qt::AlignVCenter;
    return Qt::AlignLeft | Qt::AlignVCenter;
}

int justifyOf(Qt::Alignment a) {
    if (a & Qt::AlignRight) return VAL_RIGHT_JUSTIFIED;
    if (a & Qt::AlignHCenter) return VAL_CENTER_JUSTIFIED;
    return VAL_LEFT_JUSTIFIED;
}

}  // namespace

void flushPendingText() {
    std::vector<std::pair<int, int>> boxes;
    boxes.swap(pendingBoxes());
    for (auto [panel, id] : boxes) {
        Control* c = nullptr;
        if (lookupControl(panel, id, &c) == 0 && c->asTextBox()) c->asTextBox()->flush();
    }
}

// ---------------------------------------------------------------------------------------------
// String
// ---------------------------------------------------------------------------------------------
QLineEdit* StringControl::edit() const { return static_cast<QLineEdit*>(widget); }

void StringControl::createWidget(QWidget* parent) {
    auto* e = new QLineEdit(parent);
    e->resize(150, e->sizeHint().height());
    widget = e;
}

void StringControl::attach() {
    Control::attach();
    const int ph = panel->handle, cid = id;
    QObject::connect(edit(), &QLineEdit::textEdited, edit(), [ph, cid](const QString&) {
        if (!quiet()) dispatchControlEvent(ph, cid, EVENT_VAL_CHANGED, 0, 0);
    });
    QObject::connect(edit(), &QLineEdit::returnPressed, edit(), [ph, cid]() {
        Control* c = nullptr;
        if (!quiet() && lookupControl(ph, cid, &c) == 0 && c->mode != VAL_INDICATOR)
            dispatchControlEvent(ph, cid, EVENT_COMMIT, 0, 0);
    });
}

int StringControl::setValue(const UiValue& v) {
    std::string s;
    if (int rc = toText(v, &s)) return rc;
    edit()->setText(QString::fromStdString(s));
    return 0;
}

int StringControl::getValue(Value* v) const {
    *v = Value::text(edit()->text().toStdString());
    return 0;
}

int StringControl::defaultValue() {
    edit()->clear();
    return 0;
}

int StringControl::setAttribute(int attribute, const UiValue& v) {
    long long n = 0;
    switch (attribute) {
        case ATTR_MAX_ENTRY_LENGTH:
            if (int rc = toInteger(v, &n)) return rc;
            if (n < -1 || n > 32767) return UIEInvalidAttributeValue;
            edit()->setMaxLength(n < 0 ? 32767 : static_cast<int>(n));
            return 0;
        case ATTR_TEXT_JUSTIFY:
            if (int rc = toInteger(v, &n)) return rc;
            edit()->setAlignment(alignmentOf(n));
            return 0;
        case ATTR_DATA_TYPE:
            if (int rc = toInteger(v, &n)) return rc;
            return n == VAL_STRING ? 0 : UIEInvalidAttributeValue;
        case ATTR_CTRL_MODE: {
            int rc = commonSet(attribute, v);
            if (rc == 0) edit()->setReadOnly(mode == VAL_INDICATOR);
            return rc;
        }
        default: return kNotMine;
    }
}

int StringControl::getAttribute(int attribute, Value* v) const {
    switch (attribute) {
        case ATTR_STRING_TEXT_LENGTH:
            *v = Value::integer(static_cast<long long>(edit()->text().toStdString().size()));
            return 0;
        case ATTR_MAX_ENTRY_LENGTH:
            *v = Value::integer(edit()->maxLength() >= 32767 ? -1 : edit()->maxLength());
            return 0;
        case ATTR_TEXT_JUSTIFY: *v = Value::integer(justifyOf(edit()->alignment())); return 0;
        case ATTR_DATA_TYPE: *v = Value::integer(VAL_STRING); return 0;
        default: return kNotMine;
    }
}

// ---------------------------------------------------------------------------------------------
// Text box
// ---------------------------------------------------------------------------------------------
QPlainTextEdit* TextBoxControl::edit() const { return static_cast<QPlainTextEdit*>(widget); }

TextBoxControl::~TextBoxControl() {
    auto& boxes = pendingBoxes();
    boxes.erase(std::remove(boxes.begin(), boxes.end(), std::make_pair(panel->handle, id)), boxes.end());
}

void TextBoxControl::createWidget(QWidget* parent) {
    auto* e = new QPlainTextEdit(parent);
    e->resize(250, 120);
    widget = e;
}

void TextBoxControl::adoptWidget(QWidget* w) {
    // A rich text editor from the form is used for plain text only.
    if (!qobject_cast<QPlainTextEdit*>(w)) {
        auto* e = new QPlainTextEdit(w->parentWidget());
        e->setGeometry(w->geometry());
        e->setFont(w->font());
        e->setPalette(w->palette());
        e->setObjectName(w->objectName());
        e->setToolTip(w->toolTip());
        if (auto* te = qobject_cast<QTextEdit*>(w)) e->setPlainText(te->toPlainText());
        w->deleteLater();
        w = e;
    }
    widget = w;
}

void TextBoxControl::attach() {
    Control::attach();
    const int ph = panel->handle, cid = id;
    QObject::connect(edit(), &QPlainTextEdit::textChanged, edit(), [ph, cid]() {
        if (!quiet()) dispatchControlEvent(ph, cid, EVENT_VAL_CHANGED, 0, 0);
    });
}

std::vector<QWidget*> TextBoxControl::eventWidgets() const { return {widget, edit()->viewport()}; }

void TextBoxControl::append(const std::string& text) {
    if (text.empty()) return;
    pending += text;
    if (!flushScheduled) {
        flushScheduled = true;
        pendingBoxes().push_back({panel->handle, id});
        const int ph = panel->handle, cid = id;
        QTimer::singleShot(0, widget, [ph, cid]() {
            Control* c = nullptr;
            if (lookupControl(ph, cid, &c) == 0 && c->asTextBox()) c->asTextBox()->flush();
        });
    }
}

void TextBoxControl::flush() {
    flushScheduled = false;
    if (pending.empty()) return;
    Quiet q;
    QTextCursor cursor(edit()->document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(QString::fromUtf8(pending.data(), static_cast<qsizetype>(pending.size())));
    pending.clear();
    pending.shrink_to_fit();
}

void TextBoxControl::reset(const std::string& text) {
    pending.clear();
    Quiet q;
    edit()->setPlainText(QString::fromStdString(text));
}

int TextBoxControl::lineCount() {
    flush();
    QTextDocument* d = edit()->document();
    int n = d->blockCount();
    if (d->lastBlock().length() <= 1) --n;  // an empty last block only ends the line before
    return n;
}

int TextBoxControl::line(int index, std::string* text) {
    if (index < 0 || index >= lineCount()) return UIEIndexOutOfRange;
    *text = edit()->document()->findBlockByNumber(index).text().toStdString();
    return 0;
}

int TextBoxControl::insertLine(int index, const std::string& text) {
    int n = lineCount();
    if (index < -1 || index > n) return UIEIndexOutOfRange;
    Quiet q;
    QTextDocument* d = edit()->document();
    QString t = QString::fromStdString(text);
    QTextCursor cursor(d);
    if (index == -1 || index == n) {
        cursor.movePosition(QTextCursor::End);
        bool needBreak = !d->isEmpty() && d->lastBlock().length() > 1;
        cursor.insertText(needBreak ? QStringLiteral("\n") + t : t);
    } else {
        cursor.setPosition(d->findBlockByNumber(index).position());
        cursor.insertText(t + QStringLiteral("\n"));
    }
    return 0;
}

int TextBoxControl::replaceLine(int index, const std::string& text) {
    if (index < 0 || index >= lineCount()) return UIEIndexOutOfRange;
    Quiet q;
    QTextBlock b = edit()->document()->findBlockByNumber(index);
    QTextCursor cursor(b);
    cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
    cursor.insertText(QString::fromStdString(text));
    return 0;
}

int TextBoxControl::deleteLine(int index) {
    int n = lineCount();
    if (index < 0 || index >= n) return UIEIndexOutOfRange;
    Quiet q;
    QTextDocument* d = edit()->document();
    QTextBlock b = d->findBlockByNumber(index);
    QTextCursor cursor(d);
    if (b.next().isValid()) {
        cursor.setPosition(b.position());
        cursor.setPosition(b.next().position(), QTextCursor::KeepAnchor);
    } else {
        // The last block: take the line break before it too.
        cursor.setPosition(std::max(0, b.position() - 1));
        cursor.setPosition(b.position() + b.length() - 1, QTextCursor::KeepAnchor);
    }
    cursor.removeSelectedText();
    return 0;
}

int TextBoxControl::setValue(const UiValue& v) {
    std::string s;
    if (int rc = toText(v, &s)) return rc;
    append(s);
    return 0;
}

int TextBoxControl::getValue(Value* v) const {
    const_cast<TextBoxControl*>(this)->flush();
    *v = Value::text(edit()->toPlainText().toStdString());
    return 0;
}

int TextBoxControl::defaultValue() {
    reset("");
    return 0;
}

int TextBoxControl::setAttribute(int attribute, const UiValue& v) {
    long long n = 0;
    switch (attribute) {
        case ATTR_FIRST_VISIBLE_LINE:
            if (int rc = toInteger(v, &n)) return rc;
            if (n < 0) return UIEInvalidAttributeValue;
            flush();
            edit()->verticalScrollBar()->setValue(static_cast<int>(std::min<long long>(n, INT32_MAX)));
            return 0;
        case ATTR_WRAP_MODE:
            if (int rc = toInteger(v, &n)) return rc;
            edit()->setLineWrapMode(n ? QPlainTextEdit::WidgetWidth : QPlainTextEdit::NoWrap);
            return 0;
        case ATTR_DATA_TYPE:
            if (int rc = toInteger(v, &n)) return rc;
            return n == VAL_STRING ? 0 : UIEInvalidAttributeValue;
        case ATTR_CTRL_MODE: {
            int rc = commonSet(attribute, v);
            if (rc == 0) edit()->setReadOnly(mode == VAL_INDICATOR);
            return rc;
        }
        default: return kNotMine;
    }
}

int TextBoxControl::getAttribute(int attribute, Value* v) const {
    auto* self = const_cast<TextBoxControl*>(this);
    switch (attribute) {
        case ATTR_FIRST_VISIBLE_LINE:
            self->flush();
            *v = Value::integer(edit()->verticalScrollBar()->value());
            return 0;
        case ATTR_STRING_TEXT_LENGTH:
            self->flush();
            *v = Value::integer(static_cast<long long>(edit()->toPlainText().toStdString().size()));
            return 0;
        case ATTR_WRAP_MODE: *v = Value::integer(edit()->lineWrapMode() != QPlainTextEdit::NoWrap); return 0;
        case ATTR_DATA_TYPE: *v = Value::integer(VAL_STRING); return 0;
        default: return kNotMine;
    }
}

// ---------------------------------------------------------------------------------------------
// Text message
// ---------------------------------------------------------------------------------------------
QLabel* TextMsgControl::label() const { return static_cast<QLabel*>(widget); }

void TextMsgControl::createWidget(QWidget* parent) {
    auto* l = new QLabel(parent);
    l->setTextFormat(Qt::PlainText);
    widget = l;
    sizeToText();
}

void TextMsgControl::adoptWidget(QWidget* w) {
    widget = w;
    label()->setTextFormat(Qt::PlainText);
    autoSize = w->property("sizeToText").toBool();
}

void TextMsgControl::setText(const std::string& text) {
    label()->setText(QString::fromStdString(text));
    if (autoSize) sizeToText();
}

void TextMsgControl::sizeToText() {
    QLabel* l = label();
    QSize s = l->sizeHint();
    if (l->text().isEmpty()) s.setWidth(std::max(s.width(), 1));
    l->resize(s);
}

int TextMsgControl::setValue(const UiValue& v) {
    std::string s;
    if (int rc = toText(v, &s)) return rc;
    setText(s);
    return 0;
}

int TextMsgControl::getValue(Value* v) const {
    *v = Value::text(label()->text().toStdString());
    return 0;
}

int TextMsgControl::setAttribute(int attribute, const UiValue& v) {
    long long n = 0;
    switch (attribute) {
        case ATTR_LABEL_TEXT: return setValue(v);
        case ATTR_SIZE_TO_TEXT:
            if (int rc = toInteger(v, &n)) return rc;
            autoSize = n != 0;
            if (autoSize) sizeToText();
            return 0;
        case ATTR_TEXT_JUSTIFY:
            if (int rc = toInteger(v, &n)) return rc;
            label()->setAlignment((alignmentOf(n) & Qt::AlignHorizontal_Mask) | Qt::AlignTop);
            return 0;
        default: return kNotMine;
    }
}

int TextMsgControl::getAttribute(int attribute, Value* v) const {
    switch (attribute) {
        case ATTR_LABEL_TEXT: return getValue(v);
        case ATTR_SIZE_TO_TEXT: *v = Value::integer(autoSize); return 0;
        case ATTR_TEXT_JUSTIFY: *v = Value::integer(justifyOf(label()->alignment())); return 0;
        default: return kNotMine;
    }
}

}  // namespace uir

using namespace uir;

// ---------------------------------------------------------------------------------------------
// Public text box functions
// ---------------------------------------------------------------------------------------------
static int textBoxOf(int panel, int control, TextBoxControl** out) {
    Control* c = nullptr;
    if (int rc = lookupControl(panel, control, &c)) return rc;
    if (!c->asTextBox()) return UIEInvalidControlType;
    *out = c->asTextBox();
    return 0;
}

int ResetTextBox(int panel, int control, const char* text) {
    return guarded("ResetTextBox", [&] {
        TextBoxControl* t = nullptr;
        if (int rc = textBoxOf(panel, control, &t)) return rc;
        if (!text) return UIENullPointer;
        t->reset(text);
        return 0;
    });
}

int InsertTextBoxLine(int panel, int control, int index, const char* text) {
    return guarded("InsertTextBoxLine", [&] {
        TextBoxControl* t = nullptr;
        if (int rc = textBoxOf(panel, control, &t)) return rc;
        if (!text) return UIENullPointer;
        return t->insertLine(index, text);
    });
}

int ReplaceTextBoxLine(int panel, int control, int index, const char* text) {
    return guarded("ReplaceTextBoxLine", [&] {
        TextBoxControl* t = nullptr;
        if (int rc = textBoxOf(panel, control, &t)) return rc;
        if (!text) return UIENullPointer;
        return t->replaceLine(index, text);
    });
}

int DeleteTextBoxLine(int panel, int control, int index) {
    return guarded("DeleteTextBoxLine", [&] {
        TextBoxControl* t = nullptr;
        if (int rc = textBoxOf(panel, control, &t)) return rc;
        return t->deleteLine(index);
    });
}

int GetNumTextBoxLines(int panel, int control, int* count) {
    return guarded("GetNumTextBoxLines", [&] {
        TextBoxControl* t = nullptr;
        if (int rc = textBoxOf(panel, control, &t)) return rc;
        if (!count) return UIENullPointer;
        *count = t->lineCount();
        return 0;
    });
}

int GetTextBoxLine(int panel, int control, int index, char* buffer, size_t bufferSize) {
    return guarded("GetTextBoxLine", [&] {
        TextBoxControl* t = nullptr;
        if (int rc = textBoxOf(panel, control, &t)) return rc;
        std::string line;
        if (int rc = t->line(index, &line)) return rc;
        return storeText(line, buffer, bufferSize);
    });
}

int GetTextBoxLineLength(int panel, int control, int index, int* length) {
    return guarded("GetTextBoxLineLength", [&] {
        TextBoxControl* t = nullptr;
        if (int rc = textBoxOf(panel, control, &t)) return rc;
        if (!length) return UIENullPointer;
        std::string line;
        if (int rc = t->line(index, &line)) return rc;
        *length = static_cast<int>(line.size());
        return 0;
    });
}

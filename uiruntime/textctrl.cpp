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

// A block that continues the line of the block before it. Text put in by the program is kept in
// blocks of at most kBlockLength characters: a line of a megabyte in one block takes the text
// layout many seconds, and on screen it wraps anyway.
const int kContinued = 1;
const qsizetype kBlockLength = 1024;

bool continues(const QTextBlock& b) { return b.userState() == kContinued; }

// Starts a new block at the cursor; the block before keeps its state, the new one takes state.
void startBlock(QTextCursor& cursor, int state) {
    int before = cursor.block().userState();
    cursor.insertBlock();
    cursor.block().previous().setUserState(before);
    cursor.block().setUserState(state);
}

// Inserts text at the cursor, line breaks starting new lines and long lines continued in further
// blocks.
void insertLines(QTextCursor& cursor, const QString& text) {
    qsizetype pos = 0;
    while (pos < text.size()) {
        qsizetype end = text.indexOf(QLatin1Char('\n'), pos);
        if (end < 0) end = text.size();
        while (pos < end) {
            qsizetype room = kBlockLength - (cursor.block().length() - 1);
            if (room <= 0) {
                startBlock(cursor, kContinued);
                room = kBlockLength;
            }
            qsizetype n = std::min(room, end - pos);
            cursor.insertText(text.mid(pos, n));
            pos += n;
        }
        if (end < text.size()) {
            startBlock(cursor, -1);
            pos = end + 1;
        }
    }
}

}  // namespace

// Text the program puts in is one step, and not the user's to undo.
struct ProgrammaticEdit {
    explicit ProgrammaticEdit(QTextDocument* d)
        : document(d), cursor(d), undo(d->isUndoRedoEnabled()) {
        d->setUndoRedoEnabled(false);
        cursor.beginEditBlock();
    }
    ~ProgrammaticEdit() {
        cursor.endEditBlock();
        document->setUndoRedoEnabled(undo);
    }
    QTextDocument* document;
    QTextCursor cursor;
    bool undo;
};

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
    ProgrammaticEdit edit(this->edit()->document());
    edit.cursor.movePosition(QTextCursor::End);
    insertLines(edit.cursor,
                QString::fromUtf8(pending.data(), static_cast<qsizetype>(pending.size())));
    pending.clear();
    pending.shrink_to_fit();
}

void TextBoxControl::reset(const std::string& text) {
    pending.clear();
    Quiet q;
    edit()->clear();
    ProgrammaticEdit edit(this->edit()->document());
    insertLines(edit.cursor, QString::fromStdString(text));
}

int TextBoxControl::lineCount() {
    flush();
    QTextDocument* d = edit()->document();
    int n = 0;
    for (QTextBlock b = d->begin(); b.isValid(); b = b.next())
        if (!continues(b)) ++n;
    QTextBlock last = d->lastBlock();
    if (last.length() <= 1 && !continues(last))
        --n;  // an empty last block only ends the line before
    return n;
}

QTextBlock TextBoxControl::lineStart(int index) {
    int n = -1;
    for (QTextBlock b = edit()->document()->begin(); b.isValid(); b = b.next())
        if (!continues(b) && ++n == index) return b;
    return QTextBlock();
}

// The blocks of one line: its first block and the blocks that continue it.
QTextCursor TextBoxControl::selectLine(int index) {
    QTextBlock first = lineStart(index), last = first;
    while (last.next().isValid() && continues(last.next())) last = last.next();
    QTextCursor cursor(edit()->document());
    cursor.setPosition(first.position());
    cursor.setPosition(last.position() + last.length() - 1, QTextCursor::KeepAnchor);
    return cursor;
}

int TextBoxControl::line(int index, std::string* text) {
    if (index < 0 || index >= lineCount()) return UIEIndexOutOfRange;
    QString all;
    QTextBlock b = lineStart(index);
    do {
        all += b.text();
        b = b.next();
    } while (b.isValid() && continues(b));
    *text = all.toStdString();
    return 0;
}

int TextBoxControl::insertLine(int index, const std::string& text) {
    int n = lineCount();
    if (index < -1 || index > n) return UIEIndexOutOfRange;
    Quiet q;
    QTextDocument* d = edit()->document();
    QString t = QString::fromStdString(text);
    ProgrammaticEdit edit(d);
    if (index == -1 || index == n) {
        edit.cursor.movePosition(QTextCursor::End);
        bool needBreak = !d->isEmpty() && d->lastBlock().length() > 1;
        insertLines(edit.cursor, needBreak ? QStringLiteral("\n") + t : t);
    } else {
        // Split off an empty block before the line and fill it.
        QTextBlock at = lineStart(index);
        edit.cursor.setPosition(at.position());
        startBlock(edit.cursor, -1);
        edit.cursor.movePosition(QTextCursor::PreviousBlock);
        insertLines(edit.cursor, t);
    }
    return 0;
}

int TextBoxControl::replaceLine(int index, const std::string& text) {
    if (index < 0 || index >= lineCount()) return UIEIndexOutOfRange;
    Quiet q;
    ProgrammaticEdit edit(this->edit()->document());
    QTextCursor line = selectLine(index);
    edit.cursor.setPosition(line.anchor());
    edit.cursor.setPosition(line.position(), QTextCursor::KeepAnchor);
    edit.cursor.removeSelectedText();
    edit.cursor.block().setUserState(-1);  // still the start of the line
    insertLines(edit.cursor, QString::fromStdString(text));
    return 0;
}

int TextBoxControl::deleteLine(int index) {
    int n = lineCount();
    if (index < 0 || index >= n) return UIEIndexOutOfRange;
    Quiet q;
    QTextCursor line = selectLine(index);
    int from = line.anchor(), to = line.position();
    ProgrammaticEdit edit(this->edit()->document());
    QTextDocument* d = edit.cursor.document();
    if (QTextBlock next = d->findBlock(to).next(); next.isValid()) {
        edit.cursor.setPosition(from);
        edit.cursor.setPosition(next.position(), QTextCursor::KeepAnchor);
        edit.cursor.removeSelectedText();
        edit.cursor.block().setUserState(-1);  // the next line now starts here
    } else {
        // The last line: take the line break before it too; the block before keeps its state.
        int state = from > 0 ? d->findBlock(from - 1).userState() : -1;
        edit.cursor.setPosition(std::max(0, from - 1));
        edit.cursor.setPosition(to, QTextCursor::KeepAnchor);
        edit.cursor.removeSelectedText();
        edit.cursor.block().setUserState(state);
    }
    return 0;
}

std::string TextBoxControl::text() {
    flush();
    QString all;
    for (QTextBlock b = edit()->document()->begin(); b.isValid(); b = b.next()) {
        if (b != edit()->document()->begin() && !continues(b)) all += QLatin1Char('\n');
        all += b.text();
    }
    return all.toStdString();
}

int TextBoxControl::setValue(const UiValue& v) {
    std::string s;
    if (int rc = toText(v, &s)) return rc;
    append(s);
    return 0;
}

int TextBoxControl::getValue(Value* v) const {
    *v = Value::text(const_cast<TextBoxControl*>(this)->text());
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
            // The scroll bar counts blocks; a long line is several.
            if (QTextBlock b = lineStart(static_cast<int>(std::min<long long>(n, INT32_MAX)));
                b.isValid())
                edit()->verticalScrollBar()->setValue(b.blockNumber());
            else
                edit()->verticalScrollBar()->setValue(edit()->verticalScrollBar()->maximum());
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
        case ATTR_FIRST_VISIBLE_LINE: {
            self->flush();
            int line = -1, first = edit()->verticalScrollBar()->value();
            for (QTextBlock b = edit()->document()->begin();
                 b.isValid() && b.blockNumber() <= first; b = b.next())
                if (!continues(b)) ++line;
            *v = Value::integer(std::max(line, 0));
            return 0;
        }
        case ATTR_STRING_TEXT_LENGTH:
            *v = Value::integer(static_cast<long long>(self->text().size()));
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

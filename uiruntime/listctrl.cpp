// Rings and list boxes: items with labels and values, the current index, check marks, and the
// public list functions.
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QListWidget>

#include <algorithm>

#include "uiruntime/kinds.h"
#include "uiruntime/labels.h"
#include "uiruntime/userint.h"
#include "uiruntime/widgets.h"

namespace uir {

namespace {

// A carrier for a value held by the runtime (the text stays owned by the value).
UiValue carrierOf(const Value& v) {
    switch (v.type) {
        case Value::Type::Integer: return UiValue(v.i);
        case Value::Type::Real: return UiValue(v.d);
        case Value::Type::Text: return UiValue(v.s.c_str());
        case Value::Type::Pointer: return UiValue(v.p);
        default: return UiValue(nullptr);
    }
}

// A value of a carrier before the data type is known (for calls from other threads).
Value untypedValue(const UiValue& v, bool* has) {
    *has = true;
    switch (v.kind()) {
        case UiValue::Kind::Integer: return Value::integer(v.integer());
        case UiValue::Kind::Unsigned:
            return Value::integer(v.unsignedInteger() > 0x7FFFFFFFFFFFFFFFull
                                      ? 0x7FFFFFFFFFFFFFFFll
                                      : static_cast<long long>(v.unsignedInteger()));
        case UiValue::Kind::Real: return Value::real(v.real());
        case UiValue::Kind::Text: return v.text() ? Value::text(v.text()) : Value();
        default: *has = false; return Value();
    }
}

QString qs(const std::string& s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }

}  // namespace

// ---------------------------------------------------------------------------------------------
// LabelDelegate
// ---------------------------------------------------------------------------------------------
void LabelDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const {
    std::string raw = index.data(kRawLabelRole).toString().toStdString();
    if (!hasEscapes(raw)) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    ParsedLabel parsed = parseLabel(raw);
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    const QWidget* w = opt.widget;
    QStyle* style = w ? w->style() : QApplication::style();
    if (parsed.separator) {
        painter->save();
        painter->setPen(opt.palette.color(QPalette::Mid));
        int y = opt.rect.center().y();
        painter->drawLine(opt.rect.left() + 2, y, opt.rect.right() - 2, y);
        painter->restore();
        return;
    }
    opt.text.clear();
    style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, w);
    QRect textRect = style->subElementRect(QStyle::SE_ItemViewItemText, &opt, w);
    const bool selected = opt.state & QStyle::State_Selected;
    QColor base = selected ? opt.palette.color(QPalette::HighlightedText) : opt.palette.color(QPalette::Text);
    painter->save();
    painter->setFont(opt.font);
    QFontMetrics fm(opt.font);
    int x = textRect.left();
    for (const LabelSegment& seg : parsed.segments) {
        QString t = qs(seg.text);
        int tw = fm.horizontalAdvance(t);
        if (seg.x >= 0) {
            int at = textRect.left() + seg.x;
            x = seg.align == 'r' ? at - tw : seg.align == 'c' ? at - tw / 2 : at;
        }
        QRect r(x, textRect.top(), tw, textRect.height());
        if (seg.bg >= 0 && !selected) painter->fillRect(r, rgbColor(seg.bg));
        painter->setPen(seg.fg >= 0 && !selected ? rgbColor(seg.fg) : base);
        painter->drawText(r, Qt::AlignVCenter | Qt::AlignLeft, t);
        x += tw;
    }
    painter->restore();
}

QSize LabelDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    return QStyledItemDelegate::sizeHint(option, index);
}

// ---------------------------------------------------------------------------------------------
// ListControl
// ---------------------------------------------------------------------------------------------
Value ListControl::defaultItemValue(int index, const std::string& label) const {
    if (dataType == VAL_STRING) return Value::text(plainLabel(label));
    return convertValue(Value::integer(index), dataType);
}

int ListControl::insert(int index, const std::string& label, const Value& value) {
    int n = count();
    if (index == -1) index = n;
    if (index < 0 || index > n) return UIEIndexOutOfRange;
    Quiet q;
    Item item;
    item.label = label;
    item.value = value;
    items.insert(items.begin() + index, std::move(item));
    widgetInsert(index, label);
    if (n == 0) widgetSetIndex(0);
    afterChange();
    return 0;
}

int ListControl::replace(int index, const std::string& label, const Value& value) {
    if (index < 0 || index >= count()) return UIEIndexOutOfRange;
    Quiet q;
    items[index].label = label;
    items[index].value = value;
    widgetSetLabel(index, label);
    afterChange();
    return 0;
}

int ListControl::remove(int index, int n) {
    if (index < 0 || index >= count()) return UIEIndexOutOfRange;
    if (n < 0 || index + n > count()) n = count() - index;
    Quiet q;
    for (int k = index + n - 1; k >= index; --k) widgetRemove(k);
    items.erase(items.begin() + index, items.begin() + index + n);
    afterChange();
    return 0;
}

int ListControl::setIndex(int i) {
    if (i < 0 || i >= count()) return UIEIndexOutOfRange;
    Quiet q;
    widgetSetIndex(i);
    afterChange();
    return 0;
}

int ListControl::index() const { return items.empty() ? -1 : widgetIndex(); }

int ListControl::check(int i, bool on) {
    if (style != CTRL_LIST) return UIEInvalidControlType;
    if (i < 0 || i >= count()) return UIEIndexOutOfRange;
    Quiet q;
    items[i].checked = on;
    widgetSetChecked(i, on);
    return 0;
}

int ListControl::setValue(const UiValue& v) {
    Value x;
    if (int rc = toValueOfType(v, dataType, &x)) return rc;
    for (int k = 0; k < count(); ++k)
        if (items[k].value == x) return setIndex(k);
    return UIEValueNotInList;
}

int ListControl::getValue(Value* v) const {
    int i = index();
    if (i < 0 || i >= count()) return UIEIndexOutOfRange;
    *v = items[i].value;
    return 0;
}

int ListControl::defaultValue() { return count() > 0 ? setIndex(std::min(dflt, count() - 1)) : 0; }

int ListControl::setAttribute(int attribute, const UiValue& v) {
    long long n = 0;
    switch (attribute) {
        case ATTR_DATA_TYPE:
            if (int rc = toInteger(v, &n)) return rc;
            if (!isValidDataType(static_cast<int>(n))) return UIEInvalidAttributeValue;
            dataType = static_cast<int>(n);
            for (Item& it : items) it.value = convertValue(it.value, dataType);
            return 0;
        case ATTR_CHECK_MODE:
            if (style != CTRL_LIST) return UIEInvalidAttribute;
            if (int rc = toInteger(v, &n)) return rc;
            checkMode = n != 0;
            {
                Quiet q;
                widgetSetCheckMode(checkMode);
            }
            return 0;
        default: return kNotMine;
    }
}

int ListControl::getAttribute(int attribute, Value* v) const {
    switch (attribute) {
        case ATTR_DATA_TYPE: *v = Value::integer(dataType); return 0;
        case ATTR_CHECK_MODE:
            if (style != CTRL_LIST) return UIEInvalidAttribute;
            *v = Value::integer(checkMode);
            return 0;
        default: return kNotMine;
    }
}

// ---------------------------------------------------------------------------------------------
// Ring
// ---------------------------------------------------------------------------------------------
QComboBox* RingControl::combo() const { return static_cast<QComboBox*>(widget); }

void RingControl::createWidget(QWidget* parent) {
    auto* c = new QComboBox(parent);
    c->resize(150, c->sizeHint().height());
    widget = c;
}

void ListControl::readFormDataType(QWidget* w) {
    QVariant named = w->property("dataType");
    if (named.isValid()) dataType = dataTypeFromName(named.toString().toStdString(), dataType);
}

void RingControl::adoptWidget(QWidget* w) {
    // Items written into the form become items with default values (or the form's itemValues).
    widget = w;
    QComboBox* c = combo();
    QStringList labels;
    for (int k = 0; k < c->count(); ++k) labels << c->itemText(k);
    int current = c->currentIndex();
    c->clear();
    readFormDataType(w);
    QStringList values = w->property("itemValues").toStringList();
    for (int k = 0; k < labels.size(); ++k) {
        std::string label = labels[k].toStdString();
        Value v = defaultItemValue(k, label);
        if (k < values.size()) {
            std::string s = values[k].toStdString();
            if (dataType == VAL_STRING) v = Value::text(s);
            else if (isRealType(dataType)) v = convertValue(Value::real(values[k].toDouble()), dataType);
            else v = convertValue(Value::integer(values[k].toLongLong(nullptr, 0)), dataType);
        }
        insert(k, label, v);
    }
    if (current >= 0 && current < count()) setIndex(current);
    dflt = std::max(current, 0);
}

void RingControl::attach() {
    Control::attach();
    combo()->setItemDelegate(new LabelDelegate(combo()));
    const int ph = panel->handle, cid = id;
    QObject::connect(combo(), &QComboBox::activated, combo(), [ph, cid](int index) {
        Control* c = nullptr;
        if (quiet() || lookupControl(ph, cid, &c) != 0) return;
        static_cast<RingControl*>(c)->userSelect(index);
    });
}

void RingControl::widgetInsert(int index, const std::string& label) {
    QComboBox* c = combo();
    ParsedLabel p;
    if (hasEscapes(label)) p = parseLabel(label);
    if (p.separator) {
        c->insertSeparator(index);
    } else {
        c->insertItem(index, qs(plainLabel(label)));
    }
    c->setItemData(index, qs(label), LabelDelegate::kRawLabelRole);
}

void RingControl::widgetRemove(int index) { combo()->removeItem(index); }

void RingControl::widgetSetLabel(int index, const std::string& label) {
    QComboBox* c = combo();
    int current = c->currentIndex();
    c->removeItem(index);
    widgetInsert(index, label);
    if (current >= 0) c->setCurrentIndex(current);
}

void RingControl::afterChange() { lastUserIndex_ = combo()->currentIndex(); }

int RingControl::widgetIndex() const { return combo()->currentIndex(); }
void RingControl::widgetSetIndex(int index) { combo()->setCurrentIndex(index); }

void RingControl::userSelect(int index) {
    if (index < 0 || index >= count()) return;
    int before = lastUserIndex_;
    if (mode == VAL_INDICATOR) {
        Quiet q;
        combo()->setCurrentIndex(before >= 0 && before < count() ? before : 0);
        return;
    }
    {
        Quiet q;
        combo()->setCurrentIndex(index);
    }
    lastUserIndex_ = index;
    if (before != index) dispatchChangeAndCommit(panel->handle, id);
    else dispatchControlEvent(panel->handle, id, EVENT_COMMIT, 0, 0);
}

// ---------------------------------------------------------------------------------------------
// List box
// ---------------------------------------------------------------------------------------------
QListWidget* ListBoxControl::list() const { return static_cast<QListWidget*>(widget); }

void ListBoxControl::createWidget(QWidget* parent) {
    auto* l = new QListWidget(parent);
    l->resize(200, 150);
    widget = l;
}

void ListBoxControl::adoptWidget(QWidget* w) {
    widget = w;
    QListWidget* l = list();
    QStringList labels;
    for (int k = 0; k < l->count(); ++k) labels << l->item(k)->text();
    l->clear();
    readFormDataType(w);
    checkMode = w->property("checkMode").toBool();
    QStringList values = w->property("itemValues").toStringList();
    for (int k = 0; k < labels.size(); ++k) {
        std::string label = labels[k].toStdString();
        Value v = defaultItemValue(k, label);
        if (k < values.size()) {
            if (dataType == VAL_STRING) v = Value::text(values[k].toStdString());
            else if (isRealType(dataType)) v = convertValue(Value::real(values[k].toDouble()), dataType);
            else v = convertValue(Value::integer(values[k].toLongLong(nullptr, 0)), dataType);
        }
        insert(k, label, v);
    }
}

void ListBoxControl::attach() {
    Control::attach();
    QListWidget* l = list();
    l->setUniformItemSizes(true);
    l->setItemDelegate(new LabelDelegate(l));
    l->setSelectionMode(QAbstractItemView::SingleSelection);
    const int ph = panel->handle, cid = id;
    auto find = [ph, cid]() -> ListBoxControl* {
        Control* c = nullptr;
        if (quiet() || lookupControl(ph, cid, &c) != 0) return nullptr;
        return static_cast<ListBoxControl*>(c);
    };
    QObject::connect(l, &QListWidget::currentRowChanged, l, [find](int row) {
        if (ListBoxControl* c = find()) {
            if (row >= 0) dispatchControlEvent(c->panel->handle, c->id, EVENT_VAL_CHANGED, 0, 0);
        }
    });
    QObject::connect(l, &QListWidget::itemActivated, l, [find](QListWidgetItem*) {
        if (ListBoxControl* c = find()) c->userCommit();
    });
    QObject::connect(l, &QListWidget::itemChanged, l, [find](QListWidgetItem* item) {
        ListBoxControl* c = find();
        if (!c) return;
        int row = c->list()->row(item);
        if (row < 0 || row >= c->count()) return;
        bool on = item->checkState() == Qt::Checked;
        if (on == c->items[row].checked) return;
        if (c->mode == VAL_INDICATOR) {
            Quiet q;
            item->setCheckState(c->items[row].checked ? Qt::Checked : Qt::Unchecked);
            return;
        }
        c->items[row].checked = on;
        dispatchControlEvent(c->panel->handle, c->id, EVENT_COMMIT, 0, 0);
    });
}

std::vector<QWidget*> ListBoxControl::eventWidgets() const { return {widget, list()->viewport()}; }

void ListBoxControl::widgetInsert(int index, const std::string& label) {
    auto* item = new QListWidgetItem;
    ParsedLabel p;
    bool escapes = hasEscapes(label);
    if (escapes) p = parseLabel(label);
    item->setText(qs(escapes ? plainLabel(label) : label));
    item->setData(LabelDelegate::kRawLabelRole, qs(label));
    if (p.separator) {
        item->setFlags(Qt::NoItemFlags);
    } else if (checkMode) {
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(Qt::Unchecked);
    }
    list()->insertItem(index, item);
}

void ListBoxControl::widgetRemove(int index) { delete list()->takeItem(index); }

void ListBoxControl::widgetSetLabel(int index, const std::string& label) {
    QListWidgetItem* item = list()->item(index);
    if (!item) return;
    item->setText(qs(hasEscapes(label) ? plainLabel(label) : label));
    item->setData(LabelDelegate::kRawLabelRole, qs(label));
}

int ListBoxControl::widgetIndex() const { return list()->currentRow(); }
void ListBoxControl::widgetSetIndex(int index) { list()->setCurrentRow(index); }

void ListBoxControl::widgetSetChecked(int index, bool on) {
    if (QListWidgetItem* item = list()->item(index)) {
        if (!(item->flags() & Qt::ItemIsUserCheckable) && item->flags() != Qt::NoItemFlags)
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(on ? Qt::Checked : Qt::Unchecked);
    }
}

void ListBoxControl::widgetSetCheckMode(bool on) {
    QListWidget* l = list();
    for (int k = 0; k < l->count(); ++k) {
        QListWidgetItem* item = l->item(k);
        if (item->flags() == Qt::NoItemFlags) continue;  // a separator
        if (on) {
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
            item->setCheckState(items[k].checked ? Qt::Checked : Qt::Unchecked);
        } else {
            item->setFlags(item->flags() & ~Qt::ItemIsUserCheckable);
            item->setData(Qt::CheckStateRole, QVariant());
        }
    }
}

void ListBoxControl::userSelect(int index) {
    if (index < 0 || index >= count()) return;
    if (mode == VAL_INDICATOR) return;
    list()->setCurrentRow(index);  // reported through currentRowChanged
}

void ListBoxControl::userToggleCheck(int index) {
    if (!checkMode || index < 0 || index >= count()) return;
    QListWidgetItem* item = list()->item(index);
    if (!item || !(item->flags() & Qt::ItemIsUserCheckable)) return;
    item->setCheckState(items[index].checked ? Qt::Unchecked : Qt::Checked);
}

void ListBoxControl::userCommit() {
    if (mode == VAL_INDICATOR) return;
    dispatchControlEvent(panel->handle, id, EVENT_COMMIT, 0, 0);
}

int insertListItemOnGui(int panel, int control, int index, const std::string& label, const Value& v,
                        bool hasValue) {
    Control* c = nullptr;
    if (int rc = lookupControl(panel, control, &c)) return rc;
    ListControl* l = c->asList();
    if (!l) return UIEInvalidControlType;
    Value typed;
    int at = index == -1 ? l->count() : index;
    if (hasValue) {
        if (int rc = toValueOfType(carrierOf(v), l->dataType, &typed)) return rc;
    } else {
        typed = l->defaultItemValue(at, label);
    }
    return l->insert(index, label, typed);
}

}  // namespace uir

using namespace uir;

// ---------------------------------------------------------------------------------------------
// Public functions
// ---------------------------------------------------------------------------------------------
static int listOf(int panel, int control, ListControl** out) {
    Control* c = nullptr;
    if (int rc = lookupControl(panel, control, &c)) return rc;
    if (!c->asList()) return UIEInvalidControlType;
    *out = c->asList();
    return 0;
}

int InsertListItem(int panel, int control, int index, const char* label, UiValue value) {
    if (!runtime()) return report("InsertListItem", UIENotInitialized);
    if (!label) return report("InsertListItem", UIENullPointer);
    if (!onGuiThread()) {
        // From another thread: copy everything now and insert on the runtime's thread.
        try {
            bool has = false;
            Value v = untypedValue(value, &has);
            std::string l = label;
            return report("InsertListItem", postDeferred([panel, control, index, l, v, has] {
                report("InsertListItem", insertListItemOnGui(panel, control, index, l, v, has));
            }));
        } catch (...) {
            return report("InsertListItem", UIEOutOfMemoryError);
        }
    }
    return guarded("InsertListItem", [&] {
        bool has = false;
        Value v = untypedValue(value, &has);
        if (value.kind() == UiValue::Kind::Text && !value.text()) return UIENullPointer;
        return insertListItemOnGui(panel, control, index, label, v, has);
    });
}

int ReplaceListItem(int panel, int control, int index, const char* label, UiValue value) {
    return guarded("ReplaceListItem", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (!label) return UIENullPointer;
        Value v;
        if (value.kind() == UiValue::Kind::Null) v = l->defaultItemValue(index, label);
        else if (int rc = toValueOfType(value, l->dataType, &v)) return rc;
        return l->replace(index, label, v);
    });
}

int DeleteListItem(int panel, int control, int index, int count) {
    return guarded("DeleteListItem", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (count == 0) return 0;
        return l->remove(index, count);
    });
}

int ClearListCtrl(int panel, int control) {
    return guarded("ClearListCtrl", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        return l->count() ? l->remove(0, -1) : 0;
    });
}

int GetNumListItems(int panel, int control, int* count) {
    return guarded("GetNumListItems", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (!count) return UIENullPointer;
        *count = l->count();
        return 0;
    });
}

int SetCtrlIndex(int panel, int control, int index) {
    return guarded("SetCtrlIndex", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        return l->setIndex(index);
    });
}

int GetCtrlIndex(int panel, int control, int* index) {
    return guarded("GetCtrlIndex", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (!index) return UIENullPointer;
        *index = l->index();
        return 0;
    });
}

int GetLabelFromIndex(int panel, int control, int index, char* buffer, size_t bufferSize) {
    return guarded("GetLabelFromIndex", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (index < 0 || index >= l->count()) return UIEIndexOutOfRange;
        return storeText(l->items[index].label, buffer, bufferSize);
    });
}

int GetLabelLengthFromIndex(int panel, int control, int index, int* length) {
    return guarded("GetLabelLengthFromIndex", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (index < 0 || index >= l->count()) return UIEIndexOutOfRange;
        if (!length) return UIENullPointer;
        *length = static_cast<int>(l->items[index].label.size());
        return 0;
    });
}

int GetValueFromIndex(int panel, int control, int index, UiOut value) {
    return guarded("GetValueFromIndex", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (index < 0 || index >= l->count()) return UIEIndexOutOfRange;
        return storeValue(l->items[index].value, value);
    });
}

int GetValueFromIndex(int panel, int control, int index, char* buffer, size_t bufferSize) {
    return GetValueFromIndex(panel, control, index, UiOut::Text(buffer, bufferSize));
}

int GetValueLengthFromIndex(int panel, int control, int index, int* length) {
    return guarded("GetValueLengthFromIndex", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (index < 0 || index >= l->count()) return UIEIndexOutOfRange;
        if (!length) return UIENullPointer;
        if (l->items[index].value.type != Value::Type::Text) return UIEInvalidDataType;
        *length = static_cast<int>(l->items[index].value.s.size());
        return 0;
    });
}

int GetIndexFromValue(int panel, int control, int* index, UiValue value) {
    return guarded("GetIndexFromValue", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (!index) return UIENullPointer;
        Value v;
        if (int rc = toValueOfType(value, l->dataType, &v)) return rc;
        *index = -1;
        for (int k = 0; k < l->count(); ++k)
            if (l->items[k].value == v) {
                *index = k;
                break;
            }
        return 0;
    });
}

int CheckListItem(int panel, int control, int index, int checked) {
    return guarded("CheckListItem", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        return l->check(index, checked != 0);
    });
}

int IsListItemChecked(int panel, int control, int index, int* checked) {
    return guarded("IsListItemChecked", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (l->style != CTRL_LIST) return UIEInvalidControlType;
        if (index < 0 || index >= l->count()) return UIEIndexOutOfRange;
        if (!checked) return UIENullPointer;
        *checked = l->items[index].checked;
        return 0;
    });
}

int GetNumCheckedItems(int panel, int control, int* count) {
    return guarded("GetNumCheckedItems", [&] {
        ListControl* l = nullptr;
        if (int rc = listOf(panel, control, &l)) return rc;
        if (l->style != CTRL_LIST) return UIEInvalidControlType;
        if (!count) return UIENullPointer;
        *count = static_cast<int>(std::count_if(l->items.begin(), l->items.end(),
                                                [](const ListControl::Item& i) { return i.checked; }));
        return 0;
    });
}

// Tables: rows the program keeps itself, asked for cell by cell as they come into view, and the
// public table and clipboard functions.
#include <QtCore/QAbstractTableModel>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QTableView>

#include <algorithm>
#include <cstring>

#include "uiruntime/kinds.h"
#include "uiruntime/userint.h"

namespace uir {

namespace {

constexpr size_t kCellTextSize = 1024;

QString qs(const std::string& s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }

}  // namespace

// The table's model: no data of its own, only what the cell function answers. A cell is asked
// for once per paint; Qt asks several roles of the same cell in a row, so the last answer is kept.
class CellModel : public QAbstractTableModel {
public:
    explicit CellModel(TableControl* owner) : owner_(owner) {}

    int rowCount(const QModelIndex& parent) const override { return parent.isValid() ? 0 : owner_->rows; }
    int columnCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>(owner_->columns.size());
    }
    QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ForegroundRole && role != Qt::ToolTipRole))
            return QVariant();
        if (index.row() != cachedRow_ || index.column() != cachedColumn_) {
            int color = -1;
            cachedText_ = qs(owner_->cellText(index.row(), index.column(), &color));
            cachedColor_ = color;
            cachedRow_ = index.row();
            cachedColumn_ = index.column();
        }
        if (role == Qt::ForegroundRole)
            return cachedColor_ >= 0 ? QVariant(rgbColor(cachedColor_)) : QVariant();
        return cachedText_;
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 ||
            section >= static_cast<int>(owner_->columns.size()))
            return QVariant();
        return qs(owner_->columns[static_cast<size_t>(section)]);
    }
    void forget() { cachedRow_ = cachedColumn_ = -1; }

    // QAbstractTableModel keeps these protected; the control changes its rows through them.
    using QAbstractTableModel::beginInsertRows;
    using QAbstractTableModel::beginRemoveRows;
    using QAbstractTableModel::beginResetModel;
    using QAbstractTableModel::endInsertRows;
    using QAbstractTableModel::endRemoveRows;
    using QAbstractTableModel::endResetModel;

private:
    TableControl* owner_;
    mutable int cachedRow_ = -1, cachedColumn_ = -1;
    mutable QString cachedText_;
    mutable int cachedColor_ = -1;
};

QTableView* TableControl::view() const { return static_cast<QTableView*>(widget); }

TableControl::~TableControl() {
    if (widget) view()->setModel(nullptr);
    delete model_;
}

void TableControl::createWidget(QWidget* parent) {
    auto* v = new QTableView(parent);
    v->resize(400, 200);
    widget = v;
    configure();
}

void TableControl::adoptWidget(QWidget* w) {
    widget = w;
    for (const QString& c : w->property("columns").toStringList()) columns.push_back(c.toStdString());
    configure();
    QStringList widths = w->property("columnWidths").toStringList();
    for (int k = 0; k < widths.size(); ++k) setColumnWidth(k, widths[k].toInt());
}

void TableControl::configure() {
    QTableView* v = view();
    model_ = new CellModel(this);
    v->setModel(model_);
    v->setSelectionBehavior(QAbstractItemView::SelectRows);
    v->setSelectionMode(QAbstractItemView::ExtendedSelection);
    v->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    v->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    v->setWordWrap(false);
    v->setShowGrid(false);
    v->setAlternatingRowColors(true);
    v->setTabKeyNavigation(false);
    v->setTextElideMode(Qt::ElideRight);
    // Rows of one fixed height: the view never measures them, whatever their number.
    QHeaderView* rowsHeader = v->verticalHeader();
    rowsHeader->hide();
    rowsHeader->setSectionResizeMode(QHeaderView::Fixed);
    rowsHeader->setDefaultSectionSize(v->fontMetrics().height() + 4);
    QHeaderView* header = v->horizontalHeader();
    header->setStretchLastSection(true);
    header->setHighlightSections(false);
    header->setSectionResizeMode(QHeaderView::Interactive);
}

void TableControl::attach() {
    Control::attach();
    const int ph = panel->handle, cid = id;
    auto find = [ph, cid]() -> TableControl* {
        Control* c = nullptr;
        if (quiet() || lookupControl(ph, cid, &c) != 0) return nullptr;
        return c->asTable();
    };
    QObject::connect(view()->selectionModel(), &QItemSelectionModel::currentRowChanged, view(),
                     [find](const QModelIndex& current, const QModelIndex&) {
                         if (TableControl* t = find(); t && current.isValid())
                             dispatchControlEvent(t->panel->handle, t->id, EVENT_VAL_CHANGED, 0, 0);
                     });
    QObject::connect(view(), &QAbstractItemView::activated, view(), [find](const QModelIndex&) {
        if (TableControl* t = find(); t && t->mode != VAL_INDICATOR)
            dispatchControlEvent(t->panel->handle, t->id, EVENT_COMMIT, 0, 0);
    });
}

std::vector<QWidget*> TableControl::eventWidgets() const { return {widget, view()->viewport()}; }

std::string TableControl::cellText(int row, int column, int* color) const {
    *color = -1;
    if (!source || row < 0 || row >= rows || column < 0 || column >= static_cast<int>(columns.size())) return {};
    char text[kCellTextSize];
    text[0] = '\0';
    TableCell cell{text, sizeof text, -1};
    source(panel->handle, id, row, column, &cell, sourceData);
    text[sizeof text - 1] = '\0';
    if (cell.textColor >= 0 && cell.textColor <= 0xFFFFFF) *color = cell.textColor;
    return text;
}

// The last row is in view (or there is room below it). Read from the rows' positions, which
// follow every change at once, not from the scroll bar, whose range is brought up to date later.
bool TableControl::atEnd() const {
    if (rows == 0) return true;
    int last = view()->rowAt(view()->viewport()->height() - 1);
    return last < 0 || last >= rows - 1;
}

int TableControl::setColumns(const std::vector<std::string>& labels) {
    Quiet q;
    model_->beginResetModel();
    columns = labels;
    model_->forget();
    model_->endResetModel();
    return 0;
}

int TableControl::setColumnWidth(int column, int width) {
    if (column < 0 || column >= static_cast<int>(columns.size())) return UIEIndexOutOfRange;
    if (width < 0 || width > 32767) return UIEInvalidAttributeValue;
    view()->setColumnWidth(column, width);
    return 0;
}

int TableControl::setRows(int count) {
    if (count < 0) return UIEInvalidAttributeValue;
    if (count == rows) return 0;
    Quiet q;
    bool follow = atEnd();
    model_->forget();
    if (count > rows) {
        model_->beginInsertRows(QModelIndex(), rows, count - 1);
        rows = count;
        model_->endInsertRows();
    } else {
        model_->beginRemoveRows(QModelIndex(), count, rows - 1);
        rows = count;
        model_->endRemoveRows();
    }
    if (follow) view()->scrollToBottom();
    return 0;
}

int TableControl::deleteRows(int index, int count) {
    if (index < 0 || index >= rows) return UIEIndexOutOfRange;
    if (count < 0 || index + count > rows) count = rows - index;
    if (count == 0) return 0;
    Quiet q;
    bool follow = atEnd();
    int first = view()->verticalScrollBar()->value();
    model_->forget();
    model_->beginRemoveRows(QModelIndex(), index, index + count - 1);
    rows -= count;
    model_->endRemoveRows();
    if (follow) {
        view()->scrollToBottom();
    } else if (index < first) {
        // The rows in view stay in view.
        view()->verticalScrollBar()->setValue(first - std::min(count, first - index));
    }
    return 0;
}

void TableControl::refresh() {
    model_->forget();
    view()->viewport()->update();
}

std::vector<int> TableControl::selectedRows() const {
    std::vector<int> out;
    for (const QModelIndex& i : view()->selectionModel()->selectedRows()) out.push_back(i.row());
    std::sort(out.begin(), out.end());
    return out;
}

void TableControl::userScroll(int firstRow) {
    view()->doItemsLayout();  // what the event loop has done before the user can touch the bar
    view()->verticalScrollBar()->setValue(firstRow);
}

void TableControl::userSelect(int row, bool extend) {
    if (row < 0 || row >= rows) return;
    QModelIndex index = model_->index(row, 0);
    auto flags = extend ? QItemSelectionModel::Select | QItemSelectionModel::Rows
                        : QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows;
    view()->selectionModel()->setCurrentIndex(index, flags);
    view()->scrollTo(index);
}

int TableControl::setValue(const UiValue& v) {
    long long n = 0;
    if (int rc = toInteger(v, &n)) return rc;
    if (n == -1) {
        view()->selectionModel()->clear();
        return 0;
    }
    if (n < 0 || n >= rows) return UIEIndexOutOfRange;
    userSelect(static_cast<int>(n), false);
    return 0;
}

int TableControl::getValue(Value* v) const {
    QModelIndex current = view()->selectionModel()->currentIndex();
    *v = Value::integer(current.isValid() ? current.row() : -1);
    return 0;
}

int TableControl::defaultValue() {
    view()->selectionModel()->clear();
    return 0;
}

int TableControl::setAttribute(int attribute, const UiValue& v) {
    long long n = 0;
    switch (attribute) {
        case ATTR_FIRST_VISIBLE_LINE:
            if (int rc = toInteger(v, &n)) return rc;
            if (n < 0 || n >= std::max(rows, 1)) return UIEIndexOutOfRange;
            view()->verticalScrollBar()->setValue(static_cast<int>(n));
            return 0;
        case ATTR_DATA_TYPE:
            if (int rc = toInteger(v, &n)) return rc;
            return n == VAL_INTEGER ? 0 : UIEInvalidAttributeValue;
        default: return kNotMine;
    }
}

int TableControl::getAttribute(int attribute, Value* v) const {
    switch (attribute) {
        case ATTR_FIRST_VISIBLE_LINE: *v = Value::integer(view()->verticalScrollBar()->value()); return 0;
        case ATTR_DATA_TYPE: *v = Value::integer(VAL_INTEGER); return 0;
        default: return kNotMine;
    }
}

}  // namespace uir

using namespace uir;

// ---------------------------------------------------------------------------------------------
// Public functions
// ---------------------------------------------------------------------------------------------
static int tableOf(int panel, int control, TableControl** out) {
    Control* c = nullptr;
    if (int rc = lookupControl(panel, control, &c)) return rc;
    if (!c->asTable()) return UIEInvalidControlType;
    *out = c->asTable();
    return 0;
}

int SetTableCellSource(int panel, int control, TableCellCallbackPtr source, void* callbackData) {
    return guarded("SetTableCellSource", [&] {
        TableControl* t = nullptr;
        if (int rc = tableOf(panel, control, &t)) return rc;
        t->source = source;
        t->sourceData = callbackData;
        t->refresh();
        return 0;
    });
}

int SetTableColumns(int panel, int control, int count, const char* const* labels) {
    return guarded("SetTableColumns", [&] {
        TableControl* t = nullptr;
        if (int rc = tableOf(panel, control, &t)) return rc;
        if (count < 0 || count > 256) return UIEInvalidAttributeValue;
        if (count > 0 && !labels) return UIENullPointer;
        std::vector<std::string> names;
        for (int k = 0; k < count; ++k) names.emplace_back(labels[k] ? labels[k] : "");
        return t->setColumns(names);
    });
}

int SetTableColumnWidth(int panel, int control, int column, int width) {
    return guarded("SetTableColumnWidth", [&] {
        TableControl* t = nullptr;
        if (int rc = tableOf(panel, control, &t)) return rc;
        return t->setColumnWidth(column, width);
    });
}

int GetNumTableColumns(int panel, int control, int* count) {
    return guarded("GetNumTableColumns", [&] {
        TableControl* t = nullptr;
        if (int rc = tableOf(panel, control, &t)) return rc;
        if (!count) return UIENullPointer;
        *count = static_cast<int>(t->columns.size());
        return 0;
    });
}

int SetNumTableRows(int panel, int control, int rows) {
    return guarded("SetNumTableRows", [&] {
        TableControl* t = nullptr;
        if (int rc = tableOf(panel, control, &t)) return rc;
        return t->setRows(rows);
    });
}

int GetNumTableRows(int panel, int control, int* rows) {
    return guarded("GetNumTableRows", [&] {
        TableControl* t = nullptr;
        if (int rc = tableOf(panel, control, &t)) return rc;
        if (!rows) return UIENullPointer;
        *rows = t->rows;
        return 0;
    });
}

int DeleteTableRows(int panel, int control, int index, int count) {
    return guarded("DeleteTableRows", [&] {
        TableControl* t = nullptr;
        if (int rc = tableOf(panel, control, &t)) return rc;
        return t->deleteRows(index, count);
    });
}

int RefreshTable(int panel, int control) {
    return guarded("RefreshTable", [&] {
        TableControl* t = nullptr;
        if (int rc = tableOf(panel, control, &t)) return rc;
        t->refresh();
        return 0;
    });
}

int GetSelectedTableRows(int panel, int control, int* rows, int maxRows, int* count) {
    return guarded("GetSelectedTableRows", [&] {
        TableControl* t = nullptr;
        if (int rc = tableOf(panel, control, &t)) return rc;
        if (!count || (maxRows > 0 && !rows)) return UIENullPointer;
        std::vector<int> selected = t->selectedRows();
        *count = static_cast<int>(selected.size());
        for (int k = 0; k < maxRows && k < *count; ++k) rows[k] = selected[static_cast<size_t>(k)];
        return 0;
    });
}

int ClipboardPutText(const char* text) {
    return guarded("ClipboardPutText", [&] {
        if (!text) return UIENullPointer;
        QGuiApplication::clipboard()->setText(QString::fromUtf8(text));
        return 0;
    });
}

int ClipboardGetText(char* buffer, size_t bufferSize, size_t* length) {
    return guarded("ClipboardGetText", [&] {
        if (!buffer || bufferSize == 0) return UIENullPointer;
        std::string text = QGuiApplication::clipboard()->text().toStdString();
        if (length) *length = text.size();
        size_t n = std::min(text.size(), bufferSize - 1);
        std::memcpy(buffer, text.data(), n);
        buffer[n] = '\0';
        return 0;
    });
}

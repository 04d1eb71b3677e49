// Internal: the control kinds, each a small class over a Qt widget.
#pragma once

#include <QtCore/QTimer>
#include <QtGui/QPalette>

#include <string>
#include <vector>

#include "uiruntime/core.h"

class QAbstractButton;
class QComboBox;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QTableView;
class QTextBlock;
class QTextCursor;

namespace uir {

class NumericEdit;
class CanvasWidget;
class LedWidget;

// ---------------------------------------------------------------------------------------------
class NumericControl : public Control {
public:
    NumericControl(Panel* p, int id) : Control(p, id, CTRL_NUMERIC) {}
    void createWidget(QWidget* parent) override;
    void adoptWidget(QWidget* w) override;
    void attach() override;
    std::vector<QWidget*> eventWidgets() const override;
    int setValue(const UiValue& v) override;
    int getValue(Value* v) const override;
    int defaultValue() override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;
    NumericEdit* edit() const;
    // The user typed or stepped: the text is taken as the new value.
    void userCommit();
    void userStep(int steps);
    Value dflt;
};

// ---------------------------------------------------------------------------------------------
class StringControl : public Control {
public:
    StringControl(Panel* p, int id) : Control(p, id, CTRL_STRING) {}
    void createWidget(QWidget* parent) override;
    void attach() override;
    int setValue(const UiValue& v) override;
    int getValue(Value* v) const override;
    int defaultValue() override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;
    QLineEdit* edit() const;
};

// ---------------------------------------------------------------------------------------------
class TextBoxControl : public Control {
public:
    TextBoxControl(Panel* p, int id) : Control(p, id, CTRL_TEXT_BOX) {}
    ~TextBoxControl() override;
    void createWidget(QWidget* parent) override;
    void adoptWidget(QWidget* w) override;
    void attach() override;
    std::vector<QWidget*> eventWidgets() const override;
    int setValue(const UiValue& v) override;  // appends
    int getValue(Value* v) const override;
    int defaultValue() override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;
    TextBoxControl* asTextBox() override { return this; }

    void append(const std::string& text);
    void reset(const std::string& text);
    // Moves text appended since the last flush into the widget.
    void flush();
    // Lines: a final line break ends the last line.
    int lineCount();
    int line(int index, std::string* text);
    int insertLine(int index, const std::string& text);
    int replaceLine(int index, const std::string& text);
    int deleteLine(int index);
    // The whole text, lines separated by '\n'.
    std::string text();
    QPlainTextEdit* edit() const;

    std::string pending;
    bool flushScheduled = false;

private:
    // The first block of a line (invalid past the end), and a cursor over all blocks of a line.
    QTextBlock lineStart(int index);
    QTextCursor selectLine(int index);
};

// ---------------------------------------------------------------------------------------------
class TextMsgControl : public Control {
public:
    TextMsgControl(Panel* p, int id) : Control(p, id, CTRL_TEXT_MSG) {}
    void createWidget(QWidget* parent) override;
    void adoptWidget(QWidget* w) override;
    int setValue(const UiValue& v) override;
    int getValue(Value* v) const override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;
    void setText(const std::string& text);
    void sizeToText();
    QLabel* label() const;
    bool autoSize = true;
    bool transparent = false;
};

// ---------------------------------------------------------------------------------------------
// Rings and list boxes share their item list.
class ListControl : public Control {
public:
    struct Item {
        std::string label;
        Value value;
        bool checked = false;
    };
    ListControl(Panel* p, int id, int style) : Control(p, id, style) {}
    ListControl* asList() override { return this; }
    int setValue(const UiValue& v) override;
    int getValue(Value* v) const override;
    int defaultValue() override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;

    int insert(int index, const std::string& label, const Value& value);
    int replace(int index, const std::string& label, const Value& value);
    int remove(int index, int count);
    int count() const { return static_cast<int>(items.size()); }
    int setIndex(int index);
    int index() const;
    int check(int index, bool on);
    // The value an item gets when the caller gives none.
    Value defaultItemValue(int index, const std::string& label) const;
    // Takes the data type that a form names in its dataType property.
    void readFormDataType(QWidget* w);

    // The widget side.
    virtual void widgetInsert(int index, const std::string& label) = 0;
    virtual void widgetRemove(int index) = 0;
    virtual void widgetSetLabel(int index, const std::string& label) = 0;
    virtual int widgetIndex() const = 0;
    virtual void widgetSetIndex(int index) = 0;
    virtual void widgetSetChecked(int index, bool on) { (void)index, (void)on; }
    virtual void widgetSetCheckMode(bool on) { (void)on; }
    // After the runtime changed items or the index.
    virtual void afterChange() {}

    std::vector<Item> items;
    int dataType = VAL_INTEGER;
    bool checkMode = false;
    int dflt = 0;
};

class RingControl : public ListControl {
public:
    RingControl(Panel* p, int id) : ListControl(p, id, CTRL_RING) {}
    void createWidget(QWidget* parent) override;
    void adoptWidget(QWidget* w) override;
    void attach() override;
    QComboBox* combo() const;
    void widgetInsert(int index, const std::string& label) override;
    void widgetRemove(int index) override;
    void widgetSetLabel(int index, const std::string& label) override;
    int widgetIndex() const override;
    void widgetSetIndex(int index) override;
    void afterChange() override;
    // The user chose an item.
    void userSelect(int index);

private:
    int lastUserIndex_ = -1;  // the index before the user's choice
};

class ListBoxControl : public ListControl {
public:
    ListBoxControl(Panel* p, int id) : ListControl(p, id, CTRL_LIST) {}
    void createWidget(QWidget* parent) override;
    void adoptWidget(QWidget* w) override;
    void attach() override;
    std::vector<QWidget*> eventWidgets() const override;
    QListWidget* list() const;
    void widgetInsert(int index, const std::string& label) override;
    void widgetRemove(int index) override;
    void widgetSetLabel(int index, const std::string& label) override;
    int widgetIndex() const override;
    void widgetSetIndex(int index) override;
    void widgetSetChecked(int index, bool on) override;
    void widgetSetCheckMode(bool on) override;
    // The user moved the selection, toggled a check mark or committed the current item.
    void userSelect(int index);
    void userToggleCheck(int index);
    void userCommit();
};

// ---------------------------------------------------------------------------------------------
// Command buttons, toggle buttons, check boxes and radio buttons.
class ButtonControl : public Control {
public:
    ButtonControl(Panel* p, int id, int style) : Control(p, id, style) {}
    void createWidget(QWidget* parent) override;
    void attach() override;
    int setValue(const UiValue& v) override;
    int getValue(Value* v) const override;
    int defaultValue() override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;
    QAbstractButton* button() const;
    bool isToggle() const { return style != CTRL_COMMAND_BUTTON; }
    // The user pressed the button.
    void userPress();
    int dflt = 0;
};

class LedControl : public Control {
public:
    LedControl(Panel* p, int id, int style) : Control(p, id, style) {}
    void createWidget(QWidget* parent) override;
    void adoptWidget(QWidget* w) override;
    bool captionBeside() const override { return true; }
    int setValue(const UiValue& v) override;
    int getValue(Value* v) const override;
    int defaultValue() override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;
    LedWidget* led() const;
    int dflt = 0;
};

// ---------------------------------------------------------------------------------------------
class DecorationControl : public Control {
public:
    DecorationControl(Panel* p, int id, int style) : Control(p, id, style) {}
    void createWidget(QWidget* parent) override;
    void adoptWidget(QWidget* w) override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;
    void applyStyle();
    int frameColor = -1;
};

class PictureControl : public Control {
public:
    PictureControl(Panel* p, int id) : Control(p, id, CTRL_PICTURE) {}
    void createWidget(QWidget* parent) override;
    int setImage(const QImage& image);
    QImage image() const;
};

class CanvasControl : public Control {
public:
    CanvasControl(Panel* p, int id) : Control(p, id, CTRL_CANVAS) {}
    void createWidget(QWidget* parent) override;
    void adoptWidget(QWidget* w) override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;
    CanvasControl* asCanvas() override { return this; }
    CanvasWidget* canvas() const;
};

class TimerControl : public Control {
public:
    TimerControl(Panel* p, int id) : Control(p, id, CTRL_TIMER) {}
    ~TimerControl() override;
    void createWidget(QWidget* parent) override;
    void adoptWidget(QWidget* w) override;
    void attach() override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;
    TimerControl* asTimer() override { return this; }
    void restart();
    // One tick, as the clock would give it; 0, or UIEControlDimmed while disabled.
    int tick();
    QTimer* timer = nullptr;
    bool enabled = true;
    double interval = 1.0;

private:
    bool ticking_ = false;
};

// ---------------------------------------------------------------------------------------------
// A table whose cells the program supplies on demand (tablectrl.cpp).
class CellModel;

class TableControl : public Control {
public:
    TableControl(Panel* p, int id) : Control(p, id, CTRL_TABLE) {}
    ~TableControl() override;
    void createWidget(QWidget* parent) override;
    void adoptWidget(QWidget* w) override;
    void attach() override;
    std::vector<QWidget*> eventWidgets() const override;
    int setValue(const UiValue& v) override;
    int getValue(Value* v) const override;
    int defaultValue() override;
    int setAttribute(int attribute, const UiValue& v) override;
    int getAttribute(int attribute, Value* v) const override;
    TableControl* asTable() override { return this; }
    QTableView* view() const;

    int setColumns(const std::vector<std::string>& labels);
    int setColumnWidth(int column, int width);
    int setRows(int count);
    int deleteRows(int index, int count);
    void refresh();
    std::vector<int> selectedRows() const;
    // What a cell shows, through the cell function (empty without one).
    std::string cellText(int row, int column, int* color) const;
    // The user scrolled so that row is the first in view; the user chose a row.
    void userScroll(int firstRow);
    void userSelect(int row, bool extend);

    TableCellCallbackPtr source = nullptr;
    void* sourceData = nullptr;
    std::vector<std::string> columns;
    int rows = 0;

private:
    void configure();
    bool atEnd() const;
    CellModel* model_ = nullptr;
};

}  // namespace uir

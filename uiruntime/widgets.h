// Internal: the widgets the runtime draws itself, and the delegate that shows label escapes.
#pragma once

#include <QtGui/QImage>
#include <QtWidgets/QAbstractSpinBox>
#include <QtWidgets/QFrame>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QStyledItemDelegate>
#include <QtWidgets/QWidget>

#include "uiruntime/uidefs.h"
#include "uiruntime/values.h"

namespace uir {

// A numeric field of any of the runtime's data types, including the full unsigned 32-bit range
// and hexadecimal display, which QSpinBox cannot hold.
class NumericEdit : public QAbstractSpinBox {
    Q_OBJECT
    // Properties a form may give to the spin box this widget stands in for.
    Q_PROPERTY(double minimum READ minimumProperty WRITE setMinimumProperty)
    Q_PROPERTY(double maximum READ maximumProperty WRITE setMaximumProperty)
    Q_PROPERTY(double value READ valueProperty WRITE setValueProperty)
    Q_PROPERTY(double singleStep READ stepProperty WRITE setStepProperty)
    Q_PROPERTY(int decimals READ decimalsProperty WRITE setDecimalsProperty)
    Q_PROPERTY(int displayIntegerBase READ baseProperty WRITE setBaseProperty)
    Q_PROPERTY(QString prefix READ emptyText WRITE ignoreText)
    Q_PROPERTY(QString suffix READ emptyText WRITE ignoreText)

public:
    explicit NumericEdit(QWidget* parent);

    // The value and limits, in the data type.
    int dataType = VAL_INTEGER;
    Value value = Value::integer(0);
    Value minimum = Value::integer(INT32_MIN);
    Value maximum = Value::integer(INT32_MAX);
    Value increment = Value::integer(1);
    int format = VAL_DECIMAL_FORMAT;
    int precision = 2;
    bool showRadix = true;
    int hexDigits = 0;  // hexadecimal numbers are shown with at least this many digits
    // What the form gave, before the data type is known.
    bool formMinimumSet = false, formMaximumSet = false, formValueSet = false, formStepSet = false;
    double formMinimum = 0, formMaximum = 0, formValue = 0, formStep = 1;
    int formDecimals = -1;
    int formBase = 10;

    QLineEdit* editor() const { return lineEdit(); }
    QString text(const Value& v) const;
    // Parses text typed by the user; false when it is not a number of the data type.
    bool parse(const QString& text, Value* out) const;
    void refresh();
    void setReadOnlyLook(bool on);

    QValidator::State validate(QString& input, int& pos) const override;
    void stepBy(int steps) override;

signals:
    void stepped(int steps);
    void committed(bool byEnter);

protected:
    StepEnabled stepEnabled() const override;
    void keyPressEvent(QKeyEvent* e) override;
    void focusOutEvent(QFocusEvent* e) override;

private:
    double minimumProperty() const { return formMinimum; }
    void setMinimumProperty(double v) { formMinimum = v, formMinimumSet = true; }
    double maximumProperty() const { return formMaximum; }
    void setMaximumProperty(double v) { formMaximum = v, formMaximumSet = true; }
    double valueProperty() const { return formValue; }
    void setValueProperty(double v) { formValue = v, formValueSet = true; }
    double stepProperty() const { return formStep; }
    void setStepProperty(double v) { formStep = v, formStepSet = true; }
    int decimalsProperty() const { return formDecimals; }
    void setDecimalsProperty(int v) { formDecimals = v; }
    int baseProperty() const { return formBase; }
    void setBaseProperty(int v) { formBase = v; }
    QString emptyText() const { return QString(); }
    void ignoreText(const QString&) {}
};

class LedWidget : public QWidget {
    Q_OBJECT
public:
    explicit LedWidget(QWidget* parent);
    bool on = false;
    bool square = false;
    QColor onColor{Qt::red};
    QColor offColor{0x60, 0x10, 0x10};
    QSize sizeHint() const override { return {16, 16}; }

protected:
    void paintEvent(QPaintEvent* e) override;
};

// A surface the program draws on; the drawing lives in an image of the widget's size.
class CanvasWidget : public QWidget {
    Q_OBJECT
public:
    explicit CanvasWidget(QWidget* parent);
    QImage image;
    QColor background{Qt::white};
    QColor pen{Qt::black};
    QColor fill{Qt::white};
    int penWidth = 1;
    int penStyle = VAL_SOLID;
    int batchDepth = 0;
    QRect dirty;  // collected while a batch is open
    void changed(const QRect& r);
    void ensureImage();

protected:
    void paintEvent(QPaintEvent* e) override;
    void resizeEvent(QResizeEvent* e) override;
};

// A decoration: a box or frame drawn with a two-pixel bevel, raised or recessed, in shades of
// its fill colour (or of the panel's background when it has none), or flat with a one-pixel line.
class BevelFrame : public QFrame {
    Q_OBJECT
public:
    explicit BevelFrame(QWidget* parent) : QFrame(parent) {}
    int style = CTRL_RAISED_BOX;
    int fillColor = -1;  // -1: not filled

protected:
    void paintEvent(QPaintEvent* e) override;
};

// Draws list and ring items whose labels hold escapes (positions, colours, separators).
class LabelDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    static constexpr int kRawLabelRole = Qt::UserRole + 1;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace uir

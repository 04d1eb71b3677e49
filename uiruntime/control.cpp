// The common part of every control: geometry, label, colours, fonts, stacking, callbacks, and
// the public control functions.
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include <algorithm>

#include "uiruntime/core.h"
#include "uiruntime/kinds.h"
#include "uiruntime/userint.h"

namespace uir {

namespace {

bool isEditLike(int style) {
    return style == CTRL_NUMERIC || style == CTRL_STRING || style == CTRL_TEXT_BOX ||
           style == CTRL_LIST || style == CTRL_RING || style == CTRL_TABLE;
}

QPalette::ColorRole textRoleOf(int style) {
    if (isEditLike(style)) return QPalette::Text;
    if (style == CTRL_COMMAND_BUTTON || style == CTRL_TOGGLE_BUTTON) return QPalette::ButtonText;
    return QPalette::WindowText;
}

QPalette::ColorRole backRoleOf(int style) {
    if (isEditLike(style)) return QPalette::Base;
    if (style == CTRL_COMMAND_BUTTON || style == CTRL_TOGGLE_BUTTON) return QPalette::Button;
    return QPalette::Window;
}

}  // namespace

Control::Control(Panel* p, int i, int s) : panel(p), id(i), style(s) {}

Control::~Control() {
    forgetWidgets(this);
    if (widget) {
        widget->hide();
        widget->deleteLater();
    }
    if (caption) {
        caption->hide();
        caption->deleteLater();
    }
}

void Control::attach() { routeEvents(this); }

bool Control::operable() const {
    return widget && widget->isEnabled() && !widget->isHidden() && mode != VAL_INDICATOR;
}

int Control::setValue(const UiValue&) { return UIEInvalidControlType; }
int Control::getValue(Value*) const { return UIEInvalidControlType; }
int Control::setAttribute(int, const UiValue&) { return kNotMine; }
int Control::getAttribute(int, Value*) const { return kNotMine; }

void Control::placeCaptionDefault() {
    if (!caption || !widget) return;
    caption->adjustSize();
    QRect g = widget->geometry();
    if (captionBeside())
        caption->move(g.right() + 5, g.top() + (g.height() - caption->height()) / 2);
    else
        caption->move(g.left(), g.top() - caption->height() - 2);
}

void Control::setCaptionText(const std::string& text) {
    if (!caption) {
        if (text.empty()) return;
        caption = new QLabel(panel->content);
        caption->setAttribute(Qt::WA_TransparentForMouseEvents);
        caption->setFont(widget ? widget->font() : QApplication::font());
        caption->setText(QString::fromStdString(text));
        placeCaptionDefault();
        caption->setVisible(widget ? !widget->isHidden() : true);
        return;
    }
    caption->setText(QString::fromStdString(text));
    caption->adjustSize();
}

QColor Control::textColor() const {
    return widget ? widget->palette().color(textRoleOf(style)) : QColor(Qt::black);
}

void Control::setTextColor(int rgb) {
    QPalette pal = widget->palette();
    QColor c = rgbColor(rgb);
    pal.setColor(QPalette::Text, c);
    pal.setColor(QPalette::WindowText, c);
    pal.setColor(QPalette::ButtonText, c);
    widget->setPalette(pal);
}

void Control::setFontAttribute(int attribute, const UiValue& v, int* rc) {
    QFont f = widget->font();
    long long n = 0;
    *rc = 0;
    if (attribute == ATTR_TEXT_FONT) {
        std::string name;
        if ((*rc = toText(v, &name)) != 0) return;
        if (name.empty() || name.size() > 255) {
            *rc = UIEInvalidAttributeValue;
            return;
        }
        f = fontByName(name, nullptr);
        fontName = name;
    } else {
        if ((*rc = toInteger(v, &n)) != 0) return;
        if (attribute == ATTR_TEXT_POINT_SIZE) {
            if (n < 1 || n > 400) {
                *rc = UIEInvalidAttributeValue;
                return;
            }
            f.setPointSize(static_cast<int>(n));
        } else if (attribute == ATTR_TEXT_BOLD) {
            f.setBold(n != 0);
        } else {
            f.setItalic(n != 0);
        }
    }
    widget->setFont(f);
    if (auto* t = dynamic_cast<TextMsgControl*>(this); t && t->autoSize) t->sizeToText();
}

int Control::commonSet(int attribute, const UiValue& v) {
    long long n = 0;
    auto number = [&]() { return toInteger(v, &n); };
    QRect g = widget->geometry();
    switch (attribute) {
        case ATTR_TOP:
        case ATTR_LEFT: {
            if (int rc = number()) return rc;
            if (n < -32768 || n > 32767) return UIEInvalidAttributeValue;
            QPoint to = attribute == ATTR_TOP ? QPoint(g.left(), static_cast<int>(n))
                                              : QPoint(static_cast<int>(n), g.top());
            if (caption) caption->move(caption->pos() + (to - g.topLeft()));
            widget->move(to);
            return 0;
        }
        case ATTR_HEIGHT:
        case ATTR_WIDTH:
            if (int rc = number()) return rc;
            if (n < 0 || n > 32767) return UIEInvalidAttributeValue;
            if (attribute == ATTR_HEIGHT) widget->resize(g.width(), static_cast<int>(n));
            else widget->resize(static_cast<int>(n), g.height());
            if (auto* t = dynamic_cast<TextMsgControl*>(this)) t->autoSize = false;
            return 0;
        case ATTR_VISIBLE:
            if (int rc = number()) return rc;
            widget->setVisible(n != 0 && style != CTRL_TIMER);
            if (caption) caption->setVisible(n != 0 && !caption->text().isEmpty());
            return 0;
        case ATTR_DIMMED:
            if (int rc = number()) return rc;
            widget->setEnabled(n == 0);
            if (caption) caption->setEnabled(n == 0);
            return 0;
        case ATTR_CALLBACK_DATA:
            if (v.kind() == UiValue::Kind::Pointer) callbackData = v.pointer();
            else if (v.kind() == UiValue::Kind::Null) callbackData = nullptr;
            else return UIEInvalidDataType;
            return 0;
        case ATTR_CALLBACK_FUNCTION_POINTER:
            if (v.kind() == UiValue::Kind::CtrlCallback) callback = v.ctrlCallback();
            else if (v.kind() == UiValue::Kind::Null) callback = nullptr;
            else return UIEInvalidDataType;
            return 0;
        case ATTR_LABEL_TEXT: {
            std::string s;
            if (int rc = toText(v, &s)) return rc;
            setCaptionText(s);
            return 0;
        }
        case ATTR_LABEL_VISIBLE:
            if (int rc = number()) return rc;
            if (!caption) setCaptionText(" ");
            caption->setVisible(n != 0);
            return 0;
        case ATTR_LABEL_COLOR: {
            if (int rc = number()) return rc;
            if (n < 0 || n > 0xFFFFFF) return UIEInvalidAttributeValue;
            if (!caption) setCaptionText(" ");
            QPalette pal = caption->palette();
            pal.setColor(QPalette::WindowText, rgbColor(static_cast<int>(n)));
            caption->setPalette(pal);
            return 0;
        }
        case ATTR_LABEL_TOP:
        case ATTR_LABEL_LEFT:
            if (int rc = number()) return rc;
            if (n < -32768 || n > 32767) return UIEInvalidAttributeValue;
            if (!caption) setCaptionText(" ");
            if (attribute == ATTR_LABEL_TOP) caption->move(caption->x(), static_cast<int>(n));
            else caption->move(static_cast<int>(n), caption->y());
            return 0;
        case ATTR_TEXT_COLOR:
            if (int rc = number()) return rc;
            if (n < 0 || n > 0xFFFFFF) return UIEInvalidAttributeValue;
            setTextColor(static_cast<int>(n));
            return 0;
        case ATTR_TEXT_BGCOLOR: {
            if (int rc = number()) return rc;
            if ((n < 0 || n > 0xFFFFFF) && n != VAL_TRANSPARENT) return UIEInvalidAttributeValue;
            textBgColor = static_cast<int>(n);
            QPalette pal = widget->palette();
            QColor c = n == VAL_TRANSPARENT ? QColor(Qt::transparent) : rgbColor(static_cast<int>(n));
            pal.setColor(backRoleOf(style), c);
            if (backRoleOf(style) == QPalette::Window) widget->setAutoFillBackground(n != VAL_TRANSPARENT);
            widget->setPalette(pal);
            return 0;
        }
        case ATTR_TEXT_FONT:
        case ATTR_TEXT_POINT_SIZE:
        case ATTR_TEXT_BOLD:
        case ATTR_TEXT_ITALIC: {
            int rc = 0;
            setFontAttribute(attribute, v, &rc);
            return rc;
        }
        case ATTR_ZPLANE_POSITION: {
            if (int rc = number()) return rc;
            auto& z = panel->zorder;
            if (n < 0 || n >= static_cast<long long>(z.size())) return UIEInvalidAttributeValue;
            z.erase(std::remove(z.begin(), z.end(), id), z.end());
            z.insert(z.begin() + n, id);
            restack(panel);
            return 0;
        }
        case ATTR_TOOLTIP_TEXT: {
            std::string s;
            if (int rc = toText(v, &s)) return rc;
            widget->setToolTip(QString::fromStdString(s));
            return 0;
        }
        case ATTR_CTRL_MODE:
            if (int rc = number()) return rc;
            if (n < VAL_NORMAL || n > VAL_HOT) return UIEInvalidAttributeValue;
            mode = static_cast<int>(n);
            return 0;
        default: return UIEInvalidAttribute;
    }
}

int Control::commonGet(int attribute, Value* out) const {
    QRect g = widget->geometry();
    switch (attribute) {
        case ATTR_TOP: *out = Value::integer(g.top()); return 0;
        case ATTR_LEFT: *out = Value::integer(g.left()); return 0;
        case ATTR_HEIGHT: *out = Value::integer(g.height()); return 0;
        case ATTR_WIDTH: *out = Value::integer(g.width()); return 0;
        case ATTR_VISIBLE:
            *out = Value::integer(style == CTRL_TIMER ? 0 : !widget->isHidden());
            return 0;
        case ATTR_DIMMED: *out = Value::integer(!widget->isEnabled()); return 0;
        case ATTR_CONSTANT_NAME: *out = Value::text(constantName); return 0;
        case ATTR_CALLBACK_NAME: *out = Value::text(callbackName); return 0;
        case ATTR_CALLBACK_DATA: *out = Value::pointer(callbackData); return 0;
        case ATTR_CTRL_STYLE: *out = Value::integer(style); return 0;
        case ATTR_LABEL_TEXT:
            *out = Value::text(caption ? caption->text().toStdString() : std::string());
            return 0;
        case ATTR_LABEL_VISIBLE: *out = Value::integer(caption && !caption->isHidden()); return 0;
        case ATTR_LABEL_COLOR:
            *out = Value::integer(caption ? rgbOf(caption->palette().color(QPalette::WindowText))
                                          : rgbOf(QApplication::palette().color(QPalette::WindowText)));
            return 0;
        case ATTR_LABEL_TOP: *out = Value::integer(caption ? caption->y() : g.top()); return 0;
        case ATTR_LABEL_LEFT: *out = Value::integer(caption ? caption->x() : g.left()); return 0;
        case ATTR_LABEL_HEIGHT: *out = Value::integer(caption ? caption->height() : 0); return 0;
        case ATTR_LABEL_WIDTH: *out = Value::integer(caption ? caption->width() : 0); return 0;
        case ATTR_TEXT_COLOR: *out = Value::integer(rgbOf(textColor())); return 0;
        case ATTR_TEXT_BGCOLOR:
            *out = Value::integer(textBgColor >= 0 ? textBgColor
                                                   : rgbOf(widget->palette().color(backRoleOf(style))));
            return 0;
        case ATTR_TEXT_FONT:
            *out = Value::text(!fontName.empty() ? fontName : widget->font().family().toStdString());
            return 0;
        case ATTR_TEXT_POINT_SIZE: *out = Value::integer(widget->font().pointSize()); return 0;
        case ATTR_TEXT_BOLD: *out = Value::integer(widget->font().bold()); return 0;
        case ATTR_TEXT_ITALIC: *out = Value::integer(widget->font().italic()); return 0;
        case ATTR_ZPLANE_POSITION: {
            auto& z = panel->zorder;
            *out = Value::integer(std::find(z.begin(), z.end(), id) - z.begin());
            return 0;
        }
        case ATTR_TOOLTIP_TEXT: *out = Value::text(widget->toolTip().toStdString()); return 0;
        case ATTR_CTRL_MODE: *out = Value::integer(mode); return 0;
        case ATTR_NEXT_CTRL: {
            auto it = panel->controls.upper_bound(id);
            *out = Value::integer(it == panel->controls.end() ? 0 : it->first);
            return 0;
        }
        default: return UIEInvalidAttribute;
    }
}

std::unique_ptr<Control> makeControl(Panel* p, int id, int style) {
    switch (style) {
        case CTRL_NUMERIC: return std::make_unique<NumericControl>(p, id);
        case CTRL_STRING: return std::make_unique<StringControl>(p, id);
        case CTRL_TEXT_BOX: return std::make_unique<TextBoxControl>(p, id);
        case CTRL_RING: return std::make_unique<RingControl>(p, id);
        case CTRL_LIST: return std::make_unique<ListBoxControl>(p, id);
        case CTRL_COMMAND_BUTTON:
        case CTRL_TOGGLE_BUTTON:
        case CTRL_CHECK_BOX:
        case CTRL_ROUND_RADIO_BUTTON: return std::make_unique<ButtonControl>(p, id, style);
        case CTRL_ROUND_LED:
        case CTRL_SQUARE_LED: return std::make_unique<LedControl>(p, id, style);
        case CTRL_TEXT_MSG: return std::make_unique<TextMsgControl>(p, id);
        case CTRL_RAISED_BOX:
        case CTRL_RECESSED_BOX:
        case CTRL_FLAT_BOX:
        case CTRL_RAISED_FRAME:
        case CTRL_RECESSED_FRAME:
        case CTRL_FLAT_FRAME: return std::make_unique<DecorationControl>(p, id, style);
        case CTRL_PICTURE: return std::make_unique<PictureControl>(p, id);
        case CTRL_CANVAS: return std::make_unique<CanvasControl>(p, id);
        case CTRL_TIMER: return std::make_unique<TimerControl>(p, id);
        case CTRL_TABLE: return std::make_unique<TableControl>(p, id);
        default: return nullptr;
    }
}

}  // namespace uir

using namespace uir;

// ---------------------------------------------------------------------------------------------
// Public functions
// ---------------------------------------------------------------------------------------------
int NewCtrl(int panel, int style, const char* label, int top, int left) {
    return guarded("NewCtrl", [&] {
        Panel* p = findPanel(panel);
        if (!p || p->discarding) return UIEInvalidPanel;
        if (top < -32768 || top > 32767 || left < -32768 || left > 32767) return UIEInvalidAttributeValue;
        std::unique_ptr<Control> c = makeControl(p, 0, style);
        if (!c) return UIEInvalidControlType;
        c->createWidget(p->content);
        c->widget->move(left, top);
        c->widget->setVisible(style != CTRL_TIMER);
        Control* raw = c.get();
        int id = addControl(p, std::move(c));
        std::string text = label ? label : "";
        if (!text.empty()) {
            int rc = raw->setAttribute(ATTR_LABEL_TEXT, UiValue(text.c_str()));
            if (rc == kNotMine) raw->commonSet(ATTR_LABEL_TEXT, UiValue(text.c_str()));
        }
        return id;
    });
}

int DiscardCtrl(int panel, int control) {
    return guarded("DiscardCtrl", [&] {
        Panel* p = findPanel(panel);
        if (!p) return UIEInvalidPanel;
        return discardControl(p, control);
    });
}

int InstallCtrlCallback(int panel, int control, CtrlCallbackPtr callback, void* callbackData) {
    return guarded("InstallCtrlCallback", [&] {
        Control* c = nullptr;
        if (int rc = lookupControl(panel, control, &c)) return rc;
        c->callback = callback;
        c->callbackData = callbackData;
        return 0;
    });
}

int SetCtrlVal(int panel, int control, UiValue value) {
    return guarded("SetCtrlVal", [&] {
        Control* c = nullptr;
        if (int rc = lookupControl(panel, control, &c)) return rc;
        Quiet q;
        return c->setValue(value);
    });
}

int GetCtrlVal(int panel, int control, UiOut value) {
    return guarded("GetCtrlVal", [&] {
        Control* c = nullptr;
        if (int rc = lookupControl(panel, control, &c)) return rc;
        Value v;
        if (int rc = c->getValue(&v)) return rc;
        return storeValue(v, value);
    });
}

int GetCtrlVal(int panel, int control, char* buffer, size_t bufferSize) {
    return GetCtrlVal(panel, control, UiOut::Text(buffer, bufferSize));
}

int DefaultCtrl(int panel, int control) {
    return guarded("DefaultCtrl", [&] {
        Control* c = nullptr;
        if (int rc = lookupControl(panel, control, &c)) return rc;
        Quiet q;
        return c->defaultValue();
    });
}

int SetCtrlAttribute(int panel, int control, int attribute, UiValue value) {
    return guarded("SetCtrlAttribute", [&] {
        Control* c = nullptr;
        if (int rc = lookupControl(panel, control, &c)) return rc;
        Quiet q;
        int rc = c->setAttribute(attribute, value);
        if (rc == kNotMine) rc = c->commonSet(attribute, value);
        return rc;
    });
}

int GetCtrlAttribute(int panel, int control, int attribute, UiOut value) {
    return guarded("GetCtrlAttribute", [&] {
        Control* c = nullptr;
        if (int rc = lookupControl(panel, control, &c)) return rc;
        if (attribute == ATTR_CALLBACK_FUNCTION_POINTER) {
            if (value.kind() != UiOut::Kind::CtrlCallback || !value.target()) return UIEInvalidDataType;
            *static_cast<CtrlCallbackPtr*>(value.target()) = c->callback;
            return 0;
        }
        Value v;
        int rc = c->getAttribute(attribute, &v);
        if (rc == kNotMine) rc = c->commonGet(attribute, &v);
        if (rc) return rc;
        return storeValue(v, value);
    });
}

int GetCtrlAttribute(int panel, int control, int attribute, char* buffer, size_t bufferSize) {
    return GetCtrlAttribute(panel, control, attribute, UiOut::Text(buffer, bufferSize));
}

int GetCtrlBoundingRect(int panel, int control, int* top, int* left, int* height, int* width) {
    return guarded("GetCtrlBoundingRect", [&] {
        Control* c = nullptr;
        if (int rc = lookupControl(panel, control, &c)) return rc;
        QRect r = c->widget->geometry();
        if (c->caption && !c->caption->isHidden()) r = r.united(c->caption->geometry());
        if (top) *top = r.top();
        if (left) *left = r.left();
        if (height) *height = r.height();
        if (width) *width = r.width();
        return 0;
    });
}

int SetActiveCtrl(int panel, int control) {
    return guarded("SetActiveCtrl", [&] {
        Control* c = nullptr;
        if (int rc = lookupControl(panel, control, &c)) return rc;
        c->panel->activeControl = control;
        c->widget->setFocus(Qt::OtherFocusReason);
        return 0;
    });
}

int GetActiveCtrl(int panel) {
    return guarded("GetActiveCtrl", [&] {
        Panel* p = findPanel(panel);
        if (!p) return UIEInvalidPanel;
        return p->control(p->activeControl) ? p->activeControl : 0;
    });
}

// Canvas controls and their drawing, bitmaps, pictures' images, meta fonts and text sizes.
#include <QtGui/QFontMetrics>
#include <QtGui/QImageReader>
#include <QtGui/QPainter>
#include <QtGui/QPaintEvent>

#include <algorithm>

#include "uiruntime/kinds.h"
#include "uiruntime/userint.h"
#include "uiruntime/widgets.h"

namespace uir {

// ---------------------------------------------------------------------------------------------
// CanvasWidget
// ---------------------------------------------------------------------------------------------
CanvasWidget::CanvasWidget(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    resize(200, 150);
    ensureImage();
}

void CanvasWidget::ensureImage() {
    QSize s(std::max(width(), 1), std::max(height(), 1));
    if (image.size() == s) return;
    QImage next(s, QImage::Format_RGB32);
    next.fill(background);
    if (!image.isNull()) {
        QPainter p(&next);
        p.drawImage(0, 0, image);
    }
    image = std::move(next);
}

void CanvasWidget::changed(const QRect& r) {
    if (batchDepth > 0) dirty = dirty.united(r);
    else update(r);
}

void CanvasWidget::paintEvent(QPaintEvent* e) {
    QPainter p(this);
    p.drawImage(e->rect(), image, e->rect());
}

void CanvasWidget::resizeEvent(QResizeEvent* e) {
    QWidget::resizeEvent(e);
    ensureImage();
}

// ---------------------------------------------------------------------------------------------
// CanvasControl
// ---------------------------------------------------------------------------------------------
CanvasWidget* CanvasControl::canvas() const { return static_cast<CanvasWidget*>(widget); }

void CanvasControl::createWidget(QWidget* parent) { widget = new CanvasWidget(parent); }

void CanvasControl::adoptWidget(QWidget* w) {
    widget = w;
    canvas()->ensureImage();
}

int CanvasControl::setAttribute(int attribute, const UiValue& v) {
    long long n = 0;
    CanvasWidget* cv = canvas();
    switch (attribute) {
        case ATTR_PEN_COLOR:
        case ATTR_PEN_FILL_COLOR:
        case ATTR_PICT_BGCOLOR:
            if (int rc = toInteger(v, &n)) return rc;
            if (n < 0 || n > 0xFFFFFF) return UIEInvalidAttributeValue;
            if (attribute == ATTR_PEN_COLOR) cv->pen = rgbColor(static_cast<int>(n));
            else if (attribute == ATTR_PEN_FILL_COLOR) cv->fill = rgbColor(static_cast<int>(n));
            else cv->background = rgbColor(static_cast<int>(n));
            return 0;
        case ATTR_PEN_WIDTH:
            if (int rc = toInteger(v, &n)) return rc;
            if (n < 1 || n > 255) return UIEInvalidAttributeValue;
            cv->penWidth = static_cast<int>(n);
            return 0;
        case ATTR_PEN_STYLE:
            if (int rc = toInteger(v, &n)) return rc;
            if (n < VAL_SOLID || n > VAL_DOT) return UIEInvalidAttributeValue;
            cv->penStyle = static_cast<int>(n);
            return 0;
        default: return kNotMine;
    }
}

int CanvasControl::getAttribute(int attribute, Value* v) const {
    CanvasWidget* cv = canvas();
    switch (attribute) {
        case ATTR_PEN_COLOR: *v = Value::integer(rgbOf(cv->pen)); return 0;
        case ATTR_PEN_FILL_COLOR: *v = Value::integer(rgbOf(cv->fill)); return 0;
        case ATTR_PICT_BGCOLOR: *v = Value::integer(rgbOf(cv->background)); return 0;
        case ATTR_PEN_WIDTH: *v = Value::integer(cv->penWidth); return 0;
        case ATTR_PEN_STYLE: *v = Value::integer(cv->penStyle); return 0;
        default: return kNotMine;
    }
}

namespace {

int canvasOf(int panel, int control, CanvasWidget** out) {
    Control* c = nullptr;
    if (int rc = lookupControl(panel, control, &c)) return rc;
    if (!c->asCanvas()) return UIEInvalidControlType;
    *out = c->asCanvas()->canvas();
    (*out)->ensureImage();
    return 0;
}

// A runtime rectangle on an area of the given size; VAL_TO_EDGE reaches the far edge.
QRect toQRect(const Rect& r, QSize area) {
    int w = r.width == VAL_TO_EDGE ? area.width() - r.left : r.width;
    int h = r.height == VAL_TO_EDGE ? area.height() - r.top : r.height;
    return QRect(r.left, r.top, std::max(w, 0), std::max(h, 0));
}

bool validRect(const Rect& r) {
    auto ok = [](int v) { return v >= -32768 && v <= 32767; };
    return ok(r.top) && ok(r.left) && (r.width == VAL_TO_EDGE || (r.width >= 0 && r.width <= 32767)) &&
           (r.height == VAL_TO_EDGE || (r.height >= 0 && r.height <= 32767));
}

QPen penOf(const CanvasWidget* cv) {
    Qt::PenStyle s = cv->penStyle == VAL_DASH ? Qt::DashLine : cv->penStyle == VAL_DOT ? Qt::DotLine : Qt::SolidLine;
    QPen pen(cv->pen, cv->penWidth, s);
    pen.setCapStyle(Qt::FlatCap);
    return pen;
}

Qt::Alignment alignmentOf(int a) {
    Qt::Alignment v = a <= VAL_LOWER_LEFT ? Qt::AlignLeft : a <= VAL_LOWER_CENTER ? Qt::AlignHCenter : Qt::AlignRight;
    int row = a % 3;
    return v | (row == 0 ? Qt::AlignTop : row == 1 ? Qt::AlignVCenter : Qt::AlignBottom);
}

QImage* bitmapOf(int id) {
    auto& m = runtime()->bitmaps;
    auto it = m.find(id);
    return it == m.end() ? nullptr : &it->second;
}

int addBitmap(QImage image, int* id) {
    if (!id) return UIENullPointer;
    if (image.isNull()) return UIEInvalidBitmap;
    Runtime* rt = runtime();
    *id = rt->nextBitmap++;
    rt->bitmaps[*id] = image.convertToFormat(QImage::Format_ARGB32);
    return 0;
}

}  // namespace

}  // namespace uir

using namespace uir;

// ---------------------------------------------------------------------------------------------
// Public canvas functions
// ---------------------------------------------------------------------------------------------
int CanvasStartBatchDraw(int panel, int control) {
    return guarded("CanvasStartBatchDraw", [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        return ++cv->batchDepth;
    });
}

int CanvasEndBatchDraw(int panel, int control) {
    return guarded("CanvasEndBatchDraw", [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        if (cv->batchDepth == 0) return UIENotDrawing;
        if (--cv->batchDepth == 0 && !cv->dirty.isNull()) {
            cv->update(cv->dirty);
            cv->dirty = QRect();
        }
        return cv->batchDepth;
    });
}

int CanvasClear(int panel, int control, Rect area) {
    return guarded("CanvasClear", [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        if (!validRect(area)) return UIEInvalidAttributeValue;
        QRect r = toQRect(area, cv->image.size());
        QPainter p(&cv->image);
        p.fillRect(r, cv->background);
        cv->changed(r);
        return 0;
    });
}

int CanvasDrawRect(int panel, int control, Rect rect, int drawMode) {
    return guarded("CanvasDrawRect", [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        if (!validRect(rect) || drawMode < VAL_DRAW_FRAME || drawMode > VAL_DRAW_FRAME_AND_INTERIOR)
            return UIEInvalidAttributeValue;
        QRect r = toQRect(rect, cv->image.size());
        if (r.isEmpty()) return 0;
        QPainter p(&cv->image);
        if (drawMode != VAL_DRAW_FRAME) p.fillRect(r, cv->fill);
        if (drawMode != VAL_DRAW_INTERIOR) {
            p.setPen(penOf(cv));
            p.setBrush(Qt::NoBrush);
            int inset = cv->penWidth / 2;
            p.drawRect(r.adjusted(inset, inset, -inset - 1, -inset - 1));
        }
        cv->changed(r);
        return 0;
    });
}

int CanvasDrawLine(int panel, int control, Point start, Point end) {
    return guarded("CanvasDrawLine", [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        QPainter p(&cv->image);
        p.setPen(penOf(cv));
        p.drawLine(start.x, start.y, end.x, end.y);
        int w = cv->penWidth + 1;
        cv->changed(QRect(QPoint(start.x, start.y), QPoint(end.x, end.y)).normalized().adjusted(-w, -w, w, w));
        return 0;
    });
}

int CanvasDrawPoint(int panel, int control, Point point) {
    return guarded("CanvasDrawPoint", [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        if (cv->image.rect().contains(point.x, point.y)) cv->image.setPixelColor(point.x, point.y, cv->pen);
        cv->changed(QRect(point.x, point.y, 1, 1));
        return 0;
    });
}

static int drawText(const char* fn, int panel, int control, const char* text, const char* font,
                    QRect box, int alignment, bool anchor) {
    return guarded(fn, [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        if (!text) return UIENullPointer;
        if (alignment < VAL_UPPER_LEFT || alignment > VAL_LOWER_RIGHT) return UIEInvalidAttributeValue;
        QFont f = font && *font ? fontByName(font, nullptr) : fontByName(VAL_DIALOG_META_FONT, nullptr);
        QString t = QString::fromUtf8(text);
        Qt::Alignment a = alignmentOf(alignment);
        if (anchor) {
            // box holds the anchor point; the text's box is placed around it.
            QSize s = QFontMetrics(f).size(Qt::TextExpandTabs, t);
            int x = box.left(), y = box.top();
            if (a & Qt::AlignHCenter) x -= s.width() / 2;
            else if (a & Qt::AlignRight) x -= s.width();
            if (a & Qt::AlignVCenter) y -= s.height() / 2;
            else if (a & Qt::AlignBottom) y -= s.height();
            box = QRect(QPoint(x, y), s);
        }
        QPainter p(&cv->image);
        p.setFont(f);
        p.setPen(cv->pen);
        p.setClipRect(box);
        p.drawText(box, static_cast<int>(a) | Qt::TextExpandTabs, t);
        cv->changed(box);
        return 0;
    });
}

int CanvasDrawText(int panel, int control, const char* text, const char* font, Rect bounds,
                   int alignment) {
    if (!validRect(bounds)) return report("CanvasDrawText", UIEInvalidAttributeValue);
    QRect box(bounds.left, bounds.top, bounds.width == VAL_TO_EDGE ? 32767 : bounds.width,
              bounds.height == VAL_TO_EDGE ? 32767 : bounds.height);
    return drawText("CanvasDrawText", panel, control, text, font, box, alignment, false);
}

int CanvasDrawTextAtPoint(int panel, int control, const char* text, const char* font, Point point,
                          int alignment) {
    return drawText("CanvasDrawTextAtPoint", panel, control, text, font, QRect(point.x, point.y, 0, 0),
                    alignment, true);
}

int CanvasDrawBitmap(int panel, int control, int bitmap, Rect source, Rect destination) {
    return guarded("CanvasDrawBitmap", [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        QImage* img = bitmapOf(bitmap);
        if (!img) return UIEInvalidBitmap;
        if (!validRect(source) || !validRect(destination)) return UIEInvalidAttributeValue;
        QRect src = toQRect(source, img->size()).intersected(img->rect());
        QRect dst(destination.left, destination.top,
                  destination.width == VAL_KEEP_SAME_SIZE ? src.width() : destination.width,
                  destination.height == VAL_KEEP_SAME_SIZE ? src.height() : destination.height);
        if (src.isEmpty() || dst.isEmpty()) return 0;
        QPainter p(&cv->image);
        p.drawImage(dst, *img, src);
        cv->changed(dst);
        return 0;
    });
}

int CanvasScroll(int panel, int control, Rect area, int dx, int dy) {
    return guarded("CanvasScroll", [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        if (!validRect(area) || dx < -32767 || dx > 32767 || dy < -32767 || dy > 32767)
            return UIEInvalidAttributeValue;
        QRect r = toQRect(area, cv->image.size()).intersected(cv->image.rect());
        if (r.isEmpty()) return 0;
        QImage part = cv->image.copy(r);
        QPainter p(&cv->image);
        p.setClipRect(r);
        p.fillRect(r, cv->background);
        p.drawImage(r.topLeft() + QPoint(dx, dy), part);
        cv->changed(r);
        return 0;
    });
}

int CanvasGetPixel(int panel, int control, Point point, int* color) {
    return guarded("CanvasGetPixel", [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        if (!color) return UIENullPointer;
        if (!cv->image.rect().contains(point.x, point.y)) return UIEInvalidAttributeValue;
        *color = static_cast<int>(cv->image.pixel(point.x, point.y) & 0xFFFFFF);
        return 0;
    });
}

int CanvasUpdate(int panel, int control, Rect area) {
    return guarded("CanvasUpdate", [&] {
        CanvasWidget* cv = nullptr;
        if (int rc = canvasOf(panel, control, &cv)) return rc;
        if (!validRect(area)) return UIEInvalidAttributeValue;
        cv->update(toQRect(area, cv->image.size()));
        return 0;
    });
}

// ---------------------------------------------------------------------------------------------
// Bitmaps and pictures
// ---------------------------------------------------------------------------------------------
int NewBitmap(int width, int height, const int* pixels, int* bitmap) {
    return guarded("NewBitmap", [&] {
        if (width < 1 || height < 1 || width > 16384 || height > 16384) return UIEInvalidAttributeValue;
        QImage img(width, height, QImage::Format_ARGB32);
        if (img.isNull()) return UIEOutOfMemoryError;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                img.setPixel(x, y, 0xFF000000u | static_cast<unsigned>(pixels ? pixels[y * width + x] & 0xFFFFFF : 0xFFFFFF));
        return addBitmap(std::move(img), bitmap);
    });
}

int GetBitmapFromFile(const char* fileName, int* bitmap) {
    return guarded("GetBitmapFromFile", [&] {
        if (!fileName) return UIENullPointer;
        QImageReader reader(QString::fromUtf8(fileName));
        QSize s = reader.size();
        if (s.isValid() && (s.width() > 16384 || s.height() > 16384)) return UIEInvalidBitmap;
        QImage img = reader.read();
        if (img.isNull()) return reader.error() == QImageReader::FileNotFoundError ? UIEFileNotFound : UIEInvalidBitmap;
        return addBitmap(std::move(img), bitmap);
    });
}

int GetBitmapInfo(int bitmap, int* width, int* height) {
    return guarded("GetBitmapInfo", [&] {
        QImage* img = bitmapOf(bitmap);
        if (!img) return UIEInvalidBitmap;
        if (width) *width = img->width();
        if (height) *height = img->height();
        return 0;
    });
}

int DiscardBitmap(int bitmap) {
    return guarded("DiscardBitmap", [&] {
        return runtime()->bitmaps.erase(bitmap) ? 0 : UIEInvalidBitmap;
    });
}

int GetCtrlBitmap(int panel, int control, int imageIndex, int* bitmap) {
    return guarded("GetCtrlBitmap", [&] {
        Control* c = nullptr;
        if (int rc = lookupControl(panel, control, &c)) return rc;
        if (imageIndex != 0) return UIEIndexOutOfRange;
        if (c->asCanvas()) return addBitmap(c->asCanvas()->canvas()->image, bitmap);
        if (c->style != CTRL_PICTURE) return UIEInvalidControlType;
        QImage img = static_cast<PictureControl*>(c)->image();
        if (img.isNull()) return UIEInvalidBitmap;
        return addBitmap(std::move(img), bitmap);
    });
}

int SetCtrlBitmap(int panel, int control, int imageIndex, int bitmap) {
    return guarded("SetCtrlBitmap", [&] {
        Control* c = nullptr;
        if (int rc = lookupControl(panel, control, &c)) return rc;
        if (imageIndex != 0) return UIEIndexOutOfRange;
        QImage* img = bitmapOf(bitmap);
        if (!img) return UIEInvalidBitmap;
        if (CanvasControl* cc = c->asCanvas()) {
            QPainter p(&cc->canvas()->image);
            p.drawImage(0, 0, *img);
            cc->canvas()->changed(cc->canvas()->rect());
            return 0;
        }
        if (c->style != CTRL_PICTURE) return UIEInvalidControlType;
        return static_cast<PictureControl*>(c)->setImage(*img);
    });
}

int DisplayImageFile(int panel, int control, const char* fileName) {
    int bitmap = 0;
    int rc = GetBitmapFromFile(fileName, &bitmap);
    if (rc < 0) return rc;
    rc = SetCtrlBitmap(panel, control, 0, bitmap);
    DiscardBitmap(bitmap);
    return rc;
}

// ---------------------------------------------------------------------------------------------
// Fonts
// ---------------------------------------------------------------------------------------------
int CreateMetaFont(const char* name, const char* baseFont, int pointSize, int bold, int italic,
                   int underline, int strikeout) {
    return guarded("CreateMetaFont", [&] {
        if (!name || !baseFont) return UIENullPointer;
        std::string n = name;
        if (n.empty() || n.size() > 255 || pointSize < 1 || pointSize > 400) return UIEInvalidAttributeValue;
        QFont f = fontByName(baseFont, nullptr);
        f.setPointSize(pointSize);
        f.setBold(bold != 0);
        f.setItalic(italic != 0);
        f.setUnderline(underline != 0);
        f.setStrikeOut(strikeout != 0);
        runtime()->fonts[n] = f;
        return 0;
    });
}

int GetTextDisplaySize(const char* text, const char* font, int* height, int* width) {
    return guarded("GetTextDisplaySize", [&] {
        if (!text || !font) return UIENullPointer;
        QFont f = fontByName(*font ? font : VAL_DIALOG_META_FONT, nullptr);
        QSize s = QFontMetrics(f).size(Qt::TextExpandTabs, QString::fromUtf8(text));
        if (height) *height = s.height();
        if (width) *width = s.width();
        return 0;
    });
}

#include "controls/scrollbar.h"

#include <algorithm>
#include <chrono>
#include <new>

#include "uiruntime/uiruntime.h"

namespace {

constexpr int kTag = 0x5343524C;
constexpr int kHorizontalFlag = 1;
constexpr int kProportionalFlag = 2;
constexpr int kMaxSize = 32767;
constexpr int kMinThumb = 12;

// What the mouse pressed.
enum Part { kFirstArrow = 0, kSecondArrow = 1, kTrackBefore = 2, kTrackAfter = 3, kThumb = 4, kIdle = 5 };

using Clock = std::chrono::steady_clock;

// What a drawing of the bar shows; the bar is drawn again only when this changes.
struct Look {
    int width, height, color, flags, state;
    int thumbStart, thumbLength;
    bool operator==(const Look&) const = default;
};

struct ScrollBar {
    int tag;
    int flags;
    int panel, control;
    int width, height;
    int color;
    int page;
    int minimum, maximum;
    int value;
    CtrlCallbackPtr callback;
    void* callbackData;
    int state;
    int repeatTimer;
    Clock::time_point pressTime;
    int dragOffset;  // mouse position along the bar minus the thumb's middle at the press
    int pressPos;    // where the track was pressed: paging stops when the thumb gets there
    Look drawn;      // what the canvas shows now
};

bool horizontal(const ScrollBar* sb) { return sb->flags & kHorizontalFlag; }
int length(const ScrollBar* sb) { return horizontal(sb) ? sb->width : sb->height; }
int thickness(const ScrollBar* sb) { return horizontal(sb) ? sb->height : sb->width; }

// Positions along the bar.
struct Layout {
    int arrow;  // each arrow's length, and so where the track starts
    int trackLength;
    int thumbStart;
    int thumbLength;
};

Layout layoutOf(const ScrollBar* sb) {
    Layout l{};
    l.arrow = std::min(thickness(sb), length(sb) / 3);
    l.trackLength = std::max(length(sb) - 2 * l.arrow, 0);
    long long range = static_cast<long long>(sb->maximum) - sb->minimum;
    if (sb->flags & kProportionalFlag) {
        long long t = range > 0 ? l.trackLength * static_cast<long long>(sb->page) / range : l.trackLength;
        l.thumbLength = static_cast<int>(std::clamp<long long>(t, std::min(kMinThumb, l.trackLength), l.trackLength));
    } else {
        l.thumbLength = std::min(thickness(sb), l.trackLength);
    }
    long long v = std::clamp(sb->value, sb->minimum, sb->maximum) - static_cast<long long>(sb->minimum);
    long long free = l.trackLength - l.thumbLength;
    l.thumbStart = l.arrow + static_cast<int>(range > 0 ? (free * v + range / 2) / range : 0);
    return l;
}

Part hitTest(const ScrollBar* sb, int pos) {
    Layout l = layoutOf(sb);
    if (pos < l.arrow) return kFirstArrow;
    if (pos >= length(sb) - l.arrow) return kSecondArrow;
    if (pos < l.thumbStart) return kTrackBefore;
    if (pos >= l.thumbStart + l.thumbLength) return kTrackAfter;
    return kThumb;
}

// ---- drawing ---------------------------------------------------------------------------------

int blend(int color, int toward, int percent) {
    auto channel = [&](int shift) {
        int a = (color >> shift) & 0xFF, b = (toward >> shift) & 0xFF;
        return (a + (b - a) * percent / 100) << shift;
    };
    return channel(16) | channel(8) | channel(0);
}

// A rectangle given along and across the bar.
Rect barRect(const ScrollBar* sb, int along, int across, int alongLength, int acrossLength) {
    return horizontal(sb) ? MakeRect(across, along, acrossLength, alongLength)
                          : MakeRect(along, across, alongLength, acrossLength);
}

void fill(const ScrollBar* sb, Rect r, int color) {
    if (r.width <= 0 || r.height <= 0) return;
    SetCtrlAttribute(sb->panel, sb->control, ATTR_PEN_FILL_COLOR, color);
    CanvasDrawRect(sb->panel, sb->control, r, VAL_DRAW_INTERIOR);
}

// A box with a two-pixel bevel, raised or pressed in.
void bevelBox(const ScrollBar* sb, Rect r, bool pressed) {
    const int c = sb->color;
    const int light = blend(c, 0xFFFFFF, 75), shade = blend(c, 0, 30), dark = blend(c, 0, 65);
    fill(sb, r, c);
    int t = r.top, l = r.left, h = r.height, w = r.width;
    if (pressed) {
        fill(sb, MakeRect(t, l, 1, w), shade);
        fill(sb, MakeRect(t, l, h, 1), shade);
        fill(sb, MakeRect(t + h - 1, l, 1, w), shade);
        fill(sb, MakeRect(t, l + w - 1, h, 1), shade);
        return;
    }
    fill(sb, MakeRect(t, l, 1, w - 1), light);
    fill(sb, MakeRect(t, l, h - 1, 1), light);
    fill(sb, MakeRect(t + h - 1, l, 1, w), dark);
    fill(sb, MakeRect(t, l + w - 1, h, 1), dark);
    fill(sb, MakeRect(t + h - 2, l + 1, 1, w - 2), shade);
    fill(sb, MakeRect(t + 1, l + w - 2, h - 2, 1), shade);
}

// A filled triangle pointing toward the start (first) or the end of the bar.
void arrowGlyph(const ScrollBar* sb, Rect box, bool first, bool pressed) {
    const int size = std::max(thickness(sb) / 4, 2);
    int cx = box.left + box.width / 2 - (box.width % 2 == 0 ? 1 : 0) + (pressed ? 1 : 0);
    int cy = box.top + box.height / 2 - (box.height % 2 == 0 ? 1 : 0) + (pressed ? 1 : 0);
    for (int k = 0; k < size; ++k) {
        // Row k of the triangle, counted from its tip.
        int offset = (first ? k : size - 1 - k) - size / 2;
        if (horizontal(sb))
            fill(sb, MakeRect(cy - k, cx + offset, 2 * k + 1, 1), 0);
        else
            fill(sb, MakeRect(cy + offset, cx - k, 1, 2 * k + 1), 0);
    }
}

void drawArrow(const ScrollBar* sb, bool first) {
    Layout l = layoutOf(sb);
    bool pressed = sb->state == (first ? kFirstArrow : kSecondArrow);
    Rect box = barRect(sb, first ? 0 : length(sb) - l.arrow, 0, l.arrow, thickness(sb));
    bevelBox(sb, box, pressed);
    arrowGlyph(sb, box, first, pressed);
}

void drawTrackAndThumb(const ScrollBar* sb) {
    Layout l = layoutOf(sb);
    const int track = blend(sb->color, 0xFFFFFF, 45);
    fill(sb, barRect(sb, l.arrow, 0, l.trackLength, thickness(sb)), track);
    if (l.trackLength > 0) {
        // A darker band where the track is being paged.
        if (sb->state == kTrackBefore)
            fill(sb, barRect(sb, l.arrow, 0, l.thumbStart - l.arrow, thickness(sb)), blend(sb->color, 0, 25));
        if (sb->state == kTrackAfter)
            fill(sb, barRect(sb, l.thumbStart + l.thumbLength, 0,
                             l.arrow + l.trackLength - l.thumbStart - l.thumbLength, thickness(sb)),
                 blend(sb->color, 0, 25));
        bevelBox(sb, barRect(sb, l.thumbStart, 0, l.thumbLength, thickness(sb)), false);
    }
}

// Draws the bar when it would look different from what the canvas shows (an owner that moves the
// maximum with every item it adds must not pay for a drawing each time).
void drawBar(ScrollBar* sb) {
    Layout l = layoutOf(sb);
    Look look{sb->width, sb->height, sb->color, sb->flags, sb->state, l.thumbStart, l.thumbLength};
    if (look == sb->drawn) return;
    sb->drawn = look;
    CanvasStartBatchDraw(sb->panel, sb->control);
    SetCtrlAttribute(sb->panel, sb->control, ATTR_PICT_BGCOLOR, sb->color);
    drawArrow(sb, true);
    drawTrackAndThumb(sb);
    drawArrow(sb, false);
    CanvasEndBatchDraw(sb->panel, sb->control);
}

// ---- value -----------------------------------------------------------------------------------

// Takes a requested value (limited to minimum..maximum) and tells the owner; false when the value
// stays as it was.
bool changeValue(ScrollBar* sb, long long requested, int action) {
    int v = static_cast<int>(std::clamp<long long>(requested, sb->minimum, sb->maximum));
    if (v == sb->value) return false;
    sb->value = v;
    if (sb->callback) sb->callback(sb->panel, sb->control, SB_EVENT_VALUE_CHANGED, sb->callbackData, v, action);
    drawBar(sb);
    return true;
}

// The action of a pressed arrow or track part.
void stepFor(ScrollBar* sb, int part) {
    long long v = sb->value;
    switch (part) {
        case kFirstArrow: changeValue(sb, v - 1, SB_ACTION_LINE_UP); break;
        case kSecondArrow: changeValue(sb, v + 1, SB_ACTION_LINE_DOWN); break;
        case kTrackBefore: changeValue(sb, v - sb->page, SB_ACTION_PAGE_UP); break;
        case kTrackAfter: changeValue(sb, v + sb->page, SB_ACTION_PAGE_DOWN); break;
        default: break;
    }
}

void dragThumbTo(ScrollBar* sb, int pos) {
    Layout l = layoutOf(sb);
    int free = l.trackLength - l.thumbLength;
    if (free <= 0) return;
    int start = pos - sb->dragOffset - l.thumbLength / 2 - l.arrow;
    long long range = static_cast<long long>(sb->maximum) - sb->minimum;
    changeValue(sb, sb->minimum + (start * range + (start >= 0 ? free / 2 : -free / 2)) / free, SB_ACTION_JUMP);
}

void setRepeating(ScrollBar* sb, bool on) {
    if (sb->repeatTimer > 0) SetCtrlAttribute(sb->panel, sb->repeatTimer, ATTR_ENABLED, on ? 1 : 0);
}

// ---- events ----------------------------------------------------------------------------------

int ScrollBarCtrlCallback(int panel, int control, int event, void* callbackData, int eventData1,
                          int eventData2);

int barOf(int panel, int control, ScrollBar** out) {
    CtrlCallbackPtr callback = nullptr;
    void* data = nullptr;
    int status = GetCtrlAttribute(panel, control, ATTR_CALLBACK_FUNCTION_POINTER, &callback);
    if (status < 0) return status;
    GetCtrlAttribute(panel, control, ATTR_CALLBACK_DATA, &data);
    auto* sb = static_cast<ScrollBar*>(data);
    if (callback != ScrollBarCtrlCallback || !sb || sb->tag != kTag) return SB_ERR_WRONG_CONTROL;
    *out = sb;
    return 0;
}

// The mouse position along the bar, from an event's panel coordinates.
int positionAlong(const ScrollBar* sb, int y, int x) {
    int top = 0, left = 0;
    GetCtrlAttribute(sb->panel, sb->control, ATTR_TOP, &top);
    GetCtrlAttribute(sb->panel, sb->control, ATTR_LEFT, &left);
    return horizontal(sb) ? x - left : y - top;
}

void press(ScrollBar* sb, int pos) {
    Part part = hitTest(sb, pos);
    sb->state = part;
    sb->pressTime = Clock::now();
    sb->pressPos = pos;
    if (part == kThumb) {
        Layout l = layoutOf(sb);
        sb->dragOffset = pos - (l.thumbStart + l.thumbLength / 2);
        return;
    }
    drawBar(sb);  // the arrow or track part shows pressed
    stepFor(sb, part);
    setRepeating(sb, true);
}

void release(ScrollBar* sb) {
    setRepeating(sb, false);
    sb->state = kIdle;
    drawBar(sb);
    if (sb->callback)
        sb->callback(sb->panel, sb->control, SB_EVENT_VALUE_CHANGED, sb->callbackData, sb->value, SB_ACTION_RELEASE);
}

int keyPress(ScrollBar* sb, int key) {
    const int vkey = key & VAL_VKEY_MASK;
    const bool across = horizontal(sb);
    if (vkey == VAL_UP_ARROW_VKEY || (across && vkey == VAL_LEFT_ARROW_VKEY)) stepFor(sb, kFirstArrow);
    else if (vkey == VAL_DOWN_ARROW_VKEY || (across && vkey == VAL_RIGHT_ARROW_VKEY)) stepFor(sb, kSecondArrow);
    else if (vkey == VAL_PAGE_UP_VKEY) stepFor(sb, kTrackBefore);
    else if (vkey == VAL_PAGE_DOWN_VKEY) stepFor(sb, kTrackAfter);
    else if (vkey == VAL_HOME_VKEY) changeValue(sb, sb->minimum, SB_ACTION_JUMP);
    else if (vkey == VAL_END_VKEY) changeValue(sb, sb->maximum, SB_ACTION_JUMP);
    else return 0;
    return 1;
}

// Three lines a notch, as lists scroll.
void wheel(ScrollBar* sb, int notches) {
    for (int i = 0; i < 3 * (notches < 0 ? -notches : notches); ++i)
        stepFor(sb, notches > 0 ? kFirstArrow : kSecondArrow);
}

void dispose(ScrollBar* sb) {
    if (sb->repeatTimer > 0) DiscardCtrlNoBOLE(sb->panel, sb->repeatTimer, 1);
    sb->tag = 0;
    delete sb;
}

int ScrollBarCtrlCallback(int, int, int event, void* callbackData, int eventData1, int eventData2) {
    auto* sb = static_cast<ScrollBar*>(callbackData);
    if (!sb || sb->tag != kTag) return 0;
    switch (event) {
        case EVENT_LEFT_CLICK:
        case EVENT_LEFT_DOUBLE_CLICK:  // a quick second press acts as a press
            if (sb->state == kIdle) press(sb, positionAlong(sb, eventData1, eventData2));
            return 1;
        case EVENT_MOUSE_POINTER_MOVE:
            if (sb->state == kThumb) dragThumbTo(sb, positionAlong(sb, eventData1, eventData2));
            return 1;
        case EVENT_LEFT_CLICK_UP:
            if (sb->state != kIdle) release(sb);
            return 1;
        case EVENT_MOUSE_WHEEL_SCROLL:
            wheel(sb, eventData1);
            return 1;
        case EVENT_KEYPRESS: return keyPress(sb, eventData1);
        case EVENT_DISCARD: dispose(sb); return 0;
        default: return 0;
    }
}

int ScrollBarTimerCallback(int, int, int event, void* callbackData, int, int) {
    auto* sb = static_cast<ScrollBar*>(callbackData);
    if (event != EVENT_TIMER_TICK || !sb || sb->tag != kTag) return 0;
    if (sb->state == kIdle || sb->state == kThumb) {
        setRepeating(sb, false);
        return 0;
    }
    if (Clock::now() - sb->pressTime < std::chrono::milliseconds(SB_REPEAT_DELAY_MS)) return 0;
    // Paging stops once the thumb has reached the mouse.
    if ((sb->state == kTrackBefore || sb->state == kTrackAfter) && hitTest(sb, sb->pressPos) != sb->state)
        return 0;
    stepFor(sb, sb->state);
    return 0;
}

int minWidth(bool isHorizontal) { return isHorizontal ? 64 : 16; }
int minHeight(bool isHorizontal) { return isHorizontal ? 16 : 64; }

}  // namespace

int ScrollBar_ConvertFromCanvas(int panel, int control, CtrlCallbackPtr callback, void* callbackData) {
    int style = 0;
    if (GetCtrlAttribute(panel, control, ATTR_CTRL_STYLE, &style) < 0) return SB_ERR_FAILED;
    if (style != CTRL_CANVAS) return SB_ERR_WRONG_CONTROL;
    ScrollBar* existing = nullptr;
    if (barOf(panel, control, &existing) == 0) {
        existing->callback = callback;
        existing->callbackData = callbackData;
        return control;
    }
    if (!callback) {
        GetCtrlAttribute(panel, control, ATTR_CALLBACK_FUNCTION_POINTER, &callback);
        GetCtrlAttribute(panel, control, ATTR_CALLBACK_DATA, &callbackData);
    }
    auto* sb = new (std::nothrow) ScrollBar{};
    if (!sb) return SB_ERR_FAILED;
    sb->tag = kTag;
    sb->panel = panel;
    sb->control = control;
    sb->flags = kProportionalFlag;
    sb->page = 10;
    sb->maximum = 100;
    sb->state = kIdle;
    sb->callback = callback;
    sb->callbackData = callbackData;
    GetCtrlAttribute(panel, control, ATTR_WIDTH, &sb->width);
    GetCtrlAttribute(panel, control, ATTR_HEIGHT, &sb->height);
    if (GetCtrlAttribute(panel, control, ATTR_PICT_BGCOLOR, &sb->color) < 0) sb->color = VAL_PANEL_GRAY;
    const bool isHorizontal = sb->width >= sb->height;
    if (isHorizontal) sb->flags |= kHorizontalFlag;
    sb->width = std::clamp(sb->width, minWidth(isHorizontal), kMaxSize);
    sb->height = std::clamp(sb->height, minHeight(isHorizontal), kMaxSize);
    int timer = NewCtrl(panel, CTRL_TIMER, "", 0, 0);
    if (timer < 0 || SetCtrlAttribute(panel, timer, ATTR_INTERVAL, SB_REPEAT_INTERVAL_MS / 1000.0) < 0 ||
        SetCtrlAttribute(panel, timer, ATTR_ENABLED, 0) < 0 ||
        InstallCtrlCallback(panel, timer, ScrollBarTimerCallback, sb) < 0 ||
        SetCtrlAttribute(panel, control, ATTR_WIDTH, sb->width) < 0 ||
        SetCtrlAttribute(panel, control, ATTR_HEIGHT, sb->height) < 0 ||
        InstallCtrlCallback(panel, control, ScrollBarCtrlCallback, sb) < 0) {
        if (timer > 0) DiscardCtrlNoBOLE(panel, timer, 1);
        delete sb;
        return SB_ERR_FAILED;
    }
    sb->repeatTimer = timer;
    drawBar(sb);
    return control;
}

int ScrollBar_Create(int panel, int top, int left, int horizontal, CtrlCallbackPtr callback,
                     void* callbackData) {
    int control = NewCtrl(panel, CTRL_CANVAS, "scroll bar", top, left);
    if (control < 0) return SB_ERR_FAILED;
    SetCtrlAttribute(panel, control, ATTR_LABEL_VISIBLE, 0);
    SetCtrlAttribute(panel, control, ATTR_WIDTH, horizontal ? 120 : 16);
    SetCtrlAttribute(panel, control, ATTR_HEIGHT, horizontal ? 16 : 120);
    SetCtrlAttribute(panel, control, ATTR_PICT_BGCOLOR, VAL_PANEL_GRAY);
    if (ScrollBar_ConvertFromCanvas(panel, control, callback, callbackData) != control) {
        DiscardCtrlNoBOLE(panel, control, 1);
        return SB_ERR_FAILED;
    }
    return control;
}

int ScrollBar_SetAttribute(int panel, int control, int attribute, int value) {
    ScrollBar* sb = nullptr;
    if (int status = barOf(panel, control, &sb)) return status;
    const bool isHorizontal = horizontal(sb);
    switch (attribute) {
        case SB_ATTR_VALUE:
            // Kept even when out of range, but the caller is told.
            sb->value = value;
            drawBar(sb);
            return value < sb->minimum || value > sb->maximum ? SB_ERR_OUT_OF_RANGE : 0;
        case SB_ATTR_PAGE_INCREMENT: sb->page = value; break;
        case SB_ATTR_MIN:
            if (value >= sb->maximum) return SB_ERR_OUT_OF_RANGE;
            sb->minimum = value;
            break;
        case SB_ATTR_MAX:
            if (value <= sb->minimum) return SB_ERR_OUT_OF_RANGE;
            sb->maximum = value;
            break;
        case SB_ATTR_COLOR:
            if (value < 0 || value > 0xFFFFFF) return SB_ERR_OUT_OF_RANGE;
            sb->color = value;
            break;
        case SB_ATTR_HEIGHT:
            if (value < minHeight(isHorizontal) || value > kMaxSize) return SB_ERR_OUT_OF_RANGE;
            sb->height = value;
            SetCtrlAttribute(panel, control, ATTR_HEIGHT, value);
            break;
        case SB_ATTR_WIDTH:
            if (value < minWidth(isHorizontal) || value > kMaxSize) return SB_ERR_OUT_OF_RANGE;
            sb->width = value;
            SetCtrlAttribute(panel, control, ATTR_WIDTH, value);
            break;
        case SB_ATTR_HORIZONTAL:
            if ((value != 0) != isHorizontal) {
                sb->flags ^= kHorizontalFlag;
                std::swap(sb->width, sb->height);
                SetCtrlAttribute(panel, control, ATTR_WIDTH, sb->width);
                SetCtrlAttribute(panel, control, ATTR_HEIGHT, sb->height);
            }
            break;
        case SB_ATTR_PROPORTIONAL_THUMB:
            sb->flags = value ? sb->flags | kProportionalFlag : sb->flags & ~kProportionalFlag;
            break;
        default: return SB_ERR_UNKNOWN_ATTRIBUTE;
    }
    drawBar(sb);
    return 0;
}

int ScrollBar_GetAttribute(int panel, int control, int attribute, int* value) {
    ScrollBar* sb = nullptr;
    if (int status = barOf(panel, control, &sb)) return status;
    switch (attribute) {
        case SB_ATTR_VALUE: *value = sb->value; return 0;
        case SB_ATTR_PAGE_INCREMENT: *value = sb->page; return 0;
        case SB_ATTR_MIN: *value = sb->minimum; return 0;
        case SB_ATTR_MAX: *value = sb->maximum; return 0;
        case SB_ATTR_COLOR: *value = sb->color; return 0;
        case SB_ATTR_HEIGHT: *value = sb->height; return 0;
        case SB_ATTR_WIDTH: *value = sb->width; return 0;
        case SB_ATTR_HORIZONTAL: *value = horizontal(sb) ? 1 : 0; return 0;
        case SB_ATTR_PROPORTIONAL_THUMB: *value = sb->flags & kProportionalFlag ? 1 : 0; return 0;
        default: return SB_ERR_UNKNOWN_ATTRIBUTE;
    }
}

int ScrollBar_InstallCallback(int panel, int control, CtrlCallbackPtr callback, void* callbackData) {
    ScrollBar* sb = nullptr;
    if (int status = barOf(panel, control, &sb)) return status;
    sb->callback = callback;
    sb->callbackData = callbackData;
    return 0;
}

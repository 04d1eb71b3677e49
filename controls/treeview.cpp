#include "controls/treeview.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>

#include "controls/scrollbar.h"
#include "uiruntime/uiruntime.h"

namespace {

constexpr int kTag = 0x54726556;
constexpr int kIndent = TV_ROW_HEIGHT;  // each level moves the image right by a row's height
constexpr int kImageGap = 3;            // between the image and the text
constexpr int kImageWidth = 16;
constexpr int kWhite = 0xFFFFFF;
constexpr int kLineGrey = 0x808080;
constexpr int kSelectionColor = 0x3465A4;
constexpr int kSelectionTextColor = 0xFFFFFF;
constexpr int kTextColor = 0x000000;
constexpr int kWheelRows = 3;

// An item of the table: what TV_GetItemInfo gives back, stored by value.
using TVItem = TVItemInfo;

}  // namespace

struct TreeView {
    int tag;
    int panel, canvas, scrollBar;
    int ownsCanvas;
    int imageCount;
    int* images;
    int lineA, lineB;
    int count, capacity;
    int selected;
    int visibleRows;
    int topRow;
    TVItem* items;
    CtrlCallbackPtr handler;
    char font[TV_FONT_NAME_SIZE + 1];
    int tabs[TV_MAX_TABS];
};

namespace {

bool valid(const TreeView* t) { return t && t->tag == kTag; }

// ---- the visible items -----------------------------------------------------------------------

// The next item in view after item i: a collapsed item hides its descendants.
int nextVisible(const TreeView* t, int i) {
    const TVItem& item = t->items[i];
    return i + 1 + (item.expanded ? 0 : item.descendants);
}

int visibleItemCount(const TreeView* t) {
    int rows = 0;
    for (int i = 0; i < t->count; i = nextVisible(t, i)) ++rows;
    return rows;
}

// The row of an item counted from the first, or -1 while it is hidden in a collapsed subtree.
int absoluteRow(const TreeView* t, int index) {
    if (index < 0 || index >= t->count) return -1;
    int row = 0;
    for (int i = 0; i < index; ++row) {
        int next = nextVisible(t, i);
        if (index < next) return -1;
        i = next;
    }
    return row;
}

// The item at an absolute row, or -1.
int indexAtAbsoluteRow(const TreeView* t, int row) {
    if (row < 0) return -1;
    int i = 0;
    for (int r = 0; i < t->count && r < row; ++r) i = nextVisible(t, i);
    return i < t->count ? i : -1;
}

int scrollMax(const TreeView* t) {
    int m = 0;
    ScrollBar_GetAttribute(t->panel, t->scrollBar, SB_ATTR_MAX, &m);
    return m;
}

int canvasHeight(const TreeView* t) {
    int h = 0;
    GetCtrlAttribute(t->panel, t->canvas, ATTR_HEIGHT, &h);
    return h;
}

// Rows that can be seen, the last perhaps in part.
int drawnRows(const TreeView* t) {
    return std::max(0, (canvasHeight(t) - TV_TOP_MARGIN + TV_ROW_HEIGHT - 1) / TV_ROW_HEIGHT);
}

int rowTop(int row) { return TV_TOP_MARGIN + row * TV_ROW_HEIGHT; }

// The highest top row: the last row at the bottom of the view.
int maxTopRow(const TreeView* t) { return std::max(0, visibleItemCount(t) - t->visibleRows); }

// ---- drawing ---------------------------------------------------------------------------------

bool hasLaterSibling(const TreeView* t, int i) {
    if (t->items[i].level == 0) return false;
    int next = i + 1 + t->items[i].descendants;
    return next < t->count && t->items[next].level == t->items[i].level;
}

bool linesOn(const TreeView* t) { return t->lineA != -1 && t->lineB != -1; }

// A piece of connecting line; the bitmaps repeat every two pixels, so each piece starts at the
// parity of its position in the whole tree, and the dots of neighbouring rows line up however
// far the view scrolled.
void verticalLine(const TreeView* t, int x, int y, int height) {
    int phase = (y + t->topRow * TV_ROW_HEIGHT) & 1;
    CanvasDrawBitmap(t->panel, t->canvas, t->lineA, MakeRect(phase, 0, height, 1), MakeRect(y, x, height, 1));
}

void horizontalLine(const TreeView* t, int x, int y, int width) {
    CanvasDrawBitmap(t->panel, t->canvas, t->lineB, MakeRect(0, x & 1, 1, width), MakeRect(y, x, 1, width));
}

void fillRect(const TreeView* t, Rect r, int color) {
    SetCtrlAttribute(t->panel, t->canvas, ATTR_PEN_FILL_COLOR, color);
    CanvasDrawRect(t->panel, t->canvas, r, VAL_DRAW_INTERIOR);
}

// The lines of one row: through the ancestors that have more children below, and to the item.
void drawLines(const TreeView* t, int index, int y) {
    const int level = t->items[index].level;
    const int middle = y + TV_ROW_HEIGHT / 2;
    // Ancestors, found walking back: the first earlier item of each shallower level.
    int ancestor[64];
    int deepest = std::min(level, 64);
    for (int j = index - 1, l = deepest; j >= 0 && l > 1; --j)
        if (t->items[j].level < l) {
            l = t->items[j].level;
            ancestor[l] = j;
        }
    for (int l = 1; l < deepest; ++l)
        if (hasLaterSibling(t, ancestor[l])) verticalLine(t, kIndent * l - 9, y, TV_ROW_HEIGHT);
    if (level >= 1) {
        const int x = kIndent * level - 9;
        verticalLine(t, x, y, hasLaterSibling(t, index) ? TV_ROW_HEIGHT : middle - y + 1);
        horizontalLine(t, x + 1, middle, kIndent * level - x - 2);
    }
    // Down from the image to the children of an open item.
    if (t->items[index].expanded && index + 1 < t->count && t->items[index + 1].level > level)
        verticalLine(t, kIndent * level + 8, y + kImageWidth, TV_ROW_HEIGHT - kImageWidth);
}

void drawExpandBox(const TreeView* t, const TVItem& item, int y) {
    const int cx = kIndent * item.level - 9, cy = y + TV_ROW_HEIGHT / 2;
    SetCtrlAttribute(t->panel, t->canvas, ATTR_PEN_COLOR, kLineGrey);
    SetCtrlAttribute(t->panel, t->canvas, ATTR_PEN_FILL_COLOR, kWhite);
    CanvasDrawRect(t->panel, t->canvas, MakeRect(cy - 4, cx - 4, 9, 9), VAL_DRAW_FRAME_AND_INTERIOR);
    fillRect(t, MakeRect(cy, cx - 2, 1, 5), kTextColor);
    if (!item.expanded) fillRect(t, MakeRect(cy - 2, cx, 5, 1), kTextColor);
}

// The text in its columns: the first after the image, each further one at its tab stop.
// Returns the right end of the text.
int drawText(const TreeView* t, const char* text, int x, int y, int color, bool measureOnly) {
    char column[TV_TEXT_SIZE];
    int tab = 0;
    while (true) {
        const char* end = std::strchr(text, '\t');
        size_t n = end ? static_cast<size_t>(end - text) : std::strlen(text);
        std::memcpy(column, text, n);
        column[n] = '\0';
        int height = 0, width = 0;
        GetTextDisplaySize(column, t->font, &height, &width);
        if (!measureOnly) {
            SetCtrlAttribute(t->panel, t->canvas, ATTR_PEN_COLOR, color);
            CanvasDrawText(t->panel, t->canvas, column, t->font, MakeRect(y, x, TV_ROW_HEIGHT, width + 1),
                           VAL_CENTER_LEFT);
        }
        x += width;
        if (!end) return x;
        text = end + 1;
        int stop = tab < TV_MAX_TABS ? t->tabs[tab++] : 0;
        x = stop > x ? stop : x + 8;
    }
}

void drawItem(const TreeView* t, int index, int y) {
    const TVItem& item = t->items[index];
    if (linesOn(t)) drawLines(t, index, y);
    if (item.descendants > 0) drawExpandBox(t, item, y);
    const int imageLeft = kIndent * item.level;
    if (item.image >= 0 && item.image < t->imageCount) {
        int height = 0;
        GetBitmapInfo(t->images[item.image], nullptr, &height);
        int top = y + std::max(0, (TV_ROW_HEIGHT - height) / 2);
        CanvasDrawBitmap(t->panel, t->canvas, t->images[item.image], VAL_ENTIRE_OBJECT,
                         MakeRect(top, imageLeft, std::min(height, TV_ROW_HEIGHT), kImageWidth));
    }
    const int textLeft = imageLeft + kImageWidth + kImageGap;
    const bool selected = index == t->selected;
    if (selected) {
        int right = drawText(t, item.text, textLeft, y, 0, true);
        fillRect(t, MakeRect(y + 1, textLeft - 2, TV_ROW_HEIGHT - 2, right - textLeft + 4), kSelectionColor);
    }
    drawText(t, item.text, textLeft, y, selected ? kSelectionTextColor : kTextColor, false);
}

// Clears a row of the view and draws the item shown there, if any.
void drawRow(const TreeView* t, int row, int index) {
    const int y = rowTop(row);
    fillRect(t, MakeRect(y, 0, TV_ROW_HEIGHT, VAL_TO_EDGE), kWhite);
    if (index >= 0 && index < t->count) drawItem(t, index, y);
}

// Draws the rows from..to-1 of the view.
void drawRows(const TreeView* t, int from, int to) {
    from = std::max(from, 0);
    to = std::min(to, drawnRows(t));
    if (from >= to) return;
    CanvasStartBatchDraw(t->panel, t->canvas);
    if (from == 0) fillRect(t, MakeRect(0, 0, TV_TOP_MARGIN, VAL_TO_EDGE), kWhite);
    int index = t->count > 0 ? indexAtAbsoluteRow(t, t->topRow + from) : -1;
    for (int row = from; row < to; ++row) {
        drawRow(t, row, index);
        if (index >= 0) {
            index = nextVisible(t, index);
            if (index >= t->count) index = -1;
        }
    }
    CanvasEndBatchDraw(t->panel, t->canvas);
}

// Redraws an item where it is in view (the row seen only in part at the bottom included).
void drawIndex(const TreeView* t, int index) {
    int row = absoluteRow(t, index) - t->topRow;
    if (index >= 0 && row >= 0) drawRows(t, row, row + 1);
}

// ---- scrolling -------------------------------------------------------------------------------

void setScrollValue(const TreeView* t, int value) {
    ScrollBar_SetAttribute(t->panel, t->scrollBar, SB_ATTR_VALUE, value);
}

// Moves the view to a new top row: the canvas shifts and only the rows that came in are drawn.
void scrollTo(TreeView* t, int top) {
    top = std::clamp(top, 0, maxTopRow(t));
    int shift = top - t->topRow;
    if (shift == 0) return;
    t->topRow = top;
    int rows = drawnRows(t);
    if (std::abs(shift) >= rows) {
        drawRows(t, 0, rows);
        return;
    }
    CanvasStartBatchDraw(t->panel, t->canvas);
    CanvasScroll(t->panel, t->canvas, MakeRect(TV_TOP_MARGIN, 0, rows * TV_ROW_HEIGHT, VAL_TO_EDGE), 0,
                 -shift * TV_ROW_HEIGHT);
    if (shift > 0) drawRows(t, rows - shift - 1, rows);  // the last row was perhaps cut short
    else drawRows(t, 0, -shift);
    CanvasEndBatchDraw(t->panel, t->canvas);
}

// After the number of rows in view changed: the bar shows only when they do not fit.
void fitScrollBar(TreeView* t) {
    int rows = visibleItemCount(t);
    if (rows <= t->visibleRows) {
        setScrollValue(t, 0);
        SetCtrlAttribute(t->panel, t->scrollBar, ATTR_VISIBLE, 0);
        t->topRow = 0;
        return;
    }
    ScrollBar_SetAttribute(t->panel, t->scrollBar, SB_ATTR_MAX, rows);
    SetCtrlAttribute(t->panel, t->scrollBar, ATTR_VISIBLE, 1);
    // A shorter tree must not leave empty rows at the bottom of the view.
    t->topRow = std::min(t->topRow, maxTopRow(t));
    setScrollValue(t, TV_ConvertToScroll(t, t->topRow));
}

void callHandler(TreeView* t, int code) {
    if (t->handler) t->handler(t->panel, t->canvas, code, t, 0, 0);
}

void select(TreeView* t, int index) {
    int old = t->selected;
    t->selected = index;
    drawIndex(t, old);
    drawIndex(t, index);
}

// Up and Down: the selection moves to the neighbouring row, and the view follows it.
void moveSelection(TreeView* t, int step) {
    int row = absoluteRow(t, t->selected);
    int index = row < 0 ? -1 : indexAtAbsoluteRow(t, row + step);
    if (index < 0) return;
    int old = t->selected;
    t->selected = index;
    int newRow = row + step;
    if (newRow < t->topRow || newRow >= t->topRow + t->visibleRows) {
        // The new row becomes the first (moving up) or the last (moving down) in view.
        int value = TV_ConvertToScroll(t, step < 0 ? newRow : newRow - t->visibleRows + 1);
        setScrollValue(t, value);
        TV_SB_Callback(t->panel, t->scrollBar, SB_EVENT_VALUE_CHANGED, t, value, SB_ACTION_JUMP);
    }
    drawIndex(t, old);
    drawIndex(t, index);
    callHandler(t, TV_SELECTION_CHANGED);
}

// Canvas coordinates of an event given in panel coordinates.
void toCanvas(const TreeView* t, int eventY, int eventX, int* x, int* y) {
    int top = 0, left = 0;
    GetCtrlAttribute(t->panel, t->canvas, ATTR_TOP, &top);
    GetCtrlAttribute(t->panel, t->canvas, ATTR_LEFT, &left);
    *x = eventX - left;
    *y = eventY - top;
}

int keyPress(TreeView* t, int key) {
    const int vkey = key & VAL_VKEY_MASK;
    const int ascii = vkey ? 0 : key & VAL_ASCII_KEY_MASK;
    const int sel = t->selected;
    const bool hasChildren = t->count > 0 && t->items[sel].descendants > 0;
    if (vkey == VAL_ENTER_VKEY) {
        callHandler(t, TV_ITEM_ACTIVATED);
    } else if (ascii == '+') {
        if (hasChildren && !t->items[sel].expanded) TV_ExpandCollapse(t, sel);
    } else if (ascii == '-') {
        if (hasChildren && t->items[sel].expanded) TV_ExpandCollapse(t, sel);
    } else if (vkey == VAL_UP_ARROW_VKEY) {
        moveSelection(t, -1);
    } else if (vkey == VAL_DOWN_ARROW_VKEY) {
        moveSelection(t, 1);
    } else {
        return 0;
    }
    return 1;
}

void releaseItems(TreeView* t) {
    std::free(t->items);
    t->items = nullptr;
    t->count = t->capacity = 0;
    t->selected = 0;
    t->topRow = 0;
}

}  // namespace

// ---- creation --------------------------------------------------------------------------------

int TV_CreateExistCanvas(int panel, int canvas, int scrollBar, TreeView** tree) {
    if (!tree) return TV_ERR_ARGUMENT;
    *tree = nullptr;
    auto* t = static_cast<TreeView*>(std::calloc(1, sizeof(TreeView)));
    if (!t) return TV_ERR_NO_MEMORY;
    int status = TV_Init(t, panel, canvas, scrollBar);
    if (status < 0) {
        std::free(t);
        return status;
    }
    *tree = t;
    return 0;
}

int TV_CreateNewCanvas(int panel, int top, int left, int height, int width, TreeView** tree) {
    if (!tree) return TV_ERR_ARGUMENT;
    *tree = nullptr;
    const int barWidth = 16;
    if (width <= barWidth || height < 64) return TV_ERR_ARGUMENT;
    int canvas = NewCtrl(panel, CTRL_CANVAS, "", top, left);
    if (canvas < 0) return canvas;
    SetCtrlAttribute(panel, canvas, ATTR_HEIGHT, height);
    SetCtrlAttribute(panel, canvas, ATTR_WIDTH, width - barWidth);
    int bar = NewCtrl(panel, CTRL_CANVAS, "", top, left + width - barWidth);
    if (bar >= 0) {
        SetCtrlAttribute(panel, bar, ATTR_HEIGHT, height);
        SetCtrlAttribute(panel, bar, ATTR_WIDTH, barWidth);
    }
    int status = bar < 0 ? bar : TV_CreateExistCanvas(panel, canvas, bar, tree);
    if (status < 0) {
        if (bar >= 0) DiscardCtrlNoBOLE(panel, bar, 1);
        DiscardCtrlNoBOLE(panel, canvas, 1);
        return status;
    }
    (*tree)->ownsCanvas = 1;
    return 0;
}

int TV_Init(TreeView* tree, int panel, int canvas, int scrollBar) {
    if (!tree) return TV_ERR_NOT_A_TREE;
    int height = 0;
    int status = GetCtrlAttribute(panel, canvas, ATTR_HEIGHT, &height);
    if (status < 0) return status;
    if (ScrollBar_ConvertFromCanvas(panel, scrollBar, TV_SB_Callback, tree) != scrollBar) return TV_ERR_ARGUMENT;
    tree->tag = kTag;
    tree->panel = panel;
    tree->canvas = canvas;
    tree->scrollBar = scrollBar;
    tree->lineA = tree->lineB = -1;
    tree->visibleRows = height / TV_ROW_HEIGHT;
    std::strcpy(tree->font, VAL_APP_META_FONT);
    InstallCtrlCallback(panel, canvas, TV_CV_Callback, tree);
    SetCtrlAttribute(panel, canvas, ATTR_PICT_BGCOLOR, kWhite);
    SetCtrlAttribute(panel, scrollBar, ATTR_VISIBLE, 0);
    ScrollBar_SetAttribute(panel, scrollBar, SB_ATTR_VALUE, 0);
    ScrollBar_SetAttribute(panel, scrollBar, SB_ATTR_COLOR, VAL_PANEL_GRAY);
    ScrollBar_SetAttribute(panel, scrollBar, SB_ATTR_PAGE_INCREMENT, tree->visibleRows);
    return 0;
}

int TV_InitNumItems(TreeView* tree, int count) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (tree->count > 0 || count < 0) return TV_ERR_ARGUMENT;
    if (count <= tree->capacity) return 0;
    auto* items = static_cast<TVItem*>(std::realloc(tree->items, static_cast<size_t>(count) * sizeof(TVItem)));
    if (!items) return TV_ERR_NO_MEMORY;
    tree->items = items;
    tree->capacity = count;
    return 0;
}

int TV_AddImage(TreeView* tree, int bitmap, int* index) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    auto* images = static_cast<int*>(std::realloc(tree->images, static_cast<size_t>(tree->imageCount + 1) * sizeof(int)));
    if (!images) return TV_ERR_NO_MEMORY;
    tree->images = images;
    images[tree->imageCount] = bitmap;
    if (index) *index = tree->imageCount;
    ++tree->imageCount;
    return 0;
}

int TV_GetImageCount(TreeView* tree, int* count) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (!count) return TV_ERR_ARGUMENT;
    *count = tree->imageCount;
    return 0;
}

int TV_AddItem(TreeView* tree, const char* text, int level, int position, int image, int data, int* index) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (position != -1) return TV_ERR_POSITION;
    if (!text || level < 0) return TV_ERR_ARGUMENT;
    if (tree->count == 0 ? level != 0 : level > tree->items[tree->count - 1].level + 1) return TV_ERR_ARGUMENT;
    if (tree->count == tree->capacity) {
        auto* items = static_cast<TVItem*>(std::realloc(tree->items, static_cast<size_t>(tree->count + 1) * sizeof(TVItem)));
        if (!items) return TV_ERR_NO_MEMORY;
        tree->items = items;
        tree->capacity = tree->count + 1;
    }
    const int n = tree->count;
    TVItem& item = tree->items[n];
    item = TVItem{};
    item.level = level;
    std::strncpy(item.text, text, TV_TEXT_SIZE - 1);
    item.image = image;
    item.data = data;
    item.expanded = 1;
    ++tree->count;
    // Every ancestor counts one more descendant; the root at index 0 never counts them.
    if (level > 1) {
        int lowest = level;
        for (int j = n - 1; j >= 1 && lowest > 1; --j)
            if (tree->items[j].level < lowest) {
                lowest = tree->items[j].level;
                ++tree->items[j].descendants;
            }
    }
    if (tree->count > tree->visibleRows) {
        ScrollBar_SetAttribute(tree->panel, tree->scrollBar, SB_ATTR_MAX, tree->count);
        SetCtrlAttribute(tree->panel, tree->scrollBar, ATTR_VISIBLE, 1);
    }
    if (index) *index = n;
    return 0;
}

int TV_GetItemCount(TreeView* tree, int* count) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (!count) return TV_ERR_ARGUMENT;
    *count = tree->count;
    return 0;
}

int TV_GetItemData(TreeView* tree, int index, int* data) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (index == -1) index = tree->selected;
    if (!data || index < 0 || index >= tree->count) return TV_ERR_ARGUMENT;
    *data = tree->items[index].data;
    return 0;
}

int TV_DeleteItem(TreeView* tree, int position) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (position != -1) return TV_ERR_POSITION;
    releaseItems(tree);
    CanvasClear(tree->panel, tree->canvas, VAL_ENTIRE_OBJECT);
    SetCtrlAttribute(tree->panel, tree->scrollBar, ATTR_VISIBLE, 0);
    setScrollValue(tree, 0);
    return 0;
}

int TV_UseLines(TreeView* tree, int verticalBitmap, int horizontalBitmap) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    bool off = verticalBitmap == -1 && horizontalBitmap == -1;
    if (!off && (verticalBitmap == -1 || horizontalBitmap == -1)) return TV_ERR_ARGUMENT;
    tree->lineA = verticalBitmap;
    tree->lineB = horizontalBitmap;
    CanvasClear(tree->panel, tree->canvas, VAL_ENTIRE_OBJECT);
    return 0;
}

int TV_SetFont(TreeView* tree, const char* name) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (!name || std::strlen(name) > TV_FONT_NAME_SIZE) return TV_ERR_ARGUMENT;
    std::strcpy(tree->font, name);
    return 0;
}

int TV_SetTabs(TreeView* tree, int count, ...) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (count < 1 || count > TV_MAX_TABS) return TV_ERR_ARGUMENT;
    va_list args;
    va_start(args, count);
    for (int i = 0; i < TV_MAX_TABS; ++i) tree->tabs[i] = i < count ? va_arg(args, int) : 0;
    va_end(args);
    return 0;
}

int TV_InstallHandler(TreeView* tree, CtrlCallbackPtr handler) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    tree->handler = handler;
    return 0;
}

int TV_UpdateScreen(TreeView* tree) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    drawRows(tree, 0, drawnRows(tree));
    return 0;
}

int TV_Close(TreeView* tree) {
    if (!tree) return 0;
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    tree->tag = 0;
    if (tree->ownsCanvas) {
        DiscardCtrlNoBOLE(tree->panel, tree->canvas, 1);
        DiscardCtrlNoBOLE(tree->panel, tree->scrollBar, 0);
    } else {
        // The controls stay with their panel; they must no longer call into the freed tree.
        InstallCtrlCallback(tree->panel, tree->canvas, nullptr, nullptr);
        ScrollBar_InstallCallback(tree->panel, tree->scrollBar, nullptr, nullptr);
    }
    std::free(tree->images);
    std::free(tree->items);
    std::free(tree);
    return 0;
}

// ---- rows, hits and scrolling ------------------------------------------------------------------

int TV_CalcRow(TreeView* tree, int index, int absolute) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    int row = absoluteRow(tree, index);
    if (absolute || row < 0) return row;
    row -= tree->topRow;
    return row < 0 || row >= tree->visibleRows ? -1 : row;
}

int TV_CalcIndex(TreeView* tree, int row) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (row + tree->topRow <= 0) return 0;
    return indexAtAbsoluteRow(tree, row + tree->topRow);
}

int TV_ValidHit(TreeView* tree, int x, int y, int* row) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    int r = (y - TV_TOP_MARGIN) / TV_ROW_HEIGHT;
    if (row) *row = r;
    int index = TV_CalcIndex(tree, r);
    if (index < 0 || index >= tree->count) return 0;
    const TVItem& item = tree->items[index];
    if (x < kIndent * item.level - kIndent) return 0;
    if (x >= kIndent * item.level) return 2;
    return item.descendants > 0 ? 1 : 0;
}

int TV_ExpandCollapse(TreeView* tree, int index) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (index < 0 || index >= tree->count) return TV_ERR_ARGUMENT;
    TVItem& item = tree->items[index];
    item.expanded = !item.expanded;
    if (!item.expanded && tree->selected > index && tree->selected <= index + item.descendants) {
        tree->selected = index;
        callHandler(tree, TV_SELECTION_CHANGED);
    }
    int before = tree->topRow;
    fitScrollBar(tree);
    int row = tree->topRow != before ? 0 : std::max(absoluteRow(tree, index) - tree->topRow, 0);
    drawRows(tree, row, drawnRows(tree));
    return 0;
}

int TV_ConvertFromScroll(TreeView* tree, int scrollValue) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    int m = scrollMax(tree), v = tree->visibleRows;
    if (m <= v || m <= 0) return 0;
    return static_cast<int>(static_cast<double>(m - v) * scrollValue / m + 0.5);
}

int TV_ConvertToScroll(TreeView* tree, int topRow) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    int m = scrollMax(tree), v = tree->visibleRows;
    if (m <= v) return 0;
    return static_cast<int>(static_cast<double>(topRow) * m / (m - v) + 0.5);
}

int TV_GetItemInfo(TreeView* tree, int index, TVItemInfo* info) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (!info || index < 0 || index >= tree->count) return TV_ERR_ARGUMENT;
    *info = tree->items[index];
    return 0;
}

int TV_GetSelectedItem(TreeView* tree, int* index) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (!index) return TV_ERR_ARGUMENT;
    *index = tree->count > 0 ? tree->selected : -1;
    return 0;
}

int TV_GetTopRow(TreeView* tree, int* row) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (!row) return TV_ERR_ARGUMENT;
    *row = tree->topRow;
    return 0;
}

int TV_GetVisibleRows(TreeView* tree, int* rows) {
    if (!valid(tree)) return TV_ERR_NOT_A_TREE;
    if (!rows) return TV_ERR_ARGUMENT;
    *rows = tree->visibleRows;
    return 0;
}

// ---- events ----------------------------------------------------------------------------------

int TV_CV_Callback(int, int, int event, void* callbackData, int eventData1, int eventData2) {
    auto* t = static_cast<TreeView*>(callbackData);
    if (!valid(t)) return 0;
    int x = 0, y = 0;
    switch (event) {
        case EVENT_LEFT_CLICK: {
            toCanvas(t, eventData1, eventData2, &x, &y);
            int row = 0;
            int hit = TV_ValidHit(t, x, y, &row);
            int index = hit ? TV_CalcIndex(t, row) : -1;
            if (hit == 1) {
                TV_ExpandCollapse(t, index);
            } else if (hit == 2 && index != t->selected) {
                select(t, index);
                callHandler(t, TV_SELECTION_CHANGED);
            }
            return 0;
        }
        case EVENT_LEFT_DOUBLE_CLICK: {
            toCanvas(t, eventData1, eventData2, &x, &y);
            int row = 0;
            if (TV_ValidHit(t, x, y, &row) != 2) return 0;
            int index = TV_CalcIndex(t, row);
            if (t->items[index].descendants > 0) TV_ExpandCollapse(t, index);
            else callHandler(t, TV_ITEM_ACTIVATED);
            return 0;
        }
        case EVENT_COMMIT:  // the program commits the tree as it would a list
            callHandler(t, TV_ITEM_ACTIVATED);
            return 0;
        case EVENT_MOUSE_WHEEL_SCROLL: {
            int rows = visibleItemCount(t);
            if (rows <= t->visibleRows) return 1;
            int top = std::clamp(t->topRow - kWheelRows * eventData1, 0, maxTopRow(t));
            int value = TV_ConvertToScroll(t, top);
            setScrollValue(t, value);
            TV_SB_Callback(t->panel, t->scrollBar, SB_EVENT_VALUE_CHANGED, t, value, SB_ACTION_JUMP);
            return 1;
        }
        case EVENT_KEYPRESS: return keyPress(t, eventData1);
        default: return 0;
    }
}

int TV_SB_Callback(int, int, int event, void* callbackData, int eventData1, int eventData2) {
    auto* t = static_cast<TreeView*>(callbackData);
    if (!valid(t) || event != SB_EVENT_VALUE_CHANGED) return 0;
    // Arrows and the track move by whole rows and pages; the thumb goes where it is put.
    int top = t->topRow;
    const int page = std::max(t->visibleRows - 1, 1);
    switch (eventData2) {
        case SB_ACTION_LINE_UP: top -= 1; break;
        case SB_ACTION_LINE_DOWN: top += 1; break;
        case SB_ACTION_PAGE_UP: top -= page; break;
        case SB_ACTION_PAGE_DOWN: top += page; break;
        default: top = TV_ConvertFromScroll(t, eventData1); break;
    }
    top = std::clamp(top, 0, maxTopRow(t));
    int value = TV_ConvertToScroll(t, top);
    if (value != eventData1) setScrollValue(t, value);
    scrollTo(t, top);
    return 0;
}

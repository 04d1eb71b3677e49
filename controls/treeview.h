// A tree drawn on a canvas control with a scroll bar beside it: indented rows with expand boxes,
// images, connecting lines and tab-separated columns, driven by the mouse and the keyboard.
// Items live in one table in display order, each directly followed by its descendants. Every
// function takes the tree first and returns 0 or a negative TV_ERR_* code unless it says
// otherwise.
#pragma once

#include "uiruntime/uidefs.h"

struct TreeView;

enum {
    TV_ERR_NOT_A_TREE = -1,
    TV_ERR_NO_MEMORY = -2,
    TV_ERR_POSITION = -3,
    TV_ERR_ARGUMENT = -4,
};

// Codes with which the tree calls its handler: handler(panel, canvas, code, tree, 0, 0).
enum { TV_ITEM_ACTIVATED = 1, TV_SELECTION_CHANGED = 2 };

inline constexpr int TV_ROW_HEIGHT = 17;
inline constexpr int TV_TOP_MARGIN = 2;
inline constexpr int TV_TEXT_SIZE = 84;  // terminator included; longer texts are cut
inline constexpr int TV_FONT_NAME_SIZE = 64;
inline constexpr int TV_MAX_TABS = 4;

// A tree on a canvas the panel has, with a canvas of the panel as its vertical scroll bar.
int TV_CreateExistCanvas(int panel, int canvas, int scrollBar, TreeView** tree);
// A tree on a new canvas with a new scroll bar at its right, together the size given; both are
// discarded when the tree closes.
int TV_CreateNewCanvas(int panel, int top, int left, int height, int width, TreeView** tree);
int TV_Init(TreeView* tree, int panel, int canvas, int scrollBar);
// Room for count items; only before the first item.
int TV_InitNumItems(TreeView* tree, int count);
int TV_AddImage(TreeView* tree, int bitmap, int* index);
int TV_GetImageCount(TreeView* tree, int* count);
// Appends an item at a depth (0: the root, which must come first; each item at most one level
// deeper than the one before). position must be -1. index may be null.
int TV_AddItem(TreeView* tree, const char* text, int level, int position, int image, int data,
               int* index);
int TV_GetItemCount(TreeView* tree, int* count);
// The data value of an item; index -1: the selected item.
int TV_GetItemData(TreeView* tree, int index, int* data);
// Only -1 (every item) is accepted.
int TV_DeleteItem(TreeView* tree, int position);
// Connecting lines drawn with two bitmaps: a vertical piece (at least a row and a pixel high, its
// pattern repeating every two pixels) and a horizontal piece. Both -1: no lines.
int TV_UseLines(TreeView* tree, int verticalBitmap, int horizontalBitmap);
int TV_SetFont(TreeView* tree, const char* name);
// 1 to 4 tab stops, in pixels from the canvas's left edge.
int TV_SetTabs(TreeView* tree, int count, ...);
int TV_InstallHandler(TreeView* tree, CtrlCallbackPtr handler);
// Draws every row in view.
int TV_UpdateScreen(TreeView* tree);
// Frees the tree (and discards the canvas and bar it made). Accepts null.
int TV_Close(TreeView* tree);

// ---- rows, hits and scrolling ------------------------------------------------------------------

// The row of an item, counting visible items only: absolute from the first row, or relative to
// the top row of the view (-1 when the item is hidden in a collapsed subtree or out of view).
int TV_CalcRow(TreeView* tree, int index, int absolute);
// The item shown at a row of the view (0 for rows at or above the top), -1 past the last.
int TV_CalcIndex(TreeView* tree, int row);
// What a point of the canvas hits: 0 nothing, 1 an expand box, 2 an item's image or text. row
// receives the row of the view (may be null).
int TV_ValidHit(TreeView* tree, int x, int y, int* row);
// Expands a collapsed item, collapses an expanded one.
int TV_ExpandCollapse(TreeView* tree, int index);
// The top row for a scroll bar value, and the value for a top row.
int TV_ConvertFromScroll(TreeView* tree, int scrollValue);
int TV_ConvertToScroll(TreeView* tree, int topRow);

// ---- reading back ------------------------------------------------------------------------------
// An item: its depth, text, the two values given at adding (image index, data), how many items
// its subtree holds below it, and whether it is open.
struct TVItemInfo {
    int level;
    char text[TV_TEXT_SIZE];
    int image;
    int data;
    int descendants;
    int expanded;
};
int TV_GetItemInfo(TreeView* tree, int index, TVItemInfo* info);
int TV_GetSelectedItem(TreeView* tree, int* index);
int TV_GetTopRow(TreeView* tree, int* row);
int TV_GetVisibleRows(TreeView* tree, int* rows);

// The callbacks the tree installs on its canvas and scroll bar.
int TV_CV_Callback(int panel, int control, int event, void* callbackData, int eventData1,
                   int eventData2);
int TV_SB_Callback(int panel, int control, int event, void* callbackData, int eventData1,
                   int eventData2);

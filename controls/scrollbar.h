// A scroll bar drawn on a canvas control: arrows, track and thumb, followed by the mouse, driven
// by the keyboard, repeating while an arrow or the track is held, and driven by its owner through
// numbered attributes. Every change of its value is reported to the owner's callback.
#pragma once

#include "uiruntime/uidefs.h"

// Attributes of ScrollBar_SetAttribute and ScrollBar_GetAttribute.
enum {
    SB_ATTR_VALUE = 1,
    SB_ATTR_PAGE_INCREMENT = 2,
    SB_ATTR_MIN = 3,
    SB_ATTR_MAX = 4,
    SB_ATTR_COLOR = 5,
    SB_ATTR_HEIGHT = 6,
    SB_ATTR_WIDTH = 7,
    SB_ATTR_HORIZONTAL = 8,
    // On: the thumb's length shows the page against the range. Off: a square thumb.
    SB_ATTR_PROPORTIONAL_THUMB = 9,
};

enum {
    SB_ERR_FAILED = -1,
    SB_ERR_WRONG_CONTROL = -2,  // not a canvas (to convert), not a scroll bar (otherwise)
    SB_ERR_OUT_OF_RANGE = -3,
    SB_ERR_UNKNOWN_ATTRIBUTE = -4,
};

// The event with which the bar calls its owner: eventData1 is the new value, eventData2 the
// action that moved it (SB_ACTION_*). The owner may set SB_ATTR_VALUE during the call; the bar
// keeps and draws what it set. Only the bar calls this callback, so the code never meets the
// runtime's event of that number.
inline constexpr int SB_EVENT_VALUE_CHANGED = 6;
enum {
    SB_ACTION_RELEASE = 0,  // the mouse let go: the value is final
    SB_ACTION_LINE_UP = 1,  // up or left: towards the minimum
    SB_ACTION_LINE_DOWN = 2,
    SB_ACTION_PAGE_UP = 3,
    SB_ACTION_PAGE_DOWN = 4,
    SB_ACTION_JUMP = 5,  // the thumb dragged, Home, End
};

// Time an arrow or the track is held before the action repeats, and the repeat interval.
inline constexpr int SB_REPEAT_DELAY_MS = 500;
inline constexpr int SB_REPEAT_INTERVAL_MS = 50;

// A new bar, 120 by 16 pixels when horizontal and 16 by 120 when vertical. Returns its control id,
// or SB_ERR_FAILED (nothing is left behind).
int ScrollBar_Create(int panel, int top, int left, int horizontal, CtrlCallbackPtr callback,
                     void* callbackData);
// Turns a canvas into a scroll bar: vertical when it is narrower than high. A null callback takes
// over the canvas's present callback and its data. Returns the control, SB_ERR_WRONG_CONTROL or
// SB_ERR_FAILED.
int ScrollBar_ConvertFromCanvas(int panel, int control, CtrlCallbackPtr callback,
                                void* callbackData);
int ScrollBar_SetAttribute(int panel, int control, int attribute, int value);
int ScrollBar_GetAttribute(int panel, int control, int attribute, int* value);
// Replaces the owner's callback (null: the bar reports to nobody).
int ScrollBar_InstallCallback(int panel, int control, CtrlCallbackPtr callback, void* callbackData);

// Constants, value carriers and callback types of the panel-and-control runtime.
// Everything here is plain C++: no toolkit type ever appears in the runtime's public headers.
#pragma once

#include <cstddef>
#include <cstdint>

// ---------------------------------------------------------------------------------------------
// Callbacks
// ---------------------------------------------------------------------------------------------

// Control callback, and the main callback that sees every event first (control is 0 for panel
// events). A non-zero result swallows the event: it goes no further and the control does not
// perform its own default action (a swallowed key press is not typed, for example).
using CtrlCallbackPtr = int (*)(int panel, int control, int event, void* callbackData,
                                int eventData1, int eventData2);
using MainCallbackPtr = CtrlCallbackPtr;
using PanelCallbackPtr = int (*)(int panel, int event, void* callbackData, int eventData1,
                                 int eventData2);
using MenuCallbackPtr = void (*)(int menuBar, int menuItem, void* callbackData, int panel);
using DeferredCallbackPtr = void (*)(void* callbackData);

// What a table asks for each cell it shows: the program writes the cell's text into text (at most
// textSize bytes with the terminator) and may set textColor (0xRRGGBB; -1 keeps the control's).
struct TableCell {
    char* text;
    size_t textSize;
    int textColor;
};
using TableCellCallbackPtr = void (*)(int panel, int control, int row, int column, TableCell* cell,
                                      void* callbackData);

// ---------------------------------------------------------------------------------------------
// Events. Mouse events carry the vertical coordinate in eventData1 and the horizontal one in
// eventData2, both relative to the top left corner of the panel's control area. A key press
// carries its key code (below) in eventData1.
// ---------------------------------------------------------------------------------------------
enum {
    EVENT_NONE = 0,
    EVENT_COMMIT = 1,
    EVENT_VAL_CHANGED = 2,
    EVENT_LEFT_CLICK = 3,
    EVENT_LEFT_DOUBLE_CLICK = 4,
    EVENT_RIGHT_CLICK = 5,
    EVENT_RIGHT_DOUBLE_CLICK = 6,
    EVENT_KEYPRESS = 7,
    EVENT_GOT_FOCUS = 8,
    EVENT_LOST_FOCUS = 9,
    EVENT_CLOSE = 11,
    EVENT_PANEL_SIZE = 12,
    EVENT_PANEL_MOVE = 13,
    EVENT_TIMER_TICK = 15,
    EVENT_DISCARD = 16,
    // Canvas only: the mouse moved while a button is held, and the left button was released.
    EVENT_MOUSE_POINTER_MOVE = 17,
    EVENT_LEFT_CLICK_UP = 18,
    // Canvas only: the wheel turned; eventData1 is the number of notches, positive when turned
    // away from the user (to scroll up), and eventData2 is 0.
    EVENT_MOUSE_WHEEL_SCROLL = 19,
};

// Key codes: printable keys are their character code; other keys are virtual key codes; the
// modifiers are or-ed in.
enum {
    VAL_ASCII_KEY_MASK = 0x000000FF,
    VAL_VKEY_MASK = 0x0000FF00,
    VAL_MODIFIER_MASK = 0x00FF0000,
    VAL_ESC_VKEY = 0x0100,
    VAL_TAB_VKEY = 0x0200,
    VAL_ENTER_VKEY = 0x0300,
    VAL_BACKSPACE_VKEY = 0x0400,
    VAL_INSERT_VKEY = 0x0500,
    VAL_DELETE_VKEY = 0x0600,
    VAL_HOME_VKEY = 0x0700,
    VAL_END_VKEY = 0x0800,
    VAL_PAGE_UP_VKEY = 0x0900,
    VAL_PAGE_DOWN_VKEY = 0x0A00,
    VAL_UP_ARROW_VKEY = 0x0B00,
    VAL_DOWN_ARROW_VKEY = 0x0C00,
    VAL_LEFT_ARROW_VKEY = 0x0D00,
    VAL_RIGHT_ARROW_VKEY = 0x0E00,
    VAL_F1_VKEY = 0x1000,  // F1 to F12 follow in steps of 0x100
    VAL_SHIFT_MODIFIER = 0x00010000,
    VAL_MENUKEY_MODIFIER = 0x00020000,  // the Control key
    VAL_ALT_MODIFIER = 0x00040000,
};

// ---------------------------------------------------------------------------------------------
// Attributes. One code space for panels, controls, menus and the system; each function
// documents which it accepts. Values are integers unless noted.
// ---------------------------------------------------------------------------------------------
enum {
    // Panels and controls
    ATTR_TOP = 100,
    ATTR_LEFT,
    ATTR_HEIGHT,
    ATTR_WIDTH,
    ATTR_VISIBLE,
    ATTR_DIMMED,
    ATTR_CONSTANT_NAME,               // text, read only
    ATTR_CALLBACK_DATA,               // void*
    ATTR_CALLBACK_FUNCTION_POINTER,   // CtrlCallbackPtr, PanelCallbackPtr or MenuCallbackPtr
    ATTR_CALLBACK_NAME,               // text, read only: the name the resource gave

    // Panels
    ATTR_TITLE = 200,       // text
    ATTR_BACKCOLOR,
    ATTR_PANEL_LOOK,        // VAL_PANEL_LOOK_*
    ATTR_MENU_HEIGHT,       // read only: height of the panel's menu bar, 0 without one
    ATTR_PANEL_PARENT,      // read only: parent panel handle, 0 for a top-level panel
    ATTR_SIZABLE,
    ATTR_MOVABLE,
    ATTR_NUM_CTRLS,         // read only
    ATTR_PANEL_FIRST_CTRL,  // read only: first control in creation order, 0 when none
    ATTR_PANEL_FIRST_CHILD, // read only: first child panel, 0 when none
    ATTR_NEXT_PANEL,        // read only: next sibling panel, 0 at the end
    ATTR_ACTIVE,            // read only: 1 when the panel is the active panel

    // Controls
    ATTR_CTRL_STYLE = 300,  // read only: CTRL_*
    ATTR_LABEL_TEXT,        // text
    ATTR_LABEL_VISIBLE,
    ATTR_LABEL_COLOR,
    ATTR_LABEL_TOP,
    ATTR_LABEL_LEFT,
    ATTR_LABEL_HEIGHT,      // read only
    ATTR_LABEL_WIDTH,       // read only
    ATTR_TEXT_COLOR,
    ATTR_TEXT_BGCOLOR,      // VAL_TRANSPARENT allowed
    ATTR_FRAME_COLOR,       // the fill colour of decorations
    ATTR_TEXT_FONT,         // text: a meta font name (VAL_*_META_FONT or CreateMetaFont) or a family
    ATTR_TEXT_POINT_SIZE,
    ATTR_TEXT_BOLD,
    ATTR_TEXT_ITALIC,
    ATTR_TEXT_JUSTIFY,      // VAL_*_JUSTIFIED
    ATTR_ZPLANE_POSITION,   // 0 is the front
    ATTR_TOOLTIP_TEXT,      // text
    ATTR_CTRL_MODE,         // VAL_NORMAL, VAL_INDICATOR, VAL_HOT
    ATTR_NEXT_CTRL,         // read only: next control in creation order, 0 at the end
    ATTR_SIZE_TO_TEXT,      // text messages: follow the size of their text

    // Values
    ATTR_DATA_TYPE = 400,   // VAL_CHAR ... VAL_UNSIGNED_CHAR
    ATTR_FORMAT,            // VAL_*_FORMAT
    ATTR_PRECISION,
    ATTR_SHOW_RADIX,        // hexadecimal numbers shown with 0x
    ATTR_MIN_VALUE,         // in the control's data type
    ATTR_MAX_VALUE,
    ATTR_INCR_VALUE,
    ATTR_STRING_TEXT_LENGTH,  // read only: characters of a string or text box control
    ATTR_MAX_ENTRY_LENGTH,    // string controls: -1 for no limit

    // Lists, rings and text boxes
    ATTR_CHECK_MODE = 500,
    ATTR_FIRST_VISIBLE_LINE,  // also the first row a table shows
    ATTR_WRAP_MODE,         // text boxes: 0 no wrapping, 1 at word boundaries

    // Buttons and LEDs
    ATTR_ON_COLOR = 600,
    ATTR_OFF_COLOR,
    ATTR_CMD_BUTTON_COLOR,

    // Canvas
    ATTR_PEN_COLOR = 700,
    ATTR_PEN_FILL_COLOR,
    ATTR_PEN_WIDTH,
    ATTR_PEN_STYLE,         // VAL_SOLID, VAL_DASH, VAL_DOT
    ATTR_PICT_BGCOLOR,

    // Timers
    ATTR_ENABLED = 800,
    ATTR_INTERVAL,          // double, seconds

    // Menu bars, menus and menu items
    ATTR_CHECKED = 900,
    ATTR_ITEM_NAME,         // text; "__" marks the mnemonic of the next letter
    ATTR_MENU_NAME,         // text, for menus

    // System
    ATTR_TASKBAR_BUTTON_TEXT = 1000,  // text: the application title
};

// Control styles (ATTR_CTRL_STYLE and NewCtrl).
enum {
    CTRL_NUMERIC = 1,
    CTRL_STRING,
    CTRL_TEXT_BOX,
    CTRL_RING,
    CTRL_LIST,
    CTRL_COMMAND_BUTTON,
    CTRL_TOGGLE_BUTTON,
    CTRL_CHECK_BOX,
    CTRL_ROUND_RADIO_BUTTON,
    CTRL_ROUND_LED,
    CTRL_SQUARE_LED,
    CTRL_TEXT_MSG,
    CTRL_RAISED_BOX,
    CTRL_RECESSED_BOX,
    CTRL_FLAT_BOX,
    CTRL_RAISED_FRAME,
    CTRL_RECESSED_FRAME,
    CTRL_FLAT_FRAME,
    CTRL_PICTURE,
    CTRL_CANVAS,
    CTRL_TIMER,
    CTRL_TABLE,
};

inline bool IsDecorationStyle(int style) {
    return style >= CTRL_RAISED_BOX && style <= CTRL_FLAT_FRAME;
}

// Data types (ATTR_DATA_TYPE).
enum {
    VAL_CHAR = 0,  // signed 8-bit
    VAL_INTEGER = 1,
    VAL_SHORT_INTEGER = 2,
    VAL_FLOAT = 3,
    VAL_DOUBLE = 4,
    VAL_STRING = 5,
    VAL_UNSIGNED_SHORT_INTEGER = 6,
    VAL_UNSIGNED_INTEGER = 7,
    VAL_UNSIGNED_CHAR = 8,
};

// Numeric formats (ATTR_FORMAT).
enum {
    VAL_DECIMAL_FORMAT = 0,
    VAL_HEX_FORMAT = 1,
    VAL_FLOATING_PT_FORMAT = 2,
    VAL_SCIENTIFIC_FORMAT = 3,
};

// Control modes (ATTR_CTRL_MODE).
enum { VAL_NORMAL = 0, VAL_INDICATOR = 1, VAL_HOT = 2 };

// Text justification (ATTR_TEXT_JUSTIFY).
enum { VAL_LEFT_JUSTIFIED = 0, VAL_RIGHT_JUSTIFIED = 1, VAL_CENTER_JUSTIFIED = 2 };

// Panel looks (ATTR_PANEL_LOOK): a normal window or framed child panel, a frameless embedded
// panel without title, and the look of a tooltip.
enum { VAL_PANEL_LOOK_NORMAL = 0, VAL_PANEL_LOOK_EMBEDDED = 1, VAL_PANEL_LOOK_TOOLTIP = 2 };

// Colours are 0xRRGGBB.
enum : int {
    VAL_BLACK = 0x000000,
    VAL_WHITE = 0xFFFFFF,
    VAL_RED = 0xFF0000,
    VAL_GREEN = 0x00FF00,
    VAL_BLUE = 0x0000FF,
    VAL_YELLOW = 0xFFFF00,
    VAL_CYAN = 0x00FFFF,
    VAL_MAGENTA = 0xFF00FF,
    VAL_LT_GRAY = 0xCCCCCC,
    VAL_GRAY = 0xA0A0A0,
    VAL_DK_GRAY = 0x808080,
    VAL_PANEL_GRAY = 0xC0C0C0,
    VAL_TRANSPARENT = 0x1000000,
};

// Meta fonts known at start; CreateMetaFont adds more.
#define VAL_DIALOG_META_FONT "ZUDialog"
#define VAL_APP_META_FONT "ZUAppMetaFont"
#define VAL_EDITOR_META_FONT "ZUEditor"

// Canvas drawing.
enum { VAL_SOLID = 0, VAL_DASH = 1, VAL_DOT = 2 };
enum { VAL_DRAW_FRAME = 0, VAL_DRAW_INTERIOR = 1, VAL_DRAW_FRAME_AND_INTERIOR = 2 };
enum {
    VAL_UPPER_LEFT = 0,
    VAL_CENTER_LEFT,
    VAL_LOWER_LEFT,
    VAL_UPPER_CENTER,
    VAL_CENTER_CENTER,
    VAL_LOWER_CENTER,
    VAL_UPPER_RIGHT,
    VAL_CENTER_RIGHT,
    VAL_LOWER_RIGHT,
};
enum { VAL_TO_EDGE = -1, VAL_KEEP_SAME_SIZE = -1 };

struct Rect {
    int top;
    int left;
    int height;  // VAL_TO_EDGE: to the right or bottom edge
    int width;
};
struct Point {
    int x;
    int y;
};
inline Rect MakeRect(int top, int left, int height, int width) { return {top, left, height, width}; }
inline Point MakePoint(int x, int y) { return {x, y}; }
inline constexpr Rect VAL_ENTIRE_OBJECT = {0, 0, VAL_TO_EDGE, VAL_TO_EDGE};

// List label escapes: a label "\033m-" is a separator; "\033p<N>l", "\033p<N>c" and
// "\033p<N>r" continue the text left-aligned at, centred on or right-aligned to pixel N;
// "\033fgRRGGBB" and "\033bgRRGGBB" change the text and background colour.
#define UI_LABEL_ESCAPE "\033"
#define UI_LABEL_SEPARATOR "\033m-"

// File selection (FileSelectPopup).
enum { VAL_NO_FILE_SELECTED = 0, VAL_EXISTING_FILE_SELECTED = 1, VAL_NEW_FILE_SELECTED = 2 };
enum { VAL_OK_BUTTON = 0, VAL_SAVE_BUTTON = 1, VAL_SELECT_BUTTON = 2, VAL_LOAD_BUTTON = 3 };

// Sleep policy of the event loop.
enum { VAL_SLEEP_NONE = 1, VAL_SLEEP_SOME = 2, VAL_SLEEP_MORE = 3 };

// Standard output port.
enum { HOST_SYSTEM_STDIO = 1 };

// SystemHelp commands.
enum { HELP_QUIT = 2, HELP_CONTENTS = 3, HELP_KEY = 0x0101, HELP_PARTIALKEY = 0x0105 };

// ---------------------------------------------------------------------------------------------
// Result codes of the runtime (GetUILErrorString gives their texts).
// ---------------------------------------------------------------------------------------------
inline constexpr int UIENoError = 0;
inline constexpr int UIENotInitialized = -1;
inline constexpr int UIEDisplayUnavailable = -2;
inline constexpr int UIEBadResourceFile = -3;
inline constexpr int UIEResourceNotFound = -4;
inline constexpr int UIEUnknownCallback = -5;
inline constexpr int UIEUnsupportedWidget = -6;
inline constexpr int UIEInvalidPanel = -10;
inline constexpr int UIEInvalidControl = -11;
inline constexpr int UIEOutOfMemoryError = -12;
inline constexpr int UIEInvalidAttribute = -13;
inline constexpr int UIEInvalidAttributeValue = -14;
inline constexpr int UIEIndexOutOfRange = -15;
inline constexpr int UIEInvalidMenuBar = -16;
inline constexpr int UIEInvalidMenuItem = -17;
inline constexpr int UIEInvalidBitmap = -18;
inline constexpr int UIENullPointer = -19;
inline constexpr int UIEBufferTooSmall = -20;
inline constexpr int UIEInvalidDataType = -21;
inline constexpr int UIEValueNotInList = -22;
inline constexpr int UIENotOnGuiThread = -23;
inline constexpr int UIEInvalidThread = -24;
inline constexpr int UIEDuplicateCallbackName = -25;
inline constexpr int UIEInvalidCommandLine = -26;
inline constexpr int UIECouldNotLaunch = -27;
inline constexpr int UIENoPopupInstalled = -28;
inline constexpr int UIEControlDimmed = -29;
inline constexpr int UIEControlHidden = -30;
inline constexpr int UIEPanelBlockedByPopup = -31;
inline constexpr int UIENotDrawing = -32;
inline constexpr int UIEInvalidControlType = -45;
inline constexpr int UIETooManyFiles = -91;
inline constexpr int UIEIOFailure = -93;
inline constexpr int UIEFileNotFound = -94;
inline constexpr int UIEAccessRefused = -95;
inline constexpr int UIEDiskIsFull = -97;

// ---------------------------------------------------------------------------------------------
// Value carriers. UiValue takes any value a setter accepts; UiOut names where a getter writes.
// Integer values are converted to the control's data type (clamped to its range); texts are
// only accepted by text-valued controls and attributes.
// ---------------------------------------------------------------------------------------------
class UiValue {
public:
    enum class Kind { Integer, Unsigned, Real, Text, Pointer, CtrlCallback, PanelCallback, MenuCallback, Null };

    UiValue(bool v) : kind_(Kind::Integer), i_(v) {}
    UiValue(char v) : kind_(Kind::Integer), i_(v) {}
    UiValue(signed char v) : kind_(Kind::Integer), i_(v) {}
    UiValue(short v) : kind_(Kind::Integer), i_(v) {}
    UiValue(int v) : kind_(Kind::Integer), i_(v) {}
    UiValue(long v) : kind_(Kind::Integer), i_(v) {}
    UiValue(long long v) : kind_(Kind::Integer), i_(v) {}
    UiValue(unsigned char v) : kind_(Kind::Unsigned), u_(v) {}
    UiValue(unsigned short v) : kind_(Kind::Unsigned), u_(v) {}
    UiValue(unsigned int v) : kind_(Kind::Unsigned), u_(v) {}
    UiValue(unsigned long v) : kind_(Kind::Unsigned), u_(v) {}
    UiValue(unsigned long long v) : kind_(Kind::Unsigned), u_(v) {}
    UiValue(float v) : kind_(Kind::Real), d_(v) {}
    UiValue(double v) : kind_(Kind::Real), d_(v) {}
    UiValue(const char* v) : kind_(Kind::Text), s_(v) {}
    UiValue(void* v) : kind_(Kind::Pointer), p_(v) {}
    UiValue(CtrlCallbackPtr v) : kind_(Kind::CtrlCallback), cc_(v) {}
    UiValue(PanelCallbackPtr v) : kind_(Kind::PanelCallback), pc_(v) {}
    UiValue(MenuCallbackPtr v) : kind_(Kind::MenuCallback), mc_(v) {}
    UiValue(std::nullptr_t) : kind_(Kind::Null), p_(nullptr) {}

    Kind kind() const { return kind_; }
    long long integer() const { return i_; }
    unsigned long long unsignedInteger() const { return u_; }
    double real() const { return d_; }
    const char* text() const { return s_; }
    void* pointer() const { return p_; }
    CtrlCallbackPtr ctrlCallback() const { return cc_; }
    PanelCallbackPtr panelCallback() const { return pc_; }
    MenuCallbackPtr menuCallback() const { return mc_; }

private:
    Kind kind_;
    union {
        long long i_;
        unsigned long long u_;
        double d_;
        const char* s_;
        void* p_;
        CtrlCallbackPtr cc_;
        PanelCallbackPtr pc_;
        MenuCallbackPtr mc_;
    };
};

class UiOut {
public:
    enum class Kind {
        Int8, UInt8, Int16, UInt16, Int32, UInt32, Long, ULong, Int64, UInt64, Float, Double, Bool,
        Text, Pointer, CtrlCallback, PanelCallback, MenuCallback
    };

    UiOut(signed char* p) : kind_(Kind::Int8), p_(p) {}
    UiOut(unsigned char* p) : kind_(Kind::UInt8), p_(p) {}
    UiOut(short* p) : kind_(Kind::Int16), p_(p) {}
    UiOut(unsigned short* p) : kind_(Kind::UInt16), p_(p) {}
    UiOut(int* p) : kind_(Kind::Int32), p_(p) {}
    UiOut(unsigned int* p) : kind_(Kind::UInt32), p_(p) {}
    UiOut(long* p) : kind_(Kind::Long), p_(p) {}
    UiOut(unsigned long* p) : kind_(Kind::ULong), p_(p) {}
    UiOut(long long* p) : kind_(Kind::Int64), p_(p) {}
    UiOut(unsigned long long* p) : kind_(Kind::UInt64), p_(p) {}
    UiOut(float* p) : kind_(Kind::Float), p_(p) {}
    UiOut(double* p) : kind_(Kind::Double), p_(p) {}
    UiOut(bool* p) : kind_(Kind::Bool), p_(p) {}
    template <size_t N>
    UiOut(char (&buffer)[N]) : kind_(Kind::Text), p_(buffer), size_(N) {}
    UiOut(void** p) : kind_(Kind::Pointer), p_(p) {}
    UiOut(CtrlCallbackPtr* p) : kind_(Kind::CtrlCallback), p_(p) {}
    UiOut(PanelCallbackPtr* p) : kind_(Kind::PanelCallback), p_(p) {}
    UiOut(MenuCallbackPtr* p) : kind_(Kind::MenuCallback), p_(p) {}

    // A text buffer of the given size in bytes, terminator included.
    static UiOut Text(char* buffer, size_t size) {
        UiOut out(static_cast<void**>(nullptr));
        out.kind_ = Kind::Text;
        out.p_ = buffer;
        out.size_ = size;
        return out;
    }

    Kind kind() const { return kind_; }
    void* target() const { return p_; }
    size_t size() const { return size_; }

private:
    Kind kind_;
    void* p_;
    size_t size_ = 0;
};

#include "controls/help.h"

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "uiruntime/uiruntime.h"

namespace {

HelpHost host;
int (*windowHook)(int) = nullptr;
int ClickCount = 0;

constexpr int kTooltipColor = 0xFFFFDC;  // RGB (255, 255, 220)
constexpr int kTooltipMargin = 5;
constexpr auto kPollInterval = std::chrono::milliseconds(10);

const char kWhatsThis[] = "__What's This?";
const char kAttributeHelp[] = "__Attribute Help";
const char kEventHelp[] = "__Event Help";
const char kInterpretCode[] = "__Interpret Code";
const char kOperationHelp[] = "__Operation Help";

// The tag of a place: the panel's constant name, and for a control "_" and the control's.
bool placeOf(int panel, int control, std::string* place) {
    char name[256] = "";
    if (GetPanelAttribute(panel, ATTR_CONSTANT_NAME, name, sizeof name) < 0) return false;
    *place = name;
    if (control != 0) {
        if (GetCtrlAttribute(panel, control, ATTR_CONSTANT_NAME, name, sizeof name) < 0)
            return false;
        *place += "_";
        *place += name;
    }
    return true;
}

bool isOperationName(const std::string& name) {
    return name.rfind("vi", 0) == 0 && name.size() > 2;
}

std::string trimmed(const char* text) {
    std::string s = text ? text : "";
    size_t first = s.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return s.substr(first, s.find_last_not_of(' ') - first + 1);
}

// The keyword of an operation panel: its title, which names the operation ("viRead"); a title
// in descriptive words gives way to the operation's name.
std::string operationKeyword(int panel, const char* operation) {
    char title[256] = "";
    GetPanelAttribute(panel, ATTR_TITLE, title, sizeof title);
    std::string keyword = trimmed(title);
    if (isOperationName(keyword)) return keyword;
    keyword = trimmed(operation);
    if (!keyword.empty()) return keyword;
    char name[256] = "";
    GetPanelAttribute(panel, ATTR_CONSTANT_NAME, name, sizeof name);
    return name;
}

// A popup menu built for one question and discarded afterwards.
class PopupMenu {
  public:
    PopupMenu() {
        bar_ = NewMenuBar(0);
        if (bar_ > 0) menu_ = NewMenu(bar_, host.appName, -1);
    }
    ~PopupMenu() {
        if (bar_ > 0) DiscardMenuBar(bar_);
    }
    PopupMenu(const PopupMenu&) = delete;
    PopupMenu& operator=(const PopupMenu&) = delete;

    // The item's id, 0 when it was not asked for.
    int add(bool wanted, const char* name) {
        if (!wanted || menu_ <= 0) return 0;
        int item = NewMenuItem(bar_, menu_, name, -1, 0, nullptr, nullptr);
        return item > 0 ? item : 0;
    }
    // The chosen item's id, 0 when dismissed; the menu is gone and the screen redrawn after.
    int run(int panel, int x, int y) {
        int choice = menu_ > 0 ? RunPopupMenu(bar_, menu_, panel, y, x) : 0;
        DiscardMenuBar(bar_);
        bar_ = 0;
        ProcessDrawEvents();
        return choice > 0 ? choice : 0;
    }

  private:
    int bar_ = 0;
    int menu_ = 0;
};

// Opens the reference at a keyword (HELP_KEY) or its index (HELP_PARTIALKEY with ""), and says
// so to whoever asked to know.
void openReference(int command, const std::string& keyword, bool fromSessionWindow) {
    int result = SystemHelp(host.systemHelpFile, command, 0, keyword.c_str());
    if (result > 0) {
        if (fromSessionWindow) {
            if (windowHook) windowHook(kHelpHookViewerStarted);
        } else if (host.viewerOpened) {
            host.viewerOpened();
        }
    } else if (host.viewerFailed) {
        host.viewerFailed(keyword.c_str());
    }
}

void showWhatsThis(int panel, int control, int x, int y) {
    if (const char* text = Help_MessageFromUI(panel, control)) {
        // The shared buffer is reused by the next fetch: keep a copy while the tooltip waits.
        std::string copy = text;
        Help_DisplayMessage(panel, copy.c_str(), x, y);
    }
}

// The catalogue name behind the control's value, through one of the host's lookups.
const char* catalogueName(int panel, int control, const char* (*lookup)(unsigned int)) {
    unsigned int value = 0;
    if (!lookup || GetCtrlVal(panel, control, &value) < 0) return nullptr;
    return lookup(value);
}

bool panelExists(int panel) {
    int visible = 0;
    return GetPanelAttribute(panel, ATTR_VISIBLE, &visible) >= 0;
}

// Where a tooltip of this extent goes: at the point, unless it would reach the parent's far edge.
int placeAlong(int position, int extent, int parentExtent) {
    if (position + extent >= parentExtent) position = parentExtent - extent - kTooltipMargin;
    return position < 0 ? 0 : position;
}

// Waits for the click that ends a tooltip: a button released after it was seen down, or a left
// click that the main callback counted. The right button that opened the menu may still be held
// at first; its release does not count.
void waitForClick(int tooltip) {
    const int clicksBefore = ClickCount;
    int previousLeft = -1, previousRight = -1;  // unknown before the first poll
    bool openingButtonHeld = true;
    while (panelExists(tooltip)) {
        int left = 0, right = 0;
        GetGlobalMouseState(nullptr, nullptr, nullptr, &left, &right, nullptr);
        if (openingButtonHeld && right) {
            // Only wait.
        } else {
            openingButtonHeld = false;
            if ((previousLeft == 1 && !left) || (previousRight == 1 && !right) ||
                ClickCount != clicksBefore)
                return;
            previousLeft = left;
            previousRight = right;
        }
        ProcessSystemEvents();
        std::this_thread::sleep_for(kPollInterval);
    }
}

}  // namespace

void Help_SetHost(const HelpHost* newHost) {
    host = newHost ? *newHost : HelpHost{};
}

void Help_SetWindowHook(int (*hook)(int)) {
    windowHook = hook;
}

char* Help_MessageFromUI(int panel, int control) {
    std::string place;
    if (!Help_IsOpen() || !placeOf(panel, control, &place)) return nullptr;
    return Help_MessageForUI(panel, control, place.c_str());
}

int Help_RegisterTagForUI(int panel, int control, const char* tag) {
    std::string place;
    if (!placeOf(panel, control, &place)) return -1;
    return Help_BindTag(panel, control, tag, place.c_str());
}

void Help_GotClick() {
    ++ClickCount;
}

int Help_ClickCount() {
    return ClickCount;
}

int Help_DisplayMessage(int panel, const char* text, int x, int y) {
    if (!text) return UIENullPointer;
    int parentHeight = 0, parentWidth = 0;
    if (int rc = GetPanelAttribute(panel, ATTR_HEIGHT, &parentHeight); rc < 0) return rc;
    GetPanelAttribute(panel, ATTR_WIDTH, &parentWidth);

    int tooltip = NewPanel(panel, "Help", y, x, 10, 10);
    if (tooltip < 0) return tooltip;
    SetPanelAttribute(tooltip, ATTR_BACKCOLOR, kTooltipColor);
    SetPanelAttribute(tooltip, ATTR_PANEL_LOOK, VAL_PANEL_LOOK_TOOLTIP);
    int message = NewCtrl(tooltip, CTRL_TEXT_MSG, "", 5, 15);
    if (message < 0) {
        DiscardPanel(tooltip);
        return message;
    }
    SetCtrlAttribute(tooltip, message, ATTR_TEXT_BGCOLOR, VAL_TRANSPARENT);
    SetCtrlAttribute(tooltip, message, ATTR_TEXT_FONT, VAL_DIALOG_META_FONT);
    SetCtrlVal(tooltip, message, text);

    int textHeight = 0, textWidth = 0;
    GetTextDisplaySize(text, VAL_DIALOG_META_FONT, &textHeight, &textWidth);
    SetCtrlAttribute(tooltip, message, ATTR_HEIGHT, textHeight);
    SetCtrlAttribute(tooltip, message, ATTR_WIDTH, textWidth);
    const int height = textHeight + 10, width = textWidth + 20;
    SetPanelSize(tooltip, height, width);
    SetPanelPos(tooltip, placeAlong(y, height, parentHeight), placeAlong(x, width, parentWidth));

    DisplayPanel(tooltip);
    waitForClick(tooltip);
    if (panelExists(tooltip)) DiscardPanel(tooltip);
    return 0;
}

int Help_DisplayPopup(int panel, const char* text, int x, int y) {
    PopupMenu menu;
    int whatsThis = menu.add(true, kWhatsThis);
    int choice = menu.run(panel, x, y);
    if (choice == 0 || choice != whatsThis) return 0;
    int rc = Help_DisplayMessage(panel, text, x, y);
    return rc < 0 ? rc : 1;
}

int ContextSensitiveHelp(int panel, int control, int whatsThis, int a, int b, int c,
                         const char* operation, void*, int x, int y) {
    if (a || b || c) return 1;
    PopupMenu menu;
    int whatsThisItem = menu.add(whatsThis != 0, kWhatsThis);
    int operationItem = menu.add(operation && *operation, kOperationHelp);
    int choice = menu.run(panel, x, y);
    if (choice == 0) return 1;
    if (choice == whatsThisItem)
        showWhatsThis(panel, control, x, y);
    else if (choice == operationItem)
        openReference(HELP_KEY, operationKeyword(panel, operation), false);
    return 1;
}

int ContextSensitiveHelpExt(int panel, int control, int whatsThis, int attribute, int event,
                            int interpret, int operation, void* data, int x, int y) {
    PopupMenu menu;
    int whatsThisItem = menu.add(whatsThis != 0, kWhatsThis);
    int attributeItem = menu.add(attribute != 0, kAttributeHelp);
    int eventItem = menu.add(event != 0, kEventHelp);
    int interpretItem = menu.add(interpret != 0, kInterpretCode);
    int operationItem = menu.add(operation != 0, kOperationHelp);
    int choice = menu.run(panel, x, y);
    if (choice == 0) return 1;
    if (choice == whatsThisItem) {
        showWhatsThis(panel, control, x, y);
    } else if (choice == attributeItem || choice == eventItem) {
        const char* name = catalogueName(
            panel, control, choice == attributeItem ? host.attributeName : host.eventName);
        if (name) openReference(HELP_KEY, name, true);
    } else if (choice == interpretItem) {
        int status = 0;
        if (host.interpretStatus && GetCtrlVal(panel, control, &status) >= 0) {
            char text[1024] = "";
            host.interpretStatus(data, status, text, sizeof text);
            Help_DisplayMessage(panel, text, x, y);
        }
    } else if (choice == operationItem) {
        openReference(HELP_KEY, operationKeyword(panel, nullptr), true);
    }
    return 1;
}

void DoTopics(int, int, void*, int) {
    openReference(HELP_PARTIALKEY, "", false);
}

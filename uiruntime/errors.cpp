// Texts of the runtime's result codes.
#include "uiruntime/uidefs.h"
#include "uiruntime/utility.h"

namespace {

struct ErrorText {
    int code;
    const char* text;
};

const ErrorText kTexts[] = {
    {UIENoError, "Success."},
    {UIENotInitialized, "The user interface runtime has not been started."},
    {UIEDisplayUnavailable, "No display is available."},
    {UIEBadResourceFile, "The panel resource file is damaged or is not a panel resource file."},
    {UIEResourceNotFound, "The panel was not found in the panel resource file."},
    {UIEUnknownCallback, "A callback named by the panel resource file is not registered."},
    {UIEUnsupportedWidget, "The panel resource file holds a widget that is not a control."},
    {UIEInvalidPanel, "The panel handle is not valid."},
    {UIEInvalidControl, "The control is not on the panel."},
    {UIEOutOfMemoryError, "Out of memory."},
    {UIEInvalidAttribute, "The attribute is not valid for this object."},
    {UIEInvalidAttributeValue, "The value is not valid for this attribute."},
    {UIEIndexOutOfRange, "The index is out of range."},
    {UIEInvalidMenuBar, "The menu bar handle is not valid."},
    {UIEInvalidMenuItem, "The menu or menu item is not in the menu bar."},
    {UIEInvalidBitmap, "The bitmap is not valid."},
    {UIENullPointer, "A required pointer is null."},
    {UIEBufferTooSmall, "The buffer is too small; the text was cut."},
    {UIEInvalidDataType, "The value does not fit the control's data type."},
    {UIEValueNotInList, "No item has that value."},
    {UIENotOnGuiThread, "The function must be called on the thread that runs the user interface."},
    {UIEInvalidThread, "The thread does not run the user interface."},
    {UIEDuplicateCallbackName, "A different callback is already registered under that name."},
    {UIEInvalidCommandLine, "The command line is empty or has an unterminated quote."},
    {UIECouldNotLaunch, "The program could not be started."},
    {UIENoPopupInstalled, "No popup panel is installed."},
    {UIEControlDimmed, "The control is dimmed or disabled."},
    {UIEControlHidden, "The control is hidden."},
    {UIEPanelBlockedByPopup, "Another panel is installed as a popup."},
    {UIENotDrawing, "No batch drawing is in progress."},
    {UIEInvalidControlType, "The operation is not valid for this type of control."},
    {UIETooManyFiles, "Too many files are open."},
    {UIEIOFailure, "Input/output error."},
    {UIEFileNotFound, "File not found."},
    {UIEAccessRefused, "File access permission denied."},
    {UIEDiskIsFull, "Disk is full."},
};

}  // namespace

const char* GetUILErrorString(int errorCode) {
    for (const ErrorText& t : kTexts)
        if (t.code == errorCode) return t.text;
    return "No description available. ";
}

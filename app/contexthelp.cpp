#include "app/contexthelp.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "app/prefs.h"
#include "app/talmik.h"
#include "attrevents/attrlist.h"
#include "attrevents/eventlist.h"
#include "controls/help.h"
#include "session/statusnames.h"
#include "uiruntime/uiruntime.h"
#include "zuvisa/visa.h"

namespace {

ViSession (*sessionLookup)(void*) = nullptr;

// Callbacks that open a help menu of their own on a right click: the session window's status
// displays, attribute and event rings, and the command line of the house tools.
const char* const kOwnHelpMenuCallbacks[] = {
    "StatusCallback",       "AttributeCallback",    "SetAttributeChange", "EventCallbackEnable",
    "EventCallbackDisable", "EventCallbackDiscard", "EventCallbackWait",  "MainZuSelect",
};

void interpretForHelp(void* callbackData, int status, char* text, size_t size) {
    ViSession session = sessionLookup && callbackData ? sessionLookup(callbackData) : defaultRM;
    interpretCodeText(session, static_cast<ViStatus>(status), text, size);
}

const char* attributeHelpName(unsigned int attributeId) {
    const AttrListEntry* row = findAttrRow(attributeId);
    return row ? row->viName : nullptr;
}

const char* eventHelpName(unsigned int eventType) {
    const EventListEntry* row = findEventRow(eventType);
    return row ? row->viName : nullptr;
}

void viewerOpened() {
    helpUsed = 1;
}

void viewerFailed(const char* keyword) {
    std::string path = std::string(programDirectory()) + "/" + pszHelpName;
    char text[1024];
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        std::fclose(f);
        std::snprintf(text, sizeof text,
                      "Unable to show %s%s%s in the help viewer.\n\n"
                      "The VISA reference is shown by Qt Assistant: check that it is installed "
                      "(Debian package assistant-qt6).",
                      *keyword ? "\"" : "the index of the VISA reference", keyword,
                      *keyword ? "\"" : "");
    } else {
        std::snprintf(text, sizeof text,
                      "Unable to open the VISA reference: \"%s\" is missing from the program's "
                      "directory\n(%s).",
                      pszHelpName, programDirectory());
    }
    MessagePopup(pszAppName, text);
}

}  // namespace

void installHelpHost() {
    HelpHost host;
    host.appName = pszAppName;
    host.systemHelpFile = pszHelpName;
    host.attributeName = attributeHelpName;
    host.eventName = eventHelpName;
    host.interpretStatus = interpretForHelp;
    host.viewerOpened = viewerOpened;
    host.viewerFailed = viewerFailed;
    Help_SetHost(&host);
}

void setHelpSessionLookup(ViSession (*lookup)(void*)) {
    sessionLookup = lookup;
}

void interpretCodeTextWith(ViStatus status, const char* description, char* text, size_t size) {
    if (size == 0) return;
    formatReturnValue(text, size, status);
    size_t used = std::strlen(text);
    std::snprintf(text + used, size - used, "%s", description);
    wrapStatusDescription(text + used);
}

void interpretCodeText(ViSession session, ViStatus status, char* text, size_t size) {
    char description[256] = "";
    viStatusDesc(session, status, description);
    description[sizeof description - 1] = '\0';
    interpretCodeTextWith(status, description, text, size);
}

int opensItsOwnHelpMenu(int panel, int control) {
    char name[256] = "";
    if (GetCtrlAttribute(panel, control, ATTR_CALLBACK_NAME, name, sizeof name) < 0) return 0;
    for (const char* own : kOwnHelpMenuCallbacks)
        if (std::strcmp(name, own) == 0) return 1;
    return 0;
}

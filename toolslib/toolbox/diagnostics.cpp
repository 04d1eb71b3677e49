#include "toolslib/toolbox/diagnostics.h"

#include <cstdio>
#include <cstdlib>

namespace {

void writeToStandardError(const char* text) {
    std::fputs(text, stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

AssertReporter assertReporter = writeToStandardError;

const char* builtinGeneralErrorString(int code) {
    switch (code) {
        case 0:
            return "Success.";
        case UIEOutOfMemory:
            return "Out of memory.";
        case UIETooManyFilesOpen:
            return "Too many files are open.";
        case UIEIOError:
            return "Input/output error.";
        case UIEFileWasNotFound:
            return "File not found.";
        case UIEAccessDenied:
            return "File access permission denied.";
        case UIEDiskFull:
            return "Disk is full.";
        default:
            return "No description available. ";
    }
}

GeneralErrorStringFunction generalErrorString = builtinGeneralErrorString;

int plainBreakFlag = 0;
int plainGet() {
    return plainBreakFlag;
}
void plainSet(int on) {
    plainBreakFlag = on != 0;
}
BreakOnLibraryErrorsHooks breakHooks = {plainGet, plainSet};

struct ToolboxErrorText {
    int code;
    const char* text;
};

const ToolboxErrorText toolboxErrorTexts[] = {
    {ToolErr_CouldNotOpenFileForReading, "Could Not Open File For Reading"},
    {ToolErr_ErrorReadingFile, "Error Reading From File"},
    {ToolErr_CouldNotFindUnusedTempFileName, "Could Not Find Unused Temporary File Name"},
    {ToolErr_CouldNotCreateTempFile, "Could Not Create Temporary File"},
    {ToolErr_IncorrectFileFormat, "Incorrect File Format"},
    {ToolErr_UnexpectedEOF, "Unexpected End Of File"},
    {ToolErr_InvalidIntNumber, "Invalid Integer Number"},
    {ToolErr_InvalidUIntNumber, "Invalid Unsigned Integer Number"},
    {ToolErr_InvalidDoubleNumber, "Invalid Floating Point Number"},
    {ToolErr_InvalidBooleanValue, "Invalid Boolean Value"},
    {ToolErr_MissingSection, "Missing Section"},
    {ToolErr_MissingItem, "Missing Item"},
    {ToolErr_UnRecognizedValue, "Unrecognized Value"},
    {ToolErr_OperationInProgress,
     "Could not perform requested action because of an operation currently in progress"},
    {ToolErr_TooManyItems, "Too many items"},
    {ToolErr_DuplicateItemOrValue, "Duplicate item or value"},
    {ToolErr_PanelNotAChildOfCorrectPanel, "Panel is not a child panel of the correct panel"},
};

const char kNoDescription[] = "No description available. ";

}  // namespace

void DoAssert(int condition, const char* file, int line, const char* message) {
    if (condition) return;
    char text[1024];
    std::snprintf(text, sizeof text,
                  "Assert!\n\n%s\n\nThe error was detected on line %d of file '%s'.\n\n"
                  "Program aborting.",
                  message ? message : "Programming error detected.", line, file ? file : "");
    assertReporter(text);
    std::abort();
}

void SetAssertReporter(AssertReporter reporter) {
    assertReporter = reporter ? reporter : writeToStandardError;
}

const char* GetToolboxErrorString(int errorCode) {
    if (errorCode > 0) errorCode = -errorCode;  // the table is keyed by magnitude
    for (const ToolboxErrorText& entry : toolboxErrorTexts)
        if (entry.code == errorCode) return entry.text;
    return kNoDescription;
}

const char* GetGeneralErrorString(int errorCode) {
    int magnitude = errorCode < 0 ? -errorCode : errorCode;
    if (magnitude <= 999) {
        const char* text = generalErrorString(errorCode);
        return text ? text : kNoDescription;
    }
    if (magnitude >= 5000 && magnitude <= 5999) return GetToolboxErrorString(errorCode);
    return kNoDescription;
}

void SetGeneralErrorStringFunction(GeneralErrorStringFunction function) {
    generalErrorString = function ? function : builtinGeneralErrorString;
}

void SetBreakOnLibraryErrorsHooks(const BreakOnLibraryErrorsHooks* hooks) {
    if (hooks && hooks->get && hooks->set)
        breakHooks = *hooks;
    else
        breakHooks = {plainGet, plainSet};
}

int ToolboxGetBreakOnLibraryErrors() {
    return breakHooks.get();
}

void ToolboxSetBreakOnLibraryErrors(int on) {
    breakHooks.set(on);
}

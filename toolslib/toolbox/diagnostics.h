// Assertions, error codes and their texts, and the hooks through which the GUI runtime
// takes over reporting.
#pragma once

// Toolbox error codes (negative results of the toolbox functions).
enum ToolboxErrorCode {
    ToolErr_CouldNotOpenFileForReading = -5001,
    ToolErr_ErrorReadingFile = -5002,
    ToolErr_CouldNotFindUnusedTempFileName = -5003,
    ToolErr_CouldNotCreateTempFile = -5004,
    ToolErr_IncorrectFileFormat = -5005,
    ToolErr_UnexpectedEOF = -5006,
    ToolErr_InvalidIntNumber = -5021,
    ToolErr_InvalidUIntNumber = -5022,
    ToolErr_InvalidDoubleNumber = -5023,
    ToolErr_InvalidBooleanValue = -5024,
    ToolErr_MissingSection = -5025,
    ToolErr_MissingItem = -5026,
    ToolErr_UnRecognizedValue = -5027,
    ToolErr_OperationInProgress = -5050,
    ToolErr_TooManyItems = -5051,
    ToolErr_DuplicateItemOrValue = -5052,
    ToolErr_PanelNotAChildOfCorrectPanel = -5060,
};

// The GUI runtime's general codes that the toolbox itself returns.
enum GeneralErrorCode {
    UIEOutOfMemory = -12,
    UIETooManyFilesOpen = -91,
    UIEIOError = -93,
    UIEFileWasNotFound = -94,
    UIEAccessDenied = -95,
    UIEDiskFull = -97,
};

// The module path that the toolbox's own assertions name.
inline constexpr const char kToolboxModule[] = "toolslib/toolbox/toolbox";

// Reports a programming error and aborts when condition is zero. file and line are the caller's.
void DoAssert(int condition, const char* file, int line, const char* message);

// Receives the full assertion text; DoAssert aborts after it returns. Null restores the
// default, which writes to standard error.
using AssertReporter = void (*)(const char* text);
void SetAssertReporter(AssertReporter reporter);

const char* GetToolboxErrorString(int errorCode);
const char* GetGeneralErrorString(int errorCode);

// Texts of the runtime's general codes (magnitude up to 999). The runtime installs its own
// GetUILErrorString; until then the toolbox answers for the codes it returns itself.
using GeneralErrorStringFunction = const char* (*)(int errorCode);
void SetGeneralErrorStringFunction(GeneralErrorStringFunction function);

// Break-on-library-errors: the runtime owns the setting; the toolbox only brackets its file
// calls with it. Without a runtime the setting is a plain flag.
struct BreakOnLibraryErrorsHooks {
    int (*get)();
    void (*set)(int on);
};
void SetBreakOnLibraryErrorsHooks(const BreakOnLibraryErrorsHooks* hooks);
int ToolboxGetBreakOnLibraryErrors();
void ToolboxSetBreakOnLibraryErrors(int on);

// Switches break-on-library-errors off for one scope and restores it afterwards.
class BreakOnLibraryErrorsOff {
  public:
    BreakOnLibraryErrorsOff() : previous_(ToolboxGetBreakOnLibraryErrors()) {
        if (previous_) ToolboxSetBreakOnLibraryErrors(0);
    }
    ~BreakOnLibraryErrorsOff() {
        if (previous_) ToolboxSetBreakOnLibraryErrors(1);
    }
    BreakOnLibraryErrorsOff(const BreakOnLibraryErrorsOff&) = delete;
    BreakOnLibraryErrorsOff& operator=(const BreakOnLibraryErrorsOff&) = delete;

  private:
    int previous_;
};

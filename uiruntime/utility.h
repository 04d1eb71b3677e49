// Threads, deferred calls, files and directories, launching programs, the help viewer, error
// texts and the break-on-library-errors switch of the runtime.
// GetFileInfo, SplitPath and RenameFile come from the toolbox (toolslib/toolbox/files.h).
#pragma once

#include <cstddef>

#include "toolslib/toolbox/files.h"
#include "uiruntime/uidefs.h"

// ---------------------------------------------------------------------------------------------
// Threads
// ---------------------------------------------------------------------------------------------

// A positive number that names the calling thread for as long as it lives. Any thread.
int CurrThreadId();
// Runs callback(callbackData) on the thread threadId (the runtime's thread, or 0 for it) at its
// next pass through the event loop, in the order posted. Any thread. UIEInvalidThread when the
// thread does not run the runtime.
int PostDeferredCallToThread(DeferredCallbackPtr callback, void* callbackData, int threadId);
int PostDeferredCall(DeferredCallbackPtr callback, void* callbackData);

// ---------------------------------------------------------------------------------------------
// Directories and files. The file functions return 0 on success, -1 when the file or directory
// does not exist, -3 on another input/output failure and -4 when memory runs out; buffers that
// are too small give UIEBufferTooSmall.
// ---------------------------------------------------------------------------------------------

// The program's directory (without a final '/').
int GetProjectDir(char* directory, size_t size);
template <size_t N>
int GetProjectDir(char (&directory)[N]) {
    return GetProjectDir(directory, N);
}
int SetDir(const char* directory);
int GetDir(char* directory, size_t size);
template <size_t N>
int GetDir(char (&directory)[N]) {
    return GetDir(directory, N);
}
// Size in bytes of a regular file.
int GetFileSize(const char* path, long* size);
// Lists the entries of a directory that match a pattern ("dir/*.exe", or a bare pattern for the
// current directory). normal: regular files; directory: directories; hidden: also names starting
// with '.'; readOnly: only entries without write permission; system and archive are accepted and
// ignored. Returns 0 with the first name (without the directory), -1 when nothing matches.
// GetNextFile continues the listing of this thread; -1 at its end.
int GetFirstFile(const char* searchPath, int normal, int readOnly, int system, int hidden,
                 int archive, int directory, char* fileName, size_t size);
template <size_t N>
int GetFirstFile(const char* searchPath, int normal, int readOnly, int system, int hidden,
                 int archive, int directory, char (&fileName)[N]) {
    return GetFirstFile(searchPath, normal, readOnly, system, hidden, archive, directory, fileName,
                        N);
}
int GetNextFile(char* fileName, size_t size);
template <size_t N>
int GetNextFile(char (&fileName)[N]) {
    return GetNextFile(fileName, N);
}

// ---------------------------------------------------------------------------------------------
// Programs
// ---------------------------------------------------------------------------------------------

// Starts a program and does not wait for it. The command line is split into program and
// arguments as a POSIX shell splits words (blanks separate, quotes and backslashes escape), but
// no shell runs it: nothing is expanded and characters such as ';' or '|' stay arguments. The
// program is looked for on PATH when its name has no '/'. Returns 0, UIEInvalidCommandLine for
// an empty line or an unterminated quote, or UIECouldNotLaunch.
int LaunchExecutable(const char* commandLine);

// Opens the help viewer (Qt Assistant; the environment variable TALMIK_HELP_VIEWER may name
// another program that understands the same arguments) on a help collection file (a relative
// name is looked for as LoadPanel looks for panel resource files): HELP_KEY
// shows the topic of a keyword, HELP_PARTIALKEY the index filtered by the text ("" for the whole
// index), HELP_CONTENTS the contents; HELP_QUIT ends a viewer started before. Returns 1 on
// success, 0 when the file is missing or the viewer cannot start.
int SystemHelp(const char* helpFile, int command, long additionalLongData,
               const char* additionalStringData);

// Standard output goes to the terminal; HOST_SYSTEM_STDIO is the only port.
int SetStdioPort(int port);
int GetStdioPort();

// ---------------------------------------------------------------------------------------------
// Errors
// ---------------------------------------------------------------------------------------------
const char* GetUILErrorString(int errorCode);

// Break on library errors: while on, every runtime function that fails writes one line naming
// the function and the error to standard error. Off by default.
int GetBreakOnLibraryErrors();
void EnableBreakOnLibraryErrors();
void DisableBreakOnLibraryErrors();

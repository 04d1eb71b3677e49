// File existence, path splitting and renaming with the runtime's result codes, and the safe
// replacement of a file through a temporary file in its own directory.
#pragma once

#include <cstdio>
#include <string>

enum {
    MAX_PATHNAME_LEN = 260,
    MAX_DRIVENAME_LEN = 3,
    MAX_DIRNAME_LEN = 256,
    MAX_FILENAME_LEN = 256
};

// 1 when the file exists (size set when not null), 0 when it does not, -1 when too many files
// are open, -3 on any other failure, -4 when memory runs out.
int GetFileInfo(const char* path, long* size);

// 1 when the file exists (size set when not null), 0 when it does not (size -1), -12 when memory
// runs out, -93 on any other failure.
int FileExists(const char* path, long* size);

// Splits into drive (always empty here), directory with its trailing '/', and file name.
// Any output may be null; each is cut to its MAX_*_LEN.
void SplitPath(const char* path, char* drive, char* directory, char* fileName);

// 0 on success; -1 a path component was not found, -2 access denied, -3 other I/O error,
// -4 out of memory, -5 an invalid path.
int RenameFile(const char* existing, const char* newName);

int GetFileWritability(const char* path, int* writable);
int CreateAndOpenTemporaryFile(const char* path, const char* prefix, const char* extension,
                               const char* mode, char* nameBuffer, FILE** stream);
// The same with the name returned whole, for paths longer than MAX_PATHNAME_LEN.
int CreateAndOpenTemporaryFileNamed(const char* path, const char* prefix, const char* extension,
                                    const char* mode, std::string* name, FILE** stream);
int DeleteAndRename(const char* fromPath, const char* toPath);
int RemoveFileIfExists(const char* path);

// Maps the errno of a failed write or flush to the general codes.
int ConvertErrnoToWriteError(int error);

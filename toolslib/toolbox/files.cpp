#include "toolslib/toolbox/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "toolslib/toolbox/diagnostics.h"
#include "toolslib/toolbox/text.h"

namespace {

// The directory part of path, with its trailing '/', or "" for a bare name.
std::string directoryOf(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

int fileInfoToToolboxCode(int info) {
    return info == -1 ? UIETooManyFilesOpen : UIEIOError;
}

int openFlagsForMode(const char* mode) {
    bool plus = std::strchr(mode, '+') != nullptr;
    int flags = plus ? O_RDWR : O_WRONLY;
    if (mode[0] == 'a') flags |= O_APPEND;
    return flags | O_CREAT | O_EXCL | O_CLOEXEC;
}

}  // namespace

int GetFileInfo(const char* path, long* size) {
    if (size) *size = -1;
    if (!path) return -3;
    struct stat st;
    if (stat(path, &st) == 0) {
        if (size) *size = static_cast<long>(st.st_size);
        return 1;
    }
    switch (errno) {
        case ENOENT:
        case ENOTDIR:
            return 0;
        case EMFILE:
        case ENFILE:
            return -1;
        case ENOMEM:
            return -4;
        default:
            return -3;
    }
}

int FileExists(const char* path, long* size) {
    long found = -1;
    int info;
    {
        BreakOnLibraryErrorsOff quiet;
        info = GetFileInfo(path, &found);
    }
    if (size) *size = info == 1 ? found : -1;
    if (info >= 0) return info;
    return info == -4 ? UIEOutOfMemory : UIEIOError;
}

void SplitPath(const char* path, char* drive, char* directory, char* fileName) {
    std::string p = path ? path : "";
    std::string dir = directoryOf(p);
    if (drive) drive[0] = '\0';
    if (directory) StringCopyMax(directory, dir.c_str(), MAX_DIRNAME_LEN);
    if (fileName) StringCopyMax(fileName, p.c_str() + dir.size(), MAX_FILENAME_LEN);
}

int RenameFile(const char* existing, const char* newName) {
    if (!existing || !newName || !*existing || !*newName) return -5;
    if (std::rename(existing, newName) == 0) return 0;
    switch (errno) {
        case ENOENT:
        case ENOTDIR:
            return -1;
        case EACCES:
        case EPERM:
        case EROFS:
            return -2;
        case ENOMEM:
            return -4;
        case ENAMETOOLONG:
        case EINVAL:
            return -5;
        default:
            return -3;
    }
}

int ConvertErrnoToWriteError(int error) {
    switch (error) {
        case EPERM:
        case EACCES:
            return UIEAccessDenied;
        case ENOMEM:
            return UIEOutOfMemory;
        case ENOSPC:
            return UIEDiskFull;
        default:
            return UIEIOError;
    }
}

int GetFileWritability(const char* path, int* writable) {
    *writable = 0;
    BreakOnLibraryErrorsOff quiet;
    int info = GetFileInfo(path, nullptr);
    if (info < 0) return fileInfoToToolboxCode(info);
    if (info == 0) {
        FILE* probe = std::fopen(path, "w");
        if (probe) {
            std::fclose(probe);
            *writable = std::remove(path) == 0;
        }
    } else {
        FILE* probe = std::fopen(path, "r+");
        if (probe) {
            std::fclose(probe);
            *writable = 1;
        }
    }
    return 0;
}

int CreateAndOpenTemporaryFileNamed(const char* path, const char* prefix, const char* extension,
                                    const char* mode, std::string* name, FILE** stream) {
    *stream = nullptr;
    BreakOnLibraryErrorsOff quiet;
    std::string dir = directoryOf(path ? path : "");
    std::string shortPrefix = std::string(prefix ? prefix : "").substr(0, 5);
    for (int number = 0; number <= 999; ++number) {
        std::string candidate =
            dir + shortPrefix + std::to_string(number) + "." + (extension ? extension : "");
        int info = GetFileInfo(candidate.c_str(), nullptr);
        if (info < 0) return fileInfoToToolboxCode(info);
        if (info == 1) continue;
        int fd = open(candidate.c_str(), openFlagsForMode(mode), 0666);
        if (fd < 0) {
            if (errno == EEXIST) continue;  // taken between the probe and the open
            return ToolErr_CouldNotCreateTempFile;
        }
        *stream = fdopen(fd, mode);
        if (!*stream) {
            close(fd);
            unlink(candidate.c_str());
            return ToolErr_CouldNotCreateTempFile;
        }
        *name = candidate;
        return 0;
    }
    return ToolErr_CouldNotFindUnusedTempFileName;
}

int CreateAndOpenTemporaryFile(const char* path, const char* prefix, const char* extension,
                               const char* mode, char* nameBuffer, FILE** stream) {
    std::string name;
    int status = CreateAndOpenTemporaryFileNamed(path, prefix, extension, mode, &name, stream);
    if (status < 0) return status;
    if (name.size() >= MAX_PATHNAME_LEN) {  // the caller could not learn the name
        std::fclose(*stream);
        *stream = nullptr;
        unlink(name.c_str());
        return ToolErr_CouldNotCreateTempFile;
    }
    if (nameBuffer) StringCopyMax(nameBuffer, name.c_str(), MAX_PATHNAME_LEN);
    return 0;
}

int DeleteAndRename(const char* fromPath, const char* toPath) {
    BreakOnLibraryErrorsOff quiet;
    // rename() replaces the target in one step, so there is never a moment without it.
    switch (RenameFile(fromPath, toPath)) {
        case 0:
            return 0;
        case -1:
            return UIEFileWasNotFound;
        case -2:
            return UIEAccessDenied;
        case -4:
            return UIEOutOfMemory;
        default:
            return UIEIOError;
    }
}

int RemoveFileIfExists(const char* path) {
    BreakOnLibraryErrorsOff quiet;
    int info = GetFileInfo(path, nullptr);
    if (info < 0) return fileInfoToToolboxCode(info);
    if (info == 0) return 0;
    if (std::remove(path) == 0) return 0;
    return errno == EACCES || errno == EPERM ? UIEAccessDenied : UIEIOError;
}

// The program's directory, the current directory, file sizes and directory listings.
#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "uiruntime/core.h"
#include "uiruntime/utility.h"

namespace uir {

namespace {

constexpr size_t kMaxPath = 4096;

struct Listing {
    std::vector<std::string> names;
    size_t next = 0;
};
thread_local Listing t_listing;

int fileCodeOf(int err) {
    if (err == ENOENT || err == ENOTDIR) return -1;
    if (err == ENOMEM) return -4;
    return -3;
}

std::string executableDirectory() {
    char buf[PATH_MAX];
    ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0) return std::string();
    std::string path(buf, static_cast<size_t>(n));
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return std::string();
    return slash == 0 ? std::string("/") : path.substr(0, slash);
}

}  // namespace

}  // namespace uir

using namespace uir;

int GetProjectDir(char* directory, size_t size) {
    if (!directory) return report("GetProjectDir", UIENullPointer);
    Runtime* rt = runtime();
    std::string dir;
    if (rt && onGuiThread() && !rt->test.projectDir.empty()) dir = rt->test.projectDir;
    else dir = executableDirectory();
    if (dir.empty()) return report("GetProjectDir", -3);
    return report("GetProjectDir", storeText(dir, directory, size));
}

int SetDir(const char* directory) {
    if (!directory) return report("SetDir", UIENullPointer);
    if (std::char_traits<char>::length(directory) >= kMaxPath) return report("SetDir", -3);
    if (::chdir(directory) != 0) return report("SetDir", fileCodeOf(errno));
    return 0;
}

int GetDir(char* directory, size_t size) {
    if (!directory) return report("GetDir", UIENullPointer);
    char buf[kMaxPath];
    if (!::getcwd(buf, sizeof buf)) return report("GetDir", fileCodeOf(errno));
    return report("GetDir", storeText(buf, directory, size));
}

int GetFileSize(const char* path, long* size) {
    if (!path) return report("GetFileSize", UIENullPointer);
    struct stat st;
    if (::stat(path, &st) != 0) return report("GetFileSize", fileCodeOf(errno));
    if (!S_ISREG(st.st_mode)) return report("GetFileSize", -1);
    if (size) *size = static_cast<long>(st.st_size);
    return 0;
}

int GetFirstFile(const char* searchPath, int normal, int readOnly, int, int hidden, int, int directory,
                 char* fileName, size_t size) {
    t_listing = Listing();
    if (!searchPath || !fileName) return report("GetFirstFile", UIENullPointer);
    std::string spec = searchPath;
    if (spec.empty() || spec.size() >= kMaxPath) return report("GetFirstFile", -3);
    size_t slash = spec.rfind('/');
    std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : spec.substr(0, slash);
    std::string pattern = slash == std::string::npos ? spec : spec.substr(slash + 1);
    if (pattern.empty()) pattern.assign(1, '*');
    DIR* d = ::opendir(dir.c_str());
    if (!d) return report("GetFirstFile", fileCodeOf(errno));
    std::vector<std::string> names;
    while (dirent* e = ::readdir(d)) {
        std::string name = e->d_name;
        if (name == "." || name == "..") continue;
        if (name[0] == '.' && !hidden) continue;
        if (::fnmatch(pattern.c_str(), name.c_str(), 0) != 0) continue;
        std::string full = dir + "/" + name;
        struct stat st;
        if (::stat(full.c_str(), &st) != 0) continue;
        bool isDir = S_ISDIR(st.st_mode);
        bool isFile = S_ISREG(st.st_mode);
        if (!((isDir && directory) || (isFile && normal))) continue;
        if (readOnly && ::access(full.c_str(), W_OK) == 0) continue;
        names.push_back(std::move(name));
    }
    ::closedir(d);
    if (names.empty()) return -1;
    std::sort(names.begin(), names.end());
    t_listing.names = std::move(names);
    t_listing.next = 1;
    return report("GetFirstFile", storeText(t_listing.names[0], fileName, size));
}

int GetNextFile(char* fileName, size_t size) {
    if (!fileName) return report("GetNextFile", UIENullPointer);
    if (t_listing.next >= t_listing.names.size()) return -1;
    return report("GetNextFile", storeText(t_listing.names[t_listing.next++], fileName, size));
}

int SetStdioPort(int port) {
    if (port != HOST_SYSTEM_STDIO) return report("SetStdioPort", UIEInvalidAttributeValue);
    return 0;
}

int GetStdioPort() { return HOST_SYSTEM_STDIO; }

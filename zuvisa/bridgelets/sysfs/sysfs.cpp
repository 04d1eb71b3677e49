#include "zuvisa/bridgelets/sysfs/sysfs.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace zuvisa::sysfs {

namespace {

bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

std::string parentOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos || slash == 0) return "/";
    return path.substr(0, slash);
}

bool exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

int hexAttribute(const std::string& path) {
    std::string text;
    int v = -1;
    if (!readAttribute(path, &text, 16) || !parseHexId(text, &v)) return -1;
    return v;
}

}  // namespace

bool readAttribute(const std::string& path, std::string* out, size_t maxBytes) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) return false;
    struct stat st;
    // Only regular files: a device node or a pipe named like an attribute is not one.
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(fd);
        return false;
    }
    std::string text(maxBytes + 1, '\0');
    size_t have = 0;
    while (have < text.size()) {
        ssize_t n = read(fd, &text[have], text.size() - have);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (n < 0) {
                close(fd);
                return false;
            }
            break;
        }
        have += static_cast<size_t>(n);
    }
    close(fd);
    if (have > maxBytes) return false;
    text.resize(have);
    while (!text.empty() && isSpace(text.back())) text.pop_back();
    *out = std::move(text);
    return true;
}

std::string printable(std::string_view raw, size_t maxChars) {
    std::string out;
    bool space = false;
    for (char c : raw) {
        unsigned char u = static_cast<unsigned char>(c);
        if (u == ' ' || u == '\t' || u == '\n' || u == '\r') {
            space = !out.empty();
            continue;
        }
        if (u < 0x20 || u >= 0x7F) continue;
        if (space) {
            if (out.size() + 1 >= maxChars) break;
            out.push_back(' ');
            space = false;
        }
        if (out.size() >= maxChars) break;
        out.push_back(c);
    }
    return out;
}

bool parseHexId(std::string_view text, int* out) {
    if (text.empty() || text.size() > 4) return false;
    int v = 0;
    for (char c : text) {
        int d;
        if (c >= '0' && c <= '9') d = c - '0';
        else if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
        else return false;
        v = v * 16 + d;
    }
    *out = v;
    return true;
}

bool parseDecimal(std::string_view text, unsigned long max, unsigned long* out) {
    if (text.empty() || text.size() > 10) return false;
    unsigned long v = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + static_cast<unsigned long>(c - '0');
    }
    if (v > max) return false;
    *out = v;
    return true;
}

std::string lastComponent(std::string_view path) {
    size_t slash = path.rfind('/');
    std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    if (name.empty() || name == "." || name == ".." || name.size() > NAME_MAX) return std::string();
    for (char c : name) {
        if (static_cast<unsigned char>(c) < 0x20) return std::string();
    }
    return std::string(name);
}

long lockFilePid(std::string_view content) {
    // The ASCII form: the number right-aligned in ten characters and a newline.
    std::string_view t = content;
    while (!t.empty() && isSpace(t.front())) t.remove_prefix(1);
    while (!t.empty() && isSpace(t.back())) t.remove_suffix(1);
    unsigned long pid = 0;
    if (parseDecimal(t, 0x7FFFFFFF, &pid)) return static_cast<long>(pid);
    // The binary form of old programs: the pid as it sits in memory.
    if (content.size() == sizeof(int32_t)) {
        int32_t v;
        memcpy(&v, content.data(), sizeof v);
        if (v > 0) return v;
    }
    return 0;
}

bool usbIdentity(const std::string& folder, UsbIdentity* out) {
    std::string here = resolvePath(folder);
    if (here.empty()) return false;
    UsbIdentity id;
    for (int depth = 0; depth < 12 && here != "/"; ++depth, here = parentOf(here)) {
        std::string text;
        if (id.interfaceNumber < 0 && readAttribute(here + "/bInterfaceNumber", &text, 8)) {
            // Written in hexadecimal ("00").
            int v = -1;
            if (parseHexId(text, &v)) id.interfaceNumber = v;
            id.interfaceClass = hexAttribute(here + "/bInterfaceClass");
            id.interfaceSubclass = hexAttribute(here + "/bInterfaceSubClass");
            id.interfaceProtocol = hexAttribute(here + "/bInterfaceProtocol");
        }
        if (!exists(here + "/idVendor")) continue;
        id.vendor = hexAttribute(here + "/idVendor");
        id.product = hexAttribute(here + "/idProduct");
        if (id.vendor < 0 || id.product < 0) return false;
        if (readAttribute(here + "/manufacturer", &text)) id.manufacturer = printable(text);
        if (readAttribute(here + "/product", &text)) id.productName = printable(text);
        // A serial number goes into resource names: only characters a name can carry.
        if (readAttribute(here + "/serial", &text)) {
            for (char c : printable(text, 64)) {
                if (c != ' ' && c != ':') id.serial.push_back(c);
            }
        }
        id.devicePath = here;
        *out = std::move(id);
        return true;
    }
    return false;
}

std::vector<std::string> listFolder(const std::string& path) {
    std::vector<std::string> names;
    DIR* d = opendir(path.c_str());
    if (!d) return names;
    while (dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (name == "." || name == "..") continue;
        names.push_back(std::move(name));
        if (names.size() >= 4096) break;  // a folder of the device tree is never this large
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

std::string resolvePath(const std::string& path) {
    char buf[PATH_MAX];
    if (!realpath(path.c_str(), buf)) return std::string();
    return buf;
}

std::string linkTarget(const std::string& path) {
    char buf[PATH_MAX];
    ssize_t n = readlink(path.c_str(), buf, sizeof buf - 1);
    if (n <= 0) return std::string();
    return std::string(buf, static_cast<size_t>(n));
}

}  // namespace zuvisa::sysfs

// Reading the kernel's device tree (sysfs) and device nodes for the hardware bridgelets: small
// attribute files, USB identities, symbolic links and lock files. Everything read here is outside
// input, so every reader is bounded and every parser strict; a root folder can be given so that
// tests describe a machine in a temporary folder.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zuvisa::sysfs {

// Where the kernel's trees are: "/sys" and "/dev" on a real machine.
struct Roots {
    std::string sys = "/sys";
    std::string dev = "/dev";
};

// Reads an attribute file of at most maxBytes (longer files count as unreadable) with trailing
// white space removed. False when the file is missing or unreadable.
bool readAttribute(const std::string& path, std::string* out, size_t maxBytes = 256);

// The text with control and non-ASCII bytes dropped and white space runs folded, at most maxChars.
std::string printable(std::string_view raw, size_t maxChars = 128);
// A USB identifier as sysfs writes it: one to four hexadecimal digits, nothing else.
bool parseHexId(std::string_view text, int* out);
// A decimal number no larger than max, digits only.
bool parseDecimal(std::string_view text, unsigned long max, unsigned long* out);
// The last component of a path or link target ("../../ttyUSB0" gives "ttyUSB0"); empty when
// the text ends in a slash or holds a component that is not a plain name.
std::string lastComponent(std::string_view path);
// The process id in a UUCP-style lock file: ten ASCII digits (optionally space padded) or a
// native 4-byte integer. 0 when the content is neither.
long lockFilePid(std::string_view content);

// The USB device a sysfs folder belongs to (the folder itself or one above it), with the
// interface the folder is on.
struct UsbIdentity {
    int vendor = -1, product = -1;
    std::string manufacturer, productName, serial;
    int interfaceNumber = -1;
    int interfaceClass = -1, interfaceSubclass = -1, interfaceProtocol = -1;
    std::string devicePath;  // the USB device's folder
};
// Walks up from folder (after resolving links) to the USB device. False when there is none.
bool usbIdentity(const std::string& folder, UsbIdentity* out);

// The entries of a folder (names only, no "." or ".."), sorted; empty when it cannot be read.
std::vector<std::string> listFolder(const std::string& path);
// The resolved path, or empty when it does not exist.
std::string resolvePath(const std::string& path);
// The target of a symbolic link, or empty.
std::string linkTarget(const std::string& path);

}  // namespace zuvisa::sysfs

#include "uiruntime/uirbundle.h"

#include <cstdint>

#include "uiruntime/uidefs.h"

namespace uir {

namespace {

// Layout of rcc's binary output: a header ("qres", version, tree, data and names offsets,
// and from version 3 a flags word), a table of fixed-size tree nodes, length-prefixed UTF-16
// names and size-prefixed data blocks; all numbers big-endian.
constexpr uint16_t kCompressed = 0x01;
constexpr uint16_t kDirectory = 0x02;
constexpr uint16_t kCompressedZstd = 0x04;
constexpr int kMaxDepth = 32;
constexpr size_t kMaxNodes = 100000;

class Checker {
public:
    Checker(const unsigned char* d, size_t n) : d_(d), n_(n) {}

    int run(std::vector<std::string>* rootFiles, std::string* error);

private:
    bool read32(size_t at, uint32_t* v) const {
        if (at > n_ || n_ - at < 4) return false;
        *v = (uint32_t(d_[at]) << 24) | (uint32_t(d_[at + 1]) << 16) | (uint32_t(d_[at + 2]) << 8) |
             uint32_t(d_[at + 3]);
        return true;
    }
    bool read16(size_t at, uint16_t* v) const {
        if (at > n_ || n_ - at < 2) return false;
        *v = uint16_t((d_[at] << 8) | d_[at + 1]);
        return true;
    }
    int fail(const std::string& why) {
        error_ = why;
        return UIEBadResourceFile;
    }
    int checkName(uint32_t offset, std::string* name);
    int checkNode(uint32_t index, int depth, std::vector<std::string>* files);

    const unsigned char* d_;
    size_t n_;
    uint32_t version_ = 0, tree_ = 0, data_ = 0, names_ = 0;
    size_t nodeSize_ = 14;
    size_t visited_ = 0;
    std::string error_;
};

int Checker::checkName(uint32_t offset, std::string* name) {
    size_t at = size_t(names_) + offset;
    uint16_t len = 0;
    uint32_t hash = 0;
    if (!read16(at, &len) || !read32(at + 2, &hash)) return fail("a name lies outside the file");
    size_t chars = at + 6;
    if (chars > n_ || (n_ - chars) / 2 < len) return fail("a name runs past the end of the file");
    name->clear();
    for (uint16_t k = 0; k < len; ++k) {
        uint16_t c = 0;
        read16(chars + 2 * k, &c);
        // File names of a panel bundle are plain ASCII; anything else is kept as '?'.
        name->push_back(c < 0x80 ? static_cast<char>(c) : '?');
    }
    return 0;
}

int Checker::checkNode(uint32_t index, int depth, std::vector<std::string>* files) {
    if (depth > kMaxDepth) return fail("directories nested too deeply");
    if (++visited_ > kMaxNodes) return fail("too many entries");
    size_t at = size_t(tree_) + size_t(index) * nodeSize_;
    if (at > n_ || n_ - at < nodeSize_) return fail("a directory entry lies outside the file");
    uint32_t nameOffset = 0;
    uint16_t flags = 0;
    read32(at, &nameOffset);
    read16(at + 4, &flags);
    if (flags & ~(kCompressed | kDirectory | kCompressedZstd)) return fail("an entry has unknown flags");
    std::string name;
    if (index != 0) {
        if (int rc = checkName(nameOffset, &name)) return rc;
    }
    if (flags & kDirectory) {
        uint32_t count = 0, first = 0;
        read32(at + 6, &count);
        read32(at + 10, &first);
        if (count > kMaxNodes) return fail("a directory has too many entries");
        if (count > 0 && first <= index) return fail("a directory refers backwards");
        for (uint32_t k = 0; k < count; ++k) {
            if (int rc = checkNode(first + k, depth + 1, depth == 0 ? files : nullptr)) return rc;
        }
        return 0;
    }
    if (index == 0) return fail("the root is not a directory");
    uint32_t dataOffset = 0, size = 0;
    read32(at + 10, &dataOffset);
    size_t block = size_t(data_) + dataOffset;
    if (!read32(block, &size)) return fail("a data block lies outside the file");
    if (n_ - (block + 4) < size) return fail("a data block runs past the end of the file");
    if (flags & kCompressedZstd) return fail("zstd-compressed entries are not accepted");
    if (flags & kCompressed) {
        uint32_t unpacked = 0;
        if (size < 4 || !read32(block + 4, &unpacked)) return fail("a compressed block is too short");
        if (unpacked > kMaxBundleSize) return fail("a compressed block unpacks too large");
    }
    if (files) files->push_back(name);
    return 0;
}

int Checker::run(std::vector<std::string>* rootFiles, std::string* error) {
    int rc = 0;
    if (!d_ || n_ < 20 || d_[0] != 'q' || d_[1] != 'r' || d_[2] != 'e' || d_[3] != 's') {
        rc = fail("not a resource bundle");
    } else {
        read32(4, &version_);
        read32(8, &tree_);
        read32(12, &data_);
        read32(16, &names_);
        if (version_ < 1 || version_ > 3) rc = fail("unknown bundle version");
        else if (version_ >= 3 && n_ < 24) rc = fail("the header is cut short");
        else {
            nodeSize_ = version_ >= 2 ? 22 : 14;
            if (tree_ >= n_ || data_ > n_ || names_ > n_) rc = fail("a section lies outside the file");
            else {
                std::vector<std::string> files;
                rc = checkNode(0, 0, &files);
                if (rc == 0 && rootFiles) *rootFiles = std::move(files);
            }
        }
    }
    if (rc != 0 && error) *error = error_;
    return rc;
}

}  // namespace

int checkResourceBundle(const unsigned char* data, size_t size, std::vector<std::string>* rootFiles,
                        std::string* error) {
    if (!data && size > 0) return UIENullPointer;
    if (size > kMaxBundleSize) {
        if (error) *error = "the file is too large";
        return UIEBadResourceFile;
    }
    Checker c(data, size);
    return c.run(rootFiles, error);
}

}  // namespace uir

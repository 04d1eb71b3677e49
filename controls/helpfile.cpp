#include "controls/helpfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

struct HelpMessage {
    HelpMessage* nextInTagBucket;
    HelpMessage* nextInUIBucket;
    const char* tag;  // points into the tag block
    uint32_t textOffset;
    uint32_t textLength;
    int panel;
    int control;
    // The names of the panel and control a binding was made for: a handle or control id that
    // is reused later by another panel or control does not inherit the binding.
    std::string place;
};

struct HelpState {
    int handle = -1;
    int handleCount = 0;
    std::string helpFile;
    uint32_t numBuckets = 0;
    std::vector<HelpMessage*> hashTag;
    std::vector<HelpMessage*> hashUI;
    std::vector<char> tagBlock;
    std::vector<char> messageBuffer;
    std::vector<std::unique_ptr<HelpMessage>> records;  // owns every record of both tables
};

HelpState state;

void releaseEverything() {
    if (state.handle >= 0) close(state.handle);
    state = HelpState();
}

uint32_t readLE32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

bool readExactlyAt(int fd, void* buffer, size_t size, off_t offset) {
    char* p = static_cast<char*>(buffer);
    while (size > 0) {
        ssize_t got = pread(fd, p, size, offset);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        p += got;
        size -= static_cast<size_t>(got);
        offset += got;
    }
    return true;
}

// Reads the header, tag block and tables, and indexes every tag; false on any fault. Every size
// the header declares is checked against the file's length before anything is allocated.
bool loadIndex(int fd) {
    struct stat info {};
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) return false;
    const uint64_t fileSize = static_cast<uint64_t>(info.st_size);
    unsigned char header[helpfile::kHeaderSize];
    if (!readExactlyAt(fd, header, sizeof header, 0) ||
        std::memcmp(header, helpfile::kMagic, 4) != 0)
        return false;
    uint32_t numTags = readLE32(header + 4);
    uint32_t tagBlockSize = readLE32(header + 8);
    uint32_t numBuckets = readLE32(header + 12);
    if (numTags > helpfile::kMaxTags || tagBlockSize > helpfile::kMaxTagBlock ||
        numBuckets > helpfile::kMaxBuckets)
        return false;
    const uint64_t tablesAt = uint64_t{helpfile::kHeaderSize} + tagBlockSize;
    if (tablesAt + 8 * uint64_t{numTags} > fileSize) return false;
    // No file needs more buckets than it has bytes; this bounds the two tables by the file.
    if (numBuckets > fileSize) return false;

    // One spare zero byte ends a block that lacks its final length byte.
    state.tagBlock.assign(tagBlockSize + 1, '\0');
    std::vector<unsigned char> tables(8 * static_cast<size_t>(numTags));
    if (!readExactlyAt(fd, state.tagBlock.data(), tagBlockSize, helpfile::kHeaderSize) ||
        !readExactlyAt(fd, tables.data(), tables.size(), static_cast<off_t>(tablesAt)))
        return false;
    state.numBuckets = numBuckets;
    state.hashTag.assign(numBuckets, nullptr);
    state.hashUI.assign(numBuckets, nullptr);

    // The shared buffer fits the longest text that lies inside the file; a text reaching past
    // the end can never be read and is not found.
    uint32_t longest = 0;
    size_t pos = 0;
    unsigned char length = static_cast<unsigned char>(state.tagBlock[0]);
    for (uint32_t i = 0; length != 0; ++i) {
        if (i >= numTags || numBuckets == 0 || pos + 1 + length > tagBlockSize) return false;
        char* tag = &state.tagBlock[pos + 1];
        pos += 1 + length;
        // The next length byte is saved before the terminator takes its place.
        unsigned char next = static_cast<unsigned char>(state.tagBlock[pos]);
        state.tagBlock[pos] = '\0';
        uint32_t textOffset = readLE32(&tables[4 * static_cast<size_t>(i)]);
        uint32_t textLength = readLE32(&tables[4 * (static_cast<size_t>(numTags) + i)]);
        if (textLength > helpfile::kMaxTextLength) return false;
        auto record = std::make_unique<HelpMessage>(
            HelpMessage{nullptr, nullptr, tag, textOffset, textLength, 0, 0, {}});
        uint32_t bucket = HashString(tag) % numBuckets;
        record->nextInTagBucket = state.hashTag[bucket];
        state.hashTag[bucket] = record.get();
        state.records.push_back(std::move(record));
        if (uint64_t{textOffset} + textLength <= fileSize && textLength > longest)
            longest = textLength;
        length = next;
    }
    state.messageBuffer.assign(static_cast<size_t>(longest) + 1, '\0');
    return true;
}

HelpMessage* findByTag(const char* tag) {
    if (state.handle < 0 || state.numBuckets == 0 || !tag) return nullptr;
    for (HelpMessage* m = state.hashTag[HashString(tag) % state.numBuckets]; m;
         m = m->nextInTagBucket)
        if (std::strcmp(m->tag, tag) == 0) return m;
    return nullptr;
}

HelpMessage* findByUI(int panel, int control) {
    if (state.handle < 0 || state.numBuckets == 0) return nullptr;
    for (HelpMessage* m = state.hashUI[Hash2Ints(panel, control) % state.numBuckets]; m;
         m = m->nextInUIBucket)
        if (m->panel == panel && m->control == control) return m;
    return nullptr;
}

// Takes whatever is bound to a panel and control out of the UI table.
void unbind(int panel, int control) {
    HelpMessage** link = &state.hashUI[Hash2Ints(panel, control) % state.numBuckets];
    while (*link) {
        HelpMessage* m = *link;
        if (m->panel == panel && m->control == control) {
            *link = m->nextInUIBucket;
            m->nextInUIBucket = nullptr;
            m->panel = m->control = 0;
        } else {
            link = &m->nextInUIBucket;
        }
    }
}

// Binds a record to a panel and control, in place of what was bound there before; a record
// already bound elsewhere is copied first, so one tag serves several places.
HelpMessage* RegisterMsg(HelpMessage* message, int panel, int control, const char* place) {
    HelpMessage* bound = findByUI(panel, control);
    if (bound && bound->tag == message->tag && bound->place == place) return bound;
    unbind(panel, control);
    if (message->panel || message->control) {
        auto copy = std::make_unique<HelpMessage>(*message);
        copy->nextInTagBucket = nullptr;
        message = copy.get();
        state.records.push_back(std::move(copy));
    }
    message->panel = panel;
    message->control = control;
    message->place = place;
    uint32_t bucket = Hash2Ints(panel, control) % state.numBuckets;
    message->nextInUIBucket = state.hashUI[bucket];
    state.hashUI[bucket] = message;
    return message;
}

char* fetchText(const HelpMessage* message) {
    if (!message || message->textLength >= state.messageBuffer.size()) return nullptr;
    if (!readExactlyAt(state.handle, state.messageBuffer.data(), message->textLength,
                       message->textOffset))
        return nullptr;
    state.messageBuffer[message->textLength] = '\0';
    return state.messageBuffer.data();
}

}  // namespace

uint32_t HashString(const char* s) {
    uint32_t h = 0;
    for (; *s; ++s)
        h = (h * 4) ^ static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*s)));
    return h;
}

uint32_t Hash2Ints(int panel, int control) {
    return (static_cast<uint32_t>(panel) << 5) ^ static_cast<uint32_t>(control);
}

int Help_Initialize(const char* path) {
    if (state.handle >= 0) {
        if (path && state.helpFile == path) {
            ++state.handleCount;
            return 0;
        }
        releaseEverything();  // a second help file cannot live beside the first
        return -1;
    }
    if (!path) return -1;
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -1;
    state.handle = fd;
    bool loaded = false;
    try {
        loaded = loadIndex(fd);
    } catch (const std::bad_alloc&) {
        loaded = false;
    }
    if (!loaded) {
        releaseEverything();
        return -1;
    }
    state.helpFile = path;
    state.handleCount = 1;
    return 0;
}

void Help_Close() {
    if (state.handle < 0) return;
    if (state.handleCount > 1) {
        --state.handleCount;
        return;
    }
    releaseEverything();
}

int Help_IsOpen() {
    return state.handle >= 0;
}

char* Help_MessageFromTag(const char* tag) {
    return fetchText(findByTag(tag));
}

int Help_BindTag(int panel, int control, const char* tag, const char* place) {
    HelpMessage* message = findByTag(tag);
    if (!message || !place) return -1;
    try {
        RegisterMsg(message, panel, control, place);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    return 0;
}

char* Help_MessageForUI(int panel, int control, const char* place) {
    if (!place) return nullptr;
    // The place's own text comes first, every time; a tag bound to this very place stands in
    // for a place without a text of its own.
    if (HelpMessage* message = findByTag(place)) {
        try {
            return fetchText(RegisterMsg(message, panel, control, place));
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    HelpMessage* bound = findByUI(panel, control);
    return bound && bound->place == place ? fetchText(bound) : nullptr;
}

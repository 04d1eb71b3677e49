// mkhlp: compiles plain-text help sources into the binary context-help file.
//
// Source format, line by line:
//   @TAG         starts the text of TAG (a panel constant, or PANEL_CONTROL); @TAG lines that
//                follow one another share the text after the last of them, stored once
//   @@text       a text line that begins with "@text"
//   @# comment   ignored
//   other lines  the text of the current tag; blank lines at its start and end are dropped
//
// Usage: mkhlp -o OUTPUT [-b BUCKETS] SOURCE...
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "controls/helpfile.h"
#include "toolslib/toolbox/files.h"

namespace {

struct Entry {
    std::vector<std::string> tags;
    std::string text;
    std::string origin;  // file:line of the tag, for messages
};

bool fail(const std::string& message) {
    std::fprintf(stderr, "mkhlp: %s\n", message.c_str());
    return false;
}

void trimBlankLines(std::string* text) {
    while (!text->empty() && text->front() == '\n') text->erase(0, 1);
    while (!text->empty() && text->back() == '\n') text->pop_back();
}

bool readSource(const std::string& path, std::vector<Entry>* entries,
                std::map<std::string, std::string>* seen) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return fail("cannot read " + path);
    std::string line;
    int lineNumber = 0;
    Entry* current = nullptr;
    bool afterTag = false;
    while (std::getline(in, line)) {
        ++lineNumber;
        bool wasAfterTag = afterTag;
        afterTag = false;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::string where = path + ":" + std::to_string(lineNumber);
        if (line.rfind("@#", 0) == 0) continue;
        if (line.rfind("@@", 0) == 0) {
            line.erase(0, 1);
        } else if (line.rfind("@", 0) == 0) {
            std::string tag = line.substr(1);
            while (!tag.empty() && (tag.back() == ' ' || tag.back() == '\t')) tag.pop_back();
            if (tag.empty() || tag.size() > 255 || tag.find_first_of(" \t") != std::string::npos)
                return fail(where + ": a tag is 1 to 255 characters without blanks");
            auto [it, fresh] = seen->emplace(tag, where);
            if (!fresh)
                return fail(where + ": tag " + tag + " was already defined at " + it->second);
            afterTag = true;
            if (wasAfterTag) {
                current->tags.push_back(tag);
                continue;
            }
            if (current) trimBlankLines(&current->text);
            entries->push_back({{tag}, "", where});
            current = &entries->back();
            continue;
        }
        if (!current) {
            if (line.find_first_not_of(" \t") != std::string::npos)
                return fail(where + ": text before the first @TAG line");
            continue;
        }
        current->text += line + "\n";
        if (current->text.size() > helpfile::kMaxTextLength)
            return fail(current->origin + ": the text of " + current->tags.front() +
                        " is too long");
    }
    if (current) trimBlankLines(&current->text);
    return true;
}

void putLE32(std::string* out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out->push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

size_t countTags(const std::vector<Entry>& entries) {
    size_t n = 0;
    for (const Entry& e : entries) n += e.tags.size();
    return n;
}

std::string buildImage(const std::vector<Entry>& entries, uint32_t buckets) {
    std::string tagBlock;
    for (const Entry& e : entries)
        for (const std::string& tag : e.tags) {
            tagBlock.push_back(static_cast<char>(tag.size()));
            tagBlock += tag;
        }
    tagBlock.push_back('\0');
    uint32_t n = static_cast<uint32_t>(countTags(entries));
    std::string image(helpfile::kMagic, 4);
    putLE32(&image, n);
    putLE32(&image, static_cast<uint32_t>(tagBlock.size()));
    putLE32(&image, buckets);
    image.append(helpfile::kHeaderSize - image.size(), '\0');
    image += tagBlock;
    // Tags that share a text point at the same bytes.
    uint32_t offset = static_cast<uint32_t>(image.size() + 8 * size_t{n});
    for (const Entry& e : entries) {
        for (size_t i = 0; i < e.tags.size(); ++i) putLE32(&image, offset);
        offset += static_cast<uint32_t>(e.text.size());
    }
    for (const Entry& e : entries)
        for (size_t i = 0; i < e.tags.size(); ++i)
            putLE32(&image, static_cast<uint32_t>(e.text.size()));
    for (const Entry& e : entries) image += e.text;
    return image;
}

bool writeReplacing(const std::string& path, const std::string& image) {
    std::string temporary;
    FILE* stream = nullptr;
    if (CreateAndOpenTemporaryFileNamed(path.c_str(), "hlp$$", "TMP", "wb", &temporary, &stream) <
        0)
        return fail("cannot create a temporary file beside " + path);
    bool ok = std::fwrite(image.data(), 1, image.size(), stream) == image.size();
    ok = std::fclose(stream) == 0 && ok;
    if (!ok || DeleteAndRename(temporary.c_str(), path.c_str()) < 0) {
        std::remove(temporary.c_str());
        return fail("cannot write " + path);
    }
    return true;
}

int usage() {
    std::fprintf(stderr, "usage: mkhlp -o OUTPUT [-b BUCKETS] SOURCE...\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::string output;
    long buckets = 0;
    std::vector<std::string> sources;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if ((arg == "-o" || arg == "-b") && i + 1 < argc) {
            std::string value = argv[++i];
            if (arg == "-o") {
                output = value;
            } else {
                char* end;
                buckets = std::strtol(value.c_str(), &end, 10);
                if (*end || buckets < 1 || buckets > static_cast<long>(helpfile::kMaxBuckets))
                    return usage();
            }
        } else if (!arg.empty() && arg[0] == '-') {
            return usage();
        } else {
            sources.push_back(arg);
        }
    }
    if (output.empty()) return usage();

    std::vector<Entry> entries;
    std::map<std::string, std::string> seen;
    for (const std::string& source : sources)
        if (!readSource(source, &entries, &seen)) return 1;
    size_t tags = countTags(entries);
    if (tags > helpfile::kMaxTags) return fail("too many tags"), 1;
    // An odd count of buckets near the count of tags keeps chains short.
    uint32_t h = buckets ? static_cast<uint32_t>(buckets) : static_cast<uint32_t>(tags | 1);
    return writeReplacing(output, buildImage(entries, h)) ? 0 : 1;
}

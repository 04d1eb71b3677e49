// The VISA reference: reads the page sources (one entry per operation, attribute, event and
// status code) and writes the HTML pages, the index page and the Qt help project that Qt's help
// generator turns into the reference talmik opens in the help viewer.
//
// Source format, line by line:
//   @# comment         ignored anywhere
//   @NAME              starts the entry of NAME (its page and first keyword)
//   key: value         fields, right after @NAME, up to the first blank line; a line that
//                      starts with two blanks continues the field before it
//   other lines        the page's text: paragraphs separated by blank lines, "== Heading",
//                      "- item" lists (two blanks continue an item), "| a | b |" tables (the
//                      first row is the heading), `code`; every VISA name that has a page of
//                      its own becomes a link
// The kind of the entries (operation, attribute, event, status) is the source file's name.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace mkref {

enum class Kind { Operation, Attribute, Event, Status };

struct Entry {
    Kind kind = Kind::Operation;
    std::string name;
    std::map<std::string, std::string> fields;
    std::vector<std::string> body;
    std::string origin;  // file:line of the entry, for messages
};

struct Reference {
    std::vector<Entry> entries;
    std::map<std::string, std::string> pageOfKeyword;  // keyword -> page name
};

// Reads one source file whose entries are of the given kind; false with a message in *error.
bool readSource(const std::string& path, Kind kind, Reference* ref, std::string* error);
// The same for text already in memory (origin names it in messages).
bool readSourceText(const std::string& text, const std::string& origin, Kind kind, Reference* ref,
                    std::string* error);
// The kind a source file holds, from its name (operations.txt, attributes.txt, events.txt,
// statuses.txt); false for any other name.
bool kindOfSource(const std::string& path, Kind* kind);

// Checks what only the whole reference can tell: required fields, every keyword on one page,
// every "see" name a keyword. Fills pageOfKeyword.
bool check(Reference* ref, std::string* error);

// The HTML of a page and of the index page.
std::string renderPage(const Reference& ref, const Entry& entry);
std::string renderIndex(const Reference& ref);
// The Qt help project (namespace, table of contents, keywords, files) and the collection
// project that registers compressedFile.
std::string helpProject(const Reference& ref);
std::string collectionProject(const std::string& compressedFile);
// Every keyword, one per line, sorted.
std::string keywordList(const Reference& ref);

// The resource kinds of a catalogue mask, in words ("GPIB INSTR, serial INSTR").
std::string kindsOfMask(unsigned long mask);
// Text with HTML's special characters escaped, `code` spans and links to pages.
std::string inlineHtml(const Reference& ref, const std::string& text, const std::string& self);

}  // namespace mkref

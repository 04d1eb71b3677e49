#include "tools/mkref/reference.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

namespace mkref {

namespace {

const char kNamespace[] = "talmik.zuvisa.reference";
const char kFolder[] = "visa";

// Fields each kind of entry takes; the first ones listed are required.
struct FieldRules {
    std::vector<std::string> required;
    std::vector<std::string> optional;
};

const FieldRules& rulesOf(Kind kind) {
    static const FieldRules operation{{"summary", "syntax", "group"},
                                      {"label", "kinds", "keywords", "see", "statuses"}};
    static const FieldRules attribute{{"summary", "id", "type", "access", "kinds"},
                                      {"label", "values", "default", "keywords", "see"}};
    static const FieldRules event{{"summary", "id", "kinds"},
                                  {"label", "context", "keywords", "see"}};
    static const FieldRules status{{"summary", "code"}, {"keywords", "see"}};
    switch (kind) {
        case Kind::Operation:
            return operation;
        case Kind::Attribute:
            return attribute;
        case Kind::Event:
            return event;
        case Kind::Status:
            return status;
    }
    return operation;
}

const char* kindTitle(Kind kind) {
    switch (kind) {
        case Kind::Operation:
            return "Operation";
        case Kind::Attribute:
            return "Attribute";
        case Kind::Event:
            return "Event";
        case Kind::Status:
            return "Status code";
    }
    return "";
}

std::string trim(const std::string& s) {
    size_t a = s.find_first_not_of(" \t");
    if (a == std::string::npos) return "";
    size_t b = s.find_last_not_of(" \t");
    return s.substr(a, b - a + 1);
}

std::vector<std::string> splitList(const std::string& s, char separator = ',') {
    std::vector<std::string> out;
    std::string item;
    std::istringstream in(s);
    while (std::getline(in, item, separator)) {
        item = trim(item);
        if (!item.empty()) out.push_back(item);
    }
    return out;
}

bool isNameChar(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

bool looksLikeVisaName(const std::string& word) {
    return word.rfind("VI_", 0) == 0 ||
           (word.size() > 2 && word.rfind("vi", 0) == 0 && word[2] >= 'A' && word[2] <= 'Z');
}

std::string escape(const std::string& s) {
    std::string out;
    for (char c : s) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string field(const Entry& e, const std::string& key) {
    auto it = e.fields.find(key);
    return it == e.fields.end() ? std::string() : it->second;
}

std::string pageFile(const std::string& name) {
    return name + ".html";
}

std::string linkTo(const Reference& ref, const std::string& name, const std::string& self) {
    auto it = ref.pageOfKeyword.find(name);
    if (it == ref.pageOfKeyword.end() || it->second == self)
        return "<code>" + escape(name) + "</code>";
    return "<a href=\"" + pageFile(it->second) + "\"><code>" + escape(name) + "</code></a>";
}

// Words of plain text: VISA names are linked (or at least set as code), the rest escaped.
std::string linkNames(const Reference& ref, const std::string& text, const std::string& self) {
    std::string out;
    size_t i = 0;
    while (i < text.size()) {
        if (isNameChar(text[i]) && (i == 0 || !isNameChar(text[i - 1]))) {
            size_t j = i;
            while (j < text.size() && isNameChar(text[j])) ++j;
            std::string word = text.substr(i, j - i);
            out += looksLikeVisaName(word) ? linkTo(ref, word, self) : escape(word);
            i = j;
        } else {
            out += escape(std::string(1, text[i]));
            ++i;
        }
    }
    return out;
}

const char* const kGroupOrder[] = {"Template", "Basic I/O", "Register I/O", "Interface I/O",
                                   "Resource manager and sessions"};

int groupRank(const std::string& group) {
    for (size_t i = 0; i < std::size(kGroupOrder); ++i)
        if (group == kGroupOrder[i]) return static_cast<int>(i);
    return static_cast<int>(std::size(kGroupOrder));
}

unsigned long number(const std::string& text) {
    return std::strtoul(text.c_str(), nullptr, 0);
}

// Completion codes and warnings share one range of values: the name tells them apart.
std::string statusClass(const std::string& name) {
    if (name.rfind("VI_ERROR", 0) == 0) return "Error";
    if (name.rfind("VI_WARN", 0) == 0) return "Warning";
    return "Completion";
}

// Body markup into HTML blocks.
std::string renderBody(const Reference& ref, const Entry& e) {
    std::string out;
    std::vector<std::string> paragraph;
    std::vector<std::vector<std::string>> table;
    std::vector<std::string> items;
    auto flushParagraph = [&] {
        if (paragraph.empty()) return;
        std::string text;
        for (const std::string& l : paragraph) text += (text.empty() ? "" : " ") + trim(l);
        out += "<p>" + inlineHtml(ref, text, e.name) + "</p>\n";
        paragraph.clear();
    };
    auto flushItems = [&] {
        if (items.empty()) return;
        out += "<ul>\n";
        for (const std::string& item : items)
            out += "<li>" + inlineHtml(ref, item, e.name) + "</li>\n";
        out += "</ul>\n";
        items.clear();
    };
    auto flushTable = [&] {
        if (table.empty()) return;
        out += "<table class=\"grid\">\n";
        for (size_t r = 0; r < table.size(); ++r) {
            out += "<tr>";
            for (const std::string& cell : table[r]) {
                const char* tag = r == 0 ? "th" : "td";
                out +=
                    std::string("<") + tag + ">" + inlineHtml(ref, cell, e.name) + "</" + tag + ">";
            }
            out += "</tr>\n";
        }
        out += "</table>\n";
        table.clear();
    };
    auto flushAll = [&] {
        flushParagraph();
        flushItems();
        flushTable();
    };
    for (const std::string& line : e.body) {
        if (trim(line).empty()) {
            flushAll();
        } else if (line.rfind("== ", 0) == 0) {
            flushAll();
            out += "<h2>" + inlineHtml(ref, trim(line.substr(3)), e.name) + "</h2>\n";
        } else if (line.rfind("- ", 0) == 0) {
            flushParagraph();
            flushTable();
            items.push_back(trim(line.substr(2)));
        } else if (line.rfind("  ", 0) == 0 && !items.empty()) {
            items.back() += " " + trim(line);
        } else if (line.rfind("|", 0) == 0) {
            flushParagraph();
            flushItems();
            std::string row = trim(line);
            if (row.size() > 1 && row.back() == '|') row.pop_back();
            table.push_back(splitList(row.substr(1), '|'));
        } else {
            flushItems();
            flushTable();
            paragraph.push_back(line);
        }
    }
    flushAll();
    return out;
}

std::string pageHead(const std::string& title) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" +
           escape(title) +
           "</title>\n<link rel=\"stylesheet\" href=\"style.css\">\n</head>\n<body>\n";
}

const char kPageFoot[] =
    "<p class=\"foot\"><a href=\"index.html\">Index of the VISA reference</a> &middot; "
    "ZU-VISA and Talmik</p>\n</body>\n</html>\n";

void factRow(std::string* out, const std::string& label, const std::string& html) {
    if (html.empty()) return;
    *out += "<tr><th>" + escape(label) + "</th><td>" + html + "</td></tr>\n";
}

// Rows of an attribute's catalogue masks: "0x1119 read only; 0x2400 read/write".
std::string accessByKinds(const std::string& kinds, const std::string& access) {
    std::vector<std::string> parts = splitList(kinds, ';');
    if (parts.size() == 1 && parts[0].find(' ') == std::string::npos)
        return escape(access) + " &mdash; " + escape(kindsOfMask(number(parts[0])));
    std::string out;
    for (const std::string& p : parts) {
        size_t space = p.find(' ');
        std::string mask = p.substr(0, space);
        std::string how = space == std::string::npos ? access : trim(p.substr(space));
        out += (out.empty() ? "" : "<br>") + escape(how) + " &mdash; " +
               escape(kindsOfMask(number(mask)));
    }
    return out;
}

}  // namespace

std::string kindsOfMask(unsigned long mask) {
    static const struct {
        unsigned long bit;
        const char* name;
    } kinds[] = {
        {0x1, "GPIB INSTR"},
        {0x2, "VXI INSTR (message-based)"},
        {0x4, "VXI INSTR (register-based)"},
        {0x8, "GPIB-VXI INSTR (message-based)"},
        {0x10, "GPIB-VXI INSTR (register-based)"},
        {0x20, "VXI INSTR above logical address 255"},
        {0x40, "serial (ASRL)"},
        {0x80, "VXI MEMACC"},
        {0x100, "GPIB-VXI MEMACC"},
        {0x200, "PXI INSTR"},
        {0x400, "GPIB INTFC"},
        {0x800, "VXI BACKPLANE"},
        {0x1000, "GPIB-VXI BACKPLANE"},
        {0x2000, "GPIB SERVANT"},
        {0x4000, "VXI SERVANT"},
        {0x8000, "TCPIP"},
        {0x10000, "PXI MEMACC"},
    };
    if ((mask & 0x1FFFFul) == 0x1FFFFul) return "every resource kind";
    std::string out;
    for (const auto& k : kinds)
        if (mask & k.bit) out += (out.empty() ? "" : ", ") + std::string(k.name);
    return out.empty() ? "no resource kind" : out;
}

std::string inlineHtml(const Reference& ref, const std::string& text, const std::string& self) {
    std::string out;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t tick = text.find('`', pos);
        if (tick == std::string::npos) {
            out += linkNames(ref, text.substr(pos), self);
            break;
        }
        out += linkNames(ref, text.substr(pos, tick - pos), self);
        size_t close = text.find('`', tick + 1);
        if (close == std::string::npos) close = text.size();
        std::string code = text.substr(tick + 1, close - tick - 1);
        auto page = ref.pageOfKeyword.find(code);
        if (page != ref.pageOfKeyword.end() && page->second != self)
            out +=
                "<a href=\"" + pageFile(page->second) + "\"><code>" + escape(code) + "</code></a>";
        else
            out += "<code>" + escape(code) + "</code>";
        pos = close + 1;
    }
    return out;
}

bool kindOfSource(const std::string& path, Kind* kind) {
    std::string base = path.substr(path.find_last_of('/') + 1);
    static const std::pair<const char*, Kind> names[] = {{"operations.txt", Kind::Operation},
                                                         {"attributes.txt", Kind::Attribute},
                                                         {"events.txt", Kind::Event},
                                                         {"statuses.txt", Kind::Status}};
    for (const auto& [n, k] : names)
        if (base == n) {
            *kind = k;
            return true;
        }
    return false;
}

bool readSourceText(const std::string& text, const std::string& origin, Kind kind, Reference* ref,
                    std::string* error) {
    std::istringstream in(text);
    std::string line;
    int lineNumber = 0;
    Entry* current = nullptr;
    bool inFields = false;
    std::string lastField;
    while (std::getline(in, line)) {
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::string where = origin + ":" + std::to_string(lineNumber);
        if (line.rfind("@#", 0) == 0) continue;
        if (line.rfind("@", 0) == 0) {
            std::string name = trim(line.substr(1));
            if (name.empty() || !std::all_of(name.begin(), name.end(), isNameChar)) {
                *error = where + ": an entry name is a VISA name without blanks";
                return false;
            }
            ref->entries.push_back({kind, name, {}, {}, where});
            current = &ref->entries.back();
            inFields = true;
            lastField.clear();
            continue;
        }
        if (!current) {
            if (!trim(line).empty()) {
                *error = where + ": text before the first @NAME line";
                return false;
            }
            continue;
        }
        if (inFields) {
            if (trim(line).empty()) {
                inFields = false;
                continue;
            }
            if (line.rfind("  ", 0) == 0 && !lastField.empty()) {
                current->fields[lastField] += " " + trim(line);
                continue;
            }
            size_t colon = line.find(':');
            std::string key = colon == std::string::npos ? "" : trim(line.substr(0, colon));
            if (key.empty() || key.find(' ') != std::string::npos) {
                *error = where + ": a field is \"key: value\"; leave a blank line before the text";
                return false;
            }
            const FieldRules& rules = rulesOf(kind);
            bool known = std::count(rules.required.begin(), rules.required.end(), key) +
                             std::count(rules.optional.begin(), rules.optional.end(), key) >
                         0;
            if (!known) {
                *error = where + ": unknown field \"" + key + "\" for this kind of entry";
                return false;
            }
            if (current->fields.count(key)) {
                *error = where + ": field \"" + key + "\" given twice";
                return false;
            }
            current->fields[key] = trim(line.substr(colon + 1));
            lastField = key;
            continue;
        }
        current->body.push_back(line);
    }
    return true;
}

bool readSource(const std::string& path, Kind kind, Reference* ref, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = "cannot read " + path;
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return readSourceText(text.str(), path, kind, ref, error);
}

bool check(Reference* ref, std::string* error) {
    ref->pageOfKeyword.clear();
    std::map<std::string, std::string> origin;
    for (const Entry& e : ref->entries) {
        for (const std::string& f : rulesOf(e.kind).required) {
            if (field(e, f).empty()) {
                *error = e.origin + ": " + e.name + " lacks the field \"" + f + "\"";
                return false;
            }
        }
        bool hasText = std::any_of(e.body.begin(), e.body.end(),
                                   [](const std::string& l) { return !trim(l).empty(); });
        if (!hasText) {
            *error = e.origin + ": " + e.name + " has no text";
            return false;
        }
        std::vector<std::string> keywords{e.name};
        for (const std::string& k : splitList(field(e, "keywords"))) keywords.push_back(k);
        for (const std::string& k : keywords) {
            auto [it, fresh] = ref->pageOfKeyword.emplace(k, e.name);
            if (!fresh) {
                *error = e.origin + ": keyword " + k + " is already the keyword of " + it->second +
                         " (" + origin[k] + ")";
                return false;
            }
            origin[k] = e.origin;
        }
    }
    for (const Entry& e : ref->entries) {
        for (const char* list : {"see", "statuses"}) {
            for (const std::string& name : splitList(field(e, list))) {
                if (!ref->pageOfKeyword.count(name)) {
                    *error =
                        e.origin + ": " + e.name + " refers to " + name + ", which has no page";
                    return false;
                }
            }
        }
    }
    return true;
}

std::string renderPage(const Reference& ref, const Entry& e) {
    std::string title = e.name;
    std::string out = pageHead(title + " - VISA reference");
    out += "<p class=\"kind\">" + std::string(kindTitle(e.kind)) + "</p>\n";
    out += "<h1>" + escape(e.name) + "</h1>\n";
    out += "<p class=\"summary\">" + inlineHtml(ref, field(e, "summary"), e.name) + "</p>\n";

    std::string facts;
    switch (e.kind) {
        case Kind::Operation:
            factRow(&facts, "In Talmik",
                    escape(field(e, "group")) +
                        (field(e, "label").empty()
                             ? ""
                             : " tab, &ldquo;" + escape(field(e, "label")) + "&rdquo;"));
            if (!field(e, "kinds").empty())
                factRow(&facts, "Offered for", escape(kindsOfMask(number(field(e, "kinds")))));
            break;
        case Kind::Attribute:
            factRow(&facts, "Attribute id", "<code>" + escape(field(e, "id")) + "</code>");
            factRow(&facts, "Type", "<code>" + escape(field(e, "type")) + "</code>");
            factRow(&facts, "Access", accessByKinds(field(e, "kinds"), field(e, "access")));
            factRow(&facts, "Values", inlineHtml(ref, field(e, "values"), e.name));
            factRow(&facts, "Default", inlineHtml(ref, field(e, "default"), e.name));
            factRow(
                &facts, "Descriptive label",
                field(e, "label").empty() ? "" : "&ldquo;" + escape(field(e, "label")) + "&rdquo;");
            break;
        case Kind::Event:
            factRow(&facts, "Event type", "<code>" + escape(field(e, "id")) + "</code>");
            factRow(&facts, "Offered for", escape(kindsOfMask(number(field(e, "kinds")))));
            factRow(
                &facts, "Descriptive label",
                field(e, "label").empty() ? "" : "&ldquo;" + escape(field(e, "label")) + "&rdquo;");
            factRow(&facts, "Context attributes", inlineHtml(ref, field(e, "context"), e.name));
            break;
        case Kind::Status: {
            unsigned long code = number(field(e, "code"));
            char value[64];
            std::snprintf(value, sizeof value, "0x%08lX (%ld)", code,
                          static_cast<long>(static_cast<int>(code)));
            factRow(&facts, "Value", "<code>" + std::string(value) + "</code>");
            factRow(&facts, "Class", statusClass(e.name));
            break;
        }
    }
    if (!facts.empty()) out += "<table class=\"facts\">\n" + facts + "</table>\n";
    if (e.kind == Kind::Operation)
        out += "<pre class=\"syntax\">" + escape(field(e, "syntax")) + "</pre>\n";

    out += renderBody(ref, e);

    std::vector<std::string> statuses = splitList(field(e, "statuses"));
    if (!statuses.empty()) {
        out += "<h2>Return values to expect</h2>\n<p>";
        for (size_t i = 0; i < statuses.size(); ++i)
            out += (i ? ", " : "") + linkTo(ref, statuses[i], e.name);
        out += "</p>\n";
    }
    std::vector<std::string> see = splitList(field(e, "see"));
    if (!see.empty()) {
        out += "<h2>See also</h2>\n<p>";
        for (size_t i = 0; i < see.size(); ++i)
            out += (i ? ", " : "") + linkTo(ref, see[i], e.name);
        out += "</p>\n";
    }
    out += kPageFoot;
    return out;
}

namespace {

std::vector<const Entry*> entriesOf(const Reference& ref, Kind kind) {
    std::vector<const Entry*> out;
    for (const Entry& e : ref.entries)
        if (e.kind == kind) out.push_back(&e);
    return out;
}

std::vector<const Entry*> operationsInOrder(const Reference& ref) {
    std::vector<const Entry*> ops = entriesOf(ref, Kind::Operation);
    std::stable_sort(ops.begin(), ops.end(), [](const Entry* a, const Entry* b) {
        return groupRank(field(*a, "group")) < groupRank(field(*b, "group"));
    });
    return ops;
}

std::vector<const Entry*> statusesInOrder(const Reference& ref) {
    std::vector<const Entry*> st = entriesOf(ref, Kind::Status);
    auto rank = [](const Entry* e) {
        std::string cls = statusClass(e->name);
        return std::make_pair(cls == "Completion" ? 0
                              : cls == "Warning"  ? 1
                                                  : 2,
                              number(field(*e, "code")));
    };
    std::stable_sort(st.begin(), st.end(),
                     [&](const Entry* a, const Entry* b) { return rank(a) < rank(b); });
    return st;
}

std::string indexRow(const Reference& ref, const Entry& e) {
    std::string extra = field(e, "label").empty()
                            ? ""
                            : " <span class=\"label\">(" + escape(field(e, "label")) + ")</span>";
    return "<tr><td><a href=\"" + pageFile(e.name) + "\"><code>" + escape(e.name) + "</code></a>" +
           extra + "</td><td>" + inlineHtml(ref, field(e, "summary"), e.name) + "</td></tr>\n";
}

}  // namespace

std::string renderIndex(const Reference& ref) {
    std::string out = pageHead("VISA reference");
    out += "<h1>VISA reference</h1>\n";
    out +=
        "<p class=\"summary\">The operations, attributes, events and status codes that Talmik "
        "offers, "
        "what they do, and what ZU-VISA, the house VISA library, does with each kind of "
        "resource.</p>\n"
        "<p>In Talmik, right-click an operation panel for <em>Operation Help</em>, an attribute "
        "ring "
        "for <em>Attribute Help</em>, an event ring for <em>Event Help</em>, or a status display "
        "for "
        "<em>Interpret Code</em>. F1 in the main window opens this index. Type a VISA name in the "
        "viewer's index to jump to its page.</p>\n"
        "<p><a href=\"#operations\">Operations</a> &middot; <a href=\"#attributes\">Attributes</a> "
        "&middot; <a href=\"#events\">Events</a> &middot; <a href=\"#statuses\">Status "
        "codes</a></p>\n";

    out += "<h2 id=\"operations\">Operations</h2>\n";
    std::string group;
    for (const Entry* e : operationsInOrder(ref)) {
        if (field(*e, "group") != group) {
            if (!group.empty()) out += "</table>\n";
            group = field(*e, "group");
            out += "<h3>" + escape(group) + "</h3>\n<table class=\"list\">\n";
        }
        out += indexRow(ref, *e);
    }
    if (!group.empty()) out += "</table>\n";

    out += "<h2 id=\"attributes\">Attributes</h2>\n<table class=\"list\">\n";
    for (const Entry* e : entriesOf(ref, Kind::Attribute)) out += indexRow(ref, *e);
    out += "</table>\n<h2 id=\"events\">Events</h2>\n<table class=\"list\">\n";
    for (const Entry* e : entriesOf(ref, Kind::Event)) out += indexRow(ref, *e);
    out += "</table>\n<h2 id=\"statuses\">Status codes</h2>\n";
    std::string cls;
    for (const Entry* e : statusesInOrder(ref)) {
        std::string c = statusClass(e->name);
        if (c != cls) {
            if (!cls.empty()) out += "</table>\n";
            cls = c;
            out += "<h3>" +
                   escape(c == "Completion" ? "Completion codes"
                          : c == "Warning"  ? "Warnings"
                                            : "Errors") +
                   "</h3>\n<table class=\"list\">\n";
        }
        out += indexRow(ref, *e);
    }
    if (!cls.empty()) out += "</table>\n";
    out += "</body>\n</html>\n";
    return out;
}

std::string helpProject(const Reference& ref) {
    std::string out =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<QtHelpProject version=\"1.0\">\n"
        "  <namespace>" +
        std::string(kNamespace) +
        "</namespace>\n"
        "  <virtualFolder>" +
        kFolder +
        "</virtualFolder>\n"
        "  <filterSection>\n    <toc>\n"
        "      <section title=\"VISA reference\" ref=\"index.html\">\n";
    auto section = [&](const std::string& title, const std::string& anchor,
                       const std::vector<const Entry*>& entries) {
        out +=
            "        <section title=\"" + escape(title) + "\" ref=\"index.html#" + anchor + "\">\n";
        for (const Entry* e : entries)
            out += "          <section title=\"" + escape(e->name) + "\" ref=\"" +
                   pageFile(e->name) + "\"/>\n";
        out += "        </section>\n";
    };
    section("Operations", "operations", operationsInOrder(ref));
    section("Attributes", "attributes", entriesOf(ref, Kind::Attribute));
    section("Events", "events", entriesOf(ref, Kind::Event));
    section("Status codes", "statuses", statusesInOrder(ref));
    out += "      </section>\n    </toc>\n    <keywords>\n";
    for (const auto& [keyword, page] : ref.pageOfKeyword) {
        out += "      <keyword name=\"" + escape(keyword) + "\" id=\"" + escape(keyword) +
               "\" ref=\"" + pageFile(page) + "\"/>\n";
    }
    for (const Entry& e : ref.entries) {
        std::string label = field(e, "label");
        if (!label.empty() && !ref.pageOfKeyword.count(label))
            out += "      <keyword name=\"" + escape(label) + "\" ref=\"" + pageFile(e.name) +
                   "\"/>\n";
    }
    out +=
        "    </keywords>\n    <files>\n      <file>index.html</file>\n      "
        "<file>style.css</file>\n";
    for (const Entry& e : ref.entries) out += "      <file>" + pageFile(e.name) + "</file>\n";
    out += "    </files>\n  </filterSection>\n</QtHelpProject>\n";
    return out;
}

std::string collectionProject(const std::string& compressedFile) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<QHelpCollectionProject version=\"1.0\">\n"
           "  <assistant>\n    <title>ZU-VISA Reference</title>\n"
           "    <startPage>qthelp://" +
           std::string(kNamespace) + "/" + kFolder +
           "/index.html</startPage>\n"
           "    <enableDocumentationManager>false</enableDocumentationManager>\n"
           "    <enableAddressBar>false</enableAddressBar>\n"
           "    <enableFilterFunctionality>false</enableFilterFunctionality>\n"
           "  </assistant>\n  <docFiles>\n    <register>\n      <file>" +
           escape(compressedFile) +
           "</file>\n    </register>\n  </docFiles>\n</QHelpCollectionProject>\n";
}

std::string keywordList(const Reference& ref) {
    std::string out;
    for (const auto& [keyword, page] : ref.pageOfKeyword) out += keyword + "\n";
    return out;
}

}  // namespace mkref

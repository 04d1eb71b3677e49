// Find expressions: a VISA regular expression over resource names, optionally followed by an
// attribute expression in braces.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zuvisa/visa.h"

namespace zuvisa {

inline constexpr size_t kMaxFindExpression = 1024;

// ? one character; * and + zero-or-more and one-or-more of what precedes; [set] with ranges and
// ^ for the complement; (group); a|b; \ takes the next character literally. Matching is
// case-insensitive and covers the whole text. Runs in time linear in the text.
class VisaRegex {
public:
    static ViStatus compile(std::string_view pattern, VisaRegex* out);
    bool matches(std::string_view text) const;

private:
    struct Node {
        enum Type : uint8_t { Set, Split, Jump, Match } type = Match;
        int out1 = -1, out2 = -1;
        uint64_t bits[4] = {0, 0, 0, 0};
    };
    std::vector<Node> nodes_;
    int start_ = -1;
    friend struct RegexBuilder;
};

// Answers the value of an attribute of a candidate resource: false when it has none.
using AttrLookup = std::function<bool(ViAttr attr, ViInt64* number, std::string* text)>;

class FindExpression {
public:
    FindExpression();
    ~FindExpression();
    FindExpression(FindExpression&&) noexcept;
    FindExpression& operator=(FindExpression&&) noexcept;

    // VI_SUCCESS or VI_ERROR_INV_EXPR. An expression may start with the machine it is meant for,
    // "visa://host/" or "visa://host:port/" (IPv6 hosts in brackets); "visa:/" without a host names this
    // machine; an empty or malformed host is invalid.
    static ViStatus parse(std::string_view text, FindExpression* out);
    // The machine the expression names, as written, or "" for this one.
    const std::string& machine() const { return machine_; }
    bool matchesName(std::string_view name) const { return regex_.matches(name); }
    bool hasAttributeClause() const { return clause_ != nullptr; }
    bool matchesAttributes(const AttrLookup& lookup) const;

    struct Clause;

private:
    VisaRegex regex_;
    std::unique_ptr<Clause> clause_;
    std::string machine_;
};

// Whether a machine named in a find expression is this one: "localhost", a loopback address, or
// this host's name (with or without its domain), in any case; the port is not looked at. Never
// asks the network, so that a search can answer at once.
bool isThisMachine(std::string_view machine);

}  // namespace zuvisa

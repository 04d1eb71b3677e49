// Regular expressions compile to a Thompson automaton that is simulated with state sets, so
// that no pattern can make matching blow up; the attribute clause is a small expression tree.
// Both parsers bound their nesting so that hostile input cannot exhaust the stack.
#include "zuvisa/findexpr.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "zuvisa/attributes.h"
#include "zuvisa/rsrcname.h"

namespace zuvisa {

namespace {

constexpr int kMaxDepth = 64;
constexpr size_t kMaxMachineName = 255;

bool nameChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
           c == '_';
}

// A host name, or an IPv6 address in brackets (with an optional zone), then an optional port.
bool validMachine(std::string_view m) {
    if (m.empty() || m.size() > kMaxMachineName) return false;
    size_t hostEnd;
    if (m.front() == '[') {
        hostEnd = m.find(']');
        if (hostEnd == std::string_view::npos || hostEnd < 3) return false;
        std::string_view inside = m.substr(1, hostEnd - 1);
        if (inside.find(':') == std::string_view::npos) return false;
        for (char c : inside)
            if (!nameChar(c) && c != ':' && c != '%') return false;
        ++hostEnd;
    } else {
        hostEnd = m.find(':');
        if (hostEnd == std::string_view::npos) hostEnd = m.size();
        if (hostEnd == 0) return false;
        for (char c : m.substr(0, hostEnd))
            if (!nameChar(c)) return false;
    }
    if (hostEnd == m.size()) return true;
    std::string_view port = m.substr(hostEnd);
    if (port.size() < 2 || port.size() > 6 || port[0] != ':') return false;
    unsigned value = 0;
    for (char c : port.substr(1)) {
        if (c < '0' || c > '9') return false;
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    return value <= 65535;
}

bool iequal(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (tolower(static_cast<unsigned char>(a[i])) != tolower(static_cast<unsigned char>(b[i]))) return false;
    return true;
}

// Splits "visa://machine/rest" into machine and rest; an expression without the prefix is all
// rest, and "visa:/rest" names no machine, so it is this one. False when the prefix is there but
// malformed.
bool splitMachine(std::string_view text, std::string_view* machine, std::string_view* rest) {
    constexpr std::string_view kPrefix = "visa:/";
    *machine = {};
    *rest = text;
    if (text.size() < kPrefix.size() || !iequal(text.substr(0, kPrefix.size()), kPrefix)) return true;
    if (text.size() < kPrefix.size() + 1) return false;
    if (text[kPrefix.size()] != '/') {
        *rest = text.substr(kPrefix.size());
        return true;
    }
    std::string_view after = text.substr(kPrefix.size() + 1);
    size_t slash = after.find('/');
    if (slash == std::string_view::npos) return false;
    *machine = after.substr(0, slash);
    *rest = after.substr(slash + 1);
    return validMachine(*machine);
}

}  // namespace

bool isThisMachine(std::string_view machine) {
    std::string_view host = machine;
    if (!host.empty() && host.front() == '[') {
        host = host.substr(1, host.find(']') - 1);
        size_t zone = host.find('%');
        return host.substr(0, zone) == "::1";
    }
    host = host.substr(0, host.find(':'));
    if (iequal(host, "localhost") || iequal(host, "localhost.localdomain")) return true;
    if (host.substr(0, 4) == "127.") return true;
    char own[256] = "";
    if (gethostname(own, sizeof own - 1) != 0 || !own[0]) return false;
    std::string_view self(own);
    if (iequal(host, self)) return true;
    // A name without a domain stands for this host when this host's own name starts with it.
    return host.find('.') == std::string_view::npos && iequal(host, self.substr(0, self.find('.')));
}

// Builds the automaton by recursive descent over the pattern.
struct RegexBuilder {
    std::string_view p;
    size_t pos = 0;
    int depth = 0;
    std::vector<VisaRegex::Node>& nodes;
    bool failed = false;

    // A dangling exit: node index and which of its two outputs.
    struct Exit {
        int node;
        int which;
    };
    struct Fragment {
        int start;
        std::vector<Exit> exits;
    };

    int add(VisaRegex::Node::Type t) {
        VisaRegex::Node n;
        n.type = t;
        nodes.push_back(n);
        return static_cast<int>(nodes.size() - 1);
    }
    void patch(const std::vector<Exit>& exits, int target) {
        for (const Exit& e : exits) {
            (e.which == 1 ? nodes[e.node].out1 : nodes[e.node].out2) = target;
        }
    }
    static void setBit(VisaRegex::Node& n, unsigned char c) {
        n.bits[c >> 6] |= uint64_t{1} << (c & 63);
    }
    static void setFolded(VisaRegex::Node& n, unsigned char c) {
        setBit(n, c);
        if (c >= 'a' && c <= 'z') setBit(n, c - 32);
        if (c >= 'A' && c <= 'Z') setBit(n, c + 32);
    }

    bool atEnd() const { return pos >= p.size(); }

    Fragment alternation() {
        if (++depth > kMaxDepth) {
            failed = true;
            return {};
        }
        Fragment left = sequence();
        while (!failed && !atEnd() && p[pos] == '|') {
            ++pos;
            Fragment right = sequence();
            if (failed) break;
            int s = add(VisaRegex::Node::Split);
            nodes[s].out1 = left.start;
            nodes[s].out2 = right.start;
            left.start = s;
            left.exits.insert(left.exits.end(), right.exits.begin(), right.exits.end());
        }
        --depth;
        return left;
    }

    Fragment sequence() {
        Fragment whole{-1, {}};
        while (!failed && !atEnd() && p[pos] != '|' && p[pos] != ')') {
            Fragment f = repeat();
            if (failed) break;
            if (whole.start < 0) {
                whole = std::move(f);
            } else {
                patch(whole.exits, f.start);
                whole.exits = std::move(f.exits);
            }
        }
        if (whole.start < 0) failed = true;  // empty pattern or alternative
        return whole;
    }

    Fragment repeat() {
        Fragment f = atom();
        while (!failed && !atEnd() && (p[pos] == '*' || p[pos] == '+')) {
            bool star = p[pos] == '*';
            ++pos;
            int s = add(VisaRegex::Node::Split);
            nodes[s].out1 = f.start;
            patch(f.exits, s);
            Fragment r;
            r.start = star ? s : f.start;
            r.exits = {{s, 2}};
            f = std::move(r);
        }
        return f;
    }

    Fragment single(const VisaRegex::Node& proto) {
        int n = add(VisaRegex::Node::Set);
        std::memcpy(nodes[n].bits, proto.bits, sizeof proto.bits);
        return {n, {{n, 1}}};
    }

    Fragment atom() {
        if (atEnd()) {
            failed = true;
            return {};
        }
        unsigned char c = static_cast<unsigned char>(p[pos++]);
        VisaRegex::Node proto;
        switch (c) {
        case '?':
            for (auto& b : proto.bits) b = ~uint64_t{0};
            return single(proto);
        case '*':
        case '+':
        case ']':
        case '{':
        case '}':
            failed = true;
            return {};
        case '(': {
            Fragment f = alternation();
            if (failed || atEnd() || p[pos] != ')') {
                failed = true;
                return {};
            }
            ++pos;
            return f;
        }
        case '[': return charSet();
        case '\\':
            if (atEnd()) {
                failed = true;
                return {};
            }
            setFolded(proto, static_cast<unsigned char>(p[pos++]));
            return single(proto);
        default:
            setFolded(proto, c);
            return single(proto);
        }
    }

    Fragment charSet() {
        VisaRegex::Node proto;
        bool negate = false;
        if (!atEnd() && p[pos] == '^') {
            negate = true;
            ++pos;
        }
        bool any = false;
        while (!atEnd() && p[pos] != ']') {
            unsigned char lo = static_cast<unsigned char>(p[pos++]);
            if (lo == '\\') {
                if (atEnd()) break;
                lo = static_cast<unsigned char>(p[pos++]);
            }
            unsigned char hi = lo;
            if (pos + 1 < p.size() && p[pos] == '-' && p[pos + 1] != ']') {
                ++pos;
                hi = static_cast<unsigned char>(p[pos++]);
                if (hi == '\\') {
                    if (atEnd()) break;
                    hi = static_cast<unsigned char>(p[pos++]);
                }
                if (hi < lo) {
                    failed = true;
                    return {};
                }
            }
            for (unsigned v = lo; v <= hi; ++v) setFolded(proto, static_cast<unsigned char>(v));
            any = true;
        }
        if (atEnd() || !any) {
            failed = true;
            return {};
        }
        ++pos;  // ']'
        if (negate) {
            for (auto& b : proto.bits) b = ~b;
        }
        return single(proto);
    }
};

ViStatus VisaRegex::compile(std::string_view pattern, VisaRegex* out) {
    if (!out || pattern.empty() || pattern.size() > kMaxFindExpression) return VI_ERROR_INV_EXPR;
    VisaRegex r;
    RegexBuilder b{pattern, 0, 0, r.nodes_};
    RegexBuilder::Fragment f = b.alternation();
    if (b.failed || !b.atEnd()) return VI_ERROR_INV_EXPR;
    int m = b.add(Node::Match);
    b.patch(f.exits, m);
    r.start_ = f.start;
    *out = std::move(r);
    return VI_SUCCESS;
}

bool VisaRegex::matches(std::string_view text) const {
    if (start_ < 0) return false;
    const size_t n = nodes_.size();
    std::vector<int> current, next, stack;
    std::vector<uint32_t> mark(n, 0);
    uint32_t generation = 1;

    // Adds a state and everything reachable from it without reading a character.
    auto addState = [&](std::vector<int>& list, int s) {
        stack.push_back(s);
        while (!stack.empty()) {
            int i = stack.back();
            stack.pop_back();
            if (i < 0 || mark[i] == generation) continue;
            mark[i] = generation;
            const Node& node = nodes_[i];
            if (node.type == Node::Split) {
                stack.push_back(node.out2);
                stack.push_back(node.out1);
            } else if (node.type == Node::Jump) {
                stack.push_back(node.out1);
            } else {
                list.push_back(i);
            }
        }
    };

    addState(current, start_);
    for (char ch : text) {
        unsigned char c = static_cast<unsigned char>(ch);
        ++generation;
        next.clear();
        for (int i : current) {
            const Node& node = nodes_[i];
            if (node.type == Node::Set && (node.bits[c >> 6] >> (c & 63) & 1)) {
                addState(next, node.out1);
            }
        }
        current.swap(next);
        if (current.empty()) return false;
    }
    for (int i : current) {
        if (nodes_[i].type == Node::Match) return true;
    }
    return false;
}

// ---------------------------------------------------------------------------------------------

struct FindExpression::Clause {
    enum Op { Or, And, Not, Eq, Ne, Lt, Gt, Le, Ge } op = Eq;
    std::unique_ptr<Clause> left, right;
    ViAttr attr = 0;
    bool isText = false;
    AttrType type = AttrType::U32;
    ViInt64 number = 0;
    VisaRegex pattern;  // string comparisons match the attribute against a VISA pattern

    bool eval(const AttrLookup& lookup) const {
        switch (op) {
        case Or: return left->eval(lookup) || right->eval(lookup);
        case And: return left->eval(lookup) && right->eval(lookup);
        case Not: return !left->eval(lookup);
        default: break;
        }
        ViInt64 value = 0;
        std::string text;
        if (!lookup(attr, &value, &text)) return false;
        if (isText) {
            bool m = pattern.matches(text);
            return op == Eq ? m : !m;
        }
        switch (op) {
        case Eq: return value == number;
        case Ne: return value != number;
        case Lt: return value < number;
        case Gt: return value > number;
        case Le: return value <= number;
        case Ge: return value >= number;
        default: return false;
        }
    }
};

namespace {

struct ClauseParser {
    std::string_view s;
    size_t pos = 0;
    int depth = 0;
    bool failed = false;
    using Ptr = std::unique_ptr<FindExpression::Clause>;

    void skip() {
        while (pos < s.size() && (s[pos] == ' ' || s[pos] == '\t')) ++pos;
    }
    bool take(std::string_view tok) {
        skip();
        if (s.substr(pos, tok.size()) == tok) {
            pos += tok.size();
            return true;
        }
        return false;
    }
    Ptr fail() {
        failed = true;
        return nullptr;
    }

    Ptr orExpr() {
        if (++depth > kMaxDepth) return fail();
        Ptr left = andExpr();
        while (!failed && take("||")) {
            Ptr right = andExpr();
            if (failed) break;
            left = join(FindExpression::Clause::Or, std::move(left), std::move(right));
        }
        --depth;
        return failed ? nullptr : std::move(left);
    }
    Ptr andExpr() {
        Ptr left = notExpr();
        while (!failed && take("&&")) {
            Ptr right = notExpr();
            if (failed) break;
            left = join(FindExpression::Clause::And, std::move(left), std::move(right));
        }
        return failed ? nullptr : std::move(left);
    }
    Ptr notExpr() {
        skip();
        if (pos < s.size() && s[pos] == '!' && (pos + 1 >= s.size() || s[pos + 1] != '=')) {
            ++pos;
            if (++depth > kMaxDepth) return fail();
            Ptr inner = notExpr();
            --depth;
            if (failed) return nullptr;
            auto c = std::make_unique<FindExpression::Clause>();
            c->op = FindExpression::Clause::Not;
            c->left = std::move(inner);
            return c;
        }
        if (take("(")) {
            Ptr inner = orExpr();
            if (failed || !take(")")) return fail();
            return inner;
        }
        return comparison();
    }
    static Ptr join(FindExpression::Clause::Op op, Ptr a, Ptr b) {
        auto c = std::make_unique<FindExpression::Clause>();
        c->op = op;
        c->left = std::move(a);
        c->right = std::move(b);
        return c;
    }

    Ptr comparison() {
        skip();
        size_t start = pos;
        while (pos < s.size() && (isalnum(static_cast<unsigned char>(s[pos])) || s[pos] == '_')) ++pos;
        std::string_view name = s.substr(start, pos - start);
        if (name.empty() || name.size() > 64) return fail();
        const AttrDef* def = nullptr;
        if (name.size() > 2 && name[0] == '0' && (name[1] == 'x' || name[1] == 'X')) {
            char* end = nullptr;
            std::string n(name);
            unsigned long id = strtoul(n.c_str(), &end, 16);
            if (*end || id > 0xFFFFFFFFul) return fail();
            def = findAttrAnyKind(static_cast<ViAttr>(id));
        } else {
            def = findAttrByName(name);
        }
        if (!def) return fail();

        auto c = std::make_unique<FindExpression::Clause>();
        c->attr = def->id;
        c->type = def->type;
        c->isText = def->type == AttrType::Text;
        if (take("==")) c->op = FindExpression::Clause::Eq;
        else if (take("!=")) c->op = FindExpression::Clause::Ne;
        else if (take("<=")) c->op = FindExpression::Clause::Le;
        else if (take(">=")) c->op = FindExpression::Clause::Ge;
        else if (take("<")) c->op = FindExpression::Clause::Lt;
        else if (take(">")) c->op = FindExpression::Clause::Gt;
        else return fail();

        skip();
        if (pos < s.size() && s[pos] == '"') {
            if (!c->isText) return fail();
            if (c->op != FindExpression::Clause::Eq && c->op != FindExpression::Clause::Ne) return fail();
            size_t end = s.find('"', pos + 1);
            if (end == std::string_view::npos) return fail();
            std::string_view lit = s.substr(pos + 1, end - pos - 1);
            pos = end + 1;
            if (VisaRegex::compile(lit, &c->pattern) != VI_SUCCESS) return fail();
            return c;
        }
        if (c->isText) return fail();
        // number: decimal (optionally negative) or hexadecimal
        size_t numStart = pos;
        if (pos < s.size() && (s[pos] == '-' || s[pos] == '+')) ++pos;
        while (pos < s.size() && (isalnum(static_cast<unsigned char>(s[pos])))) ++pos;
        std::string num(s.substr(numStart, pos - numStart));
        if (num.empty() || num.size() > 24) return fail();
        char* end = nullptr;
        errno = 0;
        long long v = strtoll(num.c_str(), &end, 0);
        if (*end || errno) return fail();
        c->number = v;
        return c;
    }
};

}  // namespace

FindExpression::FindExpression() = default;
FindExpression::~FindExpression() = default;
FindExpression::FindExpression(FindExpression&&) noexcept = default;
FindExpression& FindExpression::operator=(FindExpression&&) noexcept = default;

ViStatus FindExpression::parse(std::string_view whole, FindExpression* out) {
    if (!out || whole.empty() || whole.size() > kMaxFindExpression) return VI_ERROR_INV_EXPR;
    std::string_view machine, text;
    if (!splitMachine(whole, &machine, &text) || text.empty()) return VI_ERROR_INV_EXPR;
    // The clause starts at the first brace that is neither escaped nor inside a set.
    size_t brace = std::string_view::npos;
    bool inSet = false;
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '\\') {
            ++i;
        } else if (inSet) {
            if (c == ']') inSet = false;
        } else if (c == '[') {
            inSet = true;
        } else if (c == '{') {
            brace = i;
            break;
        }
    }
    FindExpression e;
    std::string_view pattern = text.substr(0, brace);
    if (VisaRegex::compile(pattern, &e.regex_) != VI_SUCCESS) return VI_ERROR_INV_EXPR;
    if (brace != std::string_view::npos) {
        if (text.back() != '}') return VI_ERROR_INV_EXPR;
        std::string_view body = text.substr(brace + 1, text.size() - brace - 2);
        ClauseParser p{body};
        auto clause = p.orExpr();
        p.skip();
        if (p.failed || !clause || p.pos != body.size()) return VI_ERROR_INV_EXPR;
        e.clause_ = std::move(clause);
    }
    e.machine_ = std::string(machine);
    *out = std::move(e);
    return VI_SUCCESS;
}

bool FindExpression::matchesAttributes(const AttrLookup& lookup) const {
    return !clause_ || clause_->eval(lookup);
}

}  // namespace zuvisa

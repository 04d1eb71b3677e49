#include "zuvisa/bridgelets/sim/simdevice.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zuvisa::sim {

namespace {

constexpr uint8_t kEav = 0x04, kMav = 0x10, kEsb = 0x20, kRqs = 0x40;
constexpr uint8_t kEsrOpc = 0x01, kEsrQuery = 0x04, kEsrCommand = 0x20;
constexpr size_t kMaxInput = 1u << 20;
constexpr size_t kMaxQueued = 1024;
constexpr size_t kMaxRandomCount = 100000;

bool parseDouble(const std::string& s, double* v) {
    if (s.empty()) return false;
    char* end = nullptr;
    errno = 0;
    double d = strtod(s.c_str(), &end);
    while (end && (*end == ' ' || *end == '\t')) ++end;
    if (*end || errno == ERANGE) return false;
    *v = d;
    return true;
}

bool parseInteger(const std::string& s, long long* v) {
    if (s.empty()) return false;
    char* end = nullptr;
    errno = 0;
    long long i = strtoll(s.c_str(), &end, 10);
    if (*end || errno) return false;
    *v = i;
    return true;
}

std::string upper(std::string s) {
    for (char& c : s) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return s;
}

std::string trim(const std::string& s) {
    size_t b = s.find_first_not_of(" \t\r\n");
    if (b == std::string::npos) return std::string();
    size_t e = s.find_last_not_of(" \t\r\n");
    return s.substr(b, e - b + 1);
}

// Splits "{...}" out of a template: prefix, field spec (between ':' and '}'), suffix.
bool splitField(const std::string& pattern, std::string* prefix, std::string* spec, std::string* suffix) {
    size_t open = pattern.find('{');
    if (open == std::string::npos) return false;
    size_t close = pattern.find('}', open);
    if (close == std::string::npos) return false;
    *prefix = pattern.substr(0, open);
    std::string inside = pattern.substr(open + 1, close - open - 1);
    size_t colon = inside.find(':');
    *spec = colon == std::string::npos ? std::string() : inside.substr(colon + 1);
    *suffix = pattern.substr(close + 1);
    return true;
}

std::string replaceAll(std::string s, const std::string& from, const std::string& to) {
    if (from.empty()) return s;
    for (size_t pos = 0; (pos = s.find(from, pos)) != std::string::npos; pos += to.size()) {
        s.replace(pos, from.size(), to);
    }
    return s;
}

}  // namespace

// ---- formatting ------------------------------------------------------------------------------

bool formatValue(const std::string& spec, const std::string& value, std::string* out) {
    // [[fill]align][sign][#][0][width][.precision][type]
    size_t i = 0;
    char align = 0;
    if (spec.size() >= 2 && strchr("<>^=", spec[1])) {
        align = spec[1];
        i = 2;
    } else if (!spec.empty() && strchr("<>^=", spec[0])) {
        align = spec[0];
        i = 1;
    }
    std::string flags;
    while (i < spec.size() && strchr("+- #0", spec[i])) flags += spec[i++];
    int width = 0, precision = -1;
    while (i < spec.size() && isdigit(static_cast<unsigned char>(spec[i]))) {
        width = width * 10 + (spec[i++] - '0');
        if (width > 256) return false;
    }
    if (i < spec.size() && spec[i] == '.') {
        ++i;
        precision = 0;
        if (i >= spec.size() || !isdigit(static_cast<unsigned char>(spec[i]))) return false;
        while (i < spec.size() && isdigit(static_cast<unsigned char>(spec[i]))) {
            precision = precision * 10 + (spec[i++] - '0');
            if (precision > 64) return false;
        }
    }
    char type = i < spec.size() ? spec[i++] : 's';
    if (i != spec.size()) return false;
    if (align == '<') flags += '-';

    char fmt[64];
    char buf[512];
    std::string prec = precision >= 0 ? "." + std::to_string(precision) : std::string();
    switch (type) {
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G': {
        double d;
        if (!parseDouble(value, &d)) return false;
        snprintf(fmt, sizeof fmt, "%%%s%d%s%c", flags.c_str(), width, prec.c_str(), type);
        snprintf(buf, sizeof buf, fmt, d);
        break;
    }
    case 'd':
    case 'x':
    case 'X':
    case 'o': {
        double d;
        long long n;
        if (!parseInteger(value, &n)) {
            if (!parseDouble(value, &d) || !std::isfinite(d) || std::fabs(d) > 9.2e18) return false;
            n = std::llround(d);
        }
        snprintf(fmt, sizeof fmt, "%%%s%dll%c", flags.c_str(), width, type == 'd' ? 'd' : type);
        snprintf(buf, sizeof buf, fmt, n);
        break;
    }
    case 's': {
        std::string v = precision >= 0 ? value.substr(0, static_cast<size_t>(precision)) : value;
        if (static_cast<int>(v.size()) >= width) {
            *out = v;
            return true;
        }
        std::string pad(static_cast<size_t>(width) - v.size(), ' ');
        *out = align == '>' ? pad + v : v + pad;
        return true;
    }
    default: return false;
    }
    *out = buf;
    return true;
}

std::string formatResponse(const std::string& pattern, const std::string& value) {
    std::string prefix, spec, suffix, formatted;
    if (!splitField(pattern, &prefix, &spec, &suffix)) return pattern;
    if (!formatValue(spec, value, &formatted)) formatted = value;
    return prefix + formatted + suffix;
}

bool matchPattern(const std::string& pattern, const std::string& message, std::string* value) {
    std::string prefix, spec, suffix;
    if (!splitField(pattern, &prefix, &spec, &suffix)) return false;
    if (message.size() < prefix.size() + suffix.size()) return false;
    if (message.compare(0, prefix.size(), prefix) != 0) return false;
    if (message.compare(message.size() - suffix.size(), suffix.size(), suffix) != 0) return false;
    std::string v = message.substr(prefix.size(), message.size() - prefix.size() - suffix.size());
    if (v.empty()) return false;
    char type = spec.empty() ? 's' : spec.back();
    double d;
    long long n;
    if (strchr("fFeEgG", type) && !parseDouble(trim(v), &d)) return false;
    if (type == 'd' && !parseInteger(trim(v), &n)) return false;
    *value = strchr("s", type) ? v : trim(v);
    return true;
}

namespace {

// The trimmed items of a comma-separated list.
std::vector<std::string> commaList(const std::string& text) {
    std::vector<std::string> items;
    for (size_t p = 0;;) {
        size_t c = text.find(',', p);
        items.push_back(trim(text.substr(p, c == std::string::npos ? std::string::npos : c - p)));
        if (c == std::string::npos) return items;
        p = c + 1;
    }
}

// RANDOM(min, max[, count]): the arguments; false with a reason when they are malformed.
bool randomArgs(const std::string& args, double* lo, double* hi, long* count, std::string* why) {
    std::vector<std::string> parts = commaList(args);
    double n = 1;
    if (parts.size() < 2 || parts.size() > 3) {
        *why = "RANDOM needs min, max and a count";
        return false;
    }
    if (!parseDouble(parts[0], lo) || !parseDouble(parts[1], hi) || !std::isfinite(*lo) || !std::isfinite(*hi)) {
        *why = "RANDOM: min and max must be numbers";
        return false;
    }
    if (*hi < *lo) {
        *why = "RANDOM: min is above max";
        return false;
    }
    if (parts.size() == 3 && (!parseDouble(parts[2], &n) || n < 1 || n > kMaxRandomCount || n != std::floor(n))) {
        *why = "RANDOM: the count must be a whole number from 1 to " + std::to_string(kMaxRandomCount);
        return false;
    }
    *count = static_cast<long>(n);
    return true;
}

// Draws count values, each formatted by a replacement-field spec, joined by ", ".
bool drawRandom(double lo, double hi, long count, const std::string& spec, std::mt19937& rng, std::string* out,
                std::string* why) {
    std::uniform_real_distribution<double> dist(lo, hi);
    for (long k = 0; k < count; ++k) {
        char buf[64];
        snprintf(buf, sizeof buf, "%.12g", dist(rng));
        std::string formatted = buf;
        if (!spec.empty() && !formatValue(spec, buf, &formatted)) {
            *why = "RANDOM: the field format {:" + spec + "} does not fit a number";
            return false;
        }
        if (k) *out += ", ";
        *out += formatted;
    }
    return true;
}

// BYTES(...): hexadecimal digit pairs (white space between them ignored), or, when the list has
// commas, numbers from 0 to 255 each.
bool bytesBody(const std::string& body, std::string* out, std::string* why) {
    if (body.find(',') != std::string::npos) {
        for (const std::string& item : commaList(body)) {
            char* end = nullptr;
            errno = 0;
            long v = strtol(item.c_str(), &end, 0);
            if (item.empty() || *end || errno || v < 0 || v > 255) {
                *why = "BYTES: " + item + " is not a byte";
                return false;
            }
            out->push_back(static_cast<char>(v));
        }
        return true;
    }
    std::string digits;
    for (char c : body) {
        if (isspace(static_cast<unsigned char>(c))) continue;
        if (!isxdigit(static_cast<unsigned char>(c))) {
            *why = "BYTES: expected hexadecimal digits";
            return false;
        }
        digits += c;
    }
    if (digits.size() % 2) {
        *why = "BYTES: an odd number of hexadecimal digits";
        return false;
    }
    for (size_t i = 0; i < digits.size(); i += 2) out->push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return true;
}

bool expand(const std::string& text, std::mt19937& rng, std::string* out, std::string* why) {
    std::string result;
    size_t pos = 0;
    while (pos < text.size()) {
        bool field = text.compare(pos, 8, "{RANDOM(") == 0;
        bool bare = text.compare(pos, 7, "RANDOM(") == 0;
        bool bytes = text.compare(pos, 6, "BYTES(") == 0;
        if (!field && !bare && !bytes) {
            result += text[pos++];
            continue;
        }
        size_t open = pos + (field ? 8 : bare ? 7 : 6);
        size_t close = text.find(')', open);
        if (close == std::string::npos) {
            *why = std::string(bytes ? "BYTES" : "RANDOM") + ": no closing parenthesis";
            return false;
        }
        std::string args = text.substr(open, close - open);
        if (bytes) {
            if (args.empty()) {  // "BYTES()" stands for itself
                result += "BYTES()";
            } else if (!bytesBody(args, &result, why)) {
                return false;
            }
            pos = close + 1;
            continue;
        }
        double lo = 0, hi = 0;
        long count = 1;
        if (!randomArgs(args, &lo, &hi, &count, why)) return false;
        std::string spec;
        pos = close + 1;
        if (field) {
            // {RANDOM(min, max, count):spec}
            size_t end = text.find('}', pos);
            if (end == std::string::npos || (end > pos && text[pos] != ':')) {
                *why = "RANDOM: the field is not closed by }";
                return false;
            }
            if (end > pos) spec = text.substr(pos + 1, end - pos - 1);
            pos = end + 1;
        }
        if (!drawRandom(lo, hi, count, spec, rng, &result, why)) return false;
    }
    *out = std::move(result);
    return true;
}

}  // namespace

bool expandResponse(const std::string& text, std::mt19937& rng, std::string* out) {
    std::string why;
    return expand(text, rng, out, &why);
}

bool checkResponse(const std::string& text, std::string* why) {
    std::mt19937 rng(0);
    std::string out;
    return expand(text, rng, &out, why);
}

std::string expandRandomFields(const std::string& text, std::mt19937& rng) {
    if (text.find("{RANDOM(") == std::string::npos) return text;
    std::string out;
    return expandResponse(text, rng, &out) ? out : text;
}

// ---- device ----------------------------------------------------------------------------------

Device::Device(std::shared_ptr<const DeviceDef> def, const std::string& interfaceKey,
               std::shared_ptr<Sinks> sinks)
    : def_(std::move(def)), sinks_(std::move(sinks)), rng_(0x5eed) {
    auto it = def_->eom.find(interfaceKey);
    if (it != def_->eom.end()) eom_ = it->second;
    announceBytes_ = interfaceKey.rfind("ASRL", 0) == 0;
    reset();
    registers_.assign(def_->statusRegisters.size(), 0);
    queues_.assign(def_->errorQueues.size(), {});
}

void Device::reset() {
    props_.clear();
    for (const PropertyDef& p : def_->properties) props_[p.name] = p.defaultValue;
    channelProps_.assign(def_->channels.size(), {});
    for (size_t c = 0; c < def_->channels.size(); ++c) {
        for (const std::string& id : def_->channels[c].ids) {
            for (const PropertyDef& p : def_->channels[c].properties) channelProps_[c][id][p.name] = p.defaultValue;
        }
    }
}

void Device::attach(EventSink* sink) { sinks_->attach(sink); }

void Device::detach(EventSink* sink) { sinks_->detach(sink); }

void Device::setActionStarter(std::function<void(size_t)> starter) {
    std::lock_guard<std::mutex> lock(m_);
    startAction_ = std::move(starter);
}

void Device::startActions(ActionDef::When when, const std::string& command) {
    if (!startAction_) return;
    for (size_t i = 0; i < def_->actions.size(); ++i) {
        const ActionDef& a = def_->actions[i];
        if (a.when == when && (when != ActionDef::When::Command || a.command == command)) startAction_(i);
    }
}

void Device::perform(const ActionDef& action, const EventData& event) {
    std::lock_guard<std::mutex> lock(m_);
    if (action.esr >= 0) esr_ |= static_cast<uint8_t>(action.esr);
    if (action.hasSend) {
        std::string expanded;
        if (!expandResponse(action.send, rng_, &expanded)) expanded = action.send;
        queueOutput(expanded + eom_.r);
    }
    if (action.raise == VI_EVENT_SERVICE_REQ) {
        // A service request asked for by the device itself, whatever its enable mask says.
        rqs_ = true;
        sinks_->raise(event);
    } else if (action.raise) {
        sinks_->raise(event);
    }
    updateServiceRequest();
}

void Device::setRemote(bool remote, bool lockout) {
    std::lock_guard<std::mutex> lock(m_);
    remote_ = remote;
    lockout_ = lockout;
}

bool Device::remote() const {
    std::lock_guard<std::mutex> lock(m_);
    return remote_;
}

bool Device::lockedOut() const {
    std::lock_guard<std::mutex> lock(m_);
    return lockout_;
}

bool Device::serviceRequested() const {
    std::lock_guard<std::mutex> lock(m_);
    return rqs_;
}

size_t Device::pendingOutput() const {
    std::lock_guard<std::mutex> lock(m_);
    size_t n = 0;
    for (const Outgoing& o : output_) n += o.bytes.size() - o.pos;
    return n;
}

void Device::breakReceived() {
    std::lock_guard<std::mutex> lock(m_);
    input_.clear();
}

uint8_t Device::statusByte() const {
    uint8_t b = def_->statusByte & static_cast<uint8_t>(~(kEav | kMav | kEsb | kRqs));
    if (!output_.empty()) b |= kMav;
    if (esr_ & ese_) b |= kEsb;
    for (const auto& q : queues_) {
        if (!q.empty()) b |= kEav;
    }
    return b;
}

void Device::updateServiceRequest() {
    bool summary = (statusByte() & sre_ & ~kRqs) != 0;
    if (summary && !summary_) {
        rqs_ = true;
        EventData e;
        e.type = VI_EVENT_SERVICE_REQ;
        sinks_->raise(e);
    }
    summary_ = summary;
}

void Device::queueOutput(std::string bytes) {
    if (output_.size() >= kMaxQueued) output_.pop_front();  // an unread backlog is not kept forever
    if (announceBytes_ && !bytes.empty()) {
        EventData e;
        e.type = kBytesArrived;
        e.texts.emplace_back(0, bytes);
        sinks_->raise(e);
    }
    output_.push_back({std::move(bytes), 0});
    cv_.notify_all();
}

void Device::recordError(const char* kind) {
    esr_ |= std::string(kind) == "query_error" ? kEsrQuery : kEsrCommand;
    for (size_t i = 0; i < def_->statusRegisters.size(); ++i) {
        for (const auto& [k, v] : def_->statusRegisters[i].bits) {
            if (k == kind) registers_[i] |= v;
        }
    }
    for (size_t i = 0; i < def_->errorQueues.size(); ++i) {
        for (const auto& [k, text] : def_->errorQueues[i].messages) {
            if (k == kind && queues_[i].size() < kMaxQueued) queues_[i].push_back(text);
        }
    }
}

Device::Answer Device::properties(const std::vector<PropertyDef>& defs,
                                  std::map<std::string, std::string>& values,
                                  const std::string& command, const std::string& chId) {
    for (const PropertyDef& p : defs) {
        if (p.hasGetter && replaceAll(p.getter.q, "{ch_id}", chId) == command) {
            Answer a{true, std::nullopt};
            if (p.getter.hasResponse) {
                a.response = formatResponse(expandRandomFields(replaceAll(p.getter.r, "{ch_id}", chId), rng_), values[p.name]);
            }
            return a;
        }
    }
    for (const PropertyDef& p : defs) {
        std::string value;
        if (!p.hasSetter || !matchPattern(replaceAll(p.setter.q, "{ch_id}", chId), command, &value)) continue;
        bool ok = true;
        double d = 0;
        long long n = 0;
        if (p.specs.type == Specs::Int) {
            ok = parseInteger(value, &n);
            d = static_cast<double>(n);
        }
        if (p.specs.type == Specs::Float) ok = parseDouble(value, &d);
        if (ok && p.specs.hasMin && d < p.specs.min) ok = false;
        if (ok && p.specs.hasMax && d > p.specs.max) ok = false;
        if (ok && !p.specs.valid.empty()) {
            ok = false;
            for (const std::string& v : p.specs.valid) {
                double dv;
                if (v == value || (p.specs.type != Specs::Text && parseDouble(v, &dv) && dv == d)) ok = true;
            }
        }
        Answer a{true, std::nullopt};
        if (!ok) {
            // The refusal is answered and queued both, as an unknown command is.
            recordError("command_error");
            if (p.hasSetterError) a.response = p.setterError;
            else if (def_->hasCommandError) a.response = def_->commandError;
            if (a.response == kNullResponse) a.response.reset();
            return a;
        }
        // Whole numbers are kept in one spelling, so that "02" selects channel 2.
        values[p.name] = p.specs.type == Specs::Int ? std::to_string(n) : value;
        if (p.setter.hasResponse) a.response = p.setter.r;
        return a;
    }
    return {};
}

Device::Answer Device::channels(const std::string& command) {
    for (size_t c = 0; c < def_->channels.size(); ++c) {
        const ChannelsDef& ch = def_->channels[c];
        std::vector<std::string> ids;
        if (ch.canSelect) {
            // The device's own selected_channel property picks the channel that commands address.
            auto sel = props_.find("selected_channel");
            if (sel == props_.end()) continue;
            if (std::find(ch.ids.begin(), ch.ids.end(), sel->second) == ch.ids.end()) continue;
            ids.push_back(sel->second);
        } else {
            ids = ch.ids;
        }
        for (const std::string& id : ids) {
            for (const QueryResponse& d : ch.dialogues) {
                if (replaceAll(d.q, "{ch_id}", id) == command) {
                    Answer a{true, std::nullopt};
                    if (d.hasResponse) a.response = replaceAll(d.r, "{ch_id}", id);
                    return a;
                }
            }
            Answer a = properties(ch.properties, channelProps_[c][id], command, id);
            if (a.handled) return a;
        }
    }
    return {};
}

Device::Answer Device::common(const std::string& command) {
    std::string cmd = upper(trim(command));
    std::string head = cmd.substr(0, cmd.find(' '));
    std::string arg = cmd.size() > head.size() ? trim(cmd.substr(head.size())) : std::string();
    auto byteArg = [&](uint8_t* target) {
        long long v;
        if (!parseInteger(arg, &v) || v < 0 || v > 255) {
            recordError("command_error");
            return;
        }
        *target = static_cast<uint8_t>(v);
    };
    Answer a{true, std::nullopt};
    if (head == "*CLS") {
        esr_ = 0;
        for (auto& q : queues_) q.clear();
        for (auto& r : registers_) r = 0;
    } else if (head == "*ESE") {
        byteArg(&ese_);
    } else if (head == "*ESE?") {
        a.response = std::to_string(ese_);
    } else if (head == "*ESR?") {
        a.response = std::to_string(esr_);
        esr_ = 0;
    } else if (head == "*SRE") {
        byteArg(&sre_);
        sre_ &= static_cast<uint8_t>(~kRqs);
    } else if (head == "*SRE?") {
        a.response = std::to_string(sre_);
    } else if (head == "*STB?") {
        uint8_t b = statusByte();
        if (b & sre_ & ~kRqs) b |= kRqs;  // MSS
        a.response = std::to_string(b);
    } else if (head == "*OPC") {
        esr_ |= kEsrOpc;
    } else if (head == "*OPC?") {
        a.response = "1";
    } else if (head == "*TRG") {
        doTrigger();
    } else if (head == "*RST") {
        reset();
    } else if (head == "*WAI") {
    } else if (head == "*IDN?") {
        a.response = "ZU Instruments,SIM-" + def_->name + ",0,1.0";
    } else {
        return {};
    }
    return a;
}

Device::Answer Device::processOne(const std::string& command) {
    for (size_t i = 0; i < def_->statusRegisters.size(); ++i) {
        if (def_->statusRegisters[i].q == command) {
            Answer a{true, std::to_string(registers_[i])};
            registers_[i] = 0;
            return a;
        }
    }
    for (size_t i = 0; i < def_->errorQueues.size(); ++i) {
        if (def_->errorQueues[i].q == command) {
            Answer a{true, def_->errorQueues[i].defaultText};
            if (!queues_[i].empty()) {
                a.response = queues_[i].front();
                queues_[i].pop_front();
            }
            return a;
        }
    }
    for (const QueryResponse& d : def_->dialogues) {
        if (d.q == command) {
            Answer a{true, std::nullopt};
            if (d.hasResponse) a.response = d.r;
            return a;
        }
    }
    Answer a = properties(def_->properties, props_, command, std::string());
    if (a.handled) return a;
    a = channels(command);
    if (a.handled) return a;
    if (def_->ieee4882) {
        a = common(command);
        if (a.handled) return a;
    }
    recordError("command_error");
    a = Answer{true, std::nullopt};
    if (def_->hasCommandError) a.response = def_->commandError;
    return a;
}

std::optional<std::string> Device::processMessage(const std::string& message) {
    std::vector<std::string> parts;
    if (def_->delimiter.empty()) {
        parts.push_back(message);
    } else {
        size_t pos = 0;
        for (;;) {
            size_t d = message.find(def_->delimiter, pos);
            parts.push_back(message.substr(pos, d == std::string::npos ? std::string::npos : d - pos));
            if (d == std::string::npos) break;
            pos = d + def_->delimiter.size();
        }
    }
    std::optional<std::string> joined;
    for (const std::string& raw : parts) {
        // Instruments ignore the white space around a command, such as a carriage return
        // left over from a line ending that the device does not expect.
        std::string part = trim(raw);
        if (part.empty()) continue;
        Answer a = processOne(part);
        startActions(ActionDef::When::Command, part);
        if (!a.response) continue;
        std::string expanded;
        if (!expandResponse(*a.response, rng_, &expanded)) expanded = *a.response;
        joined = joined ? *joined + def_->delimiter + expanded : expanded;
    }
    return joined;
}

void Device::handleMessage(const std::string& message) {
    std::optional<std::string> r = processMessage(message);
    if (r) queueOutput(*r + eom_.r);
    updateServiceRequest();
}

std::optional<std::string> Device::query(const std::string& message) {
    std::lock_guard<std::mutex> lock(m_);
    std::optional<std::string> r = processMessage(message);
    updateServiceRequest();
    return r;
}

ViStatus Device::write(const ViByte* buf, size_t count, bool end, size_t* done) {
    std::lock_guard<std::mutex> lock(m_);
    if (input_.size() + count > kMaxInput) {
        input_.clear();  // an endless message is dropped, as a real input buffer would overflow
        *done = 0;
        return VI_ERROR_IO;
    }
    input_.append(reinterpret_cast<const char*>(buf), count);
    *done = count;
    if (!eom_.q.empty()) {
        size_t pos;
        while ((pos = input_.find(eom_.q)) != std::string::npos) {
            std::string message = input_.substr(0, pos);
            input_.erase(0, pos + eom_.q.size());
            handleMessage(message);
        }
    }
    if (end && !input_.empty()) {
        std::string message;
        message.swap(input_);
        handleMessage(message);
    }
    return VI_SUCCESS;
}

ViStatus Device::read(ViByte* buf, size_t count, const ReadOptions& opt, const IoControl& io,
                      size_t* done) {
    std::unique_lock<std::mutex> lock(m_);
    size_t got = 0;
    bool queryErrorGiven = false;
    for (;;) {
        while (!output_.empty() && got < count) {
            Outgoing& o = output_.front();
            ViByte c = static_cast<ViByte>(o.bytes[o.pos++]);
            buf[got++] = c;
            bool last = o.pos >= o.bytes.size();
            if (last) {
                output_.pop_front();
                updateServiceRequest();
                if (!opt.suppressEnd) {
                    *done = got;
                    return VI_SUCCESS;
                }
            }
            if (opt.termCharEnabled && c == opt.termChar) {
                *done = got;
                return VI_SUCCESS_TERM_CHAR;
            }
        }
        if (got >= count) {
            *done = got;
            return VI_SUCCESS_MAX_CNT;
        }
        // Nothing to read: a device with a query error answers it once, others time out.
        if (got == 0 && def_->hasQueryError && !queryErrorGiven) {
            queryErrorGiven = true;
            recordError("query_error");
            queueOutput(def_->queryError + eom_.r);
            continue;
        }
        if (io.cancelled()) {
            *done = got;
            return VI_ERROR_ABORT;
        }
        if (io.expired()) {
            *done = got;
            return VI_ERROR_TMO;
        }
        auto slice = std::chrono::milliseconds(5);
        if (!io.infinite) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(io.deadline - Clock::now());
            if (left < slice) slice = std::max(left, std::chrono::milliseconds(1));
        }
        cv_.wait_for(lock, slice);
    }
}

ViStatus Device::clear() {
    std::lock_guard<std::mutex> lock(m_);
    input_.clear();
    output_.clear();
    updateServiceRequest();
    return VI_SUCCESS;
}

ViStatus Device::readStb(ViUInt16* stb) {
    std::lock_guard<std::mutex> lock(m_);
    uint8_t b = statusByte();
    if (rqs_) b |= kRqs;
    rqs_ = false;  // a serial poll clears the request
    *stb = b;
    return VI_SUCCESS;
}

void Device::doTrigger() {
    startActions(ActionDef::When::Trigger, std::string());
    if (def_->hasTriggerResponse) {
        std::string expanded;
        if (!expandResponse(def_->triggerResponse, rng_, &expanded)) expanded = def_->triggerResponse;
        queueOutput(expanded + eom_.r);
    }
}

ViStatus Device::trigger(ViUInt16 protocol) {
    if (protocol != VI_TRIG_PROT_DEFAULT) return VI_ERROR_INV_PROT;
    std::lock_guard<std::mutex> lock(m_);
    doTrigger();
    updateServiceRequest();
    return VI_SUCCESS;
}

}  // namespace zuvisa::sim

// YAML loading of device files. Every field is checked for its type and size; anything else
// fails with VI_ERROR_INV_SETUP and a reason naming the place.
#include "zuvisa/bridgelets/sim/devicefile.h"

#include <yaml-cpp/yaml.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace zuvisa::sim {

namespace {

constexpr int kMaxIncludeDepth = 4;
constexpr int kMaxNesting = 48;
constexpr size_t kMaxEntries = 10000;

struct Invalid {
    std::string what;
};

[[noreturn]] void fail(const std::string& what) { throw Invalid{what}; }

std::string scalar(const YAML::Node& n, const std::string& where) {
    if (!n.IsScalar()) fail(where + ": expected a text or number");
    const std::string& s = n.Scalar();
    if (s.size() > kMaxTextLength) fail(where + ": text too long");
    return s;
}

std::string optionalScalar(const YAML::Node& map, const char* key, const std::string& where,
                           bool* present = nullptr) {
    YAML::Node n = map[key];
    if (present) *present = n.IsDefined() && !n.IsNull();
    if (!n.IsDefined() || n.IsNull()) return std::string();
    return scalar(n, where + "." + key);
}

bool boolean(const YAML::Node& n, const std::string& where) {
    std::string s = scalar(n, where);
    if (s == "true" || s == "True" || s == "TRUE" || s == "yes" || s == "on") return true;
    if (s == "false" || s == "False" || s == "FALSE" || s == "no" || s == "off") return false;
    fail(where + ": expected true or false");
}

double number(const YAML::Node& n, const std::string& where) {
    std::string s = scalar(n, where);
    char* end = nullptr;
    double v = strtod(s.c_str(), &end);
    if (s.empty() || *end) fail(where + ": expected a number");
    return v;
}

long integer(const YAML::Node& n, const std::string& where) {
    std::string s = scalar(n, where);
    char* end = nullptr;
    errno = 0;
    long v = strtol(s.c_str(), &end, 0);
    if (s.empty() || *end || errno) fail(where + ": expected an integer");
    return v;
}

void requireMap(const YAML::Node& n, const std::string& where) {
    if (!n.IsMap()) fail(where + ": expected a mapping");
    if (n.size() > kMaxEntries) fail(where + ": too many entries");
}

void requireSeq(const YAML::Node& n, const std::string& where) {
    if (!n.IsSequence()) fail(where + ": expected a list");
    if (n.size() > kMaxEntries) fail(where + ": too many entries");
}

QueryResponse pair(const YAML::Node& n, const std::string& where) {
    requireMap(n, where);
    QueryResponse qr;
    bool hasQ = false;
    qr.q = optionalScalar(n, "q", where, &hasQ);
    if (!hasQ || qr.q.empty()) fail(where + ": needs a non-empty q");
    qr.r = optionalScalar(n, "r", where, &qr.hasResponse);
    return qr;
}

std::vector<QueryResponse> dialogues(const YAML::Node& n, const std::string& where) {
    std::vector<QueryResponse> out;
    if (!n.IsDefined() || n.IsNull()) return out;
    requireSeq(n, where);
    for (size_t i = 0; i < n.size(); ++i) out.push_back(pair(n[i], where + "[" + std::to_string(i) + "]"));
    return out;
}

Specs specs(const YAML::Node& n, const std::string& where) {
    Specs s;
    if (!n.IsDefined() || n.IsNull()) return s;
    requireMap(n, where);
    if (n["min"].IsDefined()) {
        s.hasMin = true;
        s.min = number(n["min"], where + ".min");
    }
    if (n["max"].IsDefined()) {
        s.hasMax = true;
        s.max = number(n["max"], where + ".max");
    }
    if (YAML::Node v = n["valid"]; v.IsDefined()) {
        requireSeq(v, where + ".valid");
        for (size_t i = 0; i < v.size(); ++i) s.valid.push_back(scalar(v[i], where + ".valid"));
    }
    std::string type = optionalScalar(n, "type", where);
    if (type == "int") s.type = Specs::Int;
    else if (type == "float") s.type = Specs::Float;
    else if (type.empty() || type == "str") s.type = (s.hasMin || s.hasMax) && type.empty() ? Specs::Float : Specs::Text;
    else fail(where + ".type: expected int, float or str");
    return s;
}

std::vector<PropertyDef> properties(const YAML::Node& n, const std::string& where) {
    std::vector<PropertyDef> out;
    if (!n.IsDefined() || n.IsNull()) return out;
    requireMap(n, where);
    for (const auto& kv : n) {
        PropertyDef p;
        p.name = scalar(kv.first, where);
        std::string at = where + "." + p.name;
        const YAML::Node& body = kv.second;
        requireMap(body, at);
        p.defaultValue = optionalScalar(body, "default", at);
        if (YAML::Node g = body["getter"]; g.IsDefined()) {
            p.getter = pair(g, at + ".getter");
            p.hasGetter = true;
        }
        if (YAML::Node st = body["setter"]; st.IsDefined()) {
            p.setter = pair(st, at + ".setter");
            p.setterError = optionalScalar(st, "e", at + ".setter", &p.hasSetterError);
            p.hasSetter = true;
        }
        p.specs = specs(body["specs"], at + ".specs");
        out.push_back(std::move(p));
    }
    return out;
}

void errors(const YAML::Node& n, DeviceDef& d, const std::string& where) {
    if (!n.IsDefined() || n.IsNull()) return;
    if (n.IsScalar()) {
        d.commandError = scalar(n, where);
        d.hasCommandError = true;
        return;
    }
    requireMap(n, where);
    if (YAML::Node r = n["response"]; r.IsDefined()) {
        requireMap(r, where + ".response");
        d.commandError = optionalScalar(r, "command_error", where + ".response", &d.hasCommandError);
        d.queryError = optionalScalar(r, "query_error", where + ".response", &d.hasQueryError);
    }
    if (YAML::Node regs = n["status_register"]; regs.IsDefined()) {
        requireSeq(regs, where + ".status_register");
        for (size_t i = 0; i < regs.size(); ++i) {
            std::string at = where + ".status_register[" + std::to_string(i) + "]";
            requireMap(regs[i], at);
            StatusRegisterDef reg;
            for (const auto& kv : regs[i]) {
                std::string key = scalar(kv.first, at);
                if (key == "q") reg.q = scalar(kv.second, at + ".q");
                else reg.bits.emplace_back(key, integer(kv.second, at + "." + key));
            }
            if (reg.q.empty()) fail(at + ": needs q");
            d.statusRegisters.push_back(std::move(reg));
        }
    }
    if (YAML::Node queues = n["error_queue"]; queues.IsDefined()) {
        requireSeq(queues, where + ".error_queue");
        for (size_t i = 0; i < queues.size(); ++i) {
            std::string at = where + ".error_queue[" + std::to_string(i) + "]";
            requireMap(queues[i], at);
            ErrorQueueDef q;
            for (const auto& kv : queues[i]) {
                std::string key = scalar(kv.first, at);
                if (key == "q") q.q = scalar(kv.second, at + ".q");
                else if (key == "default") q.defaultText = scalar(kv.second, at + ".default");
                else q.messages.emplace_back(key, scalar(kv.second, at + "." + key));
            }
            if (q.q.empty()) fail(at + ": needs q");
            d.errorQueues.push_back(std::move(q));
        }
    }
}

DeviceDef device(const std::string& name, const YAML::Node& n, const std::string& where) {
    requireMap(n, where);
    DeviceDef d;
    d.name = name;
    bool hasDelimiter = false;
    std::string delimiter = optionalScalar(n, "delimiter", where, &hasDelimiter);
    if (hasDelimiter) d.delimiter = delimiter;
    if (YAML::Node eom = n["eom"]; eom.IsDefined() && !eom.IsNull()) {
        requireMap(eom, where + ".eom");
        for (const auto& kv : eom) {
            std::string type = scalar(kv.first, where + ".eom");
            std::string at = where + ".eom." + type;
            requireMap(kv.second, at);
            Eom e;
            e.q = optionalScalar(kv.second, "q", at);
            e.r = optionalScalar(kv.second, "r", at);
            d.eom[type] = e;
        }
    }
    errors(n["error"], d, where + ".error");
    d.dialogues = dialogues(n["dialogues"], where + ".dialogues");
    d.properties = properties(n["properties"], where + ".properties");
    if (YAML::Node ch = n["channels"]; ch.IsDefined() && !ch.IsNull()) {
        requireMap(ch, where + ".channels");
        for (const auto& kv : ch) {
            ChannelsDef c;
            c.name = scalar(kv.first, where + ".channels");
            std::string at = where + ".channels." + c.name;
            requireMap(kv.second, at);
            YAML::Node ids = kv.second["ids"];
            requireSeq(ids, at + ".ids");
            for (size_t i = 0; i < ids.size(); ++i) c.ids.push_back(scalar(ids[i], at + ".ids"));
            if (c.ids.empty()) fail(at + ".ids: needs at least one id");
            if (YAML::Node cs = kv.second["can_select"]; cs.IsDefined()) c.canSelect = boolean(cs, at + ".can_select");
            c.dialogues = dialogues(kv.second["dialogues"], at + ".dialogues");
            c.properties = properties(kv.second["properties"], at + ".properties");
            d.channels.push_back(std::move(c));
        }
    }
    if (YAML::Node x = n["ieee4882"]; x.IsDefined()) d.ieee4882 = boolean(x, where + ".ieee4882");
    if (YAML::Node t = n["trigger"]; t.IsDefined()) {
        requireMap(t, where + ".trigger");
        d.triggerResponse = optionalScalar(t, "r", where + ".trigger", &d.hasTriggerResponse);
    }
    if (YAML::Node sb = n["status_byte"]; sb.IsDefined()) {
        long v = integer(sb, where + ".status_byte");
        if (v < 0 || v > 255) fail(where + ".status_byte: must be 0 to 255");
        d.statusByte = static_cast<ViUInt8>(v);
    }
    return d;
}

// Flow collections and indentation are bounded before yaml-cpp sees the text, whose parser
// recurses once per level.
bool nestingTooDeep(std::string_view text) {
    int depth = 0;
    size_t indent = 0;
    bool lineStart = true;
    for (char c : text) {
        if (c == '\n') {
            lineStart = true;
            indent = 0;
            continue;
        }
        if (lineStart && (c == ' ' || c == '-')) {
            if (++indent > 2u * kMaxNesting) return true;
            continue;
        }
        lineStart = false;
        if (c == '[' || c == '{') {
            if (++depth > kMaxNesting) return true;
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return false;
}

bool readFile(const std::string& path, std::string* text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    in.seekg(0, std::ios::end);
    std::streamoff size = in.tellg();
    if (size < 0 || static_cast<size_t>(size) > kMaxDeviceFileSize) return false;
    in.seekg(0);
    text->assign(static_cast<size_t>(size), '\0');
    in.read(text->data(), size);
    return static_cast<bool>(in);
}

ViStatus parse(std::string_view text, const std::string& baseDir, int depth, DeviceFile* out,
               std::string* problem);

void parseInto(std::string_view text, const std::string& baseDir, int depth, DeviceFile& file) {
    if (text.size() > kMaxDeviceFileSize) fail("file too large");
    if (nestingTooDeep(text)) fail("nesting too deep");
    YAML::Node root = YAML::Load(std::string(text));
    requireMap(root, "file");
    if (YAML::Node spec = root["spec"]; spec.IsDefined()) {
        std::string v = scalar(spec, "spec");
        if (v.empty() || v[0] != '1') fail("spec: version " + v + " is not supported");
    }
    if (YAML::Node devs = root["devices"]; devs.IsDefined() && !devs.IsNull()) {
        requireMap(devs, "devices");
        for (const auto& kv : devs) {
            std::string name = scalar(kv.first, "devices");
            if (file.device(name)) fail("devices." + name + ": defined twice");
            file.devices.push_back(device(name, kv.second, "devices." + name));
        }
    }
    if (YAML::Node res = root["resources"]; res.IsDefined() && !res.IsNull()) {
        requireMap(res, "resources");
        for (const auto& kv : res) {
            ResourceDef r;
            r.name = scalar(kv.first, "resources");
            std::string at = "resources." + r.name;
            requireMap(kv.second, at);
            r.device = optionalScalar(kv.second, "device", at);
            if (r.device.empty()) fail(at + ": needs a device");
            std::string other = optionalScalar(kv.second, "filename", at);
            if (YAML::Node attrs = kv.second["attributes"]; attrs.IsDefined()) {
                requireMap(attrs, at + ".attributes");
                for (const auto& a : attrs) {
                    r.attributes.emplace_back(scalar(a.first, at + ".attributes"),
                                              scalar(a.second, at + ".attributes"));
                }
            }
            if (!other.empty()) {
                // The device comes from another file; it joins this one under a private name.
                if (baseDir.empty()) fail(at + ": references to other files are not allowed here");
                if (depth >= kMaxIncludeDepth) fail(at + ": files refer to each other too deeply");
                std::string path = other[0] == '/' ? other : baseDir + "/" + other;
                std::string content;
                if (!readFile(path, &content)) fail(at + ": cannot read " + path);
                DeviceFile sub;
                std::string why;
                size_t slash = path.rfind('/');
                if (parse(content, path.substr(0, slash), depth + 1, &sub, &why) != VI_SUCCESS) {
                    fail(path + ": " + why);
                }
                const DeviceDef* d = sub.device(r.device);
                if (!d) fail(at + ": " + path + " has no device " + r.device);
                DeviceDef copy = *d;
                copy.name = path + "#" + r.device;
                r.device = copy.name;
                if (!file.device(copy.name)) file.devices.push_back(std::move(copy));
            } else if (!file.device(r.device)) {
                fail(at + ": no device named " + r.device);
            }
            file.resources.push_back(std::move(r));
        }
    }
}

ViStatus parse(std::string_view text, const std::string& baseDir, int depth, DeviceFile* out,
               std::string* problem) {
    DeviceFile file;
    try {
        parseInto(text, baseDir, depth, file);
    } catch (const Invalid& e) {
        if (problem) *problem = e.what;
        return VI_ERROR_INV_SETUP;
    } catch (const YAML::Exception& e) {
        if (problem) *problem = std::string("YAML: ") + e.what();
        return VI_ERROR_INV_SETUP;
    } catch (const std::exception& e) {
        if (problem) *problem = e.what();
        return VI_ERROR_INV_SETUP;
    }
    *out = std::move(file);
    return VI_SUCCESS;
}

}  // namespace

const DeviceDef* DeviceFile::device(const std::string& name) const {
    for (const DeviceDef& d : devices) {
        if (d.name == name) return &d;
    }
    return nullptr;
}

ViStatus parseDeviceText(std::string_view text, const std::string& baseDir, DeviceFile* out,
                         std::string* problem) {
    return parse(text, baseDir, 0, out, problem);
}

ViStatus loadDeviceFile(const std::string& path, DeviceFile* out, std::string* problem) {
    std::string text;
    if (!readFile(path, &text)) {
        if (problem) *problem = "cannot read " + path;
        return VI_ERROR_FILE_ACCESS;
    }
    size_t slash = path.rfind('/');
    std::string base = slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
    return parse(text, base, 0, out, problem);
}

}  // namespace zuvisa::sim

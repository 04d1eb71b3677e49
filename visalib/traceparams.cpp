#include "visalib/traceparams.h"

#include <cctype>
#include <cstring>
#include <vector>

namespace visatrace {

namespace {

struct Declared {
    const char* name;
    const char* params;
    bool hasStatus;
};

const Declared kDeclared[] = {
#define VISA_FUNCTION(name, params, args) {#name, #params, true},
#define VISA_VOID_FUNCTION(name, params, args) {#name, #params, false},
#include "visalib/visafunctions.h"
#undef VISA_FUNCTION
#undef VISA_VOID_FUNCTION
    // What an event handler is given.
    {"handler", "(ViSession vi, ViEventType eventType, ViEvent context, ViAddr userHandle)", true},
};
static_assert(sizeof kDeclared / sizeof kDeclared[0] == VisaTrace_functionCount);

struct TypeKind {
    const char* type;
    ArgKind kind;
    uint8_t width;
};

const TypeKind kTypeKinds[] = {
    {"ViSession", ArgKind::Handle, 4},         {"ViObject", ArgKind::Handle, 4},
    {"ViFindList", ArgKind::Handle, 4},        {"ViEvent", ArgKind::Handle, 4},
    {"ViPSession", ArgKind::OutHandle, 4},     {"ViPFindList", ArgKind::OutHandle, 4},
    {"ViPEvent", ArgKind::OutHandle, 4},       {"ViPJobId", ArgKind::OutUnsigned, 4},
    {"ViPUInt8", ArgKind::OutUnsigned, 1},     {"ViPUInt16", ArgKind::OutUnsigned, 2},
    {"ViPUInt32", ArgKind::OutUnsigned, 4},    {"ViPUInt64", ArgKind::OutUnsigned, 8},
    {"ViPBusAddress", ArgKind::OutUnsigned, 8}, {"ViPBusAddress64", ArgKind::OutUnsigned, 8},
    {"ViPAddr", ArgKind::OutPointer, 8},       {"ViPEventType", ArgKind::OutEventType, 4},
    {"ViConstString", ArgKind::InText, 0},     {"ViConstRsrc", ArgKind::InText, 0},
    {"ViConstKeyId", ArgKind::InText, 0},      {"ViChar", ArgKind::OutText, 0},
    {"ViAttr", ArgKind::Attr, 4},              {"ViAttrState", ArgKind::AttrState, 8},
    {"void *", ArgKind::AttrValue, 0},         {"ViEventType", ArgKind::EventType, 4},
    {"ViConstBuf", ArgKind::InBuffer, 0},      {"ViPBuf", ArgKind::OutBuffer, 0},
    {"ViAUInt8", ArgKind::OutBuffer, 1},       {"ViAUInt16", ArgKind::OutBuffer, 2},
    {"ViAUInt32", ArgKind::OutBuffer, 4},      {"ViAUInt64", ArgKind::OutBuffer, 8},
    {"ViAddr", ArgKind::Pointer, 8},           {"ViHndlr", ArgKind::Pointer, 8},
    {"ViStatus", ArgKind::Status, 4},          {"ViInt16", ArgKind::Signed, 2},
    {"ViInt32", ArgKind::Signed, 4},
};

std::string trim(const std::string& s) {
    size_t b = 0, e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
    return s.substr(b, e - b);
}

// "ViChar desc[]" -> type "ViChar", name "desc"; "void * attrValue" -> "void *", "attrValue".
ArgSpec parseParameter(const std::string& text) {
    std::string t = trim(text);
    if (t.size() > 2 && t.compare(t.size() - 2, 2, "[]") == 0) t = trim(t.substr(0, t.size() - 2));
    size_t end = t.size();
    size_t begin = end;
    while (begin > 0 && (std::isalnum(static_cast<unsigned char>(t[begin - 1])) || t[begin - 1] == '_')) --begin;
    ArgSpec a;
    a.name = t.substr(begin);
    a.type = trim(t.substr(0, begin));
    a.kind = ArgKind::Unsigned;
    a.width = 8;
    a.setOnFailure = a.name == "retCnt";
    for (const TypeKind& k : kTypeKinds)
        if (a.type == k.type) {
            a.kind = k.kind;
            a.width = k.width;
        }
    return a;
}

int indexOf(const FunctionSpec& f, const char* name) {
    for (int i = 0; i < f.argCount; ++i)
        if (f.args[i].name == name) return i;
    return -1;
}

// Where the data buffer of a function is and what counts it: bytes read are counted by what the
// call returns, bytes written by what it is given, moved elements by their number.
void locateBuffer(FunctionSpec* f) {
    for (int i = 0; i < f->argCount; ++i) {
        ArgSpec& a = f->args[i];
        if (a.kind != ArgKind::InBuffer && a.kind != ArgKind::OutBuffer) continue;
        bool moveOut = f->name.rfind("viMoveOut", 0) == 0;
        if (moveOut) a.kind = ArgKind::InBuffer;
        f->buffer = static_cast<int8_t>(i);
        f->elementWidth = a.width ? a.width : 1;
        if (a.kind == ArgKind::InBuffer) {
            int n = indexOf(*f, "cnt");
            if (n < 0) n = indexOf(*f, "wLength");
            if (n < 0) n = indexOf(*f, "length");
            f->length = static_cast<int8_t>(n);
        } else if (int n = indexOf(*f, "retCnt"); n >= 0) {
            f->length = static_cast<int8_t>(n);
            f->lengthIsOutput = true;
            int c = indexOf(*f, "cnt");
            f->capacity = static_cast<int8_t>(c >= 0 ? c : indexOf(*f, "wLength"));
        } else {
            f->length = static_cast<int8_t>(indexOf(*f, "length"));  // viMoveIn*; none for viReadAsync
        }
        return;
    }
}

std::vector<FunctionSpec>* build() {
    auto* specs = new std::vector<FunctionSpec>(VisaTrace_functionCount);
    for (size_t k = 0; k < specs->size(); ++k) {
        FunctionSpec& f = (*specs)[k];
        f.name = kDeclared[k].name;
        f.hasStatus = kDeclared[k].hasStatus;
        std::string params = kDeclared[k].params;
        params = params.substr(1, params.size() - 2);  // the parentheses
        size_t start = 0;
        while (start <= params.size() && f.argCount < kVisaTraceMaxArgs) {
            size_t comma = params.find(',', start);
            if (comma == std::string::npos) comma = params.size();
            f.args[f.argCount++] = parseParameter(params.substr(start, comma - start));
            start = comma + 1;
        }
        locateBuffer(&f);
    }
    return specs;
}

}  // namespace

const FunctionSpec& functionSpec(int function) {
    // Never destroyed: handler threads may still record while the program exits.
    static const std::vector<FunctionSpec>* specs = build();
    if (function < 0 || function >= static_cast<int>(specs->size())) function = VisaTrace_handler;
    return (*specs)[static_cast<size_t>(function)];
}

}  // namespace visatrace

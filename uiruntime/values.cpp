#include "uiruntime/values.h"

#include <cctype>
#include <cstdlib>

#include <climits>
#include <cmath>
#include <cstring>

namespace uir {

bool Value::operator==(const Value& o) const {
    if (type != o.type) {
        // Numbers compare by value whatever their representation.
        if (type == Type::Integer && o.type == Type::Real) return static_cast<double>(i) == o.d;
        if (type == Type::Real && o.type == Type::Integer) return d == static_cast<double>(o.i);
        return false;
    }
    switch (type) {
        case Type::None: return true;
        case Type::Integer: return i == o.i;
        case Type::Real: return d == o.d;
        case Type::Text: return s == o.s;
        case Type::Pointer: return p == o.p;
    }
    return false;
}

bool isValidDataType(int t) { return t >= VAL_CHAR && t <= VAL_UNSIGNED_CHAR; }

int dataTypeFromName(const std::string& name, int fallback) {
    std::string s;
    for (char c : name)
        if (!std::isspace(static_cast<unsigned char>(c)) || (!s.empty() && s.back() != ' '))
            s += std::isspace(static_cast<unsigned char>(c)) ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    while (!s.empty() && s.back() == ' ') s.pop_back();
    static const std::pair<const char*, int> names[] = {
        {"char", VAL_CHAR},         {"int", VAL_INTEGER},       {"short", VAL_SHORT_INTEGER},
        {"float", VAL_FLOAT},       {"double", VAL_DOUBLE},     {"string", VAL_STRING},
        {"unsigned short", VAL_UNSIGNED_SHORT_INTEGER},         {"unsigned int", VAL_UNSIGNED_INTEGER},
        {"unsigned char", VAL_UNSIGNED_CHAR}};
    for (const auto& [n, t] : names)
        if (s == n) return t;
    char* end = nullptr;
    long number = std::strtol(s.c_str(), &end, 10);
    if (!s.empty() && *end == '\0' && isValidDataType(static_cast<int>(number))) return static_cast<int>(number);
    return fallback;
}

bool isIntegerType(int t) {
    switch (t) {
        case VAL_CHAR:
        case VAL_INTEGER:
        case VAL_SHORT_INTEGER:
        case VAL_UNSIGNED_SHORT_INTEGER:
        case VAL_UNSIGNED_INTEGER:
        case VAL_UNSIGNED_CHAR: return true;
        default: return false;
    }
}

bool isRealType(int t) { return t == VAL_FLOAT || t == VAL_DOUBLE; }

void integerRange(int t, long long* min, long long* max) {
    switch (t) {
        case VAL_CHAR: *min = SCHAR_MIN, *max = SCHAR_MAX; break;
        case VAL_SHORT_INTEGER: *min = SHRT_MIN, *max = SHRT_MAX; break;
        case VAL_UNSIGNED_SHORT_INTEGER: *min = 0, *max = USHRT_MAX; break;
        case VAL_UNSIGNED_INTEGER: *min = 0, *max = UINT_MAX; break;
        case VAL_UNSIGNED_CHAR: *min = 0, *max = UCHAR_MAX; break;
        case VAL_INTEGER:
        default: *min = INT_MIN, *max = INT_MAX; break;
    }
}

namespace {

long long clampReal(double d) {
    if (std::isnan(d)) return 0;
    if (d >= 9.2e18) return LLONG_MAX;
    if (d <= -9.2e18) return LLONG_MIN;
    return std::llround(d);
}

}  // namespace

int toInteger(const UiValue& v, long long* out) {
    switch (v.kind()) {
        case UiValue::Kind::Integer: *out = v.integer(); return 0;
        case UiValue::Kind::Unsigned:
            *out = v.unsignedInteger() > static_cast<unsigned long long>(LLONG_MAX)
                       ? LLONG_MAX
                       : static_cast<long long>(v.unsignedInteger());
            return 0;
        case UiValue::Kind::Real: *out = clampReal(v.real()); return 0;
        default: return UIEInvalidDataType;
    }
}

int toReal(const UiValue& v, double* out) {
    switch (v.kind()) {
        case UiValue::Kind::Integer: *out = static_cast<double>(v.integer()); return 0;
        case UiValue::Kind::Unsigned: *out = static_cast<double>(v.unsignedInteger()); return 0;
        case UiValue::Kind::Real: *out = v.real(); return 0;
        default: return UIEInvalidDataType;
    }
}

int toText(const UiValue& v, std::string* out) {
    if (v.kind() == UiValue::Kind::Null) return UIENullPointer;
    if (v.kind() != UiValue::Kind::Text) return UIEInvalidDataType;
    if (!v.text()) return UIENullPointer;
    *out = v.text();
    return 0;
}

int toValueOfType(const UiValue& v, int dataType, Value* out) {
    if (dataType == VAL_STRING) {
        std::string s;
        int rc = toText(v, &s);
        if (rc < 0) return rc;
        *out = Value::text(std::move(s));
        return 0;
    }
    if (isRealType(dataType)) {
        double d;
        int rc = toReal(v, &d);
        if (rc < 0) return rc;
        if (dataType == VAL_FLOAT) d = static_cast<float>(d);
        *out = Value::real(d);
        return 0;
    }
    if (!isIntegerType(dataType)) return UIEInvalidDataType;
    long long i;
    int rc = toInteger(v, &i);
    if (rc < 0) return rc;
    long long lo, hi;
    integerRange(dataType, &lo, &hi);
    *out = Value::integer(i < lo ? lo : i > hi ? hi : i);
    return 0;
}

Value clampValue(const Value& v, const Value& min, const Value& max) {
    if (v.type == Value::Type::Integer && min.type == Value::Type::Integer &&
        max.type == Value::Type::Integer) {
        if (v.i < min.i) return min;
        if (v.i > max.i) return max;
        return v;
    }
    if (v.type == Value::Type::Real && min.type == Value::Type::Real &&
        max.type == Value::Type::Real) {
        if (v.d < min.d) return min;
        if (v.d > max.d) return max;
        return v;
    }
    return v;
}

Value convertValue(const Value& v, int dataType) {
    if (dataType == VAL_STRING) return v.type == Value::Type::Text ? v : Value::text("");
    if (isRealType(dataType)) {
        double d = v.type == Value::Type::Integer ? static_cast<double>(v.i)
                   : v.type == Value::Type::Real  ? v.d
                                                  : 0.0;
        if (dataType == VAL_FLOAT) d = static_cast<float>(d);
        return Value::real(d);
    }
    long long i = v.type == Value::Type::Integer ? v.i
                  : v.type == Value::Type::Real  ? clampReal(v.d)
                                                 : 0;
    long long lo, hi;
    integerRange(dataType, &lo, &hi);
    return Value::integer(i < lo ? lo : i > hi ? hi : i);
}

int storeText(const std::string& text, char* buffer, size_t size) {
    if (!buffer) return UIENullPointer;
    if (size == 0) return UIEBufferTooSmall;
    size_t n = text.size();
    int rc = 0;
    if (n >= size) {
        n = size - 1;
        rc = UIEBufferTooSmall;
    }
    std::memcpy(buffer, text.data(), n);
    buffer[n] = '\0';
    return rc;
}

int storeValue(const Value& v, const UiOut& out) {
    void* t = out.target();
    if (!t) return UIENullPointer;
    using K = UiOut::Kind;
    if (out.kind() == K::Text) {
        if (v.type != Value::Type::Text) return UIEInvalidDataType;
        return storeText(v.s, static_cast<char*>(t), out.size());
    }
    if (out.kind() == K::Pointer) {
        if (v.type != Value::Type::Pointer) return UIEInvalidDataType;
        *static_cast<void**>(t) = v.p;
        return 0;
    }
    if (out.kind() == K::CtrlCallback || out.kind() == K::PanelCallback ||
        out.kind() == K::MenuCallback)
        return UIEInvalidDataType;
    if (v.type != Value::Type::Integer && v.type != Value::Type::Real) return UIEInvalidDataType;
    long long i = v.type == Value::Type::Integer ? v.i : clampReal(v.d);
    double d = v.type == Value::Type::Real ? v.d : static_cast<double>(v.i);
    switch (out.kind()) {
        case K::Int8: *static_cast<signed char*>(t) = static_cast<signed char>(i); break;
        case K::UInt8: *static_cast<unsigned char*>(t) = static_cast<unsigned char>(i); break;
        case K::Int16: *static_cast<short*>(t) = static_cast<short>(i); break;
        case K::UInt16: *static_cast<unsigned short*>(t) = static_cast<unsigned short>(i); break;
        case K::Int32: *static_cast<int*>(t) = static_cast<int>(i); break;
        case K::UInt32: *static_cast<unsigned int*>(t) = static_cast<unsigned int>(i); break;
        case K::Long: *static_cast<long*>(t) = static_cast<long>(i); break;
        case K::ULong: *static_cast<unsigned long*>(t) = static_cast<unsigned long>(i); break;
        case K::Int64: *static_cast<long long*>(t) = i; break;
        case K::UInt64: *static_cast<unsigned long long*>(t) = static_cast<unsigned long long>(i); break;
        case K::Float: *static_cast<float*>(t) = static_cast<float>(d); break;
        case K::Double: *static_cast<double*>(t) = d; break;
        case K::Bool: *static_cast<bool*>(t) = i != 0 || d != 0.0; break;
        default: return UIEInvalidDataType;
    }
    return 0;
}

}  // namespace uir

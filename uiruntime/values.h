// Internal: the value a control or list item holds, and its conversions to and from the public
// value carriers.
#pragma once

#include <string>

#include "uiruntime/uidefs.h"

namespace uir {

struct Value {
    enum class Type { None, Integer, Real, Text, Pointer };
    Type type = Type::None;
    long long i = 0;
    double d = 0.0;
    std::string s;
    void* p = nullptr;

    static Value integer(long long v) {
        Value x;
        x.type = Type::Integer;
        x.i = v;
        return x;
    }
    static Value real(double v) {
        Value x;
        x.type = Type::Real;
        x.d = v;
        return x;
    }
    static Value text(std::string v) {
        Value x;
        x.type = Type::Text;
        x.s = std::move(v);
        return x;
    }
    static Value pointer(void* v) {
        Value x;
        x.type = Type::Pointer;
        x.p = v;
        return x;
    }
    bool operator==(const Value& o) const;
};

bool isValidDataType(int dataType);
// The data type a form names ("int", "unsigned short", "string", ... or its number), else fallback.
int dataTypeFromName(const std::string& name, int fallback);
bool isIntegerType(int dataType);
bool isRealType(int dataType);
// Range of an integer data type.
void integerRange(int dataType, long long* min, long long* max);

// Numbers out of a carrier: integers, unsigned integers and reals are accepted (reals are
// rounded for integers); anything else is UIEInvalidDataType.
int toInteger(const UiValue& v, long long* out);
int toReal(const UiValue& v, double* out);
// Text of a carrier; a null text is UIENullPointer.
int toText(const UiValue& v, std::string* out);

// Converts a carrier to a value of a data type: integers are clamped to the type's range.
int toValueOfType(const UiValue& v, int dataType, Value* out);
// Clamps a value of the type into [min, max] (both of the same type).
Value clampValue(const Value& v, const Value& min, const Value& max);
// Converts a value of one numeric type to another (clamped to the new type's range).
Value convertValue(const Value& v, int dataType);

// Writes a value through an out carrier. Integers wrap to the target's width as C conversions
// do; reals are rounded for integer targets; texts need a text target and are cut to fit (the
// result is then UIEBufferTooSmall).
int storeValue(const Value& v, const UiOut& out);
// Copies text into a buffer of the given size; UIEBufferTooSmall when it had to be cut.
int storeText(const std::string& text, char* buffer, size_t size);

}  // namespace uir

#include "mirt5/Value.h"

#include <array>

#include "qis/Exception.h"

namespace mirt5 {
namespace {

struct BooleanSpelling {
    const char* text;
    bool value;
};
constexpr std::array<BooleanSpelling, 8> kBooleans = {
    {{"true", true}, {"false", false}, {"yes", true}, {"no", false}, {"on", true}, {"off", false}, {"1", true}, {"0", false}}};

std::optional<bool> parseBoolean(const qis::String& text) {
    for (const auto& spelling : kBooleans)
        if (text.equalsIgnoreCase(spelling.text)) return spelling.value;
    return std::nullopt;
}

[[noreturn]] void throwNotA(const char* type, const qis::String& text) {
    throw qis::Exception("Value \"" + text + "\" is not a " + type);
}

} // namespace

Value::Value(std::uint32_t v) : type_(DataType::UINT32()), text_(qis::String::number(v)) {}
Value::Value(int v) : type_(DataType::STRING()), text_(qis::String::number(v)) {}
Value::Value(long v) : type_(DataType::STRING()), text_(qis::String::number(v)) {}
Value::Value(double v) : type_(DataType::DOUBLE()), text_(qis::String::number(v)) {}
Value::Value(bool v) : type_(DataType::BOOLEAN()), text_(v ? "true" : "false") {}

std::optional<Value> Value::parse(DataType type, const qis::String& text, qis::String* why) {
    const auto fail = [&](const char* reason) -> std::optional<Value> {
        if (why) *why = reason;
        return std::nullopt;
    };
    if (text.isEmpty()) return empty(type);
    switch (type.kind()) {
    case DataType::Kind::Uint32: {
        std::uint32_t v = 0;
        if (!text.toUint32(v)) return fail("expected a whole number from 0 to 4294967295");
        return Value(v);
    }
    case DataType::Kind::Double: {
        double v = 0;
        if (!text.toDouble(v)) return fail("expected a finite decimal number such as 88.5");
        return Value(v);
    }
    case DataType::Kind::Boolean: {
        const auto v = parseBoolean(text);
        if (!v) return fail("expected true or false (also yes/no, on/off, 1/0)");
        return Value(*v);
    }
    case DataType::Kind::String:
        return Value(text);
    }
    return fail("unknown type");
}

std::uint32_t Value::valueUint32() const {
    if (isEmpty()) return 0;
    std::uint32_t v = 0;
    if (!text_.toUint32(v)) throwNotA("UINT32", text_);
    return v;
}

double Value::valueDouble() const {
    if (isEmpty()) return 0.0;
    double v = 0;
    if (!text_.toDouble(v)) throwNotA("DOUBLE", text_);
    return v;
}

bool Value::valueBool() const {
    if (isEmpty()) return false;
    const auto v = parseBoolean(text_);
    if (!v) throwNotA("BOOLEAN", text_);
    return *v;
}

} // namespace mirt5

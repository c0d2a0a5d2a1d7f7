#pragma once
// A typed value: parameter values, device properties and message variables.
//
// Host text is converted strictly (see parse). An empty value converts to 0, 0.0 and false:
// that is what a module-wide parameter the host did not give reads as.

#include <cstdint>
#include <optional>

#include "mirt5/DataType.h"
#include "qis/Value.h"

namespace mirt5 {

class Value {
public:
    Value() : type_(DataType::STRING()) {}
    Value(const char* text) : type_(DataType::STRING()), text_(text) {}
    Value(qis::String text) : type_(DataType::STRING()), text_(std::move(text)) {}
    Value(std::uint32_t v);
    Value(int v);
    Value(long v);
    Value(double v);
    Value(bool v);
    Value(const qis::QISValue& v) : type_(DataType::STRING()), text_(v.toString()) {}

    // Strict reading of host text as `type`:
    //  UINT32  decimal digits only, 0 to 4294967295;
    //  DOUBLE  a finite decimal number ("88.5", "-1", "1e3"), no "nan" or "inf";
    //  BOOLEAN true/false, yes/no, on/off, 1/0 (any case);
    //  STRING  any text.
    // An empty text is accepted as an empty value of any type. On failure `why` says what is wrong.
    static std::optional<Value> parse(DataType type, const qis::String& text, qis::String* why = nullptr);
    static Value empty(DataType type) { Value v; v.type_ = type; return v; }

    DataType dataType() const { return type_; }
    bool isEmpty() const { return text_.isEmpty(); }

    // A value that does not convert throws qis::Exception: a module reading its own parameter
    // with the wrong type is a fault, not bad input.
    std::uint32_t valueUint32() const;
    double valueDouble() const;
    bool valueBool() const;
    const qis::String& toString() const { return text_; }

private:
    DataType type_;
    qis::String text_;
};

} // namespace mirt5

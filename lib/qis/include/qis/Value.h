#pragma once
// A small tagged value that renders itself as text (log lines, event variables).

#include <variant>

#include "qis/String.h"

namespace qis {

class QISValue {
public:
    QISValue() = default;
    QISValue(int v) : value_(static_cast<long long>(v)) {}
    QISValue(long v) : value_(static_cast<long long>(v)) {}
    QISValue(long long v) : value_(v) {}
    QISValue(unsigned v) : value_(static_cast<unsigned long long>(v)) {}
    QISValue(unsigned long v) : value_(static_cast<unsigned long long>(v)) {}
    QISValue(unsigned long long v) : value_(v) {}
    QISValue(double v) : value_(v) {}
    QISValue(bool v) : value_(v) {}
    QISValue(String v) : value_(std::move(v)) {}
    QISValue(const char* v) : value_(String(v)) {}

    bool isEmpty() const { return std::holds_alternative<std::monostate>(value_); }
    // Integers in decimal (signed ones with their sign), doubles in their shortest exact form,
    // booleans as "true"/"false", nothing as "".
    String toString() const;

private:
    std::variant<std::monostate, long long, unsigned long long, double, bool, String> value_;
};

using Value = QISValue;

} // namespace qis

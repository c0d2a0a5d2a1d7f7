#pragma once

#include <optional>

#include "qis/String.h"

namespace mirt5 {

class DataType {
public:
    enum class Kind { Uint32, Double, Boolean, String };

    static DataType UINT32() { return DataType(Kind::Uint32); }
    static DataType DOUBLE() { return DataType(Kind::Double); }
    static DataType BOOLEAN() { return DataType(Kind::Boolean); }
    static DataType STRING() { return DataType(Kind::String); }

    Kind kind() const { return kind_; }
    const char* name() const;
    friend bool operator==(DataType a, DataType b) { return a.kind_ == b.kind_; }

private:
    explicit DataType(Kind kind) : kind_(kind) {}
    Kind kind_;
};

} // namespace mirt5

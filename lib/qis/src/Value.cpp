#include "qis/Value.h"

namespace qis {

String QISValue::toString() const {
    struct Render {
        String operator()(std::monostate) const { return String(); }
        String operator()(long long v) const { return String::number(v); }
        String operator()(unsigned long long v) const { return String::number(v); }
        String operator()(double v) const { return String::number(v); }
        String operator()(bool v) const { return String(v ? "true" : "false"); }
        String operator()(const String& v) const { return v; }
    };
    return std::visit(Render{}, value_);
}

} // namespace qis

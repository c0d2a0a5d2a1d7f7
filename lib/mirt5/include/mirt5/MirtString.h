#pragma once
// The framework's string: the foundation's string under the framework's name, convertible both ways.

#include "qis/String.h"

namespace mirt5 {

class MirtString {
public:
    MirtString() = default;
    MirtString(const char* text) : text_(text) {}
    MirtString(const wchar_t* text) : text_(text) {}
    MirtString(qis::String text) : text_(std::move(text)) {}
    operator const qis::String&() const { return text_; }
    const qis::String& str() const { return text_; }
    const char* c_str() const { return text_.c_str(); }
    friend bool operator==(const MirtString& a, const MirtString& b) { return a.text_ == b.text_; }

private:
    qis::String text_;
};

} // namespace mirt5

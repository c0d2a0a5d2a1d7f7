#pragma once
// The foundation's error stream: standard error by default, redirectable for tests.

#include <iosfwd>
#include <mutex>

#include "qis/String.h"
#include "qis/Value.h"

namespace qis {

class ErrorStream {
public:
    ErrorStream& operator<<(const String& text);
    ErrorStream& operator<<(const char* text) { return *this << String(text); }
    ErrorStream& operator<<(const QISValue& value) { return *this << value.toString(); }
    // Null restores standard error; returns the previous target (null for standard error).
    std::ostream* setTarget(std::ostream* target);

private:
    std::mutex mutex_;
    std::ostream* target_ = nullptr;
};

extern ErrorStream cerr;

} // namespace qis

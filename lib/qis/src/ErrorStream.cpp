#include "qis/ErrorStream.h"

#include <iostream>

namespace qis {

ErrorStream cerr;

ErrorStream& ErrorStream::operator<<(const String& text) {
    std::lock_guard lock(mutex_);
    std::ostream& out = target_ ? *target_ : std::cerr;
    out << text.utf8();
    out.flush();
    return *this;
}

std::ostream* ErrorStream::setTarget(std::ostream* target) {
    std::lock_guard lock(mutex_);
    std::ostream* previous = target_;
    target_ = target;
    return previous;
}

} // namespace qis

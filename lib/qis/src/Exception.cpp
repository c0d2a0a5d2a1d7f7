#include "qis/Exception.h"

namespace qis {

AssertionFailure::AssertionFailure(String file, long line, String condition)
    : Exception("Assertion failed: " + condition + " (" + file + ":" + String::number(line) + ")"),
      file_(std::move(file)), line_(line), condition_(std::move(condition)) {}

IndexOutOfBounds::IndexOutOfBounds(long long lower, long long upper, long long index)
    : Exception("Index out of bounds: " + String::number(index) + " not in [" + String::number(lower) + ", " +
                String::number(upper) + "]"),
      lower_(lower), upper_(upper), index_(index) {}

HashKeyMissing::HashKeyMissing(String key) : Exception("Hash key missing: " + key), key_(std::move(key)) {}

} // namespace qis

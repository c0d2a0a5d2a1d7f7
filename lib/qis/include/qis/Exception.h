#pragma once
// The foundation's exceptions. Each keeps its fields for callers and builds one message
// line from them, so that whoever catches only `Exception` can still say what happened.

#include <exception>

#include "qis/String.h"

namespace qis {

class Exception : public std::exception {
public:
    explicit Exception(String message) : message_(std::move(message)) {}
    const String& getMessage() const { return message_; }
    const char* what() const noexcept override { return message_.c_str(); }

private:
    String message_;
};

// An impossible state met by a helper: where it was met and the text of the failed condition.
class AssertionFailure : public Exception {
public:
    AssertionFailure(String file, long line, String condition);
    const String& getFile() const { return file_; }
    long getLine() const { return line_; }
    const String& getCondition() const { return condition_; }

private:
    String file_;
    long line_;
    String condition_;
};

// Upper is count - 1, which is -1 for an empty collection.
class IndexOutOfBounds : public Exception {
public:
    IndexOutOfBounds(long long lower, long long upper, long long index);
    long long getLower() const { return lower_; }
    long long getUpper() const { return upper_; }
    long long getIndex() const { return index_; }

private:
    long long lower_, upper_, index_;
};

class HashKeyMissing : public Exception {
public:
    explicit HashKeyMissing(String key);
    const String& getKey() const { return key_; }

private:
    String key_;
};

class NullPointer : public Exception {
public:
    explicit NullPointer(String text) : Exception(text), text_(std::move(text)) {}
    const String& getText() const { return text_; }

private:
    String text_;
};

} // namespace qis

// Throws AssertionFailure with the caller's source name (not the physical file), the line and
// the condition exactly as written.
#define QIS_ASSERT(sourceFile, condition)                                            \
    do {                                                                             \
        if (!(condition)) throw ::qis::AssertionFailure((sourceFile), __LINE__, #condition); \
    } while (0)

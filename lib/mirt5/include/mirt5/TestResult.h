#pragma once
// A test's outcome. Its value is the process exit code, so PASS is 0 for scripts.

#include <optional>

#include "qis/String.h"

namespace mirt5 {

class TestResult {
public:
    static TestResult PASS() { return TestResult(0); }
    static TestResult FAIL() { return TestResult(1); }
    static TestResult CANNOTRUN() { return TestResult(2); }
    static TestResult NODEVICE() { return TestResult(3); }
    static TestResult NOSIGNAL() { return TestResult(4); }
    static TestResult NOTSUPPORTED() { return TestResult(5); }
    static TestResult USERABORTED() { return TestResult(6); }
    static TestResult INTERNALERROR() { return TestResult(7); }
    static TestResult EXITEDABNORMALLY() { return TestResult(8); }
    static TestResult TESTNOTSTARTED() { return TestResult(9); }

    int value() const { return value_; }
    const char* name() const;
    static std::optional<TestResult> fromName(const qis::String& name);

    friend bool operator==(TestResult a, TestResult b) { return a.value_ == b.value_; }

private:
    explicit TestResult(int value) : value_(value) {}
    int value_;
};

// Exit code of a command line the framework could not accept (BSD's EX_USAGE).
constexpr int kUsageExitCode = 64;

} // namespace mirt5

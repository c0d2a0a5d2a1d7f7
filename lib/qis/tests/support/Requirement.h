#pragma once
// What a test needs from the machine (a display, a tool). Missing, it fails the test: the test
// command provides everything, so a run without it must not look green. A developer who wants
// to run the rest anyway sets QIS_ALLOW_SKIP=1 and gets skips instead.

#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

namespace qis::testing {

inline bool skippingAllowed() {
    const char* allow = std::getenv("QIS_ALLOW_SKIP");
    return allow && std::strcmp(allow, "1") == 0;
}

} // namespace qis::testing

// Ends the test (or its SetUp) when `available` is false: skipped on request, failed otherwise.
#define QIS_REQUIRE(available, what)                                                                     \
    do {                                                                                                 \
        if (!(available)) {                                                                              \
            if (::qis::testing::skippingAllowed()) GTEST_SKIP() << (what) << " is missing";              \
            GTEST_FAIL() << (what) << " is missing (QIS_ALLOW_SKIP=1 skips such tests instead)"; \
        }                                                                                                \
    } while (0)

#pragma once

#include "mirt5/TestResult.h"

namespace qisrtvcard {

// For a test whose body this build does not have yet: says so in the log (error priority, so
// the host sees it) and returns NOTSUPPORTED. It never claims a pass.
mirt5::TestResult notYetAvailable(const char* testName);

} // namespace qisrtvcard

#include "frame/NotYetAvailable.h"

#include "frame/Trace.h"

namespace qisrtvcard {

mirt5::TestResult notYetAvailable(const char* testName) {
    moduleLogger()->log(qis::LogPriority::Error, qis::String(testName) + " is not yet available in this build");
    return mirt5::TestResult::NOTSUPPORTED();
}

} // namespace qisrtvcard

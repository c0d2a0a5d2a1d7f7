#include "frame/NotYetAvailable.h"
#include "frame/TestEntries.h"
#include "frame/Trace.h"

namespace qisrtvcard {

mirt5::TestResult AnalogTVSignalTest(const mirt5::DiagDevice&) {
    QISRTV_TRACE("AnalogTVSignalTest");
    return notYetAvailable("TVSignalTest");
}

} // namespace qisrtvcard

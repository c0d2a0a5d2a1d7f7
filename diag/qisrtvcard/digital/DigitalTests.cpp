// Entries of the digital tests. Their bodies come with the BDA graph toolkit.
#include "frame/NotYetAvailable.h"
#include "frame/TestEntries.h"
#include "frame/Trace.h"

namespace qisrtvcard {

mirt5::TestResult DigitalTVSignalTest(const mirt5::DiagDevice&) {
    QISRTV_TRACE("DigitalTVSignalTest");
    return notYetAvailable("DigitalTVSignalTest");
}

mirt5::TestResult ClearQAMTest(const mirt5::DiagDevice&) {
    QISRTV_TRACE("ClearQAMTest");
    return notYetAvailable("ClearQAMTest");
}

} // namespace qisrtvcard

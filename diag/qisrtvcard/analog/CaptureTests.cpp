// Entries of the capture tests. Their bodies are written next.
#include "frame/NotYetAvailable.h"
#include "frame/TestEntries.h"
#include "frame/Trace.h"

namespace qisrtvcard {

mirt5::TestResult CaptureToScreenTest(const mirt5::DiagDevice&) {
    QISRTV_TRACE("CaptureToScreenTest");
    return notYetAvailable("CaptureToScreenTest");
}

mirt5::TestResult CaptureToFileTest(const mirt5::DiagDevice&) {
    QISRTV_TRACE("CaptureToFileTest");
    return notYetAvailable("CaptureToFileTest");
}

} // namespace qisrtvcard

// Entries of the analog tests. Their bodies come with the analog capture graph.
#include "frame/NotYetAvailable.h"
#include "frame/TestEntries.h"
#include "frame/Trace.h"

namespace qisrtvcard {

mirt5::TestResult AnalogTVSignalTest(const mirt5::DiagDevice&) {
    QISRTV_TRACE("AnalogTVSignalTest");
    return notYetAvailable("TVSignalTest");
}

mirt5::TestResult FMRadioSignalTest(const mirt5::DiagDevice&) {
    QISRTV_TRACE("FMRadioSignalTest");
    return notYetAvailable("FMRadioTest");
}

mirt5::TestResult CaptureToScreenTest(const mirt5::DiagDevice&) {
    QISRTV_TRACE("CaptureToScreenTest");
    return notYetAvailable("CaptureToScreenTest");
}

mirt5::TestResult CaptureToFileTest(const mirt5::DiagDevice&) {
    QISRTV_TRACE("CaptureToFileTest");
    return notYetAvailable("CaptureToFileTest");
}

} // namespace qisrtvcard

#include "frame/NotYetAvailable.h"
#include "frame/TestEntries.h"
#include "frame/Trace.h"

namespace qisrtvcard {

mirt5::TestResult FMRadioSignalTest(const mirt5::DiagDevice&) {
    QISRTV_TRACE("FMRadioSignalTest");
    return notYetAvailable("FMRadioTest");
}

} // namespace qisrtvcard

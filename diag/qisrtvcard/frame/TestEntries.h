#pragma once
// The six test entry functions the catalogue registers.

#include "mirt5/DiagDevice.h"
#include "mirt5/TestResult.h"

namespace qisrtvcard {

mirt5::TestResult AnalogTVSignalTest(const mirt5::DiagDevice& device);
mirt5::TestResult FMRadioSignalTest(const mirt5::DiagDevice& device);
mirt5::TestResult CaptureToScreenTest(const mirt5::DiagDevice& device);
mirt5::TestResult CaptureToFileTest(const mirt5::DiagDevice& device);
mirt5::TestResult DigitalTVSignalTest(const mirt5::DiagDevice& device);
mirt5::TestResult ClearQAMTest(const mirt5::DiagDevice& device);

} // namespace qisrtvcard

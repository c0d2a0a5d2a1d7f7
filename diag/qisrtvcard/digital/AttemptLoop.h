#pragma once
// The attempt loop the OCUR and DVB-T scans share: one pass, and when it found nothing and
// "CheckTVCable" is on, the cable prompt and at most one more pass.

#include <functional>

#include "mirt5/TestResult.h"
#include "qis/String.h"
#include "tunekit/DirectShow.h"

namespace qisrtvcard {

// `scanPass` runs one pass and sets its flag when the scan must end with the pass's result (a
// signal, a stop, a tuning failure). The video window is hidden while the prompt is up. `log`
// takes the loop's progress lines, which go where the calling test logs.
mirt5::TestResult runAttempts(const std::function<mirt5::TestResult(bool& done)>& scanPass, IVideoWindow* videoWindow,
                              const std::function<void(const qis::String&)>& log);

} // namespace qisrtvcard

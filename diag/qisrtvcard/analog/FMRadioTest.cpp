// The FM radio test: FM mode, the graph running, and 0.2 MHz steps across the band until the
// tuner reports a station.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cwchar>

#include "analog/AnalogPlumbing.h"
#include "analog/AnalogShared.h"
#include "analog/GraphHandles.h"
#include "analog/SampleCaptureGraphBuilder.h"
#include "frame/Catalogue.h"
#include "frame/TestEntries.h"
#include "frame/Trace.h"
#include "qis/System.h"
#include "qis/Value.h"
#include "tunekit/TunerLogger.h"
#include "tunekit/SmartCoInitialize.h"

namespace qisrtvcard {
namespace {

using mirt5::DiagModule;
using mirt5::TestResult;

constexpr const char* kModeFailed = "AMTUNER_MODE_FM_RADIO failed.";
constexpr const char* kPutChannelFailed = "put_Channel() failed.  Frequency: ";
constexpr double kStepMHz = 0.2;
// Lets the end frequency itself be tried despite the rounding the 0.2 steps accumulate.
constexpr double kEndTolerance = 0.00001;
constexpr double kHzPerMHz = 1000000.0;
constexpr unsigned long kSettleMilliseconds = 500;
constexpr unsigned long kTuneMilliseconds = 10;
constexpr std::size_t kFrequencyTextSize = 6; // "108.0" and the terminator

TestResult noSignal(Caller where = Caller::current()) {
    DiagModule::warning(ErrorNoSignal, kSourceFile, lineOf(where));
    return TestResult::NOSIGNAL();
}

void reportFrequency(double frequency, double start, double end) {
    wchar_t text[kFrequencyTextSize] = {};
    if (std::swprintf(text, kFrequencyTextSize, L"%.1f", frequency) < 0) text[0] = L'\0';
    TestingChannel->setVariable("channel", qis::String(text));
    DiagModule::progress(TestingChannel);
    // Start equal to end divides by zero; such a one-frequency scan counts as done.
    const double percent = (frequency - start) / (end - start) * 100.0;
    DiagModule::percentDone(std::isfinite(percent) ? static_cast<int>(std::clamp(percent, 0.0, 100.0)) : 100);
}

// The frequency in Hz as the tuner takes it; a frequency beyond a long's range is held at its
// bounds, where no tuner has a station.
long hertz(double megahertz) {
    const double value = megahertz * kHzPerMHz;
    if (!(value > static_cast<double>(LONG_MIN))) return LONG_MIN;
    if (!(value < static_cast<double>(LONG_MAX))) return LONG_MAX;
    return static_cast<long>(value);
}

TestResult scanBand() {
    const double start = FMRadioStartChannel->value().valueDouble();
    const double end = FMRadioEndChannel->value().valueDouble();
    const double limit = end + kEndTolerance;
    if (!(limit > start)) return noSignal();
    for (double frequency = start;;) {
        if (DiagModule::checkForStop()) return TestResult::USERABORTED();
        reportFrequency(frequency, start, end);
        const HRESULT tuned = g_tvTuner->put_Channel(hertz(frequency), AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT);
        qis::System::sleepMilliseconds(kTuneMilliseconds);
        if (FAILED(tuned)) {
            tunekit::TunerLogger::logDebugMessage(kPutChannelFailed + qis::QISValue(frequency).toString());
        } else {
            long strength = 0;
            if (SUCCEEDED(g_tvTuner->SignalPresent(&strength)) && strength == AMTUNER_SIGNALPRESENT) return TestResult::PASS();
        }
        const double next = frequency + kStepMHz;
        // So large a frequency that the step no longer moves it ends the band as well.
        if (!(limit > next) || next == frequency) return noSignal();
        frequency = next;
    }
}

TestResult graphFailed(const qis::String& error, Caller where = Caller::current()) {
    ErrorCreatingFilterGraph->setVariable("error", error);
    DiagModule::error(ErrorCreatingFilterGraph, kSourceFile, lineOf(where));
    DiagModule::percentDone(100);
    return TestResult::FAIL();
}

TestResult runFmTest() {
    DiagModule::percentDone(0);
    if (const TestResult attached = attachAnalogTuner(); attached != TestResult::PASS()) return attached;
    if (FAILED(g_tvTuner->put_Mode(AMTUNER_MODE_FM_RADIO))) return graphFailed(kModeFailed);
    if (FAILED(g_mediaControl->Run())) return graphFailed(ErrorRunFailed->localizedString());
    g_playState = State_Running;
    qis::System::sleepMilliseconds(kSettleMilliseconds);
    const TestResult result = scanBand();
    DiagModule::percentDone(100);
    return result;
}

} // namespace

// No Media Center check and no window, unlike the other analog tests.
TestResult FMRadioSignalTest(const mirt5::DiagDevice& device) {
    QISRTV_TRACE("FMRadioSignalTest");
    QISRTV_ASSERT(device.intersectCapability(mirt5::DeviceCapability::VideoCapture()), kAssertVideoCapture);
    const GraphHandlesAbandonedOnReturn leftAsTheyAre;
    TestResult result = setupCaptureGraph();
    if (result != TestResult::PASS()) return result;
    result = FindCaptureDevice(device, CLSID_VideoInputDeviceCategory);
    if (result != TestResult::PASS()) return result;
    result = runFmTest();
    closeInterfaces();
    tunekit::uninitializeCom();
    return result;
}

} // namespace qisrtvcard

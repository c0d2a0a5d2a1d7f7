#include "analog/AnalogShared.h"

#include "analog/GraphHandles.h"
#include "analog/SampleCaptureGraphBuilder.h"
#include "frame/Catalogue.h"
#include "qis/System.h"

namespace qisrtvcard {

void routeCrossbarToTuner() {
    tunekit::ComPtr<IAMCrossbar> crossbar;
    if (FAILED(g_captureBuilder->FindInterface(&PIN_CATEGORY_CAPTURE, nullptr, g_captureFilter.get(), IID_PPV_ARGS(crossbar.put()))) ||
        !crossbar)
        return;
    long outputs = 0, inputs = 0;
    crossbar->get_PinCounts(&outputs, &inputs);
    bool routed = false;
    for (long input = 0; input < inputs && !routed; ++input) {
        long related = 0, type = 0;
        crossbar->get_CrossbarPinInfo(TRUE, input, &related, &type);
        if (type != PhysConn_Video_Tuner) continue;
        for (long output = 0; output < outputs && !routed; ++output)
            if (crossbar->CanRoute(output, input) == S_OK) routed = SUCCEEDED(crossbar->Route(output, input));
    }
}

mirt5::TestResult hardwareNotSupported(Caller where) {
    mirt5::DiagModule::warning(WarningHardwareDoesNotSupportAnalogTVCapture, kSourceFile, lineOf(where));
    mirt5::DiagModule::percentDone(100);
    return mirt5::TestResult::NOTSUPPORTED();
}

mirt5::TestResult attachAnalogTuner() {
    if (!g_captureFilter) return hardwareNotSupported();
    if (FAILED(g_graphManager->AddFilter(g_captureFilter.get(), L"Video Capture"))) {
        g_captureFilter.reset();
        return hardwareNotSupported();
    }
    if (FAILED(g_captureBuilder->FindInterface(&PIN_CATEGORY_CAPTURE, nullptr, g_captureFilter.get(), IID_PPV_ARGS(g_tvTuner.put()))) ||
        !g_tvTuner)
        return hardwareNotSupported();
    routeCrossbarToTuner();
    return mirt5::TestResult::PASS();
}

void drainMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) {
        if (GetMessageW(&message, nullptr, 0, 0) <= 0) break;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

void pumpMessagesFor(double seconds) {
    const qis::Stopwatch stopwatch;
    MSG message;
    while (stopwatch.elapsedSeconds() <= seconds) {
        if (!PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) continue;
        if (GetMessageW(&message, nullptr, 0, 0) <= 0) continue;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

} // namespace qisrtvcard

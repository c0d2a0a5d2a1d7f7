// The OpenCable receiver's test: a BDA graph on the ATSC QAM network provider and the device's
// own tuner, running while every channel is tried as antenna and then as cable input.
#include "digital/AtscTuning.h"
#include "digital/AttemptLoop.h"
#include "digital/DigitalLog.h"
#include "digital/DigitalTests.h"
#include "digital/FilterLoading.h"
#include "digital/GraphToolkit.h"
#include "digital/SignalDetection.h"
#include "frame/Catalogue.h"
#include "frame/ComFactory.h"
#include "frame/GraphServices.h"
#include "frame/Trace.h"
#include "qis/System.h"
#include "tunekit/ComPtr.h"
#include "tunekit/ComValues.h"

namespace qisrtvcard {
namespace {

using mirt5::DiagModule;
using mirt5::TestResult;
using tunekit::ComPtr;

constexpr const char* kCreateGraph = "IGraphBuilder::CoCreateInstance::CLSID_FilterGraph";
constexpr const char* kInitializingTuner = "ATSC QAM Tuner initializing";
constexpr const char* kTunerInitFailed = "ERROR: IinitializeATSCQAMTuner failed";
constexpr const char* kQueryTuner = "IBaseFilter::QueryInterface(ITuner)";
constexpr const char* kLoadTuner = "LoadFilterForDevice(KSCATEGORY_BDA_NETWORK_TUNER)";
constexpr const char* kLoadTunerFailed = "ERROR: LoadFilter(KSCATEGORY_BDA_NETWORK_TUNER)";
constexpr const char* kLoadReceiver = "LoadFilterForDevice(KSCATEGORY_BDA_RECEIVER_COMPONENT)";
constexpr const char* kNoReceiver = "ERROR: LoadFilter failed.  Couldn't find a compatible Receiver.  Continuing as it is not always required.";
constexpr const char* kCreateDemux = "IBaseFilter::CoCreateInstance(CLSID_MPEG2Demultiplexer)";
constexpr const char* kAddDemux = "IGraphBuilder::AddFilter(Demux)";
constexpr const char* kQueryControl = "IGraphBuilder::QueryInterface(IMediaControl)";
constexpr const char* kAddToRot = "Adding graph for graphedit to view";
constexpr const char* kRun = "IMediaControl::Run";
constexpr const char* kInputType = "Input Type: ";
constexpr const char* kTuneFailed = "ERROR: tuneToATSCChannel failed";
constexpr const char* kExitChannelLoop = "Done so exiting channel loop";
constexpr const char* kCheckingStop = "Checking for Stop";
constexpr const char* kStopping = "Stopping per user abort";
constexpr const char* kCleaningUp = "Cleaning up";
constexpr const char* kNoSignal = "Returning no signal";

constexpr const wchar_t* kDemultiplexerName = L"Demux";
constexpr double kPictureSeconds = 10.0; // so that the user sees the picture
constexpr unsigned long kStoppedMilliseconds = 1000;
constexpr TunerInputType kInputTypes[] = {TunerInputAntenna, TunerInputCable};

DWORD g_ocurRotCookie = 0;

void logOcur(const qis::String& text, Caller where = Caller::current()) {
    logLine(moduleLogger(), qis::LogPriority::Debug, lineOf(where), text);
}

TestResult cannotRun(const qis::String& text, Caller where = Caller::current()) {
    logOcur(text, where);
    DiagModule::warning(ErrorCreatingFilterGraph, kSourceFile, lineOf(where));
    return TestResult::CANNOTRUN();
}

TestResult graphFailed(const qis::String& text, Caller where = Caller::current()) {
    logOcur(text, where);
    DiagModule::error(ErrorCreatingFilterGraph, kSourceFile, lineOf(where));
    return TestResult::FAIL();
}

struct OcurGraph {
    ComPtr<IGraphBuilder> graph;
    ComPtr<ITuningSpace> tuningSpace;
    ComPtr<IBaseFilter> networkProvider;
    ComPtr<ITuner> tuner;
    ComPtr<IBaseFilter> tunerFilter;
    ComPtr<IBaseFilter> receiver; // the tuner filter again when the card has no receiver
    ComPtr<IBaseFilter> demultiplexer;
    ComPtr<IMediaControl> mediaControl;
    ComPtr<IVideoWindow> videoWindow;
};

// Builds and runs the graph; PASS when it runs.
TestResult buildGraph(const mirt5::DiagDevice& device, OcurGraph& g) {
    logOcur(kCreateGraph);
    HRESULT hr = createInstance(CLSID_FilterGraph, nullptr, CLSCTX_ALL, IID_PPV_ARGS(g.graph.put()));
    if (FAILED(hr)) return cannotRun(failedLine(kCreateGraph, hr));
    logOcur(kInitializingTuner);
    IGraphBuilder* graph = g.graph.get();
    if (!initializeATSCQAMTuner(g.tuningSpace.put(), g.networkProvider.put(), &graph)) return cannotRun(kTunerInitFailed);
    hr = g.networkProvider->QueryInterface(IID_PPV_ARGS(g.tuner.put()));
    if (FAILED(hr)) return cannotRun(failedLine(kQueryTuner, hr));
    logOcur(kLoadTuner);
    if (!LoadFilter(tunekit::KSCATEGORY_BDA_NETWORK_TUNER, g.tunerFilter.put(), g.networkProvider.get(), true, g.graph.get(), device, true))
        return cannotRun(kLoadTunerFailed);
    logOcur(kLoadReceiver);
    if (!LoadFilter(tunekit::KSCATEGORY_BDA_RECEIVER_COMPONENT, g.receiver.put(), g.tunerFilter.get(), true, g.graph.get(), device, true)) {
        g.receiver = g.tunerFilter;
        logOcur(kNoReceiver);
    }
    logOcur(kCreateDemux);
    createInstance(CLSID_MPEG2Demultiplexer, nullptr, CLSCTX_ALL, IID_PPV_ARGS(g.demultiplexer.put()));
    logOcur(kAddDemux);
    hr = g.graph->AddFilter(g.demultiplexer.get(), kDemultiplexerName);
    if (FAILED(hr)) return graphFailed(failedLine(kAddDemux, hr));
    // Rendering the tuner's output reaches the demultiplexer through intelligent connect.
    if (!renderGraph(g.tunerFilter.get(), g.graph.get())) return graphFailed(qis::String());
    logOcur(kQueryControl);
    hr = g.graph->QueryInterface(IID_PPV_ARGS(g.mediaControl.put()));
    if (FAILED(hr)) return graphFailed(failedLine(kQueryControl, hr));
    logOcur(kAddToRot);
    AddGraphToRot(g.graph.get(), &g_ocurRotCookie);
    logOcur(kRun);
    hr = g.mediaControl->Run();
    if (FAILED(hr)) return graphFailed(failedLine(kRun, hr));
    // Rendering created the video renderer, so the window is there.
    g.graph->QueryInterface(IID_PPV_ARGS(g.videoWindow.put()));
    const tunekit::Bstr caption(DigitalSignalTestWndTitle->localizedString().wide().c_str());
    if (g.videoWindow) g.videoWindow->put_Caption(caption.get());
    return TestResult::PASS();
}

// One pass over the channel range; `done` is set when the scan must not go on.
TestResult scanChannels(OcurGraph& g, std::uint32_t start, std::uint32_t end, bool& done) {
    // Counted in 64 bits, so that a range ending at the type's top ends instead of wrapping round.
    for (std::uint64_t next = start; start <= end && next <= end; ++next) {
        const auto channel = static_cast<std::uint32_t>(next);
        for (const TunerInputType inputType : kInputTypes) {
            logOcur(kInputType + qis::QISValue(static_cast<long>(inputType)).toString());
            TestingChannel->setVariable("channel", qis::QISValue(static_cast<unsigned long>(channel)));
            ITuningSpace* space = g.tuningSpace.get();
            ITuner* tuner = g.tuner.get();
            if (!tuneToATSCChannel(&space, &tuner, inputType, static_cast<long>(channel))) {
                logOcur(kTuneFailed);
                DiagModule::error(ErrorCreatingFilterGraph, kSourceFile, __LINE__);
                done = true;
                logOcur(kExitChannelLoop);
                return TestResult::FAIL();
            }
            if (inputType == TunerInputAntenna) DiagModule::progress(TestingChannel);
            if (isSignalPresent(true, g.tuner.get(), g.tunerFilter.get())) {
                qis::System::sleep(kPictureSeconds);
                done = true;
                logOcur(kExitChannelLoop);
                return TestResult::PASS();
            }
        }
        // The channel number itself, not its offset, over the span: the value starts above 0 and
        // may pass 100. A one-channel range has no span; it counts as done.
        const std::uint32_t span = end - start;
        DiagModule::percentDone(span ? static_cast<int>(channel * 100u / span) : 100);
        logOcur(kCheckingStop);
        if (DiagModule::checkForStop()) {
            logOcur(kStopping);
            done = true;
            return TestResult::USERABORTED();
        }
    }
    return TestResult::NOSIGNAL();
}


} // namespace

TestResult TestOcurDevice(const mirt5::DiagDevice& device) {
    QISRTV_TRACE("TestOcurDevice");
    const std::uint32_t start = DigitalStartChannel->value().valueUint32();
    const std::uint32_t end = DigitalEndChannel->value().valueUint32();
    OcurGraph g;
    const TestResult built = buildGraph(device, g);
    if (built != TestResult::PASS()) return built;
    const TestResult result = runAttempts([&](bool& done) { return scanChannels(g, start, end, done); }, g.videoWindow.get(),
                                          [](const qis::String& text) { logOcur(text); });
    logOcur(kCleaningUp);
    RemoveGraphFromRot(g_ocurRotCookie);
    g.mediaControl->Stop();
    qis::System::sleepMilliseconds(kStoppedMilliseconds);
    if (result == TestResult::NOSIGNAL()) {
        logOcur(kNoSignal);
        ErrorNoSignalWithTip->setVariable("startchannel", qis::QISValue(static_cast<unsigned long>(start)));
        ErrorNoSignalWithTip->setVariable("endchannel", qis::QISValue(static_cast<unsigned long>(end)));
        DiagModule::warning(ErrorNoSignalWithTip, kSourceFile, __LINE__);
    }
    DiagModule::percentDone(100);
    return result;
}

} // namespace qisrtvcard

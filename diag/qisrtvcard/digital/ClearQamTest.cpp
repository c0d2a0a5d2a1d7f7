// The ATSC and Clear QAM scans: a demultiplexer after the receiver rendered to the video
// renderer, one channel after another, and a channel counts when the renderer draws frames.
#include "digital/ClearQamTest.h"

#include <cwchar>

#include "digital/AtscTuning.h"
#include "digital/DigitalLog.h"
#include "digital/FilterLoading.h"
#include "digital/GraphToolkit.h"
#include "frame/Catalogue.h"
#include "frame/ComFactory.h"
#include "frame/RetryPrompt.h"
#include "frame/Trace.h"
#include "qis/System.h"
#include "tunekit/ComPtr.h"
#include "tunekit/ComValues.h"

namespace qisrtvcard {
namespace {

using mirt5::DiagModule;
using mirt5::TestResult;
using tunekit::ComPtr;

constexpr const char* kNoTuningSpace = "! TuningSpace ";
constexpr const char* kRunFailed = "MediaControl->Run() failed";
constexpr const char* kNoTuneRequest = "Failed to create Tune Request";
constexpr const char* kFramesTrue = "***FramesBeingRendered returned true";
constexpr const char* kFramesFalse = "***FramesBeingRendered returned false";
constexpr const char* kEndOfLoop = "***end of loop";
constexpr const char* kNoProvider = "ATSCTestWrapper()--! NetworkProviderFilter";
constexpr const char* kNoTuner = "ATSCTestWrapper()--! LoadFilterForDevice()--tuner";
constexpr const char* kNoReceiver = "ATSCTestWrapper()--! LoadFilterForDevice()--receiver";

constexpr const wchar_t* kProviderName = L"Microsoft Network Provider";
constexpr const wchar_t* kDemultiplexerName = L"Demux";
constexpr const wchar_t* kRendererName = L"Video Renderer";
constexpr unsigned long kStartedMilliseconds = 1000;
constexpr unsigned long kPauseMilliseconds = 100;
constexpr unsigned long kPictureMilliseconds = 5000; // so that the user sees the picture
constexpr unsigned long kStoppedMilliseconds = 2000;
constexpr std::size_t kChannelTextSize = 20;
constexpr long kFirstQamChannel = 77;
constexpr long kLastQamChannel = 130;
constexpr long kProgramsPerChannel = 10;
constexpr double kQamChannelSpan = 54.0;

void logScan(const char* text, Caller where = Caller::current()) { logLine(clearQamLogger(), qis::LogPriority::Debug, lineOf(where), text); }

// The two scans share the graph and the tuning but fail differently on some steps; the
// differences are deliberate.
struct ScanStyle {
    const wchar_t* tuningSpaceName;
    bool atsc; // the ATSC scan logs more and returns CANNOTRUN where the Clear QAM scan asserts
};

constexpr ScanStyle kAtscScan{L"ATSC", true};
constexpr ScanStyle kClearQamScan{L"ATSCCable", false};

// The completed graph of a scan, released in one place whatever the exit.
struct ScanGraph {
    ComPtr<ITuner> tuner;
    ComPtr<ITuningSpace> tuningSpace;
    ComPtr<IBaseFilter> demultiplexer;
    ComPtr<IVideoWindow> videoWindow;
    ComPtr<IBaseFilter> renderer;
    ComPtr<IQualProp> qualProp;
    ComPtr<IMediaControl> mediaControl;
};

TestResult completeGraph(const ScanStyle& style, IGraphBuilder* graph, IBaseFilter* networkProvider, IBaseFilter* receiver,
                         const qis::String& windowCaption, ScanGraph& scan) {
    g_clearQamResult = networkProvider->QueryInterface(IID_PPV_ARGS(scan.tuner.put()));
    QISRTV_ASSERT(scan.tuner, "Tuner");
    scan.tuningSpace.attach(getTuningSpace(scan.tuner.get(), style.tuningSpaceName));
    if (!scan.tuningSpace) {
        if (style.atsc) logScan(kNoTuningSpace);
        return TestResult::CANNOTRUN();
    }
    g_clearQamResult = createInstance(CLSID_MPEG2Demultiplexer, nullptr, CLSCTX_ALL, IID_PPV_ARGS(scan.demultiplexer.put()));
    if (style.atsc && SUCCEEDED(g_clearQamResult) && !scan.demultiplexer) g_clearQamResult = E_POINTER;
    QISRTV_ASSERT(SUCCEEDED(g_clearQamResult), kAssertSucceeded);
    g_clearQamResult = graph->AddFilter(scan.demultiplexer.get(), kDemultiplexerName);
    const bool connected = ConnectFilters(receiver, scan.demultiplexer.get(), graph);
    QISRTV_ASSERT(connected, "bRes");
    if (!clearqam::renderGraph(scan.demultiplexer.get(), graph)) {
        if (!style.atsc) logScan(kRunFailed);
        return TestResult::CANNOTRUN();
    }
    g_clearQamResult = graph->QueryInterface(IID_PPV_ARGS(scan.videoWindow.put()));
    QISRTV_ASSERT(scan.videoWindow, "VideoWindow");
    const tunekit::Bstr caption(windowCaption.wide().c_str());
    g_clearQamResult = scan.videoWindow->put_Caption(caption.get());
    scan.renderer.attach(FindFromName(kRendererName, graph));
    QISRTV_ASSERT(scan.renderer, "VideoRenderer");
    g_clearQamResult = scan.renderer->QueryInterface(IID_PPV_ARGS(scan.qualProp.put()));
    QISRTV_ASSERT(SUCCEEDED(g_clearQamResult) && scan.qualProp, "SUCCEEDED( hr ) && QualProp");
    g_clearQamResult = graph->QueryInterface(IID_PPV_ARGS(scan.mediaControl.put()));
    QISRTV_ASSERT(scan.mediaControl, "MediaControl");
    g_clearQamResult = scan.mediaControl->Run();
    if (!style.atsc && FAILED(g_clearQamResult)) {
        logScan(kRunFailed);
        return TestResult::CANNOTRUN();
    }
    QISRTV_ASSERT(SUCCEEDED(g_clearQamResult), kAssertSucceeded);
    qis::System::sleepMilliseconds(kStartedMilliseconds);
    return TestResult::NOSIGNAL();
}

// Tunes one request on the running graph and watches the renderer. Gives PASS when frames are
// drawn, USERABORTED on a stop request, else NOSIGNAL.
TestResult tryRequest(const ScanStyle& style, ScanGraph& scan, ITuneRequest* request) {
    ComPtr<ITuneRequest> tuneRequest;
    tuneRequest.attach(request);
    if (!tuneRequest) {
        if (!style.atsc) QISRTV_ASSERT(tuneRequest, "TR");
        logScan(kNoTuneRequest);
        return TestResult::CANNOTRUN();
    }
    g_clearQamResult = scan.mediaControl->Pause();
    QISRTV_ASSERT(SUCCEEDED(g_clearQamResult), kAssertSucceeded);
    qis::System::sleepMilliseconds(kPauseMilliseconds);
    g_clearQamResult = scan.mediaControl->Run();
    QISRTV_ASSERT(SUCCEEDED(g_clearQamResult), kAssertSucceeded);
    g_clearQamResult = scan.tuner->put_TuneRequest(tuneRequest.get());
    QISRTV_ASSERT(SUCCEEDED(g_clearQamResult), kAssertSucceeded);
    if (FramesBeingRendered(scan.qualProp.get())) {
        if (style.atsc) logScan(kFramesTrue);
        qis::System::sleepMilliseconds(kPictureMilliseconds);
        return TestResult::PASS();
    }
    if (style.atsc) logScan(kFramesFalse);
    if (DiagModule::checkForStop()) return TestResult::USERABORTED();
    return TestResult::NOSIGNAL();
}

void reportChannel(mirt5::LocalizedString& testingChannel, const wchar_t* format, long channel, long program = 0) {
    wchar_t text[kChannelTextSize] = {};
    if (std::swprintf(text, kChannelTextSize, format, channel, program) < 0) text[0] = L'\0';
    testingChannel.setVariable("channel", qis::String(text));
    DiagModule::progress(&testingChannel);
}

int roundedPercent(double done, double span) {
    const double percent = done / span * 100.0 + 0.5;
    return percent == percent ? static_cast<int>(percent) : 0; // an empty span divides 0 by 0
}

TestResult scanAtscChannels(ScanGraph& scan, mirt5::LocalizedString& testingChannel, long start, long end) {
    // A reversed range still tries its first channel; the test before the step keeps a range
    // that ends at the type's top from stepping past it.
    for (long channel = start;; ++channel) {
        const double done = static_cast<double>(channel) - static_cast<double>(start);
        DiagModule::percentDone(roundedPercent(done, static_cast<double>(end) - static_cast<double>(start) + 1.0));
        reportChannel(testingChannel, L"%ld", channel);
        const TestResult result = tryRequest(kAtscScan, scan, createTuneRequest(scan.tuningSpace.get(), channel));
        if (result != TestResult::NOSIGNAL()) return result;
        if (channel >= end) return TestResult::NOSIGNAL();
    }
}

TestResult finishScan(ScanGraph& scan, TestResult result) {
    DiagModule::percentDone(100);
    scan.qualProp.reset();
    g_clearQamResult = scan.mediaControl->Stop();
    QISRTV_ASSERT(SUCCEEDED(g_clearQamResult), kAssertSucceeded);
    qis::System::sleepMilliseconds(kStoppedMilliseconds);
    return result;
}

} // namespace

TestResult RunATSCTest(IGraphBuilder* graph, IBaseFilter* networkProvider, IBaseFilter* tuner, IBaseFilter* receiver,
                       mirt5::LocalizedString& testingChannel, const qis::String& windowCaption, unsigned long startChannel,
                       unsigned long endChannel) {
    QISRTV_TRACE_CLEARQAM("RunATSCTest");
    (void)tuner; // the network provider tunes; the tuner filter is already wired
    ScanGraph scan;
    TestResult result = completeGraph(kAtscScan, graph, networkProvider, receiver, windowCaption, scan);
    if (result != TestResult::NOSIGNAL()) return result;
    const long start = static_cast<long>(startChannel), end = static_cast<long>(endChannel);
    for (bool firstPass = true;; firstPass = false) {
        result = scanAtscChannels(scan, testingChannel, start, end);
        logScan(kEndOfLoop);
        if (result != TestResult::NOSIGNAL() || !firstPass) break;
        g_clearQamResult = scan.videoWindow->put_Visible(OAFALSE);
        const int answer = RetryDigitalTestDlg();
        g_clearQamResult = scan.videoWindow->put_Visible(OATRUE);
        if (answer == RetryAnswerAborted) result = TestResult::USERABORTED();
        if (answer != RetryAnswerRetry) break;
        DiagModule::resetPercentDone();
    }
    return finishScan(scan, result);
}

TestResult RunClearQAMTest(IGraphBuilder* graph, IBaseFilter* networkProvider, IBaseFilter* tuner, IBaseFilter* receiver,
                           mirt5::LocalizedString& testingChannel, const qis::String& windowCaption) {
    QISRTV_TRACE_CLEARQAM("RunClearQAMTest");
    (void)tuner;
    ScanGraph scan;
    TestResult result = completeGraph(kClearQamScan, graph, networkProvider, receiver, windowCaption, scan);
    if (result != TestResult::NOSIGNAL()) return result;
    for (long channel = kFirstQamChannel, program = 1; channel <= kLastQamChannel;) {
        DiagModule::percentDone(roundedPercent(channel - kFirstQamChannel, kQamChannelSpan));
        reportChannel(testingChannel, L"%ld-%ld", channel, program);
        result = tryRequest(kClearQamScan, scan, createTuneRequest(scan.tuningSpace.get(), channel, program));
        if (result != TestResult::NOSIGNAL()) break;
        if (++program > kProgramsPerChannel) {
            program = 1;
            ++channel;
        }
    }
    logScan(kEndOfLoop);
    return finishScan(scan, result);
}

TestResult ATSCTestWrapper(const mirt5::DiagDevice& device) {
    QISRTV_TRACE("ATSCTestWrapper");
    ComPtr<IGraphBuilder> graph;
    g_clearQamResult = createInstance(CLSID_FilterGraph, nullptr, CLSCTX_ALL, IID_PPV_ARGS(graph.put()));
    QISRTV_ASSERT(SUCCEEDED(g_clearQamResult), kAssertSucceeded);
    ComPtr<IBaseFilter> provider;
    provider.attach(getNetworkProvider());
    if (!provider) {
        logStep(kNoProvider);
        return TestResult::CANNOTRUN();
    }
    g_clearQamResult = graph->AddFilter(provider.get(), kProviderName);
    QISRTV_ASSERT(SUCCEEDED(g_clearQamResult), kAssertSucceeded);
    ComPtr<IBaseFilter> tuner, receiver;
    if (!LoadFilter(tunekit::KSCATEGORY_BDA_NETWORK_TUNER, tuner.put(), provider.get(), true, graph.get(), device, false)) {
        logStep(kNoTuner);
        return TestResult::CANNOTRUN();
    }
    if (!LoadFilter(tunekit::KSCATEGORY_BDA_RECEIVER_COMPONENT, receiver.put(), tuner.get(), true, graph.get(), device, false)) {
        logStep(kNoReceiver);
        return TestResult::CANNOTRUN();
    }
    const std::uint32_t start = DigitalStartChannel->value().valueUint32();
    const std::uint32_t end = DigitalEndChannel->value().valueUint32();
    const TestResult result = RunATSCTest(graph.get(), provider.get(), tuner.get(), receiver.get(), *TestingChannel,
                                          DigitalTVSignalTestHandle->localizedName(), start, end);
    if (result == TestResult::NOSIGNAL()) {
        ErrorNoSignalDetected->setVariable("startchannel", qis::QISValue(start));
        ErrorNoSignalDetected->setVariable("endchannel", qis::QISValue(end));
        DiagModule::warning(ErrorNoSignalDetected, kSourceFile, __LINE__);
    }
    return result;
}

} // namespace qisrtvcard

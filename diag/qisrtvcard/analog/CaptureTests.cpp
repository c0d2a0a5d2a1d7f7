// The capture tests: three seconds of the device's video in the video window, or written to
// ".\capture.avi". Both share the entry and the start of the graph step.
#include "analog/AnalogPlumbing.h"
#include "analog/AnalogShared.h"
#include "analog/GraphHandles.h"
#include "analog/SampleCaptureGraphBuilder.h"
#include "frame/Catalogue.h"
#include "frame/MediaCenter.h"
#include "frame/GraphServices.h"
#include "frame/TestEntries.h"
#include "frame/Trace.h"
#include "qis/FileSystem.h"
#include "tunekit/TunerLogger.h"
#include "tunekit/SmartCoInitialize.h"

namespace qisrtvcard {
namespace {

using mirt5::DiagModule;
using mirt5::TestResult;
using tunekit::ComPtr;

constexpr const char* kAddFilterFailed = "AddFilter failed.";
constexpr const char* kRenderStreamFailed = "RenderStream failed.";
constexpr const char* kSetOutputFileNameFailed = "SetOutputFileName failed.";
constexpr const char* kMpeg2OutputFailed = "Set output file MPEG2 failed";
constexpr const wchar_t* kCaptureFile = L".\\capture.avi";
constexpr const char* kCaptureFileName = ".\\capture.avi";
constexpr double kCaptureSeconds = 3.0;

// The MPEG-2 file writer, the second choice of output when the AVI multiplexer is missing.
constexpr GUID kMpeg2FileWriterSubtype = {0x7DC2C665, 0x4033, 0x4CAF, {0x92, 0x73, 0xF7, 0xD7, 0x97, 0xFB, 0x24, 0x5C}};

enum class GraphStep { Screen, File };

TestResult raiseGraphError(const qis::String& error, Caller where = Caller::current()) {
    ErrorCreatingFilterGraph->setVariable("error", error);
    DiagModule::error(ErrorCreatingFilterGraph, kSourceFile, lineOf(where));
    return TestResult::FAIL();
}

TestResult hardwareNotSupported(Caller where = Caller::current()) {
    DiagModule::warning(WarningHardwareDoesNotSupportAnalogTVCapture, kSourceFile, lineOf(where));
    return TestResult::NOTSUPPORTED();
}

// The capture filter in the graph, the tuner in TV mode when there is one, the crossbar routed.
// The two steps answer a refused AddFilter differently on purpose.
TestResult startGraphStep(const mirt5::DiagDevice& device, GraphStep step) {
    if (!g_captureFilter) return hardwareNotSupported();
    if (FAILED(g_graphManager->AddFilter(g_captureFilter.get(), L"Video Capture"))) {
        ErrorCreatingFilterGraph->setVariable("error", kAddFilterFailed);
        g_captureFilter.reset();
        if (step == GraphStep::Screen) return hardwareNotSupported();
        DiagModule::error(ErrorCreatingFilterGraph, kSourceFile, __LINE__);
        return TestResult::FAIL();
    }
    if (device.intersectCapability(mirt5::DeviceCapability::AnalogTVTuner()) &&
        SUCCEEDED(g_captureBuilder->FindInterface(&PIN_CATEGORY_CAPTURE, nullptr, g_captureFilter.get(), IID_PPV_ARGS(g_tvTuner.put()))) &&
        g_tvTuner)
        g_tvTuner->put_Mode(AMTUNER_MODE_TV);
    routeCrossbarToTuner();
    return TestResult::PASS();
}

HRESULT renderToDefaultRenderer() {
    static const struct {
        const GUID* category;
        const GUID* type;
    } kForms[] = {{&PIN_CATEGORY_PREVIEW, &MEDIATYPE_Video},
                  {&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video},
                  {&PIN_CATEGORY_PREVIEW, &MEDIATYPE_Stream},
                  {&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Stream}};
    HRESULT hr = E_FAIL;
    for (const auto& form : kForms) {
        hr = g_captureBuilder->RenderStream(form.category, form.type, g_captureFilter.get(), nullptr, nullptr);
        if (SUCCEEDED(hr)) break;
    }
    return hr;
}

bool attachRendererToWindow() {
    if (!g_videoWindow) return false;
    RECT client{};
    GetClientRect(g_hwndVideo, &client);
    return SUCCEEDED(g_videoWindow->put_Owner(reinterpret_cast<OAHWND>(g_hwndVideo))) &&
           SUCCEEDED(g_videoWindow->put_WindowStyle(WS_CHILD)) &&
           SUCCEEDED(g_videoWindow->SetWindowPosition(0, 0, client.right, client.bottom)) &&
           SUCCEEDED(g_videoWindow->put_Visible(OATRUE));
}

// The graph is not published in the running object table; the scopes mark where it would be.
void traceAddGraphToRot() { QISRTV_TRACE("AddGraphToRot"); }
void traceRemoveGraphFromRot() { QISRTV_TRACE("RemoveGraphFromRot"); }

TestResult runScreenGraph(const mirt5::DiagDevice& device) {
    TestResult result = startGraphStep(device, GraphStep::Screen);
    if (result != TestResult::PASS()) return result;
    if (FAILED(renderToDefaultRenderer())) {
        result = raiseGraphError(kRenderStreamFailed);
        DiagModule::percentDone(100);
        return result;
    }
    g_captureFilter.reset(); // the graph holds it now
    if (!attachRendererToWindow()) {
        DiagModule::error(ErrorRenderingVideoStream, kSourceFile, __LINE__);
        return TestResult::FAIL();
    }
    if (FAILED(g_mediaControl->Run())) return raiseGraphError(ErrorRunFailed->localizedString());
    traceAddGraphToRot();
    ShowWindow(g_hwndVideo, SW_SHOW);
    g_playState = State_Running;
    pumpMessagesFor(kCaptureSeconds);
    closeInterfaces();
    DestroyWindow(g_hwndVideo);
    ShowWindow(g_hwndVideo, SW_HIDE);
    traceRemoveGraphFromRot();
    return TestResult::PASS();
}

HRESULT setOutputFile(ComPtr<IBaseFilter>& mux, ComPtr<IFileSinkFilter>& sink) {
    HRESULT hr = g_captureBuilder->SetOutputFileName(&MEDIASUBTYPE_Avi, kCaptureFile, mux.put(), sink.put());
    if (FAILED(hr)) hr = g_captureBuilder->SetOutputFileName(&kMpeg2FileWriterSubtype, kCaptureFile, mux.put(), sink.put());
    return hr;
}

// Interleaved, then video into the multiplexer; last, a plain stream straight into the writer.
HRESULT renderToFile(IBaseFilter* mux, IFileSinkFilter* sink) {
    HRESULT hr = g_captureBuilder->RenderStream(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Interleaved, g_captureFilter.get(), nullptr, mux);
    if (SUCCEEDED(hr)) return hr;
    hr = g_captureBuilder->RenderStream(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, g_captureFilter.get(), nullptr, mux);
    if (SUCCEEDED(hr) || !sink) return hr;
    sink->SetFileName(kCaptureFile, nullptr);
    ComPtr<IBaseFilter> sinkFilter;
    hr = sink->QueryInterface(IID_PPV_ARGS(sinkFilter.put()));
    if (FAILED(hr)) return hr;
    return g_captureBuilder->RenderStream(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Stream, g_captureFilter.get(), nullptr, sinkFilter.get());
}

TestResult runFileGraph(const mirt5::DiagDevice& device) {
    TestResult result = startGraphStep(device, GraphStep::File);
    if (result != TestResult::PASS()) return result;
    if (qis::FileSystem::exists(kCaptureFileName)) qis::FileSystem::removeFile(kCaptureFileName);
    ComPtr<IBaseFilter> mux;
    ComPtr<IFileSinkFilter> sink;
    if (FAILED(setOutputFile(mux, sink))) {
        result = raiseGraphError(kSetOutputFileNameFailed);
        g_captureFilter.reset();
        tunekit::TunerLogger::logErrorMessage(kMpeg2OutputFailed);
        return result;
    }
    if (FAILED(renderToFile(mux.get(), sink.get()))) {
        result = raiseGraphError(kRenderStreamFailed);
        DiagModule::percentDone(100);
        return result;
    }
    mux.reset();
    g_captureFilter.reset();
    if (FAILED(g_mediaControl->Run())) return raiseGraphError(ErrorRunFailed->localizedString());
    g_playState = State_Running;
    traceAddGraphToRot();
    pumpMessagesFor(kCaptureSeconds); // the window stays hidden while the file is written
    closeInterfaces();
    DestroyWindow(g_hwndVideo);
    traceRemoveGraphFromRot();
    return TestResult::PASS();
}

TestResult runCaptureTest(const mirt5::DiagDevice& device, const char* testName, mirt5::LocalizedString* title,
                          TestResult (*graphStep)(const mirt5::DiagDevice&)) {
    QISRTV_ASSERT(device.intersectCapability(mirt5::DeviceCapability::VideoCapture()), kAssertVideoCapture);
    if (isMediaCenterRunning()) {
        DiagModule::warning(MediaCenterIsRunning, kSourceFile, __LINE__);
        return TestResult::CANNOTRUN();
    }
    const GraphHandlesAbandonedOnReturn leftAsTheyAre;
    // The early returns leave window and COM as they are; only the graph step's path tears down.
    TestResult result = setupCaptureGraph();
    if (result != TestResult::PASS()) return result;
    result = setupWindow(testName, title->localizedString());
    if (result != TestResult::PASS()) return result;
    result = FindCaptureDevice(device, CLSID_VideoInputDeviceCategory);
    if (result != TestResult::PASS()) return result;
    result = graphStep(device);
    // After a successful step these find nothing left to do.
    DestroyWindow(g_hwndVideo);
    closeInterfaces();
    tunekit::uninitializeCom();
    return result;
}

} // namespace

TestResult CaptureToScreenTest(const mirt5::DiagDevice& device) {
    QISRTV_TRACE("CaptureToScreenTest");
    return runCaptureTest(device, "CaptureToScreenTest", CaptureToScreenTitle, runScreenGraph);
}

TestResult CaptureToFileTest(const mirt5::DiagDevice& device) {
    QISRTV_TRACE("CaptureToFileTest");
    return runCaptureTest(device, "CaptureToFileTest", CaptureToFileTitle, runFileGraph);
}

} // namespace qisrtvcard

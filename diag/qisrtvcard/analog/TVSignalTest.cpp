// The analog TV signal test: routes the tuner, sets TV mode and the country, renders the stream,
// shows the video window and scans the channel range for a signal, asking the user to check the
// cable before a second scan.
#include <algorithm>
#include <cstdlib>
#include <cstdint>

#include "analog/AnalogPlumbing.h"
#include "analog/AnalogShared.h"
#include "frame/CountryDialog.h"
#include "analog/GraphHandles.h"
#include "analog/SampleCaptureGraphBuilder.h"
#include "frame/Catalogue.h"
#include "frame/MediaCenter.h"
#include "frame/GraphServices.h"
#include "frame/RetryPrompt.h"
#include "frame/CountryTable.h"
#include "frame/TestEntries.h"
#include "frame/Trace.h"
#include "qis/System.h"
#include "tunekit/CaptureUtil.h"
#include "tunekit/ComOwners.h"
#include "tunekit/ErrorHandler.h"
#include "tunekit/TunerLogger.h"
#include "tunekit/SmartCoInitialize.h"

namespace qisrtvcard {
namespace {

using mirt5::DiagModule;
using mirt5::TestResult;
using tunekit::TunerLogger;

constexpr const char* kModeFailed = "AMTUNER_MODE_TV failed.";
constexpr const char* kAntennaFailed = "TunerInputAntenna failed.";
constexpr const char* kCableFailed = "TunerInputCable failed.";
constexpr const char* kCannotTuneAntenna = "Cannot tune to antenna channel ";
constexpr const char* kCannotTuneCable = "Cannot tune to cable channel ";
constexpr const char* kRendering = "Rendering Stream";
constexpr const char* kInterleavedFailed = "RenderStream Interleaved failed trying video: ";
constexpr const char* kAfterInterleaved = "After Interleaved RenderStream:\n";
constexpr const char* kVideoFailed = "RenderStream Video failed trying stream: ";
constexpr const char* kAfterVideo = "After Video RenderStream:\n";
constexpr const char* kStreamFailed = "RenderStream Stream failed: ";
constexpr const char* kAfterStream = "After Stream RenderStream\n";
constexpr const char* kReadingConfig = "Attempting to read the stream configuration to use to resize window";
constexpr const char* kConfigInterleavedFailed = "IGraphBuilder::FindInterface(IID_IAMStreamConfig) interleaved failed trying video: ";
constexpr const char* kConfigVideoFailed = "IGraphBuilder::FindInterface(IID_IAMStreamConfig) video failed:";
constexpr const char* kGotConfigVideo = "Got Stream Config";
constexpr const char* kConfigNull = "Stream Config is NULL";
constexpr const char* kGotConfig = "Got Stream Configuration";
constexpr const char* kGetFormatFailed = "IAMStreamConfig::GetFormat failed: ";
constexpr const char* kPostRender = "Post Render Stream:\n";
constexpr const char* kSettingUpWindow = "Setting up video window";

constexpr long kTunerInputIndex = 0;
constexpr long kSignalSentinel = -2;
constexpr unsigned long kCheckDelayMilliseconds = 1;
constexpr unsigned long kSettleMilliseconds = 500;

TestResult raiseError(mirt5::Event* event, const qis::String& error, bool percentDoneFirst = true, Caller where = Caller::current()) {
    event->setVariable("error", error);
    DiagModule::error(event, kSourceFile, lineOf(where));
    if (percentDoneFirst) DiagModule::percentDone(100);
    return TestResult::FAIL();
}

void raiseNoSignalDetected(Caller where = Caller::current()) {
    ErrorNoSignalDetected->setVariable("startchannel", TVStartChannel->value().toString());
    ErrorNoSignalDetected->setVariable("endchannel", TVEndChannel->value().toString());
    DiagModule::warning(ErrorNoSignalDetected, kSourceFile, lineOf(where));
}

void logGraph(const char* heading) {
    TunerLogger::logDebugMessage(heading + tunekit::CaptureUtil::graphToString(g_graphManager.get()));
}

// The design logs the literal from the channel's position on, so the channel number moves the
// start of the text rather than being appended to it.
void logCannotTune(const char* literal, std::uint32_t channel) { TunerLogger::logDebugMessage(qis::String(literal).substring(channel)); }

// Up to "ChecksPerChannel" looks at the tuner's signal flag; a stop request during them ends the pass.
TestResult checkSignal(bool& signalFound) {
    const std::uint32_t checks = ChecksPerChannel->value().valueUint32();
    bool found = false;
    for (std::uint32_t i = 0; i < checks; ++i) {
        long signal = kSignalSentinel;
        qis::System::sleepMilliseconds(kCheckDelayMilliseconds);
        g_tvTuner->SignalPresent(&signal);
        if (signal == AMTUNER_SIGNALPRESENT) {
            found = true;
            break;
        }
        if (DiagModule::checkForStop()) break;
    }
    if (!found && DiagModule::checkForStop()) return TestResult::USERABORTED();
    if (found) signalFound = true;
    return TestResult::PASS();
}

// Tunes one channel on one input and looks for a signal; false when the pass must end with `ended`.
bool tryInput(std::uint32_t channel, const char* cannotTune, bool& tunedAny, bool& signalFound, TestResult& ended) {
    if (FAILED(g_tvTuner->put_Channel(static_cast<long>(channel), AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT))) {
        logCannotTune(cannotTune, channel);
        return true;
    }
    long foundSignal = 0;
    g_tvTuner->AutoTune(static_cast<long>(channel), &foundSignal);
    tunedAny = true;
    ended = checkSignal(signalFound);
    return ended == TestResult::PASS();
}

TestResult scanChannels() {
    bool tryAntenna = true, tryCable = true, signalFound = false, tunedAny = false;
    const qis::String signalType = SignalType->value().toString().toUpper();
    if (signalType == "CABLE") tryAntenna = false;
    else if (signalType == "ANTENNA") tryCable = false;

    const std::uint32_t start = TVStartChannel->value().valueUint32();
    const std::uint32_t end = TVEndChannel->value().valueUint32();
    const std::uint32_t last = std::max(start, end);
    for (std::uint64_t channel64 = start; channel64 <= last; ++channel64) {
        const auto channel = static_cast<std::uint32_t>(channel64);
        ShowWindow(g_hwndVideo, SW_SHOW);
        TestingChannel->setVariable("channel", qis::String::number(channel));
        DiagModule::progress(TestingChannel);
        TestResult ended = TestResult::PASS();
        if (tryAntenna) {
            if (FAILED(g_tvTuner->put_InputType(kTunerInputIndex, TunerInputAntenna))) raiseError(ErrorCreatingFilterGraph, kAntennaFailed, false);
            if (!tryInput(channel, kCannotTuneAntenna, tunedAny, signalFound, ended)) return ended;
        }
        if (tryCable) {
            if (FAILED(g_tvTuner->put_InputType(kTunerInputIndex, TunerInputCable))) return raiseError(ErrorCreatingFilterGraph, kCableFailed, false);
            if (!tryInput(channel, kCannotTuneCable, tunedAny, signalFound, ended)) return ended;
        }
        drainMessages();
        if (StopOnSignal->value().valueBool() && signalFound) return TestResult::PASS();
        // From the channel number, not the position in the range; both bounds 0 count as done.
        DiagModule::percentDone(last == 0 ? 100 : static_cast<int>(channel64 * 100 / last));
    }
    if (signalFound) return TestResult::PASS();
    return tunedAny ? TestResult::FAIL() : TestResult::TESTNOTSTARTED();
}

// The capture format sizes the window, but only after the stream form of RenderStream.
void resizeToCaptureFormat() {
    TunerLogger::logDebugMessage(kReadingConfig);
    tunekit::ComPtr<IAMStreamConfig> config;
    HRESULT hr = g_captureBuilder->FindInterface(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Interleaved, g_captureFilter.get(),
                                                 IID_PPV_ARGS(config.put()));
    if (FAILED(hr)) {
        TunerLogger::logDebugMessage(kConfigInterleavedFailed + tunekit::ErrorHandler::errorMessageFromHr(hr));
        hr = g_captureBuilder->FindInterface(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, g_captureFilter.get(),
                                             IID_PPV_ARGS(config.put()));
        TunerLogger::logDebugMessage(SUCCEEDED(hr) ? qis::String(kGotConfigVideo)
                                                   : kConfigVideoFailed + tunekit::ErrorHandler::errorMessageFromHr(hr));
    }
    if (!config) {
        TunerLogger::logDebugMessage(kConfigNull);
        return;
    }
    TunerLogger::logDebugMessage(kGotConfig);
    tunekit::MediaTypePtr type;
    hr = config->GetFormat(type.put());
    if (FAILED(hr)) TunerLogger::logDebugMessage(kGetFormatFailed + tunekit::ErrorHandler::errorMessageFromHr(hr));
    // Without a format the window keeps its size, but the renderer is fitted all the same.
    if (SUCCEEDED(hr) && type && type->formattype == FORMAT_VideoInfo && type->pbFormat && type->cbFormat >= sizeof(VIDEOINFOHEADER)) {
        const auto* header = reinterpret_cast<const VIDEOINFOHEADER*>(type->pbFormat);
        resizeWindowToFitClient(header->bmiHeader.biWidth, std::labs(header->bmiHeader.biHeight));
    }
    if (g_videoWindow) fitRendererToClient();
}

bool renderStream() {
    TunerLogger::logDebugMessage(kRendering);
    HRESULT hr = g_captureBuilder->RenderStream(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Interleaved, g_captureFilter.get(), nullptr, nullptr);
    if (SUCCEEDED(hr)) return true;
    TunerLogger::logDebugMessage(kInterleavedFailed + tunekit::ErrorHandler::errorMessageFromHr(hr));
    logGraph(kAfterInterleaved);
    hr = g_captureBuilder->RenderStream(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, g_captureFilter.get(), nullptr, nullptr);
    if (SUCCEEDED(hr)) return true;
    TunerLogger::logDebugMessage(kVideoFailed + tunekit::ErrorHandler::errorMessageFromHr(hr));
    logGraph(kAfterVideo);
    hr = g_captureBuilder->RenderStream(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Stream, g_captureFilter.get(), nullptr, nullptr);
    if (FAILED(hr)) {
        TunerLogger::logDebugMessage(kStreamFailed + tunekit::ErrorHandler::errorMessageFromHr(hr));
        logGraph(kAfterStream);
        return false;
    }
    resizeToCaptureFormat();
    return true;
}

// 0 when the user cancelled the country dialog.
std::int32_t countryFor(mirt5::Parameter* askParameter) {
    return askParameter->value().valueBool() ? askForCountry() : static_cast<std::int32_t>(languageCountryCode());
}

TestResult leaveTable(DWORD cookie, TestResult result) {
    RemoveGraphFromRot(cookie);
    return result;
}

TestResult secondScan(DWORD cookie) {
    DiagModule::resetPercentDone();
    if (AskCountryCode2->value().valueBool()) {
        const std::int32_t code = askForCountry();
        if (code == 0) return leaveTable(cookie, TestResult::USERABORTED());
        g_tvTuner->put_CountryCode(code);
    }
    ShowWindow(g_hwndVideo, SW_SHOW);
    const TestResult result = scanChannels();
    ShowWindow(g_hwndVideo, SW_HIDE);
    if (result == TestResult::TESTNOTSTARTED()) {
        // A warning and NOSIGNAL here, unlike after the first pass.
        ErrorCreatingFilterGraph->setVariable("error", kCableFailed);
        DiagModule::warning(ErrorCreatingFilterGraph, kSourceFile, __LINE__);
        DiagModule::percentDone(100);
        return leaveTable(cookie, TestResult::NOSIGNAL());
    }
    if (result == TestResult::FAIL()) raiseNoSignalDetected();
    DiagModule::percentDone(100);
    return leaveTable(cookie, result == TestResult::FAIL() ? TestResult::NOSIGNAL() : result);
}

TestResult checkAnalogTVSignal() {
    QISRTV_TRACE("checkAnalogTVSignal");
    DiagModule::percentDone(0);
    if (const TestResult attached = attachAnalogTuner(); attached != TestResult::PASS()) return attached;
    if (FAILED(g_tvTuner->put_Mode(AMTUNER_MODE_TV))) return raiseError(ErrorCreatingFilterGraph, kModeFailed);
    const std::int32_t country = countryFor(AskCountryCode1);
    if (country == 0) return TestResult::USERABORTED();
    g_tvTuner->put_CountryCode(country);

    if (!renderStream()) return raiseError(ErrorCreatingFilterGraph, "");
    logGraph(kPostRender);
    g_captureFilter.reset(); // the graph holds it now

    TunerLogger::logDebugMessage(kSettingUpWindow);
    if (FAILED(initVideoWindow())) {
        DiagModule::error(ErrorRenderingVideoStream, kSourceFile, __LINE__);
        return TestResult::FAIL();
    }
    if (FAILED(g_mediaControl->Run())) return raiseError(ErrorCreatingFilterGraph, ErrorRunFailed->localizedString());

    DWORD cookie = 0;
    AddGraphToRot(g_graphManager.get(), &cookie);
    ShowWindow(g_hwndVideo, SW_SHOW);
    g_playState = State_Running;
    qis::System::sleepMilliseconds(kSettleMilliseconds);
    const TestResult first = scanChannels();
    ShowWindow(g_hwndVideo, SW_HIDE);

    if (first == TestResult::TESTNOTSTARTED()) {
        raiseError(ErrorCreatingFilterGraph, kCableFailed);
        return leaveTable(cookie, TestResult::FAIL());
    }
    if (first != TestResult::FAIL()) return leaveTable(cookie, first);
    if (!CheckTVCable->value().valueBool()) {
        raiseNoSignalDetected();
        DiagModule::percentDone(100);
        return leaveTable(cookie, TestResult::NOSIGNAL());
    }
    switch (askUserToCheckCable()) {
    case mirt5::MessageBox::AnswerCancel: return leaveTable(cookie, TestResult::USERABORTED());
    case mirt5::MessageBox::AnswerSkip:
        raiseNoSignalDetected();
        DiagModule::percentDone(100);
        return leaveTable(cookie, TestResult::NOSIGNAL());
    default: return secondScan(cookie);
    }
}

} // namespace

TestResult AnalogTVSignalTest(const mirt5::DiagDevice& device) {
    QISRTV_TRACE("AnalogTVSignalTest");
    QISRTV_ASSERT(device.intersectCapability(mirt5::DeviceCapability::VideoCapture()), kAssertVideoCapture);
    if (isMediaCenterRunning()) {
        DiagModule::warning(MediaCenterIsRunning, kSourceFile, __LINE__);
        return TestResult::CANNOTRUN();
    }
    const GraphHandlesAbandonedOnReturn leftAsTheyAre;
    // The early returns skip the clean-up below, CoUninitialize included.
    TestResult result = setupCaptureGraph();
    if (result != TestResult::PASS()) return result;
    result = setupWindow("AnalogTVSignalTest", CheckCableConnectedTitle->localizedString());
    if (result != TestResult::PASS()) return result;
    result = FindCaptureDevice(device, CLSID_VideoInputDeviceCategory);
    if (result != TestResult::PASS()) return result;

    result = checkAnalogTVSignal();
    DestroyWindow(g_hwndVideo);
    closeInterfaces();
    tunekit::uninitializeCom();
    return result;
}

} // namespace qisrtvcard

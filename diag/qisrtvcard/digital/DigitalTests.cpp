// Entries of the digital tests: the OpenCable receiver gets its own test after a warning, other
// cards the ATSC scan and, only when that cannot run, DVB-T; and the Clear QAM scan.
#include "digital/ClearQamTest.h"
#include "digital/DigitalTests.h"
#include "digital/AtscTuning.h"
#include "digital/DigitalLog.h"
#include "digital/FilterLoading.h"
#include "frame/Catalogue.h"
#include "frame/ComFactory.h"
#include "frame/MediaCenter.h"
#include "frame/TestEntries.h"
#include "frame/Trace.h"
#include "qis/System.h"
#include "tunekit/ComPtr.h"
#include "tunekit/SmartCoInitialize.h"

namespace qisrtvcard {
namespace {

using mirt5::DiagModule;
using mirt5::TestResult;
using tunekit::ComPtr;

constexpr const char* kCoInitializeFailed = "CoInitializeEx failed: ";
constexpr const char* kOcurPromptKind = "ocurWarning";
constexpr const wchar_t* kProviderName = L"Microsoft Network Provider";
constexpr unsigned long kAfterScanMilliseconds = 2000;

TestResult mediaCenterRunning(Caller where = Caller::current()) {
    DiagModule::warning(MediaCenterIsRunning, kSourceFile, lineOf(where));
    return TestResult::CANNOTRUN();
}

// The OK/Cancel warning before an OpenCable receiver is tuned. It has no time-out; a host
// running unattended answers it in advance.
bool confirmOcurWarning() {
    const qis::String text = OCURWarningMessage->localizedString();
    const qis::String caption = DigitalTVSignalTestHandle->localizedName();
    mirt5::Prompt prompt;
    prompt.kind = kOcurPromptKind;
    prompt.type = MB_OKCANCEL; // the box's own flags, as MessageBoxW gets them
    prompt.title = caption;
    prompt.text = text;
    if (const auto answer = DiagModule::takeAnswer(prompt, IDOK, IDCANCEL)) return *answer == IDOK;
    return DiagModule::showOwnPrompt(prompt, [&] {
               return MessageBoxW(nullptr, text.wide().c_str(), caption.wide().c_str(), MB_OKCANCEL);
           }) == IDOK;
}

} // namespace

TestResult DigitalTVSignalTest(const mirt5::DiagDevice& device) {
    QISRTV_TRACE("DigitalTVSignalTest");
    QISRTV_ASSERT(device.intersectCapability(mirt5::DeviceCapability::VideoCapture()), kAssertVideoCapture);
    if (isMediaCenterRunning()) return mediaCenterRunning(); // before COM or any box
    tunekit::SmartCoInitialize com;
    if (!com.initialize()) {
        QISRTV_LOG(qis::LogPriority::Info, kCoInitializeFailed + com.initError());
        DiagModule::warning(WarningWindowSetupProblem, kSourceFile, __LINE__);
        return TestResult::CANNOTRUN();
    }
    if (device.name().contains(kOcurName)) return confirmOcurWarning() ? TestOcurDevice(device) : TestResult::USERABORTED();
    const TestResult atsc = ATSCTestWrapper(device);
    qis::System::sleepMilliseconds(kAfterScanMilliseconds);
    // Only a card without an ATSC path goes on to DVB-T; an ATSC scan without signal is final.
    return atsc == TestResult::CANNOTRUN() ? RunDVBTest(device) : atsc;
}

TestResult ClearQAMTest(const mirt5::DiagDevice& device) {
    QISRTV_TRACE("ClearQAMTest");
    tunekit::initializeCom(COINIT_APARTMENTTHREADED); // its result is not examined
    if (isMediaCenterRunning()) return mediaCenterRunning(); // COM stays initialised on this path
    const TestResult result = ClearQAMTestWrapper(device);
    qis::System::sleepMilliseconds(kAfterScanMilliseconds);
    if (result == TestResult::NOSIGNAL()) DiagModule::warning(ErrorNoSignalQC, kSourceFile, __LINE__);
    tunekit::uninitializeCom();
    return result;
}

// Every failure here is an impossible graph and throws; the ATSC path returns CANNOTRUN instead.
TestResult ClearQAMTestWrapper(const mirt5::DiagDevice& device) {
    QISRTV_TRACE("ClearQAMTestWrapper");
    ComPtr<IGraphBuilder> graph;
    HRESULT hr = createInstance(CLSID_FilterGraph, nullptr, CLSCTX_ALL, IID_PPV_ARGS(graph.put()));
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    ComPtr<IBaseFilter> provider;
    provider.attach(getNetworkProvider());
    QISRTV_ASSERT(provider, "NetworkProviderFilter");
    hr = graph->AddFilter(provider.get(), kProviderName);
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    ComPtr<IBaseFilter> tuner, receiver;
    if (!LoadFilter(tunekit::KSCATEGORY_BDA_NETWORK_TUNER, tuner.put(), provider.get(), true, graph.get(), device, false))
        QISRTV_ASSERT(false, kAssertFalse);
    if (!LoadFilter(tunekit::KSCATEGORY_BDA_RECEIVER_COMPONENT, receiver.put(), tuner.get(), true, graph.get(), device, false))
        QISRTV_ASSERT(false, kAssertFalse);
    return RunClearQAMTest(graph.get(), provider.get(), tuner.get(), receiver.get(), *TestingChannel,
                           ClearQAMTestHandle->localizedName());
}

} // namespace qisrtvcard

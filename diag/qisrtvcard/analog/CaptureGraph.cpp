#include "analog/AnalogPlumbing.h"
#include "analog/GraphHandles.h"
#include "analog/SampleCaptureGraphBuilder.h"
#include "frame/Catalogue.h"
#include "frame/ComFactory.h"
#include "frame/Trace.h"
#include "tunekit/SmartCoInitialize.h"

namespace qisrtvcard {
namespace {

constexpr const char* kCoInitializeFailed = "CoInitializeEx failed.";
constexpr const char* kFilterGraphFailed = "CLSID_FilterGraph failed.";
constexpr const char* kMediaControlFailed = "IID_IMediaControl failed.";
constexpr const char* kSetFiltergraphFailed = "SetFiltergraph failed.";

mirt5::TestResult graphNotCreated(const char* error, Caller where = Caller::current()) {
    ErrorCreatingFilterGraph->setVariable("error", error);
    mirt5::DiagModule::error(ErrorCreatingFilterGraph, kSourceFile, lineOf(where));
    return mirt5::TestResult::FAIL();
}

} // namespace

// The failure returns release nothing: the callers return at once and leave the clean-up, and
// CoUninitialize, undone.
mirt5::TestResult setupCaptureGraph() {
    QISRTV_TRACE("setupCaptureGraph");
    if (FAILED(tunekit::initializeCom(COINIT_APARTMENTTHREADED))) {
        WarningWindowSetupProblem->setVariable("error", kCoInitializeFailed);
        mirt5::DiagModule::warning(WarningWindowSetupProblem, kSourceFile, __LINE__);
        return mirt5::TestResult::INTERNALERROR();
    }
    if (FAILED(createInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER, IID_PPV_ARGS(g_graphManager.put()))))
        return graphNotCreated(kFilterGraphFailed);
    g_captureBuilder = std::make_unique<ISampleCaptureGraphBuilder>();
    if (FAILED(g_graphManager.as(g_mediaControl))) return graphNotCreated(kMediaControlFailed);
    if (FAILED(g_captureBuilder->SetFiltergraph(g_graphManager.get()))) return graphNotCreated(kSetFiltergraphFailed);
    return mirt5::TestResult::PASS();
}

} // namespace qisrtvcard

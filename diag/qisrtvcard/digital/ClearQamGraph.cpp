// Graph helpers of the ATSC and Clear QAM scans: rendering the demultiplexer, finding the video
// renderer and judging whether it draws.
#include "digital/ClearQamTest.h"
#include "digital/GraphToolkit.h"
#include "frame/Trace.h"
#include "qis/String.h"
#include "qis/System.h"
#include "tunekit/ComPtr.h"

namespace qisrtvcard {
namespace {

constexpr ULONG kMostFiltersSearched = 100;
constexpr int kDemultiplexerPinsRendered = 3;
constexpr unsigned long kFirstLookMilliseconds = 2500;
constexpr unsigned long kFirstConfirmMilliseconds = 10000; // the first check in a process waits longest
constexpr unsigned long kConfirmMilliseconds = 2500;
constexpr int kFramesForPicture = 3;

bool g_firstFramesCheck = true;

} // namespace

HRESULT g_clearQamResult = S_OK;

bool clearqam::renderGraph(IBaseFilter* filter, IGraphBuilder* graph) {
    QISRTV_TRACE_CLEARQAM("renderGraph");
    renderOutputPins(filter, graph, kDemultiplexerPinsRendered);
    return true;
}

// The graph reference in each filter's information, and the filters fetched after the match,
// are left as they are.
IBaseFilter* FindFromName(const wchar_t* name, IFilterGraph* graph) {
    QISRTV_TRACE_CLEARQAM("FindFromName");
    tunekit::ComPtr<IEnumFilters> filters;
    HRESULT hr = g_clearQamResult = graph->EnumFilters(filters.put());
    if (!filters) hr = E_POINTER;
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    IBaseFilter* fetched[kMostFiltersSearched] = {};
    ULONG count = 0;
    hr = g_clearQamResult = filters->Next(kMostFiltersSearched, fetched, &count);
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    const qis::String wanted(name);
    for (ULONG i = 0; i < count; ++i) {
        FILTER_INFO info{};
        hr = g_clearQamResult = fetched[i]->QueryFilterInfo(&info);
        QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
        if (qis::String(info.achName) == wanted) return fetched[i];
        fetched[i]->Release();
    }
    QISRTV_ASSERT(false, kAssertFalse);
    return nullptr;
}

bool FramesBeingRendered(IQualProp* qualProp) {
    QISRTV_TRACE_CLEARQAM("FramesBeingRendered");
    int c1 = 0;
    HRESULT hr = g_clearQamResult = qualProp->get_FramesDrawn(&c1);
    QISRTV_ASSERT(SUCCEEDED(hr) && c1 >= 0, "SUCCEEDED( hr ) && c1 >= 0");
    qis::System::sleepMilliseconds(kFirstLookMilliseconds);
    int c2 = 0;
    qualProp->get_FramesDrawn(&c2);
    // In 64 bits: a renderer reporting a very negative count must not overflow the difference.
    QISRTV_ASSERT(static_cast<long long>(c2) - c1 >= 0, "c2 - c1 >= 0");
    if (c2 == c1) return false;
    qis::System::sleepMilliseconds(g_firstFramesCheck ? kFirstConfirmMilliseconds : kConfirmMilliseconds);
    g_firstFramesCheck = false;
    qualProp->get_FramesDrawn(&c2);
    return static_cast<long long>(c2) - c1 >= kFramesForPicture;
}

} // namespace qisrtvcard

#include "digital/GraphToolkit.h"

#include "digital/DigitalLog.h"
#include "frame/Trace.h"
#include "qis/System.h"
#include "tunekit/ComOwners.h"

namespace qisrtvcard {
namespace {

using tunekit::ComPtr;

constexpr const char* kEnumUpstream = "IBaseFilter::EnumPins(Upstream)";
constexpr const char* kInSearch = "Starting in pin connection search";
constexpr const char* kQueryUpstream = "IPin::QueryPinInfo(Upstream)";
constexpr const char* kCheckingUpstream = "Checking if not connected try to connect it";
constexpr const char* kEnumDownstream = "IBaseFilter::EnumPins(Downstream)";
constexpr const char* kOutSearch = "Starting out pin connection search";
constexpr const char* kQueryDownstream = "pIPinDownstream->QueryPinInfo";
constexpr const char* kConnectedTo = "IPin::ConnectedTo";
constexpr const char* kCheckingDownstream = "Checking if pin will work";
constexpr const char* kConnecting = "Connecting pins";
constexpr const char* kConnectFailed = "Connecting pins failed.";
constexpr const char* kOutSearchDone = "Completed out pin search";
constexpr const char* kInSearchDone = "Completed in pin search";
// Logged from the count's position on: the count moves the start of the text, it is not appended.
constexpr const char* kFiltersToRemove = "Number of filters to remove: ";
constexpr const char* kRemovedFilter = "Removed filter #";
constexpr const char* kRefcountAfter = " Refcount after release: ";

constexpr ULONG kMostFiltersRemoved = 1000;
constexpr unsigned long kRemovalPauseMilliseconds = 250;

enum class Search { Connected, NotFound, Failed };

Search connectToDownstream(IPin* output, IBaseFilter* downstream, IGraphBuilder* graph) {
    logStep(kEnumDownstream);
    ComPtr<IEnumPins> pins;
    HRESULT hr = downstream->EnumPins(pins.put());
    if (SUCCEEDED(hr) && !pins) hr = E_POINTER; // a driver's success without an enumerator
    if (FAILED(hr)) {
        logFailed(kEnumDownstream, hr);
        return Search::Failed;
    }
    logStep(kOutSearch);
    ComPtr<IPin> input;
    while (pins->Next(1, input.put(), nullptr) == S_OK) {
        logStep(kQueryDownstream);
        tunekit::PinInfo info;
        if (FAILED(input->QueryPinInfo(info.put()))) continue;
        logStep(kConnectedTo);
        ComPtr<IPin> peer;
        hr = input->ConnectedTo(peer.put());
        if (FAILED(hr) && hr != VFW_E_NOT_CONNECTED) {
            logFailed(kConnectedTo, hr);
            return Search::Failed;
        }
        logStep(kCheckingDownstream);
        if (info->dir == PINDIR_INPUT && !peer) {
            logStep(kConnecting);
            if (SUCCEEDED(graph->Connect(output, input.get()))) return Search::Connected;
            logStep(kConnectFailed);
        }
    }
    logStep(kOutSearchDone);
    return Search::NotFound;
}

} // namespace

bool ConnectFilters(IBaseFilter* pFilterUpstream, IBaseFilter* pFilterDownstream, IGraphBuilder* graph) {
    QISRTV_TRACE("ConnectFilters");
    QISRTV_ASSERT(pFilterUpstream, "pFilterUpstream");
    QISRTV_ASSERT(pFilterDownstream, "pFilterDownstream");
    logStep(kEnumUpstream);
    ComPtr<IEnumPins> pins;
    HRESULT hr = pFilterUpstream->EnumPins(pins.put());
    if (SUCCEEDED(hr) && !pins) hr = E_POINTER;
    if (FAILED(hr)) {
        logFailed(kEnumUpstream, hr);
        return false;
    }
    logStep(kInSearch);
    ComPtr<IPin> output;
    while (pins->Next(1, output.put(), nullptr) == S_OK) {
        logStep(kQueryUpstream);
        tunekit::PinInfo info;
        hr = output->QueryPinInfo(info.put());
        if (FAILED(hr)) {
            logFailed(kQueryUpstream, hr);
            return false;
        }
        logStep(kCheckingUpstream);
        ComPtr<IPin> peer;
        output->ConnectedTo(peer.put()); // only the peer counts
        if (info->dir != PINDIR_OUTPUT || peer) continue;
        const Search search = connectToDownstream(output.get(), pFilterDownstream, graph);
        if (search == Search::Connected) return true;
        if (search == Search::Failed) return false;
    }
    logStep(kInSearchDone);
    return false;
}

void renderOutputPins(IBaseFilter* filter, IGraphBuilder* graph, int target) {
    ComPtr<IEnumPins> pins;
    filter->EnumPins(pins.put());
    int rendered = 0;
    while (rendered < target) {
        ComPtr<IPin> pin;
        // Running out of pins before enough outputs were rendered is an impossible graph.
        if (!pins || pins->Next(1, pin.put(), nullptr) != S_OK || !pin) QISRTV_ASSERT(false, kAssertFalse);
        PIN_DIRECTION direction = PINDIR_INPUT;
        pin->QueryDirection(&direction);
        if (direction != PINDIR_OUTPUT) continue;
        if (FAILED(graph->Render(pin.get()))) QISRTV_ASSERT(false, kAssertFalse);
        ++rendered;
    }
}

bool renderGraph(IBaseFilter* filter, IGraphBuilder* graph) {
    QISRTV_TRACE("renderGraph");
    renderOutputPins(filter, graph, 1);
    return true;
}

void removeFilters(IGraphBuilder* graph) {
    QISRTV_TRACE("removeFilters");
    ComPtr<IEnumFilters> filters;
    HRESULT hr = graph->EnumFilters(filters.put());
    if (!filters) hr = E_POINTER;
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    IBaseFilter* fetched[kMostFiltersRemoved] = {};
    ULONG count = 0;
    hr = filters->Next(kMostFiltersRemoved, fetched, &count);
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    logStep(qis::String(kFiltersToRemove).substring(count));
    // A failed removal ends the walk; the filters after it keep the references Next gave.
    for (ULONG i = 0; i < count; ++i) {
        hr = graph->RemoveFilter(fetched[i]);
        QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
        qis::System::sleepMilliseconds(kRemovalPauseMilliseconds);
        const long references = static_cast<long>(fetched[i]->Release());
        logStep(kRemovedFilter + qis::QISValue(static_cast<unsigned long>(i)).toString() + kRefcountAfter +
                qis::QISValue(references).toString());
        qis::System::sleepMilliseconds(kRemovalPauseMilliseconds);
    }
}

} // namespace qisrtvcard

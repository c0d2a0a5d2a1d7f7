#include "FilterCore.h"

namespace qisvcard {

using Lock = std::lock_guard<std::recursive_mutex>;

HRESULT FilterCore::setSyncSource(IReferenceClock* clock) {
    Lock lock(mutex_);
    clock_ = tunekit::ComPtr<IReferenceClock>(clock);
    return S_OK;
}

HRESULT FilterCore::getSyncSource(IReferenceClock** clock) {
    if (!clock) return E_POINTER;
    Lock lock(mutex_);
    *clock = clock_.get();
    if (*clock) (*clock)->AddRef();
    return S_OK;
}

HRESULT FilterCore::queryFilterInfo(FILTER_INFO* info) {
    if (!info) return E_POINTER;
    Lock lock(mutex_);
    *info = FILTER_INFO{};
    name_.copy(info->achName, MAX_FILTER_NAME - 1);
    info->pGraph = graph_;
    if (graph_) graph_->AddRef();
    return S_OK;
}

HRESULT FilterCore::joinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    Lock lock(mutex_);
    graph_ = graph;
    name_ = name ? name : L"";
    return S_OK;
}

} // namespace qisvcard

#include "FilterBase.h"

namespace qisvcard {

STDMETHODIMP FilterBase::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    IBaseFilter* filter = this;
    if (offer(iid, IID_IUnknown, filter, object) || offer(iid, IID_IPersist, filter, object) ||
        offer(iid, IID_IMediaFilter, filter, object) || offer(iid, IID_IBaseFilter, filter, object) ||
        offer(iid, IID_IAMFilterMiscFlags, static_cast<IAMFilterMiscFlags*>(this), object) || offerOwn(iid, object))
        return S_OK;
    return E_NOINTERFACE;
}

STDMETHODIMP FilterBase::GetClassID(CLSID* clsid) {
    if (!clsid) return E_POINTER;
    *clsid = clsid_;
    return S_OK;
}

STDMETHODIMP FilterBase::GetState(DWORD, FILTER_STATE* state) {
    if (!state) return E_POINTER;
    FilterLock lock(mutex_);
    *state = state_;
    return state_ == State_Paused && cannotCue() ? VFW_S_CANT_CUE : S_OK;
}

STDMETHODIMP FilterBase::SetSyncSource(IReferenceClock* clock) {
    FilterLock lock(mutex_);
    clock_ = tunekit::ComPtr<IReferenceClock>(clock);
    return S_OK;
}

STDMETHODIMP FilterBase::GetSyncSource(IReferenceClock** clock) {
    if (!clock) return E_POINTER;
    FilterLock lock(mutex_);
    *clock = clock_.get();
    if (*clock) (*clock)->AddRef();
    return S_OK;
}

STDMETHODIMP FilterBase::QueryFilterInfo(FILTER_INFO* info) {
    if (!info) return E_POINTER;
    FilterLock lock(mutex_);
    *info = FILTER_INFO{};
    name_.copy(info->achName, MAX_FILTER_NAME - 1);
    info->pGraph = graph_;
    if (graph_) graph_->AddRef();
    return S_OK;
}

STDMETHODIMP FilterBase::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    FilterLock lock(mutex_);
    graph_ = graph;
    name_ = name ? name : L"";
    return S_OK;
}

} // namespace qisvcard

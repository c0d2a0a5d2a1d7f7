#pragma once
// What every filter of the DLL has alike: reference counting, the interfaces of a base filter,
// its lock and state, the reference clock, and the graph it joined under a name. A filter adds
// its pins, its state changes and the interfaces of its own.

#include <mutex>
#include <string>

#include "ComObject.h"
#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"

namespace qisvcard {

using FilterLock = std::lock_guard<std::recursive_mutex>;

class FilterBase : public RefCounted, public IBaseFilter, public IAMFilterMiscFlags {
public:
    FilterBase(const CLSID& clsid, ULONG miscFlags) : clsid_(clsid), miscFlags_(miscFlags) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return addReference(); }
    STDMETHODIMP_(ULONG) Release() override { return releaseReference(); }

    // IPersist
    STDMETHODIMP GetClassID(CLSID* clsid) final;
    // IMediaFilter
    STDMETHODIMP GetState(DWORD timeout, FILTER_STATE* state) final;
    STDMETHODIMP SetSyncSource(IReferenceClock* clock) final;
    STDMETHODIMP GetSyncSource(IReferenceClock** clock) final;
    // IBaseFilter
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) final;
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) final;
    STDMETHODIMP QueryVendorInfo(LPWSTR*) final { return E_NOTIMPL; }
    // IAMFilterMiscFlags
    STDMETHODIMP_(ULONG) GetMiscFlags() final { return miscFlags_; }

    // For the pins. The lock guards state and connections; recursive, because pins call back
    // into themselves through their peers while connecting.
    std::recursive_mutex& lock() { return mutex_; }
    FILTER_STATE stateLocked() const { return state_; }
    IFilterGraph* graphLocked() const { return graph_; }

protected:
    void setStateLocked(FILTER_STATE state) { state_ = state; }
    const tunekit::ComPtr<IReferenceClock>& clockLocked() const { return clock_; }
    // The interfaces beyond a base filter's; false for any other.
    virtual bool offerOwn(REFIID iid, void** object) = 0;
    // A live source cannot cue a frame while paused and says so.
    virtual bool cannotCue() const { return false; }

private:
    const CLSID clsid_;
    const ULONG miscFlags_;
    std::recursive_mutex mutex_;
    FILTER_STATE state_ = State_Stopped;
    tunekit::ComPtr<IReferenceClock> clock_;
    IFilterGraph* graph_ = nullptr; // not held: the graph holds the filter
    std::wstring name_;
};

} // namespace qisvcard

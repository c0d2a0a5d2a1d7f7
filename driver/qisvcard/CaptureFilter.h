#pragma once
// The card's capture filter: a live source with a capture pin and (when the scenario has one) a
// preview pin, answering for its TV tuner and crossbar itself.

#include <memory>
#include <mutex>
#include <vector>

#include "Card.h"
#include "CardState.h"
#include "ComObject.h"
#include "Crossbar.h"
#include "FilterCore.h"
#include "TvTuner.h"
#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"

namespace qisvcard {

class CapturePin;

class CaptureFilter final : public RefCounted, public IBaseFilter, public IAMFilterMiscFlags {
public:
    explicit CaptureFilter(Card card);
    ~CaptureFilter() override;

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return addReference(); }
    STDMETHODIMP_(ULONG) Release() override { return releaseReference(); }

    // IPersist
    STDMETHODIMP GetClassID(CLSID* clsid) override;
    // IMediaFilter
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    STDMETHODIMP GetState(DWORD timeout, FILTER_STATE* state) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* clock) override { return core_.setSyncSource(clock); }
    STDMETHODIMP GetSyncSource(IReferenceClock** clock) override { return core_.getSyncSource(clock); }
    // IBaseFilter
    STDMETHODIMP EnumPins(IEnumPins** pins) override;
    STDMETHODIMP FindPin(LPCWSTR id, IPin** pin) override;
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override { return core_.queryFilterInfo(info); }
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override { return core_.joinFilterGraph(graph, name); }
    STDMETHODIMP QueryVendorInfo(LPWSTR*) override { return E_NOTIMPL; }
    // IAMFilterMiscFlags
    STDMETHODIMP_(ULONG) GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_SOURCE; }

    // For the pins: the lock that guards state and connections (pins call back into themselves
    // through their peers while connecting, hence recursive), and what they need from the filter.
    std::recursive_mutex& lock() { return core_.lock(); }
    FILTER_STATE stateLocked() const { return core_.state(); }
    IFilterGraph* graphLocked() const { return core_.graph(); }
    CardState& card() { return card_; }

private:
    HRESULT pauseLocked();

    const Card description_;
    CardState card_;
    TvTuner tuner_;
    Crossbar crossbar_;
    std::vector<std::unique_ptr<CapturePin>> pins_;
    FilterCore core_;
};

} // namespace qisvcard

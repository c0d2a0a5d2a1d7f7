#include "CaptureFilter.h"

#include "CapturePin.h"
#include "Enumerators.h"

namespace qisvcard {

namespace {
constexpr wchar_t kCaptureName[] = L"Capture";
constexpr wchar_t kPreviewName[] = L"Preview";
} // namespace

CaptureFilter::CaptureFilter(Card card)
    : FilterBase(kCardClsid, AM_FILTER_MISC_FLAGS_IS_SOURCE), description_(std::move(card)), card_(description_.filter), tuner_(*static_cast<IBaseFilter*>(this), card_),
      crossbar_(*static_cast<IBaseFilter*>(this), card_) {
    pins_.push_back(std::make_unique<CapturePin>(*this, kCaptureName, PIN_CATEGORY_CAPTURE, description_.filter.format));
    if (description_.filter.previewPin)
        pins_.push_back(std::make_unique<CapturePin>(*this, kPreviewName, PIN_CATEGORY_PREVIEW, description_.filter.format));
}

// Whoever releases the last reference has stopped the graph; if not, the streams stop here, so
// no thread outlives the filter.
CaptureFilter::~CaptureFilter() {
    for (auto& pin : pins_) pin->deactivate();
}

bool CaptureFilter::offerOwn(REFIID iid, void** object) {
    if (card_.hasTuner() &&
        (offer(iid, IID_IAMTVTuner, static_cast<IAMTVTuner*>(&tuner_), object) ||
         offer(iid, IID_IAMTuner, static_cast<IAMTuner*>(&tuner_), object)))
        return true;
    return card_.hasCrossbar() && offer(iid, IID_IAMCrossbar, static_cast<IAMCrossbar*>(&crossbar_), object);
}

STDMETHODIMP CaptureFilter::Stop() {
    FilterLock guard(lock());
    for (auto& pin : pins_) pin->deactivate();
    setStateLocked(State_Stopped);
    return S_OK;
}

// A live source has nothing to show while paused: VFW_S_CANT_CUE tells the graph not to wait
// for a first frame.
HRESULT CaptureFilter::pauseLocked() {
    if (stateLocked() == State_Stopped) {
        for (auto& pin : pins_) {
            const HRESULT hr = pin->activate();
            if (FAILED(hr)) {
                for (auto& started : pins_) started->deactivate();
                return hr;
            }
        }
    } else {
        for (auto& pin : pins_) pin->pause();
    }
    setStateLocked(State_Paused);
    return VFW_S_CANT_CUE;
}

STDMETHODIMP CaptureFilter::Pause() {
    FilterLock guard(lock());
    return pauseLocked();
}

STDMETHODIMP CaptureFilter::Run(REFERENCE_TIME start) {
    FilterLock guard(lock());
    if (stateLocked() == State_Stopped) {
        const HRESULT hr = pauseLocked();
        if (FAILED(hr)) return hr;
    }
    for (auto& pin : pins_) pin->run(start, clockLocked());
    setStateLocked(State_Running);
    return S_OK;
}

STDMETHODIMP CaptureFilter::EnumPins(IEnumPins** pins) {
    std::vector<IPin*> list;
    for (auto& pin : pins_) list.push_back(pin.get());
    return createPinEnumerator(*this, std::move(list), pins);
}

STDMETHODIMP CaptureFilter::FindPin(LPCWSTR id, IPin** pin) {
    if (!id || !pin) return E_POINTER;
    *pin = nullptr;
    for (auto& candidate : pins_) {
        if (candidate->name() != id) continue;
        *pin = candidate.get();
        (*pin)->AddRef();
        return S_OK;
    }
    return VFW_E_NOT_FOUND;
}

} // namespace qisvcard

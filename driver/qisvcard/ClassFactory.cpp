#include "ClassFactory.h"

#include <new>

#include "Card.h"
#include "CaptureFilter.h"
#include "tunekit/ComPtr.h"

namespace qisvcard {

STDMETHODIMP ClassFactory::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (offer(iid, IID_IUnknown, static_cast<IClassFactory*>(this), object)) return S_OK;
    if (offer(iid, IID_IClassFactory, static_cast<IClassFactory*>(this), object)) return S_OK;
    return E_NOINTERFACE;
}

STDMETHODIMP ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    return create_(iid, object);
}

STDMETHODIMP ClassFactory::LockServer(BOOL lock) {
    if (lock) lockModule();
    else unlockModule();
    return S_OK;
}

// A card whose scenario can no longer be used (a file removed since registration) is not made:
// the caller learns why on stderr, as registration would have told it.
HRESULT createCaptureFilter(REFIID iid, void** object) {
    std::optional<Card> card = registeredCard();
    if (!card) return E_FAIL;
    tunekit::ComPtr<CaptureFilter> filter;
    filter.attach(new (std::nothrow) CaptureFilter(std::move(*card)));
    if (!filter) return E_OUTOFMEMORY;
    return filter->QueryInterface(iid, object);
}

} // namespace qisvcard

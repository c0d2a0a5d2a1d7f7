#pragma once
// The class object of the card's capture filter.

#include <unknwn.h>

#include "ComObject.h"

namespace qisvcard {

class ClassFactory final : public RefCounted, public IClassFactory {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return addReference(); }
    STDMETHODIMP_(ULONG) Release() override { return releaseReference(); }
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    STDMETHODIMP LockServer(BOOL lock) override;
};

} // namespace qisvcard

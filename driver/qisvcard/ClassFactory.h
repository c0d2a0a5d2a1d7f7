#pragma once
// The class objects of the DLL's filters: each makes one kind of object with a creator.

#include <unknwn.h>

#include "ComObject.h"

namespace qisvcard {

using Creator = HRESULT (*)(REFIID iid, void** object);

class ClassFactory final : public RefCounted, public IClassFactory {
public:
    explicit ClassFactory(Creator create) : create_(create) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return addReference(); }
    STDMETHODIMP_(ULONG) Release() override { return releaseReference(); }
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
    STDMETHODIMP LockServer(BOOL lock) override;

private:
    const Creator create_;
};

// The card's capture filter, for the card that registration chose.
HRESULT createCaptureFilter(REFIID iid, void** object);

} // namespace qisvcard

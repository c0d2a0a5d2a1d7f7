#pragma once
// Reference counting shared by the DLL's COM objects, and interfaces that live inside another
// object and answer for its identity (IUnknown of the owner, as COM's identity rule requires).

#include <unknwn.h>

#include <atomic>

#include "Module.h"

namespace qisvcard {

// A heap object owned by its references: the last Release deletes it.
class RefCounted {
public:
    virtual ~RefCounted() = default;

protected:
    ULONG addReference() { return static_cast<ULONG>(++references_); }
    ULONG releaseReference() {
        const long left = --references_;
        if (left == 0) delete this;
        return static_cast<ULONG>(left);
    }

private:
    std::atomic<long> references_{1}; // the creator's reference
    ModuleReference module_;
};

// An interface implemented by a member of `owner`: every IUnknown call goes to the owner.
template <class Interface>
class InnerInterface : public Interface {
public:
    explicit InnerInterface(IUnknown& owner) : owner_(owner) {}
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return owner_.QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return owner_.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return owner_.Release(); }

private:
    IUnknown& owner_;
};

// Hands out `iface` with a new reference when the asked `iid` is the interface's `own` IID.
template <class Interface>
bool offer(REFIID iid, REFIID own, Interface* iface, void** object) {
    if (iid != own) return false;
    iface->AddRef();
    *object = iface;
    return true;
}

} // namespace qisvcard

#pragma once
// The base of every simulated COM object: a real reference count, QueryInterface for exactly
// the interfaces the object has, an entry in the simulation's audit while it lives, and one
// funnel (call) through which every method is journaled and may be made to fail.

#include <atomic>
#include <tuple>
#include <type_traits>

#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"
#include "tvsim/Simulation.h"

namespace tvsim {

// Runs one method of the object named `object`: a fault rule for (object, method) answers
// instead of `body`, and the call is journaled either way.
template <class Body>
HRESULT journaledCall(const qis::String& object, const char* method, Body&& body, const Arguments& arguments = {}) {
    Simulation& simulation = Simulation::current();
    simulation.noticeThread();
    if (const auto fault = simulation.faults().check(object, method, arguments.named())) {
        const HRESULT injected = fault->kind == FaultKind::Fail ? static_cast<HRESULT>(fault->result) : S_OK;
        simulation.journal().record(makeCall(object, method, arguments, static_cast<std::int32_t>(injected), true));
        return injected;
    }
    const HRESULT result = body();
    simulation.journal().record(makeCall(object, method, arguments, static_cast<std::int32_t>(result), false));
    return result;
}

// As journaledCall, for a method with one out-pointer that it fills on success; an injected
// result leaves the pointer null, and a "nullResult" fault answers S_OK with it null, as some
// drivers do.
template <class T, class Body>
HRESULT journaledCallOut(const qis::String& object, const char* method, T** out, Body&& body, const Arguments& arguments = {}) {
    if (!out) return journaledCall(object, method, [] { return E_POINTER; }, arguments);
    *out = nullptr;
    return journaledCall(object, method, std::forward<Body>(body), arguments);
}

// "QueryInterface(IName)" for the interfaces the product uses, else with the IID in braces.
qis::String queryName(REFIID iid);

class SimObjectBase {
public:
    explicit SimObjectBase(qis::String name);
    virtual ~SimObjectBase();
    SimObjectBase(const SimObjectBase&) = delete;
    SimObjectBase& operator=(const SimObjectBase&) = delete;

    const qis::String& simName() const { return name_; }
    ULONG references() const { return references_.load(); }

protected:
    ULONG addReference() { return ++references_; }
    ULONG releaseReference() {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

    template <class Body>
    HRESULT call(const char* method, Body&& body, const Arguments& arguments = {}) {
        return journaledCall(name_, method, std::forward<Body>(body), arguments);
    }
    template <class T, class Body>
    HRESULT callOut(const char* method, T** out, Body&& body, const Arguments& arguments = {}) {
        return journaledCallOut(name_, method, out, std::forward<Body>(body), arguments);
    }

    void rename(qis::String name) { name_ = std::move(name); }

private:
    qis::String name_;
    std::atomic<ULONG> references_{1};
};

// Implements IUnknown for the interfaces listed. Interfaces an interface derives from (IPersist
// and IMediaFilter of IBaseFilter, say) are answered through `extraInterface`.
template <class... Interfaces>
class SimObject : public SimObjectBase, public Interfaces... {
public:
    using SimObjectBase::SimObjectBase;

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        // "QueryInterface(IMediaControl)" and the like can be made to fail like any method.
        if (const auto fault = Simulation::current().faults().check(simName(), queryName(iid)))
            return fault->kind == FaultKind::Fail ? static_cast<HRESULT>(fault->result) : S_OK;
        if (iid == IID_IUnknown) *object = static_cast<IUnknown*>(static_cast<First*>(this));
        ((iid == __uuidof(Interfaces) && !*object ? (*object = static_cast<Interfaces*>(this), 0) : 0), ...);
        if (!*object) *object = extraInterface(iid);
        if (!*object) return E_NOINTERFACE;
        addReference();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return addReference(); }
    STDMETHODIMP_(ULONG) Release() override { return releaseReference(); }

protected:
    using First = std::tuple_element_t<0, std::tuple<Interfaces...>>;
    virtual void* extraInterface(REFIID) { return nullptr; }
};

// A new object with its one reference owned by the returned pointer.
template <class T, class... Args>
tunekit::ComPtr<T> make(Args&&... args) {
    tunekit::ComPtr<T> object;
    object.attach(new T(std::forward<Args>(args)...));
    return object;
}

} // namespace tvsim

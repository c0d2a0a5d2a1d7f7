#include <gtest/gtest.h>

#include <dshow.h>

#include <thread>

#include "tunekit/ComPtr.h"
#include "tunekit/SmartCoInitialize.h"

namespace tunekit {
namespace {

// Counts its references so the tests can see every AddRef and Release.
class Counted final : public IPersist {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (iid == IID_IUnknown || iid == IID_IPersist) {
            *object = static_cast<IPersist*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    STDMETHODIMP GetClassID(CLSID* id) override { *id = CLSID_NULL; return S_OK; }
    ULONG references = 1;
};

TEST(ComPtrOwnership, EveryReferenceTakenIsReleasedOnEveryPath) {
    Counted object;
    {
        ComPtr<IPersist> a(&object);
        ComPtr<IPersist> copy = a;
        ComPtr<IPersist> moved = std::move(copy);
        EXPECT_EQ(object.references, 3u);
        EXPECT_FALSE(copy);
    }
    EXPECT_EQ(object.references, 1u);
}

TEST(ComPtrOwnership, PutReleasesWhatWasHeldBeforeTheCalleeFillsIt) {
    Counted first, second;
    ComPtr<IPersist> p(&first);
    *p.put() = &second; // as an out-parameter would: the callee's reference is adopted
    second.AddRef();
    EXPECT_EQ(first.references, 1u);
    p.reset();
    EXPECT_EQ(second.references, 1u);
}

TEST(ComPtrOwnership, QueryingAnInterfaceTheObjectLacksLeavesNothingHeld) {
    Counted object;
    ComPtr<IPersist> p(&object);
    ComPtr<IUnknown> unknown;
    EXPECT_EQ(p.as(unknown), S_OK);
    EXPECT_EQ(object.references, 3u);
    ComPtr<IBaseFilter> filter;
    EXPECT_EQ(p.as(filter), E_NOINTERFACE);
    EXPECT_FALSE(filter);
    unknown.reset();
    EXPECT_EQ(object.references, 2u);
}

HRESULT WINAPI failingInit(LPVOID, DWORD) { return RPC_E_CHANGED_MODE; }

TEST(SmartCoInitializeScope, UninitialisesWhatItInitialised) {
    std::thread([] {
        {
            SmartCoInitialize com;
            ASSERT_TRUE(com.initialize());
            EXPECT_TRUE(com.initError().isEmpty());
            // A second initialisation on the thread is only counted (S_FALSE).
            EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_FALSE);
            CoUninitialize();
        }
        // Balanced: the thread starts from scratch again.
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        CoUninitialize();
    }).join();
}

TEST(SmartCoInitializeScope, FailureIsDescribedWithItsCodeAndNothingIsUndone) {
    std::thread([] {
        const auto previous = setComInitializer(failingInit);
        {
            SmartCoInitialize com;
            EXPECT_FALSE(com.initialize());
            EXPECT_TRUE(com.initError().contains("(0x80010106)"));
        }
        setComInitializer(previous);
        // The destructor did not call CoUninitialize for an initialisation that failed.
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        CoUninitialize();
    }).join();
}

} // namespace
} // namespace tunekit

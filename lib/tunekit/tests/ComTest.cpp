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
        *object = iid == IID_IUnknown || iid == IID_IPersist ? static_cast<IPersist*>(this) : nullptr;
        if (*object) AddRef();
        return *object ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    STDMETHODIMP GetClassID(CLSID* id) override { *id = CLSID_NULL; return S_OK; }
    ULONG references = 1;
};

// Copies, moves, out-parameters and queries: every reference taken is released on every path.
TEST(ComPtrOwnership, EveryReferenceTakenIsReleasedOnEveryPath) {
    Counted object, other;
    {
        ComPtr<IPersist> a(&object);
        ComPtr<IPersist> copy = a;
        ComPtr<IPersist> moved = std::move(copy);
        EXPECT_EQ(object.references, 3u);
        EXPECT_FALSE(copy);
        *moved.put() = &other; // as an out-parameter would: what was held goes, the callee's reference is adopted
        other.AddRef();
        EXPECT_EQ(object.references, 2u);
        ComPtr<IUnknown> unknown;
        EXPECT_EQ(a.as(unknown), S_OK);
        EXPECT_EQ(object.references, 3u);
        ComPtr<IBaseFilter> filter;
        EXPECT_EQ(a.as(filter), E_NOINTERFACE) << "an interface the object lacks leaves nothing held";
        EXPECT_FALSE(filter);
    }
    EXPECT_EQ(object.references, 1u);
    EXPECT_EQ(other.references, 1u);
}

HRESULT WINAPI failingInit(LPVOID, DWORD) { return RPC_E_CHANGED_MODE; }

// A scope uninitialises what it initialised, and a failure is described with its code and undoes
// nothing: either way the thread starts from scratch again afterwards.
TEST(SmartCoInitializeScope, UninitialisesWhatItInitialisedAndNothingWhenItFailed) {
    std::thread([] {
        for (const bool fails : {false, true}) {
            const auto previous = fails ? setComInitializer(failingInit) : nullptr;
            {
                SmartCoInitialize com;
                EXPECT_EQ(com.initialize(), !fails);
                if (fails) {
                    EXPECT_TRUE(com.initError().contains("(0x80010106)"));
                } else { // a second initialisation on the thread is only counted (S_FALSE)
                    EXPECT_TRUE(com.initError().isEmpty());
                    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_FALSE);
                    CoUninitialize();
                }
            }
            if (fails) setComInitializer(previous);
            EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK) << "fails " << fails;
            CoUninitialize();
        }
    }).join();
}

} // namespace
} // namespace tunekit

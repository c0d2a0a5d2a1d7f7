// The DLL's entry points for COM: the class object and whether the DLL may be unloaded.
#include "Module.h"

#include <atomic>

#include "ClassFactory.h"
#include "StreamFileWriter.h"
#include "tunekit/ComPtr.h"

namespace qisvcard {
namespace {

HMODULE g_module = nullptr;
std::atomic<long> g_liveObjects{0};

} // namespace

HMODULE moduleHandle() { return g_module; }

ModuleReference::ModuleReference() { ++g_liveObjects; }
ModuleReference::~ModuleReference() { --g_liveObjects; }

void lockModule() { ++g_liveObjects; }
void unlockModule() { --g_liveObjects; }
bool moduleInUse() { return g_liveObjects.load() != 0; }

} // namespace qisvcard

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        qisvcard::g_module = instance;
        DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() { return qisvcard::moduleInUse() ? S_FALSE : S_OK; }

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    qisvcard::Creator create = nullptr;
    if (clsid == qisvcard::kCardClsid) create = qisvcard::createCaptureFilter;
    else if (clsid == qisvcard::kStreamFileWriterClsid) create = qisvcard::createStreamFileWriter;
    else return CLASS_E_CLASSNOTAVAILABLE;
    tunekit::ComPtr<IClassFactory> factory;
    factory.attach(new (std::nothrow) qisvcard::ClassFactory(create));
    if (!factory) return E_OUTOFMEMORY;
    return factory->QueryInterface(iid, object);
}

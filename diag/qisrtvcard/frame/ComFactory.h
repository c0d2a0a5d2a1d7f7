#pragma once
// Every COM object of the module is created here. The real system's factory is
// CoCreateInstance; the simulated system and tests install their own.

#include <objbase.h>

namespace qisrtvcard {

using ComFactory = HRESULT(WINAPI*)(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object);

HRESULT createInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object);

// Null restores CoCreateInstance. Returns the factory installed before.
ComFactory setComFactory(ComFactory factory);

// CoInitializeEx of the module's analog graph; the simulated system can make it fail.
using ComInitializer = HRESULT(WINAPI*)(LPVOID reserved, DWORD model);
HRESULT initializeCom(DWORD model);
// Null restores CoInitializeEx. Returns the one installed before.
ComInitializer setComInitializer(ComInitializer initializer);

// Installs a factory for one scope.
class ScopedComFactory {
public:
    explicit ScopedComFactory(ComFactory factory) : previous_(setComFactory(factory)) {}
    ~ScopedComFactory() { setComFactory(previous_); }
    ScopedComFactory(const ScopedComFactory&) = delete;
    ScopedComFactory& operator=(const ScopedComFactory&) = delete;

private:
    ComFactory previous_;
};

} // namespace qisrtvcard

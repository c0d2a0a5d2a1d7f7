#pragma once
// Every COM object of the module is created here. The real system's factory is
// CoCreateInstance; the simulated system and tests install their own.

#include <objbase.h>

namespace qisrtvcard {

using ComFactory = HRESULT(WINAPI*)(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object);

HRESULT createInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object);

// Null restores CoCreateInstance. Returns the factory installed before.
ComFactory setComFactory(ComFactory factory);

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

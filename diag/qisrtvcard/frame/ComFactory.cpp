#include "frame/ComFactory.h"

#include <atomic>

namespace qisrtvcard {
namespace {

std::atomic<ComFactory> g_factory{nullptr};
std::atomic<ComInitializer> g_initializer{nullptr};

} // namespace

HRESULT createInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
    const ComFactory factory = g_factory.load();
    return factory ? factory(clsid, outer, context, iid, object) : CoCreateInstance(clsid, outer, context, iid, object);
}

ComFactory setComFactory(ComFactory factory) { return g_factory.exchange(factory); }

HRESULT initializeCom(DWORD model) {
    const ComInitializer initializer = g_initializer.load();
    return initializer ? initializer(nullptr, model) : CoInitializeEx(nullptr, model);
}

ComInitializer setComInitializer(ComInitializer initializer) { return g_initializer.exchange(initializer); }

} // namespace qisrtvcard

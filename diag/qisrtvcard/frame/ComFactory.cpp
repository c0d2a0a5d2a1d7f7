#include "frame/ComFactory.h"

#include <atomic>

namespace qisrtvcard {
namespace {

std::atomic<ComFactory> g_factory{nullptr};

} // namespace

HRESULT createInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
    const ComFactory factory = g_factory.load();
    return factory ? factory(clsid, outer, context, iid, object) : CoCreateInstance(clsid, outer, context, iid, object);
}

ComFactory setComFactory(ComFactory factory) { return g_factory.exchange(factory); }

} // namespace qisrtvcard

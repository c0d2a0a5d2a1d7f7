#include "tvsim/Classes.h"

namespace tvsim {
namespace {

// Filled in as the simulated objects are written; every other class is "not registered".
const SimClass kClasses[] = {
    {nullptr, nullptr, nullptr},
};

} // namespace

const SimClass* findClass(REFCLSID clsid) {
    for (const auto& simClass : kClasses)
        if (simClass.clsid && *simClass.clsid == clsid) return &simClass;
    return nullptr;
}

} // namespace tvsim

#pragma once
// The classes the virtual system can create, by class id.

#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"
#include "tvsim/Scenario.h"

namespace tvsim {

class Simulation;

struct SimClass {
    const CLSID* clsid;
    const char* name;
    tunekit::ComPtr<IUnknown> (*create)(Simulation& simulation);
    bool (*installed)(const Scenario& scenario) = nullptr; // null: on every system
};

const SimClass* findClass(REFCLSID clsid);

} // namespace tvsim

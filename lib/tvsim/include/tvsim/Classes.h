#pragma once
// The classes the virtual system can create, by class id.

#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"

namespace tvsim {

class Simulation;

struct SimClass {
    const CLSID* clsid;
    const char* name;
    tunekit::ComPtr<IUnknown> (*create)(Simulation& simulation);
};

const SimClass* findClass(REFCLSID clsid);

} // namespace tvsim

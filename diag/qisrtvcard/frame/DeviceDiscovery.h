#pragma once

#include "mirt5/DiagModule.h"

namespace qisrtvcard {

// The capture and BDA devices of the system (--devices), each derived from its filters' monikers
// as a device file describes it. Uses the module's COM factory, so --sim lists the virtual cards.
mirt5::DeviceDiscovery discoverDevices();

} // namespace qisrtvcard

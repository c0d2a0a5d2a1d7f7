#pragma once

#include "mirt5/DiagModule.h"

namespace qisrtvcard {

// Installs the virtual TV system for a run (--sim): its objects come from the module's COM
// factory, its clock from the foundation's, its processes from the process snapshot.
mirt5::SimulatedSystem startSimulatedSystem(const mirt5::SimulationRequest& request);

} // namespace qisrtvcard

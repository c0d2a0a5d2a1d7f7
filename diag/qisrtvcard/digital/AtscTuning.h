#pragma once
// The BDA tuning model for ATSC: the generic network provider, the ATSC QAM provider with the
// system tuning space it tunes with, and ATSC tune requests for one physical channel.

#include "tunekit/DirectShow.h"

namespace qisrtvcard {

// The system's generic network provider ("Microsoft Network Provider"), with a reference for
// the caller, or null when there is none.
IBaseFilter* getNetworkProvider();

// Creates the ATSC QAM network provider, adds it to the graph and fetches the system tuning
// space it tunes with (the container's fourth). The tuning space stays with the caller even when
// a later step fails.
bool initializeATSCQAMTuner(ITuningSpace** tuningSpace, IBaseFilter** networkProvider, IGraphBuilder** graph);

// Builds an ATSC request for the physical channel on the input type and submits it to the tuner.
bool tuneToATSCChannel(ITuningSpace** tuningSpace, ITuner** tuner, TunerInputType inputType, long physicalChannel);

} // namespace qisrtvcard

#pragma once
// Whether a tuned digital channel carries a usable signal: from the network provider's tune
// request, the tuner's signal statistics, or the transport stream itself.

#include "tunekit/DirectShow.h"

namespace qisrtvcard {

// With the minor-channel technique (allowed and "UseMinorChannelTechnique" on), a provider that
// locked onto a program filled in the minor channel; otherwise the tuner's statistics decide.
bool isSignalPresent(bool allowMinorChannelTechnique, ITuner* tuner, IBaseFilter* tunerFilter);

// Walks the tuner's topology for a node with signal statistics: present, locked and quality > 50.
bool getSignalStrength(IBaseFilter* tunerFilter);

// Quality of the transport stream reaching the grabber (0-100), -1 when no stream data arrives,
// -2 when the grabber cannot be read.
long getStreamSignalQuality(IBaseFilter* sampleGrabberFilter);

} // namespace qisrtvcard

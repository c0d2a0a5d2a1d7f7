#pragma once
// The digital tests behind the two entries.

#include <cstdint>

#include "mirt5/DiagDevice.h"
#include "mirt5/TestResult.h"
#include "tunekit/DirectShow.h"

namespace qisrtvcard {

// A device whose name holds this (case and all) is an OpenCable receiver.
inline constexpr const char* kOcurName = "ATI TV Wonder OpenCable Receiver";

// Builds the Clear QAM graph (generic network provider, the device's tuner and receiver) and
// runs the Clear QAM scan.
mirt5::TestResult ClearQAMTestWrapper(const mirt5::DiagDevice& device);

// The OpenCable receiver's test: ATSC QAM provider, antenna and cable on every channel.
mirt5::TestResult TestOcurDevice(const mirt5::DiagDevice& device);

// The DVB-T test: the country's channel plan from the tuner's frequency map.
mirt5::TestResult RunDVBTest(const mirt5::DiagDevice& device);

class DVBTChannelPlan;

// Creates the DVB-T tuning space and network provider and adds the provider to the graph.
bool initializeDVBTTuner(ITuningSpace** tuningSpace, IBaseFilter** networkProvider, IGraphBuilder* graph);
// Tunes the plan's record `channel` through a DVB-T request on the tuner.
bool tuneToDVBTChannel(DVBTChannelPlan& plan, ITuningSpace** tuningSpace, ITuner** tuner, std::uint32_t channel);

} // namespace qisrtvcard

#pragma once

#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"
#include "tvsim/Scenario.h"

namespace tvsim {

class Simulation;

tunekit::ComPtr<IBaseFilter> createConverter(const ConverterSpec& spec);
tunekit::ComPtr<IUnknown> createAudioRenderer(Simulation& simulation);

} // namespace tvsim

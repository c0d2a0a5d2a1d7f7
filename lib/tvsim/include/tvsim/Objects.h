#pragma once
// Creation functions of the simulated classes (the class table in Classes.cpp uses them).

#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"
#include "tvsim/Scenario.h"

namespace tvsim {

class Simulation;

tunekit::ComPtr<IUnknown> createFilterGraph(Simulation& simulation);
tunekit::ComPtr<IUnknown> createSystemDeviceEnum(Simulation& simulation);
tunekit::ComPtr<IUnknown> createVideoRenderer(Simulation& simulation);
tunekit::ComPtr<IUnknown> createCaptureGraphBuilder(Simulation& simulation);
tunekit::ComPtr<IUnknown> createSmartTee(Simulation& simulation);
tunekit::ComPtr<IUnknown> createAviMux(Simulation& simulation);
tunekit::ComPtr<IUnknown> createFileWriter(Simulation& simulation);
tunekit::ComPtr<IUnknown> createMpeg2Demultiplexer(Simulation& simulation);
// {7DC2C665-4033-4CAF-9273-F7D797FB245C}: an MPEG-2 file writer some capture software installs.
inline constexpr CLSID kMpeg2FileWriterClsid = {0x7DC2C665, 0x4033, 0x4CAF, {0x92, 0x73, 0xF7, 0xD7, 0x97, 0xFB, 0x24, 0x5C}};
tunekit::ComPtr<IUnknown> createMpeg2FileWriter(Simulation& simulation);

// The filter a device moniker binds to: `key` names an entry of the scenario's "filters";
// `friendlyName` is the name the filter reports. Null for an unknown key.
tunekit::ComPtr<IBaseFilter> createScenarioFilter(Simulation& simulation, const qis::String& key,
                                                  const qis::String& friendlyName);

} // namespace tvsim

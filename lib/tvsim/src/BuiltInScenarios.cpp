// Scenarios that ship with the program. "hybrid" is the default: one card on which every
// analog test passes. Its FM stations sit on odd and on even tenths of a megahertz, so that a
// scan in 0.2 MHz steps finds one whichever tenth it starts on.
#include "tvsim/Scenario.h"

namespace tvsim {
namespace {

struct BuiltIn {
    const char* name;
    const char* json;
};

constexpr BuiltIn kBuiltIns[] = {
    {"hybrid", R"json({
  "name": "hybrid",
  "description": "One hybrid analog/digital PCIe card with a tuner, a crossbar and an FM radio",
  "device": {
    "name": "Virtual Hybrid TV Card",
    "description": "Virtual hybrid analog and digital TV tuner",
    "capabilities": ["VideoCapture", "VideoCaptureBaseFilter", "AnalogTVTuner", "DigitalTVTuner", "AnalogFMRadioTuner"],
    "properties": {
      "AnalogFriendlyName": "Virtual Hybrid TV Capture",
      "DigitalFriendlyName": "Virtual Hybrid BDA Tuner",
      "EnableQAM": "1"
    }
  },
  "processes": ["explorer.exe", "services.exe"],
  "categories": {
    "VideoInputDevice": [
      {
        "friendlyName": "Virtual Hybrid TV Capture",
        "description": "Virtual hybrid analog and digital TV tuner",
        "devicePath": "\\\\?\\pci#ven_1131&dev_7160&subsys_00000000&rev_03#4&1b2e3f4c&0&00e0#{65e8773d-8f56-11d0-a3b9-00a0c9223196}\\global",
        "filter": "hybridCapture"
      }
    ]
  },
  "filters": {
    "hybridCapture": {
      "kind": "analogCapture",
      "captureTypes": ["Video"],
      "previewPin": true,
      "format": {"width": 720, "height": 480, "framesPerSecond": 29.97},
      "tuner": {
        "minChannel": 1, "maxChannel": 158,
        "antennaSignal": [3, 7, 12],
        "cableSignal": [5, 9, 22, 40],
        "fmSignal": [88100000, 91400000, 95500000, 101100000, 104300000]
      },
      "crossbar": {
        "outputs": [
          {"physicalType": "Video_VideoDecoder", "related": 1},
          {"physicalType": "Audio_AudioDecoder", "related": 0}
        ],
        "inputs": [
          {"physicalType": "Video_Tuner", "routesTo": [0], "related": 3},
          {"physicalType": "Video_Composite", "routesTo": [0], "related": 4},
          {"physicalType": "Video_SVideo", "routesTo": [0], "related": 4},
          {"physicalType": "Audio_Tuner", "routesTo": [1], "related": 0},
          {"physicalType": "Audio_Line", "routesTo": [1], "related": 1}
        ]
      }
    }
  }
})json"},
};

} // namespace

std::vector<qis::String> builtInScenarioNames() {
    std::vector<qis::String> names;
    for (const auto& b : kBuiltIns) names.emplace_back(b.name);
    return names;
}

std::optional<std::string> builtInScenarioText(const qis::String& name) {
    for (const auto& b : kBuiltIns)
        if (name == b.name) return std::string(b.json);
    return std::nullopt;
}

} // namespace tvsim

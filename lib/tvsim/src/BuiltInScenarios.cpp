// Scenarios that ship with the program. "hybrid" is the default: one card on which every
// analog test passes. "atsc", "dvbt" and "ocur" are digital cards on which the digital tests
// find a picture or a stream (see docs/tvsim-scenarios.md for the channels). Its FM stations sit on odd and on even tenths of a megahertz, so that a
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
    {"atsc", R"json({
  "name": "atsc",
  "description": "A North American ATSC / Clear QAM PCIe card: generic network provider, tuner with its statistics on a topology node, receiver",
  "device": {
    "name": "Virtual ATSC TV Card",
    "description": "Virtual ATSC and Clear QAM digital TV tuner",
    "capabilities": ["VideoCapture", "DigitalTVTuner"],
    "properties": {
      "DigitalFriendlyName": "Virtual ATSC BDA Tuner",
      "DeviceLocator": "PCI\\VEN_14F1&DEV_8852&SUBSYS_71A10070&REV_04\\4&2A9C7E1B&0&00E0",
      "EnableQAM": "1"
    }
  },
  "processes": ["explorer.exe", "services.exe"],
  "categories": {
    "BDANetworkProvider": [
      {"friendlyName": "Microsoft Network Provider", "filter": "networkProvider"}
    ],
    "BDANetworkTuner": [
      {
        "friendlyName": "Virtual ATSC BDA Tuner",
        "devicePath": "\\\\?\\pci#ven_14f1&dev_8852&subsys_71a10070&rev_04#4&2a9c7e1b&0&00e0#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{8b884e32-fbca-11d4-b0a3-00a0c9f21fc7}",
        "filter": "tuner"
      }
    ],
    "BDAReceiverComponent": [
      {
        "friendlyName": "Virtual ATSC BDA Receiver",
        "devicePath": "\\\\?\\pci#ven_14f1&dev_8852&subsys_71a10070&rev_04#4&2a9c7e1b&0&00e0#{fd0a5af4-b41d-11d2-9c95-00c04f7971e0}\\{8b884e3a-fbca-11d4-b0a3-00a0c9f21fc7}",
        "filter": "receiver"
      }
    ],
    "BDATransportInformation": [
      {"friendlyName": "BDA MPEG2 Transport Information Filter", "filter": "transportInformation"}
    ]
  },
  "filters": {
    "networkProvider": {"kind": "networkProvider"},
    "tuner": {
      "kind": "bdaTuner",
      "signalStatistics": "topology",
      "receives": {
        "atsc": {
          "antenna": [
            {"physicalChannel": 7, "minorChannel": 1},
            {"physicalChannel": 31, "picture": false, "quality": 35, "statistics": {"locked": true, "present": true, "quality": 35, "strength": 20}}
          ],
          "cable": [{"physicalChannel": 45, "minorChannel": 2}]
        },
        "clearQam": [{"frequency": 559250, "program": 3}]
      }
    },
    "receiver": {"kind": "bdaReceiver"},
    "transportInformation": {"kind": "bdaTransportInformation"}
  },
  "converters": [
    {"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"}
  ]
})json"},
    {"dvbt", R"json({
  "name": "dvbt",
  "description": "A European DVB-T USB stick: no generic network provider and no ATSC tuning space, so only the DVB-T path runs",
  "device": {
    "name": "Virtual DVB-T USB Stick",
    "description": "Virtual DVB-T digital TV tuner",
    "capabilities": ["VideoCapture", "DigitalTVTuner"],
    "properties": {
      "DigitalFriendlyName": "Virtual DVB-T BDA Tuner",
      "DeviceLocator": "USB\\VID_2040&PID_7070\\4034567890"
    }
  },
  "processes": ["explorer.exe", "services.exe"],
  "categories": {
    "BDANetworkProvider": [
      {"friendlyName": "Microsoft DVBT Network Provider", "filter": "dvbtProvider"}
    ],
    "BDANetworkTuner": [
      {
        "friendlyName": "Virtual DVB-T BDA Tuner",
        "devicePath": "\\\\?\\usb#vid_2040&pid_7070#4034567890#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{5b0d4ab4-e5bb-4a3a-b0c2-1f1e8f3e3f4d}",
        "filter": "tuner"
      }
    ],
    "BDAReceiverComponent": [
      {
        "friendlyName": "Virtual DVB-T BDA Receiver",
        "devicePath": "\\\\?\\usb#vid_2040&pid_7070#4034567890#{fd0a5af4-b41d-11d2-9c95-00c04f7971e0}\\{5b0d4ab5-e5bb-4a3a-b0c2-1f1e8f3e3f4d}",
        "filter": "receiver"
      }
    ],
    "BDATransportInformation": [
      {"friendlyName": "BDA MPEG2 Transport Information Filter", "filter": "transportInformation"}
    ]
  },
  "filters": {
    "dvbtProvider": {"kind": "networkProvider"},
    "tuner": {
      "kind": "bdaTuner",
      "signalStatistics": "filter",
      "receives": {
        "dvbt": [
          {"frequency": 562000, "modulation": "16QAM", "mode": "8K", "guard": "1/8", "lpFecRate": "2/3", "bandwidth": 8, "quality": 30},
          {"frequency": 522000, "modulation": "64QAM", "mode": "8K", "guard": "1/4", "lpFecRate": "2/3", "bandwidth": 8, "quality": 95},
          {"frequency": 506000, "modulation": "64QAM", "mode": "2K", "guard": "1/32", "lpFecRate": "2/3", "bandwidth": 8, "quality": 90}
        ]
      }
    },
    "receiver": {"kind": "bdaReceiver"},
    "transportInformation": {"kind": "bdaTransportInformation"}
  },
  "tuningSpaces": [
    {"uniqueName": "DVB-T", "friendlyName": "Local DVB-T Digital Antenna", "kind": "DVB-T"},
    {"uniqueName": "DVB-C", "friendlyName": "Local DVB-C Digital Cable", "kind": "DVB-C", "inputType": "cable"}
  ],
  "frequencyMaps": {
    "31": [474000, 498000, 594000, 690000],
    "44": [474000, 490000, 506000, 530000],
    "49": [177500, 191500, 474000, 522000, 562000, 690000]
  },
  "converters": [
    {"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"}
  ]
})json"},
    {"ocur", R"json({
  "name": "ocur",
  "description": "An OpenCable receiver beside another card: the tuner is found by its device path, it has no receiver of its own",
  "device": {
    "name": "ATI TV Wonder OpenCable Receiver (Virtual)",
    "description": "Virtual OpenCable digital cable receiver",
    "capabilities": ["VideoCapture", "DigitalTVTuner"],
    "properties": {
      "DigitalFriendlyName": "ATI TV Wonder OpenCable Receiver",
      "DeviceLocator": "PCI\\VEN_1002&DEV_4D52&SUBSYS_0F011002&REV_01\\4&1C3D5A7E&0&00E0"
    }
  },
  "processes": ["explorer.exe", "services.exe"],
  "categories": {
    "BDANetworkProvider": [
      {"friendlyName": "Microsoft Network Provider", "filter": "networkProvider"}
    ],
    "BDANetworkTuner": [
      {
        "friendlyName": "Other Vendor BDA Tuner",
        "devicePath": "\\\\?\\pci#ven_1131&dev_7160&subsys_00000000&rev_03#4&1b2e3f4c&0&00e0#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{1a2b3c4d-0000-0000-0000-000000000001}",
        "filter": "otherTuner"
      },
      {
        "friendlyName": "ATI TV Wonder OpenCable Receiver Tuner",
        "devicePath": "\\\\?\\pci#ven_1002&dev_4d52&subsys_0f011002&rev_01#4&1c3d5a7e&0&00e0#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{9f2b1c11-3a2d-4c55-9d1e-0c0c7e0a0001}",
        "filter": "ocurTuner"
      }
    ],
    "BDAReceiverComponent": [
      {
        "friendlyName": "Other Vendor BDA Receiver",
        "devicePath": "\\\\?\\pci#ven_1131&dev_7160&subsys_00000000&rev_03#4&1b2e3f4c&0&00e0#{fd0a5af4-b41d-11d2-9c95-00c04f7971e0}\\{1a2b3c4d-0000-0000-0000-000000000002}",
        "filter": "receiver"
      }
    ],
    "BDATransportInformation": [
      {"friendlyName": "BDA MPEG2 Transport Information Filter", "filter": "transportInformation"}
    ]
  },
  "filters": {
    "networkProvider": {"kind": "networkProvider"},
    "otherTuner": {"kind": "bdaTuner", "receives": {"atsc": {"antenna": [{"physicalChannel": 9}]}}},
    "ocurTuner": {
      "kind": "bdaTuner",
      "signalStatistics": "filter",
      "receives": {"atsc": {"cable": [{"physicalChannel": 12, "minorChannel": 1}]}}
    },
    "receiver": {"kind": "bdaReceiver"},
    "transportInformation": {"kind": "bdaTransportInformation"}
  },
  "converters": [
    {"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"}
  ]
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

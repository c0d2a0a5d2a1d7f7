#pragma once
// A device described in JSON:
//   { "name": "...", "description": "...", "capabilities": ["VideoCapture", ...],
//     "properties": { "DeviceVendorID": "10CF", ... } }
// Only "name" is required. Unknown keys are refused, so a misspelt key is not silently ignored.

#include "mirt5/DiagDevice.h"

namespace mirt5 {

// Throws UsageError naming the file and, for a malformed document, the place of the fault.
DiagDevice loadDeviceFile(const qis::String& path);
DiagDevice parseDevice(const std::string& jsonText, const qis::String& origin);

} // namespace mirt5

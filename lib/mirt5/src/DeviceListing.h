#pragma once
// The devices that discovery found, as people read them, as device files, and written to a folder
// one file a device, ready for --device.

#include <filesystem>
#include <iosfwd>
#include <vector>

#include "mirt5/DiagModule.h"

namespace mirt5 {

// Throws UsageError for a folder that is missing or cannot be read.
void requireReadableFolder(const std::filesystem::path& folder);

// The files `found` would be written to in `folder`, named from the devices; checks the folder.
// Throws UsageError for a folder that is missing or cannot be read, and, without `overwrite`, for
// a file that already exists, before anything is written.
std::vector<std::filesystem::path> plannedDeviceFiles(const std::filesystem::path& folder, const DeviceDiscovery& found,
                                                      bool overwrite);
// Throws UsageError naming the first file that cannot be written.
void writeDeviceFiles(const DeviceDiscovery& found, const std::vector<std::filesystem::path>& files);

// Text: a block a device, with its notes and, when written, its file. JSON: one array of device
// files, and the notes on `notes` (they are no part of a device file).
void printDevices(std::ostream& out, std::ostream& notes, const DeviceDiscovery& found,
                  const std::vector<std::filesystem::path>& files, bool json);

} // namespace mirt5

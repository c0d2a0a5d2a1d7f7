#include "DeviceListing.h"

#include <fstream>
#include <ostream>
#include <set>

#include <nlohmann/json.hpp>

#include "qis/FileSystem.h"

namespace mirt5 {
namespace {

using nlohmann::ordered_json;

// The device file format, keys in the order people write them.
ordered_json deviceFile(const DiagDevice& device) {
    ordered_json capabilities = ordered_json::array();
    for (const auto& name : device.capabilities().names()) capabilities.push_back(name.utf8());
    ordered_json properties = ordered_json::object();
    for (const auto& [name, property] : device.properties()) properties[name.utf8()] = property.valueRef().toString().utf8();
    return {{"name", device.name().utf8()},
            {"description", device.description().utf8()},
            {"capabilities", capabilities},
            {"properties", properties}};
}

std::string jsonText(const ordered_json& value, int indent) {
    return value.dump(indent, ' ', false, ordered_json::error_handler_t::replace);
}

// A file name any file system takes: letters, digits, '.', '_' and '-'; every other run becomes one '-'.
std::string fileStem(const qis::String& name) {
    std::string stem;
    for (unsigned char c : name.utf8()) {
        const bool kept = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-';
        if (kept) stem += static_cast<char>(c);
        else if (!stem.empty() && stem.back() != '-') stem += '-';
    }
    while (!stem.empty() && (stem.back() == '-' || stem.back() == '.')) stem.pop_back();
    return stem.empty() ? std::string("device") : stem;
}

void printBlock(std::ostream& out, const DiscoveredDevice& found, const std::filesystem::path* file) {
    const DiagDevice& device = found.device;
    qis::String capabilities;
    for (const auto& name : device.capabilities().names()) capabilities += (capabilities.isEmpty() ? "" : ", ") + name;
    out << device.name() << '\n';
    out << "  description:  " << device.description() << '\n';
    out << "  capabilities: " << (capabilities.isEmpty() ? qis::String("-") : capabilities) << '\n';
    for (const auto& [name, property] : device.properties())
        out << "  " << name << ": " << property.valueRef().toString() << '\n';
    for (const auto& note : found.notes) out << "  note: " << note << '\n';
    if (file) out << "  written to " << qis::FileSystem::toText(*file) << '\n';
}

} // namespace

void requireReadableFolder(const std::filesystem::path& folder) {
    const qis::String named = "--out \"" + qis::FileSystem::toText(folder) + "\": ";
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error)) throw UsageError(named + "not a folder");
    std::filesystem::directory_iterator listing(folder, error);
    if (error) throw UsageError(named + "cannot be read: " + qis::String(error.message()));
}

std::vector<std::filesystem::path> plannedDeviceFiles(const std::filesystem::path& folder, const DeviceDiscovery& found,
                                                      bool overwrite) {
    requireReadableFolder(folder);
    std::vector<std::filesystem::path> files;
    std::set<std::string> taken;
    for (const auto& device : found.devices) {
        const std::string stem = fileStem(device.device.name());
        std::string name = stem;
        for (int number = 2; !taken.insert(name).second; ++number) name = stem + "-" + std::to_string(number);
        files.push_back(folder / qis::FileSystem::toPath(name + ".json"));
        std::error_code error;
        if (!overwrite && std::filesystem::exists(files.back(), error))
            throw UsageError("--out: \"" + qis::FileSystem::toText(files.back()) + "\" exists (--force overwrites it)");
    }
    return files;
}

void writeDeviceFiles(const DeviceDiscovery& found, const std::vector<std::filesystem::path>& files) {
    for (std::size_t i = 0; i < files.size(); ++i) {
        std::ofstream file(files[i], std::ios::binary | std::ios::trunc);
        file << jsonText(deviceFile(found.devices[i].device), 2) << '\n';
        file.close();
        if (!file) throw UsageError("--out: \"" + qis::FileSystem::toText(files[i]) + "\" cannot be written");
    }
}

void printDevices(std::ostream& out, std::ostream& notes, const DeviceDiscovery& found,
                  const std::vector<std::filesystem::path>& files, bool json) {
    if (json) {
        ordered_json list = ordered_json::array();
        for (const auto& device : found.devices) {
            list.push_back(deviceFile(device.device));
            for (const auto& note : device.notes) notes << "note: " << device.device.name() << ": " << note << '\n';
        }
        for (const auto& note : found.notes) notes << "note: " << note << '\n';
        out << jsonText(list, 2) << '\n';
        return;
    }
    for (const auto& note : found.notes) out << "note: " << note << '\n';
    if (found.devices.empty()) out << "No capture or BDA devices found.\n";
    for (std::size_t i = 0; i < found.devices.size(); ++i) {
        if (i > 0) out << '\n';
        printBlock(out, found.devices[i], i < files.size() ? &files[i] : nullptr);
    }
}

} // namespace mirt5

#include "frame/DeviceInstance.h"

namespace qisrtvcard {
namespace {

// Both spellings of the Win32 device namespace a path can begin with.
constexpr const char* kDevicePrefixes[] = {"\\\\?\\", "\\??\\"};

// The value of "PREFIX_" among the '&'-separated fields of a hardware id.
qis::String field(const qis::String& hardwareId, const char* prefix) {
    for (const auto& piece : hardwareId.split("&"))
        if (piece.startsWith(prefix)) return piece.substring(qis::String(prefix).length());
    return {};
}

} // namespace

DeviceInstance instanceOfPath(const qis::String& devicePath) {
    DeviceInstance instance;
    qis::String path = devicePath.toUpper();
    bool prefixed = false;
    for (const char* prefix : kDevicePrefixes)
        if (path.startsWith(prefix)) {
            path = path.substring(qis::String(prefix).length());
            prefixed = true;
        }
    const auto pieces = path.split("#");
    if (!prefixed || pieces.size() < 3 || pieces[0].isEmpty() || pieces[1].isEmpty() || pieces[2].isEmpty()) return instance;
    instance.id = pieces[0] + "\\" + pieces[1] + "\\" + pieces[2];
    instance.bus = pieces[0];
    if (instance.bus == "PCI") {
        instance.vendorId = field(pieces[1], "VEN_");
        instance.deviceId = field(pieces[1], "DEV_");
    } else if (instance.bus == "USB") {
        instance.vendorId = field(pieces[1], "VID_");
        instance.deviceId = field(pieces[1], "PID_");
    }
    return instance;
}

} // namespace qisrtvcard

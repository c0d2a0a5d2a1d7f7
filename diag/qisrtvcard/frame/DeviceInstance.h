#pragma once
// What a kernel-streaming filter's device path says about the Plug-and-Play device it belongs to:
//   \\?\pci#ven_14f1&dev_8852&subsys_71a10070&rev_04#4&2a9c7e1b&0&00e0#{category}\reference
// is instance PCI\VEN_14F1&DEV_8852&SUBSYS_71A10070&REV_04\4&2A9C7E1B&0&00E0 of vendor 14F1,
// device 8852. Every filter of one card (capture, tuner, receiver) carries the same instance.

#include "qis/String.h"

namespace qisrtvcard {

struct DeviceInstance {
    qis::String id;       // bus \ hardware id \ instance, upper case; empty when the path names none
    qis::String bus;      // "PCI", "USB", "ROOT", ...
    qis::String vendorId; // hexadecimal, no prefix: PCI VEN_, USB VID_; empty on other buses
    qis::String deviceId; // PCI DEV_, USB PID_

    // Only PCI and USB instances are what hosts give as a device's locator and ids.
    bool isLocatable() const { return bus == "PCI" || bus == "USB"; }
};

DeviceInstance instanceOfPath(const qis::String& devicePath);

} // namespace qisrtvcard

#pragma once

#include <map>

#include "mirt5/DeviceCapability.h"
#include "mirt5/Value.h"

namespace mirt5 {

class DeviceProperty {
public:
    DeviceProperty() = default;
    DeviceProperty(qis::String name, Value value) : name_(std::move(name)), value_(std::move(value)) {}
    const qis::String& name() const { return name_; }
    const Value& valueRef() const { return value_; }

private:
    qis::String name_;
    Value value_;
};

// The device under test as the host describes it.
class DiagDevice {
public:
    DiagDevice() = default;
    DiagDevice(qis::String name, qis::String description, DeviceCapability capabilities,
               std::map<qis::String, qis::String> properties = {});

    const qis::String& name() const { return name_; }
    const qis::String& description() const { return description_; }
    const DeviceCapability& capabilities() const { return capabilities_; }
    bool intersectCapability(const DeviceCapability& capability) const { return capabilities_.intersects(capability); }

    bool hasProperty(const qis::String& name) const { return properties_.count(name) != 0; }
    // A property the device lacks reads as an empty text.
    const DeviceProperty& property(const qis::String& name) const;
    const std::map<qis::String, DeviceProperty>& properties() const { return properties_; }

private:
    qis::String name_;
    qis::String description_;
    DeviceCapability capabilities_;
    std::map<qis::String, DeviceProperty> properties_;
};

} // namespace mirt5

#pragma once
// A set of device capabilities that remembers the order in which they were combined.

#include <optional>
#include <vector>

#include "qis/String.h"

namespace mirt5 {

class DeviceCapability {
public:
    static DeviceCapability VideoCapture() { return DeviceCapability(1u << 0); }
    static DeviceCapability VideoCaptureBaseFilter() { return DeviceCapability(1u << 1); }
    static DeviceCapability AnalogTVTuner() { return DeviceCapability(1u << 2); }
    static DeviceCapability DigitalTVTuner() { return DeviceCapability(1u << 3); }
    static DeviceCapability AnalogFMRadioTuner() { return DeviceCapability(1u << 4); }

    DeviceCapability() = default;
    static std::optional<DeviceCapability> fromName(const qis::String& name);
    static std::vector<qis::String> allNames();

    DeviceCapability operator|(const DeviceCapability& other) const;
    DeviceCapability& operator|=(const DeviceCapability& other) { return *this = *this | other; }
    bool intersects(const DeviceCapability& other) const { return (mask_ & other.mask_) != 0; }
    bool contains(const DeviceCapability& other) const { return (mask_ & other.mask_) == other.mask_; }
    bool isEmpty() const { return mask_ == 0; }
    // Names in the order the capabilities were combined.
    std::vector<qis::String> names() const;

private:
    explicit DeviceCapability(unsigned bit) : mask_(bit), order_{bit} {}
    unsigned mask_ = 0;
    std::vector<unsigned> order_;
};

} // namespace mirt5

// Results, data types, capabilities: names and conversions.
#include <array>

#include "mirt5/DataType.h"
#include "mirt5/DeviceCapability.h"
#include "mirt5/TestResult.h"

namespace mirt5 {
namespace {

constexpr std::array<const char*, 10> kResultNames = {"PASS",         "FAIL",       "CANNOTRUN",     "NODEVICE",
                                                      "NOSIGNAL",     "NOTSUPPORTED", "USERABORTED", "INTERNALERROR",
                                                      "EXITEDABNORMALLY", "TESTNOTSTARTED"};

struct CapabilityName {
    unsigned bit;
    const char* name;
};
constexpr std::array<CapabilityName, 5> kCapabilityNames = {{{1u << 0, "VideoCapture"},
                                                            {1u << 1, "VideoCaptureBaseFilter"},
                                                            {1u << 2, "AnalogTVTuner"},
                                                            {1u << 3, "DigitalTVTuner"},
                                                            {1u << 4, "AnalogFMRadioTuner"}}};

} // namespace

const char* TestResult::name() const {
    return value_ >= 0 && value_ < static_cast<int>(kResultNames.size()) ? kResultNames[value_] : "UNKNOWN";
}

std::optional<TestResult> TestResult::fromName(const qis::String& name) {
    for (std::size_t i = 0; i < kResultNames.size(); ++i)
        if (name == kResultNames[i]) return TestResult(static_cast<int>(i));
    return std::nullopt;
}

const char* DataType::name() const {
    switch (kind_) {
    case Kind::Uint32: return "UINT32";
    case Kind::Double: return "DOUBLE";
    case Kind::Boolean: return "BOOLEAN";
    case Kind::String: return "STRING";
    }
    return "STRING";
}

std::optional<DeviceCapability> DeviceCapability::fromName(const qis::String& name) {
    for (const auto& entry : kCapabilityNames)
        if (name == entry.name) return DeviceCapability(entry.bit);
    return std::nullopt;
}

std::vector<qis::String> DeviceCapability::allNames() {
    std::vector<qis::String> names;
    for (const auto& entry : kCapabilityNames) names.emplace_back(entry.name);
    return names;
}

DeviceCapability DeviceCapability::operator|(const DeviceCapability& other) const {
    DeviceCapability combined = *this;
    for (unsigned bit : other.order_) {
        if (combined.mask_ & bit) continue;
        combined.mask_ |= bit;
        combined.order_.push_back(bit);
    }
    return combined;
}

std::vector<qis::String> DeviceCapability::names() const {
    std::vector<qis::String> names;
    for (unsigned bit : order_)
        for (const auto& entry : kCapabilityNames)
            if (entry.bit == bit) names.emplace_back(entry.name);
    return names;
}

} // namespace mirt5

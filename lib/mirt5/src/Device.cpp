// The device under test and the tests' offer rules.
#include "mirt5/Localization.h"
#include "mirt5/DiagDevice.h"
#include "mirt5/Test.h"

#include <algorithm>

namespace mirt5 {
namespace {

bool valueMatches(const qis::String& actual, const qis::String& alternatives) {
    if (alternatives.isEmpty()) return true;
    for (const auto& alternative : alternatives.split("|"))
        if (actual.equalsIgnoreCase(alternative.trimmed())) return true; // hexadecimal ids: case is no difference
    return false;
}

bool ruleMatches(const DiagDevice& device, const PropertyRule& rule) {
    return device.hasProperty(rule.property) &&
           valueMatches(device.property(rule.property).valueRef().toString(), rule.value);
}

qis::String describe(const PropertyRule& rule) {
    return rule.value.isEmpty() ? rule.property : rule.property + "=" + rule.value;
}

} // namespace

DiagDevice::DiagDevice(qis::String name, qis::String description, DeviceCapability capabilities,
                       std::map<qis::String, qis::String> properties)
    : name_(std::move(name)), description_(std::move(description)), capabilities_(std::move(capabilities)) {
    for (auto& [key, text] : properties) properties_.emplace(key, DeviceProperty(key, Value(text)));
}

const DeviceProperty& DiagDevice::property(const qis::String& name) const {
    static const DeviceProperty missing;
    const auto it = properties_.find(name);
    return it == properties_.end() ? missing : it->second;
}

qis::String Test::localizedName() const { return Localization::testName(name_); }

Test* Test::addParameter(Parameter* parameter) {
    if (parameter && !carries(parameter)) parameters_.push_back(parameter);
    return this;
}

Test* Test::addDevicePropertyRequirement(const qis::String& property, const qis::String& value) {
    requirements_.push_back({property, value});
    return this;
}

Test* Test::addDevicePropertyExclusion(const qis::String& property, const qis::String& value) {
    exclusions_.push_back({property, value});
    return this;
}

bool Test::carries(const Parameter* parameter) const {
    return std::find(parameters_.begin(), parameters_.end(), parameter) != parameters_.end();
}

qis::String Test::whyNotOffered(const DiagDevice& device) const {
    if (!device.capabilities().contains(capabilities_)) {
        qis::String missing;
        for (const auto& name : capabilities_.names()) {
            const auto capability = DeviceCapability::fromName(name);
            if (capability && !device.capabilities().contains(*capability))
                missing += (missing.isEmpty() ? "" : ", ") + name;
        }
        return "the device lacks the capability " + missing;
    }
    for (const auto& rule : requirements_)
        if (!ruleMatches(device, rule)) return "the device lacks the property " + describe(rule);
    if (!exclusions_.empty() &&
        std::all_of(exclusions_.begin(), exclusions_.end(), [&](const PropertyRule& rule) { return ruleMatches(device, rule); })) {
        qis::String matched;
        for (const auto& rule : exclusions_) matched += (matched.isEmpty() ? "" : ", ") + describe(rule);
        return "the test is excluded for devices with " + matched;
    }
    return qis::String();
}

} // namespace mirt5

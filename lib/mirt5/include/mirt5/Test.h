#pragma once

#include <vector>

#include "mirt5/DeviceCapability.h"
#include "mirt5/DiagDevice.h"
#include "mirt5/Parameter.h"
#include "mirt5/TestResult.h"

namespace mirt5 {

using TestEntry = TestResult (*)(const DiagDevice&);

struct PropertyRule {
    qis::String property;
    // Alternatives separated by "|"; an empty value matches any value of a present property.
    qis::String value;
};

class Test {
public:
    Test(qis::String name, DeviceCapability capabilities, TestEntry entry)
        : name_(std::move(name)), capabilities_(std::move(capabilities)), entry_(entry) {}

    const qis::String& name() const { return name_; }
    // The name in the user's language (window captions, box titles).
    qis::String localizedName() const;
    const DeviceCapability& capabilities() const { return capabilities_; }
    TestEntry entry() const { return entry_; }
    bool isInteractive() const { return interactive_; }
    const std::vector<Parameter*>& parameters() const { return parameters_; }
    const std::vector<PropertyRule>& requirements() const { return requirements_; }
    const std::vector<PropertyRule>& exclusions() const { return exclusions_; }

    Test* setInteractive(bool interactive) { interactive_ = interactive; return this; }
    Test* addParameter(Parameter* parameter);
    // The device must have the property (with one of the values, when values are given).
    Test* addDevicePropertyRequirement(const qis::String& property, const qis::String& value);
    // A device that matches every exclusion of the test is not offered the test.
    Test* addDevicePropertyExclusion(const qis::String& property, const qis::String& value);

    bool carries(const Parameter* parameter) const;
    // Empty when the test is offered for the device, else the reason.
    qis::String whyNotOffered(const DiagDevice& device) const;

private:
    qis::String name_;
    DeviceCapability capabilities_;
    TestEntry entry_;
    bool interactive_ = false;
    std::vector<Parameter*> parameters_;
    std::vector<PropertyRule> requirements_;
    std::vector<PropertyRule> exclusions_;
};

} // namespace mirt5

#pragma once
// A typed test parameter. The host gives its value for one run; the module reads it with value().

#include <mutex>
#include <optional>

#include "mirt5/MirtString.h"
#include "mirt5/Value.h"

namespace mirt5 {

class Parameter {
public:
    // moduleWide: readable by every test of the module without being attached to one, and optional
    //             when not attached (a value the host did not give reads as the default).
    // listed:     shown to the host in the catalogue.
    Parameter(qis::String name, DataType type, qis::String defaultValue, bool moduleWide, bool listed)
        : name_(std::move(name)), type_(type), default_(std::move(defaultValue)), moduleWide_(moduleWide),
          listed_(listed) {}

    const qis::String& name() const { return name_; }
    DataType dataType() const { return type_; }
    const qis::String& defaultValue() const { return default_; }
    bool isModuleWide() const { return moduleWide_; }
    bool isListed() const { return listed_; }

    // The value for the current run, or the default when the host gave none.
    Value value() const;

    void setRunValue(std::optional<Value> value);

private:
    qis::String name_;
    DataType type_;
    qis::String default_;
    bool moduleWide_;
    bool listed_;
    mutable std::mutex mutex_;
    std::optional<Value> runValue_;
};

} // namespace mirt5

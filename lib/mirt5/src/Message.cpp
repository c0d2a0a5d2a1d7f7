#include "mirt5/Message.h"

#include "mirt5/Localization.h"
#include "mirt5/Parameter.h"

namespace mirt5 {

void Message::setVariable(const qis::String& name, const Value& value) {
    std::lock_guard lock(mutex_);
    variables_[name] = value.toString();
}

std::map<qis::String, qis::String> Message::variables() const {
    std::lock_guard lock(mutex_);
    return variables_;
}

void Message::clearVariables() {
    std::lock_guard lock(mutex_);
    variables_.clear();
}

qis::String Message::render(bool isEvent, Localization::Unset unset) const {
    const qis::String text = isEvent ? Localization::eventText(key_) : Localization::stringText(key_);
    return Localization::fill(text, variables(), unset);
}

Value Parameter::value() const {
    std::lock_guard lock(mutex_);
    if (runValue_) return *runValue_;
    const auto parsed = Value::parse(type_, default_);
    return parsed ? *parsed : Value::empty(type_);
}

void Parameter::setRunValue(std::optional<Value> value) {
    std::lock_guard lock(mutex_);
    runValue_ = std::move(value);
}

} // namespace mirt5

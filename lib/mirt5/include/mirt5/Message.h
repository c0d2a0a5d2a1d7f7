#pragma once
// Events and localized strings: a key, named variables, and a text from the localization data
// with the variables filled in.

#include <map>
#include <mutex>

#include "mirt5/Localization.h"
#include "mirt5/Value.h"

namespace mirt5 {

class Message {
public:
    explicit Message(qis::String key) : key_(std::move(key)) {}
    virtual ~Message() = default;
    const qis::String& key() const { return key_; }

    void setVariable(const qis::String& name, const Value& value);
    std::map<qis::String, qis::String> variables() const;
    void clearVariables();

protected:
    qis::String render(bool isEvent, Localization::Unset unset = Localization::Unset::Keep) const;

private:
    qis::String key_;
    mutable std::mutex mutex_;
    std::map<qis::String, qis::String> variables_;
};

class Event : public Message {
public:
    using Message::Message;
    qis::String text() const { return render(true); }
    // The text as a raised event shows it: a variable the module did not set is left out.
    qis::String raisedText() const { return render(true, Localization::Unset::Empty); }
};

class LocalizedString : public Message {
public:
    using Message::Message;
    qis::String localizedString() const { return render(false); }
};

} // namespace mirt5

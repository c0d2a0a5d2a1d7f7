#pragma once
// Fault injection: make a named method of a named object fail, always or on its Nth call.

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "qis/String.h"
#include "tvsim/Journal.h"

namespace tvsim {

enum class FaultKind {
    Fail,       // return the rule's HRESULT
    NullResult, // return S_OK with a null out-pointer, as some drivers do
};

struct FaultRule {
    qis::String object;   // "*" matches any object
    qis::String method;
    std::int32_t result = static_cast<std::int32_t>(0x80004005); // E_FAIL
    unsigned call = 0;    // 0: every call; N: only the Nth call of this method on this object
    FaultKind kind = FaultKind::Fail;
    // Named arguments the call must have, by their text ("inputType": "TunerInputCable"); the
    // call still counts towards `call` when they do not match.
    std::vector<std::pair<qis::String, qis::String>> arguments;
};

class FaultPlan {
public:
    void add(FaultRule rule);
    void clear();
    // Counts the call and returns the rule that answers it, if any.
    std::optional<FaultRule> check(const qis::String& object, const qis::String& method, const std::vector<Argument>& named = {});

private:
    std::mutex mutex_;
    std::vector<FaultRule> rules_;
    std::map<std::pair<qis::String, qis::String>, unsigned> calls_;
};

} // namespace tvsim

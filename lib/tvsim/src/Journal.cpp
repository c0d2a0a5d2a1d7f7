#include "tvsim/Faults.h"
#include "tvsim/Journal.h"

namespace tvsim {

void Journal::record(Call call) {
    std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
}

std::vector<Call> Journal::calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
}

std::size_t Journal::count(const qis::String& object, const qis::String& method) const {
    std::lock_guard lock(mutex_);
    std::size_t n = 0;
    for (const auto& c : calls_)
        if (c.object == object && c.method == method) ++n;
    return n;
}

void Journal::clear() {
    std::lock_guard lock(mutex_);
    calls_.clear();
}

void FaultPlan::add(FaultRule rule) {
    std::lock_guard lock(mutex_);
    rules_.push_back(std::move(rule));
}

void FaultPlan::clear() {
    std::lock_guard lock(mutex_);
    rules_.clear();
    calls_.clear();
}

std::optional<FaultRule> FaultPlan::check(const qis::String& object, const qis::String& method) {
    std::lock_guard lock(mutex_);
    const unsigned n = ++calls_[{object, method}];
    for (const auto& rule : rules_) {
        if (rule.method != method || (rule.object != "*" && rule.object != object)) continue;
        if (rule.call == 0 || rule.call == n) return rule;
    }
    return std::nullopt;
}

} // namespace tvsim

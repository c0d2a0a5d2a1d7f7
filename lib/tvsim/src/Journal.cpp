#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "tvsim/Faults.h"
#include "tvsim/Journal.h"

namespace tvsim {
namespace {

// The results a scenario may name and the journal names back.
const std::map<std::string, std::uint32_t>& resultNames() {
    static const std::map<std::string, std::uint32_t> names = {
        {"S_OK", 0u},
        {"S_FALSE", 1u},
        {"E_FAIL", 0x80004005u},
        {"E_OUTOFMEMORY", 0x8007000Eu},
        {"E_NOINTERFACE", 0x80004002u},
        {"E_POINTER", 0x80004003u},
        {"E_INVALIDARG", 0x80070057u},
        {"E_NOTIMPL", 0x80004001u},
        {"E_ACCESSDENIED", 0x80070005u},
        {"E_UNEXPECTED", 0x8000FFFFu},
        {"REGDB_E_CLASSNOTREG", 0x80040154u},
        {"CLASS_E_NOAGGREGATION", 0x80040110u},
        {"RPC_E_CHANGED_MODE", 0x80010106u},
        {"VFW_E_NOT_CONNECTED", 0x80040209u},
        {"VFW_E_CANNOT_CONNECT", 0x80040217u},
        {"VFW_E_CANNOT_RENDER", 0x80040218u},
        {"VFW_E_TYPE_NOT_ACCEPTED", 0x8004022Au},
        {"VFW_E_NOT_FOUND", 0x80040216u},
        {"VFW_E_ALREADY_CONNECTED", 0x80040204u},
        {"E_ABORT", 0x80004004u},
    };
    return names;
}

} // namespace

Arguments& Arguments::with(const char* name, long long number) {
    named_.push_back({name, qis::String::number(number), true});
    return *this;
}

Arguments& Arguments::with(const char* name, qis::String value) {
    named_.push_back({name, std::move(value), false});
    return *this;
}

qis::String Arguments::text() const {
    if (!text_.isEmpty() || named_.empty()) return text_;
    qis::String joined;
    for (const auto& argument : named_) {
        if (!joined.isEmpty()) joined += ", ";
        joined += argument.value;
    }
    return joined;
}

std::string resultName(std::int32_t result) {
    const auto value = static_cast<std::uint32_t>(result);
    for (const auto& [name, code] : resultNames())
        if (code == value) return name;
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", static_cast<unsigned>(value));
    return hex;
}

std::optional<std::int32_t> resultFromName(const std::string& name) {
    const auto found = resultNames().find(name);
    if (found == resultNames().end()) return std::nullopt;
    return static_cast<std::int32_t>(found->second);
}

std::string journalLine(const Call& call) {
    // In the order a reader scans a record: when, who, what, with what, and how it went.
    nlohmann::ordered_json line = {{"time", call.timeMs}, {"object", call.object.utf8()}, {"method", call.method.utf8()}};
    if (!call.named.empty()) {
        nlohmann::ordered_json arguments = nlohmann::ordered_json::object();
        for (const auto& argument : call.named) {
            if (argument.isNumber)
                arguments[argument.name] = std::stoll(argument.value.utf8());
            else
                arguments[argument.name] = argument.value.utf8();
        }
        line["arguments"] = std::move(arguments);
    } else if (!call.arguments.isEmpty()) {
        line["arguments"] = call.arguments.utf8();
    }
    line["result"] = resultName(call.result);
    if (call.injected) line["injected"] = true;
    return line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

JournalFile::JournalFile(const qis::String& path) {
    if (path == "-") {
        file_ = stderr;
        return;
    }
    file_ = std::fopen(path.utf8().c_str(), "wb");
    if (!file_) throw std::runtime_error("--journal: cannot create \"" + path.utf8() + "\": " + std::strerror(errno));
    owned_ = true;
}

JournalFile::~JournalFile() {
    if (owned_) std::fclose(file_);
    else std::fflush(file_);
}

void JournalFile::write(const Call& call) {
    const std::string line = journalLine(call) + "\n";
    std::fwrite(line.data(), 1, line.size(), file_);
}

void Journal::setClock(Clock clock) {
    std::lock_guard lock(mutex_);
    clock_ = std::move(clock);
}

void Journal::addObserver(Sink observer) {
    std::lock_guard lock(mutex_);
    observers_.push_back(std::move(observer));
}

void Journal::clearObservers() {
    std::lock_guard lock(mutex_);
    observers_.clear();
}

void Journal::record(Call call) {
    std::lock_guard lock(mutex_);
    if (clock_) call.timeMs = clock_();
    for (const auto& observer : observers_) observer(call);
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

namespace {

bool argumentsMatch(const FaultRule& rule, const std::vector<Argument>& named) {
    return std::all_of(rule.arguments.begin(), rule.arguments.end(), [&](const auto& wanted) {
        return std::any_of(named.begin(), named.end(),
                           [&](const Argument& given) { return wanted.first.utf8() == given.name && wanted.second == given.value; });
    });
}

} // namespace

std::optional<FaultRule> FaultPlan::check(const qis::String& object, const qis::String& method, const std::vector<Argument>& named) {
    std::lock_guard lock(mutex_);
    const unsigned n = ++calls_[{object, method}];
    for (const auto& rule : rules_) {
        if (rule.method != method || (rule.object != "*" && rule.object != object)) continue;
        if (!argumentsMatch(rule, named)) continue;
        if (rule.call == 0 || rule.call == n) return rule;
    }
    return std::nullopt;
}

} // namespace tvsim

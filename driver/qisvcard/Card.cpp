// Choosing the card from a scenario, and where registration keeps the scenario's name.
#include "Card.h"

#include <windows.h>

#include <vector>

#include "Registry.h"

namespace qisvcard {
namespace {

constexpr char kCategory[] = "VideoInputDevice";
constexpr char kAnalogCapture[] = "analogCapture";

qis::String where(const qis::String& scenario) { return "scenario \"" + scenario + "\": "; }

} // namespace

Card cardFromScenario(const qis::String& nameOrPath) {
    const qis::String name = nameOrPath.isEmpty() ? qis::String(tvsim::kDefaultScenario) : nameOrPath;
    const tvsim::Scenario scenario = tvsim::loadScenario(name);
    const auto devices = scenario.categories.find(kCategory);
    if (devices != scenario.categories.end()) {
        for (const auto& moniker : devices->second) {
            const auto filter = scenario.filters.find(moniker.filter);
            if (filter == scenario.filters.end() || filter->second.kind != kAnalogCapture) continue;
            if (!moniker.friendlyName)
                throw tvsim::ScenarioError(where(name) + "/categories/VideoInputDevice: the analog capture device has no friendlyName");
            return Card{name, *moniker.friendlyName, moniker.description.value_or(qis::String()),
                        moniker.devicePath.value_or(qis::String()), filter->second};
        }
    }
    throw tvsim::ScenarioError(where(name) + "/categories/VideoInputDevice: no device with an analog capture filter");
}

qis::String scenarioFromEnvironment() {
    std::vector<wchar_t> value(32768);
    const DWORD length = GetEnvironmentVariableW(kScenarioVariable, value.data(), static_cast<DWORD>(value.size()));
    return length && length < value.size() ? qis::String(value.data()) : qis::String();
}

qis::String scenarioToRegister(const qis::String& nameOrPath) {
    if (nameOrPath.isEmpty() || tvsim::builtInScenarioText(nameOrPath)) return nameOrPath;
    std::vector<wchar_t> full(32768);
    const DWORD length = GetFullPathNameW(nameOrPath.wide().c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    return length && length < full.size() ? qis::String(full.data()) : nameOrPath;
}

std::optional<Card> registeredCard() {
    try {
        return cardFromScenario(registeredScenario());
    } catch (const tvsim::ScenarioError& e) {
        reportError(e.what());
        return std::nullopt;
    }
}

void reportError(const qis::String& reason) {
    const std::string line = "qisvcard: " + reason.utf8() + "\n";
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

} // namespace qisvcard

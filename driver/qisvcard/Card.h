#pragma once
// The card the DLL presents, taken from a tvsim scenario (the same loader as --sim): the first
// video input device of the scenario whose filter is an analog capture filter.

#include <optional>

#include "qis/String.h"
#include "tvsim/Scenario.h"

namespace qisvcard {

// Names the scenario to register: a built-in name or a file path; unset means "hybrid".
inline constexpr wchar_t kScenarioVariable[] = L"QISVCARD_SCENARIO";

struct Card {
    qis::String scenario; // as registered: built-in name or full path
    qis::String friendlyName;
    qis::String description;
    qis::String devicePath;
    tvsim::FilterSpec filter;
};

// Throws tvsim::ScenarioError with a one-line reason when the scenario cannot be used.
Card cardFromScenario(const qis::String& nameOrPath);

// The scenario QISVCARD_SCENARIO names, as given; empty when unset.
qis::String scenarioFromEnvironment();
// What registration keeps: a built-in name as it is, a file path made absolute so that the
// card still loads when a program in another directory creates it.
qis::String scenarioToRegister(const qis::String& nameOrPath);

// The card of the registered scenario, or nothing (the reason on stderr).
std::optional<Card> registeredCard();

// Writes "qisvcard: <reason>" as one line on stderr.
void reportError(const qis::String& reason);

} // namespace qisvcard

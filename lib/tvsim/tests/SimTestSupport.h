#pragma once
// Shared by the simulator's tests: a simulation of a scenario given as JSON, with COM set up on
// the test thread.

#include <memory>
#include <string>

#include "tvsim/Simulation.h"

namespace tvsim::testing {

class SimulationFixture {
public:
    // `json` is a whole scenario; the built-in default when empty.
    explicit SimulationFixture(const std::string& json = std::string());
    ~SimulationFixture();
    Simulation& simulation() { return *simulation_; }
    // Names and counts of objects still alive, one per line (for failure messages).
    std::string liveObjects() const;

private:
    std::unique_ptr<Simulation> simulation_;
};

} // namespace tvsim::testing

#include "SimTestSupport.h"

#include <objbase.h>

namespace tvsim::testing {

SimulationFixture::SimulationFixture(const std::string& json) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    simulation_ = std::make_unique<Simulation>(json.empty() ? loadScenario(kDefaultScenario) : parseScenario(json, "test"));
}

SimulationFixture::~SimulationFixture() {
    simulation_.reset();
    CoUninitialize();
}

std::string SimulationFixture::liveObjects() const {
    std::string text;
    for (const auto& object : simulation_->liveObjects())
        text += object.name.utf8() + " (" + std::to_string(object.references) + ")\n";
    return text;
}

} // namespace tvsim::testing

// Scenario files: any bytes must load or be refused with a ScenarioError naming the file.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tvsim/Scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        tvsim::parseScenario(std::string(reinterpret_cast<const char*>(data), size), "fuzz.json");
    } catch (const tvsim::ScenarioError& error) {
        if (std::string(error.what()).find("fuzz.json") == std::string::npos) std::abort();
    }
    return 0;
}

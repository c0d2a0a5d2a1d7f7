#include "ModuleTestSupport.h"

#include <fstream>
#include <mutex>

#include "frame/Entry.h"

namespace qisrtvcard::testing {

void initialiseCatalogue() {
    static std::once_flag once;
    std::call_once(once, [] {
        char program[] = "qisrtvcard";
        char version[] = "--version";
        char* argv[] = {program, version, nullptr};
        moduleMain(2, argv);
    });
}

std::filesystem::path writeTempFile(const std::string& name, const std::string& json) {
    const auto path = std::filesystem::temp_directory_path() / ("qisrtvcard-test-" + name);
    std::ofstream(path, std::ios::binary) << json;
    return path;
}

} // namespace qisrtvcard::testing

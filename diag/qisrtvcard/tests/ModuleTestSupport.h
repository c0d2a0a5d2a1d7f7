#pragma once
// Shared set-up for the module's tests: the catalogue wired as the program wires it, and a
// device file on disk.

#include <filesystem>
#include <string>

namespace qisrtvcard::testing {

// Runs the module's entry once with --version, so that the framework calls moduleInit as it
// does in the program.
void initialiseCatalogue();

// Writes `json` to a fresh file in the temp directory and returns its path.
std::filesystem::path writeTempFile(const std::string& name, const std::string& json);

} // namespace qisrtvcard::testing

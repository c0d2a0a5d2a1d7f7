#pragma once
// The program run as a host runs it: a command line in, exit code, stdout and stderr out.

#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace qisrtvcard::testing {

struct Outcome {
    DWORD code = 0;
    std::string out;
    std::string err;
};

// The folder the test programs and qisrtvcard.exe are built into.
std::filesystem::path binDirectory();
// A scratch folder the program runs in.
std::filesystem::path workDirectory();
// Runs qisrtvcard.exe with `arguments`, `input` on its standard input, and waits up to a minute.
Outcome runModule(const std::string& arguments, const std::string& input = "");
// Each line of JSON Lines output, parsed.
std::vector<nlohmann::json> jsonLines(const std::string& text);

} // namespace qisrtvcard::testing

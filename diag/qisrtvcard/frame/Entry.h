#pragma once

namespace qisrtvcard {

// The process entry: hands the command line to the framework and returns the exit code.
int moduleMain(int argc, char** argv);

} // namespace qisrtvcard

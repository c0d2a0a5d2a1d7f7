#pragma once
// The two ways the command line reports a run: lines for people, JSON Lines for programs.

#include <iosfwd>
#include <memory>
#include <mutex>

#include "mirt5/Reporter.h"

namespace mirt5 {

// logLevel: log records at or above it are shown (the file log is not affected).
// liveLine: the percent and the current progress text share one line, redrawn in place (for a
// console); otherwise each is a line of its own, as scripts read them.
std::unique_ptr<Reporter> makeHumanReporter(std::ostream& out, int logLevel, bool liveLine = false);
std::unique_ptr<Reporter> makeJsonReporter(std::ostream& out, int logLevel);

} // namespace mirt5

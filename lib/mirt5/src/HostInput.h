#pragma once
// Lines from standard input while a test runs. In JSON mode each line is a JSON object:
// {"command":"stop"} requests a stop, {"answer":"retry"} (or a number) answers the open prompt.
// On a console each line is an answer as typed.

#include <memory>

#include "mirt5/Reporter.h"

namespace mirt5 {

std::unique_ptr<LineSource> openStandardInput(bool json);
bool standardInputIsConsole();
bool standardOutputIsConsole();

} // namespace mirt5

#pragma once
// The catalogue as the host lists it; with a device, only the tests offered for it.

#include <iosfwd>
#include <optional>

#include "mirt5/DiagDevice.h"

namespace mirt5 {

void listCatalogue(std::ostream& out, const qis::String& moduleName, const std::optional<DiagDevice>& device, bool json);

} // namespace mirt5

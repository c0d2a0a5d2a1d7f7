#pragma once
// The modal country dialog (resource 129) and the table of countries it offers.

#include <cstdint>

namespace qisrtvcard {

// Shows the dialog and returns the chosen Windows country/region code, 0 when it was cancelled or
// stopped, or DialogBoxParam's own failure (-1) as it stands.
std::int32_t askForCountry();

} // namespace qisrtvcard

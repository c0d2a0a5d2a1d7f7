// Written next.
#include "analog/CountryDialog.h"
namespace qisrtvcard {
std::int32_t askForCountry() { return 0; }
}

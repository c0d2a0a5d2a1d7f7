#pragma once
// The DLL's own registry entries: the COM class (HKCR\CLSID\{card}) with its in-process server
// and the scenario chosen at registration.

#include <windows.h>

#include "qis/String.h"

namespace qisvcard {

// Writes the class key; a failure is an HRESULT.
long writeClassKey(const qis::String& friendlyName, const qis::String& scenario);
// Removes the class key and everything below it.
void removeClassKey();
// The scenario the class key names, empty for the default.
qis::String registeredScenario();

} // namespace qisvcard

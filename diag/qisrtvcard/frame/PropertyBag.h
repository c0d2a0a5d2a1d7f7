#pragma once
// Reading device monikers' property bags.

#include <oaidl.h>
#include <ocidl.h>

#include "qis/String.h"
#include "tunekit/ComValues.h"

namespace qisrtvcard {

// Reads a text property of a property bag; false when the bag has none (or there is no bag: some
// drivers bind a moniker's storage with success and nothing).
inline bool readText(IPropertyBag* bag, const wchar_t* name, qis::String& text) {
    if (!bag) return false;
    tunekit::Variant value;
    const HRESULT hr = bag->Read(name, value.get(), nullptr);
    const bool ok = SUCCEEDED(hr) && value.value().vt == VT_BSTR;
    if (ok) text = qis::String(value.value().bstrVal ? value.value().bstrVal : L"");
    return ok;
}

} // namespace qisrtvcard

#pragma once
// Readable text for HRESULTs that tuner and capture calls hand back, for logs and diagnostics.

#include <cstdint>
#include <span>

#include "qis/String.h"

namespace tunekit {

// One row of DirectShow's own message table.
struct DirectShowErrorText {
    std::uint32_t code;
    const char* text;
};

class ErrorHandler {
public:
    // Text for an HRESULT followed by its code in hexadecimal, e.g.
    // "The operation cannot be performed because the pins are not connected. (0x80040209)".
    // DirectShow's text comes first, then the system's, then "Unknown error". Callers pass an
    // HRESULT directly: it is a 32-bit long on Windows.
    static qis::String errorMessageFromHr(std::int32_t hr);

    // DirectShow's own text for a VFW_E_* / VFW_S_* code, or an empty string when the code is
    // not one of them.
    static qis::String directShowText(std::int32_t hr);

    // The whole DirectShow table in ascending code order (as unsigned values), which the lookup
    // relies on; public so tests can check that order.
    static std::span<const DirectShowErrorText> directShowTexts();
};

} // namespace tunekit

#include "tunekit/ErrorHandler.h"

#include <algorithm>
#include <string>
#include <string_view>

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace tunekit {
namespace {

struct FallbackText {
    std::uint32_t code;
    const char* text;
};

// Only for when the system has no message for a code (native builds, or FormatMessageW
// returning nothing), so the commonest COM results still read as words. Windows' wording.
constexpr FallbackText kFallbackTexts[] = {
    {0x00000000u, "The operation completed successfully."},                                  // S_OK
    {0x80004001u, "Not implemented"},                                                        // E_NOTIMPL
    {0x80004002u, "No such interface supported"},                                            // E_NOINTERFACE
    {0x80004003u, "Invalid pointer"},                                                        // E_POINTER
    {0x80004005u, "Unspecified error"},                                                      // E_FAIL
    {0x80040154u, "Class not registered"},                                                   // REGDB_E_CLASSNOTREG
    {0x8007000Eu, "Not enough memory resources are available to complete this operation."}, // E_OUTOFMEMORY
    {0x80070057u, "The parameter is incorrect."},                                            // E_INVALIDARG
};

qis::String fallbackText(std::uint32_t code) {
    for (const FallbackText& row : kFallbackTexts) {
        if (row.code == code) return qis::String(row.text);
    }
    return {};
}

#ifdef _WIN32
// System messages end in CR/LF (sometimes after a blank), which would split a log line.
qis::String systemText(std::uint32_t code) {
    wchar_t* buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(code), 0, reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    if (buffer == nullptr) return {};
    struct Release {
        wchar_t* p;
        ~Release() { LocalFree(p); }
    } release{buffer};
    std::wstring_view text(buffer, length);
    while (!text.empty() && std::wstring_view(L" \t\r\n").find(text.back()) != std::wstring_view::npos) {
        text.remove_suffix(1);
    }
    return qis::String(text);
}
#endif

// Upper-case and always eight digits, so codes line up and match how they are documented.
std::string hexCode(std::uint32_t code) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out = "0x";
    for (int shift = 28; shift >= 0; shift -= 4) out += kDigits[(code >> shift) & 0xFu];
    return out;
}

} // namespace

qis::String ErrorHandler::directShowText(std::int32_t hr) {
    // Unsigned, so the severity bit keeps VFW_S_* and VFW_E_* with the same low word apart.
    const auto code = static_cast<std::uint32_t>(hr);
    const std::span<const DirectShowErrorText> rows = directShowTexts();
    const auto it = std::lower_bound(rows.begin(), rows.end(), code,
                                     [](const DirectShowErrorText& row, std::uint32_t c) { return row.code < c; });
    if (it == rows.end() || it->code != code) return {};
    return qis::String(it->text);
}

qis::String ErrorHandler::errorMessageFromHr(std::int32_t hr) {
    const auto code = static_cast<std::uint32_t>(hr);
    qis::String text = directShowText(hr);
#ifdef _WIN32
    if (text.isEmpty()) text = systemText(code);
#endif
    if (text.isEmpty()) text = fallbackText(code);
    if (text.isEmpty()) text = "Unknown error";
    return text + " (" + qis::String(hexCode(code)) + ")";
}

} // namespace tunekit

#include "qis/String.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <ostream>

namespace qis {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one code point; malformed input yields U+FFFD and consumes one byte.
char32_t decodeUtf8(std::string_view s, std::size_t& i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(s[k]); };
    const unsigned char lead = byte(i);
    if (lead < 0x80) { ++i; return lead; }
    int extra = 0;
    char32_t cp = 0;
    if ((lead & 0xE0) == 0xC0) { extra = 1; cp = lead & 0x1F; }
    else if ((lead & 0xF0) == 0xE0) { extra = 2; cp = lead & 0x0F; }
    else if ((lead & 0xF8) == 0xF0) { extra = 3; cp = lead & 0x07; }
    else { ++i; return kReplacement; }
    for (int k = 1; k <= extra; ++k) {
        if (i + k >= s.size() || (byte(i + k) & 0xC0) != 0x80) { ++i; return kReplacement; }
        cp = (cp << 6) | (byte(i + k) & 0x3F);
    }
    i += extra + 1;
    // Overlong forms ("\xC0\xAF" for '/') are invalid: they would let one character hide as another.
    constexpr char32_t kShortest[] = {0, 0x80, 0x800, 0x10000};
    if (cp < kShortest[extra]) return kReplacement;
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return kReplacement;
    return cp;
}

void appendUtf8(std::string& out, char32_t cp) {
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) cp = kReplacement;
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

template <class Char>
std::string utf16ToUtf8(std::basic_string_view<Char> in) {
    std::string out;
    out.reserve(in.size());
    for (std::size_t i = 0; i < in.size(); ++i) {
        char32_t unit = static_cast<char16_t>(in[i]);
        if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < in.size()) {
            const char32_t low = static_cast<char16_t>(in[i + 1]);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                appendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
                ++i;
                continue;
            }
        }
        appendUtf8(out, unit);
    }
    return out;
}

template <class Char>
std::basic_string<Char> utf8ToUtf16(std::string_view in) {
    std::basic_string<Char> out;
    out.reserve(in.size());
    for (std::size_t i = 0; i < in.size();) {
        const char32_t cp = decodeUtf8(in, i);
        if (cp >= 0x10000) {
            out += static_cast<Char>(0xD800 + ((cp - 0x10000) >> 10));
            out += static_cast<Char>(0xDC00 + ((cp - 0x10000) & 0x3FF));
        } else {
            out += static_cast<Char>(cp);
        }
    }
    return out;
}

char asciiLower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }
char asciiUpper(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

template <class Int>
bool parseInteger(const std::string& text, Int& out) {
    if (text.empty()) return false;
    if constexpr (std::is_unsigned_v<Int>) {
        if (text[0] < '0' || text[0] > '9') return false;
    }
    Int value{};
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value, 10);
    if (ec != std::errc() || ptr != end) return false;
    out = value;
    return true;
}

} // namespace

String::String(const char* utf8) : text_(utf8 ? utf8 : "") {}
String::String(std::string utf8) : text_(std::move(utf8)) {}
String::String(std::string_view utf8) : text_(utf8) {}
String::String(const char16_t* ucs2) : String(ucs2 ? std::u16string_view(ucs2) : std::u16string_view()) {}
String::String(std::u16string_view ucs2) : text_(utf16ToUtf8(ucs2)) {}
String::String(const wchar_t* wide) : String(wide ? std::wstring_view(wide) : std::wstring_view()) {}

String::String(std::wstring_view wide) {
    if constexpr (sizeof(wchar_t) == 2) {
        text_ = utf16ToUtf8(wide);
    } else {
        for (wchar_t c : wide) appendUtf8(text_, static_cast<char32_t>(c));
    }
}

String String::number(long long value) { return String(std::to_string(value)); }
String String::number(unsigned long long value) { return String(std::to_string(value)); }

String String::number(double value) {
    char buffer[64];
    const auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    return ec == std::errc() ? String(std::string_view(buffer, static_cast<std::size_t>(ptr - buffer))) : String();
}

std::u16string String::ucs2() const { return utf8ToUtf16<char16_t>(text_); }

std::wstring String::wide() const {
    if constexpr (sizeof(wchar_t) == 2) {
        return utf8ToUtf16<wchar_t>(text_);
    } else {
        std::wstring out;
        for (std::size_t i = 0; i < text_.size();) out += static_cast<wchar_t>(decodeUtf8(text_, i));
        return out;
    }
}

bool String::startsWith(const String& prefix) const { return std::string_view(text_).starts_with(prefix.text_); }
bool String::endsWith(const String& suffix) const { return std::string_view(text_).ends_with(suffix.text_); }

String String::substring(std::size_t pos, std::size_t count) const {
    if (pos >= text_.size()) return String();
    return String(text_.substr(pos, count));
}

std::vector<String> String::split(const String& separator) const {
    std::vector<String> parts;
    if (separator.isEmpty()) {
        parts.push_back(*this);
        return parts;
    }
    std::size_t start = 0;
    for (;;) {
        const std::size_t at = text_.find(separator.text_, start);
        if (at == npos) break;
        parts.emplace_back(text_.substr(start, at - start));
        start = at + separator.length();
    }
    parts.emplace_back(text_.substr(start));
    return parts;
}

String String::trimmed() const {
    const char* blanks = " \t\r\n";
    const std::size_t first = text_.find_first_not_of(blanks);
    if (first == npos) return String();
    return String(text_.substr(first, text_.find_last_not_of(blanks) - first + 1));
}

String String::toUpper() const {
    std::string out = text_;
    for (char& c : out) c = asciiUpper(c);
    return String(std::move(out));
}

String String::toLower() const {
    std::string out = text_;
    for (char& c : out) c = asciiLower(c);
    return String(std::move(out));
}

int String::compare(const String& other) const {
    const int c = text_.compare(other.text_);
    return (c > 0) - (c < 0);
}

int String::compareIgnoreCase(const String& other) const { return toLower().compare(other.toLower()); }

bool String::toUint32(std::uint32_t& out) const { return parseInteger(text_, out); }
bool String::toInt32(std::int32_t& out) const { return parseInteger(text_, out); }

bool String::toDouble(double& out) const {
    // from_chars also reads "nan" and "inf"; a measurement parameter is never either.
    if (text_.empty()) return false;
    const char first = text_[0];
    if (first != '-' && first != '.' && (first < '0' || first > '9')) return false;
    double value = 0;
    const char* end = text_.data() + text_.size();
    const auto [ptr, ec] = std::from_chars(text_.data(), end, value, std::chars_format::general);
    if (ec != std::errc() || ptr != end || !std::isfinite(value)) return false;
    out = value;
    return true;
}

std::ostream& operator<<(std::ostream& out, const String& text) { return out << text.utf8(); }

} // namespace qis

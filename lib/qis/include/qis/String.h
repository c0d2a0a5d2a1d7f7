#pragma once
// Text for the whole product: stored as UTF-8, with a UCS-2 (UTF-16) view for Windows APIs.
// Positions and lengths count UTF-8 bytes. Case mapping is ASCII-only, so it never depends on
// the user's locale (process names, parameter keys and hexadecimal ids are ASCII).

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace qis {

class String {
public:
    static constexpr std::size_t npos = std::string::npos;

    String() = default;
    String(const char* utf8);
    String(std::string utf8);
    String(std::string_view utf8);
    String(const char16_t* ucs2);
    String(std::u16string_view ucs2);
    String(const wchar_t* wide);
    String(std::wstring_view wide);

    static String fromUtf8(std::string_view utf8) { return String(utf8); }
    static String number(long long value);
    static String number(unsigned long long value);
    static String number(long value) { return number(static_cast<long long>(value)); }
    static String number(unsigned long value) { return number(static_cast<unsigned long long>(value)); }
    static String number(int value) { return number(static_cast<long long>(value)); }
    static String number(unsigned value) { return number(static_cast<unsigned long long>(value)); }
    // Shortest text that reads back as the same double.
    static String number(double value);

    const std::string& utf8() const { return text_; }
    const char* c_str() const { return text_.c_str(); }
    std::u16string ucs2() const;
    // UTF-16 where wchar_t has 16 bits (Windows), UTF-32 elsewhere.
    std::wstring wide() const;

    std::size_t length() const { return text_.size(); }
    bool isEmpty() const { return text_.empty(); }

    std::size_t find(const String& what, std::size_t from = 0) const { return text_.find(what.text_, from); }
    std::size_t rfind(const String& what) const { return text_.rfind(what.text_); }
    bool contains(const String& what) const { return find(what) != npos; }
    bool startsWith(const String& prefix) const;
    bool endsWith(const String& suffix) const;
    // Clamped to the text: a start past the end gives an empty string, never a read past it.
    String substring(std::size_t pos, std::size_t count = npos) const;
    std::vector<String> split(const String& separator) const;
    String trimmed() const;
    String toUpper() const;
    String toLower() const;

    int compare(const String& other) const;
    int compareIgnoreCase(const String& other) const;
    bool equalsIgnoreCase(const String& other) const { return compareIgnoreCase(other) == 0; }

    // Strict conversions: the whole text must be the number, no blanks, no sign on unsigned
    // values, no overflow, finite doubles only. They leave `out` alone on failure.
    bool toUint32(std::uint32_t& out) const;
    bool toInt32(std::int32_t& out) const;
    bool toDouble(double& out) const;

    String& operator+=(const String& other) { text_ += other.text_; return *this; }
    friend String operator+(String a, const String& b) { a += b; return a; }
    friend String operator+(String a, const char* b) { a += String(b); return a; }
    friend String operator+(const char* a, const String& b) { return String(a) + b; }
    friend bool operator==(const String& a, const String& b) { return a.text_ == b.text_; }
    friend bool operator==(const String& a, const char* b) { return a.text_ == b; }
    friend std::strong_ordering operator<=>(const String& a, const String& b) { return a.text_ <=> b.text_; }

private:
    std::string text_;
};

std::ostream& operator<<(std::ostream& out, const String& text);

} // namespace qis

template <>
struct std::hash<qis::String> {
    std::size_t operator()(const qis::String& s) const noexcept { return std::hash<std::string>()(s.utf8()); }
};

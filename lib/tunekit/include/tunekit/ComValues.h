#pragma once
// Owners for the COM value types the tuning code passes around: a BSTR and a VARIANT, freed on
// every path.

#include <oleauto.h>

#include <utility>

namespace tunekit {

class Bstr {
public:
    Bstr() = default;
    explicit Bstr(const wchar_t* text) : text_(SysAllocString(text)) {}
    ~Bstr() { SysFreeString(text_); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;

    BSTR get() const { return text_; }
    // For out-parameters: frees the current text and lets the callee fill in a new one.
    BSTR* put() {
        SysFreeString(std::exchange(text_, nullptr));
        return &text_;
    }
    explicit operator bool() const { return text_ != nullptr; }

private:
    BSTR text_ = nullptr;
};

class Variant {
public:
    Variant() { VariantInit(&value_); }
    // A VT_I4: how collections such as the tuning-space container are indexed by position.
    explicit Variant(LONG number) : Variant() {
        value_.vt = VT_I4;
        value_.lVal = number;
    }
    ~Variant() { VariantClear(&value_); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    VARIANT* get() { return &value_; }
    const VARIANT& value() const { return value_; }

private:
    VARIANT value_;
};

} // namespace tunekit

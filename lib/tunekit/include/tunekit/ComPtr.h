#pragma once
// The one COM smart pointer of the product: owns one reference and releases it on every path.
// Out-parameters take it as IID_PPV_ARGS(p.put()), so the IID always matches the pointer type.

#include <unknwn.h>

#include <type_traits>
#include <utility>

namespace tunekit {

template <class T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    // Takes a new reference of its own.
    explicit ComPtr(T* p) : p_(p) { if (p_) p_->AddRef(); }
    ComPtr(const ComPtr& other) : p_(other.p_) { if (p_) p_->AddRef(); }
    ComPtr(ComPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    // From a pointer to a derived interface or implementation, taking over its reference.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    ComPtr(ComPtr<U>&& other) noexcept : p_(other.detach()) {}
    ~ComPtr() { reset(); }

    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(p_, other.p_);
        return *this;
    }

    T* get() const { return p_; }
    T* operator->() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }

    void reset() {
        if (T* p = std::exchange(p_, nullptr)) p->Release();
    }
    // For out-parameters: drops the current reference and lets the callee fill in a new one.
    T** put() {
        reset();
        return &p_;
    }
    void** putVoid() { return reinterpret_cast<void**>(put()); }
    // An owner of a reference a function returned to its caller (which must not AddRef it).
    static ComPtr adopt(T* p) {
        ComPtr owner;
        owner.p_ = p;
        return owner;
    }
    // Adopts a reference the caller already owns.
    void attach(T* p) {
        reset();
        p_ = p;
    }
    // Hands the reference to the caller.
    T* detach() { return std::exchange(p_, nullptr); }

    template <class U>
    HRESULT as(ComPtr<U>& out) const {
        if (!p_) return E_POINTER;
        return p_->QueryInterface(__uuidof(U), out.putVoid());
    }

private:
    T* p_ = nullptr;
};

} // namespace tunekit

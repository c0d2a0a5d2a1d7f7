#pragma once
// Owners for what COM calls hand back besides interface pointers: task memory, media types and
// the references inside PIN_INFO and FILTER_INFO. Each frees what it holds on every path.

#include <objbase.h>
#include <strmif.h>

#include <cstddef>
#include <utility>

#include "tunekit/ComPtr.h"

namespace tunekit {

// Frees what a media type holds (format block and pUnk) and leaves it without them.
inline void freeMediaType(AM_MEDIA_TYPE& type) {
    if (type.cbFormat && type.pbFormat) CoTaskMemFree(type.pbFormat);
    type.pbFormat = nullptr;
    type.cbFormat = 0;
    type.formattype = GUID_NULL;
    if (IUnknown* unknown = std::exchange(type.pUnk, nullptr)) unknown->Release();
}

// A media type that a callee allocated with CoTaskMemAlloc, and what it holds.
inline void deleteMediaType(AM_MEDIA_TYPE* type) {
    if (!type) return;
    freeMediaType(*type);
    CoTaskMemFree(type);
}

// Memory a callee allocated with CoTaskMemAlloc (strings, arrays).
template <class T>
class TaskMem {
public:
    TaskMem() = default;
    // Takes over a block the caller allocated.
    explicit TaskMem(T* p) : p_(p) {}
    ~TaskMem() { CoTaskMemFree(p_); }
    TaskMem(const TaskMem&) = delete;
    TaskMem& operator=(const TaskMem&) = delete;

    T* get() const { return p_; }
    T& operator[](std::size_t index) const { return p_[index]; }
    explicit operator bool() const { return p_ != nullptr; }
    // Hands the block to the caller.
    T* detach() { return std::exchange(p_, nullptr); }
    // For out-parameters: frees the current block and lets the callee fill in a new one.
    T** put() {
        CoTaskMemFree(std::exchange(p_, nullptr));
        return &p_;
    }

private:
    T* p_ = nullptr;
};

// A media type a callee allocated: GetFormat, GetStreamCaps, IEnumMediaTypes::Next.
class MediaTypePtr {
public:
    MediaTypePtr() = default;
    ~MediaTypePtr() { deleteMediaType(p_); }
    MediaTypePtr(const MediaTypePtr&) = delete;
    MediaTypePtr& operator=(const MediaTypePtr&) = delete;

    AM_MEDIA_TYPE* get() const { return p_; }
    AM_MEDIA_TYPE* operator->() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }
    AM_MEDIA_TYPE** put() {
        deleteMediaType(std::exchange(p_, nullptr));
        return &p_;
    }

private:
    AM_MEDIA_TYPE* p_ = nullptr;
};

// A media type filled in place (ConnectionMediaType): the format block and pUnk are owned.
class MediaTypeValue {
public:
    MediaTypeValue() = default;
    ~MediaTypeValue() { freeMediaType(type_); }
    MediaTypeValue(const MediaTypeValue&) = delete;
    MediaTypeValue& operator=(const MediaTypeValue&) = delete;

    const AM_MEDIA_TYPE& get() const { return type_; }
    AM_MEDIA_TYPE* put() {
        freeMediaType(type_);
        type_ = AM_MEDIA_TYPE{};
        return &type_;
    }

private:
    AM_MEDIA_TYPE type_{};
};

// PIN_INFO and FILTER_INFO with the reference that QueryPinInfo / QueryFilterInfo put in them.
template <class Info, class Held, Held* Info::*Member>
class InfoWithReference {
public:
    InfoWithReference() = default;
    ~InfoWithReference() { reset(); }
    InfoWithReference(const InfoWithReference&) = delete;
    InfoWithReference& operator=(const InfoWithReference&) = delete;

    const Info* operator->() const { return &info_; }
    const Info& get() const { return info_; }
    // The held reference, as an owner of its own.
    ComPtr<Held> held() const { return ComPtr<Held>(info_.*Member); }
    Info* put() {
        reset();
        return &info_;
    }

private:
    void reset() {
        if (Held* held = std::exchange(info_.*Member, nullptr)) held->Release();
        info_ = Info{};
    }
    Info info_{};
};

using PinInfo = InfoWithReference<PIN_INFO, IBaseFilter, &PIN_INFO::pFilter>;
using FilterInfo = InfoWithReference<FILTER_INFO, IFilterGraph, &FILTER_INFO::pGraph>;

} // namespace tunekit

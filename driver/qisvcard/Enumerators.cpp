#include "Enumerators.h"

#include <new>

namespace qisvcard {
namespace {

using tunekit::ComPtr;

// The walking shared by both enumerators: a position in a list of `count` items.
template <class Interface, class Item>
class ListEnumerator : public RefCounted, public Interface {
public:
    ListEnumerator(IUnknown& owner, std::vector<Item> items, REFIID iid)
        : owner_(&owner), items_(std::move(items)), iid_(iid) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid != IID_IUnknown && iid != iid_) return E_NOINTERFACE;
        AddRef();
        *object = static_cast<Interface*>(this);
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return addReference(); }
    STDMETHODIMP_(ULONG) Release() override { return releaseReference(); }

    STDMETHODIMP Skip(ULONG count) override {
        const std::size_t left = items_.size() - position_;
        if (count > left) {
            position_ = items_.size();
            return S_FALSE;
        }
        position_ += count;
        return S_OK;
    }
    STDMETHODIMP Reset() override {
        position_ = 0;
        return S_OK;
    }

protected:
    HRESULT nextItems(ULONG count, void (*give)(const Item&, void* slot, std::size_t index), void* slots, ULONG* fetched) {
        if (!slots) return E_POINTER;
        if (count > 1 && !fetched) return E_INVALIDARG;
        ULONG given = 0;
        while (given < count && position_ < items_.size()) give(items_[position_++], slots, given++);
        if (fetched) *fetched = given;
        return given == count ? S_OK : S_FALSE;
    }
    template <class Derived>
    HRESULT cloneAs(Interface** out) {
        if (!out) return E_POINTER;
        auto* copy = new (std::nothrow) Derived(*owner_.get(), items_, iid_);
        if (!copy) return E_OUTOFMEMORY;
        static_cast<ListEnumerator*>(copy)->position_ = position_;
        *out = copy;
        return S_OK;
    }

private:
    ComPtr<IUnknown> owner_;
    std::vector<Item> items_;
    IID iid_;
    std::size_t position_ = 0;
};

class PinEnumerator final : public ListEnumerator<IEnumPins, IPin*> {
public:
    using ListEnumerator::ListEnumerator;
    STDMETHODIMP Next(ULONG count, IPin** pins, ULONG* fetched) override {
        return nextItems(count, [](IPin* const& pin, void* slots, std::size_t index) {
            pin->AddRef();
            static_cast<IPin**>(slots)[index] = pin;
        }, pins, fetched);
    }
    STDMETHODIMP Clone(IEnumPins** out) override { return cloneAs<PinEnumerator>(out); }
};

class TypeEnumerator final : public ListEnumerator<IEnumMediaTypes, MediaType> {
public:
    using ListEnumerator::ListEnumerator;
    STDMETHODIMP Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override {
        return nextItems(count, [](const MediaType& type, void* slots, std::size_t index) {
            static_cast<AM_MEDIA_TYPE**>(slots)[index] = type.allocate();
        }, types, fetched);
    }
    STDMETHODIMP Clone(IEnumMediaTypes** out) override { return cloneAs<TypeEnumerator>(out); }
};

} // namespace

HRESULT createPinEnumerator(IBaseFilter& filter, std::vector<IPin*> pins, IEnumPins** out) {
    if (!out) return E_POINTER;
    *out = new (std::nothrow) PinEnumerator(filter, std::move(pins), IID_IEnumPins);
    return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT createTypeEnumerator(IUnknown& owner, std::vector<MediaType> types, IEnumMediaTypes** out) {
    if (!out) return E_POINTER;
    *out = new (std::nothrow) TypeEnumerator(owner, std::move(types), IID_IEnumMediaTypes);
    return *out ? S_OK : E_OUTOFMEMORY;
}

} // namespace qisvcard

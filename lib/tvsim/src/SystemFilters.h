#pragma once
// What the system filters of a capture graph share: media types they are built from, and a
// filter whose pin set changes.

#include <algorithm>
#include <vector>

#include "tvsim/Filter.h"
#include "tvsim/Objects.h"

namespace tvsim {

using tunekit::ComPtr;

// Transport streams straight from a BDA receiver filter (bdamedia.h).
inline constexpr GUID kBdaMpeg2Transport = {0xf4aeb342, 0x0329, 0x4fdd, {0xa8, 0xfd, 0x4a, 0xff, 0x49, 0x26, 0xc9, 0x78}};

inline MediaType makeType(const GUID& major, const GUID& subtype, const GUID& formatType) {
    MediaType type;
    type.major = major;
    type.subtype = subtype;
    type.formatType = formatType;
    return type;
}

inline bool sameType(const MediaType& a, const MediaType& b) {
    return a.major == b.major && a.subtype == b.subtype && a.formatType == b.formatType && a.format == b.format;
}

// A pin accepts only types it lists field by field, so "any video" is spelt out.
inline const GUID* const kUncompressedVideo[] = {&MEDIASUBTYPE_YUY2,  &MEDIASUBTYPE_UYVY,   &MEDIASUBTYPE_YV12,  &MEDIASUBTYPE_NV12,
                                          &MEDIASUBTYPE_IYUV,  &MEDIASUBTYPE_Y411,   &MEDIASUBTYPE_Y41P,  &MEDIASUBTYPE_RGB24,
                                          &MEDIASUBTYPE_RGB32, &MEDIASUBTYPE_RGB555, &MEDIASUBTYPE_RGB565};
inline const GUID* const kMpeg2Streams[] = {&MEDIASUBTYPE_MPEG2_PROGRAM, &MEDIASUBTYPE_MPEG2_TRANSPORT, &MEDIASUBTYPE_MPEG2_TRANSPORT_STRIDE,
                                     &kBdaMpeg2Transport};

inline std::vector<MediaType> streamTypes(std::initializer_list<const GUID*> subtypes) {
    std::vector<MediaType> types;
    for (const GUID* subtype : subtypes)
        for (const GUID* format : {&GUID_NULL, &FORMAT_None}) types.push_back(makeType(MEDIATYPE_Stream, *subtype, *format));
    return types;
}

// A filter whose pin set changes (inputs that appear as others connect, outputs made on request).
// Pins live as long as their filter because clients may still hold them; a pin taken away is
// only no longer listed.
class PinSetFilter : public SimFilter {
public:
    using SimFilter::SimFilter;

    STDMETHODIMP EnumPins(IEnumPins** pins) override {
        refreshPins();
        return callOut("EnumPins", pins, [&] {
            std::vector<ComPtr<IPin>> list;
            for (SimPin* pin : listed_) list.emplace_back(pin);
            *pins = makePinEnumerator(simName() + ".Pins", std::move(list)).detach();
            return S_OK;
        });
    }

    STDMETHODIMP FindPin(LPCWSTR id, IPin** pin) override {
        refreshPins();
        return callOut("FindPin", pin, [&]() -> HRESULT {
            if (!id) return E_POINTER;
            SimPin* found = listedPin(qis::String(id));
            if (!found) return VFW_E_NOT_FOUND;
            *pin = found;
            found->AddRef();
            return S_OK;
        }, qis::String(id ? id : L""));
    }

protected:
    // Brings the pin set up to date with the connections; runs before clients look at the pins.
    virtual void refreshPins() {}

    // Lists a new pin at the end, or in front of `before`.
    SimPin& listPin(qis::String name, PIN_DIRECTION direction, std::vector<MediaType> types, const GUID* category = nullptr,
                    SimPin* before = nullptr) {
        SimPin& pin = addPin(std::move(name), direction, std::move(types), category);
        listed_.insert(std::find(listed_.begin(), listed_.end(), before), &pin);
        return pin;
    }
    // A new pin in the place of `old`, which is no longer listed.
    SimPin& replacePin(SimPin& old, std::vector<MediaType> types) {
        const GUID category = old.category();
        SimPin& pin = addPin(old.name(), old.direction(), std::move(types), category == GUID_NULL ? nullptr : &category);
        for (SimPin*& listed : listed_)
            if (listed == &old) listed = &pin;
        return pin;
    }
    void unlistPin(SimPin& pin) { std::erase(listed_, &pin); }
    SimPin* listedPin(const qis::String& name) const {
        for (SimPin* pin : listed_)
            if (pin->name() == name) return pin;
        return nullptr;
    }
    const std::vector<SimPin*>& listedPins() const { return listed_; }

private:
    std::vector<SimPin*> listed_;
};

} // namespace tvsim

#include "PinCommon.h"

#include <cstring>

namespace qisvcard {

HRESULT describePin(IBaseFilter& filter, PIN_DIRECTION direction, const std::wstring& name, PIN_INFO* info) {
    if (!info) return E_POINTER;
    *info = PIN_INFO{};
    info->pFilter = &filter;
    filter.AddRef();
    info->dir = direction;
    name.copy(info->achName, MAX_PIN_NAME - 1);
    return S_OK;
}

HRESULT copyToTaskMemory(const std::wstring& text, LPWSTR* out) {
    if (!out) return E_POINTER;
    const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    *out = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
    if (!*out) return E_OUTOFMEMORY;
    std::memcpy(*out, text.c_str(), bytes);
    return S_OK;
}

HRESULT givePeer(const tunekit::ComPtr<IPin>& peer, IPin** pin) {
    if (!pin) return E_POINTER;
    *pin = peer.get();
    if (!*pin) return VFW_E_NOT_CONNECTED;
    (*pin)->AddRef();
    return S_OK;
}

HRESULT giveConnectionType(const tunekit::ComPtr<IPin>& peer, const MediaType& type, AM_MEDIA_TYPE* out) {
    if (!out) return E_POINTER;
    if (!peer) {
        *out = AM_MEDIA_TYPE{};
        return VFW_E_NOT_CONNECTED;
    }
    return type.copyTo(*out);
}

} // namespace qisvcard

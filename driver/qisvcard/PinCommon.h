#pragma once
// The IPin answers that do not depend on which way data flows, shared by the DLL's pins.

#include <string>

#include "MediaTypes.h"
#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"

namespace qisvcard {

HRESULT describePin(IBaseFilter& filter, PIN_DIRECTION direction, const std::wstring& name, PIN_INFO* info);
HRESULT copyToTaskMemory(const std::wstring& text, LPWSTR* out);
HRESULT givePeer(const tunekit::ComPtr<IPin>& peer, IPin** pin);
HRESULT giveConnectionType(const tunekit::ComPtr<IPin>& peer, const MediaType& type, AM_MEDIA_TYPE* out);

} // namespace qisvcard

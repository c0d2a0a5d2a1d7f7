#pragma once
// IEnumPins and IEnumMediaTypes over fixed lists. Each holds a reference to the object whose
// list it walks, so that object outlives it.

#include <vector>

#include "ComObject.h"
#include "MediaTypes.h"
#include "tunekit/ComPtr.h"

namespace qisvcard {

HRESULT createPinEnumerator(IBaseFilter& filter, std::vector<IPin*> pins, IEnumPins** out);
HRESULT createTypeEnumerator(IUnknown& owner, std::vector<MediaType> types, IEnumMediaTypes** out);

} // namespace qisvcard

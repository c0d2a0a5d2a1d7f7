#include "frame/GraphServices.h"

#include "frame/Trace.h"
#include "tunekit/ComOwners.h"

namespace qisrtvcard {

HRESULT AddGraphToRot(IUnknown* /*graph*/, DWORD* /*cookie*/) {
    QISRTV_TRACE("AddGraphToRot");
    return S_OK;
}

void RemoveGraphFromRot(DWORD /*cookie*/) { QISRTV_TRACE("RemoveGraphFromRot"); }

void DeleteMediaType(AM_MEDIA_TYPE* mediaType) { tunekit::deleteMediaType(mediaType); }

} // namespace qisrtvcard

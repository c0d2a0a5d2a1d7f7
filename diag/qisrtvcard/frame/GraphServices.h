#pragma once
// COM services the graphs share: publishing in the running object table, and freeing a media
// type a callee allocated.

#include <dshow.h>

namespace qisrtvcard {

// Hooks for publishing a graph in the running object table. Publishing is switched off: both
// only trace, and AddGraphToRot leaves the cookie alone. Callers keep calling them so that it
// can be switched on in one place.
HRESULT AddGraphToRot(IUnknown* graph, DWORD* cookie);
void RemoveGraphFromRot(DWORD cookie);

void DeleteMediaType(AM_MEDIA_TYPE* mediaType);

} // namespace qisrtvcard

#pragma once
// The formats the card's pins offer (RGB24 and YUY2 at the scenario's size and frame rate) and
// an owning AM_MEDIA_TYPE.

#include <vector>

#include "tunekit/ComOwners.h"
#include "tunekit/DirectShow.h"
#include "tvsim/Scenario.h"

namespace qisvcard {

class MediaType {
public:
    MediaType() = default;
    explicit MediaType(const AM_MEDIA_TYPE& type) { copy(type); }
    MediaType(const MediaType& other) { copy(other.type_); }
    MediaType& operator=(const MediaType& other);
    ~MediaType() { clear(); }

    const AM_MEDIA_TYPE& get() const { return type_; }
    // A copy for a caller to own (DeleteMediaType frees it); null when out of memory.
    AM_MEDIA_TYPE* allocate() const;
    HRESULT copyTo(AM_MEDIA_TYPE& out) const;
    const VIDEOINFOHEADER* header() const;
    bool empty() const { return type_.majortype == GUID_NULL; }

private:
    void copy(const AM_MEDIA_TYPE& type);
    void clear();
    AM_MEDIA_TYPE type_{};
};

std::vector<MediaType> offeredTypes(const tvsim::VideoFormat& format);
// One of `offered` that `type` asks for: same subtype, format and picture size. Null if none.
const MediaType* findOffered(const std::vector<MediaType>& offered, const AM_MEDIA_TYPE& type);
// Whether `type` is partial (GUID_NULL fields) and `offered` fills it in.
bool completes(const AM_MEDIA_TYPE& partial, const AM_MEDIA_TYPE& offered);

using tunekit::deleteMediaType;
using tunekit::freeMediaType;

} // namespace qisvcard

#pragma once
// A media type as a value, convertible to and from DirectShow's AM_MEDIA_TYPE.

#include <vector>

#include "qis/String.h"
#include "tunekit/ComOwners.h"
#include "tunekit/DirectShow.h"

namespace tvsim {

struct MediaType {
    GUID major = GUID_NULL;
    GUID subtype = GUID_NULL;
    GUID formatType = GUID_NULL;
    std::vector<BYTE> format;

    static MediaType video(long width, long height, double framesPerSecond);
    static MediaType from(const AM_MEDIA_TYPE& type);
    // Fills `type` with copies (the format block from CoTaskMemAlloc).
    HRESULT copyTo(AM_MEDIA_TYPE& type) const;
    // A new AM_MEDIA_TYPE from CoTaskMemAlloc, as IEnumMediaTypes and GetFormat hand out.
    AM_MEDIA_TYPE* allocate() const;
    // Whether `wanted` agrees with this type (GUID_NULL fields on either side match anything).
    bool matches(const AM_MEDIA_TYPE* wanted) const;
    // "Video", "Video/YUY2", "Audio/PCM", ...: uncompressed video gets a full video format.
    static MediaType named(const qis::String& name);
};

using tunekit::freeMediaType;

// The subtype a BDA tuner's transport output announces (KSDATAFORMAT_SUBTYPE_BDA_MPEG2_TRANSPORT).
constexpr GUID kBdaTransport = {0xf4aeb342, 0x0329, 0x4fdd, {0xa8, 0xfd, 0x4a, 0xff, 0x49, 0x26, 0xc9, 0x78}};

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", as the registry and the journal write a GUID.
qis::String guidText(REFGUID id);

} // namespace tvsim

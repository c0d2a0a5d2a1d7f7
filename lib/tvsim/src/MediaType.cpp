#include "tvsim/MediaType.h"

#include <cstring>

namespace tvsim {

MediaType MediaType::video(long width, long height, double framesPerSecond) {
    MediaType type;
    type.major = MEDIATYPE_Video;
    type.subtype = MEDIASUBTYPE_YUY2;
    type.formatType = FORMAT_VideoInfo;
    VIDEOINFOHEADER header{};
    header.AvgTimePerFrame = static_cast<REFERENCE_TIME>(10000000.0 / framesPerSecond);
    header.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    header.bmiHeader.biWidth = width;
    header.bmiHeader.biHeight = height;
    header.bmiHeader.biPlanes = 1;
    header.bmiHeader.biBitCount = 16;
    header.bmiHeader.biCompression = MAKEFOURCC('Y', 'U', 'Y', '2');
    header.bmiHeader.biSizeImage = static_cast<DWORD>(width * (height < 0 ? -height : height) * 2);
    type.format.resize(sizeof(header));
    std::memcpy(type.format.data(), &header, sizeof(header));
    return type;
}

MediaType MediaType::from(const AM_MEDIA_TYPE& type) {
    MediaType out;
    out.major = type.majortype;
    out.subtype = type.subtype;
    out.formatType = type.formattype;
    if (type.cbFormat && type.pbFormat) out.format.assign(type.pbFormat, type.pbFormat + type.cbFormat);
    return out;
}

HRESULT MediaType::copyTo(AM_MEDIA_TYPE& type) const {
    ZeroMemory(&type, sizeof(type));
    type.majortype = major;
    type.subtype = subtype;
    type.formattype = formatType;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = 1;
    if (!format.empty()) {
        type.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(format.size()));
        if (!type.pbFormat) return E_OUTOFMEMORY;
        std::memcpy(type.pbFormat, format.data(), format.size());
        type.cbFormat = static_cast<ULONG>(format.size());
    }
    return S_OK;
}

AM_MEDIA_TYPE* MediaType::allocate() const {
    tunekit::TaskMem<AM_MEDIA_TYPE> type(static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE))));
    if (!type || FAILED(copyTo(*type.get()))) return nullptr;
    return type.detach();
}

bool MediaType::matches(const AM_MEDIA_TYPE* wanted) const {
    if (!wanted) return true;
    // GUID_NULL on either side means "any", so a pin may declare only a major type.
    const auto agree = [](const GUID& a, const GUID& b) { return a == GUID_NULL || b == GUID_NULL || a == b; };
    return agree(wanted->majortype, major) && agree(wanted->subtype, subtype) && agree(wanted->formattype, formatType);
}

MediaType MediaType::named(const qis::String& name) {
    struct Named {
        const char* name;
        const GUID* guid;
    };
    static const Named majors[] = {{"Video", &MEDIATYPE_Video}, {"Audio", &MEDIATYPE_Audio}, {"Stream", &MEDIATYPE_Stream},
                                   {"Interleaved", &MEDIATYPE_Interleaved}};
    static const Named subtypes[] = {{"YUY2", &MEDIASUBTYPE_YUY2},
                                     {"RGB24", &MEDIASUBTYPE_RGB24},
                                     {"MPEG2_VIDEO", &MEDIASUBTYPE_MPEG2_VIDEO},
                                     {"MPEG1Payload", &MEDIASUBTYPE_MPEG1Payload},
                                     {"PCM", &MEDIASUBTYPE_PCM},
                                     {"MPEG2_PROGRAM", &MEDIASUBTYPE_MPEG2_PROGRAM},
                                     {"MPEG2_TRANSPORT", &MEDIASUBTYPE_MPEG2_TRANSPORT},
                                     {"dvsd", &MEDIASUBTYPE_dvsd}};
    const auto parts = name.split("/");
    MediaType type;
    for (const auto& m : majors)
        if (parts[0] == m.name) type.major = *m.guid;
    if (parts.size() > 1)
        for (const auto& s : subtypes)
            if (parts[1] == s.name) type.subtype = *s.guid;
    if (type.major == MEDIATYPE_Video && (type.subtype == MEDIASUBTYPE_YUY2 || type.subtype == MEDIASUBTYPE_RGB24)) {
        const GUID subtype = type.subtype;
        type = video(720, 480, 29.97);
        type.subtype = subtype;
    }
    return type;
}


qis::String guidText(REFGUID id) {
    wchar_t text[40] = {};
    StringFromGUID2(id, text, 40);
    return qis::String(text);
}

} // namespace tvsim

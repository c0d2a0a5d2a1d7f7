#include "MediaTypes.h"

#include <cstring>

namespace qisvcard {
namespace {

constexpr long kRgb24Bits = 24;
constexpr long kYuy2Bits = 16;

// Rows of an uncompressed bitmap are padded to whole 32-bit words.
long strideOf(long width, long bits) { return (width * bits / 8 + 3) & ~3L; }

MediaType videoType(const GUID& subtype, DWORD compression, long bits, const tvsim::VideoFormat& format) {
    const long height = format.height < 0 ? -format.height : format.height;
    VIDEOINFOHEADER header{};
    header.AvgTimePerFrame = static_cast<REFERENCE_TIME>(10000000.0 / format.framesPerSecond);
    header.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    header.bmiHeader.biWidth = format.width;
    header.bmiHeader.biHeight = height; // RGB bottom-up, as a DIB; YUY2 is top-down whatever the sign
    header.bmiHeader.biPlanes = 1;
    header.bmiHeader.biBitCount = static_cast<WORD>(bits);
    header.bmiHeader.biCompression = compression;
    header.bmiHeader.biSizeImage = static_cast<DWORD>(strideOf(format.width, bits) * height);
    header.dwBitRate = static_cast<DWORD>(header.bmiHeader.biSizeImage * 8.0 * format.framesPerSecond);
    header.rcSource = header.rcTarget = RECT{0, 0, format.width, height};

    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Video;
    type.subtype = subtype;
    type.bFixedSizeSamples = TRUE;
    type.bTemporalCompression = FALSE;
    type.lSampleSize = header.bmiHeader.biSizeImage;
    type.formattype = FORMAT_VideoInfo;
    type.cbFormat = sizeof header;
    type.pbFormat = reinterpret_cast<BYTE*>(&header);
    return MediaType(type); // copies the format block
}

} // namespace

MediaType& MediaType::operator=(const MediaType& other) {
    if (this != &other) {
        clear();
        copy(other.type_);
    }
    return *this;
}

void MediaType::copy(const AM_MEDIA_TYPE& type) {
    type_ = type;
    type_.pbFormat = nullptr;
    type_.cbFormat = 0;
    if (type.cbFormat && type.pbFormat) {
        type_.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(type.cbFormat));
        if (!type_.pbFormat) {
            type_ = AM_MEDIA_TYPE{};
            return;
        }
        std::memcpy(type_.pbFormat, type.pbFormat, type.cbFormat);
        type_.cbFormat = type.cbFormat;
    }
    if (type_.pUnk) type_.pUnk->AddRef();
}

void MediaType::clear() {
    freeMediaType(type_);
    type_ = AM_MEDIA_TYPE{};
}

AM_MEDIA_TYPE* MediaType::allocate() const {
    tunekit::TaskMem<AM_MEDIA_TYPE> out(static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE))));
    if (!out || FAILED(copyTo(*out.get()))) return nullptr;
    return out.detach();
}

HRESULT MediaType::copyTo(AM_MEDIA_TYPE& out) const {
    out = type_;
    out.pbFormat = nullptr;
    out.cbFormat = 0;
    if (type_.cbFormat) {
        out.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(type_.cbFormat));
        if (!out.pbFormat) return E_OUTOFMEMORY;
        std::memcpy(out.pbFormat, type_.pbFormat, type_.cbFormat);
        out.cbFormat = type_.cbFormat;
    }
    if (out.pUnk) out.pUnk->AddRef();
    return S_OK;
}

const VIDEOINFOHEADER* MediaType::header() const {
    if (type_.formattype != FORMAT_VideoInfo || type_.cbFormat < sizeof(VIDEOINFOHEADER) || !type_.pbFormat) return nullptr;
    return reinterpret_cast<const VIDEOINFOHEADER*>(type_.pbFormat);
}

std::vector<MediaType> offeredTypes(const tvsim::VideoFormat& format) {
    // RGB24 first: a plain video renderer takes it without a colour converter.
    return {videoType(MEDIASUBTYPE_RGB24, BI_RGB, kRgb24Bits, format),
            videoType(MEDIASUBTYPE_YUY2, MAKEFOURCC('Y', 'U', 'Y', '2'), kYuy2Bits, format)};
}

const MediaType* findOffered(const std::vector<MediaType>& offered, const AM_MEDIA_TYPE& type) {
    if (type.majortype != MEDIATYPE_Video || type.formattype != FORMAT_VideoInfo) return nullptr;
    if (type.cbFormat < sizeof(VIDEOINFOHEADER) || !type.pbFormat) return nullptr;
    const auto* asked = reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
    for (const MediaType& candidate : offered) {
        const VIDEOINFOHEADER* own = candidate.header();
        if (candidate.get().subtype != type.subtype) continue;
        const long askedHeight = asked->bmiHeader.biHeight < 0 ? -asked->bmiHeader.biHeight : asked->bmiHeader.biHeight;
        if (asked->bmiHeader.biWidth != own->bmiHeader.biWidth || askedHeight != own->bmiHeader.biHeight) continue;
        if (asked->bmiHeader.biBitCount != own->bmiHeader.biBitCount) continue;
        if (asked->bmiHeader.biHeight < 0 && candidate.get().subtype == MEDIASUBTYPE_RGB24) continue; // painted bottom-up
        return &candidate;
    }
    return nullptr;
}

bool completes(const AM_MEDIA_TYPE& partial, const AM_MEDIA_TYPE& offered) {
    const auto agree = [](const GUID& wanted, const GUID& own) { return wanted == GUID_NULL || wanted == own; };
    return agree(partial.majortype, offered.majortype) && agree(partial.subtype, offered.subtype) &&
           agree(partial.formattype, offered.formattype);
}

} // namespace qisvcard

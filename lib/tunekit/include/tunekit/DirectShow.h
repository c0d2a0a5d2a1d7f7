#pragma once
// The DirectShow and BDA declarations the product uses, plus what the mingw-w64 headers lack:
// __uuidof for a few control interfaces (MSVC's headers declare these themselves), the BDA
// device categories, and the sample grabber's class (and its interfaces where the SDK has no
// qedit.h).

#include <windows.h>

#include <dshow.h>

#include <amvideo.h>
#include <dvdmedia.h>
#include <control.h>
#include <uuids.h>

#include <bdaiface.h>
#include <bdamedia.h>
#include <ks.h>
#include <ksmedia.h>
#include <tuner.h>

#if __has_include(<qedit.h>)
#include <qedit.h>
#else
// Current Windows SDKs no longer ship qedit.h: the sample grabber's interfaces as Windows has them.
MIDL_INTERFACE("0579154A-2B53-4994-B0D0-E773148EFF85")
ISampleGrabberCB : public IUnknown {
public:
    virtual HRESULT STDMETHODCALLTYPE SampleCB(double sampleTime, IMediaSample* sample) = 0;
    virtual HRESULT STDMETHODCALLTYPE BufferCB(double sampleTime, BYTE* buffer, long length) = 0;
};
MIDL_INTERFACE("6B652FFF-11FE-4FCE-92AD-0266B5D7C78F")
ISampleGrabber : public IUnknown {
public:
    virtual HRESULT STDMETHODCALLTYPE SetOneShot(BOOL oneShot) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetMediaType(const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetConnectedMediaType(AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetBufferSamples(BOOL bufferThem) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentBuffer(long* size, long* buffer) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentSample(IMediaSample** sample) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetCallback(ISampleGrabberCB* callback, long whichMethod) = 0;
};
const IID IID_ISampleGrabber = __uuidof(ISampleGrabber);
const IID IID_ISampleGrabberCB = __uuidof(ISampleGrabberCB);
#endif

#if defined(__MINGW32__)
__CRT_UUID_DECL(IMediaEvent, 0x56a868b6, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70)
__CRT_UUID_DECL(IMediaEventEx, 0x56a868c0, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70)
__CRT_UUID_DECL(IVideoWindow, 0x56a868b4, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70)
__CRT_UUID_DECL(IBasicVideo, 0x56a868b5, 0x0ad4, 0x11ce, 0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70)
__CRT_UUID_DECL(IQualProp, 0x1bd0ecb0, 0xf8e2, 0x11ce, 0xaa, 0xc6, 0x00, 0x20, 0xaf, 0x0b, 0x99, 0xa3)
__CRT_UUID_DECL(IMPEG2StreamIdMap, 0xd0e04c47, 0x25b8, 0x4369, 0x92, 0x5a, 0x36, 0x2a, 0x01, 0xd9, 0x54, 0x44)
__CRT_UUID_DECL(IEnumStreamIdMap, 0x945c1566, 0x6202, 0x46fc, 0x96, 0xc7, 0xd8, 0x7f, 0x28, 0x9c, 0x65, 0x34)
#endif

namespace tunekit {

// Kernel-streaming categories of the BDA filters (ksmedia.h/bdamedia.h of the Windows SDK).
inline constexpr GUID KSCATEGORY_BDA_NETWORK_PROVIDER = {0x71985F4B, 0x1CA1, 0x11D3, {0x9C, 0xC8, 0x00, 0xC0, 0x4F, 0x79, 0x71, 0xE0}};
inline constexpr GUID KSCATEGORY_BDA_NETWORK_TUNER = {0x71985F48, 0x1CA1, 0x11D3, {0x9C, 0xC8, 0x00, 0xC0, 0x4F, 0x79, 0x71, 0xE0}};
inline constexpr GUID KSCATEGORY_BDA_RECEIVER_COMPONENT = {0xFD0A5AF4, 0xB41D, 0x11D2, {0x9C, 0x95, 0x00, 0xC0, 0x4F, 0x79, 0x71, 0xE0}};
inline constexpr GUID KSCATEGORY_BDA_TRANSPORT_INFORMATION = {0xA2E3074F, 0x6C3D, 0x11D3, {0xB6, 0x53, 0x00, 0xC0, 0x4F, 0x79, 0x49, 0x8E}};

// qedit.h declares the sample grabber's interfaces but not its class.
inline constexpr CLSID CLSID_SampleGrabber = {0xC1F400A0, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

// The network providers the digital tests create by class id.
inline constexpr CLSID CLSID_ATSCQAMNetworkProvider = {0xB2F3A67C, 0x29DA, 0x4C78, {0x88, 0x31, 0x09, 0x1E, 0xD5, 0x09, 0xA4, 0x75}};

} // namespace tunekit

#include "WriterPin.h"

#include "ComObject.h"
#include "Enumerators.h"
#include "PinCommon.h"
#include "StreamFileWriter.h"

namespace qisvcard {
STDMETHODIMP WriterPin::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    IPin* pin = this;
    if (offer(iid, IID_IUnknown, pin, object) || offer(iid, IID_IPin, pin, object) ||
        offer(iid, IID_IMemInputPin, static_cast<IMemInputPin*>(this), object) ||
        offer(iid, IID_ISequentialStream, static_cast<ISequentialStream*>(this), object) ||
        offer(iid, IID_IStream, static_cast<IStream*>(this), object))
        return S_OK;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) WriterPin::AddRef() { return filter_.AddRef(); }
STDMETHODIMP_(ULONG) WriterPin::Release() { return filter_.Release(); }

// ---- connection ----

STDMETHODIMP WriterPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    if (!connector || !type) return E_POINTER;
    FilterLock lock(filter_.lock());
    if (peer_) return VFW_E_ALREADY_CONNECTED;
    if (filter_.stateLocked() != State_Stopped) return VFW_E_NOT_STOPPED;
    if (QueryAccept(type) != S_OK) return VFW_E_TYPE_NOT_ACCEPTED;
    peer_ = tunekit::ComPtr<IPin>(connector);
    connected_ = MediaType(*type);
    return S_OK;
}

STDMETHODIMP WriterPin::Disconnect() {
    FilterLock lock(filter_.lock());
    if (filter_.stateLocked() != State_Stopped) return VFW_E_NOT_STOPPED;
    if (!peer_) return S_FALSE;
    peer_.reset();
    connected_ = MediaType();
    return S_OK;
}

STDMETHODIMP WriterPin::ConnectedTo(IPin** pin) {
    FilterLock lock(filter_.lock());
    return givePeer(peer_, pin);
}

STDMETHODIMP WriterPin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    FilterLock lock(filter_.lock());
    return giveConnectionType(peer_, connected_, type);
}

STDMETHODIMP WriterPin::QueryPinInfo(PIN_INFO* info) { return describePin(filter_, PINDIR_INPUT, kWriterPinName, info); }

STDMETHODIMP WriterPin::QueryDirection(PIN_DIRECTION* direction) {
    if (!direction) return E_POINTER;
    *direction = PINDIR_INPUT;
    return S_OK;
}

STDMETHODIMP WriterPin::QueryId(LPWSTR* id) { return copyToTaskMemory(kWriterPinName, id); }

// Bytes of any kind: what they mean is the upstream filter's business.
STDMETHODIMP WriterPin::QueryAccept(const AM_MEDIA_TYPE* type) {
    if (!type) return E_POINTER;
    return type->majortype == MEDIATYPE_Stream ? S_OK : S_FALSE;
}

STDMETHODIMP WriterPin::EnumMediaTypes(IEnumMediaTypes** types) {
    return createTypeEnumerator(*static_cast<IPin*>(this), {}, types);
}

STDMETHODIMP WriterPin::EndOfStream() {
    filter_.endOfStream();
    return S_OK;
}

// ---- samples: the start time is the byte offset ----

STDMETHODIMP WriterPin::Receive(IMediaSample* sample) {
    if (!sample) return E_POINTER;
    BYTE* data = nullptr;
    HRESULT hr = sample->GetPointer(&data);
    if (FAILED(hr)) return hr;
    const long length = sample->GetActualDataLength();
    if (length < 0) return E_INVALIDARG;
    REFERENCE_TIME start = 0, stop = 0;
    if (SUCCEEDED(sample->GetTime(&start, &stop))) return filter_.file().writeAt(start, data, static_cast<ULONG>(length));
    ULONG written = 0;
    return filter_.file().write(data, static_cast<ULONG>(length), &written);
}

STDMETHODIMP WriterPin::ReceiveMultiple(IMediaSample** samples, long count, long* processed) {
    if (!samples || !processed) return E_POINTER;
    *processed = 0;
    HRESULT hr = S_OK;
    while (*processed < count && SUCCEEDED(hr = Receive(samples[*processed]))) ++*processed;
    return hr;
}

// ---- IStream ----

STDMETHODIMP WriterPin::Write(const void* data, ULONG size, ULONG* written) {
    return filter_.file().write(data, size, written);
}

STDMETHODIMP WriterPin::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) {
    // STREAM_SEEK_SET, _CUR and _END are FILE_BEGIN, _CURRENT and _END.
    if (origin > STREAM_SEEK_END) return STG_E_INVALIDFUNCTION;
    return filter_.file().seek(move.QuadPart, origin, position);
}

STDMETHODIMP WriterPin::SetSize(ULARGE_INTEGER size) { return filter_.file().setSize(size.QuadPart); }

} // namespace qisvcard

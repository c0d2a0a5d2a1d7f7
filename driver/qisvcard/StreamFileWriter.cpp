#include "StreamFileWriter.h"

#include <new>

#include "Enumerators.h"
#include "Module.h"
#include "PinCommon.h"

namespace qisvcard {

bool StreamFileWriter::offerOwn(REFIID iid, void** object) {
    return offer(iid, IID_IFileSinkFilter, static_cast<IFileSinkFilter*>(this), object);
}

// The file stays open after Stop: the graph stops the writer before the filters upstream, and
// a multiplexer writes its headers when it stops.
STDMETHODIMP StreamFileWriter::Stop() {
    FilterLock guard(lock());
    setStateLocked(State_Stopped);
    return S_OK;
}

HRESULT StreamFileWriter::pauseLocked() {
    if (stateLocked() == State_Stopped) {
        if (fileName_.empty()) return E_UNEXPECTED;
        const HRESULT hr = file_.create(fileName_);
        if (FAILED(hr)) return hr;
    }
    setStateLocked(State_Paused);
    return S_OK;
}

STDMETHODIMP StreamFileWriter::Pause() {
    FilterLock guard(lock());
    return pauseLocked();
}

STDMETHODIMP StreamFileWriter::Run(REFERENCE_TIME) {
    FilterLock guard(lock());
    const HRESULT hr = pauseLocked();
    if (FAILED(hr)) return hr;
    setStateLocked(State_Running);
    return S_OK;
}

STDMETHODIMP StreamFileWriter::EnumPins(IEnumPins** pins) { return createPinEnumerator(*this, {&pin_}, pins); }

STDMETHODIMP StreamFileWriter::FindPin(LPCWSTR id, IPin** pin) {
    if (!id || !pin) return E_POINTER;
    *pin = nullptr;
    if (std::wstring(id) != kWriterPinName) return VFW_E_NOT_FOUND;
    *pin = &pin_;
    pin_.AddRef();
    return S_OK;
}

STDMETHODIMP StreamFileWriter::SetFileName(LPCOLESTR name, const AM_MEDIA_TYPE*) {
    if (!name) return E_POINTER;
    FilterLock guard(lock());
    if (stateLocked() != State_Stopped) return VFW_E_NOT_STOPPED;
    fileName_ = name;
    return S_OK;
}

STDMETHODIMP StreamFileWriter::GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) {
    if (!name) return E_POINTER;
    *name = nullptr;
    if (type) *type = AM_MEDIA_TYPE{};
    FilterLock guard(lock());
    if (fileName_.empty()) return E_FAIL;
    return copyToTaskMemory(fileName_, name);
}

// A renderer that has written everything tells the graph, which counts one completion per renderer.
void StreamFileWriter::endOfStream() {
    FilterLock guard(lock());
    tunekit::ComPtr<IMediaEventSink> events;
    if (graphLocked() && SUCCEEDED(graphLocked()->QueryInterface(IID_PPV_ARGS(events.put()))))
        events->Notify(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
}

HRESULT createStreamFileWriter(REFIID iid, void** object) {
    tunekit::ComPtr<StreamFileWriter> writer;
    writer.attach(new (std::nothrow) StreamFileWriter());
    if (!writer) return E_OUTOFMEMORY;
    return writer->QueryInterface(iid, object);
}

} // namespace qisvcard

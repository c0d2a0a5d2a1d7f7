#include "StreamFileWriter.h"

#include <new>

#include "Enumerators.h"
#include "Module.h"
#include "PinCommon.h"

namespace qisvcard {
namespace {

using Lock = std::lock_guard<std::recursive_mutex>;
constexpr wchar_t kPinName[] = L"in";

} // namespace

STDMETHODIMP StreamFileWriter::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    IBaseFilter* filter = this;
    if (offer(iid, IID_IUnknown, filter, object) || offer(iid, IID_IPersist, filter, object) ||
        offer(iid, IID_IMediaFilter, filter, object) || offer(iid, IID_IBaseFilter, filter, object) ||
        offer(iid, IID_IFileSinkFilter, static_cast<IFileSinkFilter*>(this), object) ||
        offer(iid, IID_IAMFilterMiscFlags, static_cast<IAMFilterMiscFlags*>(this), object))
        return S_OK;
    return E_NOINTERFACE;
}

STDMETHODIMP StreamFileWriter::GetClassID(CLSID* clsid) {
    if (!clsid) return E_POINTER;
    *clsid = kStreamFileWriterClsid;
    return S_OK;
}

// The file stays open after Stop: the graph stops the writer before the filters upstream, and
// a multiplexer writes its headers when it stops.
STDMETHODIMP StreamFileWriter::Stop() {
    Lock lock(core_.lock());
    core_.setState(State_Stopped);
    return S_OK;
}

HRESULT StreamFileWriter::pauseLocked() {
    if (core_.state() == State_Stopped) {
        if (fileName_.empty()) return E_UNEXPECTED;
        const HRESULT hr = file_.create(fileName_);
        if (FAILED(hr)) return hr;
    }
    core_.setState(State_Paused);
    return S_OK;
}

STDMETHODIMP StreamFileWriter::Pause() {
    Lock lock(core_.lock());
    return pauseLocked();
}

STDMETHODIMP StreamFileWriter::Run(REFERENCE_TIME) {
    Lock lock(core_.lock());
    const HRESULT hr = pauseLocked();
    if (FAILED(hr)) return hr;
    core_.setState(State_Running);
    return S_OK;
}

STDMETHODIMP StreamFileWriter::GetState(DWORD, FILTER_STATE* state) {
    if (!state) return E_POINTER;
    Lock lock(core_.lock());
    *state = core_.state();
    return S_OK;
}

STDMETHODIMP StreamFileWriter::EnumPins(IEnumPins** pins) { return createPinEnumerator(*this, {&pin_}, pins); }

STDMETHODIMP StreamFileWriter::FindPin(LPCWSTR id, IPin** pin) {
    if (!id || !pin) return E_POINTER;
    *pin = nullptr;
    if (std::wstring(id) != kPinName) return VFW_E_NOT_FOUND;
    *pin = &pin_;
    pin_.AddRef();
    return S_OK;
}

STDMETHODIMP StreamFileWriter::SetFileName(LPCOLESTR name, const AM_MEDIA_TYPE*) {
    if (!name) return E_POINTER;
    Lock lock(core_.lock());
    if (core_.state() != State_Stopped) return VFW_E_NOT_STOPPED;
    fileName_ = name;
    return S_OK;
}

STDMETHODIMP StreamFileWriter::GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) {
    if (!name) return E_POINTER;
    *name = nullptr;
    if (type) *type = AM_MEDIA_TYPE{};
    Lock lock(core_.lock());
    if (fileName_.empty()) return E_FAIL;
    return copyToTaskMemory(fileName_, name);
}

// A renderer that has written everything tells the graph, which counts one completion per renderer.
void StreamFileWriter::endOfStream() {
    Lock lock(core_.lock());
    tunekit::ComPtr<IMediaEventSink> events;
    if (core_.graph() && SUCCEEDED(core_.graph()->QueryInterface(IID_IMediaEventSink, events.putVoid())))
        events->Notify(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this)));
}

HRESULT createStreamFileWriter(REFIID iid, void** object) {
    tunekit::ComPtr<StreamFileWriter> writer;
    writer.attach(new (std::nothrow) StreamFileWriter());
    if (!writer) return E_OUTOFMEMORY;
    return writer->QueryInterface(iid, object);
}

} // namespace qisvcard

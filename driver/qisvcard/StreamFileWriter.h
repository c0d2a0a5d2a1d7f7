#pragma once
// A file writer: one input pin that writes what it receives into the file IFileSinkFilter
// names. It stands in for the system's file writer where that lacks IStream on its pin (Wine 8),
// which an AVI multiplexer needs to write its headers.

#include <string>

#include "ComObject.h"
#include "FilterCore.h"
#include "OutputFile.h"
#include "WriterPin.h"

namespace qisvcard {

class StreamFileWriter final : public RefCounted, public IBaseFilter, public IFileSinkFilter, public IAMFilterMiscFlags {
public:
    StreamFileWriter() : pin_(*this) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return addReference(); }
    STDMETHODIMP_(ULONG) Release() override { return releaseReference(); }

    // IPersist
    STDMETHODIMP GetClassID(CLSID* clsid) override;
    // IMediaFilter
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    STDMETHODIMP GetState(DWORD timeout, FILTER_STATE* state) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* clock) override { return core_.setSyncSource(clock); }
    STDMETHODIMP GetSyncSource(IReferenceClock** clock) override { return core_.getSyncSource(clock); }
    // IBaseFilter
    STDMETHODIMP EnumPins(IEnumPins** pins) override;
    STDMETHODIMP FindPin(LPCWSTR id, IPin** pin) override;
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override { return core_.queryFilterInfo(info); }
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override { return core_.joinFilterGraph(graph, name); }
    STDMETHODIMP QueryVendorInfo(LPWSTR*) override { return E_NOTIMPL; }
    // IFileSinkFilter
    STDMETHODIMP SetFileName(LPCOLESTR name, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override;
    // IAMFilterMiscFlags: a renderer, so that the graph waits for its end of stream.
    STDMETHODIMP_(ULONG) GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }

    // For the pin.
    FilterCore& core() { return core_; }
    OutputFile& file() { return file_; }
    void endOfStream();

private:
    HRESULT pauseLocked();

    FilterCore core_;
    WriterPin pin_;
    OutputFile file_;
    std::wstring fileName_;
};

HRESULT createStreamFileWriter(REFIID iid, void** object);

} // namespace qisvcard

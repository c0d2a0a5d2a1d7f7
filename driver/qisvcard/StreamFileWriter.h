#pragma once
// A file writer: one input pin that writes what it receives into the file IFileSinkFilter
// names. It stands in for the system's file writer where that lacks IStream on its pin (Wine 8),
// which an AVI multiplexer needs to write its headers.

#include <string>

#include "FilterBase.h"
#include "OutputFile.h"
#include "WriterPin.h"

namespace qisvcard {

inline constexpr wchar_t kWriterPinName[] = L"in";

class StreamFileWriter final : public FilterBase, public IFileSinkFilter {
public:
    // A renderer, so that the graph waits for its end of stream.
    StreamFileWriter() : FilterBase(kStreamFileWriterClsid, AM_FILTER_MISC_FLAGS_IS_RENDERER), pin_(*this) {}

    // IMediaFilter
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    // IBaseFilter
    STDMETHODIMP EnumPins(IEnumPins** pins) override;
    STDMETHODIMP FindPin(LPCWSTR id, IPin** pin) override;
    // IFileSinkFilter, whose IUnknown is the filter's
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return FilterBase::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return FilterBase::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return FilterBase::Release(); }
    STDMETHODIMP SetFileName(LPCOLESTR name, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override;

    // For the pin.
    OutputFile& file() { return file_; }
    void endOfStream();

private:
    bool offerOwn(REFIID iid, void** object) override;
    HRESULT pauseLocked();

    WriterPin pin_;
    OutputFile file_;
    std::wstring fileName_;
};

HRESULT createStreamFileWriter(REFIID iid, void** object);

} // namespace qisvcard

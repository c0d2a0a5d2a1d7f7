#include "analog/SampleCaptureGraphBuilder.h"

#include "frame/ComFactory.h"

namespace qisrtvcard {
namespace {

using tunekit::ComPtr;

constexpr const wchar_t* kDemultiplexerName = L"MPEG2 Demux";
constexpr const wchar_t* kMuxName = L"Mux";
constexpr const wchar_t* kWriterName = L"File Writer";
constexpr const wchar_t* kVideoPinName = L"MpegVideo";
constexpr const wchar_t* kAudioPinName = L"MpegAudio";
// Stream ids of the first MPEG-2 video and audio elementary streams in a program stream.
constexpr ULONG kVideoStreamId = 0xE0;
constexpr ULONG kAudioStreamId = 0xC0;

AM_MEDIA_TYPE pinType(const GUID& major, const GUID& subtype) {
    AM_MEDIA_TYPE type{};
    type.majortype = major;
    type.subtype = subtype;
    type.formattype = FORMAT_None;
    return type;
}

HRESULT fullInterleaving(IBaseFilter* multiplexer) {
    ComPtr<IConfigInterleaving> interleaving;
    const HRESULT hr = multiplexer->QueryInterface(IID_PPV_ARGS(interleaving.put()));
    return SUCCEEDED(hr) ? interleaving->put_Mode(INTERLEAVE_FULL) : hr;
}

} // namespace

ISampleCaptureGraphBuilder::ISampleCaptureGraphBuilder() {
    createInstance(CLSID_CaptureGraphBuilder2, nullptr, CLSCTX_ALL, IID_PPV_ARGS(inner_.put()));
}

ISampleCaptureGraphBuilder::~ISampleCaptureGraphBuilder() = default;

// Without the system builder every forwarded operation fails instead of dereferencing nothing.
HRESULT ISampleCaptureGraphBuilder::AllocCapFile(LPCOLESTR name, DWORDLONG size) {
    return inner_ ? inner_->AllocCapFile(name, size) : E_POINTER;
}

HRESULT ISampleCaptureGraphBuilder::ControlStream(const GUID* category, const GUID* type, IBaseFilter* filter,
                                                  REFERENCE_TIME* start, REFERENCE_TIME* stop, WORD startCookie, WORD stopCookie) {
    return inner_ ? inner_->ControlStream(category, type, filter, start, stop, startCookie, stopCookie) : E_POINTER;
}

HRESULT ISampleCaptureGraphBuilder::CopyCaptureFile(LPOLESTR oldName, LPOLESTR newName, int allowEscAbort,
                                                    IAMCopyCaptureFileProgress* callback) {
    return inner_ ? inner_->CopyCaptureFile(oldName, newName, allowEscAbort, callback) : E_POINTER;
}

HRESULT ISampleCaptureGraphBuilder::FindInterface(const GUID* category, const GUID* type, IBaseFilter* filter, REFIID iid,
                                                  void** out) {
    return inner_ ? inner_->FindInterface(category, type, filter, iid, out) : E_POINTER;
}

HRESULT ISampleCaptureGraphBuilder::FindPin(IUnknown* source, PIN_DIRECTION direction, const GUID* category,
                                            const GUID* type, BOOL unconnected, int index, IPin** pin) {
    return inner_ ? inner_->FindPin(source, direction, category, type, unconnected, index, pin) : E_POINTER;
}

// Wine's capture graph builder does not implement SetOutputFileName (E_NOTIMPL); the AVI
// multiplexer and file writer it would add are then added here, connected the same way. Wine's
// multiplexer runs only in full interleaving, so that mode is asked for; it suits one video
// stream on every multiplexer.
HRESULT ISampleCaptureGraphBuilder::SetOutputFileName(const GUID* subtype, LPCOLESTR file, IBaseFilter** mux,
                                                      IFileSinkFilter** sink) {
    if (!inner_) return E_POINTER;
    const HRESULT hr = inner_->SetOutputFileName(subtype, file, mux, sink);
    if (hr != E_NOTIMPL || !subtype || *subtype != MEDIASUBTYPE_Avi) return hr;
    return addAviWriter(file, mux, sink);
}

HRESULT ISampleCaptureGraphBuilder::addAviWriter(LPCOLESTR file, IBaseFilter** mux, IFileSinkFilter** sink) {
    if (!file || !mux) return E_POINTER;
    ComPtr<IGraphBuilder> graph;
    HRESULT hr = GetFiltergraph(graph.put());
    if (FAILED(hr)) return hr;
    ComPtr<IBaseFilter> multiplexer, writer;
    ComPtr<IFileSinkFilter> fileSink;
    ComPtr<IPin> muxOutput, writerInput;
    hr = createInstance(CLSID_AviDest, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(multiplexer.put()));
    if (SUCCEEDED(hr)) hr = fullInterleaving(multiplexer.get());
    if (SUCCEEDED(hr)) hr = createInstance(CLSID_FileWriter, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(writer.put()));
    if (SUCCEEDED(hr)) hr = writer.as(fileSink);
    if (SUCCEEDED(hr)) hr = fileSink->SetFileName(file, nullptr);
    if (SUCCEEDED(hr)) hr = graph->AddFilter(multiplexer.get(), kMuxName);
    if (SUCCEEDED(hr)) hr = graph->AddFilter(writer.get(), kWriterName);
    if (SUCCEEDED(hr)) hr = FindPin(multiplexer.get(), PINDIR_OUTPUT, nullptr, nullptr, TRUE, 0, muxOutput.put());
    if (SUCCEEDED(hr)) hr = FindPin(writer.get(), PINDIR_INPUT, nullptr, nullptr, TRUE, 0, writerInput.put());
    if (SUCCEEDED(hr)) hr = graph->ConnectDirect(muxOutput.get(), writerInput.get(), nullptr);
    if (FAILED(hr)) {
        if (multiplexer) graph->RemoveFilter(multiplexer.get());
        if (writer) graph->RemoveFilter(writer.get());
        return hr;
    }
    *mux = multiplexer.detach();
    if (sink) *sink = fileSink.detach();
    return S_OK;
}

HRESULT ISampleCaptureGraphBuilder::GetFiltergraph(IGraphBuilder** graph) {
    return inner_ ? inner_->GetFiltergraph(graph) : E_POINTER;
}

HRESULT ISampleCaptureGraphBuilder::SetFiltergraph(IGraphBuilder* graph) {
    return inner_ ? inner_->SetFiltergraph(graph) : E_POINTER;
}

HRESULT ISampleCaptureGraphBuilder::RenderStream(const GUID* category, const GUID* type, IUnknown* source,
                                                 IBaseFilter* compressor, IBaseFilter* renderer) {
    if (!type || *type != MEDIATYPE_Stream)
        return inner_ ? inner_->RenderStream(category, type, source, compressor, renderer) : E_POINTER;
    return renderMpeg2Stream(source, renderer);
}

HRESULT ISampleCaptureGraphBuilder::renderMpeg2Stream(IUnknown* source, IBaseFilter* renderer) {
    if (!graph_) {
        const HRESULT hr = GetFiltergraph(graph_.put());
        if (FAILED(hr)) return hr;
    }
    ComPtr<IBaseFilter> sourceFilter;
    if (!source || FAILED(source->QueryInterface(IID_PPV_ARGS(sourceFilter.put())))) return E_INVALIDARG;
    HRESULT hr = ensureDemultiplexer(sourceFilter.get());
    if (FAILED(hr) || renderer) return hr;
    hr = configureDemultiplexerPins();
    if (FAILED(hr)) return hr;
    hr = RenderStream(nullptr, &MEDIATYPE_Video, demultiplexer_.get(), nullptr, nullptr);
    if (FAILED(hr)) return hr;
    return RenderStream(nullptr, &MEDIATYPE_Audio, demultiplexer_.get(), nullptr, nullptr);
}

// The source's MPEG-2 stream pin goes straight into the demultiplexer; cards whose encoder is a
// separate filter expose the encoded stream on that filter, which the caller passes as source.
HRESULT ISampleCaptureGraphBuilder::ensureDemultiplexer(IBaseFilter* sourceFilter) {
    if (demultiplexer_) return S_OK;
    ComPtr<IBaseFilter> demultiplexer;
    HRESULT hr = createInstance(CLSID_MPEG2Demultiplexer, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(demultiplexer.put()));
    if (FAILED(hr)) return hr;
    hr = graph_->AddFilter(demultiplexer.get(), kDemultiplexerName);
    if (FAILED(hr)) return hr;
    ComPtr<IPin> streamPin, demultiplexerInput;
    hr = FindPin(sourceFilter, PINDIR_OUTPUT, nullptr, &MEDIATYPE_Stream, TRUE, 0, streamPin.put());
    if (SUCCEEDED(hr)) hr = FindPin(demultiplexer.get(), PINDIR_INPUT, nullptr, nullptr, TRUE, 0, demultiplexerInput.put());
    if (SUCCEEDED(hr)) hr = graph_->Connect(streamPin.get(), demultiplexerInput.get());
    if (FAILED(hr)) {
        graph_->RemoveFilter(demultiplexer.get());
        return hr;
    }
    demultiplexer_ = demultiplexer;
    return S_OK;
}

HRESULT ISampleCaptureGraphBuilder::configureDemultiplexerPins() {
    ComPtr<IMpeg2Demultiplexer> demultiplexer;
    HRESULT hr = demultiplexer_.as(demultiplexer);
    if (FAILED(hr)) return hr;
    struct Output {
        const wchar_t* name;
        GUID major;
        GUID subtype;
        ULONG streamId;
    };
    const Output outputs[] = {{kVideoPinName, MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, kVideoStreamId},
                              {kAudioPinName, MEDIATYPE_Audio, MEDIASUBTYPE_MPEG1Payload, kAudioStreamId}};
    for (const Output& output : outputs) {
        ComPtr<IPin> pin;
        if (FAILED(demultiplexer_->FindPin(output.name, pin.put()))) {
            AM_MEDIA_TYPE type = pinType(output.major, output.subtype);
            hr = demultiplexer->CreateOutputPin(&type, const_cast<LPWSTR>(output.name), pin.put());
            if (FAILED(hr)) return hr;
        }
        ComPtr<IMPEG2StreamIdMap> map;
        hr = pin->QueryInterface(IID_PPV_ARGS(map.put()));
        if (FAILED(hr)) return hr;
        hr = map->MapStreamId(output.streamId, MPEG2_PROGRAM_ELEMENTARY_STREAM, 0, 0);
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

} // namespace qisrtvcard

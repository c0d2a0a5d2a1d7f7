#pragma once
// The module's capture graph builder: passes every operation to the system's
// ICaptureGraphBuilder2 except RenderStream of MEDIATYPE_Stream, which it routes through an
// MPEG-2 demultiplexer for cards with hardware MPEG-2 encoders.

#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"

namespace qisrtvcard {

class ISampleCaptureGraphBuilder {
public:
    // Creation of the system builder is not checked: a failure leaves it null.
    ISampleCaptureGraphBuilder();
    virtual ~ISampleCaptureGraphBuilder();
    ISampleCaptureGraphBuilder(const ISampleCaptureGraphBuilder&) = delete;
    ISampleCaptureGraphBuilder& operator=(const ISampleCaptureGraphBuilder&) = delete;

    virtual HRESULT AllocCapFile(LPCOLESTR name, DWORDLONG size);
    virtual HRESULT ControlStream(const GUID* category, const GUID* type, IBaseFilter* filter, REFERENCE_TIME* start,
                                  REFERENCE_TIME* stop, WORD startCookie, WORD stopCookie);
    virtual HRESULT CopyCaptureFile(LPOLESTR oldName, LPOLESTR newName, int allowEscAbort, IAMCopyCaptureFileProgress* callback);
    virtual HRESULT FindInterface(const GUID* category, const GUID* type, IBaseFilter* filter, REFIID iid, void** out);
    virtual HRESULT FindPin(IUnknown* source, PIN_DIRECTION direction, const GUID* category, const GUID* type,
                            BOOL unconnected, int index, IPin** pin);
    virtual HRESULT GetFiltergraph(IGraphBuilder** graph);
    virtual HRESULT RenderStream(const GUID* category, const GUID* type, IUnknown* source, IBaseFilter* compressor,
                                 IBaseFilter* renderer);
    virtual HRESULT SetFiltergraph(IGraphBuilder* graph);
    // The capture-to-file test's own operation: the file multiplexer and writer for `subtype`.
    virtual HRESULT SetOutputFileName(const GUID* subtype, LPCOLESTR file, IBaseFilter** mux, IFileSinkFilter** sink);

    bool hasSystemBuilder() const { return static_cast<bool>(inner_); }

private:
    HRESULT addAviWriter(LPCOLESTR file, IBaseFilter** mux, IFileSinkFilter** sink);
    HRESULT renderMpeg2Stream(IUnknown* source, IBaseFilter* renderer);
    HRESULT ensureDemultiplexer(IBaseFilter* sourceFilter);
    HRESULT configureDemultiplexerPins();

    tunekit::ComPtr<ICaptureGraphBuilder2> inner_;
    tunekit::ComPtr<IGraphBuilder> graph_;        // fetched when the stream path first needs it
    tunekit::ComPtr<IBaseFilter> demultiplexer_;  // "MPEG2 Demux", created once
    tunekit::ComPtr<IBaseFilter> videoEncoder_;   // "Encoder", when the card has one
    tunekit::ComPtr<IBaseFilter> audioEncoder_;   // "Audio Encoder"
    int bufferCount_ = 192;                       // set at construction; no operation reads it
};

} // namespace qisrtvcard

// The capture graph builder: finds pins and interfaces around a capture filter and builds the
// preview, capture and file-writing parts of a graph. It works on the graph only through the
// graph's public interfaces, as the system's builder does.
#include <set>

#include "tvsim/Filter.h"
#include "tvsim/Objects.h"

namespace tvsim {
namespace {

using tunekit::ComPtr;

// ---- what a pin is -------------------------------------------------------------------------------

PIN_DIRECTION directionOf(IPin* pin) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    pin->QueryDirection(&direction);
    return direction;
}

ComPtr<IPin> peerOf(IPin* pin) {
    ComPtr<IPin> peer;
    pin->ConnectedTo(peer.put());
    return peer;
}

ComPtr<IBaseFilter> ownerOf(IPin* pin) {
    tunekit::PinInfo info;
    return SUCCEEDED(pin->QueryPinInfo(info.put())) ? info.held() : nullptr;
}

std::vector<ComPtr<IPin>> pinsOf(IBaseFilter* filter) {
    std::vector<ComPtr<IPin>> pins;
    ComPtr<IEnumPins> pinEnum;
    if (FAILED(filter->EnumPins(pinEnum.put())) || !pinEnum) return pins;
    for (ComPtr<IPin> pin; pinEnum->Next(1, pin.put(), nullptr) == S_OK;) pins.push_back(pin);
    return pins;
}

// The pin category comes from the pin property set, which pins without a category do not answer.
bool hasCategory(IPin* pin, const GUID& category) {
    ComPtr<IKsPropertySet> properties;
    if (FAILED(pin->QueryInterface(IID_PPV_ARGS(properties.put())))) return false;
    GUID actual = GUID_NULL;
    DWORD returned = 0;
    return SUCCEEDED(properties->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, &actual, sizeof(actual), &returned)) &&
           actual == category;
}

// The major types a pin carries: its connection's type once connected, else the types it offers.
std::vector<GUID> majorTypesOf(IPin* pin) {
    std::vector<GUID> majors;
    tunekit::MediaTypeValue connection;
    if (SUCCEEDED(pin->ConnectionMediaType(connection.put()))) {
        majors.push_back(connection.get().majortype);
        return majors;
    }
    ComPtr<IEnumMediaTypes> types;
    if (FAILED(pin->EnumMediaTypes(types.put()))) return majors;
    for (tunekit::MediaTypePtr type; types->Next(1, type.put(), nullptr) == S_OK;) majors.push_back(type->majortype);
    return majors;
}

bool carries(IPin* pin, const GUID& major) {
    for (const GUID& actual : majorTypesOf(pin))
        if (actual == major) return true;
    return false;
}

bool matches(IPin* pin, PIN_DIRECTION direction, const GUID* category, const GUID* type, bool unconnected) {
    if (directionOf(pin) != direction) return false;
    if (unconnected && peerOf(pin)) return false;
    if (category && !hasCategory(pin, *category)) return false;
    return !type || carries(pin, *type);
}

// The `index`th pin of `filter` that matches.
ComPtr<IPin> findPin(IBaseFilter* filter, PIN_DIRECTION direction, const GUID* category, const GUID* type, bool unconnected,
                     int index = 0) {
    for (const auto& pin : pinsOf(filter))
        if (matches(pin.get(), direction, category, type, unconnected) && index-- == 0) return pin;
    return ComPtr<IPin>();
}

bool sameObject(IUnknown* a, IUnknown* b) {
    ComPtr<IUnknown> first, second;
    if (!a || !b || FAILED(a->QueryInterface(IID_PPV_ARGS(first.put()))) || FAILED(b->QueryInterface(IID_PPV_ARGS(second.put()))))
        return false;
    return first.get() == second.get();
}

bool isClass(IBaseFilter* filter, const CLSID& clsid) {
    CLSID actual = GUID_NULL;
    return SUCCEEDED(filter->GetClassID(&actual)) && actual == clsid;
}

// ---- journal text ------------------------------------------------------------------------------

qis::String guidName(const GUID* guid) {
    if (!guid) return "NULL";
    static const std::pair<const GUID*, const char*> kNames[] = {
        {&PIN_CATEGORY_CAPTURE, "PIN_CATEGORY_CAPTURE"}, {&PIN_CATEGORY_PREVIEW, "PIN_CATEGORY_PREVIEW"},
        {&PIN_CATEGORY_CC, "PIN_CATEGORY_CC"},           {&LOOK_UPSTREAM_ONLY, "LOOK_UPSTREAM_ONLY"},
        {&LOOK_DOWNSTREAM_ONLY, "LOOK_DOWNSTREAM_ONLY"}, {&MEDIATYPE_Video, "MEDIATYPE_Video"},
        {&MEDIATYPE_Audio, "MEDIATYPE_Audio"},           {&MEDIATYPE_Interleaved, "MEDIATYPE_Interleaved"},
        {&MEDIATYPE_Stream, "MEDIATYPE_Stream"},         {&MEDIASUBTYPE_Avi, "MEDIASUBTYPE_Avi"},
        {&MEDIASUBTYPE_Asf, "MEDIASUBTYPE_Asf"},
    };
    for (const auto& [known, name] : kNames)
        if (*known == *guid) return name;
    wchar_t text[40] = {};
    StringFromGUID2(*guid, text, 40);
    return qis::String(text);
}

// ---- interface search ----------------------------------------------------------------------

// Asks objects of the graph for an interface, each object once, and keeps the first answer.
class InterfaceSearch {
public:
    InterfaceSearch(REFIID iid, void** out) : iid_(iid), out_(out) {}

    bool ask(IUnknown* object) { return SUCCEEDED(object->QueryInterface(iid_, out_)); }

    // The filter the search starts from is not searched again on a way back to it.
    void startAt(IBaseFilter* filter) {
        ComPtr<IUnknown> identity;
        if (SUCCEEDED(filter->QueryInterface(IID_PPV_ARGS(identity.put())))) visited_.insert(identity.get());
    }

    bool askPins(IBaseFilter* filter) {
        for (const auto& pin : pinsOf(filter))
            if (ask(pin.get())) return true;
        return false;
    }

    // Every filter upstream of `filter` (through its input pins) with its pins, nearest first.
    bool askUpstream(IBaseFilter* filter) {
        for (const auto& pin : pinsOf(filter))
            if (directionOf(pin.get()) == PINDIR_INPUT && askBeyond(pin.get(), &InterfaceSearch::askUpstream)) return true;
        return false;
    }

    // Every filter downstream of `pin` (an output pin) with its pins.
    bool askDownstreamOf(IPin* pin) { return askBeyond(pin, &InterfaceSearch::askDownstream); }

    bool askDownstream(IBaseFilter* filter) {
        for (const auto& pin : pinsOf(filter))
            if (directionOf(pin.get()) == PINDIR_OUTPUT && askDownstreamOf(pin.get())) return true;
        return false;
    }

private:
    bool askBeyond(IPin* pin, bool (InterfaceSearch::*next)(IBaseFilter*)) {
        ComPtr<IPin> peer = peerOf(pin);
        if (!peer) return false;
        ComPtr<IBaseFilter> filter = ownerOf(peer.get());
        ComPtr<IUnknown> identity;
        if (!filter || FAILED(filter->QueryInterface(IID_PPV_ARGS(identity.put()))) || !visited_.insert(identity.get()).second)
            return false;
        return ask(filter.get()) || askPins(filter.get()) || (this->*next)(filter.get());
    }

    REFIID iid_;
    void** out_;
    std::set<IUnknown*> visited_;
};

// ---- the builder -------------------------------------------------------------------------------

class CaptureGraphBuilder final : public SimObject<ICaptureGraphBuilder2> {
public:
    CaptureGraphBuilder() : SimObject("CaptureGraphBuilder2") {}

    STDMETHODIMP SetFiltergraph(IGraphBuilder* graph) override {
        return call("SetFiltergraph", [&]() -> HRESULT {
            if (!graph) return E_POINTER;
            if (graph_) return E_UNEXPECTED;
            graph_ = ComPtr<IGraphBuilder>(graph);
            return S_OK;
        });
    }

    STDMETHODIMP GetFiltergraph(IGraphBuilder** graph) override {
        return callOut("GetFiltergraph", graph, [&]() -> HRESULT {
            if (!graph_) return E_UNEXPECTED;
            *graph = graph_.get();
            graph_->AddRef();
            return S_OK;
        });
    }

    STDMETHODIMP SetOutputFileName(const GUID* type, LPCOLESTR file, IBaseFilter** mux, IFileSinkFilter** sink) override {
        return call("SetOutputFileName", [&]() -> HRESULT {
            if (!type || !file || !mux) return E_POINTER;
            *mux = nullptr;
            if (sink) *sink = nullptr;
            return setOutputFileName(*type, file, mux, sink);
        }, Arguments().with("subtype", guidName(type)).with("file", qis::String(file ? file : L"")));
    }

    STDMETHODIMP FindInterface(const GUID* category, const GUID* type, IBaseFilter* filter, REFIID iid, void** out) override {
        return call("FindInterface", [&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = nullptr;
            if (!filter) return E_POINTER;
            return findInterface(category, type, filter, iid, out);
        }, Arguments().with("category", guidName(category)).with("mediaType", guidName(type)).with("interface", guidName(&iid)));
    }

    STDMETHODIMP RenderStream(const GUID* category, const GUID* type, IUnknown* source, IBaseFilter* compressor,
                              IBaseFilter* renderer) override {
        return call("RenderStream", [&]() -> HRESULT {
            if (!source) return E_POINTER;
            return renderStream(category, type, source, compressor, renderer);
        }, Arguments().with("category", guidName(category)).with("mediaType", guidName(type)));
    }

    STDMETHODIMP ControlStream(const GUID* category, const GUID* type, IBaseFilter* filter, REFERENCE_TIME* start,
                               REFERENCE_TIME* stop, WORD startCookie, WORD stopCookie) override {
        return call("ControlStream", [&]() -> HRESULT {
            if (!category) return E_POINTER;
            return controlStream(*category, type, filter, start, stop, startCookie, stopCookie);
        }, Arguments().with("category", guidName(category)).with("mediaType", guidName(type)));
    }

    // Creates the file, or grows it, to `size` bytes; a read-only file cannot be allocated.
    STDMETHODIMP AllocCapFile(LPCOLESTR file, DWORDLONG size) override {
        return call("AllocCapFile", [&]() -> HRESULT {
            if (!file) return E_POINTER;
            HANDLE handle = CreateFileW(file, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
            if (handle == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
            LARGE_INTEGER current{}, wanted{};
            wanted.QuadPart = static_cast<LONGLONG>(size);
            BOOL done = GetFileSizeEx(handle, &current);
            if (done && current.QuadPart < wanted.QuadPart)
                done = SetFilePointerEx(handle, wanted, nullptr, FILE_BEGIN) && SetEndOfFile(handle);
            const HRESULT hr = done ? S_OK : HRESULT_FROM_WIN32(GetLastError());
            CloseHandle(handle);
            return hr;
        }, Arguments().with("file", qis::String(file ? file : L"")).with("size", static_cast<long long>(size)));
    }

    STDMETHODIMP CopyCaptureFile(LPOLESTR from, LPOLESTR to, int, IAMCopyCaptureFileProgress*) override {
        return call("CopyCaptureFile", [&]() -> HRESULT {
            if (!from || !to) return E_POINTER;
            return CopyFileW(from, to, FALSE) ? S_OK : HRESULT_FROM_WIN32(GetLastError());
        });
    }

    STDMETHODIMP FindPin(IUnknown* source, PIN_DIRECTION direction, const GUID* category, const GUID* type, BOOL unconnected,
                         int index, IPin** pin) override {
        return callOut("FindPin", pin, [&]() -> HRESULT {
            if (!source) return E_POINTER;
            ComPtr<IPin> found;
            ComPtr<IBaseFilter> filter;
            if (SUCCEEDED(source->QueryInterface(IID_PPV_ARGS(found.put())))) {
                if (!matches(found.get(), direction, category, type, unconnected)) found.reset();
            } else if (SUCCEEDED(source->QueryInterface(IID_PPV_ARGS(filter.put())))) {
                found = findPin(filter.get(), direction, category, type, unconnected, index);
            }
            if (!found) return E_FAIL;
            *pin = found.detach();
            return S_OK;
        }, Arguments().with("category", guidName(category)).with("mediaType", guidName(type)));
    }

private:
    // The builder makes a graph of its own when it needs one and has none.
    HRESULT ensureGraph() {
        if (graph_) return S_OK;
        return Simulation::current().createInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(graph_.put()));
    }

    bool inGraph(IBaseFilter* filter) const {
        tunekit::FilterInfo info;
        if (FAILED(filter->QueryFilterInfo(info.put()))) return false;
        return sameObject(info->pGraph, graph_.get());
    }

    // A new system filter in the graph under `name`.
    HRESULT addNew(const CLSID& clsid, LPCWSTR name, ComPtr<IBaseFilter>& filter) {
        HRESULT hr = Simulation::current().createInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(filter.put()));
        if (FAILED(hr)) return hr;
        hr = graph_->AddFilter(filter.get(), name);
        if (FAILED(hr)) filter.reset();
        return hr;
    }

    // Connects `out` to the first free input of `filter` that takes the stream.
    HRESULT connectTo(IPin* out, IBaseFilter* filter) {
        HRESULT hr = VFW_E_NO_ACCEPTABLE_TYPES;
        for (const auto& in : pinsOf(filter)) {
            if (directionOf(in.get()) != PINDIR_INPUT || peerOf(in.get())) continue;
            hr = graph_->Connect(out, in.get());
            if (SUCCEEDED(hr)) return hr;
        }
        return hr;
    }

    HRESULT setOutputFileName(const GUID& type, LPCOLESTR file, IBaseFilter** muxOut, IFileSinkFilter** sinkOut) {
        HRESULT hr = ensureGraph();
        if (FAILED(hr)) return hr;
        // A subtype names the system multiplexer for it; any other value is the class of one.
        const CLSID clsid = type == MEDIASUBTYPE_Avi ? CLSID_AviDest : type == MEDIASUBTYPE_Asf ? CLSID_WMAsfWriter : type;
        ComPtr<IBaseFilter> mux;
        hr = addNew(clsid, L"Mux", mux);
        if (FAILED(hr)) return hr;
        ComPtr<IBaseFilter> writer;
        ComPtr<IFileSinkFilter> sink;
        if (FAILED(mux->QueryInterface(IID_PPV_ARGS(sink.put())))) {
            ComPtr<IPin> muxOutput = findPin(mux.get(), PINDIR_OUTPUT, nullptr, nullptr, true);
            hr = addNew(CLSID_FileWriter, L"File Writer", writer);
            if (SUCCEEDED(hr)) hr = muxOutput ? connectTo(muxOutput.get(), writer.get()) : E_FAIL;
            if (SUCCEEDED(hr)) hr = writer->QueryInterface(IID_PPV_ARGS(sink.put()));
        }
        if (SUCCEEDED(hr)) hr = sink->SetFileName(file, nullptr);
        if (FAILED(hr)) {
            // Leave the graph as it was.
            if (writer) graph_->RemoveFilter(writer.get());
            graph_->RemoveFilter(mux.get());
            return hr;
        }
        *muxOut = mux.detach();
        if (sinkOut) *sinkOut = sink.detach();
        return S_OK;
    }

    HRESULT findInterface(const GUID* category, const GUID* type, IBaseFilter* filter, REFIID iid, void** out) {
        InterfaceSearch search(iid, out);
        search.startAt(filter);
        if (!category) {
            if (search.ask(filter) || search.askPins(filter) || search.askUpstream(filter) || search.askDownstream(filter)) return S_OK;
        } else if (*category == LOOK_UPSTREAM_ONLY) {
            if (search.askPins(filter) || search.askUpstream(filter)) return S_OK;
        } else if (*category == LOOK_DOWNSTREAM_ONLY) {
            if (search.askPins(filter) || search.askDownstream(filter)) return S_OK;
        } else {
            // A pin category: the filter must have such an output pin; the search covers the filter,
            // that pin, what feeds the filter (tuner, crossbar) and what the pin feeds.
            ComPtr<IPin> pin = findPin(filter, PINDIR_OUTPUT, category, type, false);
            if (!pin) return E_FAIL;
            if (search.ask(filter) || search.ask(pin.get()) || search.askUpstream(filter) || search.askDownstreamOf(pin.get())) return S_OK;
        }
        return E_NOINTERFACE;
    }

    // The pin a stream of `category` leaves `filter` by: a free pin of that kind, else the matching
    // output of a Smart Tee that the capture pin already feeds, else (for preview from a filter
    // without a preview pin) a new Smart Tee on the capture pin.
    HRESULT sourcePin(IBaseFilter* filter, const GUID* category, const GUID* type, ComPtr<IPin>& pin,
                      std::vector<ComPtr<IBaseFilter>>& added) {
        pin = findPin(filter, PINDIR_OUTPUT, category, type, true);
        if (pin) return S_OK;
        const bool preview = category && *category == PIN_CATEGORY_PREVIEW;
        if (!category || (!preview && *category != PIN_CATEGORY_CAPTURE)) return E_FAIL;
        const bool previewPin = static_cast<bool>(findPin(filter, PINDIR_OUTPUT, &PIN_CATEGORY_PREVIEW, type, false));
        if (preview && previewPin) return E_FAIL; // it has one, and that one is taken
        const HRESULT found = preview ? VFW_S_NOPREVIEWPIN : S_OK;
        for (int i = 0;; ++i) {
            ComPtr<IPin> capture = findPin(filter, PINDIR_OUTPUT, &PIN_CATEGORY_CAPTURE, type, false, i);
            if (!capture) break;
            ComPtr<IPin> peer = peerOf(capture.get());
            ComPtr<IBaseFilter> next = peer ? ownerOf(peer.get()) : ComPtr<IBaseFilter>();
            if (next && isClass(next.get(), CLSID_SmartTee)) {
                pin = findPin(next.get(), PINDIR_OUTPUT, category, nullptr, true);
                return pin ? found : E_FAIL;
            }
        }
        if (!preview) return E_FAIL;
        ComPtr<IPin> capture = findPin(filter, PINDIR_OUTPUT, &PIN_CATEGORY_CAPTURE, type, true);
        if (!capture) return E_FAIL;
        ComPtr<IBaseFilter> tee;
        HRESULT hr = addNew(CLSID_SmartTee, L"Smart Tee", tee);
        if (FAILED(hr)) return hr;
        added.push_back(tee);
        hr = connectTo(capture.get(), tee.get());
        if (FAILED(hr)) return hr;
        pin = findPin(tee.get(), PINDIR_OUTPUT, &PIN_CATEGORY_PREVIEW, nullptr, true);
        return pin ? found : E_FAIL;
    }

    // With no renderer given: video goes to a new video renderer, an MPEG-2 stream to a new
    // MPEG-2 demultiplexer (whose output pins the application configures), anything else to
    // whatever the graph renders it with.
    HRESULT renderDefault(IPin* out, const GUID* type, std::vector<ComPtr<IBaseFilter>>& added) {
        const std::vector<GUID> majors = majorTypesOf(out);
        const GUID major = type ? *type : majors.empty() ? GUID_NULL : majors.front();
        const CLSID* clsid = nullptr;
        LPCWSTR name = nullptr;
        if (major == MEDIATYPE_Video || major == MEDIATYPE_Interleaved) {
            clsid = &CLSID_VideoRenderer;
            name = L"Video Renderer";
        } else if (major == MEDIATYPE_Stream) {
            clsid = &CLSID_MPEG2Demultiplexer;
            name = L"MPEG-2 Demultiplexer";
        } else {
            return graph_->Render(out);
        }
        ComPtr<IBaseFilter> sink;
        HRESULT hr = addNew(*clsid, name, sink);
        if (FAILED(hr)) return hr;
        added.push_back(sink);
        return connectTo(out, sink.get());
    }

    HRESULT renderStream(const GUID* category, const GUID* type, IUnknown* source, IBaseFilter* compressor, IBaseFilter* renderer) {
        HRESULT hr = ensureGraph();
        if (FAILED(hr)) return hr;
        if ((compressor && !inGraph(compressor)) || (renderer && !inGraph(renderer))) return VFW_E_NOT_IN_GRAPH;

        std::vector<ComPtr<IBaseFilter>> added;
        ComPtr<IPin> out;
        HRESULT found = S_OK;
        ComPtr<IBaseFilter> filter;
        if (SUCCEEDED(source->QueryInterface(IID_PPV_ARGS(out.put())))) {
            ComPtr<IBaseFilter> owner = ownerOf(out.get());
            if (!owner || !inGraph(owner.get())) return VFW_E_NOT_IN_GRAPH;
            if (directionOf(out.get()) != PINDIR_OUTPUT || peerOf(out.get())) return E_INVALIDARG;
        } else if (SUCCEEDED(source->QueryInterface(IID_PPV_ARGS(filter.put())))) {
            if (!inGraph(filter.get())) return VFW_E_NOT_IN_GRAPH;
            found = sourcePin(filter.get(), category, type, out, added);
        } else {
            return E_INVALIDARG;
        }

        hr = found;
        ComPtr<IPin> intoCompressor;
        if (SUCCEEDED(hr) && compressor) {
            hr = connectTo(out.get(), compressor);
            if (SUCCEEDED(hr)) {
                intoCompressor = out;
                out = findPin(compressor, PINDIR_OUTPUT, nullptr, nullptr, true);
                if (!out) hr = E_FAIL;
            }
        }
        if (SUCCEEDED(hr)) hr = renderer ? connectTo(out.get(), renderer) : renderDefault(out.get(), type, added);
        if (FAILED(hr)) {
            // What this call built goes again; removing a filter also breaks its connections.
            if (intoCompressor) {
                if (ComPtr<IPin> peer = peerOf(intoCompressor.get())) graph_->Disconnect(peer.get());
                graph_->Disconnect(intoCompressor.get());
            }
            for (const auto& filterAdded : added) graph_->RemoveFilter(filterAdded.get());
            return hr;
        }
        return found;
    }

    // Start and stop times go to the IAMStreamControl of each matching output pin, on one filter
    // or on every filter in the graph that has such a pin.
    HRESULT controlStream(const GUID& category, const GUID* type, IBaseFilter* filter, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                          WORD startCookie, WORD stopCookie) {
        std::vector<ComPtr<IBaseFilter>> filters;
        if (filter) {
            filters.emplace_back(filter);
        } else {
            if (!graph_) return E_FAIL;
            ComPtr<IEnumFilters> all;
            if (FAILED(graph_->EnumFilters(all.put()))) return E_FAIL;
            for (ComPtr<IBaseFilter> next; all->Next(1, next.put(), nullptr) == S_OK;) filters.push_back(next);
        }
        HRESULT result = E_FAIL;
        for (const auto& candidate : filters) {
            for (int i = 0;; ++i) {
                ComPtr<IPin> pin = findPin(candidate.get(), PINDIR_OUTPUT, &category, type, false, i);
                if (!pin) break;
                ComPtr<IAMStreamControl> control;
                if (FAILED(pin->QueryInterface(IID_PPV_ARGS(control.put())))) {
                    result = E_NOINTERFACE;
                    continue;
                }
                HRESULT hr = control->StartAt(start, startCookie);
                if (SUCCEEDED(hr)) hr = control->StopAt(stop, FALSE, stopCookie);
                if (FAILED(hr)) return hr;
                result = S_OK;
            }
        }
        return result;
    }

    ComPtr<IGraphBuilder> graph_;
};

} // namespace

ComPtr<IUnknown> createCaptureGraphBuilder(Simulation&) {
    ComPtr<CaptureGraphBuilder> builder = make<CaptureGraphBuilder>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(builder.get()));
}

} // namespace tvsim

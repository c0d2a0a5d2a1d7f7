// The filter graph manager: filters and their names, connections, rendering, the graph's
// state, its event queue and the video window of the renderer it holds.
#include <deque>

#include "tvsim/Classes.h"
#include "tvsim/Converters.h"
#include "tvsim/Filter.h"
#include "tvsim/Objects.h"

namespace tvsim {
namespace {

using tunekit::ComPtr;

struct GraphEvent {
    long code;
    LONG_PTR param1;
    LONG_PTR param2;
};

// Forwards one IVideoWindow method to the renderer in the graph, as the graph manager does;
// without a renderer the call fails with E_NOINTERFACE.
#define TVSIM_FORWARD_VIDEO_WINDOW(method, params, args)                                       \
    STDMETHODIMP method params override {                                                      \
        return call(#method, [&]() -> HRESULT {                                                \
            ComPtr<IVideoWindow> renderer = videoWindow();                                     \
            return renderer ? renderer->method args : E_NOINTERFACE;                           \
        });                                                                                    \
    }

class FilterGraph final
    : public SimObject<IFilterGraph2, IMediaControl, IMediaEventEx, IMediaEventSink, IMediaFilter, IVideoWindow> {
public:
    FilterGraph() : SimObject("FilterGraph") {}
    ~FilterGraph() override { removeAll(); }

    // ---- IFilterGraph ----
    STDMETHODIMP AddFilter(IBaseFilter* filter, LPCWSTR name) override {
        return call("AddFilter", [&]() -> HRESULT {
            if (!filter) return E_POINTER;
            if (indexOf(filter) >= 0) return VFW_E_DUPLICATE_NAME;
            qis::String wanted = name ? qis::String(name) : qis::String("Filter");
            // A taken name gets a number, as the system graph manager does ("Capture 0001").
            qis::String unique = wanted;
            for (int n = 1; findByName(unique) >= 0; ++n) {
                std::string number = std::to_string(n);
                unique = wanted + " " + std::string(4 - std::min<std::size_t>(4, number.size()), '0') + number;
            }
            const HRESULT joined = filter->JoinFilterGraph(this, unique.wide().c_str());
            if (FAILED(joined)) return joined;
            filters_.push_back({ComPtr<IBaseFilter>(filter), unique});
            return unique == wanted ? S_OK : VFW_S_DUPLICATE_NAME;
        }, Arguments().with("name", name ? qis::String(name) : qis::String()));
    }

    STDMETHODIMP RemoveFilter(IBaseFilter* filter) override {
        return call("RemoveFilter", [&]() -> HRESULT {
            const int index = indexOf(filter);
            if (index < 0) return E_FAIL;
            detach(filters_[static_cast<std::size_t>(index)].filter);
            filters_.erase(filters_.begin() + index);
            return S_OK;
        });
    }

    STDMETHODIMP EnumFilters(IEnumFilters** out) override {
        return callOut("EnumFilters", out, [&] {
            // Most recently added first, as the system's graph manager lists them.
            std::vector<ComPtr<IBaseFilter>> list;
            for (auto it = filters_.rbegin(); it != filters_.rend(); ++it) list.push_back(it->filter);
            *out = makeFilterEnumerator("FilterGraph.Filters", std::move(list)).detach();
            return S_OK;
        });
    }

    STDMETHODIMP FindFilterByName(LPCWSTR name, IBaseFilter** out) override {
        return callOut("FindFilterByName", out, [&]() -> HRESULT {
            if (!name) return E_POINTER;
            const int index = findByName(qis::String(name));
            if (index < 0) return VFW_E_NOT_FOUND;
            *out = filters_[static_cast<std::size_t>(index)].filter.get();
            (*out)->AddRef();
            return S_OK;
        }, name ? qis::String(name) : qis::String());
    }

    STDMETHODIMP ConnectDirect(IPin* out, IPin* in, const AM_MEDIA_TYPE* type) override {
        return call("ConnectDirect", [&]() -> HRESULT { return connectDirect(out, in, type); });
    }

    STDMETHODIMP Reconnect(IPin*) override { return E_NOTIMPL; }
    STDMETHODIMP ReconnectEx(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }

    STDMETHODIMP Disconnect(IPin* pin) override {
        return call("Disconnect", [&]() -> HRESULT {
            if (!pin) return E_POINTER;
            if (state_ != State_Stopped) return VFW_E_NOT_STOPPED;
            return pin->Disconnect();
        });
    }

    STDMETHODIMP SetDefaultSyncSource() override { return S_OK; }

    // ---- IGraphBuilder ----
    STDMETHODIMP Connect(IPin* out, IPin* in) override {
        return call("Connect", [&]() -> HRESULT {
            const HRESULT direct = connectDirect(out, in, nullptr);
            if (!noCommonType(direct)) return direct;
            // Pins that do not agree may still meet through one of the scenario's converters.
            return connectThroughConverter(out, in);
        });
    }

    STDMETHODIMP Render(IPin* out) override {
        return call("Render", [&]() -> HRESULT { return render(out); });
    }

    STDMETHODIMP RenderFile(LPCWSTR, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP AddSourceFilter(LPCWSTR, LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
    STDMETHODIMP SetLogFile(DWORD_PTR) override { return S_OK; }
    STDMETHODIMP Abort() override { return S_OK; }
    STDMETHODIMP ShouldOperationContinue() override { return S_OK; }

    // ---- IFilterGraph2 ----
    STDMETHODIMP AddSourceFilterForMoniker(IMoniker*, IBindCtx*, LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
    STDMETHODIMP RenderEx(IPin* out, DWORD, DWORD*) override { return Render(out); }

    // ---- IMediaControl ----
    STDMETHODIMP Run() override { return call("Run", [&] { return changeState(State_Running); }); }
    STDMETHODIMP Pause() override { return call("Pause", [&] { return changeState(State_Paused); }); }
    STDMETHODIMP Stop() override { return call("Stop", [&] { return changeState(State_Stopped); }); }
    STDMETHODIMP GetState(LONG, OAFilterState* state) override {
        if (!state) return E_POINTER;
        *state = state_;
        return S_OK;
    }
    STDMETHODIMP RenderFile(BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP AddSourceFilter(BSTR, IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_FilterCollection(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_RegFilterCollection(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP StopWhenReady() override { return Pause(); }

    // ---- IMediaFilter ----
    STDMETHODIMP GetClassID(CLSID* clsid) override {
        if (!clsid) return E_POINTER;
        *clsid = CLSID_FilterGraph;
        return S_OK;
    }
    STDMETHODIMP Run(REFERENCE_TIME) override { return Run(); }
    STDMETHODIMP GetState(DWORD, FILTER_STATE* state) override {
        if (!state) return E_POINTER;
        *state = state_;
        return S_OK;
    }
    STDMETHODIMP SetSyncSource(IReferenceClock*) override { return S_OK; }
    STDMETHODIMP GetSyncSource(IReferenceClock** clock) override {
        if (!clock) return E_POINTER;
        *clock = nullptr;
        return S_FALSE;
    }

    // ---- IMediaEvent(Ex) ----
    STDMETHODIMP GetEventHandle(OAEVENT* handle) override {
        if (!handle) return E_POINTER;
        *handle = 0;
        return E_NOTIMPL;
    }
    STDMETHODIMP GetEvent(long* code, LONG_PTR* param1, LONG_PTR* param2, long) override {
        return call("GetEvent", [&]() -> HRESULT {
            if (!code || !param1 || !param2) return E_POINTER;
            if (events_.empty()) return E_ABORT;
            const GraphEvent event = events_.front();
            events_.pop_front();
            *code = event.code;
            *param1 = event.param1;
            *param2 = event.param2;
            return S_OK;
        });
    }
    STDMETHODIMP WaitForCompletion(long, long* code) override {
        if (code) *code = 0;
        return E_ABORT;
    }
    STDMETHODIMP CancelDefaultHandling(long) override { return S_OK; }
    STDMETHODIMP RestoreDefaultHandling(long) override { return S_OK; }
    STDMETHODIMP FreeEventParams(long, LONG_PTR, LONG_PTR) override {
        return call("FreeEventParams", [] { return S_OK; });
    }
    STDMETHODIMP SetNotifyWindow(OAHWND window, long message, LONG_PTR instance) override {
        return call("SetNotifyWindow", [&]() -> HRESULT {
            if (window && !IsWindow(reinterpret_cast<HWND>(window))) return E_INVALIDARG;
            notifyWindow_ = reinterpret_cast<HWND>(window);
            notifyMessage_ = static_cast<UINT>(message);
            notifyInstance_ = instance;
            if (notifyWindow_ && !events_.empty()) postNotification();
            return S_OK;
        });
    }
    STDMETHODIMP SetNotifyFlags(long flags) override {
        notifyFlags_ = flags;
        return S_OK;
    }
    STDMETHODIMP GetNotifyFlags(long* flags) override {
        if (!flags) return E_POINTER;
        *flags = notifyFlags_;
        return S_OK;
    }

    // ---- IMediaEventSink: filters report events to the graph ----
    STDMETHODIMP Notify(long code, LONG_PTR param1, LONG_PTR param2) override {
        events_.push_back({code, param1, param2});
        postNotification();
        return S_OK;
    }

    // ---- IDispatch (of IMediaControl, IMediaEventEx and IVideoWindow) ----
    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        if (count) *count = 0;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override { return E_NOTIMPL; }

    // ---- IVideoWindow ----
    TVSIM_FORWARD_VIDEO_WINDOW(put_Caption, (BSTR caption), (caption))
    TVSIM_FORWARD_VIDEO_WINDOW(get_Caption, (BSTR * caption), (caption))
    TVSIM_FORWARD_VIDEO_WINDOW(put_WindowStyle, (long style), (style))
    TVSIM_FORWARD_VIDEO_WINDOW(get_WindowStyle, (long* style), (style))
    TVSIM_FORWARD_VIDEO_WINDOW(put_WindowStyleEx, (long style), (style))
    TVSIM_FORWARD_VIDEO_WINDOW(get_WindowStyleEx, (long* style), (style))
    TVSIM_FORWARD_VIDEO_WINDOW(put_AutoShow, (long show), (show))
    TVSIM_FORWARD_VIDEO_WINDOW(get_AutoShow, (long* show), (show))
    TVSIM_FORWARD_VIDEO_WINDOW(put_WindowState, (long state), (state))
    TVSIM_FORWARD_VIDEO_WINDOW(get_WindowState, (long* state), (state))
    TVSIM_FORWARD_VIDEO_WINDOW(put_BackgroundPalette, (long palette), (palette))
    TVSIM_FORWARD_VIDEO_WINDOW(get_BackgroundPalette, (long* palette), (palette))
    TVSIM_FORWARD_VIDEO_WINDOW(put_Visible, (long visible), (visible))
    TVSIM_FORWARD_VIDEO_WINDOW(get_Visible, (long* visible), (visible))
    TVSIM_FORWARD_VIDEO_WINDOW(put_Left, (long left), (left))
    TVSIM_FORWARD_VIDEO_WINDOW(get_Left, (long* left), (left))
    TVSIM_FORWARD_VIDEO_WINDOW(put_Width, (long width), (width))
    TVSIM_FORWARD_VIDEO_WINDOW(get_Width, (long* width), (width))
    TVSIM_FORWARD_VIDEO_WINDOW(put_Top, (long top), (top))
    TVSIM_FORWARD_VIDEO_WINDOW(get_Top, (long* top), (top))
    TVSIM_FORWARD_VIDEO_WINDOW(put_Height, (long height), (height))
    TVSIM_FORWARD_VIDEO_WINDOW(get_Height, (long* height), (height))
    TVSIM_FORWARD_VIDEO_WINDOW(put_Owner, (OAHWND owner), (owner))
    TVSIM_FORWARD_VIDEO_WINDOW(get_Owner, (OAHWND * owner), (owner))
    TVSIM_FORWARD_VIDEO_WINDOW(put_MessageDrain, (OAHWND drain), (drain))
    TVSIM_FORWARD_VIDEO_WINDOW(get_MessageDrain, (OAHWND * drain), (drain))
    TVSIM_FORWARD_VIDEO_WINDOW(get_BorderColor, (long* color), (color))
    TVSIM_FORWARD_VIDEO_WINDOW(put_BorderColor, (long color), (color))
    TVSIM_FORWARD_VIDEO_WINDOW(get_FullScreenMode, (long* mode), (mode))
    TVSIM_FORWARD_VIDEO_WINDOW(put_FullScreenMode, (long mode), (mode))
    TVSIM_FORWARD_VIDEO_WINDOW(SetWindowForeground, (long focus), (focus))
    TVSIM_FORWARD_VIDEO_WINDOW(NotifyOwnerMessage, (OAHWND window, long message, LONG_PTR wParam, LONG_PTR lParam),
                               (window, message, wParam, lParam))
    TVSIM_FORWARD_VIDEO_WINDOW(SetWindowPosition, (long left, long top, long width, long height), (left, top, width, height))
    TVSIM_FORWARD_VIDEO_WINDOW(GetWindowPosition, (long* left, long* top, long* width, long* height), (left, top, width, height))
    TVSIM_FORWARD_VIDEO_WINDOW(GetMinIdealImageSize, (long* width, long* height), (width, height))
    TVSIM_FORWARD_VIDEO_WINDOW(GetMaxIdealImageSize, (long* width, long* height), (width, height))
    TVSIM_FORWARD_VIDEO_WINDOW(GetRestorePosition, (long* left, long* top, long* width, long* height), (left, top, width, height))
    TVSIM_FORWARD_VIDEO_WINDOW(HideCursor, (long hide), (hide))
    TVSIM_FORWARD_VIDEO_WINDOW(IsCursorHidden, (long* hidden), (hidden))

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == IID_IGraphBuilder) return static_cast<IGraphBuilder*>(this);
        if (iid == IID_IFilterGraph) return static_cast<IFilterGraph*>(this);
        if (iid == IID_IMediaEvent) return static_cast<IMediaEvent*>(this);
        if (iid == IID_IPersist) return static_cast<IPersist*>(static_cast<IMediaFilter*>(this));
        if (iid == IID_IDispatch) return static_cast<IDispatch*>(static_cast<IMediaControl*>(this));
        return nullptr;
    }

private:
    struct Entry {
        ComPtr<IBaseFilter> filter;
        qis::String name;
    };

    int indexOf(IBaseFilter* filter) const {
        for (std::size_t i = 0; i < filters_.size(); ++i)
            if (filters_[i].filter.get() == filter) return static_cast<int>(i);
        return -1;
    }

    int findByName(const qis::String& name) const {
        for (std::size_t i = 0; i < filters_.size(); ++i)
            if (filters_[i].name == name) return static_cast<int>(i);
        return -1;
    }

    bool inGraph(IPin* pin) const {
        tunekit::PinInfo info;
        if (!pin || FAILED(pin->QueryPinInfo(info.put()))) return false;
        return indexOf(info->pFilter) >= 0;
    }

    HRESULT connectDirect(IPin* out, IPin* in, const AM_MEDIA_TYPE* type) {
        if (!out || !in) return E_POINTER;
        if (!inGraph(out) || !inGraph(in)) return VFW_E_NOT_IN_GRAPH;
        if (state_ != State_Stopped) return VFW_E_NOT_STOPPED;
        PIN_DIRECTION outDirection = PINDIR_INPUT, inDirection = PINDIR_OUTPUT;
        out->QueryDirection(&outDirection);
        in->QueryDirection(&inDirection);
        if (outDirection != PINDIR_OUTPUT || inDirection != PINDIR_INPUT) return VFW_E_INVALID_DIRECTION;
        return out->Connect(in, type);
    }

    static bool noCommonType(HRESULT hr) { return hr == VFW_E_NO_ACCEPTABLE_TYPES || hr == VFW_E_TYPE_NOT_ACCEPTED; }

    static ComPtr<IPin> firstPin(IBaseFilter* filter, PIN_DIRECTION wanted) {
        ComPtr<IEnumPins> pins;
        if (FAILED(filter->EnumPins(pins.put()))) return ComPtr<IPin>();
        for (ComPtr<IPin> pin; pins->Next(1, pin.put(), nullptr) == S_OK;) {
            PIN_DIRECTION direction;
            if (SUCCEEDED(pin->QueryDirection(&direction)) && direction == wanted) return pin;
        }
        return ComPtr<IPin>();
    }

    HRESULT connectThroughConverter(IPin* out, IPin* in) {
        for (const auto& spec : Simulation::current().scenario().converters) {
            ComPtr<IBaseFilter> converter = createConverter(spec);
            if (FAILED(AddFilter(converter.get(), spec.name.wide().c_str()))) continue;
            const ComPtr<IPin> converterIn = firstPin(converter.get(), PINDIR_INPUT);
            const ComPtr<IPin> converterOut = firstPin(converter.get(), PINDIR_OUTPUT);
            if (SUCCEEDED(connectDirect(out, converterIn.get(), nullptr)) &&
                SUCCEEDED(connectDirect(converterOut.get(), in, nullptr)))
                return S_OK;
            RemoveFilter(converter.get());
        }
        return VFW_E_CANNOT_CONNECT;
    }

    // Builds the chain from an output pin to a renderer: video to a new video renderer, audio to
    // the audio renderer, through a converter where the renderer does not take the type itself.
    HRESULT render(IPin* out, int depth = 0) {
        if (!out) return E_POINTER;
        if (depth > 8) return VFW_E_CANNOT_RENDER;
        if (!inGraph(out)) return VFW_E_NOT_IN_GRAPH;
        ComPtr<IPin> peer;
        if (SUCCEEDED(out->ConnectedTo(peer.put()))) return VFW_E_ALREADY_CONNECTED;
        ComPtr<IEnumMediaTypes> types;
        if (FAILED(out->EnumMediaTypes(types.put()))) return VFW_E_CANNOT_RENDER;
        bool video = false, audio = false, sections = false, transport = false;
        for (tunekit::MediaTypePtr type; types->Next(1, type.put(), nullptr) == S_OK;) {
            video = video || type->majortype == MEDIATYPE_Video;
            audio = audio || type->majortype == MEDIATYPE_Audio;
            sections = sections || type->majortype == MEDIATYPE_MPEG2_SECTIONS;
            transport = transport || (type->majortype == MEDIATYPE_Stream && isTransportStream(type->subtype));
        }
        if (sections && !video && !audio) return renderSections(out);
        if (!video && !audio) return renderStream(out, transport, depth);
        ComPtr<IBaseFilter> renderer;
        HRESULT hr = Simulation::current().createInstance(video ? CLSID_VideoRenderer : CLSID_DSoundRender, nullptr,
                                                          CLSCTX_INPROC_SERVER, IID_PPV_ARGS(renderer.put()));
        if (FAILED(hr)) return hr;
        hr = AddFilter(renderer.get(), video ? L"Video Renderer" : L"Default DirectSound Device");
        if (FAILED(hr)) return hr;
        const ComPtr<IPin> input = firstPin(renderer.get(), PINDIR_INPUT);
        hr = input ? connectDirect(out, input.get(), nullptr) : VFW_E_CANNOT_RENDER;
        if (noCommonType(hr)) hr = connectThroughConverter(out, input.get());
        if (FAILED(hr)) {
            RemoveFilter(renderer.get());
            return VFW_E_CANNOT_RENDER;
        }
        return S_OK;
    }

    // Any other stream goes to a free input of a filter already in the graph, a transport stream
    // else to a new MPEG-2 demultiplexer, and what that filter puts out is
    // rendered in turn, as the system's intelligent connect does.
    static bool isTransportStream(const GUID& subtype) {
        return subtype == MEDIASUBTYPE_MPEG2_TRANSPORT || subtype == MEDIASUBTYPE_MPEG2_TRANSPORT_STRIDE || subtype == kBdaTransport;
    }

    HRESULT renderStream(IPin* out, bool transport, int depth) {
        tunekit::PinInfo info;
        if (FAILED(out->QueryPinInfo(info.put()))) return VFW_E_CANNOT_RENDER;
        const ComPtr<IBaseFilter> source = info.held();
        const std::vector<Entry> candidates = filters_;
        for (const auto& entry : candidates) {
            if (entry.filter.get() == source.get()) continue;
            if (SUCCEEDED(connectToFreeInput(out, entry.filter.get()))) return renderOutputs(entry.filter.get(), depth);
        }
        if (!transport) return VFW_E_CANNOT_RENDER;
        ComPtr<IBaseFilter> demux;
        if (FAILED(Simulation::current().createInstance(CLSID_MPEG2Demultiplexer, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(demux.put()))) ||
            FAILED(AddFilter(demux.get(), L"MPEG-2 Demultiplexer")))
            return VFW_E_CANNOT_RENDER;
        if (FAILED(connectToFreeInput(out, demux.get()))) {
            RemoveFilter(demux.get());
            return VFW_E_CANNOT_RENDER;
        }
        return renderOutputs(demux.get(), depth);
    }

    HRESULT connectToFreeInput(IPin* out, IBaseFilter* filter) {
        ComPtr<IEnumPins> pins;
        if (FAILED(filter->EnumPins(pins.put()))) return VFW_E_CANNOT_CONNECT;
        for (ComPtr<IPin> pin; pins->Next(1, pin.put(), nullptr) == S_OK;) {
            PIN_DIRECTION direction;
            ComPtr<IPin> peer;
            if (FAILED(pin->QueryDirection(&direction)) || direction != PINDIR_INPUT || SUCCEEDED(pin->ConnectedTo(peer.put()))) continue;
            if (SUCCEEDED(connectDirect(out, pin.get(), nullptr))) return S_OK;
        }
        return VFW_E_CANNOT_CONNECT;
    }

    // Renders every free output of `filter`; some streams that cannot be rendered make it partial.
    HRESULT renderOutputs(IBaseFilter* filter, int depth) {
        std::vector<ComPtr<IPin>> outputs;
        ComPtr<IEnumPins> pins;
        if (SUCCEEDED(filter->EnumPins(pins.put())))
            for (ComPtr<IPin> pin; pins->Next(1, pin.put(), nullptr) == S_OK;) {
                PIN_DIRECTION direction;
                ComPtr<IPin> peer;
                if (SUCCEEDED(pin->QueryDirection(&direction)) && direction == PINDIR_OUTPUT && FAILED(pin->ConnectedTo(peer.put())))
                    outputs.push_back(pin);
            }
        int rendered = 0;
        for (const auto& pin : outputs)
            if (SUCCEEDED(render(pin.get(), depth + 1))) ++rendered;
        return rendered == static_cast<int>(outputs.size()) ? S_OK : VFW_S_PARTIAL_RENDER;
    }

    // Tables end in a transport-information filter of the system's BDA category, as the system's
    // graph manager finds one among the registered filters.
    HRESULT renderSections(IPin* out) {
        Simulation& simulation = Simulation::current();
        const auto& categories = simulation.scenario().categories;
        const auto found = categories.find("BDATransportInformation");
        if (found == categories.end()) return VFW_E_CANNOT_RENDER;
        for (const auto& device : found->second) {
            const qis::String name = device.friendlyName.value_or("BDA MPEG2 Transport Information Filter");
            ComPtr<IBaseFilter> filter = createScenarioFilter(simulation, device.filter, name);
            if (!filter || FAILED(AddFilter(filter.get(), name.wide().c_str()))) continue;
            const ComPtr<IPin> input = firstPin(filter.get(), PINDIR_INPUT);
            if (input && SUCCEEDED(connectDirect(out, input.get(), nullptr))) return S_OK;
            RemoveFilter(filter.get());
        }
        return VFW_E_CANNOT_RENDER;
    }

    HRESULT changeState(FILTER_STATE to) {
        // Stopped to running passes through paused, as in the system graph manager.
        if (to == State_Running && state_ == State_Stopped) {
            const HRESULT paused = changeState(State_Paused);
            if (FAILED(paused)) return paused;
        }
        for (auto& entry : filters_) {
            const HRESULT hr = to == State_Running ? entry.filter->Run(0)
                               : to == State_Paused ? entry.filter->Pause()
                                                    : entry.filter->Stop();
            if (FAILED(hr)) return hr;
        }
        state_ = to;
        return S_OK;
    }

    ComPtr<IVideoWindow> videoWindow() const {
        for (const auto& entry : filters_) {
            ComPtr<IVideoWindow> window;
            if (SUCCEEDED(entry.filter->QueryInterface(IID_PPV_ARGS(window.put())))) return window;
        }
        return ComPtr<IVideoWindow>();
    }

    void postNotification() {
        if (notifyWindow_) PostMessageW(notifyWindow_, notifyMessage_, 0, notifyInstance_);
    }

    // Disconnects every pin of the filter (both sides) and takes it out of the graph.
    void detach(const ComPtr<IBaseFilter>& filter) {
        ComPtr<IEnumPins> pins;
        if (SUCCEEDED(filter->EnumPins(pins.put())) && pins) {
            for (ComPtr<IPin> pin; pins->Next(1, pin.put(), nullptr) == S_OK;) {
                ComPtr<IPin> peer;
                if (SUCCEEDED(pin->ConnectedTo(peer.put())) && peer) peer->Disconnect();
                pin->Disconnect();
                // A filter left running by a failed (injected) Stop refuses to disconnect; the
                // connection is dropped all the same, so that what was tested is the failure
                // and not a reference cycle between pins.
                if (auto* simPin = dynamic_cast<SimPin*>(pin.get())) simPin->breakConnection();
                if (auto* simPeer = dynamic_cast<SimPin*>(peer.get())) simPeer->breakConnection();
            }
        }
        filter->JoinFilterGraph(nullptr, nullptr);
    }

    void removeAll() {
        if (state_ != State_Stopped) changeState(State_Stopped);
        while (!filters_.empty()) {
            detach(filters_.back().filter);
            filters_.pop_back();
        }
    }

    std::vector<Entry> filters_;
    FILTER_STATE state_ = State_Stopped;
    std::deque<GraphEvent> events_;
    HWND notifyWindow_ = nullptr;
    UINT notifyMessage_ = 0;
    LONG_PTR notifyInstance_ = 0;
    long notifyFlags_ = 0;
};

} // namespace

ComPtr<IUnknown> createFilterGraph(Simulation&) {
    ComPtr<FilterGraph> graph = make<FilterGraph>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IFilterGraph2*>(graph.get())));
}

} // namespace tvsim

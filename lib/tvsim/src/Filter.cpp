#include "tvsim/Filter.h"

#include <cstring>

namespace tvsim {
namespace {

using tunekit::ComPtr;

// Enumerator of COM items over a snapshot; Next hands out AddRef'd items and S_FALSE at the end.
template <class Enum, class Item>
class ItemEnumerator final : public SimObject<Enum> {
public:
    ItemEnumerator(qis::String name, std::vector<ComPtr<Item>> items, std::size_t position = 0)
        : SimObject<Enum>(std::move(name)), items_(std::move(items)), position_(position) {}

    STDMETHODIMP Next(ULONG count, Item** out, ULONG* fetched) override {
        return this->call("Next", [&] {
            if (!out || (count > 1 && !fetched)) return E_POINTER;
            ULONG n = 0;
            while (n < count && position_ < items_.size()) {
                out[n] = items_[position_++].get();
                out[n]->AddRef();
                ++n;
            }
            if (fetched) *fetched = n;
            return n == count ? S_OK : S_FALSE;
        });
    }
    STDMETHODIMP Skip(ULONG count) override {
        const std::size_t left = items_.size() - position_;
        position_ += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    STDMETHODIMP Reset() override {
        position_ = 0;
        return S_OK;
    }
    STDMETHODIMP Clone(Enum** out) override {
        if (!out) return E_POINTER;
        *out = new ItemEnumerator(this->simName(), items_, position_);
        return S_OK;
    }

private:
    std::vector<ComPtr<Item>> items_;
    std::size_t position_;
};

class MediaTypeEnumerator final : public SimObject<IEnumMediaTypes> {
public:
    MediaTypeEnumerator(qis::String name, std::vector<MediaType> types, std::size_t position = 0)
        : SimObject(std::move(name)), types_(std::move(types)), position_(position) {}

    STDMETHODIMP Next(ULONG count, AM_MEDIA_TYPE** out, ULONG* fetched) override {
        return call("Next", [&] {
            if (!out || (count > 1 && !fetched)) return E_POINTER;
            ULONG n = 0;
            while (n < count && position_ < types_.size()) {
                out[n] = types_[position_++].allocate();
                if (!out[n]) return E_OUTOFMEMORY;
                ++n;
            }
            if (fetched) *fetched = n;
            return n == count ? S_OK : S_FALSE;
        });
    }
    STDMETHODIMP Skip(ULONG count) override {
        const std::size_t left = types_.size() - position_;
        position_ += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    STDMETHODIMP Reset() override {
        position_ = 0;
        return S_OK;
    }
    STDMETHODIMP Clone(IEnumMediaTypes** out) override {
        if (!out) return E_POINTER;
        *out = new MediaTypeEnumerator(simName(), types_, position_);
        return S_OK;
    }

private:
    std::vector<MediaType> types_;
    std::size_t position_;
};

} // namespace

LPWSTR taskMemString(const qis::String& text) {
    const std::wstring wide = text.wide();
    auto* copy = static_cast<LPWSTR>(CoTaskMemAlloc((wide.size() + 1) * sizeof(wchar_t)));
    if (copy) std::memcpy(copy, wide.c_str(), (wide.size() + 1) * sizeof(wchar_t));
    return copy;
}

ComPtr<IEnumPins> makePinEnumerator(qis::String name, std::vector<ComPtr<IPin>> pins) {
    return make<ItemEnumerator<IEnumPins, IPin>>(std::move(name), std::move(pins));
}
ComPtr<IEnumMediaTypes> makeMediaTypeEnumerator(qis::String name, std::vector<MediaType> types) {
    return make<MediaTypeEnumerator>(std::move(name), std::move(types));
}
ComPtr<IEnumFilters> makeFilterEnumerator(qis::String name, std::vector<ComPtr<IBaseFilter>> filters) {
    return make<ItemEnumerator<IEnumFilters, IBaseFilter>>(std::move(name), std::move(filters));
}
ComPtr<IEnumMoniker> makeMonikerEnumerator(qis::String name, std::vector<ComPtr<IMoniker>> monikers) {
    return make<ItemEnumerator<IEnumMoniker, IMoniker>>(std::move(name), std::move(monikers));
}

// ---- pins ------------------------------------------------------------------------------------

SimPin::SimPin(SimFilter& owner, qis::String name, PIN_DIRECTION direction, std::vector<MediaType> types, const GUID* category)
    : owner_(owner), name_(std::move(name)), direction_(direction), types_(std::move(types)), category_(category ? *category : GUID_NULL) {}

qis::String SimPin::journalName() const { return owner_.simName() + "." + name_; }

STDMETHODIMP SimPin::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid == IID_IUnknown || iid == IID_IPin) *object = static_cast<IPin*>(this);
    else if (iid == IID_IKsPropertySet) *object = static_cast<IKsPropertySet*>(this);
    for (const auto& [exposedIid, pointer] : exposed_)
        if (!*object && iid == exposedIid) *object = pointer;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) SimPin::AddRef() { return owner_.AddRef(); }
STDMETHODIMP_(ULONG) SimPin::Release() { return owner_.Release(); }

bool SimPin::accepts(const AM_MEDIA_TYPE* type) const {
    for (const auto& mine : types_)
        if (mine.matches(type)) return true;
    return false;
}

void SimPin::breakConnection() {
    connected_.reset();
    connectionType_ = MediaType();
}

STDMETHODIMP SimPin::Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) {
    return journaledCall(journalName(), "Connect", [&]() -> HRESULT {
        if (!receivePin) return E_POINTER;
        if (direction_ != PINDIR_OUTPUT) return E_UNEXPECTED;
        if (connected_) return VFW_E_ALREADY_CONNECTED;
        if (owner_.state() != State_Stopped) return VFW_E_NOT_STOPPED;
        for (const auto& candidate : types_) {
            if (!candidate.matches(type)) continue;
            AM_MEDIA_TYPE offered;
            if (FAILED(candidate.copyTo(offered))) return E_OUTOFMEMORY;
            const HRESULT hr = receivePin->ReceiveConnection(this, &offered);
            freeMediaType(offered);
            if (SUCCEEDED(hr)) {
                connected_ = ComPtr<IPin>(receivePin);
                connectionType_ = candidate;
                return S_OK;
            }
        }
        return VFW_E_NO_ACCEPTABLE_TYPES;
    });
}

STDMETHODIMP SimPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    return journaledCall(journalName(), "ReceiveConnection", [&]() -> HRESULT {
        if (!connector || !type) return E_POINTER;
        if (direction_ != PINDIR_INPUT) return E_UNEXPECTED;
        if (connected_) return VFW_E_ALREADY_CONNECTED;
        if (owner_.state() != State_Stopped) return VFW_E_NOT_STOPPED;
        if (!accepts(type)) return VFW_E_TYPE_NOT_ACCEPTED;
        connected_ = ComPtr<IPin>(connector);
        connectionType_ = MediaType::from(*type);
        return S_OK;
    });
}

STDMETHODIMP SimPin::Disconnect() {
    return journaledCall(journalName(), "Disconnect", [&]() -> HRESULT {
        if (owner_.state() != State_Stopped) return VFW_E_NOT_STOPPED;
        if (!connected_) return S_FALSE;
        breakConnection();
        return S_OK;
    });
}

STDMETHODIMP SimPin::ConnectedTo(IPin** pin) {
    return journaledCallOut(journalName(), "ConnectedTo", pin, [&]() -> HRESULT {
        if (!connected_) return VFW_E_NOT_CONNECTED;
        *pin = connected_.get();
        (*pin)->AddRef();
        return S_OK;
    });
}

STDMETHODIMP SimPin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    return journaledCall(journalName(), "ConnectionMediaType", [&]() -> HRESULT {
        if (!type) return E_POINTER;
        if (!connected_) {
            ZeroMemory(type, sizeof(*type));
            return VFW_E_NOT_CONNECTED;
        }
        return connectionType_.copyTo(*type);
    });
}

STDMETHODIMP SimPin::QueryPinInfo(PIN_INFO* info) {
    return journaledCall(journalName(), "QueryPinInfo", [&]() -> HRESULT {
        if (!info) return E_POINTER;
        info->pFilter = &owner_;
        owner_.AddRef();
        info->dir = direction_;
        const std::wstring name = name_.wide();
        wcsncpy_s(info->achName, MAX_PIN_NAME, name.c_str(), _TRUNCATE);
        return S_OK;
    });
}

STDMETHODIMP SimPin::QueryDirection(PIN_DIRECTION* direction) {
    if (!direction) return E_POINTER;
    *direction = direction_;
    return S_OK;
}

STDMETHODIMP SimPin::QueryId(LPWSTR* id) {
    if (!id) return E_POINTER;
    *id = taskMemString(name_);
    return *id ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP SimPin::QueryAccept(const AM_MEDIA_TYPE* type) { return accepts(type) ? S_OK : S_FALSE; }

STDMETHODIMP SimPin::EnumMediaTypes(IEnumMediaTypes** types) {
    return journaledCallOut(journalName(), "EnumMediaTypes", types, [&]() -> HRESULT {
        *types = makeMediaTypeEnumerator(journalName() + ".MediaTypes", types_).detach();
        return S_OK;
    });
}

STDMETHODIMP SimPin::QueryInternalConnections(IPin**, ULONG*) { return E_NOTIMPL; }

STDMETHODIMP SimPin::Get(REFGUID set, DWORD id, LPVOID, DWORD, LPVOID data, DWORD dataSize, DWORD* returned) {
    if (set != AMPROPSETID_Pin) return E_PROP_SET_UNSUPPORTED;
    if (id != AMPROPERTY_PIN_CATEGORY || category_ == GUID_NULL) return E_PROP_ID_UNSUPPORTED;
    if (!data) return E_POINTER;
    if (dataSize < sizeof(GUID)) return E_UNEXPECTED;
    *static_cast<GUID*>(data) = category_;
    if (returned) *returned = sizeof(GUID);
    return S_OK;
}

STDMETHODIMP SimPin::QuerySupported(REFGUID set, DWORD id, DWORD* support) {
    if (set != AMPROPSETID_Pin) return E_PROP_SET_UNSUPPORTED;
    if (id != AMPROPERTY_PIN_CATEGORY) return E_PROP_ID_UNSUPPORTED;
    if (support) *support = KSPROPERTY_SUPPORT_GET;
    return S_OK;
}

namespace {

template <class Source>
const Source* upstreamSource(const SimPin& pin) {
    const auto* peer = dynamic_cast<const SimPin*>(pin.peer());
    for (int hops = 0; peer && hops < 16; ++hops) {
        SimFilter& filter = peer->owner();
        if (const auto* source = dynamic_cast<const Source*>(&filter)) return source;
        // A pass-through filter (tee, mux): continue at its first connected input.
        const SimPin* input = nullptr;
        for (const auto& candidate : filter.pins())
            if (candidate->direction() == PINDIR_INPUT && candidate->isConnected()) input = candidate.get();
        peer = input ? dynamic_cast<const SimPin*>(input->peer()) : nullptr;
    }
    return nullptr;
}

} // namespace

const PictureSource* upstreamPicture(const SimPin& pin) { return upstreamSource<PictureSource>(pin); }
const TransportSource* upstreamTransport(const SimPin& pin) { return upstreamSource<TransportSource>(pin); }

// ---- filters -----------------------------------------------------------------------------------

SimFilter::SimFilter(qis::String name, const CLSID& clsid) : SimObject(std::move(name)), clsid_(clsid) {}

SimFilter::~SimFilter() = default;

SimPin& SimFilter::addPin(qis::String name, PIN_DIRECTION direction, std::vector<MediaType> types, const GUID* category) {
    pins_.push_back(std::make_unique<SimPin>(*this, std::move(name), direction, std::move(types), category));
    return *pins_.back();
}

SimPin* SimFilter::findPin(const qis::String& name) const {
    for (const auto& pin : pins_)
        if (pin->name() == name) return pin.get();
    return nullptr;
}

void* SimFilter::extraInterface(REFIID iid) {
    if (iid == IID_IPersist) return static_cast<IPersist*>(this);
    if (iid == IID_IMediaFilter) return static_cast<IMediaFilter*>(this);
    return nullptr;
}

STDMETHODIMP SimFilter::GetClassID(CLSID* clsid) {
    if (!clsid) return E_POINTER;
    *clsid = clsid_;
    return S_OK;
}

HRESULT SimFilter::changeState(const char* method, FILTER_STATE to) {
    return call(method, [&] {
        const FILTER_STATE from = state_;
        state_ = to;
        if (from != to) stateChanged(from, to);
        return S_OK;
    });
}

STDMETHODIMP SimFilter::Stop() { return changeState("Stop", State_Stopped); }
STDMETHODIMP SimFilter::Pause() { return changeState("Pause", State_Paused); }
STDMETHODIMP SimFilter::Run(REFERENCE_TIME) { return changeState("Run", State_Running); }

STDMETHODIMP SimFilter::GetState(DWORD, FILTER_STATE* state) {
    if (!state) return E_POINTER;
    *state = state_;
    return S_OK;
}

STDMETHODIMP SimFilter::SetSyncSource(IReferenceClock* clock) {
    clock_ = ComPtr<IReferenceClock>(clock);
    return S_OK;
}

STDMETHODIMP SimFilter::GetSyncSource(IReferenceClock** clock) {
    if (!clock) return E_POINTER;
    *clock = clock_.get();
    if (*clock) (*clock)->AddRef();
    return S_OK;
}

STDMETHODIMP SimFilter::EnumPins(IEnumPins** pins) {
    return callOut("EnumPins", pins, [&] {
        std::vector<ComPtr<IPin>> list;
        for (const auto& pin : pins_) list.emplace_back(pin.get());
        *pins = makePinEnumerator(simName() + ".Pins", std::move(list)).detach();
        return S_OK;
    });
}

STDMETHODIMP SimFilter::FindPin(LPCWSTR id, IPin** pin) {
    return callOut("FindPin", pin, [&]() -> HRESULT {
        if (!id) return E_POINTER;
        SimPin* found = findPin(qis::String(id));
        if (!found) return VFW_E_NOT_FOUND;
        *pin = found;
        found->AddRef();
        return S_OK;
    }, Arguments().with("id", qis::String(id ? id : L"")));
}

STDMETHODIMP SimFilter::QueryFilterInfo(FILTER_INFO* info) {
    return call("QueryFilterInfo", [&]() -> HRESULT {
        if (!info) return E_POINTER;
        const std::wstring name = nameInGraph_.wide();
        wcsncpy_s(info->achName, MAX_FILTER_NAME, name.c_str(), _TRUNCATE);
        info->pGraph = graph_;
        if (graph_) graph_->AddRef();
        return S_OK;
    });
}

STDMETHODIMP SimFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    return call("JoinFilterGraph", [&] {
        graph_ = graph;
        nameInGraph_ = graph && name ? qis::String(name) : qis::String();
        return S_OK;
    }, Arguments().with("name", qis::String(name ? name : L"")));
}

STDMETHODIMP SimFilter::QueryVendorInfo(LPWSTR*) { return E_NOTIMPL; }

} // namespace tvsim

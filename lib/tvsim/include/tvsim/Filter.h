#pragma once
// A simulated DirectShow filter with its pins. Pins share their filter's reference count, as
// DirectShow's own pins do, so a pin kept by somebody keeps its filter alive.

#include <vector>

#include "tvsim/MediaType.h"
#include "tvsim/SimObject.h"

namespace tvsim {

class SimFilter;

class SimPin final : public IPin, public IKsPropertySet {
public:
    // `category` is the pin category (PIN_CATEGORY_CAPTURE, ...) or null for none.
    SimPin(SimFilter& owner, qis::String name, PIN_DIRECTION direction, std::vector<MediaType> types,
           const GUID* category = nullptr);

    const qis::String& name() const { return name_; }
    PIN_DIRECTION direction() const { return direction_; }
    const GUID& category() const { return category_; }
    bool isConnected() const { return static_cast<bool>(connected_); }
    IPin* peer() const { return connected_.get(); }
    SimFilter& owner() const { return owner_; }
    const std::vector<MediaType>& types() const { return types_; }
    const MediaType& connectionType() const { return connectionType_; }
    // Drops the connection on this side only (the graph disconnects both sides).
    void breakConnection();
    // Answers QueryInterface for `iid` on this pin with an interface the owning filter
    // implements (IAMStreamConfig on a capture pin, say).
    void expose(REFIID iid, void* interfacePointer) { exposed_.emplace_back(iid, interfacePointer); }

    // IUnknown: delegated to the filter.
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    // IPin
    STDMETHODIMP Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP ConnectedTo(IPin** pin) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* type) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* info) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* direction) override;
    STDMETHODIMP QueryId(LPWSTR* id) override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** types) override;
    STDMETHODIMP QueryInternalConnections(IPin** pins, ULONG* count) override;
    STDMETHODIMP EndOfStream() override { return S_OK; }
    STDMETHODIMP BeginFlush() override { return S_OK; }
    STDMETHODIMP EndFlush() override { return S_OK; }
    STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return S_OK; }

    // IKsPropertySet: the pin category, which is how the capture graph builder finds pins.
    STDMETHODIMP Set(REFGUID, DWORD, LPVOID, DWORD, LPVOID, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Get(REFGUID set, DWORD id, LPVOID instance, DWORD instanceSize, LPVOID data, DWORD dataSize,
                     DWORD* returned) override;
    STDMETHODIMP QuerySupported(REFGUID set, DWORD id, DWORD* support) override;

private:
    qis::String journalName() const;
    bool accepts(const AM_MEDIA_TYPE* type) const;

    SimFilter& owner_;
    qis::String name_;
    PIN_DIRECTION direction_;
    std::vector<MediaType> types_;
    GUID category_ = GUID_NULL;
    tunekit::ComPtr<IPin> connected_;
    MediaType connectionType_;
    std::vector<std::pair<IID, void*>> exposed_;
};

// What a filter shows downstream: whether the stream carries a picture now and what it says
// (the tuned channel, say). Renderers and writers ask their upstream filter through this.
class PictureSource {
public:
    virtual ~PictureSource() = default;
    virtual bool hasPicture() const = 0;
    virtual qis::String pictureLabel() const = 0;
};

// A filter that delivers an MPEG-2 transport stream (a tuned BDA tuner): the channel it is on
// while that channel carries a stream, and a count that changes with every new tuning.
struct DigitalChannelSpec;
class TransportSource {
public:
    virtual ~TransportSource() = default;
    virtual const DigitalChannelSpec* currentStream() const = 0;
    virtual unsigned long tuning() const = 0;
};

// The picture source feeding `pin` (an input pin), following pass-through filters upstream;
// null when the pin is not connected to one.
const PictureSource* upstreamPicture(const SimPin& pin);
// The same for a transport-stream source.
const TransportSource* upstreamTransport(const SimPin& pin);

class SimFilter : public SimObject<IBaseFilter> {
public:
    SimFilter(qis::String name, const CLSID& clsid);
    ~SimFilter() override;

    SimPin& addPin(qis::String name, PIN_DIRECTION direction, std::vector<MediaType> types, const GUID* category = nullptr);
    const std::vector<std::unique_ptr<SimPin>>& pins() const { return pins_; }
    SimPin* findPin(const qis::String& name) const;
    FILTER_STATE state() const { return state_; }
    IFilterGraph* graph() const { return graph_; }
    const qis::String& nameInGraph() const { return nameInGraph_; }

    // IPersist
    STDMETHODIMP GetClassID(CLSID* clsid) override;
    // IMediaFilter
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    STDMETHODIMP GetState(DWORD timeout, FILTER_STATE* state) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* clock) override;
    STDMETHODIMP GetSyncSource(IReferenceClock** clock) override;
    // IBaseFilter
    STDMETHODIMP EnumPins(IEnumPins** pins) override;
    STDMETHODIMP FindPin(LPCWSTR id, IPin** pin) override;
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override;
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
    STDMETHODIMP QueryVendorInfo(LPWSTR* info) override;

protected:
    void* extraInterface(REFIID iid) override;
    // A state change the subclass reacts to (a renderer starts counting frames, ...).
    virtual void stateChanged(FILTER_STATE /*from*/, FILTER_STATE /*to*/) {}

private:
    HRESULT changeState(const char* method, FILTER_STATE to);

    CLSID clsid_;
    std::vector<std::unique_ptr<SimPin>> pins_;
    FILTER_STATE state_ = State_Stopped;
    IFilterGraph* graph_ = nullptr; // not referenced: the graph holds the filter
    qis::String nameInGraph_;
    tunekit::ComPtr<IReferenceClock> clock_;
};

// IEnumPins / IEnumMediaTypes / IEnumFilters / IEnumMoniker over a snapshot, with S_FALSE ends.
template <class Enum, class Item>
class SimEnumerator;

tunekit::ComPtr<IEnumPins> makePinEnumerator(qis::String name, std::vector<tunekit::ComPtr<IPin>> pins);
tunekit::ComPtr<IEnumMediaTypes> makeMediaTypeEnumerator(qis::String name, std::vector<MediaType> types);
tunekit::ComPtr<IEnumFilters> makeFilterEnumerator(qis::String name, std::vector<tunekit::ComPtr<IBaseFilter>> filters);
tunekit::ComPtr<IEnumMoniker> makeMonikerEnumerator(qis::String name, std::vector<tunekit::ComPtr<IMoniker>> monikers);

// A copy of `text` from CoTaskMemAlloc, as QueryId and QueryVendorInfo hand out.
LPWSTR taskMemString(const qis::String& text);

} // namespace tvsim

// The BDA filters: network providers (the generic one a device moniker binds, and the ATSC QAM
// and DVB-T providers created by class), the tuner, receiver and transport-information filters.
// The provider keeps the tune request it was given; the tuner downstream of it judges that
// request against what the scenario says it receives, and everything further down (pictures,
// transport-stream samples, signal statistics) follows from that judgement.
#include <algorithm>
#include <cstring>

#include "tvsim/Bda.h"
#include "tvsim/Filter.h"

namespace tvsim {
namespace {

using tunekit::ComPtr;

// The antenna connection between a network provider and a tuner (bdamedia.h).
constexpr GUID kBdaAntenna = {0x71985F41, 0x1CA1, 0x11D3, {0x9C, 0xC8, 0x00, 0xC0, 0x4F, 0x79, 0x71, 0xE0}};
// Class ids the kernel-streaming proxy reports for BDA device filters (none is created by class).
constexpr CLSID kKsProxy = {0x17CCA71B, 0xECD7, 0x11D0, {0xB9, 0x08, 0x00, 0xA0, 0xC9, 0x22, 0x31, 0x96}};
// Node types of the virtual tuner's topology: the RF tuner and the demodulator.
constexpr ULONG kTunerNode = 0;
constexpr ULONG kDemodulatorNode = 1;

MediaType streamType(const GUID& major, const GUID& subtype) {
    MediaType type;
    type.major = major;
    type.subtype = subtype;
    return type;
}

std::vector<MediaType> transportTypes() {
    return {streamType(MEDIATYPE_Stream, kBdaTransport), streamType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT)};
}

qis::String listText(const ULONG* values, ULONG count) {
    qis::String text;
    for (ULONG i = 0; i < count; ++i) text += (i ? qis::String(",") : qis::String()) + qis::String::number(static_cast<unsigned long>(values[i]));
    return text;
}

// A copy of `values` from CoTaskMemAlloc that the caller frees, as IFrequencyMap hands out lists.
HRESULT taskMemList(const std::vector<unsigned long>& values, ULONG* count, ULONG** list) {
    if (!count || !list) return E_POINTER;
    *count = 0;
    *list = nullptr;
    if (values.empty()) return S_OK;
    auto* block = static_cast<ULONG*>(CoTaskMemAlloc(values.size() * sizeof(ULONG)));
    if (!block) return E_OUTOFMEMORY;
    for (std::size_t i = 0; i < values.size(); ++i) block[i] = static_cast<ULONG>(values[i]);
    *count = static_cast<ULONG>(values.size());
    *list = block;
    return S_OK;
}

enum class ProviderKind { Generic, AtscQam, Dvbt };

class BdaTuner;

class NetworkProvider final : public SimFilter, public ITuner, public IFrequencyMap {
public:
    NetworkProvider(qis::String name, const CLSID& clsid, ProviderKind kind) : SimFilter(std::move(name), clsid), kind_(kind) {
        output_ = &addPin("Antenna Out", PINDIR_OUTPUT, {streamType(kBdaAntenna, GUID_NULL)});
        const auto& maps = Simulation::current().scenario().frequencyMaps;
        if (!maps.empty()) {
            country_ = maps.begin()->first;
            mapping_ = maps.begin()->second;
        }
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return SimFilter::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return SimFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return SimFilter::Release(); }

    const std::optional<TuneSnapshot>& tuned() const { return tuned_; }
    unsigned long tuning() const { return tunings_; }

    // ---- ITuner ----
    STDMETHODIMP get_TuningSpace(ITuningSpace** out) override {
        return callOut("get_TuningSpace", out, [&] {
            *out = ComPtr<ITuningSpace>(space_).detach();
            return *out ? S_OK : S_FALSE;
        });
    }
    STDMETHODIMP put_TuningSpace(ITuningSpace* space) override {
        return call("put_TuningSpace", [&] {
            space_ = ComPtr<ITuningSpace>(space);
            return S_OK;
        });
    }
    STDMETHODIMP EnumTuningSpaces(IEnumTuningSpaces** out) override {
        return callOut("EnumTuningSpaces", out, [&] {
            *out = makeTuningSpaceEnumerator("EnumTuningSpaces", Simulation::current().scenario().tuningSpaces).detach();
            return S_OK;
        });
    }
    // The request as tuned; a provider that locked onto a program fills in its minor channel.
    STDMETHODIMP get_TuneRequest(ITuneRequest** out) override {
        return callOut("get_TuneRequest", out, [&]() -> HRESULT {
            const auto* request = dynamic_cast<const SimTuneRequest*>(request_.get());
            if (!request) return E_FAIL;
            const DigitalChannelSpec* channel = receiving();
            const long minor = channel && channel->minorChannel >= 0 ? channel->minorChannel : tuned_->minorChannel;
            *out = request->withMinorChannel(minor).detach();
            return S_OK;
        });
    }
    STDMETHODIMP put_TuneRequest(ITuneRequest* request) override {
        const auto* simRequest = dynamic_cast<const SimTuneRequest*>(request);
        const std::optional<TuneSnapshot> snapshot = simRequest ? std::optional(simRequest->snapshot()) : std::nullopt;
        return call("put_TuneRequest", [&]() -> HRESULT {
            if (!request) return E_POINTER;
            if (!snapshot || !accepts(*snapshot)) return E_INVALIDARG;
            // The provider keeps its own copy: later changes to the caller's request tune nothing.
            request_ = simRequest->withMinorChannel(snapshot->minorChannel);
            tuned_ = snapshot;
            ++tunings_;
            return S_OK;
        }, snapshot ? snapshot->arguments() : Arguments(request ? "foreign request" : "null"));
    }
    STDMETHODIMP Validate(ITuneRequest* request) override {
        return call("Validate", [&]() -> HRESULT {
            const auto* simRequest = dynamic_cast<const SimTuneRequest*>(request);
            if (!request) return E_POINTER;
            return simRequest && accepts(simRequest->snapshot()) ? S_OK : E_INVALIDARG;
        });
    }
    STDMETHODIMP get_PreferredComponentTypes(IComponentTypes**) override {
        return call("get_PreferredComponentTypes", [] { return E_NOTIMPL; });
    }
    STDMETHODIMP put_PreferredComponentTypes(IComponentTypes*) override {
        return call("put_PreferredComponentTypes", [] { return E_NOTIMPL; });
    }
    STDMETHODIMP get_SignalStrength(LONG* strength) override {
        return call("get_SignalStrength", [&]() -> HRESULT {
            if (!strength) return E_POINTER;
            const DigitalChannelSpec* channel = receiving();
            *strength = channel ? channel->statistics.strength : 0;
            return S_OK;
        });
    }
    STDMETHODIMP TriggerSignalEvents(LONG) override { return call("TriggerSignalEvents", [] { return S_OK; }); }

    // ---- IFrequencyMap (DVB-T provider): lists are the scenario's, by country code ----
    STDMETHODIMP get_FrequencyMapping(ULONG* count, ULONG** list) override {
        return call("get_FrequencyMapping", [&] { return taskMemList(mapping_, count, list); });
    }
    STDMETHODIMP put_FrequencyMapping(ULONG count, ULONG list[]) override {
        return call("put_FrequencyMapping", [&]() -> HRESULT {
            if (count && !list) return E_POINTER;
            mapping_.assign(list, list + count);
            return S_OK;
        }, list ? listText(list, count) : qis::String());
    }
    STDMETHODIMP get_CountryCode(ULONG* code) override {
        return call("get_CountryCode", [&]() -> HRESULT {
            if (!code) return E_POINTER;
            *code = country_;
            return S_OK;
        });
    }
    STDMETHODIMP put_CountryCode(ULONG code) override {
        return call("put_CountryCode", [&]() -> HRESULT {
            const Scenario& scenario = Simulation::current().scenario();
            const auto found = scenario.frequencyMaps.find(code);
            if (!acceptedCountries().count(code)) return E_INVALIDARG;
            country_ = code;
            mapping_ = found == scenario.frequencyMaps.end() ? std::vector<unsigned long>() : found->second;
            return S_OK;
        }, Arguments().with("countryCode", static_cast<long long>(code)));
    }
    STDMETHODIMP get_DefaultFrequencyMapping(ULONG code, ULONG* count, ULONG** list) override {
        return call("get_DefaultFrequencyMapping", [&]() -> HRESULT {
            const auto& maps = Simulation::current().scenario().frequencyMaps;
            const auto found = maps.find(code);
            if (found == maps.end()) {
                if (count) *count = 0;
                if (list) *list = nullptr;
                return E_INVALIDARG;
            }
            return taskMemList(found->second, count, list);
        }, Arguments().with("countryCode", static_cast<long long>(code)));
    }
    STDMETHODIMP get_CountryCodeList(ULONG* count, ULONG** list) override {
        return call("get_CountryCodeList", [&] {
            const Scenario& scenario = Simulation::current().scenario();
            if (scenario.frequencyMapCountries) return taskMemList(*scenario.frequencyMapCountries, count, list);
            std::vector<unsigned long> codes;
            for (const auto& entry : scenario.frequencyMaps) codes.push_back(entry.first);
            return taskMemList(codes, count, list);
        });
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == __uuidof(ITuner)) return static_cast<ITuner*>(this);
        if (iid == __uuidof(IFrequencyMap) && kind_ == ProviderKind::Dvbt) return static_cast<IFrequencyMap*>(this);
        return SimFilter::extraInterface(iid);
    }

private:
    bool accepts(const TuneSnapshot& request) const {
        if (kind_ == ProviderKind::AtscQam) return request.kind == TuneSnapshot::Kind::Atsc;
        if (kind_ == ProviderKind::Dvbt) return request.kind == TuneSnapshot::Kind::Dvb;
        return true;
    }

    const DigitalChannelSpec* receiving() const;

    static std::set<unsigned long> acceptedCountries() {
        const Scenario& scenario = Simulation::current().scenario();
        if (scenario.frequencyMapCountries) return {scenario.frequencyMapCountries->begin(), scenario.frequencyMapCountries->end()};
        std::set<unsigned long> codes;
        for (const auto& entry : scenario.frequencyMaps) codes.insert(entry.first);
        return codes;
    }

    ProviderKind kind_;
    SimPin* output_;
    ComPtr<ITuningSpace> space_;
    ComPtr<ITuneRequest> request_;
    std::optional<TuneSnapshot> tuned_;
    unsigned long tunings_ = 0;
    unsigned long country_ = 0;
    std::vector<unsigned long> mapping_;
};

// Statistics as the tuner reports them for what it is tuned to; a channel it does not receive
// reads as no lock, no signal.
SignalStatistics statisticsOf(const DigitalChannelSpec* channel) { return channel ? channel->statistics : SignalStatistics(); }

// IBDA_SignalStatistics over a function that tells the current statistics. Drivers do not let
// applications set them, so the put_ methods are refused.
template <class Base>
class StatisticsReader : public Base {
public:
    template <class... Args>
    explicit StatisticsReader(Args&&... args) : Base(std::forward<Args>(args)...) {}

    STDMETHODIMP put_SignalStrength(LONG) override { return this->call("put_SignalStrength", [] { return E_NOTIMPL; }); }
    STDMETHODIMP get_SignalStrength(LONG* value) override {
        return read("get_SignalStrength", value, [](const SignalStatistics& s) { return static_cast<LONG>(s.strength); });
    }
    STDMETHODIMP put_SignalQuality(LONG) override { return this->call("put_SignalQuality", [] { return E_NOTIMPL; }); }
    STDMETHODIMP get_SignalQuality(LONG* value) override {
        return read("get_SignalQuality", value, [](const SignalStatistics& s) { return static_cast<LONG>(s.quality); });
    }
    STDMETHODIMP put_SignalPresent(BOOLEAN) override { return this->call("put_SignalPresent", [] { return E_NOTIMPL; }); }
    STDMETHODIMP get_SignalPresent(BOOLEAN* value) override {
        return read("get_SignalPresent", value, [](const SignalStatistics& s) { return static_cast<BOOLEAN>(s.present ? 1 : 0); });
    }
    STDMETHODIMP put_SignalLocked(BOOLEAN) override { return this->call("put_SignalLocked", [] { return E_NOTIMPL; }); }
    STDMETHODIMP get_SignalLocked(BOOLEAN* value) override {
        return read("get_SignalLocked", value, [](const SignalStatistics& s) { return static_cast<BOOLEAN>(s.locked ? 1 : 0); });
    }
    STDMETHODIMP put_SampleTime(LONG) override { return this->call("put_SampleTime", [] { return E_NOTIMPL; }); }
    STDMETHODIMP get_SampleTime(LONG* value) override {
        return read("get_SampleTime", value, [](const SignalStatistics& s) { return static_cast<LONG>(s.sampleTime); });
    }

protected:
    virtual SignalStatistics statistics() const = 0;

private:
    template <class T, class Field>
    HRESULT read(const char* method, T* out, Field field) {
        return this->call(method, [&]() -> HRESULT {
            if (!out) return E_POINTER;
            const auto scripted = Simulation::current().scriptedValue(this->simName(), method);
            *out = scripted ? static_cast<T>(*scripted) : field(statistics());
            return S_OK;
        });
    }
};

class FilterWithStatistics : public SimFilter, public IBDA_SignalStatistics {
public:
    using SimFilter::SimFilter;
};

class BdaTuner final : public StatisticsReader<FilterWithStatistics>, public IBDA_Topology, public PictureSource, public TransportSource {
public:
    BdaTuner(const qis::String& name, const BdaTunerSpec& spec) : StatisticsReader(name, kKsProxy), spec_(spec) {
        input_ = &addPin("Input0", PINDIR_INPUT, {streamType(kBdaAntenna, GUID_NULL)});
        if (spec.outputPins > 1) addPin("Analog Video", PINDIR_OUTPUT, {streamType(MEDIATYPE_AnalogVideo, GUID_NULL)});
        if (spec.outputPins > 0) addPin("MPEG2 Transport", PINDIR_OUTPUT, transportTypes());
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return SimFilter::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return SimFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return SimFilter::Release(); }

    // What the tuner receives now: the provider upstream's request judged against the scenario.
    const DigitalChannelSpec* receiving() const {
        const auto* peer = dynamic_cast<const SimPin*>(input_->peer());
        const auto* provider = peer ? dynamic_cast<const NetworkProvider*>(&peer->owner()) : nullptr;
        if (!provider || !provider->tuned()) return nullptr;
        return receivedChannel(spec_, *provider->tuned());
    }

    // ---- PictureSource / TransportSource ----
    bool hasPicture() const override {
        const DigitalChannelSpec* channel = receiving();
        return channel && channel->picture;
    }
    qis::String pictureLabel() const override {
        const auto* peer = dynamic_cast<const SimPin*>(input_->peer());
        const auto* provider = peer ? dynamic_cast<const NetworkProvider*>(&peer->owner()) : nullptr;
        if (!provider || !provider->tuned()) return qis::String();
        const TuneSnapshot& tuned = *provider->tuned();
        if (tuned.kind == TuneSnapshot::Kind::Dvb) return "DVB-T " + qis::String::number(tuned.frequency) + " kHz";
        if (tuned.physicalChannel > 0) return "ATSC channel " + qis::String::number(tuned.physicalChannel);
        return "QAM " + qis::String::number(tuned.frequency) + " kHz program " + qis::String::number(tuned.program);
    }
    const DigitalChannelSpec* currentStream() const override { return receiving(); }
    unsigned long tuning() const override {
        const auto* peer = dynamic_cast<const SimPin*>(input_->peer());
        const auto* provider = peer ? dynamic_cast<const NetworkProvider*>(&peer->owner()) : nullptr;
        return provider ? provider->tuning() : 0;
    }

    // ---- IBDA_Topology: two nodes; the demodulator carries the signal statistics ----
    STDMETHODIMP GetNodeTypes(ULONG* count, ULONG max, ULONG types[]) override {
        return call("GetNodeTypes", [&]() -> HRESULT {
            if (!count || (max && !types)) return E_POINTER;
            const ULONG nodes[] = {kTunerNode, kDemodulatorNode};
            *count = std::min<ULONG>(2, max);
            std::copy(nodes, nodes + *count, types);
            return S_OK;
        });
    }
    STDMETHODIMP GetNodeDescriptors(ULONG*, ULONG, BDANODE_DESCRIPTOR[]) override {
        return call("GetNodeDescriptors", [] { return E_NOTIMPL; });
    }
    STDMETHODIMP GetNodeInterfaces(ULONG nodeType, ULONG* count, ULONG max, GUID interfaces[]) override {
        return call("GetNodeInterfaces", [&]() -> HRESULT {
            if (!count || (max && !interfaces)) return E_POINTER;
            if (nodeType != kTunerNode && nodeType != kDemodulatorNode) return E_INVALIDARG;
            *count = 0;
            if (nodeType == kDemodulatorNode && max > 0) interfaces[(*count)++] = __uuidof(IBDA_SignalStatistics);
            return S_OK;
        }, qis::String::number(static_cast<unsigned long>(nodeType)));
    }
    STDMETHODIMP GetPinTypes(ULONG* count, ULONG max, ULONG types[]) override {
        return call("GetPinTypes", [&]() -> HRESULT {
            if (!count || (max && !types)) return E_POINTER;
            *count = std::min<ULONG>(2, max);
            for (ULONG i = 0; i < *count; ++i) types[i] = i;
            return S_OK;
        });
    }
    STDMETHODIMP GetTemplateConnections(ULONG*, ULONG, BDA_TEMPLATE_CONNECTION[]) override {
        return call("GetTemplateConnections", [] { return E_NOTIMPL; });
    }
    STDMETHODIMP CreatePin(ULONG, ULONG*) override { return call("CreatePin", [] { return E_NOTIMPL; }); }
    STDMETHODIMP DeletePin(ULONG) override { return call("DeletePin", [] { return E_NOTIMPL; }); }
    STDMETHODIMP SetMediaType(ULONG, AM_MEDIA_TYPE*) override { return call("SetMediaType", [] { return E_NOTIMPL; }); }
    STDMETHODIMP SetMedium(ULONG, REGPINMEDIUM*) override { return call("SetMedium", [] { return E_NOTIMPL; }); }
    STDMETHODIMP CreateTopology(ULONG, ULONG) override { return call("CreateTopology", [] { return S_OK; }); }
    STDMETHODIMP GetControlNode(ULONG inputPin, ULONG outputPin, ULONG nodeType, IUnknown** node) override;

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == __uuidof(IBDA_Topology)) return static_cast<IBDA_Topology*>(this);
        if (iid == __uuidof(IBDA_SignalStatistics) && spec_.statistics == "filter") return static_cast<IBDA_SignalStatistics*>(this);
        return SimFilter::extraInterface(iid);
    }
    SignalStatistics statistics() const override { return statisticsOf(receiving()); }

private:
    BdaTunerSpec spec_;
    SimPin* input_;
};

// The demodulator node: it holds its tuner filter, as a node of a real filter keeps it alive.
class StatisticsNode final : public StatisticsReader<SimObject<IBDA_SignalStatistics>> {
public:
    explicit StatisticsNode(BdaTuner& tuner)
        : StatisticsReader(tuner.simName() + ".Demodulator"), tuner_(static_cast<IBaseFilter*>(&tuner)), owner_(tuner) {}

protected:
    SignalStatistics statistics() const override { return statisticsOf(owner_.receiving()); }

private:
    ComPtr<IBaseFilter> tuner_;
    const BdaTuner& owner_;
};

STDMETHODIMP BdaTuner::GetControlNode(ULONG inputPin, ULONG outputPin, ULONG nodeType, IUnknown** node) {
    return callOut("GetControlNode", node, [&]() -> HRESULT {
        if (inputPin != 0 || outputPin != 1) return E_INVALIDARG;
        if (nodeType == kTunerNode) return E_NOINTERFACE; // no control interface is offered on the RF node
        if (nodeType != kDemodulatorNode) return E_INVALIDARG;
        *node = static_cast<IBDA_SignalStatistics*>(make<StatisticsNode>(*this).detach());
        return S_OK;
    }, qis::String::number(static_cast<unsigned long>(inputPin)) + "," + qis::String::number(static_cast<unsigned long>(outputPin)) + "," +
           qis::String::number(static_cast<unsigned long>(nodeType)));
}

const DigitalChannelSpec* NetworkProvider::receiving() const {
    const auto* peer = dynamic_cast<const SimPin*>(output_->peer());
    const auto* tuner = peer ? dynamic_cast<const BdaTuner*>(&peer->owner()) : nullptr;
    return tuner ? tuner->receiving() : nullptr;
}

// Passes the transport stream of the tuner on (demodulation and the like, not modelled).
class BdaReceiver final : public SimFilter {
public:
    explicit BdaReceiver(const qis::String& name) : SimFilter(name, kKsProxy) {
        addPin("MPEG2 Transport In", PINDIR_INPUT, transportTypes());
        addPin("MPEG2 Transport", PINDIR_OUTPUT, transportTypes());
    }
};

// Takes the tables (PSI/SI sections) the demultiplexer delivers.
class TransportInformation final : public SimFilter {
public:
    explicit TransportInformation(const qis::String& name) : SimFilter(name, kKsProxy) {
        addPin("Input", PINDIR_INPUT, {streamType(MEDIATYPE_MPEG2_SECTIONS, GUID_NULL)});
    }
};

} // namespace

ComPtr<IBaseFilter> createBdaFilter(const qis::String& name, const FilterSpec& spec) {
    if (spec.kind == "networkProvider")
        return ComPtr<IBaseFilter>(static_cast<IBaseFilter*>(make<NetworkProvider>(name, tunekit::CLSID_ATSCQAMNetworkProvider, ProviderKind::Generic).get()));
    if (spec.kind == "bdaTuner" && spec.receives) return ComPtr<IBaseFilter>(static_cast<IBaseFilter*>(make<BdaTuner>(name, *spec.receives).get()));
    if (spec.kind == "bdaReceiver") return ComPtr<IBaseFilter>(make<BdaReceiver>(name));
    if (spec.kind == "bdaTransportInformation") return ComPtr<IBaseFilter>(make<TransportInformation>(name));
    return nullptr;
}

ComPtr<IUnknown> createAtscQamNetworkProvider(Simulation&) {
    return ComPtr<IUnknown>(static_cast<IBaseFilter*>(
        make<NetworkProvider>("ATSCQAMNetworkProvider", tunekit::CLSID_ATSCQAMNetworkProvider, ProviderKind::AtscQam).get()));
}

ComPtr<IUnknown> createDvbtNetworkProvider(Simulation&) {
    return ComPtr<IUnknown>(static_cast<IBaseFilter*>(make<NetworkProvider>("DVBTNetworkProvider", CLSID_DVBTNetworkProvider, ProviderKind::Dvbt).get()));
}

} // namespace tvsim

// The BDA tuning model: locators, tune requests, tuning spaces and the system's tuning-space
// container. Each object keeps what was put on it and journals every call with its argument, so
// that tests can read exactly what was tuned.
#include <cctype>
#include <cstdio>
#include <string>
#include <string_view>

#include "tvsim/Bda.h"
#include "tvsim/MediaType.h"
#include "tvsim/SimObject.h"

namespace tvsim {
namespace {

using tunekit::ComPtr;

// Scripting through IDispatch is not offered by these objects.
#define TVSIM_NO_DISPATCH                                                                                        \
    STDMETHODIMP GetTypeInfoCount(UINT* count) override {                                                        \
        if (count) *count = 0;                                                                                   \
        return count ? S_OK : E_POINTER;                                                                         \
    }                                                                                                            \
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }                             \
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }            \
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override { return E_NOTIMPL; }

qis::String number(long value) { return qis::String::number(value); }

// The journal's name for the value of "put_MinorChannel", "put_TSID", "put_LPInnerFEC":
// "minorChannel", "tsid", "lpInnerFEC".
std::string propertyName(std::string_view method) {
    std::string name(method.substr(method.find('_') + 1));
    std::size_t capitals = 0;
    while (capitals < name.size() && std::isupper(static_cast<unsigned char>(name[capitals]))) ++capitals;
    // In "LPInnerFEC" the I starts the next word; in "TSID" every letter is the acronym.
    const std::size_t lower = capitals > 1 && capitals < name.size() ? capitals - 1 : capitals;
    for (std::size_t i = 0; i < lower; ++i) name[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[i])));
    return name;
}

// A long property: put_ stores and journals the value under the property's name, get_ reads it.
template <class Object, class T>
HRESULT putValue(Object& object, const char* method, T& field, T value) {
    return object.journal(method, [&] {
        field = value;
        return S_OK;
    }, Arguments().with(propertyName(method).c_str(), static_cast<long long>(value)));
}

template <class Object, class T>
HRESULT getValue(Object& object, const char* method, const T& field, T* out) {
    return object.journal(method, [&]() -> HRESULT {
        if (!out) return E_POINTER;
        *out = field;
        return S_OK;
    });
}

// ---- locators --------------------------------------------------------------------------------

struct LocatorFields {
    long frequency = -1;
    FECMethod innerFec = BDA_FEC_METHOD_NOT_SET;
    BinaryConvolutionCodeRate innerFecRate = BDA_BCC_RATE_NOT_SET;
    FECMethod outerFec = BDA_FEC_METHOD_NOT_SET;
    BinaryConvolutionCodeRate outerFecRate = BDA_BCC_RATE_NOT_SET;
    ModulationType modulation = BDA_MOD_NOT_SET;
    long symbolRate = -1;
};

template <class Interface>
class LocatorBase : public SimObject<Interface> {
public:
    using SimObject<Interface>::SimObject;

    template <class Body>
    HRESULT journal(const char* method, Body&& body, const Arguments& arguments = {}) {
        return this->call(method, std::forward<Body>(body), arguments);
    }

    TVSIM_NO_DISPATCH

    STDMETHODIMP get_CarrierFrequency(LONG* value) override { return getValue(*this, "get_CarrierFrequency", base_.frequency, value); }
    STDMETHODIMP put_CarrierFrequency(LONG value) override { return putValue(*this, "put_CarrierFrequency", base_.frequency, value); }
    STDMETHODIMP get_InnerFEC(FECMethod* value) override { return getValue(*this, "get_InnerFEC", base_.innerFec, value); }
    STDMETHODIMP put_InnerFEC(FECMethod value) override { return putValue(*this, "put_InnerFEC", base_.innerFec, value); }
    STDMETHODIMP get_InnerFECRate(BinaryConvolutionCodeRate* value) override {
        return getValue(*this, "get_InnerFECRate", base_.innerFecRate, value);
    }
    STDMETHODIMP put_InnerFECRate(BinaryConvolutionCodeRate value) override {
        return putValue(*this, "put_InnerFECRate", base_.innerFecRate, value);
    }
    STDMETHODIMP get_OuterFEC(FECMethod* value) override { return getValue(*this, "get_OuterFEC", base_.outerFec, value); }
    STDMETHODIMP put_OuterFEC(FECMethod value) override { return putValue(*this, "put_OuterFEC", base_.outerFec, value); }
    STDMETHODIMP get_OuterFECRate(BinaryConvolutionCodeRate* value) override {
        return getValue(*this, "get_OuterFECRate", base_.outerFecRate, value);
    }
    STDMETHODIMP put_OuterFECRate(BinaryConvolutionCodeRate value) override {
        return putValue(*this, "put_OuterFECRate", base_.outerFecRate, value);
    }
    STDMETHODIMP get_Modulation(ModulationType* value) override { return getValue(*this, "get_Modulation", base_.modulation, value); }
    STDMETHODIMP put_Modulation(ModulationType value) override { return putValue(*this, "put_Modulation", base_.modulation, value); }
    STDMETHODIMP get_SymbolRate(LONG* value) override { return getValue(*this, "get_SymbolRate", base_.symbolRate, value); }
    STDMETHODIMP put_SymbolRate(LONG value) override { return putValue(*this, "put_SymbolRate", base_.symbolRate, value); }

    const LocatorFields& fields() const { return base_; }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == __uuidof(IDigitalLocator)) return static_cast<IDigitalLocator*>(this);
        if (iid == __uuidof(ILocator)) return static_cast<ILocator*>(this);
        if (iid == IID_IDispatch) return static_cast<IDispatch*>(this);
        return nullptr;
    }

    LocatorFields base_;
};

class AtscLocator final : public LocatorBase<IATSCLocator2> {
public:
    AtscLocator() : LocatorBase("ATSCLocator") {}

    STDMETHODIMP Clone(ILocator** out) override {
        return callOut("Clone", out, [&] {
            auto copy = make<AtscLocator>();
            copy->base_ = base_;
            copy->physicalChannel_ = physicalChannel_;
            copy->tsid_ = tsid_;
            copy->program_ = program_;
            *out = static_cast<ILocator*>(copy.detach());
            return S_OK;
        });
    }
    STDMETHODIMP get_PhysicalChannel(LONG* value) override { return getValue(*this, "get_PhysicalChannel", physicalChannel_, value); }
    STDMETHODIMP put_PhysicalChannel(LONG value) override { return putValue(*this, "put_PhysicalChannel", physicalChannel_, value); }
    STDMETHODIMP get_TSID(LONG* value) override { return getValue(*this, "get_TSID", tsid_, value); }
    STDMETHODIMP put_TSID(LONG value) override { return putValue(*this, "put_TSID", tsid_, value); }
    STDMETHODIMP get_ProgramNumber(LONG* value) override { return getValue(*this, "get_ProgramNumber", program_, value); }
    STDMETHODIMP put_ProgramNumber(LONG value) override { return putValue(*this, "put_ProgramNumber", program_, value); }

    void fill(TuneSnapshot& snapshot) const {
        snapshot.physicalChannel = physicalChannel_;
        snapshot.frequency = base_.frequency;
        snapshot.modulation = base_.modulation;
        snapshot.program = program_;
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == __uuidof(IATSCLocator)) return static_cast<IATSCLocator*>(this);
        return LocatorBase::extraInterface(iid);
    }

private:
    long physicalChannel_ = -1;
    long tsid_ = -1;
    long program_ = -1;
};

class DvbtLocator final : public LocatorBase<IDVBTLocator> {
public:
    DvbtLocator() : LocatorBase("DVBTLocator") {}

    STDMETHODIMP Clone(ILocator** out) override {
        return callOut("Clone", out, [&] {
            auto copy = make<DvbtLocator>();
            copy->base_ = base_;
            copy->bandwidth_ = bandwidth_;
            copy->lpFec_ = lpFec_;
            copy->lpFecRate_ = lpFecRate_;
            copy->alpha_ = alpha_;
            copy->guard_ = guard_;
            copy->mode_ = mode_;
            copy->otherFrequency_ = otherFrequency_;
            *out = static_cast<ILocator*>(copy.detach());
            return S_OK;
        });
    }
    STDMETHODIMP get_Bandwidth(LONG* value) override { return getValue(*this, "get_Bandwidth", bandwidth_, value); }
    STDMETHODIMP put_Bandwidth(LONG value) override { return putValue(*this, "put_Bandwidth", bandwidth_, value); }
    STDMETHODIMP get_LPInnerFEC(FECMethod* value) override { return getValue(*this, "get_LPInnerFEC", lpFec_, value); }
    STDMETHODIMP put_LPInnerFEC(FECMethod value) override { return putValue(*this, "put_LPInnerFEC", lpFec_, value); }
    STDMETHODIMP get_LPInnerFECRate(BinaryConvolutionCodeRate* value) override {
        return getValue(*this, "get_LPInnerFECRate", lpFecRate_, value);
    }
    STDMETHODIMP put_LPInnerFECRate(BinaryConvolutionCodeRate value) override {
        return putValue(*this, "put_LPInnerFECRate", lpFecRate_, value);
    }
    STDMETHODIMP get_HAlpha(HierarchyAlpha* value) override { return getValue(*this, "get_HAlpha", alpha_, value); }
    STDMETHODIMP put_HAlpha(HierarchyAlpha value) override { return putValue(*this, "put_HAlpha", alpha_, value); }
    STDMETHODIMP get_Guard(GuardInterval* value) override { return getValue(*this, "get_Guard", guard_, value); }
    STDMETHODIMP put_Guard(GuardInterval value) override { return putValue(*this, "put_Guard", guard_, value); }
    STDMETHODIMP get_Mode(TransmissionMode* value) override { return getValue(*this, "get_Mode", mode_, value); }
    STDMETHODIMP put_Mode(TransmissionMode value) override { return putValue(*this, "put_Mode", mode_, value); }
    STDMETHODIMP get_OtherFrequencyInUse(VARIANT_BOOL* value) override {
        return getValue(*this, "get_OtherFrequencyInUse", otherFrequency_, value);
    }
    STDMETHODIMP put_OtherFrequencyInUse(VARIANT_BOOL value) override {
        return putValue(*this, "put_OtherFrequencyInUse", otherFrequency_, value);
    }

    void fill(TuneSnapshot& snapshot) const {
        snapshot.frequency = base_.frequency;
        snapshot.modulation = base_.modulation;
        snapshot.bandwidth = bandwidth_;
        snapshot.guard = guard_;
        snapshot.mode = mode_;
        snapshot.lpFecRate = lpFecRate_;
    }

private:
    long bandwidth_ = -1;
    FECMethod lpFec_ = BDA_FEC_METHOD_NOT_SET;
    BinaryConvolutionCodeRate lpFecRate_ = BDA_BCC_RATE_NOT_SET;
    HierarchyAlpha alpha_ = BDA_HALPHA_NOT_SET;
    GuardInterval guard_ = BDA_GUARD_NOT_SET;
    TransmissionMode mode_ = BDA_XMIT_MODE_NOT_SET;
    VARIANT_BOOL otherFrequency_ = VARIANT_FALSE;
};

// ---- tune requests ---------------------------------------------------------------------------

class SimTuningSpace {
public:
    virtual ~SimTuningSpace() = default;
    virtual long currentInputType() const = 0;
};

template <class Interface>
class TuneRequestBase : public SimObject<Interface>, public SimTuneRequest {
public:
    TuneRequestBase(qis::String name, ComPtr<ITuningSpace> space) : SimObject<Interface>(std::move(name)), space_(std::move(space)) {}

    template <class Body>
    HRESULT journal(const char* method, Body&& body, const Arguments& arguments = {}) {
        return this->call(method, std::forward<Body>(body), arguments);
    }

    TVSIM_NO_DISPATCH

    STDMETHODIMP get_TuningSpace(ITuningSpace** out) override {
        return this->callOut("get_TuningSpace", out, [&] {
            *out = ComPtr<ITuningSpace>(space_).detach();
            return *out ? S_OK : E_FAIL;
        });
    }
    STDMETHODIMP get_Components(IComponents**) override { return this->call("get_Components", [] { return E_NOTIMPL; }); }
    STDMETHODIMP get_Locator(ILocator** out) override {
        return this->callOut("get_Locator", out, [&] {
            *out = ComPtr<ILocator>(locator_).detach();
            return S_OK;
        });
    }
    STDMETHODIMP put_Locator(ILocator* locator) override {
        return this->call("put_Locator", [&] {
            locator_ = ComPtr<ILocator>(locator);
            return S_OK;
        }, locator ? qis::String("set") : qis::String("null"));
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == __uuidof(ITuneRequest)) return static_cast<ITuneRequest*>(this);
        if (iid == IID_IDispatch) return static_cast<IDispatch*>(this);
        return nullptr;
    }

    long inputType() const {
        const auto* space = dynamic_cast<const SimTuningSpace*>(space_.get());
        return space ? space->currentInputType() : -1;
    }

    ComPtr<ITuningSpace> space_;
    ComPtr<ILocator> locator_;
};

class AtscChannelTuneRequest final : public TuneRequestBase<IATSCChannelTuneRequest> {
public:
    explicit AtscChannelTuneRequest(ComPtr<ITuningSpace> space) : TuneRequestBase("ATSCChannelTuneRequest", std::move(space)) {}

    STDMETHODIMP Clone(ITuneRequest** out) override {
        return callOut("Clone", out, [&] {
            *out = copy().detach();
            return S_OK;
        });
    }
    STDMETHODIMP get_Channel(LONG* value) override { return getValue(*this, "get_Channel", channel_, value); }
    STDMETHODIMP put_Channel(LONG value) override { return putValue(*this, "put_Channel", channel_, value); }
    STDMETHODIMP get_MinorChannel(LONG* value) override { return getValue(*this, "get_MinorChannel", minor_, value); }
    STDMETHODIMP put_MinorChannel(LONG value) override { return putValue(*this, "put_MinorChannel", minor_, value); }

    TuneSnapshot snapshot() const override {
        TuneSnapshot snapshot;
        snapshot.kind = TuneSnapshot::Kind::Atsc;
        snapshot.inputType = inputType();
        snapshot.channel = channel_;
        snapshot.minorChannel = minor_;
        if (const auto* locator = dynamic_cast<const AtscLocator*>(locator_.get())) locator->fill(snapshot);
        return snapshot;
    }

    ComPtr<ITuneRequest> withMinorChannel(long minor) const override {
        ComPtr<AtscChannelTuneRequest> request = copy();
        request->minor_ = minor;
        return ComPtr<ITuneRequest>(static_cast<ITuneRequest*>(request.get()));
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == __uuidof(IChannelTuneRequest)) return static_cast<IChannelTuneRequest*>(this);
        return TuneRequestBase::extraInterface(iid);
    }

private:
    ComPtr<AtscChannelTuneRequest> copy() const {
        auto request = make<AtscChannelTuneRequest>(space_);
        request->channel_ = channel_;
        request->minor_ = minor_;
        request->locator_ = locator_;
        return request;
    }

    long channel_ = -1;
    long minor_ = -1;
};

class DvbTuneRequest final : public TuneRequestBase<IDVBTuneRequest> {
public:
    explicit DvbTuneRequest(ComPtr<ITuningSpace> space) : TuneRequestBase("DVBTuneRequest", std::move(space)) {}

    STDMETHODIMP Clone(ITuneRequest** out) override {
        return callOut("Clone", out, [&] {
            auto request = make<DvbTuneRequest>(space_);
            request->onid_ = onid_;
            request->tsid_ = tsid_;
            request->sid_ = sid_;
            request->locator_ = locator_;
            *out = static_cast<ITuneRequest*>(request.detach());
            return S_OK;
        });
    }
    STDMETHODIMP get_ONID(LONG* value) override { return getValue(*this, "get_ONID", onid_, value); }
    STDMETHODIMP put_ONID(LONG value) override { return putValue(*this, "put_ONID", onid_, value); }
    STDMETHODIMP get_TSID(LONG* value) override { return getValue(*this, "get_TSID", tsid_, value); }
    STDMETHODIMP put_TSID(LONG value) override { return putValue(*this, "put_TSID", tsid_, value); }
    STDMETHODIMP get_SID(LONG* value) override { return getValue(*this, "get_SID", sid_, value); }
    STDMETHODIMP put_SID(LONG value) override { return putValue(*this, "put_SID", sid_, value); }

    TuneSnapshot snapshot() const override {
        TuneSnapshot snapshot;
        snapshot.kind = TuneSnapshot::Kind::Dvb;
        if (const auto* locator = dynamic_cast<const DvbtLocator*>(locator_.get())) locator->fill(snapshot);
        // Other locators (cable, satellite) still carry a frequency and a modulation.
        else if (const auto* atsc = dynamic_cast<const AtscLocator*>(locator_.get())) atsc->fill(snapshot);
        return snapshot;
    }

    ComPtr<ITuneRequest> withMinorChannel(long) const override {
        ComPtr<ITuneRequest> copy;
        const_cast<DvbTuneRequest*>(this)->Clone(copy.put());
        return copy;
    }

private:
    long onid_ = -1;
    long tsid_ = -1;
    long sid_ = -1;
};

// ---- tuning spaces ---------------------------------------------------------------------------

template <class Interface>
class TuningSpaceBase : public SimObject<Interface>, public SimTuningSpace {
public:
    TuningSpaceBase(const TuningSpaceSpec& spec, const GUID& clsid, const GUID& networkType)
        : SimObject<Interface>("TuningSpace: " + (spec.uniqueName.isEmpty() ? qis::String("new") : spec.uniqueName)), spec_(spec),
          clsid_(clsid), networkType_(networkType) {}

    template <class Body>
    HRESULT journal(const char* method, Body&& body, const Arguments& arguments = {}) {
        return this->call(method, std::forward<Body>(body), arguments);
    }

    TVSIM_NO_DISPATCH

    STDMETHODIMP get_UniqueName(BSTR* name) override { return text("get_UniqueName", name, spec_.uniqueName); }
    STDMETHODIMP put_UniqueName(BSTR name) override { return setText("put_UniqueName", name, spec_.uniqueName); }
    STDMETHODIMP get_FriendlyName(BSTR* name) override { return text("get_FriendlyName", name, spec_.friendlyName); }
    STDMETHODIMP put_FriendlyName(BSTR name) override { return setText("put_FriendlyName", name, spec_.friendlyName); }
    STDMETHODIMP get_CLSID(BSTR* clsid) override { return text("get_CLSID", clsid, guidText(clsid_)); }
    STDMETHODIMP get_NetworkType(BSTR* type) override { return text("get_NetworkType", type, guidText(networkType_)); }
    STDMETHODIMP put_NetworkType(BSTR type) override {
        return this->call("put_NetworkType", [&]() -> HRESULT {
            GUID parsed;
            if (!type || FAILED(CLSIDFromString(type, &parsed))) return E_INVALIDARG;
            networkType_ = parsed;
            return S_OK;
        }, qis::String(type ? type : L""));
    }
    STDMETHODIMP get__NetworkType(GUID* type) override {
        return this->call("get__NetworkType", [&]() -> HRESULT {
            if (!type) return E_POINTER;
            *type = networkType_;
            return S_OK;
        });
    }
    STDMETHODIMP put__NetworkType(REFCLSID type) override {
        return this->call("put__NetworkType", [&] {
            networkType_ = type;
            return S_OK;
        }, guidText(type));
    }
    STDMETHODIMP EnumCategoryGUIDs(IEnumGUID**) override { return this->call("EnumCategoryGUIDs", [] { return E_NOTIMPL; }); }
    STDMETHODIMP EnumDeviceMonikers(IEnumMoniker**) override { return this->call("EnumDeviceMonikers", [] { return E_NOTIMPL; }); }
    STDMETHODIMP get_DefaultPreferredComponentTypes(IComponentTypes**) override {
        return this->call("get_DefaultPreferredComponentTypes", [] { return E_NOTIMPL; });
    }
    STDMETHODIMP put_DefaultPreferredComponentTypes(IComponentTypes*) override {
        return this->call("put_DefaultPreferredComponentTypes", [] { return E_NOTIMPL; });
    }
    STDMETHODIMP get_FrequencyMapping(BSTR* mapping) override { return text("get_FrequencyMapping", mapping, mapping_); }
    STDMETHODIMP put_FrequencyMapping(BSTR mapping) override { return setText("put_FrequencyMapping", mapping, mapping_); }
    STDMETHODIMP get_DefaultLocator(ILocator** out) override {
        return this->callOut("get_DefaultLocator", out, [&] {
            *out = ComPtr<ILocator>(defaultLocator_).detach();
            return S_OK;
        });
    }
    STDMETHODIMP put_DefaultLocator(ILocator* locator) override {
        return this->call("put_DefaultLocator", [&] {
            defaultLocator_ = ComPtr<ILocator>(locator);
            return S_OK;
        });
    }

    long currentInputType() const override { return spec_.inputType; }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == __uuidof(ITuningSpace)) return static_cast<ITuningSpace*>(this);
        if (iid == IID_IDispatch) return static_cast<IDispatch*>(this);
        return nullptr;
    }

    HRESULT text(const char* method, BSTR* out, const qis::String& value) {
        return this->call(method, [&]() -> HRESULT {
            if (!out) return E_POINTER;
            *out = SysAllocString(value.wide().c_str());
            return *out ? S_OK : E_OUTOFMEMORY;
        });
    }
    HRESULT setText(const char* method, BSTR value, qis::String& field) {
        const qis::String given(value ? value : L"");
        return this->call(method, [&] {
            field = given;
            return S_OK;
        }, given);
    }

    TuningSpaceSpec spec_;
    GUID clsid_;
    GUID networkType_;
    qis::String mapping_;
    ComPtr<ILocator> defaultLocator_;
};

// The network type of ATSC spaces is the ATSC network provider's class, as on Windows.
class AtscTuningSpace final : public TuningSpaceBase<IATSCTuningSpace> {
public:
    explicit AtscTuningSpace(const TuningSpaceSpec& spec) : TuningSpaceBase(spec, CLSID_ATSCTuningSpace, CLSID_ATSCNetworkProvider) {}

    STDMETHODIMP CreateTuneRequest(ITuneRequest** out) override {
        return callOut("CreateTuneRequest", out, [&] {
            *out = static_cast<ITuneRequest*>(make<AtscChannelTuneRequest>(ComPtr<ITuningSpace>(static_cast<ITuningSpace*>(this))).detach());
            return S_OK;
        });
    }
    STDMETHODIMP Clone(ITuningSpace** out) override {
        return callOut("Clone", out, [&] {
            auto copy = make<AtscTuningSpace>(spec_);
            copy->networkType_ = networkType_;
            copy->limits_ = limits_;
            *out = static_cast<ITuningSpace*>(copy.detach());
            return S_OK;
        });
    }

    // IAnalogTVTuningSpace
    STDMETHODIMP get_MinChannel(LONG* value) override { return getValue(*this, "get_MinChannel", limits_.minChannel, value); }
    STDMETHODIMP put_MinChannel(LONG value) override { return putValue(*this, "put_MinChannel", limits_.minChannel, value); }
    STDMETHODIMP get_MaxChannel(LONG* value) override { return getValue(*this, "get_MaxChannel", limits_.maxChannel, value); }
    STDMETHODIMP put_MaxChannel(LONG value) override { return putValue(*this, "put_MaxChannel", limits_.maxChannel, value); }
    STDMETHODIMP get_InputType(TunerInputType* value) override {
        const auto current = static_cast<TunerInputType>(spec_.inputType);
        return getValue(*this, "get_InputType", current, value);
    }
    STDMETHODIMP put_InputType(TunerInputType value) override {
        return call("put_InputType", [&] {
            spec_.inputType = value;
            return S_OK;
        }, number(value));
    }
    STDMETHODIMP get_CountryCode(LONG* value) override { return getValue(*this, "get_CountryCode", limits_.countryCode, value); }
    STDMETHODIMP put_CountryCode(LONG value) override { return putValue(*this, "put_CountryCode", limits_.countryCode, value); }
    // IATSCTuningSpace
    STDMETHODIMP get_MinMinorChannel(LONG* value) override { return getValue(*this, "get_MinMinorChannel", limits_.minMinor, value); }
    STDMETHODIMP put_MinMinorChannel(LONG value) override { return putValue(*this, "put_MinMinorChannel", limits_.minMinor, value); }
    STDMETHODIMP get_MaxMinorChannel(LONG* value) override { return getValue(*this, "get_MaxMinorChannel", limits_.maxMinor, value); }
    STDMETHODIMP put_MaxMinorChannel(LONG value) override { return putValue(*this, "put_MaxMinorChannel", limits_.maxMinor, value); }
    STDMETHODIMP get_MinPhysicalChannel(LONG* value) override {
        return getValue(*this, "get_MinPhysicalChannel", limits_.minPhysical, value);
    }
    STDMETHODIMP put_MinPhysicalChannel(LONG value) override {
        return putValue(*this, "put_MinPhysicalChannel", limits_.minPhysical, value);
    }
    STDMETHODIMP get_MaxPhysicalChannel(LONG* value) override {
        return getValue(*this, "get_MaxPhysicalChannel", limits_.maxPhysical, value);
    }
    STDMETHODIMP put_MaxPhysicalChannel(LONG value) override {
        return putValue(*this, "put_MaxPhysicalChannel", limits_.maxPhysical, value);
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == __uuidof(IAnalogTVTuningSpace)) return static_cast<IAnalogTVTuningSpace*>(this);
        return TuningSpaceBase::extraInterface(iid);
    }

private:
    struct Limits {
        long minChannel = 1, maxChannel = 99, countryCode = 1, minMinor = 0, maxMinor = 999, minPhysical = 2, maxPhysical = 158;
    } limits_;
};

class DvbTuningSpace final : public TuningSpaceBase<IDVBTuningSpace2> {
public:
    explicit DvbTuningSpace(const TuningSpaceSpec& spec)
        : TuningSpaceBase(spec, CLSID_DVBTuningSpace, spec.kind == "DVB-T" && !spec.uniqueName.isEmpty() ? CLSID_DVBTNetworkProvider : GUID_NULL),
          system_(spec.kind == "DVB-C" ? DVB_Cable : DVB_Terrestrial) {}

    STDMETHODIMP CreateTuneRequest(ITuneRequest** out) override {
        return callOut("CreateTuneRequest", out, [&] {
            *out = static_cast<ITuneRequest*>(make<DvbTuneRequest>(ComPtr<ITuningSpace>(static_cast<ITuningSpace*>(this))).detach());
            return S_OK;
        });
    }
    STDMETHODIMP Clone(ITuningSpace** out) override {
        return callOut("Clone", out, [&] {
            auto copy = make<DvbTuningSpace>(spec_);
            copy->networkType_ = networkType_;
            copy->system_ = system_;
            copy->networkId_ = networkId_;
            *out = static_cast<ITuningSpace*>(copy.detach());
            return S_OK;
        });
    }
    STDMETHODIMP get_SystemType(DVBSystemType* value) override { return getValue(*this, "get_SystemType", system_, value); }
    STDMETHODIMP put_SystemType(DVBSystemType value) override { return putValue(*this, "put_SystemType", system_, value); }
    STDMETHODIMP get_NetworkID(LONG* value) override { return getValue(*this, "get_NetworkID", networkId_, value); }
    STDMETHODIMP put_NetworkID(LONG value) override { return putValue(*this, "put_NetworkID", networkId_, value); }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == __uuidof(IDVBTuningSpace)) return static_cast<IDVBTuningSpace*>(this);
        return TuningSpaceBase::extraInterface(iid);
    }

private:
    DVBSystemType system_;
    long networkId_ = -1;
};

// ---- the system's container --------------------------------------------------------------------

class TuningSpaceEnumerator final : public SimObject<IEnumTuningSpaces> {
public:
    TuningSpaceEnumerator(qis::String name, std::vector<TuningSpaceSpec> spaces, std::size_t position = 0)
        : SimObject(std::move(name)), spaces_(std::move(spaces)), position_(position) {}

    STDMETHODIMP Next(ULONG count, ITuningSpace** out, ULONG* fetched) override {
        return call("Next", [&]() -> HRESULT {
            if (!out || (count > 1 && !fetched)) return E_POINTER;
            ULONG n = 0;
            while (n < count && position_ < spaces_.size()) out[n++] = createTuningSpace(spaces_[position_++]).detach();
            if (fetched) *fetched = n;
            return n == count ? S_OK : S_FALSE;
        });
    }
    STDMETHODIMP Skip(ULONG count) override {
        const std::size_t left = spaces_.size() - position_;
        position_ += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    STDMETHODIMP Reset() override {
        position_ = 0;
        return S_OK;
    }
    STDMETHODIMP Clone(IEnumTuningSpaces** out) override {
        if (!out) return E_POINTER;
        *out = make<TuningSpaceEnumerator>(simName(), spaces_, position_).detach();
        return S_OK;
    }

private:
    std::vector<TuningSpaceSpec> spaces_;
    std::size_t position_;
};

// Items are addressed by position (VT_I4 or VT_I2, from 0) or by unique name (VT_BSTR); each
// get_Item hands out a new copy of the stored space, so changing it changes nothing stored.
class SystemTuningSpaces final : public SimObject<ITuningSpaceContainer> {
public:
    explicit SystemTuningSpaces(Simulation& simulation) : SimObject("SystemTuningSpaces"), spaces_(simulation.scenario().tuningSpaces) {}

    TVSIM_NO_DISPATCH

    STDMETHODIMP get_Count(LONG* count) override {
        return call("get_Count", [&]() -> HRESULT {
            if (!count) return E_POINTER;
            *count = static_cast<LONG>(spaces_.size());
            return S_OK;
        });
    }
    STDMETHODIMP get__NewEnum(IEnumVARIANT**) override { return call("get__NewEnum", [] { return E_NOTIMPL; }); }
    STDMETHODIMP get_Item(VARIANT index, ITuningSpace** out) override {
        return callOut("get_Item", out, [&]() -> HRESULT {
            const TuningSpaceSpec* found = find(index);
            if (!found) return E_INVALIDARG;
            *out = createTuningSpace(*found).detach();
            return S_OK;
        }, describe(index));
    }
    STDMETHODIMP put_Item(VARIANT index, ITuningSpace*) override {
        return call("put_Item", [] { return E_ACCESSDENIED; }, describe(index));
    }
    STDMETHODIMP TuningSpacesForCLSID(BSTR, ITuningSpaces**) override { return call("TuningSpacesForCLSID", [] { return E_NOTIMPL; }); }
    STDMETHODIMP _TuningSpacesForCLSID(REFCLSID, ITuningSpaces**) override {
        return call("_TuningSpacesForCLSID", [] { return E_NOTIMPL; });
    }
    STDMETHODIMP TuningSpacesForName(BSTR, ITuningSpaces**) override { return call("TuningSpacesForName", [] { return E_NOTIMPL; }); }
    STDMETHODIMP FindID(ITuningSpace* space, LONG* id) override {
        return call("FindID", [&]() -> HRESULT {
            if (!space || !id) return E_POINTER;
            BSTR name = nullptr;
            if (FAILED(space->get_UniqueName(&name))) return E_INVALIDARG;
            const qis::String wanted(name ? name : L"");
            SysFreeString(name);
            for (std::size_t i = 0; i < spaces_.size(); ++i)
                if (spaces_[i].uniqueName == wanted) {
                    *id = static_cast<LONG>(i);
                    return S_OK;
                }
            return E_INVALIDARG;
        });
    }
    // The system's spaces are managed by the system; programs here only read them.
    STDMETHODIMP Add(ITuningSpace*, VARIANT*) override { return call("Add", [] { return E_ACCESSDENIED; }); }
    STDMETHODIMP get_EnumTuningSpaces(IEnumTuningSpaces** out) override {
        return callOut("get_EnumTuningSpaces", out, [&] {
            *out = makeTuningSpaceEnumerator("EnumTuningSpaces", spaces_).detach();
            return S_OK;
        });
    }
    STDMETHODIMP Remove(VARIANT index) override { return call("Remove", [] { return E_ACCESSDENIED; }, describe(index)); }
    STDMETHODIMP get_MaxCount(LONG* count) override {
        return call("get_MaxCount", [&]() -> HRESULT {
            if (!count) return E_POINTER;
            *count = 1000;
            return S_OK;
        });
    }
    STDMETHODIMP put_MaxCount(LONG) override { return call("put_MaxCount", [] { return E_ACCESSDENIED; }); }

private:
    const TuningSpaceSpec* find(const VARIANT& index) const {
        long position = -1;
        if (index.vt == VT_I4) position = index.lVal;
        else if (index.vt == VT_I2) position = index.iVal;
        else if (index.vt == VT_BSTR) {
            const qis::String name(index.bstrVal ? index.bstrVal : L"");
            for (const auto& space : spaces_)
                if (space.uniqueName == name) return &space;
            return nullptr;
        }
        if (position < 0 || position >= static_cast<long>(spaces_.size())) return nullptr;
        return &spaces_[static_cast<std::size_t>(position)];
    }

    static qis::String describe(const VARIANT& index) {
        if (index.vt == VT_I4) return number(index.lVal);
        if (index.vt == VT_I2) return number(index.iVal);
        if (index.vt == VT_BSTR) return "\"" + qis::String(index.bstrVal ? index.bstrVal : L"") + "\"";
        return "vt=" + number(index.vt);
    }

    std::vector<TuningSpaceSpec> spaces_;
};

} // namespace

qis::String TuneSnapshot::text() const {
    char buffer[200];
    if (kind == Kind::Atsc)
        std::snprintf(buffer, sizeof buffer, "ATSC input=%ld channel=%ld minor=%ld physical=%ld frequency=%ld modulation=%ld program=%ld",
                      inputType, channel, minorChannel, physicalChannel, frequency, modulation, program);
    else
        std::snprintf(buffer, sizeof buffer, "DVB-T frequency=%ld modulation=%ld mode=%ld guard=%ld lpFecRate=%ld bandwidth=%ld", frequency,
                      modulation, mode, guard, lpFecRate, bandwidth);
    return qis::String(buffer);
}

Arguments TuneSnapshot::arguments() const {
    Arguments named(text());
    if (kind == Kind::Atsc)
        return named.with("network", "ATSC").with("inputType", inputType).with("channel", channel)
            .with("minorChannel", minorChannel).with("physicalChannel", physicalChannel).with("frequency", frequency)
            .with("modulation", modulation).with("program", program);
    return named.with("network", "DVB-T").with("frequency", frequency).with("modulation", modulation).with("mode", mode)
        .with("guard", guard).with("lpFecRate", lpFecRate).with("bandwidth", bandwidth);
}

const DigitalChannelSpec* receivedChannel(const BdaTunerSpec& tuner, const TuneSnapshot& request) {
    if (request.kind == TuneSnapshot::Kind::Atsc) {
        // A physical channel selects an 8-VSB channel on the input of the request's space; a
        // carrier frequency without one is a cable QAM carrier with a program on it.
        if (request.physicalChannel > 0) {
            if (request.inputType != 0 && request.inputType != 1) return nullptr;
            for (const auto& channel : request.inputType == 0 ? tuner.atscCable : tuner.atscAntenna)
                if (channel.physicalChannel == request.physicalChannel) return &channel;
            return nullptr;
        }
        for (const auto& channel : tuner.clearQam)
            if (channel.frequency == request.frequency && channel.program == request.program && channel.modulation == request.modulation)
                return &channel;
        return nullptr;
    }
    for (const auto& channel : tuner.dvbt)
        if (channel.frequency == request.frequency && channel.modulation == request.modulation && channel.mode == request.mode &&
            channel.guard == request.guard && channel.lpFecRate == request.lpFecRate && channel.bandwidth == request.bandwidth)
            return &channel;
    return nullptr;
}

ComPtr<ITuningSpace> createTuningSpace(const TuningSpaceSpec& spec) {
    if (spec.kind == "ATSC") return ComPtr<ITuningSpace>(static_cast<ITuningSpace*>(make<AtscTuningSpace>(spec).get()));
    return ComPtr<ITuningSpace>(static_cast<ITuningSpace*>(make<DvbTuningSpace>(spec).get()));
}

ComPtr<IEnumTuningSpaces> makeTuningSpaceEnumerator(qis::String name, const std::vector<TuningSpaceSpec>& spaces) {
    return make<TuningSpaceEnumerator>(std::move(name), spaces);
}

ComPtr<IUnknown> createSystemTuningSpaces(Simulation& simulation) {
    return ComPtr<IUnknown>(static_cast<ITuningSpaceContainer*>(make<SystemTuningSpaces>(simulation).get()));
}

ComPtr<IUnknown> createAtscLocator(Simulation&) { return ComPtr<IUnknown>(static_cast<IATSCLocator2*>(make<AtscLocator>().get())); }

ComPtr<IUnknown> createDvbtLocator(Simulation&) { return ComPtr<IUnknown>(static_cast<IDVBTLocator*>(make<DvbtLocator>().get())); }

// A new space as CoCreateInstance gives it: nameless, terrestrial, no network type yet.
ComPtr<IUnknown> createDvbTuningSpace(Simulation&) {
    TuningSpaceSpec spec{"", "", "DVB-T", 1};
    auto space = make<DvbTuningSpace>(spec);
    return ComPtr<IUnknown>(static_cast<IDVBTuningSpace2*>(space.get()));
}

} // namespace tvsim

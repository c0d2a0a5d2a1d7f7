// The system device enumerator: the scenario's device categories as moniker enumerators, each
// moniker opening the device's property bag and binding the device's filter.
#include <map>
#include <optional>

#include "tvsim/Filter.h"
#include "tvsim/Objects.h"

namespace tvsim {
namespace {

using tunekit::ComPtr;

// Category names as scenarios spell them, and the system's category ids.
struct Category {
    const GUID* id;
    const char* name;
};

const Category kCategories[] = {
    {&CLSID_VideoInputDeviceCategory, "VideoInputDevice"},
    {&tunekit::KSCATEGORY_BDA_NETWORK_PROVIDER, "BDANetworkProvider"},
    {&tunekit::KSCATEGORY_BDA_NETWORK_TUNER, "BDANetworkTuner"},
    {&tunekit::KSCATEGORY_BDA_RECEIVER_COMPONENT, "BDAReceiverComponent"},
    {&tunekit::KSCATEGORY_BDA_TRANSPORT_INFORMATION, "BDATransportInformation"},
};

const char* categoryName(REFGUID id) {
    for (const auto& category : kCategories)
        if (*category.id == id) return category.name;
    return nullptr;
}

// A registry value the device's key does not have reads as "file not found".
const HRESULT kNoSuchValue = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);

class DevicePropertyBag final : public SimObject<IPropertyBag> {
public:
    DevicePropertyBag(qis::String name, MonikerSpec device) : SimObject(std::move(name)), device_(std::move(device)) {}

    STDMETHODIMP Read(LPCOLESTR property, VARIANT* value, IErrorLog*) override {
        const qis::String name(property ? property : L"");
        return call("Read", [&]() -> HRESULT {
            if (!property || !value) return E_POINTER;
            const std::optional<qis::String>* stored = find(name);
            if (!stored || !*stored) return kNoSuchValue;
            VARIANT text;
            VariantInit(&text);
            text.vt = VT_BSTR;
            text.bstrVal = SysAllocString((*stored)->wide().c_str());
            if (!text.bstrVal) return E_OUTOFMEMORY;
            // VT_EMPTY asks for the stored type; any other type is converted, as the system's
            // bag does, and a text that is no number fails to convert.
            if (value->vt == VT_EMPTY || value->vt == VT_BSTR) {
                *value = text;
                return S_OK;
            }
            VARIANT converted;
            VariantInit(&converted);
            const HRESULT hr = VariantChangeType(&converted, &text, 0, value->vt);
            VariantClear(&text);
            if (SUCCEEDED(hr)) *value = converted;
            return hr;
        }, name);
    }

    // Device keys are read-only to the programs that enumerate them.
    STDMETHODIMP Write(LPCOLESTR property, VARIANT*) override {
        return call("Write", [] { return E_ACCESSDENIED; }, qis::String(property ? property : L""));
    }

private:
    // Registry value names ignore case.
    const std::optional<qis::String>* find(const qis::String& name) const {
        if (name.equalsIgnoreCase("FriendlyName")) return &device_.friendlyName;
        if (name.equalsIgnoreCase("Description")) return &device_.description;
        if (name.equalsIgnoreCase("DevicePath")) return &device_.devicePath;
        return nullptr;
    }

    MonikerSpec device_;
};

class DeviceMoniker final : public SimObject<IMoniker> {
public:
    DeviceMoniker(Simulation& simulation, qis::String label, const GUID& category, MonikerSpec device)
        : SimObject("Moniker: " + label), simulation_(simulation), label_(std::move(label)), category_(category),
          device_(std::move(device)) {}

    // IPersist / IPersistStream: a device moniker is not saved by this system's programs.
    STDMETHODIMP GetClassID(CLSID* clsid) override {
        if (!clsid) return E_POINTER;
        *clsid = CLSID_CDeviceMoniker;
        return S_OK;
    }
    STDMETHODIMP IsDirty() override { return S_FALSE; }
    STDMETHODIMP Load(IStream*) override { return E_NOTIMPL; }
    STDMETHODIMP Save(IStream*, BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER*) override { return E_NOTIMPL; }

    // IMoniker
    STDMETHODIMP BindToObject(IBindCtx*, IMoniker*, REFIID iid, void** object) override {
        return callOut("BindToObject", object, [&]() -> HRESULT {
            // Without a filter class in the device's key there is nothing to create.
            if (device_.filter.isEmpty()) return kNoSuchValue;
            ComPtr<IBaseFilter> filter = createScenarioFilter(simulation_, device_.filter, device_.friendlyName.value_or(label_));
            if (!filter) return REGDB_E_CLASSNOTREG;
            return filter->QueryInterface(iid, object);
        });
    }

    STDMETHODIMP BindToStorage(IBindCtx*, IMoniker*, REFIID iid, void** object) override {
        return callOut("BindToStorage", object, [&]() -> HRESULT {
            if (iid != IID_IPropertyBag) return E_NOINTERFACE;
            *object = static_cast<IPropertyBag*>(make<DevicePropertyBag>("PropertyBag: " + label_, device_).detach());
            return S_OK;
        });
    }

    STDMETHODIMP GetDisplayName(IBindCtx*, IMoniker*, LPOLESTR* name) override {
        return callOut("GetDisplayName", name, [&]() -> HRESULT {
            *name = taskMemString(displayName());
            return *name ? S_OK : E_OUTOFMEMORY;
        });
    }

    STDMETHODIMP IsEqual(IMoniker* other) override {
        const auto* device = dynamic_cast<DeviceMoniker*>(other);
        return device && device->displayName() == displayName() ? S_OK : S_FALSE;
    }
    STDMETHODIMP Hash(DWORD* hash) override {
        if (!hash) return E_POINTER;
        *hash = static_cast<DWORD>(std::hash<qis::String>()(displayName()));
        return S_OK;
    }
    STDMETHODIMP IsSystemMoniker(DWORD* kind) override {
        if (!kind) return E_POINTER;
        *kind = MKSYS_NONE;
        return S_FALSE;
    }

    STDMETHODIMP Reduce(IBindCtx*, DWORD, IMoniker**, IMoniker**) override { return E_NOTIMPL; }
    STDMETHODIMP ComposeWith(IMoniker*, BOOL, IMoniker**) override { return E_NOTIMPL; }
    STDMETHODIMP Enum(BOOL, IEnumMoniker**) override { return E_NOTIMPL; }
    STDMETHODIMP IsRunning(IBindCtx*, IMoniker*, IMoniker*) override { return E_NOTIMPL; }
    STDMETHODIMP GetTimeOfLastChange(IBindCtx*, IMoniker*, FILETIME*) override { return E_NOTIMPL; }
    STDMETHODIMP Inverse(IMoniker**) override { return E_NOTIMPL; }
    STDMETHODIMP CommonPrefixWith(IMoniker*, IMoniker**) override { return E_NOTIMPL; }
    STDMETHODIMP RelativePathTo(IMoniker*, IMoniker**) override { return E_NOTIMPL; }
    STDMETHODIMP ParseDisplayName(IBindCtx*, IMoniker*, LPOLESTR, ULONG*, IMoniker**) override { return E_NOTIMPL; }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == IID_IPersistStream) return static_cast<IPersistStream*>(this);
        if (iid == IID_IPersist) return static_cast<IPersist*>(this);
        return nullptr;
    }

private:
    // Hardware devices are named by their device path, others by category and name.
    qis::String displayName() const {
        if (device_.devicePath) return "@device:pnp:" + *device_.devicePath;
        return "@device:sw:" + guidText(category_) + "\\" + label_;
    }

    Simulation& simulation_;
    qis::String label_;
    GUID category_;
    MonikerSpec device_;
};

class SystemDeviceEnum final : public SimObject<ICreateDevEnum> {
public:
    explicit SystemDeviceEnum(Simulation& simulation) : SimObject("SystemDeviceEnum"), simulation_(simulation) {}

    STDMETHODIMP CreateClassEnumerator(REFCLSID category, IEnumMoniker** monikers, DWORD flags) override {
        const char* name = categoryName(category);
        return callOut("CreateClassEnumerator", monikers, [&]() -> HRESULT {
            // The scenario's devices are plug-and-play hardware: a caller asking only for other
            // kinds (DMOs, software filters) finds none.
            if ((flags & CDEF_DEVMON_SELECTIVE_MASK) && !(flags & CDEF_DEVMON_PNP_DEVICE)) return S_FALSE;
            const auto& categories = simulation_.scenario().categories;
            const auto found = name ? categories.find(name) : categories.end();
            // An empty category succeeds without an enumerator.
            if (found == categories.end() || found->second.empty()) return S_FALSE;
            *monikers = makeMonikerEnumerator(qis::String("EnumMoniker: ") + name, monikersOf(category, name, found->second)).detach();
            return S_OK;
        }, name ? qis::String(name) : guidText(category));
    }

private:
    // Names a moniker by its friendly name; a repeated name gets "#2", "#3"... in enumeration
    // order, and a device without one its position in the category, so a fault can aim at one.
    std::vector<ComPtr<IMoniker>> monikersOf(REFGUID category, const char* name, const std::vector<MonikerSpec>& devices) {
        std::vector<ComPtr<IMoniker>> monikers;
        std::map<qis::String, int> seen;
        for (std::size_t i = 0; i < devices.size(); ++i) {
            qis::String label;
            if (devices[i].friendlyName) {
                label = *devices[i].friendlyName;
                if (const int repeat = ++seen[label]; repeat > 1) label += " #" + qis::String::number(repeat);
            } else {
                label = qis::String(name) + " #" + qis::String::number(i + 1);
            }
            monikers.emplace_back(make<DeviceMoniker>(simulation_, label, category, devices[i]));
        }
        return monikers;
    }

    Simulation& simulation_;
};

} // namespace

ComPtr<IUnknown> createSystemDeviceEnum(Simulation& simulation) {
    return ComPtr<IUnknown>(make<SystemDeviceEnum>(simulation));
}

} // namespace tvsim

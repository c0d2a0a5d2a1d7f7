#include "digital/FilterLoading.h"

#include "digital/DigitalLog.h"
#include "digital/GraphToolkit.h"
#include "frame/ComFactory.h"
#include "frame/PropertyBag.h"
#include "frame/Trace.h"
#include "tunekit/ComPtr.h"

namespace qisrtvcard {
namespace {

using tunekit::ComPtr;

constexpr const char* kCreateEnumerator = "ICreateDevEnum::CoCreateInstance(CLSID_SystemDeviceEnum)";
constexpr const char* kNoEnumerator = "ERROR: ICreateDevEnum::CoCreateInstance(CLSID_SystemDeviceEnum) failed.";
constexpr const char* kCreateClassEnumerator = "ICreateDevEnum::CreateClassEnumerator";
constexpr const char* kSearching = "Starting moniker search loop";
constexpr const char* kBindToStorage = "IMoniker::BindToStorage";
constexpr const char* kGettingName = "Getting friendly name";
constexpr const char* kReadName = "IPropertyBag::Read(FriendlyName)";
constexpr const char* kBindToObject = "IMoniker::BindToObject";
constexpr const char* kAddFilter = "IGraphBuilder::AddFilter";
constexpr const char* kAddFilterOf = "IGraphBuilder::AddFilter -> ";
constexpr const char* kNoConnectFilter = "Found filter but no connect filter specified";
constexpr const char* kFound = "Found filter";
constexpr const char* kConnecting = "Connecting filters";
constexpr const char* kRemoveFilter = "IGraphBuilder::RemoveFilter(pFilter)";
constexpr const char* kNotFound = "Didn't find filter";
constexpr const char* kNameRequired = "The DigitalFriendlyName property is required, but wasn't found";
constexpr const char* kGuidsThis = "Guids this:";
constexpr const char* kLookingFor = "      device we are looking for:";

// What the device-matching form compares a filter with.
struct DeviceMatch {
    qis::String wantedName;   // "DigitalFriendlyName"
    qis::String locator;      // "DeviceLocator", as the host gave it
    bool strict = false;
};

enum class Outcome { Found, Skipped, Fatal };

qis::String join(const std::vector<qis::String>& pieces, const char* separator) {
    qis::String text;
    for (std::size_t i = 0; i < pieces.size(); ++i) text += (i ? qis::String(separator) : qis::String()) + pieces[i];
    return text;
}

// The instance part of a USB or PCI device path ("VEN_...&DEV_...\4&...&00E0"), upper case; the
// friendly name when the filter has no path.
qis::String filterPathKey(IPropertyBag* bag, const qis::String& friendlyName) {
    qis::String path;
    if (!readText(bag, L"DevicePath", path)) return friendlyName;
    qis::String key = path.toUpper();
    if (key.contains("\\USB#") || key.contains("\\PCI#")) {
        const auto pieces = key.split("#");
        if (pieces.size() > 2) key = pieces[1] + "\\" + pieces[2];
    }
    return key;
}

// Only a PCI locator is brought into the filter key's form: USB devices match by name alone.
qis::String deviceKey(const qis::String& locator) {
    qis::String key = locator.toUpper();
    if (key.startsWith("PCI\\")) {
        const auto pieces = key.split("\\");
        if (pieces.size() > 2) key = pieces[1] + "#" + pieces[2];
    }
    return key;
}

bool belongsToDevice(const DeviceMatch& match, IPropertyBag* bag, const qis::String& friendlyName) {
    const qis::String pathKey = filterPathKey(bag, friendlyName);
    logStep(kGuidsThis + pathKey + kLookingFor + match.locator);
    const qis::String filterKey = join(pathKey.split("\\"), "#");
    const qis::String wantedKey = deviceKey(match.locator);
    if (filterKey == wantedKey || !match.strict || friendlyName == match.wantedName) return true;
    logStep("Mismatching name while enumerating: looking for \"" + wantedKey + "\" or \"" + match.wantedName +
            "\" , but found: \"" + filterKey + "\" and \"" + friendlyName + "\"");
    return false;
}

Outcome tryMoniker(IMoniker* moniker, IBaseFilter** ppFilter, IBaseFilter* connectFilter, bool connectFilterIsUpstream,
                   IGraphBuilder* graph, const DeviceMatch* match) {
    logStep(kBindToStorage);
    ComPtr<IPropertyBag> bag;
    HRESULT hr = moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(bag.put()));
    if (SUCCEEDED(hr) && !bag) hr = E_POINTER;
    if (FAILED(hr)) {
        logFailed(kBindToStorage, hr);
        return Outcome::Fatal;
    }
    logStep(kGettingName);
    tunekit::Variant name;
    hr = bag->Read(L"FriendlyName", name.get(), nullptr);
    if (FAILED(hr)) {
        logFailed(kReadName, hr);
        return Outcome::Skipped;
    }
    const qis::String friendlyName(name.value().vt == VT_BSTR && name.value().bstrVal ? name.value().bstrVal : L"");
    if (match && !belongsToDevice(*match, bag.get(), friendlyName)) return Outcome::Skipped;

    logStep(kBindToObject);
    ComPtr<IBaseFilter> filter;
    hr = moniker->BindToObject(nullptr, nullptr, IID_PPV_ARGS(filter.put()));
    if (FAILED(hr) || !filter) {
        logFailed(kBindToObject, FAILED(hr) ? hr : E_POINTER);
        return Outcome::Skipped;
    }
    logStep(match ? kAddFilterOf + friendlyName : qis::String(kAddFilter));
    hr = graph->AddFilter(filter.get(), friendlyName.wide().c_str());
    if (FAILED(hr)) {
        logFailed(kAddFilter, hr);
        return Outcome::Fatal;
    }
    if (!connectFilter) {
        logStep(kNoConnectFilter);
    } else {
        logStep(kConnecting);
        const bool connected = connectFilterIsUpstream ? ConnectFilters(connectFilter, filter.get(), graph)
                                                       : ConnectFilters(filter.get(), connectFilter, graph);
        if (!connected) {
            hr = graph->RemoveFilter(filter.get());
            if (FAILED(hr)) {
                logFailed(kRemoveFilter, hr);
                return Outcome::Fatal;
            }
            return Outcome::Skipped;
        }
    }
    filter->QueryInterface(IID_PPV_ARGS(ppFilter));
    logStep(kFound);
    return Outcome::Found;
}

bool searchCategory(const GUID& category, IBaseFilter** ppFilter, IBaseFilter* connectFilter, bool connectFilterIsUpstream,
                    IGraphBuilder* graph, const DeviceMatch* match) {
    logStep(kCreateEnumerator);
    ComPtr<ICreateDevEnum> devices;
    if (FAILED(createInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_ALL, IID_PPV_ARGS(devices.put())))) {
        logStep(kNoEnumerator);
        return false;
    }
    logStep(kCreateClassEnumerator);
    ComPtr<IEnumMoniker> monikers;
    // An empty category (S_FALSE) is as good as a failure here.
    const HRESULT hr = devices->CreateClassEnumerator(category, monikers.put(), 0);
    if (hr != S_OK || !monikers) {
        logFailed(kCreateClassEnumerator, hr);
        return false;
    }
    logStep(kSearching);
    ComPtr<IMoniker> moniker;
    while (monikers->Next(1, moniker.put(), nullptr) == S_OK) {
        const Outcome outcome = tryMoniker(moniker.get(), ppFilter, connectFilter, connectFilterIsUpstream, graph, match);
        if (outcome == Outcome::Found) return true;
        if (outcome == Outcome::Fatal) return false;
    }
    logStep(kNotFound);
    return false;
}

} // namespace

bool LoadFilter(const GUID& category, IBaseFilter** ppFilter, IBaseFilter* pConnectFilter, bool connectFilterIsUpstream,
                IGraphBuilder* graph) {
    QISRTV_TRACE("LoadFilter");
    return searchCategory(category, ppFilter, pConnectFilter, connectFilterIsUpstream, graph, nullptr);
}

bool LoadFilter(const GUID& category, IBaseFilter** ppFilter, IBaseFilter* pConnectFilter, bool connectFilterIsUpstream,
                IGraphBuilder* graph, const mirt5::DiagDevice& device, bool strictMatch) {
    QISRTV_TRACE("LoadFilter");
    DeviceMatch match;
    // Without the name the search goes on: only a path match can accept then.
    if (device.hasProperty("DigitalFriendlyName")) match.wantedName = device.property("DigitalFriendlyName").valueRef().toString();
    else tunekit::TunerLogger::logErrorMessage(kNameRequired);
    match.locator = device.property("DeviceLocator").valueRef().toString(); // a missing locator reads as empty
    match.strict = strictMatch;
    return searchCategory(category, ppFilter, pConnectFilter, connectFilterIsUpstream, graph, &match);
}

} // namespace qisrtvcard

#include "frame/DeviceDiscovery.h"

#include <map>

#include "frame/Catalogue.h"
#include "frame/ComFactory.h"
#include "frame/DeviceInstance.h"
#include "frame/FriendlyNames.h"
#include "frame/PropertyBag.h"
#include "frame/Trace.h"
#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"
#include "tunekit/ErrorHandler.h"
#include "tunekit/SmartCoInitialize.h"

namespace qisrtvcard {
namespace {

using tunekit::ComPtr;

enum class Role { Capture, Tuner, Receiver };

struct Category {
    const GUID* id;
    Role role;
    const char* name;
};

// Capture filters first: a card with one names its device.
const Category kCategories[] = {
    {&CLSID_VideoInputDeviceCategory, Role::Capture, "video capture"},
    {&tunekit::KSCATEGORY_BDA_NETWORK_TUNER, Role::Tuner, "BDA tuner"},
    {&tunekit::KSCATEGORY_BDA_RECEIVER_COMPONENT, Role::Receiver, "BDA receiver"},
};

constexpr const char* kNoEnumerator = "the system device enumerator cannot be created: ";
constexpr const char* kNoCategory = " devices cannot be listed: ";
constexpr const char* kNoStorage = " filter: its properties cannot be read: ";
constexpr const char* kNoName = " filter without a FriendlyName";
constexpr const char* kNotBound = "the capture filter cannot be bound, so its analog tuner is not known: ";
constexpr const char* kNoGraph = "no graph to look for the analog tuner in: ";
constexpr const char* kNoPath = "no DevicePath: no DeviceLocator, DeviceVendorID or DeviceID";
constexpr const char* kNotLocatable = " is neither PCI nor USB: no DeviceLocator, DeviceVendorID or DeviceID";
constexpr const char* kOtherFilter = "also has the ";
constexpr std::size_t kSeenNameBuckets = 32;

// One moniker of a category, as far as it could be read.
struct Filter {
    Role role = Role::Capture;
    const char* categoryName = "";
    qis::String friendlyName;
    qis::String description;
    qis::String devicePath;
    ComPtr<IMoniker> moniker;
    std::vector<qis::String> notes;
};

qis::String hrText(HRESULT hr) { return tunekit::ErrorHandler::errorMessageFromHr(hr); }

Filter readFilter(const Category& category, ComPtr<IMoniker> moniker, qis::HashTable<bool>& seenCaptureNames) {
    Filter filter;
    filter.role = category.role;
    filter.categoryName = category.name;
    filter.moniker = std::move(moniker);
    ComPtr<IPropertyBag> bag;
    const HRESULT hr = filter.moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(bag.put()));
    if (FAILED(hr)) {
        filter.notes.push_back(qis::String("a ") + category.name + kNoStorage + hrText(hr));
        return filter;
    }
    if (!readText(bag.get(), L"FriendlyName", filter.friendlyName))
        filter.notes.push_back(qis::String("a ") + category.name + kNoName);
    else if (category.role == Role::Capture) {
        // Numbered as the analog tests number the names they meet, so that they find this filter.
        filter.friendlyName = numberedName(filter.friendlyName, seenCaptureNames);
        seenCaptureNames.put(filter.friendlyName, true);
    }
    readText(bag.get(), L"Description", filter.description);
    readText(bag.get(), L"DevicePath", filter.devicePath);
    return filter;
}

std::vector<Filter> readFilters(ICreateDevEnum* devices, std::vector<qis::String>& notes) {
    std::vector<Filter> filters;
    qis::HashTable<bool> seenCaptureNames(kSeenNameBuckets);
    for (const auto& category : kCategories) {
        ComPtr<IEnumMoniker> monikers;
        const HRESULT hr = devices->CreateClassEnumerator(*category.id, monikers.put(), 0);
        if (FAILED(hr)) notes.push_back(qis::String(category.name) + kNoCategory + hrText(hr));
        if (hr != S_OK || !monikers) continue;
        for (ComPtr<IMoniker> moniker; monikers->Next(1, moniker.put(), nullptr) == S_OK;)
            filters.push_back(readFilter(category, std::move(moniker), seenCaptureNames));
    }
    return filters;
}

// The filters of one card share the Plug-and-Play instance in their device paths; a filter whose
// path names none is a device of its own.
std::vector<std::vector<const Filter*>> groupByInstance(const std::vector<Filter>& filters) {
    std::vector<std::vector<const Filter*>> groups;
    std::map<qis::String, std::size_t> groupOfInstance;
    for (const Filter& filter : filters) {
        const qis::String instance = instanceOfPath(filter.devicePath).id;
        const auto known = instance.isEmpty() ? groupOfInstance.end() : groupOfInstance.find(instance);
        if (known != groupOfInstance.end()) {
            groups[known->second].push_back(&filter);
            continue;
        }
        if (!instance.isEmpty()) groupOfInstance[instance] = groups.size();
        groups.push_back({&filter});
    }
    return groups;
}

const Filter* firstOf(const std::vector<const Filter*>& group, Role role) {
    for (const Filter* filter : group)
        if (filter->role == role) return filter;
    return nullptr;
}

// The analog tuner the capture graph finds upstream of the capture filter, as AMTUNER_MODE_* bits.
long analogTunerModes(const Filter& capture, std::vector<qis::String>& notes) {
    ComPtr<IBaseFilter> filter;
    HRESULT hr = capture.moniker->BindToObject(nullptr, nullptr, IID_PPV_ARGS(filter.put()));
    if (FAILED(hr)) {
        notes.push_back(kNotBound + hrText(hr));
        return 0;
    }
    ComPtr<IGraphBuilder> graph;
    ComPtr<ICaptureGraphBuilder2> builder;
    hr = createInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(graph.put()));
    if (SUCCEEDED(hr))
        hr = createInstance(CLSID_CaptureGraphBuilder2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(builder.put()));
    if (SUCCEEDED(hr)) hr = builder->SetFiltergraph(graph.get());
    if (SUCCEEDED(hr)) hr = graph->AddFilter(filter.get(), capture.friendlyName.wide().c_str());
    if (FAILED(hr)) {
        notes.push_back(kNoGraph + hrText(hr));
        return 0;
    }
    ComPtr<IAMTVTuner> tuner;
    LONG modes = 0;
    if (FAILED(builder->FindInterface(&PIN_CATEGORY_CAPTURE, nullptr, filter.get(), IID_PPV_ARGS(tuner.put()))) ||
        FAILED(tuner->GetAvailableModes(&modes)))
        modes = 0;
    graph->RemoveFilter(filter.get());
    return modes;
}

void setProperty(std::map<qis::String, qis::String>& properties, const char* name, const qis::String& value) {
    if (!value.isEmpty()) properties[name] = value;
}

// Where the card sits: the locator the OpenCable test compares with its tuner's device path, and
// the ids the tests' exclusions compare.
void describeLocation(const qis::String& devicePath, std::map<qis::String, qis::String>& properties,
                      std::vector<qis::String>& notes) {
    if (devicePath.isEmpty()) {
        notes.push_back(kNoPath);
        return;
    }
    properties["DevicePath"] = devicePath;
    const DeviceInstance instance = instanceOfPath(devicePath);
    if (!instance.isLocatable()) {
        notes.push_back("device path \"" + devicePath + "\"" + kNotLocatable);
        return;
    }
    properties["DeviceLocator"] = instance.id;
    setProperty(properties, "DeviceVendorID", instance.vendorId);
    setProperty(properties, "DeviceID", instance.deviceId);
}

mirt5::DiscoveredDevice deriveDevice(const std::vector<const Filter*>& group) {
    mirt5::DiscoveredDevice found;
    const Filter* capture = firstOf(group, Role::Capture);
    const Filter* tuner = firstOf(group, Role::Tuner);
    const Filter* named = capture ? capture : tuner ? tuner : group.front();
    for (const Filter* filter : group) {
        found.notes.insert(found.notes.end(), filter->notes.begin(), filter->notes.end());
        if (filter != capture && filter != tuner && filter->role != Role::Receiver)
            found.notes.push_back(kOtherFilter + qis::String(filter->categoryName) + " filter \"" + filter->friendlyName + "\"");
    }

    const qis::String defaultName = DefaultName->localizedString();
    std::map<qis::String, qis::String> properties;
    mirt5::DeviceCapability capabilities = mirt5::DeviceCapability::VideoCapture();
    if (capture) {
        capabilities |= mirt5::DeviceCapability::VideoCaptureBaseFilter();
        const long modes = analogTunerModes(*capture, found.notes);
        if (modes & AMTUNER_MODE_TV) capabilities |= mirt5::DeviceCapability::AnalogTVTuner();
        if (modes & AMTUNER_MODE_FM_RADIO) capabilities |= mirt5::DeviceCapability::AnalogFMRadioTuner();
        // Under the default name, the analog tests find a filter without a name by its description.
        if (!capture->friendlyName.isEmpty()) properties["AnalogFriendlyName"] = capture->friendlyName;
        else if (!capture->description.isEmpty()) properties["AnalogFriendlyName"] = defaultName;
    }
    if (tuner) {
        capabilities |= mirt5::DeviceCapability::DigitalTVTuner();
        setProperty(properties, "DigitalFriendlyName", tuner->friendlyName);
    }
    const qis::String& description = named->description;
    setProperty(properties, "Description", description);
    describeLocation(named->devicePath, properties, found.notes);
    const qis::String name = named->friendlyName.isEmpty() ? defaultName : named->friendlyName;
    found.device = mirt5::DiagDevice(name, description, capabilities, properties);
    return found;
}

} // namespace

mirt5::DeviceDiscovery discoverDevices() {
    QISRTV_TRACE("discoverDevices");
    mirt5::DeviceDiscovery discovery;
    tunekit::SmartCoInitialize com;
    if (!com.initialize()) {
        discovery.notes.push_back(com.initError());
        return discovery;
    }
    ComPtr<ICreateDevEnum> devices;
    const HRESULT hr = createInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(devices.put()));
    if (FAILED(hr)) {
        discovery.notes.push_back(kNoEnumerator + hrText(hr));
        return discovery;
    }
    const std::vector<Filter> filters = readFilters(devices.get(), discovery.notes);
    for (const auto& group : groupByInstance(filters)) discovery.devices.push_back(deriveDevice(group));
    return discovery;
}

} // namespace qisrtvcard

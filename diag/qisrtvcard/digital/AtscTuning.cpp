#include "digital/AtscTuning.h"

#include "digital/DigitalLog.h"
#include "frame/ComFactory.h"
#include "frame/Trace.h"
#include "tunekit/ComPtr.h"
#include "tunekit/ComValues.h"

namespace qisrtvcard {
namespace {

using tunekit::ComPtr;
namespace Priority = qis::LogPriority;

constexpr const wchar_t* kGenericProviderName = L"Microsoft Network Provider";
constexpr const wchar_t* kAtscQamProviderClass = L"{B2F3A67C-29DA-4C78-8831-091ED509A475}";
constexpr const wchar_t* kAtscQamProviderName = L"ATSC QAM Network Provider";
// The container's fourth tuning space; no name is checked.
constexpr long kAtscQamTuningSpaceIndex = 3;
constexpr long kNotSet = -1;

constexpr const char* kContainerFailed = "Error CLSID_SystemTuningSpaces failed. hr=";
constexpr const char* kGetItemFailed = "Error pITuningSpaceContainer->get_Item failed. hr=";
constexpr const char* kClsidFailed = "CLSIDFromString ATSC QAM";
constexpr const char* kCreateProviderFailed = "CoCreateInstance(Network Provider) failed";
constexpr const char* kAddProviderFailed = "IGraphBuilder::AddFilter(ATSC QAM Network Provider) failed";
constexpr const char* kAddedProvider = "Added ATSC QAM network provider";

constexpr const char* kTuning = "Tuning to ATSC channel ";
constexpr const char* kQuerySpace = "ITuningSpace::QueryInterface(IATSCTuningSpace)";
constexpr const char* kInputAntenna = "IATSCTuningSpace::put_InputType(TunerInputAntenna)";
constexpr const char* kInputCable = "IATSCTuningSpace::put_InputType(TunerInputCable)";
constexpr const char* kInputUnknown = "IATSCTuningSpace::put_InputType(Unknown)";
constexpr const char* kCreateRequest = "IATSCTuningSpace::CreateTuneRequest";
constexpr const char* kQueryRequest = "ITuneRequest::QueryInterface(IATSCChannelTuneRequest)";
constexpr const char* kPutChannel = "IATSCChannelTuneRequest::put_Channel";
constexpr const char* kPutMinorChannel = "IATSCChannelTuneRequest::put_MinorChannel";
constexpr const char* kCreateLocator = "IATSCLocator::CoCreateInstance(CLSID_ATSCLocator)";
constexpr const char* kPutPhysicalChannel = "IATSCLocator::put_PhysicalChannel";
constexpr const char* kPutLocator = "IATSCLocator::put_Locator";
constexpr const char* kPutTuneRequest = "ITuner::put_TuneRequest";
constexpr const char* kTuned = "Completed ATSC tune request";

bool isGenericProvider(IMoniker* moniker) {
    ComPtr<IPropertyBag> bag;
    HRESULT hr = moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(bag.put()));
    if (!bag) hr = E_POINTER;
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    tunekit::Variant name;
    hr = bag->Read(L"FriendlyName", name.get(), nullptr);
    QISRTV_ASSERT(SUCCEEDED(hr), kAssertSucceeded);
    return name.value().vt == VT_BSTR && name.value().bstrVal && qis::String(name.value().bstrVal) == qis::String(kGenericProviderName);
}

// Logs the step's label, and on failure its error text with the HRESULT; true on success.
bool step(const char* label, HRESULT hr, Caller where = Caller::current()) {
    if (SUCCEEDED(hr)) return true;
    logLine(moduleLogger(), Priority::Debug, lineOf(where), failedLine(label, hr));
    return false;
}

} // namespace

IBaseFilter* getNetworkProvider() {
    QISRTV_TRACE("getNetworkProvider");
    ComPtr<ICreateDevEnum> devices;
    if (FAILED(createInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_ALL, IID_PPV_ARGS(devices.put())))) return nullptr;
    ComPtr<IEnumMoniker> monikers;
    // An empty category succeeds without an enumerator.
    if (FAILED(devices->CreateClassEnumerator(tunekit::KSCATEGORY_BDA_NETWORK_PROVIDER, monikers.put(), 0)) || !monikers)
        return nullptr;
    ComPtr<IMoniker> moniker;
    while (monikers->Next(1, moniker.put(), nullptr) == S_OK) {
        if (!isGenericProvider(moniker.get())) continue;
        ComPtr<IBaseFilter> filter;
        const HRESULT hr = moniker->BindToObject(nullptr, nullptr, IID_PPV_ARGS(filter.put()));
        QISRTV_ASSERT(SUCCEEDED(hr) && filter, "SUCCEEDED( hr ) && BaseFilter");
        return filter.detach();
    }
    return nullptr;
}

bool initializeATSCQAMTuner(ITuningSpace** tuningSpace, IBaseFilter** networkProvider, IGraphBuilder** graph) {
    QISRTV_TRACE("initializeATSCQAMTuner");
    ComPtr<ITuningSpaceContainer> container;
    HRESULT hr = createInstance(CLSID_SystemTuningSpaces, nullptr, CLSCTX_ALL, IID_PPV_ARGS(container.put()));
    if (FAILED(hr)) {
        QISRTV_LOG(Priority::Warning, kContainerFailed + hrNumber(hr));
        return false;
    }
    const tunekit::Variant index(kAtscQamTuningSpaceIndex);
    hr = container->get_Item(index.value(), tuningSpace);
    if (FAILED(hr)) {
        QISRTV_LOG(Priority::Warning, kGetItemFailed + hrNumber(hr));
        return false;
    }
    CLSID providerClass{};
    if (FAILED(CLSIDFromString(kAtscQamProviderClass, &providerClass))) {
        QISRTV_LOG(Priority::Warning, kClsidFailed);
        return false;
    }
    // The caller gets the provider only once it is in the graph.
    ComPtr<IBaseFilter> provider;
    if (FAILED(createInstance(providerClass, nullptr, CLSCTX_ALL, IID_PPV_ARGS(provider.put())))) {
        QISRTV_LOG(Priority::Warning, kCreateProviderFailed);
        return false;
    }
    if (FAILED((*graph)->AddFilter(provider.get(), kAtscQamProviderName))) {
        QISRTV_LOG(Priority::Warning, kAddProviderFailed);
        return false;
    }
    *networkProvider = provider.detach();
    QISRTV_LOG(Priority::Debug, kAddedProvider);
    return true;
}

bool tuneToATSCChannel(ITuningSpace** tuningSpace, ITuner** tuner, TunerInputType inputType, long physicalChannel) {
    QISRTV_TRACE("tuneToATSCChannel");
    QISRTV_LOG(Priority::Debug, kTuning + qis::QISValue(physicalChannel).toString());
    QISRTV_LOG(Priority::Debug, kQuerySpace);
    ComPtr<IATSCTuningSpace> space;
    if (*tuningSpace) (*tuningSpace)->QueryInterface(IID_PPV_ARGS(space.put()));
    if (!space) {
        // The query's own result is not kept, so the line always shows 0.
        QISRTV_LOG(Priority::Debug, failedLine(kQuerySpace, 0));
        return false;
    }
    if (inputType == TunerInputAntenna) QISRTV_LOG(Priority::Debug, kInputAntenna);
    else if (inputType == TunerInputCable) QISRTV_LOG(Priority::Debug, kInputCable);
    else QISRTV_LOG(Priority::Error, kInputUnknown);
    // One error text for every input type.
    if (!step(kInputAntenna, space->put_InputType(inputType))) return false;
    QISRTV_LOG(Priority::Debug, kCreateRequest);
    ComPtr<ITuneRequest> request;
    HRESULT hr = space->CreateTuneRequest(request.put());
    if (SUCCEEDED(hr) && !request) hr = E_POINTER;
    if (!step(kCreateRequest, hr)) return false;
    QISRTV_LOG(Priority::Debug, kQueryRequest);
    ComPtr<IATSCChannelTuneRequest> channelRequest;
    if (!step(kQueryRequest, request->QueryInterface(IID_PPV_ARGS(channelRequest.put())))) return false;
    QISRTV_LOG(Priority::Debug, kPutChannel);
    if (!step(kPutChannel, channelRequest->put_Channel(kNotSet))) return false;
    QISRTV_LOG(Priority::Debug, kPutMinorChannel);
    if (!step(kPutMinorChannel, channelRequest->put_MinorChannel(kNotSet))) return false;
    QISRTV_LOG(Priority::Debug, kCreateLocator);
    ComPtr<IATSCLocator> locator;
    hr = createInstance(CLSID_ATSCLocator, nullptr, CLSCTX_ALL, IID_PPV_ARGS(locator.put()));
    if (SUCCEEDED(hr) && !locator) hr = E_POINTER; // a null locator counts as failure
    if (!step(kCreateLocator, hr)) return false;
    QISRTV_LOG(Priority::Debug, kPutPhysicalChannel);
    if (!step(kPutPhysicalChannel, locator->put_PhysicalChannel(physicalChannel))) return false;
    QISRTV_LOG(Priority::Debug, kPutLocator);
    if (!step(kPutLocator, request->put_Locator(locator.get()))) return false;
    QISRTV_LOG(Priority::Debug, kPutTuneRequest);
    if (!step(kPutTuneRequest, (*tuner)->put_TuneRequest(request.get()))) return false;
    QISRTV_LOG(Priority::Debug, kTuned);
    return true;
}

} // namespace qisrtvcard

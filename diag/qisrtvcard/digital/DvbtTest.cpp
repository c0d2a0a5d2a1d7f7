// The DVB-T test: a BDA graph on the DVB-T network provider with a sample grabber on the
// transport stream, the country's frequencies from the tuner's frequency map expanded by the
// channel plan, and the plan tuned record by record until the stream is good enough.
#include <cstdint>

#include "frame/CountryDialog.h"
#include "digital/AttemptLoop.h"
#include "digital/DVBTChannelPlan.h"
#include "digital/DigitalLog.h"
#include "digital/DigitalTests.h"
#include "digital/FilterLoading.h"
#include "digital/GraphToolkit.h"
#include "digital/SignalDetection.h"
#include "frame/Catalogue.h"
#include "frame/ComFactory.h"
#include "frame/GraphServices.h"
#include "frame/Trace.h"
#include "qis/System.h"
#include "tunekit/ComOwners.h"
#include "tunekit/ComValues.h"

namespace qisrtvcard {
namespace {

using mirt5::DiagModule;
using mirt5::TestResult;
using tunekit::ComPtr;

constexpr const wchar_t* kDvbtNetworkType = L"{216C62DF-6D7F-4E9A-8571-05F14EDB766A}";
constexpr const wchar_t* kProviderName = L"DVB-T Network Provider";
constexpr const wchar_t* kGrabberName = L"SampleGrabber";
constexpr const wchar_t* kDemultiplexerName = L"Demux";

// initializeDVBTTuner
constexpr const char* kCreatingSpace = "Creating DVBTuningSpace";
constexpr const char* kCreateSpaceFailed = "ERROR: DVBTuningSpace::CoCreateInstance(CLSID_DVBTuningSpace) failed. hr=";
constexpr const char* kCreatingSpace2 = "Creating DVBTuningSpace2";
constexpr const char* kQuerySpace2Failed = "ERROR: ITuningSpace::QueryInterface(IDVBTuningSpace2) failed. hr=";
constexpr const char* kSettingSystemType = "Setting System Type DVB";
constexpr const char* kSystemTypeFailed = "ERROR: DVBTuningSpace2::put_SystemType(DVB_Terrestrial) failed. hr=";
constexpr const char* kPuttingNetworkType = "Putting Network Type";
constexpr const char* kNetworkTypeFailed = "ERROR: DVBTuningSpace2::put_NetworkType failed. hr=";
constexpr const char* kGettingClsid = "Getting clsid";
constexpr const char* kClsidFailed = "ERROR: CLSIDFromString DVBT failed. hr=";
constexpr const char* kCreatingProvider = "Creating Network Provider";
constexpr const char* kCreateProviderFailed = "ERROR: IBaseFilter::CoCreateInstance DVBT Network Provider failed. hr=";
constexpr const char* kAddingProvider = "Adding Network Provider filter to graph";
constexpr const char* kAddProviderFailed = "ERROR: IGraphBuilder::AddFilter failed. hr=";
constexpr const char* kAddedProvider = "Created and added DVB-T Network Provider";

// RunDVBTest
constexpr const char* kCreateGraph = "IGraphBuilder::CoCreateInstance::CLSID_FilterGraph";
constexpr const char* kCreateGraphFailed = "ERROR: IGraphBuilder::CoCreateInstance::CLSID_FilterGraph failed. hr=";
constexpr const char* kInitTuner = "initializeDVBTTuner";
constexpr const char* kInitTunerFailed = "ERROR: initializeDVBTTuner failed.";
constexpr const char* kQueryTuner = "IBaseFilter::QueryInterface(ITuner)";
constexpr const char* kQueryTunerFailed = "ERROR: IBaseFilter::QueryInterface(ITuner) failed. hr=";
constexpr const char* kLoadTuner = "LoadFilterForDevice(KSCATEGORY_BDA_NETWORK_TUNER)";
constexpr const char* kLoadTunerFailed = "ERROR: LoadFilterForDevice(ITuner) failed. hr=";
constexpr const char* kLoadReceiver = "LoadFilterForDevice(KSCATEGORY_BDA_RECEIVER_COMPONENT)";
constexpr const char* kNoReceiver = "ERROR: LoadFilter failed.  Couldn't find a compatible Receiver.  Continuing as it is not always required.";
constexpr const char* kNoGrabber = "Sample Grabber creation failed";
constexpr const char* kAddGrabber = "IGraphBuilder::AddFilter(SampleGrabber)";
constexpr const char* kAddGrabberFailed = "ERROR: IGraphBuilder::AddFilter(SampleGrabber) failed. hr=";
constexpr const char* kGrabberNotConnected = "ERROR: Connecting sample grabber to capture device: ";
// "MPEG3" is how these lines have always read.
constexpr const char* kCreateDemux = "IBaseFilter::CoCreateInstance(CLSID_MPEG3Demultiplexer)";
constexpr const char* kCreateDemuxFailed = "ERROR: IBaseFilter::CoCreateInstance(CLSID_MPEG3Demultiplexer) hr=";
constexpr const char* kAddDemux = "IGraphBuilder::AddFilter(Demux)";
constexpr const char* kAddDemuxFailed = "ERROR: IGraphBuilder::AddFilter(Demux) failed. hr=";
constexpr const char* kConnectGrabber = "IGraphBuilder::ConnectFilters(SampleGrabber, pDemux)";
constexpr const char* kConnectGrabberFailed = "ERROR: IGraphBuilder::ConnectFilters(SampleGrabber, pDemux) failed. hr=";
constexpr const char* kConnectDevice = "IGraphBuilder::ConnectFilters(pCaptureDevice, pDemux)";
constexpr const char* kConnectDeviceFailed = "ERROR: IGraphBuilder::ConnectFilters(pCaptureDevice, pDemux) failed. hr=";
constexpr const char* kLoadTransportInfo = "LoadFilter(KSCATEGORY_BDA_TRANSPORT_INFORMATION)";
constexpr const char* kLoadTransportInfoFailed = "ERROR: LoadFilter(KSCATEGORY_BDA_TRANSPORT_INFORMATION) failed";
constexpr const char* kEnumDemuxPins = "Demux::EnumPins";
constexpr const char* kEnumDemuxPinsFailed = "ERROR: Demux::EnumPins failed. hr=";
constexpr const char* kConnectingDemuxPins = "Connecting demux pins";
constexpr const char* kGettingMapping = "Attempting to get frequency mapping for DVB-T cards";
constexpr const char* kQueryMap = "IBaseFilter::QueryInterface(IFrequencyMap)";
constexpr const char* kQueryMapFailed = "ERROR: IBaseFilter::QueryInterface(IFrequencyMap) failed. hr=";
constexpr const char* kCountryList = "IFrequencyMap:get_CountryCodeList";
constexpr const char* kCountryListFailed = "ERROR: IFrequencyMap:get_CountryCodeList failed. hr=";
constexpr const char* kAskingCountry = "Asking for Country";
constexpr const char* kCountryCancelled = "Exiting due to user abort on country dialog";
constexpr const char* kPutCountry = "IFrequencyMap::put_CountryCode";
constexpr const char* kPutCountryFailed = "ERROR: IFrequencyMap::put_CountryCode failed. hr=";
constexpr const char* kMapping = "IFrequencyMap:get_DefaultFrequencyMapping";
constexpr const char* kMappingFailed = "ERROR: IFrequencyMap:get_DefaultFrequencyMapping failed. hr=";
constexpr const char* kChannelRange = "Set DVB-T Channel Range: 1-";
constexpr const char* kQueryControl = "IGraphBuilder::QueryInterface(IMediaControl)";
constexpr const char* kQueryControlFailed = "ERROR: IGraphBuilder::QueryInterface(IMediaControl) failed. hr=";
constexpr const char* kAddToRot = "Adding graph for graphedit to view";
constexpr const char* kRun = "IMediaControl::Run";
constexpr const char* kRunFailed = "ERROR: IMediaControl::Run failed. hr=";
constexpr const char* kTuneFailed = "ERROR: tuneToDVBTChannel failed";
constexpr const char* kCheckingStop = "Checking for Stop";
constexpr const char* kStopping = "Stopping per user abort";
constexpr const char* kCleaningUp = "Cleaning up";
constexpr const char* kNoSignal = "Returning no signal";

constexpr long kUsableQuality = 50;
constexpr long kNoStreamData = -1; // below it the grabber could not be read: ask the tuner instead
constexpr double kPictureSeconds = 10.0;
constexpr double kNoPictureSeconds = 0.1;
constexpr unsigned long kStoppedMilliseconds = 1000;

DWORD g_dvbtRotCookie = 0;

void logError(int sourceLine, const qis::String& text) { logLine(moduleLogger(), qis::LogPriority::Error, sourceLine, text); }

// A set-up failure up to the tuner filter: the device may simply not be a DVB-T device.
TestResult cannotRun(int sourceLine, const qis::String& text) {
    logError(sourceLine, text);
    DiagModule::warning(ErrorCreatingFilterGraph, kSourceFile, sourceLine);
    return TestResult::CANNOTRUN();
}

TestResult graphFailed(int sourceLine, const qis::String& text, bool toModuleLog = true) {
    if (toModuleLog) logError(sourceLine, text);
    else logStep(text);
    DiagModule::error(ErrorCreatingFilterGraph, kSourceFile, sourceLine);
    return TestResult::FAIL();
}

// A CoTaskMem array the frequency map hands out.
struct TaskMemList {
    ULONG count = 0;
    tunekit::TaskMem<ULONG> values;
};

struct DvbtGraph {
    ComPtr<IGraphBuilder> graph;
    ComPtr<ITuningSpace> tuningSpace;
    ComPtr<IBaseFilter> networkProvider;
    ComPtr<ITuner> tuner;
    ComPtr<IBaseFilter> tunerFilter;
    ComPtr<IBaseFilter> receiver;
    ComPtr<IBaseFilter> captureDevice; // the receiver, or the tuner filter when there is none
    ComPtr<IBaseFilter> grabber;
    ComPtr<IBaseFilter> demultiplexer;
    ComPtr<IBaseFilter> transportInformation;
    ComPtr<IEnumPins> demultiplexerPins;
    ComPtr<IFrequencyMap> frequencyMap;
    ComPtr<IMediaControl> mediaControl;
    ComPtr<IVideoWindow> videoWindow;
    TaskMemList countries;
    TaskMemList frequencies;
    DVBTChannelPlan plan;
    std::uint32_t lastChannel = 0;
};

#define QISRTV_CANNOT_RUN(text) cannotRun(__LINE__, (text))
#define QISRTV_GRAPH_FAILED(text) graphFailed(__LINE__, (text))
#define QISRTV_GRAPH_FAILED_DEBUG(text) graphFailed(__LINE__, (text), false)

// Without a grabber the test judges by the tuner alone; none of these failures ends it.
void addSampleGrabber(DvbtGraph& g) {
    ComPtr<IBaseFilter> grabber;
    if (FAILED(createInstance(tunekit::CLSID_SampleGrabber, nullptr, CLSCTX_ALL, IID_PPV_ARGS(grabber.put()))) || !grabber) {
        logStep(kNoGrabber);
        return;
    }
    logStep(kAddGrabber);
    const HRESULT added = g.graph->AddFilter(grabber.get(), kGrabberName);
    if (FAILED(added)) {
        logStep(kAddGrabberFailed + hrText(added));
        return;
    }
    if (!ConnectFilters(g.captureDevice.get(), grabber.get(), g.graph.get())) {
        // The last HRESULT held is that of AddFilter.
        logStep(kGrabberNotConnected + hrText(added));
        return;
    }
    g.grabber = grabber;
}

void renderDemultiplexerOutputs(DvbtGraph& g) {
    ComPtr<IPin> pin;
    while (g.demultiplexerPins->Next(1, pin.put(), nullptr) == S_OK) {
        PIN_DIRECTION direction = PINDIR_INPUT;
        pin->QueryDirection(&direction);
        if (direction != PINDIR_OUTPUT) continue;
        ComPtr<IPin> peer;
        pin->ConnectedTo(peer.put());
        if (!peer) g.graph->Render(pin.get()); // its result is ignored
    }
}

// Steps up to the running graph; PASS when it runs.
TestResult buildGraph(const mirt5::DiagDevice& device, DvbtGraph& g) {
    logStep(kCreateGraph);
    HRESULT hr = createInstance(CLSID_FilterGraph, nullptr, CLSCTX_ALL, IID_PPV_ARGS(g.graph.put()));
    if (FAILED(hr)) return QISRTV_CANNOT_RUN(kCreateGraphFailed + hrNumber(hr));
    logStep(kInitTuner);
    if (!initializeDVBTTuner(g.tuningSpace.put(), g.networkProvider.put(), g.graph.get())) return QISRTV_CANNOT_RUN(kInitTunerFailed);
    logStep(kQueryTuner);
    hr = g.networkProvider->QueryInterface(IID_PPV_ARGS(g.tuner.put()));
    if (FAILED(hr)) return QISRTV_CANNOT_RUN(kQueryTunerFailed + hrNumber(hr));
    logStep(kLoadTuner);
    if (!LoadFilter(tunekit::KSCATEGORY_BDA_NETWORK_TUNER, g.tunerFilter.put(), g.networkProvider.get(), true, g.graph.get(), device, false))
        return QISRTV_CANNOT_RUN(kLoadTunerFailed + hrNumber(hr));
    logStep(kLoadReceiver);
    if (LoadFilter(tunekit::KSCATEGORY_BDA_RECEIVER_COMPONENT, g.receiver.put(), g.tunerFilter.get(), true, g.graph.get())) {
        g.captureDevice = g.receiver;
    } else {
        g.captureDevice = g.tunerFilter;
        logError(__LINE__, kNoReceiver);
    }
    addSampleGrabber(g);

    logStep(kCreateDemux);
    hr = createInstance(CLSID_MPEG2Demultiplexer, nullptr, CLSCTX_ALL, IID_PPV_ARGS(g.demultiplexer.put()));
    if (FAILED(hr)) return QISRTV_GRAPH_FAILED_DEBUG(kCreateDemuxFailed + hrNumber(hr));
    logStep(kAddDemux);
    hr = g.graph->AddFilter(g.demultiplexer.get(), kDemultiplexerName);
    if (FAILED(hr)) return QISRTV_GRAPH_FAILED_DEBUG(kAddDemuxFailed + hrNumber(hr));
    if (g.grabber) {
        logStep(kConnectGrabber);
        if (!ConnectFilters(g.grabber.get(), g.demultiplexer.get(), g.graph.get()))
            return QISRTV_GRAPH_FAILED_DEBUG(kConnectGrabberFailed + hrNumber(hr));
    } else {
        logStep(kConnectDevice);
        if (!ConnectFilters(g.captureDevice.get(), g.demultiplexer.get(), g.graph.get()))
            return QISRTV_GRAPH_FAILED_DEBUG(kConnectDeviceFailed + hrNumber(hr));
    }
    logStep(kLoadTransportInfo);
    if (!LoadFilter(tunekit::KSCATEGORY_BDA_TRANSPORT_INFORMATION, g.transportInformation.put(), g.demultiplexer.get(), true, g.graph.get()))
        return QISRTV_GRAPH_FAILED(kLoadTransportInfoFailed);
    logStep(kEnumDemuxPins);
    hr = g.demultiplexer->EnumPins(g.demultiplexerPins.put());
    if (SUCCEEDED(hr) && !g.demultiplexerPins) hr = E_POINTER;
    if (FAILED(hr)) return QISRTV_GRAPH_FAILED(kEnumDemuxPinsFailed + hrNumber(hr));
    logStep(kConnectingDemuxPins);
    renderDemultiplexerOutputs(g);
    return TestResult::PASS();
}

// The frequency map's countries limit the dialog; the chosen country's frequencies make the plan.
TestResult chooseCountry(DvbtGraph& g) {
    logStep(kGettingMapping);
    logStep(kQueryMap);
    HRESULT hr = g.networkProvider->QueryInterface(IID_PPV_ARGS(g.frequencyMap.put()));
    if (FAILED(hr)) return QISRTV_GRAPH_FAILED(kQueryMapFailed + hrText(hr));
    logStep(kCountryList);
    hr = g.frequencyMap->get_CountryCodeList(&g.countries.count, g.countries.values.put());
    if (FAILED(hr)) return QISRTV_GRAPH_FAILED(kCountryListFailed + hrText(hr));
    for (ULONG i = 0; i < g.countries.count && g.countries.values; ++i) supportedCountryCodes().add(g.countries.values[i]);
    logStep(kAskingCountry);
    const std::int32_t country = askForCountry();
    if (country == 0) {
        logStep(kCountryCancelled);
        DiagModule::percentDone(100);
        return TestResult::USERABORTED();
    }
    logStep(kPutCountry);
    hr = g.frequencyMap->put_CountryCode(static_cast<ULONG>(country));
    if (FAILED(hr)) return QISRTV_GRAPH_FAILED(kPutCountryFailed + hrText(hr));
    logStep(kMapping);
    hr = g.frequencyMap->get_DefaultFrequencyMapping(static_cast<ULONG>(country), &g.frequencies.count, g.frequencies.values.put());
    if (FAILED(hr)) return QISRTV_GRAPH_FAILED(kMappingFailed + hrText(hr));
    // A map that answers without a list has no frequencies for the country.
    g.plan.buildForCountry(static_cast<std::uint32_t>(country), reinterpret_cast<const std::uint32_t*>(g.frequencies.values.get()),
                           g.frequencies.values ? g.frequencies.count : 0);
    g.lastChannel = g.plan.channelCount() - 1; // an empty plan wraps round
    logStep(kChannelRange + qis::QISValue(static_cast<unsigned long>(g.lastChannel)).toString());
    return TestResult::PASS();
}

TestResult runGraph(DvbtGraph& g) {
    logStep(kQueryControl);
    HRESULT hr = g.graph->QueryInterface(IID_PPV_ARGS(g.mediaControl.put()));
    if (FAILED(hr)) return QISRTV_GRAPH_FAILED(kQueryControlFailed + hrNumber(hr));
    logStep(kAddToRot);
    AddGraphToRot(g.graph.get(), &g_dvbtRotCookie);
    logStep(kRun);
    hr = g.mediaControl->Run();
    if (FAILED(hr)) return QISRTV_GRAPH_FAILED(kRunFailed + hrNumber(hr));
    g.graph->QueryInterface(IID_PPV_ARGS(g.videoWindow.put()));
    const tunekit::Bstr caption(DigitalSignalTestWndTitle->localizedString().wide().c_str());
    if (g.videoWindow) g.videoWindow->put_Caption(caption.get());
    return TestResult::PASS();
}

bool signalOnTunedChannel(DvbtGraph& g) {
    // Without a grabber the stream cannot be read at all.
    const long quality = g.grabber ? getStreamSignalQuality(g.grabber.get()) : kNoStreamData - 1;
    if (quality < kNoStreamData) {
        if (isSignalPresent(false, g.tuner.get(), g.tunerFilter.get())) return true;
        qis::System::sleep(kNoPictureSeconds);
        return false;
    }
    return quality > kUsableQuality;
}

// One pass over the plan; record 0 is never tuned. `done` is set when the scan must not go on.
TestResult scanPlan(DvbtGraph& g, bool& done) {
    if (g.lastChannel == 0) return TestResult::NOSIGNAL();
    const std::uint32_t divisor = g.lastChannel - 1;
    std::uint64_t progress = 100;
    for (std::uint64_t channel = 1; channel <= g.lastChannel; ++channel, progress += 100) {
        // Only the variable is set: this scan shows no per-channel text.
        TestingChannel->setVariable("channel", qis::QISValue(static_cast<unsigned long long>(channel)));
        ITuningSpace* space = g.tuningSpace.get();
        ITuner* tuner = g.tuner.get();
        if (!tuneToDVBTChannel(g.plan, &space, &tuner, static_cast<std::uint32_t>(channel))) {
            logError(__LINE__, kTuneFailed);
            DiagModule::error(ErrorCreatingFilterGraph, kSourceFile, __LINE__);
            done = true;
            return TestResult::FAIL();
        }
        if (signalOnTunedChannel(g)) {
            qis::System::sleep(kPictureSeconds);
            done = true;
            return TestResult::PASS();
        }
        // A two-record plan has nothing to divide by; its one channel counts as done. Past the
        // last channels the value may exceed 100 and is passed as it is.
        const std::uint32_t percent = divisor ? static_cast<std::uint32_t>(progress) / divisor : 100u;
        DiagModule::percentDone(static_cast<int>(percent));
        logStep(kCheckingStop);
        if (DiagModule::checkForStop()) {
            logStep(kStopping);
            done = true;
            return TestResult::USERABORTED();
        }
    }
    return TestResult::NOSIGNAL();
}


void raiseNoSignal(const mirt5::DiagDevice& device, std::uint32_t lastChannel) {
    mirt5::Event* event = device.name().contains(kOcurName) ? ErrorNoSignalWithTip : ErrorNoSignalDetected;
    event->setVariable("startchannel", qis::QISValue(1u));
    event->setVariable("endchannel", qis::QISValue(static_cast<unsigned long>(lastChannel)));
    DiagModule::warning(event, kSourceFile, __LINE__);
}

// Logs the step, and on failure its error text with the HRESULT number; true on success.
bool dvbtStep(const char* failedText, HRESULT hr) {
    if (SUCCEEDED(hr)) return true;
    logStep(failedText + hrNumber(hr));
    return false;
}

} // namespace

// The tuning space is never put on the tuner: each tune request carries it.
bool initializeDVBTTuner(ITuningSpace** tuningSpace, IBaseFilter** networkProvider, IGraphBuilder* graph) {
    QISRTV_TRACE("initializeDVBTTuner");
    logStep(kCreatingSpace);
    if (!dvbtStep(kCreateSpaceFailed, createInstance(CLSID_DVBTuningSpace, nullptr, CLSCTX_ALL, IID_PPV_ARGS(tuningSpace))))
        return false;
    logStep(kCreatingSpace2);
    ComPtr<IDVBTuningSpace2> space;
    if (!dvbtStep(kQuerySpace2Failed, (*tuningSpace)->QueryInterface(IID_PPV_ARGS(space.put())))) return false;
    logStep(kSettingSystemType);
    if (!dvbtStep(kSystemTypeFailed, space->put_SystemType(DVB_Terrestrial))) return false;
    logStep(kPuttingNetworkType);
    const tunekit::Bstr networkType(kDvbtNetworkType);
    if (!networkType) throw qis::Exception("E_OUTOFMEMORY: no room for the network type text");
    if (!dvbtStep(kNetworkTypeFailed, space->put_NetworkType(networkType.get()))) return false;
    logStep(kGettingClsid);
    CLSID providerClass{};
    if (!dvbtStep(kClsidFailed, CLSIDFromString(kDvbtNetworkType, &providerClass))) return false;
    logStep(kCreatingProvider);
    if (!dvbtStep(kCreateProviderFailed,
                  createInstance(providerClass, nullptr, CLSCTX_ALL, IID_PPV_ARGS(networkProvider))))
        return false;
    logStep(kAddingProvider);
    if (!dvbtStep(kAddProviderFailed, graph->AddFilter(*networkProvider, kProviderName))) return false;
    logStep(kAddedProvider);
    return true;
}

bool tuneToDVBTChannel(DVBTChannelPlan& plan, ITuningSpace** tuningSpace, ITuner** tuner, std::uint32_t channel) {
    // The bound lets the count itself through to the read, which then raises IndexOutOfBounds.
    if (channel > plan.channelCount() || !*tuningSpace) return false;
    ComPtr<IDVBTuningSpace2> space;
    ComPtr<ITuneRequest> request;
    ComPtr<IDVBTuneRequest> dvbRequest;
    ComPtr<IDVBTLocator> locator;
    if (FAILED((*tuningSpace)->QueryInterface(IID_PPV_ARGS(space.put()))) || FAILED(space->CreateTuneRequest(request.put())) ||
        !request || FAILED(request->QueryInterface(IID_PPV_ARGS(dvbRequest.put()))) ||
        FAILED(createInstance(CLSID_DVBTLocator, nullptr, CLSCTX_ALL, IID_PPV_ARGS(locator.put()))) || !locator)
        return false;
    const DVBTChannel& record = plan[channel];
    // The code rate goes to the low-priority stream's FEC rate; the high-priority one is left alone.
    if (FAILED(locator->put_CarrierFrequency(static_cast<long>(record.frequency))) ||
        FAILED(locator->put_Modulation(static_cast<ModulationType>(record.modulation))) ||
        FAILED(locator->put_Mode(static_cast<TransmissionMode>(record.transmissionMode))) ||
        FAILED(locator->put_Guard(static_cast<GuardInterval>(record.guardInterval))) ||
        FAILED(locator->put_LPInnerFECRate(static_cast<BinaryConvolutionCodeRate>(record.codeRate))) ||
        FAILED(locator->put_Bandwidth(static_cast<long>(record.bandwidth))))
        return false;
    return SUCCEEDED(request->put_Locator(locator.get())) && SUCCEEDED((*tuner)->put_TuneRequest(request.get()));
}

TestResult RunDVBTest(const mirt5::DiagDevice& device) {
    QISRTV_TRACE("RunDVBTest");
    // The channel range comes from the plan; the parameters are read and left unused.
    DigitalStartChannel->value();
    DigitalEndChannel->value();
    DvbtGraph g;
    TestResult result = buildGraph(device, g);
    if (result == TestResult::PASS()) result = chooseCountry(g);
    if (result == TestResult::PASS()) result = runGraph(g);
    if (result != TestResult::PASS()) return result; // early ends leave the filters in the graph
    result = runAttempts([&](bool& done) { return scanPlan(g, done); }, g.videoWindow.get(),
                         [](const qis::String& text) { logStep(text); });
    logStep(kCleaningUp);
    RemoveGraphFromRot(g_dvbtRotCookie);
    g.mediaControl->Stop();
    qis::System::sleepMilliseconds(kStoppedMilliseconds);
    if (result == TestResult::NOSIGNAL()) {
        logStep(kNoSignal);
        raiseNoSignal(device, g.lastChannel);
    }
    removeFilters(g.graph.get());
    DiagModule::percentDone(100);
    return result;
}

} // namespace qisrtvcard

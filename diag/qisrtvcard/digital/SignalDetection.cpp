#include "digital/SignalDetection.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "digital/DigitalLog.h"
#include "frame/Catalogue.h"
#include "frame/Trace.h"
#include "qis/System.h"
#include "tunekit/ComPtr.h"
#include "tunekit/Mpeg2StreamAnalyzer.h"

namespace qisrtvcard {
namespace {

using tunekit::ComPtr;
using tunekit::TunerLogger;

constexpr const char* kMinorChannelMethod = "Trying minor channel method";
constexpr const char* kNoStatistics = "ERROR: IBaseFilter::QueryInterface(IBDA_SignalStatistics) is not working.";
constexpr const char* kTopologyMethod = "Trying new topology method";
constexpr const char* kCheckingStatistics = "Checking SigStats for signal present";

constexpr const char* kQueryTopology = "Querying for topology on tuner device";
constexpr const char* kNoTopology = "getSignalStrength::Cannot Find IID_IBDA_Topology";
constexpr const char* kGettingNodeTypes = "Getting nodes types";
constexpr const char* kNoNodeTypes = "getSignalStrength::Cannot get node types";
constexpr const char* kGettingInterfaces = "Getting node interfaces";
constexpr const char* kCheckingInterface = "Checking for IID_IBDA_SignalStatistics";
constexpr const char* kCheckingControlNode = "Checking for control node";
constexpr const char* kQueryNodeStatistics = "Querying for the sig stats from the topo node";
constexpr const char* kCheckingTopoSignal = "Checking if topo signal is present";
constexpr const char* kValidSignal = "Found a valid signal";

constexpr const char* kNoGrabber = "Failed to get the sample grabber iface";
constexpr const char* kGotGrabber = "Got Sample Grabber";
constexpr const char* kNoBufferSize = "Failed to get the buffer size ";
constexpr const char* kNoSignal = "No Signal Present";
constexpr const char* kGotData = "Got Data bufferSize: ";
constexpr const char* kQuality = "Signal Quality: ";
constexpr const char* kNoBuffer = "Failed to get the sample grabber current buffer ";
constexpr const char* kNoStreamData = "We were not receiving any stream data";

constexpr ULONG kMostNodes = 32;
constexpr ULONG kTunerInputPin = 0;
constexpr ULONG kTunerOutputPin = 1;
constexpr long kQualityThreshold = 50;
constexpr long kNotSet = -1;
constexpr int kGrabberRounds = 10;
constexpr unsigned long kGrabberPollMilliseconds = 50;
constexpr long kPacketSize = 188;
constexpr long kNoStream = -1;
constexpr long kGrabberUnreadable = -2;
// More than any transport stream sample a grabber holds: a larger size is a misreport.
constexpr long kMostSampleBytes = 64L * 1024 * 1024;

bool minorChannelLocked(ITuner* tuner) {
    TunerLogger::logDebugMessage(kMinorChannelMethod);
    ComPtr<ITuneRequest> request;
    if (!tuner || FAILED(tuner->get_TuneRequest(request.put())) || !request) return false;
    ComPtr<IATSCChannelTuneRequest> atscRequest;
    // Only an ATSC channel request says which program the provider locked onto.
    if (FAILED(request.as(atscRequest)) || !atscRequest) return false;
    long minorChannel = kNotSet;
    atscRequest->get_MinorChannel(&minorChannel);
    return minorChannel != kNotSet;
}

// One statistic read into a value that starts at 0, logged either way.
template <class T>
T readStatistic(HRESULT (STDMETHODCALLTYPE IBDA_SignalStatistics::*get)(T*), IBDA_SignalStatistics* statistics,
                const char* logged, const char* failed) {
    T value = 0;
    if (SUCCEEDED((statistics->*get)(&value))) TunerLogger::logDebugMessage(logged + qis::QISValue(static_cast<long>(value)).toString());
    else TunerLogger::logDebugMessage(failed);
    return value;
}

bool nodeHasStatistics(IBDA_Topology* topology, ULONG nodeType) {
    TunerLogger::logDebugMessage(kGettingInterfaces);
    GUID interfaces[kMostNodes] = {};
    ULONG count = 0;
    if (topology->GetNodeInterfaces(nodeType, &count, kMostNodes, interfaces) != S_OK || count == 0) return false;
    for (ULONG i = 0; i < count && i < kMostNodes; ++i) {
        TunerLogger::logDebugMessage(kCheckingInterface);
        if (interfaces[i] == IID_IBDA_SignalStatistics) return true;
    }
    return false;
}

bool nodeHasValidSignal(IBDA_Topology* topology, ULONG nodeType) {
    if (!nodeHasStatistics(topology, nodeType)) return false;
    TunerLogger::logDebugMessage(kCheckingControlNode);
    ComPtr<IUnknown> node;
    if (topology->GetControlNode(kTunerInputPin, kTunerOutputPin, nodeType, node.put()) != S_OK || !node) return false;
    TunerLogger::logDebugMessage(kQueryNodeStatistics);
    ComPtr<IBDA_SignalStatistics> statistics;
    if (node->QueryInterface(IID_PPV_ARGS(statistics.put())) != S_OK || !statistics) return false;
    const LONG quality = readStatistic(&IBDA_SignalStatistics::get_SignalQuality, statistics.get(), "Topo sig qual: ", "Topo sig qual failed");
    const BOOLEAN locked = readStatistic(&IBDA_SignalStatistics::get_SignalLocked, statistics.get(), "Topo sig lock: ", "Topo sig lock failed");
    const BOOLEAN present = readStatistic(&IBDA_SignalStatistics::get_SignalPresent, statistics.get(), "Topo sig present: ", "Topo sig present failed");
    // Strength and sample time are only logged.
    readStatistic(&IBDA_SignalStatistics::get_SignalStrength, statistics.get(), "Topo sig strength: ", "Topo sig strength failed");
    readStatistic(&IBDA_SignalStatistics::get_SampleTime, statistics.get(), "Topo sample time: ", "Topo sample time failed");
    TunerLogger::logDebugMessage(kCheckingTopoSignal);
    return present && locked && quality > kQualityThreshold;
}

long grabberFailure(const char* text, HRESULT hr) {
    TunerLogger::logDebugMessage(text + hrText(hr));
    return hr == VFW_E_WRONG_STATE ? kNoStream : kGrabberUnreadable;
}

long readQuality(ISampleGrabber* grabber, long size) {
    if (size > kMostSampleBytes) return grabberFailure(kNoBuffer, E_OUTOFMEMORY);
    // Room for `size` 32-bit words, of which the first `size` bytes are zeroed.
    std::vector<std::uint32_t> words(static_cast<std::size_t>(size));
    auto* bytes = reinterpret_cast<unsigned char*>(words.data());
    std::memset(bytes, 0, static_cast<std::size_t>(size));
    const long allocatedBytes = size * static_cast<long>(sizeof(std::uint32_t));
    HRESULT hr = grabber->GetCurrentBuffer(&size, reinterpret_cast<long*>(words.data()));
    // A grabber that claims a negative copy is as unreadable as one that fails; one that claims
    // more than the buffer holds is read no further than the buffer.
    if (SUCCEEDED(hr) && size < 0) hr = E_UNEXPECTED;
    if (FAILED(hr)) return grabberFailure(kNoBuffer, hr);
    size = std::min(size, allocatedBytes);
    TunerLogger::logDebugMessage(kGotData + qis::QISValue(size).toString());
    const auto quality = static_cast<long>(tunekit::Mpeg2StreamAnalyzer::signalQuality(bytes, static_cast<unsigned long>(size)));
    TunerLogger::logDebugMessage(kQuality + qis::QISValue(quality).toString());
    return quality;
}

} // namespace

bool isSignalPresent(bool allowMinorChannelTechnique, ITuner* tuner, IBaseFilter* tunerFilter) {
    QISRTV_TRACE("isSignalPresent");
    if (allowMinorChannelTechnique && UseMinorChannelTechnique->value().valueBool()) return minorChannelLocked(tuner);
    ComPtr<IBDA_SignalStatistics> statistics;
    if (!tunerFilter || FAILED(tunerFilter->QueryInterface(IID_PPV_ARGS(statistics.put()))) || !statistics) {
        TunerLogger::logDebugMessage(kNoStatistics);
        TunerLogger::logDebugMessage(kTopologyMethod);
        return getSignalStrength(tunerFilter);
    }
    TunerLogger::logDebugMessage(kCheckingStatistics);
    BOOLEAN present = 0;
    statistics->get_SignalPresent(&present);
    return present == 1;
}

bool getSignalStrength(IBaseFilter* tunerFilter) {
    QISRTV_TRACE("getSignalStrength");
    if (!tunerFilter) return false;
    TunerLogger::logDebugMessage(kQueryTopology);
    ComPtr<IBDA_Topology> topology;
    // By __uuidof: mingw-w64's import library carries a wrong IID_IBDA_Topology.
    if (FAILED(tunerFilter->QueryInterface(IID_PPV_ARGS(topology.put()))) || !topology) {
        TunerLogger::logDebugMessage(kNoTopology);
        return false;
    }
    TunerLogger::logDebugMessage(kGettingNodeTypes);
    ULONG nodeTypes[kMostNodes] = {};
    ULONG count = 0;
    if (FAILED(topology->GetNodeTypes(&count, kMostNodes, nodeTypes))) {
        TunerLogger::logDebugMessage(kNoNodeTypes);
        return false;
    }
    for (ULONG i = 0; i < count && i < kMostNodes; ++i) {
        if (!nodeHasValidSignal(topology.get(), nodeTypes[i])) continue;
        TunerLogger::logDebugMessage(kValidSignal);
        return true;
    }
    return false;
}

long getStreamSignalQuality(IBaseFilter* sampleGrabberFilter) {
    QISRTV_TRACE("getStreamSignalQuality");
    ComPtr<ISampleGrabber> grabber;
    const HRESULT hr = sampleGrabberFilter ? sampleGrabberFilter->QueryInterface(IID_PPV_ARGS(grabber.put())) : E_POINTER;
    if (FAILED(hr) || !grabber) {
        TunerLogger::logDebugMessage(kNoGrabber + hrText(FAILED(hr) ? hr : E_NOINTERFACE));
        return kGrabberUnreadable;
    }
    TunerLogger::logDebugMessage(kGotGrabber);
    grabber->SetBufferSamples(TRUE);
    for (int round = 0; round < kGrabberRounds; ++round) {
        qis::System::sleepMilliseconds(kGrabberPollMilliseconds);
        long size = 0;
        const HRESULT sized = grabber->GetCurrentBuffer(&size, nullptr);
        if (FAILED(sized)) {
            const long result = grabberFailure(kNoBufferSize, sized);
            if (sized == VFW_E_WRONG_STATE) TunerLogger::logInfoMessage(kNoSignal);
            return result;
        }
        if (size >= kPacketSize) return readQuality(grabber.get(), size);
    }
    TunerLogger::logInfoMessage(kNoStreamData);
    return kNoStream;
}

} // namespace qisrtvcard

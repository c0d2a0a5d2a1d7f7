#pragma once
// The BDA side of the virtual system: the tuning model (tuning spaces, tune requests, locators,
// the system container), network providers, the tuner, receiver and transport-information
// filters, and the sample grabber.

#include <optional>

#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"
#include "tvsim/Journal.h"
#include "tvsim/Scenario.h"

namespace tvsim {

class Simulation;

// What one tune request asked for when it was handed to a network provider; -1 is "not set".
struct TuneSnapshot {
    enum class Kind { Atsc, Dvb };
    Kind kind = Kind::Atsc;
    long inputType = -1;     // ATSC: of the request's tuning space (TunerInputCable 0, TunerInputAntenna 1)
    long channel = -1;       // ATSC major / cable channel
    long minorChannel = -1;
    long physicalChannel = -1;
    long frequency = -1;     // carrier, kHz
    long modulation = -1;
    long program = -1;       // ATSC locator 2 program number
    long bandwidth = -1;     // DVB-T
    long guard = -1;
    long mode = -1;
    long lpFecRate = -1;

    // "ATSC input=1 channel=-1 minor=-1 physical=7 frequency=-1 modulation=-1 program=-1" or
    // "DVB-T frequency=474000 modulation=3 mode=2 guard=4 lpFecRate=2 bandwidth=8": the
    // argument text the journal shows for put_TuneRequest.
    qis::String text() const;
    // The text with each field by name, for the journal written out.
    Arguments arguments() const;
};

// Implemented by the simulated tune requests, so that a provider can read one whole.
class SimTuneRequest {
public:
    virtual ~SimTuneRequest() = default;
    virtual TuneSnapshot snapshot() const = 0;
    // A copy with the minor channel replaced (what a provider that locked onto a program hands back).
    virtual tunekit::ComPtr<ITuneRequest> withMinorChannel(long minor) const = 0;
};

// The channel the tuner spec receives for a tune request, or null.
const DigitalChannelSpec* receivedChannel(const BdaTunerSpec& tuner, const TuneSnapshot& request);

tunekit::ComPtr<ITuningSpace> createTuningSpace(const TuningSpaceSpec& spec);

tunekit::ComPtr<IUnknown> createSystemTuningSpaces(Simulation& simulation);
tunekit::ComPtr<IUnknown> createAtscLocator(Simulation& simulation);
tunekit::ComPtr<IUnknown> createDvbtLocator(Simulation& simulation);
tunekit::ComPtr<IUnknown> createDvbTuningSpace(Simulation& simulation);
tunekit::ComPtr<IUnknown> createAtscQamNetworkProvider(Simulation& simulation);
tunekit::ComPtr<IUnknown> createDvbtNetworkProvider(Simulation& simulation);
tunekit::ComPtr<IUnknown> createSampleGrabber(Simulation& simulation);

// The BDA filters a device moniker binds to (network provider, tuner, receiver, transport
// information), by the scenario filter's kind; null for another kind.
tunekit::ComPtr<IBaseFilter> createBdaFilter(const qis::String& name, const FilterSpec& spec);

// The IEnumTuningSpaces over the system's tuning spaces that a provider hands out.
tunekit::ComPtr<IEnumTuningSpaces> makeTuningSpaceEnumerator(qis::String name, const std::vector<TuningSpaceSpec>& spaces);

} // namespace tvsim

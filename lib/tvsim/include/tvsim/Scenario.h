#pragma once
// What the virtual system holds: devices, their filters, which channels carry a signal, running
// processes, faults to inject. Loaded from JSON (docs/tvsim-scenarios.md) or built in.

#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <vector>

#include "qis/String.h"
#include "tvsim/Faults.h"

namespace tvsim {

// A scenario that cannot be used: the message names the JSON path of the fault.
class ScenarioError : public std::runtime_error {
public:
    explicit ScenarioError(const qis::String& message) : std::runtime_error(message.utf8()) {}
};

struct DeviceUnderTest {
    qis::String name;
    qis::String description;
    std::vector<qis::String> capabilities;
    std::map<qis::String, qis::String> properties;
};

// One entry of a device category as the system device enumerator lists it. A property that is
// absent cannot be read from the property bag.
struct MonikerSpec {
    std::optional<qis::String> friendlyName;
    std::optional<qis::String> description;
    std::optional<qis::String> devicePath;
    qis::String filter; // key into Scenario::filters; empty: binding fails
};

struct VideoFormat {
    long width = 720;
    long height = 480;
    double framesPerSecond = 29.97;
};

struct ReportedFormat {
    qis::String formatType = "VideoInfo";
    long width = 720;
    long height = 480;
};

// The TV/FM tuner of an analog capture card.
struct TvTunerSpec {
    bool tvMode = true;
    bool fmMode = true;
    long minChannel = 1;
    long maxChannel = 158;
    std::set<long> antennaSignal; // channels with a signal on the antenna input
    std::set<long> cableSignal;   // ... on the cable input
    long minFrequency = 87500000; // FM band in Hz
    long maxFrequency = 108000000;
    std::set<long> fmSignal;      // FM frequencies in Hz with a station
    long inputType = 0;           // input selected at start: TunerInputCable 0, TunerInputAntenna 1
    long tvFormat = 1;            // AnalogVideoStandard bit (AnalogVideo_NTSC_M 1, AnalogVideo_PAL_B 0x10, ...)
    long lockMilliseconds = 0;    // after each tuning, no signal is reported until this much time has passed
};

// The analog crossbar: physical inputs routed to the outputs that feed the capture filter.
// Physical types are PhysicalConnectorType values (PhysConn_Video_Tuner 1,
// PhysConn_Video_VideoDecoder 12, PhysConn_Audio_Tuner 0x1000, PhysConn_Audio_AudioDecoder 0x1009).
struct CrossbarSpec {
    struct Input {
        long physicalType = 1; // PhysConn_Video_Tuner
        std::vector<long> routesTo;
        long related = -1;     // index of the input of the same jack (video and audio tuner), or -1
    };
    struct Output {
        long physicalType = 12; // PhysConn_Video_VideoDecoder
        long related = -1;
        long routedFrom = -1;   // the input routed here at start, or -1
    };
    std::vector<Input> inputs;
    std::vector<Output> outputs;
};

// What a BDA tuner receives on one channel and what its signal statistics say while tuned there.
struct SignalStatistics {
    bool locked = false;
    bool present = false;
    long quality = 0;     // 0..100
    long strength = 0;    // as the driver reports it (mdB on most cards)
    long sampleTime = 0;  // milliseconds
};

struct DigitalChannelSpec {
    bool picture = true;           // the stream carries video that a decoder can show
    long quality = 100;            // share of clean transport-stream packets, 0..100
    long sampleBytes = 188 * 64;   // size of each buffered transport-stream sample
    long minorChannel = -1;        // ATSC: the minor channel the provider locks onto, -1 for none
    SignalStatistics statistics;   // locked/present/quality follow the entry unless given
};

struct AtscChannelSpec : DigitalChannelSpec {
    long physicalChannel = 0;
};

// Clear QAM: a cable carrier (kHz, the analog picture carrier as the cable plan lists it) and
// the program on it.
struct QamChannelSpec : DigitalChannelSpec {
    long frequency = 0;
    long program = 0;
    long modulation = 11; // BDA_MOD_256QAM
};

// DVB-T: a centre frequency and the one parameter set that locks onto it (BDA enumeration values).
struct DvbtChannelSpec : DigitalChannelSpec {
    long frequency = 0;      // kHz
    long modulation = 3;     // BDA_MOD_64QAM
    long mode = 2;           // BDA_XMIT_MODE_8K
    long guard = 4;          // BDA_GUARD_1_4
    long lpFecRate = 2;      // BDA_BCC_RATE_2_3
    long bandwidth = 8;      // MHz
};

struct BdaTunerSpec {
    // Where IBDA_SignalStatistics is found: "filter" (on the tuner filter itself) or "topology"
    // (only on a control node of IBDA_Topology).
    qis::String statistics = "filter";
    std::vector<AtscChannelSpec> atscAntenna;
    std::vector<AtscChannelSpec> atscCable;
    std::vector<QamChannelSpec> clearQam;
    std::vector<DvbtChannelSpec> dvbt;
    // 0: no output at all; 2: an analog video output comes before the transport output, as on
    // hybrid tuners, so a graph builder has to pass over it.
    int outputPins = 1;
};

struct FilterSpec {
    // analogCapture, networkProvider, bdaTuner, bdaReceiver, bdaTransportInformation
    qis::String kind = "analogCapture";
    // Major types the capture pin offers: "Video", "Interleaved", "Stream".
    std::vector<qis::String> captureTypes = {"Video"};
    bool previewPin = true;
    VideoFormat format;
    // What IAMStreamConfig::GetFormat answers, when the driver reports something else than the
    // type the pin connected with: a format type ("VideoInfo", "VideoInfo2", "None") and a size.
    std::optional<ReportedFormat> reportedFormat;
    std::optional<TvTunerSpec> tuner;
    std::optional<CrossbarSpec> crossbar;
    std::optional<BdaTunerSpec> receives; // bdaTuner only
};

// One entry of the system tuning-space container. Kinds: "ATSC" (an ATSC or digital cable space,
// IATSCTuningSpace) and "DVB-T" / "DVB-C" (IDVBTuningSpace2).
struct TuningSpaceSpec {
    qis::String uniqueName;
    qis::String friendlyName;
    qis::String kind = "ATSC";
    long inputType = 1; // ATSC: TunerInputAntenna 1, TunerInputCable 0
};

std::vector<TuningSpaceSpec> defaultTuningSpaces();

// A filter the graph manager may put between two pins that do not agree on a type (a decoder):
// it takes `input` and gives `output`. Types are named "Major/Subtype" ("Video/MPEG2_VIDEO",
// "Video/YUY2", "Audio/PCM"); a major type alone accepts any subtype.
struct ConverterSpec {
    qis::String name;
    qis::String input;
    qis::String output;
};

// A stop request the virtual system makes as a host would: when the Nth call of a method is
// made (the request is up when that call returns), or at the first call at or after a virtual time.
struct StopRule {
    qis::String object = "*";
    qis::String method;          // empty: by time only
    unsigned call = 1;
    std::optional<long long> atMs;
};

// What a driver reports, call by call: the Nth call of the method answers values[N-1]; once the
// list is used up the hardware answers as the scenario describes it.
struct ValueScript {
    qis::String object = "*";
    qis::String method;
    std::vector<long> values;
};

struct Scenario {
    qis::String name;
    DeviceUnderTest device;
    std::vector<qis::String> processes;
    std::map<qis::String, std::vector<MonikerSpec>> categories; // "VideoInputDevice", ...
    std::map<qis::String, FilterSpec> filters;
    std::vector<FaultRule> faults;
    std::vector<ConverterSpec> converters;
    std::vector<TuningSpaceSpec> tuningSpaces = defaultTuningSpaces();
    // Country code (E.164) -> DVB-T centre frequencies in kHz, in the order IFrequencyMap gives them.
    std::map<unsigned long, std::vector<unsigned long>> frequencyMaps;
    // The codes the frequency map accepts and lists, when they differ from those it has a
    // mapping for (a tuner that knows a country but has no channel list for it); in this order.
    std::optional<std::vector<unsigned long>> frequencyMapCountries;
    bool mpeg2FileWriter = false; // the MPEG-2 file writer class is installed
    // How many output pins the system demultiplexer makes for a transport stream: the first of
    // video, audio and sections (the tables).
    int demultiplexerOutputPins = 3;
    std::optional<StopRule> stop;
    std::vector<ValueScript> values;
};

Scenario parseScenario(const std::string& json, const qis::String& origin);
Scenario loadScenarioFile(const qis::String& path);
std::vector<qis::String> builtInScenarioNames();
// The JSON text of a built-in scenario, or nothing for an unknown name.
std::optional<std::string> builtInScenarioText(const qis::String& name);
// A built-in name, else a file path.
Scenario loadScenario(const qis::String& nameOrPath);

inline constexpr const char* kDefaultScenario = "hybrid";

} // namespace tvsim

// The digital side of the virtual system as the digital tests use it: BDA devices, the graph
// from network provider to renderer, tuning, signal statistics, frequency maps, the sample
// grabber's transport stream and the system tuning spaces.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "SimTestSupport.h"
#include "tunekit/ComValues.h"
#include "tvsim/Filter.h"

namespace tvsim {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::create;
using testing::pinNames;
using testing::pinOf;
using testing::query;
using tunekit::ComPtr;

std::string scenarioText(const char* name) { return *builtInScenarioText(name); }

std::string uniqueNameOf(ITuningSpace* space) {
    BSTR name = nullptr;
    space->get_UniqueName(&name);
    const std::string text = qis::String(name ? name : L"").utf8();
    SysFreeString(name);
    return text;
}

// A digital scenario, with the look-ups of devices and tune requests the tests share.
class DigitalFixture : public testing::SimTest {
protected:
    explicit DigitalFixture(const std::string& json) : SimTest(json) {}

    // Device `index` of a BDA category, bound and added to `graph` under its friendly name; its
    // device path in `devicePath` when asked.
    ComPtr<IBaseFilter> load(REFGUID category, IGraphBuilder* graph, int index = 0, std::string* devicePath = nullptr) {
        auto devices = create<ICreateDevEnum>(CLSID_SystemDeviceEnum);
        ComPtr<IEnumMoniker> monikers;
        EXPECT_EQ(devices->CreateClassEnumerator(category, monikers.put(), 0), S_OK);
        ComPtr<IMoniker> moniker;
        for (int i = 0; i <= index; ++i)
            if (!monikers || monikers->Next(1, moniker.put(), nullptr) != S_OK) return ComPtr<IBaseFilter>();
        ComPtr<IBaseFilter> filter;
        EXPECT_EQ(moniker->BindToObject(nullptr, nullptr, IID_IBaseFilter, filter.putVoid()), S_OK);
        ComPtr<IPropertyBag> bag;
        EXPECT_EQ(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, bag.putVoid()), S_OK);
        tunekit::Variant path, name;
        if (devicePath && bag->Read(L"DevicePath", path.get(), nullptr) == S_OK) *devicePath = qis::String(path.value().bstrVal).utf8();
        EXPECT_EQ(bag->Read(L"FriendlyName", name.get(), nullptr), S_OK);
        if (graph) EXPECT_EQ(graph->AddFilter(filter.get(), name.value().bstrVal), S_OK);
        return filter;
    }

    // An ATSC tune request for a physical channel on a space of the container (antenna or cable).
    ComPtr<ITuneRequest> atscRequest(long physicalChannel, TunerInputType input) {
        auto spaces = create<ITuningSpaceContainer>(CLSID_SystemTuningSpaces);
        ComPtr<ITuningSpace> space;
        EXPECT_EQ(spaces->get_Item(tunekit::Variant(0).value(), space.put()), S_OK);
        EXPECT_EQ(query<IATSCTuningSpace>(space)->put_InputType(input), S_OK);
        ComPtr<ITuneRequest> request;
        EXPECT_EQ(space->CreateTuneRequest(request.put()), S_OK);
        auto channel = query<IATSCChannelTuneRequest>(request);
        channel->put_Channel(-1);
        channel->put_MinorChannel(-1);
        auto locator = create<IATSCLocator>(CLSID_ATSCLocator);
        EXPECT_EQ(locator->put_PhysicalChannel(physicalChannel), S_OK);
        EXPECT_EQ(request->put_Locator(locator.get()), S_OK);
        return request;
    }
};

// The ATSC card wired as the ATSC test wires it: provider, tuner, receiver, demultiplexer and
// three rendered demultiplexer outputs.
class AtscGraph : public DigitalFixture {
protected:
    AtscGraph() : DigitalFixture(scenarioText("atsc")) {}

    void SetUp() override {
        provider = load(tunekit::KSCATEGORY_BDA_NETWORK_PROVIDER, graph.get());
        tunerFilter = load(tunekit::KSCATEGORY_BDA_NETWORK_TUNER, graph.get());
        receiver = load(tunekit::KSCATEGORY_BDA_RECEIVER_COMPONENT, graph.get());
        ASSERT_EQ(graph->AddFilter(demux.get(), L"Demux"), S_OK);
        testing::connect(graph.get(), {{provider.get(), L"Antenna Out", tunerFilter.get(), L"Input0"},
                                       {tunerFilter.get(), L"MPEG2 Transport", receiver.get(), L"MPEG2 Transport In"},
                                       {receiver.get(), L"MPEG2 Transport", demux.get(), L"MPEG-2 Stream"}});
        ASSERT_EQ(provider.as(tuner), S_OK);
    }
    void TearDown() override {
        if (control) control->Stop();
    }

    void renderDemux() {
        for (const wchar_t* name : {L"001", L"002", L"003"}) ASSERT_EQ(graph->Render(pinOf(demux.get(), name).get()), S_OK);
        ComPtr<IBaseFilter> renderer;
        ASSERT_EQ(graph->FindFilterByName(L"Video Renderer", renderer.put()), S_OK);
        ASSERT_EQ(renderer.as(frames), S_OK);
        ASSERT_EQ(graph.as(control), S_OK);
    }

    int framesIn(double seconds) {
        int before = 0, after = 0;
        frames->get_FramesDrawn(&before);
        qis::System::sleep(seconds);
        frames->get_FramesDrawn(&after);
        return after - before;
    }

    // A Clear QAM request on the tuner's own cable space.
    ComPtr<ITuneRequest> qamRequest(long frequency, long program, ModulationType modulation) {
        ComPtr<IEnumTuningSpaces> spaces;
        EXPECT_EQ(tuner->EnumTuningSpaces(spaces.put()), S_OK);
        ComPtr<ITuningSpace> space;
        for (ComPtr<ITuningSpace> s; spaces->Next(1, s.put(), nullptr) == S_OK;)
            if (uniqueNameOf(s.get()) == "ATSCCable") space = s;
        EXPECT_TRUE(space);
        auto locator = create<IATSCLocator2>(CLSID_ATSCLocator);
        locator->put_ProgramNumber(program);
        locator->put_CarrierFrequency(frequency);
        locator->put_Modulation(modulation);
        ComPtr<ITuneRequest> request;
        EXPECT_EQ(space->CreateTuneRequest(request.put()), S_OK);
        query<IATSCChannelTuneRequest>(request)->put_Channel(80);
        request->put_Locator(locator.get());
        return request;
    }

    ComPtr<IGraphBuilder> graph = create<IGraphBuilder>(CLSID_FilterGraph);
    ComPtr<IBaseFilter> provider, tunerFilter, receiver, demux = create<IBaseFilter>(CLSID_MPEG2Demultiplexer);
    ComPtr<ITuner> tuner;
    ComPtr<IQualProp> frames;
    ComPtr<IMediaControl> control;
};

TEST_F(AtscGraph, TheTransportStreamRendersAndFramesAreDrawnOnlyWhileRunningOnAChannelWithAPicture) {
    EXPECT_THAT(pinNames(demux.get()), ElementsAre("MPEG-2 Stream", "001", "002", "003"));
    renderDemux();
    for (const wchar_t* name : {L"MPEG-2 Video Decoder", L"Default DirectSound Device", L"BDA MPEG2 Transport Information Filter"}) {
        ComPtr<IBaseFilter> found;
        EXPECT_EQ(graph->FindFilterByName(name, found.put()), S_OK) << qis::String(name).utf8();
    }
    ASSERT_EQ(control->Run(), S_OK);
    EXPECT_EQ(framesIn(2.5), 0) << "nothing tuned yet";
    const auto framesOn = [&](const ComPtr<ITuneRequest>& request) {
        EXPECT_EQ(tuner->put_TuneRequest(request.get()), S_OK);
        return framesIn(2.5);
    };
    EXPECT_EQ(framesOn(atscRequest(7, TunerInputCable)), 0) << "channel 7 carries a picture on the antenna only";
    EXPECT_EQ(framesOn(atscRequest(31, TunerInputAntenna)), 0) << "channel 31 carries a stream without a picture";
    // Clear QAM is received only on its carrier and program at 256-QAM.
    EXPECT_EQ(framesOn(qamRequest(559250, 2, BDA_MOD_256QAM)), 0);
    EXPECT_EQ(framesOn(qamRequest(559250, 3, BDA_MOD_64QAM)), 0);
    EXPECT_EQ(framesOn(qamRequest(565250, 3, BDA_MOD_256QAM)), 0);
    EXPECT_GT(framesOn(qamRequest(559250, 3, BDA_MOD_256QAM)), 0);
    EXPECT_GE(framesOn(atscRequest(7, TunerInputAntenna)), 70);
    ASSERT_EQ(control->Pause(), S_OK);
    EXPECT_EQ(framesIn(2.5), 0) << "paused";
}

TEST_F(AtscGraph, StatisticsAreOnTheDemodulatorNodeAndALockedProgramFillsInTheMinorChannel) {
    ComPtr<IBDA_SignalStatistics> onFilter;
    EXPECT_EQ(tunerFilter.as(onFilter), E_NOINTERFACE) << "this tuner has them on a node only";
    auto topology = query<IBDA_Topology>(tunerFilter);
    ULONG types[32], count = 0;
    ASSERT_EQ(topology->GetNodeTypes(&count, 32, types), S_OK);
    ASSERT_EQ(count, 2u);
    GUID interfaces[32];
    ULONG interfaceCount = 0;
    EXPECT_EQ(topology->GetNodeInterfaces(types[0], &interfaceCount, 32, interfaces), S_OK);
    EXPECT_EQ(interfaceCount, 0u);
    ASSERT_EQ(topology->GetNodeInterfaces(types[1], &interfaceCount, 32, interfaces), S_OK);
    ASSERT_EQ(interfaceCount, 1u);
    EXPECT_EQ(interfaces[0], __uuidof(IBDA_SignalStatistics));
    ComPtr<IUnknown> node;
    ASSERT_EQ(topology->GetControlNode(0, 1, types[1], node.put()), S_OK);
    auto statistics = query<IBDA_SignalStatistics>(node);
    EXPECT_EQ(statistics->put_SignalQuality(10), E_NOTIMPL);
    const auto read = [&] {
        LONG quality = -1;
        BOOLEAN locked = 2, present = 2;
        statistics->get_SignalQuality(&quality);
        statistics->get_SignalLocked(&locked);
        statistics->get_SignalPresent(&present);
        return std::tuple(static_cast<int>(locked), static_cast<int>(present), quality);
    };
    // Tunes an antenna channel; the minor channel of the request the provider then holds.
    const auto minorAfterTuning = [&](long physical) {
        EXPECT_EQ(tuner->put_TuneRequest(atscRequest(physical, TunerInputAntenna).get()), S_OK);
        ComPtr<ITuneRequest> current;
        EXPECT_EQ(tuner->get_TuneRequest(current.put()), S_OK);
        LONG minor = 99;
        query<IATSCChannelTuneRequest>(current)->get_MinorChannel(&minor);
        return minor;
    };
    EXPECT_EQ(read(), std::tuple(0, 0, 0L)) << "nothing tuned";
    minorAfterTuning(31);
    EXPECT_EQ(read(), std::tuple(1, 1, 35L)) << "a weak channel, as the scenario gives it";
    EXPECT_EQ(minorAfterTuning(7), 1);
    EXPECT_EQ(read(), std::tuple(1, 1, 100L));
    EXPECT_EQ(minorAfterTuning(8), -1);
    // What was tuned is in the journal, whole.
    const auto tunes = callsOf("put_TuneRequest");
    ASSERT_EQ(tunes.size(), 3u);
    EXPECT_EQ(tunes[1].object, "Microsoft Network Provider");
    EXPECT_EQ(tunes[1].arguments, "ATSC input=1 channel=-1 minor=-1 physical=7 frequency=-1 modulation=-1 program=-1");
}

TEST_F(AtscGraph, ProvidersOnlyTakeRequestsOfTheirNetwork) {
    auto dvbt = create<IBaseFilter>(CLSID_DVBTNetworkProvider);
    auto qam = create<IBaseFilter>(tunekit::CLSID_ATSCQAMNetworkProvider);
    auto qamTuner = query<ITuner>(qam);
    EXPECT_EQ(query<ITuner>(dvbt)->put_TuneRequest(atscRequest(7, TunerInputAntenna).get()), E_INVALIDARG);
    EXPECT_EQ(qamTuner->put_TuneRequest(atscRequest(7, TunerInputAntenna).get()), S_OK);
    ComPtr<IFrequencyMap> map;
    EXPECT_EQ(qam.as(map), E_NOINTERFACE) << "only the DVB-T provider has frequency maps";
    EXPECT_EQ(qamTuner->put_TuneRequest(nullptr), E_POINTER);
}

// The DVB-T stick as the DVB-T test wires it, with the sample grabber behind the receiver.
class DvbtGraph : public DigitalFixture {
protected:
    explicit DvbtGraph(const std::string& json = scenarioText("dvbt")) : DigitalFixture(json) {}

    void SetUp() override {
        ASSERT_EQ(graph->AddFilter(provider.get(), L"DVB-T Network Provider"), S_OK);
        tunerFilter = load(tunekit::KSCATEGORY_BDA_NETWORK_TUNER, graph.get());
        receiver = load(tunekit::KSCATEGORY_BDA_RECEIVER_COMPONENT, graph.get());
        ASSERT_EQ(graph->AddFilter(grabberFilter.get(), L"SampleGrabber"), S_OK);
        ASSERT_EQ(graph->AddFilter(demux.get(), L"Demux"), S_OK);
        testing::connect(graph.get(), {{provider.get(), L"Antenna Out", tunerFilter.get(), L"Input0"},
                                       {tunerFilter.get(), L"MPEG2 Transport", receiver.get(), L"MPEG2 Transport In"},
                                       {receiver.get(), L"MPEG2 Transport", grabberFilter.get(), L"Input"},
                                       {grabberFilter.get(), L"Output", demux.get(), L"MPEG-2 Stream"}});
        ASSERT_EQ(provider.as(tuner), S_OK);
        ASSERT_EQ(grabberFilter.as(grabber), S_OK);
        ASSERT_EQ(graph.as(control), S_OK);
    }
    void TearDown() override { control->Stop(); }

    void tune(long frequency, ModulationType modulation, TransmissionMode mode, GuardInterval guard, BinaryConvolutionCodeRate rate,
              long bandwidth) {
        auto space = create<ITuningSpace>(CLSID_DVBTuningSpace);
        ASSERT_EQ(query<IDVBTuningSpace2>(space)->put_SystemType(DVB_Terrestrial), S_OK);
        BSTR type = SysAllocString(L"{216C62DF-6D7F-4E9A-8571-05F14EDB766A}");
        EXPECT_EQ(space->put_NetworkType(type), S_OK);
        SysFreeString(type);
        ComPtr<ITuneRequest> request;
        ASSERT_EQ(space->CreateTuneRequest(request.put()), S_OK);
        ASSERT_TRUE(query<IDVBTuneRequest>(request));
        auto locator = create<IDVBTLocator>(CLSID_DVBTLocator);
        locator->put_CarrierFrequency(frequency);
        locator->put_Modulation(modulation);
        locator->put_Mode(mode);
        locator->put_Guard(guard);
        locator->put_LPInnerFECRate(rate);
        locator->put_Bandwidth(bandwidth);
        ASSERT_EQ(request->put_Locator(locator.get()), S_OK);
        ASSERT_EQ(tuner->put_TuneRequest(request.get()), S_OK);
    }

    void tuneGood() { tune(522000, BDA_MOD_64QAM, BDA_XMIT_MODE_8K, BDA_GUARD_1_4, BDA_BCC_RATE_2_3, 8); }

    std::vector<BYTE> currentSample() {
        LONG size = 0;
        EXPECT_EQ(grabber->GetCurrentBuffer(&size, nullptr), S_OK);
        std::vector<BYTE> data(static_cast<std::size_t>(size) + 3);
        EXPECT_EQ(grabber->GetCurrentBuffer(&size, reinterpret_cast<LONG*>(data.data())), S_OK);
        data.resize(static_cast<std::size_t>(size));
        return data;
    }

    ComPtr<IGraphBuilder> graph = create<IGraphBuilder>(CLSID_FilterGraph);
    ComPtr<IBaseFilter> provider = create<IBaseFilter>(CLSID_DVBTNetworkProvider), tunerFilter, receiver,
                        grabberFilter = create<IBaseFilter>(tunekit::CLSID_SampleGrabber),
                        demux = create<IBaseFilter>(CLSID_MPEG2Demultiplexer);
    ComPtr<ITuner> tuner;
    ComPtr<ISampleGrabber> grabber;
    ComPtr<IMediaControl> control;
};

// What a stream analyzer counts in a sample: packets and their sync bytes, packets with the
// transport-error indicator, nulls, PCRs, and continuity-counter gaps on the video PID.
struct Damage {
    int packets = 0, synced = 0, errors = 0, videoErrors = 0, gaps = 0, nulls = 0, pcrs = 0;
};

Damage inspect(const std::vector<BYTE>& ts) {
    Damage d;
    int last = -1;
    for (std::size_t at = 0; at + 188 <= ts.size(); at += 188) {
        const BYTE* p = &ts[at];
        ++d.packets;
        d.synced += p[0] == 0x47;
        const unsigned pid = ((p[1] & 0x1F) << 8) | p[2];
        if (p[1] & 0x80) ++d.errors;
        if (pid == 0x1FFF) {
            ++d.nulls;
            continue;
        }
        if (p[1] & 0x80) ++d.videoErrors;
        if ((p[3] & 0x20) && p[4] >= 7 && (p[5] & 0x10)) ++d.pcrs;
        const int cc = p[3] & 0x0F;
        if (last >= 0 && cc != ((last + 1) & 0x0F)) ++d.gaps;
        last = cc;
    }
    return d;
}

TEST_F(DvbtGraph, TheGrabberHoldsAStreamOnlyWhileRunningOnAChannelAndItsDamageFollowsTheQuality) {
    LONG size = 0;
    EXPECT_EQ(grabber->GetCurrentBuffer(&size, nullptr), E_INVALIDARG) << "not buffering";
    ASSERT_EQ(grabber->SetBufferSamples(TRUE), S_OK);
    EXPECT_EQ(grabber->GetCurrentBuffer(&size, nullptr), VFW_E_WRONG_STATE);
    const auto bufferAfterTuning = [&](long frequency, ModulationType modulation, GuardInterval guard) {
        tune(frequency, modulation, BDA_XMIT_MODE_8K, guard, BDA_BCC_RATE_2_3, 8);
        qis::System::sleep(0.05);
        return grabber->GetCurrentBuffer(&size, nullptr);
    };
    EXPECT_EQ(bufferAfterTuning(522000, BDA_MOD_64QAM, BDA_GUARD_1_4), VFW_E_WRONG_STATE) << "stopped";
    ASSERT_EQ(control->Run(), S_OK);
    EXPECT_EQ(bufferAfterTuning(522000, BDA_MOD_64QAM, BDA_GUARD_1_8), VFW_E_WRONG_STATE) << "another guard interval does not lock";
    ASSERT_EQ(bufferAfterTuning(522000, BDA_MOD_64QAM, BDA_GUARD_1_4), S_OK); // quality 95
    EXPECT_EQ(size, 188 * 64);
    std::vector<LONG> small(10);
    LONG smallSize = 40;
    EXPECT_EQ(grabber->GetCurrentBuffer(&smallSize, small.data()), E_OUTOFMEMORY);
    const Damage good = inspect(currentSample());
    EXPECT_EQ(good.packets, 64);
    EXPECT_EQ(good.synced, 64);
    EXPECT_GT(good.nulls, 0);
    EXPECT_GT(good.pcrs, 0);
    EXPECT_NEAR(good.errors, 64 * 5 / 100, 1);
    EXPECT_EQ(good.gaps, good.videoErrors) << "a damaged video packet also breaks the continuity count";
    ASSERT_EQ(bufferAfterTuning(562000, BDA_MOD_16QAM, BDA_GUARD_1_8), S_OK); // quality 30
    EXPECT_NEAR(inspect(currentSample()).errors, 64 * 70 / 100, 1);
    // A tuning without a stream flushes what was buffered.
    EXPECT_EQ(bufferAfterTuning(474000, BDA_MOD_64QAM, BDA_GUARD_1_4), VFW_E_WRONG_STATE);
}

TEST_F(DvbtGraph, TheProviderHasTheScenariosFrequencyMapsAndWhatWasTunedIsJournaled) {
    auto map = query<IFrequencyMap>(provider);
    ULONG count = 0, *list = nullptr;
    ASSERT_EQ(map->get_CountryCodeList(&count, &list), S_OK);
    EXPECT_EQ(std::vector<ULONG>(list, list + count), (std::vector<ULONG>{31, 44, 49}));
    CoTaskMemFree(list);
    ASSERT_EQ(map->get_DefaultFrequencyMapping(44, &count, &list), S_OK);
    EXPECT_EQ(std::vector<ULONG>(list, list + count), (std::vector<ULONG>{474000, 490000, 506000, 530000}));
    CoTaskMemFree(list);
    EXPECT_EQ(map->get_DefaultFrequencyMapping(1, &count, &list), E_INVALIDARG);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(map->put_CountryCode(49), S_OK);
    ULONG code = 0;
    map->get_CountryCode(&code);
    EXPECT_EQ(code, 49u);
    EXPECT_EQ(map->put_CountryCode(1), E_INVALIDARG);

    // What was tuned is journaled on the locator and the provider.
    tune(506000, BDA_MOD_64QAM, BDA_XMIT_MODE_2K, BDA_GUARD_1_32, BDA_BCC_RATE_2_3, 8);
    const auto tunes = callsOf("put_TuneRequest");
    ASSERT_EQ(tunes.size(), 1u);
    EXPECT_EQ(tunes[0].object, "DVBTNetworkProvider");
    EXPECT_EQ(tunes[0].arguments, "DVB-T frequency=506000 modulation=3 mode=1 guard=1 lpFecRate=2 bandwidth=8");
    std::vector<std::string> locator;
    for (const auto& c : simulation().journal().calls())
        if (c.object == "DVBTLocator" && c.method != "CoCreateInstance") locator.push_back(c.method.utf8() + "(" + c.arguments.utf8() + ")");
    EXPECT_THAT(locator, ElementsAre("put_CarrierFrequency(506000)", "put_Modulation(3)", "put_Mode(1)", "put_Guard(1)",
                                     "put_LPInnerFECRate(2)", "put_Bandwidth(8)"));
    BOOLEAN present = 0;
    // This tuner has its statistics on the filter.
    EXPECT_EQ(query<IBDA_SignalStatistics>(tunerFilter)->get_SignalPresent(&present), S_OK);
    EXPECT_EQ(present, 1);
}

TEST_F(DvbtGraph, TablesReachTheTransportInformationFilterAndTheRestRenders) {
    ComPtr<IBaseFilter> tif = load(tunekit::KSCATEGORY_BDA_TRANSPORT_INFORMATION, graph.get());
    ASSERT_TRUE(tif);
    // Video and audio cannot connect to it; the table pin can.
    EXPECT_NE(graph->Connect(pinOf(demux.get(), L"001").get(), pinOf(tif.get(), L"Input").get()), S_OK);
    EXPECT_EQ(graph->Connect(pinOf(demux.get(), L"003").get(), pinOf(tif.get(), L"Input").get()), S_OK);
    EXPECT_EQ(graph->Render(pinOf(demux.get(), L"001").get()), S_OK);
    EXPECT_EQ(graph->Render(pinOf(demux.get(), L"002").get()), S_OK);
}

// A stick whose samples are cut smaller than a packet, and whose provider refuses its second
// tune request.
class SmallSamples : public DvbtGraph {
protected:
    SmallSamples() : DvbtGraph(R"({
      "device": {"name": "Stick"},
      "categories": {
        "BDANetworkTuner": [{"friendlyName": "Tuner", "filter": "tuner"}],
        "BDAReceiverComponent": [{"friendlyName": "Receiver", "filter": "receiver"}]
      },
      "filters": {
        "tuner": {"kind": "bdaTuner", "receives": {"dvbt": [
          {"frequency": 522000, "modulation": "64QAM", "mode": "8K", "guard": "1/4", "lpFecRate": "2/3", "bandwidth": 8, "sampleBytes": 100}]}},
        "receiver": {"kind": "bdaReceiver"}
      },
      "faults": [{"object": "DVBTNetworkProvider", "method": "put_TuneRequest", "call": 2, "result": "E_FAIL"}]
    })") {}
};

TEST_F(SmallSamples, TheGrabberOnlyEverHoldsPartOfAPacketAndFaultsReachTheProvider) {
    grabber->SetBufferSamples(TRUE);
    control->Run();
    tuneGood();
    qis::System::sleep(0.05);
    LONG size = 0;
    ASSERT_EQ(grabber->GetCurrentBuffer(&size, nullptr), S_OK);
    EXPECT_EQ(size, 100);
    EXPECT_EQ(currentSample()[0], 0x47);
    // The second request fails as the scenario says, and tunes nothing.
    auto space = create<ITuningSpace>(CLSID_DVBTuningSpace);
    ComPtr<ITuneRequest> request;
    ASSERT_EQ(space->CreateTuneRequest(request.put()), S_OK);
    EXPECT_EQ(tuner->put_TuneRequest(request.get()), E_FAIL);
    EXPECT_TRUE(callsOf("put_TuneRequest").back().injected);
    ASSERT_EQ(grabber->GetCurrentBuffer(&size, nullptr), S_OK) << "still on the channel";
}

// Rendering a tuner's transport stream reaches a demultiplexer already in the graph and goes on
// to the renderers, as the OpenCable test relies on.
class OcurGraph : public DigitalFixture {
protected:
    OcurGraph() : DigitalFixture(scenarioText("ocur")) {}
};

TEST_F(OcurGraph, RenderingTheTunerOutputBuildsTheWholeChainThroughTheDemultiplexer) {
    auto graph = create<IGraphBuilder>(CLSID_FilterGraph);
    auto provider = create<IBaseFilter>(tunekit::CLSID_ATSCQAMNetworkProvider);
    graph->AddFilter(provider.get(), L"ATSC QAM Network Provider");
    std::string path;
    ComPtr<IBaseFilter> tunerFilter = load(tunekit::KSCATEGORY_BDA_NETWORK_TUNER, graph.get(), 1, &path);
    ASSERT_TRUE(tunerFilter);
    EXPECT_THAT(path, HasSubstr("#4&1c3d5a7e&0&00e0#{71985f48"));
    testing::connect(graph.get(), {{provider.get(), L"Antenna Out", tunerFilter.get(), L"Input0"}});
    auto demux = create<IBaseFilter>(CLSID_MPEG2Demultiplexer);
    graph->AddFilter(demux.get(), L"Demux");
    EXPECT_EQ(graph->Render(pinOf(tunerFilter.get(), L"MPEG2 Transport").get()), S_OK);
    ComPtr<IBaseFilter> renderer;
    EXPECT_EQ(graph->FindFilterByName(L"Video Renderer", renderer.put()), S_OK);
    EXPECT_EQ(graph->FindFilterByName(L"MPEG-2 Demultiplexer", renderer.put()), VFW_E_NOT_FOUND) << "the one in the graph was used";
    EXPECT_TRUE(query<IVideoWindow>(graph));
}

using SystemObjects = testing::SimTest;

TEST_F(SystemObjects, TheTuningSpaceContainerIsIndexedFromZeroAndByName) {
    auto container = create<ITuningSpaceContainer>(CLSID_SystemTuningSpaces);
    LONG count = 0;
    ASSERT_EQ(container->get_Count(&count), S_OK);
    ASSERT_GE(count, 4);
    ComPtr<ITuningSpace> space;
    ASSERT_EQ(container->get_Item(tunekit::Variant(3).value(), space.put()), S_OK);
    EXPECT_EQ(uniqueNameOf(space.get()), "Digital Cable");
    EXPECT_TRUE(query<IATSCTuningSpace>(space)) << "a cable ATSC space, which the OpenCable test tunes with";
    EXPECT_TRUE(FAILED(container->get_Item(tunekit::Variant(count).value(), space.put())));
    tunekit::Variant name;
    name.get()->vt = VT_BSTR;
    name.get()->bstrVal = SysAllocString(L"ATSCCable");
    ASSERT_EQ(container->get_Item(name.value(), space.put()), S_OK);
    EXPECT_EQ(uniqueNameOf(space.get()), "ATSCCable");
}

} // namespace
} // namespace tvsim

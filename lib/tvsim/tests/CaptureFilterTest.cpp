// The virtual analog capture filter as a caller sees it through the DirectShow interfaces: the
// tuner, the crossbar, the stream configuration of the capture pin and the pins themselves.

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SimTestSupport.h"
#include "qis/System.h"
#include "tvsim/Filter.h"
#include "tvsim/Objects.h"

namespace tvsim {
namespace {

using testing::deleteMediaType;
using testing::pinOf;
using testing::typesOf;
using tunekit::ComPtr;

constexpr const char* kName = "Test TV Capture";

std::string scenarioWith(const std::string& filter) {
    return R"({"device": {"name": "Test card"}, "filters": {"card": )" + filter + "}}";
}

GUID categoryOf(IPin* pin) {
    GUID category = GUID_NULL;
    DWORD returned = 0;
    const auto properties = testing::query<IKsPropertySet>(ComPtr<IPin>(pin));
    EXPECT_EQ(properties->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, &category, sizeof category, &returned), S_OK);
    return category;
}

// One scenario filter under test, on a simulation of its own that a test may replace.
class CaptureFilter : public ::testing::Test {
protected:
    void load(const std::string& filterJson) {
        release();
        sim_.reset();
        sim_ = std::make_unique<testing::SimulationFixture>(scenarioWith(filterJson));
        filter_ = createScenarioFilter(simulation(), "card", kName);
        ASSERT_TRUE(filter_);
        filter_.as(tuner_);
        filter_.as(crossbar_);
    }

    void TearDown() override {
        release();
        if (sim_) EXPECT_EQ(sim_->liveObjects(), "");
        sim_.reset();
    }

    virtual void release() {
        crossbar_.reset();
        tuner_.reset();
        filter_.reset();
    }

    Simulation& simulation() { return sim_->simulation(); }
    const PictureSource& picture() const { return dynamic_cast<const PictureSource&>(*filter_.get()); }
    // The journaled arguments of the filter's calls of `method`.
    std::vector<std::string> argumentsOf(const char* method) {
        std::vector<std::string> arguments;
        for (const auto& call : sim_->callsOf(method, kName)) arguments.push_back(call.arguments.utf8());
        return arguments;
    }

    long signal() {
        LONG strength = -2;
        EXPECT_EQ(tuner_->SignalPresent(&strength), S_OK);
        return strength;
    }

    std::unique_ptr<testing::SimulationFixture> sim_;
    ComPtr<IBaseFilter> filter_;
    ComPtr<IAMTVTuner> tuner_;
    ComPtr<IAMCrossbar> crossbar_;
};

// ---- tuner ----------------------------------------------------------------------------------

const char* const kTuner = R"({"tuner": {"minChannel": 2, "maxChannel": 69, "antennaSignal": [3], "cableSignal": [9],
                                         "fmSignal": [95500000]}})";

// One call on the tuner and its answer: a put's HRESULT, or the value a read gives.
enum class Do { Mode, Input, Channel, AutoTune, Wait, Signal, Tuned, Min, Max, Modes, GetMode, GetInput, GetFormat };
struct Step {
    Do what;
    long value;
    long answer = S_OK; // AutoTune: whether it found a signal, or its failure
};
constexpr long kYes = AMTUNER_SIGNALPRESENT, kNo = AMTUNER_NOSIGNAL;

struct TunerScript {
    const char* name;
    const char* scenario;
    std::vector<Step> steps;
};

void PrintTo(const TunerScript& c, std::ostream* out) { *out << c.name; }

class CaptureFilterTuner : public CaptureFilter, public ::testing::WithParamInterface<TunerScript> {
protected:
    void SetUp() override {
        load(GetParam().scenario);
        ASSERT_TRUE(tuner_);
    }

    long perform(const Step& step) {
        LONG a = -2, b = -2, c = -2;
        AMTunerModeType mode = AMTUNER_MODE_DEFAULT;
        switch (step.what) {
        case Do::Mode: return tuner_->put_Mode(static_cast<AMTunerModeType>(step.value));
        case Do::Input: return tuner_->put_InputType(0, static_cast<TunerInputType>(step.value));
        case Do::Channel: return tuner_->put_Channel(step.value, AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT);
        case Do::AutoTune: {
            const HRESULT result = tuner_->AutoTune(step.value, &a);
            return FAILED(result) ? result : a;
        }
        case Do::Wait: qis::System::sleepMilliseconds(step.value); return S_OK;
        case Do::Signal: return signal();
        case Do::Tuned: EXPECT_EQ(tuner_->get_Channel(&a, &b, &c), S_OK); return a;
        case Do::Min: EXPECT_EQ(tuner_->ChannelMinMax(&a, &b), S_OK); return a;
        case Do::Max: EXPECT_EQ(tuner_->ChannelMinMax(&a, &b), S_OK); return b;
        case Do::Modes: EXPECT_EQ(tuner_->GetAvailableModes(&a), S_OK); return a;
        case Do::GetMode: EXPECT_EQ(tuner_->get_Mode(&mode), S_OK); return mode;
        case Do::GetInput: EXPECT_EQ(tuner_->get_InputType(0, reinterpret_cast<TunerInputType*>(&a)), S_OK); return a;
        case Do::GetFormat: EXPECT_EQ(tuner_->get_TVFormat(&a), S_OK); return a;
        }
        return E_UNEXPECTED;
    }
};

TEST_P(CaptureFilterTuner, AnswersEachStepAsTheCardWould) {
    const auto& steps = GetParam().steps;
    for (std::size_t i = 0; i < steps.size(); ++i) EXPECT_EQ(perform(steps[i]), steps[i].answer) << "step " << i;
}

const TunerScript kTunerScripts[] = {
    {"ChannelWithASignalOnlyOnCableIsAbsentOnAntenna", kTuner,
     {{Do::Mode, AMTUNER_MODE_TV}, {Do::Input, TunerInputCable}, {Do::Channel, 9}, {Do::Signal, 0, kYes},
      {Do::Input, TunerInputAntenna}, {Do::Signal, 0, kNo}, {Do::Channel, 3}, {Do::Signal, 0, kYes}}},
    {"ChannelOutsideTheRangeIsRefusedAndTheTunedChannelStays", kTuner,
     {{Do::Channel, 9}, {Do::Channel, 1, E_INVALIDARG}, {Do::Channel, 70, E_INVALIDARG}, {Do::Tuned, 0, 9}, {Do::Min, 0, 2},
      {Do::Max, 0, 69}}},
    {"AutoTuneTunesTheChannelAndReportsWhetherItCarriesASignal", kTuner,
     {{Do::Input, TunerInputCable}, {Do::AutoTune, 9, 1}, {Do::AutoTune, 10, 0}, {Do::Tuned, 0, 10}, {Do::AutoTune, 99, E_INVALIDARG}}},
    // 95.5 MHz arrives as the radio scan computes it; the neighbouring channel has nothing.
    {"FmChannelIsAFrequencyInHzWithinTheBand", kTuner,
     {{Do::Mode, AMTUNER_MODE_FM_RADIO}, {Do::Min, 0, 87500000}, {Do::Max, 0, 108000000},
      {Do::Channel, static_cast<long>(95.5 * 1000000)}, {Do::Signal, 0, kYes}, {Do::Channel, 95700000}, {Do::Signal, 0, kNo},
      {Do::Channel, 80000000, E_INVALIDARG}, {Do::Channel, 9, E_INVALIDARG}}},
    {"ModeSwitchKeepsEachModesOwnChannel", kTuner,
     {{Do::Channel, 9}, {Do::Mode, AMTUNER_MODE_FM_RADIO}, {Do::Channel, 95500000}, {Do::Mode, AMTUNER_MODE_TV}, {Do::Tuned, 0, 9},
      {Do::Signal, 0, kYes}}},
    {"ModesTheCardLacksAreRefused", R"({"tuner": {"fmMode": false}})",
     {{Do::Modes, 0, AMTUNER_MODE_TV}, {Do::Mode, AMTUNER_MODE_FM_RADIO, E_INVALIDARG}, {Do::Mode, AMTUNER_MODE_AM_RADIO, E_INVALIDARG},
      {Do::GetMode, 0, AMTUNER_MODE_TV}}},
    // Standards and input types may be named in the scenario.
    {"NamedStandardAndInputTypeAreTheTunersOwn", R"({"tuner": {"tvFormat": "PAL_B", "inputType": "antenna"}})",
     {{Do::GetFormat, 0, AnalogVideo_PAL_B}, {Do::GetInput, 0, TunerInputAntenna}}},
    // Retuning starts the lock over; AutoTune returns locked.
    {"SignalAppearsOnlyOnceTheTunerHasLocked", R"({"tuner": {"cableSignal": [9], "lockMilliseconds": 30}})",
     {{Do::Channel, 9}, {Do::Signal, 0, kNo}, {Do::Wait, 29}, {Do::Signal, 0, kNo}, {Do::Wait, 1}, {Do::Signal, 0, kYes},
      {Do::Channel, 9}, {Do::Signal, 0, kNo}, {Do::AutoTune, 9, 1}, {Do::Signal, 0, kYes}}},
};
INSTANTIATE_TEST_SUITE_P(Scripts, CaptureFilterTuner, ::testing::ValuesIn(kTunerScripts),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(CaptureFilter, RadioScanInFifthsOfAMegahertzFindsTheStationOnItsOwnRaster) {
    load(kTuner);
    ASSERT_EQ(tuner_->put_Mode(AMTUNER_MODE_FM_RADIO), S_OK);
    // Steps the FM band as the radio scan does: start, start + 0.2, ... in floating point, each
    // frequency truncated to Hz. The first frequency with a signal, in MHz.
    const auto scanFm = [&](double start, double end) -> std::optional<double> {
        for (double f = start; end + 0.00001 > f; f += 0.2)
            if (SUCCEEDED(tuner_->put_Channel(static_cast<long>(f * 1000000), -1, -1)) && signal() == AMTUNER_SIGNALPRESENT) return f;
        return std::nullopt;
    };
    // Accumulated 0.2 steps from 88.1 reach 95.5 only approximately; the station is still found.
    const auto found = scanFm(88.1, 108.0);
    ASSERT_TRUE(found);
    EXPECT_NEAR(*found, 95.5, 0.001);
    // From 88.0 the scan passes 100 kHz beside the station, which is the neighbouring channel.
    EXPECT_FALSE(scanFm(88.0, 108.0));
}

TEST_F(CaptureFilter, JournalRecordsTheTuningArgumentsAndInjectedFaultsLeaveTheModeAlone) {
    load(kTuner);
    simulation().faults().add({kName, "put_Mode", static_cast<std::int32_t>(0x8007001F), 2});
    EXPECT_EQ(tuner_->put_Mode(AMTUNER_MODE_TV), S_OK);
    tuner_->put_InputType(0, TunerInputAntenna);
    tuner_->put_CountryCode(44);
    tuner_->put_Channel(7, AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT);
    tuner_->put_Channel(70, AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT);
    EXPECT_EQ(simulation().journal().calls().back().result, E_INVALIDARG);
    EXPECT_EQ(tuner_->put_Mode(AMTUNER_MODE_FM_RADIO), static_cast<HRESULT>(0x8007001F));

    EXPECT_EQ(argumentsOf("put_Mode"), (std::vector<std::string>{"AMTUNER_MODE_TV", "AMTUNER_MODE_FM_RADIO"}));
    EXPECT_EQ(argumentsOf("put_InputType"), std::vector<std::string>{"0, TunerInputAntenna"});
    EXPECT_EQ(argumentsOf("put_CountryCode"), std::vector<std::string>{"44"});
    EXPECT_EQ(argumentsOf("put_Channel"), (std::vector<std::string>{"7, -1, -1", "70, -1, -1"}));
    std::vector<bool> injected;
    for (const auto& call : sim_->callsOf("put_Mode", kName)) injected.push_back(call.injected);
    EXPECT_EQ(injected, (std::vector<bool>{false, true}));
    AMTunerModeType mode = AMTUNER_MODE_DEFAULT;
    ASSERT_EQ(tuner_->get_Mode(&mode), S_OK);
    EXPECT_EQ(mode, AMTUNER_MODE_TV);
    LONG country = 0;
    tuner_->get_CountryCode(&country);
    EXPECT_EQ(country, 44);
}

TEST_F(CaptureFilter, PictureShowsTheTunedChannelInTvModeOnly) {
    load(kTuner);
    tuner_->put_InputType(0, TunerInputCable);
    tuner_->put_Channel(9, -1, -1);
    EXPECT_TRUE(picture().hasPicture());
    EXPECT_EQ(picture().pictureLabel(), "Channel 9 (cable)");
    tuner_->put_Channel(10, -1, -1);
    EXPECT_FALSE(picture().hasPicture());

    tuner_->put_Mode(AMTUNER_MODE_FM_RADIO);
    tuner_->put_Channel(95500000, -1, -1);
    EXPECT_FALSE(picture().hasPicture());
    EXPECT_EQ(picture().pictureLabel(), "FM 95.5 MHz");
}

// ---- crossbar -------------------------------------------------------------------------------

// Two decoder outputs, named in both ways a scenario may; the tuner's video reaches only the
// second.
class CaptureFilterCrossbar : public CaptureFilter {
protected:
    void SetUp() override {
        load(R"({"tuner": {"cableSignal": [9]},
                 "crossbar": {"outputs": ["Video_VideoDecoder", {"physicalType": "PhysConn_Video_VideoDecoder", "related": 0}],
                              "inputs": [{"physicalType": "Video_Composite", "routesTo": [0, 1]},
                                         {"physicalType": "Video_Tuner", "routesTo": [1], "related": 2},
                                         {"physicalType": "Audio_Tuner", "related": 1}]}})");
        ASSERT_TRUE(crossbar_);
    }

    LONG routedTo(LONG output, HRESULT expected = S_OK) {
        LONG input = -2;
        EXPECT_EQ(crossbar_->get_IsRoutedTo(output, &input), expected);
        return input;
    }
};

TEST_F(CaptureFilterCrossbar, TunerInputRoutesOnlyToTheOutputTheCardAllowsAndReplacesWhatFedIt) {
    EXPECT_EQ(crossbar_->CanRoute(0, 1), S_FALSE);
    EXPECT_EQ(crossbar_->CanRoute(1, 1), S_OK);
    EXPECT_EQ(crossbar_->Route(0, 1), S_FALSE);
    EXPECT_EQ(routedTo(0, S_FALSE), -1);
    EXPECT_EQ(crossbar_->Route(1, 0), S_OK);
    EXPECT_EQ(crossbar_->Route(1, 1), S_OK);
    EXPECT_EQ(routedTo(1), 1);
    EXPECT_EQ(argumentsOf("Route"), (std::vector<std::string>{"0, 1", "1, 0", "1, 1"}));
}

TEST_F(CaptureFilterCrossbar, PinInfoGivesPhysicalTypesAndRelatedPinsOfExistingPinsOnly) {
    LONG outputs = 0, inputs = 0;
    ASSERT_EQ(crossbar_->get_PinCounts(&outputs, &inputs), S_OK);
    EXPECT_EQ(outputs, 2);
    EXPECT_EQ(inputs, 3);
    LONG related = 0, type = 0;
    ASSERT_EQ(crossbar_->get_CrossbarPinInfo(TRUE, 1, &related, &type), S_OK);
    EXPECT_EQ(type, PhysConn_Video_Tuner);
    EXPECT_EQ(related, 2);
    ASSERT_EQ(crossbar_->get_CrossbarPinInfo(TRUE, 0, &related, &type), S_OK);
    EXPECT_EQ(related, -1);
    ASSERT_EQ(crossbar_->get_CrossbarPinInfo(FALSE, 1, &related, &type), S_OK);
    EXPECT_EQ(type, PhysConn_Video_VideoDecoder);
    EXPECT_EQ(related, 0);
    ASSERT_EQ(crossbar_->get_CrossbarPinInfo(TRUE, 2, &related, &type), S_OK);
    EXPECT_EQ(type, PhysConn_Audio_Tuner);
    EXPECT_EQ(crossbar_->get_CrossbarPinInfo(TRUE, 3, &related, &type), E_INVALIDARG);
    EXPECT_EQ(crossbar_->get_CrossbarPinInfo(FALSE, 2, &related, &type), E_INVALIDARG);
    EXPECT_EQ(crossbar_->get_CrossbarPinInfo(TRUE, -1, &related, &type), E_INVALIDARG);
    EXPECT_EQ(crossbar_->CanRoute(2, 0), E_INVALIDARG);
    EXPECT_EQ(crossbar_->Route(0, 3), E_INVALIDARG);
}

TEST_F(CaptureFilterCrossbar, PictureNeedsTheTunerRoutedThroughOrTheRouteTheScenarioStartsWith) {
    tuner_->put_InputType(0, TunerInputCable);
    tuner_->put_Channel(9, -1, -1);
    EXPECT_EQ(signal(), AMTUNER_SIGNALPRESENT); // the tuner's own flag does not depend on routing
    EXPECT_FALSE(picture().hasPicture());
    crossbar_->Route(1, 0);
    EXPECT_FALSE(picture().hasPicture());
    crossbar_->Route(1, 1);
    EXPECT_TRUE(picture().hasPicture());

    load(R"({"crossbar": {"outputs": [{"physicalType": 12, "routedFrom": 1}],
                          "inputs": [{"physicalType": 1, "routesTo": [0]}, {"physicalType": 2, "routesTo": [0]}]}})");
    EXPECT_EQ(routedTo(0), 1);
    EXPECT_FALSE(tuner_); // no tuner in this card
    EXPECT_TRUE(picture().hasPicture());
}

// ---- stream configuration -------------------------------------------------------------------

class CaptureFilterStreamConfig : public CaptureFilter {
protected:
    void SetUp() override {
        load(R"({"captureTypes": ["Interleaved", "Video"], "format": {"width": 640, "height": 480, "framesPerSecond": 25}})");
        ASSERT_EQ(pinOf(filter_.get(), L"Capture").as(config_), S_OK);
    }
    void release() override {
        config_.reset();
        CaptureFilter::release();
    }

    ComPtr<IAMStreamConfig> config_;
};

TEST_F(CaptureFilterStreamConfig, CapabilitiesDescribeEachOfferedTypeAtTheScenarioSizeOnTheCapturePinOnly) {
    int count = 0, size = 0;
    ASSERT_EQ(config_->GetNumberOfCapabilities(&count, &size), S_OK);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(size, static_cast<int>(sizeof(VIDEO_STREAM_CONFIG_CAPS)));
    VIDEO_STREAM_CONFIG_CAPS caps{};
    AM_MEDIA_TYPE* type = nullptr;
    ASSERT_EQ(config_->GetStreamCaps(1, &type, reinterpret_cast<BYTE*>(&caps)), S_OK);
    EXPECT_EQ(type->majortype, MEDIATYPE_Video);
    EXPECT_EQ(caps.guid, FORMAT_VideoInfo);
    EXPECT_EQ(caps.MaxOutputSize.cx, 640);
    EXPECT_EQ(caps.MaxOutputSize.cy, 480);
    EXPECT_EQ(caps.MinFrameInterval, 400000);
    deleteMediaType(type);
    EXPECT_EQ(config_->GetStreamCaps(2, &type, reinterpret_cast<BYTE*>(&caps)), S_FALSE);
    EXPECT_EQ(type, nullptr);

    // Only the capture pin has a stream configuration, and it keeps its filter alive.
    ComPtr<IAMStreamConfig> other;
    EXPECT_EQ(pinOf(filter_.get(), L"Preview").as(other), E_NOINTERFACE);
    EXPECT_EQ(filter_.as(other), E_NOINTERFACE);
    filter_.reset();
    ASSERT_EQ(config_->GetFormat(&type), S_OK);
    deleteMediaType(type);
}

TEST_F(CaptureFilterStreamConfig, SetFormatTakesOnlyAnOfferedTypeWhileStoppedAndGetFormatHandsOutCopies) {
    AM_MEDIA_TYPE* format = nullptr;
    ASSERT_EQ(config_->GetFormat(&format), S_OK);
    EXPECT_EQ(format->majortype, MEDIATYPE_Interleaved);
    deleteMediaType(format);

    AM_MEDIA_TYPE* type = nullptr;
    ASSERT_EQ(config_->GetStreamCaps(1, &type, std::vector<BYTE>(sizeof(VIDEO_STREAM_CONFIG_CAPS)).data()), S_OK);
    auto* header = reinterpret_cast<VIDEOINFOHEADER*>(type->pbFormat);
    header->bmiHeader.biWidth = 320;
    EXPECT_EQ(config_->SetFormat(type), VFW_E_INVALIDMEDIATYPE);
    header->bmiHeader.biWidth = 640;
    ASSERT_EQ(filter_->Run(0), S_OK);
    EXPECT_EQ(config_->SetFormat(type), VFW_E_NOT_STOPPED);
    ASSERT_EQ(filter_->Stop(), S_OK);
    EXPECT_EQ(config_->SetFormat(type), S_OK);
    EXPECT_EQ(config_->SetFormat(nullptr), E_POINTER);
    deleteMediaType(type);

    ASSERT_EQ(config_->GetFormat(&format), S_OK);
    ASSERT_EQ(format->formattype, FORMAT_VideoInfo);
    ASSERT_GE(format->cbFormat, sizeof(VIDEOINFOHEADER));
    EXPECT_EQ(reinterpret_cast<const VIDEOINFOHEADER*>(format->pbFormat)->bmiHeader.biWidth, 640);
    EXPECT_EQ(reinterpret_cast<const VIDEOINFOHEADER*>(format->pbFormat)->bmiHeader.biHeight, 480);
    deleteMediaType(format); // the caller's to free; the fixture then finds nothing left alive
}

// ---- pins and interfaces --------------------------------------------------------------------

TEST_F(CaptureFilter, PinsCarryTheirCategoriesAndTheScenarioTypesInOrder) {
    load(R"({"captureTypes": ["Stream", "Interleaved", "Video"], "format": {"width": 720, "height": 576, "framesPerSecond": 25}})");
    const ComPtr<IPin> capture = pinOf(filter_.get(), L"Capture"), preview = pinOf(filter_.get(), L"Preview");
    ASSERT_TRUE(capture && preview);
    EXPECT_EQ(categoryOf(capture.get()), PIN_CATEGORY_CAPTURE);
    EXPECT_EQ(categoryOf(preview.get()), PIN_CATEGORY_PREVIEW);
    PIN_DIRECTION direction = PINDIR_INPUT;
    capture->QueryDirection(&direction);
    EXPECT_EQ(direction, PINDIR_OUTPUT);
    const auto types = typesOf(capture.get());
    ASSERT_EQ(types.size(), 3u);
    EXPECT_EQ(types[0].major, MEDIATYPE_Stream);
    EXPECT_EQ(types[0].subtype, MEDIASUBTYPE_MPEG2_PROGRAM);
    EXPECT_EQ(types[1].major, MEDIATYPE_Interleaved);
    EXPECT_EQ(types[1].subtype, MEDIASUBTYPE_dvsd);
    EXPECT_EQ(types[1].formatType, FORMAT_DvInfo);
    EXPECT_EQ(types[2].major, MEDIATYPE_Video);
    ASSERT_EQ(types[2].formatType, FORMAT_VideoInfo);
    EXPECT_EQ(reinterpret_cast<const VIDEOINFOHEADER*>(types[2].format.data())->bmiHeader.biHeight, 576);
    const auto previewTypes = typesOf(preview.get());
    ASSERT_EQ(previewTypes.size(), 1u);
    EXPECT_EQ(previewTypes[0].major, MEDIATYPE_Video);

    load(R"({"previewPin": false})");
    ComPtr<IEnumPins> pins;
    ASSERT_EQ(filter_->EnumPins(pins.put()), S_OK);
    IPin* pin[2] = {};
    ULONG fetched = 0;
    EXPECT_EQ(pins->Next(2, pin, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 1u);
    EXPECT_EQ(categoryOf(pin[0]), PIN_CATEGORY_CAPTURE);
    pin[0]->Release();
}

TEST_F(CaptureFilter, TunerAndCrossbarAnswerOnlyWhenTheCardHasThemAndUnknownKeysGiveNoFilter) {
    load("{}");
    EXPECT_FALSE(tuner_);
    EXPECT_FALSE(crossbar_);
    ComPtr<IAMTuner> base;
    EXPECT_EQ(filter_.as(base), E_NOINTERFACE);
    EXPECT_FALSE(createScenarioFilter(simulation(), "no such filter", kName));

    load(R"({"tuner": {}, "crossbar": {"outputs": [12], "inputs": [{"physicalType": 1, "routesTo": [0]}]}})");
    ASSERT_TRUE(tuner_ && crossbar_);
    ComPtr<IUnknown> a, b;
    tuner_.as(a);
    crossbar_.as(b);
    EXPECT_EQ(a.get(), b.get()); // one object behind every interface
}

// ---- scenario keys of the card --------------------------------------------------------------

TEST(CaptureFilterScenario, MistakesAreReportedAtTheirJsonPath) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"tuner": {"maxChannel": 13, "cableSignal": [9, 14]}})", "tuner/cableSignal/1: outside minChannel..maxChannel"},
        {R"({"tuner": {"fmSignal": [80000000]}})", "tuner/fmSignal/0: outside minFrequency..maxFrequency"},
        {R"({"tuner": {"tvFormat": "PAL_Q"}})", "tuner/tvFormat: unknown analog video standard"},
        {R"({"tuner": {"tvMode": false, "fmMode": false}})", "tuner: a tuner needs tvMode or fmMode"},
        {R"({"crossbar": {"outputs": [{"physicalType": 12, "routedFrom": 0}], "inputs": [{"physicalType": 1}]}})",
         "crossbar/outputs/0/routedFrom: that input cannot be routed to this output"},
        {R"({"crossbar": {"outputs": [{"physicalType": 12, "colour": 1}], "inputs": []}})", "crossbar/outputs/0/colour: unknown key"},
        {R"({"crossbar": {"outputs": [12], "inputs": [{"physicalType": 1, "related": 1}]}})", "crossbar/inputs/0/related: no such input"},
    };
    for (const auto& [filter, error] : cases) {
        std::string what = "(loaded)";
        try {
            parseScenario(scenarioWith(filter), "t");
        } catch (const ScenarioError& e) {
            what = e.what();
        }
        EXPECT_EQ(what, std::string("scenario \"t\": /filters/card/") + error);
    }
}

} // namespace
} // namespace tvsim

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

using tunekit::ComPtr;

constexpr const char* kName = "Test TV Capture";

std::string scenarioWith(const std::string& filter) {
    return R"({"device": {"name": "Test card"}, "filters": {"card": )" + filter + "}}";
}

void deleteMediaType(AM_MEDIA_TYPE* type) {
    if (!type) return;
    freeMediaType(*type);
    CoTaskMemFree(type);
}

ComPtr<IPin> pinNamed(IBaseFilter* filter, const wchar_t* name) {
    ComPtr<IPin> pin;
    filter->FindPin(name, pin.put());
    return pin;
}

GUID categoryOf(IPin* pin) {
    ComPtr<IKsPropertySet> properties;
    EXPECT_EQ(ComPtr<IPin>(pin).as(properties), S_OK);
    GUID category = GUID_NULL;
    DWORD returned = 0;
    EXPECT_EQ(properties->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, &category, sizeof category, &returned), S_OK);
    return category;
}

std::vector<MediaType> typesOf(IPin* pin) {
    std::vector<MediaType> types;
    ComPtr<IEnumMediaTypes> list;
    if (FAILED(pin->EnumMediaTypes(list.put()))) return types;
    AM_MEDIA_TYPE* type = nullptr;
    while (list->Next(1, &type, nullptr) == S_OK) {
        types.push_back(MediaType::from(*type));
        deleteMediaType(type);
    }
    return types;
}

// The calls journaled for the filter under test with `method`, as their argument texts.
std::vector<std::string> argumentsOf(Simulation& simulation, const char* method) {
    std::vector<std::string> arguments;
    for (const auto& call : simulation.journal().calls())
        if (call.object == kName && call.method == method) arguments.push_back(call.arguments.utf8());
    return arguments;
}

// One scenario filter under test. Whatever a test still holds is released before the end, and
// then nothing of the simulation may be left alive.
class CaptureFilter : public ::testing::Test {
protected:
    void load(const std::string& filterJson, const char* key = "card", const std::string& scenario = std::string()) {
        release();
        sim_.reset();
        sim_ = std::make_unique<testing::SimulationFixture>(scenario.empty() ? scenarioWith(filterJson) : scenario);
        filter_ = createScenarioFilter(simulation(), key, kName);
        ASSERT_TRUE(filter_);
        filter_.as(tuner_);
        filter_.as(crossbar_);
    }

    void TearDown() override {
        release();
        if (sim_) EXPECT_TRUE(simulation().liveObjects().empty()) << sim_->liveObjects();
        sim_.reset();
    }

    void release() {
        crossbar_.reset();
        tuner_.reset();
        filter_.reset();
    }

    Simulation& simulation() { return sim_->simulation(); }
    const PictureSource& picture() const { return dynamic_cast<const PictureSource&>(*filter_.get()); }

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

class CaptureFilterTuner : public CaptureFilter {
protected:
    void SetUp() override {
        load(R"({"tuner": {"minChannel": 2, "maxChannel": 69, "antennaSignal": [3], "cableSignal": [9],
                           "fmSignal": [95500000]}})");
        ASSERT_TRUE(tuner_);
    }

    // Steps the FM band as the radio scan does: start, start + 0.2, ... in floating point, each
    // frequency truncated to Hz. The first frequency with a signal, in MHz.
    std::optional<double> scanFm(double start, double end) {
        const double limit = end + 0.00001;
        for (double f = start; limit > f; f += 0.2) {
            if (FAILED(tuner_->put_Channel(static_cast<long>(f * 1000000), AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT))) continue;
            if (signal() == AMTUNER_SIGNALPRESENT) return f;
        }
        return std::nullopt;
    }
};

TEST_F(CaptureFilterTuner, ChannelWithASignalOnlyOnCableIsPresentOnCableAndAbsentOnAntenna) {
    ASSERT_EQ(tuner_->put_Mode(AMTUNER_MODE_TV), S_OK);
    ASSERT_EQ(tuner_->put_InputType(0, TunerInputCable), S_OK);
    ASSERT_EQ(tuner_->put_Channel(9, AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT), S_OK);
    EXPECT_EQ(signal(), AMTUNER_SIGNALPRESENT);

    ASSERT_EQ(tuner_->put_InputType(0, TunerInputAntenna), S_OK);
    EXPECT_EQ(signal(), AMTUNER_NOSIGNAL);
    ASSERT_EQ(tuner_->put_Channel(3, AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT), S_OK);
    EXPECT_EQ(signal(), AMTUNER_SIGNALPRESENT);
}

TEST_F(CaptureFilterTuner, ChannelOutsideTheRangeIsRefusedAndTheTunedChannelStays) {
    ASSERT_EQ(tuner_->put_Channel(9, -1, -1), S_OK);
    EXPECT_EQ(tuner_->put_Channel(1, -1, -1), E_INVALIDARG);
    EXPECT_EQ(tuner_->put_Channel(70, -1, -1), E_INVALIDARG);

    LONG channel = 0, video = 0, audio = 0;
    ASSERT_EQ(tuner_->get_Channel(&channel, &video, &audio), S_OK);
    EXPECT_EQ(channel, 9);
    LONG min = 0, max = 0;
    ASSERT_EQ(tuner_->ChannelMinMax(&min, &max), S_OK);
    EXPECT_EQ(min, 2);
    EXPECT_EQ(max, 69);
}

TEST_F(CaptureFilterTuner, AutoTuneTunesTheChannelAndReportsWhetherItCarriesASignal) {
    ASSERT_EQ(tuner_->put_InputType(0, TunerInputCable), S_OK);
    LONG found = -1;
    ASSERT_EQ(tuner_->AutoTune(9, &found), S_OK);
    EXPECT_NE(found, 0);
    ASSERT_EQ(tuner_->AutoTune(10, &found), S_OK);
    EXPECT_EQ(found, 0);
    LONG channel = 0, video = 0, audio = 0;
    tuner_->get_Channel(&channel, &video, &audio);
    EXPECT_EQ(channel, 10);
    EXPECT_EQ(tuner_->AutoTune(99, &found), E_INVALIDARG);
}

TEST_F(CaptureFilterTuner, FmChannelIsAFrequencyInHzWithinTheBand) {
    ASSERT_EQ(tuner_->put_Mode(AMTUNER_MODE_FM_RADIO), S_OK);
    LONG min = 0, max = 0;
    ASSERT_EQ(tuner_->ChannelMinMax(&min, &max), S_OK);
    EXPECT_EQ(min, 87500000);
    EXPECT_EQ(max, 108000000);

    // 95.5 MHz as the radio scan computes it arrives truncated to 95499999 Hz.
    ASSERT_EQ(tuner_->put_Channel(static_cast<long>(95.5 * 1000000), -1, -1), S_OK);
    EXPECT_EQ(signal(), AMTUNER_SIGNALPRESENT);
    ASSERT_EQ(tuner_->put_Channel(95700000, -1, -1), S_OK);
    EXPECT_EQ(signal(), AMTUNER_NOSIGNAL);
    EXPECT_EQ(tuner_->put_Channel(80000000, -1, -1), E_INVALIDARG);
    EXPECT_EQ(tuner_->put_Channel(9, -1, -1), E_INVALIDARG);
}

TEST_F(CaptureFilterTuner, RadioScanInFifthsOfAMegahertzFindsTheStationOnItsOwnRaster) {
    ASSERT_EQ(tuner_->put_Mode(AMTUNER_MODE_FM_RADIO), S_OK);
    // Accumulated 0.2 steps from 88.1 reach 95.5 only approximately; the station is still found.
    const auto found = scanFm(88.1, 108.0);
    ASSERT_TRUE(found);
    EXPECT_NEAR(*found, 95.5, 0.001);
    // From 88.0 the scan passes 100 kHz beside the station, which is the neighbouring channel.
    EXPECT_FALSE(scanFm(88.0, 108.0));
}

TEST_F(CaptureFilterTuner, ModeSwitchKeepsEachModesOwnChannel) {
    ASSERT_EQ(tuner_->put_Channel(9, -1, -1), S_OK);
    ASSERT_EQ(tuner_->put_Mode(AMTUNER_MODE_FM_RADIO), S_OK);
    ASSERT_EQ(tuner_->put_Channel(95500000, -1, -1), S_OK);
    ASSERT_EQ(tuner_->put_Mode(AMTUNER_MODE_TV), S_OK);
    LONG channel = 0, video = 0, audio = 0;
    ASSERT_EQ(tuner_->get_Channel(&channel, &video, &audio), S_OK);
    EXPECT_EQ(channel, 9);
    EXPECT_EQ(signal(), AMTUNER_SIGNALPRESENT);
}

TEST_F(CaptureFilterTuner, ModesTheCardLacksAreRefused) {
    load(R"({"tuner": {"fmMode": false}})");
    LONG modes = 0;
    ASSERT_EQ(tuner_->GetAvailableModes(&modes), S_OK);
    EXPECT_EQ(modes, AMTUNER_MODE_TV);
    EXPECT_EQ(tuner_->put_Mode(AMTUNER_MODE_FM_RADIO), E_INVALIDARG);
    EXPECT_EQ(tuner_->put_Mode(AMTUNER_MODE_AM_RADIO), E_INVALIDARG);
    AMTunerModeType mode = AMTUNER_MODE_DEFAULT;
    ASSERT_EQ(tuner_->get_Mode(&mode), S_OK);
    EXPECT_EQ(mode, AMTUNER_MODE_TV);
}

TEST_F(CaptureFilterTuner, SignalAppearsOnlyOnceTheTunerHasLocked) {
    load(R"({"tuner": {"cableSignal": [9], "lockMilliseconds": 30}})");
    ASSERT_EQ(tuner_->put_Channel(9, -1, -1), S_OK);
    EXPECT_EQ(signal(), AMTUNER_NOSIGNAL);
    qis::System::sleepMilliseconds(29);
    EXPECT_EQ(signal(), AMTUNER_NOSIGNAL);
    qis::System::sleepMilliseconds(1);
    EXPECT_EQ(signal(), AMTUNER_SIGNALPRESENT);
    // Retuning starts over; AutoTune returns locked.
    ASSERT_EQ(tuner_->put_Channel(9, -1, -1), S_OK);
    EXPECT_EQ(signal(), AMTUNER_NOSIGNAL);
    LONG found = 0;
    ASSERT_EQ(tuner_->AutoTune(9, &found), S_OK);
    EXPECT_EQ(found, 1);
    EXPECT_EQ(signal(), AMTUNER_SIGNALPRESENT);
}

TEST_F(CaptureFilterTuner, JournalRecordsTheTuningArguments) {
    tuner_->put_Mode(AMTUNER_MODE_TV);
    tuner_->put_InputType(0, TunerInputAntenna);
    tuner_->put_CountryCode(44);
    tuner_->put_Channel(7, AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT);
    tuner_->put_Channel(70, AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT);

    EXPECT_EQ(argumentsOf(simulation(), "put_Mode"), std::vector<std::string>{"AMTUNER_MODE_TV"});
    EXPECT_EQ(argumentsOf(simulation(), "put_InputType"), std::vector<std::string>{"0, TunerInputAntenna"});
    EXPECT_EQ(argumentsOf(simulation(), "put_CountryCode"), std::vector<std::string>{"44"});
    EXPECT_EQ(argumentsOf(simulation(), "put_Channel"), (std::vector<std::string>{"7, -1, -1", "70, -1, -1"}));
    const auto calls = simulation().journal().calls();
    EXPECT_EQ(calls.back().result, E_INVALIDARG);
    LONG country = 0;
    tuner_->get_CountryCode(&country);
    EXPECT_EQ(country, 44);
}

TEST_F(CaptureFilterTuner, InjectedFaultOnPutModeFailsWithoutChangingTheMode) {
    simulation().faults().add({kName, "put_Mode", static_cast<std::int32_t>(0x8007001F), 2});
    EXPECT_EQ(tuner_->put_Mode(AMTUNER_MODE_TV), S_OK);
    EXPECT_EQ(tuner_->put_Mode(AMTUNER_MODE_FM_RADIO), static_cast<HRESULT>(0x8007001F));
    AMTunerModeType mode = AMTUNER_MODE_DEFAULT;
    ASSERT_EQ(tuner_->get_Mode(&mode), S_OK);
    EXPECT_EQ(mode, AMTUNER_MODE_TV);
    const auto calls = simulation().journal().calls();
    std::vector<bool> injected;
    for (const auto& call : calls)
        if (call.method == "put_Mode") injected.push_back(call.injected);
    EXPECT_EQ(injected, (std::vector<bool>{false, true}));
}

TEST_F(CaptureFilterTuner, PictureShowsTheTunedChannelInTvModeOnly) {
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

// Two decoder outputs; the tuner's video reaches only the second.
class CaptureFilterCrossbar : public CaptureFilter {
protected:
    void SetUp() override {
        load(R"({"tuner": {"cableSignal": [9]},
                 "crossbar": {"outputs": ["Video_VideoDecoder", "Video_VideoDecoder"],
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

TEST_F(CaptureFilterCrossbar, TunerInputRoutesOnlyToTheOutputTheCardAllows) {
    EXPECT_EQ(crossbar_->CanRoute(0, 1), S_FALSE);
    EXPECT_EQ(crossbar_->CanRoute(1, 1), S_OK);
    EXPECT_EQ(crossbar_->Route(0, 1), S_FALSE);
    EXPECT_EQ(routedTo(0, S_FALSE), -1);
    EXPECT_EQ(crossbar_->Route(1, 1), S_OK);
    EXPECT_EQ(routedTo(1), 1);
}

TEST_F(CaptureFilterCrossbar, RoutingLoopOfTheTestsEndsOnTheSecondOutput) {
    LONG outputs = 0, inputs = 0;
    ASSERT_EQ(crossbar_->get_PinCounts(&outputs, &inputs), S_OK);
    bool routed = false;
    for (LONG i = 0; i < inputs && !routed; ++i) {
        LONG related = 0, type = 0;
        crossbar_->get_CrossbarPinInfo(TRUE, i, &related, &type);
        if (type != PhysConn_Video_Tuner) continue;
        for (LONG o = 0; o < outputs && !routed; ++o)
            if (crossbar_->CanRoute(o, i) == S_OK) routed = SUCCEEDED(crossbar_->Route(o, i));
    }
    EXPECT_TRUE(routed);
    EXPECT_EQ(routedTo(0, S_FALSE), -1);
    EXPECT_EQ(routedTo(1), 1);
}

TEST_F(CaptureFilterCrossbar, PinInfoGivesPhysicalTypesAndRelatedPinsOfExistingPinsOnly) {
    LONG related = 0, type = 0;
    ASSERT_EQ(crossbar_->get_CrossbarPinInfo(TRUE, 1, &related, &type), S_OK);
    EXPECT_EQ(type, PhysConn_Video_Tuner);
    EXPECT_EQ(related, 2);
    ASSERT_EQ(crossbar_->get_CrossbarPinInfo(TRUE, 0, &related, &type), S_OK);
    EXPECT_EQ(related, -1);
    ASSERT_EQ(crossbar_->get_CrossbarPinInfo(FALSE, 1, &related, &type), S_OK);
    EXPECT_EQ(type, PhysConn_Video_VideoDecoder);
    EXPECT_EQ(crossbar_->get_CrossbarPinInfo(TRUE, 3, &related, &type), E_INVALIDARG);
    EXPECT_EQ(crossbar_->get_CrossbarPinInfo(FALSE, 2, &related, &type), E_INVALIDARG);
    EXPECT_EQ(crossbar_->get_CrossbarPinInfo(TRUE, -1, &related, &type), E_INVALIDARG);
    EXPECT_EQ(crossbar_->CanRoute(2, 0), E_INVALIDARG);
    EXPECT_EQ(crossbar_->Route(0, 3), E_INVALIDARG);
}

TEST_F(CaptureFilterCrossbar, RouteReplacesWhatFedTheOutput) {
    ASSERT_EQ(crossbar_->Route(1, 0), S_OK);
    ASSERT_EQ(crossbar_->Route(1, 1), S_OK);
    EXPECT_EQ(routedTo(1), 1);
    EXPECT_EQ(argumentsOf(simulation(), "Route"), (std::vector<std::string>{"1, 0", "1, 1"}));
}

TEST_F(CaptureFilterCrossbar, PictureNeedsTheTunerRoutedThrough) {
    tuner_->put_InputType(0, TunerInputCable);
    tuner_->put_Channel(9, -1, -1);
    EXPECT_EQ(signal(), AMTUNER_SIGNALPRESENT); // the tuner's own flag does not depend on routing
    EXPECT_FALSE(picture().hasPicture());
    crossbar_->Route(1, 0);
    EXPECT_FALSE(picture().hasPicture());
    crossbar_->Route(1, 1);
    EXPECT_TRUE(picture().hasPicture());
}

TEST_F(CaptureFilterCrossbar, StartsWithTheRoutesTheScenarioGives) {
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
        const ComPtr<IPin> capture = pinNamed(filter_.get(), L"Capture");
        ASSERT_TRUE(capture);
        ASSERT_EQ(capture.as(config_), S_OK);
    }
    void TearDown() override {
        config_.reset();
        CaptureFilter::TearDown();
    }

    ComPtr<IAMStreamConfig> config_;
};

TEST_F(CaptureFilterStreamConfig, GetFormatHandsTheCallerACopyOfTheChosenFormat) {
    AM_MEDIA_TYPE* interleaved = nullptr;
    ASSERT_EQ(config_->GetFormat(&interleaved), S_OK);
    EXPECT_EQ(interleaved->majortype, MEDIATYPE_Interleaved);
    deleteMediaType(interleaved);

    AM_MEDIA_TYPE* video = nullptr;
    ASSERT_EQ(config_->GetStreamCaps(1, &video, std::vector<BYTE>(sizeof(VIDEO_STREAM_CONFIG_CAPS)).data()), S_OK);
    ASSERT_EQ(config_->SetFormat(video), S_OK);
    deleteMediaType(video);

    AM_MEDIA_TYPE* format = nullptr;
    ASSERT_EQ(config_->GetFormat(&format), S_OK);
    ASSERT_EQ(format->formattype, FORMAT_VideoInfo);
    ASSERT_GE(format->cbFormat, sizeof(VIDEOINFOHEADER));
    const auto* header = reinterpret_cast<const VIDEOINFOHEADER*>(format->pbFormat);
    EXPECT_EQ(header->bmiHeader.biWidth, 640);
    EXPECT_EQ(header->bmiHeader.biHeight, 480);
    deleteMediaType(format); // the caller's to free; the fixture then finds nothing left alive
}

TEST_F(CaptureFilterStreamConfig, SetFormatAcceptsOnlyAnOfferedTypeWhileStopped) {
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
}

TEST_F(CaptureFilterStreamConfig, CapabilitiesDescribeEachOfferedTypeAtTheScenarioSize) {
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
}

TEST_F(CaptureFilterStreamConfig, OnlyTheCapturePinHasAStreamConfiguration) {
    ComPtr<IAMStreamConfig> other;
    EXPECT_EQ(pinNamed(filter_.get(), L"Preview").as(other), E_NOINTERFACE);
    EXPECT_EQ(filter_.as(other), E_NOINTERFACE);
    // The pin's interface belongs to the filter: it keeps the filter alive.
    filter_.reset();
    AM_MEDIA_TYPE* format = nullptr;
    ASSERT_EQ(config_->GetFormat(&format), S_OK);
    deleteMediaType(format);
}

// ---- pins and interfaces --------------------------------------------------------------------

TEST_F(CaptureFilter, PinsCarryTheirCategoriesThroughIKsPropertySet) {
    load("{}");
    const ComPtr<IPin> capture = pinNamed(filter_.get(), L"Capture");
    const ComPtr<IPin> preview = pinNamed(filter_.get(), L"Preview");
    ASSERT_TRUE(capture && preview);
    EXPECT_EQ(categoryOf(capture.get()), PIN_CATEGORY_CAPTURE);
    EXPECT_EQ(categoryOf(preview.get()), PIN_CATEGORY_PREVIEW);
    PIN_DIRECTION direction = PINDIR_INPUT;
    capture->QueryDirection(&direction);
    EXPECT_EQ(direction, PINDIR_OUTPUT);
}

TEST_F(CaptureFilter, CardWithoutPreviewHasTheCapturePinAlone) {
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

TEST_F(CaptureFilter, CapturePinOffersTheScenarioTypesInOrder) {
    load(R"({"captureTypes": ["Stream", "Interleaved", "Video"], "format": {"width": 720, "height": 576, "framesPerSecond": 25}})");
    const auto types = typesOf(pinNamed(filter_.get(), L"Capture").get());
    ASSERT_EQ(types.size(), 3u);
    EXPECT_EQ(types[0].major, MEDIATYPE_Stream);
    EXPECT_EQ(types[0].subtype, MEDIASUBTYPE_MPEG2_PROGRAM);
    EXPECT_EQ(types[1].major, MEDIATYPE_Interleaved);
    EXPECT_EQ(types[1].subtype, MEDIASUBTYPE_dvsd);
    EXPECT_EQ(types[1].formatType, FORMAT_DvInfo);
    EXPECT_EQ(types[2].major, MEDIATYPE_Video);
    ASSERT_EQ(types[2].formatType, FORMAT_VideoInfo);
    EXPECT_EQ(reinterpret_cast<const VIDEOINFOHEADER*>(types[2].format.data())->bmiHeader.biHeight, 576);
    const auto preview = typesOf(pinNamed(filter_.get(), L"Preview").get());
    ASSERT_EQ(preview.size(), 1u);
    EXPECT_EQ(preview[0].major, MEDIATYPE_Video);
}

TEST_F(CaptureFilter, TunerAndCrossbarAnswerOnlyWhenTheCardHasThem) {
    load("{}");
    EXPECT_FALSE(tuner_);
    EXPECT_FALSE(crossbar_);
    ComPtr<IAMTuner> base;
    EXPECT_EQ(filter_.as(base), E_NOINTERFACE);

    load(R"({"tuner": {}, "crossbar": {"outputs": [12], "inputs": [{"physicalType": 1, "routesTo": [0]}]}})");
    ASSERT_TRUE(tuner_ && crossbar_);
    ComPtr<IUnknown> a, b;
    tuner_.as(a);
    crossbar_.as(b);
    EXPECT_EQ(a.get(), b.get()); // one object behind every interface
}

TEST_F(CaptureFilter, UnknownKeyGivesNoFilter) {
    load("{}");
    EXPECT_FALSE(createScenarioFilter(simulation(), "no such filter", kName));
}

// ---- scenario keys of the card --------------------------------------------------------------

std::string loadError(const std::string& filter) {
    try {
        parseScenario(scenarioWith(filter), "t");
    } catch (const ScenarioError& e) {
        return e.what();
    }
    return "(loaded)";
}

TEST(CaptureFilterScenario, PhysicalTypesAndVideoStandardsMayBeNamed) {
    const Scenario scenario = parseScenario(scenarioWith(R"({
        "tuner": {"tvFormat": "PAL_B", "inputType": "antenna"},
        "crossbar": {"outputs": ["PhysConn_Video_VideoDecoder", {"physicalType": 4105, "related": 0}],
                     "inputs": [{"physicalType": "Video_Tuner", "routesTo": [0]}, {"physicalType": "Audio_Tuner", "routesTo": [1]}]}})"),
                                            "t");
    const FilterSpec& card = scenario.filters.at("card");
    EXPECT_EQ(card.tuner->tvFormat, 0x10);
    EXPECT_EQ(card.tuner->inputType, 1);
    EXPECT_EQ(card.crossbar->outputs[0].physicalType, 12);
    EXPECT_EQ(card.crossbar->outputs[1].related, 0);
    EXPECT_EQ(card.crossbar->inputs[1].physicalType, 0x1000);
}

TEST(CaptureFilterScenario, MistakesAreReportedAtTheirJsonPath) {
    EXPECT_EQ(loadError(R"({"tuner": {"maxChannel": 13, "cableSignal": [9, 14]}})"),
              "scenario \"t\": /filters/card/tuner/cableSignal/1: outside minChannel..maxChannel");
    EXPECT_EQ(loadError(R"({"tuner": {"fmSignal": [80000000]}})"),
              "scenario \"t\": /filters/card/tuner/fmSignal/0: outside minFrequency..maxFrequency");
    EXPECT_EQ(loadError(R"({"tuner": {"tvFormat": "PAL_Q"}})"),
              "scenario \"t\": /filters/card/tuner/tvFormat: unknown analog video standard");
    EXPECT_EQ(loadError(R"({"tuner": {"tvMode": false, "fmMode": false}})"),
              "scenario \"t\": /filters/card/tuner: a tuner needs tvMode or fmMode");
    EXPECT_EQ(loadError(R"({"crossbar": {"outputs": [{"physicalType": 12, "routedFrom": 0}],
                                         "inputs": [{"physicalType": 1}]}})"),
              "scenario \"t\": /filters/card/crossbar/outputs/0/routedFrom: that input cannot be routed to this output");
    EXPECT_EQ(loadError(R"({"crossbar": {"outputs": [{"physicalType": 12, "colour": 1}], "inputs": []}})"),
              "scenario \"t\": /filters/card/crossbar/outputs/0/colour: unknown key");
    EXPECT_EQ(loadError(R"({"crossbar": {"outputs": [12], "inputs": [{"physicalType": 1, "related": 1}]}})"),
              "scenario \"t\": /filters/card/crossbar/inputs/0/related: no such input");
}

} // namespace
} // namespace tvsim

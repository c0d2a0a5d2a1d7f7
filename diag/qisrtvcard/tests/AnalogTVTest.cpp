// The analog TV signal test on the virtual card, as a host sees it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Requirement.h"

#include "ModuleTestSupport.h"
#include "analog/GraphHandles.h"
#include "frame/TestEntries.h"
#include "qis/Locale.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using mirt5::TestResult;

// A card with a tuner and crossbar; `tuner` and `crossbar` are JSON members to merge in.
std::string card(const std::string& tuner, const std::string& extra = "",
                 const std::string& crossbar = R"("crossbar": {"outputs": ["Video_VideoDecoder"], "inputs": [{"physicalType": "Video_Composite", "routesTo": [0]}, {"physicalType": "Video_Tuner", "routesTo": [0]}]})",
                 const std::string& captureTypes = R"(["Video"])") {
    return R"({"device": {"name": "TV card", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter", "AnalogTVTuner"],
                          "properties": {"AnalogFriendlyName": "TV Capture"}},
               "categories": {"VideoInputDevice": [{"friendlyName": "TV Capture", "filter": "capture"}]},
               "filters": {"capture": {"captureTypes": )" + captureTypes + R"(, "tuner": {)" + tuner + "}" +
           (crossbar.empty() ? "" : ", " + crossbar) + "}}" + extra + "}";
}

using testing::addFault;

std::vector<std::string> arguments(const char* method) {
    std::vector<std::string> list;
    for (const auto& call : tvsim::Simulation::current().journal().calls())
        if (call.method == method && !call.injected) list.push_back(call.arguments.utf8());
    return list;
}

using testing::haveDisplay;

class AnalogTVScan : public ::testing::Test {
protected:
    void SetUp() override {
        QIS_REQUIRE(haveDisplay(), "a display (run under xvfb-run)");
        testing::initialiseCatalogue(); // before a test lowers the log level: start-up sets it
    }
    void TearDown() override { qis::LogFactory::setPriority(qis::LogPriority::Info); }

    TestResult run(const std::string& scenario, std::map<std::string, std::string> parameters = {}) {
        system_.reset();
        system_ = std::make_unique<testing::SimulatedSystem>(scenario);
        probe_.device = system_->device();
        probe_.parameters = std::move(parameters);
        return probe_.run([](const mirt5::DiagDevice& device) { return AnalogTVSignalTest(device); });
    }
    // The test keeps its tuner handle when it returns, and the capture filter's too where the
    // test never hands it to the graph or fails early: the card's capture filter, which is its
    // tuner, stays with one reference per kept handle, and nothing else does.
    void expectOnlyTheCardKept(int references = 1) {
        EXPECT_EQ(system_->liveObjects(), "TV Capture (" + std::to_string(references) + ")\n");
    }
    std::vector<std::string> progressChannels() const {
        std::vector<std::string> channels;
        for (const auto& line : probe_.reporter.progressLines) channels.push_back(line.variables.at("channel").utf8());
        return channels;
    }

    std::unique_ptr<testing::SimulatedSystem> system_;
    testing::Probe probe_;
};

const char* kSignalOn5 = R"("cableSignal": [5], "antennaSignal": [3])";

TEST_F(AnalogTVScan, FindsTheCableChannelWithASignalAndStops) {
    EXPECT_EQ(run(card(kSignalOn5), {{"TVStartChannel", "2"}, {"TVEndChannel", "13"}}), TestResult::PASS());
    EXPECT_THAT(progressChannels(), ElementsAre("2", "3", "4", "5"));
    EXPECT_THAT(probe_.reporter.percents, ElementsAre(0, 15, 23, 30)); // channel x 100 / 13
    EXPECT_THAT(probe_.eventKeys(), IsEmpty());
    EXPECT_THAT(arguments("Route"), ElementsAre("0, 1")); // the tuner input, second in the list, to the first output
    expectOnlyTheCardKept();
}

TEST_F(AnalogTVScan, WithoutStopOnSignalEveryChannelIsVisitedAndTheScanStillPasses) {
    EXPECT_EQ(run(card(R"("cableSignal": [2])"), {{"TVStartChannel", "2"}, {"TVEndChannel", "4"}, {"StopOnSignal", "false"}}),
              TestResult::PASS());
    EXPECT_THAT(progressChannels(), ElementsAre("2", "3", "4"));
    EXPECT_THAT(probe_.reporter.percents, ElementsAre(0, 50, 75, 100));
}

TEST_F(AnalogTVScan, SignalTypeChoosesTheInputsTried) {
    run(card(""), {{"TVStartChannel", "7"}, {"TVEndChannel", "7"}, {"SignalType", "Antenna"}, {"CheckTVCable", "false"}});
    EXPECT_THAT(arguments("put_InputType"), ElementsAre("0, TunerInputAntenna"));
    tvsim::Simulation::current().journal().clear();
    run(card(""), {{"TVStartChannel", "7"}, {"TVEndChannel", "7"}, {"SignalType", "whatever"}, {"CheckTVCable", "false"}});
    EXPECT_THAT(arguments("put_InputType"), ElementsAre("0, TunerInputAntenna", "0, TunerInputCable"));
}

TEST_F(AnalogTVScan, AReversedRangeScansTheStartChannelOnly) {
    EXPECT_EQ(run(card(""), {{"TVStartChannel", "9"}, {"TVEndChannel", "4"}, {"CheckTVCable", "false"}}), TestResult::NOSIGNAL());
    EXPECT_THAT(progressChannels(), ElementsAre("9"));
    EXPECT_THAT(probe_.reporter.percents, ElementsAre(0, 100, 100));
    ASSERT_THAT(probe_.eventKeys(), ElementsAre("warning:ErrorNoSignalDetected"));
    EXPECT_EQ(probe_.reporter.events[0].variables.at("startchannel"), "9");
    EXPECT_EQ(probe_.reporter.events[0].variables.at("endchannel"), "4");
    expectOnlyTheCardKept();
}

TEST_F(AnalogTVScan, NoChecksPerChannelFindsNothingEvenOnASignal) {
    EXPECT_EQ(run(card(kSignalOn5), {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"ChecksPerChannel", "0"}, {"CheckTVCable", "false"}}),
              TestResult::NOSIGNAL());
    EXPECT_TRUE(arguments("SignalPresent").empty());
}

TEST_F(AnalogTVScan, AStopRequestDuringTheScanAborts) {
    probe_.onProgress = [](const qis::String& text) {
        if (text.endsWith("4")) mirt5::DiagModule::requestStop();
    };
    EXPECT_EQ(run(card(""), {{"TVStartChannel", "2"}, {"TVEndChannel", "9"}}), TestResult::USERABORTED());
    EXPECT_THAT(progressChannels(), ElementsAre("2", "3", "4"));
    EXPECT_TRUE(probe_.reporter.prompts.empty());
    expectOnlyTheCardKept();
}

TEST_F(AnalogTVScan, AntennaInputFailureGoesOnAndCableInputFailureEndsThePass) {
    system_.reset();
        system_ = std::make_unique<testing::SimulatedSystem>(card(kSignalOn5));
    addFault("TV Capture", "put_InputType", 1); // the antenna input of the first channel
    probe_.device = system_->device();
    probe_.parameters = {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"SignalType", ""}};
    EXPECT_EQ(probe_.run([](const mirt5::DiagDevice& d) { return AnalogTVSignalTest(d); }), TestResult::PASS());
    ASSERT_THAT(probe_.eventKeys(), ElementsAre("error:ErrorCreatingFilterGraph"));
    EXPECT_EQ(probe_.reporter.events[0].variables.at("error"), "TunerInputAntenna failed.");
    const int antennaLine = probe_.reporter.events[0].line;

    probe_.reporter.events.clear();
    system_.reset();
        system_ = std::make_unique<testing::SimulatedSystem>(card(kSignalOn5));
    addFault("TV Capture", "put_InputType", 2); // the cable input of the first channel
    probe_.parameters["CheckTVCable"] = "false";
    EXPECT_EQ(probe_.run([](const mirt5::DiagDevice& d) { return AnalogTVSignalTest(d); }), TestResult::NOSIGNAL());
    EXPECT_THAT(probe_.eventKeys(), ElementsAre("error:ErrorCreatingFilterGraph", "warning:ErrorNoSignalDetected"));
    EXPECT_EQ(probe_.reporter.events[0].variables.at("error"), "TunerInputCable failed.");
    EXPECT_NE(probe_.reporter.events[0].line, antennaLine) << "each event names the statement that raised it, not a helper";
}

TEST_F(AnalogTVScan, ChannelsThatCannotBeTunedAreLoggedFromTheirOwnPositionOn) {
    qis::LogFactory::setPriority(qis::LogPriority::Debug);
    system_.reset();
        system_ = std::make_unique<testing::SimulatedSystem>(card(""));
    addFault("TV Capture", "put_Channel");
    probe_.device = system_->device();
    probe_.parameters = {{"TVStartChannel", "2"}, {"TVEndChannel", "3"}, {"SignalType", "antenna"}};
    EXPECT_EQ(probe_.run([](const mirt5::DiagDevice& d) { return AnalogTVSignalTest(d); }), TestResult::FAIL());
    const auto lines = probe_.logLines("libTunekit");
    EXPECT_THAT(lines, Contains("nnot tune to antenna channel "));
    EXPECT_THAT(lines, Contains("not tune to antenna channel "));
    // Nothing could be tuned: the first pass ends in the cable-input error.
    ASSERT_THAT(probe_.eventKeys(), ElementsAre("error:ErrorCreatingFilterGraph"));
    EXPECT_EQ(probe_.reporter.events[0].variables.at("error"), "TunerInputCable failed.");
    EXPECT_EQ(probe_.reporter.percents.back(), 100);
}

TEST_F(AnalogTVScan, TheCablePromptAnswersDecideTheOutcome) {
    const std::map<std::string, std::string> range = {{"TVStartChannel", "2"}, {"TVEndChannel", "3"}};
    probe_.answers = {"150"};
    EXPECT_EQ(run(card(""), range), TestResult::USERABORTED());
    probe_.answers = {"220"};
    probe_.reporter.events.clear();
    EXPECT_EQ(run(card(""), range), TestResult::NOSIGNAL());
    EXPECT_THAT(probe_.eventKeys(), ElementsAre("warning:ErrorNoSignalDetected"));
    probe_.answers = {"timeout"};
    probe_.reporter.events.clear();
    probe_.reporter.percents.clear();
    EXPECT_EQ(run(card(""), range), TestResult::NOSIGNAL()); // a time-out retries, and the second pass finds nothing
    EXPECT_THAT(probe_.reporter.percents, ElementsAre(0, 66, 100, -1, 66, 100, 100));
    EXPECT_THAT(probe_.eventKeys(), ElementsAre("warning:ErrorNoSignalDetected"));
    expectOnlyTheCardKept();
}

TEST_F(AnalogTVScan, ASecondPassThatTunesNothingIsAWarningAndNoSignal) {
    system_.reset();
        system_ = std::make_unique<testing::SimulatedSystem>(card(""));
    addFault("TV Capture", "put_Channel", 2); // the second pass's only tuning
    probe_.device = system_->device();
    probe_.parameters = {{"TVStartChannel", "4"}, {"TVEndChannel", "4"}};
    probe_.answers = {"retry"};
    EXPECT_EQ(probe_.run([](const mirt5::DiagDevice& d) { return AnalogTVSignalTest(d); }), TestResult::NOSIGNAL());
    ASSERT_THAT(probe_.eventKeys(), ElementsAre("warning:ErrorCreatingFilterGraph"));
    EXPECT_EQ(probe_.reporter.events[0].variables.at("error"), "TunerInputCable failed.");
}

TEST_F(AnalogTVScan, CountryComesFromTheLanguageUnlessTheDialogIsAsked) {
    qis::QISLocale::setGlobalLocale(qis::QISLocale("de-DE"));
    run(card(kSignalOn5), {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}});
    qis::QISLocale::setGlobalLocale(qis::QISLocale("en"));
    EXPECT_THAT(arguments("put_CountryCode"), ElementsAre("49"));
}

TEST_F(AnalogTVScan, TVModeRefusedFailsTheTest) {
    EXPECT_EQ(run(card(R"("tvMode": false)")), TestResult::FAIL());
    ASSERT_THAT(probe_.eventKeys(), ElementsAre("error:ErrorCreatingFilterGraph"));
    EXPECT_EQ(probe_.reporter.events[0].variables.at("error"), "AMTUNER_MODE_TV failed.");
    EXPECT_EQ(probe_.reporter.percents, std::vector<int>({0, 100}));
    expectOnlyTheCardKept(2);
}

TEST_F(AnalogTVScan, NothingToRouteIsNoError) {
    EXPECT_EQ(run(card(kSignalOn5, "", ""), {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}}), TestResult::PASS());
    EXPECT_TRUE(arguments("Route").empty());
}

TEST_F(AnalogTVScan, OnlyTheStreamFormResizesTheWindowToTheCaptureFormat) {
    qis::LogFactory::setPriority(qis::LogPriority::Debug);
    run(card(kSignalOn5), {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}});
    EXPECT_THAT(probe_.logLines("libTunekit"), ::testing::Not(Contains(::testing::HasSubstr("Attempting to read the stream configuration"))));
    probe_.reporter.logs.clear();
    const std::string converters = R"(, "converters": [{"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"},
                                                      {"name": "MPEG Audio Decoder", "input": "Audio/MPEG1Payload", "output": "Audio/PCM"}])";
    const std::string crossbar = R"("crossbar": {"outputs": ["Video_VideoDecoder"], "inputs": [{"physicalType": "Video_Tuner", "routesTo": [0]}]})";
    system_.reset();
    system_ = std::make_unique<testing::SimulatedSystem>(card(kSignalOn5, converters, crossbar, R"(["Video", "Stream"])"));
    addFault("CaptureGraphBuilder2", "RenderStream", 2); // the video form fails, the stream form succeeds
    probe_.device = system_->device();
    EXPECT_EQ(probe_.run([](const mirt5::DiagDevice& d) { return AnalogTVSignalTest(d); }), TestResult::PASS());
    const auto lines = probe_.logLines("libTunekit");
    EXPECT_THAT(lines, Contains(::testing::HasSubstr("RenderStream Video failed trying stream: ")));
    EXPECT_THAT(lines, Contains("Attempting to read the stream configuration to use to resize window"));
    // The capture pin now carries the stream, so neither type finds its configuration.
    EXPECT_THAT(lines, Contains(::testing::StartsWith("IGraphBuilder::FindInterface(IID_IAMStreamConfig) video failed:")));
    EXPECT_THAT(lines, Contains("Stream Config is NULL"));
    expectOnlyTheCardKept();
}

// A capture format that cannot be read still leaves the renderer fitted to the window, and an
// empty one that the driver reports as success is not logged as a failure.
TEST_F(AnalogTVScan, AnUnreadableCaptureFormatStillFitsTheRenderer) {
    qis::LogFactory::setPriority(qis::LogPriority::Debug);
    const std::string crossbar = R"("crossbar": {"outputs": ["Video_VideoDecoder"], "inputs": [{"physicalType": "Video_Tuner", "routesTo": [0]}]})";
    for (const tvsim::FaultKind kind : {tvsim::FaultKind::Fail, tvsim::FaultKind::NullResult}) {
        SCOPED_TRACE(kind == tvsim::FaultKind::Fail ? "failed" : "empty");
        system_.reset();
        system_ = std::make_unique<testing::SimulatedSystem>(card(kSignalOn5, "", crossbar, R"(["Video", "Stream"])"));
        auto& faults = tvsim::Simulation::current().faults();
        addFault("CaptureGraphBuilder2", "RenderStream", 1); // interleaved
        addFault("CaptureGraphBuilder2", "RenderStream", 2); // video
        // The stream form "succeeds" without connecting anything, so the capture pin still offers
        // video and its configuration is found.
        faults.add({"FilterGraph", "Connect", 0, 0, tvsim::FaultKind::NullResult});
        faults.add({"CaptureGraphBuilder2", "RenderStream", 0, 3, tvsim::FaultKind::NullResult});
        faults.add({"CaptureGraphBuilder2", "RenderStream", 0, 4, tvsim::FaultKind::NullResult});
        faults.add({"TV Capture", "GetFormat", static_cast<std::int32_t>(0x80004005), 0, kind});
        probe_.device = system_->device();
        probe_.reporter.logs.clear();
        probe_.parameters = {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}};
        probe_.run([](const mirt5::DiagDevice& d) { return AnalogTVSignalTest(d); });
        const auto lines = probe_.logLines("libTunekit");
        ASSERT_THAT(lines, Contains("Got Stream Configuration"));
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                                [](const std::string& l) { return l.rfind("IAMStreamConfig::GetFormat failed: ", 0) == 0; }),
                  kind == tvsim::FaultKind::Fail ? 1 : 0);
        bool formatRead = false, fittedAfter = false;
        for (const auto& call : tvsim::Simulation::current().journal().calls()) {
            if (call.method == "GetFormat") formatRead = true;
            else if (formatRead && call.method == "SetWindowPosition") fittedAfter = true;
        }
        EXPECT_TRUE(fittedAfter) << "the renderer is fitted all the same";
    }
}

TEST_F(AnalogTVScan, MediaCenterRunningRefusesBeforeAnyGraph) {
    EXPECT_EQ(run(card("", R"(, "processes": ["EHSHELL.EXE"])")), TestResult::CANNOTRUN());
    EXPECT_THAT(probe_.eventKeys(), ElementsAre("warning:MediaCenterIsRunning"));
    EXPECT_TRUE(arguments("AddFilter").empty());
}

} // namespace
} // namespace qisrtvcard

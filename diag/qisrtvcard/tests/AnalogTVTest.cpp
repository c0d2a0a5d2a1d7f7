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
using mirt5::TestResult;
using testing::Answers;
using testing::Parameters;

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

class AnalogTVScan : public testing::ModuleRun {
protected:
    void SetUp() override {
        QIS_REQUIRE(haveDisplay(), "a display (run under xvfb-run)");
        testing::initialiseCatalogue(); // before a test lowers the log level: start-up sets it
    }
    TestResult run(Parameters parameters = {}, Answers answers = {}) { return ModuleRun::run(AnalogTVSignalTest, std::move(parameters), std::move(answers)); }
    // Loads and runs in one.
    TestResult scan(const std::string& scenario, Parameters parameters = {}, Answers answers = {}) {
        load(scenario);
        return run(std::move(parameters), std::move(answers));
    }
    void expectOnlyTheCardKept(int references = 1) { ModuleRun::expectOnlyTheCardKept("TV Capture", references); }
    void expectOneEvent(const char* key, const char* error) {
        ASSERT_THAT(probe_->eventKeys(), ElementsAre(key));
        EXPECT_EQ(event(0).variables.at("error"), error);
    }
};

const char* kSignalOn5 = R"("cableSignal": [5], "antennaSignal": [3])";

// Scans on the cable input that run as far as their range and stop setting allow.
TEST_F(AnalogTVScan, ScansRunFromTheStartChannelUntilASignalOrTheEnd) {
    const struct {
        const char* signal;
        Parameters parameters;
        TestResult result;
        std::vector<std::string> channels;
        std::vector<int> percents; // channel x 100 / the end channel
        std::vector<std::string> events;
    } cases[] = {
        {kSignalOn5, {{"TVStartChannel", "2"}, {"TVEndChannel", "13"}}, TestResult::PASS(), {"2", "3", "4", "5"}, {0, 15, 23, 30}, {}},
        {R"("cableSignal": [2])", {{"TVStartChannel", "2"}, {"TVEndChannel", "4"}, {"StopOnSignal", "false"}}, TestResult::PASS(),
         {"2", "3", "4"}, {0, 50, 75, 100}, {}}, // every channel visited, and still a pass
        {"", {{"TVStartChannel", "9"}, {"TVEndChannel", "4"}, {"CheckTVCable", "false"}}, TestResult::NOSIGNAL(), {"9"},
         {0, 100, 100}, {"warning:ErrorNoSignalDetected"}}, // a reversed range scans the start channel only
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.channels.front() + " to " + c.parameters.at("TVEndChannel"));
        EXPECT_EQ(scan(card(c.signal), c.parameters), c.result);
        EXPECT_EQ(progress(), c.channels);
        EXPECT_EQ(probe_->reporter.percents, c.percents);
        EXPECT_EQ(probe_->eventKeys(), c.events);
        expectOnlyTheCardKept();
        if (c.result == TestResult::PASS()) EXPECT_THAT(arguments("Route"), ElementsAre("0, 1")); // the tuner input, second, to the first output
    }
    // The warning names the range as given.
    EXPECT_EQ(event(0).variables.at("startchannel"), "9");
    EXPECT_EQ(event(0).variables.at("endchannel"), "4");
}

TEST_F(AnalogTVScan, SignalTypeChoosesTheInputsTried) {
    scan(card(""), {{"TVStartChannel", "7"}, {"TVEndChannel", "7"}, {"SignalType", "Antenna"}, {"CheckTVCable", "false"}});
    EXPECT_THAT(arguments("put_InputType"), ElementsAre("0, TunerInputAntenna"));
    scan(card(""), {{"TVStartChannel", "7"}, {"TVEndChannel", "7"}, {"SignalType", "whatever"}, {"CheckTVCable", "false"}});
    EXPECT_THAT(arguments("put_InputType"), ElementsAre("0, TunerInputAntenna", "0, TunerInputCable"));
}

TEST_F(AnalogTVScan, NoChecksPerChannelFindsNothingEvenOnASignal) {
    EXPECT_EQ(scan(card(kSignalOn5), {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"ChecksPerChannel", "0"}, {"CheckTVCable", "false"}}),
              TestResult::NOSIGNAL());
    EXPECT_TRUE(arguments("SignalPresent").empty());
}

TEST_F(AnalogTVScan, AStopRequestDuringTheScanAborts) {
    load(card(""));
    probe_->onProgress = [](const qis::String& text) {
        if (text.endsWith("4")) mirt5::DiagModule::requestStop();
    };
    EXPECT_EQ(run({{"TVStartChannel", "2"}, {"TVEndChannel", "9"}}), TestResult::USERABORTED());
    EXPECT_THAT(progress(), ElementsAre("2", "3", "4"));
    EXPECT_TRUE(probe_->reporter.prompts.empty());
    expectOnlyTheCardKept();
}

TEST_F(AnalogTVScan, AntennaInputFailureGoesOnAndCableInputFailureEndsThePass) {
    load(card(kSignalOn5));
    addFault("TV Capture", "put_InputType", 1); // the antenna input of the first channel
    EXPECT_EQ(run({{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"SignalType", ""}}), TestResult::PASS());
    expectOneEvent("error:ErrorCreatingFilterGraph", "TunerInputAntenna failed.");
    const int antennaLine = event(0).line;

    load(card(kSignalOn5));
    addFault("TV Capture", "put_InputType", 2); // the cable input of the first channel
    EXPECT_EQ(run({{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"SignalType", ""}, {"CheckTVCable", "false"}}), TestResult::NOSIGNAL());
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("error:ErrorCreatingFilterGraph", "warning:ErrorNoSignalDetected"));
    EXPECT_EQ(event(0).variables.at("error"), "TunerInputCable failed.");
    EXPECT_NE(event(0).line, antennaLine) << "each event names the statement that raised it, not a helper";
}

TEST_F(AnalogTVScan, ChannelsThatCannotBeTunedAreLoggedFromTheirOwnPositionOn) {
    qis::LogFactory::setPriority(qis::LogPriority::Debug);
    load(card(""));
    addFault("TV Capture", "put_Channel");
    EXPECT_EQ(run({{"TVStartChannel", "2"}, {"TVEndChannel", "3"}, {"SignalType", "antenna"}}), TestResult::FAIL());
    const auto lines = probe_->logLines("libTunekit");
    EXPECT_THAT(lines, Contains("nnot tune to antenna channel "));
    EXPECT_THAT(lines, Contains("not tune to antenna channel "));
    // Nothing could be tuned: the first pass ends in the cable-input error.
    expectOneEvent("error:ErrorCreatingFilterGraph", "TunerInputCable failed.");
    EXPECT_EQ(probe_->reporter.percents.back(), 100);
}

TEST_F(AnalogTVScan, TheCablePromptAnswersDecideTheOutcome) {
    const Parameters range = {{"TVStartChannel", "2"}, {"TVEndChannel", "3"}};
    EXPECT_EQ(scan(card(""), range, {"150"}), TestResult::USERABORTED());
    EXPECT_EQ(scan(card(""), range, {"220"}), TestResult::NOSIGNAL());
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:ErrorNoSignalDetected"));
    EXPECT_EQ(scan(card(""), range, {"timeout"}), TestResult::NOSIGNAL()); // a time-out retries, and the second pass finds nothing
    EXPECT_THAT(probe_->reporter.percents, ElementsAre(0, 66, 100, -1, 66, 100, 100));
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:ErrorNoSignalDetected"));
    expectOnlyTheCardKept();
}

TEST_F(AnalogTVScan, ASecondPassThatTunesNothingIsAWarningAndNoSignal) {
    load(card(""));
    addFault("TV Capture", "put_Channel", 2); // the second pass's only tuning
    EXPECT_EQ(run({{"TVStartChannel", "4"}, {"TVEndChannel", "4"}}, {"retry"}), TestResult::NOSIGNAL());
    expectOneEvent("warning:ErrorCreatingFilterGraph", "TunerInputCable failed.");
}

TEST_F(AnalogTVScan, CountryComesFromTheLanguageUnlessTheDialogIsAsked) {
    qis::QISLocale::setGlobalLocale(qis::QISLocale("de-DE"));
    scan(card(kSignalOn5), {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}});
    qis::QISLocale::setGlobalLocale(qis::QISLocale("en"));
    EXPECT_THAT(arguments("put_CountryCode"), ElementsAre("49"));
}

TEST_F(AnalogTVScan, TVModeRefusedFailsTheTest) {
    EXPECT_EQ(scan(card(R"("tvMode": false)")), TestResult::FAIL());
    expectOneEvent("error:ErrorCreatingFilterGraph", "AMTUNER_MODE_TV failed.");
    EXPECT_EQ(probe_->reporter.percents, std::vector<int>({0, 100}));
    expectOnlyTheCardKept(2);
}

TEST_F(AnalogTVScan, NothingToRouteIsNoError) {
    EXPECT_EQ(scan(card(kSignalOn5, "", ""), {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}}), TestResult::PASS());
    EXPECT_TRUE(arguments("Route").empty());
}

const char* kTunerOnlyCrossbar = R"("crossbar": {"outputs": ["Video_VideoDecoder"], "inputs": [{"physicalType": "Video_Tuner", "routesTo": [0]}]})";

TEST_F(AnalogTVScan, OnlyTheStreamFormResizesTheWindowToTheCaptureFormat) {
    qis::LogFactory::setPriority(qis::LogPriority::Debug);
    scan(card(kSignalOn5), {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}});
    EXPECT_THAT(probe_->logLines("libTunekit"), ::testing::Not(Contains(::testing::HasSubstr("Attempting to read the stream configuration"))));
    const std::string converters = R"(, "converters": [{"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"},
                                                      {"name": "MPEG Audio Decoder", "input": "Audio/MPEG1Payload", "output": "Audio/PCM"}])";
    load(card(kSignalOn5, converters, kTunerOnlyCrossbar, R"(["Video", "Stream"])"));
    addFault("CaptureGraphBuilder2", "RenderStream", 2); // the video form fails, the stream form succeeds
    EXPECT_EQ(run(), TestResult::PASS());
    const auto lines = probe_->logLines("libTunekit");
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
    for (const tvsim::FaultKind kind : {tvsim::FaultKind::Fail, tvsim::FaultKind::NullResult}) {
        SCOPED_TRACE(kind == tvsim::FaultKind::Fail ? "failed" : "empty");
        load(card(kSignalOn5, "", kTunerOnlyCrossbar, R"(["Video", "Stream"])"));
        auto& faults = tvsim::Simulation::current().faults();
        addFault("CaptureGraphBuilder2", "RenderStream", 1); // interleaved
        addFault("CaptureGraphBuilder2", "RenderStream", 2); // video
        // The stream form "succeeds" without connecting anything, so the capture pin still offers
        // video and its configuration is found.
        faults.add({"FilterGraph", "Connect", 0, 0, tvsim::FaultKind::NullResult});
        faults.add({"CaptureGraphBuilder2", "RenderStream", 0, 3, tvsim::FaultKind::NullResult});
        faults.add({"CaptureGraphBuilder2", "RenderStream", 0, 4, tvsim::FaultKind::NullResult});
        faults.add({"TV Capture", "GetFormat", static_cast<std::int32_t>(0x80004005), 0, kind});
        run({{"TVStartChannel", "5"}, {"TVEndChannel", "5"}});
        const auto lines = probe_->logLines("libTunekit");
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
    EXPECT_EQ(scan(card("", R"(, "processes": ["EHSHELL.EXE"])")), TestResult::CANNOTRUN());
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:MediaCenterIsRunning"));
    EXPECT_TRUE(arguments("AddFilter").empty());
}

} // namespace
} // namespace qisrtvcard

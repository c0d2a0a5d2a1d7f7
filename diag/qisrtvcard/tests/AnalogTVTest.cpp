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
    void expectOnlyTheCardKept(int references = 1) { ModuleRun::expectOnlyTheCardKept("TV Capture", references); }
};

const char* kSignalOn5 = R"("cableSignal": [5], "antennaSignal": [3])";
const char* kTunerOnlyCrossbar = R"("crossbar": {"outputs": ["Video_VideoDecoder"], "inputs": [{"physicalType": "Video_Tuner", "routesTo": [0]}]})";
const Parameters kOn5 = {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}};

// Percents are channel x 100 / the end channel. A pass routes the tuner input, the second, to the first output.
TEST_F(AnalogTVScan, WholeScans) {
    const auto kept = [&] { expectOnlyTheCardKept(); };
    const Parameters range = {{"TVStartChannel", "2"}, {"TVEndChannel", "3"}};
    const Parameters at7 = {{"TVStartChannel", "7"}, {"TVEndChannel", "7"}, {"CheckTVCable", "false"}};
    const TestResult pass = TestResult::PASS(), noSignal = TestResult::NOSIGNAL();
    const std::vector<std::string> noSignalEvent = {"warning:ErrorNoSignalDetected"};
    expectRuns({
        {.what = "runs from the start channel until a signal", .scenario = card(kSignalOn5), .entry = AnalogTVSignalTest,
         .parameters = {{"TVStartChannel", "2"}, {"TVEndChannel", "13"}}, .result = pass, .channels = {{"2", "3", "4", "5"}},
         .percents = {{0, 15, 23, 30}}, .more = [&] { kept(); EXPECT_THAT(arguments("Route"), ElementsAre("0, 1")); }},
        {.what = "without StopOnSignal every channel is visited, and still a pass", .scenario = card(R"("cableSignal": [2])"),
         .entry = AnalogTVSignalTest, .parameters = {{"TVStartChannel", "2"}, {"TVEndChannel", "4"}, {"StopOnSignal", "false"}},
         .result = pass, .channels = {{"2", "3", "4"}}, .percents = {{0, 50, 75, 100}}, .more = kept},
        {.what = "a reversed range scans the start channel only, and the warning names the range as given", .scenario = card(""),
         .entry = AnalogTVSignalTest, .parameters = {{"TVStartChannel", "9"}, {"TVEndChannel", "4"}, {"CheckTVCable", "false"}},
         .result = noSignal, .events = noSignalEvent, .variables = {{"startchannel", "9"}, {"endchannel", "4"}},
         .channels = {{"9"}}, .percents = {{0, 100, 100}}, .more = kept},
        {.what = "SignalType antenna tries the antenna input", .scenario = card(""), .entry = AnalogTVSignalTest,
         .parameters = {{"TVStartChannel", "7"}, {"TVEndChannel", "7"}, {"SignalType", "Antenna"}, {"CheckTVCable", "false"}},
         .result = noSignal, .events = noSignalEvent,
         .more = [] { EXPECT_THAT(arguments("put_InputType"), ElementsAre("0, TunerInputAntenna")); }},
        {.what = "any other SignalType tries both inputs", .scenario = card(""), .entry = AnalogTVSignalTest,
         .parameters = {{"TVStartChannel", "7"}, {"TVEndChannel", "7"}, {"SignalType", "whatever"}, {"CheckTVCable", "false"}},
         .result = noSignal, .events = noSignalEvent,
         .more = [] { EXPECT_THAT(arguments("put_InputType"), ElementsAre("0, TunerInputAntenna", "0, TunerInputCable")); }},
        {.what = "no checks per channel finds nothing even on a signal", .scenario = card(kSignalOn5), .entry = AnalogTVSignalTest,
         .parameters = {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"ChecksPerChannel", "0"}, {"CheckTVCable", "false"}},
         .result = noSignal, .events = noSignalEvent, .more = [] { EXPECT_TRUE(arguments("SignalPresent").empty()); }},
        {.what = "a stop request during the scan aborts", .scenario = card(""), .entry = AnalogTVSignalTest,
         .parameters = {{"TVStartChannel", "2"}, {"TVEndChannel", "9"}}, .result = TestResult::USERABORTED(),
         .channels = {{"2", "3", "4"}}, .prompts = 0, .before = [&] { stopAt("4"); }, .more = kept},
        {.what = "cable prompt: cancel (150) aborts", .scenario = card(""), .entry = AnalogTVSignalTest, .parameters = range,
         .answers = {"150"}, .result = TestResult::USERABORTED()},
        {.what = "cable prompt: skip (220) gives up", .scenario = card(""), .entry = AnalogTVSignalTest, .parameters = range,
         .answers = {"220"}, .result = noSignal, .events = noSignalEvent},
        {.what = "cable prompt: a time-out retries, and the second pass finds nothing", .scenario = card(""),
         .entry = AnalogTVSignalTest, .parameters = range, .answers = {"timeout"}, .result = noSignal, .events = noSignalEvent,
         .percents = {{0, 66, 100, -1, 66, 100, 100}}, .more = kept},
        {.what = "the country comes from the language unless the dialog is asked", .scenario = card(kSignalOn5),
         .entry = AnalogTVSignalTest, .parameters = kOn5, .result = pass,
         .before = [] { qis::QISLocale::setGlobalLocale(qis::QISLocale("de-DE")); }, .more = [] {
             qis::QISLocale::setGlobalLocale(qis::QISLocale("en"));
             EXPECT_THAT(arguments("put_CountryCode"), ElementsAre("49"));
         }},
        {.what = "nothing to route is no error", .scenario = card(kSignalOn5, "", ""), .entry = AnalogTVSignalTest, .parameters = kOn5,
         .result = pass, .more = [] { EXPECT_TRUE(arguments("Route").empty()); }},
        {.what = "Media Center running refuses before any graph", .scenario = card("", R"(, "processes": ["EHSHELL.EXE"])"),
         .entry = AnalogTVSignalTest, .result = TestResult::CANNOTRUN(), .events = {"warning:MediaCenterIsRunning"},
         .more = [] { EXPECT_TRUE(arguments("AddFilter").empty()); }},
    });
}

TEST_F(AnalogTVScan, Failures) {
    int antennaLine = 0;
    const std::string stream = R"(, "converters": [{"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"},
                                                   {"name": "MPEG Audio Decoder", "input": "Audio/MPEG1Payload", "output": "Audio/PCM"}])";
    const std::vector<std::string> inputError = {"error:ErrorCreatingFilterGraph"};
    expectRuns({
        {.what = "an antenna input failure goes on", .scenario = card(kSignalOn5), .entry = AnalogTVSignalTest,
         .parameters = {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"SignalType", ""}}, .result = TestResult::PASS(),
         .events = inputError, .variables = {{"error", "TunerInputAntenna failed."}},
         .before = [] { addFault("TV Capture", "put_InputType", 1); }, .more = [&] { antennaLine = event(0).line; }},
        {.what = "a cable input failure ends the pass", .scenario = card(kSignalOn5), .entry = AnalogTVSignalTest,
         .parameters = {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"SignalType", ""}, {"CheckTVCable", "false"}},
         .result = TestResult::NOSIGNAL(), .events = {"error:ErrorCreatingFilterGraph", "warning:ErrorNoSignalDetected"},
         .variables = {{"error", "TunerInputCable failed."}}, .before = [] { addFault("TV Capture", "put_InputType", 2); },
         .more = [&] { EXPECT_NE(event(0).line, antennaLine) << "each event names the statement that raised it, not a helper"; }},
        // Logged from their own position on; nothing could be tuned: the first pass ends in the cable-input error.
        {.what = "channels that cannot be tuned", .scenario = card(""), .entry = AnalogTVSignalTest,
         .parameters = {{"TVStartChannel", "2"}, {"TVEndChannel", "3"}, {"SignalType", "antenna"}}, .result = TestResult::FAIL(),
         .events = inputError, .variables = {{"error", "TunerInputCable failed."}},
         .logged = {{"libTunekit", "nnot tune to antenna channel "}, {"libTunekit", "not tune to antenna channel "}},
         .before = [] { addFault("TV Capture", "put_Channel"); }, .more = [&] { EXPECT_EQ(probe_->reporter.percents.back(), 100); }},
        {.what = "a second pass that tunes nothing is a warning and no signal", .scenario = card(""), .entry = AnalogTVSignalTest,
         .parameters = {{"TVStartChannel", "4"}, {"TVEndChannel", "4"}}, .answers = {"retry"}, .result = TestResult::NOSIGNAL(),
         .events = {"warning:ErrorCreatingFilterGraph"}, .variables = {{"error", "TunerInputCable failed."}},
         .before = [] { addFault("TV Capture", "put_Channel", 2); }},
        {.what = "TV mode refused fails the test", .scenario = card(R"("tvMode": false)"), .entry = AnalogTVSignalTest,
         .result = TestResult::FAIL(), .events = inputError, .variables = {{"error", "AMTUNER_MODE_TV failed."}}, .percents = {{0, 100}},
         .more = [&] { expectOnlyTheCardKept(2); }},
        {.what = "the video form needs no stream configuration", .scenario = card(kSignalOn5), .entry = AnalogTVSignalTest,
         .parameters = kOn5, .result = TestResult::PASS(), .more = [&] {
             EXPECT_THAT(probe_->logLines("libTunekit"), ::testing::Not(Contains(::testing::HasSubstr("Attempting to read the stream configuration"))));
         }},
        // The capture pin then carries the stream, so neither type finds its configuration.
        {.what = "only the stream form resizes the window to the capture format",
         .scenario = card(kSignalOn5, stream, kTunerOnlyCrossbar, R"(["Video", "Stream"])"), .entry = AnalogTVSignalTest,
         .result = TestResult::PASS(),
         .logged = {{"libTunekit", ::testing::HasSubstr("RenderStream Video failed trying stream: ")},
                    {"libTunekit", "Attempting to read the stream configuration to use to resize window"},
                    {"libTunekit", ::testing::StartsWith("IGraphBuilder::FindInterface(IID_IAMStreamConfig) video failed:")},
                    {"libTunekit", "Stream Config is NULL"}},
         .before = [] { addFault("CaptureGraphBuilder2", "RenderStream", 2); }, // the video form fails, the stream form succeeds
         .more = [&] { expectOnlyTheCardKept(); }},
    });
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

} // namespace
} // namespace qisrtvcard

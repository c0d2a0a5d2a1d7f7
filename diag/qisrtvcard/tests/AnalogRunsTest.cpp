// The analog tests on the virtual card as a host sees them: the TV signal scan, the FM radio scan,
// capture to screen and capture to file; results, events, progress, percents, logs and files.
// Then their plumbing: finding the card's capture filter, and the video window.
#include <cstring>
#include <utility>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModuleTestSupport.h"
#include "analog/AnalogPlumbing.h"
#include "analog/GraphHandles.h"
#include "frame/Catalogue.h"
#include "frame/TestEntries.h"
#include "qis/Locale.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using mirt5::TestResult;
using testing::addFault;
using testing::journalArguments;
using testing::Parameters;
using testing::WholeRun;

// A card whose one capture filter, "TV Capture", has the JSON members `capture`; `extra` adds
// members to the scenario.
std::string card(const std::string& capture, const std::string& extra = "",
                 const std::string& capabilities = R"("VideoCapture", "VideoCaptureBaseFilter", "AnalogTVTuner")") {
    return R"({"device": {"name": "TV card", "capabilities": [)" + capabilities + R"(], "properties": {"AnalogFriendlyName": "TV Capture"}},
               "categories": {"VideoInputDevice": [{"friendlyName": "TV Capture", "filter": "capture"}]},
               "filters": {"capture": {)" + capture + "}}" + extra + "}";
}

const char* kBothInputs = R"("crossbar": {"outputs": ["Video_VideoDecoder"], "inputs": [{"physicalType": "Video_Composite", "routesTo": [0]}, {"physicalType": "Video_Tuner", "routesTo": [0]}]})";
const char* kTunerOnlyCrossbar = R"("crossbar": {"outputs": ["Video_VideoDecoder"], "inputs": [{"physicalType": "Video_Tuner", "routesTo": [0]}]})";
const char* kDecoders = R"(, "converters": [{"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"},
                                            {"name": "MPEG Audio Decoder", "input": "Audio/MPEG1Payload", "output": "Audio/PCM"}])";

// A TV card with this tuner; the crossbar has a composite input before the tuner's unless told.
std::string tv(const std::string& tuner, const std::string& extra = "", const std::string& crossbar = kBothInputs,
               const std::string& captureTypes = R"(["Video"])") {
    return card(R"("captureTypes": )" + captureTypes + R"(, "tuner": {)" + tuner + "}" + (crossbar.empty() ? "" : ", " + crossbar), extra);
}

std::string radio(const std::string& tuner, const std::string& extra = "") {
    return card(R"("tuner": {)" + tuner + "}", extra, R"("VideoCapture", "VideoCaptureBaseFilter", "AnalogFMRadioTuner")");
}

// The capture tests' card: preview pin, 320x240 at 25 frames a second, and a crossbar whose first
// output cannot take the tuner.
std::string capturing(const std::string& captureTypes = R"(["Video"])", const char* previewPin = "true", const std::string& extra = "",
                      const std::string& capabilities = R"("VideoCapture", "VideoCaptureBaseFilter", "AnalogTVTuner")") {
    return card(R"("captureTypes": )" + captureTypes + R"(, "previewPin": )" + previewPin + R"(,
                   "format": {"width": 320, "height": 240, "framesPerSecond": 25}, "tuner": {},
                   "crossbar": {"outputs": ["Video_VideoDecoder", "Video_VideoDecoder"], "inputs": [{"physicalType": "Video_Tuner", "routesTo": [1]}]})",
                extra, capabilities);
}

// What an AVI file's main header promises, and whether its index lists as many video chunks.
struct AviSummary {
    bool riffAvi = false;
    std::uint32_t totalFrames = 0, indexedVideoChunks = 0;
};

AviSummary readAvi(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string data((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    AviSummary summary;
    auto u32 = [&](std::size_t at) {
        std::uint32_t value = 0;
        if (at + 4 <= data.size()) std::memcpy(&value, data.data() + at, 4);
        return value;
    };
    summary.riffAvi = data.size() > 12 && data.compare(0, 4, "RIFF") == 0 && data.compare(8, 4, "AVI ") == 0;
    const std::size_t avih = data.find("avih");
    if (avih != std::string::npos) summary.totalFrames = u32(avih + 8 + 16); // dwTotalFrames
    const std::size_t idx1 = data.rfind("idx1");
    if (idx1 != std::string::npos)
        for (std::size_t entry = idx1 + 8; entry + 16 <= idx1 + 8 + u32(idx1 + 4) && entry + 16 <= data.size(); entry += 16)
            if (data.compare(entry + 2, 2, "dc") == 0 || data.compare(entry + 2, 2, "db") == 0) ++summary.indexedVideoChunks;
    return summary;
}

class AnalogRuns : public testing::ModuleRun {
protected:
    void SetUp() override {
        ModuleRun::SetUp();
        // ".\capture.avi" is written to the current directory: the cases share one of their own.
        // (It also holds the logs the module opens there, so it is not removed between cases.)
        previousDirectory_ = std::filesystem::current_path();
        directory_ = std::filesystem::temp_directory_path() / ("qisrtvcard-capture-" + std::to_string(GetCurrentProcessId()));
        std::filesystem::create_directories(directory_);
        std::filesystem::current_path(directory_);
        std::filesystem::remove(captureFile());
    }
    void TearDown() override {
        ModuleRun::TearDown();
        if (!previousDirectory_.empty()) std::filesystem::current_path(previousDirectory_);
    }
    // An analog test keeps its tuner handle when it returns, and the capture filter's too where it
    // never hands it to the graph or fails early: the card's capture filter, which is its tuner,
    // stays with one reference per kept handle, and nothing else does.
    std::function<void()> kept(int references = 1) {
        return [=, this] { EXPECT_EQ(system_->liveObjects(), references ? "TV Capture (" + std::to_string(references) + ")\n" : ""); };
    }
    std::filesystem::path captureFile() const { return directory_ / "capture.avi"; }
    std::function<void()> staleCapture() {
        return [this] { std::ofstream(captureFile()) << "stale"; };
    }

    std::filesystem::path previousDirectory_, directory_;
};

// ---- the TV signal scan ----------------------------------------------------------------------

const char* kSignalOn5 = R"("cableSignal": [5], "antennaSignal": [3])";
const Parameters kOn5 = {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}};

// Percents are channel x 100 / the end channel. A pass routes the tuner input, the second, to the first output.
TEST_F(AnalogRuns, TVScans) {
    const Parameters range = {{"TVStartChannel", "2"}, {"TVEndChannel", "3"}};
    const TestResult noSignal = TestResult::NOSIGNAL();
    const std::vector<std::string> noSignalEvent = {"warning:ErrorNoSignalDetected"};
    expectRuns({
        {.what = "runs from the start channel until a signal", .scenario = tv(kSignalOn5),
         .parameters = {{"TVStartChannel", "2"}, {"TVEndChannel", "13"}}, .channels = {{"2", "3", "4", "5"}}, .percents = {{0, 15, 23, 30}},
         .more = [&] { kept()(); EXPECT_THAT(journalArguments("*", "Route"), ElementsAre("0, 1")); }},
        {.what = "without StopOnSignal every channel is visited, and still a pass", .scenario = tv(R"("cableSignal": [2])"),
         .parameters = {{"TVStartChannel", "2"}, {"TVEndChannel", "4"}, {"StopOnSignal", "false"}}, .channels = {{"2", "3", "4"}},
         .percents = {{0, 50, 75, 100}}, .more = kept()},
        {.what = "a reversed range scans the start channel only, and the warning names the range as given",
         .parameters = {{"TVStartChannel", "9"}, {"TVEndChannel", "4"}, {"CheckTVCable", "false"}}, .result = noSignal,
         .events = noSignalEvent, .variables = {{"startchannel", "9"}, {"endchannel", "4"}}, .channels = {{"9"}},
         .percents = {{0, 100, 100}}, .more = kept()},
        {.what = "SignalType antenna tries the antenna input",
         .parameters = {{"TVStartChannel", "7"}, {"TVEndChannel", "7"}, {"SignalType", "Antenna"}, {"CheckTVCable", "false"}},
         .result = noSignal, .events = noSignalEvent,
         .more = [] { EXPECT_THAT(journalArguments("*", "put_InputType"), ElementsAre("0, TunerInputAntenna")); }},
        {.what = "any other SignalType tries both inputs",
         .parameters = {{"TVStartChannel", "7"}, {"TVEndChannel", "7"}, {"SignalType", "whatever"}, {"CheckTVCable", "false"}},
         .result = noSignal, .events = noSignalEvent,
         .more = [] { EXPECT_THAT(journalArguments("*", "put_InputType"), ElementsAre("0, TunerInputAntenna", "0, TunerInputCable")); }},
        {.what = "no checks per channel finds nothing even on a signal", .scenario = tv(kSignalOn5),
         .parameters = {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"ChecksPerChannel", "0"}, {"CheckTVCable", "false"}},
         .result = noSignal, .events = noSignalEvent, .more = [] { EXPECT_THAT(journalArguments("*", "SignalPresent"), IsEmpty()); }},
        {.what = "a stop request during the scan aborts", .parameters = {{"TVStartChannel", "2"}, {"TVEndChannel", "9"}},
         .result = TestResult::USERABORTED(), .channels = {{"2", "3", "4"}}, .prompts = 0, .before = [&] { stopAt("4"); }, .more = kept()},
        {.what = "cable prompt: unanswered, it times out after MsgBoxTimeout seconds and the scan retries", .parameters = range,
         .result = noSignal, .events = noSignalEvent, .percents = {{0, 66, 100, -1, 66, 100, 100}}, .prompts = 1, .more = [&] {
             const mirt5::Prompt& prompt = probe_->reporter.prompts[0];
             EXPECT_EQ(prompt.type, 10);
             EXPECT_EQ(prompt.timeoutMs, 30000u);
             EXPECT_EQ(prompt.title, CheckCableConnectedTitle->localizedString());
             EXPECT_EQ(prompt.text, CheckCableConnectedMessage->localizedString());
             EXPECT_GE(virtualSeconds_, 30.0);
         }},
        {.what = "cable prompt: cancel (150) aborts", .parameters = range, .answers = {"150"}, .result = TestResult::USERABORTED()},
        {.what = "cable prompt: skip (220) gives up", .parameters = range, .answers = {"220"}, .result = noSignal, .events = noSignalEvent},
        {.what = "cable prompt: a time-out retries, and the second pass finds nothing", .parameters = range, .answers = {"timeout"},
         .result = noSignal, .events = noSignalEvent, .percents = {{0, 66, 100, -1, 66, 100, 100}}, .more = kept()},
        {.what = "the country comes from the language unless the dialog is asked", .scenario = tv(kSignalOn5), .parameters = kOn5,
         .before = [] { qis::QISLocale::setGlobalLocale(qis::QISLocale("de-DE")); }, .more = [] {
             qis::QISLocale::setGlobalLocale(qis::QISLocale("en"));
             EXPECT_THAT(journalArguments("*", "put_CountryCode"), ElementsAre("49"));
         }},
        {.what = "nothing to route is no error", .scenario = tv(kSignalOn5, "", ""), .parameters = kOn5,
         .more = [] { EXPECT_THAT(journalArguments("*", "Route"), IsEmpty()); }},
    }, {.scenario = tv(""), .entry = AnalogTVSignalTest});
}

TEST_F(AnalogRuns, TVScanFailures) {
    int antennaLine = 0;
    const std::vector<std::string> inputError = {"error:ErrorCreatingFilterGraph"};
    expectRuns({
        {.what = "an antenna input failure goes on", .scenario = tv(kSignalOn5),
         .parameters = {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"SignalType", ""}}, .events = inputError,
         .variables = {{"error", "TunerInputAntenna failed."}}, .before = [] { addFault("TV Capture", "put_InputType", 1); },
         .more = [&] { antennaLine = event(0).line; }},
        {.what = "a cable input failure ends the pass", .scenario = tv(kSignalOn5),
         .parameters = {{"TVStartChannel", "5"}, {"TVEndChannel", "5"}, {"SignalType", ""}, {"CheckTVCable", "false"}},
         .result = TestResult::NOSIGNAL(), .events = {"error:ErrorCreatingFilterGraph", "warning:ErrorNoSignalDetected"},
         .variables = {{"error", "TunerInputCable failed."}}, .before = [] { addFault("TV Capture", "put_InputType", 2); },
         .more = [&] { EXPECT_NE(event(0).line, antennaLine) << "each event names the statement that raised it, not a helper"; }},
        // Logged from their own position on; nothing could be tuned: the first pass ends in the cable-input error.
        {.what = "channels that cannot be tuned", .parameters = {{"TVStartChannel", "2"}, {"TVEndChannel", "3"}, {"SignalType", "antenna"}},
         .result = TestResult::FAIL(), .events = inputError, .variables = {{"error", "TunerInputCable failed."}},
         .logged = {{"libTunekit", "nnot tune to antenna channel "}, {"libTunekit", "not tune to antenna channel "}},
         .before = [] { addFault("TV Capture", "put_Channel"); }, .more = [&] { EXPECT_EQ(probe_->reporter.percents.back(), 100); }},
        {.what = "a second pass that tunes nothing is a warning and no signal",
         .parameters = {{"TVStartChannel", "4"}, {"TVEndChannel", "4"}}, .answers = {"retry"}, .result = TestResult::NOSIGNAL(),
         .events = {"warning:ErrorCreatingFilterGraph"}, .variables = {{"error", "TunerInputCable failed."}},
         .before = [] { addFault("TV Capture", "put_Channel", 2); }},
        {.what = "TV mode refused fails the test", .scenario = tv(R"("tvMode": false)"), .result = TestResult::FAIL(), .events = inputError,
         .variables = {{"error", "AMTUNER_MODE_TV failed."}}, .percents = {{0, 100}}, .more = kept(2)},
        {.what = "the video form needs no stream configuration", .scenario = tv(kSignalOn5), .parameters = kOn5, .more = [&] {
             EXPECT_THAT(probe_->logLines("libTunekit"), ::testing::Not(Contains(HasSubstr("Attempting to read the stream configuration"))));
         }},
        // The capture pin then carries the stream, so neither type finds its configuration.
        {.what = "only the stream form resizes the window to the capture format",
         .scenario = tv(kSignalOn5, kDecoders, kTunerOnlyCrossbar, R"(["Video", "Stream"])"), 
         .logged = {{"libTunekit", HasSubstr("RenderStream Video failed trying stream: ")},
                    {"libTunekit", "Attempting to read the stream configuration to use to resize window"},
                    {"libTunekit", ::testing::StartsWith("IGraphBuilder::FindInterface(IID_IAMStreamConfig) video failed:")},
                    {"libTunekit", "Stream Config is NULL"}},
         .before = [] { addFault("CaptureGraphBuilder2", "RenderStream", 2); }, // the video form fails, the stream form succeeds
         .more = kept()},
    }, {.scenario = tv(""), .entry = AnalogTVSignalTest});
    // A capture format that cannot be read still leaves the renderer fitted to the window, and an
    // empty one that the driver reports as success is not logged as a failure. (Nothing was
    // connected, so the picture cannot be rendered.)
    for (const tvsim::FaultKind kind : {tvsim::FaultKind::Fail, tvsim::FaultKind::NullResult}) {
        expectRuns({{.what = kind == tvsim::FaultKind::Fail ? "capture format failed" : "capture format empty",
                     .scenario = tv(kSignalOn5, "", kTunerOnlyCrossbar, R"(["Video", "Stream"])"), .entry = AnalogTVSignalTest,
                     .parameters = kOn5, .result = TestResult::FAIL(), .events = {"error:ErrorRenderingVideoStream"},
                     .logged = {{"libTunekit", "Got Stream Configuration"}}, .before = [kind] {
                         auto& faults = tvsim::Simulation::current().faults();
                         addFault("CaptureGraphBuilder2", "RenderStream", 1); // interleaved
                         addFault("CaptureGraphBuilder2", "RenderStream", 2); // video
                         // The stream form "succeeds" without connecting anything, so the capture pin still offers
                         // video and its configuration is found.
                         faults.add({"FilterGraph", "Connect", 0, 0, tvsim::FaultKind::NullResult});
                         faults.add({"CaptureGraphBuilder2", "RenderStream", 0, 3, tvsim::FaultKind::NullResult});
                         faults.add({"CaptureGraphBuilder2", "RenderStream", 0, 4, tvsim::FaultKind::NullResult});
                         faults.add({"TV Capture", "GetFormat", static_cast<std::int32_t>(0x80004005), 0, kind});
                     }, .more = [&, kind] {
                         const auto lines = probe_->logLines("libTunekit");
                         EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                                                 [](const std::string& l) { return l.rfind("IAMStreamConfig::GetFormat failed: ", 0) == 0; }),
                                   kind == tvsim::FaultKind::Fail ? 1 : 0);
                         bool formatRead = false, fittedAfter = false;
                         for (const auto& call : tvsim::Simulation::current().journal().calls()) {
                             if (call.method == "GetFormat") formatRead = true;
                             else if (formatRead && call.method == "SetWindowPosition") fittedAfter = true;
                         }
                         EXPECT_TRUE(fittedAfter) << "the renderer is fitted all the same";
                     }}});
    }
}

// ---- the FM radio scan -----------------------------------------------------------------------

Parameters band(const char* start, const char* end) { return {{"FMRadioStartChannel", start}, {"FMRadioEndChannel", end}}; }

TEST_F(AnalogRuns, FMScans) {
    const std::vector<std::string> graphError = {"error:ErrorCreatingFilterGraph"};
    const auto tunings = [] { return journalArguments("TV Capture", "put_Channel").size(); };
    expectRuns({
        {.what = "the whole band is tried in tenth-megahertz steps of two", .result = TestResult::NOSIGNAL(),
         .events = {"warning:ErrorNoSignal"}, .more = [&] {
             EXPECT_EQ(tunings(), 101u);
             EXPECT_EQ(progress().front(), "88.0");
             EXPECT_EQ(progress().back(), "108.0");
             EXPECT_EQ(probe_->reporter.percents.front(), 0);
             EXPECT_EQ(probe_->reporter.percents.back(), 100);
             kept(2)();
         }},
        // 95.5 MHz lies between two steps from 88.0 and is not received; 95.6 is.
        {.what = "stops at the first station on its steps", .scenario = radio(R"("fmSignal": [95500000, 95600000])"),
         .more = [&] { EXPECT_EQ(progress().back(), "95.6"); }},
        {.what = "refused frequencies are logged and skipped", .scenario = radio(R"("fmSignal": [88400000])"),
         .parameters = band("88.0", "90.0"), .logged = {{"libTunekit", ::testing::StartsWith("put_Channel() failed.  Frequency: 88.2")}},
         .before = [] { addFault("TV Capture", "put_Channel", 2); }},
        {.what = "FM mode refused fails the test", .scenario = radio(R"("fmMode": false)"), .result = TestResult::FAIL(),
         .events = graphError, .variables = {{"error", "AMTUNER_MODE_FM_RADIO failed."}}},
        {.what = "a graph that cannot run fails the test", .result = TestResult::FAIL(), .events = graphError,
         .variables = {{"error", "The filter graph could not be started."}}, .before = [] { addFault("FilterGraph", "Run"); },
         .more = kept(2)},
        {.what = "a stop request is seen before the next tuning", .result = TestResult::USERABORTED(), .before = [&] { stopAt("88.4"); },
         .more = [&] { EXPECT_EQ(tunings(), 3u); }},
    }, {.scenario = radio(""), .entry = FMRadioSignalTest, .parameters = band("88.0", "108.0")});
    // Equal bounds, a reversed band, and bands at the edges of the types: Hz beyond a long's range,
    // and frequencies so large that a 0.2 MHz step no longer changes them. Each tuning is within a
    // long, and the percents within 0 to 100.
    const struct {
        const char *start, *end;
        std::vector<std::string> tuned; // the frequency arguments, in Hz
    } bands[] = {{"98.0", "98.0", {"98000000"}},
                 {"100.0", "90.0", {}},
                 {"3000.0", "3000.2", {"2147483647", "2147483647"}},
                 {"-3000.0", "-3000.0", {"-2147483648"}},
                 {"100000000000000000.0", "200000000000000000.0", {"2147483647"}}};
    for (const auto& b : bands) {
        expectRuns({{.what = std::string(b.start) + " to " + b.end, .scenario = radio(""), .entry = FMRadioSignalTest,
                     .parameters = band(b.start, b.end), .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignal"}, .more = [&] {
                         std::vector<std::string> tuned;
                         for (const auto& arguments : journalArguments("TV Capture", "put_Channel")) {
                             EXPECT_THAT(arguments, ::testing::EndsWith(", -1, -1"));
                             tuned.push_back(arguments.substr(0, arguments.find(',')));
                         }
                         EXPECT_EQ(tuned, b.tuned);
                         for (int percent : probe_->reporter.percents) EXPECT_TRUE(percent >= 0 && percent <= 100) << percent;
                     }}});
    }
}

// ---- capture to screen and to file -----------------------------------------------------------

TEST_F(AnalogRuns, CaptureToScreen) {
    const std::string graphError = "error:ErrorCreatingFilterGraph";
    // A set-up step that fails: the run's result and its one event, whose text names the step.
    const auto failing = [&](const char* object, const char* method, TestResult result, std::string key, const char* error,
                             std::uint32_t hr = 0x80004005u) {
        return WholeRun{.what = method, .result = result, .events = {key},
                        .variables = error ? std::map<std::string, std::string>{{"error", error}} : std::map<std::string, std::string>{},
                        .before = [=] { addFault(object, method, 0, hr); }};
    };
    const auto fault = [](const char* object, const char* method) { return [=] { addFault(object, method); }; };
    const std::string noDevice = "warning:WarningDeviceNotFound", setupProblem = "warning:WarningWindowSetupProblem";
    expectRuns({
        failing("SystemDeviceEnum", "CoCreateInstance", TestResult::INTERNALERROR(), noDevice, "CLSID_SystemDeviceEnum failed."),
        failing("SystemDeviceEnum", "CreateClassEnumerator", TestResult::INTERNALERROR(), noDevice, "CLSID_VideoInputDeviceCategory failed."),
        failing("*", "BindToObject", TestResult::NOTSUPPORTED(), "warning:WarningHardwareDoesNotSupportAnalogTVCapture", nullptr),
        failing("COM", "CoInitializeEx", TestResult::INTERNALERROR(), setupProblem, "CoInitializeEx failed.", 0x80010106u),
        failing("FilterGraph", "CoCreateInstance", TestResult::FAIL(), graphError, "CLSID_FilterGraph failed."),
        failing("FilterGraph", "QueryInterface(IMediaControl)", TestResult::FAIL(), graphError, "IID_IMediaControl failed."),
        failing("CaptureGraphBuilder2", "SetFiltergraph", TestResult::FAIL(), graphError, "SetFiltergraph failed."),
        // The graph's window and event interfaces count as the video window failing.
        failing("FilterGraph", "QueryInterface(IVideoWindow)", TestResult::FAIL(), graphError, "IID_IVideoWindow failed."),
        failing("FilterGraph", "QueryInterface(IMediaEventEx)", TestResult::FAIL(), graphError, "IID_IVideoWindow failed."),
        failing("FilterGraph", "SetNotifyWindow", TestResult::FAIL(), graphError, "IID_IVideoWindow failed."),
        // The first crossbar output cannot take the tuner; the renderer is shown, then hidden.
        {.what = "shows the preview for three seconds and passes", .more = [&] {
             EXPECT_GT(virtualSeconds_, 3.0);
             EXPECT_THAT(journalArguments("CaptureGraphBuilder2", "RenderStream").front(), HasSubstr("PIN_CATEGORY_PREVIEW, MEDIATYPE_Video"));
             EXPECT_THAT(journalArguments("*", "put_Mode"), ElementsAre("AMTUNER_MODE_TV"));
             EXPECT_THAT(journalArguments("*", "Route"), ElementsAre("1, 0"));
             EXPECT_EQ(journalArguments("VideoRenderer", "put_Visible").size(), 2u);
             kept()();
         }},
        // Through the module's MPEG-2 demultiplexer; no tuner capability, no TV mode.
        {.what = "falls through to the stream forms on a stream-only device",
         .scenario = capturing(R"(["Stream"])", "false", kDecoders, R"("VideoCapture", "VideoCaptureBaseFilter")"), .more = [&] {
             std::vector<std::string> forms;
             for (const auto& call : tvsim::Simulation::current().journal().calls())
                 if (call.method == "RenderStream") forms.push_back(call.arguments.utf8() + (FAILED(call.result) ? " failed" : " rendered"));
             ASSERT_GE(forms.size(), 2u);
             EXPECT_EQ(forms[0], "PIN_CATEGORY_PREVIEW, MEDIATYPE_Video failed");
             EXPECT_EQ(forms[1], "PIN_CATEGORY_CAPTURE, MEDIATYPE_Video failed");
             EXPECT_THAT(journalArguments("*", "AddFilter"), Contains("MPEG2 Demux"));
             EXPECT_THAT(journalArguments("*", "put_Mode"), IsEmpty());
             kept(0)();
         }},
        {.what = "a card the graph refuses is not supported", .entry = CaptureToScreenTest, .result = TestResult::NOTSUPPORTED(),
         .events = {"warning:WarningHardwareDoesNotSupportAnalogTVCapture"}, .before = fault("FilterGraph", "AddFilter"), .more = kept(0)},
        {.what = "a stream that cannot be rendered", .result = TestResult::FAIL(), .events = {graphError},
         .variables = {{"error", "RenderStream failed."}}, .before = fault("CaptureGraphBuilder2", "RenderStream"), .more = kept(2)},
        {.what = "a renderer that cannot be owned", .result = TestResult::FAIL(), .events = {"error:ErrorRenderingVideoStream"},
         .before = fault("VideoRenderer", "put_Owner"), .more = kept(1)},
        {.what = "a graph that cannot run", .result = TestResult::FAIL(), .events = {graphError},
         .variables = {{"error", "The filter graph could not be started."}}, .before = fault("FilterGraph", "Run"), .more = kept(1)},
    }, {.scenario = capturing(), .entry = CaptureToScreenTest});
}

// A failed capture never leaves a file that looks complete: neither the stale one nor a new one.
TEST_F(AnalogRuns, CaptureToFile) {
    // `kept`: references the card keeps; a stale capture is there before, and a failure before the
    // graph step leaves it.
    const auto failing = [&](const char* object, const char* method, unsigned call, const char* error, int references, bool stale,
                             std::function<void()> more = [] {}) {
        return WholeRun{.what = method, .result = TestResult::FAIL(),
                        .events = {"error:ErrorCreatingFilterGraph"}, .variables = {{"error", error}}, .before = [=, this] {
                            if (stale) staleCapture()();
                            addFault(object, method, call);
                        }, .more = [=, this] {
                            EXPECT_FALSE(std::filesystem::exists(captureFile()));
                            kept(references)();
                            more();
                        }};
    };
    expectRuns({
        {.what = "replaces a stale capture with three seconds of video", .entry = CaptureToFileTest, .before = staleCapture(), .more = [&] {
             const AviSummary avi = readAvi(captureFile());
             EXPECT_TRUE(avi.riffAvi);
             EXPECT_GE(avi.totalFrames, 75u); // 3 s at 25 frames a second
             EXPECT_EQ(avi.indexedVideoChunks, avi.totalFrames);
             EXPECT_THAT(journalArguments("VideoRenderer", "CoCreateInstance"), IsEmpty()) << "nothing is shown";
             kept()();
         }},
        failing("FilterGraph", "Run", 0, "The filter graph could not be started.", 1, true),
        failing("AviMux", "Pause", 0, "The filter graph could not be started.", 1, true),
        failing("FilterGraph", "AddFilter", 0, "AddFilter failed.", 0, false), // an error, not an unsupported device
        // Falls back to the MPEG-2 writer, which the virtual system has not.
        failing("CaptureGraphBuilder2", "SetOutputFileName", 1, "SetOutputFileName failed.", 1, true, [] {
            EXPECT_THAT(journalArguments("CaptureGraphBuilder2", "SetOutputFileName"),
                        ElementsAre(::testing::_, HasSubstr("7DC2C665-4033-4CAF-9273-F7D797FB245C")));
        }),
        // Interleaved and video into the multiplexer; the stream form goes straight to the writer.
        failing("CaptureGraphBuilder2", "RenderStream", 0, "RenderStream failed.", 2, true, [&] {
            EXPECT_EQ(journalArguments("CaptureGraphBuilder2", "RenderStream").size(), 2u);
            EXPECT_THAT(journalArguments("*", "SetFileName"), ElementsAre(".\\capture.avi", ".\\capture.avi"));
            EXPECT_EQ(probe_->reporter.percents.back(), 100);
        }),
    }, {.scenario = capturing(), .entry = CaptureToFileTest});
}

// Media Center holds the analog tuner: the TV and capture tests refuse before any graph, the radio
// test runs all the same.
TEST_F(AnalogRuns, MediaCenter) {
    const auto refused = [&](const char* what, const std::string& scenario, testing::Entry entry) {
        return WholeRun{.what = what, .scenario = scenario, .entry = entry, .result = TestResult::CANNOTRUN(),
                        .events = {"warning:MediaCenterIsRunning"}, .more = [] {
                            EXPECT_THAT(journalArguments("*", "AddFilter"), IsEmpty());
                            EXPECT_THAT(journalArguments("FilterGraph", "CoCreateInstance"), IsEmpty());
                        }};
    };
    const char* recording = R"(, "processes": ["ehrec.exe"])";
    expectRuns({
        refused("TV", tv("", R"(, "processes": ["EHSHELL.EXE"])"), AnalogTVSignalTest),
        refused("screen", capturing(R"(["Video"])", "true", recording, R"("VideoCapture")"), CaptureToScreenTest),
        refused("file", capturing(R"(["Video"])", "true", recording, R"("VideoCapture")"), CaptureToFileTest),
        {.what = "radio", .scenario = radio(R"("fmSignal": [88000000])", R"(, "processes": ["ehshell.exe"])"), .entry = FMRadioSignalTest,
         .parameters = band("88.0", "108.0")},
    });
}

// ---- device discovery and the video window ---------------------------------------------------

std::string moniker(const std::string& friendlyName, const std::string& description = "Virtual card") {
    return "{" + (friendlyName.empty() ? "" : R"("friendlyName": ")" + friendlyName + R"(", )") + R"("description": ")" + description +
           R"(", "filter": "capture"})";
}

// The card a device names among the category's filters: the moniker bound (counted from 1) or
// the warning given.
TEST_F(AnalogRuns, DiscoveryFindsTheFilterTheDeviceNamesAmongTheCategorysOrNone) {
    const std::string card = moniker("TV Card");
    const struct {
        std::vector<std::string> monikers;
        const char* analogName;
        std::size_t bound; // 0: none, NODEVICE
    } cases[] = {
        {{card, card, card}, "TV Card 2", 2}, // identical cards numbered
        {{card, card, card}, "TV Card 3", 3},
        {{card, card, card}, "TV Card", 1},
        {{card, moniker(""), card}, "TV Card 2", 3}, // no name, no number
        {{moniker("Other", "Other card"), moniker("Anything")}, "Video Capture Device", 2}, // by description
        {{card}, "Other Card", 0},
        {{}, "TV Card", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.analogName + std::string(" among ") + std::to_string(c.monikers.size()));
        std::string list;
        for (const auto& m : c.monikers) list += (list.empty() ? "" : ", ") + m;
        load(R"({"device": {"name": "Card under test"}, "categories": {"VideoInputDevice": [)" + list +
             R"(]}, "filters": {"capture": {"kind": "analogCapture"}}})");
        probe_->device = mirt5::DiagDevice("Card under test", "Virtual card", mirt5::DeviceCapability::VideoCapture(),
                                           {{"AnalogFriendlyName", c.analogName}});
        EXPECT_EQ(probe_->run([](const mirt5::DiagDevice& d) {
            const TestResult result = FindCaptureDevice(d, CLSID_VideoInputDeviceCategory);
            g_captureFilter.reset();
            return result;
        }), c.bound ? TestResult::PASS() : TestResult::NODEVICE());
        // How many monikers were opened before the one that was bound.
        std::size_t storage = 0, boundAfter = 0;
        for (const auto& call : tvsim::Simulation::current().journal().calls()) {
            if (call.method == "BindToStorage") ++storage;
            if (call.method == "BindToObject" && !boundAfter) boundAfter = storage;
        }
        if (c.bound) EXPECT_EQ(boundAfter, c.bound);
        else EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:WarningDeviceNotFound"));
        EXPECT_EQ(system_->liveObjects(), "");
    }
}

// Runs `body` after the graph and the window are set up on the built-in card, then tears both down.
TestResult withWindow(testing::Probe& probe, const std::function<void()>& body, const char* className = "VideoWindowTest") {
    return probe.run([&](const mirt5::DiagDevice&) {
        TestResult result = setupCaptureGraph();
        if (result == TestResult::PASS()) result = setupWindow(className, "Virtual picture");
        if (result == TestResult::PASS()) body();
        closeInterfaces();
        if (g_hwndVideo) DestroyWindow(std::exchange(g_hwndVideo, nullptr));
        return result;
    });
}

// The window sized to the picture with the designed extra border line; size messages before the
// renderer is attached reach only the default procedure; graph events are announced and drained;
// minimising stops the graph and restoring runs it once.
TEST_F(AnalogRuns, TheVideoWindowFollowsThePictureAndDrivesTheGraph) {
    load("");
    const auto callsOf = [](const char* method) { return journalArguments("*", method).size(); };
    EXPECT_EQ(withWindow(*probe_, [&] {
                  resizeWindowToFitClient(720, 480);
                  RECT client{};
                  GetClientRect(g_hwndVideo, &client);
                  EXPECT_EQ(client.right, 720);
                  EXPECT_EQ(client.bottom, 480 + GetSystemMetrics(SM_CYBORDER));
                  tunekit::ComPtr<IVideoWindow> attached = std::exchange(g_videoWindow, {});
                  const auto positions = callsOf("SetWindowPosition");
                  SendMessageW(g_hwndVideo, WM_SIZE, SIZE_RESTORED, MAKELPARAM(320, 240));
                  EXPECT_EQ(callsOf("SetWindowPosition"), positions);
                  g_videoWindow = attached;
                  tunekit::ComPtr<IMediaEventSink> sink;
                  ASSERT_EQ(g_graphManager.as(sink), S_OK);
                  sink->Notify(EC_USERABORT, 0, 0);
                  MSG message;
                  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
                  EXPECT_EQ(callsOf("GetEvent"), 2u); // one event, then the empty queue
                  EXPECT_EQ(callsOf("FreeEventParams"), 1u);
                  ShowWindow(g_hwndVideo, SW_SHOW);
                  const auto runs = callsOf("Run");
                  ShowWindow(g_hwndVideo, SW_MINIMIZE);
                  EXPECT_EQ(g_playState, State_Stopped);
                  ShowWindow(g_hwndVideo, SW_RESTORE);
                  EXPECT_EQ(g_playState, State_Running);
                  SetWindowPos(g_hwndVideo, nullptr, 10, 10, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
                  EXPECT_EQ(callsOf("Run"), runs + 1);
              }),
              TestResult::PASS());
}

// A class whose windows refuse to be created: CreateWindowEx fails after the class "exists".
LRESULT CALLBACK refuseCreation(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return message == WM_NCCREATE ? FALSE : DefWindowProcW(window, message, wParam, lParam);
}

// An empty class name is refused by RegisterClass with an error other than "already exists".
TEST_F(AnalogRuns, AVideoWindowThatCannotBeCreatedOrRegisteredIsASetupProblem) {
    WNDCLASSW refusing{};
    refusing.lpfnWndProc = refuseCreation;
    refusing.lpszClassName = L"RefusingVideoWindow";
    refusing.hInstance = reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(GetConsoleWindow(), GWLP_HINSTANCE));
    ASSERT_NE(RegisterClassW(&refusing), 0);
    for (const auto& [className, error] : {std::pair{"RefusingVideoWindow", "CreateWindow failed."}, std::pair{"", "RegisterClass failed."}}) {
        load("");
        EXPECT_EQ(withWindow(*probe_, [] {}, className), TestResult::INTERNALERROR());
        ASSERT_THAT(probe_->eventKeys(), ElementsAre(::testing::StartsWith("warning:")));
        EXPECT_EQ(event(0).variables.at("error"), error);
    }
}

} // namespace
} // namespace qisrtvcard

// The capture-to-screen and capture-to-file tests on the virtual card, as a host sees them.
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Requirement.h"

#include "ModuleTestSupport.h"
#include "analog/GraphHandles.h"
#include "frame/TestEntries.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using mirt5::TestResult;

std::string card(const std::string& capabilities = R"("VideoCapture", "VideoCaptureBaseFilter", "AnalogTVTuner")",
                 const std::string& captureTypes = R"(["Video"])", const std::string& extra = "") {
    return R"({"device": {"name": "Capture card", "capabilities": [)" + capabilities + R"(],
                          "properties": {"AnalogFriendlyName": "TV Capture"}},
               "categories": {"VideoInputDevice": [{"friendlyName": "TV Capture", "filter": "capture"}]},
               "filters": {"capture": {"captureTypes": )" + captureTypes + R"(, "previewPin": true,
                   "format": {"width": 320, "height": 240, "framesPerSecond": 25},
                   "tuner": {},
                   "crossbar": {"outputs": ["Video_VideoDecoder", "Video_VideoDecoder"],
                                "inputs": [{"physicalType": "Video_Tuner", "routesTo": [1]}]}}})" +
           extra + "}";
}

// What an AVI file's main header promises, and whether its index lists as many video chunks.
struct AviSummary {
    bool riffAvi = false;
    std::uint32_t totalFrames = 0;
    std::uint32_t indexedVideoChunks = 0;
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

class CaptureTests : public testing::ModuleRun {
protected:
    void SetUp() override {
        QIS_REQUIRE(testing::haveDisplay(), "a display (run under xvfb-run)");
        testing::initialiseCatalogue();
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
    void expectOnlyTheCardKept(int references = 1) { ModuleRun::expectOnlyTheCardKept("TV Capture", references); }
    std::filesystem::path captureFile() const { return directory_ / "capture.avi"; }

    std::filesystem::path previousDirectory_, directory_;
};

TEST_F(CaptureTests, Screen) {
    std::string streamOnly = card(R"("VideoCapture", "VideoCaptureBaseFilter")", R"(["Stream"])",
                                  R"(, "converters": [{"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"},
                                                      {"name": "MPEG Audio Decoder", "input": "Audio/MPEG1Payload", "output": "Audio/PCM"}])");
    streamOnly.replace(streamOnly.find(R"("previewPin": true)"), 18, R"("previewPin": false)");
    const auto fault = [](const char* object, const char* method) { return [=] { testing::addFault(object, method); }; };
    const auto kept = [&](int references) { return [=, this] { expectOnlyTheCardKept(references); }; };
    const std::string graphError = "error:ErrorCreatingFilterGraph";
    // A set-up step that fails: the run's result and its one event, whose text names the step.
    const auto failing = [&](const char* object, const char* method, TestResult result, std::string key, const char* error,
                             std::uint32_t hr = 0x80004005u) {
        return testing::WholeRun{.what = method, .scenario = card(), .entry = CaptureToScreenTest, .result = result, .events = {key},
                                 .variables = error ? std::map<std::string, std::string>{{"error", error}} : std::map<std::string, std::string>{},
                                 .before = [=] { testing::addFault(object, method, 0, hr); }};
    };
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
        {.what = "shows the preview for three seconds and passes", .scenario = card(), .entry = CaptureToScreenTest,
         .result = TestResult::PASS(), .more = [&] {
             EXPECT_GT(virtualSeconds_, 3.0);
             EXPECT_THAT(testing::journalArguments("CaptureGraphBuilder2", "RenderStream").front(), HasSubstr("PIN_CATEGORY_PREVIEW, MEDIATYPE_Video"));
             EXPECT_THAT(testing::journalArguments("*", "put_Mode"), ElementsAre("AMTUNER_MODE_TV"));
             EXPECT_THAT(testing::journalArguments("*", "Route"), ElementsAre("1, 0"));
             EXPECT_EQ(tvsim::Simulation::current().journal().count("VideoRenderer", "put_Visible"), 2u);
             expectOnlyTheCardKept();
         }},
        // Through the module's MPEG-2 demultiplexer; no tuner capability, no TV mode.
        {.what = "falls through to the stream forms on a stream-only device", .scenario = streamOnly, .entry = CaptureToScreenTest,
         .result = TestResult::PASS(), .more = [&] {
             std::vector<std::string> forms;
             for (const auto& call : tvsim::Simulation::current().journal().calls())
                 if (call.method == "RenderStream") forms.push_back(call.arguments.utf8() + (FAILED(call.result) ? " failed" : " rendered"));
             ASSERT_GE(forms.size(), 2u);
             EXPECT_EQ(forms[0], "PIN_CATEGORY_PREVIEW, MEDIATYPE_Video failed");
             EXPECT_EQ(forms[1], "PIN_CATEGORY_CAPTURE, MEDIATYPE_Video failed");
             EXPECT_THAT(testing::journalArguments("*", "AddFilter"), ::testing::Contains("MPEG2 Demux"));
             EXPECT_TRUE(testing::journalArguments("*", "put_Mode").empty());
             expectOnlyTheCardKept(0);
         }},
        {.what = "a card the graph refuses is not supported", .scenario = card(), .entry = CaptureToScreenTest,
         .result = TestResult::NOTSUPPORTED(), .events = {"warning:WarningHardwareDoesNotSupportAnalogTVCapture"},
         .before = fault("FilterGraph", "AddFilter"), .more = kept(0)},
        {.what = "a stream that cannot be rendered", .scenario = card(), .entry = CaptureToScreenTest, .result = TestResult::FAIL(),
         .events = {graphError}, .variables = {{"error", "RenderStream failed."}}, .before = fault("CaptureGraphBuilder2", "RenderStream"),
         .more = kept(2)},
        {.what = "a renderer that cannot be owned", .scenario = card(), .entry = CaptureToScreenTest, .result = TestResult::FAIL(),
         .events = {"error:ErrorRenderingVideoStream"}, .before = fault("VideoRenderer", "put_Owner"), .more = kept(1)},
        {.what = "a graph that cannot run", .scenario = card(), .entry = CaptureToScreenTest, .result = TestResult::FAIL(),
         .events = {graphError}, .variables = {{"error", "The filter graph could not be started."}}, .before = fault("FilterGraph", "Run"),
         .more = kept(1)},
    });
}

TEST_F(CaptureTests, FileReplacesAStaleCaptureWithThreeSecondsOfVideo) {
    std::ofstream(captureFile()) << "stale";
    load(card());
    EXPECT_EQ(run(CaptureToFileTest), TestResult::PASS());
    EXPECT_THAT(probe_->eventKeys(), IsEmpty());
    const AviSummary avi = readAvi(captureFile());
    EXPECT_TRUE(avi.riffAvi);
    EXPECT_GE(avi.totalFrames, 75u); // 3 s at 25 frames a second
    EXPECT_EQ(avi.indexedVideoChunks, avi.totalFrames);
    EXPECT_EQ(tvsim::Simulation::current().journal().count("VideoRenderer", "CoCreateInstance"), 0u) << "nothing is shown";
    expectOnlyTheCardKept();
}

// A failed capture never leaves a file that looks complete: neither the stale one nor a new one.
TEST_F(CaptureTests, FileFailuresGiveTheirEventsAndLeaveNoFile) {
    struct Case {
        const char* object;
        const char* method;
        unsigned call;
        const char* error; // of the ErrorCreatingFilterGraph event; null: not checked
        int kept;
        bool stale; // a stale capture is there before; a failure before the graph step leaves it
    };
    const Case cases[] = {
        {"FilterGraph", "Run", 0, nullptr, 1, true},
        {"AviMux", "Pause", 0, nullptr, 1, true},
        {"FilterGraph", "AddFilter", 0, "AddFilter failed.", 0, false}, // an error, not an unsupported device
        // Falls back to the MPEG-2 writer, which the virtual system has not.
        {"CaptureGraphBuilder2", "SetOutputFileName", 1, "SetOutputFileName failed.", 1, true},
        // Interleaved and video into the multiplexer; the stream form goes straight to the writer.
        {"CaptureGraphBuilder2", "RenderStream", 0, "RenderStream failed.", 2, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.object) + "::" + c.method);
        if (c.stale) std::ofstream(captureFile()) << "stale";
        load(card());
        testing::addFault(c.object, c.method, c.call);
        EXPECT_EQ(run(CaptureToFileTest), TestResult::FAIL());
        if (c.error) {
            ASSERT_THAT(probe_->eventKeys(), ElementsAre("error:ErrorCreatingFilterGraph"));
            EXPECT_EQ(event(0).variables.at("error"), c.error);
        }
        EXPECT_FALSE(std::filesystem::exists(captureFile()));
        expectOnlyTheCardKept(c.kept);
        const std::string method = c.method;
        if (method == "SetOutputFileName")
            EXPECT_THAT(testing::journalArguments("CaptureGraphBuilder2", "SetOutputFileName"),
                        ElementsAre(::testing::_, ::testing::HasSubstr("7DC2C665-4033-4CAF-9273-F7D797FB245C")));
        if (method == "RenderStream") {
            EXPECT_EQ(testing::journalArguments("CaptureGraphBuilder2", "RenderStream").size(), 2u);
            EXPECT_THAT(testing::journalArguments("*", "SetFileName"), ElementsAre(".\\capture.avi", ".\\capture.avi"));
            EXPECT_EQ(probe_->reporter.percents.back(), 100);
        }
    }
}

TEST_F(CaptureTests, MediaCenterStopsBothBeforeAnyGraph) {
    for (auto entry : {CaptureToScreenTest, CaptureToFileTest}) {
        load(card(R"("VideoCapture")", R"(["Video"])", R"(, "processes": ["ehrec.exe"])"));
        EXPECT_EQ(run(entry), TestResult::CANNOTRUN());
        EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:MediaCenterIsRunning"));
        EXPECT_EQ(tvsim::Simulation::current().journal().count("FilterGraph", "CoCreateInstance"), 0u);
    }
}

} // namespace
} // namespace qisrtvcard
